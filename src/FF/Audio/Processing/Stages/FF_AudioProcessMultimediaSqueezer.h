// A look-ahead dynamics stage that makes program material dense and even for playback on
// small speakers: a filter stage for 16-bit and 24-bit audio.
//
// Samples are doubles in [-1, 1) inside (in: divided by 32768 or 8388608; out: times 32767
// or 8388607, rounded and clamped). Three passes run per sample frame, over all channels, in
// this order:
//  1. Level: the frame's peak over the channels drives an envelope (attack 0.0005 s, release
//     0.005 s, as exp(-1 / (rate * time))). Its level in dB goes through a compressor of slope
//     2.0 (a reduction of 1 - 1/2.0 per dB over the threshold of -38.5 dB, soft knee of 16.0
//     dB) and a make-up gain of 15.0 dB. The make-up is gated: a gate opens above -38 dB and
//     closes below -42 dB, moving by 1 / (rate * 0.005) per sample, so that noise in pauses
//     is not lifted.
//  2. Look-ahead limiter: every channel keeps a ring with, for each sample still in the delay
//     line, the largest magnitude of the half-wave it belongs to; a half-wave closes at a sign
//     change or after mDelaySamples samples, so a sample's half-wave is known when the sample
//     leaves the delay. The delayed sample is multiplied by the compressor's gain, lowered
//     where needed so that its half-wave peaks at the ceiling of -6.0 dB: the gain changes
//     only from one half-wave to the next, without distorting a wave's shape.
//  3. Out: the delayed, scaled sample is rounded and clamped to the format.
//
// Delay and length. mDelaySamples = rate * 0.005 rounded (at least 1). The first
// mDelaySamples frames fill the delay; the block that reaches the stream's total flushes it
// with silence, so the output keeps the input's length and alignment: sample k out belongs to
// sample k in. An output block holds up to mDelaySamples more than an input block (Preflight
// adds it). The stream's total must be known.
#pragma once

#include <cstdint>
#include <vector>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"

class FF_AudioProcessMultimediaSqueezer : public FF_AudioProcess
{
public:
    FF_AudioProcessMultimediaSqueezer();
    ~FF_AudioProcessMultimediaSqueezer() override;

    // Asserts "inOutBlock->GetBufferByteOrder() == eByteOrder_Native",
    // "inOutBlock->mTotalNumSamples != -1" and 16 or 24 bits; sets the rate's time constants
    // and the delay; adds the delay to the samples per block.
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

    int32_t GetDelaySamples() const { return mDelaySamples; }

protected:
    void AllocateImpl(const FF_AudioProcessBlock& iPrototype) override;

private:
    // Takes one frame (mFrame, scaled), and when the delay is full writes one frame out at
    // ioProduced (then counts it).
    void StepFrame(FF_AudioProcessBlock* out, int32_t iBytes, int64_t iCapacity,
                   int64_t& ioProduced);

    // Constants of the constructor.
    double mSlope;
    double mSlopeFactor;
    double mKneeDB;
    double mThresholdDB;
    double mMakeUpFactor;
    double mGateOpenLevel;
    double mGateCloseLevel;
    double mAttackTime;
    double mReleaseTime;
    double mCeilingFactor;

    // From Preflight.
    int32_t mSampleRate = 0;
    int16_t mNumChannels = 0;
    int64_t mTotalNumSamples = -1;
    int32_t mDelaySamples = 0;
    double mAttackCoef = 0.0;
    double mReleaseCoef = 0.0;
    double mGateStep = 0.0;
    double mScaleIn = 0.0;
    double mScaleOut = 0.0;
    int32_t mMax = 0;

    // Stream state.
    int64_t mSamplesIn = 0;  // frames taken, data and flush
    int64_t mDataIn = 0;     // frames of the stream taken
    int64_t mSamplesOut = 0; // frames written
    double mEnvelope = 0.0;
    double mGate = 0.0;
    double mGateTarget = 0.0;
    int32_t mRingSize = 0;
    std::vector<double> mFrame;              // the frame being taken, per channel
    std::vector<std::vector<double>> mDelay; // per channel, mRingSize samples
    std::vector<std::vector<double>> mPeaks; // per channel, half-wave peak per sample
    std::vector<int64_t> mWaveStart;         // per channel, first sample of the open half-wave
    std::vector<double> mWavePeak;           // per channel, its peak so far
    std::vector<bool> mWaveNegative;         // per channel, its sign
};
