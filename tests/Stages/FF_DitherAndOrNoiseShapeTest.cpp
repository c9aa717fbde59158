#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <stdexcept>

#include "FF/Audio/Processing/Stages/FF_AudioProcessRequantize.h"
#include "FF/Audio/Processing/Stages/FF_DitherAndOrNoiseShape.h"
#include "StagesTestSupport.h"
#include "Support/TestSupport.h"

namespace
{

// Power per band of a real signal (length a power of two), by a plain radix-2 FFT.
std::vector<double> PowerSpectrum(const std::vector<double>& iX)
{
    const size_t n = iX.size();
    std::vector<std::complex<double>> a(iX.begin(), iX.end());
    for (size_t i = 1, j = 0; i < n; ++i)
    {
        size_t bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(a[i], a[j]);
    }
    for (size_t len = 2; len <= n; len <<= 1)
    {
        const std::complex<double> w = std::polar(1.0, -2 * std::numbers::pi / double(len));
        for (size_t i = 0; i < n; i += len)
        {
            std::complex<double> wk = 1.0;
            for (size_t k = 0; k < len / 2; ++k, wk *= w)
            {
                const std::complex<double> u = a[i + k], v = a[i + k + len / 2] * wk;
                a[i + k] = u + v;
                a[i + k + len / 2] = u - v;
            }
        }
    }
    std::vector<double> power(n / 2);
    for (size_t k = 0; k < n / 2; ++k)
        power[k] = std::norm(a[k]);
    return power;
}

double BandPower(const std::vector<double>& iPower, double iRate, double iLo, double iHi)
{
    const double binHz = iRate / (2.0 * double(iPower.size()));
    double sum = 0.0;
    for (size_t k = 1; k < iPower.size(); ++k) // without DC
        if (k * binHz >= iLo && k * binHz < iHi)
            sum += iPower[k];
    return sum;
}

// |NTF|^2 of the error filter, averaged over a band: (1 - (c0 + c3) z^-1 - c1 z^-2) / (1 - c3
// z^-1).
double PredictedBand(const FF_DitherAndOrNoiseShape& iQ, double iRate, double iLo, double iHi)
{
    const double c0 = iQ.GetCoefficient(0), c1 = iQ.GetCoefficient(1), c3 = iQ.GetCoefficient(3);
    double sum = 0.0;
    int n = 0;
    for (double f = iLo; f < iHi; f += 10.0, ++n)
    {
        const std::complex<double> z1 = std::polar(1.0, -2 * std::numbers::pi * f / iRate);
        sum += std::norm((1.0 - (c0 + c3) * z1 - c1 * z1 * z1) / (1.0 - c3 * z1));
    }
    return sum / n;
}

} // namespace

TEST(FF_DitherAndOrNoiseShape, RatesFallIntoThreeClasses)
{
    const std::pair<int32_t, int32_t> classes[] = {
        {8000, 48000},    {44100, 48000},   {48000, 48000},   {51000, 48000},
        {51001, 96000},   {88200, 96000},   {96000, 96000},   {102000, 96000},
        {102001, 192000}, {176400, 192000}, {192000, 192000}, {204000, 192000}};
    for (auto [rate, rateClass] : classes)
        EXPECT_EQ(FF_DitherAndOrNoiseShape::GetRateClass(rate), rateClass) << rate;

    const std::pair<int32_t, float> c0[] = {{44100, 1.726f}, {96000, 1.831f}, {192000, 1.976f}};
    for (auto [rate, coef] : c0)
    {
        FF_DitherAndOrNoiseShape q(24, 16, rate);
        EXPECT_EQ(q.GetCoefficient(0), coef);
        EXPECT_EQ(q.GetCoefficient(2), 0.0f);
    }
    FF_DitherAndOrNoiseShape q(24, 16, 48000);
    EXPECT_EQ(q.GetCoefficient(1), -0.7678f);
    EXPECT_EQ(q.GetCoefficient(3), -0.2709f);
    try
    {
        q.SetSampleRate(204001);
        ADD_FAILURE() << "no exception";
    }
    catch (const std::runtime_error& e)
    {
        EXPECT_STREQ(e.what(), "unrecognized sample rate");
    }
    EXPECT_EQ(q.GetCoefficient(0), 1.726f);
    EXPECT_THROW(FF_DitherAndOrNoiseShape(16, 8, 384000), std::runtime_error);
}

TEST(FF_DitherAndOrNoiseShape, DestinationBitsSetStepAndRange)
{
    FF_DitherAndOrNoiseShape to8(24, 8, 48000), to16(24, 16, 48000), same(24, 24, 48000);
    EXPECT_EQ(to8.GetStep(), 65536.0f);
    EXPECT_EQ(to8.GetMin(), -128);
    EXPECT_EQ(to16.GetStep(), 256.0f);
    EXPECT_EQ(to16.GetMax(), 32767);
    EXPECT_EQ(same.GetStep(), 1.0f);
    EXPECT_EQ(same.GetMin(), -8388608);
    EXPECT_TRUE(Test_Asserts([] { FF_DitherAndOrNoiseShape(24, 12, 48000); }, "0"));
    // Out of range values are limited after the rounding.
    EXPECT_EQ(to16.Process(9.0e6f, false), 32767);
}

TEST(FF_DitherAndOrNoiseShape, ConstantInputSettlesAroundItsValue)
{
    for (bool dither : {false, true})
        for (float value : {1000.3f, -77777.7f, 128.0f})
        {
            FF_DitherAndOrNoiseShape q(24, 16, 48000);
            double sum = 0.0, maxFeedback = 0.0;
            for (int i = 0; i < 200000; ++i)
            {
                const int32_t out = q.Process(value, dither);
                if (i >= 100000)
                {
                    sum += out;
                    maxFeedback = std::max(maxFeedback, std::fabs(q.GetFeedback()));
                }
            }
            EXPECT_NEAR(sum / 100000 * 256.0, value, 0.05 * 256.0) << value;
            // The error is within a step (two with dither), so the filter's state is too.
            EXPECT_LT(maxFeedback, 256.0 * (dither ? 4.0 : 2.0)) << value;
        }
}

// 24 to 16 bits with dither: the requantizing error's spectrum follows the shaping filter.
TEST(FF_DitherAndOrNoiseShape, ShapedNoiseRisesWithFrequencyAndUndercutsTruncationBelow4kHz)
{
    constexpr size_t n = 16384;
    constexpr double rate = 48000.0;
    std::mt19937 random(3);
    std::uniform_real_distribution<double> noise(-300.0, 300.0);
    std::vector<int32_t> in(n);
    for (size_t k = 0; k < n; ++k)
        in[k] = int32_t(std::lrint(200000.0 * std::sin(2 * std::numbers::pi * 997.0 * k / rate) +
                                   noise(random)));

    FF_DitherAndOrNoiseShape q(24, 16, 48000);
    std::vector<double> shaped(n), truncated(n);
    for (size_t k = 0; k < n; ++k)
    {
        shaped[k] = double(q.Process(float(in[k]), true)) * 256.0 - in[k];
        truncated[k] = double(in[k] >> 8) * 256.0 - in[k];
    }
    const std::vector<double> ps = PowerSpectrum(shaped), pt = PowerSpectrum(truncated);
    const double lowShaped = BandPower(ps, rate, 20, 4000),
                 lowTrunc = BandPower(pt, rate, 20, 4000);
    const double highShaped = BandPower(ps, rate, 16000, 20000);
    EXPECT_LT(lowShaped, lowTrunc * 0.5);
    EXPECT_GT(highShaped / 4.0, lowShaped * 10.0);
    // The measured slope between the bands is the filter's within 2 dB.
    const double measured = 10 * std::log10((highShaped / 4000.0) / (lowShaped / 3980.0));
    const double predicted =
        10 * std::log10(PredictedBand(q, rate, 16000, 20000) / PredictedBand(q, rate, 20, 4000));
    EXPECT_NEAR(measured, predicted, 2.0);
}
