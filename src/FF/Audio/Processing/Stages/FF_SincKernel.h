// The inner product of sample-rate conversion: one window of history samples against one row
// of the sinc table, in double precision. The operands are single-precision values (integer
// samples and float coefficients) stored widened, so that no path converts them per tap.
//
// Exactness. A product of two floats is exact in double precision, so every path computes
// the same products; paths differ only in the order in which they add them. DotScalar adds in
// index order and is the reference. The vector paths keep several partial sums and add them
// at the end; their result differs from the reference by a few units in the last place of
// the sum, which after rounding to an integer sample changes the sample by at most one, and
// only when the exact sum lies within that distance of a half.
//
// Paths. GetDot picks, for a tap count of the table (9, 17, 33, 65, 129 or 257: 2^k + 1), a
// function specialised for that count on the best instruction set of the host (AVX2 with FMA,
// else SSE2, else the plain loop). A test may ask for a given path.
#pragma once

#include <cstdint>

class FF_SincKernel
{
public:
    using DotFunc = double (*)(const double* iSamples, const double* iCoefs);

    enum EPath
    {
        ePath_Scalar = 0,
        ePath_SSE2 = 1,
        ePath_AVX2 = 2
    };

    // Sum of iSamples[j] * iCoefs[j] for j from 0 to iCount - 1, added in order.
    static double DotScalar(const double* iSamples, const double* iCoefs, int32_t iCount);

    // The fastest path this host runs.
    static EPath GetBestPath();
    // The inner product for iNumTaps taps on iPath (a path the host cannot run falls back to
    // the best one it can). Asserts "IsSupportedTapCount(iNumTaps)".
    static DotFunc GetDot(int32_t iNumTaps, EPath iPath);
    static DotFunc GetDot(int32_t iNumTaps) { return GetDot(iNumTaps, GetBestPath()); }
    static bool IsSupportedTapCount(int32_t iNumTaps);

    // iCount inner products: oSums[k] of the window at iSamples + iSampleOffsets[k] and the
    // row at iCoefs + iCoefOffsets[k]. On the AVX2 path four sums are built side by side and
    // reduced together, which hides the latency of each; the other paths make them one by
    // one. The sums differ from DotScalar as the single products of the path do.
    using DotManyFunc = void (*)(const double* iSamples, const int32_t* iSampleOffsets,
                                 const double* iCoefs, const int32_t* iCoefOffsets, int64_t iCount,
                                 double* oSums);
    static DotManyFunc GetDotMany(int32_t iNumTaps, EPath iPath);
};
