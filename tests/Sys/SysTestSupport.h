// Helpers shared by the tests of the platform layer: file contents and OS errors; also
// the headers that most of these tests use.
#pragma once

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "Sys_OSErrData.h"
#include "TestSupport.h"

using Bytes = std::vector<unsigned char>;

// iSize reproducible random bytes; the same seed gives the same prefix at any size.
inline Bytes Pattern(size_t iSize, uint32_t iSeed = 1)
{
    Bytes bytes(iSize);
    std::mt19937 random(iSeed);
    for (auto& b : bytes)
        b = static_cast<unsigned char>(random());
    return bytes;
}

// Bytes or text, in a file written and read without the library.
template <class Data> void WriteWholeFile(const std::string& iPath, const Data& iData)
{
    std::ofstream(iPath, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(iData.data()), std::streamsize(iData.size()));
}
template <class Data = Bytes> Data ReadWholeFile(const std::string& iPath)
{
    std::ifstream in(iPath, std::ios::binary);
    return Data(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline bool Exists(const std::string& iPath)
{
    return std::filesystem::exists(std::filesystem::symlink_status(iPath));
}

// The errno of the Sys_OSErrException that iAction throws and its text; {0, ""} when it
// throws nothing, {-1, text} when it throws something else.
inline std::pair<int32_t, std::string> ThrownError(const std::function<void()>& iAction)
{
    try
    {
        iAction();
    }
    catch (const Sys_OSErrException& e)
    {
        return {e.GetData().GetError(), e.what()};
    }
    catch (const std::exception& e)
    {
        return {-1, e.what()};
    }
    return {0, ""};
}

// Typed streams in one of the orders of Test_ByteOrders() (0 native, 1 little-endian,
// 2 big-endian, 3 cross-platform) over memory of their own.
struct Test_Out
{
    explicit Test_Out(size_t iOrder = 3) : mOut(Test_ByteOrders()[iOrder].mMakeOut(&mMem)) {}
    Sys_TypedOutStream& operator*() { return *mOut; }
    Sys_TypedOutStream* operator->() { return mOut.get(); }
    Bytes Get() const { return Test_Contents(mMem); }
    Cmn_MemBufferOutStream mMem;
    std::unique_ptr<Sys_TypedOutStream> mOut;
};
struct Test_In
{
    explicit Test_In(Bytes iBytes, size_t iOrder = 3)
        : mBytes(std::move(iBytes)), mMem(mBytes.data(), mBytes.data() + mBytes.size()),
          mIn(Test_ByteOrders()[iOrder].mMakeIn(&mMem))
    {
    }
    Sys_TypedInStream& operator*() { return *mIn; }
    Sys_TypedInStream* operator->() { return mIn.get(); }
    Bytes mBytes;
    Cmn_MemBufferInStream mMem;
    std::unique_ptr<Sys_TypedInStream> mIn;
};
