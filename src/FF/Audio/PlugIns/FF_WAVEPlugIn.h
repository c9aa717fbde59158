// RIFF WAVE files through the chunk engine.
//
// A file is "RIFF", a 32-bit form size, "WAVE", then chunks aligned to 2 bytes. Known
// chunks: "fmt ", "bext", "data", "umid", "regn", "smpl", "minf", "ovwf", "rkti", "ANNO";
// everything else is kept as it stands while the data does not grow, and dropped when it
// would stand in the way of growing data. Properties are read from the chunks on first need;
// Flush lays the chunks out again and writes only what changed, so a metadata edit never
// rewrites the samples. When a chunk before them changes size, a filler ("JUNK", "elm1") in
// front takes up the change; failing that the file is rewritten beside the old one and swapped
// in (FF_ChunkFilePlugIn), the samples are never moved in place.
//
// A new file (CreateNew) is laid out as "bext", "fmt ", "minf", "JUNK", "elm1", "data",
// "regn", "ovwf"; "JUNK" is room for the growth of the chunks in front, "elm1" pads so that
// the first sample falls on a multiple of 512 bytes (4096 with FF_AudioFile::mAlignFor4K, the
// volume's sector with mAlignForVolume).
#pragma once

#include <cstdint>

#include "FF/Audio/PlugIns/FF_ChunkFilePlugIn.h"

class FF_WAVEPlugIn : public FF_ChunkFilePlugIn
{
public:
    // The plug-in for an existing file, or null when the file is no WAVE file. iOffset and
    // iLength: the byte range inside a larger file, both -1 for a plain file.
    static FF_AudioFilePlugIn* Create(FF_AudioFile* iAudioFileP, int64_t iOffset, int64_t iLength);
    // The plug-in of a new file: creates the file with its chunks laid out.
    static FF_AudioFilePlugIn* CreateNew(FF_AudioFile* iAudioFileP);

    FF_WAVEPlugIn(FF_AudioFile* iAudioFileP, Sys_File* iFileP);

    // ---- the plug-in ---------------------------------------------------------------------
    EAudioFileType GetAudioFileType() override { return eAudioFileType_WAVE; }
    bool Read(FF_AudioProperty::EID iID) const override;
    void Write(FF_AudioProperty::EID iID) override;
    bool IsDataOffsetBinary() override;
    int32_t GetMacOSType() override;
    bool IsValidFile() override;
    int64_t GetOffsetToPCMData(FF_AudioFile* iAudioFileP) override;

    // Appends an empty chunk of that id (see WAVEChunk::CreateChunk).
    FF_Chunk* CreateChunk(uint32_t iID) override;

private:
    FF_AudioChunk* CreateKnownChunk(uint32_t iID, int64_t iStoredSize) override;
    bool IsFormType(uint32_t iFormType) const override;
};
