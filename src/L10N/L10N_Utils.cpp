#include "L10N_Utils.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>


namespace
{
struct Entry
{
    int32_t mID;
    const char* mText;
};

const Entry sBuiltIn[] = {
#include "L10N_MessageTableData.inc"
};

std::map<int32_t, std::string>* sLocalizedP = nullptr;

std::string Unescape(const std::string& iText)
{
    std::string out;
    for (size_t i = 0; i < iText.size(); ++i)
    {
        if (iText[i] == '\\' && i + 1 < iText.size())
        {
            const char c = iText[i + 1];
            if (c == 'n' || c == 'r' || c == '\\')
            {
                out += c == 'n' ? '\n' : c == 'r' ? '\r' : '\\';
                ++i;
                continue;
            }
        }
        out += iText[i];
    }
    return out;
}
} // namespace

const char* L10N_Utils::FindBuiltInString(int32_t iResourceID)
{
    const auto* end = std::end(sBuiltIn);
    const auto* it = std::lower_bound(std::begin(sBuiltIn), end, iResourceID,
                                      [](const Entry& e, int32_t id) { return e.mID < id; });
    return it != end && it->mID == iResourceID ? it->mText : nullptr;
}

std::vector<int32_t> L10N_Utils::GetBuiltInResourceIDs()
{
    std::vector<int32_t> ids;
    for (const auto& e : sBuiltIn)
        ids.push_back(e.mID);
    return ids;
}

std::string L10N_Utils::GetResourceString(int32_t iResourceID)
{
    std::string text;
    if (sLocalizedP)
    {
        auto it = sLocalizedP->find(iResourceID);
        if (it != sLocalizedP->end())
            text = it->second;
    }
    if (text.empty())
    {
        const char* builtIn = FindBuiltInString(iResourceID);
        if (builtIn)
            text = builtIn;
    }
    if (text.empty())
        throw std::runtime_error("0 Length String");
    if (text.size() > static_cast<size_t>(cMaxTextLen))
        text.resize(cMaxTextLen);
    return text;
}

std::string L10N_Utils::ReplaceInserts(const std::string& iText, const std::vector<std::string>& iInserts)
{
    // Texts are UTF-8 here: a byte of a multi-byte character is never '%' or a digit, so no
    // lead-byte skipping is needed to keep a trail byte from being taken for a placeholder.
    std::string out;
    out.reserve(iText.size());
    for (size_t i = 0; i < iText.size(); ++i)
    {
        const char c = iText[i];
        if (c != '%' || i + 1 >= iText.size() || iText[i + 1] < '0' || iText[i + 1] > '9')
        {
            out += c;
            continue;
        }
        size_t j = i + 1;
        uint64_t n = 0;
        while (j < iText.size() && iText[j] >= '0' && iText[j] <= '9')
        {
            if (n < 1000000)
                n = n * 10 + static_cast<uint64_t>(iText[j] - '0');
            ++j;
        }
        if (n >= 1 && n <= 9 && n <= iInserts.size())
            out += iInserts[n - 1];
        else
            out += '?';
        i = j - 1;
    }
    return out;
}

std::string L10N_Utils::GetText(int32_t iPackageID, int32_t iStringID,
                                const std::vector<std::string>& iInserts)
{
    return ReplaceInserts(GetResourceString(iPackageID * 100 + iStringID), iInserts);
}

bool L10N_Utils::LoadLocalizedTable(const std::string& iPath)
{
    std::ifstream in(iPath);
    if (!in)
        return false;
    auto table = std::make_unique<std::map<int32_t, std::string>>();
    std::string line;
    while (std::getline(in, line))
    {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.empty() || line[0] == '#')
            continue;
        const auto tab = line.find('\t');
        if (tab == std::string::npos || tab == 0)
            continue;
        char* endP = nullptr;
        const std::string idText = line.substr(0, tab);
        const long id = std::strtol(idText.c_str(), &endP, 10);
        if (*endP != '\0' || id < 0 || id > 1000000)
            continue;
        (*table)[static_cast<int32_t>(id)] = Unescape(line.substr(tab + 1));
    }
    UnloadLocalizedTable();
    sLocalizedP = table.release();
    return true;
}

void L10N_Utils::UnloadLocalizedTable()
{
    delete sLocalizedP;
    sLocalizedP = nullptr;
}
