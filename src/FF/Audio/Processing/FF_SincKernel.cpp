#include "FF/Audio/Processing/FF_SincKernel.h"

#include "Cmn_Assert.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define FF_SINC_X86 1
#endif

namespace
{

template <int N> double DotScalarN(const float* iSamples, const float* iCoefs)
{
    double sum = 0.0;
    for (int j = 0; j < N; ++j)
        sum += double(iSamples[j]) * double(iCoefs[j]);
    return sum;
}

#ifdef FF_SINC_X86

// Four floats widened to doubles in two halves, multiplied and added to two partial sums.
template <int N> double DotSSE2N(const float* iSamples, const float* iCoefs)
{
    static_assert((N - 1) % 8 == 0, "tap counts are 2^k + 1");
    __m128d acc0 = _mm_setzero_pd();
    __m128d acc1 = _mm_setzero_pd();
    __m128d acc2 = _mm_setzero_pd();
    __m128d acc3 = _mm_setzero_pd();
    for (int j = 0; j < N - 1; j += 8)
    {
        const __m128 s0 = _mm_loadu_ps(iSamples + j);
        const __m128 c0 = _mm_loadu_ps(iCoefs + j);
        const __m128 s1 = _mm_loadu_ps(iSamples + j + 4);
        const __m128 c1 = _mm_loadu_ps(iCoefs + j + 4);
        acc0 = _mm_add_pd(acc0, _mm_mul_pd(_mm_cvtps_pd(s0), _mm_cvtps_pd(c0)));
        acc1 = _mm_add_pd(acc1, _mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(s0, s0)),
                                           _mm_cvtps_pd(_mm_movehl_ps(c0, c0))));
        acc2 = _mm_add_pd(acc2, _mm_mul_pd(_mm_cvtps_pd(s1), _mm_cvtps_pd(c1)));
        acc3 = _mm_add_pd(acc3, _mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(s1, s1)),
                                           _mm_cvtps_pd(_mm_movehl_ps(c1, c1))));
    }
    const __m128d acc = _mm_add_pd(_mm_add_pd(acc0, acc1), _mm_add_pd(acc2, acc3));
    const double sum = _mm_cvtsd_f64(acc) + _mm_cvtsd_f64(_mm_unpackhi_pd(acc, acc));
    return sum + double(iSamples[N - 1]) * double(iCoefs[N - 1]);
}

// Eight floats widened to two vectors of four doubles each; fused multiply-add (exact here,
// since the products are exact) into up to four partial sums.
template <int N>
__attribute__((target("avx2,fma"))) double DotAVX2N(const float* iSamples, const float* iCoefs)
{
    static_assert((N - 1) % 8 == 0, "tap counts are 2^k + 1");
    __m256d acc0 = _mm256_setzero_pd();
    __m256d acc1 = _mm256_setzero_pd();
    __m256d acc2 = _mm256_setzero_pd();
    __m256d acc3 = _mm256_setzero_pd();
    int j = 0;
    for (; j + 16 <= N - 1; j += 16)
    {
        acc0 = _mm256_fmadd_pd(_mm256_cvtps_pd(_mm_loadu_ps(iSamples + j)),
                               _mm256_cvtps_pd(_mm_loadu_ps(iCoefs + j)), acc0);
        acc1 = _mm256_fmadd_pd(_mm256_cvtps_pd(_mm_loadu_ps(iSamples + j + 4)),
                               _mm256_cvtps_pd(_mm_loadu_ps(iCoefs + j + 4)), acc1);
        acc2 = _mm256_fmadd_pd(_mm256_cvtps_pd(_mm_loadu_ps(iSamples + j + 8)),
                               _mm256_cvtps_pd(_mm_loadu_ps(iCoefs + j + 8)), acc2);
        acc3 = _mm256_fmadd_pd(_mm256_cvtps_pd(_mm_loadu_ps(iSamples + j + 12)),
                               _mm256_cvtps_pd(_mm_loadu_ps(iCoefs + j + 12)), acc3);
    }
    if constexpr ((N - 1) % 16 != 0)
    {
        acc0 = _mm256_fmadd_pd(_mm256_cvtps_pd(_mm_loadu_ps(iSamples + j)),
                               _mm256_cvtps_pd(_mm_loadu_ps(iCoefs + j)), acc0);
        acc1 = _mm256_fmadd_pd(_mm256_cvtps_pd(_mm_loadu_ps(iSamples + j + 4)),
                               _mm256_cvtps_pd(_mm_loadu_ps(iCoefs + j + 4)), acc1);
    }
    const __m256d acc = _mm256_add_pd(_mm256_add_pd(acc0, acc1), _mm256_add_pd(acc2, acc3));
    const __m128d half = _mm_add_pd(_mm256_castpd256_pd128(acc), _mm256_extractf128_pd(acc, 1));
    const double sum = _mm_cvtsd_f64(half) + _mm_cvtsd_f64(_mm_unpackhi_pd(half, half));
    return sum + double(iSamples[N - 1]) * double(iCoefs[N - 1]);
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

} // namespace

double FF_SincKernel::DotScalar(const float* iSamples, const float* iCoefs, int32_t iCount)
{
    double sum = 0.0;
    for (int32_t j = 0; j < iCount; ++j)
        sum += double(iSamples[j]) * double(iCoefs[j]);
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
