// An open file on 64-bit positions.
//
// Sys_File is the portable front; it owns one Sys_FileImpl, made from a location by the
// creation hook that the platform layer installs (Sys_FilePosix here).
//
// Contract:
//  - Closed or open; Close makes the object closed again and it may be opened anew. The
//    destructor closes.
//  - Read and Write move bytes at the file's position and advance it by the count moved.
//    Meeting the end of file is no failure: Read returns a short count (0 at or past the
//    end). Every other system failure throws through Sys_ThrowIfOSErr.
//  - SetPosition may go past the end; a write there grows the file. A position before the
//    start fails with EINVAL.
//  - ReadAsync and WriteAsync use the params' own position, not the file's, and complete on
//    the issuing thread during an alertable wait (see Sys_AsyncFileIOParams.h).
//  - One thread at a time uses a Sys_File; only the async transfers run elsewhere.
#pragma once

#include <cstdint>
#include <memory>

#include "Sys_FileLoc.h"

class Sys_AsyncFileIOParams;
class Sys_FileImpl;

class Sys_File
{
public:
    // Open flags, as bits.
    enum EOpenFlag
    {
        eOpen_ForWrite = 1,
        eOpen_ForRead = 2,
        eOpen_WriteThrough = 4, // every write reaches the device (O_DSYNC); needs ForWrite
        eOpen_ShareRead = 16,   // sharing is always granted; kept for the callers' sets
        eOpen_ShareWrite = 32,
        eOpen_NeedsSectorSize = 128,
        eOpen_Existing = 256, // alone: the file must exist; with Create: open or create
        eOpen_Create = 512,   // alone: create or truncate; turns ForWrite and ForRead on
        eOpen_DeleteOnClose = 4096,
        eOpen_AsyncIO = 8192,    // always turned on by Open on this host
        eOpen_Unbuffered = 16384 // O_DIRECT with sector staging; needs AsyncIO
    };

    enum EOffsetFrom
    {
        eOffsetFrom_Start = 0,
        eOffsetFrom_Current = 1,
        eOffsetFrom_End = 2 // the offset is a positive distance back from the end
    };

    using CreateMethod = Sys_FileImpl* (*)(const Sys_FileLoc& iLoc);

    // Through the creation hook (see Sys_Platform.h for who fills it).
    explicit Sys_File(const Sys_FileLoc& iLoc);
    // Takes ownership; asserts "mImpl".
    explicit Sys_File(Sys_FileImpl* iImplP);
    virtual ~Sys_File();
    Sys_File(const Sys_File&) = delete;
    Sys_File& operator=(const Sys_File&) = delete;

    virtual bool IsOpen() const;
    virtual bool IsOnline() const;
    virtual const Sys_FileLoc& GetFileLoc() const;
    // eOpen_Create turns eOpen_ForWrite and eOpen_ForRead on.
    virtual void Open(int32_t iOpenFlags);
    virtual void Close();
    virtual void SetEOF(int64_t iEOF);
    virtual void SetPhysicalEOF(int64_t iEOF);
    virtual int64_t GetEOF() const;
    virtual void SetPosition(EOffsetFrom iFrom, int64_t iOffset);
    virtual int64_t GetPosition() const;
    virtual int64_t Read(void* oBufferP, int64_t iByteCount);
    virtual int64_t Write(const void* iBufferP, int64_t iByteCount);
    // Moves iLength bytes at iStart by iDelta bytes (either way, overlap allowed) through a
    // 32,768-byte buffer; the position is restored afterwards. Every block must move in
    // full: a short read or write fails the assertion "this->Read( buffer, blockSize ) ==
    // blockSize" or "this->Write( buffer, blockSize ) == blockSize".
    virtual void MoveBlock(int64_t iStart, int64_t iLength, int64_t iDelta);
    virtual void ReadAsync(Sys_AsyncFileIOParams* iParamsP);
    virtual void WriteAsync(Sys_AsyncFileIOParams* iParamsP);
    virtual bool IsReadOnly() const;
    virtual void SetReadOnly(bool iReadOnly);
    virtual Sys_FileImpl* GetImpl() const { return mImpl.get(); }

    static CreateMethod SetCreateMethod(CreateMethod iMethod);

    // Records whether callers wish the system cache used; nothing else reads it here.
    static void Sys_FileUseCache(bool iUseCache);
    static bool Sys_FileUsingCache();
    static bool sUseCache;

    static constexpr int32_t cMoveBlockBufferSize = 32768;

private:
    std::unique_ptr<Sys_FileImpl> mImpl;
};

// What a platform supplies behind Sys_File (same contract).
class Sys_FileImpl
{
public:
    virtual ~Sys_FileImpl() = default;

    virtual bool IsOpen() const = 0;
    virtual bool IsOnline() const = 0;
    virtual const Sys_FileLoc& GetFileLoc() const = 0;
    virtual void Open(int32_t iOpenFlags) = 0;
    virtual void Close() = 0;
    virtual void SetEOF(int64_t iEOF) = 0;
    virtual void SetPhysicalEOF(int64_t iEOF) = 0;
    virtual int64_t GetEOF() const = 0;
    virtual void SetPosition(Sys_File::EOffsetFrom iFrom, int64_t iOffset) = 0;
    virtual int64_t GetPosition() const = 0;
    virtual int64_t Read(void* oBufferP, int64_t iByteCount) = 0;
    virtual int64_t Write(const void* iBufferP, int64_t iByteCount) = 0;
    virtual void ReadAsync(Sys_AsyncFileIOParams* iParamsP) = 0;
    virtual void WriteAsync(Sys_AsyncFileIOParams* iParamsP) = 0;
    virtual bool IsReadOnly() const = 0;
    virtual void SetReadOnly(bool iReadOnly) = 0;
};
