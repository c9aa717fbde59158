#include "Time/Time_MinSec.h"

#include <algorithm>
#include <cstdio>

#include "Time/Time_Globals.h"

Time_MinSec::Time_MinSec(int32_t iMinutes, int32_t iSeconds, int32_t iMilliseconds)
    : mMinutes(iMinutes), mSeconds(iSeconds), mMilliseconds(iMilliseconds)
{
    ReconcileValues();
}

void Time_MinSec::ReconcileValues()
{
    // Carry and borrow in 64 bits so that no field can overflow on the way.
    int64_t milliseconds = mMilliseconds;
    int64_t seconds = mSeconds;
    int64_t minutes = mMinutes;
    seconds += milliseconds / 1000;
    milliseconds %= 1000;
    if (milliseconds < 0)
    {
        milliseconds += 1000;
        --seconds;
    }
    minutes += seconds / 60;
    seconds %= 60;
    if (seconds < 0)
    {
        seconds += 60;
        --minutes;
    }
    if (minutes < 0)
    {
        minutes = 0;
        seconds = 0;
        milliseconds = 0;
    }
    mMinutes = static_cast<int32_t>(std::min<int64_t>(minutes, kMaxMinutes));
    mSeconds = static_cast<int32_t>(seconds);
    mMilliseconds = static_cast<int32_t>(milliseconds);
}

void Time_MinSec::SetFromSamples(Time_Sample iSamples)
{
    const int64_t ms = Time_Truncate((static_cast<double>(iSamples.AsInt64()) + 0.5) * 1000.0 /
                                     Time_Globals::GetPullSampleRate());
    mMinutes = static_cast<int32_t>(std::clamp<int64_t>(ms / 60000, -1, kMaxMinutes + 1));
    mSeconds = static_cast<int32_t>((ms % 60000) / 1000);
    mMilliseconds = static_cast<int32_t>(ms % 1000);
    ReconcileValues();
}

Time_Sample Time_MinSec::GetSamples() const
{
    Time_Sample samples(Time_Round((mSeconds * 1000.0 + mMinutes * 60000.0 + mMilliseconds) *
                                   Time_Globals::GetPullSampleRate() * 0.001));
    return samples.PinToValidRange();
}

std::string Time_MinSec::ToString(bool iFixedWidth) const
{
    char text[64];
    std::snprintf(text, sizeof text, iFixedWidth ? "%3d:%02d.%03d" : "%d:%02d.%03d",
                  std::max(mMinutes, 0), std::min(mSeconds, 59), std::min(mMilliseconds, 999));
    return text;
}

void Time_MinSec::FromString(const std::string& iText)
{
    mMinutes = Time_ColumnToLong(iText, 0, 3);
    mSeconds = Time_ColumnToLong(iText, 4, 2);
    mMilliseconds = Time_ColumnToLong(iText, 7, 3);
    ReconcileValues();
}

Time_MinSec operator+(const Time_MinSec& a, const Time_MinSec& b)
{
    return Time_MinSec(a.mMinutes + b.mMinutes, a.mSeconds + b.mSeconds,
                       a.mMilliseconds + b.mMilliseconds);
}

Time_MinSec operator-(const Time_MinSec& a, const Time_MinSec& b)
{
    return Time_MinSec(a.mMinutes - b.mMinutes, a.mSeconds - b.mSeconds,
                       a.mMilliseconds - b.mMilliseconds);
}
