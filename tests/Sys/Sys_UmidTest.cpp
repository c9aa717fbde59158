// Sys_Umid: the fixed-length text, byte swapping, ordering, streams and Create.
#include "Sys_Umid.h"
#include "Support/SysTestSupport.h"

TEST(Sys_Umid, FixedLengthStringIsA128BitNumberInBase64)
{
    const std::pair<Sys_Umid, std::string> cases[] = {
        {Sys_Umid::NoID(), std::string(22, 'a')},
        {Sys_Umid(1, 0, 0, 0), std::string(21, 'a') + "b"},
        {Sys_Umid(64, 0, 0, 0), std::string(20, 'a') + "ba"},
        // Bit 32 is the low bit of the second word.
        {Sys_Umid(0, 1, 0, 0), std::string(16, 'a') + "e" + std::string(5, 'a')},
        {Sys_Umid(0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF), "d" + std::string(21, '!')},
        {Sys_Umid(0, 0, 0, 0x80000000), "c" + std::string(21, 'a')},
    };
    for (const auto& [umid, text] : cases)
    {
        EXPECT_EQ(umid.AsFixedLengthString(), text);
        EXPECT_EQ(Sys_Umid::FromFixedString(text), umid) << text;
    }
    const Sys_Umid mixed(0x01234567, 0x89ABCDEF, 0xDEADBEEF, 0x0BADF00D);
    EXPECT_EQ(Sys_Umid::FromFixedString(mixed.AsFixedLengthString() + "tail"), mixed);

    // Short and foreign text are refused.
    EXPECT_TRUE(Test_Asserts([] { Sys_Umid::FromFixedString(std::string(21, 'a')); },
                             "inStr.size() >= 22"));
    EXPECT_EQ(ThrownError([] { Sys_Umid::FromFixedString(std::string(21, 'a') + " "); }).second,
              "Could not parse UID string.");
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
    const Sys_Umid umid(0x01020304, 5, 6, 7);
    for (size_t order : {1, 2})
    {
        Test_Out out(order);
        *out << umid;
        const Bytes big = {1, 2, 3, 4, 0, 0, 0, 5, 0, 0, 0, 6, 0, 0, 0, 7};
        const Bytes little = {4, 3, 2, 1, 5, 0, 0, 0, 6, 0, 0, 0, 7, 0, 0, 0};
        EXPECT_EQ(out.Get(), order == 2 ? big : little);
        Sys_Umid back;
        *Test_In(out.Get(), order) >> back;
        EXPECT_EQ(back, umid);
    }
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
