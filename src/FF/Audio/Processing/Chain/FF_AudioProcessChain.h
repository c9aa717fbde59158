// The driver of an audio chain: one producer, any number of filters, one consumer.
//
// Design note.
//
// Threads. Four shared workers serve every chain (FF_AudioProcessUtils): each stage's steps
// run on the worker of its process type, the driver's steps (ExecImpl here) on the Driver
// worker, or on the caller's thread when the chain is run by hand. The driver never touches
// blocks; it only queues the head, watches notification events and aborts. A waiting driver
// keeps its worker waiting (the worker waits for the task it ran last), so chains queued on
// the Driver worker are driven one after another while their stages' steps interleave on
// the other three; chains that must be driven side by side are run by hand, each on its own
// thread (FF_AudioProcessUtils::RunProcessChainToEnd).
//
// Ownership. The chain owns its stages (through the handles mProducer -> ... -> mConsumer,
// each stage holding the next) and the block pool. Stages hold the chain's abort event. The
// pool outlives every step: the chain ends only when every stage is at rest, and a stage
// left in a worker's queue after that (an aborted filter) never runs again.
//
// Invariants.
//  1. At most 16 pool blocks and one private block per stage exist; all are made in
//     Allocate, all at the maxima over the chain of channels, bits and samples per block.
//     Nothing is allocated for blocks while streaming.
//  2. Every block has exactly one owner: the pool, one stage's input queue, or one stage.
//  3. The producer takes a pool block only after taking one unit of the pool's semaphore;
//     the consumer returns each block with one release. So the producer runs at most 16
//     blocks ahead of the consumer: the pool is the chain's only flow control.
//  4. The head is in a worker's queue at most once: only the driver queues it, once per
//     wake-up, and only when it is Ready and out of every queue.
//  5. The chain ends (Done, Aborted or Failed) only after every stage is at rest (Ready
//     outside any queue, Aborted, Failed or Complete): no stage runs once the chain is over.
//  6. No exception crosses a thread: Sys_Task::Exec keeps a stage's exception on the stage;
//     the driver takes it (the failed stage furthest down the chain wins) and rethrows it
//     from its own step, so the chain fails with that stage's exception.
//
// The driver's states (mState, EState), one step each:
//   eState_Start    queue the head, build the wait list, wait             -> eState_Running
//   eState_Running  an abort or failure event set                         -> eState_Aborted
//                   the head Ready: queue it again, wait                  (stays)
//                   the head Complete: wait for the consumer              -> eState_Draining
//   eState_Draining the consumer Complete: Done; else abort               -> eState_Aborted
//   eState_Aborted  every stage aborted and at rest: rethrow the taken exception (Failed), or
//                   Aborted. An abort requested in any other state leads here first.
//
//   eState_Start ---> eState_Running ---> eState_Draining ---> Done
//                          |                    |
//                          '---> eState_Aborted <---'   (abort, or a stage failed)
//
//   The wait list: the abort event, each stage's mask-12 event (aborted or failed), and last
//   the head's mask-17 event (ready or complete) in Start and Running, the consumer's mask-16
//   event (complete) in Draining. In Aborted the driver waits for all stages' mask-29 events.
//   Filters never complete: after the last block they stay Ready outside any queue.
//   An abort requested of a Blocking chain wakes it through the abort event; of a Ready
//   (queued, not started) chain it aborts every stage at once and no stage ever runs.
//
// Running by hand: FF_AudioProcessUtils::RunProcessChainToEnd runs the driver's steps on the
// caller's thread to the end, with progress and cancel between slices.
//
// Progress: the consumer's GetUnitsToProcess and GetUnitsProcessed (any thread, may lag).
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"
#include "FF/FF_BatchProcess.h"
#include "Sys_Event.h"

class FF_AudioProcessChain : public FF_BatchProcess
{
public:
    using ChainHandle = Cmn_PolymorphicHandle<FF_AudioProcessChain>;

    static constexpr int32_t cNumPoolBlocks = 16;

    enum EState
    {
        eState_Start = 0,
        eState_Running = 1,
        eState_Draining = 2,
        eState_Aborted = 3
    };

    FF_AudioProcessChain();
    ~FF_AudioProcessChain() override;

    // Gives iProcess the chain's abort event; the first becomes head and tail, a later one is
    // linked behind the tail and becomes the tail. Before Allocate only.
    void Append(const FF_AudioProcess::ProcessHandle& iProcess);
    void SetDescription(const std::string& iDescription);

    // The consumer's; 0 before Append.
    int64_t GetUnitsToProcess() const override;
    // The consumer's units processed * 100 / units to process, 0 to 100.
    int32_t GetPercentCompleted() const override;
    std::string GetDescription() const override;
    // Preflight and allocation: see FF_AudioProcess. Asserts "mProducer" and "mConsumer".
    // Throws what a Preflight throws.
    void Allocate() override;

    const FF_AudioProcess::ProcessHandle& GetProducer() const { return mProducer; }
    const FF_AudioProcess::ProcessHandle& GetConsumer() const { return mConsumer; }
    FF_AudioProcess::BlockPool* GetProcessBlockPool() const { return mProcessBlockPool.get(); }
    const Sys_Event::EventHandle& GetAbortEvent() const { return mAbortEvent; }
    int32_t GetState() const { return mState.load(); }

protected:
    EResult ExecImpl() override;
    // Sets the abort event; a chain still Ready also aborts all stages at once.
    void AbortImpl() override;
    // One step of the driver by mState.
    EResult Process();
    // Sets the abort event, takes the exception of failed stages, aborts every stage and,
    // with iBlock, makes the driver wait until all are at rest.
    void HandleAbort(bool iBlock);

private:
    void AddWait(const Sys_Event::EventHandle& iEvent);
    void BlockOnWaitList();
    // The exception of the failed stage furthest down the chain, if any, into mException.
    void TakeStageException();

    mutable std::mutex mDescriptionMutex;
    std::string mDescription;
    std::atomic<int32_t> mState{eState_Start};
    // Declared before the stages, so that the stages (and the blocks they own) go first.
    std::unique_ptr<FF_AudioProcess::BlockPool> mProcessBlockPool;
    FF_AudioProcess::ProcessHandle mProducer;
    FF_AudioProcess::ProcessHandle mConsumer;
    // What the driver waits on, as events (to test them) and as sync objects (to block).
    std::vector<Sys_Event::EventHandle> mWaitEvents;
    Sys_SyncObject::HandleList mWaitList;
    Sys_Event::EventHandle mHeadEvent;
    Sys_Event::EventHandle mAbortEvent;
    // Kept by the failed stage, which lives as long as the chain.
    const Cmn_Exception* mException = nullptr;
};
