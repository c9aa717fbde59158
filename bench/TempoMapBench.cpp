// Tempo map conversions and the conversion of a whole map to identified beats.
//
//  - BM_TickToSample/<n>, BM_SampleToTick/<n>: one conversion on a map of n segments (tempo
//    changes every beat after a locked song start), at positions spread over the whole map
//    in an order that defeats the cursor and the caches;
//  - BM_NextTickToSample/<n>: the monotone walk, one conversion per step of a tenth of a beat;
//  - BM_ConvertAllToIDB/<n>: Time_TempoEdit::ConvertAllToIDB of a map of n tempo changes,
//    including the rebuild of the basic list at the close of the edit (the copy of the
//    source map is made outside the timing).
#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <vector>

#include "Time/Time_TempoEdit.h"

namespace
{
constexpr int64_t kBeat = Time_cInternalTicksPerQuarterNote;
constexpr int64_t kOrigin = Time_cDefaultOriginTick;

void FillChanges(Time_TempoMap& ioMap, int64_t iSegments)
{
    Time_TempoMap_StEditOptimizer edit(ioMap);
    ioMap.SetSampleRate(48000.0);
    std::mt19937 rng(static_cast<uint32_t>(iSegments));
    std::uniform_real_distribution<double> bpm(60.0, 180.0);
    for (int64_t i = 0; i < iSegments; ++i)
    {
        auto seg = std::make_unique<Time_ConstantTempoSeg>(Time_Tick(kOrigin + i * kBeat), bpm(rng),
                                                           Time_Tick(kBeat));
        if (i == 0)
        {
            seg->LockToSample(Time_Sample(0));
            seg->SetIsSongStart(true);
        }
        ioMap.AddSegment(std::move(seg));
    }
}

// 4096 positions over the map (and a little past its end), shuffled.
std::vector<int64_t> Positions(int64_t iSegments, int64_t iScale, int64_t iOffset)
{
    std::vector<int64_t> positions(4096);
    std::mt19937 rng(7);
    std::uniform_int_distribution<int64_t> pick(0, (iSegments + 1) * iScale);
    for (int64_t& p : positions)
        p = iOffset + pick(rng);
    return positions;
}

void BM_TickToSample(benchmark::State& ioState)
{
    Time_TempoMap map;
    FillChanges(map, ioState.range(0));
    const std::vector<int64_t> ticks = Positions(ioState.range(0), kBeat, kOrigin);
    size_t i = 0;
    for (auto _ : ioState)
    {
        benchmark::DoNotOptimize(map.TickToSample(Time_Tick(ticks[i])));
        i = (i + 1) & 4095;
    }
}
BENCHMARK(BM_TickToSample)->Arg(1)->Arg(100)->Arg(10000);

void BM_SampleToTick(benchmark::State& ioState)
{
    Time_TempoMap map;
    FillChanges(map, ioState.range(0));
    // A beat lasts between 16,000 and 48,000 samples here.
    const std::vector<int64_t> samples = Positions(ioState.range(0), 16000, 0);
    size_t i = 0;
    for (auto _ : ioState)
    {
        benchmark::DoNotOptimize(map.SampleToTick(Time_Sample(samples[i])));
        i = (i + 1) & 4095;
    }
}
BENCHMARK(BM_SampleToTick)->Arg(1)->Arg(100)->Arg(10000);

void BM_NextTickToSample(benchmark::State& ioState)
{
    Time_TempoMap map;
    FillChanges(map, ioState.range(0));
    const int64_t end = kOrigin + ioState.range(0) * kBeat;
    int64_t tick = kOrigin;
    for (auto _ : ioState)
    {
        benchmark::DoNotOptimize(map.NextTickToSample(Time_Tick(tick)));
        tick += kBeat / 10;
        if (tick >= end)
            tick = kOrigin;
    }
}
BENCHMARK(BM_NextTickToSample)->Arg(1)->Arg(10000);

void BM_ConvertAllToIDB(benchmark::State& ioState)
{
    Time_TempoMap source;
    FillChanges(source, ioState.range(0));
    std::unique_ptr<Time_TempoMap> mapP;
    for (auto _ : ioState)
    {
        ioState.PauseTiming();
        mapP = std::make_unique<Time_TempoMap>(); // the last one is destroyed untimed
        mapP->ReplaceWith(source);
        mapP->UpdateBasicMapIfNeeded();
        ioState.ResumeTiming();
        Time_TempoEdit(mapP.get()).ConvertAllToIDB();
        benchmark::DoNotOptimize(mapP->GetNumberOfSegments());
    }
}
BENCHMARK(BM_ConvertAllToIDB)->Arg(10000)->Unit(benchmark::kMillisecond);
} // namespace
