#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <vector>

#include "Cmn_Interval.h"
#include "Support/TestSupport.h"

namespace
{
using Intervals = std::vector<Cmn_Interval>;

Intervals Entries(const Cmn_IntervalList& iList)
{
    return Intervals(iList.begin(), iList.end());
}

Cmn_IntervalList MakeList(const Intervals& iIntervals)
{
    Cmn_IntervalList list;
    for (const Cmn_Interval& interval : iIntervals)
        list.Insert(interval);
    return list;
}

const char* const kMapExpr = "iter != this->end() && inFlatValue >= (*iter).mBegin";
constexpr int64_t kAsserts = -999; // in a table of results: the call fails kMapExpr
} // namespace

void PrintTo(const Cmn_Interval& iInterval, std::ostream* oStream)
{
    *oStream << "[" << iInterval.mBegin << "," << iInterval.mEnd << ")";
}

TEST(Cmn_Interval, IsHalfOpen)
{
    Cmn_Interval interval(10, 20);
    for (int64_t loc : {9, 10, 19, 20})
        EXPECT_EQ(interval.Contains(loc), loc >= 10 && loc < 20) << loc;
    EXPECT_FALSE(Cmn_Interval(5, 5).Contains(5));
    EXPECT_EQ(interval.GetPosInInterval(15), 5);
    EXPECT_EQ(interval.GetPosInInterval(4), -6);
}

TEST(Cmn_Interval, LessOrdersDescendingByBeginThenEnd)
{
    const Cmn_Interval early(5, 10), late(7, 8), earlyLong(5, 12);
    // {a, b, a < b}; a > b must always be b < a.
    const std::tuple<Cmn_Interval, Cmn_Interval, bool> rows[] = {{late, early, true},
                                                                 {early, late, false},
                                                                 {earlyLong, early, true},
                                                                 {early, earlyLong, false},
                                                                 {early, early, false}};
    for (const auto& [a, b, less] : rows)
    {
        EXPECT_EQ(a < b, less) << testing::PrintToString(a);
        EXPECT_EQ(b > a, less) << testing::PrintToString(a);
    }
    EXPECT_TRUE(early == Cmn_Interval(5, 10));
    EXPECT_TRUE(early != earlyLong);
    Intervals sorted{early, late, earlyLong, Cmn_Interval(1, 2)};
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, (Intervals{late, earlyLong, early, Cmn_Interval(1, 2)}));
}

TEST(Cmn_IntervalList, InsertKeepsOrderAndMergesTouchingOrOverlappingEntries)
{
    // {entries before, inserted, entries after}
    const std::tuple<Intervals, Cmn_Interval, Intervals> rows[] = {
        {{{30, 40}, {0, 5}, {50, 60}}, {10, 20}, {{0, 5}, {10, 20}, {30, 40}, {50, 60}}},
        {{{0, 10}, {20, 30}}, {10, 15}, {{0, 15}, {20, 30}}},           // touches the left end
        {{{0, 15}, {20, 30}}, {17, 20}, {{0, 15}, {17, 30}}},           // touches the right begin
        {{{0, 15}, {17, 30}}, {16, 16}, {{0, 15}, {16, 16}, {17, 30}}}, // empty, in the gap
        {{{0, 15}, {16, 16}, {17, 30}}, {15, 17}, {{0, 30}}},           // all three become one
        {{{0, 10}, {20, 30}}, {10, 20}, {{0, 30}}},                     // bridges exactly
        {{{0, 10}, {20, 30}}, {5, 25}, {{0, 30}}},                      // bridges overlapping
        // Swallows entries wholly inside and widens past both ends; neighbours stay.
        {{{0, 2}, {10, 15}, {20, 25}, {30, 35}, {40, 45}, {50, 52}},
         {8, 47},
         {{0, 2}, {8, 47}, {50, 52}}},
        {{{0, 2}, {8, 47}, {50, 52}}, {9, 12}, {{0, 2}, {8, 47}, {50, 52}}}, // inside one
    };
    for (const auto& [before, insert, after] : rows)
    {
        Cmn_IntervalList list = MakeList(before);
        list.Insert(insert);
        EXPECT_EQ(Entries(list), after) << testing::PrintToString(insert);
    }
}

TEST(Cmn_IntervalList, InsertRejectsBackwardAndNegativeIntervals)
{
    const char* expr = "inInterval.mEnd >= inInterval.mBegin && inInterval.mBegin >= 0";
    Cmn_IntervalList list = MakeList({{0, 10}});
    EXPECT_TRUE(Test_Asserts([&] { list.Insert({5, 4}); }, expr));
    EXPECT_TRUE(Test_Asserts([&] { list.Insert({-1, 4}); }, expr));
    EXPECT_EQ(Entries(list), (Intervals{{0, 10}}));
    EXPECT_TRUE(Test_Asserts([&] { list.Delete({0, 10}); }, "0"));
}

TEST(Cmn_IntervalList, MapFlatToSparse)
{
    // {entries, flat value, sparse value or kAsserts}
    const std::tuple<Intervals, int64_t, int64_t> rows[] = {
        {{{0, 10}, {20, 30}}, 0, 0},
        {{{0, 10}, {20, 30}}, 9, 9},
        // 10 walks past [0,10) (10 <= 10 + 0), stops at [20,30) (30 > 10 + 10), and 10 < 20.
        {{{0, 10}, {20, 30}}, 10, kAsserts},
        {{{0, 10}, {20, 30}}, 20, kAsserts}, // walks past both (30 <= 20 + 10)
        {{}, 0, kAsserts},
        // Not a plain concatenation (which would map 5 to 10 and 20 to 30).
        {{{5, 15}, {20, 40}}, 5, 0},   // 0 - 5 + 5
        {{{5, 15}, {20, 40}}, 14, 9},  // 0 - 5 + 14
        {{{5, 15}, {20, 40}}, 20, 10}, // past [5,15): 10 - 20 + 20
        {{{5, 15}, {20, 40}}, 29, 19}, // 40 > 29 + 10: 10 - 20 + 29
        {{{5, 15}, {20, 40}}, 4, kAsserts},
        {{{5, 15}, {20, 40}}, 15, kAsserts}, // 15 < 20
        {{{5, 15}, {20, 40}}, 30, kAsserts}, // 40 <= 40
    };
    for (const auto& [entries, flat, sparse] : rows)
    {
        Cmn_IntervalList list = MakeList(entries);
        if (sparse == kAsserts)
            EXPECT_TRUE(Test_Asserts([&] { list.MapFlatToSparse(flat); }, kMapExpr)) << flat;
        else
            EXPECT_EQ(list.MapFlatToSparse(flat), sparse) << flat;
    }
}

TEST(Cmn_IntervalList, LooksUpIntervalsByLocation)
{
    Cmn_IntervalList list = MakeList({{5, 15}, {20, 40}});
    // {location, index of its entry, location in that entry}
    const int64_t rows[][3] = {{0, -1, -1},  {5, 0, 0},  {7, 0, 2},  {14, 0, 9},  {15, -1, -1},
                               {17, -1, -1}, {20, 1, 0}, {25, 1, 5}, {39, 1, 19}, {40, -1, -1}};
    for (const auto& row : rows)
    {
        EXPECT_EQ(list.GetIntervalIndexForLoc(row[0]), row[1]) << row[0];
        EXPECT_EQ(list.MapToLocInInterval(row[0]), row[2]) << row[0];
    }
    EXPECT_EQ(list.GetIntervalAtIndex(1), Cmn_Interval(20, 40));
    EXPECT_TRUE(Test_Asserts([&] { list.GetIntervalAtIndex(2); }, "inIndex < this->size()"));
}

TEST(Cmn_IntervalList, ContainsOnlyWhatOneEntryCovers)
{
    Cmn_IntervalList list = MakeList({{5, 15}, {20, 40}});
    EXPECT_TRUE(list.Contains(Cmn_Interval(5, 15)));
    EXPECT_TRUE(list.Contains(Cmn_Interval(21, 39)));
    EXPECT_FALSE(list.Contains(Cmn_Interval(14, 21))); // spans the gap
    EXPECT_FALSE(list.Contains(Cmn_Interval(20, 41)));
    EXPECT_FALSE(list.Contains(Cmn_Interval(4, 6)));
    EXPECT_FALSE(Cmn_IntervalList().Contains(Cmn_Interval(0, 0)));
}
