// Value types shared by the audio file front and the audio chains.
#pragma once

#include <cstdint>
#include <vector>

// Byte order of samples, in a file or in a buffer.
enum EByteOrder : int32_t
{
    eByteOrder_Big = 0,
    eByteOrder_Little = 1,
    // The order of this host (little-endian).
    eByteOrder_Native = eByteOrder_Little
};

// The audio file types; the values are fixed and index the table of registered types.
enum EAudioFileType : int32_t
{
    eAudioFileType_Unknown = 0,
    eAudioFileType_Offline = 1,
    eAudioFileType_QSII = 2,
    eAudioFileType_WAVE = 3,
    eAudioFileType_AIFF = 4,
    eAudioFileType_AIFC = 5,
    eAudioFileType_OMF = 6,
    eAudioFileType_Real = 7,
    eAudioFileType_MP3 = 8,
    eAudioFileType_QuickTime = 9,
    eAudioFileType_WMF = 10,
    eAudioFileType_SoundResource = 11,
    eAudioFileType_QSI = 12,
    eAudioFileType_AVI = 13,
    eAudioFileType_MPG = 14,
    eAudioFileType_MPEG = 15,
    eAudioFileType_DV = 16,
    eAudioFileType_MXF = 17,
    eAudioFileType_M4A = 18
};

// Sampler attributes of a file: root note, fine tune in cents and two loops. A loop type
// of 0 means no loop; 1, 2 and 3 are forward, ping-pong and backward.
struct FF_AudioInstrumentAttr
{
    int32_t mRootNote = 60;
    int32_t mFineTune = 0;
    int32_t mLoop1Type = 0;
    int64_t mLoop1Start = 0;
    int64_t mLoop1End = 0;
    int32_t mLoop2Type = 0;
    int64_t mLoop2Start = 0;
    int64_t mLoop2End = 0;

    bool operator==(const FF_AudioInstrumentAttr&) const = default;
};

// The bytes of an embedded waveform overview of one channel: a (max, min) pair of signed
// bytes per 256 samples. The audio file keeps them as they stand in the file.
using FF_AudioOverviewData = std::vector<int8_t>;
