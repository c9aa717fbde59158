#include "Cmn_StackDump.h"

Cmn_StackDump::CreateMethod Cmn_StackDump::sCreateMethod = nullptr;

Cmn_StackDump* Cmn_StackDump::Create()
{
    return sCreateMethod ? sCreateMethod() : new Cmn_StackDumpNull;
}

Cmn_StackDump::CreateMethod Cmn_StackDump::SetCreateMethod(CreateMethod iMethod)
{
    CreateMethod old = sCreateMethod;
    sCreateMethod = iMethod;
    return old;
}
