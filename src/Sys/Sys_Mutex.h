// A mutual-exclusion lock with the behaviour of a critical section: the owning thread may
// acquire it again (each Acquire needs its Release), and it must be released by the thread
// that acquired it. A tryable mutex also answers TryAcquire; on a plain one TryAcquire
// asserts "mType == eSys_MutexType_Tryable".
//
// A Sys_Mutex is reference-counted and created through the hook that the platform layer
// installs (SetCreateMethod); Sys_Platform.h says when it is filled.
// It is not a Sys_SyncObject: a critical section cannot be waited for with a timeout or
// together with other objects.
#pragma once

#include <cstdint>

#include "Cmn_PolymorphicHandle.h"
#include "Sys_ThreadSafeRefCountObject.h"

enum eSys_MutexType
{
    eSys_MutexType_Plain = 0,
    eSys_MutexType_Tryable = 1
};

class Sys_Mutex : public Sys_ThreadSafeRefCountObject
{
public:
    using MutexHandle = Cmn_PolymorphicHandle<Sys_Mutex>;
    using CreateMethod = Sys_Mutex* (*)(eSys_MutexType iType);

    static MutexHandle Create(eSys_MutexType iType = eSys_MutexType_Plain);
    static CreateMethod SetCreateMethod(CreateMethod iMethod);

    Sys_Mutex(const Sys_Mutex&) = delete;
    Sys_Mutex& operator=(const Sys_Mutex&) = delete;

    virtual void Acquire() = 0;
    virtual void Release() = 0;
    // True when the lock was taken without waiting.
    bool TryAcquire();

    eSys_MutexType GetType() const { return mType; }

protected:
    explicit Sys_Mutex(eSys_MutexType iType) : mType(iType) {}
    virtual bool TryAcquireImpl() = 0;

private:
    const eSys_MutexType mType;
};

// Scope guard. With iTryOnly it only tries (the mutex must be tryable) and releases at the
// end only when it got the lock.
class Sys_StAcquireMutex
{
public:
    explicit Sys_StAcquireMutex(Sys_Mutex& iMutex, bool iTryOnly = false);
    explicit Sys_StAcquireMutex(const Sys_Mutex::MutexHandle& iMutex, bool iTryOnly = false)
        : Sys_StAcquireMutex(*iMutex, iTryOnly)
    {
    }
    ~Sys_StAcquireMutex();
    Sys_StAcquireMutex(const Sys_StAcquireMutex&) = delete;
    Sys_StAcquireMutex& operator=(const Sys_StAcquireMutex&) = delete;

    bool DidAcquire() const { return mAcquired; }

private:
    Sys_Mutex& mMutex;
    bool mAcquired;
};
