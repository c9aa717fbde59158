// Volume databases kept up to date with the disk: a pass after changes on disk changes
// exactly the entries of what changed, stored places follow the disk to a new mount point,
// and the asset synchroniser copies only what it should.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Synchronizer.h"
#include "BDM/BDM_Volume.h"
#include "BDM/BDM_Workspace.h"
#include "Catalog/CatalogDiskFixture.h"
#include "Catalog/CatalogTestSupport.h"
#include "Support/FFTestSupport.h"
#include "Sys_VolumePosix.h"

namespace
{
namespace fs = std::filesystem;

using SynchronizerTest = Catalog_DiskFixture;

using Names = std::set<std::string>;

TEST_F(SynchronizerTest, APassChangesExactlyTheEntriesOfWhatChangedOnDisk)
{
    struct Case
    {
        const char* mWhat;
        std::function<void(SynchronizerTest&)> mChange;
        Names mAdded, mRemoved, mChanged; // rows by path
        int64_t mCountAdded, mCountRemoved, mCountChanged, mCountUnchanged;
    };
    const Case cases[] = {
        {"nothing", [](SynchronizerTest&) {}, {}, {}, {""}, 0, 0, 0, 5},
        {"file added", [](SynchronizerTest& t) { t.Wave("sub/new.wav", 10); },
         {"sub/new.wav"}, {}, {"", "sub"}, 1, 0, 0, 5},
        {"file removed", [](SynchronizerTest& t) { fs::remove(t.OnDisk("a.wav")); },
         {}, {"a.wav"}, {""}, 0, 1, 0, 4},
        {"file renamed",
         [](SynchronizerTest& t) { fs::rename(t.OnDisk("sub/c.wav"), t.OnDisk("sub/c2.wav")); },
         {"sub/c2.wav"}, {"sub/c.wav"}, {"", "sub"}, 1, 1, 0, 4},
        {"file rewritten", [](SynchronizerTest& t) { t.Wave("b.wav", 300); },
         {}, {}, {"", "b.wav"}, 0, 0, 1, 4},
        {"folder removed", [](SynchronizerTest& t) { fs::remove_all(t.OnDisk("sub2")); },
         {}, {"sub2", "sub2/e.wav"}, {""}, 0, 2, 0, 4},
        {"folder added", [](SynchronizerTest& t) { t.Wave("new/x.wav", 10); },
         {"new", "new/x.wav"}, {}, {""}, 2, 0, 0, 5},
        {"file turned into a folder",
         [](SynchronizerTest& t) {
             fs::remove(t.OnDisk("a.wav"));
             t.Wave("a.wav/inner.wav", 10);
         },
         {"a.wav/inner.wav"}, {}, {"", "a.wav"}, 2, 1, 0, 4},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mWhat);
        fs::remove_all(In("volumes"));
        fs::remove_all(In("disk"));
        SetUp();
        const BDM_SyncCounts fresh = Index();
        EXPECT_EQ(fresh.mAdded, 7); // five files and two folders
        const std::map<std::string, std::string> before = Rows();
        ASSERT_EQ(before.size(), 8u);
        c.mChange(*this);
        const BDM_SyncCounts counts = Index();
        const std::map<std::string, std::string> after = Rows();
        Names added, removed, changed;
        for (const auto& [path, row] : after)
        {
            const auto old = before.find(path);
            if (old == before.end())
                added.insert(path);
            else if (old->second != row)
                changed.insert(path);
        }
        for (const auto& [path, row] : before)
            if (!after.count(path))
                removed.insert(path);
        EXPECT_EQ(added, c.mAdded);
        EXPECT_EQ(removed, c.mRemoved);
        EXPECT_EQ(changed, c.mChanged);
        EXPECT_EQ(counts.mAdded, c.mCountAdded);
        EXPECT_EQ(counts.mRemoved, c.mCountRemoved);
        EXPECT_EQ(counts.mChanged, c.mCountChanged);
        EXPECT_EQ(counts.mUnchanged, c.mCountUnchanged);
        EXPECT_EQ(counts.mOffline, 0);
    }
}

// Entries store their place below the volume root: at a new mount point every entry resolves
// there, and a pass finds nothing to do; while the disk is away none resolves and all stay.
TEST_F(SynchronizerTest, EntriesFollowTheDiskToANewMountPoint)
{
    Index();
    const size_t rows = Rows().size();
    struct Case
    {
        const char* mWhat;
        std::string mMountFolder; // "" : not mounted
        bool mResolves;
    };
    const Case cases[] = {{"where it was", "disk", true},
                          {"mounted elsewhere", "disk2", true},
                          {"not mounted", "", false}};
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mWhat);
        if (!c.mMountFolder.empty() && c.mMountFolder != mMountFolder)
            fs::rename(In(mMountFolder), In(c.mMountFolder));
        Mount(c.mMountFolder);
        BDM_BinHandle hold(new BDM_Volume(&BDM_Globals::Instance()->Cache(), Disk()));
        BDM_Volume& volume = static_cast<BDM_Volume&>(*hold);
        volume.Open(Cmn_Store::eOpenFlag_OpenForRead);
        std::vector<BDM_KeyHandle> stack{volume.GetRoot()};
        size_t seen = 0, resolved = 0;
        while (!stack.empty())
        {
            BDM_AssetHandle asset = volume.GetAsset(stack.back());
            stack.pop_back();
            ASSERT_TRUE(asset);
            ++seen;
            Sys_FileLoc loc;
            if (asset->ResolveFileSystemAlias(&loc))
            {
                ++resolved;
                EXPECT_EQ(loc.GetFullPath().rfind(fs::canonical(In(c.mMountFolder)).string(), 0), 0u)
                    << loc.GetFullPath();
                EXPECT_TRUE(fs::exists(loc.GetFullPath()));
            }
            std::list<BDM_KeyHandle> children;
            asset->GetChildren(&children);
            stack.insert(stack.end(), children.begin(), children.end());
        }
        volume.Close();
        EXPECT_EQ(seen, rows);
        EXPECT_EQ(resolved, c.mResolves ? rows : 0u);
        if (c.mResolves)
        {
            const BDM_SyncCounts counts = Index();
            EXPECT_EQ(counts.mUnchanged, 5);
            EXPECT_EQ(counts.mAdded + counts.mRemoved + counts.mChanged, 0);
        }
    }
}

// The asset synchroniser copies the indexed tags, the place and name only when asked, and
// is in its synchronising context exactly while it writes.
TEST_F(SynchronizerTest, AssetSynchronizerCopiesIndexedTagsOnly)
{
    Index();
    Wave("b.wav", 500);
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    struct Observer : Cmn_Observable<BDM_Attribute>::Observer
    {
        void Notify(BDM_Attribute&) override
        {
            mSeen = true;
            mInContext = mInContext && BDM_AssetSynchronizer::IsInSynchronizingContext();
        }
        bool mSeen = false, mInContext = true;
    };
    for (const bool all : {false, true})
    {
        SCOPED_TRACE(all ? "all attributes" : "indexed tags");
        BDM_BinHandle hold(new BDM_Volume(&BDM_Globals::Instance()->Cache(), Disk()));
        BDM_Volume& volume = static_cast<BDM_Volume&>(*hold);
        volume.Open(Cmn_Store::eOpenFlag_OpenForWrite);
        BDM_Bin& database = *volume.GetDatabase();
        // b.wav's entry stands in for a.wav: a different name and place, an old length
        const BDM_AssetHandle destination =
            database.GetAsset(volume.FindEntryForLocation(Sys_FileLoc(OnDisk("a.wav"))));
        const BDM_AssetHandle source = volume.GetFileSystemBin().GetAsset(
            BDM_Volume::GetFileSystemHooks().mMakeKey(Sys_FileLoc(OnDisk("b.wav"))));
        ASSERT_TRUE(destination && source);
        Observer observer;
        destination->GetAttribute(t.cAudioFileNumSamples)->AddObserver(observer);
        BDM_LazyObjectHandle sync(new BDM_AssetSynchronizer(source, destination, all));
        {
            Sys_LazyObject::StSetLoadSynchronously synchronously;
            sync->QueueObjectLoader(std::string());
        }
        destination->GetAttribute(t.cAudioFileNumSamples)->RemoveObserver(observer);
        EXPECT_FALSE(BDM_AssetSynchronizer::IsInSynchronizingContext());
        EXPECT_TRUE(observer.mSeen && observer.mInContext);
        int64_t samples = 0;
        std::string name;
        BDM_StringList place;
        EXPECT_TRUE(destination->GetAttributeValue(t.cAudioFileNumSamples, &samples));
        EXPECT_EQ(samples, 500);
        EXPECT_TRUE(destination->GetAttributeValue(t.cFileName, &name));
        EXPECT_EQ(name, all ? "b.wav" : "a.wav");
        EXPECT_TRUE(destination->GetAttributeValue(t.cFilePathComponents, &place));
        // the file system's asset holds the absolute place: copied only when asked
        EXPECT_EQ(place.size() > 1, all);
        volume.Close(); // not committed: the next round starts from the same entry
    }
}
} // namespace

namespace
{
// The workspace finds a location's volume and passes on: entries are made on the way down
// (the database made on this first need), found again, and removed with what they hold.
TEST_F(SynchronizerTest, WorkspaceMakesFindsAndDeletesEntriesOfLocations)
{
    BDM_BinHandle hold(new BDM_Workspace(&BDM_Globals::Instance()->Cache()));
    BDM_Workspace& workspace = static_cast<BDM_Workspace&>(*hold);
    workspace.RefreshVolumes();
    struct Step
    {
        const char* mWhat;
        bool mDelete;
        std::string mPath;
        bool mAnswer;    // a key made, or an entry removed
        size_t mRows;    // in the database afterwards
    };
    const Step steps[] = {
        {"a file two levels down", false, "sub/c.wav", true, 3},
        {"the same again", false, "sub/c.wav", true, 3},
        {"its sibling", false, "sub/d.wav", true, 4},
        {"the folder with both", true, "sub", true, 1},
        {"the folder again", true, "sub", false, 1},
        {"a file at the top", false, "a.wav", true, 2},
    };
    for (const Step& step : steps)
    {
        SCOPED_TRACE(step.mWhat);
        const Sys_FileLoc loc(OnDisk(step.mPath));
        const bool answer = step.mDelete ? workspace.DeleteEntryForLocation(loc)
                                         : bool(workspace.FindOrCreateEntryForLocation(loc));
        EXPECT_EQ(answer, step.mAnswer);
        BDM_Volume* volumeP = workspace.GetVolume(Disk());
        ASSERT_NE(volumeP, nullptr);
        volumeP->Commit();
        EXPECT_EQ(Rows().size(), step.mRows);
    }
    for (const auto& entry : workspace.GetVolumes())
        if (entry.mVolume->IsOpen())
            entry.mVolume->Close();
}
} // namespace
