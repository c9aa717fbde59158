// The undo journal of changes in place: what a change leaves behind (committed, undone, killed
// with the journal whole or torn at any byte) and what the next open makes of it.
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <fcntl.h>
#include <unistd.h>

#include "Support/SysTestSupport.h"
#include "Support/TimeTestSupport.h"
#include "Sys_File.h"
#include "Sys_FileJournal.h"

namespace
{
struct stat Stat(const std::string& iPath)
{
    struct stat info
    {
    };
    EXPECT_EQ(::stat(iPath.c_str(), &info), 0) << iPath;
    return info;
}
uint64_t Device(const std::string& iPath) { return Stat(iPath).st_dev; }
uint64_t Inode(const std::string& iPath) { return Stat(iPath).st_ino; }

struct Write
{
    int64_t mOffset;
    Bytes mBytes;
};

struct JournalCase
{
    const char* mName;
    size_t mOldLength;
    std::vector<Sys_FileJournal::Region> mRegions; // named to the journal
    std::vector<Write> mWrites;                   // then made
    size_t mNewLength;
    size_t mBlock = 0; // streamed in blocks of this size (0: held in memory)
};

std::vector<JournalCase> Cases()
{
    return {
        {"header and a chunk", 400, {{0, 12, {}}, {100, 40, {}}},
         {{0, Bytes(12, 1)}, {100, Bytes(40, 2)}}, 400},
        {"overlapping regions and one past the end", 300, {{10, 50, {}}, {40, 50, {}}, {290, 90, {}}},
         {{10, Bytes(80, 3)}, {290, Bytes(90, 4)}}, 380},
        {"the file shrinks", 500, {{0, 12, {}}, {200, INT64_MAX, {}}},
         {{0, Bytes(12, 5)}}, 200},
        {"nothing inside the old length", 64, {{64, 100, {}}}, {{64, Bytes(100, 6)}}, 164},
        {"moved bytes streamed in blocks", 5000, {{0, 12, {}}, {1000, INT64_MAX, {}}},
         {{0, Bytes(12, 7)}, {1000, Bytes(4500, 8)}}, 5500, 333},
    };
}

// Makes the change of c on the file at iPath with a journal begun; the journal then stands.
std::unique_ptr<Sys_FileJournal> Change(const JournalCase& c, const std::string& iPath)
{
    Sys_FileJournal::SetStreaming(c.mBlock ? 0 : Sys_FileJournal::cMemoryBound,
                                  c.mBlock ? c.mBlock : Sys_FileJournal::cBlockSize);
    auto journal = std::make_unique<Sys_FileJournal>(iPath);
    for (const Sys_FileJournal::Region& region : c.mRegions)
        journal->Add(region.mOffset, region.mLength);
    journal->Begin();
    Bytes image = ReadBytes(iPath);
    for (const Write& w : c.mWrites)
    {
        image.resize(std::max(image.size(), size_t(w.mOffset) + w.mBytes.size()));
        std::copy(w.mBytes.begin(), w.mBytes.end(), image.begin() + w.mOffset);
    }
    image.resize(c.mNewLength);
    WriteBytes(iPath, image);
    return journal;
}

// Every way a change ends. eKill: the process is gone with the journal standing (the object is
// dropped without Commit or Undo).
enum EEnd
{
    eEnd_Commit,
    eEnd_Undo,
    eEnd_Kill
};
} // namespace

// The change goes through whole, or the old bytes come back (at once, or at the next open of
// the file through the library); nothing but the file stays in the folder.
TEST(Sys_FileJournal, EveryEndGivesTheOldFileOrTheNewOne)
{
    std::vector<std::pair<std::string, Bytes>> seeds;
    for (const JournalCase& c : Cases())
        for (const EEnd end : {eEnd_Commit, eEnd_Undo, eEnd_Kill})
        {
            SCOPED_TRACE(std::string(c.mName) + ", end " + std::to_string(int(end)));
            Test_TempDir dir;
            const std::string path = dir.Path() + "/take";
            const Bytes old = Pattern(c.mOldLength, 7);
            WriteBytes(path, old);
            std::unique_ptr<Sys_FileJournal> journal = Change(c, path);
            const Bytes changed = ReadBytes(path);
            const std::string journalPath = Sys_FileJournal::JournalPath(path);
            EXPECT_EQ(journalPath, dir.Path() + "/.take.mfjournal");
            ASSERT_TRUE(Exists(journalPath));
            // A live change is left alone by an open.
            EXPECT_FALSE(Sys_FileJournal::Recover(path));
            if (end == eEnd_Kill)
            {
                // The fuzz target's first byte: a file of the new length, in 16-byte steps. The
                // file's identity is left out, so that the seed is the same on every run.
                Bytes seed = ReadBytes(journalPath);
                Sys_FileJournal::Contents contents;
                ASSERT_EQ(Sys_FileJournal::Parse(seed.data(), seed.size(), int64_t(c.mNewLength),
                                                 &contents),
                          Sys_FileJournal::eState_Whole);
                EXPECT_EQ(contents.mInode, uint64_t(Inode(path)));
                contents.mDevice = contents.mInode = 0;
                seed = Sys_FileJournal::Build(contents);
                seed.insert(seed.begin(), uint8_t((c.mNewLength + 15) / 16 * 2));
                std::string name = c.mName;
                std::replace(name.begin(), name.end(), ' ', '_');
                seeds.push_back({name, seed});
            }
            if (end == eEnd_Commit)
                journal->Commit();
            if (end == eEnd_Undo)
            {
                EXPECT_TRUE(journal->Undo());
            }
            journal.reset();
            {
                Sys_File file{Sys_FileLoc(path)};
                file.Open(Sys_File::eOpen_ForRead | Sys_File::eOpen_Existing);
            }
            EXPECT_EQ(ReadBytes(path), end == eEnd_Commit ? changed : old);
            EXPECT_EQ(Test_FolderNames(dir.Path()), std::set<std::string>{"take"});
            Sys_FileJournal::SetStreaming(Sys_FileJournal::cMemoryBound,
                                          Sys_FileJournal::cBlockSize);
        }
    Test_CheckFuzzSeeds("JournalFuzz", seeds);
}

// A journal cut at any byte, or with any byte changed, was not finished when the change
// stopped: the file was not touched, and the journal just goes. One whose numbers point
// outside what the file and the journal hold goes too, however right its checksum.
TEST(Sys_FileJournal, ATornOrImpossibleJournalGoesAndTheFileStays)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/take";
    const std::string journalPath = Sys_FileJournal::JournalPath(path);
    const Bytes old = Pattern(300, 8);
    WriteBytes(path, old);
    const JournalCase c = Cases()[1];
    Change(c, path).reset();
    const Bytes changed = ReadBytes(path);
    const Bytes whole = ReadBytes(journalPath);
    std::vector<Bytes> bad;
    for (size_t size = 0; size < whole.size(); size += 1 + size / 8)
        bad.emplace_back(whole.begin(), whole.begin() + size);
    for (size_t at = 0; at < whole.size(); at += 5)
    {
        bad.push_back(whole);
        bad.back()[at] ^= 0x40;
    }
    // Whole checksums over impossible numbers: a region past the old length, an old length
    // past the file and every region, a region that starts past the file, an empty region, a
    // count that the bytes do not fill.
    const auto rebuilt = [](int64_t iOldLength, std::vector<Sys_FileJournal::Region> iRegions) {
        return Sys_FileJournal::Build({iOldLength, std::move(iRegions)});
    };
    bad.push_back(rebuilt(10, {{8, 4, Bytes(4, 1)}}));
    bad.push_back(rebuilt(100000, {{0, 4, Bytes(4, 1)}}));
    bad.push_back(rebuilt(1000, {{990, 10, Bytes(10, 1)}}));
    bad.push_back(rebuilt(300, {{0, 0, {}}}));
    Bytes counted = rebuilt(300, {{0, 4, Bytes(4, 1)}});
    counted[12] = 2;
    const uint64_t sum = Sys_FileJournal::Checksum(counted.data(), counted.size() - 8);
    for (int i = 0; i < 8; ++i)
        counted[counted.size() - 8 + i] = uint8_t(sum >> (8 * i));
    bad.push_back(counted);
    for (const Bytes& journal : bad)
    {
        WriteBytes(path, Pattern(380, 9));
        WriteBytes(journalPath, journal);
        Sys_FileJournal::Contents contents;
        EXPECT_EQ(Sys_FileJournal::Parse(journal.data(), journal.size(), 380, &contents),
                  Sys_FileJournal::eState_Torn);
        EXPECT_TRUE(Sys_FileJournal::Recover(path));
        EXPECT_EQ(ReadBytes(path), Pattern(380, 9));
        EXPECT_FALSE(Exists(journalPath));
    }
    // The whole journal rolls back; a journal without its file goes.
    WriteBytes(path, changed);
    WriteBytes(journalPath, whole);
    EXPECT_TRUE(Sys_FileJournal::Recover(path));
    EXPECT_EQ(ReadBytes(path), old);
    WriteBytes(journalPath, whole);
    std::filesystem::remove(path);
    EXPECT_TRUE(Sys_FileJournal::Recover(path));
    EXPECT_EQ(Test_FolderNames(dir.Path()), std::set<std::string>{});
}

// The journal of a file named through a symbolic link stands beside the file it names, and
// an open through the link finds it; that of a file with a second name is named after the
// file, found through either name, and stale once the name is another file's; a journal whose
// file cannot be written stays.
TEST(Sys_FileJournal, LinksAndFilesThatCannotBeWritten)
{
    Test_TempDir dir;
    const std::string path = dir.Path() + "/take", link = dir.Path() + "/link";
    const Bytes old = Pattern(400, 2);
    WriteBytes(path, old);
    std::filesystem::create_symlink(path, link);
    Change(Cases()[0], link).reset();
    EXPECT_TRUE(Exists(Sys_FileJournal::JournalPath(path)));
    EXPECT_TRUE(Sys_FileJournal::Recover(link));
    EXPECT_EQ(ReadBytes(path), old);

    const std::string other = dir.Path() + "/other";
    std::filesystem::create_hard_link(path, other);
    Change(Cases()[0], path).reset();
    const std::string identityPath =
        Sys_FileJournal::IdentityJournalPath(path, Device(path), Inode(path));
    EXPECT_TRUE(Exists(identityPath));
    EXPECT_TRUE(Sys_FileJournal::Recover(other));
    EXPECT_EQ(ReadBytes(path), old);
    Change(Cases()[0], path).reset();
    std::filesystem::remove(other);
    WriteBytes(other, Bytes(8, 1));
    std::filesystem::create_hard_link(other, dir.Path() + "/third");
    const Bytes stranger = ReadBytes(other);
    std::filesystem::rename(
        identityPath, Sys_FileJournal::IdentityJournalPath(other, Device(other), Inode(other)));
    EXPECT_TRUE(Sys_FileJournal::Recover(other));
    EXPECT_EQ(ReadBytes(other), stranger);
    EXPECT_EQ(Test_FolderNames(dir.Path()),
              (std::set<std::string>{"link", "other", "take", "third"}));
    std::filesystem::remove(other);
    std::filesystem::remove(dir.Path() + "/third");
    WriteBytes(path, old);

    Change(Cases()[0], path).reset();
    const Bytes changed = ReadBytes(path);
    ASSERT_EQ(::chmod(path.c_str(), 0400), 0);
    if (::geteuid() != 0)
    {
        EXPECT_EQ(ThrownError([&] { Sys_FileJournal::Recover(path); }).first, EACCES);
        EXPECT_EQ(ReadBytes(path), changed);
        EXPECT_TRUE(Exists(Sys_FileJournal::JournalPath(path)));
    }
    ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
    EXPECT_TRUE(Sys_FileJournal::Recover(path));
    EXPECT_EQ(ReadBytes(path), old);
}
