// Indexing: bringing a volume's database up to date with the volume's file system.
//
// Design:
//  1. BDM_Synchronizer walks a folder tree of the file system (a BDM_Iterator over the
//     volume's file-system bin). For each folder, a BDM_FolderSynchronizer reconciles the
//     two child lists: the folder's own attributes first, then the database entries whose
//     file has gone are deleted (with what they hold), the files and folders new on disk are
//     entered, and the folder's time stamp is copied. For each child file that has an entry,
//     the walk either does nothing or runs a BDM_AssetSynchronizer; each sub-folder gets a
//     sub-synchronizer of its own.
//  2. Speed: a file whose modification date and data size (one stat) equal the stored
//     cFileModDate and cFileDataForkSize is unchanged: it is neither opened nor parsed, and
//     its entry is not written.
//  3. Entries change only where something changed: every attribute is compared before it is
//     written. A pass that finds nothing new writes only the indexed date of its root.
//  4. An entry whose file cannot be resolved stays: a folder that cannot be listed is not
//     reconciled, and its entries are counted offline. Only a folder the pass has listed
//     loses entries.
//  5. One Commit at the end of the outermost pass (the multi-pass flag); a pass that is
//     cancelled or killed leaves the database as it was at the last commit.
// Threads: the thread that drives the browser's queue.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "BDM/BDM_Iterator.h"
#include "Sys_FileLoc.h"

class BDM_Volume;

// What one pass did, entry by entry.
struct BDM_SyncCounts
{
    int64_t mAdded = 0;     // entries made for files and folders new on disk
    int64_t mRemoved = 0;   // entries deleted (with everything below them)
    int64_t mChanged = 0;   // files whose date or size changed, synchronised again
    int64_t mUnchanged = 0; // files left alone
    int64_t mOffline = 0;   // entries kept below folders that could not be listed
};

// Copies the indexed attributes of one asset onto another.
class BDM_AssetSynchronizer : public BDM_LazyObject
{
public:
    // Without iAllAttributes, cAssetTimestamp, cFileName, cFilePathComponents and
    // cFileVolumeID are left as they are.
    BDM_AssetSynchronizer(const BDM_AssetHandle& iSource, const BDM_AssetHandle& iDestination,
                          bool iAllAttributes);

    // Whether an asset synchroniser is at work now (on this thread's queue).
    static bool IsInSynchronizingContext() { return sIsInSynchronizingContext; }
    // The copy itself: every indexed tag (less the four above unless iAllAttributes) that
    // the source has set and the destination has, when the values differ. Returns how many
    // attributes were written.
    static int32_t CopyAttributes(BDM_Asset& iSource, BDM_Asset& iDestination,
                                  bool iAllAttributes);
    // Copies cAssetTimestamp and cFileModDate where they differ.
    static void SyncTimestamp(BDM_Asset& iSource, BDM_Asset& iDestination);

protected:
    // Waits for the source to load, copies, and for a file also the time stamp and the
    // indexed date (now); flushes the destination; one unit done.
    bool Load() override;

private:
    static bool sIsInSynchronizingContext;
    BDM_AssetHandle mSource;
    BDM_AssetHandle mDestination;
    bool mAllAttributes;
};

class BDM_Synchronizer;

// The two lists of one folder, made equal (see the design note).
class BDM_FolderSynchronizer : public BDM_LazyObject
{
public:
    explicit BDM_FolderSynchronizer(BDM_Synchronizer& iOwner);
    ~BDM_FolderSynchronizer() override;

protected:
    bool Load() override;

private:
    class SrcChildEnumeratorClient;
    friend class SrcChildEnumeratorClient;
    void Reconcile();

    BDM_Synchronizer& mOwner;
    int32_t mStage = 0;
    std::map<std::string, BDM_KeyHandle> mSourceChildren; // by file name
    std::map<std::string, BDM_KeyHandle>::iterator mNextNew;
};

// The recursive pass over one folder of a volume (see the design note).
class BDM_Synchronizer : public BDM_Iterator
{
public:
    // What the pass knows of one folder's database entries, by file name.
    struct Entry
    {
        BDM_KeyHandle mKey;
        bool mFolder = false;
        bool mHasDate = false;
        bool mHasSize = false;
        int64_t mModDate = 0;
        int64_t mSize = 0;
        bool mAddedNow = false; // made by this pass: nothing more to do
    };
    struct Folder
    {
        Sys_FileLoc mLoc;
        BDM_KeyHandle mKey; // in the volume's database
        std::map<std::string, Entry> mEntries;
    };

    // iSourceKey: the file-system key of the folder; iDestinationKey: its entry in the
    // volume's database, which must exist. The switches: write the indexed date of the
    // folder's entry at the end; set cFolderIndexedExhaustively on every folder passed; the
    // multi-pass flag, with one Commit of the volume at the end.
    BDM_Synchronizer(BDM_Volume& iVolume, const BDM_KeyHandle& iSourceKey,
                     const BDM_KeyHandle& iDestinationKey, bool iSetIndexedDate,
                     bool iSetIndexedExhaustively, bool iMultiPassWithCommit);

    BDM_LazyObjectHandle CreateOperator(const BDM_KeyHandle& iKey, BDM_Asset* iParentP,
                                        bool* oIsIteratorP) override;
    bool ShowInTaskManager() const override { return true; }

    const BDM_SyncCounts& GetCounts() const { return *mCounts; }
    BDM_Volume& GetVolume() const { return *mVolumeP; }
    Folder& GetFolder() { return *mFolder; }
    // The location of the file or folder being looked at (for a progress line).
    const Sys_FileLoc& GetCurrentLocation() const { return *mCurrent; }

protected:
    bool Load() override;

private:
    friend class BDM_FolderSynchronizer;
    BDM_Synchronizer(BDM_Synchronizer& iParent, const BDM_KeyHandle& iSourceKey,
                     const std::string& iName);
    // Reads the folder's entries; false when the folder cannot be listed.
    bool Begin();
    int64_t CountEntriesBelow(const BDM_KeyHandle& iKey);

    BDM_Volume* mVolumeP;
    BDM_BinHandle mVolumeHold;
    BDM_KeyHandle mDestinationKey;
    std::string mName; // in the parent folder, for a sub-folder
    std::shared_ptr<Folder> mParentFolder;
    std::shared_ptr<Folder> mFolder;
    std::shared_ptr<BDM_SyncCounts> mCounts;
    std::shared_ptr<Sys_FileLoc> mCurrent;
    bool mSetIndexedDate;
    bool mSetIndexedExhaustively;
    bool mBegun = false;
};
