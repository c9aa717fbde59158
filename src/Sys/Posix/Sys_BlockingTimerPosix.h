// The blocking timer of this host: an absolute due time on the monotonic clock and an
// auto-reset Sys_TimerEvent armed for it before each wait.
#pragma once

#include "Sys_BlockingTimer.h"
#include "Sys_TimerEvent.h"

class Sys_BlockingTimerPosix : public Sys_BlockingTimer
{
public:
    Sys_BlockingTimerPosix();

    void Start(int64_t iPeriodMicroseconds) override;
    void WaitForNextPeriod() override;
    int64_t GetDueNanoseconds() const override { return mDue; }

    static Sys_BlockingTimer* Create();
    static void SetPlatformDependentMethods();

private:
    Sys_TimerEvent::TimerEventHandle mTimer;
    int64_t mPeriod = 0; // nanoseconds
    int64_t mDue = 0;    // nanoseconds on the monotonic clock
};
