// The consumer that writes a mono stream into memory, block after block, at a running
// position. The buffer is the caller's; it must hold bytes per sample times the stream's
// total samples (or iBufferBytes, when given: more than that throws std::length_error).
// Done when the total has been written. Samples are stored as the blocks hold them.
#pragma once

#include <atomic>
#include <cstdint>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"

class FF_AudioProcessWriteBuffer : public FF_AudioProcess
{
public:
    // iBuffer is not owned; iBufferBytes < 0: the caller vouches for the size.
    explicit FF_AudioProcessWriteBuffer(char* iBuffer, int64_t iBufferBytes = -1);

    EProcessType GetProcessType() const override { return eProcessType_Consumer; }
    // Asserts "inOutBlock->GetNumChannels() == 1".
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    // Bytes written so far.
    int64_t GetBytesWritten() const { return mBytesWritten.load(); }

protected:
    EResult ExecImpl() override;
    // Never called: asserts "0".
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

private:
    char* const mBuffer;
    const int64_t mBufferBytes;
    std::atomic<int64_t> mBytesWritten{0};
    int64_t mSamplesWritten = 0;
};
