#include "Time/Time_NotationDurationValue.h"

#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
#include "Sys_TypedStream.h"

Time_Tick Time_NotationDurationValue::GetTicks() const
{
    CMN_ASSERT(mNoteValue >= 1);
    const int32_t shift = mNoteValue - 1;
    int64_t ticks = shift >= 63 ? 0 : (Time_cInternalTicksPerWholeNote >> shift);
    if (mDotted)
        ticks += ticks / 2;
    if (mTuplet && mTupletDenominator != 0)
        ticks = ticks * mTupletNumerator / mTupletDenominator;
    return Time_Tick(ticks);
}

void Time_NotationDurationValue::MakeDurationValue(Time_Tick iTicks,
                                                   Time_NotationDurationValue& oValue)
{
    int32_t value = eNoteValue_SixtyFourth;
    int64_t length = Time_cInternalTicksPerWholeNote >> (eNoteValue_SixtyFourth - 1); // 60,000
    while (value > eNoteValue_Whole && length * 2 <= iTicks.AsInt64())
    {
        length *= 2;
        --value;
    }
    oValue.mNoteValue = value;
    oValue.mDotted = length * 3 / 2 <= iTicks.AsInt64();
    oValue.mTuplet = false;
    oValue.mTupletNumerator = 2;
    oValue.mTupletDenominator = 3;
}

void Time_NotationDurationValue::StreamOut(Sys_TypedOutStream& ioStream) const
{
    ioStream.Write(cStreamVersion);
    ioStream.Write(mNoteValue);
    ioStream.Write(mDotted);
    ioStream.Write(mTuplet);
    ioStream.Write(mTupletNumerator);
    ioStream.Write(mTupletDenominator);
}

void Time_NotationDurationValue::StreamIn(Sys_TypedInStream& ioStream)
{
    const int16_t version = ioStream.Read<int16_t>();
    if (version != cStreamVersion)
        L10N_Throw(14, 3); // "bad version encountered"
    Time_NotationDurationValue value;
    ioStream.Read(value.mNoteValue);
    ioStream.Read(value.mDotted);
    ioStream.Read(value.mTuplet);
    ioStream.Read(value.mTupletNumerator);
    ioStream.Read(value.mTupletDenominator);
    *this = value;
}
