// A note value as a notation program names it: whole to sixty-fourth, dotted, tuplet.
//
// Contract:
//   - GetTicks: 3,840,000 shifted right by (note value - 1), half again when dotted, then
//     times numerator over denominator for a tuplet with a denominator other than 0. A note
//     value below 1 asserts; a very large one gives 0 ticks.
//   - Comparisons look at the note value and then the dotted flag and ignore the tuplet, so
//     ">" means a larger enumerator, which is a shorter note.
//   - The streamed form is a 16-bit version (1), the long note value, the dotted and tuplet
//     flags and the two long tuplet terms; StreamIn throws message 1403 of the Time package
//     for any other version and does not change the value then.
#pragma once

#include <cstdint>

#include "Time/Time_Types.h"

class Sys_TypedInStream;
class Sys_TypedOutStream;

struct Time_NotationDurationValue
{
    enum ENoteValue : int32_t
    {
        eNoteValue_Whole = 1,
        eNoteValue_Half = 2,
        eNoteValue_Quarter = 3,
        eNoteValue_Eighth = 4,
        eNoteValue_Sixteenth = 5,
        eNoteValue_ThirtySecond = 6,
        eNoteValue_SixtyFourth = 7
    };

    int32_t mNoteValue = eNoteValue_Quarter;
    bool mDotted = false;
    bool mTuplet = false;
    int32_t mTupletNumerator = 2;
    int32_t mTupletDenominator = 3;

    Time_Tick GetTicks() const;
    // The longest plain note not longer than iTicks (down to a sixty-fourth), dotted when the
    // dotted note still fits; tuplet off with 2 in 3.
    static void MakeDurationValue(Time_Tick iTicks, Time_NotationDurationValue& oValue);

    void StreamOut(Sys_TypedOutStream& ioStream) const;
    void StreamIn(Sys_TypedInStream& ioStream);

    friend bool operator==(const Time_NotationDurationValue& a, const Time_NotationDurationValue& b)
    {
        return a.mNoteValue == b.mNoteValue && a.mDotted == b.mDotted;
    }
    friend bool operator!=(const Time_NotationDurationValue& a, const Time_NotationDurationValue& b)
    {
        return !(a == b);
    }
    friend bool operator<(const Time_NotationDurationValue& a, const Time_NotationDurationValue& b)
    {
        if (a.mNoteValue != b.mNoteValue)
            return a.mNoteValue < b.mNoteValue;
        return !a.mDotted && b.mDotted;
    }
    friend bool operator>(const Time_NotationDurationValue& a, const Time_NotationDurationValue& b)
    {
        return b < a;
    }
    friend bool operator<=(const Time_NotationDurationValue& a, const Time_NotationDurationValue& b)
    {
        return !(b < a);
    }
    friend bool operator>=(const Time_NotationDurationValue& a, const Time_NotationDurationValue& b)
    {
        return !(a < b);
    }

    static constexpr int16_t cStreamVersion = 1;
};
