// A fixture that puts every process-wide time setting back after a test.
#pragma once

#include <gtest/gtest.h>

#include "Time/Time_FeetFrame.h"
#include "Time/Time_Globals.h"
#include "Time/Time_SMPTE.h"
#include "Time/Time_Typed.h"

class Time_StaticsFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mSampleRate = Time_Globals::sSampleRate;
        mFormat = Time_SMPTE::sGlobalTimeCodeFormat;
        mFrameOffset = Time_SMPTE::sFrameOffset;
        mFeetRate = Time_FeetFrame::sGlobalFeetFramesRate;
        mFeetOffset = Time_FeetFrame::sGlobalFeetFramesOffset;
        mHandler = Time_Typed::GetTypeMismatchHandler();
        for (int media = 0; media < 2; ++media)
            for (int type = 0; type < 2; ++type)
                mPull[media][type] = Time_Globals::sPullFactors[media][type];
    }
    void TearDown() override
    {
        Time_Globals::sSampleRate = mSampleRate;
        Time_SMPTE::sGlobalTimeCodeFormat = mFormat;
        Time_SMPTE::sFrameOffset = mFrameOffset;
        Time_FeetFrame::sGlobalFeetFramesRate = mFeetRate;
        Time_FeetFrame::sGlobalFeetFramesOffset = mFeetOffset;
        Time_Typed::SetTypeMismatchHandler(mHandler);
        for (int media = 0; media < 2; ++media)
            for (int type = 0; type < 2; ++type)
                Time_Globals::sPullFactors[media][type] = mPull[media][type];
    }

private:
    double mSampleRate = 0;
    ETimeCodeFormat mFormat = eTimeCodeFormat_Global;
    int32_t mFrameOffset = 0;
    Time_FeetFrame::EFeetFramesRate mFeetRate = Time_FeetFrame::eFeetFramesRate_24;
    Time_Sample mFeetOffset;
    Time_Typed::TypeMismatchHandler mHandler = nullptr;
    Time_Globals::EPullFactor mPull[2][2] = {};
};

// The formats that describe a rate.
inline constexpr ETimeCodeFormat cAllTimeCodeFormats[] = {
    eTimeCodeFormat_24,       eTimeCodeFormat_25,        eTimeCodeFormat_2997NonDrop,
    eTimeCodeFormat_2997Drop, eTimeCodeFormat_30NonDrop, eTimeCodeFormat_30Drop,
    eTimeCodeFormat_23976};
