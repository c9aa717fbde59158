// The stages on a running chain: producer, stages and a consumer into memory give the same
// samples as the stages called by hand on the whole stream as one block.
#include <gtest/gtest.h>

#include "FF/Audio/Processing/Stages/FF_AudioProcessByteSwapper.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessChain.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessGain.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessMixer.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessMultimediaSqueezer.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessRequantize.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessSRC.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessSplitter.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"
#include "FF/Audio/Processing/Write/FF_AudioProcessWriteBuffer.h"
#include "FF/Audio/Processing/Stages/FF_DitherAndOrNoiseShape.h"
#include "StagesTestSupport.h"

namespace
{
using Handle = FF_AudioProcess::ProcessHandle;

// Delivers a stream from memory in blocks, in native order or (iSwapped) the other one.
class Test_MemoryProducer : public FF_AudioProcess
{
public:
    Test_MemoryProducer(const Test_Stream& iStream, int64_t iPerBlock, bool iSwapped = false)
        : mStream(iStream), mPerBlock(iPerBlock), mSwapped(iSwapped)
    {
    }
    EProcessType GetProcessType() const override { return eProcessType_Producer; }
    void Preflight(FF_AudioProcessBlock* ioBlock) override { Describe(ioBlock, mPerBlock); }

protected:
    EResult ExecImpl() override
    {
        if (IsAbortPending())
            return eResult_Aborted;
        if (mState == 0)
        {
            mState = 1;
            return BlockForPoolBlock();
        }
        mState = 0;
        std::unique_ptr<FF_AudioProcessBlock> block = TakePoolBlock();
        const int64_t n = std::min(mPerBlock, mStream.Length() - mDone);
        Describe(block.get(), n);
        const int32_t bytes = (mStream.mBits + 7) / 8;
        for (size_t c = 0; c < mStream.mChannels.size(); ++c)
        {
            char* p = block->GetBuffer(c);
            for (int64_t k = 0; k < n; ++k)
            {
                FF_AudioSampleAccess::Write(p, bytes, k, mStream.mChannels[c][size_t(mDone + k)]);
                if (mSwapped)
                    std::reverse(p + k * bytes, p + (k + 1) * bytes);
            }
        }
        mDone += n;
        DeliverBlock(std::move(block), 0);
        return mDone >= mStream.Length() ? eResult_Done : eResult_Yield;
    }
    void Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*) override {}

private:
    void Describe(FF_AudioProcessBlock* ioBlock, int64_t iSamples) const
    {
        ioBlock->SetNumChannels(int16_t(mStream.mChannels.size()));
        ioBlock->SetSampleRate(mStream.mRate);
        ioBlock->SetBitsPerSample(mStream.mBits);
        ioBlock->SetNumSamples(iSamples);
        ioBlock->SetTotalNumSamples(mStream.Length());
        ioBlock->SetByteOrder(mSwapped ? eByteOrder_Big : eByteOrder_Native);
    }

    const Test_Stream mStream;
    const int64_t mPerBlock;
    const bool mSwapped;
    int mState = 0;
    int64_t mDone = 0;
};

// Keeps every channel of what arrives.
class Test_MemoryConsumer : public FF_AudioProcess
{
public:
    EProcessType GetProcessType() const override { return eProcessType_Consumer; }
    Test_Stream mResult;

protected:
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock*) override
    {
        mResult.mRate = in->GetSampleRate();
        mResult.mBits = in->GetBitsPerSample();
        mResult.mChannels.resize(size_t(in->GetNumChannels()));
        for (int16_t c = 0; c < in->GetNumChannels(); ++c)
            for (int64_t k = 0; k < in->GetNumSamples(); ++k)
                mResult.mChannels[size_t(c)].push_back(FF_AudioSampleAccess::Read(
                    in->GetBuffer(size_t(c)), in->GetBytesPerSample(), k));
    }
};

Sys_Task::EStatus RunChain(std::initializer_list<Handle> iStages)
{
    FF_AudioProcessChain::ChainHandle chain(new FF_AudioProcessChain);
    for (const Handle& stage : iStages)
        chain->Append(stage);
    Sys_Event::EventHandle ended = chain->GetNotificationEvent(
        Sys_Task::eStatus_Aborted | Sys_Task::eStatus_Failed | Sys_Task::eStatus_Complete);
    FF_AudioProcessUtils::QueueBatchProcess(chain);
    EXPECT_EQ(ended->Wait(60000), Sys_SyncObject::eWaitResult_Signalled) << "chain hangs";
    const Cmn_Exception* exceptionP = chain->GetException();
    EXPECT_EQ(exceptionP, nullptr) << (exceptionP ? exceptionP->what() : "");
    return chain->GetStatus();
}

} // namespace

TEST(StagesOnAChain, EveryConversionStageGivesTheSamplesOfOneBigBlock)
{
    const Test_Stream in = Test_MakeSignal(44100, 16, 2, 20000, 0.9);
    // The whole stream through each stage by hand, in the order of a conversion chain.
    Test_Stream expected = in;
    {
        FF_AudioProcessMixer mixer(2, 1);
        expected = Test_RunStage(mixer, expected, expected.Length());
        FF_AudioProcessRequantize up(16, 24, 44100, false);
        expected = Test_RunStage(up, expected, expected.Length());
        FF_AudioProcessMultimediaSqueezer squeezer;
        expected = Test_RunStage(squeezer, expected, expected.Length());
        FF_AudioProcessSRC src(44100, 48000, eSRCQuality_High);
        expected = Test_RunStage(src, expected, expected.Length());
        FF_AudioProcessSplitter splitter(1, 2);
        expected = Test_RunStage(splitter, expected, expected.Length());
    }
    for (int64_t perBlock : {1024, 4000})
    {
        auto* consumerP = new Test_MemoryConsumer;
        const Handle keep(consumerP); // the chain goes at the end of RunChain, the stage stays
        EXPECT_EQ(RunChain({Handle(new Test_MemoryProducer(in, perBlock, true)),
                            Handle(new FF_AudioProcessByteSwapper),
                            Handle(new FF_AudioProcessMixer(2, 1)),
                            Handle(new FF_AudioProcessRequantize(16, 24, 44100, false)),
                            Handle(new FF_AudioProcessMultimediaSqueezer),
                            Handle(new FF_AudioProcessSRC(44100, 48000, eSRCQuality_High)),
                            Handle(new FF_AudioProcessSplitter(1, 2)), keep}),
                  Sys_Task::eStatus_Complete);
        EXPECT_EQ(consumerP->mResult.mRate, 48000);
        EXPECT_EQ(consumerP->mResult.Length(), (20000 * 48000 + 44099) / 44100);
        EXPECT_EQ(consumerP->mResult.mChannels, expected.mChannels) << perBlock;
    }
}

// The dithering stages draw from the process-wide generator; with the same start and only one
// of them in the chain, the draws come in the same order as on one block.
TEST(StagesOnAChain, DitheringStagesAndAMemoryConsumer)
{
    const Test_Stream in = Test_MakeSignal(48000, 24, 1, 30000, 0.9);

    FF_DitherAndOrNoiseShape::SetRandomState(5);
    FF_AudioProcessSRC src(48000, 44100, eSRCQuality_Best);
    FF_AudioProcessRequantize down(24, 16, 44100, true);
    const Test_Stream expected =
        Test_RunStage(down, Test_RunStage(src, in, in.Length()), (30000 * 44100 + 47999) / 48000);

    FF_DitherAndOrNoiseShape::SetRandomState(5);
    std::vector<int16_t> memory(size_t(expected.Length()));
    auto* writerP = new FF_AudioProcessWriteBuffer(reinterpret_cast<char*>(memory.data()),
                                                   int64_t(memory.size() * 2));
    const Handle keepWriter(writerP);
    EXPECT_EQ(RunChain({Handle(new Test_MemoryProducer(in, 2048)),
                        Handle(new FF_AudioProcessSRC(48000, 44100, eSRCQuality_Best)),
                        Handle(new FF_AudioProcessRequantize(24, 16, 44100, true)), keepWriter}),
              Sys_Task::eStatus_Complete);
    EXPECT_EQ(writerP->GetBytesWritten(), int64_t(memory.size() * 2));
    EXPECT_EQ(std::vector<int32_t>(memory.begin(), memory.end()), expected.mChannels[0]);

    FF_DitherAndOrNoiseShape::SetRandomState(6);
    FF_AudioProcessGain gain(-4.5);
    gain.SetNextProcess(Handle(new Test_MemoryConsumer));
    const Test_Stream gained = Test_RunStage(gain, in, in.Length());
    FF_DitherAndOrNoiseShape::SetRandomState(6);
    auto* consumerP = new Test_MemoryConsumer;
    const Handle keep(consumerP);
    EXPECT_EQ(RunChain({Handle(new Test_MemoryProducer(in, 777)),
                        Handle(new FF_AudioProcessGain(-4.5)), keep}),
              Sys_Task::eStatus_Complete);
    EXPECT_EQ(consumerP->mResult.mChannels, gained.mChannels);
}

TEST(StagesOnAChain, AnalysingGainIsTheConsumer)
{
    const Test_Stream in = Test_MakeSignal(48000, 16, 2, 10000, 0.5);
    auto* analyserP = new FF_AudioProcessGain;
    const Handle keep(analyserP);
    EXPECT_EQ(RunChain({Handle(new Test_MemoryProducer(in, 1000)), keep}),
              Sys_Task::eStatus_Complete);
    int32_t peak = 0;
    for (const auto& channel : in.mChannels)
        for (int32_t v : channel)
            peak = std::max(peak, std::abs(v));
    EXPECT_EQ(analyserP->GetMaxAbsSample(), peak);
}
