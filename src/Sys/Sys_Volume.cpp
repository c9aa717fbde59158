#include "Sys_Volume.h"

#include <sys/statfs.h>

namespace
{
// The nearest existing folder or file of iPath and its statfs.
bool StatVolume(const std::string& iPath, struct statfs& oInfo)
{
    std::string path = iPath.empty() ? std::string(".") : iPath;
    while (::statfs(path.c_str(), &oInfo) != 0)
    {
        const size_t slash = path.rfind('/');
        if (slash == std::string::npos)
            return ::statfs(".", &oInfo) == 0;
        if (slash == 0)
            return ::statfs("/", &oInfo) == 0;
        path.resize(slash);
    }
    return true;
}
} // namespace

Sys_Volume::Sys_Volume(const std::string& iPathOnVolume) : mPath(iPathOnVolume) {}

bool Sys_Volume::IsMounted() const
{
    struct statfs info
    {
    };
    return !mPath.empty() && StatVolume(mPath, info);
}

int32_t Sys_Volume::GetBytesPerSector() const
{
    struct statfs info
    {
    };
    if (mPath.empty() || !StatVolume(mPath, info))
        return 512;
    // The file-system block is a multiple of the device's logical sector, so aligning to it
    // satisfies direct I/O.
    const int64_t size = info.f_bsize;
    if (size < 512 || size > 65536 || (size & (size - 1)) != 0)
        return 512;
    return static_cast<int32_t>(size);
}

Sys_Volume::EFileSystemType Sys_Volume::GetFileSystemType() const
{
    struct statfs info
    {
    };
    if (mPath.empty() || !StatVolume(mPath, info))
        return eFileSystemType_Unknown;
    return FileSystemTypeFromMagic(static_cast<int64_t>(info.f_type));
}

Sys_Volume::EFileSystemType Sys_Volume::FileSystemTypeFromMagic(int64_t iMagic)
{
    switch (static_cast<uint32_t>(iMagic))
    {
    case 0x4d44:     // MSDOS_SUPER_MAGIC (msdos, vfat)
    case 0x2011BAB0: // exFAT
        return eFileSystemType_FAT;
    case 0x5346544e: // NTFS_SB_MAGIC, ntfs3
        return eFileSystemType_NTFS;
    case 0x9660:     // ISOFS_SUPER_MAGIC
    case 0x15013346: // UDF_SUPER_MAGIC
        return eFileSystemType_CDFS;
    default:
        return eFileSystemType_Other;
    }
}
