#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

#include "FF/Audio/Processing/Stages/FF_AudioProcessMultimediaSqueezer.h"
#include "StagesTestSupport.h"
#include "Support/TestSupport.h"

namespace
{

Test_Stream Sine(int32_t iBits, double iDBFS, int64_t iLength, int16_t iChannels = 2)
{
    Test_Stream s;
    s.mBits = iBits;
    const double a = std::pow(10.0, iDBFS / 20.0) * Test_MaxValue(iBits);
    for (int16_t c = 0; c < iChannels; ++c)
    {
        std::vector<int32_t> v(static_cast<size_t>(iLength));
        for (int64_t k = 0; k < iLength; ++k)
            v[size_t(k)] =
                int32_t(std::lrint(a * std::sin(2 * std::numbers::pi * 500.0 * k / 48000)));
        s.mChannels.push_back(std::move(v));
    }
    return s;
}

double PeakDBFS(const std::vector<int32_t>& iV, size_t iFrom, int32_t iBits)
{
    int32_t peak = 0;
    for (size_t k = iFrom; k < iV.size(); ++k)
        peak = std::max(peak, std::abs(iV[k]));
    return 20.0 * std::log10(std::max(peak, 1) / double(Test_MaxValue(iBits)));
}

} // namespace

TEST(FF_AudioProcessMultimediaSqueezer, KeepsLengthAndAlignmentInAnyBlockSize)
{
    FF_AudioProcessMultimediaSqueezer whole;
    Test_Stream click = Sine(16, -60.0, 5000, 1);
    click.mChannels[0][3000] = 20000;
    const Test_Stream reference = Test_RunStage(whole, click, click.Length());
    EXPECT_EQ(whole.GetDelaySamples(), 240);
    ASSERT_EQ(reference.Length(), 5000);
    const auto peak =
        std::max_element(reference.mChannels[0].begin(), reference.mChannels[0].end());
    EXPECT_EQ(peak - reference.mChannels[0].begin(), 3000);
    for (int64_t block : {100, 240, 1000, 4999})
    {
        FF_AudioProcessMultimediaSqueezer stage;
        EXPECT_EQ(Test_RunStage(stage, click, block).mChannels, reference.mChannels) << block;
    }
    FF_AudioProcessMultimediaSqueezer shortStream;
    EXPECT_EQ(Test_RunStage(shortStream, Sine(24, -10.0, 50), 1000).Length(), 50);

    FF_AudioProcessBlock proto(2, 48000, 16, 1000, 5000);
    FF_AudioProcessMultimediaSqueezer sized;
    sized.Preflight(&proto);
    EXPECT_EQ(proto.GetNumSamples(), 1240);
}

TEST(FF_AudioProcessMultimediaSqueezer, LiftsQuietMaterialAndHoldsLoudBelowTheCeiling)
{
    for (int32_t bits : {16, 24})
    {
        FF_AudioProcessMultimediaSqueezer quiet, loud, silent;
        const double quietOut = PeakDBFS(
            Test_RunStage(quiet, Sine(bits, -30.0, 24000), 4096).mChannels[0], 12000, bits);
        EXPECT_GT(quietOut, -30.0 + 5.0) << bits;
        const Test_Stream loudOut = Test_RunStage(loud, Sine(bits, 0.0, 24000), 4096);
        EXPECT_LE(PeakDBFS(loudOut.mChannels[1], 0, bits), -5.9) << bits;
        EXPECT_GT(PeakDBFS(loudOut.mChannels[1], 12000, bits), -12.0) << bits;
        // Noise far below the gate is not lifted.
        const Test_Stream hiss = Test_RunStage(silent, Sine(bits, -70.0, 24000), 4096);
        EXPECT_LT(PeakDBFS(hiss.mChannels[0], 12000, bits), -65.0) << bits;
    }
}

TEST(FF_AudioProcessMultimediaSqueezer, PreflightNeedsAKnownTotalAndTheSupportedBits)
{
    FF_AudioProcessMultimediaSqueezer stage;
    FF_AudioProcessBlock unknown(1, 48000, 16, 100, -1), bytes(1, 48000, 8, 100, 100),
        swapped(1, 48000, 16, 100, 100, eByteOrder_Big);
    EXPECT_TRUE(
        Test_Asserts([&] { stage.Preflight(&unknown); }, "inOutBlock->mTotalNumSamples != -1"));
    EXPECT_TRUE(Test_Asserts([&] { stage.Preflight(&bytes); }, "bits == 16 || bits == 24"));
    EXPECT_TRUE(Test_Asserts([&] { stage.Preflight(&swapped); },
                             "inOutBlock->GetBufferByteOrder() == eByteOrder_Native"));
}
