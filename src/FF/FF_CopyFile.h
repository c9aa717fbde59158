// Copying one file (or a byte range of it) as a batch process, in steps.
//
// FF_CopyFileConstructor plans it: the source, the range, the destination folder and
// (optionally) a name other than the source's. FF_CopyFileProcess runs it:
//  - first step: creates the destination's folder if it is missing, takes the name that
//    Sys_FileUtils::HandleDuplicateName gives (a new one when the name is taken), makes the
//    copier (which creates the file) and lists the file on the StDeleteFiles; then copies
//    like any later step (so an empty file is done in the first step);
//  - each step: one copier step under the process's mutex; eResult_Done when every byte is
//    copied (the copier has closed the file), else eResult_Requeue.
//  - AbortImpl (any thread) takes the mutex and aborts the copier, which deletes the
//    unfinished destination; an abort before the first step makes no file at all.
// Progress (GetUnitsToProcess in bytes, GetPercentCompleted) may be read from any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "FF/FF_BatchProcess.h"
#include "FF/FF_BatchProcessConstructor.h"
#include "Sys_FileLoc.h"
#include "Sys_FileUtils.h"
#include "Sys_Mutex.h"

class FF_CopyFileProcess : public FF_BatchProcess
{
public:
    // iLength < 0: to the end of the source. iDeleterP (not owned, may be null) receives the
    // destination as soon as it exists. iStepSize: bytes per step.
    FF_CopyFileProcess(const Sys_FileLoc& iSource, const Sys_FileLoc& iDestination, int64_t iOffset,
                       int64_t iLength, Sys_FileUtils::StDeleteFiles* iDeleterP,
                       int32_t iStepSize = Sys_FileUtils::FileCopier::cDefaultStepSize);
    ~FF_CopyFileProcess() override;

    int64_t GetUnitsToProcess() const override { return mTotalBytes.load(); }
    int32_t GetPercentCompleted() const override;
    std::string GetDescription() const override;

    int64_t GetBytesCopied() const { return mBytesDone.load(); }
    // The destination asked for; after the first step, the one actually written.
    Sys_FileLoc GetDestination() const;

protected:
    EResult ExecImpl() override;
    void AbortImpl() override;

private:
    void SetUp();

    const Sys_FileLoc mSource;
    Sys_FileLoc mDestination;
    const int64_t mOffset;
    const int64_t mLength;
    Sys_FileUtils::StDeleteFiles* const mDeleterP;
    const int32_t mStepSize;
    Sys_Mutex::MutexHandle mMutex;
    std::unique_ptr<Sys_FileUtils::FileCopier> mCopier;
    std::atomic<int64_t> mBytesDone{0};
    std::atomic<int64_t> mTotalBytes{0};
};

class FF_CopyFileConstructor : public FF_BatchProcessConstructor
{
public:
    // iLength < 0: to the end of the source.
    FF_CopyFileConstructor(const Sys_FileLoc& iSource, int64_t iOffset = 0, int64_t iLength = -1);

    void SetDstFolderLoc(const Sys_FileLoc& iFolder) override { mDstFolder = iFolder; }
    // The destination's name; default: the source's.
    void SetDstName(const std::string& iName) { mDstName = iName; }
    void SetStepSize(int32_t iStepSize) { mStepSize = iStepSize; }
    // Bytes to copy: the range, cut at the source's end.
    int64_t GetUnitsToProcess() const override;
    // The bytes rounded up to the volume's allocation size; false and 0 when iVolume is not
    // the destination folder's.
    bool GetSpaceRequiredOnVolume(const Sys_Volume& iVolume, int64_t& oBytes) const override;

protected:
    // Asserts "!mDstFolder.IsEmpty()".
    FF_BatchProcess::BatchProcessHandle CreateBatchProcessImpl() override;

private:
    const Sys_FileLoc mSource;
    const int64_t mOffset;
    const int64_t mLength;
    Sys_FileLoc mDstFolder;
    std::string mDstName;
    int32_t mStepSize = Sys_FileUtils::FileCopier::cDefaultStepSize;
};
