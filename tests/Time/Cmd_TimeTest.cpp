// The time sub-command of the built tool, run as a user runs it.
#include <gtest/gtest.h>

#include <string>

#include "Support/TestSupport.h"
#include "Support/ToolRunner.h"

namespace
{
class Cmd_TimeTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!Test_ToolPath())
            GTEST_SKIP() << "MIRAFILE_TOOL is not set (run through ctest)";
    }
    Test_ToolResult Run(const std::string& iArgs) { return Test_RunTool(iArgs, mDir.Path()); }
    Test_TempDir mDir;
};
} // namespace

TEST_F(Cmd_TimeTest, ConvertsBetweenEveryKindOfTime)
{
    const std::pair<const char*, const char*> cases[] = {
        {"time 17982 --from frames --to smpte --fps 29.97df", "00:10:00;00\n"},
        {"time '00:10:00;00' --from smpte --to frames --fps 29.97df", "17982\n"},
        {"time 01:00:01:00 --from smpte --to samples --fps 25 --rate 48000 --offset 01:00:00:00",
         "48000\n"},
        {"time 12+03 --from feet --to smpte --fps 24", "00:00:08:03\n"},
        {"time 1:00.5 --from minsec --to samples", "2668050\n"},
        {"time 48000 --from samples --to smpte --rate 48000 --fps 25 --json",
         "{\"value\": \"48000\", \"from\": \"samples\", \"to\": \"smpte\", "
         "\"result\": \"00:00:01:00\"}\n"},
    };
    for (const auto& [args, out] : cases)
    {
        const Test_ToolResult r = Run(args);
        EXPECT_EQ(r.mStatus, 0) << args;
        EXPECT_EQ(r.mOut, out) << args;
        EXPECT_EQ(r.mErr, "") << args;
    }
    const Test_ToolResult table = Run("time 48000 --from samples --table --rate 48000 --fps 25");
    EXPECT_EQ(table.mStatus, 0);
    for (const char* line : {"smpte    00:00:01:00\n", "feet     1+08.00\n", "minsec   0:01.000\n"})
        EXPECT_NE(table.mOut.find(line), std::string::npos) << table.mOut;
}

TEST_F(Cmd_TimeTest, BadInputExitsOneWithOneLine)
{
    for (const char* args :
         {"time 00:00:00:31 --from smpte --to frames --fps 30", "time xx --from smpte --to frames",
          "time 5 --from samples --to parsecs", "time 5 --from samples --to smpte --fps 31",
          "time 99999999 --from frames --to smpte"})
    {
        const Test_ToolResult r = Run(args);
        EXPECT_EQ(r.mStatus, 1) << args;
        EXPECT_EQ(r.mOut, "") << args;
        ASSERT_FALSE(r.mErr.empty()) << args;
        EXPECT_EQ(r.mErr.rfind("mirafile: ", 0), 0u) << r.mErr;
        EXPECT_EQ(r.mErr.find('\n'), r.mErr.size() - 1) << r.mErr;
    }
}
