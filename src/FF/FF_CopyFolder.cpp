#include "FF/FF_CopyFolder.h"

#include <algorithm>

#include "Cmn_Assert.h"
#include "L10N_Utils.h"

// ---- FF_CopyFolderProcess ----------------------------------------------------------------

FF_CopyFolderProcess::FF_CopyFolderProcess(const Sys_FileLoc& iSource,
                                           const Sys_FileLoc& iDestination,
                                           Sys_FileUtils::StDeleteFiles* iDeleterP,
                                           RenamingMap* iRenamedP)
    : mSource(iSource), mDestination(iDestination), mDeleterP(iDeleterP), mRenamedP(iRenamedP),
      mTotalBytes(Sys_FileUtils::GetSpaceRequiredToCopyFolder(iSource, 1))
{
}

FF_CopyFolderProcess::~FF_CopyFolderProcess() = default;

std::string FF_CopyFolderProcess::GetDescription() const
{
    return L10N_Utils::GetText(0, 40,
                               {mSource.GetName(), GetDestination().GetParentFolder().GetName()});
}

Sys_FileLoc FF_CopyFolderProcess::GetDestination() const
{
    std::lock_guard<std::mutex> lock(mDestinationMutex);
    return mDestination;
}

Sys_Task::EResult FF_CopyFolderProcess::ExecImpl()
{
    if (IsAbortRequested())
        return eResult_Aborted;
    const Sys_FileLoc destination = Sys_FileUtils::HandleDuplicateName(GetDestination());
    {
        std::lock_guard<std::mutex> lock(mDestinationMutex);
        mDestination = destination;
    }
    if (mDeleterP)
        mDeleterP->Add(destination);
    Sys_FileLoc result;
    Sys_FileUtils::CopyFolderHandleDuplicateNames(mSource, destination, mRenamedP, &result);
    if (!result.IsEmpty() && result != destination)
    {
        // Taken meanwhile by someone else: the copy went elsewhere, and that is ours to undo.
        if (mDeleterP)
            mDeleterP->Add(result);
        std::lock_guard<std::mutex> lock(mDestinationMutex);
        mDestination = result;
    }
    mDone = true;
    return eResult_Done;
}

// ---- FF_CopyFolderConstructor ------------------------------------------------------------

FF_CopyFolderConstructor::FF_CopyFolderConstructor(const Sys_FileLoc& iSource) : mSource(iSource) {}

int64_t FF_CopyFolderConstructor::GetUnitsToProcess() const
{
    return Sys_FileUtils::GetSpaceRequiredToCopyFolder(mSource, 1);
}

bool FF_CopyFolderConstructor::GetSpaceRequiredOnVolume(const Sys_Volume& iVolume,
                                                        int64_t& oBytes) const
{
    oBytes = 0;
    if (mDstFolder.IsEmpty() || mDstFolder.GetVolume() != iVolume)
        return false;
    const int64_t unit = std::max<int64_t>(1, iVolume.GetMinimumAllocationSize());
    oBytes = Sys_FileUtils::GetSpaceRequiredToCopyFolder(mSource, unit);
    return true;
}

FF_BatchProcess::BatchProcessHandle FF_CopyFolderConstructor::CreateBatchProcessImpl()
{
    CMN_ASSERT_TEXT(!mDstFolder.IsEmpty(), "!mDstFolder.IsEmpty()");
    const Sys_FileLoc destination(mDstFolder, mDstName.empty() ? mSource.GetName() : mDstName,
                                  Sys_FileType::cFolder);
    return FF_BatchProcess::BatchProcessHandle(
        new FF_CopyFolderProcess(mSource, destination, GetFileDeleter(), mRenamedP));
}
