#include "Support/SysTestSupport.h"
#include "Support/ThreadTestSupport.h"
#include "Sys_Event.h"
#include "Sys_EventPosix.h"
#include "Sys_Semaphore.h"
#include "Sys_SemaphorePosix.h"
#include "Sys_SyncObjectPosix.h"

namespace
{
using EventHandle = Sys_Event::EventHandle;
constexpr auto cSignalled = Sys_SyncObject::eWaitResult_Signalled;
constexpr auto cTimedOut = Sys_SyncObject::eWaitResult_TimedOut;

void AwaitWaiters(Sys_SyncObject& iObject, int32_t iCount)
{
    auto& object = dynamic_cast<Sys_SyncObjectPosix&>(iObject);
    Eventually([&] { return object.GetWaiterCount() == iCount; });
    ASSERT_EQ(object.GetWaiterCount(), iCount);
}

int32_t CountOf(const Sys_Semaphore::SemaphoreHandle& iSemaphore)
{
    return dynamic_cast<Sys_SemaphorePosix&>(*iSemaphore).GetCount();
}

// iCount threads that wait for iEvent without a timeout and count their releases.
struct Waiters
{
    Waiters(const EventHandle& iEvent, int iCount)
    {
        for (int i = 0; i < iCount; ++i)
            mThreads.emplace_back(
                [this, iEvent]
                {
                    if (iEvent->Wait(Sys_SyncObject::cWaitForever) == cSignalled)
                        ++mReleased;
                });
        AwaitWaiters(*iEvent, iCount);
    }
    int Join()
    {
        for (auto& thread : mThreads)
            thread.join();
        return mReleased.load();
    }
    std::atomic<int> mReleased{0};
    std::vector<std::thread> mThreads;
};
} // namespace

TEST(Sys_Event, ManualResetStaysSetAndAutoResetIsTakenByOneWait)
{
    EventHandle manual = Sys_Event::Create(1);
    EXPECT_FALSE(manual->IsSet());
    manual->Set();
    EXPECT_EQ(manual->Wait(0), cSignalled);
    EXPECT_TRUE(manual->IsSet());
    manual->Reset();
    EXPECT_FALSE(manual->IsSet());
    EXPECT_EQ(manual->Wait(5), cTimedOut);

    EventHandle automatic = Sys_Event::Create(0);
    automatic->Set();
    EXPECT_EQ(automatic->Wait(Sys_SyncObject::cWaitForever), cSignalled);
    EXPECT_FALSE(automatic->IsSet());
    automatic->Set();
    automatic->Set(); // a second Set on a set event does not count twice
    EXPECT_TRUE(automatic->IsSet());
    EXPECT_FALSE(automatic->IsSet());
}

TEST(Sys_Event, SetAndPulseOnManualResetReleaseEveryWaiter)
{
    EventHandle event = Sys_Event::Create(1);
    event->Pulse(); // nobody waits: nothing is remembered
    EXPECT_FALSE(event->IsSet());
    Waiters pulsed(event, 2);
    event->Pulse();
    EXPECT_EQ(pulsed.Join(), 2);
    EXPECT_FALSE(event->IsSet());

    Waiters set(event, 3);
    event->Set();
    EXPECT_EQ(set.Join(), 3);
    EXPECT_TRUE(event->IsSet());
}

TEST(Sys_Event, PulseOnAutoResetReleasesOneWaiter)
{
    EventHandle event = Sys_Event::Create(0);
    Waiters waiters(event, 2);
    event->Pulse();
    Eventually([&] { return waiters.mReleased.load() != 0; });
    AwaitWaiters(*event, 1);
    EXPECT_EQ(waiters.mReleased.load(), 1);
    // Had the pulse released both, this Set would find no waiter and stay set.
    event->Set();
    EXPECT_EQ(waiters.Join(), 2);
    EXPECT_FALSE(event->IsSet());
}

TEST(Sys_Semaphore, CountsWaitsAndReleasesAndRejectsBadCounts)
{
    auto semaphore = Sys_Semaphore::Create(2, 3);
    EXPECT_EQ(semaphore->Wait(0), cSignalled);
    EXPECT_EQ(semaphore->Wait(0), cSignalled);
    EXPECT_EQ(semaphore->Wait(0), cTimedOut);
    semaphore->Release(0);
    EXPECT_EQ(semaphore->Wait(0), cTimedOut);
    semaphore->Release(2);
    EXPECT_EQ(ThrownError([&] { semaphore->Release(2); }).first, EOVERFLOW); // past the maximum
    EXPECT_EQ(CountOf(semaphore), 2);
    semaphore->Release(1);
    EXPECT_EQ(CountOf(semaphore), 3);
    EXPECT_THROW(semaphore->Release(-1), Sys_OSErrException);
    EXPECT_THROW(Sys_Semaphore::Create(3, 2), Sys_OSErrException);
    EXPECT_THROW(Sys_Semaphore::Create(0, 0), Sys_OSErrException);
}

TEST(Sys_Semaphore, EveryReleaseIsTakenExactlyOnceAcrossThreads)
{
    constexpr int cPerThread = 500;
    auto semaphore = Sys_Semaphore::Create(0, 4 * cPerThread);
    std::atomic<int> taken{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i)
        threads.emplace_back(
            [&, i]
            {
                for (int n = 0; n < cPerThread; ++n)
                    if (i % 2 == 0)
                        semaphore->Release(1);
                    else if (semaphore->Wait(Sys_SyncObject::cWaitForever) == cSignalled)
                        ++taken;
            });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(taken.load(), 3 * cPerThread);
    EXPECT_EQ(semaphore->Wait(0), cTimedOut);
}

TEST(Sys_SyncObject, WaitForAnyTakesOnlyTheSignalledObjectAndWaitForAllAllOrNothing)
{
    EventHandle first = Sys_Event::Create(0);
    EventHandle second = Sys_Event::Create(0);
    EXPECT_EQ(Sys_Event::WaitForMultipleEvents({first, second}, true, 0), cTimedOut);
    second->Set();
    EXPECT_EQ(Sys_Event::WaitForMultipleEvents({first, second}, true, 0), cSignalled);
    EXPECT_FALSE(second->IsSet());
    EXPECT_FALSE(first->IsSet());

    auto semaphore = Sys_Semaphore::Create(1, 1);
    Sys_SyncObject::HandleList both{first, semaphore};
    EXPECT_EQ(Sys_SyncObject::WaitForMultipleObjects(both, false, 10), cTimedOut);
    EXPECT_EQ(CountOf(semaphore), 1) << "the failed wait took nothing";
    first->Set();
    EXPECT_EQ(Sys_SyncObject::WaitForMultipleObjects(both, false, 0), cSignalled);
    EXPECT_EQ(CountOf(semaphore), 0);
    EXPECT_FALSE(first->IsSet());
}

TEST(Sys_SyncObject, WaitForAllIsGrantedWhenTheLastObjectArrives)
{
    EventHandle event = Sys_Event::Create(0);
    auto semaphore = Sys_Semaphore::Create(0, 1);
    std::atomic<int> result{-1};
    std::thread waiter(
        [&]
        {
            result = Sys_SyncObject::WaitForMultipleObjects({event, semaphore}, false,
                                                            Sys_SyncObject::cWaitForever);
        });
    AwaitWaiters(*event, 1);
    semaphore->Release(1);
    event->Set();
    waiter.join();
    EXPECT_EQ(result.load(), cSignalled);
    EXPECT_EQ(CountOf(semaphore), 0);
    EXPECT_FALSE(event->IsSet());
}

TEST(Sys_SyncObject, RejectsBadTimeoutsAndLists)
{
    EventHandle event = Sys_Event::Create(1);
    EXPECT_TRUE(Test_Asserts([&] { Sys_SyncObject::WaitForMultipleObjects({event}, true, -2); },
                             "inTimeOut >= cWaitForever"));
    EXPECT_THROW(Sys_SyncObject::WaitForMultipleObjects({}, true, 0), Sys_OSErrException);
    EXPECT_THROW(Sys_SyncObject::WaitForMultipleObjects({Sys_SyncObject::Handle()}, true, 0),
                 Sys_OSErrException);
    EXPECT_THROW(Sys_SyncObject::WaitForMultipleObjects({event, event}, false, 0),
                 Sys_OSErrException);
}

TEST(Sys_ApcQueue, RoutinesRunOnlyInTheTargetsAlertableWait)
{
    EventHandle done = Sys_Event::Create(1);
    std::shared_ptr<Sys_ApcQueue> mine = Sys_ApcQueue::GetCurrent();
    std::thread::id ranOn;
    std::thread(
        [&]
        {
            mine->Post(
                [&]
                {
                    ranOn = std::this_thread::get_id();
                    done->Set();
                });
        })
        .join();
    EXPECT_EQ(mine->GetPendingCount(), 1u);
    EXPECT_EQ(ranOn, std::thread::id());
    // The routine sets the very event that this thread waits for.
    EXPECT_EQ(done->Wait(Sys_SyncObject::cWaitForever), cSignalled);
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    EXPECT_EQ(mine->GetPendingCount(), 0u);

    // A poll runs what is pending and still times out.
    int ran = 0;
    mine->Post([&] { ++ran; });
    EXPECT_EQ(Sys_Event::Create(0)->Wait(0), cTimedOut);
    EXPECT_EQ(ran, 1);
}

TEST(Sys_ApcQueue, WaitGoesOnAfterRoutinesThatDoNotSatisfyIt)
{
    EventHandle event = Sys_Event::Create(0);
    std::shared_ptr<Sys_ApcQueue> waiterQueue;
    EventHandle ready = Sys_Event::Create(1);
    std::atomic<int> ran{0};
    std::atomic<int> result{-1};
    std::thread waiter(
        [&]
        {
            waiterQueue = Sys_ApcQueue::GetCurrent();
            ready->Set();
            result = event->Wait(Sys_SyncObject::cWaitForever);
        });
    ready->Wait(Sys_SyncObject::cWaitForever);
    AwaitWaiters(*event, 1);
    for (int i = 0; i < 3; ++i)
        waiterQueue->Post([&] { ++ran; });
    // Each routine wakes the waiter, which runs it and waits again.
    Eventually([&] { return ran.load() == 3; });
    AwaitWaiters(*event, 1);
    EXPECT_EQ(result.load(), -1);
    event->Set();
    waiter.join();
    EXPECT_EQ(ran.load(), 3);
    EXPECT_EQ(result.load(), cSignalled);
}
