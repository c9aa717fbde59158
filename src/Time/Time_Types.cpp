#include "Time/Time_Types.h"

#include <cmath>
#include <limits>

namespace
{
template <class T> T ClampedTruncate(double iValue)
{
    if (std::isnan(iValue))
        return 0;
    // The limits as doubles: the largest one is rounded up to a power of two, so compare with
    // >= to stay inside the range.
    constexpr double cHigh = static_cast<double>(std::numeric_limits<T>::max());
    constexpr double cLow = static_cast<double>(std::numeric_limits<T>::min());
    if (iValue >= cHigh)
        return std::numeric_limits<T>::max();
    if (iValue <= cLow)
        return std::numeric_limits<T>::min();
    return static_cast<T>(iValue);
}
} // namespace

int64_t Time_Round(double iValue)
{
    return ClampedTruncate<int64_t>(iValue + 0.5);
}

int64_t Time_Truncate(double iValue)
{
    return ClampedTruncate<int64_t>(iValue);
}

int32_t Time_TruncateTo32(double iValue)
{
    return ClampedTruncate<int32_t>(iValue);
}

int32_t Time_StringToLong(std::string_view iText)
{
    size_t pos = 0;
    while (pos < iText.size() && (iText[pos] == ' ' || (iText[pos] >= '\t' && iText[pos] <= '\r')))
        ++pos;
    bool negative = false;
    if (pos < iText.size() && (iText[pos] == '+' || iText[pos] == '-'))
    {
        negative = iText[pos] == '-';
        ++pos;
    }
    int64_t value = 0;
    for (; pos < iText.size() && iText[pos] >= '0' && iText[pos] <= '9'; ++pos)
    {
        value = value * 10 + (iText[pos] - '0');
        if (value > int64_t(0x80000000)) // past every 32-bit value: stop growing
            value = int64_t(0x80000001);
    }
    if (negative)
        value = -value;
    if (value > std::numeric_limits<int32_t>::max())
        return std::numeric_limits<int32_t>::max();
    if (value < std::numeric_limits<int32_t>::min())
        return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(value);
}

std::string_view Time_Column(std::string_view iText, size_t iPos, size_t iLength)
{
    if (iPos >= iText.size())
        return {};
    return iText.substr(iPos, iLength);
}

int32_t Time_ColumnToLong(std::string_view iText, size_t iPos, size_t iLength)
{
    return Time_StringToLong(Time_Column(iText, iPos, iLength));
}

Time_Sample& Time_Sample::PinToValidRange()
{
    if (mValue < 0)
        mValue = 0;
    else if (mValue > Time_cMaxSampleTime)
        mValue = Time_cMaxSampleTime;
    return *this;
}

std::string Time_Sample::ToString() const
{
    return std::to_string(mValue);
}

void Time_Sample::FromString(std::string_view iText)
{
    mValue = Time_StringToLong(iText);
}

Time_Tick& Time_Tick::PinToValidRange()
{
    if (mValue < 0)
        mValue = 0;
    else if (mValue > Time_cMaxTickTime)
        mValue = Time_cMaxTickTime;
    return *this;
}
