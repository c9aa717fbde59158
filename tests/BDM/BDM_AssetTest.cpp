// Assets, the weak cache and bins over the memory bin.
#include <gtest/gtest.h>

#include "BDMTestSupport.h"
#include "Support/TestSupport.h"

namespace
{
struct Fixture
{
    BDM_Cache mCache;
    Cmn_AliasedRefCountPtr<BDMTest_Bin> mBin;

    explicit Fixture(bool iWithCache = true) : mBin(new BDMTest_Bin(iWithCache ? &mCache : nullptr))
    {
        BDMTest_Tags();
        mBin->mItems[1] = {0, "Drums", true, 0};
        mBin->mItems[2] = {1, "Kick.wav", false, 1200};
        mBin->mItems[3] = {1, "snare.wav", false, 800};
        mBin->mItems[4] = {0, "Bass.wav", false, 4000};
    }
    ~Fixture() { mCache.ClearEntriesForBin(mBin.Get()); }
    BDM_AssetHandle Asset(int32_t iID)
    {
        return mBin->GetAsset(
            BDMTest_MakeKey(iID, mBin->mItems.count(iID) && mBin->mItems[iID].mFolder));
    }
};
} // namespace

TEST(BDM_Asset, AttributeSlotsNeverAskedAskedEmptyAndSet)
{
    Fixture f;
    const BDM_AttributeTags& t = BDMTest_Tags();
    BDM_AssetHandle file = f.Asset(2), folder = f.Asset(1);
    struct Case
    {
        const char* mWhat;
        BDM_Asset* mAssetP;
        const BDM_AttributeTag* mTagP;
        bool mHasAttribute; // not null
        bool mHasValue;
        int32_t mFetches; // calls of Fetch for two asks
    };
    const Case cases[] = {
        // Supplied by the adapter: fetched once, then held.
        {"name", file.Get(), &t.cFileName, true, true, 1},
        {"total size", file.Get(), &t.cFileTotalSize, true, true, 1},
        // The adapter has none: asked again each time (a file may come online).
        {"folder size", folder.Get(), &t.cFileTotalSize, false, false, 2},
        {"comment", file.Get(), &t.cAssetComment, false, false, 2},
        // The model's own kinds never reach Fetch.
        {"spare A", file.Get(), &t.cSpareStringA, false, false, 0},
        {"spare B", folder.Get(), &t.cSpareStringB, false, false, 0},
        {"link", file.Get(), &t.cLink, true, false, 0},
        {"alias", file.Get(), &t.cAlias, true, false, 0},
        {"link path", file.Get(), &t.cLinkPath, true, false, 0},
        {"marked", file.Get(), &t.cMarkedForDeletion, true, true, 0},
        {"sync point", file.Get(), &t.cSyncPoint, true, true, 0},
        {"status", file.Get(), &t.cAssetStatus, true, true, 0},
        // On a file the container flags are null and not stored: the type is asked again.
        {"flag A on a file", file.Get(), &t.cContainerFlagA, false, false, 0},
        {"flag B on a folder", folder.Get(), &t.cContainerFlagB, true, true, 1}, // its type
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mWhat);
        const int32_t before = f.mBin->mFetches;
        BDM_Attribute* firstP = c.mAssetP->GetAttribute(*c.mTagP);
        BDM_Attribute* secondP = c.mAssetP->GetAttribute(*c.mTagP);
        EXPECT_EQ(firstP, secondP);
        EXPECT_EQ(firstP != nullptr, c.mHasAttribute);
        EXPECT_EQ(f.mBin->mFetches - before, c.mFetches);
        if (firstP)
        {
            EXPECT_EQ(&firstP->GetTag(), c.mTagP);
            EXPECT_EQ(!firstP->GetValue()->IsEmpty(), c.mHasValue);
        }
    }
    int64_t sync = 0;
    bool flag = true;
    EXPECT_TRUE(file->GetAttributeValue(t.cSyncPoint, &sync));
    EXPECT_EQ(sync, -1);
    EXPECT_TRUE(folder->GetAttributeValue(t.cContainerFlagA, &flag));
    EXPECT_FALSE(flag); // true only on a volume root
}

TEST(BDM_Asset, ChangesReachTheAssetsObserversAndLinkPathFollowsLink)
{
    Fixture f;
    const BDM_AttributeTags& t = BDMTest_Tags();
    BDM_AssetHandle asset = f.Asset(2);
    struct AssetCounter : Cmn_Observable<BDM_Asset>::Observer
    {
        int mCount = 0;
        void Notify(BDM_Asset&) override { ++mCount; }
    } assetCounter;
    struct AttributeCounter : Cmn_Observable<BDM_Attribute>::Observer
    {
        int mCount = 0;
        void Notify(BDM_Attribute&) override { ++mCount; }
    } linkPathCounter;
    asset->Cmn_Observable<BDM_Asset>::AddObserver(assetCounter);
    asset->GetAttribute(t.cLinkPath)->AddObserver(linkPathCounter);
    asset->SetMarkedForDeletion(true);
    EXPECT_TRUE(asset->IsMarkedForDeletion());
    EXPECT_EQ(assetCounter.mCount, 1);
    EXPECT_EQ(linkPathCounter.mCount, 0);
    static_cast<BDM_TypedAttribute<BDM_Link>*>(asset->GetAttribute(t.cLink))->Set(BDM_Link());
    EXPECT_EQ(linkPathCounter.mCount, 1);
    EXPECT_EQ(assetCounter.mCount, 3); // the link, then the link path, each through the asset
    asset->GetAttribute(t.cLinkPath)->RemoveObserver(linkPathCounter);
    asset->Cmn_Observable<BDM_Asset>::RemoveObserver(assetCounter);
}

TEST(BDM_Cache, AssetsAreSharedWhileHeldAndFreedWhenReleased)
{
    Fixture f;
    const int32_t liveBefore = BDM_Asset::GetNumLiveAssets();
    {
        BDM_AssetHandle a = f.Asset(2);
        BDM_AssetHandle b = f.Asset(2);
        EXPECT_EQ(a.Get(), b.Get());
        EXPECT_EQ(f.mBin->mGenerated, 1);
        EXPECT_EQ(BDM_Asset::GetNumLiveAssets(), liveBefore + 1);
        EXPECT_EQ(f.mCache.Size(), 1u);
        b.Reset();
        EXPECT_EQ(BDM_Asset::GetNumLiveAssets(), liveBefore + 1);
    }
    EXPECT_EQ(BDM_Asset::GetNumLiveAssets(), liveBefore);
    EXPECT_EQ(f.mCache.Size(), 0u);
    // Made again from the store on the next ask.
    BDM_AssetHandle again = f.Asset(2);
    EXPECT_EQ(f.mBin->mGenerated, 2);
    EXPECT_EQ(again->GetName(), "Kick.wav");
    // Removed from the cache while held: the holder keeps a detached asset, the next ask
    // makes a new one, and the detached one is freed on release.
    f.mCache.Remove(BDM_CacheKey(f.mBin.Get(), again->GetKey()));
    BDM_AssetHandle fresh = f.Asset(2);
    EXPECT_NE(fresh.Get(), again.Get());
    again.Reset();
    EXPECT_EQ(BDM_Asset::GetNumLiveAssets(), liveBefore + 1);
    // A key the store does not hold makes no asset.
    EXPECT_FALSE(f.Asset(99));
}

TEST(BDM_Cache, ABinWithoutCacheMakesANewAssetEachTime)
{
    Fixture f(false);
    BDM_AssetHandle a = f.Asset(2), b = f.Asset(2);
    EXPECT_NE(a.Get(), b.Get());
    EXPECT_EQ(f.mBin->mGenerated, 2);
    EXPECT_EQ(f.mCache.Size(), 0u);
}

TEST(BDM_Bin, DefaultsAndRefusals)
{
    Fixture f;
    const BDM_AttributeTags& t = BDMTest_Tags();
    f.mBin->SetReadOnly(true);
    EXPECT_TRUE(f.mBin->CanDeleteAsset(BDMTest_MakeKey(2)));
    EXPECT_FALSE(f.mBin->CanModifyAttribute(BDMTest_MakeKey(2), t.cFileName));
    EXPECT_FALSE(f.mBin->CanAdd(BDM_eAssetType_Audio));
    f.mBin->SetReadOnly(false);
    EXPECT_EQ(ThrownText([&] { f.mBin->SetSortOrder(f.mBin->GetDefaultSortOrder()); }),
              "This list cannot be sorted here");
    EXPECT_EQ(f.mBin->GetDefaultSortOrder(), BDM_SortOrder({&t.cFileName}, true));

    struct Modify
    {
        int32_t mID;
        const BDM_AttributeTag* mTagP;
        bool mCan;
    };
    const Modify modifies[] = {
        {2, &t.cFileName, true},           // in the audio row, modifiable, present
        {2, &t.cAudioFileBitDepth, false}, // in the row, not modifiable
        {2, &t.cAssetComment, false},      // modifiable, but the asset has none
        {2, &t.cTaskProgress, false},      // not in the row
        {1, &t.cAssetComment, false},      // folder: in the row, the asset has none
        {1, &t.cFileName, true},
    };
    for (const Modify& m : modifies)
        EXPECT_EQ(f.mBin->CanModifyAttribute(BDMTest_MakeKey(m.mID, m.mID == 1), *m.mTagP), m.mCan)
            << m.mID << " " << m.mTagP->GetTagIndex();

    // An alias asks its target's bin.
    BDM_AssetHandle alias = f.Asset(4);
    alias->SetAlias(f.mBin.Get(), BDMTest_MakeKey(2));
    EXPECT_EQ(alias->ResolveAlias().Get(), f.Asset(2).Get());
    EXPECT_EQ(f.Asset(2)->ResolveAlias().Get(), f.Asset(2).Get());

    std::string message;
    const auto nameValue = [&](const std::string& iName)
    { return BDM_TypedAttributeValue<std::string>(&t.cFileName, iName); };
    EXPECT_TRUE(f.mBin->IsAttributeValueValidVoid(BDMTest_MakeKey(2), t.cFileName, nameValue("ok"),
                                                  &message));
    EXPECT_FALSE(f.mBin->IsAttributeValueValidVoid(BDMTest_MakeKey(2), t.cFileName, nameValue(""),
                                                   &message));
    EXPECT_FALSE(f.mBin->IsAttributeValueValidVoid(BDMTest_MakeKey(2), t.cFileName,
                                                   nameValue("a/b"), &message));
    EXPECT_EQ(message, "Name cannot contain the character(s) '/'.");
    // Other tags have no rule.
    EXPECT_TRUE(f.mBin->IsAttributeValueValidVoid(
        BDMTest_MakeKey(2), t.cAssetComment,
        BDM_TypedAttributeValue<std::string>(&t.cAssetComment, ""), &message));
}

TEST(BDM_Bin, PathsInternalPathsAndCompactSelection)
{
    Fixture f;
    BDM_Asset::InternalPath path;
    f.Asset(2)->GetInternalPath(&path);
    EXPECT_EQ(path.mNames, (std::list<std::string>{"root", "Drums", "Kick.wav"}));
    EXPECT_EQ(f.mBin->GetAssetFromInternalPath(path).Get(), f.Asset(2).Get());
    path.mNames.back() = "Missing.wav";
    EXPECT_FALSE(f.mBin->GetAssetFromInternalPath(path));

    const auto ids = [](const std::list<BDM_KeyHandle>& iKeys)
    {
        std::vector<int32_t> out;
        for (const BDM_KeyHandle& key : iKeys)
            out.push_back(static_cast<const BDMTest_Key&>(*key).mID);
        std::sort(out.begin(), out.end());
        return out;
    };
    struct Case
    {
        std::vector<int32_t> mSelected, mKept;
    };
    const Case cases[] = {
        {{2, 1, 3}, {1}},    // the folder covers its files
        {{2, 3}, {2, 3}},    // siblings stay
        {{4, 2, 0}, {0}},    // the root covers all
        {{2, 2, 4}, {2, 4}}, // a key twice is kept once
    };
    for (const Case& c : cases)
    {
        std::list<BDM_KeyHandle> keys;
        for (int32_t id : c.mSelected)
            keys.push_back(BDMTest_MakeKey(id, f.mBin->mItems[id].mFolder));
        f.mBin->CompactSelection(&keys);
        EXPECT_EQ(ids(keys), c.mKept);
    }
    f.mBin->DeleteAsset(BDMTest_MakeKey(3));
    EXPECT_FALSE(f.Asset(3));
}

TEST(BDM_Key, KeysOfAnotherTypeAreNeverCompared)
{
    class OtherKey : public BDM_Key
    {
    public:
        bool IsFolder() const override { return false; }
        EType GetType() const override { return eType_Task; }
        bool IsLessThan(const BDM_Key&) const override { return false; }
    };
    BDM_KeyHandle other(new OtherKey), mine = BDMTest_MakeKey(1);
    EXPECT_TRUE(Test_Asserts([&] { mine->IsLessThan(*other); }, "iKey.GetType() == eType_Neo"));
    // The map order puts types apart without asking IsLessThan across them.
    EXPECT_TRUE(BDM_Key::LessThan()(mine, other));
}
