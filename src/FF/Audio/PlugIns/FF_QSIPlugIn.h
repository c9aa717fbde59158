// QSI files: one fixed big-endian header of 1,336 bytes, then mono samples (8, 16 or 24
// bits, big-endian, two's complement).
//
// Header fields (offset: width in bits): 0: 16 format mark; 184: 32 bytes of sample data;
// 752, 756: 32 loop 1 start and end; 1020: 32 sample rate; 1028: 16 bits per sample;
// 1324, 1328: 32 loop 2 start and end; 1332, 1333: 8 loop 1 and loop 2 modes (mode 2 is loop
// type 3, any other mode type 1; a new file writes 2 for type 3, 1 for the others, 0 for a
// loop not in use). Every other byte is kept as it was read (zero in a new file).
//
// A file is QSI only when it holds the whole header, the mark matches, the stated data fits
// in the file, the bits are 8, 16 or 24 and the rate lies from 5,000 to 100,000; otherwise the
// next plug-in gets it. The instrument attribute has root note 60 and the loops that apply
// (start above 0, end above start).
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "FF/Audio/FF_BasicAudioPlugIn.h"

class FF_QSIPlugIn : public FF_BasicAudioPlugIn
{
public:
    static constexpr int32_t cHeaderSize = 1336;
    static constexpr uint16_t cFormatMark = 0x5153; // "QS"
    static constexpr int32_t cMinRate = 5000;
    static constexpr int32_t cMaxRate = 100000;

    // The plug-in for an existing file, or null when it is no QSI file.
    static FF_AudioFilePlugIn* Create(FF_AudioFile* iAudioFileP, int64_t iOffset, int64_t iLength);
    // The plug-in of a new file. A file that QSI cannot hold (more than one channel, other
    // bits, a rate out of range) throws std::invalid_argument naming what is wrong.
    static FF_AudioFilePlugIn* CreateNew(FF_AudioFile* iAudioFileP);

    FF_QSIPlugIn(FF_AudioFile* iAudioFileP, Sys_File* iFileP);

    EAudioFileType GetAudioFileType() override { return eAudioFileType_QSI; }
    void Flush() override;
    bool Read(FF_AudioProperty::EID iID) const override;
    bool CanWrite(FF_AudioProperty::EID iID) const override;
    int32_t GetMacOSType() override;
    void CreateNewFileImpl() override;
    bool IsValidFile() override;
    int64_t GetOffsetToPCMData(FF_AudioFile* iAudioFileP) override;

    // Whether a header (cHeaderSize bytes) describes a QSI file of iFileSize bytes; what is
    // wrong with it, for a person ("" when nothing).
    static bool IsValidHeader(const uint8_t* iHeaderP, int64_t iFileSize);
    static std::string HeaderProblem(const uint8_t* iHeaderP, int64_t iFileSize);
    // Why the file is no QSI file ("" when it is one).
    static std::string ExplainRefusal(const Sys_FileLoc& iLoc);

private:
    bool ReadHeader() const;
    void FlushHeader();

    mutable std::array<uint8_t, cHeaderSize> mHeader{};
    mutable bool mHeaderRead = false;
};
