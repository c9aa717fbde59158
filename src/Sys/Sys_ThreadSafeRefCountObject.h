// Reference counting with interlocked operations, for objects shared between threads.
// RemoveReference at zero calls RefCountDelete, whose default is delete this.
#pragma once

#include <atomic>
#include <cstdint>

class Sys_ThreadSafeRefCountObject
{
public:
    Sys_ThreadSafeRefCountObject() = default;
    Sys_ThreadSafeRefCountObject(const Sys_ThreadSafeRefCountObject&) : mRefCount(0) {}
    Sys_ThreadSafeRefCountObject& operator=(const Sys_ThreadSafeRefCountObject&) { return *this; }
    virtual ~Sys_ThreadSafeRefCountObject() = default;

    void AddReference() const { mRefCount.fetch_add(1, std::memory_order_relaxed); }
    void RemoveReference() const
    {
        if (mRefCount.fetch_sub(1, std::memory_order_acq_rel) == 1)
            const_cast<Sys_ThreadSafeRefCountObject*>(this)->RefCountDelete();
    }
    int32_t GetRefCount() const { return mRefCount.load(std::memory_order_acquire); }

protected:
    virtual void RefCountDelete() { delete this; }

private:
    mutable std::atomic<int32_t> mRefCount{0};
};
