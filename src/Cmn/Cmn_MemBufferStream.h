// Byte streams over memory.
//
// Cmn_MemBufferInStream reads a caller's memory [begin, end). It never owns or copies the
// memory: the caller keeps it alive and unchanged while the stream reads it.
//   - Read(p, n) copies n bytes and advances, or, when fewer than n bytes are left, throws
//     L10N package 7, id 8 ("unexpected end of stream encountered") and consumes nothing.
//   - SetPos(p) accepts 0 <= p <= GetEndPos(); p == GetEndPos() is fine (nothing left to
//     read), p past the end throws package 7, id 9. A negative p fails an assertion.
//   - Subclasses (Cmn_PolyVectorInStream) point the stream at other memory with SetRange.
//
// Cmn_MemBufferOutStream writes into memory, in one of two forms:
//   - owning (default constructor): a growing heap buffer, allocated in steps of the
//     allocation granularity (512, see SetAllocGranularity). Grow(n) sets the capacity to
//     capacity + ((end position - capacity + n) / granularity + 1) x granularity, which is
//     always more than end position + n, and copies the used bytes over.
//   - fixed ((void* buffer, uint32_t size)): writes into the caller's memory, which it never
//     owns or frees. A write that does not fit fails the assertion "mbOwnBuffer" before any
//     byte is written, so it can never overrun the caller's memory.
//   GetEndPos() is the high-water mark of everything written; SetPos(p) accepts
//   0 <= p <= GetEndPos() and throws package 7, id 9 past it. Writing after a SetPos back
//   overwrites. Reserve(n) is Grow(n) (so it fails the assertion on the fixed form).
//   GetBuffer() returns the buffer (null for an owning stream that never wrote); it stays
//   owned by the stream and is moved by any growth.
//
// Neither stream is copyable or thread-safe: one thread at a time.
#pragma once

#include <cstdint>

#include "Cmn_InStream.h"

class Cmn_MemBufferInStream : public Cmn_InStream
{
public:
    // Asserts "iBegin <= iEnd". Both may be null for an empty stream.
    Cmn_MemBufferInStream(const unsigned char* iBegin, const unsigned char* iEnd);
    Cmn_MemBufferInStream(const Cmn_MemBufferInStream&) = delete;
    Cmn_MemBufferInStream& operator=(const Cmn_MemBufferInStream&) = delete;
    ~Cmn_MemBufferInStream() override = default;

    void Read(void* oBuffer, int32_t iByteLen) override;
    int64_t GetPos() const override { return mCurrentP - mBeginP; }
    void SetPos(int64_t iPos) override;
    int64_t GetEndPos() const override { return mEndP - mBeginP; }

    const unsigned char* GetBegin() const { return mBeginP; }
    const unsigned char* GetEnd() const { return mEndP; }
    const unsigned char* GetCurrent() const { return mCurrentP; }

protected:
    // An empty stream, for subclasses that set the range later.
    Cmn_MemBufferInStream() = default;
    // Points the stream at [iBegin, iEnd) with the position at iPos. Asserts
    // "iBegin <= iEnd" and "iPos >= 0 && iPos <= iEnd - iBegin".
    void SetRange(const unsigned char* iBegin, const unsigned char* iEnd, int64_t iPos = 0);

private:
    const unsigned char* mBeginP = nullptr;
    const unsigned char* mCurrentP = nullptr;
    const unsigned char* mEndP = nullptr;
};

class Cmn_MemBufferOutStream : public Cmn_OutStream
{
public:
    static constexpr int32_t kDefaultAllocGranularity = 512;

    // The owning, growing form.
    Cmn_MemBufferOutStream();
    // The fixed form over the caller's iSize bytes at iBuffer (asserts "iBuffer != 0 || iSize
    // == 0").
    Cmn_MemBufferOutStream(void* iBuffer, uint32_t iSize);
    Cmn_MemBufferOutStream(const Cmn_MemBufferOutStream&) = delete;
    Cmn_MemBufferOutStream& operator=(const Cmn_MemBufferOutStream&) = delete;
    ~Cmn_MemBufferOutStream() override;

    // Asserts "iByteLen >= 0"; grows when the bytes do not fit.
    void Write(const void* iBuffer, int32_t iByteLen) override;
    int64_t GetPos() const override { return mPos; }
    void SetPos(int64_t iPos) override;
    int64_t GetEndPos() const override { return mEndPos; }
    void CleanUp() override {}
    void Reserve(int32_t iByteLen) override { Grow(iByteLen); }

    unsigned char* GetBuffer() { return mBufferP; }
    const unsigned char* GetBuffer() const { return mBufferP; }
    int64_t GetCapacity() const { return mCapacity; }
    bool IsOwnBuffer() const { return mbOwnBuffer; }
    int32_t GetAllocGranularity() const { return mAllocGranularity; }
    // Owning form only (asserts "mbOwnBuffer" and "iGranularity > 0").
    void SetAllocGranularity(int32_t iGranularity);

private:
    // Asserts "mbOwnBuffer" and "iByteLen >= 0".
    void Grow(int32_t iByteLen);

    unsigned char* mBufferP = nullptr;
    unsigned char* mCurrentP = nullptr;
    int64_t mPos = 0;
    int64_t mEndPos = 0; // high-water mark
    int64_t mCapacity = 0;
    bool mbOwnBuffer = true;
    int32_t mAllocGranularity = kDefaultAllocGranularity;
};
