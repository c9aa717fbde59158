// Searches spread over several bins: the area's predicates, its result, the iterator that
// consumes a result in slices, and the finder that searches databases before folders.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "BDM/Adapters/FS/BFSa_Bin.h"
#include "BDM/BDM_FileFinder.h"
#include "BDM/BDM_QueryArea.h"
#include "BDM/BDM_QueryResultIterator.h"
#include "BDMTestSupport.h"
#include "Support/FFTestSupport.h"
#include "Support/TestSupport.h"

namespace
{
namespace fs = std::filesystem;
using R = BDM_PredicateFactory;

// A result that hands out a fixed list of keys, one per call.
class ListResult : public BDM_QueryResult
{
public:
    explicit ListResult(std::vector<BDM_KeyHandle> iKeys) : mKeys(std::move(iKeys)) {}
    EResult Next(BDM_KeyHandle* oKeyP, int32_t iMilliseconds) override
    {
        if (mNext == mKeys.size())
            return eResult_End;
        if (iMilliseconds <= 0)
            return eResult_TimedOut;
        *oKeyP = mKeys[mNext++];
        return eResult_Delivered;
    }

private:
    std::vector<BDM_KeyHandle> mKeys;
    size_t mNext = 0;
};

// A searchable memory bin standing for a catalog: a term on cFileName matches the names
// that contain (or equal) the value; And and Or keep both sides. Its result walks the
// items in id order.
class CatalogBin : public BDMTest_Bin
{
public:
    struct Predicate : BDM_Predicate
    {
        BDM_Key::EType GetKeyType() const override { return BDM_Key::eType_Neo; }
        std::string mText;
        bool mContains = false;
        std::vector<BDM_PredicateHandle> mAnd, mOr;
        bool Matches(const std::string& iName) const
        {
            for (const auto& p : mAnd)
                if (!static_cast<const Predicate&>(*p).Matches(iName))
                    return false;
            if (!mOr.empty())
                return static_cast<const Predicate&>(*mOr[0]).Matches(iName) ||
                       static_cast<const Predicate&>(*mOr[1]).Matches(iName);
            if (!mAnd.empty())
                return true;
            return mContains ? iName.find(mText) != std::string::npos : iName == mText;
        }
    };
    struct Factory : BDM_PredicateFactory
    {
        BDM_PredicateHandle MakePredicate(const BDM_AttributeValue& iValue,
                                          ERelation iRelation) override
        {
            auto* p = new Predicate;
            p->mText = static_cast<const BDM_TypedAttributeValue<std::string>&>(iValue).GetValue();
            p->mContains = iRelation == eRelation_Contains;
            return BDM_PredicateHandle(p);
        }
        BDM_PredicateHandle And(const BDM_PredicateHandle& iL,
                                const BDM_PredicateHandle& iR) override
        {
            auto* p = new Predicate;
            p->mAnd = {iL, iR};
            return BDM_PredicateHandle(p);
        }
        BDM_PredicateHandle Or(const BDM_PredicateHandle& iL,
                               const BDM_PredicateHandle& iR) override
        {
            auto* p = new Predicate;
            p->mOr = {iL, iR};
            return BDM_PredicateHandle(p);
        }
    } mFactory;

    explicit CatalogBin(std::vector<std::string> iNames) : BDMTest_Bin(nullptr)
    {
        int32_t id = 1;
        for (const std::string& name : iNames)
            mItems[id++] = {0, name, false, 1};
    }
    BDM_PredicateFactory* GetPredicateFactory() override { return &mFactory; }
    std::unique_ptr<BDM_QueryResult> Query(const BDM_PredicateHandle& iPredicate,
                                           const BDM_KeyHandle&) override
    {
        std::vector<BDM_KeyHandle> keys;
        for (const auto& [id, item] : mItems)
            if (id != 0 && static_cast<const Predicate&>(*iPredicate).Matches(item.mName))
                keys.push_back(BDMTest_MakeKey(id));
        return std::make_unique<ListResult>(std::move(keys));
    }
};

// Two folders of generated audio files, text files and a sub-folder:
//   A/kick.wav     44100 Hz, 2 ch, 24 bit, 100 frames
//   A/pad.wav      48000 Hz, 1 ch, 16 bit, 48000 frames (1 s)
//   A/notes.txt
//   A/Sub/take 1.wav  48000 Hz, 1 ch, 16 bit, 10 frames
//   B/pad 2.wav    96000 Hz, 2 ch, 16 bit, 96000 frames (1 s)
//   B/readme.txt
// and hidden files (A/.pad hidden.wav, B/.cache/pad 3.wav) that no search finds.
struct Folders
{
    Test_TempDir mDir;
    BDM_Cache mCache;
    Cmn_AliasedRefCountPtr<BFSa_Bin> mBin;
    Cmn_AliasedRefCountPtr<CatalogBin> mCatalog;

    Folders()
        : mBin(new BFSa_Bin(BFSa_Bin::eFileSystemFilter_AllFiles, &mCache)),
          mCatalog(new CatalogBin({"pad in catalog", "kick in catalog", "other"}))
    {
        BDMTest_Tags();
        BDMTest_Queue();
        fs::create_directories(Path("A/Sub"));
        fs::create_directories(Path("B"));
        MakeWave(Path("A/kick.wav"), 2, 24, Bytes(100 * 6, 1), 44100);
        MakeWave(Path("A/pad.wav"), 1, 16, Bytes(48000 * 2, 1), 48000);
        std::ofstream(Path("A/notes.txt")) << "notes";
        MakeWave(Path("A/Sub/take 1.wav"), 1, 16, Bytes(10 * 2, 1), 48000);
        MakeWave(Path("B/pad 2.wav"), 2, 16, Bytes(96000 * 4, 1), 96000);
        std::ofstream(Path("B/readme.txt")) << "readme";
        // Hidden, and so never found.
        MakeWave(Path("A/.pad hidden.wav"), 1, 16, Bytes(48000 * 2, 1), 48000);
        fs::create_directories(Path("B/.cache"));
        MakeWave(Path("B/.cache/pad 3.wav"), 1, 16, Bytes(48000 * 2, 1), 48000);
    }
    ~Folders() { mCache.ClearEntriesForBin(mBin.Get()); }
    std::string Path(const std::string& iName) const { return mDir.Path() + "/" + iName; }
    BDM_KeyHandle Root(const std::string& iName) const
    {
        return BFSa_Bin::MakeKey(Sys_FileLoc(Path(iName)), true);
    }
    BDM_QueryAreaHandle Area(const std::vector<std::string>& iRoots)
    {
        BDM_QueryAreaHandle area(new BDM_QueryArea);
        for (const std::string& root : iRoots)
        {
            if (root == "@catalog")
                area->AddArea(*mCatalog, mCatalog->GetRoot());
            else
                area->AddArea(*mBin, Root(root));
        }
        return area;
    }
    // A found item as a path below the scratch folder, or "@" and a catalog item's name.
    std::string Name(const BDM_Link& iLink) const
    {
        if (iLink.mKey->GetType() != BDM_Key::eType_FS)
            return "@" +
                   mCatalog->mItems.at(static_cast<const BDMTest_Key&>(*iLink.mKey).mID).mName;
        return fs::relative(static_cast<const BFSa_Key&>(*iLink.mKey).GetFileLoc().GetFullPath(),
                            mDir.Path())
            .string();
    }
    // Everything an iterator over the area's result finds, after running the queue.
    std::vector<std::string> Found(BDM_QueryArea& iArea, const BDM_PredicateHandle& iPredicate,
                                   bool iSorted = true)
    {
        Cmn_PolymorphicHandle<BDM_QueryResultIterator, Sys_ThreadSafeRefCountObject> iterator(
            new BDM_QueryResultIterator(iArea.Query(iPredicate)));
        iterator->QueueObjectLoader("query");
        BDMTest_Drain();
        EXPECT_TRUE(iterator->IsLoaded());
        std::vector<std::string> names;
        for (const BDM_Link& link : iterator->GetResults())
            names.push_back(Name(link));
        if (iSorted)
            std::sort(names.begin(), names.end());
        return names;
    }
};

template <class Tag, class V>
BDM_PredicateHandle Term(BDM_PredicateFactory& iFactory, const Tag& iTag, V iValue,
                         R::ERelation iRelation)
{
    using T = typename Tag::ValueType;
    return iFactory.MakePredicate(BDM_TypedAttributeValue<T>(&iTag, T(iValue)), iRelation);
}
} // namespace

TEST(BDM_QueryArea, PredicatesOverTwoFoldersFindTheExpectedFiles)
{
    Folders f;
    const BDM_AttributeTags& t = BDMTest_Tags();
    BDM_QueryAreaHandle area = f.Area({"A", "B"});
    BDM_PredicateFactory& p = *area->GetPredicateFactory();
    const auto rate = [&](int32_t iRate, R::ERelation iRelation)
    { return Term(p, t.cAudioFileSampleRate, iRate, iRelation); };
    struct Case
    {
        const char* mWhat;
        BDM_PredicateHandle mPredicate;
        std::vector<std::string> mFound;
    };
    const Case cases[] = {
        {"=", rate(48000, R::eRelation_Equal), {"A/Sub/take 1.wav", "A/pad.wav"}},
        // Text files and folders have no rate: they match no relation, not even !=.
        {"!=", rate(48000, R::eRelation_NotEqual), {"A/kick.wav", "B/pad 2.wav"}},
        {"<", rate(48000, R::eRelation_Less), {"A/kick.wav"}},
        {"<=",
         rate(48000, R::eRelation_LessOrEqual),
         {"A/Sub/take 1.wav", "A/kick.wav", "A/pad.wav"}},
        {">", rate(48000, R::eRelation_Greater), {"B/pad 2.wav"}},
        {">=",
         rate(48000, R::eRelation_GreaterOrEqual),
         {"A/Sub/take 1.wav", "A/pad.wav", "B/pad 2.wav"}},
        {"contains, case ignored",
         Term(p, t.cFileName, std::string("PAD"), R::eRelation_Contains),
         {"A/pad.wav", "B/pad 2.wav"}},
        {"never set, not equal",
         Term(p, t.cSourceTapeName, std::string("x"), R::eRelation_NotEqual),
         {}},
        {"duration of a second or more",
         Term(p, t.cAssetDurationMicroseconds, int64_t(1000000), R::eRelation_GreaterOrEqual),
         {"A/pad.wav", "B/pad 2.wav"}},
        {"kind", Term(p, t.cAssetType, BDM_eAssetType_Folder, R::eRelation_Equal), {"A/Sub"}},
        {"and",
         p.And(rate(48000, R::eRelation_Equal),
               Term(p, t.cAudioFileNumSamples, int64_t(100), R::eRelation_Less)),
         {"A/Sub/take 1.wav"}},
        {"or, each once",
         p.Or(Term(p, t.cFileName, std::string("me"), R::eRelation_Contains),
              Term(p, t.cAudioFileNumChannels, int16_t(2), R::eRelation_Equal)),
         {"A/kick.wav", "B/pad 2.wav", "B/readme.txt"}},
        {"and of an or",
         p.And(p.Or(rate(44100, R::eRelation_Equal), rate(96000, R::eRelation_Equal)),
               Term(p, t.cAudioFileBitDepth, int16_t(16), R::eRelation_Equal)),
         {"B/pad 2.wav"}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mWhat);
        EXPECT_EQ(f.Found(*area, c.mPredicate), c.mFound);
    }
}

TEST(BDM_QueryArea, RootsAreSearchedInTheAreasOrderAndKeysOnce)
{
    Folders f;
    const BDM_AttributeTags& t = BDMTest_Tags();
    const auto names = [&](BDM_QueryArea& iArea)
    {
        return f.Found(iArea,
                       Term(*iArea.GetPredicateFactory(), t.cFileName, std::string("pad"),
                            R::eRelation_Contains),
                       false);
    };
    BDM_QueryAreaHandle area = f.Area({"A", "@catalog"});
    EXPECT_EQ(names(*area), (std::vector<std::string>{"A/pad.wav", "@pad in catalog"}));
    // A root added in front is searched first; a factory made before belongs to the old
    // area.
    BDM_PredicateHandle old =
        Term(*area->GetPredicateFactory(), t.cFileName, std::string("pad"), R::eRelation_Contains);
    area->AddAreaAtFront(*f.mBin, f.Root("B"));
    EXPECT_EQ(names(*area),
              (std::vector<std::string>{"B/pad 2.wav", "A/pad.wav", "@pad in catalog"}));
    EXPECT_EQ(f.Found(*area, old, false),
              (std::vector<std::string>{"B/pad 2.wav", "A/pad.wav", "@pad in catalog"}));
    // Overlapping roots deliver a file once.
    BDM_QueryAreaHandle overlapping = f.Area({"A/Sub", "A", "A/Sub"});
    EXPECT_EQ(f.Found(*overlapping, Term(*overlapping->GetPredicateFactory(), t.cFileName,
                                         std::string("take"), R::eRelation_Contains)),
              std::vector<std::string>{"A/Sub/take 1.wav"});
    // The file-system roots leave the area in their order; the catalog stays.
    BDM_QueryAreaHandle fileSystem = area->ExtractFileSystemArea();
    EXPECT_EQ(names(*fileSystem), (std::vector<std::string>{"B/pad 2.wav", "A/pad.wav"}));
    EXPECT_EQ(names(*area), std::vector<std::string>{"@pad in catalog"});
    EXPECT_TRUE(area->ExtractFileSystemArea()->IsEmpty());
}

TEST(BDM_QueryArea, TimeBudgetEmptyAreasAndMisuse)
{
    Folders f;
    const BDM_AttributeTags& t = BDMTest_Tags();
    BDM_QueryAreaHandle area = f.Area({"A", "B"});
    BDM_PredicateFactory& p = *area->GetPredicateFactory();
    BDM_PredicateHandle pad = Term(p, t.cFileName, std::string("pad"), R::eRelation_Contains);
    // No time: timed out at once, and a later call goes on from where it was.
    std::unique_ptr<BDM_QueryArea_QueryResult> result = area->Query(pad);
    BDM_KeyHandle key;
    EXPECT_EQ(result->Next(&key, 0), BDM_QueryResult::eResult_TimedOut);
    EXPECT_EQ(result->GetBinOfLastKey(), nullptr);
    EXPECT_EQ(result->Next(&key, 1000), BDM_QueryResult::eResult_Delivered);
    EXPECT_EQ(result->GetBinOfLastKey(), f.mBin.Get());
    EXPECT_EQ(result->Next(&key, -5), BDM_QueryResult::eResult_TimedOut);
    EXPECT_EQ(result->Next(&key, 1000), BDM_QueryResult::eResult_Delivered);
    EXPECT_EQ(result->Next(&key, 1000), BDM_QueryResult::eResult_End);
    EXPECT_EQ(result->Next(&key, 0), BDM_QueryResult::eResult_End);

    // An empty area ends at once, whatever the budget.
    BDM_QueryArea empty;
    BDM_PredicateHandle none =
        Term(*empty.GetPredicateFactory(), t.cFileName, std::string("x"), R::eRelation_Equal);
    EXPECT_EQ(empty.Query(none)->Next(&key, 0), BDM_QueryResult::eResult_End);
    EXPECT_EQ(f.Found(empty, none), std::vector<std::string>{});

    // Predicates of different areas do not mix.
    BDM_QueryAreaHandle other = f.Area({"@catalog"});
    BDM_PredicateHandle foreign =
        Term(*other->GetPredicateFactory(), t.cFileName, std::string("x"), R::eRelation_Equal);
    EXPECT_TRUE(
        Test_Asserts([&] { p.And(pad, foreign); }, "left->mBins[index] == right->mBins[index]"));
    EXPECT_TRUE(
        Test_Asserts([&] { p.Or(pad, none); }, "left->mBins.size() == right->mBins.size()"));
    EXPECT_TRUE(Test_Asserts([&] { area->Query(foreign); }, "binIter != predicate->mBins.end()"));
    EXPECT_TRUE(Test_Asserts(
        [&]
        {
            p.And(pad, Term(*f.mBin->GetPredicateFactory(), t.cFileName, std::string("x"),
                            R::eRelation_Equal));
        },
        "areaPredicate"));
    // A bin that cannot be searched cannot be part of an area.
    BDMTest_Bin plain(nullptr);
    EXPECT_TRUE(
        Test_Asserts([&] { empty.AddArea(plain, plain.GetRoot()); }, "iBin.GetPredicateFactory()"));
}

TEST(BDM_QueryResultIterator, SkipsOfflineFilesOnlyWhenAsked)
{
    Folders f;
    // Held, so that the cache still has the asset after its file has gone.
    BDM_AssetHandle gone = f.mBin->GetAsset(BFSa_Bin::MakeKey(Sys_FileLoc(f.Path("A/pad.wav"))));
    ASSERT_TRUE(gone);
    fs::remove(f.Path("A/pad.wav"));
    for (const bool skip : {false, true})
    {
        SCOPED_TRACE(skip);
        std::vector<BDM_KeyHandle> keys{gone->GetKey(),
                                        BFSa_Bin::MakeKey(Sys_FileLoc(f.Path("A/kick.wav")))};
        Cmn_PolymorphicHandle<BDM_QueryResultIterator, Sys_ThreadSafeRefCountObject> iterator(
            new BDM_QueryResultIterator(std::make_unique<ListResult>(keys), *f.mBin, skip));
        iterator->QueueObjectLoader("offline");
        BDMTest_Drain();
        ASSERT_TRUE(iterator->IsLoaded());
        std::vector<std::string> names;
        for (const BDM_Link& link : iterator->GetResults())
            names.push_back(f.Name(link));
        const std::vector<std::string> expected =
            skip ? std::vector<std::string>{"A/kick.wav"}
                 : std::vector<std::string>{"A/pad.wav", "A/kick.wav"};
        EXPECT_EQ(names, expected);
        EXPECT_EQ(iterator->GetProgress().mUnitsCompleted, int64_t(names.size()));
    }
}

namespace
{
class NameGenerator : public BDM_FileFinder::PredicateGenerator
{
public:
    explicit NameGenerator(std::string iText, int32_t* ioCallsP = nullptr)
        : mText(std::move(iText)), mCallsP(ioCallsP)
    {
    }
    BDM_PredicateHandle GeneratePredicate(BDM_PredicateFactory& iFactory) override
    {
        if (mCallsP)
            ++*mCallsP;
        if (mText.empty())
            return BDM_PredicateHandle();
        return Term(iFactory, BDMTest_Tags().cFileName, mText, R::eRelation_Contains);
    }
    std::string GetDescription() const override { return mText; }

private:
    std::string mText;
    int32_t* mCallsP;
};
} // namespace

TEST(BDM_FileFinder, SearchesDatabasesFirstThenFolders)
{
    Folders f;
    struct Case
    {
        std::vector<std::string> mArea;
        std::string mText;
        std::vector<std::string> mFound;
        int32_t mGenerated; // how often the predicate is made: once per part searched
    };
    const Case cases[] = {
        {{"B", "@catalog", "A"}, "pad", {"@pad in catalog", "B/pad 2.wav", "A/pad.wav"}, 2},
        {{"A"}, "kick", {"A/kick.wav"}, 1},
        {{"@catalog"}, "kick", {"@kick in catalog"}, 1},
        {{"A", "@catalog"}, "", {}, 2},
        {{}, "pad", {}, 0},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mText);
        int32_t generated = 0;
        Cmn_PolymorphicHandle<BDM_FileFinder, Sys_ThreadSafeRefCountObject> finder(
            new BDM_FileFinder(f.Area(c.mArea),
                               std::make_unique<NameGenerator>(c.mText, &generated)));
        finder->QueueObjectLoader("find");
        BDMTest_Drain();
        ASSERT_TRUE(finder->IsLoaded());
        std::vector<std::string> names;
        for (const BDM_Link& link : finder->GetResults())
            names.push_back(f.Name(link));
        EXPECT_EQ(names, c.mFound);
        EXPECT_EQ(generated, c.mGenerated);
        EXPECT_EQ(finder->GetProgress().mUnitsCompleted, int64_t(c.mFound.size()));
        EXPECT_EQ(finder->GetStatusMessage(), "Searching for files");
    }
}

TEST(BDM_FileFinder, ShowsWhatItSearchesAndStopsWhenCancelled)
{
    Folders f;
    Cmn_PolymorphicHandle<BDM_FileFinder, Sys_ThreadSafeRefCountObject> finder(
        new BDM_FileFinder(f.Area({"A", "@catalog"}), std::make_unique<NameGenerator>("pad")));
    finder->QueueObjectLoader("find");
    std::vector<std::string> statuses;
    BDM_LazyObjectQueue& queue = BDMTest_Queue();
    for (int32_t step = 0; step < 100 && !queue.IsEmpty() && !finder->IsLoaded(); ++step)
    {
        queue.ExecTop();
        if (statuses.empty() || statuses.back() != finder->GetStatusMessage())
            statuses.push_back(finder->GetStatusMessage());
    }
    EXPECT_EQ(statuses,
              (std::vector<std::string>{"Searching Databases For: pad",
                                        "Searching File System For: pad", "Searching for files"}));
    // A cancel before the search ends leaves it unloaded, with nothing left in the queue.
    Cmn_PolymorphicHandle<BDM_FileFinder, Sys_ThreadSafeRefCountObject> cancelled(
        new BDM_FileFinder(f.Area({"A"}), std::make_unique<NameGenerator>("pad")));
    cancelled->QueueObjectLoader("find");
    queue.ExecTop();
    cancelled->CancelLoading();
    BDMTest_Drain();
    EXPECT_FALSE(cancelled->IsLoaded());
    EXPECT_TRUE(queue.IsEmpty());
}
