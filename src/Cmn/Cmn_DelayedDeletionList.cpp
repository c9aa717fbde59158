#include "Cmn_DelayedDeletionList.h"

#include <algorithm>

#include "Cmn_Assert.h"

bool Cmn_DelayedDeletionEntryBase::CollectGarbagePredicate(Cmn_DelayedDeletionEntryBase* iEntryP)
{
    if (!iEntryP->IsMarkedForDeletion())
        return false;
    delete iEntryP;
    return true;
}

Cmn_DelayedDeletionList::~Cmn_DelayedDeletionList()
{
    for (Cmn_DelayedDeletionEntryBase* entryP : mEntries)
        delete entryP;
}

void Cmn_DelayedDeletionList::Add(Cmn_DelayedDeletionEntryBase* iEntryP)
{
    CMN_ASSERT(iEntryP);
    mEntries.push_back(iEntryP);
}

size_t Cmn_DelayedDeletionList::CollectGarbage()
{
    const size_t before = mEntries.size();
    auto newEnd = std::remove_if(mEntries.begin(), mEntries.end(),
                                 &Cmn_DelayedDeletionEntryBase::CollectGarbagePredicate);
    mEntries.erase(newEnd, mEntries.end());
    return before - mEntries.size();
}
