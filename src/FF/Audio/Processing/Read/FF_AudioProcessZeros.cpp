#include "FF/Audio/Processing/Read/FF_AudioProcessZeros.h"

#include <algorithm>
#include <cstring>

#include "Cmn_Assert.h"

FF_AudioProcessZeros::FF_AudioProcessZeros(int64_t iNumSamples, int32_t iSampleRate,
                                           int16_t iBitsPerSample)
    : mNumSamples(iNumSamples), mSampleRate(iSampleRate), mBitsPerSample(iBitsPerSample)
{
    CMN_ASSERT(iNumSamples >= 0);
    CMN_ASSERT(iBitsPerSample > 0 && iBitsPerSample <= 32);
}

void FF_AudioProcessZeros::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT(inOutBlock);
    inOutBlock->SetNumChannels(1);
    inOutBlock->SetSampleRate(mSampleRate);
    inOutBlock->SetBitsPerSample(mBitsPerSample);
    inOutBlock->SetNumSamples(cSamplesPerBlock);
    inOutBlock->SetTotalNumSamples(mNumSamples);
    inOutBlock->SetByteOrder(eByteOrder_Native);
}

Sys_Task::EResult FF_AudioProcessZeros::ExecImpl()
{
    if (IsAbortPending())
        return eResult_Aborted;
    if (mState == eProducerState_Idle)
    {
        mState = eProducerState_AwaitingBlock;
        return BlockForPoolBlock();
    }
    mState = eProducerState_Idle;
    std::unique_ptr<FF_AudioProcessBlock> block = TakePoolBlock();
    const int64_t samples = std::min<int64_t>(cSamplesPerBlock, mNumSamples - mPosition);
    block->SetNumChannels(1);
    block->SetSampleRate(mSampleRate);
    block->SetBitsPerSample(mBitsPerSample);
    block->SetTotalNumSamples(mNumSamples);
    block->SetByteOrder(eByteOrder_Native);
    block->SetNumSamples(samples);
    CMN_ASSERT(block->IsWithinAllocation());
    std::memset(block->GetBuffer(0), 0, size_t(block->GetNumBytesPerChannel()));
    mPosition += samples;
    mSamplesDelivered.store(mPosition);
    DeliverBlock(std::move(block), 0);
    return mPosition >= mNumSamples ? eResult_Done : eResult_Yield;
}

void FF_AudioProcessZeros::Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*)
{
    CMN_ASSERT_TEXT(false, "0");
}
