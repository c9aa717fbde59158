// The saved map file: tempo and meter maps saved and loaded convert identically; bad bytes
// fail cleanly; the seeds of fuzz/MapFileFuzz.cpp.
#include <gtest/gtest.h>

#include <random>

#include "Support/SysTestSupport.h"
#include "Support/TimeTestSupport.h"
#include "Sys/Sys_StdStreamHeader.h"
#include "Sys/Sys_TypedStream.h"
#include "Time/Time_MapFile.h"
#include "Time/Time_MeterMap.h"
#include "Time/Time_TempoMap.h"

namespace
{
constexpr int64_t kQ = Time_cInternalTicksPerQuarterNote;

struct Maps
{
    Time_TempoMap mTempo;
    Time_MeterMap mMeter;
    Bytes Save() const { return Time_MapFile::Save(mTempo, mMeter); }
    void Load(const Bytes& iBytes) { Time_MapFile::Load(iBytes, mTempo, mMeter); }
};

// Random maps in the three regimes of the tempo map: default, all changes, with locked beats.
void FillRandom(Maps& ioMaps, std::mt19937& ioRng, int iKind)
{
    if (iKind == 0)
    {
        // A session's map always has a song start (reading supplies one), so it reads back as
        // it was saved.
        ioMaps.mTempo.EnsureSongStart();
        return;
    }
    Test_FillRandomTempoMap(ioMaps.mTempo, ioRng, iKind == 2, iKind == 2 ? 48000.0 : 44100.0);
    Test_FillRandomMeterMap(ioMaps.mMeter, ioRng);
}

// A hand-made file around iBody (sample rate and what follows).
Bytes MapFile(int16_t iVersion, const std::function<void(Sys_TypedOutStream&)>& iBody)
{
    Test_Out out;
    Sys_StdStreamHeaderWriter header(*out, "MapFile", iVersion);
    iBody(*out);
    header.PatchSize();
    return out.Get();
}
} // namespace

TEST(Time_MapFile, SavedMapsConvertEveryPositionIdentically)
{
    std::mt19937 rng(5);
    std::uniform_int_distribution<int64_t> tick(-80 * kQ, 400 * kQ), sample(-1000, 20000000);
    for (int round = 0; round < 60; ++round)
    {
        Maps maps, loaded;
        FillRandom(maps, rng, round % 3);
        const Bytes saved = maps.Save();
        loaded.Load(saved);
        ASSERT_EQ(loaded.Save(), saved) << round;
        ASSERT_EQ(loaded.mTempo.GetSampleRate(), maps.mTempo.GetSampleRate());
        for (int i = 0; i < 200; ++i)
        {
            const Time_Tick t(Time_cDefaultOriginTick + tick(rng));
            const Time_Sample s(sample(rng));
            ASSERT_EQ(loaded.mTempo.TickToSample(t), maps.mTempo.TickToSample(t)) << round;
            ASSERT_EQ(loaded.mTempo.SampleToTick(s), maps.mTempo.SampleToTick(s)) << round;
            ASSERT_EQ(loaded.mTempo.TickToFirstSample(t), maps.mTempo.TickToFirstSample(t));
            ASSERT_EQ(loaded.mTempo.SampleToFirstTick(s), maps.mTempo.SampleToFirstTick(s));
            ASSERT_TRUE(loaded.mMeter.TickToBarBeat(t) == maps.mMeter.TickToBarBeat(t)) << round;
        }
    }
}

TEST(Time_MapFile, BadFilesFailCleanlyAndLeaveTheMaps)
{
    std::mt19937 rng(3);
    Maps maps;
    FillRandom(maps, rng, 2);
    const Bytes good = maps.Save();
    Maps other;
    FillRandom(other, rng, 1);
    const size_t kHeader = 13;                                // "MapFile", version, size
    const Bytes body(good.begin() + kHeader + 8, good.end()); // the blocks after the rate
    const std::tuple<const char*, Bytes, int32_t, int32_t> rows[] = {
        {"zero rate", MapFile(1, [&](auto& out) { out << 0.0; }), 14, 28},
        {"rate not a number", MapFile(1, [&](auto& out) { out << std::nan(""); }), 14, 28},
        {"newer version", MapFile(2, [&](auto& out) { out << 48000.0; }), 2, 31},
        {"another tag", Bytes(good.begin() + kHeader, good.end()), 2, 28},
        {"no meter block",
         MapFile(1,
                 [&](auto& out)
                 {
                     out << 48000.0;
                     Time_TempoMap().StreamOut(out);
                 }),
         7, 8},
    };
    // A failed load leaves the maps as they were, even one that fails after the tempo map
    // has read; truncations and flipped bytes at every place are the fuzz target's.
    const Bytes before = other.Save();
    for (const auto& [name, bytes, package, iD] : rows)
    {
        EXPECT_TRUE(Test_ThrowsL10N([&] { other.Load(bytes); }, package, iD)) << name;
        EXPECT_EQ(other.Save(), before) << name;
    }
    EXPECT_THROW(other.Load(Bytes(good.begin(), good.end() - 1)), L10N_Exception);
    EXPECT_EQ(other.Save(), before);
    // Bytes after the meter block inside the file are skipped.
    other.Load(MapFile(1,
                       [&](auto& out)
                       {
                           out << 44100.0;
                           for (uint8_t b : body)
                               out << b;
                           out << int32_t(7);
                       }));
    EXPECT_EQ(other.mTempo.GetSampleRate(), 44100.0);
    EXPECT_EQ(Time_MapFile::Save(other.mTempo, other.mMeter).size(), good.size());
}

// Set MIRAFILE_WRITE_FUZZ_SEEDS to a folder to write them; with MIRAFILE_SOURCE_DIR set they are
// compared with fuzz/seeds/MapFileFuzz/.
TEST(Time_MapFile, FuzzSeedsAreUpToDate)
{
    std::mt19937 rng(9);
    std::vector<std::pair<std::string, Bytes>> seeds;
    for (int kind = 0; kind < 3; ++kind)
    {
        Maps maps;
        FillRandom(maps, rng, kind);
        seeds.push_back({"maps" + std::to_string(kind), maps.Save()});
    }
    seeds.push_back({"bad_rate", MapFile(1, [](auto& out) { out << -1.0; })});
    Test_CheckFuzzSeeds("MapFileFuzz", seeds);
}
