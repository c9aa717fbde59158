// Overviews of whole files: computed through the chain from WAVE files, and carried in the
// file's "ovwf" chunk.
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewUtils.h"
#include "OverviewTestSupport.h"
#include "Support/TestSupport.h"

namespace
{
TEST(FF_AudioOverviewUtils, ComputedOverviewOfAFileIsTheLoopOverviewOfItsMix)
{
    Test_TempDir dir;
    struct Case
    {
        int16_t mBits;
        int16_t mChannels;
        int64_t mLength;
    };
    // Lengths around the chain's block of 65536 samples and the 256-sample group.
    const Case cases[] = {{8, 1, 0},       {8, 2, 1},      {16, 1, 256},   {16, 2, 257},
                          {24, 1, 32768},  {24, 2, 32769}, {16, 6, 70001}, {8, 1, 65536 + 255},
                          {24, 3, 100000}, {16, 1, 131072}};
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::to_string(c.mBits) + " bits, " + std::to_string(c.mChannels) +
                     " channels, " + std::to_string(c.mLength) + " samples");
        const std::string path = dir.Path() + "/in.wav";
        const Test_Channels samples =
            Test_MakeSamples(c.mBits, c.mChannels, c.mLength, uint32_t(c.mLength + 3));
        Test_WriteWave(path, samples, c.mBits);
        FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(path)));
        int32_t lastPercent = -1;
        const FF_AudioOverview overview =
            FF_AudioOverviewUtils::ComputeOverview(file, [&](int32_t p) { lastPercent = p; });
        EXPECT_FALSE(file->IsOpen()) << "closed again";
        EXPECT_EQ(overview.GetSize(), FF_AudioOverview::GetPayloadSize(c.mLength));
        EXPECT_EQ(Test_Bytes(overview), Test_LoopOverview(Test_Mix(samples, c.mBits), c.mBits));
        EXPECT_EQ(overview.GetLockCount(), 0);
        EXPECT_EQ(lastPercent, c.mLength > 0 ? 100 : -1) << "no chain for no samples";
    }
}

TEST(FF_AudioOverviewUtils, AnEmbeddedOverviewTravelsThroughTheFile)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/carry.wav";
    const Test_Channels samples = Test_MakeSamples(16, 2, 5000);
    Test_WriteWave(path, samples, 16);
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(path)));
    const FF_AudioOverview computed = FF_AudioOverviewUtils::ComputeOverview(file);

    file->Open(Cmn_Store::eOpenFlag_OpenForWrite);
    FF_AudioOverview none;
    EXPECT_FALSE(FF_AudioOverviewMgr::GetEmbeddedOverview(*file, &none));
    FF_AudioOverviewMgr::SetEmbeddedOverview(*file, computed);
    file->Flush();
    file->Close();

    FF_AudioFileRef back(new FF_AudioFile(Sys_FileLoc(path)));
    back->Open(Cmn_Store::eOpenFlag_OpenForRead);
    FF_AudioOverview embedded;
    ASSERT_TRUE(FF_AudioOverviewMgr::GetEmbeddedOverview(*back, &embedded));
    EXPECT_FALSE(embedded == computed);
    EXPECT_EQ(Test_Bytes(embedded), Test_Bytes(computed));
    back->Close();

    // An overview of another length is stale: the file no longer carries a usable one.
    FF_AudioFileRef longer(new FF_AudioFile(Sys_FileLoc(path)));
    longer->Open(Cmn_Store::eOpenFlag_OpenForWrite);
    std::vector<int16_t> more(2 * 600, 0);
    longer->SetPosition(5000);
    longer->Write(more.data(), 600);
    longer->Flush();
    longer->Close();
    longer->Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_FALSE(FF_AudioOverviewMgr::GetEmbeddedOverview(*longer, &embedded));
    longer->Close();

    EXPECT_TRUE(Test_Asserts(
        [&]
        {
            FF_AudioOverview purged = FF_AudioOverviewMgr::Allocate(1000);
            purged.GetStore()->Purge();
            FF_AudioOverviewMgr::SetEmbeddedOverview(*file, purged);
        },
        "iOverview.HasBytes()"));
}

TEST(FF_AudioOverviewUtils, AReadErrorFailsTheComputation)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/short.wav";
    Test_WriteWave(path, Test_MakeSamples(16, 1, 100000), 16);
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(path)));
    file->Open(Cmn_Store::eOpenFlag_OpenForRead);
    const int64_t samples = file->mNumSamples.GetOr(0);
    // The file loses its tail behind the reader's back: the header still counts it.
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 50000);
    EXPECT_ANY_THROW(FF_AudioOverviewUtils::ComputeOverview(file));
    EXPECT_TRUE(file->IsOpen()) << "opened by the caller, left open";
    EXPECT_EQ(samples, 100000);
    file->Close();
}
} // namespace
