#include "FF/Audio/Processing/Stages/FF_SincKernel.h"

#include "Cmn_Assert.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define FF_SINC_X86 1
#endif

namespace
{

template <int N> double DotScalarN(const double* iSamples, const double* iCoefs)
{
    double sum = 0.0;
    for (int j = 0; j < N; ++j)
        sum += iSamples[j] * iCoefs[j];
    return sum;
}

#ifdef FF_SINC_X86

// Two products at a time into four partial sums.
template <int N> double DotSSE2N(const double* iSamples, const double* iCoefs)
{
    static_assert((N - 1) % 8 == 0, "tap counts are 2^k + 1");
    __m128d acc0 = _mm_setzero_pd();
    __m128d acc1 = _mm_setzero_pd();
    __m128d acc2 = _mm_setzero_pd();
    __m128d acc3 = _mm_setzero_pd();
    for (int j = 0; j < N - 1; j += 8)
    {
        acc0 = _mm_add_pd(acc0, _mm_mul_pd(_mm_loadu_pd(iSamples + j), _mm_loadu_pd(iCoefs + j)));
        acc1 = _mm_add_pd(acc1,
                          _mm_mul_pd(_mm_loadu_pd(iSamples + j + 2), _mm_loadu_pd(iCoefs + j + 2)));
        acc2 = _mm_add_pd(acc2,
                          _mm_mul_pd(_mm_loadu_pd(iSamples + j + 4), _mm_loadu_pd(iCoefs + j + 4)));
        acc3 = _mm_add_pd(acc3,
                          _mm_mul_pd(_mm_loadu_pd(iSamples + j + 6), _mm_loadu_pd(iCoefs + j + 6)));
    }
    const __m128d acc = _mm_add_pd(_mm_add_pd(acc0, acc1), _mm_add_pd(acc2, acc3));
    const double sum = _mm_cvtsd_f64(acc) + _mm_cvtsd_f64(_mm_unpackhi_pd(acc, acc));
    return sum + iSamples[N - 1] * iCoefs[N - 1];
}

// Four products at a time, fused multiply-add (exact here: the operands are floats widened,
// so each product is exact) into up to four partial sums.
template <int N>
__attribute__((target("avx2,fma"))) double DotAVX2N(const double* iSamples, const double* iCoefs)
{
    static_assert((N - 1) % 8 == 0, "tap counts are 2^k + 1");
    __m256d acc0 = _mm256_setzero_pd();
    __m256d acc1 = _mm256_setzero_pd();
    __m256d acc2 = _mm256_setzero_pd();
    __m256d acc3 = _mm256_setzero_pd();
    int j = 0;
    for (; j + 16 <= N - 1; j += 16)
    {
        acc0 = _mm256_fmadd_pd(_mm256_loadu_pd(iSamples + j), _mm256_loadu_pd(iCoefs + j), acc0);
        acc1 = _mm256_fmadd_pd(_mm256_loadu_pd(iSamples + j + 4), _mm256_loadu_pd(iCoefs + j + 4),
                               acc1);
        acc2 = _mm256_fmadd_pd(_mm256_loadu_pd(iSamples + j + 8), _mm256_loadu_pd(iCoefs + j + 8),
                               acc2);
        acc3 = _mm256_fmadd_pd(_mm256_loadu_pd(iSamples + j + 12), _mm256_loadu_pd(iCoefs + j + 12),
                               acc3);
    }
    if constexpr ((N - 1) % 16 != 0)
    {
        acc0 = _mm256_fmadd_pd(_mm256_loadu_pd(iSamples + j), _mm256_loadu_pd(iCoefs + j), acc0);
        acc1 = _mm256_fmadd_pd(_mm256_loadu_pd(iSamples + j + 4), _mm256_loadu_pd(iCoefs + j + 4),
                               acc1);
    }
    const __m256d acc = _mm256_add_pd(_mm256_add_pd(acc0, acc1), _mm256_add_pd(acc2, acc3));
    const __m128d half = _mm_add_pd(_mm256_castpd256_pd128(acc), _mm256_extractf128_pd(acc, 1));
    const double sum = _mm_cvtsd_f64(half) + _mm_cvtsd_f64(_mm_unpackhi_pd(half, half));
    return sum + iSamples[N - 1] * iCoefs[N - 1];
}

// Many inner products, four at a time: the four windows share no data, so their sums are
// built side by side and reduced together, which hides the latency of each reduction.
template <int N>
__attribute__((target("avx2,fma"))) void
DotManyAVX2N(const double* iSamples, const int32_t* iSampleOffsets, const double* iCoefs,
             const int32_t* iCoefOffsets, int64_t iCount, double* oSums)
{
    static_assert((N - 1) % 8 == 0, "tap counts are 2^k + 1");
    int64_t k = 0;
    for (; k + 4 <= iCount; k += 4)
    {
        __m256d v[4];
        double lastS[4], lastC[4];
        for (int m = 0; m < 4; ++m)
        {
            const double* s = iSamples + iSampleOffsets[k + m];
            const double* c = iCoefs + iCoefOffsets[k + m];
            __m256d a0 = _mm256_mul_pd(_mm256_loadu_pd(s), _mm256_loadu_pd(c));
            __m256d a1 = _mm256_mul_pd(_mm256_loadu_pd(s + 4), _mm256_loadu_pd(c + 4));
            for (int j = 8; j < N - 1; j += 8)
            {
                a0 = _mm256_fmadd_pd(_mm256_loadu_pd(s + j), _mm256_loadu_pd(c + j), a0);
                a1 = _mm256_fmadd_pd(_mm256_loadu_pd(s + j + 4), _mm256_loadu_pd(c + j + 4), a1);
            }
            v[m] = _mm256_add_pd(a0, a1);
            lastS[m] = s[N - 1];
            lastC[m] = c[N - 1];
        }
        // [v0 lo pair, v1 lo pair, v0 hi pair, v1 hi pair] and the same for v2, v3.
        const __m256d h01 = _mm256_hadd_pd(v[0], v[1]);
        const __m256d h23 = _mm256_hadd_pd(v[2], v[3]);
        const __m256d sums =
            _mm256_add_pd(_mm256_permute2f128_pd(h01, h23, 0x21), _mm256_blend_pd(h01, h23, 0xC));
        _mm256_storeu_pd(oSums + k,
                         _mm256_fmadd_pd(_mm256_loadu_pd(lastS), _mm256_loadu_pd(lastC), sums));
    }
    for (; k < iCount; ++k)
        oSums[k] = DotAVX2N<N>(iSamples + iSampleOffsets[k], iCoefs + iCoefOffsets[k]);
}

bool HostHasAVX2()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}

#endif

template <int N> FF_SincKernel::DotFunc PickDot(FF_SincKernel::EPath iPath)
{
#ifdef FF_SINC_X86
    if (iPath == FF_SincKernel::ePath_AVX2)
        return &DotAVX2N<N>;
    if (iPath == FF_SincKernel::ePath_SSE2)
        return &DotSSE2N<N>;
#endif
    (void)iPath;
    return &DotScalarN<N>;
}

// One product after the other, for the paths without a batched form.
template <int N, double (*Dot)(const double*, const double*)>
void DotManyEachN(const double* iSamples, const int32_t* iSampleOffsets, const double* iCoefs,
                  const int32_t* iCoefOffsets, int64_t iCount, double* oSums)
{
    for (int64_t k = 0; k < iCount; ++k)
        oSums[k] = Dot(iSamples + iSampleOffsets[k], iCoefs + iCoefOffsets[k]);
}

template <int N> FF_SincKernel::DotManyFunc PickDotMany(FF_SincKernel::EPath iPath)
{
#ifdef FF_SINC_X86
    if (iPath == FF_SincKernel::ePath_AVX2)
        return &DotManyAVX2N<N>;
    if (iPath == FF_SincKernel::ePath_SSE2)
        return &DotManyEachN<N, DotSSE2N<N>>;
#endif
    (void)iPath;
    return &DotManyEachN<N, DotScalarN<N>>;
}

} // namespace

double FF_SincKernel::DotScalar(const double* iSamples, const double* iCoefs, int32_t iCount)
{
    double sum = 0.0;
    for (int32_t j = 0; j < iCount; ++j)
        sum += iSamples[j] * iCoefs[j];
    return sum;
}

FF_SincKernel::EPath FF_SincKernel::GetBestPath()
{
#ifdef FF_SINC_X86
    static const EPath sBest = HostHasAVX2() ? ePath_AVX2 : ePath_SSE2;
    return sBest;
#else
    return ePath_Scalar;
#endif
}

bool FF_SincKernel::IsSupportedTapCount(int32_t iNumTaps)
{
    switch (iNumTaps)
    {
    case 9:
    case 17:
    case 33:
    case 65:
    case 129:
    case 257:
        return true;
    default:
        return false;
    }
}

FF_SincKernel::DotFunc FF_SincKernel::GetDot(int32_t iNumTaps, EPath iPath)
{
    CMN_ASSERT(IsSupportedTapCount(iNumTaps));
    if (iPath > GetBestPath())
        iPath = GetBestPath();
    switch (iNumTaps)
    {
    case 9:
        return PickDot<9>(iPath);
    case 17:
        return PickDot<17>(iPath);
    case 33:
        return PickDot<33>(iPath);
    case 65:
        return PickDot<65>(iPath);
    case 129:
        return PickDot<129>(iPath);
    default:
        return PickDot<257>(iPath);
    }
}

FF_SincKernel::DotManyFunc FF_SincKernel::GetDotMany(int32_t iNumTaps, EPath iPath)
{
    CMN_ASSERT(IsSupportedTapCount(iNumTaps));
    if (iPath > GetBestPath())
        iPath = GetBestPath();
    switch (iNumTaps)
    {
    case 9:
        return PickDotMany<9>(iPath);
    case 17:
        return PickDotMany<17>(iPath);
    case 33:
        return PickDotMany<33>(iPath);
    case 65:
        return PickDotMany<65>(iPath);
    case 129:
        return PickDotMany<129>(iPath);
    default:
        return PickDotMany<257>(iPath);
    }
}
