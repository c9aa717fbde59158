// mirafile map edit, run as a user runs it: each edited file is compared with the same edits
// made through the library, and bad input leaves FILE alone and no OUT behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>

#include "Support/ByteSupport.h"
#include "Support/TestSupport.h"
#include "Support/ToolRunner.h"
#include "Time/Time_MapFile.h"
#include "Time/Time_MeterMap.h"
#include "Time/Time_TempoEdit.h"

namespace
{
constexpr int64_t kBeat = Time_cInternalTicksPerQuarterNote;

// Ticks of a position in 4/4 from bar 1 at the origin: bar and beat from 1.
Time_Tick BarBeat(int64_t iBar, int64_t iBeat)
{
    return Time_Tick(Time_cDefaultOriginTick + ((iBar - 1) * 4 + iBeat - 1) * kBeat);
}
Time_Typed At(int64_t iBar, int64_t iBeat)
{
    return Time_Typed(BarBeat(iBar, iBeat));
}

class Cmd_MapEditTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!Test_ToolPath())
            GTEST_SKIP() << "MIRAFILE_TOOL is not set (run through ctest)";
        mIn = Path("in.map");
        mOut = Path("out.map");
    }
    std::string Path(const std::string& iName) const { return mDir.Path() + "/" + iName; }
    Test_ToolResult Run(const std::string& iArgs) { return Test_RunTool(iArgs, mDir.Path()); }
    // Makes in.map with "map new" and these options and returns its bytes.
    Bytes MakeInput(const std::string& iOptions)
    {
        std::filesystem::remove(mIn);
        const Test_ToolResult r = Run("map new " + mIn + " " + iOptions);
        EXPECT_EQ(r.mStatus, 0) << r.mErr;
        return ReadBytes(mIn);
    }
    Test_TempDir mDir;
    std::string mIn, mOut;
};

// 120 bpm, 90 from bar 3, default 4/4; the same with two identified beats (a mixed map, which
// the range operations take only once it is converted).
const char* const kChanges = "--tempo '120,3|1=90'";
const char* const kIDB = "--tempo '120,3|1=90' --idb '2|1=90000' --idb '4|1=260000'";
} // namespace

TEST_F(Cmd_MapEditTest, EditsAsTheLibraryDoesThemInOrder)
{
    using Edit = std::function<void(Time_TempoEdit&, Time_TempoMap&)>;
    const struct
    {
        const char* mNewOptions;
        const char* mOps;
        Edit mEdit;
    } rows[] = {
        {kChanges, "--insert-change '2|1=100' --insert-change '1|3=60'",
         [](auto& e, auto&)
         {
             e.InsertChange(BarBeat(2, 1), 100, Time_Tick(kBeat));
             e.InsertChange(BarBeat(1, 3), 60, Time_Tick(kBeat));
         }},
        {kChanges, "--insert-time '2|1:4' --delete-time '1|2:1|4' --erase '3|1:4|1'",
         [](auto& e, auto&)
         {
             e.InsertTime(At(2, 1), Time_TypedLength(4 * kBeat, Time_eType_Ticks));
             e.DeleteTime(At(1, 2), At(1, 4));
             e.Erase(At(3, 1), At(4, 1));
         }},
        {kChanges, "--insert-time '2|1:22050s' --nudge '2|1:5|1:-0.5'",
         [](auto& e, auto& map)
         {
             e.InsertTime(Time_Typed(map.TickToSample(BarBeat(2, 1))),
                          Time_TypedLength(Time_Sample(22050)));
             e.Nudge(At(2, 1), At(5, 1), Time_TypedLength(-kBeat / 2, Time_eType_Ticks));
         }},
        // the order of the command line: --to-idb after the change, --to-changes last
        {kChanges, "--insert-change '2|1=100' --to-idb --add-idb '5|1=400000' --to-changes",
         [](auto& e, auto&)
         {
             e.InsertChange(BarBeat(2, 1), 100, Time_Tick(kBeat));
             e.ConvertAllToIDB();
             e.AddIDB(BarBeat(5, 1), Time_Sample(400000));
             e.ConvertAllToChanges();
         }},
        {kIDB, "--to-idb --delete-time '2|1:2|3' --insert-time '3|1:2' --erase '1|2:3|1'",
         [](auto& e, auto&)
         {
             e.ConvertAllToIDB();
             e.DeleteTime(At(2, 1), At(2, 3));
             e.InsertTime(At(3, 1), Time_TypedLength(2 * kBeat, Time_eType_Ticks));
             e.Erase(At(1, 2), At(3, 1));
         }},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(std::string(row.mNewOptions) + " " + row.mOps);
        const Bytes input = MakeInput(row.mNewOptions);
        std::filesystem::remove(mOut);
        const Test_ToolResult r = Run("map edit " + mIn + " -o " + mOut + " " + row.mOps);
        ASSERT_EQ(r.mStatus, 0) << r.mErr;
        EXPECT_EQ(r.mOut + r.mErr, "");
        EXPECT_EQ(ReadBytes(mIn), input); // only read
        Time_TempoMap tempo;
        Time_MeterMap meter;
        Time_MapFile::Load(std::vector<uint8_t>(input.begin(), input.end()), tempo, meter);
        Time_TempoEdit edit(&tempo);
        row.mEdit(edit, tempo);
        const std::vector<uint8_t> expected = Time_MapFile::Save(tempo, meter);
        EXPECT_EQ(ReadBytes(mOut), Bytes(expected.begin(), expected.end()));
    }
}

TEST_F(Cmd_MapEditTest, BadInputFailsWithOneLineAndNoOutput)
{
    MakeInput(kChanges);
    const Bytes input = ReadBytes(mIn);
    const std::string mixed = Path("mixed.map");
    ASSERT_EQ(Run("map new " + mixed + " --tempo '120,3|1=90,5|1=80' --idb '4|1=300000'").mStatus,
              0);
    const struct
    {
        std::string mArgs;
        const char* mErr;
    } rows[] = {
        {"map edit " + mIn + " --to-idb", "map edit needs -o OUT"},
        {"map edit " + mIn + " -o " + mIn + " --to-idb", "which is only read"},
        {"map edit " + mIn + " -o " + mOut + " --delete-time '3|1:2|1'", "A must not come after B"},
        {"map edit " + mIn + " -o " + mOut + " --insert-change '2|x=90'", "BAR|BEAT[|TICK]"},
        {"map edit " + mIn + " -o " + mOut + " --insert-change '2|1=1000'", "from 5 to 999 bpm"},
        {"map edit " + mIn + " -o " + mOut + " --add-idb '2|1=-5'", "from 0 to 2147483647"},
        {"map edit " + mIn + " -o " + mOut + " --insert-time '2|1:0'", "more than 0"},
        {"map edit " + mIn + " -o " + mOut + " --insert-time '2|1:9000000000s'",
         "within 2147483647 of 0"},
        {"map edit " + mIn + " -o " + mOut + " --nudge '2|1:3|1'", "A:B:AMOUNT"},
        {"map edit " + mixed + " -o " + mOut + " --erase '1|1:2|1'", "--to-changes or --to-idb"},
        {"map edit " + Path("none.map") + " -o " + mOut + " --to-idb", "cannot be opened"},
        {"map show " + mIn + " --erase '1|1:2|1'", "does not apply to map show"},
    };
    for (const auto& row : rows)
    {
        const Test_ToolResult r = Run(row.mArgs);
        EXPECT_EQ(r.mStatus, 1) << row.mArgs;
        EXPECT_EQ(r.mOut, "") << row.mArgs;
        EXPECT_NE(r.mErr.find(row.mErr), std::string::npos) << row.mArgs << "\n" << r.mErr;
        EXPECT_EQ(std::count(r.mErr.begin(), r.mErr.end(), '\n'), 1) << r.mErr;
        EXPECT_FALSE(std::filesystem::exists(mOut)) << row.mArgs;
        EXPECT_EQ(ReadBytes(mIn), input) << row.mArgs;
    }
}
