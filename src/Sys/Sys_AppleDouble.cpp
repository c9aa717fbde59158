#include "Sys_AppleDouble.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Sys_AtomicOutput.h"
#include "Sys_File.h"
#include "Sys_OSErrData.h"

namespace
{
uint32_t Get32(const uint8_t* iP)
{
    return (uint32_t(iP[0]) << 24) | (uint32_t(iP[1]) << 16) | (uint32_t(iP[2]) << 8) | iP[3];
}

void Put32(uint8_t* oP, uint32_t iValue)
{
    oP[0] = uint8_t(iValue >> 24);
    oP[1] = uint8_t(iValue >> 16);
    oP[2] = uint8_t(iValue >> 8);
    oP[3] = uint8_t(iValue);
}

bool HasMagic(const uint8_t* iHeaderP)
{
    const uint32_t magic = Get32(iHeaderP);
    return magic == Sys_AppleDouble::cMagic || magic == Sys_AppleDouble::cSingleMagic;
}
} // namespace

void Sys_AppleDouble::Contents::SetTypeAndCreator(uint32_t iType, uint32_t iCreator)
{
    mHasFinderInfo = true;
    Put32(mFinderInfo.data(), iType);
    Put32(mFinderInfo.data() + 4, iCreator);
}

uint32_t Sys_AppleDouble::Contents::GetType() const
{
    return Get32(mFinderInfo.data());
}

uint32_t Sys_AppleDouble::Contents::GetCreator() const
{
    return Get32(mFinderInfo.data() + 4);
}

size_t Sys_AppleDouble::HeadSize(const uint8_t* iHeaderP, int64_t iImageSize)
{
    const int64_t count = (int64_t(iHeaderP[24]) << 8) | iHeaderP[25];
    return size_t(std::clamp<int64_t>(cHeaderSize + cEntrySize * count, 0, iImageSize));
}

bool Sys_AppleDouble::ParseEntries(const uint8_t* iHeadP, size_t iHeadSize, int64_t iImageSize,
                                   std::vector<Entry>* oEntriesP)
{
    oEntriesP->clear();
    if (iHeadSize < size_t(cHeaderSize) || iImageSize < cHeaderSize || !HasMagic(iHeadP))
        return false;
    const int64_t count = (int64_t(iHeadP[24]) << 8) | iHeadP[25];
    const int64_t held = (int64_t(std::min<int64_t>(int64_t(iHeadSize), iImageSize)) -
                          cHeaderSize) / cEntrySize;
    for (int64_t i = 0; i < std::min(count, held); ++i)
    {
        const uint8_t* descriptor = iHeadP + cHeaderSize + cEntrySize * i;
        const int64_t offset = Get32(descriptor + 4);
        const int64_t length = Get32(descriptor + 8);
        if (offset > iImageSize)
            continue;
        oEntriesP->push_back(
            {Get32(descriptor), uint32_t(offset), uint32_t(std::min(length, iImageSize - offset))});
    }
    return true;
}

bool Sys_AppleDouble::Parse(const uint8_t* iImageP, size_t iImageSize, Contents* oContentsP)
{
    *oContentsP = Contents();
    std::vector<Entry> entries;
    if (iImageSize < size_t(cHeaderSize) ||
        !ParseEntries(iImageP, HeadSize(iImageP, int64_t(iImageSize)), int64_t(iImageSize),
                      &entries))
        return false;
    for (const Entry& entry : entries)
    {
        const uint8_t* data = iImageP + entry.mOffset;
        if (entry.mID == cEntry_FinderInfo && !oContentsP->mHasFinderInfo)
        {
            oContentsP->mHasFinderInfo = true;
            std::memcpy(oContentsP->mFinderInfo.data(), data,
                        std::min<size_t>(entry.mLength, cFinderInfoSize));
        }
        else if (entry.mID == cEntry_ResourceFork && !oContentsP->mHasResourceFork)
        {
            oContentsP->mHasResourceFork = true;
            oContentsP->mResourceFork.assign(data, data + entry.mLength);
        }
    }
    return true;
}

std::vector<uint8_t> Sys_AppleDouble::Build(const Contents& iContents)
{
    const int32_t count = int32_t(iContents.mHasFinderInfo) + int32_t(iContents.mHasResourceFork);
    std::vector<uint8_t> image(size_t(cHeaderSize + cEntrySize * count), 0);
    Put32(image.data(), cMagic);
    Put32(image.data() + 4, cVersion);
    image[25] = uint8_t(count);
    uint8_t* descriptor = image.data() + cHeaderSize;
    auto add = [&](uint32_t iID, const uint8_t* iDataP, size_t iSize)
    {
        Put32(descriptor, iID);
        Put32(descriptor + 4, uint32_t(image.size()));
        Put32(descriptor + 8, uint32_t(iSize));
        descriptor += cEntrySize;
        const size_t at = size_t(descriptor - image.data());
        image.insert(image.end(), iDataP, iDataP + iSize);
        descriptor = image.data() + at; // the insert may have moved the image
    };
    if (iContents.mHasFinderInfo)
        add(cEntry_FinderInfo, iContents.mFinderInfo.data(), iContents.mFinderInfo.size());
    if (iContents.mHasResourceFork)
        add(cEntry_ResourceFork, iContents.mResourceFork.data(), iContents.mResourceFork.size());
    return image;
}

bool Sys_AppleDouble::IsSidecarName(const std::string& iName)
{
    return iName.size() > 2 && iName.compare(0, 2, "._") == 0;
}

Sys_FileLoc Sys_AppleDouble::SidecarOf(const Sys_FileLoc& iFile)
{
    const std::string name = iFile.GetName();
    if (name.empty() || IsSidecarName(name))
        return Sys_FileLoc();
    const Sys_FileLoc parent = iFile.GetParentFolder();
    if (parent.IsEmpty())
        return Sys_FileLoc("._" + name);
    return Sys_FileLoc(parent, "._" + name);
}

bool Sys_AppleDouble::ReadEntries(const Sys_FileLoc& iFile, std::vector<Entry>* oEntriesP)
{
    oEntriesP->clear();
    const Sys_FileLoc sidecar = SidecarOf(iFile);
    if (sidecar.IsEmpty())
        return false;
    const int fd =
        ::open(Sys_AtomicOutput::Redirect(sidecar).GetFullPath().c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat info
    {
    };
    bool parsed = false;
    uint8_t header[cHeaderSize];
    if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) &&
        ::pread(fd, header, sizeof header, 0) == ssize_t(sizeof header))
    {
        std::vector<uint8_t> head(HeadSize(header, info.st_size));
        parsed = ::pread(fd, head.data(), head.size(), 0) == ssize_t(head.size()) &&
                 ParseEntries(head.data(), head.size(), info.st_size, oEntriesP);
    }
    ::close(fd);
    return parsed;
}

bool Sys_AppleDouble::FindEntry(const Sys_FileLoc& iFile, uint32_t iID, Entry* oEntryP)
{
    std::vector<Entry> entries;
    if (!ReadEntries(iFile, &entries))
        return false;
    for (const Entry& entry : entries)
        if (entry.mID == iID)
        {
            *oEntryP = entry;
            return true;
        }
    return false;
}

bool Sys_AppleDouble::Read(const Sys_FileLoc& iFile, Contents* oContentsP)
{
    *oContentsP = Contents();
    const Sys_FileLoc sidecar = SidecarOf(iFile);
    struct stat info
    {
    };
    if (sidecar.IsEmpty() ||
        ::stat(Sys_AtomicOutput::Redirect(sidecar).GetFullPath().c_str(), &info) != 0 ||
        !S_ISREG(info.st_mode) || info.st_size > cMaxSidecarSize)
        return false;
    Sys_File file(sidecar);
    file.Open(Sys_File::eOpen_ForRead | Sys_File::eOpen_Existing);
    std::vector<uint8_t> image(size_t(file.GetEOF()));
    const int64_t got = file.Read(image.data(), int64_t(image.size()));
    file.Close();
    image.resize(size_t(std::max<int64_t>(got, 0)));
    return Parse(image.data(), image.size(), oContentsP);
}

void Sys_AppleDouble::Write(const Sys_FileLoc& iFile, const Contents& iContents)
{
    const Sys_FileLoc sidecar = SidecarOf(iFile);
    if (sidecar.IsEmpty())
        Sys_ThrowIfOSErr(EINVAL, iFile.GetFullPath());
    const std::vector<uint8_t> image = Build(iContents);
    auto put = [&]
    {
        Sys_File file(sidecar);
        file.Open(Sys_File::eOpen_Create);
        // Header and descriptors first, then the entries: two writes, either may fail.
        const int64_t head = cHeaderSize + cEntrySize * int64_t(image[25]);
        if (file.Write(image.data(), head) != head ||
            file.Write(image.data() + head, int64_t(image.size()) - head) !=
                int64_t(image.size()) - head)
            Sys_ThrowIfOSErr(EIO, sidecar.GetFullPath());
        file.Close();
    };
    if (Sys_AtomicOutput::Redirect(iFile) != iFile)
    {
        // The file is being written under a temporary name: its sidecar goes beside that
        // name (Sys_AtomicOutput redirects it) and is published with the file.
        put();
        return;
    }
    Sys_StAtomicOutput output(sidecar, true);
    put();
    output.Commit();
}
