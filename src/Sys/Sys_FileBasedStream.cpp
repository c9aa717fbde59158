#include "Sys_FileBasedStream.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
#include "Sys_File.h"

namespace
{
std::atomic<unsigned char*> sInSpareBuffer{nullptr};
std::atomic<unsigned char*> sOutSpareBuffer{nullptr};

unsigned char* TakeBuffer(std::atomic<unsigned char*>& ioSlot, int32_t iSize)
{
    unsigned char* bufferP = ioSlot.exchange(nullptr);
    return bufferP ? bufferP : new unsigned char[size_t(iSize)];
}

void ParkBuffer(std::atomic<unsigned char*>& ioSlot, unsigned char* iBufferP)
{
    unsigned char* empty = nullptr;
    if (!ioSlot.compare_exchange_strong(empty, iBufferP))
        delete[] iBufferP;
}

constexpr int32_t cSystemPackage = 2;
constexpr int32_t cEndOfStreamID = 22;
constexpr int32_t cWriteFailedID = 23;
} // namespace

// ---- Sys_FileBasedInStream -----------------------------------------------------------------

Sys_FileBasedInStream::Sys_FileBasedInStream(Sys_File& iFile)
    : mFileP(&iFile), mBufferP(TakeBuffer(sInSpareBuffer, cBufferSize)),
      mFilePos(iFile.GetPosition())
{
}

Sys_FileBasedInStream::~Sys_FileBasedInStream()
{
    ParkBuffer(sInSpareBuffer, mBufferP);
}

void Sys_FileBasedInStream::Read(void* oBufferP, int32_t iByteLen)
{
    CMN_ASSERT(iByteLen >= 0);
    if (iByteLen <= mValidCount - mBufferOffset)
    {
        std::memcpy(oBufferP, mBufferP + mBufferOffset, size_t(iByteLen));
        mBufferOffset += iByteLen;
        return;
    }
    mFilePos += mBufferOffset;
    mBufferOffset = 0;
    mValidCount = 0;
    mFileP->SetPosition(Sys_File::eOffsetFrom_Start, mFilePos);
    if (iByteLen > mReadAhead)
    {
        if (mFileP->Read(oBufferP, iByteLen) != iByteLen)
            L10N_Throw(cSystemPackage, cEndOfStreamID);
        mFilePos += iByteLen;
        return;
    }
    mValidCount = int32_t(mFileP->Read(mBufferP, mReadAhead));
    if (mValidCount < iByteLen)
        std::memset(mBufferP + mValidCount, 0, size_t(iByteLen - mValidCount));
    std::memcpy(oBufferP, mBufferP, size_t(iByteLen));
    mBufferOffset = iByteLen;
}

void Sys_FileBasedInStream::SetPos(int64_t iPos)
{
    if (iPos >= mFilePos && iPos <= mFilePos + mValidCount)
    {
        mBufferOffset = int32_t(iPos - mFilePos);
        return;
    }
    mFileP->SetPosition(Sys_File::eOffsetFrom_Start, iPos);
    mBufferOffset = 0;
    mValidCount = 0;
    mFilePos = iPos;
}

int64_t Sys_FileBasedInStream::GetEndPos() const
{
    return mFileP->GetEOF();
}

void Sys_FileBasedInStream::SetReadAhead(int32_t iReadAhead)
{
    CMN_ASSERT(iReadAhead >= 0);
    if (iReadAhead <= cBufferSize)
    {
        mReadAhead = iReadAhead;
        return;
    }
    const int32_t reads = (iReadAhead + cBufferSize - 1) / cBufferSize;
    const int32_t rest = iReadAhead % cBufferSize;
    mReadAhead = cBufferSize - (cBufferSize - rest) / reads;
}

Sys_FileBasedInStream::StSetReadAhead::StSetReadAhead(Sys_FileBasedInStream& iStream,
                                                      int32_t iReadAhead)
    : mStream(iStream), mOldReadAhead(iStream.GetReadAhead())
{
    mStream.SetReadAhead(iReadAhead);
}

Sys_FileBasedInStream::StSetReadAhead::~StSetReadAhead()
{
    mStream.SetReadAhead(mOldReadAhead);
}

// ---- Sys_FileBasedOutStream ----------------------------------------------------------------

Sys_FileBasedOutStream::Sys_FileBasedOutStream(Sys_File& iFile)
    : mFileP(&iFile), mBufferP(TakeBuffer(sOutSpareBuffer, cBufferSize)),
      mFilePos(iFile.GetPosition())
{
}

Sys_FileBasedOutStream::~Sys_FileBasedOutStream()
{
    ParkBuffer(sOutSpareBuffer, mBufferP);
}

void Sys_FileBasedOutStream::Write(const void* iBufferP, int32_t iByteLen)
{
    CMN_ASSERT(iByteLen >= 0);
    if (int64_t(mBufferOffset) + iByteLen > cBufferSize)
        Flush();
    if (iByteLen <= cBufferSize)
    {
        std::memcpy(mBufferP + mBufferOffset, iBufferP, size_t(iByteLen));
        mBufferOffset += iByteLen;
        mHeldCount = std::max(mHeldCount, mBufferOffset);
    }
    else
    {
        mFileP->SetPosition(Sys_File::eOffsetFrom_Start, mFilePos);
        if (mFileP->Write(iBufferP, iByteLen) != iByteLen)
            L10N_Throw(cSystemPackage, cWriteFailedID);
        mFilePos += iByteLen;
    }
    mHighWaterMark = std::max(mHighWaterMark, mFilePos + mHeldCount);
}

void Sys_FileBasedOutStream::Flush()
{
    if (mHeldCount > 0)
    {
        mFileP->SetPosition(Sys_File::eOffsetFrom_Start, mFilePos);
        if (mFileP->Write(mBufferP, mHeldCount) != mHeldCount)
            L10N_Throw(cSystemPackage, cWriteFailedID);
        mFilePos += mHeldCount;
    }
    mBufferOffset = 0;
    mHeldCount = 0;
    mHighWaterMark = std::max(mHighWaterMark, mFilePos);
}

void Sys_FileBasedOutStream::SetPos(int64_t iPos)
{
    if (iPos >= mFilePos && iPos <= mFilePos + mHeldCount)
    {
        mBufferOffset = int32_t(iPos - mFilePos);
        return;
    }
    Flush();
    mFileP->SetPosition(Sys_File::eOffsetFrom_Start, iPos);
    mFilePos = iPos;
}

int64_t Sys_FileBasedOutStream::GetEndPos() const
{
    return std::max(mFileP->GetEOF(), mFilePos + mHeldCount);
}
