#include "BDM/BDM_Volume_AssetCopier.h"

#include <stdexcept>

#include "BDM/BDM_Synchronizer.h"
#include "BDM/BDM_Utils.h"
#include "BDM/BDM_Volume.h"
#include "Cmn_Assert.h"

BDM_Volume_AssetCopier::BDM_Volume_AssetCopier(BDM_Volume& iVolume, const BDM_AssetHandle& iSource,
                                               const BDM_KeyHandle& iParentKey,
                                               const BDM_LazyObjectHandle& iFileCopier)
    : mVolume(iVolume), mVolumeHold(&iVolume), mSource(iSource), mParentKey(iParentKey),
      mFSAssetCopier(iFileCopier)
{
    CMN_ASSERT(mFSAssetCopier && mParentKey);
    SetProgressUnitsType(BDM_TaskProgress::eUnitsType_Files);
}

BDM_Volume_AssetCopier::~BDM_Volume_AssetCopier() = default;

bool BDM_Volume_AssetCopier::Load()
{
    switch (mStage)
    {
    case 0:
        mStage = 1;
        AddDependency(mFSAssetCopier.Get());
        return false;
    case 1:
    {
        CMN_ASSERT(mFSAssetCopier->IsLoaded());
        const auto getCopied = BDM_Volume::GetFileSystemHooks().mGetCopiedLocation;
        if (!getCopied || !getCopied(*mFSAssetCopier, &mCopiedLoc))
            throw std::runtime_error("The copy was not made.");
        const BDM_AssetHandle copy = mVolume.GetFileSystemAsset(mCopiedLoc);
        if (!copy)
            throw std::runtime_error(mCopiedLoc.GetFullPath() + ": the copy went away.");
        mCopiedKey = mVolume.ImportEntry(*copy, mCopiedLoc, mParentKey);
        if (mSource)
            BDM_Utils::TransferAliasAttributes(*mVolume.GetDatabase(), *mSource, mCopiedKey);
        mStage = 2;
        if (copy->IsContainer())
        {
            mFolderPass = BDM_LazyObjectHandle(
                new BDM_Synchronizer(mVolume, copy->GetKey(), mCopiedKey, true, true, false));
            AddDependency(mFolderPass.Get());
            return false;
        }
        [[fallthrough]];
    }
    default:
        mVolume.Commit();
        mStage = 3;
        return true;
    }
}

void BDM_Volume_AssetCopier::CancelLoadingPrivate(bool iAlsoGroups)
{
    BDM_LazyObjectHandle hold(GetRefCount() > 0 ? this : nullptr);
    const bool undo = mStage < 3 && !IsLoaded();
    BDM_LazyObject::CancelLoadingPrivate(iAlsoGroups);
    if (!undo)
        return;
    const auto getCopied = BDM_Volume::GetFileSystemHooks().mGetCopiedLocation;
    if (mCopiedLoc.IsEmpty() && getCopied)
        getCopied(*mFSAssetCopier, &mCopiedLoc);
    if (const BDM_AssetHandle copy =
            mCopiedLoc.IsEmpty() ? BDM_AssetHandle() : mVolume.GetFileSystemAsset(mCopiedLoc))
        mVolume.GetFileSystemBin().DeleteAsset(copy->GetKey());
    if (mCopiedKey)
    {
        mVolume.GetDatabase()->DeleteAsset(mCopiedKey);
        mCopiedKey = BDM_KeyHandle();
    }
    mStage = 3;
}
