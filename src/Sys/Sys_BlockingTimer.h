// A periodic timer for a thread that paces itself.
//
// Start(period) stores the period and sets the due time to now plus one period.
// WaitForNextPeriod waits (alertably, without limit) for the due time and then adds one
// period to it, so the periods do not drift with the time the caller spends between waits:
// the n-th wait ends at start + n periods, or at once when that time has passed.
// Sleep waits once from now. Times are in microseconds.
// One thread uses a timer at a time; Sleep is static and may be called from any thread.
// Created through the hook that the platform layer installs (SetCreateMethod).
#pragma once

#include <cstdint>

#include "Cmn_PolymorphicHandle.h"
#include "Sys_ThreadSafeRefCountObject.h"

class Sys_BlockingTimer : public Sys_ThreadSafeRefCountObject
{
public:
    using BlockingTimerHandle = Cmn_PolymorphicHandle<Sys_BlockingTimer>;
    using CreateMethod = Sys_BlockingTimer* (*)();

    static BlockingTimerHandle Create();
    static CreateMethod SetCreateMethod(CreateMethod iMethod);

    Sys_BlockingTimer(const Sys_BlockingTimer&) = delete;
    Sys_BlockingTimer& operator=(const Sys_BlockingTimer&) = delete;

    // iPeriodMicroseconds > 0.
    virtual void Start(int64_t iPeriodMicroseconds) = 0;
    // Asserts "mPeriod > 0" (Start came first).
    virtual void WaitForNextPeriod() = 0;
    // The due time of the next period on the monotonic clock, in nanoseconds.
    virtual int64_t GetDueNanoseconds() const = 0;

    // Waits iMicroseconds (>= 0) from now.
    static void Sleep(int64_t iMicroseconds);

protected:
    Sys_BlockingTimer() = default;
};
