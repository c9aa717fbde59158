#include "Sys_QueueForInterrupt.h"

#include "Cmn_Assert.h"

Sys_QueueForInterruptBase::~Sys_QueueForInterruptBase()
{
    Clear();
}

void Sys_QueueForInterruptBase::BaseAppend(Elem* iElemP, void* iUserP)
{
    CMN_ASSERT(iElemP);
    iElemP->mUserP = iUserP;
    iElemP->mLink.store(nullptr);
    // Publishing the link makes the element, fully set up, visible to the reader.
    if (mNewest)
        mNewest->mLink.store(iElemP);
    mNewest = iElemP;
    if (!mOldest)
        mOldest = iElemP;
    if (!iElemP->mProcessed.load())
    {
        Elem* expected = nullptr;
        mNext.compare_exchange_strong(expected, iElemP);
    }
}

Sys_QueueForInterruptBase::Elem* Sys_QueueForInterruptBase::BaseFront()
{
    // Real-time path: atomic loads and stores only.
    Elem* elemP = mNext.load();
    if (!elemP)
        return nullptr;
    while (elemP->mProcessed.load())
    {
        Elem* linkP = elemP->mLink.load();
        if (!linkP)
            return nullptr;
        mNext.store(linkP);
        elemP = linkP;
    }
    return elemP;
}

void Sys_QueueForInterruptBase::Advance()
{
    // Real-time path: atomic loads and stores only.
    Elem* elemP = BaseFront();
    if (!elemP)
        return;
    elemP->mProcessed.store(true);
    Elem* linkP = elemP->mLink.load();
    if (linkP)
        mNext.store(linkP);
}

int32_t Sys_QueueForInterruptBase::DisposeProcessedElements()
{
    int32_t count = 0;
    while (mOldest && mOldest->mProcessed.load() && mOldest != mNext.load())
    {
        Elem* elemP = mOldest;
        mOldest = elemP->mLink.load();
        delete elemP;
        ++count;
    }
    if (!mOldest)
        mNewest = nullptr;
    return count;
}

void Sys_QueueForInterruptBase::Clear()
{
    mNext.store(nullptr);
    while (mOldest)
    {
        Elem* elemP = mOldest;
        mOldest = elemP->mLink.load();
        delete elemP;
    }
    mNewest = nullptr;
}

int32_t Sys_QueueForInterruptBase::GetElementCount() const
{
    int32_t count = 0;
    for (Elem* elemP = mOldest; elemP; elemP = elemP->mLink.load())
        ++count;
    return count;
}
