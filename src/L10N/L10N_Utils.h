// The message table and its text helper.
//
// Texts are looked up by resource id (package x 100 + id): first in a localized table when
// one is loaded, then in the table compiled into the library. A localized table is a text
// file (I18N_Utils finds "File_Resource.txt" in the data folder): one
// entry a line, "<resource id><TAB><text>", with \n, \r and \\ standing for a newline, a
// carriage return and a backslash; lines starting with '#' and blank lines are skipped.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class L10N_Utils
{
public:
    static constexpr int32_t cMaxTextLen = 1023;

    // The raw text of a resource id, cut at cMaxTextLen bytes; throws std::runtime_error with
    // "0 Length String" when there is none or it is empty.
    static std::string GetResourceString(int32_t iResourceID);
    // The text of package and id with "%n" replaced by the n-th insert: a number with no
    // insert gives "?", a "%" with no number stays.
    static std::string GetText(int32_t iPackageID, int32_t iStringID,
                               const std::vector<std::string>& iInserts = {});
    static std::string ReplaceInserts(const std::string& iText, const std::vector<std::string>& iInserts);

    // The compiled-in text of a resource id, or nullptr.
    static const char* FindBuiltInString(int32_t iResourceID);
    // Every compiled-in resource id, ascending.
    static std::vector<int32_t> GetBuiltInResourceIDs();

    // Loads a localized table, replacing any loaded before; returns false (and keeps the old
    // one) when the file cannot be read. Not synchronised: call it at start-up.
    static bool LoadLocalizedTable(const std::string& iPath);
    static void UnloadLocalizedTable();

    static constexpr const char* cResourceLibraryName = "File_Resource";
};
