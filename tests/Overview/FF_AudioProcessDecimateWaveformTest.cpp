// The decimating stage in real chains, as consumer and as filter, against the plain loop.
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Chain/ChainTestStages.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "FF/Audio/Processing/Overview/FF_AudioProcessDecimateWaveform.h"
#include "OverviewTestSupport.h"
#include "Support/TestSupport.h"

namespace
{
struct Shape
{
    int32_t mBits;
    int16_t mChannels;
    int64_t mLength;
    int64_t mPerBlock;
    int32_t mPerPoint = 256;
};

std::string Name(const Shape& s)
{
    return std::to_string(s.mBits) + " bits, " + std::to_string(s.mChannels) + " channels, " +
           std::to_string(s.mLength) + " samples in blocks of " + std::to_string(s.mPerBlock) +
           ", " + std::to_string(s.mPerPoint) + " a point";
}

// Lengths that are and are not multiples of 256 and of the block size, and blocks that
// are smaller than a group, equal to it, and not a multiple of it; then points of other
// widths, which follow the same rule.
std::vector<Shape> Shapes()
{
    std::vector<Shape> shapes;
    for (int32_t bits : {8, 16, 24})
        for (int16_t channels : {int16_t(1), int16_t(3)})
            // clang-format off
            for (const auto& [length, perBlock] : std::vector<std::pair<int64_t, int64_t>>{
                     {1, 64}, {255, 256}, {256, 256}, {257, 100}, {4096, 1024}, {4097, 1024},
                     {10000, 1000}, {3 * 4410 + 17, 4410}, {20000, 77}})
                shapes.push_back({bits, channels, length, perBlock});
    // clang-format on
    for (int32_t perPoint : {1, 7, 100, 1000, 4096})
        shapes.push_back({16, 1, 1000, 333, perPoint});
    return shapes;
}

TEST(FF_AudioProcessDecimateWaveform, ChainEqualsThePlainLoopAsConsumerAndAsFilter)
{
    for (const Shape& s : Shapes())
        for (bool asFilter : {false, true})
        {
            SCOPED_TRACE(Name(s) + (asFilter ? ", as filter" : ", as consumer"));
            const Test_Channels samples =
                Test_MakeSamples(s.mBits, s.mChannels, s.mLength, uint32_t(s.mLength));
            std::vector<FF_AudioOverview> overviews;
            std::vector<FF_AudioOverview::LockingRef> refs;
            for (int16_t c = 0; c < s.mChannels; ++c)
            {
                overviews.push_back(FF_AudioOverviewMgr::AllocateBytes(
                    int32_t(2 * ((s.mLength + s.mPerPoint - 1) / s.mPerPoint))));
                refs.emplace_back(overviews.back());
            }
            auto* decimatorP = new FF_AudioProcessDecimateWaveform(s.mPerPoint, refs);
            auto* collectorP = asFilter ? new Test_ChannelsCollector : nullptr;
            FF_AudioProcessChain::ChainHandle chain(new FF_AudioProcessChain);
            chain->Append(FF_AudioProcess::ProcessHandle(
                Test_ChannelsProducer(samples, s.mBits, s.mPerBlock)));
            chain->Append(FF_AudioProcess::ProcessHandle(decimatorP));
            if (collectorP)
                chain->Append(FF_AudioProcess::ProcessHandle(collectorP));
            ASSERT_EQ(Test_RunByHand(chain), Sys_Task::eStatus_Complete);
            EXPECT_EQ(decimatorP->GetProcessType(), asFilter
                                                        ? FF_AudioProcess::eProcessType_Filter
                                                        : FF_AudioProcess::eProcessType_Consumer);
            EXPECT_EQ(decimatorP->GetSamplesProcessed(), s.mLength);
            for (int16_t c = 0; c < s.mChannels; ++c)
                ASSERT_EQ(Test_Bytes(overviews[size_t(c)]),
                          Test_LoopOverview(samples[size_t(c)], s.mBits, s.mPerPoint))
                    << "channel " << c;
            EXPECT_TRUE(!collectorP || collectorP->mChannels == samples);
            refs.clear();
            for (const FF_AudioOverview& overview : overviews)
                EXPECT_EQ(overview.GetLockCount(), 0) << "the stage let go of its locks";
        }
}

TEST(FF_AudioProcessDecimateWaveform, RefusesWhatItCannotDo)
{
    FF_AudioOverview a = FF_AudioOverviewMgr::Allocate(1000);
    FF_AudioOverview b = FF_AudioOverviewMgr::Allocate(2000);
    const FF_AudioOverview::LockingRef ra(a), rb(b);
    EXPECT_TRUE(Test_Asserts(
        [&] {
            FF_AudioProcessDecimateWaveform(256, {ra, rb});
        },
        "mBufferSize == mOverviews.at( index )->GetSize()"));
    EXPECT_TRUE(
        Test_Asserts([&] { FF_AudioProcessDecimateWaveform(256, {}); }, "!mOverviews.empty()"));

    struct Case
    {
        const char* mName;
        int64_t mTotal;
        int16_t mChannels;
        int32_t mBits;
        EByteOrder mOrder;
        const char* mAssert;
    };
    const Case cases[] = {
        {"unknown total", -1, 1, 16, eByteOrder_Native, "mSamplesToProcess != -1"},
        {"wrong total", 2000, 1, 16, eByteOrder_Native,
         "2 * ( ( mSamplesToProcess + 256 - 1 ) / 256 ) == mBufferSize"},
        {"big-endian", 1000, 1, 16, eByteOrder_Big,
         "inOutBlock->GetBufferByteOrder() == eByteOrder_Native"},
        {"32 bits", 1000, 1, 32, eByteOrder_Native, "0"},
        {"no channel", 1000, 0, 16, eByteOrder_Native,
         "mOverviews.size() <= size_t(inOutBlock->GetNumChannels())"},
    };
    for (const Case& c : cases)
    {
        FF_AudioProcessDecimateWaveform stage(256, {ra});
        FF_AudioProcessBlock block(c.mChannels, 48000, c.mBits, 100, c.mTotal, c.mOrder);
        EXPECT_TRUE(Test_Asserts([&] { stage.Preflight(&block); }, c.mAssert)) << c.mName;
    }

    // A stream longer than announced stops at the end of the overview.
    FF_AudioProcessDecimateWaveform stage(256, {ra});
    FF_AudioProcessBlock block(1, 48000, 16, 600, 1000);
    stage.Preflight(&block);
    FF_AudioProcessBlock out(block);
    stage.Process(&block, &out);
    EXPECT_TRUE(Test_Asserts([&] { stage.Process(&block, &out); },
                             "mSamplesProcessed <= mSamplesToProcess"));
}

// Two chains at once on the shared workers, each writing its own overviews.
TEST(FF_AudioProcessDecimateWaveform, ChainsSideBySideKeepTheirOwnOverviews)
{
    const Test_Channels one = Test_MakeSamples(24, 2, 50000, 1);
    const Test_Channels two = Test_MakeSamples(16, 1, 70001, 2);
    std::vector<FF_AudioOverview> overviews = {FF_AudioOverviewMgr::Allocate(50000),
                                               FF_AudioOverviewMgr::Allocate(50000),
                                               FF_AudioOverviewMgr::Allocate(70001)};
    std::vector<FF_AudioProcessChain::ChainHandle> chains;
    chains.push_back(
        Test_MakeChain({FF_AudioProcess::ProcessHandle(Test_ChannelsProducer(one, 24, 999)),
                        FF_AudioProcess::ProcessHandle(new FF_AudioProcessDecimateWaveform(
                            256, {FF_AudioOverview::LockingRef(overviews[0]),
                                  FF_AudioOverview::LockingRef(overviews[1])}))}));
    chains.push_back(
        Test_MakeChain({FF_AudioProcess::ProcessHandle(Test_ChannelsProducer(two, 16, 4096)),
                        FF_AudioProcess::ProcessHandle(new FF_AudioProcessDecimateWaveform(
                            256, {FF_AudioOverview::LockingRef(overviews[2])}))}));
    std::vector<Sys_Event::EventHandle> ended;
    for (const auto& chain : chains)
    {
        ended.push_back(chain->GetNotificationEvent(cTest_Ended));
        FF_AudioProcessUtils::QueueBatchProcess(chain);
    }
    for (size_t i = 0; i < chains.size(); ++i)
    {
        ASSERT_EQ(ended[i]->Wait(60000), Sys_SyncObject::eWaitResult_Signalled);
        EXPECT_EQ(chains[i]->GetStatus(), Sys_Task::eStatus_Complete);
    }
    EXPECT_EQ(Test_Bytes(overviews[0]), Test_LoopOverview(one[0], 24));
    EXPECT_EQ(Test_Bytes(overviews[1]), Test_LoopOverview(one[1], 24));
    EXPECT_EQ(Test_Bytes(overviews[2]), Test_LoopOverview(two[0], 16));
}
} // namespace
