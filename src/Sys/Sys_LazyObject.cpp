#include "Sys_LazyObject.h"

#include <stdexcept>
#include <thread>

#include "Cmn_Assert.h"

Cmn_AliasedRefCountPtr<Sys_LazyObjectQueue> Sys_LazyObject::sQueue;
std::atomic<int32_t> Sys_LazyObject::sLoadSynchronously{0};

// ---- Sys_LazyObjectQueue ----------------------------------------------------------------

void Sys_LazyObjectQueue::AddTask(const Sys_Task::TaskHandle& iTask, int32_t iPriority)
{
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (!mAnyQueued || iPriority > mHighestPriority)
            mHighestPriority = iPriority;
        if (!mAnyQueued || iPriority < mLowestPriority)
            mLowestPriority = iPriority;
        mAnyQueued = true;
    }
    mTaskQueue.AddTask(iTask, iPriority);
}

int32_t Sys_LazyObjectQueue::GetHighestPriority() const
{
    std::lock_guard<std::mutex> lock(mMutex);
    return mHighestPriority;
}

int32_t Sys_LazyObjectQueue::GetLowestPriority() const
{
    std::lock_guard<std::mutex> lock(mMutex);
    return mLowestPriority;
}

// ---- Loader -----------------------------------------------------------------------------

Sys_Task::EResult Sys_LazyObject::Loader::ExecImpl()
{
    Sys_LazyObject* objectP = mObjectP.load();
    if (!objectP)
        return eResult_Aborted;
    if (!objectP->Load())
        return eResult_Requeue;
    objectP->LoadSucceeded();
    return eResult_Done;
}

void Sys_LazyObject::Loader::AbortImpl()
{
    mObjectP.store(nullptr);
}

// ---- StSetLoadSynchronously ---------------------------------------------------------------

Sys_LazyObject::StSetLoadSynchronously::StSetLoadSynchronously()
{
    sLoadSynchronously.fetch_add(1);
}

Sys_LazyObject::StSetLoadSynchronously::~StSetLoadSynchronously()
{
    sLoadSynchronously.fetch_sub(1);
}

// ---- Sys_LazyObject ---------------------------------------------------------------------

Sys_LazyObject::~Sys_LazyObject()
{
    if (mLoaded)
        return;
    Sys_Task::TaskHandle task = GetLoadTask();
    if (!task)
        return;
    const Sys_Task::EStatus status = task->GetStatus();
    if (status != Sys_Task::eStatus_Complete && status != Sys_Task::eStatus_Failed &&
        status != Sys_Task::eStatus_Aborted)
        task->Abort();
}

void Sys_LazyObject::InstallQueue(Sys_LazyObjectQueue* iQueueP)
{
    CMN_ASSERT(!sQueue);
    sQueue.Reset(iQueueP);
}

Sys_LazyObjectQueue* Sys_LazyObject::GetQueue()
{
    return sQueue.Get();
}

void Sys_LazyObject::UninstallQueue()
{
    sQueue.Reset();
}

bool Sys_LazyObject::LoadingSynchronously()
{
    return sLoadSynchronously.load() > 0;
}

std::string Sys_LazyObject::GetLoadName() const
{
    std::lock_guard<std::mutex> lock(mMutex);
    return mLoadName;
}

Sys_Task::TaskHandle Sys_LazyObject::CreateLoader()
{
    return Sys_Task::TaskHandle(new Loader(*this));
}

Sys_Task::TaskHandle Sys_LazyObject::GetLoadTask() const
{
    std::lock_guard<std::mutex> lock(mMutex);
    return mLoadTask;
}

bool Sys_LazyObject::IsQueued() const
{
    Sys_Task::TaskHandle task = GetLoadTask();
    if (!task)
        return false;
    const Sys_Task::EStatus status = task->GetStatus();
    return status == Sys_Task::eStatus_Ready || status == Sys_Task::eStatus_Running ||
           status == Sys_Task::eStatus_RequeueRequested || status == Sys_Task::eStatus_Blocking;
}

bool Sys_LazyObject::IsTop() const
{
    Sys_Task::TaskHandle task = GetLoadTask();
    return task && sQueue && sQueue->GetTaskQueue().PeekAtTopTask() == task;
}

void Sys_LazyObject::ThrowIfLoadFailed() const
{
    Sys_Task::TaskHandle task = GetLoadTask();
    if (!task || task->GetStatus() != Sys_Task::eStatus_Failed)
        return;
    const Cmn_Exception* exceptionP = task->GetException();
    throw std::runtime_error(exceptionP ? Cmn_Exception::GetExceptionDescription(*exceptionP)
                                        : std::string());
}

void Sys_LazyObject::QueueObjectLoader(const std::string& iName)
{
    if (mLoaded)
        return;
    Sys_Task::TaskHandle task;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (mLoadTask && mLoadTask->GetStatus() != Sys_Task::eStatus_Failed)
            return;
        mLoadTask = CreateLoader();
        mLoadTask->SetName(iName);
        if (!iName.empty())
            mLoadName = iName;
        task = mLoadTask;
    }
    const bool synchronous = LoadingSynchronously();
    const int32_t priority = GetPriority() + (synchronous ? cSynchronousPriorityBoost : 0);
    CMN_ASSERT(sQueue);
    Sys_LazyObjectQueue& queue = *sQueue;
    queue.AddTask(task, priority);
    if (!synchronous)
        return;
    while (!mLoaded)
    {
        ThrowIfLoadFailed();
        if (queue.IsEmpty())
        {
            // Nothing left that could load the object (its loader was aborted).
            if (task->GetStatus() == Sys_Task::eStatus_Aborted)
                throw Cmn_CancelException();
            std::this_thread::yield(); // another thread runs the loader's step
            continue;
        }
        const Sys_Task::EStatus taskStatus = queue.ExecTop();
        CMN_ASSERT_TEXT(taskStatus != Sys_Task::eStatus_Blocking &&
                            taskStatus != Sys_Task::eStatus_Running,
                        "taskStatus != Sys_Task::eStatus_Blocking && taskStatus != "
                        "Sys_Task::eStatus_Running");
    }
}

void Sys_LazyObject::LoadSucceeded()
{
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mLoadTask.Reset();
    }
    mLoaded = true;
    Sys_LazyObject_Message message(*this, Sys_LazyObject_Message::eMessage_Loaded);
    NotifyObservers(message);
}

void Sys_LazyObject::ReleaseLoadTask()
{
    std::lock_guard<std::mutex> lock(mMutex);
    mLoadTask.Reset();
}

void Sys_LazyObject::PriorityChanged()
{
    if (mLoaded)
        return;
    CMN_ASSERT(sQueue);
    Sys_Task::TaskHandle task;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        task = mLoadTask;
        mLoadTask.Reset();
    }
    if (task)
        task->Abort();
    QueueObjectLoader(std::string());
}
