// Metadata changes in front of the samples: a filler takes them up in place (journalled), else
// the file is rewritten beside the old one and swapped in. A failure or a kill at any point
// leaves, by the next open, the old file or the new one, byte for byte, and the AppleDouble
// sidecar as it was.
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "FF/Audio/FF_AudioFile.h"
#include "Support/FFTestSupport.h"
#include "Support/SysTestSupport.h"
#include "Sys_FileJournal.h"
#include "Sys_FilePosix.h"

namespace
{
struct RewriteCase
{
    const char* mName;
    Bytes mImage;
    bool mInPlace; // a filler takes up the growth
};

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
    };
}

const std::string cDescription(300, 'd');

// Opens the file for writing, makes its annotation grow and flushes.
void Annotate(const std::string& iPath)
{
    FF_AudioFileRef file = OpenFile(iPath, Cmn_Store::eOpenFlag_OpenForWrite);
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

const std::set<std::string> cNames{"take", "._take"};
const Bytes cSidecar = Pattern(82, 3);
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
        WriteBytes(path, c.mImage);
        WriteBytes(dir.Path() + "/._take", cSidecar);
        ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
        const ino_t before = Inode(path);
        Annotate(path);
        const Bytes image = ReadBytes(path);
        const auto [start, size] = FindData(c.mImage);
        const auto [startAfter, sizeAfter] = FindData(image);
        ASSERT_EQ(sizeAfter, size);
        EXPECT_EQ(Hash(image, startAfter, size), Hash(c.mImage, start, size));
        EXPECT_EQ(startAfter == start, c.mInPlace);
        EXPECT_EQ(Inode(path) == before, c.mInPlace);
        EXPECT_EQ(image.size() <= c.mImage.size(), c.mInPlace);
        struct stat info
        {
        };
        ASSERT_EQ(::stat(path.c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777, 0640u);
        EXPECT_EQ(ReadBytes(dir.Path() + "/._take"), cSidecar);
        EXPECT_EQ(Test_FolderNames(dir.Path()), cNames);
        FF_AudioFileRef back = OpenFile(path, Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(back->mDescription.GetOr(""), cDescription);
        back->Close();
    }
}

// The file as the next open through the library finds it (which undoes a change in place
// that a failure or a kill left half made).
Bytes Reopened(const std::string& iPath)
{
    OpenFile(iPath, Cmn_Store::eOpenFlag_OpenForRead)->Close();
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
        WriteBytes(path, c.mImage);
        WriteBytes(dir.Path() + "/._take", cSidecar);
        Annotate(path);
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
                const auto [error, text] = ThrownError([&] { Annotate(path); });
                Sys_FilePosix::SetFault(kind, 0, 0);
                const Bytes image = Reopened(path);
                EXPECT_TRUE(image == c.mImage || image == changed);
                EXPECT_EQ(ReadBytes(dir.Path() + "/._take"), cSidecar);
                EXPECT_EQ(Test_FolderNames(dir.Path()), cNames);
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
            // read, written and synced); a swap meets them all.
            if (!c.mInPlace || (kind != Sys_FilePosix::eFault_Grow &&
                                kind != Sys_FilePosix::eFault_Rename))
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
        if (!c.mInPlace)
            continue;
        Test_TempDir dir;
        const std::string path = dir.Path() + "/take";
        WriteBytes(path, c.mImage);
        WriteBytes(dir.Path() + "/._take", cSidecar);
        Annotate(path);
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
                        Annotate(path);
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
                const bool halfMade = Exists(Sys_FileJournal::JournalPath(path)) &&
                                      ReadBytes(path) != c.mImage;
                const Bytes image = Reopened(path);
                EXPECT_TRUE(image == c.mImage || image == changed);
                undone = undone || (halfMade && image == c.mImage);
                EXPECT_EQ(Test_FolderNames(dir.Path()), cNames);
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
