// Leashes: handles whose target can go away.
//
// A Cmn_Leash is a small reference-counted block that holds one target pointer. Holders keep
// the block alive through Cmn_LeashPtr (a counted pointer) and test it before each use; the
// target cuts the leash (sets the pointer to null) when it is destroyed, so a holder sees null
// from then on instead of a dangling pointer. The block itself lives as long as anyone holds
// it, target or holder.
//
//   class Track { public: Cmn_LeashTie mTie{this}; ... };      // tie first: it is cut last
//   Cmn_TypedLeash<Track> leash(track->mTie);                  // a holder
//   if (Track* t = leash.Get()) t->Play();                     // test before use
//
// Contract:
//   - GetNullLeashPtr() is the one shared empty leash (target always null, since a target is
//     only given at construction). It is never freed.
//   - A Cmn_LeashTie makes its leash on construction and cuts it in its destructor. An owner
//     that must not be reached while its own destructor runs calls Cut() first thing there.
//   - Cmn_TypedLeash<T> must be made from a tie (or leash) whose target was given as a T*.
// Not thread-safe: the count and the cut are plain, one thread at a time.
#pragma once

#include "Cmn_RefCountObject.h"

class Cmn_Leash : public Cmn_RefCountObject
{
public:
    explicit Cmn_Leash(void* iTargetP = nullptr) : mTargetP(iTargetP) {}
    Cmn_Leash(const Cmn_Leash&) = delete;
    Cmn_Leash& operator=(const Cmn_Leash&) = delete;

    // The target, or null once cut (always null for the shared empty leash).
    void* GetTarget() const { return mTargetP; }
    bool IsCut() const { return mTargetP == nullptr; }
    void Cut() { mTargetP = nullptr; }

    // The shared empty leash.
    static Cmn_Leash* GetNullLeashPtr();

private:
    void* mTargetP;
};

using Cmn_LeashPtr = Cmn_AliasedRefCountPtr<Cmn_Leash>;

// Ties an object to a leash for its lifetime: a member of the target, constructed with it.
class Cmn_LeashTie
{
public:
    explicit Cmn_LeashTie(void* iTargetP);
    ~Cmn_LeashTie() { Cut(); }
    Cmn_LeashTie(const Cmn_LeashTie&) = delete;
    Cmn_LeashTie& operator=(const Cmn_LeashTie&) = delete;

    const Cmn_LeashPtr& GetLeash() const { return mLeash; }
    // Cuts the leash early (idempotent).
    void Cut() { mLeash->Cut(); }

private:
    Cmn_LeashPtr mLeash;
};

// A holder's typed view of a leash. A default one holds the shared empty leash.
template <class T> class Cmn_TypedLeash
{
public:
    Cmn_TypedLeash() : mLeash(Cmn_Leash::GetNullLeashPtr()) {}
    explicit Cmn_TypedLeash(const Cmn_LeashTie& iTie) : mLeash(iTie.GetLeash()) {}
    explicit Cmn_TypedLeash(const Cmn_LeashPtr& iLeash)
        : mLeash(iLeash ? iLeash : Cmn_LeashPtr(Cmn_Leash::GetNullLeashPtr()))
    {
    }

    // The target, or null once it is gone.
    T* Get() const { return static_cast<T*>(mLeash->GetTarget()); }
    explicit operator bool() const { return Get() != nullptr; }
    bool IsNull() const { return Get() == nullptr; }
    const Cmn_LeashPtr& GetLeash() const { return mLeash; }

private:
    Cmn_LeashPtr mLeash;
};
