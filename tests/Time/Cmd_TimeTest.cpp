// The time sub-command of the built tool, run as a user runs it.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
struct RunResult
{
    int mStatus = -1;
    std::string mOut;
    std::string mErr;
};

std::string ReadFile(const std::string& iPath)
{
    std::ifstream in(iPath);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

RunResult RunTool(const std::string& iArgs)
{
    const char* tool = std::getenv("MIRAFILE_TOOL");
    const std::string base = ::testing::TempDir() + "cmd_time_" + std::to_string(getpid());
    const std::string command =
        std::string("'") + tool + "' " + iArgs + " >'" + base + ".out' 2>'" + base + ".err'";
    RunResult result;
    const int raw = std::system(command.c_str());
    result.mStatus = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    result.mOut = ReadFile(base + ".out");
    result.mErr = ReadFile(base + ".err");
    std::remove((base + ".out").c_str());
    std::remove((base + ".err").c_str());
    return result;
}

#define REQUIRE_TOOL()                                                                             \
    do                                                                                             \
    {                                                                                              \
        if (std::getenv("MIRAFILE_TOOL") == nullptr)                                               \
            GTEST_SKIP() << "MIRAFILE_TOOL is not set (run through ctest)";                        \
    } while (0)
} // namespace

TEST(Cmd_TimeTest, FramesToDropFrameTimecode)
{
    REQUIRE_TOOL();
    const RunResult r = RunTool("time 17982 --from frames --to smpte --fps 29.97df");
    EXPECT_EQ(r.mStatus, 0);
    EXPECT_EQ(r.mOut, "00:10:00;00\n");
    EXPECT_EQ(r.mErr, "");
}

TEST(Cmd_TimeTest, TimecodeToFramesAndSamples)
{
    REQUIRE_TOOL();
    EXPECT_EQ(RunTool("time '00:10:00;00' --from smpte --to frames --fps 29.97df").mOut, "17982\n");
    EXPECT_EQ(
        RunTool(
            "time 01:00:01:00 --from smpte --to samples --fps 25 --rate 48000 --offset 01:00:00:00")
            .mOut,
        "48000\n");
    EXPECT_EQ(RunTool("time 12+03 --from feet --to smpte --fps 24").mOut, "00:00:08:03\n");
    EXPECT_EQ(RunTool("time 1:00.5 --from minsec --to samples").mOut, "2668050\n");
}

TEST(Cmd_TimeTest, JsonAndTable)
{
    REQUIRE_TOOL();
    const RunResult json =
        RunTool("time 48000 --from samples --to smpte --rate 48000 --fps 25 --json");
    EXPECT_EQ(json.mStatus, 0);
    EXPECT_EQ(json.mOut, "{\"value\": \"48000\", \"from\": \"samples\", \"to\": \"smpte\", "
                         "\"result\": \"00:00:01:00\"}\n");
    const RunResult table = RunTool("time 48000 --from samples --table --rate 48000 --fps 25");
    EXPECT_EQ(table.mStatus, 0);
    EXPECT_NE(table.mOut.find("smpte    00:00:01:00\n"), std::string::npos) << table.mOut;
    EXPECT_NE(table.mOut.find("feet     1+08.00\n"), std::string::npos) << table.mOut;
    EXPECT_NE(table.mOut.find("minsec   0:01.000\n"), std::string::npos) << table.mOut;
}

TEST(Cmd_TimeTest, BadInputExitsOneWithOneLine)
{
    REQUIRE_TOOL();
    for (const char* args :
         {"time 00:00:00:31 --from smpte --to frames --fps 30", "time xx --from smpte --to frames",
          "time 5 --from samples --to parsecs", "time 5 --from samples --to smpte --fps 31",
          "time 99999999 --from frames --to smpte"})
    {
        const RunResult r = RunTool(args);
        EXPECT_EQ(r.mStatus, 1) << args;
        EXPECT_EQ(r.mOut, "") << args;
        ASSERT_FALSE(r.mErr.empty()) << args;
        EXPECT_EQ(r.mErr.rfind("mirafile: ", 0), 0u) << r.mErr;
        EXPECT_EQ(r.mErr.find('\n'), r.mErr.size() - 1) << r.mErr;
    }
}
