#include "BDM/Adapters/Neo/BDM_Catalog.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <set>

#include "BDM/Adapters/FS/BFSa_Bin.h"
#include "BDM/Adapters/Neo/BNeoa_Database.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Iterator.h"
#include "BDM/BDM_PostProcess_Relink.h"
#include "BDM/BDM_Schema.h"
#include "BDM/BDM_Utils.h"
#include "BDM/BDM_Volume.h"
#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
#include "L10N_Utils.h"
#include "Sys_FileLocUtils.h"
#include "Sys_FileUtils.h"

namespace
{
constexpr int32_t cBrowserPackage = 12, cCatalogExists = 64;
constexpr const char* cRootAssetName = "Catalog Root";

// Stores every attribute of a file-system asset, the audio file kept open while they are
// read instead of opened once per attribute.
BDM_KeyHandle ImportOpen(BNeoa_Bin& ioBin, BDM_Asset& iSource, const BDM_KeyHandle& iParent)
{
    std::unique_ptr<FF_AudioFile::StOpenForRead> open;
    if (auto* audioP = dynamic_cast<BFSa_AudioAsset*>(&iSource))
    {
        try
        {
            open.reset(new FF_AudioFile::StOpenForRead(audioP->GetFile()));
        }
        catch (const std::exception&)
        {
            // Unreadable now: each attribute says so on its own.
        }
    }
    return ioBin.ImportAsset(iSource, iParent);
}

// Volume databases are plain database bins of this adapter.
BDM_Bin* MakeVolumeDatabase(const BDM_URL& iURL, const std::string&, BDM_Cache* iCacheP)
{
    return new BNeoa_Bin(iURL, iCacheP);
}
BDM_KeyHandle ImportVolumeEntry(BDM_Bin& iDatabase, BDM_Asset& iSource, const BDM_KeyHandle& iParent)
{
    auto* binP = dynamic_cast<BNeoa_Bin*>(&iDatabase);
    if (!binP)
        throw std::runtime_error("Not a database of this adapter.");
    return ImportOpen(*binP, iSource, iParent);
}
// A folder's entries as an indexing pass compares them, in one query.
bool ListVolumeChildren(BDM_Bin& iDatabase, const BDM_KeyHandle& iParentKey,
                        std::vector<BDM_Volume::ChildRecord>* oChildrenP)
{
    auto* binP = dynamic_cast<BNeoa_Bin*>(&iDatabase);
    if (!binP)
        return false;
    BNeoa_Bin& bin = *binP;
    CMN_ASSERT_TEXT(iParentKey && iParentKey->GetType() == BDM_Key::eType_Neo,
                    "iKey->GetType() == BDM_Key::eType_Neo");
    BNeoa_Statement statement(bin.GetConnection(),
                              "SELECT ID, AssetType, FileName, FileNameValidity, FileModDate, "
                              "FileModDateValidity, FileDataForkSize, FileDataForkSizeValidity "
                              "FROM Asset WHERE ParentID = ?1 ORDER BY ID");
    statement.BindInt(1, static_cast<const BNeoa_Key&>(*iParentKey).GetID());
    while (statement.Step())
    {
        if (statement.Int(3) == 0 || statement.IsNull(2))
            continue;
        BDM_Volume::ChildRecord record;
        record.mKey = bin.MakeKey(statement.Int(0), BDM_EAssetType(statement.Int(1)));
        record.mName = statement.Text(2);
        record.mHasModDate = statement.Int(5) != 0 && !statement.IsNull(4);
        record.mModDate = statement.Int(4);
        record.mHasSize = statement.Int(7) != 0 && !statement.IsNull(6);
        record.mSize = statement.Int(6);
        oChildrenP->push_back(std::move(record));
    }
    return true;
}
[[maybe_unused]] const bool sVolumeDatabaseInstalled =
    (BDM_Volume::SetDatabaseFactory(&MakeVolumeDatabase),
     BDM_Volume::SetEntryImporter(&ImportVolumeEntry),
     BDM_Volume::SetChildLister(&ListVolumeChildren), true);
} // namespace

BDM_Catalog::BDM_Catalog(const Sys_FileLoc& iURL, BDM_Cache* iCacheP) : BNeoa_Bin(iURL, iCacheP) {}

Sys_FileLoc BDM_Catalog::GetCatalogsFolder()
{
    if (const char* folder = std::getenv("MIRAFILE_CATALOG_DIR"); folder && *folder)
    {
        const Sys_FileLoc loc{std::string(folder)};
        Sys_FileUtils::CreateFolder(loc);
        return loc;
    }
    const Sys_FileLoc loc = Sys_FileLocUtils::GetCatalogsFolderLoc();
    Sys_FileUtils::CreateFolder(loc);
    return loc;
}

Sys_FileLoc BDM_Catalog::GetLocation(const std::string& iName)
{
    return Sys_FileLoc(GetCatalogsFolder().GetFullPath() + "/" + iName + cFileExtension);
}

std::vector<std::string> BDM_Catalog::ListNames()
{
    std::vector<std::string> names;
    const std::string extension = cFileExtension;
    std::error_code error;
    for (const auto& entry :
         std::filesystem::directory_iterator(GetCatalogsFolder().GetFullPath(), error))
    {
        const std::string name = entry.path().filename().string();
        if (name.size() > extension.size() &&
            name.compare(name.size() - extension.size(), extension.size(), extension) == 0)
            names.push_back(name.substr(0, name.size() - extension.size()));
    }
    std::sort(names.begin(), names.end());
    return names;
}

void BDM_Catalog::Create(const std::string& iName)
{
    std::string message;
    if (!BDM_Utils::IsValidName(iName, &message))
        L10N_Throw(1, 2, message);
    const Sys_FileLoc loc = GetLocation(iName);
    if (Sys_FileUtils::Exists(loc))
        L10N_Throw(cBrowserPackage, cCatalogExists);
    // Bins are counted: the assets made while creating hold it.
    BDM_BinHandle catalog(new BDM_Catalog(loc, nullptr));
    catalog->Open(eOpenFlag_OpenCreate);
    catalog->Close();
}

void BDM_Catalog::OpenImpl(EOpenFlag iOpenFlag)
{
    BNeoa_Bin::OpenImpl(iOpenFlag);
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    if (iOpenFlag == eOpenFlag_OpenCreate)
    {
        BDM_AssetHandle root = GetAsset(GetRoot());
        auto* typeP = static_cast<BDM_TypedAttribute<BDM_EAssetType>*>(root->GetAttribute(t.cAssetType));
        typeP->Set(BDM_eAssetType_CatalogRoot);
        static_cast<BDM_TypedAttribute<std::string>*>(root->GetAttribute(t.cAssetName))
            ->Set(cRootAssetName);
        std::string name = GetURL().GetName();
        name.resize(name.size() - std::min(name.size(), std::string(cFileExtension).size()));
        static_cast<BDM_TypedAttribute<std::string>*>(root->GetAttribute(t.cFileName))->Set(name);
        Commit();
    }
    BDM_AssetHandle root = GetAsset(GetRoot());
    CMN_ASSERT_TEXT(root && root->GetType() == BDM_eAssetType_CatalogRoot,
                    "this->GetAsset( this->GetRoot() )->GetType() == BDM_eAssetType_CatalogRoot");
}

bool BDM_Catalog::CanAdd(BDM_EAssetType iType)
{
    return !IsReadOnly() && !IsReadOnlyFile() && iType != BDM_eAssetType_CatalogRoot &&
           iType != BDM_eAssetType_VolumeRoot && iType != BDM_eAssetType_Root;
}

bool BDM_Catalog::CanModifyAttribute(const BDM_KeyHandle& iKey, const BDM_AttributeTag& iTag)
{
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    if (IsReadOnly() || IsReadOnlyFile() || !(iTag == t.cFileName || iTag == t.cAssetComment))
        return false;
    return GetAsset(iKey) != nullptr;
}

void BDM_Catalog::SetName(const std::string& iName)
{
    BDM_AssetHandle root = GetAsset(GetRoot());
    static_cast<BDM_TypedAttribute<std::string>*>(
        root->GetAttribute(BDM_AttributeTags::Instance()->cFileName))
        ->Set(iName);
}

BDM_CatalogCopierHandle BDM_Catalog::CopyAndRelink(const std::vector<BDM_KeyHandle>& iKeys,
                                                   const Sys_FileLoc& iDestination)
{
    return BDM_CatalogCopierHandle(new BDM_CatalogCopier(*this, iKeys, iDestination));
}

// ---- adding ------------------------------------------------------------------------------

BDM_CatalogAdder::BDM_CatalogAdder(BDM_Catalog& iCatalog, const std::vector<Sys_FileLoc>& iLocations)
    : mCatalog(iCatalog), mCatalogHold(&iCatalog)
{
    const BDM_KeyHandle root = iCatalog.GetRoot();
    for (auto it = iLocations.rbegin(); it != iLocations.rend(); ++it)
        mStack.push_back({BFSa_Bin::MakeKey(*it), root});
    UpdateUnitsToComplete(int64_t(iLocations.size()));
    SetProgressUnitsType(BDM_TaskProgress::eUnitsType_Files);
    UpdateStatusMessage("Adding to catalog");
}

BDM_KeyHandle BDM_CatalogAdder::Import(BDM_Asset& iSource, const BDM_KeyHandle& iParent)
{
    return ImportOpen(mCatalog, iSource, iParent);
}

bool BDM_CatalogAdder::Load()
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(cStepMilliseconds);
    BDM_Bin& files = BDM_Globals::Instance()->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles);
    while (!mStack.empty())
    {
        Work work = std::move(mStack.back());
        mStack.pop_back();
        mCurrent = static_cast<const BFSa_Key&>(*work.mKey).GetFileLoc();
        // The asset's one look at the file says whether it is still there.
        BDM_AssetHandle source = files.GetAsset(work.mKey);
        if (const auto* fileP = dynamic_cast<const BFSa_Asset*>(source.Get());
            fileP && !fileP->GetFileProperties().GetExists())
            source = BDM_AssetHandle();
        if (source)
        {
            const BDM_KeyHandle key = Import(*source, work.mParent);
            if (source->IsContainer())
            {
                std::list<BDM_KeyHandle> children;
                source->GetChildren(&children);
                std::vector<BDM_KeyHandle> keys;
                for (const BDM_KeyHandle& child : children)
                    if (child->GetType() == BDM_Key::eType_FS)
                        keys.push_back(child);
                const auto path = [](const BDM_KeyHandle& iKey) -> const std::string& {
                    return static_cast<const BFSa_Key&>(*iKey).GetFileLoc().GetFullPath();
                };
                std::sort(keys.begin(), keys.end(),
                          [&](const BDM_KeyHandle& a, const BDM_KeyHandle& b) { return path(a) < path(b); });
                for (auto it = keys.rbegin(); it != keys.rend(); ++it)
                    mStack.push_back({*it, key});
                UpdateUnitsToComplete(int64_t(keys.size()));
            }
            ++mAdded;
            if (++mSinceCommit >= cCommitInterval)
            {
                mCatalog.Commit();
                mSinceCommit = 0;
            }
        }
        UpdateUnitsCompleted(1);
        if (Clock::now() >= end)
            return mStack.empty() ? (mCatalog.Commit(), true) : false;
    }
    mCatalog.Commit();
    return true;
}

// ---- copying and relinking ---------------------------------------------------------------

namespace
{
BDM_Bin& FileSystem()
{
    return BDM_Globals::Instance()->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles);
}

int64_t IDOf(const BDM_KeyHandle& iKey)
{
    return static_cast<const BNeoa_Key&>(*iKey).GetID();
}

// The file system as the destination of one copy-and-relink: a folder made directly in the
// destination gets a name of its own (a number added when taken), so that the copy of a
// folder never merges into one that is there and each copy lies at its entry's place below
// the new folder; the last file copied directly into the destination is kept for its name.
class CopyDestination : public BFSa_Bin
{
public:
    explicit CopyDestination(const Sys_FileLoc& iDestination)
        : BFSa_Bin(eFileSystemFilter_AllFiles, nullptr), mDestination(iDestination)
    {
    }

    BDM_KeyHandle CreateFolder(const BDM_KeyHandle& iParentKey, const std::string& iName) override
    {
        if (!IsDestination(iParentKey))
            return BFSa_Bin::CreateFolder(iParentKey, iName);
        const Sys_FileLoc folder = Sys_FileUtils::HandleDuplicateName(
            Sys_FileLoc(mDestination, iName, Sys_FileType::cFolder));
        Sys_FileUtils::CreateFolder(folder);
        return MakeKey(folder, true, 0);
    }
    BDM_LazyObjectHandle CopyAsset(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                                   const BDM_KeyHandle& iParentKey) override
    {
        BDM_LazyObjectHandle copier = BFSa_Bin::CopyAsset(iSrcBin, iSrcKey, iParentKey);
        if (IsDestination(iParentKey))
            mLastFileCopier = copier;
        return copier;
    }
    void ForgetLastFileCopier() { mLastFileCopier = BDM_LazyObjectHandle(); }
    const BFSa_AssetCopier* GetLastFileCopier() const
    {
        return static_cast<const BFSa_AssetCopier*>(mLastFileCopier.Get());
    }

private:
    bool IsDestination(const BDM_KeyHandle& iKey) const
    {
        return static_cast<const BFSa_Key&>(*iKey).GetFileLoc().GetFullPath() ==
               mDestination.GetFullPath();
    }

    Sys_FileLoc mDestination;
    BDM_LazyObjectHandle mLastFileCopier;
};

// The relink after a folder's copy, which a cancel may also run on what was copied so far.
class FolderRelink : public BDM_PostProcess_Relink
{
public:
    using BDM_PostProcess_Relink::BDM_PostProcess_Relink;
    void RelinkCopied() { Load(); }
};

std::string StatusText(int32_t iResource, const std::string& iInsert)
{
    std::string text = L10N_Utils::GetResourceString(iResource);
    if (const size_t at = text.find("%1"); at != std::string::npos)
        text.replace(at, 2, iInsert);
    return text;
}
} // namespace

struct BDM_CatalogCopier::Job
{
    BDM_AssetHandle mEntry;
    std::vector<BDM_Link> mFiles; // the file entries: the entry itself, or those below it
    Sys_FileLoc mFrom;
    Cmn_PolymorphicHandle<BDM_RecursiveAssetCopier, Sys_ThreadSafeRefCountObject> mCopier;
    Cmn_PolymorphicHandle<FolderRelink, Sys_ThreadSafeRefCountObject> mRelink;
};

BDM_CatalogCopier::BDM_CatalogCopier(BDM_Catalog& iCatalog, const std::vector<BDM_KeyHandle>& iKeys,
                                     const Sys_FileLoc& iDestination)
    : mCatalog(iCatalog), mCatalogHold(&iCatalog),
      mDestinationBin(new CopyDestination(iDestination)), mDestination(iDestination)
{
    SetProgressUnitsType(BDM_TaskProgress::eUnitsType_Files);
    // The chosen entries, the root's children for the root, without those inside another.
    std::vector<BDM_AssetHandle> chosen;
    for (const BDM_KeyHandle& key : iKeys)
    {
        BDM_AssetHandle asset = key ? iCatalog.GetAsset(key) : BDM_AssetHandle();
        if (asset && asset->IsRoot())
        {
            std::list<BDM_KeyHandle> children;
            asset->GetChildren(&children);
            for (const BDM_KeyHandle& child : children)
                if (BDM_AssetHandle childAsset = iCatalog.GetAsset(child))
                    chosen.push_back(childAsset);
        }
        else if (asset)
            chosen.push_back(asset);
    }
    std::set<int64_t> ids;
    for (const BDM_AssetHandle& asset : chosen)
        ids.insert(IDOf(asset->GetKey()));
    std::set<int64_t> taken;
    for (const BDM_AssetHandle& asset : chosen)
    {
        bool inside = !taken.insert(IDOf(asset->GetKey())).second;
        for (BDM_AssetHandle parent = asset->GetParent(); parent && !inside && !parent->IsRoot();
             parent = parent->GetParent())
            inside = ids.count(IDOf(parent->GetKey())) > 0;
        if (inside)
            continue;
        Job job;
        job.mEntry = asset;
        // The file entries, in the order of the catalog's walk.
        std::vector<BDM_AssetHandle> stack{asset};
        while (!stack.empty())
        {
            BDM_AssetHandle next = stack.back();
            stack.pop_back();
            if (!next->IsContainer())
            {
                job.mFiles.push_back({mCatalogHold, next->GetKey()});
                continue;
            }
            std::list<BDM_KeyHandle> children;
            next->GetChildren(&children);
            for (auto it = children.rbegin(); it != children.rend(); ++it)
                if (BDM_AssetHandle child = iCatalog.GetAsset(*it))
                    stack.push_back(child);
        }
        // A file entry below a folder entry whose file lies elsewhere is a job of its own.
        std::vector<Job> elsewhere;
        Sys_FileLoc folder;
        if (asset->IsContainer() && BDM_Relinker::GetStoredLocation(*asset, &folder))
        {
            const std::string prefix = folder.GetFullPath() + "/";
            std::vector<BDM_Link> inside;
            for (const BDM_Link& link : job.mFiles)
            {
                BDM_AssetHandle file = iCatalog.GetAsset(link.mKey);
                Sys_FileLoc loc;
                if (BDM_Relinker::GetStoredLocation(*file, &loc) &&
                    loc.GetFullPath().compare(0, prefix.size(), prefix) != 0)
                    elsewhere.push_back(Job{file, {link}, {}, {}, {}});
                else
                    inside.push_back(link);
            }
            job.mFiles = std::move(inside);
        }
        mJobs.push_back(std::move(job));
        for (Job& other : elsewhere)
            mJobs.push_back(std::move(other));
    }
}

BDM_CatalogCopier::~BDM_CatalogCopier() = default;

bool BDM_CatalogCopier::Start(Job& ioJob)
{
    const bool isFolder = ioJob.mEntry->IsContainer();
    UpdateStatusMessage(StatusText(1242, ioJob.mEntry->GetName()));
    if (!BDM_Relinker::GetStoredLocation(*ioJob.mEntry, &ioJob.mFrom) ||
        !Sys_FileUtils::Exists(ioJob.mFrom) || Sys_FileUtils::IsFolder(ioJob.mFrom) != isFolder)
    {
        // Nothing to copy: every file entry of the job is missing.
        for (const BDM_Link& link : ioJob.mFiles)
        {
            Sys_FileLoc from;
            BDM_Relinker::GetStoredLocation(*mCatalog.GetAsset(link.mKey), &from);
            mOutcomes.push_back({link, from, Sys_FileLoc()});
        }
        return false;
    }
    if (isFolder &&
        (mDestination.GetFullPath() + "/").rfind(ioJob.mFrom.GetFullPath() + "/", 0) == 0)
        throw std::runtime_error(ioJob.mFrom.GetFullPath() +
                                 ": a folder cannot be copied into itself");
    ioJob.mCopier.Reset(
        new BDM_RecursiveAssetCopier(FileSystem(), BFSa_Bin::MakeKey(ioJob.mFrom, isFolder),
                                     *mDestinationBin, BFSa_Bin::MakeKey(mDestination, true)));
    static_cast<CopyDestination&>(*mDestinationBin).ForgetLastFileCopier();
    if (isFolder)
    {
        ioJob.mRelink.Reset(new FolderRelink(ioJob.mFiles));
        ioJob.mCopier->SetPostProcess(
            BDM_RecursiveAssetCopier::PostProcessHandle(ioJob.mRelink.Get()));
    }
    AddDependency(ioJob.mCopier.Get());
    return true;
}

void BDM_CatalogCopier::Finish(Job& ioJob, bool iCancelled)
{
    if (ioJob.mRelink)
    {
        if (!ioJob.mRelink->IsLoaded())
        {
            if (!iCancelled || !ioJob.mCopier->GetCopiedAssetKey())
                return;
            ioJob.mRelink->RelinkCopied();
        }
        for (const BDM_Relinker::Outcome& outcome : ioJob.mRelink->GetOutcomes())
            if (!iCancelled || !outcome.mTo.IsEmpty())
                mOutcomes.push_back(outcome);
    }
    else
    {
        const BFSa_AssetCopier* copierP =
            static_cast<CopyDestination&>(*mDestinationBin).GetLastFileCopier();
        if (!copierP || !copierP->IsLoaded() || copierP->GetCopiedFileLoc().IsEmpty())
            return;
        const Sys_FileLoc& to = copierP->GetCopiedFileLoc();
        BDM_AssetHandle found = FileSystem().GetAsset(BDM_Relinker::MakeFileKey(to));
        if (!found)
            return;
        Cmn_PolymorphicHandle<BDM_Relinker, Sys_ThreadSafeRefCountObject> relinker(
            new BDM_Relinker(ioJob.mFiles, BDM_QueryAreaHandle(new BDM_QueryArea), false, false));
        relinker->SetFileToFind(0);
        relinker->LinkFound(*found, to);
        mOutcomes.push_back({ioJob.mFiles.front(), ioJob.mFrom, to});
    }
    mCatalog.Commit();
}

bool BDM_CatalogCopier::Load()
{
    if (mRunning)
    {
        mRunning = false;
        Finish(mJobs[mNext++], false);
    }
    while (mNext < mJobs.size())
    {
        if (Start(mJobs[mNext]))
        {
            mRunning = true;
            return false;
        }
        ++mNext;
    }
    mCatalog.Commit();
    return true;
}

void BDM_CatalogCopier::CancelLoadingPrivate(bool iAlsoGroups)
{
    if (mRunning)
    {
        mRunning = false;
        Finish(mJobs[mNext++], true);
    }
    BDM_LazyObject::CancelLoadingPrivate(iAlsoGroups);
}
