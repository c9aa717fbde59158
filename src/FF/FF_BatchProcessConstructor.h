// Makes one batch process from a description, estimates its size and the space it needs,
// and ties it to clean-up.
//
// Use: make the constructor, SetDstFolderLoc, SetFileDeleter (a Sys_FileUtils::StDeleteFiles
// the owner holds for the whole operation), optionally SetPostProcess; CreateBatchProcess;
// run the process (FF_AudioProcessUtils); on success Release the deleter, otherwise let it
// go: its destructor deletes every file the process made. Planning failures are thrown by
// CreateBatchProcess; files made meanwhile are on the deleter's list.
// Counted with Cmn_AliasedRefCountPtr (single-threaded count): the owner's thread only.
#pragma once

#include <cstdint>

#include "Cmn_RefCountObject.h"
#include "FF/FF_BatchProcess.h"
#include "Sys_FileLoc.h"
#include "Sys_FileUtils.h"
#include "Sys_Volume.h"

class FF_BatchProcessConstructor : public Cmn_RefCountObject
{
public:
    FF_BatchProcessConstructor() = default;
    ~FF_BatchProcessConstructor() override;
    FF_BatchProcessConstructor(const FF_BatchProcessConstructor&) = delete;
    FF_BatchProcessConstructor& operator=(const FF_BatchProcessConstructor&) = delete;

    virtual void SetPostProcess(const FF_BatchProcess::PostProcessPtr& iPostProcess);
    virtual FF_BatchProcess::PostProcessPtr GetPostProcess() const { return mPostProcess; }
    // Units the process will have (bytes, samples). Default 0.
    virtual int64_t GetUnitsToProcess() const { return 0; }
    // The folder that receives the output. Default: ignored.
    virtual void SetDstFolderLoc(const Sys_FileLoc& iFolder) {}
    // Bytes the output needs on iVolume: false (and 0) when the output is not written there.
    // Default: false.
    virtual bool GetSpaceRequiredOnVolume(const Sys_Volume& iVolume, int64_t& oBytes) const;

    // CreateBatchProcessImpl, then the post process is handed to the result.
    FF_BatchProcess::BatchProcessHandle CreateBatchProcess();

    // Not owned; may be null (then nothing is cleaned up by the process's planner).
    void SetFileDeleter(Sys_FileUtils::StDeleteFiles* iDeleterP) { mFileDeleter = iDeleterP; }
    Sys_FileUtils::StDeleteFiles* GetFileDeleter() const { return mFileDeleter; }

protected:
    virtual FF_BatchProcess::BatchProcessHandle CreateBatchProcessImpl() = 0;

private:
    FF_BatchProcess::PostProcessPtr mPostProcess;
    Sys_FileUtils::StDeleteFiles* mFileDeleter = nullptr;
};
