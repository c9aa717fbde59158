#include "Cmn_StackDump.h"
#include "L10N_Utils.h"
#include "Support/SysTestSupport.h"
#include "Sys_StackDumpPosix.h"
#include "Sys_Utils.h"

TEST(Sys_OSErrData, InsertNamesErrorNumberAndContext)
{
    const Sys_OSErrData data(ENOENT, "while opening \"a.wav\"");
    EXPECT_EQ(data.GetPackageID(), 1);
    EXPECT_EQ(data.GetStringID(), 2);
    EXPECT_EQ(data.GetNumInserts(), 1);
    EXPECT_EQ(data.GetInsertAt(0), "No such file or directory (2) - while opening \"a.wav\"");
    EXPECT_THROW(data.GetInsertAt(1), Cmn_AssertException);
    EXPECT_EQ(data.GetText(), data.GetInsertAt(0));
    // Negative numbers are Mac errors.
    const std::tuple<int32_t, const char*, const char*> rows[] = {
        {EACCES, "", "Permission denied (13)"},
        {-43, "", "File or folder not found (-43)"},
        {-34, "x", "Disk full (-34) - x"},
        {-31999, "", "Mac OS error (-31999)"}};
    for (const auto& [error, context, text] : rows)
        EXPECT_EQ(Sys_OSErrData(error, context).GetInsertAt(0), text);

    EXPECT_NO_THROW(Sys_ThrowIfOSErr(0, "fine"));
    try
    {
        Sys_ThrowIfOSErr(ENOSPC, "while writing");
        ADD_FAILURE() << "threw nothing";
    }
    catch (const Sys_OSErrException& e)
    {
        EXPECT_TRUE(e.GetExceptionCode() == Sys_GetOSErrCode());
        EXPECT_EQ(e.GetData().GetError(), ENOSPC);
        EXPECT_NE(std::string(e.what()).find("No space left on device (28)"), std::string::npos);
    }
}

TEST(Sys_Utils, ExceptionLogsAreNumberedAndHoldDescriptionAndStack)
{
    Test_TempDir dir;
    ::setenv("MIRAFILE_DATA_DIR", dir.Path().c_str(), 1);
    const auto previous =
        Cmn_StackDump::SetCreateMethod([]() -> Cmn_StackDump* { return new Sys_StackDumpPosix; });
    std::string first, second;
    try
    {
        Sys_ThrowIfOSErr(EIO, "while reading \"take.wav\"");
    }
    catch (const std::exception& e)
    {
        first = Sys_Utils::WriteExceptionLog(e);
        second = Sys_Utils::WriteExceptionLog(e);
    }
    Cmn_StackDump::SetCreateMethod(previous);
    const std::string folder = dir.Path() + "/Mira Deck/Mira Deck Utilities/ExceptionLogFiles";
    EXPECT_EQ(first, folder + "/Log-0.mdx");
    EXPECT_EQ(second, folder + "/Log-1.mdx");
    const std::string text = ReadBytes<std::string>(first);
    EXPECT_EQ(
        text.rfind(
            "Description:\r\nInput/output error (5) - while reading \"take.wav\"\r\nStack:\r\n", 0),
        0u);
    EXPECT_NE(text.find(" + 0x"), std::string::npos) << "named frames";
    EXPECT_EQ(Sys_Utils::WriteExceptionLog(Cmn_CancelException()), "") << "a cancel is not logged";
    ::unsetenv("MIRAFILE_DATA_DIR");
}
