// A copy onto a volume: the file-system bin's copier puts the file or folder on the disk,
// then the copy is entered in the volume's database.
//
// Stages of Load (each entered again after its dependencies have loaded):
//  0. the file-system copier is made a dependency;
//  1. the copy is entered under the destination folder's entry (ImportEntry) and takes the
//     attributes that the source's entry keeps for itself (BDM_Utils::TransferAliasAttributes);
//     a folder's tree is entered by an indexing pass over the copy, made a dependency;
//  2. the database is committed; done.
// A cancel before stage 2 has ended takes back what was done: the copied file or folder
// goes from the disk and its entry from the database. A copy whose file-system copier
// failed leaves no entry (the file layer leaves no partial file under the final name).
// The copier holds its volume (see BDM_Volume::IsInUse) until it is destroyed.
// Threads: the browser's thread (the lazy object queue).
#pragma once

#include "BDM/BDM_Asset.h"
#include "BDM/BDM_LazyObject.h"
#include "Sys_FileLoc.h"

class BDM_Volume;

class BDM_Volume_AssetCopier : public BDM_LazyObject
{
public:
    // iSource: the asset being copied (its bin's entry, for the kept attributes);
    // iParentKey: the destination folder's entry; iFileCopier: the file-system bin's copier.
    BDM_Volume_AssetCopier(BDM_Volume& iVolume, const BDM_AssetHandle& iSource,
                           const BDM_KeyHandle& iParentKey,
                           const BDM_LazyObjectHandle& iFileCopier);
    ~BDM_Volume_AssetCopier() override;

    bool ShowInTaskManager() const override { return true; }
    // The entry of the copy, once it has been entered (null before).
    const BDM_KeyHandle& GetCopiedKey() const { return mCopiedKey; }
    // The copy on disk, once the file-system copier has loaded (empty before).
    const Sys_FileLoc& GetCopiedFileLoc() const { return mCopiedLoc; }

protected:
    bool Load() override;
    void CancelLoadingPrivate(bool iAlsoGroups) override;

private:
    BDM_Volume& mVolume;
    BDM_BinHandle mVolumeHold;
    BDM_AssetHandle mSource;
    BDM_KeyHandle mParentKey;
    BDM_LazyObjectHandle mFSAssetCopier;
    BDM_LazyObjectHandle mFolderPass;
    BDM_KeyHandle mCopiedKey;
    Sys_FileLoc mCopiedLoc;
    int32_t mStage = 0;
};
