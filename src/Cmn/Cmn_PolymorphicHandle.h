// A counted handle holding a T*, for objects with an interlocked count (the operating-system
// layer's Sys_ThreadSafeRefCountObject): the handle calls AddReference and RemoveReference
// (both const) of the object. Base names the class whose count is used when T has more than
// one; void (the default) means T's own. Handles of a derived type convert to handles of a
// base type. This header depends on no counting class, so the foundation's lowest module
// can hold it.
#pragma once

#include <type_traits>
#include <utility>

template <class T, class Base = void> class Cmn_PolymorphicHandle
{
    using CountBase = std::conditional_t<std::is_void_v<Base>, T, Base>;

public:
    Cmn_PolymorphicHandle() = default;
    Cmn_PolymorphicHandle(T* iP) : mP(iP)
    {
        if (mP)
            static_cast<const CountBase*>(mP)->AddReference();
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
            static_cast<const CountBase*>(mP)->RemoveReference();
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
