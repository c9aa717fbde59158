#include "FF/Audio/Processing/Read/FF_AudioProcessReadDirectIOBuffers.h"

#include <algorithm>
#include <cstring>

#include "Cmn_Assert.h"
#include "Sys_Thread.h"

FF_AudioProcessReadDirectIOBuffers::FF_AudioProcessReadDirectIOBuffers(
    EByteOrder iByteOrder, char* const* iBuffers, const int32_t* iSizes, int16_t iNumChannels,
    int32_t iSampleRate, int16_t iBitsPerSample, const Sys_Event::EventHandle& iDataReadyEvent,
    int64_t iTotalNumSamples)
    : mByteOrder(iByteOrder), mBuffers(iBuffers, iBuffers + iNumChannels), mSizes(iSizes),
      mNumChannels(iNumChannels), mSampleRate(iSampleRate), mBitsPerSample(iBitsPerSample),
      mBytesPerSample((iBitsPerSample + 7) / 8), mDataReadyEvent(iDataReadyEvent),
      mConsumedEvent(Sys_Event::Create(0)), mTotalNumSamples(iTotalNumSamples)
{
    CMN_ASSERT(iNumChannels > 0 && iSizes && iDataReadyEvent && iBitsPerSample > 0);
}

void FF_AudioProcessReadDirectIOBuffers::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    inOutBlock->SetNumChannels(mNumChannels);
    inOutBlock->SetSampleRate(mSampleRate);
    inOutBlock->SetBitsPerSample(mBitsPerSample);
    inOutBlock->SetNumSamples(cSamplesPerBlock);
    inOutBlock->SetTotalNumSamples(mTotalNumSamples);
    inOutBlock->SetByteOrder(mByteOrder);
}

Sys_Task::EResult FF_AudioProcessReadDirectIOBuffers::ExecImpl()
{
    if (IsAbortPending())
        return eResult_Aborted;
    switch (mState)
    {
    case eProducerState_Idle:
    {
        Sys_Thread::ThreadHandle currentThread = Sys_Thread::GetCurrentThread();
        CMN_ASSERT_TEXT(currentThread.Get() != nullptr, "currentThread.Get() != NULL");
        Sys_SyncObject::HandleList list;
        list.emplace_back(mDataReadyEvent.Get());
        if (GetAbortEvent())
            list.emplace_back(GetAbortEvent().Get());
        currentThread->Block(list, true);
        mState = eProducerState_AwaitingData;
        return eResult_Block;
    }
    case eProducerState_AwaitingData:
        mSamplesInBuffers = mSizes[0] / mBytesPerSample;
        for (int16_t c = 1; c < mNumChannels; ++c)
            CMN_ASSERT_TEXT(mSizes[c] == mSizes[0], "mSizes[c] == mSizes[0]");
        mReadPosition = 0;
        mState = eProducerState_HoldingData;
        return eResult_Yield;
    case eProducerState_HoldingData:
        mState = eProducerState_AwaitingBlock;
        return BlockForPoolBlock();
    default:
        break;
    }

    std::unique_ptr<FF_AudioProcessBlock> block = TakePoolBlock();
    const int64_t delivered = mSamplesDelivered.load();
    int64_t samples = std::min<int64_t>(cSamplesPerBlock, mSamplesInBuffers - mReadPosition);
    if (mTotalNumSamples >= 0)
        samples = std::min(samples, mTotalNumSamples - delivered);
    samples = std::max<int64_t>(0, samples);
    for (int16_t c = 0; c < mNumChannels; ++c)
        std::memcpy(block->GetBuffer(size_t(c)),
                    mBuffers[size_t(c)] + mReadPosition * mBytesPerSample,
                    size_t(samples * mBytesPerSample));
    block->SetNumChannels(mNumChannels);
    block->SetSampleRate(mSampleRate);
    block->SetBitsPerSample(mBitsPerSample);
    block->SetTotalNumSamples(mTotalNumSamples);
    block->SetByteOrder(mByteOrder);
    block->SetNumSamples(samples);
    mReadPosition += samples;
    mSamplesDelivered.store(delivered + samples);
    DeliverBlock(std::move(block), 0);
    const bool ended = mTotalNumSamples >= 0 && delivered + samples >= mTotalNumSamples;
    if (ended || mReadPosition >= mSamplesInBuffers)
    {
        mConsumedEvent->Set();
        mState = eProducerState_Idle;
    }
    else
        mState = eProducerState_HoldingData;
    return ended ? eResult_Done : eResult_Yield;
}

void FF_AudioProcessReadDirectIOBuffers::Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*)
{
    CMN_ASSERT_TEXT(false, "0");
}
