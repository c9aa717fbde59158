#include "Sys_MutexPosix.h"

#include "Cmn_Assert.h"

Sys_MutexPosix::Sys_MutexPosix(eSys_MutexType iType) : Sys_Mutex(iType) {}

Sys_Mutex* Sys_MutexPosix::Create(eSys_MutexType iType)
{
    switch (iType)
    {
    case eSys_MutexType_Plain:
    case eSys_MutexType_Tryable:
        return new Sys_MutexPosix(iType);
    }
    CMN_ASSERT(0);
    return nullptr;
}

void Sys_MutexPosix::SetPlatformDependentMethods()
{
    Sys_Mutex::SetCreateMethod(&Create);
}
