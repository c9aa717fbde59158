// Opening an OMF file and walking it.
//
//  - BM_OMFOpenAndDump/<n>: open a 2.x file of about n objects (one composition of two
//    tracks of clips, one embedded medium) from disk (page cache) and walk every property of
//    every object reachable from the head (OMF_Dump: each value read and shown);
//  - BM_OMFOpenAndSummarize/<n>: open the same file and walk it through the typed layer
//    (OMF_Summarize: mobs, slots, descriptors, media).
// The file is written once per size under the temporary folder, outside the timing.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <map>
#include <string>
#include <unistd.h>

#include "FF/OMF/OMF_FileWriter.h"
#include "FF/OMF/OMF_Inspect.h"
#include "FF/OMF/OMF_Object.h"
#include "Sys_FileLoc.h"

namespace
{
std::string FileOf(int64_t iObjects)
{
    static std::map<int64_t, std::string> sFiles;
    auto it = sFiles.find(iObjects);
    if (it != sFiles.end())
        return it->second;
    const char* base = std::getenv("TMPDIR");
    const std::string path = std::string(base ? base : "/tmp") + "/mirafile-omfbench-" + std::to_string(::getpid()) +
                             "-" + std::to_string(iObjects) + ".omf";
    OMF_FileSpec description;
    OMF_FileSpec::Media media;
    media.mName = "tone";
    media.mSourceID = {42, 1, 1};
    media.mMasterID = {42, 1, 2};
    media.mBytes.assign(4096, 0);
    media.mLength = 1024;
    description.mMedia = {media};
    OMF_FileSpec::Composition song{"song", {42, 9, 9}, {{}, {}}};
    const int64_t clips = (iObjects - 17) / 2; // the rest: head, definitions, mobs, slots
    for (int64_t i = 0; i < clips; ++i)
    {
        song.mTracks[0].push_back({0, int32_t(i % 1000), 24});
        song.mTracks[1].push_back({0, int32_t((i * 7) % 1000), 24});
    }
    description.mCompositions = {song};
    OMF_WriteFile(Sys_FileLoc(path), description);
    return sFiles.emplace(iObjects, path).first->second;
}

void BM_OMFOpenAndDump(benchmark::State& state)
{
    const std::string path = FileOf(state.range(0));
    size_t properties = 0;
    for (auto _ : state)
    {
        OMF_File file{Sys_FileLoc(path)};
        const std::vector<OMF_DumpObject> objects = OMF_Dump(file);
        properties = 0;
        for (const OMF_DumpObject& object : objects)
            properties += object.mProperties.size();
        state.counters["objects"] = double(objects.size());
        benchmark::DoNotOptimize(properties);
    }
    state.counters["properties"] = double(properties);
}
BENCHMARK(BM_OMFOpenAndDump)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_OMFOpenAndSummarize(benchmark::State& state)
{
    const std::string path = FileOf(state.range(0));
    for (auto _ : state)
    {
        OMF_File file{Sys_FileLoc(path)};
        const OMF_Summary summary = OMF_Summarize(file);
        state.counters["objects"] = double(summary.mObjects);
        benchmark::DoNotOptimize(summary.mTracks);
    }
}
BENCHMARK(BM_OMFOpenAndSummarize)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
} // namespace
