// The delete of a volume's entry with its file or folder tree.
//
// Stages of Load:
//  0. the files: the entries below the root, deepest first, each file deleted through the
//     file-system bin, each folder once everything of it in the database went (the folder
//     goes with what is left in it that the database does not list). A file or folder that
//     cannot be deleted is kept with the folders that hold it; one that is already gone
//     counts as deleted. Load answers false after this stage.
//  1. the database: the entries of what went are deleted, and the database committed.
// Cancel: before stage 0 nothing has happened and the cancel is plain. Once files are gone
// the database is brought up to date at once and the cancel throws message 1291 ("Files
// have already been deleted. Database updating cannot be cancelled.").
// The deleter holds its volume (see BDM_Volume::IsInUse) until it is destroyed.
// Threads: the browser's thread (the lazy object queue).
#pragma once

#include <cstdint>
#include <vector>

#include "BDM/BDM_LazyObject.h"
#include "BDM/BDM_Types.h"

class BDM_Volume;

class BDM_Volume_DeleteAssetRecursive : public BDM_LazyObject
{
public:
    BDM_Volume_DeleteAssetRecursive(BDM_Volume& iVolume, const BDM_KeyHandle& iKey);
    ~BDM_Volume_DeleteAssetRecursive() override;

    bool ShowInTaskManager() const override { return true; }
    // Both stages at once, in the caller's step (a delete that is not queued).
    void DeleteNow();
    // After stage 0: whether the files are gone, and how many items could not be deleted.
    bool FilesDeleted() const { return mStage > 0; }
    int32_t GetNumKept() const { return mNumKept; }

protected:
    bool Load() override;
    void CancelLoadingPrivate(bool iAlsoGroups) override;

private:
    // Deletes what the entry iKey names; true when it is gone (then its key is listed).
    bool DeleteFiles(const BDM_KeyHandle& iKey);
    void DeleteEntries();

    BDM_Volume& mVolume;
    BDM_BinHandle mVolumeHold;
    BDM_KeyHandle mKey;
    std::vector<BDM_KeyHandle> mDeleted; // entries whose file or folder went, deepest first
    int32_t mNumKept = 0;
    int32_t mStage = 0;
};
