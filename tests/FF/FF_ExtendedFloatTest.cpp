#include <array>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

#include "FF/Audio/PlugIns/FF_ExtendedFloat.h"

namespace
{
using Ext = std::array<unsigned char, 10>;

Ext ToExt(double iValue)
{
    Ext bytes{};
    FF_DoubleToExtended(iValue, bytes.data());
    return bytes;
}

// Sign and exponent, then the 64-bit significand.
Ext MakeExt(uint16_t iHead, uint64_t iSignificand)
{
    Ext bytes{uint8_t(iHead >> 8), uint8_t(iHead)};
    for (int i = 0; i < 8; ++i)
        bytes[size_t(2 + i)] = uint8_t(iSignificand >> (56 - 8 * i));
    return bytes;
}

// The bytes of values as AIFF files carry them, both ways.
TEST(FF_ExtendedFloat, KnownValuesHaveTheirBytes)
{
    const struct
    {
        double mValue;
        Ext mBytes;
    } cases[] = {
        {44100, MakeExt(0x400E, 0xAC44000000000000ull)},
        {48000, MakeExt(0x400E, 0xBB80000000000000ull)},
        {96000, MakeExt(0x400F, 0xBB80000000000000ull)},
        {8000, MakeExt(0x400B, 0xFA00000000000000ull)},
        {1, MakeExt(0x3FFF, 0x8000000000000000ull)},
        {384000, MakeExt(0x4011, 0xBB80000000000000ull)},
        {0.5, MakeExt(0x3FFE, 0x8000000000000000ull)},
        {-2, MakeExt(0xC000, 0x8000000000000000ull)},
        {0, MakeExt(0, 0)},
        {-0.0, MakeExt(0x8000, 0)},
        {std::numeric_limits<double>::infinity(), MakeExt(0x7FFF, 0x8000000000000000ull)},
        {std::numeric_limits<double>::denorm_min(), MakeExt(0x3FFF - 1074, 0x8000000000000000ull)},
    };
    for (const auto& c : cases)
    {
        EXPECT_EQ(ToExt(c.mValue), c.mBytes) << c.mValue;
        const double back = FF_ExtendedToDouble(c.mBytes.data());
        EXPECT_EQ(back, c.mValue);
        EXPECT_EQ(std::signbit(back), std::signbit(c.mValue)) << c.mValue;
    }
    EXPECT_TRUE(std::isnan(FF_ExtendedToDouble(ToExt(std::nan("")).data())));
}

// Every integer rate up to 384 kHz and a spread of fractional and extreme values come back
// exactly.
TEST(FF_ExtendedFloat, DoublesRoundTripExactly)
{
    for (int32_t rate = 1; rate <= 384000; ++rate)
        ASSERT_EQ(FF_ExtendedToDouble(ToExt(rate).data()), double(rate)) << rate;
    const double values[] = {44100.0 / 1.001,
                             48000.0 * 1.001,
                             22050.5,
                             11025.25,
                             1.0 / 3,
                             std::nextafter(48000.0, 0.0),
                             std::numeric_limits<double>::max(),
                             std::numeric_limits<double>::min(),
                             std::numeric_limits<double>::min() / 3,
                             -std::numeric_limits<double>::epsilon()};
    for (const double value : values)
        EXPECT_EQ(FF_ExtendedToDouble(ToExt(value).data()), value) << value;
}

// Extended values a double cannot hold: rounded to nearest, ties to even; unnormalised
// significands taken by their value; past the range infinite or zero.
TEST(FF_ExtendedFloat, WiderValuesRoundToNearestEven)
{
    const double oneUlp = std::ldexp(1.0, -52);
    const struct
    {
        const char* mName;
        Ext mBytes;
        double mValue;
    } cases[] = {
        {"below half an ulp", MakeExt(0x3FFF, 0x8000000000000000ull | 0x3FF), 1.0},
        {"tie to even, down", MakeExt(0x3FFF, 0x8000000000000000ull | 0x400), 1.0},
        {"tie to even, up", MakeExt(0x3FFF, 0x8000000000000000ull | 0xC00), 1.0 + 2 * oneUlp},
        {"above half an ulp", MakeExt(0x3FFF, 0x8000000000000000ull | 0x401), 1.0 + oneUlp},
        {"carry into the exponent", MakeExt(0x3FFF, 0xFFFFFFFFFFFFFFFFull), 2.0},
        {"unnormalised", MakeExt(0x400E, 0x000000000000AC44ull), std::ldexp(44100.0, -48)},
        {"past the largest double", MakeExt(0x43FF, 0x8000000000000000ull),
         std::numeric_limits<double>::infinity()},
        {"below the smallest subnormal", MakeExt(0x3FFF - 1076, 0x8000000000000000ull), 0.0},
        {"above half the smallest subnormal", MakeExt(0x3FFF - 1075, 0xC000000000000000ull),
         std::numeric_limits<double>::denorm_min()},
        {"subnormal tie to even", MakeExt(0x3FFF - 1073, 0xA000000000000000ull),
         2 * std::numeric_limits<double>::denorm_min()},
        {"extended subnormal", MakeExt(0, 0x4000000000000000ull), 0.0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(FF_ExtendedToDouble(c.mBytes.data()), c.mValue) << c.mName;
}
} // namespace
