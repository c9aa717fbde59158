#include "Sys_Mutex.h"

#include <atomic>

#include "Cmn_Assert.h"
#include "Sys_Platform.h"

namespace
{
std::atomic<Sys_Mutex::CreateMethod> sCreateMethod{nullptr};
}

Sys_Mutex::MutexHandle Sys_Mutex::Create(eSys_MutexType iType)
{
    CreateMethod method = sCreateMethod.load();
    if (!method)
    {
        Sys_SetPlatformDependentMethods();
        method = sCreateMethod.load();
    }
    Sys_Mutex* mutexP = method(iType);
    CMN_ASSERT_TEXT(mutexP != nullptr, "mhMutex != NULL");
    return MutexHandle(mutexP);
}

Sys_Mutex::CreateMethod Sys_Mutex::SetCreateMethod(CreateMethod iMethod)
{
    return sCreateMethod.exchange(iMethod);
}

bool Sys_Mutex::TryAcquire()
{
    CMN_ASSERT_TEXT(mType == eSys_MutexType_Tryable, "mType == eSys_MutexType_Tryable");
    return TryAcquireImpl();
}

Sys_StAcquireMutex::Sys_StAcquireMutex(Sys_Mutex& iMutex, bool iTryOnly) : mMutex(iMutex)
{
    if (iTryOnly)
        mAcquired = mMutex.TryAcquire();
    else
    {
        mMutex.Acquire();
        mAcquired = true;
    }
}

Sys_StAcquireMutex::~Sys_StAcquireMutex()
{
    if (mAcquired)
        mMutex.Release();
}
