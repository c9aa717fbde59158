#include "Sys_FileBasedStream.h"
#include "Support/SysTestSupport.h"
#include "Sys_File.h"
#include "Sys_FilePosix.h"

namespace
{
// A plain file that counts what the streams ask of it, and can cut writes short.
class CountingFile : public Sys_FilePosix
{
public:
    using Sys_FilePosix::Sys_FilePosix;
    int64_t Read(void* oBufferP, int64_t iByteCount) override
    {
        mReads.push_back(iByteCount);
        return Sys_FilePosix::Read(oBufferP, iByteCount);
    }
    int64_t Write(const void* iBufferP, int64_t iByteCount) override
    {
        mWrites.push_back(iByteCount);
        return Sys_FilePosix::Write(iBufferP, mShortWrites ? iByteCount / 2 : iByteCount);
    }
    void SetPosition(Sys_File::EOffsetFrom iFrom, int64_t iOffset) override
    {
        ++mSeeks;
        Sys_FilePosix::SetPosition(iFrom, iOffset);
    }
    std::vector<int64_t> mReads, mWrites;
    int mSeeks = 0;
    bool mShortWrites = false;
};

class Sys_FileBasedStreamTest : public ::testing::Test
{
protected:
    Sys_FileBasedStreamTest()
        : mPath(mDir.Path() + "/data"), mCounter(new CountingFile(Sys_FileLoc(mPath))),
          mFile(mCounter)
    {
    }
    void OpenWith(const Bytes& iContent)
    {
        WriteBytes(mPath, iContent);
        mFile.Open(Sys_File::eOpen_ForRead | Sys_File::eOpen_ForWrite | Sys_File::eOpen_Existing);
    }
    Test_TempDir mDir;
    std::string mPath;
    CountingFile* mCounter;
    Sys_File mFile;
};
} // namespace

// ---- in-stream ----------------------------------------------------------------------------

TEST_F(Sys_FileBasedStreamTest, InStreamReadsMixedSizesInOrder)
{
    const Bytes data = Pattern(700000);
    OpenWith(data);
    Sys_FileBasedInStream in(mFile);
    in.SetReadAhead(5000);
    const int32_t sizes[] = {1, 3, 128, 4999, 5000, 5001, 77, 300000, 2};
    size_t at = 0;
    for (int round = 0;; ++round)
    {
        const int32_t n = sizes[round % 9];
        if (at + size_t(n) > data.size())
            break;
        Bytes part(static_cast<size_t>(n));
        in.Read(part.data(), n);
        ASSERT_TRUE(std::equal(part.begin(), part.end(), data.begin() + int64_t(at))) << at;
        at += size_t(n);
        ASSERT_EQ(in.GetPos(), int64_t(at));
    }
    EXPECT_GT(at, 640000u);
    EXPECT_EQ(in.GetEndPos(), 700000);
}

TEST_F(Sys_FileBasedStreamTest, BufferServesReadsAndSeeksUpToItsEnd)
{
    const Bytes data = Pattern(10000);
    OpenWith(data);
    Sys_FileBasedInStream in(mFile);
    in.SetReadAhead(1000);
    Bytes part(1001);
    in.Read(part.data(), 1000); // exactly the read-ahead goes through the buffer
    ASSERT_EQ(mCounter->mReads, std::vector<int64_t>{1000});
    const int seeks = mCounter->mSeeks;
    in.SetPos(1000); // the end of the valid bytes, inclusive
    in.SetPos(0);
    EXPECT_EQ(mCounter->mSeeks, seeks);
    in.Read(part.data(), 1000);
    EXPECT_EQ(mCounter->mReads.size(), 1u);

    in.SetPos(1001);
    EXPECT_EQ(mCounter->mSeeks, seeks + 1);
    in.Read(part.data(), 1);
    EXPECT_EQ(part[0], data[1001]);
    in.SetPos(2000);
    in.Read(part.data(), 1001); // one byte more: straight into the caller's memory
    in.SetPos(2000);
    in.Read(part.data(), 1001);
    EXPECT_EQ(mCounter->mReads, (std::vector<int64_t>{1000, 1000, 1001, 1001}));
    EXPECT_TRUE(std::equal(part.begin(), part.end(), data.begin() + 2000));
}

TEST_F(Sys_FileBasedStreamTest, ShortReadThrowsOnlyOnTheDirectPath)
{
    const Bytes data = Pattern(500);
    OpenWith(data);
    Sys_FileBasedInStream in(mFile);
    in.SetPos(400);
    Bytes part(200, 0xEE);
    // 128-byte read-ahead: 200 bytes go direct and meet the end.
    EXPECT_TRUE(Test_ThrowsL10N([&] { in.Read(part.data(), 200); }, 2, 22));
    EXPECT_EQ(in.GetPos(), 400);
    // Through the buffer a short read is not reported; the missing bytes are zeros.
    in.Read(part.data(), 120);
    EXPECT_TRUE(std::equal(part.begin(), part.begin() + 100, data.begin() + 400));
    EXPECT_EQ(part[100], 0);
    EXPECT_EQ(part[119], 0);
    EXPECT_EQ(in.GetPos(), 520);
}

TEST_F(Sys_FileBasedStreamTest, LargeReadAheadIsSpreadOverEqualReads)
{
    OpenWith(Pattern(10));
    Sys_FileBasedInStream in(mFile);
    EXPECT_EQ(in.GetReadAhead(), 128);
    const std::pair<int32_t, int32_t> cases[] = {
        {0, 0},           {262144, 262144}, {262145, 131073}, {600000, 200000},
        {524288, 131072}, {786433, 196609}, {1000, 1000}};
    for (const auto& [asked, stored] : cases)
    {
        in.SetReadAhead(asked);
        EXPECT_EQ(in.GetReadAhead(), stored) << asked;
    }
    {
        Sys_FileBasedInStream::StSetReadAhead guard(in, 600000);
        EXPECT_EQ(in.GetReadAhead(), 200000);
    }
    EXPECT_EQ(in.GetReadAhead(), 1000);
}

// ---- out-stream ---------------------------------------------------------------------------

TEST_F(Sys_FileBasedStreamTest, OutStreamDestroyedWithoutFlushLosesItsBytes)
{
    OpenWith(Bytes());
    const Bytes data = Pattern(100);
    for (bool flush : {false, true})
    {
        Sys_FileBasedOutStream out(mFile);
        out.Write(data.data(), 100);
        EXPECT_EQ(out.GetEndPos(), 100);
        if (flush)
            out.Flush();
        else
            EXPECT_EQ(mFile.GetEOF(), 0);
    }
    EXPECT_EQ(ReadBytes(mPath), data);
}

TEST_F(Sys_FileBasedStreamTest, OutStreamKeepsOrderAcrossBufferedAndDirectWrites)
{
    OpenWith(Bytes());
    const Bytes data = Pattern(900000);
    Sys_FileBasedOutStream out(mFile);
    int64_t at = 0;
    for (int32_t n : {10, 300000, 262144, 1, 262143, 75702})
    {
        out.Write(data.data() + at, n);
        at += n;
        EXPECT_EQ(out.GetPos(), at);
        EXPECT_EQ(out.GetHighWaterMark(), at);
    }
    ASSERT_EQ(at, 900000);
    out.Flush();
    // The 10 bytes are flushed before the large write, which goes straight to the file.
    EXPECT_EQ(mCounter->mWrites[0], 10);
    EXPECT_EQ(mCounter->mWrites[1], 300000);
    EXPECT_EQ(ReadBytes(mPath), data);
}

TEST_F(Sys_FileBasedStreamTest, OutStreamSetPosRewritesHeldBytesAndFlushMovesPastThem)
{
    OpenWith(Pattern(10));
    Sys_FileBasedOutStream out(mFile);
    Bytes data(100, 1);
    out.Write(data.data(), 100);
    out.SetPos(100); // end of the held bytes: stays in the buffer
    out.SetPos(40);
    const unsigned char two[5] = {2, 2, 2, 2, 2};
    out.Write(two, 5);
    EXPECT_EQ(out.GetPos(), 45);
    EXPECT_EQ(out.GetHighWaterMark(), 100);
    EXPECT_EQ(out.GetEndPos(), 100);
    EXPECT_TRUE(mCounter->mWrites.empty());
    out.Flush();
    EXPECT_EQ(out.GetPos(), 100) << "Flush moves the position past all held bytes";
    std::fill(data.begin() + 40, data.begin() + 45, 2);
    EXPECT_EQ(ReadBytes(mPath), data);

    out.SetPos(5000); // outside the buffer: flush, seek
    out.Write(two, 1);
    EXPECT_EQ(out.GetHighWaterMark(), 5001);
    out.Flush();
    EXPECT_EQ(mFile.GetEOF(), 5001);
}

TEST_F(Sys_FileBasedStreamTest, ShortWritesThrowWriteToStreamFailed)
{
    OpenWith(Bytes());
    Sys_FileBasedOutStream out(mFile);
    const Bytes data = Pattern(300000);
    mCounter->mShortWrites = true;
    out.Write(data.data(), 10);
    EXPECT_TRUE(Test_ThrowsL10N([&] { out.Flush(); }, 2, 23));
    EXPECT_TRUE(Test_ThrowsL10N([&] { out.Write(data.data(), 300000); }, 2, 23));
}
