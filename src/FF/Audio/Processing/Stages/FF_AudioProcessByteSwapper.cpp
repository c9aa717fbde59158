#include "FF/Audio/Processing/Stages/FF_AudioProcessByteSwapper.h"

#include <cstring>
#include <utility>

#include "Cmn_Assert.h"

FF_AudioProcessByteSwapper::FF_AudioProcessByteSwapper() = default;
FF_AudioProcessByteSwapper::~FF_AudioProcessByteSwapper() = default;

void FF_AudioProcessByteSwapper::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT(inOutBlock->GetBytesPerSample() != 1);
    inOutBlock->SetByteOrder(Opposite(inOutBlock->GetByteOrder()));
}

void FF_AudioProcessByteSwapper::Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out)
{
    const int64_t count = in->GetNumSamples();
    const size_t bytes = size_t(in->GetNumBytesPerChannel());
    const bool pairs = in->GetBytesPerSample() == 2;
    for (int16_t c = 0; c < in->GetNumChannels(); ++c)
    {
        char* dst = out->GetBuffer(size_t(c));
        std::memcpy(dst, in->GetBuffer(size_t(c)), bytes);
        if (pairs)
            for (int64_t k = 0; k < count; ++k)
                std::swap(dst[2 * k], dst[2 * k + 1]);
        else
            for (int64_t k = 0; k < count; ++k)
                std::swap(dst[3 * k], dst[3 * k + 2]);
    }
    out->SetByteOrder(Opposite(in->GetByteOrder()));
}
