#include "BDM/Adapters/Neo/BDM_Catalog.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "BDM/Adapters/FS/BFSa_Bin.h"
#include "BDM/Adapters/Neo/BNeoa_Database.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Schema.h"
#include "BDM/BDM_Utils.h"
#include "BDM/BDM_Volume.h"
#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
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
