#include "FF/Audio/Processing/FF_AudioProcessSRC.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <numbers>
#include <numeric>
#include <stdexcept>

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/FF_AudioRandom.h"

std::atomic<int32_t> FF_AudioProcessSRC::sRandomState{FF_AudioRandom::cSeed};

namespace
{

// The sample formats of the blocks: how a sample becomes a float in the history, and how a
// filtered value goes back, rounded to the nearest integer and clamped.
int64_t RoundToInt(double iValue)
{
    return std::llrint(iValue);
}

struct SRCFormat8
{
    static float Read(const char* iP, int64_t iK) { return float(int8_t(iP[iK])); }
    static void Write(char* iP, int64_t iK, double iValue)
    {
        iP[iK] = char(int8_t(std::clamp<int64_t>(RoundToInt(iValue), -128, 127)));
    }
};

struct SRCFormat16
{
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
    CreateSincTable();
}

FF_AudioProcessSRC::~FF_AudioProcessSRC() = default;

void FF_AudioProcessSRC::SetKernelPath(FF_SincKernel::EPath iPath)
{
    mDot = FF_SincKernel::GetDot(mNumTaps, iPath);
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
    mSincTable.reset(new (std::nothrow) float[rows * size_t(mNumTaps)]);
    if (!mSincTable)
        throw std::runtime_error("FF_AudioProcessSRC: not enough memory for the sinc table");

    const int32_t half = mNumTaps / 2;
    int32_t k = (mNumPhases + 1) / 2;
    for (size_t row = 0; row < rows; ++row, --k)
    {
        float* entry = mSincTable.get() + row * size_t(mNumTaps);
        const double fraction = double(k) / double(mNumPhases);
        for (int32_t c = 0; c < mNumTaps; ++c)
            entry[c] = float(SincFunc(fraction + double(c - half)));
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
    mHistorySize = int32_t(s) + mNumTaps - 1;
}

void FF_AudioProcessSRC::AllocateImpl(const FF_AudioProcessBlock& iPrototype)
{
    mHistory.clear();
    for (int16_t c = 0; c < mNumChannels; ++c)
        mHistory.emplace_back(new float[size_t(mHistorySize)]());
    mWindow.assign(size_t(mNumTaps), 0.0f);
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

    int64_t produced = 0;
    for (int16_t c = 0; c < channels; ++c)
    {
        const char* src = in->GetBuffer(size_t(c));
        char* dst = out->GetBuffer(size_t(c));
        float* ring = mHistory[size_t(c)].get();
        switch (bits)
        {
        case 8:
            produced = InterpChannel<SRCFormat8>(src, dst, count, capacity, last, ring);
            break;
        case 16:
            produced = InterpChannel<SRCFormat16>(src, dst, count, capacity, last, ring);
            break;
        case 24:
            produced = InterpChannel<SRCFormat24>(src, dst, count, capacity, last, ring);
            break;
        case 32:
            produced = InterpChannel<SRCFormat32>(src, dst, count, capacity, last, ring);
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

template <class Format>
int64_t FF_AudioProcessSRC::InterpChannel(const char* iIn, char* ioOut, int64_t iCount,
                                          int64_t iCapacity, bool iLast, float* ioRing)
{
    const int64_t size = mHistorySize;
    const int32_t taps = mNumTaps;
    const int32_t half = taps / 2;

    // 1. The new samples into the ring (source sample j lives at j mod size).
    {
        int64_t w = mHistoryWrite;
        for (int64_t k = 0; k < iCount; ++k)
        {
            ioRing[w] = Format::Read(iIn, k);
            if (++w == size)
                w = 0;
        }
    }

    // 2. One output per step until the window would pass the data (or, at the end, until
    //    the destination total is reached; from the source total on the window sees zeros).
    const double ratio = double(mSrcRate) / double(mDstRate);
    const bool phaseNoise = mNumPhases == cMaxPhases;
    const double phases = double(mNumPhases);
    const int64_t centreRow = (mNumPhases + 1) / 2;
    const int64_t end = mSamplesIn + iCount; // source samples seen so far
    const int64_t stopAt = end - half;       // an n at or past it waits for more data
    const float* table = mSincTable.get();
    float* window = mWindow.data();

    int64_t produced = 0;
    for (int64_t i = mSamplesOut;; ++i)
    {
        if (iLast && i == mDstTotal)
            break;
        const double t = double(i) * ratio;
        const int64_t n = std::llrint(t);
        double r = 0.0;
        if (phaseNoise)
        {
            const int32_t x = FF_AudioRandom::Next(sRandomState);
            r = (2.0 * double(x) - 2147483648.0) * (1.0 / 4294967296.0);
        }
        const int64_t p = std::llrint((t - double(n)) * phases + r);
        const float* row = table + (p + centreRow) * taps;
        if (!iLast && n >= stopAt)
            break;

        const int64_t first = n - half;
        int64_t pos = first % size;
        if (pos < 0)
            pos += size;
        const float* samples;
        if (pos + taps <= size && first + taps <= end)
        {
            samples = ioRing + pos;
        }
        else
        {
            for (int32_t c = 0; c < taps; ++c)
            {
                window[c] = first + c >= end ? 0.0f : ioRing[pos];
                if (++pos == size)
                    pos = 0;
            }
            samples = window;
        }
        CMN_ASSERT_TEXT(produced < iCapacity, "samples out within the output block");
        Format::Write(ioOut, produced, mDot(samples, row));
        ++produced;
    }
    return produced;
}
