#include "Sys_MultiTaskThread.h"

#include "Cmn_Assert.h"

Sys_MultiTaskThread::Sys_MultiTaskThread(int32_t iIdlePeriodMS)
    : Sys_Thread(Sys_Task::TaskHandle()), mTaskQueue(std::make_unique<Sys_TaskQueue>()),
      mSuspendMutex(Sys_Mutex::Create(eSys_MutexType_Plain)),
      mQueueEvent(mTaskQueue->GetQueueEvent()), mTimer(Sys_TimerEvent::Create(false)),
      mIdlePeriodMS(iIdlePeriodMS),
      mIdleObjects{Sys_SyncObject::Handle(mQueueEvent.Get()), Sys_SyncObject::Handle(mTimer.Get())}
{
    CMN_ASSERT(iIdlePeriodMS > 0);
    // Made suspended: Create's Resume releases the mutex.
    mSuspendMutex->Acquire();
}

Sys_MultiTaskThread::~Sys_MultiTaskThread() = default;

Sys_MultiTaskThread::MultiTaskThreadHandle Sys_MultiTaskThread::Create(int32_t iIdlePeriodMS)
{
    MultiTaskThreadHandle thread(new Sys_MultiTaskThread(iIdlePeriodMS));
    thread->Resume();
    return thread;
}

void Sys_MultiTaskThread::AddTask(const Sys_Task::TaskHandle& iTask, int32_t iPriority)
{
    mHighestPriority.BoundLo(iPriority);
    mLowestPriority.BoundHi(iPriority);
    mTaskQueue->AddTask(iTask, iPriority);
}

void Sys_MultiTaskThread::Suspend()
{
    mSuspendMutex->Acquire();
    Sys_Thread::Suspend();
}

void Sys_MultiTaskThread::Resume()
{
    mSuspendMutex->Release();
    Sys_Thread::Resume();
}

Sys_Thread::EStatus Sys_MultiTaskThread::Exec()
{
    Sys_StAcquireMutex lock(*mSuspendMutex);
    Sys_Task::EStatus taskStatus = Sys_Task::eStatus_Ready;
    if (mTaskQueue->TryExecTop(taskStatus))
        return taskStatus == Sys_Task::eStatus_Blocking ? eStatus_Blocked : eStatus_GoOn;
    if (IsHeldByClient())
    {
        mTimer->Set(mIdlePeriodMS);
        Block(mIdleObjects, true);
        return eStatus_Blocked;
    }
    return eStatus_Finished;
}
