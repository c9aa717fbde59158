// The task window as a store: every managed background task is an asset, so that the task
// window is an ordinary browser view.
//
// Entries: the root, "Queued" and "Paused" (the last two folders are not shown as tasks),
// and one entry per task or sub-task. A managed task's key sits in its loader while it
// runs (BDM_TaskLoader), and in the object's own slot while it is paused, which is what
// makes its status read "paused". An entry goes when its object loads or is cancelled.
// Groups: BDM_TaskGroup is a set of tasks seen as one; it loads when all of them have.
// Threads: the thread that drives the queue.
#pragma once

#include <map>
#include <string>

#include "BDM/BDM_Bin.h"
#include "BDM/BDM_LazyObject.h"

class BDM_TaskManagerKey : public BDM_Key
{
public:
    BDM_TaskManagerKey(int32_t iID, bool iFolder) : mID(iID), mFolder(iFolder) {}
    bool IsFolder() const override { return mFolder; }
    EType GetType() const override { return eType_Task; }
    // Asserts "iKey.GetType() == eType_Task".
    bool IsLessThan(const BDM_Key& iKey) const override;
    int32_t GetID() const { return mID; }

private:
    int32_t mID;
    bool mFolder;
};

class BDM_TaskManager : public BDM_Bin,
                        public BDM_TaskEntryHost,
                        public Cmn_Observable<Sys_LazyObject_Message>::Observer
{
public:
    static constexpr int32_t cRootID = 0;
    static constexpr int32_t cQueuedID = 1;
    static constexpr int32_t cPausedID = 2;

    struct Entry
    {
        int32_t mParent = cRootID;
        std::string mName;
        bool mFolder = false;
        bool mShowInTaskList = true;
        BDM_LazyObjectHandle mObject;
    };

    explicit BDM_TaskManager(BDM_Cache* iCacheP);
    ~BDM_TaskManager() override;

    // Queues iObject under iName and makes an entry for it under "Queued".
    void ManageTask(BDM_LazyObject* iObjectP, const std::string& iName);
    void StopManagingTask(BDM_LazyObject* iObjectP);
    void CancelTask(const BDM_KeyHandle& iKey);
    void PauseTask(const BDM_KeyHandle& iKey);
    void ResumeTask(const BDM_KeyHandle& iKey);
    BDM_KeyHandle GetQueuedTasksFolder() const { return MakeKey(cQueuedID); }
    BDM_KeyHandle GetPausedTasksFolder() const { return MakeKey(cPausedID); }
    // The entries under iParent, in the order they were made.
    std::vector<int32_t> GetChildIDs(int32_t iParent) const;
    const Entry* FindEntry(int32_t iID) const;
    BDM_KeyHandle MakeKey(int32_t iID) const;
    size_t GetNumEntries() const { return mEntries.size(); }

    // BDM_TaskEntryHost
    BDM_KeyHandle CreateTaskEntry(const BDM_KeyHandle& iParentKey,
                                  BDM_LazyObject& iObject) override;
    void DeleteTaskEntry(const BDM_KeyHandle& iKey) override;
    // Objects' messages: anything but a progress report takes the object's entry away.
    void Notify(Sys_LazyObject_Message& ioMessage) override;

    // BDM_Bin
    BDM_LazyObjectHandle CopyAsset(BDM_Bin&, const BDM_KeyHandle&, const BDM_KeyHandle&) override;
    BDM_LazyObjectHandle MoveAsset(const BDM_KeyHandle&, const BDM_KeyHandle&) override;
    bool SupportsSortingNatively() const override { return true; }
    void SetSortOrder(const BDM_SortOrder&) override {}
    BDM_SortOrder GetDefaultSortOrder() const override;
    BDM_KeyHandle GetRoot() override { return MakeKey(cRootID); }

protected:
    void OpenImpl(EOpenFlag iOpenFlag) override;
    void CloseImpl() override {}
    BDM_Asset* GenerateAsset(const BDM_KeyHandle& iKey) override;
    void DeleteAssetImpl(const BDM_KeyHandle& iKey) override;

private:
    static int32_t IDOf(const BDM_KeyHandle& iKey);
    void MakeFolders();

    std::map<int32_t, Entry> mEntries;
    int32_t mNextID = 3;
};

// A set of tasks seen as one: loads when every member has.
//
// Contexts: while a StOpenNewContext lives, every task given to BDM_TaskManager::ManageTask
// joins the group of its context (a TaskGroupContext), and a context opened inside another
// joins the outer one, so that the outermost group loads when all the work begun in its
// scope has. StUseMetaContext makes the process-wide meta context (CreateMetaContext) the
// current one for a scope. A group holds its members; a member knows its groups
// (BDM_LazyObject::GetTaskGroups) until it leaves them: by RemoveTask, by a cancel that takes
// it out of its groups, or when the group goes.
class BDM_TaskGroup : public BDM_LazyObject
{
public:
    class TaskGroupContext;
    using ContextHandle = Cmn_PolymorphicHandle<TaskGroupContext, Sys_ThreadSafeRefCountObject>;

    ~BDM_TaskGroup() override;
    // Once per object; the group then waits for it.
    void AddTask(BDM_LazyObject* iObjectP);
    // The group no longer waits for the object.
    void RemoveTask(BDM_LazyObject* iObjectP);
    bool HasTask(const BDM_LazyObject* iObjectP) const;
    bool ShowInTaskManager() const override { return true; }
    size_t GetNumTasks() const { return mMembers.size(); }

    // The context that new tasks join now, or null.
    static TaskGroupContext* GetCurrentContext();
    // A new meta context, which replaces the one before (null releases it).
    static ContextHandle CreateMetaContext();
    static void ReleaseMetaContext();
    static TaskGroupContext* GetMetaContext();

    // Opens a new context for its lifetime; the context before comes back after it.
    class StOpenNewContext
    {
    public:
        StOpenNewContext();
        ~StOpenNewContext();
        StOpenNewContext(const StOpenNewContext&) = delete;
        StOpenNewContext& operator=(const StOpenNewContext&) = delete;
        const ContextHandle& GetContext() const { return mContext; }

    private:
        ContextHandle mContext;
        TaskGroupContext* mPreviousP;
    };
    // Makes the meta context (if there is one) the current context for its lifetime.
    class StUseMetaContext
    {
    public:
        StUseMetaContext();
        ~StUseMetaContext();
        StUseMetaContext(const StUseMetaContext&) = delete;
        StUseMetaContext& operator=(const StUseMetaContext&) = delete;

    private:
        ContextHandle mContext;
        TaskGroupContext* mPreviousP;
    };

protected:
    bool Load() override;

private:
    std::list<BDM_LazyObjectHandle> mMembers;
};

// A group that collects the tasks begun while it is the current context.
class BDM_TaskGroup::TaskGroupContext : public BDM_TaskGroup
{
};
