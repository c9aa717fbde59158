// Sys_StdStreamHeaderWriter and Sys_StdStreamHeaderReader, and the seeds of the fuzz target
// fuzz/StreamHeaderFuzz.cpp, which these tests write.
#include "Sys_StdStreamHeader.h"
#include "Support/SeedSupport.h"
#include "Support/SysTestSupport.h"

namespace
{
// A header with magic "MAGI", version iVersion and the data bytes iData, in big-endian order.
Bytes BigEndianHeader(int16_t iVersion, const Bytes& iData)
{
    Test_Out out(2);
    Sys_StdStreamHeaderWriter writer(*out, "MAGI", iVersion);
    out->WriteBlock(iData.data(), static_cast<int32_t>(iData.size()));
    writer.PatchSize();
    return out.Get();
}

// A big-endian stream over iBytes and a reader of the header at its start.
struct Read
{
    Read(const Bytes& iBytes, const char* iMagic = "MAGI") : mIn(iBytes, 2), mReader(*mIn, iMagic)
    {
    }
    Test_In mIn;
    Sys_StdStreamHeaderReader mReader;
};
} // namespace

// ---- the writer --------------------------------------------------------------------------

TEST(Sys_StdStreamHeaderWriter, WritesMagicVersionAndPatchedSizeInItsByteOrder)
{
    // {index into Test_ByteOrders(), magic, version, bytes before the header, data inside,
    // whether the size is patched (else it stays 0), expected bytes}
    const std::tuple<size_t, const char*, int16_t, Bytes, Bytes, bool, Bytes> rows[] = {
        // clang-format off
        {2, "MAGI", 0x0102, {}, {0xAA, 0xBB, 0xCC}, true,
         {'M', 'A', 'G', 'I', 0x01, 0x02, 0x00, 0x00, 0x00, 0x03, 0xAA, 0xBB, 0xCC}},
        {1, "MAGI", 0x0102, {}, {0xEF, 0xBE}, true,
         {'M', 'A', 'G', 'I', 0x02, 0x01, 0x02, 0x00, 0x00, 0x00, 0xEF, 0xBE}},
        {3, "AB", 7, {}, {0, 0, 0, 5}, false, {'A', 'B', 0, 7, 0, 0, 0, 0, 0, 0, 0, 5}},
        {2, "XY", 1, {0xFF, 0xFF}, {1}, true, {0xFF, 0xFF, 'X', 'Y', 0, 1, 0, 0, 0, 1, 1}},
        // clang-format on
    };
    for (const auto& [order, magic, version, before, data, patch, expected] : rows)
    {
        Test_Out out(order);
        out->WriteBlock(before.data(), static_cast<int32_t>(before.size()));
        {
            Sys_StdStreamHeaderWriter writer(*out, magic, version);
            const int64_t start = static_cast<int64_t>(before.size());
            EXPECT_EQ(writer.GetHeaderStartPos(), start);
            EXPECT_EQ(writer.GetDataStartPos(), start + int64_t(std::strlen(magic)) + 6);
            out->WriteBlock(data.data(), static_cast<int32_t>(data.size()));
            if (patch)
                writer.PatchSize();
            EXPECT_EQ(out->GetPos(), static_cast<int64_t>(expected.size())); // back there
        }
        EXPECT_EQ(out.Get(), expected) << magic;
    }
}

TEST(Sys_StdStreamHeaderWriter, MagicUpTo128BytesAndOnePatchAreAllowed)
{
    const std::string magic128(128, 'm'), magic129(129, 'm');
    Test_Out out(2);
    Sys_StdStreamHeaderWriter writer(*out, magic128.c_str(), 3);
    writer.PatchSize();
    EXPECT_TRUE(Test_Asserts([&] { writer.PatchSize(); }, "!mPatched"));
    EXPECT_EQ(out->GetEndPos(), 128 + 2 + 4);
    EXPECT_TRUE(Test_Asserts([&] { Sys_StdStreamHeaderWriter writer(*out, magic129.c_str(), 3); },
                             "magicLen <= kMaxMagicLen"));
    EXPECT_EQ(out->GetEndPos(), 128 + 2 + 4); // nothing written

    EXPECT_EQ(Read(out.Get(), magic128.c_str()).mReader.GetVersion(), 3);
    EXPECT_TRUE(Test_Asserts([&] { Read(out.Get(), magic129.c_str()); },
                             "magicLen <= Sys_StdStreamHeaderWriter::kMaxMagicLen"));
}

// ---- the reader --------------------------------------------------------------------------

TEST(Sys_StdStreamHeaderReader, ReadsWhatTheWriterWroteInEveryByteOrder)
{
    for (size_t order = 0; order < Test_ByteOrders().size(); ++order)
    {
        SCOPED_TRACE(Test_ByteOrders()[order].mName);
        Test_Out out(order);
        out->Write(static_cast<unsigned char>(0x55)); // something before the header
        {
            Sys_StdStreamHeaderWriter writer(*out, "Track", -300);
            *out << std::string("name") << 3.25;
            writer.PatchSize();
        }
        out->Write(static_cast<int16_t>(9)); // something after it

        Test_In in(out.Get(), order);
        EXPECT_EQ(in->Read<unsigned char>(), 0x55);
        Sys_StdStreamHeaderReader reader(*in, "Track");
        // header start, version, size, data start and end
        EXPECT_EQ(std::tuple(reader.GetHeaderStartPos(), reader.GetVersion(), reader.GetSize(),
                             reader.GetDataStartPos(), reader.GetDataEndPos()),
                  std::tuple(1, -300, 8 + 8, 1 + 5 + 2 + 4, 12 + 16));
        EXPECT_TRUE(reader.IsMoreLeft());
        EXPECT_EQ(in->Read<std::string>(), "name");
        EXPECT_TRUE(reader.IsMoreLeft());
        EXPECT_EQ(in->Read<double>(), 3.25);
        EXPECT_FALSE(reader.IsMoreLeft());
        EXPECT_FALSE(reader.IsFinished());
        reader.SkipTheRest();
        EXPECT_TRUE(reader.IsFinished());
        EXPECT_EQ(in->Read<int16_t>(), 9);
    }
}

TEST(Sys_StdStreamHeaderReader, ConstructionChecksMagicAndSizeAgainstTheStream)
{
    const Bytes header = BigEndianHeader(1, {});
    // {bytes, magic, package and id thrown, or 0}
    std::vector<std::tuple<Bytes, const char*, int32_t, int32_t>> rows = {
        {header, "MAGX", 2, 28},
        {header, "magi", 2, 28},
        // A shorter magic that is a prefix matches its own length only: the rest is read as
        // version and size, here "GI" and the version, and that size lies.
        {header, "MA", 2, 29},
        {{'M', 'A', 'G', 'I', 0, 1, 0, 0, 0, 3, 0xAA, 0xBB}, "MAGI", 2, 29}, // one past the end
        {{'M', 'A', 'G', 'I', 0, 1, 0, 0, 0, 2, 0xAA, 0xBB}, "MAGI", 0, 0},  // exactly to it
        {{'M', 'A', 'G', 'I', 0, 1, 0x7F, 0xFF, 0xFF, 0xFF, 0xAA}, "MAGI", 2, 29}, // largest
        {{'M', 'A', 'G', 'I', 0, 1, 0xFF, 0xFF, 0xFF, 0xFF, 0xAA}, "MAGI", 2, 29}, // -1
        {{'M', 'A', 'G', 'I', 0, 1, 0x80, 0, 0, 0}, "MAGI", 2, 29},                // INT32_MIN
    };
    for (size_t len = 0; len < header.size(); ++len) // truncated: the stream's end of stream
        rows.emplace_back(Bytes(header.begin(), header.begin() + std::ptrdiff_t(len)), "MAGI", 7,
                          8);
    for (const auto& [bytes, magic, package, id] : rows)
    {
        SCOPED_TRACE(::testing::PrintToString(bytes) + " " + magic);
        if (package)
            EXPECT_TRUE(Test_ThrowsL10N([&] { Read(bytes, magic); }, package, id));
        else
        {
            Read read(bytes, magic);
            EXPECT_EQ(read.mReader.GetDataEndPos(), read.mIn->GetEndPos());
        }
    }
}

// SkipTheRest to the data end is read through by NestedHeadersEachFrameTheirOwnData.
TEST(Sys_StdStreamHeaderReader, SkipTheRestThrows2_29PastTheDataEnd)
{
    Bytes bytes = BigEndianHeader(1, {1, 2});
    bytes.push_back(3);
    Read past(bytes);
    past.mIn->Read<unsigned char>();
    past.mIn->Read<uint16_t>(); // one byte more than the header holds
    EXPECT_FALSE(past.mReader.IsMoreLeft());
    EXPECT_TRUE(Test_ThrowsL10N([&] { past.mReader.SkipTheRest(); }, 2, 29));
    EXPECT_TRUE(past.mReader.IsFinished());
}

TEST(Sys_StdStreamHeaderReader, CheckVersionAcceptsMinToMaxAndThrows2_30Below2_31Above)
{
    // {version, min, max, id thrown or 0}
    // clang-format off
    const int16_t rows[][4] = {{3, 3, 7, 0}, {5, 3, 7, 0}, {7, 3, 7, 0}, {2, 3, 7, 30}, {8, 3, 7, 31},
                               {INT16_MIN, INT16_MIN, INT16_MAX, 0}, {INT16_MAX, INT16_MIN, INT16_MAX, 0}};
    // clang-format on
    for (const auto& [version, min, max, id] : rows)
    {
        SCOPED_TRACE(version);
        Read read(BigEndianHeader(version, {}));
        if (id == 0)
            read.mReader.CheckVersion(min, max);
        else
            EXPECT_TRUE(Test_ThrowsL10N([&] { read.mReader.CheckVersion(min, max); }, 2, id));
        EXPECT_EQ(read.mReader.IsFinished(), id != 0);
    }
}

TEST(Sys_StdStreamHeaderReader, NestedHeadersEachFrameTheirOwnData)
{
    Test_Out out;
    {
        Sys_StdStreamHeaderWriter outer(*out, "Outer", 2);
        *out << 11;
        {
            Sys_StdStreamHeaderWriter inner(*out, "Inner", 1);
            *out << 22 << 33; // 33: a newer field an older reader skips
            inner.PatchSize();
        }
        *out << 44;
        outer.PatchSize();
    }
    Test_In in(out.Get());
    Sys_StdStreamHeaderReader outer(*in, "Outer");
    outer.CheckVersion(1, 2);
    EXPECT_EQ(in->Read<int32_t>(), 11);
    {
        Sys_StdStreamHeaderReader inner(*in, "Inner");
        inner.CheckVersion(1, 1);
        EXPECT_EQ(in->Read<int32_t>(), 22);
        EXPECT_TRUE(inner.IsMoreLeft());
        inner.SkipTheRest();
    }
    EXPECT_EQ(in->Read<int32_t>(), 44);
    EXPECT_FALSE(outer.IsMoreLeft());
    outer.SkipTheRest();
    EXPECT_EQ(in->GetPos(), in->GetEndPos());
}

// ---- the seeds of fuzz/StreamHeaderFuzz.cpp ----------------------------------------------
//
// The fuzz input is one byte that picks the byte order (0 native, 1 little-endian,
// 2 big-endian, 3 cross-platform; the low two bits count), then a header with the magic
// "MiraFuzz" and a version from 1 to 3, whose data is a list of operations: one byte
// (modulo 14) and then what it reads. Keep in step with fuzz/StreamHeaderFuzz.cpp.
//
// Test_CheckFuzzSeeds writes and checks the seeds.

namespace
{
// The operation bytes (written as unsigned char, as the target reads them). Block: a length
// byte, then that many raw bytes; Nested: a nested header, same magic, its own operations.
constexpr unsigned char eOp_Char = 0, eOp_UChar = 1, eOp_Int16 = 2, eOp_UInt16 = 3, eOp_Int32 = 4,
                        eOp_UInt32 = 5, eOp_Int64 = 6, eOp_UInt64 = 7, eOp_Float = 8,
                        eOp_Double = 9, eOp_Bool = 10, eOp_String = 11, eOp_Block = 12,
                        eOp_Nested = 13;

Bytes MakeFuzzSeed(unsigned char iOrder, int16_t iVersion,
                   const std::function<void(Sys_TypedOutStream&)>& iOps)
{
    Test_Out out(iOrder & 3);
    Sys_StdStreamHeaderWriter writer(*out, "MiraFuzz", iVersion);
    iOps(*out);
    writer.PatchSize();
    Bytes seed = out.Get();
    seed.insert(seed.begin(), iOrder);
    return seed;
}

void WriteEveryType(Sys_TypedOutStream& out)
{
    out << eOp_Char << 'c' << eOp_UChar << static_cast<unsigned char>(200);
    out << eOp_Int16 << static_cast<int16_t>(-5) << eOp_UInt16 << static_cast<uint16_t>(60000);
    out << eOp_Int32 << static_cast<int32_t>(-70000) << eOp_UInt32
        << static_cast<uint32_t>(4000000000u);
    out << eOp_Int64 << static_cast<int64_t>(-1) << eOp_UInt64 << static_cast<uint64_t>(1);
    out << eOp_Float << 0.5f << eOp_Double << 1e300 << eOp_Bool << true;
    out << eOp_String << std::string("seed");
    out << eOp_Block << static_cast<unsigned char>(3);
    out.WriteBlock("xyz", 3);
}

std::vector<std::pair<std::string, Bytes>> MakeFuzzSeeds()
{
    auto strings = [](Sys_TypedOutStream& out)
    { out << eOp_String << std::string() << eOp_String << std::string("a\0b", 3); };
    auto nested = [](Sys_TypedOutStream& out)
    {
        out << eOp_Int32 << 7 << eOp_Nested;
        Sys_StdStreamHeaderWriter inner(out, "MiraFuzz", 1);
        out << eOp_Double << 2.5;
        inner.PatchSize();
        out << eOp_Bool << false;
    };
    // Lying numbers: a string length past the data, and a header size past the stream.
    Bytes lyingString = MakeFuzzSeed(
        2, 1, [](Sys_TypedOutStream& out) { out << eOp_String << std::string("abcd"); });
    lyingString[1 + 8 + 2 + 4 + 1] = 0x7F; // 0x7F000004 bytes claimed
    Bytes lyingSize = MakeFuzzSeed(
        2, 1, [](Sys_TypedOutStream& out) { out << eOp_Int16 << static_cast<int16_t>(1); });
    lyingSize[1 + 8 + 2] = 0x40; // size 0x40000003
    return {{"big_every_type", MakeFuzzSeed(2, 2, WriteEveryType)},
            {"little_every_type", MakeFuzzSeed(1, 3, WriteEveryType)},
            {"native_strings", MakeFuzzSeed(0, 1, strings)},
            {"cross_nested", MakeFuzzSeed(3, 2, nested)},
            {"lying_string_length", lyingString},
            {"lying_header_size", lyingSize}};
}
} // namespace

TEST(Sys_StdStreamHeaderReader, FuzzSeedsAreWellFormedAndUpToDate)
{
    const auto seeds = MakeFuzzSeeds();
    for (const auto& [name, bytes] : seeds)
    {
        SCOPED_TRACE(name);
        // Each well-formed seed reads back as one header that ends where the input ends.
        Test_In in(Bytes(bytes.begin() + 1, bytes.end()), bytes[0] & 3);
        if (name == "lying_header_size")
            EXPECT_TRUE(
                Test_ThrowsL10N([&] { Sys_StdStreamHeaderReader reader(*in, "MiraFuzz"); }, 2, 29));
        else
        {
            Sys_StdStreamHeaderReader reader(*in, "MiraFuzz");
            reader.CheckVersion(1, 3);
            EXPECT_EQ(reader.GetDataEndPos(), in->GetEndPos());
            if (name == "lying_string_length")
            {
                in->Read<unsigned char>();
                EXPECT_TRUE(Test_ThrowsL10N([&] { in->Read<std::string>(); }, 7, 8));
            }
        }
    }
    Test_CheckFuzzSeeds("StreamHeaderFuzz", seeds);
}
