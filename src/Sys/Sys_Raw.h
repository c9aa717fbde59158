// Low-level threads and locks with no task machinery: no status, no blocking protocol.
// They serve Sys_AsyncMessageQueue and other services below the task layer.
//
// Sys_RawThread runs one Sys_RawThreadTask on a thread of its own with a small stack and
// its own Sys_MessageQueue (made before the thread starts, so messages may be posted at
// once). It is reference-counted; the last reference dropped on the thread itself hands the
// object to delayed deletion (it cannot join itself), dropped elsewhere it joins the thread.
// Sys_RawSemaphore, Sys_RawEvent, Sys_RawCriticalSection: plain process-local primitives
// (not Sys_SyncObjects: they cannot stand in WaitForMultipleObjects). A timeout is in
// milliseconds, -1 without limit.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

#include "Cmn_PolymorphicHandle.h"
#include "Sys_DelayedDeletion.h"
#include "Sys_MessageQueue.h"
#include "Sys_ThreadSafeRefCountObject.h"

class Sys_RawThreadTask
{
public:
    virtual ~Sys_RawThreadTask() = default;
    virtual void Run() = 0;
};

// A task that calls a member function without arguments.
template <class T> class Sys_RawThreadTaskPtmf : public Sys_RawThreadTask
{
public:
    using Method = void (T::*)();
    Sys_RawThreadTaskPtmf(T& iObject, Method iMethod) : mObjectP(&iObject), mMethod(iMethod) {}
    void Run() override { (mObjectP->*mMethod)(); }

private:
    T* mObjectP;
    Method mMethod;
};

class Sys_RawThread : public Sys_ThreadSafeRefCountObject, public Sys_DelayedDeletionObject
{
public:
    static constexpr size_t cDefaultStackSize = 64000;

    using RawThreadHandle = Cmn_PolymorphicHandle<Sys_RawThread>;
    using CreateMethod = Sys_RawThread* (*)(std::unique_ptr<Sys_RawThreadTask> iTask,
                                            size_t iStackSize);

    // Starts iTask on a new thread. A failure goes through Sys_ThrowIfOSErr.
    static RawThreadHandle Create(std::unique_ptr<Sys_RawThreadTask> iTask,
                                  size_t iStackSize = cDefaultStackSize);
    static CreateMethod SetCreateMethod(CreateMethod iMethod);

    Sys_RawThread(const Sys_RawThread&) = delete;
    Sys_RawThread& operator=(const Sys_RawThread&) = delete;

    // The thread's own message queue.
    const std::shared_ptr<Sys_MessageQueue>& GetMessageQueue() const { return mMessageQueue; }
    void PostThreadMessage(uint32_t iMessage, uintptr_t iParam1, uintptr_t iParam2)
    {
        mMessageQueue->Post(iMessage, iParam1, iParam2);
    }

    // Best effort, with the levels of Sys_Thread::EPriority.
    virtual void SetPriority(int32_t iPriority) = 0;
    virtual bool IsCurrentThread() const = 0;
    virtual bool HasEnded() const = 0;

protected:
    Sys_RawThread() : mMessageQueue(std::make_shared<Sys_MessageQueue>()) {}
    ~Sys_RawThread() override = default;
    void RefCountDelete() override;

private:
    std::shared_ptr<Sys_MessageQueue> mMessageQueue;
};

class Sys_RawSemaphore
{
public:
    Sys_RawSemaphore(int32_t iInitialCount, int32_t iMaximumCount);
    Sys_RawSemaphore(const Sys_RawSemaphore&) = delete;
    Sys_RawSemaphore& operator=(const Sys_RawSemaphore&) = delete;

    // True when a unit was taken.
    bool Wait(int32_t iTimeOut = -1);
    // False (and nothing added) when the count would pass the maximum.
    bool Release(int32_t iCount = 1);

private:
    std::mutex mMutex;
    std::condition_variable mCondition;
    int32_t mCount;
    const int32_t mMaximumCount;
};

class Sys_RawEvent
{
public:
    explicit Sys_RawEvent(bool iManualReset);
    Sys_RawEvent(const Sys_RawEvent&) = delete;
    Sys_RawEvent& operator=(const Sys_RawEvent&) = delete;

    void Set();
    void Reset();
    // True when signalled (an auto-reset event is then reset).
    bool Wait(int32_t iTimeOut = -1);

private:
    std::mutex mMutex;
    std::condition_variable mCondition;
    const bool mManualReset;
    bool mSignalled = false;
};

// A recursive lock, as a critical section is.
class Sys_RawCriticalSection
{
public:
    Sys_RawCriticalSection() = default;
    Sys_RawCriticalSection(const Sys_RawCriticalSection&) = delete;
    Sys_RawCriticalSection& operator=(const Sys_RawCriticalSection&) = delete;

    void Enter() { mMutex.lock(); }
    void Leave() { mMutex.unlock(); }
    bool TryEnter() { return mMutex.try_lock(); }

    class StEnter
    {
    public:
        explicit StEnter(Sys_RawCriticalSection& iSection) : mSection(iSection)
        {
            mSection.Enter();
        }
        ~StEnter() { mSection.Leave(); }
        StEnter(const StEnter&) = delete;
        StEnter& operator=(const StEnter&) = delete;

    private:
        Sys_RawCriticalSection& mSection;
    };

private:
    std::recursive_mutex mMutex;
};
