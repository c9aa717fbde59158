// A musical position or duration: bar, beat and internal ticks from the beat.
//
// The first bar and the first beat are 1; the default is 1|1|0. A display tick is 1,000
// internal ticks (960 to a quarter note).
//
// Contract:
//   - Offset moves by a number of ticks inside one meter. Its beat length is
//     denominator x 960,000 / 4, which is right for quarter-note beats and deliberately not
//     adjusted for other denominators; Diff uses the true beat length 3,840,000 / denominator.
//     Both use C++ integer division (truncation toward zero) for negative amounts.
//   - IsOnBar and IsOnBarline mean beat 1 and tick 0.
//   - ToString limits the bar to -9999 and the beat to 99 and the display ticks to 9999;
//     FromString reads fixed columns (decided by whether column 4 is "|") and never rejects.
#pragma once

#include <compare>
#include <cstdint>
#include <string>

#include "Time/Time_Types.h"

class Time_Meter;

class Time_BarBeatTick
{
public:
    Time_BarBeatTick() = default;
    Time_BarBeatTick(int32_t iBar, int32_t iBeat, Time_Tick iTick)
        : mBar(iBar), mBeat(iBeat), mTick(iTick)
    {
    }

    void Offset(Time_Tick iTicks, const Time_Meter& iMeter, Time_BarBeatTick& oResult) const;
    // Ticks from iOther to this position in iMeter.
    Time_Tick Diff(const Time_BarBeatTick& iOther, const Time_Meter& iMeter) const;

    bool IsOnBar() const { return mBeat == 1 && mTick.AsInt64() == 0; }
    bool IsOnBarline() const { return IsOnBar(); }
    void AdvanceToNextBarline();
    // On a barline one bar back, else to the start of the current bar.
    void BackupToPreviousBarline();

    // (t + 500) / 1000 and t x 1000.
    static int64_t InternalTicksToDisplayTicks(int64_t iTicks) { return (iTicks + 500) / 1000; }
    static int64_t DisplayTicksToInternalTicks(int64_t iTicks) { return iTicks * 1000; }

    // "bar|beat" or, with iShowTicks, "bar|beat|Tddd" (T the thousands digit of the display
    // ticks or a blank); fixed width pads the bar to 5 and the beat to 2 characters.
    std::string ToString(bool iShowTicks, bool iFixedWidth) const;
    void FromString(const std::string& iText);

    friend bool operator==(const Time_BarBeatTick& a, const Time_BarBeatTick& b)
    {
        return a.mBar == b.mBar && a.mBeat == b.mBeat && a.mTick == b.mTick;
    }
    friend std::strong_ordering operator<=>(const Time_BarBeatTick& a, const Time_BarBeatTick& b)
    {
        if (a.mBar != b.mBar)
            return a.mBar <=> b.mBar;
        if (a.mBeat != b.mBeat)
            return a.mBeat <=> b.mBeat;
        return a.mTick <=> b.mTick;
    }

    int32_t mBar = 1;
    int32_t mBeat = 1;
    Time_Tick mTick;
};
