// Cmn_MemBufferInStream and Cmn_MemBufferOutStream.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "Cmn_MemBufferStream.h"
#include "Support/ByteSupport.h"
#include "Support/TestSupport.h"

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

// ---- Cmn_MemBufferInStream ---------------------------------------------------------------

TEST(Cmn_MemBufferInStream, ReadsTheCallersBytesInPlaceAndNeverPastTheEnd)
{
    const auto bytes = Pattern(10);
    Cmn_MemBufferInStream in(bytes.data(), bytes.data() + bytes.size());
    EXPECT_EQ(in.GetEndPos(), 10);
    unsigned char out[10] = {};
    in.Read(out, 3);
    EXPECT_EQ(in.GetPos(), 3);
    // More than is left throws 7/8 and consumes nothing.
    EXPECT_TRUE(Test_ThrowsL10N([&] { in.Read(out + 3, 8); }, 7, 8));
    EXPECT_EQ(in.GetPos(), 3);
    in.Read(out + 3, 7); // exactly what is left
    in.Read(out, 0);     // and nothing at the end
    EXPECT_EQ(0, std::memcmp(out, bytes.data(), 10));
    EXPECT_EQ(in.GetBegin(), bytes.data()); // no copy at construction
    EXPECT_EQ(in.GetCurrent(), bytes.data() + 10);
    EXPECT_TRUE(Test_ThrowsL10N([&] { in.Read(out, 1); }, 7, 8));
    EXPECT_TRUE(Test_Asserts([&] { in.Read(out, -1); }, "iByteLen >= 0"));
    EXPECT_TRUE(Test_Asserts([&] { Cmn_MemBufferInStream bad(bytes.data() + 2, bytes.data()); },
                             "iBegin <= iEnd"));

    Cmn_MemBufferInStream empty(nullptr, nullptr);
    empty.Read(out, 0);
    EXPECT_TRUE(Test_ThrowsL10N([&] { empty.Read(out, 1); }, 7, 8));
}

TEST(Cmn_MemBufferInStream, SetPosToTheEndSucceedsAndOnePastThrows7_9)
{
    const auto bytes = Pattern(6);
    Cmn_MemBufferInStream in(bytes.data(), bytes.data() + bytes.size());
    in.SetPos(6);
    EXPECT_TRUE(Test_ThrowsL10N([&] { in.SetPos(7); }, 7, 9));
    EXPECT_EQ(in.GetPos(), 6);
    in.SetPos(2);
    unsigned char b = 0;
    in.Read(&b, 1);
    EXPECT_EQ(b, bytes[2]);
    EXPECT_TRUE(Test_Asserts([&] { in.SetPos(-1); }, "iPos >= 0"));
    Cmn_MemBufferInStream empty(nullptr, nullptr);
    empty.SetPos(0);
    EXPECT_TRUE(Test_ThrowsL10N([&] { empty.SetPos(1); }, 7, 9));
}

TEST(Cmn_MemBufferInStream, SubclassCanResetTheRange)
{
    RangeInStream in;
    EXPECT_EQ(in.GetEndPos(), 0);
    const auto first = Pattern(3), second = Pattern(9);
    in.Point(first, 0);
    EXPECT_EQ(in.GetEndPos(), 3);
    in.Point(second, 5);
    EXPECT_EQ(in.GetEndPos(), 9);
    EXPECT_EQ(in.GetPos(), 5);
    unsigned char b = 0;
    in.Read(&b, 1);
    EXPECT_EQ(b, second[5]);
    EXPECT_TRUE(Test_Asserts([&] { in.Point(first, 4); }, "iPos >= 0 && iPos <= iEnd - iBegin"));
}

// ---- Cmn_MemBufferOutStream: the owning form ---------------------------------------------

TEST(Cmn_MemBufferOutStream, GrowFollowsTheGranularityArithmetic)
{
    // New capacity = capacity + ((end - capacity + len) / granularity + 1) x granularity, the
    // quotient truncated toward zero. A Write grows only when it does not fit; a Reserve always
    // does, and may shrink a large buffer.
    struct Step
    {
        bool mReserve;
        int32_t mLen, mCapacity;
    };
    // granularity: 512 is the default and is not set
    const std::pair<int32_t, std::vector<Step>> scenarios[] = {
        {512, {{false, 1, 512}, {false, 511, 512}, {false, 1, 1024}, {false, 1000, 1536}}},
        {512, {{false, 1024, 1536}}}, // one step more than needed
        {100, {{false, 250, 300}, {false, 51, 400}}},
        {512, {{false, 10, 512}, {true, 600, 1024}, {true, 5, 1024}}},
        {100, {{false, 10, 100}, {true, 500, 600}, {true, 5, 200}}},
    };
    const auto bytes = Pattern(2000);
    for (const auto& [granularity, steps] : scenarios)
    {
        Cmn_MemBufferOutStream out;
        EXPECT_TRUE(out.IsOwnBuffer());
        EXPECT_EQ(out.GetAllocGranularity(), 512);
        EXPECT_EQ(out.GetCapacity(), 0);
        if (granularity != 512)
            out.SetAllocGranularity(granularity);
        int32_t end = 0;
        for (const Step& step : steps)
        {
            if (step.mReserve)
                out.Reserve(step.mLen);
            else
                out.Write(bytes.data() + end, step.mLen);
            end += step.mReserve ? 0 : step.mLen;
            SCOPED_TRACE(testing::Message()
                         << "granularity " << granularity << ", "
                         << (step.mReserve ? "reserve " : "write ") << step.mLen);
            EXPECT_EQ(out.GetCapacity(), step.mCapacity);
            EXPECT_EQ(out.GetEndPos(), end);
            EXPECT_EQ(out.GetPos(), end);
            EXPECT_EQ(0, std::memcmp(out.GetBuffer(), bytes.data(), static_cast<size_t>(end)));
        }
        out.CleanUp(); // does nothing
        EXPECT_EQ(out.GetEndPos(), end);
    }
    Cmn_MemBufferOutStream out;
    EXPECT_TRUE(Test_Asserts([&] { out.SetAllocGranularity(0); }, "iGranularity > 0"));
}

TEST(Cmn_MemBufferOutStream, EndPosIsTheHighWaterMark)
{
    Cmn_MemBufferOutStream out;
    out.Write("abcdef", 6);
    out.SetPos(2);
    out.Write("XY", 2);
    EXPECT_EQ(out.GetPos(), 4);
    EXPECT_EQ(out.GetEndPos(), 6);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(out.GetBuffer()), 6), "abXYef");
    out.SetPos(5); // writing over the end from inside raises the mark
    out.Write("XY", 2);
    EXPECT_EQ(out.GetEndPos(), 7);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(out.GetBuffer()), 7), "abXYeXY");
}

TEST(Cmn_MemBufferOutStream, SetPosToTheEndSucceedsAndOnePastThrows7_9)
{
    Cmn_MemBufferOutStream out;
    const auto bytes = Pattern(5);
    out.Write(bytes.data(), 5);
    out.SetPos(0);
    out.SetPos(5);
    EXPECT_TRUE(Test_ThrowsL10N([&] { out.SetPos(6); }, 7, 9));
    EXPECT_EQ(out.GetPos(), 5);
    // The capacity beyond the end is not a position.
    EXPECT_TRUE(Test_ThrowsL10N([&] { out.SetPos(out.GetCapacity()); }, 7, 9));
    EXPECT_TRUE(Test_Asserts([&] { out.SetPos(-1); }, "iPos >= 0"));
    EXPECT_TRUE(Test_Asserts([&] { out.Write(bytes.data(), -1); }, "iByteLen >= 0"));
}

// ---- Cmn_MemBufferOutStream: the fixed form ----------------------------------------------

TEST(Cmn_MemBufferOutStream, FixedFormWritesOnlyIntoTheCallersMemory)
{
    // Guard bytes around the caller's 6 bytes show that nothing is written past them.
    std::array<unsigned char, 10> memory;
    memory.fill(0xEE);
    Cmn_MemBufferOutStream out(memory.data() + 2, 6);
    EXPECT_FALSE(out.IsOwnBuffer());
    EXPECT_EQ(out.GetAllocGranularity(), 0);
    EXPECT_EQ(out.GetCapacity(), 6);
    EXPECT_EQ(out.GetBuffer(), memory.data() + 2);
    const auto bytes = Pattern(8);
    out.Write(bytes.data(), 4);
    EXPECT_TRUE(Test_Asserts([&] { out.Write(bytes.data() + 4, 3); }, "mbOwnBuffer"));
    EXPECT_EQ(out.GetPos(), 4);
    EXPECT_EQ(out.GetEndPos(), 4);
    for (size_t i : {0, 1, 6, 7, 8, 9}) // the failed write left even the fitting part alone
        EXPECT_EQ(memory[i], 0xEE) << i;
    out.Write(bytes.data() + 4, 2); // exactly full
    EXPECT_EQ(0, std::memcmp(memory.data() + 2, bytes.data(), 6));
    EXPECT_EQ(memory[8], 0xEE);
    EXPECT_TRUE(Test_Asserts([&] { out.Reserve(1); }, "mbOwnBuffer"));
    EXPECT_TRUE(Test_Asserts([&] { out.SetAllocGranularity(512); }, "mbOwnBuffer"));
}
