// Single-threaded reference counting. Threads share Sys_ThreadSafeRefCountObject instead.
#pragma once

#include <cstdint>
#include <utility>

class Cmn_RefCountObject
{
public:
    Cmn_RefCountObject() = default;
    // A copy starts with a count of its own.
    Cmn_RefCountObject(const Cmn_RefCountObject&) : mRefCount(0) {}
    Cmn_RefCountObject& operator=(const Cmn_RefCountObject&) { return *this; }
    virtual ~Cmn_RefCountObject() = default;

    void AddReference() { ++mRefCount; }
    // Deletes the object through its virtual destructor when the last reference goes.
    void RemoveReference()
    {
        if (--mRefCount == 0)
            delete this;
    }
    int32_t GetRefCount() const { return mRefCount; }
    bool IsShared() const { return mRefCount > 1; }
    bool IsShareable() const { return mShareable; }
    void MarkUnshareable() { mShareable = false; }

private:
    int32_t mRefCount = 0;
    bool mShareable = true;
};

// The usual hook for Cmn_AliasedRefCountPtr when T is complete where the pointer is used.
template <class T> struct Cmn_DefaultRefCountHack
{
    static void AddReference(T* iP) { iP->AddReference(); }
    static void RemoveReference(T* iP) { iP->RemoveReference(); }
};

// A smart pointer for a counted class that may be incomplete where the pointer is declared:
// counting goes through Hack, whose functions are defined where T is complete. Raw is the
// pointer type held (normally T*).
template <class T, class Raw = T*, class Hack = Cmn_DefaultRefCountHack<T>>
class Cmn_AliasedRefCountPtr
{
public:
    Cmn_AliasedRefCountPtr() = default;
    Cmn_AliasedRefCountPtr(Raw iP) : mP(iP)
    {
        if (mP)
            Hack::AddReference(mP);
    }
    Cmn_AliasedRefCountPtr(const Cmn_AliasedRefCountPtr& iOther) : Cmn_AliasedRefCountPtr(iOther.mP) {}
    Cmn_AliasedRefCountPtr(Cmn_AliasedRefCountPtr&& iOther) noexcept : mP(iOther.mP) { iOther.mP = nullptr; }
    ~Cmn_AliasedRefCountPtr()
    {
        if (mP)
            Hack::RemoveReference(mP);
    }
    Cmn_AliasedRefCountPtr& operator=(const Cmn_AliasedRefCountPtr& iOther)
    {
        Cmn_AliasedRefCountPtr tmp(iOther);
        Swap(tmp);
        return *this;
    }
    Cmn_AliasedRefCountPtr& operator=(Cmn_AliasedRefCountPtr&& iOther) noexcept
    {
        Cmn_AliasedRefCountPtr tmp(std::move(iOther));
        Swap(tmp);
        return *this;
    }
    void Swap(Cmn_AliasedRefCountPtr& ioOther) noexcept
    {
        Raw p = mP;
        mP = ioOther.mP;
        ioOther.mP = p;
    }
    void Reset(Raw iP = nullptr)
    {
        Cmn_AliasedRefCountPtr tmp(iP);
        Swap(tmp);
    }
    Raw Get() const { return mP; }
    T& operator*() const { return *mP; }
    Raw operator->() const { return mP; }
    explicit operator bool() const { return mP != nullptr; }
    bool operator==(const Cmn_AliasedRefCountPtr& iOther) const { return mP == iOther.mP; }

private:
    Raw mP = nullptr;
};
