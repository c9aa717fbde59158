#include "Support/FFTestSupport.h"

#include <algorithm>

void PutLE(Bytes& ioBytes, uint64_t iValue, int iWidth)
{
    for (int i = 0; i < iWidth; ++i)
        ioBytes.push_back(uint8_t(iValue >> (8 * i)));
}

Bytes Chunk(const char* iID, const Bytes& iData, int64_t iSize)
{
    Bytes bytes(iID, iID + 4);
    PutLE(bytes, uint64_t(iSize < 0 ? int64_t(iData.size()) : iSize), 4);
    bytes.insert(bytes.end(), iData.begin(), iData.end());
    if (iData.size() % 2)
        bytes.push_back(0);
    return bytes;
}

Bytes FmtData(int iTag, int iChannels, int iRate, int iBits)
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

Bytes Riff(const std::vector<Bytes>& iChunks, int64_t iFormSize)
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

void PutBE(Bytes& ioBytes, uint64_t iValue, int iWidth)
{
    for (int i = iWidth - 1; i >= 0; --i)
        ioBytes.push_back(uint8_t(iValue >> (8 * i)));
}

Bytes AifChunk(const char* iID, const Bytes& iData, int64_t iSize)
{
    Bytes bytes(iID, iID + 4);
    PutBE(bytes, uint64_t(iSize < 0 ? int64_t(iData.size()) : iSize), 4);
    bytes.insert(bytes.end(), iData.begin(), iData.end());
    if (iData.size() % 2)
        bytes.push_back(0);
    return bytes;
}

Bytes Form(const char* iForm, const std::vector<Bytes>& iChunks, int64_t iFormSize)
{
    Bytes body;
    for (const Bytes& chunk : iChunks)
        body.insert(body.end(), chunk.begin(), chunk.end());
    Bytes bytes = {'F', 'O', 'R', 'M'};
    PutBE(bytes, uint64_t(iFormSize < 0 ? int64_t(body.size() + 4) : iFormSize), 4);
    bytes.insert(bytes.end(), iForm, iForm + 4);
    bytes.insert(bytes.end(), body.begin(), body.end());
    return bytes;
}

Bytes CommData(int iChannels, uint32_t iFrames, int iBits, const Bytes& iRate,
               const char* iCompression, const std::string& iName)
{
    Bytes data;
    PutBE(data, uint64_t(iChannels), 2);
    PutBE(data, iFrames, 4);
    PutBE(data, uint64_t(iBits), 2);
    data.insert(data.end(), iRate.begin(), iRate.end());
    if (iCompression)
    {
        data.insert(data.end(), iCompression, iCompression + 4);
        data.push_back(uint8_t(iName.size()));
        data.insert(data.end(), iName.begin(), iName.end());
        if (iName.size() % 2 == 0)
            data.push_back(0);
    }
    return data;
}

Bytes Rate44100()
{
    return {0x40, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0};
}

uint64_t Hash(const Bytes& iBytes, size_t iFrom, size_t iCount)
{
    uint64_t h = 1469598103934665603ull;
    for (size_t i = iFrom; i < iFrom + iCount && i < iBytes.size(); ++i)
        h = (h ^ iBytes[i]) * 1099511628211ull;
    return h;
}

FF_AudioFileRef NewFile(EAudioFileType iType, const std::string& iPath, int16_t iChannels,
                        int16_t iBits, int32_t iRate, int64_t iTimeStamp)
{
    FF_AudioFileRef file(
        new FF_AudioFile(iType, Sys_FileLoc(iPath), iChannels, iBits, iRate, iTimeStamp, 0));
    file->Open(Cmn_Store::eOpenFlag_OpenCreate);
    return file;
}

FF_AudioFileRef NewWave(const std::string& iPath, int16_t iChannels, int16_t iBits, int32_t iRate,
                        int64_t iTimeStamp)
{
    return NewFile(eAudioFileType_WAVE, iPath, iChannels, iBits, iRate, iTimeStamp);
}

FF_AudioFileRef OpenFile(const std::string& iPath, Cmn_Store::EOpenFlag iFlag)
{
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(iPath)));
    file->Open(iFlag);
    return file;
}

void MakeWave(const std::string& iPath, int16_t iChannels, int16_t iBits, const Bytes& iSamples,
              int32_t iRate)
{
    MakeAudioFile(eAudioFileType_WAVE, iPath, iChannels, iBits, iSamples, iRate);
}

void MakeAudioFile(EAudioFileType iType, const std::string& iPath, int16_t iChannels,
                   int16_t iBits, const Bytes& iSamples, int32_t iRate)
{
    FF_AudioFileRef file = NewFile(iType, iPath, iChannels, iBits, iRate);
    Bytes copy = iSamples;
    file->Write(copy.data(), int64_t(copy.size()) / (iChannels * iBits / 8));
    file->Flush();
    file->Close();
}

Bytes BigEndianSamples(const Bytes& iSamples, int16_t iBits)
{
    Bytes big = iSamples;
    const size_t width = size_t(iBits / 8);
    for (size_t at = 0; at + width <= big.size(); at += width)
        std::reverse(big.begin() + long(at), big.begin() + long(at + width));
    return big;
}

std::vector<ChunkPlace> Chunks(const Bytes& iBytes, bool iBigEndian)
{
    std::vector<ChunkPlace> chunks;
    for (size_t p = 12; p + 8 <= iBytes.size();)
    {
        uint32_t size = 0;
        for (size_t i = 0; i < 4; ++i)
            size |= uint32_t(iBytes[p + 4 + (iBigEndian ? 3 - i : i)]) << (8 * i);
        chunks.push_back({std::string(reinterpret_cast<const char*>(&iBytes[p]), 4), p + 8, size});
        p += 8 + size + (size % 2);
    }
    return chunks;
}

std::pair<size_t, size_t> FindData(const Bytes& iBytes)
{
    for (const ChunkPlace& c : Chunks(iBytes))
        if (c.mID == "data")
            return {c.mStart, c.mSize};
    return {0, 0};
}

std::vector<std::string> ChunkIDs(const Bytes& iBytes, bool iBigEndian)
{
    std::vector<std::string> ids;
    for (const ChunkPlace& c : Chunks(iBytes, iBigEndian))
        ids.push_back(c.mID);
    return ids;
}

void WriteFuzzSeeds(const std::vector<std::pair<std::string, Bytes>>& iSeeds)
{
    for (const auto& [name, bytes] : iSeeds)
        EXPECT_LT(bytes.size(), 4096u) << name;
    if (const char* folder = std::getenv("MIRAFILE_WRITE_FUZZ_SEEDS"))
    {
        std::filesystem::create_directories(folder);
        for (const auto& [name, bytes] : iSeeds)
        {
            // A name may lead with the target's folder ("QSOpenFuzz/stereo.qs2").
            const std::filesystem::path path = std::filesystem::path(folder) / name;
            std::filesystem::create_directories(path.parent_path());
            WriteBytes(path.string(), bytes);
        }
    }
}

void CheckInputsAndWriteSeeds(const std::vector<AudioInput>& iInputs, size_t iGood,
                              const std::string& iFolder, const char* iExtension,
                              const std::list<EAudioFileType>* iCandidatesP)
{
    std::vector<std::pair<std::string, Bytes>> seeds;
    const std::string path = iFolder + "/in" + iExtension;
    for (size_t i = 0; i < iInputs.size(); ++i)
    {
        const AudioInput& c = iInputs[i];
        WriteBytes(path, c.mBytes);
        FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(path), 0, iCandidatesP));
        file->Open(Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(file->GetPlugIn() != nullptr, c.mOpens) << c.mName;
        if (file->GetPlugIn())
        {
            const FF_AudioFile::Properties p = file->GetProperties();
            EXPECT_GE(p.mNumSamples, 0) << c.mName;
            FF_AudioFile::RegionList regions;
            file->GetRegions(&regions);
            EXPECT_FALSE(regions.empty()) << c.mName;
            file->mOverview.GetOr({});
            file->mInstrumentAttr.GetOr({});
            file->mUmid.GetOr({});
            file->mDescription.GetOr("");
            Bytes buffer(size_t(64 * p.mNumChannels * p.mBytesPerSample) + 4);
            EXPECT_LE(file->Read(buffer.data(), 64), 64) << c.mName;
        }
        file->Close();
        std::string name = i < iGood ? c.mName : std::string("bad-") + c.mName + iExtension;
        std::replace(name.begin(), name.end(), ' ', '-');
        if (i < iGood || c.mBytes.size() < 4096) // the writer's must all be small
            seeds.emplace_back(name, c.mBytes);
    }
    WriteFuzzSeeds(seeds);
}
