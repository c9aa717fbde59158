// Stages for the chain tests: a counting 16-bit stream in memory played by the real memory
// producer (FF_AudioProcessReadBuffer), a producer of the same samples that can fail on a
// given block or run without end (for the tests of the producer's side of the chain), a filter
// that adds a constant, and a consumer that checks what arrives. For the stage tests: a
// producer of channels of any depth in blocks of any size (the block boundaries are what a
// stage with state across blocks must get right), and a consumer that keeps what arrives.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Cmn_Exception.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessChain.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"
#include "FF/Audio/Processing/Chain/FF_AudioSampleAccess.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadBuffer.h"

constexpr int32_t cTest_Ended =
    Sys_Task::eStatus_Aborted | Sys_Task::eStatus_Failed | Sys_Task::eStatus_Complete;

inline FF_AudioProcessChain::ChainHandle
Test_MakeChain(std::initializer_list<FF_AudioProcess::ProcessHandle> iStages)
{
    FF_AudioProcessChain::ChainHandle chain(new FF_AudioProcessChain);
    for (const FF_AudioProcess::ProcessHandle& stage : iStages)
        chain->Append(stage);
    return chain;
}

// Queues the batch process and waits (bounded) for its end.
inline Sys_Task::EStatus Test_RunQueued(const FF_BatchProcess::BatchProcessHandle& iProcess)
{
    Sys_Event::EventHandle ended = iProcess->GetNotificationEvent(cTest_Ended);
    FF_AudioProcessUtils::QueueBatchProcess(iProcess);
    EXPECT_EQ(ended->Wait(60000), Sys_SyncObject::eWaitResult_Signalled) << "does not end";
    return iProcess->GetStatus();
}

// Runs a chain by hand on this thread (bounded: a minute) and returns its final status; a
// failed chain throws its failure.
inline Sys_Task::EStatus Test_RunByHand(const FF_AudioProcessChain::ChainHandle& iChain)
{
    int32_t slices = 0;
    try
    {
        FF_AudioProcessUtils::RunProcessChainToEnd(
            iChain.Get(), [&] { return ++slices < 600; }, 100);
    }
    catch (const Cmn_CancelException&)
    {
    }
    return iChain->GetStatus();
}

// Waits (bounded: ten seconds) until iCondition holds.
template <class F> void Test_WaitFor(F&& iCondition)
{
    for (int i = 0; i < 10000 && !iCondition(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// Shared counters of blocks out of the pool, for the flow-control checks.
struct Test_PoolWatch
{
    std::atomic<int32_t> mOut{0};
    std::atomic<int32_t> mMaxOut{0};

    void Took()
    {
        const int32_t out = ++mOut;
        int32_t max = mMaxOut.load();
        while (out > max && !mMaxOut.compare_exchange_weak(max, out))
        {
        }
    }
    void Gave() { --mOut; }
};

// Sample i of channel c of the stream is int16_t(i * (c + 1)).
inline int16_t Test_Sample(int64_t iIndex, int iChannel)
{
    return int16_t(uint16_t(uint64_t(iIndex) * uint64_t(iChannel + 1)));
}

// The counting stream of 1 or 2 channels (interleaved) in memory, and the memory producer
// that plays it: 16-bit at 48 kHz, in blocks of cBlockSamples. The buffer must outlive the
// chain.
// Channels of samples, one vector per channel.
using Test_ChannelSamples = std::vector<std::vector<int32_t>>;

struct Test_CountingBuffer
{
    static constexpr int64_t cBlockSamples = FF_AudioProcessReadBuffer::cBlockBytes / 2;

    Test_CountingBuffer(int64_t iNumSamples, int16_t iChannels = 1)
        : mNumSamples(iNumSamples), mChannels(iChannels)
    {
        mSamples.reserve(size_t(iNumSamples * iChannels));
        for (int64_t i = 0; i < iNumSamples; ++i)
            for (int c = 0; c < iChannels; ++c)
                mSamples.push_back(Test_Sample(i, c));
    }
    FF_AudioProcess::ProcessHandle MakeProducer() const
    {
        return FF_AudioProcess::ProcessHandle(
            new FF_AudioProcessReadBuffer(reinterpret_cast<const char*>(mSamples.data()),
                                          mNumSamples, 48000, 16, mChannels == 2));
    }
    static int64_t Blocks(int64_t iNumSamples)
    {
        return (iNumSamples + cBlockSamples - 1) / cBlockSamples;
    }

    const int64_t mNumSamples;
    const int16_t mChannels;
    std::vector<int16_t> mSamples;
};

// Adds mAdd to every sample; can fail on its Nth block and run a hook before each block.
class Test_AddFilter : public FF_AudioProcess
{
public:
    explicit Test_AddFilter(int16_t iAdd, int64_t iFailOnBlock = -1,
                            std::function<void(int64_t)> iHook = {})
        : mAdd(iAdd), mFailOnBlock(iFailOnBlock), mHook(std::move(iHook))
    {
    }
    int64_t GetBlocks() const { return mBlocks.load(); }

protected:
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override
    {
        const int64_t index = mBlocks++;
        if (mHook)
            mHook(index);
        if (index == mFailOnBlock)
            throw std::runtime_error("filter failed at block " + std::to_string(index));
        for (int c = 0; c < in->GetNumChannels(); ++c)
        {
            const auto* inP = reinterpret_cast<const int16_t*>(in->GetBuffer(size_t(c)));
            auto* outP = reinterpret_cast<int16_t*>(out->GetBuffer(size_t(c)));
            for (int64_t i = 0; i < in->GetNumSamples(); ++i)
                outP[i] = int16_t(inP[i] + mAdd);
        }
    }

private:
    const int16_t mAdd;
    const int64_t mFailOnBlock;
    std::function<void(int64_t)> mHook;
    std::atomic<int64_t> mBlocks{0};
};

// Checks that sample i of channel c is Test_Sample(i, c) + mAdd; records the blocks it saw.
class Test_CheckingConsumer : public FF_AudioProcess
{
public:
    explicit Test_CheckingConsumer(int16_t iAdd = 0, Test_PoolWatch* iWatchP = nullptr,
                                   int64_t iFailOnBlock = -1,
                                   std::function<void(int64_t)> iHook = {})
        : mAdd(iAdd), mWatchP(iWatchP), mFailOnBlock(iFailOnBlock), mHook(std::move(iHook))
    {
    }
    EProcessType GetProcessType() const override { return eProcessType_Consumer; }

    int64_t GetMismatches() const { return mMismatches.load(); }
    int64_t GetBlocks() const { return mBlocks.load(); }
    size_t GetDistinctBlocks() const
    {
        std::lock_guard<std::mutex> lock(mMutex);
        return mSeen.size();
    }

protected:
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock*) override
    {
        const int64_t index = mBlocks++;
        if (mHook)
            mHook(index);
        if (index == mFailOnBlock)
            throw std::runtime_error("consumer failed at block " + std::to_string(index));
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mSeen.insert(in);
        }
        for (int c = 0; c < in->GetNumChannels(); ++c)
        {
            const auto* inP = reinterpret_cast<const int16_t*>(in->GetBuffer(size_t(c)));
            for (int64_t i = 0; i < in->GetNumSamples(); ++i)
                if (inP[i] != int16_t(Test_Sample(mPosition + i, c) + mAdd))
                    ++mMismatches;
        }
        mPosition += in->GetNumSamples();
        if (mWatchP)
            mWatchP->Gave();
    }

private:
    const int16_t mAdd;
    Test_PoolWatch* const mWatchP;
    const int64_t mFailOnBlock;
    std::function<void(int64_t)> mHook;
    int64_t mPosition = 0;
    std::atomic<int64_t> mMismatches{0};
    std::atomic<int64_t> mBlocks{0};
    mutable std::mutex mMutex;
    std::set<const FF_AudioProcessBlock*> mSeen;
};

// The test producer: hands on iTotal samples of iChannels channels made by iSample, iPerBlock
// a block, in native byte order or (mSwapped) the other one; it can announce no total, fail
// on a given block and count the pool blocks it takes in a Test_PoolWatch.
class Test_Producer : public FF_AudioProcess
{
public:
    using SampleMethod = std::function<int32_t(int64_t iIndex, int iChannel)>;

    Test_Producer(SampleMethod iSample, int64_t iTotal, int64_t iPerBlock, int16_t iChannels,
                  int32_t iBits = 16, int32_t iRate = 48000)
        : mSample(std::move(iSample)), mTotal(iTotal), mPerBlock(iPerBlock), mChannels(iChannels),
          mBits(iBits), mRate(iRate)
    {
    }
    EProcessType GetProcessType() const override { return eProcessType_Producer; }
    void Preflight(FF_AudioProcessBlock* ioBlock) override { Describe(ioBlock, mPerBlock); }

    bool mAnnounceTotal = true;
    bool mSwapped = false;
    int64_t mFailOnBlock = -1;
    Test_PoolWatch* mWatchP = nullptr;

protected:
    EResult ExecImpl() override
    {
        if (IsAbortPending())
            return eResult_Aborted;
        if (mState == eProducerState_Idle)
        {
            mState = eProducerState_AwaitingBlock;
            return BlockForPoolBlock();
        }
        mState = eProducerState_Idle;
        std::unique_ptr<FF_AudioProcessBlock> block = TakePoolBlock();
        if (mWatchP)
            mWatchP->Took();
        if (mBlocks == mFailOnBlock)
        {
            if (mWatchP)
                mWatchP->Gave();
            throw std::runtime_error("read error at block " + std::to_string(mBlocks));
        }
        const int64_t n = std::min(mPerBlock, mTotal - mDone);
        Describe(block.get(), n);
        const int32_t bytes = (mBits + 7) / 8;
        for (int c = 0; c < mChannels; ++c)
        {
            char* p = block->GetBuffer(size_t(c));
            for (int64_t k = 0; k < n; ++k)
            {
                FF_AudioSampleAccess::Write(p, bytes, k, mSample(mDone + k, c));
                if (mSwapped)
                    std::reverse(p + k * bytes, p + (k + 1) * bytes);
            }
        }
        mDone += n;
        ++mBlocks;
        DeliverBlock(std::move(block), 0);
        return mDone >= mTotal ? eResult_Done : eResult_Yield;
    }
    void Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*) override
    {
        throw std::logic_error("a producer has no input");
    }

private:
    void Describe(FF_AudioProcessBlock* ioBlock, int64_t iSamples) const
    {
        ioBlock->SetNumChannels(mChannels);
        ioBlock->SetSampleRate(mRate);
        ioBlock->SetBitsPerSample(mBits);
        ioBlock->SetNumSamples(iSamples);
        ioBlock->SetTotalNumSamples(mAnnounceTotal ? mTotal : -1);
        ioBlock->SetByteOrder(mSwapped ? eByteOrder_Big : eByteOrder_Native);
    }

    const SampleMethod mSample;
    const int64_t mTotal, mPerBlock;
    const int16_t mChannels;
    const int32_t mBits, mRate;
    EProducerState mState = eProducerState_Idle;
    int64_t mDone = 0;
    int64_t mBlocks = 0;
};

// The counting stream (Test_Sample) from the test producer.
inline Test_Producer* Test_CountingProducer(int64_t iTotal, int64_t iPerBlock,
                                            int16_t iChannels = 1, int64_t iFailOnBlock = -1,
                                            Test_PoolWatch* iWatchP = nullptr,
                                            bool iAnnounceTotal = true)
{
    auto* producerP = new Test_Producer(Test_Sample, iTotal, iPerBlock, iChannels);
    producerP->mFailOnBlock = iFailOnBlock;
    producerP->mWatchP = iWatchP;
    producerP->mAnnounceTotal = iAnnounceTotal;
    return producerP;
}

// Channels of samples from memory (a copy), in blocks of iPerBlock.
inline Test_Producer* Test_ChannelsProducer(const Test_ChannelSamples& iChannels, int32_t iBits,
                                            int64_t iPerBlock, int32_t iRate = 48000,
                                            bool iSwapped = false)
{
    auto channels = std::make_shared<const Test_ChannelSamples>(iChannels);
    auto* producerP = new Test_Producer([channels](int64_t iIndex, int iChannel)
                                        { return (*channels)[size_t(iChannel)][size_t(iIndex)]; },
                                        channels->empty() ? 0 : int64_t((*channels)[0].size()),
                                        iPerBlock, int16_t(channels->size()), iBits, iRate);
    producerP->mSwapped = iSwapped;
    return producerP;
}

// Keeps every channel of what arrives, and the rate and depth it arrived in.
class Test_ChannelsCollector : public FF_AudioProcess
{
public:
    EProcessType GetProcessType() const override { return eProcessType_Consumer; }
    int32_t mRate = 0;
    int32_t mBits = 0;
    Test_ChannelSamples mChannels;

protected:
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock*) override
    {
        mRate = in->GetSampleRate();
        mBits = in->GetBitsPerSample();
        mChannels.resize(size_t(in->GetNumChannels()));
        for (int16_t c = 0; c < in->GetNumChannels(); ++c)
            for (int64_t k = 0; k < in->GetNumSamples(); ++k)
                mChannels[size_t(c)].push_back(FF_AudioSampleAccess::Read(
                    in->GetBuffer(size_t(c)), in->GetBytesPerSample(), k));
    }
};
