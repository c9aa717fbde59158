// Speed of sample-rate conversion: mirafile's stage at every quality, sox's `rate` at its
// low, medium, high and very high settings, and libsamplerate's sinc converters (when the
// build found it), all converting the same 30-second mono 16-bit signal, 44100 to 48000 Hz
// and 96000 to 44100 Hz, in one run. The counter out/s is output samples per second of wall
// time for the one channel.
//
// mirafile runs in-process on blocks of 4096 samples, as a chain feeds it (stage made, table
// built, every block filtered). libsamplerate runs in-process too, with the conversions from
// and to 16-bit integers that its float interface needs. sox runs as a command on raw files in
// a temporary folder (in the page cache); "SoxCopy" is the same command without the effect,
// the cost of starting sox and moving the samples, to subtract when comparing.
#include <benchmark/benchmark.h>

#include <cmath>
#include <map>
#include <memory>
#include <numbers>
#include <random>
#include <sys/resource.h>

#include "ResampleSupport.h"

#if MIRAFILE_HAVE_SAMPLERATE
#include <samplerate.h>
#endif

namespace
{
constexpr double cSeconds = 30.0;
constexpr int64_t cBlock = 4096;

struct Pair
{
    int32_t mSrc, mDst;
    const char* mName;
};
constexpr Pair cPairs[] = {{44100, 48000, "44k1_to_48k"}, {96000, 44100, "96k_to_44k1"}};

const std::vector<int16_t>& Signal(int32_t iRate)
{
    static std::map<int32_t, std::vector<int16_t>> sSignals;
    std::vector<int16_t>& s = sSignals[iRate];
    if (s.empty())
    {
        std::mt19937 random(11);
        std::normal_distribution<double> noise(0.0, 0.02);
        const int64_t n = int64_t(cSeconds * iRate);
        s.resize(size_t(n));
        for (int64_t k = 0; k < n; ++k)
        {
            const double t = double(k) / iRate;
            const double v = 0.3 * std::sin(2 * std::numbers::pi * 220.0 * t) +
                             0.15 * std::sin(2 * std::numbers::pi * 3150.0 * t) +
                             0.05 * std::sin(2 * std::numbers::pi * 12345.0 * t) + noise(random);
            s[size_t(k)] = int16_t(std::lrint(std::clamp(v, -1.0, 1.0) * 32767.0));
        }
    }
    return s;
}

int64_t OutputCount(const Pair& iPair)
{
    const int64_t n = int64_t(Signal(iPair.mSrc).size());
    return (n * iPair.mDst + iPair.mSrc - 1) / iPair.mSrc;
}

void SetRate(benchmark::State& ioState, int64_t iOutPerIteration)
{
    ioState.counters["out/s"] =
        benchmark::Counter(double(iOutPerIteration), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_Mirafile(benchmark::State& ioState, ESRCQuality iQuality, Pair iPair)
{
    const std::vector<int16_t>& signal = Signal(iPair.mSrc);
    const int64_t total = int64_t(signal.size());
    // The input blocks, filled once.
    std::vector<std::unique_ptr<FF_AudioProcessBlock>> blocks;
    for (int64_t done = 0; done < total; done += cBlock)
    {
        const int64_t n = std::min(cBlock, total - done);
        auto block = std::make_unique<FF_AudioProcessBlock>(1, iPair.mSrc, 16, cBlock, total);
        block->SetNumSamples(n);
        std::copy(signal.begin() + done, signal.begin() + done + n,
                  reinterpret_cast<int16_t*>(block->GetBuffer(0)));
        blocks.push_back(std::move(block));
    }
    int64_t produced = 0;
    for (auto _ : ioState)
    {
        FF_AudioProcessSRC stage(iPair.mSrc, iPair.mDst, iQuality);
        FF_AudioProcessBlock proto(1, iPair.mSrc, 16, cBlock, total);
        stage.Preflight(&proto);
        stage.Allocate(proto);
        FF_AudioProcessBlock out(proto);
        produced = 0;
        for (const auto& block : blocks)
        {
            out.CopyDescription(*block);
            stage.Process(block.get(), &out);
            produced += out.GetNumSamples();
        }
        benchmark::DoNotOptimize(out.GetBuffer(0));
    }
    if (produced != OutputCount(iPair))
        ioState.SkipWithError("wrong output count");
    SetRate(ioState, produced);
}

void BM_Sox(benchmark::State& ioState, std::string iSetting, Pair iPair)
{
    if (!resample::HaveSox())
    {
        ioState.SkipWithError("sox not found");
        return;
    }
    static resample::TempFolder sFolder;
    const std::string in = sFolder.File(std::string("in-") + iPair.mName + ".raw");
    const std::string out = sFolder.File("out.raw");
    resample::WriteRaw(in, Signal(iPair.mSrc));
    auto childSeconds = []
    {
        rusage usage{};
        ::getrusage(RUSAGE_CHILDREN, &usage);
        return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
               double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
    };
    for (auto _ : ioState)
    {
        const double before = childSeconds();
        if (!resample::RunSox(in, out, "-e signed -b 16", iPair.mSrc, 1, iSetting, iPair.mDst))
        {
            ioState.SkipWithError("sox failed");
            return;
        }
        ioState.SetIterationTime(childSeconds() - before);
    }
    const int64_t produced = int64_t(std::filesystem::file_size(out) / 2);
    SetRate(ioState, iSetting.empty() ? int64_t(Signal(iPair.mSrc).size()) : produced);
}

#if MIRAFILE_HAVE_SAMPLERATE
void BM_LibSamplerate(benchmark::State& ioState, int iConverter, Pair iPair)
{
    const std::vector<int16_t>& signal = Signal(iPair.mSrc);
    const int64_t total = int64_t(signal.size());
    const double ratio = double(iPair.mDst) / double(iPair.mSrc);
    std::vector<float> inF(cBlock), outF(size_t(double(cBlock) * ratio) + 64);
    std::vector<int16_t> outS(outF.size());
    int64_t produced = 0;
    for (auto _ : ioState)
    {
        int error = 0;
        SRC_STATE* state = src_new(iConverter, 1, &error);
        produced = 0;
        for (int64_t done = 0; done < total || true;)
        {
            const int64_t n = std::min(cBlock, total - done);
            src_short_to_float_array(signal.data() + done, inF.data(), int(n));
            SRC_DATA data{};
            data.data_in = inF.data();
            data.input_frames = long(n);
            data.data_out = outF.data();
            data.output_frames = long(outF.size());
            data.src_ratio = ratio;
            data.end_of_input = done + n >= total;
            src_process(state, &data);
            src_float_to_short_array(outF.data(), outS.data(), int(data.output_frames_gen));
            produced += data.output_frames_gen;
            done += data.input_frames_used;
            if (data.end_of_input && data.output_frames_gen == 0)
                break;
        }
        src_delete(state);
        benchmark::DoNotOptimize(outS.data());
    }
    SetRate(ioState, produced);
}
#endif

int Register()
{
    const std::pair<ESRCQuality, const char*> qualities[] = {
        {eSRCQuality_Fastest, "q6_9taps"},  {eSRCQuality_Low, "q1_17taps"},
        {eSRCQuality_Medium, "q2_33taps"},  {eSRCQuality_High, "q3_65taps"},
        {eSRCQuality_Higher, "q4_129taps"}, {eSRCQuality_Best, "q5_257taps"}};
    const std::pair<const char*, const char*> soxSettings[] = {
        {"-l", "low"}, {"-m", "medium"}, {"-h", "high"}, {"-v", "veryhigh"}};
    for (const Pair& pair : cPairs)
    {
        for (auto [quality, name] : qualities)
            benchmark::RegisterBenchmark(
                (std::string("Mirafile/") + name + "/" + pair.mName).c_str(), BM_Mirafile, quality,
                pair)
                ->Unit(benchmark::kMillisecond);
        for (auto [flag, name] : soxSettings)
            benchmark::RegisterBenchmark((std::string("Sox/") + name + "/" + pair.mName).c_str(),
                                         BM_Sox, std::string(flag), pair)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((std::string("SoxCopy/") + pair.mName).c_str(), BM_Sox,
                                     std::string(), pair)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
#if MIRAFILE_HAVE_SAMPLERATE
        const std::pair<int, const char*> converters[] = {{SRC_SINC_FASTEST, "sinc_fastest"},
                                                          {SRC_SINC_MEDIUM_QUALITY, "sinc_medium"},
                                                          {SRC_SINC_BEST_QUALITY, "sinc_best"}};
        for (auto [converter, name] : converters)
            benchmark::RegisterBenchmark(
                (std::string("LibSamplerate/") + name + "/" + pair.mName).c_str(), BM_LibSamplerate,
                converter, pair)
                ->Unit(benchmark::kMillisecond);
#endif
    }
    return 0;
}

const int sRegistered = Register();

} // namespace
