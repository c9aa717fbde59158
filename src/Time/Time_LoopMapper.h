// The time of a loop: maps a position inside the loop to elapsed time over repetitions and
// back. The loop length is end - start; both ends share one Time_EType (a mismatch goes
// through the type-mismatch handler like any other typed arithmetic).
//
// Contract: positions before the start never move. A loop whose end is not after its start
// maps every elapsed time to itself with loop count 0.
#pragma once

#include <cstdint>

#include "Time/Time_Typed.h"

class Time_LoopMapper
{
public:
    Time_LoopMapper() = default;
    Time_LoopMapper(const Time_Typed& iStart, const Time_Typed& iEnd) : mStart(iStart), mEnd(iEnd)
    {
    }

    const Time_Typed& GetStart() const { return mStart; }
    const Time_Typed& GetEnd() const { return mEnd; }

    // iLocal itself before the start, else iLocal moved by iLoopCount loop lengths.
    Time_Typed LocalToElapsedTime(const Time_Typed& iLocal, int32_t iLoopCount) const;
    // The position inside the loop and (when oLoopCount is not null) the number of whole loops
    // before it.
    Time_Typed ElapsedToLocalTime(int32_t* oLoopCount, const Time_Typed& iElapsed) const;
    Time_Typed GetLoopOffset(int32_t iLoopCount) const;

private:
    Time_Typed mStart;
    Time_Typed mEnd;
};
