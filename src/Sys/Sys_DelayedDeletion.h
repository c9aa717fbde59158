// Delayed deletion: an object released on a thread that may not free it (a real-time
// thread, or a thread object on its own thread) is handed to a process-wide lock-free queue
// and destroyed later by CollectGarbage on a normal thread.
//
// Sys_AtomicQueue: producers push onto a shared stack with a compare-and-exchange loop
// (lock-free, no allocation: the link lives in the object). One consumer at a time: Pop
// counts consumers up; when the count is not 1 another consumer is inside, and Pop counts
// down and answers busy with nothing. An empty private list takes the whole shared stack
// in one exchange and reverses it, so objects leave in the order they came.
//
// How to see that DelayedDelete is real-time safe: it is Sys_AtomicQueue::Push, a loop of
// one atomic load and one compare-and-exchange on the stack's head; no lock, no allocation,
// no system call.
//
// Init starts a 1000 ms timer on the calling thread's Sys_MessageQueue whose callback runs
// CollectGarbage; that thread must run a message loop. Shutdown kills the timer and
// collects once more.
#pragma once

#include <atomic>
#include <cstdint>

#include "Sys_AtomicInt32.h"

class Sys_AtomicQueue_Link
{
public:
    Sys_AtomicQueue_Link() = default;
    Sys_AtomicQueue_Link(const Sys_AtomicQueue_Link&) {}
    Sys_AtomicQueue_Link& operator=(const Sys_AtomicQueue_Link&) { return *this; }

private:
    friend class Sys_AtomicQueue;
    Sys_AtomicQueue_Link* mNextLink = nullptr;
};

class Sys_AtomicQueue
{
public:
    constexpr Sys_AtomicQueue() = default;
    Sys_AtomicQueue(const Sys_AtomicQueue&) = delete;
    Sys_AtomicQueue& operator=(const Sys_AtomicQueue&) = delete;

    // Any thread, real-time safe.
    void Push(Sys_AtomicQueue_Link* iLinkP);
    // The oldest link, or null; oBusy tells whether another consumer was inside.
    Sys_AtomicQueue_Link* Pop(bool& oBusy);

private:
    std::atomic<Sys_AtomicQueue_Link*> mHead{nullptr};
    std::atomic<int32_t> mConsumers{0};
    Sys_AtomicQueue_Link* mPrivate = nullptr; // the one consumer's
};

class Sys_DelayedDeletionObject : public Sys_AtomicQueue_Link
{
public:
    Sys_DelayedDeletionObject() = default;
    virtual ~Sys_DelayedDeletionObject() = default;

    // Queues this object for destruction by CollectGarbage. Real-time safe.
    void DelayedDelete();

    // Destroys every queued object, oldest first; returns how many, or -1 when another
    // thread was collecting.
    static int32_t CollectGarbage();
    // Once, on a thread with a message loop: collect every 1000 ms there.
    static void Init();
    // On the thread that called Init: stops the timer and collects.
    static void Shutdown();
    static bool IsInitialized();
};
