// mirafile relink end to end: a catalog whose files moved is linked to them again, the
// not-found line is the browser's own, and a dry run leaves the catalog as it was.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Support/TestSupport.h"
#include "Support/ToolRunner.h"

namespace
{
namespace fs = std::filesystem;

class RelinkTool : public Test_ToolTest
{
protected:
    void SetUp() override
    {
        Test_ToolTest::SetUp();
        if (IsSkipped())
            return;
        mEnv = "MIRAFILE_CATALOG_DIR='" + In("catalogs") + "'";
        for (const char* name : {"lib/a.wav", "lib/b.wav"})
        {
            fs::create_directories(In("lib"));
            const auto r = Run(std::string("tone '") + In(name) +
                               "' --rate 48000 --bits 16 --channels 1 --seconds 0.1");
            ASSERT_EQ(r.mStatus, 0) << r.mErr;
        }
        std::ofstream(In("lib/n.txt")) << "notes\n";
        for (const std::string& args : {std::string("catalog create L"), "catalog add L '" + In("lib") + "'"})
            ASSERT_EQ(Run(args).mStatus, 0) << args;
        // a.wav moved and renamed, b.wav moved, the notes into the trash.
        for (const auto& [from, to] : {std::pair{"lib/a.wav", "new/renamed.wav"},
                                       std::pair{"lib/b.wav", "new/sub/b.wav"},
                                       std::pair{"lib/n.txt", "home/.local/share/Trash/files/n.txt"}})
        {
            fs::create_directories(fs::path(In(to)).parent_path());
            fs::rename(In(from), In(to));
        }
    }
    Test_ToolResult Run(const std::string& iArgs) { return Test_RunTool(iArgs, mDir.Path(), mEnv); }
    std::string mEnv;
};

TEST_F(RelinkTool, FindsMovedFilesAgain)
{
    const std::string d = mDir.Path();
    const std::string trash = "'" + In("home/.local/share/Trash/files") + "'";
    const std::string notFound =
        "1 file(s) could not be found. Double-click icon to open the Relink Window.\n";
    struct Step
    {
        std::string mArgs;
        int mStatus;
        std::vector<std::string> mOut; // parts of standard output (error when the status is not 0)
    };
    const Step steps[] = {
        {"relink L --search '" + d + "/new' --dry-run", 0,
         {"lib/a.wav: " + d + "/lib/a.wav -> " + d + "/new/renamed.wav\n",
          "lib/b.wav: " + d + "/lib/b.wav -> " + d + "/new/sub/b.wav\n", notFound,
          "dry run: L was not changed\n"}},
        // By name alone the renamed file is not found.
        {"relink L --by-name --search '" + d + "/new' --dry-run", 0,
         {"lib/b.wav: " + d + "/lib/b.wav -> " + d + "/new/sub/b.wav\n",
          "2 file(s) could not be found."}},
        {"relink candidates L lib/a.wav --search '" + d + "/new' --json", 0,
         {"[{\"path\": \"" + d + "/new/renamed.wav\", \"found_by\": \"identifier\"}]"}},
        {"relink L --search '" + d + "/new' --search " + trash + " --json", 0,
         {"\"mode\": \"by-id, then by-name\", \"dry_run\": false, \"missing\": 3",
          "{\"entry\": \"lib/a.wav\", \"from\": \"" + d + "/lib/a.wav\", \"to\": \"" + d +
              "/new/renamed.wav\"}",
          "\"not_found\": [{\"entry\": \"lib/n.txt\"",
          "\"message\": \"1 file(s) could not be found. Double-click icon to open the Relink "
          "Window.\"}"}},
        // What was relinked stays so; the trashed file stays missing.
        {"catalog show L", 0, {"lib/renamed.wav\n", "lib/b.wav\n"}},
        {"relink L --search '" + d + "/new' --search " + trash, 0, {notFound}},
        {"relink L", 1, {"relink needs --search"}},
        {"relink Nope --search '" + d + "'", 1, {"Nope: no such catalog"}},
        {"relink L --search '" + d + "/none'", 1, {"none: no such folder"}},
        {"relink candidates L lib/x.wav --search '" + d + "'", 1, {"lib/x.wav: no such entry"}},
    };
    for (const Step& step : steps)
    {
        SCOPED_TRACE(step.mArgs);
        const auto r = Run(step.mArgs);
        EXPECT_EQ(r.mStatus, step.mStatus) << r.mErr;
        for (const std::string& part : step.mOut)
            EXPECT_NE((step.mStatus == 0 ? r.mOut : r.mErr).find(part), std::string::npos)
                << (step.mStatus == 0 ? r.mOut : r.mErr);
    }
}
} // namespace
