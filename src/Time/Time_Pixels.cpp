#include "Time/Time_Pixels.h"

#include <algorithm>
#include <cmath>

#include "Cmn_Assert.h"

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
    CMN_ASSERT_TEXT(mTempoMapP == nullptr, "first tick from a tempo map is not available");
    return Time_Tick(Time_cDefaultOriginTick);
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

int32_t Time_Pixels::OtherScaleToPixel(int64_t /*iValue*/)
{
    CMN_ASSERT(mTempoMapP != nullptr);
    CMN_ASSERT_TEXT(false, "conversion through the tempo map is not available");
    return 0;
}

int64_t Time_Pixels::PixelToOtherScale(int32_t /*iPixel*/)
{
    CMN_ASSERT(mTempoMapP != nullptr);
    CMN_ASSERT_TEXT(false, "conversion through the tempo map is not available");
    return 0;
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
    CMN_ASSERT(mTempoMapP != nullptr);
    CMN_ASSERT_TEXT(false, "the pixel cache needs the tempo map conversions");
}
