#include "Time/Time_LoopMapper.h"

Time_Typed Time_LoopMapper::GetLoopOffset(int32_t iLoopCount) const
{
    return (mEnd - mStart) * iLoopCount;
}

Time_Typed Time_LoopMapper::LocalToElapsedTime(const Time_Typed& iLocal, int32_t iLoopCount) const
{
    if (iLocal < mStart)
        return iLocal;
    return iLocal + GetLoopOffset(iLoopCount);
}

Time_Typed Time_LoopMapper::ElapsedToLocalTime(int32_t* oLoopCount,
                                               const Time_Typed& iElapsed) const
{
    if (iElapsed < mEnd || !(mEnd > mStart))
    {
        if (oLoopCount != nullptr)
            *oLoopCount = 0;
        return iElapsed;
    }
    const Time_Typed length = mEnd - mStart;
    const int64_t loops = (iElapsed - mStart) / length;
    if (oLoopCount != nullptr)
        *oLoopCount = static_cast<int32_t>(loops);
    return iElapsed - length * loops;
}
