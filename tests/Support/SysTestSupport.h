// Helpers of the tests of the operating-system layer: OS errors, files, typed streams over
// memory; also the headers that most of these tests use.
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
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "Support/ByteSupport.h"
#include "Support/TestSupport.h"
#include "Sys_OSErrData.h"

// Whether something (a file, a folder, a dangling link) is at iPath.
bool Exists(const std::string& iPath);

// The errno of the Sys_OSErrException that iAction throws and its text; {0, ""} when it
// throws nothing, {-1, text} when it throws something else.
std::pair<int32_t, std::string> ThrownError(const std::function<void()>& iAction);

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

// Fault injection at the file layer. While one lives, every Sys_File made through the
// creation hook counts its writes (Write and SetEOF) in one counter, and the iFailAt-th
// write (from 1; 0: none) throws EIO before it changes anything. Walking iFailAt from 1 until
// an operation runs through shows what each failed write leaves behind.
class Test_FailingWrites
{
public:
    explicit Test_FailingWrites(int64_t iFailAt);
    ~Test_FailingWrites();
    Test_FailingWrites(const Test_FailingWrites&) = delete;
    Test_FailingWrites& operator=(const Test_FailingWrites&) = delete;
    // Writes counted so far, and whether the chosen one was reached.
    int64_t Count() const;
    bool Failed() const;
};
