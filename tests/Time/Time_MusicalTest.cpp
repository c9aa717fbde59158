#include <gtest/gtest.h>

#include "Cmn_Exception.h"
#include "Support/SysTestSupport.h"
#include "Time/Time_BarBeatTick.h"
#include "Time/Time_Meter.h"
#include "Time/Time_NotationDurationValue.h"

TEST(Time_BarBeatTickTest, OffsetUsesQuarterNoteBeatsButDiffTheTrueBeatLength)
{
    const Time_Meter sixEight(6, 8);
    const Time_BarBeatTick start(1, 1, Time_Tick(0));
    Time_BarBeatTick out;
    // A beat of 6/8 is 1,920,000 ticks for Offset.
    start.Offset(Time_Tick(1920000), sixEight, out);
    EXPECT_EQ(out, Time_BarBeatTick(1, 2, Time_Tick(0)));
    start.Offset(Time_Tick(1919999), sixEight, out);
    EXPECT_EQ(out, Time_BarBeatTick(1, 1, Time_Tick(1919999)));
    start.Offset(Time_Tick(6 * 1920000 + 5), sixEight, out);
    EXPECT_EQ(out, Time_BarBeatTick(2, 1, Time_Tick(5)));
    const Time_Meter fourFour(4, 4);
    Time_BarBeatTick(3, 4, Time_Tick(900000)).Offset(Time_Tick(60000), fourFour, out);
    EXPECT_EQ(out, Time_BarBeatTick(4, 1, Time_Tick(0)));
    EXPECT_EQ(Time_BarBeatTick(1, 2, Time_Tick(0))
                  .Diff(Time_BarBeatTick(1, 1, Time_Tick(0)), sixEight)
                  .AsInt64(),
              480000);
    EXPECT_EQ(Time_BarBeatTick(3, 1, Time_Tick(10))
                  .Diff(Time_BarBeatTick(2, 6, Time_Tick(20)), sixEight)
                  .AsInt64(),
              480000 - 10);
    EXPECT_EQ(Time_BarBeatTick(1, 1, Time_Tick(0))
                  .Diff(Time_BarBeatTick(2, 1, Time_Tick(0)), Time_Meter(3, 4))
                  .AsInt64(),
              -2880000);
}

TEST(Time_BarBeatTickTest, BarlinesAndDisplayTicks)
{
    Time_BarBeatTick bbt(5, 1, Time_Tick(0));
    EXPECT_TRUE(bbt.IsOnBar());
    EXPECT_TRUE(bbt.IsOnBarline());
    bbt.BackupToPreviousBarline();
    EXPECT_EQ(bbt, Time_BarBeatTick(4, 1, Time_Tick(0)));
    bbt = Time_BarBeatTick(5, 3, Time_Tick(12));
    EXPECT_FALSE(bbt.IsOnBar());
    bbt.BackupToPreviousBarline();
    EXPECT_EQ(bbt, Time_BarBeatTick(5, 1, Time_Tick(0)));
    bbt = Time_BarBeatTick(5, 1, Time_Tick(1));
    bbt.AdvanceToNextBarline();
    EXPECT_EQ(bbt, Time_BarBeatTick(6, 1, Time_Tick(0)));

    // Display ticks round half up.
    EXPECT_EQ(Time_BarBeatTick::InternalTicksToDisplayTicks(499), 0);
    EXPECT_EQ(Time_BarBeatTick::InternalTicksToDisplayTicks(500), 1);
    EXPECT_EQ(Time_BarBeatTick::InternalTicksToDisplayTicks(960000), 960);
    EXPECT_EQ(Time_BarBeatTick::DisplayTicksToInternalTicks(7), 7000);
}

TEST(Time_BarBeatTickTest, TextLimitsColumnsAndOrder)
{
    EXPECT_EQ(Time_BarBeatTick(12, 3, Time_Tick(45000)).ToString(true, true), "   12| 3| 045");
    EXPECT_EQ(Time_BarBeatTick(12, 3, Time_Tick(1234000)).ToString(true, false), "12|3|1234");
    EXPECT_EQ(Time_BarBeatTick(-20000, 150, Time_Tick(99999999)).ToString(true, false),
              "-9999|99|9999");
    EXPECT_EQ(Time_BarBeatTick(7, 2, Time_Tick(0)).ToString(false, false), "7|2");

    const Time_BarBeatTick value(12, 3, Time_Tick(1234000));
    Time_BarBeatTick back;
    back.FromString(value.ToString(true, true)); // "   12| 3|1234"
    EXPECT_EQ(back, value);
    back.FromString("1234|05|0960"); // column 4 is "|"
    EXPECT_EQ(back, Time_BarBeatTick(1234, 5, Time_Tick(960000)));
    back.FromString("x");
    EXPECT_EQ(back, Time_BarBeatTick(0, 0, Time_Tick(0)));
    EXPECT_LT(Time_BarBeatTick(1, 4, Time_Tick(999)), Time_BarBeatTick(2, 1, Time_Tick(0)));
    EXPECT_LT(Time_BarBeatTick(2, 1, Time_Tick(0)), Time_BarBeatTick(2, 1, Time_Tick(1)));
    EXPECT_GE(Time_BarBeatTick(2, 2, Time_Tick(0)), Time_BarBeatTick(2, 1, Time_Tick(5)));
}

TEST(Time_MeterTest, DurationsTruncate)
{
    const Time_Meter sevenEight(7, 8);
    EXPECT_EQ(sevenEight.GetBarDuration().AsInt64(), 3360000);
    EXPECT_EQ(sevenEight.GetBeatDuration().AsInt64(), 480000);
    const Time_Meter odd(3, 7);
    EXPECT_EQ(odd.GetBarDuration().AsInt64(), 1645714);
    EXPECT_EQ(odd.GetTicksPerBeat().AsInt64(), 548571);
    EXPECT_EQ(sevenEight.ComputeOffsetIntoBar(Time_BarBeatTick(1, 9, Time_Tick(3))).AsInt64(),
              3360000 + 480000 + 3);
    EXPECT_THROW(Time_Meter(0, 4), Cmn_AssertException);
    EXPECT_THROW(Time_Meter(4, 0), Cmn_AssertException);
    EXPECT_EQ(Time_Meter().GetNumerator(), 1);
}

TEST(Time_NotationDurationValueTest, TicksOfNoteValues)
{
    using N = Time_NotationDurationValue;
    // {note value, dotted, tuplet, tuplet denominator (0 is ignored), ticks}
    const int64_t rows[][5] = {{N::eNoteValue_Quarter, 0, 0, 3, 960000},
                               {N::eNoteValue_Whole, 0, 0, 3, 3840000},
                               {N::eNoteValue_SixtyFourth, 0, 0, 3, 60000},
                               {N::eNoteValue_Eighth, 1, 0, 3, 720000},
                               {N::eNoteValue_Eighth, 0, 1, 3, 320000}, // 2 in 3
                               {N::eNoteValue_Eighth, 0, 1, 0, 480000}};
    for (const auto& [note, dotted, tuplet, denominator, ticks] : rows)
    {
        N v;
        v.mNoteValue = int32_t(note);
        v.mDotted = dotted;
        v.mTuplet = tuplet;
        v.mTupletDenominator = int32_t(denominator);
        EXPECT_EQ(v.GetTicks().AsInt64(), ticks) << note << dotted << tuplet << denominator;
    }
    N bad;
    bad.mNoteValue = 0;
    EXPECT_THROW(bad.GetTicks(), Cmn_AssertException);
}

TEST(Time_NotationDurationValueTest, MakeDurationValueFindsLongestFittingNoteAndComparison)
{
    Time_NotationDurationValue v;
    v.mTuplet = true;
    Time_NotationDurationValue::MakeDurationValue(Time_Tick(960000), v);
    EXPECT_EQ(v.mNoteValue, Time_NotationDurationValue::eNoteValue_Quarter);
    EXPECT_FALSE(v.mDotted);
    EXPECT_FALSE(v.mTuplet);
    EXPECT_EQ(v.mTupletNumerator, 2);
    EXPECT_EQ(v.mTupletDenominator, 3);
    Time_NotationDurationValue::MakeDurationValue(Time_Tick(1440000), v);
    EXPECT_EQ(v.mNoteValue, Time_NotationDurationValue::eNoteValue_Quarter);
    EXPECT_TRUE(v.mDotted);
    Time_NotationDurationValue::MakeDurationValue(Time_Tick(1439999), v);
    EXPECT_FALSE(v.mDotted);
    Time_NotationDurationValue::MakeDurationValue(Time_Tick(10), v);
    EXPECT_EQ(v.mNoteValue, Time_NotationDurationValue::eNoteValue_SixtyFourth);
    Time_NotationDurationValue::MakeDurationValue(Time_Tick(100000000), v);
    EXPECT_EQ(v.mNoteValue, Time_NotationDurationValue::eNoteValue_Whole);
    EXPECT_TRUE(v.mDotted);

    // Comparison ignores the tuplet; a larger note value is shorter.
    Time_NotationDurationValue quarter, eighth, dottedQuarter, tupletQuarter;
    eighth.mNoteValue = Time_NotationDurationValue::eNoteValue_Eighth;
    dottedQuarter.mDotted = true;
    tupletQuarter.mTuplet = true;
    tupletQuarter.mTupletNumerator = 4;
    EXPECT_GT(eighth, quarter);
    EXPECT_LT(quarter, dottedQuarter);
    EXPECT_EQ(quarter, tupletQuarter);
    EXPECT_NE(quarter, dottedQuarter);
}

TEST(Time_NotationDurationValueTest, StreamRoundTripAndBadVersion)
{
    Time_NotationDurationValue v;
    v.mNoteValue = 6;
    v.mDotted = true;
    v.mTupletNumerator = 5;
    v.mTupletDenominator = 4;
    Test_Out out; // cross-platform: big-endian
    v.StreamOut(*out);
    Bytes bytes = out.Get();
    ASSERT_EQ(bytes, (Bytes{0, 1, 0, 0, 0, 6, 1, 0, 0, 0, 0, 5, 0, 0, 0, 4})); // version 1

    Time_NotationDurationValue back;
    back.StreamIn(*Test_In(bytes));
    EXPECT_EQ(back.mNoteValue, 6);
    EXPECT_TRUE(back.mDotted);
    EXPECT_FALSE(back.mTuplet);
    EXPECT_EQ(back.mTupletNumerator, 5);
    EXPECT_EQ(back.mTupletDenominator, 4);

    // Cut short: the stream's own failure, never a read past the end.
    EXPECT_TRUE(Test_ThrowsL10N(
        [&] { back.StreamIn(*Test_In(Bytes(bytes.begin(), bytes.begin() + 7))); }, 7, 8));
    Time_NotationDurationValue untouched;
    bytes[1] = 2;
    EXPECT_TRUE(Test_ThrowsL10N([&] { untouched.StreamIn(*Test_In(bytes)); }, 14, 3));
    EXPECT_EQ(untouched.mNoteValue, Time_NotationDurationValue::eNoteValue_Quarter);
}
