// The producer that plays samples from memory: one channel, or two (stereo) either
// interleaved or one after the other.
//
// Contract.
//  - The buffer is the caller's: it is neither owned nor changed, and must stay valid and
//    unchanged until the chain has ended.
//  - Layout. Mono: iNumSamples samples one after another. Stereo interleaved: iNumSamples
//    frames, left then right. Stereo not interleaved: the left channel's iNumSamples samples
//    at iBufferP, the right channel's at iBufferP + iRightChannelOffset bytes (0: right
//    after the left, at iNumSamples * bytes per sample). Samples are packed in bytes per
//    sample = ceiling of bits / 8.
//  - Byte order. iBigEndian: the samples are stored big-endian, and the blocks say so
//    (eByteOrder_Big: a byte swapper further down converts); otherwise eByteOrder_Native.
//  - Blocks: 1 or 2 channels, the given rate and bits, samples per block = 32768 / bytes per
//    sample, total = iNumSamples. A buffer of 0 samples is handed on as one empty block.
//  - No allocation while streaming; steps on the Producer worker. GetUnitsProcessed
//    (samples handed on) from any thread.
//
// Asserts "inSamplesToRead >= 0" and bits in 1..32; the step asserts
// "processBlockPool = this->GetProcessBlockPool()".
#pragma once

#include <atomic>
#include <cstdint>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"

class FF_AudioProcessReadBuffer : public FF_AudioProcess
{
public:
    static constexpr int32_t cBlockBytes = 32768;

    FF_AudioProcessReadBuffer(const char* iBufferP, int64_t iNumSamples, int32_t iSampleRate,
                              int16_t iBitsPerSample, bool iStereo, bool iInterleaved = true,
                              uint64_t iRightChannelOffset = 0, bool iBigEndian = false);

    EProcessType GetProcessType() const override { return eProcessType_Producer; }
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    int64_t GetUnitsProcessed() const override { return mSamplesDelivered.load(); }

protected:
    EResult ExecImpl() override;
    // Fills `out` (described by the step) with its samples from memory, from the current
    // position: copied for mono and for stereo one after the other, split for stereo
    // interleaved. `in` is not used (null).
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

private:
    const char* const mBufferP;
    const int64_t mNumSamples;
    const int32_t mSampleRate;
    const int16_t mBitsPerSample;
    const int32_t mBytesPerSample;
    const int16_t mNumChannels;
    const bool mInterleaved;
    const uint64_t mRightChannelOffset;
    const EByteOrder mByteOrder;
    EProducerState mState = eProducerState_Idle;
    int64_t mPosition = 0; // samples handed on, step's own
    std::atomic<int64_t> mSamplesDelivered{0};
};
