// Fuzz target: opening an overview cache file of the older format and using it.
//
// The input is the cache file (a document). It is written to a temporary file and opened for
// reading (which must give the cache or the family's exception), every entry is found, and
// the file is printed; then it is opened for writing (which must give the cache or a rebuilt
// one), every entry is found again, one overview is appended, the cache is closed and read
// again. The seeds in fuzz/seeds/OverviewCacheOldFuzz/ are written by
// tests/Overview/FF_AudioOverviewCacheOldTest.cpp (FuzzSeedsAreSmallAndOpen, with
// MIRAFILE_WRITE_FUZZ_SEEDS set).
//
// Expected failures are the library's own exceptions; anything else, a crash, a leak, a huge
// allocation, or a cache opened for writing that cannot be used afterwards, is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <unistd.h>

#include "Cmn_Exception.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewCacheOld.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"

namespace
{
std::string TempPath()
{
    static const std::string sPath = []
    {
        const char* base = std::getenv("TMPDIR");
        return std::string(base ? base : "/tmp") + "/mirafile-oldcachefuzz-" +
               std::to_string(::getpid());
    }();
    return sPath;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string path = TempPath();
    if (FILE* out = std::fopen(path.c_str(), "wb"))
    {
        if (size)
            std::fwrite(data, 1, size, out);
        std::fclose(out);
    }
    else
        return 0;
    const Sys_FileLoc loc(path);
    try
    {
        FF_AudioOverviewCacheOld cache(loc);
        cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
        for (const FF_AudioOverviewCacheOld::Entry& entry : cache.GetEntries())
        {
            FF_AudioOverview overview;
            if (!cache.Find(entry.mKey, &overview) || overview.GetSize() != entry.mOverviewSize)
                std::abort();
        }
        cache.Close();
    }
    catch (const Cmn_Exception&)
    {
    }
    std::ostringstream printed;
    FF_AudioOverviewCacheOld::Print(loc, printed);

    // Opening for writing never fails on bad bytes: the cache is rebuilt.
    FF_AudioOverviewCacheOld cache(loc);
    cache.Open(Cmn_Store::eOpenFlag_OpenForWrite);
    for (const FF_AudioOverviewCacheOld::Entry& entry : cache.GetEntries())
    {
        FF_AudioOverview overview;
        if (!cache.Find(entry.mKey, &overview) || overview.GetSize() != entry.mOverviewSize)
            std::abort();
    }
    FF_AudioOverviewCacheOld::OverviewKey key;
    key.mPathComponents = {"/", "tmp", "fuzz-added.wav"};
    key.mFileModTime = 12345;
    FF_AudioOverview added = FF_AudioOverviewMgr::Allocate(1000);
    added.GetBuffer()[0] = 7;
    cache.Append(key, added);
    cache.Close();

    FF_AudioOverviewCacheOld again(loc);
    again.Open(Cmn_Store::eOpenFlag_OpenForRead);
    FF_AudioOverview back;
    if (!again.Find(key, &back) || back.GetSize() != added.GetSize() || back.GetBuffer()[0] != 7)
        std::abort();
    again.Close();
    std::remove(path.c_str());
    return 0;
}
