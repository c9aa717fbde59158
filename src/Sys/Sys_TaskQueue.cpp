#include "Sys_TaskQueue.h"

#include "Cmn_Assert.h"

Sys_TaskQueue::Sys_TaskQueue() : mQueueEvent(Sys_Event::Create(0)) {}

Sys_TaskQueue::~Sys_TaskQueue() = default;

void Sys_TaskQueue::AddTask(const Sys_Task::TaskHandle& iTask, int32_t iPriority)
{
    CMN_ASSERT(iTask);
    // The ordinal counter is one interlocked increment: no two tasks share an ordinal.
    const uint64_t ordinal = mNextOrdinal.fetch_add(1);
    mQueue.Push(Sys_TaskQueueItem(iTask, iPriority, ordinal));
    mQueueEvent->Set();
    Sys_TaskQueueMessage message(Sys_TaskQueueMessage::eKind_TaskAdded, iTask);
    NotifySubscribers(message);
}

Sys_Task::EStatus Sys_TaskQueue::ExecTop()
{
    Sys_Task::EStatus status = Sys_Task::eStatus_Ready;
    const bool ran = TryExecTop(status);
    CMN_ASSERT_TEXT(ran, "!mQueue.IsEmpty()");
    return status;
}

bool Sys_TaskQueue::TryExecTop(Sys_Task::EStatus& oStatus)
{
    Sys_TaskQueueItem item;
    if (!mQueue.TryPop(item))
        return false;
    oStatus = ExecItem(item);
    return true;
}

Sys_Task::EStatus Sys_TaskQueue::ExecItem(Sys_TaskQueueItem& ioItem)
{
    const Sys_Task::EStatus status = ioItem.GetTask()->Exec();
    switch (status)
    {
    case Sys_Task::eStatus_RequeueRequested:
        ioItem.GetTask()->Reset();
        mQueue.Push(ioItem);
        break;
    case Sys_Task::eStatus_Blocking:
        mQueue.Push(ioItem);
        break;
    default:
    {
        Sys_TaskQueueMessage message(Sys_TaskQueueMessage::eKind_TaskLeft, ioItem.GetTask());
        NotifySubscribers(message);
        break;
    }
    }
    return status;
}

int32_t Sys_TaskQueue::PeekAtTopPriority() const
{
    Sys_TaskQueueItem item;
    const bool found = mQueue.PeekTop(item);
    CMN_ASSERT_TEXT(found, "!mQueue.IsEmpty()");
    return item.GetPriority();
}

Sys_Task::TaskHandle Sys_TaskQueue::PeekAtTopTask() const
{
    Sys_TaskQueueItem item;
    if (!mQueue.PeekTop(item))
        return Sys_Task::TaskHandle();
    return item.GetTask();
}
