#include "BDM/BDM_Asset.h"

#include "BDM/BDM_Bin.h"
#include "BDM/BDM_Synchronizer.h"
#include "BDM/BDM_Utils.h"
#include "Sys_FileUtils.h"

namespace
{
BDM_Attribute* const cNeverAsked = reinterpret_cast<BDM_Attribute*>(intptr_t(-1));

// Kinds of work an asset without a file-system side answers with.
BDM_LazyObjectHandle NothingToDo()
{
    return BDM_LazyObjectHandle(new BDM_DoNothingObject);
}
} // namespace

std::atomic<int32_t> BDM_Asset::sNumLive{0};

// ---- status attribute --------------------------------------------------------------------

BDM_AssetStatusAttribute::BDM_AssetStatusAttribute(BDM_Asset& iAsset)
    : BDM_TypedCachedAttribute(BDM_AttributeTags::Instance()->cAssetStatus), mAssetP(&iAsset)
{
}

bool BDM_AssetStatusAttribute::GetValue(BDM_EStatus* oValueP) const
{
    *oValueP = mAssetP->GetStatus();
    return true;
}

// ---- ChildEnumerator ---------------------------------------------------------------------

void BDM_Asset::ChildEnumerator::Deliver(const BDM_KeyHandle& iKey)
{
    if (mClient)
        mClient->HandleChild(iKey);
}

// ---- BDM_Asset ---------------------------------------------------------------------------

BDM_Asset::BDM_Asset(BDM_Bin* iBinP)
    : mBinP(iBinP), mBinHold(iBinP),
      mAttributes(size_t(BDM_AttributeTags::Instance()->GetCount()), cNeverAsked)
{
    ++sNumLive;
}

BDM_Asset::~BDM_Asset()
{
    for (BDM_Attribute* attributeP : mAttributes)
    {
        if (attributeP == cNeverAsked || attributeP == nullptr)
            continue;
        attributeP->RemoveObserver(*this);
        if (attributeP->IsHeapAllocated())
            delete attributeP;
    }
    --sNumLive;
}

void BDM_Asset::SetWeakMapEntry(WeakMap* iMapP, const BDM_CacheKey& iKey)
{
    mMapP = iMapP;
    mMapKey = iMapP ? iKey : BDM_CacheKey();
}

void BDM_Asset::RefCountDelete()
{
    WeakMap* mapP = mMapP;
    if (!mapP)
    {
        delete this;
        return;
    }
    const BDM_CacheKey key = mMapKey;
    mapP->ValueDying(key);
}

bool BDM_Asset::IsContainer() const
{
    BDM_KeyHandle key = GetKey();
    return key && key->IsContainer();
}

namespace
{
// Delivers what GetChildren lists, in one step: for stores that know their children at once.
class ListingEnumerator : public BDM_Asset::ChildEnumerator
{
public:
    ListingEnumerator(BDM_Asset& iAsset, std::unique_ptr<Client> iClient)
        : ChildEnumerator(std::move(iClient)), mAsset(&iAsset)
    {
    }

protected:
    bool Load() override
    {
        std::list<BDM_KeyHandle> keys;
        mAsset->GetChildren(&keys);
        for (const BDM_KeyHandle& key : keys)
            Deliver(key);
        return true;
    }

private:
    BDM_AssetHandle mAsset;
};
} // namespace

BDM_LazyObjectHandle BDM_Asset::EnumerateChildren(std::unique_ptr<ChildEnumerator::Client> iClient)
{
    if (!IsContainer())
        return NothingToDo();
    return BDM_LazyObjectHandle(new ListingEnumerator(*this, std::move(iClient)));
}

int32_t BDM_Asset::GetNumChildren()
{
    std::list<BDM_KeyHandle> keys;
    GetChildren(&keys);
    return int32_t(keys.size());
}

void BDM_Asset::GetChildren(std::list<BDM_KeyHandle>* oKeysP)
{
    oKeysP->clear();
}

BDM_Attribute* BDM_Asset::GetAttribute(const BDM_AttributeTag& iTag)
{
    const int32_t index = iTag.GetTagIndex();
    CMN_ASSERT(index >= 0 && size_t(index) < mAttributes.size());
    BDM_Attribute*& entry = mAttributes[size_t(index)];
    if (entry != cNeverAsked)
        return entry;
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    BDM_Attribute* madeP = nullptr;
    if (iTag == t.cAssetStatus)
        madeP = new BDM_AssetStatusAttribute(*this);
    else if (iTag == t.cLink || iTag == t.cAlias)
        madeP = new BDM_TypedCachedAttribute<BDM_Link>(
            static_cast<const BDM_TypedAttributeTag<BDM_Link>&>(iTag));
    else if (iTag == t.cLinkPath)
        madeP = new BDM_TypedCachedAttribute<void*>(t.cLinkPath);
    else if (iTag == t.cContainerFlagA || iTag == t.cContainerFlagB)
    {
        if (!IsContainer())
            return nullptr; // not stored: asked again next time
        madeP = new BDM_TypedCachedAttribute<bool>(
            static_cast<const BDM_TypedAttributeTag<bool>&>(iTag),
            GetType() == BDM_eAssetType_VolumeRoot);
    }
    else if (iTag == t.cMarkedForDeletion)
        madeP = new BDM_TypedCachedAttribute<bool>(t.cMarkedForDeletion, false);
    else if (iTag == t.cSyncPoint)
        madeP = new BDM_TypedCachedAttribute<int64_t>(t.cSyncPoint, -1);
    else if (iTag == t.cAudioOverview)
    {
        if (GetType() != BDM_eAssetType_Audio)
            return nullptr;
        madeP = Fetch(iTag);
    }
    else if (iTag == t.cSpareStringA || iTag == t.cSpareStringB)
        return nullptr;
    else
        madeP = Fetch(iTag);
    if (!madeP)
        return nullptr;
    madeP->AddObserver(*this);
    entry = madeP;
    return madeP;
}

void BDM_Asset::Update(BDM_Attribute& ioAttribute)
{
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    // A synchroniser writing the stored link is no relink: the shown path stays quiet.
    if (ioAttribute.GetTag() == t.cLink && !BDM_AssetSynchronizer::IsInSynchronizingContext())
    {
        if (BDM_Attribute* linkPathP = GetAttribute(t.cLinkPath))
            linkPathP->NotifyObservers(*linkPathP);
    }
    Cmn_Observable<BDM_Asset>::NotifyObservers(*this);
}

void BDM_Asset::GetPath(std::list<BDM_KeyHandle>* oPathP)
{
    oPathP->clear();
    oPathP->push_front(GetKey());
    if (IsRoot())
        return;
    for (BDM_AssetHandle parent = GetParent(); parent; parent = parent->GetParent())
    {
        oPathP->push_front(parent->GetKey());
        if (parent->IsRoot())
            break;
    }
}

BDM_AssetHandle BDM_Asset::GetParent()
{
    return BDM_AssetHandle();
}

bool BDM_Asset::IsRoot()
{
    BDM_KeyHandle root = mBinP ? mBinP->GetRoot() : BDM_KeyHandle();
    BDM_KeyHandle key = GetKey();
    return !root || (key && root->GetType() == key->GetType() && !root->IsLessThan(*key) &&
                     !key->IsLessThan(*root));
}

void BDM_Asset::GetInternalPath(InternalPath* oPathP)
{
    oPathP->mNames.clear();
    oPathP->mNames.push_front(GetName());
    if (IsRoot())
        return;
    for (BDM_AssetHandle parent = GetParent(); parent; parent = parent->GetParent())
    {
        oPathP->mNames.push_front(parent->GetName());
        if (parent->IsRoot())
            break;
    }
}

BDM_EAssetType BDM_Asset::GetType()
{
    BDM_EAssetType type = BDM_eAssetType_File;
    GetAttributeValue(BDM_AttributeTags::Instance()->cAssetType, &type);
    return type;
}

int64_t BDM_Asset::GetModDate()
{
    int64_t date = 0;
    GetAttributeValue(BDM_AttributeTags::Instance()->cFileModDate, &date);
    return date;
}

int64_t BDM_Asset::GetTimestamp()
{
    int64_t stamp = 0;
    GetAttributeValue(BDM_AttributeTags::Instance()->cAssetTimestamp, &stamp);
    return stamp;
}

std::string BDM_Asset::GetName()
{
    std::string name;
    GetAttributeValue(BDM_AttributeTags::Instance()->cFileName, &name);
    return name;
}

bool BDM_Asset::IsOnline(bool)
{
    return mBinP && mBinP->IsAssetOnline(*this);
}

BDM_LazyObjectHandle BDM_Asset::Refresh(bool)
{
    return NothingToDo();
}

BDM_AssetHandle BDM_Asset::ResolveFileSystemAlias()
{
    return BDM_AssetHandle();
}

bool BDM_Asset::ResolveFileSystemAlias(Sys_FileLoc*)
{
    return false;
}

BDM_AssetHandle BDM_Asset::ResolveAlias()
{
    BDM_Link alias;
    if (GetAttributeValue(BDM_AttributeTags::Instance()->cAlias, &alias) && alias.mBin &&
        alias.mKey)
    {
        if (BDM_AssetHandle target = alias.mBin->GetAsset(alias.mKey))
            return target->ResolveAlias();
    }
    return BDM_AssetHandle(this);
}

BDM_EStatus BDM_Asset::GetStatus() const
{
    return mStatusOverride != BDM_eStatus_Idle ? mStatusOverride : BDM_LazyObject::GetStatus();
}

bool BDM_Asset::IsMarkedForDeletion()
{
    bool marked = false;
    GetAttributeValue(BDM_AttributeTags::Instance()->cMarkedForDeletion, &marked);
    return marked;
}

void BDM_Asset::SetMarkedForDeletion(bool iMarked)
{
    const auto& tag = BDM_AttributeTags::Instance()->cMarkedForDeletion;
    static_cast<BDM_TypedAttribute<bool>*>(GetAttribute(tag))->Set(iMarked);
}

void BDM_Asset::SetAlias(BDM_Bin* iBinP, const BDM_KeyHandle& iKey)
{
    const auto& tag = BDM_AttributeTags::Instance()->cAlias;
    static_cast<BDM_TypedAttribute<BDM_Link>*>(GetAttribute(tag))
        ->Set(BDM_Link{BDM_BinHandle(iBinP), iKey});
}
