#include "BDM/BDM_LazyObject.h"

#include <algorithm>
#include <chrono>

#include "BDM/BDM_TaskManager.h"
#include "Cmn_Assert.h"

namespace
{
std::vector<BDM_LazyObject*> sLoaderStack;
std::vector<BDM_LazyObject*> sProgressStack;
BDM_LazyObject* sLoadContextP = nullptr;
BDM_TaskEntryHost* sTaskEntryHostP = nullptr;

int64_t MonotonicMicroseconds()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void DeleteTaskEntry(BDM_KeyHandle& ioKey)
{
    if (!ioKey)
        return;
    BDM_KeyHandle key;
    key.Swap(ioKey);
    if (sTaskEntryHostP)
        sTaskEntryHostP->DeleteTaskEntry(key);
}
} // namespace

// ---- BDM_LazyObject ----------------------------------------------------------------------

BDM_LazyObject::StSetLoadContext::StSetLoadContext(BDM_LazyObject* iObjectP)
    : mPreviousP(sLoadContextP)
{
    sLoadContextP = iObjectP;
}

BDM_LazyObject::StSetLoadContext::~StSetLoadContext()
{
    sLoadContextP = mPreviousP;
}

BDM_LazyObject::~BDM_LazyObject()
{
    // Abort a pending loader while the dependencies still stand (its abort walks them).
    if (!IsLoaded())
    {
        if (Sys_Task::TaskHandle task = GetLoadTask())
        {
            const Sys_Task::EStatus status = task->GetStatus();
            if (status != Sys_Task::eStatus_Complete && status != Sys_Task::eStatus_Failed &&
                status != Sys_Task::eStatus_Aborted)
                task->Abort();
        }
    }
    RemoveFromProgressStack(this);
    if (mCurrentProgressParentP == nullptr)
        DeleteTaskEntry(mTaskManagerKey);
}

BDM_LazyObject* BDM_LazyObject::GetLoadContext()
{
    return sLoadContextP;
}

const std::vector<BDM_LazyObject*>& BDM_LazyObject::GetLoaderStack()
{
    return sLoaderStack;
}

const std::vector<BDM_LazyObject*>& BDM_LazyObject::GetProgressStack()
{
    return sProgressStack;
}

bool BDM_LazyObject::IsInLoaderStack(const BDM_LazyObject* iObjectP)
{
    return std::find(sLoaderStack.begin(), sLoaderStack.end(), iObjectP) != sLoaderStack.end();
}

void BDM_LazyObject::AddToProgressStack(BDM_LazyObject* iObjectP)
{
    if (std::find(sProgressStack.begin(), sProgressStack.end(), iObjectP) == sProgressStack.end())
        sProgressStack.push_back(iObjectP);
}

void BDM_LazyObject::RemoveFromProgressStack(BDM_LazyObject* iObjectP)
{
    sProgressStack.erase(std::remove(sProgressStack.begin(), sProgressStack.end(), iObjectP),
                         sProgressStack.end());
}

void BDM_LazyObject::ClearProgressStack()
{
    sProgressStack.clear();
}

void BDM_LazyObject::SetTaskEntryHost(BDM_TaskEntryHost* iHostP)
{
    sTaskEntryHostP = iHostP;
}

BDM_TaskEntryHost* BDM_LazyObject::GetTaskEntryHost()
{
    return sTaskEntryHostP;
}

Sys_Task::TaskHandle BDM_LazyObject::CreateLoader()
{
    return Sys_Task::TaskHandle(new BDM_TaskLoader(*this));
}

BDM_EStatus BDM_LazyObject::GetStatus() const
{
    if (IsInLoaderStack(this))
        return BDM_eStatus_Running;
    if (IsLoaded())
        return BDM_eStatus_Loaded;
    if (mTaskManagerKey && !GetLoadTask())
        return BDM_eStatus_Paused;
    if (mBegun)
        return BDM_eStatus_Begun;
    if (IsQueued())
        return BDM_eStatus_Queued;
    return BDM_eStatus_Idle;
}

void BDM_LazyObject::QueueWithPriority(int32_t iPriority)
{
    if (iPriority == ePriority_Now)
    {
        Sys_LazyObjectQueue* queueP = GetQueue();
        CMN_ASSERT(queueP);
        Sys_TaskQueue& tasks = queueP->GetTaskQueue();
        if (!tasks.IsEmpty() && tasks.PeekAtTopPriority() > ePriority_Now - 1)
            mPriority = tasks.PeekAtTopPriority() + 1000;
        else
            mPriority = ePriority_Now;
    }
    else
        mPriority = iPriority;
    PriorityChanged();
}

void BDM_LazyObject::IncrementForegroundClientCount()
{
    if (++mForegroundClientCount == 1)
    {
        mPriority = ePriority_Critical;
        PriorityChanged();
    }
}

void BDM_LazyObject::DecrementForegroundClientCount()
{
    CMN_ASSERT(mForegroundClientCount > 0);
    --mForegroundClientCount;
}

void BDM_LazyObject::AddDependency(BDM_LazyObject* iObjectP)
{
    CMN_ASSERT(iObjectP);
    mDependencies.emplace_back(iObjectP);
    BDM_KeyHandle parentKey = mTaskManagerKey;
    if (!parentKey)
    {
        if (auto loaderP = dynamic_cast<BDM_TaskLoader*>(GetLoadTask().Get()))
            parentKey = loaderP->GetTaskManagerKey();
    }
    if (parentKey && sTaskEntryHostP && iObjectP->ShowInTaskManager())
        iObjectP->mTaskManagerKey = sTaskEntryHostP->CreateTaskEntry(parentKey, *iObjectP);
    iObjectP->mCurrentProgressParentP = this;
    const BDM_TaskProgress::EUnitsType type = iObjectP->GetProgressUnitsType();
    if (type != BDM_TaskProgress::eUnitsType_Undefined)
    {
        CMN_ASSERT_TEXT(type == mProgressUnitsType ||
                            mProgressUnitsType == BDM_TaskProgress::eUnitsType_Undefined,
                        "iLazyObject->GetProgressUnitsType() == mProgressUnitsType || "
                        "mProgressUnitsType == BDM_TaskProgress::eUnitsType_Undefined");
        for (BDM_LazyObject* p = this;
             p && p->mProgressUnitsType == BDM_TaskProgress::eUnitsType_Undefined;
             p = p->mCurrentProgressParentP)
            p->SetProgressUnitsType(type);
    }
    AddProgress(iObjectP->mProgress.mUnitsToComplete, iObjectP->mProgress.mUnitsCompleted);
}

void BDM_LazyObject::RemoveDependency(BDM_LazyObject* iObjectP)
{
    mDependencies.remove_if([&](const BDM_LazyObjectHandle& h) { return h.Get() == iObjectP; });
}

void BDM_LazyObject::AddProgress(int64_t iToComplete, int64_t iCompleted)
{
    for (BDM_LazyObject* p = this; p; p = p->mCurrentProgressParentP)
    {
        p->mProgress.mUnitsToComplete += iToComplete;
        p->mProgress.mUnitsCompleted += iCompleted;
    }
}

void BDM_LazyObject::UpdateUnitsToComplete(int64_t iUnits)
{
    AddProgress(iUnits, 0);
}

void BDM_LazyObject::UpdateUnitsCompleted(int64_t iUnits)
{
    AddProgress(0, iUnits);
    Sys_LazyObject_Message message(*this, Sys_LazyObject_Message::eMessage_ProgressChanged);
    NotifyObservers(message);
}

void BDM_LazyObject::UpdateProgressStack(bool iClear)
{
    if (iClear)
        ClearProgressStack();
    for (BDM_LazyObject* p = this; p; p = p->mCurrentProgressParentP)
    {
        AddToProgressStack(p);
        p->mBegun = true;
    }
}

void BDM_LazyObject::AddTaskGroup(BDM_TaskGroup* iGroupP)
{
    if (std::find(mTaskGroups.begin(), mTaskGroups.end(), iGroupP) == mTaskGroups.end())
        mTaskGroups.push_back(iGroupP);
}

void BDM_LazyObject::RemoveTaskGroup(BDM_TaskGroup* iGroupP)
{
    mTaskGroups.remove(iGroupP);
}

void BDM_LazyObject::CancelLoadingPrivate(bool iAlsoGroups)
{
    // A group may hold the last other reference to this object.
    BDM_LazyObjectHandle hold(GetRefCount() > 0 ? this : nullptr);
    // Leaves first: the dependencies, then this object.
    const std::list<BDM_LazyObjectHandle> dependencies = mDependencies;
    for (const BDM_LazyObjectHandle& dependency : dependencies)
        dependency->CancelLoadingPrivate(iAlsoGroups);
    if (iAlsoGroups)
    {
        const std::list<BDM_TaskGroup*> groups = mTaskGroups;
        for (BDM_TaskGroup* groupP : groups)
            groupP->RemoveTask(this);
    }
    if (Sys_Task::TaskHandle task = GetLoadTask())
        task->Abort();
    DeleteTaskEntry(mTaskManagerKey);
    mCurrentProgressParentP = nullptr;
    Sys_LazyObject_Message message(*this, Sys_LazyObject_Message::eMessage_Cancelled);
    NotifyObservers(message);
    RemoveFromProgressStack(this);
}

void BDM_LazyObject::PauseLoading()
{
    for (const BDM_LazyObjectHandle& dependency : mDependencies)
        dependency->PauseLoading();
    if (Sys_Task::TaskHandle task = GetLoadTask())
    {
        if (auto loaderP = dynamic_cast<BDM_TaskLoader*>(task.Get()))
        {
            // The entry stays: its key moves from the loader to the object.
            if (loaderP->GetTaskManagerKey())
                mTaskManagerKey = loaderP->GetTaskManagerKey();
            loaderP->SetTaskManagerKey(BDM_KeyHandle());
        }
        task->Abort();
        ReleaseLoadTask();
    }
    RemoveFromProgressStack(this);
}

void BDM_LazyObject::PriorityChanged()
{
    // A new loader replaces the old one; the task entry moves with it.
    BDM_KeyHandle key;
    if (auto loaderP = dynamic_cast<BDM_TaskLoader*>(GetLoadTask().Get()))
    {
        key = loaderP->GetTaskManagerKey();
        loaderP->SetTaskManagerKey(BDM_KeyHandle());
    }
    Sys_LazyObject::PriorityChanged();
    if (key)
    {
        if (auto loaderP = dynamic_cast<BDM_TaskLoader*>(GetLoadTask().Get()))
            loaderP->SetTaskManagerKey(key);
    }
}

void BDM_LazyObject::ResumeLoading()
{
    QueueObjectLoader(std::string());
}

// ---- BDM_TaskLoader ----------------------------------------------------------------------

BDM_TaskLoader::BDM_TaskLoader(BDM_LazyObject& iObject) : Loader(iObject), mObjectP(&iObject) {}

Sys_Task::EResult BDM_TaskLoader::ExecImpl()
{
    BDM_LazyObject* objectP = mObjectP.load();
    if (!objectP)
        return eResult_Aborted;
    // Holds a counted object for the step: a cancel from inside may release the last other
    // hold.
    BDM_LazyObjectHandle hold(objectP->GetRefCount() > 0 ? objectP : nullptr);
    sLoaderStack.push_back(objectP);
    EResult result = eResult_Requeue;
    try
    {
        for (const BDM_LazyObjectHandle& dependency : objectP->mDependencies)
            dependency->ThrowIfLoadFailed();
        for (auto it = objectP->mDependencies.begin(); it != objectP->mDependencies.end();)
        {
            BDM_LazyObject& dependency = **it;
            if (dependency.IsLoaded())
            {
                it = objectP->mDependencies.erase(it);
                continue;
            }
            dependency.mCurrentProgressParentP = objectP;
            const int32_t priority = objectP->GetPriority() + 1;
            if (dependency.GetPriority() != priority || !dependency.IsQueued())
            {
                dependency.mPriority = priority;
                dependency.PriorityChanged();
            }
            ++it;
        }
        if (objectP->mDependencies.empty())
        {
            objectP->UpdateProgressStack(false);
            result = Loader::ExecImpl();
        }
    }
    catch (...)
    {
        objectP->mLoadFailed = true;
        sLoaderStack.erase(std::find(sLoaderStack.begin(), sLoaderStack.end(), objectP));
        if (auto handler = objectP->GetLoadErrorHandler())
        {
            try
            {
                throw;
            }
            catch (const std::exception& e)
            {
                handler(*objectP, e.what());
            }
            catch (...)
            {
                handler(*objectP, std::string());
            }
        }
        throw;
    }
    sLoaderStack.erase(std::find(sLoaderStack.begin(), sLoaderStack.end(), objectP));
    if (result != eResult_Requeue)
    {
        CMN_ASSERT_TEXT(result != eResult_Aborted, "result != Sys_Task::eResult_Aborted");
        DeleteTaskEntry(mTaskManagerKey);
        if (!objectP->mCurrentProgressParentP)
            DeleteTaskEntry(objectP->mTaskManagerKey);
    }
    if (result == eResult_Done)
    {
        objectP->mCurrentProgressParentP = nullptr;
        BDM_LazyObject::RemoveFromProgressStack(objectP);
    }
    return result;
}

void BDM_TaskLoader::AbortImpl()
{
    BDM_LazyObject* objectP = mObjectP.exchange(nullptr);
    Loader::AbortImpl();
    if (objectP)
    {
        for (const BDM_LazyObjectHandle& dependency : objectP->mDependencies)
        {
            if (Sys_Task::TaskHandle task = dependency->GetLoadTask())
                task->Abort();
        }
    }
    DeleteTaskEntry(mTaskManagerKey);
}

// ---- BDM_DoNothingObject -----------------------------------------------------------------

BDM_DoNothingObject::BDM_DoNothingObject()
{
    // The plain loader marks the object loaded at once.
    Sys_Task::TaskHandle(new Sys_LazyObject::Loader(*this))->Exec();
}

// ---- BDM_LazyObjectQueue -----------------------------------------------------------------

BDM_LazyObjectQueue::Clock BDM_LazyObjectQueue::sClock = &MonotonicMicroseconds;

void BDM_LazyObjectQueue::SetClock(Clock iClock)
{
    sClock = iClock ? iClock : &MonotonicMicroseconds;
}

void BDM_LazyObjectQueue::AddTask(const Sys_Task::TaskHandle& iTask, int32_t iPriority)
{
    if (mDeferring && !Sys_LazyObject::LoadingSynchronously())
    {
        mDeferred.emplace_back(iTask, iPriority);
        return;
    }
    Sys_LazyObjectQueue::AddTask(iTask, iPriority);
    if (mNonCriticalSuspension > 0 && iPriority >= BDM_LazyObject::ePriority_Critical)
        mSuspended = false;
}

void BDM_LazyObjectQueue::ExecuteForSlice()
{
    if (mSuspended)
        return;
    const int64_t start = sClock();
    Sys_TaskQueue& tasks = GetTaskQueue();
    while (!tasks.IsEmpty() && cSliceMicroseconds - (sClock() - start) >= 1000)
    {
        tasks.ExecTop();
        if (mNonCriticalSuspension > 0 &&
            (tasks.IsEmpty() || tasks.PeekAtTopPriority() < BDM_LazyObject::ePriority_Critical))
        {
            mSuspended = true;
            return;
        }
    }
}

void BDM_LazyObjectQueue::SuspendNonCriticalTasks(bool iSuspend)
{
    if (iSuspend)
        ++mNonCriticalSuspension;
    else if (mNonCriticalSuspension > 0 && --mNonCriticalSuspension == 0)
        mSuspended = false;
}

void BDM_LazyObjectQueue::CancelDeferredTasks()
{
    std::vector<std::pair<Sys_Task::TaskHandle, int32_t>> deferred;
    deferred.swap(mDeferred);
    for (auto& [task, priority] : deferred)
        task->Abort();
}

BDM_LazyObjectQueue::StDeferTasks::StDeferTasks(BDM_LazyObjectQueue& iQueue) : mQueue(iQueue)
{
    ++mQueue.mDeferCount;
    mQueue.mDeferring = true;
}

BDM_LazyObjectQueue::StDeferTasks::~StDeferTasks()
{
    if (--mQueue.mDeferCount > 0)
        return;
    mQueue.mDeferring = false;
    std::vector<std::pair<Sys_Task::TaskHandle, int32_t>> deferred;
    deferred.swap(mQueue.mDeferred);
    for (auto& [task, priority] : deferred)
        mQueue.AddTask(task, priority);
}
