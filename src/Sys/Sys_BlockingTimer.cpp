#include "Sys_BlockingTimer.h"

#include <atomic>

#include "Cmn_Assert.h"
#include "Sys_Platform.h"
#include "Sys_TimerEvent.h"

namespace
{
std::atomic<Sys_BlockingTimer::CreateMethod> sCreateMethod{nullptr};
}

Sys_BlockingTimer::BlockingTimerHandle Sys_BlockingTimer::Create()
{
    CreateMethod method = sCreateMethod.load();
    if (!method)
    {
        Sys_SetPlatformDependentMethods();
        method = sCreateMethod.load();
    }
    return BlockingTimerHandle(method());
}

Sys_BlockingTimer::CreateMethod Sys_BlockingTimer::SetCreateMethod(CreateMethod iMethod)
{
    return sCreateMethod.exchange(iMethod);
}

void Sys_BlockingTimer::Sleep(int64_t iMicroseconds)
{
    CMN_ASSERT(iMicroseconds >= 0);
    // One timer per thread, made on its first sleep.
    thread_local Sys_TimerEvent::TimerEventHandle tTimer = Sys_TimerEvent::Create(false);
    tTimer->SetDue(Sys_TimerEvent::GetMonotonicNanoseconds() + iMicroseconds * 1000);
    tTimer->Wait(Sys_SyncObject::cWaitForever);
}
