#include "FF/Audio/Processing/Stages/FF_AudioProcessRequantize.h"

#include <cstring>

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/Chain/FF_AudioSampleAccess.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

using SA = FF_AudioSampleAccess;

namespace
{
#if defined(__x86_64__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
bool HostHasSSSE3()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("ssse3");
}

// Four 16-bit samples become four 3-byte words (a zero byte under each) per step; a step
// stores 16 bytes, of which the last 4 belong to the next samples, so the vector loop stops
// two samples before the end.
__attribute__((target("ssse3"))) int64_t Raise16To24SSSE3(const char* iIn, char* oOut,
                                                          int64_t iCount)
{
    const __m128i spread = _mm_setr_epi8(-1, 0, 1, -1, 2, 3, -1, 4, 5, -1, 6, 7, -1, -1, -1, -1);
    int64_t k = 0;
    for (; k + 6 <= iCount; k += 4)
    {
        const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(iIn + 2 * k));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(oOut + 3 * k), _mm_shuffle_epi8(v, spread));
    }
    return k;
}
#endif
} // namespace

FF_AudioProcessRequantize::FF_AudioProcessRequantize(uint16_t iSourceBits, uint16_t iDestBits,
                                                     int32_t iSampleRate, bool iDither)
    : mSourceBitsPerSample(iSourceBits), mDestBitsPerSample(iDestBits), mDither(iDither)
{
    if (iSourceBits > iDestBits)
        mNoiseShaper =
            std::make_unique<FF_DitherAndOrNoiseShape>(iSourceBits, iDestBits, iSampleRate);
}

FF_AudioProcessRequantize::~FF_AudioProcessRequantize() = default;

void FF_AudioProcessRequantize::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT_TEXT(inOutBlock->GetByteOrder() == eByteOrder_Native,
                    "inOutBlock->GetBufferByteOrder() == eByteOrder_Native");
    CMN_ASSERT(inOutBlock->GetBitsPerSample() == mSourceBitsPerSample);
    inOutBlock->SetBitsPerSample(mDestBitsPerSample);

    const int32_t pair = int32_t(mSourceBitsPerSample) * 100 + int32_t(mDestBitsPerSample);
    mConvert = nullptr;
    if (mSourceBitsPerSample == mDestBitsPerSample)
        mConvert = &FF_AudioProcessRequantize::RequantizeNoOp;
    else
        switch (pair)
        {
        case 816:
            mConvert = &FF_AudioProcessRequantize::Requantize8x16;
            break;
        case 824:
            mConvert = &FF_AudioProcessRequantize::Requantize8x24;
            break;
        case 832:
            mConvert = &FF_AudioProcessRequantize::Requantize8x32;
            break;
        case 1624:
            mConvert = &FF_AudioProcessRequantize::Requantize16x24;
            break;
        case 1632:
            mConvert = &FF_AudioProcessRequantize::Requantize16x32;
            break;
        case 2432:
            mConvert = &FF_AudioProcessRequantize::Requantize24x32;
            break;
        case 1608:
            mConvert = &FF_AudioProcessRequantize::Requantize16x8;
            break;
        case 2408:
            mConvert = &FF_AudioProcessRequantize::Requantize24x8;
            break;
        case 2416:
            mConvert = &FF_AudioProcessRequantize::Requantize24x16;
            break;
        default:
            CMN_ASSERT_TEXT(false, "0");
        }
    mSourceBytes = (mSourceBitsPerSample + 7) / 8;
}

void FF_AudioProcessRequantize::Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out)
{
    FF_AudioProcessBlock* inBlock = in;
    CMN_ASSERT(inBlock->GetBitsPerSample() == mSourceBitsPerSample);
    CMN_ASSERT(mConvert);
    const int64_t count = in->GetNumSamples();
    for (int16_t c = 0; c < in->GetNumChannels(); ++c)
        (this->*mConvert)(in->GetBuffer(size_t(c)), out->GetBuffer(size_t(c)), count);
    out->SetBitsPerSample(mDestBitsPerSample);
}

void FF_AudioProcessRequantize::Requantize8x16(const char* iIn, char* oOut, int64_t iCount)
{
    for (int64_t k = 0; k < iCount; ++k)
        SA::Write16(oOut, k, SA::ShiftLeft(SA::Read8(iIn, k), 8));
}

void FF_AudioProcessRequantize::Requantize8x24(const char* iIn, char* oOut, int64_t iCount)
{
    for (int64_t k = 0; k < iCount; ++k)
        SA::Write24(oOut, k, SA::ShiftLeft(SA::Read8(iIn, k), 16));
}

void FF_AudioProcessRequantize::Requantize8x32(const char* iIn, char* oOut, int64_t iCount)
{
    for (int64_t k = 0; k < iCount; ++k)
        SA::Write32(oOut, k, SA::ShiftLeft(SA::Read8(iIn, k), 24));
}

void FF_AudioProcessRequantize::Requantize16x24(const char* iIn, char* oOut, int64_t iCount)
{
    int64_t k = 0;
#if defined(__x86_64__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    static const bool sSSSE3 = HostHasSSSE3();
    if (sSSSE3)
        k = Raise16To24SSSE3(iIn, oOut, iCount);
#endif
    for (; k < iCount; ++k)
        SA::Write24(oOut, k, SA::ShiftLeft(SA::Read16(iIn, k), 8));
}

void FF_AudioProcessRequantize::Requantize16x32(const char* iIn, char* oOut, int64_t iCount)
{
    for (int64_t k = 0; k < iCount; ++k)
        SA::Write32(oOut, k, SA::ShiftLeft(SA::Read16(iIn, k), 16));
}

void FF_AudioProcessRequantize::Requantize24x32(const char* iIn, char* oOut, int64_t iCount)
{
    for (int64_t k = 0; k < iCount; ++k)
        SA::Write32(oOut, k, SA::ShiftLeft(SA::Read24(iIn, k), 8));
}

void FF_AudioProcessRequantize::RequantizeNoOp(const char* iIn, char* oOut, int64_t iCount)
{
    std::memcpy(oOut, iIn, size_t(iCount) * size_t(mSourceBytes));
}

void FF_AudioProcessRequantize::Requantize16x8(const char* iIn, char* oOut, int64_t iCount)
{
    if (mDither)
        for (int64_t k = 0; k < iCount; ++k)
            SA::Write8(oOut, k, mNoiseShaper->Process(float(SA::Read16(iIn, k)), false));
    else
        for (int64_t k = 0; k < iCount; ++k)
            SA::Write8(oOut, k, SA::Read16(iIn, k) >> 8);
}

void FF_AudioProcessRequantize::Requantize24x8(const char* iIn, char* oOut, int64_t iCount)
{
    if (mDither)
        for (int64_t k = 0; k < iCount; ++k)
            SA::Write8(oOut, k, mNoiseShaper->Process(float(SA::Read24(iIn, k)), false));
    else
        for (int64_t k = 0; k < iCount; ++k)
            SA::Write8(oOut, k, SA::Read24(iIn, k) >> 16);
}

void FF_AudioProcessRequantize::Requantize24x16(const char* iIn, char* oOut, int64_t iCount)
{
    if (mDither)
        for (int64_t k = 0; k < iCount; ++k)
            SA::Write16(oOut, k, mNoiseShaper->Process(float(SA::Read24(iIn, k)), true));
    else
        for (int64_t k = 0; k < iCount; ++k)
            SA::Write16(oOut, k, SA::Read24(iIn, k) >> 8);
}
