#include "Sys_EventPosix.h"

Sys_EventPosix::Sys_EventPosix(bool iManualReset) : mManualReset(iManualReset) {}

Sys_Event* Sys_EventPosix::Create(int32_t iManualReset)
{
    return new Sys_EventPosix(iManualReset != 0);
}

void Sys_EventPosix::SetPlatformDependentMethods()
{
    Sys_Event::SetCreateMethod(&Create);
}

void Sys_EventPosix::Set()
{
    StLock lock;
    mSignalled = true;
    WakeWaitersLocked();
}

void Sys_EventPosix::Pulse()
{
    StLock lock;
    mSignalled = true;
    WakeWaitersLocked();
    mSignalled = false;
}

void Sys_EventPosix::Reset()
{
    StLock lock;
    mSignalled = false;
}

void Sys_EventPosix::AcquireLocked()
{
    if (!mManualReset)
        mSignalled = false;
}
