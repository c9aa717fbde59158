// The media calls of the toolkit: file, master and tape mobs, sound media written as samples
// (behind a header the codec writes) or raw, in both generations and byte orders, read back
// through the object layer and the audio file in place; and the misuses they refuse.
#include <gtest/gtest.h>

#include <functional>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/OMF/OMF_Inspect.h"
#include "FF/OMF/OMF_Object.h"
#include "FF/OMF/OMF_Utils.h"
#include "OMFTestSupport.h"
#include "Support/FFTestSupport.h"
#include "Support/TestSupport.h"
#include "Sys_FileLoc.h"

namespace
{
struct MediaCase
{
    omfFileRev_t mRev;
    bool mBigEndian;
    const char* mCodec; // "WAVE" or "AIFC"
    int16_t mChannels, mBits;
    bool mRaw; // the whole file from our audio writer, else samples in two calls
};

const MediaCase cCases[] = {
    {kOmfRev1x, false, "WAVE", 2, 16, false}, {kOmfRev1x, true, "AIFC", 1, 24, false},
    {kOmfRev2x, false, "AIFC", 2, 24, false}, {kOmfRev2x, true, "WAVE", 1, 8, false},
    {kOmfRev2x, true, "WAVE", 3, 32, false},  {kOmfRev1x, true, "WAVE", 2, 16, true},
    {kOmfRev2x, false, "AIFC", 1, 24, true},
};

std::string CaseName(const MediaCase& iCase)
{
    return std::string(iCase.mRev == kOmfRev1x ? "1x_" : "2x_") + (iCase.mBigEndian ? "big_" : "little_") +
           iCase.mCodec + "_" + std::to_string(iCase.mChannels) + "x" + std::to_string(iCase.mBits) +
           (iCase.mRaw ? "_raw" : "");
}

class OMF_MediaTest : public ::testing::Test
{
protected:
    Test_TempDir mDir;

    // A created file with a tape mob "Reel 7", a file mob "Tone" of iCodec and its master.
    struct Made
    {
        omfHdl_t mFile = nullptr;
        omfObject_t mTape = 0, mFileMob = 0, mMaster = 0;
    };
    Made Create(const std::string& iPath, omfFileRev_t iRev, bool iBig, const char* iCodec)
    {
        Made m;
        EXPECT_EQ(omfsCreateFile(Sys_FileLoc(iPath), OMF_Utils::GetSession(), iRev, &m.mFile), OM_ERR_NONE);
        EXPECT_EQ(omfsSetByteOrder(m.mFile, iBig), OM_ERR_NONE);
        EXPECT_EQ(omfmInit(m.mFile), OM_ERR_NONE);
        EXPECT_EQ(omfmTapeMobNew(m.mFile, "Reel 7", &m.mTape), OM_ERR_NONE);
        EXPECT_EQ(omfmFileMobNew(m.mFile, "Tone", omfRational_t{48000, 1}, iCodec, &m.mFileMob), OM_ERR_NONE);
        EXPECT_EQ(omfmMasterMobNew(m.mFile, "Tone", true, &m.mMaster), OM_ERR_NONE);
        return m;
    }

    // The names of the mobs of a file read back that are tapes.
    static std::vector<std::string> TapeNames(OMF_File& iFile)
    {
        std::vector<std::string> names;
        omfObject_t head = 0;
        EXPECT_EQ(omfsGetHeadObject(iFile.mHdl, &head), OM_ERR_NONE);
        const bool old = iFile.Is1x();
        const int32_t count = old ? omfsLengthObjIndex(iFile.mHdl, head, OMSourceMobs)
                                  : omfsLengthObjRefArray(iFile.mHdl, head, OMHEADMobs);
        for (int32_t i = 1; i <= count; ++i)
        {
            omfObject_t mob = 0;
            omfUID_t id;
            EXPECT_EQ(old ? omfsGetNthObjIndex(iFile.mHdl, head, OMSourceMobs, &id, &mob, i)
                          : omfsGetNthObjRefArray(iFile.mHdl, head, OMHEADMobs, &mob, i),
                      OM_ERR_NONE);
            std::string name;
            const omfErr_t err = omfmMobGetTapeName(iFile.mHdl, mob, &name);
            EXPECT_TRUE(err == OM_ERR_NONE || err == OM_ERR_INVALID_MOBTYPE) << err;
            if (err == OM_ERR_NONE)
                names.push_back(name);
        }
        return names;
    }
};

TEST_F(OMF_MediaTest, SoundMediaReadsBackInPlaceInEveryLayout)
{
    for (const MediaCase& c : cCases)
    {
        SCOPED_TRACE(CaseName(c));
        const int32_t frames = 301; // odd, so that 8-bit data needs its pad byte
        const Bytes samples = Pattern(size_t(frames) * size_t(c.mChannels) * size_t((c.mBits + 7) / 8), 3);
        const EAudioFileType type = c.mCodec == std::string("WAVE") ? eAudioFileType_WAVE : eAudioFileType_AIFC;
        Bytes whole;
        if (c.mRaw)
        {
            MakeAudioFile(type, mDir.Path() + "/raw", c.mChannels, c.mBits, samples, 48000);
            whole = ReadBytes(mDir.Path() + "/raw");
        }
        const std::string path = mDir.Path() + "/" + CaseName(c) + ".omf";
        Made m = Create(path, c.mRev, c.mBigEndian, c.mCodec);
        omfMediaHdl_t media = nullptr;
        ASSERT_EQ(omfmAudioMediaCreate(m.mFile, m.mMaster, m.mFileMob, omfRational_t{48000, 1}, c.mBits, c.mChannels,
                                       &media),
                  OM_ERR_NONE);
        if (c.mRaw)
            ASSERT_EQ(omfmWriteRawData(media, frames, whole.data(), int32_t(whole.size())), OM_ERR_NONE);
        else
        {
            const int32_t first = 100, frameBytes = int32_t(samples.size()) / frames;
            ASSERT_EQ(omfmWriteDataSamples(media, first, samples.data(), first * frameBytes), OM_ERR_NONE);
            ASSERT_EQ(omfmWriteDataSamples(media, frames - first, samples.data() + first * frameBytes,
                                           (frames - first) * frameBytes),
                      OM_ERR_NONE);
        }
        ASSERT_EQ(omfmMediaClose(media), OM_ERR_NONE);
        int64_t start = -1, count = -1, dataOffset = -1;
        ASSERT_EQ(omfmGetMediaSegmentInfo(media, 1, &start, &count, &dataOffset), OM_ERR_NONE);
        EXPECT_EQ(start, 0);
        EXPECT_EQ(count, frames);
        EXPECT_EQ(dataOffset == 0, c.mRaw);
        std::string tape;
        EXPECT_EQ(omfmMobGetTapeName(m.mFile, m.mTape, &tape), OM_ERR_NONE);
        EXPECT_EQ(tape, "Reel 7");
        ASSERT_EQ(omfsCloseFile(m.mFile), OM_ERR_NONE);

        OMF_File file{Sys_FileLoc(path)};
        EXPECT_EQ(file.GetRev(), c.mRev);
        EXPECT_EQ(omfsIsBigEndian(file.mHdl), c.mBigEndian);
        const OMF_Summary s = OMF_Summarize(file);
        EXPECT_EQ(s.mMasterMobs, 1);
        EXPECT_EQ(TapeNames(file), std::vector<std::string>{"Reel 7"});
        ASSERT_EQ(s.mMedia.size(), 1u);
        const OMF_EmbeddedMedia& em = s.mMedia[0];
        EXPECT_EQ(em.mType, type);
        EXPECT_EQ(em.mName, "Tone");
        if (c.mRaw)
        {
            Bytes got(whole.size());
            ASSERT_TRUE(OMF_ReadEmbeddedMedia(file, em, 0, got.data(), int32_t(got.size())));
            EXPECT_EQ(got, whole);
        }
        ASSERT_GT(em.mOffset, 0);
        auto audio = OMF_OpenEmbeddedAudio(Sys_FileLoc(path), em);
        FF_AudioFile::StOpenForRead open(*audio);
        Bytes read(samples.size());
        EXPECT_EQ(audio->Read(read.data(), frames), frames);
        EXPECT_EQ(read, samples);
    }
}

TEST_F(OMF_MediaTest, MisusesGiveToolkitErrorsWithTheirContext)
{
    struct Misuse
    {
        const char* mWhat;
        omfFileRev_t mRev;
        std::function<omfErr_t(const Made&)> mCall;
        omfErr_t mErr;
        const char* mContext;
    };
    const Bytes four(4, 1);
    auto audio = [](const Made& iMade, omfObject_t iMaster, omfObject_t iFileMob) {
        omfMediaHdl_t media = nullptr;
        return omfmAudioMediaCreate(iMade.mFile, iMaster, iFileMob, omfRational_t{48000, 1}, 16, 1, &media);
    };
    auto closed = [&](const Made& iMade, bool iRaw) {
        omfMediaHdl_t media = nullptr;
        omfmAudioMediaCreate(iMade.mFile, iMade.mMaster, iMade.mFileMob, omfRational_t{48000, 1}, 16, 1, &media);
        omfmMediaClose(media);
        return iRaw ? omfmWriteRawData(media, 2, four.data(), 4) : omfmWriteDataSamples(media, 2, four.data(), 4);
    };
    const Misuse cases[] = {
        {"samples after close", kOmfRev2x, [&](const Made& m) { return closed(m, false); }, OM_ERR_MEDIA_CLOSED,
         "In omfmWriteDataSamples"},
        {"raw data after close", kOmfRev1x, [&](const Made& m) { return closed(m, true); }, OM_ERR_MEDIA_CLOSED,
         "In omfmWriteRawData"},
        {"video media of a sound file mob", kOmfRev2x,
         [](const Made& m) {
             omfMediaHdl_t media = nullptr;
             return omfmVideoMediaCreate(m.mFile, m.mMaster, m.mFileMob, omfRational_t{25, 1}, 8, 8, &media);
         },
         OM_ERR_WRONG_MEDIATYPE, "In omfmVideoMediaCreate"},
        {"sound media of a picture file mob", kOmfRev1x,
         [&](const Made& m) {
             omfObject_t tiff = 0;
             omfmFileMobNew(m.mFile, "Still", omfRational_t{25, 1}, "TIFF", &tiff);
             return audio(m, m.mMaster, tiff);
         },
         OM_ERR_WRONG_MEDIATYPE, "In omfmAudioMediaCreate"},
        {"media of a tape mob", kOmfRev2x, [&](const Made& m) { return audio(m, m.mMaster, m.mTape); },
         OM_ERR_INVALID_MOBTYPE, "In omfmAudioMediaCreate"},
        {"master and file mob swapped", kOmfRev1x, [&](const Made& m) { return audio(m, m.mFileMob, m.mMaster); },
         OM_ERR_INVALID_MOBTYPE, "In omfmAudioMediaCreate"},
        {"tape name of a file mob", kOmfRev2x,
         [](const Made& m) {
             std::string name;
             return omfmMobGetTapeName(m.mFile, m.mFileMob, &name);
         },
         OM_ERR_INVALID_MOBTYPE, "In omfmMobGetTapeName"},
        {"samples of the wrong size", kOmfRev2x,
         [&](const Made& m) {
             omfMediaHdl_t media = nullptr;
             omfmAudioMediaCreate(m.mFile, m.mMaster, m.mFileMob, omfRational_t{48000, 1}, 16, 2, &media);
             return omfmWriteDataSamples(media, 2, four.data(), 4); // two stereo frames are 8 bytes
         },
         OM_ERR_SMALLBUF, "In omfmWriteDataSamples"},
        {"raw data after samples", kOmfRev1x,
         [&](const Made& m) {
             omfMediaHdl_t media = nullptr;
             omfmAudioMediaCreate(m.mFile, m.mMaster, m.mFileMob, omfRational_t{48000, 1}, 16, 1, &media);
             omfmWriteDataSamples(media, 2, four.data(), 4);
             return omfmWriteRawData(media, 2, four.data(), 4);
         },
         OM_ERR_MEDIA_OPENMODE, "In omfmWriteRawData"},
        {"a second media of one file mob", kOmfRev2x,
         [&](const Made& m) {
             audio(m, m.mMaster, m.mFileMob);
             return audio(m, m.mMaster, m.mFileMob);
         },
         OM_ERR_MEDIA_OPENMODE, "In omfmAudioMediaCreate"},
        {"a 1.x codec in a 2.x file", kOmfRev2x,
         [](const Made& m) {
             omfObject_t mob = 0;
             return omfmFileMobNew(m.mFile, "Old", omfRational_t{48000, 1}, "QS2M", &mob);
         },
         OM_ERR_NOT_IN_20, "In omfmFileMobNew"},
        {"a file mob of no media class", kOmfRev1x,
         [](const Made& m) {
             omfObject_t mob = 0;
             return omfmFileMobNew(m.mFile, "Odd", omfRational_t{48000, 1}, "SCLP", &mob);
         },
         OM_ERR_WRONG_MEDIATYPE, "In omfmFileMobNew"},
    };
    for (const Misuse& c : cases)
    {
        SCOPED_TRACE(c.mWhat);
        Made m = Create(mDir.Path() + "/misuse.omf", c.mRev, false, "WAVE");
        const omfErr_t err = c.mCall(m);
        EXPECT_EQ(err, c.mErr);
        EXPECT_NE(ThrownText([&] { OMF_Utils::ThrowIfErr(err, c.mContext, m.mFile); })
                      .find(std::string(c.mContext) + ": " + omfsGetErrorString(c.mErr)),
                  std::string::npos);
        omfsDiscardFile(m.mFile);
    }
    // A media handle is not a file: the file's calls refuse a file opened for reading.
    const std::string path = mDir.Path() + "/read.omf";
    Made m = Create(path, kOmfRev2x, false, "WAVE");
    ASSERT_EQ(omfsCloseFile(m.mFile), OM_ERR_NONE);
    OMF_File file{Sys_FileLoc(path)};
    omfObject_t mob = 0;
    EXPECT_EQ(omfmMasterMobNew(file.mHdl, "x", false, &mob), OM_ERR_FILE_NOT_WRITABLE);
}
} // namespace
