#include "FF/Audio/Processing/Chain/FF_AudioProcessBlock.h"

#include <stdexcept>
#include <string>

#include "Cmn_Assert.h"

FF_AudioProcessBlock::FF_AudioProcessBlock() = default;

FF_AudioProcessBlock::FF_AudioProcessBlock(int16_t inNumChannels, int32_t inSampleRate,
                                           int32_t inBitsPerSample, int64_t inNumSamples,
                                           int64_t inTotalNumSamples, EByteOrder inByteOrder)
    : mNumChannels(inNumChannels), mSampleRate(inSampleRate), mNumSamples(inNumSamples),
      mTotalNumSamples(inTotalNumSamples), mByteOrder(inByteOrder)
{
    CMN_ASSERT_TEXT(inNumChannels >= 0 && inNumSamples >= 0,
                    "inNumChannels >= 0 && inNumSamples >= 0");
    SetBitsPerSample(inBitsPerSample);
    AllocateBuffers();
}

FF_AudioProcessBlock::FF_AudioProcessBlock(const FF_AudioProcessBlock& iPrototype)
    : mNumChannels(iPrototype.mNumChannels), mSampleRate(iPrototype.mSampleRate),
      mBitsPerSample(iPrototype.mBitsPerSample), mBytesPerSample(iPrototype.mBytesPerSample),
      mNumSamples(iPrototype.mNumSamples), mTotalNumSamples(iPrototype.mTotalNumSamples),
      mByteOrder(iPrototype.mByteOrder)
{
    AllocateBuffers();
}

FF_AudioProcessBlock::~FF_AudioProcessBlock() = default;

void FF_AudioProcessBlock::AllocateBuffers()
{
    const int16_t channels = mNumChannels > 0 ? mNumChannels : 0;
    const int64_t bytes = mNumSamples > 0 ? int64_t(mBytesPerSample) * mNumSamples : 0;
    mBufferBytes = size_t(bytes);
    mBuffers.clear();
    mBuffers.reserve(size_t(channels));
    for (int16_t i = 0; i < channels; ++i)
        mBuffers.emplace_back(new char[mBufferBytes]());
}

void FF_AudioProcessBlock::SetBitsPerSample(int32_t inBitsPerSample)
{
    CMN_ASSERT_TEXT(inBitsPerSample > 0 && !(uint32_t(inBitsPerSample) & 0xFFFF0000u),
                    "inBitsPerSample > 0 && !( inBitsPerSample & 0xFFFF0000 )");
    mBitsPerSample = uint16_t(inBitsPerSample);
    mBytesPerSample = uint16_t((inBitsPerSample + 7) / 8);
}

void FF_AudioProcessBlock::CopyDescription(const FF_AudioProcessBlock& iOther)
{
    mNumChannels = iOther.mNumChannels;
    mSampleRate = iOther.mSampleRate;
    mBitsPerSample = iOther.mBitsPerSample;
    mBytesPerSample = iOther.mBytesPerSample;
    mNumSamples = iOther.mNumSamples;
    mTotalNumSamples = iOther.mTotalNumSamples;
}

char* FF_AudioProcessBlock::GetBuffer(size_t iIndex)
{
    if (iIndex >= mBuffers.size())
        throw std::out_of_range("FF_AudioProcessBlock: no buffer " + std::to_string(iIndex));
    return mBuffers[iIndex].get();
}

const char* FF_AudioProcessBlock::GetBuffer(size_t iIndex) const
{
    return const_cast<FF_AudioProcessBlock*>(this)->GetBuffer(iIndex);
}

bool FF_AudioProcessBlock::IsWithinAllocation() const
{
    return mNumChannels >= 0 && size_t(mNumChannels) <= mBuffers.size() && mNumSamples >= 0 &&
           uint64_t(mBytesPerSample) * uint64_t(mNumSamples) <= mBufferBytes;
}
