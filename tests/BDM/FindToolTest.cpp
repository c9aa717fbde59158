// mirafile find, run as a person or a program runs it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdlib.h>
#include <nlohmann/json.hpp>

#include "Support/FFTestSupport.h"
#include "Support/ToolRunner.h"

namespace
{
// Two folders of generated files:
//   M/kick.wav      44100 Hz, 2 ch, 24 bit, 100 frames
//   M/pad.wav       48000 Hz, 1 ch, 16 bit, 1 s
//   M/notes.txt
//   M/Sub/take1.wav 48000 Hz, 1 ch, 16 bit, 10 frames
//   N/pad2.wav      96000 Hz, 2 ch, 16 bit, 1 s
class FindTool : public Test_ToolTest
{
protected:
    void SetUp() override
    {
        Test_ToolTest::SetUp();
        if (IsSkipped())
            return;
        ::setenv("MIRAFILE_CATALOG_DIR", In("catalogs").c_str(), 1);
        std::filesystem::create_directories(In("M/Sub"));
        std::filesystem::create_directories(In("N"));
        MakeWave(In("M/kick.wav"), 2, 24, Bytes(100 * 6, 1), 44100);
        MakeWave(In("M/pad.wav"), 1, 16, Bytes(48000 * 2, 1), 48000);
        std::ofstream(In("M/notes.txt")) << "notes";
        MakeWave(In("M/Sub/take1.wav"), 1, 16, Bytes(10 * 2, 1), 48000);
        MakeWave(In("N/pad2.wav"), 2, 16, Bytes(96000 * 4, 1), 96000);
    }
    void TearDown() override { ::unsetenv("MIRAFILE_CATALOG_DIR"); }
};
} // namespace

TEST_F(FindTool, TermsFindTheExpectedPaths)
{
    struct Case
    {
        std::string mArgs;
        std::vector<std::string> mPaths;
    };
    const std::string m = "'" + In("M") + "'", n = "'" + In("N") + "'";
    const Case cases[] = {
        {m + " " + n + " --where 'AudioFileSampleRate = 48k'", {"M/pad.wav", "M/Sub/take1.wav"}},
        // Unset values never match: notes.txt and the folder have no rate.
        {m + " " + n + " --where 'AudioFileSampleRate!=48000'", {"M/kick.wav", "N/pad2.wav"}},
        {m + " " + n +
             " --where 'AudioFileSampleRate > 44.1k' --where 'AudioFileSampleRate <= 48000'",
         {"M/pad.wav", "M/Sub/take1.wav"}},
        {m + " " + n +
             " --where 'AssetDurationMicroseconds >= 1s' --where 'AudioFileNumChannels = 2'",
         {"N/pad2.wav"}},
        {m + " --where 'AssetDurationMicroseconds >= 1000ms' --where 'AudioFileNumChannels = 2' "
             "--any",
         {"M/kick.wav", "M/pad.wav"}},
        {m + " --terms '\"tak\" wav'", {"M/Sub/take1.wav"}},
        {m + " --where 'FileName ~ \"A\"' --sort AudioFileSampleRate",
         {"M/kick.wav", "M/pad.wav", "M/Sub/take1.wav"}},
        {m + " --where 'FileModDate > 2000-01-01T12:00Z' --where 'AssetType = folder'", {"M/Sub"}},
        {m + " --where 'FileFormat = WAVE' --where 'AudioFileBitDepth >= 24'", {"M/kick.wav"}},
        {m + " --where 'FileCreateDate < 2000-01-01'", {}},
        {m + " '" + In("M/Sub") + "' --terms take", {"M/Sub/take1.wav"}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mArgs);
        const Test_ToolResult r = Test_RunTool("find " + c.mArgs + " --json", mDir.Path());
        ASSERT_EQ(r.mStatus, 0) << r.mErr;
        std::vector<std::string> paths;
        for (const auto& row : nlohmann::json::parse(r.mOut))
            paths.push_back(std::filesystem::relative(row["path"].get<std::string>(), mDir.Path()));
        EXPECT_EQ(paths, c.mPaths);
    }
    // The columns: the kind, each --where tag, the --sort tag; text for a person.
    const Test_ToolResult json = Test_RunTool(
        "find " + m + " --where 'AudioFileSampleRate = 44100' --sort FileTotalSize --json",
        mDir.Path());
    const nlohmann::ordered_json row = nlohmann::ordered_json::parse(json.mOut).at(0);
    std::vector<std::string> keys;
    for (const auto& item : row.items())
        keys.push_back(item.key());
    EXPECT_EQ(keys, (std::vector<std::string>{"path", "AssetType", "AudioFileSampleRate",
                                              "FileTotalSize"}));
    EXPECT_EQ(row["AudioFileSampleRate"], 44100);
    const Test_ToolResult text =
        Test_RunTool("find " + m + " --where 'AudioFileBitDepth = 24'", mDir.Path());
    EXPECT_EQ(text.mStatus, 0);
    EXPECT_EQ(text.mOut, "Path" + std::string(In("M/kick.wav").size() - 2, ' ') +
                             "Kind   Bit-Depth\n" + In("M/kick.wav") + "  Audio  24\n");
}

TEST_F(FindTool, BadInputGetsOneLineAndStatusOne)
{
    struct Case
    {
        std::string mArgs;
        std::string mErr;
    };
    const std::string m = "'" + In("M") + "'";
    const Case cases[] = {
        {"@lib --terms x", "lib: no such catalog"},
        {"'" + In("nowhere") + "' --terms x", In("nowhere") + ": no such folder"},
        {"'" + In("M/pad.wav") + "' --terms x", In("M/pad.wav") + ": not a folder"},
        {m, "find needs a --where term or --terms text"},
        {m + " --where 'Bogus = 1'", "--where names no attribute \"Bogus\" (see mirafile attrs)"},
        {m + " --where 'FileName'",
         "--where needs TAG OP VALUE with OP one of = != < <= > >= ~, not \"FileName\""},
        {m + " --where 'AudioFileSampleRate ~ 4'",
         "--where AudioFileSampleRate ~ needs a text attribute, not one that holds int32"},
        {m + " --where 'AudioFileSampleRate = 4x'",
         "--where AudioFileSampleRate needs a whole number (k, M, G allowed), not \"4x\""},
        {m + " --where 'AudioFileBitDepth = 70000'",
         "--where AudioFileBitDepth needs a whole number (k, M, G allowed), not \"70000\""},
        {m + " --where 'AudioFileSampleRate = 44.1005k'",
         "--where AudioFileSampleRate needs a whole number (k, M, G allowed), not \"44.1005k\""},
        {m + " --where 'AssetDurationMicroseconds > 1 week'",
         "--where AssetDurationMicroseconds needs a duration such as 1s, 250ms or 2min, not "
         "\"1 week\""},
        {m + " --where 'FileModDate > 2024-13-01'",
         "--where FileModDate needs a date as YYYY-MM-DD[THH:MM[:SS]], not \"2024-13-01\""},
        {m + " --where 'AssetType = Thing'",
         "--where AssetType needs a kind such as Audio, Folder or File, not \"Thing\""},
        {m + " --where 'AssetStatus = 1'",
         "--where AssetStatus cannot be searched (it holds status)"},
        {m + " --terms x --sort Nothing",
         "--sort names no attribute \"Nothing\" (see mirafile attrs)"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mArgs);
        const Test_ToolResult r = Test_RunTool("find " + c.mArgs, mDir.Path());
        EXPECT_EQ(r.mStatus, 1);
        EXPECT_EQ(r.mErr, "mirafile: " + c.mErr + "\n");
        EXPECT_EQ(r.mOut, "");
    }
}
