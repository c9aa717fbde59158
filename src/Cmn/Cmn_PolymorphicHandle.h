// A counted handle to a Sys_ThreadSafeRefCountObject (interlocked count), holding a T*.
// Handles of a derived type convert to handles of a base type.
#pragma once

#include <utility>

#include "Sys_ThreadSafeRefCountObject.h"

template <class T, class Base = Sys_ThreadSafeRefCountObject> class Cmn_PolymorphicHandle
{
public:
    Cmn_PolymorphicHandle() = default;
    Cmn_PolymorphicHandle(T* iP) : mP(iP)
    {
        if (mP)
            static_cast<const Base*>(mP)->AddReference();
    }
    Cmn_PolymorphicHandle(const Cmn_PolymorphicHandle& iOther) : Cmn_PolymorphicHandle(iOther.mP) {}
    Cmn_PolymorphicHandle(Cmn_PolymorphicHandle&& iOther) noexcept : mP(iOther.mP) { iOther.mP = nullptr; }
    template <class U, class B2>
    Cmn_PolymorphicHandle(const Cmn_PolymorphicHandle<U, B2>& iOther) : Cmn_PolymorphicHandle(iOther.Get())
    {
    }
    ~Cmn_PolymorphicHandle()
    {
        if (mP)
            static_cast<const Base*>(mP)->RemoveReference();
    }
    Cmn_PolymorphicHandle& operator=(Cmn_PolymorphicHandle iOther) noexcept
    {
        std::swap(mP, iOther.mP);
        return *this;
    }
    void Reset(T* iP = nullptr) { *this = Cmn_PolymorphicHandle(iP); }

    T* Get() const { return mP; }
    T* operator->() const { return mP; }
    T& operator*() const { return *mP; }
    explicit operator bool() const { return mP != nullptr; }
    bool IsNull() const { return mP == nullptr; }
    bool operator==(const Cmn_PolymorphicHandle& iOther) const { return mP == iOther.mP; }

    // A handle of another type to the same object, or a null one when it is not a U.
    template <class U> Cmn_PolymorphicHandle<U, Base> DynamicCast() const
    {
        return Cmn_PolymorphicHandle<U, Base>(dynamic_cast<U*>(mP));
    }

private:
    T* mP = nullptr;
};
