// A mounted file system, as a value.
//
// Design:
//  1. A Sys_Volume holds one counted Sys_VolumeImpl (mImpl, never null: a volume built from
//     a null implementation fails the assertion "mImpl"). The default volume is invalid:
//     identifier 0, not mounted, 512 bytes per sector.
//  2. The identifier is a 32-bit number that stays the same for one file system wherever
//     and however often it is mounted: a hash of its UUID where one is known, else of the
//     statfs file-system id, else of its device, source and kind. 0 is never given to a
//     real volume. Bind mounts of one file system share the identifier.
//  3. The platform layer (Sys_VolumePosix) keeps the process-wide mount table, read from
//     /proc/self/mountinfo and re-read when the kernel reports a change or RescanVolumes is
//     called. A test may install a table of its own (Sys_VolumePosix::SetMountTable).
//  4. Queries about an unmounted volume answer false, 0 or "unknown"; none throws.
//  5. The name of a volume is its mount point ("/", "/media/disk").
// Any thread may use its own copies; the mount table is guarded by a mutex.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "Cmn_RefCountObject.h"
#include "Sys_ThreadSafeRefCountObject.h"

class Sys_VolumeAttr;
class Sys_VolumeImpl;

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

    // Kinds of volume, as bits, so that a set of kinds can be asked for.
    enum EVolumeType
    {
        eVolumeType_Unknown = 0,
        eVolumeType_Fixed = 1,
        eVolumeType_Removable = 2,
        eVolumeType_Network = 4,
        eVolumeType_CDROM = 8,
        eVolumeType_RAMDisk = 16,
        eVolumeType_All = 31
    };

    // An invalid volume.
    Sys_Volume();
    Sys_Volume(const Sys_Volume& iOther) = default;
    Sys_Volume& operator=(const Sys_Volume& iOther) = default;
    // The volume known by identifier, with the name it was last seen under (used while it
    // is not mounted).
    Sys_Volume(uint32_t iID, const std::string& iName);
    // The mounted volume of that reference number (see GetVRefNum); invalid when none.
    explicit Sys_Volume(int16_t iVRefNum);
    // The volume that holds a path (a mount point names its own volume); paths that do not
    // exist lie on the volume of their nearest mount point.
    explicit Sys_Volume(const std::string& iName);
    // Adopts iImplP; asserts "mImpl".
    explicit Sys_Volume(Sys_VolumeImpl* iImplP);

    uint32_t GetID() const;
    // The mount point when mounted, else the name the volume was made with.
    std::string GetCachedName() const;
    // The name as text of the 64-letter alphabet of Sys_Umid: each 6 bits of the name's
    // UTF-8 bytes, in order, are a letter; "" for an empty name.
    std::string GetEncodedName() const;
    EVolumeType GetVolumeType() const;
    EFileSystemType GetFileSystemType() const;
    // The unit of unbuffered transfers: the alignment that direct I/O needs on this volume
    // (a power of two from 512 to 65,536), or 512 when the volume does not tell.
    int32_t GetBytesPerSector() const;
    // The allocation block of the file system; 0 when not mounted.
    int32_t GetMinimumAllocationSize() const;
    // The longest name component the file system allows (255 when it does not tell).
    int32_t GetMaxFileNameComponentLength() const;
    // A small negative number for each mounted volume, in mount-table order; 0 when not.
    int16_t GetVRefNum() const;
    // Name, size and free space; false when not mounted.
    bool GetAttr(Sys_VolumeAttr* oAttr) const;
    bool IsMounted() const;
    // Read-only mount.
    bool IsLocked() const;
    // Not the root file system, and not a pseudo file system.
    bool CanBeUnmounted() const;
    // Asks the system to unmount; the root volume throws package 2, id 87; a refusal
    // throws through Sys_ThrowIfOSErr.
    void Unmount() const;

    // The mount point (empty when not mounted) and the path of the file system's own root
    // that is mounted there ("/" except for bind mounts of a folder).
    std::string GetMountPoint() const;
    std::string GetMountRoot() const;
    // The file-system kind as the system names it ("ext4", "vfat").
    std::string GetFileSystemName() const;
    // What is mounted, as the mount table names it ("/dev/sda1", "//server/share").
    std::string GetMountSource() const;

    // The distinct mounted volumes whose kind is in iVolumeTypeMask (pseudo file systems such
    // as proc are never listed); for a file system mounted twice, the first mount.
    static std::vector<Sys_Volume> GetMountedVolumes(int32_t iVolumeTypeMask = eVolumeType_All);
    // Reads the mount table again.
    static void RescanVolumes();

    // The file-system kind for a statfs magic number, and for a file-system name.
    static EFileSystemType FileSystemTypeFromMagic(int64_t iMagic);
    static EFileSystemType FileSystemTypeFromName(const std::string& iName);

    Sys_VolumeImpl* GetImpl() const { return mImpl.Get(); }

    // The hooks that the platform layer installs (Sys_VolumePosix::SetPlatformDependentMethods,
    // installed on first use when nobody did). All must be set.
    struct CreateMethods
    {
        Sys_VolumeImpl* (*mIDCreate)(uint32_t iID, const std::string& iName) = nullptr;
        Sys_VolumeImpl* (*mVRefNumCreate)(int16_t iVRefNum) = nullptr;
        Sys_VolumeImpl* (*mNameCreate)(const std::string& iName) = nullptr;
        std::vector<Sys_Volume> (*mGetMountedVolumes)(int32_t iVolumeTypeMask) = nullptr;
        void (*mRescanVolumes)() = nullptr;
    };
    static void SetCreateMethods(const CreateMethods& iMethods);

    // Volumes compare by identifier.
    bool operator==(const Sys_Volume& iOther) const { return GetID() == iOther.GetID(); }
    bool operator!=(const Sys_Volume& iOther) const { return GetID() != iOther.GetID(); }
    bool operator<(const Sys_Volume& iOther) const { return GetID() < iOther.GetID(); }

private:
    struct ImplHack
    {
        static void AddReference(Sys_VolumeImpl* iP);
        static void RemoveReference(Sys_VolumeImpl* iP);
    };
    Cmn_AliasedRefCountPtr<Sys_VolumeImpl, Sys_VolumeImpl*, ImplHack> mImpl;
};

// The platform's share of a volume: an identifier and the name it was made with; the
// platform class answers the queries (from its mount table, through the identifier).
class Sys_VolumeImpl : public Sys_ThreadSafeRefCountObject
{
public:
    Sys_VolumeImpl(uint32_t iID, const std::string& iName) : mID(iID), mName(iName) {}
    ~Sys_VolumeImpl() override = default;
    uint32_t GetID() const { return mID; }
    const std::string& GetName() const { return mName; }

    virtual bool IsMounted() const = 0;
    virtual std::string GetMountPoint() const = 0;
    virtual std::string GetMountRoot() const = 0;
    virtual std::string GetFileSystemName() const = 0;
    virtual std::string GetMountSource() const = 0;
    virtual Sys_Volume::EVolumeType GetVolumeType() const = 0;
    virtual Sys_Volume::EFileSystemType GetFileSystemType() const = 0;
    virtual int32_t GetBytesPerSector() const = 0;
    virtual int32_t GetMinimumAllocationSize() const = 0;
    virtual int32_t GetMaxFileNameComponentLength() const = 0;
    virtual int16_t GetVRefNum() const = 0;
    virtual bool GetAttr(Sys_VolumeAttr* oAttr) const = 0;
    virtual bool IsLocked() const = 0;
    virtual bool CanBeUnmounted() const = 0;
    virtual void Unmount() const = 0;

private:
    uint32_t mID;
    std::string mName;
};

// What Sys_Volume::GetAttr reads.
class Sys_VolumeAttr
{
public:
    Sys_VolumeAttr() = default;
    Sys_VolumeAttr(const std::string& iName, int64_t iSize, int64_t iFreeSpace, bool iIsSystem)
        : mName(iName), mSize(iSize), mFreeSpace(iFreeSpace), mIsSystemVolume(iIsSystem)
    {
    }
    const std::string& GetName() const { return mName; }
    int64_t GetSize() const { return mSize; }
    // Bytes free for an unprivileged writer.
    int64_t GetFreeSpace() const { return mFreeSpace; }
    // The volume of the root folder.
    bool IsSystemVolume() const { return mIsSystemVolume; }
    // "Volume Name: ", "Volume size: ", "Volume Free Space: " lines.
    void Print(std::ostream& ioStream) const;

private:
    std::string mName;
    int64_t mSize = 0;
    int64_t mFreeSpace = 0;
    bool mIsSystemVolume = false;
};
