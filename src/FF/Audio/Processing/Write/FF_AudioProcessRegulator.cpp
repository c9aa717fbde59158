#include "FF/Audio/Processing/Write/FF_AudioProcessRegulator.h"

#include <algorithm>
#include <cstring>

#include "Cmn_Assert.h"
#include "Sys_Thread.h"

FF_AudioProcessRegulator::FF_AudioProcessRegulator(int16_t iNumOutBuffers, int32_t iBufferBytes)
    : mNumOutBuffers(iNumOutBuffers), mBufferBytes(iBufferBytes),
      mBufferFreedEvent(Sys_Event::Create(0)), mPrimedEvent(Sys_Event::Create(1))
{
    CMN_ASSERT(iNumOutBuffers > 0 && iBufferBytes > 0);
}

FF_AudioProcessRegulator::~FF_AudioProcessRegulator() = default;

void FF_AudioProcessRegulator::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT_TEXT(inOutBlock->GetNumChannels() == mNumOutBuffers,
                    "inOutBlock->GetNumChannels() == mNumOutBuffers");
    mBytesPerSample = inOutBlock->GetBytesPerSample();
    const int64_t total = inOutBlock->GetTotalNumSamples();
    mStreamBytes = total == -1 ? -1 : int64_t(mBytesPerSample) * total;
    SetUnitsToProcess(total);
}

void FF_AudioProcessRegulator::AllocateImpl(const FF_AudioProcessBlock& iPrototype)
{
    mBuffers.clear();
    mEmptyRing.Clear();
    mFilledRing.Clear();
    for (int32_t i = 0; i < cNumBuffers; ++i)
    {
        mBuffers.emplace_back(new char[size_t(mNumOutBuffers) * size_t(mBufferBytes)]());
        char* bufferP = mBuffers.back().get();
        mEmptyRing.Push(&bufferP, 1);
    }
}

bool FF_AudioProcessRegulator::TakeEmptyBuffer()
{
    if (mEmptyRing.IsEmpty())
        return false;
    mFillBuffer = mEmptyRing.GetReadItem();
    mEmptyRing.AdvanceReadPtr();
    mFillOffset = 0;
    return true;
}

void FF_AudioProcessRegulator::QueueFillBuffer()
{
    mFilledRing.Push(&mFillBuffer, 1);
    mFillBuffer = nullptr;
    TakeEmptyBuffer();
}

Sys_Task::EResult FF_AudioProcessRegulator::ExecImpl()
{
    if (GetAbortEvent() && GetAbortEvent()->IsSet())
        return eResult_Aborted;
    if (!mCurrentBlock)
    {
        FF_AudioProcessBlock* blockP = nullptr;
        if (!GetInputQueue().TryPop(blockP))
            return eResult_Yield;
        mCurrentBlock.reset(blockP);
        mBlockOffset = 0;
        mBlockBytesLeft = mCurrentBlock->GetNumBytesPerChannel();
    }
    if (!mFillBuffer)
        TakeEmptyBuffer();

    const bool lengthKnown = mStreamBytes >= 0;
    while (mBlockBytesLeft > 0 && mFillBuffer)
    {
        int64_t bytes = std::min<int64_t>(mBlockBytesLeft, mBufferBytes - mFillOffset);
        if (lengthKnown)
            bytes = std::min(bytes, std::max<int64_t>(0, mStreamBytes - mBytesDone));
        for (int16_t c = 0; c < mNumOutBuffers; ++c)
            std::memcpy(mFillBuffer + size_t(c) * size_t(mBufferBytes) + mFillOffset,
                        mCurrentBlock->GetBuffer(size_t(c)) + mBlockOffset, size_t(bytes));
        mFillOffset += int32_t(bytes);
        mBlockOffset += bytes;
        mBlockBytesLeft -= bytes;
        mBytesDone += bytes;
        if (mBytesPerSample > 0)
            AddUnitsProcessed(bytes / mBytesPerSample);
        if (lengthKnown && mBytesDone >= mStreamBytes)
        {
            // The end of the stream: the rest of the last buffer is silence.
            for (int16_t c = 0; c < mNumOutBuffers; ++c)
                std::memset(mFillBuffer + size_t(c) * size_t(mBufferBytes) + mFillOffset, 0,
                            size_t(mBufferBytes - mFillOffset));
            mFillOffset = mBufferBytes;
            mBlockBytesLeft = 0; // anything past the length is dropped
        }
        if (mFillOffset == mBufferBytes)
            QueueFillBuffer();
    }

    EResult result = eResult_Yield;
    if (mBlockBytesLeft <= 0)
        ReturnBlockToPool(mCurrentBlock.release());
    else
    {
        Sys_Thread::ThreadHandle currentThread = Sys_Thread::GetCurrentThread();
        CMN_ASSERT_TEXT(currentThread.Get() != nullptr, "currentThread.Get() != NULL");
        Sys_SyncObject::HandleList list;
        if (GetAbortEvent())
            list.emplace_back(GetAbortEvent().Get());
        list.emplace_back(mBufferFreedEvent.Get());
        currentThread->Block(list, true);
        result = eResult_Block;
    }
    if (lengthKnown && mBytesDone >= mStreamBytes)
    {
        mPrimedEvent->Set();
        return eResult_Done;
    }
    if (!mFillBuffer) // every buffer is filled
        mPrimedEvent->Set();
    return result;
}

bool FF_AudioProcessRegulator::FillBuffers(char** ioBuffers)
{
    if (mFilledRing.IsEmpty())
    {
        for (int16_t c = 0; c < mNumOutBuffers; ++c)
            std::memset(ioBuffers[c], 0, size_t(mBufferBytes));
        return false;
    }
    char* bufferP = mFilledRing.GetReadItem();
    mFilledRing.AdvanceReadPtr();
    for (int16_t c = 0; c < mNumOutBuffers; ++c)
        std::memcpy(ioBuffers[c], bufferP + size_t(c) * size_t(mBufferBytes), size_t(mBufferBytes));
    mEmptyRing.Push(&bufferP, 1);
    mBufferFreedEvent->Set();
    return true;
}

void FF_AudioProcessRegulator::Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*)
{
    CMN_ASSERT_TEXT(false, "0");
}
