#include "Sys_ThreadPosix.h"

#include <algorithm>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

#include "Cmn_Assert.h"
#include "Sys_OSErrData.h"

namespace
{
thread_local Sys_Thread* tCurrentThreadP = nullptr;
std::atomic<int32_t> sRunningThreads{0};
} // namespace

Sys_ThreadPosix::Sys_ThreadPosix(Sys_Thread& iThread) : Sys_ThreadImpl(iThread) {}

Sys_ThreadPosix::~Sys_ThreadPosix()
{
    if (mOSThread.joinable())
    {
        if (mOSThread.get_id() == std::this_thread::get_id())
            mOSThread.detach();
        else
            mOSThread.join();
    }
}

Sys_ThreadImpl* Sys_ThreadPosix::Create(Sys_Thread& iThread)
{
    return new Sys_ThreadPosix(iThread);
}

Sys_Thread* Sys_ThreadPosix::GetCurrent()
{
    return tCurrentThreadP;
}

void Sys_ThreadPosix::SetPlatformDependentMethods()
{
    Sys_Thread::SetCreateMethod(&Create);
    Sys_Thread::SetGetCurrentThreadMethod(&GetCurrent);
}

int32_t Sys_ThreadPosix::GetNiceValue(int32_t iPriority)
{
    const int32_t level = Sys_Thread::GetRelativeLevel(iPriority);
    return std::clamp(level * -5, -20, 19);
}

int32_t Sys_ThreadPosix::GetRunningThreadCount()
{
    return sRunningThreads.load();
}

void Sys_ThreadPosix::Suspend()
{
    std::lock_guard<std::mutex> lock(mMutex);
    ++mSuspendCount;
}

void Sys_ThreadPosix::Resume()
{
    std::lock_guard<std::mutex> lock(mMutex);
    if (mSuspendCount > 0)
        --mSuspendCount;
    if (mSuspendCount > 0)
        return;
    if (mStarted)
    {
        mResumed.notify_all();
        return;
    }
    // The body's reference, given up when a step answers 4.
    GetThread().AddReference();
    mStarted = true;
    sRunningThreads.fetch_add(1);
    try
    {
        mOSThread = std::thread(&Sys_ThreadPosix::Entry, this);
    }
    catch (const std::system_error& e)
    {
        mStarted = false;
        sRunningThreads.fetch_sub(1);
        // Cannot be the last reference: the caller holds one.
        GetThread().RemoveReference();
        Sys_ThrowIfOSErr(e.code().value() ? e.code().value() : EAGAIN, "");
    }
}

void Sys_ThreadPosix::SetPriority(int32_t iPriority)
{
    std::lock_guard<std::mutex> lock(mMutex);
    mPriority = iPriority;
    if (mTid != 0 && !mExited)
        ApplyPriorityLocked();
}

int32_t Sys_ThreadPosix::GetPriority() const
{
    std::lock_guard<std::mutex> lock(mMutex);
    return mPriority;
}

Sys_Thread::EStatus Sys_ThreadPosix::GetStatus() const
{
    if (mExited)
        return Sys_Thread::eStatus_Finished;
    return mStatus.load();
}

void Sys_ThreadPosix::SetStatus(Sys_Thread::EStatus iStatus)
{
    mStatus = iStatus;
}

void Sys_ThreadPosix::SetName(const std::string& iName)
{
    std::lock_guard<std::mutex> lock(mMutex);
    mName = iName;
    if (mTid != 0 && !mExited)
        ApplyNameLocked(mOSThread.native_handle());
}

void Sys_ThreadPosix::ApplyPriorityLocked()
{
    // Best effort: a higher priority than the process's needs privileges.
    ::setpriority(PRIO_PROCESS, id_t(mTid), GetNiceValue(mPriority));
}

void Sys_ThreadPosix::ApplyNameLocked(pthread_t iThread)
{
    if (!mName.empty())
        ::pthread_setname_np(iThread, mName.substr(0, 15).c_str());
}

void Sys_ThreadPosix::WaitWhileSuspended()
{
    std::unique_lock<std::mutex> lock(mMutex);
    if (mSuspendCount == 0)
        return;
    mStatus = Sys_Thread::eStatus_Suspended;
    mResumed.wait(lock, [this] { return mSuspendCount == 0; });
}

void Sys_ThreadPosix::OnFinished()
{
    tCurrentThreadP = nullptr;
    mExited = true;
}

void Sys_ThreadPosix::Entry()
{
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mTid = pid_t(::syscall(SYS_gettid));
        if (mPriority != Sys_Thread::ePriority_Normal)
            ApplyPriorityLocked();
        ApplyNameLocked(::pthread_self());
    }
    tCurrentThreadP = &GetThread();
    RunSteps();
    // This implementation may be gone now; only process-wide state is touched.
    sRunningThreads.fetch_sub(1);
}
