#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Volume.h"

#include <cstdio>

#include "BDM/BDM_Settings.h"
#include "BDM/BDM_TaskManager.h"
#include "BDM/BDM_Utils.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewCache.h"
#include "Sys_Paths.h"
#include "Sys_Volume.h"
#include "Tarn_FileTypes.h"

namespace
{
BDM_Globals* sInstanceP = nullptr;
}

BDM_Globals::FileSystemBinFactory BDM_Globals::sFileSystemBinFactory = nullptr;

BDM_Globals* BDM_Globals::Instance()
{
    if (!sInstanceP)
        sInstanceP = new BDM_Globals;
    return sInstanceP;
}

bool BDM_Globals::Exists()
{
    return sInstanceP != nullptr;
}

void BDM_Globals::Release()
{
    delete sInstanceP;
    sInstanceP = nullptr;
}

void BDM_Globals::SetFileSystemBinFactory(FileSystemBinFactory iFactory)
{
    sFileSystemBinFactory = iFactory;
}

BDM_Globals::BDM_Globals()
{
    Tarn_FileTypes::Initialize();
    // No database environment on this host's file-system model: the task manager comes first.
    mTaskManager.Reset(new BDM_TaskManager(&mCache));
    mQueue = new BDM_LazyObjectQueue;
    Sys_LazyObject::InstallQueue(mQueue);
    BDM_AttributeTags::Instance()->InitializeLocalizedAttributeNames();
    Sys_FileUtils::StDeleteFiles::SetDeleteNoficationClient(&mDeleteClient);
    mSettings = std::make_unique<BDM_Settings>();
}

BDM_Globals::~BDM_Globals()
{
    if (Sys_FileUtils::StDeleteFiles::GetDeleteNotificationClient() == &mDeleteClient)
        Sys_FileUtils::StDeleteFiles::SetDeleteNoficationClient(nullptr);
    mQueue->CancelDeferredTasks();
    // Whatever is still queued is dropped with the queue.
    while (!mQueue->IsEmpty())
    {
        if (Sys_Task::TaskHandle task = mQueue->GetTaskQueue().PeekAtTopTask())
            task->Abort();
        mQueue->ExecTop();
    }
    for (auto& [id, cache] : mOverviewCaches)
    {
        try
        {
            cache->Close();
        }
        catch (...)
        {
            // A cache that cannot be flushed is rebuilt when next opened.
        }
    }
    mOverviewCaches.clear();
    // Assets that clients still hold keep their bins; those bins must not reach the cache
    // that goes with this object.
    for (auto& [filter, bin] : mFileSystems)
    {
        mCache.ClearEntriesForBin(bin.Get());
        bin->DetachCache();
    }
    mFileSystems.clear();
    mCache.ClearEntriesForBin(mTaskManager.Get());
    mTaskManager->DetachCache();
    mTaskManager.Reset();
    Sys_LazyObject::UninstallQueue();
}

BDM_Bin& BDM_Globals::FileSystemWithFilter(EFileSystemFilter iFilter)
{
    BDM_BinHandle& bin = mFileSystems[iFilter];
    if (!bin)
    {
        CMN_ASSERT(sFileSystemBinFactory);
        bin.Reset(sFileSystemBinFactory(iFilter, &mCache));
    }
    return *bin;
}

const std::vector<Sys_FileType>& BDM_Globals::Filter(EFileSystemFilter iFilter)
{
    auto found = mFilters.find(iFilter);
    if (found != mFilters.end())
        return found->second;
    std::vector<Sys_FileType> filter;
    if (iFilter == eFileSystemFilter_AudioFiles)
    {
        filter.push_back(Sys_FileType::cFolder);
        for (const Sys_FileType& type : BDM_Utils::FilterFromAssetType(BDM_eAssetType_Audio))
            filter.push_back(type);
    }
    else
        filter = BDM_Utils::AllFilesFilter();
    return mFilters.emplace(iFilter, std::move(filter)).first->second;
}

void BDM_Globals::SetOverviewCacheFolder(const Sys_FileLoc& iFolder)
{
    FlushOverviewCaches();
    mOverviewCaches.clear();
    mOverviewCacheFolder = iFolder;
}

FF_AudioOverviewCache& BDM_Globals::OverviewCache(const Sys_FileLoc& iLoc)
{
    const uint32_t volumeID = iLoc.GetVolume().GetID();
    const Sys_FileLoc base =
        mOverviewCacheFolder.IsEmpty() ? BDM_Volume::GetVolumesFolder() : mOverviewCacheFolder;
    char name[16];
    std::snprintf(name, sizeof name, "%08x", volumeID);
    const Sys_FileLoc folder(base, name);
    const Sys_FileLoc file(folder, FF_AudioOverviewCache::cCacheFileName);
    std::unique_ptr<FF_AudioOverviewCache>& cache = mOverviewCaches[volumeID];
    // A cache whose file went (its volume's folder was cleared) is forgotten and made anew.
    if (cache && !Sys_FileUtils::Exists(file))
        cache.reset();
    if (!cache)
    {
        Sys_FileUtils::CreateFolder(folder);
        // an overview cache of an older kind, which the new one replaces
        const Sys_FileLoc old(folder, "cache");
        if (Sys_FileUtils::Exists(old))
            Sys_FileUtils::DeleteFile(old);
        auto made = std::make_unique<FF_AudioOverviewCache>(file);
        made->Open(Cmn_Store::eOpenFlag_OpenForWrite);
        cache = std::move(made);
    }
    return *cache;
}

void BDM_Globals::FlushOverviewCaches()
{
    for (auto& [id, cache] : mOverviewCaches)
        cache->Flush();
}

void BDM_Globals::DeleteClient::FileDeleted(const Sys_FileLoc& iLoc)
{
    for (auto& [filter, bin] : mGlobals.mFileSystems)
        bin->FileDeleted(iLoc);
}

BDM_Globals::StSuspendTaskQueue::StSuspendTaskQueue()
    : mWasSuspended(BDM_Globals::Instance()->Queue().IsSuspended())
{
    BDM_Globals::Instance()->Queue().SetSuspended(true);
}

BDM_Globals::StSuspendTaskQueue::~StSuspendTaskQueue()
{
    BDM_Globals::Instance()->Queue().SetSuspended(mWasSuspended);
}
