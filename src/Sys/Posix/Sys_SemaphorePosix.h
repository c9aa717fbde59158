// The semaphore of this host: a count under the sync layer's lock (see Sys_SyncObjectPosix.h).
#pragma once

#include "Sys_Semaphore.h"
#include "Sys_SyncObjectPosix.h"

class Sys_SemaphorePosix : public Sys_Semaphore, public Sys_SyncObjectPosix
{
public:
    Sys_SemaphorePosix(int32_t iInitialCount, int32_t iMaximumCount);

    void Release(int32_t iCount = 1) override;
    int32_t GetCount() const;

    static Sys_Semaphore* Create(int32_t iInitialCount, int32_t iMaximumCount);
    static void SetPlatformDependentMethods();

protected:
    bool IsSignalledLocked() const override { return mCount > 0; }
    void AcquireLocked() override { --mCount; }

private:
    const int32_t mMaximumCount;
    int32_t mCount;
};
