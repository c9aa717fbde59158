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
#include <algorithm>

#include "AudioFileFuzz.h"

namespace
{
std::string Name()
{
    return "mirafile-qsfuzz-" + std::to_string(::getpid()) + ".qs";
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
    const std::string path = TempFolder() + Name(), sidecar = TempFolder() + "._" + Name();
    if (!PutFile(path, data + 4, dataSize))
        return 0;
    std::remove(sidecar.c_str());
    if (!single && dataSize < rest && !PutFile(sidecar, data + 4 + dataSize, rest - dataSize))
        return 0;
    OpenAndReadAll(path, {eAudioFileType_QSII, eAudioFileType_QSI});
    std::remove(path.c_str());
    std::remove(sidecar.c_str());
    return 0;
}
