// The browser's tree over the memory bin: children in the order of the sort order whether it
// was set before or after they arrived, one node per key and parent, and nodes that go when
// their asset is marked for deletion.
#include <gtest/gtest.h>

#include "BDM/BDM_AttributeTag.h"
#include "BDM/BDM_Tree.h"
#include "BDMTestSupport.h"

namespace
{
struct Folder
{
    BDM_Cache mCache;
    Cmn_AliasedRefCountPtr<BDMTest_Bin> mBin{new BDMTest_Bin(&mCache)};
    Folder()
    {
        BDMTest_Tags();
        BDMTest_Drain();
        // root 0: Drums (folder: kick), b.wav, a.wav, c.wav
        mBin->mItems[1] = {0, "Drums", true, 0};
        mBin->mItems[2] = {0, "b.wav", false, 30};
        mBin->mItems[3] = {0, "a.wav", false, 10};
        mBin->mItems[4] = {0, "c.wav", false, 20};
        mBin->mItems[5] = {1, "kick", false, 5};
    }
    ~Folder() { mCache.ClearEntriesForBin(mBin.Get()); }
};

std::vector<std::string> Names(const BDM_TreeNode& iNode)
{
    std::vector<std::string> names;
    for (size_t i = 0; i < iNode.GetNumChildren(); ++i)
        names.push_back(iNode.GetChildNode(i)->GetAsset()->GetName());
    return names;
}

// Expands a node and runs the queue until its children have come.
void Expand(BDM_Tree& ioTree, BDM_TreeNode& ioNode)
{
    BDM_LazyObjectHandle enumerator = ioTree.GetChildren(ioNode);
    ASSERT_TRUE(enumerator);
    BDMTest_Drain();
    ASSERT_TRUE(enumerator->IsLoaded());
}

TEST(BDM_Tree, ChildrenStandInTheSortOrderSetBeforeOrAfterTheyCome)
{
    const BDM_AttributeTags& t = BDMTest_Tags();
    struct Case
    {
        const char* mWhat;
        bool mSorted;
        BDM_SortOrder mOrder;
        std::vector<std::string> mNames;
    };
    const Case cases[] = {
        {"no comparator: key order", false, BDM_SortOrder(), {"Drums", "b.wav", "a.wav", "c.wav"}},
        {"name", true, BDM_SortOrder({&t.cFileName}, true), {"a.wav", "b.wav", "c.wav", "Drums"}},
        {"size: the folder has none and comes first", true, BDM_SortOrder({&t.cFileTotalSize}, true),
         {"Drums", "a.wav", "c.wav", "b.wav"}},
        {"size descending", true, BDM_SortOrder({&t.cFileTotalSize}, false),
         {"b.wav", "c.wav", "a.wav", "Drums"}},
        {"type, then name", true, BDM_SortOrder({&t.cAssetType, &t.cFileName}, true),
         {"Drums", "a.wav", "b.wav", "c.wav"}},
    };
    for (const Case& c : cases)
    {
        for (const bool before : {true, false})
        {
            SCOPED_TRACE(std::string(c.mWhat) + (before ? ", set before" : ", set after"));
            Folder folder;
            BDM_Tree tree(*folder.mBin, folder.mBin->GetRoot());
            if (c.mSorted && before)
                tree.SetSortOrder(c.mOrder);
            Expand(tree, *tree.GetTopNode());
            if (c.mSorted && !before)
                tree.SetSortOrder(c.mOrder);
            EXPECT_EQ(Names(*tree.GetTopNode()), c.mNames);
            EXPECT_EQ(tree.GetVisibleNodes().size(), 5u); // the top and its four children
        }
    }
}

TEST(BDM_Tree, OneNodePerKeyAndParentHoldingItsAsset)
{
    Folder folder;
    BDM_Tree tree(*folder.mBin, folder.mBin->GetRoot());
    BDM_TreeNode& top = *tree.GetTopNode();
    EXPECT_TRUE(top.IsOpen());
    BDM_TreeNode* drumsP = tree.Link(top, BDMTest_MakeKey(1, true));
    ASSERT_NE(drumsP, nullptr);
    EXPECT_EQ(tree.Link(top, BDMTest_MakeKey(1, true)), drumsP);
    EXPECT_EQ(tree.Link(top, BDMTest_MakeKey(99)), nullptr); // no such item
    Expand(tree, top);                                          // Drums is not linked again
    EXPECT_EQ(top.GetNumChildren(), 4u);
    EXPECT_EQ(tree.FindNodes(BDMTest_MakeKey(1, true)), std::vector<BDM_TreeNode*>{drumsP});
    // the shown asset is the cache's one while the node stands
    const int32_t generated = folder.mBin->mGenerated;
    EXPECT_EQ(folder.mBin->GetAsset(BDMTest_MakeKey(2)).Get(),
              tree.FindNodes(BDMTest_MakeKey(2)).front()->GetAsset().Get());
    EXPECT_EQ(folder.mBin->mGenerated, generated);
    // a file has no children to load
    EXPECT_FALSE(tree.GetChildren(*tree.FindNodes(BDMTest_MakeKey(2)).front()));
    Expand(tree, *drumsP);
    EXPECT_EQ(Names(*drumsP), std::vector<std::string>{"kick"});
    EXPECT_THROW(tree.Unlink(top), Cmn_AssertException);
}

TEST(BDM_Tree, AMarkForDeletionTakesTheNodeAndItsChildrenAway)
{
    struct Case
    {
        int32_t mMarked;
        bool mValue;
        std::vector<std::string> mLeft;
        size_t mVisible;
    };
    const Case cases[] = {
        {2, true, {"Drums", "a.wav", "c.wav"}, 5},  // a file
        {1, true, {"b.wav", "a.wav", "c.wav"}, 4},  // a folder with its child
        {2, false, {"Drums", "b.wav", "a.wav", "c.wav"}, 6}, // cleared: nothing happens
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mMarked);
        Folder folder;
        BDM_Tree tree(*folder.mBin, folder.mBin->GetRoot());
        Expand(tree, *tree.GetTopNode());
        BDM_TreeNode* drumsP = tree.FindNodes(BDMTest_MakeKey(1, true)).front();
        drumsP->SetOpen(true);
        Expand(tree, *drumsP);
        const bool folderKey = folder.mBin->mItems[c.mMarked].mFolder;
        BDM_AssetHandle marked = folder.mBin->GetAsset(BDMTest_MakeKey(c.mMarked, folderKey));
        marked->SetMarkedForDeletion(c.mValue);
        EXPECT_EQ(Names(*tree.GetTopNode()), c.mLeft);
        EXPECT_EQ(tree.GetVisibleNodes().size(), c.mVisible);
        EXPECT_EQ(tree.FindNodes(BDMTest_MakeKey(5)).size(), c.mMarked == 1 && c.mValue ? 0u : 1u);
        // the tree no longer watches what it does not show
        BDM_Attribute* watched = marked->GetAttribute(BDMTest_Tags().cMarkedForDeletion);
        EXPECT_EQ(watched->GetNumObservers(), c.mValue ? 1u : 2u); // the asset itself, the tree
    }
}

TEST(BDM_Tree, ChildrenThatComeAfterTheTreeWentAreDropped)
{
    Folder folder;
    BDM_LazyObjectHandle enumerator;
    {
        BDM_Tree tree(*folder.mBin, folder.mBin->GetRoot());
        enumerator = tree.GetChildren(*tree.GetTopNode());
        ASSERT_TRUE(enumerator);
        EXPECT_TRUE(enumerator->IsQueued());
    }
    BDMTest_Drain();
    EXPECT_TRUE(enumerator->IsLoaded());
}
} // namespace
