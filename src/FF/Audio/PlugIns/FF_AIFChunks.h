// The chunks that only AIFF and AIFC have: "COMM", "SSND", "INST", "MARK". The library's own
// metadata chunks ("umid", "regn", "minf", "ovwf", "rkti", "ANNO", "elm1") are shared with
// WAVE (FF_AudioMetadataChunks.h); AIFF uses them big-endian.
//
// Every multi-byte field is big-endian on disk.
//   "COMM"  channels (16), frames (32), bits (16), rate (80-bit extended); in form "AIFC" then
//           the compression type (4 characters) and its name (a Pascal string, padded to even
//           length). Only "NONE", "in24" and "in32" are taken: big-endian integers all.
//   "SSND"  offset (32), block size (32), then the samples from the offset on.
//   "INST"  the 20-byte instrument record (FF_InstrumentRecord).
//   "MARK"  a count (16), then markers: id (16), position (32), a Pascal name, each marker
//           padded to even length.
// The loops of "INST" point at markers of "MARK" by id; whichever of the two is read second
// resolves the loops (FF_AIFPlugIn::CompleteLoopInfo).
//
// Short reads and writes of fixed-size chunks throw std::runtime_error with the text
// "end of file encountered"; FF_ChunkyFile::ReadChunk turns such a failure into false.
#pragma once

#include <cstdint>
#include <vector>

#include "FF/Audio/PlugIns/FF_AudioMetadataChunks.h"

class FF_AIFPlugIn;

// A chunk of an AIFF file: big-endian.
class AIFChunk : public FF_AudioChunk
{
public:
    AIFChunk(uint32_t iID, int64_t iStoredSize) : FF_AudioChunk(iID, iStoredSize, eByteOrder_Big) {}
};

class AIFCommChunk : public AIFChunk
{
public:
    static constexpr int32_t cFieldsSize = 18;
    // A chunk read from a file (its compression fields are then taken from the file), or
    // the chunk of a new file of that form ("AIFF" has no compression fields, "AIFC" has
    // "NONE" and its name).
    AIFCommChunk(int64_t iStoredSize, uint32_t iFormType);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile*) override;
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;

    // Whether an AIFC compression type holds plain big-endian integers.
    static bool IsUncompressed(uint32_t iCompressionType);

private:
    uint32_t mFormType;
    // Behind the 18 bytes of fields: the compression type and name, kept as found.
    std::vector<unsigned char> mCompression;
};

class AIFSsndChunk : public AIFChunk
{
public:
    explicit AIFSsndChunk(int64_t iStoredSize);
    bool IsCached() const override { return false; }
    bool CanCache() const override { return false; }
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    // Writes the offset and block size: the samples are in place.
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetWrittenSize(void*, Sys_File*) override { return GetHeaderSize() + 8; }
    int64_t GetSize(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile* iAudioFileP) override;
    void SetPositionImpl(FF_AudioFile* iAudioFileP, int64_t iPosition) override;
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
    uint32_t GetDataOffset() const { return mOffset; }

private:
    uint32_t mOffset = 0;
    uint32_t mBlockSize = 0;
};

class AIFInstChunk : public AIFChunk
{
public:
    AIFInstChunk(int64_t iStoredSize, FF_AIFPlugIn& ioPlugIn);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile*) override { return 8 + FF_InstrumentRecord::cSize; }
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;

private:
    FF_AIFPlugIn& mPlugIn;
};

class AIFMarkChunk : public AIFChunk
{
public:
    // A loop marker as written: id, position, the name "beg loop" or "end loop" as a Pascal
    // string, one pad byte.
    static constexpr int32_t cMarkerSize = 16;
    // Names are cut to this many characters when read.
    static constexpr size_t cMaxNameLength = 50;
    AIFMarkChunk(int64_t iStoredSize, FF_AIFPlugIn& ioPlugIn);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile* iAudioFileP) override;
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;

private:
    FF_AIFPlugIn& mPlugIn;
};
