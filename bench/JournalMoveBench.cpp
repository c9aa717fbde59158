// The cost of the journal of a move in place: a WAVE file of 100 MB of samples with a second
// name (so that it cannot be rewritten beside itself) whose description (an "ANNO" chunk in
// front of the samples) alternates between a long and a short text, so that every flush moves
// the samples up or down by 2,000 bytes.
// BM_MoveJournalled times the flush (old bytes streamed into the journal and synced, the move,
// the file synced, the journal removed); BM_MoveUnjournalled times the same move of the same
// bytes as the engine made it before the journal (Sys_File::MoveBlock), with a sync of the file
// at the end. The files live in MIRAFILE_BENCH_DIR, else the system's temporary folder.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "BenchScratch.h"
#include "FF/Audio/FF_AudioFile.h"
#include "Sys_File.h"
#include "Sys_FileLoc.h"

namespace
{
using Bytes = std::vector<unsigned char>;

constexpr uint32_t cSampleBytes = 100u << 20;
constexpr int64_t cDelta = 2000;

// "take.wav" and its second name "other.wav" in a folder of their own.
class LinkedFile
{
public:
    LinkedFile()
    {
        mPath = (mScratch.Dir() / "take.wav").string();
        Bytes head = {'R', 'I', 'F', 'F'};
        Bench_PutLE(head, 4 + 8 + 16 + 8 + 2 + 8 + cSampleBytes, 4);
        head.insert(head.end(), {'W', 'A', 'V', 'E', 'f', 'm', 't', ' '});
        for (const uint32_t value : {16u, 0x00020001u, 44100u, 44100u * 4, 0x00100004u})
            Bench_PutLE(head, value, 4);
        head.insert(head.end(), {'A', 'N', 'N', 'O', 2, 0, 0, 0, 'a', 'b'});
        head.insert(head.end(), {'d', 'a', 't', 'a'});
        Bench_PutLE(head, cSampleBytes, 4);
        std::ofstream out(mPath, std::ios::binary);
        out.write(reinterpret_cast<const char*>(head.data()), std::streamsize(head.size()));
        Bytes block(1 << 20);
        for (uint32_t done = 0; done < cSampleBytes; done += uint32_t(block.size()))
        {
            for (size_t i = 0; i < block.size(); ++i)
                block[i] = static_cast<unsigned char>((done + i) * 7);
            out.write(reinterpret_cast<const char*>(block.data()), std::streamsize(block.size()));
        }
        out.close();
        std::filesystem::create_hard_link(mPath, mScratch.Dir() / "other.wav");
    }
    const std::string& Path() const { return mPath; }

private:
    Bench_ScratchFolder mScratch{"mirafile-journal-bench"};
    std::string mPath;
};

void Report(benchmark::State& ioState)
{
    ioState.SetBytesProcessed(int64_t(ioState.iterations()) * cSampleBytes);
}

void BM_MoveJournalled(benchmark::State& ioState)
{
    LinkedFile linked;
    const std::string texts[2] = {std::string(cDelta, 'a'), std::string()};
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(linked.Path())));
    file->Open(Cmn_Store::eOpenFlag_OpenForWrite);
    size_t round = 0;
    for (auto _ : ioState)
    {
        file->mDescription.Set(texts[round++ % 2]);
        file->Flush();
    }
    file->Close();
    Report(ioState);
}
BENCHMARK(BM_MoveJournalled)->Unit(benchmark::kMillisecond)->Iterations(6);

void BM_MoveUnjournalled(benchmark::State& ioState)
{
    LinkedFile linked;
    Sys_File file{Sys_FileLoc(linked.Path())};
    file.Open(Sys_File::eOpen_ForRead | Sys_File::eOpen_ForWrite | Sys_File::eOpen_Existing);
    const int syncFD = ::open(linked.Path().c_str(), O_RDONLY | O_CLOEXEC);
    const int64_t start = 54;
    size_t round = 0;
    for (auto _ : ioState)
    {
        if (round++ % 2 == 0)
        {
            file.SetEOF(start + cDelta + cSampleBytes);
            file.MoveBlock(start, cSampleBytes, cDelta);
        }
        else
        {
            file.MoveBlock(start + cDelta, cSampleBytes, -cDelta);
            file.SetEOF(start + cSampleBytes);
        }
        ::fsync(syncFD);
    }
    ::close(syncFD);
    file.Close();
    Report(ioState);
}
BENCHMARK(BM_MoveUnjournalled)->Unit(benchmark::kMillisecond)->Iterations(6);
} // namespace
