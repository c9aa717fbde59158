#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <numeric>
#include <random>
#include <tuple>

#include "FF/Audio/Processing/Stages/FF_AudioProcessSRC.h"
#include "FF/Audio/Processing/Stages/FF_AudioRandom.h"
#include "FF/Audio/Processing/Stages/FF_SincKernel.h"
#include "StagesTestSupport.h"
#include "Support/TestSupport.h"

namespace
{

constexpr ESRCQuality cQualities[] = {eSRCQuality_Fastest, eSRCQuality_Low,    eSRCQuality_Medium,
                                      eSRCQuality_High,    eSRCQuality_Higher, eSRCQuality_Best};
constexpr int32_t cBits[] = {8, 16, 24, 32};

// The generator written out from its rule, independently of the library's.
int32_t RefStep(int32_t iState)
{
    const int64_t m = 2147483647;
    int64_t x = (int64_t(16807) * iState) % m + 7395;
    if (x > 2147483647) // negative as a signed 32-bit value
        x = x - 4294967296LL + m;
    return int32_t(x);
}

// The conversion of a whole stream as a plain loop: single-precision operands, a double sum
// in index order, round to nearest, clamp. Uses the stage's table (checked separately).
std::vector<int32_t> ReferenceConvert(const FF_AudioProcessSRC& iStage, int32_t iBits,
                                      const std::vector<int32_t>& iIn, int32_t& ioRandom)
{
    const int64_t src = iStage.GetSrcRate(), dst = iStage.GetDstRate();
    const int64_t total = int64_t(iIn.size());
    const int64_t dstTotal = (total * dst + src - 1) / src;
    const int32_t taps = iStage.GetNumTaps(), phases = iStage.GetNumPhases();
    std::vector<float> x(iIn.size());
    for (size_t k = 0; k < iIn.size(); ++k)
        x[k] = float(iBits == 32 ? iIn[k] / 256 : iIn[k]);
    const int64_t lo = iBits == 8 ? -128 : iBits == 16 ? -32768 : -8388608;
    const int64_t hi = -lo - 1;

    std::vector<int32_t> out;
    for (int64_t i = 0; i < dstTotal; ++i)
    {
        const double t = double(i) * (double(src) / double(dst));
        const double n = std::nearbyint(t);
        double r = 0.0;
        if (phases == 16384)
        {
            ioRandom = RefStep(ioRandom);
            r = (2.0 * ioRandom - 2147483648.0) / 4294967296.0;
        }
        const int64_t row = int64_t(std::nearbyint((t - n) * phases + r)) + (phases + 1) / 2;
        const double* coefs = iStage.GetSincTable() + row * taps;
        double sum = 0.0;
        for (int32_t c = 0; c < taps; ++c)
        {
            const int64_t j = int64_t(n) - taps / 2 + c;
            const float s = j >= 0 && j < total ? x[size_t(j)] : 0.0f;
            sum += double(s) * coefs[c];
        }
        int64_t v = std::clamp<int64_t>(std::llrint(sum), lo, hi);
        out.push_back(iBits == 32 ? int32_t(uint32_t(v) << 8) : int32_t(v));
    }
    return out;
}

struct Comparison
{
    int64_t mSamples = 0;
    int64_t mExact = 0;
    int64_t mMaxDiffLSB = 0;
};

Comparison Compare(const std::vector<int32_t>& iA, const std::vector<int32_t>& iB, int32_t iBits)
{
    Comparison result;
    EXPECT_EQ(iA.size(), iB.size());
    const int64_t lsb = iBits == 32 ? 256 : 1;
    for (size_t k = 0; k < std::min(iA.size(), iB.size()); ++k)
    {
        const int64_t d = std::llabs(int64_t(iA[k]) - int64_t(iB[k])) / lsb;
        result.mMaxDiffLSB = std::max(result.mMaxDiffLSB, d);
        result.mExact += d == 0;
        ++result.mSamples;
    }
    return result;
}

} // namespace

TEST(FF_AudioRandom, StepsFromTheSeedAsTheRuleSays)
{
    EXPECT_EQ(FF_AudioRandom::cSeed, 16073505);
    int32_t state = FF_AudioRandom::cSeed, ref = FF_AudioRandom::cSeed;
    const int32_t expected[] = {1711950055, 758679274, 1512153274, 1438604915, 114432227};
    for (int32_t value : expected)
    {
        state = FF_AudioRandom::Step(state);
        EXPECT_EQ(state, value);
    }
    // Near the top of the range the added constant wraps the 32-bit value.
    for (int32_t s : {0, 1, 127773, 2147483646, 2147480000, 1043618065})
    {
        ref = RefStep(s);
        EXPECT_EQ(FF_AudioRandom::Step(s), ref) << s;
        EXPECT_GE(ref, 0);
    }
    EXPECT_EQ(FF_AudioRandom::Centered(0), INT32_MIN);
    EXPECT_EQ(FF_AudioRandom::Centered(1 << 30), 0);
}

TEST(FF_SincKernel, VectorPathsAddTheSameProductsAsThePlainLoop)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<float> value(-8388608.0f, 8388607.0f), coef(-1.0f, 1.0f);
    for (int32_t taps : {9, 17, 33, 65, 129, 257})
    {
        std::vector<double> s(static_cast<size_t>(taps)), c(static_cast<size_t>(taps));
        for (int trial = 0; trial < 200; ++trial)
        {
            for (int32_t j = 0; j < taps; ++j)
            {
                s[size_t(j)] = std::nearbyint(value(random));
                c[size_t(j)] = coef(random);
            }
            const double ref = FF_SincKernel::DotScalar(s.data(), c.data(), taps);
            for (auto path : {FF_SincKernel::ePath_Scalar, FF_SincKernel::ePath_SSE2,
                              FF_SincKernel::ePath_AVX2})
            {
                const double v = FF_SincKernel::GetDot(taps, path)(s.data(), c.data());
                if (path == FF_SincKernel::ePath_Scalar)
                    EXPECT_EQ(v, ref);
                else
                    EXPECT_NEAR(v, ref, 1e-6) << taps << " taps, path " << path;
            }
        }
    }
    EXPECT_TRUE(Test_Asserts([] { FF_SincKernel::GetDot(64); }, "IsSupportedTapCount(iNumTaps)"));
}

// The quality sets the filter's length; the phases come from the greatest common divisor of
// the rates, within a limit that grows with the quality.
TEST(FF_AudioProcessSRC, QualitySetsTheLengthAndTheRatesThePhases)
{
    const struct
    {
        int32_t mSrc, mDst;
        ESRCQuality mQuality;
        int32_t mTaps, mPhases;
    } cases[] = {
        {44100, 48000, eSRCQuality_High, 65, 160},     {48000, 44100, eSRCQuality_High, 65, 147},
        {44100, 48000, eSRCQuality_Higher, 129, 160},  {44100, 48000, eSRCQuality_Best, 257, 160},
        {44100, 48001, eSRCQuality_Medium, 33, 16384}, {44100, 48001, eSRCQuality_Low, 17, 2048},
        {44100, 48001, eSRCQuality_Fastest, 9, 2048},  {96000, 44100, eSRCQuality_Low, 17, 147},
        {8000, 16000, eSRCQuality_Fastest, 9, 2}};
    for (const auto& c : cases)
    {
        FF_AudioProcessSRC stage(c.mSrc, c.mDst, c.mQuality);
        EXPECT_EQ(stage.GetNumTaps(), c.mTaps) << c.mSrc << " to " << c.mDst << " q" << c.mQuality;
        EXPECT_EQ(stage.GetNumPhases(), c.mPhases) << c.mSrc << " to " << c.mDst;
    }
    EXPECT_TRUE(Test_Asserts([] { FF_AudioProcessSRC(44100, 48000, ESRCQuality(0)); }, "0"));
    EXPECT_TRUE(Test_Asserts([] { FF_AudioProcessSRC(44100, 48000, ESRCQuality(7)); }, "0"));
}

TEST(FF_AudioProcessSRC, KernelIsABlackmanWindowedSincWithLoweredCutoffWhenDownsampling)
{
    FF_AudioProcessSRC up(44100, 48000, eSRCQuality_High), down(48000, 44100, eSRCQuality_High);
    EXPECT_DOUBLE_EQ(up.SincFunc(0.0), 1.0);
    EXPECT_DOUBLE_EQ(down.SincFunc(0.0), 0.91875);
    for (double x : {0.25, 1.0, 3.5, -7.3, 20.0})
    {
        const double t = std::numbers::pi * x, u = 2 * t / 65;
        const double w = 0.42 + 0.5 * std::cos(u) + 0.08 * std::cos(2 * u);
        EXPECT_DOUBLE_EQ(up.SincFunc(x), std::sin(t) / t * w);
        EXPECT_DOUBLE_EQ(down.SincFunc(x), std::sin(0.91875 * t) / t * w);
    }
    EXPECT_NEAR(up.SincFunc(32.5), 0.0, 1e-15); // the window's end
    EXPECT_NEAR(up.SincFunc(3.0), 0.0, 1e-15);  // a zero of the sinc at full band
}

TEST(FF_AudioProcessSRC, TableRowsRunFromPlusHalfToMinusHalfAPhaseWithTwoExtraRows)
{
    for (auto [src, dst, quality] :
         {std::tuple{48000, 44100, eSRCQuality_Medium}, std::tuple{44100, 48001, eSRCQuality_Low}})
    {
        FF_AudioProcessSRC stage(src, dst, quality);
        const int32_t p = stage.GetNumPhases(), taps = stage.GetNumTaps();
        for (int32_t row : {0, 1, p / 2, p, p + 1})
        {
            const double k = double((p + 1) / 2 - row);
            for (int32_t c : {0, 1, taps / 2, taps - 1})
                EXPECT_EQ(stage.GetSincTable()[size_t(row) * taps + c],
                          float(stage.SincFunc(k / p + c - taps / 2)))
                    << "row " << row << " tap " << c;
        }
    }
}

TEST(FF_AudioProcessSRC, PreflightSizesBlocksHistoryAndTotals)
{
    FF_AudioProcessSRC stage(44100, 48000, eSRCQuality_High);
    FF_AudioProcessBlock proto(2, 44100, 24, 1024, 441000);
    stage.Preflight(&proto);
    EXPECT_EQ(proto.GetSampleRate(), 48000);
    EXPECT_EQ(proto.GetTotalNumSamples(), 480000);
    EXPECT_EQ(proto.GetNumSamples(), 1115 + 2 * 32); // ceil(1024 * 48000 / 44100) + 2 * 32
    EXPECT_EQ(stage.GetHistorySize(), 1024 + 64);

    FF_AudioProcessSRC down(48000, 44100, eSRCQuality_Best);
    FF_AudioProcessBlock unknown(1, 48000, 16, 4096, -1);
    down.Preflight(&unknown);
    EXPECT_EQ(unknown.GetTotalNumSamples(), -1);
    EXPECT_EQ(unknown.GetNumSamples(), 3764 + 128); // ceil(4096 * 0.91875) + 1 * 128

    FF_AudioProcessBlock odd(1, 48000, 16, 4096, 1001);
    down.Preflight(&odd);
    EXPECT_EQ(odd.GetTotalNumSamples(), 920); // ceil(919.67)

    FF_AudioProcessBlock swapped(1, 48000, 16, 4096, 1001, eByteOrder_Big);
    EXPECT_TRUE(Test_Asserts([&] { down.Preflight(&swapped); },
                             "inOutBlock->GetBufferByteOrder() == eByteOrder_Native"));
}

// The plain loop, the stage's inner product path by path, every quality and bit depth, the
// stream in blocks (so that windows wrap the history and the tail is flushed in the last one).
// The loop places output i at input i * src / dst: it also checks that the first output is
// aligned with the first input.
TEST(FF_AudioProcessSRC, MatchesAPlainScalarLoopOnEveryQualityAndBitDepth)
{
    for (auto [src, dst] : {std::pair{44100, 48000}, std::pair{48000, 44100}})
        for (ESRCQuality quality : cQualities)
        {
            for (int32_t bits : cBits)
            {
                const Test_Stream in = Test_MakeSignal(src, bits, 2, 2500, bits == 8 ? 1.3 : 0.95);
                Comparison fast, scalar;
                for (auto path : {FF_SincKernel::ePath_Scalar, FF_SincKernel::GetBestPath()})
                {
                    FF_AudioProcessSRC stage(src, dst, quality);
                    stage.SetKernelPath(path);
                    const Test_Stream out = Test_RunStage(stage, in, 333);
                    ASSERT_EQ(out.mChannels.size(), 2u);
                    for (size_t c = 0; c < 2; ++c)
                    {
                        int32_t unused = 0;
                        const Comparison one =
                            Compare(out.mChannels[c],
                                    ReferenceConvert(stage, bits, in.mChannels[c], unused), bits);
                        Comparison& sum = path == FF_SincKernel::ePath_Scalar ? scalar : fast;
                        sum.mSamples += one.mSamples;
                        sum.mExact += one.mExact;
                        sum.mMaxDiffLSB = std::max(sum.mMaxDiffLSB, one.mMaxDiffLSB);
                    }
                }
                SCOPED_TRACE(testing::Message() << src << " to " << dst << ", quality " << quality
                                                << ", " << bits << " bits");
                EXPECT_EQ(scalar.mExact, scalar.mSamples);
                EXPECT_LE(fast.mMaxDiffLSB, 1);
                EXPECT_GE(double(fast.mExact), 0.999 * double(fast.mSamples));
                EXPECT_GT(fast.mSamples, 4000);
            }
        }
}

// At the 16384-phase limit each output draws phase noise from the process-wide generator:
// one draw per output sample and channel, in order; a table of the exact size draws none.
TEST(FF_AudioProcessSRC, PhaseNoiseAtTheLimitFollowsTheGenerator)
{
    for (auto [quality, bits] :
         {std::pair{eSRCQuality_Medium, 8}, std::pair{eSRCQuality_Medium, 16},
          std::pair{eSRCQuality_Medium, 24}, std::pair{eSRCQuality_Medium, 32},
          std::pair{eSRCQuality_Best, 24}})
    {
        FF_AudioProcessSRC stage(44100, 48001, quality);
        ASSERT_EQ(stage.GetNumPhases(), 16384);
        const Test_Stream in = Test_MakeSignal(44100, bits, 2, 1500);
        FF_AudioProcessSRC::SetRandomState(12345);
        const Test_Stream out = Test_RunStage(stage, in, in.Length());
        int32_t state = 12345;
        for (size_t c = 0; c < 2; ++c)
        {
            const Comparison cmp = Compare(
                out.mChannels[c], ReferenceConvert(stage, bits, in.mChannels[c], state), bits);
            EXPECT_LE(cmp.mMaxDiffLSB, 1) << bits;
            EXPECT_GE(double(cmp.mExact), 0.999 * double(cmp.mSamples)) << bits;
        }
        EXPECT_EQ(FF_AudioProcessSRC::GetRandomState(), state);
    }
    FF_AudioProcessSRC exact(44100, 48000, eSRCQuality_Best);
    FF_AudioProcessSRC::SetRandomState(777);
    Test_RunStage(exact, Test_MakeSignal(44100, 16, 1, 500), 100);
    EXPECT_EQ(FF_AudioProcessSRC::GetRandomState(), 777);
}

// The count is the ceiling of the total times the ratio, and blocks of any size (around the
// window's length, the last one full or not) give the samples of one big block.
TEST(FF_AudioProcessSRC, BlockSizeChangesNeitherTheCountNorTheSamples)
{
    for (auto [src, dst] :
         {std::pair{44100, 48000}, std::pair{48000, 44100}, std::pair{96000, 44100},
          std::pair{22050, 96000}, std::pair{44100, 48001}})
        for (ESRCQuality quality : {eSRCQuality_Fastest, eSRCQuality_Low, eSRCQuality_Best})
            for (int64_t total : {1, 7, 1000, 4801})
            {
                const Test_Stream in =
                    Test_MakeSignal(src, quality == eSRCQuality_Low ? 24 : 16, 2, total);
                // Past the phase limit (48001 Hz at the longer filters) the phase noise is
                // drawn block by block and channel by channel: only the count is the same.
                FF_AudioProcessSRC whole(src, dst, quality);
                const Test_Stream reference = Test_RunStage(whole, in, total);
                EXPECT_EQ(reference.Length(), (total * dst + src - 1) / src)
                    << src << " to " << dst << " q" << quality << " total " << total;
                if (dst == 48001 && quality != eSRCQuality_Low)
                    continue;
                for (int64_t block : {17, 64, 1500})
                {
                    FF_AudioProcessSRC stage(src, dst, quality);
                    ASSERT_EQ(Test_RunStage(stage, in, block).mChannels, reference.mChannels)
                        << src << " to " << dst << " q" << quality << " total " << total
                        << " in blocks of " << block;
                }
            }
}

TEST(FF_AudioProcessSRC, UnknownTotalStreamsWithoutTheTail)
{
    const Test_Stream in = Test_MakeSignal(44100, 16, 1, 5000);
    FF_AudioProcessSRC known(44100, 48000, eSRCQuality_High),
        unknown(44100, 48000, eSRCQuality_High);
    const Test_Stream all = Test_RunStage(known, in, 1000);
    const Test_Stream cut = Test_RunStage(unknown, in, 1000, -1);
    // Without an end the filter keeps back what its window still needs; what it gave is the
    // same as with a known end.
    ASSERT_LT(cut.Length(), all.Length());
    EXPECT_GE(cut.Length(), all.Length() - 2 * 32 * 48000 / 44100 - 2);
    EXPECT_TRUE(
        std::equal(cut.mChannels[0].begin(), cut.mChannels[0].end(), all.mChannels[0].begin()));
}

TEST(FF_AudioProcessSRC, DcPassesAtUnityGainBothWays)
{
    for (auto [src, dst] : {std::pair{44100, 48000}, std::pair{48000, 44100}})
    {
        Test_Stream in;
        in.mRate = src;
        in.mBits = 24;
        in.mChannels.assign(1, std::vector<int32_t>(3000, 1000000));
        FF_AudioProcessSRC stage(src, dst, eSRCQuality_Best);
        const std::vector<int32_t> out = Test_RunStage(stage, in, 512).mChannels[0];
        EXPECT_NEAR(out[out.size() / 2], 1000000, 1000000 * 0.002) << src << " to " << dst;
    }
}

TEST(FF_AudioProcessSRC, ProcessAssertsOnBitsItCannotFilter)
{
    FF_AudioProcessSRC stage(44100, 48000, eSRCQuality_Fastest);
    FF_AudioProcessBlock proto(1, 44100, 12, 100, 100);
    stage.Preflight(&proto);
    stage.Allocate(proto);
    FF_AudioProcessBlock in(1, 44100, 12, 100, 100), out(proto);
    EXPECT_TRUE(Test_Asserts([&] { stage.Process(&in, &out); }, "false"));
    FF_AudioProcessBlock wide(1, 44100, 16, 100, 100);
    EXPECT_TRUE(Test_Asserts([&] { stage.Process(&wide, &out); },
                             "inBlock->GetBitsPerSample() == outBlock->GetBitsPerSample()"));
}
