// WAVE files exchanged with readers and writers that are not ours: the front writes (with its
// own chunks and ones it does not know), libsndfile reads, and the other way round. (What sox
// writes: WrittenElsewhereTest.cpp.)
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "Support/FFTestSupport.h"
#include "Support/InteropSupport.h"
#include "Sys_Umid.h"

#ifdef MIRAFILE_HAVE_SNDFILE
#include <sndfile.h>
#endif

namespace
{
// The extensible format chunk is written back in its own form when it has to move: here a
// description in front of it grows and pushes it (and the samples) along.
TEST(WaveInterop, ExtensibleFormatKeepsItsFormWhenItMoves)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/x.wav";
    Bytes fmt = FmtData(0xFFFE, 6, 48000, 24);
    const Bytes extension = {22, 0,    24,   0,    0x3F, 0,    0,    0,    0x01, 0,   0,    0,
                             0,  0,    0x10, 0,    0x80, 0,    0,    0xAA, 0,    0x38, 0x9B, 0x71};
    fmt.insert(fmt.end(), extension.begin(), extension.end());
    const Bytes samples = Pattern(18 * 50);
    WriteBytes(path, Riff({Chunk("ANNO", {'h', 'i', 0, 0}), Chunk("fmt ", fmt),
                           Chunk("data", samples)}));

    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(path)));
    file->Open(Cmn_Store::eOpenFlag_OpenForWrite);
    ASSERT_EQ(file->GetAudioFileType(), eAudioFileType_WAVE);
    EXPECT_EQ(file->GetProperties().mNumChannels, 6);
    file->mDescription.Set(std::string(300, 'd'));
    file->Flush();
    file->Close();

    const Bytes image = ReadBytes(path);
    ASSERT_EQ(ChunkIDs(image), (std::vector<std::string>{"ANNO", "fmt ", "data"}));
    const size_t fmtAt = 12 + 8 + 300;
    ASSERT_EQ(std::string(image.begin() + fmtAt, image.begin() + fmtAt + 4), "fmt ");
    EXPECT_TRUE(std::equal(fmt.begin(), fmt.end(), image.begin() + fmtAt + 8))
        << "the moved chunk lost its extensible fields";
    const auto [start, size] = FindData(image);
    ASSERT_EQ(size, samples.size());
    EXPECT_TRUE(std::equal(samples.begin(), samples.end(), image.begin() + start));

    // Only integer PCM is taken in the extensible form.
    Bytes floatFmt = fmt;
    floatFmt[24] = 3;
    WriteBytes(path, Riff({Chunk("fmt ", floatFmt), Chunk("data", samples)}));
    FF_AudioFileRef other(new FF_AudioFile(Sys_FileLoc(path)));
    other->Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_EQ(other->GetAudioFileType(), eAudioFileType_Unknown);
    other->Close();
}

#ifdef MIRAFILE_HAVE_SNDFILE

struct WriteCase
{
    int16_t mBits;
    int16_t mChannels;
    int32_t mRate;
    int mSubFormat;
};

const WriteCase cWriteCases[] = {{8, 1, 22050, SF_FORMAT_PCM_U8},
                                 {16, 2, 44100, SF_FORMAT_PCM_16},
                                 {24, 2, 48000, SF_FORMAT_PCM_24},
                                 {24, 6, 96000, SF_FORMAT_PCM_24}};

// Appends a chunk the front does not know to a RIFF file and mends the form's size.
void AppendForeignChunk(const std::string& iPath, const Bytes& iChunk)
{
    Bytes image = ReadBytes(iPath);
    image.insert(image.end(), iChunk.begin(), iChunk.end());
    const auto form = uint32_t(image.size() - 8);
    for (int i = 0; i < 4; ++i)
        image[size_t(4 + i)] = uint8_t(form >> (8 * i));
    WriteBytes(iPath, image);
}

class MirafileWritten : public ::testing::TestWithParam<WriteCase>
{
protected:
    Test_TempDir mDir;
};

TEST_P(MirafileWritten, LibsndfileReadsFormatSamplesAndBroadcastText)
{
    const WriteCase c = GetParam();
    const std::string path = mDir.Path() + "/ours.wav";
    const int64_t frames = 5003;
    const size_t frameSize = size_t(c.mChannels) * size_t(c.mBits / 8);
    const Bytes samples = Pattern(size_t(frames) * frameSize, uint32_t(c.mBits * 10 + c.mChannels));
    {
        FF_AudioFileRef file(new FF_AudioFile(eAudioFileType_WAVE, Sys_FileLoc(path), c.mChannels,
                                              c.mBits, c.mRate, 123456, 0));
        file->Open(Cmn_Store::eOpenFlag_OpenCreate);
        Bytes copy = samples;
        ASSERT_EQ(file->Write(copy.data(), frames), frames);
        file->mUmid.Set(Sys_Umid(0x11, 0x22, 0x33, 0x44));
        file->mDescription.Set("first take, room mic");
        file->mBroadcastWaveData.Set({"interop rig"});
        file->Flush();
        file->Close();
    }
    // A chunk of another program behind ours, then more metadata: the region list grows and
    // the foreign chunk has to move behind it.
    const Bytes foreign = Chunk("xtra", {'k', 'e', 'e', 'p', ' ', 'm', 'e'});
    AppendForeignChunk(path, foreign);
    {
        FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(path)));
        file->Open(Cmn_Store::eOpenFlag_OpenForWrite);
        ASSERT_EQ(file->GetAudioFileType(), eAudioFileType_WAVE);
        for (int i = 0; i < 3; ++i)
            file->AddRegion(FF_AudioFile::Region("verse " + std::to_string(i), 1000 * i,
                                                 1000 * i + 500, 500, 0, 0,
                                                 Sys_Umid(7, 7, 7, uint32_t(i)), false));
        file->mDescription.Set("second take, room mic");
        file->Flush();
        file->Close();
    }
    const Bytes image = ReadBytes(path);
    const std::vector<std::string> ids = ChunkIDs(image);
    ASSERT_FALSE(ids.empty());
    EXPECT_EQ(ids.back(), "xtra");
    EXPECT_TRUE(std::equal(foreign.begin(), foreign.end(), image.end() - ptrdiff_t(foreign.size())));

    SF_INFO info{};
    SNDFILE* sf = sf_open(path.c_str(), SFM_READ, &info);
    ASSERT_NE(sf, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(info.format, SF_FORMAT_WAV | c.mSubFormat);
    EXPECT_EQ(info.channels, c.mChannels);
    EXPECT_EQ(info.samplerate, c.mRate);
    EXPECT_EQ(info.frames, frames);
    Bytes raw(samples.size() + 64);
    ASSERT_EQ(sf_read_raw(sf, raw.data(), sf_count_t(samples.size())), sf_count_t(samples.size()));
    raw.resize(samples.size());
    if (c.mBits == 8)
        for (auto& b : raw)
            b ^= 0x80; // the file holds offset binary; the front takes two's complement
    EXPECT_TRUE(raw == samples) << "libsndfile reads other samples";

    SF_BROADCAST_INFO bext{};
    ASSERT_EQ(sf_command(sf, SFC_GET_BROADCAST_INFO, &bext, sizeof bext), SF_TRUE);
    EXPECT_EQ(std::string(bext.description, strnlen(bext.description, sizeof bext.description)),
              "second take, room mic");
    EXPECT_EQ(std::string(bext.originator, strnlen(bext.originator, sizeof bext.originator)),
              "interop rig");
    EXPECT_EQ(bext.time_reference_low, 123456u);
    EXPECT_EQ(bext.time_reference_high, 0u);
    sf_close(sf);

    FF_AudioFileRef back(new FF_AudioFile(Sys_FileLoc(path)));
    back->Open(Cmn_Store::eOpenFlag_OpenForRead);
    FF_AudioFile::RegionList regions;
    back->GetRegions(&regions);
    EXPECT_EQ(regions.size(), 4u);
    EXPECT_EQ(back->mUmid.GetOr(Sys_Umid()), Sys_Umid(0x11, 0x22, 0x33, 0x44));
    back->Close();
}

INSTANTIATE_TEST_SUITE_P(Formats, MirafileWritten, ::testing::ValuesIn(cWriteCases),
                         [](const ::testing::TestParamInfo<WriteCase>& iInfo)
                         {
                             return std::to_string(iInfo.param.mBits) + "bit" +
                                    std::to_string(iInfo.param.mChannels) + "ch";
                         });

// The other way: a broadcast wave written by libsndfile, with its coding history.
TEST(WaveInterop, BroadcastTextWrittenByLibsndfileIsRead)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/theirs.wav";
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
    SNDFILE* sf = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(sf, nullptr) << sf_strerror(nullptr);
    SF_BROADCAST_INFO bext{};
    std::strcpy(bext.description, "written elsewhere");
    std::strcpy(bext.originator, "another program");
    bext.time_reference_low = 96000;
    std::strcpy(bext.coding_history, "A=PCM,F=48000,W=24,M=stereo\r\n");
    bext.coding_history_size = uint32_t(std::strlen(bext.coding_history));
    ASSERT_EQ(sf_command(sf, SFC_SET_BROADCAST_INFO, &bext, sizeof bext), SF_TRUE);
    const Bytes samples = Pattern(300 * 6, 5);
    ASSERT_EQ(sf_write_raw(sf, samples.data(), sf_count_t(samples.size())),
              sf_count_t(samples.size()));
    sf_close(sf);

    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(path)));
    file->Open(Cmn_Store::eOpenFlag_OpenForRead);
    ASSERT_EQ(file->GetAudioFileType(), eAudioFileType_WAVE);
    EXPECT_EQ(file->mFormatName.GetOr(""), "BWF (.WAV)");
    EXPECT_EQ(file->mDescription.GetOr(""), "written elsewhere");
    EXPECT_EQ(file->mBroadcastWaveData.GetOr({}).mOriginator, "another program");
    EXPECT_EQ(file->mOriginalTimeStamp.GetOr(0), 96000);
    EXPECT_EQ(file->GetProperties().mNumSamples, 300);
    EXPECT_TRUE(Test_ReadAll(*file, 64) == samples);
    file->Close();
}

#endif // MIRAFILE_HAVE_SNDFILE
} // namespace
