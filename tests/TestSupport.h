// Helpers shared by the test programs.
#pragma once

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "Cmn_Assert.h"
#include "Cmn_MemBufferStream.h"
#include "L10N_ExceptionData.h"
#include "Sys_TypedStream.h"

// A fresh folder under the system's temporary folder, removed with everything in it.
class Test_TempDir
{
public:
    Test_TempDir()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "mirafile-test-XXXXXX").string();
        if (!::mkdtemp(pattern.data()))
            std::abort();
        mPath = pattern;
    }
    ~Test_TempDir()
    {
        std::error_code ec;
        std::filesystem::remove_all(mPath, ec);
    }
    Test_TempDir(const Test_TempDir&) = delete;
    Test_TempDir& operator=(const Test_TempDir&) = delete;
    const std::string& Path() const { return mPath; }

private:
    std::string mPath;
};

// Whether iAction throws the L10N exception iPackage/iID.
template <class F>
testing::AssertionResult Test_ThrowsL10N(F&& iAction, int32_t iPackage, int32_t iID)
{
    try
    {
        iAction();
    }
    catch (const std::exception& e)
    {
        if (L10N_IsException(e, iPackage, iID))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "threw another exception: " << e.what();
    }
    return testing::AssertionFailure() << "threw nothing";
}

// Whether iAction fails the assertion whose expression text is iExpr.
template <class F> testing::AssertionResult Test_Asserts(F&& iAction, const std::string& iExpr)
{
    try
    {
        iAction();
    }
    catch (const Cmn_AssertException& e)
    {
        if (std::string(e.what()).find("Assertion in \"" + iExpr + "\"") != std::string::npos)
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "another assertion: " << e.what();
    }
    catch (const std::exception& e)
    {
        return testing::AssertionFailure() << "threw another exception: " << e.what();
    }
    return testing::AssertionFailure() << "threw nothing";
}

// What a memory out stream holds.
inline std::vector<unsigned char> Test_Contents(const Cmn_MemBufferOutStream& iOut)
{
    return std::vector<unsigned char>(iOut.GetBuffer(), iOut.GetBuffer() + iOut.GetEndPos());
}

// One of the four named byte orders of the typed streams.
struct Test_ByteOrder
{
    const char* mName;
    bool mBigEndian;
    std::function<std::unique_ptr<Sys_TypedOutStream>(Cmn_OutStream*)> mMakeOut;
    std::function<std::unique_ptr<Sys_TypedInStream>(Cmn_InStream*)> mMakeIn;
};

inline void PrintTo(const Test_ByteOrder& iOrder, std::ostream* oStream)
{
    *oStream << iOrder.mName;
}

template <class Out, class In> Test_ByteOrder Test_MakeByteOrder(const char* iName, bool iBig)
{
    return {iName, iBig,
            [](Cmn_OutStream* iStreamP) -> std::unique_ptr<Sys_TypedOutStream>
            { return std::make_unique<Out>(iStreamP); },
            [](Cmn_InStream* iStreamP) -> std::unique_ptr<Sys_TypedInStream>
            { return std::make_unique<In>(iStreamP); }};
}

// Native, little-endian, big-endian and cross-platform, in that order.
inline const std::vector<Test_ByteOrder>& Test_ByteOrders()
{
    static const std::vector<Test_ByteOrder> sOrders = {
        Test_MakeByteOrder<Sys_NativeOutStream, Sys_NativeInStream>("Native", std::endian::native ==
                                                                                  std::endian::big),
        Test_MakeByteOrder<Sys_LittleEndianOutStream, Sys_LittleEndianInStream>("LittleEndian",
                                                                                false),
        Test_MakeByteOrder<Sys_BigEndianOutStream, Sys_BigEndianInStream>("BigEndian", true),
        Test_MakeByteOrder<Sys_CrossPlatformOutStream, Sys_CrossPlatformInStream>("CrossPlatform",
                                                                                  true)};
    return sOrders;
}
