#include "Sys_Umid.h"

#include <bit>
#include <cstdio>
#include <ctime>
#include <stdexcept>

#include "Cmn_Assert.h"
#include "Sys_TypedStream.h"

namespace
{
// The clock in units of 100 microseconds.
uint32_t Tick()
{
    struct timespec now
    {
    };
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const int64_t microseconds = int64_t(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
    return static_cast<uint32_t>(microseconds / 100);
}

// The 16 bytes, least significant first, and back.
void ToBytes(const Sys_Umid& iUmid, unsigned char (&oBytes)[16])
{
    for (int w = 0; w < 4; ++w)
        for (int k = 0; k < 4; ++k)
            oBytes[4 * w + k] = static_cast<unsigned char>(iUmid.GetWord(w) >> (8 * k));
}
} // namespace

Sys_Umid Sys_Umid::Create()
{
    const uint32_t processorClock = static_cast<uint32_t>(std::clock());
    const uint32_t first = Tick();
    uint32_t last = first;
    while (last == first)
        last = Tick();
    return Sys_Umid(0, 42, processorClock, last);
}

void Sys_Umid::StreamIn(Sys_TypedInStream& ioStream)
{
    for (uint32_t& word : mWords)
        word = ioStream.Read<uint32_t>();
}

void Sys_Umid::StreamOut(Sys_TypedOutStream& ioStream) const
{
    for (uint32_t word : mWords)
        ioStream.Write(word);
}

std::string Sys_Umid::AsString() const
{
    char text[33];
    std::snprintf(text, sizeof text, "%08X%08X%08X%08X", mWords[0], mWords[1], mWords[2],
                  mWords[3]);
    return std::string(text, 32);
}

std::string Sys_Umid::AsFixedLengthString() const
{
    unsigned char bytes[16];
    ToBytes(*this, bytes);
    // The 128-bit number as two halves.
    uint64_t low = 0, high = 0;
    for (int i = 7; i >= 0; --i)
    {
        low = (low << 8) | bytes[i];
        high = (high << 8) | bytes[8 + i];
    }
    std::string text;
    for (int i = 0; i < cFixedStringLength; ++i)
    {
        text += cAlphabet[low & 63];
        low = (low >> 6) | (high << 58);
        high >>= 6;
    }
    return std::string(text.rbegin(), text.rend());
}

Sys_Umid Sys_Umid::FromFixedString(const std::string& inStr)
{
    CMN_ASSERT(inStr.size() >= 22);
    const std::string text(inStr.rend() - cFixedStringLength, inStr.rend());
    uint64_t low = 0, high = 0;
    for (int i = 0; i < cFixedStringLength; ++i)
    {
        const char c = text[size_t(i)];
        uint64_t digit = 0;
        if (c >= 'a' && c <= 'z')
            digit = uint64_t(c - 'a');
        else if (c >= 'A' && c <= 'Z')
            digit = uint64_t(c - 'A' + 26);
        else if (c >= '0' && c <= '9')
            digit = uint64_t(c - '0' + 52);
        else if (c == '#')
            digit = 62;
        else if (c == '!')
            digit = 63;
        else
            throw std::runtime_error("Could not parse UID string.");
        const int bit = 6 * i;
        if (bit < 64)
        {
            low |= digit << bit;
            if (bit > 58)
                high |= digit >> (64 - bit);
        }
        else if (bit < 128)
            high |= digit << (bit - 64);
    }
    Sys_Umid umid;
    for (int w = 0; w < 4; ++w)
    {
        const uint64_t half = w < 2 ? low : high;
        umid.mWords[w] = static_cast<uint32_t>(half >> (32 * (w & 1)));
    }
    return umid;
}

void Sys_Umid::SwapIfWin32()
{
    if constexpr (std::endian::native == std::endian::little)
        for (uint32_t& word : mWords)
            word = ((word & 0xFFu) << 24) | ((word & 0xFF00u) << 8) | ((word >> 8) & 0xFF00u) |
                   (word >> 24);
}

Sys_TypedOutStream& operator<<(Sys_TypedOutStream& ioStream, const Sys_Umid& iUmid)
{
    iUmid.StreamOut(ioStream);
    return ioStream;
}

Sys_TypedInStream& operator>>(Sys_TypedInStream& ioStream, Sys_Umid& oUmid)
{
    oUmid.StreamIn(ioStream);
    return ioStream;
}
