#include "Sys_Event.h"

#include <atomic>

#include "Sys_Platform.h"

namespace
{
std::atomic<Sys_Event::CreateMethod> sCreateMethod{nullptr};
}

Sys_Event::EventHandle Sys_Event::Create(int32_t iManualReset)
{
    CreateMethod method = sCreateMethod.load();
    if (!method)
    {
        Sys_SetPlatformDependentMethods();
        method = sCreateMethod.load();
    }
    return EventHandle(method(iManualReset));
}

Sys_Event::CreateMethod Sys_Event::SetCreateMethod(CreateMethod iMethod)
{
    return sCreateMethod.exchange(iMethod);
}

Sys_SyncObject::EWaitResult
Sys_Event::WaitForMultipleEvents(const std::vector<EventHandle>& iEvents, bool iWaitForAny,
                                 int32_t iTimeOut)
{
    HandleList objects(iEvents.begin(), iEvents.end());
    return WaitForMultipleObjects(objects, iWaitForAny, iTimeOut);
}
