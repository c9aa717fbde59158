// A waitable timer: an event that the clock sets.
//
// Set(milliseconds) arms a one-shot timer due at now plus the delay, taken as an absolute
// time on the monotonic clock (so time spent in a system suspend counts), and resets the
// event. When the due time comes the event is set: a manual-reset timer stays set until the
// next Set, Cancel or Reset; an auto-reset timer releases one waiter. SetDue arms for an
// absolute time on the monotonic clock in nanoseconds (GetMonotonicNanoseconds).
// Waits go through the common sync layer, so a timer can stand in WaitForMultipleObjects
// beside events, semaphores and tasks' notification events. Any thread may call.
#pragma once

#include <cstdint>

#include "Sys_SyncObject.h"

class Sys_TimerEvent : public virtual Sys_SyncObject
{
public:
    using TimerEventHandle = Cmn_PolymorphicHandle<Sys_TimerEvent>;
    using CreateMethod = Sys_TimerEvent* (*)(bool iManualReset);

    static TimerEventHandle Create(bool iManualReset);
    static CreateMethod SetCreateMethod(CreateMethod iMethod);

    // Arms the timer iMilliseconds (>= 0) from now and resets it.
    virtual void Set(int32_t iMilliseconds) = 0;
    // Arms the timer for an absolute monotonic time and resets it.
    virtual void SetDue(int64_t iDueNanoseconds) = 0;
    // Disarms the timer and resets it.
    virtual void Cancel() = 0;

    static int64_t GetMonotonicNanoseconds();

protected:
    Sys_TimerEvent() = default;
};
