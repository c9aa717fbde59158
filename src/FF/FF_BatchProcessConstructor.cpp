#include "FF/FF_BatchProcessConstructor.h"

FF_BatchProcessConstructor::~FF_BatchProcessConstructor() = default;

void FF_BatchProcessConstructor::SetPostProcess(const FF_BatchProcess::PostProcessPtr& iPostProcess)
{
    mPostProcess = iPostProcess;
}

bool FF_BatchProcessConstructor::GetSpaceRequiredOnVolume(const Sys_Volume& iVolume,
                                                          int64_t& oBytes) const
{
    oBytes = 0;
    return false;
}

FF_BatchProcess::BatchProcessHandle FF_BatchProcessConstructor::CreateBatchProcess()
{
    FF_BatchProcess::BatchProcessHandle process = CreateBatchProcessImpl();
    if (process)
        process->SetPostProcess(mPostProcess);
    return process;
}
