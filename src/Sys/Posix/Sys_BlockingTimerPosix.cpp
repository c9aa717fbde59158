#include "Sys_BlockingTimerPosix.h"

#include "Cmn_Assert.h"

Sys_BlockingTimerPosix::Sys_BlockingTimerPosix() : mTimer(Sys_TimerEvent::Create(false)) {}

Sys_BlockingTimer* Sys_BlockingTimerPosix::Create()
{
    return new Sys_BlockingTimerPosix;
}

void Sys_BlockingTimerPosix::SetPlatformDependentMethods()
{
    Sys_BlockingTimer::SetCreateMethod(&Create);
}

void Sys_BlockingTimerPosix::Start(int64_t iPeriodMicroseconds)
{
    CMN_ASSERT(iPeriodMicroseconds > 0);
    mPeriod = iPeriodMicroseconds * 1000;
    mDue = Sys_TimerEvent::GetMonotonicNanoseconds() + mPeriod;
}

void Sys_BlockingTimerPosix::WaitForNextPeriod()
{
    CMN_ASSERT(mPeriod > 0);
    mTimer->SetDue(mDue);
    mTimer->Wait(Sys_SyncObject::cWaitForever);
    mDue += mPeriod;
}
