// A list of entries that are deleted in a later collecting pass, for owners that cannot
// delete an entry where they learn it is done (a callback of the entry itself, another
// thread). MarkForDeletion may be called from any thread (one atomic store); Add and
// CollectGarbage belong to the owner's thread. The list owns its entries: the destructor
// deletes those left, marked or not.
#pragma once

#include <atomic>
#include <cstddef>

#include "Cmn_PolyVector.h"

class Cmn_DelayedDeletionEntryBase
{
public:
    Cmn_DelayedDeletionEntryBase() = default;
    virtual ~Cmn_DelayedDeletionEntryBase() = default;
    Cmn_DelayedDeletionEntryBase(const Cmn_DelayedDeletionEntryBase&) = delete;
    Cmn_DelayedDeletionEntryBase& operator=(const Cmn_DelayedDeletionEntryBase&) = delete;

    void MarkForDeletion() { mMarked.store(true); }
    bool IsMarkedForDeletion() const { return mMarked.load(); }

    // Deletes a marked entry and answers true; leaves any other alone.
    static bool CollectGarbagePredicate(Cmn_DelayedDeletionEntryBase* iEntryP);

private:
    std::atomic<bool> mMarked{false};
};

class Cmn_DelayedDeletionList
{
public:
    Cmn_DelayedDeletionList() = default;
    ~Cmn_DelayedDeletionList();
    Cmn_DelayedDeletionList(const Cmn_DelayedDeletionList&) = delete;
    Cmn_DelayedDeletionList& operator=(const Cmn_DelayedDeletionList&) = delete;

    // Takes ownership of iEntryP.
    void Add(Cmn_DelayedDeletionEntryBase* iEntryP);
    // Deletes the marked entries; returns how many.
    size_t CollectGarbage();
    size_t GetSize() const { return mEntries.size(); }

private:
    Cmn_PolyVector<Cmn_DelayedDeletionEntryBase*> mEntries;
};
