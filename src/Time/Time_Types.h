// The two primary scales of time and the constants that tie the scales together.
//
// A session position is counted on one of two scales: samples (Time_Sample) or internal ticks
// (Time_Tick). Both are signed 64-bit counts kept in a class of their own so that one cannot
// be passed for the other by accident; neither converts implicitly from a bare integer.
//
// Contract:
//   - Arithmetic on the counts is plain 64-bit integer arithmetic; nothing saturates except
//     PinToValidRange, which clamps a sample to 0 .. 0x7FFFFFFF and a tick to 0 .. the
//     largest tick.
//   - Every conversion through a double rounds by adding 0.5 and truncating toward zero
//     (Time_Round), so a negative value does not round symmetrically. A double outside the
//     range of the target integer is clamped to it first, never converted out of range.
//   - The text helpers read a number the way the 32-bit string-to-integer helper of the
//     system does: leading blanks, a sign, digits up to the first non-digit; no digits reads
//     as 0, and a value past 32 bits is clamped. They never fail.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

// ---- scale constants -----------------------------------------------------------------------

inline constexpr int64_t Time_cInternalTicksPerWholeNote = 3840000;
inline constexpr int64_t Time_cInternalTicksPerQuarterNote = 960000;
inline constexpr int64_t Time_cDisplayTicksPerQuarterNote = 960;
inline constexpr int64_t Time_cInternalTicksPerDisplayTick = 1000;
// The tick that stands for session start, and for song start when there is no tempo map.
inline constexpr int64_t Time_cDefaultOriginTick = 1000000000000;
inline constexpr int64_t Time_cMaxSampleTime = 0x7FFFFFFF;
inline constexpr int64_t Time_cMaxTickTime = 0x07FFFFFFFFFFFFFF;
inline constexpr int64_t Time_cMinTickTime = -0x07FFFFFFFFFFFFFF;
// The longest session in samples; every timecode computation that speaks of the session end
// uses it.
inline constexpr int64_t Time_cMaxSessionLengthInSamples = 0x75B347FF;

enum Time_EType : int32_t
{
    Time_eType_Samples = 0,
    Time_eType_Ticks = 1,
    Time_eType_Frames = 2
};

// ---- rounding and reading numbers -----------------------------------------------------------

// x + 0.5 truncated toward zero, clamped to the int64 range (NaN gives 0).
int64_t Time_Round(double iValue);
// x truncated toward zero, clamped to the int64 range (NaN gives 0).
int64_t Time_Truncate(double iValue);
// The same clamped to the int32 range.
int32_t Time_TruncateTo32(double iValue);
// Reads a decimal number as the 32-bit string-to-integer helper does (see above).
int32_t Time_StringToLong(std::string_view iText);
// The iLength characters at iPos, or fewer (down to none) where the text is shorter.
std::string_view Time_Column(std::string_view iText, size_t iPos, size_t iLength);
// The number in a fixed column: Time_StringToLong(Time_Column(...)).
int32_t Time_ColumnToLong(std::string_view iText, size_t iPos, size_t iLength);

// ---- the counts ---------------------------------------------------------------------------

// The part that samples and ticks share: a signed 64-bit count with integer arithmetic.
template <class Derived> class Time_Count
{
public:
    constexpr Time_Count() = default;
    constexpr explicit Time_Count(int64_t iValue) : mValue(iValue) {}

    constexpr int64_t AsInt64() const { return mValue; }
    // The low 32 bits.
    constexpr int32_t AsInt32() const { return static_cast<int32_t>(mValue); }

    Derived& operator++()
    {
        ++mValue;
        return Self();
    }
    Derived operator++(int)
    {
        Derived old = Self();
        ++mValue;
        return old;
    }
    Derived& operator--()
    {
        --mValue;
        return Self();
    }
    Derived operator--(int)
    {
        Derived old = Self();
        --mValue;
        return old;
    }
    Derived& operator+=(int64_t iDelta)
    {
        mValue += iDelta;
        return Self();
    }
    Derived& operator-=(int64_t iDelta)
    {
        mValue -= iDelta;
        return Self();
    }
    Derived& operator*=(int64_t iFactor)
    {
        mValue *= iFactor;
        return Self();
    }
    // Integer division, truncating toward zero; dividing by 0 is the caller's fault.
    Derived& operator/=(int64_t iDivisor)
    {
        mValue /= iDivisor;
        return Self();
    }
    Derived& operator+=(const Derived& iOther) { return *this += iOther.mValue; }
    Derived& operator-=(const Derived& iOther) { return *this -= iOther.mValue; }

    friend constexpr Derived operator+(const Derived& iLeft, const Derived& iRight)
    {
        return Derived(iLeft.AsInt64() + iRight.AsInt64());
    }
    friend constexpr Derived operator-(const Derived& iLeft, const Derived& iRight)
    {
        return Derived(iLeft.AsInt64() - iRight.AsInt64());
    }
    friend constexpr Derived operator-(const Derived& iValue) { return Derived(-iValue.AsInt64()); }
    friend constexpr bool operator==(const Derived& iLeft, const Derived& iRight)
    {
        return iLeft.AsInt64() == iRight.AsInt64();
    }
    friend constexpr auto operator<=>(const Derived& iLeft, const Derived& iRight)
    {
        return iLeft.AsInt64() <=> iRight.AsInt64();
    }

protected:
    Derived& Self() { return static_cast<Derived&>(*this); }
    int64_t mValue = 0;
};

// A position or length in samples (sample frames: one sample of every channel).
class Time_Sample : public Time_Count<Time_Sample>
{
public:
    using Time_Count::Time_Count;

    // Clamps to 0 .. 0x7FFFFFFF.
    Time_Sample& PinToValidRange();
    // Plain decimal.
    std::string ToString() const;
    // Reads a decimal through the 32-bit helper, so the result never needs more than 32 bits.
    void FromString(std::string_view iText);
};

// A position or length in internal ticks (a quarter note is 960,000).
class Time_Tick : public Time_Count<Time_Tick>
{
public:
    using Time_Count::Time_Count;

    // Clamps to 0 .. the largest tick: a negative tick becomes 0.
    Time_Tick& PinToValidRange();
};
