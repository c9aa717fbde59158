#include "Time/Time_Typed.h"

#include <array>

#include "Cmn_Assert.h"
#include "L10N_Utils.h"

namespace
{
constexpr int32_t cTimePackage = 14;
constexpr int32_t cSamplesStringID = 42; // "Samples", then "Ticks" and "Frames"

constexpr uint64_t cTagMask = uint64_t(7) << 60;
constexpr uint64_t cTagSamplesNegative = uint64_t(3) << 60;
constexpr uint64_t cTagTicksPositive = uint64_t(4) << 60;
constexpr uint64_t cTagFrames = uint64_t(1) << 60;
constexpr uint64_t cSignBit = uint64_t(1) << 63;
} // namespace

Time_TypedBase::TypeMismatchHandler Time_TypedBase::sTypeMismatchHandlerP = nullptr;

Time_TypedBase::TypeMismatchHandler
Time_TypedBase::SetTypeMismatchHandler(TypeMismatchHandler iHandlerP)
{
    TypeMismatchHandler old = sTypeMismatchHandlerP;
    sTypeMismatchHandlerP = iHandlerP;
    return old;
}

Time_TypedBase::TypeMismatchHandler Time_TypedBase::GetTypeMismatchHandler()
{
    return sTypeMismatchHandlerP;
}

void Time_TypedBase::CallTypeMismatchHandler(const char* iFile, int32_t iLine)
{
    if (sTypeMismatchHandlerP != nullptr)
        sTypeMismatchHandlerP(iFile, iLine);
}

void Time_TypedBase::AssertSamples(Time_EType iType)
{
    CMN_ASSERT_TEXT(iType == Time_eType_Samples, "mType == Time_eType_Samples");
}

void Time_TypedBase::AssertTicks(Time_EType iType)
{
    CMN_ASSERT_TEXT(iType == Time_eType_Ticks, "mType == Time_eType_Ticks");
}

void Time_TypedBase::AssertSamplesOrTicks(Time_EType iType)
{
    CMN_ASSERT(iType == Time_eType_Samples || iType == Time_eType_Ticks);
}

int64_t Time_Typed::GetRawDataForSave() const
{
    uint64_t raw = static_cast<uint64_t>(mTime) & ~cTagMask;
    const bool negative = mTime < 0;
    switch (mType)
    {
    case Time_eType_Samples:
        if (negative)
            raw |= cTagSamplesNegative;
        break;
    case Time_eType_Ticks:
        raw |= negative ? cTagMask : cTagTicksPositive;
        break;
    default: // frames: bits 61 and 62 cleared, bit 60 set, whatever the sign
        raw |= cTagFrames;
        break;
    }
    return static_cast<int64_t>(raw);
}

void Time_Typed::SetFromRawSavedData(int64_t iRaw)
{
    const uint64_t raw = static_cast<uint64_t>(iRaw);
    const uint64_t tag = raw & cTagMask;
    const uint64_t value = (raw & cSignBit) != 0 ? (raw | cTagMask) : (raw & ~cTagMask);
    mTime = static_cast<int64_t>(value);
    if (tag == 0 || tag == cTagSamplesNegative)
        mType = Time_eType_Samples;
    else if (tag == cTagTicksPositive || tag == cTagMask)
        mType = Time_eType_Ticks;
    else if (tag == cTagFrames)
        mType = Time_eType_Frames;
    else
        CMN_ASSERT_TEXT(false, "raw saved time has an unknown type tag");
}

const std::string& Time_Typed::GetTimeTypedString(Time_EType iType)
{
    CMN_ASSERT(iType >= Time_eType_Samples && iType <= Time_eType_Frames);
    static const std::array<std::string, 3> sNames = {
        L10N_Utils::GetText(cTimePackage, cSamplesStringID),
        L10N_Utils::GetText(cTimePackage, cSamplesStringID + 1),
        L10N_Utils::GetText(cTimePackage, cSamplesStringID + 2)};
    return sNames[static_cast<size_t>(iType)];
}
