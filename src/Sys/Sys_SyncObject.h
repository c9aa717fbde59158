// Things a thread can wait for.
//
// A Sys_SyncObject is reference-counted (interlocked) and held through
// Cmn_PolymorphicHandle. The portable classes here make no system call: the platform layer
// (Sys_SyncObjectPosix and its kin) fills the creation hooks and the multi-object wait at
// start-up (Sys_SetPlatformDependentMethods in Sys_Platform.h, run when the library loads,
// or at the latest by the first Create or wait).
//
// Contract of every wait:
//  - a timeout is in milliseconds; cWaitForever (-1) waits without limit, 0 only polls;
//  - the result is eWaitResult_TimedOut (0) or eWaitResult_Signalled (1), never which object
//    fired;
//  - a satisfied wait takes what it waited for: an auto-reset event is reset, a semaphore's
//    count goes down by one (a wait for all takes every object at once, or none);
//  - every wait is alertable: completion routines posted to the waiting thread (see
//    Sys_ApcQueue in Sys_SyncObjectPosix.h) run on it during the wait, outside any lock, and
//    the wait then begins again with the full timeout.
// Any thread may wait; objects may be signalled from any thread.
#pragma once

#include <cstdint>
#include <vector>

#include "Cmn_PolymorphicHandle.h"
#include "Sys_ThreadSafeRefCountObject.h"

class Sys_SyncObject : public virtual Sys_ThreadSafeRefCountObject
{
public:
    static constexpr int32_t cWaitForever = -1;

    enum EWaitResult
    {
        eWaitResult_TimedOut = 0,
        eWaitResult_Signalled = 1
    };

    using Handle = Cmn_PolymorphicHandle<Sys_SyncObject>;
    using HandleList = std::vector<Handle>;
    using WaitForMultipleObjectsMethod = EWaitResult (*)(const HandleList& iObjects,
                                                         bool iWaitForAny, int32_t iTimeOut);

    Sys_SyncObject(const Sys_SyncObject&) = delete;
    Sys_SyncObject& operator=(const Sys_SyncObject&) = delete;

    // Waits alertably until the object is signalled or the timeout passes.
    virtual EWaitResult Wait(int32_t iTimeOut = cWaitForever) = 0;

    // Waits for any or for all of the objects. Asserts "inTimeOut >= cWaitForever". An empty
    // list, a null handle, or the same object twice in a wait for all fail with EINVAL
    // through Sys_ThrowIfOSErr.
    static EWaitResult WaitForMultipleObjects(const HandleList& iObjects, bool iWaitForAny,
                                              int32_t inTimeOut);

    // Returns the previous method.
    static WaitForMultipleObjectsMethod
    SetWaitForMultipleObjectsMethod(WaitForMultipleObjectsMethod iMethod);

protected:
    Sys_SyncObject() = default;
    ~Sys_SyncObject() override = default;
};
