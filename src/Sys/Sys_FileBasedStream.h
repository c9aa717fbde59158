// Buffered byte streams over an open Sys_File.
//
// Both streams buffer a file that stays open and that they do not own; nobody else may
// move the file's position or write to it while a stream is in use. Each holds a buffer of
// cBufferSize (262,144) bytes; each class keeps one spare buffer in a static slot, so that a
// short-lived stream does not allocate: a constructor takes the parked buffer when there is
// one, a destructor parks its buffer when the slot is empty and frees it otherwise. The slot
// is exchanged atomically; it is not a lock.
//
// Sys_FileBasedInStream. Invariants: the buffer holds mValidCount bytes read from mFilePos;
// the next byte is at mFilePos + mBufferOffset (GetPos). Read(n):
//  1. n more bytes in the buffer: copy them.
//  2. n larger than the read-ahead: read n bytes straight into the caller's memory from
//     GetPos; a short read throws package 2, id 22 ("end of stream encountered"); the
//     buffer is emptied.
//  3. otherwise refill: read one read-ahead's worth from GetPos (bytes that stood unread in
//     the buffer are fetched again) and copy n bytes out. A short read is not reported here:
//     the bytes past the end of file come out as zeros, and the position moves by n all the
//     same. Callers do not read past the end.
// SetPos stays in the buffer from its first byte to its last valid byte inclusive of the
// end, otherwise it empties the buffer. The read-ahead starts at 128 bytes and never needs
// more than the buffer (see SetReadAhead).
//
// Sys_FileBasedOutStream. Invariants: the buffer holds mHeldCount bytes that belong at
// mFilePos; the next byte goes to mFilePos + mBufferOffset (GetPos). Write(n) flushes first
// when n would not fit behind the offset; n up to the buffer size is buffered, a larger n is
// written straight to the file. Flush writes the held bytes (a short write throws package
// 2, id 23, "write to stream failed") and moves the stored position past them, wherever
// the offset stood. The high-water mark is the furthest position that the stream has
// written or holds. The destructor does not flush: bytes still held are lost, so the owner
// must call Flush before destroying the stream.
//
// One thread at a time uses a stream.
#pragma once

#include <cstdint>

#include "Cmn_InStream.h"

class Sys_File;

class Sys_FileBasedInStream : public Cmn_InStream
{
public:
    static constexpr int32_t cBufferSize = 0x40000;
    static constexpr int32_t cDefaultReadAhead = 128;

    // Reads from the file's current position.
    explicit Sys_FileBasedInStream(Sys_File& iFile);
    ~Sys_FileBasedInStream() override;
    Sys_FileBasedInStream(const Sys_FileBasedInStream&) = delete;
    Sys_FileBasedInStream& operator=(const Sys_FileBasedInStream&) = delete;

    void Read(void* oBufferP, int32_t iByteLen) override;
    int64_t GetPos() const override { return mFilePos + mBufferOffset; }
    void SetPos(int64_t iPos) override;
    int64_t GetEndPos() const override;

    // Up to cBufferSize stored as it is; a larger n is spread over k = ceiling(n /
    // cBufferSize) reads: with r = n mod cBufferSize the stored value is cBufferSize -
    // (cBufferSize - r) / k. Asserts "iReadAhead >= 0".
    void SetReadAhead(int32_t iReadAhead);
    int32_t GetReadAhead() const { return mReadAhead; }

    // Sets a read-ahead for its lifetime and restores the old value.
    class StSetReadAhead
    {
    public:
        StSetReadAhead(Sys_FileBasedInStream& iStream, int32_t iReadAhead);
        ~StSetReadAhead();
        StSetReadAhead(const StSetReadAhead&) = delete;
        StSetReadAhead& operator=(const StSetReadAhead&) = delete;

    private:
        Sys_FileBasedInStream& mStream;
        int32_t mOldReadAhead;
    };

private:
    Sys_File* mFileP;
    unsigned char* mBufferP;
    int32_t mBufferOffset = 0;
    int32_t mValidCount = 0;
    int64_t mFilePos;
    int32_t mReadAhead = cDefaultReadAhead;
};

class Sys_FileBasedOutStream : public Cmn_OutStream
{
public:
    static constexpr int32_t cBufferSize = 0x40000;

    // Writes at the file's current position.
    explicit Sys_FileBasedOutStream(Sys_File& iFile);
    ~Sys_FileBasedOutStream() override;
    Sys_FileBasedOutStream(const Sys_FileBasedOutStream&) = delete;
    Sys_FileBasedOutStream& operator=(const Sys_FileBasedOutStream&) = delete;

    void Write(const void* iBufferP, int32_t iByteLen) override;
    int64_t GetPos() const override { return mFilePos + mBufferOffset; }
    void SetPos(int64_t iPos) override;
    // The larger of the file's end and the end of the held bytes.
    int64_t GetEndPos() const override;

    void Flush();
    int64_t GetHighWaterMark() const { return mHighWaterMark; }
    void ClearHighWaterMark() { mHighWaterMark = 0; }

private:
    Sys_File* mFileP;
    unsigned char* mBufferP;
    int32_t mBufferOffset = 0;
    int32_t mHeldCount = 0;
    int64_t mFilePos;
    int64_t mHighWaterMark = 0;
};
