#include "BDM/BDM_Iterator.h"

#include "BDM/BDM_AudioOverview.h"
#include "L10N_Utils.h"

class BDM_Iterator::ChildClient : public BDM_Asset::ChildEnumerator::Client
{
public:
    explicit ChildClient(BDM_Iterator& iIterator) : mIteratorP(&iIterator) {}
    void HandleChild(const BDM_KeyHandle& iKey) override { mIteratorP->HandleChild(iKey); }

private:
    BDM_Iterator* mIteratorP;
};

BDM_Iterator::BDM_Iterator(BDM_Bin& iBin, const BDM_KeyHandle& iLocalRoot)
    : mBin(&iBin), mLocalRoot(iLocalRoot)
{
}

void BDM_Iterator::PrepareForPass(BDM_Iterator* iIteratorP)
{
    CMN_ASSERT(iIteratorP == this);
    // Progress starts again; every kept operator runs again in this pass.
    UpdateUnitsToComplete(-GetProgress().mUnitsToComplete);
    UpdateUnitsCompleted(-GetProgress().mUnitsCompleted);
    for (const BDM_LazyObjectHandle& op : mOperators)
        if (!op->IsLoaded())
            AddDependency(op.Get());
    for (const BDM_LazyObjectHandle& iterator : mIterators)
        static_cast<BDM_Iterator&>(*iterator).PrepareForPass(
            static_cast<BDM_Iterator*>(iterator.Get()));
}

bool BDM_Iterator::Load()
{
    if (mMultiPass && mStage < 3)
        PrepareForPass(this);
    switch (mStage)
    {
    case 0:
        if (BDM_LazyObjectHandle pre = GetPreprocess())
            AddDependency(pre.Get());
        mStage = 1;
        return false;
    case 1:
    {
        mLocalRootAsset = mBin->GetAsset(mLocalRoot);
        bool operatorIsIterator = false;
        mLocalRootOperator = CreateOperator(mLocalRoot, nullptr, &operatorIsIterator);
        CMN_ASSERT(!operatorIsIterator);
        if (mLocalRootOperator)
            AddDependency(mLocalRootOperator.Get());
        if (mLocalRootAsset && mLocalRootAsset->IsContainer())
        {
            BDM_LazyObjectHandle enumerator =
                mLocalRootAsset->EnumerateChildren(std::make_unique<ChildClient>(*this));
            if (!enumerator->IsLoaded())
                AddDependency(enumerator.Get());
        }
        mStage = 2;
        return false;
    }
    case 2:
        for (const BDM_LazyObjectHandle& iterator : mIterators)
            AddDependency(iterator.Get());
        mStage = 3;
        return false;
    case 3:
        if (!mLastPassTaken && !mPostponed.empty())
        {
            mLastPassTaken = true;
            UpdateUnitsToComplete(-GetProgress().mUnitsToComplete);
            UpdateUnitsCompleted(-GetProgress().mUnitsCompleted);
            for (const BDM_LazyObjectHandle& op : mPostponed)
                AddCounted(op);
            return false;
        }
        if (BDM_LazyObjectHandle post = GetPostProcess())
            AddDependency(post.Get());
        mStage = 4;
        return false;
    default:
        mLocalRootAsset.Reset();
        return true;
    }
}

void BDM_Iterator::HandleChild(const BDM_KeyHandle& iKey)
{
    StSetLoadContext context(this);
    bool isIterator = false;
    BDM_LazyObjectHandle op = CreateOperator(iKey, mLocalRootAsset.Get(), &isIterator);
    if (!op)
        return;
    if (isIterator)
    {
        static_cast<BDM_Iterator&>(*op).mPassOwnerP = PassOwner();
        mIterators.push_back(op);
        return;
    }
    AddCounted(op);
    mOperators.push_back(op);
}

void BDM_Iterator::AddCounted(const BDM_LazyObjectHandle& iOperator)
{
    // A leaf that counts no units of its own is one unit of the walk.
    const bool counted =
        iOperator->GetProgressUnitsType() == BDM_TaskProgress::eUnitsType_Undefined;
    if (counted)
        UpdateUnitsToComplete(1);
    AddDependency(iOperator.Get());
    if (counted && iOperator->IsLoaded())
        UpdateUnitsCompleted(1);
}

void BDM_Iterator::PostponeToLastPass(const BDM_LazyObjectHandle& iOperator)
{
    PassOwner()->mPostponed.push_back(iOperator);
}

// ---- BDM_RecursiveWorker -----------------------------------------------------------------

BDM_RecursiveWorker::BDM_RecursiveWorker(BDM_Bin& iBin, const BDM_KeyHandle& iRoot,
                                         std::shared_ptr<WorkFactory> iFactory)
    : BDM_Iterator(iBin, iRoot), mFactory(std::move(iFactory))
{
    SetMultiPass(true);
}

BDM_LazyObjectHandle BDM_RecursiveWorker::CreateOperator(const BDM_KeyHandle& iKey, BDM_Asset*,
                                                         bool* oIsIteratorP)
{
    *oIsIteratorP = false;
    const bool isRoot = iKey.Get() == GetLocalRoot().Get() ||
                        (iKey->GetType() == GetLocalRoot()->GetType() &&
                         !iKey->IsLessThan(*GetLocalRoot()) && !GetLocalRoot()->IsLessThan(*iKey));
    if (!isRoot && !iKey->IsFolder() && mFactory->IsForLastPass(GetBin(), iKey))
    {
        PostponeToLastPass(mFactory->CreateWork(GetBin(), iKey));
        return BDM_LazyObjectHandle();
    }
    if (isRoot || !iKey->IsFolder())
        return mFactory->CreateWork(GetBin(), iKey);
    BDM_RecursiveWorker* workerP = new BDM_RecursiveWorker(GetBin(), iKey, mFactory);
    workerP->SetMultiPass(false);
    *oIsIteratorP = true;
    return BDM_LazyObjectHandle(workerP);
}

// ---- BDM_OverviewRecalculator ------------------------------------------------------------

BDM_LazyObjectHandle BDM_OverviewRecalculator::CreateWork(BDM_Bin& iBin, const BDM_KeyHandle& iKey)
{
    BDM_AssetHandle asset = iBin.GetAsset(iKey);
    FF_AudioOverview::LockingRef overview;
    if (!asset || asset->GetType() != BDM_eAssetType_Audio ||
        asset->GetAttributeValue(BDM_AttributeTags::Instance()->cAudioOverview, &overview))
        return BDM_LazyObjectHandle(new BDM_DoNothingObject);
    return BDM_LazyObjectHandle(new BDM_CalculateAudioOverview(*asset));
}

std::string BDM_OverviewRecalculator::GetDescription() const
{
    return L10N_Utils::GetResourceString(1246);
}

// ---- BDM_RecursiveAssetDeleter -----------------------------------------------------------

namespace
{
// Deletes one item of a bin when it loads.
class Deleter : public BDM_LazyObject
{
public:
    Deleter(BDM_Bin& iBin, const BDM_KeyHandle& iKey) : mBin(&iBin), mKey(iKey) {}

protected:
    bool Load() override
    {
        mBin->DeleteAsset(mKey);
        return true;
    }

private:
    BDM_BinHandle mBin;
    BDM_KeyHandle mKey;
};

bool SameKey(const BDM_KeyHandle& iLhs, const BDM_KeyHandle& iRhs)
{
    return iLhs.Get() == iRhs.Get() || (iLhs->GetType() == iRhs->GetType() &&
                                        !iLhs->IsLessThan(*iRhs) && !iRhs->IsLessThan(*iLhs));
}
} // namespace

BDM_RecursiveAssetDeleter::BDM_RecursiveAssetDeleter(BDM_Bin& iBin, const BDM_KeyHandle& iRoot)
    : BDM_Iterator(iBin, iRoot)
{
}

BDM_LazyObjectHandle BDM_RecursiveAssetDeleter::CreateOperator(const BDM_KeyHandle& iKey,
                                                               BDM_Asset*, bool* oIsIteratorP)
{
    *oIsIteratorP = false;
    if (SameKey(iKey, GetLocalRoot()))
        return BDM_LazyObjectHandle(new BDM_DoNothingObject);
    if (!GetBin().CanDeleteAsset(iKey))
        return BDM_LazyObjectHandle(new BDM_DoNothingObject);
    if (iKey->IsFolder())
    {
        *oIsIteratorP = true;
        return BDM_LazyObjectHandle(new BDM_RecursiveAssetDeleter(GetBin(), iKey));
    }
    return BDM_LazyObjectHandle(new Deleter(GetBin(), iKey));
}

BDM_LazyObjectHandle BDM_RecursiveAssetDeleter::GetPostProcess()
{
    if (!GetBin().CanDeleteAsset(GetLocalRoot()))
        return BDM_LazyObjectHandle();
    return BDM_LazyObjectHandle(new Deleter(GetBin(), GetLocalRoot()));
}

// ---- BDM_RecursiveAssetCopier ------------------------------------------------------------

BDM_RecursiveAssetCopier::BDM_RecursiveAssetCopier(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcRoot,
                                                   BDM_Bin& iDstBin,
                                                   const BDM_KeyHandle& iDstParent)
    : BDM_Iterator(iSrcBin, iSrcRoot), mDstBin(&iDstBin), mDstParent(iDstParent)
{
}

void BDM_RecursiveAssetCopier::SetPostProcess(const PostProcessHandle& iPostProcess)
{
    mPostProcess = iPostProcess;
    if (mPostProcess)
        mPostProcess->mCopierP = this;
}

BDM_LazyObjectHandle BDM_RecursiveAssetCopier::GetPostProcess()
{
    return BDM_LazyObjectHandle(mPostProcess.Get());
}

BDM_LazyObjectHandle BDM_RecursiveAssetCopier::CreateOperator(const BDM_KeyHandle& iKey, BDM_Asset*,
                                                              bool* oIsIteratorP)
{
    *oIsIteratorP = false;
    if (SameKey(iKey, GetLocalRoot()))
    {
        if (!iKey->IsFolder())
        {
            // A single file: the copy is the whole work.
            return mDstBin->CopyAsset(GetBin(), iKey, mDstParent);
        }
        BDM_AssetHandle root = GetBin().GetAsset(iKey);
        CMN_ASSERT(root);
        mCopiedRoot = mDstBin->CreateFolder(mDstParent, root->GetName());
        return BDM_LazyObjectHandle(new BDM_DoNothingObject);
    }
    if (iKey->IsFolder())
    {
        *oIsIteratorP = true;
        return BDM_LazyObjectHandle(
            new BDM_RecursiveAssetCopier(GetBin(), iKey, *mDstBin, mCopiedRoot));
    }
    return mDstBin->CopyAsset(GetBin(), iKey, mCopiedRoot);
}
