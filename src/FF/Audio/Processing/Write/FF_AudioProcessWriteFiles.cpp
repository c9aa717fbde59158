#include "FF/Audio/Processing/Write/FF_AudioProcessWriteFiles.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AsyncAudioFileIOParams.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "Sys_AtomicOutput.h"
#include "Sys_FileUtils.h"
#include "Sys_Thread.h"

FF_AudioProcessWriteFiles::FF_AudioProcessWriteFiles(const std::vector<FF_AudioFileRef>& iFiles,
                                                     int64_t inStartSample, int64_t iSamplesToWrite)
    : mFiles(iFiles), mStartSample(inStartSample), mSamplesToWrite(iSamplesToWrite)
{
    CMN_ASSERT_TEXT(inStartSample >= 0, "inStartSample >= 0");
    CMN_ASSERT(!iFiles.empty());
    CMN_ASSERT(iSamplesToWrite >= 0);
    for (const FF_AudioFileRef& file : mFiles)
        CMN_ASSERT(file);
}

FF_AudioProcessWriteFiles::~FF_AudioProcessWriteFiles()
{
    // A stage that never ran (the chain failed in planning) still gives back its opens.
    if (!mFinished.load() && !mAborted)
        CloseFiles(false);
}

void FF_AudioProcessWriteFiles::SetOverviews(const std::vector<FF_AudioOverview>& iOverviews)
{
    CMN_ASSERT(iOverviews.size() == mFiles.size());
    mOverviews = iOverviews;
}

void FF_AudioProcessWriteFiles::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    if (mSamplesToWrite.load() == 0)
        mSamplesToWrite.store(inOutBlock->GetTotalNumSamples());
    CMN_ASSERT_TEXT(mSamplesToWrite.load() != -1, "mSamplesToWrite != -1");

    mNumChannels = inOutBlock->GetNumChannels();
    mBytesPerSample = inOutBlock->GetBytesPerSample();
    mByteOrder = inOutBlock->GetByteOrder();
    mInterleave = mNumChannels != int16_t(mFiles.size());
    if (mInterleave)
        CMN_ASSERT_TEXT(mFiles.size() == 1, "mFiles.size() == 1");
    CMN_ASSERT(mNumChannels > 0 && mBytesPerSample > 0);

    mOpenedHere.assign(mFiles.size(), false);
    mParams.clear();
    for (size_t i = 0; i < mFiles.size(); ++i)
    {
        FF_AudioFile& file = *mFiles[i];
        if (!file.IsOpen() || file.GetOpenFlag() == Cmn_Store::eOpenFlag_OpenForRead)
        {
            file.Open(Cmn_Store::eOpenFlag_OpenForWrite);
            mOpenedHere[i] = true;
        }
        const int16_t fileChannels = file.mNumChannels.GetOr(0);
        const int16_t fileBits = file.mBitDepth.GetOr(0);
        CMN_ASSERT_TEXT(fileChannels == (mInterleave ? mNumChannels : 1),
                        "fileChannels == (mInterleave ? mNumChannels : 1)");
        CMN_ASSERT_TEXT(fileBits == inOutBlock->GetBitsPerSample(),
                        "fileBits == inOutBlock->GetBitsPerSample()");
        mParams.push_back(std::make_unique<FF_AsyncAudioFileIOParams>(
            int16_t(mBytesPerSample), mInterleave ? mNumChannels : int16_t(1)));
    }
    mCapacity = std::max(inOutBlock->GetNumSamples(), cMinBufferSamples);
    mBuffer = std::make_unique<char[]>(size_t(mCapacity * mNumChannels * mBytesPerSample));
    SetUnitsToProcess(mSamplesToWrite.load());
}

Sys_Task::EResult FF_AudioProcessWriteFiles::ExecImpl()
{
    Sys_StAcquireMutex lock(GetProcessMutex());
    if (IsAbortPending())
    {
        if (!mFinished.load())
            AbortImpl();
        return eResult_Aborted;
    }
    if (mState == 1)
    {
        const EResult result = Written();
        // A block held back by the write comes next, in this same step.
        if (result != eResult_Yield || !mHeldBlock)
            return result;
    }
    return Gather();
}

Sys_Task::EResult FF_AudioProcessWriteFiles::Gather()
{
    std::unique_ptr<FF_AudioProcessBlock> block =
        mHeldBlock ? std::move(mHeldBlock)
                   : std::unique_ptr<FF_AudioProcessBlock>(GetInputQueue().Pop());
    CMN_ASSERT(block->GetNumChannels() == mNumChannels);
    CMN_ASSERT(block->GetBytesPerSample() == mBytesPerSample);
    const int64_t count = block->GetNumSamples();
    bool gathered = false;
    if (mBuffered + count <= mCapacity && count <= mCapacity / 2)
    {
        CopyIntoBuffer(*block, count);
        mBuffered += count;
        gathered = true;
        ReturnBlockToPool(block.release());
    }
    const bool endOfStream = mSamplesWritten.load() + mBuffered >= mSamplesToWrite.load();
    if (gathered && mBuffered < mCapacity && !endOfStream)
        return eResult_Yield;

    if (mBuffered > 0)
    {
        if (!gathered)
            mHeldBlock = std::move(block);
        return IssueWrites(nullptr, mBuffered);
    }
    CMN_ASSERT_TEXT(block.get(), "mInputBlock.get()");
    mInputBlock = std::move(block);
    if (mInterleave && mNumChannels > 1)
    {
        CopyIntoBuffer(*mInputBlock, count);
        return IssueWrites(nullptr, count);
    }
    return IssueWrites(mInputBlock.get(), count);
}

void FF_AudioProcessWriteFiles::CopyIntoBuffer(const FF_AudioProcessBlock& iBlock, int64_t iCount)
{
    const size_t bytes = size_t(mBytesPerSample);
    if (!mInterleave || mNumChannels == 1)
    {
        // One region of mCapacity samples per file.
        for (int16_t c = 0; c < mNumChannels; ++c)
            std::memcpy(mBuffer.get() + (int64_t(c) * mCapacity + mBuffered) * mBytesPerSample,
                        iBlock.GetBuffer(size_t(c)), size_t(iCount) * bytes);
        return;
    }
    const size_t frame = bytes * size_t(mNumChannels);
    for (int16_t c = 0; c < mNumChannels; ++c)
    {
        const char* src = iBlock.GetBuffer(size_t(c));
        char* dst = mBuffer.get() + size_t(mBuffered) * frame + size_t(c) * bytes;
        switch (bytes)
        {
        case 2:
            for (int64_t k = 0; k < iCount; ++k, src += 2, dst += frame)
                std::memcpy(dst, src, 2);
            break;
        case 3:
            for (int64_t k = 0; k < iCount; ++k, src += 3, dst += frame)
                std::memcpy(dst, src, 3);
            break;
        default:
            for (int64_t k = 0; k < iCount; ++k, src += bytes, dst += frame)
                std::memcpy(dst, src, bytes);
            break;
        }
    }
}

Sys_Task::EResult FF_AudioProcessWriteFiles::IssueWrites(FF_AudioProcessBlock* iBlockP,
                                                         int64_t iCount)
{
    Sys_Thread::ThreadHandle currentThread = Sys_Thread::GetCurrentThread();
    CMN_ASSERT_TEXT(currentThread.Get() != nullptr, "currentThread.Get() != NULL");
    Sys_SyncObject::HandleList completions;
    const int64_t offset = mStartSample + mSamplesWritten.load();
    for (size_t i = 0; i < mFiles.size(); ++i)
    {
        FF_AsyncAudioFileIOParams& params = *mParams[i];
        char* source = iBlockP ? iBlockP->GetBuffer(i)
                               : mBuffer.get() + int64_t(i) * mCapacity * mBytesPerSample;
        params.SetBuffer(source);
        params.SetNumSamples(iCount);
        params.SetSampleOffset(offset);
        params.GetCompletionEvent()->Reset();
        completions.emplace_back(params.GetCompletionEvent().Get());
        // The buffer's contents are not needed afterwards: the front may convert in place.
        mFiles[i]->WriteAsync(&params, mByteOrder, true);
        ++mNumWrites;
    }
    mWriting = iCount;
    currentThread->Block(completions, false);
    mState = 1;
    return eResult_Block;
}

Sys_Task::EResult FF_AudioProcessWriteFiles::Written()
{
    for (size_t i = 0; i < mParams.size(); ++i)
    {
        mParams[i]->ThrowIfErrorOccurred();
        if (mParams[i]->GetNumSamplesTransferred() != mWriting)
            throw std::runtime_error("\"" + mFiles[i]->GetFileLoc().GetFullPath() +
                                     "\": the disk took only part of a write");
    }
    const int64_t written = mSamplesWritten.load() + mWriting;
    CMN_ASSERT_TEXT(written <= mSamplesToWrite.load(), "mSamplesWritten <= mSamplesToWrite");
    mSamplesWritten.store(written);
    AddUnitsProcessed(mWriting);
    mWriting = 0;
    mBuffered = 0;
    mState = 0;
    if (mInputBlock)
        ReturnBlockToPool(mInputBlock.release());
    if (written < mSamplesToWrite.load())
        return eResult_Yield;

    CMN_ASSERT(!mHeldBlock);
    for (size_t i = 0; i < mFiles.size(); ++i)
    {
        FF_AudioFile& file = *mFiles[i];
        if (i < mOverviews.size() && !mOverviews[i].IsNull() && mOverviews[i].HasBytes())
            FF_AudioOverviewMgr::SetEmbeddedOverview(file, mOverviews[i]);
        file.Flush();
        if (mOpenedHere[i])
        {
            file.Close();
            mOpenedHere[i] = false;
        }
    }
    // Outputs written under a temporary name (Sys_AtomicOutput) get their final names once
    // complete and closed; a failure here aborts the stage, which deletes every output.
    for (const FF_AudioFileRef& file : mFiles)
        if (!file->IsOpen())
            Sys_AtomicOutput::Commit(file->GetFileLoc());
    mFiles.clear();
    mOverviews.clear();
    mFinished.store(true);
    return eResult_Done;
}

void FF_AudioProcessWriteFiles::AbortImpl()
{
    Sys_StAcquireMutex lock(GetProcessMutex());
    if (mFinished.load() || mAborted)
        return;
    mAborted = true;
    CloseFiles(true);
    for (const FF_AudioFileRef& file : mFiles)
        Sys_FileUtils::DeleteFile(file->GetFileLoc());
    mFiles.clear();
    mOverviews.clear();
}

void FF_AudioProcessWriteFiles::CloseFiles(bool iAll)
{
    for (size_t i = 0; i < mFiles.size(); ++i)
    {
        FF_AudioFile& file = *mFiles[i];
        try
        {
            if (iAll)
                while (file.IsOpen())
                    file.Close();
            else if (i < mOpenedHere.size() && mOpenedHere[i] && file.IsOpen())
                file.Close();
        }
        catch (...)
        {
            // Closing is best effort here: the file goes, or was never finished.
        }
        if (i < mOpenedHere.size())
            mOpenedHere[i] = false;
    }
}

void FF_AudioProcessWriteFiles::Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*)
{
    CMN_ASSERT_TEXT(false, "0");
}
