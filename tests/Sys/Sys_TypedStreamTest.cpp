// Sys_TypedInStream, Sys_TypedOutStream and their named byte orders.
#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "Cmn_Assert.h"
#include "Cmn_MemBufferStream.h"
#include "L10N_ExceptionData.h"
#include "Sys_TypedStream.h"

// ---- the largest allocation, to show that a lying length allocates nothing big -----------
//
// The replacement of the global operator new records the largest request while a
// LargestAllocation object lives; it otherwise only forwards to malloc.

namespace
{
std::atomic<bool> gTrackAllocations{false};
std::atomic<size_t> gLargestAllocation{0};

class LargestAllocation
{
public:
    LargestAllocation()
    {
        gLargestAllocation = 0;
        gTrackAllocations = true;
    }
    ~LargestAllocation() { gTrackAllocations = false; }
    size_t Get() const { return gLargestAllocation; }
};
} // namespace

// The replacement pair below is malloc/free on purpose; GCC cannot see that they match.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t iSize)
{
    if (gTrackAllocations)
    {
        size_t largest = gLargestAllocation;
        while (iSize > largest && !gLargestAllocation.compare_exchange_weak(largest, iSize))
        {
        }
    }
    if (void* p = std::malloc(iSize ? iSize : 1))
        return p;
    throw std::bad_alloc();
}
void operator delete(void* iP) noexcept
{
    std::free(iP);
}
void operator delete(void* iP, std::size_t) noexcept
{
    std::free(iP);
}

namespace
{

using Bytes = std::vector<unsigned char>;

template <class F> testing::AssertionResult ThrowsL10N(F iAction, int32_t iPackage, int32_t iID)
{
    try
    {
        iAction();
    }
    catch (const std::exception& e)
    {
        if (L10N_IsException(e, iPackage, iID))
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "threw another exception: " << e.what();
    }
    return ::testing::AssertionFailure() << "threw nothing";
}

template <class F> testing::AssertionResult Asserts(F iAction, const std::string& iExpr)
{
    try
    {
        iAction();
    }
    catch (const Cmn_AssertException& e)
    {
        if (std::string(e.what()).find("\"" + iExpr + "\"") != std::string::npos)
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "another assertion: " << e.what();
    }
    catch (const std::exception& e)
    {
        return ::testing::AssertionFailure() << "threw another exception: " << e.what();
    }
    return ::testing::AssertionFailure() << "threw nothing";
}

Bytes Contents(const Cmn_MemBufferOutStream& iOut)
{
    return Bytes(iOut.GetBuffer(), iOut.GetBuffer() + iOut.GetEndPos());
}

// ---- the four named byte orders ----------------------------------------------------------

enum class Order
{
    Native,
    LittleEndian,
    BigEndian,
    CrossPlatform
};

const char* OrderName(Order iOrder)
{
    switch (iOrder)
    {
    case Order::Native:
        return "Native";
    case Order::LittleEndian:
        return "LittleEndian";
    case Order::BigEndian:
        return "BigEndian";
    case Order::CrossPlatform:
        return "CrossPlatform";
    }
    return "?";
}

bool IsBigEndian(Order iOrder)
{
    switch (iOrder)
    {
    case Order::Native:
        return std::endian::native == std::endian::big;
    case Order::LittleEndian:
        return false;
    case Order::BigEndian:
    case Order::CrossPlatform:
        return true;
    }
    return false;
}

std::unique_ptr<Sys_TypedOutStream> MakeOut(Order iOrder, Cmn_OutStream* iStreamP)
{
    switch (iOrder)
    {
    case Order::Native:
        return std::make_unique<Sys_NativeOutStream>(iStreamP);
    case Order::LittleEndian:
        return std::make_unique<Sys_LittleEndianOutStream>(iStreamP);
    case Order::BigEndian:
        return std::make_unique<Sys_BigEndianOutStream>(iStreamP);
    case Order::CrossPlatform:
        return std::make_unique<Sys_CrossPlatformOutStream>(iStreamP);
    }
    return nullptr;
}

std::unique_ptr<Sys_TypedInStream> MakeIn(Order iOrder, Cmn_InStream* iStreamP)
{
    switch (iOrder)
    {
    case Order::Native:
        return std::make_unique<Sys_NativeInStream>(iStreamP);
    case Order::LittleEndian:
        return std::make_unique<Sys_LittleEndianInStream>(iStreamP);
    case Order::BigEndian:
        return std::make_unique<Sys_BigEndianInStream>(iStreamP);
    case Order::CrossPlatform:
        return std::make_unique<Sys_CrossPlatformInStream>(iStreamP);
    }
    return nullptr;
}

// One value of every type, written in this order by WriteAll.
void WriteAll(Sys_TypedOutStream& out)
{
    out.Write('Q');
    out.Write(static_cast<unsigned char>(0xA5));
    out.Write(static_cast<int16_t>(0x1234));
    out.Write(static_cast<uint16_t>(0xBEEF));
    out.Write(static_cast<int32_t>(-2));
    out.Write(static_cast<uint32_t>(0x01020304));
    out.Write(static_cast<int64_t>(0x0102030405060708));
    out.Write(static_cast<uint64_t>(0xF0E0D0C0B0A09080));
    out.Write(1.5f);
    out.Write(-2.25);
    out.Write(true);
    out.Write(false);
    out.Write(std::string("abc"));
    out.Write(std::string());
    const unsigned char block[] = {9, 8, 7};
    out.WriteBlock(block, 3);
}

// The exact bytes of WriteAll, written by hand for each byte order.
// clang-format off
const Bytes kBigEndianLayout = {
    0x51,                                           // char 'Q'
    0xA5,                                           // unsigned char
    0x12, 0x34,                                     // int16_t
    0xBE, 0xEF,                                     // uint16_t
    0xFF, 0xFF, 0xFF, 0xFE,                         // int32_t -2
    0x01, 0x02, 0x03, 0x04,                         // uint32_t
    0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, // int64_t
    0xF0, 0xE0, 0xD0, 0xC0, 0xB0, 0xA0, 0x90, 0x80, // uint64_t
    0x3F, 0xC0, 0x00, 0x00,                         // float 1.5
    0xC0, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // double -2.25
    0x01,                                           // true
    0x00,                                           // false
    0x00, 0x00, 0x00, 0x03, 'a', 'b', 'c',          // "abc"
    0x00, 0x00, 0x00, 0x00,                         // ""
    9, 8, 7,                                        // block, never swapped
};
const Bytes kLittleEndianLayout = {
    0x51,
    0xA5,
    0x34, 0x12,
    0xEF, 0xBE,
    0xFE, 0xFF, 0xFF, 0xFF,
    0x04, 0x03, 0x02, 0x01,
    0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01,
    0x80, 0x90, 0xA0, 0xB0, 0xC0, 0xD0, 0xE0, 0xF0,
    0x00, 0x00, 0xC0, 0x3F,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0xC0,
    0x01,
    0x00,
    0x03, 0x00, 0x00, 0x00, 'a', 'b', 'c',
    0x00, 0x00, 0x00, 0x00,
    9, 8, 7,
};
// clang-format on

class Sys_TypedStreamOrder : public ::testing::TestWithParam<Order>
{
};

} // namespace

TEST_P(Sys_TypedStreamOrder, WritesEveryTypeInTheExactLayoutOfItsByteOrder)
{
    Cmn_MemBufferOutStream mem;
    auto out = MakeOut(GetParam(), &mem);
    EXPECT_EQ(out->IsSwapping(),
              IsBigEndian(GetParam()) == (std::endian::native == std::endian::little));
    WriteAll(*out);
    EXPECT_EQ(Contents(mem), IsBigEndian(GetParam()) ? kBigEndianLayout : kLittleEndianLayout);
}

TEST_P(Sys_TypedStreamOrder, ReadsEveryTypeBackExactly)
{
    Cmn_MemBufferOutStream mem;
    WriteAll(*MakeOut(GetParam(), &mem));
    const Bytes bytes = Contents(mem);
    Cmn_MemBufferInStream memIn(bytes.data(), bytes.data() + bytes.size());
    auto in = MakeIn(GetParam(), &memIn);

    EXPECT_EQ(in->Read<char>(), 'Q');
    EXPECT_EQ(in->Read<unsigned char>(), 0xA5);
    EXPECT_EQ(in->Read<int16_t>(), 0x1234);
    EXPECT_EQ(in->Read<uint16_t>(), 0xBEEF);
    EXPECT_EQ(in->Read<int32_t>(), -2);
    EXPECT_EQ(in->Read<uint32_t>(), 0x01020304u);
    EXPECT_EQ(in->Read<int64_t>(), 0x0102030405060708);
    EXPECT_EQ(in->Read<uint64_t>(), 0xF0E0D0C0B0A09080u);
    EXPECT_EQ(in->Read<float>(), 1.5f);
    EXPECT_EQ(in->Read<double>(), -2.25);
    EXPECT_TRUE(in->Read<bool>());
    EXPECT_FALSE(in->Read<bool>());
    EXPECT_EQ(in->Read<std::string>(), "abc");
    EXPECT_EQ(in->Read<std::string>(), "");
    unsigned char block[3] = {};
    in->ReadBlock(block, 3);
    EXPECT_EQ(Bytes(block, block + 3), (Bytes{9, 8, 7}));
    EXPECT_EQ(in->GetPos(), in->GetEndPos());
    EXPECT_TRUE(ThrowsL10N([&] { in->Read<char>(); }, 7, 8));
}

TEST_P(Sys_TypedStreamOrder, OperatorFormRoundTripsExtremeValues)
{
    Cmn_MemBufferOutStream mem;
    auto out = MakeOut(GetParam(), &mem);
    const int64_t i64 = INT64_MIN;
    const uint64_t u64 = UINT64_MAX;
    const int32_t i32 = INT32_MIN;
    const int16_t i16 = INT16_MIN;
    const double tiny = 4.9406564584124654e-324; // the smallest subnormal
    const float nf = -0.0f;
    *out << i64 << u64 << i32 << i16 << tiny << nf << "text" << static_cast<char>(-1);

    const Bytes bytes = Contents(mem);
    Cmn_MemBufferInStream memIn(bytes.data(), bytes.data() + bytes.size());
    auto in = MakeIn(GetParam(), &memIn);
    int64_t ri64 = 0;
    uint64_t ru64 = 0;
    int32_t ri32 = 0;
    int16_t ri16 = 0;
    double rtiny = 0;
    float rnf = 1;
    std::string text;
    char c = 0;
    *in >> ri64 >> ru64 >> ri32 >> ri16 >> rtiny >> rnf >> text >> c;
    EXPECT_EQ(ri64, i64);
    EXPECT_EQ(ru64, u64);
    EXPECT_EQ(ri32, i32);
    EXPECT_EQ(ri16, i16);
    EXPECT_EQ(rtiny, tiny);
    EXPECT_EQ(std::bit_cast<uint32_t>(rnf), std::bit_cast<uint32_t>(nf));
    EXPECT_EQ(text, "text");
    EXPECT_EQ(c, static_cast<char>(-1));
    EXPECT_EQ(in->GetPos(), in->GetEndPos());
}

INSTANTIATE_TEST_SUITE_P(AllOrders, Sys_TypedStreamOrder,
                         ::testing::Values(Order::Native, Order::LittleEndian, Order::BigEndian,
                                           Order::CrossPlatform),
                         [](const ::testing::TestParamInfo<Order>& iInfo)
                         { return std::string(OrderName(iInfo.param)); });

TEST(Sys_TypedInStream, AnyNonZeroByteReadsAsTrue)
{
    const Bytes bytes = {0x00, 0x01, 0x02, 0x7F, 0x80, 0xFF};
    Cmn_MemBufferInStream mem(bytes.data(), bytes.data() + bytes.size());
    Sys_BigEndianInStream in(&mem);
    EXPECT_FALSE(in.Read<bool>());
    for (int i = 1; i < 6; ++i)
        EXPECT_TRUE(in.Read<bool>()) << i;
}

TEST(Sys_TypedInStream, StringWithEmbeddedNulIsCutButAllBytesAreConsumed)
{
    Cmn_MemBufferOutStream mem;
    Sys_CrossPlatformOutStream out(&mem);
    out.Write(std::string("ab\0cd", 5));
    out.Write(static_cast<int16_t>(77));
    EXPECT_EQ(Contents(mem), (Bytes{0, 0, 0, 5, 'a', 'b', 0, 'c', 'd', 0, 77}));

    const Bytes bytes = Contents(mem);
    Cmn_MemBufferInStream memIn(bytes.data(), bytes.data() + bytes.size());
    Sys_CrossPlatformInStream in(&memIn);
    std::string s;
    in.Read(s);
    EXPECT_EQ(s, "ab");
    EXPECT_EQ(s.size(), 2u);
    EXPECT_EQ(in.GetPos(), 9);
    EXPECT_EQ(in.Read<int16_t>(), 77);
}

TEST(Sys_TypedInStream, StringThatFillsTheStreamExactlyIsRead)
{
    const Bytes bytes = {3, 0, 0, 0, 'x', 'y', 'z'};
    Cmn_MemBufferInStream mem(bytes.data(), bytes.data() + bytes.size());
    Sys_LittleEndianInStream in(&mem);
    EXPECT_EQ(in.Read<std::string>(), "xyz");
}

TEST(Sys_TypedInStream, StringLengthOneLongerThanTheStreamThrows7_8)
{
    const Bytes bytes = {0, 0, 0, 4, 'x', 'y', 'z'};
    Cmn_MemBufferInStream mem(bytes.data(), bytes.data() + bytes.size());
    Sys_BigEndianInStream in(&mem);
    std::string s = "kept";
    EXPECT_TRUE(ThrowsL10N([&] { in.Read(s); }, 7, 8));
    EXPECT_EQ(s, "kept");
    EXPECT_EQ(in.GetPos(), 4); // only the length was read
}

TEST(Sys_TypedInStream, LyingStringLengthsThrowAndAllocateNothingBig)
{
    const Bytes lengths[] = {
        {0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b'}, // -1
        {0x80, 0x00, 0x00, 0x00, 'a', 'b'}, // INT32_MIN
        {0x7F, 0xFF, 0xFF, 0xFF, 'a', 'b'}, // INT32_MAX
        {0x10, 0x00, 0x00, 0x00, 'a', 'b'}, // 256 MB
    };
    for (const Bytes& bytes : lengths)
    {
        Cmn_MemBufferInStream mem(bytes.data(), bytes.data() + bytes.size());
        Sys_BigEndianInStream in(&mem);
        std::string s;
        LargestAllocation largest;
        EXPECT_TRUE(ThrowsL10N([&] { in.Read(s); }, 7, 8));
        EXPECT_LT(largest.Get(), 4096u) << "length byte " << int(bytes[0]);
    }
}

TEST(Sys_TypedInStream, StringLengthIsCheckedAgainstThePositionNotTheStart)
{
    // 8 bytes in all, the string's length field at 4: only 0 bytes remain after it.
    const Bytes bytes = {0, 0, 0, 0, 0, 0, 0, 1};
    Cmn_MemBufferInStream mem(bytes.data(), bytes.data() + bytes.size());
    Sys_BigEndianInStream in(&mem);
    in.SetPos(4);
    EXPECT_TRUE(ThrowsL10N([&] { in.Read<std::string>(); }, 7, 8));
}

TEST(Sys_TypedInStream, TruncatedNumbersThrow7_8)
{
    const Bytes bytes = {1, 2, 3};
    Cmn_MemBufferInStream mem(bytes.data(), bytes.data() + bytes.size());
    Sys_LittleEndianInStream in(&mem);
    EXPECT_TRUE(ThrowsL10N([&] { in.Read<int32_t>(); }, 7, 8));
    EXPECT_TRUE(ThrowsL10N([&] { in.Read<double>(); }, 7, 8));
    EXPECT_TRUE(ThrowsL10N([&] { in.Read<std::string>(); }, 7, 8));
    EXPECT_EQ(in.GetPos(), 0);
    EXPECT_EQ(in.Read<int16_t>(), 0x0201);
}

TEST(Sys_TypedStream, NamedStreamsAssertANullStream)
{
    EXPECT_TRUE(Asserts([] { Sys_NativeInStream s(nullptr); }, "iStreamP != 0"));
    EXPECT_TRUE(Asserts([] { Sys_NativeOutStream s(nullptr); }, "iStreamP != 0"));
    EXPECT_TRUE(Asserts([] { Sys_LittleEndianInStream s(nullptr); }, "iStreamP != 0"));
    EXPECT_TRUE(Asserts([] { Sys_LittleEndianOutStream s(nullptr); }, "iStreamP != 0"));
    EXPECT_TRUE(Asserts([] { Sys_BigEndianInStream s(nullptr); }, "iStreamP != 0"));
    EXPECT_TRUE(Asserts([] { Sys_BigEndianOutStream s(nullptr); }, "iStreamP != 0"));
    EXPECT_TRUE(Asserts([] { Sys_CrossPlatformInStream s(nullptr); }, "iStreamP != 0"));
    EXPECT_TRUE(Asserts([] { Sys_CrossPlatformOutStream s(nullptr); }, "iStreamP != 0"));
}

TEST(Sys_TypedOutStream, TextIsWrittenAsAString)
{
    Cmn_MemBufferOutStream mem;
    Sys_LittleEndianOutStream out(&mem);
    out.Write("hi");
    out << "!";
    EXPECT_EQ(Contents(mem), (Bytes{2, 0, 0, 0, 'h', 'i', 1, 0, 0, 0, '!'}));
    EXPECT_TRUE(Asserts([&] { out.Write(static_cast<const char*>(nullptr)); }, "iText != 0"));
}

namespace
{
// An out stream that records what is forwarded to it.
class RecordingOutStream : public Cmn_OutStream
{
public:
    void Write(const void*, int32_t iByteLen) override { mWritten += iByteLen; }
    int64_t GetPos() const override { return 42; }
    void SetPos(int64_t iPos) override { mSetPos = iPos; }
    int64_t GetEndPos() const override { return 99; }
    void CleanUp() override { ++mCleanUps; }
    void Reserve(int32_t iByteLen) override { mReserved = iByteLen; }

    int64_t mWritten = 0;
    int64_t mSetPos = -1;
    int mCleanUps = 0;
    int32_t mReserved = 0;
};
} // namespace

TEST(Sys_TypedOutStream, PositionCleanUpAndReserveForward)
{
    RecordingOutStream rec;
    Sys_BigEndianOutStream out(&rec);
    EXPECT_EQ(out.GetStream(), &rec);
    EXPECT_EQ(out.GetPos(), 42);
    EXPECT_EQ(out.GetEndPos(), 99);
    out.SetPos(7);
    EXPECT_EQ(rec.mSetPos, 7);
    out.CleanUp();
    EXPECT_EQ(rec.mCleanUps, 1);
    out.Reserve(1234);
    EXPECT_EQ(rec.mReserved, 1234);
    out.Write(static_cast<uint64_t>(1));
    EXPECT_EQ(rec.mWritten, 8);
}

TEST(Sys_TypedOutStream, ReserveOnAMemoryStreamGrowsIt)
{
    Cmn_MemBufferOutStream mem;
    Sys_NativeOutStream out(&mem);
    out.Reserve(2000);
    EXPECT_GE(mem.GetCapacity(), 2000);
    EXPECT_EQ(out.GetEndPos(), 0);
}
