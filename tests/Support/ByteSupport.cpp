#include "Support/ByteSupport.h"

Bytes Pattern(size_t iCount, uint32_t iSeed)
{
    Bytes bytes(iCount);
    uint32_t x = iSeed;
    for (auto& b : bytes)
    {
        x = x * 1664525u + 1013904223u;
        b = uint8_t(x >> 24);
    }
    return bytes;
}
