// A long file operation with progress, cancel and an optional step afterwards: an audio
// chain, a file copy, a folder copy.
//
// Running. Either queued on the shared Driver thread (FF_AudioProcessUtils::QueueBatchProcess:
// Allocate, then the Driver thread's blocker as mpBlocker, then AddTask), or by hand in time
// slices on the caller's thread (FF_AudioProcessUtils::SetupManualProcessChain and
// RunProcessChainForSlice). In both cases a step that must wait calls
// GetBlocker()->Block(...) and returns eResult_Block. The owner waits on
// GetNotificationEvent, polls GetPercentCompleted (any thread, no lock, may lag) and after
// eStatus_Complete calls DoPostProcessing on its own thread.
//
// Failures from a step are stored by Sys_Task::Exec (GetException); planning failures come
// from FF_BatchProcessConstructor::CreateBatchProcess.
#pragma once

#include <cstdint>
#include <string>

#include "Cmn_PolymorphicHandle.h"
#include "Cmn_RefCountObject.h"
#include "FF/FF_PostProcess.h"
#include "Sys_ProcessBlocker.h"
#include "Sys_Task.h"

class FF_BatchProcess : public Sys_Task
{
public:
    using BatchProcessHandle = Cmn_PolymorphicHandle<FF_BatchProcess>;
    using PostProcessPtr = Cmn_AliasedRefCountPtr<FF_PostProcess>;

    FF_BatchProcess() = default;
    ~FF_BatchProcess() override;

    // Units of work in all (bytes, samples: the subclass says). Default 0.
    virtual int64_t GetUnitsToProcess() const { return 0; }
    // 0 to 100. Read from any thread without a lock; may lag. Default 0.
    virtual int32_t GetPercentCompleted() const { return 0; }
    // One line for a person ("Copying a to b"). Default: the task's name.
    virtual std::string GetDescription() const;
    // Prepares everything the run needs; called once before the first step, on the thread
    // that queues or sets up the run. Default: nothing.
    virtual void Allocate() {}
    virtual void SetPostProcess(const PostProcessPtr& iPostProcess) { mPostProcess = iPostProcess; }
    // Runs the post process, if any, with this batch process. On the owner's thread.
    virtual void DoPostProcessing();

    const PostProcessPtr& GetPostProcess() const { return mPostProcess; }
    // The blocker of the thread that drives this process; written before running starts.
    void SetBlocker(Sys_ProcessBlocker* iBlockerP) { mpBlocker = iBlockerP; }
    Sys_ProcessBlocker* GetBlocker() const { return mpBlocker; }

protected:
    Sys_ProcessBlocker* mpBlocker = nullptr;

private:
    PostProcessPtr mPostProcess;
};
