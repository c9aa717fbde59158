// The neutral form of a composition: a track (Iop_Sequence) holding regions (Iop_SeqElem).
// Readers of interchange files fill these; writers take them. Plain values, copyable.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Iop/Iop_Types.h"
#include "Sys_Umid.h"

class Iop_SeqElem
{
public:
    enum EType : int32_t
    {
        eType_Source = 0, // a region of a media file
        eType_Fill = 1,   // silence
        eType_Fade = 2    // a transition between its neighbours
    };

    EType mType = eType_Source;
    std::string mName;
    Sys_Umid mSourceID;          // the media the region plays
    omfUID_t mSourceMobID;       // the same identity as the file stores it
    int32_t mSourceTrack = 0;    // channel of the source, 1 based
    int64_t mPosition = 0;       // start in the track, samples
    int64_t mSourceOffset = 0;   // start in the source, samples
    int64_t mLength = 0;         // samples
    double mGain = 1.0;          // linear
    double mPan = 0.0;           // -1 left .. +1 right
    std::vector<std::pair<int64_t, double>> mGainPoints; // sample, linear gain
    std::vector<std::pair<int64_t, double>> mPanPoints;  // sample, pan

    bool operator==(const Iop_SeqElem&) const = default;
};

class Iop_Sequence
{
public:
    enum ESequenceType : int32_t
    {
        eSequenceType_Audio = 0,
        eSequenceType_Video = 1,
        eSequenceType_TimeCode = 2,
        eSequenceType_Edgecode = 3
    };

    ESequenceType mType = eSequenceType_Audio;
    std::string mName;
    int32_t mTrackID = 0;
    int32_t mNumChannels = 1;
    std::vector<Iop_SeqElem> mElements; // in track order

    // The end of the last element, in samples (0 for an empty track).
    int64_t GetEnd() const;

    bool operator==(const Iop_Sequence&) const = default;
};
