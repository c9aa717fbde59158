// The payload rule, the shared stores with their locks, and purging.
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "FF/Audio/Processing/Overview/FF_AudioOverview.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "Support/TestSupport.h"

namespace
{
TEST(FF_AudioOverview, ReducesBySignAndMagnitude)
{
    struct Case
    {
        int32_t mValue;
        int32_t mBits;
        int8_t mByte;
    };
    const Case cases[] = {
        {-32768, 16, -128},   {32767, 16, 127},   {-1, 16, 0},     {-255, 16, 0},
        {-256, 16, -1},       {255, 16, 0},       {256, 16, 1},    {0, 16, 0},
        {-128, 8, -128},      {127, 8, 127},      {-1, 8, -1},     {1, 8, 1},
        {-8388608, 24, -128}, {8388607, 24, 127}, {-65535, 24, 0}, {-65536, 24, -1},
        {65535, 24, 0},       {131072, 24, 2},
    };
    for (const Case& c : cases)
        EXPECT_EQ(FF_AudioOverview::ReduceSample(c.mValue, c.mBits), c.mByte)
            << c.mValue << " at " << c.mBits << " bits";
}

TEST(FF_AudioOverview, AllocatesTwoBytesPerStartedGroup)
{
    const std::pair<int64_t, int32_t> cases[] = {{0, 0},   {1, 2},   {255, 2}, {256, 2},
                                                 {257, 4}, {512, 4}, {513, 6}, {48000, 376}};
    for (const auto& [samples, size] : cases)
    {
        const FF_AudioOverview overview = FF_AudioOverviewMgr::Allocate(samples);
        EXPECT_EQ(overview.GetSize(), size) << samples;
        EXPECT_EQ(FF_AudioOverview::GetPayloadSize(samples), size) << samples;
        EXPECT_EQ(overview.GetBuffer() != nullptr, size > 0) << samples;
        EXPECT_TRUE(overview.HasBytes());
        for (int32_t i = 0; i < size; ++i)
            ASSERT_EQ(overview.GetBuffer()[i], 0);
    }
    EXPECT_TRUE(Test_Asserts([] { FF_AudioOverviewMgr::Allocate(-1); },
                             "iNumSamples >= 0 && iNumSamples <= cMaxNumSamples"));
    EXPECT_TRUE(
        Test_Asserts([] { FF_AudioOverviewMgr::Allocate(FF_AudioOverviewMgr::cMaxNumSamples + 1); },
                     "iNumSamples >= 0 && iNumSamples <= cMaxNumSamples"));
}

TEST(FF_AudioOverview, CopiesShareTheStoreAndLockingRefsShareOneLock)
{
    const int32_t storesBefore = FF_AudioOverviewStore::GetNumStores();
    {
        FF_AudioOverview a = FF_AudioOverviewMgr::Allocate(1000);
        FF_AudioOverview b = a;
        EXPECT_TRUE(a == b);
        a.GetBuffer()[3] = 42;
        EXPECT_EQ(b.GetBuffer()[3], 42);
        EXPECT_EQ(FF_AudioOverviewStore::GetNumStores(), storesBefore + 1);

        FF_AudioOverview::LockingRef first(a);
        EXPECT_EQ(a.GetLockCount(), 1);
        {
            FF_AudioOverview::LockingRef copy = first;
            FF_AudioOverview::LockingRef assigned;
            assigned = copy;
            EXPECT_EQ(a.GetLockCount(), 1);
            EXPECT_EQ(first.GetShareCount(), 3);
            EXPECT_EQ(assigned->GetSize(), 8);
            FF_AudioOverview::LockingRef second(b);
            EXPECT_EQ(a.GetLockCount(), 2);
        }
        EXPECT_EQ(a.GetLockCount(), 1);
        first = FF_AudioOverview::LockingRef();
        EXPECT_EQ(a.GetLockCount(), 0);
        EXPECT_TRUE(Test_Asserts([&] { a.Unlock(); }, "mLockCount"));
        EXPECT_TRUE(
            Test_Asserts([] { FF_AudioOverview::LockingRef ref{FF_AudioOverview()}; }, "mStore"));
        EXPECT_TRUE(Test_Asserts([] { FF_AudioOverview::LockingRef().Get(); }, "mHold"));
    }
    // The last reference took the store out of the process-wide list.
    EXPECT_EQ(FF_AudioOverviewStore::GetNumStores(), storesBefore);
}

// The destructor cannot throw; a store that dies locked is told to the assertion handler.
std::vector<std::string> gReported;
void RecordAssert(bool iOk, const char* iExpr, const char*, int)
{
    if (!iOk)
        gReported.push_back(iExpr);
}

TEST(FF_AudioOverview, AStoreDestroyedWhileLockedIsReported)
{
    gReported.clear();
    const Cmn_Assert::Handler old = Cmn_Assert::SetHandler(&RecordAssert);
    {
        FF_AudioOverview overview = FF_AudioOverviewMgr::Allocate(10);
        overview.Lock();
    }
    Cmn_Assert::SetHandler(old);
    EXPECT_EQ(gReported, std::vector<std::string>{"mLockCount == 0"});
}

TEST(FF_AudioOverview, PurgeFreesOldestFirstAndKeepsTheSize)
{
    // Everything older than this test is purged first, so that the walk below starts at
    // the stores made here.
    FF_AudioOverviewMgr::Purge(-1);
    EXPECT_EQ(FF_AudioOverviewMgr::GetBytesHeld(), 0);

    FF_AudioOverview empty = FF_AudioOverviewMgr::Allocate(0);
    FF_AudioOverview a = FF_AudioOverviewMgr::Allocate(256 * 10); // 20 bytes
    FF_AudioOverview b = FF_AudioOverviewMgr::Allocate(256 * 5);  // 10 bytes
    FF_AudioOverview c = FF_AudioOverviewMgr::Allocate(256 * 7);  // 14 bytes
    const FF_AudioOverview::LockingRef locked(b);                 // locks do not keep Purge off
    EXPECT_EQ(FF_AudioOverviewMgr::GetBytesHeld(), 44);

    // 0: the empty store frees nothing, the first store with bytes passes the limit.
    EXPECT_EQ(FF_AudioOverviewMgr::Purge(0), 20);
    EXPECT_EQ(a.GetBuffer(), nullptr);
    EXPECT_EQ(a.GetSize(), 20);
    EXPECT_FALSE(a.HasBytes());
    EXPECT_TRUE(a.GetStore()->IsPurged());
    EXPECT_NE(b.GetBuffer(), nullptr);
    EXPECT_TRUE(empty.HasBytes());

    // 10 is not passed by b alone: c goes too.
    FF_AudioOverview d = FF_AudioOverviewMgr::Allocate(256); // 2 bytes
    EXPECT_EQ(FF_AudioOverviewMgr::Purge(10), 24);
    EXPECT_EQ(b.GetBuffer(), nullptr);
    EXPECT_EQ(c.GetBuffer(), nullptr);
    EXPECT_NE(d.GetBuffer(), nullptr);

    EXPECT_EQ(FF_AudioOverviewMgr::Purge(-1), 2);
    EXPECT_EQ(d.GetBuffer(), nullptr);
    EXPECT_EQ(FF_AudioOverviewMgr::GetBytesHeld(), 0);
    EXPECT_EQ(locked->GetSize(), 10);
}
} // namespace
