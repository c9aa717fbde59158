// Copies, deletes, moves and renames on a volume: each lands on the disk and in the volume
// database together; a refusal or a cancel leaves both as they were.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <set>

#include "BDM/BDM_AttributeTag.h"
#include "BDM/BDM_Volume_AssetCopier.h"
#include "BDM/BDM_Volume_DeleteAssetRecursive.h"
#include "BDM/BDM_Volume_QueryResult.h"
#include "Catalog/CatalogDiskFixture.h"
#include "L10N_ExceptionData.h"

namespace
{
namespace fs = std::filesystem;
using Paths = std::set<std::string>;

class VolumeCopyTest : public Catalog_DiskFixture
{
public:
    void TearDown() override
    {
        mVolume.Reset();
        Unstick();
        Catalog_DiskFixture::TearDown();
    }
    // The disk afresh (mounted as asked) and its volume open for writing.
    BDM_Volume& Open(bool iReadOnly = false, int64_t iFreeSpace = -1)
    {
        mVolume.Reset();
        Unstick();
        Reset();
        Mount("disk", iReadOnly, iFreeSpace);
        mVolume = BDM_BinHandle(new BDM_Volume(&BDM_Globals::Instance()->Cache(), Disk()));
        mVolume->Open(Cmn_Store::eOpenFlag_OpenForWrite);
        return Volume();
    }
    BDM_Volume& Volume() { return static_cast<BDM_Volume&>(*mVolume); }
    BDM_KeyHandle Entry(const std::string& iPath)
    {
        return iPath.empty() ? Volume().GetRoot()
                             : Volume().FindEntryForLocation(Sys_FileLoc(OnDisk(iPath)));
    }
    // What is on the disk and in the (committed) database, by path below the root.
    Paths OnDiskPaths() const
    {
        Paths paths;
        for (const auto& item : fs::recursive_directory_iterator(OnDisk("")))
            paths.insert(fs::relative(item.path(), OnDisk("")).string());
        return paths;
    }
    Paths RowPaths() const
    {
        Paths paths;
        for (const auto& [path, row] : Rows())
            if (!path.empty())
                paths.insert(path);
        return paths;
    }
    // Each path has its entry, found by name on the way down, whose place resolves to it.
    void ExpectEntries(const Paths& iPaths)
    {
        for (const std::string& path : iPaths)
        {
            const BDM_KeyHandle key = Entry(path);
            ASSERT_TRUE(key) << path;
            Sys_FileLoc loc;
            EXPECT_TRUE(Volume().GetAsset(key)->ResolveFileSystemAlias(&loc)) << path;
            EXPECT_EQ(loc.GetFullPath(), OnDisk(path));
        }
    }
    // Runs the queue until iDone holds (or nothing is left to run).
    static void RunUntil(const std::function<bool()>& iDone)
    {
        for (int32_t i = 0; i < 1000 && !iDone() && !Sys_LazyObject::GetQueue()->IsEmpty(); ++i)
            Sys_LazyObject::GetQueue()->ExecTop();
    }
    // A file that cannot be deleted, for root too (immutable), else in a read-only folder.
    void Stick(const std::string& iPath)
    {
        if (!SetImmutable(iPath, true))
            fs::permissions(fs::path(iPath).parent_path(), fs::perms::owner_write,
                            fs::perm_options::remove);
        mStuck.push_back(iPath);
    }
    void Unstick()
    {
        for (const std::string& path : mStuck)
        {
            SetImmutable(path, false);
            fs::permissions(fs::path(path).parent_path(), fs::perms::owner_write,
                            fs::perm_options::add);
        }
        mStuck.clear();
    }
    static bool SetImmutable(const std::string& iPath, bool iOn)
    {
        const int fd = ::open(iPath.c_str(), O_RDONLY);
        int flags = 0;
        bool done = fd >= 0 && ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
        flags = iOn ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL;
        done = done && ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
        if (fd >= 0)
            ::close(fd);
        return done;
    }

    BDM_BinHandle mVolume;
    std::vector<std::string> mStuck;
};

const BDM_AttributeTags& Tags()
{
    return *BDM_AttributeTags::Instance();
}

TEST_F(VolumeCopyTest, CopyLandsOnDiskAndInTheDatabaseWithTheKeptAttributes)
{
    struct Case
    {
        const char* mWhat;
        std::string mSource; // below the disk, or (starting with "/") in the scratch folder
        std::string mFolder;
        Paths mNew;
    };
    const Case cases[] = {
        {"a file with a comment", "sub/c.wav", "sub2", {"sub2/c.wav"}},
        {"a folder", "sub", "sub2", {"sub2/sub", "sub2/sub/c.wav", "sub2/sub/d.wav"}},
        {"a name taken", "a.wav", "", {"a.1.wav"}},
        {"a file from another volume", "/outside.wav", "sub", {"sub/outside.wav"}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mWhat);
        BDM_Volume& volume = Open();
        BDM_Bin* sourceBinP = &volume;
        BDM_KeyHandle source;
        if (c.mSource[0] == '/')
        {
            MakeWave(In(c.mSource.substr(1)), 1, 16, Bytes(20, 1));
            sourceBinP = &volume.GetFileSystemBin();
            source =
                BDM_Volume::GetFileSystemHooks().mMakeKey(Sys_FileLoc(In(c.mSource.substr(1))));
        }
        else
        {
            source = Entry(c.mSource);
            Catalog_Set(Catalog_Neo(BDM_BinHandle(volume.GetDatabase())), source,
                        Tags().cAssetComment, std::string("take 3"));
        }
        const Paths disk = OnDiskPaths(), rows = RowPaths();
        BDM_LazyObjectHandle copier = volume.CopyAsset(*sourceBinP, source, Entry(c.mFolder));
        {
            Sys_LazyObject::StSetLoadSynchronously synchronously;
            copier->QueueObjectLoader(std::string());
        }
        Paths wantDisk = disk, wantRows = rows;
        wantDisk.insert(c.mNew.begin(), c.mNew.end());
        wantRows.insert(c.mNew.begin(), c.mNew.end());
        EXPECT_EQ(OnDiskPaths(), wantDisk);
        EXPECT_EQ(RowPaths(), wantRows);
        ExpectEntries(c.mNew);
        std::string comment;
        Volume()
            .GetAsset(Entry(*c.mNew.begin()))
            ->GetAttributeValue(Tags().cAssetComment, &comment);
        EXPECT_EQ(comment, c.mSource[0] == '/' ? "" : "take 3");
    }
}

// Refused before anything is written, or cancelled on the way: disk and database stay.
TEST_F(VolumeCopyTest, RefusalsAndCancelsLeaveDiskAndDatabaseAsTheyWere)
{
    using Stop = std::function<bool(BDM_Volume_AssetCopier&)>;
    struct Case
    {
        const char* mWhat;
        bool mReadOnly;
        int64_t mFreeSpace;
        bool mDelete;
        std::string mSource;
        int32_t mMessage; // thrown at once; 0: the work starts and is cancelled at mStop
        Stop mStop;
    };
    const Stop filesCopied = [](BDM_Volume_AssetCopier& c)
    { return !c.GetDependencies().empty() && c.GetDependencies().front()->IsLoaded(); };
    const Case cases[] = {
        {"copy to a locked volume", true, -1, false, "a.wav", 71, {}},
        {"copy larger than the free space", false, 100, false, "a.wav", 88, {}},
        {"folder larger than the free space", false, 300, false, "sub", 88, {}},
        {"delete on a locked volume", true, -1, true, "sub", 72, {}},
        {"copy cancelled before it starts", false, -1, false, "a.wav", 0,
         [](BDM_Volume_AssetCopier&) { return true; }},
        {"copy cancelled after the file", false, -1, false, "a.wav", 0, filesCopied},
        {"folder copy cancelled after the files", false, -1, false, "sub", 0, filesCopied},
        {"folder copy cancelled while it is entered", false, -1, false, "sub", 0,
         [](BDM_Volume_AssetCopier& c) { return bool(c.GetCopiedKey()); }},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mWhat);
        BDM_Volume& volume = Open(c.mReadOnly, c.mFreeSpace);
        volume.Commit();
        const Paths disk = OnDiskPaths(), rows = RowPaths();
        const BDM_KeyHandle source = Entry(c.mSource);
        try
        {
            BDM_LazyObjectHandle work = c.mDelete ? volume.DeleteAssetRecursive(source)
                                                  : volume.CopyAsset(volume, source, Entry("sub2"));
            ASSERT_EQ(c.mMessage, 0) << "no refusal";
            auto& copier = static_cast<BDM_Volume_AssetCopier&>(*work);
            copier.QueueObjectLoader(std::string());
            RunUntil([&] { return c.mStop(copier); });
            EXPECT_TRUE(c.mStop(copier));
            copier.CancelLoading();
            RunUntil([] { return false; });
            EXPECT_FALSE(copier.IsLoaded());
        }
        catch (const std::exception& e)
        {
            EXPECT_TRUE(c.mMessage && L10N_IsException(e, 12, c.mMessage)) << e.what();
        }
        volume.Commit();
        EXPECT_EQ(OnDiskPaths(), disk);
        EXPECT_EQ(RowPaths(), rows);
    }
}

TEST_F(VolumeCopyTest, DeleteRemovesFilesThenTheirEntries)
{
    struct Case
    {
        const char* mWhat;
        std::string mPath;
        std::string mStuck; // a file that cannot be deleted
        bool mCancelAfterFiles;
        Paths mGone;
    };
    const Case cases[] = {
        {"a file", "a.wav", "", false, {"a.wav"}},
        {"a folder", "sub", "", false, {"sub", "sub/c.wav", "sub/d.wav"}},
        {"a folder, cancelled once its files went",
         "sub",
         "",
         true,
         {"sub", "sub/c.wav", "sub/d.wav"}},
        {"a folder with a file that stays", "sub", "sub/c.wav", false, {"sub/d.wav"}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mWhat);
        BDM_Volume& volume = Open();
        volume.Commit();
        Paths want = OnDiskPaths();
        for (const std::string& path : c.mGone)
            want.erase(path);
        if (!c.mStuck.empty())
            Stick(OnDisk(c.mStuck));
        BDM_LazyObjectHandle work = volume.DeleteAssetRecursive(Entry(c.mPath));
        auto& deleter = static_cast<BDM_Volume_DeleteAssetRecursive&>(*work);
        deleter.QueueObjectLoader(std::string());
        RunUntil([&] { return deleter.FilesDeleted() || deleter.IsLoaded(); });
        if (c.mCancelAfterFiles)
        {
            try
            {
                deleter.CancelLoading();
                ADD_FAILURE() << "the cancel went through";
            }
            catch (const std::exception& e)
            {
                EXPECT_TRUE(L10N_IsException(e, 12, 91)) << e.what();
            }
        }
        RunUntil([&] { return deleter.IsLoaded(); });
        EXPECT_EQ(deleter.GetNumKept(), c.mStuck.empty() ? 0 : 2); // the file and its folder
        EXPECT_EQ(OnDiskPaths(), want);
        EXPECT_EQ(RowPaths(), want);
        ExpectEntries(want);
    }
}

TEST_F(VolumeCopyTest, MoveAndRenameOnDiskAndInTheDatabase)
{
    struct Case
    {
        const char* mWhat;
        std::function<void(VolumeCopyTest&)> mDo;
        std::map<std::string, std::string> mRenamed; // old path -> new path
        const char* mError;                          // a part of the message, or null
    };
    const auto rename = [](const char* iPath, const char* iName)
    { return [=](VolumeCopyTest& t) { t.Volume().RenameAsset(t.Entry(iPath), iName); }; };
    const auto setName = [](const char* iPath, const char* iName)
    {
        return [=](VolumeCopyTest& t)
        {
            BDM_AssetHandle asset = t.Volume().GetAsset(t.Entry(iPath));
            static_cast<BDM_TypedAttribute<std::string>*>(asset->GetAttribute(Tags().cFileName))
                ->Set(iName);
        };
    };
    const auto move = [](const char* iPath, const char* iFolder)
    { return [=](VolumeCopyTest& t) { t.Volume().MoveAsset(t.Entry(iPath), t.Entry(iFolder)); }; };
    const Case cases[] = {
        {"a file renamed", rename("a.wav", "z.wav"), {{"a.wav", "z.wav"}}, nullptr},
        {"a folder renamed by its name",
         setName("sub", "sub9"),
         {{"sub", "sub9"}, {"sub/c.wav", "sub9/c.wav"}, {"sub/d.wav", "sub9/d.wav"}},
         nullptr},
        {"a file moved", move("sub/c.wav", "sub2"), {{"sub/c.wav", "sub2/c.wav"}}, nullptr},
        {"a folder moved",
         move("sub", "sub2"),
         {{"sub", "sub2/sub"}, {"sub/c.wav", "sub2/sub/c.wav"}, {"sub/d.wav", "sub2/sub/d.wav"}},
         nullptr},
        {"an illegal name", rename("a.wav", "a:b.wav"), {}, "contain the character(s) ':'"},
        {"an illegal name set", setName("a.wav", "a/b.wav"), {}, "contain the character(s) '/'"},
        {"a name taken", rename("a.wav", "b.wav"), {}, "already exists"},
        {"a move to another volume",
         [](VolumeCopyTest& t)
         {
             fs::create_directories(t.In("elsewhere"));
             t.Volume().MoveAsset(t.Entry("a.wav"), BDM_Volume::GetFileSystemHooks().mMakeKey(
                                                        Sys_FileLoc(t.In("elsewhere"))));
         },
         {},
         "another volume"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mWhat);
        Open();
        Paths want = OnDiskPaths();
        for (const auto& [from, to] : c.mRenamed)
            want.erase(from), want.insert(to);
        try
        {
            c.mDo(*this);
            EXPECT_FALSE(c.mError);
        }
        catch (const std::exception& e)
        {
            EXPECT_TRUE(c.mError && std::string(e.what()).find(c.mError) != std::string::npos)
                << e.what();
        }
        Volume().Commit();
        EXPECT_EQ(OnDiskPaths(), want);
        EXPECT_EQ(RowPaths(), want);
        ExpectEntries(want);
    }
}

// A search answers the volume's own assets; the volume is in use while anyone but its owner
// holds it or its database.
TEST_F(VolumeCopyTest, QueriesAnswerVolumeAssetsAndUseIsCounted)
{
    BDM_Volume& volume = Open();
    std::unique_ptr<BDM_QueryResult> result =
        volume.Query(volume.GetPredicateFactory()->MakePredicate(
                         BDM_TypedAttributeValue<std::string>(&Tags().cFileName, "c.wav"),
                         BDM_PredicateFactory::eRelation_Equal),
                     BDM_KeyHandle());
    BDM_KeyHandle key;
    ASSERT_EQ(result->Next(&key, 1000), BDM_QueryResult::eResult_Delivered);
    const auto& found = static_cast<BDM_Volume_QueryResult&>(*result).GetLastAsset();
    EXPECT_TRUE(dynamic_cast<BDM_VolumeAsset*>(found.Get()));
    EXPECT_EQ(found->GetName(), "c.wav");
    EXPECT_EQ(result->Next(&key, 1000), BDM_QueryResult::eResult_End);
    EXPECT_TRUE(volume.IsInUse()) << "a result holds the volume";
    result.reset();
    key.Reset();
    EXPECT_FALSE(volume.IsInUse());
    {
        BDM_AssetHandle asset = volume.GetAsset(Entry("a.wav"));
        EXPECT_TRUE(volume.IsInUse()) << "an asset is live";
    }
    EXPECT_FALSE(volume.IsInUse());
    BDM_LazyObjectHandle deleter = volume.DeleteAssetRecursive(Entry("a.wav"));
    EXPECT_TRUE(volume.IsInUse()) << "a task is at work";
    deleter.Reset();
    EXPECT_FALSE(volume.IsInUse());
}
} // namespace
