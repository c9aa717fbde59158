#include "Time/Time_FeetFrame.h"

#include <algorithm>
#include <cstdio>

#include "Cmn_Assert.h"
#include "Time/Time_Globals.h"

namespace
{
constexpr double cSubframesPerSecond[3] = {2397.6023976023976, 2400.0, 2500.0};
constexpr int32_t cSubframesPerFoot =
    Time_FeetFrame::kFramesPerFoot * Time_FeetFrame::kSubframesPerFrame;
constexpr int64_t cHalfRollover = Time_FeetFrame::kRolloverSubframes / 2;
} // namespace

Time_FeetFrame::EFeetFramesRate Time_FeetFrame::sGlobalFeetFramesRate =
    Time_FeetFrame::eFeetFramesRate_24;
Time_Sample Time_FeetFrame::sGlobalFeetFramesOffset;

double Time_FeetFrame::GetSubframesPerSecond()
{
    CMN_ASSERT(sGlobalFeetFramesRate >= 0 && sGlobalFeetFramesRate <= 2);
    return cSubframesPerSecond[sGlobalFeetFramesRate];
}

int32_t Time_FeetFrame::FeetFramesSubframesToTotalSubframes(int32_t iFeet, int32_t iFrames,
                                                            int32_t iSubframes)
{
    return static_cast<int32_t>((int64_t(iFeet) * kFramesPerFoot + iFrames) * kSubframesPerFrame +
                                iSubframes);
}

void Time_FeetFrame::TotalSubframesToFeetFramesSubframes(int32_t iTotal, int32_t& oFeet,
                                                         int32_t& oFrames, int32_t& oSubframes)
{
    oFeet = iTotal / cSubframesPerFoot;
    oFrames = (iTotal % cSubframesPerFoot) / kSubframesPerFrame;
    oSubframes = iTotal % kSubframesPerFrame;
}

void Time_FeetFrame::SetFromSubframeCount(int64_t iSubframes)
{
    mFeet = static_cast<int32_t>(iSubframes / cSubframesPerFoot);
    mFrames = static_cast<int32_t>((iSubframes % cSubframesPerFoot) / kSubframesPerFrame);
    mSubframes = static_cast<int32_t>(iSubframes % kSubframesPerFrame);
}

void Time_FeetFrame::SetFromTotalSamples(Time_Sample iSamples)
{
    SetFromSubframeCount(Time_Round(static_cast<double>(iSamples.AsInt64()) *
                                    GetSubframesPerSecond() / Time_Globals::GetPullSampleRate()));
}

void Time_FeetFrame::SetFromSamplesFromStartFrame(Time_Sample iSamples)
{
    const double samples = static_cast<double>(iSamples.AsInt64()) +
                           static_cast<double>(sGlobalFeetFramesOffset.AsInt64());
    int64_t subframes =
        Time_Round(samples * GetSubframesPerSecond() / Time_Globals::GetPullSampleRate());
    if (subframes < 0)
        subframes += kRolloverSubframes;
    else if (subframes >= kRolloverSubframes)
        subframes -= kRolloverSubframes;
    SetFromSubframeCount(subframes);
}

void Time_FeetFrame::SetFromTotalFrames(int32_t iFrames, bool iClearSubframes)
{
    int64_t frames = iFrames;
    if (frames < 0)
        frames += kRolloverFrames;
    else if (frames >= kRolloverFrames)
        frames -= kRolloverFrames;
    mFeet = static_cast<int32_t>(frames / kFramesPerFoot);
    mFrames = static_cast<int32_t>(frames % kFramesPerFoot);
    if (iClearSubframes)
        mSubframes = 0;
}

int32_t Time_FeetFrame::GetFramesFromStartFrame() const
{
    Time_FeetFrame start;
    start.SetFromTotalSamples(sGlobalFeetFramesOffset);
    return GetTotalFrames() - start.GetTotalFrames();
}

void Time_FeetFrame::SetFromFramesFromStartFrame(int32_t iFrames)
{
    Time_FeetFrame start;
    start.SetFromTotalSamples(sGlobalFeetFramesOffset);
    SetFromTotalFrames(static_cast<int32_t>(int64_t(start.GetTotalFrames()) + iFrames), true);
}

Time_Sample Time_FeetFrame::GetSamples() const
{
    Time_Sample samples(Time_Round(Time_Globals::GetPullSampleRate() * GetTotalSubframes() /
                                   GetSubframesPerSecond()));
    return samples.PinToValidRange();
}

Time_Sample Time_FeetFrame::GetSamplesFromStartFrame() const
{
    int64_t subframes = GetTotalSubframes();
    if (subframes > cHalfRollover)
        subframes -= kRolloverSubframes;
    return Time_Sample(Time_Truncate(Time_Globals::GetPullSampleRate() *
                                         static_cast<double>(subframes) / GetSubframesPerSecond() +
                                     0.5 - static_cast<double>(sGlobalFeetFramesOffset.AsInt64())));
}

int64_t Time_FeetFrame::Left(const Time_FeetFrame& iValue)
{
    int64_t total = iValue.GetTotalSubframes();
    if (total > cHalfRollover)
        total -= kRolloverSubframes;
    return total;
}

int64_t Time_FeetFrame::Right(const Time_FeetFrame& iValue)
{
    int64_t total = iValue.GetTotalSubframes();
    if (total < cHalfRollover)
        total -= kRolloverSubframes;
    return total;
}

Time_FeetFrame operator+(const Time_FeetFrame& a, const Time_FeetFrame& b)
{
    int64_t total = int64_t(a.GetTotalSubframes()) + b.GetTotalSubframes();
    if (total >= Time_FeetFrame::kRolloverSubframes)
        total -= Time_FeetFrame::kRolloverSubframes;
    Time_FeetFrame result;
    result.SetFromSubframeCount(total);
    return result;
}

Time_FeetFrame operator-(const Time_FeetFrame& a, const Time_FeetFrame& b)
{
    int64_t total = int64_t(a.GetTotalSubframes()) - b.GetTotalSubframes();
    if (total < 0)
        total += Time_FeetFrame::kRolloverSubframes;
    Time_FeetFrame result;
    result.SetFromSubframeCount(total);
    return result;
}

std::string Time_FeetFrame::ToString(bool iShowSubframes, bool iFixedWidth) const
{
    char text[64];
    const int feet = std::max(mFeet, 0);
    if (iFixedWidth)
        std::snprintf(text, sizeof text, "%5d+%02d", feet, std::min(mFrames, 30));
    else
        std::snprintf(text, sizeof text, "%d+%02d", feet, std::min(mFrames, 30));
    std::string result(text);
    if (iShowSubframes)
    {
        std::snprintf(text, sizeof text, ".%02d", std::min(mSubframes, 99));
        result += text;
    }
    return result;
}

void Time_FeetFrame::FromString(const std::string& iText)
{
    mFeet = Time_ColumnToLong(iText, 0, 5);
    mFrames = Time_ColumnToLong(iText, 6, 2);
    mSubframes = iText.size() >= 9 ? Time_ColumnToLong(iText, 9, 2) : 0;
}
