#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"
#include "Sys_Thread.h"

FF_AudioProcess::FF_AudioProcess() : mProcessMutex(Sys_Mutex::Create(eSys_MutexType_Plain)) {}

FF_AudioProcess::~FF_AudioProcess()
{
    FF_AudioProcessBlock* blockP = nullptr;
    while (mInputQueue.TryPop(blockP))
        delete blockP;
}

void FF_AudioProcess::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT(inOutBlock);
}

void FF_AudioProcess::AllocateImpl(const FF_AudioProcessBlock& iPrototype) {}

void FF_AudioProcess::Allocate(const FF_AudioProcessBlock& iPrototype)
{
    mOutputBlock = std::make_unique<FF_AudioProcessBlock>(iPrototype);
    mUnitsToProcess.store(iPrototype.GetTotalNumSamples());
    mUnitsProcessed.store(0);
    AllocateImpl(iPrototype);
}

Sys_Task::EResult FF_AudioProcess::ExecImpl()
{
    CMN_ASSERT_TEXT(mOutputBlock.get(), "mOutputBlock.get()");
    // Owned here until handed on: a failing Process must not leave a block nobody owns.
    std::unique_ptr<FF_AudioProcessBlock> in(mInputQueue.Pop());
    mOutputBlock->CopyDescription(*in);
    CMN_ASSERT(mOutputBlock->IsWithinAllocation());
    if (!mNextProcess)
        return ConsumeBlock(std::move(in));

    Process(in.get(), mOutputBlock.get());
    mNextProcess->GetInputQueue().Push(mOutputBlock.release());
    mOutputBlock = std::move(in);
    FF_AudioProcessUtils::QueueAudioProcess(mNextProcess, 1);
    return eResult_Yield;
}

Sys_Task::EResult FF_AudioProcess::ConsumeBlock(std::unique_ptr<FF_AudioProcessBlock> iBlock)
{
    Process(iBlock.get(), mOutputBlock.get());
    const int64_t total = iBlock->GetTotalNumSamples();
    if (total >= 0)
        mUnitsToProcess.store(total);
    const int64_t processed =
        mUnitsProcessed.fetch_add(iBlock->GetNumSamples()) + iBlock->GetNumSamples();
    ReturnBlockToPool(iBlock.release());
    return total >= 0 && processed >= total ? eResult_Done : eResult_Yield;
}

bool FF_AudioProcess::IsAbortPending() const
{
    return IsAbortRequested() || (mAbortEvent && mAbortEvent->IsSet());
}

Sys_Task::EResult FF_AudioProcess::BlockForPoolBlock()
{
    CMN_ASSERT_TEXT(mProcessBlockPool, "mProcessBlockPool");
    Sys_Thread::ThreadHandle currentThread = Sys_Thread::GetCurrentThread();
    CMN_ASSERT_TEXT(currentThread.Get() != nullptr, "currentThread.Get() != NULL");
    if (mPoolWaitList.empty()) // made once: the same two objects every time
    {
        mPoolWaitList.emplace_back(mProcessBlockPool->GetSemaphore().Get());
        if (mAbortEvent)
            mPoolWaitList.emplace_back(mAbortEvent.Get());
    }
    currentThread->Block(mPoolWaitList, true);
    return eResult_Block;
}

std::unique_ptr<FF_AudioProcessBlock> FF_AudioProcess::TakePoolBlock()
{
    CMN_ASSERT_TEXT(mProcessBlockPool, "mProcessBlockPool");
    CMN_ASSERT_TEXT(!mProcessBlockPool->IsEmpty(), "!mResourcePool.IsEmpty()");
    return std::unique_ptr<FF_AudioProcessBlock>(mProcessBlockPool->Pop());
}

void FF_AudioProcess::DeliverBlock(std::unique_ptr<FF_AudioProcessBlock> iBlock, int32_t iPriority)
{
    CMN_ASSERT(iBlock);
    CMN_ASSERT_TEXT(mNextProcess, "mNextProcess");
    mNextProcess->GetInputQueue().Push(iBlock.release());
    FF_AudioProcessUtils::QueueAudioProcess(mNextProcess, iPriority);
}

void FF_AudioProcess::ReturnBlockToPool(FF_AudioProcessBlock* iBlockP)
{
    CMN_ASSERT_TEXT(mProcessBlockPool, "mProcessBlockPool");
    mProcessBlockPool->Return(iBlockP);
}
