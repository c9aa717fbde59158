#include "FF/Audio/Processing/FF_AudioProcessMixer.h"

#include <algorithm>
#include <cmath>

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/FF_AudioProcessGain.h"
#include "FF/Audio/Processing/FF_AudioSampleAccess.h"

using SA = FF_AudioSampleAccess;

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
    for (int64_t k = 0; k < count; ++k)
    {
        int64_t sum = 0;
        for (int16_t c = 0; c < channels; ++c)
            sum += SA::Read(in->GetBuffer(size_t(c)), bytes, k);
        const int64_t v = int64_t(double(sum) * mFactor);
        SA::Write(dst, bytes, k, FF_AudioProcessGain::Clip(v, max));
    }
    out->SetNumChannels(1);
}
