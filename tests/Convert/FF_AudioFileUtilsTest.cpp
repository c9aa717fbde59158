// Channel suffixes, destination names with their collisions, counts at another rate, regions
// moved with kept samples, compacting and comparing files.
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

#include "Convert/ConvertTestSupport.h"
#include "FF/Audio/Processing/Jobs/FF_AudioFileComparator.h"
#include "FF/Audio/Processing/Jobs/FF_AudioFileUtils.h"

namespace
{
TEST(FF_AudioFileUtils, GivesOneSuffixPerMonoFileByChannelCount)
{
    using V = std::vector<std::string>;
    const std::vector<V> expected = {{},
                                     {},
                                     {".L", ".R"},
                                     {".L", ".C", ".R"},
                                     {".L", ".C", ".R", ".S"},
                                     {".L", ".C", ".R", ".Ls", ".Rs"},
                                     {".L", ".C", ".R", ".Ls", ".Rs", ".LFE"},
                                     {".L", ".C", ".R", ".Ls", ".Cs", ".Rs", ".LFE"},
                                     {".L", ".Lc", ".C", ".Rc", ".R", ".Ls", ".Rs", ".LFE"}};
    for (int16_t n = 0; n <= 8; ++n)
        EXPECT_EQ(FF_AudioFileUtils::GetAudioFileSuffixesForFormat(n), expected[size_t(n)]) << n;
    EXPECT_EQ(FF_AudioFileUtils::GetAudioFileSuffixesForFormat(10).size(), 10u);
}

TEST(FF_AudioFileUtils, KnowsChannelSuffixesInEitherCase)
{
    for (const char* yes : {".L", ".r", "LFE", ".lfe", ".M", "m", ".Ls", ".cS", ".Lc", ".RC", ".S"})
        EXPECT_TRUE(FF_AudioFileUtils::IsChannelSpecificExtension(yes)) << yes;
    for (const char* no : {"", ".", ".wav", ".LR", ".Left", ".1", ".Mx"})
        EXPECT_FALSE(FF_AudioFileUtils::IsChannelSpecificExtension(no)) << no;
}

TEST(FF_AudioFileUtils, CalcSamplesIsTheCeilingAtTheNewRate)
{
    EXPECT_EQ(FF_AudioFileUtils::CalcSamples(44100, 48000, 44100), 48000);
    EXPECT_EQ(FF_AudioFileUtils::CalcSamples(1, 48000, 44100), 2);
    EXPECT_EQ(FF_AudioFileUtils::CalcSamples(0, 48000, 44100), 0);
    EXPECT_EQ(FF_AudioFileUtils::CalcSamples(96001, 44100, 96000), 44101);
    // No overflow for a long file at a high rate.
    EXPECT_EQ(FF_AudioFileUtils::CalcSamples(int64_t(1) << 40, 192000, 48000), int64_t(1) << 42);
}

// Counts what it is asked and refuses the names it was given.
class Test_Detector : public FF_AudioFileUtils::CollisionDetector
{
public:
    explicit Test_Detector(std::set<std::string> iTaken) : mTaken(std::move(iTaken)) {}
    bool IsLocationTaken(const Sys_FileLoc& iLoc) override
    {
        return mTaken.count(iLoc.GetName()) != 0;
    }

private:
    std::set<std::string> mTaken;
};

std::vector<std::string> Names(const std::vector<Sys_FileLoc>& iLocs)
{
    std::vector<std::string> names;
    for (const Sys_FileLoc& loc : iLocs)
        names.push_back(loc.GetName());
    return names;
}

struct NameCase
{
    const char* mName;
    std::string mSource;
    std::vector<std::string> mSuffixes;
    std::set<std::string> mTaken;
    int32_t mLimit;
    bool mLeadingZero;
    std::vector<std::string> mExpected;
};

const std::string c40 = "abcdefghijklmnopqrstuvwxyz0123456789ABCD";

// clang-format off
const NameCase cNameCases[] = {
    {"StereoSet", "Take.wav", {".L", ".R"}, {}, 31, false, {"Take.L.wav", "Take.R.wav"}},
    {"MonoHasNoSuffix", "Take.wav", {}, {}, 31, false, {"Take.wav"}},
    {"RightTakenMovesBothToOne", "Take.wav", {".L", ".R"}, {"Take.R.wav"}, 31, false,
     {"Take1.L.wav", "Take1.R.wav"}},
    {"LeftTakenMovesBothToOne", "Take.wav", {".L", ".R"}, {"Take.L.wav"}, 31, false,
     {"Take1.L.wav", "Take1.R.wav"}},
    {"NextNumberWhenOneIsTaken", "Take.wav", {".L", ".R"}, {"Take.L.wav", "Take1.R.wav"}, 31,
     false, {"Take2.L.wav", "Take2.R.wav"}},
    {"LeadingZero", "Take.wav", {}, {"Take.wav"}, 31, true, {"Take01.wav"}},
    {"ChannelSuffixOfTheSourceIsStripped", "Take.L.wav", {".L", ".R"}, {}, 31, false,
     {"Take.L.wav", "Take.R.wav"}},
    {"IllegalCharactersMapped", "a:b*c?.wav", {}, {}, 31, false, {"a_b_c_.wav"}},
    {"BaseCutToTheLimit", c40 + ".wav", {".L"}, {}, 31, false, {c40.substr(0, 31) + ".L.wav"}},
    {"NumberStaysWithinTheLimit", c40 + ".wav", {}, {c40.substr(0, 31) + ".wav"}, 31, false,
     {c40.substr(0, 30) + "1.wav"}},
};
// clang-format on

// (The default detector, which asks the file system, is the file constructor's: see
// MakesMultiMonoFilesWithNewIdentitiesAndRegions.)
class UniqueAudioFileLocs : public testing::TestWithParam<NameCase>
{
};

TEST_P(UniqueAudioFileLocs, NamesTheSetAndAvoidsTakenNames)
{
    const NameCase& c = GetParam();
    Test_Detector detector(c.mTaken);
    const std::vector<Sys_FileLoc> locs = FF_AudioFileUtils::GetUniqueAudioFileLocs(
        Sys_FileLoc("/tmp/mirafile-names"), c.mSource,
        FF_AudioFile::FileTypeFromAudioFileType(eAudioFileType_WAVE), c.mSuffixes, c.mLimit,
        &detector, c.mLeadingZero);
    EXPECT_EQ(Names(locs), c.mExpected);
    for (const Sys_FileLoc& loc : locs)
        EXPECT_EQ(loc.GetParentFolder().GetFullPath(), "/tmp/mirafile-names");
}

INSTANTIATE_TEST_SUITE_P(Cases, UniqueAudioFileLocs, testing::ValuesIn(cNameCases),
                         [](const testing::TestParamInfo<NameCase>& i) { return i.param.mName; });

FF_AudioFile::Region MakeRegion(const std::string& iName, int64_t iStart, int64_t iStop)
{
    return FF_AudioFile::Region(iName, iStart, iStop, iStop - iStart, 1000 + iStart, 2000 + iStart,
                                Sys_Umid::Create(), false);
}

TEST(FF_AudioFileUtils, MovesRegionsWithTheKeptSamplesAndScalesThem)
{
    FF_AudioFile::RegionList regions = {
        MakeRegion("inside", 120, 150), MakeRegion("cut", 90, 130), MakeRegion("outside", 10, 20),
        FF_AudioFile::Region("whole", 0, 500, 500, 0, 0, Sys_Umid::Create(), true)};
    const std::list<Cmn_Interval> kept = {Cmn_Interval(300, 400), Cmn_Interval(100, 200)};
    const FF_AudioFile::RegionList same = FF_AudioFileUtils::MapRegions(regions, kept, 1, 1);
    // Name, start, stop, length, original time stamp; "inside" after the first kept
    // interval's 100 samples, "cut" at its kept part.
    using Row = std::tuple<std::string, int64_t, int64_t, int64_t, int64_t>;
    std::vector<Row> rows;
    for (const FF_AudioFile::Region& r : same)
        rows.emplace_back(r.mName, r.mStartSample, r.mStopSample, r.mLength, r.mOriginalTimeStamp);
    EXPECT_EQ(rows,
              (std::vector<Row>{{"inside", 120, 150, 30, 1120}, {"cut", 100, 130, 30, 1100}}));

    const FF_AudioFile::RegionList doubled = FF_AudioFileUtils::MapRegions(regions, kept, 2, 1);
    EXPECT_EQ(doubled.front().mStartSample, 240);
    EXPECT_EQ(doubled.front().mStopSample, 300);
}

TEST(FF_AudioFileUtils, CompactsToTheWantedPartsWithTheirRegions)
{
    Test_TempDir dir;
    const std::string source = dir.Path() + "/src.wav", dest = dir.Path() + "/compact.wav";
    Test_MakeTone(source, 48000, 24, 2, 5000, 440.0);
    {
        FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(source)));
        file->Open(Cmn_Store::eOpenFlag_OpenForWrite);
        file->AddRegion(MakeRegion("kept", 4100, 4200));
        file->AddRegion(MakeRegion("dropped", 2000, 2100));
        file->Flush();
        file->Close();
    }
    const Bytes before = ReadBytes(source);
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(source)));
    FF_AudioFileUtils::CompactAudioFile(*file, Sys_FileLoc(dest),
                                        {Cmn_Interval(4000, 4500), Cmn_Interval(100, 300)});
    EXPECT_EQ(ReadBytes(source), before);

    const auto in = Test_ReadChannels(source), out = Test_ReadChannels(dest);
    ASSERT_EQ(out.size(), 2u);
    ASSERT_EQ(out[0].size(), 700u);
    for (size_t c = 0; c < 2; ++c)
    {
        EXPECT_TRUE(std::equal(out[c].begin(), out[c].begin() + 500, in[c].begin() + 4000));
        EXPECT_TRUE(std::equal(out[c].begin() + 500, out[c].end(), in[c].begin() + 100));
    }
    FF_AudioFileRef compact(new FF_AudioFile(Sys_FileLoc(dest)));
    compact->Open(Cmn_Store::eOpenFlag_OpenForRead);
    FF_AudioFile::RegionList regions;
    compact->GetRegions(&regions);
    compact->Close();
    std::vector<std::tuple<std::string, int64_t, int64_t>> kept;
    for (const FF_AudioFile::Region& r : regions)
        if (!r.mIsWholeFile)
            kept.emplace_back(r.mName, r.mStartSample, r.mStopSample);
    EXPECT_EQ(kept, (std::vector<std::tuple<std::string, int64_t, int64_t>>{{"kept", 100, 200}}));
    // A destination that exists is refused and kept.
    EXPECT_THROW(
        FF_AudioFileUtils::CompactAudioFile(*file, Sys_FileLoc(dest), {Cmn_Interval(0, 10)}),
        std::runtime_error);
    EXPECT_EQ(Test_ReadChannels(dest)[0].size(), 700u);
}

TEST(FF_AudioFileComparator, FindsEqualFilesAndTheFirstDifference)
{
    Test_TempDir dir;
    const std::string a = dir.Path() + "/a.wav", b = dir.Path() + "/b.wav",
                      c = dir.Path() + "/c.wav", d = dir.Path() + "/d.wav";
    Test_MakeTone(a, 44100, 16, 2, 40000);
    Test_MakeTone(b, 44100, 16, 2, 40000);
    Test_MakeTone(c, 44100, 16, 2, 40000, 1000.0, -6.5);
    Test_MakeTone(d, 48000, 24, 2, 40000);
    FF_AudioFileRef fa(new FF_AudioFile(Sys_FileLoc(a))), fb(new FF_AudioFile(Sys_FileLoc(b))),
        fc(new FF_AudioFile(Sys_FileLoc(c))), fd(new FF_AudioFile(Sys_FileLoc(d)));
    const auto same = FF_AudioFileComparator::CompareFiles(*fa, *fb);
    EXPECT_TRUE(same.AreEqual());
    EXPECT_EQ(same.mSamplesCompared, 40000);
    const auto quieter = FF_AudioFileComparator::CompareFiles(*fa, *fc);
    EXPECT_FALSE(quieter.AreEqual());
    EXPECT_FALSE(quieter.mPropertiesDiffer);
    EXPECT_GT(quieter.mSamplesDiffering, 30000);
    EXPECT_GE(quieter.mFirstDifferentSample, 0);
    const auto other = FF_AudioFileComparator::CompareFiles(*fa, *fd);
    EXPECT_TRUE(other.mPropertiesDiffer);
    EXPECT_NE(other.mProperties.find("mSampleRate"), std::string::npos);
    EXPECT_NE(other.mProperties.find("mBitDepth"), std::string::npos);
    EXPECT_TRUE(other.mSamplesNotComparable);
}
} // namespace
