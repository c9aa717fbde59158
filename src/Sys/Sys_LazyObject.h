// Objects computed on demand by a queue that runs elsewhere.
//
// A lazy object knows how to Load; QueueObjectLoader puts a loader task for it on the one
// installed Sys_LazyObjectQueue at the object's priority; whoever drives that queue
// (ExecTop) runs Load, again and again while it answers false; observers hear
// eMessage_Loaded once it answered true. In synchronous mode (StSetLoadSynchronously) the
// caller drives the queue itself until the object is loaded, at a priority raised by
// 1,000,000 so that this object's loader goes first.
//
// Invariants:
//  1. At most one live loader per object: QueueObjectLoader makes a new one only when there
//     is none, or the last one failed. The object holds its load task until Load succeeds
//     (then it releases it) or the task fails (then it keeps it, so that the failure can be
//     asked for and reaches a synchronous waiter as a std::runtime_error with its text).
//  2. Load runs wherever the queue is driven, never on two threads at once for one object.
//  3. The loaded flag is atomic; the load task handle is guarded by a mutex of the object.
// Contract: the queue is installed once (InstallQueue) before any object is queued and
// outlives them. An object must not be destroyed while its Load runs on another thread; its
// destructor aborts a loader that has not ended, which then never calls it.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include "Cmn_Observable.h"
#include "Cmn_RefCountObject.h"
#include "Sys_Task.h"
#include "Sys_TaskQueue.h"

class Sys_LazyObject;
class Sys_LazyObjectQueue;

class Sys_LazyObject_Message
{
public:
    enum EMessage
    {
        eMessage_Loaded = 0,
        eMessage_Cancelled = 1,
        eMessage_Paused = 2,
        eMessage_ProgressChanged = 3 // progress moved; the object is still at work
    };

    Sys_LazyObject_Message(Sys_LazyObject& iObject, EMessage iMessage)
        : mObjectP(&iObject), mMessage(iMessage)
    {
    }

    Sys_LazyObject& GetObject() const { return *mObjectP; }
    EMessage GetMessage() const { return mMessage; }

private:
    Sys_LazyObject* mObjectP;
    EMessage mMessage;
};

// A task queue for lazy objects that remembers the highest and lowest priority queued.
class Sys_LazyObjectQueue : public Cmn_RefCountObject
{
public:
    Sys_LazyObjectQueue() = default;
    ~Sys_LazyObjectQueue() override = default;

    virtual void AddTask(const Sys_Task::TaskHandle& iTask, int32_t iPriority);

    Sys_TaskQueue& GetTaskQueue() { return mTaskQueue; }
    Sys_Task::EStatus ExecTop() { return mTaskQueue.ExecTop(); }
    bool IsEmpty() const { return mTaskQueue.IsEmpty(); }
    // Both 0 until the first AddTask.
    int32_t GetHighestPriority() const;
    int32_t GetLowestPriority() const;

private:
    Sys_TaskQueue mTaskQueue;
    mutable std::mutex mMutex;
    bool mAnyQueued = false;
    int32_t mHighestPriority = 0;
    int32_t mLowestPriority = 0;
};

class Sys_LazyObject : public Cmn_Observable<Sys_LazyObject_Message>
{
public:
    static constexpr int32_t cSynchronousPriorityBoost = 1000000;
    static constexpr int32_t cDefaultMSToBlock = 30;

    // The task that loads one object: its step is one call of Load.
    class Loader : public Sys_Task
    {
    public:
        explicit Loader(Sys_LazyObject& iObject) : mObjectP(&iObject) {}

    protected:
        EResult ExecImpl() override;
        // Detaches the loader from its object: a later step does nothing.
        void AbortImpl() override;

    private:
        std::atomic<Sys_LazyObject*> mObjectP;
    };

    // Sets the synchronous flag (process-wide) for its lifetime; nests.
    class StSetLoadSynchronously
    {
    public:
        StSetLoadSynchronously();
        ~StSetLoadSynchronously();
        StSetLoadSynchronously(const StSetLoadSynchronously&) = delete;
        StSetLoadSynchronously& operator=(const StSetLoadSynchronously&) = delete;
    };

    Sys_LazyObject() = default;
    virtual ~Sys_LazyObject();
    Sys_LazyObject(const Sys_LazyObject&) = delete;
    Sys_LazyObject& operator=(const Sys_LazyObject&) = delete;

    virtual void AddObserver(Observer& iObserver) { Cmn_Observable::AddObserver(iObserver); }
    virtual void RemoveObserver(Observer& iObserver) { Cmn_Observable::RemoveObserver(iObserver); }
    virtual std::string GetLoadName() const;
    virtual Sys_Task::TaskHandle CreateLoader();
    virtual int32_t GetPriority() const { return 0; }

    // Asserts "!sQueue". The queue is held until UninstallQueue.
    static void InstallQueue(Sys_LazyObjectQueue* iQueueP);
    static Sys_LazyObjectQueue* GetQueue();
    // For the end of the process and for tests.
    static void UninstallQueue();
    static bool LoadingSynchronously();

    // Queues a loader unless the object is loaded or has a live one; in synchronous mode
    // drives the queue until the object is loaded (and throws what the load threw).
    void QueueObjectLoader(const std::string& iName);

    bool IsLoaded() const { return mLoaded.load(); }
    // A loader is waiting or running.
    bool IsQueued() const;
    // This object's loader is the queue's top task.
    bool IsTop() const;
    Sys_Task::TaskHandle GetLoadTask() const;
    // Throws std::runtime_error with the text of the loader's exception when it failed.
    void ThrowIfLoadFailed() const;

protected:
    // One loading step: true when done, false to be called again later.
    virtual bool Load() { return true; }
    // For subclasses whose priority changed: requeues a pending loader at the new one.
    virtual void PriorityChanged();
    // Forgets the load task (after the subclass aborted it), so that the next
    // QueueObjectLoader makes a new one.
    void ReleaseLoadTask();

private:
    friend class Loader;
    // From the loader, after Load answered true.
    void LoadSucceeded();

    mutable std::mutex mMutex;
    Sys_Task::TaskHandle mLoadTask;
    std::string mLoadName;
    std::atomic<bool> mLoaded{false};

    static Cmn_AliasedRefCountPtr<Sys_LazyObjectQueue> sQueue;
    static std::atomic<int32_t> sLoadSynchronously;
};
