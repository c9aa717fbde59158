#include <algorithm>
#include <gtest/gtest.h>
#include <list>

#include "FF/Audio/FF_AsyncAudioFileIOParams.h"
#include "FF/Audio/FF_AudioFile.h"
#include "Support/FFTestSupport.h"
#include "Sys_Event.h"

namespace
{
class FF_AudioFileRoundTrip : public testing::TestWithParam<std::tuple<int16_t, int16_t>>
{
};

TEST_P(FF_AudioFileRoundTrip, WritesAndReadsEveryByteInBothOrders)
{
    const auto [bits, channels] = GetParam();
    Test_TempDir dir;
    const std::string path = dir.Path() + "/t.wav";
    const int64_t frames = 1000;
    const int width = bits / 8;
    const Bytes samples =
        Pattern(size_t(frames * channels * width), uint32_t(bits * 10 + channels));
    MakeWave(path, channels, bits, samples);

    // On disk: little-endian, 8-bit as offset binary.
    const Bytes image = ReadBytes(path);
    const auto [start, size] = FindData(image);
    ASSERT_EQ(size, samples.size());
    for (size_t i = 0; i < samples.size(); ++i)
        ASSERT_EQ(image[start + i], bits == 8 ? uint8_t(samples[i] ^ 0x80) : samples[i]) << i;

    FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
    ASSERT_EQ(file->GetAudioFileType(), eAudioFileType_WAVE);
    const FF_AudioFile::Properties p = file->GetProperties();
    EXPECT_EQ(p.mBitDepth, bits);
    EXPECT_EQ(p.mBytesPerSample, width);
    EXPECT_EQ(p.mNumChannels, channels);
    EXPECT_EQ(p.mSampleRate, 48000);
    EXPECT_EQ(p.mNumSamples, frames);
    EXPECT_EQ(p.mByteOrder, eByteOrder_Little);

    Bytes back(samples.size() + 64, 0xEE);
    EXPECT_EQ(file->Read(back.data(), frames + 10, eByteOrder_Little), frames);
    EXPECT_TRUE(std::equal(samples.begin(), samples.end(), back.begin()));
    EXPECT_EQ(file->Read(back.data(), 10), 0) << "nothing past the last sample";

    file->SetPosition(0);
    Bytes big(samples.size());
    EXPECT_EQ(file->Read(big.data(), frames, eByteOrder_Big), frames);
    for (size_t i = 0; i < samples.size(); i += size_t(width))
        for (int b = 0; b < width; ++b)
            ASSERT_EQ(big[i + size_t(b)], samples[i + size_t(width - 1 - b)]) << i;
    file->Close();
}

INSTANTIATE_TEST_SUITE_P(Matrix, FF_AudioFileRoundTrip,
                         testing::Combine(testing::Values<int16_t>(8, 16, 24, 32),
                                          testing::Values<int16_t>(1, 2, 6)),
                         [](const auto& i)
                         {
                             return "Bits" + std::to_string(std::get<0>(i.param)) + "x" +
                                    std::to_string(std::get<1>(i.param));
                         });

TEST(FF_AudioFile, WriteKeepsCallersBufferUnlessAllowedAndExtendsOnlyPastTheEnd)
{
    for (const int16_t bits : {8, 24})
    {
        SCOPED_TRACE(bits);
        Test_TempDir dir;
        FF_AudioFileRef file = NewWave(dir.Path() + "/b.wav", 2, bits, 44100);
        const Bytes original = Pattern(size_t(100 * 2 * bits / 8));
        Bytes buffer = original;
        // Big-endian input makes 24-bit swap; 8-bit always flips the sign bit.
        file->Write(buffer.data(), 100, eByteOrder_Big, false);
        EXPECT_EQ(buffer, original);
        EXPECT_EQ(file->mNumSamples.GetOr(-1), 100);
        file->Flush();
        file->SetPosition(40);
        file->Write(buffer.data(), 60, eByteOrder_Big, true); // ends exactly at the end
        EXPECT_NE(buffer, original);
        EXPECT_EQ(file->mNumSamples.GetOr(-1), 100);
        EXPECT_FALSE(file->mNumSamples.IsDirty());
        file->Write(buffer.data(), 1);
        EXPECT_EQ(file->mNumSamples.GetOr(-1), 101);
        file->Close();
    }
}

// A WAVE file under a wrong extension; reopening keeps the plug-in and rewinds.
TEST(FF_AudioFile, OpensByContentWhateverTheNameAndOnlyAmongCandidates)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/take.aif";
    const Bytes samples = Pattern(400);
    MakeWave(path, 2, 16, samples);

    FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_EQ(file->GetAudioFileType(), eAudioFileType_WAVE);
    FF_AudioFilePlugIn* plugIn = file->GetPlugIn();
    Bytes buffer(samples.size());
    file->Read(buffer.data(), 50);
    file->Close();
    file->Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_EQ(file->GetPlugIn(), plugIn);
    EXPECT_EQ(file->GetPosition(), 0);
    EXPECT_EQ(file->Read(buffer.data(), 100), 100);
    EXPECT_EQ(buffer, samples);
    file->Close();

    const std::list<EAudioFileType> onlyQSII = {eAudioFileType_QSII};
    FF_AudioFileRef none(new FF_AudioFile(Sys_FileLoc(path), 0, &onlyQSII));
    none->Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_EQ(none->GetAudioFileType(), eAudioFileType_Unknown);
    EXPECT_TRUE(Test_Asserts([&] { none->Read(buffer.data(), 1); }, "mPlugIn"));
    EXPECT_TRUE(Test_Asserts([&] { none->mNumSamples.GetOr(0); }, "mAudioFile->mPlugIn"));
    none->Close();

    FF_AudioFileRef missing =
        OpenFile(dir.Path() + "/nothing.wav", Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_EQ(missing->GetPlugIn(), nullptr);
    missing->Close();
}

// ---- regions -----------------------------------------------------------------------------

TEST(FF_AudioFile, RegionsKeepOnlyValidOnesAndPutTheWholeFileFirst)
{
    Test_TempDir dir;
    FF_AudioFileRef file = NewWave(dir.Path() + "/Take 7.wav", 1, 16, 48000, 1234);
    Bytes buffer = Pattern(2000);
    file->Write(buffer.data(), 1000);

    const Sys_Umid a(0, 42, 1, 1), b(0, 42, 1, 2), c(0, 42, 1, 3);
    file->AddRegion(FF_AudioFile::Region("verse", 10, 500, 490, 5, 6, a, false));
    file->AddRegion(FF_AudioFile::Region("verse", 10, 500, 490, 5, 6, a, false));  // equal
    file->AddRegion(FF_AudioFile::Region("empty", 1000, 1000, 0, 0, 0, b, false)); // start at end
    file->AddRegion(FF_AudioFile::Region("tail", 900, 1000, 100, 0, 0, c, false));
    EXPECT_TRUE(Test_Asserts(
        [&] { file->AddRegion(FF_AudioFile::Region("long", 0, 1001, 1001, 0, 0, c, false)); },
        "iRegion.mStopSample <= mNumSamples.Get()"));

    FF_AudioFile::RegionList regions;
    file->GetRegions(&regions);
    ASSERT_EQ(regions.size(), 3u);
    const FF_AudioFile::Region& whole = regions.front();
    EXPECT_TRUE(whole.mIsWholeFile);
    EXPECT_EQ(whole.mName, "Take 7");
    EXPECT_EQ(whole.mStopSample, 1000);
    EXPECT_EQ(whole.mOriginalTimeStamp, 1234);
    EXPECT_EQ(std::next(regions.begin())->mName, "verse");
    EXPECT_EQ(regions.back().mName, "tail");
    EXPECT_EQ(file->GetWholeFileRegion(), whole);

    // A stored whole-file region that does not span the file is dropped; one that does keeps
    // its other fields but takes the file's name.
    file->AddRegion(FF_AudioFile::Region("wrong", 0, 999, 999, 0, 77, Sys_Umid(), true));
    file->GetRegions(&regions);
    EXPECT_EQ(regions.front().mUserTimeStamp, 1234) << "made from the file, not the stored one";
    file->AddRegion(FF_AudioFile::Region("right", 0, 1000, 1000, 0, 77, Sys_Umid(), true));
    file->GetRegions(&regions);
    EXPECT_EQ(regions.size(), 3u);
    EXPECT_EQ(regions.front().mUserTimeStamp, 77);
    EXPECT_EQ(regions.front().mName, "Take 7");

    file->mRegionName.Set("Chorus take");
    EXPECT_EQ(file->GetWholeFileRegion().mName, "Chorus take");

    EXPECT_TRUE(file->RemoveRegion(a));
    EXPECT_FALSE(file->RemoveRegion(a));
    file->GetRegions(&regions);
    EXPECT_EQ(regions.size(), 2u);
    file->Close();
}

TEST(FF_AudioFile, RegionPastTheEndIsHiddenButKept)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/p.wav";
    // 40 frames, and a stored region 50..100 behind the whole-file record.
    Bytes regn;
    PutLE(regn, 2, 4);
    for (const char* name : {"whole", "late"})
    {
        Bytes record(88, 0);
        record[0] = uint8_t(name[0]);
        const int64_t start = name[0] == 'w' ? 0 : 50, stop = name[0] == 'w' ? 40 : 100;
        std::memcpy(&record[16], &start, 8);
        std::memcpy(&record[24], &stop, 8);
        record[56] = uint8_t(std::strlen(name));
        std::memcpy(&record[57], name, std::strlen(name));
        regn.insert(regn.end(), record.begin(), record.end());
    }
    WriteBytes(path, Riff({Chunk("fmt ", FmtData(1, 1, 48000, 16)), Chunk("data", Pattern(80)),
                           Chunk("regn", regn)}));

    FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
    FF_AudioFile::RegionList regions;
    file->GetRegions(&regions);
    EXPECT_EQ(regions.size(), 1u);
    FF_AudioFile::RegionList stored;
    ASSERT_TRUE(file->mRegions.Get(&stored));
    EXPECT_EQ(stored.back().mName, "late");
    file->Close();
}

// ---- asynchronous access ---------------------------------------------------------------

TEST(FF_AsyncAudioFileIOParams, ReadAndWriteConvertOnTheIssuingThread)
{
    Test_TempDir dir;
    FF_AudioFileRef file = NewWave(dir.Path() + "/a.wav", 2, 24);

    const Bytes original = Pattern(300 * 6);
    Bytes buffer = original;
    FF_AsyncAudioFileIOParams write(3, 2);
    write.SetSampleOffset(100);
    write.SetNumSamples(300);
    write.SetBuffer(buffer.data());
    file->WriteAsync(&write, eByteOrder_Big, false);
    EXPECT_EQ(file->mNumSamples.GetOr(0), 400);
    ASSERT_EQ(write.GetCompletionEvent()->Wait(10000), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_FALSE(write.ErrorOccurred());
    EXPECT_EQ(write.GetNumSamplesTransferred(), 300);
    EXPECT_EQ(buffer, original) << "the caller's buffer is put back";

    FF_AsyncAudioFileIOParams read(3, 2);
    read.SetSampleOffset(100);
    read.SetNumSamples(400); // runs past the last sample: only 300 come
    Bytes spare(400 * 6);
    read.SetBuffer(spare.data());
    file->ReadAsync(&read, eByteOrder_Big);
    ASSERT_EQ(read.GetCompletionEvent()->Wait(10000), Sys_SyncObject::eWaitResult_Signalled);
    read.ThrowIfErrorOccurred();
    EXPECT_EQ(read.GetNumSamplesTransferred(), 300);
    EXPECT_TRUE(std::equal(original.begin(), original.end(), spare.begin()));

    // The file holds them little-endian at frame 100.
    Bytes back(original.size());
    file->SetPosition(100);
    EXPECT_EQ(file->Read(back.data(), 300, eByteOrder_Little), 300);
    for (size_t i = 0; i < original.size(); i += 3)
        ASSERT_EQ(back[i], original[i + 2]) << i;
    file->Close();
}
} // namespace
