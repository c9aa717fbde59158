#include "Sys_AsyncMessageQueue.h"
#include "Sys_BlockingTimer.h"
#include "Sys_MessageQueue.h"
#include "Sys_Mutex.h"
#include "Sys_Raw.h"
#include "Sys_RawThreadPosix.h"
#include "Sys_ResourcePool.h"
#include "Sys_RingBuffer.h"
#include "Sys_ThreadSafeQueue.h"
#include "Sys_TimerEvent.h"
#include "Sys_TimerEventPosix.h"
#include "Support/ThreadTestSupport.h"

TEST(Sys_Mutex, OwnerMayAcquireAgainOthersMayNotAndGuardsReleaseOnlyWhatTheyGot)
{
    auto mutex = Sys_Mutex::Create(eSys_MutexType_Tryable);
    // Whether a try guard on another thread gets the mutex; it releases it again if so.
    auto otherGetsIt = [&]
    {
        bool got = false;
        std::thread([&] { got = Sys_StAcquireMutex(mutex, true).DidAcquire(); }).join();
        return got;
    };
    {
        Sys_StAcquireMutex lock(mutex);
        EXPECT_TRUE(mutex->TryAcquire()); // recursive, like a critical section
        EXPECT_FALSE(otherGetsIt());
        mutex->Release();
        EXPECT_FALSE(otherGetsIt()); // the failed guards released nothing
    }
    EXPECT_TRUE(otherGetsIt());
    EXPECT_TRUE(otherGetsIt()); // the guard that got it let it go

    auto plain = Sys_Mutex::Create(eSys_MutexType_Plain);
    EXPECT_TRUE(Test_Asserts([&] { plain->TryAcquire(); }, "mType == eSys_MutexType_Tryable"));
    EXPECT_THROW(Sys_StAcquireMutex(*plain, true), Cmn_AssertException);
}

TEST(Sys_TimerEvent, FiresOnceDueAndStandsInMultiWaits)
{
    auto timer = Sys_TimerEvent::Create(true);
    EXPECT_EQ(timer->Wait(0), Sys_SyncObject::eWaitResult_TimedOut);
    const int64_t before = Sys_TimerEvent::GetMonotonicNanoseconds();
    timer->Set(5);
    auto event = Sys_Event::Create(0);
    Sys_SyncObject::HandleList both{Sys_SyncObject::Handle(event.Get()),
                                    Sys_SyncObject::Handle(timer.Get())};
    ASSERT_EQ(Sys_SyncObject::WaitForMultipleObjects(both, true, 20000),
              Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_GE(Sys_TimerEvent::GetMonotonicNanoseconds() - before, 5 * 1000000);
    EXPECT_EQ(timer->Wait(0), Sys_SyncObject::eWaitResult_Signalled); // manual reset
    timer->Set(60000);                                                // re-arming resets it
    EXPECT_EQ(timer->Wait(0), Sys_SyncObject::eWaitResult_TimedOut);
    timer->Cancel();
    event->Set();
    EXPECT_EQ(Sys_SyncObject::WaitForMultipleObjects(both, false, 0),
              Sys_SyncObject::eWaitResult_TimedOut); // a cancelled timer never fires

    auto automatic = Sys_TimerEvent::Create(false);
    automatic->SetDue(Sys_TimerEvent::GetMonotonicNanoseconds()); // due now
    EXPECT_EQ(automatic->Wait(20000), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(automatic->Wait(0), Sys_SyncObject::eWaitResult_TimedOut); // one wait takes it
    // With no timer armed the service thread ends.
    EXPECT_TRUE(Eventually([] { return !Sys_TimerEventPosix::IsServiceThreadRunning(); }));
}

TEST(Sys_BlockingTimer, PeriodsDoNotDrift)
{
    auto timer = Sys_BlockingTimer::Create();
    EXPECT_THROW(timer->WaitForNextPeriod(), Cmn_AssertException);
    constexpr int64_t cPeriodUs = 2000;
    timer->Start(cPeriodUs);
    const int64_t firstDue = timer->GetDueNanoseconds();
    for (int i = 0; i < 5; ++i)
    {
        const int64_t due = timer->GetDueNanoseconds();
        if (i == 2)
            Sys_BlockingTimer::Sleep(3000); // a slow caller skips ahead, not the schedule
        timer->WaitForNextPeriod();
        EXPECT_GE(Sys_TimerEvent::GetMonotonicNanoseconds(), due);
    }
    EXPECT_EQ(timer->GetDueNanoseconds(), firstDue + 5 * cPeriodUs * 1000);
    const int64_t before = Sys_TimerEvent::GetMonotonicNanoseconds();
    Sys_BlockingTimer::Sleep(1500);
    EXPECT_GE(Sys_TimerEvent::GetMonotonicNanoseconds() - before, 1500 * 1000);
}

TEST(Sys_RingBuffer, HoldsItsCapacityAndWraps)
{
    Sys_RingBuffer<int32_t> ring(3);
    EXPECT_TRUE(ring.IsEmpty());
    EXPECT_THROW(ring.GetReadItem(), Cmn_AssertException);
    const int32_t items[] = {1, 2, 3, 4, 5};
    EXPECT_EQ(ring.Push(items, 5), 3);
    EXPECT_EQ(ring.GetCount(), 3);
    std::vector<int32_t> read;
    for (int round = 0; round < 4; ++round)
    {
        read.push_back(ring.GetReadItem());
        ring.AdvanceReadPtr();
        EXPECT_EQ(ring.Push(items + 3 + (round % 2), 1), 1);
    }
    while (!ring.IsEmpty())
    {
        read.push_back(ring.GetReadItem());
        ring.AdvanceReadPtr();
    }
    EXPECT_EQ(read, (std::vector<int32_t>{1, 2, 3, 4, 5, 4, 5}));
}

TEST(Sys_ThreadSafeQueue, KeepsOrderBetweenThreads)
{
    Sys_ThreadSafeQueue<int32_t> queue;
    EXPECT_THROW(queue.Pop(), Cmn_AssertException);
    std::thread producer(
        [&]
        {
            for (int32_t i = 0; i < 5000; ++i)
                queue.Push(i);
        });
    bool ordered = true;
    for (int32_t expected = 0, value = -1; expected < 5000;)
        if (queue.TryPop(value))
            ordered = ordered && value == expected++;
        else
            std::this_thread::yield();
    producer.join();
    EXPECT_TRUE(ordered);
    EXPECT_TRUE(queue.IsEmpty());
}

namespace
{
struct Test_Buffer
{
    static std::atomic<int32_t> sAlive;
    Test_Buffer() { sAlive.fetch_add(1); }
    Test_Buffer(const Test_Buffer& iOther) : mValue(iOther.mValue) { sAlive.fetch_add(1); }
    ~Test_Buffer() { sAlive.fetch_sub(1); }
    int32_t mValue = 0;
};
std::atomic<int32_t> Test_Buffer::sAlive{0};
} // namespace

TEST(Sys_ResourcePool, CountsItsObjectsWithTheSemaphore)
{
    {
        Test_Buffer prototype;
        prototype.mValue = 42;
        Sys_ResourcePool<Test_Buffer> pool(3, prototype);
        EXPECT_EQ(Test_Buffer::sAlive.load(), 4);
        std::vector<Test_Buffer*> taken;
        for (int i = 0; i < 3; ++i)
        {
            Test_Buffer* bufferP = pool.Acquire(0);
            ASSERT_NE(bufferP, nullptr);
            EXPECT_EQ(bufferP->mValue, 42);
            taken.push_back(bufferP);
        }
        EXPECT_TRUE(pool.IsEmpty());
        EXPECT_EQ(pool.Acquire(0), nullptr);
        // A waiter on another thread gets the one given back.
        std::atomic<Test_Buffer*> got{nullptr};
        std::thread waiter([&] { got = pool.Acquire(Sys_SyncObject::cWaitForever); });
        pool.Return(taken.back());
        waiter.join();
        EXPECT_EQ(got.load(), taken.back());
        pool.Return(taken[0]);
        EXPECT_EQ(pool.GetSize(), 1u);
        delete taken[1]; // out of the pool: the taker's
        delete got.load();
    }
    EXPECT_EQ(Test_Buffer::sAlive.load(), 0);
}

// ---- the raw family ---------------------------------------------------------------------

TEST(Sys_RawSemaphore, KeepsWithinItsMaximumAndEventsResetAsMade)
{
    Sys_RawSemaphore semaphore(0, 2);
    EXPECT_FALSE(semaphore.Wait(0));
    EXPECT_TRUE(semaphore.Release(2));
    EXPECT_FALSE(semaphore.Release(1));
    EXPECT_TRUE(semaphore.Wait(0));
    EXPECT_TRUE(semaphore.Wait(-1));
    EXPECT_FALSE(semaphore.Wait(1));

    Sys_RawEvent manual(true), automatic(false);
    manual.Set();
    automatic.Set();
    EXPECT_TRUE(manual.Wait(0));
    EXPECT_TRUE(manual.Wait(0));
    EXPECT_TRUE(automatic.Wait(0));
    EXPECT_FALSE(automatic.Wait(0));
    manual.Reset();
    EXPECT_FALSE(manual.Wait(0));
}

namespace
{
struct Test_RawWork
{
    void Run()
    {
        mRan = true;
        mDone.Set();
    }
    std::atomic<bool> mRan{false};
    Sys_RawEvent mDone{true};
};

// Lets go of the last handle to its own thread from inside it.
struct Test_SelfReleasing : Sys_RawThreadTask
{
    explicit Test_SelfReleasing(Sys_RawEvent& ioDone) : mDoneP(&ioDone) {}
    void Run() override
    {
        mHandleReady.Wait(-1);
        mSelf.Reset(); // the last reference: the thread object goes to delayed deletion
        mDoneP->Set();
    }
    Sys_RawThread::RawThreadHandle mSelf;
    Sys_RawEvent mHandleReady{true};
    Sys_RawEvent* mDoneP;
};
} // namespace

TEST(Sys_RawThread, RunsItsTaskAndIsJoinedByItsLastHandle)
{
    Test_RawWork work;
    {
        auto thread = Sys_RawThread::Create(
            std::make_unique<Sys_RawThreadTaskPtmf<Test_RawWork>>(work, &Test_RawWork::Run));
        EXPECT_TRUE(work.mDone.Wait(20000));
        EXPECT_FALSE(thread->IsCurrentThread());
    } // joins
    EXPECT_TRUE(work.mRan);
    EXPECT_GE(Sys_RawThreadPosix::GetEffectiveStackSize(Sys_RawThread::cDefaultStackSize),
              Sys_RawThread::cDefaultStackSize);
}

TEST(Sys_RawThread, ReleasedOnItsOwnThreadGoesToDelayedDeletion)
{
    Sys_DelayedDeletionObject::CollectGarbage();
    Sys_RawEvent done(true);
    auto task = std::make_unique<Test_SelfReleasing>(done);
    Test_SelfReleasing* taskP = task.get();
    taskP->mSelf = Sys_RawThread::Create(std::move(task));
    taskP->mHandleReady.Set();
    ASSERT_TRUE(done.Wait(20000));
    EXPECT_TRUE(Eventually([] { return Sys_DelayedDeletionObject::CollectGarbage() == 1; }));
}

// ---- message queues ---------------------------------------------------------------------

TEST(Sys_MessageQueue, PostedMessagesFirstThenTimers)
{
    Sys_MessageQueue queue;
    std::atomic<int32_t> ticks{0};
    const uint32_t timer = queue.SetTimer(1, [&] { ticks.fetch_add(1); });
    queue.Post(1025, 1, 0);
    queue.Post(1024, 2, 0);
    queue.Post(1030, 3, 0);
    Sys_Message message;
    ASSERT_TRUE(queue.GetMessage(message, 1024, 1024)); // filtered
    EXPECT_EQ(message.mParam1, 2u);
    ASSERT_TRUE(queue.GetMessage(message));
    EXPECT_EQ(message.mParam1, 1u);
    ASSERT_TRUE(queue.GetMessage(message));
    EXPECT_EQ(message.mParam1, 3u);
    ASSERT_TRUE(queue.GetMessage(message)); // only the timer is left
    EXPECT_EQ(message.mMessage, uint32_t(Sys_MessageQueue::eMessage_Timer));
    queue.DispatchMessage(message);
    EXPECT_EQ(ticks.load(), 1);
    EXPECT_TRUE(queue.KillTimer(timer));
    EXPECT_FALSE(queue.KillTimer(timer));
    queue.DispatchMessage(message); // a killed timer's message does nothing
    EXPECT_EQ(ticks.load(), 1);
    std::thread([&] { queue.PostQuit(); }).join();
    EXPECT_FALSE(queue.GetMessage(message, 1024, 1024)); // quit passes any filter
    EXPECT_FALSE(queue.PeekMessage(message, true));
}

namespace
{
std::atomic<uintptr_t> sPriorityArguments{0};
void RecordPriority(uintptr_t iArgument1, uintptr_t iArgument2)
{
    sPriorityArguments = iArgument1 * 100 + iArgument2;
}
} // namespace

TEST(Sys_AsyncMessageQueue, RunsCallbacksInPostOrderOnItsThread)
{
    auto previous = Sys_AsyncMessageQueue::SetThreadPriorityMethod(&RecordPriority);
    std::vector<int32_t> seen; // written by the queue's thread only, read after its end
    std::atomic<bool> onOtherThread{true};
    const auto caller = std::this_thread::get_id();
    int32_t payloads[100];
    {
        auto queue = Sys_AsyncMessageQueue::Create();
        EXPECT_THROW(queue->Post(&payloads[0]), Cmn_AssertException);
        queue->Init(
            [&](void* iPayloadP)
            {
                if (std::this_thread::get_id() == caller)
                    onOtherThread = false;
                seen.push_back(*static_cast<int32_t*>(iPayloadP));
            },
            3, 7);
        for (int32_t i = 0; i < 100; ++i)
        {
            payloads[i] = i;
            queue->Post(&payloads[i]);
            if (i == 10)
                queue->Post(nullptr); // ignored
        }
    } // the destructor waits for the loop's end
    Sys_AsyncMessageQueue::SetThreadPriorityMethod(previous);
    ASSERT_EQ(seen.size(), 100u);
    for (int32_t i = 0; i < 100; ++i)
        EXPECT_EQ(seen[size_t(i)], i);
    EXPECT_TRUE(onOtherThread.load());
    EXPECT_EQ(sPriorityArguments.load(), 307u);
}
