// Whole conversions on disk: what comes out, the multi-mono files of the file constructor,
// consolidation, the consumer's gathering, and faults: a source that is not audio, a folder
// that cannot be written, a full disk, a cancel.
#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <sys/mount.h>
#include <vector>

#include "Cmn_Exception.h"
#include "Convert/ConvertTestSupport.h"
#include "FF/Audio/Processing/Jobs/FF_AudioFileUtils.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConsolidateAudioFileConstructor.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertAudioFile.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertAudioFileConstructor.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewUtils.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadFiles.h"
#include "FF/Audio/Processing/Write/FF_AudioProcessWriteFiles.h"
#include "Sys_FilePosix.h"
#include "Sys_FileUtils.h"

namespace
{
void Convert(const std::string& iSource, const std::vector<std::string>& iDests,
             const FF_AudioFileUtils::ConvertAudioFileParams& iParams,
             std::vector<std::string>* oStagesP = nullptr,
             const FF_AudioFileUtils::ProgressMethod& iProgress = {})
{
    std::vector<Sys_FileLoc> locs;
    for (const std::string& d : iDests)
        locs.emplace_back(d);
    FF_AudioFileUtils::ConvertAudioFiles({FF_AudioFileRef(new FF_AudioFile(Sys_FileLoc(iSource)))},
                                         locs, iParams, eAudioFileType_WAVE, iProgress, oStagesP);
}

struct ToneCase
{
    const char* mName;
    int32_t mSrcRate;
    int16_t mSrcBits, mChannels;
    int32_t mDstRate;
    int16_t mDstBits;
    ESRCQuality mQuality;
    bool mDither;
};

const ToneCase cToneCases[] = {
    {"Stereo16at44100To24at48000", 44100, 16, 2, 48000, 24, eSRCQuality_Medium, false},
    {"Mono24at96000To16at44100Dithered", 96000, 24, 1, 44100, 16, eSRCQuality_High, true},
    {"Stereo16at48000To16at44100Fastest", 48000, 16, 2, 44100, 16, eSRCQuality_Fastest, false},
    {"Mono8at22050To16at22050", 22050, 8, 1, 22050, 16, eSRCQuality_Low, false},
    {"Stereo24at48000To8at48000", 48000, 24, 2, 48000, 8, eSRCQuality_Low, true},
};

class ConvertTone : public testing::TestWithParam<ToneCase>
{
};

// Length exactly the ceiling at the new rate; a 1 kHz tone stays at 1 kHz and its level
// within 0.1 dB. (That other readers read what the writer writes is
// Interop/WaveInteropTest.cpp's.)
TEST_P(ConvertTone, KeepsLengthPitchAndLevel)
{
    const ToneCase& c = GetParam();
    Test_TempDir dir;
    const std::string source = dir.Path() + "/tone.wav", dest = dir.Path() + "/out.wav";
    const int64_t samples = c.mSrcRate / 2 + 77;
    Test_MakeTone(source, c.mSrcRate, c.mSrcBits, c.mChannels, samples);
    const Bytes before = ReadBytes(source);
    Convert(source, {dest}, Test_Params(c.mDstRate, c.mDstBits, c.mQuality, c.mDither));
    EXPECT_EQ(ReadBytes(source), before);

    const int64_t expected = FF_AudioFileUtils::CalcSamples(samples, c.mDstRate, c.mSrcRate);
    const FF_AudioFile::Properties p = Test_Properties(dest);
    EXPECT_EQ(p.mSampleRate, c.mDstRate);
    EXPECT_EQ(p.mBitDepth, c.mDstBits);
    EXPECT_EQ(p.mNumChannels, c.mChannels);
    EXPECT_EQ(p.mNumSamples, expected);
    const auto in = Test_ReadChannels(source), out = Test_ReadChannels(dest);
    for (int16_t ch = 0; ch < c.mChannels; ++ch)
    {
        const Test_ToneMeasure a = Test_MeasureTone(in[size_t(ch)], c.mSrcRate, c.mSrcBits);
        const Test_ToneMeasure b = Test_MeasureTone(out[size_t(ch)], c.mDstRate, c.mDstBits);
        EXPECT_NEAR(b.mFreq, 1000.0, 0.5) << "channel " << ch;
        EXPECT_NEAR(b.mLevelDB, a.mLevelDB, 0.1) << "channel " << ch;
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, ConvertTone, testing::ValuesIn(cToneCases),
                         [](const testing::TestParamInfo<ToneCase>& i) { return i.param.mName; });

TEST(FF_AudioFileUtils, ConvertAudioFilesNamesItsStagesAndSplitsToMonoFiles)
{
    Test_TempDir dir;
    const std::string source = dir.Path() + "/tone.wav";
    Test_MakeTone(source, 44100, 16, 2, 20000);
    // The form without parameters takes the process-wide ones.
    FF_AudioFileUtils::SetConvertAudioFileParams(Test_Params(48000, 24));
    std::vector<std::string> stages;
    FF_AudioFileUtils::ConvertAudioFiles(
        {FF_AudioFileRef(new FF_AudioFile(Sys_FileLoc(source)))},
        {Sys_FileLoc(dir.Path() + "/a.L.wav"), Sys_FileLoc(dir.Path() + "/a.R.wav")},
        eAudioFileType_WAVE, {}, &stages);
    EXPECT_EQ(stages,
              (std::vector<std::string>{"FF_AudioProcessReadFiles", "FF_AudioProcessRequantize",
                                        "FF_AudioProcessSRC", "FF_AudioProcessDecimateWaveform",
                                        "FF_AudioProcessWriteFiles"}));
    const auto in = Test_ReadChannels(source);
    for (const char* side : {"L", "R"})
    {
        const std::string path = dir.Path() + "/a." + side + ".wav";
        EXPECT_EQ(Test_Properties(path).mNumChannels, 1);
        // The overview made on the way in is what the overview computation gives.
        FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(path)));
        file->Open(Cmn_Store::eOpenFlag_OpenForRead);
        FF_AudioOverview embedded;
        ASSERT_TRUE(FF_AudioOverviewMgr::GetEmbeddedOverview(*file, &embedded));
        file->Close();
        const FF_AudioOverview computed = FF_AudioOverviewUtils::ComputeOverview(file);
        ASSERT_EQ(embedded.GetSize(), computed.GetSize());
        EXPECT_EQ(
            std::memcmp(embedded.GetBuffer(), computed.GetBuffer(), size_t(computed.GetSize())), 0);
    }
    // Same format, one interleaved destination: read and write only, samples unchanged. The
    // parameters given win over the process-wide ones.
    Convert(source, {dir.Path() + "/copy.wav"}, Test_Params(44100, 16), &stages);
    EXPECT_EQ(stages,
              (std::vector<std::string>{"FF_AudioProcessReadFiles", "FF_AudioProcessWriteFiles"}));
    EXPECT_EQ(Test_ReadChannels(dir.Path() + "/copy.wav"), in);
    FF_AudioFileRef copy(new FF_AudioFile(Sys_FileLoc(dir.Path() + "/copy.wav")));
    copy->Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_EQ(copy->mDescription.GetOr(""), "test tone");
    EXPECT_FALSE(copy->mUmid.GetOr(Sys_Umid()).IsNoID());
    copy->Close();
    EXPECT_TRUE(Test_Asserts(
        [&]
        {
            Convert(source, {dir.Path() + "/1", dir.Path() + "/2", dir.Path() + "/3"},
                    Test_Params(48000, 24));
        },
        "destLocs.size() == numChannels || destLocs.size() == sources.size()"));
}

TEST(FF_AudioProcessConvertAudioFileConstructor, MakesMultiMonoFilesWithNewIdentitiesAndRegions)
{
    Test_TempDir dir;
    const std::string source = dir.Path() + "/Take.wav";
    Test_MakeTone(source, 48000, 24, 2, 30000, 500.0);
    Sys_Umid sourceUmid;
    {
        FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(source)));
        file->Open(Cmn_Store::eOpenFlag_OpenForWrite);
        file->AddRegion(
            FF_AudioFile::Region("verse", 1000, 5000, 4000, 0, 0, Sys_Umid::Create(), false));
        file->mUmid.Set(Sys_Umid::Create());
        sourceUmid = file->mUmid.GetOr(Sys_Umid());
        file->Flush();
        file->Close();
    }
    // The right file's name is taken: the pair moves to the next number together.
    Test_MakeTone(dir.Path() + "/Take.R.wav", 48000, 16, 1, 10);
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(source)));
    Cmn_AliasedRefCountPtr<FF_AudioProcessConvertAudioFileConstructor> constructor(
        new FF_AudioProcessConvertAudioFileConstructor(file, 16, eAudioFileType_WAVE, 96000,
                                                       eSRCQuality_Medium, 0.0, false, true));
    constructor->SetDstFolderLoc(Sys_FileLoc(dir.Path()));
    Sys_FileUtils::StDeleteFiles deleter;
    constructor->SetFileDeleter(&deleter);
    FF_BatchProcess::BatchProcessHandle process = constructor->CreateBatchProcess();
    Test_RunToEnd(process);
    ASSERT_EQ(process->GetStatus(), Sys_Task::eStatus_Complete);
    deleter.Release();

    const auto in = Test_ReadChannels(source);
    std::set<Sys_Umid> umids;
    int side = 0;
    for (const char* name : {"Take1.L.wav", "Take1.R.wav"})
    {
        const std::string path = dir.Path() + "/" + name;
        FF_AudioFileRef out(new FF_AudioFile(Sys_FileLoc(path)));
        out->Open(Cmn_Store::eOpenFlag_OpenForRead);
        const FF_AudioFile::Properties p = out->GetProperties();
        EXPECT_EQ(p.mNumChannels, 1);
        EXPECT_EQ(p.mSampleRate, 96000);
        EXPECT_EQ(p.mBitDepth, 16);
        EXPECT_EQ(p.mNumSamples, 60000);
        const Sys_Umid umid = out->mUmid.GetOr(Sys_Umid());
        EXPECT_FALSE(umid.IsNoID());
        EXPECT_NE(umid, sourceUmid);
        umids.insert(umid);
        EXPECT_EQ(out->mDescription.GetOr(""), "test tone");
        FF_AudioFile::RegionList regions;
        out->GetRegions(&regions);
        bool verse = false;
        for (const FF_AudioFile::Region& r : regions)
            if (r.mName == "verse")
            {
                verse = true;
                EXPECT_EQ(r.mStartSample, 2000);
                EXPECT_EQ(r.mStopSample, 10000);
            }
        EXPECT_TRUE(verse) << name;
        out->Close();
        // Each side holds its own channel: the rate converter's delay lets the first
        // samples of the two sides differ only as the channels differ.
        const std::vector<int32_t> samples = Test_ReadChannels(path)[0];
        EXPECT_NEAR(samples[size_t(20000)], in[size_t(side)][10000] >> 8, 300) << name;
        ++side;
    }
    EXPECT_EQ(umids.size(), 2u);
}

TEST(FF_AudioProcessConsolidateAudioFileConstructor, KeepsOnlyTheGivenIntervals)
{
    Test_TempDir dir;
    const std::string source = dir.Path() + "/Take.wav";
    Test_MakeTone(source, 44100, 16, 2, 200000, 300.0);
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(source)));
    const std::list<Cmn_Interval> keep = {Cmn_Interval(150000, 190000), Cmn_Interval(10, 70010)};
    Cmn_AliasedRefCountPtr<FF_AudioProcessConsolidateAudioFileConstructor> constructor(
        new FF_AudioProcessConsolidateAudioFileConstructor(file, keep, 16, eAudioFileType_WAVE,
                                                           44100, eSRCQuality_Medium));
    EXPECT_EQ(constructor->GetUnitsToProcess(), 110000);
    constructor->SetDstFolderLoc(Sys_FileLoc(dir.Path()));
    constructor->SetDstName("Part.wav");
    constructor->SetInterleaved(true);
    FF_BatchProcess::BatchProcessHandle process = constructor->CreateBatchProcess();
    Test_RunToEnd(process);
    ASSERT_EQ(process->GetStatus(), Sys_Task::eStatus_Complete);
    const auto in = Test_ReadChannels(source), out = Test_ReadChannels(dir.Path() + "/Part.wav");
    ASSERT_EQ(out.size(), 2u);
    ASSERT_EQ(out[0].size(), 110000u);
    for (size_t c = 0; c < 2; ++c)
    {
        EXPECT_TRUE(std::equal(out[c].begin(), out[c].begin() + 40000, in[c].begin() + 150000));
        EXPECT_TRUE(std::equal(out[c].begin() + 40000, out[c].end(), in[c].begin() + 10));
    }
    EXPECT_TRUE(Test_Asserts(
        [&]
        {
            FF_AudioProcessConsolidateAudioFileConstructor bad(file, {Cmn_Interval(0, 200001)}, 16,
                                                               eAudioFileType_WAVE, 44100,
                                                               eSRCQuality_Medium);
        },
        "0 <= mBegin <= mEnd <= samples"));
}

// ---- the consumer --------------------------------------------------------------------------

TEST(FF_AudioProcessWriteFiles, GathersSmallBlocksIntoLargeWrites)
{
    Test_TempDir dir;
    const std::string source = dir.Path() + "/tone.wav";
    // 16-bit stereo: 10080 samples per block, so six blocks fill most of a 65536 buffer.
    Test_MakeTone(source, 48000, 16, 2, 300000);
    FF_AudioFileRef in(new FF_AudioFile(Sys_FileLoc(source)));
    FF_AudioFileRef out(new FF_AudioFile(eAudioFileType_WAVE, Sys_FileLoc(dir.Path() + "/o.wav"), 2,
                                         16, 48000, 0, 0));
    out->Open(Cmn_Store::eOpenFlag_OpenCreate);
    out->Close();
    auto* writerP = new FF_AudioProcessWriteFiles({out}, 0, 0);
    FF_AudioProcessChain::ChainHandle chain(new FF_AudioProcessConvertAudioFile);
    chain->Append(FF_AudioProcess::ProcessHandle(
        new FF_AudioProcessReadFiles({in}, {Cmn_Interval(0, 300000)}, 0, false)));
    chain->Append(FF_AudioProcess::ProcessHandle(writerP));
    FF_AudioProcess::ProcessHandle keep(writerP);
    Test_RunToEnd(chain);
    ASSERT_EQ(chain->GetStatus(), Sys_Task::eStatus_Complete);
    EXPECT_TRUE(writerP->IsFinished());
    EXPECT_EQ(writerP->GetUnitsProcessed(), 300000);
    EXPECT_EQ(writerP->GetBufferCapacity(), 65536);
    // 30 blocks of 10080 samples go out in writes of six blocks (60480 samples).
    EXPECT_LE(writerP->GetNumWrites(), 6);
    EXPECT_EQ(Test_ReadChannels(dir.Path() + "/o.wav"), Test_ReadChannels(source));
    EXPECT_TRUE(Test_Asserts([] { FF_AudioProcessWriteFiles bad({FF_AudioFileRef()}, -1, 0); },
                             "inStartSample >= 0"));
}

// ---- faults --------------------------------------------------------------------------------

// A source that is not audio, a "folder" that is a file, and one that does not exist: refused
// before any output is made.
TEST(ConvertFaults, WhatCannotBeConvertedLeavesNothing)
{
    Test_TempDir dir;
    const std::string notes = dir.Path() + "/notes.wav", source = dir.Path() + "/tone.wav";
    std::ofstream(notes) << "these are not samples";
    Test_MakeTone(source, 44100, 16, 2, 5000);
    const auto params = Test_Params(48000, 24);
    EXPECT_THROW(Convert(notes, {dir.Path() + "/out.wav"}, params), std::runtime_error);
    EXPECT_ANY_THROW(Convert(source, {source + "/out.wav"}, params));
    EXPECT_ANY_THROW(Convert(source, {dir.Path() + "/missing/out.wav"}, params));
    EXPECT_THROW(FF_AudioProcessConvertAudioFileConstructor(
                     FF_AudioFileRef(new FF_AudioFile(Sys_FileLoc(notes))), 16, eAudioFileType_WAVE,
                     48000, eSRCQuality_Medium),
                 std::runtime_error);
    Cmn_AliasedRefCountPtr<FF_AudioProcessConvertAudioFileConstructor> constructor(
        new FF_AudioProcessConvertAudioFileConstructor(
            FF_AudioFileRef(new FF_AudioFile(Sys_FileLoc(source))), 16, eAudioFileType_WAVE, 48000,
            eSRCQuality_Medium));
    constructor->SetDstFolderLoc(Sys_FileLoc(dir.Path() + "/missing"));
    EXPECT_ANY_THROW(constructor->CreateBatchProcess());
    EXPECT_EQ(Test_FolderNames(dir.Path()), (std::set<std::string>{"notes.wav", "tone.wav"}));
}

// Runs a conversion with the Nth transfer of iKind failing with ENOSPC, for every N until a
// run gets through: each failed run throws, leaves the source as it was and no output.
void WalkFaults(Sys_FilePosix::EFault iKind, bool iSplit)
{
    Test_TempDir dir;
    const std::string source = dir.Path() + "/tone.wav";
    Test_MakeTone(source, 44100, 16, 2, 70000);
    const Bytes before = ReadBytes(source);
    const auto params = Test_Params(48000, 24, eSRCQuality_Fastest);
    int32_t failures = 0;
    for (int32_t n = 1; n < 400; ++n)
    {
        Sys_FilePosix::SetFault(iKind, n, ENOSPC);
        bool failed = false;
        try
        {
            if (iSplit)
            {
                FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(source)));
                Cmn_AliasedRefCountPtr<FF_AudioProcessConvertAudioFileConstructor> constructor(
                    new FF_AudioProcessConvertAudioFileConstructor(file, 24, eAudioFileType_WAVE,
                                                                   48000, eSRCQuality_Fastest));
                constructor->SetDstFolderLoc(Sys_FileLoc(dir.Path()));
                Sys_FileUtils::StDeleteFiles deleter;
                constructor->SetFileDeleter(&deleter);
                FF_BatchProcess::BatchProcessHandle process = constructor->CreateBatchProcess();
                Test_RunToEnd(process);
                deleter.Release();
            }
            else
                Convert(source, {dir.Path() + "/out.wav"}, params);
        }
        catch (const std::exception& e)
        {
            failed = true;
            ++failures;
            EXPECT_FALSE(std::string(e.what()).empty());
        }
        Sys_FilePosix::SetFault(iKind, 0, 0);
        EXPECT_EQ(ReadBytes(source), before) << "fault " << n;
        if (!failed)
            break;
        EXPECT_EQ(Test_FolderNames(dir.Path()), std::set<std::string>{"tone.wav"}) << "fault " << n;
    }
    // Writes: the layout of each new file, two writes of samples, the final flush.
    EXPECT_GE(failures, iKind == Sys_FilePosix::eFault_Write ? 4 : 1);
    EXPECT_GT(Test_FolderNames(dir.Path()).size(), 1u) << "no run got through";
}

TEST(ConvertFaults, EveryFailedWriteLeavesNoOutput)
{
    WalkFaults(Sys_FilePosix::eFault_Write, false);
    WalkFaults(Sys_FilePosix::eFault_Write, true);
}

TEST(ConvertFaults, EveryFailedGrowthLeavesNoOutput)
{
    WalkFaults(Sys_FilePosix::eFault_Grow, false);
}

TEST(ConvertFaults, AFullFileSystemEndsWithAnErrorAndNoOutput)
{
    Test_TempDir dir;
    const std::string mountPoint = dir.Path() + "/small";
    std::filesystem::create_directories(mountPoint);
    if (::mount("tmpfs", mountPoint.c_str(), "tmpfs", 0, "size=256k") != 0)
        GTEST_SKIP() << "no right to mount a small file system here";
    const std::string source = dir.Path() + "/tone.wav";
    Test_MakeTone(source, 44100, 16, 2, 200000); // 0.8 MB; about 1.2 MB at 48 kHz 24-bit
    const Bytes before = ReadBytes(source);
    // Through the chain, and as a copy of the sample bytes.
    for (auto [rate, bits] : {std::pair{48000, int16_t(24)}, std::pair{44100, int16_t(16)}})
    {
        const auto params = Test_Params(rate, bits);
        bool threw = false;
        try
        {
            Convert(source, {mountPoint + "/out.wav"}, params);
        }
        catch (const std::exception& e)
        {
            threw = true;
            EXPECT_NE(std::string(e.what()).find("space"), std::string::npos) << e.what();
        }
        EXPECT_TRUE(threw) << rate;
        EXPECT_TRUE(Test_FolderNames(mountPoint).empty()) << rate;
        EXPECT_EQ(ReadBytes(source), before);
    }
    ::umount(mountPoint.c_str());
}

// A cancel through the chain (answering its first progress report) and during the copy of
// the sample bytes (the second): every output goes, the source stays.
TEST(ConvertFaults, ACancelInTheMiddleDeletesEveryOutput)
{
    Test_TempDir dir;
    const std::string source = dir.Path() + "/tone.wav";
    // Two minutes at the slowest quality take several 50 ms slices even optimised on a fast
    // machine; as a copy, 21 MB take three steps.
    Test_MakeTone(source, 44100, 16, 2, 44100 * 120);
    const Bytes before = ReadBytes(source);
    const struct
    {
        FF_AudioFileUtils::ConvertAudioFileParams mParams;
        std::vector<std::string> mDests;
        int mCancelAtCall;
    } cases[] = {{Test_Params(48000, 24, eSRCQuality_Best), {"a.L.wav", "a.R.wav"}, 1},
                 {Test_Params(44100, 16), {"copy.wav"}, 2}};
    for (const auto& c : cases)
    {
        std::vector<std::string> dests;
        for (const std::string& name : c.mDests)
            dests.push_back(dir.Path() + "/" + name);
        int calls = 0;
        int64_t doneAtCancel = -1, total = 0;
        EXPECT_THROW(Convert(source, dests, c.mParams, nullptr,
                             [&](int64_t iDone, int64_t iTotal)
                             {
                                 total = iTotal;
                                 doneAtCancel = iDone;
                                 return ++calls < c.mCancelAtCall;
                             }),
                     Cmn_CancelException)
            << c.mDests[0];
        EXPECT_GT(doneAtCancel, c.mCancelAtCall - 2) << c.mDests[0];
        EXPECT_LT(doneAtCancel, total) << c.mDests[0];
        EXPECT_EQ(Test_FolderNames(dir.Path()), std::set<std::string>{"tone.wav"});
        EXPECT_EQ(ReadBytes(source), before);
    }
}
} // namespace
