#include "FF/Audio/Processing/Stages/FF_AudioProcessGain.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/Chain/FF_AudioSampleAccess.h"

using SA = FF_AudioSampleAccess;

FF_AudioProcessGain::FF_AudioProcessGain() : mAnalyse(true) {}

FF_AudioProcessGain::FF_AudioProcessGain(double iGainDB)
    : mAnalyse(false), mGainFactor(std::pow(10.0, iGainDB * 0.05))
{
}

FF_AudioProcessGain::~FF_AudioProcessGain() = default;

FF_AudioProcess::EProcessType FF_AudioProcessGain::GetProcessType() const
{
    return GetNextProcess() ? eProcessType_Filter : eProcessType_Consumer;
}

void FF_AudioProcessGain::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT_TEXT(inOutBlock->GetByteOrder() == eByteOrder_Native,
                    "inOutBlock->GetBufferByteOrder() == eByteOrder_Native");
    mTotalNumSamples = inOutBlock->GetTotalNumSamples();
    if (!mAnalyse)
        CMN_ASSERT(this->GetNextProcess());
    mNoiseShaper = std::make_unique<FF_DitherAndOrNoiseShape>(inOutBlock->GetBitsPerSample(),
                                                              inOutBlock->GetBitsPerSample(),
                                                              inOutBlock->GetSampleRate());
}

void FF_AudioProcessGain::Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out)
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

    if (mAnalyse)
    {
        for (int16_t c = 0; c < in->GetNumChannels(); ++c)
        {
            const char* src = in->GetBuffer(size_t(c));
            for (int64_t k = 0; k < count; ++k)
                mMaxAbsSample = std::max(mMaxAbsSample, std::abs(SA::Read(src, bytes, k)));
            if (GetNextProcess())
                std::memcpy(out->GetBuffer(size_t(c)), src, size_t(count) * size_t(bytes));
        }
        return;
    }

    CMN_ASSERT(mNoiseShaper);
    const bool dither = bits != 8;
    for (int16_t c = 0; c < in->GetNumChannels(); ++c)
    {
        const char* src = in->GetBuffer(size_t(c));
        char* dst = out->GetBuffer(size_t(c));
        for (int64_t k = 0; k < count; ++k)
        {
            const double scaled = double(SA::Read(src, bytes, k)) * mGainFactor;
            // Truncated toward zero; far beyond any format, so the clip below decides.
            int64_t v = int64_t(std::clamp(scaled, -4.0e9, 4.0e9));
            if (dither)
                v = mNoiseShaper->Process(float(v), true);
            SA::Write(dst, bytes, k, Clip(v, max));
        }
    }
}
