// Writes a small but complete OMF file from a description: embedded audio media (WAVE or
// AIFC bytes as they are), a source mob with its descriptor and a master mob for each, and
// compositions whose tracks play regions of the masters. The media go through the toolkit's
// media calls (file mob, master mob, raw data). Both generations, both byte orders,
// both container forms. Throws as OMF_Utils::ThrowIfErr; a failure before the end writes nothing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "FF/Audio/FF_AudioTypes.h"
#include "FF/OMF/OMF_Toolkit.h"

class Sys_FileLoc;

struct OMF_FileSpec
{
    struct Media
    {
        std::string mName;
        omfUID_t mSourceID; // the source mob and the media data
        omfUID_t mMasterID;
        EAudioFileType mType = eAudioFileType_WAVE; // WAVE or AIFC
        std::vector<uint8_t> mBytes;                // the whole audio file
        int32_t mSampleRate = 48000;
        int32_t mLength = 0; // sample frames
        int16_t mBits = 16, mChannels = 1; // of the media's descriptor; the bytes carry their own header
    };
    struct Clip
    {
        size_t mMedia = 0; // index into mMedia
        int32_t mStart = 0;
        int32_t mLength = 0;
    };
    struct Composition
    {
        std::string mName;
        omfUID_t mID;
        std::vector<std::vector<Clip>> mTracks;
    };

    omfFileRev_t mRev = kOmfRev2x;
    bool mBigEndian = false;
    uint16_t mContainerForm = 0; // 0: the generation's own
    uint32_t mMaxSegment = 0;    // 0: values in one piece
    std::vector<Media> mMedia;
    std::vector<Composition> mCompositions;
};

void OMF_WriteFile(const Sys_FileLoc& iLoc, const OMF_FileSpec& iSpec);
