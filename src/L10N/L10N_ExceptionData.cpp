#include "L10N_ExceptionData.h"

#include <stdexcept>

#include "Cmn_StackDump.h"
#include "L10N_Utils.h"

L10N_ExceptionData::L10N_ExceptionData(int32_t iPackageID, int32_t iStringID)
    : mPackageID(iPackageID), mStringID(iStringID)
{
}

L10N_ExceptionData::L10N_ExceptionData(int32_t iPackageID, int32_t iStringID,
                                       const std::string& iInsert1)
    : mPackageID(iPackageID), mStringID(iStringID), mInserts{iInsert1}
{
}

L10N_ExceptionData::L10N_ExceptionData(int32_t iPackageID, int32_t iStringID,
                                       const std::string& iInsert1, const std::string& iInsert2)
    : mPackageID(iPackageID), mStringID(iStringID), mInserts{iInsert1, iInsert2}
{
}

L10N_ExceptionData::L10N_ExceptionData(int32_t iPackageID, int32_t iStringID,
                                       const std::string& iInsert1, const std::string& iInsert2,
                                       const std::string& iInsert3)
    : mPackageID(iPackageID), mStringID(iStringID), mInserts{iInsert1, iInsert2, iInsert3}
{
}

int32_t L10N_ExceptionData::GetNumInserts() const
{
    return static_cast<int32_t>(mInserts.size());
}

std::string L10N_ExceptionData::GetInsertAt(int32_t iIndex) const
{
    if (iIndex < 0 || static_cast<size_t>(iIndex) >= mInserts.size())
        throw std::out_of_range("L10N_ExceptionData::GetInsertAt");
    return mInserts[static_cast<size_t>(iIndex)];
}

std::string L10N_ExceptionData::GetText() const
{
    std::vector<std::string> inserts;
    for (int32_t i = 0; i < GetNumInserts(); ++i)
        inserts.push_back(GetInsertAt(i));
    return L10N_Utils::GetText(mPackageID, mStringID, inserts);
}

const L10N_ExceptionCode<L10N_ExceptionData>& L10N_GetExceptionCode()
{
    static const L10N_ExceptionCode<L10N_ExceptionData> sCode;
    return sCode;
}

void L10N_Throw(const L10N_ExceptionData& iData)
{
    throw L10N_Exception(L10N_GetExceptionCode(), iData, Cmn_StackDump::Create());
}

void L10N_Throw(int32_t iPackageID, int32_t iStringID)
{
    L10N_Throw(L10N_ExceptionData(iPackageID, iStringID));
}

void L10N_Throw(int32_t iPackageID, int32_t iStringID, const std::string& iInsert1)
{
    L10N_Throw(L10N_ExceptionData(iPackageID, iStringID, iInsert1));
}

namespace
{
// Failures of the module below this one (Cmn) are thrown as ours from the library's load on.
[[maybe_unused]] const Cmn_LocalisedThrowMethod sPreviousCmnThrow =
    Cmn_SetLocalisedThrowMethod([](int32_t iPackageID, int32_t iStringID)
                                { L10N_Throw(iPackageID, iStringID); });
} // namespace

bool L10N_IsException(const std::exception& iException, int32_t iPackageID, int32_t iStringID)
{
    const auto* p = dynamic_cast<const L10N_Exception*>(&iException);
    return p && p->GetData().GetPackageID() == iPackageID && p->GetData().GetStringID() == iStringID;
}
