#include "FF/Audio/Processing/Jobs/FF_AudioProcessConsolidateAudioFileConstructor.h"

#include "Cmn_Assert.h"

FF_AudioProcessConsolidateAudioFileConstructor::FF_AudioProcessConsolidateAudioFileConstructor(
    const FF_AudioFileRef& iSource, const std::list<Cmn_Interval>& iIntervals, int16_t iDstBitDepth,
    EAudioFileType iDstType, int32_t iDstRate, ESRCQuality iQuality, double iGainDB, bool iSqueeze,
    bool iDither)
    : FF_AudioProcessConvertAudioFileConstructor(iSource, iDstBitDepth, iDstType, iDstRate,
                                                 iQuality, iGainDB, iSqueeze, iDither),
      mIntervals(iIntervals)
{
    CMN_ASSERT_TEXT(!iIntervals.empty(), "!iIntervals.empty()");
    for (const Cmn_Interval& interval : mIntervals)
        CMN_ASSERT_TEXT(0 <= interval.mBegin && interval.mBegin <= interval.mEnd &&
                            interval.mEnd <= GetSourceNumSamples(),
                        "0 <= mBegin <= mEnd <= samples");
}

FF_AudioProcessConsolidateAudioFileConstructor::~FF_AudioProcessConsolidateAudioFileConstructor() =
    default;

std::string FF_AudioProcessConsolidateAudioFileConstructor::GetDescription() const
{
    return "Consolidating " + GetSource()->GetFileLoc().GetName();
}
