#include "Time/Time_Converter.h"

#include "Cmn_Assert.h"
#include "Time/Time_MeterMap.h"
#include "Time/Time_TempoMap.h"

Time_Converter* Time_Convert::sTimeConverter = nullptr;

Time_TempoMap& Time_Converter::TempoMap() const
{
    CMN_ASSERT_TEXT(mTempoMap != 0, "mTempoMap != 0");
    return *mTempoMap;
}

Time_MeterMap& Time_Converter::MeterMap() const
{
    CMN_ASSERT_TEXT(mMeterMap != 0, "mMeterMap != 0");
    return *mMeterMap;
}

Time_Sample Time_Converter::ToSample(const Time_Typed& iTime) const
{
    switch (iTime.GetType())
    {
    case Time_eType_Samples:
        return iTime.AsSample();
    case Time_eType_Ticks:
        return TempoMap().TickToSample(iTime.AsTick());
    default:
        CMN_ASSERT_TEXT(false, "false");
        return Time_Sample(0);
    }
}

Time_Sample Time_Converter::ToSample(Time_Tick iTick) const
{
    return TempoMap().TickToSample(iTick);
}

Time_Tick Time_Converter::ToTick(const Time_Typed& iTime) const
{
    switch (iTime.GetType())
    {
    case Time_eType_Samples:
        return TempoMap().SampleToTick(iTime.AsSample());
    case Time_eType_Ticks:
        return iTime.AsTick();
    default:
        CMN_ASSERT_TEXT(false, "false");
        return Time_Tick(0);
    }
}

Time_Tick Time_Converter::ToTick(Time_Sample iSample) const
{
    return TempoMap().SampleToTick(iSample);
}

Time_BarBeatTick Time_Converter::ToBarBeatTick(const Time_Typed& iTime) const
{
    const Time_Tick tick = ToTick(iTime);
    return MeterMap().TickToBarBeat(tick);
}

Time_Typed Time_Converter::ToType(const Time_Typed& iTime, Time_EType iType) const
{
    if (iTime.GetType() == iType)
        return iTime;
    if (iType == Time_eType_Ticks && iTime.GetType() == Time_eType_Samples)
        return Time_Typed(TempoMap().SampleToTick(iTime.AsSample()));
    if (iType == Time_eType_Samples && iTime.GetType() == Time_eType_Ticks)
        return Time_Typed(TempoMap().TickToSample(iTime.AsTick()));
    CMN_ASSERT_TEXT(false, "0");
    return iTime;
}

Time_Typed Time_Converter::ToType(Time_Sample iSample, Time_EType iType) const
{
    return ToType(Time_Typed(iSample), iType);
}

Time_Typed Time_Converter::ToType(Time_Tick iTick, Time_EType iType) const
{
    return ToType(Time_Typed(iTick), iType);
}

Time_Typed Time_Converter::ToType(const Time_BarBeatTick& iBBT, Time_EType iType) const
{
    return ToType(MeterMap().BarBeatToTick(iBBT), iType);
}

Time_Typed Time_Converter::ToFirstType(const Time_Typed& iTime, Time_EType iType) const
{
    if (iTime.GetType() == iType)
        return iTime;
    if (iType == Time_eType_Ticks && iTime.GetType() == Time_eType_Samples)
        return Time_Typed(TempoMap().SampleToFirstTick(iTime.AsSample()));
    if (iType == Time_eType_Samples && iTime.GetType() == Time_eType_Ticks)
        return Time_Typed(TempoMap().TickToFirstSample(iTime.AsTick()));
    CMN_ASSERT_TEXT(false, "0");
    return iTime;
}

Time_Typed Time_Converter::ToMainCounterType(const Time_Typed& iTime) const
{
    return ToType(iTime, mMainCounterType);
}

Time_Typed Time_Converter::ToMainCounterType(Time_Sample iSample) const
{
    return ToType(iSample, mMainCounterType);
}

Time_Typed Time_Converter::ToMainCounterType(Time_Tick iTick) const
{
    return ToType(iTick, mMainCounterType);
}

Time_Typed Time_Converter::GetSessionStartTime(Time_EType iType) const
{
    return ToType(Time_Sample(0), iType);
}

Time_Typed Time_Converter::GetSessionEndTime(Time_EType iType) const
{
    return ToType(Time_Sample(Time_cMaxSampleTime), iType);
}

Time_Typed Time_Converter::GetBarOneTime(Time_EType iType) const
{
    return ToType(Time_BarBeatTick(1, 1, Time_Tick(0)), iType);
}

Time_Typed Time_Converter::AddLength(const Time_Typed& iTime, const Time_TypedLength& iLength) const
{
    if (iLength.AsInt64() == 0)
        return iTime;
    const Time_Typed sum = ToType(iTime, iLength.GetType()) + Time_Typed(iLength);
    return ToType(sum, iTime.GetType());
}

Time_Typed Time_Converter::SubtractLength(const Time_Typed& iTime,
                                          const Time_TypedLength& iLength) const
{
    if (iLength.AsInt64() == 0)
        return iTime;
    const Time_Typed difference = ToType(iTime, iLength.GetType()) - Time_Typed(iLength);
    return ToType(difference, iTime.GetType());
}

Time_Typed Time_Converter::AddLength(const Time_Typed& iTime, const Time_BarBeatTick& iLength) const
{
    Time_MeterMap& meter = MeterMap();
    return ToType(meter.AddDurationToTick(ToTick(iTime), iLength), iTime.GetType());
}

Time_Typed Time_Converter::SubtractLength(const Time_Typed& iTime,
                                          const Time_BarBeatTick& iLength) const
{
    Time_MeterMap& meter = MeterMap();
    return ToType(meter.SubTrackDurationFromTick(ToTick(iTime), iLength), iTime.GetType());
}

bool Time_Converter::PinToValidSessionRange(Time_Typed& ioTime) const
{
    const Time_Typed end = GetSessionEndTime(ioTime.GetType());
    if (ioTime > end)
    {
        ioTime = end;
        return true;
    }
    const Time_Typed start = GetSessionStartTime(ioTime.GetType());
    if (ToSample(ioTime) < Time_Sample(0) || ioTime < start)
    {
        ioTime = start;
        return true;
    }
    return false;
}

// ---- the static face ---------------------------------------------------------------------------

Time_Converter& Time_Convert::Get()
{
    CMN_ASSERT_TEXT(sTimeConverter != 0, "sTimeConverter != 0");
    return *sTimeConverter;
}

namespace
{
int64_t RoundToDisplayTick(int64_t iTick, int64_t iOffset)
{
    return (iTick + iOffset) / Time_cInternalTicksPerDisplayTick *
           Time_cInternalTicksPerDisplayTick;
}
} // namespace

Time_Typed Time_Convert::ToTickTimeWithDisplaySnap(const Time_Typed& iTime)
{
    if (iTime.GetType() == Time_eType_Ticks)
        return iTime;
    if (iTime == GetSessionStartTime(iTime.GetType()))
        return ToType(iTime, Time_eType_Ticks);
    const Time_Tick tick = ToTick(iTime);
    const Time_Tick snapped(RoundToDisplayTick(tick.AsInt64(), 500));
    if (ToType(snapped, iTime.GetType()) == iTime)
        return Time_Typed(snapped);
    return Time_Typed(tick);
}

Time_Typed Time_Convert::SnapToDisplayTick(const Time_Typed& iTime)
{
    if (iTime.GetType() == Time_eType_Samples)
        return iTime;
    const Time_Tick tick = ToTick(iTime);
    const Time_Tick snapped(RoundToDisplayTick(tick.AsInt64(), 500));
    if (ToSample(snapped) == ToSample(iTime))
        return Time_Typed(snapped);
    return iTime;
}

Time_Typed Time_Convert::QuantizeToSample(const Time_Typed& iTime)
{
    if (iTime.GetType() != Time_eType_Ticks)
        return iTime;
    return Time_Typed(ToTick(ToSample(iTime)));
}

Time_Typed Time_Convert::AdjustToTickBoundary(const Time_Typed& iTime)
{
    if (iTime.GetType() != Time_eType_Ticks)
        return iTime;
    return Time_Typed(Time_Tick(RoundToDisplayTick(iTime.AsInt64(), 480)));
}
