// The sync objects of this host and the alertable wait.
//
// Design:
//  1. All state of every sync object of this layer (signal flags, counts, waiter lists) and
//     of every thread's wait record is guarded by one process-wide mutex (StLock).
//  2. Each thread has one Sys_ApcQueue: its condition variable (on CLOCK_MONOTONIC, with an
//     absolute deadline) and its queue of posted completion routines.
//  3. A waiting thread enters its record in the waiter list of each object it waits for.
//     Whoever makes an object signalled calls WakeWaitersLocked, which grants the waits that
//     can now be satisfied, oldest first: it takes the objects on the waiter's behalf (so an
//     auto-reset event or a semaphore unit goes to exactly one waiter) and wakes that thread.
//     Pulse signals, grants, and resets, all under the lock.
//  4. A routine posted to a thread runs only on that thread, while it waits in Wait or
//     WaitForMultipleObjects, outside the lock; the wait then starts again with the full
//     timeout. Routines run in the order they were posted. Routines posted to a thread that
//     has ended are never run (they are destroyed with the queue).
//
// Subclasses (events, semaphores, timers of this layer) keep their state under StLock,
// answer IsSignalledLocked and AcquireLocked, and call WakeWaitersLocked after a change
// that may satisfy a waiter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <pthread.h>
#include <vector>

#include "Sys_SyncObject.h"

class Sys_SyncObjectPosix;

// The calling thread's wait record and queue of completion routines.
class Sys_ApcQueue
{
public:
    using Routine = std::function<void()>;

    Sys_ApcQueue();
    ~Sys_ApcQueue();
    Sys_ApcQueue(const Sys_ApcQueue&) = delete;
    Sys_ApcQueue& operator=(const Sys_ApcQueue&) = delete;

    // The calling thread's queue, made on first use. Another thread may keep the pointer to
    // post to this thread later.
    static std::shared_ptr<Sys_ApcQueue> GetCurrent();

    // Any thread: queues iRoutine to run on the owning thread during its next alertable
    // wait, and wakes the thread if it waits now.
    void Post(Routine iRoutine);

    // A completion kept in storage of the poster's own, so queueing it allocates nothing.
    // Exactly one of Run (on the owning thread, during an alertable wait) and Discard (the
    // queue ends, or a routine before it threw, and it never runs) is called, once.
    class Item
    {
    public:
        virtual void Run() = 0;
        virtual void Discard() = 0;

    protected:
        ~Item() = default;
    };

    // Any thread: as Post(Routine), for an item.
    void Post(Item* iItemP);

    // Routines queued and not yet run.
    size_t GetPendingCount() const;

    // A queued routine or item (exactly one of them is set).
    struct Entry
    {
        Routine mRoutine;
        Item* mItemP = nullptr;
    };

private:
    friend class Sys_SyncObjectPosix;

    pthread_cond_t mCondition;
    // Posted and not yet run, oldest first. The owning thread swaps it with an empty vector
    // of its own spare batches to run it, so both keep their capacity and a steady flow of
    // routines allocates nothing here.
    std::vector<Entry> mRoutines;
    // The wait in progress (valid while mWaiting).
    Sys_SyncObjectPosix* const* mObjects = nullptr;
    size_t mObjectCount = 0;
    bool mWaitForAny = true;
    bool mWaiting = false;
    bool mGranted = false;
};

class Sys_SyncObjectPosix : public virtual Sys_SyncObject
{
public:
    EWaitResult Wait(int32_t inTimeOut = cWaitForever) override;

    // The multi-object wait of this host (see Sys_SyncObject::WaitForMultipleObjects).
    static EWaitResult WaitForMultipleObjectsPosix(const HandleList& iObjects, bool iWaitForAny,
                                                   int32_t inTimeOut);

    // Installs the multi-object wait and the creation hooks of the events and semaphores.
    static void SetPlatformDependentMethods();

    // The number of threads that wait for this object now.
    int32_t GetWaiterCount() const;

    // The process-wide lock of this layer.
    class StLock
    {
    public:
        StLock();
        ~StLock();
        StLock(const StLock&) = delete;
        StLock& operator=(const StLock&) = delete;
    };

protected:
    Sys_SyncObjectPosix();
    ~Sys_SyncObjectPosix() override;

    // With StLock held: whether a wait for this object alone would be satisfied now.
    virtual bool IsSignalledLocked() const = 0;
    // With StLock held: a wait was satisfied by this object; take it (reset, count down).
    virtual void AcquireLocked() = 0;
    // With StLock held: grants the waits that the current state satisfies.
    void WakeWaitersLocked();

private:
    friend class Sys_ApcQueue;

    static EWaitResult WaitImpl(Sys_SyncObjectPosix* const* iObjects, size_t iCount,
                                bool iWaitForAny, int32_t iTimeOut);
    static bool TryAcquireLocked(Sys_SyncObjectPosix* const* iObjects, size_t iCount,
                                 bool iWaitForAny);

    std::vector<Sys_ApcQueue*> mWaiters;
};
