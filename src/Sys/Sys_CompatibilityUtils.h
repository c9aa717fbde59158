// Checks that keep names portable to every file system the application meets.
#pragma once

#include <string>

class Sys_CompatibilityUtils
{
public:
    // True when iName holds a character that a Windows file name may not hold (\ / : * ? "
    // < > |) or a control character (1 to 31, and NUL); oFoundP (may be null) gets each such
    // character once, in the order of first appearance.
    static bool ContainsIllegalChars(const std::string& iName, std::string* oFoundP = nullptr);
};
