// The stack dump of this host: return addresses from backtrace(), printed as demangled
// "name + 0xoffset" lines.
#pragma once

#include <vector>

#include "Cmn_StackDump.h"

class Sys_File;

class Sys_StackDumpPosix : public Cmn_StackDump
{
public:
    Sys_StackDumpPosix();
    Cmn_StackDump* Clone() const override { return new Sys_StackDumpPosix(*this); }
    void Print(std::ostream& ioStream) const override;

    size_t GetFrameCount() const { return mFrames.size(); }

    // Installs this class as the creator of Cmn_StackDump. Stack dumps are left off (the
    // null dump is created) when the marker file "suppress stack dumps" stands in the
    // configuration folder.
    static void SetPlatformDependentMethods();

private:
    std::vector<void*> mFrames;
};
