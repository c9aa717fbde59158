// The live file system as a browser store: every file and folder is an asset, read on
// demand and stored nowhere.
//
// Keys: a BFSa_Key names a location, whether it is a folder, and the offset of an audio
// file embedded in a larger file (0 for a plain file); keys order by location, then offset.
// Assets: folders and plain files (BFSa_Asset), audio files read through FF_AudioFile
// (BFSa_AudioAsset), video files (BFSa_VideoAsset). Fetch never throws for a file that
// went away: the attribute is null and IsOnline false.
// Threads: the browser's thread.
#pragma once

#include <cstdint>
#include <memory>

#include "BDM/BDM_Bin.h"
#include "FF/Audio/FF_AudioFile.h"
#include "Sys_FileLoc.h"
#include "Sys_FileProperties.h"

class BFSa_Key : public BDM_Key
{
public:
    BFSa_Key(const Sys_FileLoc& iLoc, bool iIsFolder, int64_t iEmbeddedOffset = 0)
        : mLoc(iLoc), mIsFolder(iIsFolder), mEmbeddedOffset(iEmbeddedOffset)
    {
    }
    bool IsFolder() const override { return mIsFolder; }
    EType GetType() const override { return eType_FS; }
    // Asserts "iKey.GetType() == eType_FS".
    bool IsLessThan(const BDM_Key& iKey) const override;

    const Sys_FileLoc& GetFileLoc() const { return mLoc; }
    int64_t GetEmbeddedFileOffset() const { return mEmbeddedOffset; }

private:
    Sys_FileLoc mLoc;
    bool mIsFolder;
    int64_t mEmbeddedOffset;
};

class BFSa_Bin;

class BFSa_Asset : public BDM_Asset
{
public:
    BFSa_Asset(BFSa_Bin* iBinP, const Sys_FileLoc& iLoc, const Sys_FileProperties& iProperties);

    const Sys_FileLoc& GetFileLoc() const { return mLoc; }
    void SetFileLoc(const Sys_FileLoc& iLoc);
    const Sys_FileProperties& GetFileProperties() const { return mFileProperties; }

    BDM_KeyHandle GetKey() const override;
    bool IsContainer() const override { return mFileProperties.IsFolder(); }
    BDM_AssetHandle GetParent() override;
    bool IsRoot() override;
    BDM_LazyObjectHandle
    EnumerateChildren(std::unique_ptr<ChildEnumerator::Client> iClient) override;
    void GetChildren(std::list<BDM_KeyHandle>* oKeysP) override;
    BDM_AssetHandle ResolveFileSystemAlias() override;
    bool ResolveFileSystemAlias(Sys_FileLoc* oLocP) override;
    // A change of cFileName renames the file on disk.
    void Update(BDM_Attribute& ioAttribute) override;

protected:
    BDM_Attribute* Fetch(const BDM_AttributeTag& iTag) override;
    virtual int64_t GetEmbeddedOffset() const { return 0; }

    Sys_FileLoc mLoc;
    Sys_FileProperties mFileProperties;
};

class BFSa_AudioAsset : public BFSa_Asset
{
public:
    BFSa_AudioAsset(BFSa_Bin* iBinP, const Sys_FileLoc& iLoc, const Sys_FileProperties& iProperties,
                    FF_AudioFile* iFileP);
    ~BFSa_AudioAsset() override;
    FF_AudioFile& GetFile() const { return *mFileP; }
    void SetClipName(const std::string& iName) { mClipName = iName; }

protected:
    BDM_Attribute* Fetch(const BDM_AttributeTag& iTag) override;
    int64_t GetEmbeddedOffset() const override { return mFileP->GetEmbeddedOffset(); }

private:
    BDM_Attribute* FetchFromFile(const BDM_AttributeTag& iTag);

    FF_AudioFile* mFileP; // counted
    std::string mClipName;
};

class BFSa_VideoAsset : public BFSa_Asset
{
public:
    static BFSa_Asset* CreateVideoAsset(BFSa_Bin* iBinP, const Sys_FileLoc& iLoc,
                                        const Sys_FileProperties& iProperties);
    using BFSa_Asset::BFSa_Asset;

protected:
    BDM_Attribute* Fetch(const BDM_AttributeTag& iTag) override;
};

class BFSa_Bin : public BDM_Bin
{
public:
    // Which entries a listing shows. 1 is all files.
    enum EFileSystemFilter : int32_t
    {
        eFileSystemFilter_AllFiles = 1,
        eFileSystemFilter_AudioFiles = 2
    };
    // The application's hook, asked first for a file with no embedded offset.
    using ClientAssetGenerator = BDM_Asset* (*)(BFSa_Bin& iBin, const BFSa_Key& iKey,
                                                const Sys_FileProperties& iProperties);

    BFSa_Bin(EFileSystemFilter iFilter, BDM_Cache* iCacheP);
    EFileSystemFilter GetFilter() const { return mFilter; }
    // Whether the bin's filter shows a folder entry (folders always pass).
    bool Shows(const Sys_FileLoc& iLoc, bool iIsFolder) const;

    BDM_LazyObjectHandle CopyAsset(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                                   const BDM_KeyHandle& iParentKey) override;
    BDM_LazyObjectHandle MoveAsset(const BDM_KeyHandle& iKey,
                                   const BDM_KeyHandle& iParentKey) override;
    BDM_KeyHandle CreateFolder(const BDM_KeyHandle& iParentKey, const std::string& iName) override;
    BDM_KeyHandle GetRoot() override;
    void FileDeleted(const Sys_FileLoc& iLoc) override;
    BDM_PredicateFactory* GetPredicateFactory() override;
    // A BFSa_QueryResult; asserts that the root is a file-system key.
    std::unique_ptr<BDM_QueryResult> Query(const BDM_PredicateHandle& iPredicate,
                                           const BDM_KeyHandle& iRoot) override;

    static BDM_KeyHandle MakeKey(const Sys_FileLoc& iLoc, bool iIsFolder, int64_t iOffset = 0);
    static BDM_KeyHandle MakeKey(const Sys_FileLoc& iLoc);
    static void InstallClientAssetGenerator(ClientAssetGenerator iGenerator);

protected:
    void OpenImpl(EOpenFlag) override {}
    void CloseImpl() override {}
    BDM_Asset* GenerateAsset(const BDM_KeyHandle& iKey) override;
    void DeleteAssetImpl(const BDM_KeyHandle& iKey) override;

private:
    EFileSystemFilter mFilter;
    static ClientAssetGenerator sClientAssetGenerator;
};

// Copies a file or folder into a folder, in one load step per file.
class BFSa_AssetCopier : public BDM_LazyObject
{
public:
    // Asserts "mSrcFileLoc || Sys_FileUtils::IsFolder( mDstFileLoc )" (a source, or a folder
    // to copy into); the copy is named after the source, a number added when taken.
    BFSa_AssetCopier(const Sys_FileLoc& iSrcFileLoc, const Sys_FileLoc& iDstFileLoc);
    const Sys_FileLoc& GetCopiedFileLoc() const { return mCopiedFileLoc; }

protected:
    bool Load() override;

private:
    Sys_FileLoc mSrcFileLoc;
    Sys_FileLoc mDstFileLoc;
    Sys_FileLoc mCopiedFileLoc;
};
