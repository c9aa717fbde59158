#include "FF/FF_CopyFile.h"

#include <algorithm>

#include "Cmn_Assert.h"
#include "L10N_Utils.h"

namespace
{
// The bytes of the range [iOffset, iOffset + iLength) that the source holds.
int64_t RangeBytes(const Sys_FileLoc& iSource, int64_t iOffset, int64_t iLength)
{
    const int64_t size = Sys_FileUtils::GetFileDataForkSize(iSource);
    const int64_t available = std::max<int64_t>(0, size - iOffset);
    return iLength < 0 ? available : std::min(iLength, available);
}
} // namespace

// ---- FF_CopyFileProcess ------------------------------------------------------------------

FF_CopyFileProcess::FF_CopyFileProcess(const Sys_FileLoc& iSource, const Sys_FileLoc& iDestination,
                                       int64_t iOffset, int64_t iLength,
                                       Sys_FileUtils::StDeleteFiles* iDeleterP, int32_t iStepSize)
    : mSource(iSource), mDestination(iDestination), mOffset(iOffset), mLength(iLength),
      mDeleterP(iDeleterP), mStepSize(iStepSize), mMutex(Sys_Mutex::Create(eSys_MutexType_Plain))
{
    mTotalBytes = RangeBytes(iSource, iOffset, iLength);
}

FF_CopyFileProcess::~FF_CopyFileProcess() = default;

int32_t FF_CopyFileProcess::GetPercentCompleted() const
{
    const int64_t total = mTotalBytes.load();
    if (total <= 0)
        return GetStatus() == eStatus_Complete ? 100 : 0;
    return int32_t(std::clamp<int64_t>(mBytesDone.load() * 100 / total, 0, 100));
}

std::string FF_CopyFileProcess::GetDescription() const
{
    const Sys_FileLoc destination = GetDestination();
    return L10N_Utils::GetText(0, 40, {mSource.GetName(), destination.GetParentFolder().GetName()});
}

Sys_FileLoc FF_CopyFileProcess::GetDestination() const
{
    Sys_StAcquireMutex lock(*mMutex);
    return mDestination;
}

void FF_CopyFileProcess::SetUp()
{
    const Sys_FileLoc parent = mDestination.GetParentFolder();
    if (!parent.IsEmpty() && !Sys_FileUtils::Exists(parent))
        Sys_FileUtils::CreateFolder(parent);
    const Sys_FileLoc destination = Sys_FileUtils::HandleDuplicateName(mDestination);
    mCopier = Sys_FileUtils::CreateFileCopier(mSource, destination, mOffset, mLength, mStepSize);
    mDestination = destination;
    if (mDeleterP)
        mDeleterP->Add(destination);
    mTotalBytes = mCopier->GetTotalBytes();
}

Sys_Task::EResult FF_CopyFileProcess::ExecImpl()
{
    Sys_StAcquireMutex lock(*mMutex);
    if (IsAbortRequested())
    {
        if (mCopier)
            mCopier->Abort();
        return eResult_Aborted;
    }
    if (!mCopier)
        SetUp();
    const bool more = mCopier->CopyNextStep();
    mBytesDone = mCopier->GetBytesCopied();
    if (!more && mCopier->IsFinished())
        return eResult_Done;
    if (!more) // aborted under us
        return eResult_Aborted;
    return eResult_Requeue;
}

void FF_CopyFileProcess::AbortImpl()
{
    Sys_StAcquireMutex lock(*mMutex);
    if (mCopier)
        mCopier->Abort();
}

// ---- FF_CopyFileConstructor --------------------------------------------------------------

FF_CopyFileConstructor::FF_CopyFileConstructor(const Sys_FileLoc& iSource, int64_t iOffset,
                                               int64_t iLength)
    : mSource(iSource), mOffset(iOffset), mLength(iLength)
{
}

int64_t FF_CopyFileConstructor::GetUnitsToProcess() const
{
    return RangeBytes(mSource, mOffset, mLength);
}

bool FF_CopyFileConstructor::GetSpaceRequiredOnVolume(const Sys_Volume& iVolume,
                                                      int64_t& oBytes) const
{
    oBytes = 0;
    if (mDstFolder.IsEmpty() || mDstFolder.GetVolume() != iVolume)
        return false;
    const int64_t bytes = GetUnitsToProcess();
    const int64_t unit = std::max<int64_t>(1, iVolume.GetMinimumAllocationSize());
    oBytes = (bytes + unit - 1) / unit * unit;
    return true;
}

FF_BatchProcess::BatchProcessHandle FF_CopyFileConstructor::CreateBatchProcessImpl()
{
    CMN_ASSERT_TEXT(!mDstFolder.IsEmpty(), "!mDstFolder.IsEmpty()");
    const Sys_FileLoc destination(mDstFolder, mDstName.empty() ? mSource.GetName() : mDstName);
    return FF_BatchProcess::BatchProcessHandle(new FF_CopyFileProcess(
        mSource, destination, mOffset, mLength, GetFileDeleter(), mStepSize));
}
