// Maps time to screen columns.
//
// One scale is linear (samples at first): a pixel is a fixed number of its units, and
// conversions on it are plain arithmetic, rounded by adding 0.5 and truncating toward zero,
// with every pixel value limited to the int32 range before truncation. On the tick scale the
// pixel grid is aligned to the song start through the first tick (GetFirstTick).
//
// The other scale is not linear: it converts through the tempo map, helped by a cache of the
// pixels between SetCachePixelBounds(first, last). The cache holds, for each pixel after the
// first, the first value of the other scale that rounds to it (the boundaries) and the value
// at the exact pixel position. Invariants:
//   1. Changing the bounds, the scale or the units per pixel invalidates the cache.
//   2. Cached(value) is false while the cache is being built or when the bounds hold fewer
//      than two pixels; otherwise it builds an invalid cache first.
//   3. LookUpPixel(value) is the upper bound of value in the boundaries plus the first pixel.
// The cross-scale conversions need the tempo map (not owned; they assert "mTempoMapP != 0"
// without one), bars and beats the meter map (not owned; "mMeterMapP != 0"). The cache is
// built pixel by pixel from the first bound with the monotone walks of the tempo map.
//
// An instance caches and so must not be shared between threads. StInitTimePixels publishes
// one instance as the current one for its scope (GetTimePixels); it is not owned by the guard.
#pragma once

#include <cstdint>
#include <vector>

#include "Time/Time_BarBeatTick.h"
#include "Time/Time_Typed.h"
#include "Time/Time_Types.h"

class Time_TempoMap;
class Time_MeterMap;

class Time_Pixels
{
public:
    explicit Time_Pixels(Time_TempoMap* iTempoMapP = nullptr, Time_MeterMap* iMeterMapP = nullptr);
    virtual ~Time_Pixels() = default;

    virtual void SetSamplesPerPixel(double iSamplesPerPixel);
    virtual void SetTicksPerPixel(double iTicksPerPixel);

    double GetSamplesPerPixel() const { return mSamplesPerPixel; }
    double GetTicksPerPixel() const { return mTicksPerPixel; }
    Time_EType GetLinearType() const { return mLinearType; }
    // Samples or ticks (asserts for another type).
    void SetLinearType(Time_EType iType);
    Time_TempoMap* GetTempoMap() const { return mTempoMapP; }
    void SetTempoMap(Time_TempoMap* iTempoMapP);
    Time_MeterMap* GetMeterMap() const { return mMeterMapP; }
    void SetMeterMap(Time_MeterMap* iMeterMapP) { mMeterMapP = iMeterMapP; }

    int32_t SampleToPixel(Time_Sample iSample);
    int32_t TickToPixel(Time_Tick iTick);
    // Samples or ticks (asserts for another type).
    int32_t TimeTypedToPixel(const Time_Typed& iTime);
    Time_Sample PixelToSample(int32_t iPixel);
    Time_Tick PixelToTick(int32_t iPixel);
    Time_Typed PixelToTimeTyped(int32_t iPixel, Time_EType iType);
    int32_t BarBeatToPixel(const Time_BarBeatTick& iBBT);
    Time_BarBeatTick PixelToBarBeat(int32_t iPixel);
    // iTime moved by iLength measured in the length's own scale, in iTime's type.
    Time_Typed AddTimeTypedLength(const Time_Typed& iTime, const Time_TypedLength& iLength);
    // The fastest and slowest tempo, in ticks per sample, over the ticks of the cache's pixel
    // bounds (the whole map while the bounds are empty).
    double GetMaxTicksPerSample();
    double GetMinTicksPerSample();

    // The tick of pixel 0 on the tick scale: Time_cDefaultOriginTick without a tempo map.
    Time_Tick GetFirstTick() const;
    // Aligns the pixel grid to the song start: song start less the whole pixels (rounded up)
    // from the session start to the song start.
    static Time_Tick ComputeFirstTick(Time_Tick iSongStartTick, Time_Tick iSessionStartTick,
                                      double iTicksPerPixel);

    // Negative bounds are raised to 0; other bounds than the current ones invalidate the cache.
    void SetCachePixelBounds(int32_t iFirst, int32_t iLast);
    void InvalidateCache();
    int32_t GetFirstCachePixel() const { return mFirstCachePixel; }
    int32_t GetLastCachePixel() const { return mLastCachePixel; }
    bool IsCacheValid() const { return mCacheValid; }

protected:
    // Invariants 2 and 3.
    bool Cached(int64_t iValue);
    int32_t LookUpPixel(int64_t iValue) const;
    // Fills the cache from the tempo map.
    void BuildCache();
    bool CacheRangeIsEmpty() const
    {
        return mFirstCachePixel < 0 || mLastCachePixel <= mFirstCachePixel;
    }

    std::vector<int64_t> mCachedPixelBoundaries;
    std::vector<int64_t> mCachedOtherValues;

private:
    int32_t LinearValueToPixel(int64_t iValue) const;
    int64_t PixelToLinearValue(int32_t iPixel) const;
    // The conversions of the non-linear scale (through the tempo map).
    int32_t OtherScaleToPixel(int64_t iValue);
    int64_t PixelToOtherScale(int32_t iPixel);
    // The other scale's value of a linear value, and back, through the tempo map.
    int64_t LinearToOther(int64_t iValue, bool iWalk);
    int64_t OtherToLinear(int64_t iValue);
    void TicksOfCacheBounds(Time_Tick& oStart, Time_Tick& oEnd);

    Time_TempoMap* mTempoMapP;
    Time_MeterMap* mMeterMapP;
    double mSamplesPerPixel = 8192.0;
    double mTicksPerPixel = 30000.0;
    Time_EType mLinearType = Time_eType_Samples;
    bool mCacheValid = false;
    bool mCacheBeingBuilt = false;
    int32_t mFirstCachePixel = -1;
    int32_t mLastCachePixel = -1;
};

// Publishes iPixels as the current Time_Pixels for its scope and restores the previous one.
class StInitTimePixels
{
public:
    explicit StInitTimePixels(Time_Pixels* iPixelsP);
    ~StInitTimePixels();
    StInitTimePixels(const StInitTimePixels&) = delete;
    StInitTimePixels& operator=(const StInitTimePixels&) = delete;

    // The current one, or null.
    static Time_Pixels* GetTimePixels() { return sCurrentP; }

private:
    Time_Pixels* mPreviousP;
    static Time_Pixels* sCurrentP;
};
