#include <gtest/gtest.h>
#include <stdexcept>

#include "FF/Audio/Processing/Stages/FF_AudioProcessRequantize.h"
#include "FF/Audio/Processing/Stages/FF_AudioRandom.h"
#include "FF/Audio/Processing/Stages/FF_DitherAndOrNoiseShape.h"
#include "StagesTestSupport.h"
#include "Support/TestSupport.h"

namespace
{

std::vector<int32_t> Requantize(uint16_t iFrom, uint16_t iTo, bool iDither,
                                const std::vector<int32_t>& iSamples)
{
    FF_AudioProcessRequantize stage(iFrom, iTo, 48000, iDither);
    const Test_Stream out = Test_RunStage(stage, Test_StreamOf(iFrom, {iSamples}), 64);
    EXPECT_EQ(out.mBits, iTo);
    return out.mChannels[0];
}

} // namespace

TEST(FF_AudioProcessRequantize, RaisingShiftsInZeros)
{
    struct Case
    {
        uint16_t mFrom, mTo;
        std::vector<int32_t> mIn, mOut;
    } cases[] = {
        {8, 16, {-128, -1, 0, 1, 127}, {-32768, -256, 0, 256, 32512}},
        {8, 24, {-128, -1, 1, 127}, {-8388608, -65536, 65536, 8323072}},
        {8, 32, {-128, -1, 127}, {INT32_MIN, -16777216, 2130706432}},
        {16, 24, {-32768, -1, 0x1234, 32767}, {-8388608, -256, 0x123400, 8388352}},
        {16, 32, {-32768, -1, 32767}, {INT32_MIN, -65536, 2147418112}},
        {24, 32, {-8388608, -1, 8388607}, {INT32_MIN, -256, 2147483392}},
        {24, 24, {-8388608, 5, 8388607}, {-8388608, 5, 8388607}},
        {16, 16, {-32768, 5, 32767}, {-32768, 5, 32767}},
    };
    for (const Case& c : cases)
    {
        for (bool dither : {false, true})
            EXPECT_EQ(Requantize(c.mFrom, c.mTo, dither, c.mIn), c.mOut) << c.mFrom << "x" << c.mTo;
    }
    // Long runs (blocks of 64 and a short last one) take the vector paths where there are.
    std::vector<int32_t> in, out;
    for (int32_t k = 0; k < 1003; ++k)
    {
        in.push_back(int16_t(k * 40503));
        out.push_back(in.back() * 256);
    }
    EXPECT_EQ(Requantize(16, 24, false, in), out);
}

TEST(FF_AudioProcessRequantize, LoweringWithoutTheFlagDropsTheLowBytes)
{
    EXPECT_EQ(Requantize(16, 8, false, {0x1234, -1, -32768, 0x00FF}),
              (std::vector<int32_t>{0x12, -1, -128, 0}));
    EXPECT_EQ(Requantize(24, 8, false, {0x123456, -1, -8388608, 0xFFFF}),
              (std::vector<int32_t>{0x12, -1, -128, 0}));
    EXPECT_EQ(Requantize(24, 16, false, {0x123456, -1, -8388608, 8388607}),
              (std::vector<int32_t>{0x1234, -1, -32768, 32767}));
}

// Only 24 to 16 bits draws random dither; the routes to 8 bits shape the error without it.
TEST(FF_AudioProcessRequantize, OnlyTheRouteTo16BitsDithers)
{
    std::vector<int32_t> in24, in16;
    for (int32_t k = 0; k < 2000; ++k)
    {
        in24.push_back(k * 977 % 600000 - 300000);
        in16.push_back(k * 37 % 20000 - 10000);
    }
    struct Case
    {
        uint16_t mFrom, mTo;
        const std::vector<int32_t>& mIn;
        int32_t mDraws; // per sample
    } cases[] = {{24, 16, in24, 2}, {24, 8, in24, 0}, {16, 8, in16, 0}};
    for (const Case& c : cases)
    {
        FF_DitherAndOrNoiseShape::SetRandomState(99);
        const std::vector<int32_t> shaped = Requantize(c.mFrom, c.mTo, true, c.mIn);
        int32_t state = 99;
        for (size_t k = 0; k < c.mIn.size() * size_t(c.mDraws); ++k)
            state = FF_AudioRandom::Step(state);
        EXPECT_EQ(FF_DitherAndOrNoiseShape::GetRandomState(), state) << c.mFrom << "x" << c.mTo;

        // Against the plain shift the shaped output differs, but averages to the input.
        const std::vector<int32_t> plain = Requantize(c.mFrom, c.mTo, false, c.mIn);
        const double step = double(1 << (c.mFrom - c.mTo));
        int64_t differ = 0;
        double error = 0.0;
        for (size_t k = 0; k < c.mIn.size(); ++k)
        {
            differ += shaped[k] != plain[k];
            error += shaped[k] * step - c.mIn[k];
            EXPECT_LE(std::fabs(shaped[k] * step - c.mIn[k]), 6.0 * step);
        }
        EXPECT_GT(differ, int64_t(c.mIn.size() / 10));
        EXPECT_LT(std::fabs(error / double(c.mIn.size())), 0.05 * step);
    }
}

TEST(FF_AudioProcessRequantize, PreflightChecksTheInputAndPicksTheConversion)
{
    FF_AudioProcessRequantize stage(24, 16, 44100, true);
    ASSERT_TRUE(stage.GetNoiseShaper());
    EXPECT_EQ(stage.GetNoiseShaper()->GetCoefficient(0), 1.726f);
    EXPECT_FALSE(FF_AudioProcessRequantize(16, 24, 44100, true).GetNoiseShaper());

    FF_AudioProcessBlock wrongBits(1, 44100, 16, 100, 100);
    EXPECT_TRUE(Test_Asserts([&] { stage.Preflight(&wrongBits); },
                             "inOutBlock->GetBitsPerSample() == mSourceBitsPerSample"));
    FF_AudioProcessBlock swapped(1, 44100, 24, 100, 100, eByteOrder_Big);
    EXPECT_TRUE(Test_Asserts([&] { stage.Preflight(&swapped); },
                             "inOutBlock->GetBufferByteOrder() == eByteOrder_Native"));
    FF_AudioProcessRequantize down32(32, 24, 44100, false);
    FF_AudioProcessBlock words(1, 44100, 32, 100, 100);
    EXPECT_TRUE(Test_Asserts([&] { down32.Preflight(&words); }, "0"));
    EXPECT_THROW(FF_AudioProcessRequantize(24, 16, 300000, false), std::runtime_error);

    FF_AudioProcessBlock ok(2, 44100, 24, 100, 100);
    stage.Preflight(&ok);
    EXPECT_EQ(ok.GetBitsPerSample(), 16);
    FF_AudioProcessBlock in(2, 44100, 16, 100, 100), out(2, 44100, 24, 100, 100);
    EXPECT_TRUE(Test_Asserts([&] { stage.Process(&in, &out); },
                             "inBlock->GetBitsPerSample() == mSourceBitsPerSample"));
}
