#include "Sys_Volume.h"

#include <algorithm>
#include <cctype>
#include <mutex>
#include <ostream>

#include "Cmn_Assert.h"
#include "L10N_Utils.h"
#include "Sys_Platform.h"

namespace
{
std::mutex sHookMutex;
Sys_Volume::CreateMethods sMethods;

Sys_Volume::CreateMethods Methods()
{
    static std::once_flag sOnce;
    std::call_once(sOnce,
                   []
                   {
                       bool unset = false;
                       {
                           std::lock_guard<std::mutex> lock(sHookMutex);
                           unset = !sMethods.mIDCreate;
                       }
                       if (unset)
                           Sys_SetPlatformDependentMethods();
                   });
    std::lock_guard<std::mutex> lock(sHookMutex);
    return sMethods;
}

constexpr const char* cAlphabet =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789#!";
} // namespace

void Sys_Volume::SetCreateMethods(const CreateMethods& iMethods)
{
    CMN_ASSERT(iMethods.mIDCreate && iMethods.mVRefNumCreate && iMethods.mNameCreate &&
               iMethods.mGetMountedVolumes && iMethods.mRescanVolumes);
    std::lock_guard<std::mutex> lock(sHookMutex);
    sMethods = iMethods;
}

void Sys_Volume::ImplHack::AddReference(Sys_VolumeImpl* iP)
{
    iP->AddReference();
}

void Sys_Volume::ImplHack::RemoveReference(Sys_VolumeImpl* iP)
{
    iP->RemoveReference();
}

Sys_Volume::Sys_Volume() : Sys_Volume(Methods().mIDCreate(0, std::string())) {}

Sys_Volume::Sys_Volume(uint32_t iID, const std::string& iName)
    : Sys_Volume(Methods().mIDCreate(iID, iName))
{
}

Sys_Volume::Sys_Volume(int16_t iVRefNum) : Sys_Volume(Methods().mVRefNumCreate(iVRefNum)) {}

Sys_Volume::Sys_Volume(const std::string& iName) : Sys_Volume(Methods().mNameCreate(iName)) {}

Sys_Volume::Sys_Volume(Sys_VolumeImpl* iImplP) : mImpl(iImplP)
{
    CMN_ASSERT(mImpl);
}

uint32_t Sys_Volume::GetID() const
{
    return mImpl->GetID();
}

std::string Sys_Volume::GetCachedName() const
{
    const std::string mountPoint = mImpl->GetMountPoint();
    return mountPoint.empty() ? mImpl->GetName() : mountPoint;
}

std::string Sys_Volume::GetEncodedName() const
{
    // The name's bytes as one bit string, 6 bits a letter, the last letter padded with 0s.
    const std::string name = GetCachedName();
    std::string text;
    uint32_t bits = 0;
    int32_t count = 0;
    for (unsigned char c : name)
    {
        bits = (bits << 8) | c;
        count += 8;
        while (count >= 6)
        {
            count -= 6;
            text += cAlphabet[(bits >> count) & 63];
        }
        bits &= (1u << count) - 1;
    }
    if (count > 0)
        text += cAlphabet[(bits << (6 - count)) & 63];
    return text;
}

Sys_Volume::EVolumeType Sys_Volume::GetVolumeType() const
{
    return mImpl->GetVolumeType();
}

Sys_Volume::EFileSystemType Sys_Volume::GetFileSystemType() const
{
    return mImpl->GetFileSystemType();
}

int32_t Sys_Volume::GetBytesPerSector() const
{
    return mImpl->GetBytesPerSector();
}

int32_t Sys_Volume::GetMinimumAllocationSize() const
{
    return mImpl->GetMinimumAllocationSize();
}

int32_t Sys_Volume::GetMaxFileNameComponentLength() const
{
    return mImpl->GetMaxFileNameComponentLength();
}

int16_t Sys_Volume::GetVRefNum() const
{
    return mImpl->GetVRefNum();
}

bool Sys_Volume::GetAttr(Sys_VolumeAttr* oAttr) const
{
    CMN_ASSERT(oAttr);
    return mImpl->GetAttr(oAttr);
}

bool Sys_Volume::IsMounted() const
{
    return mImpl->IsMounted();
}

bool Sys_Volume::IsLocked() const
{
    return mImpl->IsLocked();
}

bool Sys_Volume::CanBeUnmounted() const
{
    return mImpl->CanBeUnmounted();
}

void Sys_Volume::Unmount() const
{
    mImpl->Unmount();
}

std::string Sys_Volume::GetMountPoint() const
{
    return mImpl->GetMountPoint();
}

std::string Sys_Volume::GetMountRoot() const
{
    return mImpl->GetMountRoot();
}

std::string Sys_Volume::GetFileSystemName() const
{
    return mImpl->GetFileSystemName();
}

std::string Sys_Volume::GetMountSource() const
{
    return mImpl->GetMountSource();
}

std::vector<Sys_Volume> Sys_Volume::GetMountedVolumes(int32_t iVolumeTypeMask)
{
    return Methods().mGetMountedVolumes(iVolumeTypeMask);
}

void Sys_Volume::RescanVolumes()
{
    Methods().mRescanVolumes();
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

Sys_Volume::EFileSystemType Sys_Volume::FileSystemTypeFromName(const std::string& iName)
{
    std::string name = iName;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (name.empty())
        return eFileSystemType_Unknown;
    if (name == "vfat" || name == "msdos" || name == "exfat" || name == "fat" || name == "fat32" ||
        name == "umsdos")
        return eFileSystemType_FAT;
    if (name == "ntfs" || name == "ntfs3" || name == "fuse.ntfs-3g")
        return eFileSystemType_NTFS;
    if (name == "iso9660" || name == "udf" || name == "cdfs")
        return eFileSystemType_CDFS;
    if (name == "orsafs")
        return eFileSystemType_OrsaFS;
    return eFileSystemType_Other;
}

void Sys_VolumeAttr::Print(std::ostream& ioStream) const
{
    ioStream << L10N_Utils::GetText(2, 8, {mName}) << '\n'
             << L10N_Utils::GetText(2, 33, {std::to_string(mSize)}) << '\n'
             << L10N_Utils::GetText(2, 34, {std::to_string(mFreeSpace)}) << '\n';
}
