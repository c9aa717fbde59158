#include "Sys_Raw.h"

#include <atomic>

#include "Cmn_Assert.h"
#include "Sys_Platform.h"

namespace
{
std::atomic<Sys_RawThread::CreateMethod> sCreateMethod{nullptr};

template <class Predicate>
bool WaitFor(std::condition_variable& iCondition, std::unique_lock<std::mutex>& ioLock,
             int32_t iTimeOut, Predicate iPredicate)
{
    if (iTimeOut < 0)
    {
        iCondition.wait(ioLock, iPredicate);
        return true;
    }
    return iCondition.wait_for(ioLock, std::chrono::milliseconds(iTimeOut), iPredicate);
}
} // namespace

// ---- Sys_RawThread ----------------------------------------------------------------------

Sys_RawThread::RawThreadHandle Sys_RawThread::Create(std::unique_ptr<Sys_RawThreadTask> iTask,
                                                     size_t iStackSize)
{
    CMN_ASSERT(iTask);
    CreateMethod method = sCreateMethod.load();
    if (!method)
    {
        Sys_SetPlatformDependentMethods();
        method = sCreateMethod.load();
    }
    return RawThreadHandle(method(std::move(iTask), iStackSize));
}

Sys_RawThread::CreateMethod Sys_RawThread::SetCreateMethod(CreateMethod iMethod)
{
    return sCreateMethod.exchange(iMethod);
}

void Sys_RawThread::RefCountDelete()
{
    // A thread cannot wait for its own end: someone else destroys it later.
    if (IsCurrentThread())
        DelayedDelete();
    else
        delete this;
}

// ---- Sys_RawSemaphore -------------------------------------------------------------------

Sys_RawSemaphore::Sys_RawSemaphore(int32_t iInitialCount, int32_t iMaximumCount)
    : mCount(iInitialCount), mMaximumCount(iMaximumCount)
{
    CMN_ASSERT(iInitialCount >= 0 && iMaximumCount >= 1 && iInitialCount <= iMaximumCount);
}

bool Sys_RawSemaphore::Wait(int32_t iTimeOut)
{
    std::unique_lock<std::mutex> lock(mMutex);
    if (!WaitFor(mCondition, lock, iTimeOut, [this] { return mCount > 0; }))
        return false;
    --mCount;
    return true;
}

bool Sys_RawSemaphore::Release(int32_t iCount)
{
    CMN_ASSERT(iCount >= 0);
    std::lock_guard<std::mutex> lock(mMutex);
    if (iCount > mMaximumCount - mCount)
        return false;
    mCount += iCount;
    mCondition.notify_all();
    return true;
}

// ---- Sys_RawEvent -----------------------------------------------------------------------

Sys_RawEvent::Sys_RawEvent(bool iManualReset) : mManualReset(iManualReset) {}

void Sys_RawEvent::Set()
{
    std::lock_guard<std::mutex> lock(mMutex);
    mSignalled = true;
    mCondition.notify_all();
}

void Sys_RawEvent::Reset()
{
    std::lock_guard<std::mutex> lock(mMutex);
    mSignalled = false;
}

bool Sys_RawEvent::Wait(int32_t iTimeOut)
{
    std::unique_lock<std::mutex> lock(mMutex);
    if (!WaitFor(mCondition, lock, iTimeOut, [this] { return mSignalled; }))
        return false;
    if (!mManualReset)
        mSignalled = false;
    return true;
}
