// The cooperative slice of long interchange loops, on a clock the test moves, and the empty
// forms that the interchange file base supplies.
#include <gtest/gtest.h>

#include "Iop/Iop_File.h"
#include "Iop/Iop_Utils.h"

namespace
{
int64_t sNow = 0;
int sIdleCalls = 0;

TEST(Iop_UtilsTest, SliceExpiresAfterMoreThanItsLengthAndRestarts)
{
    Iop_Utils_SetClock([] { return sNow; });
    sNow = 1000;
    sIdleCalls = 0;
    Iop_Utils_Init(30, [] { ++sIdleCalls; });
    const std::pair<int64_t, bool> steps[] = {
        {1010, false}, {1030, false}, {1031, true}, {1040, false}, {1061, false}, {1062, true}};
    for (const auto& [now, expired] : steps)
    {
        sNow = now;
        EXPECT_EQ(Iop_Utils_SliceExpired(), expired) << now;
    }
    EXPECT_EQ(sIdleCalls, 2);
    Iop_Utils_SetClock(nullptr);
}

// Only what every file kind must have; the rest comes from the base.
class MinimalFile : public Iop_File
{
public:
    EFileType GetFileType() override { return eFileType_Unknown; }
    ETimeCodeFormat GetTimeCodeFormat() override { return eTimeCodeFormat_25; }
    void SetTimeCodeFormat(ETimeCodeFormat) override {}
    EEditRate GetEditRate() override { return eEditRate_25; }
    void SetEditRate(EEditRate) override {}
    int64_t GetStartFrame(omfRational_t*, omfUID_t*) override { return 0; }
    void SetStartFrame(int64_t) override {}
    int32_t GetAudioSampleRate() override { return 0; }
    void SetAudioSampleRate(int32_t) override {}
    void GetAudioSampleRateList(std::set<int32_t>*) override {}
    int16_t GetAudioBitDepth() override { return 0; }
    void SetAudioBitDepth(int16_t) override {}
    void GetAudioBitDepthList(std::set<int16_t>*) override {}
    void GetAudioMediaTypes(std::set<EAudioMediaType>*) override {}
    bool ContainsEmbeddedVideoMedia() override { return false; }
    bool ContainsEmbeddedAudioMedia() override { return false; }
    std::string GetDescription() override { return {}; }
    Sys_FileLoc GetFileLoc() override { return {}; }
    void GetTrackDescriptions(std::vector<TrackDescription>*) override {}
    void ReadSequences(std::vector<Iop_Sequence>*) override {}
    void WriteSequences(std::vector<Iop_Sequence>&) override {}
    ELocateResult LocateAudioFile(const Sys_Umid&, Cmn_AliasedRefCountPtr<FF_AudioFile>*) override
    {
        return eLocateResult_NotFound;
    }
    ELocateResult LocateVideoFile(const Sys_Umid&, Sys_FileLoc*) override { return eLocateResult_NotFound; }
    void GetBlessedAudioFileFolders(std::list<Sys_FileLoc>*) override {}
    void GetBlessedVideoFileFolders(std::list<Sys_FileLoc>*) override {}
    void CreateAudioFileReference(const Sys_Umid&, const Sys_FileLoc&) override {}
    void CreateVideoFileReference(const Sys_Umid&, const Sys_FileLoc&) override {}
    bool GetMediaLocation(const Sys_Umid&, const Sys_Umid&, Sys_FileLoc*, int64_t*, int64_t*,
                          std::string*) override
    {
        return false;
    }
};

TEST(Iop_FileTest, BaseAnswersNothingForTheOptionalOperations)
{
    Cmn_AliasedRefCountPtr<Iop_File> file(new MinimalFile);
    EXPECT_EQ(file->GetPrimaryMobName(), "");
    EXPECT_EQ(file->GetPrimaryMobType(), Iop_File::eMobType_Unknown);
    EXPECT_EQ(file->GetPrimaryMobAppCode(), Iop_File::eAppCode_None);
    EXPECT_EQ(file->GetPrimaryMobID(), omfUID_t());
    Sys_FileLoc loc;
    int64_t offset = -1, length = -1;
    EXPECT_FALSE(file->GetSourceFileLoc(Sys_Umid(1, 2, 3, 4), &loc, &offset, &length));
    EAudioFileType type = eAudioFileType_Unknown;
    signed char embedded = 0;
    EXPECT_FALSE(file->GetAudioFileInfo(Sys_Umid(1, 2, 3, 4), &type, &embedded));
    // A recording bracket calls its recorder's begin and end exactly once each.
    struct Counting : Iop_MobInfoRecorderStub
    {
        int mBegins = 0, mEnds = 0;
        void BeginRecordingMobs() override { ++mBegins; }
        void EndRecordingMobs() override { ++mEnds; }
    } recorder;
    {
        Iop_StRecordMobInfo guard(&recorder);
        file->AddMobInfoRecorder(&recorder);
        EXPECT_EQ(recorder.CreateMobInfo(), recorder.CreateMobInfo());
        EXPECT_EQ(recorder.GetMobInfo(omfUID_t()), nullptr);
    }
    EXPECT_EQ(recorder.mBegins, 1);
    EXPECT_EQ(recorder.mEnds, 1);
}
} // namespace
