#include "Sys_HighPriorityGate.h"

#include "Sys_BlockingTimer.h"

Sys_HighPriorityGate::Sys_HighPriorityGate(bool iOpen) : mValue(iOpen ? 1 : -1) {}

Sys_HighPriorityGate::~Sys_HighPriorityGate()
{
    CloseSync();
}

bool Sys_HighPriorityGate::TryToEnter()
{
    // Real-time path: one atomic word.
    for (;;)
    {
        const int32_t value = mValue.Get();
        if (value < 0)
            return false;
        if (mValue.CompareAndExchange(value + 1, value))
            return true;
    }
}

void Sys_HighPriorityGate::Leave()
{
    // Real-time path: one atomic word.
    for (;;)
    {
        const int32_t value = mValue.Get();
        if (value >= -1 && value <= 1)
            return;
        const int32_t next = value < -1 ? value + 1 : value - 1;
        if (mValue.CompareAndExchange(next, value))
            return;
    }
}

void Sys_HighPriorityGate::Open()
{
    if (mValue.Get() > 0)
        return;
    for (int32_t value = mValue.Get(); value < 1; value = mValue.Get())
        if (mValue.CompareAndExchange(-value, value))
            return;
}

void Sys_HighPriorityGate::Close()
{
    if (mValue.Get() < 0)
        return;
    for (int32_t value = mValue.Get(); value >= 0; value = mValue.Get())
        if (mValue.CompareAndExchange(-value, value))
            return;
}

void Sys_HighPriorityGate::CloseSync()
{
    for (;;)
    {
        if (mValue.Get() > 0)
            Close();
        if (mValue.Get() == -1)
            return;
        Sys_BlockingTimer::Sleep(2000);
    }
}
