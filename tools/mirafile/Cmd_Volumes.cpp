// mirafile volumes [--json] [--mount-table FILE]: the mounted volumes as the browser sees
// them.
//
// One row per volume (pseudo file systems left out; a file system mounted twice shown once):
// the identifier (eight hex digits; it stays with the file system when its mount point
// changes), the kind, the file-system name, the mount point, whether the volume's database
// exists, and where it is (or would be). --mount-table reads the table from a file in the
// form of /proc/self/mountinfo instead of the system's. With --json one document: a list of
// objects {"id", "id_hex", "mount_point", "kind", "file_system", "source", "read_only",
// "database", "database_exists"}.
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "BDM/BDM_Volume.h"
#include "Sys_FileUtils.h"
#include "Sys_VolumePosix.h"
#include "Tool.h"

namespace
{
struct
{
    bool mJson = false;
    std::string mMountTable;
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document: a list of volumes");
    ioApp.add_option("--mount-table", sOptions.mMountTable,
                     "read the mount table from FILE (in the form of /proc/self/mountinfo)");
}

const char* KindName(Sys_Volume::EVolumeType iType)
{
    switch (iType)
    {
    case Sys_Volume::eVolumeType_Fixed:
        return "fixed";
    case Sys_Volume::eVolumeType_Removable:
        return "removable";
    case Sys_Volume::eVolumeType_Network:
        return "network";
    case Sys_Volume::eVolumeType_CDROM:
        return "cdrom";
    case Sys_Volume::eVolumeType_RAMDisk:
        return "ramdisk";
    default:
        return "unknown";
    }
}

std::string Hex(uint32_t iID)
{
    std::ostringstream text;
    text << std::hex << std::setw(8) << std::setfill('0') << iID;
    return text.str();
}

int Run()
{
    if (!sOptions.mMountTable.empty())
    {
        std::ifstream in(sOptions.mMountTable, std::ios::binary);
        if (!in)
            throw Tool_UsageError(sOptions.mMountTable + ": cannot read the mount table");
        std::ostringstream text;
        text << in.rdbuf();
        Sys_VolumePosix::MountTable table = Sys_VolumePosix::ParseMountInfo(text.str());
        Sys_VolumePosix::AssignIDs(table, "/dev/disk/by-uuid");
        Sys_VolumePosix::SetMountTable(table);
    }
    else
        Sys_Volume::RescanVolumes();

    std::ostringstream out;
    Tool_Json list = Tool_Json::array();
    if (!sOptions.mJson)
        out << std::left << std::setw(10) << "id" << std::setw(11) << "kind" << std::setw(10)
            << "fs" << std::setw(9) << "database" << "mount point\n";
    for (const Sys_Volume& volume : Sys_Volume::GetMountedVolumes(Sys_Volume::eVolumeType_All))
    {
        const BDM_URL database = BDM_Volume::GetDatabaseURL(volume.GetID());
        const bool exists = Sys_FileUtils::Exists(database);
        if (sOptions.mJson)
        {
            Tool_Json row;
            row["id"] = volume.GetID();
            row["id_hex"] = Hex(volume.GetID());
            row["mount_point"] = volume.GetMountPoint();
            row["kind"] = KindName(volume.GetVolumeType());
            row["file_system"] = volume.GetFileSystemName();
            row["source"] = volume.GetMountSource();
            row["read_only"] = volume.IsLocked();
            row["database"] = database.GetFullPath();
            row["database_exists"] = exists;
            list.push_back(row);
        }
        else
            out << std::left << std::setw(10) << Hex(volume.GetID()) << std::setw(11)
                << KindName(volume.GetVolumeType()) << std::setw(10)
                << volume.GetFileSystemName() << std::setw(9) << (exists ? "yes" : "no")
                << volume.GetMountPoint() << "\n";
    }
    if (sOptions.mJson)
        out << Tool_JsonText(list, ",\n ") << "\n";
    std::cout << out.str();
    return 0;
}

Tool_Registrar sRegistrar{{"volumes", "volumes [--json] [--mount-table FILE]",
                           "list the mounted volumes with their identifiers and databases",
                           Declare, Run}};
} // namespace
