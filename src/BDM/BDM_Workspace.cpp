#include "BDM/BDM_Workspace.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "BDM/BDM_AttributeTag.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Iterator.h"
#include "BDM/BDM_QueryArea.h"
#include "BDM/BDM_Settings.h"
#include "BDM/BDM_TaskManager.h"
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

namespace
{
// The inner bin and key of a workspace key; an entry without an inner key stands for its
// bin's root.
std::pair<BDM_Bin*, BDM_KeyHandle> Unwrap(const BDM_KeyHandle& iKey)
{
    const BDM_WorkspaceKey& key = AsWorkspaceKey(iKey);
    if (!key.mBin)
        return {nullptr, BDM_KeyHandle()};
    return {key.mBin, key.mInner ? key.mInner : key.mBin->GetRoot()};
}
} // namespace

void BDM_Workspace::OpenCatalogOf(const BDM_KeyHandle& iKey)
{
    const BDM_WorkspaceKey& key = AsWorkspaceKey(iKey);
    for (auto& entry : mCatalogs)
        if (entry.mBin.Get() == key.mBin && !entry.mBin->IsOpen())
            entry.mBin->Open(eOpenFlag_OpenForWrite);
}

BDM_LazyObjectHandle BDM_Workspace::CopyAsset(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                                              const BDM_KeyHandle& iParentKey)
{
    OpenCatalogOf(iParentKey);
    BDM_Bin* srcBinP = &iSrcBin;
    BDM_KeyHandle srcKey = iSrcKey;
    if (dynamic_cast<BDM_Workspace*>(&iSrcBin))
    {
        OpenCatalogOf(iSrcKey);
        std::tie(srcBinP, srcKey) = Unwrap(iSrcKey);
        CMN_ASSERT_TEXT(srcBinP, "the root of the workspace is not copied");
    }
    const auto [dstBinP, dstParent] = Unwrap(iParentKey);
    CMN_ASSERT_TEXT(dstBinP, "the root of the workspace is no destination");
    std::string sourceName;
    if (BDM_AssetHandle source = srcBinP->GetAsset(srcKey))
        sourceName = source->GetName();
    std::list<BDM_KeyHandle> before;
    if (BDM_AssetHandle parent = dstBinP->GetAsset(dstParent))
        parent->GetChildren(&before);
    BDM_LazyObjectHandle inner = dstBinP->CopyAsset(*srcBinP, srcKey, dstParent);
    return BDM_LazyObjectHandle(new BDM_WorkspaceAssetCopier(*srcBinP, *dstBinP, dstParent,
                                                             sourceName, std::move(before), inner));
}

BDM_LazyObjectHandle BDM_Workspace::MoveAsset(const BDM_KeyHandle& iKey,
                                              const BDM_KeyHandle& iParentKey)
{
    OpenCatalogOf(iKey);
    const auto [binP, key] = Unwrap(iKey);
    const auto [parentBinP, parent] = Unwrap(iParentKey);
    CMN_ASSERT_TEXT(binP && parentBinP, "the root of the workspace does not move");
    CMN_ASSERT_TEXT(!FindVolumeEntry(iKey) && !FindCatalogEntry(iKey),
                    "the entries of volumes and catalogs do not move");
    if (binP != parentBinP)
        throw std::runtime_error("An item moves only within its own volume or catalog; copy it to "
                                 "move it elsewhere.");
    BDM_LazyObjectHandle moved = binP->MoveAsset(key, parent);
    if (GetCache())
        GetCache()->Remove(BDM_CacheKey(this, iKey));
    return moved;
}

bool BDM_Workspace::CanMoveTo(const BDM_KeyHandle& iKey, const BDM_KeyHandle& iParentKey)
{
    const auto [binP, key] = Unwrap(iKey);
    const auto [parentBinP, parent] = Unwrap(iParentKey);
    if (!binP || binP != parentBinP || FindVolumeEntry(iKey) || FindCatalogEntry(iKey))
        return false;
    return binP->CanMoveTo(key, parent);
}

bool BDM_Workspace::CanDeleteAsset(const BDM_KeyHandle& iKey)
{
    const BDM_WorkspaceKey& key = AsWorkspaceKey(iKey);
    if (!key.mBin || !key.mInner || FindVolumeEntry(iKey) || FindCatalogEntry(iKey))
        return false;
    return key.mBin->CanDeleteAsset(key.mInner);
}

const BDM_Workspace::VolumeEntry* BDM_Workspace::FindVolumeEntry(const BDM_KeyHandle& iKey) const
{
    for (const auto& entry : mVolumes)
        if (SameKey(entry.mKey, iKey))
            return &entry;
    return nullptr;
}

const BDM_Workspace::CatalogEntry* BDM_Workspace::FindCatalogEntry(const BDM_KeyHandle& iKey) const
{
    for (const auto& entry : mCatalogs)
        if (SameKey(entry.mKey, iKey))
            return &entry;
    return nullptr;
}

// ---- unmounting ------------------------------------------------------------------------------

BDM_Workspace::UnmountFunction BDM_Workspace::sUnmountFunction = nullptr;

void BDM_Workspace::SetUnmountFunction(UnmountFunction iFunction)
{
    sUnmountFunction = iFunction;
}

namespace
{
// The refusals: "Can't unmount boot volume.", "Cannot unmount volume. Some files may be in
// use.", "Can't unmount because the volume is being used by a background task."
constexpr int32_t cBrowserPackage = 12;
constexpr int32_t cBootVolume = 69;
constexpr int32_t cFilesInUse = 73;
constexpr int32_t cUsedByTask = 81;

bool OnVolume(const Sys_FileLoc& iLoc, const Sys_Volume& iVolume)
{
    return !iLoc.IsEmpty() && Sys_Volume(iLoc.GetFullPath()) == iVolume;
}

bool IsBinOfVolume(const BDM_Bin* iBinP, const BDM_Volume& iVolume)
{
    return iBinP && (iBinP == &iVolume || iBinP == iVolume.GetDatabase());
}

// Whether one lazy object works on the volume, by what it tells of itself.
bool WorksOn(BDM_LazyObject& iObject, BDM_Volume& iVolume)
{
    const Sys_Volume& volume = iVolume.GetVolume();
    if (auto* userP = dynamic_cast<const BDM_VolumeUser*>(&iObject))
        return userP->IsUsingVolume(volume);
    if (auto* copierP = dynamic_cast<BDM_WorkspaceAssetCopier*>(&iObject))
        return IsBinOfVolume(&copierP->GetSourceBin(), iVolume) ||
               IsBinOfVolume(&copierP->GetDestinationBin(), iVolume);
    if (auto* copierP = dynamic_cast<BDM_RecursiveAssetCopier*>(&iObject))
        if (IsBinOfVolume(copierP->GetDestinationBin().Get(), iVolume))
            return true;
    if (auto* iteratorP = dynamic_cast<BDM_Iterator*>(&iObject))
    {
        if (IsBinOfVolume(&iteratorP->GetBin(), iVolume))
            return true;
        if (!iteratorP->GetLocalRoot())
            return false;
        Sys_FileLoc loc;
        BDM_AssetHandle root = iteratorP->GetBin().GetAsset(iteratorP->GetLocalRoot());
        return root && root->ResolveFileSystemAlias(&loc) && OnVolume(loc, volume);
    }
    return false;
}

// Whether a task managed by the task manager, or running now, or anything one of them waits
// for, works on the volume.
bool IsUsedByTask(BDM_Volume& iVolume)
{
    std::vector<BDM_LazyObject*> pending(BDM_LazyObject::GetLoaderStack());
    const BDM_TaskManager& tasks = BDM_Globals::Instance()->TaskManager();
    std::vector<int32_t> ids{BDM_TaskManager::cRootID};
    while (!ids.empty())
    {
        const int32_t id = ids.back();
        ids.pop_back();
        if (const BDM_TaskManager::Entry* entryP = tasks.FindEntry(id); entryP && entryP->mObject)
            pending.push_back(entryP->mObject.Get());
        for (int32_t child : tasks.GetChildIDs(id))
            ids.push_back(child);
    }
    std::set<BDM_LazyObject*> seen;
    while (!pending.empty())
    {
        BDM_LazyObject* objectP = pending.back();
        pending.pop_back();
        if (!seen.insert(objectP).second)
            continue;
        if (WorksOn(*objectP, iVolume))
            return true;
        for (const BDM_LazyObjectHandle& dependency : objectP->GetDependencies())
            pending.push_back(dependency.Get());
    }
    return false;
}

// The id of the message that refuses to unmount the volume, or 0.
int32_t UnmountRefusal(BDM_Volume& iVolume)
{
    const Sys_Volume& volume = iVolume.GetVolume();
    if (volume.GetMountPoint() == "/" || volume == Sys_Volume(std::string("/")))
        return cBootVolume;
    if (IsUsedByTask(iVolume))
        return cUsedByTask;
    if (iVolume.IsInUse())
        return cFilesInUse;
    return 0;
}
} // namespace

bool BDM_Workspace::CanUnmountVolume(const BDM_KeyHandle& iKey, std::string* oWhyNotP) const
{
    const VolumeEntry* entryP = FindVolumeEntry(iKey);
    CMN_ASSERT_TEXT(entryP, "a volume's entry");
    const int32_t refusal = UnmountRefusal(*entryP->mVolume);
    if (refusal && oWhyNotP)
        *oWhyNotP = L10N_ExceptionData(cBrowserPackage, refusal).GetText();
    return refusal == 0;
}

void BDM_Workspace::UnmountVolume(const BDM_KeyHandle& iKey)
{
    const VolumeEntry* entryP = FindVolumeEntry(iKey);
    CMN_ASSERT_TEXT(entryP, "a volume's entry");
    // Asked before this function holds the volume too (a holder makes it in use).
    if (const int32_t refusal = UnmountRefusal(*entryP->mVolume))
        L10N_Throw(cBrowserPackage, refusal);
    BDM_VolumeHandle volume = entryP->mVolume;
    if (volume->IsOpen())
        volume->Close();
    if (sUnmountFunction)
        sUnmountFunction(volume->GetVolume());
    else
        volume->GetVolume().Unmount();
    RemoveVolume(iKey);
    BDM_Bin* self = this;
    NotifyObservers(self);
}

// ---- the workspace's copier ------------------------------------------------------------------

BDM_WorkspaceAssetCopier::BDM_WorkspaceAssetCopier(BDM_Bin& iSrcBin, BDM_Bin& iDstBin,
                                                   const BDM_KeyHandle& iDstParent,
                                                   const std::string& iSourceName,
                                                   std::list<BDM_KeyHandle> iBefore,
                                                   const BDM_LazyObjectHandle& iInner)
    : mSrcBin(&iSrcBin), mDstBin(&iDstBin), mDstParent(iDstParent), mSourceName(iSourceName),
      mBefore(std::move(iBefore)), mInner(iInner)
{
    CMN_ASSERT(mInner);
}

bool BDM_WorkspaceAssetCopier::Load()
{
    if (!mInner->IsLoaded())
    {
        AddDependency(mInner.Get());
        return false;
    }
    if (BDM_KeyHandle copy = FindCopy())
        mCopied = BDM_KeyHandle(new BDM_WorkspaceKey(mDstBin.Get(), copy));
    return true;
}

BDM_KeyHandle BDM_WorkspaceAssetCopier::FindCopy()
{
    if (auto* copierP = dynamic_cast<BDM_RecursiveAssetCopier*>(mInner.Get()))
        if (copierP->GetCopiedAssetKey())
            return copierP->GetCopiedAssetKey();
    BDM_AssetHandle parent = mDstBin->GetAsset(mDstParent);
    if (!parent)
        return BDM_KeyHandle();
    std::list<BDM_KeyHandle> after;
    parent->GetChildren(&after);
    std::vector<BDM_KeyHandle> added;
    for (const BDM_KeyHandle& key : after)
        if (std::none_of(mBefore.begin(), mBefore.end(),
                         [&](const BDM_KeyHandle& iOld) { return SameKey(iOld, key); }))
            added.push_back(key);
    if (added.size() == 1)
        return added.front();
    // Several new children (others copied at the same time), or none (the copy replaced its
    // namesake): the one named as the source.
    const auto named = [&](const auto& iKeys)
    {
        for (const BDM_KeyHandle& key : iKeys)
            if (BDM_AssetHandle asset = mDstBin->GetAsset(key);
                asset && asset->GetName() == mSourceName)
                return key;
        return BDM_KeyHandle();
    };
    if (BDM_KeyHandle key = named(added))
        return key;
    return named(after);
}

// ---- selections --------------------------------------------------------------------------------

BDM_Volume* BDM_Workspace::VolumeOfKey(const BDM_KeyHandle& iKey) const
{
    if (const VolumeEntry* entryP = FindVolumeEntry(iKey))
        return entryP->mVolume.Get();
    const BDM_WorkspaceKey& key = AsWorkspaceKey(iKey);
    if (!key.mBin)
        return nullptr;
    for (const auto& entry : mVolumes)
        if (IsBinOfVolume(key.mBin, *entry.mVolume))
            return entry.mVolume.Get();
    // a file or folder of the file system lies on the volume that holds it; an entry of a
    // catalog only in its catalog, wherever its file is
    Sys_FileLoc loc;
    if (!key.mInner || key.mInner->GetType() != BDM_Key::eType_FS)
        return nullptr;
    BDM_AssetHandle asset = key.mBin->GetAsset(key.mInner);
    if (!asset || !asset->ResolveFileSystemAlias(&loc))
        return nullptr;
    return GetVolume(Sys_Volume(loc.GetFullPath()));
}

namespace
{
// Whether iPath lies strictly below the folder iFolder.
bool IsBelow(const std::string& iPath, const std::string& iFolder)
{
    if (iFolder.empty() || iPath.size() <= iFolder.size() ||
        iPath.compare(0, iFolder.size(), iFolder))
        return false;
    return iFolder.back() == '/' || iPath[iFolder.size()] == '/';
}
} // namespace

bool BDM_Workspace::LiesInside(const BDM_KeyHandle& iKey, const BDM_KeyHandle& iOuter) const
{
    const BDM_WorkspaceKey& outer = AsWorkspaceKey(iOuter);
    const BDM_WorkspaceKey& key = AsWorkspaceKey(iKey);
    if (!outer.mBin && !outer.mInner)
        return key.mBin || key.mInner; // everything lies in the root
    if (!key.mBin)
        return false;
    if (FindVolumeEntry(iOuter))
        return VolumeOfKey(iOuter) == VolumeOfKey(iKey);
    if (FindCatalogEntry(iOuter))
        return key.mBin == outer.mBin;
    if (!iOuter->IsFolder() || !outer.mInner)
        return false;
    // a folder: by location on disk, else by the parents in the one inner bin
    BDM_AssetHandle outerAsset = outer.mBin->GetAsset(outer.mInner);
    BDM_AssetHandle asset = key.mInner ? key.mBin->GetAsset(key.mInner) : BDM_AssetHandle();
    if (!outerAsset || !asset)
        return false;
    Sys_FileLoc outerLoc, loc;
    if (VolumeOfKey(iOuter) && VolumeOfKey(iKey) && outerAsset->ResolveFileSystemAlias(&outerLoc) &&
        asset->ResolveFileSystemAlias(&loc))
        return IsBelow(loc.GetFullPath(), outerLoc.GetFullPath());
    if (key.mBin != outer.mBin)
        return false;
    for (BDM_AssetHandle parent = asset->GetParent(); parent; parent = parent->GetParent())
    {
        if (SameKey(parent->GetKey(), outer.mInner))
            return true;
        if (parent->IsRoot())
            break;
    }
    return false;
}

void BDM_Workspace::CompactSelection(std::list<BDM_KeyHandle>* ioKeysP)
{
    std::vector<BDM_KeyHandle> keys(ioKeysP->begin(), ioKeysP->end());
    ioKeysP->clear();
    for (size_t i = 0; i < keys.size(); ++i)
    {
        bool inside = false;
        for (size_t j = 0; j < keys.size() && !inside; ++j)
            if (j != i)
                inside = SameKey(keys[i], keys[j]) ? j < i : LiesInside(keys[i], keys[j]);
        if (!inside)
            ioKeysP->push_back(keys[i]);
    }
}

BDM_QueryAreaHandle
BDM_Workspace::GenerateQueryAreaFromSelection(const std::list<BDM_KeyHandle>& iKeys)
{
    std::list<BDM_KeyHandle> keys(iKeys);
    CompactSelection(&keys);
    // The root stands for all its entries.
    for (auto it = keys.begin(); it != keys.end();)
    {
        const BDM_WorkspaceKey& key = AsWorkspaceKey(*it);
        if (key.mBin || key.mInner)
        {
            ++it;
            continue;
        }
        it = keys.erase(it);
        for (const auto& entry : mVolumes)
            keys.insert(it, entry.mKey);
        for (const auto& entry : mCatalogs)
            keys.insert(it, entry.mKey);
    }
    const auto open = [](BDM_Bin& ioBin)
    {
        if (!ioBin.IsOpen())
            ioBin.Open(eOpenFlag_OpenForWrite);
    };
    BDM_QueryAreaHandle area(new BDM_QueryArea);
    for (const BDM_KeyHandle& iKey : keys)
    {
        const BDM_WorkspaceKey& key = AsWorkspaceKey(iKey);
        if (const VolumeEntry* entryP = FindVolumeEntry(iKey))
        {
            BDM_Volume& volume = *entryP->mVolume;
            if (volume.HasDatabase())
            {
                open(volume);
                area->AddArea(*volume.GetDatabase(), volume.GetDatabase()->GetRoot());
            }
            else
                area->AddArea(*key.mBin, key.mInner);
            continue;
        }
        if (FindCatalogEntry(iKey))
        {
            open(*key.mBin);
            area->AddArea(*key.mBin, key.mBin->GetRoot());
            continue;
        }
        if (!iKey->IsFolder())
            continue;
        BDM_Bin* binP = key.mBin;
        if (auto* volumeP = dynamic_cast<BDM_Volume*>(binP))
        {
            // a volume's own keys are its database's
            open(*volumeP);
            if (!volumeP->GetPredicateFactory())
                binP = volumeP->GetDatabase();
        }
        area->AddArea(*binP, key.mInner);
    }
    return area;
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
