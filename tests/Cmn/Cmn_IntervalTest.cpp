#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Cmn_Assert.h"
#include "Cmn_Interval.h"

namespace
{
std::vector<Cmn_Interval> Entries(const Cmn_IntervalList& iList)
{
    return std::vector<Cmn_Interval>(iList.begin(), iList.end());
}

Cmn_IntervalList MakeList(std::initializer_list<Cmn_Interval> iIntervals)
{
    Cmn_IntervalList list;
    for (const Cmn_Interval& interval : iIntervals)
        list.Insert(interval);
    return list;
}

// Runs iCall and returns the text of the assertion it fails, or "" when it fails none.
template <class F> std::string AssertionText(F&& iCall)
{
    try
    {
        iCall();
    }
    catch (const Cmn_AssertException& e)
    {
        return e.what();
    }
    return "";
}

bool Mentions(const std::string& iText, const std::string& iExpr)
{
    return iText.find("Assertion in \"" + iExpr + "\"") != std::string::npos;
}
} // namespace

void PrintTo(const Cmn_Interval& iInterval, std::ostream* oStream)
{
    *oStream << "[" << iInterval.mBegin << "," << iInterval.mEnd << ")";
}

TEST(Cmn_Interval, IsHalfOpen)
{
    Cmn_Interval interval(10, 20);
    EXPECT_TRUE(interval.Contains(10));
    EXPECT_TRUE(interval.Contains(19));
    EXPECT_FALSE(interval.Contains(20));
    EXPECT_FALSE(interval.Contains(9));
    EXPECT_FALSE(Cmn_Interval(5, 5).Contains(5));
    EXPECT_EQ(interval.GetPosInInterval(15), 5);
    EXPECT_EQ(interval.GetPosInInterval(4), -6);
}

TEST(Cmn_Interval, LessOrdersDescendingByBeginThenEnd)
{
    Cmn_Interval early(5, 10), late(7, 8), earlyLong(5, 12);
    EXPECT_TRUE(late < early);
    EXPECT_FALSE(early < late);
    EXPECT_TRUE(earlyLong < early);
    EXPECT_FALSE(early < earlyLong);
    EXPECT_FALSE(early < early);
    EXPECT_TRUE(early > late);
    EXPECT_TRUE(early > earlyLong);
    EXPECT_FALSE(late > early);
    EXPECT_TRUE(early == Cmn_Interval(5, 10));
    EXPECT_TRUE(early != earlyLong);

    std::vector<Cmn_Interval> sorted{early, late, earlyLong, Cmn_Interval(1, 2)};
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, (std::vector<Cmn_Interval>{late, earlyLong, early, Cmn_Interval(1, 2)}));
}

TEST(Cmn_IntervalList, InsertsIntoGapsInOrder)
{
    Cmn_IntervalList list = MakeList({{30, 40}, {0, 5}, {10, 20}, {50, 60}});
    EXPECT_EQ(Entries(list), (std::vector<Cmn_Interval>{{0, 5}, {10, 20}, {30, 40}, {50, 60}}));
}

TEST(Cmn_IntervalList, MergesTouchingNeighbours)
{
    Cmn_IntervalList list = MakeList({{0, 10}, {20, 30}});
    list.Insert({10, 15}); // touches the left one at its end
    EXPECT_EQ(Entries(list), (std::vector<Cmn_Interval>{{0, 15}, {20, 30}}));
    list.Insert({17, 20}); // touches the right one at its begin
    EXPECT_EQ(Entries(list), (std::vector<Cmn_Interval>{{0, 15}, {17, 30}}));
    list.Insert({16, 16}); // empty, in the gap between 15 and 17
    EXPECT_EQ(Entries(list), (std::vector<Cmn_Interval>{{0, 15}, {16, 16}, {17, 30}}));
    list.Insert({15, 17}); // closes the gap: all three become one
    EXPECT_EQ(Entries(list), (std::vector<Cmn_Interval>{{0, 30}}));
}

TEST(Cmn_IntervalList, BridgingIntervalLeavesOneEntry)
{
    Cmn_IntervalList exact = MakeList({{0, 10}, {20, 30}});
    exact.Insert({10, 20});
    EXPECT_EQ(Entries(exact), (std::vector<Cmn_Interval>{{0, 30}}));

    Cmn_IntervalList overlapping = MakeList({{0, 10}, {20, 30}});
    overlapping.Insert({5, 25});
    EXPECT_EQ(Entries(overlapping), (std::vector<Cmn_Interval>{{0, 30}}));

    // Swallows entries wholly inside and widens past both ends; neighbours stay.
    Cmn_IntervalList many = MakeList({{0, 2}, {10, 15}, {20, 25}, {30, 35}, {40, 45}, {50, 52}});
    many.Insert({8, 47});
    EXPECT_EQ(Entries(many), (std::vector<Cmn_Interval>{{0, 2}, {8, 47}, {50, 52}}));

    // Inside one entry: nothing changes.
    many.Insert({9, 12});
    EXPECT_EQ(Entries(many), (std::vector<Cmn_Interval>{{0, 2}, {8, 47}, {50, 52}}));
}

TEST(Cmn_IntervalList, InsertRejectsBackwardAndNegativeIntervals)
{
    const char* expr = "inInterval.mEnd >= inInterval.mBegin && inInterval.mBegin >= 0";
    Cmn_IntervalList list = MakeList({{0, 10}});
    EXPECT_TRUE(Mentions(AssertionText([&] { list.Insert({5, 4}); }), expr));
    EXPECT_TRUE(Mentions(AssertionText([&] { list.Insert({-1, 4}); }), expr));
    EXPECT_EQ(Entries(list), (std::vector<Cmn_Interval>{{0, 10}}));
    EXPECT_TRUE(Mentions(AssertionText([&] { list.Delete({0, 10}); }), "0"));
}

TEST(Cmn_IntervalList, MapFlatToSparseOnListStartingAtZero)
{
    Cmn_IntervalList list = MakeList({{0, 10}, {20, 30}});
    const char* expr = "iter != this->end() && inFlatValue >= (*iter).mBegin";
    EXPECT_EQ(list.MapFlatToSparse(0), 0);
    EXPECT_EQ(list.MapFlatToSparse(9), 9);
    // 10 walks past [0,10) (10 <= 10 + 0), stops at [20,30) (30 > 10 + 10), and 10 < 20.
    EXPECT_TRUE(Mentions(AssertionText([&] { list.MapFlatToSparse(10); }), expr));
    // 20 walks past both (30 <= 20 + 10).
    EXPECT_TRUE(Mentions(AssertionText([&] { list.MapFlatToSparse(20); }), expr));
    EXPECT_TRUE(Mentions(AssertionText([&] { Cmn_IntervalList().MapFlatToSparse(0); }), expr));
}

TEST(Cmn_IntervalList, MapFlatToSparseOnListNotStartingAtZero)
{
    // Not a plain concatenation (which would map 5 to 10 and 20 to 30).
    Cmn_IntervalList list = MakeList({{5, 15}, {20, 40}});
    const char* expr = "iter != this->end() && inFlatValue >= (*iter).mBegin";
    EXPECT_EQ(list.MapFlatToSparse(5), 0);   // 0 - 5 + 5
    EXPECT_EQ(list.MapFlatToSparse(14), 9);  // 0 - 5 + 14
    EXPECT_EQ(list.MapFlatToSparse(20), 10); // past [5,15): 10 - 20 + 20
    EXPECT_EQ(list.MapFlatToSparse(29), 19); // 40 > 29 + 10: 10 - 20 + 29
    EXPECT_TRUE(Mentions(AssertionText([&] { list.MapFlatToSparse(4); }), expr));
    EXPECT_TRUE(Mentions(AssertionText([&] { list.MapFlatToSparse(15); }), expr)); // 15 < 20
    EXPECT_TRUE(Mentions(AssertionText([&] { list.MapFlatToSparse(30); }), expr)); // 40 <= 40
}

TEST(Cmn_IntervalList, LooksUpIntervalsByLocation)
{
    Cmn_IntervalList list = MakeList({{5, 15}, {20, 40}});
    EXPECT_EQ(list.GetIntervalIndexForLoc(5), 0);
    EXPECT_EQ(list.GetIntervalIndexForLoc(14), 0);
    EXPECT_EQ(list.GetIntervalIndexForLoc(15), -1);
    EXPECT_EQ(list.GetIntervalIndexForLoc(20), 1);
    EXPECT_EQ(list.GetIntervalIndexForLoc(39), 1);
    EXPECT_EQ(list.GetIntervalIndexForLoc(40), -1);
    EXPECT_EQ(list.GetIntervalIndexForLoc(0), -1);

    EXPECT_EQ(list.MapToLocInInterval(7), 2);
    EXPECT_EQ(list.MapToLocInInterval(25), 5);
    EXPECT_EQ(list.MapToLocInInterval(17), -1);
    EXPECT_EQ(list.MapToLocInInterval(40), -1);

    EXPECT_EQ(list.GetIntervalAtIndex(1), Cmn_Interval(20, 40));
    EXPECT_TRUE(
        Mentions(AssertionText([&] { list.GetIntervalAtIndex(2); }), "inIndex < this->size()"));
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
