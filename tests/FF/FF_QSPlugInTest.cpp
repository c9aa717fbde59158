// QSII and QSI files: round trips through the front, the files that are refused and handed
// on, the resource manager over damaged forks, and what a failed write leaves behind.
#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>
#include <gtest/gtest.h>
#include <list>
#include <set>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/PlugIns/FF_QSIPlugIn.h"
#include "FF/Audio/PlugIns/FF_QSIIPlugIn.h"
#include "FF/Audio/PlugIns/FF_ResFileUtils.h"
#include "Support/FFTestSupport.h"
#include "Support/SysTestSupport.h"
#include "Sys_AppleDouble.h"
#include "Sys_AtomicOutput.h"
#include "Sys_FileUtils.h"

namespace
{
constexpr uint32_t cSTR = FF_ResFileUtils::MakeType("STR ");

std::vector<uint8_t> PascalText(const std::string& iText)
{
    std::vector<uint8_t> data(iText.size() + 1, uint8_t(iText.size()));
    std::copy(iText.begin(), iText.end(), data.begin() + 1);
    return data;
}

// A data fork and a sidecar made by hand: the three format strings (those named in iSkip
// left out), with Finder type "Qs2f".
void MakeHandmadeQSII(const std::string& iPath, const Bytes& iData,
                      const std::set<std::string>& iSkip = {}, const char* iSize = "2")
{
    WriteBytes(iPath, iData);
    FF_ResourceFork fork;
    const std::pair<const char*, const char*> strings[] = {
        {"sample-size", iSize}, {"sample-rate", "44100"}, {"channels", "1"}};
    int16_t id = 1000;
    for (const auto& [name, value] : strings)
        if (!iSkip.count(name))
            fork.Put(cSTR, id++, name, true, PascalText(value));
    Sys_AppleDouble::Contents contents;
    contents.SetTypeAndCreator(FF_ResFileUtils::MakeType("Qs2f"), 0);
    contents.mHasResourceFork = true;
    contents.mResourceFork = fork.Build();
    Sys_AppleDouble::Write(Sys_FileLoc(iPath), contents);
}

// A QSI header with these fields, followed by iDataBytes of samples (iHeldBytes of them
// really there, when given).
Bytes QSIImage(uint16_t iMark, uint32_t iRate, uint16_t iBits, uint32_t iDataBytes,
               int64_t iHeldBytes = -1)
{
    Bytes image(FF_QSIPlugIn::cHeaderSize, 0);
    auto put = [&](size_t iAt, uint64_t iValue, int iWidth)
    {
        for (int i = 0; i < iWidth; ++i)
            image[iAt + size_t(i)] = uint8_t(iValue >> (8 * (iWidth - 1 - i)));
    };
    put(0, iMark, 2);
    put(184, iDataBytes, 4);
    put(1020, iRate, 4);
    put(1028, iBits, 2);
    put(752, 100, 4);
    put(756, 200, 4);
    image[1332] = 2;
    const Bytes data = Pattern(size_t(iHeldBytes < 0 ? iDataBytes : iHeldBytes));
    image.insert(image.end(), data.begin(), data.end());
    return image;
}

EAudioFileType OpenedType(const std::string& iPath, const std::list<EAudioFileType>* iOnly)
{
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(iPath), 0, iOnly));
    file->Open(Cmn_Store::eOpenFlag_OpenForRead);
    const EAudioFileType type = file->GetAudioFileType();
    file->Close();
    return type;
}

// ---- round trips ---------------------------------------------------------------------------

struct RoundTrip
{
    EAudioFileType mType;
    int16_t mChannels, mBits;
    int32_t mRate;
};

// Samples, format, identity, regions, instrument and comment written through the front come
// back exactly; the data fork holds nothing but the big-endian samples.
TEST(FF_QSPlugIn, RoundTripsKeepSamplesAndMetadata)
{
    const RoundTrip cases[] = {
        {eAudioFileType_QSII, 1, 8, 22050},  {eAudioFileType_QSII, 2, 8, 44100},
        {eAudioFileType_QSII, 1, 16, 44100}, {eAudioFileType_QSII, 2, 16, 48000},
        {eAudioFileType_QSII, 1, 24, 96000}, {eAudioFileType_QSII, 2, 24, 88200},
        {eAudioFileType_QSI, 1, 8, 5000},    {eAudioFileType_QSI, 1, 16, 44100},
        {eAudioFileType_QSI, 1, 24, 100000},
    };
    for (const RoundTrip& c : cases)
    {
        SCOPED_TRACE(testing::Message() << c.mType << " " << c.mChannels << "x" << c.mBits);
        const bool qsii = c.mType == eAudioFileType_QSII;
        Test_TempDir dir;
        const std::string path = dir.Path() + (qsii ? "/take.qs2" : "/take.qs1");
        const int64_t frames = 1001;
        const Bytes samples = Pattern(size_t(frames * c.mChannels * c.mBits / 8), uint32_t(c.mBits));
        const Sys_Umid umid(1, 2, 3, 0xA0B0C0D0u);
        const FF_AudioInstrumentAttr attr{64, 0, 1, 100, 900, qsii ? 2 : 3, 950, 990};
        {
            FF_AudioFileRef file(new FF_AudioFile(c.mType, Sys_FileLoc(path), c.mChannels,
                                                  c.mBits, c.mRate, 777, 0));
            file->Open(Cmn_Store::eOpenFlag_OpenCreate);
            Bytes copy = samples;
            ASSERT_EQ(file->Write(copy.data(), frames), frames);
            file->mInstrumentAttr.Set(attr);
            if (qsii)
            {
                file->mUmid.Set(umid);
                file->mDescription.Set("second take");
                file->AddRegion(FF_AudioFile::Region("verse", 10, 500, 490, 1, 2,
                                                     Sys_Umid(9, 9, 9, 9), false));
                if (c.mChannels == 1)
                    file->mOverview.Set(FF_AudioOverviewData(8, 5));
            }
            file->Flush();
            file->Close();
        }
        const Bytes disk = ReadBytes(path);
        const size_t offset = qsii ? 0 : size_t(FF_QSIPlugIn::cHeaderSize);
        EXPECT_EQ(Bytes(disk.begin() + long(offset), disk.end()),
                  BigEndianSamples(samples, c.mBits));
        EXPECT_EQ(Exists(dir.Path() + "/._take.qs2"), qsii);

        FF_AudioFileRef back = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
        ASSERT_EQ(back->GetAudioFileType(), c.mType);
        const FF_AudioFile::Properties p = back->GetProperties();
        EXPECT_EQ(p.mFormatName, qsii ? "QS II" : "QS I");
        EXPECT_EQ(p.mByteOrder, eByteOrder_Big);
        EXPECT_EQ(p.mSampleRate, c.mRate);
        EXPECT_EQ(p.mBitDepth, c.mBits);
        EXPECT_EQ(p.mNumChannels, c.mChannels);
        EXPECT_EQ(p.mNumSamples, frames);
        EXPECT_EQ(back->mOffsetToData.GetOr(-1), int64_t(offset));
        Bytes read(samples.size() + 16, 0);
        EXPECT_EQ(back->Read(read.data(), frames + 4), frames);
        read.resize(samples.size());
        EXPECT_EQ(read, samples);
        // The header keeps root 60 and its loop modes; QSII keeps the whole attribute.
        FF_AudioInstrumentAttr expected = attr;
        if (!qsii)
            expected = {60, 0, 1, 100, 900, 3, 950, 990};
        EXPECT_EQ(back->mInstrumentAttr.GetOr({}), expected);
        if (qsii)
        {
            EXPECT_EQ(back->mUmid.GetOr({}), umid);
            EXPECT_EQ(back->mDescription.GetOr(""), "second take");
            EXPECT_EQ(back->mModificationCount.GetOr(-1), 0) << "not stored: reads 0";
            EXPECT_EQ(back->mModificationTime.GetOr(1), 0u);
            EXPECT_EQ(back->mOriginalTimeStamp.GetOr(0), 777);
            FF_AudioFile::RegionList regions;
            back->GetRegions(&regions);
            ASSERT_EQ(regions.size(), 2u);
            EXPECT_EQ(regions.front().mUmid, umid);
            EXPECT_EQ(regions.front().mStopSample, frames);
            EXPECT_EQ(regions.back().mName, "verse");
            EXPECT_EQ(back->mOverview.GetOr({}).size(), c.mChannels == 1 ? 8u : 0u);
            EXPECT_EQ(back->mOverview.CanWrite(), c.mChannels == 1);
        }
        back->Close();
    }
}

// A file written elsewhere with three bytes per sample and no identity but the older file id
// block.
TEST(FF_QSPlugIn, ThreeByteSamplesAndTheOlderIdentityAreRead)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/old";
    MakeHandmadeQSII(path, Pattern(300), {}, "3");
    {
        const FF_ResFileUtils::StOpenAndUseResFile fork(Sys_FileLoc(path), 3);
        std::vector<uint8_t> id{0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0xEE};
        FF_ResFileUtils::WriteDataAsAResource(FF_ResFileUtils::MakeType("dmva"), 7, id);
        const_cast<FF_ResFileUtils::StOpenAndUseResFile&>(fork).Close();
    }
    FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
    ASSERT_EQ(file->GetAudioFileType(), eAudioFileType_QSII);
    EXPECT_EQ(file->mBitDepth.GetOr(0), 24);
    EXPECT_EQ(file->mNumSamples.GetOr(0), 100);
    EXPECT_EQ(file->mUmid.GetOr({}), Sys_Umid(1, 2, 3, 4));
    file->Close();
}

// A later edit of one property keeps what the fork holds of the others: a new user time
// stamp keeps the regions, a new comment keeps the identity.
TEST(FF_QSPlugIn, EditsKeepTheOtherResources)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/e.qs2";
    MakeAudioFile(eAudioFileType_QSII, path, 1, 16, Pattern(400));
    auto edit = [&](const std::function<void(FF_AudioFile&)>& iChange)
    {
        FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForWrite);
        iChange(*file);
        file->Flush();
        file->Close();
    };
    edit([](FF_AudioFile& f)
         { f.AddRegion(FF_AudioFile::Region("r", 5, 50, 45, 0, 0, Sys_Umid(4, 4, 4, 4), false)); });
    edit([](FF_AudioFile& f) { f.mUserTimeStamp.Set(4242); });
    edit([](FF_AudioFile& f) { f.mDescription.Set("later"); });
    FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
    FF_AudioFile::RegionList regions;
    file->GetRegions(&regions);
    ASSERT_EQ(regions.size(), 2u);
    EXPECT_EQ(regions.back().mName, "r");
    EXPECT_EQ(file->mUserTimeStamp.GetOr(0), 4242);
    EXPECT_EQ(file->mDescription.GetOr(""), "later");
    file->Close();
}

// Two threads reading two files at once each read their own fork: the current fork is the
// calling thread's.
TEST(FF_QSPlugIn, ThreadsReadTheirOwnForks)
{
    Test_TempDir dir;
    MakeAudioFile(eAudioFileType_QSII, dir.Path() + "/one.qs2", 1, 16, Pattern(64));
    MakeAudioFile(eAudioFileType_QSII, dir.Path() + "/two.qs2", 2, 16, Pattern(64));
    std::atomic<int> wrong{0}, ready{0};
    auto read = [&](const std::string& iName, const std::string& iChannels)
    {
        const Sys_FileLoc loc(dir.Path() + "/" + iName);
        FF_ResFileUtils::StOpenAndUseResFile fork(loc, FF_ResFileUtils::cReadPermission);
        for (++ready; ready.load() < 2;)
            std::this_thread::yield();
        for (int i = 0; i < 20000; ++i)
        {
            try
            {
                wrong += FF_ResFileUtils::ReadNamedSTRResource("channels") != iChannels;
            }
            catch (const Sys_OSErrException&)
            {
                ++wrong;
            }
        }
        fork.Close();
    };
    std::thread other(read, "two.qs2", "2");
    read("one.qs2", "1");
    other.join();
    EXPECT_EQ(wrong.load(), 0);
}

// ---- refusals ------------------------------------------------------------------------------

// Files that are not what they claim: the plug-in of the type refuses them, and with the
// default list the next plug-in gets them (here none accepts them).
TEST(FF_QSPlugIn, FilesThatAreNotQSIIOrQSIAreHandedOn)
{
    struct Case
    {
        const char* mName;
        EAudioFileType mType;
        std::function<void(const std::string&)> mMake;
    };
    const Case cases[] = {
        {"no sidecar", eAudioFileType_QSII, [](const std::string& p) { WriteBytes(p, Pattern(64)); }},
        {"Finder information only", eAudioFileType_QSII,
         [](const std::string& p)
         {
             WriteBytes(p, Pattern(64));
             Sys_AppleDouble::Contents contents;
             contents.SetTypeAndCreator(FF_ResFileUtils::MakeType("Qs2f"), 0);
             Sys_AppleDouble::Write(Sys_FileLoc(p), contents);
         }},
        {"no channels", eAudioFileType_QSII,
         [](const std::string& p) { MakeHandmadeQSII(p, Pattern(64), {"channels"}); }},
        {"no sample-size", eAudioFileType_QSII,
         [](const std::string& p) { MakeHandmadeQSII(p, Pattern(64), {"sample-size"}); }},
        {"sample-size 0", eAudioFileType_QSII,
         [](const std::string& p) { MakeHandmadeQSII(p, Pattern(64), {}, "0"); }},
        {"damaged sidecar", eAudioFileType_QSII,
         [](const std::string& p)
         {
             MakeHandmadeQSII(p, Pattern(64));
             const std::string sidecar = Sys_AppleDouble::SidecarOf(Sys_FileLoc(p)).GetFullPath();
             Bytes image = ReadBytes(sidecar);
             image[82 + 4] = 0x7F; // the map offset now points far past the fork
             WriteBytes(sidecar, image);
         }},
        {"32 bits", eAudioFileType_QSI,
         [](const std::string& p) { WriteBytes(p, QSIImage(0x5153, 44100, 32, 400)); }},
        {"rate 4999", eAudioFileType_QSI,
         [](const std::string& p) { WriteBytes(p, QSIImage(0x5153, 4999, 16, 400)); }},
        {"rate 100001", eAudioFileType_QSI,
         [](const std::string& p) { WriteBytes(p, QSIImage(0x5153, 100001, 16, 400)); }},
        {"more data than held", eAudioFileType_QSI,
         [](const std::string& p) { WriteBytes(p, QSIImage(0x5153, 44100, 16, 400, 399)); }},
        {"other mark", eAudioFileType_QSI,
         [](const std::string& p) { WriteBytes(p, QSIImage(0x5154, 44100, 16, 400)); }},
        {"short header", eAudioFileType_QSI,
         [](const std::string& p)
         {
             Bytes image = QSIImage(0x5153, 44100, 16, 0);
             image.pop_back();
             WriteBytes(p, image);
         }},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mName);
        Test_TempDir dir;
        const std::string path = dir.Path() + "/f.dat";
        c.mMake(path);
        const std::list<EAudioFileType> only = {c.mType};
        EXPECT_EQ(OpenedType(path, &only), eAudioFileType_Unknown);
        EXPECT_EQ(OpenedType(path, nullptr), eAudioFileType_Unknown);
    }
    // The good forms of the same makers are taken, so each refusal above is the one named.
    Test_TempDir dir;
    MakeHandmadeQSII(dir.Path() + "/good", Pattern(64));
    WriteBytes(dir.Path() + "/good1", QSIImage(0x5153, 44100, 16, 400));
    EXPECT_EQ(OpenedType(dir.Path() + "/good", nullptr), eAudioFileType_QSII);
    EXPECT_EQ(OpenedType(dir.Path() + "/good1", nullptr), eAudioFileType_QSI);
}

// A new QSI file refuses what its header cannot hold.
TEST(FF_QSPlugIn, NewQSIRefusesStereoOtherDepthsAndRates)
{
    const RoundTrip cases[] = {{eAudioFileType_QSI, 2, 16, 44100},
                               {eAudioFileType_QSI, 1, 32, 44100},
                               {eAudioFileType_QSI, 1, 16, 192000}};
    for (const RoundTrip& c : cases)
    {
        Test_TempDir dir;
        FF_AudioFileRef file(new FF_AudioFile(c.mType, Sys_FileLoc(dir.Path() + "/x.qs1"),
                                              c.mChannels, c.mBits, c.mRate, 0, 0));
        EXPECT_THROW(file->Open(Cmn_Store::eOpenFlag_OpenCreate), std::invalid_argument);
    }
}

// ---- the resource manager ------------------------------------------------------------------

// A fork keeps every resource through a rewrite; the named "STR " reader, indexed reads and
// the missing-resource texts.
TEST(FF_ResFileUtils, ForksRoundTripAndMissingResourcesAreNamed)
{
    FF_ResourceFork fork;
    fork.Put(cSTR, 1000, "sample-rate", true, PascalText("48000"));
    fork.Put(FF_ResFileUtils::MakeType("umid"), 1000, "", false, std::vector<uint8_t>(16, 7));
    fork.Put(cSTR, 1001, "channels", true, PascalText("2"));
    fork.Put(cSTR, 1001, "channels", true, PascalText("1")); // replaces
    const FF_ResourceFork back(fork.Build());
    ASSERT_EQ(back.GetResources().size(), 3u);
    std::vector<uint8_t> data;
    EXPECT_TRUE(back.GetNamed(cSTR, "channels", &data));
    EXPECT_EQ(data, PascalText("1"));
    EXPECT_TRUE(back.GetIndexed(cSTR, 2, &data));
    EXPECT_EQ(data, PascalText("1"));
    EXPECT_FALSE(back.GetIndexed(cSTR, 3, &data));
    EXPECT_EQ(FF_ResourceFork(back.Build()).Build(), fork.Build());

    Test_TempDir dir;
    const Sys_FileLoc loc(dir.Path() + "/f");
    WriteBytes(loc.GetFullPath(), Bytes{});
    EXPECT_EQ(ThrownError([&] { FF_ResFileUtils::OpenResourceFork(loc, 1); }).first,
              eResError_FileNotFound);
    FF_ResFileUtils::CreateResourceFork(loc, FF_ResFileUtils::MakeType("Qs2f"), 0);
    FF_ResFileUtils::StOpenAndUseResFile open(loc, 3);
    FF_ResFileUtils::WriteStringResource("sample-rate", "44100", 5);
    EXPECT_EQ(FF_ResFileUtils::ReadNamedSTRResource("sample-rate"), "44100");
    EXPECT_TRUE(FF_ResFileUtils::DoesNamedResourceExist(cSTR, "sample-rate"));
    const auto missing = ThrownError([] { FF_ResFileUtils::ReadResourceAsData(cSTR, 9, nullptr); });
    EXPECT_EQ(missing.first, eResError_NotFound);
    EXPECT_NE(missing.second.find("resource of type 'STR ' with id=9 could not be found"),
              std::string::npos)
        << missing.second;
    EXPECT_NE(ThrownError([] { FF_ResFileUtils::ReadNamedSTRResource("channels"); })
                  .second.find("STR resource named \"channels\" could not be found"),
              std::string::npos);
    open.Close();
    Sys_FileType::OSType type = 0;
    EXPECT_TRUE(Sys_FileUtils::GetMacTypeAndCreator(loc, &type, nullptr));
    EXPECT_EQ(type, FF_ResFileUtils::MakeType("Qs2f"));
}

// Damaged forks: every lie gives the family exception ("map damaged"), never a crash or an
// allocation that the fork's size does not pay for.
TEST(FF_ResFileUtils, DamagedForksThrowTheFamilyException)
{
    FF_ResourceFork good;
    good.Put(cSTR, 1000, "channels", true, PascalText("2"));
    good.Put(cSTR, 1001, "", false, PascalText("x"));
    const Bytes image = good.Build();
    const size_t map = (size_t(image[4]) << 24) | (size_t(image[5]) << 16) |
                       (size_t(image[6]) << 8) | image[7];
    const size_t types = map + 28, refs = types + 10;
    struct Case
    {
        const char* mName;
        size_t mAt;
        std::vector<uint8_t> mBytes;
    };
    const Case cases[] = {
        {"data past the end", 8, {0x7F, 0, 0, 0}},
        {"map past the end", 4, {0x7F, 0, 0, 0}},
        {"map too short", 12, {0, 0, 0, 4}},
        {"type list outside the map", map + 24, {0xFF, 0xF0}},
        {"more types than the map holds", types, {0xFF, 0xFE}},
        {"more references than the map holds", types + 6, {0x7F, 0xFF}},
        {"reference list outside the map", types + 8, {0xFF, 0x00}},
        {"name outside the map", refs + 2, {0x7F, 0x00}},
        {"data offset outside the data", refs + 5, {0xFF, 0xFF, 0xF0}},
        {"resource longer than the data", 256, {0x7F, 0xFF, 0xFF, 0xFF}},
    };
    std::vector<std::pair<std::string, Bytes>> seeds{{"ResourceMapFuzz/two-strings", image}};
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mName);
        Bytes bad = image;
        std::copy(c.mBytes.begin(), c.mBytes.end(), bad.begin() + long(c.mAt));
        EXPECT_EQ(ThrownError([&] { FF_ResourceFork fork(bad); }).first, eResError_MapDamaged);
        std::string name = c.mName;
        std::replace(name.begin(), name.end(), ' ', '-');
        seeds.push_back({"ResourceMapFuzz/" + name, bad});
    }
    Bytes cut(image.begin(), image.begin() + 10);
    EXPECT_EQ(ThrownError([&] { FF_ResourceFork fork(cut); }).first, eResError_MapDamaged);

    WriteFuzzSeeds(seeds);
}

// ---- sidecars on disk ----------------------------------------------------------------------

// Copy, move, rename and delete take the sidecar along; nothing is left behind.
TEST(FF_QSPlugIn, FileOperationsCarryTheSidecar)
{
    Test_TempDir dir;
    const std::string a = dir.Path() + "/a.qs2";
    MakeAudioFile(eAudioFileType_QSII, a, 1, 16, Pattern(200));
    const Bytes sidecar = ReadBytes(dir.Path() + "/._a.qs2");
    Sys_FileUtils::CopyFile(Sys_FileLoc(a), Sys_FileLoc(dir.Path() + "/b.qs2"));
    Sys_FileUtils::MoveFile(Sys_FileLoc(a), Sys_FileLoc(dir.Path() + "/c.qs2"));
    EXPECT_EQ(Test_FolderNames(dir.Path()), (std::set<std::string>{"b.qs2", "._b.qs2", "c.qs2", "._c.qs2"}));
    EXPECT_EQ(ReadBytes(dir.Path() + "/._b.qs2"), sidecar);
    EXPECT_EQ(OpenedType(dir.Path() + "/b.qs2", nullptr), eAudioFileType_QSII);
    EXPECT_EQ(OpenedType(dir.Path() + "/c.qs2", nullptr), eAudioFileType_QSII);
    Sys_FileUtils::DeleteFile(Sys_FileLoc(dir.Path() + "/b.qs2"));
    Sys_FileUtils::DeleteFile(Sys_FileLoc(dir.Path() + "/c.qs2"));
    EXPECT_TRUE(Test_FolderNames(dir.Path()).empty());

    // An output written under a temporary name gets its sidecar beside it, published with
    // it; a discarded one leaves neither.
    for (const bool commit : {true, false})
    {
        const Sys_FileLoc out(dir.Path() + "/out.qs2");
        Sys_AtomicOutput::Begin(out);
        MakeAudioFile(eAudioFileType_QSII, out.GetFullPath(), 2, 24, Pattern(600));
        EXPECT_EQ(Test_FolderNames(dir.Path()).size(), 2u);
        EXPECT_EQ(Sys_FileUtils::GetFileResourceForkSize(out) > 0, true);
        if (commit)
            Sys_AtomicOutput::Commit(out);
        else
            Sys_AtomicOutput::Discard(out);
        const std::set<std::string> left =
            commit ? std::set<std::string>{"out.qs2", "._out.qs2"} : std::set<std::string>{};
        EXPECT_EQ(Test_FolderNames(dir.Path()), left);
        if (commit)
        {
            EXPECT_EQ(OpenedType(out.GetFullPath(), nullptr), eAudioFileType_QSII);
            Sys_FileUtils::DeleteFile(out);
        }
    }
}

// A write that fails at any point leaves the previous data fork and sidecar as they were,
// and a new file that fails leaves nothing.
TEST(FF_QSPlugIn, AFailedWriteAtAnyPointLeavesTheFilesAsTheyWere)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/take.qs2";
    MakeAudioFile(eAudioFileType_QSII, path, 1, 16, Pattern(2000));

    struct Case
    {
        const char* mName;
        std::function<void()> mRun;
        bool mNew; // a failure leaves no new file
    };
    const Case cases[] = {
        {"metadata edit",
         [&]
         {
             FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForWrite);
             file->mUmid.Set(Sys_Umid(5, 6, 7, 8));
             file->mDescription.Set("edited");
             file->AddRegion(FF_AudioFile::Region("r", 1, 9, 8, 0, 0, Sys_Umid(1, 0, 0, 0), false));
             file->Flush();
             file->Close();
         },
         false},
        {"new file written under a temporary name",
         [&]
         {
             const Sys_FileLoc out(dir.Path() + "/new.qs2");
             Sys_StAtomicOutput output(out);
             MakeAudioFile(eAudioFileType_QSII, out.GetFullPath(), 2, 16, Pattern(4000));
             output.Commit();
         },
         true},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mName);
        const Bytes data = ReadBytes(path), sidecar = ReadBytes(dir.Path() + "/._take.qs2");
        const std::set<std::string> before = Test_FolderNames(dir.Path());
        int64_t failAt = 1;
        for (;; ++failAt)
        {
            bool failed = false;
            {
                Test_FailingWrites faults(failAt);
                try
                {
                    c.mRun();
                }
                catch (const Sys_OSErrException&)
                {
                    failed = true;
                }
                EXPECT_EQ(failed, faults.Failed()) << "write " << failAt;
            }
            if (!failed)
                break;
            EXPECT_EQ(ReadBytes(path), data) << "write " << failAt;
            EXPECT_EQ(ReadBytes(dir.Path() + "/._take.qs2"), sidecar) << "write " << failAt;
            EXPECT_EQ(Test_FolderNames(dir.Path()), before) << "write " << failAt;
        }
        EXPECT_GT(failAt, 2) << "the operation wrote more than once";
        if (c.mNew)
        {
            EXPECT_EQ(OpenedType(dir.Path() + "/new.qs2", nullptr), eAudioFileType_QSII);
            Sys_FileUtils::DeleteFile(Sys_FileLoc(dir.Path() + "/new.qs2"));
        }
        else
        {
            EXPECT_NE(ReadBytes(dir.Path() + "/._take.qs2"), sidecar) << "the edit was written";
            FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
            EXPECT_EQ(file->mUmid.GetOr({}), Sys_Umid(5, 6, 7, 8));
            EXPECT_EQ(file->mDescription.GetOr(""), "edited");
            file->Close();
        }
    }
}

// Seeds for the open fuzz target: small files of both formats, data fork and sidecar in one
// input (see fuzz/QSOpenFuzz.cpp for the framing).
TEST(FF_QSPlugIn, FuzzSeedsAreSmallAndOpen)
{
    Test_TempDir dir;
    std::vector<std::pair<std::string, Bytes>> seeds;
    const std::string qsii = dir.Path() + "/s.qs2";
    MakeAudioFile(eAudioFileType_QSII, qsii, 2, 16, Pattern(64));
    {
        FF_AudioFileRef file = OpenFile(qsii, Cmn_Store::eOpenFlag_OpenForWrite);
        file->mDescription.Set("seed");
        file->mUmid.Set(Sys_Umid(1, 2, 3, 4));
        file->Flush();
        file->Close();
    }
    const Bytes sidecar = ReadBytes(dir.Path() + "/._s.qs2");
    const Bytes data = ReadBytes(qsii);
    Bytes framed{0, 0, 0, uint8_t(data.size())};
    framed.insert(framed.end(), data.begin(), data.end());
    framed.insert(framed.end(), sidecar.begin(), sidecar.end());
    EXPECT_LT(framed.size(), 4096u);
    seeds.push_back({"QSOpenFuzz/stereo16.qs2", framed});
    seeds.push_back({"QSOpenFuzz/mono16.qs1", [] {
                         Bytes f{0xFF, 0xFF, 0xFF, 0xFF};
                         const Bytes image = QSIImage(0x5153, 44100, 16, 64);
                         f.insert(f.end(), image.begin(), image.end());
                         return f;
                     }()});
    seeds.push_back({"AppleDoubleFuzz/qsii-sidecar", sidecar});
    WriteFuzzSeeds(seeds);
}
} // namespace
