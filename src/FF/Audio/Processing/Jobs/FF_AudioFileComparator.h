// Compares two audio files: their main properties and their samples.
//
// CompareFiles opens both (for reading, unless open), compares GetProperties (type, format,
// byte order, rate, depth, bytes per sample, channels, samples) and then the samples frame
// by frame as FF_AudioFile::Read gives them (native order), over the frames both hold, in
// pieces, so memory does not grow with the length. Files of different sample layouts (bytes
// per sample or channels) are not compared sample by sample.
// The calling thread uses the files; nothing is written.
#pragma once

#include <cstdint>
#include <string>

#include "FF/Audio/FF_AudioFile.h"

class FF_AudioFileComparator
{
public:
    struct Differences
    {
        // Names of the properties that differ ("mSampleRate", "mNumSamples", ...).
        std::string mProperties;
        bool mPropertiesDiffer = false;
        // Frames compared, frames that differ in any channel, and the first one (-1: none).
        int64_t mSamplesCompared = 0;
        int64_t mSamplesDiffering = 0;
        int64_t mFirstDifferentSample = -1;
        // The samples were not compared (the layouts differ).
        bool mSamplesNotComparable = false;

        bool AreEqual() const
        {
            return !mPropertiesDiffer && mSamplesDiffering == 0 && !mSamplesNotComparable;
        }
    };

    // Throws when a file cannot be opened as audio.
    static Differences CompareFiles(FF_AudioFile& iA, FF_AudioFile& iB);
};
