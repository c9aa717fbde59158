// The frame of the built tool: dispatch, the option rules every sub-command shares, help and
// version, and the one-line failure.
#include <algorithm>
#include <gtest/gtest.h>
#include <string>

#include "Support/TestSupport.h"
#include "Support/ToolRunner.h"

namespace
{
class ToolFrame : public Test_ToolTest
{
};

TEST_F(ToolFrame, RunsCommandsWithTheSharedOptionRules)
{
    const struct
    {
        const char* mArgs;
        const char* mOut;
    } cases[] = {
        {"message 7 12", "end of file encountered\n"},
        {"message 0 40 a.wav 'b c.wav'", "Copying a.wav to b c.wav\n"},
        {"message 0 40 --json a.wav",
         "{\"package\": 0, \"id\": 40, \"resource_id\": 40, \"text\": \"Copying a.wav to ?\"}\n"},
        // Quotes and control characters are escaped in JSON.
        {"message 0 40 --json 'a \"b\"\\'", "{\"package\": 0, \"id\": 40, \"resource_id\": 40, "
                                            "\"text\": \"Copying a \\\"b\\\"\\\\ to ?\"}\n"},
        // Everything after "--" is positional, options may come anywhere before it.
        {"message 0 40 a.wav -- --json", "Copying a.wav to --json\n"},
        {"message --json 0 -- 40", "{\"package\": 0, \"id\": 40, \"resource_id\": 40, "
                                   "\"text\": \"Copying ? to ?\"}\n"},
        // "--name=value", and the last of an option given twice.
        {"time 25 --from=frames --to smpte --fps 30 --fps=25", "00:00:01:00\n"},
    };
    for (const auto& c : cases)
    {
        const auto r = Test_RunTool(c.mArgs, mDir.Path());
        EXPECT_EQ(r.mStatus, 0) << c.mArgs << ": " << r.mErr;
        EXPECT_EQ(r.mOut, c.mOut) << c.mArgs;
        EXPECT_EQ(r.mErr, "") << c.mArgs;
    }
}

TEST_F(ToolFrame, BadInputGivesOneLineAndStatusOne)
{
    const struct
    {
        const char* mArgs;
        const char* mErr; // the whole standard error, or its start
    } cases[] = {
        {"message 9 99", "mirafile: no message 9 99\n"},
        {"message seven 12", "mirafile: PACKAGE must be a whole number, not \"seven\"\n"},
        {"message 7", "mirafile: usage: mirafile message PACKAGE ID [INSERT...]\n"},
        {"nosuchcommand", "mirafile: unknown command \"nosuchcommand\"; see mirafile help\n"},
        {"help nosuchcommand", "mirafile: no command \"nosuchcommand\"; see mirafile help\n"},
        {"message 7 12 --nosuchoption", "mirafile: unknown option --nosuchoption\n"},
        {"message 7 12 --json=1", "mirafile: option --json takes no value\n"},
        {"time 5 --from samples --to smpte --rate", "mirafile: option --rate needs a value\n"},
        {"time 5 --from samples --to smpte --rate x",
         "mirafile: --rate must be a number, not \"x\"\n"},
        {"time 5 --from samples --to smpte --fps 31",
         "mirafile: --fps must be one of 23.976, 24, 25, 29.97, 29.97df, 30, 30df, not \"31\"\n"},
        {"", "mirafile "}, // the help, on standard error
    };
    for (const auto& c : cases)
    {
        const auto r = Test_RunTool(c.mArgs, mDir.Path());
        EXPECT_EQ(r.mStatus, 1) << c.mArgs;
        EXPECT_EQ(r.mOut, "") << c.mArgs;
        EXPECT_EQ(r.mErr.rfind(c.mErr, 0), 0u) << c.mArgs << ": " << r.mErr;
        if (*c.mArgs)
        {
            EXPECT_EQ(std::count(r.mErr.begin(), r.mErr.end(), '\n'), 1) << c.mArgs;
        }
    }
}

TEST_F(ToolFrame, VersionAndHelp)
{
    const struct
    {
        const char* mArgs;
        const char* mStart; // of the standard output
        const char* mPart;  // somewhere in it
    } cases[] = {
        {"--version", "mirafile ", "mirafile "},
        {"help", "mirafile ", "message PACKAGE ID"},
        {"--help", "mirafile ", "overview FILE..."},
        {"help message", "usage: mirafile message", "--json"},
        {"tone --help", "usage: mirafile tone OUT", "--seconds"},
    };
    for (const auto& c : cases)
    {
        const auto r = Test_RunTool(c.mArgs, mDir.Path());
        EXPECT_EQ(r.mStatus, 0) << c.mArgs;
        EXPECT_EQ(r.mOut.rfind(c.mStart, 0), 0u) << c.mArgs << ": " << r.mOut;
        EXPECT_NE(r.mOut.find(c.mPart), std::string::npos) << c.mArgs << ": " << r.mOut;
    }
}
} // namespace
