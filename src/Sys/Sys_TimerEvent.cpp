#include "Sys_TimerEvent.h"

#include <atomic>
#include <chrono>

#include "Sys_Platform.h"

namespace
{
std::atomic<Sys_TimerEvent::CreateMethod> sCreateMethod{nullptr};
}

Sys_TimerEvent::TimerEventHandle Sys_TimerEvent::Create(bool iManualReset)
{
    CreateMethod method = sCreateMethod.load();
    if (!method)
    {
        Sys_SetPlatformDependentMethods();
        method = sCreateMethod.load();
    }
    return TimerEventHandle(method(iManualReset));
}

Sys_TimerEvent::CreateMethod Sys_TimerEvent::SetCreateMethod(CreateMethod iMethod)
{
    return sCreateMethod.exchange(iMethod);
}

int64_t Sys_TimerEvent::GetMonotonicNanoseconds()
{
    // steady_clock is CLOCK_MONOTONIC on this host.
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
