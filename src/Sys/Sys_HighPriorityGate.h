// A gate that a high-priority thread passes without ever waiting.
//
// One Sys_AtomicInt32 carries the state and the number of threads inside: positive means
// open, negative closed, and the magnitude is the number inside plus one. A new open gate
// holds 1, a new closed one -1.
//
// The high-priority side calls TryToEnter and, on false, skips its work; after the work it
// calls Leave. The normal side calls CloseSync before it changes what the gate protects
// (it returns when the gate is closed and empty) and Open afterwards.
//
// TryToEnter and Leave are real-time safe: a compare-and-exchange loop on one atomic word,
// no lock, no allocation, no system call. Open and Close are the same kind of loop.
// CloseSync sleeps 2 ms between looks while threads are inside; it belongs to the normal
// side only. The destructor is CloseSync.
#pragma once

#include <cstdint>

#include "Sys_AtomicInt32.h"

class Sys_HighPriorityGate
{
public:
    explicit Sys_HighPriorityGate(bool iOpen = true);
    ~Sys_HighPriorityGate();
    Sys_HighPriorityGate(const Sys_HighPriorityGate&) = delete;
    Sys_HighPriorityGate& operator=(const Sys_HighPriorityGate&) = delete;

    void Open();
    void Close();
    // Closes and waits until no thread is inside; closes again if reopened meanwhile.
    void CloseSync();
    bool TryToEnter();
    void Leave();

    int32_t GetValue() const { return mValue.Get(); }

private:
    Sys_AtomicInt32 mValue;
};

// Scope guard for the high-priority side: tries to enter and leaves at the end if it did.
class Sys_HighPriorityGate_StTryToEnter
{
public:
    explicit Sys_HighPriorityGate_StTryToEnter(Sys_HighPriorityGate& iGate)
        : mGate(iGate), mDidEnter(iGate.TryToEnter())
    {
    }
    ~Sys_HighPriorityGate_StTryToEnter()
    {
        if (mDidEnter)
            mGate.Leave();
    }
    Sys_HighPriorityGate_StTryToEnter(const Sys_HighPriorityGate_StTryToEnter&) = delete;
    Sys_HighPriorityGate_StTryToEnter& operator=(const Sys_HighPriorityGate_StTryToEnter&) = delete;

    bool DidEnter() const { return mDidEnter; }

private:
    Sys_HighPriorityGate& mGate;
    const bool mDidEnter;
};
