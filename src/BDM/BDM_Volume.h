// A mounted volume as a browser store: the live file system of one disk joined to that
// disk's index database (the volume database).
//
// Design:
//  1. A volume is known by its Sys_Volume identifier, which stays the same for one file
//     system whatever its mount point. Its database and its overview cache live in the
//     folder named by that identifier (GetDatabaseFolder: eight hex digits under the
//     volumes folder), so a disk mounted elsewhere finds its database again.
//  2. The database bin is made by the database adapter through the factory installed with
//     SetDatabaseFactory, on the first Open; without a factory a volume can be listed and
//     browsed through its file-system bin, but not opened.
//  3. After every open the database's root must be of type BDM_eAssetType_VolumeRoot.
//  4. Assets of the volume (BDM_VolumeAsset) wrap the database's assets: they answer the
//     asset status and the container flags themselves and pass every other attribute on.
//  5. An entry stores where its file is as the volume's identifier (cFileVolumeID) and the
//     path components below the volume's mount point (cFilePathComponents, the root's list
//     empty), never an absolute path: an entry resolves against wherever the volume is
//     mounted now, so a disk seen under a new mount point needs no new indexing. An entry
//     whose volume is not mounted, or whose file is not there, does not resolve (offline).
//  6. The adapters fill two more seams: the file-system adapter makes keys of locations and
//     tells the location of its keys (SetFileSystemHooks); the database adapter enters a
//     file-system asset into a database bin (SetEntryImporter).
// Threads: the browser's thread.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "BDM/BDM_FileBasedBin.h"
#include "Sys_Volume.h"

class BDM_Volume : public BDM_FileBasedBin
{
public:
    // The name of a volume's database file in its folder.
    static constexpr const char* cDatabaseFileName = "Volume Database";

    // Makes the (unopened) database bin of a volume: the adapter's share. With the create
    // flag, the adapter's Open makes the root entry ("Root", type VolumeRoot) itself.
    using DatabaseFactory = BDM_Bin* (*)(const BDM_URL& iURL, const std::string& iVolumeName,
                                         BDM_Cache* iCacheP);
    static void SetDatabaseFactory(DatabaseFactory iFactory);
    static DatabaseFactory GetDatabaseFactory();

    // The file-system adapter's share: the key of a location in the file-system bins, and the
    // location that one of their keys names (false for a key of another kind).
    struct FileSystemHooks
    {
        BDM_KeyHandle (*mMakeKey)(const Sys_FileLoc& iLoc) = nullptr;
        bool (*mGetLocation)(const BDM_Key& iKey, Sys_FileLoc* oLocP) = nullptr;
        // Where a copier that the file-system bin's CopyAsset made put its copy, once it has
        // loaded; false before, or for another object.
        bool (*mGetCopiedLocation)(BDM_LazyObject& iCopier, Sys_FileLoc* oLocP) = nullptr;
    };
    static void SetFileSystemHooks(const FileSystemHooks& iHooks);
    static const FileSystemHooks& GetFileSystemHooks();

    // The database adapter's share: a row under iParentKey of iDatabase with every stored
    // attribute that iSource has (or the existing child of the same name, updated); its key.
    using EntryImporter = BDM_KeyHandle (*)(BDM_Bin& iDatabase, BDM_Asset& iSource,
                                            const BDM_KeyHandle& iParentKey);
    static void SetEntryImporter(EntryImporter iImporter);

    // What an indexing pass reads of a folder's entries: the key, the stored file name,
    // modification date and data size.
    struct ChildRecord
    {
        BDM_KeyHandle mKey;
        std::string mName;
        bool mHasModDate = false;
        bool mHasSize = false;
        int64_t mModDate = 0;
        int64_t mSize = 0;
    };
    // The database adapter's quick way to those records (one query for a folder); false for
    // a bin it does not know. Otherwise each child's asset is read.
    using ChildLister = bool (*)(BDM_Bin& iDatabase, const BDM_KeyHandle& iParentKey,
                                 std::vector<ChildRecord>* oChildrenP);
    static void SetChildLister(ChildLister iLister);

    // The path components of iLoc below the mount point of its volume ("" components
    // dropped; empty for the mount point itself).
    static BDM_StringList GetRelativeComponents(const Sys_FileLoc& iLoc);
    // The location that components below the mount point of volume iVolumeID name, where that
    // volume is mounted now; false when it is not mounted or nothing is there.
    static bool ResolveLocation(uint32_t iVolumeID, const BDM_StringList& iComponents,
                                Sys_FileLoc* oLocP);

    // The folder that holds the databases and overview caches of all volumes: the one set
    // here (an empty location restores the default), else "volumes" in the data folder.
    static void SetVolumesFolder(const Sys_FileLoc& iFolder);
    static Sys_FileLoc GetVolumesFolder();
    // The folder of one volume: its identifier as eight lower-case hex digits in the
    // volumes folder. Not created here.
    static Sys_FileLoc GetDatabaseFolder(uint32_t iVolumeID);
    static BDM_URL GetDatabaseURL(uint32_t iVolumeID);

    // Asserts that iVolume is valid (identifier not 0).
    BDM_Volume(BDM_Cache* iCacheP, const Sys_Volume& iVolume);
    ~BDM_Volume() override;

    const Sys_Volume& GetVolume() const { return mVolume; }
    // The volume's root folder (its mount point), from when the volume was made.
    const Sys_FileLoc& GetRootLoc() const { return mRootLoc; }
    // Whether the database file exists (it may exist while the volume is not open).
    bool HasDatabase() const;
    // The database bin, null until the first Open.
    BDM_Bin* GetDatabase() const { return mNeoBin.Get(); }
    // The live file system (audio files and folders), from BDM_Globals.
    BDM_Bin& GetFileSystemBin();

    // Forwarded to the database; the volume must be open.
    BDM_KeyHandle GetRoot() override;
    void Commit() override;

    // A BDM_Volume_AssetCopier that copies the file or folder of iSrcKey (any bin whose asset
    // resolves to a file) into the folder of the entry iParentKey, then enters the copy.
    // Refused before anything is written: a locked volume throws message 1271, a copy whose
    // bytes (a folder's whole tree) exceed the volume's free space message 1288. The volume
    // must be open for writing; the entry of iParentKey must resolve to a folder.
    BDM_LazyObjectHandle CopyAsset(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                                   const BDM_KeyHandle& iParentKey) override;
    // Moves the file or folder of the entry iKey into the folder iParentKey, on disk through
    // the file-system bin and then in the database; done when it returns (the answer is a
    // loaded placeholder). iParentKey is an entry of this volume or a file-system key of a
    // folder on it; a folder on another volume is refused (that is a copy). A name taken in
    // the destination throws message 1268; a source that does not resolve throws.
    BDM_LazyObjectHandle MoveAsset(const BDM_KeyHandle& iKey,
                                   const BDM_KeyHandle& iParentKey) override;
    // Gives the entry iKey's file or folder the name iName: the same as setting its
    // cFileName. A refused name throws the text of IsAttributeValueValidVoid; a name taken in
    // the folder throws message 1268.
    void RenameAsset(const BDM_KeyHandle& iKey, const std::string& iName);
    // A BDM_Volume_DeleteAssetRecursive for the entry iKey: its file or folder tree goes from
    // disk, then the entries of what went. A locked volume throws message 1272.
    BDM_LazyObjectHandle DeleteAssetRecursive(const BDM_KeyHandle& iKey);
    // The database's search terms, and a search of the database below iRoot (null: the root)
    // whose keys are this volume's (BDM_Volume_QueryResult). Null while the volume is not open.
    BDM_PredicateFactory* GetPredicateFactory() override;
    std::unique_ptr<BDM_QueryResult> Query(const BDM_PredicateHandle& iPredicate,
                                           const BDM_KeyHandle& iRoot) override;
    // True while anyone but the volume's owner keeps the volume or its database: a client
    // counted in (IncrementUseCount), a live asset of either (an open browser), a copy,
    // delete or indexing pass in the background (they hold the volume until they end), or a
    // second holder of the database. The owner is the one reference the workspace's list
    // (or whoever made the volume) keeps, plus the volume's own hold on its database.
    bool IsInUse() const override;

    // The entry of a location of this volume (asserts "iFileLoc.GetVolume() == mVolume"): the
    // volume root answers the root; entries missing on the way are made from the file
    // system (which must hold them). The volume must be open for writing.
    BDM_KeyHandle FindOrCreateEntryForLocation(const Sys_FileLoc& iFileLoc);
    // The entry of a location, or null when the database has none.
    BDM_KeyHandle FindEntryForLocation(const Sys_FileLoc& iFileLoc);
    // Removes the entry of a location and what it holds; false when there was none.
    bool DeleteEntryForLocation(const Sys_FileLoc& iFileLoc);
    // The records of the children of iParentKey that have a file name, in the database's
    // order.
    void ListChildren(const BDM_KeyHandle& iParentKey, std::vector<ChildRecord>* oChildrenP);
    // The child of iParentKey named iName (file names compare exactly), or null.
    BDM_KeyHandle FindChild(const BDM_KeyHandle& iParentKey, const std::string& iName);
    // Enters iSource, the file-system asset of iLoc, under iParentKey through the database
    // adapter, then stores its place as this volume's (see the design note) and the indexed
    // date; the new entry's key.
    BDM_KeyHandle ImportEntry(BDM_Asset& iSource, const Sys_FileLoc& iLoc,
                              const BDM_KeyHandle& iParentKey);
    // The file-system asset of a location of this volume (null when nothing is there).
    BDM_AssetHandle GetFileSystemAsset(const Sys_FileLoc& iLoc);
    // Stores iComponents as the place of the entry iKey, and the matching places of every
    // entry below it (each keeps its own path below iKey).
    void SetPlaceOfEntries(const BDM_KeyHandle& iKey, const BDM_StringList& iComponents);

protected:
    // Makes the database through the factory (a run-time error when none is installed),
    // opens it with iFlag, and checks the root's type. The database file must exist unless
    // iFlag creates it. A new database's root takes the stored attributes of the file
    // system's asset of the volume root, the asset name "Root" and an empty path, and is
    // committed at once.
    void OpenImpl(EOpenFlag iFlag) override;
    void CloseImpl() override;
    BDM_Asset* GenerateAsset(const BDM_KeyHandle& iKey) override;
    void DeleteAssetImpl(const BDM_KeyHandle& iKey) override;

private:
    friend class BDM_VolumeAsset;
    // Throws the text of IsAttributeValueValidVoid for a refused name.
    void ThrowIfNameRefused(const BDM_KeyHandle& iKey, const std::string& iName);
    // Renames on disk and in the database; iEntry's cFileName may already hold iName.
    void RenameEntry(BDM_Asset& iEntry, const std::string& iName);

    Sys_Volume mVolume;
    BDM_BinHandle mNeoBin;
    bool mRenaming = false; // RenameEntry at work: a cFileName change is its own
    Sys_FileLoc mRootLoc;
    static DatabaseFactory sDatabaseFactory;
};

// Whole microseconds since 1970, UTC: the unit of the browser's stored dates.
int64_t BDM_NowUTCMicroseconds();

// An asset of a volume: a thin wrapper over the database's asset of the same key.
class BDM_VolumeAsset : public BDM_Asset
{
public:
    BDM_VolumeAsset(BDM_Volume* iVolumeP, const BDM_AssetHandle& iInner);
    ~BDM_VolumeAsset() override;

    const BDM_AssetHandle& GetInner() const { return mInner; }

    // cAssetStatus and the container flags are this asset's own; every other attribute is
    // the inner asset's, and this asset observes it.
    BDM_Attribute* GetAttribute(const BDM_AttributeTag& iTag) override;
    BDM_KeyHandle GetKey() const override { return mInner->GetKey(); }
    bool IsContainer() const override { return mInner->IsContainer(); }
    BDM_LazyObjectHandle
    EnumerateChildren(std::unique_ptr<ChildEnumerator::Client> iClient) override;
    void GetChildren(std::list<BDM_KeyHandle>* oKeysP) override;
    BDM_AssetHandle GetParent() override;
    bool IsRoot() override { return mInner->IsRoot(); }
    BDM_EAssetType GetType() override { return mInner->GetType(); }
    std::string GetName() override { return mInner->GetName(); }
    // Where the entry's file is now: its volume's current mount point and the stored path
    // below it; false while the volume is not mounted or the file is not there.
    bool ResolveFileSystemAlias(Sys_FileLoc* oLocP) override;
    BDM_AssetHandle ResolveFileSystemAlias() override { return mInner->ResolveFileSystemAlias(); }
    void Flush() override { mInner->Flush(); }
    // A change of cFileName (outside an indexing pass) renames the file or folder on disk
    // and moves the places of the entries below; a refused name is put back and throws.
    void Update(BDM_Attribute& ioAttribute) override;

protected:
    BDM_Attribute* Fetch(const BDM_AttributeTag& iTag) override;

private:
    BDM_AssetHandle mInner;
    std::set<BDM_Attribute*> mObserved;
};
