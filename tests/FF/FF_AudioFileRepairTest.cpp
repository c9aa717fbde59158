// Repair of WAVE and AIFF files whose sizes do not match the file: every cut keeps exactly the
// whole frames there, damaged headers come out as the file a writer would have made, files
// that are not understood stay untouched, and an in-place repair can be undone.
#include <gtest/gtest.h>

#include "FF/Audio/PlugIns/FF_AudioFileRepair.h"
#include "Support/FFTestSupport.h"
#include "Support/ToolRunner.h"

namespace
{
// A form of either kind, built without the library: RIFF/WAVE little-endian, FORM/AIFF and
// FORM/AIFC big-endian.
struct Form
{
    const char* mKind; // "WAVE", "AIFF", "AIFC"
    int mChannels;
    int mBits;

    bool Big() const { return mKind[0] == 'A'; }
    int FrameBytes() const { return mChannels * ((mBits + 7) / 8); }

    Bytes Chunk(const char* iID, const Bytes& iData, int64_t iSize = -1) const
    {
        return Big() ? AifChunk(iID, iData, iSize) : ::Chunk(iID, iData, iSize);
    }
    // The format chunk; an AIFF's counts iFrames. 48 kHz (80-bit: 400E BB80 0...).
    Bytes Format(int64_t iFrames, const char* iCompression = "NONE") const
    {
        if (!Big())
            return ::Chunk("fmt ", FmtData(1, mChannels, 48000, mBits));
        const Bytes rate = {0x40, 0x0E, 0xBB, 0x80, 0, 0, 0, 0, 0, 0};
        return AifChunk("COMM", CommData(mChannels, uint32_t(iFrames), mBits, rate,
                                         std::string(mKind) == "AIFC" ? iCompression : nullptr));
    }
    // The samples chunk (behind an AIFF's offset and block size); iSize replaces its stored
    // size.
    Bytes Samples(const Bytes& iSamples, int64_t iSize = -1) const
    {
        if (!Big())
            return ::Chunk("data", iSamples, iSize);
        Bytes data(8 + iSamples.size(), 0);
        std::copy(iSamples.begin(), iSamples.end(), data.begin() + 8);
        return AifChunk("SSND", data, iSize);
    }
    Bytes Image(const std::vector<Bytes>& iChunks, int64_t iFormSize = -1) const
    {
        return Big() ? ::Form(mKind, iChunks, iFormSize) : Riff(iChunks, iFormSize);
    }
    // The file a writer makes of these samples, with chunks after them.
    Bytes Whole(const Bytes& iSamples, const std::vector<Bytes>& iAfter = {}) const
    {
        std::vector<Bytes> chunks = {Format(int64_t(iSamples.size()) / FrameBytes()),
                                     Samples(iSamples)};
        chunks.insert(chunks.end(), iAfter.begin(), iAfter.end());
        return Image(chunks);
    }
    int64_t DataOffset() const { return 12 + int64_t(Format(0).size()) + 8 + (Big() ? 8 : 0); }
};

void PrintTo(const Form& iForm, std::ostream* oStream)
{
    *oStream << iForm.mKind << "-" << iForm.mBits << "bit-" << iForm.mChannels << "ch";
}

const Form cForms[] = {{"WAVE", 2, 16}, {"WAVE", 1, 8}, {"AIFF", 2, 24}, {"AIFC", 1, 16}};

class FF_AudioFileRepair_ : public testing::TestWithParam<Form>
{
protected:
    std::string In(const std::string& iName) const { return mDir.Path() + "/" + iName; }

    // Repairs iImage into a copy and returns the copy's bytes.
    Bytes RepairCopy(const Bytes& iImage, FF_AudioFileRepair::Report* oReport = nullptr)
    {
        const std::string src = In("src"), dst = In("dst-" + std::to_string(mCount++));
        WriteBytes(src, iImage);
        const auto report =
            FF_AudioFileRepair::WriteRepairedCopy(Sys_FileLoc(src), Sys_FileLoc(dst));
        if (oReport)
            *oReport = report;
        EXPECT_EQ(ReadBytes(src), iImage) << "the original changed";
        return ReadBytes(dst);
    }

    Test_TempDir mDir;
    int mCount = 0;
};

TEST_P(FF_AudioFileRepair_, EveryCutKeepsExactlyTheWholeFramesThere)
{
    const Form f = GetParam();
    const Bytes samples = Pattern(size_t(f.FrameBytes()) * 37, 5);
    const Bytes whole = f.Whole(samples);
    const size_t start = size_t(f.DataOffset());
    for (size_t cut = start; cut < start + samples.size(); ++cut)
    {
        const size_t frames = (cut - start) / size_t(f.FrameBytes());
        const Bytes kept(samples.begin(), samples.begin() + long(frames) * f.FrameBytes());
        FF_AudioFileRepair::Report report;
        ASSERT_EQ(RepairCopy(Bytes(whole.begin(), whole.begin() + long(cut)), &report),
                  f.Whole(kept))
            << "cut at " << cut;
        EXPECT_EQ(report.mFrames, int64_t(frames));
        EXPECT_EQ(report.mPartialBytes, int64_t(cut - start) % f.FrameBytes());
        EXPECT_TRUE(report.NeedsRepair());
        if (!f.Big() && frames && cut % 7 == 0)
        {
            // Our own reader takes the repaired copy (it refused the cut file).
            WriteBytes(In("check.wav"), f.Whole(kept));
            FF_AudioFileRef file = OpenFile(In("check.wav"), Cmn_Store::eOpenFlag_OpenForRead);
            EXPECT_EQ(file->GetProperties().mNumSamples, int64_t(frames));
            file->Close();
        }
    }
}

TEST_P(FF_AudioFileRepair_, DamagedHeadersBecomeTheFileAWriterMakes)
{
    const Form f = GetParam();
    // An even count: samples that run to the end would take an odd count's pad byte as a
    // frame of an 8-bit mono file.
    const Bytes samples = Pattern(size_t(f.FrameBytes()) * 12, 9);
    const Bytes list = f.Chunk("LIST", Pattern(10, 3));
    const int64_t n = int64_t(samples.size()) + (f.Big() ? 8 : 0); // the samples chunk's size
    struct Case
    {
        const char* mName;
        Bytes mDamaged, mRepaired;
    };
    const Bytes cutList = [&]
    {
        Bytes b = f.Whole(samples, {list});
        b.resize(b.size() - 4);
        return b;
    }();
    const Case cases[] = {
        {"data size 0", f.Image({f.Format(0), f.Samples(samples, 0)}, 4), f.Whole(samples)},
        {"data size -1", f.Image({f.Format(0), f.Samples(samples, 0xFFFFFFFF)}), f.Whole(samples)},
        {"data size past the end", f.Image({f.Format(12), f.Samples(samples, n + 400)}),
         f.Whole(samples)},
        {"form size wrong", f.Image({f.Format(12), f.Samples(samples), list}, 60),
         f.Whole(samples, {list})},
        {"chunk after the samples cut off", cutList, f.Whole(samples)},
        {"not a chunk after the samples",
         f.Image({f.Format(12), f.Samples(samples), Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9}}, 0),
         f.Whole(samples)},
    };
    std::vector<std::pair<std::string, Bytes>> seeds;
    for (const Case& c : cases)
    {
        seeds.emplace_back(std::string(f.mKind) + std::to_string(f.mBits) + "-" +
                               std::to_string(seeds.size()),
                           c.mDamaged);
        FF_AudioFileRepair::Report report;
        EXPECT_EQ(RepairCopy(c.mDamaged, &report), c.mRepaired) << c.mName;
        EXPECT_TRUE(report.NeedsRepair()) << c.mName;
        EXPECT_EQ(report.mFrames, 12) << c.mName;
    }
    WriteFuzzSeeds(seeds);

    // A whole file, and one with bytes after its form, need nothing.
    for (Bytes whole : {f.Whole(samples, {list}), f.Whole(samples)})
    {
        whole.insert(whole.end(), 3, 0xEE);
        WriteBytes(In("fine"), whole);
        EXPECT_FALSE(FF_AudioFileRepair::Examine(Sys_FileLoc(In("fine"))).NeedsRepair());
    }
}

TEST_P(FF_AudioFileRepair_, InPlaceMatchesTheCopyAndItsBackupRestoresTheOriginal)
{
    const Form f = GetParam();
    Bytes cut = f.Whole(Pattern(size_t(f.FrameBytes()) * 20, 2), {f.Chunk("LIST", Pattern(9, 4))});
    cut.resize(cut.size() - 3);
    const Bytes copy = RepairCopy(cut);
    WriteBytes(In("file"), cut);
    FF_AudioFileRepair::RepairInPlace(Sys_FileLoc(In("file")), Sys_FileLoc(In("file.bak")));
    EXPECT_EQ(ReadBytes(In("file")), copy);
    FF_AudioFileRepair::RestoreFromBackup(Sys_FileLoc(In("file")), Sys_FileLoc(In("file.bak")),
                                          Sys_FileLoc(In("restored")));
    EXPECT_EQ(ReadBytes(In("restored")), cut);

    // A file that needs nothing is not touched and gets no backup.
    WriteBytes(In("fine"), copy);
    FF_AudioFileRepair::RepairInPlace(Sys_FileLoc(In("fine")), Sys_FileLoc(In("fine.bak")));
    EXPECT_EQ(ReadBytes(In("fine")), copy);
    EXPECT_FALSE(std::filesystem::exists(In("fine.bak")));
}

INSTANTIATE_TEST_SUITE_P(Forms, FF_AudioFileRepair_, testing::ValuesIn(cForms));

TEST(FF_AudioFileRepair, FilesNotUnderstoodAreLeftAsTheyAre)
{
    const Form wave = cForms[0], aifc = cForms[3];
    const Bytes samples = Pattern(40, 1);
    const struct
    {
        const char* mName;
        Bytes mImage;
        const char* mWhy;
    } cases[] = {
        {"text", Bytes{'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd', '!', '\n'},
         "not a WAVE or AIFF file"},
        {"empty", {}, "too short"},
        {"samples before the format", wave.Image({wave.Samples(samples), wave.Format(0)}),
         "no format chunk before the samples"},
        {"compressed WAVE",
         wave.Image({::Chunk("fmt ", FmtData(2, 1, 8000, 4)), wave.Samples(samples)}),
         "compressed samples (format 2)"},
        {"compressed AIFC", aifc.Image({aifc.Format(20, "ima4"), aifc.Samples(samples)}),
         "compressed samples ('ima4')"},
        {"frame size 0",
         wave.Image({::Chunk("fmt ", FmtData(1, 0, 8000, 16)), wave.Samples(samples)}),
         "frame size of 0"},
        {"no samples", wave.Image({wave.Format(0)}), "no sample data"},
    };
    Test_TempDir dir;
    for (const auto& c : cases)
    {
        const std::string path = dir.Path() + "/x";
        WriteBytes(path, c.mImage);
        const std::string text = ThrownText(
            [&] {
                FF_AudioFileRepair::WriteRepairedCopy(Sys_FileLoc(path),
                                                      Sys_FileLoc(path + ".out"));
            });
        EXPECT_NE(text.find(c.mWhy), std::string::npos) << c.mName << ": " << text;
        EXPECT_NE(text.find("left as it is"), std::string::npos) << c.mName;
        EXPECT_EQ(ReadBytes(path), c.mImage) << c.mName;
        EXPECT_FALSE(std::filesystem::exists(path + ".out")) << c.mName;
    }
}

// The tool: what it found, where the copy went, and a file it cannot repair named with status 1.
TEST(FF_AudioFileRepair, ToolReportsRepairsAndRefusals)
{
    if (!Test_ToolPath())
        GTEST_SKIP() << "MIRAFILE_TOOL is not set";
    Test_TempDir dir;
    const std::string take = dir.Path() + "/take.wav", notes = dir.Path() + "/notes.txt";
    const Form f = cForms[0];
    Bytes cut = f.Whole(Pattern(400, 8));
    cut.resize(cut.size() - 101);
    WriteBytes(take, cut);
    WriteBytes(notes, std::string_view("no samples in here"));
    auto r = Test_RunTool("repair '" + take + "' '" + notes + "'", dir.Path());
    EXPECT_EQ(r.mStatus, 1);
    EXPECT_EQ(r.mOut, take +
                          ": WAVE, 74 frames of 4 bytes\n"
                          "  the sample data claims 400 bytes, but the file holds 299\n"
                          "  a partial last frame of 3 bytes is dropped\n"
                          "  repaired copy: " +
                          dir.Path() + "/take.repaired.wav\n");
    EXPECT_EQ(r.mErr, "mirafile: \"" + notes + "\": not a WAVE or AIFF file; left as it is\n");
    EXPECT_EQ(ReadBytes(dir.Path() + "/take.repaired.wav"), f.Whole(Pattern(296, 8)));

    r = Test_RunTool("repair --json '" + take + "'", dir.Path());
    EXPECT_EQ(r.mStatus, 1);
    EXPECT_NE(r.mErr.find("take.repaired.wav\" exists already"), std::string::npos) << r.mErr;
    r = Test_RunTool("repair --in-place --json '" + take + "'", dir.Path());
    EXPECT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_NE(r.mOut.find("\"frames\": 74, \"frame_bytes\": 4, \"data_offset\": 44, "
                          "\"dropped_bytes\": 3, \"repaired\": \"" +
                          take + "\", \"backup\": \"" + take + ".repair-backup\""),
              std::string::npos)
        << r.mOut;
    r = Test_RunTool("repair '" + take + "'", dir.Path());
    EXPECT_EQ(r.mOut, take + ": WAVE, 74 frames of 4 bytes; nothing to repair\n");
}
} // namespace
