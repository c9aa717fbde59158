// The tone and info commands of the built tool, checked through the audio file front and
// through sox.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "Support/FFTestSupport.h"
#include "Support/InteropSupport.h"
#include "Support/ToolRunner.h"

namespace
{
class ToolToneInfo : public Test_ToolTest
{
};

size_t Count(const std::string& iText, const std::string& iPart)
{
    size_t n = 0;
    for (size_t p = iText.find(iPart); p != std::string::npos; p = iText.find(iPart, p + 1))
        ++n;
    return n;
}

size_t Lines(const std::string& iText)
{
    return size_t(std::count(iText.begin(), iText.end(), '\n'));
}

// The samples of a WAVE file through the front (native order), and their properties.
Bytes RawSamples(const std::string& iPath, FF_AudioFile::Properties* oP)
{
    FF_AudioFileRef file = OpenFile(iPath, Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_EQ(file->GetAudioFileType(), eAudioFileType_WAVE);
    *oP = file->GetProperties();
    Bytes raw = Test_ReadAll(*file);
    file->Close();
    return raw;
}

// Little-endian samples of iBytes bytes as signed values.
std::vector<int32_t> Values(const Bytes& iRaw, int32_t iBytes)
{
    std::vector<int32_t> values;
    for (size_t i = 0; i + size_t(iBytes) <= iRaw.size(); i += size_t(iBytes))
    {
        uint32_t u = 0;
        for (int32_t b = 0; b < iBytes; ++b)
            u |= uint32_t(iRaw[i + size_t(b)]) << (8 * b);
        const int shift = 32 - 8 * iBytes;
        values.push_back(int32_t(u << shift) >> shift);
    }
    return values;
}

TEST_F(ToolToneInfo, ToneThenInfoInTextAndJson)
{
    const std::string path = In("tone.wav");
    auto r = Test_RunTool("tone '" + path + "' --rate 44100 --bits 16 --channels 2 --seconds 2",
                          mDir.Path());
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_EQ(r.mErr, "");

    r = Test_RunTool("info '" + path + "'", mDir.Path());
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    for (const char* line :
         {"sample rate          44100 Hz\n", "bit depth            16\n",
          "channels             2\n", "samples              88200\n",
          "duration             2.000 s\n", "byte order           little-endian\n",
          "format name          BWF (.WAV)\n", "broadcast text       Mira Deck\n",
          "  tone  0-88200  (whole file)\n", "overview             none\n",
          "description          sine 1000 Hz at -6 dBFS\n"})
        EXPECT_NE(r.mOut.find(line), std::string::npos) << line << "in:\n" << r.mOut;

    r = Test_RunTool("info --json '" + path + "'", mDir.Path());
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_EQ(r.mOut.front(), '{');
    EXPECT_EQ(Lines(r.mOut), 1u);
    for (const char* key : {"path", "type", "format_name", "sample_rate", "bit_depth", "channels",
                            "samples", "byte_order", "umid", "original_time_stamp",
                            "user_time_stamp", "description", "regions", "has_overview"})
        EXPECT_EQ(Count(r.mOut, std::string("\"") + key + "\": "), 1u) << key;
    for (const char* pair :
         {"\"sample_rate\": 44100", "\"bit_depth\": 16", "\"channels\": 2", "\"samples\": 88200",
          "\"byte_order\": \"little\"", "\"format_name\": \"BWF (.WAV)\"",
          "\"has_overview\": false",
          "{\"name\": \"tone\", \"start\": 0, \"stop\": 88200, \"whole_file\": true}"})
        EXPECT_NE(r.mOut.find(pair), std::string::npos) << pair << " in " << r.mOut;
    // Each tone has an identity of its own: 32 hexadecimal digits.
    const size_t umid = r.mOut.find("\"umid\": \"");
    ASSERT_NE(umid, std::string::npos) << r.mOut;
    const std::string digits = r.mOut.substr(umid + 9, 32);
    EXPECT_EQ(digits.find_first_not_of("0123456789ABCDEF"), std::string::npos) << digits;
    EXPECT_NE(digits, std::string(32, '0'));
    EXPECT_EQ(r.mOut.substr(umid + 9 + 32, 1), "\"");
}

// The tone is a sine at the asked level and frequency on every channel, at each depth, and
// sox decodes the same samples from it.
TEST_F(ToolToneInfo, ToneHoldsTheAskedSine)
{
    struct Case
    {
        int mBits;
        int mChannels;
        int mRate;
        double mFreq;
        double mLevel;
    };
    for (const Case& c :
         {Case{8, 1, 8000, 250, -1}, Case{16, 3, 48000, 1000, -6}, Case{24, 2, 96000, 480, -20}})
    {
        const std::string label = std::to_string(c.mBits) + " bits";
        const std::string path = In(std::string("t") + std::to_string(c.mBits) + ".wav");
        const auto r =
            Test_RunTool("tone '" + path + "' --rate " + std::to_string(c.mRate) + " --bits " +
                             std::to_string(c.mBits) + " --channels " +
                             std::to_string(c.mChannels) + " --seconds 0.5 --freq " +
                             std::to_string(c.mFreq) + " --level " + std::to_string(c.mLevel),
                         mDir.Path());
        ASSERT_EQ(r.mStatus, 0) << label << ": " << r.mErr;
        FF_AudioFile::Properties p;
        const Bytes raw = RawSamples(path, &p);
        const std::vector<int32_t> values = Values(raw, c.mBits / 8);
        EXPECT_EQ(p.mSampleRate, c.mRate) << label;
        EXPECT_EQ(p.mBitDepth, c.mBits) << label;
        EXPECT_EQ(p.mNumChannels, c.mChannels) << label;
        ASSERT_EQ(p.mNumSamples, c.mRate / 2) << label;
        ASSERT_EQ(values.size(), size_t(p.mNumSamples * c.mChannels));

        const double peak = ((1 << (c.mBits - 1)) - 1) * std::pow(10.0, c.mLevel / 20.0);
        int32_t high = 0;
        int64_t crossings = 0;
        for (int64_t n = 0; n < p.mNumSamples; ++n)
        {
            const int32_t v = values[size_t(n * c.mChannels)];
            for (int ch = 1; ch < c.mChannels; ++ch)
                ASSERT_EQ(values[size_t(n * c.mChannels + ch)], v) << label << " frame " << n;
            high = std::max(high, std::abs(v));
            if (n > 0 && (values[size_t((n - 1) * c.mChannels)] < 0) != (v < 0))
                ++crossings;
        }
        EXPECT_NEAR(high, peak, 1.0) << label;
        EXPECT_NEAR(double(crossings), 2 * c.mFreq * 0.5, 2.0) << label;

        if (Test_HaveSox())
        {
            EXPECT_TRUE(Test_SoxRaw(path, c.mBits, mDir.Path()) == raw) << label;
        }
    }
}

TEST_F(ToolToneInfo, FilesThatCannotBeReadAreNamedAndFail)
{
    const std::string good = In("good.wav");
    ASSERT_EQ(Test_RunTool("tone '" + good + "' --rate 8000 --bits 8 --channels 1 --seconds 0.01",
                           mDir.Path())
                  .mStatus,
              0);
    const std::string text = In("notes.txt");
    WriteBytes(text, Bytes(100, 'x'));
    const std::string missing = In("missing.wav");

    for (const std::string& bad : {missing, text, mDir.Path()})
    {
        const auto r = Test_RunTool("info '" + bad + "'", mDir.Path());
        EXPECT_EQ(r.mStatus, 1) << bad;
        EXPECT_EQ(r.mOut, "") << bad;
        EXPECT_EQ(Lines(r.mErr), 1u) << r.mErr;
        EXPECT_EQ(r.mErr.rfind("mirafile: " + bad + ": ", 0), 0u) << r.mErr;
    }

    // Several files: each good one is shown, each bad one named, and the status is 1.
    auto r =
        Test_RunTool("info --json '" + good + "' '" + missing + "' '" + good + "'", mDir.Path());
    EXPECT_EQ(r.mStatus, 1);
    EXPECT_EQ(r.mOut.front(), '[');
    EXPECT_EQ(r.mOut.substr(r.mOut.size() - 2), "]\n");
    EXPECT_EQ(Count(r.mOut, "\"path\": "), 2u);
    EXPECT_EQ(Lines(r.mErr), 1u);
    EXPECT_NE(r.mErr.find(missing), std::string::npos);
    r = Test_RunTool("info '" + good + "' '" + good + "'", mDir.Path());
    EXPECT_EQ(r.mStatus, 0);
    EXPECT_EQ(Count(r.mOut, "path                 " + good + "\n"), 2u);
}

TEST_F(ToolToneInfo, BadToneOptionsAreUsageErrors)
{
    const std::string out = std::string("'") + In("x.wav") + "'";
    const std::string rest = " --rate 48000 --bits 16 --channels 2 --seconds 1";
    for (const std::string& args : std::vector<std::string>{
             "tone " + out + " --rate 48000 --bits 12 --channels 2 --seconds 1",
             "tone " + out + " --bits 16 --channels 2 --seconds 1",
             "tone " + out + " --rate 48000 --bits 16 --channels 0 --seconds 1",
             "tone " + out + " --rate 48000 --bits 16 --channels 2 --seconds 0",
             "tone " + out + " --rate 48000 --bits 24 --channels 8 --seconds 4000",
             "tone " + out + rest + " --level 3", "tone " + out + rest + " --freq 30000",
             "tone " + out + rest + " --rate fast", "tone" + rest,
             "tone '" + In("no/such/folder/x.wav") + "'" + rest,
             "tone '" + In("x.mp3") + "'" + rest, "info"})
    {
        const auto r = Test_RunTool(args, mDir.Path());
        EXPECT_EQ(r.mStatus, 1) << args;
        EXPECT_EQ(Lines(r.mErr), 1u) << args << ": " << r.mErr;
        EXPECT_EQ(r.mErr.rfind("mirafile: ", 0), 0u) << r.mErr;
    }
    EXPECT_FALSE(std::filesystem::exists(In("x.wav")));
    EXPECT_FALSE(std::filesystem::exists(In("x.mp3")));
}
} // namespace
