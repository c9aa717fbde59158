#include "Cmn_Interval.h"

#include <algorithm>
#include <iterator>

#include "Cmn_Assert.h"

void Cmn_IntervalList::Insert(const Cmn_Interval& inInterval)
{
    CMN_ASSERT(inInterval.mEnd >= inInterval.mBegin && inInterval.mBegin >= 0);

    // First entry that reaches the new interval (its end at or past the new begin).
    iterator first = begin();
    while (first != end() && (*first).mEnd < inInterval.mBegin)
        ++first;
    // First entry that lies wholly past the new interval.
    iterator last = first;
    while (last != end() && (*last).mBegin <= inInterval.mEnd)
        ++last;

    if (first == last)
    {
        // Meets nothing: it goes into the gap before `last`.
        insert(last, inInterval);
        return;
    }
    // [first, last) all overlap or touch the new interval: widen the first entry over all of
    // them and drop the rest.
    iterator lastTouched = std::prev(last);
    (*first).mBegin = std::min((*first).mBegin, inInterval.mBegin);
    (*first).mEnd = std::max((*lastTouched).mEnd, inInterval.mEnd);
    erase(std::next(first), last);
}

void Cmn_IntervalList::Delete(const Cmn_Interval& /*inInterval*/)
{
    CMN_ASSERT(0);
}

int64_t Cmn_IntervalList::MapFlatToSparse(int64_t inFlatValue) const
{
    int64_t sum = 0;
    const_iterator iter = begin();
    while (iter != this->end() && (*iter).mEnd <= inFlatValue + sum)
    {
        sum += (*iter).mEnd - (*iter).mBegin;
        ++iter;
    }
    CMN_ASSERT(iter != this->end() && inFlatValue >= (*iter).mBegin);
    return sum - (*iter).mBegin + inFlatValue;
}

int32_t Cmn_IntervalList::GetIntervalIndexForLoc(int64_t inLoc) const
{
    int32_t index = 0;
    for (const Cmn_Interval& interval : *this)
    {
        if (interval.Contains(inLoc))
            return index;
        if (interval.mBegin > inLoc)
            break;
        ++index;
    }
    return -1;
}

int64_t Cmn_IntervalList::MapToLocInInterval(int64_t inLoc) const
{
    for (const Cmn_Interval& interval : *this)
    {
        if (interval.Contains(inLoc))
            return interval.GetPosInInterval(inLoc);
        if (interval.mBegin > inLoc)
            break;
    }
    return -1;
}

const Cmn_Interval& Cmn_IntervalList::GetIntervalAtIndex(size_t inIndex) const
{
    CMN_ASSERT(inIndex < this->size());
    return *std::next(begin(), static_cast<std::ptrdiff_t>(inIndex));
}

bool Cmn_IntervalList::Contains(const Cmn_Interval& inInterval) const
{
    for (const Cmn_Interval& interval : *this)
    {
        if (interval.mBegin <= inInterval.mBegin && inInterval.mEnd <= interval.mEnd)
            return true;
        if (interval.mBegin > inInterval.mBegin)
            break;
    }
    return false;
}
