// Well-known locations and questions about where a location lies.
//
// The application's folders lie in the library's data folder (Sys_Paths::GetDataFolder:
// XDG data home, or MIRAFILE_DATA_DIR); the getters of those folders create them when they
// are missing (a failure throws through Sys_ThrowIfOSErr). The temporary locations are only
// named, not created. Any thread may call these.
#pragma once

#include <string>

#include "Sys_FileLoc.h"
#include "Sys_FileType.h"

class Sys_Volume;

class Sys_FileLocUtils
{
public:
    // TMPDIR, else /tmp.
    static Sys_FileLoc GetTempFolderLoc();
    // A name in the temporary folder that does not exist yet: "tmp<pid>_<n>.tmp", with the
    // type's extension in place of "tmp", or iName made unique by HandleDuplicateName.
    static Sys_FileLoc GetTempFileLoc();
    static Sys_FileLoc GetTempFileLoc(const Sys_FileType& iType);
    static Sys_FileLoc GetTempFileLoc(const std::string& iName);
    // XDG_DESKTOP_DIR, else $HOME/Desktop.
    static Sys_FileLoc GetDesktopFolderLoc();
    // The shared library (or program) that holds this code.
    static Sys_FileLoc GetLoadedModuleFileLoc();
    // The running program and its folder.
    static Sys_FileLoc GetApplicationLoc();
    static Sys_FileLoc GetApplicationFolderLoc();
    // The data folder and the folders in it: "Video Engine", "Catalogs", "Databases",
    // "MIDI Device Types", "MIDI Patch Files".
    static Sys_FileLoc GetApplicationDataTarnFolderLoc();
    static Sys_FileLoc GetVideoEngineFolderLoc();
    static Sys_FileLoc GetCatalogsFolderLoc();
    static Sys_FileLoc GetVolumeDatabasesFolderLoc();
    // The folder of one volume's databases, named after its encoded name.
    static Sys_FileLoc GetVolumeDatabasesFolderLoc(const Sys_Volume& iVolume);
    static Sys_FileLoc GetMIDIDeviceTypesBaseDir();
    static Sys_FileLoc GetMIDIPatchFileBaseDir();

    // Whether the name is longer than 31 bytes (the longest classic name).
    static bool HasLongFileName(const Sys_FileLoc& iLoc);
    // The network form of a location on a network volume ("//server/share/path" for SMB,
    // "server:/export/path" for NFS); false (and oPath untouched) for a local one.
    static bool GetUNCPathname(const Sys_FileLoc& iLoc, std::string* oPath);
    // "file:///path" (percent escapes decoded; "file://localhost/" too); false for any other
    // text.
    static bool FileURLToSys_FileLoc(const std::string& iURL, Sys_FileLoc* oLoc);
    // Whether iLoc lies inside iFolder (directly, or at any depth with iRecursive); a folder
    // is not inside itself.
    static bool FileLocIsInFolder(const Sys_FileLoc& iLoc, const Sys_FileLoc& iFolder,
                                  bool iRecursive = true);
    // Inside a trash folder: ".local/share/Trash", ".Trash-<uid>" or ".Trashes".
    static bool IsInTrash(const Sys_FileLoc& iLoc);
    // fileLoc moved from below iOldFolder to the same place below iNewFolder; a location not
    // below iOldFolder comes back unchanged. Asserts "!fileLoc.IsVolumeRoot()".
    static Sys_FileLoc ReAnchorFileLoc(const Sys_FileLoc& fileLoc, const Sys_FileLoc& iOldFolder,
                                       const Sys_FileLoc& iNewFolder);
};
