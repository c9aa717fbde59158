// Value types shared by the audio file front and the audio chains.
#pragma once

#include <cstdint>

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
