// Volumes and the workspace over a mount table of the test's own: entries that follow the
// mounted volumes, databases found again by identifier when a disk moves, and the seams
// through which the database adapter makes volume databases and catalogs.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "BDM/BDM_AttributeTag.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Settings.h"
#include "BDM/BDM_Volume.h"
#include "BDM/BDM_Workspace.h"
#include "BDMTestSupport.h"
#include "Cmn_Assert.h"
#include <nlohmann/json.hpp>

#include "Support/TestSupport.h"
#include "Support/ToolRunner.h"
#include "Sys_VolumePosix.h"

namespace
{
namespace fs = std::filesystem;

constexpr uint32_t cRootID = 1;
constexpr uint32_t cDiskA = 0xA;
constexpr uint32_t cDiskB = 0xB;

// A folder that stands in for the machine: mount points below it, the volumes folder and
// the catalogs folder in it, and a mount table installed for the life of the fixture.
class VolumeFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        BDMTest_Tags();
        for (const char* folder : {"diskA", "diskA2", "diskB", "catalogs"})
            fs::create_directories(Path(folder));
        BDM_Volume::SetVolumesFolder(Sys_FileLoc(Path("volumes")));
    }
    void TearDown() override
    {
        Sys_VolumePosix::ClearMountTable();
        BDM_Volume::SetVolumesFolder(Sys_FileLoc());
        BDM_Volume::SetDatabaseFactory(nullptr);
        BDM_Workspace::SetCatalogFactory(nullptr);
    }
    std::string Path(const std::string& iName) const { return mDir.Path() + "/" + iName; }
    // The root file system and the disks: (identifier, folder) pairs.
    void Mount(const std::vector<std::pair<uint32_t, std::string>>& iDisks)
    {
        Sys_VolumePosix::MountTable table;
        Sys_VolumePosix::MountEntry root;
        root.mID = cRootID;
        root.mMountPoint = "/";
        root.mFileSystemName = "ext4";
        root.mSource = "/dev/sda1";
        table.push_back(root);
        for (const auto& [id, folder] : iDisks)
        {
            Sys_VolumePosix::MountEntry disk = root;
            disk.mID = id;
            disk.mMountPoint = Path(folder);
            disk.mSource = "/dev/sdz" + std::to_string(id);
            table.push_back(disk);
        }
        Sys_VolumePosix::SetMountTable(table);
    }

    Test_TempDir mDir;
};

// Bins are counted (their assets hold them): made on the heap and held by a handle.
template <class T> T& Hold(BDM_BinHandle* oHoldP, T* iBinP)
{
    *oHoldP = BDM_BinHandle(iBinP);
    return *iBinP;
}

std::vector<uint32_t> ListedIDs(const BDM_Workspace& iWorkspace)
{
    std::vector<uint32_t> ids;
    for (const auto& entry : iWorkspace.GetVolumes())
        ids.push_back(entry.mVolume->GetVolume().GetID());
    return ids;
}

TEST_F(VolumeFixture, RefreshVolumesFollowsTheMountTable)
{
    struct Step
    {
        const char* mWhat;
        std::vector<std::pair<uint32_t, std::string>> mDisks;
        std::vector<uint32_t> mListed;
        std::vector<uint32_t> mKeyKept; // entries whose key is the one of the step before
    };
    const Step steps[] = {
        {"first scan", {{cDiskA, "diskA"}, {cDiskB, "diskB"}}, {cRootID, cDiskA, cDiskB}, {}},
        {"no change", {{cDiskA, "diskA"}, {cDiskB, "diskB"}}, {cRootID, cDiskA, cDiskB},
         {cRootID, cDiskA, cDiskB}},
        {"A at a new mount point", {{cDiskA, "diskA2"}, {cDiskB, "diskB"}}, {cRootID, cDiskB, cDiskA},
         {cRootID, cDiskB}},
        {"B unplugged", {{cDiskA, "diskA2"}}, {cRootID, cDiskA}, {cRootID, cDiskA}},
    };
    BDM_Cache cache;
    BDM_BinHandle hold;
    BDM_Workspace& workspace = Hold(&hold, new BDM_Workspace(&cache));
    std::map<uint32_t, BDM_KeyHandle> before;
    for (const Step& step : steps)
    {
        SCOPED_TRACE(step.mWhat);
        Mount(step.mDisks);
        workspace.RefreshVolumes();
        EXPECT_EQ(ListedIDs(workspace), step.mListed);
        std::map<uint32_t, BDM_KeyHandle> now;
        for (const auto& entry : workspace.GetVolumes())
            now[entry.mVolume->GetVolume().GetID()] = entry.mKey;
        for (const auto& [id, key] : before)
        {
            const bool kept = now.count(id) && now[id].Get() == key.Get();
            EXPECT_EQ(kept, std::count(step.mKeyKept.begin(), step.mKeyKept.end(), id) == 1) << id;
            if (!kept)
            { // a stale key names no volume any more
                EXPECT_EQ(workspace.GetVolume(key), nullptr) << id;
            }
        }
        for (const auto& [id, key] : now)
        {
            EXPECT_EQ(workspace.GetVolume(key)->GetVolume().GetID(), id);
            EXPECT_EQ(workspace.GetVolumePtrAsKey(Sys_Volume(id, "")).Get(), key.Get());
        }
        // the root lists the entries, each a folder over the volume's current root
        std::list<BDM_KeyHandle> children;
        workspace.GetAsset(workspace.GetRoot())->GetChildren(&children);
        ASSERT_EQ(children.size(), step.mListed.size());
        BDM_AssetHandle last = workspace.GetAsset(children.back());
        ASSERT_TRUE(last);
        EXPECT_TRUE(last->IsContainer());
        Sys_FileLoc lastRoot;
        ASSERT_TRUE(last->ResolveFileSystemAlias(&lastRoot));
        EXPECT_EQ(lastRoot.GetFullPath(),
                  Sys_FileLoc(Sys_Volume(step.mListed.back(), "")).GetFullPath());
        EXPECT_EQ(last->GetParent().Get(), workspace.GetAsset(workspace.GetRoot()).Get());
        before = now;
    }
}

TEST_F(VolumeFixture, VolumeEntriesAnswerSpaceAndDesignations)
{
    const BDM_AttributeTags& t = BDMTest_Tags();
    Mount({{cDiskA, "diskA"}, {cDiskB, "diskB"}});
    BDM_Cache cache;
    BDM_BinHandle hold;
    BDM_Workspace& workspace = Hold(&hold, new BDM_Workspace(&cache));
    workspace.RefreshVolumes();
    BDM_AssetHandle a = workspace.GetAsset(workspace.GetVolumePtrAsKey(Sys_Volume(cDiskA, "")));
    BDM_AssetHandle b = workspace.GetAsset(workspace.GetVolumePtrAsKey(Sys_Volume(cDiskB, "")));
    ASSERT_TRUE(a && b);
    int64_t capacity = 0, free = 0;
    ASSERT_TRUE(a->GetAttributeValue(t.cVolumeCapacity, &capacity));
    ASSERT_TRUE(a->GetAttributeValue(t.cVolumeFreeSpace, &free));
    EXPECT_GT(capacity, 0);
    EXPECT_LE(free, capacity);
    // only the entries of volumes have them
    EXPECT_EQ(workspace.GetAsset(workspace.GetRoot())->GetAttribute(t.cVolumeCapacity), nullptr);

    struct Refuse : BDM_VolumeValidator
    {
        bool IsValid(const Sys_Volume&, BDM_EVolumeDesignation iValue) override
        {
            return iValue != BDM_eVolumeDesignation_Transfer;
        }
    } refuse;
    BDM_Settings& settings = BDM_Globals::Instance()->Settings();
    settings.SetVolumeValidator(&refuse);
    struct Step
    {
        const BDM_TypedAttributeTag<BDM_EVolumeDesignation>* mTagP;
        BDM_EVolumeDesignation mSet;
        BDM_EVolumeDesignation mAudioA, mVideoA, mAudioB;
    };
    const Step steps[] = {
        {&t.cAudioDesignation, BDM_eVolumeDesignation_Record, BDM_eVolumeDesignation_Record,
         BDM_eVolumeDesignation_None, BDM_eVolumeDesignation_None},
        {&t.cVideoDesignation, BDM_eVolumeDesignation_Playback, BDM_eVolumeDesignation_Record,
         BDM_eVolumeDesignation_Playback, BDM_eVolumeDesignation_None},
        {&t.cAudioDesignation, BDM_eVolumeDesignation_Transfer, BDM_eVolumeDesignation_Record,
         BDM_eVolumeDesignation_Playback, BDM_eVolumeDesignation_None}, // refused
    };
    for (const Step& step : steps)
    {
        static_cast<BDM_TypedAttribute<BDM_EVolumeDesignation>*>(a->GetAttribute(*step.mTagP))
            ->Set(step.mSet);
        BDM_EVolumeDesignation value{};
        ASSERT_TRUE(a->GetAttributeValue(t.cAudioDesignation, &value));
        EXPECT_EQ(value, step.mAudioA);
        EXPECT_EQ(settings.GetAudioVolumeDesignation(Sys_Volume(cDiskA, "")), step.mAudioA);
        ASSERT_TRUE(a->GetAttributeValue(t.cVideoDesignation, &value));
        EXPECT_EQ(value, step.mVideoA);
        ASSERT_TRUE(b->GetAttributeValue(t.cAudioDesignation, &value));
        EXPECT_EQ(value, step.mAudioB);
    }
    settings.SetVolumeValidator(nullptr);
    settings.SetAudioVolumeDesignation(Sys_Volume(cDiskA, ""), BDM_eVolumeDesignation_None);
    settings.SetVideoVolumeDesignation(Sys_Volume(cDiskA, ""), BDM_eVolumeDesignation_None);
}

TEST_F(VolumeFixture, DatabaseStaysWithTheIdentifierWhenTheMountPointChanges)
{
    Mount({{cDiskA, "diskA"}});
    BDM_Cache cache;
    BDM_BinHandle holdFirst;
    BDM_Volume& first = Hold(&holdFirst, new BDM_Volume(&cache, Sys_Volume(Path("diskA"))));
    EXPECT_EQ(first.GetRootLoc().GetFullPath(), Path("diskA"));
    EXPECT_EQ(first.GetURL().GetFullPath(), Path("volumes/0000000a/Volume Database"));
    EXPECT_FALSE(first.HasDatabase());
    fs::create_directories(Path("volumes/0000000a"));
    std::ofstream(first.GetURL().GetFullPath()) << "db";
    EXPECT_TRUE(first.HasDatabase());

    Mount({{cDiskA, "diskA2"}});
    BDM_BinHandle holdMoved;
    BDM_Volume& moved = Hold(&holdMoved, new BDM_Volume(&cache, Sys_Volume(Path("diskA2"))));
    EXPECT_EQ(moved.GetVolume().GetID(), cDiskA);
    EXPECT_EQ(moved.GetRootLoc().GetFullPath(), Path("diskA2"));
    EXPECT_EQ(moved.GetURL().GetFullPath(), first.GetURL().GetFullPath());
    EXPECT_TRUE(moved.HasDatabase());
    EXPECT_THROW(BDM_Volume(&cache, Sys_Volume()), Cmn_AssertException);
}

TEST_F(VolumeFixture, OverviewCacheLiesBesideTheDatabaseAndReplacesTheOldOne)
{
    Mount({{cDiskA, "diskA"}});
    BDM_Globals& globals = *BDM_Globals::Instance();
    globals.SetOverviewCacheFolder(Sys_FileLoc());
    const std::string folder = BDM_Volume::GetDatabaseFolder(cDiskA).GetFullPath();
    fs::create_directories(folder);
    std::ofstream(folder + "/cache") << "old";
    globals.OverviewCache(Sys_FileLoc(Path("diskA/take.wav")));
    globals.FlushOverviewCaches();
    EXPECT_FALSE(fs::exists(folder + "/cache"));
    EXPECT_TRUE(fs::exists(folder + "/WaveCache"));
    // a cache whose file went is made anew
    fs::remove_all(folder);
    globals.OverviewCache(Sys_FileLoc(Path("diskA/take.wav")));
    globals.FlushOverviewCaches();
    EXPECT_TRUE(fs::exists(folder + "/WaveCache"));
    globals.SetOverviewCacheFolder(Sys_FileLoc(Path("elsewhere")));
}

// ---- the database seam ---------------------------------------------------------------------

BDM_EAssetType sRootType = BDM_eAssetType_VolumeRoot;

// A database bin that writes its file when created.
class FileBin : public BDMTest_Bin
{
public:
    FileBin(const BDM_URL& iURL, BDM_Cache* iCacheP) : BDMTest_Bin(iCacheP), mURL(iURL)
    {
        mRootType = sRootType;
        mItems[1] = {0, "Take 1.wav", false, 100};
        mItems[2] = {0, "Drums", true, 0};
    }

protected:
    void OpenImpl(EOpenFlag iFlag) override
    {
        if (iFlag == eOpenFlag_OpenCreate)
            std::ofstream(mURL.GetFullPath()) << "db";
    }
    BDM_URL mURL;
};

BDM_Bin* MakeDatabase(const BDM_URL& iURL, const std::string&, BDM_Cache* iCacheP)
{
    return new FileBin(iURL, iCacheP);
}

BDM_Bin* MakeCatalog(const BDM_URL& iURL, BDM_Cache* iCacheP)
{
    return new FileBin(iURL, iCacheP);
}

TEST_F(VolumeFixture, VolumeOpensItsDatabaseThroughTheAdapter)
{
    enum EOutcome
    {
        eOpens,
        eNoAdapter,
        eAssertion
    };
    struct Case
    {
        const char* mWhat;
        bool mAdapter;
        BDM_EAssetType mRootType;
        Cmn_Store::EOpenFlag mFlag;
        EOutcome mOutcome;
    };
    const Case cases[] = {
        {"no adapter", false, BDM_eAssetType_VolumeRoot, Cmn_Store::eOpenFlag_OpenCreate, eNoAdapter},
        {"create", true, BDM_eAssetType_VolumeRoot, Cmn_Store::eOpenFlag_OpenCreate, eOpens},
        {"root of the wrong type", true, BDM_eAssetType_Folder, Cmn_Store::eOpenFlag_OpenCreate,
         eAssertion},
        {"read a database that is not there", true, BDM_eAssetType_VolumeRoot,
         Cmn_Store::eOpenFlag_OpenForRead, eAssertion},
    };
    Mount({{cDiskA, "diskA"}});
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mWhat);
        fs::remove_all(Path("volumes"));
        BDM_Volume::SetDatabaseFactory(c.mAdapter ? &MakeDatabase : nullptr);
        sRootType = c.mRootType;
        BDM_Cache cache;
        BDM_BinHandle hold;
        BDM_Volume& volume = Hold(&hold, new BDM_Volume(&cache, Sys_Volume(Path("diskA"))));
        switch (c.mOutcome)
        {
        case eNoAdapter:
            EXPECT_THROW(volume.Open(c.mFlag), std::runtime_error);
            break;
        case eAssertion:
            EXPECT_THROW(volume.Open(c.mFlag), Cmn_AssertException);
            break;
        case eOpens:
            volume.Open(c.mFlag);
            EXPECT_TRUE(volume.HasDatabase());
            ASSERT_NE(volume.GetDatabase(), nullptr);
            break;
        }
    }
}

TEST_F(VolumeFixture, VolumeAssetsWrapTheDatabasesAssets)
{
    Mount({{cDiskA, "diskA"}});
    BDM_Volume::SetDatabaseFactory(&MakeDatabase);
    sRootType = BDM_eAssetType_VolumeRoot;
    BDM_Cache cache;
    BDM_BinHandle hold;
    BDM_Volume& volume = Hold(&hold, new BDM_Volume(&cache, Sys_Volume(Path("diskA"))));
    volume.Open(Cmn_Store::eOpenFlag_OpenCreate);
    const BDM_AttributeTags& t = BDMTest_Tags();
    BDM_AssetHandle root = volume.GetAsset(volume.GetRoot());
    ASSERT_TRUE(root);
    auto* wrapperP = dynamic_cast<BDM_VolumeAsset*>(root.Get());
    ASSERT_NE(wrapperP, nullptr);
    EXPECT_EQ(root->GetType(), BDM_eAssetType_VolumeRoot);
    std::list<BDM_KeyHandle> children;
    root->GetChildren(&children);
    ASSERT_EQ(children.size(), 2u);
    BDM_AssetHandle take = volume.GetAsset(children.front());
    // forwarded: the very attribute of the database's asset
    EXPECT_EQ(take->GetAttribute(t.cFileName),
              static_cast<BDM_VolumeAsset&>(*take).GetInner()->GetAttribute(t.cFileName));
    EXPECT_EQ(take->GetName(), "Take 1.wav");
    // answered by the wrapper itself
    EXPECT_NE(take->GetAttribute(t.cAssetStatus),
              static_cast<BDM_VolumeAsset&>(*take).GetInner()->GetAttribute(t.cAssetStatus));
    EXPECT_EQ(root->GetAttribute(t.cContainerFlagA) != nullptr, true);
    EXPECT_EQ(take->GetAttribute(t.cContainerFlagA), nullptr);
    EXPECT_EQ(take->GetParent().Get(), root.Get());
    // the new root was committed when the database was made; then this one
    volume.Commit();
    EXPECT_EQ(static_cast<FileBin*>(volume.GetDatabase())->mCommits, 2);
}

TEST_F(VolumeFixture, CatalogsFollowTheirFolder)
{
    BDM_Cache cache;
    BDM_BinHandle hold;
    BDM_Workspace& workspace = Hold(&hold, new BDM_Workspace(&cache));
    workspace.SetCatalogsFolder(Sys_FileLoc(Path("catalogs")));
    EXPECT_THROW(workspace.NewCatalog(""), Cmn_AssertException);
    EXPECT_THROW(workspace.NewCatalog("Drums"), std::runtime_error); // no adapter yet
    workspace.RefreshCatalogs();
    EXPECT_TRUE(workspace.GetCatalogs().empty());

    BDM_Workspace::SetCatalogFactory(&MakeCatalog);
    const BDM_KeyHandle drums = workspace.NewCatalog("Drums");
    EXPECT_TRUE(fs::exists(Path("catalogs/Drums")));
    EXPECT_NE(workspace.GetCatalog(drums), nullptr);
    EXPECT_TRUE(Test_ThrowsL10N([&] { workspace.NewCatalog("Drums"); }, 12, 64));

    std::ofstream(Path("catalogs/Bass")) << "db";
    fs::remove(Path("catalogs/Drums"));
    workspace.RefreshCatalogs();
    ASSERT_EQ(workspace.GetCatalogs().size(), 1u);
    EXPECT_EQ(workspace.GetCatalogs()[0].mURL.GetName(), "Bass");
    EXPECT_EQ(workspace.GetCatalog(drums), nullptr);
    const BDM_KeyHandle bass = workspace.GetCatalogs()[0].mKey;
    workspace.RefreshCatalogs(); // unchanged: the entry keeps its key
    EXPECT_EQ(workspace.GetCatalogs()[0].mKey.Get(), bass.Get());
}
} // namespace

namespace
{
// mirafile volumes over mount tables of the test's: a disk moved to another mount point keeps
// its identifier and its database.
TEST_F(Test_ToolTest, VolumesListsIdentifiersKindsAndDatabases)
{
    ::setenv("MIRAFILE_DATA_DIR", In("data").c_str(), 1);
    const auto table = [&](const std::string& iMountPoint) {
        std::ofstream(In("mountinfo")) << "1 0 8:1 / / rw - ext4 /dev/sda1 rw\n"
                                       << "2 1 8:17 / " << iMountPoint
                                       << " rw,nosuid - vfat /dev/sdb1 rw\n"
                                       << "3 1 0:5 / /proc rw - proc proc rw\n";
        const Test_ToolResult result =
            Test_RunTool("volumes --json --mount-table " + In("mountinfo"), mDir.Path());
        EXPECT_EQ(result.mStatus, 0) << result.mErr;
        nlohmann::json disk;
        for (const auto& row : nlohmann::json::parse(result.mOut))
        {
            EXPECT_NE(row["mount_point"], "/proc"); // pseudo file systems are left out
            if (row["mount_point"] == iMountPoint)
                disk = row;
        }
        return disk;
    };
    const nlohmann::json first = table("/media/mirafile-test-disk");
    ASSERT_FALSE(first.is_null());
    EXPECT_EQ(first["file_system"], "vfat");
    EXPECT_EQ(first["source"], "/dev/sdb1");
    EXPECT_EQ(first["read_only"], false);
    const std::string hex = first["id_hex"];
    ASSERT_EQ(hex.size(), 8u);
    EXPECT_EQ(std::stoul(hex, nullptr, 16), first["id"].get<uint32_t>());
    EXPECT_EQ(first["database"], In("data/volumes/" + hex + "/Volume Database"));
    EXPECT_EQ(first["database_exists"], false);

    std::filesystem::create_directories(In("data/volumes/" + hex));
    std::ofstream(In("data/volumes/" + hex + "/Volume Database")) << "db";
    const nlohmann::json moved = table("/media/mirafile-test-moved");
    ASSERT_FALSE(moved.is_null());
    EXPECT_EQ(moved["id"], first["id"]);
    EXPECT_EQ(moved["database"], first["database"]);
    EXPECT_EQ(moved["database_exists"], true);

    const Test_ToolResult text =
        Test_RunTool("volumes --mount-table " + In("mountinfo"), mDir.Path());
    EXPECT_EQ(text.mStatus, 0);
    EXPECT_NE(text.mOut.find(hex + "  "), std::string::npos) << text.mOut;
    EXPECT_NE(text.mOut.find("yes      /media/mirafile-test-moved\n"), std::string::npos)
        << text.mOut;
    const Test_ToolResult missing =
        Test_RunTool("volumes --mount-table " + In("absent"), mDir.Path());
    EXPECT_EQ(missing.mStatus, 1);
    EXPECT_EQ(missing.mOut, "");
}
} // namespace
