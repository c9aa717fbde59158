#include <algorithm>
#include <gtest/gtest.h>

#include "Support/TestSupport.h"
#include "Support/ToolRunner.h"

class ToolFrame : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!Test_ToolPath())
            GTEST_SKIP() << "MIRAFILE_TOOL is not set";
    }
    Test_TempDir mDir;
};

TEST_F(ToolFrame, MessagePrintsTextWithInserts)
{
    auto r = Test_RunTool("message 7 12", mDir.Path());
    EXPECT_EQ(r.mStatus, 0);
    EXPECT_EQ(r.mOut, "end of file encountered\n");
    r = Test_RunTool("message 0 40 a.wav 'b c.wav'", mDir.Path());
    EXPECT_EQ(r.mOut, "Copying a.wav to b c.wav\n");
    r = Test_RunTool("message 0 40 --json a.wav", mDir.Path());
    EXPECT_EQ(r.mOut, "{\"package\": 0, \"id\": 40, \"resource_id\": 40, \"text\": \"Copying a.wav to ?\"}\n");
}

TEST_F(ToolFrame, BadInputGivesOneLineAndStatusOne)
{
    for (const char* args : {"message 9 99", "message seven 12", "message 7", "nosuchcommand",
                             "message 7 12 --nosuchoption"})
    {
        const auto r = Test_RunTool(args, mDir.Path());
        EXPECT_EQ(r.mStatus, 1) << args;
        EXPECT_EQ(r.mOut, "") << args;
        EXPECT_EQ(std::count(r.mErr.begin(), r.mErr.end(), '\n'), 1) << args << ": " << r.mErr;
        EXPECT_EQ(r.mErr.rfind("mirafile: ", 0), 0u) << r.mErr;
    }
}

TEST_F(ToolFrame, VersionAndHelp)
{
    auto r = Test_RunTool("--version", mDir.Path());
    EXPECT_EQ(r.mStatus, 0);
    EXPECT_EQ(r.mOut.rfind("mirafile ", 0), 0u);
    r = Test_RunTool("help", mDir.Path());
    EXPECT_EQ(r.mStatus, 0);
    EXPECT_NE(r.mOut.find("message PACKAGE ID"), std::string::npos);
    r = Test_RunTool("help message", mDir.Path());
    EXPECT_EQ(r.mStatus, 0);
    EXPECT_EQ(r.mOut.rfind("usage: mirafile message", 0), 0u);
}
