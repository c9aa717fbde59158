#include "Sys_DelayedDeletion.h"

#include <memory>
#include <mutex>

#include "Cmn_Assert.h"
#include "Sys_MessageQueue.h"

namespace
{
constinit Sys_AtomicQueue sQueue;

struct TimerState
{
    std::mutex mMutex;
    std::shared_ptr<Sys_MessageQueue> mQueue;
    uint32_t mTimerId = 0;
};

TimerState& GetTimerState()
{
    static TimerState sState;
    return sState;
}
} // namespace

// ---- Sys_AtomicQueue --------------------------------------------------------------------

void Sys_AtomicQueue::Push(Sys_AtomicQueue_Link* iLinkP)
{
    Sys_AtomicQueue_Link* headP = mHead.load();
    do
        iLinkP->mNextLink = headP;
    while (!mHead.compare_exchange_weak(headP, iLinkP));
}

Sys_AtomicQueue_Link* Sys_AtomicQueue::Pop(bool& oBusy)
{
    if (mConsumers.fetch_add(1) + 1 != 1)
    {
        mConsumers.fetch_sub(1);
        oBusy = true;
        return nullptr;
    }
    oBusy = false;
    if (!mPrivate)
    {
        Sys_AtomicQueue_Link* stackP = mHead.exchange(nullptr);
        Sys_AtomicQueue_Link* reversedP = nullptr;
        while (stackP)
        {
            Sys_AtomicQueue_Link* nextP = stackP->mNextLink;
            stackP->mNextLink = reversedP;
            reversedP = stackP;
            stackP = nextP;
        }
        mPrivate = reversedP;
    }
    Sys_AtomicQueue_Link* linkP = mPrivate;
    if (linkP)
        mPrivate = linkP->mNextLink;
    mConsumers.fetch_sub(1);
    return linkP;
}

// ---- Sys_DelayedDeletionObject ----------------------------------------------------------

void Sys_DelayedDeletionObject::DelayedDelete()
{
    sQueue.Push(this);
}

int32_t Sys_DelayedDeletionObject::CollectGarbage()
{
    int32_t count = 0;
    for (;;)
    {
        bool busy = false;
        Sys_AtomicQueue_Link* linkP = sQueue.Pop(busy);
        if (busy)
            return count == 0 ? -1 : count;
        if (!linkP)
            return count;
        delete static_cast<Sys_DelayedDeletionObject*>(linkP);
        ++count;
    }
}

void Sys_DelayedDeletionObject::Init()
{
    TimerState& state = GetTimerState();
    std::lock_guard<std::mutex> lock(state.mMutex);
    CMN_ASSERT(state.mTimerId == 0);
    state.mQueue = Sys_MessageQueue::GetCurrent();
    state.mTimerId = state.mQueue->SetTimer(1000, [] { CollectGarbage(); });
}

void Sys_DelayedDeletionObject::Shutdown()
{
    {
        TimerState& state = GetTimerState();
        std::lock_guard<std::mutex> lock(state.mMutex);
        if (state.mTimerId != 0)
            state.mQueue->KillTimer(state.mTimerId);
        state.mTimerId = 0;
        state.mQueue.reset();
    }
    CollectGarbage();
}

bool Sys_DelayedDeletionObject::IsInitialized()
{
    TimerState& state = GetTimerState();
    std::lock_guard<std::mutex> lock(state.mMutex);
    return state.mTimerId != 0;
}
