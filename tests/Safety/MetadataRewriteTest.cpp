// Metadata changes in front of the samples: a filler takes them up in place (journalled), else
// the file is rewritten beside the old one and swapped in, or, for a file with a second name,
// the samples move in place under a journal that streams their old bytes. A failure or a kill
// at any point leaves, by the next open (through either name), the old file or the new one,
// byte for byte, and the AppleDouble sidecar as it was.
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "FF/Audio/FF_AudioFile.h"
#include "Support/FFTestSupport.h"
#include "Support/SysTestSupport.h"
#include "Sys_File.h"
#include "Sys_FileJournal.h"
#include "Sys_FilePosix.h"

namespace
{
struct RewriteCase
{
    const char* mName;
    Bytes mImage;
    bool mInPlace;        // a filler takes up the growth
    bool mLinked = false; // a second name, "other": the samples move in place
    size_t mEmbedded = 0; // where the WAVE starts inside the file (0: it is the file)
};

Bytes Cat(const std::vector<Bytes>& iParts)
{
    Bytes all;
    for (const Bytes& part : iParts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

std::vector<RewriteCase> Cases()
{
    const Bytes samples = Pattern(2 * 3000, 5);
    const Bytes fmt = Chunk("fmt ", FmtData(1, 1, 44100, 16));
    const Bytes anno = Chunk("ANNO", Bytes{'a', 'b'});
    const Bytes list = Chunk("LIST", Bytes{'I', 'N', 'F', 'O', 1, 2, 3, 4});
    return {
        {"WAVE without room", Riff({fmt, anno, Chunk("data", samples), list}), false},
        {"WAVE with a JUNK in front of the samples",
         Riff({fmt, anno, Chunk("JUNK", Bytes(600, 0)), Chunk("data", samples), list}), true},
        {"WAVE with a JUNK at the start",
         Riff({Chunk("JUNK", Bytes(600, 0)), fmt, anno, Chunk("data", samples), list}), false},
        {"WAVE whose JUNK is too small",
         Riff({fmt, anno, Chunk("JUNK", Bytes(40, 0)), Chunk("data", samples)}), false},
        {"WAVE without room, with a second name", Riff({fmt, anno, Chunk("data", samples), list}),
         false, true},
        {"WAVE with a JUNK in front of the samples, inside a larger file",
         Cat({Pattern(100, 1),
              Riff({fmt, anno, Chunk("JUNK", Bytes(600, 0)), Chunk("data", samples)}),
              Pattern(50, 2)}),
         true, false, 100},
    };
}

const std::string cDescription(300, 'd');

// The audio file at iOffset of the file at iPath.
FF_AudioFileRef Open(const std::string& iPath, size_t iOffset, Cmn_Store::EOpenFlag iFlag)
{
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(iPath), int64_t(iOffset)));
    file->Open(iFlag);
    return file;
}

// Opens the file for writing, makes its annotation grow and flushes.
void Annotate(const std::string& iPath, size_t iOffset = 0)
{
    FF_AudioFileRef file = Open(iPath, iOffset, Cmn_Store::eOpenFlag_OpenForWrite);
    file->mDescription.Set(cDescription);
    file->Flush();
    file->Close();
}

ino_t Inode(const std::string& iPath)
{
    struct stat info
    {
    };
    return ::stat(iPath.c_str(), &info) == 0 ? info.st_ino : 0;
}

const Bytes cSidecar = Pattern(82, 3);

// The file of c as "take" in iFolder, with its sidecar and, for a linked case, its second
// name; returns the names the folder must then hold. A linked case streams its journal in
// small blocks, so that the walks meet every block.
std::set<std::string> Place(const RewriteCase& c, const std::string& iFolder)
{
    const std::string path = iFolder + "/take";
    WriteBytes(path, c.mImage);
    WriteBytes(iFolder + "/._take", cSidecar);
    if (c.mLinked && !Exists(iFolder + "/other"))
        std::filesystem::create_hard_link(path, iFolder + "/other");
    Sys_FileJournal::SetStreaming(c.mLinked ? 0 : Sys_FileJournal::cMemoryBound,
                                  c.mLinked ? 1000 : Sys_FileJournal::cBlockSize);
    if (c.mLinked)
        return {"take", "._take", "other"};
    return {"take", "._take"};
}

// The name through which the next open comes: the second one where there is one.
std::string OpenedAs(const RewriteCase& c, const std::string& iFolder)
{
    return iFolder + (c.mLinked ? "/other" : "/take");
}
} // namespace

// The samples keep their bytes; with a filler in front they keep their place and the file its
// identity, without one the file is a new one; mode and sidecar stay.
TEST(MetadataRewrite, GrowthInFrontKeepsTheSamplesInPlaceOrSwapsInANewFile)
{
    for (const RewriteCase& c : Cases())
    {
        SCOPED_TRACE(c.mName);
        Test_TempDir dir;
        const std::string path = dir.Path() + "/take";
        const std::set<std::string> names = Place(c, dir.Path());
        ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
        const ino_t before = Inode(path);
        Annotate(path, c.mEmbedded);
        const Bytes image = ReadBytes(path);
        const auto [start, size] = FindData(Bytes(c.mImage.begin() + c.mEmbedded, c.mImage.end()));
        const auto [startAfter, sizeAfter] =
            FindData(Bytes(image.begin() + c.mEmbedded, image.end()));
        ASSERT_EQ(sizeAfter, size);
        EXPECT_EQ(Hash(image, c.mEmbedded + startAfter, size),
                  Hash(c.mImage, c.mEmbedded + start, size));
        EXPECT_EQ(startAfter == start, c.mInPlace);
        EXPECT_EQ(Inode(path) == before, c.mInPlace || c.mLinked);
        EXPECT_EQ(image.size() <= c.mImage.size(), c.mInPlace);
        EXPECT_TRUE(ReadBytes(OpenedAs(c, dir.Path())) == image);
        struct stat info
        {
        };
        ASSERT_EQ(::stat(path.c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777, 0640u);
        EXPECT_EQ(ReadBytes(dir.Path() + "/._take"), cSidecar);
        EXPECT_EQ(Test_FolderNames(dir.Path()), names);
        FF_AudioFileRef back = Open(path, c.mEmbedded, Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(back->mDescription.GetOr(""), cDescription);
        back->Close();
    }
    Sys_FileJournal::SetStreaming(Sys_FileJournal::cMemoryBound, Sys_FileJournal::cBlockSize);
}

// The file as the next open through the library finds it (which undoes a change in place
// that a failure or a kill left half made).
Bytes Reopened(const std::string& iPath)
{
    Sys_File(Sys_FileLoc(iPath)).Open(Sys_File::eOpen_ForRead | Sys_File::eOpen_Existing);
    return ReadBytes(iPath);
}

// For every kind of file operation, the Nth one fails, N = 1, 2, ... until the change goes
// through: after the next open the file is the old one or the new one byte for byte (a change
// in place is undone by its journal), and nothing else stands in the folder.
TEST(MetadataRewrite, EveryFailedOperationLeavesTheOldFileOrTheNewOne)
{
    const Sys_FilePosix::EFault kinds[] = {Sys_FilePosix::eFault_Read, Sys_FilePosix::eFault_Write,
                                           Sys_FilePosix::eFault_Grow, Sys_FilePosix::eFault_Sync,
                                           Sys_FilePosix::eFault_Rename};
    for (const RewriteCase& c : Cases())
    {
        Test_TempDir dir;
        const std::string path = dir.Path() + "/take";
        const std::set<std::string> names = Place(c, dir.Path());
        Annotate(path, c.mEmbedded);
        const Bytes changed = ReadBytes(path);
        for (const Sys_FilePosix::EFault kind : kinds)
        {
            int32_t failures = 0;
            int32_t n = 1;
            for (; n < 300; ++n)
            {
                SCOPED_TRACE(std::string(c.mName) + ", fault " + std::to_string(int(kind)) +
                             " at " + std::to_string(n));
                WriteBytes(path, c.mImage);
                Sys_FilePosix::SetFault(kind, n, ENOSPC);
                const auto [error, text] = ThrownError([&] { Annotate(path, c.mEmbedded); });
                Sys_FilePosix::SetFault(kind, 0, 0);
                const Bytes image = Reopened(OpenedAs(c, dir.Path()));
                EXPECT_TRUE(image == c.mImage || image == changed);
                EXPECT_EQ(ReadBytes(path), image);
                EXPECT_EQ(ReadBytes(dir.Path() + "/._take"), cSidecar);
                EXPECT_EQ(Test_FolderNames(dir.Path()), names);
                if (error == 0)
                {
                    EXPECT_EQ(image, changed);
                    break;
                }
                ++failures;
                if (error == ENOSPC)
                {
                    EXPECT_NE(text.find(path), std::string::npos) << text;
                }
            }
            EXPECT_LT(n, 300) << "never went through";
            // Every kind but growth and renames touches a change in place (its journal is
            // read, written and synced), a move in place growth too; a swap meets them all.
            if ((!c.mInPlace && kind != Sys_FilePosix::eFault_Rename) ||
                (!c.mInPlace && !c.mLinked) ||
                (kind != Sys_FilePosix::eFault_Grow && kind != Sys_FilePosix::eFault_Rename))
            {
                EXPECT_GT(failures, 0) << c.mName << " " << int(kind);
            }
        }
    }
}

// A change in place killed at its Nth write or sync (in a child process), N = 1, 2, ... until
// it goes through: the next open finds the old file or the new one byte for byte, and no
// journal stays.
TEST(MetadataRewrite, AKillPartWayLeavesTheOldFileOrTheNewOneAtTheNextOpen)
{
    for (const RewriteCase& c : Cases())
    {
        if (!c.mInPlace && !c.mLinked)
            continue;
        Test_TempDir dir;
        const std::string path = dir.Path() + "/take";
        const std::set<std::string> names = Place(c, dir.Path());
        Annotate(path, c.mEmbedded);
        const Bytes changed = ReadBytes(path);
        for (const Sys_FilePosix::EFault kind : {Sys_FilePosix::eFault_Write, Sys_FilePosix::eFault_Sync})
        {
            int32_t kills = 0, n = 1;
            bool undone = false;
            for (; n < 100; ++n)
            {
                SCOPED_TRACE(std::string(c.mName) + ", kill at " + std::to_string(int(kind)) +
                             " " + std::to_string(n));
                WriteBytes(path, c.mImage);
                const pid_t child = ::fork();
                ASSERT_GE(child, 0);
                if (child == 0)
                {
                    Sys_FilePosix::SetFault(kind, n, -SIGKILL);
                    try
                    {
                        Annotate(path, c.mEmbedded);
                    }
                    catch (...)
                    {
                        ::_exit(1);
                    }
                    ::_exit(0);
                }
                int status = 0;
                ASSERT_EQ(::waitpid(child, &status, 0), child);
                const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
                EXPECT_TRUE(killed || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) << status;
                const bool halfMade = Test_FolderNames(dir.Path()).size() > names.size() &&
                                      ReadBytes(path) != c.mImage;
                const Bytes image = Reopened(OpenedAs(c, dir.Path()));
                EXPECT_TRUE(image == c.mImage || image == changed);
                EXPECT_EQ(ReadBytes(path), image);
                undone = undone || (halfMade && image == c.mImage);
                EXPECT_EQ(Test_FolderNames(dir.Path()), names);
                if (!killed)
                {
                    EXPECT_EQ(image, changed);
                    break;
                }
                ++kills;
            }
            EXPECT_LT(n, 100) << "never went through";
            EXPECT_GT(kills, 0);
            // Killed after the journal stood and the file changed, the change was undone.
            EXPECT_TRUE(undone);
        }
    }
}

// A rewrite through a symbolic link replaces the file it names and keeps the link; a file
// with a second name changes in place, so that both names still show the same file.
TEST(MetadataRewrite, LinksStayLinks)
{
    for (const bool symbolic : {true, false})
    {
        SCOPED_TRACE(symbolic ? "symbolic link" : "hard link");
        Test_TempDir dir;
        const RewriteCase c = Cases().front();
        const std::string target = dir.Path() + "/target", name = dir.Path() + "/name";
        WriteBytes(target, c.mImage);
        if (symbolic)
            std::filesystem::create_symlink(target, name);
        else
            std::filesystem::create_hard_link(target, name);
        Annotate(name);
        EXPECT_EQ(std::filesystem::is_symlink(name), symbolic);
        EXPECT_EQ(ReadBytes(target), ReadBytes(name));
        EXPECT_NE(ReadBytes(target), c.mImage);
        FF_AudioFileRef back = OpenFile(target, Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(back->mDescription.GetOr(""), cDescription);
        back->Close();
        EXPECT_EQ(Test_FolderNames(dir.Path()), (std::set<std::string>{"name", "target"}));
    }
}

// A move of a file with a second name whose samples are far more than the journal holds in
// memory: a journal that cannot be written stops the change before the file is touched, a
// failure in the middle of the move streams the old bytes back at once, a kill there leaves
// them to the next open (through the other name); then the change goes through whole.
TEST(MetadataRewrite, AMoveFarLargerThanMemoryIsJournalledInBlocks)
{
    Sys_FileJournal::SetStreaming(Sys_FileJournal::cMemoryBound, Sys_FileJournal::cBlockSize);
    // Six times what a journal holds in memory.
    const size_t size = size_t(24) << 20;
    const Bytes old = Riff({Chunk("fmt ", FmtData(1, 2, 48000, 16)), Chunk("ANNO", Bytes{'a', 'b'}),
                            Chunk("data", Pattern(size, 9))});
    Test_TempDir dir;
    const std::string path = dir.Path() + "/take", other = dir.Path() + "/other";
    WriteBytes(path, old);
    std::filesystem::create_hard_link(path, other);
    const std::set<std::string> names{"take", "other"};
    // The Nth write: the journal's first block; one in the middle of the move (the journal
    // takes 24 writes and more, the move 768).
    const struct
    {
        int32_t mNth;
        bool mKill;
        bool mJournalStood;
    } rows[] = {{3, false, false}, {400, false, true}, {400, true, true}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(std::to_string(row.mNth) + (row.mKill ? " kill" : " ENOSPC"));
        WriteBytes(path, old);
        bool journalStood = false;
        if (row.mKill)
        {
            const pid_t child = ::fork();
            ASSERT_GE(child, 0);
            if (child == 0)
            {
                Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Write, row.mNth, -SIGKILL);
                Annotate(path);
                ::_exit(0);
            }
            int status = 0;
            ASSERT_EQ(::waitpid(child, &status, 0), child);
            ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
            for (const auto& entry : std::filesystem::directory_iterator(dir.Path()))
                journalStood = journalStood || (!names.count(entry.path().filename().string()) &&
                                                int64_t(entry.file_size()) > int64_t(size));
            EXPECT_FALSE(ReadBytes(path) == old);
        }
        else
        {
            Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Write, row.mNth, ENOSPC);
            const auto [error, text] = ThrownError([&] { Annotate(path); });
            Sys_FilePosix::SetFault(Sys_FilePosix::eFault_Write, 0, 0);
            EXPECT_EQ(error, ENOSPC);
            EXPECT_NE(text.find(path), std::string::npos) << text;
            journalStood = row.mJournalStood;
        }
        EXPECT_EQ(journalStood, row.mJournalStood);
        EXPECT_TRUE(Reopened(other) == old);
        EXPECT_TRUE(ReadBytes(path) == old);
        EXPECT_EQ(Test_FolderNames(dir.Path()), names);
    }
    Annotate(path);
    const Bytes image = ReadBytes(other);
    const auto [start, count] = FindData(old);
    const auto [startAfter, countAfter] = FindData(image);
    ASSERT_EQ(countAfter, count);
    EXPECT_GT(startAfter, start);
    EXPECT_TRUE(std::equal(old.begin() + start, old.end(), image.begin() + startAfter));
    EXPECT_TRUE(ReadBytes(path) == image);
}
