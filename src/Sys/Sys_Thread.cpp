#include "Sys_Thread.h"

#include <atomic>
#include <exception>

#include "Cmn_Assert.h"
#include "Sys_Platform.h"
#include "Sys_Utils.h"

namespace
{
std::atomic<Sys_Thread::CreateMethod> sCreateMethod{nullptr};
std::atomic<Sys_Thread::GetCurrentThreadMethod> sGetCurrentThreadMethod{nullptr};

void InstallDefaultMethods()
{
    if (!sCreateMethod.load() || !sGetCurrentThreadMethod.load())
        Sys_SetPlatformDependentMethods();
}
} // namespace

// ---- Sys_Thread -------------------------------------------------------------------------

Sys_Thread::Sys_Thread(const Sys_Task::TaskHandle& iTask) : mTask(iTask)
{
    InstallDefaultMethods();
    Sys_ThreadImpl* implP = sCreateMethod.load()(*this);
    CMN_ASSERT_TEXT(implP != nullptr, "mThreadHandle");
    mImpl.reset(implP);
}

Sys_Thread::~Sys_Thread() = default;

Sys_Thread::ThreadHandle Sys_Thread::Create(const Sys_Task::TaskHandle& iTask, bool iStartSuspended)
{
    CMN_ASSERT(iTask);
    ThreadHandle thread(new Sys_Thread(iTask));
    if (!iStartSuspended)
        thread->Resume();
    return thread;
}

Sys_Thread::ThreadHandle Sys_Thread::GetCurrentThread()
{
    InstallDefaultMethods();
    return ThreadHandle(sGetCurrentThreadMethod.load()());
}

Sys_Thread::CreateMethod Sys_Thread::SetCreateMethod(CreateMethod iMethod)
{
    return sCreateMethod.exchange(iMethod);
}

Sys_Thread::GetCurrentThreadMethod
Sys_Thread::SetGetCurrentThreadMethod(GetCurrentThreadMethod iMethod)
{
    return sGetCurrentThreadMethod.exchange(iMethod);
}

int32_t Sys_Thread::GetRelativeLevel(int32_t iPriority)
{
    static const int32_t cLevels[] = {-15, -2, -1, 0, 1, 2, 15};
    if (iPriority >= ePriority_Idle && iPriority <= ePriority_TimeCritical)
        return cLevels[iPriority];
    return iPriority;
}

void Sys_Thread::SetName(const std::string& iName)
{
    {
        std::lock_guard<std::mutex> lock(mNameMutex);
        mName = iName;
    }
    mImpl->SetName(iName);
}

std::string Sys_Thread::GetName() const
{
    std::lock_guard<std::mutex> lock(mNameMutex);
    return mName;
}

Sys_Thread::EStatus Sys_Thread::GetStatus() const
{
    return mImpl->GetStatus();
}

int32_t Sys_Thread::GetPriority() const
{
    return mImpl->GetPriority();
}

void Sys_Thread::Suspend()
{
    mImpl->Suspend();
}

void Sys_Thread::Resume()
{
    mImpl->Resume();
}

void Sys_Thread::SetPriority(int32_t iPriority)
{
    mImpl->SetPriority(iPriority);
}

Sys_Thread::EStatus Sys_Thread::Exec()
{
    const Sys_Task::EStatus status = mTask->Exec();
    switch (status)
    {
    case Sys_Task::eStatus_Aborted:
    case Sys_Task::eStatus_Failed:
    case Sys_Task::eStatus_Complete:
        return eStatus_Finished;
    case Sys_Task::eStatus_Blocking:
        return eStatus_Blocked;
    case Sys_Task::eStatus_RequeueRequested:
        // A task that asks to run again must be reset before its next step.
        mTask->Reset();
        return eStatus_GoOn;
    default:
        return eStatus_GoOn;
    }
}

void Sys_Thread::Block(const Sys_SyncObject::HandleList& iObjects, bool iWaitForAny)
{
    mImpl->Block(iObjects, iWaitForAny);
}

void Sys_Thread::Block(const Sys_SyncObject::Handle& iObject)
{
    mImpl->Block(iObject);
}

bool Sys_Thread::WaitForBlockingObjects()
{
    return mImpl->WaitForBlockingObjects();
}

bool Sys_Thread::IsBlocking() const
{
    return mImpl->IsBlocking();
}

// ---- Sys_ThreadImpl ---------------------------------------------------------------------

void Sys_ThreadImpl::RunSteps()
{
    // The list to wait for, reused from step to step (it keeps its capacity).
    Sys_SyncObject::HandleList objects;
    for (;;)
    {
        WaitWhileSuspended();
        Sys_Thread::EStatus result = Sys_Thread::eStatus_Finished;
        try
        {
            CMN_ASSERT_TEXT(mThreadP, "mThread");
            SetStatus(Sys_Thread::eStatus_Running);
            result = mThreadP->Exec();
            SetStatus(result);
            if (result == Sys_Thread::eStatus_Blocked)
            {
                bool waitForAny = false;
                CopyBlockingObjects(objects, waitForAny);
                if (!objects.empty())
                    Sys_SyncObject::WaitForMultipleObjects(objects, waitForAny,
                                                           Sys_SyncObject::cWaitForever);
                objects.clear();
                ClearBlockingObjects();
            }
        }
        catch (const std::exception& e)
        {
            if (!Sys_Utils::HandleFatalException(e))
                throw;
        }
        objects.clear(); // also after a wait that threw
        if (result == Sys_Thread::eStatus_Finished)
        {
            OnFinished();
            // May destroy this implementation: nothing of it is touched afterwards.
            mThreadP->RemoveReference();
            return;
        }
    }
}

// ---- Sys_StBoostThreadPriority ----------------------------------------------------------

Sys_StBoostThreadPriority::Sys_StBoostThreadPriority(int32_t iPriority)
    : mThread(Sys_Thread::GetCurrentThread())
{
    if (mThread)
    {
        mOldPriority = mThread->GetPriority();
        mThread->SetPriority(iPriority);
    }
}

Sys_StBoostThreadPriority::~Sys_StBoostThreadPriority()
{
    if (mThread)
        mThread->SetPriority(mOldPriority);
}
