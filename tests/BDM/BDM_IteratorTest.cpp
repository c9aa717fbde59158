// The recursive worker over the memory bin: every item once, leaves before their folder's
// end, cancel of the whole walk.
#include <gtest/gtest.h>

#include <set>

#include "BDM/BDM_Iterator.h"
#include "BDMTestSupport.h"
#include "Support/TestSupport.h"

namespace
{
// Work that records the key's id when it runs.
class LoggingFactory : public BDM_RecursiveWorker::WorkFactory
{
public:
    explicit LoggingFactory(std::vector<int32_t>* ioLogP) : mLogP(ioLogP) {}
    int32_t GetType() const override { return 99; }
    std::string GetDescription() const override { return "logging"; }
    BDM_LazyObjectHandle CreateWork(BDM_Bin&, const BDM_KeyHandle& iKey) override
    {
        ++mMade;
        const int32_t id = static_cast<const BDMTest_Key&>(*iKey).mID;
        if (id == mSkip)
            return BDM_LazyObjectHandle(new BDM_DoNothingObject);
        BDMTest_Work* workP = new BDMTest_Work(std::to_string(id), nullptr, mSteps);
        std::vector<int32_t>* logP = mLogP;
        workP->mOnLoad = [workP, logP, id]
        {
            if (workP->mStepsLeft == 0)
                logP->push_back(id);
        };
        return BDM_LazyObjectHandle(workP);
    }
    bool IsForLastPass(BDM_Bin&, const BDM_KeyHandle& iKey) const override
    {
        return mLast.count(static_cast<const BDMTest_Key&>(*iKey).mID) != 0;
    }
    std::vector<int32_t>* mLogP;
    std::set<int32_t> mLast; // files whose work waits for the last pass
    int32_t mMade = 0;
    int32_t mSkip = -1;
    int32_t mSteps = 0;
};

struct Tree
{
    BDM_Cache mCache;
    Cmn_AliasedRefCountPtr<BDMTest_Bin> mBin{new BDMTest_Bin(&mCache)};
    Tree()
    {
        BDMTest_Tags();
        BDMTest_Drain();
        // root 0: 1 (folder: 2, 3, 4 (folder: 5)), 6
        mBin->mItems[1] = {0, "A", true, 0};
        mBin->mItems[2] = {1, "a1", false, 1};
        mBin->mItems[3] = {1, "a2", false, 1};
        mBin->mItems[4] = {1, "B", true, 0};
        mBin->mItems[5] = {4, "b1", false, 1};
        mBin->mItems[6] = {0, "top", false, 1};
    }
    ~Tree() { mCache.ClearEntriesForBin(mBin.Get()); }
};

} // namespace

TEST(BDM_RecursiveWorker, VisitsEveryItemOnceAndEndsAfterItsLeaves)
{
    Tree tree;
    std::vector<int32_t> log;
    auto factory = std::make_shared<LoggingFactory>(&log);
    factory->mSkip = 3;
    factory->mSteps = 2;
    BDM_LazyObjectHandle worker(
        new BDM_RecursiveWorker(*tree.mBin, BDMTest_MakeKey(1, true), factory));
    bool workerDoneBeforeLeaves = false;
    struct Watch : Cmn_Observable<Sys_LazyObject_Message>::Observer
    {
        std::vector<int32_t>* mLogP;
        bool* mEarlyP;
        void Notify(Sys_LazyObject_Message& ioMessage) override
        {
            if (ioMessage.GetMessage() == Sys_LazyObject_Message::eMessage_Loaded &&
                mLogP->size() < 4)
                *mEarlyP = true;
        }
    } watch;
    watch.mLogP = &log;
    watch.mEarlyP = &workerDoneBeforeLeaves;
    worker->AddObserver(watch);
    worker->QueueObjectLoader("walk");
    BDMTest_Drain();
    worker->RemoveObserver(watch);
    EXPECT_TRUE(worker->IsLoaded());
    EXPECT_FALSE(workerDoneBeforeLeaves);
    std::sort(log.begin(), log.end());
    // The root folder, its files, the sub-folder and its file; 3 did nothing; 6 is outside.
    EXPECT_EQ(log, (std::vector<int32_t>{1, 2, 4, 5}));
    EXPECT_EQ(factory->mMade, 5);
}

TEST(BDM_RecursiveWorker, CancelStopsTheWholeWalk)
{
    Tree tree;
    std::vector<int32_t> log;
    auto factory = std::make_shared<LoggingFactory>(&log);
    factory->mSteps = 1000;
    BDM_LazyObjectHandle worker(new BDM_RecursiveWorker(*tree.mBin, tree.mBin->GetRoot(), factory));
    worker->QueueObjectLoader("walk");
    for (int i = 0; i < 50; ++i)
        BDMTest_Queue().ExecTop();
    worker->CancelLoading();
    BDMTest_Drain();
    EXPECT_FALSE(worker->IsLoaded());
    EXPECT_TRUE(log.empty());
    EXPECT_TRUE(BDMTest_Queue().IsEmpty());
}

TEST(BDM_RecursiveWorker, TheLastPassRunsThePostponedWorkAfterAllElse)
{
    struct Case
    {
        std::set<int32_t> mLast;
        std::vector<int32_t> mTail; // the end of the log, in the order of discovery
    };
    const Case cases[] = {
        {{}, {}},
        {{2}, {2}},           // a file of the root's sub-folder
        {{5, 6}, {6, 5}},     // one at the top, one two folders down (found later)
        {{2, 3, 5}, {2, 3, 5}},
    };
    for (const Case& c : cases)
    {
        Tree tree;
        std::vector<int32_t> log;
        auto factory = std::make_shared<LoggingFactory>(&log);
        factory->mLast = c.mLast;
        factory->mSteps = 1;
        auto* workerP = new BDM_RecursiveWorker(*tree.mBin, tree.mBin->GetRoot(), factory);
        BDM_LazyObjectHandle worker(workerP);
        worker->QueueObjectLoader("walk");
        BDMTest_Drain();
        ASSERT_TRUE(worker->IsLoaded());
        EXPECT_EQ(workerP->GetNumPostponed(), c.mLast.size());
        std::vector<int32_t> sorted = log;
        std::sort(sorted.begin(), sorted.end());
        EXPECT_EQ(sorted, (std::vector<int32_t>{0, 1, 2, 3, 4, 5, 6})); // each item once
        const std::vector<int32_t> tail(log.end() - std::ptrdiff_t(c.mTail.size()), log.end());
        EXPECT_EQ(tail, c.mTail);
        // the last pass counts its own units afresh
        if (!c.mLast.empty())
        {
            EXPECT_EQ(worker->GetProgress().mUnitsToComplete, int64_t(c.mLast.size()));
        }
    }
}
