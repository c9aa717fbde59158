// Mixes all channels of a stream down to one: a filter stage. The mono sample is the integer
// sum of the channels times sqrt(1 / channels) (an equal-power sum), truncated and clipped as
// the gain stage clips; no dither.
#pragma once

#include <cstdint>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"

class FF_AudioProcessMixer : public FF_AudioProcess
{
public:
    // Asserts "iDstNumChannels == 1".
    FF_AudioProcessMixer(int16_t iSrcNumChannels, int16_t iDstNumChannels);
    ~FF_AudioProcessMixer() override;

    // Asserts "inOutBlock->GetBufferByteOrder() == eByteOrder_Native" and
    // "mSrcNumChannels == inOutBlock->GetNumChannels()"; writes one channel.
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    // 8, 16 and 24 bits; others assert "0". Out has one channel.
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

    double GetFactor() const { return mFactor; }

private:
    // Channels up to which 24-bit sums fit 32 bits: the vector path mixes those.
    static constexpr int16_t cMaxVectorChannels = 128;

    template <int32_t Bytes>
    void MixFrames(const FF_AudioProcessBlock* in, char* dst, int64_t iCount, int16_t iChannels,
                   int32_t iMax) const;

    int16_t mSrcNumChannels;
    int16_t mDstNumChannels;
    double mFactor;
};
