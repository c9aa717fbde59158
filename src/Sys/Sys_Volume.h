// The mounted volume that holds a path, as a value.
//
// A volume is named by any path on it; the queries look at the nearest existing folder of
// that path (a file that does not exist yet lies on its folder's volume). Nothing is cached:
// each query asks the system again. Any thread may use its own copies.
#pragma once

#include <cstdint>
#include <string>

class Sys_Volume
{
public:
    // The kinds of file system, in the order of the message texts 275 to 279 ("fat", "fat32",
    // "ntfs", "cdfs", "orsafs"). FAT-family volumes are the ones where a file is grown by
    // plain truncation; on every other kind fast growth (fallocate) is tried first.
    enum EFileSystemType
    {
        eFileSystemType_Unknown = 0,
        eFileSystemType_Other = 1, // native Linux and network file systems
        eFileSystemType_FAT = 3,   // "fat", "fat32" (vfat, msdos, exFAT)
        eFileSystemType_NTFS = 5,  // "ntfs"
        eFileSystemType_CDFS = 6,  // "cdfs" (ISO 9660, UDF)
        eFileSystemType_OrsaFS = 7 // "orsafs"
    };

    Sys_Volume() = default;
    explicit Sys_Volume(const std::string& iPathOnVolume);

    const std::string& GetPath() const { return mPath; }
    bool IsMounted() const;
    // The unit of unbuffered transfers: the alignment that direct I/O needs on this volume
    // (a power of two from 512 to 65,536), or 512 when the volume does not tell.
    int32_t GetBytesPerSector() const;
    EFileSystemType GetFileSystemType() const;

    // The file-system kind for a statfs magic number.
    static EFileSystemType FileSystemTypeFromMagic(int64_t iMagic);

private:
    std::string mPath;
};
