// Steady-state streaming makes no heap allocation: the global operator new of this program
// counts its calls while a switch is on, and the chains below turn the switch on after a
// warm-up and off again a fixed number of blocks later, from their consumer.
//
// This program replaces the global allocation functions; no other suite is affected.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <list>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Chain/ChainTestStages.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadFiles.h"
#include "Support/FFTestSupport.h"
#include "Sys_Event.h"
#include "Sys_ProcessBlocker.h"
#include "Sys_ThreadSafeQueue.h"
#include "Support/TestSupport.h"

namespace
{
std::atomic<bool> sCounting{false};
std::atomic<int64_t> sNews{0};
// The sizes of the first counted allocations, for the failure messages.
constexpr int64_t cKeptSizes = 32;
std::atomic<size_t> sSizes[cKeptSizes];

// Counts the allocations made by every thread between Start and Stop.
struct Test_AllocCounter
{
    static void Start()
    {
        sNews.store(0);
        sCounting.store(true);
    }
    static void Stop() { sCounting.store(false); }
    static int64_t Count() { return sNews.load(); }
    static std::string Sizes()
    {
        std::string text;
        for (int64_t i = 0; i < std::min(Count(), cKeptSizes); ++i)
            text += std::to_string(sSizes[i].load()) + " ";
        return text;
    }
};
} // namespace

// Counting replacements of the global allocation functions (malloc underneath, so the
// compiler's pairing check does not apply).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t iSize)
{
    if (sCounting.load(std::memory_order_relaxed))
    {
        const int64_t index = sNews.fetch_add(1, std::memory_order_relaxed);
        if (index < cKeptSizes)
            sSizes[index].store(iSize, std::memory_order_relaxed);
    }
    if (void* p = std::malloc(iSize ? iSize : 1))
        return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t iSize)
{
    return operator new(iSize);
}
// The nothrow forms too (the library's std::stable_partition asks for its buffer through
// them): left to the runtime, their blocks would come back to the free() below.
void* operator new(std::size_t iSize, const std::nothrow_t&) noexcept
{
    try
    {
        return operator new(iSize);
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
}
void* operator new[](std::size_t iSize, const std::nothrow_t&) noexcept
{
    return operator new(iSize, std::nothrow);
}
void operator delete(void* iP, const std::nothrow_t&) noexcept
{
    std::free(iP);
}
void operator delete[](void* iP, const std::nothrow_t&) noexcept
{
    std::free(iP);
}
void operator delete(void* iP) noexcept
{
    std::free(iP);
}
void operator delete[](void* iP) noexcept
{
    std::free(iP);
}
void operator delete(void* iP, std::size_t) noexcept
{
    std::free(iP);
}
void operator delete[](void* iP, std::size_t) noexcept
{
    std::free(iP);
}
#pragma GCC diagnostic pop

namespace
{
constexpr int64_t cWarmUpBlocks = 300;
constexpr int64_t cMeasuredBlocks = 2000;
// Blocks after the measured ones, so that the stream is still in full flow when counting
// stops (the end of a chain may allocate; that is not steady state).
constexpr int64_t cTailBlocks = 300;
constexpr int64_t cTotalBlocks = cWarmUpBlocks + cMeasuredBlocks + cTailBlocks;

// Turns counting on at the consumer's block cWarmUpBlocks and off at the block
// cWarmUpBlocks + cMeasuredBlocks; remembers whether both happened.
struct Test_Window
{
    std::atomic<bool> mStarted{false};
    std::atomic<bool> mStopped{false};

    void AtBlock(int64_t iIndex)
    {
        if (iIndex == cWarmUpBlocks)
        {
            Test_AllocCounter::Start();
            mStarted = true;
        }
        else if (iIndex == cWarmUpBlocks + cMeasuredBlocks)
        {
            Test_AllocCounter::Stop();
            mStopped = true;
        }
    }
};

} // namespace

// ---- the counter itself ------------------------------------------------------------------

TEST(Alloc, CounterSeesAllocationsOnlyWhileSwitchedOn)
{
    Test_AllocCounter::Start();
    auto* p = new std::vector<int>(100);
    Test_AllocCounter::Stop();
    const int64_t counted = Test_AllocCounter::Count();
    delete p;
    EXPECT_GE(counted, 2); // the vector object and its elements

    Test_AllocCounter::Start();
    Test_AllocCounter::Stop();
    auto* q = new int(7);
    delete q;
    EXPECT_EQ(Test_AllocCounter::Count(), 0);
}

// ---- the Sys layer under the chains ------------------------------------------------------

TEST(Alloc, QueuePushPopReusesItsSlots)
{
    Sys_ThreadSafeQueue<int*> queue;
    int items[40] = {};
    for (int& item : items) // grows to hold 40
        queue.Push(&item);
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(queue.Pop(), &items[i]);
    Test_AllocCounter::Start();
    for (int round = 0; round < 1000; ++round)
    {
        for (int i = 0; i < 1 + round % 40; ++i)
            queue.Push(&items[i]);
        int* out = nullptr;
        for (int i = 0; i < 1 + round % 40; ++i)
            if (!queue.TryPop(out) || out != &items[i])
                ADD_FAILURE() << "round " << round << " item " << i;
    }
    Test_AllocCounter::Stop();
    EXPECT_TRUE(queue.IsEmpty());
    EXPECT_EQ(Test_AllocCounter::Count(), 0);
}

TEST(Alloc, WaitsAndBlockerListsAllocateNothingOnceWarm)
{
    Sys_Event::EventHandle first = Sys_Event::Create(0);
    Sys_Event::EventHandle second = Sys_Event::Create(1);
    Sys_ProcessBlockerImpl blocker;
    const Sys_SyncObject::HandleList both{first, second};
    auto round = [&](bool iSignal)
    {
        // A zero-timeout wait that times out, one that is satisfied, and the blocker's poll.
        EXPECT_EQ(first->Wait(0), Sys_SyncObject::eWaitResult_TimedOut);
        blocker.Block(both, false);
        EXPECT_FALSE(blocker.WaitForBlockingObjects());
        EXPECT_TRUE(blocker.IsBlocking());
        if (iSignal)
        {
            first->Set();
            second->Set();
            EXPECT_TRUE(blocker.WaitForBlockingObjects());
            EXPECT_FALSE(blocker.IsBlocking());
            second->Reset();
        }
        else
        {
            blocker.ClearBlockingObjects();
        }
        blocker.Block(first);
        blocker.ClearBlockingObjects();
    };
    for (int i = 0; i < 4; ++i)
        round(i % 2 == 0);
    Test_AllocCounter::Start();
    for (int i = 0; i < 500; ++i)
        round(i % 2 == 0);
    Test_AllocCounter::Stop();
    EXPECT_EQ(Test_AllocCounter::Count(), 0);
}

// ---- chains ------------------------------------------------------------------------------

TEST(Alloc, ChainsStreamWithoutAllocating)
{
    // The counting stream, 16-bit stereo: from the test producer through a filter in blocks
    // of 256 frames, and from a file through the file reader in blocks of 400 frames and
    // reads of 1600 frames.
    constexpr int32_t processBlockSize = 2400; // scaled to 1600 bytes at 16 bits
    constexpr int32_t readBlockSize = 6400;
    constexpr int64_t framesPerBlock = 400;
    constexpr int64_t frames = cTotalBlocks * framesPerBlock;
    Test_TempDir dir;
    const std::string path = dir.Path() + "/stream.wav";
    const Test_CountingBuffer counting(frames, 2);
    const auto* bytesP = reinterpret_cast<const unsigned char*>(counting.mSamples.data());
    MakeWave(path, 2, 16, Bytes(bytesP, bytesP + counting.mSamples.size() * 2));
    for (bool fromFile : {false, true})
    {
        SCOPED_TRACE(fromFile ? "file reader" : "test producer and filter");
        Test_Window window;
        auto* consumerP = new Test_CheckingConsumer(fromFile ? 0 : 3, nullptr, -1,
                                                    [&window](int64_t i) { window.AtBlock(i); });
        FF_AudioProcessReadFiles* readerP = nullptr;
        FF_AudioProcessChain::ChainHandle chain;
        if (fromFile)
        {
            readerP = new FF_AudioProcessReadFiles(
                {FF_AudioFileRef(new FF_AudioFile(Sys_FileLoc(path)))}, {{0, frames}}, 0, false,
                processBlockSize, readBlockSize);
            chain = Test_MakeChain({FF_AudioProcess::ProcessHandle(readerP),
                                    FF_AudioProcess::ProcessHandle(consumerP)});
        }
        else
            chain = Test_MakeChain(
                {FF_AudioProcess::ProcessHandle(Test_CountingProducer(cTotalBlocks * 256, 256, 2)),
                 FF_AudioProcess::ProcessHandle(new Test_AddFilter(3)),
                 FF_AudioProcess::ProcessHandle(consumerP)});
        EXPECT_EQ(Test_RunQueued(chain), Sys_Task::eStatus_Complete);
        Test_AllocCounter::Stop();
        if (readerP)
        {
            EXPECT_EQ(readerP->GetSamplesPerBlock(), framesPerBlock);
        }
        EXPECT_TRUE(window.mStarted.load());
        EXPECT_TRUE(window.mStopped.load());
        EXPECT_EQ(consumerP->GetBlocks(), cTotalBlocks);
        EXPECT_EQ(consumerP->GetMismatches(), 0);
        EXPECT_EQ(Test_AllocCounter::Count(), 0)
            << double(Test_AllocCounter::Count()) / double(cMeasuredBlocks)
            << " per block; sizes: " << Test_AllocCounter::Sizes();
    }
}
