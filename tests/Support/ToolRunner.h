// Runs the built mirafile tool (its path comes in MIRAFILE_TOOL, set by ctest) and collects
// its exit status, standard output and standard error.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>

struct Test_ToolResult
{
    int mStatus = -1;
    std::string mOut;
    std::string mErr;
};

const char* Test_ToolPath();

// iArgs is pasted into a shell command line: quote arguments as the shell wants them.
Test_ToolResult Test_RunTool(const std::string& iArgs, const std::string& iScratchDir);
