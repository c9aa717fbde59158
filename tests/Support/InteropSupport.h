// Helpers of the tests that check files against other programs (sox, ffmpeg, libsndfile).
#pragma once

#include <cstdint>
#include <string>

#include "FF/Audio/FF_AudioFile.h"
#include "Support/ByteSupport.h"

// Whether sox is on the PATH.
bool Test_HaveSox();

// Whether a program is on the PATH.
bool Test_HaveProgram(const std::string& iName);

// Runs a shell command with its output thrown away; its exit status.
int Test_RunQuiet(const std::string& iCommand);

// The samples of a file as sox decodes them: signed, little-endian, iBits wide. A failure to
// decode is a test failure (and gives no bytes). The decoded file goes in iScratch.
Bytes Test_SoxRaw(const std::string& iPath, int iBits, const std::string& iScratch);

// The samples of a file as ffmpeg decodes them to the raw format iFormat ("s16le", ...); a
// failure to decode is a test failure (and gives no bytes).
Bytes Test_FfmpegRaw(const std::string& iPath, const std::string& iFormat,
                     const std::string& iScratch);

// All samples through the front, in blocks of an odd size, in the order asked for.
Bytes Test_ReadAll(FF_AudioFile& ioFile, int64_t iBlock = 999,
                   EByteOrder iOrder = eByteOrder_Native);
