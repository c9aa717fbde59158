// Outputs appear whole or not at all: the reservation of a final name while its temporary
// file is written, the clean-up of temporary files that a killed run left, a failed write
// that leaves nothing, and the tool killed with SIGKILL at random moments of long jobs.
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "Convert/ConvertTestSupport.h"
#include "Posix/Sys_FilePosix.h"
#include "Support/InteropSupport.h"
#include "Support/SysTestSupport.h"
#include "Support/ToolRunner.h"
#include "Sys_AtomicOutput.h"
#include "Sys_FileUtils.h"

namespace
{
// The temporary files in a folder.
std::set<std::string> TempNames(const std::string& iFolder)
{
    std::set<std::string> names;
    for (const std::string& name : Test_FolderNames(iFolder))
        if (name.rfind(Sys_AtomicOutput::cTempPrefix, 0) == 0)
            names.insert(name);
    return names;
}

// A process id that is surely gone: a child that has exited and been reaped.
int32_t DeadPid()
{
    const pid_t pid = ::fork();
    if (pid == 0)
        ::_exit(0);
    ::waitpid(pid, nullptr, 0);
    return int32_t(pid);
}

void Touch(const std::string& iPath)
{
    std::ofstream(iPath) << "x";
}

TEST(AtomicOutput, ReservesTheFinalNameUntilCommitAndPublishesTheWholeFile)
{
    Test_TempDir dir;
    const Sys_FileLoc final(dir.Path() + "/take.wav");
    {
        Sys_StAtomicOutput output(final);
        const std::string temp = output.GetTempLoc().GetFullPath();
        EXPECT_EQ(output.GetTempLoc().GetName(),
                  ".mirafile-tmp-" + std::to_string(::getpid()) + "-take.wav");
        // Reserved: taken for new names, a second reservation fails, opens go to the temp.
        EXPECT_TRUE(Sys_AtomicOutput::IsReserved(final));
        EXPECT_EQ(Sys_FileUtils::HandleDuplicateName(final).GetName(), "take.1.wav");
        EXPECT_EQ(ThrownError([&] { Sys_AtomicOutput::Begin(final); }).first, EEXIST);
        Sys_File file(final);
        file.Open(Sys_File::eOpen_ForWrite | Sys_File::eOpen_Existing);
        file.Write("abc", 3);
        file.Close();
        EXPECT_EQ(Test_FolderNames(dir.Path()),
                  std::set<std::string>{output.GetTempLoc().GetName()});
        EXPECT_EQ(Sys_FileUtils::GetFileDataForkSize(final), 3);
        output.Commit();
        EXPECT_FALSE(Exists(temp));
    }
    EXPECT_EQ(Test_FolderNames(dir.Path()), std::set<std::string>{"take.wav"});
    EXPECT_EQ(ReadBytes(final.GetFullPath()).size(), 3u);
    EXPECT_FALSE(Sys_AtomicOutput::IsReserved(final));

    // Unwinding without Commit, or DeleteFile of the final name, leaves nothing.
    const Sys_FileLoc other(dir.Path() + "/other.wav");
    {
        Sys_StAtomicOutput output(other);
    }
    Sys_AtomicOutput::Begin(other);
    EXPECT_TRUE(Sys_FileUtils::DeleteFile(other));
    EXPECT_EQ(Test_FolderNames(dir.Path()), std::set<std::string>{"take.wav"});
    // Commit replaces nothing unless told so: the taken name fails and the temp goes.
    Sys_AtomicOutput::Begin(other);
    Touch(other.GetFullPath());
    EXPECT_EQ(ThrownError([&] { Sys_AtomicOutput::Commit(other); }).first, EEXIST);
    EXPECT_EQ(Test_FolderNames(dir.Path()), (std::set<std::string>{"other.wav", "take.wav"}));
    EXPECT_EQ(ThrownError([&] { Sys_AtomicOutput::Begin(other); }).first, EEXIST);
    Sys_StAtomicOutput replacing(other, true);
    replacing.Commit();
    EXPECT_EQ(ReadBytes(other.GetFullPath()).size(), 0u);

    // The longest names still have a temporary name: its start, cut to fit.
    const Sys_FileLoc longest(dir.Path() + "/" + std::string(251, 'n') + ".wav");
    Sys_StAtomicOutput output(longest);
    EXPECT_EQ(output.GetTempLoc().GetName().size(), 255u);
    EXPECT_TRUE(Sys_AtomicOutput::IsReserved(longest));
    output.Commit();
    EXPECT_TRUE(Exists(longest.GetFullPath()));
}

TEST(AtomicOutput, ANameReservedByAnotherLiveRunIsTakenAndOnlyStaleTempFilesGo)
{
    Test_TempDir dir;
    const std::string& d = dir.Path();
    // Process 1 lives as long as the machine: its reservation holds (and wins, being lower).
    const std::string live = ".mirafile-tmp-1-take.wav";
    const std::string stale = ".mirafile-tmp-" + std::to_string(DeadPid()) + "-take.wav";
    const std::set<std::string> others = {".mirafile-tmp-x-a.wav", ".mirafile-tmp-7-", "keep.wav",
                                          ".mirafile-tmp-take.wav", "mirafile-tmp-9-b.wav"};
    for (const std::string& name : others)
        Touch(d + "/" + name);
    Touch(d + "/" + live);
    Touch(d + "/" + stale);
    // Sidecars of temporary files live and go with them.
    Touch(d + "/._" + live);
    Touch(d + "/._" + stale);
    // A folder of that pattern is not ours to remove.
    const std::string folder = ".mirafile-tmp-" + std::to_string(DeadPid()) + "-dir";
    std::filesystem::create_directory(d + "/" + folder);

    const Sys_FileLoc take(d + "/take.wav");
    EXPECT_TRUE(Sys_AtomicOutput::IsReserved(take));
    EXPECT_EQ(Sys_FileUtils::HandleDuplicateName(take).GetName(), "take.1.wav");
    EXPECT_EQ(ThrownError([&] { Sys_AtomicOutput::Begin(take); }).first, EEXIST);

    // The next output in the folder removes the stale file, and nothing else.
    Sys_StAtomicOutput output(Sys_FileLoc(d + "/new.wav"));
    std::set<std::string> expected = others;
    expected.insert({live, "._" + live, folder, output.GetTempLoc().GetName()});
    EXPECT_EQ(Test_FolderNames(d), expected);
    EXPECT_EQ(Sys_AtomicOutput::RemoveStaleTempFiles(Sys_FileLoc(d)), 0);
}

// A new output with a sidecar: the sidecar goes over an orphan one of the free name, and
// when the name is taken before Commit, neither the taker's file nor its sidecar is touched.
TEST(AtomicOutput, ASidecarFollowsItsFileAndNeverReplacesAnotherFilesSidecar)
{
    Test_TempDir dir;
    const std::string& d = dir.Path();
    const auto begin = [&](const std::string& iName)
    {
        const Sys_FileLoc temp = Sys_AtomicOutput::Begin(Sys_FileLoc(d + "/" + iName));
        WriteBytes(temp.GetFullPath(), std::string_view("fork"));
        WriteBytes(d + "/._" + temp.GetName(), std::string_view("ours"));
    };
    WriteBytes(d + "/._take.qs2", std::string_view("orphan"));
    begin("take.qs2");
    Sys_AtomicOutput::Commit(Sys_FileLoc(d + "/take.qs2"));
    EXPECT_EQ(ReadBytes<std::string>(d + "/._take.qs2"), "ours");
    EXPECT_EQ(ReadBytes<std::string>(d + "/take.qs2"), "fork");

    begin("late.qs2");
    WriteBytes(d + "/late.qs2", std::string_view("theirs"));
    WriteBytes(d + "/._late.qs2", std::string_view("their sidecar"));
    EXPECT_EQ(ThrownError([&] { Sys_AtomicOutput::Commit(Sys_FileLoc(d + "/late.qs2")); }).first,
              EEXIST);
    EXPECT_EQ(ReadBytes<std::string>(d + "/late.qs2"), "theirs");
    EXPECT_EQ(ReadBytes<std::string>(d + "/._late.qs2"), "their sidecar");
    EXPECT_EQ(Test_FolderNames(d),
              (std::set<std::string>{"take.qs2", "._take.qs2", "late.qs2", "._late.qs2"}));
}

// CompactAudioFile with the Nth write failing, for every N until one gets through: each
// failure leaves the folder as it was, without the output or a temporary file.
TEST(AtomicOutput, AFailedWriteLeavesNeitherTheOutputNorATemporaryFile)
{
    Test_TempDir dir;
    const std::string source = dir.Path() + "/tone.wav";
    Test_MakeTone(source, 44100, 16, 2, 200000);
    FF_AudioFile file{Sys_FileLoc(source)};
    const Sys_FileLoc out(dir.Path() + "/part.wav");
    int32_t failures = 0;
    for (int32_t n = 1; n < 100; ++n)
    {
        Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Write, n, ENOSPC);
        bool failed = false;
        try
        {
            FF_AudioFileUtils::CompactAudioFile(file, out, {Cmn_Interval(0, 150000)});
        }
        catch (const std::exception&)
        {
            failed = true;
            ++failures;
        }
        Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Write, 0, 0);
        if (!failed)
            break;
        EXPECT_EQ(Test_FolderNames(dir.Path()), std::set<std::string>{"tone.wav"}) << "fault " << n;
    }
    EXPECT_GE(failures, 3);
    EXPECT_EQ(Test_FolderNames(dir.Path()), (std::set<std::string>{"part.wav", "tone.wav"}));
    EXPECT_EQ(Test_Properties(out.GetFullPath()).mNumSamples, 150000);
}

// The tool killed with SIGKILL at random moments of long jobs. After each kill: under each
// final name either nothing or a whole file (our reader and sox agree on its length), and
// the source untouched. A run to the end afterwards leaves no temporary file in the folder.
class AtomicOutputKill : public testing::Test
{
protected:
    struct Job
    {
        const char* mName;
        std::vector<std::string> mArgs;
        std::vector<std::string> mOutputs; // in mOut
        int64_t mSamples;
        int32_t mKills;
    };

    void SetUp() override
    {
        if (!Test_ToolPath())
            GTEST_SKIP() << "MIRAFILE_TOOL is not set";
        mOut = mDir.Path() + "/out";
        std::filesystem::create_directories(mOut);
        mSource = mDir.Path() + "/long.wav";
        Test_MakeTone(mSource, 44100, 16, 2, cSamples);
        mBefore = ReadBytes(mSource);
        mHaveSox = Test_HaveSox();
    }

    pid_t Spawn(const Job& iJob)
    {
        std::vector<char*> argv{const_cast<char*>(Test_ToolPath())};
        for (const std::string& arg : iJob.mArgs)
            argv.push_back(const_cast<char*>(arg.c_str()));
        argv.push_back(nullptr);
        const pid_t pid = ::fork();
        if (pid == 0)
        {
            ::freopen("/dev/null", "w", stdout);
            ::freopen("/dev/null", "w", stderr);
            ::execv(Test_ToolPath(), argv.data());
            ::_exit(127);
        }
        return pid;
    }

    static int32_t Wait(pid_t iPid)
    {
        int status = 0;
        ::waitpid(iPid, &status, 0);
        return status;
    }

    // Each output is missing or whole: the samples of the first complete run (a file laid
    // out in advance and killed half-way would read as zeros at its end). Returns how many
    // are whole, and deletes them.
    int32_t CheckOutputs(const Job& iJob)
    {
        int32_t whole = 0;
        for (const std::string& name : iJob.mOutputs)
        {
            const std::string path = mOut + "/" + name;
            if (!Exists(path))
                continue;
            ++whole;
            EXPECT_EQ(Test_Properties(path).mNumSamples, iJob.mSamples) << name;
            auto samples = Test_ReadChannels(path);
            if (!mReference.count(name))
                mReference[name] = std::move(samples);
            else
                EXPECT_TRUE(samples == mReference[name]) << name;
            if (mHaveSox)
            {
                EXPECT_EQ(Test_RunQuiet("sox --i '" + path + "'"), 0) << name;
            }
            std::filesystem::remove(path);
        }
        EXPECT_EQ(ReadBytes(mSource), mBefore);
        return whole;
    }

    static constexpr int64_t cSamples = 44100 * 30;
    Test_TempDir mDir;
    std::string mOut;
    std::string mSource;
    Bytes mBefore;
    bool mHaveSox = false;
    std::map<std::string, std::vector<std::vector<int32_t>>> mReference;
};

TEST_F(AtomicOutputKill, AKilledJobLeavesNoOutputOrTheWholeOneAndTheNextRunCleansUp)
{
    const int64_t rate48 = cSamples * 48000 / 44100;
    // clang-format off
    const std::vector<Job> jobs = {
        {"convert", {"convert", mSource, "-o", mOut + "/conv.wav", "--rate", "48000"},
         {"conv.wav"}, rate48, 6},
        {"split", {"convert", mSource, "--to", mOut, "--split", "--bits", "24"},
         {"long.L.wav", "long.R.wav"}, cSamples, 4},
        {"consolidate", {"consolidate", mSource, "--range", "0:600000", "--range", "700000:1300000",
                         "-o", mOut + "/cons.wav"},
         {"cons.wav"}, 1200000, 5},
        {"copy", {"copy", mSource, mOut + "/"}, {"long.wav"}, cSamples, 5},
    };
    // clang-format on
    const uint32_t seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    int32_t leftTemp = 0;
    for (const Job& job : jobs)
    {
        SCOPED_TRACE(job.mName);
        // A run to the end: how long the job takes, and that it makes its outputs.
        const auto start = std::chrono::steady_clock::now();
        const int32_t status = Wait(Spawn(job));
        const auto took = std::chrono::duration_cast<std::chrono::microseconds>(
                              std::chrono::steady_clock::now() - start)
                              .count();
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        ASSERT_EQ(CheckOutputs(job), int32_t(job.mOutputs.size()));
        std::uniform_int_distribution<int64_t> moment(0, took * 6 / 5);
        for (int32_t k = 0; k < job.mKills; ++k)
        {
            const int64_t at = moment(random);
            SCOPED_TRACE("killed after " + std::to_string(at) + " us of " + std::to_string(took));
            const pid_t pid = Spawn(job);
            ::usleep(useconds_t(at));
            ::kill(pid, SIGKILL);
            Wait(pid);
            CheckOutputs(job);
            leftTemp += int32_t(!TempNames(mOut).empty());
        }
        ASSERT_TRUE(WIFEXITED(Wait(Spawn(job))));
        EXPECT_EQ(CheckOutputs(job), int32_t(job.mOutputs.size()));
        EXPECT_TRUE(TempNames(mOut).empty()) << *TempNames(mOut).begin();
        EXPECT_TRUE(Test_FolderNames(mOut).empty());
    }
    std::cout << leftTemp << " of 20 kills left a temporary file\n";
}
} // namespace
