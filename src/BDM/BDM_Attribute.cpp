#include "BDM/BDM_Attribute.h"

#include "BDM/BDM_Utils.h"

template <> bool BDM_ValueLess(const BDM_Link&, const BDM_Link&)
{
    CMN_ASSERT(false);
    return false;
}

template <> bool BDM_ValueEqual(const BDM_Link&, const BDM_Link&)
{
    CMN_ASSERT(false);
    return false;
}

namespace
{
const void* StoreOf(const FF_AudioOverview::LockingRef& iRef)
{
    return iRef ? static_cast<const void*>(iRef->GetStore()) : nullptr;
}
} // namespace

template <>
bool BDM_ValueLess(const FF_AudioOverview::LockingRef& iLhs,
                   const FF_AudioOverview::LockingRef& iRhs)
{
    return std::less<const void*>()(StoreOf(iLhs), StoreOf(iRhs));
}

template <>
bool BDM_ValueEqual(const FF_AudioOverview::LockingRef& iLhs,
                    const FF_AudioOverview::LockingRef& iRhs)
{
    return StoreOf(iLhs) == StoreOf(iRhs);
}

bool BDM_StringAttribute::Less(const std::string& iLhs, const std::string& iRhs) const
{
    return BDM_Utils::NameLess(iLhs, iRhs);
}

bool BDM_StringAttribute::Equal(const std::string& iLhs, const std::string& iRhs) const
{
    return BDM_Utils::NamesEqual(iLhs, iRhs);
}
