#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <stdexcept>

#include "L10N_ExceptionData.h"
#include "L10N_Utils.h"
#include "Support/TestSupport.h"

TEST(L10N_MessageTable, HoldsEveryPackageWithIdsFromOne)
{
    const auto ids = L10N_Utils::GetBuiltInResourceIDs();
    EXPECT_EQ(ids.size(), 769u);
    std::set<int32_t> packages;
    for (size_t i = 0; i < ids.size(); ++i)
    {
        if (i > 0)
        {
            EXPECT_LT(ids[i - 1], ids[i]) << "sorted and unique, so the lookup can bisect";
        }
        EXPECT_GE(ids[i] % 100, ids[i] < 100 ? 1 : 0);
        packages.insert(ids[i] / 100);
    }
    // Twenty packages, 0 to 19 (package 0 carries ids from 1 up, others from 100 x package).
    EXPECT_EQ(packages.size(), 20u);
    EXPECT_EQ(*packages.begin(), 0);
    EXPECT_EQ(*packages.rbegin(), 19);
}

TEST(L10N_MessageTable, TextsStandAsWritten)
{
    EXPECT_EQ(L10N_Utils::GetText(7, 12), "end of file encountered");
    EXPECT_EQ(L10N_Utils::GetText(2, 22), "end of stream encountered");
    EXPECT_EQ(L10N_Utils::GetText(1, 2, {"x"}), "x");
    // Trailing blanks are kept, backslashes stay literal, \n and \r become control characters.
    EXPECT_EQ(L10N_Utils::GetResourceString(2), "the \"Tarnwright\" folder could not be found ");
    EXPECT_EQ(L10N_Utils::GetResourceString(263), "Mira Deck\\Mira Deck Utilities\\ExceptionLogFiles");
    EXPECT_EQ(L10N_Utils::GetResourceString(265), "Description:\r\n%1\r\nStack:\r\n");
    EXPECT_EQ(L10N_Utils::GetResourceString(1416), "%1|%2|");
}

TEST(L10N_MessageTable, MissingTextThrowsZeroLengthString)
{
    try
    {
        L10N_Utils::GetText(9, 99);
        FAIL() << "no throw";
    }
    catch (const std::runtime_error& e)
    {
        EXPECT_STREQ(e.what(), "0 Length String");
    }
    EXPECT_THROW(L10N_Utils::GetResourceString(-1), std::runtime_error);
}

TEST(L10N_Inserts, ReplacesNumberedPlaceholders)
{
    EXPECT_EQ(L10N_Utils::ReplaceInserts("Copying %1 to %2", {"a.wav", "b.wav"}), "Copying a.wav to b.wav");
    EXPECT_EQ(L10N_Utils::ReplaceInserts("%2%1", {"a", "b"}), "ba");
    // A number with no insert gives "?", a lone "%" stays, "%%" stays as two.
    EXPECT_EQ(L10N_Utils::ReplaceInserts("%3 and %1", {"a"}), "? and a");
    EXPECT_EQ(L10N_Utils::ReplaceInserts("%0", {"a"}), "?");
    EXPECT_EQ(L10N_Utils::ReplaceInserts("4% Up, 100%", {}), "4% Up, 100%");
    EXPECT_EQ(L10N_Utils::ReplaceInserts("%%1", {"x"}), "%x");
    // An insert is not itself scanned for placeholders.
    EXPECT_EQ(L10N_Utils::ReplaceInserts("%1", {"%1%2"}), "%1%2");
    EXPECT_EQ(L10N_Utils::ReplaceInserts("%", {}), "%");
}

TEST(L10N_LocalizedTable, OverridesAndFallsBack)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/File_Resource.txt";
    {
        std::ofstream out(path);
        out << "# a test table\n712\tfin de fichier\n39\tConversion de %1 en %2\\n\nbad line\n\n";
    }
    ASSERT_TRUE(L10N_Utils::LoadLocalizedTable(path));
    EXPECT_EQ(L10N_Utils::GetText(7, 12), "fin de fichier");
    EXPECT_EQ(L10N_Utils::GetText(0, 39, {"a", "b"}), "Conversion de a en b\n");
    EXPECT_EQ(L10N_Utils::GetText(2, 22), "end of stream encountered") << "falls back to the built-in text";
    EXPECT_FALSE(L10N_Utils::LoadLocalizedTable(dir.Path() + "/missing.txt"));
    EXPECT_EQ(L10N_Utils::GetText(7, 12), "fin de fichier") << "a failed load keeps the table";
    L10N_Utils::UnloadLocalizedTable();
    EXPECT_EQ(L10N_Utils::GetText(7, 12), "end of file encountered");
}

TEST(L10N_ExceptionData, CarriesPackageIdAndInserts)
{
    const L10N_ExceptionData data(0, 40, "a", "b");
    EXPECT_EQ(data.GetNumInserts(), 2);
    EXPECT_EQ(data.GetInsertAt(1), "b");
    EXPECT_THROW(data.GetInsertAt(2), std::out_of_range);
    EXPECT_THROW(data.GetInsertAt(-1), std::out_of_range);
    EXPECT_EQ(data.GetText(), "Copying a to b");

    try
    {
        L10N_Throw(7, 12);
    }
    catch (const L10N_Exception& e)
    {
        EXPECT_TRUE(L10N_IsException(e, 7, 12));
        EXPECT_FALSE(L10N_IsException(e, 7, 11));
        EXPECT_STREQ(e.what(), "end of file encountered");
        EXPECT_TRUE(e.GetExceptionCode() == L10N_GetExceptionCode());
    }
}

#include "I18N_Utils.h"

TEST(I18N_Utils, LanguageTableWinsOverPlainTable)
{
    Test_TempDir dir;
    ::setenv("MIRAFILE_DATA_DIR", dir.Path().c_str(), 1);
    ::setenv("MIRAFILE_LANGUAGE", "de", 1);
    EXPECT_EQ(I18N_Utils::GetLanguage(), "de");
    EXPECT_EQ(I18N_Utils::LoadLocalizedResources(), "") << "no table: the built-in texts serve";
    std::ofstream(dir.Path() + "/File_Resource.txt") << "712\tplain\n";
    std::ofstream(dir.Path() + "/File_Resource.de.txt") << "712\tDateiende\n";
    EXPECT_EQ(I18N_Utils::LoadLocalizedResources(), dir.Path() + "/File_Resource.de.txt");
    EXPECT_EQ(L10N_Utils::GetText(7, 12), "Dateiende");
    ::setenv("MIRAFILE_LANGUAGE", "fr", 1);
    EXPECT_EQ(I18N_Utils::LoadLocalizedResources(), dir.Path() + "/File_Resource.txt");
    EXPECT_EQ(L10N_Utils::GetText(7, 12), "plain");
    L10N_Utils::UnloadLocalizedTable();
    ::unsetenv("MIRAFILE_LANGUAGE");
    ::unsetenv("MIRAFILE_DATA_DIR");
}
