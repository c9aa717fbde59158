#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <sys/stat.h>
#include <thread>
#include <vector>

#include "Cmn_Assert.h"
#include "Sys_AsyncFileIOParams.h"
#include "Sys_Event.h"
#include "Sys_File.h"
#include "Sys_FileLoc.h"
#include "Sys_FilePosix.h"
#include "Sys_OSErrData.h"
#include "Sys_Volume.h"
#include "TestSupport.h"

namespace
{
using Bytes = std::vector<unsigned char>;

Bytes Pattern(size_t iSize, uint32_t iSeed = 1)
{
    Bytes bytes(iSize);
    std::mt19937 random(iSeed);
    for (auto& b : bytes)
        b = static_cast<unsigned char>(random());
    return bytes;
}

void WriteWholeFile(const std::string& iPath, const Bytes& iBytes)
{
    std::ofstream out(iPath, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(iBytes.data()), std::streamsize(iBytes.size()));
}

Bytes ReadWholeFile(const std::string& iPath)
{
    std::ifstream in(iPath, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool Exists(const std::string& iPath)
{
    struct stat info
    {
    };
    return ::stat(iPath.c_str(), &info) == 0;
}

int32_t ErrorOf(const std::exception& iException)
{
    const auto* osError = dynamic_cast<const Sys_OSErrException*>(&iException);
    return osError ? osError->GetData().GetError() : 0;
}

std::string AssertTextOf(const std::function<void()>& iAction)
{
    try
    {
        iAction();
    }
    catch (const Cmn_AssertException& e)
    {
        return e.what();
    }
    return std::string();
}

constexpr int32_t cRead = Sys_File::eOpen_ForRead | Sys_File::eOpen_Existing;
constexpr int32_t cReadWrite = cRead | Sys_File::eOpen_ForWrite;
constexpr int32_t cCreate = Sys_File::eOpen_Create | Sys_File::eOpen_ShareRead |
                            Sys_File::eOpen_ShareWrite; // 563 once Open adds read and write

class Sys_FileTest : public ::testing::Test
{
protected:
    std::string PathOf(const std::string& iName) const { return mDir.Path() + "/" + iName; }
    Test_TempDir mDir;
};
} // namespace

// ---- open flags ---------------------------------------------------------------------------

TEST_F(Sys_FileTest, CreateAloneTruncatesAndOpensForReadAndWrite)
{
    WriteWholeFile(PathOf("a"), Pattern(1000));
    Sys_File file(Sys_FileLoc(PathOf("a")));
    file.Open(Sys_File::eOpen_Create);
    EXPECT_EQ(file.GetEOF(), 0);
    const Bytes data = Pattern(10, 7);
    EXPECT_EQ(file.Write(data.data(), 10), 10);
    file.SetPosition(Sys_File::eOffsetFrom_Start, 0);
    Bytes back(10);
    EXPECT_EQ(file.Read(back.data(), 10), 10);
    EXPECT_EQ(back, data);
    auto* impl = dynamic_cast<Sys_FilePosix*>(file.GetImpl());
    ASSERT_NE(impl, nullptr);
    EXPECT_EQ(impl->GetOpenFlags() & 3, 3);
    EXPECT_NE(impl->GetOpenFlags() & Sys_File::eOpen_AsyncIO, 0) << "always on for this host";
}

TEST_F(Sys_FileTest, CreateWithExistingKeepsContentAndMakesMissingFiles)
{
    const Bytes data = Pattern(1000);
    WriteWholeFile(PathOf("a"), data);
    Sys_File file(Sys_FileLoc(PathOf("a")));
    file.Open(Sys_File::eOpen_Create | Sys_File::eOpen_Existing);
    EXPECT_EQ(file.GetEOF(), 1000);
    file.Close();

    Sys_File fresh(Sys_FileLoc(PathOf("b")));
    fresh.Open(Sys_File::eOpen_Create | Sys_File::eOpen_Existing);
    EXPECT_EQ(fresh.GetEOF(), 0);
    EXPECT_TRUE(Exists(PathOf("b")));
}

TEST_F(Sys_FileTest, ExistingAloneNeedsTheFile)
{
    Sys_File file(Sys_FileLoc(PathOf("missing")));
    try
    {
        file.Open(cRead);
        FAIL() << "opening a missing file must fail";
    }
    catch (const std::exception& e)
    {
        EXPECT_EQ(ErrorOf(e), ENOENT);
        EXPECT_NE(std::string(e.what()).find(PathOf("missing")), std::string::npos);
    }
    EXPECT_FALSE(file.IsOpen());
    EXPECT_FALSE(Exists(PathOf("missing")));
}

TEST_F(Sys_FileTest, SharingIsAlwaysGranted)
{
    Sys_File writer(Sys_FileLoc(PathOf("a")));
    writer.Open(Sys_File::eOpen_Create); // no share bits
    Sys_File other(Sys_FileLoc(PathOf("a")));
    other.Open(cReadWrite);
    const Bytes data = Pattern(64);
    writer.Write(data.data(), 64);
    Bytes back(64);
    EXPECT_EQ(other.Read(back.data(), 64), 64);
    EXPECT_EQ(back, data);
}

TEST_F(Sys_FileTest, DeleteOnCloseRemovesTheFileAtClose)
{
    Sys_File file(Sys_FileLoc(PathOf("temp")));
    file.Open(cCreate | Sys_File::eOpen_DeleteOnClose);
    const Bytes data = Pattern(100);
    file.Write(data.data(), 100);
    EXPECT_TRUE(Exists(PathOf("temp")));
    file.Close();
    EXPECT_FALSE(Exists(PathOf("temp")));
    EXPECT_FALSE(file.IsOnline());
}

TEST_F(Sys_FileTest, WriteThroughNeedsWriteAccess)
{
    WriteWholeFile(PathOf("a"), Pattern(10));
    Sys_File file(Sys_FileLoc(PathOf("a")));
    const std::string text = AssertTextOf([&] { file.Open(cRead | Sys_File::eOpen_WriteThrough); });
    EXPECT_NE(text.find("( inOpenFlags & Sys_File::eOpen_ForWrite ) != 0"), std::string::npos);
    EXPECT_FALSE(file.IsOpen());

    file.Open(cReadWrite | Sys_File::eOpen_WriteThrough);
    const Bytes data = Pattern(5000, 3);
    EXPECT_EQ(file.Write(data.data(), 5000), 5000);
    file.Close();
    EXPECT_EQ(ReadWholeFile(PathOf("a")), data);
}

TEST_F(Sys_FileTest, OpenTwiceFailsTheAssertionAndCloseAllowsReopening)
{
    WriteWholeFile(PathOf("a"), Pattern(10));
    Sys_File file(Sys_FileLoc(PathOf("a")));
    file.Open(cRead);
    EXPECT_NE(AssertTextOf([&] { file.Open(cRead); }).find("!this->IsOpen()"), std::string::npos);
    file.Close();
    EXPECT_FALSE(file.IsOpen());
    file.Open(cRead);
    EXPECT_EQ(file.GetEOF(), 10);
    EXPECT_EQ(file.GetPosition(), 0);
}

TEST(Sys_FileFront, NullImplementationFailsTheAssertion)
{
    EXPECT_THROW(Sys_File(static_cast<Sys_FileImpl*>(nullptr)), Cmn_AssertException);
}

// ---- positions, reads and writes -----------------------------------------------------------

TEST_F(Sys_FileTest, ShortCountsAtTheEndAreNoFailure)
{
    const Bytes data = Pattern(100);
    WriteWholeFile(PathOf("a"), data);
    Sys_File file(Sys_FileLoc(PathOf("a")));
    file.Open(cRead);
    file.SetPosition(Sys_File::eOffsetFrom_End, 30);
    EXPECT_EQ(file.GetPosition(), 70);
    Bytes back(50);
    EXPECT_EQ(file.Read(back.data(), 50), 30);
    EXPECT_TRUE(std::equal(back.begin(), back.begin() + 30, data.begin() + 70));
    EXPECT_EQ(file.GetPosition(), 100);
    EXPECT_EQ(file.Read(back.data(), 50), 0);
    file.SetPosition(Sys_File::eOffsetFrom_Current, 1000);
    EXPECT_EQ(file.Read(back.data(), 50), 0);
    EXPECT_THROW(file.SetPosition(Sys_File::eOffsetFrom_Start, -1), Sys_OSErrException);
    EXPECT_THROW(file.SetPosition(Sys_File::eOffsetFrom_End, 101), Sys_OSErrException);
    EXPECT_EQ(file.GetPosition(), 1100);
}

TEST_F(Sys_FileTest, WritingPastTheEndLeavesZerosBetween)
{
    Sys_File file(Sys_FileLoc(PathOf("a")));
    file.Open(cCreate);
    file.SetPosition(Sys_File::eOffsetFrom_Start, 10);
    const unsigned char one = 0xAB;
    file.Write(&one, 1);
    Bytes expected(11, 0);
    expected[10] = 0xAB;
    file.Close();
    EXPECT_EQ(ReadWholeFile(PathOf("a")), expected);
}

TEST_F(Sys_FileTest, ReadOnlyFlagFollowsTheOwnerWriteBit)
{
    WriteWholeFile(PathOf("a"), Pattern(10));
    Sys_File file(Sys_FileLoc(PathOf("a")));
    EXPECT_FALSE(file.IsReadOnly());
    file.SetReadOnly(true);
    EXPECT_TRUE(file.IsReadOnly());
    struct stat info
    {
    };
    ::stat(PathOf("a").c_str(), &info);
    EXPECT_EQ(info.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH), 0u);
    file.Open(cRead);
    EXPECT_TRUE(file.IsReadOnly());
    file.SetReadOnly(false);
    EXPECT_FALSE(file.IsReadOnly());
    Sys_File missing(Sys_FileLoc(PathOf("missing")));
    EXPECT_THROW(missing.IsReadOnly(), Sys_OSErrException);
}

// ---- unbuffered transfers -------------------------------------------------------------------

TEST_F(Sys_FileTest, UnbufferedReadsMatchAPlainReadAtOddPlaces)
{
    const Bytes data = Pattern(5 * 4096 + 777);
    WriteWholeFile(PathOf("a"), data);
    Sys_File file(Sys_FileLoc(PathOf("a")));
    file.Open(cRead | Sys_File::eOpen_Unbuffered | Sys_File::eOpen_AsyncIO);
    auto* impl = dynamic_cast<Sys_FilePosix*>(file.GetImpl());
    ASSERT_GE(impl->GetSectorSize(), 512);
    const int64_t sector = impl->GetSectorSize();
    const int64_t offsets[] = {0,
                               1,
                               511,
                               sector - 1,
                               sector,
                               sector + 3,
                               3 * sector - 5,
                               int64_t(data.size()) - 10,
                               int64_t(data.size())};
    const int64_t lengths[] = {1, 7, sector - 1, sector, sector + 1, 2 * sector + 13, 20000};
    // Unaligned memory as well as aligned: the whole sectors then take the bounce buffer.
    std::vector<unsigned char> storage(30000 + 2 * size_t(sector));
    unsigned char* aligned =
        storage.data() + (sector - reinterpret_cast<uintptr_t>(storage.data()) % sector);
    for (unsigned char* target : {aligned, aligned + 1})
        for (int64_t offset : offsets)
            for (int64_t length : lengths)
            {
                file.SetPosition(Sys_File::eOffsetFrom_Start, offset);
                const int64_t expected =
                    std::max<int64_t>(0, std::min<int64_t>(length, int64_t(data.size()) - offset));
                ASSERT_EQ(file.Read(target, length), expected) << offset << "+" << length;
                ASSERT_TRUE(std::equal(target, target + expected, data.begin() + offset))
                    << offset << "+" << length;
                ASSERT_EQ(file.GetPosition(), offset + expected);
            }
}

TEST_F(Sys_FileTest, UnbufferedWritesMatchAReferenceAndKeepTheTrueLength)
{
    Bytes reference = Pattern(3 * 4096 + 100, 5);
    WriteWholeFile(PathOf("a"), reference);
    Sys_File file(Sys_FileLoc(PathOf("a")));
    file.Open(cReadWrite | Sys_File::eOpen_Unbuffered);
    const int64_t sector = dynamic_cast<Sys_FilePosix*>(file.GetImpl())->GetSectorSize();
    std::mt19937 random(11);
    std::vector<unsigned char> storage(70000);
    for (int round = 0; round < 60; ++round)
    {
        const int64_t offset = int64_t(random() % (reference.size() + sector));
        const int64_t length = int64_t(random() % (round % 3 == 0 ? 3 * sector : 64)) + 1;
        const size_t shift = random() % 3; // aligned and unaligned caller memory
        unsigned char* source = storage.data() + shift;
        for (int64_t i = 0; i < length; ++i)
            source[i] = static_cast<unsigned char>(random());
        file.SetPosition(Sys_File::eOffsetFrom_Start, offset);
        ASSERT_EQ(file.Write(source, length), length);
        ASSERT_EQ(file.GetPosition(), offset + length);
        if (size_t(offset + length) > reference.size())
            reference.resize(size_t(offset + length), 0);
        std::memcpy(reference.data() + offset, source, size_t(length));
        ASSERT_EQ(file.GetEOF(), int64_t(reference.size())) << "round " << round;
    }
    file.Close();
    EXPECT_EQ(ReadWholeFile(PathOf("a")), reference);
}

TEST_F(Sys_FileTest, UnbufferedFileGoesOnBufferedWhenDirectTransfersAreRefused)
{
    const Bytes data = Pattern(3 * 4096 + 5);
    WriteWholeFile(PathOf("a"), data);
    Sys_File file(Sys_FileLoc(PathOf("a")));
    file.Open(cReadWrite | Sys_File::eOpen_Unbuffered);
    auto* impl = dynamic_cast<Sys_FilePosix*>(file.GetImpl());
    if (!impl->IsDirectIO())
        GTEST_SKIP() << "this file system refuses direct I/O at open already";
    // The refusal a file system gives for a transfer shape it cannot do directly.
    Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Read, 1, EINVAL);
    Bytes back(data.size());
    file.SetPosition(Sys_File::eOffsetFrom_Start, 1);
    EXPECT_EQ(file.Read(back.data(), int64_t(data.size()) - 1), int64_t(data.size()) - 1);
    EXPECT_TRUE(std::equal(back.begin(), back.end() - 1, data.begin() + 1));
    EXPECT_FALSE(impl->IsDirectIO());
    const unsigned char byte = 0x5A;
    file.SetPosition(Sys_File::eOffsetFrom_Start, 4097);
    EXPECT_EQ(file.Write(&byte, 1), 1);
    EXPECT_EQ(file.GetEOF(), int64_t(data.size()));
}

// ---- growth ---------------------------------------------------------------------------------

TEST_F(Sys_FileTest, SetEOFGrowsWithZerosAndShrinksKeepingTheHead)
{
    const Bytes data = Pattern(5000);
    WriteWholeFile(PathOf("a"), data);
    Sys_File file(Sys_FileLoc(PathOf("a")));
    file.Open(cReadWrite);
    file.SetPosition(Sys_File::eOffsetFrom_Start, 123);
    for (int64_t length : {int64_t(5000), int64_t(8 << 20), int64_t(8 << 20) + 1, int64_t(70001)})
    {
        file.SetEOF(length);
        EXPECT_EQ(file.GetEOF(), length);
        EXPECT_EQ(file.GetPosition(), 123);
    }
    file.SetPhysicalEOF(4000);
    EXPECT_EQ(file.GetEOF(), 4000);
    file.SetEOF(9000);
    file.Close();
    Bytes expected(data.begin(), data.begin() + 4000);
    expected.resize(9000, 0);
    EXPECT_EQ(ReadWholeFile(PathOf("a")), expected);
}

TEST_F(Sys_FileTest, InjectedFaultsFailTheNthTransfer)
{
    Sys_File file(Sys_FileLoc(PathOf("a")));
    file.Open(cCreate);
    const Bytes data = Pattern(10);
    Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Write, 2, ENOSPC);
    EXPECT_EQ(file.Write(data.data(), 10), 10);
    try
    {
        file.Write(data.data(), 10);
        FAIL() << "the second write must fail";
    }
    catch (const std::exception& e)
    {
        EXPECT_EQ(ErrorOf(e), ENOSPC);
    }
    EXPECT_EQ(file.Write(data.data(), 10), 10) << "a fault strikes once";
    Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Grow, 1, EFBIG);
    EXPECT_THROW(file.SetEOF(1 << 20), Sys_OSErrException);
    EXPECT_EQ(file.GetEOF(), 20);
    Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Read, 1, EIO);
    Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Read, 0, EIO);
    file.SetPosition(Sys_File::eOffsetFrom_Start, 0);
    Bytes back(20);
    EXPECT_EQ(file.Read(back.data(), 20), 20) << "a fault switched off does not strike";
}

// ---- MoveBlock ------------------------------------------------------------------------------

TEST_F(Sys_FileTest, MoveBlockMovesOverlappingRegionsBothWays)
{
    const Bytes data = Pattern(100000);
    struct Move
    {
        int64_t mStart, mLength, mDelta;
    };
    for (const Move& move : {Move{1000, 70000, 5000}, Move{20000, 70000, -777},
                             Move{0, 100000, 40000}, Move{50000, 50000, -50000}, Move{10, 5, 1}})
    {
        WriteWholeFile(PathOf("a"), data);
        Sys_File file(Sys_FileLoc(PathOf("a")));
        file.Open(cReadWrite);
        file.SetPosition(Sys_File::eOffsetFrom_Start, 4321);
        file.MoveBlock(move.mStart, move.mLength, move.mDelta);
        EXPECT_EQ(file.GetPosition(), 4321);
        file.Close();
        Bytes expected = data;
        expected.resize(
            std::max<size_t>(data.size(), size_t(move.mStart + move.mLength + move.mDelta)));
        std::memmove(expected.data() + move.mStart + move.mDelta, data.data() + move.mStart,
                     size_t(move.mLength));
        EXPECT_EQ(ReadWholeFile(PathOf("a")), expected) << move.mStart << " " << move.mDelta;
    }
}

TEST_F(Sys_FileTest, MoveBlockOfMissingBytesFailsTheReadAssertion)
{
    WriteWholeFile(PathOf("a"), Pattern(1000));
    Sys_File file(Sys_FileLoc(PathOf("a")));
    file.Open(cReadWrite);
    file.MoveBlock(0, 0, 10); // nothing to move
    file.MoveBlock(0, 10, 0);
    EXPECT_NE(AssertTextOf([&] { file.MoveBlock(900, 200, 10); })
                  .find("this->Read( buffer, blockSize ) == blockSize"),
              std::string::npos);
}

// ---- async transfers ------------------------------------------------------------------------

namespace
{
struct CompletionLog
{
    std::atomic<int> mCount{0};
    std::atomic<bool> mAllOnIssuer{true};
    std::thread::id mIssuer = std::this_thread::get_id();
};

void RecordCompletion(Sys_AsyncFileIOParams*, void* iDataP)
{
    auto* log = static_cast<CompletionLog*>(iDataP);
    if (std::this_thread::get_id() != log->mIssuer)
        log->mAllOnIssuer = false;
    ++log->mCount;
}
} // namespace

TEST_F(Sys_FileTest, ManyAsyncReadsCompleteOnTheIssuingThread)
{
    constexpr int cRequests = 128;
    constexpr int cBlock = 4096;
    const Bytes data = Pattern(size_t(cRequests) * cBlock);
    WriteWholeFile(PathOf("a"), data);
    Sys_File file(Sys_FileLoc(PathOf("a")));
    file.Open(cRead);
    CompletionLog log;
    std::vector<Bytes> buffers(cRequests, Bytes(cBlock));
    std::vector<Sys_AsyncFileIOParams::ParamsHandle> requests;
    std::vector<Sys_Event::EventHandle> events;
    for (int i = 0; i < cRequests; ++i)
    {
        // Issued in reverse order, to show that each request keeps its own position.
        const int block = cRequests - 1 - i;
        requests.push_back(Sys_AsyncFileIOParams::Create(int64_t(block) * cBlock, cBlock,
                                                         buffers[size_t(block)].data()));
        requests.back()->SetCallback(&RecordCompletion, &log);
        events.push_back(requests.back()->GetCompletionEvent());
        file.ReadAsync(requests.back().Get());
    }
    EXPECT_EQ(log.mCount.load(), 0) << "nothing completes before the issuer waits";
    EXPECT_EQ(file.GetPosition(), 0);
    EXPECT_EQ(Sys_Event::WaitForMultipleEvents(events, false, Sys_SyncObject::cWaitForever),
              Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(log.mCount.load(), cRequests);
    EXPECT_TRUE(log.mAllOnIssuer.load());
    for (int i = 0; i < cRequests; ++i)
    {
        const auto state = requests[size_t(i)]->GetResultState();
        EXPECT_EQ(state.mError, 0);
        EXPECT_EQ(state.mBytesTransferred, cBlock);
        EXPECT_TRUE(std::equal(buffers[size_t(i)].begin(), buffers[size_t(i)].end(),
                               data.begin() + int64_t(i) * cBlock));
    }
}

TEST_F(Sys_FileTest, AsyncWritesFromAWorkerThreadCompleteOnThatThread)
{
    constexpr int cRequests = 80;
    constexpr int cBlock = 1000;
    const Bytes data = Pattern(size_t(cRequests) * cBlock);
    Sys_File file(Sys_FileLoc(PathOf("a")));
    file.Open(cCreate);
    std::atomic<bool> allOnIssuer{false};
    std::atomic<int> count{0};
    std::thread worker(
        [&]
        {
            CompletionLog log;
            std::vector<Sys_AsyncFileIOParams::ParamsHandle> requests;
            Sys_SyncObject::HandleList events;
            for (int i = 0; i < cRequests; ++i)
            {
                requests.push_back(Sys_AsyncFileIOParams::Create(
                    int64_t(i) * cBlock, cBlock,
                    const_cast<unsigned char*>(data.data()) + i * cBlock));
                requests.back()->SetCallback(&RecordCompletion, &log);
                events.push_back(requests.back()->GetCompletionEvent());
                file.WriteAsync(requests.back().Get());
            }
            Sys_SyncObject::WaitForMultipleObjects(events, false, Sys_SyncObject::cWaitForever);
            allOnIssuer = log.mAllOnIssuer.load();
            count = log.mCount.load();
        });
    worker.join();
    EXPECT_EQ(count.load(), cRequests);
    EXPECT_TRUE(allOnIssuer.load());
    file.Close();
    EXPECT_EQ(ReadWholeFile(PathOf("a")), data);
}

TEST_F(Sys_FileTest, AsyncFailuresAndShortCountsComeBackThroughTheParams)
{
    WriteWholeFile(PathOf("a"), Pattern(100));
    Sys_File writeOnly(Sys_FileLoc(PathOf("a")));
    writeOnly.Open(Sys_File::eOpen_ForWrite | Sys_File::eOpen_Existing);
    Bytes buffer(64);
    auto failing = Sys_AsyncFileIOParams::Create(0, 64, buffer.data(), Sys_Event::Create(0));
    writeOnly.ReadAsync(failing.Get());
    EXPECT_EQ(failing->GetCompletionEvent()->Wait(Sys_SyncObject::cWaitForever),
              Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(failing->GetResultState().mError, EBADF);
    EXPECT_EQ(failing->GetResultState().mBytesTransferred, 0);

    Sys_File reader(Sys_FileLoc(PathOf("a")));
    reader.Open(cRead);
    auto atEnd = Sys_AsyncFileIOParams::Create(80, 64, buffer.data());
    reader.ReadAsync(atEnd.Get());
    atEnd->GetCompletionEvent()->Wait(Sys_SyncObject::cWaitForever);
    EXPECT_EQ(atEnd->GetResultState().mError, 0);
    EXPECT_EQ(atEnd->GetResultState().mBytesTransferred, 20);

    auto bad = Sys_AsyncFileIOParams::Create(-1, 64, buffer.data());
    EXPECT_THROW(reader.ReadAsync(bad.Get()), Sys_OSErrException);
    reader.Close();
    EXPECT_NE(AssertTextOf([&] { reader.ReadAsync(atEnd.Get()); })
                  .find("mOpenFlags & Sys_File::eOpen_AsyncIO"),
              std::string::npos);
}

TEST_F(Sys_FileTest, CloseWaitsForRunningTransfersAndCompletionsStillArrive)
{
    constexpr int cRequests = 64;
    const Bytes data = Pattern(size_t(cRequests) * 512);
    WriteWholeFile(PathOf("a"), data);
    Bytes target(data.size());
    std::vector<Sys_AsyncFileIOParams::ParamsHandle> requests;
    Sys_SyncObject::HandleList events;
    {
        Sys_File file(Sys_FileLoc(PathOf("a")));
        file.Open(cRead);
        for (int i = 0; i < cRequests; ++i)
        {
            requests.push_back(
                Sys_AsyncFileIOParams::Create(i * 512, 512, target.data() + i * 512));
            events.push_back(requests.back()->GetCompletionEvent());
            file.ReadAsync(requests.back().Get());
        }
    } // the file closes here with transfers running
    EXPECT_EQ(Sys_SyncObject::WaitForMultipleObjects(events, false, Sys_SyncObject::cWaitForever),
              Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(target, data);
}

// ---- locations and volumes ------------------------------------------------------------------

TEST(Sys_FileLoc, SplitsNamesAndParents)
{
    const Sys_FileLoc loc("/tmp//x/take.wav/");
    EXPECT_EQ(loc.GetFullPath(), "/tmp/x/take.wav");
    EXPECT_EQ(loc.GetName(), "take.wav");
    EXPECT_EQ(loc.GetParentFolder().GetFullPath(), "/tmp/x");
    EXPECT_EQ(Sys_FileLoc("/tmp").GetParentFolder().GetFullPath(), "/");
    EXPECT_TRUE(Sys_FileLoc("/").GetParentFolder().IsEmpty());
    EXPECT_EQ(Sys_FileLoc(Sys_FileLoc("/a"), "b").GetFullPath(), "/a/b");
}

TEST(Sys_Volume, ReportsMountedVolumesAndFileSystemKinds)
{
    Test_TempDir dir;
    const Sys_Volume volume = Sys_FileLoc(dir.Path() + "/not-yet/there").GetVolume();
    EXPECT_TRUE(volume.IsMounted());
    const int32_t sector = volume.GetBytesPerSector();
    EXPECT_GE(sector, 512);
    EXPECT_EQ(sector & (sector - 1), 0);
    EXPECT_FALSE(Sys_Volume().IsMounted());
    EXPECT_EQ(Sys_Volume().GetBytesPerSector(), 512);
    EXPECT_EQ(Sys_Volume::FileSystemTypeFromMagic(0x4d44), Sys_Volume::eFileSystemType_FAT);
    EXPECT_EQ(Sys_Volume::FileSystemTypeFromMagic(0x2011BAB0), Sys_Volume::eFileSystemType_FAT);
    EXPECT_EQ(Sys_Volume::FileSystemTypeFromMagic(0xEF53), Sys_Volume::eFileSystemType_Other);
    EXPECT_EQ(int(Sys_Volume::eFileSystemType_FAT), 3);
}
