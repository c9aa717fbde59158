#include "BDM/BDM_Key.h"

void BDM_KeyRefCountHack::AddReference(BDM_Key* iP)
{
    iP->AddReference();
}

void BDM_KeyRefCountHack::RemoveReference(BDM_Key* iP)
{
    iP->RemoveReference();
}
