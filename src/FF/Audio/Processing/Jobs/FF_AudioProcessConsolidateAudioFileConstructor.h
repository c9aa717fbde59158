// Plans a conversion of only some parts of a file: the given intervals of source samples, in
// the order given, end to end, into new files made as FF_AudioProcessConvertAudioFileConstructor
// makes them (regions that overlap a kept interval move with it). Not copyable.
#pragma once

#include <list>

#include "Cmn_Interval.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertAudioFileConstructor.h"

class FF_AudioProcessConsolidateAudioFileConstructor
    : public FF_AudioProcessConvertAudioFileConstructor
{
public:
    // Asserts that every interval lies within the source ("0 <= mBegin <= mEnd <=
    // samples"), and "!iIntervals.empty()".
    FF_AudioProcessConsolidateAudioFileConstructor(const FF_AudioFileRef& iSource,
                                                   const std::list<Cmn_Interval>& iIntervals,
                                                   int16_t iDstBitDepth, EAudioFileType iDstType,
                                                   int32_t iDstRate, ESRCQuality iQuality,
                                                   double iGainDB = 0.0, bool iSqueeze = false,
                                                   bool iDither = false);
    ~FF_AudioProcessConsolidateAudioFileConstructor() override;

    // The intervals given: the producer reads only those; GetUnitsToProcess is the ceiling of
    // their summed length times the destination rate over the source rate.
    std::list<Cmn_Interval> GetSourceIntervals() const override { return mIntervals; }
    std::string GetDescription() const override;

private:
    std::list<Cmn_Interval> mIntervals;
};
