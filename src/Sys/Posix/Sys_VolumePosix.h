// The mount table behind Sys_Volume on Linux.
//
// The table is read from /proc/self/mountinfo (one entry per mount, in mount order, a later
// mount at the same point hiding an earlier one). Each entry gets its volume identifier:
//   1. the file system's UUID, found through the symbolic links of /dev/disk/by-uuid whose
//      target device matches the entry's device number, hashed to 32 bits;
//   2. else the statfs file-system id of the mount point, when it is not zero;
//   3. else the device number, source and kind of the entry.
// Identifiers are never 0. The table is read again when the kernel flags a change of the
// mount table (poll on the mountinfo file), or on RescanVolumes. A table installed with
// SetMountTable stays until ClearMountTable; it is used as given (for tests, and for hosts
// whose table is known otherwise).
//
// All functions are safe from any thread; the table is guarded by a mutex and handed out as
// an immutable snapshot.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Sys_Volume.h"

class Sys_VolumePosix
{
public:
    struct MountEntry
    {
        uint32_t mID = 0;
        std::string mMountPoint; // absolute, canonical
        std::string mRoot = "/"; // the folder of the file system mounted there
        std::string mFileSystemName;
        std::string mSource;
        uint32_t mDevMajor = 0;
        uint32_t mDevMinor = 0;
        bool mReadOnly = false;
        // When 0 or more, the free space that Sys_Volume::GetAttr answers instead of the
        // file system's (an installed table's way to stand for a nearly full disk).
        int64_t mFreeSpaceOverride = -1;
    };
    using MountTable = std::vector<MountEntry>;

    // Parses mountinfo text (octal escapes such as "\040" decoded). Identifiers are left 0;
    // malformed lines are skipped.
    static MountTable ParseMountInfo(const std::string& iText);
    // Fills the identifiers of the entries by the rules above. iUUIDFolder is the folder of
    // UUID links ("/dev/disk/by-uuid").
    static void AssignIDs(MountTable& ioTable, const std::string& iUUIDFolder);
    // The 32-bit identifier for a UUID text (case and dashes do not matter).
    static uint32_t IDFromUUID(const std::string& iUUID);

    // The current table (read when needed).
    static std::shared_ptr<const MountTable> GetMountTable();
    static void Rescan();
    // Installs a table of the caller's (identifiers as given) until ClearMountTable.
    static void SetMountTable(const MountTable& iTable);
    static void ClearMountTable();

    // The entry that holds an absolute canonical path (longest mount point; the later of
    // equals), or null.
    static const MountEntry* FindEntryForPath(const MountTable& iTable, const std::string& iPath);
    // The entry with this identifier that best holds the file-system path iFSPath (mount
    // root a prefix of it, the longest root; the first such), or null.
    static const MountEntry* FindEntryForID(const MountTable& iTable, uint32_t iID,
                                            const std::string& iFSPath = "/");
    // Whether the entry is a pseudo file system (proc, sysfs, cgroup...).
    static bool IsPseudoFileSystem(const std::string& iFileSystemName);
    static Sys_Volume::EVolumeType VolumeTypeOf(const MountEntry& iEntry);

    static void SetPlatformDependentMethods();
};
