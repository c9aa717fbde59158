// The top of the browser: a bin whose entries are the mounted volumes and the catalogs.
//
// Design:
//  1. Every key of the workspace is a BDM_WorkspaceKey: the bin that the inner key belongs
//     to and the inner key. The root is the key with neither. A volume's entry wraps the
//     file-system key of the volume's root, in the file-system bin, so that the workspace can
//     be browsed before any volume database exists; a catalog's entry wraps the catalog's
//     root in the catalog bin.
//  2. RefreshVolumes brings the volume list up to date with the mount table: volumes that
//     went away are removed after the walk (their keys go stale: GetVolume answers null), new
//     ones are appended, and entries of volumes still mounted where they were keep their
//     keys. A volume at a new mount point is entered again under its new root; its database,
//     known by the volume's identifier, stays the same.
//  3. The workspace database and the catalogs are made by the database adapter: the
//     workspace database is set with SetDatabase and committed after each refresh; catalog
//     bins come from the factory of SetCatalogFactory. Without a factory the catalog list
//     stays empty and NewCatalog is a run-time error.
//  4. Copy, move and delete act on the inner bins: a key is unwrapped to its bin and inner
//     key (an entry without an inner key stands for its bin's root), the inner bin does the
//     work, and what comes back is wrapped again. A move stays within one inner bin; the
//     entries of volumes and catalogs themselves, and the root, are never deleted here.
//  5. A volume is unmounted only when it is not the system's root, no background task works
//     on it and nothing keeps it in use (CanUnmountVolume); the unmount itself goes through
//     the function of SetUnmountFunction (Sys_Volume::Unmount unless a test sets another).
//  6. A selection of entries becomes a query area of (bin, folder key) pairs: a volume
//     searches its database when it has one, else its file system; a catalog its own root;
//     a folder inside either is searched from that folder. Files are no search roots.
// Threads: the browser's thread.
#pragma once

#include <list>
#include <string>
#include <utility>
#include <vector>

#include <set>

#include "BDM/BDM_FileBasedBin.h"
#include "BDM/BDM_LazyObject.h"
#include "BDM/BDM_Volume.h"
#include "Sys_Volume.h"

class BDM_QueryArea;
using BDM_VolumeHandle = Cmn_AliasedRefCountPtr<BDM_Volume, BDM_Volume*, BDM_BinRefCountHack>;
using BDM_QueryAreaHandle = Cmn_PolymorphicHandle<BDM_QueryArea, Sys_ThreadSafeRefCountObject>;

// A background task that works on files of volumes tells which, so that a volume it uses is
// not unmounted under it. Iterators and workspace copiers are recognised without it.
class BDM_VolumeUser
{
public:
    virtual ~BDM_VolumeUser() = default;
    virtual bool IsUsingVolume(const Sys_Volume& iVolume) const = 0;
};

class BDM_WorkspaceKey : public BDM_Key
{
public:
    BDM_WorkspaceKey(BDM_Bin* iBinP, const BDM_KeyHandle& iInner) : mBin(iBinP), mInner(iInner) {}
    // The root (no inner key) is a folder; other keys are as their inner key.
    bool IsFolder() const override { return !mInner || mInner->IsFolder(); }
    EType GetType() const override { return eType_Workspace; }
    // By bin address, then by inner key (the root first); asserts
    // "iKey.GetType() == eType_Workspace".
    bool IsLessThan(const BDM_Key& iKey) const override;

    BDM_Bin* const mBin;
    const BDM_KeyHandle mInner;
};

class BDM_Workspace : public BDM_Bin
{
public:
    // Makes the (unopened) bin of a catalog file: the database adapter's share.
    using CatalogFactory = BDM_Bin* (*)(const BDM_URL& iURL, BDM_Cache* iCacheP);
    static void SetCatalogFactory(CatalogFactory iFactory);
    // Makes the file-system key of a folder: installed by the file-system adapter.
    using FolderKeyFactory = BDM_KeyHandle (*)(const Sys_FileLoc& iFolder);
    static void SetFolderKeyFactory(FolderKeyFactory iFactory);

    struct VolumeEntry
    {
        BDM_VolumeHandle mVolume;
        BDM_KeyHandle mKey;
    };
    struct CatalogEntry
    {
        BDM_URL mURL;
        BDM_BinHandle mBin;
        BDM_KeyHandle mKey;
    };

    explicit BDM_Workspace(BDM_Cache* iCacheP);
    ~BDM_Workspace() override;

    // The workspace database (null: none); committed at the end of each refresh.
    void SetDatabase(BDM_Bin* iBinP);
    BDM_Bin* GetDatabase() const { return mNeoBin.Get(); }
    // The folder of catalogs that RefreshCatalogs reads (default: the library's "Catalogs").
    void SetCatalogsFolder(const Sys_FileLoc& iFolder) { mCatalogsFolder = iFolder; }
    Sys_FileLoc GetCatalogsFolder() const;

    // The volume of an entry, or null (not a volume entry, or a stale key).
    BDM_Volume* GetVolume(const BDM_KeyHandle& iKey) const;
    // The known volume with this identifier, or null.
    BDM_Volume* GetVolume(const Sys_Volume& iVolume) const;
    // The entry key of a known volume, or null.
    BDM_KeyHandle GetVolumePtrAsKey(const Sys_Volume& iVolume) const;
    // A new volume bin, its database in the volume's own folder; not entered in the list.
    BDM_VolumeHandle FindOrCreateVolume(const Sys_Volume& iVolume);
    void RefreshVolumes();
    // Reads the catalogs folder: existing entries are kept by location, new files get
    // entries, entries whose file went are closed and removed.
    void RefreshCatalogs();
    void Refresh();
    // Takes the volume of iKey out of the list (and its assets out of the cache).
    void RemoveVolume(const BDM_KeyHandle& iKey);
    void RemoveCatalog(const BDM_KeyHandle& iKey);
    // Asserts "!name.empty()"; a used name throws message 1264 "A Catalog with that name
    // already exists."; otherwise creates the catalog file through the factory.
    BDM_KeyHandle NewCatalog(const std::string& iName);
    // The bin of a catalog entry, or null.
    BDM_Bin* GetCatalog(const BDM_KeyHandle& iKey) const;
    // The entry of a location in the database of its volume (a workspace key over the
    // volume's key), made as BDM_Volume::FindOrCreateEntryForLocation makes it; the volume's
    // database is opened (made when missing) on this first need. Null for a location on no
    // listed volume.
    BDM_KeyHandle FindOrCreateEntryForLocation(const Sys_FileLoc& iFileLoc);
    // Removes the entry of a location from its volume's database; false when there is none.
    bool DeleteEntryForLocation(const Sys_FileLoc& iFileLoc);
    // The volume or catalog bin backed by iURL, or null; the file must exist.
    BDM_FileBasedBin* GetFileBasedBin(const BDM_URL& iURL) const;

    const std::vector<VolumeEntry>& GetVolumes() const { return mVolumes; }
    const std::vector<CatalogEntry>& GetCatalogs() const { return mCatalogs; }

    // Unmounting. CanUnmountVolume answers false with the reason in *oWhyNotP (when given):
    // "Can't unmount boot volume." (1269) for the volume of "/"; "Can't unmount because the
    // volume is being used by a background task." (1281) when a managed or running task
    // works on the volume's bins or on files on it; "Cannot unmount volume. Some files may be
    // in use." (1273) while the volume bin is in use. A key that names no volume asserts.
    bool CanUnmountVolume(const BDM_KeyHandle& iKey, std::string* oWhyNotP = nullptr) const;
    // Throws the message of CanUnmountVolume when refused; else closes the volume bin,
    // unmounts (a failure throws and leaves the entry listed) and removes the entry.
    void UnmountVolume(const BDM_KeyHandle& iKey);
    using UnmountFunction = void (*)(const Sys_Volume& iVolume);
    // Null restores Sys_Volume::Unmount.
    static void SetUnmountFunction(UnmountFunction iFunction);

    // The area that searches a selection of entries (see the design note); the selection is
    // compacted first. Bins are opened (for writing, as elsewhere) where they are not open.
    BDM_QueryAreaHandle GenerateQueryAreaFromSelection(const std::list<BDM_KeyHandle>& iKeys);

    BDM_KeyHandle GetRoot() override { return mRootKey; }
    // Copies into the inner bin of iParentKey through that bin's CopyAsset. iSrcBin may be
    // this workspace (iSrcKey then a workspace key) or any other bin. The answer is a
    // BDM_WorkspaceAssetCopier. The root is no destination (asserted).
    BDM_LazyObjectHandle CopyAsset(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                                   const BDM_KeyHandle& iParentKey) override;
    // Within the one inner bin of both keys; keys of two bins throw std::runtime_error.
    BDM_LazyObjectHandle MoveAsset(const BDM_KeyHandle& iKey,
                                   const BDM_KeyHandle& iParentKey) override;
    bool CanMoveTo(const BDM_KeyHandle& iKey, const BDM_KeyHandle& iParentKey) override;
    // Never the root or the entry of a volume or catalog; else the inner bin's answer.
    bool CanDeleteAsset(const BDM_KeyHandle& iKey) override;
    // Drops every key that lies inside another key of the list (or repeats one), keeping
    // the order of the rest. Inside means: below a volume's entry, any key of that volume
    // (its database, or files on its file system); below a catalog's entry, any key of that
    // catalog; below a folder, what lies in it by location or by the inner bin's parents.
    void CompactSelection(std::list<BDM_KeyHandle>* ioKeysP) override;
    void Commit() override;

protected:
    void OpenImpl(EOpenFlag iFlag) override;
    void CloseImpl() override;
    BDM_Asset* GenerateAsset(const BDM_KeyHandle& iKey) override;
    void DeleteAssetImpl(const BDM_KeyHandle& iKey) override;

private:
    friend class BDM_WorkspaceRootAsset;
    BDM_Bin& FileSystemBin();
    const VolumeEntry* FindVolumeEntry(const BDM_KeyHandle& iKey) const;
    const CatalogEntry* FindCatalogEntry(const BDM_KeyHandle& iKey) const;
    // Opens the catalog bin of an entry (for writing) when it is not open.
    void OpenCatalogOf(const BDM_KeyHandle& iKey);
    // The volume that a key lies on (its entry, its database, or a location on it), or null.
    BDM_Volume* VolumeOfKey(const BDM_KeyHandle& iKey) const;
    bool LiesInside(const BDM_KeyHandle& iKey, const BDM_KeyHandle& iOuter) const;

    BDM_BinHandle mNeoBin;
    std::vector<CatalogEntry> mCatalogs;
    std::vector<VolumeEntry> mVolumes;
    BDM_KeyHandle mRootKey;
    Sys_FileLoc mCatalogsFolder;
    static CatalogFactory sCatalogFactory;
    static FolderKeyFactory sFolderKeyFactory;
    static UnmountFunction sUnmountFunction;
};

// The workspace's copy: waits for the inner bin's copier, then finds the copy in the
// destination folder (the key the inner copier tells, else the one child that was not there
// before, else the child named as the source) and wraps it in a workspace key.
class BDM_WorkspaceAssetCopier : public BDM_LazyObject
{
public:
    BDM_WorkspaceAssetCopier(BDM_Bin& iSrcBin, BDM_Bin& iDstBin, const BDM_KeyHandle& iDstParent,
                             const std::string& iSourceName, std::list<BDM_KeyHandle> iBefore,
                             const BDM_LazyObjectHandle& iInner);
    // The workspace key of the copy once loaded; null before, or when it cannot be told.
    const BDM_KeyHandle& GetCopiedAssetKey() const { return mCopied; }
    const BDM_LazyObjectHandle& GetInnerCopier() const { return mInner; }
    BDM_Bin& GetSourceBin() const { return *mSrcBin; }
    BDM_Bin& GetDestinationBin() const { return *mDstBin; }

protected:
    bool Load() override;

private:
    BDM_KeyHandle FindCopy();

    BDM_BinHandle mSrcBin;
    BDM_BinHandle mDstBin;
    BDM_KeyHandle mDstParent;
    std::string mSourceName;
    std::list<BDM_KeyHandle> mBefore;
    BDM_LazyObjectHandle mInner;
    BDM_KeyHandle mCopied;
};

// An entry of the workspace: a thin wrapper over the asset of the inner key in its bin.
// cAssetStatus, the container flags and cAlias are its own; so are, on a volume's entry,
// cVolumeCapacity, cVolumeFreeSpace (read from the volume at every ask, never stored) and
// cAudioDesignation and cVideoDesignation (the volume's designations in BDM_Settings; a
// value that the settings' validator refuses is not taken). Every other attribute is the
// inner asset's, observed by this one.
class BDM_WorkspaceAsset : public BDM_Asset
{
public:
    BDM_WorkspaceAsset(BDM_Workspace* iWorkspaceP, const BDM_KeyHandle& iKey,
                       const BDM_AssetHandle& iInner);
    ~BDM_WorkspaceAsset() override;

    const BDM_AssetHandle& GetInner() const { return mInner; }
    BDM_Attribute* GetAttribute(const BDM_AttributeTag& iTag) override;
    BDM_KeyHandle GetKey() const override { return mKey; }
    bool IsContainer() const override { return mInner->IsContainer(); }
    // Children are the inner asset's, each wrapped in a workspace key.
    BDM_LazyObjectHandle
    EnumerateChildren(std::unique_ptr<ChildEnumerator::Client> iClient) override;
    void GetChildren(std::list<BDM_KeyHandle>* oKeysP) override;
    BDM_AssetHandle GetParent() override;
    bool IsRoot() override { return false; }
    BDM_EAssetType GetType() override { return mInner->GetType(); }
    std::string GetName() override { return mInner->GetName(); }
    bool ResolveFileSystemAlias(Sys_FileLoc* oLocP) override
    {
        return mInner->ResolveFileSystemAlias(oLocP);
    }

protected:
    BDM_Attribute* Fetch(const BDM_AttributeTag& iTag) override;

private:
    BDM_KeyHandle mKey;
    BDM_AssetHandle mInner;
    std::set<BDM_Attribute*> mObserved;
};
