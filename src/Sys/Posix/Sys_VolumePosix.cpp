#include "Sys_VolumePosix.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <mutex>
#include <poll.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
#include "Sys_OSErrData.h"

namespace
{
constexpr const char* cMountInfoPath = "/proc/self/mountinfo";
constexpr const char* cUUIDFolder = "/dev/disk/by-uuid";

// FNV-1a over a text; never 0.
uint32_t Hash32(const std::string& iText)
{
    uint32_t hash = 2166136261u;
    for (unsigned char c : iText)
    {
        hash ^= c;
        hash *= 16777619u;
    }
    return hash == 0 ? 1 : hash;
}

// "\040" and its kin back to the characters they stand for.
std::string DecodeOctal(const std::string& iText)
{
    std::string text;
    text.reserve(iText.size());
    for (size_t i = 0; i < iText.size(); ++i)
    {
        if (iText[i] == '\\' && i + 3 < iText.size() && iText[i + 1] >= '0' &&
            iText[i + 1] <= '3' && iText[i + 2] >= '0' && iText[i + 2] <= '7' &&
            iText[i + 3] >= '0' && iText[i + 3] <= '7')
        {
            text += static_cast<char>((iText[i + 1] - '0') * 64 + (iText[i + 2] - '0') * 8 +
                                      (iText[i + 3] - '0'));
            i += 3;
        }
        else
            text += iText[i];
    }
    return text;
}

bool IsPathPrefix(const std::string& iPrefix, const std::string& iPath)
{
    if (iPrefix == "/")
        return !iPath.empty() && iPath[0] == '/';
    return iPath.compare(0, iPrefix.size(), iPrefix) == 0 &&
           (iPath.size() == iPrefix.size() || iPath[iPrefix.size()] == '/');
}

std::string ReadTextFile(const std::string& iPath)
{
    std::ifstream in(iPath);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

struct TableState
{
    std::mutex mMutex;
    std::shared_ptr<const Sys_VolumePosix::MountTable> mTable;
    bool mInjected = false;
    int mPollFD = -1;
};

TableState& State()
{
    static TableState* sStateP = new TableState; // lives to the end: used from destructors
    return *sStateP;
}

std::shared_ptr<const Sys_VolumePosix::MountTable> ReadSystemTable()
{
    auto table = std::make_shared<Sys_VolumePosix::MountTable>(
        Sys_VolumePosix::ParseMountInfo(ReadTextFile(cMountInfoPath)));
    Sys_VolumePosix::AssignIDs(*table, cUUIDFolder);
    return table;
}

// ---- the implementation object ---------------------------------------------------------------

class VolumeImpl : public Sys_VolumeImpl
{
public:
    VolumeImpl(uint32_t iID, const std::string& iName) : Sys_VolumeImpl(iID, iName) {}

    bool IsMounted() const override { return Find(nullptr) != nullptr; }
    std::string GetMountPoint() const override
    {
        std::shared_ptr<const Sys_VolumePosix::MountTable> table;
        const auto* entryP = Find(&table);
        return entryP ? entryP->mMountPoint : std::string();
    }
    std::string GetMountRoot() const override
    {
        std::shared_ptr<const Sys_VolumePosix::MountTable> table;
        const auto* entryP = Find(&table);
        return entryP ? entryP->mRoot : std::string();
    }
    std::string GetFileSystemName() const override
    {
        std::shared_ptr<const Sys_VolumePosix::MountTable> table;
        const auto* entryP = Find(&table);
        return entryP ? entryP->mFileSystemName : std::string();
    }
    std::string GetMountSource() const override
    {
        std::shared_ptr<const Sys_VolumePosix::MountTable> table;
        const auto* entryP = Find(&table);
        return entryP ? entryP->mSource : std::string();
    }
    Sys_Volume::EVolumeType GetVolumeType() const override
    {
        std::shared_ptr<const Sys_VolumePosix::MountTable> table;
        const auto* entryP = Find(&table);
        return entryP ? Sys_VolumePosix::VolumeTypeOf(*entryP) : Sys_Volume::eVolumeType_Unknown;
    }
    Sys_Volume::EFileSystemType GetFileSystemType() const override
    {
        std::shared_ptr<const Sys_VolumePosix::MountTable> table;
        const auto* entryP = Find(&table);
        if (!entryP)
            return Sys_Volume::eFileSystemType_Unknown;
        struct statfs info
        {
        };
        if (::statfs(entryP->mMountPoint.c_str(), &info) == 0)
            return Sys_Volume::FileSystemTypeFromMagic(static_cast<int64_t>(info.f_type));
        return Sys_Volume::FileSystemTypeFromName(entryP->mFileSystemName);
    }
    int32_t GetBytesPerSector() const override
    {
        struct statfs info
        {
        };
        if (!StatFS(info))
            return 512;
        // The file-system block is a multiple of the device's logical sector, so aligning to
        // it satisfies direct I/O.
        const int64_t size = info.f_bsize;
        if (size < 512 || size > 65536 || (size & (size - 1)) != 0)
            return 512;
        return static_cast<int32_t>(size);
    }
    int32_t GetMinimumAllocationSize() const override
    {
        struct statfs info
        {
        };
        if (!StatFS(info))
            return 0;
        const int64_t size = info.f_frsize ? info.f_frsize : info.f_bsize;
        return size > 0 && size <= INT32_MAX ? static_cast<int32_t>(size) : 0;
    }
    int32_t GetMaxFileNameComponentLength() const override
    {
        struct statfs info
        {
        };
        if (!StatFS(info) || info.f_namelen <= 0 || info.f_namelen > 4096)
            return 255;
        return static_cast<int32_t>(info.f_namelen);
    }
    int16_t GetVRefNum() const override
    {
        std::shared_ptr<const Sys_VolumePosix::MountTable> table;
        const auto* entryP = Find(&table);
        if (!entryP)
            return 0;
        const int64_t index = entryP - table->data();
        return index < 32767 ? static_cast<int16_t>(-(index + 1)) : 0;
    }
    bool GetAttr(Sys_VolumeAttr* oAttr) const override
    {
        std::shared_ptr<const Sys_VolumePosix::MountTable> table;
        const auto* entryP = Find(&table);
        struct statvfs info
        {
        };
        if (!entryP || ::statvfs(entryP->mMountPoint.c_str(), &info) != 0)
            return false;
        const int64_t unit = info.f_frsize ? int64_t(info.f_frsize) : int64_t(info.f_bsize);
        const int64_t freeSpace = entryP->mFreeSpaceOverride >= 0 ? entryP->mFreeSpaceOverride
                                                                  : int64_t(info.f_bavail) * unit;
        *oAttr = Sys_VolumeAttr(entryP->mMountPoint, int64_t(info.f_blocks) * unit, freeSpace,
                                entryP->mMountPoint == "/");
        return true;
    }
    bool IsLocked() const override
    {
        std::shared_ptr<const Sys_VolumePosix::MountTable> table;
        const auto* entryP = Find(&table);
        return entryP && entryP->mReadOnly;
    }
    bool CanBeUnmounted() const override
    {
        std::shared_ptr<const Sys_VolumePosix::MountTable> table;
        const auto* entryP = Find(&table);
        return entryP && entryP->mMountPoint != "/" &&
               !Sys_VolumePosix::IsPseudoFileSystem(entryP->mFileSystemName);
    }
    void Unmount() const override
    {
        std::shared_ptr<const Sys_VolumePosix::MountTable> table;
        const auto* entryP = Find(&table);
        if (!entryP)
            L10N_Throw(1, 1);
        if (entryP->mMountPoint == "/")
            L10N_Throw(2, 87);
        if (::umount2(entryP->mMountPoint.c_str(), 0) != 0)
            Sys_ThrowIfOSErr(errno, entryP->mMountPoint);
        Sys_VolumePosix::Rescan();
    }

private:
    // The entry of this volume in the current table (kept alive through ioTableP).
    const Sys_VolumePosix::MountEntry*
    Find(std::shared_ptr<const Sys_VolumePosix::MountTable>* ioTableP) const
    {
        if (GetID() == 0)
            return nullptr;
        std::shared_ptr<const Sys_VolumePosix::MountTable> local;
        auto& table = ioTableP ? *ioTableP : local;
        table = Sys_VolumePosix::GetMountTable();
        return Sys_VolumePosix::FindEntryForID(*table, GetID());
    }
    bool StatFS(struct statfs& oInfo) const
    {
        std::shared_ptr<const Sys_VolumePosix::MountTable> table;
        const auto* entryP = Find(&table);
        return entryP && ::statfs(entryP->mMountPoint.c_str(), &oInfo) == 0;
    }
};

Sys_VolumeImpl* IDCreate(uint32_t iID, const std::string& iName)
{
    return new VolumeImpl(iID, iName);
}

Sys_VolumeImpl* VRefNumCreate(int16_t iVRefNum)
{
    const auto table = Sys_VolumePosix::GetMountTable();
    const int32_t index = -int32_t(iVRefNum) - 1;
    if (index < 0 || index >= int32_t(table->size()))
        return new VolumeImpl(0, std::string());
    const auto& entry = (*table)[size_t(index)];
    return new VolumeImpl(entry.mID, entry.mMountPoint);
}

Sys_VolumeImpl* NameCreate(const std::string& iName)
{
    std::string path = iName;
    if (path.empty())
        return new VolumeImpl(0, std::string());
    if (path[0] != '/')
    {
        char cwd[PATH_MAX];
        if (::getcwd(cwd, sizeof cwd))
            path = std::string(cwd) + "/" + path;
        else
            path = "/" + path;
    }
    const auto table = Sys_VolumePosix::GetMountTable();
    const auto* entryP = Sys_VolumePosix::FindEntryForPath(*table, path);
    if (!entryP)
        return new VolumeImpl(0, iName);
    return new VolumeImpl(entryP->mID, entryP->mMountPoint);
}

std::vector<Sys_Volume> GetMounted(int32_t iVolumeTypeMask)
{
    const auto table = Sys_VolumePosix::GetMountTable();
    std::vector<Sys_Volume> volumes;
    std::vector<uint32_t> seen;
    for (const auto& entry : *table)
    {
        if (Sys_VolumePosix::IsPseudoFileSystem(entry.mFileSystemName))
            continue;
        if ((Sys_VolumePosix::VolumeTypeOf(entry) & iVolumeTypeMask) == 0)
            continue;
        bool known = false;
        for (uint32_t id : seen)
            known = known || id == entry.mID;
        if (known)
            continue;
        seen.push_back(entry.mID);
        volumes.emplace_back(new VolumeImpl(entry.mID, entry.mMountPoint));
    }
    return volumes;
}
} // namespace

Sys_VolumePosix::MountTable Sys_VolumePosix::ParseMountInfo(const std::string& iText)
{
    MountTable table;
    std::istringstream lines(iText);
    std::string line;
    while (std::getline(lines, line))
    {
        std::istringstream fields(line);
        std::vector<std::string> parts;
        std::string part;
        while (fields >> part)
            parts.push_back(part);
        // id parent major:minor root mountpoint options [optional...] - type source superopts
        size_t dash = 6;
        while (dash < parts.size() && parts[dash] != "-")
            ++dash;
        if (parts.size() < 7 || dash + 2 >= parts.size())
            continue;
        MountEntry entry;
        const std::string& device = parts[2];
        const size_t colon = device.find(':');
        if (colon == std::string::npos)
            continue;
        entry.mDevMajor = uint32_t(std::strtoul(device.c_str(), nullptr, 10));
        entry.mDevMinor = uint32_t(std::strtoul(device.c_str() + colon + 1, nullptr, 10));
        entry.mRoot = DecodeOctal(parts[3]);
        entry.mMountPoint = DecodeOctal(parts[4]);
        if (entry.mMountPoint.empty() || entry.mMountPoint[0] != '/')
            continue;
        if (entry.mMountPoint.size() > 1 && entry.mMountPoint.back() == '/')
            entry.mMountPoint.pop_back();
        const std::string options = "," + parts[5] + ",";
        entry.mReadOnly = options.find(",ro,") != std::string::npos;
        entry.mFileSystemName = DecodeOctal(parts[dash + 1]);
        entry.mSource = DecodeOctal(parts[dash + 2]);
        // A later mount at the same point hides the earlier one.
        for (auto it = table.begin(); it != table.end();)
            it = it->mMountPoint == entry.mMountPoint ? table.erase(it) : it + 1;
        table.push_back(entry);
    }
    return table;
}

uint32_t Sys_VolumePosix::IDFromUUID(const std::string& iUUID)
{
    std::string text;
    for (char c : iUUID)
        if (c != '-')
            text += static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return Hash32("uuid:" + text);
}

void Sys_VolumePosix::AssignIDs(MountTable& ioTable, const std::string& iUUIDFolder)
{
    struct Known
    {
        uint32_t mMajor, mMinor;
        std::string mUUID;
    };
    std::vector<Known> uuids;
    if (DIR* dirP = ::opendir(iUUIDFolder.c_str()))
    {
        while (const dirent* entryP = ::readdir(dirP))
        {
            const std::string name = entryP->d_name;
            if (name == "." || name == "..")
                continue;
            struct stat info
            {
            };
            if (::stat((iUUIDFolder + "/" + name).c_str(), &info) == 0 && S_ISBLK(info.st_mode))
                uuids.push_back({major(info.st_rdev), minor(info.st_rdev), name});
        }
        ::closedir(dirP);
    }
    for (auto& entry : ioTable)
    {
        entry.mID = 0;
        for (const auto& known : uuids)
            if (known.mMajor == entry.mDevMajor && known.mMinor == entry.mDevMinor)
                entry.mID = IDFromUUID(known.mUUID);
        if (entry.mID != 0)
            continue;
        struct statfs info
        {
        };
        if (::statfs(entry.mMountPoint.c_str(), &info) == 0)
        {
            uint32_t words[2];
            static_assert(sizeof(words) == sizeof(info.f_fsid));
            std::memcpy(words, &info.f_fsid, sizeof(words));
            if (words[0] != 0 || words[1] != 0)
            {
                entry.mID = Hash32("fsid:" + std::to_string(words[0]) + ":" +
                                   std::to_string(words[1]) + ":" + entry.mFileSystemName);
                continue;
            }
        }
        entry.mID = Hash32("dev:" + entry.mFileSystemName + ":" + entry.mSource + ":" +
                           std::to_string(entry.mDevMajor) + ":" + std::to_string(entry.mDevMinor));
    }
}

std::shared_ptr<const Sys_VolumePosix::MountTable> Sys_VolumePosix::GetMountTable()
{
    TableState& state = State();
    std::lock_guard<std::mutex> lock(state.mMutex);
    if (state.mInjected)
        return state.mTable;
    bool stale = !state.mTable;
    if (state.mPollFD < 0)
    {
        state.mPollFD = ::open(cMountInfoPath, O_RDONLY | O_CLOEXEC);
        stale = true;
    }
    if (!stale && state.mPollFD >= 0)
    {
        pollfd request{state.mPollFD, POLLPRI, 0};
        stale = ::poll(&request, 1, 0) > 0 && (request.revents & (POLLPRI | POLLERR)) != 0;
    }
    if (stale)
        state.mTable = ReadSystemTable();
    return state.mTable;
}

void Sys_VolumePosix::Rescan()
{
    TableState& state = State();
    std::lock_guard<std::mutex> lock(state.mMutex);
    if (!state.mInjected)
        state.mTable = ReadSystemTable();
}

void Sys_VolumePosix::SetMountTable(const MountTable& iTable)
{
    TableState& state = State();
    std::lock_guard<std::mutex> lock(state.mMutex);
    state.mTable = std::make_shared<const MountTable>(iTable);
    state.mInjected = true;
}

void Sys_VolumePosix::ClearMountTable()
{
    TableState& state = State();
    std::lock_guard<std::mutex> lock(state.mMutex);
    state.mInjected = false;
    state.mTable.reset();
}

const Sys_VolumePosix::MountEntry* Sys_VolumePosix::FindEntryForPath(const MountTable& iTable,
                                                                     const std::string& iPath)
{
    const MountEntry* bestP = nullptr;
    for (const auto& entry : iTable)
        if (IsPathPrefix(entry.mMountPoint, iPath) &&
            (!bestP || entry.mMountPoint.size() >= bestP->mMountPoint.size()))
            bestP = &entry;
    return bestP;
}

const Sys_VolumePosix::MountEntry*
Sys_VolumePosix::FindEntryForID(const MountTable& iTable, uint32_t iID, const std::string& iFSPath)
{
    const MountEntry* bestP = nullptr;
    const MountEntry* anyP = nullptr;
    for (const auto& entry : iTable)
    {
        if (entry.mID != iID)
            continue;
        if (!anyP)
            anyP = &entry;
        if (IsPathPrefix(entry.mRoot, iFSPath) &&
            (!bestP || entry.mRoot.size() > bestP->mRoot.size()))
            bestP = &entry;
    }
    return iFSPath == "/" && !bestP ? anyP : bestP;
}

bool Sys_VolumePosix::IsPseudoFileSystem(const std::string& iName)
{
    static const char* const cPseudo[] = {
        "proc",     "sysfs",    "cgroup",    "cgroup2",    "devpts",      "devtmpfs",
        "mqueue",   "debugfs",  "tracefs",   "securityfs", "pstore",      "bpf",
        "configfs", "fusectl",  "hugetlbfs", "autofs",     "binfmt_misc", "rpc_pipefs",
        "nsfs",     "efivarfs", "selinuxfs", "nfsd",       "ramfs",       "devfs"};
    for (const char* name : cPseudo)
        if (iName == name)
            return true;
    return false;
}

Sys_Volume::EVolumeType Sys_VolumePosix::VolumeTypeOf(const MountEntry& iEntry)
{
    static const char* const cNetwork[] = {"nfs",       "nfs4",       "cifs",       "smb3", "smbfs",
                                           "sshfs",     "fuse.sshfs", "afs",        "9p",   "ceph",
                                           "glusterfs", "davfs",      "fuse.rclone"};
    const std::string& name = iEntry.mFileSystemName;
    for (const char* network : cNetwork)
        if (name == network)
            return Sys_Volume::eVolumeType_Network;
    if (name == "iso9660" || name == "udf")
        return Sys_Volume::eVolumeType_CDROM;
    if (name == "tmpfs")
        return Sys_Volume::eVolumeType_RAMDisk;
    if (iEntry.mDevMajor != 0)
    {
        const std::string device = "/sys/dev/block/" + std::to_string(iEntry.mDevMajor) + ":" +
                                   std::to_string(iEntry.mDevMinor);
        std::string removable = ReadTextFile(device + "/removable");
        if (removable.empty())
            removable = ReadTextFile(device + "/../removable");
        if (!removable.empty() && removable[0] == '1')
            return Sys_Volume::eVolumeType_Removable;
    }
    return Sys_Volume::eVolumeType_Fixed;
}

void Sys_VolumePosix::SetPlatformDependentMethods()
{
    Sys_Volume::CreateMethods methods;
    methods.mIDCreate = &IDCreate;
    methods.mVRefNumCreate = &VRefNumCreate;
    methods.mNameCreate = &NameCreate;
    methods.mGetMountedVolumes = &GetMounted;
    methods.mRescanVolumes = &Rescan;
    Sys_Volume::SetCreateMethods(methods);
}
