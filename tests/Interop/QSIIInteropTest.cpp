// QSII files that we write, read by libsndfile: its reader of this two-fork format finds the
// resource fork in the AppleDouble sidecar and the raw samples in the data fork.
#include <gtest/gtest.h>
#include <string>

#include "FF/Audio/FF_AudioFile.h"
#include "Support/FFTestSupport.h"

#ifdef MIRAFILE_HAVE_SNDFILE
#include <sndfile.h>

namespace
{
struct Case
{
    int16_t mChannels, mBits;
    int32_t mRate;
    int mSubFormat;
};

class QSIIInterop : public testing::TestWithParam<Case>
{
};

TEST_P(QSIIInterop, LibsndfileReadsRateDepthChannelsAndSamples)
{
    const Case c = GetParam();
    Test_TempDir dir;
    const std::string path = dir.Path() + "/take.qs2";
    const int64_t frames = 4001;
    const Bytes samples = Pattern(size_t(frames * c.mChannels * c.mBits / 8), uint32_t(c.mRate));
    MakeAudioFile(eAudioFileType_QSII, path, c.mChannels, c.mBits, samples, c.mRate);
    {
        // Metadata written afterwards goes into the same fork; the reader must still find
        // its three strings among the other resources.
        FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForWrite);
        file->mUmid.Set(Sys_Umid(1, 2, 3, 4));
        file->mDescription.Set("interop take");
        file->Flush();
        file->Close();
    }

    SF_INFO info{};
    SNDFILE* sf = sf_open(path.c_str(), SFM_READ, &info);
    ASSERT_NE(sf, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(info.format & SF_FORMAT_SUBMASK, c.mSubFormat);
    EXPECT_EQ(info.channels, c.mChannels);
    EXPECT_EQ(info.samplerate, c.mRate);
    EXPECT_EQ(info.frames, frames);
    Bytes raw(samples.size() + 64);
    EXPECT_EQ(sf_read_raw(sf, raw.data(), sf_count_t(samples.size())), sf_count_t(samples.size()));
    raw.resize(samples.size());
    EXPECT_TRUE(raw == BigEndianSamples(samples, c.mBits)) << "libsndfile reads other samples";
    sf_close(sf);
}

INSTANTIATE_TEST_SUITE_P(Formats, QSIIInterop,
                         testing::Values(Case{1, 8, 22050, SF_FORMAT_PCM_S8},
                                         Case{2, 16, 44100, SF_FORMAT_PCM_16},
                                         Case{1, 24, 48000, SF_FORMAT_PCM_24},
                                         Case{2, 24, 96000, SF_FORMAT_PCM_24}));
} // namespace
#endif
