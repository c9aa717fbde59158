#include "FF/Audio/Processing/Overview/FF_AudioOverviewUtils.h"

#include <algorithm>
#include <list>
#include <stdexcept>
#include <vector>

#include "Cmn_Assert.h"
#include "Cmn_Exception.h"
#include "Cmn_Interval.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessChain.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "FF/Audio/Processing/Overview/FF_AudioProcessDecimateWaveform.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadFiles.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessMixer.h"

FF_AudioOverview
FF_AudioOverviewUtils::ComputeOverview(const FF_AudioFileRef& iFile,
                                       const std::function<void(int32_t)>& iProgress)
{
    CMN_ASSERT(iFile);
    FF_AudioFile::StOpenForRead open(*iFile);
    const FF_AudioFile::Properties properties = iFile->GetProperties();
    CMN_ASSERT_TEXT(
        properties.mBitDepth == 8 || properties.mBitDepth == 16 || properties.mBitDepth == 24, "0");
    FF_AudioOverview overview = FF_AudioOverviewMgr::Allocate(properties.mNumSamples);
    if (properties.mNumSamples == 0)
        return overview;

    // Blocks of cSamplesPerBlock samples whatever the depth: the producer's block size is
    // given as if the samples were 24-bit and scaled by bits / 24.
    // Fewer samples per block for many channels, so that the chain's memory stays bounded.
    const int32_t channels = properties.mNumChannels;
    const int32_t samplesPerBlock = std::max(1024, std::min(cSamplesPerBlock, 262144 / channels));
    const int32_t processBlockSize = samplesPerBlock * 3 * channels;
    const int32_t readBlockSize = 4 * samplesPerBlock * properties.mBytesPerSample * channels;
    FF_AudioProcessChain::ChainHandle chain(new FF_AudioProcessChain);
    chain->SetDescription("Calculating overview for " + iFile->GetFileLoc().GetName());
    chain->Append(FF_AudioProcess::ProcessHandle(
        new FF_AudioProcessReadFiles({iFile}, {Cmn_Interval(0, properties.mNumSamples)}, 0, false,
                                     processBlockSize, readBlockSize)));
    if (channels > 1)
        chain->Append(
            FF_AudioProcess::ProcessHandle(new FF_AudioProcessMixer(int16_t(channels), 1)));
    chain->Append(FF_AudioProcess::ProcessHandle(new FF_AudioProcessDecimateWaveform(
        FF_AudioOverview::cSamplesPerPoint, {FF_AudioOverview::LockingRef(overview)})));

    try
    {
        FF_AudioProcessUtils::RunProcessChainToEnd(
            chain.Get(),
            [&]
            {
                if (iProgress)
                    iProgress(chain->GetPercentCompleted());
                return true;
            },
            100);
    }
    catch (const Cmn_CancelException&)
    {
        throw std::runtime_error("the overview calculation of " +
                                 iFile->GetFileLoc().GetFullPath() + " was aborted");
    }
    if (iProgress)
        iProgress(100);
    return overview;
}
