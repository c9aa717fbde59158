// One range kept in all three scales at once: a begin and an end per Time_EType.
//
// SetBegin and SetEnd store a value into the slot of its own type only; the other slots keep
// what they had. Every slot starts as 0 of its type. GetLength is end minus begin of the asked
// type. A type outside the enumeration asserts.
//
// The constructor from a tempo map fills the sample and tick slots by converting both ends
// with the map's TimeTypedToSpecifiedType(value, type); it is a template so that this header
// does not depend on the tempo map.
#pragma once

#include "Time/Time_Typed.h"

class Time_AllTypesRange
{
public:
    Time_AllTypesRange();
    // Stores the two values in the slots of their own types.
    Time_AllTypesRange(const Time_Typed& iBegin, const Time_Typed& iEnd);
    template <class TempoMap>
    Time_AllTypesRange(const Time_Typed& iBegin, const Time_Typed& iEnd, const TempoMap& iTempoMap)
        : Time_AllTypesRange(iBegin, iEnd)
    {
        SetTypeUsingTempoMap(Time_eType_Samples, iBegin, iEnd, iTempoMap);
        SetTypeUsingTempoMap(Time_eType_Ticks, iBegin, iEnd, iTempoMap);
    }

    template <class TempoMap>
    void SetTypeUsingTempoMap(Time_EType iType, const Time_Typed& iBegin, const Time_Typed& iEnd,
                              const TempoMap& iTempoMap)
    {
        SetBegin(Time_Typed(iTempoMap.TimeTypedToSpecifiedType(iBegin, iType)));
        SetEnd(Time_Typed(iTempoMap.TimeTypedToSpecifiedType(iEnd, iType)));
    }

    void SetBegin(const Time_Typed& iBegin);
    void SetEnd(const Time_Typed& iEnd);
    const Time_Typed& GetBegin(Time_EType iType) const;
    const Time_Typed& GetEnd(Time_EType iType) const;
    Time_TypedLength GetLength(Time_EType iType) const;

private:
    static size_t Slot(Time_EType iType);

    Time_Typed mBegin[3];
    Time_Typed mEnd[3];
};
