#include "Support/TimeTestSupport.h"

void Time_StaticsFixture::SetUp()
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

void Time_StaticsFixture::TearDown()
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
