// What the chunk-file plug-ins (WAVE, AIFF) have in common.
//
// A file is a 4-byte form tag ("RIFF", "FORM"), a 32-bit form size in the file's byte order,
// a 4-byte form type, then chunks of an 8-byte header (id as it stands, size in the file's
// byte order) aligned to 2 bytes. A subclass names the chunks it knows (CreateKnownChunk,
// CreateChunk), which form types it takes (IsFormType) and the chunk that holds the samples;
// everything else lives here: opening an existing or a new file, the file header, the chunk
// walk, the library's own metadata chunks as properties, growing the samples and flushing.
//
// The samples chunk stands last but for metadata: when the samples grow, what follows it is
// cached or dropped (HandleWriteExtend).
//
// A flush that would move chunks on disk (a chunk in front of the samples outgrew the filler
// there) rewrites the file beside the old one instead: the new file is written under a
// temporary name in the same folder (Sys_AtomicOutput), synced, and renamed over the old one,
// whose AppleDouble sidecar stays with the name; then the file is opened again. A failure at
// any point leaves the old file as it was. Through a symbolic link the file it names is
// rewritten. A file inside a larger one, a file with hard links, and a new file are changed in
// place. A flush in place of a file open for writing is journalled, moved samples included
// (FF_ChunkyFile.h, 8); a file inside a larger one on the larger one's journal.
#pragma once

#include <cstdint>
#include <memory>

#include "FF/Audio/FF_AudioTypes.h"
#include "FF/Audio/FF_BasicAudioPlugIn.h"
#include "FF/FF_ChunkyFile.h"

class FF_AudioChunk;
class Sys_StAtomicOutput;

class FF_ChunkFilePlugIn : public FF_BasicAudioPlugIn, public FF_ChunkyFile<uint32_t>
{
public:
    // iFormTag: "RIFF" or "FORM"; iFormType: the form type a new file gets; iSamplesID: the
    // chunk that holds the samples. Numbers of the headers are in iByteOrder.
    FF_ChunkFilePlugIn(FF_AudioFile* iAudioFileP, Sys_File* iFileP, EByteOrder iByteOrder,
                       uint32_t iFormTag, uint32_t iFormType, uint32_t iSamplesID);
    ~FF_ChunkFilePlugIn() override;

    // ---- the plug-in ---------------------------------------------------------------------
    void Flush() override;
    bool CanWrite(FF_AudioProperty::EID iID) const override;
    bool IsOMFI() override;
    bool CanDestructiveRecord() const override { return true; }
    void CreateNewFileImpl() override;
    void HandleWriteExtend() override;

    // ---- the chunk engine ----------------------------------------------------------------
    int32_t GetFileHeaderSize() const override { return 12; }
    void WriteFileHeader(int64_t iChunksSize) override;
    // False (and the form type unchanged) unless the tag and a form type of IsFormType match.
    bool ReadFileHeader(int64_t* oFormSizeP) override;
    Sys_File* GetFile() override { return mRewriteFile ? mRewriteFile.get() : mFile.get(); }
    Sys_File* BeginRewrite() override;
    void EndRewrite(bool iCommit) override;
    // A file open for writing: changes in place go through an undo journal, for a file inside
    // a larger one the journal of the larger one. A new file has no old state to keep, and an
    // output under its temporary name (Sys_AtomicOutput) is swapped in whole.
    bool IsJournalled() override;
    int64_t GetJournalOffset() override;
    void* GetUserData() override { return mAudioFile; }
    FF_Chunk* ReadNextChunk(int64_t iPosition, int64_t* oDataSizeP) override;
    int32_t GetAlignment() const override { return 2; }

    // Appends an empty chunk of that id, ready to be written.
    virtual FF_Chunk* CreateChunk(uint32_t iID) = 0;

    uint32_t GetFormType() const { return mFormType; }

protected:
    // The file of an existing plug-in: the plain file, or the byte range [iOffset, iOffset +
    // iLength) of a larger one when iOffset >= 0. The front must not be creating the file.
    static Sys_File* OpenExistingFile(FF_AudioFile* iAudioFileP, int64_t iOffset, int64_t iLength);
    // Attaches by the front's open flag; an embedded file then takes the length its own
    // header states where the caller's differs by more than a pad byte or two.
    bool AttachExisting(int64_t iOffset);
    // Appends a new chunk that needs writing, cached or not.
    void AddNewChunk(FF_AudioChunk* iChunkP, bool iCached);
    // CreateNew, once the chunks are in: opens the file and lays them out.
    void OpenNewFile();

    // A chunk of an id read from the file, or null for an id this file does not know.
    virtual FF_AudioChunk* CreateKnownChunk(uint32_t iID, int64_t iStoredSize) = 0;
    virtual bool IsFormType(uint32_t iFormType) const = 0;

    // ReadChunk for a const caller (reading fills caches).
    bool ReadChunkConst(uint32_t iID) const;
    void EnsureChunk(uint32_t iID);
    // The properties of the library's own metadata chunks ("umid", "regn", "minf", "ovwf",
    // "rkti"): true when iID is one of them, *oDoneP then tells whether its chunk was read.
    bool ReadMetadata(FF_AudioProperty::EID iID, bool* oDoneP) const;
    // Makes sure the chunk of such a property is there; false for any other property.
    bool WriteMetadata(FF_AudioProperty::EID iID);

    // While a flush rewrites the file: the reservation of its name and the new file.
    std::unique_ptr<Sys_StAtomicOutput> mRewriteOutput;
    std::unique_ptr<Sys_File> mRewriteFile;

    const EByteOrder mByteOrder;
    const uint32_t mFormTag;
    uint32_t mFormType;
    const uint32_t mSamplesID;
};
