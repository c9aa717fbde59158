// The workspace over a mount table of the test's own: copies and moves handed to the inner
// bins, the checks before an unmount, selections turned into query areas, the default
// designation rules, and the link path that an indexing pass leaves quiet.
#include <gtest/gtest.h>

#include <tuple>

#include "BDM/Adapters/FS/BFSa_Bin.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Iterator.h"
#include "BDM/BDM_QueryArea.h"
#include "BDM/BDM_Settings.h"
#include "BDM/BDM_Synchronizer.h"
#include "BDM/BDM_TaskManager.h"
#include "BDM/BDM_Workspace.h"
#include "Catalog/CatalogTestSupport.h"
#include "Sys_VolumePosix.h"

namespace
{
namespace fs = std::filesystem;
using Area = std::vector<std::pair<BDM_Bin*, BDM_KeyHandle>>;

constexpr uint32_t cRootID = 1;
constexpr uint32_t cDiskA = 0xA; // gets a volume database
constexpr uint32_t cDiskB = 0xB; // has none

// A volume that records the keys the workspace hands it.
class RecordingVolume : public BDM_Volume
{
public:
    using BDM_Volume::BDM_Volume;
    BDM_LazyObjectHandle CopyAsset(BDM_Bin& iSrcBin, const BDM_KeyHandle& iKey,
                                   const BDM_KeyHandle& iParent) override
    {
        mCalls.push_back({&iSrcBin, {iKey, iParent}});
        return BDM_LazyObjectHandle(new BDM_DoNothingObject);
    }
    BDM_LazyObjectHandle MoveAsset(const BDM_KeyHandle& iKey, const BDM_KeyHandle& iParent) override
    {
        return CopyAsset(*this, iKey, iParent);
    }
    std::vector<std::pair<BDM_Bin*, std::pair<BDM_KeyHandle, BDM_KeyHandle>>> mCalls;
};

// Stands for a background task that tells which volume it works on.
class VolumeWork : public BDM_LazyObject, public BDM_VolumeUser
{
public:
    explicit VolumeWork(uint32_t iID) : mID(iID) {}
    bool IsUsingVolume(const Sys_Volume& iVolume) const override { return iVolume.GetID() == mID; }
    bool Load() override { return false; }
    uint32_t mID;
};

bool Same(const BDM_KeyHandle& iLhs, const BDM_KeyHandle& iRhs)
{
    return iLhs && iRhs && !BDM_Key::LessThan()(iLhs, iRhs) && !BDM_Key::LessThan()(iRhs, iLhs);
}

Area::value_type Inner(const BDM_KeyHandle& iKey)
{
    const auto& key = static_cast<const BDM_WorkspaceKey&>(*iKey);
    return {key.mBin, key.mInner};
}

// diskA and diskB below a scratch folder, "/" as the boot volume, a catalog "Drums" with a
// folder "Sub", and the workspace over them.
class WorkspaceFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Catalog_InitBrowser();
        for (const char* folder : {"diskA/In", "diskA/Out", "diskA/Keep", "diskB", "catalogs"})
            fs::create_directories(Path(folder));
        std::ofstream(Path("diskA/In/take.txt")) << "take";
        BDM_Volume::SetVolumesFolder(Sys_FileLoc(Path("volumes")));
        Mount({{cRootID, "/", "ext4", false},
               {cDiskA, Path("diskA"), "ext4", false},
               {cDiskB, Path("diskB"), "ext4", false}});
        BDM_Workspace::SetCatalogFactory([](const BDM_URL& iURL, BDM_Cache* iCacheP) -> BDM_Bin*
                                         { return new BDM_Catalog(iURL, iCacheP); });
        mHold = BDM_BinHandle(new BDM_Workspace(&BDM_Globals::Instance()->Cache()));
        WS().SetCatalogsFolder(Sys_FileLoc(Path("catalogs")));
        WS().RefreshVolumes();
        mCatalogKey = WS().NewCatalog("Drums");
        mCatalog = static_cast<BNeoa_Bin*>(WS().GetCatalog(mCatalogKey));
        mSub = mCatalog->CreateFolder(mCatalog->GetRoot(), "Sub");
    }
    void TearDown() override
    {
        mHold = BDM_BinHandle();
        Sys_VolumePosix::ClearMountTable();
        BDM_Volume::SetVolumesFolder(Sys_FileLoc());
        BDM_Workspace::SetCatalogFactory(nullptr);
        BDM_Workspace::SetUnmountFunction(nullptr);
    }
    // (identifier, mount point, file system, read-only) rows
    static void
    Mount(const std::vector<std::tuple<uint32_t, std::string, const char*, bool>>& iDisks)
    {
        Sys_VolumePosix::MountTable table;
        for (const auto& [id, mountPoint, fileSystem, readOnly] : iDisks)
            table.push_back({id, mountPoint, "/", fileSystem, "/dev/sdz", 0, 0, readOnly});
        Sys_VolumePosix::SetMountTable(table);
    }
    BDM_Workspace& WS() const { return static_cast<BDM_Workspace&>(*mHold); }
    std::string Path(const std::string& iName) const { return mDir.Path() + "/" + iName; }
    static BDM_Bin& Files()
    {
        return BDM_Globals::Instance()->FileSystemWithFilter(
            BDM_Globals::eFileSystemFilter_AllFiles);
    }
    static BDM_KeyHandle Wrap(BDM_Bin& iBin, const BDM_KeyHandle& iKey)
    {
        return BDM_KeyHandle(new BDM_WorkspaceKey(&iBin, iKey));
    }
    BDM_KeyHandle FileKey(const std::string& iName)
    {
        return BFSa_Bin::MakeKey(Sys_FileLoc(Path(iName)));
    }
    BDM_KeyHandle File(const std::string& iName) { return Wrap(Files(), FileKey(iName)); }
    BDM_KeyHandle Entry(uint32_t iID) { return WS().GetVolumePtrAsKey(Sys_Volume(iID, "")); }
    BDM_KeyHandle CopyAndWait(const BDM_KeyHandle& iSrc, const BDM_KeyHandle& iParent)
    {
        BDM_LazyObjectHandle copier = WS().CopyAsset(WS(), iSrc, iParent);
        Sys_LazyObject::StSetLoadSynchronously synchronously;
        copier->QueueObjectLoader("copy");
        EXPECT_TRUE(copier->IsLoaded());
        return static_cast<BDM_WorkspaceAssetCopier&>(*copier).GetCopiedAssetKey();
    }

    Test_TempDir mDir;
    BDM_BinHandle mHold;
    BDM_KeyHandle mCatalogKey, mSub;
    BNeoa_Bin* mCatalog = nullptr;
};
} // namespace

TEST_F(WorkspaceFixture, CopiesAndMovesGoToTheInnerBinAndComeBackWrapped)
{
    BDM_BinHandle hold(
        new RecordingVolume(&BDM_Globals::Instance()->Cache(), Sys_Volume(cDiskA, "")));
    auto& volume = static_cast<RecordingVolume&>(*hold);
    const BDM_KeyHandle volumeFolder = Wrap(volume, FileKey("diskA/Out"));
    struct Copy
    {
        const char* mWhat;
        BDM_KeyHandle mParent;
        BDM_Bin* mBinP;      // of the copy
        const char* mOnDisk; // where the copy is on disk, if it is a file
    };
    const Copy copies[] = {
        {"into a catalog", mCatalogKey, mCatalog, nullptr},
        {"into a catalog folder", Wrap(*mCatalog, mSub), mCatalog, nullptr},
        {"into a folder", File("diskA/Out"), &Files(), "diskA/Out/take.txt"},
        {"again: a new name, still found", File("diskA/Out"), &Files(), nullptr},
    };
    std::set<std::string> names;
    for (const Copy& c : copies)
    {
        SCOPED_TRACE(c.mWhat);
        const BDM_KeyHandle copied = CopyAndWait(File("diskA/In/take.txt"), c.mParent);
        ASSERT_TRUE(copied);
        EXPECT_EQ(Inner(copied).first, c.mBinP);
        const std::string name = WS().GetAsset(copied)->GetName();
        EXPECT_TRUE(c.mBinP == mCatalog ? name == "take.txt" : names.insert(name).second) << name;
        EXPECT_TRUE(!c.mOnDisk || fs::exists(Path(c.mOnDisk)));
        EXPECT_TRUE(WS().GetAsset(copied)->GetParent());
    }
    // into a volume's folder: the volume gets the inner keys
    CopyAndWait(File("diskA/In/take.txt"), volumeFolder);
    ASSERT_EQ(volume.mCalls.size(), 1u);
    EXPECT_EQ(volume.mCalls[0].first, &Files());
    EXPECT_TRUE(Same(volume.mCalls[0].second.first, FileKey("diskA/In/take.txt")));
    EXPECT_TRUE(Same(volume.mCalls[0].second.second, FileKey("diskA/Out")));

    constexpr int eMoves = 0, eError = 1, eAssertion = 2;
    struct Move
    {
        const char* mWhat;
        BDM_KeyHandle mKey, mParent;
        int mOutcome;
        std::function<bool()> mDone;
    };
    const BDM_KeyHandle inCatalog = mCatalog->FindChild(mCatalog->GetRoot(), "take.txt");
    const auto exists = [&](const char* iName)
    { return [&, iName] { return fs::exists(Path(iName)); }; };
    const Move moves[] = {
        {"file system", File("diskA/In/take.txt"), File("diskA/Keep"), eMoves,
         exists("diskA/Keep/take.txt")},
        {"catalog", Wrap(*mCatalog, inCatalog), Wrap(*mCatalog, mSub), eMoves,
         [&] { return !mCatalog->FindChild(mCatalog->GetRoot(), "take.txt"); }},
        {"volume", Wrap(volume, FileKey("diskA/x")), volumeFolder, eMoves,
         [&] { return volume.mCalls.size() == 2; }},
        {"across bins", File("diskA/Keep/take.txt"), mCatalogKey, eError,
         exists("diskA/Keep/take.txt")},
        {"a volume's entry", Entry(cDiskB), File("diskA/Keep"), eAssertion, exists("diskB")},
    };
    for (const Move& m : moves)
    {
        SCOPED_TRACE(m.mWhat);
        EXPECT_EQ(WS().CanMoveTo(m.mKey, m.mParent), m.mOutcome == eMoves);
        if (m.mOutcome == eMoves)
            WS().MoveAsset(m.mKey, m.mParent);
        else if (m.mOutcome == eError)
            EXPECT_THROW(WS().MoveAsset(m.mKey, m.mParent), std::runtime_error);
        else
            EXPECT_THROW(WS().MoveAsset(m.mKey, m.mParent), Cmn_AssertException);
        EXPECT_TRUE(m.mDone());
    }
    EXPECT_FALSE(fs::exists(Path("diskA/In/take.txt")));
    // never deleted through the workspace: the root and the entries of volumes and catalogs
    for (const BDM_KeyHandle& key : {WS().GetRoot(), Entry(cDiskB), mCatalogKey})
        EXPECT_FALSE(WS().CanDeleteAsset(key));
    WS().DeleteAsset(File("diskA/Keep/take.txt"));
    EXPECT_FALSE(fs::exists(Path("diskA/Keep/take.txt")));
}

std::vector<uint32_t> sUnmounted;

TEST_F(WorkspaceFixture, UnmountRefusesWhatIsInUseAndUnmountsTheRest)
{
    BDM_Workspace::SetUnmountFunction([](const Sys_Volume& iVolume)
                                      { sUnmounted.push_back(iVolume.GetID()); });
    const auto recalculate = std::make_shared<BDM_OverviewRecalculator>();
    BDM_LazyObjectHandle waiting(new VolumeWork(cDiskA));
    waiting->AddDependency(new VolumeWork(cDiskB));
    struct Row
    {
        const char* mWhat;
        uint32_t mVolume;
        bool mInUse;
        BDM_LazyObjectHandle mTask; // managed during the row
        int32_t mRefusal;           // message id; 0: unmounted
    };
    Row rows[] = {
        {"the boot volume", cRootID, false, {}, 69},
        {"a bin kept in use", cDiskB, true, {}, 73},
        {"a task walking a folder on it", cDiskA, false,
         BDM_LazyObjectHandle(new BDM_RecursiveWorker(Files(), FileKey("diskA/In"), recalculate)),
         81},
        {"a task on its bin", cDiskB, false,
         BDM_LazyObjectHandle(new BDM_RecursiveWorker(*WS().GetVolume(Entry(cDiskB)),
                                                      FileKey("diskB"), recalculate)),
         81},
        {"a task waiting for one that uses it", cDiskB, false, waiting, 81},
        {"a task on another volume", cDiskB, false, BDM_LazyObjectHandle(new VolumeWork(cDiskA)),
         0},
    };
    for (Row& row : rows)
    {
        SCOPED_TRACE(row.mWhat);
        const BDM_KeyHandle key = Entry(row.mVolume);
        BDM_Volume& volume = *WS().GetVolume(key);
        if (row.mInUse)
            volume.IncrementUseCount();
        if (row.mTask)
            BDM_Globals::Instance()->TaskManager().ManageTask(row.mTask.Get(), "work");
        std::string whyNot;
        EXPECT_EQ(WS().CanUnmountVolume(key, &whyNot), row.mRefusal == 0);
        sUnmounted.clear();
        if (row.mRefusal)
        {
            EXPECT_EQ(whyNot, L10N_ExceptionData(12, row.mRefusal).GetText());
            EXPECT_TRUE(Test_ThrowsL10N([&] { WS().UnmountVolume(key); }, 12, row.mRefusal));
        }
        else
            WS().UnmountVolume(key);
        EXPECT_EQ(sUnmounted,
                  row.mRefusal ? std::vector<uint32_t>() : std::vector<uint32_t>{row.mVolume});
        EXPECT_EQ(WS().GetVolume(key) == nullptr, row.mRefusal == 0);
        if (row.mInUse)
            volume.DecrementUseCount();
        if (row.mTask)
            row.mTask->CancelLoading();
        row.mTask = {}; // a task holds its volume in use until it goes
    }
}

TEST_F(WorkspaceFixture, SelectionsBecomeQueryAreas)
{
    const BDM_KeyHandle inA = WS().FindOrCreateEntryForLocation(Sys_FileLoc(Path("diskA/In")));
    ASSERT_TRUE(inA);
    BDM_Volume& a = *WS().GetVolume(Entry(cDiskA));
    const Area::value_type aRoot{a.GetDatabase(), a.GetDatabase()->GetRoot()};
    const Area::value_type catalogRoot{mCatalog, mCatalog->GetRoot()};
    // the volume's own keys are searched in the volume when it can be, else in its database
    BDM_Bin* aSearchedP = a.GetPredicateFactory() ? static_cast<BDM_Bin*>(&a) : a.GetDatabase();
    const BDM_KeyHandle sub = Wrap(*mCatalog, mSub);
    const BDM_KeyHandle inCatalog =
        mCatalog->ImportAsset(*Files().GetAsset(FileKey("diskA/In")), mCatalog->GetRoot());
    ASSERT_TRUE(inCatalog->IsFolder());
    struct Row
    {
        const char* mWhat;
        std::list<BDM_KeyHandle> mSelection;
        Area mArea; // empty: every entry
    };
    const Row rows[] = {
        {"a volume with a database", {Entry(cDiskA)}, {aRoot}},
        {"a volume without one: its file system", {Entry(cDiskB)}, {Inner(Entry(cDiskB))}},
        {"a catalog", {mCatalogKey}, {catalogRoot}},
        {"a catalog folder, twice", {sub, sub}, {{mCatalog, mSub}}},
        {"a folder of a volume; a file is no root",
         {inA, File("diskA/In/take.txt")},
         {{aSearchedP, Inner(inA).second}}},
        {"what lies inside selected entries goes",
         {File("diskA/In"), sub, inA, mCatalogKey, Entry(cDiskA)},
         {catalogRoot, aRoot}},
        {"a catalog's folder of a file on a selected volume stays",
         {Entry(cDiskA), Wrap(*mCatalog, inCatalog)},
         {aRoot, {mCatalog, inCatalog}}},
        {"the root", {inA, WS().GetRoot()}, {}},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.mWhat);
        const BDM_QueryAreaHandle area = WS().GenerateQueryAreaFromSelection(row.mSelection);
        const auto& entries = area->GetEntries();
        ASSERT_EQ(entries.size(),
                  row.mArea.empty() ? WS().GetVolumes().size() + 1 : row.mArea.size());
        for (size_t i = 0; i < row.mArea.size(); ++i)
        {
            EXPECT_EQ(entries[i].mBin.Get(), row.mArea[i].first) << i;
            EXPECT_TRUE(Same(entries[i].mRoot, row.mArea[i].second)) << i;
        }
    }
}

TEST_F(WorkspaceFixture, DefaultValidatorKeepsDesignationsToFittingVolumes)
{
    constexpr uint32_t eLocal = 0x21, eReadOnly = 0x22, eNetwork = 0x23, eOptical = 0x24,
                       eRAM = 0x25, eGone = 0x26;
    Mount({{eLocal, Path("diskA"), "ext4", false},
           {eReadOnly, Path("diskB"), "ext4", true},
           {eNetwork, Path("catalogs"), "nfs", false},
           {eOptical, Path("diskA/In"), "iso9660", false},
           {eRAM, Path("diskA/Out"), "tmpfs", false}});
    struct Row
    {
        uint32_t mVolume;
        const char* mValid; // for None, Record, Playback, Transfer and a value past them
    };
    const Row rows[] = {{eLocal, "YYYYN"},   {eReadOnly, "YNNNN"}, {eNetwork, "YNNYN"},
                        {eOptical, "YNNNN"}, {eRAM, "YYYYN"},      {eGone, "YNNNN"}};
    BDM_DefaultVolumeValidator validator;
    for (const Row& row : rows)
        for (int32_t designation = 0; designation < 5; ++designation)
            EXPECT_EQ(validator.IsValid(Sys_Volume(row.mVolume, "v"),
                                        BDM_EVolumeDesignation(designation)),
                      row.mValid[designation] == 'Y')
                << std::hex << row.mVolume << " " << designation;
    // settings without a validator of the application's own keep these rules
    BDM_Settings settings;
    EXPECT_FALSE(settings.SetAudioVolumeDesignation(Sys_Volume(eReadOnly, "v"),
                                                    BDM_eVolumeDesignation_Record));
    EXPECT_TRUE(
        settings.SetAudioVolumeDesignation(Sys_Volume(eLocal, "v"), BDM_eVolumeDesignation_Record));
}

TEST_F(WorkspaceFixture, LinkPathStaysQuietWhileSynchronisingAndTellsOfARelink)
{
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    const BDM_KeyHandle row = mCatalog->CreateEntry(mSub, BDM_eAssetType_Audio, "take.wav");
    BDM_AssetHandle source = mCatalog->GetAsset(mSub), asset = mCatalog->GetAsset(row);
    auto& link = static_cast<BDM_TypedAttribute<BDM_Link>&>(*asset->GetAttribute(t.cLink));
    // counts what the link path and the asset tell; told of the comment, it changes the link
    struct Observer : Cmn_Observable<BDM_Attribute>::Observer, Cmn_Observable<BDM_Asset>::Observer
    {
        BDM_TypedAttribute<BDM_Link>* mLinkP = nullptr;
        BDM_Link mTo;
        int mLinkPath = 0, mAsset = 0;
        void Notify(BDM_Attribute& iAttribute) override
        {
            if (iAttribute.GetTag() == BDM_AttributeTags::Instance()->cAssetComment)
                mLinkP->Set(mTo);
            else
                ++mLinkPath;
        }
        void Notify(BDM_Asset&) override { ++mAsset; }
    } observer;
    observer.mLinkP = &link;
    observer.mTo = {BDM_BinHandle(mCatalog), mSub};
    Catalog_Set(*mCatalog, mSub, t.cAssetComment, std::string("indexed"));
    BDM_Attribute* comment = asset->GetAttribute(t.cAssetComment);
    ASSERT_TRUE(comment);
    comment->AddObserver(observer);
    asset->GetAttribute(t.cLinkPath)->AddObserver(observer);
    asset->Cmn_Observable<BDM_Asset>::AddObserver(observer);
    {
        // the pass writes the comment, and so the link: no relink
        BDM_LazyObjectHandle sync(new BDM_AssetSynchronizer(source, asset, false));
        Sys_LazyObject::StSetLoadSynchronously synchronously;
        sync->QueueObjectLoader("sync");
    }
    comment->RemoveObserver(observer);
    EXPECT_TRUE(link.IsSet());
    EXPECT_EQ(observer.mLinkPath, 0);
    EXPECT_GT(observer.mAsset, 0);                    // the asset still tells of its change
    link.Set(BDM_Link{BDM_BinHandle(mCatalog), row}); // a relink
    EXPECT_EQ(observer.mLinkPath, 1);
    asset->GetAttribute(t.cLinkPath)->RemoveObserver(observer);
    asset->Cmn_Observable<BDM_Asset>::RemoveObserver(observer);
}
