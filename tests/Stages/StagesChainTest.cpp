// The stages on a running chain: producer, stages and a consumer into memory give the same
// samples as the stages called by hand on the whole stream as one block.
#include <gtest/gtest.h>

#include "Chain/ChainTestStages.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessChain.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessByteSwapper.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessGain.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessMixer.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessMultimediaSqueezer.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessRequantize.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessSRC.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessSplitter.h"
#include "FF/Audio/Processing/Stages/FF_DitherAndOrNoiseShape.h"
#include "FF/Audio/Processing/Write/FF_AudioProcessWriteBuffer.h"
#include "StagesTestSupport.h"

namespace
{
using Handle = FF_AudioProcess::ProcessHandle;

Sys_Task::EStatus RunChain(std::initializer_list<Handle> iStages)
{
    const FF_AudioProcessChain::ChainHandle chain = Test_MakeChain(iStages);
    const Sys_Task::EStatus status = Test_RunQueued(chain);
    const Cmn_Exception* exceptionP = chain->GetException();
    EXPECT_EQ(exceptionP, nullptr) << (exceptionP ? exceptionP->what() : "");
    return status;
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
        auto* consumerP = new Test_ChannelsCollector;
        const Handle keep(consumerP); // the chain goes at the end of RunChain, the stage stays
        EXPECT_EQ(
            RunChain(
                {Handle(Test_ChannelsProducer(in.mChannels, in.mBits, perBlock, in.mRate, true)),
                 Handle(new FF_AudioProcessByteSwapper), Handle(new FF_AudioProcessMixer(2, 1)),
                 Handle(new FF_AudioProcessRequantize(16, 24, 44100, false)),
                 Handle(new FF_AudioProcessMultimediaSqueezer),
                 Handle(new FF_AudioProcessSRC(44100, 48000, eSRCQuality_High)),
                 Handle(new FF_AudioProcessSplitter(1, 2)), keep}),
            Sys_Task::eStatus_Complete);
        EXPECT_EQ(consumerP->mRate, 48000);
        EXPECT_EQ(int64_t(consumerP->mChannels[0].size()), (20000 * 48000 + 44099) / 44100);
        EXPECT_EQ(consumerP->mChannels, expected.mChannels) << perBlock;
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
    EXPECT_EQ(RunChain({Handle(Test_ChannelsProducer(in.mChannels, in.mBits, 2048)),
                        Handle(new FF_AudioProcessSRC(48000, 44100, eSRCQuality_Best)),
                        Handle(new FF_AudioProcessRequantize(24, 16, 44100, true)), keepWriter}),
              Sys_Task::eStatus_Complete);
    EXPECT_EQ(writerP->GetBytesWritten(), int64_t(memory.size() * 2));
    EXPECT_EQ(std::vector<int32_t>(memory.begin(), memory.end()), expected.mChannels[0]);

    FF_DitherAndOrNoiseShape::SetRandomState(6);
    FF_AudioProcessGain gain(-4.5);
    gain.SetNextProcess(Handle(new Test_ChannelsCollector));
    const Test_Stream gained = Test_RunStage(gain, in, in.Length());
    FF_DitherAndOrNoiseShape::SetRandomState(6);
    auto* consumerP = new Test_ChannelsCollector;
    const Handle keep(consumerP);
    EXPECT_EQ(RunChain({Handle(Test_ChannelsProducer(in.mChannels, in.mBits, 777)),
                        Handle(new FF_AudioProcessGain(-4.5)), keep}),
              Sys_Task::eStatus_Complete);
    EXPECT_EQ(consumerP->mChannels, gained.mChannels);
}
