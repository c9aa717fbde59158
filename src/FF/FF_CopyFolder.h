// Copying a folder tree as a batch process.
//
// FF_CopyFolderProcess copies in one step, with Sys_FileUtils::CopyFolderHandleDuplicateNames:
// once begun it can be neither cut into slices nor cancelled; an abort before it begins makes
// nothing, an abort during it takes effect when it is over. The destination's final name
// (Sys_FileUtils::HandleDuplicateName of the one asked for) is listed on the StDeleteFiles
// before the copy starts, so that a failure, or a cancel that came during the copy, removes
// the whole tree. The renaming map, when asked for, receives old source location -> new
// destination location for every file copied.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "FF/FF_BatchProcess.h"
#include "FF/FF_BatchProcessConstructor.h"
#include "Sys_FileLoc.h"
#include "Sys_FileUtils.h"

class FF_CopyFolderProcess : public FF_BatchProcess
{
public:
    using RenamingMap = std::map<Sys_FileLoc, Sys_FileLoc>;

    // iDestination: the folder to make (a new name when it is taken). iDeleterP and
    // iRenamedP are not owned and may be null; iRenamedP is written by the step and may be
    // read once the process has ended.
    FF_CopyFolderProcess(const Sys_FileLoc& iSource, const Sys_FileLoc& iDestination,
                         Sys_FileUtils::StDeleteFiles* iDeleterP, RenamingMap* iRenamedP = nullptr);
    ~FF_CopyFolderProcess() override;

    // The bytes of the files in the source tree.
    int64_t GetUnitsToProcess() const override { return mTotalBytes; }
    // 0 until the step is over, then 100.
    int32_t GetPercentCompleted() const override { return mDone.load() ? 100 : 0; }
    std::string GetDescription() const override;
    // The destination asked for; once the process has ended, the one actually made.
    Sys_FileLoc GetDestination() const;

protected:
    EResult ExecImpl() override;

private:
    const Sys_FileLoc mSource;
    mutable std::mutex mDestinationMutex;
    Sys_FileLoc mDestination;
    Sys_FileUtils::StDeleteFiles* const mDeleterP;
    RenamingMap* const mRenamedP;
    const int64_t mTotalBytes;
    std::atomic<bool> mDone{false};
};

class FF_CopyFolderConstructor : public FF_BatchProcessConstructor
{
public:
    explicit FF_CopyFolderConstructor(const Sys_FileLoc& iSource);

    void SetDstFolderLoc(const Sys_FileLoc& iFolder) override { mDstFolder = iFolder; }
    // The new folder's name; default: the source's.
    void SetDstName(const std::string& iName) { mDstName = iName; }
    // Receives the renamings of the process made next (not owned).
    void SetRenamingMap(FF_CopyFolderProcess::RenamingMap* iRenamedP) { mRenamedP = iRenamedP; }
    // The bytes of the files in the source tree.
    int64_t GetUnitsToProcess() const override;
    // The space the tree takes on iVolume; false and 0 when iVolume is not the destination's.
    bool GetSpaceRequiredOnVolume(const Sys_Volume& iVolume, int64_t& oBytes) const override;

protected:
    // Asserts "!mDstFolder.IsEmpty()".
    FF_BatchProcess::BatchProcessHandle CreateBatchProcessImpl() override;

private:
    const Sys_FileLoc mSource;
    Sys_FileLoc mDstFolder;
    std::string mDstName;
    FF_CopyFolderProcess::RenamingMap* mRenamedP = nullptr;
};
