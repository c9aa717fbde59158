#include "Cmn_MemBufferStream.h"

#include <cstring>

#include "Cmn_Assert.h"
#include "Cmn_Exception.h"

namespace
{
constexpr int32_t kCmnPackageID = 7;
constexpr int32_t kUnexpectedEndOfStreamID = 8;
constexpr int32_t kSetPosPastEndID = 9;
} // namespace

// ---- Cmn_MemBufferInStream ---------------------------------------------------------------

Cmn_MemBufferInStream::Cmn_MemBufferInStream(const unsigned char* iBegin, const unsigned char* iEnd)
{
    SetRange(iBegin, iEnd);
}

void Cmn_MemBufferInStream::SetRange(const unsigned char* iBegin, const unsigned char* iEnd,
                                     int64_t iPos)
{
    CMN_ASSERT(iBegin <= iEnd);
    CMN_ASSERT(iPos >= 0 && iPos <= iEnd - iBegin);
    mBeginP = iBegin;
    mEndP = iEnd;
    mCurrentP = iBegin + iPos;
}

void Cmn_MemBufferInStream::Read(void* oBuffer, int32_t iByteLen)
{
    CMN_ASSERT(iByteLen >= 0);
    if (iByteLen > mEndP - mCurrentP)
        Cmn_ThrowLocalised(kCmnPackageID, kUnexpectedEndOfStreamID);
    if (iByteLen == 0)
        return;
    std::memcpy(oBuffer, mCurrentP, static_cast<size_t>(iByteLen));
    mCurrentP += iByteLen;
}

void Cmn_MemBufferInStream::SetPos(int64_t iPos)
{
    CMN_ASSERT(iPos >= 0);
    if (iPos > mEndP - mBeginP)
        Cmn_ThrowLocalised(kCmnPackageID, kSetPosPastEndID);
    mCurrentP = mBeginP + iPos;
}

// ---- Cmn_MemBufferOutStream --------------------------------------------------------------

Cmn_MemBufferOutStream::Cmn_MemBufferOutStream() = default;

Cmn_MemBufferOutStream::Cmn_MemBufferOutStream(void* iBuffer, uint32_t iSize)
    : mBufferP(static_cast<unsigned char*>(iBuffer)), mCurrentP(mBufferP), mCapacity(iSize),
      mbOwnBuffer(false), mAllocGranularity(0)
{
    CMN_ASSERT(iBuffer != 0 || iSize == 0);
}

Cmn_MemBufferOutStream::~Cmn_MemBufferOutStream()
{
    if (mbOwnBuffer)
        delete[] mBufferP;
}

void Cmn_MemBufferOutStream::Write(const void* iBuffer, int32_t iByteLen)
{
    CMN_ASSERT(iByteLen >= 0);
    if (mCapacity - mPos < iByteLen)
        Grow(iByteLen);
    if (iByteLen == 0)
        return;
    std::memcpy(mCurrentP, iBuffer, static_cast<size_t>(iByteLen));
    mCurrentP += iByteLen;
    mPos += iByteLen;
    if (mPos > mEndPos)
        mEndPos = mPos;
}

void Cmn_MemBufferOutStream::SetPos(int64_t iPos)
{
    CMN_ASSERT(iPos >= 0);
    if (iPos > mEndPos)
        Cmn_ThrowLocalised(kCmnPackageID, kSetPosPastEndID);
    mPos = iPos;
    mCurrentP = mBufferP + iPos;
}

void Cmn_MemBufferOutStream::SetAllocGranularity(int32_t iGranularity)
{
    CMN_ASSERT(mbOwnBuffer);
    CMN_ASSERT(iGranularity > 0);
    mAllocGranularity = iGranularity;
}

void Cmn_MemBufferOutStream::Grow(int32_t iByteLen)
{
    CMN_ASSERT(mbOwnBuffer);
    CMN_ASSERT(iByteLen >= 0);
    // The division truncates toward zero, as the system's did; the result always exceeds
    // mEndPos + iByteLen, so the used bytes fit (a Reserve on a large buffer may shrink it).
    const int64_t newCapacity =
        mCapacity + ((mEndPos - mCapacity + iByteLen) / mAllocGranularity + 1) * mAllocGranularity;
    unsigned char* newBufferP = new unsigned char[static_cast<size_t>(newCapacity)];
    if (mEndPos > 0)
        std::memcpy(newBufferP, mBufferP, static_cast<size_t>(mEndPos));
    delete[] mBufferP;
    mBufferP = newBufferP;
    mCurrentP = mBufferP + mPos;
    mCapacity = newCapacity;
}
