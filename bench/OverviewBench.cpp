// Waveform overviews: the decimating stage on blocks in memory, the whole computation of a
// file through its chain, and the overview cache with 10,000 entries (Find, and opening it,
// which reads the whole index).
//
// The file (one minute of 24-bit stereo at 48 kHz, noise, 17.28 MB of samples) and the cache
// are made once in a temporary folder (MIRAFILE_BENCH_DIR, else the system's) and read once
// whole before timing, so that they come from the page cache. The whole-file comparison with
// other tools is bench/overview_vs_tools.sh.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewCache.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewUtils.h"
#include "FF/Audio/Processing/Overview/FF_AudioProcessDecimateWaveform.h"
#include "Sys_FileLoc.h"

namespace
{
constexpr int32_t cRate = 48000;
constexpr int64_t cFrames = int64_t(cRate) * 60;
constexpr int32_t cCacheEntries = 10000;

class BenchFiles
{
public:
    static BenchFiles& Get()
    {
        static BenchFiles sFiles;
        return sFiles;
    }
    const std::string& AudioPath() const { return mAudioPath; }
    const std::string& CachePath() const { return mCachePath; }
    FF_AudioOverviewCache::OverviewKey Key(int32_t iN) const
    {
        FF_AudioOverviewCache::OverviewKey key;
        key.mFileID = Sys_Umid(0, 42, uint32_t(iN) * 2654435761u, uint32_t(iN));
        key.mPath = Sys_FileLoc(mDir + "/audio/take " + std::to_string(iN) + ".wav");
        key.mFileModTime = 1700000000000000 + iN;
        return key;
    }

private:
    BenchFiles()
    {
        const char* base = std::getenv("MIRAFILE_BENCH_DIR");
        mDir = (base ? std::string(base) : std::filesystem::temp_directory_path().string()) +
               "/mirafile-overview-bench-" + std::to_string(::getpid());
        std::filesystem::create_directories(mDir);
        mAudioPath = mDir + "/noise.wav";
        {
            FF_AudioFileRef file(
                new FF_AudioFile(eAudioFileType_WAVE, Sys_FileLoc(mAudioPath), 2, 24, cRate, 0, 0));
            file->Open(Cmn_Store::eOpenFlag_OpenCreate);
            std::mt19937 random(1);
            std::vector<unsigned char> block(65536 * 6);
            for (int64_t done = 0; done < cFrames; done += 65536)
            {
                for (unsigned char& b : block)
                    b = uint8_t(random());
                file->Write(block.data(), std::min<int64_t>(65536, cFrames - done),
                            eByteOrder_Little, true);
            }
            file->Flush();
            file->Close();
        }
        mCachePath = mDir + "/WaveCache";
        FF_AudioOverviewCache cache{Sys_FileLoc(mCachePath)};
        cache.Open(Cmn_Store::eOpenFlag_OpenCreate);
        // Overviews of one to ten minutes at 48 kHz: 22 to 225 kB each would make a cache of
        // over a gigabyte; the index is what Find and Open work on, so the payloads are small.
        const FF_AudioOverview payload = FF_AudioOverviewMgr::Allocate(256 * 64);
        for (int32_t n = 0; n < cCacheEntries; ++n)
            cache.Add(Key(n), payload);
        cache.Close();
    }
    ~BenchFiles()
    {
        std::error_code ec;
        std::filesystem::remove_all(mDir, ec);
    }

    std::string mDir, mAudioPath, mCachePath;
};

// The stage alone, as the consumer of 24-bit stereo blocks of 32,768 samples.
void BM_DecimateBlocks24BitStereo(benchmark::State& state)
{
    const int64_t perBlock = 32768;
    const int64_t blocks = 64;
    FF_AudioProcessBlock block(2, cRate, 24, perBlock, perBlock * blocks);
    std::mt19937 random(3);
    for (size_t c = 0; c < 2; ++c)
        for (int64_t i = 0; i < perBlock * 3; ++i)
            block.GetBuffer(c)[i] = char(random());
    for (auto _ : state)
    {
        std::vector<FF_AudioOverview> overviews = {
            FF_AudioOverviewMgr::Allocate(perBlock * blocks),
            FF_AudioOverviewMgr::Allocate(perBlock * blocks)};
        FF_AudioProcessDecimateWaveform stage(256, {FF_AudioOverview::LockingRef(overviews[0]),
                                                    FF_AudioOverview::LockingRef(overviews[1])});
        FF_AudioProcessBlock prototype(block);
        stage.Preflight(&prototype);
        for (int64_t b = 0; b < blocks; ++b)
            stage.Process(&block, nullptr);
        benchmark::DoNotOptimize(overviews[0].GetBuffer()[0]);
    }
    state.SetBytesProcessed(state.iterations() * perBlock * blocks * 6);
}
BENCHMARK(BM_DecimateBlocks24BitStereo)->Unit(benchmark::kMillisecond);

// The whole computation: read, mix to mono, decimate, through the chain on the workers.
void BM_ComputeOverviewOfAFile(benchmark::State& state)
{
    const std::string& path = BenchFiles::Get().AudioPath();
    for (auto _ : state)
    {
        FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(path)));
        const FF_AudioOverview overview = FF_AudioOverviewUtils::ComputeOverview(file);
        benchmark::DoNotOptimize(overview.GetBuffer()[0]);
    }
    state.SetBytesProcessed(state.iterations() * cFrames * 6);
}
BENCHMARK(BM_ComputeOverviewOfAFile)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_CacheFindIn10000(benchmark::State& state)
{
    BenchFiles& files = BenchFiles::Get();
    FF_AudioOverviewCache cache{Sys_FileLoc(files.CachePath())};
    cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
    std::vector<FF_AudioOverviewCache::OverviewKey> keys;
    std::mt19937 random(9);
    for (int32_t i = 0; i < 1024; ++i)
        keys.push_back(files.Key(int32_t(random() % cCacheEntries)));
    size_t next = 0;
    for (auto _ : state)
    {
        FF_AudioOverview overview;
        benchmark::DoNotOptimize(cache.Find(keys[next++ % keys.size()], &overview));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CacheFindIn10000)->Unit(benchmark::kMicrosecond);

void BM_CacheOpen10000(benchmark::State& state)
{
    BenchFiles& files = BenchFiles::Get();
    for (auto _ : state)
    {
        FF_AudioOverviewCache cache{Sys_FileLoc(files.CachePath())};
        cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
        benchmark::DoNotOptimize(cache.GetNumEntries());
        cache.Close();
    }
}
BENCHMARK(BM_CacheOpen10000)->Unit(benchmark::kMillisecond);
} // namespace
