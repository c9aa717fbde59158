#include "FF/Audio/Processing/Stages/FF_AudioProcessMixer.h"

#include <algorithm>
#include <cmath>

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessGain.h"
#include "FF/Audio/Processing/Chain/FF_AudioSampleAccess.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

using SA = FF_AudioSampleAccess;

namespace
{
#if defined(__x86_64__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
bool HostHasAVX2()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
}

// Four samples of one channel as 32-bit integers.
template <int32_t Bytes>
__attribute__((target("avx2"))) inline __m128i LoadFour(const char* iP, int64_t iK)
{
    if constexpr (Bytes == 3)
    {
        const __m128i spread = _mm_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11);
        return _mm_srai_epi32(
            _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(iP + 3 * iK)),
                             spread),
            8);
    }
    else
        return _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(iP + 2 * iK)));
}

// The mix of the first frames of a block, four at a time: 32-bit sums (exact for up to 128
// channels of 24 bits), scaled in double, clamped to [-max - 1, max] and cut towards zero,
// which is what cutting and then clipping gives, as the bounds are integers. Returns how
// many frames it did; the plain loop does the rest. A 24-bit step reads and writes 16 bytes
// for 12, so it stops two frames before the end of the block.
template <int32_t Bytes>
__attribute__((target("avx2"))) int64_t MixFramesAVX2(const char* const* iChannelsP,
                                                      int16_t iChannels, char* oDst, int64_t iCount,
                                                      double iFactor, int32_t iMax)
{
    static_assert(Bytes == 2 || Bytes == 3, "16 and 24 bits");
    const int64_t frames = Bytes == 3 ? std::max<int64_t>(0, iCount - 2) / 4 * 4 : iCount / 4 * 4;
    const __m128i pack = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    const __m256d factor = _mm256_set1_pd(iFactor);
    const __m256d lo = _mm256_set1_pd(-double(iMax) - 1.0), hi = _mm256_set1_pd(double(iMax));
    for (int64_t k = 0; k < frames; k += 4)
    {
        __m128i sum = LoadFour<Bytes>(iChannelsP[0], k);
        for (int16_t c = 1; c < iChannels; ++c)
            sum = _mm_add_epi32(sum, LoadFour<Bytes>(iChannelsP[c], k));
        const __m256d v =
            _mm256_min_pd(_mm256_max_pd(_mm256_mul_pd(_mm256_cvtepi32_pd(sum), factor), lo), hi);
        const __m128i out = _mm256_cvttpd_epi32(v);
        if constexpr (Bytes == 3)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(oDst + 3 * k), _mm_shuffle_epi8(out, pack));
        else
            _mm_storel_epi64(reinterpret_cast<__m128i*>(oDst + 2 * k), _mm_packs_epi32(out, out));
    }
    return frames;
}
#endif
} // namespace

FF_AudioProcessMixer::FF_AudioProcessMixer(int16_t iSrcNumChannels, int16_t iDstNumChannels)
    : mSrcNumChannels(iSrcNumChannels), mDstNumChannels(iDstNumChannels),
      mFactor(std::sqrt(1.0 / double(iSrcNumChannels)))
{
    CMN_ASSERT(iDstNumChannels == 1);
}

FF_AudioProcessMixer::~FF_AudioProcessMixer() = default;

void FF_AudioProcessMixer::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT_TEXT(inOutBlock->GetByteOrder() == eByteOrder_Native,
                    "inOutBlock->GetBufferByteOrder() == eByteOrder_Native");
    CMN_ASSERT(mSrcNumChannels == inOutBlock->GetNumChannels());
    inOutBlock->SetNumChannels(mDstNumChannels);
}

void FF_AudioProcessMixer::Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out)
{
    const int32_t bits = in->GetBitsPerSample();
    int32_t max = 0;
    switch (bits)
    {
    case 8:
        max = 127;
        break;
    case 16:
        max = 32767;
        break;
    case 24:
        max = 8388607;
        break;
    default:
        CMN_ASSERT_TEXT(false, "0");
    }
    const int32_t bytes = in->GetBytesPerSample();
    const int64_t count = in->GetNumSamples();
    const int16_t channels = in->GetNumChannels();
    char* dst = out->GetBuffer(0);
    switch (bytes)
    {
    case 1:
        MixFrames<1>(in, dst, count, channels, max);
        break;
    case 2:
        MixFrames<2>(in, dst, count, channels, max);
        break;
    default:
        MixFrames<3>(in, dst, count, channels, max);
        break;
    }
    out->SetNumChannels(1);
}

// The sums of a run of frames are gathered channel by channel (each channel's buffer looked
// up once per run), then scaled, clipped and written.
template <int32_t Bytes>
void FF_AudioProcessMixer::MixFrames(const FF_AudioProcessBlock* in, char* dst, int64_t iCount,
                                     int16_t iChannels, int32_t iMax) const
{
    int64_t begin = 0;
#if defined(__x86_64__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    static const bool sAVX2 = HostHasAVX2();
    if constexpr (Bytes > 1)
        if (sAVX2 && iChannels <= cMaxVectorChannels)
        {
            const char* channels[cMaxVectorChannels];
            for (int16_t c = 0; c < iChannels; ++c)
                channels[c] = in->GetBuffer(size_t(c));
            begin = MixFramesAVX2<Bytes>(channels, iChannels, dst, iCount, mFactor, iMax);
        }
#endif
    constexpr int64_t cRun = 512;
    int64_t sums[cRun];
    for (int64_t first = begin; first < iCount; first += cRun)
    {
        const int64_t n = std::min(cRun, iCount - first);
        std::fill(sums, sums + n, int64_t(0));
        for (int16_t c = 0; c < iChannels; ++c)
        {
            const char* src = in->GetBuffer(size_t(c));
            for (int64_t k = 0; k < n; ++k)
                sums[k] += SA::Read(src, Bytes, first + k);
        }
        for (int64_t k = 0; k < n; ++k)
        {
            const int64_t v = int64_t(double(sums[k]) * mFactor);
            SA::Write(dst, Bytes, first + k, FF_AudioProcessGain::Clip(v, iMax));
        }
    }
}
