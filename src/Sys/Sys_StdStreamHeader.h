// The standard stream header: frames a versioned block inside a typed stream.
//
// On the wire (numbers in the typed stream's byte order):
//   magic    magicLen bytes, raw: no length, no terminator; magicLen <= kMaxMagicLen (128)
//   version  int16_t
//   size     int32_t, the number of bytes after this field
//   data     size bytes
//
// Writer: the constructor asserts "magicLen <= kMaxMagicLen" and writes magic, version and
// a zero size at the current position. PatchSize() (once: asserts "!mPatched") writes the
// bytes written since the data start into the size field and returns to the current
// position; it asserts that this count is 0 .. 2^31-1. The destructor does nothing: a
// writer that is never patched leaves size 0. The header start is where the magic begins.
//
// Reader: the constructor asserts the magic's length against kMaxMagicLen, reads and
// compares the magic (a difference throws L10N package 2, id 28) and reads version and size.
// The size is not trusted: one that is negative or reaches past the stream's end throws
// package 2, id 29 ("size of header doesn't match amount of data read") at construction; a
// stream too short for the header fields throws as its Read does (package 7, id 8 for a
// memory stream). Then:
//   GetDataEndPos()  data start + size;
//   IsMoreLeft()     the stream position is below the data end;
//   SkipTheRest()    marks the header finished and seeks to the data end; a position
//                    already past the data end throws package 2, id 29;
//   CheckVersion(min, max)  a version below min throws id 30, above max id 31, after
//                    marking the header finished; min and max themselves are accepted.
//
// Both hold a reference to the typed stream, which must outlive them. Not copyable; one
// thread at a time.
#pragma once

#include <cstdint>

class Sys_TypedInStream;
class Sys_TypedOutStream;

class Sys_StdStreamHeaderWriter
{
public:
    static constexpr int32_t kMaxMagicLen = 128;

    Sys_StdStreamHeaderWriter(Sys_TypedOutStream& ioStream, const char* iMagic, int16_t iVersion);
    Sys_StdStreamHeaderWriter(const Sys_StdStreamHeaderWriter&) = delete;
    Sys_StdStreamHeaderWriter& operator=(const Sys_StdStreamHeaderWriter&) = delete;

    int64_t GetHeaderStartPos() const { return mHeaderStartPos; }
    int64_t GetDataStartPos() const { return mDataStartPos; }
    void PatchSize();

private:
    Sys_TypedOutStream& mStream;
    int64_t mHeaderStartPos;
    int64_t mSizePos;
    int64_t mDataStartPos;
    bool mPatched = false;
};

class Sys_StdStreamHeaderReader
{
public:
    Sys_StdStreamHeaderReader(Sys_TypedInStream& ioStream, const char* iMagic);
    Sys_StdStreamHeaderReader(const Sys_StdStreamHeaderReader&) = delete;
    Sys_StdStreamHeaderReader& operator=(const Sys_StdStreamHeaderReader&) = delete;

    int16_t GetVersion() const { return mVersion; }
    int32_t GetSize() const { return mSize; }
    int64_t GetHeaderStartPos() const { return mHeaderStartPos; }
    int64_t GetDataStartPos() const { return mDataStartPos; }
    int64_t GetDataEndPos() const { return mDataStartPos + mSize; }
    bool IsMoreLeft() const;
    void SkipTheRest();
    void CheckVersion(int16_t iMinVersion, int16_t iMaxVersion);
    // True once SkipTheRest or a failed CheckVersion has run.
    bool IsFinished() const { return mFinished; }

private:
    Sys_TypedInStream& mStream;
    int64_t mHeaderStartPos;
    int64_t mDataStartPos = 0;
    int16_t mVersion = 0;
    int32_t mSize = 0;
    bool mFinished = false;
};
