// The abstract frame of searches: a predicate built by a bin's own factory, and the result
// that a bin's Query hands out key by key within a time budget.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "BDM/BDM_Attribute.h"
#include "BDM/BDM_Key.h"
#include "Cmn_RefCountObject.h"

class BDM_Predicate : public Cmn_RefCountObject
{
public:
    ~BDM_Predicate() override = default;
    // The bin kind whose factory made it (adapters check it before they cast).
    virtual BDM_Key::EType GetKeyType() const = 0;
};
using BDM_PredicateHandle = Cmn_AliasedRefCountPtr<BDM_Predicate>;

class BDM_PredicateFactory
{
public:
    // 0 to 5 compare (equal, not equal, less, less or equal, greater, greater or equal); 6, on
    // strings, contains (ASCII case ignored).
    enum ERelation : int32_t
    {
        eRelation_Equal = 0,
        eRelation_NotEqual = 1,
        eRelation_Less = 2,
        eRelation_LessOrEqual = 3,
        eRelation_Greater = 4,
        eRelation_GreaterOrEqual = 5,
        eRelation_Contains = 6
    };

    virtual ~BDM_PredicateFactory() = default;
    virtual BDM_PredicateHandle MakePredicate(const BDM_AttributeValue& iValue,
                                              ERelation iRelation) = 0;
    virtual BDM_PredicateHandle And(const BDM_PredicateHandle& iLeft,
                                    const BDM_PredicateHandle& iRight) = 0;
    virtual BDM_PredicateHandle Or(const BDM_PredicateHandle& iLeft,
                                   const BDM_PredicateHandle& iRight) = 0;
};

class BDM_QueryResult
{
public:
    enum EResult : int32_t
    {
        eResult_Delivered = 0,
        eResult_TimedOut = 1,
        eResult_End = 2
    };
    virtual ~BDM_QueryResult() = default;
    // The next matching key into *oKeyP (0), or 1 when iMilliseconds ran out first, or 2 at
    // the end.
    virtual EResult Next(BDM_KeyHandle* oKeyP, int32_t iMilliseconds) = 0;
};
