// Computes waveform overviews of a stream on its way through a chain: the consumer when it
// is the last stage, otherwise a filter that hands every block on unchanged.
//
// Contract.
//  - Overview i follows channel i of the stream; channels beyond the overviews are not looked
//    at. All overviews have the same size (the constructor asserts
//    "mBufferSize == mOverviews.at( index )->GetSize()"), and Preflight asserts that it is the
//    payload size of the stream's total ("2 * ( ( mSamplesToProcess + 256 - 1 ) / 256 ) ==
//    mBufferSize", with iSamplesPerPoint in place of 256), so the stream's total must be known
//    ("mSamplesToProcess != -1") and the byte order native
//    ("inOutBlock->GetBufferByteOrder() == eByteOrder_Native").
//  - Process, for 8, 16 and 24 bits (others assert "0"): each channel keeps across blocks the
//    count of samples in the current group and the group's maximum and minimum; a full group
//    is written as one point (max, min) reduced by FF_AudioOverview::ReduceSample. After the
//    stream's last sample (samples seen equal the total) a partial group is written too. A
//    stream longer than its announced total fails the assertion "mSamplesProcessed <=
//    mSamplesToProcess" instead of writing past the overviews.
//  - The overviews are held locked (LockingRef) from construction until the stream's last
//    block has been decimated (or the stage dies, when the stream never ends); their bytes
//    belong to this stage while the chain runs, and are complete once the chain has.
//  - Threads: steps on the Filter or Consumer worker, by GetProcessType.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "FF/Audio/Processing/Overview/FF_AudioOverview.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"

class FF_AudioProcessDecimateWaveform : public FF_AudioProcess
{
public:
    // Asserts "iSamplesPerPoint > 0" and "!mOverviews.empty()" and the sizes (see above).
    FF_AudioProcessDecimateWaveform(int32_t iSamplesPerPoint,
                                    const std::vector<FF_AudioOverview::LockingRef>& iOverviews);
    ~FF_AudioProcessDecimateWaveform() override;

    // Consumer when there is no next stage, filter otherwise.
    EProcessType GetProcessType() const override;
    // See above; also asserts "mOverviews.size() <= size_t(inOutBlock->GetNumChannels())".
    // Leaves the description as it is.
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

    int32_t GetSamplesPerPoint() const { return mSamplesPerPoint; }
    int32_t GetBufferSize() const { return mBufferSize; }
    // Samples per channel seen so far. Any thread.
    int64_t GetSamplesProcessed() const { return mSamplesProcessedShared.load(); }

private:
    struct ChannelState
    {
        int32_t mCount = 0;
        int32_t mMax = INT32_MIN;
        int32_t mMin = INT32_MAX;
        int32_t mWriteIndex = 0;
    };

    template <int32_t Bytes>
    void DecimateChannel(const char* iSamplesP, int64_t iCount, ChannelState& ioState,
                         int8_t* oBufferP);
    void WritePoint(ChannelState& ioState, int8_t* oBufferP);

    const int32_t mSamplesPerPoint;
    std::vector<FF_AudioOverview::LockingRef> mOverviews;
    int32_t mBufferSize = 0;
    int32_t mBits = 0;
    int64_t mSamplesToProcess = -1;
    int64_t mSamplesProcessed = 0;
    std::atomic<int64_t> mSamplesProcessedShared{0};
    std::vector<ChannelState> mStates;
};
