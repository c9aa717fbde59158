// What an OMF file holds, for people and programs: a summary (version, byte order, mobs by
// kind, tracks, descriptors, embedded media), the object graph as a listing, and the embedded
// audio as audio files. Reads through the object layer; throws its failures ("file is not
// OMFI media" for a file that is none, or whose references form a cycle).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Cmn_RefCountObject.h"
#include "FF/Audio/FF_AudioTypes.h"
#include "FF/OMF/OMF_Toolkit.h"

class FF_AudioFile;
class OMF_File;
class Sys_FileLoc;

struct OMF_EmbeddedMedia
{
    std::string mClass;                         // "WAVE", "AIFC", "QS2M"
    EAudioFileType mType = eAudioFileType_Unknown;
    omfUID_t mMobID;
    std::string mName; // of the source mob, "" when none names it
    int64_t mOffset = -1; // in the OMF file; -1 when the data is not in one piece
    int64_t mLength = 0;
    omfObject_t mObject = 0;          // the media data object
    omfProperty_t mProperty = 0;      // its data property
};

struct OMF_Summary
{
    int32_t mMajor = 0, mMinor = 0;
    bool mBigEndian = false;
    uint16_t mContainerVersion = 0;
    int32_t mObjects = 0;
    int32_t mCompositionMobs = 0, mMasterMobs = 0, mSourceMobs = 0, mOtherMobs = 0;
    int32_t mTracks = 0;      // of the composition mobs
    int32_t mDescriptors = 0; // media descriptors of source mobs
    std::vector<OMF_EmbeddedMedia> mMedia;
};

OMF_Summary OMF_Summarize(OMF_File& iFile);

// One object of the listing: objects are numbered from 1 in the order a depth-first walk
// from the head first meets them; references name those numbers.
struct OMF_DumpObject
{
    struct Property
    {
        std::string mName;
        std::string mType;
        std::string mValue;         // "" for references
        std::vector<int32_t> mRefs; // numbers of the objects referred to
    };
    int32_t mNumber = 0;
    std::string mClass;
    std::vector<Property> mProperties;
};

// Every object reachable from the head, in number order. A reference back to an object on
// the current path (a cycle) throws L10N 18/9.
std::vector<OMF_DumpObject> OMF_Dump(OMF_File& iFile);

// Reads iCount bytes of the media's data from iOffset; false past its end.
bool OMF_ReadEmbeddedMedia(OMF_File& iFile, const OMF_EmbeddedMedia& iMedia, int64_t iOffset, void* oData,
                           int32_t iCount);

// The embedded audio as an audio file read at its offset in the OMF file (not yet open).
Cmn_AliasedRefCountPtr<FF_AudioFile> OMF_OpenEmbeddedAudio(const Sys_FileLoc& iOMFFile,
                                                            const OMF_EmbeddedMedia& iMedia);
