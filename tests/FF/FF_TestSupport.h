// Helpers of the audio file tests: crafted RIFF bytes, files on disk, new WAVE files.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
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

// A new WAVE file of this format, open for writing.
inline FF_AudioFileRef NewWave(const std::string& iPath, int16_t iChannels, int16_t iBits,
                               int32_t iRate = 48000, int64_t iTimeStamp = 0)
{
    FF_AudioFileRef file(new FF_AudioFile(eAudioFileType_WAVE, Sys_FileLoc(iPath), iChannels, iBits,
                                          iRate, iTimeStamp, 0));
    file->Open(Cmn_Store::eOpenFlag_OpenCreate);
    return file;
}

inline FF_AudioFileRef OpenFile(const std::string& iPath, Cmn_Store::EOpenFlag iFlag)
{
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(iPath)));
    file->Open(iFlag);
    return file;
}

// A new WAVE file with these samples (native order, two's complement), flushed and closed.
inline void MakeWave(const std::string& iPath, int16_t iChannels, int16_t iBits,
                     const Bytes& iSamples, int32_t iRate = 48000)
{
    FF_AudioFileRef file = NewWave(iPath, iChannels, iBits, iRate);
    Bytes copy = iSamples;
    file->Write(copy.data(), int64_t(copy.size()) / (iChannels * iBits / 8));
    file->Flush();
    file->Close();
}

struct ChunkPlace
{
    std::string mID;
    size_t mStart, mSize; // of the chunk's data
};

// The chunks of a RIFF image, in file order.
inline std::vector<ChunkPlace> Chunks(const Bytes& iBytes)
{
    std::vector<ChunkPlace> chunks;
    for (size_t p = 12; p + 8 <= iBytes.size();)
    {
        const uint32_t size = uint32_t(iBytes[p + 4]) | uint32_t(iBytes[p + 5]) << 8 |
                              uint32_t(iBytes[p + 6]) << 16 | uint32_t(iBytes[p + 7]) << 24;
        chunks.push_back({std::string(reinterpret_cast<const char*>(&iBytes[p]), 4), p + 8, size});
        p += 8 + size + (size % 2);
    }
    return chunks;
}

// Where the "data" chunk's samples start in a RIFF image, and their size (0, 0 if none).
inline std::pair<size_t, size_t> FindData(const Bytes& iBytes)
{
    for (const ChunkPlace& c : Chunks(iBytes))
        if (c.mID == "data")
            return {c.mStart, c.mSize};
    return {0, 0};
}

inline std::vector<std::string> ChunkIDs(const Bytes& iBytes)
{
    std::vector<std::string> ids;
    for (const ChunkPlace& c : Chunks(iBytes))
        ids.push_back(c.mID);
    return ids;
}

// Damaged copies of a file: every truncation (the first iGood.size() of them), then for each
// byte one copy per mask that iMasks gives for it, the byte xor-ed with the mask.
inline std::vector<Bytes> DamagedCopies(const Bytes& iGood,
                                        const std::function<std::vector<uint8_t>(size_t)>& iMasks)
{
    std::vector<Bytes> copies;
    for (size_t length = 0; length < iGood.size(); ++length)
        copies.emplace_back(iGood.begin(), iGood.begin() + std::ptrdiff_t(length));
    for (size_t at = 0; at < iGood.size(); ++at)
        for (const uint8_t mask : iMasks(at))
        {
            copies.push_back(iGood);
            copies.back()[at] ^= mask;
        }
    return copies;
}

// Fuzz seeds, written to the folder named by MIRAFILE_WRITE_FUZZ_SEEDS when it is set; each
// must be small.
inline void WriteFuzzSeeds(const std::vector<std::pair<std::string, Bytes>>& iSeeds)
{
    for (const auto& [name, bytes] : iSeeds)
        EXPECT_LT(bytes.size(), 4096u) << name;
    if (const char* folder = std::getenv("MIRAFILE_WRITE_FUZZ_SEEDS"))
    {
        std::filesystem::create_directories(folder);
        for (const auto& [name, bytes] : iSeeds)
            WriteBytes(std::string(folder) + "/" + name, bytes);
    }
}
