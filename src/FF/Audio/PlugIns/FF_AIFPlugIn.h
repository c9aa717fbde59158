// AIFF and AIFC files through the chunk engine.
//
// A file is "FORM", a 32-bit big-endian form size, "AIFF" or "AIFC", then chunks aligned to
// 2 bytes. Known chunks: "COMM", "SSND", "umid", "regn", "INST", "MARK", "minf", "ovwf",
// "rkti", "ANNO", and the fillers "FLLR", "JUNK", "elm1" (which take up the change in size of
// the chunks in front of the samples); everything else is kept as it stands while the samples
// do not grow, and dropped when it would stand in the way of growing samples.
// Samples are big-endian two's complement at every depth (8 bits too). AIFC is taken with
// the compression types "NONE", "in24" and "in32" only; any other ("sowt", "fl32", ...)
// refuses the file, so that the next plug-in gets it.
//
// The instrument (root note, fine tune, two loops) lives in "INST", whose loops name the
// markers of "MARK" that bound them; the two may come in either order.
//
// A new file (CreateNew) takes the form of the front's type (AIFC for eAudioFileType_AIFC,
// else AIFF) and is laid out as "COMM", "minf", "FLLR", "elm1", "SSND", "regn", "ANNO",
// "ovwf"; "FLLR" is room for the growth of the chunks in front, "elm1" pads so that the "SSND" header ends on a multiple of 512 bytes (4096 with
// FF_AudioFile::mAlignFor4K, the volume's sector with mAlignForVolume): the first sample then
// lies 8 bytes past that multiple, behind the offset and block size fields.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "FF/Audio/PlugIns/FF_AudioMetadataChunks.h"
#include "FF/Audio/PlugIns/FF_ChunkFilePlugIn.h"

class FF_AIFPlugIn : public FF_ChunkFilePlugIn
{
public:
    // A marker of "MARK": the kind is 1 for the name "beg loop", 2 for "end loop", else 0.
    struct Marker
    {
        int16_t mID = 0;
        uint32_t mPosition = 0;
        std::string mName;
        int32_t mKind = 0;
    };
    using InstCk = std::array<unsigned char, FF_InstrumentRecord::cSize>; // as in the file

    // The plug-in for an existing file, or null when the file is no AIFF or AIFC file this
    // plug-in reads. iOffset and iLength: the byte range inside a larger file, both -1 for a
    // plain file.
    static FF_AudioFilePlugIn* Create(FF_AudioFile* iAudioFileP, int64_t iOffset, int64_t iLength);
    // The plug-in of a new file: creates the file with its chunks laid out.
    static FF_AudioFilePlugIn* CreateNew(FF_AudioFile* iAudioFileP);

    // iFormType: "AIFF" or "AIFC" for a new file; a file read from disk takes its own.
    FF_AIFPlugIn(FF_AudioFile* iAudioFileP, Sys_File* iFileP, uint32_t iFormType);

    // ---- the plug-in ---------------------------------------------------------------------
    EAudioFileType GetAudioFileType() override;
    bool Read(FF_AudioProperty::EID iID) const override;
    void Write(FF_AudioProperty::EID iID) override;
    int32_t GetMacOSType() override;
    bool IsValidFile() override;
    int64_t GetOffsetToPCMData(FF_AudioFile* iAudioFileP) override;

    // Appends an empty, cached chunk that needs writing: "umid", "regn", "INST", "MARK",
    // "ovwf", "minf", "rkti" or "ANNO"; any other id fails the assertion "0".
    FF_Chunk* CreateChunk(uint32_t iID) override;

    // ---- the instrument, filled by "INST" and "MARK" -------------------------------------
    void SetInstCk(const InstCk& iRecord) { mInstCk = std::make_unique<InstCk>(iRecord); }
    void ClearMarkers() { mMarkers.clear(); }
    void AddMarker(const Marker& iMarker) { mMarkers.push_back(iMarker); }
    const std::vector<Marker>& GetMarkers() const { return mMarkers; }
    // With both the record and the markers read: resolves the loops into mInstrumentAttr
    // (unless the caller has set a value of its own). False while one of the two is missing.
    bool CompleteLoopInfo();

private:
    FF_AudioChunk* CreateKnownChunk(uint32_t iID, int64_t iStoredSize) override;
    // "AIFF" or "AIFC".
    bool IsFormType(uint32_t iFormType) const override;

    std::vector<Marker> mMarkers;
    std::unique_ptr<InstCk> mInstCk;
};
