// Recordings that sox wrote, cut off mid-frame: the repaired copy decodes in sox to exactly
// the whole frames that were there.
#include <gtest/gtest.h>
#include <string>

#include "FF/Audio/PlugIns/FF_AudioFileRepair.h"
#include "Support/InteropSupport.h"
#include "Support/TestSupport.h"

namespace
{
TEST(RepairInterop, SoxReadsTheWholeFramesOfACutRecording)
{
    if (!Test_HaveSox())
        GTEST_SKIP() << "sox is not installed";
    Test_TempDir dir;
    const struct
    {
        const char* mName;
        int mBits, mChannels;
    } cases[] = {{"take.wav", 16, 2}, {"take.aif", 24, 2}, {"take.aifc", 8, 2}, {"six.wav", 24, 6}};
    for (const auto& c : cases)
    {
        const std::string path = dir.Path() + "/" + c.mName;
        ASSERT_EQ(Test_RunQuiet("sox -n -b " + std::to_string(c.mBits) + " -c " +
                                std::to_string(c.mChannels) + " -r 48000 '" + path +
                                "' synth 0.1 sine 440 sine 1000"),
                  0);
        const Bytes original = Test_SoxRaw(path, c.mBits, dir.Path());
        const auto whole = FF_AudioFileRepair::Examine(Sys_FileLoc(path));
        ASSERT_FALSE(whole.NeedsRepair()) << c.mName;
        // Cut 1,000 frames and a part of a frame into the samples.
        Bytes bytes = ReadBytes(path);
        const int64_t frames = 1000;
        bytes.resize(size_t(whole.mDataOffset + frames * whole.mFrameBytes + 1));
        const std::string cut = dir.Path() + "/cut-" + c.mName;
        const std::string repaired = dir.Path() + "/repaired-" + c.mName;
        WriteBytes(cut, bytes);
        const auto report =
            FF_AudioFileRepair::WriteRepairedCopy(Sys_FileLoc(cut), Sys_FileLoc(repaired));
        EXPECT_EQ(report.mFrames, frames) << c.mName;
        const Bytes decoded = Test_SoxRaw(repaired, c.mBits, dir.Path());
        ASSERT_EQ(decoded.size(), size_t(frames * whole.mFrameBytes)) << c.mName;
        EXPECT_TRUE(std::equal(decoded.begin(), decoded.end(), original.begin())) << c.mName;
    }
}
} // namespace
