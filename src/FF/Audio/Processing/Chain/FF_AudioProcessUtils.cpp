#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

#include "Cmn_Assert.h"
#include "Cmn_Exception.h"
#include "Sys_ProcessBlocker.h"

namespace
{
const char* const cWorkerNames[] = {
    "FF_AudioProcess: Filter thread", "FF_AudioProcess: Producer Thread",
    "FF_AudioProcess: Consumer Thread", "FF_AudioProcess: Driver Thread"};

struct Workers
{
    Sys_MultiTaskThread::MultiTaskThreadHandle mThreads[4];
};

// Made once (the function-local static is the latch) and never destroyed: the workers serve
// until the process ends, and no chain can outlive them.
Workers& TheWorkers()
{
    static Workers* sWorkersP = []
    {
        auto* workersP = new Workers;
        for (int i = 0; i < 4; ++i)
        {
            workersP->mThreads[i] = Sys_MultiTaskThread::Create();
            workersP->mThreads[i]->SetName(cWorkerNames[i]);
        }
        return workersP;
    }();
    return *sWorkersP;
}

int64_t NowMicroseconds()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
} // namespace

Sys_MultiTaskThread& FF_AudioProcessUtils::GetWorker(EWorker iWorker)
{
    CMN_ASSERT(iWorker >= eWorker_Filter && iWorker <= eWorker_Driver);
    return *TheWorkers().mThreads[iWorker];
}

void FF_AudioProcessUtils::QueueAudioProcess(const FF_AudioProcess::ProcessHandle& iProcess,
                                             int32_t iPriority)
{
    CMN_ASSERT(iProcess);
    switch (iProcess->GetProcessType())
    {
    case FF_AudioProcess::eProcessType_Filter:
        GetWorker(eWorker_Filter).AddTask(iProcess, iPriority);
        break;
    case FF_AudioProcess::eProcessType_Producer:
        GetWorker(eWorker_Producer).AddTask(iProcess, iPriority);
        break;
    case FF_AudioProcess::eProcessType_Consumer:
        GetWorker(eWorker_Consumer).AddTask(iProcess, iPriority);
        break;
    default:
        CMN_ASSERT_TEXT(false, "0");
    }
}

void FF_AudioProcessUtils::QueueBatchProcess(
    const FF_BatchProcess::BatchProcessHandle& iBatchProcess)
{
    CMN_ASSERT(iBatchProcess);
    iBatchProcess->Allocate();
    Sys_MultiTaskThread& driver = GetWorker(eWorker_Driver);
    iBatchProcess->SetBlocker(&driver);
    driver.AddTask(iBatchProcess, 0);
}

void FF_AudioProcessUtils::SetupManualProcessChain(FF_BatchProcess* inProcess,
                                                   Sys_ProcessBlocker* inBlocker)
{
    CMN_ASSERT_TEXT(inProcess, "inProcess");
    CMN_ASSERT_TEXT(inBlocker, "inBlocker");
    inProcess->Allocate();
    inProcess->SetBlocker(inBlocker);
}

bool FF_AudioProcessUtils::RunProcessChainForSlice(FF_BatchProcess* iProcess, int32_t iMilliseconds)
{
    CMN_ASSERT(iProcess);
    const int64_t deadline = NowMicroseconds() + int64_t(iMilliseconds) * 1000;
    while (deadline - NowMicroseconds() >= 1000)
    {
        switch (iProcess->GetStatus())
        {
        case Sys_Task::eStatus_Aborted:
            return true;
        case Sys_Task::eStatus_Failed:
        {
            const Cmn_Exception* exceptionP = iProcess->GetException();
            throw std::runtime_error(exceptionP
                                         ? Cmn_Exception::GetExceptionDescription(*exceptionP)
                                         : std::string("the batch process failed"));
        }
        case Sys_Task::eStatus_Complete:
            iProcess->DoPostProcessing();
            return true;
        case Sys_Task::eStatus_RequeueRequested:
            iProcess->Reset();
            break;
        case Sys_Task::eStatus_Blocking:
        {
            Sys_ProcessBlocker* blockerP = iProcess->GetBlocker();
            CMN_ASSERT_TEXT(blockerP, "mpBlocker");
            if (blockerP->WaitForBlockingObjects())
                iProcess->Exec();
            else // look again after a short pause, not in a hard spin
                std::this_thread::sleep_for(std::chrono::microseconds(100));
            break;
        }
        default:
            iProcess->Exec();
            break;
        }
    }
    return false;
}

void FF_AudioProcessUtils::AbortManualProcessChain(FF_BatchProcess* iProcess)
{
    CMN_ASSERT(iProcess);
    if (iProcess->GetStatus() == Sys_Task::eStatus_Failed)
        return;
    iProcess->Abort();
    const int64_t start = NowMicroseconds();
    while (NowMicroseconds() - start < cManualAbortLimitMicroseconds)
    {
        try
        {
            if (RunProcessChainForSlice(iProcess, 5))
                return;
        }
        catch (...)
        {
            return; // failed while stopping: it has ended all the same
        }
    }
}

void FF_AudioProcessUtils::RunProcessChainToEnd(FF_BatchProcess* iProcess,
                                                const std::function<bool()>& iContinue,
                                                int32_t iSliceMilliseconds)
{
    CMN_ASSERT(iProcess);
    Sys_ProcessBlockerImpl blocker;
    SetupManualProcessChain(iProcess, &blocker);
    bool cancelled = false;
    try
    {
        while (!RunProcessChainForSlice(iProcess, iSliceMilliseconds))
            if (iContinue && !iContinue())
            {
                cancelled = true;
                break;
            }
    }
    catch (...)
    {
        AbortManualProcessChain(iProcess);
        throw;
    }
    if (cancelled)
        AbortManualProcessChain(iProcess);
    if (cancelled || iProcess->GetStatus() != Sys_Task::eStatus_Complete)
        throw Cmn_CancelException();
}

// ---- StSuspendBatchProcesses -------------------------------------------------------------

FF_AudioProcessUtils::StSuspendBatchProcesses::StSuspendBatchProcesses()
{
    Sys_TaskQueue::Queue& queue = GetWorker(eWorker_Driver).GetTaskQueue().GetQueue();
    mStore = queue.RemoveIf([](const Sys_TaskQueueItem& iItem)
                            { return iItem.GetTask()->GetStatus() != Sys_Task::eStatus_Blocking; });
}

FF_AudioProcessUtils::StSuspendBatchProcesses::~StSuspendBatchProcesses()
{
    Sys_TaskQueue& taskQueue = GetWorker(eWorker_Driver).GetTaskQueue();
    for (const Sys_TaskQueueItem& item : mStore)
        taskQueue.GetQueue().Push(item); // same ordinals: they keep their turn
    std::vector<Sys_TaskQueueItem>().swap(mStore);
    // Wake an idle Driver thread, which otherwise would look only at its next idle period.
    taskQueue.GetQueueEvent()->Set();
}
