// The overview cache of the older format: append and find through reopening, entries that
// fail to read and duplicates (skipped, and reported by Print), unreadable files, crashes,
// and misuse of a closed cache.
#include <filesystem>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FF/Audio/Processing/Overview/FF_AudioOverviewCacheOld.h"
#include "FF/FF_Document.h"
#include "OverviewTestSupport.h"
#include "Support/TestSupport.h"
#include "Sys_FileUtils.h"
#include "Sys_StdStreamHeader.h"

namespace
{
using Cache = FF_AudioOverviewCacheOld;

const std::string cSkipText = " ************** Exception while streaming in cache entry";
const std::string cDuplicateText = "****DUPLICATE!*** :";

Cache::OverviewKey Key(int32_t iN)
{
    Cache::OverviewKey key;
    key.mFileID = Sys_Umid(0, 42, uint32_t(iN % 5), uint32_t(iN));
    key.mPathComponents = {"/", "media", "take" + std::to_string(iN) + ".wav"};
    key.mFileModTime = 1700000000000000 + iN;
    return key;
}

constexpr auto Found = Test_Found<Cache>;
constexpr auto Payload = Test_Payload;

std::string Printed(const std::string& iPath)
{
    std::ostringstream text;
    Cache::Print(Sys_FileLoc(iPath), text);
    return text.str();
}

bool Contains(const std::string& iText, const std::string& iPart)
{
    return iText.find(iPart) != std::string::npos;
}

// A list entry as the cache writes it, or broken in one way.
enum class EDamage
{
    eNone,
    eComponentCountLies,
    ePayloadOutside,
    eLaterVersion,
    eBadMagic
};

struct RawEntry
{
    int32_t mKey;
    int32_t mPayloadSeed; // the payload: 6 bytes
    EDamage mDamage = EDamage::eNone;
};

// A cache document written by hand, entry by entry.
void WriteCrafted(const std::string& iPath, const std::vector<RawEntry>& iEntries)
{
    FF_Document doc(Sys_FileLoc(iPath), Cache::cFileType, Cache::cCreator);
    doc.Open(Cmn_Store::eOpenFlag_OpenCreate);
    Cmn_MemBufferOutStream memory;
    Sys_CrossPlatformOutStream out(&memory);
    out << int32_t(iEntries.size());
    for (const RawEntry& raw : iEntries)
    {
        const FF_AudioOverview payload = Payload(6, uint32_t(raw.mPayloadSeed));
        int64_t position = doc.AppendBytes(payload.GetBuffer(), 6);
        if (raw.mDamage == EDamage::ePayloadOutside)
            position = 1 << 30;
        const Cache::OverviewKey key = Key(raw.mKey);
        Sys_StdStreamHeaderWriter header(
            out, raw.mDamage == EDamage::eBadMagic ? "XXXXXX" : Cache::cEntryTag,
            raw.mDamage == EDamage::eLaterVersion ? 2 : 1);
        key.mFileID.StreamOut(out);
        out << int32_t(raw.mDamage == EDamage::eComponentCountLies ? 1000 : 3);
        for (const std::string& component : key.mPathComponents)
            out << component;
        out << key.mFileModTime << int32_t(6) << position;
        header.PatchSize();
    }
    doc.WriteStream(Cache::cListKey, memory.GetBuffer(), memory.GetEndPos());
    doc.Close();
}

TEST(FF_AudioOverviewCacheOld, AppendedOverviewsAreFoundAfterReopening)
{
    Test_TempDir dir;
    const Sys_FileLoc loc(dir.Path() + "/OldCache");
    {
        Cache cache(loc);
        cache.Open(Cmn_Store::eOpenFlag_OpenCreate);
        cache.Append(Key(1), Payload(20, 1));
        cache.Append(Key(2), Payload(0, 2));
        cache.Append(Key(3), Payload(6, 3));
        cache.Append(Key(1), Payload(8, 4)); // replaces the first
        EXPECT_TRUE(cache.IsDirty());
        cache.Close();
    }
    Cache cache(loc);
    cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
    ASSERT_EQ(cache.GetNumEntries(), 3u);
    EXPECT_EQ(cache.GetEntries()[0].mKey.mFileID, Key(1).mFileID) << "list order is kept";
    EXPECT_EQ(cache.GetNumSkipped() + cache.GetNumDuplicates(), 0);
    EXPECT_EQ(Found(cache, Key(1)), Test_Bytes(Payload(8, 4)));
    EXPECT_EQ(Found(cache, Key(2)), std::vector<int8_t>());
    EXPECT_EQ(Found(cache, Key(3)), Test_Bytes(Payload(6, 3)));
    // Every part of the key counts.
    for (int part = 0; part < 3; ++part)
    {
        Cache::OverviewKey other = Key(3);
        if (part == 0)
            other.mFileID.SetWord(0, 1);
        else if (part == 1)
            other.mPathComponents[1] = "other";
        else
            other.mFileModTime += 1;
        EXPECT_EQ(Found(cache, other), std::vector<int8_t>{99}) << "part " << part;
        EXPECT_TRUE(Key(3) < other || other < Key(3));
    }
    int64_t time = 0;
    FF_AudioOverview overview;
    EXPECT_TRUE(cache.Find(Key(3), &overview, &time));
    EXPECT_EQ(time, Key(3).mFileModTime);
    const std::string printed = Printed(loc.GetFullPath());
    EXPECT_TRUE(Contains(printed, "3 entries, 0 skipped, 0 duplicates")) << printed;
    EXPECT_FALSE(Contains(printed, cSkipText) || Contains(printed, cDuplicateText)) << printed;
}

TEST(FF_AudioOverviewCacheOld, FindsAudioFilesByTheirKey)
{
    Test_TempDir dir;
    std::vector<FF_AudioFileRef> files;
    for (int i = 0; i < 2; ++i)
    {
        const std::string path = dir.Path() + "/f" + std::to_string(i) + ".wav";
        Test_WriteWave(path, Test_MakeSamples(16, 1, 1000, uint32_t(i)), 16);
        files.emplace_back(new FF_AudioFile(Sys_FileLoc(path)));
    }
    Cache cache(Sys_FileLoc(dir.Path() + "/OldCache"));
    cache.Open(Cmn_Store::eOpenFlag_OpenForWrite);
    cache.Append(files[0].Get(), Payload(8, 1));
    EXPECT_FALSE(files[0]->IsOpen()) << "Append closes what it opened";
    cache.Close();
    cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
    FF_AudioOverview found;
    int64_t time = 0;
    EXPECT_TRUE(cache.Find(files[0].Get(), &found, &time));
    EXPECT_EQ(Test_Bytes(found), Test_Bytes(Payload(8, 1)));
    EXPECT_EQ(time, Sys_FileUtils::GetModifiedUTC(files[0]->GetFileLoc()));
    EXPECT_FALSE(cache.Find(files[1].Get(), &found));
    EXPECT_EQ(cache.GetEntries()[0].mKey.mPathComponents,
              files[0]->GetFileLoc().GetPathComponents());
}

TEST(FF_AudioOverviewCacheOld, BrokenEntriesAndDuplicatesAreSkippedAndReported)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/OldCache";
    WriteCrafted(path, {{0, 0},
                        {1, 1, EDamage::eComponentCountLies},
                        {2, 2},
                        {3, 3, EDamage::ePayloadOutside},
                        {4, 4, EDamage::eLaterVersion},
                        {0, 5},
                        {6, 6}});
    {
        Cache cache{Sys_FileLoc(path)};
        cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(cache.GetNumEntries(), 3u);
        EXPECT_EQ(cache.GetNumSkipped(), 3);
        EXPECT_EQ(cache.GetNumDuplicates(), 1);
        EXPECT_EQ(Found(cache, Key(0)), Test_Bytes(Payload(6, 0))) << "the first one wins";
        EXPECT_EQ(Found(cache, Key(2)), Test_Bytes(Payload(6, 2)));
        EXPECT_EQ(Found(cache, Key(6)), Test_Bytes(Payload(6, 6)));
        for (int32_t skipped : {1, 3, 4})
            EXPECT_EQ(Found(cache, Key(skipped)), std::vector<int8_t>{99}) << skipped;
    }
    const std::string printed = Printed(path);
    for (int32_t skipped : {1, 3, 4})
        EXPECT_TRUE(Contains(printed, "\n" + cSkipText + " " + std::to_string(skipped) + ": "))
            << printed;
    EXPECT_FALSE(Contains(printed, cSkipText + " 2:"));
    EXPECT_TRUE(Contains(printed, "\n" + cDuplicateText + " entry 5: /media/take0.wav")) << printed;
    EXPECT_TRUE(Contains(printed, "3 entries, 3 skipped, 1 duplicates")) << printed;

    // Writing the list again keeps only what was read.
    {
        Cache cache{Sys_FileLoc(path)};
        cache.Open(Cmn_Store::eOpenFlag_OpenForWrite);
        EXPECT_FALSE(cache.WasRebuilt());
        cache.Append(Key(8), Payload(4, 8));
    }
    {
        Cache cache{Sys_FileLoc(path)};
        cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(cache.GetNumEntries(), 4u);
        EXPECT_EQ(cache.GetNumSkipped() + cache.GetNumDuplicates(), 0);
        EXPECT_EQ(Found(cache, Key(0)), Test_Bytes(Payload(6, 0)));
        EXPECT_EQ(Found(cache, Key(8)), Test_Bytes(Payload(4, 8)));
    }

    // Without its block header an entry cannot be stepped over: the list ends there.
    WriteCrafted(path, {{0, 0}, {1, 1, EDamage::eBadMagic}, {2, 2}});
    Cache cache{Sys_FileLoc(path)};
    cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_EQ(cache.GetNumEntries(), 1u);
    EXPECT_EQ(cache.GetNumSkipped(), 2);
    EXPECT_EQ(Found(cache, Key(0)), Test_Bytes(Payload(6, 0)));
    const std::string cut = Printed(path);
    EXPECT_TRUE(Contains(cut, cSkipText + " 1: magic ID does not match")) << cut;
    EXPECT_TRUE(Contains(cut, "1 more entries cannot be found")) << cut;
}

// Files that are no old cache: reading reports them, writing makes a new cache.
TEST(FF_AudioOverviewCacheOld, UnreadableFilesAreReportedOrRebuilt)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/OldCache";
    struct Case
    {
        const char* mName;
        const char* mType;                // of the document; none: not a document
        std::vector<unsigned char> mList; // the list stream; {1}: none
    };
    const Case cases[] = {
        {"not a document", nullptr, {}},
        {"another type", "OvrW", {1}},
        {"no list", Cache::cFileType, {1}},
        {"the list's count lies", Cache::cFileType, {0, 0, 1, 0}},
        {"an empty list stream", Cache::cFileType, {}},
    };
    const auto make = [&](const Case& c)
    {
        if (!c.mType)
            return WriteBytes(path, Bytes(100, 'x'));
        FF_Document doc(Sys_FileLoc(path), c.mType, Cache::cCreator);
        doc.Open(Cmn_Store::eOpenFlag_OpenCreate);
        if (c.mList != Bytes{1})
            doc.WriteStream(Cache::cListKey, c.mList.data(), int64_t(c.mList.size()));
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mName);
        make(c);
        Cache cache{Sys_FileLoc(path)};
        EXPECT_TRUE(Test_ThrowsL10N([&] { cache.Open(Cmn_Store::eOpenFlag_OpenForRead); }, 0, 54));
        EXPECT_FALSE(cache.IsOpen());
        EXPECT_TRUE(Contains(Printed(path), "  unreadable: "));
        cache.Open(Cmn_Store::eOpenFlag_OpenForWrite);
        EXPECT_TRUE(cache.WasRebuilt());
        EXPECT_EQ(cache.GetNumEntries(), 0u);
        cache.Append(Key(1), Payload(4, 1));
        cache.Close();
        cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(Found(cache, Key(1)), Test_Bytes(Payload(4, 1)));
        cache.Close();
    }
    // A missing file: the system's error for reading, a new cache for writing.
    std::filesystem::remove(path);
    Cache cache{Sys_FileLoc(path)};
    try
    {
        cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
        ADD_FAILURE() << "opened a missing file";
    }
    catch (const Cmn_Exception& e)
    {
        EXPECT_FALSE(L10N_IsException(e, 0, 54)) << e.what();
    }
    cache.Open(Cmn_Store::eOpenFlag_OpenForWrite);
    EXPECT_FALSE(cache.WasRebuilt());
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(FF_AudioOverviewCacheOld, ACrashBetweenAppendAndFlushKeepsTheLastFlushedCache)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/OldCache";
    const std::string crashed = dir.Path() + "/Crashed";
    {
        Cache cache{Sys_FileLoc(path)};
        cache.Open(Cmn_Store::eOpenFlag_OpenCreate);
        cache.Append(Key(1), Payload(10, 1));
        cache.Flush();
        EXPECT_FALSE(cache.IsDirty());
        cache.Append(Key(2), Payload(12, 2));
        cache.Append(Key(1), Payload(14, 3));
        WriteBytes(crashed, ReadBytes(path));
    }
    Cache cache{Sys_FileLoc(crashed)};
    cache.Open(Cmn_Store::eOpenFlag_OpenForWrite);
    EXPECT_FALSE(cache.WasRebuilt());
    EXPECT_EQ(Found(cache, Key(1)), Test_Bytes(Payload(10, 1)));
    EXPECT_EQ(Found(cache, Key(2)), std::vector<int8_t>{99});
    Cache flushed{Sys_FileLoc(path)};
    flushed.Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_EQ(Found(flushed, Key(1)), Test_Bytes(Payload(14, 3)));
    EXPECT_EQ(Found(flushed, Key(2)), Test_Bytes(Payload(12, 2)));
}

TEST(FF_AudioOverviewCacheOld, OperationsOnAClosedOrReadOnlyCacheAssert)
{
    Test_TempDir dir;
    Cache cache(Sys_FileLoc(dir.Path() + "/OldCache"));
    FF_AudioOverview overview;
    const std::string writable = "this->IsOpen() && this->GetOpenFlag() > eOpenFlag_OpenForRead";
    EXPECT_TRUE(Test_Asserts([&] { cache.Find(Key(1), &overview); }, "this->IsOpen()"));
    EXPECT_TRUE(Test_Asserts([&] { cache.Append(Key(1), Payload(2, 1)); }, writable));
    EXPECT_TRUE(Test_Asserts([&] { cache.Flush(); }, writable));
    cache.Open(Cmn_Store::eOpenFlag_OpenCreate);
    cache.Close();
    cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_TRUE(Test_Asserts([&] { cache.Append(Key(1), Payload(2, 1)); }, writable));
    EXPECT_TRUE(Test_Asserts([&] { cache.Flush(); }, writable));
}

// The seeds of fuzz/OverviewCacheOldFuzz.cpp, small caches good and bad, are the telling
// cases of bad bytes (the target tries the rest). Set MIRAFILE_WRITE_FUZZ_SEEDS to a folder
// to have them written there.
TEST(FF_AudioOverviewCacheOld, FuzzSeedsOpenOrAreRebuilt)
{
    Test_TempDir dir;
    std::vector<std::pair<std::string, Bytes>> seeds;
    const std::string path = dir.Path() + "/OldCache";
    for (int32_t entries : {0, 1, 3})
    {
        std::filesystem::remove(path);
        {
            Cache cache{Sys_FileLoc(path)};
            cache.Open(Cmn_Store::eOpenFlag_OpenCreate);
            for (int32_t n = 0; n < entries; ++n)
                cache.Append(Key(n), Payload(2 + 2 * n, uint32_t(n)));
        }
        seeds.emplace_back("entries-" + std::to_string(entries), ReadBytes(path));
        Cache cache{Sys_FileLoc(path)};
        cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(cache.GetNumEntries(), size_t(entries));
    }
    const Bytes three = seeds.back().second;
    WriteCrafted(path, {{0, 0}, {1, 1, EDamage::eComponentCountLies}, {0, 2}});
    seeds.emplace_back("bad-entry-and-duplicate", ReadBytes(path));
    WriteCrafted(path, {{0, 0}, {1, 1, EDamage::eBadMagic}});
    seeds.emplace_back("bad-entry-magic", ReadBytes(path));
    seeds.emplace_back("bad-truncated", Bytes(three.begin(), three.end() - 5));
    Bytes type = three;
    type[12] = 'X';
    seeds.emplace_back("bad-type", type);
    WriteFuzzSeeds(seeds);
    // Every bad one but the damaged entries (skipped) is refused.
    EXPECT_EQ(Test_OpenSeeds<Cache>(
                  dir.Path() + "/Bad", seeds,
                  [](Cache& ioCache) { ioCache.Append(Key(9), Payload(4, 9)); }, Key(9),
                  Test_Bytes(Payload(4, 9))),
              2);
}
} // namespace
