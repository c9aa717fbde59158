#include "BDM/BDM_QueryResultIterator.h"

#include <chrono>

#include "BDM/BDM_Bin.h"
#include "BDM/BDM_QueryArea.h"
#include "Cmn_Assert.h"

BDM_QueryResultIterator::BDM_QueryResultIterator(std::unique_ptr<BDM_QueryResult> iResult,
                                                 BDM_Bin& iBin, bool iSkipOffline)
    : mResult(std::move(iResult)), mBin(&iBin), mSkipOffline(iSkipOffline)
{
    CMN_ASSERT(mResult);
    SetProgressUnitsType(BDM_TaskProgress::eUnitsType_Files);
}

BDM_QueryResultIterator::BDM_QueryResultIterator(std::unique_ptr<BDM_QueryArea_QueryResult> iResult,
                                                 bool iSkipOffline)
    : mAreaResultP(iResult.get()), mSkipOffline(iSkipOffline)
{
    mResult = std::move(iResult);
    CMN_ASSERT(mResult);
    SetProgressUnitsType(BDM_TaskProgress::eUnitsType_Files);
}

BDM_QueryResultIterator::~BDM_QueryResultIterator() = default;

bool BDM_QueryResultIterator::Load()
{
    if (mEnded)
        return true;
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline =
        Clock::now() + std::chrono::microseconds(cBudgetMicroseconds);
    for (;;)
    {
        const int64_t remainder =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (remainder < 1)
            break;
        BDM_KeyHandle key;
        const BDM_QueryResult::EResult result = mResult->Next(&key, int32_t(remainder));
        if (result == BDM_QueryResult::eResult_End)
        {
            mEnded = true;
            mResult.reset();
            mAreaResultP = nullptr;
            break;
        }
        if (result != BDM_QueryResult::eResult_Delivered)
        {
            CMN_ASSERT_TEXT(result == BDM_QueryResult::eResult_TimedOut,
                            "result == BDM_QueryResult::eResult_TimedOut");
            continue;
        }
        BDM_Bin* binP = mAreaResultP ? mAreaResultP->GetBinOfLastKey() : mBin.Get();
        CMN_ASSERT(binP && key);
        if (!mFound.insert(BDM_CacheKey(binP, key)).second)
            continue;
        BDM_AssetHandle asset = binP->GetAsset(key);
        if (!asset)
            continue; // went away since it matched
        if (mSkipOffline && key->GetType() == BDM_Key::eType_FS && !asset->IsOnline(true))
            continue;
        if (mTarget)
        {
            BDM_LazyObjectHandle copy = mTarget->CopyAsset(*binP, key, mTarget->GetRoot());
            AddDependency(copy.Get());
        }
        mResults.push_back({BDM_BinHandle(binP), key});
        UpdateUnitsToComplete(1); // the count of what was found
        UpdateUnitsCompleted(1);
    }
    // Copies made in this step load before the iterator counts as loaded.
    return mEnded && GetDependencies().empty();
}
