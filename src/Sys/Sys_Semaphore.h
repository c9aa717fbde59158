// A counting semaphore. A satisfied wait takes one from the count; Release adds to it.
// Created through the hook that the platform layer installs (SetCreateMethod).
#pragma once

#include <cstdint>

#include "Sys_SyncObject.h"

class Sys_Semaphore : public virtual Sys_SyncObject
{
public:
    using SemaphoreHandle = Cmn_PolymorphicHandle<Sys_Semaphore>;
    using CreateMethod = Sys_Semaphore* (*)(int32_t iInitialCount, int32_t iMaximumCount);

    // A negative initial count, a maximum below 1 or an initial count above the maximum fail
    // with EINVAL through Sys_ThrowIfOSErr.
    static SemaphoreHandle Create(int32_t iInitialCount, int32_t iMaximumCount);
    static CreateMethod SetCreateMethod(CreateMethod iMethod);

    // Adds iCount. A count of 0 does nothing and succeeds; a negative count fails with EINVAL
    // and one that would pass the maximum with EOVERFLOW, leaving the count as it was.
    virtual void Release(int32_t iCount = 1) = 0;

protected:
    Sys_Semaphore() = default;
};
