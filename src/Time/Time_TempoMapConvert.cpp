// The tempo map's typed conversions and the conversions at a reference tempo.
#include <algorithm>

#include "Cmn_Assert.h"
#include "Time/Time_TempoMap.h"
#include "Time/Time_Typed.h"

Time_Sample Time_TempoMap::TimeTypedToSample(const Time_Typed& iTime)
{
    switch (iTime.GetType())
    {
    case Time_eType_Samples:
        return iTime.AsSample();
    case Time_eType_Ticks:
        return TickToSample(iTime.AsTick());
    default:
        CMN_ASSERT_TEXT(false, "false");
        return Time_Sample(0);
    }
}

Time_Tick Time_TempoMap::TimeTypedToTick(const Time_Typed& iTime)
{
    switch (iTime.GetType())
    {
    case Time_eType_Samples:
        return SampleToTick(iTime.AsSample());
    case Time_eType_Ticks:
        return iTime.AsTick();
    default:
        CMN_ASSERT_TEXT(false, "false");
        return Time_Tick(0);
    }
}

Time_Typed Time_TempoMap::SampleToSpecifiedType(Time_Sample iSample, Time_EType iType)
{
    switch (iType)
    {
    case Time_eType_Samples:
        return Time_Typed(iSample);
    case Time_eType_Ticks:
        return Time_Typed(SampleToTick(iSample));
    default:
        CMN_ASSERT_TEXT(false, "false");
        return Time_Typed(0, iType);
    }
}

Time_Typed Time_TempoMap::TickToSpecifiedType(Time_Tick iTick, Time_EType iType)
{
    switch (iType)
    {
    case Time_eType_Samples:
        return Time_Typed(TickToSample(iTick));
    case Time_eType_Ticks:
        return Time_Typed(iTick);
    default:
        CMN_ASSERT_TEXT(false, "false");
        return Time_Typed(0, iType);
    }
}

Time_Typed Time_TempoMap::TimeTypedToSpecifiedType(const Time_Typed& iTime, Time_EType iType)
{
    switch (iTime.GetType())
    {
    case Time_eType_Samples:
        return SampleToSpecifiedType(iTime.AsSample(), iType);
    case Time_eType_Ticks:
        return TickToSpecifiedType(iTime.AsTick(), iType);
    default:
        CMN_ASSERT_TEXT(false, "false");
        return Time_Typed(0, iType);
    }
}

Time_Sample Time_TempoMap::TickToSampleBasedOnReferenceTempoAtTick(Time_Tick iTick,
                                                                   Time_Tick iReferenceTick)
{
    const Time_BasicTempoMap& basic = GetBasicMap();
    return basic.GetSegment(basic.FindByTick(iReferenceTick)).TickToSample(iTick);
}

Time_Tick Time_TempoMap::SampleToTickBasedOnReferenceTempoAtTick(Time_Sample iSample,
                                                                 Time_Tick iReferenceTick)
{
    const Time_BasicTempoMap& basic = GetBasicMap();
    return basic.GetSegment(basic.FindByTick(iReferenceTick)).SampleToTick(iSample);
}

Time_Tick Time_TempoMap::SampleToTickBasedOnReferenceTempoAtSample(Time_Sample iSample,
                                                                   Time_Sample iReferenceSample)
{
    const Time_BasicTempoMap& basic = GetBasicMap();
    return basic.GetSegment(basic.FindBySample(static_cast<double>(iReferenceSample.AsInt64())))
        .SampleToTick(iSample);
}

namespace
{
template <class Pick>
double ScanTicksPerSample(const Time_BasicTempoMap& iBasic, Time_Tick iStart, Time_Tick iEnd,
                          Pick iPick)
{
    size_t index = iBasic.FindByTick(iStart);
    double result = iBasic.GetSegment(index).GetTicksPerSample();
    for (++index; index < iBasic.GetNumSegments() && iBasic.GetSegment(index).GetStartTick() < iEnd;
         ++index)
        result = iPick(result, iBasic.GetSegment(index).GetTicksPerSample());
    return result;
}
} // namespace

double Time_TempoMap::GetMaxTicksPerSample(Time_Tick iStart, Time_Tick iEnd)
{
    return ScanTicksPerSample(GetBasicMap(), iStart, iEnd,
                              [](double a, double b) { return std::max(a, b); });
}

double Time_TempoMap::GetMinTicksPerSample(Time_Tick iStart, Time_Tick iEnd)
{
    return ScanTicksPerSample(GetBasicMap(), iStart, iEnd,
                              [](double a, double b) { return std::min(a, b); });
}
