// Byte streams over a Cmn_PolyVector<unsigned char>.
//
// Cmn_PolyVectorInStream reads the vector's bytes in place through Cmn_MemBufferInStream: it
// copies nothing and does not own the vector. The stream sees the bytes [begin, end) as they
// were when it was made (or last synchronised with Sync); any change to the vector that may
// reallocate or shrink it must be followed by Sync before the next read.
//
// Cmn_PolyVectorOutStream writes into a vector that it does not own. Its position is its own
// (64-bit, starts at 0) and may lie anywhere at or past 0; GetEndPos() is the vector's size.
// Write(p, n) at position pos:
//   1. when pos is past the size, the vector first grows to pos with zero bytes;
//   2. the bytes that fall before the end overwrite the vector's bytes;
//   3. the rest are appended;
//   4. the position advances by n.
// The bytes written must not lie inside the vector itself. Not thread-safe.
#pragma once

#include <cstdint>

#include "Cmn_InStream.h"
#include "Cmn_MemBufferStream.h"
#include "Cmn_PolyVector.h"

class Cmn_PolyVectorInStream : public Cmn_MemBufferInStream
{
public:
    explicit Cmn_PolyVectorInStream(const Cmn_PolyVector<unsigned char>& iVector);

    // Points the stream at the vector's current bytes, keeping the position (clamped to the
    // new end).
    void Sync();

private:
    const Cmn_PolyVector<unsigned char>* mVectorP;
};

class Cmn_PolyVectorOutStream : public Cmn_OutStream
{
public:
    // Asserts that iVectorP is not null; the vector must outlive the stream.
    explicit Cmn_PolyVectorOutStream(Cmn_PolyVector<unsigned char>* iVectorP);
    Cmn_PolyVectorOutStream(const Cmn_PolyVectorOutStream&) = delete;
    Cmn_PolyVectorOutStream& operator=(const Cmn_PolyVectorOutStream&) = delete;

    // Asserts iByteLen >= 0.
    void Write(const void* iBuffer, int32_t iByteLen) override;
    int64_t GetPos() const override { return mPos; }
    // Any position >= 0 (asserts); a gap past the end is filled by the next Write.
    void SetPos(int64_t iPos) override;
    int64_t GetEndPos() const override;
    // Makes room for iByteLen more bytes at the position without reallocating.
    void Reserve(int32_t iByteLen) override;

    Cmn_PolyVector<unsigned char>* GetVector() const { return mVectorP; }

private:
    Cmn_PolyVector<unsigned char>* mVectorP;
    int64_t mPos = 0;
};
