#include <sys/stat.h>

#include "Support/SysTestSupport.h"
#include "Sys_AsyncFileIOParams.h"
#include "Sys_Event.h"
#include "Sys_File.h"
#include "Sys_FileLoc.h"
#include "Sys_FilePosix.h"

namespace
{
constexpr int32_t cRead = Sys_File::eOpen_ForRead | Sys_File::eOpen_Existing;
constexpr int32_t cReadWrite = cRead | Sys_File::eOpen_ForWrite;
constexpr int32_t cCreate = Sys_File::eOpen_Create | Sys_File::eOpen_ShareRead |
                            Sys_File::eOpen_ShareWrite; // 563 once Open adds read and write

Sys_FilePosix& Impl(Sys_File& iFile)
{
    return dynamic_cast<Sys_FilePosix&>(*iFile.GetImpl());
}

class Sys_FileTest : public ::testing::Test
{
protected:
    std::string PathOf(const std::string& iName) const { return mDir.Path() + "/" + iName; }
    // A file named iName holding iContent, opened with iFlags.
    Sys_File& OpenWith(const Bytes& iContent, int32_t iFlags, const std::string& iName = "a")
    {
        WriteBytes(PathOf(iName), iContent);
        mFiles.push_back(std::make_unique<Sys_File>(Sys_FileLoc(PathOf(iName))));
        mFiles.back()->Open(iFlags);
        return *mFiles.back();
    }
    Test_TempDir mDir;
    std::vector<std::unique_ptr<Sys_File>> mFiles;
};
} // namespace

// ---- open flags ---------------------------------------------------------------------------

TEST_F(Sys_FileTest, OpenFlagsDecideCreationAndTruncation)
{
    // {flags, whether the file exists, its length after the open (-1: the open fails with ENOENT)}
    const std::tuple<int32_t, bool, int64_t> cases[] = {
        {Sys_File::eOpen_Create, true, 0},
        {Sys_File::eOpen_Create | Sys_File::eOpen_Existing, true, 1000},
        {Sys_File::eOpen_Create | Sys_File::eOpen_Existing, false, 0},
        {cRead, false, -1}};
    int n = 0;
    for (const auto& [flags, exists, eof] : cases)
    {
        const std::string path = PathOf(std::to_string(n++));
        SCOPED_TRACE(path);
        if (exists)
            WriteBytes(path, Pattern(1000));
        Sys_File file{Sys_FileLoc(path)};
        if (eof < 0)
        {
            const auto [error, text] = ThrownError([&] { file.Open(flags); });
            EXPECT_EQ(error, ENOENT);
            EXPECT_NE(text.find(path), std::string::npos);
            EXPECT_FALSE(file.IsOpen());
        }
        else
        {
            file.Open(flags);
            EXPECT_EQ(file.GetEOF(), eof);
        }
        EXPECT_EQ(Exists(path), eof >= 0);
    }
}

TEST_F(Sys_FileTest, CreateOpensForReadAndWriteSharingIsAlwaysGrantedAndDeleteOnCloseDeletes)
{
    Sys_File writer(Sys_FileLoc(PathOf("a")));
    writer.Open(Sys_File::eOpen_Create); // no share bits
    EXPECT_EQ(Impl(writer).GetOpenFlags() & 3, 3);
    EXPECT_NE(Impl(writer).GetOpenFlags() & Sys_File::eOpen_AsyncIO, 0) << "always on here";
    Sys_File other(Sys_FileLoc(PathOf("a")));
    other.Open(cReadWrite);
    const Bytes data = Pattern(64);
    EXPECT_EQ(writer.Write(data.data(), 64), 64);
    Bytes back(64);
    EXPECT_EQ(other.Read(back.data(), 64), 64);
    EXPECT_EQ(back, data);
    writer.SetPosition(Sys_File::eOffsetFrom_Start, 0);
    EXPECT_EQ(writer.Read(back.data(), 64), 64);
    EXPECT_EQ(back, data);

    Sys_File temp(Sys_FileLoc(PathOf("temp")));
    temp.Open(cCreate | Sys_File::eOpen_DeleteOnClose);
    temp.Write(data.data(), 64);
    EXPECT_TRUE(Exists(PathOf("temp")));
    temp.Close();
    EXPECT_FALSE(Exists(PathOf("temp"))) << "deleted on close";
    EXPECT_FALSE(temp.IsOnline());
}

TEST_F(Sys_FileTest, MisuseFailsTheAssertionAndWriteThroughNeedsWriteAccess)
{
    WriteBytes(PathOf("a"), Pattern(10));
    Sys_File file(Sys_FileLoc(PathOf("a")));
    EXPECT_TRUE(Test_Asserts([&] { file.Open(cRead | Sys_File::eOpen_WriteThrough); },
                             "( inOpenFlags & Sys_File::eOpen_ForWrite ) != 0"));
    EXPECT_FALSE(file.IsOpen());
    file.Open(cRead);
    EXPECT_TRUE(Test_Asserts([&] { file.Open(cRead); }, "!this->IsOpen()"));
    file.Close();
    EXPECT_FALSE(file.IsOpen());
    file.Open(cRead);
    EXPECT_EQ(file.GetEOF(), 10);
    EXPECT_EQ(file.GetPosition(), 0);
    EXPECT_THROW(Sys_File(static_cast<Sys_FileImpl*>(nullptr)), Cmn_AssertException);
    file.Close();

    file.Open(cReadWrite | Sys_File::eOpen_WriteThrough);
    const Bytes data = Pattern(5000, 3);
    EXPECT_EQ(file.Write(data.data(), 5000), 5000);
    file.Close();
    EXPECT_EQ(ReadBytes(PathOf("a")), data);
}

// ---- positions, reads and writes -----------------------------------------------------------

TEST_F(Sys_FileTest, ShortCountsAtTheEndAreNoFailureAndWritesPastItLeaveZeros)
{
    const Bytes data = Pattern(100);
    Sys_File& file = OpenWith(data, cReadWrite);
    file.SetPosition(Sys_File::eOffsetFrom_End, 30);
    EXPECT_EQ(file.GetPosition(), 70);
    Bytes back(50);
    EXPECT_EQ(file.Read(back.data(), 50), 30);
    EXPECT_TRUE(std::equal(back.begin(), back.begin() + 30, data.begin() + 70));
    EXPECT_EQ(file.GetPosition(), 100);
    EXPECT_EQ(file.Read(back.data(), 50), 0);
    file.SetPosition(Sys_File::eOffsetFrom_Current, 10);
    EXPECT_EQ(file.Read(back.data(), 50), 0);
    EXPECT_THROW(file.SetPosition(Sys_File::eOffsetFrom_Start, -1), Sys_OSErrException);
    EXPECT_THROW(file.SetPosition(Sys_File::eOffsetFrom_End, 101), Sys_OSErrException);
    EXPECT_EQ(file.GetPosition(), 110);

    const unsigned char one = 0xAB;
    file.Write(&one, 1);
    file.Close();
    Bytes expected = data;
    expected.resize(111, 0);
    expected[110] = 0xAB;
    EXPECT_EQ(ReadBytes(PathOf("a")), expected);
}

TEST_F(Sys_FileTest, ReadOnlyFlagFollowsTheOwnerWriteBit)
{
    WriteBytes(PathOf("a"), Pattern(10));
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
    Sys_File& file = OpenWith(data, cRead | Sys_File::eOpen_Unbuffered | Sys_File::eOpen_AsyncIO);
    const int64_t sector = Impl(file).GetSectorSize();
    ASSERT_GE(sector, 512);
    const int64_t size = int64_t(data.size());
    const int64_t offsets[] = {0,         1,   511, sector - 1, sector, sector + 3, 3 * sector - 5,
                               size - 10, size};
    const int64_t lengths[] = {1, 7, sector - 1, sector, sector + 1, 2 * sector + 13, 20000};
    // Unaligned memory as well as aligned: the whole sectors then take the bounce buffer.
    std::vector<unsigned char> storage(30000 + 2 * size_t(sector));
    unsigned char* aligned =
        storage.data() + (sector - reinterpret_cast<uintptr_t>(storage.data()) % sector);
    for (unsigned char* target : {aligned, aligned + 1})
        for (int64_t offset : offsets)
            for (int64_t length : lengths)
            {
                SCOPED_TRACE(std::to_string(offset) + "+" + std::to_string(length));
                file.SetPosition(Sys_File::eOffsetFrom_Start, offset);
                const int64_t expected = std::max<int64_t>(0, std::min(length, size - offset));
                ASSERT_EQ(file.Read(target, length), expected);
                ASSERT_TRUE(std::equal(target, target + expected, data.begin() + offset));
                ASSERT_EQ(file.GetPosition(), offset + expected);
            }
}

TEST_F(Sys_FileTest, UnbufferedWritesMatchAReferenceAndKeepTheTrueLength)
{
    Bytes reference = Pattern(3 * 4096 + 100, 5);
    Sys_File& file = OpenWith(reference, cReadWrite | Sys_File::eOpen_Unbuffered);
    const int64_t sector = Impl(file).GetSectorSize();
    std::mt19937 random(11);
    std::vector<unsigned char> storage(70000);
    for (int round = 0; round < 60; ++round)
    {
        const int64_t offset = int64_t(random() % (reference.size() + sector));
        const int64_t length = int64_t(random() % (round % 3 == 0 ? 3 * sector : 64)) + 1;
        unsigned char* source = storage.data() + random() % 3; // aligned and unaligned memory
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
    EXPECT_EQ(ReadBytes(PathOf("a")), reference);
}

TEST_F(Sys_FileTest, UnbufferedFileGoesOnBufferedWhenDirectTransfersAreRefused)
{
    const Bytes data = Pattern(3 * 4096 + 5);
    Sys_File& file = OpenWith(data, cReadWrite | Sys_File::eOpen_Unbuffered);
    if (!Impl(file).IsDirectIO())
        GTEST_SKIP() << "this file system refuses direct I/O at open already";
    // The refusal a file system gives for a transfer shape it cannot do directly.
    Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Read, 1, EINVAL);
    Bytes back(data.size());
    file.SetPosition(Sys_File::eOffsetFrom_Start, 1);
    EXPECT_EQ(file.Read(back.data(), int64_t(data.size()) - 1), int64_t(data.size()) - 1);
    EXPECT_TRUE(std::equal(back.begin(), back.end() - 1, data.begin() + 1));
    EXPECT_FALSE(Impl(file).IsDirectIO());
    const unsigned char byte = 0x5A;
    file.SetPosition(Sys_File::eOffsetFrom_Start, 4097);
    EXPECT_EQ(file.Write(&byte, 1), 1);
    EXPECT_EQ(file.GetEOF(), int64_t(data.size()));
}

// ---- growth and faults ----------------------------------------------------------------------

TEST_F(Sys_FileTest, SetEOFGrowsWithZerosAndShrinksKeepingTheHead)
{
    const Bytes data = Pattern(5000);
    Sys_File& file = OpenWith(data, cReadWrite);
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
    EXPECT_EQ(ReadBytes(PathOf("a")), expected);
}

TEST_F(Sys_FileTest, InjectedFaultsFailTheNthTransfer)
{
    Sys_File& file = OpenWith({}, cCreate);
    const Bytes data = Pattern(10);
    Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Write, 2, ENOSPC);
    EXPECT_EQ(file.Write(data.data(), 10), 10);
    EXPECT_EQ(ThrownError([&] { file.Write(data.data(), 10); }).first, ENOSPC);
    EXPECT_EQ(file.Write(data.data(), 10), 10) << "a fault strikes once";
    Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Grow, 1, EFBIG);
    EXPECT_EQ(ThrownError([&] { file.SetEOF(1 << 20); }).first, EFBIG);
    EXPECT_EQ(file.GetEOF(), 20);
    Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Read, 1, EIO);
    Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Read, 0, EIO);
    file.SetPosition(Sys_File::eOffsetFrom_Start, 0);
    Bytes back(20);
    EXPECT_EQ(file.Read(back.data(), 20), 20) << "a fault switched off does not strike";
}

TEST_F(Sys_FileTest, MoveBlockMovesOverlappingRegionsBothWays)
{
    const Bytes data = Pattern(100000);
    struct Move
    {
        int64_t mStart, mLength, mDelta;
    };
    for (const Move& move :
         {Move{1000, 70000, 5000}, Move{20000, 70000, -777}, Move{0, 100000, 40000},
          Move{50000, 50000, -50000}, Move{10, 5, 1}, Move{0, 0, 10}, Move{0, 10, 0}})
    {
        SCOPED_TRACE(std::to_string(move.mStart) + " " + std::to_string(move.mDelta));
        Sys_File& file = OpenWith(data, cReadWrite);
        file.SetPosition(Sys_File::eOffsetFrom_Start, 4321);
        file.MoveBlock(move.mStart, move.mLength, move.mDelta);
        EXPECT_EQ(file.GetPosition(), 4321);
        file.Close();
        Bytes expected = data;
        expected.resize(std::max(data.size(), size_t(move.mStart + move.mLength + move.mDelta)));
        std::memmove(expected.data() + move.mStart + move.mDelta, data.data() + move.mStart,
                     size_t(move.mLength));
        EXPECT_EQ(ReadBytes(PathOf("a")), expected);
    }
    Sys_File& file = OpenWith(Pattern(1000), cReadWrite);
    EXPECT_TRUE(Test_Asserts([&] { file.MoveBlock(900, 200, 10); },
                             "this->Read( buffer, blockSize ) == blockSize"));
}

// ---- async transfers ------------------------------------------------------------------------

namespace
{
// Requests issued on one thread, with a callback that records where they complete.
struct AsyncBatch
{
    // iCount requests of iBlock bytes, request i at i * iBlock in the file and in iMemoryP,
    // issued last first when iReverse (each request keeps its own position).
    void Issue(Sys_File& iFile, bool iWrite, int iCount, int iBlock, unsigned char* iMemoryP,
               bool iReverse = false)
    {
        for (int n = 0; n < iCount; ++n)
        {
            const int i = iReverse ? iCount - 1 - n : n;
            auto request = Sys_AsyncFileIOParams::Create(int64_t(i) * iBlock, iBlock,
                                                         iMemoryP + int64_t(i) * iBlock);
            request->SetCallback(&Record, this);
            mEvents.push_back(request->GetCompletionEvent());
            iWrite ? iFile.WriteAsync(request.Get()) : iFile.ReadAsync(request.Get());
            mRequests.push_back(request);
        }
    }
    Sys_SyncObject::EWaitResult WaitAll()
    {
        return Sys_SyncObject::WaitForMultipleObjects(mEvents, false, Sys_SyncObject::cWaitForever);
    }
    static void Record(Sys_AsyncFileIOParams*, void* iDataP)
    {
        auto* batch = static_cast<AsyncBatch*>(iDataP);
        if (std::this_thread::get_id() != batch->mIssuer)
            batch->mAllOnIssuer = false;
        ++batch->mCount;
    }
    std::vector<Sys_AsyncFileIOParams::ParamsHandle> mRequests;
    Sys_SyncObject::HandleList mEvents;
    std::atomic<int> mCount{0};
    std::atomic<bool> mAllOnIssuer{true};
    const std::thread::id mIssuer = std::this_thread::get_id();
};
} // namespace

TEST_F(Sys_FileTest, AsyncReadsAndWritesCompleteOnTheIssuingThread)
{
    constexpr int cRequests = 96, cBlock = 4096;
    const Bytes data = Pattern(size_t(cRequests) * cBlock);
    for (bool write : {false, true})
    {
        SCOPED_TRACE(write ? "write" : "read");
        Sys_File& file =
            OpenWith(write ? Bytes() : data, write ? cCreate : cRead, write ? "w" : "r");
        Bytes memory = write ? data : Bytes(data.size());
        std::thread( // a thread of its own: the completions come to it, not to the test's
            [&]
            {
                AsyncBatch batch;
                batch.Issue(file, write, cRequests, cBlock, memory.data(), !write);
                EXPECT_EQ(batch.mCount.load(), 0) << "nothing completes before the issuer waits";
                EXPECT_EQ(file.GetPosition(), 0);
                EXPECT_EQ(batch.WaitAll(), Sys_SyncObject::eWaitResult_Signalled);
                EXPECT_EQ(batch.mCount.load(), cRequests);
                EXPECT_TRUE(batch.mAllOnIssuer.load());
                for (auto& request : batch.mRequests)
                {
                    EXPECT_EQ(request->GetResultState().mError, 0);
                    EXPECT_EQ(request->GetResultState().mBytesTransferred, cBlock);
                }
            })
            .join();
        file.Close();
        EXPECT_EQ(write ? ReadBytes(PathOf("w")) : memory, data);
    }
}

TEST_F(Sys_FileTest, AsyncFailuresAndShortCountsComeBackThroughTheParams)
{
    Sys_File& writeOnly =
        OpenWith(Pattern(100), Sys_File::eOpen_ForWrite | Sys_File::eOpen_Existing);
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
    EXPECT_TRUE(Test_Asserts([&] { reader.ReadAsync(atEnd.Get()); },
                             "mOpenFlags & Sys_File::eOpen_AsyncIO"));
}

TEST_F(Sys_FileTest, CloseWaitsForRunningTransfersAndCompletionsStillArrive)
{
    const Bytes data = Pattern(64 * 512);
    Bytes target(data.size());
    AsyncBatch batch;
    {
        WriteBytes(PathOf("a"), data);
        Sys_File file(Sys_FileLoc(PathOf("a")));
        file.Open(cRead);
        batch.Issue(file, false, 64, 512, target.data());
    } // the file closes here with transfers running
    EXPECT_EQ(batch.WaitAll(), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(target, data);
}
