// Steady-state streaming makes no heap allocation: the global operator new of this program
// counts its calls while a switch is on, and the chains below turn the switch on after a
// warm-up and off again a fixed number of blocks later, from their consumer.
//
// This program replaces the global allocation functions; no other suite is affected.
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <list>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Chain/ChainTestStages.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadFiles.h"
#include "FF/FF_TestSupport.h"
#include "Sys_Event.h"
#include "Sys_ProcessBlocker.h"
#include "Sys_ThreadSafeQueue.h"
#include "TestSupport.h"

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

// Checks 16-bit stereo blocks against the interleaved samples the file was made from.
class Test_PatternConsumer : public FF_AudioProcess
{
public:
    Test_PatternConsumer(const Bytes& iInterleaved, Test_Window& iWindow)
        : mExpected(iInterleaved), mWindow(iWindow)
    {
    }
    EProcessType GetProcessType() const override { return eProcessType_Consumer; }

    int64_t GetBlocks() const { return mBlocks.load(); }
    int64_t GetMismatches() const { return mMismatches.load(); }
    int64_t GetPosition() const { return mPosition.load(); }

protected:
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock*) override
    {
        mWindow.AtBlock(mBlocks++);
        const int64_t position = mPosition.load();
        for (int c = 0; c < in->GetNumChannels(); ++c)
        {
            const auto* inP = reinterpret_cast<const unsigned char*>(in->GetBuffer(size_t(c)));
            for (int64_t i = 0; i < in->GetNumSamples(); ++i)
            {
                const size_t at = size_t((position + i) * 4 + c * 2);
                if (at + 1 >= mExpected.size() ||
                    std::memcmp(inP + i * 2, mExpected.data() + at, 2) != 0)
                    ++mMismatches;
            }
        }
        mPosition += in->GetNumSamples();
    }

private:
    const Bytes& mExpected;
    Test_Window& mWindow;
    std::atomic<int64_t> mBlocks{0};
    std::atomic<int64_t> mMismatches{0};
    std::atomic<int64_t> mPosition{0};
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

TEST(Alloc, ProducerFilterConsumerStreamsWithoutAllocating)
{
    constexpr int64_t perBlock = 256;
    Test_Window window;
    auto* consumerP = new Test_CheckingConsumer(3, nullptr, -1,
                                                [&window](int64_t i) { window.AtBlock(i); });
    FF_AudioProcessChain::ChainHandle chain = Test_MakeChain(
        {FF_AudioProcess::ProcessHandle(Test_CountingProducer(cTotalBlocks * perBlock,
                                                                  perBlock, 2)),
         FF_AudioProcess::ProcessHandle(new Test_AddFilter(3)),
         FF_AudioProcess::ProcessHandle(consumerP)});
    EXPECT_EQ(Test_RunQueued(chain), Sys_Task::eStatus_Complete);
    Test_AllocCounter::Stop();
    EXPECT_TRUE(window.mStarted.load());
    EXPECT_TRUE(window.mStopped.load());
    EXPECT_EQ(consumerP->GetBlocks(), cTotalBlocks);
    EXPECT_EQ(consumerP->GetMismatches(), 0);
    EXPECT_EQ(Test_AllocCounter::Count(), 0)
        << double(Test_AllocCounter::Count()) / double(cMeasuredBlocks)
        << " per block; sizes: " << Test_AllocCounter::Sizes();
}

TEST(Alloc, ReadFilesChainStreamsWithoutAllocating)
{
    // 16-bit stereo; blocks of 400 frames, reads of 1600 frames.
    constexpr int32_t processBlockSize = 2400; // scaled to 1600 bytes at 16 bits
    constexpr int32_t readBlockSize = 6400;
    constexpr int64_t framesPerBlock = 400;
    constexpr int64_t frames = cTotalBlocks * framesPerBlock;
    Test_TempDir dir;
    const std::string path = dir.Path() + "/stream.wav";
    const Bytes samples = Pattern(size_t(frames * 4), 11);
    MakeWave(path, 2, 16, samples);

    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(path)));
    Test_Window window;
    auto* readerP = new FF_AudioProcessReadFiles({file}, {{0, frames}}, 0, false,
                                                 processBlockSize, readBlockSize);
    auto* consumerP = new Test_PatternConsumer(samples, window);
    FF_AudioProcessChain::ChainHandle chain = Test_MakeChain(
        {FF_AudioProcess::ProcessHandle(readerP), FF_AudioProcess::ProcessHandle(consumerP)});
    EXPECT_EQ(Test_RunQueued(chain), Sys_Task::eStatus_Complete);
    Test_AllocCounter::Stop();
    EXPECT_EQ(readerP->GetSamplesPerBlock(), framesPerBlock);
    EXPECT_TRUE(window.mStarted.load());
    EXPECT_TRUE(window.mStopped.load());
    EXPECT_EQ(consumerP->GetBlocks(), cTotalBlocks);
    EXPECT_EQ(consumerP->GetPosition(), frames);
    EXPECT_EQ(consumerP->GetMismatches(), 0);
    EXPECT_EQ(Test_AllocCounter::Count(), 0)
        << double(Test_AllocCounter::Count()) / double(cMeasuredBlocks)
        << " per block; sizes: " << Test_AllocCounter::Sizes();
}
