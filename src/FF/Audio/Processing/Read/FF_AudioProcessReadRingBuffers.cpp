#include "FF/Audio/Processing/Read/FF_AudioProcessReadRingBuffers.h"

#include <algorithm>
#include <cstring>

#include "Cmn_Assert.h"
#include "Sys_Thread.h"

FF_AudioProcessReadRingBuffers::FF_AudioProcessReadRingBuffers(
    EByteOrder iByteOrder, BufferRing* const* iFilledRingBuffers,
    BufferRing* const* iEmptyRingBuffers, CountRing* iSampleCounts, int32_t iSampleRate,
    int16_t iBitsPerSample, int16_t iNumChannels,
    const Sys_Semaphore::SemaphoreHandle& iDataSemaphore, int32_t iSamplesPerBlock,
    int64_t iTotalNumSamples)
    : mByteOrder(iByteOrder),
      mFilledRingBuffers(iFilledRingBuffers, iFilledRingBuffers + iNumChannels),
      mEmptyRingBuffers(iEmptyRingBuffers, iEmptyRingBuffers + iNumChannels),
      mSampleCounts(iSampleCounts), mSampleRate(iSampleRate), mBitsPerSample(iBitsPerSample),
      mNumChannels(iNumChannels), mDataSemaphore(iDataSemaphore),
      mSamplesPerBlock(iSamplesPerBlock), mTotalNumSamples(iTotalNumSamples)
{
    CMN_ASSERT(iNumChannels > 0 && iSampleCounts && iDataSemaphore && iSamplesPerBlock > 0);
}

void FF_AudioProcessReadRingBuffers::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    inOutBlock->SetNumChannels(mNumChannels);
    inOutBlock->SetSampleRate(mSampleRate);
    inOutBlock->SetBitsPerSample(mBitsPerSample);
    inOutBlock->SetNumSamples(mSamplesPerBlock);
    inOutBlock->SetTotalNumSamples(mTotalNumSamples);
    inOutBlock->SetByteOrder(mByteOrder);
}

Sys_Task::EResult FF_AudioProcessReadRingBuffers::BlockOnData()
{
    Sys_Thread::ThreadHandle currentThread = Sys_Thread::GetCurrentThread();
    CMN_ASSERT_TEXT(currentThread.Get() != nullptr, "currentThread.Get() != NULL");
    Sys_SyncObject::HandleList list;
    list.emplace_back(mDataSemaphore.Get());
    if (GetAbortEvent())
        list.emplace_back(GetAbortEvent().Get());
    currentThread->Block(list, true);
    return eResult_Block;
}

Sys_Task::EResult FF_AudioProcessReadRingBuffers::ExecImpl()
{
    if (IsAbortPending())
        return eResult_Aborted;
    switch (mState)
    {
    case eProducerState_Idle:
        mState = eProducerState_AwaitingData;
        return BlockOnData();
    case eProducerState_AwaitingData:
        mState = eProducerState_HoldingData;
        return eResult_Yield;
    case eProducerState_HoldingData:
        mState = eProducerState_AwaitingBlock;
        return BlockForPoolBlock();
    default:
        break;
    }

    std::unique_ptr<FF_AudioProcessBlock> block = TakePoolBlock();
    int64_t samples = mSampleCounts->GetReadItem();
    mSampleCounts->AdvanceReadPtr();
    const int64_t delivered = mSamplesDelivered.load();
    if (mTotalNumSamples >= 0)
        samples = std::min(samples, mTotalNumSamples - delivered);
    samples = std::max<int64_t>(0, samples);
    CMN_ASSERT(size_t(samples) * 3 <= block->GetBufferBytes());
    for (int16_t i = 0; i < mNumChannels; ++i)
    {
        CMN_ASSERT_TEXT(!mFilledRingBuffers[i]->IsEmpty(), "!mFilledRingBuffers[i]->IsEmpty()");
        char* bufferP = mFilledRingBuffers[i]->GetReadItem();
        mFilledRingBuffers[i]->AdvanceReadPtr();
        std::memcpy(block->GetBuffer(size_t(i)), bufferP, size_t(samples) * 3);
        mEmptyRingBuffers[i]->Push(&bufferP, 1);
    }
    block->SetNumChannels(mNumChannels);
    block->SetSampleRate(mSampleRate);
    block->SetBitsPerSample(mBitsPerSample);
    block->SetTotalNumSamples(mTotalNumSamples);
    block->SetByteOrder(mByteOrder);
    block->SetNumSamples(samples);
    mSamplesDelivered.store(delivered + samples);
    DeliverBlock(std::move(block), 0);
    mState = eProducerState_Idle;
    if (mTotalNumSamples >= 0 && delivered + samples >= mTotalNumSamples)
        return eResult_Done;
    return eResult_Yield;
}

void FF_AudioProcessReadRingBuffers::Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*)
{
    CMN_ASSERT_TEXT(false, "0");
}
