// Runs the built mirafile tool (its path comes in MIRAFILE_TOOL, set by ctest) and collects
// its exit status, standard output and standard error.
#pragma once

#include <cstdio>
#include <gtest/gtest.h>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>

#include "Support/TestSupport.h"

struct Test_ToolResult
{
    int mStatus = -1;
    std::string mOut;
    std::string mErr;
};

const char* Test_ToolPath();

// iArgs is pasted into a shell command line: quote arguments as the shell wants them. iEnv,
// assignments such as "A='x' B=y", is set for the tool only.
Test_ToolResult Test_RunTool(const std::string& iArgs, const std::string& iScratchDir,
                             const std::string& iEnv = "");

// A fixture for tests of the built tool: skipped when MIRAFILE_TOOL is not set, with a scratch
// folder and the paths in it.
class Test_ToolTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!Test_ToolPath())
            GTEST_SKIP() << "MIRAFILE_TOOL is not set";
    }
    std::string In(const std::string& iName) const { return mDir.Path() + "/" + iName; }
    Test_TempDir mDir;
};
