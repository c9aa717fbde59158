// Reading and writing one packed sample of a native-order channel buffer: signed 8-bit,
// 16-bit, 24-bit (3 bytes, little-endian) and 32-bit integers.
#pragma once

#include <cstdint>
#include <cstring>

class FF_AudioSampleAccess
{
public:
    static int32_t Read8(const char* iP, int64_t iK) { return int8_t(iP[iK]); }
    static int32_t Read16(const char* iP, int64_t iK)
    {
        int16_t v;
        std::memcpy(&v, iP + 2 * iK, 2);
        return v;
    }
    static int32_t Read24(const char* iP, int64_t iK)
    {
        const unsigned char* p = reinterpret_cast<const unsigned char*>(iP) + 3 * iK;
        const uint32_t u = uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16);
        return int32_t(u << 8) >> 8;
    }
    static int32_t Read32(const char* iP, int64_t iK)
    {
        int32_t v;
        std::memcpy(&v, iP + 4 * iK, 4);
        return v;
    }

    static void Write8(char* iP, int64_t iK, int32_t iV) { iP[iK] = char(int8_t(iV)); }
    static void Write16(char* iP, int64_t iK, int32_t iV)
    {
        const int16_t v = int16_t(iV);
        std::memcpy(iP + 2 * iK, &v, 2);
    }
    static void Write24(char* iP, int64_t iK, int32_t iV)
    {
        unsigned char* p = reinterpret_cast<unsigned char*>(iP) + 3 * iK;
        p[0] = uint8_t(iV);
        p[1] = uint8_t(iV >> 8);
        p[2] = uint8_t(iV >> 16);
    }
    static void Write32(char* iP, int64_t iK, int32_t iV) { std::memcpy(iP + 4 * iK, &iV, 4); }

    // By bytes per sample (1 to 4).
    static int32_t Read(const char* iP, int32_t iBytes, int64_t iK)
    {
        switch (iBytes)
        {
        case 1:
            return Read8(iP, iK);
        case 2:
            return Read16(iP, iK);
        case 3:
            return Read24(iP, iK);
        default:
            return Read32(iP, iK);
        }
    }
    static void Write(char* iP, int32_t iBytes, int64_t iK, int32_t iV)
    {
        switch (iBytes)
        {
        case 1:
            Write8(iP, iK, iV);
            break;
        case 2:
            Write16(iP, iK, iV);
            break;
        case 3:
            Write24(iP, iK, iV);
            break;
        default:
            Write32(iP, iK, iV);
            break;
        }
    }

    // A left shift of a signed value, done on the bits.
    static int32_t ShiftLeft(int32_t iV, int32_t iBits) { return int32_t(uint32_t(iV) << iBits); }
};
