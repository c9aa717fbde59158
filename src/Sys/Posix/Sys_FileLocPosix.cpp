#include "Sys_FileLocPosix.h"

#include <cctype>
#include <climits>
#include <unistd.h>

#include "Cmn_Assert.h"
#include "Sys_Volume.h"

namespace
{
bool EndsWithNoCase(const std::string& iText, const std::string& iEnd)
{
    if (iEnd.size() > iText.size())
        return false;
    for (size_t i = 0; i < iEnd.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(iText[iText.size() - iEnd.size() + i])) !=
            std::tolower(static_cast<unsigned char>(iEnd[i])))
            return false;
    return true;
}

// The path below iMountPoint ("" for the mount point itself), for a canonical absolute path.
std::string BelowMountPoint(const std::string& iPath, const std::string& iMountPoint)
{
    if (iMountPoint.empty() || iMountPoint == "/")
        return iPath == "/" ? std::string() : iPath.substr(1);
    if (iPath.size() <= iMountPoint.size())
        return std::string();
    return iPath.substr(iMountPoint.size() + 1);
}
} // namespace

Sys_FileLocPosix::Sys_FileLocPosix(const std::string& iPath, int32_t iFolderHint)
    : mFolderHint(iFolderHint)
{
    if (!CanonicalizePath(iPath, &mPath))
        mPath.clear();
    CacheValues();
}

bool Sys_FileLocPosix::CanonicalizePath(const std::string& iPath, std::string* oPath)
{
    CMN_ASSERT(oPath);
    oPath->clear();
    if (iPath.empty() || iPath.find('\0') != std::string::npos)
        return false;
    std::string path;
    path.reserve(iPath.size());
    const bool absolute = iPath[0] == '/';
    size_t pos = 0;
    while (pos <= iPath.size())
    {
        size_t end = iPath.find('/', pos);
        if (end == std::string::npos)
            end = iPath.size();
        const std::string part = iPath.substr(pos, end - pos);
        if (!part.empty() && part != ".")
        {
            if (!path.empty() || absolute)
                path += '/';
            path += part;
        }
        pos = end + 1;
    }
    if (path.empty())
        path = absolute ? "/" : ".";
    *oPath = path;
    return true;
}

std::string Sys_FileLocPosix::ForceCanonical(const std::string& iPath)
{
    std::string path;
    if (!CanonicalizePath(iPath, &path))
        return std::string();
    if (path[0] == '/')
        return path;
    char cwd[PATH_MAX];
    const std::string base = ::getcwd(cwd, sizeof cwd) ? std::string(cwd) : std::string("/");
    std::string full;
    CanonicalizePath(path == "." ? base : base + "/" + path, &full);
    return full;
}

void Sys_FileLocPosix::CacheValues()
{
    mName.clear();
    mExtension.clear();
    if (mPath.empty() || mPath == "/")
        return;
    const size_t slash = mPath.rfind('/');
    mName = slash == std::string::npos ? mPath : mPath.substr(slash + 1);
    const size_t dot = mName.rfind('.');
    if (dot != std::string::npos && dot != 0 && mFolderHint != 1)
        mExtension = mName.substr(dot + 1);
}

std::string Sys_FileLocPosix::GetLongFullPath() const
{
    return mPath.empty() ? mPath : ForceCanonical(mPath);
}

Sys_FileLoc Sys_FileLocPosix::GetParentFolder() const
{
    const size_t slash = mPath.rfind('/');
    if (mPath.empty() || mPath == "/" || slash == std::string::npos)
        return Sys_FileLoc();
    return Sys_FileLoc(
        new Sys_FileLocPosix(slash == 0 ? std::string("/") : mPath.substr(0, slash), 1));
}

std::vector<std::string> Sys_FileLocPosix::GetPathComponents() const
{
    std::vector<std::string> components;
    if (mPath.empty())
        return components;
    const std::string path = ForceCanonical(mPath);
    std::string mountPoint = GetVolume().GetMountPoint();
    if (mountPoint.empty())
        mountPoint = "/";
    components.push_back(mountPoint);
    const std::string below = BelowMountPoint(path, mountPoint);
    size_t pos = 0;
    while (pos < below.size())
    {
        size_t end = below.find('/', pos);
        if (end == std::string::npos)
            end = below.size();
        components.push_back(below.substr(pos, end - pos));
        pos = end + 1;
    }
    return components;
}

Sys_Volume Sys_FileLocPosix::GetVolume() const
{
    if (mPath.empty())
        return Sys_Volume();
    return Sys_Volume(ForceCanonical(mPath));
}

bool Sys_FileLocPosix::IsVolumeRoot() const
{
    if (mPath.empty())
        return false;
    return ForceCanonical(mPath) == GetVolume().GetMountPoint();
}

Sys_FileLocImpl* Sys_FileLocPosix::StandardCreate(const Sys_FileLoc& iParent,
                                                  const std::string& iName,
                                                  const Sys_FileType& iType)
{
    std::string name = iName;
    const std::string extension = iType.GetAssociatedExtension();
    if (!extension.empty())
    {
        // An extension registered with its dot is added as it stands.
        const std::string tail = extension[0] == '.' ? extension : "." + extension;
        if (!EndsWithNoCase(name, tail))
            name += tail;
    }
    const std::string& parent = iParent.GetFullPath();
    const int32_t hint = iType == Sys_FileType::cFolder    ? 1
                         : iType == Sys_FileType::cUnknown ? -1
                                                           : 0;
    return new Sys_FileLocPosix(parent.empty() ? name : parent + "/" + name, hint);
}

Sys_FileLocImpl* Sys_FileLocPosix::FullPathCreate(const std::string& iFullPath)
{
    return new Sys_FileLocPosix(iFullPath);
}

Sys_FileLocImpl* Sys_FileLocPosix::PathComponentsCreate(const std::vector<std::string>& iComponents)
{
    std::string path;
    for (const std::string& component : iComponents)
        path += path.empty() ? component : "/" + component;
    return new Sys_FileLocPosix(path);
}

Sys_FileLocImpl* Sys_FileLocPosix::VolumeRootCreate(const Sys_Volume& iVolume)
{
    std::string root = iVolume.GetMountPoint();
    if (root.empty())
        root = iVolume.GetCachedName();
    return new Sys_FileLocPosix(root, 1);
}

Sys_FileLocImpl* Sys_FileLocPosix::OtherVolumeCreate(const Sys_Volume& iVolume,
                                                     const Sys_FileLoc& iLoc)
{
    const std::string path = ForceCanonical(iLoc.GetFullPath());
    std::string fromRoot = iLoc.GetVolume().GetMountPoint();
    const std::string below = path.empty() ? std::string() : BelowMountPoint(path, fromRoot);
    std::string root = iVolume.GetMountPoint();
    if (root.empty())
        root = iVolume.GetCachedName();
    return new Sys_FileLocPosix(below.empty() ? root : root + "/" + below,
                                iLoc.GetImpl()->GetFolderHint());
}

void Sys_FileLocPosix::SetPlatformDependentMethods()
{
    Sys_FileLoc::CreateMethods methods;
    methods.mStandard = &StandardCreate;
    methods.mFullPath = &FullPathCreate;
    methods.mPathComponents = &PathComponentsCreate;
    methods.mVolumeRoot = &VolumeRootCreate;
    methods.mOtherVolume = &OtherVolumeCreate;
    methods.mFolderHint = [](const std::string& iPath, int32_t iFolderHint) -> Sys_FileLocImpl*
    { return new Sys_FileLocPosix(iPath, iFolderHint); };
    methods.mCanonicalPath = &ForceCanonical;
    Sys_FileLoc::SetCreateMethods(methods);
}
