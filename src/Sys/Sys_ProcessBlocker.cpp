#include "Sys_ProcessBlocker.h"

#include <utility>
#include <vector>

namespace
{
// Empty lists (with capacity) that the calling thread copies a blocker's list into, or swaps
// it out with. Waits may nest (a completion routine run by a wait may wait again), so each
// user takes its own list and gives it back cleared: in steady state no list allocates.
class ScratchList
{
public:
    ScratchList()
    {
        auto& spares = Spares();
        if (!spares.empty())
        {
            mList.swap(spares.back());
            spares.pop_back();
        }
    }
    ~ScratchList()
    {
        mList.clear();
        Spares().push_back(std::move(mList));
    }
    ScratchList(const ScratchList&) = delete;
    ScratchList& operator=(const ScratchList&) = delete;

    Sys_SyncObject::HandleList mList;

private:
    static std::vector<Sys_SyncObject::HandleList>& Spares()
    {
        thread_local std::vector<Sys_SyncObject::HandleList> tSpares;
        return tSpares;
    }
};
} // namespace

void Sys_ProcessBlockerImpl::Block(const Sys_SyncObject::HandleList& iObjects, bool iWaitForAny)
{
    std::lock_guard<std::mutex> lock(mMutex);
    mObjects = iObjects; // reuses the capacity of the list
    mWaitForAny = iWaitForAny;
}

void Sys_ProcessBlockerImpl::Block(const Sys_SyncObject::Handle& iObject)
{
    std::lock_guard<std::mutex> lock(mMutex);
    mObjects.push_back(iObject);
    mWaitForAny = false;
}

bool Sys_ProcessBlockerImpl::WaitForBlockingObjects()
{
    bool waitForAny = false;
    ScratchList objects;
    CopyBlockingObjects(objects.mList, waitForAny);
    if (objects.mList.empty())
        return true;
    if (Sys_SyncObject::WaitForMultipleObjects(objects.mList, waitForAny, 0) ==
        Sys_SyncObject::eWaitResult_TimedOut)
        return false;
    ClearBlockingObjects();
    return true;
}

bool Sys_ProcessBlockerImpl::IsBlocking() const
{
    std::lock_guard<std::mutex> lock(mMutex);
    return !mObjects.empty();
}

Sys_SyncObject::HandleList Sys_ProcessBlockerImpl::GetBlockingObjects(bool& oWaitForAny) const
{
    std::lock_guard<std::mutex> lock(mMutex);
    oWaitForAny = mWaitForAny;
    return mObjects;
}

void Sys_ProcessBlockerImpl::CopyBlockingObjects(Sys_SyncObject::HandleList& oObjects,
                                                 bool& oWaitForAny) const
{
    std::lock_guard<std::mutex> lock(mMutex);
    oWaitForAny = mWaitForAny;
    oObjects.assign(mObjects.begin(), mObjects.end());
}

void Sys_ProcessBlockerImpl::ClearBlockingObjects()
{
    // The entries are released outside the lock; mObjects keeps its capacity.
    ScratchList old;
    std::lock_guard<std::mutex> lock(mMutex);
    old.mList.assign(mObjects.begin(), mObjects.end());
    mObjects.clear();
}
