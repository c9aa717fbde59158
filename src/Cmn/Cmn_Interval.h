// Half-open intervals of 64-bit locations and sorted lists of them.
//
// Cmn_Interval [mBegin, mEnd): Contains(x) is mBegin <= x < mEnd, so mEnd itself is outside.
// Its operator< orders DESCENDING, by mBegin and then by mEnd: a < b when a begins later, or
// begins at the same place and ends later. operator> is the mirror (b < a), so it is the
// ascending order. Sorting with std::less puts the latest interval first.
//
// Cmn_IntervalList keeps these invariants after every Insert:
//   1. entries are sorted ascending by mBegin;
//   2. no two entries overlap or touch (a.mEnd < next.mBegin), because Insert merges an
//      interval with every entry it overlaps or touches.
// Editing the list through its std::list interface bypasses them; that is the caller's affair.
// Not thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>

class Cmn_Interval
{
public:
    Cmn_Interval() = default;
    Cmn_Interval(int64_t iBegin, int64_t iEnd) : mBegin(iBegin), mEnd(iEnd) {}

    bool Contains(int64_t iLoc) const { return mBegin <= iLoc && iLoc < mEnd; }
    // iLoc relative to mBegin (not checked against the interval).
    int64_t GetPosInInterval(int64_t iLoc) const { return iLoc - mBegin; }
    int64_t GetLength() const { return mEnd - mBegin; }

    // Descending order: see the note at the top.
    bool operator<(const Cmn_Interval& iOther) const
    {
        if (mBegin != iOther.mBegin)
            return mBegin > iOther.mBegin;
        return mEnd > iOther.mEnd;
    }
    bool operator>(const Cmn_Interval& iOther) const { return iOther < *this; }
    bool operator==(const Cmn_Interval& iOther) const
    {
        return mBegin == iOther.mBegin && mEnd == iOther.mEnd;
    }
    bool operator!=(const Cmn_Interval& iOther) const { return !(*this == iOther); }

    int64_t mBegin = 0;
    int64_t mEnd = 0;
};

class Cmn_IntervalList : public std::list<Cmn_Interval>
{
public:
    // Adds inInterval, merging it with every entry it overlaps or touches; an interval that
    // meets no entry is inserted in its gap. Asserts
    // "inInterval.mEnd >= inInterval.mBegin && inInterval.mBegin >= 0".
    void Insert(const Cmn_Interval& inInterval);
    // Not supported: always fails the assertion "0".
    void Delete(const Cmn_Interval& inInterval);

    // Reads inFlatValue as an offset into the concatenated intervals. The walk passes each
    // entry whose mEnd <= inFlatValue + (sum of the lengths passed so far), comparing the
    // flat value itself, not shifted by where the first entry begins, with the entry's end.
    // The result is (sum of lengths passed) - mBegin of the entry reached + inFlatValue. So
    // on a list whose first entry begins at b, a value in [b, first mEnd) maps to value - b.
    // Asserts "iter != this->end() && inFlatValue >= (*iter).mBegin".
    int64_t MapFlatToSparse(int64_t inFlatValue) const;

    // Index of the entry that contains inLoc, or -1.
    int32_t GetIntervalIndexForLoc(int64_t inLoc) const;
    // inLoc - mBegin of the entry that contains it, or -1.
    int64_t MapToLocInInterval(int64_t inLoc) const;
    // The entry at inIndex; asserts "inIndex < this->size()".
    const Cmn_Interval& GetIntervalAtIndex(size_t inIndex) const;
    // True when one entry covers all of inInterval.
    bool Contains(const Cmn_Interval& inInterval) const;
};
