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

inline const char* Test_ToolPath()
{
    return std::getenv("MIRAFILE_TOOL");
}

// iArgs is pasted into a shell command line: quote arguments as the shell wants them.
inline Test_ToolResult Test_RunTool(const std::string& iArgs, const std::string& iScratchDir)
{
    Test_ToolResult result;
    const std::string outPath = iScratchDir + "/tool.out", errPath = iScratchDir + "/tool.err";
    const std::string cmd = std::string("'") + Test_ToolPath() + "' " + iArgs + " >'" + outPath +
                            "' 2>'" + errPath + "' </dev/null";
    const int raw = std::system(cmd.c_str());
    result.mStatus = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    auto slurp = [](const std::string& p) {
        std::ifstream in(p, std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    };
    result.mOut = slurp(outPath);
    result.mErr = slurp(errPath);
    return result;
}
