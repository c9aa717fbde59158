#include "Time/Time_Meter.h"

#include "Cmn_Assert.h"
#include "Time/Time_BarBeatTick.h"

Time_Meter::Time_Meter(int32_t iNumerator, int32_t iDenominator)
    : mNumerator(iNumerator), mDenominator(iDenominator)
{
    CMN_ASSERT(iNumerator >= 1);
    CMN_ASSERT(iDenominator >= 1);
}

Time_Meter::Time_Meter(int32_t iNumerator, int32_t iDenominator,
                       const Time_NotationDurationValue& iClickInterval)
    : mNumerator(iNumerator), mDenominator(iDenominator), mClickInterval(iClickInterval)
{
    CMN_ASSERT(iNumerator >= 1);
    CMN_ASSERT(iDenominator >= 1);
}

Time_Tick Time_Meter::ComputeOffsetIntoBar(const Time_BarBeatTick& iBBT) const
{
    const int64_t beats = int64_t(iBBT.mBeat) - 1;
    const int64_t bar = GetBarDuration().AsInt64();
    return Time_Tick((beats / mNumerator) * bar + (beats % mNumerator) * bar / mNumerator +
                     iBBT.mTick.AsInt64());
}
