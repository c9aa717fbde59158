#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "Cmn_Exception.h"
#include "Support/TimeTestSupport.h"
#include "Time/Time_Typed.h"

namespace
{
std::vector<int32_t> gMismatchLines;
void RecordMismatch(const char* iFile, int32_t iLine)
{
    EXPECT_NE(iFile, nullptr);
    gMismatchLines.push_back(iLine);
}
} // namespace

using Time_SampleTest = Time_StaticsFixture;
using Time_TickTest = Time_StaticsFixture;
using Time_TypedTest = Time_StaticsFixture;

TEST_F(Time_SampleTest, PinToValidRangeAndTextUseThirtyTwoBitPositions)
{
    for (auto [value, pinned] :
         {std::pair<int64_t, int64_t>{-5, 0}, {int64_t(1) << 40, 0x7FFFFFFF}, {123, 123}})
        EXPECT_EQ(Time_Sample(value).PinToValidRange().AsInt64(), pinned) << value;
    // clang-format off
    const std::pair<const char*, int64_t> texts[] = {
        {"  -42xyz", -42}, {"99999999999", 0x7FFFFFFF}, {"-99999999999", -int64_t(0x80000000)},
        {"abc", 0}, {"", 0}};
    // clang-format on
    for (auto [text, value] : texts)
    {
        Time_Sample s(5);
        s.FromString(text);
        EXPECT_EQ(s.AsInt64(), value) << text;
    }
    EXPECT_EQ(Time_Sample(int64_t(1) << 33).ToString(), "8589934592");
}

TEST_F(Time_TickTest, PinningAndSixtyFourBitArithmetic)
{
    EXPECT_EQ(Time_Tick(-1).PinToValidRange().AsInt64(), 0);
    EXPECT_EQ(Time_Tick(INT64_MAX).PinToValidRange().AsInt64(), 0x07FFFFFFFFFFFFFF);
    Time_Tick t(10);
    t *= 960000;
    t /= 3;
    t += 5;
    t -= 2;
    ++t;
    EXPECT_EQ(t.AsInt64(), 3200004);
    EXPECT_EQ(Time_Tick(int64_t(1) << 33).AsInt32(), 0);
}

TEST_F(Time_TypedTest, MismatchCallsHandlerIfAnyAndKeepsLeftType)
{
    gMismatchLines.clear();
    Time_Typed::SetTypeMismatchHandler(RecordMismatch);
    const Time_Typed samples(Time_Sample(100));
    const Time_Typed ticks(Time_Tick(30));
    const Time_Typed sum = samples + ticks;
    EXPECT_EQ(sum.AsInt64(), 130);
    EXPECT_EQ(sum.GetType(), Time_eType_Samples);
    EXPECT_EQ((ticks - samples).GetType(), Time_eType_Ticks);
    EXPECT_EQ(samples / ticks, 3);
    EXPECT_TRUE(ticks < samples);
    EXPECT_EQ(gMismatchLines.size(), 4u);

    gMismatchLines.clear();
    EXPECT_EQ((samples + samples).AsInt64(), 200);
    EXPECT_TRUE(samples == samples);
    EXPECT_TRUE(gMismatchLines.empty());

    Time_Typed::SetTypeMismatchHandler(nullptr);
    const Time_TypedLength a(5, Time_eType_Ticks);
    const Time_TypedLength b(7, Time_eType_Frames);
    EXPECT_EQ((a | b).AsInt64(), 7);
    EXPECT_EQ((a | b).GetType(), Time_eType_Ticks);
}

TEST_F(Time_TypedTest, OperatorsKeepTypeAndGiveBareQuotient)
{
    const Time_TypedLocal a(13, Time_eType_Ticks);
    const Time_TypedLocal b(4, Time_eType_Ticks);
    const Time_TypedLocal results[] = {a % b, a & b, a ^ b, a * 3, a / 2, a % 5, -a, ~a};
    const int64_t expected[] = {1, 4, 9, 39, 6, 3, -13, ~int64_t(13)};
    for (size_t i = 0; i < std::size(expected); ++i)
    {
        EXPECT_EQ(results[i].AsInt64(), expected[i]) << i;
        EXPECT_EQ(results[i].GetType(), Time_eType_Ticks) << i;
    }
    EXPECT_EQ(a / b, 3);
    EXPECT_FALSE(!a);
    EXPECT_TRUE(!Time_TypedLocal(0, Time_eType_Ticks));
    EXPECT_EQ(Time_Typed(-8, Time_eType_Ticks).AbsoluteValue(), Time_Typed(8, Time_eType_Ticks));
}

TEST_F(Time_TypedTest, DefaultAndNamedConversions)
{
    EXPECT_EQ(Time_Typed(), Time_Typed(Time_Sample(0)));
    EXPECT_EQ(Time_Typed().GetType(), Time_eType_Samples);
    const Time_TypedLength length =
        Time_TypedLength::GetLength(Time_Typed(Time_Tick(100)), Time_Typed(Time_Tick(350)));
    EXPECT_EQ(length.AsInt64(), 250);
    EXPECT_EQ(length.GetType(), Time_eType_Ticks);
    EXPECT_EQ(Time_TypedLocal(length).AsTimeTyped(), Time_Typed(250, Time_eType_Ticks));
    const Time_Typed ticks(Time_Tick(5));
    EXPECT_EQ(ticks.AsTick().AsInt64(), 5);
    EXPECT_THROW(ticks.AsSample(), Cmn_AssertException);
    EXPECT_THROW(Time_Typed(Time_Sample(1)).AsTick(), Cmn_AssertException);
}

TEST_F(Time_TypedTest, LimitsAndPinning)
{
    EXPECT_EQ(Time_Typed::MaxTime(Time_eType_Samples), cMaxSampleTime_Typed);
    EXPECT_EQ(Time_Typed::MaxTime(Time_eType_Ticks), cMaxTickTime_Typed);
    EXPECT_EQ(Time_Typed::MinTime(Time_eType_Ticks).AsInt64(),
              static_cast<int64_t>(0xF800000000000001ull));
    EXPECT_EQ(Time_Typed::MinTime(Time_eType_Samples).AsInt64(), 0);
    EXPECT_THROW(Time_Typed::MaxTime(Time_eType_Frames), Cmn_AssertException);
    // A tick may stay negative, unlike Time_Tick::PinToValidRange.
    EXPECT_EQ(Time_Typed(-7, Time_eType_Ticks).PinToValidRange().AsInt64(), -7);
    EXPECT_EQ(Time_Typed(-7, Time_eType_Samples).PinToValidRange().AsInt64(), 0);
    EXPECT_EQ(Time_Typed(INT64_MIN, Time_eType_Ticks).PinToValidRange(),
              Time_Typed::MinTime(Time_eType_Ticks));
}

TEST_F(Time_TypedTest, RawSavedFormTagsAndRoundTripsSignAndType)
{
    // {value, type, tag of the saved form (-1: not checked)}
    // clang-format off
    const std::tuple<int64_t, Time_EType, int> rows[] = {
        {5, Time_eType_Samples, 0}, {-5, Time_eType_Samples, 3}, {5, Time_eType_Ticks, 4},
        {-5, Time_eType_Ticks, 7}, {5, Time_eType_Frames, 1}, {-5, Time_eType_Frames, 1},
        {0, Time_eType_Samples, 0}, {0, Time_eType_Ticks, 4}, {(int64_t(1) << 59) + 3, Time_eType_Ticks, 4},
        {-(int64_t(1) << 59), Time_eType_Samples, 3}, {Time_cDefaultOriginTick, Time_eType_Ticks, -1}};
    // clang-format on
    for (auto [value, type, tag] : rows)
    {
        SCOPED_TRACE(value);
        const int64_t raw = Time_Typed(value, type).GetRawDataForSave();
        if (tag >= 0)
        {
            EXPECT_EQ((static_cast<uint64_t>(raw) >> 60) & 7, uint64_t(tag));
        }
        Time_Typed back(77, Time_eType_Frames);
        back.SetFromRawSavedData(raw);
        EXPECT_EQ(back, Time_Typed(value, type));
        EXPECT_EQ(back.GetType(), type);
    }
    Time_Typed t(3, Time_eType_Ticks);
    const int64_t raw = static_cast<int64_t>((uint64_t(2) << 60) | 9); // tag 010
    EXPECT_THROW(t.SetFromRawSavedData(raw), Cmn_AssertException);
    EXPECT_EQ(t.GetType(), Time_eType_Ticks);
    EXPECT_EQ(t.AsInt64(), 9);
}

TEST_F(Time_TypedTest, TypeNamesComeFromTheMessageTable)
{
    const char* names[] = {"Samples", "Ticks", "Frames"};
    for (int type = 0; type < 3; ++type)
        EXPECT_EQ(Time_Typed::GetTimeTypedString(static_cast<Time_EType>(type)), names[type]);
    EXPECT_THROW(Time_Typed::GetTimeTypedString(static_cast<Time_EType>(3)), Cmn_AssertException);
}
