#include "Iop/Iop_Utils.h"

#include <chrono>

namespace
{
int32_t sSlice = 0;
int64_t sLastExpiry = 0;
Iop_Utils_IdleCallback sCallback = nullptr;
int64_t (*sClock)() = nullptr;

int64_t Now()
{
    if (sClock)
        return sClock();
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
} // namespace

void Iop_Utils_Init(int32_t iSliceMilliseconds, Iop_Utils_IdleCallback iCallback)
{
    sSlice = iSliceMilliseconds;
    sCallback = iCallback;
    sLastExpiry = Now();
}

bool Iop_Utils_SliceExpired()
{
    const int64_t now = Now();
    if (now - sLastExpiry <= sSlice)
        return false;
    sLastExpiry = now;
    if (sCallback)
        sCallback();
    return true;
}

void Iop_Utils_SetClock(int64_t (*iNowMilliseconds)())
{
    sClock = iNowMilliseconds;
}
