// Bars, beats and ticks in the built tool: mirafile time through tempo and meter maps, and
// mirafile map new and show, run as a user runs them.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "Support/ByteSupport.h"
#include "Support/TestSupport.h"
#include "Support/ToolRunner.h"

namespace
{
class Cmd_MapTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!Test_ToolPath())
            GTEST_SKIP() << "MIRAFILE_TOOL is not set (run through ctest)";
    }
    // "@" in iArgs stands for the scratch folder.
    Test_ToolResult Run(std::string iArgs)
    {
        for (size_t at; (at = iArgs.find('@')) != std::string::npos;)
            iArgs.replace(at, 1, mDir.Path());
        return Test_RunTool(iArgs, mDir.Path());
    }
    void ExpectOut(const std::string& iArgs, const std::string& iOut)
    {
        const Test_ToolResult r = Run(iArgs);
        EXPECT_EQ(r.mStatus, 0) << iArgs << "\n" << r.mErr;
        EXPECT_EQ(r.mOut, iOut) << iArgs;
        EXPECT_EQ(r.mErr, "") << iArgs;
    }
    Test_TempDir mDir;
};

// 48 kHz, 120 bpm to bar 2 and 60 after; 4/4 cut at bar 2 beat 3 by 3/4.
const std::string cSpecs = " --rate 48000 --tempo '120,2|1|0=60' --meter '4/4,2|3|0=3/4'";
} // namespace

TEST_F(Cmd_MapTest, TimeConvertsThroughTheMaps)
{
    const struct
    {
        std::string mArgs;
        const char* mOut;
    } rows[] = {
        {"time '2|1|0' --from bbt --to samples" + cSpecs, "96000\n"},
        // the quarter after the tempo change lasts 48,000 samples
        {"time '2|2' --from bbt --to samples" + cSpecs, "144000\n"},
        // bar 2 is cut to two beats; bar 3 (3/4) starts at its third beat
        {"time 192000 --from samples --to bbt" + cSpecs, "3|1| 000\n"},
        {"time 240000 --from samples --to bbt" + cSpecs, "3|2| 000\n"},
        {"time '3|1| 000' --from bbt --to ticks" + cSpecs, "1000005760000\n"},
        {"time 1000000480500 --from ticks --to bbt" + cSpecs, "1|1| 481\n"},
        {"time 1000003840000 --from ticks --to smpte --rate 48000 --fps 25", "00:00:02:00\n"},
        // the default maps: 120 bpm and 4/4 from sample 0
        {"time 88200 --from samples --to bbt", "2|1| 000\n"},
        // a sample is 40 ticks at 48 kHz; the first tick that rounds to sample 1 is the 20th
        {"time 1 --from samples --to ticks --rate 48000", "1000000000040\n"},
        {"time 1 --from samples --to ticks --rate 48000 --first", "1000000000020\n"},
        // a sample's tick on a display tick when it maps back to the same sample
        {"time 23 --from samples --to ticks", "1000000001001\n"},
        {"time 23 --from samples --to ticks --snap", "1000000001000\n"},
        {"time '2|1' --from bbt --to ticks --json" + cSpecs,
         "{\"value\": \"2|1\", \"from\": \"bbt\", \"to\": \"ticks\", \"result\": 1000003840000}\n"},
    };
    for (const auto& row : rows)
        ExpectOut(row.mArgs, row.mOut);
    const Test_ToolResult table = Run("time 144000 --from samples --table" + cSpecs);
    EXPECT_EQ(table.mStatus, 0);
    for (const char* line :
         {"samples  144000\n", "ticks    1000004800000\n", "bbt      2|2| 000\n"})
        EXPECT_NE(table.mOut.find(line), std::string::npos) << table.mOut;
    const Test_ToolResult json = Run("time 144000 --from samples --table --json" + cSpecs);
    EXPECT_NE(json.mOut.find("\"ticks\": 1000004800000, \"bbt\": \"2|2| 000\"}"), std::string::npos)
        << json.mOut;
}

TEST_F(Cmd_MapTest, SavedMapConvertsAsItsSpecs)
{
    ExpectOut("map new @/song.map --idb '5|1=600000'" + cSpecs, "");
    for (const char* value : {"0", "96000", "192001", "599999", "600000", "900000"})
    {
        const std::string args = std::string("time ") + value + " --from samples --table --json";
        const Test_ToolResult fromFile = Run(args + " --map @/song.map");
        EXPECT_EQ(fromFile.mStatus, 0) << fromFile.mErr;
        EXPECT_EQ(fromFile.mOut, Run(args + " --idb '5|1=600000'" + cSpecs).mOut) << value;
    }
    // The identified beat holds: bar 5 lies at sample 600,000 whatever the tempo says.
    ExpectOut("time '5|1' --from bbt --to samples --map @/song.map", "600000\n");
    const Test_ToolResult shown = Run("map show @/song.map");
    EXPECT_EQ(shown.mStatus, 0);
    for (const char* line :
         {"rate        48000 Hz\n", "tempo       3 segments (mixed)\n",
          "  bar 3      tick 1000005760000  3/4  cuts the bar before\n", "sample 600000  "})
        EXPECT_NE(shown.mOut.find(line), std::string::npos) << shown.mOut;
    const Test_ToolResult json = Run("map show @/song.map --json");
    EXPECT_EQ(json.mOut.rfind("{\"file\": ", 0), 0u) << json.mOut;
    EXPECT_NE(json.mOut.find("\"regime\": \"mixed\""), std::string::npos) << json.mOut;
    EXPECT_NE(json.mOut.find("{\"bar\": 3, \"tick\": 1000005760000, \"numerator\": 3, "
                             "\"denominator\": 4, \"cuts_bar_before\": true}"),
              std::string::npos)
        << json.mOut;
    // The default maps, saved.
    ExpectOut("map new @/plain.map", "");
    const Test_ToolResult plain = Run("map show @/plain.map");
    EXPECT_NE(plain.mOut.find("meter       1 change (default)\n"), std::string::npos) << plain.mOut;
}

TEST_F(Cmd_MapTest, BadInputExitsOneWithOneLineAndNoFile)
{
    WriteBytes(mDir.Path() + "/junk.map", std::string("MapFile\0\1\0\0\0\2xy", 15));
    for (const char* args : {
             "map new @/out.map --tempo '120,3|1=1000'",
             "map new @/out.map --tempo '120,1|1=90'",
             "map new @/out.map --tempo '120,x=90'",
             "map new @/out.map --meter 4/3",
             "map new @/out.map --meter '4/4,2|0=3/4'",
             "map new @/out.map --idb '2|1=100' --idb '3|1=50'",
             "map new @/out.map --idb '2|1=-4'",
             "map new @/out.map --json",
             "map new",
             "map frob @/out.map",
             "map show @/out.map",
             "map show @/junk.map",
             "time 5 --from samples --to ticks --map @/junk.map",
             "time 5 --from samples --to ticks --map @/out.map --tempo 120",
             "time 5 --from samples --to ticks --first --snap",
             "time '1|0' --from bbt --to samples",
             "time 1e3 --from ticks --to samples",
         })
    {
        const Test_ToolResult r = Run(args);
        EXPECT_EQ(r.mStatus, 1) << args;
        EXPECT_EQ(r.mOut, "") << args;
        EXPECT_EQ(r.mErr.rfind("mirafile: ", 0), 0u) << args << ": " << r.mErr;
        EXPECT_EQ(r.mErr.find('\n'), r.mErr.size() - 1) << r.mErr;
        EXPECT_FALSE(std::filesystem::exists(mDir.Path() + "/out.map")) << args;
    }
    // Nothing half-written stays in the folder.
    size_t files = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(mDir.Path()))
        ++files;
    EXPECT_EQ(files, 3u); // junk.map and the tool's captured output
}
