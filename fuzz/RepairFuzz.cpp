// Fuzz target: examining and repairing a WAVE or AIFF file.
//
// The input is the file. Examine walks it; where it is understood, the repaired copy is
// written and examined again, and must then need nothing and hold the same frames (a repair
// that leaves work for a second one is a finding, and the target aborts). The seeds in
// fuzz/seeds/RepairFuzz/ are written by tests/FF/FF_AudioFileRepairTest.cpp (with
// MIRAFILE_WRITE_FUZZ_SEEDS set).
//
// Expected failures are std::runtime_error (a file that is not understood, or one that ends
// early) and the library's own exceptions; anything else is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <unistd.h>

#include "Cmn_Exception.h"
#include "FF/Audio/PlugIns/FF_AudioFileRepair.h"

namespace
{
std::string TempPath(const char* iSuffix)
{
    const char* base = std::getenv("TMPDIR");
    return std::string(base ? base : "/tmp") + "/mirafile-repairfuzz-" +
           std::to_string(::getpid()) + iSuffix;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize)
{
    const std::string in = TempPath(".in"), out = TempPath(".out");
    FILE* file = std::fopen(in.c_str(), "wb");
    if (!file)
        return 0;
    std::fwrite(iData, 1, iSize, file);
    std::fclose(file);
    std::remove(out.c_str());
    try
    {
        const FF_AudioFileRepair::Report first =
            FF_AudioFileRepair::WriteRepairedCopy(Sys_FileLoc(in), Sys_FileLoc(out));
        const FF_AudioFileRepair::Report again = FF_AudioFileRepair::Examine(Sys_FileLoc(out));
        if (again.NeedsRepair() || again.mFrames != first.mFrames)
            std::abort();
    }
    catch (const std::runtime_error&)
    {
    }
    catch (const Cmn_Exception&)
    {
    }
    std::remove(out.c_str());
    std::remove(in.c_str());
    return 0;
}
