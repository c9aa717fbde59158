// QSII files: raw big-endian samples in the data fork (nothing else: the samples start at
// byte 0), everything else in the resource fork, held in the file's AppleDouble sidecar.
//
// Resources:
//   "STR " named "sample-size", "sample-rate", "channels": decimal text (bytes per sample,
//          rate, channel count); the three must be there for the file to be QSII;
//   "umid" 1000: the identity, 16 bytes as four big-endian words;
//   "dmva" (the first): an older file id block, read for the identity when "umid" is missing;
//   "regn", "ANNO", "ovwf" 1000: regions, comment and overview in the big-endian forms of the
//          shared metadata chunks (FF_AudioMetadataChunks.h);
//   "inst" 1000: the instrument record (FF_InstrumentRecord, big-endian), a 16-bit marker
//          count and the markers (16-bit id, 32-bit frame each);
//   "pidt" 1000: the plug-in data as it stands.
// The format keeps no modification time or count: both read as 0.
//
// Invariants:
//  1. The resource fork is opened around each metadata access and closed again; the plug-in
//     holds no fork between calls.
//  2. Flush writes every dirty property in one rewrite of the sidecar (atomic: a failure
//     leaves the sidecar as it was); a new file gets its data fork and its sidecar at once.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "FF/Audio/FF_BasicAudioPlugIn.h"

class FF_QSIIPlugIn : public FF_BasicAudioPlugIn
{
public:
    static constexpr int16_t cResID = 1000;

    // The plug-in for an existing file, or null when it is no QSII file (files inside
    // larger files are not QSII).
    static FF_AudioFilePlugIn* Create(FF_AudioFile* iAudioFileP, int64_t iOffset, int64_t iLength);
    // The plug-in of a new file: creates the data fork and the sidecar with its format.
    static FF_AudioFilePlugIn* CreateNew(FF_AudioFile* iAudioFileP);

    // Why the file is no QSII file ("" when it is one): no sidecar, no resource fork in it,
    // a damaged fork, a format string missing or out of range.
    static std::string ExplainRefusal(const Sys_FileLoc& iLoc);

    FF_QSIIPlugIn(FF_AudioFile* iAudioFileP, Sys_File* iFileP);

    EAudioFileType GetAudioFileType() override { return eAudioFileType_QSII; }
    void Flush() override;
    bool Read(FF_AudioProperty::EID iID) const override;
    bool CanWrite(FF_AudioProperty::EID iID) const override;
    int32_t GetMacOSType() override;
    void CreateNewFileImpl() override;
    bool IsValidFile() override;
    int64_t GetOffsetToPCMData(FF_AudioFile*) override { return 0; }

private:
    // Opens the fork for reading, validates and reads the basic properties.
    bool OpenAndValidateFileImpl();
    // Puts the dirty properties into the current (writable) fork.
    void FlushInto(bool iRegions);
    bool GetSampleRate() const;
    bool GetBitDepth() const;
    bool GetNumChannels() const;
    bool GetNumSamples() const;
    bool GetFileID() const;
    bool GetRegions() const;
    bool GetComment() const;
    bool GetInstAttr() const;
    bool GetOverview() const;
    bool GetPlugInData() const;
    // Runs iRead with the fork open for reading; false when the fork or the resource is
    // missing or damaged.
    template <class F> bool WithFork(F iRead) const;
    // A resource of the open fork, or false.
    static bool ReadResource(const char (&iType)[5], std::vector<uint8_t>* oDataP);
    static bool ReadNumber(const char* iName, int64_t* oValueP);
};
