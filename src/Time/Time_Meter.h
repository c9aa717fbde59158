// A time signature: numerator over denominator, with the click interval of a metronome.
//
// Contract: the constructors assert "iNumerator >= 1" and "iDenominator >= 1"; the default
// is 1/1 with a quarter-note click. Durations are in internal ticks: a bar is numerator x
// 3,840,000 / denominator, a beat 3,840,000 / denominator, and GetTicksPerBeat the bar
// divided by the numerator (so it truncates twice).
#pragma once

#include <cstdint>

#include "Time/Time_NotationDurationValue.h"
#include "Time/Time_Types.h"

class Time_BarBeatTick;

class Time_Meter
{
public:
    Time_Meter() = default;
    Time_Meter(int32_t iNumerator, int32_t iDenominator);
    Time_Meter(int32_t iNumerator, int32_t iDenominator,
               const Time_NotationDurationValue& iClickInterval);

    int32_t GetNumerator() const { return mNumerator; }
    int32_t GetDenominator() const { return mDenominator; }
    const Time_NotationDurationValue& GetClickInterval() const { return mClickInterval; }
    Time_Tick GetBarDuration() const
    {
        return Time_Tick(mNumerator * Time_cInternalTicksPerWholeNote / mDenominator);
    }
    Time_Tick GetBeatDuration() const
    {
        return Time_Tick(Time_cInternalTicksPerWholeNote / mDenominator);
    }
    Time_Tick GetTicksPerBeat() const { return Time_Tick(GetBarDuration().AsInt64() / mNumerator); }
    // Ticks from the start of bar 1 to iBBT's beat and tick (the bar number is not used):
    // whole bars of the beats, the rest of the beats, then the ticks.
    Time_Tick ComputeOffsetIntoBar(const Time_BarBeatTick& iBBT) const;

    friend bool operator==(const Time_Meter& a, const Time_Meter& b)
    {
        return a.mNumerator == b.mNumerator && a.mDenominator == b.mDenominator &&
               a.mClickInterval == b.mClickInterval;
    }
    friend bool operator!=(const Time_Meter& a, const Time_Meter& b) { return !(a == b); }

    int32_t mNumerator = 1;
    int32_t mDenominator = 1;
    Time_NotationDurationValue mClickInterval;
};
