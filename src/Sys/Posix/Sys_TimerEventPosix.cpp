#include "Sys_TimerEventPosix.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "Cmn_Assert.h"

class Sys_TimerService
{
public:
    static Sys_TimerService& Instance()
    {
        // Never destroyed: the service thread may outlive static destruction.
        static Sys_TimerService* sInstanceP = new Sys_TimerService;
        return *sInstanceP;
    }

    void Arm(Sys_TimerEventPosix& ioTimer, int64_t iDue)
    {
        std::lock_guard<std::mutex> lock(mMutex);
        DisarmLocked(ioTimer);
        {
            Sys_SyncObjectPosix::StLock syncLock;
            ioTimer.mSignalled = false;
        }
        ioTimer.mArmed = true;
        ioTimer.mDue = iDue;
        const bool earliest = mDue.empty() || iDue < mDue.begin()->first;
        if (ioTimer.mSpareNode.empty())
            mDue.emplace(iDue, &ioTimer);
        else
        {
            ioTimer.mSpareNode.key() = iDue;
            ioTimer.mSpareNode.mapped() = &ioTimer;
            mDue.insert(std::move(ioTimer.mSpareNode));
        }
        if (!mThreadRunning)
        {
            mThreadRunning = true;
            std::thread(&Sys_TimerService::Run, this).detach();
        }
        else if (earliest)
            mCondition.notify_one();
    }

    void Disarm(Sys_TimerEventPosix& ioTimer, bool iReset)
    {
        std::lock_guard<std::mutex> lock(mMutex);
        DisarmLocked(ioTimer);
        if (iReset)
        {
            Sys_SyncObjectPosix::StLock syncLock;
            ioTimer.mSignalled = false;
        }
    }

    bool IsThreadRunning()
    {
        std::lock_guard<std::mutex> lock(mMutex);
        return mThreadRunning;
    }

private:
    using DueMap = std::multimap<int64_t, Sys_TimerEventPosix*>;

    void DisarmLocked(Sys_TimerEventPosix& ioTimer)
    {
        if (!ioTimer.mArmed)
            return;
        auto [first, last] = mDue.equal_range(ioTimer.mDue);
        for (auto it = first; it != last; ++it)
        {
            if (it->second == &ioTimer)
            {
                ioTimer.mSpareNode = mDue.extract(it);
                break;
            }
        }
        ioTimer.mArmed = false;
    }

    void Run()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        for (;;)
        {
            if (mDue.empty())
            {
                mCondition.wait_for(lock, std::chrono::seconds(1));
                if (mDue.empty())
                {
                    mThreadRunning = false;
                    return;
                }
                continue;
            }
            const int64_t now = Sys_TimerEvent::GetMonotonicNanoseconds();
            auto first = mDue.begin();
            if (first->first <= now)
            {
                Sys_TimerEventPosix* timerP = first->second;
                timerP->mSpareNode = mDue.extract(first);
                timerP->mArmed = false;
                Sys_SyncObjectPosix::StLock syncLock;
                timerP->FireLocked();
                continue;
            }
            mCondition.wait_until(lock, std::chrono::steady_clock::time_point(
                                            std::chrono::nanoseconds(first->first)));
        }
    }

    std::mutex mMutex;
    std::condition_variable mCondition;
    DueMap mDue;
    bool mThreadRunning = false;
};

Sys_TimerEventPosix::Sys_TimerEventPosix(bool iManualReset) : mManualReset(iManualReset) {}

Sys_TimerEventPosix::~Sys_TimerEventPosix()
{
    Sys_TimerService::Instance().Disarm(*this, false);
}

Sys_TimerEvent* Sys_TimerEventPosix::Create(bool iManualReset)
{
    return new Sys_TimerEventPosix(iManualReset);
}

void Sys_TimerEventPosix::SetPlatformDependentMethods()
{
    Sys_TimerEvent::SetCreateMethod(&Create);
}

bool Sys_TimerEventPosix::IsServiceThreadRunning()
{
    return Sys_TimerService::Instance().IsThreadRunning();
}

void Sys_TimerEventPosix::Set(int32_t iMilliseconds)
{
    CMN_ASSERT(iMilliseconds >= 0);
    SetDue(GetMonotonicNanoseconds() + int64_t(iMilliseconds) * 1000000);
}

void Sys_TimerEventPosix::SetDue(int64_t iDueNanoseconds)
{
    Sys_TimerService::Instance().Arm(*this, iDueNanoseconds);
}

void Sys_TimerEventPosix::Cancel()
{
    Sys_TimerService::Instance().Disarm(*this, true);
}

void Sys_TimerEventPosix::AcquireLocked()
{
    if (!mManualReset)
        mSignalled = false;
}

void Sys_TimerEventPosix::FireLocked()
{
    mSignalled = true;
    WakeWaitersLocked();
}
