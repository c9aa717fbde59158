#include "Sys_AtomicPool.h"

#include <new>

#include "Cmn_Assert.h"

// ---- Reservation ------------------------------------------------------------------------

Sys_AtomicPool::Reservation& Sys_AtomicPool::Reservation::operator=(Reservation& ioOther) noexcept
{
    if (&ioOther != this)
    {
        Release();
        mCount = ioOther.mCount;
        mPoolP = ioOther.mPoolP;
        ioOther.Forget();
    }
    return *this;
}

void Sys_AtomicPool::Reservation::Release()
{
    if (mPoolP && mCount != 0)
        mPoolP->mReserved.Add(-mCount);
    Forget();
}

// ---- Sys_AtomicPool ---------------------------------------------------------------------

Sys_AtomicPool::~Sys_AtomicPool()
{
    Block* blockP = mAllBlocksP;
    const int32_t count = mNumBlocks.load();
    for (int32_t i = 0; i < count && blockP; ++i)
    {
        Block* nextP = blockP->mNext.load();
        blockP->~Block();
        ::operator delete(static_cast<void*>(blockP), std::align_val_t(16));
        blockP = nextP;
    }
}

void Sys_AtomicPool::Init(size_t iBlockSize)
{
    mBlockSize = iBlockSize;
    UpdateAllocation();
}

Sys_AtomicPool::Reservation Sys_AtomicPool::Reserve(int32_t iCount)
{
    CMN_ASSERT(iCount > 0);
    mReserved.Add(iCount);
    UpdateAllocation();
    return Reservation(*this, iCount);
}

void Sys_AtomicPool::UpdateAllocation()
{
    const int32_t missing = mReserved.Get() - mNumBlocks.load();
    if (missing <= 0 || mBlockSize == 0)
        return;
    Block* lastP = nullptr;
    Block* firstP = AllocateBlocks(missing, lastP);
    Block* currentP = mCurrent.load();
    if (!currentP)
    {
        lastP->mNext.store(firstP);
        mAllBlocksP = firstP;
        mCurrent.store(firstP);
    }
    else
    {
        // Splice behind the current block. The destructor's walk from mAllBlocksP still
        // meets every block once, since the ring stays one closed cycle.
        lastP->mNext.store(currentP->mNext.load());
        currentP->mNext.store(firstP);
    }
    mNumBlocks.fetch_add(missing);
}

Sys_AtomicPool::Block* Sys_AtomicPool::AllocateBlocks(int32_t iNumBlocks, Block*& oLastP)
{
    CMN_ASSERT(iNumBlocks > 0);
    CMN_ASSERT(mBlockSize > sizeof(Block));
    Block* firstP = nullptr;
    Block* previousP = nullptr;
    for (int32_t i = 0; i < iNumBlocks; ++i)
    {
        void* memoryP = ::operator new(cPayloadOffset + mBlockSize, std::align_val_t(16));
        Block* blockP = ::new (memoryP) Block;
        if (previousP)
            previousP->mNext.store(blockP);
        else
            firstP = blockP;
        previousP = blockP;
    }
    oLastP = previousP;
    return firstP;
}

void* Sys_AtomicPool::Alloc(size_t iSize)
{
    // Real-time path: atomics only.
    if (iSize > mBlockSize)
    {
        mError.store(eErr_RequestTooLarge, std::memory_order_relaxed);
        return nullptr;
    }
    const int32_t numBlocks = mNumBlocks.load();
    Block* blockP = mCurrent.load();
    if (!blockP || numBlocks < 1)
    {
        mError.store(eErr_NoFreeBlock, std::memory_order_relaxed);
        return nullptr;
    }
    int32_t failures = 0;
    for (;;)
    {
        Block* nextP = blockP->mNext.load();
        if (!mCurrent.compare_exchange_strong(blockP, nextP))
            continue; // lost a race: blockP now holds the new current block
        if (blockP->mInUse.CompareAndExchange(1, 0))
            return reinterpret_cast<char*>(blockP) + cPayloadOffset;
        if (++failures >= numBlocks)
        {
            mError.store(eErr_NoFreeBlock, std::memory_order_relaxed);
            return nullptr;
        }
        blockP = mCurrent.load();
    }
}

void Sys_AtomicPool::Free(void* iPayloadP)
{
    // Real-time path: one atomic store.
    if (!iPayloadP)
        return;
    Block* blockP = reinterpret_cast<Block*>(static_cast<char*>(iPayloadP) - cPayloadOffset);
    blockP->mInUse.Set(0);
}
