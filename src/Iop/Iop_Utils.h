// A cooperative time slice for long interchange loops: a loop asks Iop_Utils_SliceExpired
// now and then and, when it answers true, lets the application breathe (the callback given
// to Iop_Utils_Init is its idle function). Main thread only.
#pragma once

#include <cstdint>

using Iop_Utils_IdleCallback = void (*)();

// iSliceMilliseconds: the length of a slice; the clock starts now.
void Iop_Utils_Init(int32_t iSliceMilliseconds, Iop_Utils_IdleCallback iCallback);
// True when more than the slice has passed since the last expiry (or Init); the last-expiry
// time then moves to now, and the callback (if any) runs.
bool Iop_Utils_SliceExpired();
// The millisecond clock the slice is measured on; tests may replace it (null: the steady clock).
void Iop_Utils_SetClock(int64_t (*iNowMilliseconds)());
