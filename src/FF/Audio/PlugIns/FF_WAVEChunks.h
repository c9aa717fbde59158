// The chunks of a RIFF WAVE file that only WAVE has: "fmt ", "bext", "data", "smpl". The
// library's own metadata chunks ("umid", "regn", "minf", "ovwf", "rkti", "ANNO", "elm1") are
// shared with the other chunk formats (FF_AudioMetadataChunks.h); WAVE uses them
// little-endian.
//
// Every multi-byte field is little-endian on disk. Sizes and caching as in
// FF_AudioMetadataChunks.h.
//
// Short reads and writes of fixed-size chunks throw std::runtime_error with the text
// "end of file encountered"; FF_ChunkyFile::ReadChunk turns such a failure into false.
#pragma once

#include <cstdint>
#include <vector>

#include "FF/Audio/PlugIns/FF_AudioMetadataChunks.h"

// A chunk of a WAVE file: little-endian.
class WAVEChunk : public FF_AudioChunk
{
public:
    WAVEChunk(uint32_t iID, int64_t iStoredSize)
        : FF_AudioChunk(iID, iStoredSize, eByteOrder_Little)
    {
    }

    // Makes a chunk for an id read from a file (null for an id this file does not know).
    static FF_AudioChunk* CreateKnownChunk(uint32_t iID, int64_t iStoredSize);
    // An empty, cached chunk that needs writing: "umid", "regn", "smpl", "ovwf", "minf",
    // "rkti" or "ANNO"; any other id fails the assertion "0".
    static FF_AudioChunk* CreateChunk(uint32_t iID);
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
