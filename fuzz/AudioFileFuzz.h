// What the audio file fuzz targets share: the input written to a temporary file (the front
// opens files by location), opened as an FF_AudioFile with the candidate types, then every
// property, the regions and a few blocks of samples read.
//
// Expected failures are the library's own: L10N and system exceptions, assertion failures,
// and std::runtime_error for a chunk that ends early. Anything else, a crash, a leak or a
// huge allocation, is a finding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include "Cmn_Assert.h"
#include "Cmn_Exception.h"
#include "FF/Audio/FF_AudioFile.h"

namespace
{
volatile uint64_t gSink;

// The folder for temporary files, with a trailing slash.
inline std::string TempFolder()
{
    const char* base = std::getenv("TMPDIR");
    return std::string(base ? base : "/tmp") + "/";
}

inline std::string TempPath(const char* iExtension)
{
    static const std::string sPath = [iExtension]
    { return TempFolder() + "mirafile-fuzz-" + std::to_string(::getpid()) + iExtension; }();
    return sPath;
}

// Writes the bytes to a new file; false when it cannot be created.
inline bool PutFile(const std::string& iPath, const uint8_t* iData, size_t iSize)
{
    FILE* out = std::fopen(iPath.c_str(), "wb");
    if (!out)
        return false;
    if (iSize)
        std::fwrite(iData, 1, iSize, out);
    std::fclose(out);
    return true;
}

inline void ReadEverything(FF_AudioFile& file)
{
    const FF_AudioFile::Properties p = file.GetProperties();
    gSink = gSink + uint64_t(p.mNumSamples) + p.mFormatName.size();
    gSink = gSink + file.mUmid.GetOr({}).GetWord(3);
    gSink = gSink + file.mDescription.GetOr("").size();
    gSink = gSink + file.mBroadcastWaveData.GetOr({}).mOriginator.size();
    gSink = gSink + uint64_t(file.mOriginalTimeStamp.GetOr(0));
    gSink = gSink + uint64_t(file.mUserTimeStamp.GetOr(0));
    gSink = gSink + file.mModificationTime.GetOr(0);
    gSink = gSink + uint64_t(file.mModificationCount.GetOr(0));
    gSink = gSink + file.mOverview.GetOr({}).size();
    gSink = gSink + uint64_t(file.mInstrumentAttr.GetOr({}).mLoop1End);
    gSink = gSink + uint64_t(file.mInstrumentAttr.GetOr({}).mLoop2End);
    gSink = gSink + file.mPlugInData.GetOr({}).size();
    gSink = gSink + file.mDRktAssetInfo.GetOr({}).mValue;
    gSink = gSink + uint64_t(file.mCreationTime.GetOr(0));
    gSink = gSink + uint64_t(file.mOffsetToData.GetOr(0));
    FF_AudioFile::RegionList regions;
    file.GetRegions(&regions);
    gSink = gSink + regions.size();
    gSink = gSink + file.IsReadOnly() + file.IsOMFI();

    // A few blocks of at most 256 frames, in both byte orders.
    const int64_t frame = int64_t(p.mNumChannels) * p.mBytesPerSample;
    if (frame <= 0 || frame > 1 << 20)
        return;
    std::vector<unsigned char> buffer(size_t(frame * 256));
    for (int block = 0; block < 4; ++block)
        gSink = gSink + uint64_t(file.Read(buffer.data(), 256,
                                           block % 2 ? eByteOrder_Big : eByteOrder_Little));
}

// Opens the file at iPath with the candidate types and reads everything; the library's own
// failures are expected.
inline void OpenAndReadAll(const std::string& iPath,
                           const std::list<EAudioFileType>& iCandidates)
{
    try
    {
        FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(iPath), 0, &iCandidates));
        file->Open(Cmn_Store::eOpenFlag_OpenForRead);
        if (file->GetPlugIn())
            ReadEverything(*file);
        file->Close();
    }
    catch (const Cmn_Exception&)
    {
    }
    catch (const std::runtime_error&)
    {
    }
}

// Opens the input as a file of iType and reads everything; always returns 0.
inline int OpenAndReadAll(const uint8_t* data, size_t size, EAudioFileType iType,
                          const char* iExtension)
{
    const std::string path = TempPath(iExtension);
    if (!PutFile(path, data, size))
        return 0;
    OpenAndReadAll(path, {iType});
    std::remove(path.c_str());
    return 0;
}
} // namespace
