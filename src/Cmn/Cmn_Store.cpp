#include "Cmn_Store.h"

#include "Cmn_Assert.h"

void Cmn_Store::Open(EOpenFlag iOpenFlag)
{
    if (mOpenFlag == eOpenFlag_OpenForRead)
        CMN_ASSERT(iOpenFlag == eOpenFlag_OpenForRead);
    ++mOpenRefCount;
    if (mOpenFlag != eOpenFlag_NotOpen)
        return;
    mOpenFlag = iOpenFlag;
    try
    {
        OpenImpl(iOpenFlag);
    }
    catch (...)
    {
        mOpenFlag = eOpenFlag_NotOpen;
        mOpenRefCount = 0;
        throw;
    }
}

void Cmn_Store::Close()
{
    CMN_ASSERT(mOpenFlag != eOpenFlag_NotOpen && mOpenRefCount);
    if (--mOpenRefCount == 0)
    {
        CloseImpl();
        mOpenFlag = eOpenFlag_NotOpen;
    }
}
