// An event: a flag that threads wait for. A manual-reset event stays set until Reset and
// releases every waiter; an auto-reset event releases one waiter and resets itself.
// Pulse releases the threads waiting at that moment (all of them for a manual-reset event,
// at most one for an auto-reset event) and leaves the event reset, whatever its state was.
// IsSet is a wait of 0 ms, so on an auto-reset event it takes the signal.
// Created through the hook that the platform layer installs (SetCreateMethod).
#pragma once

#include <cstdint>
#include <vector>

#include "Sys_SyncObject.h"

class Sys_Event : public virtual Sys_SyncObject
{
public:
    using EventHandle = Cmn_PolymorphicHandle<Sys_Event>;
    using CreateMethod = Sys_Event* (*)(int32_t iManualReset);

    // iManualReset non-zero: a manual-reset event. The event starts reset.
    static EventHandle Create(int32_t iManualReset);
    static CreateMethod SetCreateMethod(CreateMethod iMethod);

    virtual void Set() = 0;
    virtual void Pulse() = 0;
    virtual void Reset() = 0;
    virtual bool IsSet() { return Wait(0) == eWaitResult_Signalled; }

    // Sys_SyncObject::WaitForMultipleObjects over events.
    static EWaitResult WaitForMultipleEvents(const std::vector<EventHandle>& iEvents,
                                             bool iWaitForAny, int32_t iTimeOut);

protected:
    Sys_Event() = default;
};
