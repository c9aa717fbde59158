// Time_MeterMap: bars and beats, bar numbering with cut bars, edits, durations, saved form.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <random>
#include <tuple>

#include "Support/SysTestSupport.h"
#include "Sys/Sys_StdStreamHeader.h"
#include "Sys/Sys_TypedStream.h"
#include "Time/Time_MeterMap.h"

namespace
{
constexpr int64_t kOrigin = Time_cDefaultOriginTick;
constexpr int64_t kQ = Time_cInternalTicksPerQuarterNote;

Time_Tick At(int64_t iOffset)
{
    return Time_Tick(kOrigin + iOffset);
}

struct Change
{
    int64_t mOffset; // from the origin tick
    int32_t mNumerator, mDenominator;
    int32_t mBar = 1; // of the first change only
};

// A map with these changes (the first through AddInitialMeterChange); none gives the default.
struct Map : Time_MeterMap
{
    Map(std::initializer_list<Change> iChanges = {})
    {
        for (const Change& c : iChanges)
        {
            if (IsDefault())
                AddInitialMeterChange(At(c.mOffset), Time_Meter(c.mNumerator, c.mDenominator),
                                      c.mBar);
            else
                AddMeterChange(At(c.mOffset), Time_Meter(c.mNumerator, c.mDenominator));
        }
    }
};

// 4/4 from bar 1, then 3/4 from the middle of bar 2 (which is cut to two beats).
Map MidBarMap()
{
    return Map({{0, 4, 4}, {6 * kQ, 3, 4}});
}

// "bar@quarters num/den" per change, "*" after a change that cuts the bar before it.
std::string Describe(const Time_MeterMap& iMap)
{
    std::string text;
    for (auto it = iMap.IterBegin(); it != iMap.IterEnd(); ++it)
    {
        char item[96];
        std::snprintf(item, sizeof item, "%s%d@%g %d/%d%s", text.empty() ? "" : ", ",
                      it->mBarNumber, double((it->mTick - At(0)).AsInt64()) / kQ,
                      it->mMeter.GetNumerator(), it->mMeter.GetDenominator(),
                      it->mPrevIsPartial ? "*" : "");
        text += item;
    }
    return text;
}

std::string Show(const Time_BarBeatTick& iBBT)
{
    return std::to_string(iBBT.mBar) + "|" + std::to_string(iBBT.mBeat) + "|" +
           std::to_string(iBBT.mTick.AsInt64());
}

Time_BarBeatTick BBT(int32_t iBar, int32_t iBeat, int64_t iTick = 0)
{
    return Time_BarBeatTick(iBar, iBeat, Time_Tick(iTick));
}

Bytes Save(const Time_MeterMap& iMap)
{
    Test_Out out;
    iMap.StreamOut(*out);
    return out.Get();
}

void Load(Time_MeterMap& ioMap, const Bytes& iBytes)
{
    Test_In in(iBytes);
    ioMap.StreamIn(*in);
}

// A "Meter" block written by hand.
Bytes MeterBlock(int16_t iVersion, const std::function<void(Sys_TypedOutStream&)>& iBody)
{
    Test_Out out;
    Sys_StdStreamHeaderWriter header(*out, "Meter", iVersion);
    iBody(*out);
    header.PatchSize();
    return out.Get();
}

// A random map: a first change anywhere near the origin, then up to six more.
void FillRandom(Time_MeterMap& ioMap, std::mt19937& ioRng)
{
    std::uniform_int_distribution<int> num(1, 13), den(0, 4), count(0, 6), bar(-3, 9);
    std::uniform_int_distribution<int64_t> gap(1, 40 * kQ);
    int64_t tick = kOrigin - gap(ioRng);
    ioMap.AddInitialMeterChange(Time_Tick(tick), Time_Meter(num(ioRng), 1 << den(ioRng)),
                                bar(ioRng));
    for (int i = count(ioRng); i > 0; --i)
    {
        tick += gap(ioRng);
        ioMap.AddMeterChange(Time_Tick(tick), Time_Meter(num(ioRng), 1 << den(ioRng)));
    }
}
} // namespace

TEST(Time_MeterMap, TicksToBarsAndBack)
{
    const Map defaultMap, midBar = MidBarMap(), sixEight({{0, 6, 8}});
    const std::tuple<const Time_MeterMap&, int64_t, const char*> rows[] = {
        {defaultMap, 0, "1|1|0"},
        {defaultMap, 4 * kQ, "2|1|0"},
        {defaultMap, kQ + 500, "1|2|500"},
        // before the first change: counted backwards in its meter, below its bar
        {defaultMap, -1, "0|4|959999"},
        {defaultMap, -4 * kQ, "0|1|0"},
        {defaultMap, -4 * kQ - 1, "-1|4|959999"},
        // a change in mid-bar: bar 2 is cut to two beats, bar 3 starts at the change
        {midBar, 5 * kQ, "2|2|0"},
        {midBar, 6 * kQ - 1, "2|2|959999"},
        {midBar, 6 * kQ, "3|1|0"},
        {midBar, 7 * kQ, "3|2|0"},
        {midBar, 9 * kQ, "4|1|0"},
        {midBar, -1, "0|4|959999"},
        // eighth-note beats
        {sixEight, kQ / 2, "1|2|0"},
        {sixEight, 3 * kQ - 1, "1|6|479999"},
        {sixEight, 3 * kQ, "2|1|0"},
    };
    for (const auto& [map, offset, text] : rows)
    {
        const Time_BarBeatTick bbt = map.TickToBarBeat(At(offset));
        EXPECT_EQ(Show(bbt), text) << Describe(map) << " at " << offset;
        EXPECT_EQ(map.BarBeatToTick(bbt), At(offset)) << text;
    }
    EXPECT_TRUE(defaultMap.IsDefault());
    EXPECT_EQ(defaultMap.GetMeterAtTick(At(-kQ)), Time_Meter(4, 4));
    Time_Tick changeTick;
    EXPECT_EQ(midBar.GetMeterAtTick(At(8 * kQ), &changeTick), Time_Meter(3, 4));
    EXPECT_EQ(changeTick, At(6 * kQ));
}

TEST(Time_MeterMap, RandomMapsConvertBothWays)
{
    std::mt19937 rng(11);
    std::uniform_int_distribution<int64_t> offset(-60 * kQ, 300 * kQ);
    for (int round = 0; round < 300; ++round)
    {
        Time_MeterMap map;
        FillRandom(map, rng);
        for (int i = 0; i < 40; ++i)
        {
            const Time_Tick tick = At(offset(rng)), later = tick + Time_Tick(offset(rng) + 60 * kQ);
            const Time_BarBeatTick bbt = map.TickToBarBeat(tick);
            ASSERT_EQ(map.BarBeatToTick(bbt), tick) << Describe(map);
            ASSERT_GE(bbt.mBeat, 1);
            const Time_BarBeatTick duration = map.ComputeDurationBetween(tick, later);
            ASSERT_EQ(map.AddDurationToTick(tick, duration), later)
                << Describe(map) << " " << Show(duration);
        }
    }
}

TEST(Time_MeterMap, BarNumbersAndCutBars)
{
    const struct
    {
        Map mMap;
        const char* mExpected;
    } rows[] = {
        {MidBarMap(), "1@0 4/4, 3@6 3/4*"},
        {Map({{0, 4, 4}, {8 * kQ, 3, 4}}), "1@0 4/4, 3@8 3/4"},
        {Map({{0, 4, 4, 5}, {4 * kQ, 2, 4}, {5 * kQ, 5, 8}}), "5@0 4/4, 6@4 2/4, 7@5 5/8*"},
        // a change before the first one becomes the first, with the bar it lay in
        {Map({{0, 4, 4}, {-2 * kQ, 7, 8}}), "0@-2 7/8, 1@0 4/4*"},
        // replacing the meter at a tick keeps that change's bar number
        {Map({{0, 4, 4, 5}, {0, 3, 4}}), "5@0 3/4"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Describe(row.mMap), row.mExpected);
}

TEST(Time_MeterMap, EditsKeepBarsAndMeters)
{
    const Map source = MidBarMap();
    // {name, whether it starts from MidBarMap (else from the default map), edit, expected}
    const std::tuple<const char*, bool, std::function<void(Time_MeterMap&)>, const char*> rows[] = {
        {"remove", true, [](auto& m) { m.RemoveMeterChange(At(6 * kQ)); }, "1@0 4/4"},
        {"remove nothing", true, [](auto& m) { m.RemoveMeterChange(At(7 * kQ)); },
         "1@0 4/4, 3@6 3/4*"},
        {"renumber", true, [](auto& m) { m.RenumberBars(-3); }, "-2@0 4/4, 0@6 3/4*"},
        {"delete time up to a change", true, [](auto& m) { m.DeleteTime(At(4 * kQ), At(6 * kQ)); },
         "1@0 4/4, 2@4 3/4"},
        {"delete time in mid-bar", true, [](auto& m) { m.DeleteTime(At(2 * kQ), At(4 * kQ)); },
         "1@0 4/4, 2@4 3/4"},
        {"delete time over the first change", true,
         [](auto& m) { m.DeleteTime(At(0), At(6 * kQ)); }, "0@-4 4/4, 1@0 3/4"},
        {"empty delete time", true, [](auto& m) { m.DeleteTime(At(kQ), At(kQ)); },
         "1@0 4/4, 3@6 3/4*"},
        {"insert time", true, [](auto& m) { m.InsertTime(At(4 * kQ), Time_Tick(2 * kQ), nullptr); },
         "1@0 4/4, 3@8 3/4"},
        {"erase keeps the meter after the range", true,
         [](auto& m) { m.Erase(At(5 * kQ), At(7 * kQ)); }, "1@0 4/4, 4@9 3/4*"},
        {"force a meter on a bar", true,
         [](auto& m) { m.ForceMeterAtBarBeat(BBT(2, 1), Time_Meter(2, 4)); },
         "1@0 4/4, 2@4 2/4, 3@6 3/4"},
        {"force the meter in force", true,
         [](auto& m) { m.ForceMeterAtBarBeat(BBT(1, 3), Time_Meter(4, 4)); }, "1@0 4/4, 3@6 3/4*"},
        {"move the song start", false, [](auto& m) { m.SetSongStartTick(At(8 * kQ)); }, "3@8 4/4"},
        {"paste", false, [&](auto& m) { m.Paste(At(4 * kQ), At(8 * kQ), source); },
         "1@0 4/4, 3@6 3/4*, 4@8 4/4*"},
        {"insert time with a source", false,
         [&](auto& m) { m.InsertTime(At(4 * kQ), Time_Tick(4 * kQ), &source); },
         "1@0 4/4, 3@6 3/4*, 4@8 4/4*"},
        {"copy", true,
         [&](auto& m)
         {
             Time_MeterMap copy;
             m.Copy(copy, At(4 * kQ), At(8 * kQ));
             m.ReplaceWith(copy);
         },
         "3@6 3/4"},
        {"shift from a tick", true,
         [](auto& m) { m.ShiftMeterChangesStartingAt(At(6 * kQ), Time_Tick(2 * kQ)); },
         "1@0 4/4, 3@8 3/4"},
        {"shift back over a change", true,
         [](auto& m) { m.ShiftMeterChangesStartingAt(At(6 * kQ), Time_Tick(-6 * kQ)); }, "3@0 3/4"},
        {"shift all", true, [](auto& m) { m.ShiftAllMeterEventsByNumTicks(Time_Tick(kQ)); },
         "1@1 4/4, 3@7 3/4*"},
        {"clear", true, [](auto& m) { m.Clear(); }, "1@0 4/4"},
        {"insert time puts a change at a song start in mid-bar", true,
         [](auto& m)
         {
             m.ShiftAllMeterEventsByNumTicks(Time_Tick(kQ));
             m.InsertTime(At(20 * kQ), Time_Tick(4 * kQ), nullptr);
         },
         "0@0 4/4, 1@1 4/4*, 3@7 3/4*"},
        {"insert time at a change moves it", true,
         [](auto& m) { m.InsertTime(At(6 * kQ), Time_Tick(2 * kQ), nullptr); }, "1@0 4/4, 3@8 3/4"},
        {"replace with another bar", true,
         [](auto& m) { m.AddMeterChange(At(0), Time_Meter(3, 4), 9); }, "1@0 3/4, 3@6 3/4"},
        {"delete restores the song start's meter", true, [](auto& m) { m.Delete(At(0), At(kQ)); },
         "1@0 4/4, 3@6 3/4*"},
        {"delete inside a larger edit", true, [](auto& m) { m.Delete(At(0), At(kQ), true); },
         "3@6 3/4"},
    };
    for (const auto& [name, midBar, edit, expected] : rows)
    {
        Map map;
        if (midBar)
            map.ReplaceWith(source);
        edit(map);
        EXPECT_EQ(Describe(map), expected) << name;
    }
}

TEST(Time_MeterMap, RealignsChangesToTheirDisplayedBars)
{
    // A saved map whose second change shows bar 4 but stands in bar 3.
    const Bytes saved =
        MeterBlock(2,
                   [](Sys_TypedOutStream& out)
                   {
                       out << int32_t(2);
                       for (auto [tick, bar, n] :
                            {std::tuple(kOrigin, 1, 4), std::tuple(kOrigin + 6 * kQ, 3, 3)})
                       {
                           out << int64_t(tick) << int32_t(bar) << int32_t(n) << int32_t(4);
                           Time_NotationDurationValue().StreamOut(out);
                       }
                       out << int32_t(1) << int32_t(1) << int64_t(0);
                       out << int32_t(4) << int32_t(1) << int64_t(0);
                       out << int64_t(kOrigin);
                   });
    Time_MeterMap map;
    Load(map, saved);
    EXPECT_EQ(Describe(map), "1@0 4/4, 3@6 3/4*");
    map.RealignExistingMeterChangesToBBT(At(0));
    EXPECT_EQ(Describe(map), "1@0 4/4, 4@12 3/4");
}

TEST(Time_MeterMap, DurationsInBarsAndBeats)
{
    const Map defaultMap, midBar = MidBarMap();
    // {map, from, duration, from + duration, from - duration}
    const std::tuple<const Time_MeterMap&, int64_t, Time_BarBeatTick, int64_t, int64_t> rows[] = {
        {defaultMap, 0, BBT(1, 0), 4 * kQ, -4 * kQ},
        {defaultMap, kQ / 2, BBT(0, 1), 3 * kQ / 2, -kQ / 2},
        {defaultMap, 0, BBT(2, 3, 10), 11 * kQ + 10, -11 * kQ - 10},
        // across the cut bar 2 (two beats) into 3/4
        {midBar, 0, BBT(2, 0), 6 * kQ, -8 * kQ},
        {midBar, 4 * kQ, BBT(0, 2), 6 * kQ, 2 * kQ},
        {midBar, 5 * kQ, BBT(1, 0), 7 * kQ, kQ},
        {midBar, 0, BBT(0, 5), 5 * kQ, -5 * kQ},
        {midBar, 9 * kQ, BBT(0, 4), 13 * kQ, 5 * kQ},
        {midBar, 7 * kQ, BBT(1, 0), 10 * kQ, 5 * kQ},
        // a bar on from beat 3 lands in the cut bar 2, on its last beat
        {midBar, 2 * kQ, BBT(1, 0), 5 * kQ, -2 * kQ},
    };
    for (const auto& [map, from, duration, added, subtracted] : rows)
    {
        SCOPED_TRACE(Describe(map) + ", " + Show(duration) + " from " + std::to_string(from));
        EXPECT_EQ(map.AddDurationToTick(At(from), duration), At(added));
        EXPECT_EQ(map.SubTrackDurationFromTick(At(from), duration), At(subtracted));
    }
    EXPECT_EQ(Show(midBar.ComputeDurationBetween(At(0), At(7 * kQ + 3))), "2|1|3");
    EXPECT_EQ(Show(midBar.ComputeDurationBetween(At(kQ), At(kQ))), "0|0|0");
    EXPECT_TRUE(Test_Asserts([&] { midBar.ComputeDurationBetween(At(1), At(0)); },
                             "iStartTick <= iEndTick"));
    EXPECT_TRUE(Test_Asserts([&] { midBar.SubtractBeats(BBT(2, 1, 5), 1); }, "iBBT.mTick==0"));
    EXPECT_EQ(midBar.GetBeatsInBar(2), 2);
    EXPECT_EQ(midBar.GetBeatsInBar(3), 3);
}

TEST(Time_MeterMap, ClicksAndTheirNextChange)
{
    Time_NotationDurationValue eighth;
    eighth.mNoteValue = Time_NotationDurationValue::eNoteValue_Eighth;
    Map map;
    Time_Tick next;
    EXPECT_EQ(map.GetClicksAtTick(At(0), &next), Time_Tick(kQ));
    EXPECT_EQ(next, Time_Tick(Time_cMaxTickTime));
    map.AddMeterChange(At(4 * kQ), Time_Meter(3, 4));         // same click
    map.AddMeterChange(At(7 * kQ), Time_Meter(6, 8, eighth)); // another click
    EXPECT_EQ(map.GetClicksAtTick(At(kQ), &next), Time_Tick(kQ));
    EXPECT_EQ(next, At(7 * kQ));
    EXPECT_EQ(map.GetClicksAtTick(At(8 * kQ), &next), Time_Tick(kQ / 2));
    EXPECT_EQ(next, Time_Tick(Time_cMaxTickTime));
    EXPECT_EQ(map.GetTickOfLastChange(), At(7 * kQ));
    EXPECT_EQ(map.IterFindFirstGE(At(4 * kQ + 1))->mTick, At(7 * kQ));
}

TEST(Time_MeterMap, EditsTellListenersBeforeAndAfter)
{
    struct Log : Time_MeterMap::ListenerList::Observer
    {
        void Notify(Time_MeterMapMessage& ioMessage) override
        {
            mText += ioMessage.mKind == Time_MeterMapMessage::eAboutToModify ? "a" : "v";
        }
        std::string mText;
    } log;
    Map map;
    map.GetListenerList().AddObserver(log);
    map.AddMeterChange(At(4 * kQ), Time_Meter(3, 4)); // the default change copied in first
    EXPECT_EQ(log.mText, "avav");
    log.mText.clear();
    map.RemoveMeterChange(At(kQ)); // nothing there
    EXPECT_EQ(log.mText, "");
    EXPECT_TRUE(Test_Asserts([&] { map.AddInitialMeterChange(At(0), Time_Meter(), 1); },
                             "this->IsDefault()"));
    EXPECT_TRUE(Test_Asserts([&] { Time_Meter(0, 4); }, "iNumerator >= 1"));
    map.GetListenerList().RemoveObserver(log);
}

TEST(Time_MeterMap, SavedMapsLoadAndConvertTheSame)
{
    Time_NotationDurationValue dotted;
    dotted.mDotted = true;
    Map map = MidBarMap();
    map.AddMeterChange(At(20 * kQ), Time_Meter(7, 8, dotted));
    map.SetSongStartTick(At(4 * kQ));
    const Bytes saved = Save(map);
    Time_MeterMap loaded;
    Load(loaded, saved);
    EXPECT_EQ(Save(loaded), saved);
    EXPECT_EQ(Describe(loaded), Describe(map));
    EXPECT_EQ(loaded.GetSongStartTick(), At(4 * kQ));
    for (int64_t offset = -10 * kQ; offset < 30 * kQ; offset += kQ / 3)
        ASSERT_EQ(Show(loaded.TickToBarBeat(At(offset))), Show(map.TickToBarBeat(At(offset))));
    // Undo state: the saved form, restored over later edits.
    const auto state = map.NdoGetState();
    map.Clear();
    map.NdoRestoreState(*state);
    EXPECT_EQ(Save(map), saved);
    // A default map saves no change and loads back as default.
    Time_MeterMap fresh;
    Load(fresh, Save(Map()));
    EXPECT_TRUE(fresh.IsDefault());
}

TEST(Time_MeterMap, OlderBlocksRead)
{
    auto change = [](Sys_TypedOutStream& out, int64_t tick, int32_t bar, int32_t n, int32_t d)
    { out << tick << bar << n << d; };
    const std::tuple<const char*, Bytes, const char*> rows[] = {
        {"version 1: no click",
         MeterBlock(1,
                    [&](auto& out)
                    {
                        out << int32_t(2);
                        change(out, kOrigin, 3, 4, 4);
                        change(out, kOrigin + 6 * kQ, 0, 3, 4);
                    }),
         "3@0 4/4, 5@6 3/4*"},
        {"version 2 without positions or song start",
         MeterBlock(2,
                    [&](auto& out)
                    {
                        out << int32_t(1);
                        change(out, kOrigin, 2, 5, 4);
                        Time_NotationDurationValue().StreamOut(out);
                    }),
         "2@0 5/4"},
    };
    for (const auto& [name, bytes, expected] : rows)
    {
        Time_MeterMap map;
        Load(map, bytes);
        EXPECT_EQ(Describe(map), expected) << name;
        EXPECT_EQ(map.GetSongStartTick(), At(0)) << name;
    }
}

TEST(Time_MeterMap, BadBytesFailCleanlyAndLeaveTheMap)
{
    auto block = [](int32_t count, int64_t tick, int32_t n, int32_t d, int64_t tick2 = 0)
    {
        return MeterBlock(2,
                          [&](Sys_TypedOutStream& out)
                          {
                              out << count;
                              for (int64_t t : {tick, tick2})
                              {
                                  out << t << int32_t(1) << n << d;
                                  Time_NotationDurationValue().StreamOut(out);
                              }
                          });
    };
    const std::tuple<const char*, Bytes, int32_t, int32_t> rows[] = {
        {"negative count", block(-1, kOrigin, 4, 4), 14, 28},
        {"numerator 0", block(1, kOrigin, 0, 4), 14, 28},
        {"beat below one tick", block(1, kOrigin, 4, 4000000), 14, 28},
        {"tick out of range", block(1, INT64_MAX, 4, 4), 14, 28},
        {"ticks out of order", block(2, kOrigin, 4, 4, kOrigin - 1), 14, 28},
        {"two changes on one tick", block(2, kOrigin, 4, 4, kOrigin), 14, 28},
        {"newer version", MeterBlock(3, [](auto& out) { out << int32_t(0); }), 2, 31},
    };
    Map map = MidBarMap();
    const Bytes good = Save(map);
    for (const auto& [name, bytes, package, id] : rows)
        EXPECT_TRUE(Test_ThrowsL10N([&] { Load(map, bytes); }, package, id)) << name;
    // A huge count over a short stream (truncations are the fuzz target's): the library's own.
    Bytes huge = good;
    huge[11] = 0x7F;
    EXPECT_THROW(Load(map, huge), L10N_Exception);
    EXPECT_EQ(Save(map), good);
}
