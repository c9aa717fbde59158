#include "FF/Audio/Processing/Write/FF_AudioProcessWriteBuffer.h"

#include <cstring>
#include <stdexcept>

#include "Cmn_Assert.h"

FF_AudioProcessWriteBuffer::FF_AudioProcessWriteBuffer(char* iBuffer, int64_t iBufferBytes)
    : mBuffer(iBuffer), mBufferBytes(iBufferBytes)
{
    CMN_ASSERT(iBuffer);
}

void FF_AudioProcessWriteBuffer::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT_TEXT(inOutBlock->GetNumChannels() == 1, "inOutBlock->GetNumChannels() == 1");
    SetUnitsToProcess(inOutBlock->GetTotalNumSamples());
}

Sys_Task::EResult FF_AudioProcessWriteBuffer::ExecImpl()
{
    FF_AudioProcess::BlockPool* processBlockPool = nullptr;
    CMN_ASSERT_TEXT(processBlockPool = this->GetProcessBlockPool(),
                    "processBlockPool = this->GetProcessBlockPool()");
    std::unique_ptr<FF_AudioProcessBlock> block(GetInputQueue().Pop());
    const int64_t bytes = block->GetNumBytesPerChannel();
    const int64_t position = mBytesWritten.load();
    if (mBufferBytes >= 0 && position + bytes > mBufferBytes)
        throw std::length_error("FF_AudioProcessWriteBuffer: the stream does not fit the buffer");
    std::memcpy(mBuffer + position, block->GetBuffer(0), size_t(bytes));
    mBytesWritten.store(position + bytes);
    mSamplesWritten += block->GetNumSamples();
    AddUnitsProcessed(block->GetNumSamples());
    const int64_t total = block->GetTotalNumSamples();
    processBlockPool->Return(block.release());
    return total >= 0 && mSamplesWritten >= total ? eResult_Done : eResult_Yield;
}

void FF_AudioProcessWriteBuffer::Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*)
{
    CMN_ASSERT_TEXT(false, "0");
}
