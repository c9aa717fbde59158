#include "Sys_StdStreamHeader.h"

#include <cstring>
#include <limits>

#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
#include "Sys_TypedStream.h"

namespace
{
constexpr int32_t kSysPackageID = 2;
constexpr int32_t kMagicMismatchID = 28;
constexpr int32_t kSizeMismatchID = 29;
constexpr int32_t kVersionTooOldID = 30;
constexpr int32_t kVersionTooNewID = 31;
} // namespace

// ---- Sys_StdStreamHeaderWriter -----------------------------------------------------------

Sys_StdStreamHeaderWriter::Sys_StdStreamHeaderWriter(Sys_TypedOutStream& ioStream,
                                                     const char* iMagic, int16_t iVersion)
    : mStream(ioStream)
{
    CMN_ASSERT_TEXT(iMagic != nullptr, "iMagic != 0");
    const size_t magicLen = std::strlen(iMagic);
    CMN_ASSERT(magicLen <= kMaxMagicLen);
    mHeaderStartPos = mStream.GetPos();
    mStream.WriteBlock(iMagic, static_cast<int32_t>(magicLen));
    mStream.Write(iVersion);
    mSizePos = mHeaderStartPos + static_cast<int64_t>(magicLen) + 2;
    mStream.Write(int32_t(0));
    mDataStartPos = mSizePos + 4;
}

void Sys_StdStreamHeaderWriter::PatchSize()
{
    CMN_ASSERT(!mPatched);
    mPatched = true;
    const int64_t currentPos = mStream.GetPos();
    const int64_t size = currentPos - mDataStartPos;
    CMN_ASSERT(size >= 0 && size <= std::numeric_limits<int32_t>::max());
    mStream.SetPos(mSizePos);
    mStream.Write(static_cast<int32_t>(size));
    mStream.SetPos(currentPos);
}

// ---- Sys_StdStreamHeaderReader -----------------------------------------------------------

Sys_StdStreamHeaderReader::Sys_StdStreamHeaderReader(Sys_TypedInStream& ioStream,
                                                     const char* iMagic)
    : mStream(ioStream)
{
    CMN_ASSERT_TEXT(iMagic != nullptr, "iMagic != 0");
    const size_t magicLen = std::strlen(iMagic);
    CMN_ASSERT(magicLen <= Sys_StdStreamHeaderWriter::kMaxMagicLen);
    mHeaderStartPos = mStream.GetPos();

    char storedMagic[Sys_StdStreamHeaderWriter::kMaxMagicLen];
    mStream.ReadBlock(storedMagic, static_cast<int32_t>(magicLen));
    if (std::memcmp(storedMagic, iMagic, magicLen) != 0)
        L10N_Throw(kSysPackageID, kMagicMismatchID);

    mStream.Read(mVersion);
    mStream.Read(mSize);
    mDataStartPos = mStream.GetPos();
    // The size comes from the data: a negative one, or one that reaches past what the stream
    // holds, is reported now rather than handed to SkipTheRest or a caller's loop.
    if (mSize < 0 || mSize > mStream.GetEndPos() - mDataStartPos)
        L10N_Throw(kSysPackageID, kSizeMismatchID);
}

bool Sys_StdStreamHeaderReader::IsMoreLeft() const
{
    return mStream.GetPos() < GetDataEndPos();
}

void Sys_StdStreamHeaderReader::SkipTheRest()
{
    mFinished = true;
    if (mStream.GetPos() > GetDataEndPos())
        L10N_Throw(kSysPackageID, kSizeMismatchID);
    mStream.SetPos(GetDataEndPos());
}

void Sys_StdStreamHeaderReader::CheckVersion(int16_t iMinVersion, int16_t iMaxVersion)
{
    if (mVersion < iMinVersion)
    {
        mFinished = true;
        L10N_Throw(kSysPackageID, kVersionTooOldID);
    }
    if (mVersion > iMaxVersion)
    {
        mFinished = true;
        L10N_Throw(kSysPackageID, kVersionTooNewID);
    }
}
