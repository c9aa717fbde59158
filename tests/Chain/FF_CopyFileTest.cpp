#include <gtest/gtest.h>

#include "ChainTestStages.h"
#include "FF/FF_CopyFile.h"
#include "FF/FF_CopyFolder.h"
#include "Support/ByteSupport.h"
#include "Support/TestSupport.h"
#include "Sys_FileUtils.h"
#include "Sys_Volume.h"

namespace
{
// A text of iBytes reproducible bytes.
std::string Text(size_t iBytes)
{
    const Bytes bytes = Pattern(iBytes);
    return std::string(bytes.begin(), bytes.end());
}

// Creates the process and runs it by hand to its end; returns its status.
Sys_Task::EStatus RunByHand(FF_BatchProcessConstructor& iConstructor,
                            FF_BatchProcess::BatchProcessHandle& oProcess,
                            int32_t* oSlices = nullptr)
{
    oProcess = iConstructor.CreateBatchProcess();
    Sys_ProcessBlockerImpl blocker;
    FF_AudioProcessUtils::SetupManualProcessChain(oProcess.Get(), &blocker);
    int32_t slices = 0;
    while (!FF_AudioProcessUtils::RunProcessChainForSlice(oProcess.Get(), 5) && slices < 10000)
        ++slices;
    if (oSlices)
        *oSlices = slices;
    return oProcess->GetStatus();
}
} // namespace

struct CopyCase
{
    const char* mName;
    size_t mBytes;
    int64_t mOffset, mLength;
};

class FF_CopyFileRange : public testing::TestWithParam<CopyCase>
{
};

TEST_P(FF_CopyFileRange, CopiesTheRangeInStepsAndListsTheCopyForCleanUp)
{
    const CopyCase& c = GetParam();
    Test_TempDir dir;
    const std::string data = Text(c.mBytes);
    WriteBytes(dir.Path() + "/src.bin", data);
    Sys_FileUtils::StDeleteFiles deleter;
    FF_CopyFileConstructor constructor(Sys_FileLoc(dir.Path() + "/src.bin"), c.mOffset, c.mLength);
    constructor.SetDstFolderLoc(Sys_FileLoc(dir.Path() + "/out/deeper"));
    constructor.SetStepSize(4096);
    constructor.SetFileDeleter(&deleter);
    const std::string expected =
        data.substr(size_t(c.mOffset), c.mLength < 0 ? std::string::npos : size_t(c.mLength));
    EXPECT_EQ(constructor.GetUnitsToProcess(), int64_t(expected.size()));
    FF_BatchProcess::BatchProcessHandle process;
    EXPECT_EQ(RunByHand(constructor, process), Sys_Task::eStatus_Complete);
    const std::string copyPath = dir.Path() + "/out/deeper/src.bin";
    EXPECT_EQ(ReadBytes<std::string>(copyPath), expected);
    EXPECT_EQ(process->GetPercentCompleted(), 100);
    ASSERT_EQ(deleter.GetFiles().size(), 1u);
    EXPECT_EQ(deleter.GetFiles().front().GetFullPath(), copyPath);
    deleter.Release();
}

INSTANTIATE_TEST_SUITE_P(
    Ranges, FF_CopyFileRange,
    testing::Values(CopyCase{"Empty", 0, 0, -1}, CopyCase{"Whole", 100000, 0, -1},
                    CopyCase{"OneStep", 4096, 0, -1}, CopyCase{"Middle", 100000, 777, 50000},
                    CopyCase{"Tail", 100000, 90000, -1}),
    [](const testing::TestParamInfo<CopyCase>& i) { return std::string(i.param.mName); });

TEST(FF_CopyFileProcess, EmptyFileEndsInTheFirstStep)
{
    Test_TempDir dir;
    WriteBytes(dir.Path() + "/empty", "");
    FF_CopyFileProcess process(Sys_FileLoc(dir.Path() + "/empty"),
                               Sys_FileLoc(dir.Path() + "/copy"), 0, -1, nullptr);
    EXPECT_EQ(process.Exec(), Sys_Task::eStatus_Complete);
    EXPECT_TRUE(Sys_FileUtils::Exists(Sys_FileLoc(dir.Path() + "/copy")));
}

TEST(FF_CopyFileProcess, TakenNameGetsANewOneAndTheOldFileStays)
{
    Test_TempDir dir;
    WriteBytes(dir.Path() + "/Take.wav", "new data");
    Sys_FileUtils::CreateFolder(Sys_FileLoc(dir.Path() + "/dst"));
    WriteBytes(dir.Path() + "/dst/Take.wav", "old");
    FF_CopyFileConstructor constructor(Sys_FileLoc(dir.Path() + "/Take.wav"));
    constructor.SetDstFolderLoc(Sys_FileLoc(dir.Path() + "/dst"));
    FF_BatchProcess::BatchProcessHandle process;
    EXPECT_EQ(RunByHand(constructor, process), Sys_Task::eStatus_Complete);
    EXPECT_EQ(ReadBytes<std::string>(dir.Path() + "/dst/Take.wav"), "old");
    EXPECT_EQ(ReadBytes<std::string>(dir.Path() + "/dst/Take.1.wav"), "new data");
    EXPECT_EQ(static_cast<FF_CopyFileProcess*>(process.Get())->GetDestination().GetName(),
              "Take.1.wav");
}

TEST(FF_CopyFileProcess, AbortLeavesNoFileBehind)
{
    Test_TempDir dir;
    WriteBytes(dir.Path() + "/big.bin", Text(1 << 20));
    const std::string copyPath = dir.Path() + "/copy.bin";
    {
        Sys_FileUtils::StDeleteFiles deleter;
        FF_BatchProcess::BatchProcessHandle process(new FF_CopyFileProcess(
            Sys_FileLoc(dir.Path() + "/big.bin"), Sys_FileLoc(copyPath), 0, -1, &deleter, 4096));
        Sys_ProcessBlockerImpl blocker;
        FF_AudioProcessUtils::SetupManualProcessChain(process.Get(), &blocker);
        for (int i = 0; i < 3; ++i)
        {
            ASSERT_EQ(process->Exec(), Sys_Task::eStatus_RequeueRequested);
            process->Reset();
        }
        EXPECT_TRUE(Sys_FileUtils::Exists(Sys_FileLoc(copyPath)));
        FF_AudioProcessUtils::AbortManualProcessChain(process.Get());
        EXPECT_EQ(process->GetStatus(), Sys_Task::eStatus_Aborted);
        EXPECT_FALSE(Sys_FileUtils::Exists(Sys_FileLoc(copyPath)));
    }
    EXPECT_FALSE(Sys_FileUtils::Exists(Sys_FileLoc(copyPath)));

    // Aborted before its first step: no file is made at all.
    FF_CopyFileProcess early(Sys_FileLoc(dir.Path() + "/big.bin"), Sys_FileLoc(copyPath), 0, -1,
                             nullptr);
    early.Abort();
    EXPECT_EQ(early.Exec(), Sys_Task::eStatus_Aborted);
    EXPECT_FALSE(Sys_FileUtils::Exists(Sys_FileLoc(copyPath)));
}

TEST(FF_CopyFileConstructor, SpaceIsRequiredOnlyOnTheDestinationVolume)
{
    Test_TempDir dir;
    WriteBytes(dir.Path() + "/a", Text(5000));
    FF_CopyFileConstructor constructor(Sys_FileLoc(dir.Path() + "/a"));
    constructor.SetDstFolderLoc(Sys_FileLoc(dir.Path()));
    const Sys_Volume here = Sys_FileLoc(dir.Path()).GetVolume();
    int64_t bytes = -1;
    EXPECT_TRUE(constructor.GetSpaceRequiredOnVolume(here, bytes));
    EXPECT_GE(bytes, 5000);
    for (const Sys_Volume& other : Sys_Volume::GetMountedVolumes())
        if (other != here)
        {
            bytes = -1;
            EXPECT_FALSE(constructor.GetSpaceRequiredOnVolume(other, bytes));
            EXPECT_EQ(bytes, 0);
            return;
        }
    GTEST_SKIP() << "only one volume is mounted";
}

TEST(FF_CopyFolderProcess, CopiesTheTreeUnderANewNameWhenTakenAndListsIt)
{
    Test_TempDir dir;
    Sys_FileUtils::CreateFolder(Sys_FileLoc(dir.Path() + "/Session/Audio"));
    WriteBytes(dir.Path() + "/Session/Audio/kick.wav", Text(3000));
    WriteBytes(dir.Path() + "/Session/notes.txt", "notes");
    Sys_FileUtils::CreateFolder(Sys_FileLoc(dir.Path() + "/backup/Session"));
    FF_CopyFolderProcess::RenamingMap renamed;
    Sys_FileUtils::StDeleteFiles deleter;
    FF_CopyFolderConstructor constructor(Sys_FileLoc(dir.Path() + "/Session"));
    constructor.SetDstFolderLoc(Sys_FileLoc(dir.Path() + "/backup"));
    constructor.SetFileDeleter(&deleter);
    constructor.SetRenamingMap(&renamed);
    EXPECT_EQ(constructor.GetUnitsToProcess(), 3005);
    FF_BatchProcess::BatchProcessHandle process;
    EXPECT_EQ(RunByHand(constructor, process), Sys_Task::eStatus_Complete);
    const std::string copy = dir.Path() + "/backup/Session.1";
    EXPECT_EQ(ReadBytes<std::string>(copy + "/Audio/kick.wav"), Text(3000));
    EXPECT_EQ(ReadBytes<std::string>(copy + "/notes.txt"), "notes");
    EXPECT_EQ(renamed.size(), 2u);
    ASSERT_EQ(deleter.GetFiles().size(), 1u);
    EXPECT_EQ(deleter.GetFiles().front().GetFullPath(), copy);
    deleter.Delete(); // as a cancel would
    EXPECT_FALSE(Sys_FileUtils::Exists(Sys_FileLoc(copy)));
    EXPECT_TRUE(Sys_FileUtils::Exists(Sys_FileLoc(dir.Path() + "/backup/Session")));
}
