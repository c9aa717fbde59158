// A priority queue of tasks, and the step that runs its top.
//
// Order: a greater priority first; at equal priority the smaller ordinal (the earlier
// AddTask) first. A task that asks to be requeued is Reset and pushed back with its own
// ordinal, so it keeps its seniority over tasks added after it at its priority; a blocking
// task is pushed back unchanged. Every other status drops the item and tells subscribers
// that the task left the queue for good.
//
// Any thread may add; ExecTop may be called by several threads, each running the task it
// popped. The queue's mutexes are held only for the container and ordinal operations, never
// while a task runs or subscribers are told.
#pragma once

#include <atomic>
#include <cstdint>

#include "Cmn_Notifier.h"
#include "Sys_Event.h"
#include "Sys_Task.h"
#include "Sys_ThreadSafeQueue.h"

class Sys_TaskQueueItem
{
public:
    Sys_TaskQueueItem() = default;
    Sys_TaskQueueItem(const Sys_Task::TaskHandle& iTask, int32_t iPriority, uint64_t iOrdinal)
        : mTask(iTask), mPriority(iPriority), mOrdinal(iOrdinal)
    {
    }

    // Greater priority is greater; at equal priority the smaller ordinal is greater.
    bool operator<(const Sys_TaskQueueItem& iOther) const
    {
        if (mPriority != iOther.mPriority)
            return mPriority < iOther.mPriority;
        return mOrdinal > iOther.mOrdinal;
    }

    const Sys_Task::TaskHandle& GetTask() const { return mTask; }
    int32_t GetPriority() const { return mPriority; }
    uint64_t GetOrdinal() const { return mOrdinal; }

private:
    Sys_Task::TaskHandle mTask;
    int32_t mPriority = 0;
    uint64_t mOrdinal = 0;
};

class Sys_TaskQueueMessage
{
public:
    enum EKind
    {
        eKind_TaskAdded = 0,
        eKind_TaskLeft = 1
    };

    Sys_TaskQueueMessage(EKind iKind, const Sys_Task::TaskHandle& iTask)
        : mKind(iKind), mTask(iTask)
    {
    }

    EKind GetKind() const { return mKind; }
    const Sys_Task::TaskHandle& GetTask() const { return mTask; }

private:
    EKind mKind;
    Sys_Task::TaskHandle mTask;
};

class Sys_TaskQueue : public Cmn_Notifier<Sys_TaskQueueMessage>
{
public:
    using Queue = Sys_ThreadSafePriorityQueue<Sys_TaskQueueItem>;

    Sys_TaskQueue();
    ~Sys_TaskQueue() override;

    // Queues iTask (not null) behind every task of its priority, sets the queue event and
    // tells subscribers (kind 0).
    void AddTask(const Sys_Task::TaskHandle& iTask, int32_t iPriority);
    // Pops the top task and runs one step of it; returns its status. Asserts
    // "!mQueue.IsEmpty()".
    Sys_Task::EStatus ExecTop();
    // As ExecTop, but false (and nothing run) when the queue is empty.
    bool TryExecTop(Sys_Task::EStatus& oStatus);

    bool IsEmpty() const { return mQueue.IsEmpty(); }
    // The priority of the top task; asserts "!mQueue.IsEmpty()".
    int32_t PeekAtTopPriority() const;
    // The top task, or null.
    Sys_Task::TaskHandle PeekAtTopTask() const;
    Queue& GetQueue() { return mQueue; }
    // Auto-reset; set by every AddTask.
    const Sys_Event::EventHandle& GetQueueEvent() const { return mQueueEvent; }

private:
    Sys_Task::EStatus ExecItem(Sys_TaskQueueItem& ioItem);

    Queue mQueue;
    std::atomic<uint64_t> mNextOrdinal{0};
    Sys_Event::EventHandle mQueueEvent;
};
