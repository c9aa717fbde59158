// The database adapter: what a catalog file must be to open, what a change and a commit do
// to it, and what searches find.
#include <gtest/gtest.h>

#include "BDM/Adapters/Neo/BNeoa_Database.h"
#include "BDM/Adapters/Neo/BNeoa_Query.h"
#include "Catalog/CatalogTestSupport.h"

namespace
{
const BDM_AttributeTags& T()
{
    Catalog_InitBrowser();
    return *BDM_AttributeTags::Instance();
}

class CatalogFileTest : public ::testing::Test
{
protected:
    std::string Path() const { return mDir.Path() + "/c" + BDM_Catalog::cFileExtension; }
    BDM_BinHandle Create() { return Catalog_Open(Path(), Cmn_Store::eOpenFlag_OpenCreate); }
    BDM_BinHandle Reopen(Cmn_Store::EOpenFlag iFlag = Cmn_Store::eOpenFlag_OpenForWrite)
    {
        return Catalog_Open(Path(), iFlag);
    }
    Test_TempDir mDir;
};

// ---- refusals ----------------------------------------------------------------------------

struct Refusal
{
    const char* mName;
    // Makes the file at the path (a good catalog is there already when mFromCatalog).
    bool mFromCatalog;
    const char* mSql; // run by the sqlite3 program, or a text file's contents
    int32_t mPackage, mID; // 0: accepted
};

const Refusal cRefusals[] = {
    {"TextFile", false, "just some text\n", 12, 82},
    {"EmptyFile", false, "", 12, 82},
    {"OtherApplication", false, "PRAGMA application_id = 7; CREATE TABLE t (x);", 12, 82},
    {"NewerSchema", true, "PRAGMA user_version = 2;", 12, 66},
    {"NoInformation", true, "DELETE FROM Info;", 12, 82},
    {"MajorVersionOne", true, "UPDATE Info SET DatabaseMajorVersion = 1;", 12, 83},
    {"NotUnicode", true, "UPDATE Info SET IsUnicode = 0;", 12, 84},
    {"OtherMinorVersion", true, "UPDATE Info SET DatabaseMinorVersion = 7;", 0, 0},
};

class CatalogRefusalTest : public CatalogFileTest, public ::testing::WithParamInterface<Refusal>
{
};

TEST_P(CatalogRefusalTest, RefusedFileStaysByteIdentical)
{
    const Refusal& refusal = GetParam();
    if (refusal.mFromCatalog)
    {
        Create()->Close();
        Catalog_Sqlite(Path(), std::string("PRAGMA journal_mode = DELETE; ") + refusal.mSql);
    }
    else if (std::string(refusal.mSql).rfind("PRAGMA", 0) == 0)
        Catalog_Sqlite(Path(), refusal.mSql);
    else
        std::ofstream(Path()) << refusal.mSql;
    const std::string before = Catalog_Bytes(Path());
    const std::set<std::string> namesBefore = Test_FolderNames(mDir.Path());
    for (auto flag : {Cmn_Store::eOpenFlag_OpenForRead, Cmn_Store::eOpenFlag_OpenForWrite})
    {
        if (refusal.mPackage == 0)
        {
            BDM_BinHandle bin = Reopen(flag);
            EXPECT_EQ(bin->GetAsset(bin->GetRoot())->GetType(), BDM_eAssetType_CatalogRoot);
            continue;
        }
        EXPECT_TRUE(Test_ThrowsL10N([&] { Reopen(flag); }, refusal.mPackage, refusal.mID));
        EXPECT_EQ(Catalog_Bytes(Path()), before);
        EXPECT_EQ(Test_FolderNames(mDir.Path()), namesBefore);
    }
}

INSTANTIATE_TEST_SUITE_P(Files, CatalogRefusalTest, ::testing::ValuesIn(cRefusals),
                         [](const auto& iInfo) { return std::string(iInfo.param.mName); });

TEST_F(CatalogFileTest, CreateRefusesAnExistingFileAndLeavesNoTemporary)
{
    std::ofstream(Path()) << "x";
    EXPECT_TRUE(Test_ThrowsL10N([&] { Create(); }, 12, 63));
    EXPECT_EQ(Catalog_Bytes(Path()), "x");
    std::filesystem::remove(Path());
    Create()->Close();
    EXPECT_EQ(Test_FolderNames(mDir.Path()), std::set<std::string>{"c.mfcatalog"});
    EXPECT_EQ(Catalog_Sqlite(Path(), "PRAGMA journal_mode; PRAGMA foreign_keys;"), "wal\n0\n");
}

// ---- changes and commits -----------------------------------------------------------------

TEST_F(CatalogFileTest, CloseWithoutCommitRollsBackAndCommitKeeps)
{
    BDM_BinHandle bin = Create();
    BNeoa_Bin& neo = Catalog_Neo(bin);
    const int64_t created = neo.GetDatabaseLastCommitDate();
    neo.CreateFolder(neo.GetRoot(), "kept");
    neo.Commit();
    EXPECT_GE(neo.GetDatabaseLastCommitDate(), created);
    EXPECT_FALSE(neo.IsInWriteTransaction());
    neo.CreateFolder(neo.GetRoot(), "dropped");
    EXPECT_TRUE(neo.IsInWriteTransaction());
    bin->Close();
    bin = Reopen();
    EXPECT_EQ(Catalog_AllNames(Catalog_Neo(bin)), std::vector<std::string>{"kept"});
    EXPECT_EQ(Catalog_Neo(bin).GetDatabaseMajorVersion(), 2);
}

TEST_F(CatalogFileTest, ReadOnlyOpenNeverWrites)
{
    Create()->Close();
    const std::string before = Catalog_Bytes(Path());
    BDM_BinHandle bin = Reopen(Cmn_Store::eOpenFlag_OpenForRead);
    BNeoa_Bin& neo = Catalog_Neo(bin);
    EXPECT_TRUE(neo.IsReadOnlyFile());
    EXPECT_TRUE(Test_Asserts([&] { neo.CreateFolder(neo.GetRoot(), "x"); }, "!mReadOnlyFile"));
    neo.Commit(); // nothing to do
    bin->Close();
    EXPECT_EQ(Catalog_Bytes(Path()), before);
}

TEST_F(CatalogFileTest, DeletingAFolderDeletesWhatItHoldsAndNamedObjectsFollowRows)
{
    BDM_BinHandle bin = Create();
    BNeoa_Bin& neo = Catalog_Neo(bin);
    const BDM_KeyHandle folder = neo.CreateFolder(neo.GetRoot(), "f");
    const BDM_KeyHandle inner = neo.CreateEntry(folder, BDM_eAssetType_File, "a");
    neo.NameAsset(inner, "Favourite");
    const BDM_KeyHandle alias = neo.CreateAlias(inner, neo.GetRoot());
    EXPECT_EQ(neo.GetAsset(alias)->ResolveAlias()->GetKey()->IsLessThan(*inner), false);
    EXPECT_EQ(static_cast<const BNeoa_Key&>(*neo.GetAsset(alias)->ResolveAlias()->GetKey()).GetID(),
              static_cast<const BNeoa_Key&>(*inner).GetID());
    EXPECT_TRUE(neo.GetNamedObject("Favourite"));
    neo.DeleteAsset(folder);
    neo.Commit();
    EXPECT_FALSE(neo.GetNamedObject("Favourite"));
    EXPECT_TRUE(Catalog_AllNames(neo).empty()); // the alias went with its target
    EXPECT_EQ(neo.CheckIntegrity(), "ok");
}

// ---- attributes --------------------------------------------------------------------------

struct Counter : Cmn_Observable<BDM_Attribute>::Observer
{
    int32_t mCount = 0;
    void Notify(BDM_Attribute&) override { ++mCount; }
};

TEST_F(CatalogFileTest, SettingTheSameValueTwiceNotifiesOnceAndPersists)
{
    BDM_BinHandle bin = Create();
    BNeoa_Bin& neo = Catalog_Neo(bin);
    const BDM_KeyHandle key = neo.CreateEntry(neo.GetRoot(), BDM_eAssetType_Audio, "a.wav");
    BDM_AssetHandle asset = neo.GetAsset(key);
    auto* rate = static_cast<BDM_TypedAttribute<int32_t>*>(asset->GetAttribute(T().cAudioFileSampleRate));
    Counter counter;
    rate->AddObserver(counter);
    rate->Set(48000);
    rate->Set(48000);
    EXPECT_EQ(counter.mCount, 1);
    rate->Set(44100);
    EXPECT_EQ(counter.mCount, 2);
    rate->RemoveObserver(counter);
    neo.Commit();
    asset = BDM_AssetHandle();
    bin->Close();
    bin = Reopen();
    int32_t value = 0;
    EXPECT_TRUE(bin->GetAsset(key)->GetAttributeValue(T().cAudioFileSampleRate, &value));
    EXPECT_EQ(value, 44100);
}

// A value with a false twin is invisible to GetValue and to searches, whatever it holds.
TEST_F(CatalogFileTest, InvalidValuesAreInvisible)
{
    BDM_BinHandle bin = Create();
    BNeoa_Bin& neo = Catalog_Neo(bin);
    const BDM_KeyHandle never = neo.CreateEntry(neo.GetRoot(), BDM_eAssetType_Audio, "never");
    const BDM_KeyHandle invalid = neo.CreateEntry(neo.GetRoot(), BDM_eAssetType_Audio, "invalid");
    const BDM_KeyHandle zero = neo.CreateEntry(neo.GetRoot(), BDM_eAssetType_Audio, "zero");
    for (const BDM_KeyHandle& key : {invalid, zero})
    {
        Catalog_Set(neo, key, T().cAudioFileNumChannels, int16_t(0));
        Catalog_Set(neo, key, T().cAssetComment, std::string());
    }
    static_cast<BNeoa_Asset&>(*neo.GetAsset(invalid)).SetAttributeInvalid(T().cAudioFileNumChannels);
    static_cast<BNeoa_Asset&>(*neo.GetAsset(invalid)).SetAttributeInvalid(T().cAssetComment);
    neo.Commit();
    for (const BDM_KeyHandle& key : {never, invalid})
    {
        int16_t channels = 7;
        std::string comment = "x";
        EXPECT_FALSE(neo.GetAsset(key)->GetAttributeValue(T().cAudioFileNumChannels, &channels));
        EXPECT_FALSE(neo.GetAsset(key)->GetAttributeValue(T().cAssetComment, &comment));
        EXPECT_EQ(channels, 7);
    }
    using F = BDM_PredicateFactory;
    const auto find = [&](const BDM_AttributeValue& iValue, F::ERelation iRelation) {
        return Catalog_Find(neo, [&](F& f) { return f.MakePredicate(iValue, iRelation); });
    };
    const BDM_TypedAttributeValue<int16_t> noChannels(&T().cAudioFileNumChannels, 0);
    const BDM_TypedAttributeValue<std::string> noText(&T().cAssetComment, "");
    const std::vector<std::string> onlyZero{"zero"};
    for (F::ERelation relation : {F::eRelation_Equal, F::eRelation_LessOrEqual, F::eRelation_GreaterOrEqual})
        EXPECT_EQ(find(noChannels, relation), onlyZero) << relation;
    EXPECT_EQ(find(noText, F::eRelation_Equal), onlyZero);
    EXPECT_EQ(find(noText, F::eRelation_Contains), onlyZero);
    EXPECT_TRUE(find(noChannels, F::eRelation_NotEqual).empty());
}

// ---- searches ----------------------------------------------------------------------------

class CatalogQueryTest : public CatalogFileTest
{
protected:
    void SetUp() override
    {
        mBin = Create();
        BNeoa_Bin& neo = Catalog_Neo(mBin);
        mFolder = neo.CreateFolder(neo.GetRoot(), "Drums");
        const BDM_KeyHandle inner = neo.CreateFolder(mFolder, "Loops");
        struct Row
        {
            const char* mName;
            int32_t mRate;
            int16_t mChannels;
            const char* mComment;
            BDM_KeyHandle mParent;
        };
        const Row rows[] = {
            {"Kick.wav", 48000, 1, "deep 50% kick", mFolder},
            {"snare.wav", 44100, 2, "tight_snare", mFolder},
            {"loop1.aif", 96000, 2, "groove", inner},
            {"pad.wav", 48000, 2, "50 percent", neo.GetRoot()},
        };
        for (const Row& row : rows)
        {
            const BDM_KeyHandle key = neo.CreateEntry(row.mParent, BDM_eAssetType_Audio, row.mName);
            Catalog_Set(neo, key, T().cAudioFileSampleRate, row.mRate);
            Catalog_Set(neo, key, T().cAudioFileNumChannels, row.mChannels);
            Catalog_Set(neo, key, T().cAssetComment, std::string(row.mComment));
        }
        neo.Commit();
    }
    BDM_BinHandle mBin;
    BDM_KeyHandle mFolder;
};

template <class T> BDM_AttributeValueHandle V(const BDM_TypedAttributeTag<T>& iTag, T iValue)
{
    return BDM_AttributeValueHandle(new BDM_TypedAttributeValue<T>(&iTag, iValue));
}

struct QueryCase
{
    const char* mName;
    std::function<BDM_PredicateHandle(BDM_PredicateFactory&)> mMake;
    std::vector<std::string> mExpected;
};

TEST_F(CatalogQueryTest, PredicatesFindWhatTheyDescribe)
{
    using F = BDM_PredicateFactory;
    const auto term = [](BDM_AttributeValueHandle iValue, F::ERelation iRelation) {
        return [iValue, iRelation](F& f) { return f.MakePredicate(*iValue, iRelation); };
    };
    const auto rate = [](int32_t r) { return V(T().cAudioFileSampleRate, r); };
    const auto text = [](const BDM_TypedAttributeTag<std::string>& tag, const char* s) {
        return V(tag, std::string(s));
    };
    const std::vector<QueryCase> cases = {
        {"Equal", term(rate(48000), F::eRelation_Equal), {"Kick.wav", "pad.wav"}},
        {"NotEqual", term(rate(48000), F::eRelation_NotEqual), {"loop1.aif", "snare.wav"}},
        {"Less", term(rate(48000), F::eRelation_Less), {"snare.wav"}},
        {"LessOrEqual", term(rate(48000), F::eRelation_LessOrEqual), {"Kick.wav", "pad.wav", "snare.wav"}},
        {"Greater", term(rate(48000), F::eRelation_Greater), {"loop1.aif"}},
        {"GreaterOrEqual", term(rate(48000), F::eRelation_GreaterOrEqual), {"Kick.wav", "loop1.aif", "pad.wav"}},
        {"NameIgnoresCase", term(text(T().cFileName, "kick.WAV"), F::eRelation_Equal), {"Kick.wav"}},
        {"ContainsIgnoresCase", term(text(T().cFileName, "WAV"), F::eRelation_Contains), {"Kick.wav", "pad.wav", "snare.wav"}},
        {"ContainsPercentIsLiteral", term(text(T().cAssetComment, "50%"), F::eRelation_Contains), {"Kick.wav"}},
        {"ContainsUnderscoreIsLiteral", term(text(T().cAssetComment, "t_s"), F::eRelation_Contains), {"snare.wav"}},
        {"ContainsBackslash", term(text(T().cAssetComment, "\\"), F::eRelation_Contains), {}},
        {"And",
         [&](F& f) {
             return f.And(f.MakePredicate(*rate(48000), F::eRelation_Equal),
                          f.MakePredicate(*V(T().cAudioFileNumChannels, int16_t(2)), F::eRelation_Equal));
         },
         {"pad.wav"}},
        {"Or",
         [&](F& f) {
             return f.Or(f.MakePredicate(*rate(96000), F::eRelation_Equal),
                         f.MakePredicate(*text(T().cFileName, "snare.wav"), F::eRelation_Equal));
         },
         {"loop1.aif", "snare.wav"}},
    };
    for (const QueryCase& c : cases)
        EXPECT_EQ(Catalog_Find(Catalog_Neo(mBin), c.mMake), c.mExpected) << c.mName;
    // Below a folder: only what it and its sub-folders hold.
    EXPECT_EQ(Catalog_Find(Catalog_Neo(mBin), cases[4].mMake, mFolder),
              (std::vector<std::string>{"loop1.aif"}));
    EXPECT_EQ(Catalog_Find(Catalog_Neo(mBin), cases[3].mMake, mFolder),
              (std::vector<std::string>{"Kick.wav", "snare.wav"}));
}

TEST_F(CatalogQueryTest, MisuseOfTheFactoryIsCaught)
{
    BDM_PredicateFactory& f = *Catalog_Neo(mBin).GetPredicateFactory();
    const BDM_TypedAttributeValue<int64_t> notStored(&T().cSyncPoint, 1);
    EXPECT_TRUE(Test_Asserts([&] { f.MakePredicate(notStored, BDM_PredicateFactory::eRelation_Equal); },
                             "neoTag != 0"));
    const BDM_AttributeValue empty(&T().cFileName);
    EXPECT_TRUE(Test_Asserts([&] { f.MakePredicate(empty, BDM_PredicateFactory::eRelation_Equal); },
                             "neoType != 0"));
    EXPECT_TRUE(Test_Asserts(
        [&] { f.MakePredicate(*V(T().cAudioFileSampleRate, 1), BDM_PredicateFactory::eRelation_Contains); },
        "neoDataType != 0"));
}

// Many pages: every row once, in key order, with time-outs only when the budget is spent,
// and a writer may commit between two calls (no statement stays open).
TEST_F(CatalogFileTest, ResultsPageByKeyWithoutHoldingTheDatabase)
{
    BDM_BinHandle bin = Create();
    BNeoa_Bin& neo = Catalog_Neo(bin);
    const int32_t count = 3 * BNeoa_QueryResult::cPageSize + 5;
    for (int32_t i = 0; i < count; ++i)
        Catalog_Set(neo, neo.CreateEntry(neo.GetRoot(), BDM_eAssetType_Audio, "f" + std::to_string(i)),
                    T().cAudioFileBitDepth, int16_t(i % 2 ? 24 : 16));
    neo.Commit();
    const BDM_TypedAttributeValue<int16_t> depth(&T().cAudioFileBitDepth, 24);
    auto result = neo.Query(neo.GetPredicateFactory()->MakePredicate(depth, BDM_PredicateFactory::eRelation_Equal),
                            neo.GetRoot());
    BDM_KeyHandle key;
    EXPECT_EQ(result->Next(&key, 0), BDM_QueryResult::eResult_TimedOut);
    BDM_BinHandle writer = Reopen();
    int64_t last = 0;
    int32_t delivered = 0;
    for (BDM_QueryResult::EResult answer; (answer = result->Next(&key, 1000)) != BDM_QueryResult::eResult_End;)
    {
        ASSERT_EQ(answer, BDM_QueryResult::eResult_Delivered);
        const int64_t id = static_cast<const BNeoa_Key&>(*key).GetID();
        EXPECT_GT(id, last);
        last = id;
        if (++delivered == 1)
        {
            Catalog_Neo(writer).CreateFolder(writer->GetRoot(), "while reading");
            writer->Commit();
        }
    }
    EXPECT_EQ(delivered, count / 2);
}

// ---- two connections ---------------------------------------------------------------------

TEST_F(CatalogFileTest, ReaderSeesCommittedRowsOnlyAndABlockedWriterGetsFileIsBusy)
{
    Create()->Close();
    BDM_BinHandle writer = Reopen();
    BDM_BinHandle other = Reopen();
    Catalog_Neo(writer).CreateFolder(writer->GetRoot(), "uncommitted");
    EXPECT_TRUE(Catalog_AllNames(Catalog_Neo(other)).empty());
    BNeoa_Environment& environment = BNeoa_Environment::GetEnvironment();
    const int32_t saved = environment.GetBusyTimeout();
    environment.SetBusyTimeout(50);
    BDM_BinHandle late = Reopen();
    environment.SetBusyTimeout(saved);
    EXPECT_TRUE(Test_ThrowsL10N([&] { Catalog_Neo(late).CreateFolder(late->GetRoot(), "x"); }, 5, 46));
    writer->Commit();
    EXPECT_EQ(Catalog_AllNames(Catalog_Neo(other)), std::vector<std::string>{"uncommitted"});
    Catalog_Neo(late).CreateFolder(late->GetRoot(), "after");
    late->Commit();
    EXPECT_EQ(Catalog_AllNames(Catalog_Neo(other)), (std::vector<std::string>{"after", "uncommitted"}));
}

// ---- faults at each write of a commit ----------------------------------------------------

TEST_F(CatalogFileTest, AFaultAtAnyWriteOfACommitLeavesThePreviousCommit)
{
    Catalog_FaultVfs::Install();
    {
        BDM_BinHandle bin = Create();
        Catalog_Neo(bin).CreateFolder(bin->GetRoot(), "before");
        bin->Commit();
    }
    const std::vector<std::string> previous{"before"};
    BNeoa_Environment& environment = BNeoa_Environment::GetEnvironment();
    int32_t nth = 1;
    for (; nth < 200; ++nth)
    {
        environment.SetVfsName("fault");
        BDM_BinHandle bin = Reopen();
        environment.SetVfsName("");
        BNeoa_Bin& neo = Catalog_Neo(bin);
        for (int32_t i = 0; i < 40; ++i)
            neo.CreateEntry(neo.GetRoot(), BDM_eAssetType_File, "new" + std::to_string(i));
        Catalog_FaultVfs::Arm(nth);
        bool failed = false;
        try
        {
            bin->Commit();
        }
        catch (const std::exception& e)
        {
            failed = true;
            EXPECT_TRUE(L10N_IsException(e, 1, 2) || L10N_IsException(e, 5, 58)) << e.what();
        }
        const bool fired = Catalog_FaultVfs::Fired();
        bin->Close();
        bin = BDM_BinHandle();
        Catalog_FaultVfs::Disarm();
        BDM_BinHandle check = Reopen(Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(Catalog_Neo(check).CheckIntegrity(), "ok") << nth;
        if (!failed)
        {
            EXPECT_FALSE(fired) << nth;
            EXPECT_EQ(Catalog_AllNames(Catalog_Neo(check)).size(), 41u);
            break;
        }
        EXPECT_EQ(Catalog_AllNames(Catalog_Neo(check)), previous) << nth;
    }
    EXPECT_GT(nth, 2); // the commit writes more than once, and each write was tried
    EXPECT_LT(nth, 200);
}

TEST(BNeoa_Environment, CacheSizeFollowsPhysicalMemory)
{
    const int64_t MiB = 1 << 20;
    const struct
    {
        int64_t mMemory, mCache;
    } cases[] = {
        {16 * MiB, 20 * MiB},                               // at least 20 MiB
        {200 * MiB, 80 * MiB},                              // memory less 120 MiB
        {1024 * MiB, int64_t(1024 * MiB * 0.8)},            // 0.8 of the memory
        {8192 * MiB, int64_t(double(0x7FC00000) * 0.8)},    // capped at 0x7FC00000
    };
    for (const auto& c : cases)
        EXPECT_EQ(BNeoa_Environment::ComputeCacheSize(c.mMemory), c.mCache) << c.mMemory;
}
} // namespace

namespace
{
// A small catalog (page size 512, rollback journal) opens read-only and answers; it is the
// seed of the fuzz target CatalogFuzz, written when MIRAFILE_WRITE_FUZZ_SEEDS names a folder.
TEST_F(CatalogFileTest, SmallCatalogIsReadableAndSeedsTheFuzzTarget)
{
    {
        BDM_BinHandle bin = Create();
        BNeoa_Bin& neo = Catalog_Neo(bin);
        const BDM_KeyHandle folder = neo.CreateFolder(neo.GetRoot(), "Drums");
        const BDM_KeyHandle key = neo.CreateEntry(folder, BDM_eAssetType_Audio, "a%_.wav");
        Catalog_Set(neo, key, T().cAudioFileSampleRate, 48000);
        Catalog_Set(neo, key, T().cAssetComment, std::string("kick"));
        Catalog_Set(neo, key, T().cFilePathComponents, BDM_StringList{"/", "tmp", "a%_.wav"});
        bin->Commit();
    }
    Catalog_Sqlite(Path(), "PRAGMA journal_mode = DELETE; PRAGMA page_size = 512; VACUUM;");
    ASSERT_LT(Catalog_Bytes(Path()).size(), 65536u);
    BDM_BinHandle bin = Reopen(Cmn_Store::eOpenFlag_OpenForRead);
    using F = BDM_PredicateFactory;
    EXPECT_EQ(Catalog_Find(Catalog_Neo(bin), [](F& f) {
                  return f.MakePredicate(BDM_TypedAttributeValue<std::string>(&T().cFileName, "%_"),
                                         F::eRelation_Contains);
              }),
              std::vector<std::string>{"a%_.wav"});
    BDM_StringList path;
    EXPECT_TRUE(bin->GetAsset(Catalog_Neo(bin).FindChild(Catalog_Neo(bin).FindChild(bin->GetRoot(), "drums"), "A%_.WAV"))
                    ->GetAttributeValue(T().cFilePathComponents, &path));
    EXPECT_EQ(path, (BDM_StringList{"/", "tmp", "a%_.wav"}));
    bin->Close();
    if (const char* folder = std::getenv("MIRAFILE_WRITE_FUZZ_SEEDS"))
    {
        std::filesystem::create_directories(std::string(folder) + "/CatalogFuzz");
        std::filesystem::copy_file(Path(), std::string(folder) + "/CatalogFuzz/small.mfcatalog",
                                   std::filesystem::copy_options::overwrite_existing);
    }
}
} // namespace
