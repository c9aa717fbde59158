#include "BDM/BDM_Workspace.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "BDM/BDM_AttributeTag.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Settings.h"
#include "Cmn_Assert.h"
#include "Cmn_Exception.h"
#include "L10N_ExceptionData.h"
#include "Sys_FileLocUtils.h"
#include "Sys_FileUtils.h"

BDM_Workspace::CatalogFactory BDM_Workspace::sCatalogFactory = nullptr;
BDM_Workspace::FolderKeyFactory BDM_Workspace::sFolderKeyFactory = nullptr;

namespace
{
const BDM_WorkspaceKey& AsWorkspaceKey(const BDM_KeyHandle& iKey)
{
    CMN_ASSERT_TEXT(iKey->GetType() == BDM_Key::eType_Workspace,
                    "iKey->GetType() == BDM_Key::eType_Workspace");
    return static_cast<const BDM_WorkspaceKey&>(*iKey);
}

bool SameKey(const BDM_KeyHandle& iLhs, const BDM_KeyHandle& iRhs)
{
    const BDM_Key::LessThan less;
    return !less(iLhs, iRhs) && !less(iRhs, iLhs);
}
} // namespace

bool BDM_WorkspaceKey::IsLessThan(const BDM_Key& iKey) const
{
    CMN_ASSERT(iKey.GetType() == eType_Workspace);
    const auto& other = static_cast<const BDM_WorkspaceKey&>(iKey);
    if (mBin != other.mBin)
        return std::less<BDM_Bin*>()(mBin, other.mBin);
    if (!mInner || !other.mInner)
        return !mInner && other.mInner;
    return BDM_Key::LessThan()(mInner, other.mInner);
}

// ---- the root: volumes first, then catalogs --------------------------------------------------

class BDM_WorkspaceRootAsset : public BDM_Asset
{
public:
    explicit BDM_WorkspaceRootAsset(BDM_Workspace* iWorkspaceP) : BDM_Asset(iWorkspaceP) {}
    BDM_KeyHandle GetKey() const override
    {
        return static_cast<BDM_Workspace*>(GetBin())->GetRoot();
    }
    bool IsContainer() const override { return true; }
    bool IsRoot() override { return true; }
    BDM_AssetHandle GetParent() override { return BDM_AssetHandle(); }
    BDM_EAssetType GetType() override { return BDM_eAssetType_Root; }
    void GetChildren(std::list<BDM_KeyHandle>* oKeysP) override
    {
        auto* workspaceP = static_cast<BDM_Workspace*>(GetBin());
        for (const auto& entry : workspaceP->mVolumes)
            oKeysP->push_back(entry.mKey);
        for (const auto& entry : workspaceP->mCatalogs)
            oKeysP->push_back(entry.mKey);
    }

protected:
    BDM_Attribute* Fetch(const BDM_AttributeTag&) override { return nullptr; }
};

// ---- the workspace ---------------------------------------------------------------------------

void BDM_Workspace::SetCatalogFactory(CatalogFactory iFactory)
{
    sCatalogFactory = iFactory;
}

void BDM_Workspace::SetFolderKeyFactory(FolderKeyFactory iFactory)
{
    sFolderKeyFactory = iFactory;
}

BDM_Workspace::BDM_Workspace(BDM_Cache* iCacheP)
    : BDM_Bin(iCacheP), mRootKey(new BDM_WorkspaceKey(nullptr, BDM_KeyHandle()))
{
}

BDM_Workspace::~BDM_Workspace()
{
    if (GetCache())
        GetCache()->ClearEntriesForBin(this);
}

void BDM_Workspace::SetDatabase(BDM_Bin* iBinP)
{
    mNeoBin = BDM_BinHandle(iBinP);
}

Sys_FileLoc BDM_Workspace::GetCatalogsFolder() const
{
    return mCatalogsFolder.IsEmpty() ? Sys_FileLocUtils::GetCatalogsFolderLoc() : mCatalogsFolder;
}

BDM_Bin& BDM_Workspace::FileSystemBin()
{
    return BDM_Globals::Instance()->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AudioFiles);
}

BDM_Volume* BDM_Workspace::GetVolume(const BDM_KeyHandle& iKey) const
{
    AsWorkspaceKey(iKey);
    for (const auto& entry : mVolumes)
        if (SameKey(entry.mKey, iKey))
            return entry.mVolume.Get();
    return nullptr;
}

BDM_Volume* BDM_Workspace::GetVolume(const Sys_Volume& iVolume) const
{
    for (const auto& entry : mVolumes)
        if (entry.mVolume->GetVolume() == iVolume)
            return entry.mVolume.Get();
    return nullptr;
}

BDM_KeyHandle BDM_Workspace::GetVolumePtrAsKey(const Sys_Volume& iVolume) const
{
    for (const auto& entry : mVolumes)
        if (entry.mVolume->GetVolume() == iVolume)
            return entry.mKey;
    return BDM_KeyHandle();
}

BDM_VolumeHandle BDM_Workspace::FindOrCreateVolume(const Sys_Volume& iVolume)
{
    if (BDM_Volume* knownP = GetVolume(iVolume))
        return BDM_VolumeHandle(knownP);
    return BDM_VolumeHandle(new BDM_Volume(GetCache(), iVolume));
}

void BDM_Workspace::RefreshVolumes()
{
    Sys_Volume::RescanVolumes();
    std::vector<BDM_KeyHandle> gone;
    for (const auto& entry : mVolumes)
    {
        // a volume at a new mount point is entered again, under its new root
        const Sys_Volume& volume = entry.mVolume->GetVolume();
        if (!volume.IsMounted() || Sys_FileLoc(volume) != entry.mVolume->GetRootLoc())
            gone.push_back(entry.mKey);
    }
    for (const BDM_KeyHandle& key : gone)
        RemoveVolume(key);
    for (const Sys_Volume& volume : Sys_Volume::GetMountedVolumes(Sys_Volume::eVolumeType_All))
    {
        if (GetVolume(volume))
            continue;
        BDM_VolumeHandle bin = FindOrCreateVolume(volume);
        BDM_Bin& fileSystem = FileSystemBin();
        CMN_ASSERT(sFolderKeyFactory);
        const BDM_KeyHandle rootKey = sFolderKeyFactory(Sys_FileLoc(volume));
        mVolumes.push_back({bin, BDM_KeyHandle(new BDM_WorkspaceKey(&fileSystem, rootKey))});
    }
    Commit();
    BDM_Bin* self = this;
    NotifyObservers(self);
}

void BDM_Workspace::RemoveVolume(const BDM_KeyHandle& iKey)
{
    AsWorkspaceKey(iKey);
    auto it = std::find_if(mVolumes.begin(), mVolumes.end(),
                           [&](const VolumeEntry& iEntry) { return SameKey(iEntry.mKey, iKey); });
    if (it == mVolumes.end())
        return;
    if (GetCache())
        GetCache()->Remove(BDM_CacheKey(this, it->mKey));
    if (it->mVolume->IsOpen())
        it->mVolume->Close();
    mVolumes.erase(it);
}

void BDM_Workspace::RefreshCatalogs()
{
    if (!sCatalogFactory)
        return;
    const Sys_FileLoc folder = GetCatalogsFolder();
    std::vector<Sys_FileLoc> files;
    std::error_code error;
    for (const auto& item : std::filesystem::directory_iterator(folder.GetFullPath(), error))
        if (item.is_regular_file(error))
            files.push_back(Sys_FileLoc(item.path().string()));
    std::sort(files.begin(), files.end(), [](const Sys_FileLoc& iLhs, const Sys_FileLoc& iRhs) {
        return iLhs.GetFullPath() < iRhs.GetFullPath();
    });
    std::vector<CatalogEntry> kept;
    for (const Sys_FileLoc& file : files)
    {
        auto known = std::find_if(mCatalogs.begin(), mCatalogs.end(),
                                  [&](const CatalogEntry& iEntry) { return iEntry.mURL == file; });
        if (known != mCatalogs.end())
        {
            kept.push_back(*known);
            mCatalogs.erase(known);
            continue;
        }
        const BDM_URL url(file);
        BDM_BinHandle bin(sCatalogFactory(url, GetCache()));
        BDM_KeyHandle key(new BDM_WorkspaceKey(bin.Get(), BDM_KeyHandle()));
        kept.push_back({url, bin, key});
    }
    for (CatalogEntry& left : mCatalogs)
    {
        if (GetCache())
            GetCache()->Remove(BDM_CacheKey(this, left.mKey));
        if (left.mBin->IsOpen())
            left.mBin->Close();
    }
    mCatalogs = std::move(kept);
}

void BDM_Workspace::Refresh()
{
    RefreshVolumes();
    RefreshCatalogs();
}

void BDM_Workspace::RemoveCatalog(const BDM_KeyHandle& iKey)
{
    AsWorkspaceKey(iKey);
    auto it = std::find_if(mCatalogs.begin(), mCatalogs.end(),
                           [&](const CatalogEntry& iEntry) { return SameKey(iEntry.mKey, iKey); });
    if (it == mCatalogs.end())
        return;
    if (GetCache())
        GetCache()->Remove(BDM_CacheKey(this, it->mKey));
    if (it->mBin->IsOpen())
        it->mBin->Close();
    mCatalogs.erase(it);
}

BDM_KeyHandle BDM_Workspace::NewCatalog(const std::string& iName)
{
    CMN_ASSERT_TEXT(!iName.empty(), "!name.empty()");
    const Sys_FileLoc folder = GetCatalogsFolder();
    const BDM_URL url(Sys_FileLoc(folder, iName));
    for (const auto& entry : mCatalogs)
        if (entry.mURL.GetName() == iName)
            L10N_Throw(12, 64); // "A Catalog with that name already exists."
    if (Sys_FileUtils::Exists(url))
        L10N_Throw(12, 64);
    if (!sCatalogFactory)
        throw std::runtime_error("No catalog database adapter is installed.");
    Sys_FileUtils::CreateFolder(folder);
    BDM_BinHandle bin(sCatalogFactory(url, GetCache()));
    bin->Open(eOpenFlag_OpenCreate);
    BDM_KeyHandle key(new BDM_WorkspaceKey(bin.Get(), BDM_KeyHandle()));
    mCatalogs.push_back({url, bin, key});
    Commit();
    return key;
}

BDM_Bin* BDM_Workspace::GetCatalog(const BDM_KeyHandle& iKey) const
{
    AsWorkspaceKey(iKey);
    for (const auto& entry : mCatalogs)
        if (SameKey(entry.mKey, iKey))
            return entry.mBin.Get();
    return nullptr;
}

BDM_KeyHandle BDM_Workspace::FindOrCreateEntryForLocation(const Sys_FileLoc& iFileLoc)
{
    BDM_Volume* volumeP = GetVolume(iFileLoc.GetVolume());
    if (!volumeP)
        return BDM_KeyHandle();
    if (!volumeP->IsOpen())
        volumeP->Open(volumeP->HasDatabase() ? eOpenFlag_OpenForWrite : eOpenFlag_OpenCreate);
    return BDM_KeyHandle(new BDM_WorkspaceKey(volumeP, volumeP->FindOrCreateEntryForLocation(iFileLoc)));
}

bool BDM_Workspace::DeleteEntryForLocation(const Sys_FileLoc& iFileLoc)
{
    BDM_Volume* volumeP = GetVolume(iFileLoc.GetVolume());
    if (!volumeP || !volumeP->HasDatabase())
        return false;
    if (!volumeP->IsOpen())
        volumeP->Open(eOpenFlag_OpenForWrite);
    return volumeP->DeleteEntryForLocation(iFileLoc);
}

BDM_FileBasedBin* BDM_Workspace::GetFileBasedBin(const BDM_URL& iURL) const
{
    CMN_ASSERT_TEXT(Sys_FileUtils::Exists(iURL), "Sys_File( iURL ).IsOnline()");
    for (const auto& entry : mVolumes)
        if (entry.mVolume->GetURL() == iURL)
            return entry.mVolume.Get();
    for (const auto& entry : mCatalogs)
        if (entry.mURL == iURL)
            return dynamic_cast<BDM_FileBasedBin*>(entry.mBin.Get());
    return nullptr;
}

BDM_LazyObjectHandle BDM_Workspace::CopyAsset(BDM_Bin&, const BDM_KeyHandle&,
                                              const BDM_KeyHandle&)
{
    throw std::runtime_error("Not implemented");
}

BDM_LazyObjectHandle BDM_Workspace::MoveAsset(const BDM_KeyHandle&, const BDM_KeyHandle&)
{
    throw std::runtime_error("Not implemented");
}

void BDM_Workspace::Commit()
{
    if (mNeoBin)
        mNeoBin->Commit();
}

void BDM_Workspace::OpenImpl(EOpenFlag iFlag)
{
    if (mNeoBin)
        mNeoBin->Open(iFlag);
}

void BDM_Workspace::CloseImpl()
{
    for (auto& entry : mCatalogs)
        if (entry.mBin->IsOpen())
            entry.mBin->Close();
    for (auto& entry : mVolumes)
        if (entry.mVolume->IsOpen())
            entry.mVolume->Close();
    if (mNeoBin && mNeoBin->IsOpen())
        mNeoBin->Close();
}

BDM_Asset* BDM_Workspace::GenerateAsset(const BDM_KeyHandle& iKey)
{
    const BDM_WorkspaceKey& key = AsWorkspaceKey(iKey);
    if (!key.mBin && !key.mInner)
        return new BDM_WorkspaceRootAsset(this);
    if (!key.mBin)
        return nullptr;
    BDM_AssetHandle inner = key.mBin->GetAsset(key.mInner ? key.mInner : key.mBin->GetRoot());
    return inner ? new BDM_WorkspaceAsset(this, iKey, inner) : nullptr;
}

void BDM_Workspace::DeleteAssetImpl(const BDM_KeyHandle& iKey)
{
    const BDM_WorkspaceKey& key = AsWorkspaceKey(iKey);
    if (key.mBin && key.mInner)
        key.mBin->DeleteAsset(key.mInner);
}

// ---- entries ---------------------------------------------------------------------------------

namespace
{
// Hands on each child key wrapped in a workspace key of the same bin.
class WrappingClient : public BDM_Asset::ChildEnumerator::Client
{
public:
    WrappingClient(BDM_Bin* iBinP, std::unique_ptr<Client> iClient)
        : mBinP(iBinP), mClient(std::move(iClient))
    {
    }
    void HandleChild(const BDM_KeyHandle& iKey) override
    {
        mClient->HandleChild(BDM_KeyHandle(new BDM_WorkspaceKey(mBinP, iKey)));
    }

private:
    BDM_Bin* mBinP;
    std::unique_ptr<Client> mClient;
};
} // namespace

BDM_WorkspaceAsset::BDM_WorkspaceAsset(BDM_Workspace* iWorkspaceP, const BDM_KeyHandle& iKey,
                                       const BDM_AssetHandle& iInner)
    : BDM_Asset(iWorkspaceP), mKey(iKey), mInner(iInner)
{
}

BDM_WorkspaceAsset::~BDM_WorkspaceAsset()
{
    for (BDM_Attribute* attributeP : mObserved)
        attributeP->RemoveObserver(*this);
}

namespace
{
// Free space of a volume, asked at every read.
class BDM_WorkspaceVolumeFreeSpaceAttribute : public BDM_TypedAttribute<int64_t>
{
public:
    explicit BDM_WorkspaceVolumeFreeSpaceAttribute(const Sys_Volume& iVolume)
        : BDM_TypedAttribute<int64_t>(BDM_AttributeTags::Instance()->cVolumeFreeSpace),
          mVolume(iVolume)
    {
    }
    bool IsSet() const override { return mVolume.IsMounted(); }
    using BDM_TypedAttribute<int64_t>::GetValue;
    bool GetValue(int64_t* oValueP) const override
    {
        Sys_VolumeAttr attr;
        if (!mVolume.GetAttr(&attr))
            return false;
        *oValueP = attr.GetFreeSpace();
        return true;
    }
    void Set(const int64_t&) override {} // read-only

private:
    Sys_Volume mVolume;
};

// A volume's designation for one medium, kept in the settings.
class DesignationAttribute : public BDM_TypedAttribute<BDM_EVolumeDesignation>
{
public:
    DesignationAttribute(const BDM_TypedAttributeTag<BDM_EVolumeDesignation>& iTag,
                         const Sys_Volume& iVolume, bool iAudio)
        : BDM_TypedAttribute<BDM_EVolumeDesignation>(iTag), mVolume(iVolume), mAudio(iAudio)
    {
    }
    bool IsSet() const override { return true; }
    using BDM_TypedAttribute<BDM_EVolumeDesignation>::GetValue;
    bool GetValue(BDM_EVolumeDesignation* oValueP) const override
    {
        BDM_Settings& settings = BDM_Globals::Instance()->Settings();
        *oValueP = mAudio ? settings.GetAudioVolumeDesignation(mVolume)
                          : settings.GetVideoVolumeDesignation(mVolume);
        return true;
    }
    void Set(const BDM_EVolumeDesignation& iValue) override
    {
        BDM_Settings& settings = BDM_Globals::Instance()->Settings();
        const bool taken = mAudio ? settings.SetAudioVolumeDesignation(mVolume, iValue)
                                  : settings.SetVideoVolumeDesignation(mVolume, iValue);
        if (taken)
            NotifyChanged();
    }

private:
    Sys_Volume mVolume;
    bool mAudio;
};
} // namespace

BDM_Attribute* BDM_WorkspaceAsset::Fetch(const BDM_AttributeTag& iTag)
{
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    BDM_Volume* volumeP = static_cast<BDM_Workspace*>(GetBin())->GetVolume(mKey);
    if (!volumeP)
        return nullptr;
    const Sys_Volume& volume = volumeP->GetVolume();
    if (iTag == t.cVolumeCapacity)
    {
        Sys_VolumeAttr attr;
        return volume.GetAttr(&attr) ? new BDM_TypedCachedAttribute<int64_t>(t.cVolumeCapacity,
                                                                              attr.GetSize())
                                     : nullptr;
    }
    if (iTag == t.cVolumeFreeSpace)
        return new BDM_WorkspaceVolumeFreeSpaceAttribute(volume);
    if (iTag == t.cAudioDesignation)
        return new DesignationAttribute(t.cAudioDesignation, volume, true);
    if (iTag == t.cVideoDesignation)
        return new DesignationAttribute(t.cVideoDesignation, volume, false);
    return nullptr;
}

BDM_Attribute* BDM_WorkspaceAsset::GetAttribute(const BDM_AttributeTag& iTag)
{
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    if (iTag == t.cAssetStatus || iTag == t.cContainerFlagA || iTag == t.cContainerFlagB ||
        iTag == t.cAlias || iTag == t.cVolumeCapacity || iTag == t.cVolumeFreeSpace ||
        iTag == t.cAudioDesignation || iTag == t.cVideoDesignation)
        return BDM_Asset::GetAttribute(iTag);
    BDM_Attribute* attributeP = mInner->GetAttribute(iTag);
    if (attributeP && mObserved.insert(attributeP).second)
        attributeP->AddObserver(*this);
    return attributeP;
}

BDM_LazyObjectHandle
BDM_WorkspaceAsset::EnumerateChildren(std::unique_ptr<ChildEnumerator::Client> iClient)
{
    const auto& key = static_cast<const BDM_WorkspaceKey&>(*mKey);
    return mInner->EnumerateChildren(std::make_unique<WrappingClient>(key.mBin, std::move(iClient)));
}

void BDM_WorkspaceAsset::GetChildren(std::list<BDM_KeyHandle>* oKeysP)
{
    const auto& key = static_cast<const BDM_WorkspaceKey&>(*mKey);
    std::list<BDM_KeyHandle> inner;
    mInner->GetChildren(&inner);
    for (const BDM_KeyHandle& child : inner)
        oKeysP->push_back(BDM_KeyHandle(new BDM_WorkspaceKey(key.mBin, child)));
}

BDM_AssetHandle BDM_WorkspaceAsset::GetParent()
{
    auto* workspaceP = static_cast<BDM_Workspace*>(GetBin());
    for (const auto& entry : workspaceP->GetVolumes())
        if (SameKey(entry.mKey, mKey))
            return workspaceP->GetAsset(workspaceP->GetRoot());
    for (const auto& entry : workspaceP->GetCatalogs())
        if (SameKey(entry.mKey, mKey))
            return workspaceP->GetAsset(workspaceP->GetRoot());
    BDM_AssetHandle innerParent = mInner->GetParent();
    if (!innerParent)
        return workspaceP->GetAsset(workspaceP->GetRoot());
    const auto& key = static_cast<const BDM_WorkspaceKey&>(*mKey);
    return workspaceP->GetAsset(BDM_KeyHandle(new BDM_WorkspaceKey(key.mBin, innerParent->GetKey())));
}
