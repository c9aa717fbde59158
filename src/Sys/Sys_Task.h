// A unit of work that runs in steps.
//
// State machine (EStatus is a bit value so that one notification mask can name several):
//
//     Ready --Exec--> Running --ExecImpl result--> Complete | Aborted | Failed   (final)
//                                               \-> Ready (yield) | RequeueRequested
//                                               \-> Blocking --Exec--> Running ...
//     Ready --Abort--> Aborted                  RequeueRequested --Reset--> Ready
//
// Invariants:
//  1. mStatus, the abort flag, the stored exception and the notification list change only
//     under mMutex (a recursive Sys_Mutex); GetStatus and IsAbortRequested read atomically
//     without it.
//  2. ExecImpl runs without mMutex, so Abort from another thread never waits for a step;
//     AbortImpl and the notification run with mMutex held and must not wait for the task.
//  3. Nothing escapes Exec: a step that throws ends the task as Failed with a clone of the
//     exception (a standard exception is wrapped with its text).
//  4. Exec is called by a queue or a thread, one at a time for one task, never by ExecImpl.
//     An Exec in any status but Ready, Blocking, Aborted or Failed asserts
//     "mStatus == eStatus_Ready || mStatus == eStatus_Blocking".
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Cmn_Exception.h"
#include "Cmn_PolymorphicHandle.h"
#include "Sys_Event.h"
#include "Sys_Mutex.h"
#include "Sys_ThreadSafeRefCountObject.h"

class Sys_Task : public Sys_ThreadSafeRefCountObject
{
public:
    enum EStatus
    {
        eStatus_Ready = 1,
        eStatus_Running = 2,
        eStatus_Aborted = 4,
        eStatus_Failed = 8,
        eStatus_Complete = 16,
        eStatus_RequeueRequested = 32,
        eStatus_Blocking = 64
    };

    enum EResult
    {
        eResult_Done = 0,
        eResult_Aborted = 1,
        eResult_Requeue = 2,
        eResult_Yield = 3,
        eResult_Block = 4
    };

    using TaskHandle = Cmn_PolymorphicHandle<Sys_Task>;

    Sys_Task();
    ~Sys_Task() override;
    Sys_Task(const Sys_Task&) = delete;
    Sys_Task& operator=(const Sys_Task&) = delete;

    // Runs one step and returns the status that follows.
    EStatus Exec();
    // Requests the end of the task: sets the flag and calls AbortImpl (once); a Ready task
    // becomes Aborted at once (and the flag is cleared); a running one sees the flag through
    // IsAbortRequested at its next poll. Any thread.
    void Abort();
    // From RequeueRequested to Ready; resets every notification event. Asserts
    // "mStatus == eStatus_RequeueRequested".
    void Reset();

    EStatus GetStatus() const { return mStatus.load(); }
    bool IsAbortRequested() const { return mAbortRequested.load(); }
    // The exception of a failed task (owned by the task), or null.
    const Cmn_Exception* GetException() const;
    // The name given by SetName, else the type name of the most derived class.
    std::string GetName() const;
    void SetName(const std::string& iName);

    // A manual-reset event, set whenever the status has a bit of iMask (at once when it
    // already has). The task keeps it for its lifetime.
    Sys_Event::EventHandle GetNotificationEvent(int32_t iMask);

    // The status that a step's result gives (with abort requested or not).
    static EStatus StatusForResult(EResult iResult, bool iAbortRequested);

protected:
    virtual EResult ExecImpl() = 0;
    // Called once, by the first Abort, with mMutex held.
    virtual void AbortImpl() {}

private:
    using NotificationList = std::vector<std::pair<int32_t, Sys_Event::EventHandle>>;

    // With mMutex held.
    void Notify();

    Sys_Mutex::MutexHandle mMutex;
    std::atomic<EStatus> mStatus{eStatus_Ready};
    std::atomic<bool> mAbortRequested{false};
    std::string mName;
    std::unique_ptr<Cmn_Exception> mException;
    std::unique_ptr<NotificationList> mNotifications;
};
