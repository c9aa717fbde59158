#include "Cmn_SafeDispatchList.h"

#include "Cmn_Assert.h"

Cmn_SafeDispatchListBase::~Cmn_SafeDispatchListBase()
{
    Node* nodeP = mHeadP;
    while (nodeP)
    {
        Node* nextP = nodeP->mNextP;
        delete nodeP;
        nodeP = nextP;
    }
}

void Cmn_SafeDispatchListBase::Add(void* iDataP)
{
    CMN_ASSERT(iDataP != 0);
    mHeadP = new Node{iDataP, mHeadP};
}

bool Cmn_SafeDispatchListBase::Remove(void* iDataP)
{
    Node* prevP = nullptr;
    for (Node* nodeP = mHeadP; nodeP; prevP = nodeP, nodeP = nodeP->mNextP)
    {
        if (nodeP->mDataP != iDataP || iDataP == nullptr)
            continue;
        if (mIteratorCount > 0)
        {
            // An iterator may stand on this node or next to it: only mark it.
            nodeP->mDataP = nullptr;
        }
        else
        {
            (prevP ? prevP->mNextP : mHeadP) = nodeP->mNextP;
            delete nodeP;
        }
        return true;
    }
    return false;
}

bool Cmn_SafeDispatchListBase::Contains(const void* iDataP) const
{
    if (!iDataP)
        return false;
    for (const Node* nodeP = mHeadP; nodeP; nodeP = nodeP->mNextP)
    {
        if (nodeP->mDataP == iDataP)
            return true;
    }
    return false;
}

size_t Cmn_SafeDispatchListBase::GetCount() const
{
    size_t count = 0;
    for (const Node* nodeP = mHeadP; nodeP; nodeP = nodeP->mNextP)
    {
        if (nodeP->mDataP)
            ++count;
    }
    return count;
}

size_t Cmn_SafeDispatchListBase::GetNodeCount() const
{
    size_t count = 0;
    for (const Node* nodeP = mHeadP; nodeP; nodeP = nodeP->mNextP)
        ++count;
    return count;
}

void Cmn_SafeDispatchListBase::FreeRemovedNodes()
{
    Node** linkP = &mHeadP;
    while (*linkP)
    {
        Node* nodeP = *linkP;
        if (nodeP->mDataP)
        {
            linkP = &nodeP->mNextP;
        }
        else
        {
            *linkP = nodeP->mNextP;
            delete nodeP;
        }
    }
}

// ---- Iterator ------------------------------------------------------------------------------

Cmn_SafeDispatchListBase::Iterator::Iterator(Cmn_SafeDispatchListBase& iList)
    : mListP(&iList), mNodeP(iList.mHeadP), mPrevP(nullptr)
{
    ++mListP->mIteratorCount;
    AdvancePastRemoved();
}

Cmn_SafeDispatchListBase::Iterator::~Iterator()
{
    if (--mListP->mIteratorCount == 0)
        mListP->FreeRemovedNodes();
}

void Cmn_SafeDispatchListBase::Iterator::Next()
{
    if (!mNodeP)
        return;
    if (!mNodeP->mDataP && mListP->mIteratorCount == 1)
    {
        UnlinkCurrent();
    }
    else
    {
        mPrevP = mNodeP;
        mNodeP = mNodeP->mNextP;
    }
    AdvancePastRemoved();
}

void Cmn_SafeDispatchListBase::Iterator::AdvancePastRemoved()
{
    while (mNodeP && !mNodeP->mDataP)
    {
        if (mListP->mIteratorCount == 1)
        {
            UnlinkCurrent();
        }
        else
        {
            mPrevP = mNodeP;
            mNodeP = mNodeP->mNextP;
        }
    }
}

void Cmn_SafeDispatchListBase::Iterator::UnlinkCurrent()
{
    Node* nextP = mNodeP->mNextP;
    if (!mPrevP && mListP->mHeadP != mNodeP)
    {
        // Entries were added at the head since this iterator started: find the predecessor.
        mPrevP = mListP->mHeadP;
        while (mPrevP->mNextP != mNodeP)
            mPrevP = mPrevP->mNextP;
    }
    if (mPrevP)
    {
        CMN_ASSERT(mPrevP->mNextP == mNodeP);
        mPrevP->mNextP = nextP;
    }
    else
    {
        mListP->mHeadP = nextP;
    }
    delete mNodeP;
    mNodeP = nextP;
}
