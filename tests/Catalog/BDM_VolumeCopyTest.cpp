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
#include "BDM/BDM_Workspace.h"
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

using Do = std::function<void(VolumeCopyTest&)>;
using Stop = std::function<bool(BDM_Volume_AssetCopier&)>;

// Copies iSource (below the disk, or with a leading "/" in the scratch folder) into iFolder;
// with iStop, runs the queue until it holds and cancels. A copy that went through carries the
// comment of its source's entry.
Do Copy(std::string iSource, std::string iFolder, Stop iStop = {})
{
    return [=](VolumeCopyTest& t)
    {
        BDM_Volume& volume = t.Volume();
        BDM_Bin* binP = &volume;
        BDM_KeyHandle source;
        if (iSource[0] == '/')
        {
            MakeWave(t.In(iSource.substr(1)), 1, 16, Bytes(20, 1));
            binP = &volume.GetFileSystemBin();
            source =
                BDM_Volume::GetFileSystemHooks().mMakeKey(Sys_FileLoc(t.In(iSource.substr(1))));
        }
        else
        {
            source = t.Entry(iSource);
            Catalog_Set(Catalog_Neo(BDM_BinHandle(volume.GetDatabase())), source,
                        Tags().cAssetComment, std::string("take 3"));
        }
        BDM_LazyObjectHandle work = volume.CopyAsset(*binP, source, t.Entry(iFolder));
        auto& copier = static_cast<BDM_Volume_AssetCopier&>(*work);
        copier.QueueObjectLoader(std::string());
        t.RunUntil([&] { return iStop ? iStop(copier) : copier.IsLoaded(); });
        if (iStop)
        {
            EXPECT_TRUE(iStop(copier));
            copier.CancelLoading();
            t.RunUntil([] { return false; });
        }
        ASSERT_EQ(copier.IsLoaded(), !iStop);
        std::string comment;
        if (!iStop)
            volume.GetAsset(copier.GetCopiedKey())
                ->GetAttributeValue(Tags().cAssetComment, &comment);
        EXPECT_EQ(comment, iStop || iSource[0] == '/' ? "" : "take 3");
    };
}

// Deletes iPath (with iStuck a file that cannot go); with iCancel, cancels once the files
// went, which throws.
Do Delete(std::string iPath, std::string iStuck = "", bool iCancel = false)
{
    return [=](VolumeCopyTest& t)
    {
        if (!iStuck.empty())
            t.Stick(t.OnDisk(iStuck));
        BDM_LazyObjectHandle work = t.Volume().DeleteAssetRecursive(t.Entry(iPath));
        auto& deleter = static_cast<BDM_Volume_DeleteAssetRecursive&>(*work);
        deleter.QueueObjectLoader(std::string());
        t.RunUntil([&] { return deleter.FilesDeleted(); });
        if (iCancel)
            deleter.CancelLoading();
        t.RunUntil([&] { return deleter.IsLoaded(); });
    };
}

Do Rename(std::string iPath, std::string iName)
{
    return [=](VolumeCopyTest& t) { t.Volume().RenameAsset(t.Entry(iPath), iName); };
}

// The same through the name attribute of the volume's asset.
Do SetName(std::string iPath, std::string iName)
{
    return [=](VolumeCopyTest& t)
    {
        BDM_AssetHandle asset = t.Volume().GetAsset(t.Entry(iPath));
        static_cast<BDM_TypedAttribute<std::string>*>(asset->GetAttribute(Tags().cFileName))
            ->Set(iName);
    };
}

Do Move(std::string iPath, std::string iFolder)
{
    return [=](VolumeCopyTest& t) { t.Volume().MoveAsset(t.Entry(iPath), t.Entry(iFolder)); };
}

// Each operation changes disk and database alike, or (refused, cancelled) neither.
TEST_F(VolumeCopyTest, OperationsChangeDiskAndDatabaseAlike)
{
    const Stop filesCopied = [](BDM_Volume_AssetCopier& c)
    { return !c.GetDependencies().empty() && c.GetDependencies().front()->IsLoaded(); };
    const Do toAnotherVolume = [](VolumeCopyTest& t)
    {
        fs::create_directories(t.In("elsewhere"));
        t.Volume().MoveAsset(t.Entry("a.wav"), BDM_Volume::GetFileSystemHooks().mMakeKey(
                                                   Sys_FileLoc(t.In("elsewhere"))));
    };
    struct Case
    {
        const char* mWhat;
        Do mDo;
        Paths mGone, mNew;
        std::string mError; // "12NN" for that message, else a part of the text; "" for none
        bool mReadOnly = false;
        int64_t mFreeSpace = -1;
    };
    const Paths sub = {"sub", "sub/c.wav", "sub/d.wav"};
    const Paths subInSub2 = {"sub2/sub", "sub2/sub/c.wav", "sub2/sub/d.wav"};
    const Case cases[] = {
        {"a file copied", Copy("sub/c.wav", "sub2"), {}, {"sub2/c.wav"}, ""},
        {"a folder copied", Copy("sub", "sub2"), {}, subInSub2, ""},
        {"a copy whose name is taken", Copy("a.wav", ""), {}, {"a.1.wav"}, ""},
        {"a file of another volume copied", Copy("/x.wav", "sub"), {}, {"sub/x.wav"}, ""},
        {"a copy to a locked volume", Copy("a.wav", "sub2"), {}, {}, "1271", true},
        {"a copy larger than the free space", Copy("a.wav", "sub2"), {}, {}, "1288", false, 100},
        {"a folder larger than the free space", Copy("sub", "sub2"), {}, {}, "1288", false, 300},
        {"a copy cancelled before it starts",
         Copy("a.wav", "sub2", [](BDM_Volume_AssetCopier&) { return true; }),
         {},
         {},
         ""},
        {"a copy cancelled after the file", Copy("a.wav", "sub2", filesCopied), {}, {}, ""},
        {"a folder copy cancelled after the files", Copy("sub", "sub2", filesCopied), {}, {}, ""},
        {"a folder copy cancelled while it is entered",
         Copy("sub", "sub2", [](BDM_Volume_AssetCopier& c) { return bool(c.GetCopiedKey()); }),
         {},
         {},
         ""},
        {"a file deleted", Delete("a.wav"), {"a.wav"}, {}, ""},
        {"a folder deleted", Delete("sub"), sub, {}, ""},
        {"a folder deleted through the bin",
         [](VolumeCopyTest& t) { t.Volume().DeleteAsset(t.Entry("sub")); },
         sub,
         {},
         ""},
        {"a delete cancelled once the files went", Delete("sub", "", true), sub, {}, "1291"},
        {"a folder deleted but a file that stays",
         Delete("sub", "sub/c.wav"),
         {"sub/d.wav"},
         {},
         ""},
        {"a delete on a locked volume", Delete("sub"), {}, {}, "1272", true},
        {"a file renamed", Rename("a.wav", "z.wav"), {"a.wav"}, {"z.wav"}, ""},
        {"a folder renamed by its name",
         SetName("sub", "sub9"),
         sub,
         {"sub9", "sub9/c.wav", "sub9/d.wav"},
         ""},
        {"a file moved", Move("sub/c.wav", "sub2"), {"sub/c.wav"}, {"sub2/c.wav"}, ""},
        {"a folder moved", Move("sub", "sub2"), sub, subInSub2, ""},
        {"an illegal name", Rename("a.wav", "a:b.wav"), {}, {}, "contain the character(s) ':'"},
        {"an illegal name set",
         SetName("a.wav", "a/b.wav"),
         {},
         {},
         "contain the character(s) '/'"},
        {"a name taken", Rename("a.wav", "b.wav"), {}, {}, "1268"},
        {"a move to another volume", toAnotherVolume, {}, {}, "another volume"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mWhat);
        Open(c.mReadOnly, c.mFreeSpace);
        Paths want = OnDiskPaths();
        for (const std::string& path : c.mGone)
            want.erase(path);
        want.insert(c.mNew.begin(), c.mNew.end());
        std::string error;
        try
        {
            c.mDo(*this);
        }
        catch (const std::exception& e)
        {
            const bool numbered = c.mError.size() == 4 && c.mError.rfind("12", 0) == 0;
            error = numbered && L10N_IsException(e, 12, std::stoi(c.mError) - 1200) ? c.mError
                                                                                    : e.what();
        }
        EXPECT_TRUE(c.mError.empty() ? error.empty() : error.find(c.mError) != std::string::npos)
            << error;
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
    BDM_BinHandle hold(new BDM_Workspace(&BDM_Globals::Instance()->Cache()));
    auto& workspace = static_cast<BDM_Workspace&>(*hold);
    workspace.RefreshVolumes();
    BDM_Volume* listedP = workspace.GetVolume(Disk());
    ASSERT_TRUE(listedP);
    listedP->Open(Cmn_Store::eOpenFlag_OpenForRead);
    EXPECT_FALSE(listedP->IsInUse()) << "the workspace's list is the owner";
    listedP->Close();
}
} // namespace
