// Background work: priorities, dependencies, slices, cancel, pause and status.
#include <gtest/gtest.h>

#include "BDMTestSupport.h"
#include "Support/TestSupport.h"

namespace
{
BDMTest_WorkHandle Work(const std::string& iName, std::vector<std::string>* ioLogP,
                        int32_t iSteps = 0)
{
    return BDMTest_WorkHandle(new BDMTest_Work(iName, ioLogP, iSteps));
}

// A queue with nothing in it before and after each test.
struct QueueTest : testing::Test
{
    void SetUp() override
    {
        BDMTest_Drain();
        ASSERT_TRUE(BDMTest_Queue().IsEmpty());
    }
    void TearDown() override
    {
        BDMTest_Drain();
        BDM_LazyObjectQueue::SetClock(nullptr);
        BDM_LazyObject::ClearProgressStack();
    }
};

int64_t sFakeNow = 0;
int64_t FakeClock()
{
    return sFakeNow;
}
} // namespace

using BDM_LazyObjectPriority = QueueTest;

TEST_F(BDM_LazyObjectPriority, NowIsLastAskedFirstRun)
{
    struct Case
    {
        int32_t mQueuedPriority; // of a task already queued; -1 for none
        int32_t mAsked;
        int32_t mExpected;
    };
    const Case cases[] = {
        {-1, 5000, 5000},   {6000, 5000, 7000}, {4999, 5000, 5000},
        {5000, 5000, 6000}, {3000, 2500, 2500}, {-1, 12, 12},
    };
    for (const Case& c : cases)
    {
        BDMTest_WorkHandle queued = Work("queued", nullptr);
        if (c.mQueuedPriority >= 0)
            queued->QueueWithPriority(c.mQueuedPriority == 5000 ? 5000 : c.mQueuedPriority);
        BDMTest_WorkHandle asked = Work("asked", nullptr);
        asked->QueueWithPriority(c.mAsked);
        EXPECT_EQ(asked->GetPriority(), c.mExpected) << c.mQueuedPriority << " " << c.mAsked;
        EXPECT_TRUE(asked->IsQueued());
        BDMTest_Drain();
    }
}

TEST_F(BDM_LazyObjectPriority, AForegroundClientLiftsToCritical)
{
    BDMTest_WorkHandle work = Work("w", nullptr);
    work->QueueObjectLoader("w");
    work->IncrementForegroundClientCount();
    EXPECT_EQ(work->GetPriority(), int32_t(BDM_LazyObject::ePriority_Critical));
    EXPECT_EQ(BDMTest_Queue().GetTaskQueue().PeekAtTopPriority(), 4000);
    work->IncrementForegroundClientCount(); // only the first lifts
    work->DecrementForegroundClientCount();
    work->DecrementForegroundClientCount();
    EXPECT_TRUE(Test_Asserts([&] { work->DecrementForegroundClientCount(); },
                             "mForegroundClientCount > 0"));
}

using BDM_TaskLoader_ = QueueTest;

TEST_F(BDM_TaskLoader_, DependenciesRunFirstAtTheParentsPriorityPlusOne)
{
    std::vector<std::string> log;
    BDMTest_WorkHandle parent = Work("parent", &log);
    BDMTest_WorkHandle done = Work("done", &log);
    BDMTest_WorkHandle slow = Work("slow", &log, 2);
    BDMTest_WorkHandle quick = Work("quick", &log);
    done->QueueObjectLoader("done");
    BDMTest_Drain();
    ASSERT_TRUE(done->IsLoaded());
    log.clear();
    parent->SetPriority(10);
    parent->AddDependency(done.Get());
    parent->AddDependency(slow.Get());
    parent->AddDependency(quick.Get());
    parent->QueueObjectLoader("parent");
    // The first entry drops the loaded one and lifts the others.
    BDMTest_Queue().ExecTop();
    EXPECT_EQ(parent->GetDependencies().size(), 2u);
    EXPECT_EQ(slow->GetPriority(), 11);
    EXPECT_EQ(quick->GetPriority(), 11);
    EXPECT_EQ(slow->GetCurrentProgressParent(), parent.Get());
    BDMTest_Drain();
    // At one priority the earlier keeps its place through its steps.
    EXPECT_EQ(log, (std::vector<std::string>{"slow", "quick", "parent"}));
    EXPECT_TRUE(parent->IsLoaded());
    EXPECT_TRUE(parent->GetDependencies().empty());
}

TEST_F(BDM_TaskLoader_, AFailedDependencyFailsTheParentAndASynchronousWaiter)
{
    std::vector<std::string> log;
    std::vector<std::string> handled;
    BDMTest_WorkHandle parent = Work("parent", &log), child = Work("child", &log);
    child->mThrow = "disk gone";
    parent->AddDependency(child.Get());
    parent->QueueObjectLoader("parent");
    BDMTest_Drain();
    EXPECT_TRUE(child->LoadFailed());
    EXPECT_EQ(ThrownText([&] { child->ThrowIfLoadFailed(); }), "disk gone");
    EXPECT_EQ(ThrownText([&] { parent->ThrowIfLoadFailed(); }), "disk gone");
    EXPECT_TRUE(log.empty());
    // A failed object can be queued again: a new loader, which now succeeds.
    child->mThrow.clear();
    child->QueueObjectLoader("again");
    BDMTest_Drain();
    EXPECT_TRUE(child->IsLoaded());
    BDMTest_WorkHandle waiter = Work("waiter", &log);
    waiter->mThrow = "bad header";
    Sys_LazyObject::StSetLoadSynchronously synchronously;
    EXPECT_EQ(ThrownText([&] { waiter->QueueObjectLoader("waiter"); }), "bad header");
}

TEST_F(BDM_TaskLoader_, ProgressSumsUpTheChainAndStatusFollowsTheStages)
{
    std::vector<std::string> log;
    BDMTest_WorkHandle parent = Work("parent", &log), child = Work("child", &log, 1);
    EXPECT_EQ(parent->GetStatus(), BDM_eStatus_Idle);
    child->SetProgressUnitsType(BDM_TaskProgress::eUnitsType_Files);
    child->UpdateUnitsToComplete(4);
    parent->AddDependency(child.Get());
    EXPECT_EQ(parent->GetProgressUnitsType(), BDM_TaskProgress::eUnitsType_Files);
    EXPECT_EQ(parent->GetProgress().mUnitsToComplete, 4);
    child->UpdateUnitsToComplete(2);
    EXPECT_EQ(parent->GetProgress().mUnitsToComplete, 6);
    BDMTest_WorkHandle bytes = Work("bytes", &log);
    bytes->SetProgressUnitsType(BDM_TaskProgress::eUnitsType_Bytes);
    EXPECT_TRUE(Test_Asserts([&] { parent->AddDependency(bytes.Get()); },
                             "iLazyObject->GetProgressUnitsType() == mProgressUnitsType || "
                             "mProgressUnitsType == BDM_TaskProgress::eUnitsType_Undefined"));
    parent->RemoveDependency(bytes.Get());
    parent->QueueObjectLoader("parent");
    EXPECT_EQ(parent->GetStatus(), BDM_eStatus_Queued);
    BDM_EStatus seenInLoad = BDM_eStatus_Idle;
    child->mOnLoad = [&] { seenInLoad = child->GetStatus(); };
    BDMTest_Queue().ExecTop(); // parent: lifts the child
    BDMTest_Queue().ExecTop(); // child: first step
    EXPECT_EQ(seenInLoad, BDM_eStatus_Running);
    EXPECT_EQ(child->GetStatus(), BDM_eStatus_Begun); // on the progress stack, not loaded
    EXPECT_EQ(BDM_LazyObject::GetProgressStack(),
              (std::vector<BDM_LazyObject*>{child.Get(), parent.Get()}));
    BDMTest_Drain();
    EXPECT_EQ(child->GetStatus(), BDM_eStatus_Loaded);
    EXPECT_EQ(parent->GetStatus(), BDM_eStatus_Loaded);
    EXPECT_TRUE(BDM_LazyObject::GetProgressStack().empty());
}

TEST_F(BDM_TaskLoader_, CancellingAParentCancelsTheChainLeavesFirst)
{
    std::vector<std::string> log, cancelled;
    struct Recorder : Cmn_Observable<Sys_LazyObject_Message>::Observer
    {
        std::vector<std::string>* mLogP;
        void Notify(Sys_LazyObject_Message& ioMessage) override
        {
            if (ioMessage.GetMessage() == Sys_LazyObject_Message::eMessage_Cancelled)
                mLogP->push_back(static_cast<BDMTest_Work&>(ioMessage.GetObject()).mName);
        }
    } recorder;
    recorder.mLogP = &cancelled;
    BDMTest_WorkHandle top = Work("top", &log), middle = Work("middle", &log),
                       leaf = Work("leaf", &log, 100);
    middle->AddDependency(leaf.Get());
    top->AddDependency(middle.Get());
    for (BDMTest_Work* p : {top.Get(), middle.Get(), leaf.Get()})
        p->AddObserver(recorder);
    top->QueueObjectLoader("top");
    for (int i = 0; i < 5; ++i)
        BDMTest_Queue().ExecTop();
    // Cancel from inside a running step of the leaf.
    leaf->mOnLoad = [&] { top->CancelLoading(); };
    BDMTest_Drain();
    EXPECT_EQ(cancelled, (std::vector<std::string>{"leaf", "middle", "top"}));
    EXPECT_TRUE(log.empty());
    for (BDMTest_Work* p : {top.Get(), middle.Get(), leaf.Get()})
    {
        EXPECT_FALSE(p->IsLoaded());
        EXPECT_FALSE(p->IsQueued());
        p->RemoveObserver(recorder);
    }
}

TEST_F(BDM_TaskLoader_, PauseKeepsTheTaskKeyAndResumeFinishes)
{
    std::vector<std::string> log;
    BDMTest_WorkHandle work = Work("w", &log, 3);
    work->SetTaskManagerKey(BDMTest_MakeKey(7));
    work->QueueObjectLoader("w");
    BDMTest_Queue().ExecTop();
    work->PauseLoading();
    EXPECT_EQ(work->GetStatus(), BDM_eStatus_Paused);
    EXPECT_TRUE(BDMTest_Queue().IsEmpty() || !work->IsQueued());
    work->ResumeLoading();
    BDMTest_Drain();
    EXPECT_TRUE(work->IsLoaded());
    EXPECT_EQ(log, std::vector<std::string>{"w"});
}

using BDM_LazyObjectQueueSlice = QueueTest;

TEST_F(BDM_LazyObjectQueueSlice, RunsWhileAWholeMillisecondIsLeft)
{
    BDM_LazyObjectQueue::SetClock(&FakeClock);
    struct Case
    {
        int64_t mStepMicroseconds; // the clock moves this much in each task step
        int32_t mExpectedSteps;
    };
    // 30,000 us per slice; a step starts only with at least 1,000 us left.
    const Case cases[] = {{10000, 3}, {14500, 3}, {14501, 2}, {29001, 1}, {28999, 2}, {0, 50}};
    for (const Case& c : cases)
    {
        std::vector<std::string> log;
        int32_t steps = 0;
        BDMTest_WorkHandle work = Work("w", &log, 49);
        work->mOnLoad = [&]
        {
            ++steps;
            sFakeNow += c.mStepMicroseconds;
        };
        work->QueueObjectLoader("w");
        BDMTest_Queue().ExecuteForSlice();
        EXPECT_EQ(steps, c.mExpectedSteps) << c.mStepMicroseconds;
        BDMTest_Drain();
    }
}

TEST_F(BDM_LazyObjectQueueSlice, SuspensionHoldsBackgroundWorkAndCriticalWorkRestartsIt)
{
    BDM_LazyObjectQueue& queue = BDMTest_Queue();
    std::vector<std::string> log;
    queue.SuspendNonCriticalTasks(true);
    BDMTest_WorkHandle background = Work("background", &log);
    background->QueueObjectLoader("background");
    queue.ExecuteForSlice(); // runs it, then finds the queue empty: suspended
    EXPECT_TRUE(queue.IsSuspended());
    BDMTest_WorkHandle later = Work("later", &log);
    later->QueueWithPriority(100);
    queue.ExecuteForSlice();
    EXPECT_FALSE(later->IsLoaded());
    BDMTest_WorkHandle critical = Work("critical", &log);
    critical->QueueWithPriority(4000);
    EXPECT_FALSE(queue.IsSuspended());
    queue.ExecuteForSlice(); // the critical one, then suspended again before "later"
    EXPECT_TRUE(critical->IsLoaded());
    EXPECT_FALSE(later->IsLoaded());
    queue.SuspendNonCriticalTasks(false);
    queue.ExecuteForSlice();
    EXPECT_TRUE(later->IsLoaded());
    EXPECT_EQ(log, (std::vector<std::string>{"background", "critical", "later"}));
}

TEST_F(BDM_LazyObjectQueueSlice, DeferredTasksWaitForTheLastGuard)
{
    BDM_LazyObjectQueue& queue = BDMTest_Queue();
    std::vector<std::string> log;
    BDMTest_WorkHandle a = Work("a", &log), b = Work("b", &log);
    {
        BDM_LazyObjectQueue::StDeferTasks outer(queue);
        {
            BDM_LazyObjectQueue::StDeferTasks inner(queue);
            a->QueueObjectLoader("a");
        }
        b->QueueObjectLoader("b");
        EXPECT_TRUE(queue.IsEmpty());
        EXPECT_EQ(queue.GetNumDeferred(), 2u);
    }
    EXPECT_FALSE(queue.IsEmpty());
    queue.ExecuteForSlice();
    EXPECT_EQ(log, (std::vector<std::string>{"a", "b"}));
    BDM_DoNothingObject nothing;
    EXPECT_TRUE(nothing.IsLoaded());
}
