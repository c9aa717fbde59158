#include "FF/Audio/Processing/Overview/FF_AudioOverviewSource.h"

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewCache.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewUtils.h"
#include "Sys_FileUtils.h"

const char* FF_AudioOverviewSource::GetFromName(EFrom iFrom)
{
    switch (iFrom)
    {
    case eFrom_File:
        return "file";
    case eFrom_Cache:
        return "cache";
    case eFrom_Computed:
        return "computed";
    }
    return "?";
}

FF_AudioOverviewSource::FF_AudioOverviewSource(const Sys_FileLoc& iCacheFolder)
{
    if (iCacheFolder.IsEmpty())
        return;
    Sys_FileUtils::CreateFolder(iCacheFolder);
    auto cache = std::make_unique<FF_AudioOverviewCache>(
        Sys_FileLoc(iCacheFolder, FF_AudioOverviewCache::cCacheFileName));
    cache->Open(Cmn_Store::eOpenFlag_OpenForWrite);
    mCache = std::move(cache);
}

FF_AudioOverviewSource::~FF_AudioOverviewSource() = default; // the cache closes itself

FF_AudioOverview FF_AudioOverviewSource::Get(const FF_AudioFileRef& iFile, EFrom* oFromP,
                                             const std::function<void(int32_t)>& iProgress)
{
    CMN_ASSERT(iFile && oFromP);
    const int64_t size = FF_AudioOverview::GetPayloadSize(iFile->GetProperties().mNumSamples);
    FF_AudioOverview overview;
    if (FF_AudioFile::AudioFileTypeSupportsEmbeddedOverviews(iFile->GetAudioFileType()) &&
        FF_AudioOverviewMgr::GetEmbeddedOverview(*iFile, &overview))
    {
        *oFromP = eFrom_File;
        return overview;
    }
    if (mCache && mCache->Find(iFile.Get(), &overview) && overview.GetSize() == size)
    {
        *oFromP = eFrom_Cache;
        return overview;
    }
    overview = FF_AudioOverviewUtils::ComputeOverview(iFile, iProgress);
    *oFromP = eFrom_Computed;
    if (mCache)
        mCache->Add(iFile.Get(), overview);
    return overview;
}

void FF_AudioOverviewSource::Close()
{
    if (!mCache)
        return;
    mCache->Flush();
    mCache->Close();
    mCache.reset();
}
