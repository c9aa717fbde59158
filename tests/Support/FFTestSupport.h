// Helpers of the audio file tests: crafted RIFF bytes, files on disk, new WAVE files.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "Support/ByteSupport.h"
#include "Support/TestSupport.h"
#include "Sys_FileLoc.h"

// iValue in iWidth little-endian bytes at the end of ioBytes.
void PutLE(Bytes& ioBytes, uint64_t iValue, int iWidth);

// One chunk: id, size (the true one unless iSize is given) and data, padded to 2.
Bytes Chunk(const char* iID, const Bytes& iData, int64_t iSize = -1);

// The data of a "fmt " chunk.
Bytes FmtData(int iTag, int iChannels, int iRate, int iBits);

// "RIFF" form of the chunks; iFormSize replaces the true size when given.
Bytes Riff(const std::vector<Bytes>& iChunks, int64_t iFormSize = -1);

// The same for AIFF, big-endian: iValue in iWidth bytes, a chunk, a "FORM" of form type
// iForm ("AIFF" or "AIFC").
void PutBE(Bytes& ioBytes, uint64_t iValue, int iWidth);
Bytes AifChunk(const char* iID, const Bytes& iData, int64_t iSize = -1);
Bytes Form(const char* iForm, const std::vector<Bytes>& iChunks, int64_t iFormSize = -1);
// The data of a "COMM" chunk with the rate given as its 10 extended bytes; with a
// compression type (AIFC), also the type and the Pascal name iName.
Bytes CommData(int iChannels, uint32_t iFrames, int iBits, const Bytes& iRate,
               const char* iCompression = nullptr, const std::string& iName = "");
// The rate bytes of 44100 Hz.
Bytes Rate44100();

// FNV-1a of a byte range.
uint64_t Hash(const Bytes& iBytes, size_t iFrom, size_t iCount);

// A new file of this type and format, open for writing.
FF_AudioFileRef NewFile(EAudioFileType iType, const std::string& iPath, int16_t iChannels,
                        int16_t iBits, int32_t iRate = 48000, int64_t iTimeStamp = 0);

// A new WAVE file of this format, open for writing.
FF_AudioFileRef NewWave(const std::string& iPath, int16_t iChannels, int16_t iBits,
                        int32_t iRate = 48000, int64_t iTimeStamp = 0);

FF_AudioFileRef OpenFile(const std::string& iPath, Cmn_Store::EOpenFlag iFlag);

// A new WAVE file with these samples (native order, two's complement), flushed and closed.
void MakeWave(const std::string& iPath, int16_t iChannels, int16_t iBits, const Bytes& iSamples,
              int32_t iRate = 48000);

// A new file of any writable type with these samples (native order, two's complement),
// flushed and closed.
void MakeAudioFile(EAudioFileType iType, const std::string& iPath, int16_t iChannels,
                   int16_t iBits, const Bytes& iSamples, int32_t iRate = 48000);

// The samples of iSamples (iBits wide, native order) in big-endian order.
Bytes BigEndianSamples(const Bytes& iSamples, int16_t iBits);

struct ChunkPlace
{
    std::string mID;
    size_t mStart, mSize; // of the chunk's data
};

// The chunks of a RIFF image (or of an AIFF image, whose sizes are big-endian), in file order.
std::vector<ChunkPlace> Chunks(const Bytes& iBytes, bool iBigEndian = false);

// Where the "data" chunk's samples start in a RIFF image, and their size (0, 0 if none).
std::pair<size_t, size_t> FindData(const Bytes& iBytes);

std::vector<std::string> ChunkIDs(const Bytes& iBytes, bool iBigEndian = false);

// Fuzz seeds, written to the folder named by MIRAFILE_WRITE_FUZZ_SEEDS when it is set; each
// must be small.
void WriteFuzzSeeds(const std::vector<std::pair<std::string, Bytes>>& iSeeds);

// An input of a plug-in's table of inputs; mOpens: a plug-in takes it (reading must then stay
// safe).
struct AudioInput
{
    const char* mName;
    Bytes mBytes;
    bool mOpens;
};

// Opens each input (written to iFolder as "in" + iExtension) with the candidate types (null:
// the default list): a plug-in takes exactly the inputs marked so, and every property, the
// regions and a block of samples of those read safely. The first iGood inputs are files of
// our own writer; they and the small others ("bad-" + name + iExtension, spaces as dashes)
// are the fuzz seeds (WriteFuzzSeeds).
void CheckInputsAndWriteSeeds(const std::vector<AudioInput>& iInputs, size_t iGood,
                              const std::string& iFolder, const char* iExtension,
                              const std::list<EAudioFileType>* iCandidatesP = nullptr);
