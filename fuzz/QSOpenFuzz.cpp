// Fuzz target: opening a QSII or QSI file and reading everything the front offers.
//
// The input frames both forks: a 32-bit big-endian length n, then n bytes of data fork, then
// the sidecar ("._" + name) for whatever follows; n = 0xFFFFFFFF makes the whole rest the
// data fork and writes no sidecar. The forks are written to temporary files and opened as an
// FF_AudioFile with QSII and QSI as the only candidates; then every property, the regions
// and a few blocks of samples are read. The seeds in fuzz/seeds/QSOpenFuzz/ are written by
// tests/FF/FF_QSPlugInTest.cpp (run with MIRAFILE_WRITE_FUZZ_SEEDS=fuzz/seeds).
//
// Expected failures are the library's own: L10N and system exceptions, assertion failures,
// and std::runtime_error for a resource that ends early. Anything else, a crash, a leak or a
// huge allocation, is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <list>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include "Cmn_Exception.h"
#include "FF/Audio/FF_AudioFile.h"

namespace
{
volatile uint64_t gSink;

std::string Folder()
{
    const char* base = std::getenv("TMPDIR");
    return std::string(base ? base : "/tmp") + "/";
}

std::string Name()
{
    return "mirafile-qsfuzz-" + std::to_string(::getpid()) + ".qs";
}

bool Put(const std::string& iPath, const uint8_t* iData, size_t iSize)
{
    FILE* out = std::fopen(iPath.c_str(), "wb");
    if (!out)
        return false;
    if (iSize)
        std::fwrite(iData, 1, iSize, out);
    std::fclose(out);
    return true;
}

void ReadEverything(FF_AudioFile& file)
{
    const FF_AudioFile::Properties p = file.GetProperties();
    gSink = gSink + uint64_t(p.mNumSamples) + p.mFormatName.size();
    gSink = gSink + file.mUmid.GetOr({}).GetWord(3);
    gSink = gSink + file.mDescription.GetOr("").size();
    gSink = gSink + uint64_t(file.mOriginalTimeStamp.GetOr(0));
    gSink = gSink + uint64_t(file.mModificationCount.GetOr(0));
    gSink = gSink + file.mOverview.GetOr({}).size();
    gSink = gSink + uint64_t(file.mInstrumentAttr.GetOr({}).mLoop2End);
    gSink = gSink + file.mPlugInData.GetOr({}).size();
    FF_AudioFile::RegionList regions;
    file.GetRegions(&regions);
    gSink = gSink + regions.size();

    const int64_t frame = int64_t(p.mNumChannels) * p.mBytesPerSample;
    if (frame <= 0 || frame > 1 << 20)
        return;
    std::vector<unsigned char> buffer(size_t(frame * 256));
    for (int block = 0; block < 4; ++block)
        gSink = gSink + uint64_t(file.Read(buffer.data(), 256,
                                           block % 2 ? eByteOrder_Big : eByteOrder_Little));
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 4)
        return 0;
    const uint32_t stated = (uint32_t(data[0]) << 24) | (uint32_t(data[1]) << 16) |
                            (uint32_t(data[2]) << 8) | data[3];
    const size_t rest = size - 4;
    const bool single = stated == 0xFFFFFFFFu;
    const size_t dataSize = single ? rest : std::min<size_t>(stated, rest);
    const std::string path = Folder() + Name(), sidecar = Folder() + "._" + Name();
    if (!Put(path, data + 4, dataSize))
        return 0;
    std::remove(sidecar.c_str());
    if (!single && dataSize < rest && !Put(sidecar, data + 4 + dataSize, rest - dataSize))
        return 0;
    try
    {
        const std::list<EAudioFileType> candidates = {eAudioFileType_QSII, eAudioFileType_QSI};
        FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(path), 0, &candidates));
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
    std::remove(path.c_str());
    std::remove(sidecar.c_str());
    return 0;
}
