// AIFF and AIFC files that the front writes, read by sox, ffmpeg and libsndfile with the same
// format, frame count and samples, and libsndfile finds our loops. Forms the front does not
// read (little-endian, float, compressed) are refused, never misread. (What they write:
// WrittenElsewhereTest.cpp.)
#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "Support/FFTestSupport.h"
#include "Support/InteropSupport.h"
#include "Support/ToolRunner.h"

#ifdef MIRAFILE_HAVE_SNDFILE
#include <sndfile.h>
#endif

namespace
{
const char* RawFormat(int iBits)
{
    return iBits == 8 ? "s8" : iBits == 16 ? "s16le" : iBits == 24 ? "s24le" : "s32le";
}

#ifdef MIRAFILE_HAVE_SNDFILE
int SndfileSubFormat(int iBits)
{
    return iBits == 8    ? SF_FORMAT_PCM_S8
           : iBits == 16 ? SF_FORMAT_PCM_16
           : iBits == 24 ? SF_FORMAT_PCM_24
                         : SF_FORMAT_PCM_32;
}
#endif

struct OwnCase
{
    int16_t mBits;
    int16_t mChannels;
    bool mAIFC;
};

const OwnCase cOwnCases[] = {{8, 1, false},  {16, 2, false}, {24, 2, false}, {32, 6, false},
                             {8, 2, true},   {16, 1, true},  {24, 6, true},  {32, 1, true}};

class AiffWrittenByMirafile : public ::testing::TestWithParam<OwnCase>
{
protected:
    Test_TempDir mDir;
};

TEST_P(AiffWrittenByMirafile, OthersReadFormatSamplesAndLoops)
{
    const OwnCase c = GetParam();
    const std::string path = mDir.Path() + "/ours." + (c.mAIFC ? "aifc" : "aif");
    const int64_t frames = 5003;
    const Bytes samples = Pattern(size_t(frames * c.mChannels * c.mBits / 8), uint32_t(c.mBits + c.mChannels));
    const FF_AudioInstrumentAttr attr{64, -12, 1, 100, 2000, 2, 2500, 4000};
    {
        FF_AudioFileRef file = NewFile(c.mAIFC ? eAudioFileType_AIFC : eAudioFileType_AIFF, path,
                                       c.mChannels, c.mBits, 44100, 0);
        Bytes copy = samples;
        ASSERT_EQ(file->Write(copy.data(), frames), frames);
        file->mInstrumentAttr.Set(attr);
        file->mDescription.Set("room mic");
        file->mUmid.Set(Sys_Umid(1, 2, 3, 4));
        file->AddRegion(FF_AudioFile::Region("verse", 10, 20, 10, 0, 0, Sys_Umid(7, 7, 7, 7), false));
        file->Flush();
        file->Close();
    }
    if (Test_HaveProgram("sox"))
    {
        EXPECT_TRUE(Test_SoxRaw(path, c.mBits, mDir.Path()) == samples) << "sox reads other samples";
    }
    if (Test_HaveProgram("ffmpeg"))
    {
        EXPECT_TRUE(Test_FfmpegRaw(path, RawFormat(c.mBits), mDir.Path()) == samples)
            << "ffmpeg reads other samples";
    }
#ifdef MIRAFILE_HAVE_SNDFILE
    SF_INFO info{};
    SNDFILE* sf = sf_open(path.c_str(), SFM_READ, &info);
    ASSERT_NE(sf, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(info.format, SF_FORMAT_AIFF | SndfileSubFormat(c.mBits));
    EXPECT_EQ(info.channels, c.mChannels);
    EXPECT_EQ(info.samplerate, 44100);
    EXPECT_EQ(info.frames, frames);
    Bytes raw(samples.size() + 64);
    ASSERT_EQ(sf_read_raw(sf, raw.data(), sf_count_t(samples.size())), sf_count_t(samples.size()));
    raw.resize(samples.size());
    EXPECT_TRUE(BigEndianSamples(raw, c.mBits) == samples) << "libsndfile reads other samples";
    SF_INSTRUMENT inst{};
    ASSERT_EQ(sf_command(sf, SFC_GET_INSTRUMENT, &inst, sizeof inst), SF_TRUE);
    EXPECT_EQ(inst.basenote, 64);
    EXPECT_EQ(inst.detune, -12);
    ASSERT_EQ(inst.loop_count, 2);
    EXPECT_EQ(inst.loops[0].mode, SF_LOOP_FORWARD);
    EXPECT_EQ(inst.loops[0].start, 100u);
    EXPECT_EQ(inst.loops[0].end, 2000u);
    // libsndfile reports the release loop as forward whatever its play mode says.
    EXPECT_NE(inst.loops[1].mode, SF_LOOP_NONE);
    EXPECT_EQ(inst.loops[1].start, 2500u);
    EXPECT_EQ(inst.loops[1].end, 4000u);
    sf_close(sf);
#endif
}

INSTANTIATE_TEST_SUITE_P(Formats, AiffWrittenByMirafile, ::testing::ValuesIn(cOwnCases),
                         [](const ::testing::TestParamInfo<OwnCase>& iInfo)
                         {
                             return std::string(iInfo.param.mAIFC ? "AIFC" : "AIFF") +
                                    std::to_string(iInfo.param.mBits) + "bit" +
                                    std::to_string(iInfo.param.mChannels) + "ch";
                         });

// Little-endian, float and compressed forms, as the other programs write them: the front
// refuses them (no plug-in), and the tool says so in one line.
TEST(AiffInterop, LittleEndianFloatAndCompressedFormsAreRefused)
{
    Test_TempDir dir;
    struct Refused
    {
        const char* mName;
        std::string mCommand; // empty: written by libsndfile with mFormat
        int mFormat;
    };
    std::vector<Refused> cases = {
        {"ffmpeg sowt", "ffmpeg -nostdin -y -f lavfi -i 'sine=d=0.05' -c:a pcm_s16le -f aiff", 0},
        {"ffmpeg fl32", "ffmpeg -nostdin -y -f lavfi -i 'sine=d=0.05' -c:a pcm_f32be -f aiff", 0},
        {"ffmpeg ima4", "ffmpeg -nostdin -y -f lavfi -i 'sine=d=0.05' -c:a adpcm_ima_qt -f aiff", 0},
        {"sox fl32", "sox -D -r 44100 -c 1 -n -e floating-point -b 32 -t aifc", 0}};
#ifdef MIRAFILE_HAVE_SNDFILE
    cases.push_back({"libsndfile sowt", "", SF_FORMAT_AIFF | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE});
    cases.push_back({"libsndfile fl32", "", SF_FORMAT_AIFF | SF_FORMAT_FLOAT});
    cases.push_back({"libsndfile ima4", "", SF_FORMAT_AIFF | SF_FORMAT_IMA_ADPCM});
#endif
    for (const Refused& c : cases)
    {
        SCOPED_TRACE(c.mName);
        const std::string path = dir.Path() + "/refused.aifc";
        std::remove(path.c_str());
        if (!c.mCommand.empty())
        {
            const std::string program = c.mCommand.substr(0, c.mCommand.find(' '));
            if (!Test_HaveProgram(program))
                continue;
            const bool sox = program == "sox";
            ASSERT_EQ(Test_RunQuiet(c.mCommand + " '" + path + "'" + (sox ? " synth 1000s sine 440" : "")), 0);
        }
#ifdef MIRAFILE_HAVE_SNDFILE
        else
        {
            SF_INFO info{};
            info.samplerate = 44100;
            info.channels = 1;
            info.format = c.mFormat;
            SNDFILE* sf = sf_open(path.c_str(), SFM_WRITE, &info);
            ASSERT_NE(sf, nullptr) << sf_strerror(nullptr);
            std::vector<short> tone(1000, 1234);
            sf_write_short(sf, tone.data(), sf_count_t(tone.size()));
            sf_close(sf);
        }
#endif
        const Bytes image = ReadBytes(path);
        ASSERT_GT(image.size(), 12u);
        ASSERT_EQ(std::string(image.begin() + 8, image.begin() + 12), "AIFC") << "not the form meant";
        FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(file->GetAudioFileType(), eAudioFileType_Unknown);
        EXPECT_EQ(file->GetPlugIn(), nullptr);
        file->Close();
        const Test_ToolResult info = Test_RunTool("info '" + path + "'", dir.Path());
        EXPECT_EQ(info.mStatus, 1);
        EXPECT_EQ(std::count(info.mErr.begin(), info.mErr.end(), '\n'), 1) << info.mErr;
        EXPECT_NE(info.mErr.find(path), std::string::npos) << info.mErr;
        EXPECT_TRUE(info.mOut.empty()) << info.mOut;
    }
}
} // namespace
