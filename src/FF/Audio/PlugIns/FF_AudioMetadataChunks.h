// The library's own metadata chunks, shared by the chunk formats: identity "umid", regions
// "regn", modification info "minf", overview "ovwf", asset info "rkti", annotation "ANNO",
// the alignment filler "elm1", the fillers ("JUNK", "FLLR"), and the chunk of unknown kind.
//
// One implementation serves both byte orders: WAVE uses them little-endian, AIFF big-endian.
// Every chunk carries the byte order of its file (EByteOrder), which applies to its header's
// size field and to every multi-byte number of its payload. Two things are the same in both
// orders: a Sys_Umid is stored as its memory image (its four words in this host's order), and
// texts are plain bytes.
//
// A chunk keeps the data size it was found with (cut to what the file holds); while it is not
// cached its size is that size, so laying out a file never changes a chunk it has not read.
// A cached chunk is as big as its content makes it. Chunk readers fill the audio file's
// properties but never overwrite a value the caller has set and not yet flushed. Readers
// trust no number of the payload: counts are cut to what the chunk holds, and nothing is
// allocated by a count before it is so cut.
//
// Payloads (offsets in the data; numbers in the chunk's byte order):
//   "umid"  24: the Sys_Umid, then 8 zero bytes.
//   "regn"  32-bit count, then records of 88: umid 0, start 16, stop 24, length 32, user time
//           stamp 40, original time stamp 48 (64-bit each), name length 56 (a byte), name 57
//           (31 bytes, no terminator). The first record is the whole-file region.
//   "minf"  16: 64-bit modification time, 64-bit modification count.
//   "ovwf"  32-bit count, then entries: a header of six 32-bit fields (entry size, format 1,
//           samples per peak 256, bits 8, channels 1, peak count) and the overview bytes.
//   "rkti"  10: 16-bit 1, 32-bit 10, 32-bit asset value at 6.
//   "ANNO"  the text, no terminator.
//
// Short reads and writes of fixed-size chunks throw std::runtime_error with the text "end of
// file encountered"; FF_ChunkyFile::ReadChunk turns such a failure into false.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/FF_AudioTypes.h"
#include "FF/FF_Chunk.h"

class Sys_File;

// A chunk id: the four characters as they stand in the file, read as a little-endian word.
constexpr uint32_t FF_AudioChunkID(const char (&iID)[5])
{
    return uint32_t(uint8_t(iID[0])) | uint32_t(uint8_t(iID[1])) << 8 |
           uint32_t(uint8_t(iID[2])) << 16 | uint32_t(uint8_t(iID[3])) << 24;
}

// Reads or writes exactly iCount bytes at the file's position; a short transfer throws
// "end of file encountered" (message 7/12).
void FF_ReadExact(Sys_File* iFileP, void* oBufferP, int64_t iCount);
void FF_WriteExact(Sys_File* iFileP, const void* iBufferP, int64_t iCount);

// Whether the file ends in the trailer of an OMF (Bento) container: an OMF file may hide
// inside a chunk file, which is then read-only. The last 24 bytes hold the Bento magic
// A4 43 4D A5 48 64 72 D7 at 0 and the 16-bit value 1 or 256 at 12.
bool FF_HasOMFTrailer(Sys_File* iFileP);

// The properties that every plug-in with the library's metadata can write: the sample count,
// identity, time stamps, regions, plug-in data, instrument, description, and the overview of a
// mono file (for which the front is opened for reading and closed again).
bool FF_CanWriteMetadata(FF_AudioProperty::EID iID, FF_AudioFile* iAudioFileP);

// An integer of sizeof(T) bytes in the given byte order.
template <class T> T FF_GetNumber(const unsigned char* iP, EByteOrder iOrder)
{
    using U = std::make_unsigned_t<T>;
    U value = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
        value |= U(iP[iOrder == eByteOrder_Little ? i : sizeof(T) - 1 - i]) << (8 * i);
    return T(value);
}

template <class T> void FF_PutNumber(unsigned char* oP, T iValue, EByteOrder iOrder)
{
    using U = std::make_unsigned_t<T>;
    const U value = U(iValue);
    for (size_t i = 0; i < sizeof(T); ++i)
        oP[iOrder == eByteOrder_Little ? i : sizeof(T) - 1 - i] = uint8_t(value >> (8 * i));
}

// The instrument record that AIFF ("INST") and QSII carry, 20 bytes: base note, detune
// (signed), low note, high note, low velocity, high velocity (a byte each), gain (16-bit),
// then the sustain loop and the release loop, each as play mode, begin marker id and end
// marker id (16-bit each). A loop's ends are markers: ids 0 and 1 bound the sustain loop
// (loop 1 of FF_AudioInstrumentAttr), ids 2 and 3 the release loop (loop 2).
class FF_InstrumentRecord
{
public:
    static constexpr int32_t cSize = 20;
    struct Marker
    {
        int16_t mID = 0;
        uint32_t mPosition = 0; // sample frame
        bool operator==(const Marker&) const = default;
    };

    // The record of an attribute: base note = root note, detune = fine tune, notes 0 to 127,
    // velocities 0 to 127, gain 32767; a loop in use gets play mode 1 (type 1 or 3) or 2
    // (type 2), an unused one is all zero. The markers of the loops in use, in id order.
    static void Write(const FF_AudioInstrumentAttr& iAttr, EByteOrder iOrder,
                      unsigned char* oRecordP, std::vector<Marker>* oMarkersP);
    // The attribute of a record (iRecordP holds cSize bytes) and the markers found with it:
    // root note = base note, fine tune = detune; a loop counts when its play mode is not 0
    // and both of its markers are among iMarkers; play mode 2 gives type 2, any other type 1.
    static FF_AudioInstrumentAttr Read(const unsigned char* iRecordP, EByteOrder iOrder,
                                       const std::vector<Marker>& iMarkers);
};

// A chunk of an audio chunk file: an id as stored, a 32-bit size in the file's byte order, the
// data. Subclasses give the content.
class FF_AudioChunk : public FF_ChunkAdapter<uint32_t, FF_AudioFile>
{
public:
    FF_AudioChunk(uint32_t iID, int64_t iStoredSize, EByteOrder iOrder)
        : mID(iID), mStoredSize(iStoredSize), mOrder(iOrder)
    {
    }

    uint32_t GetID() const override { return mID; }
    int32_t GetHeaderSize() const override { return 8; }
    // The id and GetSize - 8; a short write throws.
    void WriteHeader(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    // The found size + 8 while not cached; else GetCachedSize.
    int64_t GetSize(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    virtual int64_t GetCachedSize(FF_AudioFile* iAudioFileP) = 0;

    int64_t GetStoredSize() const { return mStoredSize; }
    void SetStoredSize(int64_t iSize) { mStoredSize = iSize; }
    EByteOrder GetByteOrder() const { return mOrder; }

    // The shared chunk of that id in that byte order ("umid", "regn", "minf", "ovwf",
    // "rkti", "ANNO"), or null for another id.
    static FF_AudioChunk* CreateMetadataChunk(uint32_t iID, int64_t iStoredSize, EByteOrder iOrder);

protected:
    uint32_t mID;
    int64_t mStoredSize;
    EByteOrder mOrder;
};

class UAFUmidChunk : public FF_AudioChunk
{
public:
    UAFUmidChunk(int64_t iStoredSize, EByteOrder iOrder);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile*) override { return 32; }
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
};

class UAFRegnChunk : public FF_AudioChunk
{
public:
    static constexpr int32_t cRecordSize = 88;
    static constexpr int32_t cMaxNameLength = 31;
    UAFRegnChunk(int64_t iStoredSize, EByteOrder iOrder);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile* iAudioFileP) override;
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
};

class UAFMinfChunk : public FF_AudioChunk
{
public:
    UAFMinfChunk(int64_t iStoredSize, EByteOrder iOrder);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile*) override { return 24; }
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
};

class UAFOvwfChunk : public FF_AudioChunk
{
public:
    static constexpr int32_t cEntryHeaderSize = 24;
    // The overview size of a file of that many frames: two bytes per 256 frames.
    static int64_t OverviewSize(int64_t iNumSamples) { return (iNumSamples + 255) / 256 * 2; }
    UAFOvwfChunk(int64_t iStoredSize, EByteOrder iOrder);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile* iAudioFileP) override;
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
};

class UAFDRktAssetInfoChunk : public FF_AudioChunk
{
public:
    UAFDRktAssetInfoChunk(int64_t iStoredSize, EByteOrder iOrder);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile*) override { return 18; }
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
};

class UAFAnnoChunk : public FF_AudioChunk
{
public:
    UAFAnnoChunk(int64_t iStoredSize, EByteOrder iOrder);
    bool ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    void WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile* iAudioFileP) override;
    bool NeedsSyncImpl(FF_AudioFile* iAudioFileP) override;
};

// The filler that puts the first sample on a multiple of the alignment: its total size is
// a - ((P + 16) mod a) + 8 at position P. Nothing is read or written but its header.
class UAFElmoChunk : public FF_AudioChunk
{
public:
    explicit UAFElmoChunk(EByteOrder iOrder);
    bool ReadImpl(FF_AudioFile*, Sys_File*) override { return true; }
    void WriteImpl(FF_AudioFile*, Sys_File*) override {}
    int64_t GetCachedSize(FF_AudioFile* iAudioFileP) override;
    void SetPositionImpl(FF_AudioFile*, int64_t) override {}
    bool NeedsSyncImpl(FF_AudioFile*) override { return true; }
    // 512, 4096 with mAlignFor4K, the volume's sector with mAlignForVolume.
    static int64_t GetAlignment(FF_AudioFile* iAudioFileP);
};

// Room and nothing else: "JUNK" (WAVE), "FLLR" (AIFF), and "elm1" of a file read back. Its
// content is known without reading (it is written as zeros), so it counts as cached from the
// start; the chunk engine resizes it so that a chunk in front of the samples can grow or
// shrink without moving them.
class UAFFillerChunk : public FF_AudioChunk
{
public:
    // The room that new files reserve for the growth of the chunks in front of the samples.
    static constexpr int64_t cNewFileReserve = 1016;
    UAFFillerChunk(uint32_t iID, int64_t iStoredSize, EByteOrder iOrder);
    bool ReadImpl(FF_AudioFile*, Sys_File*) override { return true; }
    void WriteImpl(FF_AudioFile*, Sys_File* iFileP) override;
    int64_t GetCachedSize(FF_AudioFile*) override { return mStoredSize + 8; }
    bool NeedsSyncImpl(FF_AudioFile*) override { return false; }
    bool ResizeFiller(int64_t iTotalSize) override;
    bool IsFiller() const override { return true; }
};

// A chunk of a kind this file does not know: kept in place or moved on disk, never read.
class UAFUnknownChunk : public FF_AudioChunk
{
public:
    UAFUnknownChunk(uint32_t iID, int64_t iStoredSize, EByteOrder iOrder)
        : FF_AudioChunk(iID, iStoredSize, iOrder)
    {
    }
    bool CanCache() const override { return false; }
    bool ReadImpl(FF_AudioFile*, Sys_File*) override;
    void WriteImpl(FF_AudioFile*, Sys_File*) override;
    int64_t GetSize(FF_AudioFile*, Sys_File*) override { return mStoredSize + 8; }
    int64_t GetCachedSize(FF_AudioFile*) override { return mStoredSize + 8; }
    bool NeedsSyncImpl(FF_AudioFile*) override { return false; }
};
