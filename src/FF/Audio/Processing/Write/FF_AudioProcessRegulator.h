// The consumer that hands a stream to a real-time engine through a ring of fixed buffers.
//
// Buffers. AllocateImpl makes cNumBuffers (24) buffers of mNumOutBuffers * mBufferBytes
// bytes; channel c of a buffer is the mBufferBytes at c * mBufferBytes. Two rings of buffer
// pointers, each of capacity 24, hold the empty and the filled ones. The stage fills empty
// buffers from its blocks (on the Consumer thread); FillBuffers (on the real-time side)
// takes filled ones and gives them back empty. Each buffer is in exactly one place: the
// empty ring, the filled ring, or being filled here.
//
// Steps (ExecImpl): copy the current block into fill buffers; a full buffer goes on the
// filled ring and the next empty one is taken. With no empty buffer left the step blocks on
// (abort event, buffer-freed event) and resumes where it stopped. Each used-up block goes back
// to the pool. When the stream's length (bytes per sample times total samples) is known and
// reached, the rest of the last buffer is zeroed, it counts as full, the primed event is set
// and the step returns eResult_Done. The primed event is also set whenever every buffer is
// filled (the ring is full): a stream of unknown length (-1) is primed only that way.
//
// FillBuffers takes only the short ring mutexes and sets an event: it never waits for a file.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"
#include "Sys_Event.h"
#include "Sys_RingBuffer.h"

class FF_AudioProcessRegulator : public FF_AudioProcess
{
public:
    static constexpr int32_t cNumBuffers = 24;

    // iNumOutBuffers: the channels; iBufferBytes: bytes per channel of one buffer (> 0).
    FF_AudioProcessRegulator(int16_t iNumOutBuffers, int32_t iBufferBytes);
    ~FF_AudioProcessRegulator() override;

    EProcessType GetProcessType() const override { return eProcessType_Consumer; }
    // Asserts "inOutBlock->GetNumChannels() == mNumOutBuffers"; notes the stream's length.
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;

    // Real-time side: copies the next filled buffer, channel by channel, into ioBuffers[c]
    // (mBufferBytes each) and returns true; with none filled, zeroes them and returns false.
    bool FillBuffers(char** ioBuffers);
    // Manual reset; set once the ring is full or the whole stream is in it.
    const Sys_Event::EventHandle& GetIsPrimedEvent() const { return mPrimedEvent; }
    int32_t GetBufferBytes() const { return mBufferBytes; }

protected:
    void AllocateImpl(const FF_AudioProcessBlock& iPrototype) override;
    EResult ExecImpl() override;
    // Never called: asserts "0".
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

private:
    // Marks the fill buffer full, moves it to the filled ring and takes the next empty one.
    void QueueFillBuffer();
    bool TakeEmptyBuffer();

    const int16_t mNumOutBuffers;
    const int32_t mBufferBytes;
    int64_t mStreamBytes = -1; // per channel; -1 when unknown
    int32_t mBytesPerSample = 0;
    std::vector<std::unique_ptr<char[]>> mBuffers;
    Sys_RingBuffer<char*> mEmptyRing{cNumBuffers};
    Sys_RingBuffer<char*> mFilledRing{cNumBuffers};
    Sys_Event::EventHandle mBufferFreedEvent;
    Sys_Event::EventHandle mPrimedEvent;
    // The block being copied, and where.
    std::unique_ptr<FF_AudioProcessBlock> mCurrentBlock;
    int64_t mBlockOffset = 0;
    int64_t mBlockBytesLeft = 0;
    char* mFillBuffer = nullptr;
    int32_t mFillOffset = 0;
    int64_t mBytesDone = 0; // per channel
};
