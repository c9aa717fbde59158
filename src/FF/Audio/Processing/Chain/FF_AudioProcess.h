// One stage of an audio chain: a Sys_Task that runs one step per block on the shared worker
// thread of its process type (see FF_AudioProcessUtils).
//
// Process types and step shapes:
//  - filter (eProcessType_Filter, the default): queued once for each block that arrives. The
//    step (ExecImpl here) pops one block from the input queue, copies its description (all
//    but the byte order) to the private output block, calls Process(in, out), hands the
//    output block to the next stage (priority 1) and keeps the input block as its new
//    private block. So a stage never waits for a free block, and no block is ever made
//    after Allocate. There is no in-place mode: Process always writes its result into
//    `out` (a stage that leaves the samples as they are copies them).
//  - consumer (eProcessType_Consumer; or any stage with no next stage): queued once per
//    block. The default step (ExecImpl here, when GetNextProcess() is null) pops a block,
//    copies its description to the private block, calls Process(in, out) (out is only
//    scratch: it goes nowhere), counts the samples, returns `in` to the pool, and returns
//    eResult_Done once the samples counted reach the stream's total (never, when the total
//    is -1), else eResult_Yield. A consumer with its own ExecImpl must return every block it
//    pops to the pool (ReturnBlockToPool): that return is the chain's only flow control.
//  - producer (eProcessType_Producer): queued by the chain's driver, once per wake-up. It
//    has its own ExecImpl, a small state machine built from the helpers below:
//        if (IsAbortPending())  -> (run AbortImpl if not ended) return eResult_Aborted
//        eProducerState_Idle:    mState = eProducerState_AwaitingBlock;
//                                return BlockForPoolBlock();
//        eProducerState_AwaitingBlock: block = TakePoolBlock(); fill it (description and
//                                samples); DeliverBlock(std::move(block), 0);
//                                mState = eProducerState_Idle;
//                                return at end of stream ? eResult_Done : eResult_Yield;
//    A producer that fetches its samples first (a read, or data from a real-time engine)
//    waits for them in eProducerState_AwaitingData and may hold them in
//    eProducerState_HoldingData before it waits for a block (EProducerState).
//    It must not return eResult_Requeue (Reset would clear the driver's notification event).
//
// Set-up order (all by the chain, before it is queued): SetAbortEvent, SetNextProcess,
// Preflight (head to tail), Allocate (head to tail), SetProcessBlockPool (head and tail).
// After that the stage's fields belong to its own steps; other threads only call Abort,
// GetStatus, GetNotificationEvent, GetUnitsToProcess and GetUnitsProcessed (the last two
// must be safe to read from another thread; they may lag).
//
// Contracts of the virtual operations:
//  - Preflight(inOutBlock): called once on the chain's thread before Allocate. Reads what the
//    stage ahead described (for the head: an empty prototype) and writes what this stage
//    will hand on: channels, rate, bits, samples per block, total samples, byte order. A
//    filter that changes the block size or total (sample-rate conversion) writes the largest
//    number of samples that one of its output blocks can hold. May throw (the chain is then
//    not run).
//  - AllocateImpl(prototype): after mOutputBlock was replaced by a copy of the maximal
//    prototype; allocate here everything the stage needs while streaming (no allocation
//    afterwards). Default: nothing.
//  - Process(in, out): one block; runs on the stage's worker only. `out` has the description
//    of `in` (and the byte order Preflight chose) and room for the chain's maximal block;
//    set out's samples (and anything else that changes). May throw: the stage then fails and
//    the chain with it.
//  - GetUnitsToProcess / GetUnitsProcessed: progress of the stage; the chain reports its
//    consumer's. Default: the total of the last block seen (or of the prototype given to
//    Allocate) and the samples consumed by the default consumer step.
//
// Threads. Each step runs on its type's worker only, so a stage's state needs no lock from
// its own steps. AbortImpl comes from the driver's thread with the task's mutex held: a
// stage whose AbortImpl touches step state takes GetProcessMutex() there and in ExecImpl.
// While holding that mutex a step must not call the Sys_Task operations that take the task's
// mutex (GetException, GetName, SetName, GetNotificationEvent, Abort): AbortImpl waits for
// the process mutex with the task's mutex held.
//
// Ownership. The stage owns its private block and the blocks in its input queue (the
// destructor deletes both); the pool (set only on head and tail) belongs to the chain and
// outlives every step. Stages are held by Cmn_PolymorphicHandle; not copyable.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "Cmn_PolymorphicHandle.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessBlock.h"
#include "Sys_Event.h"
#include "Sys_Mutex.h"
#include "Sys_ResourcePool.h"
#include "Sys_Task.h"
#include "Sys_ThreadSafeQueue.h"

class FF_AudioProcess : public Sys_Task
{
public:
    enum EProcessType
    {
        eProcessType_Filter = 0,
        eProcessType_Producer = 1,
        eProcessType_Consumer = 2
    };

    using ProcessHandle = Cmn_PolymorphicHandle<FF_AudioProcess>;
    using BlockPool = Sys_ResourcePool<FF_AudioProcessBlock>;
    using BlockQueue = Sys_ThreadSafeQueue<FF_AudioProcessBlock*>;

    FF_AudioProcess();
    // Deletes the blocks left in the input queue and the private block.
    ~FF_AudioProcess() override;

    // Picks the worker thread. Default: filter.
    virtual EProcessType GetProcessType() const { return eProcessType_Filter; }
    // See the contracts above. Default: leaves the description as it is.
    virtual void Preflight(FF_AudioProcessBlock* inOutBlock);
    virtual int64_t GetUnitsToProcess() const { return mUnitsToProcess.load(); }
    virtual int64_t GetUnitsProcessed() const { return mUnitsProcessed.load(); }

    // Replaces mOutputBlock by a copy of iPrototype (fresh buffers of its size), records the
    // prototype's total as the units to process, then calls AllocateImpl. Not virtual.
    void Allocate(const FF_AudioProcessBlock& iPrototype);

    void SetNextProcess(const ProcessHandle& iNext) { mNextProcess = iNext; }
    const ProcessHandle& GetNextProcess() const { return mNextProcess; }
    BlockQueue& GetInputQueue() { return mInputQueue; }
    void SetProcessBlockPool(BlockPool* iPoolP) { mProcessBlockPool = iPoolP; }
    BlockPool* GetProcessBlockPool() const { return mProcessBlockPool; }
    FF_AudioProcessBlock* GetOutputBlock() const { return mOutputBlock.get(); }
    void SetAbortEvent(const Sys_Event::EventHandle& iEvent) { mAbortEvent = iEvent; }
    const Sys_Event::EventHandle& GetAbortEvent() const { return mAbortEvent; }

protected:
    virtual void AllocateImpl(const FF_AudioProcessBlock& iPrototype);
    virtual void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) = 0;

    // The filter step, or the consumer step when there is no next stage (see above).
    EResult ExecImpl() override;

    // ---- helpers for the step shapes ----
    // The states of every producer's step machine (its mState): what its next step does.
    enum EProducerState : int32_t
    {
        // Nothing in hand: fetch samples (issue a read, wait for data, make them), or, with
        // samples ready, wait for a pool block.
        eProducerState_Idle = 0,
        // Blocked on a read or on the data source: the next step takes what has arrived.
        eProducerState_AwaitingData = 1,
        // Blocked on the pool (BlockForPoolBlock): the next step takes a block and delivers.
        eProducerState_AwaitingBlock = 2,
        // Samples in hand, no block yet: the next step waits for a pool block.
        eProducerState_HoldingData = 3
    };
    // IsAbortRequested() or the chain's abort event is set.
    bool IsAbortPending() const;
    // Producer wait: blocks the calling worker on (pool semaphore, abort event), wait for
    // any, and returns eResult_Block. When the stage runs again the semaphore has been taken
    // (a pool block is free) or the abort event fired. Asserts "mProcessBlockPool" and
    // "currentThread.Get() != NULL".
    EResult BlockForPoolBlock();
    // Producer deliver: a pool block, after its semaphore was taken. Asserts
    // "!mResourcePool.IsEmpty()". Held by unique_ptr until delivered, so that a step that
    // throws in between does not lose it.
    std::unique_ptr<FF_AudioProcessBlock> TakePoolBlock();
    // Pushes iBlock onto the next stage's input queue and queues the next stage at
    // iPriority (a producer hands on at 0, a filter at 1). Asserts "mNextProcess".
    void DeliverBlock(std::unique_ptr<FF_AudioProcessBlock> iBlock, int32_t iPriority);
    // Consumer: gives iBlockP back to the pool and releases one unit of its semaphore.
    // Asserts "mProcessBlockPool".
    void ReturnBlockToPool(FF_AudioProcessBlock* iBlockP);
    // The stage's own mutex against AbortImpl (recursive).
    Sys_Mutex& GetProcessMutex() const { return *mProcessMutex; }
    void SetUnitsToProcess(int64_t iUnits) { mUnitsToProcess.store(iUnits); }
    void AddUnitsProcessed(int64_t iUnits) { mUnitsProcessed.fetch_add(iUnits); }

    std::unique_ptr<FF_AudioProcessBlock> mOutputBlock;

private:
    EResult ConsumeBlock(std::unique_ptr<FF_AudioProcessBlock> iBlock);

    ProcessHandle mNextProcess;
    BlockQueue mInputQueue;
    BlockPool* mProcessBlockPool = nullptr;
    Sys_Event::EventHandle mAbortEvent;
    Sys_Mutex::MutexHandle mProcessMutex;
    Sys_SyncObject::HandleList mPoolWaitList;
    std::atomic<int64_t> mUnitsToProcess{0};
    std::atomic<int64_t> mUnitsProcessed{0};
};
