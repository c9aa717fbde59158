#include "Sys_LazyObject.h"
#include "Sys_MultiTaskThread.h"
#include "Support/ThreadTestSupport.h"

namespace
{
// Loads in iSteps calls of Load; throws on the call numbered iFailAt (from 1) if set.
class Test_Lazy : public Sys_LazyObject
{
public:
    explicit Test_Lazy(int32_t iSteps, int32_t iFailAt = 0, int32_t iPriority = 0)
        : mFailAt(iFailAt), mSteps(iSteps), mPriority(iPriority)
    {
    }
    int32_t GetPriority() const override { return mPriority; }
    void SetPriority(int32_t iPriority)
    {
        mPriority = iPriority;
        PriorityChanged();
    }
    int32_t mCalls = 0;

protected:
    bool Load() override
    {
        if (++mCalls == mFailAt)
            throw std::runtime_error("catalog unreadable");
        return mCalls >= mSteps;
    }

private:
    int32_t mFailAt, mSteps, mPriority;
};

class Test_LoadObserver : public Sys_LazyObject::Observer
{
public:
    void Notify(Sys_LazyObject_Message& ioMessage) override
    {
        mMessages.push_back(ioMessage.GetMessage());
    }
    std::vector<int> mMessages;
};

class Sys_LazyObjectTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mQueue = new Sys_LazyObjectQueue;
        Sys_LazyObject::InstallQueue(mQueue);
    }
    void TearDown() override { Sys_LazyObject::UninstallQueue(); }
    void Drain()
    {
        while (!mQueue->IsEmpty())
            mQueue->ExecTop();
    }
    Sys_LazyObjectQueue* mQueue = nullptr;
};
} // namespace

TEST_F(Sys_LazyObjectTest, LoadsInStepsOfOneTaskAndTellsObservers)
{
    Test_Lazy object(3);
    Test_LoadObserver observer;
    object.AddObserver(observer);
    object.QueueObjectLoader("scan");
    EXPECT_TRUE(object.IsQueued());
    EXPECT_TRUE(object.IsTop());
    EXPECT_EQ(object.GetLoadTask()->GetName(), "scan");
    auto task = object.GetLoadTask();
    object.QueueObjectLoader("again"); // queued already: the same task
    EXPECT_EQ(object.GetLoadTask(), task);
    EXPECT_EQ(mQueue->GetTaskQueue().GetQueue().GetSize(), 1u);
    Drain();
    EXPECT_TRUE(object.IsLoaded());
    EXPECT_EQ(object.mCalls, 3);
    EXPECT_FALSE(object.GetLoadTask()); // released once loaded
    EXPECT_EQ(observer.mMessages, (std::vector<int>{Sys_LazyObject_Message::eMessage_Loaded}));
    object.QueueObjectLoader("again"); // loaded: nothing
    EXPECT_TRUE(mQueue->IsEmpty());
    object.RemoveObserver(observer);

    // Another queue cannot be installed over this one.
    Cmn_AliasedRefCountPtr<Sys_LazyObjectQueue> other(new Sys_LazyObjectQueue);
    EXPECT_THROW(Sys_LazyObject::InstallQueue(other.Get()), Cmn_AssertException);
    EXPECT_EQ(Sys_LazyObject::GetQueue(), mQueue);
}

TEST_F(Sys_LazyObjectTest, FailedObjectCanBeQueuedAgain)
{
    Test_Lazy object(2, 1);
    object.QueueObjectLoader("");
    Drain();
    auto failed = object.GetLoadTask();
    ASSERT_TRUE(failed);
    EXPECT_EQ(failed->GetStatus(), Sys_Task::eStatus_Failed);
    EXPECT_FALSE(object.IsQueued());
    EXPECT_NE(ThrownText([&] { object.ThrowIfLoadFailed(); }).find("catalog unreadable"),
              std::string::npos);
    object.QueueObjectLoader("");
    EXPECT_NE(object.GetLoadTask(), failed);
    Drain();
    EXPECT_TRUE(object.IsLoaded());
}

TEST_F(Sys_LazyObjectTest, SynchronousLoadOutranksQueuedWorkAndThrowsTheLoadersText)
{
    Test_Lazy background(1, 0, 50);
    Test_Lazy wanted(4);
    Test_Lazy failing(5, 2);
    background.QueueObjectLoader("");
    {
        Sys_LazyObject::StSetLoadSynchronously synchronous;
        EXPECT_TRUE(Sys_LazyObject::LoadingSynchronously());
        wanted.QueueObjectLoader("now");
        EXPECT_NE(ThrownText([&] { failing.QueueObjectLoader(""); }).find("catalog unreadable"),
                  std::string::npos);
    }
    EXPECT_FALSE(Sys_LazyObject::LoadingSynchronously());
    EXPECT_TRUE(wanted.IsLoaded());
    EXPECT_EQ(wanted.mCalls, 4);
    EXPECT_FALSE(failing.IsLoaded());
    EXPECT_FALSE(background.IsLoaded()); // still waits its turn
    EXPECT_EQ(mQueue->GetHighestPriority(), Sys_LazyObject::cSynchronousPriorityBoost);
    EXPECT_EQ(mQueue->GetLowestPriority(), 50);
    Drain();
    EXPECT_TRUE(background.IsLoaded());
}

TEST_F(Sys_LazyObjectTest, PriorityChangeRequeuesAtTheNewPriority)
{
    Test_Lazy first(1, 0, 10);
    Test_Lazy second(1, 0, 5);
    first.QueueObjectLoader("");
    second.QueueObjectLoader("");
    EXPECT_TRUE(first.IsTop());
    auto oldTask = second.GetLoadTask();
    second.SetPriority(20);
    EXPECT_EQ(oldTask->GetStatus(), Sys_Task::eStatus_Aborted);
    EXPECT_TRUE(second.IsTop());
    EXPECT_EQ(mQueue->GetTaskQueue().PeekAtTopPriority(), 20);
    mQueue->ExecTop();
    EXPECT_TRUE(second.IsLoaded());
    EXPECT_FALSE(first.IsLoaded());
    Drain();
    EXPECT_TRUE(first.IsLoaded());
    EXPECT_EQ(second.mCalls, 1); // the aborted loader never called Load
}

TEST_F(Sys_LazyObjectTest, DestroyingAnUnloadedObjectAbortsItsLoader)
{
    Sys_Task::TaskHandle task;
    {
        Test_Lazy object(1);
        object.QueueObjectLoader("");
        task = object.GetLoadTask();
    }
    EXPECT_EQ(task->GetStatus(), Sys_Task::eStatus_Aborted);
    Drain(); // the queued loader ends without touching the object
    EXPECT_TRUE(mQueue->IsEmpty());
}

TEST_F(Sys_LazyObjectTest, LoadsOnAWorkerThatDrivesTheQueue)
{
    std::vector<std::unique_ptr<Test_Lazy>> objects;
    for (int i = 0; i < 20; ++i)
    {
        objects.push_back(std::make_unique<Test_Lazy>(1 + i % 3, 0, i % 4));
        objects.back()->QueueObjectLoader("");
    }
    auto worker = Sys_MultiTaskThread::Create(20);
    auto driver = MakeTask(
        [this](int32_t)
        {
            if (mQueue->IsEmpty())
                return Sys_Task::eResult_Done;
            mQueue->ExecTop();
            return Sys_Task::eResult_Requeue;
        });
    auto done = driver->GetNotificationEvent(Sys_Task::eStatus_Complete);
    worker->AddTask(driver, 0);
    ASSERT_TRUE(WaitSet(done));
    for (auto& object : objects)
        EXPECT_TRUE(object->IsLoaded());
}
