// QSII and QSI files through the tool: convert writes them (the QSII data fork with its
// sidecar), info and convert read them back, resources lists what a sidecar holds, and files
// that are refused get one line saying why.
#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "FF/Audio/FF_AudioFile.h"
#include "Support/FFTestSupport.h"
#include "Support/SysTestSupport.h"
#include "Support/ToolRunner.h"
#include "Sys_AppleDouble.h"

namespace
{
class Cmd_Resources : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!Test_ToolPath())
            GTEST_SKIP() << "MIRAFILE_TOOL is not set";
        const auto r = Run("tone '" + Path("tone.wav") +
                           "' --rate 44100 --bits 24 --channels 2 --seconds 0.25");
        ASSERT_EQ(r.mStatus, 0) << r.mErr;
    }
    Test_ToolResult Run(const std::string& iArgs) { return Test_RunTool(iArgs, mDir.Path()); }
    std::string Path(const std::string& iName) const { return mDir.Path() + "/" + iName; }
    // All frames through the front, native order.
    static Bytes Samples(const std::string& iPath)
    {
        FF_AudioFileRef file = OpenFile(iPath, Cmn_Store::eOpenFlag_OpenForRead);
        const FF_AudioFile::Properties p = file->GetProperties();
        Bytes all(size_t(p.mNumSamples * p.mNumChannels * p.mBytesPerSample));
        file->Read(all.data(), p.mNumSamples);
        file->Close();
        return all;
    }
    Test_TempDir mDir;
};

// Convert writes each type by extension or --type; info reads it back with its format, and
// converting back to WAVE gives the same samples.
TEST_F(Cmd_Resources, ConvertWritesQSIIAndQSIAndTheyReadBack)
{
    const struct
    {
        const char* mArgs; // $T: the tone, $D: the scratch folder
        const char* mOut;
        const char* mType;
        int mChannels;
    } cases[] = {
        {"convert '$T' -o '$D/a.qs2'", "a.qs2", "QS II", 2},
        {"convert '$T' --type qs2 --bits 16 --to '$D/q2'", "q2/tone.qs2", "QS II", 2},
        {"convert '$T' --type qs1 --split --to '$D/q1'", "q1/tone.L.qs1", "QS I", 1},
    };
    std::filesystem::create_directory(Path("q2"));
    std::filesystem::create_directory(Path("q1"));
    for (const auto& c : cases)
    {
        std::string args = c.mArgs;
        for (const auto& [key, value] : {std::pair<std::string, std::string>{"$T", Path("tone.wav")},
                                         {"$D", mDir.Path()}})
            for (size_t at; (at = args.find(key)) != std::string::npos;)
                args.replace(at, key.size(), value);
        auto r = Run(args);
        ASSERT_EQ(r.mStatus, 0) << args << ": " << r.mErr;
        const std::string out = Path(c.mOut);
        EXPECT_EQ(Exists(Sys_AppleDouble::SidecarOf(Sys_FileLoc(out)).GetFullPath()),
                  std::string(c.mType) == "QS II")
            << out;
        r = Run("info --json '" + out + "'");
        ASSERT_EQ(r.mStatus, 0) << r.mErr;
        const auto info = nlohmann::json::parse(r.mOut);
        EXPECT_EQ(info["type"], c.mType);
        EXPECT_EQ(info["channels"], c.mChannels);
        EXPECT_EQ(info["byte_order"], "big");
        EXPECT_EQ(info["samples"], 11025);
        r = Run("convert '" + out + "' -o '" + out + ".wav'");
        ASSERT_EQ(r.mStatus, 0) << r.mErr;
        EXPECT_EQ(Samples(out + ".wav"), Samples(out));
    }
    EXPECT_EQ(Samples(Path("a.qs2")), Samples(Path("tone.wav")));
}

// resources lists the sidecar's entries and the fork's resources, as text and as JSON.
TEST_F(Cmd_Resources, ListsSidecarEntriesAndResources)
{
    ASSERT_EQ(Run("convert '" + Path("tone.wav") + "' -o '" + Path("a.qs2") + "'").mStatus, 0);
    auto r = Run("resources '" + Path("a.qs2") + "'");
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    for (const char* line : {"Finder information   offset 50, 32 bytes, type \"Qs2f\"",
                             "resource fork        offset 82,", "\"STR \"   1000         2 bytes  "
                                                                "\"sample-size\"",
                             "\"STR \"   1001         6 bytes  \"sample-rate\"",
                             "\"umid\"   1000        16 bytes"})
        EXPECT_NE(r.mOut.find(line), std::string::npos) << line << "\n" << r.mOut;
    r = Run("resources --json '" + Path("a.qs2") + "'");
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    const auto doc = nlohmann::json::parse(r.mOut);
    EXPECT_EQ(doc["finder_type"], "Qs2f");
    ASSERT_EQ(doc["entries"].size(), 2u);
    EXPECT_EQ(doc["entries"][1]["id"], 2);
    const auto& first = doc["resources"][0];
    EXPECT_EQ(first["type"], "STR ");
    EXPECT_EQ(first["name"], "sample-size");
    EXPECT_EQ(first["size"], 2);
    EXPECT_EQ(doc["resources"][3]["name"], nullptr);
}

// Refused and unreadable inputs: one line naming the file and what is wrong, status 1, and
// nothing written.
TEST_F(Cmd_Resources, RefusedFilesGetOneLineSayingWhy)
{
    WriteBytes(Path("plain.qs2"), Pattern(100));
    WriteBytes(Path("finder.qs2"), Pattern(100));
    Sys_AppleDouble::Contents finderOnly;
    finderOnly.SetTypeAndCreator(0x51733266, 0); // "Qs2f"
    Sys_AppleDouble::Write(Sys_FileLoc(Path("finder.qs2")), finderOnly);
    Bytes qsi(1336 + 10, 0);
    qsi[0] = 'Q', qsi[1] = 'S', qsi[186] = 1; // 256 bytes of samples claimed, 10 held
    qsi[1022] = 0xAC, qsi[1023] = 0x44, qsi[1029] = 16; // 44100 Hz, 16 bits
    WriteBytes(Path("wide.qs1"), qsi);
    const struct
    {
        const char* mArgs;
        const char* mErr;
    } cases[] = {
        {"info '$D/plain.qs2'", "plain.qs2: not an audio file of a type mirafile reads (QS II: "
                                "no AppleDouble sidecar \"._plain.qs2\" holds its resource fork)"},
        {"info '$D/finder.qs2'", "(QS II: its sidecar \"._finder.qs2\" holds Finder information "
                                 "only, no resource fork)"},
        {"info '$D/wide.qs1'", "(QS I: its header claims 256 bytes of samples, the file holds 10)"},
        {"convert '$D/plain.qs2' --to '$D'", "is not an audio file that mirafile can read (QS II"},
        {"convert '$D/tone.wav' -o '$D/x.qs1'", "has 2 channels, and QS I files are mono"},
        {"resources '$D/tone.wav'", "tone.wav: no AppleDouble sidecar \"._tone.wav\" beside it"},
        {"resources '$D/none'", "none: no such file"},
    };
    for (const auto& c : cases)
    {
        std::string args = c.mArgs;
        for (size_t at; (at = args.find("$D")) != std::string::npos;)
            args.replace(at, 2, mDir.Path());
        const auto r = Run(args);
        EXPECT_EQ(r.mStatus, 1) << args;
        EXPECT_NE(r.mErr.find(c.mErr), std::string::npos) << args << ": " << r.mErr;
        EXPECT_EQ(std::count(r.mErr.begin(), r.mErr.end(), '\n'), 1) << r.mErr;
        EXPECT_EQ(r.mOut, "") << args;
    }
    EXPECT_FALSE(Exists(Path("x.qs1")));
}
} // namespace
