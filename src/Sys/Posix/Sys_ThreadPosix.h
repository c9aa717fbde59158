// The thread of this host: a std::thread started at the first Resume.
//
// Suspension is a count under mMutex that the body looks at before each step (so a thread
// stops only between two steps); the body waits on mResumed while the count is above 0.
// Priorities are best effort: a level maps to a nice value of the thread (GetNiceValue),
// set with setpriority; a refusal (raising priority needs privileges) is ignored and the
// level asked for is still reported. Names go to the system cut to its 15 characters.
// The implementation is destroyed with its Sys_Thread: on the thread itself (the body gave
// up the last reference) it detaches, elsewhere it joins, which returns at once since the
// body has then given up its reference and is ending.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <pthread.h>
#include <string>
#include <sys/types.h>
#include <thread>

#include "Sys_Thread.h"

class Sys_ThreadPosix : public Sys_ThreadImpl
{
public:
    explicit Sys_ThreadPosix(Sys_Thread& iThread);
    ~Sys_ThreadPosix() override;

    void Suspend() override;
    void Resume() override;
    void SetPriority(int32_t iPriority) override;
    int32_t GetPriority() const override;
    Sys_Thread::EStatus GetStatus() const override;
    void SetStatus(Sys_Thread::EStatus iStatus) override;
    void SetName(const std::string& iName) override;

    static Sys_ThreadImpl* Create(Sys_Thread& iThread);
    static Sys_Thread* GetCurrent();
    static void SetPlatformDependentMethods();

    // The nice value a priority stands for: the relative level times -5, within -20..19.
    static int32_t GetNiceValue(int32_t iPriority);
    // Library threads whose body has started and not yet returned.
    static int32_t GetRunningThreadCount();

protected:
    void WaitWhileSuspended() override;
    void OnFinished() override;

private:
    void Entry();
    // With mMutex held, on a started thread.
    void ApplyPriorityLocked();
    void ApplyNameLocked(pthread_t iThread);

    mutable std::mutex mMutex;
    std::condition_variable mResumed;
    int32_t mSuspendCount = 1;
    bool mStarted = false;
    std::thread mOSThread;
    pid_t mTid = 0;
    int32_t mPriority = Sys_Thread::ePriority_Normal;
    std::string mName;
    std::atomic<Sys_Thread::EStatus> mStatus{Sys_Thread::eStatus_Suspended};
    std::atomic<bool> mExited{false};
};
