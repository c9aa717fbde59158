// The expandable tree that a browser window shows over one bin.
//
// Design:
//  1. Each node (BDM_TreeNode) stands for one key of the bin and holds its asset while the
//     node stays, so that a shown asset is never dropped by the weak cache. A key is linked
//     under a given parent once: linking it again answers the node it has.
//  2. Siblings stand in the order of the tree's comparator (BDM_KeyComparator over a
//     BDM_SortOrder: the order's tags in turn, an unset value before a set one, descending
//     orders reversed, equal ones by key). A new node is inserted in its place; a new
//     comparator re-sorts every level.
//  3. Children come in through the asset's child enumerator: GetChildren queues it
//     (QueueEnumeratorHack) and its client, a BDM_Tree_EnumeratorAdaptor, links each key as
//     it is delivered. A delivery for a node that was unlinked meanwhile, or for a tree that
//     is gone, is dropped.
//  4. The tree watches cMarkedForDeletion of every shown asset (BDM_Tree_DeletionObserver):
//     when it is set the node and what is below it are unlinked. The asset whose attribute
//     told it is held until the next change of the tree, since an attribute must not die
//     while it notifies.
// Threads: the browser's thread.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "BDM/BDM_Asset.h"
#include "BDM/BDM_Attribute.h"
#include "Cmn_DisclosureTree.h"

class BDM_Bin;
class BDM_Tree;

class BDM_TreeNode : public Cmn_DisclosureTreeNode
{
public:
    BDM_TreeNode(const BDM_KeyHandle& iKey, const BDM_AssetHandle& iAsset)
        : mKey(iKey), mAsset(iAsset)
    {
    }
    const BDM_KeyHandle& GetKey() const { return mKey; }
    const BDM_AssetHandle& GetAsset() const { return mAsset; }
    BDM_TreeNode* GetParentNode() const { return static_cast<BDM_TreeNode*>(GetParent()); }
    BDM_TreeNode* GetChildNode(size_t iIndex) const
    {
        return static_cast<BDM_TreeNode*>(GetChildAt(iIndex));
    }

private:
    friend class BDM_Tree;
    BDM_KeyHandle mKey;
    BDM_AssetHandle mAsset;
    BDM_Attribute* mWatchedP = nullptr; // its cMarkedForDeletion, when the asset has one
    BDM_LazyObjectHandle mEnumerator;   // once GetChildren ran
};

// Orders sibling nodes by a sort order on their assets' attributes.
class BDM_KeyComparator
{
public:
    explicit BDM_KeyComparator(const BDM_SortOrder& iOrder) : mOrder(iOrder) {}
    virtual ~BDM_KeyComparator() = default;
    virtual bool Less(const BDM_TreeNode& iLhs, const BDM_TreeNode& iRhs) const;
    const BDM_SortOrder& GetSortOrder() const { return mOrder; }

private:
    BDM_SortOrder mOrder;
};

// Links each child key that an enumerator delivers under its node.
class BDM_Tree_EnumeratorAdaptor : public BDM_Asset::ChildEnumerator::Client
{
public:
    BDM_Tree_EnumeratorAdaptor(const std::shared_ptr<BDM_Tree*>& iTree, const BDM_KeyHandle& iParent)
        : mTree(iTree), mParent(iParent)
    {
    }
    void HandleChild(const BDM_KeyHandle& iKey) override;

private:
    std::shared_ptr<BDM_Tree*> mTree; // null inside once the tree is gone
    BDM_KeyHandle mParent;
};

// Unlinks the node of an asset whose cMarkedForDeletion is set.
class BDM_Tree_DeletionObserver : public Cmn_Observable<BDM_Attribute>::Observer
{
public:
    explicit BDM_Tree_DeletionObserver(BDM_Tree& iTree) : mTree(iTree) {}
    void Notify(BDM_Attribute& ioAttribute) override;

private:
    BDM_Tree& mTree;
};

class BDM_Tree : public Cmn_DisclosureTree
{
public:
    // The top node stands for iTop (asserts that the bin has an asset for it); it is open.
    BDM_Tree(BDM_Bin& iBin, const BDM_KeyHandle& iTop);
    ~BDM_Tree() override;

    BDM_Bin* GetBin() const { return mBin.Get(); }
    BDM_TreeNode* GetTopNode() const { return static_cast<BDM_TreeNode*>(GetTopLevelNode()); }

    // Called for each node once it stands in the tree.
    virtual void HandleNewNode(BDM_TreeNode& ioNode);
    // Takes the comparator (null: keys in the bin's key order) and re-sorts every level.
    virtual void SetSortComparator(std::unique_ptr<BDM_KeyComparator> iComparator);
    // The node of iKey under iParent, made and put in its place if needed; null when the bin
    // has no asset for the key.
    virtual BDM_TreeNode* Link(BDM_TreeNode& iParent, const BDM_KeyHandle& iKey);
    // Takes the node and what is below it out of the tree (the top node cannot go).
    virtual void Unlink(BDM_TreeNode& ioNode);
    // Starts loading the children of a node (once); they are linked as they arrive. The
    // enumerator, or null for an asset that is no container.
    virtual BDM_LazyObjectHandle GetChildren(BDM_TreeNode& ioNode);

    // The comparator of this sort order.
    void SetSortOrder(const BDM_SortOrder& iOrder);
    // Queues the loader of a node's enumerator unless it has loaded.
    void QueueEnumeratorHack(BDM_TreeNode& ioNode);
    // The nodes of a key (one per parent it is linked under).
    std::vector<BDM_TreeNode*> FindNodes(const BDM_KeyHandle& iKey) const;

private:
    friend class BDM_Tree_DeletionObserver;
    bool Less(const BDM_TreeNode& iLhs, const BDM_TreeNode& iRhs) const;
    void Sort(BDM_TreeNode& ioNode);
    void Forget(BDM_TreeNode& ioNode);
    void Enter(BDM_TreeNode& ioNode);

    BDM_BinHandle mBin;
    std::unique_ptr<BDM_KeyComparator> mComparator;
    std::shared_ptr<BDM_Tree*> mSelf;
    BDM_Tree_DeletionObserver mDeletionObserver{*this};
    std::multimap<const BDM_Attribute*, BDM_TreeNode*> mWatched;
    std::multimap<BDM_KeyHandle, BDM_TreeNode*, BDM_Key::LessThan> mNodes;
    std::vector<BDM_AssetHandle> mDoomed; // released at the next change
};
