#include "Support/InteropSupport.h"

#include <cstdlib>
#include <gtest/gtest.h>

bool Test_HaveSox()
{
    return std::system("command -v sox >/dev/null 2>&1") == 0;
}

int Test_RunQuiet(const std::string& iCommand)
{
    return std::system((iCommand + " >/dev/null 2>&1").c_str());
}

Bytes Test_SoxRaw(const std::string& iPath, int iBits, const std::string& iScratch)
{
    const std::string raw = iScratch + "/decoded.raw";
    const int status = Test_RunQuiet("sox -D '" + iPath + "' -t raw -e signed-integer -b " +
                                     std::to_string(iBits) + " -L '" + raw + "'");
    EXPECT_EQ(status, 0) << "sox could not decode " << iPath;
    return status == 0 ? ReadBytes(raw) : Bytes();
}
