// Changes the level of a stream by a fixed gain, or finds its peak: a filter stage, or the
// consumer when it is the last stage of its chain.
//
// Applying (constructed with a gain in dB): each sample times 10^(gain / 20), truncated to an
// integer; 16-bit and 24-bit samples then get one step of random dither through a
// noise-shaping quantiser of equal source and destination bits; then the clip: a value at
// or above the positive maximum becomes the maximum, one below the negated maximum (-127,
// -32767, -8388607) becomes the format's lowest value (-128, -32768, -8388608).
//
// Analysing (default constructor): keeps the largest absolute sample value seen; it writes
// nothing of its own (as a filter it hands its input on unchanged).
#pragma once

#include <cstdint>
#include <memory>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"
#include "FF/Audio/Processing/Stages/FF_DitherAndOrNoiseShape.h"

class FF_AudioProcessGain : public FF_AudioProcess
{
public:
    // The analysing form.
    FF_AudioProcessGain();
    // The applying form, with the gain in decibels.
    explicit FF_AudioProcessGain(double iGainDB);
    ~FF_AudioProcessGain() override;

    // Consumer when there is no next stage, filter otherwise.
    EProcessType GetProcessType() const override;
    // Asserts "inOutBlock->GetBufferByteOrder() == eByteOrder_Native" and, unless analysing,
    // "this->GetNextProcess()"; keeps the total; makes the quantiser for the block's bits and
    // rate (which asserts "0" for bits other than 8, 16 and 24).
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    // 8, 16 and 24 bits; others assert "0".
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

    bool IsAnalysing() const { return mAnalyse; }
    double GetGainFactor() const { return mGainFactor; }
    // The largest absolute sample value seen by the analysing form (0 before any block).
    int32_t GetMaxAbsSample() const { return mMaxAbsSample; }
    int64_t GetTotalNumSamples() const { return mTotalNumSamples; }

    // The clip of the applying form for a format whose largest value is iMax.
    static int32_t Clip(int64_t iValue, int32_t iMax)
    {
        if (iValue >= iMax)
            return iMax;
        if (iValue < -int64_t(iMax))
            return -iMax - 1;
        return int32_t(iValue);
    }

private:
    bool mAnalyse;
    double mGainFactor = 1.0;
    int32_t mMaxAbsSample = 0;
    int64_t mTotalNumSamples = -1;
    std::unique_ptr<FF_DitherAndOrNoiseShape> mNoiseShaper;
};
