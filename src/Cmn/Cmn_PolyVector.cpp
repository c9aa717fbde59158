#include "Cmn_PolyVector.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <stdexcept>
#include <utility>

#include "Cmn_Assert.h"
#include "Cmn_Exception.h"

namespace
{
// Package and id of "out_of_range: Cmn_PolyVectorImpl::At".
constexpr int32_t kCmnPackageID = 7;
constexpr int32_t kAtOutOfRangeID = 10;
} // namespace

Cmn_PolyVectorImpl::Cmn_PolyVectorImpl(size_t iElemSize, const Cmn_PolyVectorTraitsBase* iTraitsP)
    : mElemSize(iElemSize), mTraitsP(iTraitsP)
{
    CMN_ASSERT(iElemSize > 0 && iTraitsP != nullptr);
}

Cmn_PolyVectorImpl::~Cmn_PolyVectorImpl()
{
    Deallocate();
}

// ---- whole-vector operations ---------------------------------------------------------------

void Cmn_PolyVectorImpl::Init(size_t iCount, const void* iFillP)
{
    // Build the new block first: the old contents (which *iFillP may belong to) stay intact
    // until the new ones exist, and a failure leaves the vector as it was.
    unsigned char* block = nullptr;
    if (iCount > 0)
    {
        block = static_cast<unsigned char*>(mTraitsP->Allocate(iCount));
        try
        {
            UninitializedFill(block, iCount, iFillP);
        }
        catch (...)
        {
            mTraitsP->Free(block, iCount);
            throw;
        }
    }
    Deallocate();
    mBegin = block;
    mEnd = mEndOfCapacity = block + iCount * mElemSize;
}

void Cmn_PolyVectorImpl::Init(const Cmn_PolyVectorImpl& iOther)
{
    CMN_ASSERT(iOther.mTraitsP == mTraitsP && iOther.mElemSize == mElemSize);
    if (&iOther == this)
        return;
    size_t count = iOther.Size();
    unsigned char* block = nullptr;
    if (count > 0)
    {
        block = static_cast<unsigned char*>(mTraitsP->Allocate(count));
        try
        {
            UninitializedCopy(iOther.mBegin, iOther.mEnd, block);
        }
        catch (...)
        {
            mTraitsP->Free(block, count);
            throw;
        }
    }
    Deallocate();
    mBegin = block;
    mEnd = mEndOfCapacity = block + count * mElemSize;
}

void Cmn_PolyVectorImpl::Assign(const Cmn_PolyVectorImpl& iOther)
{
    CMN_ASSERT(iOther.mTraitsP == mTraitsP && iOther.mElemSize == mElemSize);
    if (&iOther == this)
        return;
    size_t count = iOther.Size();
    if (count > Capacity())
    {
        Init(iOther);
    }
    else if (count <= Size())
    {
        unsigned char* newEnd = Copy(iOther.mBegin, iOther.mEnd, mBegin);
        Destroy(newEnd, mEnd);
        mEnd = newEnd;
    }
    else
    {
        const unsigned char* mid = iOther.mBegin + (mEnd - mBegin);
        Copy(iOther.mBegin, mid, mBegin);
        mEnd = UninitializedCopy(mid, iOther.mEnd, mEnd);
    }
}

void Cmn_PolyVectorImpl::Reserve(size_t iCount)
{
    if (iCount <= Capacity())
        return;
    unsigned char* block = static_cast<unsigned char*>(mTraitsP->Allocate(iCount));
    unsigned char* newEnd;
    try
    {
        newEnd = UninitializedCopy(mBegin, mEnd, block);
    }
    catch (...)
    {
        mTraitsP->Free(block, iCount);
        throw;
    }
    Deallocate();
    mBegin = block;
    mEnd = newEnd;
    mEndOfCapacity = block + iCount * mElemSize;
}

void Cmn_PolyVectorImpl::Resize(size_t iCount, const void* iFillP)
{
    size_t size = Size();
    if (iCount < size)
        Erase(mBegin + iCount * mElemSize, mEnd);
    else if (iCount > size)
        InsertCopies(mEnd, iCount - size, iFillP);
}

void Cmn_PolyVectorImpl::Swap(Cmn_PolyVectorImpl& ioOther) noexcept
{
    std::swap(mBegin, ioOther.mBegin);
    std::swap(mEnd, ioOther.mEnd);
    std::swap(mEndOfCapacity, ioOther.mEndOfCapacity);
    std::swap(mElemSize, ioOther.mElemSize);
    std::swap(mTraitsP, ioOther.mTraitsP);
}

void* Cmn_PolyVectorImpl::At(size_t iIndex)
{
    if (iIndex >= Size())
        Cmn_ThrowLocalised(kCmnPackageID, kAtOutOfRangeID);
    return mBegin + iIndex * mElemSize;
}

const void* Cmn_PolyVectorImpl::At(size_t iIndex) const
{
    if (iIndex >= Size())
        Cmn_ThrowLocalised(kCmnPackageID, kAtOutOfRangeID);
    return mBegin + iIndex * mElemSize;
}

// ---- insertion and erasure -----------------------------------------------------------------

unsigned char* Cmn_PolyVectorImpl::Insert(unsigned char* ioPos, const void* iValueP)
{
    return InsertCopies(ioPos, 1, iValueP);
}

unsigned char* Cmn_PolyVectorImpl::Insert(unsigned char* ioPos, size_t iCount, const void* iValueP)
{
    return InsertCopies(ioPos, iCount, iValueP);
}

unsigned char* Cmn_PolyVectorImpl::Insert(unsigned char* ioPos, const void* iFirstP,
                                          const void* iLastP)
{
    return InsertRange(ioPos, static_cast<const unsigned char*>(iFirstP),
                       static_cast<const unsigned char*>(iLastP));
}

unsigned char* Cmn_PolyVectorImpl::Erase(unsigned char* ioPos)
{
    CMN_ASSERT(ioPos >= mBegin && ioPos < mEnd);
    return Erase(ioPos, ioPos + mElemSize);
}

unsigned char* Cmn_PolyVectorImpl::Erase(unsigned char* iFirst, unsigned char* iLast)
{
    CMN_ASSERT(mBegin <= iFirst && iFirst <= iLast && iLast <= mEnd);
    if (iFirst == iLast)
        return iFirst;
    unsigned char* newEnd = Copy(iLast, mEnd, iFirst);
    Destroy(newEnd, mEnd);
    mEnd = newEnd;
    return iFirst;
}

size_t Cmn_PolyVectorImpl::GrowCapacity(size_t iExtra) const
{
    size_t size = Size();
    size_t maxCount = std::numeric_limits<size_t>::max() / mElemSize;
    if (iExtra > maxCount - size)
        throw std::length_error("Cmn_PolyVectorImpl::Insert");
    size_t needed = size + iExtra;
    size_t capacity = Capacity();
    size_t doubled = capacity > maxCount / 2 ? maxCount : capacity * 2;
    return std::max(needed, doubled);
}

bool Cmn_PolyVectorImpl::Holds(const void* iP) const
{
    auto p = reinterpret_cast<std::uintptr_t>(iP);
    return p >= reinterpret_cast<std::uintptr_t>(mBegin) &&
           p < reinterpret_cast<std::uintptr_t>(mEndOfCapacity);
}

unsigned char* Cmn_PolyVectorImpl::InsertCopies(unsigned char* ioPos, size_t iCount,
                                                const void* iValueP)
{
    CMN_ASSERT(mBegin <= ioPos && ioPos <= mEnd);
    if (iCount == 0)
        return ioPos;

    size_t room = static_cast<size_t>(mEndOfCapacity - mEnd) / mElemSize;
    if (iCount <= room)
    {
        if (Holds(iValueP))
        {
            // The value would move under our feet: insert a private copy of it.
            Cmn_PolyVectorImpl copy(mElemSize, mTraitsP);
            copy.Init(1, iValueP);
            return InsertCopies(ioPos, iCount, copy.mBegin);
        }
        size_t bytes = iCount * mElemSize;
        size_t afterBytes = static_cast<size_t>(mEnd - ioPos);
        unsigned char* oldEnd = mEnd;
        if (afterBytes > bytes)
        {
            // Shift the tail: the last iCount elements into raw storage, the rest by assignment.
            mEnd = UninitializedCopy(oldEnd - bytes, oldEnd, oldEnd);
            CopyBackward(ioPos, oldEnd - bytes, oldEnd);
            Fill(ioPos, ioPos + bytes, iValueP);
        }
        else
        {
            // The new elements reach past the old end: construct the part in raw storage,
            // then move the whole tail behind it, then assign over the old tail.
            UninitializedFill(oldEnd, iCount - afterBytes / mElemSize, iValueP);
            mEnd = oldEnd + (bytes - afterBytes);
            try
            {
                UninitializedCopy(ioPos, oldEnd, mEnd);
            }
            catch (...)
            {
                Destroy(oldEnd, mEnd);
                mEnd = oldEnd;
                throw;
            }
            mEnd += afterBytes;
            Fill(ioPos, oldEnd, iValueP);
        }
        return ioPos;
    }

    // Reallocate. The old block stays untouched until the new one is complete.
    size_t offset = static_cast<size_t>(ioPos - mBegin);
    size_t newCap = GrowCapacity(iCount);
    unsigned char* block = static_cast<unsigned char*>(mTraitsP->Allocate(newCap));
    unsigned char* newPos = block + offset;
    unsigned char* lo = newPos; // constructed elements of the new block: [lo, hi)
    unsigned char* hi = newPos;
    try
    {
        UninitializedFill(newPos, iCount, iValueP);
        hi = newPos + iCount * mElemSize;
        UninitializedCopy(mBegin, ioPos, block);
        lo = block;
        hi = UninitializedCopy(ioPos, mEnd, hi);
    }
    catch (...)
    {
        Destroy(lo, hi);
        mTraitsP->Free(block, newCap);
        throw;
    }
    Deallocate();
    mBegin = block;
    mEnd = hi;
    mEndOfCapacity = block + newCap * mElemSize;
    return newPos;
}

unsigned char* Cmn_PolyVectorImpl::InsertRange(unsigned char* ioPos, const unsigned char* iFirst,
                                               const unsigned char* iLast)
{
    CMN_ASSERT(mBegin <= ioPos && ioPos <= mEnd);
    CMN_ASSERT(iFirst <= iLast && static_cast<size_t>(iLast - iFirst) % mElemSize == 0);
    if (iFirst == iLast)
        return ioPos;

    size_t bytes = static_cast<size_t>(iLast - iFirst);
    size_t count = bytes / mElemSize;
    size_t room = static_cast<size_t>(mEndOfCapacity - mEnd) / mElemSize;
    if (count <= room)
    {
        if (Holds(iFirst))
        {
            Cmn_PolyVectorImpl copy(mElemSize, mTraitsP);
            copy.InsertRange(copy.mBegin, iFirst, iLast);
            return InsertRange(ioPos, copy.mBegin, copy.mEnd);
        }
        size_t afterBytes = static_cast<size_t>(mEnd - ioPos);
        unsigned char* oldEnd = mEnd;
        if (afterBytes > bytes)
        {
            mEnd = UninitializedCopy(oldEnd - bytes, oldEnd, oldEnd);
            CopyBackward(ioPos, oldEnd - bytes, oldEnd);
            Copy(iFirst, iLast, ioPos);
        }
        else
        {
            const unsigned char* mid = iFirst + afterBytes;
            mEnd = UninitializedCopy(mid, iLast, oldEnd);
            try
            {
                UninitializedCopy(ioPos, oldEnd, mEnd);
            }
            catch (...)
            {
                Destroy(oldEnd, mEnd);
                mEnd = oldEnd;
                throw;
            }
            mEnd += afterBytes;
            Copy(iFirst, mid, ioPos);
        }
        return ioPos;
    }

    size_t offset = static_cast<size_t>(ioPos - mBegin);
    size_t newCap = GrowCapacity(count);
    unsigned char* block = static_cast<unsigned char*>(mTraitsP->Allocate(newCap));
    unsigned char* newPos = block + offset;
    unsigned char* lo = newPos;
    unsigned char* hi = newPos;
    try
    {
        hi = UninitializedCopy(iFirst, iLast, newPos);
        UninitializedCopy(mBegin, ioPos, block);
        lo = block;
        hi = UninitializedCopy(ioPos, mEnd, hi);
    }
    catch (...)
    {
        Destroy(lo, hi);
        mTraitsP->Free(block, newCap);
        throw;
    }
    Deallocate();
    mBegin = block;
    mEnd = hi;
    mEndOfCapacity = block + newCap * mElemSize;
    return newPos;
}

// ---- element loops -------------------------------------------------------------------------

void Cmn_PolyVectorImpl::Fill(unsigned char* ioFirst, unsigned char* ioLast, const void* iValueP)
{
    for (; ioFirst != ioLast; ioFirst += mElemSize)
        mTraitsP->Assign(ioFirst, iValueP);
}

void Cmn_PolyVectorImpl::UninitializedFill(unsigned char* oFirst, size_t iCount,
                                           const void* iValueP)
{
    unsigned char* cur = oFirst;
    try
    {
        for (size_t i = 0; i < iCount; ++i, cur += mElemSize)
            mTraitsP->Construct(cur, iValueP);
    }
    catch (...)
    {
        Destroy(oFirst, cur);
        throw;
    }
}

unsigned char* Cmn_PolyVectorImpl::Copy(const unsigned char* iFirst, const unsigned char* iLast,
                                        unsigned char* ioDst)
{
    for (; iFirst != iLast; iFirst += mElemSize, ioDst += mElemSize)
        mTraitsP->Assign(ioDst, iFirst);
    return ioDst;
}

unsigned char* Cmn_PolyVectorImpl::CopyBackward(const unsigned char* iFirst,
                                                const unsigned char* iLast, unsigned char* ioDstEnd)
{
    while (iLast != iFirst)
    {
        iLast -= mElemSize;
        ioDstEnd -= mElemSize;
        mTraitsP->Assign(ioDstEnd, iLast);
    }
    return ioDstEnd;
}

unsigned char* Cmn_PolyVectorImpl::UninitializedCopy(const unsigned char* iFirst,
                                                     const unsigned char* iLast,
                                                     unsigned char* oDst)
{
    unsigned char* cur = oDst;
    try
    {
        for (; iFirst != iLast; iFirst += mElemSize, cur += mElemSize)
            mTraitsP->Construct(cur, iFirst);
    }
    catch (...)
    {
        Destroy(oDst, cur);
        throw;
    }
    return cur;
}

void Cmn_PolyVectorImpl::Destroy(unsigned char* ioFirst, unsigned char* ioLast)
{
    for (; ioFirst != ioLast; ioFirst += mElemSize)
        mTraitsP->Destroy(ioFirst);
}

void Cmn_PolyVectorImpl::Deallocate()
{
    Destroy(mBegin, mEnd);
    if (mBegin)
        mTraitsP->Free(mBegin, Capacity());
    mBegin = mEnd = mEndOfCapacity = nullptr;
}
