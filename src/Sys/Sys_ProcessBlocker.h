// How a task asks its thread to wait for it, without blocking inside the task.
//
// A task that must wait calls Block on its thread's blocker (Sys_Thread::GetCurrentThread)
// and returns eResult_Block; the thread body then waits for the listed objects (any or all)
// and steps again. Block(list, waitForAny) replaces the list; Block(one) appends and makes
// the wait a wait for all. IsBlocking is true while the list is not empty.
// WaitForBlockingObjects polls (timeout 0) and clears the list when the wait is satisfied.
//
// Sys_ProcessBlockerImpl keeps the list under a mutex of its own, so a blocker may be filled
// by one thread (normally the one it belongs to) and read by another.
#pragma once

#include <mutex>

#include "Sys_SyncObject.h"

class Sys_ProcessBlocker
{
public:
    virtual ~Sys_ProcessBlocker() = default;

    virtual void Block(const Sys_SyncObject::HandleList& iObjects, bool iWaitForAny) = 0;
    virtual void Block(const Sys_SyncObject::Handle& iObject) = 0;
    // True when the wait was satisfied (the list is then empty) or there was nothing to
    // wait for.
    virtual bool WaitForBlockingObjects() = 0;
    virtual bool IsBlocking() const = 0;
};

class Sys_ProcessBlockerImpl : public Sys_ProcessBlocker
{
public:
    void Block(const Sys_SyncObject::HandleList& iObjects, bool iWaitForAny) override;
    void Block(const Sys_SyncObject::Handle& iObject) override;
    bool WaitForBlockingObjects() override;
    bool IsBlocking() const override;

    // The list and the flag as they stand (for the thread body).
    Sys_SyncObject::HandleList GetBlockingObjects(bool& oWaitForAny) const;
    // The same into oObjects (replacing its entries, reusing its capacity).
    void CopyBlockingObjects(Sys_SyncObject::HandleList& oObjects, bool& oWaitForAny) const;
    void ClearBlockingObjects();

private:
    mutable std::mutex mMutex;
    Sys_SyncObject::HandleList mObjects;
    bool mWaitForAny = false;
};
