// Relinking a catalog's moved files: what passes as the same file, where the search looks
// first, what is written back, and the candidates offered for one entry.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>

#include "BDM/BDM_Globals.h"
#include "BDM/BDM_PostProcess_Relink.h"
#include "BDM/BDM_RelinkCandidatesFinder.h"
#include "BDM/BDM_Relinker.h"
#include "BDM/Adapters/FS/BFSa_Bin.h"
#include "Catalog/CatalogTestSupport.h"
#include "Cmn_Assert.h"
#include "Support/FFTestSupport.h"

namespace
{
namespace fs = std::filesystem;

const BDM_AttributeTags& T()
{
    return *BDM_AttributeTags::Instance();
}

const Sys_Umid cID(0x11111111, 0x22222222, 0x33333333, 0x44444444);
const Sys_Umid cOtherID(0x55555555, 0x22222222, 0x33333333, 0x44444444);
const char* const cNotFound1 =
    "1 file(s) could not be found. Double-click icon to open the Relink Window.";

class RelinkerTest : public ::testing::Test
{
public:
    void SetUp() override
    {
        Catalog_InitBrowser();
        BDM_Globals::Instance(); // the queue
        fs::create_directories(P("lib"));
    }

    std::string P(const std::string& iRelative) const { return mDir.Path() + "/" + iRelative; }

    // A mono 16-bit WAVE of iFrames frames with identity iID (none for the empty one).
    void Wave(const std::string& iRelative, int64_t iFrames, const Sys_Umid& iID = Sys_Umid())
    {
        fs::create_directories(fs::path(P(iRelative)).parent_path());
        FF_AudioFileRef file = NewWave(P(iRelative), 1, 16);
        if (!iID.IsNoID())
            file->mUmid.Set(iID);
        std::vector<unsigned char> samples(size_t(iFrames) * 2, 7);
        ASSERT_EQ(file->Write(samples.data(), iFrames, eByteOrder_Little, true), iFrames);
        file->Flush();
        while (file->IsOpen())
            file->Close();
    }
    // Moves a file (its date goes with it), making the folders on the way.
    void Move(const std::string& iFrom, const std::string& iTo)
    {
        fs::create_directories(fs::path(P(iTo)).parent_path());
        fs::rename(P(iFrom), P(iTo));
    }
    // Copies a file with its modification date.
    void Copy(const std::string& iFrom, const std::string& iTo)
    {
        fs::create_directories(fs::path(P(iTo)).parent_path());
        fs::copy_file(P(iFrom), P(iTo));
        fs::last_write_time(P(iTo), fs::last_write_time(P(iFrom)));
    }

    void Drain(BDM_LazyObject& ioObject)
    {
        ioObject.QueueObjectLoader("test");
        for (int32_t slices = 0; slices < 10000 && !ioObject.IsLoaded() && !ioObject.LoadFailed();
             ++slices)
            BDM_Globals::Instance()->Queue().ExecuteForSlice();
        ASSERT_TRUE(ioObject.IsLoaded());
    }

    // A catalog named iName of what iFolder holds.
    BDM_BinHandle Catalogue(const std::string& iName, const std::string& iFolder)
    {
        BDM_BinHandle catalog =
            Catalog_Open(P(iName + BDM_Catalog::cFileExtension), Cmn_Store::eOpenFlag_OpenCreate);
        BDM_LazyObjectHandle adder(new BDM_CatalogAdder(static_cast<BDM_Catalog&>(*catalog),
                                                        {Sys_FileLoc(P(iFolder))}));
        Drain(*adder);
        return catalog;
    }
    BDM_AssetHandle Entry(const BDM_BinHandle& iCatalog, const std::string& iPath)
    {
        BDM_KeyHandle key = iCatalog->GetRoot();
        for (const auto& name : fs::path(iPath))
            if (!(key = Catalog_Neo(iCatalog).FindChild(key, name.string())))
                return BDM_AssetHandle();
        return iCatalog->GetAsset(key);
    }

    BDM_QueryAreaHandle Area(const std::vector<std::string>& iFolders,
                             const BDM_BinHandle& iDatabase = BDM_BinHandle())
    {
        BDM_QueryAreaHandle area(new BDM_QueryArea);
        BDM_Bin& files =
            BDM_Globals::Instance()->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles);
        for (const std::string& folder : iFolders)
            area->AddArea(files, BFSa_Bin::MakeKey(Sys_FileLoc(P(folder)), true));
        if (iDatabase)
            area->AddArea(*iDatabase, iDatabase->GetRoot());
        return area;
    }

    using Handle = Cmn_PolymorphicHandle<BDM_Relinker, Sys_ThreadSafeRefCountObject>;
    Handle Relink(const BDM_BinHandle& iCatalog, const BDM_QueryAreaHandle& iArea, bool iByName,
                  bool iByID, bool iDryRun = false)
    {
        std::vector<BDM_Link> missing;
        BDM_Relinker::CollectMissingFiles(*iCatalog, iCatalog->GetRoot(), &missing);
        Handle relinker(new BDM_Relinker(missing, iArea, iByName, iByID));
        relinker->SetDryRun(iDryRun);
        Drain(*relinker);
        return relinker;
    }

    Test_TempDir mDir;
};

// One entry, lib/a.wav (1,000 frames, an identity), catalogued, then changed on disk; which
// file, if any, the entry is linked to.
TEST_F(RelinkerTest, WhatPassesForTheMovedFile)
{
    using Fixture = RelinkerTest;
    struct Case
    {
        const char* mName;
        std::function<void(Fixture&)> mChange;
        std::function<void(BNeoa_Asset&)> mEdit; // of the catalog's entry, before the search
        std::vector<std::string> mSearch;
        bool mByName;
        bool mByID;
        std::string mExpected; // where it is found; empty: nowhere
    };
    const auto moveTo = [](const char* iTo) { return [iTo](Fixture& f) { f.Move("lib/a.wav", iTo); }; };
    const auto samples = [](int64_t iCount)
    {
        return [iCount](BNeoa_Asset& ioEntry)
        {
            static_cast<BDM_TypedAttribute<int64_t>*>(ioEntry.GetAttribute(T().cAudioFileNumSamples))
                ->Set(iCount);
        };
    };
    // Another file of the same name: 999 frames, or the same bytes with another date; the
    // original goes.
    const auto shorterCopy = [](int32_t iFrames)
    {
        return [iFrames](Fixture& f)
        {
            f.Wave("new/a.wav", iFrames, cID);
            fs::last_write_time(f.P("new/a.wav"), fs::last_write_time(f.P("lib/a.wav")));
            fs::remove(f.P("lib/a.wav"));
        };
    };
    const auto laterCopy = [](Fixture& f)
    {
        f.Copy("lib/a.wav", "new/a.wav");
        fs::last_write_time(f.P("new/a.wav"), fs::last_write_time(f.P("lib/a.wav")) + std::chrono::seconds(10));
        fs::remove(f.P("lib/a.wav"));
    };
    const auto twoCopies = [](const char* iFirst, const char* iSecond)
    {
        return [=](Fixture& f)
        {
            f.Copy("lib/a.wav", iFirst);
            f.Move("lib/a.wav", iSecond);
        };
    };
    const std::function<void(BNeoa_Asset&)> none;
    const Case cases[] = {
        {"moved and renamed: by identity", moveTo("new/b.wav"), none, {"new"}, false, true, "new/b.wav"},
        {"moved and renamed: not by name", moveTo("new/b.wav"), none, {"new"}, true, false, ""},
        {"moved and renamed: not by name and identity", moveTo("new/b.wav"), none, {"new"}, true, true, ""},
        {"moved: by name", moveTo("new/deep/a.wav"), none, {"new"}, true, false, "new/deep/a.wav"},
        {"moved: by name and identity", moveTo("new/a.wav"), none, {"new"}, true, true, "new/a.wav"},
        {"another length: not by name", shorterCopy(999), none, {"new"}, true, false, ""},
        {"another length: not by identity", shorterCopy(999), none, {"new"}, false, true, ""},
        {"another date: not by name", laterCopy, none, {"new"}, true, false, ""},
        {"length -1 is no term", shorterCopy(999), samples(-1), {"new"}, true, false, "new/a.wav"},
        {"length 0 is no term", shorterCopy(999), samples(0), {"new"}, true, false, "new/a.wav"},
        {"trashed: never by name",
         moveTo("home/.local/share/Trash/files/a.wav"), none, {"home/.local/share/Trash/files"}, true, false, ""},
        {"trashed: never by identity",
         moveTo("vol/.Trash-1000/files/b.wav"), none, {"vol/.Trash-1000/files"}, false, true, ""},
        {"trash below a searched folder is not looked in",
         moveTo("home/.local/share/Trash/files/a.wav"), none, {"home"}, true, true, ""},
        {"not there at all", moveTo("elsewhere/a.wav"), none, {"new", "lib"}, true, true, ""},
        {"the first searched folder wins", twoCopies("x/a.wav", "y/a.wav"), none, {"y", "x"}, true, false, "y/a.wav"},
        {"the first searched folder wins, either order", twoCopies("x/a.wav", "y/a.wav"), none, {"x", "y"}, true, false, "x/a.wav"},
        {"in a folder, the first in the walk wins", twoCopies("new/m/a.wav", "new/k/a.wav"), none, {"new"}, true, true, "new/k/a.wav"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mName);
        fs::remove_all(mDir.Path());
        fs::create_directories(P("lib"));
        Wave("lib/a.wav", 1000, cID);
        BDM_BinHandle catalog = Catalogue("c", "lib");
        c.mChange(*this);
        for (const std::string& folder : c.mSearch)
            fs::create_directories(P(folder));
        if (c.mEdit)
        {
            c.mEdit(static_cast<BNeoa_Asset&>(*Entry(catalog, "lib/a.wav")));
            catalog->Commit();
        }
        Handle relinker = Relink(catalog, Area(c.mSearch), c.mByName, c.mByID);
        const std::vector<BDM_Relinker::Outcome> outcomes = relinker->GetOutcomes();
        ASSERT_EQ(outcomes.size(), 1u);
        EXPECT_EQ(outcomes[0].mFrom.GetFullPath(), P("lib/a.wav"));
        EXPECT_EQ(outcomes[0].mTo.GetFullPath(), c.mExpected.empty() ? "" : P(c.mExpected));
        EXPECT_EQ(relinker->GetReport(), c.mExpected.empty() ? cNotFound1 : "");
    }
}

// What a relink leaves in the catalog: the new location, committed, unless it was a dry run;
// a renamed file gives the entry its name.
TEST_F(RelinkerTest, WritesTheNewLocationBack)
{
    for (bool dryRun : {false, true})
    {
        SCOPED_TRACE(dryRun ? "dry run" : "relink");
        fs::remove_all(mDir.Path());
        Wave("lib/a.wav", 500, cID);
        Wave("lib/b.wav", 600);
        std::ofstream(P("lib/notes.txt")) << "text\n";
        Catalogue("c", "lib");
        Move("lib/a.wav", "new/renamed.wav");
        Move("lib/b.wav", "new/sub/b.wav");
        Move("lib/notes.txt", "new/notes.txt");
        {
            BDM_BinHandle catalog = Catalog_Open(P("c.mfcatalog"), Cmn_Store::eOpenFlag_OpenForWrite);
            // By identity: a.wav by its identity, b.wav (which has none) by its length, format
            // and date alone; the text file has nothing to search by.
            Handle byID = Relink(catalog, Area({"new"}), false, true, dryRun);
            EXPECT_EQ(byID->GetNumFound(), 2);
            EXPECT_EQ(byID->GetReport(), cNotFound1);
            // By name: what is left (in a dry run everything, and the renamed file stays lost).
            Handle byName = Relink(catalog, Area({"new"}), true, false, dryRun);
            EXPECT_EQ(byName->GetNumFound(), dryRun ? 2 : 1);
            EXPECT_EQ(byName->GetReport(), dryRun ? cNotFound1 : "");
            catalog->Close(); // what was not committed goes
        }
        BDM_BinHandle catalog = Catalog_Open(P("c.mfcatalog"), Cmn_Store::eOpenFlag_OpenForRead);
        std::vector<BDM_Link> missing;
        BDM_Relinker::CollectMissingFiles(*catalog, catalog->GetRoot(), &missing);
        EXPECT_EQ(missing.size(), dryRun ? 3u : 0u);
        const BDM_AssetHandle renamed = Entry(catalog, "lib/renamed.wav");
        ASSERT_EQ(!renamed, dryRun);
        if (!dryRun)
        {
            Sys_FileLoc loc;
            ASSERT_TRUE(renamed->ResolveFileSystemAlias(&loc));
            EXPECT_EQ(loc.GetFullPath(), P("new/renamed.wav"));
            ASSERT_TRUE(Entry(catalog, "lib/b.wav")->ResolveFileSystemAlias(&loc));
            EXPECT_EQ(loc.GetFullPath(), P("new/sub/b.wav"));
        }
    }
}

// Which terms an entry's predicate gets: none at all means no search.
TEST_F(RelinkerTest, PredicateNeedsAUsableTerm)
{
    struct Case
    {
        const char* mName;
        int64_t mSamples; // stored in the entry
        bool mID;
        bool mByName;
        bool mByID;
        bool mPredicate;
        BDM_EAssetType mType = BDM_eAssetType_Audio;
        BDM_EFileFormat mFormat = BDM_eFileFormat_Unknown; // the stored one when unknown
    };
    const Case cases[] = {
        {"by identity", 1000, true, false, true, true},
        {"by identity, no identity: the length alone", 1000, false, false, true, true},
        {"by identity, no identity, length 0", 0, false, false, true, false},
        {"by identity, no identity, length -1", -1, false, false, true, false},
        {"by name, length -1", -1, false, true, false, true},
        {"neither switch, length 0", 0, true, false, false, false},
        {"a movie is searched by identity whatever the switch", 0, true, false, false, true,
         BDM_eAssetType_Video, BDM_eFileFormat_Movie},
        {"so is the other movie format", 0, true, false, false, true, BDM_eAssetType_Video,
         BDM_eFileFormat_AVI},
        {"another video is not", 0, true, false, false, false, BDM_eAssetType_Video,
         BDM_EFileFormat(1003)},
        {"a movie without an identity has no term", 0, false, false, false, false,
         BDM_eAssetType_Video, BDM_eFileFormat_Movie},
    };
    BDM_PredicateFactory& factory = *BDM_Globals::Instance()
                                         ->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles)
                                         .GetPredicateFactory();
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mName);
        fs::remove_all(mDir.Path());
        Wave("lib/a.wav", 1000, c.mID ? cID : Sys_Umid());
        BDM_BinHandle catalog = Catalogue("c", "lib");
        BDM_AssetHandle entry = Entry(catalog, "lib/a.wav");
        static_cast<BDM_TypedAttribute<int64_t>*>(entry->GetAttribute(T().cAudioFileNumSamples))
            ->Set(c.mSamples);
        static_cast<BDM_TypedAttribute<BDM_EAssetType>*>(entry->GetAttribute(T().cAssetType))
            ->Set(c.mType);
        if (c.mFormat != BDM_eFileFormat_Unknown)
            static_cast<BDM_TypedAttribute<BDM_EFileFormat>*>(entry->GetAttribute(T().cFileFormat))
                ->Set(c.mFormat);
        Handle relinker(new BDM_Relinker({{catalog, entry->GetKey()}}, Area({}), c.mByName, c.mByID));
        relinker->SetFileToFind(0);
        EXPECT_EQ(bool(relinker->GeneratePredicate(factory)), c.mPredicate);
    }
}

// The candidates of one entry, in the order of the search: a catalog's, then by name, then
// by identity; each once, never the trash, never the entry itself.
TEST_F(RelinkerTest, CandidatesComeInSearchOrder)
{
    Wave("lib/a.wav", 1000, cID);
    Wave("other/a.wav", 10, cOtherID);
    BDM_BinHandle catalog = Catalogue("c", "lib");
    BDM_BinHandle database = Catalogue("d", "other");
    Move("lib/a.wav", "new/z.wav");      // renamed: by identity
    Wave("new/a.wav", 20, cOtherID);     // another file of the name
    Wave("home/.local/share/Trash/files/a.wav", 1000, cID);
    const BDM_AssetHandle entry = Entry(catalog, "lib/a.wav");

    struct Case
    {
        const char* mName;
        std::vector<std::string> mFolders;
        bool mDatabase;
        std::vector<std::pair<std::string, BDM_RelinkCandidatesFinder::EStage>> mExpected;
    };
    using F = BDM_RelinkCandidatesFinder;
    const Case cases[] = {
        {"everything",
         {"new", "home/.local/share/Trash/files"},
         true,
         {{"other/a.wav", F::eStage_Databases}, {"new/a.wav", F::eStage_ByName}, {"new/z.wav", F::eStage_ByID}}},
        {"the catalog alone", {}, true, {{"other/a.wav", F::eStage_Databases}}},
        {"the folder alone", {"new"}, false, {{"new/a.wav", F::eStage_ByName}, {"new/z.wav", F::eStage_ByID}}},
        {"the catalog being relinked finds only itself", {}, false, {}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mName);
        BDM_QueryAreaHandle area = Area(c.mFolders, c.mDatabase ? database : catalog);
        Cmn_PolymorphicHandle<F, Sys_ThreadSafeRefCountObject> finder(new F(entry, area));
        Drain(*finder);
        EXPECT_EQ(finder->GetSearchStatus(), F::eSearchStatus_Done);
        std::vector<std::pair<std::string, F::EStage>> found;
        for (const F::Candidate& candidate : finder->GetCandidates())
            found.emplace_back(candidate.mFile.GetFullPath().substr(mDir.Path().size() + 1),
                               candidate.mStage);
        EXPECT_EQ(found, c.mExpected);
    }
    using FinderHandle = Cmn_PolymorphicHandle<F, Sys_ThreadSafeRefCountObject>;
    EXPECT_EQ(FinderHandle(new F(entry, Area({})))->GetLoadName(),
              "Finding relink candidates for a.wav");

    // Without a name or an identity there is nothing to search by.
    static_cast<BNeoa_Asset&>(*entry).SetAttributeInvalid(T().cFileName);
    static_cast<BNeoa_Asset&>(*entry).SetAttributeInvalid(T().cAssetID);
    const BDM_AssetHandle bare = catalog->GetAsset(entry->GetKey());
    FinderHandle finder(new F(bare, Area({"new"}, database)));
    Drain(*finder);
    EXPECT_TRUE(finder->GetCandidates().empty());
    BDM_QueryAreaHandle area = Area({"new"});
    EXPECT_THROW(F::GeneratePredicate(*bare, false, false, *area->GetPredicateFactory()),
                 Cmn_AssertException);
}
// A copy of a folder, then its relink: the entries of the copied folder follow their copies
// and keep them; an entry outside the folder, and one whose copy is missing, stay.
TEST_F(RelinkerTest, CopyThenRelinkFollowsTheCopies)
{
    Wave("lib/a.wav", 100, cID);
    Wave("lib/sub/b.wav", 200);
    Wave("lib/sub/gone.wav", 300);
    Wave("other/c.wav", 50);
    fs::create_directories(P("dst"));
    BDM_BinHandle catalog = Catalogue("c", "lib");
    BDM_BinHandle others = Catalogue("d", "other");
    fs::remove(P("lib/sub/gone.wav")); // not copied
    const std::vector<BDM_Link> entries = {
        {catalog, Entry(catalog, "lib/a.wav")->GetKey()},
        {catalog, Entry(catalog, "lib/sub/gone.wav")->GetKey()},
        {catalog, Entry(catalog, "lib/sub/b.wav")->GetKey()},
        {others, Entry(others, "other/c.wav")->GetKey()}};

    BDM_Bin& files =
        BDM_Globals::Instance()->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles);
    Cmn_PolymorphicHandle<BDM_RecursiveAssetCopier, Sys_ThreadSafeRefCountObject> copier(
        new BDM_RecursiveAssetCopier(files, BFSa_Bin::MakeKey(Sys_FileLoc(P("lib")), true), files,
                                     BFSa_Bin::MakeKey(Sys_FileLoc(P("dst")), true)));
    Cmn_PolymorphicHandle<BDM_PostProcess_Relink, Sys_ThreadSafeRefCountObject> relink(
        new BDM_PostProcess_Relink(entries));
    copier->SetPostProcess(BDM_RecursiveAssetCopier::PostProcessHandle(relink.Get()));
    Drain(*copier);
    ASSERT_TRUE(relink->IsLoaded());

    std::vector<std::pair<std::string, std::string>> outcomes;
    for (const BDM_Relinker::Outcome& outcome : relink->GetOutcomes())
        outcomes.emplace_back(outcome.mFrom.GetFullPath(), outcome.mTo.GetFullPath());
    const std::vector<std::pair<std::string, std::string>> expected = {
        {P("lib/a.wav"), P("dst/lib/a.wav")},
        {P("lib/sub/gone.wav"), ""},
        {P("lib/sub/b.wav"), P("dst/lib/sub/b.wav")}};
    EXPECT_EQ(outcomes, expected);
    EXPECT_EQ(relink->GetReport(), cNotFound1);

    catalog->Close();
    catalog = Catalog_Open(P("c.mfcatalog"), Cmn_Store::eOpenFlag_OpenForRead);
    for (const auto& [entry, file] : {std::pair{"lib/a.wav", "dst/lib/a.wav"},
                                      std::pair{"lib/sub/b.wav", "dst/lib/sub/b.wav"},
                                      std::pair{"lib/sub/gone.wav", ""}})
    {
        Sys_FileLoc loc;
        EXPECT_EQ(BDM_Relinker::GetStoredLocation(*Entry(catalog, entry), &loc), true);
        EXPECT_EQ(loc.GetFullPath(), *file ? P(file) : P(entry)) << entry;
    }
    Sys_FileLoc loc;
    ASSERT_TRUE(Entry(others, "other/c.wav")->ResolveFileSystemAlias(&loc));
    EXPECT_EQ(loc.GetFullPath(), P("other/c.wav"));
}
} // namespace
