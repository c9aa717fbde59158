#include "Time/Time_SMPTE.h"

#include <cstdio>

#include "Cmn_Assert.h"
#include "Time/Time_Globals.h"

namespace
{
struct FormatRow
{
    bool mDefined;
    double mFramesPerSecond;
    int32_t mNominalFramesPerSecond;
    int32_t mFramesPerHour;
    int32_t mEditRateNumerator;
    int32_t mEditRateDenominator;
    bool mDrop;
    const char* mLabel;
};

// Indexed by ETimeCodeFormat. Rows 0, 4 and 6 describe no format.
constexpr FormatRow cFormats[10] = {
    {false, 0.0, 0, 0, 0, 0, false, ""},
    {true, 24.0, 24, 86400, 24, 1, false, "24fps"},
    {true, 25.0, 25, 90000, 25, 1, false, "25fps"},
    {true, 29.97002997, 30, 108000, 30000, 1001, false, "29.97fps NDF"},
    {false, 0.0, 0, 0, 30000, 1001, false, ""},
    {true, 29.97002997, 30, 107892, 30000, 1001, true, "29.97fps DF"},
    {false, 0.0, 0, 0, 30000, 1001, false, ""},
    {true, 30.0, 30, 108000, 30, 1, false, "30fps NDF"},
    {true, 30.0, 30, 107892, 30, 1, true, "30fps DF"},
    {true, 23.976023976023978, 24, 86314, 24000, 1001, false, "23.976fps"},
};

bool IsKnownFormat(ETimeCodeFormat iFormat)
{
    return iFormat >= 0 && iFormat <= eTimeCodeFormat_23976;
}

const FormatRow& DefinedRow(ETimeCodeFormat iFormat)
{
    CMN_ASSERT_TEXT(IsKnownFormat(iFormat) && cFormats[iFormat].mDefined, "valid time code format");
    return cFormats[iFormat];
}

double PullRate()
{
    return Time_Globals::GetPullSampleRate();
}
} // namespace

ETimeCodeFormat Time_SMPTE::sGlobalTimeCodeFormat = eTimeCodeFormat_30NonDrop;
int32_t Time_SMPTE::sFrameOffset = 0;

Time_SMPTE::Time_SMPTE(uint8_t iHours, uint8_t iMinutes, uint8_t iSeconds, uint8_t iFrames,
                       ETimeCodeFormat iFormat, int16_t iSubSamples)
    : mHours(iHours), mMinutes(iMinutes), mSeconds(iSeconds), mFrames(iFrames),
      mSubSamples(iSubSamples), mFormat(iFormat)
{
}

// ---- format ---------------------------------------------------------------------------------

ETimeCodeFormat Time_SMPTE::GetTimeCodeFormat() const
{
    return mFormat == eTimeCodeFormat_Global ? sGlobalTimeCodeFormat : mFormat;
}

bool Time_SMPTE::IsDropFrame(ETimeCodeFormat iFormat)
{
    return iFormat == eTimeCodeFormat_2997Drop || iFormat == eTimeCodeFormat_30Drop;
}

double Time_SMPTE::GetFramesPerSecond(ETimeCodeFormat iFormat)
{
    return DefinedRow(iFormat).mFramesPerSecond;
}

int32_t Time_SMPTE::GetNominalFramesPerSecond(ETimeCodeFormat iFormat)
{
    return DefinedRow(iFormat).mNominalFramesPerSecond;
}

int32_t Time_SMPTE::GetFramesPerHour(ETimeCodeFormat iFormat)
{
    return DefinedRow(iFormat).mFramesPerHour;
}

std::string Time_SMPTE::GetTimeCodeFormatLabel(ETimeCodeFormat iFormat)
{
    return IsKnownFormat(iFormat) ? cFormats[iFormat].mLabel : "";
}

double Time_SMPTE::GetSamplesPerFrame() const
{
    const ETimeCodeFormat format = GetTimeCodeFormat();
    if (format == eTimeCodeFormat_Unused4 || format == eTimeCodeFormat_Unused6)
        return PullRate();
    return PullRate() / GetFramesPerSecond(format);
}

void Time_SMPTE::GetEditRateAsRational(int32_t* oNumerator, int32_t* oDenominator) const
{
    if (!IsKnownFormat(mFormat) || mFormat == eTimeCodeFormat_Global)
        return;
    if (oNumerator != nullptr)
        *oNumerator = cFormats[mFormat].mEditRateNumerator;
    if (oDenominator != nullptr)
        *oDenominator = cFormats[mFormat].mEditRateDenominator;
}

void Time_SMPTE::SetTimeCodeFormatFromFrameRate(double iRate, bool iIsDrop)
{
    if (iRate >= 23.975 && iRate <= 23.977)
        mFormat = eTimeCodeFormat_23976;
    else if (iRate >= 23.99 && iRate <= 24.01)
        mFormat = eTimeCodeFormat_24;
    else if (iRate >= 24.99 && iRate <= 25.01)
        mFormat = eTimeCodeFormat_25;
    else if (iRate >= 29.96 && iRate <= 29.98)
        mFormat = iIsDrop ? eTimeCodeFormat_2997Drop : eTimeCodeFormat_2997NonDrop;
    else if (iRate >= 29.99 && iRate <= 30.01)
        mFormat = iIsDrop ? eTimeCodeFormat_30Drop : eTimeCodeFormat_30NonDrop;
    else
        mFormat = eTimeCodeFormat_Global;
}

bool Time_SMPTE::GlobalTCFormatIsVideoSpeed()
{
    return sGlobalTimeCodeFormat == eTimeCodeFormat_23976 ||
           sGlobalTimeCodeFormat == eTimeCodeFormat_2997NonDrop ||
           sGlobalTimeCodeFormat == eTimeCodeFormat_2997Drop;
}

// ---- drop frame ---------------------------------------------------------------------------------

int32_t Time_SMPTE::DropFrames(int32_t iNominalFrames)
{
    const int64_t n = iNominalFrames;
    const int64_t q = n / 18000;
    const int64_t r = n % 18000;
    return static_cast<int32_t>(n - 18 * q - 2 * (r / 1800));
}

int32_t Time_SMPTE::UndropFrames(int32_t iFrames)
{
    const int64_t n = iFrames;
    const int64_t q = n / 17982;
    const int64_t r = n % 17982;
    const int64_t k = r < 1800 ? 0 : 1 + (r - 1800) / 1798;
    return static_cast<int32_t>(n + 18 * q + 2 * k);
}

void Time_SMPTE::MakeIntoLegalDropFrameLocation()
{
    if (mSeconds == 0 && mMinutes % 10 != 0 && mFrames < 2)
        mFrames = 2;
}

// ---- scale conversions -------------------------------------------------------------------------

int32_t Time_SMPTE::SamplesToFrames(int64_t iSamples) const
{
    // A negative position reads as an unsigned 32-bit count.
    const double samples = iSamples < 0 ? static_cast<double>(iSamples & 0x7FFFFFFF) + 2147483648.0
                                        : static_cast<double>(iSamples);
    return Time_TruncateTo32(GetFramesPerSecond() * ((samples + 0.5) / PullRate()));
}

int64_t Time_SMPTE::FramesToSamples(int64_t iFrames) const
{
    return Time_Round(PullRate() * static_cast<double>(iFrames) / GetFramesPerSecond());
}

int32_t Time_SMPTE::SamplesToSubframes(int64_t iSamples) const
{
    return static_cast<int32_t>(
        Time_Round(GetFramesPerSecond() * 100.0 / PullRate() * static_cast<double>(iSamples)));
}

int32_t Time_SMPTE::SubframesToSamples(int64_t iSubframes) const
{
    return static_cast<int32_t>(
        Time_Round(PullRate() * static_cast<double>(iSubframes) * 0.01 / GetFramesPerSecond()));
}

// ---- whole-day positions -----------------------------------------------------------------------

int32_t Time_SMPTE::GetTotalFrames() const
{
    const int32_t labelFrames =
        ((mHours * 60 + mMinutes) * 60 + mSeconds) * GetNominalFramesPerSecond() + mFrames;
    return IsDropFrame() ? DropFrames(labelFrames) : labelFrames;
}

int32_t Time_SMPTE::GetTotalSubframes() const
{
    return GetTotalFrames() * 100 + GetSubframes();
}

Time_Sample Time_SMPTE::GetTotalSamples() const
{
    return Time_Sample(FramesToSamples(GetTotalFrames()) + mSubSamples);
}

void Time_SMPTE::SetFieldsFromFrames(int32_t iFrames)
{
    const int32_t fps = GetNominalFramesPerSecond();
    const int32_t perHour = fps * 3600;
    const int32_t perMinute = fps * 60;
    uint8_t hours = static_cast<uint8_t>(iFrames / perHour);
    if (hours > 23)
        hours = static_cast<uint8_t>(hours - 24);
    int32_t rest = iFrames % perHour;
    mHours = hours;
    mMinutes = static_cast<uint8_t>(rest / perMinute);
    rest %= perMinute;
    mSeconds = static_cast<uint8_t>(rest / fps);
    mFrames = static_cast<uint8_t>(rest % fps);
}

void Time_SMPTE::SetFromTotalFrames(int32_t iFrames, bool iClearSubSamples)
{
    if (iFrames < 0)
        iFrames += GetNominalFramesPerSecond() * 86400;
    if (IsDropFrame())
        iFrames = UndropFrames(iFrames);
    SetFieldsFromFrames(iFrames);
    if (iClearSubSamples)
        mSubSamples = 0;
}

void Time_SMPTE::SetFromTotalSubframes(int32_t iSubframes)
{
    if (iSubframes < 0)
        iSubframes = 0;
    int32_t frames = iSubframes / 100;
    mSubSamples = static_cast<int16_t>(SubframesToSamples(iSubframes % 100));
    if (IsDropFrame())
        frames = UndropFrames(frames);
    SetFieldsFromFrames(frames);
}

void Time_SMPTE::SetFromTotalSamples(Time_Sample iSamples)
{
    const int64_t maxSamples = FramesToSamples(GetFramesPerDay());
    int64_t samples = iSamples.AsInt64();
    samples = samples < 0 ? 0 : (samples > maxSamples ? maxSamples : samples);
    const int32_t frames = SamplesToFrames(samples);
    SetFromTotalFrames(frames, true);
    mSubSamples = static_cast<int16_t>(samples - FramesToSamples(frames));
}

void Time_SMPTE::SetFromSamples(Time_Sample iSamples, bool iKeepSubSamples)
{
    const int32_t frames = SamplesToFrames(iSamples.AsInt64());
    SetFromTotalFrames(frames, true);
    if (!iKeepSubSamples)
        return;
    int16_t subSamples = static_cast<int16_t>(iSamples.AsInt64() - FramesToSamples(frames));
    const int32_t subframes = SamplesToSubframes(subSamples);
    if (subframes >= 100)
    {
        SetFromTotalFrames(GetTotalFrames() + 1, true);
        subSamples = static_cast<int16_t>(SubframesToSamples(subframes - 100));
    }
    mSubSamples = subSamples;
}

// ---- session-relative positions -----------------------------------------------------------------

int32_t Time_SMPTE::GetMaxSessionFrames() const
{
    return SamplesToFrames(Time_cMaxSessionLengthInSamples);
}

int32_t Time_SMPTE::GetRawFramesFromStartFrame() const
{
    const int64_t total = GetTotalFrames();
    const int64_t offset = sFrameOffset;
    const int64_t maxFrames = GetMaxSessionFrames();
    const int64_t day = GetFramesPerDay();
    if (total >= offset)
        return static_cast<int32_t>(total - offset);
    // A session that crosses midnight holds the early labels of the next day.
    if (offset + maxFrames > day && total <= offset + maxFrames - day)
        return static_cast<int32_t>(total + day - offset);
    return static_cast<int32_t>(total - offset);
}

int32_t Time_SMPTE::GetFramesFromStartFrame(bool iClamp) const
{
    const int32_t raw = GetRawFramesFromStartFrame();
    const int32_t maxFrames = GetMaxSessionFrames();
    if (raw <= maxFrames)
        return raw;
    if (iClamp)
        return maxFrames;
    return static_cast<int32_t>(int64_t(raw) - sFrameOffset - GetFramesPerDay());
}

Time_Sample Time_SMPTE::GetSamplesFromStartFrame(bool iClamp) const
{
    return Time_Sample(FramesToSamples(GetFramesFromStartFrame(iClamp)) + mSubSamples);
}

void Time_SMPTE::SetFromFramesFromStartFrame(int32_t iFrames)
{
    const int64_t day = GetFramesPerDay();
    int64_t frames = int64_t(sFrameOffset) + iFrames;
    if (frames >= day)
        frames -= day;
    else if (frames < 0)
        frames += day;
    SetFromTotalFrames(static_cast<int32_t>(frames), true);
}

void Time_SMPTE::SetFromSamplesFromStartFrame(Time_Sample iSamples, bool iKeepSubSamples)
{
    const int64_t samples = iSamples.AsInt64();
    if (samples >= 0)
    {
        const int32_t frames = SamplesToFrames(samples);
        SetFromFramesFromStartFrame(frames);
        if (!iKeepSubSamples)
            return;
        int16_t subSamples = static_cast<int16_t>(samples - FramesToSamples(frames));
        const int32_t subframes = SamplesToSubframes(subSamples);
        if (subframes >= 100)
        {
            SetFromFramesFromStartFrame(frames + 1);
            subSamples = static_cast<int16_t>(SubframesToSamples(subframes - 100));
        }
        mSubSamples = subSamples;
        return;
    }
    // Before the session start: count back from the label of the start.
    Time_SMPTE start;
    start.mFormat = mFormat;
    start.SetFromFramesFromStartFrame(0);
    int64_t sum = start.GetTotalSamples().AsInt64() + samples;
    if (sum < 0)
        sum += FramesToSamples(GetFramesPerDay());
    SetFromTotalSamples(Time_Sample(sum));
    if (!iKeepSubSamples)
        mSubSamples = 0;
}

bool Time_SMPTE::IsWithinSessionBounds() const
{
    if (!IsValidTimeCode())
        return false;
    const int32_t raw = GetRawFramesFromStartFrame();
    return raw >= 0 && raw <= GetMaxSessionFrames();
}

bool Time_SMPTE::IsValidTimeCode() const
{
    const uint8_t frameLimit = static_cast<uint8_t>(Time_Truncate(GetFramesPerSecond() + 1.5));
    return mHours <= 23 && mMinutes < 60 && mSeconds < 60 && mFrames < frameLimit;
}

// ---- encoded forms ------------------------------------------------------------------------------

namespace
{
uint32_t Pack(uint8_t iByte0, uint8_t iByte1, uint8_t iByte2, uint8_t iByte3)
{
    return uint32_t(iByte0) | (uint32_t(iByte1) << 8) | (uint32_t(iByte2) << 16) |
           (uint32_t(iByte3) << 24);
}

uint8_t ByteOf(uint32_t iCode, int iIndex)
{
    return static_cast<uint8_t>((iCode >> (8 * iIndex)) & 0xFF);
}
} // namespace

uint32_t Time_SMPTE::GetEncodedTimeCodeHMSF() const
{
    return Pack(mHours, mMinutes, mSeconds, mFrames);
}

uint32_t Time_SMPTE::GetBCDEncodedTimeCodeHMSF() const
{
    return Pack(ToBCD(mHours), ToBCD(mMinutes), ToBCD(mSeconds), ToBCD(mFrames));
}

void Time_SMPTE::SetFromEncodedTimeCodeHMSF(uint32_t iCode, bool iClearSubSamples)
{
    mHours = ByteOf(iCode, 0);
    mMinutes = ByteOf(iCode, 1);
    mSeconds = ByteOf(iCode, 2);
    mFrames = ByteOf(iCode, 3);
    if (iClearSubSamples)
        mSubSamples = 0;
}

void Time_SMPTE::SetFromBCDEncodedTimeCodeHMSF(uint32_t iCode, bool iClearSubSamples)
{
    // Seconds in byte 1 and minutes in byte 2: not the getter's order.
    mHours = FromBCD(ByteOf(iCode, 0));
    mSeconds = FromBCD(ByteOf(iCode, 1));
    mMinutes = FromBCD(ByteOf(iCode, 2));
    mFrames = FromBCD(ByteOf(iCode, 3));
    if (iClearSubSamples)
        mSubSamples = 0;
}

uint32_t Time_SMPTE::GetEncodedTimeCodeFSMH() const
{
    return Pack(mFrames, mSeconds, mMinutes, mHours);
}

uint32_t Time_SMPTE::GetBCDEncodedTimeCodeFSMH() const
{
    return Pack(ToBCD(mFrames), ToBCD(mSeconds), ToBCD(mMinutes), ToBCD(mHours));
}

void Time_SMPTE::SetFromEncodedTimeCodeFSMH(uint32_t iCode, bool iClearSubSamples)
{
    // Minutes in byte 1 and seconds in byte 2: not the getter's order.
    mFrames = ByteOf(iCode, 0);
    mMinutes = ByteOf(iCode, 1);
    mSeconds = ByteOf(iCode, 2);
    mHours = ByteOf(iCode, 3);
    if (iClearSubSamples)
        mSubSamples = 0;
}

void Time_SMPTE::SetFromBCDEncodedTimeCodeFSMH(uint32_t iCode, bool iClearSubSamples)
{
    mFrames = FromBCD(ByteOf(iCode, 0));
    mMinutes = FromBCD(ByteOf(iCode, 1));
    mSeconds = FromBCD(ByteOf(iCode, 2));
    mHours = FromBCD(ByteOf(iCode, 3));
    if (iClearSubSamples)
        mSubSamples = 0;
}

CMMCStandardTimeCode Time_SMPTE::GetMMCStandardTimeCode() const
{
    uint8_t rate = 0x60;
    switch (GetTimeCodeFormat())
    {
    case eTimeCodeFormat_24:
    case eTimeCodeFormat_23976:
        rate = 0x00;
        break;
    case eTimeCodeFormat_25:
        rate = 0x20;
        break;
    case eTimeCodeFormat_2997Drop:
    case eTimeCodeFormat_30Drop:
        rate = 0x40;
        break;
    default:
        rate = 0x60;
        break;
    }
    CMMCStandardTimeCode code;
    code.mBytes[0] = static_cast<uint8_t>((mHours & 0x1F) | rate);
    code.mBytes[1] = mMinutes;
    code.mBytes[2] = mSeconds;
    code.mBytes[3] = static_cast<uint8_t>(mFrames | 0x20);
    code.mBytes[4] = static_cast<uint8_t>(GetSubframes());
    return code;
}

void Time_SMPTE::SetFromMMCStandardTimeCode(const CMMCStandardTimeCode& iCode)
{
    mHours = iCode.mBytes[0] & 0x1F;
    mMinutes = iCode.mBytes[1] & 0x3F;
    mSeconds = iCode.mBytes[2] & 0x3F;
    mFrames = iCode.mBytes[3] & 0x1F;
    // Byte 4 is taken as sub-samples as it stands, not converted from subframes.
    if ((iCode.mBytes[3] & 0x20) != 0)
        mSubSamples = iCode.mBytes[4];
}

// ---- text ---------------------------------------------------------------------------------------

std::string Time_SMPTE::ToString(bool iWithSubframes) const
{
    char text[48];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%02d", int(mHours), int(mMinutes),
                  int(mSeconds), IsDropFrame() ? ';' : ':', int(mFrames));
    std::string result(text);
    if (iWithSubframes)
    {
        std::snprintf(text, sizeof text, ".%02d", int(GetSubframes()));
        result += text;
    }
    return result;
}

void Time_SMPTE::FromString(const std::string& iText)
{
    mHours = static_cast<uint8_t>(Time_ColumnToLong(iText, 0, 2));
    mMinutes = static_cast<uint8_t>(Time_ColumnToLong(iText, 3, 2));
    mSeconds = static_cast<uint8_t>(Time_ColumnToLong(iText, 6, 2));
    mFrames = static_cast<uint8_t>(Time_ColumnToLong(iText, 9, 2));
    if (iText.size() >= 12)
        SetSubframes(Time_ColumnToLong(iText, 12, 2));
    else
        mSubSamples = 0;
    if (IsDropFrame())
        MakeIntoLegalDropFrameLocation();
}

// ---- arithmetic
// -----------------------------------------------------------------------------------

Time_SMPTE operator+(const Time_SMPTE& a, const Time_SMPTE& b)
{
    Time_SMPTE result;
    result.SetFromTotalSamples(a.GetTotalSamples() + b.GetTotalSamples());
    return result;
}

Time_SMPTE operator-(const Time_SMPTE& a, const Time_SMPTE& b)
{
    Time_SMPTE result;
    result.SetFromTotalSamples(a.GetTotalSamples() - b.GetTotalSamples());
    return result;
}

Time_SMPTE& Time_SMPTE::operator+=(const Time_SMPTE& iOther)
{
    SetFromTotalSamples(GetTotalSamples() + iOther.GetTotalSamples());
    return *this;
}

Time_SMPTE& Time_SMPTE::operator-=(const Time_SMPTE& iOther)
{
    SetFromTotalSamples(GetTotalSamples() - iOther.GetTotalSamples());
    return *this;
}
