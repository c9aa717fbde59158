#include "Time/Time_AllTypesRange.h"

#include "Cmn_Assert.h"

Time_AllTypesRange::Time_AllTypesRange()
{
    for (int32_t type = Time_eType_Samples; type <= Time_eType_Frames; ++type)
    {
        mBegin[type] = Time_Typed(0, static_cast<Time_EType>(type));
        mEnd[type] = Time_Typed(0, static_cast<Time_EType>(type));
    }
}

Time_AllTypesRange::Time_AllTypesRange(const Time_Typed& iBegin, const Time_Typed& iEnd)
    : Time_AllTypesRange()
{
    SetBegin(iBegin);
    SetEnd(iEnd);
}

size_t Time_AllTypesRange::Slot(Time_EType iType)
{
    CMN_ASSERT(iType >= Time_eType_Samples && iType <= Time_eType_Frames);
    return static_cast<size_t>(iType);
}

void Time_AllTypesRange::SetBegin(const Time_Typed& iBegin)
{
    mBegin[Slot(iBegin.GetType())] = iBegin;
}

void Time_AllTypesRange::SetEnd(const Time_Typed& iEnd)
{
    mEnd[Slot(iEnd.GetType())] = iEnd;
}

const Time_Typed& Time_AllTypesRange::GetBegin(Time_EType iType) const
{
    return mBegin[Slot(iType)];
}

const Time_Typed& Time_AllTypesRange::GetEnd(Time_EType iType) const
{
    return mEnd[Slot(iType)];
}

Time_TypedLength Time_AllTypesRange::GetLength(Time_EType iType) const
{
    return Time_TypedLength::GetLength(GetBegin(iType), GetEnd(iType));
}
