// A 16-byte unique identifier, held as four 32-bit words.
//
// Contract:
//  - NoID() is the empty value (all zero). Values order word by word, first word first.
//  - The memory order is the four words in host order (StreamOut writes the words as
//    numbers, in the typed stream's byte order).
//  - AsFixedLengthString: the 16 bytes (the words little-endian, first word first) as one
//    little-endian 128-bit number, written as 22 letters of the alphabet
//    "a..zA..Z0..9#!", the most significant first. FromFixedString undoes it: it asserts
//    "inStr.size() >= 22", reads the first 22 letters and throws std::runtime_error
//    ("Could not parse UID string.") for a letter outside the alphabet.
//  - AsString: 32 upper-case hexadecimal digits, the words in order.
//  - Create(): no randomness; uniqueness rests on the clock (see Create).
// A plain value: any thread may use its own copies.
#pragma once

#include <cstdint>
#include <string>

class Sys_TypedInStream;
class Sys_TypedOutStream;

class Sys_Umid
{
public:
    static constexpr const char* cAlphabet =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789#!";
    static constexpr int32_t cFixedStringLength = 22;

    constexpr Sys_Umid() = default;
    constexpr Sys_Umid(uint32_t iWord0, uint32_t iWord1, uint32_t iWord2, uint32_t iWord3)
        : mWords{iWord0, iWord1, iWord2, iWord3}
    {
    }

    static constexpr Sys_Umid NoID() { return Sys_Umid(); }
    // Words 0, 42, the processor clock (clock()) at entry and a tick of the 100-microsecond
    // clock that differs from the tick at entry, so that two calls never share a tick.
    static Sys_Umid Create();

    uint32_t GetWord(int32_t iIndex) const { return mWords[iIndex & 3]; }
    void SetWord(int32_t iIndex, uint32_t iValue) { mWords[iIndex & 3] = iValue; }
    bool IsNoID() const { return *this == NoID(); }

    void StreamIn(Sys_TypedInStream& ioStream);
    void StreamOut(Sys_TypedOutStream& ioStream) const;
    std::string AsString() const;
    std::string AsFixedLengthString() const;
    static Sys_Umid FromFixedString(const std::string& inStr);
    // Reverses the bytes of each word on a little-endian host (for data that was written in
    // big-endian order); nothing on a big-endian one.
    void SwapIfWin32();

    bool operator==(const Sys_Umid& iOther) const { return Compare(iOther) == 0; }
    bool operator!=(const Sys_Umid& iOther) const { return Compare(iOther) != 0; }
    bool operator<(const Sys_Umid& iOther) const { return Compare(iOther) < 0; }
    bool operator>(const Sys_Umid& iOther) const { return Compare(iOther) > 0; }
    bool operator<=(const Sys_Umid& iOther) const { return Compare(iOther) <= 0; }
    bool operator>=(const Sys_Umid& iOther) const { return Compare(iOther) >= 0; }

private:
    int32_t Compare(const Sys_Umid& iOther) const
    {
        for (int i = 0; i < 4; ++i)
            if (mWords[i] != iOther.mWords[i])
                return mWords[i] < iOther.mWords[i] ? -1 : 1;
        return 0;
    }

    uint32_t mWords[4] = {0, 0, 0, 0};
};

static_assert(sizeof(Sys_Umid) == 16);

Sys_TypedOutStream& operator<<(Sys_TypedOutStream& ioStream, const Sys_Umid& iUmid);
Sys_TypedInStream& operator>>(Sys_TypedInStream& ioStream, Sys_Umid& oUmid);
