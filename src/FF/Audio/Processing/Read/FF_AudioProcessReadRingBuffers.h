// The producer fed by a real-time engine through rings of filled buffers.
//
// Interface with the engine (which owns every ring, buffer and the semaphore):
//  - per channel, a ring of filled buffers and a ring of empty ones (Sys_RingBuffer<char*>);
//  - one ring of sample counts (Sys_RingBuffer<int32_t>): entry k is the samples in the k-th
//    filled buffer of every channel;
//  - the data semaphore, released once by the engine for each set of filled buffers (one per
//    channel) it has pushed, after pushing them and their count.
// The buffers always hold 24-bit samples (3 bytes each); each filled buffer holds at most the
// samples per block given. The stage copies a set into a pool block, pushes each buffer back
// on its channel's empty ring and hands the block on.
//
// Steps, a cycle of the four EProducerState states: Idle: wait for the data semaphore (or the
// abort event) -> AwaitingData: yield -> HoldingData: wait for a pool block (or the abort
// event) -> AwaitingBlock: copy and deliver, then Idle again,
// or eResult_Done once the total has been delivered (never when the total is -1).
#pragma once

#include <cstdint>
#include <vector>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"
#include "Sys_RingBuffer.h"
#include "Sys_Semaphore.h"

class FF_AudioProcessReadRingBuffers : public FF_AudioProcess
{
public:
    using BufferRing = Sys_RingBuffer<char*>;
    using CountRing = Sys_RingBuffer<int32_t>;

    // The arrays hold iNumChannels rings each; none is owned. iTotalNumSamples -1: unknown.
    FF_AudioProcessReadRingBuffers(EByteOrder iByteOrder, BufferRing* const* iFilledRingBuffers,
                                   BufferRing* const* iEmptyRingBuffers, CountRing* iSampleCounts,
                                   int32_t iSampleRate, int16_t iBitsPerSample,
                                   int16_t iNumChannels,
                                   const Sys_Semaphore::SemaphoreHandle& iDataSemaphore,
                                   int32_t iSamplesPerBlock, int64_t iTotalNumSamples);

    EProcessType GetProcessType() const override { return eProcessType_Producer; }
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    int64_t GetUnitsProcessed() const override { return mSamplesDelivered.load(); }

protected:
    EResult ExecImpl() override;
    // A producer has no input: asserts "0".
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

private:
    EResult BlockOnData();

    const EByteOrder mByteOrder;
    std::vector<BufferRing*> mFilledRingBuffers;
    std::vector<BufferRing*> mEmptyRingBuffers;
    CountRing* const mSampleCounts;
    const int32_t mSampleRate;
    const int16_t mBitsPerSample;
    const int16_t mNumChannels;
    Sys_Semaphore::SemaphoreHandle mDataSemaphore;
    const int32_t mSamplesPerBlock;
    const int64_t mTotalNumSamples;
    EProducerState mState = eProducerState_Idle;
    std::atomic<int64_t> mSamplesDelivered{0};
};
