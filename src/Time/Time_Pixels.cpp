#include "Time/Time_Pixels.h"

#include <algorithm>
#include <cmath>

#include "Cmn_Assert.h"
#include "Time/Time_MeterMap.h"
#include "Time/Time_TempoMap.h"

Time_Pixels* StInitTimePixels::sCurrentP = nullptr;

StInitTimePixels::StInitTimePixels(Time_Pixels* iPixelsP) : mPreviousP(sCurrentP)
{
    sCurrentP = iPixelsP;
}

StInitTimePixels::~StInitTimePixels()
{
    sCurrentP = mPreviousP;
}

Time_Pixels::Time_Pixels(Time_TempoMap* iTempoMapP, Time_MeterMap* iMeterMapP)
    : mTempoMapP(iTempoMapP), mMeterMapP(iMeterMapP)
{
}

void Time_Pixels::SetSamplesPerPixel(double iSamplesPerPixel)
{
    CMN_ASSERT(iSamplesPerPixel > 0.0);
    mSamplesPerPixel = iSamplesPerPixel;
    InvalidateCache();
}

void Time_Pixels::SetTicksPerPixel(double iTicksPerPixel)
{
    CMN_ASSERT(iTicksPerPixel > 0.0);
    mTicksPerPixel = iTicksPerPixel;
    InvalidateCache();
}

void Time_Pixels::SetLinearType(Time_EType iType)
{
    CMN_ASSERT(iType == Time_eType_Samples || iType == Time_eType_Ticks);
    mLinearType = iType;
    InvalidateCache();
}

void Time_Pixels::SetTempoMap(Time_TempoMap* iTempoMapP)
{
    mTempoMapP = iTempoMapP;
    InvalidateCache();
}

Time_Tick Time_Pixels::ComputeFirstTick(Time_Tick iSongStartTick, Time_Tick iSessionStartTick,
                                        double iTicksPerPixel)
{
    const double distance = static_cast<double>((iSongStartTick - iSessionStartTick).AsInt64());
    return Time_Tick(iSongStartTick.AsInt64() -
                     Time_Round(std::ceil(distance / iTicksPerPixel) * iTicksPerPixel));
}

Time_Tick Time_Pixels::GetFirstTick() const
{
    if (mTempoMapP == nullptr)
        return Time_Tick(Time_cDefaultOriginTick);
    return ComputeFirstTick(mTempoMapP->GetSongStartTick(), mTempoMapP->GetSessionStartTick(),
                            mTicksPerPixel);
}

int32_t Time_Pixels::LinearValueToPixel(int64_t iValue) const
{
    if (mLinearType == Time_eType_Samples)
        return Time_TruncateTo32(static_cast<double>(iValue) / mSamplesPerPixel + 0.5);
    return Time_TruncateTo32(
        static_cast<double>(iValue - GetFirstTick().AsInt64()) / mTicksPerPixel + 0.5);
}

int64_t Time_Pixels::PixelToLinearValue(int32_t iPixel) const
{
    if (mLinearType == Time_eType_Samples)
        return Time_Truncate(iPixel * mSamplesPerPixel + 0.5);
    return Time_Truncate(iPixel * mTicksPerPixel + 0.5) + GetFirstTick().AsInt64();
}

int64_t Time_Pixels::LinearToOther(int64_t iValue, bool iWalk)
{
    CMN_ASSERT_TEXT(mTempoMapP != 0, "mTempoMapP != 0");
    if (mLinearType == Time_eType_Samples)
        return (iWalk ? mTempoMapP->NextSampleToTick(Time_Sample(iValue))
                      : mTempoMapP->SampleToTick(Time_Sample(iValue)))
            .AsInt64();
    return (iWalk ? mTempoMapP->NextTickToSample(Time_Tick(iValue))
                  : mTempoMapP->TickToSample(Time_Tick(iValue)))
        .AsInt64();
}

int64_t Time_Pixels::OtherToLinear(int64_t iValue)
{
    CMN_ASSERT_TEXT(mTempoMapP != 0, "mTempoMapP != 0");
    if (mLinearType == Time_eType_Samples)
        return mTempoMapP->TickToSample(Time_Tick(iValue)).AsInt64();
    return mTempoMapP->SampleToTick(Time_Sample(iValue)).AsInt64();
}

int32_t Time_Pixels::OtherScaleToPixel(int64_t iValue)
{
    CMN_ASSERT_TEXT(mTempoMapP != 0, "mTempoMapP != 0");
    if (Cached(iValue))
        return LookUpPixel(iValue);
    return LinearValueToPixel(OtherToLinear(iValue));
}

int64_t Time_Pixels::PixelToOtherScale(int32_t iPixel)
{
    CMN_ASSERT_TEXT(mTempoMapP != 0, "mTempoMapP != 0");
    if (!mCacheBeingBuilt && !CacheRangeIsEmpty() && iPixel >= mFirstCachePixel &&
        iPixel <= mLastCachePixel)
    {
        if (!mCacheValid)
            BuildCache();
        if (mCacheValid)
            return mCachedOtherValues[static_cast<size_t>(iPixel - mFirstCachePixel)];
    }
    return LinearToOther(PixelToLinearValue(iPixel), false);
}

int32_t Time_Pixels::SampleToPixel(Time_Sample iSample)
{
    if (mLinearType == Time_eType_Samples)
        return LinearValueToPixel(iSample.AsInt64());
    return OtherScaleToPixel(iSample.AsInt64());
}

int32_t Time_Pixels::TickToPixel(Time_Tick iTick)
{
    if (mLinearType == Time_eType_Ticks)
        return LinearValueToPixel(iTick.AsInt64());
    return OtherScaleToPixel(iTick.AsInt64());
}

int32_t Time_Pixels::TimeTypedToPixel(const Time_Typed& iTime)
{
    if (iTime.GetType() == Time_eType_Samples)
        return SampleToPixel(iTime.AsSample());
    return TickToPixel(iTime.AsTick());
}

Time_Sample Time_Pixels::PixelToSample(int32_t iPixel)
{
    if (mLinearType == Time_eType_Samples)
        return Time_Sample(PixelToLinearValue(iPixel));
    return Time_Sample(PixelToOtherScale(iPixel));
}

Time_Tick Time_Pixels::PixelToTick(int32_t iPixel)
{
    if (mLinearType == Time_eType_Ticks)
        return Time_Tick(PixelToLinearValue(iPixel));
    return Time_Tick(PixelToOtherScale(iPixel));
}

Time_Typed Time_Pixels::PixelToTimeTyped(int32_t iPixel, Time_EType iType)
{
    CMN_ASSERT(iType == Time_eType_Samples || iType == Time_eType_Ticks);
    if (iType == Time_eType_Samples)
        return Time_Typed(PixelToSample(iPixel));
    return Time_Typed(PixelToTick(iPixel));
}

void Time_Pixels::SetCachePixelBounds(int32_t iFirst, int32_t iLast)
{
    iFirst = std::max(iFirst, 0);
    iLast = std::max(iLast, 0);
    if (iFirst == mFirstCachePixel && iLast == mLastCachePixel)
        return;
    mFirstCachePixel = iFirst;
    mLastCachePixel = iLast;
    InvalidateCache();
}

void Time_Pixels::InvalidateCache()
{
    mCacheValid = false;
    mCachedPixelBoundaries.clear();
    mCachedOtherValues.clear();
}

bool Time_Pixels::Cached(int64_t iValue)
{
    if (mCacheBeingBuilt || CacheRangeIsEmpty())
        return false;
    if (!mCacheValid)
        BuildCache();
    if (!mCacheValid || mCachedPixelBoundaries.empty())
        return false;
    return iValue >= mCachedPixelBoundaries.front() && iValue <= mCachedPixelBoundaries.back();
}

int32_t Time_Pixels::LookUpPixel(int64_t iValue) const
{
    const auto it =
        std::upper_bound(mCachedPixelBoundaries.begin(), mCachedPixelBoundaries.end(), iValue);
    return mFirstCachePixel + static_cast<int32_t>(it - mCachedPixelBoundaries.begin());
}

void Time_Pixels::BuildCache()
{
    CMN_ASSERT_TEXT(mTempoMapP != 0, "mTempoMapP != 0");
    struct StBuilding
    {
        bool& mFlag;
        ~StBuilding() { mFlag = false; }
    } building{mCacheBeingBuilt};
    mCacheBeingBuilt = true;
    InvalidateCache();
    const bool samples = mLinearType == Time_eType_Samples;
    const double units = samples ? mSamplesPerPixel : mTicksPerPixel;
    const double origin = samples ? 0.0 : static_cast<double>(GetFirstTick().AsInt64());
    const int64_t low = samples ? 0 : Time_cMinTickTime;
    const int64_t high = samples ? Time_cMaxSampleTime : Time_cMaxTickTime;
    const size_t count = static_cast<size_t>(mLastCachePixel - mFirstCachePixel) + 1;
    mCachedPixelBoundaries.reserve(count - 1);
    mCachedOtherValues.reserve(count);
    for (int32_t pixel = mFirstCachePixel; pixel <= mLastCachePixel; ++pixel)
    {
        if (pixel > mFirstCachePixel)
        {
            // The first linear value that rounds to this pixel, then the first value of the
            // other scale that maps onto it.
            const double x = std::clamp((pixel - 0.5) * units + origin, double(low), double(high));
            const int64_t below =
                x == std::floor(x) ? Time_Truncate(x) - 1 : Time_Truncate(std::floor(x));
            const int64_t first = std::min(below + 1, high);
            mCachedPixelBoundaries.push_back(
                samples ? mTempoMapP->SampleToFirstTick(Time_Sample(first)).AsInt64()
                        : mTempoMapP->TickToFirstSample(Time_Tick(first)).AsInt64());
        }
        mCachedOtherValues.push_back(LinearToOther(PixelToLinearValue(pixel), true));
    }
    mCacheValid = true;
}

int32_t Time_Pixels::BarBeatToPixel(const Time_BarBeatTick& iBBT)
{
    CMN_ASSERT_TEXT(mMeterMapP != 0, "mMeterMapP != 0");
    return TickToPixel(mMeterMapP->BarBeatToTick(iBBT));
}

Time_BarBeatTick Time_Pixels::PixelToBarBeat(int32_t iPixel)
{
    CMN_ASSERT_TEXT(mMeterMapP != 0, "mMeterMapP != 0");
    return mMeterMapP->TickToBarBeat(PixelToTick(iPixel));
}

Time_Typed Time_Pixels::AddTimeTypedLength(const Time_Typed& iTime, const Time_TypedLength& iLength)
{
    if (iLength.AsInt64() == 0 || iTime.GetType() == iLength.GetType())
        return iTime + Time_Typed(iLength);
    CMN_ASSERT_TEXT(mTempoMapP != 0, "mTempoMapP != 0");
    const Time_Typed sum =
        mTempoMapP->TimeTypedToSpecifiedType(iTime, iLength.GetType()) + Time_Typed(iLength);
    return mTempoMapP->TimeTypedToSpecifiedType(sum, iTime.GetType());
}

void Time_Pixels::TicksOfCacheBounds(Time_Tick& oStart, Time_Tick& oEnd)
{
    CMN_ASSERT_TEXT(mTempoMapP != 0, "mTempoMapP != 0");
    if (CacheRangeIsEmpty())
    {
        oStart = Time_Tick(Time_cMinTickTime);
        oEnd = Time_Tick(Time_cMaxTickTime);
        return;
    }
    oStart = PixelToTick(mFirstCachePixel);
    oEnd = PixelToTick(mLastCachePixel);
}

double Time_Pixels::GetMaxTicksPerSample()
{
    Time_Tick start, end;
    TicksOfCacheBounds(start, end);
    return mTempoMapP->GetMaxTicksPerSample(start, end);
}

double Time_Pixels::GetMinTicksPerSample()
{
    Time_Tick start, end;
    TicksOfCacheBounds(start, end);
    return mTempoMapP->GetMinTicksPerSample(start, end);
}
