// Cmn_MemBufferInStream and Cmn_MemBufferOutStream.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "Cmn_Assert.h"
#include "Cmn_MemBufferStream.h"
#include "L10N_ExceptionData.h"

namespace
{

// Runs iAction and reports whether it threw the L10N exception iPackage/iID.
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

// Runs iAction and reports whether it failed an assertion whose text holds iExpr.
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

std::vector<unsigned char> Iota(size_t iCount)
{
    std::vector<unsigned char> bytes(iCount);
    for (size_t i = 0; i < iCount; ++i)
        bytes[i] = static_cast<unsigned char>(i * 7 + 1);
    return bytes;
}

} // namespace

// ---- Cmn_MemBufferInStream ---------------------------------------------------------------

TEST(Cmn_MemBufferInStream, ReadsTheCallersBytesInOrder)
{
    const auto bytes = Iota(10);
    Cmn_MemBufferInStream in(bytes.data(), bytes.data() + bytes.size());
    EXPECT_EQ(in.GetPos(), 0);
    EXPECT_EQ(in.GetEndPos(), 10);

    unsigned char out[10] = {};
    in.Read(out, 3);
    EXPECT_EQ(in.GetPos(), 3);
    in.Read(out + 3, 7);
    EXPECT_EQ(in.GetPos(), 10);
    EXPECT_EQ(0, std::memcmp(out, bytes.data(), 10));
    // It reads the caller's memory in place, copying nothing at construction.
    EXPECT_EQ(in.GetBegin(), bytes.data());
    EXPECT_EQ(in.GetCurrent(), bytes.data() + 10);
}

TEST(Cmn_MemBufferInStream, ReadOfMoreThanIsLeftThrows7_8AndConsumesNothing)
{
    const auto bytes = Iota(4);
    Cmn_MemBufferInStream in(bytes.data(), bytes.data() + bytes.size());
    unsigned char out[8] = {};
    in.Read(out, 1);
    EXPECT_TRUE(ThrowsL10N([&] { in.Read(out, 4); }, 7, 8));
    EXPECT_EQ(in.GetPos(), 1);
    in.Read(out, 3); // exactly what is left is fine
    EXPECT_EQ(in.GetPos(), 4);
    in.Read(out, 0); // and nothing at the end too
    EXPECT_TRUE(ThrowsL10N([&] { in.Read(out, 1); }, 7, 8));
}

TEST(Cmn_MemBufferInStream, SetPosToTheEndSucceedsAndOnePastThrows7_9)
{
    const auto bytes = Iota(6);
    Cmn_MemBufferInStream in(bytes.data(), bytes.data() + bytes.size());
    in.SetPos(6);
    EXPECT_EQ(in.GetPos(), 6);
    EXPECT_TRUE(ThrowsL10N([&] { in.SetPos(7); }, 7, 9));
    EXPECT_EQ(in.GetPos(), 6);
    in.SetPos(2);
    unsigned char b = 0;
    in.Read(&b, 1);
    EXPECT_EQ(b, bytes[2]);
    EXPECT_TRUE(Asserts([&] { in.SetPos(-1); }, "iPos >= 0"));
}

TEST(Cmn_MemBufferInStream, EmptyStreamHasNothingToRead)
{
    Cmn_MemBufferInStream in(nullptr, nullptr);
    EXPECT_EQ(in.GetEndPos(), 0);
    in.SetPos(0);
    unsigned char b = 0;
    in.Read(&b, 0);
    EXPECT_TRUE(ThrowsL10N([&] { in.Read(&b, 1); }, 7, 8));
    EXPECT_TRUE(ThrowsL10N([&] { in.SetPos(1); }, 7, 9));
}

TEST(Cmn_MemBufferInStream, ReversedRangeAndNegativeLengthFailAssertions)
{
    const auto bytes = Iota(4);
    EXPECT_TRUE(Asserts([&] { Cmn_MemBufferInStream in(bytes.data() + 2, bytes.data()); },
                        "iBegin <= iEnd"));
    Cmn_MemBufferInStream in(bytes.data(), bytes.data() + 4);
    unsigned char out[4];
    EXPECT_TRUE(Asserts([&] { in.Read(out, -1); }, "iByteLen >= 0"));
}

namespace
{
// What Cmn_PolyVectorInStream does: start empty and point the stream at memory later.
class RangeInStream : public Cmn_MemBufferInStream
{
public:
    void Point(const std::vector<unsigned char>& iBytes, int64_t iPos)
    {
        SetRange(iBytes.data(), iBytes.data() + iBytes.size(), iPos);
    }
};
} // namespace

TEST(Cmn_MemBufferInStream, SubclassCanResetTheRange)
{
    RangeInStream in;
    EXPECT_EQ(in.GetEndPos(), 0);
    const auto first = Iota(3);
    const auto second = Iota(9);
    in.Point(first, 0);
    EXPECT_EQ(in.GetEndPos(), 3);
    in.Point(second, 5);
    EXPECT_EQ(in.GetEndPos(), 9);
    EXPECT_EQ(in.GetPos(), 5);
    unsigned char b = 0;
    in.Read(&b, 1);
    EXPECT_EQ(b, second[5]);
    EXPECT_TRUE(Asserts([&] { in.Point(first, 4); }, "iPos >= 0 && iPos <= iEnd - iBegin"));
}

// ---- Cmn_MemBufferOutStream: the owning form ---------------------------------------------

TEST(Cmn_MemBufferOutStream, OwningFormStartsEmptyWithGranularity512)
{
    Cmn_MemBufferOutStream out;
    EXPECT_TRUE(out.IsOwnBuffer());
    EXPECT_EQ(out.GetAllocGranularity(), 512);
    EXPECT_EQ(out.GetCapacity(), 0);
    EXPECT_EQ(out.GetPos(), 0);
    EXPECT_EQ(out.GetEndPos(), 0);
    out.Write(nullptr, 0);
    EXPECT_EQ(out.GetEndPos(), 0);
}

TEST(Cmn_MemBufferOutStream, GrowFollowsTheGranularityArithmetic)
{
    Cmn_MemBufferOutStream out;
    const auto bytes = Iota(2000);

    out.Write(bytes.data(), 1); // 0 + ((0 - 0 + 1) / 512 + 1) x 512
    EXPECT_EQ(out.GetCapacity(), 512);
    out.Write(bytes.data() + 1, 511); // fits exactly
    EXPECT_EQ(out.GetCapacity(), 512);
    out.Write(bytes.data() + 512, 1); // 512 + ((512 - 512 + 1) / 512 + 1) x 512
    EXPECT_EQ(out.GetCapacity(), 1024);
    out.Write(bytes.data() + 513, 1000); // 1024 + ((513 - 1024 + 1000) / 512 + 1) x 512
    EXPECT_EQ(out.GetCapacity(), 1536);
    EXPECT_EQ(out.GetEndPos(), 1513);
    EXPECT_EQ(0, std::memcmp(out.GetBuffer(), bytes.data(), 1513));

    Cmn_MemBufferOutStream big;
    big.Write(bytes.data(), 1024); // 0 + (1024 / 512 + 1) x 512: one step more than needed
    EXPECT_EQ(big.GetCapacity(), 1536);
}

TEST(Cmn_MemBufferOutStream, SetAllocGranularityChangesTheSteps)
{
    Cmn_MemBufferOutStream out;
    out.SetAllocGranularity(100);
    const auto bytes = Iota(400);
    out.Write(bytes.data(), 250); // (250 / 100 + 1) x 100
    EXPECT_EQ(out.GetCapacity(), 300);
    out.Write(bytes.data() + 250, 51); // 300 + ((250 - 300 + 51) / 100 + 1) x 100
    EXPECT_EQ(out.GetCapacity(), 400);
    EXPECT_EQ(0, std::memcmp(out.GetBuffer(), bytes.data(), 301));
    EXPECT_TRUE(Asserts([&] { out.SetAllocGranularity(0); }, "iGranularity > 0"));
}

TEST(Cmn_MemBufferOutStream, ReserveIsGrowAndKeepsTheBytes)
{
    Cmn_MemBufferOutStream out;
    const auto bytes = Iota(10);
    out.Write(bytes.data(), 10);
    EXPECT_EQ(out.GetCapacity(), 512);
    out.Reserve(600); // 512 + ((10 - 512 + 600) / 512 + 1) x 512
    EXPECT_EQ(out.GetCapacity(), 1024);
    EXPECT_EQ(out.GetEndPos(), 10);
    EXPECT_EQ(out.GetPos(), 10);
    EXPECT_EQ(0, std::memcmp(out.GetBuffer(), bytes.data(), 10));
    // The quotient truncates toward zero: 1024 + ((10 - 1024 + 5) / 512 + 1) x 512 = 1024.
    out.Reserve(5);
    EXPECT_EQ(out.GetCapacity(), 1024);
    EXPECT_EQ(0, std::memcmp(out.GetBuffer(), bytes.data(), 10));
    out.CleanUp(); // does nothing
    EXPECT_EQ(out.GetEndPos(), 10);
}

TEST(Cmn_MemBufferOutStream, ReserveOnALargeBufferMayShrinkItButKeepsRoom)
{
    Cmn_MemBufferOutStream out;
    out.SetAllocGranularity(100);
    const auto bytes = Iota(10);
    out.Write(bytes.data(), 10); // (10 / 100 + 1) x 100
    EXPECT_EQ(out.GetCapacity(), 100);
    out.Reserve(500); // 100 + ((10 - 100 + 500) / 100 + 1) x 100
    EXPECT_EQ(out.GetCapacity(), 600);
    out.Reserve(5); // 600 + ((10 - 600 + 5) / 100 + 1) x 100
    EXPECT_EQ(out.GetCapacity(), 200);
    EXPECT_GE(out.GetCapacity(), out.GetEndPos() + 5);
    EXPECT_EQ(0, std::memcmp(out.GetBuffer(), bytes.data(), 10));
}

TEST(Cmn_MemBufferOutStream, EndPosIsTheHighWaterMark)
{
    Cmn_MemBufferOutStream out;
    const unsigned char abcdef[] = {'a', 'b', 'c', 'd', 'e', 'f'};
    out.Write(abcdef, 6);
    out.SetPos(2);
    const unsigned char xy[] = {'X', 'Y'};
    out.Write(xy, 2);
    EXPECT_EQ(out.GetPos(), 4);
    EXPECT_EQ(out.GetEndPos(), 6);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(out.GetBuffer()), 6), "abXYef");
    // Writing over the end from inside raises the mark.
    out.SetPos(5);
    out.Write(xy, 2);
    EXPECT_EQ(out.GetEndPos(), 7);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(out.GetBuffer()), 7), "abXYeXY");
}

TEST(Cmn_MemBufferOutStream, SetPosToTheEndSucceedsAndOnePastThrows7_9)
{
    Cmn_MemBufferOutStream out;
    const auto bytes = Iota(5);
    out.Write(bytes.data(), 5);
    out.SetPos(0);
    out.SetPos(5);
    EXPECT_EQ(out.GetPos(), 5);
    EXPECT_TRUE(ThrowsL10N([&] { out.SetPos(6); }, 7, 9));
    EXPECT_EQ(out.GetPos(), 5);
    // The capacity beyond the end is not a position.
    EXPECT_GT(out.GetCapacity(), 6);
    EXPECT_TRUE(ThrowsL10N([&] { out.SetPos(out.GetCapacity()); }, 7, 9));
    EXPECT_TRUE(Asserts([&] { out.SetPos(-1); }, "iPos >= 0"));
    EXPECT_TRUE(Asserts([&] { out.Write(bytes.data(), -1); }, "iByteLen >= 0"));
}

// ---- Cmn_MemBufferOutStream: the fixed form ----------------------------------------------

TEST(Cmn_MemBufferOutStream, FixedFormWritesIntoTheCallersMemory)
{
    std::array<unsigned char, 8> memory{};
    Cmn_MemBufferOutStream out(memory.data(), 8);
    EXPECT_FALSE(out.IsOwnBuffer());
    EXPECT_EQ(out.GetAllocGranularity(), 0);
    EXPECT_EQ(out.GetCapacity(), 8);
    EXPECT_EQ(out.GetBuffer(), memory.data());
    const auto bytes = Iota(8);
    out.Write(bytes.data(), 5);
    out.Write(bytes.data() + 5, 3); // exactly full
    EXPECT_EQ(out.GetEndPos(), 8);
    EXPECT_EQ(0, std::memcmp(memory.data(), bytes.data(), 8));
    EXPECT_TRUE(Asserts([&] { out.SetAllocGranularity(512); }, "mbOwnBuffer"));
}

TEST(Cmn_MemBufferOutStream, FixedFormOverrunFailsTheAssertionAndWritesNothing)
{
    // Guard bytes around the caller's 6 bytes show that nothing is written past them.
    std::array<unsigned char, 10> memory;
    memory.fill(0xEE);
    Cmn_MemBufferOutStream out(memory.data() + 2, 6);
    const auto bytes = Iota(8);
    out.Write(bytes.data(), 4);
    EXPECT_TRUE(Asserts([&] { out.Write(bytes.data() + 4, 3); }, "mbOwnBuffer"));
    EXPECT_EQ(out.GetPos(), 4);
    EXPECT_EQ(out.GetEndPos(), 4);
    EXPECT_EQ(memory[6], 0xEE); // the failed write left even the fitting part alone
    EXPECT_EQ(memory[7], 0xEE);
    EXPECT_EQ(memory[8], 0xEE);
    EXPECT_EQ(memory[9], 0xEE);
    EXPECT_EQ(memory[0], 0xEE);
    EXPECT_EQ(memory[1], 0xEE);
    EXPECT_TRUE(Asserts([&] { out.Reserve(1); }, "mbOwnBuffer"));
}

TEST(Cmn_MemBufferOutStream, ReadsBackThroughTheInStream)
{
    Cmn_MemBufferOutStream out;
    const auto bytes = Iota(1500);
    for (size_t i = 0; i < bytes.size(); i += 100)
        out.Write(bytes.data() + i, 100);
    Cmn_MemBufferInStream in(out.GetBuffer(), out.GetBuffer() + out.GetEndPos());
    std::vector<unsigned char> back(1500);
    in.Read(back.data(), 1500);
    EXPECT_EQ(back, bytes);
}
