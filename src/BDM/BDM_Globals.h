// The root of the browser model's process-wide state.
//
// Instance() builds it on first use, in this order: the task manager, the lazy-object queue
// (installed as the queue of every Sys_LazyObject), the localized tag titles, and the
// delete-notification client through which the model hears of files that the library
// deletes. It owns the asset cache, the task manager, the file-system bins by filter, the
// filter lists, the settings and the per-volume overview caches ("WaveCache"). Release()
// cancels deferred work, flushes and closes the overview caches and takes it all down.
// Threads: the thread that drives the queue.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "BDM/BDM_Bin.h"
#include "BDM/BDM_LazyObject.h"
#include "Sys_FileLoc.h"
#include "Sys_FileType.h"
#include "Sys_FileUtils.h"

class BDM_Settings;
class BDM_TaskManager;
class FF_AudioOverviewCache;

class BDM_Globals
{
public:
    // 1 is all files; 2 audio files and folders.
    enum EFileSystemFilter : int32_t
    {
        eFileSystemFilter_AllFiles = 1,
        eFileSystemFilter_AudioFiles = 2
    };
    // Made by the file-system adapter, which installs it.
    using FileSystemBinFactory = BDM_Bin* (*)(EFileSystemFilter iFilter, BDM_Cache* iCacheP);

    static BDM_Globals* Instance();
    static void Release();
    static bool Exists();
    static void SetFileSystemBinFactory(FileSystemBinFactory iFactory);

    BDM_Cache& Cache() { return mCache; }
    BDM_TaskManager& TaskManager() { return *mTaskManager; }
    BDM_LazyObjectQueue& Queue() { return *mQueue; }
    BDM_Settings& Settings() { return *mSettings; }
    BDM_Bin& FileSystemWithFilter(EFileSystemFilter iFilter);
    // Built once per filter: the catalog type, the folder type, the readable audio types and
    // the session types, newest first (the audio filter: folders and audio types).
    const std::vector<Sys_FileType>& Filter(EFileSystemFilter iFilter);

    // The overview cache of the volume that holds iLoc, open for writing. The caches live in
    // the folder given to SetOverviewCacheFolder, one sub-folder per volume identifier
    // (default: the folder of the volume's database, BDM_Volume::GetDatabaseFolder). An old
    // cache file named "cache" there is deleted when the cache is first made.
    FF_AudioOverviewCache& OverviewCache(const Sys_FileLoc& iLoc);
    void SetOverviewCacheFolder(const Sys_FileLoc& iFolder);
    void FlushOverviewCaches();

    // Holds the queue for its lifetime: slices do nothing.
    class StSuspendTaskQueue
    {
    public:
        StSuspendTaskQueue();
        ~StSuspendTaskQueue();
        StSuspendTaskQueue(const StSuspendTaskQueue&) = delete;
        StSuspendTaskQueue& operator=(const StSuspendTaskQueue&) = delete;

    private:
        bool mWasSuspended;
    };

private:
    BDM_Globals();
    ~BDM_Globals();

    class DeleteClient : public Sys_FileUtils::StDeleteFiles::DeleteNotificationClient
    {
    public:
        explicit DeleteClient(BDM_Globals& iGlobals) : mGlobals(iGlobals) {}
        void FileDeleted(const Sys_FileLoc& iLoc) override;

    private:
        BDM_Globals& mGlobals;
    };

    BDM_Cache mCache;
    Cmn_AliasedRefCountPtr<BDM_TaskManager, BDM_TaskManager*, BDM_BinRefCountHack> mTaskManager;
    BDM_LazyObjectQueue* mQueue = nullptr;
    std::unique_ptr<BDM_Settings> mSettings;
    DeleteClient mDeleteClient{*this};
    std::map<EFileSystemFilter, BDM_BinHandle> mFileSystems;
    std::map<EFileSystemFilter, std::vector<Sys_FileType>> mFilters;
    Sys_FileLoc mOverviewCacheFolder;
    std::map<uint32_t, std::unique_ptr<FF_AudioOverviewCache>> mOverviewCaches;
    static FileSystemBinFactory sFileSystemBinFactory;
};
