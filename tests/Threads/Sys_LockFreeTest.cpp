#include <algorithm>
#include <new>
#include <set>

#include "Cmn_DelayedDeletionList.h"
#include "Sys_AtomicInt32.h"
#include "Sys_AtomicPool.h"
#include "Sys_DelayedDeletion.h"
#include "Sys_HighPriorityGate.h"
#include "Sys_MessageQueue.h"
#include "Sys_QueueForInterrupt.h"
#include "Support/ThreadTestSupport.h"

namespace
{
std::atomic<int32_t> sElemsAlive{0};
struct Test_Elem : Sys_QueueForInterrupt_ElemBase
{
    Test_Elem() { sElemsAlive.fetch_add(1); }
    ~Test_Elem() override { sElemsAlive.fetch_sub(1); }
};

std::vector<int32_t> sDeleted;
struct Test_Deletable : Sys_DelayedDeletionObject
{
    explicit Test_Deletable(int32_t iId) : mId(iId) {}
    ~Test_Deletable() override { sDeleted.push_back(mId); }
    int32_t mId;
};

struct Test_Link : Sys_AtomicQueue_Link
{
    int32_t mProducer = 0, mSequence = 0;
};

struct Test_Entry : Cmn_DelayedDeletionEntryBase
{
    explicit Test_Entry(int32_t& ioAlive) : mAliveP(&ioAlive) { ++*mAliveP; }
    ~Test_Entry() override { --*mAliveP; }
    int32_t* mAliveP;
};
} // namespace

TEST(Sys_AtomicInt32, OperationsAnswerAsDocumentedAndConcurrentChangesAreNotLost)
{
    Sys_AtomicInt32 value(5);
    EXPECT_EQ(value.Increment(), 6);
    EXPECT_EQ(value.Decrement(), 5);
    EXPECT_EQ(value.Add(-7), -2);
    EXPECT_EQ(value.Exchange(10), -2);
    EXPECT_FALSE(value.CompareAndExchange(1, 9));
    EXPECT_EQ(value.Get(), 10);
    EXPECT_TRUE(value.CompareAndExchange(1, 10));
    EXPECT_EQ(value.Get(), 1);
    EXPECT_EQ(value.BoundLo(4), 4); // raised
    EXPECT_EQ(value.BoundLo(2), 4); // already above
    EXPECT_EQ(value.BoundHi(6), 4); // already below
    EXPECT_EQ(value.BoundHi(-3), -3);
    Sys_AtomicInt32 copy(value);
    copy.Set(8);
    EXPECT_EQ(value.Get(), -3); // a copy has a cell of its own

    Sys_AtomicInt32 counter, high(INT32_MIN);
    RunThreads(4,
               [&](int t)
               {
                   for (int i = 0; i < 10000; ++i)
                   {
                       counter.Increment();
                       high.BoundLo(t * 10000 + i);
                   }
               });
    EXPECT_EQ(counter.Get(), 40000);
    EXPECT_EQ(high.Get(), 39999);
}

// ---- Sys_AtomicPool ---------------------------------------------------------------------

TEST(Sys_AtomicPool, HandsOutReservedBlocksUntilNoneIsFreeAndRefusesWhatDoesNotFit)
{
    Sys_AtomicPool pool;
    pool.Init(64);
    auto reservation = pool.Reserve(4);
    EXPECT_EQ(pool.GetNumBlocks(), 4);
    std::set<void*> seen;
    for (void* p = pool.Alloc(64); p; p = pool.Alloc(64))
    {
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u);
        EXPECT_TRUE(seen.insert(p).second);
    }
    EXPECT_EQ(seen.size(), 4u);
    EXPECT_EQ(pool.GetError(), Sys_AtomicPool::eErr_NoFreeBlock);
    EXPECT_EQ(pool.Alloc(65), nullptr);
    EXPECT_EQ(pool.GetError(), Sys_AtomicPool::eErr_RequestTooLarge);
    Sys_AtomicPool::Free(*seen.begin());
    Sys_AtomicPool::Free(nullptr);
    EXPECT_EQ(pool.Alloc(8), *seen.begin());

    Sys_AtomicPool empty;
    EXPECT_EQ(empty.Alloc(0), nullptr);
    EXPECT_EQ(empty.GetError(), Sys_AtomicPool::eErr_NoFreeBlock);
    empty.Init(8); // too small for the ring's link; nothing reserved yet: no assertion
    EXPECT_THROW(empty.Reserve(1), Cmn_AssertException);
}

TEST(Sys_AtomicPool, ReservationsMoveAndTheRingOnlyGrows)
{
    Sys_AtomicPool pool;
    auto first = pool.Reserve(2); // before Init: counted, allocated by Init
    EXPECT_EQ(pool.GetNumBlocks(), 0);
    pool.Init(48);
    EXPECT_EQ(pool.GetNumBlocks(), 2);
    {
        Sys_AtomicPool::Reservation second = pool.Reserve(3);
        Sys_AtomicPool::Reservation moved = second; // copying moves
        EXPECT_EQ(second.GetCount(), 0);
        EXPECT_EQ(moved.GetCount(), 3);
        EXPECT_EQ(pool.GetReservedCount(), 5);
        EXPECT_EQ(pool.GetNumBlocks(), 5);
    }
    EXPECT_EQ(pool.GetReservedCount(), 2);
    std::vector<void*> blocks;
    for (void* p = pool.Alloc(48); p; p = pool.Alloc(48))
        blocks.push_back(p);
    EXPECT_EQ(blocks.size(), 5u); // nothing freed: the extra blocks stay usable
    for (void* p : blocks)
        Sys_AtomicPool::Free(p);
    first = Sys_AtomicPool::Reservation();
    EXPECT_EQ(pool.GetReservedCount(), 0);
}

TEST(Sys_AtomicPool, ConcurrentAllocNeverHandsOutABlockTwice)
{
    Sys_AtomicPool pool;
    pool.Init(64);
    auto reservation = pool.Reserve(8);
    std::vector<void*> all;
    for (void* p = pool.Alloc(64); p; p = pool.Alloc(64))
        all.push_back(new (p) std::atomic<int32_t>(0)); // payloads start uninitialised
    ASSERT_EQ(all.size(), 8u);
    for (void* p : all)
        Sys_AtomicPool::Free(p);
    std::atomic<int32_t> clashes{0}, allocations{0};
    RunThreads(4,
               [&](int t)
               {
                   for (int i = 0; i < 5000; ++i)
                       if (auto* p = static_cast<std::atomic<int32_t>*>(pool.Alloc(4)))
                       {
                           allocations.fetch_add(1);
                           clashes += p->exchange(t + 1) != 0;
                           clashes += p->exchange(0) != t + 1;
                           Sys_AtomicPool::Free(p);
                       }
               });
    EXPECT_EQ(clashes.load(), 0);
    EXPECT_GT(allocations.load(), 0);
}

// ---- Sys_HighPriorityGate ---------------------------------------------------------------

TEST(Sys_HighPriorityGate, CountsThreadsInsideThroughOpenAndClose)
{
    Sys_HighPriorityGate gate(false);
    EXPECT_EQ(gate.GetValue(), -1);
    EXPECT_FALSE(gate.TryToEnter());
    gate.Open();
    EXPECT_EQ(gate.GetValue(), 1);
    EXPECT_TRUE(gate.TryToEnter());
    EXPECT_TRUE(gate.TryToEnter());
    EXPECT_EQ(gate.GetValue(), 3);
    gate.Close();
    EXPECT_EQ(gate.GetValue(), -3);
    EXPECT_FALSE(gate.TryToEnter());
    gate.Leave();
    gate.Leave();
    EXPECT_EQ(gate.GetValue(), -1);
    gate.Leave(); // at -1: nothing
    EXPECT_EQ(gate.GetValue(), -1);
    gate.CloseSync(); // closed and empty: returns at once
    gate.Open();
    gate.Leave(); // at 1: nothing
    EXPECT_EQ(gate.GetValue(), 1);
    {
        Sys_HighPriorityGate_StTryToEnter enter(gate);
        EXPECT_TRUE(enter.DidEnter());
        EXPECT_EQ(gate.GetValue(), 2);
    }
    EXPECT_EQ(gate.GetValue(), 1);
}

TEST(Sys_HighPriorityGate, CloseSyncWaitsForThoseInside)
{
    // The high-priority side reads plain data only inside the gate; the normal side changes
    // it only between CloseSync and Open. The thread sanitizer sees any overlap.
    Sys_HighPriorityGate gate(true);
    std::vector<int32_t> shared(16, 0);
    std::atomic<bool> stop{false};
    std::atomic<int32_t> entries{0}, torn{0};
    std::thread reader(
        [&]
        {
            while (!stop)
            {
                Sys_HighPriorityGate_StTryToEnter enter(gate);
                if (!enter.DidEnter())
                    continue;
                entries.fetch_add(1);
                for (int32_t value : shared)
                    torn += value != shared[0];
            }
        });
    for (int32_t round = 1; round <= 200; ++round)
    {
        gate.CloseSync();
        EXPECT_EQ(gate.GetValue(), -1);
        for (int32_t& value : shared)
            value = round;
        gate.Open();
        std::this_thread::yield();
    }
    EXPECT_TRUE(Eventually([&] { return entries.load() > 0; }));
    stop = true;
    reader.join();
    EXPECT_EQ(torn.load(), 0);
}

// ---- Sys_QueueForInterruptBase ----------------------------------------------------------

TEST(Sys_QueueForInterruptBase, ProcessesInOrderAndDisposesBehindTheReader)
{
    sElemsAlive = 0;
    {
        Sys_QueueForInterruptBase queue;
        EXPECT_EQ(queue.BaseFront(), nullptr);
        queue.Advance(); // nothing to process: harmless
        int32_t data[4] = {10, 20, 30, 40};
        for (int i = 0; i < 3; ++i)
            queue.BaseAppend(new Test_Elem, &data[i]);
        std::vector<int32_t> seen;
        while (auto* elemP = queue.BaseFront())
        {
            seen.push_back(*static_cast<int32_t*>(elemP->GetUserPointer()));
            queue.Advance();
            EXPECT_TRUE(elemP->WasProcessed());
        }
        EXPECT_EQ(seen, (std::vector<int32_t>{10, 20, 30}));
        // The last one is where the reader rests; it stays until the reader moves on.
        EXPECT_EQ(queue.DisposeProcessedElements(), 2);
        EXPECT_EQ(queue.GetElementCount(), 1);
        queue.BaseAppend(new Test_Elem, &data[3]);
        ASSERT_NE(queue.BaseFront(), nullptr);
        EXPECT_EQ(queue.BaseFront()->GetUserPointer(), &data[3]);
        EXPECT_EQ(queue.DisposeProcessedElements(), 1);
        EXPECT_EQ(queue.GetElementCount(), 1);
        queue.Clear();
        EXPECT_EQ(sElemsAlive.load(), 0);
        EXPECT_EQ(queue.BaseFront(), nullptr);
        queue.BaseAppend(new Test_Elem, nullptr); // usable after Clear
        EXPECT_NE(queue.BaseFront(), nullptr);
    }
    EXPECT_EQ(sElemsAlive.load(), 0); // the destructor clears
}

TEST(Sys_QueueForInterruptBase, ReaderSeesEveryElementOnceWhileTheWriterAppends)
{
    constexpr uintptr_t cCount = 20000;
    Sys_QueueForInterruptBase queue;
    std::atomic<bool> failed{false};
    std::thread reader(
        [&]
        {
            for (uintptr_t expected = 1; expected <= cCount;)
                if (auto* elemP = queue.BaseFront())
                {
                    if (reinterpret_cast<uintptr_t>(elemP->GetUserPointer()) != expected++)
                        failed = true;
                    queue.Advance();
                }
                else
                    std::this_thread::yield();
        });
    for (uintptr_t i = 1; i <= cCount; ++i)
    {
        queue.BaseAppend(new Test_Elem, reinterpret_cast<void*>(i));
        if (i % 64 == 0)
            queue.DisposeProcessedElements();
    }
    reader.join();
    EXPECT_FALSE(failed.load());
    queue.DisposeProcessedElements();
    EXPECT_EQ(queue.GetElementCount(), 1);
}

// ---- delayed deletion -------------------------------------------------------------------

TEST(Sys_DelayedDeletionObject, CollectsInTheOrderQueuedAndLosesNothingFromManyThreads)
{
    Sys_DelayedDeletionObject::CollectGarbage();
    sDeleted.clear();
    for (int32_t id : {1, 2, 3})
        (new Test_Deletable(id))->DelayedDelete();
    EXPECT_EQ(Sys_DelayedDeletionObject::CollectGarbage(), 3);
    EXPECT_EQ(sDeleted, (std::vector<int32_t>{1, 2, 3}));
    EXPECT_EQ(Sys_DelayedDeletionObject::CollectGarbage(), 0);

    // Four producers while this thread collects.
    sDeleted.clear();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            [t]
            {
                for (int i = 0; i < 500; ++i)
                    (new Test_Deletable(t * 1000 + i))->DelayedDelete();
            });
    int32_t collected = 0;
    for (auto& thread : threads)
    {
        collected += std::max(0, Sys_DelayedDeletionObject::CollectGarbage());
        thread.join();
    }
    collected += Sys_DelayedDeletionObject::CollectGarbage();
    EXPECT_EQ(collected, 2000);
    EXPECT_EQ(sDeleted.size(), 2000u);
}

TEST(Sys_DelayedDeletionObject, InitCollectsFromTheMessageLoop)
{
    Sys_DelayedDeletionObject::CollectGarbage();
    sDeleted.clear();
    std::thread(
        []
        {
            Sys_DelayedDeletionObject::Init();
            (new Test_Deletable(7))->DelayedDelete();
            auto queue = Sys_MessageQueue::GetCurrent();
            Sys_Message message;
            while (sDeleted.empty() && queue->GetMessage(message))
                queue->DispatchMessage(message);
            Sys_DelayedDeletionObject::Shutdown();
        })
        .join();
    EXPECT_EQ(sDeleted, (std::vector<int32_t>{7}));
    EXPECT_FALSE(Sys_DelayedDeletionObject::IsInitialized());
}

TEST(Sys_AtomicQueue, ConcurrentConsumersTakeEachLinkOnceInOrder)
{
    // Two producers and two consumers; a consumer that finds the other inside gets nothing.
    constexpr int32_t cEach = 3000;
    Sys_AtomicQueue queue;
    std::vector<Test_Link> links(2 * cEach);
    std::vector<std::atomic<int32_t>> taken(links.size());
    std::atomic<int32_t> total{0}, outOfOrder{0};
    RunThreads(4,
               [&](int32_t p)
               {
                   for (int32_t i = 0; p < 2 && i < cEach; ++i) // two producers
                   {
                       Test_Link& link = links[size_t(p * cEach + i)];
                       link.mProducer = p;
                       link.mSequence = i;
                       queue.Push(&link);
                   }
                   int32_t last[2] = {-1, -1};
                   while (p >= 2 && total.load() < 2 * cEach) // two consumers
                   {
                       bool busy = false;
                       auto* linkP = static_cast<Test_Link*>(queue.Pop(busy));
                       if (!linkP)
                       {
                           std::this_thread::yield();
                           continue;
                       }
                       EXPECT_FALSE(busy);
                       taken[size_t(linkP->mProducer * cEach + linkP->mSequence)].fetch_add(1);
                       outOfOrder += linkP->mSequence <= last[linkP->mProducer];
                       last[linkP->mProducer] = linkP->mSequence;
                       total.fetch_add(1);
                   }
               });
    EXPECT_EQ(outOfOrder.load(), 0);
    for (auto& count : taken)
        ASSERT_EQ(count.load(), 1);
}

TEST(Cmn_DelayedDeletionList, CollectsOnlyMarkedEntries)
{
    int32_t alive = 0;
    {
        Cmn_DelayedDeletionList list;
        Test_Entry* entries[] = {new Test_Entry(alive), new Test_Entry(alive),
                                 new Test_Entry(alive)};
        for (Test_Entry* entry : entries)
            list.Add(entry);
        entries[0]->MarkForDeletion();
        std::thread([&] { entries[2]->MarkForDeletion(); }).join();
        EXPECT_EQ(list.CollectGarbage(), 2u);
        EXPECT_EQ(alive, 1);
        EXPECT_EQ(list.GetSize(), 1u);
        EXPECT_FALSE(entries[1]->IsMarkedForDeletion());
    }
    EXPECT_EQ(alive, 0);
}
