// Assertions that hold in every build.
//
// CMN_ASSERT(expr) passes one literal, the expression text, the mark "@$^$@" and the source
// path, to HandleMagicAssert, which splits it and calls HandleAssert. HandleAssert calls the
// settable handler (also for assertions that hold) and, when the assertion fails, throws
// Cmn_AssertException with "Assertion in \"expr\", line N". A misuse therefore unwinds like
// any other failure, and a test can show that it is caught.
#pragma once

#include "Cmn_Exception.h"

class Cmn_Assert
{
public:
    using Handler = void (*)(bool iOk, const char* iExpr, const char* iFile, int iLine);

    static void HandleAssert(bool iOk, const char* iExpr, const char* iFile, int iLine);
    static void HandleMagicAssert(bool iOk, const char* iText, int iLine);
    // Returns the previous handler. Not synchronised: set it up before threads start.
    static Handler SetHandler(Handler iHandlerP);

    static constexpr const char* cMark = "@$^$@";
    static Handler sHandlerP;
};

#define CMN_ASSERT(expr)                                                                           \
    do                                                                                             \
    {                                                                                              \
        if (!(expr))                                                                               \
            Cmn_Assert::HandleMagicAssert(false, #expr "@$^$@" __FILE__, __LINE__);                \
    } while (0)

// The same with a text of the caller's choosing in place of the expression.
#define CMN_ASSERT_TEXT(expr, text)                                                                \
    do                                                                                             \
    {                                                                                              \
        if (!(expr))                                                                               \
            Cmn_Assert::HandleMagicAssert(false, text "@$^$@" __FILE__, __LINE__);                 \
    } while (0)
