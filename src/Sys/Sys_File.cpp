#include "Sys_File.h"

#include <algorithm>
#include <atomic>
#include <vector>

#include "Cmn_Assert.h"
#include "Sys_Platform.h"

namespace
{
std::atomic<Sys_File::CreateMethod> sCreateMethod{nullptr};

Sys_FileImpl* CreateImpl(const Sys_FileLoc& iLoc)
{
    Sys_File::CreateMethod method = sCreateMethod.load();
    if (!method)
    {
        Sys_SetPlatformDependentMethods();
        method = sCreateMethod.load();
    }
    return method(iLoc);
}
} // namespace

bool Sys_File::sUseCache = true;

Sys_File::Sys_File(const Sys_FileLoc& iLoc) : Sys_File(CreateImpl(iLoc)) {}

Sys_File::Sys_File(Sys_FileImpl* iImplP) : mImpl(iImplP)
{
    CMN_ASSERT(mImpl);
}

Sys_File::~Sys_File() = default;

Sys_File::CreateMethod Sys_File::SetCreateMethod(CreateMethod iMethod)
{
    return sCreateMethod.exchange(iMethod);
}

void Sys_File::Sys_FileUseCache(bool iUseCache)
{
    sUseCache = iUseCache;
}

bool Sys_File::Sys_FileUsingCache()
{
    return sUseCache;
}

bool Sys_File::IsOpen() const
{
    return mImpl->IsOpen();
}

bool Sys_File::IsOnline() const
{
    return mImpl->IsOnline();
}

const Sys_FileLoc& Sys_File::GetFileLoc() const
{
    return mImpl->GetFileLoc();
}

void Sys_File::Open(int32_t iOpenFlags)
{
    if (iOpenFlags & eOpen_Create)
        iOpenFlags |= eOpen_ForWrite | eOpen_ForRead;
    mImpl->Open(iOpenFlags);
}

void Sys_File::Close()
{
    mImpl->Close();
}

void Sys_File::SetEOF(int64_t iEOF)
{
    mImpl->SetEOF(iEOF);
}

void Sys_File::SetPhysicalEOF(int64_t iEOF)
{
    mImpl->SetPhysicalEOF(iEOF);
}

int64_t Sys_File::GetEOF() const
{
    return mImpl->GetEOF();
}

void Sys_File::SetPosition(EOffsetFrom iFrom, int64_t iOffset)
{
    mImpl->SetPosition(iFrom, iOffset);
}

int64_t Sys_File::GetPosition() const
{
    return mImpl->GetPosition();
}

int64_t Sys_File::Read(void* oBufferP, int64_t iByteCount)
{
    return mImpl->Read(oBufferP, iByteCount);
}

int64_t Sys_File::Write(const void* iBufferP, int64_t iByteCount)
{
    return mImpl->Write(iBufferP, iByteCount);
}

void Sys_File::MoveBlock(int64_t iStart, int64_t iLength, int64_t iDelta)
{
    if (iDelta == 0 || iLength == 0)
        return;
    CMN_ASSERT(iStart >= 0 && iLength > 0 && iStart + iDelta >= 0);
    const int64_t savedPosition = GetPosition();
    std::vector<unsigned char> storage(cMoveBlockBufferSize);
    unsigned char* buffer = storage.data();
    // Moving up, copy from the end of the region backwards; moving down, from the start
    // forwards: a block is always read before the move can overwrite it.
    int64_t done = 0;
    while (done < iLength)
    {
        const int64_t blockSize = std::min<int64_t>(cMoveBlockBufferSize, iLength - done);
        const int64_t from = iDelta > 0 ? iStart + iLength - done - blockSize : iStart + done;
        SetPosition(eOffsetFrom_Start, from);
        CMN_ASSERT_TEXT(this->Read(buffer, blockSize) == blockSize,
                        "this->Read( buffer, blockSize ) == blockSize");
        SetPosition(eOffsetFrom_Start, from + iDelta);
        CMN_ASSERT_TEXT(this->Write(buffer, blockSize) == blockSize,
                        "this->Write( buffer, blockSize ) == blockSize");
        done += blockSize;
    }
    SetPosition(eOffsetFrom_Start, savedPosition);
}

void Sys_File::ReadAsync(Sys_AsyncFileIOParams* iParamsP)
{
    mImpl->ReadAsync(iParamsP);
}

void Sys_File::WriteAsync(Sys_AsyncFileIOParams* iParamsP)
{
    mImpl->WriteAsync(iParamsP);
}

bool Sys_File::IsReadOnly() const
{
    return mImpl->IsReadOnly();
}

void Sys_File::SetReadOnly(bool iReadOnly)
{
    mImpl->SetReadOnly(iReadOnly);
}
