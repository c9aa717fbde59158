// The four shared workers of all audio chains and batch processes, and the ways to run them.
//
// Workers. Made once, on first use, in this order and with these names:
//   "FF_AudioProcess: Filter thread", "FF_AudioProcess: Producer Thread",
//   "FF_AudioProcess: Consumer Thread", "FF_AudioProcess: Driver Thread".
// Every filter of every chain runs in turn on the first, and so on; the drivers of chains and
// every queued batch process on the last. They live until the process ends.
//
// Queued running: QueueBatchProcess. Manual running: SetupManualProcessChain once, then
// RunProcessChainForSlice until it returns true (the driver's steps run on the caller's
// thread; a chain's stages still run on the workers); AbortManualProcessChain to cancel.
// RunProcessChainToEnd does all of that with progress and cancel: every caller that runs a
// chain by hand to its end uses it.
//
// Suspending: StSuspendBatchProcesses takes every batch process that is waiting to run (not
// one that is blocked in the middle of its work) off the Driver thread for as long as it
// lives, and puts them back, in their old order, when it ends.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"
#include "FF/FF_BatchProcess.h"
#include "Sys_MultiTaskThread.h"
#include "Sys_TaskQueue.h"

class FF_AudioProcessUtils
{
public:
    // The slice of RunProcessChainToEnd unless told: short enough for a progress bar and a
    // prompt cancel, long enough that the caller's thread is mostly asleep.
    static constexpr int32_t cDefaultSliceMilliseconds = 50;

    enum EWorker
    {
        eWorker_Filter = 0,
        eWorker_Producer = 1,
        eWorker_Consumer = 2,
        eWorker_Driver = 3
    };

    // The worker (made with the others on first use). Any thread.
    static Sys_MultiTaskThread& GetWorker(EWorker iWorker);

    // Adds iProcess to the worker of its GetProcessType at iPriority; another type asserts "0".
    static void QueueAudioProcess(const FF_AudioProcess::ProcessHandle& iProcess,
                                  int32_t iPriority);
    // Allocate, the Driver thread as blocker, AddTask on the Driver thread at priority 0.
    // Allocate's failures are thrown to the caller and nothing is queued.
    static void QueueBatchProcess(const FF_BatchProcess::BatchProcessHandle& iBatchProcess);

    // Asserts "inProcess" and "inBlocker"; calls Allocate and stores iBlocker, which the
    // caller keeps alive for the run and which must be a blocker no thread body waits on
    // (a Sys_ProcessBlockerImpl of the caller's own).
    static void SetupManualProcessChain(FF_BatchProcess* inProcess, Sys_ProcessBlocker* inBlocker);
    // Runs steps of iProcess for up to iMilliseconds on the calling thread. True when the
    // process has ended: aborted, or complete (then DoPostProcessing has run). A failed
    // process throws a std::runtime_error with the stored exception's text. False when the
    // time is up. A slice below one millisecond runs nothing.
    static bool RunProcessChainForSlice(FF_BatchProcess* iProcess, int32_t iMilliseconds);
    // Nothing when iProcess has failed. Otherwise Abort, then slices of 5 ms until the
    // process ends, for at most five seconds; exceptions are swallowed. A process that does
    // not stop in time is left behind.
    static void AbortManualProcessChain(FF_BatchProcess* iProcess);
    // Runs iProcess by hand to its end on the calling thread: SetupManualProcessChain with a
    // blocker of its own, then slices of iSliceMilliseconds. Between slices (after each one
    // that did not end the process) iContinue, when given, is asked; false aborts the process
    // (AbortManualProcessChain) and throws Cmn_CancelException. Returns once the process has
    // completed (DoPostProcessing has run). A process that ends aborted throws
    // Cmn_CancelException; a failed one throws as RunProcessChainForSlice does; whatever
    // iContinue or a slice throws is passed on after the process was aborted.
    static void RunProcessChainToEnd(FF_BatchProcess* iProcess,
                                     const std::function<bool()>& iContinue = {},
                                     int32_t iSliceMilliseconds = cDefaultSliceMilliseconds);

    class StSuspendBatchProcesses
    {
    public:
        StSuspendBatchProcesses();
        ~StSuspendBatchProcesses();
        StSuspendBatchProcesses(const StSuspendBatchProcesses&) = delete;
        StSuspendBatchProcesses& operator=(const StSuspendBatchProcesses&) = delete;

        // How many items were taken off the Driver thread.
        size_t GetNumSuspended() const { return mStore.size(); }

    private:
        std::vector<Sys_TaskQueueItem> mStore;
    };

    static constexpr int64_t cManualAbortLimitMicroseconds = 5000000;
};
