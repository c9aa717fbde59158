#include "FF/Audio/Processing/Read/FF_AudioProcessReadFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AsyncAudioFileIOParams.h"
#include "Sys_OSErrData.h"
#include "Sys_Thread.h"

namespace
{
template <int32_t kBytes>
void DeinterleaveFixed(const char* iSrcP, char* const* oChannels, int32_t iNumChannels,
                       int64_t iFrames)
{
    if (iNumChannels == 2)
    {
        char* leftP = oChannels[0];
        char* rightP = oChannels[1];
        for (int64_t i = 0; i < iFrames; ++i)
        {
            std::memcpy(leftP, iSrcP, kBytes);
            std::memcpy(rightP, iSrcP + kBytes, kBytes);
            leftP += kBytes;
            rightP += kBytes;
            iSrcP += 2 * kBytes;
        }
        return;
    }
    for (int32_t c = 0; c < iNumChannels; ++c)
    {
        const char* srcP = iSrcP + int64_t(c) * kBytes;
        char* dstP = oChannels[c];
        const int64_t stride = int64_t(iNumChannels) * kBytes;
        for (int64_t i = 0; i < iFrames; ++i)
        {
            std::memcpy(dstP, srcP, kBytes);
            dstP += kBytes;
            srcP += stride;
        }
    }
}
} // namespace

void FF_AudioProcessReadFiles::DeinterleaveSamples(const char* iSrcP, char* const* oChannels,
                                                   int32_t iNumChannels, int32_t iBytesPerSample,
                                                   int64_t iFrames)
{
    switch (iBytesPerSample)
    {
    case 1:
        DeinterleaveFixed<1>(iSrcP, oChannels, iNumChannels, iFrames);
        return;
    case 2:
        DeinterleaveFixed<2>(iSrcP, oChannels, iNumChannels, iFrames);
        return;
    case 3:
        DeinterleaveFixed<3>(iSrcP, oChannels, iNumChannels, iFrames);
        return;
    case 4:
        DeinterleaveFixed<4>(iSrcP, oChannels, iNumChannels, iFrames);
        return;
    default:
        break;
    }
    const int64_t stride = int64_t(iNumChannels) * iBytesPerSample;
    for (int32_t c = 0; c < iNumChannels; ++c)
        for (int64_t i = 0; i < iFrames; ++i)
            std::memcpy(oChannels[c] + i * iBytesPerSample,
                        iSrcP + i * stride + int64_t(c) * iBytesPerSample, size_t(iBytesPerSample));
}

FF_AudioProcessReadFiles::FF_AudioProcessReadFiles(const std::vector<FF_AudioFileRef>& iAudioFiles,
                                                   const std::list<Cmn_Interval>& iIntervals,
                                                   int64_t iZeroFillAfterSamples, bool iRepeat,
                                                   int32_t iProcessBlockSize,
                                                   int32_t iReadBlockSize)
    : mAudioFiles(iAudioFiles), mIntervals(iIntervals),
      mZeroFillAfterSamples(iZeroFillAfterSamples), mReadBlockSize(iReadBlockSize),
      mProcessBlockSize(iProcessBlockSize), mGivenProcessBlockSize(iProcessBlockSize),
      mRepeat(iRepeat)
{
    CMN_ASSERT_TEXT(!mAudioFiles.empty(), "!mAudioFiles.empty()");
    CMN_ASSERT_TEXT(mZeroFillAfterSamples || !mIntervals.empty(),
                    "mZeroFillAfterSamples || !mIntervals.empty()");
    CMN_ASSERT(mZeroFillAfterSamples >= 0 && iProcessBlockSize > 0 && iReadBlockSize > 0);
    if (!mIntervals.empty())
        CMN_ASSERT_TEXT(mIntervals.front().mBegin >= 0, "mIntervals.front().mBegin >= 0");
    int64_t intervalSamples = 0;
    for (const Cmn_Interval& interval : mIntervals)
    {
        CMN_ASSERT(interval.mBegin >= 0 && interval.mEnd >= interval.mBegin);
        intervalSamples += interval.GetLength();
    }
    // An empty interval reads nothing; leaving it out keeps the end of the stream simple.
    mIntervals.remove_if([](const Cmn_Interval& iInterval) { return iInterval.GetLength() == 0; });
    mTotalNumSamples = intervalSamples + mZeroFillBeforeSamples + mZeroFillAfterSamples;
    mAnnouncedTotal = mRepeat && !mIntervals.empty() ? -1 : mTotalNumSamples;
    mEmptyBlockDue = mTotalNumSamples == 0;
}

FF_AudioProcessReadFiles::~FF_AudioProcessReadFiles()
{
    try
    {
        CloseFiles();
    }
    catch (...)
    {
    }
}

void FF_AudioProcessReadFiles::CloseFiles()
{
    // Closed in reverse, each counted out first, so that a failing Close is not repeated.
    while (mFilesOpened > 0)
    {
        --mFilesOpened;
        mAudioFiles[size_t(mFilesOpened)]->Close();
    }
}

void FF_AudioProcessReadFiles::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT(inOutBlock);
    CMN_ASSERT(mFilesOpened == 0 && !mFinished);
    for (size_t i = 0; i < mAudioFiles.size(); ++i)
    {
        mAudioFiles[i]->Open(Cmn_Store::eOpenFlag_OpenForRead);
        ++mFilesOpened;
        const FF_AudioFile::Properties properties = mAudioFiles[i]->GetProperties();
        if (i == 0)
        {
            mAudioFileProperties = properties;
            continue;
        }
        const int16_t bytesPerSample = properties.mBytesPerSample;
        const int16_t numChannels = properties.mNumChannels;
        CMN_ASSERT_TEXT(bytesPerSample == mAudioFileProperties.mBytesPerSample,
                        "bytesPerSample == mAudioFileProperties.mBytesPerSample");
        CMN_ASSERT_TEXT(numChannels == mAudioFileProperties.mNumChannels,
                        "numChannels == mAudioFileProperties.mNumChannels");
    }
    const int16_t bytesPerSample = mAudioFileProperties.mBytesPerSample;
    const int16_t numChannels = mAudioFileProperties.mNumChannels;
    CMN_ASSERT(bytesPerSample > 0 && numChannels > 0);

    mParams.clear();
    for (size_t i = 0; i < mAudioFiles.size(); ++i)
        mParams.push_back(std::make_unique<FF_AsyncAudioFileIOParams>(bytesPerSample, numChannels));

    mBlockAlign = int32_t(bytesPerSample) * numChannels;
    CMN_ASSERT_TEXT(!(mReadBlockSize % mBlockAlign), "!( mReadBlockSize % mBlockAlign )");
    if (numChannels >= 2)
    {
        CMN_ASSERT_TEXT(mAudioFiles.size() == 1, "mAudioFiles.size() == 1");
        mInterleaved = true;
        mNumReadBuffers = 1;
    }
    else
    {
        mInterleaved = false;
        mNumReadBuffers = int32_t(mAudioFiles.size());
    }
    mProcessBlockSize =
        int32_t(int64_t(mAudioFileProperties.mBitDepth) * mGivenProcessBlockSize / 24);
    CMN_ASSERT_TEXT(!(mProcessBlockSize % mBlockAlign), "!( mProcessBlockSize % mBlockAlign )");
    CMN_ASSERT(mProcessBlockSize > 0);

    const int16_t streamChannels =
        mAudioFiles.size() == 1 ? numChannels : int16_t(mAudioFiles.size());
    mReadBufferPointers.assign(size_t(mNumReadBuffers), nullptr);
    mChannelPointers.assign(size_t(streamChannels), nullptr);

    inOutBlock->SetNumChannels(streamChannels);
    inOutBlock->SetSampleRate(mAudioFileProperties.mSampleRate);
    inOutBlock->SetBitsPerSample(mAudioFileProperties.mBitDepth);
    inOutBlock->SetNumSamples(mProcessBlockSize / mBlockAlign);
    inOutBlock->SetTotalNumSamples(mAnnouncedTotal);
    inOutBlock->SetByteOrder(eByteOrder_Native);
}

void FF_AudioProcessReadFiles::AllocateImpl(const FF_AudioProcessBlock& iPrototype)
{
    CMN_ASSERT_TEXT(!mParams.empty(), "!mParams.empty()"); // Preflight came first
    mReadBuffer = std::make_unique<char[]>(size_t(mReadBlockSize) * size_t(mNumReadBuffers));
    for (int32_t i = 0; i < mNumReadBuffers; ++i)
        mReadBufferPointers[size_t(i)] = mReadBuffer.get() + int64_t(i) * mReadBlockSize;
    mCompletionList.clear();
    for (const std::unique_ptr<FF_AsyncAudioFileIOParams>& params : mParams)
        mCompletionList.emplace_back(params->GetCompletionEvent().Get());
    (void)iPrototype;
}

bool FF_AudioProcessReadFiles::IsNothingLeft() const
{
    return mIntervals.empty() && mZeroFillBeforeSamples == 0 && mZeroFillAfterSamples == 0;
}

Sys_Task::EResult FF_AudioProcessReadFiles::ExecImpl()
{
    Sys_StAcquireMutex lock(GetProcessMutex());
    // A step after a read runs only once the read has come back (the worker waited for it).
    mReadInFlight = false;
    if (IsAbortPending())
    {
        // A read that was in flight has completed by now (the step waited for it), so the
        // files can be closed here; AbortImpl left them alone in that case.
        if (!mFinished)
        {
            mFinished = true;
            CloseFiles();
        }
        return eResult_Aborted;
    }
    switch (mState)
    {
    case eProducerState_Idle:
        if (mSamplesInReadBuffers > 0 || mEmptyBlockDue)
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

Sys_Task::EResult FF_AudioProcessReadFiles::StartRead()
{
    CMN_ASSERT_TEXT(!IsNothingLeft(), "!IsNothingLeft()");
    const int64_t frames = mReadBlockSize / mBlockAlign;
    for (int32_t i = 0; i < mNumReadBuffers; ++i)
        mReadBufferPointers[size_t(i)] = mReadBuffer.get() + int64_t(i) * mReadBlockSize;

    if (mZeroFillBeforeSamples > 0 || (mIntervals.empty() && mZeroFillAfterSamples > 0))
    {
        int64_t& left = mZeroFillBeforeSamples > 0 ? mZeroFillBeforeSamples : mZeroFillAfterSamples;
        const int64_t samples = std::min(frames, left);
        for (char* bufferP : mReadBufferPointers)
            std::memset(bufferP, 0, size_t(samples * mBlockAlign));
        mSamplesInReadBuffers = samples;
        left -= samples;
        mState = eProducerState_Idle;
        return eResult_Yield;
    }

    Sys_Thread::ThreadHandle currentThread = Sys_Thread::GetCurrentThread();
    CMN_ASSERT_TEXT(currentThread.Get() != nullptr, "currentThread.Get() != NULL");
    if (!mHaveCurrentInterval)
    {
        mCurrentInterval = mIntervals.front();
        mHaveCurrentInterval = true;
    }
    mReadSamples = std::min(frames, mCurrentInterval.GetLength());
    size_t issued = 0;
    try
    {
        for (; issued < mParams.size(); ++issued)
        {
            FF_AsyncAudioFileIOParams& params = *mParams[issued];
            params.SetBuffer(mReadBufferPointers[mInterleaved ? 0 : issued]);
            params.SetNumSamples(mReadSamples);
            params.SetSampleOffset(mCurrentInterval.mBegin);
            params.GetCompletionEvent()->Reset();
            mAudioFiles[issued]->ReadAsync(&params, eByteOrder_Native);
        }
    }
    catch (...)
    {
        // The stage fails; the buffer it owns must not receive a transfer after it is gone.
        WaitForIssuedReads(issued);
        throw;
    }
    currentThread->Block(mCompletionList, false);
    mReadInFlight = true;
    mState = eProducerState_AwaitingData;
    return eResult_Block;
}

void FF_AudioProcessReadFiles::WaitForIssuedReads(size_t iIssued)
{
    for (size_t i = 0; i < iIssued; ++i)
        mParams[i]->GetCompletionEvent()->Wait(Sys_SyncObject::cWaitForever);
}

Sys_Task::EResult FF_AudioProcessReadFiles::FinishRead()
{
    for (size_t i = 0; i < mParams.size(); ++i)
    {
        const FF_AsyncAudioFileIOParams* params = mParams[i].get();
        params->ThrowIfErrorOccurred();
        CMN_ASSERT_TEXT(params->GetNumSamples() == mReadSamples,
                        "(*iter)->GetNumSamples() == mReadSamples");
        if (params->GetNumSamplesTransferred() != mReadSamples)
            Sys_ThrowIfOSErr(EIO, "audio file ended inside the interval read: " +
                                      mAudioFiles[i]->GetFileLoc().GetFullPath());
    }
    mSamplesInReadBuffers = mReadSamples;
    if (mCurrentInterval.GetLength() > mReadSamples)
        mCurrentInterval.mBegin += mReadSamples;
    else
    {
        CMN_ASSERT_TEXT(mCurrentInterval.mEnd - mCurrentInterval.mBegin == mReadSamples,
                        "mCurrentInterval.mEnd - mCurrentInterval.mBegin == mReadSamples");
        if (mRepeat) // the list's own node goes to the end: no allocation per cycle
            mIntervals.splice(mIntervals.end(), mIntervals, mIntervals.begin());
        else
            mIntervals.pop_front();
        mHaveCurrentInterval = false;
    }
    mState = eProducerState_Idle;
    return eResult_Yield;
}

Sys_Task::EResult FF_AudioProcessReadFiles::DeliverOne()
{
    std::unique_ptr<FF_AudioProcessBlock> block = TakePoolBlock();
    const int16_t channels =
        mInterleaved ? mAudioFileProperties.mNumChannels : int16_t(mAudioFiles.size());
    const int32_t bytesPerSample = mAudioFileProperties.mBytesPerSample;
    const int64_t samples =
        std::min<int64_t>(mProcessBlockSize / mBlockAlign, mSamplesInReadBuffers);
    block->SetNumChannels(channels);
    block->SetSampleRate(mAudioFileProperties.mSampleRate);
    block->SetBitsPerSample(mAudioFileProperties.mBitDepth);
    block->SetTotalNumSamples(mAnnouncedTotal);
    block->SetByteOrder(eByteOrder_Native);
    block->SetNumSamples(samples);
    CMN_ASSERT(block->IsWithinAllocation());

    if (mInterleaved)
    {
        for (int16_t c = 0; c < channels; ++c)
            mChannelPointers[size_t(c)] = block->GetBuffer(size_t(c));
        DeinterleaveSamples(mReadBufferPointers[0], mChannelPointers.data(), channels,
                            bytesPerSample, samples);
        mReadBufferPointers[0] += samples * mBlockAlign;
    }
    else
    {
        for (int32_t f = 0; f < mNumReadBuffers; ++f)
        {
            std::memcpy(block->GetBuffer(size_t(f)), mReadBufferPointers[size_t(f)],
                        size_t(samples * bytesPerSample));
            mReadBufferPointers[size_t(f)] += samples * bytesPerSample;
        }
    }
    mSamplesInReadBuffers -= samples;
    CMN_ASSERT_TEXT(mSamplesInReadBuffers >= 0, "mSamplesInReadBuffers >= 0");
    mEmptyBlockDue = false;
    mSamplesDelivered.fetch_add(samples);

    const bool ended = mSamplesInReadBuffers == 0 && IsNothingLeft();
    if (ended)
    {
        // Closed before the last block goes on: once the consumer has it, no file is open.
        mFinished = true;
        CloseFiles();
    }
    DeliverBlock(std::move(block), 0);
    mState = eProducerState_Idle;
    return ended ? eResult_Done : eResult_Yield;
}

void FF_AudioProcessReadFiles::AbortImpl()
{
    Sys_StAcquireMutex lock(GetProcessMutex());
    // With a read in flight the step closes the files once the read has come back:
    // closing here would race with its completion.
    if (!mFinished && !mReadInFlight)
    {
        mFinished = true;
        CloseFiles();
    }
}

void FF_AudioProcessReadFiles::Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*)
{
    CMN_ASSERT_TEXT(false, "0");
}
