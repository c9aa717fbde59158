#include "Sys_SemaphorePosix.h"

#include <cerrno>

#include "Sys_OSErrData.h"

Sys_SemaphorePosix::Sys_SemaphorePosix(int32_t iInitialCount, int32_t iMaximumCount)
    : mMaximumCount(iMaximumCount), mCount(iInitialCount)
{
    if (iInitialCount < 0 || iMaximumCount < 1 || iInitialCount > iMaximumCount)
        Sys_ThrowIfOSErr(EINVAL, "");
}

Sys_Semaphore* Sys_SemaphorePosix::Create(int32_t iInitialCount, int32_t iMaximumCount)
{
    return new Sys_SemaphorePosix(iInitialCount, iMaximumCount);
}

void Sys_SemaphorePosix::SetPlatformDependentMethods()
{
    Sys_Semaphore::SetCreateMethod(&Create);
}

void Sys_SemaphorePosix::Release(int32_t iCount)
{
    if (iCount == 0)
        return;
    int32_t error = 0;
    {
        StLock lock;
        if (iCount < 0)
            error = EINVAL;
        else if (iCount > mMaximumCount - mCount)
            error = EOVERFLOW;
        else
        {
            mCount += iCount;
            WakeWaitersLocked();
        }
    }
    Sys_ThrowIfOSErr(error, "");
}

int32_t Sys_SemaphorePosix::GetCount() const
{
    StLock lock;
    return mCount;
}
