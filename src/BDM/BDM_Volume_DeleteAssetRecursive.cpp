#include "BDM/BDM_Volume_DeleteAssetRecursive.h"

#include <list>

#include "BDM/BDM_Volume.h"
#include "Cmn_Assert.h"
#include "Cmn_Exception.h"
#include "L10N_ExceptionData.h"
#include "Sys_FileUtils.h"

BDM_Volume_DeleteAssetRecursive::BDM_Volume_DeleteAssetRecursive(BDM_Volume& iVolume,
                                                                 const BDM_KeyHandle& iKey)
    : mVolume(iVolume), mVolumeHold(&iVolume), mKey(iKey)
{
    CMN_ASSERT(mKey && mVolume.GetDatabase());
    SetProgressUnitsType(BDM_TaskProgress::eUnitsType_Files);
}

BDM_Volume_DeleteAssetRecursive::~BDM_Volume_DeleteAssetRecursive() = default;

bool BDM_Volume_DeleteAssetRecursive::DeleteFiles(const BDM_KeyHandle& iKey)
{
    const BDM_AssetHandle entry = mVolume.GetAsset(iKey); // resolves against the volume
    if (!entry)
        return false;
    bool all = true;
    std::list<BDM_KeyHandle> children;
    entry->GetChildren(&children);
    for (const BDM_KeyHandle& child : children)
        all = DeleteFiles(child) && all;
    Sys_FileLoc loc;
    const bool there = entry->ResolveFileSystemAlias(&loc);
    if (there && (!all || loc.IsVolumeRoot()))
    {
        ++mNumKept;
        return false;
    }
    if (there)
    {
        try
        {
            if (const BDM_AssetHandle file = mVolume.GetFileSystemAsset(loc))
                mVolume.GetFileSystemBin().DeleteAsset(file->GetKey());
        }
        catch (const Cmn_CancelException&)
        {
            throw;
        }
        catch (...)
        {
        }
        if (Sys_FileUtils::Exists(loc))
        {
            ++mNumKept;
            return false;
        }
    }
    mDeleted.push_back(iKey);
    UpdateUnitsCompleted(1);
    return true;
}

void BDM_Volume_DeleteAssetRecursive::DeleteEntries()
{
    BDM_Bin& database = *mVolume.GetDatabase();
    // Deepest first: a folder's entry goes after (and with) those below it.
    for (const BDM_KeyHandle& key : mDeleted)
        if (database.GetAsset(key))
            database.DeleteAsset(key);
    if (BDM_Cache* cacheP = mVolume.GetCache())
        cacheP->ClearEntriesForBin(&mVolume);
    mDeleted.clear();
    mVolume.Commit();
    mStage = 2;
}

void BDM_Volume_DeleteAssetRecursive::DeleteNow()
{
    CMN_ASSERT(mStage == 0);
    DeleteFiles(mKey);
    DeleteEntries();
}

bool BDM_Volume_DeleteAssetRecursive::Load()
{
    if (mStage == 0)
    {
        DeleteFiles(mKey);
        mStage = 1;
        return false;
    }
    if (mStage == 1)
        DeleteEntries();
    return true;
}

void BDM_Volume_DeleteAssetRecursive::CancelLoadingPrivate(bool iAlsoGroups)
{
    BDM_LazyObjectHandle hold(GetRefCount() > 0 ? this : nullptr);
    const bool late = mStage == 1;
    if (late)
        DeleteEntries();
    BDM_LazyObject::CancelLoadingPrivate(iAlsoGroups);
    if (late)
        L10N_Throw(12,
                   91); // "Files have already been deleted. Database updating cannot be cancelled."
}
