#include "FF/Audio/Processing/Read/FF_AudioProcessReadSequence.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AsyncAudioFileIOParams.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadFiles.h"
#include "Sys_OSErrData.h"
#include "Sys_Thread.h"

FF_AudioProcessReadSequence::FF_AudioProcessReadSequence(const std::list<SeqElem>& iSequence,
                                                         int32_t iSampleRate, int16_t iBitDepth,
                                                         int16_t iNumChannels,
                                                         int32_t iProcessBlockSize,
                                                         int32_t iReadBlockSize)
    : mSequence(iSequence), mSampleRate(iSampleRate), mAudioBitDepth(iBitDepth),
      mAudioNumChannels(iNumChannels), mBytesPerSample((iBitDepth + 7) / 8),
      mBlockAlign(mBytesPerSample * iNumChannels), mGivenProcessBlockSize(iProcessBlockSize),
      mReadBlockSize(iReadBlockSize)
{
    CMN_ASSERT(iBitDepth > 0 && iNumChannels > 0 && iProcessBlockSize > 0 && iReadBlockSize > 0);
    for (const SeqElem& elem : mSequence)
    {
        CMN_ASSERT(elem.mAudioFile);
        CMN_ASSERT(elem.mInterval.mBegin >= 0 && elem.mInterval.mEnd >= elem.mInterval.mBegin);
        mTotalNumSamples += elem.mInterval.GetLength();
    }
    // An empty piece reads nothing; leaving it out keeps the end of the stream simple.
    mSequence.remove_if([](const SeqElem& iElem) { return iElem.mInterval.GetLength() == 0; });
    mCurrent = mSequence.begin();
    mEmptyBlockDue = mTotalNumSamples == 0;
}

FF_AudioProcessReadSequence::~FF_AudioProcessReadSequence()
{
    try
    {
        CloseCurrentFile();
    }
    catch (...)
    {
    }
}

void FF_AudioProcessReadSequence::CloseCurrentFile()
{
    FF_AudioFile* fileP = mCurrentFile;
    mCurrentFile = nullptr;
    if (fileP)
        fileP->Close();
}

void FF_AudioProcessReadSequence::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT(inOutBlock);
    CMN_ASSERT_TEXT(!(mReadBlockSize % mBlockAlign), "!( mReadBlockSize % mBlockAlign )");
    for (const SeqElem& elem : mSequence)
    {
        elem.mAudioFile->Open(Cmn_Store::eOpenFlag_OpenForRead);
        FF_AudioFile::Properties properties;
        try
        {
            properties = elem.mAudioFile->GetProperties();
        }
        catch (...)
        {
            elem.mAudioFile->Close();
            throw;
        }
        elem.mAudioFile->Close();
        CMN_ASSERT_TEXT(mAudioBitDepth == properties.mBitDepth,
                        "mAudioBitDepth == properties.mBitDepth");
        CMN_ASSERT_TEXT(mAudioNumChannels == properties.mNumChannels,
                        "mAudioNumChannels == properties.mNumChannels");
    }
    mProcessBlockSize = int32_t(int64_t(mAudioBitDepth) * mGivenProcessBlockSize / 24);
    CMN_ASSERT_TEXT(!(mProcessBlockSize % mBlockAlign), "!( mProcessBlockSize % mBlockAlign )");
    CMN_ASSERT(mProcessBlockSize > 0);
    mParams =
        std::make_unique<FF_AsyncAudioFileIOParams>(int16_t(mBytesPerSample), mAudioNumChannels);
    mChannelPointers.assign(size_t(mAudioNumChannels), nullptr);

    inOutBlock->SetNumChannels(mAudioNumChannels);
    inOutBlock->SetSampleRate(mSampleRate);
    inOutBlock->SetBitsPerSample(mAudioBitDepth);
    inOutBlock->SetNumSamples(mProcessBlockSize / mBlockAlign);
    inOutBlock->SetTotalNumSamples(mTotalNumSamples);
    inOutBlock->SetByteOrder(eByteOrder_Native);
}

void FF_AudioProcessReadSequence::AllocateImpl(const FF_AudioProcessBlock&)
{
    CMN_ASSERT_TEXT(mParams, "mParams"); // Preflight came first
    mReadBuffer = std::make_unique<char[]>(size_t(mReadBlockSize));
    mReadPointer = mReadBuffer.get();
    mCompletionList.clear();
    mCompletionList.emplace_back(mParams->GetCompletionEvent().Get());
}

Sys_Task::EResult FF_AudioProcessReadSequence::ExecImpl()
{
    Sys_StAcquireMutex lock(GetProcessMutex());
    // A step after a read runs only once the read has come back (the worker waited for it).
    mReadInFlight = false;
    if (IsAbortPending())
    {
        if (!mFinished)
        {
            mFinished = true;
            CloseCurrentFile();
        }
        return eResult_Aborted;
    }
    switch (mState)
    {
    case eProducerState_Idle:
        if (mSamplesInReadBuffer > 0 || mEmptyBlockDue)
        {
            mState = eProducerState_AwaitingBlock;
            return BlockForPoolBlock();
        }
        return StartRead();
    case eProducerState_AwaitingData:
        return FinishRead();
    default:
        return DeliverOne();
    }
}

Sys_Task::EResult FF_AudioProcessReadSequence::StartRead()
{
    Sys_Thread::ThreadHandle currentThread = Sys_Thread::GetCurrentThread();
    CMN_ASSERT_TEXT(currentThread.Get() != nullptr, "currentThread.Get() != NULL");
    if (!mCurrentFile)
    {
        CMN_ASSERT_TEXT(!mCurrentFile, "!mCurrentFile");
        CMN_ASSERT_TEXT(mCurrent != mSequence.end(), "!mSequence.empty()");
        mCurrent->mAudioFile->Open(Cmn_Store::eOpenFlag_OpenForRead);
        mCurrentFile = mCurrent->mAudioFile.Get();
        mCurrentInterval = mCurrent->mInterval;
    }
    mReadSamples = std::min<int64_t>(mReadBlockSize / mBlockAlign, mCurrentInterval.GetLength());
    mReadPointer = mReadBuffer.get();
    mParams->SetBuffer(mReadBuffer.get());
    mParams->SetNumSamples(mReadSamples);
    mParams->SetSampleOffset(mCurrentInterval.mBegin);
    mParams->GetCompletionEvent()->Reset();
    mCurrentFile->ReadAsync(mParams.get(), eByteOrder_Native);
    currentThread->Block(mCompletionList, false);
    mReadInFlight = true;
    mState = eProducerState_AwaitingData;
    return eResult_Block;
}

Sys_Task::EResult FF_AudioProcessReadSequence::FinishRead()
{
    mParams->ThrowIfErrorOccurred();
    CMN_ASSERT_TEXT(mParams->GetNumSamples() == mReadSamples,
                    "mParams->GetNumSamples() == mReadSamples");
    if (mParams->GetNumSamplesTransferred() != mReadSamples)
        Sys_ThrowIfOSErr(EIO, "audio file ended inside the interval read: " +
                                  mCurrentFile->GetFileLoc().GetFullPath());
    mSamplesInReadBuffer = mReadSamples;
    CMN_ASSERT_TEXT(mSamplesInReadBuffer >= 0, "mSamplesInReadBuffer >= 0");
    if (mCurrentInterval.GetLength() > mReadSamples)
        mCurrentInterval.mBegin += mReadSamples;
    else
    {
        CMN_ASSERT_TEXT(mCurrentInterval.mEnd > 0, "mSequence.front().mInterval.mEnd > 0");
        CMN_ASSERT_TEXT(mCurrentInterval.mEnd - mCurrentInterval.mBegin == mReadSamples,
                        "mSequence.front().mInterval.mEnd - mSequence.front().mInterval.mBegin "
                        "== mReadSamples");
        // Closed before the next element's file is opened: one file open at a time.
        CloseCurrentFile();
        ++mCurrent;
    }
    mState = eProducerState_Idle;
    return eResult_Yield;
}

Sys_Task::EResult FF_AudioProcessReadSequence::DeliverOne()
{
    std::unique_ptr<FF_AudioProcessBlock> block = TakePoolBlock();
    const int64_t samples =
        std::min<int64_t>(mProcessBlockSize / mBlockAlign, mSamplesInReadBuffer);
    block->SetNumChannels(mAudioNumChannels);
    block->SetSampleRate(mSampleRate);
    block->SetBitsPerSample(mAudioBitDepth);
    block->SetTotalNumSamples(mTotalNumSamples);
    block->SetByteOrder(eByteOrder_Native);
    block->SetNumSamples(samples);
    CMN_ASSERT(block->IsWithinAllocation());
    if (mAudioNumChannels >= 2)
    {
        for (int16_t c = 0; c < mAudioNumChannels; ++c)
            mChannelPointers[size_t(c)] = block->GetBuffer(size_t(c));
        FF_AudioProcessReadFiles::DeinterleaveSamples(mReadPointer, mChannelPointers.data(),
                                                      mAudioNumChannels, mBytesPerSample, samples);
    }
    else
        std::memcpy(block->GetBuffer(0), mReadPointer, size_t(samples * mBytesPerSample));
    mReadPointer += samples * mBlockAlign;
    mSamplesInReadBuffer -= samples;
    CMN_ASSERT_TEXT(mSamplesInReadBuffer >= 0, "mSamplesInReadBuffer >= 0");
    mEmptyBlockDue = false;
    mSamplesDelivered.fetch_add(samples);

    const bool ended = mSamplesInReadBuffer == 0 && mCurrent == mSequence.end();
    if (ended)
        mFinished = true; // the last element's file was closed when its read came back
    DeliverBlock(std::move(block), 0);
    mState = eProducerState_Idle;
    return ended ? eResult_Done : eResult_Yield;
}

void FF_AudioProcessReadSequence::AbortImpl()
{
    Sys_StAcquireMutex lock(GetProcessMutex());
    // With a read in flight the step closes the file once it has come back.
    if (!mFinished && !mReadInFlight)
    {
        mFinished = true;
        CloseCurrentFile();
    }
}

void FF_AudioProcessReadSequence::Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*)
{
    CMN_ASSERT_TEXT(false, "0");
}
