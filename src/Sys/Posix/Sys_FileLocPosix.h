// The location implementation for POSIX paths.
//
// The path is kept in canonical form (CanonicalizePath): separators not repeated, "."
// components dropped, no trailing separator except for "/" itself. The name and extension
// are worked out once, at construction (CacheValues). The object never changes afterwards,
// so copies on other threads may share it.
#pragma once

#include <string>
#include <vector>

#include "Sys_FileLoc.h"

class Sys_FileLocPosix : public Sys_FileLocImpl
{
public:
    // iFolderHint: 1 folder, 0 file, -1 not said.
    explicit Sys_FileLocPosix(const std::string& iPath, int32_t iFolderHint = -1);

    const std::string& GetFullPath() const override { return mPath; }
    std::string GetLongFullPath() const override;
    std::string GetName() const override { return mName; }
    std::string GetExtension() const override { return mExtension; }
    Sys_FileLoc GetParentFolder() const override;
    std::vector<std::string> GetPathComponents() const override;
    Sys_Volume GetVolume() const override;
    bool IsVolumeRoot() const override;
    int32_t GetFolderHint() const override { return mFolderHint; }

    // Writes the canonical form of iPath to oPath; false for a text that names no path (empty,
    // or holding a NUL).
    static bool CanonicalizePath(const std::string& iPath, std::string* oPath);
    // iPath in canonical form, made absolute from the current folder when it is relative.
    static std::string ForceCanonical(const std::string& iPath);

    static Sys_FileLocImpl* StandardCreate(const Sys_FileLoc& iParent, const std::string& iName,
                                           const Sys_FileType& iType);
    static Sys_FileLocImpl* FullPathCreate(const std::string& iFullPath);
    static Sys_FileLocImpl* PathComponentsCreate(const std::vector<std::string>& iComponents);
    static Sys_FileLocImpl* VolumeRootCreate(const Sys_Volume& iVolume);
    static Sys_FileLocImpl* OtherVolumeCreate(const Sys_Volume& iVolume, const Sys_FileLoc& iLoc);

    static void SetPlatformDependentMethods();

private:
    void CacheValues();

    std::string mPath;
    std::string mName;
    std::string mExtension;
    int32_t mFolderHint;
};
