#include "Sys_MessageQueue.h"

#include <chrono>

#include "Cmn_Assert.h"
#include "Sys_TimerEvent.h"

namespace
{
thread_local std::shared_ptr<Sys_MessageQueue> tCurrentQueue;
}

std::shared_ptr<Sys_MessageQueue> Sys_MessageQueue::GetCurrent()
{
    if (!tCurrentQueue)
        tCurrentQueue = std::make_shared<Sys_MessageQueue>();
    return tCurrentQueue;
}

void Sys_MessageQueue::SetCurrent(const std::shared_ptr<Sys_MessageQueue>& iQueue)
{
    tCurrentQueue = iQueue;
}

void Sys_MessageQueue::Post(uint32_t iMessage, uintptr_t iParam1, uintptr_t iParam2)
{
    std::lock_guard<std::mutex> lock(mMutex);
    mPosted.push_back(Sys_Message{iMessage, iParam1, iParam2});
    mCondition.notify_all();
}

void Sys_MessageQueue::PostQuit()
{
    Post(eMessage_Quit, 0, 0);
}

uint32_t Sys_MessageQueue::SetTimer(int32_t iMilliseconds, TimerCallback iCallback)
{
    CMN_ASSERT(iMilliseconds > 0);
    std::lock_guard<std::mutex> lock(mMutex);
    const int64_t period = int64_t(iMilliseconds) * 1000000;
    const uint32_t id = mNextTimerId++;
    mTimers.push_back(Timer{id, period, Sys_TimerEvent::GetMonotonicNanoseconds() + period,
                            std::move(iCallback)});
    mCondition.notify_all();
    return id;
}

bool Sys_MessageQueue::KillTimer(uint32_t iTimerId)
{
    std::lock_guard<std::mutex> lock(mMutex);
    for (auto it = mTimers.begin(); it != mTimers.end(); ++it)
    {
        if (it->mId == iTimerId)
        {
            mTimers.erase(it);
            return true;
        }
    }
    return false;
}

bool Sys_MessageQueue::InFilter(uint32_t iMessage, uint32_t iMin, uint32_t iMax)
{
    return (iMin == 0 && iMax == 0) || (iMessage >= iMin && iMessage <= iMax);
}

bool Sys_MessageQueue::TakeLocked(Sys_Message& oMessage, bool iRemove, uint32_t iMin, uint32_t iMax,
                                  int64_t& oWaitUntil)
{
    for (auto it = mPosted.begin(); it != mPosted.end(); ++it)
    {
        if (InFilter(it->mMessage, iMin, iMax) || it->mMessage == eMessage_Quit)
        {
            oMessage = *it;
            if (iRemove)
                mPosted.erase(it);
            return true;
        }
    }
    oWaitUntil = 0;
    if (!InFilter(eMessage_Timer, iMin, iMax))
        return false;
    const int64_t now = Sys_TimerEvent::GetMonotonicNanoseconds();
    for (Timer& timer : mTimers)
    {
        if (timer.mDue <= now)
        {
            oMessage = Sys_Message{eMessage_Timer, timer.mId, 0};
            if (iRemove)
                timer.mDue = now + timer.mPeriod;
            return true;
        }
        if (oWaitUntil == 0 || timer.mDue < oWaitUntil)
            oWaitUntil = timer.mDue;
    }
    return false;
}

bool Sys_MessageQueue::GetMessage(Sys_Message& oMessage, uint32_t iFilterMin, uint32_t iFilterMax)
{
    std::unique_lock<std::mutex> lock(mMutex);
    for (;;)
    {
        int64_t waitUntil = 0;
        if (TakeLocked(oMessage, true, iFilterMin, iFilterMax, waitUntil))
            return oMessage.mMessage != eMessage_Quit;
        if (waitUntil == 0)
            mCondition.wait(lock);
        else
            mCondition.wait_until(
                lock, std::chrono::steady_clock::time_point(std::chrono::nanoseconds(waitUntil)));
    }
}

bool Sys_MessageQueue::PeekMessage(Sys_Message& oMessage, bool iRemove, uint32_t iFilterMin,
                                   uint32_t iFilterMax)
{
    std::lock_guard<std::mutex> lock(mMutex);
    int64_t waitUntil = 0;
    return TakeLocked(oMessage, iRemove, iFilterMin, iFilterMax, waitUntil);
}

void Sys_MessageQueue::DispatchMessage(const Sys_Message& iMessage)
{
    if (iMessage.mMessage != eMessage_Timer)
        return;
    TimerCallback callback;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        for (const Timer& timer : mTimers)
            if (timer.mId == iMessage.mParam1)
                callback = timer.mCallback;
    }
    if (callback)
        callback();
}

void Sys_MessageQueue::Run()
{
    Sys_Message message;
    while (GetMessage(message))
        DispatchMessage(message);
}

size_t Sys_MessageQueue::GetPostedCount() const
{
    std::lock_guard<std::mutex> lock(mMutex);
    return mPosted.size();
}
