#include "Sys_SyncObject.h"

#include <atomic>

#include "Cmn_Assert.h"
#include "Sys_Platform.h"

namespace
{
std::atomic<Sys_SyncObject::WaitForMultipleObjectsMethod> sWaitForMultipleObjectsMethod{nullptr};
}

Sys_SyncObject::EWaitResult Sys_SyncObject::WaitForMultipleObjects(const HandleList& iObjects,
                                                                   bool iWaitForAny,
                                                                   int32_t inTimeOut)
{
    CMN_ASSERT(inTimeOut >= cWaitForever);
    WaitForMultipleObjectsMethod method = sWaitForMultipleObjectsMethod.load();
    if (!method)
    {
        Sys_SetPlatformDependentMethods();
        method = sWaitForMultipleObjectsMethod.load();
    }
    return method(iObjects, iWaitForAny, inTimeOut);
}

Sys_SyncObject::WaitForMultipleObjectsMethod
Sys_SyncObject::SetWaitForMultipleObjectsMethod(WaitForMultipleObjectsMethod iMethod)
{
    return sWaitForMultipleObjectsMethod.exchange(iMethod);
}
