#include "Time/Time_BarBeatTick.h"

#include <algorithm>
#include <cstdio>

#include "Time/Time_Meter.h"

void Time_BarBeatTick::Offset(Time_Tick iTicks, const Time_Meter& iMeter,
                              Time_BarBeatTick& oResult) const
{
    // Quarter-note beat length scaled by the denominator (not the true beat length).
    const int64_t beatLength =
        int64_t(iMeter.GetDenominator()) * Time_cInternalTicksPerQuarterNote / 4;
    const int64_t numerator = iMeter.GetNumerator();
    const int64_t ticks = mTick.AsInt64() + iTicks.AsInt64();
    const int64_t beats = int64_t(mBeat) + ticks / beatLength - 1;
    oResult.mTick = Time_Tick(ticks % beatLength);
    oResult.mBeat = static_cast<int32_t>(1 + beats % numerator);
    oResult.mBar = static_cast<int32_t>(mBar + beats / numerator);
}

Time_Tick Time_BarBeatTick::Diff(const Time_BarBeatTick& iOther, const Time_Meter& iMeter) const
{
    const int64_t beats =
        (int64_t(mBar) - iOther.mBar) * iMeter.GetNumerator() - iOther.mBeat + mBeat;
    return Time_Tick(beats * (Time_cInternalTicksPerWholeNote / iMeter.GetDenominator()) -
                     iOther.mTick.AsInt64() + mTick.AsInt64());
}

void Time_BarBeatTick::AdvanceToNextBarline()
{
    ++mBar;
    mBeat = 1;
    mTick = Time_Tick(0);
}

void Time_BarBeatTick::BackupToPreviousBarline()
{
    if (IsOnBarline())
        --mBar;
    mBeat = 1;
    mTick = Time_Tick(0);
}

std::string Time_BarBeatTick::ToString(bool iShowTicks, bool iFixedWidth) const
{
    const int bar = std::max(mBar, -9999);
    const int beat = std::min(mBeat, 99);
    char text[64];
    if (iFixedWidth)
        std::snprintf(text, sizeof text, "%5d|%2d", bar, beat);
    else
        std::snprintf(text, sizeof text, "%d|%d", bar, beat);
    std::string result(text);
    if (iShowTicks)
    {
        const int display =
            static_cast<int>(std::min<int64_t>(InternalTicksToDisplayTicks(mTick.AsInt64()), 9999));
        const char thousands = display >= 1000 ? static_cast<char>('0' + display / 1000) : ' ';
        std::snprintf(text, sizeof text, "|%c%03d", thousands, display % 1000);
        result += text;
    }
    return result;
}

void Time_BarBeatTick::FromString(const std::string& iText)
{
    int64_t ticks = 0;
    if (iText.size() > 4 && iText[4] == '|')
    {
        mBar = Time_ColumnToLong(iText, 0, 4);
        mBeat = Time_ColumnToLong(iText, 5, 2);
        ticks = Time_ColumnToLong(iText, 8, 4);
    }
    else
    {
        mBar = Time_ColumnToLong(iText, 0, 5);
        mBeat = Time_ColumnToLong(iText, 6, 2);
        ticks = Time_ColumnToLong(iText, 9, 4);
    }
    mTick = Time_Tick(DisplayTicksToInternalTicks(ticks));
}
