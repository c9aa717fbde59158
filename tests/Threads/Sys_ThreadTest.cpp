#include <mutex>
#include <random>

#include "Sys_MultiTaskThread.h"
#include "Sys_Semaphore.h"
#include "Sys_Thread.h"
#include "Sys_ThreadPosix.h"
#include "Support/ThreadTestSupport.h"

namespace
{
using S = Sys_Task;

constexpr int32_t cShortIdle = 20; // ms; tests never wait the default ten seconds
constexpr int32_t cFinal = S::eStatus_Aborted | S::eStatus_Failed | S::eStatus_Complete;
} // namespace

TEST(Sys_Thread, RunsItsTaskToTheEndAndKnowsItself)
{
    std::atomic<bool> sawItself{false};
    Sys_Thread* threadP = nullptr;
    std::atomic<bool> created{false};
    auto task = MakeTask(
        [&](int32_t iStep)
        {
            while (!created)
                std::this_thread::yield();
            sawItself = Sys_Thread::GetCurrentThread().Get() == threadP;
            // A requeued task is reset and runs again, as one that yields does.
            return iStep == 0 ? S::eResult_Requeue : iStep < 3 ? S::eResult_Yield : S::eResult_Done;
        });
    auto done = task->GetNotificationEvent(S::eStatus_Complete);
    Sys_Thread::ThreadHandle thread = Sys_Thread::Create(task);
    threadP = thread.Get();
    created = true;
    ASSERT_TRUE(WaitSet(done));
    EXPECT_TRUE(sawItself);
    EXPECT_EQ(AsFunctionTask(task).GetStepCount(), 4);
    EXPECT_TRUE(Eventually([&] { return thread->GetStatus() == Sys_Thread::eStatus_Finished; }));
    EXPECT_FALSE(Sys_Thread::GetCurrentThread()); // not a library thread
}

TEST(Sys_Thread, StartsSuspendedWhenAskedAndNeverResumedDiesWithItsHandle)
{
    const int32_t before = Sys_ThreadPosix::GetRunningThreadCount();
    auto task = TaskReturning(S::eResult_Done);
    {
        Sys_Thread::ThreadHandle thread = Sys_Thread::Create(task, true);
        EXPECT_EQ(thread->GetRefCount(), 1);
        EXPECT_EQ(thread->GetStatus(), Sys_Thread::eStatus_Suspended);
    }
    EXPECT_EQ(task->GetRefCount(), 1);                           // the thread let go of the task
    EXPECT_LE(Sys_ThreadPosix::GetRunningThreadCount(), before); // never started
    EXPECT_EQ(AsFunctionTask(task).GetStepCount(), 0);

    auto done = task->GetNotificationEvent(S::eStatus_Complete);
    Sys_Thread::ThreadHandle thread = Sys_Thread::Create(task, true);
    EXPECT_EQ(done->Wait(20), Sys_SyncObject::eWaitResult_TimedOut);
    EXPECT_EQ(AsFunctionTask(task).GetStepCount(), 0);
    thread->Resume();
    ASSERT_TRUE(WaitSet(done));
}

TEST(Sys_Thread, BlockingTaskWaitsForItsObjectsBetweenSteps)
{
    auto gate = Sys_Event::Create(1);
    auto task = MakeTask(
        [gate](int32_t iStep)
        {
            if (iStep == 0)
            {
                Sys_Thread::GetCurrentThread()->Block(Sys_SyncObject::Handle(gate.Get()));
                return S::eResult_Block;
            }
            return gate->IsSet() ? S::eResult_Done : S::eResult_Aborted;
        });
    auto blocking = task->GetNotificationEvent(S::eStatus_Blocking);
    auto done = task->GetNotificationEvent(cFinal);
    Sys_Thread::ThreadHandle thread = Sys_Thread::Create(task);
    ASSERT_TRUE(WaitSet(blocking));
    EXPECT_TRUE(Eventually([&] { return thread->GetStatus() == Sys_Thread::eStatus_Blocked; }));
    EXPECT_EQ(AsFunctionTask(task).GetStepCount(), 1);
    gate->Set();
    ASSERT_TRUE(WaitSet(done));
    EXPECT_EQ(task->GetStatus(), S::eStatus_Complete);
    EXPECT_FALSE(thread->IsBlocking()); // the body cleared the list after the wait
}

TEST(Sys_Thread, TaskExceptionEndsTheThreadNotTheProcess)
{
    auto task = MakeTask([](int32_t) -> S::EResult { throw std::logic_error("bad block"); });
    auto failed = task->GetNotificationEvent(S::eStatus_Failed);
    Sys_Thread::ThreadHandle thread = Sys_Thread::Create(task);
    ASSERT_TRUE(WaitSet(failed));
    EXPECT_TRUE(Eventually([&] { return thread->GetStatus() == Sys_Thread::eStatus_Finished; }));
    EXPECT_NE(std::string(task->GetException()->what()).find("bad block"), std::string::npos);
}

TEST(Sys_Thread, PrioritiesMapToLevelsAndAreKept)
{
    EXPECT_EQ(Sys_Thread::GetRelativeLevel(Sys_Thread::ePriority_Idle), -15);
    EXPECT_EQ(Sys_Thread::GetRelativeLevel(Sys_Thread::ePriority_Lowest), -2);
    EXPECT_EQ(Sys_Thread::GetRelativeLevel(Sys_Thread::ePriority_BelowNormal), -1);
    EXPECT_EQ(Sys_Thread::GetRelativeLevel(Sys_Thread::ePriority_Normal), 0);
    EXPECT_EQ(Sys_Thread::GetRelativeLevel(Sys_Thread::ePriority_AboveNormal), 1);
    EXPECT_EQ(Sys_Thread::GetRelativeLevel(Sys_Thread::ePriority_Highest), 2);
    EXPECT_EQ(Sys_Thread::GetRelativeLevel(Sys_Thread::ePriority_TimeCritical), 15);
    EXPECT_EQ(Sys_Thread::GetRelativeLevel(-7), -7); // passed as it stands
    EXPECT_EQ(Sys_ThreadPosix::GetNiceValue(Sys_Thread::ePriority_Idle), 19);
    EXPECT_EQ(Sys_ThreadPosix::GetNiceValue(Sys_Thread::ePriority_Lowest), 10);
    EXPECT_EQ(Sys_ThreadPosix::GetNiceValue(Sys_Thread::ePriority_TimeCritical), -20);

    auto hold = Sys_Event::Create(1);
    std::atomic<int32_t> boosted{-1};
    auto task = MakeTask(
        [&, hold](int32_t)
        {
            {
                Sys_StBoostThreadPriority boost(Sys_Thread::ePriority_BelowNormal);
                boosted = Sys_Thread::GetCurrentThread()->GetPriority();
            }
            hold->Wait(Sys_SyncObject::cWaitForever);
            return S::eResult_Done;
        });
    auto done = task->GetNotificationEvent(S::eStatus_Complete);
    Sys_Thread::ThreadHandle thread = Sys_Thread::Create(task, true);
    thread->SetPriority(Sys_Thread::ePriority_Lowest);
    thread->Resume();
    EXPECT_TRUE(Eventually([&] { return boosted.load() != -1; }));
    EXPECT_EQ(boosted.load(), Sys_Thread::ePriority_BelowNormal);
    EXPECT_EQ(thread->GetPriority(), Sys_Thread::ePriority_Lowest); // put back by the guard
    hold->Set();
    ASSERT_TRUE(WaitSet(done));
}

// ---- Sys_MultiTaskThread ----------------------------------------------------------------

TEST(Sys_MultiTaskThread, RunsQueuedTasksByPriority)
{
    auto worker = Sys_MultiTaskThread::Create(cShortIdle);
    std::vector<int32_t> order; // the worker's alone until the events are set
    std::vector<Sys_Event::EventHandle> done;
    worker->Suspend(); // everything is queued before the first runs
    const int32_t priorities[] = {0, 3, -2, 3, 7, 0};
    for (int32_t i = 0; i < 6; ++i)
    {
        auto task = MakeTask(
            [&, i](int32_t)
            {
                order.push_back(i);
                return S::eResult_Done;
            });
        done.push_back(task->GetNotificationEvent(S::eStatus_Complete));
        worker->AddTask(task, priorities[i]);
    }
    EXPECT_EQ(worker->GetHighestPriority(), 7);
    EXPECT_EQ(worker->GetLowestPriority(), -2);
    worker->Resume();
    for (auto& event : done)
        ASSERT_TRUE(WaitSet(event));
    EXPECT_EQ(order, (std::vector<int32_t>{4, 1, 3, 0, 5, 2}));
}

TEST(Sys_MultiTaskThread, BlockedTaskResumesWhenItsObjectFires)
{
    auto worker = Sys_MultiTaskThread::Create(cShortIdle);
    auto semaphore = Sys_Semaphore::Create(0, 1);
    auto task = MakeTask(
        [semaphore](int32_t iStep)
        {
            if (iStep == 0)
            {
                Sys_Thread::GetCurrentThread()->Block(
                    Sys_SyncObject::HandleList{Sys_SyncObject::Handle(semaphore.Get())}, true);
                return S::eResult_Block;
            }
            return S::eResult_Done;
        });
    auto blocking = task->GetNotificationEvent(S::eStatus_Blocking);
    auto done = task->GetNotificationEvent(S::eStatus_Complete);
    worker->AddTask(task, 0);
    ASSERT_TRUE(WaitSet(blocking));
    semaphore->Release(1);
    ASSERT_TRUE(WaitSet(done));
    EXPECT_EQ(AsFunctionTask(task).GetStepCount(), 2);
}

TEST(Sys_MultiTaskThread, EndsWithinAnIdlePeriodOfItsLastClient)
{
    // Workers of earlier tests end within their idle period too; start when all have.
    ASSERT_TRUE(Eventually([] { return Sys_ThreadPosix::GetRunningThreadCount() == 0; }));
    auto worker = Sys_MultiTaskThread::Create(cShortIdle);
    EXPECT_EQ(worker->GetIdlePeriod(), cShortIdle);
    auto task = TaskReturning(S::eResult_Done);
    auto done = task->GetNotificationEvent(S::eStatus_Complete);
    worker->AddTask(task, 0);
    ASSERT_TRUE(WaitSet(done));
    EXPECT_EQ(Sys_ThreadPosix::GetRunningThreadCount(), 1);
    worker = Sys_MultiTaskThread::MultiTaskThreadHandle();
    EXPECT_TRUE(Eventually([&] { return Sys_ThreadPosix::GetRunningThreadCount() == 0; }));
    EXPECT_EQ(task->GetRefCount(), 1); // the worker's queue let go of it
}

TEST(Sys_MultiTaskThread, SuspendHoldsTheWorkerBetweenTasks)
{
    auto worker = Sys_MultiTaskThread::Create(cShortIdle);
    auto release = Sys_Event::Create(1);
    auto first = MakeTask(
        [release](int32_t)
        {
            release->Wait(Sys_SyncObject::cWaitForever);
            return S::eResult_Done;
        });
    worker->AddTask(first, 1);
    EXPECT_TRUE(Eventually([&] { return first->GetStatus() == S::eStatus_Running; }));
    // Suspend waits for the running step: release it from another thread meanwhile.
    std::thread releaser([release] { release->Set(); });
    worker->Suspend();
    releaser.join();
    EXPECT_EQ(first->GetStatus(), S::eStatus_Complete);
    auto later = TaskReturning(S::eResult_Done);
    auto laterDone = later->GetNotificationEvent(S::eStatus_Complete);
    worker->AddTask(later, 0);
    EXPECT_EQ(laterDone->Wait(20), Sys_SyncObject::eWaitResult_TimedOut);
    EXPECT_EQ(later->GetStatus(), S::eStatus_Ready);
    worker->Resume();
    ASSERT_TRUE(WaitSet(laterDone));
}

TEST(Sys_MultiTaskThread, StressRacesAbortsRequeuesAndAdds)
{
    // Bounded: 4 producers x 150 tasks, each at most 4 steps; an aborter thread aborts
    // every third task while it waits, runs or requeues.
    constexpr int cProducers = 4;
    constexpr int cTasksEach = 150;
    auto worker = Sys_MultiTaskThread::Create(cShortIdle);
    std::mutex tasksMutex;
    std::vector<Sys_Task::TaskHandle> tasks;
    std::atomic<int32_t> stepsRun{0}, producing{cProducers};
    RunThreads(cProducers + 1,
               [&](int p)
               {
                   for (size_t next = 0; p == cProducers;) // the aborter
                   {
                       Sys_Task::TaskHandle task;
                       bool more = true;
                       {
                           std::lock_guard<std::mutex> lock(tasksMutex);
                           if (next < tasks.size())
                               task = tasks[next++];
                           more = producing > 0 || next < tasks.size();
                       }
                       if (task && next % 3 == 0)
                           task->Abort();
                       else if (!task && !more)
                           return;
                       else if (!task)
                           std::this_thread::yield();
                   }
                   std::mt19937 random(uint32_t(p + 1));
                   for (int i = 0; i < cTasksEach; ++i)
                   {
                       const int kind = int(random() % 4);
                       auto task = MakeTask(
                           [&stepsRun, kind](int32_t iStep)
                           {
                               stepsRun.fetch_add(1);
                               if (kind == 0 || iStep >= 3)
                                   return S::eResult_Done;
                               if (kind == 1)
                                   return S::eResult_Requeue;
                               if (kind == 2)
                                   throw std::runtime_error("stress failure");
                               return S::eResult_Aborted;
                           });
                       worker->AddTask(task, int32_t(random() % 5));
                       std::lock_guard<std::mutex> lock(tasksMutex);
                       tasks.push_back(task);
                   }
                   --producing;
               });
    ASSERT_EQ(tasks.size(), size_t(cProducers * cTasksEach));
    int32_t stepsCounted = 0;
    for (auto& task : tasks)
    {
        ASSERT_TRUE(WaitSet(task->GetNotificationEvent(cFinal))) << task->GetName();
        stepsCounted += AsFunctionTask(task).GetStepCount();
        EXPECT_LE(AsFunctionTask(task).GetStepCount(), 4);
    }
    EXPECT_EQ(stepsCounted, stepsRun.load());
    // A task aborted while it waits ends at once but leaves the queue when the worker reaches it.
    EXPECT_TRUE(Eventually([&] { return worker->GetTaskQueue().IsEmpty(); }));
}

TEST(Sys_TaskQueue, StressDrainsFromSeveralThreadsWhileAdding)
{
    // Three drainers pop and run while two adders add 300 requeueing tasks each.
    Sys_TaskQueue queue;
    constexpr int cAdders = 2;
    constexpr int cTasksEach = 300;
    std::atomic<int32_t> completed{0}, adding{cAdders};
    RunThreads(cAdders + 3,
               [&](int t)
               {
                   for (int i = 0; t < cAdders && i < cTasksEach; ++i)
                       queue.AddTask(MakeTask(
                                         [&completed](int32_t iStep)
                                         {
                                             if (iStep < 2)
                                                 return S::eResult_Requeue;
                                             completed.fetch_add(1);
                                             return S::eResult_Done;
                                         }),
                                     i % 3);
                   if (t < cAdders)
                       --adding;
                   Sys_Task::EStatus status;
                   while (t >= cAdders && (adding > 0 || !queue.IsEmpty())) // three drainers
                       if (!queue.TryExecTop(status))
                           std::this_thread::yield();
               });
    EXPECT_EQ(completed.load(), cAdders * cTasksEach);
    EXPECT_TRUE(queue.IsEmpty());
}
