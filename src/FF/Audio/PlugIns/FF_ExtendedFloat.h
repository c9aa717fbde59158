// The 80-bit IEEE 754 extended format of AIFF sample rates, big-endian: a sign bit and a
// 15-bit exponent (bias 16383) in the first two bytes, then a 64-bit significand whose top
// bit is the explicit integer bit.
//
// Every double converts to extended exactly (the significand has room for all 53 bits, the
// exponent for the whole range, subnormals included). Extended to double is exact for every
// value a double can hold and rounds to nearest, ties to even, otherwise; infinities stay
// infinite, NaNs stay NaN, values past the double range become infinite. Unnormalised inputs
// (integer bit clear) are taken by their value. Any thread may call these; they hold no state.
#pragma once

#include <cstdint>

constexpr int32_t FF_cExtendedSize = 10;

// Writes iValue as 10 big-endian bytes at oBytesP.
void FF_DoubleToExtended(double iValue, unsigned char* oBytesP);

// The value of 10 big-endian bytes at iBytesP.
double FF_ExtendedToDouble(const unsigned char* iBytesP);
