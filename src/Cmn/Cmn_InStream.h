// Abstract byte streams. Positions are 64-bit; a single transfer is at most 2^31-1 bytes.
#pragma once

#include <cstdint>

class Cmn_InStream
{
public:
    virtual ~Cmn_InStream() = default;
    // Reads exactly iByteLen bytes or throws (the subclass says which failure).
    virtual void Read(void* oBuffer, int32_t iByteLen) = 0;
    virtual int64_t GetPos() const = 0;
    virtual void SetPos(int64_t iPos) = 0;
    virtual int64_t GetEndPos() const = 0;
};

class Cmn_OutStream
{
public:
    virtual ~Cmn_OutStream() = default;
    virtual void Write(const void* iBuffer, int32_t iByteLen) = 0;
    virtual int64_t GetPos() const = 0;
    virtual void SetPos(int64_t iPos) = 0;
    virtual int64_t GetEndPos() const = 0;
    virtual void CleanUp() {}
    virtual void Reserve(int32_t /*iByteLen*/) {}
};
