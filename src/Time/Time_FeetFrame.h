// Film positions: feet, frames (16 to a foot) and subframes (100 to a frame).
//
// A day of film does not exist: positions wrap at 100,000 feet (kRolloverFrames frames,
// kRolloverSubframes subframes). The subframe rate comes from the process-wide rate
// (EFeetFramesRate: 2397.6023976023976, 2400.0 or 2500.0 subframes a second); samples are at
// the pull rate (Time_Globals::GetPullSampleRate). sGlobalFeetFramesOffset is the session's
// start position in samples.
//
// Contract:
//   1. Conversions round by adding 0.5 and truncating toward zero.
//   2. The ordering operators treat the two sides differently on purpose: the left side
//      counts as negative (less one rollover) above half a rollover, the right side below
//      it. So 0+01 > 0+02 is true. == and != compare the three fields.
//   3. + wraps down by one rollover at or past it, - wraps up when negative.
//   4. Text never fails: ToString pins frames to 30 and subframes to 99 and shows negative
//      feet as 0; FromString reads fixed columns (feet 0-4, frames 6-7, subframes 9-10).
#pragma once

#include <cstdint>
#include <string>

#include "Time/Time_Types.h"

class Time_FeetFrame
{
public:
    enum EFeetFramesRate : int32_t
    {
        eFeetFramesRate_23976 = 0,
        eFeetFramesRate_24 = 1,
        eFeetFramesRate_25 = 2
    };

    static constexpr int32_t kFramesPerFoot = 16;
    static constexpr int32_t kSubframesPerFrame = 100;
    static constexpr int32_t kRolloverFrames = 1600000;
    static constexpr int32_t kRolloverSubframes = 160000000;

    Time_FeetFrame() = default;
    Time_FeetFrame(int32_t iFeet, int32_t iFrames, int32_t iSubframes)
        : mFeet(iFeet), mFrames(iFrames), mSubframes(iSubframes)
    {
    }

    static void SetGlobalFeetFramesRate(EFeetFramesRate iRate) { sGlobalFeetFramesRate = iRate; }
    static EFeetFramesRate GetGlobalFeetFramesRate() { return sGlobalFeetFramesRate; }
    // Subframes per second of the global rate (asserts for a rate outside the enumeration).
    static double GetSubframesPerSecond();
    static void SetFrameOffset(Time_Sample iOffset) { sGlobalFeetFramesOffset = iOffset; }
    static Time_Sample GetFrameOffset() { return sGlobalFeetFramesOffset; }

    void SetFromTotalSamples(Time_Sample iSamples);
    // From a session-relative sample: the offset is added, then the count wraps once.
    void SetFromSamplesFromStartFrame(Time_Sample iSamples);
    // Wraps iFrames by one rollover (up when negative, down at or past it).
    void SetFromTotalFrames(int32_t iFrames, bool iClearSubframes);
    void SetFromFramesFromStartFrame(int32_t iFrames);
    // Pinned to 0 .. 0x7FFFFFFF.
    Time_Sample GetSamples() const;
    Time_Sample GetSamplesFromStartFrame() const;
    int32_t GetTotalFrames() const { return mFeet * kFramesPerFoot + mFrames; }
    int32_t GetTotalSubframes() const
    {
        return FeetFramesSubframesToTotalSubframes(mFeet, mFrames, mSubframes);
    }
    // Frames from the position of the offset.
    int32_t GetFramesFromStartFrame() const;

    static int32_t FeetFramesSubframesToTotalSubframes(int32_t iFeet, int32_t iFrames,
                                                       int32_t iSubframes);
    static void TotalSubframesToFeetFramesSubframes(int32_t iTotal, int32_t& oFeet,
                                                    int32_t& oFrames, int32_t& oSubframes);

    // "feet+FF" with ".SS" subframes; fixed width pads the feet to 5 characters.
    std::string ToString(bool iShowSubframes, bool iFixedWidth) const;
    void FromString(const std::string& iText);

    int32_t GetFeet() const { return mFeet; }
    int32_t GetFrames() const { return mFrames; }
    int32_t GetSubframes() const { return mSubframes; }

    friend bool operator==(const Time_FeetFrame& a, const Time_FeetFrame& b)
    {
        return a.mFeet == b.mFeet && a.mFrames == b.mFrames && a.mSubframes == b.mSubframes;
    }
    friend bool operator!=(const Time_FeetFrame& a, const Time_FeetFrame& b) { return !(a == b); }
    friend bool operator<(const Time_FeetFrame& a, const Time_FeetFrame& b)
    {
        return Left(a) < Right(b);
    }
    friend bool operator>(const Time_FeetFrame& a, const Time_FeetFrame& b)
    {
        return Left(a) > Right(b);
    }
    friend bool operator<=(const Time_FeetFrame& a, const Time_FeetFrame& b)
    {
        return Left(a) <= Right(b);
    }
    friend bool operator>=(const Time_FeetFrame& a, const Time_FeetFrame& b)
    {
        return Left(a) >= Right(b);
    }
    friend Time_FeetFrame operator+(const Time_FeetFrame& a, const Time_FeetFrame& b);
    friend Time_FeetFrame operator-(const Time_FeetFrame& a, const Time_FeetFrame& b);
    Time_FeetFrame& operator+=(const Time_FeetFrame& iOther) { return *this = *this + iOther; }
    Time_FeetFrame& operator-=(const Time_FeetFrame& iOther) { return *this = *this - iOther; }

    static EFeetFramesRate sGlobalFeetFramesRate;
    static Time_Sample sGlobalFeetFramesOffset;

private:
    // The two sides of an ordering comparison (invariant 2).
    static int64_t Left(const Time_FeetFrame& iValue);
    static int64_t Right(const Time_FeetFrame& iValue);
    void SetFromSubframeCount(int64_t iSubframes);

    int32_t mFeet = 0;
    int32_t mFrames = 0;
    int32_t mSubframes = 0;
};
