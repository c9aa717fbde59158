#include "Sys_Paths.h"

#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>

#include "Sys_OSErrData.h"

namespace
{
std::string FromEnv(const char* iOverride, const char* iXdg, const char* iHomeRelative)
{
    if (const char* p = std::getenv(iOverride); p && *p)
        return p;
    if (const char* p = std::getenv(iXdg); p && *p)
        return std::string(p) + "/mirafile";
    const char* home = std::getenv("HOME");
    return std::string(home && *home ? home : "/tmp") + "/" + iHomeRelative + "/mirafile";
}
} // namespace

std::string Sys_Paths::GetDataFolder()
{
    return FromEnv("MIRAFILE_DATA_DIR", "XDG_DATA_HOME", ".local/share");
}

std::string Sys_Paths::GetConfigFolder()
{
    return FromEnv("MIRAFILE_CONFIG_DIR", "XDG_CONFIG_HOME", ".config");
}

void Sys_Paths::CreateFolders(const std::string& iPath)
{
    for (size_t pos = 1; pos <= iPath.size(); ++pos)
    {
        if (pos != iPath.size() && iPath[pos] != '/')
            continue;
        const std::string part = iPath.substr(0, pos);
        if (::mkdir(part.c_str(), 0777) != 0 && errno != EEXIST)
            Sys_ThrowIfOSErr(errno, "while creating \"" + part + "\"");
    }
}
