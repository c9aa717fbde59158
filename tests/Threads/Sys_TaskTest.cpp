#include <tuple>

#include "Sys_TaskQueue.h"
#include "Support/ThreadTestSupport.h"

namespace
{
using S = Sys_Task;
} // namespace

TEST(Sys_Task, ResultsMapToStatusesAndAnAbortDuringTheStepEndsYieldAndRequeue)
{
    // {result, status, status when the step itself requested an abort}
    const std::tuple<S::EResult, S::EStatus, S::EStatus> table[] = {
        {S::eResult_Done, S::eStatus_Complete, S::eStatus_Complete},
        {S::eResult_Aborted, S::eStatus_Aborted, S::eStatus_Aborted},
        {S::eResult_Requeue, S::eStatus_RequeueRequested, S::eStatus_Aborted},
        {S::eResult_Yield, S::eStatus_Ready, S::eStatus_Aborted},
        {S::eResult_Block, S::eStatus_Blocking, S::eStatus_Blocking}};
    for (const auto& [result, status, abortedStatus] : table)
    {
        SCOPED_TRACE(result);
        auto task = TaskReturning(result);
        EXPECT_EQ(task->Exec(), status);
        EXPECT_EQ(task->GetStatus(), status);
        Sys_Task* selfP = nullptr;
        auto aborting = MakeTask(
            [&selfP, result = result](int32_t)
            {
                selfP->Abort();
                EXPECT_TRUE(selfP->IsAbortRequested());
                return result;
            });
        selfP = aborting.Get();
        EXPECT_EQ(aborting->Exec(), abortedStatus);
        EXPECT_EQ(AsFunctionTask(aborting).GetAbortImplCount(), 1);
    }
}

TEST(Sys_Task, AbortOnReadyEndsAtOnceAndSkipsTheStep)
{
    auto task = TaskReturning(S::eResult_Done);
    EXPECT_EQ(task->GetName(), "Test_FunctionTask"); // the type's name by default
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

TEST(Sys_Task, AbortRequestedWhileRequeuedOrBlockedTakesEffectAtTheNextExec)
{
    auto task = TaskReturning(S::eResult_Requeue);
    EXPECT_EQ(task->Exec(), S::eStatus_RequeueRequested);
    task->Abort(); // not Ready: only the flag
    EXPECT_EQ(task->GetStatus(), S::eStatus_RequeueRequested);
    task->Reset();
    EXPECT_EQ(task->Exec(), S::eStatus_Aborted);
    EXPECT_EQ(AsFunctionTask(task).GetStepCount(), 1);

    // A blocking task runs again despite the flag, and may end itself on it.
    Sys_Task* selfP = nullptr;
    auto blocking = MakeTask(
        [&selfP](int32_t iStep)
        {
            if (iStep == 0)
                selfP->Abort();
            return iStep == 0                  ? S::eResult_Block
                   : selfP->IsAbortRequested() ? S::eResult_Aborted
                                               : S::eResult_Done;
        });
    selfP = blocking.Get();
    EXPECT_EQ(blocking->Exec(), S::eStatus_Blocking);
    EXPECT_EQ(blocking->Exec(), S::eStatus_Aborted);
    EXPECT_EQ(AsFunctionTask(blocking).GetStepCount(), 2);
}

TEST(Sys_Task, ExceptionsAreStoredNotThrown)
{
    auto plain = MakeTask([](int32_t) -> S::EResult { throw std::runtime_error("disk gone"); });
    EXPECT_EQ(plain->Exec(), S::eStatus_Failed);
    ASSERT_NE(plain->GetException(), nullptr);
    EXPECT_NE(std::string(plain->GetException()->what()).find("disk gone"), std::string::npos);

    auto typed = MakeTask([](int32_t) -> S::EResult { L10N_Throw(2, 28); });
    EXPECT_EQ(typed->Exec(), S::eStatus_Failed);
    EXPECT_NE(dynamic_cast<const Cmn_TypedException<L10N_ExceptionData>*>(typed->GetException()),
              nullptr);

    auto odd = MakeTask([](int32_t) -> S::EResult { throw 42; });
    EXPECT_EQ(odd->Exec(), S::eStatus_Failed);
    EXPECT_NE(odd->GetException(), nullptr);

    // A failed task stays failed.
    EXPECT_EQ(plain->Exec(), S::eStatus_Failed);
    EXPECT_EQ(AsFunctionTask(plain).GetStepCount(), 1);
}

TEST(Sys_Task, NotificationEventsFollowTheMaskAndMisuseIsAsserted)
{
    auto task = TaskReturning(S::eResult_Requeue);
    auto ready = task->GetNotificationEvent(S::eStatus_Ready);
    auto requeue = task->GetNotificationEvent(S::eStatus_RequeueRequested | S::eStatus_Complete);
    EXPECT_TRUE(ready->IsSet()); // the status matches already
    EXPECT_FALSE(requeue->IsSet());
    EXPECT_THROW(task->Reset(), Cmn_AssertException); // Ready: nothing to reset
    EXPECT_EQ(task->Exec(), S::eStatus_RequeueRequested);
    EXPECT_TRUE(requeue->IsSet());
    EXPECT_TRUE(Test_Asserts([&] { task->Exec(); },
                             "mStatus == eStatus_Ready || mStatus == eStatus_Blocking"));
    task->Reset();
    EXPECT_FALSE(requeue->IsSet());
    EXPECT_FALSE(ready->IsSet()); // Reset resets every event of the list
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

// Adds to iQueue at iPriority a task that records iName at each step and requeues itself
// until step iLastStep.
void AddNamed(Sys_TaskQueue& iQueue, std::vector<std::string>& ioOrder, const std::string& iName,
              int32_t iPriority, int32_t iLastStep = 0)
{
    iQueue.AddTask(MakeTask(
                       [&ioOrder, iName, iLastStep](int32_t iStep)
                       {
                           ioOrder.push_back(iName + std::to_string(iStep));
                           return iStep < iLastStep ? S::eResult_Requeue : S::eResult_Done;
                       }),
                   iPriority);
}
} // namespace

TEST(Sys_TaskQueue, RunsByPriorityAndInOrderWithin)
{
    Sys_TaskQueue queue;
    std::vector<std::string> order;
    for (const auto& [name, priority] : std::initializer_list<std::pair<const char*, int32_t>>{
             {"a", 0}, {"b", 0}, {"c", 5}, {"d", 0}, {"e", 5}, {"f", -1}})
        AddNamed(queue, order, name, priority);
    EXPECT_EQ(queue.PeekAtTopPriority(), 5);
    while (!queue.IsEmpty())
        queue.ExecTop();
    EXPECT_EQ(order, (std::vector<std::string>{"c0", "e0", "a0", "b0", "d0", "f0"}));
    EXPECT_THROW(queue.ExecTop(), Cmn_AssertException);
    EXPECT_THROW(queue.PeekAtTopPriority(), Cmn_AssertException);
}

TEST(Sys_TaskQueue, RequeuedTaskKeepsItsSeniority)
{
    Sys_TaskQueue queue;
    std::vector<std::string> order;
    AddNamed(queue, order, "a", 0, 2);
    AddNamed(queue, order, "b", 0);
    EXPECT_EQ(queue.ExecTop(), S::eStatus_RequeueRequested);
    AddNamed(queue, order, "c", 1);
    while (!queue.IsEmpty())
        queue.ExecTop();
    EXPECT_EQ(order, (std::vector<std::string>{"a0", "c0", "a1", "a2", "b0"}));
}

TEST(Sys_TaskQueue, BlockingTaskStaysQueuedUnreset)
{
    Sys_TaskQueue queue;
    auto task =
        MakeTask([](int32_t iStep) { return iStep == 0 ? S::eResult_Block : S::eResult_Done; });
    queue.AddTask(task, 0);
    EXPECT_EQ(queue.ExecTop(), S::eStatus_Blocking);
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
