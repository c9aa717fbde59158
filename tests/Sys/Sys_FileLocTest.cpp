// Sys_FileLoc (paths, components, the "SFL" stream form), Sys_Volume over an installed mount
// table, Sys_RelativeFileLoc, Sys_FileLocIterator and Sys_FileLocUtils; also the seeds of
// fuzz/FileLocStreamFuzz.cpp.
#include "Sys_FileLoc.h"
#include "Support/SysTestSupport.h"
#include "Sys_FileLocIterator.h"
#include "Sys_FileLocUtils.h"
#include "Sys_FileType.h"
#include "Sys_RelativeFileLoc.h"
#include "Sys_Volume.h"
#include "Sys_VolumePosix.h"

namespace
{
constexpr uint32_t kMovedID = 0x4D495241; // the volume that changes its mount point
constexpr uint32_t kRootID = 0x524F4F54;

Sys_VolumePosix::MountEntry Entry(uint32_t iID, const std::string& iMountPoint,
                                  const std::string& iRoot = "/", const std::string& iFS = "ext4")
{
    return {iID, iMountPoint, iRoot, iFS, "/dev/test"};
}

Bytes Out(const Sys_FileLoc& iLoc)
{
    Test_Out out;
    *out << iLoc;
    return out.Get();
}

Sys_FileLoc In(const Bytes& iBytes)
{
    Test_In in(iBytes);
    Sys_FileLoc loc;
    *in >> loc;
    EXPECT_EQ(in->GetPos(), in->GetEndPos());
    return loc;
}

// A stream form written by hand: folder flag, identifier, count, components.
Bytes Forge(uint32_t iID, int32_t iCount, const std::vector<std::string>& iComponents)
{
    Test_Out out;
    out->WriteBlock("SFL", 3);
    *out << int16_t(1) << int32_t(0) << false << iID << iCount;
    for (const std::string& component : iComponents)
        *out << component;
    const int64_t end = out->GetPos();
    out->SetPos(5);
    *out << int32_t(end - 9); // the size of what follows it
    return out.Get();
}

// Installs a mount table for the test's duration.
class Sys_FileLocStream : public testing::Test
{
protected:
    void Mount(const Sys_VolumePosix::MountTable& iTable)
    {
        Sys_VolumePosix::SetMountTable(iTable);
    }
    void TearDown() override { Sys_VolumePosix::ClearMountTable(); }
};
} // namespace

// ---- paths ---------------------------------------------------------------------------------

TEST(Sys_FileLoc, KeepsPathsInCanonicalForm)
{
    const std::tuple<const char*, const char*, const char*, const char*, const char*> cases[] = {
        {"/a//b/./take.wav/", "/a/b/take.wav", "take.wav", "wav", "/a/b"},
        {"/", "/", "", "", ""},
        {"/.hidden", "/.hidden", ".hidden", "", "/"},
        {"rel/x.tar.gz", "rel/x.tar.gz", "x.tar.gz", "gz", "rel"},
        {"/a/../b", "/a/../b", "b", "", "/a/.."},
        {"", "", "", "", ""},
    };
    for (const auto& [given, path, name, extension, parent] : cases)
    {
        SCOPED_TRACE(given);
        const Sys_FileLoc loc{std::string(given)};
        EXPECT_EQ(loc.GetFullPath(), path);
        EXPECT_EQ(loc.GetName(), name);
        EXPECT_EQ(loc.GetExtension(), extension);
        EXPECT_EQ(loc.GetParentFolder().GetFullPath(), parent);
    }
    EXPECT_EQ(Sys_FileLoc("/p/\xC3\xA9").GetUTF16FullPath(), u"/p/\u00E9");
    EXPECT_TRUE(
        Test_Asserts([] { Sys_FileLoc loc(static_cast<Sys_FileLocImpl*>(nullptr)); }, "mImpl"));
}

TEST(Sys_FileLoc, TypeAddsItsExtensionOnce)
{
    const Sys_FileType type =
        Sys_FileType::RegisterType({Sys_FileType::MakeOSType("tLoc")}, {"tloc"}, "test", 0);
    const Sys_FileLoc folder("/data");
    EXPECT_EQ(Sys_FileLoc(folder, "take", type).GetFullPath(), "/data/take.tloc");
    EXPECT_EQ(Sys_FileLoc(folder, "take.TLOC", type).GetFullPath(), "/data/take.TLOC");
    EXPECT_EQ(Sys_FileLoc(folder, "v1.0", Sys_FileType::cFolder).GetExtension(), "");
    EXPECT_EQ(Sys_FileLoc(folder, "b").GetFullPath(), "/data/b");
}

// ---- the stream form and changing mount points ---------------------------------------------

TEST_F(Sys_FileLocStream, StoresTheVolumeByIdentifierAndReadsBackWhereItIsMountedNow)
{
    Mount({Entry(kRootID, "/"), Entry(kMovedID, "/mnt/a")});
    const Sys_FileLoc loc("/mnt/a/takes/one.wav");
    const Bytes bytes = Out(loc);
    EXPECT_EQ(bytes, Forge(kMovedID, 2, {"takes", "one.wav"}));
    EXPECT_EQ(In(bytes), loc);
    EXPECT_EQ(loc.GetPathComponents(), (std::vector<std::string>{"/mnt/a", "takes", "one.wav"}));
    EXPECT_EQ(Sys_FileLoc(loc.GetPathComponents()), loc);
    EXPECT_EQ(In(Out(Sys_FileLoc())), Sys_FileLoc());
    const Bytes root = Out(Sys_FileLoc("/mnt/a"));

    Mount({Entry(kRootID, "/"), Entry(kMovedID, "/media/disk b")});
    EXPECT_EQ(In(bytes).GetFullPath(), "/media/disk b/takes/one.wav");
    EXPECT_TRUE(In(root).IsVolumeRoot());

    // A bind mount of the folder "takes" of that file system.
    Mount({Entry(kRootID, "/"), Entry(kMovedID, "/srv/t", "/takes")});
    EXPECT_EQ(In(bytes).GetFullPath(), "/srv/t/one.wav");
}

TEST_F(Sys_FileLocStream, UnmountedVolumeThrowsAfterTheWholeBlock)
{
    Mount({Entry(kRootID, "/"), Entry(kMovedID, "/mnt/a")});
    Bytes bytes = Out(Sys_FileLoc("/mnt/a/x"));
    const Bytes second = Out(Sys_FileLoc("/y"));
    bytes.insert(bytes.end(), second.begin(), second.end());
    Mount({Entry(kRootID, "/")});

    Test_In in(bytes);
    Sys_FileLoc loc;
    EXPECT_TRUE(Test_ThrowsL10N([&] { loc.StreamIn(*in); }, 1, 1));
    loc.StreamIn(*in); // the next block reads on
    EXPECT_EQ(loc.GetFullPath(), "/y");
}

TEST_F(Sys_FileLocStream, RefusesBadCountsAndComponents)
{
    Mount({Entry(kRootID, "/")});
    EXPECT_TRUE(Test_ThrowsL10N([&] { In(Forge(kRootID, 0x7fffffff, {"a"})); }, 2, 29));
    EXPECT_TRUE(Test_ThrowsL10N([&] { In(Forge(kRootID, -1, {})); }, 2, 29));
    for (const char* bad : {"..", ".", "", "a/b"})
        EXPECT_TRUE(Test_ThrowsL10N([&] { In(Forge(kRootID, 1, {bad})); }, 3, 1)) << bad;
    Bytes cut = Forge(kRootID, 1, {"abc"});
    cut.resize(cut.size() - 2);
    EXPECT_THROW(In(cut), Cmn_Exception);
}

TEST_F(Sys_FileLocStream, VolumesComeFromTheInstalledTable)
{
    Mount({Entry(kRootID, "/"), Entry(kMovedID, "/mnt/a"), Entry(kMovedID, "/mnt/again"),
           Entry(7, "/proc", "/", "proc")});
    const Sys_Volume volume = Sys_FileLoc("/mnt/a/deep/er").GetVolume();
    EXPECT_EQ(volume.GetID(), kMovedID);
    EXPECT_TRUE(volume.IsMounted());
    EXPECT_EQ(Sys_Volume(volume.GetVRefNum()), volume);
    EXPECT_EQ(Sys_FileLoc(volume).GetFullPath(), "/mnt/a");
    EXPECT_EQ(Sys_FileLoc(Sys_Volume("/"), Sys_FileLoc("/mnt/a/x/y")).GetFullPath(), "/x/y");
    EXPECT_EQ(Sys_FileLoc("/mnt/another").GetVolume().GetID(), kRootID);

    const std::vector<Sys_Volume> mounted = Sys_Volume::GetMountedVolumes();
    ASSERT_EQ(mounted.size(), 2u); // no pseudo file system, the bind mount once
    EXPECT_EQ(mounted[1].GetCachedName(), "/mnt/a");

    const Sys_Volume gone(0x1111, "Old Disk");
    EXPECT_EQ(std::tuple(gone.IsMounted(), gone.GetCachedName(), gone.GetVRefNum()),
              std::tuple(false, "Old Disk", 0));
    EXPECT_EQ(Sys_Volume("/").GetEncodedName(), "lW"); // 001011 11(0000)
}

TEST(Sys_VolumePosix, ParsesMountInfo)
{
    const std::string text =
        "22 1 0:21 / /proc rw - proc proc rw\n"
        "27 1 254:0 / / rw,relatime shared:1 - ext4 /dev/vda rw\n"
        "30 27 8:17 /music /media/My\\040Disk ro master:2 - vfat /dev/sdb1 ro\n"
        "garbage\n"
        "31 27 0:5 / /media/My\\040Disk rw - tmpfs tmpfs rw\n";
    const Sys_VolumePosix::MountTable table = Sys_VolumePosix::ParseMountInfo(text);
    ASSERT_EQ(table.size(), 3u); // the later mount hides the vfat one
    EXPECT_EQ(std::tuple(table[1].mFileSystemName, table[1].mDevMajor), std::tuple("ext4", 254u));
    EXPECT_EQ(std::tuple(table[2].mMountPoint, table[2].mFileSystemName, table[2].mReadOnly),
              std::tuple("/media/My Disk", "tmpfs", false));
    EXPECT_EQ(Sys_VolumePosix::FindEntryForPath(table, "/media/My Disk/x"), &table[2]);
    EXPECT_EQ(Sys_VolumePosix::FindEntryForPath(table, "/media/My Diskette"), &table[1]);

    const Sys_VolumePosix::MountTable ro =
        Sys_VolumePosix::ParseMountInfo(text.substr(0, text.rfind("31 ")));
    EXPECT_TRUE(ro.back().mReadOnly);
    EXPECT_EQ(ro.back().mRoot, "/music");
    EXPECT_EQ(Sys_Volume::FileSystemTypeFromName(ro.back().mFileSystemName),
              Sys_Volume::eFileSystemType_FAT);

    EXPECT_EQ(Sys_VolumePosix::IDFromUUID("0A1B-2C3D"), Sys_VolumePosix::IDFromUUID("0a1b2c3d"));
    EXPECT_NE(Sys_VolumePosix::IDFromUUID("0a1b2c3d"), Sys_VolumePosix::IDFromUUID("0a1b2c3e"));
    EXPECT_EQ(Sys_Volume::FileSystemTypeFromMagic(0x4d44), Sys_Volume::eFileSystemType_FAT);
    EXPECT_EQ(Sys_Volume::FileSystemTypeFromMagic(0x2011BAB0), Sys_Volume::eFileSystemType_FAT);
    EXPECT_EQ(Sys_Volume::FileSystemTypeFromMagic(0xEF53), Sys_Volume::eFileSystemType_Other);
}

TEST(Sys_Volume, RealVolumesHaveStableIdentifiersAndSectorSizes)
{
    Test_TempDir dir;
    const Sys_Volume volume = Sys_FileLoc(dir.Path() + "/not-yet/there").GetVolume();
    ASSERT_TRUE(volume.IsMounted());
    EXPECT_NE(volume.GetID(), 0u);
    Sys_Volume::RescanVolumes();
    EXPECT_EQ(Sys_FileLoc(dir.Path()).GetVolume().GetID(), volume.GetID());
    EXPECT_GT(volume.GetMaxFileNameComponentLength(), 8);
    const int32_t sector = volume.GetBytesPerSector();
    EXPECT_GE(sector, 512);
    EXPECT_EQ(sector & (sector - 1), 0);
    EXPECT_FALSE(Sys_Volume().IsMounted());
    EXPECT_EQ(Sys_Volume().GetBytesPerSector(), 512);
    Sys_VolumeAttr attr;
    ASSERT_TRUE(volume.GetAttr(&attr));
    EXPECT_GT(attr.GetSize(), 0);
    EXPECT_LE(attr.GetFreeSpace(), attr.GetSize());
    const Sys_FileLoc loc(dir.Path() + "/a.wav"); // stored on the real volume, read back on it
    EXPECT_EQ(In(Out(loc)), loc);
}

// ---- relative locations ----------------------------------------------------------------------

TEST(Sys_RelativeFileLoc, LeadsFromBaseToLocationOnAnyBase)
{
    const Sys_RelativeFileLoc down(Sys_FileLoc("/s/song"), Sys_FileLoc("/s/song/Audio/a.wav"));
    EXPECT_EQ(down.ToString(), "Audio:a.wav");
    EXPECT_EQ(down.GetFileLoc(Sys_FileLoc("/backup/song")).GetFullPath(),
              "/backup/song/Audio/a.wav");

    const Sys_RelativeFileLoc across(Sys_FileLoc("/s/song"), Sys_FileLoc("/s/shared/b.wav"));
    EXPECT_EQ(across.ToString(), "..:shared:b.wav");
    EXPECT_EQ(across.GetFileLoc(Sys_FileLoc("/t/song")).GetFullPath(), "/t/shared/b.wav");
    EXPECT_EQ(Sys_RelativeFileLoc::FromString(across.ToString()), across);

    EXPECT_TRUE(
        Test_ThrowsL10N([] { Sys_RelativeFileLoc(Sys_FileLoc("/a"), Sys_FileLoc("b")); }, 3, 1));
    EXPECT_TRUE(Test_ThrowsL10N([&] { across.GetFileLoc(Sys_FileLoc("/")); }, 3, 1));
    EXPECT_TRUE(Test_ThrowsL10N([] { Sys_RelativeFileLoc({"a/b"}); }, 3, 1));
}

// ---- the tree walk ---------------------------------------------------------------------------

namespace
{
void Touch(const std::string& iPath)
{
    std::filesystem::create_directories(std::filesystem::path(iPath).parent_path());
    WriteBytes(iPath, "x");
}
} // namespace

TEST(Sys_FileLocIterator, FindsMatchesDepthFirstResumesAfterItsBudgetAndStops)
{
    const Sys_FileType type = Sys_FileType::RegisterType({}, {"itk"}, "iterator test", 0);
    Test_TempDir dir;
    const std::string root = dir.Path();
    for (const char* name : {"a.itk", "b.txt", "sub/c.itk", "sub/._c.itk", "sub/deeper/d.ITK",
                             "sub/deeper/e.txt", "z.itk"})
        Touch(root + "/" + name);
    for (int i = 0; i < 20; ++i)
        Touch(root + "/sub/noise" + std::to_string(i));
    const std::vector<std::string> expected = {root + "/a.itk", root + "/sub/c.itk",
                                               root + "/sub/deeper/d.ITK", root + "/z.itk"};

    std::vector<std::string> found;
    for (Sys_FileLocIterator it(Sys_FileLoc(root), std::vector<Sys_FileType>{type}); it.Next();)
        found.push_back(it->GetFullPath());
    EXPECT_EQ(found, expected);

    // A budget of nothing looks at one entry a call: the same matches, in slices.
    found.clear();
    int32_t emptySlices = 0;
    Sys_FileLocIterator it(Sys_FileLoc(root), std::vector<Sys_FileType>{type});
    while (!it.IsDone())
    {
        if (it.Next(0))
            found.push_back((*it).GetFullPath());
        else
        {
            EXPECT_FALSE(it);
            ++emptySlices;
        }
    }
    EXPECT_EQ(found, expected);
    EXPECT_GT(emptySlices, 20);

    // By name pattern; an aborted walk stops.
    Sys_FileLocIterator text(Sys_FileLoc(root + "/sub"), std::string("*.txt"));
    ASSERT_TRUE(text.Next());
    EXPECT_EQ(text->GetName(), "e.txt");
    EXPECT_EQ(text.GetCurrentSearchPath().GetFullPath(), root + "/sub/deeper");
    text.Abort();
    EXPECT_FALSE(text);
    EXPECT_FALSE(text.Next());
    EXPECT_TRUE(Test_Asserts([&] { *text; }, "mImpl->IsOnEntry()"));
    EXPECT_TRUE(
        Test_ThrowsL10N([&] { Sys_FileLocIterator bad(Sys_FileLoc(root + "/a.itk"), "*"); }, 2, 4));
}

// ---- well-known places -----------------------------------------------------------------------

TEST(Sys_FileLocUtils, AnswersWhereLocationsLie)
{
    Sys_FileLoc loc;
    ASSERT_TRUE(Sys_FileLocUtils::FileURLToSys_FileLoc("file:///home/me/My%20Take.wav", &loc));
    EXPECT_EQ(loc.GetFullPath(), "/home/me/My Take.wav");
    EXPECT_FALSE(Sys_FileLocUtils::FileURLToSys_FileLoc("http://x/y", &loc));

    const Sys_FileLoc folder("/s/song");
    for (auto [path, deep, inside] : {std::tuple{"/s/song/a/b.wav", true, true},
                                      {"/s/song/a/b.wav", false, false},
                                      {"/s/songs/b.wav", true, false},
                                      {"/s/song", true, false}})
        EXPECT_EQ(Sys_FileLocUtils::FileLocIsInFolder(Sys_FileLoc(path), folder, deep), inside)
            << path << deep;

    EXPECT_EQ(Sys_FileLocUtils::ReAnchorFileLoc(Sys_FileLoc("/s/song/a/b.wav"), folder,
                                                Sys_FileLoc("/t/new"))
                  .GetFullPath(),
              "/t/new/a/b.wav");
    EXPECT_TRUE(Test_Asserts(
        [] {
            Sys_FileLocUtils::ReAnchorFileLoc(Sys_FileLoc("/"), Sys_FileLoc("/"),
                                              Sys_FileLoc("/x"));
        },
        "!fileLoc.IsVolumeRoot()"));
    EXPECT_TRUE(Sys_FileLocUtils::IsInTrash(Sys_FileLoc("/home/me/.local/share/Trash/files/a")) &&
                !Sys_FileLocUtils::IsInTrash(Sys_FileLoc("/home/me/Trash/a")));
    EXPECT_TRUE(Sys_FileLocUtils::HasLongFileName(Sys_FileLoc("/" + std::string(32, 'n'))) &&
                !Sys_FileLocUtils::HasLongFileName(Sys_FileLoc("/" + std::string(31, 'n'))));

    const Sys_FileLoc temp1 = Sys_FileLocUtils::GetTempFileLoc();
    EXPECT_NE(temp1, Sys_FileLocUtils::GetTempFileLoc());
    EXPECT_EQ(temp1.GetExtension(), "tmp");
    EXPECT_EQ(Sys_FileLocUtils::GetApplicationLoc().GetName(), "test_Sys");
}

// ---- seeds of fuzz/FileLocStreamFuzz.cpp -------------------------------------------------------
//
// The fuzz input is one byte that picks the byte order (low bit: 0 little-endian, 1
// big-endian) and then a location's stream form. The target installs one mount table:
// kRootID at "/" and kMovedID at "/fuzz/vol". Set MIRAFILE_WRITE_FUZZ_SEEDS to a folder to
// write the seeds there.

TEST_F(Sys_FileLocStream, WritesFuzzSeeds)
{
    Mount({Entry(kRootID, "/"), Entry(kMovedID, "/fuzz/vol")});
    const std::tuple<const char*, unsigned char, std::string> seeds[] = {
        {"little_file", 0, "/fuzz/vol/a/b.wav"},
        {"big_root", 1, "/fuzz/vol"},
        {"big_deep", 1, "/usr/share/sounds/x/y/z.aif"},
        {"little_empty", 0, ""}};
    const char* folder = std::getenv("MIRAFILE_WRITE_FUZZ_SEEDS");
    for (const auto& [name, order, path] : seeds)
    {
        Test_Out out(order ? 2 : 1);
        out.mMem.Write(&order, 1);
        Sys_FileLoc(path).StreamOut(*out);
        const Bytes bytes = out.Get();

        // What the target does with it.
        Cmn_MemBufferInStream inMem(bytes.data() + 1, bytes.data() + bytes.size());
        Sys_TypedInStream in(&inMem, order == 1);
        Sys_FileLoc back;
        back.StreamIn(in);
        EXPECT_EQ(back.GetFullPath(), path);
        if (folder)
            WriteBytes(std::string(folder) + "/" + name, bytes);
    }
}
