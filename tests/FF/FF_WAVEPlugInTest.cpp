#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/PlugIns/FF_WAVEChunks.h"
#include "FF/Audio/PlugIns/FF_WAVEPlugIn.h"
#include "Support/FFTestSupport.h"
#include "Sys_FilePosix.h"

namespace
{
bool Has(const std::vector<std::string>& iIDs, const std::string& iID)
{
    return std::find(iIDs.begin(), iIDs.end(), iID) != iIDs.end();
}

Bytes Mono16(size_t iFrames, uint32_t iSeed = 7)
{
    return Pattern(iFrames * 2, iSeed);
}

// A new file: its chunks in order, the first sample aligned, and every property written
// through the front read back from its chunk.
TEST(FF_WAVEPlugIn, NewFileHasItsChunksInOrderAndEveryPropertyReadsBack)
{
    for (const bool align4K : {false, true})
    {
        Test_TempDir dir;
        const std::string path = dir.Path() + "/n.wav";
        const Sys_Umid umid(0, 42, 7, 99);
        FF_AudioFileRef file(
            new FF_AudioFile(eAudioFileType_WAVE, Sys_FileLoc(path), 1, 24, 96000, 5000, 0));
        file->mAlignFor4K = align4K; // before the file is opened
        file->Open(Cmn_Store::eOpenFlag_OpenCreate);
        Bytes samples = Pattern(1000 * 3);
        file->Write(samples.data(), 1000);
        file->mUmid.Set(umid);
        file->mDescription.Set("a take of the chorus");
        file->mBroadcastWaveData.Set({"studio B"});
        const FF_AudioInstrumentAttr attr{62, -20, 2, 100, 900, 3, 10, 20};
        file->mInstrumentAttr.Set(attr);
        file->mDRktAssetInfo.Set({0xCAFE1234u});
        EXPECT_TRUE(file->mOverview.CanWrite());
        const FF_AudioOverviewData overview(size_t(UAFOvwfChunk::OverviewSize(1000)), 7);
        file->mOverview.Set(overview);
        file->mModificationCount.Set(41);
        file->AddRegion(FF_AudioFile::Region("r", 10, 20, 10, 1, 2, Sys_Umid(1, 1, 1, 1), false));
        file->Flush();
        const int64_t offset = file->mOffsetToData.GetOr(0);
        file->Close();
        EXPECT_EQ(offset % (align4K ? 4096 : 512), 0) << offset;
        const Bytes image = ReadBytes(path);
        EXPECT_EQ(ChunkIDs(image),
                  (std::vector<std::string>{"bext", "fmt ", "minf", "JUNK", "elm1", "data", "regn", "ovwf",
                                            "umid", "smpl", "rkti"}));
        EXPECT_EQ(FindData(image).first, size_t(offset));
        EXPECT_EQ(image.size() % 2, 0u);

        FF_AudioFileRef back = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
        // Only the first reader of "bext" learns that the file is a broadcast wave.
        if (align4K)
        {
            EXPECT_EQ(back->mDescription.GetOr(""), "a take of the chorus");
        }
        EXPECT_EQ(back->mFormatName.GetOr(""), align4K ? "WAV" : "BWF (.WAV)");
        EXPECT_EQ(back->mUmid.GetOr(Sys_Umid()), umid);
        EXPECT_EQ(back->mDescription.GetOr(""), "a take of the chorus");
        EXPECT_EQ(back->mBroadcastWaveData.GetOr({}).mOriginator, "studio B");
        EXPECT_EQ(back->mOriginalTimeStamp.GetOr(0), 5000);
        EXPECT_EQ(back->mSampleRate.GetOr(0), 96000);
        FF_AudioInstrumentAttr attrBack = attr;
        attrBack.mFineTune = 120; // a negative fine tune comes back as 100 minus it
        EXPECT_EQ(back->mInstrumentAttr.GetOr({}), attrBack);
        EXPECT_EQ(back->mDRktAssetInfo.GetOr({}).mValue, 0xCAFE1234u);
        EXPECT_EQ(back->mOverview.GetOr({}), overview);
        EXPECT_EQ(back->mModificationCount.GetOr(0), 42) << "the flush counted";
        EXPECT_GT(back->mModificationTime.GetOr(0), 0u);
        FF_AudioFile::RegionList regions;
        back->GetRegions(&regions);
        ASSERT_EQ(regions.size(), 2u);
        EXPECT_EQ(regions.front().mUmid, umid) << "whole-file region made at the flush";
        EXPECT_EQ(regions.front().mStopSample, 1000);
        EXPECT_EQ(regions.back().mUmid, Sys_Umid(1, 1, 1, 1));
        back->Close();
    }
}

// Flushes of files from elsewhere and of our own. The samples keep their bytes (an odd data
// size too) and their place, unless a chunk in front changes size: then they move on disk by
// less than their own length, down (a bext with coding history is cut to 602 bytes) or up (a
// longer ANNO). A description goes to "ANNO" where there is no "bext"; a foreign chunk
// behind the data stays while only metadata changes, and goes when the data grows.
TEST(FF_WAVEPlugIn, FlushKeepsTheSamplesAndForeignChunksUnlessTheyMustMoveOrGo)
{
    Test_TempDir dir;
    const std::string own = dir.Path() + "/own.wav";
    MakeWave(own, 2, 16, Pattern(4000 * 4));
    const Bytes fmt = Chunk("fmt ", FmtData(1, 1, 44100, 16));
    const Bytes list = Chunk("LIST", Bytes{'I', 'N', 'F', 'O', 1, 2, 3});
    Bytes bext(700, 0);
    std::memcpy(bext.data(), "old", 3);
    struct Case
    {
        const char* mName;
        Bytes mImage;
        std::string mDescription; // set unless empty
        bool mSetUmid;
        std::vector<std::string> mIDs; // afterwards; our own file's are not checked
        int64_t mGrowBy = 0;           // frames appended
        int64_t mShift = 0;            // of the samples on disk
    };
    const Case cases[] = {
        {"no bext",
         Riff({Chunk("fmt ", FmtData(1, 2, 44100, 16)), Chunk("data", Pattern(400))}),
         "odd",
         false,
         {"fmt ", "data", "ANNO"}},
        {"odd data size",
         Riff({Chunk("fmt ", FmtData(1, 1, 8000, 16)), Chunk("data", Pattern(201)),
               Chunk("umid", Bytes(24, 0))}),
         "",
         true,
         {"fmt ", "data", "umid"}},
        {"unknown chunk behind the data",
         Riff({fmt, Chunk("data", Mono16(100)), list}),
         "",
         true,
         {"fmt ", "data", "LIST", "umid"}},
        {"unknown chunk behind growing data",
         Riff({fmt, Chunk("data", Mono16(100)), list}),
         "",
         true,
         {"fmt ", "data", "umid"},
         50},
        {"samples move down",
         Riff({fmt, Chunk("bext", bext), Chunk("data", Mono16(5000)), list}),
         "new",
         false,
         {"fmt ", "bext", "data", "LIST"},
         0,
         -98},
        {"samples move up",
         Riff({fmt, Chunk("ANNO", Bytes{'a', 'b'}), Chunk("data", Mono16(5000)), list}),
         std::string(302, 'x'),
         false,
         {"fmt ", "ANNO", "data", "LIST"},
         0,
         300},
        {"our own file", ReadBytes(own), "new words", true, {}},
    };
    const std::string path = dir.Path() + "/m.wav";
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mName);
        WriteBytes(path, c.mImage);
        const auto [start, size] = FindData(c.mImage);
        const size_t moved = size_t(int64_t(start) + c.mShift);
        FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForWrite);
        EXPECT_EQ(file->mFormatName.GetOr(""),
                  Has(ChunkIDs(c.mImage), "bext") ? "BWF (.WAV)" : "WAV");
        if (!c.mDescription.empty())
            file->mDescription.Set(c.mDescription);
        if (c.mSetUmid)
            file->mUmid.Set(Sys_Umid(0, 42, 3, 3));
        if (c.mIDs.empty())
            file->AddRegion(
                FF_AudioFile::Region("r", 5, 50, 45, 0, 0, Sys_Umid(9, 9, 9, 9), false));
        Bytes more = Mono16(size_t(c.mGrowBy), 3);
        if (c.mGrowBy > 0)
        {
            file->SetPosition(file->mNumSamples.GetOr(0));
            file->Write(more.data(), c.mGrowBy);
        }
        file->Flush();
        EXPECT_EQ(file->mOffsetToData.GetOr(0), int64_t(moved));
        const FF_AudioFile::Properties p = file->GetProperties();
        const int64_t frames = int64_t(size) / (p.mBytesPerSample * p.mNumChannels);
        Bytes back(size_t(frames * p.mBytesPerSample * p.mNumChannels));
        file->SetPosition(0);
        EXPECT_EQ(file->Read(back.data(), frames), frames);
        EXPECT_TRUE(std::equal(back.begin(), back.end(), c.mImage.begin() + ptrdiff_t(start)));
        file->Close();

        const Bytes image = ReadBytes(path);
        EXPECT_EQ(FindData(image), std::make_pair(moved, size + more.size()));
        EXPECT_EQ(Hash(image, moved, size), Hash(c.mImage, start, size));
        EXPECT_EQ(Hash(image, moved + size, more.size()), Hash(more, 0, more.size()));
        EXPECT_TRUE(c.mIDs.empty() || ChunkIDs(image) == c.mIDs);
        FF_AudioFileRef reread = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(reread->mDescription.GetOr(""), c.mDescription);
        EXPECT_EQ(reread->mUmid.GetOr(Sys_Umid()), c.mSetUmid ? Sys_Umid(0, 42, 3, 3) : Sys_Umid());
        reread->Close();
    }
}

TEST(FF_WAVEPlugIn, GrowsWhileWritingAndStaysReadableAfterEachFlush)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/g.wav";
    FF_AudioFileRef file = NewWave(path, 2, 16);
    file->AddRegion(FF_AudioFile::Region("first", 0, 0, 0, 0, 0, Sys_Umid(3, 3, 3, 3), false));
    Bytes written;
    for (int block = 0; block < 8; ++block)
    {
        Bytes samples = Pattern(4 * 700, uint32_t(block));
        written.insert(written.end(), samples.begin(), samples.end());
        file->Write(samples.data(), 700);
        file->Flush();
        FF_AudioFileRef reader = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(reader->mNumSamples.GetOr(0), 700 * (block + 1));
        Bytes back(written.size());
        EXPECT_EQ(reader->Read(back.data(), 700 * (block + 1)), 700 * (block + 1));
        EXPECT_EQ(back, written);
        reader->Close();
    }
    file->Close();
    EXPECT_EQ(ChunkIDs(ReadBytes(path)).back(), "ovwf");
}

// A metadata flush whose Nth write fails: the samples are never touched, and the file still
// opens as WAVE with all its samples.
TEST(FF_WAVEPlugIn, FailedWriteDuringMetadataFlushLeavesSamplesReadable)
{
    Test_TempDir dir;
    const std::string master = dir.Path() + "/master.wav";
    const Bytes samples = Pattern(2 * 3000);
    MakeWave(master, 1, 16, samples);
    int failures = 0;
    for (int32_t n = 1; n <= 12; ++n)
    {
        const std::string path = dir.Path() + "/f" + std::to_string(n) + ".wav";
        WriteBytes(path, ReadBytes(master));
        bool failed = false;
        {
            FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForWrite);
            file->mDescription.Set("changed");
            file->mUmid.Set(Sys_Umid(0, 42, 1, uint32_t(n)));
            file->AddRegion(FF_AudioFile::Region("x", 1, 2, 1, 0, 0, Sys_Umid(1, 0, 0, 0), false));
            Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Write, n, EIO);
            try
            {
                file->Flush();
            }
            catch (const Cmn_Exception&)
            {
                failed = true;
            }
            Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Write, 0, 0);
            file->Close();
        }
        failures += failed;
        FF_AudioFileRef back = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
        ASSERT_EQ(back->GetAudioFileType(), eAudioFileType_WAVE) << n;
        Bytes read(samples.size());
        EXPECT_EQ(back->Read(read.data(), 3000), 3000) << n;
        EXPECT_EQ(read, samples) << n;
        if (!failed)
        {
            EXPECT_EQ(back->mDescription.GetOr(""), "changed") << n;
        }
        back->Close();
    }
    EXPECT_GT(failures, 0);
}

// A WAVE or AIFF file inside a larger one: its own header corrects the length, its samples
// are read from the range, and it cannot be written.
TEST(FF_WAVEPlugIn, EmbeddedFileReadsItsRangeAndIsReadOnly)
{
    for (const EAudioFileType type : {eAudioFileType_WAVE, eAudioFileType_AIFF})
    {
        Test_TempDir dir;
        const std::string inner = dir.Path() + "/inner";
        const Bytes samples = Mono16(256);
        FF_AudioFileRef made = NewFile(type, inner, 1, 16);
        Bytes copy = samples;
        made->Write(copy.data(), 256);
        made->Flush();
        made->Close();
        Bytes outer = Pattern(1001, 9);
        const Bytes innerBytes = ReadBytes(inner);
        outer.insert(outer.end(), innerBytes.begin(), innerBytes.end());
        const Bytes trailer = Pattern(333, 4);
        outer.insert(outer.end(), trailer.begin(), trailer.end());
        const std::string path = dir.Path() + "/outer.bin";
        WriteBytes(path, outer);

        FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(path), 1001));
        file->Open(Cmn_Store::eOpenFlag_OpenForRead);
        ASSERT_EQ(file->GetAudioFileType(), type);
        EXPECT_EQ(file->GetEmbeddedLength(), int64_t(innerBytes.size()));
        const int64_t offset = file->mOffsetToData.GetOr(0) - 1001;
        EXPECT_TRUE(std::equal(
            innerBytes.begin() + offset, innerBytes.begin() + offset + 512,
            type == eAudioFileType_WAVE ? samples.begin() : BigEndianSamples(samples, 16).begin()));
        EXPECT_TRUE(file->IsReadOnly());
        EXPECT_FALSE(file->CanDestructiveRecord());
        Bytes back(samples.size() + 10);
        EXPECT_EQ(file->Read(back.data(), 300), 256);
        EXPECT_TRUE(std::equal(samples.begin(), samples.end(), back.begin()));
        file->Close();
    }
}

// ---- the chunk list ----------------------------------------------------------------------

// The parse stops after 101 chunks; ReadChunk reads a chunk that is there, and only once.
TEST(FF_ChunkyFile, ParseStopsAfter101ChunksAndReadChunkReadsOnlyOnce)
{
    for (const int fillers : {98, 99})
    {
        std::vector<Bytes> chunks = {Chunk("fmt ", FmtData(1, 1, 8000, 16)),
                                     Chunk("data", Pattern(20))};
        for (int i = 0; i < fillers; ++i)
            chunks.push_back(Chunk("junk", Bytes(2, 0)));
        chunks.push_back(Chunk("umid", Bytes(24, 7)));
        Test_TempDir dir;
        const std::string path = dir.Path() + "/c.wav";
        WriteBytes(path, Riff(chunks));
        FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
        auto* plugIn = dynamic_cast<FF_WAVEPlugIn*>(file->GetPlugIn());
        ASSERT_NE(plugIn, nullptr);
        EXPECT_EQ(plugIn->GetChunks().size(), std::min<size_t>(chunks.size(), 101)) << fillers;
        EXPECT_EQ(plugIn->ReadChunk(FF_AudioChunkID("umid")), fillers == 98)
            << "the 101st chunk is read, the 102nd is not seen";
        EXPECT_FALSE(plugIn->ReadChunk(FF_AudioChunkID("umid")));
        EXPECT_FALSE(plugIn->ReadChunk(FF_AudioChunkID("rkti"))) << "no such chunk";
        EXPECT_EQ(file->mUmid.GetOr(Sys_Umid()) != Sys_Umid(), fillers == 98);
        file->Close();
    }
}

// ---- bad input ---------------------------------------------------------------------------

std::vector<AudioInput> BadInputs()
{
    const Bytes fmt = Chunk("fmt ", FmtData(1, 2, 44100, 16));
    const Bytes data = Chunk("data", Pattern(64));
    std::vector<AudioInput> cases;
    cases.push_back({"empty file", {}, false});
    Bytes full = Riff({fmt, data});
    cases.push_back({"truncated header", Bytes(full.begin(), full.begin() + 10), false});
    cases.push_back({"truncated data", Bytes(full.begin(), full.end() - 20), false});
    cases.push_back(
        {"data size past the end", Riff({fmt, Chunk("data", Pattern(64), 1 << 30)}), false});
    cases.push_back({"fmt size past the end",
                     Riff({Chunk("fmt ", FmtData(1, 2, 44100, 16), 0xFFFFFFF0)}), false});
    cases.push_back({"float format", Riff({Chunk("fmt ", FmtData(3, 2, 44100, 32)), data}), false});
    cases.push_back(
        {"extensible format", Riff({Chunk("fmt ", FmtData(0xFFFE, 2, 44100, 16)), data}), false});
    cases.push_back({"4-bit samples", Riff({Chunk("fmt ", FmtData(1, 2, 44100, 4)), data}), false});
    cases.push_back({"no channels", Riff({Chunk("fmt ", FmtData(1, 0, 44100, 16)), data}), false});
    cases.push_back({"short fmt", Riff({Chunk("fmt ", Bytes(8, 1)), data}), false});
    cases.push_back({"no data", Riff({fmt}), false});
    // An empty "data" at the very end starts in the last 8 bytes of the form: never seen.
    cases.push_back({"zero-length data at the end", Riff({fmt, Chunk("data", {})}), false});
    cases.push_back(
        {"zero-length data", Riff({fmt, Chunk("data", {}), Chunk("umid", Bytes(24, 0))}), true});
    cases.push_back({"form size lies", Riff({fmt, data}, 0x7FFFFFFF), true});
    cases.push_back({"regn count lies",
                     Riff({fmt, data, Chunk("regn", Bytes{0xFF, 0xFF, 0xFF, 0x7F, 1})}), true});
    cases.push_back(
        {"ovwf count lies", Riff({fmt, data, Chunk("ovwf", Bytes{0xFF, 0xFF, 0xFF, 0xFF})}), true});
    cases.push_back(
        {"smpl size lies", Riff({fmt, data, Chunk("smpl", Bytes(40, 0), 0xFFFFFF00)}), true});
    cases.push_back(
        {"ANNO size lies", Riff({fmt, data, Chunk("ANNO", Bytes{'h', 'i'}, 0xFFFFFFFF)}), true});
    cases.push_back({"short umid", Riff({fmt, data, Chunk("umid", Bytes(4, 1))}), true});
    cases.push_back({"unknown chunk past the end",
                     Riff({fmt, data, Chunk("junk", Bytes(4, 1), 0x7FFFFFFF)}), true});
    std::vector<Bytes> many = {fmt, data};
    for (int i = 0; i < 198; ++i)
        many.push_back(Chunk("bext", {}));
    cases.push_back({"200 chunks", Riff(many), true});
    return cases;
}

// Inputs good and bad: a plug-in takes exactly the ones it should, and reading them stays
// safe. They are the seeds of fuzz/WAVEOpenFuzz.cpp: small files of this writer and the bad
// inputs; set MIRAFILE_WRITE_FUZZ_SEEDS to a folder to have them written there.
TEST(FF_WAVEPlugIn, InputsOpenAsTheyShouldAndReadSafelyAndAreTheFuzzSeeds)
{
    Test_TempDir dir;
    std::vector<AudioInput> inputs;
    for (const auto& [name, channels, bits, frames] :
         {std::tuple{"mono8.wav", 1, 8, 40}, {"stereo16.wav", 2, 16, 50}, {"six24.wav", 6, 24, 10}})
    {
        const std::string path = dir.Path() + "/" + name;
        FF_AudioFileRef file = NewWave(path, int16_t(channels), int16_t(bits), 44100, 77);
        Bytes samples = Pattern(size_t(frames * channels * bits / 8));
        file->Write(samples.data(), frames);
        file->mUmid.Set(Sys_Umid(0, 42, 1, 2));
        file->mDescription.Set("seed");
        file->AddRegion(FF_AudioFile::Region("r", 1, 5, 4, 0, 0, Sys_Umid(4, 4, 4, 4), false));
        file->Flush();
        file->Close();
        inputs.push_back({name, ReadBytes(path), true});
    }
    const size_t good = inputs.size();
    for (const AudioInput& c : BadInputs())
        inputs.push_back(c);
    CheckInputsAndWriteSeeds(inputs, good, dir.Path(), ".wav");
}
} // namespace
