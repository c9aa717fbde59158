// Helpers of the tests that exchange files with other programs (sox, ffmpeg, libsndfile).
#pragma once

#include <cstdint>
#include <string>

#include "FF/Audio/FF_AudioFile.h"
#include "Support/ByteSupport.h"

// Whether a program is on the path.
bool HaveProgram(const std::string& iName);

// Runs a shell command quietly; its exit status.
int RunQuietly(const std::string& iCommand);

// The samples of a file as sox decodes them: signed, little-endian, iBits wide.
Bytes SoxRaw(const std::string& iPath, int iBits, const std::string& iScratch);

// The samples of a file as ffmpeg decodes them to the raw format iFormat ("s16le", ...).
Bytes FfmpegRaw(const std::string& iPath, const std::string& iFormat, const std::string& iScratch);

// All samples through the front, in blocks of an odd size, in the order asked for.
Bytes ReadAll(FF_AudioFile& ioFile, int64_t iBlock = 999, EByteOrder iOrder = eByteOrder_Native);
