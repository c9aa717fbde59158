#include "FF/Audio/Processing/Chain/FF_AudioProcessChain.h"

#include <algorithm>

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"

namespace
{
// Notification masks of the driver.
constexpr int32_t cMaskAbortedOrFailed = Sys_Task::eStatus_Aborted | Sys_Task::eStatus_Failed;
constexpr int32_t cMaskReadyOrComplete = Sys_Task::eStatus_Ready | Sys_Task::eStatus_Complete;
constexpr int32_t cMaskComplete = Sys_Task::eStatus_Complete;
constexpr int32_t cMaskAtRest = Sys_Task::eStatus_Ready | Sys_Task::eStatus_Aborted |
                                Sys_Task::eStatus_Failed | Sys_Task::eStatus_Complete;
static_assert(cMaskAbortedOrFailed == 12 && cMaskReadyOrComplete == 17 && cMaskAtRest == 29);
} // namespace

FF_AudioProcessChain::FF_AudioProcessChain() : mAbortEvent(Sys_Event::Create(1)) {}

FF_AudioProcessChain::~FF_AudioProcessChain() = default;

void FF_AudioProcessChain::Append(const FF_AudioProcess::ProcessHandle& iProcess)
{
    CMN_ASSERT(iProcess);
    iProcess->SetAbortEvent(mAbortEvent);
    if (!mProducer)
    {
        mProducer = iProcess;
        mConsumer = iProcess;
        return;
    }
    mConsumer->SetNextProcess(iProcess);
    mConsumer = iProcess;
}

void FF_AudioProcessChain::SetDescription(const std::string& iDescription)
{
    std::lock_guard<std::mutex> lock(mDescriptionMutex);
    mDescription = iDescription;
}

std::string FF_AudioProcessChain::GetDescription() const
{
    std::lock_guard<std::mutex> lock(mDescriptionMutex);
    return mDescription;
}

int64_t FF_AudioProcessChain::GetUnitsToProcess() const
{
    return mConsumer ? mConsumer->GetUnitsToProcess() : 0;
}

int32_t FF_AudioProcessChain::GetPercentCompleted() const
{
    if (!mConsumer)
        return 0;
    const int64_t toProcess = mConsumer->GetUnitsToProcess();
    if (toProcess <= 0)
        return 0;
    const int64_t percent = mConsumer->GetUnitsProcessed() * 100 / toProcess;
    return int32_t(std::clamp<int64_t>(percent, 0, 100));
}

void FF_AudioProcessChain::Allocate()
{
    CMN_ASSERT_TEXT(mProducer, "mProducer");
    CMN_ASSERT_TEXT(mConsumer, "mConsumer");
    FF_AudioProcessBlock prototype;
    int32_t maxBits = 0;
    int64_t maxSamples = 0;
    int16_t maxChannels = 0;
    for (FF_AudioProcess* stageP = mProducer.Get(); stageP; stageP = stageP->GetNextProcess().Get())
    {
        stageP->Preflight(&prototype);
        maxBits = std::max<int32_t>(maxBits, prototype.GetBitsPerSample());
        maxSamples = std::max(maxSamples, prototype.GetNumSamples());
        maxChannels = std::max(maxChannels, prototype.GetNumChannels());
    }
    prototype.SetBitsPerSample(maxBits);
    prototype.SetNumSamples(maxSamples);
    prototype.SetNumChannels(maxChannels);
    for (FF_AudioProcess* stageP = mProducer.Get(); stageP; stageP = stageP->GetNextProcess().Get())
        stageP->Allocate(prototype);
    mProcessBlockPool = std::make_unique<FF_AudioProcess::BlockPool>(cNumPoolBlocks, prototype);
    mProducer->SetProcessBlockPool(mProcessBlockPool.get());
    mConsumer->SetProcessBlockPool(mProcessBlockPool.get());
}

Sys_Task::EResult FF_AudioProcessChain::ExecImpl()
{
    CMN_ASSERT_TEXT(mpBlocker, "mpBlocker");
    if (mState != eState_Aborted && IsAbortRequested())
    {
        HandleAbort(true);
        mState = eState_Aborted;
        return eResult_Block;
    }
    return Process();
}

Sys_Task::EResult FF_AudioProcessChain::Process()
{
    CMN_ASSERT_TEXT(mpBlocker, "mpBlocker");
    switch (mState.load())
    {
    case eState_Start:
    {
        CMN_ASSERT_TEXT(mProcessBlockPool, "mProcessBlockPool");
        mWaitEvents.clear();
        mWaitList.clear();
        AddWait(mAbortEvent);
        for (FF_AudioProcess* stageP = mProducer.Get(); stageP;
             stageP = stageP->GetNextProcess().Get())
            AddWait(stageP->GetNotificationEvent(cMaskAbortedOrFailed));
        mHeadEvent = mProducer->GetNotificationEvent(cMaskReadyOrComplete);
        mHeadEvent->Reset();
        AddWait(mHeadEvent);
        FF_AudioProcessUtils::QueueAudioProcess(mProducer, 1);
        BlockOnWaitList();
        mState = eState_Running;
        return eResult_Block;
    }
    case eState_Running:
    {
        mHeadEvent->Reset();
        for (const Sys_Event::EventHandle& event : mWaitEvents)
            if (event->IsSet())
            {
                HandleAbort(true);
                mState = eState_Aborted;
                return eResult_Block;
            }
        if (mProducer->GetStatus() == eStatus_Ready)
        {
            // One producer step per wake-up of the driver.
            FF_AudioProcessUtils::QueueAudioProcess(mProducer, 1);
            BlockOnWaitList();
            return eResult_Block;
        }
        // The head has completed: now wait for the tail.
        mWaitEvents.pop_back();
        mWaitList.pop_back();
        AddWait(mConsumer->GetNotificationEvent(cMaskComplete));
        BlockOnWaitList();
        mState = eState_Draining;
        return eResult_Block;
    }
    case eState_Draining:
        if (mConsumer->GetStatus() == eStatus_Complete)
            return eResult_Done;
        HandleAbort(true);
        mState = eState_Aborted;
        return eResult_Block;
    case eState_Aborted:
    default:
        // Every stage is at rest now; one that failed meanwhile still counts.
        TakeStageException();
        if (mException)
            mException->Rethrow();
        return eResult_Aborted;
    }
}

void FF_AudioProcessChain::AbortImpl()
{
    if (!mAbortEvent->IsSet())
        mAbortEvent->Set();
    if (GetStatus() == eStatus_Ready)
        HandleAbort(false);
}

void FF_AudioProcessChain::HandleAbort(bool iBlock)
{
    if (!mAbortEvent->IsSet())
        mAbortEvent->Set();
    Sys_SyncObject::HandleList atRest;
    for (FF_AudioProcess* stageP = mProducer.Get(); stageP; stageP = stageP->GetNextProcess().Get())
    {
        if (stageP->GetStatus() == eStatus_Failed)
            mException = stageP->GetException();
        stageP->Abort();
        atRest.emplace_back(stageP->GetNotificationEvent(cMaskAtRest).Get());
    }
    if (iBlock && !atRest.empty())
        mpBlocker->Block(atRest, false);
}

void FF_AudioProcessChain::TakeStageException()
{
    for (FF_AudioProcess* stageP = mProducer.Get(); stageP; stageP = stageP->GetNextProcess().Get())
        if (stageP->GetStatus() == eStatus_Failed)
            mException = stageP->GetException();
}

void FF_AudioProcessChain::AddWait(const Sys_Event::EventHandle& iEvent)
{
    mWaitEvents.push_back(iEvent);
    mWaitList.emplace_back(iEvent.Get());
}

void FF_AudioProcessChain::BlockOnWaitList()
{
    mpBlocker->Block(mWaitList, true);
}
