#include "FF/Audio/Processing/Overview/FF_AudioOverview.h"

#include "Cmn_Assert.h"

void FF_AudioOverview::Lock() const
{
    CMN_ASSERT(mStore);
    mStore->Lock();
}

void FF_AudioOverview::Unlock() const
{
    CMN_ASSERT(mStore);
    mStore->Unlock();
}

FF_AudioOverview::LockingRef::LockingRef(const FF_AudioOverview& iOverview)
{
    iOverview.Lock();
    try
    {
        mHold = std::make_shared<const Hold>(iOverview);
    }
    catch (...)
    {
        iOverview.Unlock();
        throw;
    }
}

const FF_AudioOverview& FF_AudioOverview::LockingRef::Get() const
{
    CMN_ASSERT(mHold);
    return mHold->mOverview;
}
