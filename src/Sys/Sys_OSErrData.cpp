#include "Sys_OSErrData.h"

#include <cstring>

#include "Cmn_Assert.h"
#include "Cmn_StackDump.h"
#include "L10N_Utils.h"

int32_t GetSysExceptionPackageID()
{
    return 1;
}

int32_t GetSysExceptionSystemErrorStringID()
{
    return 2;
}

Sys_OSErrData::Sys_OSErrData(int32_t iError, const std::string& iContext)
    : L10N_ExceptionData(GetSysExceptionPackageID(), GetSysExceptionSystemErrorStringID()),
      mError(iError), mContext(iContext)
{
}

std::string Sys_OSErrData::GetInsertAt(int32_t iIndex) const
{
    CMN_ASSERT(iIndex == 0);
    std::string text;
    if (mError >= 0)
    {
        char buffer[512];
        // The GNU strerror_r returns the text, which may or may not be in the buffer.
        const char* msg = strerror_r(mError, buffer, sizeof buffer);
        text = msg ? msg : "";
    }
    else
    {
        text = Mac_OSErrorCodes::GetMacOSErrDescription(static_cast<int16_t>(mError & 0xFFFF));
    }
    text += " (" + std::to_string(mError) + ")";
    if (!mContext.empty())
        text += " - " + mContext;
    return text;
}

const L10N_ExceptionCode<Sys_OSErrData>& Sys_GetOSErrCode()
{
    static const L10N_ExceptionCode<Sys_OSErrData> sCode;
    return sCode;
}

void Sys_ThrowIfOSErr(int32_t iError, const std::string& iContext)
{
    if (iError == 0)
        return;
    throw Sys_OSErrException(Sys_GetOSErrCode(), Sys_OSErrData(iError, iContext),
                             Cmn_StackDump::Create());
}

std::string Mac_OSErrorCodes::GetMacOSErrDescription(int16_t iCode)
{
    // Classic file-system codes and the message-table entries that describe them.
    static const struct
    {
        int16_t mCode;
        int32_t mResourceID;
    } sTable[] = {
        {-33, 559},  {-34, 558},  {-35, 557},  {-36, 556},   {-37, 555},  {-38, 554},
        {-39, 553},  {-40, 552},  {-42, 551},  {-43, 550},   {-44, 549},  {-45, 548},
        {-46, 547},  {-47, 546},  {-48, 545},  {-49, 544},   {-53, 543},  {-54, 542},
        {-57, 541},  {-59, 540},  {-60, 539},  {-61, 538},   {-120, 535}, {-121, 534},
        {-123, 533}, {-124, 532}, {-127, 531}, {-5000, 562},
    };
    for (const auto& row : sTable)
        if (row.mCode == iCode)
            return L10N_Utils::GetResourceString(row.mResourceID);
    return "Mac OS error";
}
