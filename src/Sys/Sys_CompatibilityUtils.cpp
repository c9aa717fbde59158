#include "Sys_CompatibilityUtils.h"

#include <cstring>

bool Sys_CompatibilityUtils::ContainsIllegalChars(const std::string& iName, std::string* oFoundP)
{
    static const char cIllegal[] = "\\/:*?\"<>|";
    std::string found;
    for (const char c : iName)
    {
        const bool illegal = (static_cast<unsigned char>(c) < 32) ||
                             std::memchr(cIllegal, c, sizeof(cIllegal) - 1) != nullptr;
        if (illegal && found.find(c) == std::string::npos)
            found.push_back(c);
    }
    if (oFoundP)
        *oFoundP = found;
    return !found.empty();
}
