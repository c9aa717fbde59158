// Memory of an audio chain against the length of its stream.
//
// BM_ChainStream/<seconds> streams that many seconds of 48 kHz 24-bit stereo through
// producer -> filter -> consumer on the shared workers (blocks of 20160 samples, the size a
// file producer uses at 24 bits) and reports:
//  - peak_rss_MB: the process's peak resident memory (getrusage) after the stream;
//  - rss_growth_MB: the rise of the peak during this stream;
//  - allocs_per_block: calls of operator new during streaming (after Allocate), per block.
// Run each length in a process of its own to compare peaks:
//   ChainMemoryBench --benchmark_filter='BM_ChainStream/10$'
//   ChainMemoryBench --benchmark_filter='BM_ChainStream/3600$'
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sys/resource.h>

#include "FF/Audio/Processing/Chain/FF_AudioProcessChain.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"
#include "Sys_ProcessBlocker.h"

namespace
{
std::atomic<int64_t> sNews{0};

constexpr int32_t cRate = 48000;
constexpr int64_t cSamplesPerBlock = 60480 / 3;

class Bench_Producer : public FF_AudioProcess
{
public:
    explicit Bench_Producer(int64_t iTotal) : mTotal(iTotal) {}
    EProcessType GetProcessType() const override { return eProcessType_Producer; }
    void Preflight(FF_AudioProcessBlock* inOutBlock) override
    {
        inOutBlock->SetNumChannels(2);
        inOutBlock->SetSampleRate(cRate);
        inOutBlock->SetBitsPerSample(24);
        inOutBlock->SetNumSamples(cSamplesPerBlock);
        inOutBlock->SetTotalNumSamples(mTotal);
    }

protected:
    EResult ExecImpl() override
    {
        if (IsAbortPending())
            return eResult_Aborted;
        if (!mDeliver)
        {
            mDeliver = true;
            return BlockForPoolBlock();
        }
        mDeliver = false;
        std::unique_ptr<FF_AudioProcessBlock> block = TakePoolBlock();
        const int64_t samples = std::min(cSamplesPerBlock, mTotal - mDone);
        block->SetNumChannels(2);
        block->SetSampleRate(cRate);
        block->SetBitsPerSample(24);
        block->SetTotalNumSamples(mTotal);
        block->SetNumSamples(samples);
        for (int c = 0; c < 2; ++c)
            std::memset(block->GetBuffer(size_t(c)), int(mDone & 0x7F), size_t(samples * 3));
        mDone += samples;
        DeliverBlock(std::move(block), 0);
        return mDone >= mTotal ? eResult_Done : eResult_Yield;
    }
    void Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*) override {}

private:
    const int64_t mTotal;
    int64_t mDone = 0;
    bool mDeliver = false;
};

class Bench_Copy : public FF_AudioProcess
{
protected:
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override
    {
        for (int c = 0; c < in->GetNumChannels(); ++c)
            std::memcpy(out->GetBuffer(size_t(c)), in->GetBuffer(size_t(c)),
                        size_t(in->GetNumBytesPerChannel()));
    }
};

class Bench_Consumer : public FF_AudioProcess
{
public:
    EProcessType GetProcessType() const override { return eProcessType_Consumer; }
    int64_t mSum = 0;

protected:
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock*) override
    {
        mSum += static_cast<unsigned char>(in->GetBuffer(0)[0]);
    }
};

double PeakRssMB()
{
    struct rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

void BM_ChainStream(benchmark::State& ioState)
{
    const int64_t total = ioState.range(0) * cRate;
    double growth = 0, allocsPerBlock = 0;
    for (auto _ : ioState)
    {
        const double before = PeakRssMB();
        FF_AudioProcessChain::ChainHandle chain(new FF_AudioProcessChain);
        chain->Append(FF_AudioProcess::ProcessHandle(new Bench_Producer(total)));
        chain->Append(FF_AudioProcess::ProcessHandle(new Bench_Copy));
        chain->Append(FF_AudioProcess::ProcessHandle(new Bench_Consumer));
        // Driven by hand on this thread, so that the count of allocations starts after
        // Allocate; the stages run on the shared workers all the same.
        Sys_ProcessBlockerImpl blocker;
        FF_AudioProcessUtils::SetupManualProcessChain(chain.Get(), &blocker);
        const int64_t newsBefore = sNews.load();
        while (!FF_AudioProcessUtils::RunProcessChainForSlice(chain.Get(), 100))
        {
        }
        const int64_t blocks = (total + cSamplesPerBlock - 1) / cSamplesPerBlock;
        allocsPerBlock = double(sNews.load() - newsBefore) / double(blocks);
        if (chain->GetStatus() != Sys_Task::eStatus_Complete)
            ioState.SkipWithError("the chain did not complete");
        growth = PeakRssMB() - before;
    }
    ioState.counters["peak_rss_MB"] = PeakRssMB();
    ioState.counters["rss_growth_MB"] = growth;
    ioState.counters["allocs_per_block"] = allocsPerBlock;
    ioState.SetBytesProcessed(ioState.iterations() * total * 2 * 3);
}
BENCHMARK(BM_ChainStream)->Arg(10)->Arg(3600)->Iterations(1)->Unit(benchmark::kMillisecond);
} // namespace

// Counting replacements of the global allocation functions (malloc underneath, so the
// compiler's pairing check does not apply).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(size_t iSize)
{
    sNews.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(iSize ? iSize : 1))
        return p;
    throw std::bad_alloc();
}

void operator delete(void* iP) noexcept
{
    std::free(iP);
}

void operator delete(void* iP, size_t) noexcept
{
    std::free(iP);
}
#pragma GCC diagnostic pop
