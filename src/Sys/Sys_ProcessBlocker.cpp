#include "Sys_ProcessBlocker.h"

void Sys_ProcessBlockerImpl::Block(const Sys_SyncObject::HandleList& iObjects, bool iWaitForAny)
{
    std::lock_guard<std::mutex> lock(mMutex);
    mObjects = iObjects;
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
    const Sys_SyncObject::HandleList objects = GetBlockingObjects(waitForAny);
    if (objects.empty())
        return true;
    if (Sys_SyncObject::WaitForMultipleObjects(objects, waitForAny, 0) ==
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

void Sys_ProcessBlockerImpl::ClearBlockingObjects()
{
    Sys_SyncObject::HandleList old;
    std::lock_guard<std::mutex> lock(mMutex);
    old.swap(mObjects);
}
