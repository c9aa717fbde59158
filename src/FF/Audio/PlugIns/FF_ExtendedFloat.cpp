#include "FF/Audio/PlugIns/FF_ExtendedFloat.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

namespace
{
constexpr int32_t cBias = 16383;
constexpr uint32_t cMaxExponent = 0x7FFF;

void Put(unsigned char* oBytesP, bool iNegative, uint32_t iExponent, uint64_t iSignificand)
{
    const uint32_t head = (iNegative ? 0x8000u : 0u) | (iExponent & cMaxExponent);
    oBytesP[0] = uint8_t(head >> 8);
    oBytesP[1] = uint8_t(head);
    for (int32_t i = 0; i < 8; ++i)
        oBytesP[2 + i] = uint8_t(iSignificand >> (56 - 8 * i));
}
} // namespace

void FF_DoubleToExtended(double iValue, unsigned char* oBytesP)
{
    const bool negative = std::signbit(iValue);
    if (std::isnan(iValue))
        return Put(oBytesP, negative, cMaxExponent, 0xC000000000000000ull);
    if (std::isinf(iValue))
        return Put(oBytesP, negative, cMaxExponent, 0x8000000000000000ull);
    if (iValue == 0)
        return Put(oBytesP, negative, 0, 0);
    int exponent = 0;
    // |value| = fraction x 2^exponent, fraction in [0.5, 1): its 53 bits fit the 64 exactly.
    const double fraction = std::frexp(std::fabs(iValue), &exponent);
    const auto significand = uint64_t(std::ldexp(fraction, 64));
    Put(oBytesP, negative, uint32_t(exponent - 1 + cBias), significand);
}

double FF_ExtendedToDouble(const unsigned char* iBytesP)
{
    const bool negative = (iBytesP[0] & 0x80) != 0;
    const int32_t biased = int32_t((uint32_t(iBytesP[0] & 0x7F) << 8) | iBytesP[1]);
    uint64_t significand = 0;
    for (int32_t i = 0; i < 8; ++i)
        significand = (significand << 8) | iBytesP[2 + i];
    double magnitude;
    if (biased == int32_t(cMaxExponent))
        magnitude = (significand << 1) == 0 ? std::numeric_limits<double>::infinity()
                                            : std::numeric_limits<double>::quiet_NaN();
    else if (significand == 0)
        magnitude = 0;
    else
    {
        // Normalise, so that the leading one stands in bit 63: value = 1.f x 2^exponent.
        const int32_t shift = std::countl_zero(significand);
        significand <<= shift;
        // A biased exponent of 0 is scaled as if it were 1 (the extended subnormals).
        const int32_t exponent = std::max(biased, 1) - cBias - shift;
        // Bits a double keeps: 53, fewer below its smallest normal exponent.
        const int32_t kept = exponent >= -1022 ? 53 : 53 - (-1022 - exponent);
        if (kept <= 0)
        {
            // Below half the smallest subnormal, or exactly half of it (a tie to even zero),
            // or above half (rounds up to it).
            const bool up = kept == 0 && significand > 0x8000000000000000ull;
            magnitude = up ? std::ldexp(1.0, -1074) : 0.0;
        }
        else
        {
            // Round the significand to the kept bits, to nearest, ties to even; the rest
            // converts exactly.
            const int32_t dropped = 64 - kept;
            const uint64_t half = uint64_t(1) << (dropped - 1);
            const uint64_t rest = significand & ((half << 1) - 1);
            uint64_t top = significand >> dropped;
            if (rest > half || (rest == half && (top & 1)))
                ++top; // may carry into a 54th bit: still exact as a double
            magnitude = std::ldexp(double(top), exponent - (kept - 1));
        }
    }
    return negative ? -magnitude : magnitude;
}
