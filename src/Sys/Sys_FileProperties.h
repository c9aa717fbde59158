// What one query of a location yields.
//
// Contract: GetFileProperties fills every field; when the location's volume is not mounted
// or the file's attributes cannot be read it sets exists to false and leaves the rest at
// their defaults (times and sizes 0, type cUnknown, the name still set). Times are
// microseconds since 1970-01-01 UTC. Hidden: the name starts with "."; locked: the file is
// not writable for this process or its volume is mounted read-only. A plain value.
#pragma once

#include <cstdint>
#include <string>

#include "Sys_FileLoc.h"
#include "Sys_FileType.h"

class Sys_FileProperties
{
public:
    Sys_FileProperties() = default;
    explicit Sys_FileProperties(const Sys_FileLoc& iLoc) { GetFileProperties(iLoc, this); }

    static void GetFileProperties(const Sys_FileLoc& iLoc, Sys_FileProperties* oProperties);
    static Sys_FileProperties GetFileProperties(const Sys_FileLoc& iLoc);

    bool GetExists() const { return mExists; }
    bool IsHidden() const { return mHidden; }
    bool IsLocked() const { return mLocked; }
    bool IsFolder() const { return mIsFolder; }
    int64_t GetCreatedUTC() const { return mCreatedUTC; }
    int64_t GetModifiedUTC() const { return mModifiedUTC; }
    int64_t GetDataForkSize() const { return mDataForkSize; }
    const Sys_FileType& GetFileType() const { return mFileType; }
    const std::string& GetName() const { return mName; }
    // Behind the name: the resource fork in the sidecar, whether the location is a link,
    // and the location itself.
    int64_t GetResourceForkSize() const { return mResourceForkSize; }
    bool IsAlias() const { return mIsAlias; }
    const Sys_FileLoc& GetFileLoc() const { return mLoc; }

private:
    bool mExists = false;
    bool mHidden = false;
    bool mLocked = false;
    bool mIsFolder = false;
    int64_t mCreatedUTC = 0;
    int64_t mModifiedUTC = 0;
    int64_t mDataForkSize = 0;
    Sys_FileType mFileType;
    std::string mName;
    int64_t mResourceForkSize = 0;
    bool mIsAlias = false;
    Sys_FileLoc mLoc;
};
