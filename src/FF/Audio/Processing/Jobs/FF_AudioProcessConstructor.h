// The planner of an audio chain: a batch process constructor with a destination folder.
// Counted with Cmn_AliasedRefCountPtr (single-threaded count): the owner's thread only.
// Not copyable.
#pragma once

#include "FF/FF_BatchProcessConstructor.h"
#include "Sys_FileLoc.h"

class FF_AudioProcessConstructor : public FF_BatchProcessConstructor
{
public:
    FF_AudioProcessConstructor();
    ~FF_AudioProcessConstructor() override;

    void SetDstFolderLoc(const Sys_FileLoc& iFolder) override { mDstFolderLoc = iFolder; }
    const Sys_FileLoc& GetDstFolderLoc() const { return mDstFolderLoc; }

protected:
    Sys_FileLoc mDstFolderLoc;
};
