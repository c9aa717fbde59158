// Helpers shared by every test program (built once into the test support library):
// temporary folders, failures of the library's kinds, memory and typed streams.
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
#include <set>
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
    Test_TempDir();
    ~Test_TempDir();
    Test_TempDir(const Test_TempDir&) = delete;
    Test_TempDir& operator=(const Test_TempDir&) = delete;
    const std::string& Path() const { return mPath; }

private:
    std::string mPath;
};

// The names in a folder.
inline std::set<std::string> Test_FolderNames(const std::string& iFolder)
{
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(iFolder))
        names.insert(entry.path().filename().string());
    return names;
}

// Whether iAction throws the L10N exception iPackage/iID.
testing::AssertionResult Test_ThrowsL10N(const std::function<void()>& iAction, int32_t iPackage,
                                         int32_t iID);

// Whether iAction fails the assertion whose expression text is iExpr.
testing::AssertionResult Test_Asserts(const std::function<void()>& iAction, const std::string& iExpr);

// The text of what iAction threw, or "" when it did not throw.
std::string ThrownText(const std::function<void()>& iAction);

// What a memory out stream holds.
std::vector<unsigned char> Test_Contents(const Cmn_MemBufferOutStream& iOut);

// One of the four named byte orders of the typed streams.
struct Test_ByteOrder
{
    const char* mName;
    bool mBigEndian;
    std::function<std::unique_ptr<Sys_TypedOutStream>(Cmn_OutStream*)> mMakeOut;
    std::function<std::unique_ptr<Sys_TypedInStream>(Cmn_InStream*)> mMakeIn;
};

void PrintTo(const Test_ByteOrder& iOrder, std::ostream* oStream);

// Native, little-endian, big-endian and cross-platform, in that order.
const std::vector<Test_ByteOrder>& Test_ByteOrders();
