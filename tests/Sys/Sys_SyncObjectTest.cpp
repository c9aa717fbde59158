#include <atomic>
#include <cerrno>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "Cmn_Assert.h"
#include "Sys_Event.h"
#include "Sys_EventPosix.h"
#include "Sys_OSErrData.h"
#include "Sys_Semaphore.h"
#include "Sys_SemaphorePosix.h"
#include "Sys_SyncObjectPosix.h"

namespace
{
using EventHandle = Sys_Event::EventHandle;

// Spins until the object has iCount waiters (bounded; fails the test on a hang).
void AwaitWaiters(Sys_SyncObject& iObject, int32_t iCount)
{
    auto& object = dynamic_cast<Sys_SyncObjectPosix&>(iObject);
    for (int i = 0; i < 2000000 && object.GetWaiterCount() != iCount; ++i)
        std::this_thread::yield();
    ASSERT_EQ(object.GetWaiterCount(), iCount);
}

int32_t ErrorOf(const std::exception& iException)
{
    const auto* osError = dynamic_cast<const Sys_OSErrException*>(&iException);
    return osError ? osError->GetData().GetError() : 0;
}
} // namespace

TEST(Sys_Event, ManualResetStaysSetUntilReset)
{
    EventHandle event = Sys_Event::Create(1);
    EXPECT_FALSE(event->IsSet());
    event->Set();
    EXPECT_TRUE(event->IsSet());
    EXPECT_EQ(event->Wait(0), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_TRUE(event->IsSet());
    event->Reset();
    EXPECT_FALSE(event->IsSet());
    EXPECT_EQ(event->Wait(5), Sys_SyncObject::eWaitResult_TimedOut);
}

TEST(Sys_Event, AutoResetIsTakenByOneWait)
{
    EventHandle event = Sys_Event::Create(0);
    event->Set();
    EXPECT_EQ(event->Wait(Sys_SyncObject::cWaitForever), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_FALSE(event->IsSet());
    event->Set();
    event->Set(); // a second Set on a set event does not count twice
    EXPECT_TRUE(event->IsSet());
    EXPECT_FALSE(event->IsSet());
}

TEST(Sys_Event, ManualResetReleasesEveryWaiter)
{
    EventHandle event = Sys_Event::Create(1);
    std::atomic<int> released{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back(
            [&]
            {
                if (event->Wait(Sys_SyncObject::cWaitForever) ==
                    Sys_SyncObject::eWaitResult_Signalled)
                    ++released;
            });
    AwaitWaiters(*event, 3);
    event->Set();
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(released.load(), 3);
    EXPECT_TRUE(event->IsSet());
}

TEST(Sys_Event, PulseOnManualResetReleasesWaitersAndLeavesItReset)
{
    EventHandle event = Sys_Event::Create(1);
    event->Pulse(); // nobody waits: nothing is remembered
    EXPECT_FALSE(event->IsSet());
    std::atomic<int> released{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i)
        threads.emplace_back(
            [&]
            {
                if (event->Wait(Sys_SyncObject::cWaitForever) ==
                    Sys_SyncObject::eWaitResult_Signalled)
                    ++released;
            });
    AwaitWaiters(*event, 2);
    event->Pulse();
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(released.load(), 2);
    EXPECT_FALSE(event->IsSet());
}

TEST(Sys_Event, PulseOnAutoResetReleasesOneWaiter)
{
    EventHandle event = Sys_Event::Create(0);
    std::atomic<int> released{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i)
        threads.emplace_back(
            [&]
            {
                if (event->Wait(Sys_SyncObject::cWaitForever) ==
                    Sys_SyncObject::eWaitResult_Signalled)
                    ++released;
            });
    AwaitWaiters(*event, 2);
    event->Pulse();
    for (int i = 0; i < 2000000 && released.load() == 0; ++i)
        std::this_thread::yield();
    AwaitWaiters(*event, 1);
    EXPECT_EQ(released.load(), 1);
    // Had the pulse released both, this Set would find no waiter and stay set.
    event->Set();
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(released.load(), 2);
    EXPECT_FALSE(event->IsSet());
}

TEST(Sys_Semaphore, CountsWaitsAndReleases)
{
    auto semaphore = Sys_Semaphore::Create(2, 3);
    EXPECT_EQ(semaphore->Wait(0), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(semaphore->Wait(0), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(semaphore->Wait(0), Sys_SyncObject::eWaitResult_TimedOut);
    semaphore->Release(0);
    EXPECT_EQ(semaphore->Wait(0), Sys_SyncObject::eWaitResult_TimedOut);
    semaphore->Release(3);
    EXPECT_EQ(dynamic_cast<Sys_SemaphorePosix&>(*semaphore).GetCount(), 3);
}

TEST(Sys_Semaphore, RejectsBadCountsAndKeepsItsCount)
{
    auto semaphore = Sys_Semaphore::Create(1, 2);
    try
    {
        semaphore->Release(2);
        FAIL() << "a release past the maximum must fail";
    }
    catch (const std::exception& e)
    {
        EXPECT_EQ(ErrorOf(e), EOVERFLOW);
    }
    EXPECT_EQ(dynamic_cast<Sys_SemaphorePosix&>(*semaphore).GetCount(), 1);
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
    for (int i = 0; i < 3; ++i)
        threads.emplace_back(
            [&]
            {
                for (int n = 0; n < cPerThread; ++n)
                    semaphore->Release(1);
            });
    for (int i = 0; i < 3; ++i)
        threads.emplace_back(
            [&]
            {
                for (int n = 0; n < cPerThread; ++n)
                    if (semaphore->Wait(Sys_SyncObject::cWaitForever) ==
                        Sys_SyncObject::eWaitResult_Signalled)
                        ++taken;
            });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(taken.load(), 3 * cPerThread);
    EXPECT_EQ(semaphore->Wait(0), Sys_SyncObject::eWaitResult_TimedOut);
}

TEST(Sys_SyncObject, WaitForAnyTakesOnlyTheSignalledObject)
{
    EventHandle first = Sys_Event::Create(0);
    EventHandle second = Sys_Event::Create(0);
    EXPECT_EQ(Sys_Event::WaitForMultipleEvents({first, second}, true, 0),
              Sys_SyncObject::eWaitResult_TimedOut);
    second->Set();
    EXPECT_EQ(Sys_Event::WaitForMultipleEvents({first, second}, true, 0),
              Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_FALSE(second->IsSet());
    EXPECT_FALSE(first->IsSet());
}

TEST(Sys_SyncObject, WaitForAllTakesAllOrNothing)
{
    EventHandle event = Sys_Event::Create(0);
    auto semaphore = Sys_Semaphore::Create(1, 1);
    Sys_SyncObject::HandleList both{event, semaphore};
    EXPECT_EQ(Sys_SyncObject::WaitForMultipleObjects(both, false, 10),
              Sys_SyncObject::eWaitResult_TimedOut);
    // The semaphore unit was not taken by the failed wait.
    EXPECT_EQ(dynamic_cast<Sys_SemaphorePosix&>(*semaphore).GetCount(), 1);
    event->Set();
    EXPECT_EQ(Sys_SyncObject::WaitForMultipleObjects(both, false, 0),
              Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(dynamic_cast<Sys_SemaphorePosix&>(*semaphore).GetCount(), 0);
    EXPECT_FALSE(event->IsSet());
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
    EXPECT_EQ(result.load(), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(dynamic_cast<Sys_SemaphorePosix&>(*semaphore).GetCount(), 0);
    EXPECT_FALSE(event->IsSet());
}

TEST(Sys_SyncObject, RejectsBadTimeoutsAndLists)
{
    EventHandle event = Sys_Event::Create(1);
    try
    {
        Sys_SyncObject::WaitForMultipleObjects({event}, true, -2);
        FAIL() << "a timeout below cWaitForever must fail the assertion";
    }
    catch (const Cmn_AssertException& e)
    {
        EXPECT_NE(std::string(e.what()).find("inTimeOut >= cWaitForever"), std::string::npos);
    }
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
    std::thread poster(
        [&]
        {
            mine->Post(
                [&]
                {
                    ranOn = std::this_thread::get_id();
                    done->Set();
                });
        });
    poster.join();
    EXPECT_EQ(mine->GetPendingCount(), 1u);
    EXPECT_EQ(ranOn, std::thread::id());
    // The routine sets the very event that this thread waits for.
    EXPECT_EQ(done->Wait(Sys_SyncObject::cWaitForever), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    EXPECT_EQ(mine->GetPendingCount(), 0u);
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
    for (int i = 0; i < 2000000 && ran.load() != 3; ++i)
        std::this_thread::yield();
    AwaitWaiters(*event, 1);
    EXPECT_EQ(result.load(), -1);
    event->Set();
    waiter.join();
    EXPECT_EQ(ran.load(), 3);
    EXPECT_EQ(result.load(), Sys_SyncObject::eWaitResult_Signalled);
}

TEST(Sys_ApcQueue, APollRunsPendingRoutinesAndStillTimesOut)
{
    EventHandle event = Sys_Event::Create(0);
    int ran = 0;
    Sys_ApcQueue::GetCurrent()->Post([&] { ++ran; });
    EXPECT_EQ(event->Wait(0), Sys_SyncObject::eWaitResult_TimedOut);
    EXPECT_EQ(ran, 1);
}
