// mirafile copy, run as the built binary.
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "Support/TestSupport.h"
#include "Support/ToolRunner.h"

extern char** environ;

namespace
{
namespace fs = std::filesystem;

void WriteFile(const std::string& iPath, size_t iBytes)
{
    std::ofstream out(iPath, std::ios::binary);
    std::string chunk(1 << 20, '\0');
    for (size_t i = 0; i < chunk.size(); ++i)
        chunk[i] = char(1 + (i * 13) % 250); // no zero runs: nothing sparse
    for (size_t done = 0; done < iBytes; done += chunk.size())
        out.write(chunk.data(), std::streamsize(std::min(chunk.size(), iBytes - done)));
}

std::string Slurp(const std::string& iPath)
{
    std::ifstream in(iPath, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string Quote(const std::string& iPath)
{
    return "'" + iPath + "'";
}
} // namespace

class Cmd_Copy : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!Test_ToolPath())
            GTEST_SKIP() << "MIRAFILE_TOOL is not set";
    }
    Test_TempDir mDir;
};

TEST_F(Cmd_Copy, CopiesIntoAFolderAndFindsANewNameWhenTaken)
{
    WriteFile(mDir.Path() + "/Take.wav", 100000);
    fs::create_directory(mDir.Path() + "/dst");
    const std::string args =
        "copy " + Quote(mDir.Path() + "/Take.wav") + " " + Quote(mDir.Path() + "/dst");
    Test_ToolResult first = Test_RunTool(args, mDir.Path());
    EXPECT_EQ(first.mStatus, 0) << first.mErr;
    EXPECT_NE(first.mOut.find("-> " + mDir.Path() + "/dst/Take.wav"), std::string::npos);
    EXPECT_TRUE(first.mErr.empty()) << "no progress bar in a pipe: " << first.mErr;
    Test_ToolResult second = Test_RunTool(args + " --json", mDir.Path());
    EXPECT_EQ(second.mStatus, 0) << second.mErr;
    EXPECT_NE(second.mOut.find("\"destination\": \"" + mDir.Path() + "/dst/Take.1.wav\""),
              std::string::npos)
        << second.mOut;
    EXPECT_EQ(Slurp(mDir.Path() + "/dst/Take.1.wav"), Slurp(mDir.Path() + "/Take.wav"));

    // One source and a new name.
    Test_ToolResult renamed = Test_RunTool("copy " + Quote(mDir.Path() + "/Take.wav") + " " +
                                               Quote(mDir.Path() + "/Other.wav"),
                                           mDir.Path());
    EXPECT_EQ(renamed.mStatus, 0) << renamed.mErr;
    EXPECT_EQ(Slurp(mDir.Path() + "/Other.wav"), Slurp(mDir.Path() + "/Take.wav"));
}

TEST_F(Cmd_Copy, CopiesFoldersAndSeveralSources)
{
    fs::create_directories(mDir.Path() + "/Session/Audio");
    WriteFile(mDir.Path() + "/Session/Audio/a.wav", 5000);
    WriteFile(mDir.Path() + "/b.wav", 7000);
    fs::create_directory(mDir.Path() + "/dst");
    Test_ToolResult result =
        Test_RunTool("copy " + Quote(mDir.Path() + "/Session") + " " +
                         Quote(mDir.Path() + "/b.wav") + " " + Quote(mDir.Path() + "/dst"),
                     mDir.Path());
    EXPECT_EQ(result.mStatus, 0) << result.mErr;
    EXPECT_EQ(fs::file_size(mDir.Path() + "/dst/Session/Audio/a.wav"), 5000u);
    EXPECT_EQ(fs::file_size(mDir.Path() + "/dst/b.wav"), 7000u);
}

TEST_F(Cmd_Copy, BadInputGivesOneLineAndStatus1)
{
    WriteFile(mDir.Path() + "/a", 10);
    WriteFile(mDir.Path() + "/b", 10);
    const struct
    {
        std::string mArgs, mText;
    } cases[] = {
        {"copy " + Quote(mDir.Path() + "/a"), "usage"},
        {"copy " + Quote(mDir.Path() + "/missing") + " " + Quote(mDir.Path()), "no such file"},
        {"copy " + Quote(mDir.Path() + "/a") + " " + Quote(mDir.Path() + "/b") + " " +
             Quote(mDir.Path() + "/nofolder"),
         "not a folder"},
        {"copy " + Quote(mDir.Path() + "/a") + " " + Quote(mDir.Path()) + " --step-size 0",
         "--step-size"},
    };
    for (const auto& c : cases)
    {
        Test_ToolResult result = Test_RunTool(c.mArgs, mDir.Path());
        EXPECT_EQ(result.mStatus, 1) << c.mArgs;
        EXPECT_EQ(result.mErr.rfind("mirafile: ", 0), 0u) << result.mErr;
        EXPECT_EQ(std::count(result.mErr.begin(), result.mErr.end(), '\n'), 1) << result.mErr;
        EXPECT_NE(result.mErr.find(c.mText), std::string::npos) << result.mErr;
    }
    EXPECT_FALSE(fs::exists(mDir.Path() + "/nofolder"));
}

TEST_F(Cmd_Copy, CtrlCCancelsAndLeavesNothingHalfCopied)
{
    constexpr size_t cBytes = size_t(256) << 20;
    const std::string src = mDir.Path() + "/big.bin", dst = mDir.Path() + "/dst";
    WriteFile(src, cBytes);
    fs::create_directory(dst);
    const std::string errPath = mDir.Path() + "/err.txt";
    bool caughtMidway = false;
    for (int attempt = 0; attempt < 3 && !caughtMidway; ++attempt)
    {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0644);
        std::string tool = Test_ToolPath();
        std::vector<std::string> argv = {tool, "copy", src, dst, "--step-size", "65536"};
        std::vector<char*> argvP;
        for (auto& arg : argv)
            argvP.push_back(arg.data());
        argvP.push_back(nullptr);
        pid_t pid = 0;
        ASSERT_EQ(posix_spawn(&pid, tool.c_str(), &actions, nullptr, argvP.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);

        // Freeze it once the copy has begun, and look whether it is still under way (the
        // partial copy stands under its temporary name).
        const std::string copy = dst + "/.mirafile-tmp-" + std::to_string(pid) + "-big.bin";
        struct stat info = {};
        for (int i = 0; i < 20000; ++i)
        {
            if (::stat(copy.c_str(), &info) == 0 && info.st_size > 0)
                break;
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
        ::kill(pid, SIGSTOP);
        caughtMidway = ::stat(copy.c_str(), &info) == 0 && size_t(info.st_size) < cBytes;
        if (caughtMidway)
            ::kill(pid, SIGINT);
        ::kill(pid, SIGCONT);

        int status = 0;
        pid_t ended = 0;
        for (int i = 0; i < 3000 && ended == 0; ++i)
        {
            ended = ::waitpid(pid, &status, WNOHANG);
            if (ended == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        if (ended == 0)
        {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            FAIL() << "mirafile copy did not end after Ctrl-C";
        }
        if (!caughtMidway)
        {
            fs::remove_all(dst);
            fs::create_directory(dst);
            continue;
        }
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 130);
        EXPECT_EQ(Slurp(errPath), "mirafile: cancelled\n");
        EXPECT_TRUE(fs::is_empty(dst)) << "a partial copy was left behind";
    }
    EXPECT_TRUE(caughtMidway) << "every copy ended before it could be interrupted";
}
