#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
#include "Sys_Task.h"
#include "Sys_TaskQueue.h"
#include "ThreadTestSupport.h"

namespace
{
using S = Sys_Task;

Sys_Task::TaskHandle TaskReturning(Sys_Task::EResult iResult)
{
    return MakeTask([iResult](int32_t) { return iResult; });
}

} // namespace

TEST(Sys_Task, ResultsMapToStatusesWithoutAbort)
{
    const std::pair<S::EResult, S::EStatus> table[] = {
        {S::eResult_Done, S::eStatus_Complete},
        {S::eResult_Aborted, S::eStatus_Aborted},
        {S::eResult_Requeue, S::eStatus_RequeueRequested},
        {S::eResult_Yield, S::eStatus_Ready},
        {S::eResult_Block, S::eStatus_Blocking}};
    for (const auto& [result, status] : table)
    {
        auto task = TaskReturning(result);
        EXPECT_EQ(task->Exec(), status) << "result " << result;
        EXPECT_EQ(task->GetStatus(), status);
    }
}

TEST(Sys_Task, AbortDuringStepTurnsYieldAndRequeueIntoAborted)
{
    const std::pair<S::EResult, S::EStatus> table[] = {{S::eResult_Done, S::eStatus_Complete},
                                                       {S::eResult_Requeue, S::eStatus_Aborted},
                                                       {S::eResult_Yield, S::eStatus_Aborted},
                                                       {S::eResult_Block, S::eStatus_Blocking}};
    for (const auto& [result, status] : table)
    {
        Sys_Task* selfP = nullptr;
        auto task = MakeTask(
            [&selfP, result = result](int32_t)
            {
                selfP->Abort();
                EXPECT_TRUE(selfP->IsAbortRequested());
                return result;
            });
        selfP = task.Get();
        EXPECT_EQ(task->Exec(), status) << "result " << result;
        EXPECT_EQ(AsFunctionTask(task).GetAbortImplCount(), 1);
    }
}

TEST(Sys_Task, AbortOnReadyEndsAtOnceAndSkipsTheStep)
{
    auto task = TaskReturning(S::eResult_Done);
    auto event = task->GetNotificationEvent(S::eStatus_Aborted);
    EXPECT_FALSE(event->IsSet());
    task->Abort();
    EXPECT_EQ(task->GetStatus(), S::eStatus_Aborted);
    EXPECT_TRUE(event->IsSet());
    EXPECT_FALSE(task->IsAbortRequested()); // cleared once the abort is done
    EXPECT_EQ(task->Exec(), S::eStatus_Aborted);
    EXPECT_EQ(AsFunctionTask(task).GetStepCount(), 0);
    task->Abort();
    EXPECT_EQ(AsFunctionTask(task).GetAbortImplCount(), 2); // the flag was cleared between
}

TEST(Sys_Task, AbortRequestedWhileRequeuedEndsAtTheNextExec)
{
    auto task = TaskReturning(S::eResult_Requeue);
    EXPECT_EQ(task->Exec(), S::eStatus_RequeueRequested);
    task->Abort(); // not Ready: only the flag
    EXPECT_EQ(task->GetStatus(), S::eStatus_RequeueRequested);
    task->Reset();
    EXPECT_EQ(task->Exec(), S::eStatus_Aborted);
    EXPECT_EQ(AsFunctionTask(task).GetStepCount(), 1);
}

TEST(Sys_Task, BlockingTaskRunsAgainDespiteAbortFlag)
{
    Sys_Task* selfP = nullptr;
    auto task = MakeTask(
        [&selfP](int32_t iStep)
        {
            if (iStep == 0)
            {
                selfP->Abort();
                return S::eResult_Block;
            }
            return selfP->IsAbortRequested() ? S::eResult_Aborted : S::eResult_Done;
        });
    selfP = task.Get();
    EXPECT_EQ(task->Exec(), S::eStatus_Blocking);
    EXPECT_EQ(task->Exec(), S::eStatus_Aborted);
    EXPECT_EQ(AsFunctionTask(task).GetStepCount(), 2);
}

TEST(Sys_Task, ExceptionsAreStoredNotThrown)
{
    auto plain = MakeTask([](int32_t) -> S::EResult { throw std::runtime_error("disk gone"); });
    EXPECT_EQ(plain->Exec(), S::eStatus_Failed);
    ASSERT_NE(plain->GetException(), nullptr);
    EXPECT_NE(std::string(plain->GetException()->what()).find("disk gone"), std::string::npos);

    auto typed = MakeTask([](int32_t) -> S::EResult { L10N_Throw(2, 28); });
    EXPECT_EQ(typed->Exec(), S::eStatus_Failed);
    ASSERT_NE(typed->GetException(), nullptr);
    EXPECT_NE(dynamic_cast<const Cmn_TypedException<L10N_ExceptionData>*>(typed->GetException()),
              nullptr);

    auto odd = MakeTask([](int32_t) -> S::EResult { throw 42; });
    EXPECT_EQ(odd->Exec(), S::eStatus_Failed);
    EXPECT_NE(odd->GetException(), nullptr);

    // A failed task stays failed.
    EXPECT_EQ(plain->Exec(), S::eStatus_Failed);
    EXPECT_EQ(AsFunctionTask(plain).GetStepCount(), 1);
}

TEST(Sys_Task, NotificationEventsFollowTheMask)
{
    auto task = TaskReturning(S::eResult_Requeue);
    auto ready = task->GetNotificationEvent(S::eStatus_Ready);
    auto requeue = task->GetNotificationEvent(S::eStatus_RequeueRequested | S::eStatus_Complete);
    EXPECT_TRUE(ready->IsSet()); // the status matches already
    EXPECT_FALSE(requeue->IsSet());
    EXPECT_EQ(task->Exec(), S::eStatus_RequeueRequested);
    EXPECT_TRUE(requeue->IsSet());
    task->Reset();
    EXPECT_FALSE(requeue->IsSet());
    EXPECT_FALSE(ready->IsSet()); // Reset resets every event of the list
}

TEST(Sys_Task, MisuseIsAsserted)
{
    auto task = TaskReturning(S::eResult_Done);
    EXPECT_THROW(task->Reset(), Cmn_AssertException);
    EXPECT_EQ(task->Exec(), S::eStatus_Complete);
    const std::string text = ThrownText([&] { task->Exec(); });
    EXPECT_NE(text.find("mStatus == eStatus_Ready || mStatus == eStatus_Blocking"),
              std::string::npos);
}

TEST(Sys_Task, NameDefaultsToTheTypeName)
{
    auto task = TaskReturning(S::eResult_Done);
    EXPECT_EQ(task->GetName(), "Test_FunctionTask");
    task->SetName("convert");
    EXPECT_EQ(task->GetName(), "convert");
}

// ---- Sys_TaskQueue ----------------------------------------------------------------------

namespace
{
class Test_Listener : public Sys_TaskQueue::Listener
{
public:
    void Listen(Sys_TaskQueueMessage& ioMessage) override { mKinds.push_back(ioMessage.GetKind()); }
    std::vector<int> mKinds;
};
} // namespace

TEST(Sys_TaskQueueItem, OrdersByPriorityThenSeniority)
{
    Sys_TaskQueueItem low(Sys_Task::TaskHandle(), 1, 0);
    Sys_TaskQueueItem high(Sys_Task::TaskHandle(), 2, 5);
    Sys_TaskQueueItem older(Sys_Task::TaskHandle(), 1, 3);
    Sys_TaskQueueItem younger(Sys_Task::TaskHandle(), 1, 4);
    EXPECT_TRUE(low < high);
    EXPECT_TRUE(younger < older);
    EXPECT_FALSE(older < younger);
    Sys_TaskQueueItem copy = younger;
    EXPECT_EQ(copy.GetOrdinal(), 4u);
}

TEST(Sys_TaskQueue, RunsByPriorityAndInOrderWithin)
{
    Sys_TaskQueue queue;
    std::vector<std::string> order;
    auto add = [&](const std::string& iName, int32_t iPriority)
    {
        queue.AddTask(MakeTask(
                          [&order, iName](int32_t)
                          {
                              order.push_back(iName);
                              return S::eResult_Done;
                          }),
                      iPriority);
    };
    add("a0", 0);
    add("b0", 0);
    add("c5", 5);
    add("d0", 0);
    add("e5", 5);
    add("f-1", -1);
    EXPECT_EQ(queue.PeekAtTopPriority(), 5);
    while (!queue.IsEmpty())
        queue.ExecTop();
    EXPECT_EQ(order, (std::vector<std::string>{"c5", "e5", "a0", "b0", "d0", "f-1"}));
    EXPECT_THROW(queue.ExecTop(), Cmn_AssertException);
    EXPECT_THROW(queue.PeekAtTopPriority(), Cmn_AssertException);
}

TEST(Sys_TaskQueue, RequeuedTaskKeepsItsSeniority)
{
    Sys_TaskQueue queue;
    std::vector<std::string> order;
    queue.AddTask(MakeTask(
                      [&order](int32_t iStep)
                      {
                          order.push_back("a" + std::to_string(iStep));
                          return iStep < 2 ? S::eResult_Requeue : S::eResult_Done;
                      }),
                  0);
    queue.AddTask(MakeTask(
                      [&order](int32_t)
                      {
                          order.push_back("b");
                          return S::eResult_Done;
                      }),
                  0);
    EXPECT_EQ(queue.ExecTop(), S::eStatus_RequeueRequested);
    queue.AddTask(MakeTask(
                      [&order](int32_t)
                      {
                          order.push_back("c");
                          return S::eResult_Done;
                      }),
                  1);
    while (!queue.IsEmpty())
        queue.ExecTop();
    EXPECT_EQ(order, (std::vector<std::string>{"a0", "c", "a1", "a2", "b"}));
}

TEST(Sys_TaskQueue, BlockingTaskStaysQueuedUnreset)
{
    Sys_TaskQueue queue;
    auto task =
        MakeTask([](int32_t iStep) { return iStep == 0 ? S::eResult_Block : S::eResult_Done; });
    queue.AddTask(task, 0);
    EXPECT_EQ(queue.ExecTop(), S::eStatus_Blocking);
    EXPECT_FALSE(queue.IsEmpty());
    EXPECT_EQ(queue.PeekAtTopTask(), task);
    EXPECT_EQ(queue.ExecTop(), S::eStatus_Complete);
    EXPECT_TRUE(queue.IsEmpty());
}

TEST(Sys_TaskQueue, TellsSubscribersAndSetsTheQueueEvent)
{
    Sys_TaskQueue queue;
    Test_Listener listener;
    queue.Subscribe(listener);
    EXPECT_FALSE(queue.GetQueueEvent()->IsSet());
    queue.AddTask(
        MakeTask([](int32_t iStep) { return iStep == 0 ? S::eResult_Requeue : S::eResult_Yield; }),
        0);
    EXPECT_TRUE(queue.GetQueueEvent()->IsSet());
    EXPECT_FALSE(queue.GetQueueEvent()->IsSet()); // auto reset
    queue.ExecTop();                              // requeued: no message
    queue.ExecTop();                              // yielded: left the queue
    queue.Unsubscribe(listener);
    queue.AddTask(TaskReturning(S::eResult_Done), 0);
    EXPECT_EQ(listener.mKinds, (std::vector<int>{Sys_TaskQueueMessage::eKind_TaskAdded,
                                                 Sys_TaskQueueMessage::eKind_TaskLeft}));
}
