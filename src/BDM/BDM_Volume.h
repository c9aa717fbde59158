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
// Threads: the browser's thread.
#pragma once

#include <cstdint>
#include <set>
#include <string>

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
    BDM_LazyObjectHandle CopyAsset(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                                   const BDM_KeyHandle& iParentKey) override;
    BDM_LazyObjectHandle MoveAsset(const BDM_KeyHandle& iKey,
                                   const BDM_KeyHandle& iParentKey) override;
    void Commit() override;

protected:
    // Makes the database through the factory (a run-time error when none is installed),
    // opens it with iFlag, and checks the root's type. The database file must exist unless
    // iFlag creates it.
    void OpenImpl(EOpenFlag iFlag) override;
    void CloseImpl() override;
    BDM_Asset* GenerateAsset(const BDM_KeyHandle& iKey) override;
    void DeleteAssetImpl(const BDM_KeyHandle& iKey) override;

private:
    Sys_Volume mVolume;
    BDM_BinHandle mNeoBin;
    Sys_FileLoc mRootLoc;
    static DatabaseFactory sDatabaseFactory;
};

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
    bool ResolveFileSystemAlias(Sys_FileLoc* oLocP) override
    {
        return mInner->ResolveFileSystemAlias(oLocP);
    }
    BDM_AssetHandle ResolveFileSystemAlias() override { return mInner->ResolveFileSystemAlias(); }
    void Flush() override { mInner->Flush(); }

protected:
    BDM_Attribute* Fetch(const BDM_AttributeTag& iTag) override;

private:
    BDM_AssetHandle mInner;
    std::set<BDM_Attribute*> mObserved;
};
