// Threads that run tasks.
//
// A Sys_Thread runs steps: each step calls Exec, whose answer (EStatus of the thread) says
// what comes next: 0 step again at once, 3 wait for the blocking objects (see
// Sys_ProcessBlocker) and then step again, 4 end. A Sys_Thread bound to one task runs that
// task until it ends; Sys_MultiTaskThread runs a queue of tasks.
//
// Ownership and life:
//  1. Clients hold the thread by ThreadHandle. While its operating-system thread runs, the
//     implementation holds one more reference; the body gives it up as its very last act
//     when a step answers 4. So a running thread is never destroyed under its own feet, and
//     IsHeldByClient is "the count is above 1".
//  2. The operating-system thread starts at the first Resume (Create resumes unless told to
//     start suspended). A thread that was never resumed holds no reference of its own and
//     dies with its last client handle.
//  3. Suspend and Resume count like the system calls they stand for; a suspended thread
//     stops only between two steps, never inside one. Status 2 until the first Resume.
//  4. An exception that escapes a step (tasks' never do: Sys_Task::Exec keeps them) goes to
//     Sys_Utils::HandleFatalException, and is rethrown when that declines, which ends the
//     process.
//  5. Priorities are best effort (see Sys_ThreadPosix): the value asked for is kept and
//     reported by GetPriority whether or not the system granted it.
// The portable classes make no system call; Sys_ThreadPosix fills the creation hook.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "Cmn_PolymorphicHandle.h"
#include "Sys_ProcessBlocker.h"
#include "Sys_Task.h"
#include "Sys_ThreadSafeRefCountObject.h"

class Sys_ThreadImpl;

class Sys_Thread : public Sys_ThreadSafeRefCountObject, public Sys_ProcessBlocker
{
public:
    enum EStatus
    {
        eStatus_GoOn = 0,
        eStatus_Running = 1,
        eStatus_Suspended = 2,
        eStatus_Blocked = 3,
        eStatus_Finished = 4
    };

    // The seven levels of SetPriority. GetRelativeLevel gives the relative level each stands
    // for: -15, -2, -1, 0, 1, 2, 15; any other value stands for itself.
    enum EPriority
    {
        ePriority_Idle = 0,
        ePriority_Lowest = 1,
        ePriority_BelowNormal = 2,
        ePriority_Normal = 3,
        ePriority_AboveNormal = 4,
        ePriority_Highest = 5,
        ePriority_TimeCritical = 6
    };

    using ThreadHandle = Cmn_PolymorphicHandle<Sys_Thread>;
    using CreateMethod = Sys_ThreadImpl* (*)(Sys_Thread& iThread);
    using GetCurrentThreadMethod = Sys_Thread* (*)();

    // A thread bound to iTask; resumed unless iStartSuspended.
    static ThreadHandle Create(const Sys_Task::TaskHandle& iTask, bool iStartSuspended = false);
    // The library thread that calls, or an empty handle for any other thread.
    static ThreadHandle GetCurrentThread();
    static CreateMethod SetCreateMethod(CreateMethod iMethod);
    static GetCurrentThreadMethod SetGetCurrentThreadMethod(GetCurrentThreadMethod iMethod);
    static int32_t GetRelativeLevel(int32_t iPriority);

    Sys_Thread(const Sys_Thread&) = delete;
    Sys_Thread& operator=(const Sys_Thread&) = delete;

    void SetName(const std::string& iName);
    std::string GetName() const;
    Sys_ThreadImpl& GetImpl() const { return *mImpl; }
    // 4 once the operating-system thread has ended, else the last status of the body.
    EStatus GetStatus() const;
    bool IsHeldByClient() const { return GetRefCount() > 1; }
    const Sys_Task::TaskHandle& GetTask() const { return mTask; }
    int32_t GetPriority() const;

    virtual void Suspend();
    virtual void Resume();
    virtual void SetPriority(int32_t iPriority);
    // One step (called by the thread body only).
    virtual EStatus Exec();

    void Block(const Sys_SyncObject::HandleList& iObjects, bool iWaitForAny) override;
    void Block(const Sys_SyncObject::Handle& iObject) override;
    bool WaitForBlockingObjects() override;
    bool IsBlocking() const override;

protected:
    explicit Sys_Thread(const Sys_Task::TaskHandle& iTask);
    ~Sys_Thread() override;

private:
    mutable std::mutex mNameMutex;
    std::string mName;
    Sys_Task::TaskHandle mTask;
    std::unique_ptr<Sys_ThreadImpl> mImpl;
};

// The platform side of a thread: the blocker list, suspension, priority, status.
class Sys_ThreadImpl : public Sys_ProcessBlockerImpl
{
public:
    explicit Sys_ThreadImpl(Sys_Thread& iThread) : mThreadP(&iThread) {}
    ~Sys_ThreadImpl() override = default;
    Sys_ThreadImpl(const Sys_ThreadImpl&) = delete;
    Sys_ThreadImpl& operator=(const Sys_ThreadImpl&) = delete;

    virtual void Suspend() = 0;
    virtual void Resume() = 0;
    virtual void SetPriority(int32_t iPriority) = 0;
    virtual int32_t GetPriority() const = 0;
    virtual Sys_Thread::EStatus GetStatus() const = 0;
    virtual void SetStatus(Sys_Thread::EStatus iStatus) = 0;
    virtual void SetName(const std::string& iName) = 0;

    Sys_Thread& GetThread() const { return *mThreadP; }

protected:
    // The portable body, run on the new thread. WaitWhileSuspended is called before each
    // step; the reference to the thread (taken when the thread started) is given up when a
    // step answers 4, after OnFinished, as the last thing the body does.
    void RunSteps();
    virtual void WaitWhileSuspended() = 0;
    virtual void OnFinished() = 0;

private:
    Sys_Thread* const mThreadP;
};

// Sets the calling library thread's priority for a scope, then puts back the one before.
// Does nothing on a thread that is not a library thread.
class Sys_StBoostThreadPriority
{
public:
    explicit Sys_StBoostThreadPriority(int32_t iPriority);
    ~Sys_StBoostThreadPriority();
    Sys_StBoostThreadPriority(const Sys_StBoostThreadPriority&) = delete;
    Sys_StBoostThreadPriority& operator=(const Sys_StBoostThreadPriority&) = delete;

private:
    Sys_Thread::ThreadHandle mThread;
    int32_t mOldPriority = Sys_Thread::ePriority_Normal;
};
