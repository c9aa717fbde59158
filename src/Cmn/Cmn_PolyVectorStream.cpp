#include "Cmn_PolyVectorStream.h"

#include <algorithm>
#include <cstring>

#include "Cmn_Assert.h"

// ---- Cmn_PolyVectorInStream ----------------------------------------------------------------

Cmn_PolyVectorInStream::Cmn_PolyVectorInStream(const Cmn_PolyVector<unsigned char>& iVector)
    : Cmn_MemBufferInStream(iVector.begin(), iVector.end()), mVectorP(&iVector)
{
}

void Cmn_PolyVectorInStream::Sync()
{
    int64_t size = static_cast<int64_t>(mVectorP->size());
    SetRange(mVectorP->begin(), mVectorP->end(), std::min(GetPos(), size));
}

// ---- Cmn_PolyVectorOutStream ---------------------------------------------------------------

Cmn_PolyVectorOutStream::Cmn_PolyVectorOutStream(Cmn_PolyVector<unsigned char>* iVectorP)
    : mVectorP(iVectorP)
{
    CMN_ASSERT(iVectorP != nullptr);
}

void Cmn_PolyVectorOutStream::Write(const void* iBuffer, int32_t iByteLen)
{
    CMN_ASSERT(iByteLen >= 0);
    if (iByteLen == 0)
        return;
    const unsigned char* bytes = static_cast<const unsigned char*>(iBuffer);
    size_t pos = static_cast<size_t>(mPos);
    if (pos > mVectorP->size())
        mVectorP->resize(pos, 0);

    size_t len = static_cast<size_t>(iByteLen);
    size_t overwrite = std::min(len, mVectorP->size() - pos);
    if (overwrite > 0)
        std::memcpy(mVectorP->data() + pos, bytes, overwrite);
    if (overwrite < len)
        mVectorP->insert(mVectorP->end(), bytes + overwrite, bytes + len);
    mPos += iByteLen;
}

void Cmn_PolyVectorOutStream::SetPos(int64_t iPos)
{
    CMN_ASSERT(iPos >= 0);
    mPos = iPos;
}

int64_t Cmn_PolyVectorOutStream::GetEndPos() const
{
    return static_cast<int64_t>(mVectorP->size());
}

void Cmn_PolyVectorOutStream::Reserve(int32_t iByteLen)
{
    CMN_ASSERT(iByteLen >= 0);
    size_t from = std::max(static_cast<size_t>(mPos), mVectorP->size());
    mVectorP->reserve(from + static_cast<size_t>(iByteLen));
}
