// Sys_Umid: the fixed-length text, byte swapping, ordering, streams and Create.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "Cmn_MemBufferStream.h"
#include "Sys_TypedStream.h"
#include "Sys_Umid.h"
#include "TestSupport.h"

TEST(Sys_Umid, FixedLengthStringIsA128BitNumberInBase64)
{
    struct Case
    {
        Sys_Umid mUmid;
        std::string mText;
    };
    const Case cases[] = {
        {Sys_Umid::NoID(), std::string(22, 'a')},
        {Sys_Umid(1, 0, 0, 0), std::string(21, 'a') + "b"},
        {Sys_Umid(64, 0, 0, 0), std::string(20, 'a') + "ba"},
        // Bit 32 is the low bit of the second word.
        {Sys_Umid(0, 1, 0, 0), std::string(16, 'a') + "e" + std::string(5, 'a')},
        {Sys_Umid(0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF), "d" + std::string(21, '!')},
        {Sys_Umid(0, 0, 0, 0x80000000), "c" + std::string(21, 'a')},
    };
    for (const Case& c : cases)
    {
        EXPECT_EQ(c.mUmid.AsFixedLengthString(), c.mText);
        EXPECT_EQ(Sys_Umid::FromFixedString(c.mText), c.mUmid) << c.mText;
    }
    const Sys_Umid mixed(0x01234567, 0x89ABCDEF, 0xDEADBEEF, 0x0BADF00D);
    EXPECT_EQ(Sys_Umid::FromFixedString(mixed.AsFixedLengthString() + "tail"), mixed);
}

TEST(Sys_Umid, FromFixedStringRefusesShortAndForeignText)
{
    EXPECT_TRUE(Test_Asserts([] { Sys_Umid::FromFixedString(std::string(21, 'a')); },
                             "inStr.size() >= 22"));
    try
    {
        Sys_Umid::FromFixedString(std::string(21, 'a') + " ");
        ADD_FAILURE() << "threw nothing";
    }
    catch (const std::runtime_error& e)
    {
        EXPECT_STREQ(e.what(), "Could not parse UID string.");
    }
}

TEST(Sys_Umid, SwapsEachWordAndOrdersByWord)
{
    Sys_Umid umid(0x11223344, 0xA0B0C0D0, 0, 0xFF);
    umid.SwapIfWin32();
    EXPECT_EQ(umid, Sys_Umid(0x44332211, 0xD0C0B0A0, 0, 0xFF000000));
    umid.SwapIfWin32();
    EXPECT_EQ(umid, Sys_Umid(0x11223344, 0xA0B0C0D0, 0, 0xFF));

    const Sys_Umid low(0, 9, 9, 9), high(1, 0, 0, 0);
    EXPECT_TRUE(low < high && high > low && low <= high && high >= low && low != high);
    EXPECT_FALSE(high < low || low > high || low == high);
    EXPECT_EQ(Sys_Umid(0x0A, 0, 0, 0xB).AsString(), "0000000A00000000000000000000000B");
}

TEST(Sys_Umid, StreamsFourWordsInTheStreamsOrder)
{
    Cmn_MemBufferOutStream mem;
    Sys_BigEndianOutStream out(&mem);
    const Sys_Umid umid(0x01020304, 5, 6, 7);
    out << umid;
    const std::vector<unsigned char> bytes = Test_Contents(mem);
    ASSERT_EQ(bytes.size(), 16u);
    EXPECT_EQ(bytes[0], 1);
    EXPECT_EQ(bytes[3], 4);
    Cmn_MemBufferInStream inMem(bytes.data(), bytes.data() + bytes.size());
    Sys_BigEndianInStream in(&inMem);
    Sys_Umid back;
    in >> back;
    EXPECT_EQ(back, umid);
}

TEST(Sys_Umid, CreateNeverSharesATick)
{
    const Sys_Umid first = Sys_Umid::Create();
    const Sys_Umid second = Sys_Umid::Create();
    EXPECT_EQ(first.GetWord(0), 0u);
    EXPECT_EQ(first.GetWord(1), 42u);
    EXPECT_NE(first.GetWord(3), second.GetWord(3));
    EXPECT_FALSE(first.IsNoID());
}
