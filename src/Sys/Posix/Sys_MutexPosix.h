// The mutex of this host: a recursive mutex, which has a try-lock of its own, so both kinds
// are the same object here.
#pragma once

#include <mutex>

#include "Sys_Mutex.h"

class Sys_MutexPosix : public Sys_Mutex
{
public:
    explicit Sys_MutexPosix(eSys_MutexType iType);

    void Acquire() override { mMutex.lock(); }
    void Release() override { mMutex.unlock(); }

    static Sys_Mutex* Create(eSys_MutexType iType);
    static void SetPlatformDependentMethods();

protected:
    bool TryAcquireImpl() override { return mMutex.try_lock(); }

private:
    std::recursive_mutex mMutex;
};
