// A worker thread that serves a priority queue of tasks.
//
// One step (Exec), holding mSuspendMutex for the whole step:
//  1. If the queue has a task, run one step of the top task (Sys_TaskQueue::ExecTop);
//     answer 3 (wait) when the task blocks (it has filled this thread's blocker), else 0.
//  2. If the queue is empty and a client still holds the thread: arm the idle timer, block
//     on the queue event or the timer, answer 3. The timer makes an idle worker look again,
//     once per idle period (ten seconds unless told otherwise), whether its clients are gone.
//  3. Otherwise answer 4: the thread ends. Tasks still queued then are never run (step 1
//     runs them first while any remain and a client could add more).
// So a worker whose last client lets go ends within one idle period.
//
// Suspend takes mSuspendMutex and then suspends the thread; Resume releases the mutex and
// then resumes. A suspended worker therefore stands between two tasks, and Suspend waits
// for the step that runs. Suspend and Resume must come from the same thread (the mutex is a
// critical section). The thread is made holding the mutex; Create resumes it.
// AddTask may be called from any thread, also from a task of this worker.
#pragma once

#include <cstdint>
#include <memory>

#include "Sys_AtomicInt32.h"
#include "Sys_Mutex.h"
#include "Sys_TaskQueue.h"
#include "Sys_Thread.h"
#include "Sys_TimerEvent.h"

class Sys_MultiTaskThread : public Sys_Thread
{
public:
    static constexpr int32_t cDefaultIdlePeriodMS = 10000;

    using MultiTaskThreadHandle = Cmn_PolymorphicHandle<Sys_MultiTaskThread>;

    // Makes the worker, resumes it and returns it. iIdlePeriodMS (> 0) is how often an idle
    // worker looks whether its clients are gone.
    static MultiTaskThreadHandle Create(int32_t iIdlePeriodMS = cDefaultIdlePeriodMS);

    // Queues iTask and widens the highest and lowest priority seen.
    virtual void AddTask(const Sys_Task::TaskHandle& iTask, int32_t iPriority);

    Sys_TaskQueue& GetTaskQueue() { return *mTaskQueue; }
    Sys_Mutex& GetSuspendMutex() { return *mSuspendMutex; }
    int32_t GetHighestPriority() const { return mHighestPriority.Get(); }
    int32_t GetLowestPriority() const { return mLowestPriority.Get(); }
    int32_t GetIdlePeriod() const { return mIdlePeriodMS; }

    void Suspend() override;
    void Resume() override;
    EStatus Exec() override;

protected:
    explicit Sys_MultiTaskThread(int32_t iIdlePeriodMS);
    ~Sys_MultiTaskThread() override;

private:
    std::unique_ptr<Sys_TaskQueue> mTaskQueue;
    Sys_Mutex::MutexHandle mSuspendMutex;
    Sys_Event::EventHandle mQueueEvent;
    Sys_TimerEvent::TimerEventHandle mTimer;
    Sys_AtomicInt32 mHighestPriority{0};
    Sys_AtomicInt32 mLowestPriority{0};
    const int32_t mIdlePeriodMS;
    // What an idle step waits for (the queue event, then the timer), made once.
    const Sys_SyncObject::HandleList mIdleObjects;
};
