#include "Sys_Semaphore.h"

#include <atomic>

#include "Sys_Platform.h"

namespace
{
std::atomic<Sys_Semaphore::CreateMethod> sCreateMethod{nullptr};
}

Sys_Semaphore::SemaphoreHandle Sys_Semaphore::Create(int32_t iInitialCount, int32_t iMaximumCount)
{
    CreateMethod method = sCreateMethod.load();
    if (!method)
    {
        Sys_SetPlatformDependentMethods();
        method = sCreateMethod.load();
    }
    return SemaphoreHandle(method(iInitialCount, iMaximumCount));
}

Sys_Semaphore::CreateMethod Sys_Semaphore::SetCreateMethod(CreateMethod iMethod)
{
    return sCreateMethod.exchange(iMethod);
}
