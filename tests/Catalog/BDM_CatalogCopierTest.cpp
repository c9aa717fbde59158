// BDM_Catalog::CopyAndRelink: the files of chosen entries copied, the entries linked to the
// copies, names taken in the destination avoided, and a cancel part way.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "BDM/BDM_Globals.h"
#include "Catalog/CatalogTestSupport.h"

namespace
{
namespace fs = std::filesystem;

class CatalogCopierTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Catalog_InitBrowser();
        BDM_Globals::Instance(); // the queue
        for (const char* name :
             {"lib/a.txt", "lib/sub/b.txt", "lib/sub/c.txt", "dst/a.txt", "dst/sub/x.txt"})
            Write(name, name);
        MakeCatalog("c");
    }

    // A new catalog of lib.
    void MakeCatalog(const std::string& iName)
    {
        mName = iName;
        mCatalog =
            Catalog_Open(P(iName + BDM_Catalog::cFileExtension), Cmn_Store::eOpenFlag_OpenCreate);
        BDM_LazyObjectHandle adder(
            new BDM_CatalogAdder(static_cast<BDM_Catalog&>(*mCatalog), {Sys_FileLoc(P("lib"))}));
        adder->QueueObjectLoader("add");
        while (!adder->IsLoaded() && !adder->LoadFailed())
            BDM_Globals::Instance()->Queue().ExecuteForSlice();
        ASSERT_TRUE(adder->IsLoaded());
    }

    std::string P(const std::string& iRelative) const { return mDir.Path() + "/" + iRelative; }
    void Write(const std::string& iRelative, const std::string& iText)
    {
        fs::create_directories(fs::path(P(iRelative)).parent_path());
        std::ofstream(P(iRelative)) << iText;
    }
    BDM_KeyHandle Key(const std::string& iPath)
    {
        BDM_KeyHandle key = mCatalog->GetRoot();
        for (const auto& name : fs::path(iPath))
            key = Catalog_Neo(mCatalog).FindChild(key, name.string());
        return key;
    }
    // Where the entry at iPath (of the catalog as committed) says its file is.
    std::string Stored(const std::string& iPath)
    {
        Sys_FileLoc loc;
        EXPECT_TRUE(BDM_Relinker::GetStoredLocation(*mCatalog->GetAsset(Key(iPath)), &loc))
            << iPath;
        return loc.GetFullPath();
    }
    // The copier's outcomes as (from, to), relative to the scratch folder.
    std::vector<std::pair<std::string, std::string>> Outcomes(const BDM_CatalogCopier& iCopier)
    {
        std::vector<std::pair<std::string, std::string>> outcomes;
        for (const BDM_Relinker::Outcome& outcome : iCopier.GetOutcomes())
            outcomes.emplace_back(
                fs::relative(outcome.mFrom.GetFullPath(), mDir.Path()),
                outcome.mTo.IsEmpty()
                    ? ""
                    : fs::relative(outcome.mTo.GetFullPath(), mDir.Path()).string());
        return outcomes;
    }
    void Reopen() // from what was committed
    {
        mCatalog->Close();
        mCatalog =
            Catalog_Open(P(mName + BDM_Catalog::cFileExtension), Cmn_Store::eOpenFlag_OpenForWrite);
    }

    Test_TempDir mDir;
    std::string mName;
    BDM_BinHandle mCatalog;
};

// A file entry and a folder entry (and a file inside it, chosen too, copied once): each copy
// takes a free name beside what the destination holds; the entries follow their copies and
// keep them; the originals and what was there stay as they were; a missing file is skipped.
TEST_F(CatalogCopierTest, CopiesAndRelinksFilesAndFolders)
{
    fs::remove(P("lib/sub/c.txt"));
    BDM_CatalogCopierHandle copier = static_cast<BDM_Catalog&>(*mCatalog).CopyAndRelink(
        {Key("lib/a.txt"), Key("lib/sub/b.txt"), Key("lib/sub")}, Sys_FileLoc(P("dst")));
    copier->QueueObjectLoader("copy");
    while (!copier->IsLoaded() && !copier->LoadFailed())
        BDM_Globals::Instance()->Queue().ExecuteForSlice();
    ASSERT_TRUE(copier->IsLoaded());
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"lib/a.txt", "dst/a.1.txt"}, {"lib/sub/b.txt", "dst/sub.1/b.txt"}, {"lib/sub/c.txt", ""}};
    EXPECT_EQ(Outcomes(*copier), expected);
    Reopen();
    // An entry takes its copy's name where no sibling has it.
    for (const auto& [entry, copy] : {std::pair{"lib/a.1.txt", "dst/a.1.txt"},
                                      {"lib/sub/b.txt", "dst/sub.1/b.txt"},
                                      {"lib/sub/c.txt", "lib/sub/c.txt"}})
        EXPECT_EQ(Stored(entry), P(copy));
    for (const char* name : {"lib/a.txt", "lib/sub/b.txt", "dst/a.txt", "dst/sub/x.txt"})
        EXPECT_EQ(Catalog_Bytes(P(name)), name);
    EXPECT_EQ(Catalog_Bytes(P("dst/a.1.txt")), "lib/a.txt");
    EXPECT_FALSE(fs::exists(P("dst/sub/b.txt")));
}

// Cancelled part way, between two entries or inside a folder: what was copied is relinked
// and committed, the rest is not and has no copy, and only whole copies lie in the
// destination.
TEST_F(CatalogCopierTest, CancelPartWayKeepsWhatWasCopied)
{
    struct Row
    {
        std::string mStopAt;              // cancel once this copy is there
        std::vector<std::string> mStored; // of lib/a.txt, lib/sub/b.txt and lib/sub/c.txt
        std::set<std::string> mCopied, mCopiedInSub;
    };
    const Row rows[] = {
        {"dst/a.txt", {"dst/a.txt", "lib/sub/b.txt", "lib/sub/c.txt"}, {"a.txt"}, {}},
        {"dst/sub/b.txt",
         {"dst/a.txt", "dst/sub/b.txt", "lib/sub/c.txt"},
         {"a.txt", "sub"},
         {"b.txt"}}};
    for (const Row& row : rows)
    {
        fs::remove_all(P("dst"));
        fs::create_directories(P("dst"));
        MakeCatalog("c" + std::to_string(&row - rows));
        BDM_CatalogCopierHandle copier = static_cast<BDM_Catalog&>(*mCatalog).CopyAndRelink(
            {Key("lib/a.txt"), Key("lib/sub")}, Sys_FileLoc(P("dst")));
        copier->QueueObjectLoader("copy");
        BDM_LazyObjectQueue& queue = BDM_Globals::Instance()->Queue();
        while (!fs::exists(P(row.mStopAt)) && !queue.IsEmpty())
            queue.ExecTop();
        copier->CancelLoading();
        while (!queue.IsEmpty())
            queue.ExecTop();
        EXPECT_FALSE(copier->IsLoaded()) << row.mStopAt;
        Reopen(); // what was not committed goes
        const std::vector<std::string> stored = {Stored("lib/a.txt"), Stored("lib/sub/b.txt"),
                                                 Stored("lib/sub/c.txt")};
        std::vector<std::string> expected;
        for (const std::string& path : row.mStored)
            expected.push_back(P(path));
        EXPECT_EQ(stored, expected) << row.mStopAt;
        EXPECT_EQ(Test_FolderNames(P("dst")), row.mCopied) << row.mStopAt;
        EXPECT_EQ(fs::exists(P("dst/sub")) ? Test_FolderNames(P("dst/sub"))
                                           : std::set<std::string>(),
                  row.mCopiedInSub)
            << row.mStopAt;
    }
}
} // namespace
