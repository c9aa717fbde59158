#include "Cmn_Assert.h"

#include <cstring>
#include <string>

Cmn_Assert::Handler Cmn_Assert::sHandlerP = nullptr;

void Cmn_Assert::HandleAssert(bool iOk, const char* iExpr, const char* iFile, int iLine)
{
    if (sHandlerP)
        sHandlerP(iOk, iExpr, iFile, iLine);
    if (!iOk)
        throw Cmn_AssertException("Assertion in \"" + std::string(iExpr ? iExpr : "") +
                                  "\", line " + std::to_string(iLine));
}

void Cmn_Assert::HandleMagicAssert(bool iOk, const char* iText, int iLine)
{
    const std::string text = iText ? iText : "";
    const auto mark = text.find(cMark);
    if (mark == std::string::npos)
    {
        HandleAssert(iOk, text.c_str(), "", iLine);
        return;
    }
    const std::string expr = text.substr(0, mark);
    const std::string file = text.substr(mark + std::strlen(cMark));
    HandleAssert(iOk, expr.c_str(), file.c_str(), iLine);
}

Cmn_Assert::Handler Cmn_Assert::SetHandler(Handler iHandlerP)
{
    Handler old = sHandlerP;
    sHandlerP = iHandlerP;
    return old;
}
