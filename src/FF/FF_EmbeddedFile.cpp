#include "FF/FF_EmbeddedFile.h"

#include <algorithm>
#include <cerrno>
#include <memory>

#include "Cmn_Assert.h"
#include "Sys_AsyncFileIOParams.h"
#include "Sys_OSErrData.h"

namespace
{
class FF_EmbeddedFileImpl : public Sys_FileImpl
{
public:
    FF_EmbeddedFileImpl(const Sys_FileLoc& iOuterLoc, int64_t iOffset, int64_t iLength)
        : mOuter(iOuterLoc), mOffset(iOffset), mLength(iLength)
    {
        CMN_ASSERT(iOffset >= 0);
    }

    bool IsOpen() const override { return mOuter.IsOpen(); }
    bool IsOnline() const override { return mOuter.IsOnline(); }
    const Sys_FileLoc& GetFileLoc() const override { return mOuter.GetFileLoc(); }
    void Open(int32_t iOpenFlags) override
    {
        // Creating would truncate the outer file.
        mOuter.Open((iOpenFlags & ~int32_t(Sys_File::eOpen_Create)) | Sys_File::eOpen_Existing);
        mPosition = 0;
    }
    void Close() override { mOuter.Close(); }
    void SetEOF(int64_t iEOF) override
    {
        CMN_ASSERT(mLength < 0);
        mOuter.SetEOF(mOffset + iEOF);
    }
    void SetPhysicalEOF(int64_t iEOF) override { SetEOF(iEOF); }
    int64_t GetEOF() const override
    {
        const int64_t held = std::max<int64_t>(mOuter.GetEOF() - mOffset, 0);
        return mLength < 0 ? held : std::min(held, mLength);
    }
    void SetPosition(Sys_File::EOffsetFrom iFrom, int64_t iOffset) override
    {
        int64_t position = iOffset;
        if (iFrom == Sys_File::eOffsetFrom_Current)
            position = mPosition + iOffset;
        else if (iFrom == Sys_File::eOffsetFrom_End)
            position = GetEOF() - iOffset;
        if (position < 0)
            Sys_ThrowIfOSErr(EINVAL, GetFileLoc().GetFullPath());
        mPosition = position;
    }
    int64_t GetPosition() const override { return mPosition; }
    int64_t Read(void* oBufferP, int64_t iByteCount) override
    {
        const int64_t count = std::clamp<int64_t>(GetEOF() - mPosition, 0, iByteCount);
        mOuter.SetPosition(Sys_File::eOffsetFrom_Start, mOffset + mPosition);
        const int64_t done = mOuter.Read(oBufferP, count);
        mPosition += done;
        return done;
    }
    int64_t Write(const void* iBufferP, int64_t iByteCount) override
    {
        int64_t count = iByteCount;
        if (mLength >= 0)
            count = std::clamp<int64_t>(mLength - mPosition, 0, iByteCount);
        mOuter.SetPosition(Sys_File::eOffsetFrom_Start, mOffset + mPosition);
        const int64_t done = mOuter.Write(iBufferP, count);
        mPosition += done;
        return done;
    }
    void ReadAsync(Sys_AsyncFileIOParams* iParamsP) override
    {
        const int64_t position = iParamsP->GetPosition();
        iParamsP->SetPosition(position + mOffset);
        try
        {
            mOuter.ReadAsync(iParamsP);
        }
        catch (...)
        {
            iParamsP->SetPosition(position);
            throw;
        }
        iParamsP->SetPosition(position);
    }
    void WriteAsync(Sys_AsyncFileIOParams* iParamsP) override
    {
        const int64_t position = iParamsP->GetPosition();
        iParamsP->SetPosition(position + mOffset);
        try
        {
            mOuter.WriteAsync(iParamsP);
        }
        catch (...)
        {
            iParamsP->SetPosition(position);
            throw;
        }
        iParamsP->SetPosition(position);
    }
    bool IsReadOnly() const override { return mOuter.IsReadOnly(); }
    void SetReadOnly(bool iReadOnly) override { mOuter.SetReadOnly(iReadOnly); }

    Sys_File mOuter;
    int64_t mOffset;
    int64_t mLength;
    int64_t mPosition = 0;
};

FF_EmbeddedFileImpl* ImplOf(const Sys_File* iFileP)
{
    return static_cast<FF_EmbeddedFileImpl*>(iFileP->GetImpl());
}
} // namespace

FF_EmbeddedFile::FF_EmbeddedFile(const Sys_FileLoc& iOuterLoc, int64_t iOffset, int64_t iLength)
    : Sys_File(new FF_EmbeddedFileImpl(iOuterLoc, iOffset, iLength))
{
}

int64_t FF_EmbeddedFile::GetOffset() const
{
    return ImplOf(this)->mOffset;
}

int64_t FF_EmbeddedFile::GetLength() const
{
    return ImplOf(this)->mLength;
}

void FF_EmbeddedFile::SetLength(int64_t iLength)
{
    ImplOf(this)->mLength = iLength;
}
