// Helpers of the time tests: a fixture that puts every process-wide time setting back after
// a test, and the formats that describe a rate.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Support/ByteSupport.h"
#include "Support/SeedSupport.h"

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

class Time_TempoMap;
class Time_MeterMap;

// Fills iMap (sample rate iRate) with a random map: a locked song start near the origin tick,
// then up to a dozen tempo changes; with iIDB some later segments are locked too, each where
// the tempo before it (give or take 20%) would have put it.
void Test_FillRandomTempoMap(Time_TempoMap& ioMap, std::mt19937& ioRng, bool iIDB, double iRate);
// Adds up to six random meter changes (numerators 1 to 13, denominators 1 to 16) around the
// origin tick, the first with a random bar number.
void Test_FillRandomMeterMap(Time_MeterMap& ioMap, std::mt19937& ioRng);
