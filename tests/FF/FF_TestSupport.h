// Helpers of the audio file tests: crafted RIFF bytes, files on disk, new WAVE files.
#pragma once

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "Sys_FileLoc.h"
#include "TestSupport.h"

using Bytes = std::vector<unsigned char>;

inline void PutLE(Bytes& ioBytes, uint64_t iValue, int iWidth)
{
    for (int i = 0; i < iWidth; ++i)
        ioBytes.push_back(uint8_t(iValue >> (8 * i)));
}

// One chunk: id, size (the true one unless iSize is given) and data, padded to 2.
inline Bytes Chunk(const char* iID, const Bytes& iData, int64_t iSize = -1)
{
    Bytes bytes(iID, iID + 4);
    PutLE(bytes, uint64_t(iSize < 0 ? int64_t(iData.size()) : iSize), 4);
    bytes.insert(bytes.end(), iData.begin(), iData.end());
    if (iData.size() % 2)
        bytes.push_back(0);
    return bytes;
}

inline Bytes FmtData(int iTag, int iChannels, int iRate, int iBits)
{
    Bytes data;
    PutLE(data, uint64_t(iTag), 2);
    PutLE(data, uint64_t(iChannels), 2);
    PutLE(data, uint64_t(iRate), 4);
    PutLE(data, uint64_t(iRate * iChannels * iBits / 8), 4);
    PutLE(data, uint64_t(iChannels * iBits / 8), 2);
    PutLE(data, uint64_t(iBits), 2);
    return data;
}

// "RIFF" form of the chunks; iFormSize replaces the true size when given.
inline Bytes Riff(const std::vector<Bytes>& iChunks, int64_t iFormSize = -1)
{
    Bytes body;
    for (const Bytes& chunk : iChunks)
        body.insert(body.end(), chunk.begin(), chunk.end());
    Bytes bytes = {'R', 'I', 'F', 'F'};
    PutLE(bytes, uint64_t(iFormSize < 0 ? int64_t(body.size() + 4) : iFormSize), 4);
    bytes.insert(bytes.end(), {'W', 'A', 'V', 'E'});
    bytes.insert(bytes.end(), body.begin(), body.end());
    return bytes;
}

inline void WriteBytes(const std::string& iPath, const Bytes& iBytes)
{
    std::ofstream out(iPath, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(iBytes.data()), std::streamsize(iBytes.size()));
}

inline Bytes ReadBytes(const std::string& iPath)
{
    std::ifstream in(iPath, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// FNV-1a of a byte range.
inline uint64_t Hash(const Bytes& iBytes, size_t iFrom, size_t iCount)
{
    uint64_t h = 1469598103934665603ull;
    for (size_t i = iFrom; i < iFrom + iCount && i < iBytes.size(); ++i)
        h = (h ^ iBytes[i]) * 1099511628211ull;
    return h;
}

// Deterministic sample bytes.
inline Bytes Pattern(size_t iCount, uint32_t iSeed = 1)
{
    Bytes bytes(iCount);
    uint32_t x = iSeed;
    for (auto& b : bytes)
    {
        x = x * 1664525u + 1013904223u;
        b = uint8_t(x >> 24);
    }
    return bytes;
}

// A new WAVE file with these samples (native order, two's complement), flushed and closed.
inline void MakeWave(const std::string& iPath, int16_t iChannels, int16_t iBits,
                     const Bytes& iSamples, int32_t iRate = 48000)
{
    FF_AudioFileRef file(
        new FF_AudioFile(eAudioFileType_WAVE, Sys_FileLoc(iPath), iChannels, iBits, iRate, 0, 0));
    file->Open(Cmn_Store::eOpenFlag_OpenCreate);
    Bytes copy = iSamples;
    file->Write(copy.data(), int64_t(copy.size()) / (iChannels * iBits / 8));
    file->Flush();
    file->Close();
}

// Where the "data" chunk's samples start in a RIFF image, and their size (0, 0 if none).
inline std::pair<size_t, size_t> FindData(const Bytes& iBytes)
{
    size_t p = 12;
    while (p + 8 <= iBytes.size())
    {
        const uint32_t size = uint32_t(iBytes[p + 4]) | uint32_t(iBytes[p + 5]) << 8 |
                              uint32_t(iBytes[p + 6]) << 16 | uint32_t(iBytes[p + 7]) << 24;
        if (std::memcmp(&iBytes[p], "data", 4) == 0)
            return {p + 8, size};
        p += 8 + size + (size % 2);
    }
    return {0, 0};
}

// The ids of the chunks of a RIFF image, in file order.
inline std::vector<std::string> ChunkIDs(const Bytes& iBytes)
{
    std::vector<std::string> ids;
    size_t p = 12;
    while (p + 8 <= iBytes.size())
    {
        ids.emplace_back(reinterpret_cast<const char*>(&iBytes[p]), 4);
        const uint32_t size = uint32_t(iBytes[p + 4]) | uint32_t(iBytes[p + 5]) << 8 |
                              uint32_t(iBytes[p + 6]) << 16 | uint32_t(iBytes[p + 7]) << 24;
        p += 8 + size + (size % 2);
    }
    return ids;
}
