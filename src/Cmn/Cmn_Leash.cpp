#include "Cmn_Leash.h"

Cmn_Leash* Cmn_Leash::GetNullLeashPtr()
{
    // Made on first use and never freed: holders in static objects may release it at any
    // time during shutdown. The extra reference keeps the count above zero for good.
    static Cmn_Leash* sNullLeashP = []
    {
        auto* leashP = new Cmn_Leash(nullptr);
        leashP->AddReference();
        return leashP;
    }();
    return sNullLeashP;
}

Cmn_LeashTie::Cmn_LeashTie(void* iTargetP) : mLeash(new Cmn_Leash(iTargetP)) {}
