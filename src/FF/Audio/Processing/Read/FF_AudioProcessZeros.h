// The producer of silence: one channel of zero samples.
//
// Contract. Blocks: 1 channel, the given rate and bits, native byte order, cSamplesPerBlock
// (245760) samples per block, the last one short; total = iNumSamples. Every block handed on
// is zero over its samples (pool blocks are cleared, since other stages write into them).
// 0 samples: one empty block. No allocation while streaming; steps on the Producer worker.
// GetUnitsProcessed (samples handed on) from any thread. Asserts iNumSamples >= 0 and bits
// in 1..32.
#pragma once

#include <atomic>
#include <cstdint>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"

class FF_AudioProcessZeros : public FF_AudioProcess
{
public:
    static constexpr int32_t cSamplesPerBlock = 0x3C000;

    FF_AudioProcessZeros(int64_t iNumSamples, int32_t iSampleRate, int16_t iBitsPerSample);

    EProcessType GetProcessType() const override { return eProcessType_Producer; }
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    int64_t GetUnitsProcessed() const override { return mSamplesDelivered.load(); }

protected:
    EResult ExecImpl() override;
    // A producer has no input: asserts "0".
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

private:
    const int64_t mNumSamples;
    const int32_t mSampleRate;
    const int16_t mBitsPerSample;
    EProducerState mState = eProducerState_Idle;
    int64_t mPosition = 0;
    std::atomic<int64_t> mSamplesDelivered{0};
};
