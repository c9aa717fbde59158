// mirafile copy, run as the built binary.
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "Support/ByteSupport.h"
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

// The scratch folder's paths, quoted for the shell, each after a space.
class Cmd_Copy : public Test_ToolTest
{
protected:
    std::string Q(const std::string& iName) const { return " '" + In(iName) + "'"; }
    Test_ToolResult Copy(const std::string& iArgs)
    {
        return Test_RunTool("copy" + iArgs, mDir.Path());
    }
};
} // namespace

TEST_F(Cmd_Copy, CopiesIntoAFolderAndFindsANewNameWhenTaken)
{
    WriteFile(In("Take.wav"), 100000);
    fs::create_directory(In("dst"));
    Test_ToolResult first = Copy(Q("Take.wav") + Q("dst"));
    EXPECT_EQ(first.mStatus, 0) << first.mErr;
    EXPECT_NE(first.mOut.find("-> " + In("dst/Take.wav")), std::string::npos);
    EXPECT_TRUE(first.mErr.empty()) << "no progress bar in a pipe: " << first.mErr;
    Test_ToolResult second = Copy(Q("Take.wav") + Q("dst") + " --json");
    EXPECT_EQ(second.mStatus, 0) << second.mErr;
    EXPECT_NE(second.mOut.find("\"destination\": \"" + In("dst/Take.1.wav") + "\""),
              std::string::npos)
        << second.mOut;
    EXPECT_EQ(ReadBytes<std::string>(In("dst/Take.1.wav")), ReadBytes<std::string>(In("Take.wav")));

    // One source and a new name.
    Test_ToolResult renamed = Copy(Q("Take.wav") + Q("Other.wav"));
    EXPECT_EQ(renamed.mStatus, 0) << renamed.mErr;
    EXPECT_EQ(ReadBytes<std::string>(In("Other.wav")), ReadBytes<std::string>(In("Take.wav")));
}

TEST_F(Cmd_Copy, CopiesFoldersAndSeveralSources)
{
    fs::create_directories(In("Session/Audio"));
    WriteFile(In("Session/Audio/a.wav"), 5000);
    WriteFile(In("b.wav"), 7000);
    fs::create_directory(In("dst"));
    Test_ToolResult result = Copy(Q("Session") + Q("b.wav") + Q("dst"));
    EXPECT_EQ(result.mStatus, 0) << result.mErr;
    EXPECT_EQ(fs::file_size(In("dst/Session/Audio/a.wav")), 5000u);
    EXPECT_EQ(fs::file_size(In("dst/b.wav")), 7000u);
}

TEST_F(Cmd_Copy, BadInputGivesOneLineAndStatus1)
{
    WriteFile(In("a"), 10);
    WriteFile(In("b"), 10);
    const std::pair<std::string, std::string> cases[] = {
        {Q("a"), "usage"},
        {Q("missing") + Q(""), "no such file"},
        {Q("a") + Q("b") + Q("nofolder"), "not a folder"},
        {Q("a") + Q("") + " --step-size 0", "--step-size"},
    };
    for (const auto& [args, text] : cases)
    {
        Test_ToolResult result = Copy(args);
        EXPECT_EQ(result.mStatus, 1) << args;
        EXPECT_EQ(result.mErr.rfind("mirafile: ", 0), 0u) << result.mErr;
        EXPECT_EQ(std::count(result.mErr.begin(), result.mErr.end(), '\n'), 1) << result.mErr;
        EXPECT_NE(result.mErr.find(text), std::string::npos) << result.mErr;
    }
    EXPECT_FALSE(fs::exists(In("nofolder")));
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
        EXPECT_EQ(ReadBytes<std::string>(errPath), "mirafile: cancelled\n");
        EXPECT_TRUE(fs::is_empty(dst)) << "a partial copy was left behind";
    }
    EXPECT_TRUE(caughtMidway) << "every copy ended before it could be interrupted";
}
