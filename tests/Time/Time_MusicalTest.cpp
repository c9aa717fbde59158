#include <gtest/gtest.h>

#include <tuple>

#include "Cmn_Exception.h"
#include "Support/SysTestSupport.h"
#include "Time/Time_BarBeatTick.h"
#include "Time/Time_Meter.h"
#include "Time/Time_NotationDurationValue.h"

TEST(Time_BarBeatTickTest, OffsetUsesQuarterNoteBeatsButDiffTheTrueBeatLength)
{
    auto bbt = [](int32_t iBar, int32_t iBeat, int64_t iTick = 0)
    { return Time_BarBeatTick(iBar, iBeat, Time_Tick(iTick)); };
    const Time_Meter sixEight(6, 8), fourFour(4, 4), threeFour(3, 4);
    // {from, ticks, meter, result}; a beat of 6/8 is 1,920,000 ticks for Offset.
    const std::tuple<Time_BarBeatTick, int64_t, Time_Meter, Time_BarBeatTick> offsets[] = {
        {bbt(1, 1), 1920000, sixEight, bbt(1, 2)},
        {bbt(1, 1), 1919999, sixEight, bbt(1, 1, 1919999)},
        {bbt(1, 1), 6 * 1920000 + 5, sixEight, bbt(2, 1, 5)},
        {bbt(3, 4, 900000), 60000, fourFour, bbt(4, 1)}};
    for (const auto& [from, ticks, meter, result] : offsets)
    {
        Time_BarBeatTick out;
        from.Offset(Time_Tick(ticks), meter, out);
        EXPECT_EQ(out, result) << ticks;
    }
    // but Diff counts the true beat length
    EXPECT_EQ(bbt(1, 2).Diff(bbt(1, 1), sixEight).AsInt64(), 480000);
    EXPECT_EQ(bbt(3, 1, 10).Diff(bbt(2, 6, 20), sixEight).AsInt64(), 480000 - 10);
    EXPECT_EQ(bbt(1, 1).Diff(bbt(2, 1), threeFour).AsInt64(), -2880000);
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
    for (auto [internal, display] : {std::pair{499, 0}, {500, 1}, {960000, 960}})
        EXPECT_EQ(Time_BarBeatTick::InternalTicksToDisplayTicks(internal), display);
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
    const int64_t rows[][5] = {
        {N::eNoteValue_Quarter, 0, 0, 3, 960000},    {N::eNoteValue_Whole, 0, 0, 3, 3840000},
        {N::eNoteValue_SixtyFourth, 0, 0, 3, 60000}, {N::eNoteValue_Eighth, 1, 0, 3, 720000},
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
    using N = Time_NotationDurationValue;
    // {ticks, note value, dotted}; the tuplet is cleared, its ratio stays 2 in 3
    const std::tuple<int64_t, int32_t, bool> rows[] = {{960000, N::eNoteValue_Quarter, false},
                                                       {1440000, N::eNoteValue_Quarter, true},
                                                       {1439999, N::eNoteValue_Quarter, false},
                                                       {10, N::eNoteValue_SixtyFourth, false},
                                                       {100000000, N::eNoteValue_Whole, true}};
    for (const auto& [ticks, note, dotted] : rows)
    {
        N v;
        v.mTuplet = true;
        v.mDotted = !dotted;
        N::MakeDurationValue(Time_Tick(ticks), v);
        EXPECT_EQ(std::tuple(v.mNoteValue, v.mDotted, v.mTuplet, v.mTupletNumerator,
                             v.mTupletDenominator),
                  std::tuple(note, dotted, false, 2, 3))
            << ticks;
    }

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
    EXPECT_EQ(std::tuple(back.mNoteValue, back.mDotted, back.mTuplet, back.mTupletNumerator,
                         back.mTupletDenominator),
              std::tuple(6, true, false, 5, 4));

    // Cut short: the stream's own failure, never a read past the end.
    EXPECT_TRUE(Test_ThrowsL10N(
        [&] { back.StreamIn(*Test_In(Bytes(bytes.begin(), bytes.begin() + 7))); }, 7, 8));
    Time_NotationDurationValue untouched;
    bytes[1] = 2;
    EXPECT_TRUE(Test_ThrowsL10N([&] { untouched.StreamIn(*Test_In(bytes)); }, 14, 3));
    EXPECT_EQ(untouched.mNoteValue, Time_NotationDurationValue::eNoteValue_Quarter);
}
