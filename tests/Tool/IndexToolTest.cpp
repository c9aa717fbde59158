// mirafile index: the counts of a first pass and of passes after changes on disk, the
// database that `mirafile volumes` then shows, and what a kill or a Ctrl-C in the middle of
// a pass leaves behind.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <random>
#include <thread>

#include "BDM/Adapters/Neo/BNeoa_Bin.h"
#include "BDM/BDM_AttributeTag.h"
#include "Support/FFTestSupport.h"
#include "Support/ToolRunner.h"

namespace
{
namespace fs = std::filesystem;

class IndexToolTest : public Test_ToolTest
{
public: // the steps' changes reach the helpers through the fixture
    using Test_ToolTest::In;
    Test_ToolResult Run(const std::string& iArgs, const std::string& iData = "data")
    {
        return Test_RunTool(iArgs, mDir.Path(), "MIRAFILE_DATA_DIR='" + In(iData) + "'");
    }
    void Wave(const std::string& iName, int32_t iFrames)
    {
        fs::create_directories(fs::path(In(iName)).parent_path());
        MakeWave(In(iName), 1, 16, Bytes(size_t(iFrames) * 2, 5));
    }
    // The rows of a database file and what the integrity check says.
    static std::pair<int64_t, std::string> Check(const std::string& iDatabase)
    {
        BDM_AttributeTags::Instance();
        BDM_BinHandle bin(new BNeoa_Bin(Sys_FileLoc(iDatabase), nullptr));
        bin->Open(Cmn_Store::eOpenFlag_OpenForRead);
        auto& neo = static_cast<BNeoa_Bin&>(*bin);
        std::pair<int64_t, std::string> result{neo.CountAssets(), neo.CheckIntegrity()};
        bin->Close();
        return result;
    }
};

TEST_F(IndexToolTest, CountsFollowTheChangesOnDisk)
{
    for (const char* name : {"media/a.wav", "media/b.wav", "media/sub/c.wav"})
        Wave(name, 100);
    std::ofstream(In("media/notes.txt")) << "not audio: not indexed";
    struct Step
    {
        const char* mWhat;
        std::function<void(IndexToolTest&)> mChange;
        std::string mArgs;
        int mStatus;
        // the counts added, removed, changed, unchanged; or a part of standard error
        std::vector<int64_t> mCounts;
        std::string mError;
    };
    const std::string media = "'" + In("media") + "'";
    const Step steps[] = {
        {"first pass", [](IndexToolTest&) {}, "index " + media + " --json", 0, {4, 0, 0, 0}, ""},
        {"again", [](IndexToolTest&) {}, "index " + media + " --json", 0, {0, 0, 0, 3}, ""},
        {"added, removed, rewritten",
         [](IndexToolTest& t) {
             t.Wave("media/sub/d.wav", 10);
             fs::remove(t.In("media/a.wav"));
             t.Wave("media/b.wav", 400);
         },
         "index " + media + " --json", 0, {1, 1, 1, 1}, ""},
        {"renamed folder",
         [](IndexToolTest& t) { fs::rename(t.In("media/sub"), t.In("media/sub2")); },
         "index " + media + " --json", 0, {3, 3, 0, 1}, ""},
        {"a path that is not there", [](IndexToolTest&) {}, "index '" + In("missing") + "'", 1, {},
         "missing: no such folder"},
        {"a file", [](IndexToolTest&) {}, "index '" + In("media/b.wav") + "'", 1, {},
         "b.wav: not a folder"},
    };
    std::string database;
    for (const Step& step : steps)
    {
        SCOPED_TRACE(step.mWhat);
        step.mChange(*this);
        const Test_ToolResult result = Run(step.mArgs);
        ASSERT_EQ(result.mStatus, step.mStatus) << result.mErr;
        if (step.mStatus != 0)
        {
            EXPECT_NE(result.mErr.find(step.mError), std::string::npos) << result.mErr;
            continue;
        }
        const nlohmann::json out = nlohmann::json::parse(result.mOut);
        EXPECT_EQ((std::vector<int64_t>{out["added"], out["removed"], out["changed"], out["unchanged"]}),
                  step.mCounts);
        EXPECT_EQ(out["offline"], 0);
        EXPECT_EQ(out["created"], database.empty());
        database = out["database"];
    }
    EXPECT_EQ(Check(database).second, "ok");
    // the volume that holds the scratch folder now shows its database
    const Test_ToolResult volumes = Run("volumes --json");
    ASSERT_EQ(volumes.mStatus, 0);
    bool shown = false;
    for (const auto& row : nlohmann::json::parse(volumes.mOut))
        shown = shown || (row["database"] == database && row["database_exists"] == true);
    EXPECT_TRUE(shown) << volumes.mOut;
    // the text form says the same
    const Test_ToolResult text = Run("index " + media);
    EXPECT_NE(text.mOut.find("0 added, 0 removed, 0 changed, 3 unchanged, 0 offline"),
              std::string::npos)
        << text.mOut;
}

// kill -9 at random moments of a first pass over 3,000 files, and a Ctrl-C: the database
// passes the integrity check and holds what was committed before the pass, or the whole
// pass; a pass run afterwards gives what a clean run gives.
TEST_F(IndexToolTest, KilledOrInterruptedPassLeavesTheLastCommit)
{
    Wave("seed.wav", 4800);
    const int32_t count = 3000;
    for (int32_t i = 0; i < count; ++i)
    {
        const std::string folder = In("files/d" + std::to_string(i / 500));
        fs::create_directories(folder);
        fs::copy_file(In("seed.wav"), folder + "/take" + std::to_string(i) + ".wav");
    }
    fs::create_directories(In("empty"));
    ASSERT_EQ(Run("index '" + In("files") + "'", "clean").mStatus, 0);
    const std::string cleanDatabase =
        nlohmann::json::parse(Run("index '" + In("empty") + "' --json", "clean").mOut)["database"];
    const int64_t full = Check(cleanDatabase).first;

    std::mt19937 random(20261124);
    std::uniform_int_distribution<int32_t> moment(20, 600);
    int32_t stoppedBeforeTheEnd = 0; // the test means something only if some signal landed
    for (int32_t round = 0; round < 4; ++round)
    {
        const bool interrupt = round == 3;
        SCOPED_TRACE(interrupt ? "Ctrl-C" : "kill -9");
        const std::string data = "data" + std::to_string(round);
        const Test_ToolResult first = Run("index '" + In("empty") + "' --json", data);
        ASSERT_EQ(first.mStatus, 0) << first.mErr;
        const std::string database = nlohmann::json::parse(first.mOut)["database"];
        const int64_t before = Check(database).first;

        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0)
        {
            ::setenv("MIRAFILE_DATA_DIR", In(data).c_str(), 1);
            ::execl(Test_ToolPath(), Test_ToolPath(), "index", In("files").c_str(),
                    static_cast<char*>(nullptr));
            ::_exit(127);
        }
        int status = 0;
        bool finished = false;
        if (interrupt)
        {
            // once the pass writes (its write-ahead log exists) the tool handles Ctrl-C
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
            while (!fs::exists(database + "-wal") && std::chrono::steady_clock::now() < deadline)
            {
                if ((finished = ::waitpid(child, &status, WNOHANG) == child))
                    break;
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        }
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(moment(random)));
        if (!finished)
        {
            ::kill(child, interrupt ? SIGINT : SIGKILL);
            ::waitpid(child, &status, 0);
        }
        const auto [rows, integrity] = Check(database);
        EXPECT_EQ(integrity, "ok");
        EXPECT_TRUE(rows == before || rows == full) << rows << " rows";
        if (interrupt && WIFEXITED(status))
        {
            EXPECT_EQ(WEXITSTATUS(status), rows == full ? 0 : 130);
        }
        stoppedBeforeTheEnd += rows == before;
        ASSERT_EQ(Run("index '" + In("files") + "'", data).mStatus, 0);
        EXPECT_EQ(Check(database).first, full);
    }
    EXPECT_GT(stoppedBeforeTheEnd, 0);
}
} // namespace
