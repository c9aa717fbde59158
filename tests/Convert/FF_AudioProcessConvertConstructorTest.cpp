// The order of stages that a conversion plan holds, for each case where formats differ, for
// the constructor from numbers and for the file constructor.
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "Convert/ConvertTestSupport.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertAudioFile.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertAudioFileConstructor.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertConstructor.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessRequantize.h"
#include "Sys_FileUtils.h"

namespace
{
// A stage that is only planned, never run.
class Test_PlannedStage : public FF_AudioProcess
{
public:
    explicit Test_PlannedStage(EProcessType iType) : mType(iType) {}
    EProcessType GetProcessType() const override { return mType; }

protected:
    void Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*) override {}

private:
    EProcessType mType;
};

// The plan from numbers, with a stand-in producer and consumer.
class Test_Constructor : public FF_AudioProcessConvertConstructor
{
public:
    struct Format
    {
        EByteOrder mOrder;
        int16_t mSrcBits, mDstBits;
        int32_t mSrcRate, mDstRate;
        int16_t mSrcChannels, mDstChannels;
        double mGain;
        bool mSqueeze, mDither, mNativeBeforeConsumer;
    };
    explicit Test_Constructor(const Format& iF)
        : FF_AudioProcessConvertConstructor(iF.mOrder, iF.mDstBits, eAudioFileType_WAVE,
                                            iF.mSrcRate, iF.mDstRate, eSRCQuality_High, iF.mGain,
                                            iF.mSqueeze, iF.mDither),
          mNative(iF.mNativeBeforeConsumer)
    {
        SetSrcBitDepth(iF.mSrcBits);
        SetNumChannels(iF.mSrcChannels, iF.mDstChannels);
    }
    FF_AudioProcess::ProcessHandle GetProducer() override
    {
        return FF_AudioProcess::ProcessHandle(
            new Test_PlannedStage(FF_AudioProcess::eProcessType_Producer));
    }
    FF_AudioProcess::ProcessHandle GetConsumer() override
    {
        return FF_AudioProcess::ProcessHandle(
            new Test_PlannedStage(FF_AudioProcess::eProcessType_Consumer));
    }
    bool PreConsumerProcessRequiresNativeByteOrder() const override { return mNative; }
    FF_AudioProcessChain* Plan()
    {
        mProcess = CreateBatchProcess();
        return dynamic_cast<FF_AudioProcessChain*>(mProcess.Get());
    }

private:
    bool mNative;
    FF_BatchProcess::BatchProcessHandle mProcess;
};

const char* const P = "(anonymous namespace)::Test_PlannedStage";
const char* const Swap = "FF_AudioProcessByteSwapper";
const char* const Mix = "FF_AudioProcessMixer";
const char* const Req = "FF_AudioProcessRequantize";
const char* const Gain = "FF_AudioProcessGain";
const char* const Sqz = "FF_AudioProcessMultimediaSqueezer";
const char* const SRC = "FF_AudioProcessSRC";
const char* const Split = "FF_AudioProcessSplitter";

struct StageCase
{
    const char* mName;
    Test_Constructor::Format mFormat;
    std::vector<std::string> mStages; // between producer and consumer
    bool mChanged;
};

const EByteOrder BE = eByteOrder_Big, LE = eByteOrder_Native;

// clang-format off
const StageCase cStageCases[] = {
    // Name: byte order, bits, rates and channels from and to; gain, squeeze, dither, native
    // order wanted before the consumer. Then the stages and whether the audio changes.
    {"SameFormatNoStages", {LE, 16, 16, 48000, 48000, 1, 1, 0.0, false, false, false}, {}, false},
    {"SameFormatBigEndianCopyNeedsNoSwap",
     {BE, 24, 24, 48000, 48000, 1, 1, 0.0, false, false, false}, {}, false},
    {"SameFormatBigEndianSwapsForNativeStages",
     {BE, 24, 24, 48000, 48000, 1, 1, 0.0, false, false, true}, {Swap}, false},
    {"Mono16at44100To24at48000",
     {LE, 16, 24, 44100, 48000, 1, 1, 0.0, false, false, false}, {Req, SRC}, true},
    {"Mono16at44100To24at48000BigEndian",
     {BE, 16, 24, 44100, 48000, 1, 1, 0.0, false, false, false}, {Swap, Req, SRC}, true},
    {"Stereo24at96000To16at44100",
     {LE, 24, 16, 96000, 44100, 2, 2, 0.0, false, true, false}, {SRC, Req}, true},
    {"EightBitBigEndianGetsNoSwap",
     {BE, 8, 16, 44100, 48000, 1, 1, 0.0, false, false, true}, {Req, SRC}, true},
    {"GainOfZeroAddsNoStage",
     {LE, 16, 16, 44100, 44100, 1, 1, 0.0, false, false, false}, {}, false},
    {"GainAloneDoesNotCountAsChange",
     {LE, 16, 16, 44100, 44100, 1, 1, -3.0, false, false, false}, {Gain}, false},
    {"StereoToMonoMixesFirst",
     {BE, 16, 24, 44100, 48000, 2, 1, 0.0, false, false, false}, {Swap, Mix, Req, SRC}, true},
    {"MonoToStereoSplitsLast",
     {LE, 24, 16, 48000, 44100, 1, 2, 0.0, false, false, false}, {SRC, Req, Split}, true},
    {"EveryStageInItsPlace",
     {BE, 16, 24, 44100, 48000, 2, 1, 2.0, true, true, true},
     {Swap, Mix, Req, Gain, Sqz, SRC}, true},
    {"SqueezeAloneSwapsAndChanges",
     {BE, 16, 16, 44100, 44100, 1, 1, 0.0, true, false, false}, {Swap, Sqz}, true},
};
// clang-format on

class ConvertConstructorStages : public testing::TestWithParam<StageCase>
{
};

TEST_P(ConvertConstructorStages, HoldsExactlyTheStagesTheDifferenceCallsForInOrder)
{
    const StageCase& c = GetParam();
    Cmn_AliasedRefCountPtr<Test_Constructor> constructor(new Test_Constructor(c.mFormat));
    FF_AudioProcessChain* chainP = constructor->Plan();
    ASSERT_TRUE(chainP);
    std::vector<std::string> expected = {P};
    expected.insert(expected.end(), c.mStages.begin(), c.mStages.end());
    expected.push_back(P);
    EXPECT_EQ(FF_AudioProcessConvertAudioFile::GetStageNames(*chainP), expected);
    EXPECT_EQ(constructor->IsAudioChanged(), c.mChanged);
    EXPECT_FALSE(chainP->GetDescription().empty());
}

INSTANTIATE_TEST_SUITE_P(Cases, ConvertConstructorStages, testing::ValuesIn(cStageCases),
                         [](const testing::TestParamInfo<StageCase>& i) { return i.param.mName; });

TEST(FF_AudioProcessConvertConstructor, LowersTheWordLengthAtTheDestinationRateWithDither)
{
    Cmn_AliasedRefCountPtr<Test_Constructor> constructor(
        new Test_Constructor({LE, 24, 16, 96000, 44100, 1, 1, 0.0, false, true, false}));
    FF_AudioProcessChain* chainP = constructor->Plan();
    ASSERT_TRUE(chainP);
    // The stage before the consumer lowers 24 to 16 bits with the shaper of the 48000 class
    // (44100 Hz), not of the source's 96000 class.
    FF_AudioProcess* stageP = chainP->GetProducer().Get();
    while (stageP->GetNextProcess() && stageP->GetNextProcess() != chainP->GetConsumer())
        stageP = stageP->GetNextProcess().Get();
    auto* lowerP = dynamic_cast<FF_AudioProcessRequantize*>(stageP);
    ASSERT_TRUE(lowerP);
    EXPECT_EQ(lowerP->GetSourceBitsPerSample(), 24);
    EXPECT_EQ(lowerP->GetDestBitsPerSample(), 16);
    EXPECT_TRUE(lowerP->GetDither());
    ASSERT_TRUE(lowerP->GetNoiseShaper());
    EXPECT_EQ(lowerP->GetNoiseShaper()->GetSampleRate(), 44100);
}

TEST(FF_AudioProcessConvertConstructor, RefusesA32BitStreamThatWouldNeedTheSwapper)
{
    Cmn_AliasedRefCountPtr<Test_Constructor> constructor(
        new Test_Constructor({BE, 32, 32, 44100, 48000, 1, 1, 0.0, false, false, false}));
    EXPECT_THROW(constructor->Plan(), std::runtime_error);
}

// ---- the file constructor --------------------------------------------------------------------

struct FileCase
{
    const char* mName;
    int32_t mSrcRate;
    int16_t mSrcBits, mChannels;
    int32_t mDstRate;
    int16_t mDstBits;
    std::vector<std::string> mStages;
    std::vector<std::string> mFiles;
};

const char* const Read = "FF_AudioProcessReadFiles";
const char* const Dec = "FF_AudioProcessDecimateWaveform";
const char* const Write = "FF_AudioProcessWriteFiles";

const FileCase cFileCases[] = {
    {"SameFormat", 48000, 16, 1, 48000, 16, {Read, Dec, Write}, {"Take.wav"}},
    {"Mono16at44kTo24at48k", 44100, 16, 1, 48000, 24, {Read, Req, SRC, Dec, Write}, {"Take.wav"}},
    // clang-format off
    {"Stereo24at96kTo16at44k", 96000, 24, 2, 44100, 16, {Read, SRC, Req, Dec, Write},
     {"Take.L.wav", "Take.R.wav"}},
    // clang-format on
    {"EightBit", 22050, 8, 1, 22050, 16, {Read, Req, Dec, Write}, {"Take.wav"}},
};

class ConvertAudioFileConstructorStages : public testing::TestWithParam<FileCase>
{
};

TEST_P(ConvertAudioFileConstructorStages, PlansTheChainAndMakesTheFiles)
{
    const FileCase& c = GetParam();
    Test_TempDir dir;
    const std::string source = dir.Path() + "/src/Take.wav";
    std::filesystem::create_directories(dir.Path() + "/src");
    std::filesystem::create_directories(dir.Path() + "/out");
    Test_MakeTone(source, c.mSrcRate, c.mSrcBits, c.mChannels, 3000);
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(source)));
    Cmn_AliasedRefCountPtr<FF_AudioProcessConvertAudioFileConstructor> constructor(
        new FF_AudioProcessConvertAudioFileConstructor(file, c.mDstBits, eAudioFileType_WAVE,
                                                       c.mDstRate, eSRCQuality_Medium, 0.0, false,
                                                       true));
    constructor->SetDstFolderLoc(Sys_FileLoc(dir.Path() + "/out"));
    EXPECT_EQ(constructor->GetUnitsToProcess(),
              FF_AudioFileUtils::CalcSamples(3000, c.mDstRate, c.mSrcRate));
    Sys_FileUtils::StDeleteFiles deleter;
    constructor->SetFileDeleter(&deleter);
    FF_BatchProcess::BatchProcessHandle process = constructor->CreateBatchProcess();
    auto* chainP = dynamic_cast<FF_AudioProcessConvertAudioFile*>(process.Get());
    ASSERT_TRUE(chainP);
    EXPECT_EQ(chainP->GetStageNames(), c.mStages);
    // Until the chain has written them, the files stand under their temporary names.
    std::set<std::string> temporary;
    for (const std::string& name : c.mFiles)
        temporary.insert(".mirafile-tmp-" + std::to_string(::getpid()) + "-" + name);
    EXPECT_EQ(Test_FolderNames(dir.Path() + "/out"), temporary);
    EXPECT_EQ(deleter.GetFiles().size(), c.mFiles.size());
    // A plan that is never run leaves nothing once its deleter goes.
    process = FF_BatchProcess::BatchProcessHandle();
    deleter.Delete();
    EXPECT_TRUE(Test_FolderNames(dir.Path() + "/out").empty());
}

INSTANTIATE_TEST_SUITE_P(Cases, ConvertAudioFileConstructorStages, testing::ValuesIn(cFileCases),
                         [](const testing::TestParamInfo<FileCase>& i) { return i.param.mName; });
} // namespace
