#include <gtest/gtest.h>
#include <sstream>
#include <string>

#include "Cmn_Assert.h"
#include "Cmn_Exception.h"
#include "Cmn_StackDump.h"
#include "L10N_ExceptionData.h"
#include "Support/TestSupport.h"

namespace
{
class CountingDump : public Cmn_StackDump
{
public:
    explicit CountingDump(int* ioLiveP) : mLiveP(ioLiveP) { ++*mLiveP; }
    CountingDump(const CountingDump& iOther) : Cmn_StackDump(iOther), mLiveP(iOther.mLiveP) { ++*mLiveP; }
    ~CountingDump() override { --*mLiveP; }
    Cmn_StackDump* Clone() const override { return new CountingDump(*this); }
    void Print(std::ostream& out) const override { out << "frame + 0x1\n"; }

private:
    int* mLiveP;
};

class TextContext : public Cmn_ExceptionDescription
{
public:
    explicit TextContext(std::string iText) : mText(std::move(iText)) {}
    const Cmn_ExceptionCode& GetExceptionCode() const override { return Cmn_StringExceptionCode::Instance(); }
    void PrintDescription(std::ostream& out) const override { out << mText; }

private:
    std::string mText;
};
} // namespace

TEST(Cmn_Exception, CopiesShareOneContextList)
{
    L10N_Exception original(L10N_GetExceptionCode(), L10N_ExceptionData(0, 40, "a.wav", "b.wav"));
    EXPECT_EQ(original.GetContextListBegin(), original.GetContextListEnd());
    // Before the first context there is no block, so an early copy keeps a list of its own.
    L10N_Exception early = original;
    original.AddContext(new TextContext("while converting"));
    EXPECT_EQ(early.GetContextListBegin(), early.GetContextListEnd());
    // Once the block exists, copies share it: a context added through one is seen by all.
    L10N_Exception later = original;
    later.AddContext(new TextContext("in batch 3"));
    EXPECT_EQ(std::distance(original.GetContextListBegin(), original.GetContextListEnd()), 2);
    EXPECT_EQ(Cmn_Exception::GetExceptionDescription(original),
              "Copying a.wav to b.wav\nwhile converting\nin batch 3");
    EXPECT_STREQ(later.what(), "Copying a.wav to b.wav\nwhile converting\nin batch 3");
    EXPECT_STREQ(early.what(), "Copying a.wav to b.wav");
}

TEST(Cmn_Exception, StackDumpIsOwnedAndShared)
{
    int live = 0;
    {
        L10N_Exception e(L10N_GetExceptionCode(), L10N_ExceptionData(7, 12), new CountingDump(&live));
        L10N_Exception copy = e;
        EXPECT_EQ(live, 1);
        ASSERT_NE(copy.GetStackDump(), nullptr);
        std::ostringstream out;
        copy.GetStackDump()->Print(out);
        EXPECT_EQ(out.str(), "frame + 0x1\n");
        std::unique_ptr<Cmn_Exception> clone(e.Clone());
        EXPECT_EQ(clone->GetStackDump(), e.GetStackDump());
    }
    EXPECT_EQ(live, 0);
}

TEST(Cmn_Exception, DescriptionOfForeignExceptionsIsWhat)
{
    EXPECT_EQ(Cmn_Exception::GetExceptionDescription(std::runtime_error("disk gone")), "disk gone");
    EXPECT_EQ(Cmn_Exception::GetExceptionDescription(Cmn_FatalException("fatal")), "fatal");
}

TEST(Cmn_Exception, CaptureKeepsKindAndRethrowsTheSameType)
{
    auto captured = Cmn_CaptureException(std::make_exception_ptr(
        L10N_Exception(L10N_GetExceptionCode(), L10N_ExceptionData(2, 28))));
    EXPECT_THROW(captured->Rethrow(), L10N_Exception);

    auto cancel = Cmn_CaptureException(std::make_exception_ptr(Cmn_CancelException()));
    EXPECT_TRUE(cancel->GetExceptionCode() == Cmn_ANSIExceptionCode<Cmn_CancelException>::Instance());
    EXPECT_TRUE(cancel->GetExceptionCode() != Cmn_ANSIExceptionCode<std::exception>::Instance());

    auto other = Cmn_CaptureException(std::make_exception_ptr(std::logic_error("bad order")));
    EXPECT_STREQ(other->what(), "bad order");
}

// Cmn raises its message-table failures through the hook L10N fills at load; without the
// hook they still come as a Cmn_Exception that names package and id.
TEST(Cmn_Exception, LocalisedFailuresAreL10NOnesOnceTheHookIsFilled)
{
    EXPECT_TRUE(Test_ThrowsL10N([] { Cmn_ThrowLocalised(7, 9); }, 7, 9));
    const Cmn_LocalisedThrowMethod installed = Cmn_SetLocalisedThrowMethod(nullptr);
    EXPECT_THROW(Cmn_ThrowLocalised(7, 9), Cmn_Exception);
    const std::string text = ThrownText([] { Cmn_ThrowLocalised(7, 9); });
    Cmn_SetLocalisedThrowMethod(installed);
    EXPECT_EQ(text, "failure 7.9");
}

namespace
{
struct HandlerLog
{
    int mCalls = 0;
    bool mLastOk = false;
    std::string mExpr, mFile;
    int mLine = 0;
};
HandlerLog sLog;
void RecordingHandler(bool iOk, const char* iExpr, const char* iFile, int iLine)
{
    ++sLog.mCalls;
    sLog.mLastOk = iOk;
    sLog.mExpr = iExpr;
    sLog.mFile = iFile;
    sLog.mLine = iLine;
}
} // namespace

TEST(Cmn_Assert, MagicLiteralSplitsIntoExpressionAndFile)
{
    sLog = {};
    const auto previous = Cmn_Assert::SetHandler(&RecordingHandler);
    try
    {
        Cmn_Assert::HandleMagicAssert(false, "x > 0@$^$@src/Foo.cpp", 42);
        FAIL() << "a failed assertion throws in every build";
    }
    catch (const Cmn_AssertException& e)
    {
        // The text names the expression and line, not the file.
        EXPECT_STREQ(e.what(), "Assertion in \"x > 0\", line 42");
    }
    EXPECT_EQ(sLog.mExpr, "x > 0");
    EXPECT_EQ(sLog.mFile, "src/Foo.cpp");
    EXPECT_EQ(sLog.mLine, 42);

    // The handler hears of assertions that hold too, and nothing is thrown.
    Cmn_Assert::HandleMagicAssert(true, "ok@$^$@f.cpp", 7);
    EXPECT_EQ(sLog.mCalls, 2);
    EXPECT_TRUE(sLog.mLastOk);

    EXPECT_EQ(Cmn_Assert::SetHandler(previous), &RecordingHandler);
}

TEST(Cmn_Assert, MacroThrowsWithTheExpressionText)
{
    const int count = 3;
    EXPECT_TRUE(Test_Asserts([&] { CMN_ASSERT(count == 4); }, "count == 4"));
    EXPECT_NO_THROW(CMN_ASSERT(count == 3));
}
