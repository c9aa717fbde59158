// WAVE, AIFF and AIFC files that sox, ffmpeg and libsndfile wrote: the front opens them with
// their format and the samples as the writer itself decodes them, and a metadata edit leaves
// them readable, to sox too, with the same samples.
#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "Support/FFTestSupport.h"
#include "Support/InteropSupport.h"

#ifdef MIRAFILE_HAVE_SNDFILE
#include <sndfile.h>
#endif

namespace
{
enum EWriter
{
    eSox,
    eFfmpeg,
    eLibsndfile
};

struct ForeignCase
{
    EWriter mWriter;
    EAudioFileType mType; // WAVE, AIFF or AIFC
    int mBits;
    int mChannels;
    int mRate = 48000;
    int64_t mFrames = 4801; // sox only: the others make 4801 frames at 48 kHz
};

std::string Name(const ForeignCase& iCase)
{
    static const char* const cWriters[] = {"sox", "ffmpeg", "libsndfile"};
    const char* type = iCase.mType == eAudioFileType_WAVE   ? "WAVE"
                       : iCase.mType == eAudioFileType_AIFC ? "AIFC"
                                                            : "AIFF";
    return std::string(cWriters[iCase.mWriter]) + type + std::to_string(iCase.mBits) + "bit" +
           std::to_string(iCase.mChannels) + "ch";
}

// The file the writer makes, and its samples as the writer itself decodes them (native
// order); empty when the writer is not there. sox gives each channel a tone of its own, so
// that a mixed-up channel order shows.
Bytes WriteForeign(const ForeignCase& iCase, const std::string& iPath, const std::string& iDir)
{
    const bool wave = iCase.mType == eAudioFileType_WAVE;
    const std::string type = wave ? "wav" : iCase.mType == eAudioFileType_AIFC ? "aifc" : "aiff";
    const std::string channels = std::to_string(iCase.mChannels),
                      bits = std::to_string(iCase.mBits);
    switch (iCase.mWriter)
    {
    case eSox:
    {
        if (!Test_HaveSox())
            return {};
        std::string synth = "synth " + std::to_string(iCase.mFrames) + "s";
        for (int c = 0; c < iCase.mChannels; ++c)
            synth += " sine " + std::to_string(300 + 170 * c);
        // The rate and channels go to the null input, so that nothing is resampled or remixed.
        EXPECT_EQ(Test_RunQuiet("sox -D -r " + std::to_string(iCase.mRate) + " -c " + channels +
                                " -n -b " + bits + " -t " + type + " '" + iPath + "' " + synth +
                                " gain -1"),
                  0);
        return Test_SoxRaw(iPath, iCase.mBits, iDir);
    }
    case eFfmpeg:
    {
        if (!Test_HaveProgram("ffmpeg"))
            return {};
        const std::string codec = iCase.mBits == 8 ? "pcm_s8" : "pcm_s" + bits + "be";
        EXPECT_EQ(Test_RunQuiet("ffmpeg -nostdin -y -f lavfi -i 'sine=f=440:r=48000:d=0.1' -ac " +
                                channels + " -c:a " + codec + " -f aiff '" + iPath + "'"),
                  0);
        return Test_FfmpegRaw(iPath, iCase.mBits == 8 ? "s8" : "s" + bits + "le", iDir);
    }
    case eLibsndfile:
    {
#ifdef MIRAFILE_HAVE_SNDFILE
        SF_INFO info{};
        info.samplerate = 48000;
        info.channels = iCase.mChannels;
        info.format = SF_FORMAT_AIFF | (iCase.mBits == 8    ? SF_FORMAT_PCM_S8
                                        : iCase.mBits == 16 ? SF_FORMAT_PCM_16
                                        : iCase.mBits == 24 ? SF_FORMAT_PCM_24
                                                            : SF_FORMAT_PCM_32);
        SNDFILE* sf = sf_open(iPath.c_str(), SFM_WRITE, &info);
        EXPECT_NE(sf, nullptr) << sf_strerror(nullptr);
        if (!sf)
            return {};
        const Bytes samples = Pattern(size_t(4801 * iCase.mChannels * iCase.mBits / 8), 3);
        EXPECT_EQ(sf_write_raw(sf, samples.data(), sf_count_t(samples.size())),
                  sf_count_t(samples.size()));
        sf_close(sf);
        return BigEndianSamples(samples, iCase.mBits);
#endif
    }
    }
    return {};
}

constexpr EAudioFileType W = eAudioFileType_WAVE, A = eAudioFileType_AIFF, C = eAudioFileType_AIFC;

// WAVE: 8, 16 and 24 bits; mono, stereo, six channels; an odd sample count leaves an odd data
// size (and its pad byte) at 8 and 24 bits mono. sox writes the extensible form of the
// format for more than two channels or more than 16 bits.
// clang-format off
const ForeignCase cForeignCases[] = {
    {eSox, W, 8, 1, 48000, 4801},  {eSox, W, 8, 2, 44100, 4410},  {eSox, W, 8, 6, 48000, 4800},
    {eSox, W, 16, 1, 44100, 4410}, {eSox, W, 16, 2, 48000, 4801}, {eSox, W, 16, 6, 96000, 9600},
    {eSox, W, 24, 1, 48000, 4801}, {eSox, W, 24, 2, 96000, 9600}, {eSox, W, 24, 6, 48000, 4800},
    {eSox, A, 8, 1},         {eSox, A, 16, 2},         {eSox, A, 24, 6},
    {eSox, A, 32, 2},        {eSox, C, 16, 2},         {eSox, C, 24, 1},
    {eFfmpeg, A, 8, 1},      {eFfmpeg, A, 16, 2},      {eFfmpeg, A, 24, 2},
    {eFfmpeg, A, 32, 6},     {eLibsndfile, A, 8, 2},   {eLibsndfile, A, 16, 1},
    {eLibsndfile, A, 24, 6}, {eLibsndfile, A, 32, 2}};
// clang-format on

class WrittenElsewhere : public ::testing::TestWithParam<ForeignCase>
{
protected:
    Test_TempDir mDir;
};

TEST_P(WrittenElsewhere, OpensWithItsFormatAndSamplesAndStaysReadableAfterAnEdit)
{
    const ForeignCase c = GetParam();
    const bool wave = c.mType == eAudioFileType_WAVE;
    const std::string path = mDir.Path() + (wave ? "/theirs.wav" : "/theirs.aif");
    const Bytes expected = WriteForeign(c, path, mDir.Path());
    if (expected.empty())
        GTEST_SKIP() << "the writer is not installed";
    const Bytes before = ReadBytes(path);
    const int64_t frame = int64_t(c.mChannels) * c.mBits / 8;
    if (c.mWriter == eSox)
    {
        ASSERT_EQ(int64_t(expected.size()), c.mFrames * frame);
    }
    {
        FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForWrite);
        ASSERT_EQ(file->GetAudioFileType(), c.mType);
        const FF_AudioFile::Properties p = file->GetProperties();
        EXPECT_EQ(p.mFormatName, wave ? "WAV" : c.mType == eAudioFileType_AIFC ? "AIFC" : "AIFF");
        EXPECT_EQ(p.mByteOrder, wave ? eByteOrder_Little : eByteOrder_Big);
        EXPECT_EQ(p.mSampleRate, c.mRate);
        EXPECT_EQ(p.mBitDepth, c.mBits);
        EXPECT_EQ(p.mNumChannels, c.mChannels);
        EXPECT_EQ(p.mNumSamples, int64_t(expected.size()) / frame);
        EXPECT_TRUE(Test_ReadAll(*file) == expected) << "samples differ from the writer's decoding";
        EXPECT_TRUE(Test_ReadAll(*file, 777, eByteOrder_Big) ==
                    BigEndianSamples(expected, c.mBits));
        // A read from the middle lands on the right frame.
        const int64_t middle = p.mNumSamples / 2 + 1;
        Bytes tail(size_t((p.mNumSamples - middle) * frame));
        file->SetPosition(middle);
        EXPECT_EQ(file->Read(tail.data(), p.mNumSamples), p.mNumSamples - middle);
        EXPECT_TRUE(std::equal(tail.begin(), tail.end(), expected.begin() + middle * frame));

        file->mUmid.Set(Sys_Umid(3, 1, 4, 1));
        file->mDescription.Set("edited");
        file->mInstrumentAttr.Set({57, 0, 1, 10, 200, 0, 0, 0});
        file->AddRegion(
            FF_AudioFile::Region("middle", 100, 200, 100, 0, 0, Sys_Umid(5, 9, 2, 6), false));
        file->Flush();
        file->Close();
    }
    if (Test_HaveSox())
    {
        EXPECT_TRUE(Test_SoxRaw(path, c.mBits, mDir.Path()) == expected);
    }
    if (wave)
    {
        // The format chunk (id, size and every field of its extensible form) is untouched.
        const Bytes after = ReadBytes(path);
        ASSERT_GE(after.size(), 12u + 8 + 40);
        const uint32_t fmtSize = uint32_t(after[16]) | uint32_t(after[17]) << 8;
        EXPECT_TRUE(
            std::equal(after.begin() + 12, after.begin() + 20 + fmtSize, before.begin() + 12));
    }
    FF_AudioFileRef back = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_EQ(back->mDescription.GetOr(""), "edited");
    EXPECT_EQ(back->mUmid.GetOr(Sys_Umid()), Sys_Umid(3, 1, 4, 1));
    EXPECT_EQ(back->mInstrumentAttr.GetOr({}).mLoop1End, 200);
    FF_AudioFile::RegionList regions;
    back->GetRegions(&regions);
    ASSERT_EQ(regions.size(), 2u);
    EXPECT_EQ(regions.back().mName, "middle");
    EXPECT_TRUE(Test_ReadAll(*back) == expected);
    back->Close();
}

INSTANTIATE_TEST_SUITE_P(Writers, WrittenElsewhere, ::testing::ValuesIn(cForeignCases),
                         [](const ::testing::TestParamInfo<ForeignCase>& iInfo)
                         { return Name(iInfo.param); });
} // namespace
