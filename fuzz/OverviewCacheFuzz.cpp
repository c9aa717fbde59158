// Fuzz target: opening an overview cache file and using it.
//
// The input is the cache file. It is written to a temporary file and opened for reading
// (which must give the cache or the family's exception), then for writing (which must give
// the cache or a rebuilt one); then every entry is found, one overview is added, the cache is
// flushed, closed, and read again. The seeds in fuzz/seeds/OverviewCacheFuzz/ are written by
// tests/Overview/FF_AudioOverviewCacheTest.cpp (FuzzSeedsAreSmallAndOpen, with
// MIRAFILE_WRITE_FUZZ_SEEDS set).
//
// Expected failures are the library's own exceptions; anything else, a crash, a leak, a huge
// allocation, or a cache opened for writing that cannot be used afterwards, is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "Cmn_Exception.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewCache.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"

namespace
{
std::string TempPath()
{
    static const std::string sPath = []
    {
        const char* base = std::getenv("TMPDIR");
        return std::string(base ? base : "/tmp") + "/mirafile-cachefuzz-" +
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
        FF_AudioOverviewCache cache(loc);
        cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
        for (const FF_AudioOverviewCache::Entry& entry : cache.GetEntries())
        {
            FF_AudioOverview overview;
            cache.Find(entry.mKey, &overview);
        }
        cache.Close();
    }
    catch (const Cmn_Exception&)
    {
    }

    // Opening for writing never fails on bad bytes: the cache is rebuilt.
    FF_AudioOverviewCache cache(loc);
    cache.Open(Cmn_Store::eOpenFlag_OpenForWrite);
    size_t found = 0;
    for (const FF_AudioOverviewCache::Entry& entry : cache.GetEntries())
    {
        FF_AudioOverview overview;
        if (cache.Find(entry.mKey, &overview) && overview.GetSize() == entry.mOverviewSize)
            ++found;
    }
    if (found != cache.GetNumEntries())
        std::abort();
    FF_AudioOverviewCache::OverviewKey key;
    key.mPath = Sys_FileLoc("/tmp/fuzz-added.wav");
    key.mFileModTime = 12345;
    FF_AudioOverview added = FF_AudioOverviewMgr::Allocate(1000);
    added.GetBuffer()[0] = 7;
    cache.Add(key, added);
    cache.Flush();
    cache.Close();

    FF_AudioOverviewCache again(loc);
    again.Open(Cmn_Store::eOpenFlag_OpenForRead);
    FF_AudioOverview back;
    if (!again.Find(key, &back) || back.GetSize() != added.GetSize() || back.GetBuffer()[0] != 7)
        std::abort();
    again.Close();
    std::remove(path.c_str());
    return 0;
}
