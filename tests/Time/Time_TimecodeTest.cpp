#include <gtest/gtest.h>

#include "Cmn_Exception.h"
#include "Time/Time_SMPTE.h"
#include "Time/Time_Timecode.h"

TEST(Time_TimecodeTest, DropConversionsAgreeWithSMPTEOverTheDay)
{
    for (int32_t n = 0; n < 30 * 86400; ++n)
        ASSERT_EQ(Time_Timecode::NonDropToDropFrames(n), Time_SMPTE::DropFrames(n));
    for (int32_t n = 0; n < Time_Timecode::GetFramesPerDay(Time_Timecode::eType_30Drop); ++n)
        ASSERT_EQ(Time_Timecode::DropToNonDropFrames(n), Time_SMPTE::UndropFrames(n));
}

TEST(Time_TimecodeTest, FillsTheMissingRepresentationTablesAndWrap)
{
    const Time_Timecode label(0, 10, 0, 0, Time_Timecode::eType_30Drop);
    EXPECT_EQ(label.GetFrameNumber(), 17982);
    const Time_Timecode number(1800, Time_Timecode::eType_30Drop);
    EXPECT_EQ(number.GetMinutes(), 1);
    EXPECT_EQ(number.GetSeconds(), 0);
    EXPECT_EQ(number.GetFrames(), 2);
    const Time_Timecode pal(1, 0, 0, 1, Time_Timecode::eType_25);
    EXPECT_EQ(pal.GetFrameNumber(), 90001);
    const Time_Timecode film(86400 * 24 - 1, Time_Timecode::eType_24);
    EXPECT_EQ(film.GetHours(), 23);
    EXPECT_EQ(film.GetFrames(), 23);
    const Time_Timecode start;
    EXPECT_EQ(start.GetFrameNumber(), 0);
    EXPECT_EQ(start.GetHours(), 0);
    EXPECT_EQ(Time_Timecode::GetFramesPerDay(Time_Timecode::eType_24), 2073600);
    EXPECT_EQ(Time_Timecode::GetFramesPerDay(Time_Timecode::eType_25), 2160000);
    EXPECT_EQ(Time_Timecode::GetFramesPerDay(Time_Timecode::eType_30Drop), 2589408);
    EXPECT_EQ(Time_Timecode::GetFramesPerDay(Time_Timecode::eType_30NonDrop), 2592000);
    EXPECT_EQ(Time_Timecode::GetFramesPerSecond(Time_Timecode::eType_30Drop), 30);
    EXPECT_EQ(Time_Timecode::WrapFrames(-1, Time_Timecode::eType_25), 2159999);
    EXPECT_EQ(Time_Timecode::WrapFrames(2 * 2160000 + 5, Time_Timecode::eType_25), 5);
    EXPECT_EQ(Time_Timecode::WrapFrames(-3 * 2073600, Time_Timecode::eType_24), 0);
    EXPECT_THROW(Time_Timecode::GetFramesPerDay(static_cast<Time_Timecode::EType>(4)),
                 Cmn_AssertException);
}
