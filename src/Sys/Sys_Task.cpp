#include "Sys_Task.h"

#include <cstdlib>
#include <cxxabi.h>
#include <exception>
#include <typeinfo>

#include "Cmn_Assert.h"

Sys_Task::Sys_Task() : mMutex(Sys_Mutex::Create(eSys_MutexType_Plain)) {}

Sys_Task::~Sys_Task() = default;

Sys_Task::EStatus Sys_Task::StatusForResult(EResult iResult, bool iAbortRequested)
{
    switch (iResult)
    {
    case eResult_Done:
        return eStatus_Complete;
    case eResult_Aborted:
        return eStatus_Aborted;
    case eResult_Requeue:
        return iAbortRequested ? eStatus_Aborted : eStatus_RequeueRequested;
    case eResult_Yield:
        return iAbortRequested ? eStatus_Aborted : eStatus_Ready;
    case eResult_Block:
        return eStatus_Blocking;
    }
    CMN_ASSERT_TEXT(false, "unknown Sys_Task::EResult");
    return eStatus_Failed;
}

Sys_Task::EStatus Sys_Task::Exec()
{
    {
        Sys_StAcquireMutex lock(*mMutex);
        if (mStatus != eStatus_Blocking && mAbortRequested)
            Abort();
        const EStatus status = mStatus;
        if (status == eStatus_Failed || status == eStatus_Aborted)
        {
            if (mNotifications)
                Notify();
            return status;
        }
        CMN_ASSERT_TEXT(status == eStatus_Ready || status == eStatus_Blocking,
                        "mStatus == eStatus_Ready || mStatus == eStatus_Blocking");
        mStatus = eStatus_Running;
    }

    EResult result = eResult_Done;
    std::unique_ptr<Cmn_Exception> failure;
    try
    {
        result = ExecImpl();
    }
    catch (...)
    {
        failure = Cmn_CaptureException(std::current_exception());
    }

    Sys_StAcquireMutex lock(*mMutex);
    if (failure)
    {
        mStatus = eStatus_Failed;
        mException = std::move(failure);
    }
    else
        mStatus = StatusForResult(result, mAbortRequested);
    if (mNotifications)
        Notify();
    return mStatus;
}

void Sys_Task::Abort()
{
    Sys_StAcquireMutex lock(*mMutex);
    if (!mAbortRequested)
    {
        mAbortRequested = true;
        AbortImpl();
    }
    if (mStatus == eStatus_Ready)
    {
        mStatus = eStatus_Aborted;
        if (mNotifications)
            Notify();
        mAbortRequested = false;
    }
}

void Sys_Task::Reset()
{
    Sys_StAcquireMutex lock(*mMutex);
    CMN_ASSERT_TEXT(mStatus == eStatus_RequeueRequested, "mStatus == eStatus_RequeueRequested");
    if (mNotifications)
        for (auto& entry : *mNotifications)
            entry.second->Reset();
    mStatus = eStatus_Ready;
}

const Cmn_Exception* Sys_Task::GetException() const
{
    Sys_StAcquireMutex lock(*mMutex);
    return mException.get();
}

std::string Sys_Task::GetName() const
{
    {
        Sys_StAcquireMutex lock(*mMutex);
        if (!mName.empty())
            return mName;
    }
    const char* rawName = typeid(*this).name();
    int status = 0;
    char* demangled = abi::__cxa_demangle(rawName, nullptr, nullptr, &status);
    std::string name = (status == 0 && demangled) ? demangled : rawName;
    std::free(demangled);
    return name;
}

void Sys_Task::SetName(const std::string& iName)
{
    Sys_StAcquireMutex lock(*mMutex);
    mName = iName;
}

Sys_Event::EventHandle Sys_Task::GetNotificationEvent(int32_t iMask)
{
    Sys_StAcquireMutex lock(*mMutex);
    if (!mNotifications)
        mNotifications = std::make_unique<NotificationList>();
    Sys_Event::EventHandle event = Sys_Event::Create(1);
    mNotifications->emplace_back(iMask, event);
    if (mStatus & iMask)
        event->Set();
    return event;
}

void Sys_Task::Notify()
{
    const int32_t status = mStatus;
    for (auto& entry : *mNotifications)
        if (entry.first & status)
            entry.second->Set();
}
