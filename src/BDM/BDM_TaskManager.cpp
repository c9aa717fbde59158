#include "BDM/BDM_TaskManager.h"

#include <algorithm>

namespace
{
// An entry of the task list.
class BDM_TaskManagerAsset : public BDM_Asset
{
public:
    BDM_TaskManagerAsset(BDM_TaskManager* iManagerP, int32_t iID)
        : BDM_Asset(iManagerP), mManagerP(iManagerP), mID(iID)
    {
    }
    BDM_KeyHandle GetKey() const override { return mManagerP->MakeKey(mID); }
    bool IsRoot() override { return mID == BDM_TaskManager::cRootID; }
    BDM_AssetHandle GetParent() override
    {
        const BDM_TaskManager::Entry* entryP = mManagerP->FindEntry(mID);
        if (mID == BDM_TaskManager::cRootID || !entryP)
            return BDM_AssetHandle();
        return GetBin()->GetAsset(mManagerP->MakeKey(entryP->mParent));
    }
    void GetChildren(std::list<BDM_KeyHandle>* oKeysP) override
    {
        oKeysP->clear();
        for (int32_t child : mManagerP->GetChildIDs(mID))
            oKeysP->push_back(mManagerP->MakeKey(child));
    }

protected:
    BDM_Attribute* Fetch(const BDM_AttributeTag& iTag) override;

private:
    BDM_TaskManager* mManagerP;
    int32_t mID;
};

// The progress of a task's object, read when asked.
class BDM_TaskManager_ProgressAttribute : public BDM_TypedCachedAttribute<BDM_TaskProgress>
{
public:
    explicit BDM_TaskManager_ProgressAttribute(BDM_LazyObject* iObjectP)
        : BDM_TypedCachedAttribute(BDM_AttributeTags::Instance()->cTaskProgress), mObject(iObjectP)
    {
    }
    bool IsSet() const override { return true; }
    using BDM_TypedCachedAttribute::GetValue;
    bool GetValue(BDM_TaskProgress* oValueP) const override
    {
        if (!mObject)
            return false;
        *oValueP = mObject->GetProgress();
        return true;
    }

private:
    BDM_LazyObjectHandle mObject;
};

class BDM_TaskManager_ProgressUnitsTypeAttribute
    : public BDM_TypedCachedAttribute<BDM_TaskProgress::EUnitsType>
{
public:
    explicit BDM_TaskManager_ProgressUnitsTypeAttribute(BDM_LazyObject* iObjectP)
        : BDM_TypedCachedAttribute(BDM_AttributeTags::Instance()->cTaskProgressUnitsType),
          mObject(iObjectP)
    {
    }
    bool IsSet() const override { return true; }
    using BDM_TypedCachedAttribute::GetValue;
    bool GetValue(BDM_TaskProgress::EUnitsType* oValueP) const override
    {
        if (!mObject)
            return false;
        *oValueP = mObject->GetProgressUnitsType();
        return true;
    }

private:
    BDM_LazyObjectHandle mObject;
};

BDM_Attribute* BDM_TaskManagerAsset::Fetch(const BDM_AttributeTag& iTag)
{
    const BDM_TaskManager::Entry* entryP = mManagerP->FindEntry(mID);
    if (!entryP)
        return nullptr;
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    BDM_LazyObject* objectP = entryP->mObject.Get();
    if (iTag == t.cFileName)
        return new BDM_StringAttribute(t.cFileName, entryP->mName);
    if (iTag == t.cAssetType)
        return new BDM_TypedCachedAttribute<BDM_EAssetType>(
            t.cAssetType, entryP->mFolder ? BDM_eAssetType_Folder : BDM_eAssetType_Task);
    if (iTag == t.cTaskProgress)
        return new BDM_TaskManager_ProgressAttribute(objectP);
    if (iTag == t.cTaskProgressUnitsType)
        return new BDM_TaskManager_ProgressUnitsTypeAttribute(objectP);
    if (iTag == t.cTaskStatusMessage && objectP)
        return new BDM_TypedCachedAttribute<std::string>(t.cTaskStatusMessage,
                                                         objectP->GetStatusMessage());
    if (iTag == t.cTaskPriority && objectP)
        return new BDM_TypedCachedAttribute<int64_t>(t.cTaskPriority, objectP->GetPriority());
    return nullptr;
}
} // namespace

bool BDM_TaskManagerKey::IsLessThan(const BDM_Key& iKey) const
{
    CMN_ASSERT(iKey.GetType() == eType_Task);
    return mID < static_cast<const BDM_TaskManagerKey&>(iKey).mID;
}

BDM_TaskManager::BDM_TaskManager(BDM_Cache* iCacheP) : BDM_Bin(iCacheP)
{
    MakeFolders();
    BDM_LazyObject::SetTaskEntryHost(this);
}

BDM_TaskManager::~BDM_TaskManager()
{
    if (BDM_LazyObject::GetTaskEntryHost() == this)
        BDM_LazyObject::SetTaskEntryHost(nullptr);
    for (auto& [id, entry] : mEntries)
    {
        if (entry.mObject)
            entry.mObject->RemoveObserver(*this);
    }
}

void BDM_TaskManager::MakeFolders()
{
    mEntries[cRootID] = Entry{cRootID, "Task Window", true, false, {}};
    mEntries[cQueuedID] = Entry{cRootID, "Queued", true, false, {}};
    mEntries[cPausedID] = Entry{cRootID, "Paused", true, false, {}};
}

void BDM_TaskManager::OpenImpl(EOpenFlag iOpenFlag)
{
    if (iOpenFlag == eOpenFlag_OpenCreate)
        MakeFolders();
}

int32_t BDM_TaskManager::IDOf(const BDM_KeyHandle& iKey)
{
    CMN_ASSERT(iKey && iKey->GetType() == BDM_Key::eType_Task);
    return static_cast<const BDM_TaskManagerKey&>(*iKey).GetID();
}

BDM_KeyHandle BDM_TaskManager::MakeKey(int32_t iID) const
{
    const Entry* entryP = FindEntry(iID);
    return BDM_KeyHandle(new BDM_TaskManagerKey(iID, entryP && entryP->mFolder));
}

const BDM_TaskManager::Entry* BDM_TaskManager::FindEntry(int32_t iID) const
{
    const auto found = mEntries.find(iID);
    return found == mEntries.end() ? nullptr : &found->second;
}

std::vector<int32_t> BDM_TaskManager::GetChildIDs(int32_t iParent) const
{
    std::vector<int32_t> ids;
    for (const auto& [id, entry] : mEntries)
    {
        if (id != cRootID && entry.mParent == iParent)
            ids.push_back(id);
    }
    return ids;
}

BDM_KeyHandle BDM_TaskManager::CreateTaskEntry(const BDM_KeyHandle& iParentKey,
                                               BDM_LazyObject& iObject)
{
    const int32_t parent = iParentKey ? IDOf(iParentKey) : cQueuedID;
    const int32_t id = mNextID++;
    mEntries[id] =
        Entry{parent, iObject.GetLoadName(), false, true, BDM_LazyObjectHandle(&iObject)};
    return MakeKey(id);
}

void BDM_TaskManager::DeleteTaskEntry(const BDM_KeyHandle& iKey)
{
    const int32_t id = IDOf(iKey);
    if (id == cRootID || id == cQueuedID || id == cPausedID)
        return;
    // Sub-entries go with their parent.
    for (int32_t child : GetChildIDs(id))
        DeleteTaskEntry(MakeKey(child));
    const auto found = mEntries.find(id);
    if (found == mEntries.end())
        return;
    BDM_LazyObjectHandle object = found->second.mObject; // may be the last hold
    mEntries.erase(found);
    if (GetCache())
        GetCache()->Remove(BDM_CacheKey(this, iKey));
}

void BDM_TaskManager::ManageTask(BDM_LazyObject* iObjectP, const std::string& iName)
{
    iObjectP->QueueObjectLoader(iName);
    BDM_KeyHandle key = CreateTaskEntry(GetQueuedTasksFolder(), *iObjectP);
    mEntries[IDOf(key)].mName = iName;
    if (auto loaderP = dynamic_cast<BDM_TaskLoader*>(iObjectP->GetLoader().Get()))
        loaderP->SetTaskManagerKey(key);
    else
        iObjectP->SetTaskManagerKey(key);
    iObjectP->AddObserver(*this);
    if (BDM_TaskGroup* contextP = BDM_TaskGroup::GetCurrentContext(); contextP && contextP != iObjectP)
        contextP->AddTask(iObjectP);
}

void BDM_TaskManager::StopManagingTask(BDM_LazyObject* iObjectP)
{
    iObjectP->RemoveObserver(*this);
}

void BDM_TaskManager::Notify(Sys_LazyObject_Message& ioMessage)
{
    if (ioMessage.GetMessage() == Sys_LazyObject_Message::eMessage_ProgressChanged)
        return;
    BDM_LazyObject* objectP = dynamic_cast<BDM_LazyObject*>(&ioMessage.GetObject());
    if (!objectP)
        return;
    for (const auto& [id, entry] : mEntries)
    {
        if (entry.mObject.Get() == objectP && entry.mParent != cRootID)
        {
            objectP->RemoveObserver(*this);
            DeleteTaskEntry(MakeKey(id));
            return;
        }
    }
}

void BDM_TaskManager::PauseTask(const BDM_KeyHandle& iKey)
{
    const int32_t id = IDOf(iKey);
    const Entry* entryP = FindEntry(id);
    if (!entryP || !entryP->mObject || !GetChildIDs(id).empty())
        return;
    if (entryP->mObject->GetStatus() == BDM_eStatus_Paused)
        return;
    BDM_LazyObjectHandle object = entryP->mObject;
    mEntries[id].mParent = cPausedID;
    object->PauseLoading();
    object->SetTaskManagerKey(MakeKey(id));
}

void BDM_TaskManager::ResumeTask(const BDM_KeyHandle& iKey)
{
    const int32_t id = IDOf(iKey);
    const Entry* entryP = FindEntry(id);
    if (!entryP || !entryP->mObject || entryP->mParent != cPausedID)
        return;
    BDM_LazyObjectHandle object = entryP->mObject;
    mEntries[id].mParent = cQueuedID;
    object->SetTaskManagerKey(BDM_KeyHandle());
    object->ResumeLoading();
    if (auto loaderP = dynamic_cast<BDM_TaskLoader*>(object->GetLoader().Get()))
        loaderP->SetTaskManagerKey(MakeKey(id));
}

void BDM_TaskManager::CancelTask(const BDM_KeyHandle& iKey)
{
    const Entry* entryP = FindEntry(IDOf(iKey));
    if (entryP && entryP->mObject)
    {
        BDM_LazyObjectHandle object = entryP->mObject;
        object->CancelLoading();
    }
}

BDM_LazyObjectHandle BDM_TaskManager::CopyAsset(BDM_Bin&, const BDM_KeyHandle&,
                                                const BDM_KeyHandle&)
{
    CMN_ASSERT(false);
    return BDM_LazyObjectHandle();
}

BDM_LazyObjectHandle BDM_TaskManager::MoveAsset(const BDM_KeyHandle&, const BDM_KeyHandle&)
{
    CMN_ASSERT(false);
    return BDM_LazyObjectHandle();
}

BDM_SortOrder BDM_TaskManager::GetDefaultSortOrder() const
{
    return BDM_SortOrder({&BDM_AttributeTags::Instance()->cTaskPriority}, false);
}

BDM_Asset* BDM_TaskManager::GenerateAsset(const BDM_KeyHandle& iKey)
{
    const int32_t id = IDOf(iKey);
    return FindEntry(id) ? new BDM_TaskManagerAsset(this, id) : nullptr;
}

void BDM_TaskManager::DeleteAssetImpl(const BDM_KeyHandle& iKey)
{
    CancelTask(iKey);
    DeleteTaskEntry(iKey);
}

// ---- BDM_TaskGroup -----------------------------------------------------------------------

namespace
{
BDM_TaskGroup::TaskGroupContext* sCurrentContextP = nullptr;
// Left to the end of the process: its release must not run among the statics' destructors.
BDM_TaskGroup::ContextHandle& MetaContext()
{
    static auto* sMetaP = new BDM_TaskGroup::ContextHandle;
    return *sMetaP;
}
} // namespace

BDM_TaskGroup::~BDM_TaskGroup()
{
    for (const BDM_LazyObjectHandle& member : mMembers)
        member->RemoveTaskGroup(this);
}

void BDM_TaskGroup::AddTask(BDM_LazyObject* iObjectP)
{
    CMN_ASSERT(iObjectP && iObjectP != this);
    if (HasTask(iObjectP))
        return;
    mMembers.emplace_back(iObjectP);
    iObjectP->AddTaskGroup(this);
}

void BDM_TaskGroup::RemoveTask(BDM_LazyObject* iObjectP)
{
    // The member may live only through this group: it goes after the list is updated.
    BDM_LazyObjectHandle hold(iObjectP->GetRefCount() > 0 ? iObjectP : nullptr);
    iObjectP->RemoveTaskGroup(this);
    RemoveDependency(iObjectP);
    mMembers.remove_if([&](const BDM_LazyObjectHandle& h) { return h.Get() == iObjectP; });
}

bool BDM_TaskGroup::HasTask(const BDM_LazyObject* iObjectP) const
{
    return std::any_of(mMembers.begin(), mMembers.end(),
                       [&](const BDM_LazyObjectHandle& h) { return h.Get() == iObjectP; });
}

BDM_TaskGroup::TaskGroupContext* BDM_TaskGroup::GetCurrentContext()
{
    return sCurrentContextP;
}

BDM_TaskGroup::ContextHandle BDM_TaskGroup::CreateMetaContext()
{
    MetaContext() = ContextHandle(new TaskGroupContext);
    return MetaContext();
}

void BDM_TaskGroup::ReleaseMetaContext()
{
    MetaContext().Reset();
}

BDM_TaskGroup::TaskGroupContext* BDM_TaskGroup::GetMetaContext()
{
    return MetaContext().Get();
}

BDM_TaskGroup::StOpenNewContext::StOpenNewContext()
    : mContext(new TaskGroupContext), mPreviousP(sCurrentContextP)
{
    if (mPreviousP)
        mPreviousP->AddTask(mContext.Get());
    sCurrentContextP = mContext.Get();
}

BDM_TaskGroup::StOpenNewContext::~StOpenNewContext()
{
    sCurrentContextP = mPreviousP;
}

BDM_TaskGroup::StUseMetaContext::StUseMetaContext()
    : mContext(MetaContext()), mPreviousP(sCurrentContextP)
{
    if (mContext)
        sCurrentContextP = mContext.Get();
}

BDM_TaskGroup::StUseMetaContext::~StUseMetaContext()
{
    sCurrentContextP = mPreviousP;
}

bool BDM_TaskGroup::Load()
{
    bool all = true;
    for (const BDM_LazyObjectHandle& member : mMembers)
    {
        if (member->IsLoaded())
            continue;
        all = false;
        const auto& dependencies = GetDependencies();
        const bool known =
            std::any_of(dependencies.begin(), dependencies.end(),
                        [&](const BDM_LazyObjectHandle& h) { return h.Get() == member.Get(); });
        if (!known)
            AddDependency(member.Get());
    }
    return all;
}
