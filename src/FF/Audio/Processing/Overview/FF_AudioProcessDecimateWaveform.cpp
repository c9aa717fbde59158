#include "FF/Audio/Processing/Overview/FF_AudioProcessDecimateWaveform.h"

#include <algorithm>
#include <cstring>

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/Chain/FF_AudioSampleAccess.h"

namespace
{
template <int32_t Bytes> inline int32_t ReadSample(const char* iP, int64_t iK)
{
    if constexpr (Bytes == 1)
        return FF_AudioSampleAccess::Read8(iP, iK);
    else if constexpr (Bytes == 2)
        return FF_AudioSampleAccess::Read16(iP, iK);
    else
        return FF_AudioSampleAccess::Read24(iP, iK);
}
} // namespace

FF_AudioProcessDecimateWaveform::FF_AudioProcessDecimateWaveform(
    int32_t iSamplesPerPoint, const std::vector<FF_AudioOverview::LockingRef>& iOverviews)
    : mSamplesPerPoint(iSamplesPerPoint), mOverviews(iOverviews)
{
    CMN_ASSERT(iSamplesPerPoint > 0);
    CMN_ASSERT(!mOverviews.empty());
    mBufferSize = mOverviews.front()->GetSize();
    for (size_t index = 0; index < mOverviews.size(); ++index)
        CMN_ASSERT_TEXT(mBufferSize == mOverviews.at(index)->GetSize(),
                        "mBufferSize == mOverviews.at( index )->GetSize()");
    mStates.resize(mOverviews.size());
}

FF_AudioProcessDecimateWaveform::~FF_AudioProcessDecimateWaveform() = default;

FF_AudioProcess::EProcessType FF_AudioProcessDecimateWaveform::GetProcessType() const
{
    return GetNextProcess() ? eProcessType_Filter : eProcessType_Consumer;
}

void FF_AudioProcessDecimateWaveform::Preflight(FF_AudioProcessBlock* inOutBlock)
{
    CMN_ASSERT_TEXT(inOutBlock->GetByteOrder() == eByteOrder_Native,
                    "inOutBlock->GetBufferByteOrder() == eByteOrder_Native");
    mSamplesToProcess = inOutBlock->GetTotalNumSamples();
    CMN_ASSERT(mSamplesToProcess != -1);
    const int64_t points = (mSamplesToProcess + mSamplesPerPoint - 1) / mSamplesPerPoint;
    CMN_ASSERT_TEXT(2 * points == mBufferSize,
                    "2 * ( ( mSamplesToProcess + 256 - 1 ) / 256 ) == mBufferSize");
    CMN_ASSERT(mOverviews.size() <= size_t(inOutBlock->GetNumChannels()));
    mBits = inOutBlock->GetBitsPerSample();
    CMN_ASSERT_TEXT(mBits == 8 || mBits == 16 || mBits == 24, "0");
    mSamplesProcessed = 0;
    mSamplesProcessedShared.store(0);
    mStates.assign(mOverviews.size(), ChannelState());
}

void FF_AudioProcessDecimateWaveform::WritePoint(ChannelState& ioState, int8_t* oBufferP)
{
    CMN_ASSERT(ioState.mWriteIndex + 2 <= mBufferSize);
    if (oBufferP) // a purged overview has nowhere to go
    {
        oBufferP[ioState.mWriteIndex] = FF_AudioOverview::ReduceSample(ioState.mMax, mBits);
        oBufferP[ioState.mWriteIndex + 1] = FF_AudioOverview::ReduceSample(ioState.mMin, mBits);
    }
    ioState.mWriteIndex += 2;
    ioState.mCount = 0;
    ioState.mMax = INT32_MIN;
    ioState.mMin = INT32_MAX;
}

// A full group is written as soon as it is complete; since the total is known, that gives
// the same points as writing it when the next sample arrives.
template <int32_t Bytes>
void FF_AudioProcessDecimateWaveform::DecimateChannel(const char* iSamplesP, int64_t iCount,
                                                      ChannelState& ioState, int8_t* oBufferP)
{
    int64_t k = 0;
    while (k < iCount)
    {
        const int64_t run = std::min<int64_t>(mSamplesPerPoint - ioState.mCount, iCount - k);
        int32_t max = ioState.mMax;
        int32_t min = ioState.mMin;
        const char* p = iSamplesP + k * Bytes;
        for (int64_t i = 0; i < run; ++i)
        {
            const int32_t v = ReadSample<Bytes>(p, i);
            max = std::max(max, v);
            min = std::min(min, v);
        }
        ioState.mMax = max;
        ioState.mMin = min;
        ioState.mCount += int32_t(run);
        k += run;
        if (ioState.mCount == mSamplesPerPoint)
            WritePoint(ioState, oBufferP);
    }
}

void FF_AudioProcessDecimateWaveform::Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out)
{
    const int64_t count = in->GetNumSamples();
    mBits = in->GetBitsPerSample();
    mSamplesProcessed += count;
    CMN_ASSERT(mSamplesProcessed <= mSamplesToProcess);
    const bool last = mSamplesProcessed == mSamplesToProcess;
    for (size_t c = 0; c < mOverviews.size(); ++c)
    {
        const char* samplesP = in->GetBuffer(c);
        int8_t* bufferP = mOverviews[c]->GetBuffer();
        ChannelState& state = mStates[c];
        switch (mBits)
        {
        case 8:
            DecimateChannel<1>(samplesP, count, state, bufferP);
            break;
        case 16:
            DecimateChannel<2>(samplesP, count, state, bufferP);
            break;
        case 24:
            DecimateChannel<3>(samplesP, count, state, bufferP);
            break;
        default:
            CMN_ASSERT_TEXT(false, "0");
        }
        if (last && state.mCount > 0)
            WritePoint(state, bufferP);
    }
    // The overviews are complete: their locks go now, not when the stage dies (a worker may
    // keep the stage it ran last for a while).
    if (last)
        mOverviews.clear();
    if (GetNextProcess())
        for (int16_t c = 0; c < in->GetNumChannels(); ++c)
            std::memcpy(out->GetBuffer(size_t(c)), in->GetBuffer(size_t(c)),
                        size_t(in->GetNumBytesPerChannel()));
    mSamplesProcessedShared.store(mSamplesProcessed);
}
