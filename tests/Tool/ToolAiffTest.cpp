// AIFF and AIFC through the tool: tone, convert and consolidate write the type the output's
// name or --type asks for, and info shows the format name and the instrument.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "Support/FFTestSupport.h"
#include "Support/InteropSupport.h"
#include "Support/ToolRunner.h"

namespace
{
class ToolAiff : public Test_ToolTest
{
};

struct Opened
{
    EAudioFileType mType = eAudioFileType_Unknown;
    FF_AudioFile::Properties mProperties;
    Bytes mSamples; // native order
};

Opened Open(const std::string& iPath)
{
    Opened o;
    FF_AudioFileRef file = OpenFile(iPath, Cmn_Store::eOpenFlag_OpenForRead);
    o.mType = file->GetAudioFileType();
    if (o.mType != eAudioFileType_Unknown)
    {
        o.mProperties = file->GetProperties();
        o.mSamples = Test_ReadAll(*file);
    }
    file->Close();
    return o;
}

// Each command writes the asked type; sample-exact where nothing but the byte order changes.
TEST_F(ToolAiff, CommandsWriteTheTypeTheOutputAsksFor)
{
    const std::string source = In("source.aif");
    auto r = Test_RunTool("tone '" + source + "' --rate 48000 --bits 24 --channels 2 --seconds 1",
                          mDir.Path());
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    const Opened tone = Open(source);
    ASSERT_EQ(tone.mType, eAudioFileType_AIFF);
    EXPECT_EQ(tone.mProperties.mNumSamples, 48000);
    const size_t frame = 6;
    const struct
    {
        const char* mName;
        std::string mArgs;
        std::string mOutput;
        EAudioFileType mType;
        int mBits;
        int64_t mFrom, mFrames; // the source frames the output holds exactly, or -1 for none
    } cases[] = {
        {"tone to AIFC", "tone '" + In("t.aifc") + "' --rate 44100 --bits 16 --channels 1 --seconds 1",
         In("t.aifc"), eAudioFileType_AIFC, 16, -1, 44100},
        {"convert by extension", "convert '" + source + "' -o '" + In("c.aifc") + "'", In("c.aifc"),
         eAudioFileType_AIFC, 24, 0, 48000},
        {"convert by --type into a folder",
         "convert '" + source + "' --to '" + In("out") + "' --type aiff --bits 16", In("out/source.aif"),
         eAudioFileType_AIFF, 16, -1, 48000},
        {"convert to WAVE", "convert '" + source + "' -o '" + In("w.wav") + "'", In("w.wav"),
         eAudioFileType_WAVE, 24, 0, 48000},
        {"consolidate", "consolidate '" + source + "' --range 100:1100 --range 2000:2500 -o '" +
                            In("k.aif") + "'",
         In("k.aif"), eAudioFileType_AIFF, 24, 100, 1000},
    };
    std::filesystem::create_directories(In("out"));
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.mName);
        r = Test_RunTool(c.mArgs, mDir.Path());
        ASSERT_EQ(r.mStatus, 0) << r.mErr;
        const Opened out = Open(c.mOutput);
        ASSERT_EQ(out.mType, c.mType);
        EXPECT_EQ(out.mProperties.mBitDepth, c.mBits);
        EXPECT_GE(out.mProperties.mNumSamples, c.mFrames);
        if (c.mFrom >= 0)
        {
            ASSERT_GE(out.mSamples.size(), size_t(c.mFrames) * frame);
            EXPECT_TRUE(std::equal(tone.mSamples.begin() + ptrdiff_t(size_t(c.mFrom) * frame),
                                   tone.mSamples.begin() + ptrdiff_t(size_t(c.mFrom + c.mFrames) * frame),
                                   out.mSamples.begin()))
                << "samples changed on the way";
        }
    }
}

// info names the format and shows the instrument in text and in JSON; a file without one
// shows none.
TEST_F(ToolAiff, InfoShowsFormatNameAndInstrument)
{
    const std::string looped = In("looped.aifc");
    {
        FF_AudioFileRef file = NewFile(eAudioFileType_AIFC, looped, 1, 16, 44100);
        Bytes samples = Pattern(2 * 3000);
        file->Write(samples.data(), 3000);
        file->mInstrumentAttr.Set({61, -5, 1, 100, 900, 2, 1000, 2000});
        file->Flush();
        file->Close();
    }
    const std::string plain = In("plain.aif");
    FF_AudioFileRef file = NewFile(eAudioFileType_AIFF, plain, 2, 8, 22050);
    file->Flush();
    file->Close();

    auto r = Test_RunTool("info '" + looped + "'", mDir.Path());
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    for (const char* line : {"format name          AIFC\n", "byte order           big-endian\n",
                             "root key             61\n", "fine tune            -5 cents\n",
                             "loops                2\n", "  forward  100-900\n",
                             "  ping-pong  1000-2000\n"})
        EXPECT_NE(r.mOut.find(line), std::string::npos) << line << r.mOut;
    r = Test_RunTool("info --json '" + looped + "' '" + plain + "'", mDir.Path());
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_NE(r.mOut.find("\"format_name\": \"AIFC\""), std::string::npos) << r.mOut;
    EXPECT_NE(r.mOut.find("\"instrument\": {\"root_key\": 61, \"fine_tune\": -5, \"loops\": "
                          "[{\"type\": \"forward\", \"start\": 100, \"end\": 900}, {\"type\": "
                          "\"ping-pong\", \"start\": 1000, \"end\": 2000}]}"),
              std::string::npos)
        << r.mOut;
    EXPECT_NE(r.mOut.find("\"format_name\": \"AIFF\""), std::string::npos) << r.mOut;
    EXPECT_NE(r.mOut.find("\"instrument\": null"), std::string::npos) << r.mOut;
    r = Test_RunTool("info '" + plain + "'", mDir.Path());
    EXPECT_EQ(r.mOut.find("root key"), std::string::npos) << r.mOut;
}
} // namespace
