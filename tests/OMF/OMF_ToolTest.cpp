// The omf command of the built tool: info, dump, settings and extract, and its one-line
// failures.
#include <gtest/gtest.h>

#include <filesystem>

#include "FF/OMF/OMF_Defs.h"
#include "FF/OMF/OMF_FileWriter.h"
#include "FF/OMF/OMF_Utils.h"
#include "OMFTestSupport.h"
#include "Support/TestSupport.h"
#include "Support/ToolRunner.h"
#include "Sys_FileLoc.h"

namespace
{
class OMF_ToolTest : public Test_ToolTest
{
protected:
    std::string Path(const std::string& iName) const { return In(iName); }
    std::string Dir() const { return mDir.Path(); }
    Test_ToolResult Run(const std::string& iArgs) const { return Test_RunTool(iArgs, mDir.Path()); }
    std::string WriteOMF(const OMFTest_Variant& iVariant)
    {
        const std::string path = Path(iVariant.Name() + ".omf");
        OMF_WriteFile(Sys_FileLoc(path), OMFTest_Spec(iVariant, OMFTest_GetMedia(Dir())));
        return path;
    }
};

TEST_F(OMF_ToolTest, InfoDumpAndSettings)
{
    const std::string omf = WriteOMF({kOmfRev2x, true, 0, 0});
    Test_ToolResult r = Run("omf info " + omf);
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    for (const char* line : {"version      2.1\n", "byte order   big-endian\n",
                             "mobs         1 composition, 2 master, 2 source, 0 other\n", "tracks       2\n",
                             "descriptors  2\n", "media        2\n", "  WAVE  42.1.1  offset ", "\"Kick\"",
                             "  AIFC  42.2.1  offset "})
        EXPECT_NE(r.mOut.find(line), std::string::npos) << line << r.mOut;
    r = Run("omf info --json " + omf);
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_NE(r.mOut.find("\"byte_order\": \"big\""), std::string::npos) << r.mOut;
    EXPECT_NE(r.mOut.find("\"format\": \"AIFC\""), std::string::npos) << r.mOut;

    r = Run("omf dump " + omf + " --class SCLP");
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_NE(r.mOut.find(" SCLP\n  OMFI:OOBJ:ObjClass (omfi:ClassID) = \"SCLP\"\n"), std::string::npos) << r.mOut;
    EXPECT_NE(r.mOut.find("OMFI:SCLP:SourceID (omfi:UID) = 42.2.2"), std::string::npos) << r.mOut;
    EXPECT_EQ(r.mOut.find(" CMOB\n"), std::string::npos);
    // Little- and big-endian files of one content dump alike but for the byte order.
    const std::string little = WriteOMF({kOmfRev2x, false, 0, 0});
    auto strip = [](std::string iText) {
        const size_t at = iText.find("'MM'") != std::string::npos ? iText.find("'MM'") : iText.find("'II'");
        return at == std::string::npos ? iText : iText.replace(at, 4, "''");
    };
    for (const char* options : {"", " --class CMOB"})
        EXPECT_EQ(strip(Run("omf dump " + omf + options).mOut), strip(Run("omf dump " + little + options).mOut));
    EXPECT_EQ(Run("omf dump " + omf + " --class SCL").mStatus, 1);

    r = Run("omf settings");
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_EQ(r.mOut.rfind("Translation mode.: OMF to Mira Deck\nConsolidate handle length (ms): 1000 (disabled)\n", 0), 0u)
        << r.mOut;
    EXPECT_NE(r.mOut.find("Timecode format: 29.97fps DF (disabled)\n"), std::string::npos) << r.mOut;
    r = Run("omf settings --json");
    EXPECT_NE(r.mOut.find("\"label\": \"Quantize edits to frame boundaries\""), std::string::npos);
}

TEST_F(OMF_ToolTest, ExtractWritesEachPayloadAsItWasWritten)
{
    for (const OMFTest_Variant& variant : OMFTest_Variants())
    {
        SCOPED_TRACE(variant.Name());
        const std::string omf = WriteOMF(variant);
        const std::string to = Path("out-" + variant.Name());
        ASSERT_TRUE(std::filesystem::create_directory(to));
        Test_ToolResult r = Run("omf extract " + omf + " --to " + to);
        ASSERT_EQ(r.mStatus, 0) << r.mErr;
        EXPECT_EQ(ReadBytes(to + "/Kick.wav"), OMFTest_GetMedia(Dir()).mWave);
        EXPECT_EQ(ReadBytes(to + "/Snare.aif"), OMFTest_GetMedia(Dir()).mAifc);
        EXPECT_EQ(Test_FolderNames(to), (std::set<std::string>{"Kick.wav", "Snare.aif"}));
        // A second run finds the names taken, fails, and replaces nothing.
        r = Run("omf extract " + omf + " --to " + to);
        EXPECT_EQ(r.mStatus, 1);
        EXPECT_EQ(Test_FolderNames(to), (std::set<std::string>{"Kick.wav", "Snare.aif"}));
    }
}

TEST_F(OMF_ToolTest, ExtractWritesAQSIIPayloadOfTheMediaCalls)
{
    // A 1.x file whose media data is of the QSII class, written raw by the media calls.
    const Bytes payload = Pattern(1001, 5);
    const std::string omf = Path("qs2m.omf");
    omfHdl_t file = nullptr;
    ASSERT_EQ(omfsCreateFile(Sys_FileLoc(omf), OMF_Utils::GetSession(), kOmfRev1x, &file), OM_ERR_NONE);
    omfObject_t fileMob = 0, master = 0;
    omfMediaHdl_t media = nullptr;
    ASSERT_EQ(omfmFileMobNew(file, "Pad", omfRational_t{44100, 1}, OMF_Defs::OMClassQS2M, &fileMob), OM_ERR_NONE);
    ASSERT_EQ(omfmMasterMobNew(file, "Pad", true, &master), OM_ERR_NONE);
    ASSERT_EQ(omfmAudioMediaCreate(file, master, fileMob, omfRational_t{44100, 1}, 16, 1, &media), OM_ERR_NONE);
    ASSERT_EQ(omfmWriteRawData(media, 400, payload.data(), int32_t(payload.size())), OM_ERR_NONE);
    ASSERT_EQ(omfsCloseFile(file), OM_ERR_NONE); // closes the media
    const std::string to = Path("out-qs2m");
    ASSERT_TRUE(std::filesystem::create_directory(to));
    const Test_ToolResult r = Run("omf extract " + omf + " --to " + to);
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_EQ(Test_FolderNames(to), (std::set<std::string>{"Pad.qs2"}));
    EXPECT_EQ(ReadBytes(to + "/Pad.qs2"), payload);
}

TEST_F(OMF_ToolTest, BadFilesGetOneLine)
{
    const std::string wave = Path("plain.wav");
    WriteBytes(wave, OMFTest_GetMedia(Dir()).mWave);
    Bytes cut = ReadBytes(WriteOMF({kOmfRev1x, false, 0, 0}));
    cut.resize(cut.size() - 3);
    WriteBytes(Path("cut.omf"), cut);
    const std::pair<std::string, std::string> cases[] = {
        {"omf info " + wave, wave + ": file is not OMFI media\n"},
        {"omf dump " + Path("cut.omf"), Path("cut.omf") + ": file is not OMFI media\n"},
        {"omf extract " + wave + " --to " + Dir(), wave + ": file is not OMFI media\n"},
        {"omf info " + Path("none.omf"), Path("none.omf") + ": no such file\n"},
    };
    for (const auto& [args, err] : cases)
    {
        const Test_ToolResult r = Run(args);
        EXPECT_EQ(r.mStatus, 1) << args;
        EXPECT_EQ(r.mErr, "mirafile: " + err) << args;
        EXPECT_EQ(r.mOut, "") << args;
    }
    EXPECT_EQ(Run("omf frobnicate").mStatus, 1);
}
} // namespace
