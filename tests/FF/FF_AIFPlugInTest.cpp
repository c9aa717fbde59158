#include <algorithm>
#include <gtest/gtest.h>
#include <list>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/PlugIns/FF_AIFChunks.h"
#include "FF/Audio/PlugIns/FF_AIFPlugIn.h"
#include "FF/Audio/PlugIns/FF_AudioMetadataChunks.h"
#include "Support/FFTestSupport.h"

namespace
{
Bytes ReadFrames(FF_AudioFile& ioFile, int64_t iFrames, int64_t* oReadP = nullptr)
{
    const FF_AudioFile::Properties p = ioFile.GetProperties();
    Bytes back(size_t(iFrames * p.mNumChannels * p.mBytesPerSample));
    ioFile.SetPosition(0);
    const int64_t n = ioFile.Read(back.data(), iFrames);
    back.resize(size_t(std::max<int64_t>(n, 0) * p.mNumChannels * p.mBytesPerSample));
    if (oReadP)
        *oReadP = n;
    return back;
}

Bytes Ssnd(const Bytes& iSamples, uint32_t iOffset = 0)
{
    Bytes data;
    PutBE(data, iOffset, 4);
    PutBE(data, 0, 4);
    data.insert(data.end(), iOffset, 0xEE);
    data.insert(data.end(), iSamples.begin(), iSamples.end());
    return AifChunk("SSND", data);
}

// An "INST" with loops in the given play modes, markers 0 and 1 for the sustain loop and
// 2 and 3 for the release loop.
Bytes Inst(int iRoot, int iDetune, int iSustainMode, int iReleaseMode)
{
    Bytes data = {uint8_t(iRoot), uint8_t(int8_t(iDetune)), 0, 127, 0, 127};
    PutBE(data, 0, 2);
    for (const auto& [mode, first] : {std::pair{iSustainMode, 0}, {iReleaseMode, 2}})
    {
        PutBE(data, uint64_t(mode), 2);
        PutBE(data, uint64_t(first), 2);
        PutBE(data, uint64_t(first + 1), 2);
    }
    return AifChunk("INST", data);
}

struct MarkerSpec
{
    int mID;
    uint32_t mPosition;
    std::string mName;
};

Bytes Mark(const std::vector<MarkerSpec>& iMarkers)
{
    Bytes data;
    PutBE(data, iMarkers.size(), 2);
    for (const MarkerSpec& m : iMarkers)
    {
        PutBE(data, uint64_t(m.mID), 2);
        PutBE(data, m.mPosition, 4);
        data.push_back(uint8_t(m.mName.size()));
        data.insert(data.end(), m.mName.begin(), m.mName.end());
        if (m.mName.size() % 2 == 0)
            data.push_back(0);
    }
    return AifChunk("MARK", data);
}

const std::vector<MarkerSpec> cLoopMarkers = {
    {0, 100, "beg loop"}, {1, 900, "end loop"}, {2, 1000, "beg loop"}, {3, 1500, "end loop"}};

// Every depth, channel count and form, written then read: samples (in the file big-endian),
// format, identity, regions, overview, description and loops come back; the first sample lies
// 8 bytes past the alignment, behind the fields of "SSND".
TEST(FF_AIFPlugIn, RoundTripOverDepthsChannelsAndForms)
{
    Test_TempDir dir;
    for (const EAudioFileType type : {eAudioFileType_AIFF, eAudioFileType_AIFC})
        for (const int16_t bits : {8, 16, 24, 32})
            for (const int16_t channels : {1, 2, 6})
            {
                const bool aifc = type == eAudioFileType_AIFC;
                SCOPED_TRACE(std::string(aifc ? "AIFC " : "AIFF ") + std::to_string(bits) +
                             " bits, " + std::to_string(channels) + " channels");
                const std::string path = dir.Path() + "/r.aif";
                const int64_t frames = 1001;
                const int32_t rate = aifc ? 44100 : 96000;
                const Bytes samples =
                    Pattern(size_t(frames * channels * bits / 8), uint32_t(bits + channels));
                const Sys_Umid umid(1, 2, 3, uint32_t(bits));
                const FF_AudioInstrumentAttr attr =
                    bits == 8 ? FF_AudioInstrumentAttr{62, -20, 2, 100, 900, 0, 0, 0}
                              : FF_AudioInstrumentAttr{62, -20, 2, 100, 900, 1, 950, 1000};
                const FF_AudioOverviewData overview(size_t(UAFOvwfChunk::OverviewSize(frames)), 5);
                {
                    FF_AudioFileRef file = NewFile(type, path, channels, bits, rate, 777);
                    Bytes copy = samples;
                    ASSERT_EQ(file->Write(copy.data(), frames, eByteOrder_Native, false), frames);
                    EXPECT_EQ(copy, samples) << "the caller's buffer changed";
                    file->mUmid.Set(umid);
                    file->mDescription.Set("take " + std::to_string(bits));
                    file->mInstrumentAttr.Set(attr);
                    file->mDRktAssetInfo.Set({0xBEEF});
                    EXPECT_EQ(file->mOverview.CanWrite(), channels == 1);
                    if (channels == 1)
                        file->mOverview.Set(overview);
                    file->AddRegion(FF_AudioFile::Region("verse", 10, 500, 490, 0, 0,
                                                         Sys_Umid(9, 9, 9, 9), false));
                    file->Flush();
                    file->Close();
                }
                const Bytes image = ReadBytes(path);
                ASSERT_GT(image.size(), 12u);
                EXPECT_EQ(std::string(image.begin() + 8, image.begin() + 12), aifc ? "AIFC" : "AIFF");
                const std::vector<std::string> ids = ChunkIDs(image, true);
                EXPECT_EQ(ids, (std::vector<std::string>{"COMM", "minf", "FLLR", "elm1", "SSND",
                                                         "regn", "ANNO", "ovwf", "umid", "INST",
                                                         "MARK", "rkti"}));
                EXPECT_EQ(image.size() % 2, 0u);

                FF_AudioFileRef back = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
                ASSERT_EQ(back->GetAudioFileType(), type);
                const FF_AudioFile::Properties p = back->GetProperties();
                EXPECT_EQ(p.mFormatName, aifc ? "AIFC" : "AIFF");
                EXPECT_EQ(p.mByteOrder, eByteOrder_Big);
                EXPECT_EQ(p.mSampleRate, rate);
                EXPECT_EQ(p.mBitDepth, bits);
                EXPECT_EQ(p.mNumChannels, channels);
                EXPECT_EQ(p.mNumSamples, frames);
                const int64_t offset = back->mOffsetToData.GetOr(0);
                EXPECT_EQ(offset % 512, 8);
                ASSERT_LE(size_t(offset) + samples.size(), image.size());
                EXPECT_EQ(
                    BigEndianSamples(Bytes(image.begin() + offset,
                                           image.begin() + offset + ptrdiff_t(samples.size())),
                                     bits),
                    samples)
                    << "the file does not hold the samples big-endian";
                EXPECT_EQ(ReadFrames(*back, frames + 5), samples);
                EXPECT_EQ(back->mUmid.GetOr(Sys_Umid()), umid);
                EXPECT_EQ(back->mDescription.GetOr(""), "take " + std::to_string(bits));
                FF_AudioInstrumentAttr expected = attr;
                expected.mLoop1Type = 2;
                EXPECT_EQ(back->mInstrumentAttr.GetOr({}), expected);
                EXPECT_EQ(back->mDRktAssetInfo.GetOr({}).mValue, 0xBEEFu);
                EXPECT_EQ(back->mOverview.GetOr({}), channels == 1 ? overview : FF_AudioOverviewData{});
                EXPECT_EQ(back->mModificationCount.GetOr(-1), 0);
                FF_AudioFile::RegionList regions;
                back->GetRegions(&regions);
                ASSERT_EQ(regions.size(), 2u);
                EXPECT_EQ(regions.front().mStopSample, frames);
                EXPECT_EQ(regions.front().mOriginalTimeStamp, 777);
                EXPECT_EQ(regions.back().mName, "verse");
                back->Close();
            }
}

// Files laid out as other programs lay them out open with their format, samples and
// instrument (what is refused stands with the bad inputs below).
TEST(FF_AIFPlugIn, ForeignLayoutsOpenWithTheirFormatSamplesAndInstrument)
{
    const Bytes s16 = Pattern(2 * 2 * 200, 11); // 200 stereo frames, big-endian
    const Bytes comm16 = AifChunk("COMM", CommData(2, 200, 16, Rate44100()));
    auto aifc = [&](const char* iType, int iBits, const Bytes& iSamples)
    {
        const uint32_t frames = uint32_t(iSamples.size() / size_t(2 * iBits / 8));
        return Form("AIFC", {AifChunk("COMM", CommData(2, frames, iBits, Rate44100(), iType, "x")),
                             Ssnd(iSamples)});
    };
    const FF_AudioInstrumentAttr loops{48, -7, 1, 100, 900, 2, 1000, 1500};
    FF_AudioInstrumentAttr sustainOnly = loops;
    sustainOnly.mLoop2Type = 0;
    sustainOnly.mLoop2Start = sustainOnly.mLoop2End = 0;
    FF_AudioInstrumentAttr noLoops{48, -7, 0, 0, 0, 0, 0, 0};
    std::vector<MarkerSpec> beginOnly = cLoopMarkers;
    beginOnly.erase(beginOnly.begin() + 3); // the release loop has no end
    std::vector<MarkerSpec> longName = cLoopMarkers;
    longName[0].mName = std::string(60, 'n');
    struct Case
    {
        const char* mName;
        Bytes mImage;
        EAudioFileType mType;
        int mBits = 16;
        int64_t mFramesRead = 200;
        Bytes mSamples = {}; // big-endian in the file; s16 when empty
        std::optional<FF_AudioInstrumentAttr> mInstrument = {};
    };
    const Case cases[] = {
        {"plain AIFF", Form("AIFF", {comm16, Ssnd(s16)}), eAudioFileType_AIFF},
        {"samples behind an offset", Form("AIFF", {comm16, Ssnd(s16, 12)}), eAudioFileType_AIFF},
        {"AIFC NONE", aifc("NONE", 16, s16), eAudioFileType_AIFC},
        {"AIFC in24", aifc("in24", 24, Pattern(6 * 100, 3)), eAudioFileType_AIFC, 24, 100,
         Pattern(6 * 100, 3)},
        {"AIFC in32", aifc("in32", 32, Pattern(8 * 50, 4)), eAudioFileType_AIFC, 32, 50,
         Pattern(8 * 50, 4)},
        {"8-bit samples are signed",
         Form("AIFF", {AifChunk("COMM", CommData(2, 200, 8, Rate44100())), Ssnd(Pattern(400, 5))}),
         eAudioFileType_AIFF, 8, 200, Pattern(400, 5)},
        // The size test counts one channel: 150 of 200 stereo frames pass it.
        {"truncated stereo",
         Form("AIFF", {comm16, Ssnd(Bytes(s16.begin(), s16.begin() + 600))}), eAudioFileType_AIFF,
         16, 150, Bytes(s16.begin(), s16.begin() + 600)},
        {"unknown chunk running past the end",
         Form("AIFF", {comm16, Ssnd(s16), AifChunk("APPL", Bytes(6, 1), 0x7FFFFFF0)}),
         eAudioFileType_AIFF},
        {"INST before MARK", Form("AIFF", {comm16, Inst(48, -7, 1, 2), Mark(cLoopMarkers), Ssnd(s16)}),
         eAudioFileType_AIFF, 16, 200, {}, loops},
        {"MARK before INST", Form("AIFF", {Mark(cLoopMarkers), comm16, Ssnd(s16), Inst(48, -7, 1, 2)}),
         eAudioFileType_AIFF, 16, 200, {}, loops},
        {"play mode 3 plays forward",
         Form("AIFF", {comm16, Inst(48, -7, 3, 0), Mark(cLoopMarkers), Ssnd(s16)}),
         eAudioFileType_AIFF, 16, 200, {}, sustainOnly},
        {"a loop with only a begin marker stays off",
         Form("AIFF", {comm16, Inst(48, -7, 1, 2), Mark(beginOnly), Ssnd(s16)}), eAudioFileType_AIFF,
         16, 200, {}, sustainOnly},
        {"INST without MARK", Form("AIFF", {comm16, Inst(48, -7, 1, 2), Ssnd(s16)}),
         eAudioFileType_AIFF, 16, 200, {}, noLoops},
        {"a long marker name is cut",
         Form("AIFF", {comm16, Mark(longName), Inst(48, -7, 1, 2), Ssnd(s16)}), eAudioFileType_AIFF,
         16, 200, {}, loops},
    };
    Test_TempDir dir;
    const std::string path = dir.Path() + "/f.aif";
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mName);
        WriteBytes(path, c.mImage);
        FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
        ASSERT_EQ(file->GetAudioFileType(), c.mType);
        const FF_AudioFile::Properties p = file->GetProperties();
        EXPECT_EQ(p.mBitDepth, c.mBits);
        EXPECT_EQ(p.mSampleRate, 44100);
        int64_t read = 0;
        const Bytes samples = ReadFrames(*file, p.mNumSamples, &read);
        EXPECT_EQ(read, c.mFramesRead);
        EXPECT_EQ(samples, BigEndianSamples(c.mSamples.empty() ? s16 : c.mSamples, c.mBits));
        if (c.mInstrument)
        {
            EXPECT_EQ(file->mInstrumentAttr.GetOr({}), *c.mInstrument);
        }
        // Marker names are cut at 50 characters; only "beg loop" and "end loop" have a kind.
        const auto* plugIn = dynamic_cast<FF_AIFPlugIn*>(file->GetPlugIn());
        ASSERT_NE(plugIn, nullptr);
        for (const FF_AIFPlugIn::Marker& m : plugIn->GetMarkers())
        {
            const bool cut = m.mName.size() == AIFMarkChunk::cMaxNameLength;
            EXPECT_EQ(m.mName, cut ? std::string(50, 'n') : m.mID % 2 ? "end loop" : "beg loop");
            EXPECT_EQ(m.mKind, cut ? 0 : 1 + m.mID % 2);
        }
        file->Close();
    }
}

// Flushes of foreign files: a metadata edit leaves the samples where they are (an odd
// "SSND" keeps its pad byte and size), the compression fields of "COMM" as found and a
// foreign chunk behind the samples in place; samples that grow push the metadata behind
// them and drop the foreign chunk. Loops replace the file's "INST" and "MARK" whole.
TEST(FF_AIFPlugIn, FlushKeepsSamplesAndForeignChunksUnlessTheSamplesGrow)
{
    const Bytes odd = Pattern(301, 2); // 8-bit mono: an odd size
    const Bytes in24 = Pattern(3 * 2 * 100, 6);
    const Bytes appl = AifChunk("APPL", Bytes{'m', 'i', 'n', 'e', 1});
    const FF_AudioInstrumentAttr loops{70, 5, 2, 10, 20, 0, 0, 0};
    struct Case
    {
        const char* mName;
        Bytes mImage;
        int mBits;
        int64_t mGrowBy;
        bool mSetLoops;
        std::vector<std::string> mIDs; // afterwards
        int64_t mShift = 0;            // of the samples on disk
    };
    const Case cases[] = {
        {"odd samples, metadata only",
         Form("AIFF", {AifChunk("COMM", CommData(1, 301, 8, Rate44100())), Ssnd(odd), appl}), 8, 0,
         false, {"COMM", "SSND", "APPL", "umid", "ANNO"}},
        {"in24, metadata only",
         Form("AIFC", {AifChunk("COMM", CommData(2, 100, 24, Rate44100(), "in24", "24-bit int")),
                       Ssnd(in24), appl}),
         24, 0, false, {"COMM", "SSND", "APPL", "umid", "ANNO"}},
        {"loops replace the file's",
         Form("AIFF", {AifChunk("COMM", CommData(1, 301, 8, Rate44100())), Inst(60, 0, 1, 0),
                       Mark({{0, 1, "beg loop"}, {1, 2, "end loop"}, {7, 3, "cue"}}), Ssnd(odd),
                       appl}),
         8, 0, true, {"COMM", "INST", "MARK", "SSND", "APPL", "umid", "ANNO"},
         -10}, // the cue marker goes: "MARK" shrinks
        {"growing samples",
         Form("AIFF", {AifChunk("COMM", CommData(1, 301, 8, Rate44100())), Ssnd(odd), appl,
                       AifChunk("ANNO", {'o', 'l', 'd'})}),
         8, 40, false, {"COMM", "SSND", "ANNO", "umid"}},
    };
    Test_TempDir dir;
    const std::string path = dir.Path() + "/e.aif";
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mName);
        WriteBytes(path, c.mImage);
        const std::vector<ChunkPlace> before = Chunks(c.mImage, true);
        const ChunkPlace ssnd = *std::find_if(before.begin(), before.end(),
                                              [](const ChunkPlace& p) { return p.mID == "SSND"; });
        FF_AudioFileRef file = OpenFile(path, Cmn_Store::eOpenFlag_OpenForWrite);
        ASSERT_NE(file->GetPlugIn(), nullptr);
        const FF_AudioFile::Properties p = file->GetProperties();
        const size_t frame = size_t(p.mNumChannels * p.mBytesPerSample);
        const Bytes original = ReadFrames(*file, p.mNumSamples);
        file->mUmid.Set(Sys_Umid(4, 3, 2, 1));
        file->mDescription.Set("edited");
        if (c.mSetLoops)
            file->mInstrumentAttr.Set(loops);
        Bytes more = Pattern(size_t(c.mGrowBy) * frame, 8);
        if (c.mGrowBy > 0)
        {
            file->SetPosition(p.mNumSamples);
            file->Write(more.data(), c.mGrowBy);
        }
        file->Flush();
        file->Close();

        const Bytes image = ReadBytes(path);
        EXPECT_EQ(ChunkIDs(image, true), c.mIDs);
        const std::vector<ChunkPlace> after = Chunks(image, true);
        const ChunkPlace ssndAfter = *std::find_if(
            after.begin(), after.end(), [](const ChunkPlace& p) { return p.mID == "SSND"; });
        EXPECT_EQ(int64_t(ssndAfter.mStart), int64_t(ssnd.mStart) + c.mShift);
        EXPECT_EQ(ssndAfter.mSize, ssnd.mSize + more.size());
        EXPECT_TRUE(std::equal(c.mImage.begin() + ptrdiff_t(ssnd.mStart),
                               c.mImage.begin() + ptrdiff_t(ssnd.mStart + ssnd.mSize),
                               image.begin() + ptrdiff_t(ssndAfter.mStart)));
        // The fields of "COMM" behind the rate (the compression) are those found.
        EXPECT_TRUE(std::equal(c.mImage.begin() + 20 + 18,
                               c.mImage.begin() + ptrdiff_t(before[0].mStart + before[0].mSize),
                               image.begin() + 20 + 18));
        for (const ChunkPlace& place : after)
        {
            if (place.mID == "APPL")
            {
                EXPECT_TRUE(std::equal(appl.begin() + 8, appl.begin() + 13,
                                       image.begin() + ptrdiff_t(place.mStart)));
            }
        }

        FF_AudioFileRef back = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
        ASSERT_NE(back->GetPlugIn(), nullptr);
        EXPECT_EQ(back->GetProperties().mNumSamples, p.mNumSamples + c.mGrowBy);
        Bytes all = original;
        all.insert(all.end(), more.begin(), more.end());
        EXPECT_EQ(ReadFrames(*back, p.mNumSamples + c.mGrowBy), all);
        EXPECT_EQ(back->mDescription.GetOr(""), "edited");
        EXPECT_EQ(back->mUmid.GetOr(Sys_Umid()), Sys_Umid(4, 3, 2, 1));
        if (c.mSetLoops)
        {
            EXPECT_EQ(back->mInstrumentAttr.GetOr({}), loops);
        }
        back->Close();
    }
}

// ---- bad input ---------------------------------------------------------------------------

std::vector<AudioInput> BadInputs()
{
    const Bytes comm = AifChunk("COMM", CommData(2, 16, 16, Rate44100()));
    const Bytes ssnd = Ssnd(Pattern(64));
    const Bytes full = Form("AIFF", {comm, ssnd});
    std::vector<AudioInput> cases;
    cases.push_back({"empty file", {}, false});
    cases.push_back({"truncated header", Bytes(full.begin(), full.begin() + 10), false});
    cases.push_back({"RIFF header", Riff({comm, ssnd}), false});
    cases.push_back({"other form type", Form("AIFX", {comm, ssnd}), false});
    cases.push_back({"no SSND", Form("AIFF", {comm}), false});
    cases.push_back({"no COMM", Form("AIFF", {ssnd}), false});
    cases.push_back({"short COMM", Form("AIFF", {AifChunk("COMM", Bytes(10, 1)), ssnd}), false});
    cases.push_back({"COMM size past the end",
                     Form("AIFF", {ssnd, AifChunk("COMM", CommData(2, 16, 16, Rate44100()), 0xFFFFFFF0)}),
                     true});
    // Other compressions, and sample widths that the frame size would miscount, are left to
    // the next plug-in; so is a file shorter than one channel's samples.
    auto aifc = [&](const char* iType)
    {
        return Form("AIFC", {AifChunk("COMM", CommData(2, 16, 16, Rate44100(), iType, "x")), ssnd});
    };
    cases.push_back({"AIFC sowt", aifc("sowt"), false});
    cases.push_back({"AIFC fl32", aifc("fl32"), false});
    cases.push_back({"AIFC ima4", aifc("ima4"), false});
    cases.push_back({"AIFC without compression type", Form("AIFC", {comm, ssnd}), false});
    cases.push_back({"12-bit samples",
                     Form("AIFF", {AifChunk("COMM", CommData(2, 16, 12, Rate44100())), ssnd}), false});
    cases.push_back({"truncated below one channel's bytes", Form("AIFF", {comm, Ssnd(Pattern(30))}),
                     false});
    cases.push_back({"no channels",
                     Form("AIFF", {AifChunk("COMM", CommData(0, 16, 16, Rate44100())), ssnd}), false});
    cases.push_back({"frames past the end",
                     Form("AIFF", {AifChunk("COMM", CommData(2, 0xFFFFFFFF, 16, Rate44100())), ssnd}),
                     false});
    cases.push_back({"SSND offset past the end",
                     Form("AIFF", {comm, AifChunk("SSND", Bytes{0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0})}),
                     false});
    cases.push_back({"rate not a number",
                     Form("AIFF", {AifChunk("COMM", CommData(2, 16, 16, Bytes{0x7F, 0xFF, 0xC0, 0, 0, 0, 0, 0, 0, 0})),
                                   ssnd}),
                     true});
    cases.push_back({"rate past a long",
                     Form("AIFF", {AifChunk("COMM", CommData(2, 16, 16, Bytes{0x40, 0x40, 0x80, 0, 0, 0, 0, 0, 0, 0})),
                                   ssnd}),
                     true});
    cases.push_back({"form size lies", Form("AIFF", {comm, ssnd}, 0x7FFFFFFF), true});
    cases.push_back({"MARK count lies", Form("AIFF", {comm, ssnd, Inst(60, 0, 1, 0),
                                                      AifChunk("MARK", Bytes{0xFF, 0xFF, 0, 0, 0, 0, 0, 1, 200})}),
                     true});
    cases.push_back({"MARK size lies",
                     Form("AIFF", {comm, ssnd, Inst(60, 0, 1, 0), AifChunk("MARK", Bytes(8, 0), 0xFFFFFF00)}),
                     true});
    cases.push_back({"short INST", Form("AIFF", {comm, ssnd, AifChunk("INST", Bytes(6, 1)), Mark(cLoopMarkers)}),
                     true});
    cases.push_back({"regn count lies",
                     Form("AIFF", {comm, ssnd, AifChunk("regn", Bytes{0x7F, 0xFF, 0xFF, 0xFF, 1})}), true});
    cases.push_back({"ovwf count lies",
                     Form("AIFF", {comm, ssnd, AifChunk("ovwf", Bytes{0xFF, 0xFF, 0xFF, 0xFF})}), true});
    cases.push_back({"ANNO size lies",
                     Form("AIFF", {comm, ssnd, AifChunk("ANNO", Bytes{'h', 'i'}, 0xFFFFFFFF)}), true});
    cases.push_back({"short umid", Form("AIFF", {comm, ssnd, AifChunk("umid", Bytes(4, 1))}), true});
    std::vector<Bytes> many = {comm, ssnd};
    for (int i = 0; i < 198; ++i)
        many.push_back(AifChunk("MARK", {}));
    cases.push_back({"200 chunks", Form("AIFF", many), true});
    return cases;
}

// Inputs good and bad: the plug-in takes exactly the ones it should, and reading them stays
// safe. They are the seeds of fuzz/AIFFOpenFuzz.cpp: small files of this writer and the bad
// inputs; set MIRAFILE_WRITE_FUZZ_SEEDS to a folder to have them written there.
TEST(FF_AIFPlugIn, InputsOpenAsTheyShouldAndReadSafelyAndAreTheFuzzSeeds)
{
    Test_TempDir dir;
    std::vector<AudioInput> inputs;
    for (const auto& [name, type, channels, bits, frames] :
         {std::tuple{"mono8.aif", eAudioFileType_AIFF, 1, 8, 41},
          {"stereo16.aifc", eAudioFileType_AIFC, 2, 16, 50},
          {"six24.aif", eAudioFileType_AIFF, 6, 24, 10}})
    {
        const std::string path = dir.Path() + "/" + name;
        FF_AudioFileRef file = NewFile(type, path, int16_t(channels), int16_t(bits), 44100, 77);
        Bytes samples = Pattern(size_t(frames * channels * bits / 8));
        file->Write(samples.data(), frames);
        file->mUmid.Set(Sys_Umid(0, 42, 1, 2));
        file->mDescription.Set("seed");
        file->mInstrumentAttr.Set({60, 3, 1, 2, 9, 2, 3, 8});
        file->AddRegion(FF_AudioFile::Region("r", 1, 5, 4, 0, 0, Sys_Umid(4, 4, 4, 4), false));
        file->Flush();
        file->Close();
        inputs.push_back({name, ReadBytes(path), true});
    }
    const size_t good = inputs.size();
    for (const AudioInput& c : BadInputs())
        inputs.push_back(c);
    const std::list<EAudioFileType> candidates = {eAudioFileType_AIFC};
    CheckInputsAndWriteSeeds(inputs, good, dir.Path(), ".aif", &candidates);
}
} // namespace
