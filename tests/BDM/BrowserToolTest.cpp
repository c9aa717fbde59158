// mirafile ls and attrs, run as a person or a program runs them.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "Support/FFTestSupport.h"
#include "Support/TestSupport.h"
#include "Support/ToolRunner.h"

namespace
{
namespace fs = std::filesystem;

struct ToolFolder
{
    Test_TempDir mDir;
    ToolFolder()
    {
        fs::create_directories(Path("media/Takes"));
        MakeWave(Path("media/b.wav"), 2, 24, Bytes(6 * 48000, 3), 48000);
        MakeWave(Path("media/a.wav"), 1, 16, Bytes(2 * 1000, 3), 44100);
        MakeWave(Path("media/Takes/t.wav"), 1, 8, Bytes(512, 3), 22050);
        std::ofstream(Path("media/readme.txt")) << "text";
    }
    std::string Path(const std::string& iName) const { return mDir.Path() + "/" + iName; }
    // Runs the tool with "media" standing for the folder's absolute path, and gives the
    // paths in its output back relative to the folder.
    Test_ToolResult Run(const std::string& iArgs) const
    {
        ::setenv("MIRAFILE_DATA_DIR", Path("data").c_str(), 1);
        std::string args = iArgs;
        for (size_t at = args.find("media"); at != std::string::npos;
             at = args.find("media", at + mDir.Path().size() + 7))
            args.replace(at, 5, Path("media"));
        Test_ToolResult result = Test_RunTool(args, mDir.Path());
        for (std::string* textP : {&result.mOut, &result.mErr})
            for (size_t at = textP->find(mDir.Path() + "/"); at != std::string::npos;
                 at = textP->find(mDir.Path() + "/"))
                textP->erase(at, mDir.Path().size() + 1);
        ::unsetenv("MIRAFILE_DATA_DIR");
        return result;
    }
};
} // namespace

TEST(BrowserTool, LsListsWithColumnsSortAndJson)
{
    if (!Test_ToolPath())
        GTEST_SKIP() << "MIRAFILE_TOOL not set";
    ToolFolder f;
    struct Case
    {
        std::string mArgs;
        std::vector<std::string> mPaths;
    };
    const Case cases[] = {
        {"ls media --json", {"media/a.wav", "media/b.wav", "media/readme.txt", "media/Takes"}},
        {"ls media --recursive --json --sort AudioFileSampleRate",
         {"media/readme.txt", "media/Takes", "media/Takes/t.wav", "media/a.wav", "media/b.wav"}},
        {"ls media --json --sort filetotalsize --desc",
         {"media/b.wav", "media/a.wav", "media/readme.txt", "media/Takes"}},
        {"ls media/a.wav --json", {"media/a.wav"}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mArgs);
        const Test_ToolResult r = f.Run(c.mArgs);
        ASSERT_EQ(r.mStatus, 0) << r.mErr;
        const nlohmann::json rows = nlohmann::json::parse(r.mOut);
        std::vector<std::string> paths;
        for (const auto& row : rows)
            paths.push_back(row["path"]);
        EXPECT_EQ(paths, c.mPaths);
    }
    const nlohmann::json rows = nlohmann::json::parse(
        f.Run("ls media/b.wav media/Takes --json --columns "
              "AssetType,AudioFileBitDepth,FileFormat,AssetDurationMicroseconds")
            .mOut);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0]["AssetType"], "Audio");
    EXPECT_EQ(rows[0]["AudioFileBitDepth"], 24);
    EXPECT_EQ(rows[0]["FileFormat"], 1003);
    EXPECT_EQ(rows[0]["AssetDurationMicroseconds"], 1000000);
    EXPECT_EQ(rows[1]["AssetType"], "Audio"); // the one file inside Takes
    EXPECT_EQ(rows[1]["AudioFileBitDepth"], 8);

    // Refusals: one line naming what is wrong.
    const Test_ToolResult missing = f.Run("ls media/nothing.wav media/a.wav");
    EXPECT_EQ(missing.mStatus, 1);
    EXPECT_EQ(missing.mErr, "mirafile: media/nothing.wav: no such file or folder\n");
    EXPECT_NE(missing.mOut.find("a.wav"), std::string::npos);
    const Test_ToolResult badColumn = f.Run("ls media --columns Loudness");
    EXPECT_EQ(badColumn.mStatus, 1);
    EXPECT_EQ(badColumn.mErr,
              "mirafile: --columns names no attribute \"Loudness\" (see mirafile attrs)\n");
}

TEST(BrowserTool, OverviewsAreComputedOnceAndAttrsListsTheTable)
{
    if (!Test_ToolPath())
        GTEST_SKIP() << "MIRAFILE_TOOL not set";
    ToolFolder f;
    const Test_ToolResult first =
        f.Run("ls media --recursive --overviews --json --columns FileName");
    ASSERT_EQ(first.mStatus, 0) << first.mErr;
    const nlohmann::json rows = nlohmann::json::parse(first.mOut);
    std::map<std::string, nlohmann::json> points;
    for (const auto& row : rows)
        points[row["path"]] = row["AudioOverview"];
    EXPECT_EQ(points["media/b.wav"], 188); // 48,000 samples in points of 256
    EXPECT_EQ(points["media/a.wav"], 4);
    EXPECT_EQ(points["media/Takes/t.wav"], 2);
    EXPECT_TRUE(points["media/readme.txt"].is_null());
    // The second run finds them all in the cache: the cache file does not change.
    const auto cacheFiles = [&]
    {
        std::vector<std::pair<std::string, uintmax_t>> files;
        for (const auto& entry : fs::recursive_directory_iterator(f.Path("data")))
            if (entry.is_regular_file())
                files.emplace_back(entry.path().string(), entry.file_size());
        return files;
    };
    const auto before = cacheFiles();
    ASSERT_EQ(before.size(), 1u);
    const auto modified = fs::last_write_time(before[0].first);
    const Test_ToolResult second =
        f.Run("ls media --recursive --overviews --json --columns FileName");
    EXPECT_EQ(second.mOut, first.mOut);
    EXPECT_EQ(cacheFiles(), before);
    EXPECT_EQ(fs::last_write_time(before[0].first), modified);

    const Test_ToolResult attrs = f.Run("attrs --json");
    ASSERT_EQ(attrs.mStatus, 0);
    const nlohmann::json tags = nlohmann::json::parse(attrs.mOut);
    ASSERT_EQ(tags.size(), 45u);
    EXPECT_EQ(tags[5]["name"], "FileName");
    EXPECT_EQ(tags[5]["title"], "Name");
    EXPECT_EQ(tags[14]["modifiable"], nlohmann::json::array({"Audio"}));
    EXPECT_EQ(tags[0]["type"], "string");
}
