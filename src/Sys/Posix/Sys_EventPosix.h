// The event of this host: a flag under the sync layer's lock (see Sys_SyncObjectPosix.h).
#pragma once

#include "Sys_Event.h"
#include "Sys_SyncObjectPosix.h"

class Sys_EventPosix : public Sys_Event, public Sys_SyncObjectPosix
{
public:
    explicit Sys_EventPosix(bool iManualReset);

    void Set() override;
    void Pulse() override;
    void Reset() override;

    static Sys_Event* Create(int32_t iManualReset);
    static void SetPlatformDependentMethods();

protected:
    bool IsSignalledLocked() const override { return mSignalled; }
    void AcquireLocked() override;

private:
    const bool mManualReset;
    bool mSignalled = false;
};
