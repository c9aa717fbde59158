// The chunks of a RIFF WAVE file, and the metadata chunks that WAVE shares with AIFF.
//
// Every multi-byte field is little-endian on disk. A chunk keeps the data size it was found
// with (cut to what the file holds); while a chunk is not cached its size is that size, so
// laying out a file never changes a chunk it has not read. A cached chunk is as big as its
// content makes it. Chunk readers fill the audio file's properties from the file but never
// overwrite a value the caller has set and not yet flushed.
//
// Short reads and writes of fixed-size chunks throw std::runtime_error with the text
// "end of file encountered"; FF_ChunkyFile::ReadChunk turns such a failure into false.
#pragma once

#include <cstdint>
#include <vector>

#include "FF/FF_Chunk.h"

class FF_AudioFile;

// A chunk id: the four characters as they stand in the file, read as a little-endian word.
constexpr uint32_t FF_WAVEChunkID(const char (&iID)[5])
{
    return uint32_t(uint8_t(iID[0])) | uint32_t(uint8_t(iID[1])) << 8 |
           uint32_t(uint8_t(iID[2])) << 16 | uint32_t(uint8_t(iID[3])) << 24;
}

class WAVEChunk : public FF_ChunkAdapter<uint32_t, FF_AudioFile>
{
public:
    WAVEChunk(uint32_t iID, int64_t iStoredSize) : mID(iID), mStoredSize(iStoredSize) {}

    uint32_t GetID() const override { return mID; }
    int32_t GetHeaderSize() const override { return 8; }
    // The id and GetSize - 8; a short write throws.
    void WriteHeader(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    // The found size + 8 while not cached; else GetCachedSize.
    int64_t GetSize(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    virtual int64_t GetCachedSize(FF_AudioFile* iAudioFileP) = 0;

    int64_t GetStoredSize() const { return mStoredSize; }
    void SetStoredSize(int64_t iSize) { mStoredSize = iSize; }

    // Makes a chunk for an id read from a file (null for an id this file does not know).
    static WAVEChunk* CreateKnownChunk(uint32_t iID, int64_t iStoredSize);
    // An empty, cached chunk that needs writing: "umid", "regn", "smpl", "ovwf", "minf",
    // "rkti" or "ANNO"; any other id fails the assertion "0".
    static WAVEChunk* CreateChunk(uint32_t iID);

protected:
    uint32_t mID;
    int64_t mStoredSize;
};

// Integer PCM, plain (tag 1) or in the extensible form (tag 0xFFFE with the PCM sub-format,
// as other writers use for more than two channels or more than 16 bits). A chunk read from
// a file is written back in the form it was found in, its bytes past the first 16 (the
// extensible fields: valid bits, channel mask, sub-format) kept as they were.
class WAVEFmtChunk : public WAVEChunk
{
public:
    static constexpr uint16_t cTagPCM = 1;
    static constexpr uint16_t cTagExtensible = 0xFFFE;
    explicit WAVEFmtChunk(int64_t iStoredSize);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile* iAudioFileP) override;
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;

private:
    uint16_t mTag = cTagPCM;
    std::vector<unsigned char> mExtra; // the bytes after the first 16, as read
};

class WAVEEBUChunk : public WAVEChunk
{
public:
    static constexpr int32_t cDataSize = 602;
    explicit WAVEEBUChunk(int64_t iStoredSize);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile*) override { return cDataSize + 8; }
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
};

class WAVEDataChunk : public WAVEChunk
{
public:
    explicit WAVEDataChunk(int64_t iStoredSize);
    bool IsCached() const override { return false; }
    bool CanCache() const override { return false; }
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    // Writes nothing: the samples are in place; only the header changes.
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetSize(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile* iAudioFileP) override;
    void SetPositionImpl(FF_AudioFile* iAudioFileP, int64_t iPosition) override;
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
};

class WAVESamplerChunk : public WAVEChunk
{
public:
    static constexpr uint32_t cManufacturer = 0x1000013;
    static constexpr uint32_t cProduct = 666;
    explicit WAVESamplerChunk(int64_t iStoredSize);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile* iAudioFileP) override;
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
};

// The filler that puts the first sample on a multiple of the alignment.
class WAVEElmoChunk : public WAVEChunk
{
public:
    WAVEElmoChunk();
    bool ReadImpl(FF_AudioFile*, Sys_File*) override { return true; }
    void WriteImpl(FF_AudioFile*, Sys_File*) override {}
    int64_t GetCachedSize(FF_AudioFile* iAudioFileP) override;
    void SetPositionImpl(FF_AudioFile*, int64_t) override {}
    bool NeedsSyncImpl(FF_AudioFile*) override { return true; }
    // 512, 4096 with mAlignFor4K, the volume's sector with mAlignForVolume.
    static int64_t GetAlignment(FF_AudioFile* iAudioFileP);
};

// ---- shared metadata chunks (the WAVE forms) ---------------------------------------------

class UAFUmidChunk : public WAVEChunk
{
public:
    explicit UAFUmidChunk(int64_t iStoredSize);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile*) override { return 32; }
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
};

class UAFRegnChunk : public WAVEChunk
{
public:
    static constexpr int32_t cRecordSize = 88;
    static constexpr int32_t cMaxNameLength = 31;
    explicit UAFRegnChunk(int64_t iStoredSize);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile* iAudioFileP) override;
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
};

class UAFMinfChunk : public WAVEChunk
{
public:
    explicit UAFMinfChunk(int64_t iStoredSize);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile*) override { return 24; }
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
};

class UAFOvwfChunk : public WAVEChunk
{
public:
    static constexpr int32_t cEntryHeaderSize = 24;
    explicit UAFOvwfChunk(int64_t iStoredSize);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile* iAudioFileP) override;
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
    // The overview size of a file of that many frames: two bytes per 256 frames.
    static int64_t OverviewSize(int64_t iNumSamples) { return (iNumSamples + 255) / 256 * 2; }
};

class UAFDRktAssetInfoChunk : public WAVEChunk
{
public:
    explicit UAFDRktAssetInfoChunk(int64_t iStoredSize);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile*) override { return 18; }
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
};

class UAFAnnoChunk : public WAVEChunk
{
public:
    explicit UAFAnnoChunk(int64_t iStoredSize);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile* iAudioFileP) override;
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
};

// A chunk of a kind this file does not know: kept in place or moved on disk, never read.
class UAFUnknownChunk : public WAVEChunk
{
public:
    UAFUnknownChunk(uint32_t iID, int64_t iStoredSize) : WAVEChunk(iID, iStoredSize) {}
    bool CanCache() const override { return false; }
    bool ReadImpl(FF_AudioFile*, Sys_File*) override;
    void WriteImpl(FF_AudioFile*, Sys_File*) override;
    int64_t GetSize(FF_AudioFile*, Sys_File*) override { return mStoredSize + 8; }
    int64_t GetCachedSize(FF_AudioFile*) override { return mStoredSize + 8; }
    bool NeedsSyncImpl(FF_AudioFile*) override { return false; }
};
