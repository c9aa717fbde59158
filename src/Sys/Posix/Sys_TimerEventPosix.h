// The timer of this host.
//
// Design:
//  1. One process-wide timer service keeps the armed timers ordered by due time, under its
//     own mutex, and one service thread sleeps until the earliest due time.
//  2. When a timer is due the service thread removes it and sets it under the sync layer's
//     lock (StLock), waking its waiters like any event. Lock order: service mutex, then
//     StLock; nothing takes them the other way round.
//  3. A timer is listed at most once; re-arming moves it, Cancel and the destructor take it
//     out under the service mutex, so the service never touches a destroyed timer.
//  4. The service thread starts on the first arming and ends by itself after it has had no
//     armed timer for a second; the next arming starts it again. Its state is never
//     destroyed, so a process may end while the thread sleeps.
#pragma once

#include <cstdint>
#include <map>

#include "Sys_SyncObjectPosix.h"
#include "Sys_TimerEvent.h"

class Sys_TimerEventPosix : public Sys_TimerEvent, public Sys_SyncObjectPosix
{
public:
    explicit Sys_TimerEventPosix(bool iManualReset);
    ~Sys_TimerEventPosix() override;

    void Set(int32_t iMilliseconds) override;
    void SetDue(int64_t iDueNanoseconds) override;
    void Cancel() override;

    static Sys_TimerEvent* Create(bool iManualReset);
    static void SetPlatformDependentMethods();

    // Whether the service thread runs now (for tests of the shut-down).
    static bool IsServiceThreadRunning();

protected:
    bool IsSignalledLocked() const override { return mSignalled; }
    void AcquireLocked() override;

private:
    friend class Sys_TimerService;
    // With StLock held: the due time came.
    void FireLocked();

    const bool mManualReset;
    bool mSignalled = false; // under StLock
    bool mArmed = false;     // under the service mutex
    int64_t mDue = 0;        // under the service mutex
    // The node of the service's list of due timers while not armed, kept for the next arming
    // so that arming allocates nothing (under the service mutex).
    std::multimap<int64_t, Sys_TimerEventPosix*>::node_type mSpareNode;
};
