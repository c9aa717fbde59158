// Where the overview of an audio file comes from, in this order:
//   1. the file itself: a type that embeds overviews and holds one of the size its sample
//      count calls for (FF_AudioOverviewMgr::GetEmbeddedOverview);
//   2. the cache file "WaveCache" (FF_AudioOverviewCache::cCacheFileName) in the folder
//      given, when one is given and it holds the file's key with a payload of that size;
//   3. a computation through a chain (FF_AudioOverviewUtils::ComputeOverview), which is then
//      stored in that cache when there is one.
//
// The cache folder is created if it is missing, and the cache is opened for writing for the
// life of the object; Close (or the destructor, which swallows failures) flushes it.
//
// Threads: one thread at a time uses an object, the thread that owns the files given.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverview.h"
#include "Sys_FileLoc.h"

class FF_AudioOverviewCache;

class FF_AudioOverviewSource
{
public:
    enum EFrom
    {
        eFrom_File,
        eFrom_Cache,
        eFrom_Computed
    };
    // "file", "cache" or "computed".
    static const char* GetFromName(EFrom iFrom);

    // Without a cache when iCacheFolder is empty. Opening the cache throws what the folder or
    // the cache file throws.
    explicit FF_AudioOverviewSource(const Sys_FileLoc& iCacheFolder = Sys_FileLoc());
    ~FF_AudioOverviewSource();
    FF_AudioOverviewSource(const FF_AudioOverviewSource&) = delete;
    FF_AudioOverviewSource& operator=(const FF_AudioOverviewSource&) = delete;

    bool HasCache() const { return mCache != nullptr; }

    // The overview of iFile, which must be open for reading, of 8, 16 or 24 bits (see
    // ComputeOverview), and where it came from in *oFromP. iProgress hears the percentage
    // done while it is computed. A read error, a failed stage or a failed store throws.
    // Asserts "iFile && oFromP".
    FF_AudioOverview Get(const FF_AudioFileRef& iFile, EFrom* oFromP,
                         const std::function<void(int32_t)>& iProgress = {});

    // Flushes and closes the cache, if there is one; failures throw.
    void Close();

private:
    std::unique_ptr<FF_AudioOverviewCache> mCache;
};
