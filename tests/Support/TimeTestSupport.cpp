#include "Support/TimeTestSupport.h"

#include <cstdlib>
#include <filesystem>

#include "Support/FFTestSupport.h"
#include "Time/Time_MeterMap.h"
#include "Time/Time_TempoMap.h"

void Time_StaticsFixture::SetUp()
{
    mSampleRate = Time_Globals::sSampleRate;
    mFormat = Time_SMPTE::sGlobalTimeCodeFormat;
    mFrameOffset = Time_SMPTE::sFrameOffset;
    mFeetRate = Time_FeetFrame::sGlobalFeetFramesRate;
    mFeetOffset = Time_FeetFrame::sGlobalFeetFramesOffset;
    mHandler = Time_Typed::GetTypeMismatchHandler();
    for (int media = 0; media < 2; ++media)
        for (int type = 0; type < 2; ++type)
            mPull[media][type] = Time_Globals::sPullFactors[media][type];
}

void Time_StaticsFixture::TearDown()
{
    Time_Globals::sSampleRate = mSampleRate;
    Time_SMPTE::sGlobalTimeCodeFormat = mFormat;
    Time_SMPTE::sFrameOffset = mFrameOffset;
    Time_FeetFrame::sGlobalFeetFramesRate = mFeetRate;
    Time_FeetFrame::sGlobalFeetFramesOffset = mFeetOffset;
    Time_Typed::SetTypeMismatchHandler(mHandler);
    for (int media = 0; media < 2; ++media)
        for (int type = 0; type < 2; ++type)
            Time_Globals::sPullFactors[media][type] = mPull[media][type];
}

void Test_FillRandomTempoMap(Time_TempoMap& ioMap, std::mt19937& ioRng, bool iIDB, double iRate)
{
    constexpr int64_t kBeat = Time_cInternalTicksPerQuarterNote;
    std::uniform_real_distribution<double> bpm(30.0, 300.0), skew(0.8, 1.2);
    std::uniform_int_distribution<int64_t> gap(1, 16 * kBeat), count(1, 12);
    ioMap.SetSampleRate(iRate);
    Time_TempoMap_StEditOptimizer edit(ioMap);
    ioMap.Clear();
    int64_t tick = Time_cDefaultOriginTick + gap(ioRng) - 8 * kBeat;
    double sample = 1000.0 * static_cast<double>(count(ioRng));
    const int64_t n = count(ioRng);
    for (int64_t i = 0; i < n; ++i)
    {
        const double b = bpm(ioRng);
        auto seg = std::make_unique<Time_ConstantTempoSeg>(Time_Tick(tick), b, Time_Tick(kBeat));
        const bool lock = i == 0 || (iIDB && ioRng() % 2);
        if (lock)
            seg->LockToSample(Time_Sample(static_cast<int64_t>(sample)));
        ioMap.AddSegment(std::move(seg));
        const int64_t g = gap(ioRng);
        // Only a locked segment's own span is skewed: that segment is the computed one.
        sample += static_cast<double>(g) * iRate * 60.0 / (kBeat * b) *
                  (lock && i > 0 ? skew(ioRng) : 1.0);
        tick += g;
    }
    ioMap.EnsureSongStart();
    for (auto it = ioMap.SegmentBegin(); it != ioMap.SegmentEnd(); ++it)
        if ((*it)->IsLockedToSample())
            ioMap.FixUpComputedFlagsAroundTick((*it)->GetStartTick());
}

void Test_FillRandomMeterMap(Time_MeterMap& ioMap, std::mt19937& ioRng)
{
    constexpr int64_t kBeat = Time_cInternalTicksPerQuarterNote;
    std::uniform_int_distribution<int> num(1, 13), den(0, 4), count(0, 6), bar(-3, 9);
    std::uniform_int_distribution<int64_t> gap(1, 40 * kBeat);
    ioMap.Clear();
    int64_t tick = Time_cDefaultOriginTick - gap(ioRng);
    ioMap.AddInitialMeterChange(Time_Tick(tick), Time_Meter(num(ioRng), 1 << den(ioRng)),
                                bar(ioRng));
    for (int i = count(ioRng); i > 0; --i)
    {
        tick += gap(ioRng);
        ioMap.AddMeterChange(Time_Tick(tick), Time_Meter(num(ioRng), 1 << den(ioRng)));
    }
}

void Test_CheckFuzzSeeds(const std::string& iTarget,
                         const std::vector<std::pair<std::string, Bytes>>& iSeeds)
{
    WriteFuzzSeeds(iSeeds);
    const char* source = std::getenv("MIRAFILE_SOURCE_DIR");
    if (!source)
        return;
    for (const auto& [name, bytes] : iSeeds)
    {
        const auto path = std::filesystem::path(source) / "fuzz/seeds" / iTarget / name;
        ASSERT_TRUE(std::filesystem::exists(path))
            << name << " missing: run with MIRAFILE_WRITE_FUZZ_SEEDS";
        EXPECT_EQ(ReadBytes(path.string()), bytes) << name << " out of date";
    }
}
