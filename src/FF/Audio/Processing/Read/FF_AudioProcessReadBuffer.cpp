#include "FF/Audio/Processing/Read/FF_AudioProcessReadBuffer.h"

#include <algorithm>
#include <cstring>

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadFiles.h"

FF_AudioProcessReadBuffer::FF_AudioProcessReadBuffer(const char* iBufferP, int64_t iNumSamples,
                                                     int32_t iSampleRate, int16_t iBitsPerSample,
                                                     bool iStereo, bool iInterleaved,
                                                     uint64_t iRightChannelOffset, bool iBigEndian)
    : mBufferP(iBufferP), mNumSamples(iNumSamples), mSampleRate(iSampleRate),
      mBitsPerSample(iBitsPerSample), mBytesPerSample((iBitsPerSample + 7) / 8),
      mNumChannels(iStereo ? 2 : 1), mInterleaved(iInterleaved),
      mRightChannelOffset(iRightChannelOffset != 0
                              ? iRightChannelOffset
                              : uint64_t(std::max<int64_t>(iNumSamples, 0)) * mBytesPerSample),
      mByteOrder(iBigEndian ? eByteOrder_Big : eByteOrder_Native)
{
    const int64_t inSamplesToRead = iNumSamples;
    CMN_ASSERT_TEXT(inSamplesToRead >= 0, "inSamplesToRead >= 0");
    CMN_ASSERT(iBitsPerSample > 0 && iBitsPerSample <= 32);
    CMN_ASSERT(iBufferP || iNumSamples == 0);
}

void FF_AudioProcessReadBuffer::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT(inOutBlock);
    inOutBlock->SetNumChannels(mNumChannels);
    inOutBlock->SetSampleRate(mSampleRate);
    inOutBlock->SetBitsPerSample(mBitsPerSample);
    inOutBlock->SetNumSamples(cBlockBytes / mBytesPerSample);
    inOutBlock->SetTotalNumSamples(mNumSamples);
    inOutBlock->SetByteOrder(mByteOrder);
}

Sys_Task::EResult FF_AudioProcessReadBuffer::ExecImpl()
{
    if (IsAbortPending())
        return eResult_Aborted;
    FF_AudioProcess::BlockPool* processBlockPool = nullptr;
    CMN_ASSERT_TEXT(processBlockPool = this->GetProcessBlockPool(),
                    "processBlockPool = this->GetProcessBlockPool()");
    if (mState == eProducerState_Idle)
    {
        mState = eProducerState_AwaitingBlock;
        return BlockForPoolBlock();
    }
    mState = eProducerState_Idle;
    std::unique_ptr<FF_AudioProcessBlock> block = TakePoolBlock();
    const int64_t samples =
        std::min<int64_t>(cBlockBytes / mBytesPerSample, mNumSamples - mPosition);
    block->SetNumChannels(mNumChannels);
    block->SetSampleRate(mSampleRate);
    block->SetBitsPerSample(mBitsPerSample);
    block->SetTotalNumSamples(mNumSamples);
    block->SetByteOrder(mByteOrder);
    block->SetNumSamples(samples);
    CMN_ASSERT(block->IsWithinAllocation());
    Process(nullptr, block.get());
    mPosition += samples;
    mSamplesDelivered.store(mPosition);
    DeliverBlock(std::move(block), 0);
    return mPosition >= mNumSamples ? eResult_Done : eResult_Yield;
}

void FF_AudioProcessReadBuffer::Process(FF_AudioProcessBlock*, FF_AudioProcessBlock* out)
{
    const int64_t samples = out->GetNumSamples();
    const size_t bytes = size_t(samples * mBytesPerSample);
    if (samples == 0)
        return;
    if (mNumChannels == 2 && mInterleaved)
    {
        char* channels[2] = {out->GetBuffer(0), out->GetBuffer(1)};
        FF_AudioProcessReadFiles::DeinterleaveSamples(mBufferP + mPosition * 2 * mBytesPerSample,
                                                      channels, 2, mBytesPerSample, samples);
        return;
    }
    std::memcpy(out->GetBuffer(0), mBufferP + mPosition * mBytesPerSample, bytes);
    if (mNumChannels == 2)
        std::memcpy(out->GetBuffer(1),
                    mBufferP + mRightChannelOffset + uint64_t(mPosition) * mBytesPerSample, bytes);
}
