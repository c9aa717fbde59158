#include "Sys_FileLoc.h"

#include "Sys_Volume.h"

namespace
{
std::string Tidy(const std::string& iPath)
{
    std::string path;
    path.reserve(iPath.size());
    for (char c : iPath)
        if (c != '/' || path.empty() || path.back() != '/')
            path += c;
    if (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}
} // namespace

Sys_FileLoc::Sys_FileLoc(const std::string& iFullPath) : mPath(Tidy(iFullPath)) {}

Sys_FileLoc::Sys_FileLoc(const Sys_FileLoc& iParent, const std::string& iName)
    : mPath(Tidy(iParent.mPath + "/" + iName))
{
}

std::string Sys_FileLoc::GetName() const
{
    if (mPath == "/")
        return std::string();
    const size_t slash = mPath.rfind('/');
    return slash == std::string::npos ? mPath : mPath.substr(slash + 1);
}

Sys_FileLoc Sys_FileLoc::GetParentFolder() const
{
    const size_t slash = mPath.rfind('/');
    if (mPath == "/" || slash == std::string::npos)
        return Sys_FileLoc();
    return Sys_FileLoc(slash == 0 ? std::string("/") : mPath.substr(0, slash));
}

Sys_Volume Sys_FileLoc::GetVolume() const
{
    return Sys_Volume(mPath);
}
