// Localisable failure data: a package, a string id and up to any number of inserts. The
// text is the message table's entry for resource id package x 100 + id, with "%1".."%9"
// replaced by the inserts.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Cmn_Exception.h"

class L10N_ExceptionData
{
public:
    L10N_ExceptionData(int32_t iPackageID, int32_t iStringID);
    L10N_ExceptionData(int32_t iPackageID, int32_t iStringID, const std::string& iInsert1);
    L10N_ExceptionData(int32_t iPackageID, int32_t iStringID, const std::string& iInsert1,
                       const std::string& iInsert2);
    L10N_ExceptionData(int32_t iPackageID, int32_t iStringID, const std::string& iInsert1,
                       const std::string& iInsert2, const std::string& iInsert3);
    virtual ~L10N_ExceptionData() = default;

    virtual int32_t GetNumInserts() const;
    // Throws std::out_of_range for a bad index.
    virtual std::string GetInsertAt(int32_t iIndex) const;

    int32_t GetPackageID() const { return mPackageID; }
    int32_t GetStringID() const { return mStringID; }
    // The message text with the inserts in place.
    std::string GetText() const;

protected:
    int32_t mPackageID;
    int32_t mStringID;
    std::vector<std::string> mInserts;
};

// Code for data that carries localisable text.
template <class T> class L10N_ExceptionCode : public Cmn_TypedExceptionCode<T>
{
public:
    void Print(std::ostream& ioStream, const T& iData) const override { ioStream << iData.GetText(); }
};

const L10N_ExceptionCode<L10N_ExceptionData>& L10N_GetExceptionCode();

using L10N_Exception = Cmn_TypedException<L10N_ExceptionData>;

// Throws L10N_Exception with a stack dump.
[[noreturn]] void L10N_Throw(const L10N_ExceptionData& iData);
[[noreturn]] void L10N_Throw(int32_t iPackageID, int32_t iStringID);
[[noreturn]] void L10N_Throw(int32_t iPackageID, int32_t iStringID, const std::string& iInsert1);

// True when iException is an L10N_Exception (or one of its subclasses' data) with this
// package and id.
bool L10N_IsException(const std::exception& iException, int32_t iPackageID, int32_t iStringID);
