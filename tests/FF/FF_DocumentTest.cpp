// The document container: named streams and raw bytes through close and reopen, refusal of
// files that are not documents of the kind asked for, lying sizes, crashes and failed
// writes, and operations that the document's state does not allow.
#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FF/FF_Document.h"
#include "Support/FFTestSupport.h"
#include "Sys_FilePosix.h"

namespace
{
using Doc = FF_Document;

uint64_t GetBE(const Bytes& iBytes, size_t iAt, int iWidth)
{
    uint64_t value = 0;
    for (int i = 0; i < iWidth; ++i)
        value = (value << 8) | iBytes.at(iAt + size_t(i));
    return value;
}

void PutBE(Bytes& ioBytes, size_t iAt, uint64_t iValue, int iWidth)
{
    for (int i = 0; i < iWidth; ++i)
        ioBytes.at(iAt + size_t(i)) = uint8_t(iValue >> (8 * (iWidth - 1 - i)));
}

Bytes Text(const std::string& iText)
{
    return Bytes(iText.begin(), iText.end());
}

Bytes StreamOf(Doc& ioDoc, const std::string& iKey)
{
    const auto stream = ioDoc.ReadStream(iKey);
    return stream ? stream->GetBytes() : Text("<none>");
}

// Header offsets: type 12, creator 16, TOC position 20, TOC size 28. TOC block: count at
// +12, then the entries (key length, key, position, size).
constexpr size_t cTOCPositionAt = 20, cTOCSizeAt = 28;

// A document of two streams and some raw bytes, flushed.
std::string MakeSample(const std::string& iPath, int64_t* oRawPositionP = nullptr)
{
    Doc doc(Sys_FileLoc(iPath), "TEST", "MiRa");
    doc.Open(Cmn_Store::eOpenFlag_OpenCreate);
    const Bytes a = Text("alpha stream"), b = Text("b");
    doc.WriteStream("a", a.data(), int64_t(a.size()));
    const int64_t raw = doc.AppendBytes("RAWBYTES", 8);
    doc.WriteStream("b", b.data(), int64_t(b.size()));
    if (oRawPositionP)
        *oRawPositionP = raw;
    doc.Close();
    return iPath;
}

TEST(FF_Document, StreamsAndRawBytesSurviveCloseAndReopen)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/doc";
    int64_t raw = 0;
    MakeSample(path, &raw);
    {
        Doc doc(Sys_FileLoc(path), "TEST", "MiRa");
        doc.Open(Cmn_Store::eOpenFlag_OpenForWrite);
        EXPECT_EQ(doc.GetStreamKeys(), (std::vector<std::string>{"a", "b"}));
        EXPECT_EQ(StreamOf(doc, "a"), Text("alpha stream"));
        // Replace one, add an empty one, append raw bytes again; the old raw bytes stay.
        const Bytes longer = Text("a longer alpha stream");
        doc.WriteStream("a", longer.data(), int64_t(longer.size()));
        doc.WriteStream("empty", nullptr, 0);
        const int64_t end = doc.SeekToEnd();
        EXPECT_EQ(doc.AppendBytes("MORE", 4), end);
        EXPECT_EQ(doc.SeekToEnd(), end + 4);
        EXPECT_TRUE(doc.IsDirty());
        doc.Close();
    }
    const Bytes bytes = ReadBytes(path);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 6), Doc::cHeaderTag);
    EXPECT_EQ(std::string(bytes.begin() + 12, bytes.begin() + 20), "TESTMiRa");
    // The TOC is the last thing in the file.
    EXPECT_EQ(GetBE(bytes, cTOCPositionAt, 8) + GetBE(bytes, cTOCSizeAt, 4), bytes.size());

    Doc doc(Sys_FileLoc(path), "TEST", "MiRa");
    doc.Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_EQ(doc.GetStreamKeys(), (std::vector<std::string>{"a", "b", "empty"}));
    EXPECT_EQ(StreamOf(doc, "a"), Text("a longer alpha stream"));
    EXPECT_EQ(StreamOf(doc, "b"), Text("b"));
    EXPECT_EQ(StreamOf(doc, "empty"), Bytes());
    EXPECT_EQ(StreamOf(doc, "missing"), Text("<none>"));
    EXPECT_FALSE(doc.HasStream("missing"));
    char back[8] = {};
    doc.ReadBytes(raw, back, 8);
    EXPECT_EQ(std::string(back, 8), "RAWBYTES");
    // The stream is a memory stream over its bytes.
    const auto stream = doc.ReadStream("a");
    char first[5] = {};
    stream->Read(first, 5);
    EXPECT_EQ(std::string(first, 5), "a lon");
    EXPECT_EQ(stream->GetEndPos(), 21);
    // Raw ranges outside the data are refused.
    for (const int64_t at : {int64_t(0), int64_t(Doc::cHeaderSize - 1), doc.SeekToEnd() - 3})
        EXPECT_TRUE(Test_ThrowsL10N([&] { doc.ReadBytes(at, back, 4); }, 0, 44)) << at;
}

// Damaged headers and lying tables of contents, the telling cases of the bad bytes that the
// cache fuzz targets feed the document (fuzz/OverviewCacheOldFuzz.cpp). A refused file is left
// alone.
TEST(FF_Document, FilesThatAreNotDocumentsOfThisKindOrLieAreRefused)
{
    Test_TempDir dir;
    const Bytes good = ReadBytes(MakeSample(dir.Path() + "/doc"));
    const size_t toc = size_t(GetBE(good, cTOCPositionAt, 8));
    const size_t firstEntry = toc + 16; // key "a": length 4, 1 byte, position 8, size 8
    const size_t secondEntry = firstEntry + 21;
    struct Case
    {
        const char* mName;
        std::function<void(Bytes&)> mDamage;
        int32_t mPackage = 0, mID = 46; // package -1: FailQuietlyException
    };
    const Case cases[] = {
        {"empty file", [](Bytes& b) { b.clear(); }, 0, 44},
        {"wrong magic", [](Bytes& b) { b[0] = 'X'; }, 2, 28},
        {"later version", [](Bytes& b) { PutBE(b, 6, 2, 2); }, 0, 44},
        {"header size lies", [](Bytes& b) { PutBE(b, 8, 40, 4); }, 0, 44},
        {"short header", [](Bytes& b) { b.resize(30); }, 0, 44},
        {"wrong type", [](Bytes& b) { b[12] = 'X'; }, -1, 0},
        {"wrong creator", [](Bytes& b) { b[19] = 'X'; }, -1, 0},
        {"TOC position past the end", [&](Bytes& b) { PutBE(b, cTOCPositionAt, b.size() + 1, 8); }},
        {"TOC position inside the header", [&](Bytes& b) { PutBE(b, cTOCPositionAt, 20, 8); }},
        {"TOC size past the end", [&](Bytes& b) { PutBE(b, cTOCSizeAt, 0x7FFFFFFF, 4); }},
        {"TOC size too small", [&](Bytes& b) { PutBE(b, cTOCSizeAt, 15, 4); }},
        {"TOC block size lies", [&](Bytes& b) { PutBE(b, toc + 8, 1000, 4); }},
        {"TOC count lies", [&](Bytes& b) { PutBE(b, toc + 12, 0x10000000, 4); }},
        {"negative count", [&](Bytes& b) { PutBE(b, toc + 12, 0xFFFFFFFF, 4); }},
        {"key length lies", [&](Bytes& b) { PutBE(b, firstEntry, 0x7FFFFFF0, 4); }},
        {"stream into the TOC", [&](Bytes& b) { PutBE(b, firstEntry + 13, toc, 8); }},
        {"stream in the header", [&](Bytes& b) { PutBE(b, firstEntry + 5, 47, 8); }},
        {"negative stream size", [&](Bytes& b) { PutBE(b, firstEntry + 13, ~uint64_t(0), 8); }},
        {"keys out of order", [&](Bytes& b) { b[secondEntry + 4] = 'a'; }},
        {"cut in the TOC", [&](Bytes& b) { b.resize(b.size() - 1); }},
        {"wrong TOC magic", [&](Bytes& b) { b[toc] = 'X'; }},
    };
    const std::string bad = dir.Path() + "/bad";
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mName);
        Bytes bytes = good;
        c.mDamage(bytes);
        WriteBytes(bad, bytes);
        Doc doc(Sys_FileLoc(bad), "TEST", "MiRa");
        for (const auto flag :
             {Cmn_Store::eOpenFlag_OpenForRead, Cmn_Store::eOpenFlag_OpenForWrite})
        {
            if (c.mPackage >= 0)
                EXPECT_TRUE(Test_ThrowsL10N([&] { doc.Open(flag); }, c.mPackage, c.mID));
            else
                EXPECT_THROW(doc.Open(flag), Doc::FailQuietlyException);
            EXPECT_FALSE(doc.IsOpen());
        }
        EXPECT_EQ(ReadBytes(bad), bytes);
    }
}

// A crash anywhere between two flushes, and writes that fail during a flush, leave a file
// that opens as it was at the last flush or as the flush made it.
TEST(FF_Document, CrashesAndFailedWritesLeaveTheLastCommittedState)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/doc";
    const std::string crashed = dir.Path() + "/crashed";
    for (int32_t nth = 0; nth <= 4; ++nth)
    {
        SCOPED_TRACE("write " + std::to_string(nth) + " fails");
        MakeSample(path);
        bool threw = false;
        {
            Doc doc(Sys_FileLoc(path), "TEST", "MiRa");
            doc.Open(Cmn_Store::eOpenFlag_OpenForWrite);
            const Bytes a = Text("new alpha");
            doc.WriteStream("a", a.data(), int64_t(a.size()));
            doc.WriteStream("c", a.data(), int64_t(a.size()));
            WriteBytes(crashed, ReadBytes(path)); // a crash before the flush
            {
                Doc old(Sys_FileLoc(crashed), "TEST", "MiRa");
                old.Open(Cmn_Store::eOpenFlag_OpenForRead);
                EXPECT_EQ(StreamOf(old, "a"), Text("alpha stream"));
                EXPECT_FALSE(old.HasStream("c"));
            }
            Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Write, nth, EIO);
            try
            {
                doc.Flush();
            }
            catch (const Cmn_Exception&)
            {
                threw = true;
            }
            Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Write, 0, 0);
            WriteBytes(crashed, ReadBytes(path)); // a crash after the failure
        }
        EXPECT_EQ(threw, nth == 1 || nth == 2) << "the TOC, then the header";
        Doc doc(Sys_FileLoc(crashed), "TEST", "MiRa");
        doc.Open(Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(StreamOf(doc, "b"), Text("b"));
        if (threw)
        {
            EXPECT_EQ(StreamOf(doc, "a"), Text("alpha stream"));
            EXPECT_FALSE(doc.HasStream("c"));
        }
        else
        {
            EXPECT_EQ(StreamOf(doc, "a"), Text("new alpha"));
            EXPECT_EQ(StreamOf(doc, "c"), Text("new alpha"));
        }
    }
}

TEST(FF_Document, OperationsTheStateDoesNotAllowThrowInvalidContext)
{
    Test_TempDir dir;
    const std::string path = MakeSample(dir.Path() + "/doc");
    Doc doc(Sys_FileLoc(path), "TEST", "MiRa");
    char buffer[4] = {};
    struct Case
    {
        const char* mName;
        bool mNeedsWrite;
        std::function<void()> mAction;
    };
    const Case cases[] = {
        {"HasStream", false, [&] { doc.HasStream("a"); }},
        {"GetStreamKeys", false, [&] { doc.GetStreamKeys(); }},
        {"ReadStream", false, [&] { doc.ReadStream("a"); }},
        {"SeekToEnd", false, [&] { doc.SeekToEnd(); }},
        {"ReadBytes", false, [&] { doc.ReadBytes(Doc::cHeaderSize, buffer, 1); }},
        {"Flush", false, [&] { doc.Flush(); }},
        {"WriteStream", true, [&] { doc.WriteStream("x", buffer, 4); }},
        {"AppendBytes", true, [&] { doc.AppendBytes(buffer, 4); }},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mName);
        EXPECT_THROW(c.mAction(), Doc::InvalidContextException) << "closed";
        doc.Open(Cmn_Store::eOpenFlag_OpenForRead);
        if (c.mNeedsWrite)
            EXPECT_THROW(c.mAction(), Doc::InvalidContextException) << "open for reading";
        else
            EXPECT_NO_THROW(c.mAction());
        doc.Close();
    }
    EXPECT_TRUE(Test_Asserts([&] { Doc(Sys_FileLoc(path), "TOOLONG", "MiRa"); },
                             "iFileType.size() == size_t(cTypeLength) && iCreator.size() == "
                             "size_t(cTypeLength)"));
    doc.Open(Cmn_Store::eOpenFlag_OpenForWrite);
    EXPECT_THROW(doc.WriteStream("", buffer, 1), Cmn_AssertException);
    EXPECT_THROW(doc.AppendBytes(buffer, -1), Cmn_AssertException);
    doc.Close();

    // Both kinds keep their own identity when captured as the family's exceptions.
    const auto invalid =
        Doc::CaptureException(std::make_exception_ptr(Doc::InvalidContextException("closed")));
    EXPECT_TRUE(invalid->GetExceptionCode() ==
                Cmn_ANSIExceptionCode<Doc::InvalidContextException>::Instance());
    const auto quiet =
        Doc::CaptureException(std::make_exception_ptr(Doc::FailQuietlyException("other")));
    EXPECT_TRUE(quiet->GetExceptionCode() ==
                Cmn_ANSIExceptionCode<Doc::FailQuietlyException>::Instance());
    EXPECT_STREQ(quiet->what(), "other");
}

TEST(FF_Document, MissingFilesAreCreatedOnlyByOpenCreate)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/doc";
    Doc doc(Sys_FileLoc(path), "TEST", "MiRa");
    EXPECT_THROW(doc.Open(Cmn_Store::eOpenFlag_OpenForRead), Cmn_Exception);
    EXPECT_THROW(doc.Open(Cmn_Store::eOpenFlag_OpenForWrite), Cmn_Exception);
    EXPECT_FALSE(doc.IsOpen());
    doc.Open(Cmn_Store::eOpenFlag_OpenCreate);
    EXPECT_FALSE(doc.IsDirty()) << "a new document is committed at once";
    doc.Close();
    Doc again(Sys_FileLoc(path), "TEST", "MiRa");
    again.Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_TRUE(again.GetStreamKeys().empty());
    EXPECT_EQ(again.SeekToEnd(), int64_t(ReadBytes(path).size()));
}
} // namespace
