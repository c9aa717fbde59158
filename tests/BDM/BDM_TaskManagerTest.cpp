// The task manager's entries, pause, resume and cancel; overviews computed in the background.
#include <gtest/gtest.h>

#include <filesystem>

#include "BDM/Adapters/FS/BFSa_Bin.h"
#include "BDM/BDM_AudioOverview.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_TaskManager.h"
#include "BDMTestSupport.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewUtils.h"
#include "Support/FFTestSupport.h"
#include "Support/TestSupport.h"

namespace
{
BDM_TaskManager& Manager()
{
    BDMTest_Tags();
    return BDM_Globals::Instance()->TaskManager();
}

std::vector<std::string> NamesUnder(int32_t iParent)
{
    std::vector<std::string> names;
    for (int32_t id : Manager().GetChildIDs(iParent))
        names.push_back(Manager().FindEntry(id)->mName);
    return names;
}
} // namespace

TEST(BDM_TaskManager, EntriesComeWithManagedTasksAndGoWhenTheyEnd)
{
    BDMTest_Drain();
    BDM_TaskManager& manager = Manager();
    const size_t before = manager.GetNumEntries();
    std::vector<std::string> log;
    BDMTest_WorkHandle a(new BDMTest_Work("a", &log, 3)), b(new BDMTest_Work("b", &log, 3)),
        c(new BDMTest_Work("c", &log, 3));
    manager.ManageTask(a.Get(), "Copying a");
    manager.ManageTask(b.Get(), "Copying b");
    manager.ManageTask(c.Get(), "Copying c");
    EXPECT_EQ(NamesUnder(BDM_TaskManager::cQueuedID),
              (std::vector<std::string>{"Copying a", "Copying b", "Copying c"}));
    // The entries are assets of the task window.
    BDM_AssetHandle root = manager.GetAsset(manager.GetRoot());
    EXPECT_EQ(root->GetNumChildren(), 2); // "Queued" and "Paused"
    BDM_AssetHandle queued = manager.GetAsset(manager.GetQueuedTasksFolder());
    std::list<BDM_KeyHandle> keys;
    queued->GetChildren(&keys);
    ASSERT_EQ(keys.size(), 3u);
    BDM_AssetHandle entry = manager.GetAsset(keys.front());
    EXPECT_EQ(entry->GetType(), BDM_eAssetType_Task);
    EXPECT_EQ(entry->GetName(), "Copying a");
    EXPECT_EQ(queued->GetType(), BDM_eAssetType_Folder);
    BDM_TaskProgress progress;
    EXPECT_TRUE(entry->GetAttributeValue(BDMTest_Tags().cTaskProgress, &progress));

    BDMTest_Queue().ExecTop();
    manager.PauseTask(keys.front());
    EXPECT_EQ(a->GetStatus(), BDM_eStatus_Paused);
    EXPECT_EQ(NamesUnder(BDM_TaskManager::cPausedID), std::vector<std::string>{"Copying a"});
    manager.CancelTask(*std::next(keys.begin()));
    EXPECT_EQ(NamesUnder(BDM_TaskManager::cQueuedID), std::vector<std::string>{"Copying c"});
    BDMTest_Drain();
    EXPECT_EQ(log, std::vector<std::string>{"c"});
    EXPECT_FALSE(a->IsLoaded());
    manager.ResumeTask(keys.front());
    EXPECT_EQ(NamesUnder(BDM_TaskManager::cQueuedID), std::vector<std::string>{"Copying a"});
    BDMTest_Drain();
    EXPECT_EQ(log, (std::vector<std::string>{"c", "a"}));
    EXPECT_EQ(manager.GetNumEntries(), before);
}

TEST(BDM_TaskManager, AGroupLoadsWhenEveryMemberHas)
{
    BDMTest_Drain();
    std::vector<std::string> log;
    Cmn_PolymorphicHandle<BDM_TaskGroup, Sys_ThreadSafeRefCountObject> group(new BDM_TaskGroup);
    BDMTest_WorkHandle one(new BDMTest_Work("one", &log, 2)), two(new BDMTest_Work("two", &log));
    group->AddTask(one.Get());
    group->AddTask(two.Get());
    Manager().ManageTask(group.Get(), "group");
    BDMTest_Drain();
    EXPECT_TRUE(group->IsLoaded());
    EXPECT_EQ(log.size(), 2u);
}

TEST(BDM_CalculateAudioOverview, ComputesInSlicesStoresInTheCacheAndTellsTheAttribute)
{
    Test_TempDir dir;
    BDMTest_Drain();
    BDM_Globals& globals = *BDM_Globals::Instance();
    globals.SetOverviewCacheFolder(Sys_FileLoc(dir.Path() + "/caches"));
    Bytes samples(2 * 2 * 6000);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<unsigned char>((i * 37) & 0xff);
    const std::string path = dir.Path() + "/tone.wav";
    MakeWave(path, 2, 16, samples, 48000);
    BDM_Bin& bin = globals.FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles);
    const BDM_AttributeTags& t = BDMTest_Tags();
    BDM_AssetHandle asset = bin.GetAsset(BFSa_Bin::MakeKey(Sys_FileLoc(path)));
    FF_AudioOverview::LockingRef found;
    ASSERT_FALSE(asset->GetAttributeValue(t.cAudioOverview, &found));

    struct Counter : Cmn_Observable<BDM_Asset>::Observer
    {
        int mCount = 0;
        void Notify(BDM_Asset&) override { ++mCount; }
    } counter;
    asset->Cmn_Observable<BDM_Asset>::AddObserver(counter);
    BDM_LazyObjectHandle task(new BDM_CalculateAudioOverview(*asset));
    EXPECT_EQ(task->GetProgress().mUnitsToComplete, 6000);
    globals.TaskManager().ManageTask(task.Get(), "overview");
    for (int i = 0; i < 10000 && !task->IsLoaded(); ++i)
        globals.Queue().ExecuteForSlice();
    ASSERT_TRUE(task->IsLoaded());
    EXPECT_EQ(task->GetProgress().mUnitsCompleted, 6000);
    EXPECT_EQ(counter.mCount, 1);
    asset->Cmn_Observable<BDM_Asset>::RemoveObserver(counter);
    ASSERT_TRUE(asset->GetAttributeValue(t.cAudioOverview, &found));
    // The same bytes as the overview computed in one go.
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(path)));
    const FF_AudioOverview direct = FF_AudioOverviewUtils::ComputeOverview(file);
    ASSERT_EQ(found->GetSize(), direct.GetSize());
    EXPECT_TRUE(
        std::equal(direct.GetBuffer(), direct.GetBuffer() + direct.GetSize(), found->GetBuffer()));

    // A fresh asset finds it in the cache, also after the cache was flushed and reopened.
    globals.SetOverviewCacheFolder(Sys_FileLoc(dir.Path() + "/caches"));
    asset.Reset();
    BDM_AssetHandle again = bin.GetAsset(BFSa_Bin::MakeKey(Sys_FileLoc(path)));
    FF_AudioOverview::LockingRef cached;
    ASSERT_TRUE(again->GetAttributeValue(t.cAudioOverview, &cached));
    EXPECT_EQ(cached->GetSize(), direct.GetSize());
    // A cancelled calculation leaves nothing behind and is no failure.
    MakeWave(dir.Path() + "/other.wav", 1, 16, Bytes(2 * 300000, 1), 48000);
    BDM_AssetHandle other = bin.GetAsset(BFSa_Bin::MakeKey(Sys_FileLoc(dir.Path() + "/other.wav")));
    BDM_LazyObjectHandle cancelled(new BDM_CalculateAudioOverview(*other));
    cancelled->QueueObjectLoader("other");
    cancelled->CancelLoading();
    BDMTest_Drain();
    EXPECT_FALSE(cancelled->IsLoaded());
    EXPECT_FALSE(cancelled->LoadFailed());
    EXPECT_FALSE(other->GetAttributeValue(t.cAudioOverview, &cached));
    globals.SetOverviewCacheFolder(Sys_FileLoc());
}

TEST(BDM_TaskGroup, ContextsCollectTheTasksBegunInTheirScope)
{
    BDMTest_Drain();
    std::vector<std::string> log;
    BDMTest_WorkHandle a(new BDMTest_Work("a", &log, 2)), inner(new BDMTest_Work("inner", &log)),
        b(new BDMTest_Work("b", &log)), outside(new BDMTest_Work("outside", &log)),
        meta(new BDMTest_Work("meta", &log));
    BDM_TaskGroup::ContextHandle outer, nested;
    {
        BDM_TaskGroup::StUseMetaContext none; // no meta context yet: no context
        EXPECT_EQ(BDM_TaskGroup::GetCurrentContext(), nullptr);
    }
    {
        BDM_TaskGroup::StOpenNewContext scope;
        outer = scope.GetContext();
        Manager().ManageTask(a.Get(), "a");
        {
            BDM_TaskGroup::StOpenNewContext inside;
            nested = inside.GetContext();
            EXPECT_EQ(BDM_TaskGroup::GetCurrentContext(), nested.Get());
            Manager().ManageTask(inner.Get(), "inner");
        }
        EXPECT_EQ(BDM_TaskGroup::GetCurrentContext(), outer.Get());
        Manager().ManageTask(b.Get(), "b");
        Manager().ManageTask(outer.Get(), "outer"); // never a member of itself
    }
    EXPECT_EQ(BDM_TaskGroup::GetCurrentContext(), nullptr);
    Manager().ManageTask(outside.Get(), "outside");
    const BDM_TaskGroup::ContextHandle metaContext = BDM_TaskGroup::CreateMetaContext();
    {
        BDM_TaskGroup::StUseMetaContext use;
        Manager().ManageTask(meta.Get(), "meta");
    }
    EXPECT_EQ(BDM_TaskGroup::GetCurrentContext(), nullptr);

    struct Membership
    {
        const char* mWhat;
        BDM_TaskGroup* mGroupP;
        BDM_LazyObject* mObjectP;
        bool mMember;
    };
    const Membership memberships[] = {
        {"a in outer", outer.Get(), a.Get(), true},
        {"b in outer", outer.Get(), b.Get(), true},
        {"nested in outer", outer.Get(), nested.Get(), true},
        {"inner only in nested", outer.Get(), inner.Get(), false},
        {"inner in nested", nested.Get(), inner.Get(), true},
        {"outer not in itself", outer.Get(), outer.Get(), false},
        {"outside in none", outer.Get(), outside.Get(), false},
        {"meta in the meta context", metaContext.Get(), meta.Get(), true},
        {"a not in the meta context", metaContext.Get(), a.Get(), false},
    };
    for (const Membership& m : memberships)
    {
        EXPECT_EQ(m.mGroupP->HasTask(m.mObjectP), m.mMember) << m.mWhat;
        const auto& groups = m.mObjectP->GetTaskGroups();
        EXPECT_EQ(std::count(groups.begin(), groups.end(), m.mGroupP), m.mMember ? 1 : 0)
            << m.mWhat;
    }
    EXPECT_EQ(outer->GetNumTasks(), 3u);
    BDMTest_Drain();
    EXPECT_TRUE(outer->IsLoaded());
    for (const char* name : {"a", "inner", "b", "outside", "meta"})
        EXPECT_EQ(std::count(log.begin(), log.end(), name), 1) << name;
    BDM_TaskGroup::ReleaseMetaContext();
    EXPECT_EQ(BDM_TaskGroup::GetMetaContext(), nullptr);
}

TEST(BDM_TaskGroup, MembersLeaveWhenCancelledOrWhenTheGroupGoes)
{
    BDMTest_Drain();
    std::vector<std::string> log;
    BDMTest_WorkHandle slow(new BDMTest_Work("slow", &log, 100000)),
        quick(new BDMTest_Work("quick", &log));
    Cmn_PolymorphicHandle<BDM_TaskGroup, Sys_ThreadSafeRefCountObject> group(new BDM_TaskGroup);
    group->AddTask(slow.Get());
    group->AddTask(slow.Get()); // once only
    group->AddTask(quick.Get());
    EXPECT_EQ(group->GetNumTasks(), 2u);
    Manager().ManageTask(group.Get(), "group");
    for (int i = 0; i < 20; ++i)
        BDMTest_Queue().ExecTop();
    EXPECT_FALSE(group->IsLoaded());
    slow->CancelLoading(); // leaves its groups: the group no longer waits for it
    EXPECT_TRUE(slow->GetTaskGroups().empty());
    EXPECT_FALSE(group->HasTask(slow.Get()));
    BDMTest_Drain();
    EXPECT_TRUE(group->IsLoaded());
    EXPECT_FALSE(slow->IsLoaded());
    EXPECT_EQ(quick->GetTaskGroups().size(), 1u);
    group.Reset();
    EXPECT_TRUE(quick->GetTaskGroups().empty());
}
