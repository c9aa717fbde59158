// Sys_TypedInStream, Sys_TypedOutStream and their named byte orders.
#include <new>

#include "Support/SysTestSupport.h"

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

// One value of every type, written in this order.
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
    0x51, 0xA5,                                     // char 'Q', unsigned char
    0x12, 0x34, 0xBE, 0xEF,                         // int16_t, uint16_t
    0xFF, 0xFF, 0xFF, 0xFE, 0x01, 0x02, 0x03, 0x04, // int32_t -2, uint32_t
    0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, // int64_t
    0xF0, 0xE0, 0xD0, 0xC0, 0xB0, 0xA0, 0x90, 0x80, // uint64_t
    0x3F, 0xC0, 0x00, 0x00,                         // float 1.5
    0xC0, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // double -2.25
    0x01, 0x00,                                     // true, false
    0x00, 0x00, 0x00, 0x03, 'a', 'b', 'c',          // "abc"
    0x00, 0x00, 0x00, 0x00,                         // ""
    9, 8, 7,                                        // block, never swapped
};
const Bytes kLittleEndianLayout = {
    0x51, 0xA5,
    0x34, 0x12, 0xEF, 0xBE,
    0xFE, 0xFF, 0xFF, 0xFF, 0x04, 0x03, 0x02, 0x01,
    0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01,
    0x80, 0x90, 0xA0, 0xB0, 0xC0, 0xD0, 0xE0, 0xF0,
    0x00, 0x00, 0xC0, 0x3F,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0xC0,
    0x01, 0x00,
    0x03, 0x00, 0x00, 0x00, 'a', 'b', 'c',
    0x00, 0x00, 0x00, 0x00,
    9, 8, 7,
};
// clang-format on

using Sys_TypedStreamOrder = ::testing::TestWithParam<Test_ByteOrder>;
} // namespace

TEST_P(Sys_TypedStreamOrder, WritesEveryTypeInTheExactLayoutOfItsByteOrder)
{
    Cmn_MemBufferOutStream mem;
    auto out = GetParam().mMakeOut(&mem);
    EXPECT_EQ(out->IsSwapping(),
              GetParam().mBigEndian == (std::endian::native == std::endian::little));
    WriteAll(*out);
    EXPECT_EQ(Test_Contents(mem), GetParam().mBigEndian ? kBigEndianLayout : kLittleEndianLayout);
}

TEST_P(Sys_TypedStreamOrder, ReadsEveryTypeAndExtremeValuesBackExactly)
{
    Cmn_MemBufferOutStream mem;
    auto out = GetParam().mMakeOut(&mem);
    WriteAll(*out);
    const double tiny = 4.9406564584124654e-324; // the smallest subnormal
    *out << INT64_MIN << UINT64_MAX << INT32_MIN << static_cast<int16_t>(INT16_MIN) << tiny << -0.0f
         << "text" << static_cast<char>(-1);
    const Bytes bytes = Test_Contents(mem);
    Cmn_MemBufferInStream memIn(bytes.data(), bytes.data() + bytes.size());
    auto in = GetParam().mMakeIn(&memIn);
    // The reads in the order of WriteAll (a braced list is evaluated left to right).
    const auto values =
        std::tuple{in->Read<char>(),        in->Read<unsigned char>(), in->Read<int16_t>(),
                   in->Read<uint16_t>(),    in->Read<int32_t>(),       in->Read<uint32_t>(),
                   in->Read<int64_t>(),     in->Read<uint64_t>(),      in->Read<float>(),
                   in->Read<double>(),      in->Read<bool>(),          in->Read<bool>(),
                   in->Read<std::string>(), in->Read<std::string>()};
    EXPECT_EQ(values, std::tuple('Q', uint8_t(0xA5), int16_t(0x1234), uint16_t(0xBEEF), -2,
                                 0x01020304u, int64_t(0x0102030405060708), 0xF0E0D0C0B0A09080u,
                                 1.5f, -2.25, true, false, std::string("abc"), std::string()));
    unsigned char block[3] = {};
    in->ReadBlock(block, 3);
    EXPECT_EQ(Bytes(block, block + 3), (Bytes{9, 8, 7}));

    const auto extremes = std::tuple{in->Read<int64_t>(), in->Read<uint64_t>(), in->Read<int32_t>(),
                                     in->Read<int16_t>(), in->Read<double>()};
    EXPECT_EQ(extremes, std::tuple(INT64_MIN, UINT64_MAX, INT32_MIN, int16_t(INT16_MIN), tiny));
    float f = 1;
    std::string text;
    char c = 0;
    *in >> f >> text >> c;
    EXPECT_EQ(std::bit_cast<uint32_t>(f), std::bit_cast<uint32_t>(-0.0f));
    EXPECT_EQ(text, "text");
    EXPECT_EQ(c, static_cast<char>(-1));
    EXPECT_EQ(in->GetPos(), in->GetEndPos());
    EXPECT_TRUE(Test_ThrowsL10N([&] { in->Read<char>(); }, 7, 8));
}

TEST_P(Sys_TypedStreamOrder, NamedStreamsAssertANullStream)
{
    EXPECT_TRUE(Test_Asserts([&] { GetParam().mMakeIn(nullptr); }, "iStreamP != 0"));
    EXPECT_TRUE(Test_Asserts([&] { GetParam().mMakeOut(nullptr); }, "iStreamP != 0"));
}

INSTANTIATE_TEST_SUITE_P(AllOrders, Sys_TypedStreamOrder, ::testing::ValuesIn(Test_ByteOrders()),
                         [](const ::testing::TestParamInfo<Test_ByteOrder>& iInfo)
                         { return std::string(iInfo.param.mName); });

TEST(Sys_TypedInStream, AnyNonZeroByteReadsAsTrueAndStringsStopAtANul)
{
    Test_In bools({0x00, 0x01, 0x02, 0x7F, 0x80, 0xFF});
    EXPECT_FALSE(bools->Read<bool>());
    for (int i = 1; i < 6; ++i)
        EXPECT_TRUE(bools->Read<bool>()) << i;
    // A string with an embedded nul is cut there, but all its bytes are consumed.
    Test_Out out;
    *out << std::string("ab\0cd", 5) << static_cast<int16_t>(77);
    EXPECT_EQ(out.Get(), (Bytes{0, 0, 0, 5, 'a', 'b', 0, 'c', 'd', 0, 77}));
    Test_In in(out.Get());
    EXPECT_EQ(in->Read<std::string>(), std::string("ab"));
    EXPECT_EQ(in->GetPos(), 9);
    EXPECT_EQ(in->Read<int16_t>(), 77);
}

TEST(Sys_TypedInStream, StringLengthIsCheckedAgainstWhatIsLeft)
{
    EXPECT_EQ(Test_In({0, 0, 0, 3, 'x', 'y', 'z'})->Read<std::string>(), "xyz");
    // One byte more than is left, lying lengths -1, INT32_MIN, INT32_MAX and 256 MB, and a
    // length at 9996 of 10000 bytes that claims 9000 (0 bytes remain after it, not 10000):
    // each throws 7/8 after reading only the length, and allocates nothing that size.
    std::vector<std::pair<Bytes, int64_t>> rows = {{{0, 0, 0, 4, 'x', 'y', 'z'}, 0}};
    for (unsigned char first : {0xFF, 0x80, 0x7F, 0x10})
    {
        const unsigned char rest = first == 0xFF || first == 0x7F ? 0xFF : 0x00;
        rows.push_back({{first, rest, rest, rest, 'a', 'b'}, 0});
    }
    rows.push_back({Bytes(10000, 0), 9996});
    rows.back().first[9998] = 0x23; // 0x2328 = 9000
    rows.back().first[9999] = 0x28;
    for (const auto& [bytes, at] : rows)
    {
        SCOPED_TRACE(::testing::PrintToString(Bytes(bytes.begin(), bytes.begin() + 4)));
        Test_In in(bytes);
        in->SetPos(at);
        std::string s = "kept";
        LargestAllocation largest;
        EXPECT_TRUE(Test_ThrowsL10N([&] { in->Read(s); }, 7, 8));
        EXPECT_LT(largest.Get(), 4096u);
        EXPECT_EQ(s, "kept");
        EXPECT_EQ(in->GetPos(), at + 4);
    }
}

TEST(Sys_TypedInStream, TruncatedNumbersThrow7_8AndConsumeNothing)
{
    Test_In in({1, 2, 3});
    EXPECT_TRUE(Test_ThrowsL10N([&] { in->Read<int32_t>(); }, 7, 8));
    EXPECT_TRUE(Test_ThrowsL10N([&] { in->Read<double>(); }, 7, 8));
    EXPECT_TRUE(Test_ThrowsL10N([&] { in->Read<std::string>(); }, 7, 8));
    EXPECT_EQ(in->GetPos(), 0);
    EXPECT_EQ(in->Read<int16_t>(), 0x0102);
}

TEST(Sys_TypedOutStream, TextIsWrittenAsAString)
{
    Test_Out out(1);
    out->Write("hi");
    *out << "!";
    EXPECT_EQ(out.Get(), (Bytes{2, 0, 0, 0, 'h', 'i', 1, 0, 0, 0, '!'}));
    EXPECT_TRUE(Test_Asserts([&] { out->Write(static_cast<const char*>(nullptr)); }, "iText != 0"));
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

    int64_t mWritten = 0, mSetPos = -1;
    int mCleanUps = 0;
    int32_t mReserved = 0;
};
} // namespace

TEST(Sys_TypedOutStream, PositionCleanUpAndReserveForward)
{
    RecordingOutStream rec;
    Sys_BigEndianOutStream out(&rec);
    out.SetPos(7);
    out.CleanUp();
    out.Reserve(1234);
    out.Write(static_cast<uint64_t>(1));
    EXPECT_EQ(std::tuple(out.GetPos(), out.GetEndPos(), rec.mSetPos, rec.mCleanUps, rec.mReserved,
                         rec.mWritten),
              std::tuple(42, 99, 7, 1, 1234, 8));
}
