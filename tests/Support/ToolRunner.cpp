#include "Support/ToolRunner.h"

#include <cstdlib>
#include <sys/wait.h>

#include "Support/ByteSupport.h"

const char* Test_ToolPath()
{
    return std::getenv("MIRAFILE_TOOL");
}

Test_ToolResult Test_RunTool(const std::string& iArgs, const std::string& iScratchDir,
                             const std::string& iEnv)
{
    Test_ToolResult result;
    const std::string outPath = iScratchDir + "/tool.out", errPath = iScratchDir + "/tool.err";
    const std::string cmd = iEnv + (iEnv.empty() ? "" : " ") + "'" + Test_ToolPath() + "' " + iArgs + " >'" + outPath +
                            "' 2>'" + errPath + "' </dev/null";
    const int raw = std::system(cmd.c_str());
    result.mStatus = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    result.mOut = ReadBytes<std::string>(outPath);
    result.mErr = ReadBytes<std::string>(errPath);
    return result;
}
