// Minutes, seconds and milliseconds of a session position.
//
// Invariant: after every operation minutes lie in 0 .. 800 and seconds and milliseconds are
// carried into range (ReconcileValues): a value that would go below zero becomes 0:00.000,
// and a value past 800 minutes keeps its seconds and milliseconds with minutes pinned at 800.
// Samples are at the pull rate; conversions round by adding 0.5 and truncating toward zero.
// Text never fails: FromString reads fixed columns (minutes 0-2, seconds 4-5, ms 7-9).
#pragma once

#include <compare>
#include <cstdint>
#include <string>

#include "Time/Time_Types.h"

class Time_MinSec
{
public:
    static constexpr int32_t kMaxMinutes = 800;

    Time_MinSec() = default;
    // Reconciled.
    Time_MinSec(int32_t iMinutes, int32_t iSeconds, int32_t iMilliseconds);

    void SetFromSamples(Time_Sample iSamples);
    // Pinned to 0 .. 0x7FFFFFFF.
    Time_Sample GetSamples() const;

    // "M:SS.mmm"; fixed width pads the minutes to 3 characters.
    std::string ToString(bool iFixedWidth) const;
    void FromString(const std::string& iText);

    int32_t GetMinutes() const { return mMinutes; }
    int32_t GetSeconds() const { return mSeconds; }
    int32_t GetMilliseconds() const { return mMilliseconds; }

    friend bool operator==(const Time_MinSec& a, const Time_MinSec& b)
    {
        return a.mMinutes == b.mMinutes && a.mSeconds == b.mSeconds &&
               a.mMilliseconds == b.mMilliseconds;
    }
    friend std::strong_ordering operator<=>(const Time_MinSec& a, const Time_MinSec& b)
    {
        return a.TotalMilliseconds() <=> b.TotalMilliseconds();
    }
    friend Time_MinSec operator+(const Time_MinSec& a, const Time_MinSec& b);
    friend Time_MinSec operator-(const Time_MinSec& a, const Time_MinSec& b);
    Time_MinSec& operator+=(const Time_MinSec& iOther) { return *this = *this + iOther; }
    Time_MinSec& operator-=(const Time_MinSec& iOther) { return *this = *this - iOther; }

private:
    int64_t TotalMilliseconds() const
    {
        return (int64_t(mMinutes) * 60 + mSeconds) * 1000 + mMilliseconds;
    }
    void ReconcileValues();

    int32_t mMinutes = 0;
    int32_t mSeconds = 0;
    int32_t mMilliseconds = 0;
};
