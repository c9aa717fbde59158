// The read producers: samples as the file front reads them, block shapes, opening and closing
// of files, failures and aborts.
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <functional>
#include <list>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ChainTestStages.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadBuffer.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadFiles.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadSequence.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessZeros.h"
#include "Support/FFTestSupport.h"
#include "Sys_FilePosix.h"
#include "Sys_OSErrData.h"

namespace
{
using Intervals = std::list<Cmn_Interval>;

// Records every block (description and per-channel bytes); can run a hook before each block
// and scribble over each block after it (so that reused pool blocks are dirty).
class Test_RecordingConsumer : public FF_AudioProcess
{
public:
    using Hook = std::function<void(int64_t iBlock, int64_t iPosition)>;
    explicit Test_RecordingConsumer(Hook iHook = {}, bool iRecord = true, bool iScribble = false)
        : mHook(std::move(iHook)), mRecord(iRecord), mScribble(iScribble)
    {
    }
    EProcessType GetProcessType() const override { return eProcessType_Consumer; }

    // Read after the chain has ended.
    std::vector<Bytes> mChannels;
    std::vector<int64_t> mBlockSamples;
    std::set<const FF_AudioProcessBlock*> mBlocksSeen;
    int16_t mNumChannels = -1;
    uint16_t mBits = 0;
    int64_t mTotal = -2;
    EByteOrder mByteOrder = eByteOrder_Native;
    int64_t mNonZeroBytes = 0;
    std::atomic<int64_t> mPosition{0};

protected:
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock*) override
    {
        if (mHook)
            mHook(int64_t(mBlockSamples.size()), mPosition.load());
        if (mBlockSamples.empty())
        {
            mNumChannels = in->GetNumChannels();
            mBits = in->GetBitsPerSample();
            mTotal = in->GetTotalNumSamples();
            mByteOrder = in->GetByteOrder();
            mChannels.resize(size_t(mNumChannels));
        }
        EXPECT_EQ(in->GetNumChannels(), mNumChannels);
        EXPECT_EQ(in->GetTotalNumSamples(), mTotal);
        mBlockSamples.push_back(in->GetNumSamples());
        mBlocksSeen.insert(in);
        const size_t bytes = size_t(in->GetNumBytesPerChannel());
        for (int16_t c = 0; c < in->GetNumChannels(); ++c)
        {
            const auto* p = reinterpret_cast<const unsigned char*>(in->GetBuffer(size_t(c)));
            if (mRecord)
                mChannels[size_t(c)].insert(mChannels[size_t(c)].end(), p, p + bytes);
            for (size_t i = 0; i < bytes; ++i)
                mNonZeroBytes += p[i] != 0;
            if (mScribble)
                std::memset(in->GetBuffer(size_t(c)), 0x5A, in->GetBufferBytes());
        }
        mPosition += in->GetNumSamples();
    }

private:
    Hook mHook;
    const bool mRecord, mScribble;
};

// A gate the consumer waits at (bounded) until the test opens it.
struct Test_Gate
{
    std::mutex mMutex;
    std::condition_variable mCond;
    bool mReached = false, mOpen = false;
    void Wait()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        mReached = true;
        mCond.notify_all();
        mCond.wait_for(lock, std::chrono::seconds(10), [this] { return mOpen; });
    }
    bool WaitReached()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        return mCond.wait_for(lock, std::chrono::seconds(10), [this] { return mReached; });
    }
    void Open()
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mOpen = true;
        mCond.notify_all();
    }
};

// Descriptors of this process open on files under iDir.
int Test_OpenFilesUnder(const std::string& iDir)
{
    int count = 0;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", ec))
    {
        const std::filesystem::path target = std::filesystem::read_symlink(entry.path(), ec);
        if (!ec && target.string().rfind(iDir + "/", 0) == 0)
            ++count;
    }
    return count;
}

// A WAVE file of iFrames frames of pattern samples; returns its samples as read back
// directly through the front (interleaved, native order).
Bytes Test_MakeFile(const std::string& iPath, int16_t iChannels, int16_t iBits, int64_t iFrames,
                    uint32_t iSeed)
{
    const int frame = iChannels * ((iBits + 7) / 8);
    MakeWave(iPath, iChannels, iBits, Pattern(size_t(iFrames * frame), iSeed));
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(iPath)));
    file->Open(Cmn_Store::eOpenFlag_OpenForRead);
    Bytes direct(size_t(iFrames * frame));
    EXPECT_EQ(file->Read(direct.data(), iFrames), iFrames);
    file->Close();
    return direct;
}

// Channel iChannel of the frames in iIntervals of interleaved samples.
Bytes Test_Channel(const Bytes& iInterleaved, int iChannels, int iBytes, int iChannel,
                   const Intervals& iIntervals)
{
    Bytes out;
    for (const Cmn_Interval& interval : iIntervals)
        for (int64_t i = interval.mBegin; i < interval.mEnd; ++i)
        {
            const auto at = iInterleaved.begin() + (i * iChannels + iChannel) * iBytes;
            out.insert(out.end(), at, at + iBytes);
        }
    return out;
}

FF_AudioFileRef Test_Ref(const std::string& iPath)
{
    return FF_AudioFileRef(new FF_AudioFile(Sys_FileLoc(iPath)));
}

using Handle = FF_AudioProcess::ProcessHandle;
FF_AudioProcessChain::ChainHandle Test_Pair(FF_AudioProcess* iProducerP, FF_AudioProcess* iConsumerP)
{
    return Test_MakeChain({Handle(iProducerP), Handle(iConsumerP)});
}

// Where each block ended, as stream positions.
std::set<int64_t> Test_BlockEnds(const std::vector<int64_t>& iSamples)
{
    std::set<int64_t> ends;
    int64_t at = 0;
    for (int64_t n : iSamples)
        ends.insert(at += n);
    return ends;
}

// ---- FF_AudioProcessReadFiles --------------------------------------------------------------

struct ReadCase
{
    const char* mName;
    int16_t mChannels, mBits; // of each file
    int64_t mFrames;
    Intervals mIntervals;
    int64_t mZeroFill;
    int32_t mProcessBlockSize, mReadBlockSize;
    int mFiles = 1; // several: read in step, a channel each
};

class FF_AudioProcessReadFilesCases : public testing::TestWithParam<ReadCase>
{
};

TEST_P(FF_AudioProcessReadFilesCases, DeliversTheIntervalsThenSilenceInBlocksThatEndWithReads)
{
    const ReadCase& rc = GetParam();
    Test_TempDir dir;
    const int bytes = (rc.mBits + 7) / 8;
    std::vector<Bytes> direct;
    std::vector<FF_AudioFileRef> files;
    for (int f = 0; f < rc.mFiles; ++f)
    {
        const std::string path = dir.Path() + "/" + std::to_string(f) + ".wav";
        direct.push_back(Test_MakeFile(path, rc.mChannels, rc.mBits, rc.mFrames, uint32_t(7 + f)));
        files.push_back(Test_Ref(path));
    }
    auto* producerP = new FF_AudioProcessReadFiles(files, rc.mIntervals, rc.mZeroFill, false,
                                                   rc.mProcessBlockSize, rc.mReadBlockSize);
    auto* consumerP = new Test_RecordingConsumer({}, true, true);
    auto chain = Test_Pair(producerP, consumerP); // keeps the stages alive to be read
    ASSERT_EQ(Test_RunQueued(chain), Sys_Task::eStatus_Complete);

    int64_t total = 0;
    std::set<int64_t> intervalEnds;
    for (const Cmn_Interval& interval : rc.mIntervals)
        if (interval.GetLength() > 0)
            intervalEnds.insert(total += interval.GetLength());
    total += rc.mZeroFill;
    ASSERT_EQ(consumerP->mNumChannels, rc.mChannels * rc.mFiles);
    EXPECT_EQ(consumerP->mBits, rc.mBits);
    EXPECT_EQ(consumerP->mTotal, total);
    EXPECT_EQ(producerP->GetUnitsProcessed(), total);
    for (int c = 0; c < rc.mChannels * rc.mFiles; ++c)
    {
        Bytes expected = Test_Channel(direct[size_t(c / rc.mChannels)], rc.mChannels, bytes,
                                      c % rc.mChannels, rc.mIntervals);
        expected.resize(expected.size() + size_t(rc.mZeroFill * bytes), 0);
        ASSERT_EQ(consumerP->mChannels[size_t(c)].size(), expected.size()) << "channel " << c;
        EXPECT_TRUE(consumerP->mChannels[size_t(c)] == expected) << "channel " << c;
    }
    // Blocks hold at most a block's samples and break at the end of every interval.
    const int64_t perBlock = producerP->GetSamplesPerBlock();
    EXPECT_EQ(perBlock, int64_t(rc.mBits) * rc.mProcessBlockSize / 24 / (bytes * rc.mChannels));
    for (int64_t n : consumerP->mBlockSamples)
        EXPECT_LE(n, perBlock);
    const std::set<int64_t> blockEnds = Test_BlockEnds(consumerP->mBlockSamples);
    for (int64_t end : intervalEnds)
        EXPECT_TRUE(blockEnds.count(end)) << "no block ends at " << end;
    EXPECT_LE(consumerP->mBlocksSeen.size(), size_t(FF_AudioProcessChain::cNumPoolBlocks));
    for (const FF_AudioFileRef& file : files)
        EXPECT_EQ(file->GetOpenRefCount(), 0) << "closed at the end of the stream";
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FF_AudioProcessReadFilesCases,
    testing::Values(
        // 100 samples per block, 600 frames per read: many reads, more blocks than the pool.
        ReadCase{"Stereo16WholeFile", 2, 16, 7000, {{0, 7000}}, 0, 600, 2400},
        ReadCase{"Stereo24Default", 2, 24, 90000, {{0, 90000}}, 0, 60480, 241920},
        ReadCase{"Mono8ConvertedAndShortIntervals", 1, 8, 3000, {{10, 110}, {500, 537}, {0, 7}},
                 0, 600, 2400},
        ReadCase{"Quad32IntervalsThenZeros", 4, 32, 5000, {{1, 2501}, {4000, 4999}}, 1234, 1920,
                 7680},
        ReadCase{"Stereo24BlockEndsWithInterval", 2, 24, 3000, {{0, 400}, {800, 1000}}, 0, 600,
                 2400},
        ReadCase{"ZeroFillOnly", 2, 24, 100, {}, 2500, 600, 2400},
        ReadCase{"EmptyIntervalsAreSkipped", 1, 16, 500, {{5, 5}, {6, 106}, {9, 9}}, 0, 600, 2400},
        ReadCase{"TwoMonoFilesInStep", 1, 24, 4000, {{100, 1900}, {3000, 3050}}, 0, 600, 2400, 2}),
    [](const testing::TestParamInfo<ReadCase>& iInfo) { return std::string(iInfo.param.mName); });

TEST(FF_AudioProcessReadFiles, RepeatCyclesTheIntervalsInAFixedSetOfBlocksUntilAborted)
{
    Test_TempDir dir;
    const Bytes direct = Test_MakeFile(dir.Path() + "/a.wav", 2, 16, 1000, 3);
    const Intervals intervals = {{100, 350}, {900, 930}};
    const Bytes cycle[2] = {Test_Channel(direct, 2, 2, 0, intervals),
                            Test_Channel(direct, 2, 2, 1, intervals)};
    const size_t cycleSamples = cycle[0].size() / 2;

    FF_AudioFileRef file = Test_Ref(dir.Path() + "/a.wav");
    auto* producerP = new FF_AudioProcessReadFiles({file}, intervals, 77, true, 600, 2400);
    auto* consumerP = new Test_RecordingConsumer;
    auto chain = Test_Pair(producerP, consumerP);
    Sys_Event::EventHandle ended = chain->GetNotificationEvent(cTest_Ended);
    FF_AudioProcessUtils::QueueBatchProcess(chain);
    Test_WaitFor([&] { return consumerP->mPosition.load() >= int64_t(cycleSamples * 40); });
    chain->Abort();
    ASSERT_EQ(ended->Wait(60000), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(chain->GetStatus(), Sys_Task::eStatus_Aborted);

    EXPECT_EQ(consumerP->mTotal, -1) << "an endless stream";
    const size_t got = consumerP->mChannels[0].size() / 2;
    ASSERT_GE(got, cycleSamples * 40);
    for (int c = 0; c < 2; ++c)
        for (size_t i = 0; i < got; ++i)
            ASSERT_EQ(consumerP->mChannels[size_t(c)][i * 2], cycle[c][(i % cycleSamples) * 2])
                << "channel " << c << " sample " << i;
    // Forty cycles and more, and never a block beyond the pool's.
    EXPECT_LE(consumerP->mBlocksSeen.size(), size_t(FF_AudioProcessChain::cNumPoolBlocks));
    EXPECT_EQ(file->GetOpenRefCount(), 0) << "closed by the abort";
}

struct MisuseCase
{
    const char* mName;
    int16_t mChannelsA, mBitsA, mChannelsB, mBitsB; // mChannelsB 0: one file only
    int32_t mReadBlockSize;
    const char* mAssertion;
    bool mSequence = false; // FF_AudioProcessReadSequence of ten frames of each file
};

class FF_AudioProcessReadMisuse : public testing::TestWithParam<MisuseCase>
{
};

TEST_P(FF_AudioProcessReadMisuse, PreflightAssertsAndLeavesNoFileOpen)
{
    const MisuseCase& mc = GetParam();
    Test_TempDir dir;
    std::vector<FF_AudioFileRef> files;
    Test_MakeFile(dir.Path() + "/a.wav", mc.mChannelsA, mc.mBitsA, 100, 1);
    files.push_back(Test_Ref(dir.Path() + "/a.wav"));
    if (mc.mChannelsB)
    {
        Test_MakeFile(dir.Path() + "/b.wav", mc.mChannelsB, mc.mBitsB, 100, 2);
        files.push_back(Test_Ref(dir.Path() + "/b.wav"));
    }
    {
        FF_AudioProcess* producerP =
            mc.mSequence
                ? static_cast<FF_AudioProcess*>(new FF_AudioProcessReadSequence(
                      {{files[0], {0, 10}}, {files[1], {0, 10}}}, 48000, 16, 2))
                : new FF_AudioProcessReadFiles(files, {{0, 100}}, 0, false, 60480,
                                               mc.mReadBlockSize);
        auto chain = Test_Pair(producerP, new Test_RecordingConsumer);
        EXPECT_TRUE(Test_Asserts([&] { chain->Allocate(); }, mc.mAssertion));
    }
    for (const FF_AudioFileRef& file : files)
        EXPECT_EQ(file->GetOpenRefCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FF_AudioProcessReadMisuse,
    testing::Values(
        MisuseCase{"TwoChannelsWithTwoFiles", 2, 16, 2, 16, 241920, "mAudioFiles.size() == 1"},
        MisuseCase{"OtherSampleWidth", 1, 16, 1, 24, 241920,
                   "bytesPerSample == mAudioFileProperties.mBytesPerSample"},
        MisuseCase{"OtherChannels", 1, 16, 2, 16, 241920,
                   "numChannels == mAudioFileProperties.mNumChannels"},
        MisuseCase{"ReadOfPartFrames", 2, 24, 0, 0, 1000, "!( mReadBlockSize % mBlockAlign )"},
        MisuseCase{"SequenceOfOtherSampleWidth", 2, 16, 2, 24, 0,
                   "mAudioBitDepth == properties.mBitDepth", true},
        MisuseCase{"SequenceOfOtherChannels", 2, 16, 1, 16, 0,
                   "mAudioNumChannels == properties.mNumChannels", true}),
    [](const testing::TestParamInfo<MisuseCase>& iInfo) { return std::string(iInfo.param.mName); });

TEST(FF_AudioProcessReadFiles, ConstructorAssertsSomethingToPlayAndNoNegativeStart)
{
    Test_TempDir dir;
    Test_MakeFile(dir.Path() + "/a.wav", 1, 16, 10, 1);
    const std::vector<FF_AudioFileRef> files = {Test_Ref(dir.Path() + "/a.wav")};
    EXPECT_TRUE(Test_Asserts([&] { FF_AudioProcessReadFiles(files, {}, 0, false); },
                             "mZeroFillAfterSamples || !mIntervals.empty()"));
    EXPECT_TRUE(Test_Asserts([&] { FF_AudioProcessReadFiles(files, {{-1, 5}}, 0, false); },
                             "mIntervals.front().mBegin >= 0"));
}

// ---- failures and aborts, for both file producers -------------------------------------------

enum class Producer
{
    eFiles,
    eSequence
};

FF_AudioProcess* Test_MakeFileProducer(Producer iKind, const FF_AudioFileRef& iFile,
                                       const Cmn_Interval& iInterval)
{
    if (iKind == Producer::eFiles)
        return new FF_AudioProcessReadFiles({iFile}, {iInterval}, 0, false, 600, 2400);
    return new FF_AudioProcessReadSequence({{iFile, iInterval}}, 48000, 16, 2, 600, 2400);
}

class FF_AudioProcessReadFailure : public testing::TestWithParam<Producer>
{
protected:
    void TearDown() override { Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Read, 0, 0); }
};

// 2000 frames of 16-bit stereo in reads of 600 frames: 4 reads. The Nth read fails for N up
// to 4; a fault planned for the 5th never comes and the stream is whole. Last, the file shrinks
// after its header was read: an I/O error.
TEST_P(FF_AudioProcessReadFailure, AFailedOrShortReadEndsTheChainFailedWithItsError)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/a.wav";
    const Bytes direct = Test_MakeFile(path, 2, 16, 2000, 5);
    for (int32_t nth = 1; nth <= 6; ++nth)
    {
        const bool shrunk = nth == 6;
        SCOPED_TRACE(shrunk ? "shrunk" : "read " + std::to_string(nth));
        FF_AudioFileRef file = Test_Ref(path);
        // Opened (and its header read) here, so that the Nth transfer is the Nth sample read.
        file->Open(Cmn_Store::eOpenFlag_OpenForRead);
        file->GetProperties();
        if (shrunk)
            std::filesystem::resize_file(path, std::filesystem::file_size(path) - 4 * 900);
        auto* consumerP = new Test_RecordingConsumer;
        auto chain = Test_Pair(Test_MakeFileProducer(GetParam(), file, {0, 2000}), consumerP);
        Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Read, shrunk ? 0 : nth, shrunk ? 0 : ENXIO);
        const Sys_Task::EStatus status = Test_RunQueued(chain);
        Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Read, 0, 0);
        if (nth != 5)
        {
            ASSERT_EQ(status, Sys_Task::eStatus_Failed);
            const auto* errorP = dynamic_cast<const Sys_OSErrException*>(chain->GetException());
            ASSERT_NE(errorP, nullptr);
            EXPECT_EQ(errorP->GetData().GetError(), shrunk ? EIO : ENXIO);
            // What was read before may still have been on its way when the chain stopped.
            if (!shrunk)
            {
                EXPECT_LE(consumerP->mPosition.load(), (nth - 1) * 600);
            }
        }
        else
            ASSERT_EQ(status, Sys_Task::eStatus_Complete);
        const int64_t got = shrunk ? 0 : consumerP->mPosition.load();
        for (int c = 0; c < 2 && got > 0; ++c)
            EXPECT_TRUE(consumerP->mChannels[size_t(c)] == Test_Channel(direct, 2, 2, c, {{0, got}}))
                << "channel " << c;
        EXPECT_EQ(file->GetOpenRefCount(), 1) << "only the test's own open is left";
        file->Close();
    }
}

TEST_P(FF_AudioProcessReadFailure, AbortMidStreamClosesTheFile)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/a.wav";
    Test_MakeFile(path, 2, 16, 20000, 5);
    FF_AudioFileRef file = Test_Ref(path);
    Test_Gate gate;
    auto* consumerP = new Test_RecordingConsumer(
        [&](int64_t iBlock, int64_t)
        {
            if (iBlock == 2)
                gate.Wait();
        },
        false);
    auto chain = Test_Pair(Test_MakeFileProducer(GetParam(), file, {0, 20000}), consumerP);
    Sys_Event::EventHandle ended = chain->GetNotificationEvent(cTest_Ended);
    FF_AudioProcessUtils::QueueBatchProcess(chain);
    ASSERT_TRUE(gate.WaitReached());
    EXPECT_EQ(Test_OpenFilesUnder(dir.Path()), 1) << "open while streaming";
    chain->Abort();
    gate.Open();
    ASSERT_EQ(ended->Wait(60000), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(chain->GetStatus(), Sys_Task::eStatus_Aborted);
    EXPECT_LT(consumerP->mPosition.load(), 20000);
    EXPECT_EQ(Test_OpenFilesUnder(dir.Path()), 0);
    EXPECT_EQ(file->GetOpenRefCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(Producers, FF_AudioProcessReadFailure,
                         testing::Values(Producer::eFiles, Producer::eSequence),
                         [](const testing::TestParamInfo<Producer>& iInfo)
                         { return iInfo.param == Producer::eFiles ? "Files" : "Sequence"; });

// ---- FF_AudioProcessReadSequence ------------------------------------------------------------

TEST(FF_AudioProcessReadSequence, PlaysThePiecesInOrderWithOneFileOpenAtATime)
{
    Test_TempDir dir;
    // 16-bit stereo: 40 samples per block, 160 frames per read (4 blocks).
    const int32_t processBlockSize = 240, readBlockSize = 640;
    std::vector<Bytes> direct;
    std::list<FF_AudioProcessReadSequence::SeqElem> sequence;
    const Cmn_Interval pieces[] = {{0, 25},  {10, 170}, {300, 301},  {0, 2400},
                                   {50, 90}, {7, 7},    {100, 1100}, {2399, 2400}};
    int64_t longStart = 0, total = 0;
    for (size_t i = 0; i < std::size(pieces); ++i)
    {
        const std::string path = dir.Path() + "/p" + std::to_string(i) + ".wav";
        direct.push_back(Test_MakeFile(path, 2, 16, 2400, uint32_t(10 + i)));
        sequence.push_back({Test_Ref(path), pieces[i]});
        if (i == 3)
            longStart = total;
        total += pieces[i].GetLength();
    }
    // In the middle of the long piece the consumer stops; the producer can run 16 blocks and
    // one read ahead of it, still inside that piece: exactly its file is open.
    Test_Gate gate;
    std::atomic<int> maxOpen{0};
    auto* consumerP = new Test_RecordingConsumer(
        [&](int64_t, int64_t iPosition)
        {
            maxOpen = std::max(maxOpen.load(), Test_OpenFilesUnder(dir.Path()));
            if (iPosition >= longStart + 400 && !gate.mReached)
                gate.Wait();
        });
    auto chain = Test_Pair(
        new FF_AudioProcessReadSequence(sequence, 48000, 16, 2, processBlockSize, readBlockSize),
        consumerP);
    Sys_Event::EventHandle ended = chain->GetNotificationEvent(cTest_Ended);
    FF_AudioProcessUtils::QueueBatchProcess(chain);
    ASSERT_TRUE(gate.WaitReached());
    EXPECT_EQ(Test_OpenFilesUnder(dir.Path()), 1);
    gate.Open();
    while (ended->Wait(0) != Sys_SyncObject::eWaitResult_Signalled)
        maxOpen = std::max(maxOpen.load(), Test_OpenFilesUnder(dir.Path()));
    ASSERT_EQ(chain->GetStatus(), Sys_Task::eStatus_Complete);
    EXPECT_EQ(maxOpen.load(), 1);
    EXPECT_EQ(Test_OpenFilesUnder(dir.Path()), 0);

    EXPECT_EQ(consumerP->mTotal, total);
    std::set<int64_t> pieceEnds;
    int64_t at = 0;
    for (int c = 0; c < 2; ++c)
    {
        Bytes expected;
        for (size_t i = 0; i < std::size(pieces); ++i)
            for (unsigned char b : Test_Channel(direct[i], 2, 2, c, {pieces[i]}))
                expected.push_back(b);
        EXPECT_TRUE(consumerP->mChannels[size_t(c)] == expected) << "channel " << c;
    }
    for (const Cmn_Interval& piece : pieces)
        pieceEnds.insert(at += piece.GetLength());
    const std::set<int64_t> blockEnds = Test_BlockEnds(consumerP->mBlockSamples);
    for (int64_t end : pieceEnds)
        EXPECT_TRUE(blockEnds.count(end)) << "no block ends at " << end;
    for (const auto& elem : sequence)
        EXPECT_EQ(elem.mAudioFile->GetOpenRefCount(), 0);
}

// ---- references to files from several threads ----------------------------------------------

// A chain may be destroyed on a worker (the last reference to it is the worker's queue item)
// while its owner drops its own references to the same files.
TEST(FF_AudioFileRef, CountsCopiesMadeAndDroppedOnTwoThreadsAtOnce)
{
    Test_TempDir dir;
    const FF_AudioFileRef file = Test_Ref(dir.Path() + "/never-opened.wav");
    auto churn = [&]
    {
        for (int i = 0; i < 200000; ++i)
        {
            FF_AudioFileRef copy(file);
            FF_AudioFileRef other(copy);
        }
    };
    std::thread worker(churn);
    churn();
    worker.join();
    EXPECT_EQ(file->GetRefCount(), 1);
}

// ---- FF_AudioProcessReadBuffer and FF_AudioProcessZeros -------------------------------------

struct BufferCase
{
    const char* mName;
    int16_t mBits;
    bool mStereo, mInterleaved;
    uint64_t mRightOffset;
    bool mBigEndian;
};

class FF_AudioProcessReadBufferLayouts : public testing::TestWithParam<BufferCase>
{
};

TEST_P(FF_AudioProcessReadBufferLayouts, HandsOnTheBufferPerChannel)
{
    const BufferCase& bc = GetParam();
    const int bytes = (bc.mBits + 7) / 8;
    const int channels = bc.mStereo ? 2 : 1;
    const int64_t samples = 40000;
    const uint64_t gap = bc.mRightOffset ? bc.mRightOffset - uint64_t(samples * bytes) : 0;
    const Bytes memory = Pattern(size_t(samples * bytes * channels + int64_t(gap)), 9);
    auto* consumerP = new Test_RecordingConsumer({}, true, true);
    auto chain = Test_Pair(new FF_AudioProcessReadBuffer(
                               reinterpret_cast<const char*>(memory.data()), samples, 44100,
                               bc.mBits, bc.mStereo, bc.mInterleaved, bc.mRightOffset,
                               bc.mBigEndian),
                           consumerP);
    ASSERT_EQ(Test_RunQueued(chain), Sys_Task::eStatus_Complete);

    ASSERT_EQ(consumerP->mNumChannels, channels);
    EXPECT_EQ(consumerP->mTotal, samples);
    EXPECT_EQ(consumerP->mByteOrder, bc.mBigEndian ? eByteOrder_Big : eByteOrder_Native);
    for (int64_t n : consumerP->mBlockSamples)
        EXPECT_LE(n, 32768 / bytes);
    for (int c = 0; c < channels; ++c)
    {
        Bytes expected;
        if (bc.mInterleaved || channels == 1)
            expected = Test_Channel(memory, channels, bytes, c, {{0, samples}});
        else
        {
            const size_t from = c == 0 ? 0 : size_t(samples * bytes + int64_t(gap));
            expected.assign(memory.begin() + long(from),
                            memory.begin() + long(from + size_t(samples * bytes)));
        }
        EXPECT_TRUE(consumerP->mChannels[size_t(c)] == expected) << "channel " << c;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FF_AudioProcessReadBufferLayouts,
    testing::Values(BufferCase{"Mono16", 16, false, true, 0, false},
                    BufferCase{"Mono24BigEndian", 24, false, false, 0, true},
                    BufferCase{"Stereo24Interleaved", 24, true, true, 0, false},
                    BufferCase{"Stereo16OneAfterTheOther", 16, true, false, 0, false},
                    BufferCase{"Stereo16RightAtAnOffset", 16, true, false, 80000 + 123, false}),
    [](const testing::TestParamInfo<BufferCase>& iInfo) { return std::string(iInfo.param.mName); });

TEST(FF_AudioProcessZeros, HandsOnExactlyTheTotalInSilentBlocks)
{
    // Totals around the block size; the consumer dirties every block it returns, so a
    // reused pool block that is not cleared shows.
    for (const int64_t total :
         {int64_t(0), int64_t(1), int64_t(245760), int64_t(245761), int64_t(245760) * 20 + 17})
    {
        SCOPED_TRACE(total);
        auto* consumerP = new Test_RecordingConsumer({}, false, true);
        auto chain = Test_Pair(new FF_AudioProcessZeros(total, 48000, 8), consumerP);
        ASSERT_EQ(Test_RunQueued(chain), Sys_Task::eStatus_Complete);
        EXPECT_EQ(consumerP->mPosition.load(), total);
        EXPECT_EQ(consumerP->mTotal, total);
        EXPECT_EQ(consumerP->mNumChannels, 1);
        EXPECT_EQ(consumerP->mNonZeroBytes, 0);
        EXPECT_EQ(int64_t(consumerP->mBlockSamples.size()),
                  std::max<int64_t>(1, (total + 245759) / 245760));
    }
}
} // namespace
