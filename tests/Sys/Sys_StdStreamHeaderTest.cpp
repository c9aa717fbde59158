// Sys_StdStreamHeaderWriter and Sys_StdStreamHeaderReader, and the seeds of the fuzz target
// fuzz/StreamHeaderFuzz.cpp, which these tests write.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "Cmn_MemBufferStream.h"
#include "Sys_StdStreamHeader.h"
#include "Sys_TypedStream.h"
#include "TestSupport.h"

namespace
{
using Bytes = std::vector<unsigned char>;
using Check = std::function<void(Sys_StdStreamHeaderReader&, Sys_TypedInStream&)>;

// A header with magic "MAGI", version iVersion and the data bytes iData, in big-endian order.
Bytes BigEndianHeader(int16_t iVersion, const Bytes& iData)
{
    Cmn_MemBufferOutStream mem;
    Sys_BigEndianOutStream out(&mem);
    Sys_StdStreamHeaderWriter writer(out, "MAGI", iVersion);
    out.WriteBlock(iData.data(), static_cast<int32_t>(iData.size()));
    writer.PatchSize();
    return Test_Contents(mem);
}

// Reads a big-endian header from iBytes with magic iMagic, then runs iCheck with it.
void WithReader(const Bytes& iBytes, const char* iMagic, const Check& iCheck = {})
{
    Cmn_MemBufferInStream mem(iBytes.data(), iBytes.data() + iBytes.size());
    Sys_BigEndianInStream in(&mem);
    Sys_StdStreamHeaderReader reader(in, iMagic);
    if (iCheck)
        iCheck(reader, in);
}
} // namespace

// ---- the writer --------------------------------------------------------------------------

TEST(Sys_StdStreamHeaderWriter, WritesMagicVersionAndPatchedSizeInItsByteOrder)
{
    // A header written after iBefore, with iData inside; the size stays 0 unless patched.
    const struct
    {
        int mOrder; // index into Test_ByteOrders()
        const char* mMagic;
        int16_t mVersion;
        Bytes mBefore, mData;
        bool mPatch;
        Bytes mExpected;
    } rows[] = {
        // clang-format off
        {2, "MAGI", 0x0102, {}, {0xAA, 0xBB, 0xCC}, true,
         {'M', 'A', 'G', 'I', 0x01, 0x02, 0x00, 0x00, 0x00, 0x03, 0xAA, 0xBB, 0xCC}},
        {1, "MAGI", 0x0102, {}, {0xEF, 0xBE}, true,
         {'M', 'A', 'G', 'I', 0x02, 0x01, 0x02, 0x00, 0x00, 0x00, 0xEF, 0xBE}},
        {3, "AB", 7, {}, {0, 0, 0, 5}, false, {'A', 'B', 0, 7, 0, 0, 0, 0, 0, 0, 0, 5}},
        {2, "XY", 1, {0xFF, 0xFF}, {1}, true, {0xFF, 0xFF, 'X', 'Y', 0, 1, 0, 0, 0, 1, 1}},
        // clang-format on
    };
    for (const auto& row : rows)
    {
        Cmn_MemBufferOutStream mem;
        auto out = Test_ByteOrders()[static_cast<size_t>(row.mOrder)].mMakeOut(&mem);
        out->WriteBlock(row.mBefore.data(), static_cast<int32_t>(row.mBefore.size()));
        {
            Sys_StdStreamHeaderWriter writer(*out, row.mMagic, row.mVersion);
            const int64_t start = static_cast<int64_t>(row.mBefore.size());
            EXPECT_EQ(writer.GetHeaderStartPos(), start);
            EXPECT_EQ(writer.GetDataStartPos(), start + int64_t(std::strlen(row.mMagic)) + 6);
            out->WriteBlock(row.mData.data(), static_cast<int32_t>(row.mData.size()));
            if (row.mPatch)
                writer.PatchSize();
            EXPECT_EQ(out->GetPos(), static_cast<int64_t>(row.mExpected.size())); // back there
        }
        EXPECT_EQ(Test_Contents(mem), row.mExpected) << row.mMagic;
    }
}

TEST(Sys_StdStreamHeaderWriter, PatchSizeTwiceFailsTheAssertion)
{
    Cmn_MemBufferOutStream mem;
    Sys_NativeOutStream out(&mem);
    Sys_StdStreamHeaderWriter writer(out, "M", 1);
    writer.PatchSize();
    EXPECT_TRUE(Test_Asserts([&] { writer.PatchSize(); }, "!mPatched"));
}

TEST(Sys_StdStreamHeaderWriter, MagicOf128BytesIsAcceptedAnd129FailsTheAssertion)
{
    const std::string magic128(128, 'm'), magic129(129, 'm');
    Cmn_MemBufferOutStream mem;
    Sys_BigEndianOutStream out(&mem);
    Sys_StdStreamHeaderWriter(out, magic128.c_str(), 3).PatchSize();
    EXPECT_EQ(mem.GetEndPos(), 128 + 2 + 4);
    EXPECT_TRUE(Test_Asserts([&] { Sys_StdStreamHeaderWriter writer(out, magic129.c_str(), 3); },
                             "magicLen <= kMaxMagicLen"));
    EXPECT_EQ(mem.GetEndPos(), 128 + 2 + 4); // nothing written

    const Bytes bytes = Test_Contents(mem);
    WithReader(bytes, magic128.c_str(),
               [](Sys_StdStreamHeaderReader& r, Sys_TypedInStream&)
               { EXPECT_EQ(r.GetVersion(), 3); });
    EXPECT_TRUE(Test_Asserts([&] { WithReader(bytes, magic129.c_str()); },
                             "magicLen <= Sys_StdStreamHeaderWriter::kMaxMagicLen"));
}

// ---- the reader --------------------------------------------------------------------------

TEST(Sys_StdStreamHeaderReader, ReadsWhatTheWriterWroteInEveryByteOrder)
{
    for (const Test_ByteOrder& order : Test_ByteOrders())
    {
        SCOPED_TRACE(order.mName);
        Cmn_MemBufferOutStream mem;
        auto out = order.mMakeOut(&mem);
        out->Write(static_cast<unsigned char>(0x55)); // something before the header
        {
            Sys_StdStreamHeaderWriter writer(*out, "Track", -300);
            *out << std::string("name") << 3.25;
            writer.PatchSize();
        }
        out->Write(static_cast<int16_t>(9)); // something after it

        const Bytes bytes = Test_Contents(mem);
        Cmn_MemBufferInStream memIn(bytes.data(), bytes.data() + bytes.size());
        auto in = order.mMakeIn(&memIn);
        EXPECT_EQ(in->Read<unsigned char>(), 0x55);
        Sys_StdStreamHeaderReader reader(*in, "Track");
        EXPECT_EQ(reader.GetHeaderStartPos(), 1);
        EXPECT_EQ(reader.GetVersion(), -300);
        EXPECT_EQ(reader.GetSize(), 8 + 8);
        EXPECT_EQ(reader.GetDataStartPos(), 1 + 5 + 2 + 4);
        EXPECT_EQ(reader.GetDataEndPos(), 12 + 16);
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

TEST(Sys_StdStreamHeaderReader, WrongMagicThrows2_28)
{
    const Bytes bytes = BigEndianHeader(1, {});
    EXPECT_TRUE(Test_ThrowsL10N([&] { WithReader(bytes, "MAGX"); }, 2, 28));
    EXPECT_TRUE(Test_ThrowsL10N([&] { WithReader(bytes, "magi"); }, 2, 28));
    // A shorter magic that is a prefix matches its own length only: the rest is read as
    // version and size, here "GI" and the version, and that size lies.
    EXPECT_TRUE(Test_ThrowsL10N([&] { WithReader(bytes, "MA"); }, 2, 29));
}

TEST(Sys_StdStreamHeaderReader, SkipTheRestMovesToTheDataEndOrThrows2_29PastIt)
{
    Bytes bytes = BigEndianHeader(1, {1, 2, 3, 4, 5});
    bytes.push_back(0x77);
    WithReader(bytes, "MAGI",
               [](Sys_StdStreamHeaderReader& r, Sys_TypedInStream& in)
               {
                   EXPECT_EQ(in.Read<unsigned char>(), 1);
                   r.SkipTheRest();
                   EXPECT_EQ(in.GetPos(), r.GetDataEndPos());
                   EXPECT_EQ(in.Read<unsigned char>(), 0x77);
               });
    bytes = BigEndianHeader(1, {1, 2});
    bytes.push_back(3);
    WithReader(bytes, "MAGI",
               [](Sys_StdStreamHeaderReader& r, Sys_TypedInStream& in)
               {
                   in.Read<unsigned char>();
                   in.Read<uint16_t>(); // one byte more than the header holds
                   EXPECT_FALSE(r.IsMoreLeft());
                   EXPECT_TRUE(Test_ThrowsL10N([&] { r.SkipTheRest(); }, 2, 29));
                   EXPECT_TRUE(r.IsFinished());
               });
}

TEST(Sys_StdStreamHeaderReader, CheckVersionAcceptsMinToMaxAndThrows2_30Below2_31Above)
{
    // {version, min, max, id thrown or 0}
    // clang-format off
    const int rows[][4] = {{3, 3, 7, 0}, {5, 3, 7, 0}, {7, 3, 7, 0}, {2, 3, 7, 30}, {8, 3, 7, 31},
                           {INT16_MIN, INT16_MIN, INT16_MAX, 0}, {INT16_MAX, INT16_MIN, INT16_MAX, 0}};
    // clang-format on
    for (const auto& row : rows)
        WithReader(
            BigEndianHeader(static_cast<int16_t>(row[0]), {}), "MAGI",
            [&](Sys_StdStreamHeaderReader& r, Sys_TypedInStream&)
            {
                const int16_t min = static_cast<int16_t>(row[1]);
                const int16_t max = static_cast<int16_t>(row[2]);
                if (row[3] == 0)
                    r.CheckVersion(min, max);
                else
                    EXPECT_TRUE(Test_ThrowsL10N([&] { r.CheckVersion(min, max); }, 2, row[3]))
                        << row[0];
                EXPECT_EQ(r.IsFinished(), row[3] != 0) << row[0];
            });
}

TEST(Sys_StdStreamHeaderReader, SizePastTheStreamEndOrNegativeThrows2_29AtConstruction)
{
    const Bytes magicVersion = {'M', 'A', 'G', 'I', 0, 1};
    // {size field, data after it, throws}
    const struct
    {
        Bytes mSize, mData;
        bool mThrows;
    } rows[] = {
        {{0, 0, 0, 3}, {0xAA, 0xBB}, true},       // one past the end
        {{0, 0, 0, 2}, {0xAA, 0xBB}, false},      // exactly to the end
        {{0x7F, 0xFF, 0xFF, 0xFF}, {0xAA}, true}, // the largest size there is
        {{0xFF, 0xFF, 0xFF, 0xFF}, {0xAA}, true}, // -1
        {{0x80, 0x00, 0x00, 0x00}, {}, true},     // INT32_MIN
    };
    for (const auto& row : rows)
    {
        Bytes bytes = magicVersion;
        bytes.insert(bytes.end(), row.mSize.begin(), row.mSize.end());
        bytes.insert(bytes.end(), row.mData.begin(), row.mData.end());
        if (row.mThrows)
            EXPECT_TRUE(Test_ThrowsL10N([&] { WithReader(bytes, "MAGI"); }, 2, 29));
        else
            WithReader(bytes, "MAGI",
                       [](Sys_StdStreamHeaderReader& r, Sys_TypedInStream& in)
                       { EXPECT_EQ(r.GetDataEndPos(), in.GetEndPos()); });
    }
}

TEST(Sys_StdStreamHeaderReader, TruncatedHeaderThrowsTheStreamsEndOfStream)
{
    const Bytes full = BigEndianHeader(1, {});
    for (size_t len = 0; len < full.size(); ++len)
    {
        const Bytes cut(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(len));
        EXPECT_TRUE(Test_ThrowsL10N([&] { WithReader(cut, "MAGI"); }, 7, 8)) << len;
    }
}

TEST(Sys_StdStreamHeaderReader, NestedHeadersEachFrameTheirOwnData)
{
    Cmn_MemBufferOutStream mem;
    Sys_CrossPlatformOutStream out(&mem);
    {
        Sys_StdStreamHeaderWriter outer(out, "Outer", 2);
        out << 11;
        {
            Sys_StdStreamHeaderWriter inner(out, "Inner", 1);
            out << 22 << 33; // 33: a newer field an older reader skips
            inner.PatchSize();
        }
        out << 44;
        outer.PatchSize();
    }
    const Bytes bytes = Test_Contents(mem);
    Cmn_MemBufferInStream memIn(bytes.data(), bytes.data() + bytes.size());
    Sys_CrossPlatformInStream in(&memIn);
    Sys_StdStreamHeaderReader outer(in, "Outer");
    outer.CheckVersion(1, 2);
    EXPECT_EQ(in.Read<int32_t>(), 11);
    {
        Sys_StdStreamHeaderReader inner(in, "Inner");
        inner.CheckVersion(1, 1);
        EXPECT_EQ(in.Read<int32_t>(), 22);
        EXPECT_TRUE(inner.IsMoreLeft());
        inner.SkipTheRest();
    }
    EXPECT_EQ(in.Read<int32_t>(), 44);
    EXPECT_FALSE(outer.IsMoreLeft());
    outer.SkipTheRest();
    EXPECT_EQ(in.GetPos(), in.GetEndPos());
}

// ---- the seeds of fuzz/StreamHeaderFuzz.cpp ----------------------------------------------
//
// The fuzz input is one byte that picks the byte order (0 native, 1 little-endian,
// 2 big-endian, 3 cross-platform; the low two bits count), then a header with the magic
// "MiraFuzz" and a version from 1 to 3, whose data is a list of operations: one byte
// (modulo 14) and then what it reads. Keep in step with fuzz/StreamHeaderFuzz.cpp.
//
// Set MIRAFILE_WRITE_FUZZ_SEEDS to a folder to write the seeds there; the test compares
// them with fuzz/seeds/StreamHeaderFuzz/ when MIRAFILE_SOURCE_DIR is set.

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
    Cmn_MemBufferOutStream mem;
    auto out = Test_ByteOrders()[iOrder & 3].mMakeOut(&mem);
    Sys_StdStreamHeaderWriter writer(*out, "MiraFuzz", iVersion);
    iOps(*out);
    writer.PatchSize();
    Bytes seed = Test_Contents(mem);
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
    std::vector<std::pair<std::string, Bytes>> seeds;
    seeds.emplace_back("big_every_type", MakeFuzzSeed(2, 2, WriteEveryType));
    seeds.emplace_back("little_every_type", MakeFuzzSeed(1, 3, WriteEveryType));
    seeds.emplace_back("native_strings", MakeFuzzSeed(0, 1,
                                                      [](Sys_TypedOutStream& out)
                                                      {
                                                          out << eOp_String << std::string();
                                                          out << eOp_String
                                                              << std::string("a\0b", 3);
                                                      }));
    seeds.emplace_back("cross_nested",
                       MakeFuzzSeed(3, 2,
                                    [](Sys_TypedOutStream& out)
                                    {
                                        out << eOp_Int32 << 7 << eOp_Nested;
                                        Sys_StdStreamHeaderWriter inner(out, "MiraFuzz", 1);
                                        out << eOp_Double << 2.5;
                                        inner.PatchSize();
                                        out << eOp_Bool << false;
                                    }));
    // Lying numbers: a string length past the data, and a header size past the stream.
    Bytes lyingString = MakeFuzzSeed(
        2, 1, [](Sys_TypedOutStream& out) { out << eOp_String << std::string("abcd"); });
    lyingString[1 + 8 + 2 + 4 + 1] = 0x7F; // 0x7F000004 bytes claimed
    seeds.emplace_back("lying_string_length", lyingString);
    Bytes lyingSize = MakeFuzzSeed(
        2, 1, [](Sys_TypedOutStream& out) { out << eOp_Int16 << static_cast<int16_t>(1); });
    lyingSize[1 + 8 + 2] = 0x40; // size 0x40000003
    seeds.emplace_back("lying_header_size", lyingSize);
    return seeds;
}
} // namespace

TEST(Sys_StdStreamHeaderReader, FuzzSeedsAreWellFormedAndUpToDate)
{
    const auto seeds = MakeFuzzSeeds();
    for (const auto& [name, bytes] : seeds)
    {
        // Each well-formed seed reads back as one header that ends where the input ends.
        Cmn_MemBufferInStream mem(bytes.data() + 1, bytes.data() + bytes.size());
        auto in = Test_ByteOrders()[bytes[0] & 3].mMakeIn(&mem);
        if (name == "lying_header_size")
        {
            EXPECT_TRUE(
                Test_ThrowsL10N([&] { Sys_StdStreamHeaderReader reader(*in, "MiraFuzz"); }, 2, 29));
            continue;
        }
        Sys_StdStreamHeaderReader reader(*in, "MiraFuzz");
        reader.CheckVersion(1, 3);
        EXPECT_EQ(reader.GetDataEndPos(), in->GetEndPos()) << name;
        if (name == "lying_string_length")
        {
            in->Read<unsigned char>();
            EXPECT_TRUE(Test_ThrowsL10N([&] { in->Read<std::string>(); }, 7, 8));
        }
    }

    if (const char* dir = std::getenv("MIRAFILE_WRITE_FUZZ_SEEDS"))
    {
        std::filesystem::create_directories(dir);
        for (const auto& [name, bytes] : seeds)
            std::ofstream(std::filesystem::path(dir) / name, std::ios::binary)
                .write(reinterpret_cast<const char*>(bytes.data()),
                       static_cast<std::streamsize>(bytes.size()));
    }
    if (const char* source = std::getenv("MIRAFILE_SOURCE_DIR"))
    {
        const auto folder = std::filesystem::path(source) / "fuzz" / "seeds" / "StreamHeaderFuzz";
        for (const auto& [name, bytes] : seeds)
        {
            std::ifstream file(folder / name, std::ios::binary);
            ASSERT_TRUE(file) << (folder / name) << " is missing: run this test with "
                              << "MIRAFILE_WRITE_FUZZ_SEEDS=" << folder.string();
            const Bytes stored((std::istreambuf_iterator<char>(file)),
                               std::istreambuf_iterator<char>());
            EXPECT_EQ(stored, bytes) << name << " is out of date";
        }
    }
}
