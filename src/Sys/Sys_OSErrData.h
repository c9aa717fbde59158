// Failure data of an operating-system call: an error number and a context. Its one insert
// is the system's message for the number (errno text here; for a negative number, the
// description of a classic Mac OS error code on its low 16 bits), then " (" number ")", then
// " - " and the context when there is one.
#pragma once

#include <cstdint>
#include <string>

#include "L10N_ExceptionData.h"

int32_t GetSysExceptionPackageID();          // 1
int32_t GetSysExceptionSystemErrorStringID(); // 2, whose text is "%1"

class Sys_OSErrData : public L10N_ExceptionData
{
public:
    Sys_OSErrData(int32_t iError, const std::string& iContext);

    int32_t GetNumInserts() const override { return 1; }
    std::string GetInsertAt(int32_t iIndex) const override;

    int32_t GetError() const { return mError; }
    const std::string& GetContext() const { return mContext; }

private:
    int32_t mError;
    std::string mContext;
};

const L10N_ExceptionCode<Sys_OSErrData>& Sys_GetOSErrCode();
using Sys_OSErrException = Cmn_TypedException<Sys_OSErrData>;

// Throws Sys_OSErrException when iError is not zero (an errno value on this host).
void Sys_ThrowIfOSErr(int32_t iError, const std::string& iContext);

class Mac_OSErrorCodes
{
public:
    // The text for a classic Mac OS error code, or "Mac OS error" when it is not known.
    static std::string GetMacOSErrDescription(int16_t iCode);
};
