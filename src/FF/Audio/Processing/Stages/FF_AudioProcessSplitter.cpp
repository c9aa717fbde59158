#include "FF/Audio/Processing/Stages/FF_AudioProcessSplitter.h"

#include <cstring>

#include "Cmn_Assert.h"

FF_AudioProcessSplitter::FF_AudioProcessSplitter(int16_t iSrcNumChannels, int16_t iDstNumChannels)
    : mSrcNumChannels(iSrcNumChannels), mDstNumChannels(iDstNumChannels)
{
    CMN_ASSERT(mSrcNumChannels == 1);
}

FF_AudioProcessSplitter::~FF_AudioProcessSplitter() = default;

void FF_AudioProcessSplitter::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT(inOutBlock->GetNumChannels() == mSrcNumChannels);
    inOutBlock->SetNumChannels(mDstNumChannels);
}

void FF_AudioProcessSplitter::Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out)
{
    const size_t bytes = size_t(in->GetNumBytesPerChannel());
    const char* src = in->GetBuffer(0);
    for (int16_t c = 0; c < mDstNumChannels; ++c)
        std::memcpy(out->GetBuffer(size_t(c)), src, bytes);
    out->SetNumChannels(mDstNumChannels);
}
