// The result list of a search: one alias per item found, in a scratch database that goes
// with the list.
#include <gtest/gtest.h>

#include <filesystem>

#include "BDM/Adapters/FS/BFSa_Bin.h"
#include "BDM/BDM_FileFinder.h"
#include "BDM/BDM_Globals.h"
#include "BDM/Adapters/Neo/BDM_QueryResultContainer.h"
#include "Catalog/CatalogTestSupport.h"

namespace
{
namespace fs = std::filesystem;
using Container = BDM_QueryResultContainer;

const BDM_AttributeTags& T()
{
    Catalog_InitBrowser();
    return *BDM_AttributeTags::Instance();
}

class NameContains : public BDM_FileFinder::PredicateGenerator
{
public:
    BDM_PredicateHandle GeneratePredicate(BDM_PredicateFactory& iFactory) override
    {
        return iFactory.MakePredicate(BDM_TypedAttributeValue<std::string>(&T().cFileName, "take"),
                                      BDM_PredicateFactory::eRelation_Contains);
    }
    std::string GetDescription() const override { return "take"; }
};

void LoadAll(BDM_LazyObject& ioObject)
{
    ioObject.QueueObjectLoader("test");
    for (int32_t slices = 0; slices < 1000 && !ioObject.IsLoaded() && !ioObject.LoadFailed(); ++slices)
        BDM_Globals::Instance()->Queue().ExecuteForSlice();
    ASSERT_TRUE(ioObject.IsLoaded());
}

// A catalog with entries "take.wav" (30 bytes), "Take 2.wav" (10), "b take.wav" (no size)
// and "other.wav", and folders A and B with "take.txt" each and A/other.txt.
class QueryResultContainerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        T();
        mCatalog = Catalog_Open(mDir.Path() + "/c" + BDM_Catalog::cFileExtension,
                                Cmn_Store::eOpenFlag_OpenCreate);
        BNeoa_Bin& neo = Catalog_Neo(mCatalog);
        for (const auto& [name, size] : std::vector<std::pair<std::string, int64_t>>{
                 {"take.wav", 30}, {"Take 2.wav", 10}, {"b take.wav", -1}, {"other.wav", 5}})
        {
            const BDM_KeyHandle key = neo.CreateEntry(neo.GetRoot(), BDM_eAssetType_Audio, name);
            if (size >= 0)
                Catalog_Set(neo, key, T().cFileDataForkSize, size);
        }
        neo.Commit();
        for (const char* file : {"files/A/take.txt", "files/B/take.txt", "files/A/other.txt"})
        {
            fs::create_directories(fs::path(mDir.Path() + "/" + file).parent_path());
            std::ofstream(mDir.Path() + "/" + file) << file;
        }
        mContainer = BDM_BinHandle(new Container(nullptr));
        mContainer->Open(Cmn_Store::eOpenFlag_OpenCreate);
    }
    Container& Results() { return static_cast<Container&>(*mContainer); }
    BDM_Bin& Folders()
    {
        return BDM_Globals::Instance()->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles);
    }
    // Finds "take" in the catalog and the folders, into the container.
    void Find()
    {
        BDM_QueryAreaHandle area(new BDM_QueryArea);
        area->AddArea(Folders(), BFSa_Bin::MakeKey(Sys_FileLoc(mDir.Path() + "/files")));
        area->AddArea(*mCatalog, mCatalog->GetRoot());
        Cmn_PolymorphicHandle<BDM_FileFinder, Sys_ThreadSafeRefCountObject> finder(
            new BDM_FileFinder(area, std::make_unique<NameContains>()));
        finder->SetTargetBin(mContainer.Get());
        LoadAll(*finder);
        mFound = finder->GetResults();
    }
    std::vector<std::string> Names()
    {
        std::list<BDM_KeyHandle> keys;
        Results().GetResults(&keys);
        std::vector<std::string> names;
        for (const BDM_KeyHandle& key : keys)
            names.push_back(mContainer->GetAsset(key)->GetName());
        return names;
    }
    Test_TempDir mDir;
    BDM_BinHandle mCatalog;
    BDM_BinHandle mContainer;
    std::vector<BDM_Link> mFound;
};

TEST_F(QueryResultContainerTest, EachItemFoundBecomesOneAliasOfIt)
{
    const std::string file = Results().GetURL().GetFullPath();
    EXPECT_TRUE(fs::exists(file));
    EXPECT_EQ(mContainer->GetAsset(mContainer->GetRoot())->GetName(), "Query Results");
    Find();
    // The databases first, then the folders; two files of one name are two results.
    ASSERT_EQ(mFound.size(), 5u);
    EXPECT_EQ(Names(), (std::vector<std::string>{"take.wav", "Take 2.wav", "b take.wav", "take.txt",
                                                 "take.txt"}));
    std::list<BDM_KeyHandle> keys;
    Results().GetResults(&keys);
    size_t index = 0;
    for (const BDM_KeyHandle& key : keys)
    {
        const BDM_Link& found = mFound[index++];
        const BDM_Link target = Results().GetTarget(key);
        EXPECT_EQ(target.mBin.Get(), found.mBin.Get());
        EXPECT_FALSE(target.mKey->IsLessThan(*found.mKey) || found.mKey->IsLessThan(*target.mKey));
        BDM_AssetHandle alias = mContainer->GetAsset(key);
        BDM_AssetHandle item = alias->ResolveAlias();
        EXPECT_EQ(item->GetBin(), found.mBin.Get());
        EXPECT_EQ(item->GetName(), alias->GetName());
        Sys_FileLoc loc;
        EXPECT_EQ(alias->ResolveFileSystemAlias(&loc), found.mKey->GetType() == BDM_Key::eType_FS);
    }
    // The list goes with its container, log and all.
    mContainer = BDM_BinHandle();
    for (const char* suffix : {"", "-wal", "-shm"})
        EXPECT_FALSE(fs::exists(file + suffix)) << suffix;
}

TEST_F(QueryResultContainerTest, ResultsSortAndLeaveTheListOnly)
{
    Find();
    struct Case
    {
        std::list<const BDM_AttributeTag*> mTags;
        bool mAscending;
        std::vector<std::string> mNames;
    };
    const Case cases[] = {
        {{&T().cFileName}, true, {"b take.wav", "Take 2.wav", "take.txt", "take.txt", "take.wav"}},
        {{&T().cFileDataForkSize, &T().cFileName}, false,
         {"take.wav", "take.txt", "take.txt", "Take 2.wav", "b take.wav"}},
        {{&T().cFileDataForkSize}, true, {"Take 2.wav", "take.txt", "take.txt", "take.wav", "b take.wav"}},
        {{&T().cLink}, true, {"take.wav", "Take 2.wav", "b take.wav", "take.txt", "take.txt"}},
    };
    for (const Case& c : cases)
    {
        Results().SetSortOrder(BDM_SortOrder(c.mTags, c.mAscending));
        EXPECT_TRUE(Results().GetSortOrder() == BDM_SortOrder(c.mTags, c.mAscending));
        EXPECT_EQ(Names(), c.mNames) << c.mTags.size() << c.mAscending;
    }

    EXPECT_FALSE(Results().CanDeleteAsset(mContainer->GetRoot()));
    std::list<BDM_KeyHandle> keys;
    Results().GetResults(&keys);
    for (const BDM_KeyHandle& key : keys)
    {
        ASSERT_TRUE(Results().CanDeleteAsset(key));
        mContainer->DeleteAsset(key);
        EXPECT_FALSE(Results().GetTarget(key).IsSet());
    }
    EXPECT_TRUE(Names().empty());
    EXPECT_EQ(Catalog_AllNames(Catalog_Neo(mCatalog)).size(), 4u);
    EXPECT_TRUE(fs::exists(mDir.Path() + "/files/B/take.txt"));
}

TEST_F(QueryResultContainerTest, CopiesAddWhenTheyLoadAndOnlyWhatIsStillThere)
{
    BNeoa_Bin& neo = Catalog_Neo(mCatalog);
    const BDM_KeyHandle gone = neo.CreateEntry(neo.GetRoot(), BDM_eAssetType_File, "gone");
    const BDM_KeyHandle kept = neo.FindChild(neo.GetRoot(), "other.wav");
    BDM_LazyObjectHandle late = mContainer->CopyAsset(*mCatalog, gone, BDM_KeyHandle());
    BDM_LazyObjectHandle copy = mContainer->CopyAsset(*mCatalog, kept, BDM_KeyHandle());
    EXPECT_TRUE(Names().empty()); // nothing before they load
    mCatalog->DeleteAsset(gone);
    LoadAll(*late);
    LoadAll(*copy);
    EXPECT_FALSE(static_cast<BDM_QueryResultContainer_AssetCopier&>(*late).GetNewKey());
    const BDM_KeyHandle added = static_cast<BDM_QueryResultContainer_AssetCopier&>(*copy).GetNewKey();
    ASSERT_TRUE(added);
    EXPECT_EQ(Names(), std::vector<std::string>{"other.wav"});
    // A result of the list itself is an alias of its row, and resolves through it to the item.
    const BDM_KeyHandle again = Results().AddResult(*mContainer, added, BDM_KeyHandle());
    EXPECT_EQ(Names(), (std::vector<std::string>{"other.wav", "other.wav"}));
    BDM_AssetHandle item = mContainer->GetAsset(again)->ResolveAlias();
    EXPECT_EQ(item->GetBin(), mCatalog.Get());
    EXPECT_FALSE(item->GetKey()->IsLessThan(*kept) || kept->IsLessThan(*item->GetKey()));
}
} // namespace
