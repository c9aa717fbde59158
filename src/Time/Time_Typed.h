// Typed time values: a signed 64-bit count and the scale it is counted on.
//
// Three classes share one shape and mean three things:
//   Time_Typed        a position on the session timeline,
//   Time_TypedLength  a length,
//   Time_TypedLocal   a position relative to some local origin.
// They convert to one another only through their explicit constructors,
// Time_TypedLength::GetLength and Time_TypedLocal::AsTimeTyped, never implicitly. The default
// value is 0 samples.
//
// Invariants and contract:
//   1. A binary operator of two values of one class first compares their types. On a mismatch
//      it calls the process-wide type-mismatch handler (when one is set) with the source file
//      and line of the operator, then computes on the raw values and gives the result the
//      left operand's type. It never throws and never converts.
//   2. Integer arithmetic is plain 64-bit arithmetic: nothing saturates. Dividing by zero is
//      the caller's fault.
//   3. AsSample and AsTick assert that the value has that type; MaxTime and MinTime assert for
//      a type other than samples and ticks. Assertions throw Cmn_AssertException.
//   4. The raw saved form packs value and type into one 64-bit word: bits 60 to 62 (bits 28
//      to 30 of the high half) hold the tag, so a value must fit in 60 bits plus sign.
//
// Not synchronised: the handler and the table of type names are set and filled once, on the
// main thread.
#pragma once

#include <cstdint>
#include <string>

#include "Time/Time_Types.h"

// The statics that the three typed classes share.
class Time_TypedBase
{
public:
    using TypeMismatchHandler = void (*)(const char* iFile, int32_t iLine);

    // Sets the process-wide handler (may be null) and returns the previous one.
    static TypeMismatchHandler SetTypeMismatchHandler(TypeMismatchHandler iHandlerP);
    static TypeMismatchHandler GetTypeMismatchHandler();
    // Calls the handler when one is set.
    static void CallTypeMismatchHandler(const char* iFile, int32_t iLine);

protected:
    static void CheckTypes(Time_EType iLeft, Time_EType iRight, const char* iFile, int32_t iLine)
    {
        if (iLeft != iRight)
            CallTypeMismatchHandler(iFile, iLine);
    }
    static void AssertSamples(Time_EType iType);
    static void AssertTicks(Time_EType iType);
    static void AssertSamplesOrTicks(Time_EType iType);

private:
    static TypeMismatchHandler sTypeMismatchHandlerP;
};

#define TIME_TYPED_CHECK(a, b)                                                                     \
    Time_TypedBase::CheckTypes((a).GetType(), (b).GetType(), __FILE__, __LINE__)

template <class Derived> class Time_TypedValue : public Time_TypedBase
{
public:
    constexpr Time_TypedValue() = default;
    constexpr Time_TypedValue(int64_t iTime, Time_EType iType) : mTime(iTime), mType(iType) {}
    constexpr Time_TypedValue(Time_Sample iSample) : mTime(iSample.AsInt64()) {}
    constexpr Time_TypedValue(Time_Tick iTick) : mTime(iTick.AsInt64()), mType(Time_eType_Ticks) {}

    constexpr int64_t AsInt64() const { return mTime; }
    constexpr int32_t AsInt32() const { return static_cast<int32_t>(mTime); }
    // Assert "mType == Time_eType_Samples" / "mType == Time_eType_Ticks".
    Time_Sample AsSample() const
    {
        AssertSamples(mType);
        return Time_Sample(mTime);
    }
    Time_Tick AsTick() const
    {
        AssertTicks(mType);
        return Time_Tick(mTime);
    }
    constexpr Time_EType GetType() const { return mType; }
    void SetTime(int64_t iTime) { mTime = iTime; }
    void SetTimeType(Time_EType iType) { mType = iType; }
    Derived AbsoluteValue() const { return Derived(mTime < 0 ? -mTime : mTime, mType); }

    // The largest sample is 0x7FFFFFFF, the largest tick 0x07FFFFFFFFFFFFFF; the smallest
    // sample is 0 and the smallest tick the negated largest one.
    static Derived MaxTime(Time_EType iType)
    {
        AssertSamplesOrTicks(iType);
        return Derived(iType == Time_eType_Samples ? Time_cMaxSampleTime : Time_cMaxTickTime,
                       iType);
    }
    static Derived MinTime(Time_EType iType)
    {
        AssertSamplesOrTicks(iType);
        return Derived(iType == Time_eType_Samples ? 0 : Time_cMinTickTime, iType);
    }
    // Clamps between MinTime and MaxTime of the value's own type: a tick may stay negative.
    Derived& PinToValidRange()
    {
        const int64_t low = MinTime(mType).AsInt64();
        const int64_t high = MaxTime(mType).AsInt64();
        mTime = mTime < low ? low : (mTime > high ? high : mTime);
        return static_cast<Derived&>(*this);
    }

    // ---- operators (see invariant 1) ----
    friend Derived operator+(const Derived& a, const Derived& b)
    {
        TIME_TYPED_CHECK(a, b);
        return Derived(a.AsInt64() + b.AsInt64(), a.GetType());
    }
    friend Derived operator-(const Derived& a, const Derived& b)
    {
        TIME_TYPED_CHECK(a, b);
        return Derived(a.AsInt64() - b.AsInt64(), a.GetType());
    }
    friend Derived operator&(const Derived& a, const Derived& b)
    {
        TIME_TYPED_CHECK(a, b);
        return Derived(a.AsInt64() & b.AsInt64(), a.GetType());
    }
    friend Derived operator|(const Derived& a, const Derived& b)
    {
        TIME_TYPED_CHECK(a, b);
        return Derived(a.AsInt64() | b.AsInt64(), a.GetType());
    }
    friend Derived operator^(const Derived& a, const Derived& b)
    {
        TIME_TYPED_CHECK(a, b);
        return Derived(a.AsInt64() ^ b.AsInt64(), a.GetType());
    }
    friend Derived operator%(const Derived& a, const Derived& b)
    {
        TIME_TYPED_CHECK(a, b);
        return Derived(a.AsInt64() % b.AsInt64(), a.GetType());
    }
    // The quotient of two values is a bare number.
    friend int64_t operator/(const Derived& a, const Derived& b)
    {
        TIME_TYPED_CHECK(a, b);
        return a.AsInt64() / b.AsInt64();
    }
    friend Derived operator*(const Derived& a, int64_t n)
    {
        return Derived(a.AsInt64() * n, a.GetType());
    }
    friend Derived operator/(const Derived& a, int64_t n)
    {
        return Derived(a.AsInt64() / n, a.GetType());
    }
    friend Derived operator%(const Derived& a, int64_t n)
    {
        return Derived(a.AsInt64() % n, a.GetType());
    }
    friend Derived operator-(const Derived& a) { return Derived(-a.AsInt64(), a.GetType()); }
    friend Derived operator~(const Derived& a) { return Derived(~a.AsInt64(), a.GetType()); }
    friend bool operator!(const Derived& a) { return a.AsInt64() == 0; }

    friend bool operator==(const Derived& a, const Derived& b)
    {
        TIME_TYPED_CHECK(a, b);
        return a.AsInt64() == b.AsInt64();
    }
    friend bool operator!=(const Derived& a, const Derived& b)
    {
        TIME_TYPED_CHECK(a, b);
        return a.AsInt64() != b.AsInt64();
    }
    friend bool operator<(const Derived& a, const Derived& b)
    {
        TIME_TYPED_CHECK(a, b);
        return a.AsInt64() < b.AsInt64();
    }
    friend bool operator<=(const Derived& a, const Derived& b)
    {
        TIME_TYPED_CHECK(a, b);
        return a.AsInt64() <= b.AsInt64();
    }
    friend bool operator>(const Derived& a, const Derived& b)
    {
        TIME_TYPED_CHECK(a, b);
        return a.AsInt64() > b.AsInt64();
    }
    friend bool operator>=(const Derived& a, const Derived& b)
    {
        TIME_TYPED_CHECK(a, b);
        return a.AsInt64() >= b.AsInt64();
    }

    Derived& operator+=(const Derived& b) { return Assign(static_cast<const Derived&>(*this) + b); }
    Derived& operator-=(const Derived& b) { return Assign(static_cast<const Derived&>(*this) - b); }
    Derived& operator*=(int64_t n) { return Assign(static_cast<const Derived&>(*this) * n); }
    Derived& operator/=(int64_t n) { return Assign(static_cast<const Derived&>(*this) / n); }

protected:
    Derived& Assign(const Derived& iValue)
    {
        mTime = iValue.AsInt64();
        mType = iValue.GetType();
        return static_cast<Derived&>(*this);
    }

    int64_t mTime = 0;
    Time_EType mType = Time_eType_Samples;
};

class Time_TypedLength;
class Time_TypedLocal;

// A position on the session timeline.
class Time_Typed : public Time_TypedValue<Time_Typed>
{
public:
    using Time_TypedValue::Time_TypedValue;
    constexpr Time_Typed() = default;
    explicit Time_Typed(const Time_TypedLength& iLength);
    explicit Time_Typed(const Time_TypedLocal& iLocal);

    // The value packed with its type into one word (invariant 4). Bits above the value's 60
    // bits plus sign are overwritten by the tag.
    int64_t GetRawDataForSave() const;
    // Unpacks a word written by GetRawDataForSave: bit 63 gives the sign of the value (bits
    // 60 to 62 all set or all cleared), the tag gives the type. A tag that no type writes
    // sets the value, then asserts and leaves the type as it was.
    void SetFromRawSavedData(int64_t iRaw);

    // "Samples", "Ticks" or "Frames" from the message table, filled into a process-wide table
    // on first use. Asserts for any other value.
    static const std::string& GetTimeTypedString(Time_EType iType);
};

// A length.
class Time_TypedLength : public Time_TypedValue<Time_TypedLength>
{
public:
    using Time_TypedValue::Time_TypedValue;
    constexpr Time_TypedLength() = default;
    explicit Time_TypedLength(const Time_Typed& iTime)
        : Time_TypedValue(iTime.AsInt64(), iTime.GetType())
    {
    }
    explicit Time_TypedLength(const Time_TypedLocal& iLocal);

    // The length from iBegin to iEnd (end minus begin, with the mismatch check of iEnd - iBegin).
    static Time_TypedLength GetLength(const Time_Typed& iBegin, const Time_Typed& iEnd)
    {
        return Time_TypedLength(iEnd - iBegin);
    }

    static const Time_TypedLength cOneSample;
    static const Time_TypedLength cOneTick;
};

// A position relative to a local origin.
class Time_TypedLocal : public Time_TypedValue<Time_TypedLocal>
{
public:
    using Time_TypedValue::Time_TypedValue;
    constexpr Time_TypedLocal() = default;
    explicit Time_TypedLocal(const Time_Typed& iTime)
        : Time_TypedValue(iTime.AsInt64(), iTime.GetType())
    {
    }
    explicit Time_TypedLocal(const Time_TypedLength& iLength)
        : Time_TypedValue(iLength.AsInt64(), iLength.GetType())
    {
    }

    Time_Typed AsTimeTyped() const { return Time_Typed(mTime, mType); }
};

inline Time_Typed::Time_Typed(const Time_TypedLength& iLength)
    : Time_TypedValue(iLength.AsInt64(), iLength.GetType())
{
}
inline Time_Typed::Time_Typed(const Time_TypedLocal& iLocal)
    : Time_TypedValue(iLocal.AsInt64(), iLocal.GetType())
{
}
inline Time_TypedLength::Time_TypedLength(const Time_TypedLocal& iLocal)
    : Time_TypedValue(iLocal.AsInt64(), iLocal.GetType())
{
}

inline const Time_TypedLength Time_TypedLength::cOneSample{1, Time_eType_Samples};
inline const Time_TypedLength Time_TypedLength::cOneTick{1, Time_eType_Ticks};

inline const Time_Typed cMaxSampleTime_Typed{Time_cMaxSampleTime, Time_eType_Samples};
inline const Time_Typed cMaxTickTime_Typed{Time_cMaxTickTime, Time_eType_Ticks};

#undef TIME_TYPED_CHECK
