// Reading a long 24-bit stereo WAVE file through a chain, beside plain sequential reads of
// the same bytes, in one run.
//
// One file of ten minutes at 48 kHz (172.8 MB of samples) is written once through the file
// front into a temporary folder (MIRAFILE_BENCH_DIR, else the system's) and read once whole,
// so that every reader finds it in the page cache. Each iteration reads every sample once:
//  - BM_ChainReadFiles: FF_AudioProcessReadFiles (usual sizes: reads of 241920 bytes, blocks
//    of 10080 frames) -> a consumer that discards, queued on the shared workers as any chain
//    is; this thread waits for its end. Counters: allocs_per_block, calls of operator new
//    after Allocate (counted from when QueueBatchProcess returns) per block handed on.
//  - BM_PlainPread: a pread loop over the samples in reads of the same 241920 bytes.
//  - BM_PlainPreadDeinterleave: the same loop, each read also split into two channel
//    buffers: the least work a reader that hands on channels has to do.
// All run on wall time (the chain works on other threads); process_cpu_ms is the user and
// system time of all the process's threads per pass, which a busy machine does not inflate.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <new>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessChain.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadFiles.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"
#include "Sys_Event.h"
#include "Sys_FileLoc.h"

namespace
{
std::atomic<int64_t> sNews{0};
}

// Counting replacements of the global allocation functions (malloc underneath, so the
// compiler's pairing check does not apply).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t iSize)
{
    sNews.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(iSize ? iSize : 1))
        return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t iSize)
{
    return operator new(iSize);
}
void operator delete(void* iP) noexcept
{
    std::free(iP);
}
void operator delete[](void* iP) noexcept
{
    std::free(iP);
}
void operator delete(void* iP, std::size_t) noexcept
{
    std::free(iP);
}
void operator delete[](void* iP, std::size_t) noexcept
{
    std::free(iP);
}
#pragma GCC diagnostic pop

namespace
{
constexpr int32_t cRate = 48000;
constexpr int16_t cChannels = 2;
constexpr int16_t cBits = 24;
constexpr int64_t cFrameSize = cChannels * cBits / 8;
constexpr int64_t cFrames = int64_t(cRate) * 600;
constexpr int64_t cBytes = cFrames * cFrameSize;
constexpr int64_t cReadBytes = FF_AudioProcessReadFiles::cReadBlockSize;

class BenchFile
{
public:
    static BenchFile& Get()
    {
        static BenchFile sFile;
        return sFile;
    }
    const std::string& Path() const { return mPath; }
    int64_t DataOffset() const { return mDataOffset; }

    ~BenchFile()
    {
        std::error_code ec;
        std::filesystem::remove_all(mDir, ec);
    }

private:
    BenchFile()
    {
        const char* base = std::getenv("MIRAFILE_BENCH_DIR");
        std::string pattern =
            (base ? std::filesystem::path(base) : std::filesystem::temp_directory_path()) /
            "mirafile-bench-XXXXXX";
        if (!::mkdtemp(pattern.data()))
            std::abort();
        mDir = pattern;
        mPath = mDir + "/long.wav";
        FF_AudioFileRef file(new FF_AudioFile(eAudioFileType_WAVE, Sys_FileLoc(mPath), cChannels,
                                              cBits, cRate, 0, 0));
        file->Open(Cmn_Store::eOpenFlag_OpenCreate);
        constexpr int64_t block = 65536;
        std::vector<unsigned char> buffer(size_t(block * cFrameSize));
        uint32_t x = 1;
        for (auto& b : buffer)
            b = uint8_t((x = x * 1664525u + 1013904223u) >> 24);
        for (int64_t done = 0; done < cFrames; done += block)
            file->Write(buffer.data(), std::min(block, cFrames - done), eByteOrder_Native, false);
        file->Flush();
        mDataOffset = file->mOffsetToData.GetOr(0);
        file->Close();
        // Warm: every page of the file in the cache before any timing.
        const int fd = ::open(mPath.c_str(), O_RDONLY);
        std::vector<char> warm(1 << 20);
        for (int64_t at = 0, n; (n = ::pread(fd, warm.data(), warm.size(), at)) > 0;)
            at += n;
        ::close(fd);
    }

    std::string mDir;
    std::string mPath;
    int64_t mDataOffset = 0;
};

// User and system time of the whole process (every thread), in milliseconds.
double ProcessCpuMs()
{
    struct rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return (double(usage.ru_utime.tv_sec) + double(usage.ru_stime.tv_sec)) * 1e3 +
           (double(usage.ru_utime.tv_usec) + double(usage.ru_stime.tv_usec)) * 1e-3;
}

void FinishWithProcessCpu(benchmark::State& ioState, double iCpuMsBefore)
{
    ioState.SetBytesProcessed(int64_t(ioState.iterations()) * cBytes);
    ioState.counters["process_cpu_ms"] =
        ioState.iterations() ? (ProcessCpuMs() - iCpuMsBefore) / double(ioState.iterations()) : 0;
}

// Discards every block; keeps one byte per block so that nothing is optimised away.
class Bench_Discard : public FF_AudioProcess
{
public:
    EProcessType GetProcessType() const override { return eProcessType_Consumer; }
    int64_t mSum = 0;

protected:
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock*) override
    {
        mSum += static_cast<unsigned char>(in->GetBuffer(1)[0]);
    }
};

void BM_ChainReadFiles(benchmark::State& ioState)
{
    BenchFile& bench = BenchFile::Get();
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(bench.Path())));
    double allocsPerBlock = 0;
    const double cpuBefore = ProcessCpuMs();
    for (auto _ : ioState)
    {
        FF_AudioProcessChain::ChainHandle chain(new FF_AudioProcessChain);
        auto* readerP = new FF_AudioProcessReadFiles({file}, {{0, cFrames}}, 0, false);
        chain->Append(FF_AudioProcess::ProcessHandle(readerP));
        chain->Append(FF_AudioProcess::ProcessHandle(new Bench_Discard));
        Sys_Event::EventHandle ended = chain->GetNotificationEvent(
            Sys_Task::eStatus_Aborted | Sys_Task::eStatus_Failed | Sys_Task::eStatus_Complete);
        FF_AudioProcessUtils::QueueBatchProcess(chain); // Allocate, then queued
        const int64_t newsBefore = sNews.load();
        ended->Wait(Sys_SyncObject::cWaitForever);
        const int64_t perBlock = readerP->GetSamplesPerBlock();
        allocsPerBlock =
            double(sNews.load() - newsBefore) / double((cFrames + perBlock - 1) / perBlock);
        if (chain->GetStatus() != Sys_Task::eStatus_Complete ||
            readerP->GetUnitsProcessed() != cFrames)
            ioState.SkipWithError("the chain did not read the whole file");
    }
    FinishWithProcessCpu(ioState, cpuBefore);
    ioState.counters["allocs_per_block"] = allocsPerBlock;
}
BENCHMARK(BM_ChainReadFiles)->Unit(benchmark::kMillisecond)->MinTime(2.0)->UseRealTime();

template <bool kSplit> void PlainRead(benchmark::State& ioState)
{
    BenchFile& bench = BenchFile::Get();
    std::vector<char> buffer(static_cast<size_t>(cReadBytes));
    std::vector<char> left(size_t(cReadBytes / 2)), right(size_t(cReadBytes / 2));
    const int fd = ::open(bench.Path().c_str(), O_RDONLY);
    const double cpuBefore = ProcessCpuMs();
    for (auto _ : ioState)
    {
        int64_t total = 0;
        for (ssize_t n; total < cBytes && (n = ::pread(fd, buffer.data(),
                                                       size_t(std::min(cReadBytes, cBytes - total)),
                                                       bench.DataOffset() + total)) > 0;)
        {
            total += n;
            if (kSplit)
            {
                const char* srcP = buffer.data();
                char* leftP = left.data();
                char* rightP = right.data();
                for (ssize_t i = 0; i < n; i += cFrameSize, srcP += cFrameSize)
                {
                    std::memcpy(leftP, srcP, 3);
                    std::memcpy(rightP, srcP + 3, 3);
                    leftP += 3;
                    rightP += 3;
                }
                benchmark::DoNotOptimize(left.data());
                benchmark::DoNotOptimize(right.data());
            }
        }
        if (total != cBytes)
            ioState.SkipWithError("short read");
        benchmark::DoNotOptimize(buffer.data());
    }
    ::close(fd);
    FinishWithProcessCpu(ioState, cpuBefore);
}

void BM_PlainPread(benchmark::State& ioState)
{
    PlainRead<false>(ioState);
}
void BM_PlainPreadDeinterleave(benchmark::State& ioState)
{
    PlainRead<true>(ioState);
}
BENCHMARK(BM_PlainPread)->Unit(benchmark::kMillisecond)->MinTime(2.0)->UseRealTime();
BENCHMARK(BM_PlainPreadDeinterleave)->Unit(benchmark::kMillisecond)->MinTime(2.0)->UseRealTime();
} // namespace
