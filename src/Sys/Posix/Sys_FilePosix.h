// The plain file of this host, over open(2), pread and pwrite.
//
// Design:
//  1. The position lives in this object; every transfer is a pread or pwrite at it, so the
//     descriptor's own offset is never used and async transfers can share the descriptor.
//  2. eOpen_Unbuffered opens with O_DIRECT. Where the file system refuses it (at open, or
//     with EINVAL on a transfer) the file continues buffered with the same results.
//     Unbuffered transfers are split at sector boundaries: a partial head or tail sector goes
//     through a one-sector staging buffer (read, overlay, write back for writes), the whole
//     sectors between go straight to the caller's memory when it is aligned, else through
//     an aligned bounce buffer. A write that ends inside a sector sets the end of file back
//     to the true length.
//  3. Async transfers run on a small pool of I/O threads; the completion routine is posted
//     to the issuing thread's Sys_ApcQueue and runs there during an alertable wait. Close
//     waits until no transfer of this file is still running (their completion routines may
//     still be queued).
//  4. Growth (SetEOF past the end) tries fallocate, which allocates without writing, except
//     on FAT-family volumes; there, and where fallocate is not supported, ftruncate.
//
// Failures go through Sys_ThrowIfOSErr with the errno value and the file's path.
#pragma once

#include <cstdint>
#include <memory>

#include "Sys_File.h"
#include "Sys_Volume.h"

class Sys_FilePosix : public Sys_FileImpl
{
public:
    explicit Sys_FilePosix(const Sys_FileLoc& iLoc);
    ~Sys_FilePosix() override;
    Sys_FilePosix(const Sys_FilePosix&) = delete;
    Sys_FilePosix& operator=(const Sys_FilePosix&) = delete;

    bool IsOpen() const override { return mFD >= 0; }
    bool IsOnline() const override;
    const Sys_FileLoc& GetFileLoc() const override { return mLoc; }
    void Open(int32_t inOpenFlags) override;
    void Close() override;
    void SetEOF(int64_t iEOF) override;
    void SetPhysicalEOF(int64_t iEOF) override { SetEOF(iEOF); }
    int64_t GetEOF() const override;
    void SetPosition(Sys_File::EOffsetFrom iFrom, int64_t iOffset) override;
    int64_t GetPosition() const override { return mPosition; }
    int64_t Read(void* oBufferP, int64_t iByteCount) override;
    int64_t Write(const void* iBufferP, int64_t iByteCount) override;
    void ReadAsync(Sys_AsyncFileIOParams* iParamsP) override;
    void WriteAsync(Sys_AsyncFileIOParams* iParamsP) override;
    bool IsReadOnly() const override;
    void SetReadOnly(bool iReadOnly) override;

    int32_t GetOpenFlags() const { return mOpenFlags; }
    // Bytes per sector of the volume, 0 before it was needed.
    int32_t GetSectorSize() const { return mSectorSize; }
    // Whether O_DIRECT is in effect now.
    bool IsDirectIO() const;

    static Sys_FileImpl* Create(const Sys_FileLoc& iLoc);
    static void SetPlatformDependentMethods();

    // Fault injection for tests: the iNth operation of that kind from now (counted over all
    // files, each pread, pwrite, growth, sync or rename the system is asked for) fails with
    // iError; a negative iError kills the process with signal -iError there instead (kill
    // tests run it in a child). iNth 0 switches the fault off. Syncs and renames are those of
    // outputs that are swapped in whole (Sys_AtomicOutput) and of journals of changes in place
    // (Sys_FileJournal), whose reads and writes count as reads and writes.
    enum EFault
    {
        eFault_Read = 0,
        eFault_Write = 1,
        eFault_Grow = 2,
        eFault_Sync = 3,
        eFault_Rename = 4,
        eFault_Count = 5
    };
    static void SetFault(EFault iKind, int32_t iNth, int32_t iError);
    // Counts one operation of that kind: the injected error when it is the chosen one, else 0.
    static int32_t TakeFault(EFault iKind);

private:
    struct Shared;
    struct AsyncJob;

    int64_t ReadNormal(void* oBufferP, int64_t iByteCount);
    int64_t WriteNormal(const void* iBufferP, int64_t iByteCount);
    int64_t ReadUnbufferedIO(void* oBufferP, int64_t iByteCount);
    int64_t WriteUnbufferedIO(const void* iBufferP, int64_t iByteCount);
    // One full transfer at iPosition; a short count only at the end of file.
    int64_t ReadAt(void* oBufferP, int64_t iByteCount, int64_t iPosition);
    int64_t WriteAt(const void* iBufferP, int64_t iByteCount, int64_t iPosition);
    void IssueAsync(Sys_AsyncFileIOParams* iParamsP, bool iWrite);
    unsigned char* GetBounceBuffer();
    [[noreturn]] void ThrowError(int32_t iError) const;

    Sys_FileLoc mLoc;
    int mFD = -1;
    int32_t mOpenFlags = 0;
    int32_t mSectorSize = 0;
    bool mNeedsStaging = false;
    Sys_Volume::EFileSystemType mFileSystemType = Sys_Volume::eFileSystemType_Unknown;
    int64_t mPosition = 0;
    std::shared_ptr<Shared> mShared;
    unsigned char* mStagingP[2] = {nullptr, nullptr};
    unsigned char* mBounceP = nullptr;
};
