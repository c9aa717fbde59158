// A place in the file system, named by value; the file or folder need not exist.
//
// This is the value form that plain files need: a POSIX path kept as given, apart from
// repeated and trailing separators, which are dropped ("/" stays "/"). Two locations are
// equal when their paths are equal as text. Any thread may use its own copies.
#pragma once

#include <string>

class Sys_Volume;

class Sys_FileLoc
{
public:
    Sys_FileLoc() = default;
    explicit Sys_FileLoc(const std::string& iFullPath);
    Sys_FileLoc(const Sys_FileLoc& iParent, const std::string& iName);

    const std::string& GetFullPath() const { return mPath; }
    // The last component; empty for "/" and for an empty location.
    std::string GetName() const;
    // The folder that holds this location: "/" for a top-level entry, the empty location for
    // "/" itself and for a bare name.
    Sys_FileLoc GetParentFolder() const;
    // The volume that holds this location (or would hold it, for a path that does not exist).
    Sys_Volume GetVolume() const;
    bool IsEmpty() const { return mPath.empty(); }

    bool operator==(const Sys_FileLoc& iOther) const { return mPath == iOther.mPath; }
    bool operator!=(const Sys_FileLoc& iOther) const { return mPath != iOther.mPath; }

private:
    std::string mPath;
};
