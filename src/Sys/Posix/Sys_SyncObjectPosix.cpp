#include "Sys_SyncObjectPosix.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <utility>

#include "Cmn_Assert.h"
#include "Sys_EventPosix.h"
#include "Sys_OSErrData.h"
#include "Sys_SemaphorePosix.h"

namespace
{
pthread_mutex_t sLock = PTHREAD_MUTEX_INITIALIZER;

timespec DeadlineAfter(int32_t iMilliseconds)
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    int64_t nanoseconds = now.tv_nsec + int64_t(iMilliseconds % 1000) * 1000000;
    now.tv_sec += iMilliseconds / 1000 + nanoseconds / 1000000000;
    now.tv_nsec = static_cast<decltype(now.tv_nsec)>(nanoseconds % 1000000000);
    return now;
}

// Empty vectors (with capacity) for the batches of completion routines that the calling
// thread runs. A routine may wait again, so batches nest; each level takes its own vector and
// gives it back cleared, keeping the capacity for the next wait.
class RoutineBatch
{
public:
    RoutineBatch()
    {
        auto& spares = Spares();
        if (!spares.empty())
        {
            mRoutines.swap(spares.back());
            spares.pop_back();
        }
    }
    ~RoutineBatch()
    {
        // Items left over (a routine before them threw) are handed back unrun.
        for (Sys_ApcQueue::Entry& entry : mRoutines)
            if (Sys_ApcQueue::Item* itemP = std::exchange(entry.mItemP, nullptr))
                itemP->Discard();
        mRoutines.clear();
        auto& spares = Spares();
        // push_back into existing capacity; only the first batches of a thread grow it.
        spares.push_back(std::move(mRoutines));
    }
    RoutineBatch(const RoutineBatch&) = delete;
    RoutineBatch& operator=(const RoutineBatch&) = delete;

    std::vector<Sys_ApcQueue::Entry> mRoutines;

private:
    static std::vector<std::vector<Sys_ApcQueue::Entry>>& Spares()
    {
        thread_local std::vector<std::vector<Sys_ApcQueue::Entry>> tSpares;
        return tSpares;
    }
};

constexpr size_t cInitialWaiterCapacity = 8;

// Objects of a multi-object wait up to this many are listed on the stack.
constexpr size_t cInlineWaitObjects = 16;
} // namespace

// ---- Sys_ApcQueue ------------------------------------------------------------------------

Sys_ApcQueue::Sys_ApcQueue()
{
    pthread_condattr_t attributes;
    ::pthread_condattr_init(&attributes);
    ::pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    const int error = ::pthread_cond_init(&mCondition, &attributes);
    ::pthread_condattr_destroy(&attributes);
    Sys_ThrowIfOSErr(error, "");
}

Sys_ApcQueue::~Sys_ApcQueue()
{
    for (Entry& entry : mRoutines)
        if (Item* itemP = std::exchange(entry.mItemP, nullptr))
            itemP->Discard();
    ::pthread_cond_destroy(&mCondition);
}

std::shared_ptr<Sys_ApcQueue> Sys_ApcQueue::GetCurrent()
{
    thread_local std::shared_ptr<Sys_ApcQueue> tQueue = std::make_shared<Sys_ApcQueue>();
    return tQueue;
}

void Sys_ApcQueue::Post(Routine iRoutine)
{
    Sys_SyncObjectPosix::StLock lock;
    mRoutines.push_back(Entry{std::move(iRoutine), nullptr});
    if (mWaiting)
        ::pthread_cond_signal(&mCondition);
}

void Sys_ApcQueue::Post(Item* iItemP)
{
    CMN_ASSERT(iItemP);
    Sys_SyncObjectPosix::StLock lock;
    mRoutines.push_back(Entry{Routine(), iItemP});
    if (mWaiting)
        ::pthread_cond_signal(&mCondition);
}

size_t Sys_ApcQueue::GetPendingCount() const
{
    Sys_SyncObjectPosix::StLock lock;
    return mRoutines.size();
}

// ---- Sys_SyncObjectPosix -----------------------------------------------------------------

Sys_SyncObjectPosix::StLock::StLock()
{
    ::pthread_mutex_lock(&sLock);
}

Sys_SyncObjectPosix::StLock::~StLock()
{
    ::pthread_mutex_unlock(&sLock);
}

Sys_SyncObjectPosix::Sys_SyncObjectPosix()
{
    // Room for several waiters from the start: the first wait for an object, which may come
    // late in a stream, then does not allocate.
    mWaiters.reserve(cInitialWaiterCapacity);
}

Sys_SyncObjectPosix::~Sys_SyncObjectPosix()
{
    // A waiter holds a handle to every object it waits for, so none can be listed here.
}

int32_t Sys_SyncObjectPosix::GetWaiterCount() const
{
    StLock lock;
    return int32_t(mWaiters.size());
}

bool Sys_SyncObjectPosix::TryAcquireLocked(Sys_SyncObjectPosix* const* iObjects, size_t iCount,
                                           bool iWaitForAny)
{
    if (iWaitForAny)
    {
        for (size_t i = 0; i < iCount; ++i)
        {
            if (iObjects[i]->IsSignalledLocked())
            {
                iObjects[i]->AcquireLocked();
                return true;
            }
        }
        return false;
    }
    for (size_t i = 0; i < iCount; ++i)
        if (!iObjects[i]->IsSignalledLocked())
            return false;
    for (size_t i = 0; i < iCount; ++i)
        iObjects[i]->AcquireLocked();
    return true;
}

void Sys_SyncObjectPosix::WakeWaitersLocked()
{
    for (Sys_ApcQueue* waiter : mWaiters)
    {
        if (!IsSignalledLocked())
            break;
        if (waiter->mGranted)
            continue;
        if (TryAcquireLocked(waiter->mObjects, waiter->mObjectCount, waiter->mWaitForAny))
        {
            waiter->mGranted = true;
            ::pthread_cond_signal(&waiter->mCondition);
        }
    }
}

Sys_SyncObject::EWaitResult Sys_SyncObjectPosix::WaitImpl(Sys_SyncObjectPosix* const* iObjects,
                                                          size_t iCount, bool iWaitForAny,
                                                          int32_t iTimeOut)
{
    const std::shared_ptr<Sys_ApcQueue> queueP = Sys_ApcQueue::GetCurrent();
    Sys_ApcQueue& self = *queueP;
    for (;;)
    {
        const timespec deadline = DeadlineAfter(iTimeOut > 0 ? iTimeOut : 0);
        RoutineBatch batch;
        {
            StLock lock;
            if (TryAcquireLocked(iObjects, iCount, iWaitForAny))
                return eWaitResult_Signalled;
            if (self.mRoutines.empty())
            {
                if (iTimeOut == 0)
                    return eWaitResult_TimedOut;
                self.mObjects = iObjects;
                self.mObjectCount = iCount;
                self.mWaitForAny = iWaitForAny;
                self.mGranted = false;
                self.mWaiting = true;
                for (size_t i = 0; i < iCount; ++i)
                    iObjects[i]->mWaiters.push_back(&self);
                int error = 0;
                while (!self.mGranted && self.mRoutines.empty() && error != ETIMEDOUT)
                {
                    if (iTimeOut == cWaitForever)
                        error = ::pthread_cond_wait(&self.mCondition, &sLock);
                    else
                        error = ::pthread_cond_timedwait(&self.mCondition, &sLock, &deadline);
                }
                for (size_t i = 0; i < iCount; ++i)
                {
                    auto& waiters = iObjects[i]->mWaiters;
                    auto found = std::find(waiters.begin(), waiters.end(), &self);
                    if (found != waiters.end())
                        waiters.erase(found);
                }
                self.mWaiting = false;
                self.mObjects = nullptr;
                self.mObjectCount = 0;
                if (self.mGranted)
                    return eWaitResult_Signalled;
                if (self.mRoutines.empty())
                    return eWaitResult_TimedOut;
            }
            batch.mRoutines.swap(self.mRoutines);
        }
        // Completion routines run outside the lock; then the wait starts over.
        for (Sys_ApcQueue::Entry& entry : batch.mRoutines)
        {
            if (Sys_ApcQueue::Item* itemP = std::exchange(entry.mItemP, nullptr))
                itemP->Run();
            else
                entry.mRoutine();
        }
    }
}

Sys_SyncObject::EWaitResult Sys_SyncObjectPosix::Wait(int32_t inTimeOut)
{
    CMN_ASSERT(inTimeOut >= cWaitForever);
    Sys_SyncObjectPosix* self = this;
    return WaitImpl(&self, 1, true, inTimeOut);
}

Sys_SyncObject::EWaitResult
Sys_SyncObjectPosix::WaitForMultipleObjectsPosix(const HandleList& iObjects, bool iWaitForAny,
                                                 int32_t inTimeOut)
{
    CMN_ASSERT(inTimeOut >= cWaitForever);
    if (iObjects.empty())
        Sys_ThrowIfOSErr(EINVAL, "");
    // Short lists (the usual case) stay on the stack; longer ones go to the heap.
    Sys_SyncObjectPosix* inlineObjects[cInlineWaitObjects];
    std::vector<Sys_SyncObjectPosix*> heapObjects;
    Sys_SyncObjectPosix** objects = inlineObjects;
    if (iObjects.size() > cInlineWaitObjects)
    {
        heapObjects.resize(iObjects.size());
        objects = heapObjects.data();
    }
    size_t count = 0;
    for (const auto& handle : iObjects)
    {
        auto* objectP = dynamic_cast<Sys_SyncObjectPosix*>(handle.Get());
        if (!objectP)
            Sys_ThrowIfOSErr(EINVAL, "");
        if (!iWaitForAny && std::find(objects, objects + count, objectP) != objects + count)
            Sys_ThrowIfOSErr(EINVAL, "");
        objects[count++] = objectP;
    }
    return WaitImpl(objects, count, iWaitForAny, inTimeOut);
}

void Sys_SyncObjectPosix::SetPlatformDependentMethods()
{
    Sys_SyncObject::SetWaitForMultipleObjectsMethod(&WaitForMultipleObjectsPosix);
    Sys_EventPosix::SetPlatformDependentMethods();
    Sys_SemaphorePosix::SetPlatformDependentMethods();
}
