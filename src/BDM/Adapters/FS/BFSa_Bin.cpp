#include "BDM/Adapters/FS/BFSa_Bin.h"

#include <dirent.h>

#include <chrono>

#include "BDM/Adapters/FS/BFSa_Query.h"
#include "BDM/BDM_AudioOverview.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Utils.h"
#include "BDM/BDM_Workspace.h"
#include "Sys_FileUtils.h"
#include "Sys_Volume.h"
#include "Tarn_FileTypes.h"

namespace
{
const BDM_AttributeTags& Tags()
{
    return *BDM_AttributeTags::Instance();
}

template <class T> BDM_Attribute* Cached(const BDM_TypedAttributeTag<T>& iTag, const T& iValue)
{
    return new BDM_TypedCachedAttribute<T>(iTag, iValue);
}

BDM_Attribute* Name(const BDM_TypedAttributeTag<std::string>& iTag, const std::string& iValue)
{
    return new BDM_StringAttribute(iTag, iValue);
}

bool IsRootPath(const Sys_FileLoc& iLoc)
{
    return iLoc.GetFullPath() == "/";
}

// Lists one folder, a slice of entries per load step.
class BFSa_Asset_ChildEnumerator : public BDM_Asset::ChildEnumerator
{
public:
    BFSa_Asset_ChildEnumerator(BFSa_Bin& iBin, const Sys_FileLoc& iFolder,
                               std::unique_ptr<Client> iClient)
        : ChildEnumerator(std::move(iClient)), mBinP(&iBin), mBinHold(&iBin), mFolder(iFolder)
    {
    }
    ~BFSa_Asset_ChildEnumerator() override
    {
        if (mDirP)
            closedir(mDirP);
    }

protected:
    bool Load() override
    {
        if (!mDirP)
        {
            mDirP = opendir(mFolder.GetFullPath().c_str());
            if (!mDirP)
                return true; // a folder that cannot be read has no children
        }
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(10);
        int32_t count = 0;
        while (dirent* entryP = readdir(mDirP))
        {
            const std::string name = entryP->d_name;
            if (name.empty() || name[0] == '.')
                continue; // ".", "..", hidden files and AppleDouble sidecars
            const Sys_FileLoc loc(mFolder, name);
            bool isFolder = entryP->d_type == DT_DIR;
            if (entryP->d_type == DT_UNKNOWN || entryP->d_type == DT_LNK)
                isFolder = Sys_FileUtils::IsFolder(loc);
            if (!mBinP->Shows(loc, isFolder))
                continue;
            Deliver(BFSa_Bin::MakeKey(loc, isFolder));
            if (++count % 64 == 0 && std::chrono::steady_clock::now() >= deadline)
                return false;
        }
        closedir(mDirP);
        mDirP = nullptr;
        return true;
    }

private:
    BFSa_Bin* mBinP;
    BDM_BinHandle mBinHold;
    Sys_FileLoc mFolder;
    DIR* mDirP = nullptr;
};
} // namespace

// ---- BFSa_Key ----------------------------------------------------------------------------

bool BFSa_Key::IsLessThan(const BDM_Key& iKey) const
{
    CMN_ASSERT(iKey.GetType() == eType_FS);
    const BFSa_Key& other = static_cast<const BFSa_Key&>(iKey);
    if (mLoc != other.mLoc)
        return mLoc < other.mLoc;
    return mEmbeddedOffset < other.mEmbeddedOffset;
}

// ---- BFSa_Asset --------------------------------------------------------------------------

BFSa_Asset::BFSa_Asset(BFSa_Bin* iBinP, const Sys_FileLoc& iLoc,
                       const Sys_FileProperties& iProperties)
    : BDM_Asset(iBinP), mLoc(iLoc), mFileProperties(iProperties)
{
}

void BFSa_Asset::SetFileLoc(const Sys_FileLoc& iLoc)
{
    mLoc = iLoc;
    mFileProperties = Sys_FileProperties::GetFileProperties(iLoc);
}

BDM_KeyHandle BFSa_Asset::GetKey() const
{
    return BFSa_Bin::MakeKey(mLoc, mFileProperties.IsFolder(), GetEmbeddedOffset());
}

bool BFSa_Asset::IsRoot()
{
    return IsRootPath(mLoc);
}

BDM_AssetHandle BFSa_Asset::GetParent()
{
    if (IsRootPath(mLoc) || mLoc.IsEmpty())
        return BDM_AssetHandle();
    return GetBin()->GetAsset(BFSa_Bin::MakeKey(mLoc.GetParentFolder(), true));
}

BDM_LazyObjectHandle BFSa_Asset::EnumerateChildren(std::unique_ptr<ChildEnumerator::Client> iClient)
{
    if (!mFileProperties.IsFolder())
        return BDM_Asset::EnumerateChildren(std::move(iClient));
    return BDM_LazyObjectHandle(new BFSa_Asset_ChildEnumerator(*static_cast<BFSa_Bin*>(GetBin()),
                                                               mLoc, std::move(iClient)));
}

void BFSa_Asset::GetChildren(std::list<BDM_KeyHandle>* oKeysP)
{
    oKeysP->clear();
    struct Collect : ChildEnumerator::Client
    {
        std::list<BDM_KeyHandle>* mKeysP;
        void HandleChild(const BDM_KeyHandle& iKey) override { mKeysP->push_back(iKey); }
    };
    auto client = std::make_unique<Collect>();
    client->mKeysP = oKeysP;
    BDM_LazyObjectHandle enumerator = EnumerateChildren(std::move(client));
    if (enumerator->IsLoaded())
        return;
    // Runs the enumerator here, at once: a caller that asks for the list waits for it.
    Sys_LazyObject::StSetLoadSynchronously synchronously;
    enumerator->QueueObjectLoader(std::string());
}

BDM_AssetHandle BFSa_Asset::ResolveFileSystemAlias()
{
    return BDM_AssetHandle(this);
}

bool BFSa_Asset::ResolveFileSystemAlias(Sys_FileLoc* oLocP)
{
    *oLocP = mLoc;
    return !mLoc.IsEmpty();
}

void BFSa_Asset::Update(BDM_Attribute& ioAttribute)
{
    if (ioAttribute.GetTag() == Tags().cFileName)
    {
        std::string newName;
        CMN_ASSERT_TEXT(BDM_GetAttributeValue(Tags().cFileName, &ioAttribute, &newName),
                        "BDM_GetAttributeValue( BDM_AttributeTags::Instance()->cFileName, "
                        "attribute, &newName )");
        Sys_FileLoc oldLoc;
        CMN_ASSERT_TEXT(this->ResolveFileSystemAlias(&oldLoc),
                        "this->ResolveFileSystemAlias( &oldLoc )");
        if (newName != oldLoc.GetName())
        {
            const Sys_FileLoc newLoc(oldLoc.GetParentFolder(), newName);
            Sys_FileUtils::MoveFile(oldLoc, newLoc);
            // The key changes: the cache forgets the old one.
            if (BDM_Cache* cacheP = GetBin()->GetCache())
                cacheP->Remove(BDM_CacheKey(GetBin(), GetKey()));
            SetFileLoc(newLoc);
        }
    }
    BDM_Asset::Update(ioAttribute);
}

BDM_Attribute* BFSa_Asset::Fetch(const BDM_AttributeTag& iTag)
{
    const BDM_AttributeTags& t = Tags();
    const bool folder = mFileProperties.IsFolder();
    const bool there = mFileProperties.GetExists();
    if (iTag == t.cAssetType)
    {
        if (folder)
            return Cached(t.cAssetType, IsRootPath(mLoc) || mLoc.IsVolumeRoot()
                                            ? BDM_eAssetType_VolumeRoot
                                            : BDM_eAssetType_Folder);
        return Cached(t.cAssetType, mFileProperties.IsAlias() ? BDM_eAssetType_FileSystemAlias
                                                              : BDM_eAssetType_File);
    }
    if (iTag == t.cFileName)
    {
        if (folder && mLoc.IsVolumeRoot() && !IsRootPath(mLoc))
            return Name(t.cFileName, mLoc.GetVolume().GetCachedName());
        return Name(t.cFileName, mLoc.GetName());
    }
    if (iTag == t.cFilePathComponents)
    {
        const std::vector<std::string> components = mLoc.GetPathComponents();
        return Cached(t.cFilePathComponents, BDM_StringList(components.begin(), components.end()));
    }
    if (iTag == t.cFileVolumeID)
        return there ? Cached(t.cFileVolumeID, int32_t(mLoc.GetVolume().GetID())) : nullptr;
    if (iTag == t.cFileDataForkSize)
        return !folder && there ? Cached(t.cFileDataForkSize, mFileProperties.GetDataForkSize())
                                : nullptr;
    if (iTag == t.cFileTotalSize)
        return !folder && there
                   ? Cached(t.cFileTotalSize, mFileProperties.GetDataForkSize() +
                                                  mFileProperties.GetResourceForkSize())
                   : nullptr;
    if (iTag == t.cFileModDate)
        return there ? Cached(t.cFileModDate, mFileProperties.GetModifiedUTC()) : nullptr;
    if (iTag == t.cFileCreateDate)
        return there ? Cached(t.cFileCreateDate, mFileProperties.GetCreatedUTC()) : nullptr;
    return nullptr;
}

// ---- BFSa_AudioAsset ---------------------------------------------------------------------

BFSa_AudioAsset::BFSa_AudioAsset(BFSa_Bin* iBinP, const Sys_FileLoc& iLoc,
                                 const Sys_FileProperties& iProperties, FF_AudioFile* iFileP)
    : BFSa_Asset(iBinP, iLoc, iProperties), mFileP(iFileP)
{
    mFileP->AddReference();
}

BFSa_AudioAsset::~BFSa_AudioAsset()
{
    mFileP->RemoveReference();
}

BDM_Attribute* BFSa_AudioAsset::Fetch(const BDM_AttributeTag& iTag)
{
    try
    {
        // The format was read when the asset was made and stays cached: those attributes
        // need no open.
        const BDM_AttributeTags& t = Tags();
        const bool fromFormat = iTag == t.cAssetType || iTag == t.cAssetDurationMicroseconds ||
                                iTag == t.cAudioFileSampleRate || iTag == t.cAudioFileBitDepth ||
                                iTag == t.cAudioFileNumSamples || iTag == t.cAudioFileNumChannels ||
                                iTag == t.cFileName || iTag == t.cFileFormat ||
                                iTag == t.cFileDataForkSize || iTag == t.cFileTotalSize ||
                                iTag == t.cAudioFileEmbeddedFileOffset;
        if (iTag == t.cFileName)
            return Name(t.cFileName, mLoc.GetName()); // the location's, there or not
        // While the file is open (a caller holds it for a pass over its attributes) it is
        // there; otherwise one that went away has no value, and is asked again next time.
        if (!mFileP->IsOpen() && !Sys_FileUtils::Exists(mLoc))
            return nullptr;
        if (fromFormat && mFileP->GetAudioFileType() != eAudioFileType_Unknown &&
            mFileP->mSampleRate.IsCached() && mFileP->mNumSamples.IsCached() &&
            mFileP->mBitDepth.IsCached() && mFileP->mNumChannels.IsCached())
            return FetchFromFile(iTag);
        FF_AudioFile::StOpenForRead open(*mFileP);
        if (mFileP->GetAudioFileType() == eAudioFileType_Unknown)
            return BFSa_Asset::Fetch(iTag);
        return FetchFromFile(iTag);
    }
    catch (const Cmn_CancelException&)
    {
        throw;
    }
    catch (...)
    {
        // The file went away or cannot be read now: no value, asked again next time.
        return nullptr;
    }
}

BDM_Attribute* BFSa_AudioAsset::FetchFromFile(const BDM_AttributeTag& iTag)
{
    const BDM_AttributeTags& t = Tags();
    FF_AudioFile& file = *mFileP;
    const auto online = [&] { return mFileProperties.GetExists(); };
    if (iTag == t.cAssetType)
        return Cached(t.cAssetType, BDM_eAssetType_Audio);
    if (iTag == t.cAssetDurationMicroseconds)
    {
        const int32_t rate = file.mSampleRate.GetOr(0);
        if (rate <= 0)
            return nullptr;
        return Cached(t.cAssetDurationMicroseconds, file.mNumSamples.GetOr(0) * 1000000 / rate);
    }
    if (iTag == t.cFileDataForkSize || iTag == t.cFileTotalSize)
    {
        if (!online() || mFileProperties.GetDataForkSize() == -1)
            return nullptr;
        return BFSa_Asset::Fetch(iTag);
    }
    if (iTag == t.cAudioFileEmbeddedFileOffset)
        return Cached(t.cAudioFileEmbeddedFileOffset, file.GetEmbeddedOffset());
    if (iTag == t.cFileFormat)
        return online() ? Cached(t.cFileFormat, BDM_EFileFormat(int32_t(BDM_eFileFormat_AudioBase) +
                                                                int32_t(file.GetAudioFileType())))
                        : nullptr;
    if (iTag == t.cFileName)
        return Name(t.cFileName, mLoc.GetName());
    if (iTag == t.cAudioFileSampleRate)
        return Cached(t.cAudioFileSampleRate, file.mSampleRate.GetOr(0));
    if (iTag == t.cAudioFileBitDepth)
        return Cached(t.cAudioFileBitDepth, file.mBitDepth.GetOr(int16_t(0)));
    if (iTag == t.cAudioFileNumSamples)
        return Cached(t.cAudioFileNumSamples, file.mNumSamples.GetOr(0));
    if (iTag == t.cAudioFileNumChannels)
        return Cached(t.cAudioFileNumChannels, file.mNumChannels.GetOr(int16_t(0)));
    int64_t stamp = 0;
    if (iTag == t.cAudioFileOriginalTimestamp)
        return online() && file.mOriginalTimeStamp.Get(&stamp)
                   ? Cached(t.cAudioFileOriginalTimestamp, stamp)
                   : nullptr;
    if (iTag == t.cAudioFileUserTimestamp)
        return online() && file.mUserTimeStamp.Get(&stamp)
                   ? Cached(t.cAudioFileUserTimestamp, stamp)
                   : nullptr;
    if (iTag == t.cAssetID)
    {
        Sys_Umid umid;
        return online() && file.mUmid.Get(&umid) && !umid.IsNoID() ? Cached(t.cAssetID, umid)
                                                                   : nullptr;
    }
    std::string text;
    if (iTag == t.cFileEmbeddedComment)
        return online() && file.mDescription.Get(&text) ? Cached(t.cFileEmbeddedComment, text)
                                                        : nullptr;
    if (iTag == t.cAssetComment)
        return online() && !file.GetComment().empty() ? Cached(t.cAssetComment, file.GetComment())
                                                      : nullptr;
    if (iTag == t.cSourceTapeName)
        return online() && file.mInterchangeFileName.Get(&text) ? Cached(t.cSourceTapeName, text)
                                                                : nullptr;
    if (iTag == t.cSourceTapeTimecodeFormat)
    {
        ETimeCodeFormat format{};
        return online() && file.mTimeCodeFormat.Get(&format)
                   ? Cached(t.cSourceTapeTimecodeFormat, format)
                   : nullptr;
    }
    if (iTag == t.cAssetName)
        return mClipName.empty() ? nullptr : Name(t.cAssetName, mClipName);
    if (iTag == t.cAudioOverview)
        return new BDM_AudioAssetOverviewAttribute(*this);
    return BFSa_Asset::Fetch(iTag);
}

// ---- BFSa_VideoAsset ---------------------------------------------------------------------

BFSa_Asset* BFSa_VideoAsset::CreateVideoAsset(BFSa_Bin* iBinP, const Sys_FileLoc& iLoc,
                                              const Sys_FileProperties& iProperties)
{
    return new BFSa_VideoAsset(iBinP, iLoc, iProperties);
}

BDM_Attribute* BFSa_VideoAsset::Fetch(const BDM_AttributeTag& iTag)
{
    const BDM_AttributeTags& t = Tags();
    if (iTag == t.cAssetType)
        return Cached(t.cAssetType, BDM_eAssetType_Video);
    if (iTag == t.cFileFormat)
    {
        const Sys_FileType type = mFileProperties.GetFileType();
        const int32_t format =
            type == Tarn_FileTypes::cAVIFileType ? BDM_eFileFormat_AVI
            : type == FF_AudioFile::FileTypeFromAudioFileType(eAudioFileType_QuickTime)
                ? int32_t(BDM_eFileFormat_AudioBase) + int32_t(eAudioFileType_QuickTime)
                : BDM_eFileFormat_Movie;
        return Cached(t.cFileFormat, BDM_EFileFormat(format));
    }
    return BFSa_Asset::Fetch(iTag);
}

// ---- BFSa_Bin ----------------------------------------------------------------------------

BFSa_Bin::ClientAssetGenerator BFSa_Bin::sClientAssetGenerator = nullptr;

namespace
{
BDM_Bin* MakeFileSystemBin(BDM_Globals::EFileSystemFilter iFilter, BDM_Cache* iCacheP)
{
    return new BFSa_Bin(BFSa_Bin::EFileSystemFilter(iFilter), iCacheP);
}
// The model's file-system bins are this adapter's.
[[maybe_unused]] const bool sFactoryInstalled =
    (BDM_Globals::SetFileSystemBinFactory(&MakeFileSystemBin), true);
// The workspace enters each volume as this adapter's key of its root folder.
BDM_KeyHandle MakeFolderKey(const Sys_FileLoc& iLoc)
{
    return BDM_KeyHandle(new BFSa_Key(iLoc, true));
}
[[maybe_unused]] const bool sFolderKeyFactoryInstalled =
    (BDM_Workspace::SetFolderKeyFactory(&MakeFolderKey), true);
// Volumes reach the file system through these keys.
bool GetKeyLocation(const BDM_Key& iKey, Sys_FileLoc* oLocP)
{
    if (iKey.GetType() != BDM_Key::eType_FS)
        return false;
    *oLocP = static_cast<const BFSa_Key&>(iKey).GetFileLoc();
    return true;
}
bool GetCopiedLocation(BDM_LazyObject& iCopier, Sys_FileLoc* oLocP)
{
    const auto* copierP = dynamic_cast<const BFSa_AssetCopier*>(&iCopier);
    if (!copierP || !iCopier.IsLoaded() || copierP->GetCopiedFileLoc().IsEmpty())
        return false;
    *oLocP = copierP->GetCopiedFileLoc();
    return true;
}
[[maybe_unused]] const bool sVolumeHooksInstalled =
    (BDM_Volume::SetFileSystemHooks({[](const Sys_FileLoc& iLoc) { return BFSa_Bin::MakeKey(iLoc); },
                                     &GetKeyLocation, &GetCopiedLocation}),
     true);
} // namespace

void BFSa_Bin::FileDeleted(const Sys_FileLoc& iLoc)
{
    if (!GetCache())
        return;
    for (bool folder : {false, true})
    {
        const BDM_CacheKey key(this, MakeKey(iLoc, folder, 0));
        if (BDM_AssetHandle asset = GetCache()->Find(key))
        {
            GetCache()->Remove(key);
            asset->SetMarkedForDeletion(true);
        }
    }
}

BFSa_Bin::BFSa_Bin(EFileSystemFilter iFilter, BDM_Cache* iCacheP)
    : BDM_Bin(iCacheP), mFilter(iFilter)
{
    // The file types that listings classify by, before the first entry is looked at.
    Tarn_FileTypes::Initialize();
    FF_AudioFile::RegisterTypes();
}

void BFSa_Bin::InstallClientAssetGenerator(ClientAssetGenerator iGenerator)
{
    sClientAssetGenerator = iGenerator;
}

bool BFSa_Bin::Shows(const Sys_FileLoc& iLoc, bool iIsFolder) const
{
    if (iIsFolder || mFilter == eFileSystemFilter_AllFiles)
        return true;
    const Sys_FileType type = Sys_FileType::FromExtension(iLoc.GetExtension());
    return type.GetGroup() == Sys_FileType::eGroup_Audio;
}

BDM_KeyHandle BFSa_Bin::MakeKey(const Sys_FileLoc& iLoc, bool iIsFolder, int64_t iOffset)
{
    return BDM_KeyHandle(new BFSa_Key(iLoc, iIsFolder, iOffset));
}

BDM_KeyHandle BFSa_Bin::MakeKey(const Sys_FileLoc& iLoc)
{
    return MakeKey(iLoc, Sys_FileUtils::IsFolder(iLoc), 0);
}

BDM_PredicateFactory* BFSa_Bin::GetPredicateFactory()
{
    static BFSa_PredicateFactory sFactory;
    return &sFactory;
}

std::unique_ptr<BDM_QueryResult> BFSa_Bin::Query(const BDM_PredicateHandle& iPredicate,
                                                 const BDM_KeyHandle& iRoot)
{
    CMN_ASSERT(iRoot && iRoot->GetType() == BDM_Key::eType_FS);
    return std::make_unique<BFSa_QueryResult>(*this, iPredicate, iRoot);
}

BDM_KeyHandle BFSa_Bin::GetRoot()
{
    return MakeKey(Sys_FileLoc("/"), true, 0);
}

BDM_Asset* BFSa_Bin::GenerateAsset(const BDM_KeyHandle& iKey)
{
    CMN_ASSERT(iKey && iKey->GetType() == BDM_Key::eType_FS);
    const BFSa_Key& key = static_cast<const BFSa_Key&>(*iKey);
    const Sys_FileLoc& loc = key.GetFileLoc();
    const Sys_FileProperties properties = Sys_FileProperties::GetFileProperties(loc);
    if (properties.IsFolder())
        return new BFSa_Asset(this, loc, properties);
    const int64_t offset = key.GetEmbeddedFileOffset();
    if (sClientAssetGenerator && offset == 0)
    {
        if (BDM_Asset* assetP = sClientAssetGenerator(*this, key, properties))
            return assetP;
    }
    Sys_FileType type = properties.GetFileType();
    if (type == Sys_FileType::cUnknown)
        type = Sys_FileType::FromExtension(loc.GetExtension());
    if (type.GetGroup() == Sys_FileType::eGroup_Audio ||
        Tarn_FileTypes::IsImportableAudioFileType(type) || offset != 0)
    {
        Cmn_AliasedRefCountPtr<FF_AudioFile> file(new FF_AudioFile(loc, offset));
        try
        {
            FF_AudioFile::StOpenForRead open(*file);
            if (file->GetAudioFileType() != eAudioFileType_Unknown)
                file->GetProperties(); // cached for the asset's attributes
        }
        catch (const Cmn_CancelException&)
        {
            throw;
        }
        catch (...)
        {
            // Unreadable now: an audio asset whose attributes come from the file system.
        }
        if (file->GetAudioFileType() == eAudioFileType_Unknown &&
            Tarn_FileTypes::IsVideoFileType(type))
            return BFSa_VideoAsset::CreateVideoAsset(this, loc, properties);
        return new BFSa_AudioAsset(this, loc, properties, file.Get());
    }
    if (Tarn_FileTypes::IsVideoFileType(type))
        return BFSa_VideoAsset::CreateVideoAsset(this, loc, properties);
    return new BFSa_Asset(this, loc, properties);
}

void BFSa_Bin::DeleteAssetImpl(const BDM_KeyHandle& iKey)
{
    CMN_ASSERT(iKey && iKey->GetType() == BDM_Key::eType_FS);
    const BFSa_Key& key = static_cast<const BFSa_Key&>(*iKey);
    if (key.IsFolder())
        Sys_FileUtils::DeleteFolder(key.GetFileLoc(), true);
    else
        Sys_FileUtils::DeleteFile(key.GetFileLoc());
}

BDM_LazyObjectHandle BFSa_Bin::CopyAsset(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                                         const BDM_KeyHandle& iParentKey)
{
    CMN_ASSERT(iParentKey && iParentKey->GetType() == BDM_Key::eType_FS);
    Sys_FileLoc src;
    if (BDM_AssetHandle asset = iSrcBin.GetAsset(iSrcKey))
        asset->ResolveFileSystemAlias(&src);
    return BDM_LazyObjectHandle(
        new BFSa_AssetCopier(src, static_cast<const BFSa_Key&>(*iParentKey).GetFileLoc()));
}

BDM_LazyObjectHandle BFSa_Bin::MoveAsset(const BDM_KeyHandle& iKey, const BDM_KeyHandle& iParentKey)
{
    CMN_ASSERT(iKey && iKey->GetType() == BDM_Key::eType_FS);
    CMN_ASSERT(iParentKey && iParentKey->GetType() == BDM_Key::eType_FS);
    const Sys_FileLoc& src = static_cast<const BFSa_Key&>(*iKey).GetFileLoc();
    const Sys_FileLoc dst(static_cast<const BFSa_Key&>(*iParentKey).GetFileLoc(), src.GetName());
    Sys_FileUtils::MoveFile(src, dst);
    if (GetCache())
        GetCache()->Remove(BDM_CacheKey(this, iKey));
    return BDM_LazyObjectHandle(new BDM_DoNothingObject);
}

BDM_KeyHandle BFSa_Bin::CreateFolder(const BDM_KeyHandle& iParentKey, const std::string& iName)
{
    CMN_ASSERT(iParentKey && iParentKey->GetType() == BDM_Key::eType_FS);
    const Sys_FileLoc folder(static_cast<const BFSa_Key&>(*iParentKey).GetFileLoc(), iName);
    Sys_FileUtils::CreateFolder(folder);
    return MakeKey(folder, true, 0);
}

// ---- BFSa_AssetCopier --------------------------------------------------------------------

BFSa_AssetCopier::BFSa_AssetCopier(const Sys_FileLoc& iSrcFileLoc, const Sys_FileLoc& iDstFileLoc)
    : mSrcFileLoc(iSrcFileLoc), mDstFileLoc(iDstFileLoc)
{
    CMN_ASSERT_TEXT(!mSrcFileLoc.IsEmpty() || Sys_FileUtils::IsFolder(mDstFileLoc),
                    "mSrcFileLoc || Sys_FileUtils::IsFolder( mDstFileLoc )");
    SetProgressUnitsType(BDM_TaskProgress::eUnitsType_Files);
    UpdateUnitsToComplete(1);
}

bool BFSa_AssetCopier::Load()
{
    Sys_FileUtils::CreateFolder(mDstFileLoc);
    if (!mSrcFileLoc.IsEmpty())
    {
        if (Sys_FileUtils::IsFolder(mSrcFileLoc))
            Sys_FileUtils::CopyFolderHandleDuplicateNames(
                mSrcFileLoc, Sys_FileLoc(mDstFileLoc, mSrcFileLoc.GetName()), nullptr,
                &mCopiedFileLoc);
        else
            mCopiedFileLoc = Sys_FileUtils::CopyFileHandleDuplicateNames(mSrcFileLoc, mDstFileLoc);
    }
    UpdateUnitsCompleted(1);
    return true;
}
