// Time_TempoMap, its segments and its saved form; the seeds of fuzz/TempoMapFuzz.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "Cmn_Exception.h"
#include "Support/ByteSupport.h"
#include "Support/SysTestSupport.h"
#include "Support/TimeTestSupport.h"
#include "Sys/Sys_StdStreamHeader.h"
#include "Sys/Sys_TypedStream.h"
#include "TempoTestSupport.h"
#include "Time/Time_TempoMap.h"

using namespace TempoTest;

namespace
{
// A "Tempo" block written by hand: each segment as (type, block writer).
Bytes TempoBlock(
    int32_t iCount,
    const std::vector<std::pair<int32_t, std::function<void(Sys_TypedOutStream&)>>>& iSegs)
{
    Test_Out out;
    Sys_StdStreamHeaderWriter header(*out, "Tempo", 2);
    *out << iCount;
    for (const auto& [type, write] : iSegs)
    {
        *out << type;
        write(*out);
    }
    header.PatchSize();
    return out.Get();
}

// An old "TMS" block (without the two trailing flags) inside a "Prev" or "Const" block.
std::function<void(Sys_TypedOutStream&)> OldSeg(const char* iTag, int64_t iTick, int64_t iSample,
                                                double iBpm)
{
    return [=](Sys_TypedOutStream& out)
    {
        Sys_StdStreamHeaderWriter outer(out, iTag, 1);
        Sys_StdStreamHeaderWriter tms(out, "TMS", 1);
        out << false << (iSample >= 0) << std::max<int64_t>(iSample, 0) << iTick;
        tms.PatchSize();
        if (std::string(iTag) == "Const")
            out << iBpm << kBeat; // no unspecified flag either
        outer.PatchSize();
    };
}

} // namespace

TEST(Time_TempoMap, EmptyAndSimpleMapsConvertAsStated)
{
    Map empty;
    Time_TempoMap fresh; // no edit at all: the default basic segment
    for (Time_TempoMap* m : {static_cast<Time_TempoMap*>(&empty), &fresh})
    {
        EXPECT_EQ(m->TickToSample(T(kOrigin)), S(0));
        EXPECT_EQ(m->SampleToTick(S(0)), T(kOrigin));
    }
    EXPECT_EQ(empty.BpmAt(kOrigin), 120.0);
    EXPECT_EQ(fresh.GetNumberOfSegments(), 0u);
    EXPECT_EQ(fresh.GetSongStartTick(), T(kOrigin));
    // 960,000 ticks last 22050 samples at 44100 Hz and 120 bpm; past the end the sample is
    // capped, before the start it extrapolates and may go negative.
    const std::pair<int64_t, int64_t> rows[] = {
        {kOrigin + kBeat, 22050},
        {kOrigin + 2 * kBeat, 44100},
        {kOrigin + 1000000 * kBeat, Time_cMaxSampleTime},
        {kOrigin - kBeat, -22050},
        {kOrigin - 22, -1}}; // -0.505: floor(-0.005) = -1, not 0
    for (const auto& [tick, sample] : rows)
        EXPECT_EQ(empty.TickToSample(T(tick)).AsInt64(), sample) << tick;
    EXPECT_EQ(empty.SampleToTick(S(-22050)), T(kOrigin - kBeat));
    EXPECT_EQ(empty.GetMaxSample(), S(1));
}

TEST(Time_BasicTempoMapSegment, FloorsAndRatesAsStated)
{
    Time_BasicTempoMapSegment seg; // 0.5 samples per tick from tick 0 at sample 0
    seg.SetEndSample(T(0), T(10), 0.0, 5.0);
    const std::pair<int64_t, int64_t> rows[] = {{-2, -1}, {-1, 0}, {-3, -1}, {3, 2}, {4, 2}};
    for (const auto& [tick, sample] : rows)
        EXPECT_EQ(seg.TickToSample(T(tick)).AsInt64(), sample) << tick;
    EXPECT_EQ(seg.SampleToTick(S(-3)), T(-6));
    // A back tempo meets its end sample; beats per minute are whole ticks per minute.
    Time_BasicTempoMapSegment back;
    back.SetBackTempo(T(0), T(kBeat), 1000.0, kRate, 120.0, T(kBeat));
    EXPECT_DOUBLE_EQ(back.TickToFractionalSample(T(kBeat)), 1000.0);
    EXPECT_DOUBLE_EQ(back.GetBeatsPerMinute(kRate, T(kBeat)), 120.0);
    EXPECT_DOUBLE_EQ(back.GetBeatsPerMinute(kRate, T(7)), 115200000.0 / 7.0);
    EXPECT_TRUE(Test_Asserts([] { Time_BasicTempoMapSegment().SetEndSample(T(5), T(5), 0, 1); },
                             "iEndTick > iStartTick"));
    EXPECT_TRUE(Test_Asserts([] { Time_BasicTempoMapSegment().SetEndSample(T(5), T(6), 1, 1); },
                             "iFractionalEndSample > iFractionalStartSample"));
    EXPECT_TRUE(Test_Asserts(
        [] { Time_BasicTempoMapSegment().SetBackTempo(T(0), T(1), 1, 0, 120, T(kBeat)); },
        "iSampleRate != 0"));
}

TEST(Time_TempoLimits, ClampInBeatsAndQuarterNotes)
{
    const Time_TempoLimits limits;
    const std::tuple<double, int64_t, double, double, double> rows[] = {
        {1.0, kBeat, 5.0, 5.0, 500.0},         {2000.0, kBeat, 500.0, 5.0, 500.0},
        {800.0, kBeat / 2, 800.0, 5.0, 499.5}, {2000.0, kBeat / 2, 999.0, 5.0, 499.5},
        {4.0, 2 * kBeat, 5.0, 10.0, 500.0},    {400.0, 2 * kBeat, 250.0, 10.0, 500.0}};
    for (const auto& [bpm, perBeat, limited, minQPM, maxQPM] : rows)
    {
        SCOPED_TRACE(bpm);
        EXPECT_DOUBLE_EQ(limits.LimitTempoValue(bpm, T(perBeat)), limited);
        EXPECT_DOUBLE_EQ(limits.GetMinQPM(T(perBeat)), minQPM);
        EXPECT_DOUBLE_EQ(limits.GetMaxQPM(T(perBeat)), maxQPM);
    }
    EXPECT_DOUBLE_EQ(limits.GetMaxBPM(T(2 * kBeat)), 250.0);
    EXPECT_DOUBLE_EQ(limits.GetMinBPM(T(kBeat / 2)), 10.0);
}

TEST(Time_TempoMap, SegmentsReplaceSplitAndKeepTheirTempo)
{
    std::vector<Time_TempoMapSegment::Ptr> segs;
    segs.push_back(Seg(kOrigin, 120.0, 0));
    segs.push_back(Seg(kOrigin + kBeat, 60.0));
    Map map(std::move(segs));
    map.AddSegment(Seg(kOrigin + kBeat, 240.0));
    EXPECT_EQ(map.GetNumberOfSegments(), 2u);
    EXPECT_EQ(map.TickToSample(T(kOrigin + 2 * kBeat)), S(22050 + 11025));
    EXPECT_EQ(map.BpmAt(kOrigin + kBeat), 240.0);
    EXPECT_EQ(map.FindControllingSegment(T(kOrigin + kBeat - 1)), map.SegmentBegin());
    EXPECT_EQ(map.FindSegment(T(kOrigin + 1)), map.SegmentBegin() + 1);
    EXPECT_EQ(map.GetMaxSample(), S(22051));
    // Split: the left half is a clone without the computed flag, the right a new segment;
    // SplitForIDB keeps the flag on both. SetTicksPerBeat keeps the real tempo.
    Time_ConstantTempoSeg seg(T(0), 90.0, T(kBeat));
    seg.SetIsComputed(true);
    Time_TempoMapSegment::Ptr left, right;
    seg.Split(&left, &right, T(500));
    EXPECT_FALSE(left->IsComputed());
    EXPECT_FALSE(right->IsComputed());
    EXPECT_EQ(right->GetStartTick(), T(500));
    seg.SplitForIDB(&left, &right, T(500));
    EXPECT_TRUE(left->IsComputed() && right->IsComputed());
    EXPECT_TRUE(Test_Asserts([&] { seg.SetTempo(100, T(kBeat)); }, "this->CanSetTempo()"));
    seg.SetTicksPerBeat(T(kBeat / 2));
    EXPECT_DOUBLE_EQ(seg.GetBeatsPerMinute(), 180.0);
    EXPECT_TRUE(Test_Asserts([&] { seg.SetTicksPerBeat(T(0)); }, "iTicksPerBeat != 0"));
    EXPECT_TRUE(Test_Asserts([&] { map.AddSegment(nullptr); }, "0 != iSegmentP.get()"));
}

TEST(Time_TempoMap, ComputedSegmentFollowsItsLockedNeighbours)
{
    std::vector<Time_TempoMapSegment::Ptr> segs;
    segs.push_back(Seg(kOrigin, 100.0, 0, true));
    segs.push_back(Seg(kOrigin + 4 * kBeat, 100.0, 88200));
    Map map(std::move(segs));
    EXPECT_EQ(map.BpmAt(kOrigin + kBeat), 120.0);
    EXPECT_EQ(map.At(0).GetBeatsPerMinute(), 120.0);
    EXPECT_FALSE(map.IsAllChanges());
    EXPECT_TRUE(map.IsAllIDB());
    map.SegmentBegin()[1]->LockToSample(S(44100)); // moved, then an edit rebuilds
    map.SetSampleRate(kRate);
    EXPECT_EQ(map.BpmAt(kOrigin + kBeat), 240.0);
    EXPECT_EQ(map.At(0).GetBeatsPerMinute(), 240.0);
    EXPECT_EQ(map.TickToSample(T(kOrigin + 2 * kBeat)), S(22050));
}

TEST(Time_TempoMap, ValidateBetweenIDBsTellsWhetherTheComputedTempoStaysPositive)
{
    // moveLastTo: the last IDB moved there without a rebuild (-1: stays); derived: the computed
    // segment's tempo afterwards (0: not checked)
    const std::tuple<const char*, int64_t, bool, double> rows[] = {
        {"0:?@0cs 4:?@88200", -1, true, 120.0},
        {"0:120@0s 2:60c 4:?@88200", -1, true, 120.0},
        {"0:120@0s 2:60c 4:?@88200", 22050, false, 0.0}, // the stated tempo runs past it
        {"0:?@0cs 4:?@88200", 0, false, 0.0},
    };
    for (const auto& [text, moveLastTo, valid, derived] : rows)
    {
        SCOPED_TRACE(text);
        Map map{std::string(text)};
        auto first = map.SegmentBegin(), last = map.SegmentEnd() - 1;
        if (moveLastTo >= 0)
            (*last)->LockToSample(S(moveLastTo));
        auto computed = std::find_if(first, last, [](const auto& s) { return s->IsComputed(); });
        EXPECT_EQ(map.ValidateBetweenIDBs(first, last, computed), valid);
        if (derived != 0.0)
        {
            EXPECT_EQ(static_cast<const Time_ConstantTempoSeg&>(**computed).GetBeatsPerMinute(),
                      derived);
        }
    }
}

TEST(Time_TempoMap, FixUpOnALockedTickRepairsBothSpans)
{
    const int64_t mid = kOrigin + 4 * kBeat;
    std::vector<Time_TempoMapSegment::Ptr> segs;
    segs.push_back(Seg(kOrigin, 120.0, 0));
    segs.push_back(Seg(kOrigin + kBeat, 120.0, -1, true));
    segs.push_back(Seg(kOrigin + 2 * kBeat, 120.0, -1, true)); // a second computed: cleared
    segs.push_back(Seg(mid, 120.0, 88200));
    segs.push_back(Seg(mid + kBeat, 120.0));
    segs.push_back(Seg(mid + 4 * kBeat, 120.0, 2 * 88200));
    segs.push_back(Seg(mid + 5 * kBeat, 120.0));
    Map map(std::move(segs));
    map.FixUpComputedFlagsAroundTick(T(mid));
    const bool expected[] = {false, true, false, true, false, false, false};
    for (size_t i = 0; i < std::size(expected); ++i)
        EXPECT_EQ(map.At(i).IsComputed(), expected[i]) << i;
    EXPECT_EQ(map.TickToSample(T(mid + 2 * kBeat)), S(88200 + 44100));
    map.SegmentBegin()[6]->SetIsComputed(true); // after the last locked: cleared
    map.FixUpComputedFlagsAroundTick(T(mid + 5 * kBeat));
    EXPECT_FALSE(map.At(6).IsComputed());
}

TEST(Time_TempoMap, LengthConstraintsOfARange)
{
    std::vector<Time_TempoMapSegment::Ptr> segs;
    segs.push_back(Seg(kOrigin, 120.0, 0, true));
    segs.push_back(Seg(kOrigin + 2 * kBeat, 120.0));
    segs.push_back(Seg(kOrigin + 4 * kBeat, 120.0, 88200));
    Map map(std::move(segs));
    const Time_TempoLimits limits;
    Time_TempoMap::LengthConstraints c;
    map.GetLengthConstraintsForRange(&c, T(kOrigin), T(kOrigin + 4 * kBeat), limits);
    EXPECT_TRUE(c.mIsFixed);
    EXPECT_EQ(c.mMinimum, 88200.0);
    EXPECT_EQ(c.mMaximum, 88200.0);
    map.GetLengthConstraintsForRange(&c, T(kOrigin), T(kOrigin + 5 * kBeat), limits);
    EXPECT_TRUE(c.mIsUnconstrained);
    // The last two beats: the two beats of the computed segment give way between 5 and 500 qpm.
    map.GetLengthConstraintsForRange(&c, T(kOrigin + 2 * kBeat), T(kOrigin + 4 * kBeat), limits);
    EXPECT_FALSE(c.mIsFixed || c.mIsUnconstrained);
    EXPECT_DOUBLE_EQ(c.mMinimum, 88200.0 - 2 * kRate * 60.0 / 5.0);
    EXPECT_DOUBLE_EQ(c.mMaximum, 88200.0 - 2 * kRate * 60.0 / 500.0);
}

TEST(Time_TempoMap, RangeEditsQueriesAndUndo)
{
    const std::string text = "0:120@0s 4:90 8:60@100000 12:140";
    const std::tuple<const char*, std::function<void(Time_TempoMap&)>, const char*> rows[] = {
        {"erase by tick", [](auto& m) { m.EraseSegments(B(4), B(12)); }, "0:120@0s 12:140"},
        {"erase locked by sample",
         [](auto& m) { m.EraseLockedSegmentsBySample(S(50000), S(200000)); },
         "0:120@0s 4:90 12:140"},
        {"erase the first locked run", [](auto& m) { m.EraseLockedSegmentsBySample(S(0), S(1)); },
         "4:90 8:60@100000 12:140"},
        {"locked run with the unlocked inside",
         [](auto& m) { m.EraseLockedSegmentsBySample(S(0), S(100001)); }, "12:140"},
        {"offset", [](auto& m) { m.Offset(S(1000)); }, "0:120@1000s 4:90 8:60@101000 12:140"},
    };
    for (const auto& [name, edit, after] : rows)
    {
        SCOPED_TRACE(name);
        Map map(text);
        const auto state = map.NdoGetState();
        const Bytes before = Save(map);
        edit(map);
        EXPECT_EQ(Describe(map), after);
        map.NdoRestoreState(*state);
        EXPECT_EQ(Save(map), before);
    }
    Map map(text);
    double high = 0, low = 0;
    map.GetMaxMinBPM(B(2), B(10), &high, &low);
    EXPECT_EQ(std::make_pair(high, low), std::make_pair(120.0, 60.0));
    map.GetMaxMinBPM(B(13), B(20), &high, &low);
    EXPECT_EQ(std::make_pair(high, low), std::make_pair(140.0, 140.0));
    EXPECT_EQ(map.FindSegmentBySample(S(88200)), map.SegmentBegin() + 1);
    EXPECT_EQ(map.FindSegmentBySample(S(88201)), map.SegmentBegin() + 2);
    // A copy is whole and independent: same bytes and conversions, its own segments.
    Time_TempoMap copy;
    copy = map;
    EXPECT_EQ(Save(copy), Save(map));
    EXPECT_EQ(copy.TickToSample(B(10)), map.TickToSample(B(10)));
    copy.Offset(S(5));
    EXPECT_EQ(copy.TickToSample(B(0)), S(5));
    EXPECT_EQ(map.TickToSample(B(0)), S(0));
}

TEST(Time_TempoMap, EditBracketOrderIsObservable)
{
    Map map;
    struct Recorder : Time_TempoMap::ListenerList::Observer
    {
        Time_TempoMap* mMapP;
        std::vector<std::pair<int, int32_t>> mSeen;
        std::vector<int64_t> mSampleAtChange;
        void Notify(Time_TempoMapMessage& m) override
        {
            mSeen.push_back({m.mKind, m.mEditCount});
            if (m.mKind == Time_TempoMapMessage::eValueChanged)
                mSampleAtChange.push_back(
                    mMapP->GetBasicMap().TickToSample(T(kOrigin + kBeat)).AsInt64());
        }
    } rec;
    rec.mMapP = &map;
    map.GetListenerList().AddObserver(rec);
    {
        Time_TempoMap_StEditOptimizer edit(map);
        map.AddSegment(Seg(kOrigin, 60.0, 0));
        map.AddSegment(Seg(kOrigin + kBeat, 240.0));
    }
    using M = Time_TempoMapMessage;
    const std::vector<std::pair<int, int32_t>> expected = {{M::eAboutToModify, 0},
                                                           {M::eAboutToModify, 1},
                                                           {M::eAboutToModify, 1},
                                                           {M::eValueChanged, 0}};
    EXPECT_EQ(rec.mSeen, expected);
    EXPECT_EQ(rec.mSampleAtChange, std::vector<int64_t>{44100}); // rebuilt before the message
    map.GetListenerList().RemoveObserver(rec);
    EXPECT_TRUE(Test_Asserts([&] { map.EndEdit(); }, "mEditCount > 0"));
}

TEST(Time_TempoMap, RandomMapsKeepTheRoundingRelations)
{
    std::mt19937 rng(20261124);
    int mixed = 0;
    for (int round = 0; round < 3000; ++round)
    {
        RandomMap map(rng, round % 2 == 1);
        mixed += !map.IsAllChanges();
        // A third of the maps are moved so that some or all of their segments start at
        // negative samples (the sample lookups order negative starts too).
        if (round % 3 == 2)
            map.Offset(S(-static_cast<int64_t>(rng() % 20'000'000)));
        Test_Out out;
        map.StreamOut(*out);
        Test_In in(out.Get());
        Time_TempoMap loaded;
        loaded.SetSampleRate(kRate);
        loaded.StreamIn(*in);
        std::uniform_int_distribution<int64_t> ticks(kOrigin - 16 * kBeat, kOrigin + 200 * kBeat);
        std::vector<int64_t> walk(20);
        for (int64_t& t : walk)
            t = ticks(rng);
        std::sort(walk.begin(), walk.end());
        struct Expected
        {
            Time_Sample mSample, mFirstSample;
            Time_Tick mFirstTick;
        };
        std::vector<Expected> expected;
        for (int64_t tick : walk)
        {
            const Time_Tick t = T(tick);
            SCOPED_TRACE(testing::Message() << "round " << round << " tick " << t.AsInt64());
            const Time_Sample s = map.TickToSample(t);
            ASSERT_EQ(map.TickToSample(map.SampleToTick(s)), s);
            const Time_Sample first = map.TickToFirstSample(t);
            ASSERT_GE(map.SampleToTick(first), t);
            ASSERT_LT(map.SampleToTick(first - S(1)), t);
            const Time_Tick firstTick = map.SampleToFirstTick(s);
            ASSERT_EQ(map.TickToSample(firstTick), s);
            ASSERT_LT(map.TickToSample(firstTick - T(1)), s);
            ASSERT_EQ(loaded.TickToSample(t), s);
            ASSERT_EQ(loaded.SampleToTick(s), map.SampleToTick(s));
            expected.push_back({s, first, firstTick});
        }
        // The monotone walks give what the full lookups gave.
        for (size_t i = 0; i < walk.size(); ++i)
        {
            ASSERT_EQ(loaded.NextTickToSample(T(walk[i])), expected[i].mSample) << i;
            ASSERT_EQ(loaded.NextTickToFirstSample(T(walk[i])), expected[i].mFirstSample) << i;
        }
        for (size_t i = 0; i < walk.size(); ++i)
            ASSERT_EQ(loaded.NextSampleToFirstTick(expected[i].mSample), expected[i].mFirstTick)
                << i;
    }
    EXPECT_GT(mixed, 1000);
}

TEST(Time_TempoMap, SavedFormIsBigEndianAndReadsOldForms)
{
    Map map;
    map.AddSegment(Seg(kOrigin + kBeat, 90.0));
    const Bytes bytes = Save(map);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 7), (Bytes{'T', 'e', 'm', 'p', 'o', 0, 2}));
    // "Prev" first reads as 120 bpm, after a constant segment it takes that one's tempo; old
    // "TMS" and "Const" blocks read their missing flags as false.
    const std::tuple<const char*, Bytes, double> rows[] = {
        {"prev first", TempoBlock(1, {{1, OldSeg("Prev", kOrigin, 0, 0)}}), 120.0},
        {"prev after const",
         TempoBlock(2, {{0, OldSeg("Const", kOrigin, 0, 90.0)},
                        {1, OldSeg("Prev", kOrigin + kBeat, -1, 0)}}),
         90.0}};
    for (const auto& [name, bytes, expected] : rows)
    {
        SCOPED_TRACE(name);
        Test_In in(bytes);
        Time_TempoMap loaded;
        loaded.StreamIn(*in);
        double bpm = 0;
        Time_Tick perBeat;
        loaded.GetTempoAtTick(&bpm, &perBeat, T(kOrigin + 2 * kBeat));
        EXPECT_EQ(bpm, expected);
        EXPECT_FALSE(loaded.SegmentBegin()[0]->IsCopyAnchor());
        EXPECT_TRUE(loaded.SegmentBegin()[0]->IsSongStart()); // supplied by EnsureSongStart
    }
}

TEST(Time_TempoMap, BadBytesFailCleanlyAndLeaveTheMap)
{
    Map map;
    map.AddSegment(Seg(kOrigin + kBeat, 90.0));
    const Bytes good = Save(map);
    auto load = [&](const Bytes& iBytes)
    { return [&map, iBytes] { map.StreamIn(*Test_In(iBytes)); }; };
    EXPECT_TRUE(Test_ThrowsL10N(load(TempoBlock(-1, {})), 14, 28));
    EXPECT_TRUE(Test_ThrowsL10N(load(TempoBlock(1, {{2, OldSeg("Prev", 0, 0, 0)}})), 14, 38));
    // A huge count over a short stream (truncations are the fuzz target's): the library's own
    // failure, and the map as it was.
    Bytes huge = good;
    huge[11] = 0x7F;
    EXPECT_THROW(load(huge)(), L10N_Exception);
    EXPECT_EQ(Save(map), good);
    // Locked segments that leave no room fail the rebuild at the close of the bracket, as an
    // assertion that reaches the caller.
    EXPECT_TRUE(Test_Asserts(
        [&]
        {
            Time_TempoMap_StEditOptimizer edit(map);
            map.AddSegment(Seg(kOrigin, 120.0, 0, true));
            map.AddSegment(Seg(kOrigin + kBeat, 120.0, 0));
        },
        "iFractionalEndSample > iFractionalStartSample"));
}

TEST(Time_TempoMap, ReadersUnderTheReadLockSeeWholeMaps)
{
    Map map;
    EXPECT_EQ(ReadsOutside(map, T(kOrigin + 2 * kBeat), {44100, 22050 + 11025}, 300,
                           [&](int i)
                           { map.AddSegment(Seg(kOrigin + kBeat, i % 2 ? 240.0 : 120.0)); }),
              0);
}

// ---- the seeds of fuzz/TempoMapFuzz.cpp: saved maps, cross-platform ----------------------------
TEST(Time_TempoMap, FuzzSeedsAreUpToDate)
{
    std::mt19937 rng(7);
    Test_CheckFuzzSeeds("TempoMapFuzz",
                        {{"empty", Save(Map())},
                         {"changes", Save(RandomMap(rng, false))},
                         {"idb", Save(RandomMap(rng, true))},
                         {"old_prev", TempoBlock(2, {{0, OldSeg("Const", kOrigin, 0, 90.0)},
                                                     {1, OldSeg("Prev", kOrigin + kBeat, -1, 0)}})},
                         {"bad_type", TempoBlock(1, {{5, OldSeg("Prev", 0, 0, 0)}})}});
}
