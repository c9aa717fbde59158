// Quality of sample-rate conversion, measured the same way for mirafile's stage at every
// quality, sox's `rate` at its low, medium, high and very high settings, and (when the build
// found it) libsamplerate's sinc converters, 44100 to 48000 Hz and 48000 to 44100 Hz.
//
// One multi-channel signal per direction, one test tone per channel, goes through each
// converter (mirafile in 24-bit integers in blocks of 4096 samples; sox and libsamplerate in
// 32-bit floats). On 65536 output samples after the first 8192:
//  - ripple_dB: max minus min of the gain at 20 tones from 20 Hz to 20 kHz (amplitude -6 dBFS);
//  - gain20k_dB: the gain at 20 kHz;
//  - alias_inband_dB: the strongest alias or image (k * src +- f folded into the output band,
//    k = 0..4) of tones from 1 kHz up to the input's Nyquist, landing at or below 20 kHz,
//    relative to the tone;
//  - alias_above20k_dB: the same for those landing between 20 kHz and the output's Nyquist;
//  - thdn_dB: THD+N of a tone of about 1 kHz (coherent with the 65536-sample window) at
//    -1 dBFS: everything from 20 Hz to 20 kHz but the tone, relative to the tone.
// Levels at a frequency come from a DFT with a 7-term Blackman-Harris window (side lobes near
// -180 dB), the THD+N from a plain FFT of the coherent window. Each benchmark runs once and
// reports the figures as counters; it also prints a Markdown table row to standard error.
#include <benchmark/benchmark.h>

#include <cmath>
#include <complex>
#include <functional>
#include <iostream>
#include <numbers>

#include "ResampleSupport.h"

#if MIRAFILE_HAVE_SAMPLERATE
#include <samplerate.h>
#endif

namespace
{
constexpr int64_t cSkip = 8192;
constexpr int64_t cWindow = 65536;
constexpr double cPi = std::numbers::pi;

using Channels = std::vector<std::vector<double>>;

struct Plan
{
    int32_t mSrc, mDst;
    std::vector<double> mRipple, mSpur;
    double mThdFreq;
    int64_t mInLength;
};

Plan MakePlan(int32_t iSrc, int32_t iDst)
{
    Plan p{iSrc, iDst, {}, {}, 0.0, 0};
    p.mRipple = {20,    50,    100,   200,   500,   1000,  2000,  3000,  5000,  7000,
                 10000, 12000, 14000, 15000, 16000, 17000, 18000, 19000, 19500, 20000};
    for (double f = 1000; f < iSrc / 2.0 - 100; f += 1000)
        p.mSpur.push_back(f);
    for (double f : {20500.0, 21500.0, iSrc / 2.0 - 300, iSrc / 2.0 - 100})
        p.mSpur.push_back(f);
    p.mThdFreq = std::round(1000.0 * cWindow / iDst) * iDst / cWindow;
    p.mInLength = (cSkip + cWindow + 8192) * int64_t(iSrc) / iDst + 2048;
    return p;
}

Channels MakeInput(const Plan& iPlan)
{
    Channels in;
    auto tone = [&](double f, double a)
    {
        std::vector<double> x(static_cast<size_t>(iPlan.mInLength));
        for (int64_t n = 0; n < iPlan.mInLength; ++n)
            x[size_t(n)] = a * std::sin(2 * cPi * f * double(n) / iPlan.mSrc);
        in.push_back(std::move(x));
    };
    for (double f : iPlan.mRipple)
        tone(f, 0.5);
    for (double f : iPlan.mSpur)
        tone(f, 0.5);
    tone(iPlan.mThdFreq, std::pow(10.0, -1.0 / 20.0));
    return in;
}

// Amplitude of the component at iFreq in x[iStart, iStart + cWindow).
double Level(const std::vector<double>& iX, double iRate, double iFreq)
{
    static const std::vector<double> sWindow = []
    {
        const double a[] = {0.27105140069342, 0.43329793923448, 0.21812299954311, 0.06592544638803,
                            0.01081174209837, 0.00077658482522, 0.00001388721735};
        std::vector<double> w(static_cast<size_t>(cWindow));
        for (int64_t n = 0; n < cWindow; ++n)
        {
            double v = 0.0;
            for (int k = 0; k < 7; ++k)
                v += (k % 2 ? -1.0 : 1.0) * a[k] * std::cos(2 * cPi * k * double(n) / cWindow);
            w[size_t(n)] = v;
        }
        return w;
    }();
    static const double sSum = []
    {
        double s = 0.0;
        for (double v : sWindow)
            s += v;
        return s;
    }();
    std::complex<double> acc = 0.0, phasor = 1.0;
    const std::complex<double> step = std::polar(1.0, -2 * cPi * iFreq / iRate);
    for (int64_t n = 0; n < cWindow; ++n)
    {
        acc += sWindow[size_t(n)] * iX[size_t(cSkip + n)] * phasor;
        phasor *= step;
        if ((n & 1023) == 1023)
            phasor /= std::abs(phasor);
    }
    return 2.0 * std::abs(acc) / sSum;
}

std::vector<double> PowerSpectrum(const std::vector<double>& iX)
{
    const size_t n = size_t(cWindow);
    std::vector<std::complex<double>> a(iX.begin() + cSkip, iX.begin() + cSkip + cWindow);
    for (size_t i = 1, j = 0; i < n; ++i)
    {
        size_t bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(a[i], a[j]);
    }
    for (size_t len = 2; len <= n; len <<= 1)
        for (size_t i = 0; i < n; i += len)
            for (size_t k = 0; k < len / 2; ++k)
            {
                const std::complex<double> w = std::polar(1.0, -2 * cPi * double(k) / double(len));
                const std::complex<double> u = a[i + k], v = a[i + k + len / 2] * w;
                a[i + k] = u + v;
                a[i + k + len / 2] = u - v;
            }
    std::vector<double> power(n / 2);
    for (size_t k = 0; k < n / 2; ++k)
        power[k] = std::norm(a[k]);
    return power;
}

struct Figures
{
    double mRipple = 0, mGain20k = 0, mAliasIn = -400, mAliasAbove = -400, mThdN = 0;
};

Figures Measure(const Plan& iPlan, const Channels& iOut)
{
    Figures r;
    size_t ch = 0;
    double lo = 1e9, hi = -1e9;
    for (double f : iPlan.mRipple)
    {
        const double g = 20 * std::log10(Level(iOut[ch++], iPlan.mDst, f) / 0.5);
        lo = std::min(lo, g);
        hi = std::max(hi, g);
        if (f == 20000)
            r.mGain20k = g;
    }
    r.mRipple = hi - lo;
    const double nyquist = iPlan.mDst / 2.0;
    for (double f : iPlan.mSpur)
    {
        const std::vector<double>& x = iOut[ch++];
        for (int k = 0; k <= 4; ++k)
            for (int sign : {1, -1})
            {
                if (k == 0 && sign < 0)
                    continue;
                double g = std::fmod(k * double(iPlan.mSrc) + sign * f, double(iPlan.mDst));
                if (g < 0)
                    g += iPlan.mDst;
                if (g > nyquist)
                    g = iPlan.mDst - g;
                if (f < nyquist && std::fabs(g - f) < 50.0)
                    continue; // the tone itself
                if (g < 20.0 || g > nyquist - 20.0)
                    continue;
                const double db = 20 * std::log10(std::max(Level(x, iPlan.mDst, g), 1e-15) / 0.5);
                double& worst = g <= 20000.0 ? r.mAliasIn : r.mAliasAbove;
                worst = std::max(worst, db);
            }
    }
    const std::vector<double> power = PowerSpectrum(iOut[ch]);
    const double binHz = double(iPlan.mDst) / cWindow;
    const size_t k0 = size_t(std::lround(iPlan.mThdFreq / binHz));
    double noise = 0.0;
    for (size_t k = 1; k < power.size(); ++k)
        if (k != k0 && k * binHz >= 20.0 && k * binHz <= 20000.0)
            noise += power[k];
    r.mThdN = 10 * std::log10(noise / power[k0]);
    return r;
}

Channels ConvertMirafile(ESRCQuality iQuality, const Plan& iPlan, const Channels& iIn)
{
    std::vector<std::vector<int32_t>> in;
    for (const auto& x : iIn)
    {
        std::vector<int32_t> v(x.size());
        for (size_t n = 0; n < x.size(); ++n)
            v[n] = int32_t(std::lrint(x[n] * 8388607.0));
        in.push_back(std::move(v));
    }
    Channels out;
    for (const auto& v : resample::RunMirafile(iQuality, iPlan.mSrc, iPlan.mDst, 24, in))
    {
        std::vector<double> y(v.size());
        for (size_t n = 0; n < v.size(); ++n)
            y[n] = v[n] / 8388607.0;
        out.push_back(std::move(y));
    }
    return out;
}

std::vector<float> Interleave(const Channels& iIn)
{
    std::vector<float> data(iIn.size() * iIn[0].size());
    for (size_t n = 0; n < iIn[0].size(); ++n)
        for (size_t c = 0; c < iIn.size(); ++c)
            data[n * iIn.size() + c] = float(iIn[c][n]);
    return data;
}

Channels Deinterleave(const std::vector<float>& iData, size_t iChannels)
{
    Channels out(iChannels);
    for (size_t i = 0; i < iData.size(); ++i)
        out[i % iChannels].push_back(iData[i]);
    return out;
}

Channels ConvertSox(const std::string& iSetting, const Plan& iPlan, const Channels& iIn)
{
    static resample::TempFolder sFolder;
    resample::WriteRaw(sFolder.File("in.f32"), Interleave(iIn));
    if (!resample::RunSox(sFolder.File("in.f32"), sFolder.File("out.f32"),
                          "-e floating-point -b 32", iPlan.mSrc, int32_t(iIn.size()), iSetting,
                          iPlan.mDst))
        return {};
    return Deinterleave(resample::ReadRaw<float>(sFolder.File("out.f32")), iIn.size());
}

#if MIRAFILE_HAVE_SAMPLERATE
Channels ConvertLibSamplerate(int iConverter, const Plan& iPlan, const Channels& iIn)
{
    const std::vector<float> in = Interleave(iIn);
    const double ratio = double(iPlan.mDst) / iPlan.mSrc;
    std::vector<float> out(size_t(double(iIn[0].size()) * ratio + 4096) * iIn.size());
    SRC_DATA data{};
    data.data_in = in.data();
    data.input_frames = long(iIn[0].size());
    data.data_out = out.data();
    data.output_frames = long(out.size() / iIn.size());
    data.src_ratio = ratio;
    if (src_simple(&data, iConverter, int(iIn.size())) != 0)
        return {};
    out.resize(size_t(data.output_frames_gen) * iIn.size());
    return Deinterleave(out, iIn.size());
}
#endif

using Converter = std::function<Channels(const Plan&, const Channels&)>;

void BM_Quality(benchmark::State& ioState, std::string iName, int32_t iSrc, int32_t iDst,
                Converter iConvert)
{
    const Plan plan = MakePlan(iSrc, iDst);
    const Channels in = MakeInput(plan);
    Figures f;
    for (auto _ : ioState)
    {
        const Channels out = iConvert(plan, in);
        if (out.empty() || int64_t(out[0].size()) < cSkip + cWindow)
        {
            ioState.SkipWithError("conversion failed or too short");
            return;
        }
        f = Measure(plan, out);
    }
    ioState.counters["ripple_dB"] = f.mRipple;
    ioState.counters["gain20k_dB"] = f.mGain20k;
    ioState.counters["alias_inband_dB"] = f.mAliasIn;
    ioState.counters["alias_above20k_dB"] = f.mAliasAbove;
    ioState.counters["thdn_dB"] = f.mThdN;
    char row[256];
    std::snprintf(row, sizeof row, "| %s | %d to %d | %.4f | %.3f | %.1f | %.1f | %.1f |\n",
                  iName.c_str(), iSrc, iDst, f.mRipple, f.mGain20k, f.mAliasIn, f.mAliasAbove,
                  f.mThdN);
    std::cerr << row;
}

void Add(const std::string& iName, int32_t iSrc, int32_t iDst, Converter iConvert)
{
    const std::string full =
        "Quality/" + iName + "/" + std::to_string(iSrc) + "_to_" + std::to_string(iDst);
    benchmark::RegisterBenchmark(full.c_str(), BM_Quality, iName, iSrc, iDst, std::move(iConvert))
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
}

int Register()
{
    const std::pair<ESRCQuality, const char*> qualities[] = {
        {eSRCQuality_Fastest, "mirafile q6 (9 taps)"},
        {eSRCQuality_Low, "mirafile q1 (17 taps)"},
        {eSRCQuality_Medium, "mirafile q2 (33 taps)"},
        {eSRCQuality_High, "mirafile q3 (65 taps)"},
        {eSRCQuality_Higher, "mirafile q4 (129 taps)"},
        {eSRCQuality_Best, "mirafile q5 (257 taps)"}};
    const std::pair<const char*, const char*> soxSettings[] = {{"-l", "sox rate -l (low)"},
                                                               {"-m", "sox rate -m (medium)"},
                                                               {"-h", "sox rate -h (high)"},
                                                               {"-v", "sox rate -v (very high)"}};
    for (auto [src, dst] : {std::pair{44100, 48000}, std::pair{48000, 44100}})
    {
        for (auto [quality, name] : qualities)
        {
            const ESRCQuality q = quality;
            Add(name, src, dst,
                [q](const Plan& p, const Channels& in) { return ConvertMirafile(q, p, in); });
        }
        if (resample::HaveSox())
            for (auto [flag, name] : soxSettings)
            {
                const std::string setting = flag;
                Add(name, src, dst,
                    [setting](const Plan& p, const Channels& in)
                    { return ConvertSox(setting, p, in); });
            }
#if MIRAFILE_HAVE_SAMPLERATE
        const std::pair<int, const char*> converters[] = {
            {SRC_SINC_FASTEST, "libsamplerate sinc_fastest"},
            {SRC_SINC_MEDIUM_QUALITY, "libsamplerate sinc_medium"},
            {SRC_SINC_BEST_QUALITY, "libsamplerate sinc_best"}};
        for (auto [converter, name] : converters)
        {
            const int type = converter;
            Add(name, src, dst,
                [type](const Plan& p, const Channels& in)
                { return ConvertLibSamplerate(type, p, in); });
        }
#endif
    }
    return 0;
}

const int sRegistered = Register();

} // namespace
