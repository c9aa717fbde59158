// Where the library keeps its per-user files on this host: the XDG data and configuration
// folders, under a "mirafile" folder each. MIRAFILE_DATA_DIR and MIRAFILE_CONFIG_DIR
// override them (tests use this to stay out of the user's folders).
#pragma once

#include <string>

class Sys_Paths
{
public:
    static std::string GetDataFolder();
    static std::string GetConfigFolder();
    // Creates the folder and its parents; throws through Sys_ThrowIfOSErr on failure.
    static void CreateFolders(const std::string& iPath);
};
