// Sys_StdStreamHeaderWriter and Sys_StdStreamHeaderReader, and the seeds of the fuzz target
// fuzz/StreamHeaderFuzz.cpp, which these tests write.
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "Cmn_Assert.h"
#include "Cmn_MemBufferStream.h"
#include "L10N_ExceptionData.h"
#include "Sys_StdStreamHeader.h"
#include "Sys_TypedStream.h"

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

// A header with magic "MAGI", version iVersion and the data bytes iData, in big-endian order.
Bytes BigEndianHeader(int16_t iVersion, const Bytes& iData)
{
    Cmn_MemBufferOutStream mem;
    Sys_BigEndianOutStream out(&mem);
    Sys_StdStreamHeaderWriter writer(out, "MAGI", iVersion);
    out.WriteBlock(iData.data(), static_cast<int32_t>(iData.size()));
    writer.PatchSize();
    return Contents(mem);
}

// Reads a header from iBytes with magic iMagic, then runs iCheck with it and the stream.
void WithReader(const Bytes& iBytes, const char* iMagic,
                const std::function<void(Sys_StdStreamHeaderReader&, Sys_TypedInStream&)>& iCheck)
{
    Cmn_MemBufferInStream mem(iBytes.data(), iBytes.data() + iBytes.size());
    Sys_BigEndianInStream in(&mem);
    Sys_StdStreamHeaderReader reader(in, iMagic);
    iCheck(reader, in);
}

} // namespace

// ---- the writer --------------------------------------------------------------------------

TEST(Sys_StdStreamHeaderWriter, WritesMagicVersionAndPatchedSizeBigEndian)
{
    EXPECT_EQ(BigEndianHeader(0x0102, {0xAA, 0xBB, 0xCC}),
              (Bytes{'M', 'A', 'G', 'I', 0x01, 0x02, 0x00, 0x00, 0x00, 0x03, 0xAA, 0xBB, 0xCC}));
}

TEST(Sys_StdStreamHeaderWriter, WritesMagicVersionAndPatchedSizeLittleEndian)
{
    Cmn_MemBufferOutStream mem;
    Sys_LittleEndianOutStream out(&mem);
    Sys_StdStreamHeaderWriter writer(out, "MAGI", 0x0102);
    EXPECT_EQ(writer.GetHeaderStartPos(), 0);
    EXPECT_EQ(writer.GetDataStartPos(), 10);
    out.Write(static_cast<uint16_t>(0xBEEF));
    writer.PatchSize();
    EXPECT_EQ(out.GetPos(), 12); // back where it was
    EXPECT_EQ(Contents(mem),
              (Bytes{'M', 'A', 'G', 'I', 0x02, 0x01, 0x02, 0x00, 0x00, 0x00, 0xEF, 0xBE}));
}

TEST(Sys_StdStreamHeaderWriter, UnpatchedWriterLeavesSizeZero)
{
    Cmn_MemBufferOutStream mem;
    Sys_CrossPlatformOutStream out(&mem);
    {
        Sys_StdStreamHeaderWriter writer(out, "AB", 7);
        out.Write(static_cast<int32_t>(5));
    }
    EXPECT_EQ(Contents(mem), (Bytes{'A', 'B', 0, 7, 0, 0, 0, 0, 0, 0, 0, 5}));
}

TEST(Sys_StdStreamHeaderWriter, HeaderInsideAStreamStartsAtThePosition)
{
    Cmn_MemBufferOutStream mem;
    Sys_BigEndianOutStream out(&mem);
    out.Write(static_cast<int32_t>(-1));
    Sys_StdStreamHeaderWriter writer(out, "XY", 1);
    EXPECT_EQ(writer.GetHeaderStartPos(), 4);
    out.Write(true);
    writer.PatchSize();
    EXPECT_EQ(Contents(mem), (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 'X', 'Y', 0, 1, 0, 0, 0, 1, 1}));
}

TEST(Sys_StdStreamHeaderWriter, PatchSizeTwiceFailsTheAssertion)
{
    Cmn_MemBufferOutStream mem;
    Sys_NativeOutStream out(&mem);
    Sys_StdStreamHeaderWriter writer(out, "M", 1);
    writer.PatchSize();
    EXPECT_TRUE(Asserts([&] { writer.PatchSize(); }, "!mPatched"));
}

TEST(Sys_StdStreamHeaderWriter, MagicOf128BytesIsAcceptedAnd129FailsTheAssertion)
{
    const std::string magic128(128, 'm');
    const std::string magic129(129, 'm');
    Cmn_MemBufferOutStream mem;
    Sys_BigEndianOutStream out(&mem);
    {
        Sys_StdStreamHeaderWriter writer(out, magic128.c_str(), 3);
        writer.PatchSize();
    }
    EXPECT_EQ(mem.GetEndPos(), 128 + 2 + 4);
    EXPECT_TRUE(Asserts([&] { Sys_StdStreamHeaderWriter writer(out, magic129.c_str(), 3); },
                        "magicLen <= kMaxMagicLen"));
    EXPECT_EQ(mem.GetEndPos(), 128 + 2 + 4); // nothing written

    const Bytes bytes = Contents(mem);
    WithReader(bytes, magic128.c_str(),
               [](Sys_StdStreamHeaderReader& r, Sys_TypedInStream&)
               { EXPECT_EQ(r.GetVersion(), 3); });
    EXPECT_TRUE(Asserts([&] { WithReader(bytes, magic129.c_str(), {}); },
                        "magicLen <= Sys_StdStreamHeaderWriter::kMaxMagicLen"));
}

// ---- the reader --------------------------------------------------------------------------

TEST(Sys_StdStreamHeaderReader, ReadsWhatTheWriterWroteInEveryByteOrder)
{
    using MakeOut = std::function<std::unique_ptr<Sys_TypedOutStream>(Cmn_OutStream*)>;
    using MakeIn = std::function<std::unique_ptr<Sys_TypedInStream>(Cmn_InStream*)>;
    const std::vector<std::pair<MakeOut, MakeIn>> orders = {
        {[](Cmn_OutStream* s) { return std::make_unique<Sys_NativeOutStream>(s); },
         [](Cmn_InStream* s) { return std::make_unique<Sys_NativeInStream>(s); }},
        {[](Cmn_OutStream* s) { return std::make_unique<Sys_LittleEndianOutStream>(s); },
         [](Cmn_InStream* s) { return std::make_unique<Sys_LittleEndianInStream>(s); }},
        {[](Cmn_OutStream* s) { return std::make_unique<Sys_BigEndianOutStream>(s); },
         [](Cmn_InStream* s) { return std::make_unique<Sys_BigEndianInStream>(s); }},
        {[](Cmn_OutStream* s) { return std::make_unique<Sys_CrossPlatformOutStream>(s); },
         [](Cmn_InStream* s) { return std::make_unique<Sys_CrossPlatformInStream>(s); }},
    };
    for (const auto& [makeOut, makeIn] : orders)
    {
        Cmn_MemBufferOutStream mem;
        auto out = makeOut(&mem);
        out->Write(static_cast<unsigned char>(0x55)); // something before the header
        {
            Sys_StdStreamHeaderWriter writer(*out, "Track", -300);
            out->Write(std::string("name"));
            out->Write(3.25);
            writer.PatchSize();
        }
        out->Write(static_cast<int16_t>(9)); // something after it

        const Bytes bytes = Contents(mem);
        Cmn_MemBufferInStream memIn(bytes.data(), bytes.data() + bytes.size());
        auto in = makeIn(&memIn);
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
    EXPECT_TRUE(ThrowsL10N([&] { WithReader(bytes, "MAGX", {}); }, 2, 28));
    EXPECT_TRUE(ThrowsL10N([&] { WithReader(bytes, "magi", {}); }, 2, 28));
    // A shorter magic that is a prefix matches its own length only: the rest is read as
    // version and size, here "GI" and the version, and that size lies.
    EXPECT_TRUE(ThrowsL10N([&] { WithReader(bytes, "MA", {}); }, 2, 29));
}

TEST(Sys_StdStreamHeaderReader, SkipTheRestMovesToTheDataEnd)
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
}

TEST(Sys_StdStreamHeaderReader, ReadingPastTheDataEndMakesSkipTheRestThrow2_29)
{
    Bytes bytes = BigEndianHeader(1, {1, 2});
    bytes.push_back(3);
    WithReader(bytes, "MAGI",
               [](Sys_StdStreamHeaderReader& r, Sys_TypedInStream& in)
               {
                   in.Read<unsigned char>();
                   in.Read<uint16_t>(); // one byte more than the header holds
                   EXPECT_FALSE(r.IsMoreLeft());
                   EXPECT_TRUE(ThrowsL10N([&] { r.SkipTheRest(); }, 2, 29));
                   EXPECT_TRUE(r.IsFinished());
               });
}

TEST(Sys_StdStreamHeaderReader, VersionAtMinOrMaxIsAccepted)
{
    for (int16_t version : {int16_t(3), int16_t(5), int16_t(7)})
        WithReader(BigEndianHeader(version, {}), "MAGI",
                   [](Sys_StdStreamHeaderReader& r, Sys_TypedInStream&)
                   {
                       r.CheckVersion(3, 7);
                       EXPECT_FALSE(r.IsFinished());
                   });
    WithReader(BigEndianHeader(INT16_MIN, {}), "MAGI",
               [](Sys_StdStreamHeaderReader& r, Sys_TypedInStream&)
               { r.CheckVersion(INT16_MIN, INT16_MAX); });
}

TEST(Sys_StdStreamHeaderReader, VersionBelowMinThrows2_30AndAboveMaxThrows2_31)
{
    WithReader(BigEndianHeader(2, {}), "MAGI",
               [](Sys_StdStreamHeaderReader& r, Sys_TypedInStream&)
               {
                   EXPECT_TRUE(ThrowsL10N([&] { r.CheckVersion(3, 7); }, 2, 30));
                   EXPECT_TRUE(r.IsFinished());
               });
    WithReader(BigEndianHeader(8, {}), "MAGI",
               [](Sys_StdStreamHeaderReader& r, Sys_TypedInStream&)
               {
                   EXPECT_TRUE(ThrowsL10N([&] { r.CheckVersion(3, 7); }, 2, 31));
                   EXPECT_TRUE(r.IsFinished());
               });
}

TEST(Sys_StdStreamHeaderReader, SizePastTheStreamEndThrows2_29AtConstruction)
{
    // Size 3 with two data bytes: one past the end.
    const Bytes shortBy1 = {'M', 'A', 'G', 'I', 0, 1, 0, 0, 0, 3, 0xAA, 0xBB};
    EXPECT_TRUE(ThrowsL10N([&] { WithReader(shortBy1, "MAGI", {}); }, 2, 29));
    // Size 2 with two data bytes: exactly to the end is fine.
    const Bytes exact = {'M', 'A', 'G', 'I', 0, 1, 0, 0, 0, 2, 0xAA, 0xBB};
    WithReader(exact, "MAGI",
               [](Sys_StdStreamHeaderReader& r, Sys_TypedInStream& in)
               { EXPECT_EQ(r.GetDataEndPos(), in.GetEndPos()); });
    // The largest size there is.
    const Bytes huge = {'M', 'A', 'G', 'I', 0, 1, 0x7F, 0xFF, 0xFF, 0xFF, 0xAA};
    EXPECT_TRUE(ThrowsL10N([&] { WithReader(huge, "MAGI", {}); }, 2, 29));
}

TEST(Sys_StdStreamHeaderReader, NegativeSizeThrows2_29AtConstruction)
{
    const Bytes minusOne = {'M', 'A', 'G', 'I', 0, 1, 0xFF, 0xFF, 0xFF, 0xFF, 0xAA};
    EXPECT_TRUE(ThrowsL10N([&] { WithReader(minusOne, "MAGI", {}); }, 2, 29));
    const Bytes intMin = {'M', 'A', 'G', 'I', 0, 1, 0x80, 0x00, 0x00, 0x00};
    EXPECT_TRUE(ThrowsL10N([&] { WithReader(intMin, "MAGI", {}); }, 2, 29));
}

TEST(Sys_StdStreamHeaderReader, TruncatedHeaderThrowsTheStreamsEndOfStream)
{
    const Bytes full = BigEndianHeader(1, {});
    for (size_t len = 0; len < full.size(); ++len)
    {
        const Bytes cut(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(len));
        EXPECT_TRUE(ThrowsL10N([&] { WithReader(cut, "MAGI", {}); }, 7, 8)) << len;
    }
}

TEST(Sys_StdStreamHeaderReader, NestedHeadersEachFrameTheirOwnData)
{
    Cmn_MemBufferOutStream mem;
    Sys_CrossPlatformOutStream out(&mem);
    {
        Sys_StdStreamHeaderWriter outer(out, "Outer", 2);
        out.Write(static_cast<int32_t>(11));
        {
            Sys_StdStreamHeaderWriter inner(out, "Inner", 1);
            out.Write(static_cast<int32_t>(22));
            out.Write(static_cast<int32_t>(33)); // a newer field an older reader skips
            inner.PatchSize();
        }
        out.Write(static_cast<int32_t>(44));
        outer.PatchSize();
    }
    const Bytes bytes = Contents(mem);
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

// The operation bytes (written as unsigned char, as the target reads them).
constexpr unsigned char eOp_Char = 0;
constexpr unsigned char eOp_UChar = 1;
constexpr unsigned char eOp_Int16 = 2;
constexpr unsigned char eOp_UInt16 = 3;
constexpr unsigned char eOp_Int32 = 4;
constexpr unsigned char eOp_UInt32 = 5;
constexpr unsigned char eOp_Int64 = 6;
constexpr unsigned char eOp_UInt64 = 7;
constexpr unsigned char eOp_Float = 8;
constexpr unsigned char eOp_Double = 9;
constexpr unsigned char eOp_Bool = 10;
constexpr unsigned char eOp_String = 11;
constexpr unsigned char eOp_Block = 12;  // a length byte, then that many raw bytes
constexpr unsigned char eOp_Nested = 13; // a nested header: same magic, its own operations

std::unique_ptr<Sys_TypedOutStream> MakeFuzzOut(unsigned char iOrder, Cmn_OutStream* iStreamP)
{
    switch (iOrder & 3)
    {
    case 0:
        return std::make_unique<Sys_NativeOutStream>(iStreamP);
    case 1:
        return std::make_unique<Sys_LittleEndianOutStream>(iStreamP);
    case 2:
        return std::make_unique<Sys_BigEndianOutStream>(iStreamP);
    default:
        return std::make_unique<Sys_CrossPlatformOutStream>(iStreamP);
    }
}

Bytes MakeFuzzSeed(unsigned char iOrder, int16_t iVersion,
                   const std::function<void(Sys_TypedOutStream&)>& iOps)
{
    Cmn_MemBufferOutStream mem;
    auto out = MakeFuzzOut(iOrder, &mem);
    Sys_StdStreamHeaderWriter writer(*out, "MiraFuzz", iVersion);
    iOps(*out);
    writer.PatchSize();
    Bytes seed = {iOrder};
    const Bytes body = Contents(mem);
    seed.insert(seed.end(), body.begin(), body.end());
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
    const size_t lengthAt = 1 + 8 + 2 + 4 + 1;
    lyingString[lengthAt] = 0x7F; // 0x7F000004 bytes claimed
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
        const bool lying = name.rfind("lying", 0) == 0;
        Cmn_MemBufferInStream mem(bytes.data() + 1, bytes.data() + bytes.size());
        const bool bigEndian =
            (bytes[0] & 3) >= 2 || ((bytes[0] & 3) == 0 && std::endian::native == std::endian::big);
        Sys_TypedInStream in(&mem, bigEndian == (std::endian::native == std::endian::little));
        if (name == "lying_header_size")
        {
            EXPECT_TRUE(
                ThrowsL10N([&] { Sys_StdStreamHeaderReader reader(in, "MiraFuzz"); }, 2, 29));
        }
        else
        {
            Sys_StdStreamHeaderReader reader(in, "MiraFuzz");
            reader.CheckVersion(1, 3);
            EXPECT_EQ(reader.GetDataEndPos(), in.GetEndPos()) << name;
            if (lying)
            {
                in.Read<unsigned char>();
                EXPECT_TRUE(ThrowsL10N([&] { in.Read<std::string>(); }, 7, 8));
            }
        }
    }

    if (const char* dir = std::getenv("MIRAFILE_WRITE_FUZZ_SEEDS"))
    {
        std::filesystem::create_directories(dir);
        for (const auto& [name, bytes] : seeds)
        {
            std::ofstream file(std::filesystem::path(dir) / name, std::ios::binary);
            file.write(reinterpret_cast<const char*>(bytes.data()),
                       static_cast<std::streamsize>(bytes.size()));
        }
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
