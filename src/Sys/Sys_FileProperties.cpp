#include "Sys_FileProperties.h"

#include <sys/stat.h>
#include <unistd.h>

#include "Cmn_Assert.h"
#include "Sys_FileUtils.h"
#include "Sys_Volume.h"

void Sys_FileProperties::GetFileProperties(const Sys_FileLoc& iLoc, Sys_FileProperties* oProperties)
{
    CMN_ASSERT(oProperties);
    Sys_FileProperties properties;
    properties.mLoc = iLoc;
    properties.mName = iLoc.GetName();
    struct stat info
    {
    };
    const Sys_Volume volume = iLoc.GetVolume();
    if (iLoc.IsEmpty() || !volume.IsMounted() || ::stat(iLoc.GetFullPath().c_str(), &info) != 0)
    {
        *oProperties = properties;
        return;
    }
    properties.mExists = true;
    properties.mHidden = !properties.mName.empty() && properties.mName[0] == '.';
    properties.mLocked = ::access(iLoc.GetFullPath().c_str(), W_OK) != 0 || volume.IsLocked();
    properties.mIsFolder = S_ISDIR(info.st_mode);
    properties.mCreatedUTC = Sys_FileUtils::GetCreatedUTC(iLoc);
    properties.mModifiedUTC =
        int64_t(info.st_mtim.tv_sec) * 1000000 + int64_t(info.st_mtim.tv_nsec) / 1000;
    properties.mDataForkSize = S_ISREG(info.st_mode) ? int64_t(info.st_size) : 0;
    properties.mFileType = Sys_FileUtils::GetFileType(iLoc);
    properties.mResourceForkSize =
        properties.mIsFolder ? 0 : Sys_FileUtils::GetFileResourceForkSize(iLoc);
    properties.mIsAlias = Sys_FileUtils::IsFinderAlias(iLoc);
    *oProperties = properties;
}

Sys_FileProperties Sys_FileProperties::GetFileProperties(const Sys_FileLoc& iLoc)
{
    Sys_FileProperties properties;
    GetFileProperties(iLoc, &properties);
    return properties;
}
