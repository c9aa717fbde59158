// mirafile catalog: the commands end to end, and what a kill or a Ctrl-C in the middle of
// adding leaves behind.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <random>
#include <thread>

#include "Catalog/CatalogTestSupport.h"
#include "Support/FFTestSupport.h"
#include "Support/ToolRunner.h"

namespace
{
class CatalogToolTest : public Test_ToolTest
{
protected:
    void SetUp() override
    {
        Test_ToolTest::SetUp();
        mCatalogs = In("catalogs");
        ::setenv("MIRAFILE_CATALOG_DIR", mCatalogs.c_str(), 1);
    }
    void TearDown() override { ::unsetenv("MIRAFILE_CATALOG_DIR"); }
    Test_ToolResult Run(const std::string& iArgs) { return Test_RunTool("catalog " + iArgs, mDir.Path()); }
    std::string File(const std::string& iName) const
    {
        return mCatalogs + "/" + iName + BDM_Catalog::cFileExtension;
    }
    // Every stored row below the root: what two runs must agree on.
    std::string Rows(const std::string& iName)
    {
        return Catalog_Sqlite(File(iName), "SELECT * FROM Asset WHERE ID > 1 ORDER BY ID");
    }
    // The tool with iArgs in a process of its own, its output discarded; waitpid ends it.
    static pid_t Start(const std::vector<std::string>& iArgs)
    {
        const pid_t child = ::fork();
        if (child != 0)
            return child;
        std::vector<char*> argv{const_cast<char*>(Test_ToolPath())};
        for (const std::string& arg : iArgs)
            argv.push_back(const_cast<char*>(arg.c_str()));
        argv.push_back(nullptr);
        const int null = ::open("/dev/null", O_WRONLY);
        ::dup2(null, 1);
        ::dup2(null, 2);
        ::execv(Test_ToolPath(), argv.data());
        ::_exit(127);
    }
    // How many entries `find @iName` finds: every entry below the root (-1 on a failure).
    int64_t Found(const std::string& iName)
    {
        const Test_ToolResult result =
            Test_RunTool("find @" + iName + " --where 'FileModDate > 2000-01-01' --json", mDir.Path());
        EXPECT_EQ(result.mStatus, 0) << result.mErr;
        if (result.mStatus != 0)
            return -1;
        return int64_t(nlohmann::json::parse(result.mOut.empty() ? "[]" : result.mOut).size());
    }
    std::string mCatalogs;
};

// Makes a folder and a file in it read-only while it lives: modes for everyone, and the
// immutable flag besides for a superuser, whom modes do not stop.
class StReadOnlyPlace
{
public:
    StReadOnlyPlace(const std::string& iFolder, const std::string& iFile) : mFolder(iFolder), mFile(iFile)
    {
        ::chmod(mFile.c_str(), 0444);
        ::chmod(mFolder.c_str(), 0555);
        mImmutable = ::geteuid() == 0 && Shell("chattr +i '" + mFile + "' '" + mFolder + "'");
    }
    ~StReadOnlyPlace()
    {
        if (mImmutable)
            Shell("chattr -i '" + mFolder + "' '" + mFile + "'");
        ::chmod(mFolder.c_str(), 0755);
        ::chmod(mFile.c_str(), 0644);
    }
    StReadOnlyPlace(const StReadOnlyPlace&) = delete;
    StReadOnlyPlace& operator=(const StReadOnlyPlace&) = delete;
    // Whether nothing may write there now.
    bool Holds() const { return ::geteuid() != 0 || mImmutable; }

private:
    static bool Shell(const std::string& iCommand)
    {
        return std::system((iCommand + " 2>/dev/null").c_str()) == 0;
    }
    std::string mFolder, mFile;
    bool mImmutable = false;
};

TEST_F(CatalogToolTest, CommandsRoundTrip)
{
    const std::string files = In("files");
    Catalog_WriteFiles(files, 5);
    struct Step
    {
        std::string mArgs;
        int mStatus;
        std::string mOut; // a part of standard output (or error when the status is not 0)
    };
    const Step steps[] = {
        {"create Lib", 0, "created catalog Lib"},
        {"create Lib", 1, "Lib: A Catalog with that name already exists."},
        {"create 'a:b'", 1, "a:b: "},
        {"list --json", 0, "{\"name\": \"Lib\""},
        {"add Lib '" + files + "' --json", 0, "{\"name\": \"Lib\", \"added\": 7}"},
        {"add Lib '" + files + "/missing'", 1, "missing: no such file or folder"},
        {"show Lib", 0, "files/\nfiles/d00/\nfiles/d00/f0000.txt\n"},
        {"show Lib files/D00/F0001.TXT --json", 0, "\"FileName\": \"f0001.txt\""},
        {"set Lib files/d00/f0001.txt --comment 'a note'", 0, ""},
        {"show Lib files/d00/f0001.txt", 0, "AssetComment:                 a note\n"},
        {"set Lib files/d00/f0001.txt --name f0002.txt", 1, "already exists in that location"},
        {"set Lib files/d00/f0001.txt", 1, "needs one of --name TEXT or --comment TEXT"},
        {"set Lib files/d00/f0001.txt --name renamed.txt", 0, ""},
        {"rm Lib files/d00/f0002.txt", 0, ""},
        {"show Lib files/d00/f0002.txt", 1, "files/d00/f0002.txt: no such entry in the catalog"},
        {"info Lib --json", 0, "\"version\": \"2.0\""},
        {"info Lib --json", 0, "\"entries\": 6, \"integrity\": \"ok\"}"},
        // Adding again updates what is there and adds what is not: the renamed and the removed
        // entry come back under their file names.
        {"add Lib '" + files + "'", 0, "added 7 entries to Lib"},
        {"info Lib", 0, "Entries:        8\n"},
        {"delete Lib", 0, ""},
        {"list", 0, ""},
        {"info Lib", 1, "Lib: no such catalog"},
        {"frobnicate", 1, "unknown action \"frobnicate\""},
    };
    for (const Step& step : steps)
    {
        const Test_ToolResult result = Run(step.mArgs);
        EXPECT_EQ(result.mStatus, step.mStatus) << step.mArgs << "\n" << result.mErr;
        const std::string& text = step.mStatus == 0 ? result.mOut : result.mErr;
        EXPECT_NE(text.find(step.mOut), std::string::npos) << step.mArgs << "\n" << text;
    }
    EXPECT_TRUE(Test_FolderNames(mCatalogs).empty());
}

// catalog copy: each file copied into DEST under a free name and its entry relinked to the
// copy (so a second copy starts from the first); a missing file named, the rest copied.
TEST_F(CatalogToolTest, CopyRelinksEntriesToTheirCopies)
{
    const std::string files = In("files"), f = files + "/d00/", c = In("copies") + "/";
    Catalog_WriteFiles(files, 3);
    std::filesystem::create_directories(c);
    ASSERT_EQ(Run("create Lib").mStatus, 0);
    ASSERT_EQ(Run("add Lib '" + files + "'").mStatus, 0);
    std::filesystem::remove(f + "f0002.txt");
    struct Step
    {
        std::string mArgs;
        int mStatus;
        std::string mOut, mErr;
    };
    const Step steps[] = {
        {"copy Lib '" + files + "/none'", 1, "", "mirafile: " + files + "/none: no such folder\n"},
        {"copy Lib '" + c + "' files/no", 1, "",
         "mirafile: files/no: no such entry in the catalog\n"},
        {"copy Lib '" + f + "'", 1, "",
         "mirafile: Lib: " + files + ": a folder cannot be copied into itself\n"},
        {"copy Lib '" + c + "' files/d00/f0000.txt", 0,
         "files/d00/f0000.txt: " + f + "f0000.txt -> " + c + "f0000.txt\n", ""},
        {"copy Lib '" + c + "' files/d00/f0000.txt", 0,
         "files/d00/f0000.txt: " + c + "f0000.txt -> " + c + "f0000.1.txt\n", ""},
        {"copy Lib '" + c + "' --json", 1,
         "[{\"entry\": \"files/d00/f0001.txt\", \"from\": \"" + f + "f0001.txt\", \"to\": \"" + c +
             "files/d00/f0001.txt\"},\n {\"entry\": \"files/d00/f0000.1.txt\", \"from\": \"" + c +
             "f0000.1.txt\", "
             "\"to\": \"" +
             c + "f0000.1.1.txt\"}]\n",
         "mirafile: files/d00/f0002.txt: " + f + "f0002.txt: no such file\n"},
    };
    for (const Step& step : steps)
    {
        const Test_ToolResult result = Run(step.mArgs);
        EXPECT_EQ(result.mStatus, step.mStatus) << step.mArgs;
        EXPECT_EQ(result.mOut, step.mOut) << step.mArgs;
        EXPECT_EQ(result.mErr, step.mErr) << step.mArgs;
    }
    EXPECT_EQ(Catalog_Bytes(f + "f0000.txt"), "file 0\n");
    EXPECT_EQ(Catalog_Bytes(c + "f0000.1.1.txt"), "file 0\n");
}

TEST_F(CatalogToolTest, RefusedFilesAreNamedAndLeftAlone)
{
    std::filesystem::create_directories(mCatalogs);
    std::ofstream(File("Text")) << "not a catalog\n";
    for (const char* args : {"info Text", "show Text", "add Text /tmp", "delete Text"})
    {
        const Test_ToolResult result = Run(args);
        EXPECT_EQ(result.mStatus, 1) << args;
        EXPECT_EQ(result.mErr, "mirafile: Text: Can't find database information\n") << args;
    }
    EXPECT_EQ(Catalog_Bytes(File("Text")), "not a catalog\n");
}

// kill -9 at random moments of adding 2,000 files: the file passes the integrity check and
// holds a committed state (whole commit intervals); adding again gives what a clean run gives.
TEST_F(CatalogToolTest, KilledAddLeavesACommittedStateAndARerunCompletesIt)
{
    const std::string files = In("files");
    const int32_t count = 2000;
    Catalog_WriteFiles(files, count);
    const int64_t entries = count + count / 50 + 1; // files, their folders, the top folder
    ASSERT_EQ(Run("create Clean").mStatus, 0);
    ASSERT_EQ(Run("add Clean '" + files + "'").mStatus, 0);
    const std::string clean = Rows("Clean");

    std::mt19937 random(20261124);
    std::uniform_int_distribution<int32_t> moment(5, 400);
    int32_t killedBeforeTheEnd = 0; // the test means something only if some kill landed
    for (int32_t round = 0; round < 4; ++round)
    {
        const std::string name = "Killed" + std::to_string(round);
        ASSERT_EQ(Run("create " + name).mStatus, 0);
        const pid_t child = Start({"catalog", "add", name, files});
        ASSERT_GE(child, 0);
        const int32_t milliseconds = moment(random);
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);

        EXPECT_EQ(Catalog_Sqlite(File(name), "PRAGMA integrity_check"), "ok\n") << milliseconds;
        const int64_t rows =
            std::stoll(Catalog_Sqlite(File(name), "SELECT count(*) FROM Asset WHERE ParentID IS NOT NULL"));
        EXPECT_TRUE(rows % BDM_CatalogAdder::cCommitInterval == 0 || rows == entries)
            << rows << " rows after " << milliseconds << " ms";
        killedBeforeTheEnd += WIFSIGNALED(status) && rows < entries;
        ASSERT_EQ(Run("add " + name + " '" + files + "'").mStatus, 0);
        EXPECT_TRUE(Rows(name) == clean) << "after a kill at " << milliseconds << " ms";
    }
    EXPECT_GT(killedBeforeTheEnd, 0);
}

TEST_F(CatalogToolTest, InterruptKeepsWhatWasCommittedAndExits130)
{
    const std::string files = In("files");
    Catalog_WriteFiles(files, 2000);
    ASSERT_EQ(Run("create Lib").mStatus, 0);
    const pid_t child = Start({"catalog", "add", "Lib", files});
    ASSERT_GE(child, 0);
    // Interrupt once the add is writing (its write-ahead log exists), so that the tool has
    // set up its interrupt handling however slowly it starts (as under the sanitizers).
    int status = 0;
    bool finished = false;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!std::filesystem::exists(File("Lib") + "-wal") &&
           std::chrono::steady_clock::now() < deadline)
    {
        if ((finished = ::waitpid(child, &status, WNOHANG) == child))
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    if (!finished)
    {
        ::kill(child, SIGINT);
        ::waitpid(child, &status, 0);
    }
    ASSERT_TRUE(WIFEXITED(status));
    const int64_t rows = std::stoll(Catalog_Sqlite(File("Lib"), "SELECT count(*) FROM Asset WHERE ParentID IS NOT NULL"));
    if (WEXITSTATUS(status) == 130)
        EXPECT_EQ(rows % BDM_CatalogAdder::cCommitInterval, 0) << rows;
    else
        EXPECT_EQ(WEXITSTATUS(status), 0); // it had finished already
    EXPECT_EQ(Catalog_Sqlite(File("Lib"), "PRAGMA integrity_check"), "ok\n");
}
} // namespace

// find over a catalog answers as find over the folder the catalog indexed (the catalog also
// holds the added folder itself, which a search below the folder does not return).
TEST_F(CatalogToolTest, FindInACatalogAgreesWithTheFolder)
{
    std::filesystem::create_directories(In("media/sub"));
    MakeWave(In("media/a.wav"), 1, 16, Bytes(48000 * 2, 1), 48000);
    MakeWave(In("media/sub/b.wav"), 2, 24, Bytes(4410 * 6, 1), 44100);
    MakeWave(In("media/c.wav"), 2, 16, Bytes(96000 * 4, 1), 48000);
    std::ofstream(In("media/notes.txt")) << "notes";
    ASSERT_EQ(Run("create Lib").mStatus, 0);
    ASSERT_EQ(Run("add Lib '" + In("media") + "'").mStatus, 0);
    auto paths = [&](const std::string& iArea, const std::string& iTerms)
    {
        const Test_ToolResult result = Test_RunTool("find " + iArea + " " + iTerms + " --json", mDir.Path());
        EXPECT_EQ(result.mStatus, 0) << iArea << " " << iTerms << ": " << result.mErr;
        std::set<std::string> found;
        for (const auto& row : nlohmann::json::parse(result.mOut.empty() ? "[]" : result.mOut))
        {
            std::string path = row["path"];
            for (const std::string& root : {std::string("@Lib/media"), In("media")})
                if (path.compare(0, root.size(), root) == 0)
                    path = "media" + path.substr(root.size());
            if (path != "media")
                found.insert(path);
        }
        return found;
    };
    const char* const terms[] = {
        "--where 'AudioFileSampleRate = 48k'",
        "--where 'AudioFileSampleRate != 48000'",
        "--where 'AssetDurationMicroseconds >= 1s' --where 'AudioFileNumChannels = 2'",
        "--where 'AudioFileNumChannels = 1' --where 'AudioFileBitDepth = 24' --any",
        "--where 'FileName ~ \"B\"'",
        "--terms 'sub'",
    };
    for (const char* term : terms)
    {
        const std::set<std::string> fromFolder = paths("'" + In("media") + "'", term);
        EXPECT_FALSE(fromFolder.empty()) << term;
        EXPECT_EQ(paths("@Lib", term), fromFolder) << term;
    }
}

// One process adds while another searches in a loop: every search sees a committed state (a
// whole number of commit intervals, or all), never fewer entries than the search before, and
// neither process fails. A writer kept waiting past the bounded wait by a write lock that
// another program holds is turned away with "File is busy", and the catalog is unchanged.
TEST_F(CatalogToolTest, SearchesWhileAddingSeeOnlyCommittedEntriesAndABlockedWriterIsTurnedAway)
{
    const std::string files = In("files");
    const int32_t count = 2000;
    Catalog_WriteFiles(files, count);
    const int64_t entries = count + count / 50 + 1; // files, their folders, the top folder
    ASSERT_EQ(Run("create Lib").mStatus, 0);
    const pid_t adder = Start({"catalog", "add", "Lib", files});
    ASSERT_GE(adder, 0);
    std::vector<int64_t> counts;
    int status = 0;
    while (::waitpid(adder, &status, WNOHANG) == 0)
        counts.push_back(Found("Lib"));
    counts.push_back(Found("Lib"));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_LT(counts.front(), entries); // the first search ran while the add did
    EXPECT_EQ(counts.back(), entries);
    for (size_t i = 0; i < counts.size(); ++i)
    {
        EXPECT_TRUE(counts[i] % BDM_CatalogAdder::cCommitInterval == 0 || counts[i] == entries)
            << counts[i];
        EXPECT_GE(counts[i], i > 0 ? counts[i - 1] : 0);
    }

    // The sqlite3 program holds the write lock until its input ends; it says when it has it.
    const std::string held = In("held");
    FILE* locker = ::popen(("sqlite3 '" + File("Lib") + "' >/dev/null 2>&1").c_str(), "w");
    ASSERT_TRUE(locker);
    std::fprintf(locker, "BEGIN IMMEDIATE;\nDELETE FROM Named WHERE Name = 'none';\n.shell touch '%s'\n",
                 held.c_str());
    std::fflush(locker);
    for (int32_t i = 0; i < 5000 && !std::filesystem::exists(held); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    ASSERT_TRUE(std::filesystem::exists(held));
    const std::string rows = Rows("Lib");
    std::ofstream(In("late.txt")) << "late\n";
    const Test_ToolResult blocked = Run("add Lib '" + In("late.txt") + "'");
    EXPECT_EQ(blocked.mStatus, 1);
    EXPECT_NE(blocked.mErr.find("File is busy"), std::string::npos) << blocked.mErr;
    EXPECT_EQ(Found("Lib"), entries); // a reader is not held up by the lock
    ::pclose(locker);
    EXPECT_EQ(Rows("Lib"), rows);
    EXPECT_EQ(Run("add Lib '" + In("late.txt") + "'").mStatus, 0);
    EXPECT_EQ(Found("Lib"), entries + 1);
}

// A catalog where nothing may be written is searched, and left byte-identical with no log
// or index file beside it.
TEST_F(CatalogToolTest, CatalogOnAReadOnlyPlaceIsSearchedAndNeverWritten)
{
    Catalog_WriteFiles(In("files"), 100);
    ASSERT_EQ(Run("create Lib").mStatus, 0);
    ASSERT_EQ(Run("add Lib '" + In("files") + "'").mStatus, 0);
    const std::string before = Catalog_Bytes(File("Lib"));
    const std::set<std::string> namesBefore = Test_FolderNames(mCatalogs);
    {
        StReadOnlyPlace readOnly(mCatalogs, File("Lib"));
        if (!readOnly.Holds())
        {
            GTEST_SKIP() << "the immutable flag cannot be set here";
        }
        EXPECT_EQ(Found("Lib"), 100 + 100 / 50 + 1);
        const Test_ToolResult info = Run("info Lib --json");
        EXPECT_EQ(info.mStatus, 0) << info.mErr;
        EXPECT_NE(info.mOut.find("\"integrity\": \"ok\""), std::string::npos) << info.mOut;
        EXPECT_EQ(Run("rm Lib files").mStatus, 1); // a change is refused
    }
    EXPECT_EQ(Catalog_Bytes(File("Lib")), before);
    EXPECT_EQ(Test_FolderNames(mCatalogs), namesBefore);
}
