// The overview cache file: layout rules, reopening, crashes, bad bytes, faults, and a long
// random workload checked against a model.
#include <cerrno>
#include <filesystem>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FF/Audio/Processing/Overview/FF_AudioOverviewCache.h"
#include "OverviewTestSupport.h"
#include "Support/TestSupport.h"
#include "Sys_FilePosix.h"

namespace
{
using Cache = FF_AudioOverviewCache;

Cache::OverviewKey Key(const std::string& iDir, int32_t iN)
{
    Cache::OverviewKey key;
    key.mFileID = Sys_Umid(0, 42, uint32_t(iN % 7), uint32_t(iN));
    key.mPath = Sys_FileLoc(iDir + "/audio/take" + std::to_string(iN) + ".wav");
    key.mFileModTime = 1700000000000000 + iN;
    key.mEmbeddedFileOffset = iN % 3 == 0 ? 0 : 4096 * (iN % 3);
    return key;
}

constexpr auto Found = Test_Found<Cache>;
constexpr auto Payload = Test_Payload;

TEST(FF_AudioOverviewCache, FlushedCacheGivesTheSameBytesAfterReopening)
{
    Test_TempDir dir;
    const Sys_FileLoc loc(dir.Path() + "/WaveCache");
    {
        Cache cache(loc);
        cache.Open(Cmn_Store::eOpenFlag_OpenCreate);
        EXPECT_EQ(cache.GetIndexPosition(), Cache::cHeaderSize);
        cache.Add(Key(dir.Path(), 1), Payload(20, 1));
        cache.Add(Key(dir.Path(), 2), Payload(0, 2));
        cache.Add(Key(dir.Path(), 3), Payload(6, 3));
        EXPECT_TRUE(cache.IsDirty());
        cache.Flush();
        EXPECT_FALSE(cache.IsDirty());
        cache.Close();
    }
    // The file as the layout says: header, payloads, index, nothing after it.
    const Bytes bytes = ReadBytes(loc.GetFullPath());
    ASSERT_GE(bytes.size(), size_t(Cache::cHeaderSize + 26));
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 6), "DOVCHC");
    EXPECT_EQ(std::string(bytes.begin() + Cache::cHeaderSize + 26,
                          bytes.begin() + Cache::cHeaderSize + 32),
              "CCHIDX");
    for (int i = 24; i < 88; ++i)
        ASSERT_EQ(bytes[size_t(i)], 0) << "reserved byte " << i;

    Cache again(loc);
    again.Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_FALSE(again.WasRebuilt());
    EXPECT_EQ(again.GetNumEntries(), 3u);
    EXPECT_EQ(Found(again, Key(dir.Path(), 1)), Test_Bytes(Payload(20, 1)));
    EXPECT_EQ(Found(again, Key(dir.Path(), 2)), std::vector<int8_t>());
    EXPECT_EQ(Found(again, Key(dir.Path(), 3)), Test_Bytes(Payload(6, 3)));
    EXPECT_EQ(Found(again, Key(dir.Path(), 4)), std::vector<int8_t>{99});
    int64_t time = 0;
    FF_AudioOverview overview;
    EXPECT_TRUE(again.Find(Key(dir.Path(), 3), &overview, &time));
    EXPECT_EQ(time, Key(dir.Path(), 3).mFileModTime);
    EXPECT_TRUE(Test_Asserts([&] { again.Add(Key(dir.Path(), 5), Payload(2, 5)); },
                             "this->IsOpen() && this->GetOpenFlag() > eOpenFlag_OpenForRead"));
    again.Close();
    EXPECT_TRUE(Test_Asserts([&] { again.Find(Key(dir.Path(), 1), &overview); }, "this->IsOpen()"));
}

TEST(FF_AudioOverviewCache, KeysCompareByOffsetIdNameAndCreationTime)
{
    Test_TempDir dir;
    const Cache::OverviewKey key = Key(dir.Path(), 1);
    Cache::OverviewKey moved = key;
    moved.mPath = Sys_FileLoc(dir.Path() + "/elsewhere/deeper/take1.wav");
    EXPECT_FALSE(key < moved || moved < key) << "only the name of the path counts";
    Cache::OverviewKey renamed = key;
    renamed.mPath = Sys_FileLoc(dir.Path() + "/audio/take1b.wav");
    EXPECT_TRUE(key < renamed);
    Cache::OverviewKey later = key;
    later.mFileModTime += 1;
    EXPECT_TRUE(key < later);
    // The offset goes first: a larger offset is later whatever else differs.
    Cache::OverviewKey embedded = key;
    embedded.mEmbeddedFileOffset = key.mEmbeddedFileOffset + 1;
    embedded.mFileID = Sys_Umid();
    embedded.mFileModTime = 0;
    EXPECT_TRUE(key < embedded);
}

TEST(FF_AudioOverviewCache, RewritesInPlaceWhenThePayloadFitsAndLeavesAHoleOtherwise)
{
    Test_TempDir dir;
    Cache cache(Sys_FileLoc(dir.Path() + "/WaveCache"));
    cache.Open(Cmn_Store::eOpenFlag_OpenCreate);
    const Cache::OverviewKey a = Key(dir.Path(), 1), b = Key(dir.Path(), 2);
    cache.Add(a, Payload(10, 1));
    cache.Add(b, Payload(4, 2));
    EXPECT_EQ(cache.GetIndexPosition(), Cache::cHeaderSize + 14);
    struct Step
    {
        int32_t mSize;
        int64_t mPosition;
        int64_t mIndexPosition;
    };
    const Step steps[] = {
        {10, Cache::cHeaderSize, Cache::cHeaderSize + 14},      // same size: in place
        {6, Cache::cHeaderSize, Cache::cHeaderSize + 14},       // smaller: in place
        {8, Cache::cHeaderSize + 14, Cache::cHeaderSize + 22},  // the room is now 6: moved
        {12, Cache::cHeaderSize + 22, Cache::cHeaderSize + 34}, // larger: moved, a hole
        {12, Cache::cHeaderSize + 22, Cache::cHeaderSize + 34}, // same again: in place
    };
    uint32_t seed = 10;
    for (const Step& step : steps)
    {
        cache.Add(a, Payload(step.mSize, ++seed));
        const auto entries = cache.GetEntries();
        const auto entry =
            std::find_if(entries.begin(), entries.end(),
                         [&](const auto& e) { return !(e.mKey < a) && !(a < e.mKey); });
        ASSERT_NE(entry, entries.end());
        EXPECT_EQ(entry->mOverviewPosition, step.mPosition) << step.mSize;
        EXPECT_EQ(entry->mOverviewSize, step.mSize);
        EXPECT_EQ(cache.GetIndexPosition(), step.mIndexPosition) << step.mSize;
        EXPECT_EQ(Found(cache, a), Test_Bytes(Payload(step.mSize, seed)));
        EXPECT_EQ(Found(cache, b), Test_Bytes(Payload(4, 2)));
    }
    cache.Flush();
    std::ostringstream printed;
    Cache::Print(cache.GetFileLoc(), printed);
    EXPECT_NE(printed.str().find("2 entries, 16 bytes of payloads"), std::string::npos)
        << printed.str();
}

TEST(FF_AudioOverviewCache, ACrashBetweenAddAndFlushLeadsToARebuiltCache)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/WaveCache";
    const std::string crashed = dir.Path() + "/Crashed";
    {
        Cache cache{Sys_FileLoc(path)};
        cache.Open(Cmn_Store::eOpenFlag_OpenCreate);
        cache.Add(Key(dir.Path(), 1), Payload(40, 1));
        cache.Flush();
        cache.Add(Key(dir.Path(), 2), Payload(30, 2));
        // What the disk holds if the process dies now.
        WriteBytes(crashed, ReadBytes(path));
        cache.Close(); // flushes: the cache itself is fine
    }
    {
        Cache cache{Sys_FileLoc(crashed)};
        EXPECT_TRUE(Test_ThrowsL10N([&] { cache.Open(Cmn_Store::eOpenFlag_OpenForRead); }, 0, 54));
        EXPECT_FALSE(cache.IsOpen());
        cache.Open(Cmn_Store::eOpenFlag_OpenForWrite);
        EXPECT_TRUE(cache.WasRebuilt());
        EXPECT_EQ(cache.GetNumEntries(), 0u);
        cache.Close();
        EXPECT_EQ(ReadBytes(crashed).size(), size_t(Cache::cHeaderSize + 16))
            << "an empty cache: header and an empty index";
    }
    Cache cache{Sys_FileLoc(path)};
    cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_EQ(Found(cache, Key(dir.Path(), 1)), Test_Bytes(Payload(40, 1)));
    EXPECT_EQ(Found(cache, Key(dir.Path(), 2)), Test_Bytes(Payload(30, 2)));
}

TEST(FF_AudioOverviewCache, MissingFilesAreMadeForWritingAndReportedForReading)
{
    Test_TempDir dir;
    Cache cache(Sys_FileLoc(dir.Path() + "/none/WaveCache"));
    EXPECT_ANY_THROW(cache.Open(Cmn_Store::eOpenFlag_OpenForWrite)) << "no such folder";
    Cache reading(Sys_FileLoc(dir.Path() + "/WaveCache"));
    EXPECT_THROW(reading.Open(Cmn_Store::eOpenFlag_OpenForRead), Cmn_Exception);
    EXPECT_FALSE(std::filesystem::exists(dir.Path() + "/WaveCache"));
    reading.Open(Cmn_Store::eOpenFlag_OpenForWrite);
    EXPECT_TRUE(std::filesystem::exists(dir.Path() + "/WaveCache"));
    EXPECT_FALSE(reading.WasRebuilt());
}

// Writes that fail while a cache is flushed: the error is thrown, and the disk then holds a
// cache that reads back whole (old or new contents) or is rebuilt.
TEST(FF_AudioOverviewCache, FailedWritesLeaveACacheThatIsReadableOrRebuilt)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/WaveCache";
    const std::string snapshot = dir.Path() + "/Snapshot";
    for (int32_t nth = 1; nth <= 6; ++nth)
    {
        SCOPED_TRACE("write " + std::to_string(nth) + " fails");
        std::filesystem::remove(path);
        {
            Cache cache{Sys_FileLoc(path)};
            cache.Open(Cmn_Store::eOpenFlag_OpenCreate);
            cache.Add(Key(dir.Path(), 1), Payload(16, 1));
            cache.Close();
        }
        bool threw = false;
        {
            Cache cache{Sys_FileLoc(path)};
            cache.Open(Cmn_Store::eOpenFlag_OpenForWrite);
            Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Write, nth, EIO);
            try
            {
                cache.Add(Key(dir.Path(), 2), Payload(24, 2));
                cache.Add(Key(dir.Path(), 1), Payload(16, 3));
                cache.Flush();
            }
            catch (const Cmn_Exception&)
            {
                threw = true;
            }
            Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Write, 0, 0);
            WriteBytes(snapshot, ReadBytes(path)); // as a crash would leave it
        }
        EXPECT_EQ(threw, nth <= 4) << "two payloads, the index, the header";
        Cache cache{Sys_FileLoc(snapshot)};
        cache.Open(Cmn_Store::eOpenFlag_OpenForWrite);
        if (!cache.WasRebuilt())
        {
            const auto one = Found(cache, Key(dir.Path(), 1));
            EXPECT_TRUE(one == Test_Bytes(Payload(16, 1)) || one == Test_Bytes(Payload(16, 3)));
            const auto two = Found(cache, Key(dir.Path(), 2));
            EXPECT_TRUE(two == std::vector<int8_t>{99} || two == Test_Bytes(Payload(24, 2)));
        }
    }
}

// Thousands of adds, replacements, finds, flushes and reopenings over a cache shared by many
// keys, against a map of what each key must give.
TEST(FF_AudioOverviewCache, ARandomWorkloadAgreesWithAModel)
{
    Test_TempDir dir;
    const Sys_FileLoc loc(dir.Path() + "/WaveCache");
    std::map<int32_t, std::vector<int8_t>> model;
    std::mt19937 random(2024);
    auto cache = std::make_unique<Cache>(loc);
    cache->Open(Cmn_Store::eOpenFlag_OpenCreate);
    int64_t appended = 0;
    for (int32_t step = 0; step < 4000; ++step)
    {
        const int32_t n = int32_t(random() % 300);
        const uint32_t op = random() % 100;
        if (op < 45)
        {
            const int32_t size = 2 * int32_t(random() % 200);
            const FF_AudioOverview payload = Payload(size, uint32_t(step));
            const bool known = model.count(n) != 0;
            const size_t roomBefore = known ? model[n].size() : 0;
            const int64_t indexBefore = cache->GetIndexPosition();
            cache->Add(Key(dir.Path(), n), payload);
            model[n] = Test_Bytes(payload);
            const bool inPlace = known && roomBefore >= size_t(size);
            if (!inPlace)
                appended += size;
            // The room of an entry is its last payload's size: larger ones are appended.
            ASSERT_EQ(cache->GetIndexPosition(), indexBefore + (inPlace ? 0 : size));
        }
        else if (op < 85)
        {
            const auto expected = model.count(n) ? model[n] : std::vector<int8_t>{99};
            ASSERT_EQ(Found(*cache, Key(dir.Path(), n)), expected) << "step " << step;
        }
        else if (op < 92)
        {
            cache->Flush();
        }
        else if (op < 97)
        {
            cache->Close();
            if (random() % 2)
                cache = std::make_unique<Cache>(loc); // a fresh object reads the index
            cache->Open(random() % 3 ? Cmn_Store::eOpenFlag_OpenForWrite
                                     : Cmn_Store::eOpenFlag_OpenCreate);
            ASSERT_FALSE(cache->WasRebuilt()) << "step " << step;
        }
        else
        {
            // Another reader of the flushed file sees what the model held at the flush.
            cache->Flush();
            Cache reader(loc);
            reader.Open(Cmn_Store::eOpenFlag_OpenForRead);
            ASSERT_EQ(reader.GetNumEntries(), model.size());
            for (const auto& [key, payload] : model)
                ASSERT_EQ(Found(reader, Key(dir.Path(), key)), payload) << "step " << step;
        }
    }
    ASSERT_EQ(cache->GetNumEntries(), model.size());
    for (const auto& [key, payload] : model)
        ASSERT_EQ(Found(*cache, Key(dir.Path(), key)), payload);
    cache->Close();
    // Payloads only ever appended where they did not fit: the file holds the header, every
    // appended payload and the index, nothing more.
    const Bytes bytes = ReadBytes(loc.GetFullPath());
    Cache reader(loc);
    reader.Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_EQ(reader.GetIndexPosition(), Cache::cHeaderSize + appended);
    EXPECT_EQ(int64_t(bytes.size()), reader.GetIndexPosition() + reader.GetIndexSize());
}

TEST(FF_AudioOverviewCache, FindsFilesByKeyAndSyncsTheirOverviews)
{
    Test_TempDir dir;
    std::vector<FF_AudioFileRef> files;
    for (int i = 0; i < 3; ++i)
    {
        const std::string path = dir.Path() + "/f" + std::to_string(i) + ".wav";
        Test_WriteWave(path, Test_MakeSamples(16, 1, 1000 + 300 * i, uint32_t(i)), 16);
        files.emplace_back(new FF_AudioFile(Sys_FileLoc(path)));
    }
    Cache cache(Sys_FileLoc(dir.Path() + "/WaveCache"));
    cache.Open(Cmn_Store::eOpenFlag_OpenCreate);
    const FF_AudioOverview first = Payload(8, 1), last = Payload(12, 3);
    cache.Add(files[0].Get(), first);
    cache.Add(files[2].Get(), last);
    EXPECT_FALSE(files[0]->IsOpen()) << "Add closes what it opened";
    FF_AudioOverview found;
    EXPECT_TRUE(cache.Find(files[2].Get(), &found));
    EXPECT_EQ(Test_Bytes(found), Test_Bytes(last));
    EXPECT_FALSE(cache.Find(files[1].Get(), &found));

    std::vector<FF_AudioOverview::LockingRef> refs;
    EXPECT_EQ(cache.FindAndSync(files, &refs), 2);
    ASSERT_EQ(refs.size(), 3u);
    ASSERT_TRUE(refs[0] && refs[2]);
    EXPECT_FALSE(refs[1]);
    EXPECT_EQ(refs[0]->GetLockCount(), 1);
    EXPECT_EQ(Test_Bytes(refs[2].Get()), Test_Bytes(last));
    files[0]->Open(Cmn_Store::eOpenFlag_OpenForRead);
    const FF_AudioOverviewData property = files[0]->mOverview.GetOr({});
    EXPECT_EQ(std::vector<int8_t>(property.begin(), property.end()), Test_Bytes(first));
    EXPECT_FALSE(files[0]->mOverview.IsDirty());
    files[0]->Close();

    // A file moved to another folder under its name is still found; a renamed one is not.
    std::filesystem::create_directory(dir.Path() + "/moved");
    std::filesystem::rename(dir.Path() + "/f0.wav", dir.Path() + "/moved/f0.wav");
    std::filesystem::rename(dir.Path() + "/f2.wav", dir.Path() + "/g2.wav");
    FF_AudioFileRef moved(new FF_AudioFile(Sys_FileLoc(dir.Path() + "/moved/f0.wav")));
    FF_AudioFileRef renamed(new FF_AudioFile(Sys_FileLoc(dir.Path() + "/g2.wav")));
    EXPECT_TRUE(cache.Find(moved.Get(), &found));
    EXPECT_FALSE(cache.Find(renamed.Get(), &found));
}

// The seeds of fuzz/OverviewCacheFuzz.cpp, small caches good and bad, are the telling cases
// of bad bytes (the target tries the rest). Set MIRAFILE_WRITE_FUZZ_SEEDS to a folder to have
// them written there.
TEST(FF_AudioOverviewCache, FuzzSeedsOpenOrAreRebuilt)
{
    Test_TempDir dir;
    std::vector<std::pair<std::string, Bytes>> seeds;
    const std::string path = dir.Path() + "/WaveCache";
    for (int32_t entries : {0, 1, 3})
    {
        std::filesystem::remove(path);
        {
            Cache cache{Sys_FileLoc(path)};
            cache.Open(Cmn_Store::eOpenFlag_OpenCreate);
            for (int32_t n = 0; n < entries; ++n)
                cache.Add(Key("/tmp", n), Payload(2 + 2 * n, uint32_t(n)));
            cache.Close();
        }
        seeds.emplace_back("entries-" + std::to_string(entries), ReadBytes(path));
        Cache cache{Sys_FileLoc(path)};
        cache.Open(Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(cache.GetNumEntries(), size_t(entries));
    }
    const Bytes three = seeds.back().second;
    seeds.emplace_back("bad-truncated-index", Bytes(three.begin(), three.end() - 9));
    Bytes version = three;
    version[7] = 2;
    seeds.emplace_back("bad-version", version);
    Bytes position = three;
    position[12] = 0x7F; // the index position's high byte
    seeds.emplace_back("bad-index-position", position);
    WriteFuzzSeeds(seeds);
    // Every bad one is refused.
    EXPECT_EQ(Test_OpenSeeds<Cache>(
                  dir.Path() + "/Bad", seeds,
                  [&](Cache& ioCache) { ioCache.Add(Key(dir.Path(), 9), Payload(4, 9)); },
                  Key(dir.Path(), 9), Test_Bytes(Payload(4, 9))),
              3);
}
} // namespace
