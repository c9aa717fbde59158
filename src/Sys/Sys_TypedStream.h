// Typed, byte-ordered fronts over the abstract byte streams.
//
// A Sys_TypedInStream / Sys_TypedOutStream is a stream pointer and a swap flag (not owned,
// not polymorphic, cheap to copy). The named subclasses fix the flag from the byte order:
//
//   Sys_Native...         the host's order (no swap)
//   Sys_LittleEndian...   little-endian (no swap on this host)
//   Sys_BigEndian...      big-endian (swap on this host)
//   Sys_CrossPlatform...  cross-platform data, which is big-endian
//
// Each named constructor asserts "iStreamP != 0".
//
// On the wire:
//   - char, unsigned char, int16_t, uint16_t, int32_t, uint32_t, int64_t, uint64_t, float,
//     double: their own width, byte-reversed when the flag is on;
//   - bool: one byte, 1 or 0 written, any non-zero byte reads as true;
//   - std::string: a 32-bit signed length (in the stream's byte order) and then the bytes,
//     no terminator, no padding. Reading consumes all the stored bytes but the result ends
//     at the first NUL among them. A length that is negative or larger than what the stream
//     holds after it (GetEndPos() - GetPos()) throws L10N package 7, id 8 before anything is
//     allocated or read past the length field.
//   - ReadBlock/WriteBlock move raw bytes and never swap.
// Every read reads its full width or throws (the underlying stream says which failure).
// GetPos, SetPos, GetEndPos, CleanUp and Reserve forward to the stream.
//
// Both the named form (Read(x), Write(x), Read<T>()) and the operator form (in >> x,
// out << x) are offered. Write has no overload for other types (enums, pointers): they
// are refused at compile time rather than converted.
#pragma once

#include <cstdint>
#include <string>

#include "Cmn_InStream.h"

class Sys_TypedInStream
{
public:
    // Asserts "iStreamP != 0"; iStreamP is not owned.
    Sys_TypedInStream(Cmn_InStream* iStreamP, bool iSwap);

    Cmn_InStream* GetStream() const { return mStreamP; }
    bool IsSwapping() const { return mSwap; }

    void Read(char& oValue);
    void Read(unsigned char& oValue);
    void Read(int16_t& oValue);
    void Read(uint16_t& oValue);
    void Read(int32_t& oValue);
    void Read(uint32_t& oValue);
    void Read(int64_t& oValue);
    void Read(uint64_t& oValue);
    void Read(float& oValue);
    void Read(double& oValue);
    void Read(bool& oValue);
    void Read(std::string& oValue);

    template <class T> T Read()
    {
        T value{};
        Read(value);
        return value;
    }
    template <class T> Sys_TypedInStream& operator>>(T& oValue)
    {
        Read(oValue);
        return *this;
    }

    void ReadBlock(void* oBuffer, int32_t iByteLen) { mStreamP->Read(oBuffer, iByteLen); }

    int64_t GetPos() const { return mStreamP->GetPos(); }
    void SetPos(int64_t iPos) { mStreamP->SetPos(iPos); }
    int64_t GetEndPos() const { return mStreamP->GetEndPos(); }

private:
    template <class T> void ReadNumber(T& oValue);

    Cmn_InStream* mStreamP;
    bool mSwap;
};

class Sys_TypedOutStream
{
public:
    // Asserts "iStreamP != 0"; iStreamP is not owned.
    Sys_TypedOutStream(Cmn_OutStream* iStreamP, bool iSwap);

    Cmn_OutStream* GetStream() const { return mStreamP; }
    bool IsSwapping() const { return mSwap; }

    void Write(char iValue);
    void Write(unsigned char iValue);
    void Write(int16_t iValue);
    void Write(uint16_t iValue);
    void Write(int32_t iValue);
    void Write(uint32_t iValue);
    void Write(int64_t iValue);
    void Write(uint64_t iValue);
    void Write(float iValue);
    void Write(double iValue);
    void Write(bool iValue);
    // Asserts that the length fits in 31 bits.
    void Write(const std::string& iValue);
    // A NUL-terminated text, written as a string (asserts "iText != 0").
    void Write(const char* iText);
    // Anything else is refused rather than converted (a pointer to bool, an enum to int).
    template <class T> void Write(const T&) = delete;

    template <class T> Sys_TypedOutStream& operator<<(const T& iValue)
    {
        Write(iValue);
        return *this;
    }

    void WriteBlock(const void* iBuffer, int32_t iByteLen) { mStreamP->Write(iBuffer, iByteLen); }

    int64_t GetPos() const { return mStreamP->GetPos(); }
    void SetPos(int64_t iPos) { mStreamP->SetPos(iPos); }
    int64_t GetEndPos() const { return mStreamP->GetEndPos(); }
    void CleanUp() { mStreamP->CleanUp(); }
    void Reserve(int32_t iByteLen) { mStreamP->Reserve(iByteLen); }

private:
    template <class T> void WriteNumber(T iValue);

    Cmn_OutStream* mStreamP;
    bool mSwap;
};

// ---- the named byte orders ---------------------------------------------------------------

class Sys_NativeInStream : public Sys_TypedInStream
{
public:
    explicit Sys_NativeInStream(Cmn_InStream* iStreamP);
};

class Sys_NativeOutStream : public Sys_TypedOutStream
{
public:
    explicit Sys_NativeOutStream(Cmn_OutStream* iStreamP);
};

class Sys_LittleEndianInStream : public Sys_TypedInStream
{
public:
    explicit Sys_LittleEndianInStream(Cmn_InStream* iStreamP);
};

class Sys_LittleEndianOutStream : public Sys_TypedOutStream
{
public:
    explicit Sys_LittleEndianOutStream(Cmn_OutStream* iStreamP);
};

class Sys_BigEndianInStream : public Sys_TypedInStream
{
public:
    explicit Sys_BigEndianInStream(Cmn_InStream* iStreamP);
};

class Sys_BigEndianOutStream : public Sys_TypedOutStream
{
public:
    explicit Sys_BigEndianOutStream(Cmn_OutStream* iStreamP);
};

// Cross-platform data is big-endian.
class Sys_CrossPlatformInStream : public Sys_TypedInStream
{
public:
    explicit Sys_CrossPlatformInStream(Cmn_InStream* iStreamP);
};

class Sys_CrossPlatformOutStream : public Sys_TypedOutStream
{
public:
    explicit Sys_CrossPlatformOutStream(Cmn_OutStream* iStreamP);
};
