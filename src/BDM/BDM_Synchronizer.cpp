#include "BDM/BDM_Synchronizer.h"

#include <dirent.h>
#include <sys/stat.h>

#include <chrono>

#include "BDM/BDM_Volume.h"
#include "L10N_Utils.h"

namespace
{
const BDM_AttributeTags& Tags()
{
    return *BDM_AttributeTags::Instance();
}

// Writes iValue unless the attribute holds it already; false when the asset has no such
// attribute.
template <class T> bool SetIfDifferent(BDM_Asset& ioAsset, const BDM_TypedAttributeTag<T>& iTag, const T& iValue)
{
    auto* attributeP = dynamic_cast<BDM_TypedAttribute<T>*>(ioAsset.GetAttribute(iTag));
    if (!attributeP)
        return false;
    T old{};
    if (!attributeP->GetValue(&old) || !(old == iValue))
        attributeP->Set(iValue);
    return true;
}

// Assigns the source's value unless it is unset or already the destination's; true when it
// wrote.
bool AssignIfDifferent(BDM_Asset& iSource, BDM_Asset& ioDestination, const BDM_AttributeTag& iTag)
{
    BDM_Attribute* sourceP = iSource.GetAttribute(iTag);
    if (!sourceP)
        return false;
    const BDM_AttributeValueHandle value = sourceP->GetValue();
    if (value->IsEmpty())
        return false;
    BDM_Attribute* destinationP = ioDestination.GetAttribute(iTag);
    if (!destinationP)
        return false;
    const BDM_AttributeValueHandle old = destinationP->GetValue();
    if (!old->IsEmpty() && old->EqualTo(*value))
        return false;
    destinationP->Assign(*sourceP);
    return true;
}

// The modification date (microseconds, UTC) and data size of a regular file, as the file
// system's assets report them, from one stat.
bool StatFile(const Sys_FileLoc& iLoc, int64_t* oModDateP, int64_t* oSizeP)
{
    struct stat info;
    if (::stat(iLoc.GetFullPath().c_str(), &info) != 0 || !S_ISREG(info.st_mode))
        return false;
    *oModDateP = int64_t(info.st_mtim.tv_sec) * 1000000 + int64_t(info.st_mtim.tv_nsec) / 1000;
    *oSizeP = int64_t(info.st_size);
    return true;
}

bool LocationOf(const BDM_KeyHandle& iKey, Sys_FileLoc* oLocP)
{
    const BDM_Volume::FileSystemHooks& hooks = BDM_Volume::GetFileSystemHooks();
    CMN_ASSERT(hooks.mGetLocation);
    return iKey && hooks.mGetLocation(*iKey, oLocP);
}

std::string StatusText(int32_t iResource, const std::string& iInsert)
{
    std::string text = L10N_Utils::GetResourceString(iResource);
    const size_t at = text.find("%1");
    if (at != std::string::npos)
        text.replace(at, 2, iInsert);
    return text;
}

// Holds a flag set for its lifetime and restores the old value on every way out.
class StSetFlag
{
public:
    explicit StSetFlag(bool& ioFlag) : mFlag(ioFlag), mOld(ioFlag) { mFlag = true; }
    ~StSetFlag() { mFlag = mOld; }
    StSetFlag(const StSetFlag&) = delete;
    StSetFlag& operator=(const StSetFlag&) = delete;

private:
    bool& mFlag;
    bool mOld;
};
} // namespace

// ---- BDM_AssetSynchronizer ---------------------------------------------------------------

bool BDM_AssetSynchronizer::sIsInSynchronizingContext = false;

BDM_AssetSynchronizer::BDM_AssetSynchronizer(const BDM_AssetHandle& iSource,
                                             const BDM_AssetHandle& iDestination,
                                             bool iAllAttributes)
    : mSource(iSource), mDestination(iDestination), mAllAttributes(iAllAttributes)
{
    CMN_ASSERT(mSource && mDestination);
}

int32_t BDM_AssetSynchronizer::CopyAttributes(BDM_Asset& iSource, BDM_Asset& iDestination,
                                              bool iAllAttributes)
{
    StSetFlag context(sIsInSynchronizingContext);
    const BDM_AttributeTags& t = Tags();
    int32_t written = 0;
    for (const BDM_AttributeTag* tagP : t.GetTags())
    {
        if (!tagP->IsIndexed())
            continue;
        if (!iAllAttributes && (*tagP == t.cAssetTimestamp || *tagP == t.cFileName ||
                                *tagP == t.cFilePathComponents || *tagP == t.cFileVolumeID))
            continue;
        if (AssignIfDifferent(iSource, iDestination, *tagP))
            ++written;
    }
    return written;
}

void BDM_AssetSynchronizer::SyncTimestamp(BDM_Asset& iSource, BDM_Asset& iDestination)
{
    AssignIfDifferent(iSource, iDestination, Tags().cAssetTimestamp);
    AssignIfDifferent(iSource, iDestination, Tags().cFileModDate);
}

bool BDM_AssetSynchronizer::Load()
{
    StSetFlag context(sIsInSynchronizingContext);
    if (!mSource->IsLoaded())
    {
        AddDependency(mSource.Get());
        return false;
    }
    CopyAttributes(*mSource, *mDestination, mAllAttributes);
    if (!mSource->IsContainer())
    {
        SyncTimestamp(*mSource, *mDestination);
        SetIfDifferent(*mDestination, Tags().cFileLastIndexedDate, BDM_NowUTCMicroseconds());
    }
    mDestination->Flush();
    UpdateUnitsCompleted(1);
    return true;
}

// ---- BDM_FolderSynchronizer --------------------------------------------------------------

class BDM_FolderSynchronizer::SrcChildEnumeratorClient : public BDM_Asset::ChildEnumerator::Client
{
public:
    explicit SrcChildEnumeratorClient(BDM_FolderSynchronizer& iOwner) : mOwnerP(&iOwner) {}
    void HandleChild(const BDM_KeyHandle& iKey) override
    {
        Sys_FileLoc loc;
        if (LocationOf(iKey, &loc))
            mOwnerP->mSourceChildren[loc.GetName()] = iKey;
    }

private:
    BDM_FolderSynchronizer* mOwnerP;
};

BDM_FolderSynchronizer::BDM_FolderSynchronizer(BDM_Synchronizer& iOwner) : mOwner(iOwner)
{
    UpdateStatusMessage(StatusText(1243, iOwner.GetFolder().mLoc.GetName()));
}

BDM_FolderSynchronizer::~BDM_FolderSynchronizer() = default;

void BDM_FolderSynchronizer::Reconcile()
{
    BDM_Synchronizer::Folder& folder = mOwner.GetFolder();
    BDM_Bin& database = *mOwner.GetVolume().GetDatabase();
    for (auto it = folder.mEntries.begin(); it != folder.mEntries.end();)
    {
        const auto source = mSourceChildren.find(it->first);
        const bool kept = source != mSourceChildren.end() &&
                          source->second->IsFolder() == it->second.mFolder;
        if (kept || it->second.mAddedNow)
        {
            ++it;
            continue;
        }
        mOwner.mCounts->mRemoved += 1 + mOwner.CountEntriesBelow(it->second.mKey);
        database.DeleteAsset(it->second.mKey);
        it = folder.mEntries.erase(it);
    }
}

bool BDM_FolderSynchronizer::Load()
{
    BDM_Synchronizer::Folder& folder = mOwner.GetFolder();
    BDM_Bin& database = *mOwner.GetVolume().GetDatabase();
    BDM_Bin& files = mOwner.GetBin();
    if (mStage == 0)
    {
        mStage = 1;
        const BDM_AssetHandle source = files.GetAsset(mOwner.GetLocalRoot());
        const BDM_AssetHandle destination = database.GetAsset(folder.mKey);
        if (!source || !destination)
            return true;
        AddDependency(new BDM_AssetSynchronizer(source, destination, false));
        const BDM_LazyObjectHandle enumerator =
            source->EnumerateChildren(std::make_unique<SrcChildEnumeratorClient>(*this));
        if (!enumerator->IsLoaded())
            AddDependency(enumerator.Get());
        return false;
    }
    if (mStage == 1)
    {
        Reconcile();
        int64_t toAdd = 0;
        for (const auto& [name, key] : mSourceChildren)
            toAdd += folder.mEntries.count(name) == 0;
        UpdateUnitsToComplete(toAdd);
        mNextNew = mSourceChildren.begin();
        mStage = 2;
    }
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(20);
    for (; mNextNew != mSourceChildren.end(); ++mNextNew)
    {
        if (Clock::now() >= end)
            return false;
        const auto& [name, key] = *mNextNew;
        if (folder.mEntries.count(name))
            continue;
        Sys_FileLoc loc;
        if (!LocationOf(key, &loc))
            continue;
        *mOwner.mCurrent = loc;
        const BDM_AssetHandle source = files.GetAsset(key);
        if (!source)
            continue; // gone since it was listed
        BDM_Synchronizer::Entry entry;
        entry.mKey = mOwner.GetVolume().ImportEntry(*source, loc, folder.mKey);
        entry.mFolder = key->IsFolder();
        entry.mAddedNow = true;
        folder.mEntries[name] = entry;
        ++mOwner.mCounts->mAdded;
        UpdateUnitsCompleted(1);
    }
    const BDM_AssetHandle source = files.GetAsset(mOwner.GetLocalRoot());
    const BDM_AssetHandle destination = database.GetAsset(folder.mKey);
    if (source && destination)
        BDM_AssetSynchronizer::SyncTimestamp(*source, *destination);
    mSourceChildren.clear();
    return true;
}

// ---- BDM_Synchronizer --------------------------------------------------------------------

BDM_Synchronizer::BDM_Synchronizer(BDM_Volume& iVolume, const BDM_KeyHandle& iSourceKey,
                                   const BDM_KeyHandle& iDestinationKey, bool iSetIndexedDate,
                                   bool iSetIndexedExhaustively, bool iMultiPassWithCommit)
    : BDM_Iterator(iVolume.GetFileSystemBin(), iSourceKey), mVolumeP(&iVolume),
      mVolumeHold(&iVolume), mDestinationKey(iDestinationKey),
      mCounts(std::make_shared<BDM_SyncCounts>()), mCurrent(std::make_shared<Sys_FileLoc>()),
      mSetIndexedDate(iSetIndexedDate), mSetIndexedExhaustively(iSetIndexedExhaustively)
{
    CMN_ASSERT(iVolume.GetDatabase() && iDestinationKey);
    SetMultiPass(iMultiPassWithCommit);
    LocationOf(iSourceKey, mCurrent.get());
    UpdateStatusMessage(StatusText(1244, mCurrent->GetName()));
}

BDM_Synchronizer::BDM_Synchronizer(BDM_Synchronizer& iParent, const BDM_KeyHandle& iSourceKey,
                                   const std::string& iName)
    : BDM_Iterator(iParent.GetBin(), iSourceKey), mVolumeP(iParent.mVolumeP),
      mVolumeHold(iParent.mVolumeP), mName(iName), mParentFolder(iParent.mFolder),
      mCounts(iParent.mCounts), mCurrent(iParent.mCurrent), mSetIndexedDate(false),
      mSetIndexedExhaustively(iParent.mSetIndexedExhaustively)
{
    SetMultiPass(false);
}

int64_t BDM_Synchronizer::CountEntriesBelow(const BDM_KeyHandle& iKey)
{
    if (!iKey->IsFolder())
        return 0;
    BDM_Bin& database = *mVolumeP->GetDatabase();
    const BDM_AssetHandle asset = database.GetAsset(iKey);
    if (!asset)
        return 0;
    std::list<BDM_KeyHandle> children;
    asset->GetChildren(&children);
    int64_t count = int64_t(children.size());
    for (const BDM_KeyHandle& child : children)
        count += CountEntriesBelow(child);
    return count;
}

bool BDM_Synchronizer::Begin()
{
    if (!mDestinationKey && mParentFolder)
    {
        const auto found = mParentFolder->mEntries.find(mName);
        if (found != mParentFolder->mEntries.end() && found->second.mFolder)
            mDestinationKey = found->second.mKey;
    }
    if (!mDestinationKey)
        return false; // the folder could not be entered
    mFolder = std::make_shared<Folder>();
    mFolder->mKey = mDestinationKey;
    LocationOf(GetLocalRoot(), &mFolder->mLoc);
    if (DIR* dirP = ::opendir(mFolder->mLoc.GetFullPath().c_str()))
        ::closedir(dirP);
    else
    {
        // Not seen: what the database holds for it stays as it is.
        mCounts->mOffline += CountEntriesBelow(mDestinationKey);
        return false;
    }
    std::vector<BDM_Volume::ChildRecord> children;
    mVolumeP->ListChildren(mDestinationKey, &children);
    for (BDM_Volume::ChildRecord& child : children)
    {
        Entry entry;
        entry.mKey = child.mKey;
        entry.mFolder = child.mKey->IsFolder();
        entry.mHasDate = child.mHasModDate;
        entry.mHasSize = child.mHasSize;
        entry.mModDate = child.mModDate;
        entry.mSize = child.mSize;
        mFolder->mEntries[std::move(child.mName)] = entry;
    }
    return true;
}

BDM_LazyObjectHandle BDM_Synchronizer::CreateOperator(const BDM_KeyHandle& iKey, BDM_Asset* iParentP,
                                                      bool* oIsIteratorP)
{
    *oIsIteratorP = false;
    if (!iParentP)
        return BDM_LazyObjectHandle(new BDM_FolderSynchronizer(*this));
    Sys_FileLoc loc;
    if (!LocationOf(iKey, &loc))
        return BDM_LazyObjectHandle();
    *mCurrent = loc;
    if (iKey->IsFolder())
    {
        *oIsIteratorP = true;
        return BDM_LazyObjectHandle(new BDM_Synchronizer(*this, iKey, loc.GetName()));
    }
    const auto found = mFolder->mEntries.find(loc.GetName());
    if (found == mFolder->mEntries.end() || found->second.mAddedNow || found->second.mFolder)
        return BDM_LazyObjectHandle(); // the folder synchroniser enters or replaces it
    const Entry& entry = found->second;
    int64_t modDate = 0, size = 0;
    if (StatFile(loc, &modDate, &size) && entry.mHasDate && entry.mHasSize &&
        modDate == entry.mModDate && size == entry.mSize)
    {
        ++mCounts->mUnchanged;
        UpdateUnitsToComplete(1);
        UpdateUnitsCompleted(1);
        return BDM_LazyObjectHandle();
    }
    const BDM_AssetHandle source = GetBin().GetAsset(iKey);
    const BDM_AssetHandle destination = mVolumeP->GetDatabase()->GetAsset(entry.mKey);
    if (!source || !destination)
        return BDM_LazyObjectHandle();
    ++mCounts->mChanged;
    return BDM_LazyObjectHandle(new BDM_AssetSynchronizer(source, destination, false));
}

bool BDM_Synchronizer::Load()
{
    if (!mBegun)
    {
        mBegun = true;
        if (!Begin())
            return true;
    }
    if (!mFolder)
        return true;
    if (!BDM_Iterator::Load())
        return false;
    BDM_Bin& database = *mVolumeP->GetDatabase();
    if (const BDM_AssetHandle root = database.GetAsset(mDestinationKey))
    {
        if (mSetIndexedDate)
            SetIfDifferent(*root, Tags().cFileLastIndexedDate, BDM_NowUTCMicroseconds());
        if (mSetIndexedExhaustively && root->IsContainer())
            SetIfDifferent(*root, Tags().cFolderIndexedExhaustively, true);
    }
    if (IsMultiPass())
        mVolumeP->Commit();
    return true;
}
