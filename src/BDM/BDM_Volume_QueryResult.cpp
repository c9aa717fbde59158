#include "BDM/BDM_Volume_QueryResult.h"

#include <chrono>

#include "BDM/BDM_Volume.h"
#include "Cmn_Assert.h"

BDM_Volume_QueryResult::BDM_Volume_QueryResult(BDM_Volume& iVolume,
                                               std::unique_ptr<BDM_QueryResult> iInner)
    : mVolume(&iVolume), mInner(std::move(iInner))
{
    CMN_ASSERT(mInner);
}

BDM_Volume_QueryResult::~BDM_Volume_QueryResult() = default;

BDM_QueryResult::EResult BDM_Volume_QueryResult::Next(BDM_KeyHandle* oKeyP, int32_t iMilliseconds)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(iMilliseconds);
    for (int32_t left = iMilliseconds;;)
    {
        BDM_KeyHandle key;
        const EResult result = mInner->Next(&key, left);
        if (result != eResult_Delivered)
            return result;
        if (BDM_AssetHandle asset = mVolume->GetAsset(key))
        {
            mLast = asset;
            *oKeyP = key;
            return eResult_Delivered;
        }
        left = int32_t(
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count());
        if (left <= 0)
            return eResult_TimedOut;
    }
}
