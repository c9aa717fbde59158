#include "BDM/Adapters/Neo/BDM_QueryResultContainer.h"

#include <cstdio>

#include "Cmn_Assert.h"
#include "Sys_FileLocUtils.h"

namespace
{
int64_t RowID(const BDM_KeyHandle& iKey)
{
    CMN_ASSERT_TEXT(iKey && iKey->GetType() == BDM_Key::eType_Neo,
                    "iKey->GetType() == BDM_Key::eType_Neo");
    return static_cast<const BNeoa_Key&>(*iKey).GetID();
}
} // namespace

BDM_QueryResultContainer::BDM_QueryResultContainer(BDM_Cache* iCacheP)
    : BNeoa_Bin(Sys_FileLocUtils::GetTempFileLoc(std::string(cRootName) + ".db"), iCacheP)
{
}

BDM_QueryResultContainer::~BDM_QueryResultContainer()
{
    if (IsOpen())
        CloseImpl();
    RemoveFiles();
}

void BDM_QueryResultContainer::RemoveFiles()
{
    const std::string& path = GetURL().GetFullPath();
    for (const char* suffix : {"", "-wal", "-shm", "-journal"})
        std::remove((path + suffix).c_str());
}

void BDM_QueryResultContainer::OpenImpl(EOpenFlag iOpenFlag)
{
    CMN_ASSERT_TEXT(iOpenFlag == eOpenFlag_OpenCreate, "iOpenFlag == eOpenFlag_OpenCreate");
    BNeoa_Bin::OpenImpl(iOpenFlag);
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    BDM_AssetHandle root = GetAsset(GetRoot());
    static_cast<BDM_TypedAttribute<std::string>*>(root->GetAttribute(t.cFileName))->Set(cRootName);
    static_cast<BDM_TypedAttribute<std::string>*>(root->GetAttribute(t.cAssetName))->Set(cRootName);
}

void BDM_QueryResultContainer::CloseImpl()
{
    BNeoa_Bin::CloseImpl();
    mTargets.clear();
    RemoveFiles();
}

BDM_LazyObjectHandle BDM_QueryResultContainer::CopyAsset(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                                                         const BDM_KeyHandle& iParentKey)
{
    return BDM_LazyObjectHandle(
        new BDM_QueryResultContainer_AssetCopier(*this, iSrcBin, iSrcKey, iParentKey));
}

BDM_KeyHandle BDM_QueryResultContainer::AddResult(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                                                  const BDM_KeyHandle& iParentKey)
{
    const BDM_KeyHandle parent = iParentKey ? iParentKey : GetRoot();
    if (&iSrcBin == this)
        return GetAsset(iSrcKey) ? CreateAlias(iSrcKey, parent) : BDM_KeyHandle();
    BDM_AssetHandle source = iSrcBin.GetAsset(iSrcKey);
    if (!source)
        return BDM_KeyHandle();
    const BDM_KeyHandle key = ImportAsset(*source, parent, false);
    mTargets[RowID(key)] = BDM_Link{BDM_BinHandle(&iSrcBin), iSrcKey};
    return key;
}

BDM_Link BDM_QueryResultContainer::GetTarget(const BDM_KeyHandle& iKey) const
{
    const auto it = mTargets.find(RowID(iKey));
    return it == mTargets.end() ? BDM_Link() : it->second;
}

bool BDM_QueryResultContainer::CanDeleteAsset(const BDM_KeyHandle& iKey)
{
    return RowID(iKey) != RowID(GetRoot());
}

void BDM_QueryResultContainer::SetSortOrder(const BDM_SortOrder& iOrder)
{
    std::string terms;
    const char* direction = iOrder.IsAscending() ? " ASC" : " DESC";
    for (const BDM_AttributeTag* tagP : iOrder.GetTags())
    {
        const int32_t index = BNeoa_AttributeMapper::FindIndex(*tagP);
        if (index < 0)
            continue;
        const std::string column = BNeoa_AttributeMapper::GetEntries()[size_t(index)].mColumn;
        terms += column + "Validity DESC, " + column + direction + ", ";
    }
    SetChildOrder(terms + "ID");
    mSortOrder = iOrder;
}

BDM_Asset* BDM_QueryResultContainer::GenerateAsset(const BDM_KeyHandle& iKey)
{
    BDM_Asset* assetP = BNeoa_Bin::GenerateAsset(iKey);
    if (!assetP)
        return nullptr;
    const auto it = mTargets.find(RowID(iKey));
    if (it != mTargets.end())
        assetP->SetAlias(it->second.mBin.Get(), it->second.mKey);
    return assetP;
}

void BDM_QueryResultContainer::DeleteAssetImpl(const BDM_KeyHandle& iKey)
{
    BNeoa_Bin::DeleteAssetImpl(iKey);
    mTargets.erase(RowID(iKey));
}

// ---- the copier --------------------------------------------------------------------------

BDM_QueryResultContainer_AssetCopier::BDM_QueryResultContainer_AssetCopier(
    BDM_QueryResultContainer& iContainer, BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
    const BDM_KeyHandle& iParentKey)
    : mContainer(&iContainer), mSrcBin(&iSrcBin), mSrcKey(iSrcKey), mParentKey(iParentKey)
{
    CMN_ASSERT(mSrcKey);
}

bool BDM_QueryResultContainer_AssetCopier::Load()
{
    mNewKey = static_cast<BDM_QueryResultContainer&>(*mContainer).AddResult(*mSrcBin, mSrcKey,
                                                                            mParentKey);
    return true;
}
