#include <cmath>
#include <gtest/gtest.h>

#include <algorithm>

#include "FF/Audio/Processing/Stages/FF_AudioProcessByteSwapper.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessGain.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessMixer.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessSplitter.h"
#include "StagesTestSupport.h"
#include "Support/TestSupport.h"

namespace
{

// A stage to stand behind the one under test, so that it is a filter.
class Test_Sink : public FF_AudioProcess
{
protected:
    void Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*) override {}
};

} // namespace

TEST(FF_AudioProcessGain, ClipKeepsTheNegatedMaximumAndJumpsBelowIt)
{
    const std::tuple<int64_t, int32_t, int32_t> cases[] = {
        {-32767, 32767, -32767}, {-32768, 32767, -32768},       {-40000, 32767, -32768},
        {32767, 32767, 32767},   {99999, 32767, 32767},         {-127, 127, -127},
        {-129, 127, -128},       {-8388607, 8388607, -8388607}, {-8388608, 8388607, -8388608}};
    for (auto [value, max, expected] : cases)
        EXPECT_EQ(FF_AudioProcessGain::Clip(value, max), expected) << value;
}

TEST(FF_AudioProcessGain, EightBitsAreScaledTruncatedAndClippedWithoutDither)
{
    FF_AudioProcessGain gain(20.0 * std::log10(2.5));
    EXPECT_DOUBLE_EQ(gain.GetGainFactor(), 2.5);
    gain.SetNextProcess(FF_AudioProcess::ProcessHandle(new Test_Sink));
    const Test_Stream out =
        Test_RunStage(gain, Test_StreamOf(8, {{1, 3, -3, 40, 60, -50, -51, -128}}), 3);
    // 2.5, 7.5, -7.5 truncate toward zero; -50 * 2.5 = -125 stays; -127.5 -> -127; -320 clips.
    EXPECT_EQ(out.mChannels[0], (std::vector<int32_t>{2, 7, -7, 100, 127, -125, -127, -128}));
}

TEST(FF_AudioProcessGain, SixteenAndTwentyFourBitsGetOneStepOfDither)
{
    for (int32_t bits : {16, 24})
    {
        FF_AudioProcessGain gain(-6.0);
        gain.SetNextProcess(FF_AudioProcess::ProcessHandle(new Test_Sink));
        const Test_Stream in = Test_MakeSignal(48000, bits, 2, 4000, 0.8);
        const Test_Stream out = Test_RunStage(gain, in, 1000);
        int64_t differ = 0;
        double error = 0.0;
        for (size_t c = 0; c < 2; ++c)
            for (size_t k = 0; k < 4000; ++k)
            {
                const double exact = in.mChannels[c][k] * gain.GetGainFactor();
                const double d = out.mChannels[c][k] - std::trunc(exact);
                differ += d != 0;
                error += out.mChannels[c][k] - exact;
                EXPECT_LE(std::fabs(d), 8.0) << bits << " bits, sample " << k;
            }
        EXPECT_GT(differ, 1000) << bits;
        EXPECT_LT(std::fabs(error / 8000.0), 0.1) << bits;
    }
    // Full-scale boost: the dither never takes a clipped sample past the limits.
    FF_AudioProcessGain loud(12.0);
    loud.SetNextProcess(FF_AudioProcess::ProcessHandle(new Test_Sink));
    const Test_Stream out =
        Test_RunStage(loud, Test_StreamOf(16, {{32767, -32768, -32767, 20000}}), 4);
    EXPECT_EQ(out.mChannels[0], (std::vector<int32_t>{32767, -32768, -32768, 32767}));
}

TEST(FF_AudioProcessGain, AnalysingFormFindsThePeakAndIsAConsumerAtTheEnd)
{
    FF_AudioProcessGain analyser;
    EXPECT_TRUE(analyser.IsAnalysing());
    EXPECT_EQ(analyser.GetProcessType(), FF_AudioProcess::eProcessType_Consumer);
    Test_RunStage(analyser, Test_StreamOf(16, {{5, -300, 17}, {1000, -32768, 2}}), 2);
    EXPECT_EQ(analyser.GetMaxAbsSample(), 32768);

    FF_AudioProcessGain applying(3.0);
    FF_AudioProcessBlock proto(1, 48000, 16, 100, 100);
    EXPECT_TRUE(Test_Asserts([&] { applying.Preflight(&proto); }, "this->GetNextProcess()"));
    applying.SetNextProcess(FF_AudioProcess::ProcessHandle(new Test_Sink));
    EXPECT_EQ(applying.GetProcessType(), FF_AudioProcess::eProcessType_Filter);
    FF_AudioProcessBlock words(1, 48000, 32, 100, 100);
    EXPECT_TRUE(Test_Asserts([&] { applying.Preflight(&words); }, "0"));
}

TEST(FF_AudioProcessMixer, SumsChannelsAtEqualPowerAndClips)
{
    FF_AudioProcessMixer stereo(2, 1);
    const Test_Stream out = Test_RunStage(
        stereo, Test_StreamOf(16, {{1000, 30000, -30000, -1, 7}, {1000, 30000, -30000, 0, -7}}), 2);
    ASSERT_EQ(out.mChannels.size(), 1u);
    EXPECT_EQ(out.mChannels[0], (std::vector<int32_t>{1414, 32767, -32768, 0, 0}));

    FF_AudioProcessMixer three(3, 1);
    const Test_Stream out24 =
        Test_RunStage(three, Test_StreamOf(24, {{3000000}, {3000000}, {-3000000}}), 1);
    EXPECT_EQ(out24.mChannels[0][0], int32_t(3000000.0 * std::sqrt(1.0 / 3.0)));
    const Test_Stream out8 =
        Test_RunStage(stereo, Test_StreamOf(8, {{-90, -100, 90}, {-90, -100, 90}}), 2);
    EXPECT_EQ(out8.mChannels[0], (std::vector<int32_t>{-127, -128, 127}));

    // Long runs at 16 and 24 bits, with clipping on both sides: the vector path where there
    // is one, and the plain loop for the last frames of each block.
    for (int32_t bits : {16, 24})
    {
        const int32_t max = bits == 16 ? 32767 : 8388607;
        std::vector<std::vector<int32_t>> in(3);
        std::vector<int32_t> expected;
        for (int32_t k = 0; k < 1001; ++k)
        {
            int64_t sum = 0;
            for (int32_t c = 0; c < 3; ++c)
            {
                in[size_t(c)].push_back(
                    int32_t((int64_t(k) * (7919 + 104729 * c)) % (2 * max) - max));
                sum += in[size_t(c)].back();
            }
            const int64_t v = int64_t(double(sum) * std::sqrt(1.0 / 3.0));
            expected.push_back(int32_t(std::clamp<int64_t>(v, -max - 1, max)));
        }
        const Test_Stream mixed = Test_RunStage(three, Test_StreamOf(bits, in), 97);
        EXPECT_EQ(mixed.mChannels[0], expected) << bits << " bits";
    }

    EXPECT_TRUE(Test_Asserts([] { FF_AudioProcessMixer(2, 2); }, "iDstNumChannels == 1"));
    FF_AudioProcessBlock mono(1, 48000, 16, 10, 10);
    EXPECT_TRUE(Test_Asserts([&] { stereo.Preflight(&mono); },
                             "mSrcNumChannels == inOutBlock->GetNumChannels()"));
}

TEST(FF_AudioProcessSplitter, CopiesTheChannelToEveryOutput)
{
    FF_AudioProcessSplitter splitter(1, 3);
    const Test_Stream out =
        Test_RunStage(splitter, Test_StreamOf(24, {{1, -2, 8388607, -8388608, 5}}), 2);
    ASSERT_EQ(out.mChannels.size(), 3u);
    for (const auto& channel : out.mChannels)
        EXPECT_EQ(channel, (std::vector<int32_t>{1, -2, 8388607, -8388608, 5}));
    EXPECT_TRUE(Test_Asserts([] { FF_AudioProcessSplitter(2, 4); }, "mSrcNumChannels == 1"));
    FF_AudioProcessBlock stereo(2, 48000, 16, 10, 10);
    EXPECT_TRUE(Test_Asserts([&] { splitter.Preflight(&stereo); },
                             "inOutBlock->GetNumChannels() == mSrcNumChannels"));
}

TEST(FF_AudioProcessByteSwapper, ReversesEachSampleAndFlipsTheOrder)
{
    for (auto [bits, in, swapped] :
         {std::tuple{16, std::vector<int32_t>{0x1234, -2}, std::vector<int32_t>{0x3412, -257}},
          std::tuple{24, std::vector<int32_t>{0x123456, 1},
                     std::vector<int32_t>{0x563412, 0x010000}}})
    {
        FF_AudioProcessByteSwapper swapper;
        FF_AudioProcessBlock proto(1, 48000, bits, 10, 2);
        swapper.Preflight(&proto);
        EXPECT_EQ(proto.GetByteOrder(), eByteOrder_Big);
        FF_AudioProcessByteSwapper again;
        const Test_Stream once = Test_RunStage(swapper, Test_StreamOf(bits, {in}), 1);
        EXPECT_EQ(once.mChannels[0], swapped) << bits;
        EXPECT_EQ(Test_RunStage(again, once, 2).mChannels[0], in) << bits;
    }
    FF_AudioProcessByteSwapper swapper;
    FF_AudioProcessBlock bytes(1, 48000, 8, 10, 10);
    EXPECT_TRUE(
        Test_Asserts([&] { swapper.Preflight(&bytes); }, "inOutBlock->GetBytesPerSample() != 1"));
    FF_AudioProcessBlock in(1, 48000, 16, 4, 4, eByteOrder_Big), out(in);
    swapper.Process(&in, &out);
    EXPECT_EQ(out.GetByteOrder(), eByteOrder_Native);
}
