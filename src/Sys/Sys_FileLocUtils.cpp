#include "Sys_FileLocUtils.h"

#include <atomic>
#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <unistd.h>

#include "Cmn_Assert.h"
#include "L10N_Utils.h"
#include "Sys_FileUtils.h"
#include "Sys_Paths.h"
#include "Sys_Volume.h"

namespace
{
std::atomic<int32_t> sTempCounter{0};

Sys_FileLoc DataSubFolder(const std::string& iName)
{
    const Sys_FileLoc folder(Sys_FileLocUtils::GetApplicationDataTarnFolderLoc(), iName,
                             Sys_FileType::cFolder);
    Sys_FileUtils::CreateFolder(folder);
    return folder;
}

bool IsPrefixFolder(const std::string& iFolder, const std::string& iPath)
{
    if (iFolder.empty() || iPath.size() <= iFolder.size())
        return false;
    if (iFolder == "/")
        return iPath[0] == '/';
    return iPath.compare(0, iFolder.size(), iFolder) == 0 && iPath[iFolder.size()] == '/';
}

int HexValue(char iC)
{
    if (iC >= '0' && iC <= '9')
        return iC - '0';
    if (iC >= 'a' && iC <= 'f')
        return iC - 'a' + 10;
    if (iC >= 'A' && iC <= 'F')
        return iC - 'A' + 10;
    return -1;
}
} // namespace

Sys_FileLoc Sys_FileLocUtils::GetTempFolderLoc()
{
    const char* tmp = std::getenv("TMPDIR");
    return Sys_FileLoc(std::string(tmp && *tmp ? tmp : "/tmp"));
}

Sys_FileLoc Sys_FileLocUtils::GetTempFileLoc()
{
    return GetTempFileLoc(Sys_FileType::cUnknown);
}

Sys_FileLoc Sys_FileLocUtils::GetTempFileLoc(const Sys_FileType& iType)
{
    std::string extension = iType.GetAssociatedExtension();
    if (extension.empty())
        extension = L10N_Utils::GetText(2, 49); // "tmp"
    if (extension[0] == '.')
        extension.erase(0, 1);
    for (;;)
    {
        const std::string name = "tmp" + std::to_string(::getpid()) + "_" +
                                 std::to_string(sTempCounter.fetch_add(1)) + "." + extension;
        const Sys_FileLoc loc(GetTempFolderLoc(), name);
        if (!Sys_FileUtils::Exists(loc))
            return loc;
    }
}

Sys_FileLoc Sys_FileLocUtils::GetTempFileLoc(const std::string& iName)
{
    return Sys_FileUtils::HandleDuplicateName(Sys_FileLoc(GetTempFolderLoc(), iName));
}

Sys_FileLoc Sys_FileLocUtils::GetDesktopFolderLoc()
{
    if (const char* desktop = std::getenv("XDG_DESKTOP_DIR"); desktop && *desktop)
        return Sys_FileLoc(std::string(desktop));
    const char* home = std::getenv("HOME");
    return Sys_FileLoc(std::string(home && *home ? home : "/") + "/Desktop");
}

Sys_FileLoc Sys_FileLocUtils::GetLoadedModuleFileLoc()
{
    Dl_info info{};
    if (::dladdr(reinterpret_cast<void*>(&Sys_FileLocUtils::GetLoadedModuleFileLoc), &info) &&
        info.dli_fname && info.dli_fname[0] == '/')
        return Sys_FileLoc(std::string(info.dli_fname));
    return GetApplicationLoc();
}

Sys_FileLoc Sys_FileLocUtils::GetApplicationLoc()
{
    char path[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path - 1);
    return length > 0 ? Sys_FileLoc(std::string(path, size_t(length))) : Sys_FileLoc();
}

Sys_FileLoc Sys_FileLocUtils::GetApplicationFolderLoc()
{
    return GetApplicationLoc().GetParentFolder();
}

Sys_FileLoc Sys_FileLocUtils::GetApplicationDataTarnFolderLoc()
{
    const Sys_FileLoc folder(Sys_Paths::GetDataFolder());
    Sys_FileUtils::CreateFolder(folder);
    return folder;
}

Sys_FileLoc Sys_FileLocUtils::GetVideoEngineFolderLoc()
{
    return DataSubFolder(L10N_Utils::GetText(6, 7)); // "Video Engine"
}

Sys_FileLoc Sys_FileLocUtils::GetCatalogsFolderLoc()
{
    return DataSubFolder(L10N_Utils::GetText(6, 27)); // "Catalogs"
}

Sys_FileLoc Sys_FileLocUtils::GetVolumeDatabasesFolderLoc()
{
    return DataSubFolder(L10N_Utils::GetText(6, 32)); // "Databases"
}

Sys_FileLoc Sys_FileLocUtils::GetVolumeDatabasesFolderLoc(const Sys_Volume& iVolume)
{
    std::string name = iVolume.GetEncodedName();
    if (name.empty())
        name = std::to_string(iVolume.GetID());
    const Sys_FileLoc folder(GetVolumeDatabasesFolderLoc(), name, Sys_FileType::cFolder);
    Sys_FileUtils::CreateFolder(folder);
    return folder;
}

Sys_FileLoc Sys_FileLocUtils::GetMIDIDeviceTypesBaseDir()
{
    return DataSubFolder("MIDI Device Types");
}

Sys_FileLoc Sys_FileLocUtils::GetMIDIPatchFileBaseDir()
{
    return DataSubFolder("MIDI Patch Files");
}

bool Sys_FileLocUtils::HasLongFileName(const Sys_FileLoc& iLoc)
{
    return iLoc.GetName().size() > 31;
}

bool Sys_FileLocUtils::GetUNCPathname(const Sys_FileLoc& iLoc, std::string* oPath)
{
    CMN_ASSERT(oPath);
    const Sys_Volume volume = iLoc.GetVolume();
    if (volume.GetVolumeType() != Sys_Volume::eVolumeType_Network)
        return false;
    const std::vector<std::string> components = iLoc.GetPathComponents();
    std::string below;
    for (size_t i = 1; i < components.size(); ++i)
        below += "/" + components[i];
    std::string root = volume.GetMountRoot();
    if (root == "/")
        root.clear();
    std::string source = volume.GetMountSource();
    while (source.size() > 1 && source.back() == '/')
        source.pop_back();
    *oPath = source + root + below;
    return true;
}

bool Sys_FileLocUtils::FileURLToSys_FileLoc(const std::string& iURL, Sys_FileLoc* oLoc)
{
    CMN_ASSERT(oLoc);
    static const std::string cScheme = "file:///";
    static const std::string cLocalHost = "file://localhost/";
    std::string encoded;
    if (iURL.compare(0, cScheme.size(), cScheme) == 0)
        encoded = iURL.substr(cScheme.size() - 1);
    else if (iURL.compare(0, cLocalHost.size(), cLocalHost) == 0)
        encoded = iURL.substr(cLocalHost.size() - 1);
    else
        return false;
    std::string path;
    for (size_t i = 0; i < encoded.size(); ++i)
    {
        if (encoded[i] == '%' && i + 2 < encoded.size() && HexValue(encoded[i + 1]) >= 0 &&
            HexValue(encoded[i + 2]) >= 0)
        {
            path += static_cast<char>(HexValue(encoded[i + 1]) * 16 + HexValue(encoded[i + 2]));
            i += 2;
        }
        else
            path += encoded[i];
    }
    if (path.find('\0') != std::string::npos)
        return false;
    *oLoc = Sys_FileLoc(path);
    return true;
}

bool Sys_FileLocUtils::FileLocIsInFolder(const Sys_FileLoc& iLoc, const Sys_FileLoc& iFolder,
                                         bool iRecursive)
{
    const std::string& path = iLoc.GetFullPath();
    if (!IsPrefixFolder(iFolder.GetFullPath(), path))
        return false;
    return iRecursive || iLoc.GetParentFolder() == iFolder;
}

bool Sys_FileLocUtils::IsInTrash(const Sys_FileLoc& iLoc)
{
    const std::string path = iLoc.GetFullPath() + "/";
    return path.find("/.local/share/Trash/") != std::string::npos ||
           path.find("/.Trash-") != std::string::npos ||
           path.find("/.Trashes/") != std::string::npos;
}

Sys_FileLoc Sys_FileLocUtils::ReAnchorFileLoc(const Sys_FileLoc& fileLoc,
                                              const Sys_FileLoc& iOldFolder,
                                              const Sys_FileLoc& iNewFolder)
{
    CMN_ASSERT(!fileLoc.IsVolumeRoot());
    const std::string& path = fileLoc.GetFullPath();
    const std::string& old = iOldFolder.GetFullPath();
    if (!IsPrefixFolder(old, path))
        return fileLoc;
    const std::string below = path.substr(old == "/" ? 1 : old.size() + 1);
    return Sys_FileLoc(iNewFolder, below);
}
