// The browser's background work: lazy objects with dependencies and progress, the loader
// that runs them, and the queue that runs loaders in slices of the application's time.
//
// Design:
//  1. A BDM_LazyObject's Load never waits: it adds dependencies (AddDependency) and answers
//     false; its BDM_TaskLoader is entered again later and runs Load only when every
//     dependency has loaded. A dependency's failure is the object's failure.
//  2. A dependency that has not loaded is lifted to its parent's priority plus one, so it
//     runs first; one that has loaded is dropped from the list at the parent's next entry.
//  3. Progress sums up the chain: a dependency's units (to complete, completed) are added to
//     its parent's, and later updates travel up through mCurrentProgressParent.
//  4. Status, in the order of the tests: in the loader stack 5 (running now), loaded 1, a
//     task-manager key in the object's own slot 3 (paused), begun 4 (it has been on the
//     progress stack), queued 2, else 0.
//  5. The loader stack (objects whose loader runs now, innermost last) and the progress
//     stack (what the task window shows as one line) are process-wide lists.
//  6. BDM_LazyObjectQueue::ExecuteForSlice runs top tasks while at least one whole
//     millisecond of a 30,000-microsecond slice is left; with non-critical work suspended it
//     stops (and sets its suspended flag) as soon as the top is below priority 4000.
// Threads: one thread drives the queue (ExecuteForSlice) or waits synchronously; objects
// are counted with interlocked operations because a worker of a batch process may release
// one.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "BDM/BDM_Types.h"
#include "Cmn_PolymorphicHandle.h"
#include "Sys_LazyObject.h"
#include "Sys_ThreadSafeRefCountObject.h"

class BDM_LazyObject;
class BDM_TaskGroup;
using BDM_LazyObjectHandle = Cmn_PolymorphicHandle<BDM_LazyObject, Sys_ThreadSafeRefCountObject>;

// Where task entries live (the task manager installs itself).
class BDM_TaskEntryHost
{
public:
    virtual ~BDM_TaskEntryHost() = default;
    // A new entry for iObject under the entry iParentKey (null: the queued folder).
    virtual BDM_KeyHandle CreateTaskEntry(const BDM_KeyHandle& iParentKey,
                                          BDM_LazyObject& iObject) = 0;
    virtual void DeleteTaskEntry(const BDM_KeyHandle& iKey) = 0;
};

class BDM_LazyObject : public Sys_LazyObject, public Sys_ThreadSafeRefCountObject
{
public:
    enum EPriority : int32_t
    {
        ePriority_Background = 0,
        ePriority_Critical = 4000, // a foreground client waits; below it playback suspends
        ePriority_Now = 5000       // QueueWithPriority: last asked, first run
    };

    // Makes iObject the current load context while it lives (child enumerators deliver
    // under it).
    class StSetLoadContext
    {
    public:
        explicit StSetLoadContext(BDM_LazyObject* iObjectP);
        ~StSetLoadContext();
        StSetLoadContext(const StSetLoadContext&) = delete;
        StSetLoadContext& operator=(const StSetLoadContext&) = delete;

    private:
        BDM_LazyObject* mPreviousP;
    };

    BDM_LazyObject() = default;
    ~BDM_LazyObject() override;

    int32_t GetPriority() const override { return mPriority; }
    virtual BDM_EStatus GetStatus() const;
    virtual void QueueWithPriority(int32_t iPriority);
    virtual bool ShowInTaskManager() const { return false; }
    virtual void SetProgressUnitsType(BDM_TaskProgress::EUnitsType iType)
    {
        mProgressUnitsType = iType;
    }
    using ErrorHandler = std::function<void(BDM_LazyObject&, const std::string&)>;
    virtual ErrorHandler GetLoadErrorHandler() const { return ErrorHandler(); }

    Sys_Task::TaskHandle CreateLoader() override;

    void AddDependency(BDM_LazyObject* iObjectP);
    void RemoveDependency(BDM_LazyObject* iObjectP);
    const std::list<BDM_LazyObjectHandle>& GetDependencies() const { return mDependencies; }
    // The groups this object is a member of (kept by BDM_TaskGroup::AddTask and RemoveTask);
    // empty again when the object is destroyed, since a group holds its members.
    void AddTaskGroup(BDM_TaskGroup* iGroupP);
    void RemoveTaskGroup(BDM_TaskGroup* iGroupP);
    const std::list<BDM_TaskGroup*>& GetTaskGroups() const { return mTaskGroups; }
    // Cancels this object and everything it waits for, leaves first.
    void CancelLoading() { CancelLoadingPrivate(true); }
    void PauseLoading();
    void ResumeLoading();
    void IncrementForegroundClientCount();
    void DecrementForegroundClientCount();
    void UpdateUnitsToComplete(int64_t iUnits);
    void UpdateProgressStack(bool iClear);
    void UpdateStatusMessage(const std::string& iText) { mStatusMessage = iText; }
    const std::string& GetStatusMessage() const { return mStatusMessage; }
    const BDM_KeyHandle& GetTaskManagerKey() const { return mTaskManagerKey; }
    void SetTaskManagerKey(const BDM_KeyHandle& iKey) { mTaskManagerKey = iKey; }
    BDM_TaskProgress GetProgress() const { return mProgress; }
    BDM_TaskProgress::EUnitsType GetProgressUnitsType() const { return mProgressUnitsType; }
    Sys_Task::TaskHandle GetLoader() const { return GetLoadTask(); }
    bool LoadFailed() const { return mLoadFailed; }
    BDM_LazyObject* GetCurrentProgressParent() const { return mCurrentProgressParentP; }
    void SetPriority(int32_t iPriority) { mPriority = iPriority; }
    // Requeues at the new priority; a task entry moves to the new loader.
    void PriorityChanged() override;

    // The current load context (StSetLoadContext), or null.
    static BDM_LazyObject* GetLoadContext();
    static const std::vector<BDM_LazyObject*>& GetLoaderStack();
    static const std::vector<BDM_LazyObject*>& GetProgressStack();
    static bool IsInLoaderStack(const BDM_LazyObject* iObjectP);
    static void AddToProgressStack(BDM_LazyObject* iObjectP);
    static void RemoveFromProgressStack(BDM_LazyObject* iObjectP);
    static void ClearProgressStack();
    static void SetTaskEntryHost(BDM_TaskEntryHost* iHostP);
    static BDM_TaskEntryHost* GetTaskEntryHost();

protected:
    virtual void CancelLoadingPrivate(bool iAlsoGroups);
    // Adds iUnits to the units completed here and in every progress parent.
    virtual void UpdateUnitsCompleted(int64_t iUnits);
    void RefCountDelete() override { delete this; }

private:
    friend class BDM_TaskLoader;
    void AddProgress(int64_t iToComplete, int64_t iCompleted);

    int32_t mPriority = ePriority_Background;
    int32_t mForegroundClientCount = 0;
    std::list<BDM_LazyObjectHandle> mDependencies;
    std::list<BDM_TaskGroup*> mTaskGroups;
    BDM_TaskProgress mProgress;
    BDM_TaskProgress::EUnitsType mProgressUnitsType = BDM_TaskProgress::eUnitsType_Undefined;
    BDM_LazyObject* mCurrentProgressParentP = nullptr;
    bool mBegun = false;
    bool mLoadFailed = false;
    BDM_KeyHandle mTaskManagerKey;
    std::string mStatusMessage;
};

// The loader of a lazy object with dependencies.
class BDM_TaskLoader : public Sys_LazyObject::Loader
{
public:
    explicit BDM_TaskLoader(BDM_LazyObject& iObject);
    const BDM_KeyHandle& GetTaskManagerKey() const { return mTaskManagerKey; }
    void SetTaskManagerKey(const BDM_KeyHandle& iKey) { mTaskManagerKey = iKey; }

protected:
    EResult ExecImpl() override;
    void AbortImpl() override;

private:
    std::atomic<BDM_LazyObject*> mObjectP;
    BDM_KeyHandle mTaskManagerKey;
};

// A placeholder for "nothing to do": loaded from the moment it is made.
class BDM_DoNothingObject : public BDM_LazyObject
{
public:
    BDM_DoNothingObject();
};

class BDM_LazyObjectQueue : public Sys_LazyObjectQueue
{
public:
    static constexpr int64_t cSliceMicroseconds = 30000;
    using Clock = int64_t (*)(); // microseconds, monotonic

    BDM_LazyObjectQueue() = default;
    void AddTask(const Sys_Task::TaskHandle& iTask, int32_t iPriority) override;
    // Runs top tasks for one slice (see the design note).
    void ExecuteForSlice();
    // Counts up or down; while above zero, work below priority 4000 waits.
    void SuspendNonCriticalTasks(bool iSuspend);
    bool AreNonCriticalTasksSuspended() const { return mNonCriticalSuspension > 0; }
    void SetSuspended(bool iSuspended) { mSuspended = iSuspended; }
    bool IsSuspended() const { return mSuspended; }
    // Drops the tasks held back by StDeferTasks.
    void CancelDeferredTasks();
    size_t GetNumDeferred() const { return mDeferred.size(); }

    // Tasks added while one lives are held back; the last one out queues them.
    class StDeferTasks
    {
    public:
        explicit StDeferTasks(BDM_LazyObjectQueue& iQueue);
        ~StDeferTasks();
        StDeferTasks(const StDeferTasks&) = delete;
        StDeferTasks& operator=(const StDeferTasks&) = delete;

    private:
        BDM_LazyObjectQueue& mQueue;
    };

    // For tests: the clock of the slices (null restores the monotonic clock).
    static void SetClock(Clock iClock);

private:
    bool mSuspended = false;
    bool mDeferring = false;
    std::vector<std::pair<Sys_Task::TaskHandle, int32_t>> mDeferred;
    int32_t mDeferCount = 0;
    int32_t mNonCriticalSuspension = 0;
    static Clock sClock;
};
