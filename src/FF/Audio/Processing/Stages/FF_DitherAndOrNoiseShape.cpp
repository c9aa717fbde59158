#include "FF/Audio/Processing/Stages/FF_DitherAndOrNoiseShape.h"

#include <cmath>
#include <stdexcept>

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/Stages/FF_AudioRandom.h"

std::atomic<int32_t> FF_DitherAndOrNoiseShape::sRandomState{FF_AudioRandom::cSeed};

namespace
{

struct RateClassCoefficients
{
    int32_t mRateClass;
    float mC[4];
};

// c2 is unused: the error filter has one pole (c3) and one zero (c0, c1).
constexpr RateClassCoefficients cCoefficients[] = {
    {48000, {1.726f, -0.7678f, 0.0f, -0.2709f}},
    {96000, {1.831f, -0.6383f, 0.0f, -0.3249f}},
    {192000, {1.976f, -0.6614f, 0.0f, -0.4019f}},
};

} // namespace

FF_DitherAndOrNoiseShape::FF_DitherAndOrNoiseShape(int32_t iSourceBits, int32_t iDestBits,
                                                   int32_t iSampleRate)
    : mStep(std::ldexp(1.0f, iSourceBits - iDestBits)), mInvStep(1.0f / mStep),
      mSourceBits(iSourceBits), mDestBits(iDestBits)
{
    switch (iDestBits)
    {
    case 8:
        mMax = 127;
        mMin = -128;
        break;
    case 16:
        mMax = 32767;
        mMin = -32768;
        break;
    case 24:
        mMax = 8388607;
        mMin = -8388608;
        break;
    default:
        CMN_ASSERT_TEXT(false, "0");
    }
    SetSampleRate(iSampleRate);
}

int32_t FF_DitherAndOrNoiseShape::GetRateClass(int32_t iSampleRate)
{
    if (iSampleRate <= 51000)
        return 48000;
    if (iSampleRate <= 102000)
        return 96000;
    if (iSampleRate <= 204000)
        return 192000;
    throw std::runtime_error("unrecognized sample rate");
}

void FF_DitherAndOrNoiseShape::SetSampleRate(int32_t iSampleRate)
{
    const int32_t rateClass = GetRateClass(iSampleRate);
    for (const RateClassCoefficients& entry : cCoefficients)
        if (entry.mRateClass == rateClass)
            for (int32_t i = 0; i < 4; ++i)
                mCoefficients[i] = entry.mC[i];
    mSampleRate = iSampleRate;
}

int32_t FF_DitherAndOrNoiseShape::Process(float iSample, bool iDither)
{
    const double c0 = mCoefficients[0];
    const double c1 = mCoefficients[1];
    const double c3 = mCoefficients[3];

    const double prev = mFeedback;
    mFeedback = mError + c3 * prev;
    const double shaped = double(iSample) - (c0 * mFeedback + c1 * prev);

    double value = shaped;
    if (iDither)
    {
        FF_AudioRandom::Next(sRandomState);
        const int32_t r = FF_AudioRandom::Centered(FF_AudioRandom::Next(sRandomState));
        value = shaped + 2.0 * (double(r) * double(mStep) * (1.0 / 4294967296.0));
    }
    const double q = std::floor(value * double(mInvStep) + 0.5);
    mError = double(mStep) * q - shaped;
    if (q >= double(mMax))
        return mMax;
    if (q <= double(mMin))
        return mMin;
    return int32_t(q);
}
