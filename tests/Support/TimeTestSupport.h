// Helpers of the time tests: a fixture that puts every process-wide time setting back after
// a test, and the formats that describe a rate.
#pragma once

#include <gtest/gtest.h>

#include "Time/Time_FeetFrame.h"
#include "Time/Time_Globals.h"
#include "Time/Time_SMPTE.h"
#include "Time/Time_Typed.h"

class Time_StaticsFixture : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

private:
    double mSampleRate = 0;
    ETimeCodeFormat mFormat = eTimeCodeFormat_Global;
    int32_t mFrameOffset = 0;
    Time_FeetFrame::EFeetFramesRate mFeetRate = Time_FeetFrame::eFeetFramesRate_24;
    Time_Sample mFeetOffset;
    Time_Typed::TypeMismatchHandler mHandler = nullptr;
    Time_Globals::EPullFactor mPull[2][2] = {};
};

inline constexpr ETimeCodeFormat cAllTimeCodeFormats[] = {
    eTimeCodeFormat_24,       eTimeCodeFormat_25,        eTimeCodeFormat_2997NonDrop,
    eTimeCodeFormat_2997Drop, eTimeCodeFormat_30NonDrop, eTimeCodeFormat_30Drop,
    eTimeCodeFormat_23976};
