#include "Sys_RelativeFileLoc.h"

#include "L10N_ExceptionData.h"

namespace
{
std::vector<std::string> Split(const std::string& iPath, char iSeparator)
{
    std::vector<std::string> parts;
    size_t pos = 0;
    while (pos < iPath.size())
    {
        size_t end = iPath.find(iSeparator, pos);
        if (end == std::string::npos)
            end = iPath.size();
        if (end > pos)
            parts.push_back(iPath.substr(pos, end - pos));
        pos = end + 1;
    }
    return parts;
}

void CheckComponents(const std::vector<std::string>& iComponents)
{
    for (const std::string& component : iComponents)
        if (component.empty() || component.find('/') != std::string::npos ||
            component.find('\0') != std::string::npos)
            L10N_Throw(3, 1);
}
} // namespace

Sys_RelativeFileLoc::Sys_RelativeFileLoc(const Sys_FileLoc& iBase, const Sys_FileLoc& iLoc)
{
    const std::string& base = iBase.GetFullPath();
    const std::string& path = iLoc.GetFullPath();
    if (base.empty() || path.empty() || (base[0] == '/') != (path[0] == '/'))
        L10N_Throw(3, 1);
    const std::vector<std::string> from = Split(base, '/');
    const std::vector<std::string> to = Split(path, '/');
    size_t common = 0;
    while (common < from.size() && common < to.size() && from[common] == to[common])
        ++common;
    for (size_t i = common; i < from.size(); ++i)
        mComponents.push_back("..");
    mComponents.insert(mComponents.end(), to.begin() + std::ptrdiff_t(common), to.end());
}

Sys_RelativeFileLoc::Sys_RelativeFileLoc(const std::vector<std::string>& iComponents)
    : mComponents(iComponents)
{
    CheckComponents(mComponents);
}

Sys_FileLoc Sys_RelativeFileLoc::GetFileLoc(const Sys_FileLoc& iBase) const
{
    if (iBase.IsEmpty())
        L10N_Throw(3, 1);
    Sys_FileLoc loc = iBase;
    for (const std::string& component : mComponents)
    {
        if (component == "..")
        {
            Sys_FileLoc parent = loc.GetParentFolder();
            if (parent.IsEmpty())
                L10N_Throw(3, 1);
            loc = parent;
        }
        else if (component != ".")
            loc = Sys_FileLoc(loc, component);
    }
    return loc;
}

std::string Sys_RelativeFileLoc::ToString() const
{
    std::string text;
    for (size_t i = 0; i < mComponents.size(); ++i)
        text += (i ? ":" : "") + mComponents[i];
    return text;
}

Sys_RelativeFileLoc Sys_RelativeFileLoc::FromString(const std::string& iText)
{
    return Sys_RelativeFileLoc(Split(iText, ':'));
}
