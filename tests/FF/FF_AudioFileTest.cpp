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

// Written big-endian and read back in both orders. A write converts the caller's buffer in
// place and puts it back unless allowed not to; one that ends exactly at the last sample
// does not extend the file.
TEST_P(FF_AudioFileRoundTrip, WritesAndReadsEveryByteInBothOrders)
{
    const auto [bits, channels] = GetParam();
    Test_TempDir dir;
    const std::string path = dir.Path() + "/t.wav";
    const int64_t frames = 1000;
    const int width = bits / 8;
    const Bytes samples =
        Pattern(size_t(frames * channels * width), uint32_t(bits * 10 + channels));
    const Bytes big = BigEndianSamples(samples, bits);
    FF_AudioFileRef writer = NewWave(path, channels, bits);
    Bytes buffer = big;
    EXPECT_EQ(writer->Write(buffer.data(), frames, eByteOrder_Big, false), frames);
    EXPECT_EQ(buffer, big);
    writer->Flush();
    writer->SetPosition(frames - 10);
    const size_t tail = size_t((frames - 10) * channels * width);
    writer->Write(buffer.data() + tail, 10, eByteOrder_Big, true);
    EXPECT_NE(buffer, big) << "converted in place";
    EXPECT_FALSE(writer->mNumSamples.IsDirty());
    writer->Close();

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
    EXPECT_EQ(file->Read(back.data(), frames, eByteOrder_Big), frames);
    EXPECT_TRUE(std::equal(big.begin(), big.end(), back.begin()));
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

// ---- the table of formats ----------------------------------------------------------------

// What the front answers for every type, from its table of formats.
TEST(FF_AudioFile, AnswersForEveryTypeFromTheTableOfFormats)
{
    using T = EAudioFileType;
    std::list<T> read;
    FF_AudioFile::GetTypesSupportedForRead(&read);
    EXPECT_EQ(read, (std::list<T>{T(5), T(4), T(3), T(2), T(12), T(8), T(17), T(10), T(18)}));
    // Name, byte order ("big", "little", or the assertion that asking fails), embedded
    // overviews, extension; by type.
    const std::tuple<const char*, const char*, bool, const char*> rows[] = {
        {"", "0", false, ""},
        {"", "0", false, ""},
        {"QS II", "big", true, "qs2"},
        {"BWF (.WAV)", "little", true, "wav"},
        {"AIFF", "big", true, "aif"},
        {"AIFF", "big", true, "aif"},
        {"OMF Interchange", "false", false, "omf"},
        {"Real Audio", "little", false, "ram"},
        {"MPEG-1 Layer 3", "little", false, "mp3"},
        {"QuickTime", "big", false, "mov"},
        {"Windows Media", "little", false, "wma"},
        {"Sound Resource", "little", false, "sfil"},
        {"QS I", "big", false, "qs1"},
        {"AVI", "0", false, "avi"},
        {"MPG", "0", false, "mpg"},
        {"MPEG", "0", false, "mpeg"},
        {"Digital Video", "0", false, "dv"},
        {"MXF", "little", true, "mxf"},
        {"AAC", "big", false, "m4a"}};
    int32_t lastIndex = 0;
    for (int32_t i = 0; i < int32_t(std::size(rows)); ++i)
    {
        const auto& [name, order, overviews, extension] = rows[i];
        const T type = T(i);
        SCOPED_TRACE(i);
        EXPECT_EQ(FF_AudioFile::GetAudioFileTypeName(type), name);
        EXPECT_EQ(FF_AudioFile::AudioFileTypeSupportsEmbeddedOverviews(type), overviews);
        const std::string o = order;
        if (o == "big" || o == "little")
            EXPECT_EQ(FF_AudioFile::ByteOrderFromAudioFileType(type),
                      o == "big" ? eByteOrder_Big : eByteOrder_Little);
        else
            EXPECT_TRUE(Test_Asserts([&] { FF_AudioFile::ByteOrderFromAudioFileType(type); }, o));
        // Registered in the order of the types, AIFC on AIFF's row.
        const Sys_FileType fileType = FF_AudioFile::FileTypeFromAudioFileType(type);
        EXPECT_EQ(fileType.GetAssociatedExtension(), extension);
        if (*extension == 0 || type == eAudioFileType_AIFC)
            continue;
        EXPECT_GT(fileType.GetIndex(), lastIndex);
        lastIndex = fileType.GetIndex();
        EXPECT_EQ(Sys_FileType::FromExtension(extension), fileType);
        EXPECT_EQ(fileType.GetDescriptiveString(), name);
        EXPECT_EQ(fileType.GetCreatorType(), Sys_FileType::MakeOSType("MDul"));
        EXPECT_EQ(fileType.GetGroup(), Sys_FileType::eGroup_Audio);
    }
    EXPECT_EQ(FF_AudioFile::FileTypeFromAudioFileType(eAudioFileType_AIFC),
              Sys_FileType::FromMacOSType(Sys_FileType::MakeOSType("AIFC")));
    EXPECT_TRUE(Test_Asserts([] { FF_AudioFile::FileTypeFromAudioFileType(T(20)); },
                             "iAudioFileType < mRecognizedAudioFileTypes.size()"));
    EXPECT_TRUE(Test_Asserts([] { FF_AudioFile::GetTypesSupportedForWrite(nullptr); }, "false"));
    Test_TempDir dir; // only a type whose plug-in creates files can be created
    FF_AudioFileRef mp3(
        new FF_AudioFile(T(8), Sys_FileLoc(dir.Path() + "/n.mp3"), 1, 16, 44100, 0, 0));
    EXPECT_TRUE(Test_Asserts([&] { mp3->Open(Cmn_Store::eOpenFlag_OpenCreate); }, "0"));
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
    // A region that ends past the samples is hidden, but stays stored.
    file->mNumSamples.Set(950);
    file->GetRegions(&regions);
    EXPECT_EQ(regions.size(), 1u);
    FF_AudioFile::RegionList stored;
    ASSERT_TRUE(file->mRegions.Get(&stored));
    EXPECT_EQ(stored.size(), 3u); // "empty", "tail", "right"
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
