// A 32-bit signed value changed only with interlocked operations.
//
// The object holds the cell and a pointer to it, and every operation goes through the
// pointer; the cell is 4-byte aligned by its type. All operations are full barriers
// (sequentially consistent), take no lock and make no system call: std::atomic<int32_t> is
// lock-free on every host we build for (checked below), so each operation compiles to one
// locked instruction or a short compare-and-exchange loop. Safe from real-time code.
// A copy starts with the value of its source and a cell of its own.
#pragma once

#include <atomic>
#include <cstdint>

class Sys_AtomicInt32
{
public:
    static_assert(std::atomic<int32_t>::is_always_lock_free, "interlocked 32-bit operations");

    explicit Sys_AtomicInt32(int32_t iValue = 0) noexcept : mCellP(&mCell), mCell(iValue) {}
    Sys_AtomicInt32(const Sys_AtomicInt32& iOther) noexcept : mCellP(&mCell), mCell(iOther.Get()) {}
    Sys_AtomicInt32& operator=(const Sys_AtomicInt32& iOther) noexcept
    {
        Set(iOther.Get());
        return *this;
    }

    int32_t Get() const noexcept { return mCellP->load(); }
    void Set(int32_t iValue) noexcept { mCellP->store(iValue); }
    // Each returns the new value.
    int32_t Increment() noexcept { return mCellP->fetch_add(1) + 1; }
    int32_t Decrement() noexcept { return mCellP->fetch_sub(1) - 1; }
    int32_t Add(int32_t iDelta) noexcept { return mCellP->fetch_add(iDelta) + iDelta; }
    // Returns the old value.
    int32_t Exchange(int32_t iValue) noexcept { return mCellP->exchange(iValue); }
    // Stores iNewValue when the value is iExpected; true when it did.
    bool CompareAndExchange(int32_t iNewValue, int32_t iExpected) noexcept
    {
        return mCellP->compare_exchange_strong(iExpected, iNewValue);
    }
    // Raises the value to iLimit when it is lower; returns the value stored afterwards.
    int32_t BoundLo(int32_t iLimit) noexcept
    {
        int32_t value = mCellP->load();
        while (value < iLimit)
        {
            if (mCellP->compare_exchange_weak(value, iLimit))
                return iLimit;
        }
        return value;
    }
    // Lowers the value to iLimit when it is higher; returns the value stored afterwards.
    int32_t BoundHi(int32_t iLimit) noexcept
    {
        int32_t value = mCellP->load();
        while (value > iLimit)
        {
            if (mCellP->compare_exchange_weak(value, iLimit))
                return iLimit;
        }
        return value;
    }

private:
    std::atomic<int32_t>* mCellP;
    alignas(4) std::atomic<int32_t> mCell;
};
