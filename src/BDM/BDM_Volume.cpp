#include "BDM/BDM_Volume.h"

#include <chrono>
#include <cstdio>
#include <stdexcept>

#include "BDM/BDM_AttributeTag.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Synchronizer.h"
#include "BDM/BDM_Utils.h"
#include "BDM/BDM_Volume_AssetCopier.h"
#include "BDM/BDM_Volume_DeleteAssetRecursive.h"
#include "BDM/BDM_Volume_QueryResult.h"
#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
#include "Sys_FileUtils.h"
#include "Sys_Paths.h"

BDM_Volume::DatabaseFactory BDM_Volume::sDatabaseFactory = nullptr;

namespace
{
Sys_FileLoc sVolumesFolder;
BDM_Volume::FileSystemHooks sFileSystemHooks;
BDM_Volume::EntryImporter sEntryImporter = nullptr;
BDM_Volume::ChildLister sChildLister = nullptr;

const BDM_AttributeTags& Tags()
{
    return *BDM_AttributeTags::Instance();
}

template <class T> void SetValue(BDM_Asset& ioAsset, const BDM_TypedAttributeTag<T>& iTag, const T& iValue)
{
    auto* attributeP = dynamic_cast<BDM_TypedAttribute<T>*>(ioAsset.GetAttribute(iTag));
    if (!attributeP)
        return;
    T old{};
    if (!attributeP->GetValue(&old) || !(old == iValue))
        attributeP->Set(iValue);
}
} // namespace

int64_t BDM_NowUTCMicroseconds()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

void BDM_Volume::SetFileSystemHooks(const FileSystemHooks& iHooks)
{
    sFileSystemHooks = iHooks;
}

const BDM_Volume::FileSystemHooks& BDM_Volume::GetFileSystemHooks()
{
    return sFileSystemHooks;
}

void BDM_Volume::SetEntryImporter(EntryImporter iImporter)
{
    sEntryImporter = iImporter;
}

void BDM_Volume::SetChildLister(ChildLister iLister)
{
    sChildLister = iLister;
}

BDM_StringList BDM_Volume::GetRelativeComponents(const Sys_FileLoc& iLoc)
{
    std::vector<std::string> components = iLoc.GetPathComponents();
    BDM_StringList relative;
    for (size_t i = 1; i < components.size(); ++i)
        if (!components[i].empty())
            relative.push_back(components[i]);
    return relative;
}

bool BDM_Volume::ResolveLocation(uint32_t iVolumeID, const BDM_StringList& iComponents,
                                 Sys_FileLoc* oLocP)
{
    if (iVolumeID == 0)
        return false;
    const Sys_Volume volume(iVolumeID, std::string());
    if (!volume.IsMounted())
        return false;
    std::string path = volume.GetMountPoint();
    for (const std::string& component : iComponents)
    {
        if (path.empty() || path.back() != '/')
            path += '/';
        path += component;
    }
    const Sys_FileLoc loc(path);
    if (!Sys_FileUtils::Exists(loc))
        return false;
    *oLocP = loc;
    return true;
}

void BDM_Volume::SetDatabaseFactory(DatabaseFactory iFactory)
{
    sDatabaseFactory = iFactory;
}

BDM_Volume::DatabaseFactory BDM_Volume::GetDatabaseFactory()
{
    return sDatabaseFactory;
}

void BDM_Volume::SetVolumesFolder(const Sys_FileLoc& iFolder)
{
    sVolumesFolder = iFolder;
}

Sys_FileLoc BDM_Volume::GetVolumesFolder()
{
    if (!sVolumesFolder.IsEmpty())
        return sVolumesFolder;
    return Sys_FileLoc(Sys_Paths::GetDataFolder() + "/volumes");
}

Sys_FileLoc BDM_Volume::GetDatabaseFolder(uint32_t iVolumeID)
{
    char name[16];
    std::snprintf(name, sizeof name, "%08x", iVolumeID);
    return Sys_FileLoc(GetVolumesFolder(), name, Sys_FileType::cFolder);
}

BDM_URL BDM_Volume::GetDatabaseURL(uint32_t iVolumeID)
{
    return BDM_URL(Sys_FileLoc(GetDatabaseFolder(iVolumeID), cDatabaseFileName));
}

BDM_Volume::BDM_Volume(BDM_Cache* iCacheP, const Sys_Volume& iVolume)
    : BDM_FileBasedBin(iCacheP, GetDatabaseURL(iVolume.GetID())), mVolume(iVolume)
{
    CMN_ASSERT(iVolume.GetID() != 0);
    if (iVolume.IsMounted())
        mRootLoc = Sys_FileLoc(iVolume);
}

BDM_Volume::~BDM_Volume()
{
    if (GetCache())
        GetCache()->ClearEntriesForBin(this);
}

bool BDM_Volume::HasDatabase() const
{
    return Sys_FileUtils::Exists(mURL);
}

BDM_Bin& BDM_Volume::GetFileSystemBin()
{
    return BDM_Globals::Instance()->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AudioFiles);
}

void BDM_Volume::OpenImpl(EOpenFlag iFlag)
{
    CMN_ASSERT_TEXT(HasDatabase() || iFlag == eOpenFlag_OpenCreate,
                    "mURL && Sys_File( mURL ).IsOnline() || iOpenFlag == eOpenFlag_OpenCreate");
    if (!mNeoBin)
    {
        if (!sDatabaseFactory)
            throw std::runtime_error("No volume database adapter is installed.");
        if (iFlag == eOpenFlag_OpenCreate)
            Sys_FileUtils::CreateFolder(GetDatabaseFolder(mVolume.GetID()));
        mNeoBin = BDM_BinHandle(sDatabaseFactory(mURL, mVolume.GetCachedName(), GetCache()));
        CMN_ASSERT(mNeoBin);
    }
    mNeoBin->Open(iFlag);
    if (iFlag == eOpenFlag_OpenCreate)
    {
        BDM_AssetHandle root = mNeoBin->GetAsset(mNeoBin->GetRoot());
        CMN_ASSERT(root);
        if (sFileSystemHooks.mMakeKey)
        {
            const BDM_AssetHandle fileSystemRoot =
                GetFileSystemBin().GetAsset(sFileSystemHooks.mMakeKey(Sys_FileLoc(mVolume)));
            if (fileSystemRoot)
                for (const BDM_AttributeTag* tagP : Tags().GetTags())
                {
                    if (!tagP->IsIndexed())
                        continue;
                    BDM_Attribute* sourceP = fileSystemRoot->GetAttribute(*tagP);
                    BDM_Attribute* destinationP = sourceP ? root->GetAttribute(*tagP) : nullptr;
                    if (destinationP)
                        destinationP->Assign(*sourceP);
                }
        }
        SetValue(*root, Tags().cAssetName, std::string("Root"));
        SetValue(*root, Tags().cFilePathComponents, BDM_StringList());
        SetValue(*root, Tags().cFileVolumeID, int32_t(mVolume.GetID()));
        mNeoBin->Commit();
    }
    const BDM_AssetHandle root = mNeoBin->GetAsset(mNeoBin->GetRoot());
    CMN_ASSERT_TEXT(root && root->GetType() == BDM_eAssetType_VolumeRoot,
                    "mNeoBin->GetAsset( mNeoBin->GetRoot() )->GetType() == BDM_eAssetType_VolumeRoot");
}

void BDM_Volume::CloseImpl()
{
    if (mNeoBin)
        mNeoBin->Close();
}

BDM_KeyHandle BDM_Volume::GetRoot()
{
    CMN_ASSERT(mNeoBin);
    return mNeoBin->GetRoot();
}

BDM_LazyObjectHandle BDM_Volume::CopyAsset(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                                           const BDM_KeyHandle& iParentKey)
{
    CMN_ASSERT(mNeoBin && sFileSystemHooks.mMakeKey);
    Sys_FileLoc source, folder;
    const BDM_AssetHandle sourceAsset = iSrcBin.GetAsset(iSrcKey);
    if (!sourceAsset || !sourceAsset->ResolveFileSystemAlias(&source))
        throw std::runtime_error("Cannot copy: the source file is offline.");
    const BDM_AssetHandle parent = GetAsset(iParentKey);
    if (!parent || !parent->ResolveFileSystemAlias(&folder) || !Sys_FileUtils::IsFolder(folder))
        throw std::runtime_error("Cannot copy: the destination folder is offline.");
    if (mVolume.IsLocked())
        L10N_Throw(12, 71); // "Cannot copy because the volume is locked."
    const int64_t bytes = Sys_FileUtils::IsFolder(source)
                              ? Sys_FileUtils::GetSpaceRequiredToCopyFolder(source, 1)
                              : Sys_FileUtils::GetSpaceRequiredToCopyFile(source, 1);
    Sys_VolumeAttr attributes;
    if (mVolume.GetAttr(&attributes) && bytes > attributes.GetFreeSpace())
        L10N_Throw(12, 88); // "Not enough space on disk to complete copy"
    BDM_LazyObjectHandle fileCopier =
        GetFileSystemBin().CopyAsset(iSrcBin, iSrcKey, sFileSystemHooks.mMakeKey(folder));
    return BDM_LazyObjectHandle(
        new BDM_Volume_AssetCopier(*this, sourceAsset, iParentKey, fileCopier));
}

BDM_LazyObjectHandle BDM_Volume::MoveAsset(const BDM_KeyHandle& iKey,
                                           const BDM_KeyHandle& iParentKey)
{
    CMN_ASSERT(mNeoBin && iKey && iParentKey && sFileSystemHooks.mMakeKey);
    Sys_FileLoc source, folder;
    const BDM_AssetHandle entry = GetAsset(iKey);
    if (!entry || !entry->ResolveFileSystemAlias(&source))
        throw std::runtime_error("Cannot move: the file is offline.");
    BDM_KeyHandle parentKey = iParentKey;
    if (sFileSystemHooks.mGetLocation && sFileSystemHooks.mGetLocation(*iParentKey, &folder))
    {
        if (!(folder.GetVolume() == mVolume))
            throw std::runtime_error("Cannot move to another volume; copy the item there instead.");
        parentKey = BDM_KeyHandle();
    }
    else
    {
        const BDM_AssetHandle parent = GetAsset(iParentKey);
        if (!parent || !parent->ResolveFileSystemAlias(&folder))
            throw std::runtime_error("Cannot move: the destination folder is offline.");
    }
    if (!Sys_FileUtils::IsFolder(folder))
        throw std::runtime_error("Cannot move: " + folder.GetFullPath() + " is not a folder.");
    const Sys_FileLoc destination(folder, source.GetName());
    if (destination == source)
        return BDM_LazyObjectHandle(new BDM_DoNothingObject);
    if (Sys_FileUtils::Exists(destination))
        L10N_Throw(12, 68); // "An item with this name already exists in that location."
    GetFileSystemBin().MoveAsset(sFileSystemHooks.mMakeKey(source),
                                 sFileSystemHooks.mMakeKey(folder));
    if (!parentKey)
        parentKey = FindOrCreateEntryForLocation(folder);
    mNeoBin->MoveAsset(iKey, parentKey);
    SetPlaceOfEntries(iKey, GetRelativeComponents(destination));
    if (GetCache()) // the wrapper holds the database's asset of the old parent
        GetCache()->Remove(BDM_CacheKey(this, iKey));
    return BDM_LazyObjectHandle(new BDM_DoNothingObject);
}

void BDM_Volume::ThrowIfNameRefused(const BDM_KeyHandle& iKey, const std::string& iName)
{
    std::string message;
    const BDM_TypedAttributeValue<std::string> value(&Tags().cFileName, iName);
    if (!IsAttributeValueValidVoid(iKey, Tags().cFileName, value, &message))
        throw std::runtime_error(message.empty() ? "A name cannot be empty." : message);
}

void BDM_Volume::RenameAsset(const BDM_KeyHandle& iKey, const std::string& iName)
{
    ThrowIfNameRefused(iKey, iName);
    const BDM_AssetHandle entry = GetAsset(iKey);
    CMN_ASSERT(entry);
    RenameEntry(*entry, iName);
}

void BDM_Volume::RenameEntry(BDM_Asset& iEntry, const std::string& iName)
{
    CMN_ASSERT(mNeoBin);
    Sys_FileLoc oldLoc;
    if (!iEntry.ResolveFileSystemAlias(&oldLoc) || oldLoc.IsVolumeRoot())
        throw std::runtime_error("Cannot rename: the file is offline.");
    const Sys_FileLoc newLoc(oldLoc.GetParentFolder(), iName);
    if (iName != oldLoc.GetName())
    {
        if (Sys_FileUtils::Exists(newLoc) && !BDM_Utils::NamesEqual(iName, oldLoc.GetName()))
            L10N_Throw(12, 68); // "An item with this name already exists in that location."
        // The file-system asset renames its file when its name changes.
        const BDM_AssetHandle file = GetFileSystemAsset(oldLoc);
        auto* nameP = file ? dynamic_cast<BDM_TypedAttribute<std::string>*>(
                                 file->GetAttribute(Tags().cFileName))
                           : nullptr;
        if (!nameP)
            throw std::runtime_error("Cannot rename " + oldLoc.GetFullPath() + ".");
        nameP->Set(iName);
    }
    const bool wasRenaming = mRenaming;
    mRenaming = true;
    try
    {
        SetValue(iEntry, Tags().cFileName, iName);
        SetPlaceOfEntries(iEntry.GetKey(), GetRelativeComponents(newLoc));
    }
    catch (...)
    {
        mRenaming = wasRenaming;
        throw;
    }
    mRenaming = wasRenaming;
}

void BDM_Volume::SetPlaceOfEntries(const BDM_KeyHandle& iKey, const BDM_StringList& iComponents)
{
    CMN_ASSERT(mNeoBin);
    const BDM_AssetHandle entry = mNeoBin->GetAsset(iKey);
    if (!entry)
        return;
    SetValue(*entry, Tags().cFilePathComponents, iComponents);
    std::vector<ChildRecord> children;
    ListChildren(iKey, &children);
    for (const ChildRecord& child : children)
    {
        BDM_StringList place = iComponents;
        place.push_back(child.mName);
        SetPlaceOfEntries(child.mKey, place);
    }
}

BDM_AssetHandle BDM_Volume::GetFileSystemAsset(const Sys_FileLoc& iLoc)
{
    CMN_ASSERT(sFileSystemHooks.mMakeKey);
    if (!Sys_FileUtils::Exists(iLoc))
        return BDM_AssetHandle();
    return GetFileSystemBin().GetAsset(sFileSystemHooks.mMakeKey(iLoc));
}

BDM_LazyObjectHandle BDM_Volume::DeleteAssetRecursive(const BDM_KeyHandle& iKey)
{
    CMN_ASSERT(mNeoBin && iKey);
    if (mVolume.IsLocked())
        L10N_Throw(12, 72); // "Cannot delete because the volume is locked."
    return BDM_LazyObjectHandle(new BDM_Volume_DeleteAssetRecursive(*this, iKey));
}

BDM_PredicateFactory* BDM_Volume::GetPredicateFactory()
{
    return mNeoBin ? mNeoBin->GetPredicateFactory() : nullptr;
}

std::unique_ptr<BDM_QueryResult> BDM_Volume::Query(const BDM_PredicateHandle& iPredicate,
                                                   const BDM_KeyHandle& iRoot)
{
    if (!mNeoBin)
        return nullptr;
    return std::make_unique<BDM_Volume_QueryResult>(
        *this, mNeoBin->Query(iPredicate, iRoot ? iRoot : mNeoBin->GetRoot()));
}

bool BDM_Volume::IsInUse() const
{
    // One reference is the owner's; the database's one is the volume's.
    return BDM_FileBasedBin::IsInUse() || GetRefCount() > 1 ||
           (mNeoBin && mNeoBin->GetRefCount() > 1);
}

void BDM_Volume::Commit()
{
    if (mNeoBin)
        mNeoBin->Commit();
}

void BDM_Volume::ListChildren(const BDM_KeyHandle& iParentKey, std::vector<ChildRecord>* oChildrenP)
{
    CMN_ASSERT(mNeoBin);
    oChildrenP->clear();
    if (sChildLister && sChildLister(*mNeoBin, iParentKey, oChildrenP))
        return;
    const BDM_AssetHandle parent = mNeoBin->GetAsset(iParentKey);
    if (!parent)
        return;
    std::list<BDM_KeyHandle> children;
    parent->GetChildren(&children);
    for (const BDM_KeyHandle& child : children)
    {
        const BDM_AssetHandle asset = mNeoBin->GetAsset(child);
        ChildRecord record;
        if (!asset || !asset->GetAttributeValue(Tags().cFileName, &record.mName))
            continue;
        record.mKey = child;
        record.mHasModDate = asset->GetAttributeValue(Tags().cFileModDate, &record.mModDate);
        record.mHasSize = asset->GetAttributeValue(Tags().cFileDataForkSize, &record.mSize);
        oChildrenP->push_back(std::move(record));
    }
}

BDM_KeyHandle BDM_Volume::FindChild(const BDM_KeyHandle& iParentKey, const std::string& iName)
{
    std::vector<ChildRecord> children;
    ListChildren(iParentKey, &children);
    for (const ChildRecord& child : children)
        if (child.mName == iName)
            return child.mKey;
    return BDM_KeyHandle();
}

BDM_KeyHandle BDM_Volume::FindEntryForLocation(const Sys_FileLoc& iFileLoc)
{
    CMN_ASSERT_TEXT(iFileLoc.GetVolume() == mVolume, "iFileLoc.GetVolume() == mVolume");
    BDM_KeyHandle key = GetRoot();
    for (const std::string& name : GetRelativeComponents(iFileLoc))
        if (!(key = FindChild(key, name)))
            break;
    return key;
}

BDM_KeyHandle BDM_Volume::FindOrCreateEntryForLocation(const Sys_FileLoc& iFileLoc)
{
    CMN_ASSERT_TEXT(iFileLoc.GetVolume() == mVolume, "iFileLoc.GetVolume() == mVolume");
    if (iFileLoc.IsVolumeRoot())
        return GetRoot();
    const BDM_KeyHandle parent = FindOrCreateEntryForLocation(iFileLoc.GetParentFolder());
    if (BDM_KeyHandle key = FindChild(parent, iFileLoc.GetName()))
        return key;
    CMN_ASSERT(sFileSystemHooks.mMakeKey);
    const BDM_AssetHandle source = GetFileSystemBin().GetAsset(sFileSystemHooks.mMakeKey(iFileLoc));
    if (!source)
        throw std::runtime_error(iFileLoc.GetFullPath() + ": no such file or folder");
    return ImportEntry(*source, iFileLoc, parent);
}

bool BDM_Volume::DeleteEntryForLocation(const Sys_FileLoc& iFileLoc)
{
    const BDM_KeyHandle key = FindEntryForLocation(iFileLoc);
    if (!key || iFileLoc.IsVolumeRoot())
        return false;
    mNeoBin->DeleteAsset(key);
    if (GetCache())
        GetCache()->ClearEntriesForBin(this);
    return true;
}

BDM_KeyHandle BDM_Volume::ImportEntry(BDM_Asset& iSource, const Sys_FileLoc& iLoc,
                                      const BDM_KeyHandle& iParentKey)
{
    CMN_ASSERT(mNeoBin);
    BDM_KeyHandle key;
    if (sEntryImporter)
        key = sEntryImporter(*mNeoBin, iSource, iParentKey);
    else if (iSource.IsContainer())
        key = mNeoBin->CreateFolder(iParentKey, iLoc.GetName());
    else
        throw std::runtime_error("No volume database adapter is installed.");
    const BDM_AssetHandle entry = mNeoBin->GetAsset(key);
    CMN_ASSERT(entry);
    SetValue(*entry, Tags().cFilePathComponents, GetRelativeComponents(iLoc));
    SetValue(*entry, Tags().cFileVolumeID, int32_t(mVolume.GetID()));
    SetValue(*entry, Tags().cFileLastIndexedDate, BDM_NowUTCMicroseconds());
    return key;
}

BDM_Asset* BDM_Volume::GenerateAsset(const BDM_KeyHandle& iKey)
{
    if (!mNeoBin)
        return nullptr;
    BDM_AssetHandle inner = mNeoBin->GetAsset(iKey);
    return inner ? new BDM_VolumeAsset(this, inner) : nullptr;
}

void BDM_Volume::DeleteAssetImpl(const BDM_KeyHandle& iKey)
{
    BDM_LazyObjectHandle deleter = DeleteAssetRecursive(iKey);
    static_cast<BDM_Volume_DeleteAssetRecursive&>(*deleter).DeleteNow();
}

// ---- BDM_VolumeAsset ---------------------------------------------------------------------

BDM_VolumeAsset::BDM_VolumeAsset(BDM_Volume* iVolumeP, const BDM_AssetHandle& iInner)
    : BDM_Asset(iVolumeP), mInner(iInner)
{
    CMN_ASSERT(mInner);
}

BDM_VolumeAsset::~BDM_VolumeAsset()
{
    for (BDM_Attribute* attributeP : mObserved)
        attributeP->RemoveObserver(*this);
}

BDM_Attribute* BDM_VolumeAsset::GetAttribute(const BDM_AttributeTag& iTag)
{
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    if (iTag == t.cAssetStatus || iTag == t.cContainerFlagA || iTag == t.cContainerFlagB)
        return BDM_Asset::GetAttribute(iTag);
    BDM_Attribute* attributeP = mInner->GetAttribute(iTag);
    if (attributeP && mObserved.insert(attributeP).second)
        attributeP->AddObserver(*this);
    return attributeP;
}

bool BDM_VolumeAsset::ResolveFileSystemAlias(Sys_FileLoc* oLocP)
{
    BDM_StringList components;
    if (!mInner->GetAttributeValue(Tags().cFilePathComponents, &components))
        return false;
    int32_t volumeID = 0;
    if (!mInner->GetAttributeValue(Tags().cFileVolumeID, &volumeID))
        volumeID = int32_t(static_cast<BDM_Volume*>(GetBin())->GetVolume().GetID());
    return BDM_Volume::ResolveLocation(uint32_t(volumeID), components, oLocP);
}

void BDM_VolumeAsset::Update(BDM_Attribute& ioAttribute)
{
    auto& volume = static_cast<BDM_Volume&>(*GetBin());
    std::string name;
    if (ioAttribute.GetTag() == Tags().cFileName && !volume.mRenaming &&
        !BDM_AssetSynchronizer::IsInSynchronizingContext() &&
        BDM_GetAttributeValue(Tags().cFileName, &ioAttribute, &name))
    {
        Sys_FileLoc oldLoc;
        try
        {
            volume.ThrowIfNameRefused(GetKey(), name);
            volume.RenameEntry(*this, name);
        }
        catch (...)
        {
            // The entry keeps the name of its file.
            if (ResolveFileSystemAlias(&oldLoc))
            {
                volume.mRenaming = true;
                SetValue(*this, Tags().cFileName, oldLoc.GetName());
                volume.mRenaming = false;
            }
            throw;
        }
    }
    BDM_Asset::Update(ioAttribute);
}

BDM_Attribute* BDM_VolumeAsset::Fetch(const BDM_AttributeTag&)
{
    return nullptr; // GetAttribute passes every fetched tag to the inner asset
}

BDM_LazyObjectHandle
BDM_VolumeAsset::EnumerateChildren(std::unique_ptr<ChildEnumerator::Client> iClient)
{
    return mInner->EnumerateChildren(std::move(iClient));
}

void BDM_VolumeAsset::GetChildren(std::list<BDM_KeyHandle>* oKeysP)
{
    mInner->GetChildren(oKeysP);
}

BDM_AssetHandle BDM_VolumeAsset::GetParent()
{
    BDM_AssetHandle innerParent = mInner->GetParent();
    if (!innerParent)
        return BDM_AssetHandle();
    return GetBin()->GetAsset(innerParent->GetKey());
}
