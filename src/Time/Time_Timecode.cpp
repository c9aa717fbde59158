#include "Time/Time_Timecode.h"

#include "Cmn_Assert.h"

namespace
{
constexpr int32_t cFramesPerSecond[4] = {24, 25, 30, 30};
constexpr int32_t cFramesPerDay[4] = {2073600, 2160000, 2589408, 2592000};

int32_t TypeIndex(Time_Timecode::EType iType)
{
    CMN_ASSERT(iType >= 0 && iType <= 3);
    return static_cast<int32_t>(iType);
}
} // namespace

Time_Timecode::Time_Timecode(int32_t iFrameNumber, EType iType)
    : mFrameNumberValid(true), mHMSFValid(false), mType(iType), mFrameNumber(iFrameNumber)
{
    TypeIndex(iType);
}

Time_Timecode::Time_Timecode(int32_t iHours, int32_t iMinutes, int32_t iSeconds, int32_t iFrames,
                             EType iType)
    : mFrameNumberValid(false), mHMSFValid(true), mType(iType), mHours(iHours), mMinutes(iMinutes),
      mSeconds(iSeconds), mFrames(iFrames)
{
    TypeIndex(iType);
}

int32_t Time_Timecode::GetFramesPerSecond(EType iType)
{
    return cFramesPerSecond[TypeIndex(iType)];
}

int32_t Time_Timecode::GetFramesPerDay(EType iType)
{
    return cFramesPerDay[TypeIndex(iType)];
}

int32_t Time_Timecode::WrapFrames(int32_t iFrames, EType iType)
{
    const int64_t day = GetFramesPerDay(iType);
    int64_t frames = iFrames % day; // the same as adding or subtracting whole days
    if (frames < 0)
        frames += day;
    return static_cast<int32_t>(frames);
}

int32_t Time_Timecode::NonDropToDropFrames(int32_t iNominalFrames)
{
    const int64_t n = iNominalFrames;
    const int64_t q = n / 18000;
    const int64_t r = n % 18000;
    return static_cast<int32_t>(n - 18 * q - 2 * (r / 1800));
}

int32_t Time_Timecode::DropToNonDropFrames(int32_t iFrames)
{
    const int64_t n = iFrames;
    const int64_t q = n / 17982;
    const int64_t r = n % 17982;
    int64_t k = (r - 2) / 1798;
    if (k < 0)
        k = 0;
    return static_cast<int32_t>(n + 2 * (9 * q + k));
}

void Time_Timecode::ValidateFrameNumber() const
{
    if (mFrameNumberValid)
        return;
    const int64_t fps = GetFramesPerSecond();
    int64_t frames = ((int64_t(mHours) * 60 + mMinutes) * 60 + mSeconds) * fps + mFrames;
    int32_t number = static_cast<int32_t>(frames);
    if (mType == eType_30Drop)
        number = NonDropToDropFrames(number);
    mFrameNumber = number;
    mFrameNumberValid = true;
}

void Time_Timecode::ValidateHMSF() const
{
    if (mHMSFValid)
        return;
    const int32_t fps = GetFramesPerSecond();
    int32_t frames = mFrameNumber;
    if (mType == eType_30Drop)
        frames = DropToNonDropFrames(frames);
    mHours = frames / (fps * 3600);
    frames %= fps * 3600;
    mMinutes = frames / (fps * 60);
    frames %= fps * 60;
    mSeconds = frames / fps;
    mFrames = frames % fps;
    mHMSFValid = true;
}

int32_t Time_Timecode::GetFrameNumber() const
{
    ValidateFrameNumber();
    return mFrameNumber;
}

int32_t Time_Timecode::GetHours() const
{
    ValidateHMSF();
    return mHours;
}

int32_t Time_Timecode::GetMinutes() const
{
    ValidateHMSF();
    return mMinutes;
}

int32_t Time_Timecode::GetSeconds() const
{
    ValidateHMSF();
    return mSeconds;
}

int32_t Time_Timecode::GetFrames() const
{
    ValidateHMSF();
    return mFrames;
}
