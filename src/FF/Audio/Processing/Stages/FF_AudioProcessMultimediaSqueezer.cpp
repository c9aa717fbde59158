#include "FF/Audio/Processing/Stages/FF_AudioProcessMultimediaSqueezer.h"

#include <algorithm>
#include <cmath>

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/Chain/FF_AudioSampleAccess.h"

using SA = FF_AudioSampleAccess;

FF_AudioProcessMultimediaSqueezer::FF_AudioProcessMultimediaSqueezer()
    : mSlope(2.0), mSlopeFactor(1.0 - 1.0 / mSlope), mKneeDB(16.0), mThresholdDB(-38.5),
      mMakeUpFactor(std::pow(10.0, 15.0 * 0.05)), mGateOpenLevel(std::pow(10.0, -38.0 * 0.05)),
      mGateCloseLevel(std::pow(10.0, -42.0 * 0.05)), mAttackTime(0.0005), mReleaseTime(0.005),
      mCeilingFactor(std::pow(10.0, -6.0 * 0.05))
{
}

FF_AudioProcessMultimediaSqueezer::~FF_AudioProcessMultimediaSqueezer() = default;

void FF_AudioProcessMultimediaSqueezer::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT_TEXT(inOutBlock->GetByteOrder() == eByteOrder_Native,
                    "inOutBlock->GetBufferByteOrder() == eByteOrder_Native");
    CMN_ASSERT_TEXT(inOutBlock->GetTotalNumSamples() != -1, "inOutBlock->mTotalNumSamples != -1");
    const int32_t bits = inOutBlock->GetBitsPerSample();
    CMN_ASSERT_TEXT(bits == 16 || bits == 24, "bits == 16 || bits == 24");
    CMN_ASSERT(inOutBlock->GetSampleRate() > 0);

    mSampleRate = inOutBlock->GetSampleRate();
    mNumChannels = inOutBlock->GetNumChannels();
    mTotalNumSamples = inOutBlock->GetTotalNumSamples();
    const double rate = double(mSampleRate);
    mAttackCoef = std::exp(-1.0 / (rate * mAttackTime));
    mReleaseCoef = std::exp(-1.0 / (rate * mReleaseTime));
    mGateStep = 1.0 / (rate * mReleaseTime);
    mDelaySamples = std::max<int32_t>(1, int32_t(std::lround(rate * mReleaseTime)));
    mScaleIn = bits == 16 ? 1.0 / 32768.0 : 1.0 / 8388608.0;
    mScaleOut = bits == 16 ? 32767.0 : 8388607.0;
    mMax = bits == 16 ? 32767 : 8388607;

    inOutBlock->SetNumSamples(inOutBlock->GetNumSamples() + mDelaySamples);
}

void FF_AudioProcessMultimediaSqueezer::AllocateImpl(const FF_AudioProcessBlock& iPrototype)
{
    mRingSize = mDelaySamples + 1;
    const size_t channels = size_t(std::max<int16_t>(mNumChannels, 0));
    mFrame.assign(channels, 0.0);
    mDelay.assign(channels, std::vector<double>(size_t(mRingSize), 0.0));
    mPeaks.assign(channels, std::vector<double>(size_t(mRingSize), 0.0));
    mWaveStart.assign(channels, 0);
    mWavePeak.assign(channels, 0.0);
    mWaveNegative.assign(channels, false);
    mSamplesIn = 0;
    mDataIn = 0;
    mSamplesOut = 0;
    mEnvelope = 0.0;
    mGate = 0.0;
    mGateTarget = 0.0;
}

void FF_AudioProcessMultimediaSqueezer::Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out)
{
    const int32_t bits = in->GetBitsPerSample();
    CMN_ASSERT_TEXT(bits == 16 || bits == 24, "bits == 16 || bits == 24");
    CMN_ASSERT_TEXT(in->GetNumChannels() == mNumChannels && !mFrame.empty(),
                    "inBlock->GetNumChannels() == mNumChannels");
    const int32_t bytes = in->GetBytesPerSample();
    const int64_t count = in->GetNumSamples();
    const bool last = mDataIn + count >= mTotalNumSamples;
    const int64_t capacity = int64_t(out->GetBufferBytes() / size_t(bytes));

    int64_t produced = 0;
    for (int64_t k = 0; k < count; ++k)
    {
        for (int16_t c = 0; c < mNumChannels; ++c)
            mFrame[size_t(c)] = double(SA::Read(in->GetBuffer(size_t(c)), bytes, k)) * mScaleIn;
        StepFrame(out, bytes, capacity, produced);
    }
    mDataIn += count;
    if (last)
    {
        std::fill(mFrame.begin(), mFrame.end(), 0.0);
        while (mSamplesOut < mDataIn)
            StepFrame(out, bytes, capacity, produced);
    }
    out->SetNumSamples(produced);
}

void FF_AudioProcessMultimediaSqueezer::StepFrame(FF_AudioProcessBlock* out, int32_t iBytes,
                                                  int64_t iCapacity, int64_t& ioProduced)
{
    const int64_t t = mSamplesIn;
    const size_t slot = size_t(t % mRingSize);

    // Pass 1: level, compressor and gated make-up.
    double peak = 0.0;
    for (double x : mFrame)
        peak = std::max(peak, std::fabs(x));
    const double coef = peak > mEnvelope ? mAttackCoef : mReleaseCoef;
    mEnvelope = peak + (mEnvelope - peak) * coef;
    if (mEnvelope >= mGateOpenLevel)
        mGateTarget = 1.0;
    else if (mEnvelope < mGateCloseLevel)
        mGateTarget = 0.0;
    if (mGate < mGateTarget)
        mGate = std::min(mGateTarget, mGate + mGateStep);
    else if (mGate > mGateTarget)
        mGate = std::max(mGateTarget, mGate - mGateStep);

    const double levelDB = 20.0 * std::log10(std::max(mEnvelope, 1.0e-12));
    const double over = levelDB - mThresholdDB;
    double reductionDB = 0.0;
    if (over >= mKneeDB / 2.0)
        reductionDB = mSlopeFactor * over;
    else if (over > -mKneeDB / 2.0)
        reductionDB =
            mSlopeFactor * (over + mKneeDB / 2.0) * (over + mKneeDB / 2.0) / (2.0 * mKneeDB);
    const double gain = (1.0 + (mMakeUpFactor - 1.0) * mGate) * std::pow(10.0, -reductionDB * 0.05);

    // Pass 2: half-waves, delay line, limiter.
    const bool emit = t >= mDelaySamples;
    CMN_ASSERT_TEXT(!emit || ioProduced < iCapacity, "samples out within the output block");
    for (int16_t c = 0; c < mNumChannels; ++c)
    {
        const size_t ci = size_t(c);
        const double x = mFrame[ci];
        std::vector<double>& peaks = mPeaks[ci];
        const bool negative = x < 0.0;
        if (t > 0 && (negative != mWaveNegative[ci] || t - mWaveStart[ci] >= mDelaySamples))
        {
            for (int64_t j = mWaveStart[ci]; j < t; ++j)
                peaks[size_t(j % mRingSize)] = mWavePeak[ci];
            mWaveStart[ci] = t;
            mWavePeak[ci] = 0.0;
        }
        if (t == 0)
            mWaveStart[ci] = 0;
        mWaveNegative[ci] = negative;
        mWavePeak[ci] = std::max(mWavePeak[ci], std::fabs(x));
        mDelay[ci][slot] = x;

        if (emit)
        {
            // Pass 3: the delayed sample out.
            const size_t outSlot = size_t((t - mDelaySamples) % mRingSize);
            const double wavePeak = peaks[outSlot];
            double g = gain;
            if (wavePeak * g > mCeilingFactor)
                g = mCeilingFactor / wavePeak;
            const double y = mDelay[ci][outSlot] * g * mScaleOut;
            const int64_t v = std::clamp<int64_t>(std::llrint(y), -int64_t(mMax) - 1, mMax);
            SA::Write(out->GetBuffer(ci), iBytes, ioProduced, int32_t(v));
        }
    }
    ++mSamplesIn;
    if (emit)
    {
        ++ioProduced;
        ++mSamplesOut;
    }
}
