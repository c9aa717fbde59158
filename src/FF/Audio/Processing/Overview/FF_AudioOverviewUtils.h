// The overview of a whole audio file: computing it through a chain, and moving it between
// an FF_AudioOverview and the file's embedded overview property (the raw payload that the
// file layer keeps in FF_AudioFile::mOverview).
//
// The overview of a file is one channel: the file's only channel, or the mono mix of all its
// channels (FF_AudioProcessMixer: the sum times sqrt(1 / channels), clipped) for a file with
// several. It covers mNumSamples frames, so its size is FF_AudioOverview::GetPayloadSize of
// the file's sample count: the size that the embedded overview and the cache hold.
//
// Threads: the thread that owns the file calls these; ComputeOverview runs the chain's
// stages on the shared workers and drives it from the calling thread.
#pragma once

#include <cstdint>
#include <functional>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverview.h"

class FF_AudioOverviewUtils
{
public:
    // Samples per block of the computing chain (per channel; fewer for many channels, at most
    // 262,144 samples a block in all). Large blocks: the chain's cost is mostly the hand-off of
    // each block between its three workers; 16 pool blocks of this size stay near 14 MB for a
    // stereo 24-bit file.
    static constexpr int32_t cSamplesPerBlock = 65536;

    // Computes the overview of iFile by the chain FF_AudioProcessReadFiles ->
    // FF_AudioProcessMixer (several channels only) -> FF_AudioProcessDecimateWaveform(256).
    // The file is opened for reading if it is closed, and closed again. iProgress, when
    // given, hears the percentage done from the calling thread now and then. Bits other than
    // 8, 16 and 24 fail the assertion "0"; a read error or a failed stage throws
    // (std::runtime_error with the stage's text). A file of 0 samples gives an empty
    // overview without a chain. Asserts "iFile".
    static FF_AudioOverview ComputeOverview(const FF_AudioFileRef& iFile,
                                            const std::function<void(int32_t)>& iProgress = {});
};
