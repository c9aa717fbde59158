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
    constexpr int64_t cRun = 512;
    int64_t sums[cRun];
    for (int64_t first = 0; first < iCount; first += cRun)
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
