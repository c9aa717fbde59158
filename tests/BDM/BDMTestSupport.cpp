#include "BDMTestSupport.h"

#include <stdexcept>

#include "BDM/BDM_Globals.h"

const BDM_AttributeTags& BDMTest_Tags()
{
    static const BDM_AttributeTags* sTagsP = []
    {
        BDM_AttributeTags* tagsP = BDM_AttributeTags::Instance();
        tagsP->InitializeLocalizedAttributeNames();
        if (!BDM_Schema::IsInitialized())
            BDM_Schema::InitializeSchema();
        return tagsP;
    }();
    return *sTagsP;
}

BDM_LazyObjectQueue& BDMTest_Queue()
{
    return BDM_Globals::Instance()->Queue();
}

void BDMTest_Drain(int32_t iMaxSteps)
{
    BDM_LazyObjectQueue& queue = BDMTest_Queue();
    for (int32_t i = 0; i < iMaxSteps && !queue.IsEmpty(); ++i)
        queue.ExecTop();
}

BDM_KeyHandle BDMTest_MakeKey(int32_t iID, bool iFolder)
{
    return BDM_KeyHandle(new BDMTest_Key(iID, iFolder));
}

namespace
{
class TestAsset : public BDM_Asset
{
public:
    TestAsset(BDMTest_Bin* iBinP, int32_t iID) : BDM_Asset(iBinP), mBinP(iBinP), mID(iID) {}
    BDM_KeyHandle GetKey() const override
    {
        return BDMTest_MakeKey(mID, mBinP->mItems.at(mID).mFolder);
    }
    bool IsRoot() override { return mID == 0; }
    BDM_AssetHandle GetParent() override
    {
        if (mID == 0)
            return BDM_AssetHandle();
        const int32_t parent = mBinP->mItems.at(mID).mParent;
        return GetBin()->GetAsset(BDMTest_MakeKey(parent, true));
    }
    void GetChildren(std::list<BDM_KeyHandle>* oKeysP) override
    {
        oKeysP->clear();
        for (const auto& [id, item] : mBinP->mItems)
        {
            if (id != 0 && item.mParent == mID)
                oKeysP->push_back(BDMTest_MakeKey(id, item.mFolder));
        }
    }

protected:
    BDM_Attribute* Fetch(const BDM_AttributeTag& iTag) override
    {
        ++mBinP->mFetches;
        const auto found = mBinP->mItems.find(mID);
        if (found == mBinP->mItems.end())
            return nullptr;
        const BDMTest_Bin::Item& item = found->second;
        const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
        if (iTag == t.cFileName)
            return new BDM_StringAttribute(t.cFileName, item.mName);
        if (iTag == t.cAssetType)
            return new BDM_TypedCachedAttribute<BDM_EAssetType>(
                t.cAssetType, mID == 0          ? mBinP->mRootType
                              : item.mFolder ? BDM_eAssetType_Folder
                                             : BDM_eAssetType_Audio);
        if (iTag == t.cFileTotalSize && !item.mFolder)
            return new BDM_TypedCachedAttribute<int64_t>(t.cFileTotalSize, item.mSize);
        return nullptr;
    }

private:
    BDMTest_Bin* mBinP;
    int32_t mID;
};
} // namespace

BDMTest_Bin::BDMTest_Bin(BDM_Cache* iCacheP) : BDM_Bin(iCacheP)
{
    mItems[0] = {0, "root", true, 0};
}

BDM_LazyObjectHandle BDMTest_Bin::CopyAsset(BDM_Bin&, const BDM_KeyHandle&, const BDM_KeyHandle&)
{
    return BDM_LazyObjectHandle(new BDM_DoNothingObject);
}

BDM_LazyObjectHandle BDMTest_Bin::MoveAsset(const BDM_KeyHandle&, const BDM_KeyHandle&)
{
    return BDM_LazyObjectHandle(new BDM_DoNothingObject);
}

BDM_Asset* BDMTest_Bin::GenerateAsset(const BDM_KeyHandle& iKey)
{
    const int32_t id = static_cast<const BDMTest_Key&>(*iKey).mID;
    if (mItems.count(id) == 0)
        return nullptr;
    ++mGenerated;
    return new TestAsset(this, id);
}

void BDMTest_Bin::DeleteAssetImpl(const BDM_KeyHandle& iKey)
{
    mItems.erase(static_cast<const BDMTest_Key&>(*iKey).mID);
}

bool BDMTest_Work::Load()
{
    if (mOnLoad)
        mOnLoad();
    if (!mThrow.empty())
        throw std::runtime_error(mThrow);
    if (mStepsLeft > 0)
    {
        --mStepsLeft;
        return false;
    }
    if (mLogP)
        mLogP->push_back(mName);
    return true;
}
