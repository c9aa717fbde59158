#include "Sys_FileLoc.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <mutex>
#include <ostream>
#include <sys/stat.h>

#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
#include "L10N_Utils.h"
#include "Sys_Platform.h"
#include "Sys_StdStreamHeader.h"
#include "Sys_TypedStream.h"
#include "Sys_Volume.h"

namespace
{
std::mutex sHookMutex;
Sys_FileLoc::CreateMethods sMethods;

Sys_FileLoc::CreateMethods Methods()
{
    static std::once_flag sOnce;
    std::call_once(sOnce,
                   []
                   {
                       bool unset = false;
                       {
                           std::lock_guard<std::mutex> lock(sHookMutex);
                           unset = !sMethods.mFullPath;
                       }
                       if (unset)
                           Sys_SetPlatformDependentMethods();
                   });
    std::lock_guard<std::mutex> lock(sHookMutex);
    return sMethods;
}

// Splits "/a/b" into "a", "b".
std::vector<std::string> SplitPath(const std::string& iPath)
{
    std::vector<std::string> parts;
    size_t pos = 0;
    while (pos < iPath.size())
    {
        size_t end = iPath.find('/', pos);
        if (end == std::string::npos)
            end = iPath.size();
        if (end > pos)
            parts.push_back(iPath.substr(pos, end - pos));
        pos = end + 1;
    }
    return parts;
}

bool IsUsableComponent(const std::string& iComponent)
{
    return !iComponent.empty() && iComponent != "." && iComponent != ".." &&
           iComponent.find('/') == std::string::npos && iComponent.find('\0') == std::string::npos;
}

struct DirIDMap
{
    std::mutex mMutex;
    std::map<std::pair<uint32_t, uint32_t>, std::string> mFolders;
};

DirIDMap& DirIDs()
{
    static DirIDMap sMap;
    return sMap;
}

// The number of a folder (never 0), or 0 when it is no folder.
uint32_t DirIDOf(const std::string& iPath)
{
    struct stat info
    {
    };
    if (::stat(iPath.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        return 0;
    const uint32_t id = static_cast<uint32_t>(info.st_ino);
    return id == 0 ? 1 : id;
}
} // namespace

void Sys_FileLoc::SetCreateMethods(const CreateMethods& iMethods)
{
    CMN_ASSERT(iMethods.mStandard && iMethods.mFullPath && iMethods.mPathComponents &&
               iMethods.mVolumeRoot && iMethods.mOtherVolume && iMethods.mFolderHint &&
               iMethods.mCanonicalPath);
    std::lock_guard<std::mutex> lock(sHookMutex);
    sMethods = iMethods;
}

Sys_FileLoc::Sys_FileLoc() : Sys_FileLoc(Methods().mFullPath(std::string())) {}

Sys_FileLoc::Sys_FileLoc(const std::string& iFullPath) : Sys_FileLoc(Methods().mFullPath(iFullPath))
{
}

Sys_FileLoc::Sys_FileLoc(const Sys_FileLoc& iParent, const std::string& iName,
                         const Sys_FileType& iType)
    : Sys_FileLoc(Methods().mStandard(iParent, iName, iType))
{
}

Sys_FileLoc::Sys_FileLoc(const Sys_Volume& iVolume) : Sys_FileLoc(Methods().mVolumeRoot(iVolume)) {}

Sys_FileLoc::Sys_FileLoc(const Sys_Volume& iVolume, const Sys_FileLoc& iLoc)
    : Sys_FileLoc(Methods().mOtherVolume(iVolume, iLoc))
{
}

Sys_FileLoc::Sys_FileLoc(const std::vector<std::string>& iComponents)
    : Sys_FileLoc(Methods().mPathComponents(iComponents))
{
}

Sys_FileLoc::Sys_FileLoc(Sys_FileLocImpl* iImplP) : mImpl(iImplP)
{
    CMN_ASSERT(mImpl);
}

std::u16string Sys_FileLoc::GetUTF16FullPath() const
{
    // UTF-8 to UTF-16; a byte that starts no valid sequence becomes U+FFFD.
    const std::string& path = GetFullPath();
    std::u16string text;
    size_t i = 0;
    while (i < path.size())
    {
        const unsigned char c = static_cast<unsigned char>(path[i]);
        int32_t extra = c < 0x80             ? 0
                        : (c & 0xE0) == 0xC0 ? 1
                        : (c & 0xF0) == 0xE0 ? 2
                        : (c & 0xF8) == 0xF0 ? 3
                                             : -1;
        uint32_t code = extra == 0   ? c
                        : extra == 1 ? (c & 0x1F)
                        : extra == 2 ? (c & 0x0F)
                                     : (c & 0x07);
        bool ok = extra >= 0 && i + size_t(extra) < path.size();
        for (int32_t k = 1; ok && k <= extra; ++k)
        {
            const unsigned char next = static_cast<unsigned char>(path[i + size_t(k)]);
            ok = (next & 0xC0) == 0x80;
            code = (code << 6) | (next & 0x3F);
        }
        if (!ok || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        {
            text += char16_t(0xFFFD);
            ++i;
            continue;
        }
        if (code >= 0x10000)
        {
            code -= 0x10000;
            text += char16_t(0xD800 + (code >> 10));
            text += char16_t(0xDC00 + (code & 0x3FF));
        }
        else
            text += char16_t(code);
        i += size_t(extra) + 1;
    }
    return text;
}

Sys_FileLoc Sys_FileLoc::GetParentFolder() const
{
    return mImpl->GetParentFolder();
}

Sys_Volume Sys_FileLoc::GetVolume() const
{
    return mImpl->GetVolume();
}

void Sys_FileLoc::Print(std::ostream& ioStream) const
{
    ioStream << L10N_Utils::GetText(2, 7, {GetFullPath()}) << '\n'
             << L10N_Utils::GetText(2, 98, {GetLongFullPath()}) << '\n'
             << L10N_Utils::GetText(2, 8, {GetVolume().GetCachedName()}) << '\n'
             << L10N_Utils::GetText(2, 9, {GetName()}) << '\n'
             << L10N_Utils::GetText(2, 10, {GetExtension()}) << '\n'
             << L10N_Utils::GetText(2, 11) << GetParentFolder().GetFullPath() << '\n';
}

void Sys_FileLoc::StreamOut(Sys_TypedOutStream& ioStream) const
{
    Sys_StdStreamHeaderWriter header(ioStream, cStreamMagic, cStreamVersion);
    uint32_t volumeID = 0;
    std::vector<std::string> components;
    bool isFolder = false;
    if (!IsEmpty())
    {
        const int32_t hint = mImpl->GetFolderHint();
        struct stat info
        {
        };
        isFolder = hint == 1 || (hint == -1 && ::stat(GetFullPath().c_str(), &info) == 0 &&
                                 S_ISDIR(info.st_mode));
        const Sys_Volume volume = GetVolume();
        volumeID = volume.GetID();
        // Below the root of the file system, not the mount point: a bind mount of a folder
        // and a mount of the whole file system then give the same components.
        const std::vector<std::string> all = GetPathComponents();
        components = SplitPath(volume.GetMountRoot());
        components.insert(components.end(), all.begin() + (all.empty() ? 0 : 1), all.end());
    }
    ioStream.Write(isFolder);
    ioStream.Write(volumeID);
    ioStream.Write(static_cast<int32_t>(components.size()));
    for (const std::string& component : components)
        ioStream.Write(component);
    header.PatchSize();
}

void Sys_FileLoc::StreamIn(Sys_TypedInStream& ioStream)
{
    Sys_StdStreamHeaderReader header(ioStream, cStreamMagic);
    header.CheckVersion(cStreamVersion, cStreamVersion);
    const bool isFolder = ioStream.Read<bool>();
    const uint32_t volumeID = ioStream.Read<uint32_t>();
    const int32_t count = ioStream.Read<int32_t>();
    // Each component takes at least its 4-byte length.
    const int64_t left = header.GetDataEndPos() - ioStream.GetPos();
    if (count < 0 || left < 0 || int64_t(count) > left / 4)
        L10N_Throw(2, 29);
    std::vector<std::string> components;
    components.reserve(size_t(count));
    for (int32_t i = 0; i < count; ++i)
    {
        components.push_back(ioStream.Read<std::string>());
        if (ioStream.GetPos() > header.GetDataEndPos())
            L10N_Throw(2, 29);
        if (!IsUsableComponent(components.back()))
            L10N_Throw(3, 1);
    }
    header.SkipTheRest();

    if (volumeID == 0 && components.empty())
    {
        *this = Sys_FileLoc();
        return;
    }
    const Sys_Volume volume(volumeID, std::string());
    if (!volume.IsMounted())
        L10N_Throw(1, 1);
    // Take the mount root off the front; what stays lies below the mount point.
    const std::vector<std::string> root = SplitPath(volume.GetMountRoot());
    if (root.size() > components.size() ||
        !std::equal(root.begin(), root.end(), components.begin()))
        L10N_Throw(1, 1);
    std::string path = volume.GetMountPoint();
    for (size_t i = root.size(); i < components.size(); ++i)
        path += (path == "/" ? "" : "/") + components[i];
    *this = Sys_FileLoc(Methods().mFolderHint(path, isFolder ? 1 : 0));
}

uint32_t Sys_FileLoc::GetHFSDirIDFromFolder(const Sys_FileLoc& iFolder)
{
    const std::string path = Methods().mCanonicalPath(iFolder.GetFullPath());
    const uint32_t id = path.empty() ? 0 : DirIDOf(path);
    if (id == 0)
        return 0;
    DirIDMap& map = DirIDs();
    std::lock_guard<std::mutex> lock(map.mMutex);
    map.mFolders[{iFolder.GetVolume().GetID(), id}] = path;
    return id;
}

bool Sys_FileLoc::FolderFromHFSDirID(const Sys_Volume& iVolume, uint32_t iDirID,
                                     Sys_FileLoc* oFolder)
{
    CMN_ASSERT(oFolder);
    std::string path;
    {
        DirIDMap& map = DirIDs();
        std::lock_guard<std::mutex> lock(map.mMutex);
        const auto it = map.mFolders.find({iVolume.GetID(), iDirID});
        if (it == map.mFolders.end())
            return false;
        path = it->second;
    }
    // The folder may have gone, or another may have its number now.
    if (DirIDOf(path) != iDirID)
        return false;
    *oFolder = Sys_FileLoc(Methods().mFolderHint(path, 1));
    return true;
}

int32_t Sys_FileLoc::MapHFSDirIDs(const Sys_FileLoc& iFolder)
{
    if (GetHFSDirIDFromFolder(iFolder) == 0)
        return 0;
    int32_t count = 1;
    std::error_code error;
    namespace fs = std::filesystem;
    for (fs::recursive_directory_iterator
             it(iFolder.GetFullPath(), fs::directory_options::skip_permission_denied, error),
         end;
         !error && it != end; it.increment(error))
    {
        if (it->is_directory(error) && !it->is_symlink(error))
            count += GetHFSDirIDFromFolder(Sys_FileLoc(it->path().string())) != 0 ? 1 : 0;
    }
    return count;
}

Sys_TypedOutStream& operator<<(Sys_TypedOutStream& ioStream, const Sys_FileLoc& iLoc)
{
    iLoc.StreamOut(ioStream);
    return ioStream;
}

Sys_TypedInStream& operator>>(Sys_TypedInStream& ioStream, Sys_FileLoc& oLoc)
{
    oLoc.StreamIn(ioStream);
    return ioStream;
}

std::ostream& operator<<(std::ostream& ioStream, const Sys_FileLoc& iLoc)
{
    return ioStream << iLoc.GetFullPath();
}
