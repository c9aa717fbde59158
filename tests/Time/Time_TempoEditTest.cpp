// Time_TempoEdit: single edits and range operations in both regimes, tempo events, limits,
// and edits undone over thousands of random maps.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "Support/TestSupport.h"
#include "TempoTestSupport.h"
#include "Time/Time_TempoEdit.h"

using namespace TempoTest;

namespace
{
using Op = std::function<void(Time_TempoEdit&)>;

Time_Typed TB(double iBeats)
{
    return Time_Typed(B(iBeats));
}
Time_TypedLength Beats(double iBeats)
{
    return Time_TypedLength(static_cast<int64_t>(iBeats * kBeat), Time_eType_Ticks);
}

const char* const kChanges = "0:120@0s 4:90 6:100 10:60";
const char* const kIDB = "0:?@0cs 4:?@88200c 8:?@176400c 12:?@264600";

struct Row
{
    const char* mName;
    const char* mBefore;
    Op mOp;
    const char* mAfter;
};

void RunRows(const std::vector<Row>& iRows)
{
    for (const Row& row : iRows)
    {
        SCOPED_TRACE(row.mName);
        Map map{std::string(row.mBefore)};
        Time_TempoEdit edit(&map);
        row.mOp(edit);
        EXPECT_EQ(Describe(map), row.mAfter);
        EXPECT_TRUE(MapIsValid(map));
    }
}
} // namespace

TEST(Time_TempoEdit, SingleEdits)
{
    RunRows({
        {"insert at the locked song start keeps lock and sample", "0:120@0s 4:90",
         [](auto& e) { e.InsertChange(B(0), 100, T(kBeat)); }, "0:100@0s 4:90"},
        {"insert into an empty map adds the default first", "",
         [](auto& e) { e.InsertChange(B(4), 90, T(kBeat)); }, "0:120@0s 4:90"},
        {"delete a locked change leaves it unspecified", "0:120@0s 4:90",
         [](auto& e) { e.DeleteChange(B(0)); }, "0:?@0s 4:90"},
        {"delete an unlocked change", "0:120@0s 4:90", [](auto& e) { e.DeleteChange(B(4)); },
         "0:120@0s"},
        {"deleting the song start brings it back on its tick and sample", "0:120@0s 4:90",
         [](auto& e) { e.DeleteTempoEvent(B(0), B(0)); }, "0:90@0s 4:90"},
        {"erase events of a half-open range", kChanges, [](auto& e) { e.EraseEvents(B(4), B(10)); },
         "0:120@0s 10:60"},
        {"one change to IDB: a closing anchor one second on", "0:120@0s",
         [](auto& e) { e.ConvertAllToIDB(); }, "0:?@0cs 2:?@44100"},
        {"two segments on one sample: the later stays", "0:120@0s +1:120",
         [](auto& e) { e.ConvertAllToIDB(); }, "+1:?@0cs 2:?@44100"},
        {"a clip pinned by its own end", "0:120@0s 2:60",
         [](auto& e) { e.ConvertClipToIDB(S(100000)); }, "0:?@0cs 2:?@44100c +3136871:?@100000"},
        {"IDB to changes keeps the first derived tempo", "0:?@0cs 4:?@88200c 8:?@176400",
         [](auto& e) { e.ConvertAllToChanges(); }, "0:120@0s 8:?"},
        {"an IDB in a changes map converts it first", "0:120@0s 4:90",
         [](auto& e) { e.AddIDB(B(8), S(200000)); },
         "0:?@0cs 4:?@88200c +5280000:?@132300c 8:?@200000"},
        {"an IDB whose sample passes the next one erases it", "0:?@0cs 4:?@88200c 8:?@176400",
         [](auto& e) { e.AddIDB(B(2), S(100000)); }, "0:?@0cs 2:?@100000c 8:?@176400"},
        {"an IDB pair clears what lies between", kIDB,
         [](auto& e) { e.AddIDBPair(B(3), S(60000), B(9), S(200000)); },
         "0:?@0cs 3:?@60000c 9:?@200000c 12:?@264600"},
        {"delete a computed IDB", "0:?@0cs 4:?@88200c 8:?@176400",
         [](auto& e) { e.DeleteIDB(B(4)); }, "0:?@0cs 8:?@176400"},
        {"move an IDB", "0:?@0cs 4:?@88200c 8:?@176400", [](auto& e) { e.MoveIDB(B(4), S(90000)); },
         "0:?@0cs 4:?@90000c 8:?@176400"},
        {"move a tempo event in ticks", "0:120@0s 4:90",
         [](auto& e) { e.MoveTempoEvent(B(4), TB(6)); }, "0:120@0s 6:90"},
        {"move a tempo event in samples", "0:120@0s 4:90",
         [](auto& e) { e.MoveTempoEvent(B(4), Time_Typed(S(22050))); }, "0:120@0s 1:90"},
        // dragged to one second before the song start (2 beats at 120): it lands one second
        // before it at its own tempo, 1.5 beats at 90
        {"move a tempo event across the song start", "0:120@0s 4:90",
         [](auto& e) { e.MoveTempoEvent(B(4), TB(-2)); }, "+-1440000:90 0:120@0s"},
        {"a change range of length 0 is one insert", "0:120@0s",
         [](auto& e)
         {
             Time_NewTempoEvents events;
             events.AddTempoEvent({B(4), 90.0f});
             events.SetEventRange(B(4), B(4));
             e.AddTempoChangeRange(events);
         },
         "0:120@0s 4:90"},
        {"a change range replaces its span and restores the tempo after", "0:120@0s 5:200 10:60",
         [](auto& e)
         {
             Time_NewTempoEvents events;
             events.AddTempoEvent({B(4), 90.0f});
             events.AddTempoEvent({B(6), 100.0f});
             events.SetEventRange(B(4), B(8));
             e.AddTempoChangeRange(events);
         },
         "0:120@0s 4:90 6:100 8:200 10:60"},
        {"a new song start marker", "0:120@0s 8:90",
         [](auto& e) { e.RedesignateSongStartMarker(B(4)); }, "0:120 4:120@88200s 8:90"},
        {"the default map", kChanges, [](auto& e) { e.SetDefaultMap(); }, "0:120@0s"},
    });
}

TEST(Time_TempoEdit, RangeOperationsInBothRegimes)
{
    RunRows({
        {"changes: delete time keeps the tempo in force at the end", kChanges,
         [](auto& e) { e.DeleteTime(TB(5), TB(8)); }, "0:120@0s 4:90 5:100 7:60"},
        {"changes: delete time up to a change", kChanges,
         [](auto& e) { e.DeleteTime(TB(5), TB(10)); }, "0:120@0s 4:90 5:60"},
        {"changes: delete time before the song start moves it on its sample", "-4:100 0:120@0s",
         [](auto& e) { e.DeleteTime(TB(-3), TB(-1)); }, "-4:100 -2:120@0s"},
        {"changes: insert time in ticks", kChanges, [](auto& e) { e.InsertTime(TB(5), Beats(2)); },
         "0:120@0s 4:90 8:100 12:60"},
        {"changes: insert time in samples at the tempo there", "0:120@0s 4:90",
         [](auto& e) { e.InsertTime(Time_Typed(S(44100)), Time_TypedLength(S(22050))); },
         "0:120@0s 5:90"},
        {"changes: insert time with a source pastes it", "0:120@0s 4:90",
         [](auto& e)
         {
             Map source("0:200@0s");
             e.InsertTime(TB(2), Beats(1), &source);
         },
         "0:120@0s 2:200 3:120 5:90"},
        {"changes: nudge later", kChanges, [](auto& e) { e.Nudge(TB(4), TB(7), Beats(2)); },
         "0:120@0s 6:90 8:100 10:60"},
        {"changes: nudge over an entry re-enters it after the range", kChanges,
         [](auto& e) { e.Nudge(TB(3), TB(5), Beats(2)); }, "0:120@0s 6:90 7:100 10:60"},
        {"changes: nudge earlier", kChanges, [](auto& e) { e.Nudge(TB(6), TB(8), Beats(-3)); },
         "0:120@0s 3:100 10:60"},
        {"changes: erase leaves the tempo at its start", kChanges,
         [](auto& e) { e.Erase(TB(5), TB(8)); }, "0:120@0s 4:90 8:100 10:60"},
        {"changes: paste a copy elsewhere", kChanges,
         [](auto& e)
         {
             Time_TempoMap copy;
             e.Copy(&copy, B(3), B(7));
             EXPECT_EQ(Describe(copy),
                       "+-1000000000000:120@0s +-999999040000:90 +-999997120000:100");
             e.Paste(TB(12), TB(16), &copy);
         },
         "0:120@0s 4:90 6:100 10:60 12:120 13:90 15:100 16:60"},
        {"changes: paste with an open end", kChanges,
         [](auto& e)
         {
             Map source("0:150@0s");
             e.Paste(TB(5), Time_Typed(T(Time_cMaxTickTime)), &source);
         },
         "0:120@0s 4:90 5:150"},
        {"IDB: delete time", kIDB, [](auto& e) { e.DeleteTime(TB(4), TB(8)); },
         "0:?@0cs 4:?@88200c 8:?@176400"},
        {"IDB: delete time inside a span pins its start", kIDB,
         [](auto& e) { e.DeleteTime(TB(2), TB(5)); }, "0:?@0cs 2:?@44100c 5:?@110250c 9:?@198450"},
        {"IDB: delete time in samples", kIDB,
         [](auto& e) { e.DeleteTime(Time_Typed(S(88200)), Time_Typed(S(176400))); },
         "0:?@0cs 4:?@88200c 8:?@176400"},
        {"IDB: insert time pins the inserted span", kIDB,
         [](auto& e) { e.InsertTime(TB(4), Beats(2)); },
         "0:?@0cs 4:?@88200c 6:?@132300c 10:?@220500c 14:?@308700"},
        {"IDB: nudge later", kIDB, [](auto& e) { e.Nudge(TB(4), TB(8), Beats(1)); },
         "0:?@0cs 4:?@88200c 5:?@110250c 9:?@198450c 12:?@264600"},
        {"IDB: erase pins both ends", "0:?@0cs 4:?@88200c 6:?@150000c 8:?@176400",
         [](auto& e) { e.Erase(TB(3), TB(7)); }, "0:?@0cs 3:?@66150c 7:?@163200c 8:?@176400"},
        {"IDB: paste a copy", kIDB,
         [](auto& e)
         {
             Time_TempoMap copy;
             e.Copy(&copy, B(2), B(6));
             EXPECT_EQ(Describe(copy),
                       "+-1000000000000:?@0cs +-999998080000:?@44100c +-999996160000:?@88200");
             e.Paste(TB(8), TB(12), &copy);
         },
         "0:?@0cs 4:?@88200c 8:?@176400c 10:?@220500c 12:?@264600"},
    });
}

TEST(Time_TempoEdit, MisuseAndNoOps)
{
    Map mixed("0:120@0s 4:90c 8:?@176400 12:100");
    Time_TempoEdit edit(&mixed);
    EXPECT_TRUE(Test_Asserts([&] { edit.DeleteTime(TB(1), TB(2)); }, "0"));
    Map map(kChanges);
    Time_TempoEdit changes(&map);
    struct Counter : Time_TempoMap::ListenerList::Observer
    {
        int mCount = 0;
        void Notify(Time_TempoMapMessage&) override { ++mCount; }
    } counter;
    map.GetListenerList().AddObserver(counter);
    const Bytes before = Save(map);
    changes.DeleteTime(TB(3), TB(3));
    changes.InsertTime(TB(3), Beats(0));
    changes.Paste(TB(3), TB(3), &mixed);
    changes.Nudge(TB(3), TB(5), Beats(0));
    EXPECT_EQ(counter.mCount, 0); // no edit opened at all
    EXPECT_EQ(Save(map), before);
    map.GetListenerList().RemoveObserver(counter);
    const std::pair<std::function<void()>, const char*> misuses[] = {
        {[&] { changes.DeleteTime(TB(3), TB(2)); }, "iStart.AsInt64() <= iEnd.AsInt64()"},
        {[&] { changes.Erase(TB(3), TB(2)); }, "iStartTime <= iEndTime"},
        {[&] { changes.Copy(nullptr, B(0), B(1)); }, "oDestP"},
        {[&] { changes.Copy(&mixed, B(1), B(0)); }, "iStartTick <= iEndTick"},
        {[&] { changes.MoveIDB(B(4), S(0)); }, "(*iter)->IsLockedToSample()"},
        {[&] { changes.MoveIDB(B(5), S(0)); }, "iter != mMapP->SegmentEnd()"},
        {[&] { changes.AddIDBPair(B(2), S(0), B(1), S(1)); }, "iTick1 < iTick2"},
        {[&] { changes.AddIDBPair(B(1), S(1), B(2), S(1)); }, "iSample1 < iSample2"},
        {[&] { changes.AddTempoChangeRange(Time_NewTempoEvents()); }, "!iEvents.empty()"},
        {[&] { Time_TempoEdit::GetTempoList(nullptr, &map); }, "oListP"},
        {[&] { Time_NewTempoEvents().NextQuantizedTick(TB(0), T(kBeat)); }, "size() > 0"},
    };
    for (const auto& [call, assertion] : misuses)
        EXPECT_TRUE(Test_Asserts(call, assertion)) << assertion;
}

TEST(Time_TempoEdit, TempoEventsAndLimits)
{
    Time_NewTempoEvents events;
    for (auto [beats, bpm] : {std::pair{4.0, 90.0f},
                              {2.0, 120.0f},
                              {6.0, 90.0f},
                              {3.0, 120.0f},
                              {4.0, 100.0f},
                              {8.0, 100.0f},
                              {6.0, 90.0f}})
        events.AddTempoEvent({B(beats), bpm});
    std::vector<std::pair<int64_t, float>> kept;
    for (const auto& e : events)
        kept.push_back({e.GetStartTick().AsInt64() - kOrigin, e.GetBeatsPerMinute()});
    // 6 and 3 repeat the tempo before them and are dropped, 4 is replaced, 8 repeats it; the
    // second 6 follows 100 and stays.
    const std::vector<std::pair<int64_t, float>> expected = {
        {2 * kBeat, 120.0f}, {4 * kBeat, 100.0f}, {6 * kBeat, 90.0f}};
    EXPECT_EQ(kept, expected);
    ASSERT_NE(events.GetTempoEventAtTick(B(6)), nullptr);
    EXPECT_EQ(events.GetTempoEventAtTick(B(5)), nullptr);
    Time_NewTempoEvents one;
    one.AddTempoEvent({B(1), 120.0f});
    const std::tuple<Time_Typed, int64_t, int64_t> quantized[] = {
        {TB(2.5), kBeat, kOrigin + 3 * kBeat}, // up to the grid counted from the event
        {TB(0.5), kBeat, kOrigin + kBeat},     // before the event: toward it
        {TB(2.5), 0, kOrigin + 5 * kBeat / 2}, // no quantum
        // 33,075 samples at 120 bpm are tick 1,440,000; the grid through the event has a
        // point at 1,600,000.
        {Time_Typed(S(33075)), kBeat, 1600000},
    };
    for (const auto& [time, quantum, tick] : quantized)
        EXPECT_EQ(one.NextQuantizedTick(time, T(quantum)).AsInt64(), tick) << time.AsInt64();
    events.ClearOutsideOfRange(B(3), B(8));
    EXPECT_EQ(events.size(), 2u);
    events.ClearAfterTime(B(4));
    EXPECT_EQ(events.size(), 1u);

    Map map(kIDB);
    Time_TempoEdit edit(&map);
    // 5 and 500 quarter notes per minute: one beat takes 529,200 and 5,292 samples at most
    // and at least; the IDB at beat 4 may move between its neighbours by those limits.
    EXPECT_EQ(edit.MinSampleDistanceForIDBTickDistance(T(kBeat), T(kBeat)), 5292);
    EXPECT_EQ(edit.MaxSampleDistanceForIDBTickDistance(T(kBeat), T(kBeat)), 529200);
    EXPECT_EQ(edit.MinSampleDistanceForIDBTickDistance(T(kBeat), T(2 * kBeat)), 5292);
    Time_TempoEdit::MoveIDBConstraints c;
    edit.GetMoveIDBConstraints(&c, B(4));
    EXPECT_EQ(c.mMinSample, S(4 * 5292));
    EXPECT_EQ(c.mMaxSample, S(176400 - 4 * 5292));
    EXPECT_DOUBLE_EQ(Time_TempoEdit::LimitTempoValue(1000.0, T(kBeat)), 500.0);
    EXPECT_EQ(Time_TempoEdit::GetTempoLimits()->mMaxBPM, 999.0);
}

// ---- properties over random maps --------------------------------------------------------------

namespace
{
// A random map in one regime: tempo changes after the song start, or the same converted to
// identified beats.
struct RegimeMap : RandomMap
{
    RegimeMap(std::mt19937& ioRng, bool iIDB) : RandomMap(ioRng, false)
    {
        if (iIDB)
            Time_TempoEdit(this).ConvertAllToIDB();
    }
};
} // namespace

TEST(Time_TempoEdit, InsertedTimeDeletedAgainRestoresTheSavedBytes)
{
    std::mt19937 rng(1124);
    std::uniform_int_distribution<int64_t> length(1, 8 * kBeat);
    for (int round = 0; round < 2000; ++round)
    {
        const bool idb = round % 2 == 1;
        RegimeMap map(rng, idb);
        Time_TempoEdit edit(&map);
        const Bytes before = Save(map);
        // Anywhere in a changes map; on an identified beat in an IDB map.
        auto it = map.SegmentBegin() + static_cast<int64_t>(rng() % map.GetNumberOfSegments());
        const int64_t at = (*it)->GetStartTick().AsInt64() +
                           (idb ? 0 : static_cast<int64_t>(rng() % (4 * kBeat)) - 2 * kBeat);
        const int64_t len = length(rng);
        SCOPED_TRACE(testing::Message() << "round " << round << " at " << at - kOrigin << " len "
                                        << len << " map " << Describe(map));
        edit.InsertTime(Time_Typed(T(at)), Time_TypedLength(T(len)));
        ASSERT_TRUE(MapIsValid(map));
        edit.DeleteTime(Time_Typed(T(at)), Time_Typed(T(at + len)));
        ASSERT_TRUE(MapIsValid(map));
        ASSERT_EQ(Save(map), before) << Describe(map);
    }
}

TEST(Time_TempoEdit, EveryEditKeepsTheMapValidAndUndoes)
{
    std::mt19937 rng(4242);
    std::uniform_int_distribution<int64_t> tick(kOrigin - 8 * kBeat, kOrigin + 100 * kBeat),
        length(1, 8 * kBeat);
    std::uniform_real_distribution<double> bpm(30.0, 300.0);
    const std::vector<std::pair<const char*, std::function<void(Time_TempoEdit&, Map&)>>> ops = {
        {"insert change",
         [&](auto& e, auto&) { e.InsertChange(T(tick(rng)), bpm(rng), T(kBeat)); }},
        {"delete event", [&](auto& e, auto& m)
         { e.DeleteTempoEvent((*m.SegmentBegin())->GetStartTick(), T(tick(rng) + 100 * kBeat)); }},
        {"add idb",
         [&](auto& e, auto& m)
         {
             const Time_Tick t = T(tick(rng));
             e.AddIDB(t, m.TickToSample(t) + S(static_cast<int64_t>(rng() % 2000)));
         }},
        {"to idb", [&](auto& e, auto&) { e.ConvertAllToIDB(); }},
        {"to changes", [&](auto& e, auto&) { e.ConvertAllToChanges(); }},
        {"delete time",
         [&](auto& e, auto&)
         {
             const int64_t a = tick(rng);
             e.DeleteTime(Time_Typed(T(a)), Time_Typed(T(a + length(rng))));
         }},
        {"insert time", [&](auto& e, auto&)
         { e.InsertTime(Time_Typed(T(tick(rng))), Time_TypedLength(T(length(rng)))); }},
        {"nudge",
         [&](auto& e, auto&)
         {
             const int64_t a = tick(rng);
             e.Nudge(Time_Typed(T(a)), Time_Typed(T(a + length(rng))),
                     Time_TypedLength(T(length(rng) - 4 * kBeat)));
         }},
        {"erase",
         [&](auto& e, auto&)
         {
             const int64_t a = tick(rng);
             e.Erase(Time_Typed(T(a)), Time_Typed(T(a + length(rng))));
         }},
        {"copy and paste",
         [&](auto& e, auto&)
         {
             const int64_t a = tick(rng), b = tick(rng);
             Time_TempoMap copy;
             e.Copy(&copy, T(std::min(a, b)), T(std::max(a, b)));
             const int64_t at = tick(rng);
             e.Paste(Time_Typed(T(at)), Time_Typed(T(at + length(rng))), &copy);
         }},
        {"song start", [&](auto& e, auto&) { e.RedesignateSongStartMarker(T(tick(rng))); }},
    };
    // A few edits in a row on each map; a range operation only while the map is in one
    // regime (it asserts otherwise).
    const size_t firstRangeOp = 5;
    for (int round = 0; round < 3000; ++round)
    {
        RegimeMap map(rng, round % 2 == 1);
        const Bytes before = Save(map);
        const auto state = map.NdoGetState();
        Time_TempoEdit edit(&map);
        std::string done;
        for (int step = 0, steps = 1 + static_cast<int>(rng() % 4); step < steps; ++step)
        {
            size_t pick = rng() % ops.size();
            if (pick >= firstRangeOp && pick != ops.size() - 1 && !edit.IsAllChanges() &&
                !edit.IsAllIDB())
                pick = 3; // to idb
            const auto& [name, op] = ops[pick];
            done += std::string(done.empty() ? "" : ", ") + name;
            SCOPED_TRACE(testing::Message()
                         << "round " << round << ": " << done << " on " << Describe(map));
            op(edit, map);
            ASSERT_TRUE(MapIsValid(map));
        }
        map.NdoRestoreState(*state);
        ASSERT_EQ(Save(map), before);
    }
}

// Readers convert under the read lock while time after the tick they read is inserted and
// deleted: the position they see never moves.
TEST(Time_TempoEdit, ReadersUnderTheReadLockWhileTimeIsInsertedAndDeleted)
{
    Map map(kChanges);
    Time_TempoEdit edit(&map);
    EXPECT_EQ(ReadsOutside(map, B(3), {map.TickToSample(B(3)).AsInt64()}, 200,
                           [&](int)
                           {
                               edit.InsertTime(TB(5), Beats(1));
                               edit.DeleteTime(TB(5), TB(6));
                           }),
              0);
}
