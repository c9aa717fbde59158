#include "FF/Audio/Processing/Stages/FF_AudioProcessSRC.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <numbers>
#include <numeric>
#include <stdexcept>

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/Stages/FF_AudioRandom.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

std::atomic<int32_t> FF_AudioProcessSRC::sRandomState{FF_AudioRandom::cSeed};

namespace
{

// Rounds to the nearest integer, ties to even (the current rounding mode, as llrint), without
// a call into libm.
inline int64_t RoundToInt(double iValue)
{
#if defined(__x86_64__)
    return _mm_cvtsd_si64(_mm_set_sd(iValue));
#else
    return std::llrint(iValue);
#endif
}

// The sample formats of the blocks: how a sample becomes a float in the history, and how a
// filtered value goes back, rounded to the nearest integer and clamped.
struct SRCFormat8
{
    static constexpr int64_t cBytes = 1;
    static float Read(const char* iP, int64_t iK) { return float(int8_t(iP[iK])); }
    static void Write(char* iP, int64_t iK, double iValue)
    {
        iP[iK] = char(int8_t(std::clamp<int64_t>(RoundToInt(iValue), -128, 127)));
    }
};

struct SRCFormat16
{
    static constexpr int64_t cBytes = 2;
    static float Read(const char* iP, int64_t iK)
    {
        int16_t v;
        std::memcpy(&v, iP + 2 * iK, 2);
        return float(v);
    }
    static void Write(char* iP, int64_t iK, double iValue)
    {
        const int16_t v = int16_t(std::clamp<int64_t>(RoundToInt(iValue), -32768, 32767));
        std::memcpy(iP + 2 * iK, &v, 2);
    }
};

struct SRCFormat24
{
    static constexpr int64_t cBytes = 3;
    static float Read(const char* iP, int64_t iK)
    {
        const unsigned char* p = reinterpret_cast<const unsigned char*>(iP) + 3 * iK;
        const uint32_t u = uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16);
        return float(int32_t(u << 8) >> 8);
    }
    static void Write(char* iP, int64_t iK, double iValue)
    {
        const int32_t v = int32_t(std::clamp<int64_t>(RoundToInt(iValue), -8388608, 8388607));
        unsigned char* p = reinterpret_cast<unsigned char*>(iP) + 3 * iK;
        p[0] = uint8_t(v);
        p[1] = uint8_t(v >> 8);
        p[2] = uint8_t(v >> 16);
    }
};

// 32-bit words are filtered as 24-bit integers: divided by 256 on the way in, clamped to the
// 24-bit range and shifted back on the way out.
struct SRCFormat32
{
    static constexpr int64_t cBytes = 4;
    static float Read(const char* iP, int64_t iK)
    {
        int32_t v;
        std::memcpy(&v, iP + 4 * iK, 4);
        return float(v / 256);
    }
    static void Write(char* iP, int64_t iK, double iValue)
    {
        const int32_t v24 = int32_t(std::clamp<int64_t>(RoundToInt(iValue), -8388608, 8388607));
        const int32_t v = int32_t(uint32_t(v24) << 8);
        std::memcpy(iP + 4 * iK, &v, 4);
    }
};

// Runs of samples in and out: the plain loops of a format, and AVX2 loops for the 16- and
// 24-bit formats (the same values: clamping the sum to the integer bounds before rounding
// gives what rounding and then clamping gives, and both round ties to even).
template <class Format> void ReadMany(const char* iIn, double* oOut, int64_t iCount)
{
    for (int64_t k = 0; k < iCount; ++k)
        oOut[k] = Format::Read(iIn, k);
}

template <class Format> void WriteMany(char* oOut, const double* iSums, int64_t iCount)
{
    for (int64_t k = 0; k < iCount; ++k)
        Format::Write(oOut, k, iSums[k]);
}

#if defined(__x86_64__)

__attribute__((target("avx2"))) void ReadMany16AVX2(const char* iIn, double* oOut, int64_t iCount)
{
    int64_t k = 0;
    for (; k + 4 <= iCount; k += 4)
    {
        const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(iIn + 2 * k));
        _mm256_storeu_pd(oOut + k, _mm256_cvtepi32_pd(_mm_cvtepi16_epi32(v)));
    }
    for (; k < iCount; ++k)
        oOut[k] = SRCFormat16::Read(iIn, k);
}

__attribute__((target("avx2"))) void WriteMany16AVX2(char* oOut, const double* iSums,
                                                     int64_t iCount)
{
    const __m256d lo = _mm256_set1_pd(-32768.0), hi = _mm256_set1_pd(32767.0);
    int64_t k = 0;
    for (; k + 4 <= iCount; k += 4)
    {
        const __m256d v = _mm256_min_pd(_mm256_max_pd(_mm256_loadu_pd(iSums + k), lo), hi);
        const __m128i i = _mm256_cvtpd_epi32(v);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(oOut + 2 * k), _mm_packs_epi32(i, i));
    }
    for (; k < iCount; ++k)
        SRCFormat16::Write(oOut, k, iSums[k]);
}

// Four packed 3-byte samples per step; a step reads (writes) 16 bytes, of which the last 4
// belong to the next samples, so the vector loop stops 6 samples before the end.
__attribute__((target("avx2"))) void ReadMany24AVX2(const char* iIn, double* oOut, int64_t iCount)
{
    const __m128i spread = _mm_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11);
    int64_t k = 0;
    for (; k + 6 <= iCount; k += 4)
    {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(iIn + 3 * k));
        const __m128i w = _mm_srai_epi32(_mm_shuffle_epi8(v, spread), 8);
        _mm256_storeu_pd(oOut + k, _mm256_cvtepi32_pd(w));
    }
    for (; k < iCount; ++k)
        oOut[k] = SRCFormat24::Read(iIn, k);
}

__attribute__((target("avx2"))) void WriteMany24AVX2(char* oOut, const double* iSums,
                                                     int64_t iCount)
{
    const __m256d lo = _mm256_set1_pd(-8388608.0), hi = _mm256_set1_pd(8388607.0);
    const __m128i pack = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    int64_t k = 0;
    for (; k + 6 <= iCount; k += 4)
    {
        const __m256d v = _mm256_min_pd(_mm256_max_pd(_mm256_loadu_pd(iSums + k), lo), hi);
        const __m128i i = _mm256_cvtpd_epi32(v);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(oOut + 3 * k), _mm_shuffle_epi8(i, pack));
    }
    for (; k < iCount; ++k)
        SRCFormat24::Write(oOut, k, iSums[k]);
}

template <> void ReadMany<SRCFormat16>(const char* iIn, double* oOut, int64_t iCount)
{
    if (FF_SincKernel::GetBestPath() == FF_SincKernel::ePath_AVX2)
        return ReadMany16AVX2(iIn, oOut, iCount);
    for (int64_t k = 0; k < iCount; ++k)
        oOut[k] = SRCFormat16::Read(iIn, k);
}

template <> void WriteMany<SRCFormat16>(char* oOut, const double* iSums, int64_t iCount)
{
    if (FF_SincKernel::GetBestPath() == FF_SincKernel::ePath_AVX2)
        return WriteMany16AVX2(oOut, iSums, iCount);
    for (int64_t k = 0; k < iCount; ++k)
        SRCFormat16::Write(oOut, k, iSums[k]);
}

template <> void ReadMany<SRCFormat24>(const char* iIn, double* oOut, int64_t iCount)
{
    if (FF_SincKernel::GetBestPath() == FF_SincKernel::ePath_AVX2)
        return ReadMany24AVX2(iIn, oOut, iCount);
    for (int64_t k = 0; k < iCount; ++k)
        oOut[k] = SRCFormat24::Read(iIn, k);
}

template <> void WriteMany<SRCFormat24>(char* oOut, const double* iSums, int64_t iCount)
{
    if (FF_SincKernel::GetBestPath() == FF_SincKernel::ePath_AVX2)
        return WriteMany24AVX2(oOut, iSums, iCount);
    for (int64_t k = 0; k < iCount; ++k)
        SRCFormat24::Write(oOut, k, iSums[k]);
}

#endif

int64_t CeilDiv(int64_t iNum, int64_t iDen)
{
    // iNum >= 0, iDen > 0
    return (iNum + iDen - 1) / iDen;
}

// ceil(iValue * iMul / iDiv) without overflow for any stream length.
int64_t CeilMulDiv(int64_t iValue, int64_t iMul, int64_t iDiv)
{
    const __int128 num = __int128(iValue) * iMul + (iDiv - 1);
    return int64_t(num / iDiv);
}

} // namespace

int32_t FF_AudioProcessSRC::GetNumTapsForQuality(ESRCQuality iQuality)
{
    switch (iQuality)
    {
    case eSRCQuality_Fastest:
        return 9;
    case eSRCQuality_Low:
        return 17;
    case eSRCQuality_Medium:
        return 33;
    case eSRCQuality_High:
        return 65;
    case eSRCQuality_Higher:
        return 129;
    case eSRCQuality_Best:
        return 257;
    }
    CMN_ASSERT_TEXT(false, "0");
    return 0;
}

FF_AudioProcessSRC::FF_AudioProcessSRC(int32_t iSrcRate, int32_t iDstRate, ESRCQuality iQuality)
    : mSrcRate(iSrcRate), mDstRate(iDstRate), mQuality(iQuality)
{
    CMN_ASSERT(iSrcRate > 0 && iDstRate > 0);
    mNumTaps = GetNumTapsForQuality(iQuality);
    mDot = FF_SincKernel::GetDot(mNumTaps);
    mDotMany = FF_SincKernel::GetDotMany(mNumTaps, FF_SincKernel::GetBestPath());
    CreateSincTable();
}

FF_AudioProcessSRC::~FF_AudioProcessSRC() = default;

void FF_AudioProcessSRC::SetKernelPath(FF_SincKernel::EPath iPath)
{
    mDot = FF_SincKernel::GetDot(mNumTaps, iPath);
    mDotMany = FF_SincKernel::GetDotMany(mNumTaps, iPath);
}

double FF_AudioProcessSRC::SincFunc(double x) const
{
    const double ratio = double(mDstRate) / double(mSrcRate);
    const double cutoff = ratio < 1.0 ? ratio : 1.0;
    const double t = std::numbers::pi * x;
    const double u = 2.0 * t / double(mNumTaps);
    const double window = 0.42 + 0.5 * std::cos(u) + 0.08 * std::cos(2.0 * u);
    if (x == 0.0)
        return cutoff * window;
    return std::sin(cutoff * t) / t * window;
}

void FF_AudioProcessSRC::CreateSincTable()
{
    const int32_t g = std::gcd(mSrcRate, mDstRate);
    mNumPhases = mDstRate / g;
    const int32_t limit = (mQuality == eSRCQuality_Low || mQuality == eSRCQuality_Fastest)
                              ? cMaxPhasesFast
                              : cMaxPhases;
    mNumPhases = std::min(mNumPhases, limit);

    const size_t rows = size_t(mNumPhases) + 2;
    mSincTable.reset(new (std::nothrow) double[rows * size_t(mNumTaps)]);
    if (!mSincTable)
        throw std::runtime_error("FF_AudioProcessSRC: not enough memory for the sinc table");

    const int32_t half = mNumTaps / 2;
    int32_t k = (mNumPhases + 1) / 2;
    for (size_t row = 0; row < rows; ++row, --k)
    {
        double* entry = mSincTable.get() + row * size_t(mNumTaps);
        const double fraction = double(k) / double(mNumPhases);
        for (int32_t c = 0; c < mNumTaps; ++c)
            entry[c] = double(float(SincFunc(fraction + double(c - half))));
    }
}

void FF_AudioProcessSRC::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT_TEXT(inOutBlock->GetByteOrder() == eByteOrder_Native,
                    "inOutBlock->GetBufferByteOrder() == eByteOrder_Native");
    mSrcTotal = inOutBlock->GetTotalNumSamples();
    mDstTotal = mSrcTotal == -1 ? -1 : CeilMulDiv(mSrcTotal, mDstRate, mSrcRate);
    inOutBlock->SetTotalNumSamples(mDstTotal);
    inOutBlock->SetSampleRate(mDstRate);
    mNumChannels = inOutBlock->GetNumChannels();

    const int64_t s = inOutBlock->GetNumSamples();
    CMN_ASSERT(s >= 0 && s <= std::numeric_limits<int32_t>::max() - mNumTaps);
    const int64_t outSamples =
        CeilMulDiv(s, mDstRate, mSrcRate) + CeilDiv(mDstRate, mSrcRate) * (mNumTaps / 2);
    inOutBlock->SetNumSamples(outSamples);
    mMaxOutputs = outSamples;
    mHistorySize = int32_t(s) + mNumTaps - 1;
}

void FF_AudioProcessSRC::AllocateImpl(const FF_AudioProcessBlock& iPrototype)
{
    mHistory.clear();
    for (int16_t c = 0; c < mNumChannels; ++c)
        mHistory.emplace_back(new double[size_t(mHistorySize)]());
    mWindow.assign(size_t(mNumTaps), 0.0);
    mSchedule.Resize(size_t(mMaxOutputs));
    mSamplesIn = 0;
    mSamplesOut = 0;
    mHistoryWrite = 0;
}

void FF_AudioProcessSRC::Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out)
{
    FF_AudioProcessBlock* inBlock = in;
    FF_AudioProcessBlock* outBlock = out;
    CMN_ASSERT(inBlock->GetBitsPerSample() == outBlock->GetBitsPerSample());
    ProcessSincInterp(in, out);
    out->SetSampleRate(mDstRate);
    out->SetTotalNumSamples(mDstTotal);
}

int64_t FF_AudioProcessSRC::ProcessSincInterp(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out)
{
    const int64_t count = in->GetNumSamples();
    CMN_ASSERT_TEXT(count >= 0 && count <= int64_t(mHistorySize) - (mNumTaps - 1),
                    "inBlock->GetNumSamples() <= mHistorySize - (mNumTaps - 1)");
    const int16_t channels = in->GetNumChannels();
    CMN_ASSERT_TEXT(channels <= int16_t(mHistory.size()), "channels <= mNumChannels");
    const bool last = mSamplesIn + count == mSrcTotal;
    const int32_t bits = in->GetBitsPerSample();
    const int64_t capacity =
        out->GetBytesPerSample() ? int64_t(out->GetBufferBytes() / out->GetBytesPerSample()) : 0;

    // Without phase noise every channel has the same windows and rows: they are worked out
    // once. With it, each channel draws its own noise, in the order of its outputs.
    const bool phaseNoise = mNumPhases == cMaxPhases;
    int64_t produced = 0;
    for (int16_t c = 0; c < channels; ++c)
    {
        if (c == 0 || phaseNoise)
            produced = BuildSchedule(count, capacity, last);
        const char* src = in->GetBuffer(size_t(c));
        char* dst = out->GetBuffer(size_t(c));
        double* ring = mHistory[size_t(c)].get();
        switch (bits)
        {
        case 8:
            InterpChannel<SRCFormat8>(src, dst, count, produced, ring);
            break;
        case 16:
            InterpChannel<SRCFormat16>(src, dst, count, produced, ring);
            break;
        case 24:
            InterpChannel<SRCFormat24>(src, dst, count, produced, ring);
            break;
        case 32:
            InterpChannel<SRCFormat32>(src, dst, count, produced, ring);
            break;
        default:
            CMN_ASSERT_TEXT(false, "false");
        }
    }
    mHistoryWrite = int32_t((int64_t(mHistoryWrite) + count) % mHistorySize);
    mSamplesIn += count;
    mSamplesOut += produced;
    out->SetNumSamples(produced);
    return produced;
}

int64_t FF_AudioProcessSRC::BuildSchedule(int64_t iCount, int64_t iCapacity, bool iLast)
{
    const int64_t size = mHistorySize;
    const int32_t taps = mNumTaps;
    const int32_t half = taps / 2;
    const double ratio = double(mSrcRate) / double(mDstRate);
    const bool phaseNoise = mNumPhases == cMaxPhases;
    const double phases = double(mNumPhases);
    const int64_t centreRow = (mNumPhases + 1) / 2;
    const int64_t end = mSamplesIn + iCount; // source samples seen so far
    const int64_t stopAt = end - half;       // an n at or past it waits for more data
    // Ring index of source sample j: j + base, brought into [0, size).
    const int64_t base = int64_t(mHistoryWrite) - mSamplesIn;
    const int64_t limit = std::min<int64_t>(iCapacity, int64_t(mSchedule.mPos.size()));
    int32_t* const rowP = mSchedule.mRow.data();
    int32_t* const posP = mSchedule.mPos.data();
    int32_t* const validP = mSchedule.mValid.data();
    uint8_t* const wholeP = mSchedule.mWhole.data();

    // The position i * src / dst as the exact fraction q + rem / b (b = dst / gcd). Where the
    // table has one row per phase (mNumPhases == b) and the positions stay below 2^32, the
    // rounding of t = i * ratio in double precision differs from the exact value by far less
    // than the distance 1 / (2b) of any non-tie to a half, so n and p follow from q and rem
    // exactly, with integer steps; only a tie (rem == b / 2) is rounded as the doubles round.
    const int64_t g = std::gcd(mSrcRate, mDstRate);
    const int64_t a = mSrcRate / g, b = mDstRate / g;
    const bool exact =
        !phaseNoise && mNumPhases == b && double(mSamplesOut + limit + 1) * ratio < 4294967296.0;
    int64_t q = 0, rem = 0;
    if (exact)
    {
        const __int128 x = __int128(mSamplesOut) * a;
        q = int64_t(x / b);
        rem = int64_t(x % b);
    }
    const int64_t stepQ = exact ? a / b : 0, stepRem = exact ? a % b : 0;

    int64_t produced = 0;
    if (exact)
    {
        // The same outputs as the general loop below, without its doubles, in two passes
        // with few values live in each: first n (relative to mSamplesIn, into posP) and the
        // row, then the ring index and the window's extent from n.
        const int64_t stop = iLast ? mDstTotal - mSamplesOut : limit + 1;
        const int64_t rowBase = centreRow * taps;
        for (; produced < stop; ++produced)
        {
            const bool up = 2 * rem > b;
            int64_t n = up ? q + 1 : q;
            int64_t p = up ? rem - b : rem;
            if (2 * rem == b) [[unlikely]]
            {
                const double t = double(mSamplesOut + produced) * ratio;
                n = RoundToInt(t);
                p = RoundToInt((t - double(n)) * phases);
            }
            if (!iLast && n >= stopAt)
                break;
            CMN_ASSERT_TEXT(produced < limit, "samples out within the output block");
            posP[produced] = int32_t(n - mSamplesIn);
            rowP[produced] = int32_t(rowBase + p * taps);
            // A short chain from one output to the next: add, compare, select.
            const int64_t next = rem + stepRem;
            const bool carry = next >= b;
            rem = carry ? next - b : next;
            q += carry ? stepQ + 1 : stepQ;
        }
        // n - mSamplesIn lies in [-mNumTaps / 2, iCount + mNumTaps): one wrap at most.
        const int32_t write = mHistoryWrite, ringSize = mHistorySize, count = int32_t(iCount);
        for (int64_t k = 0; k < produced; ++k)
        {
            const int32_t first = posP[k] - half; // relative to mSamplesIn
            int32_t pos = first + write;
            pos = pos >= ringSize ? pos - ringSize : pos;
            pos = pos < 0 ? pos + ringSize : pos;
            const int32_t inData = count - first;
            posP[k] = pos;
            validP[k] = std::clamp(inData, 0, taps);
            wholeP[k] = uint8_t((pos + taps <= ringSize) & (inData >= taps));
        }
        return produced;
    }
    for (int64_t i = mSamplesOut;; ++i)
    {
        if (iLast && i == mDstTotal)
            break;
        // One output per step until the window would pass the data (or, at the end, until
        // the destination total is reached; from the source total on the window sees zeros).
        const double t = double(i) * ratio;
        const int64_t n = RoundToInt(t);
        double r = 0.0;
        if (phaseNoise)
        {
            const int32_t x = FF_AudioRandom::Next(sRandomState);
            r = (2.0 * double(x) - 2147483648.0) * (1.0 / 4294967296.0);
        }
        const int64_t p = RoundToInt((t - double(n)) * phases + r);
        if (!iLast && n >= stopAt)
            break;

        const int64_t first = n - half;
        // first - mSamplesIn lies in [-mNumTaps, iCount): one wrap at most either way.
        int64_t pos = first + base;
        if (pos >= size)
            pos -= size;
        else if (pos < 0)
            pos += size;
        if (pos < 0 || pos >= size)
        {
            pos %= size;
            if (pos < 0)
                pos += size;
        }
        CMN_ASSERT_TEXT(produced < limit, "samples out within the output block");
        rowP[produced] = int32_t((p + centreRow) * taps);
        posP[produced] = int32_t(pos);
        validP[produced] = int32_t(std::clamp<int64_t>(end - first, 0, taps));
        wholeP[produced] = pos + taps <= size && first + taps <= end;
        ++produced;
    }
    return produced;
}

template <class Format>
void FF_AudioProcessSRC::InterpChannel(const char* iIn, char* ioOut, int64_t iCount,
                                       int64_t iProduced, double* ioRing)
{
    const int64_t size = mHistorySize;
    const int32_t taps = mNumTaps;

    // The new samples into the ring (source sample j lives at j mod size): up to the ring's
    // end, then from its start.
    {
        const int64_t w = mHistoryWrite;
        const int64_t first = std::min<int64_t>(iCount, size - w);
        ReadMany<Format>(iIn, ioRing + w, first);
        ReadMany<Format>(iIn + first * Format::cBytes, ioRing, iCount - first);
    }

    const double* table = mSincTable.get();
    double* window = mWindow.data();
    const int32_t* pos = mSchedule.mPos.data();
    const int32_t* row = mSchedule.mRow.data();
    const int32_t* valid = mSchedule.mValid.data();
    const uint8_t* whole = mSchedule.mWhole.data();
    double* sums = mSchedule.mSums.data();
    for (int64_t k = 0; k < iProduced;)
    {
        if (whole[k])
        {
            // A run of windows that lie whole in the ring, in one call.
            const void* stop = std::memchr(whole + k, 0, size_t(iProduced - k));
            const int64_t e = stop ? static_cast<const uint8_t*>(stop) - whole : iProduced;
            mDotMany(ioRing, pos + k, table, row + k, e - k, sums + k);
            k = e;
            continue;
        }
        // A window that wraps the ring or passes the data seen so far, made whole.
        int64_t p = pos[k];
        for (int32_t c = 0; c < taps; ++c)
        {
            window[c] = c >= valid[k] ? 0.0 : ioRing[p];
            if (++p == size)
                p = 0;
        }
        sums[k] = mDot(window, table + row[k]);
        ++k;
    }
    WriteMany<Format>(ioOut, sums, iProduced);
}
