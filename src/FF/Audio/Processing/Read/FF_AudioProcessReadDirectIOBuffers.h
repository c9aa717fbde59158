// The producer fed by a real-time engine through plain buffers given by address.
//
// Interface with the engine (which owns the buffers, the sizes and the data-ready event):
//  - one buffer per channel; before each signal the engine writes into iSizes[c] how many
//    bytes of channel c's buffer are valid (all channels alike), then sets the data-ready
//    event;
//  - from the signal on the buffers belong to this stage until it sets its buffers-consumed
//    event (auto reset, GetBuffersConsumedEvent), after it has copied every valid byte; only
//    then may the engine write the buffers again.
// The stage hands the samples on in blocks of cSamplesPerBlock (4096) samples at most, and
// ends once the total has been delivered (never when the total is -1).
//
// Steps, as for the ring producer: Idle: wait for data (or abort) -> AwaitingData: yield ->
// HoldingData: wait for a pool block (or abort) -> AwaitingBlock: copy one block and deliver;
// then HoldingData again while the buffers hold more, else Idle (after setting the
// buffers-consumed event).
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"
#include "Sys_Event.h"

class FF_AudioProcessReadDirectIOBuffers : public FF_AudioProcess
{
public:
    static constexpr int32_t cSamplesPerBlock = 4096;

    // iBuffers and iSizes hold iNumChannels entries; neither they nor the buffers are owned,
    // and iSizes is read at each data-ready signal. iTotalNumSamples -1: unknown.
    FF_AudioProcessReadDirectIOBuffers(EByteOrder iByteOrder, char* const* iBuffers,
                                       const int32_t* iSizes, int16_t iNumChannels,
                                       int32_t iSampleRate, int16_t iBitsPerSample,
                                       const Sys_Event::EventHandle& iDataReadyEvent,
                                       int64_t iTotalNumSamples);

    EProcessType GetProcessType() const override { return eProcessType_Producer; }
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    int64_t GetUnitsProcessed() const override { return mSamplesDelivered.load(); }
    const Sys_Event::EventHandle& GetBuffersConsumedEvent() const { return mConsumedEvent; }

protected:
    EResult ExecImpl() override;
    // A producer has no input: asserts "0".
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

private:
    const EByteOrder mByteOrder;
    std::vector<char*> mBuffers;
    const int32_t* const mSizes;
    const int16_t mNumChannels;
    const int32_t mSampleRate;
    const int16_t mBitsPerSample;
    const int32_t mBytesPerSample;
    Sys_Event::EventHandle mDataReadyEvent;
    Sys_Event::EventHandle mConsumedEvent;
    const int64_t mTotalNumSamples;
    EProducerState mState = eProducerState_Idle;
    int64_t mSamplesInBuffers = 0; // valid samples of the current fill
    int64_t mReadPosition = 0;     // samples of the current fill already delivered
    std::atomic<int64_t> mSamplesDelivered{0};
};
