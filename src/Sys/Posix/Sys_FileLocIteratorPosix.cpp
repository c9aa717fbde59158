#include "Sys_FileLocIteratorPosix.h"

#include <algorithm>
#include <chrono>
#include <dirent.h>
#include <fnmatch.h>
#include <sys/stat.h>

#include "L10N_ExceptionData.h"
#include "Sys_FileUtils.h"

namespace
{
int64_t NowMicroseconds()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

Sys_FileLocIteratorImpl* TypesCreate(const Sys_FileLoc& iFolder,
                                     const std::vector<Sys_FileType>& iTypes)
{
    return new Sys_FileLocIteratorPosix(iFolder, iTypes, std::string(), false);
}

Sys_FileLocIteratorImpl* PatternCreate(const Sys_FileLoc& iFolder, const std::string& iPattern)
{
    return new Sys_FileLocIteratorPosix(iFolder, {}, iPattern, true);
}
} // namespace

Sys_FileLocIteratorPosix::Sys_FileLocIteratorPosix(const Sys_FileLoc& iFolder,
                                                   const std::vector<Sys_FileType>& iTypes,
                                                   const std::string& iPattern, bool iUsePattern)
    : mTypes(iTypes), mPattern(iPattern), mUsePattern(iUsePattern)
{
    if (!Sys_FileUtils::IsFolder(iFolder))
        L10N_Throw(2, 4);
    mStack.push_back(Level{iFolder, {}, 0, false});
}

bool Sys_FileLocIteratorPosix::Matches(const Sys_FileLoc& iLoc, bool iIsFolder) const
{
    if (mUsePattern)
        return ::fnmatch(mPattern.c_str(), iLoc.GetName().c_str(), 0) == 0;
    const Sys_FileType type = iIsFolder ? Sys_FileType::cFolder : Sys_FileUtils::GetFileType(iLoc);
    return std::find(mTypes.begin(), mTypes.end(), type) != mTypes.end();
}

bool Sys_FileLocIteratorPosix::Next(int64_t iDeadlineMicroseconds)
{
    mOnEntry = false;
    bool first = true;
    while (!mStack.empty())
    {
        if (!first && iDeadlineMicroseconds >= 0 && NowMicroseconds() >= iDeadlineMicroseconds)
            return false;
        first = false;
        Level& level = mStack.back();
        if (!level.mListed)
        {
            level.mListed = true;
            if (DIR* dirP = ::opendir(level.mFolder.GetFullPath().c_str()))
            {
                while (const dirent* entryP = ::readdir(dirP))
                {
                    const std::string name = entryP->d_name;
                    if (name != "." && name != ".." && name.compare(0, 2, "._") != 0)
                        level.mNames.push_back(name);
                }
                ::closedir(dirP);
                std::sort(level.mNames.begin(), level.mNames.end());
            }
            continue;
        }
        if (level.mIndex >= level.mNames.size())
        {
            mStack.pop_back();
            continue;
        }
        const Sys_FileLoc loc(level.mFolder, level.mNames[level.mIndex++]);
        struct stat info
        {
        };
        if (::lstat(loc.GetFullPath().c_str(), &info) != 0)
            continue; // gone meanwhile
        const bool isFolder = S_ISDIR(info.st_mode);
        const bool matches = Matches(loc, isFolder);
        if (isFolder)
            mStack.push_back(Level{loc, {}, 0, false}); // may move level: not used below
        if (matches)
        {
            mCurrent = loc;
            mOnEntry = true;
            return true;
        }
    }
    return false;
}

void Sys_FileLocIteratorPosix::Abort()
{
    mStack.clear();
    mOnEntry = false;
}

Sys_FileLoc Sys_FileLocIteratorPosix::GetCurrentSearchPath() const
{
    return mStack.empty() ? Sys_FileLoc() : mStack.back().mFolder;
}

void Sys_FileLocIteratorPosix::SetPlatformDependentMethods()
{
    Sys_FileLocIterator::SetCreateMethods(&TypesCreate, &PatternCreate);
}
