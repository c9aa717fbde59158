// mirafile convert and consolidate, run as a person runs them: outputs that sox reads with
// the right format and length, the stages in --json, and one clear line for bad input with
// nothing left behind.
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "Convert/ConvertTestSupport.h"
#include "FF/Audio/Processing/Jobs/FF_AudioFileUtils.h"
#include "Support/InteropSupport.h"
#include "Support/ToolRunner.h"

namespace
{
// What soxi says about one property of a file ("r", "b", "c", "s").
std::string Soxi(const std::string& iPath, const char* iWhat, const std::string& iScratch)
{
    const std::string out = iScratch + "/soxi.out";
    if (std::system(("soxi -" + std::string(iWhat) + " '" + iPath + "' >'" + out + "' 2>/dev/null")
                        .c_str()) != 0)
        return "";
    std::string text;
    std::getline(std::ifstream(out) >> std::ws, text);
    return text;
}

class Cmd_Convert : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!Test_ToolPath())
            GTEST_SKIP() << "MIRAFILE_TOOL is not set";
        std::filesystem::create_directories(mDir.Path() + "/out");
        mSource = mDir.Path() + "/tone.wav";
        Test_MakeTone(mSource, 44100, 16, 2, 44100);
    }
    Test_ToolResult Run(const std::string& iArgs) { return Test_RunTool(iArgs, mDir.Path()); }
    std::set<std::string> Outputs() { return Test_FolderNames(mDir.Path() + "/out"); }

    Test_TempDir mDir;
    std::string mSource;
};

TEST_F(Cmd_Convert, WritesFilesThatSoxReadsWithTheRightFormatAndLength)
{
    const std::string out = mDir.Path() + "/out/tone-48k.wav";
    auto r =
        Run("convert '" + mSource + "' -o '" + out + "' --rate 48000 --bits 24 --quality better");
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_NE(r.mOut.find("48000 Hz, 24-bit, 2 ch, 48000 samples"), std::string::npos) << r.mOut;
    if (Test_HaveSox())
        for (const auto& [what, value] :
             {std::pair{"r", "48000"}, {"b", "24"}, {"c", "2"}, {"s", "48000"}})
        {
            EXPECT_EQ(Soxi(out, what, mDir.Path()), value) << what;
        }
    // --split: multi-mono files with channel suffixes, and the chain's stages in --json.
    r = Run("convert '" + mSource + "' --to '" + mDir.Path() + "/out' --split --bits 24 --json");
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_NE(
        r.mOut.find("\"stages\": [\"FF_AudioProcessReadFiles\", \"FF_AudioProcessRequantize\", "
                    "\"FF_AudioProcessDecimateWaveform\", \"FF_AudioProcessWriteFiles\"]"),
        std::string::npos)
        << r.mOut;
    EXPECT_EQ(Outputs(), (std::set<std::string>{"tone-48k.wav", "tone.L.wav", "tone.R.wav"}));
    EXPECT_NE(r.mOut.find("\"channels\": 1, \"samples\": 44100"), std::string::npos) << r.mOut;
    // Converting again into the same folder takes the next number for the whole set.
    r = Run("convert '" + mSource + "' --to '" + mDir.Path() + "/out' --split --gain -3 --dither");
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_TRUE(Outputs().count("tone1.L.wav") && Outputs().count("tone1.R.wav"));
}

TEST_F(Cmd_Convert, ConsolidateKeepsOnlyTheRanges)
{
    const std::string out = mDir.Path() + "/out/part.wav";
    // A --range before the source takes one value and leaves the source alone.
    auto r = Run("consolidate --range 100:1100 '" + mSource + "' --range 40000:41000 -o '" + out +
                 "' --json");
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_NE(r.mOut.find("\"samples\": 2000"), std::string::npos) << r.mOut;
    const auto in = Test_ReadChannels(mSource), part = Test_ReadChannels(out);
    ASSERT_EQ(part.size(), 2u);
    ASSERT_EQ(part[1].size(), 2000u);
    EXPECT_TRUE(std::equal(part[1].begin(), part[1].begin() + 1000, in[1].begin() + 100));
    EXPECT_TRUE(std::equal(part[1].begin() + 1000, part[1].end(), in[1].begin() + 40000));
    r = Run("consolidate '" + mSource + "' --range 0:44101 -o '" + mDir.Path() + "/out/x.wav'");
    EXPECT_EQ(r.mStatus, 1);
    EXPECT_NE(r.mErr.find("ends past"), std::string::npos) << r.mErr;
}

struct BadInput
{
    const char* mName;
    std::string mArgs; // $S: the source, $O: the output folder, $D: the scratch folder
    std::string mError;
};

class Cmd_ConvertBadInput : public Cmd_Convert, public testing::WithParamInterface<BadInput>
{
};

TEST_P(Cmd_ConvertBadInput, FailsWithOneClearLineAndWritesNothing)
{
    std::ofstream(mDir.Path() + "/notes.txt") << "no samples here";
    std::string args = GetParam().mArgs;
    for (const auto& [key, value] : {std::pair<std::string, std::string>{"$S", mSource},
                                     {"$O", mDir.Path() + "/out"},
                                     {"$D", mDir.Path()}})
        for (size_t at; (at = args.find(key)) != std::string::npos;)
            args.replace(at, key.size(), value);
    const Bytes before = ReadBytes(mSource);
    const auto r = Run(args);
    EXPECT_EQ(r.mStatus, 1) << r.mOut;
    EXPECT_NE(r.mErr.find(GetParam().mError), std::string::npos) << r.mErr;
    EXPECT_EQ(std::count(r.mErr.begin(), r.mErr.end(), '\n'), 1) << r.mErr;
    EXPECT_TRUE(Outputs().empty());
    EXPECT_EQ(ReadBytes(mSource), before);
}

const BadInput cBadInputs[] = {
    {"NotAudio", "convert '$D/notes.txt' --to '$O'", "not an audio file"},
    {"Missing", "convert '$D/nothing.wav' --to '$O'", "no such file"},
    {"NoDestination", "convert '$S'", "usage"},
    {"BothDestinations", "convert '$S' -o '$O/a.wav' --to '$O'", "usage"},
    {"BadBits", "convert '$S' --to '$O' --bits 20", "--bits"},
    {"BadQuality", "convert '$S' --to '$O' --quality superb", "--quality"},
    {"UnknownExtension", "convert '$S' -o '$O/a.mp3'", "only WAVE (.wav, .wave)"},
    {"UnknownType", "convert '$S' --to '$O' --type mp3", "--type"},
    {"TypeAgainstExtension", "convert '$S' -o '$O/a.wav' --type aiff", "does not match"},
    {"FolderIsAFile", "convert '$S' --to '$S'", "is not a folder"},
    {"FolderCannotBeWritten", "convert '$S' --to /proc --rate 48000", "/proc"},
    {"OutputExists", "convert '$S' -o '$S'", "exists already"},
};

INSTANTIATE_TEST_SUITE_P(Cases, Cmd_ConvertBadInput, testing::ValuesIn(cBadInputs),
                         [](const testing::TestParamInfo<BadInput>& i) { return i.param.mName; });

// Ctrl-C in the middle of a run: status 130, "cancelled", and the outputs of the run gone,
// also the one that was already finished.
TEST_F(Cmd_Convert, InterruptCancelsAndDeletesEveryOutputOfTheRun)
{
    const std::string longSource = mDir.Path() + "/long.wav";
    Test_MakeTone(longSource, 44100, 16, 2, 44100 * 20);
    const Bytes before = ReadBytes(longSource);
    const std::string err = mDir.Path() + "/int.err";
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0)
    {
        ::freopen(err.c_str(), "w", stderr);
        ::freopen("/dev/null", "w", stdout);
        ::execl(Test_ToolPath(), Test_ToolPath(), "convert", mSource.c_str(), longSource.c_str(),
                "--to", (mDir.Path() + "/out").c_str(), "--rate", "48000", "--quality", "tweak",
                static_cast<char*>(nullptr));
        ::_exit(127);
    }
    // Wait until the second output is being written (under its temporary name; the first one
    // is finished then), then interrupt.
    const auto writingLong = [&]
    {
        for (const std::string& name : Outputs())
            if (name.rfind(".mirafile-tmp-", 0) == 0 && name.ends_with("-long.wav"))
                return true;
        return false;
    };
    for (int i = 0; i < 20000 && !writingLong(); ++i)
        ::usleep(1000);
    ::kill(pid, SIGINT);
    int status = 0;
    ::waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 130);
    std::string text;
    std::getline(std::ifstream(err), text);
    EXPECT_NE(text.find("cancelled"), std::string::npos) << text;
    EXPECT_TRUE(Outputs().empty());
    EXPECT_EQ(ReadBytes(longSource), before);
}
} // namespace
