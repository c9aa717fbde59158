#include "BDM/BDM_Bin.h"

#include <algorithm>
#include <stdexcept>

#include "BDM/BDM_Schema.h"
#include "BDM/BDM_Utils.h"
#include "Sys_FileUtils.h"

void BDM_BinRefCountHack::AddReference(BDM_Bin* iP)
{
    iP->AddReference();
}

void BDM_BinRefCountHack::RemoveReference(BDM_Bin* iP)
{
    iP->RemoveReference();
}

BDM_Asset* BDM_Cache::AssetGenerator::GenerateValue(const BDM_CacheKey& iKey)
{
    return iKey.GetBin()->GenerateAsset(iKey.GetKey());
}

BDM_Bin::~BDM_Bin()
{
    if (mCacheP)
        mCacheP->ClearEntriesForBin(this);
}

BDM_AssetHandle BDM_Bin::GetAsset(const BDM_KeyHandle& iKey)
{
    if (!mCacheP)
        return BDM_AssetHandle(GenerateAsset(iKey));
    BDM_Cache::AssetGenerator generator;
    return mCacheP->Get(BDM_CacheKey(this, iKey), generator);
}

void BDM_Bin::DeleteAsset(const BDM_KeyHandle& iKey)
{
    if (!CanDeleteAsset(iKey))
        return;
    DeleteAssetImpl(iKey);
    if (mCacheP)
        mCacheP->Remove(BDM_CacheKey(this, iKey));
}

BDM_AssetHandle BDM_Bin::GetAssetFromInternalPath(const BDM_Asset::InternalPath& iPath)
{
    BDM_AssetHandle asset = GetAsset(GetRoot());
    auto name = iPath.mNames.begin();
    if (!asset || name == iPath.mNames.end() || asset->GetName() != *name)
        return BDM_AssetHandle();
    for (++name; name != iPath.mNames.end(); ++name)
    {
        std::list<BDM_KeyHandle> children;
        asset->GetChildren(&children);
        BDM_AssetHandle next;
        for (const BDM_KeyHandle& child : children)
        {
            BDM_AssetHandle candidate = GetAsset(child);
            if (candidate && candidate->GetName() == *name)
            {
                next = candidate;
                break;
            }
        }
        if (!next)
            return BDM_AssetHandle();
        asset = next;
    }
    return asset;
}

bool BDM_Bin::CanMoveTo(const BDM_KeyHandle& iKey, const BDM_KeyHandle& iParentKey)
{
    return !IsReadOnly() && iKey && iParentKey && iParentKey->IsContainer();
}

bool BDM_Bin::CanRenameAsset(const BDM_KeyHandle& iKey)
{
    return CanModifyAttribute(iKey, BDM_AttributeTags::Instance()->cFileName);
}

bool BDM_Bin::IsAttributeValueValidVoid(const BDM_KeyHandle&, const BDM_AttributeTag& iTag,
                                        const BDM_AttributeValue& iValue, std::string* oMessageP)
{
    const BDM_AttributeTags& tags = *BDM_AttributeTags::Instance();
    if (iTag != tags.cFileName)
        return true;
    if (iValue.IsEmpty() || iValue.GetTag() != &tags.cFileName)
        return false;
    const std::string& name =
        static_cast<const BDM_TypedAttributeValue<std::string>&>(iValue).GetValue();
    return BDM_Utils::IsValidName(name, oMessageP);
}

bool BDM_Bin::CanModifyAttribute(const BDM_KeyHandle& iKey, const BDM_AttributeTag& iTag)
{
    if (IsReadOnly())
        return false;
    BDM_AssetHandle asset = GetAsset(iKey);
    CMN_ASSERT(asset);
    const BDM_EAssetType type = asset->GetType();
    if (!BDM_Schema::HasAttribute(type, iTag))
        return false;
    if (!asset->GetAttribute(iTag))
        return false;
    if (!BDM_Schema::AttributeIsModifiable(type, iTag))
        return false;
    BDM_Link alias;
    if (asset->GetAttributeValue(BDM_AttributeTags::Instance()->cAlias, &alias) && alias.mBin &&
        alias.mKey)
        return alias.mBin->CanModifyAttribute(alias.mKey, iTag);
    return true;
}

bool BDM_Bin::IsAssetOnline(BDM_Asset& iAsset)
{
    Sys_FileLoc loc;
    return iAsset.ResolveFileSystemAlias(&loc) && Sys_FileUtils::Exists(loc);
}

BDM_KeyHandle BDM_Bin::CreateFolder(const BDM_KeyHandle&, const std::string&)
{
    throw std::runtime_error("Folders cannot be made here");
}

void BDM_Bin::SetSortOrder(const BDM_SortOrder&)
{
    throw std::runtime_error("This list cannot be sorted here");
}

BDM_SortOrder BDM_Bin::GetDefaultSortOrder() const
{
    return BDM_SortOrder({&BDM_AttributeTags::Instance()->cFileName}, true);
}

void BDM_Bin::CompactSelection(std::list<BDM_KeyHandle>* ioKeysP)
{
    std::vector<std::list<BDM_KeyHandle>> paths;
    for (const BDM_KeyHandle& key : *ioKeysP)
    {
        BDM_AssetHandle asset = GetAsset(key);
        std::list<BDM_KeyHandle> path;
        if (asset)
            asset->GetPath(&path);
        else
            path.push_back(key);
        paths.push_back(std::move(path));
    }
    const auto keyLess = [](const BDM_KeyHandle& a, const BDM_KeyHandle& b)
    { return BDM_Key::LessThan()(a, b); };
    std::sort(
        paths.begin(), paths.end(),
        [&](const auto& a, const auto& b)
        { return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), keyLess); });
    const auto same = [&](const BDM_KeyHandle& a, const BDM_KeyHandle& b)
    { return a->GetType() == b->GetType() && !a->IsLessThan(*b) && !b->IsLessThan(*a); };
    ioKeysP->clear();
    const std::list<BDM_KeyHandle>* keptP = nullptr;
    for (const auto& path : paths)
    {
        // After sorting, an ancestor's path stands right before its descendants' paths.
        const bool underKept = keptP && keptP->size() <= path.size() &&
                               std::equal(keptP->begin(), keptP->end(), path.begin(), same);
        if (underKept)
            continue;
        ioKeysP->push_back(path.back());
        keptP = &path;
    }
}

std::unique_ptr<BDM_QueryResult> BDM_Bin::Query(const BDM_PredicateHandle&, const BDM_KeyHandle&)
{
    return nullptr;
}

void BDM_Bin::FlushCache()
{
    if (mCacheP)
        mCacheP->ClearEntriesForBin(this);
}
