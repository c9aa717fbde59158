// The tree walk behind Sys_FileLocIterator on POSIX: a stack of folder listings, each read
// whole when the walk enters the folder (one unit of work), then offered name by name.
#pragma once

#include <string>
#include <vector>

#include "Sys_FileLocIterator.h"

class Sys_FileLocIteratorPosix : public Sys_FileLocIteratorImpl
{
public:
    // Throws package 2, id 4 when iFolder is no folder.
    Sys_FileLocIteratorPosix(const Sys_FileLoc& iFolder, const std::vector<Sys_FileType>& iTypes,
                             const std::string& iPattern, bool iUsePattern);

    bool Next(int64_t iDeadlineMicroseconds) override;
    bool IsOnEntry() const override { return mOnEntry; }
    bool IsDone() const override { return mStack.empty(); }
    const Sys_FileLoc& GetCurrent() const override { return mCurrent; }
    void Abort() override;
    Sys_FileLoc GetCurrentSearchPath() const override;

    static void SetPlatformDependentMethods();

private:
    struct Level
    {
        Sys_FileLoc mFolder;
        std::vector<std::string> mNames;
        size_t mIndex = 0;
        bool mListed = false;
    };
    bool Matches(const Sys_FileLoc& iLoc, bool iIsFolder) const;

    std::vector<Level> mStack;
    std::vector<Sys_FileType> mTypes;
    std::string mPattern;
    bool mUsePattern;
    bool mOnEntry = false;
    Sys_FileLoc mCurrent;
};
