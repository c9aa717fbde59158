// A tree of nodes that are each open (children shown) or closed (children hidden), as in an
// outline view, with observers told of every change.
//
// Ownership: the tree owns its top node, which it is given once (SetTopLevelNode asserts
// "!mTopLevelNode"); every node owns its children. A node belongs to the tree of its topmost
// ancestor, if that ancestor is a tree's top node.
//
// Messages: a Cmn_DisclosureTreeMessage goes to the tree's observers after a node opens or
// closes (only when the state really changes), after a child is added, and before a child is
// removed (so that the node is still in place while observers look at it). Nodes outside a
// tree change without messages. Observers must not delete the node they are told about.
// Not thread-safe.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "Cmn_Observable.h"

class Cmn_DisclosureTree;
class Cmn_DisclosureTreeNode;

struct Cmn_DisclosureTreeMessage
{
    enum EChange
    {
        eChange_Opened,
        eChange_Closed,
        eChange_ChildAdded,
        eChange_ChildRemoved,
    };

    EChange mChange;
    Cmn_DisclosureTree* mTreeP;
    // The node opened or closed, or the child added or about to be removed.
    Cmn_DisclosureTreeNode* mNodeP;
};

class Cmn_DisclosureTreeNode
{
public:
    explicit Cmn_DisclosureTreeNode(bool iOpen = false) : mOpen(iOpen) {}
    virtual ~Cmn_DisclosureTreeNode() = default;
    Cmn_DisclosureTreeNode(const Cmn_DisclosureTreeNode&) = delete;
    Cmn_DisclosureTreeNode& operator=(const Cmn_DisclosureTreeNode&) = delete;

    bool IsOpen() const { return mOpen; }
    // Opens or closes the node; tells the tree's observers when the state changes.
    void SetOpen(bool iOpen);
    void Toggle() { SetOpen(!mOpen); }
    // Opens or closes this node and every node below it.
    void SetOpenRecursive(bool iOpen);

    Cmn_DisclosureTreeNode* GetParent() const { return mParentP; }
    // The tree this node belongs to, or null.
    Cmn_DisclosureTree* GetTree() const;
    size_t GetNumChildren() const { return mChildren.size(); }
    // Asserts "iIndex < mChildren.size()".
    Cmn_DisclosureTreeNode* GetChildAt(size_t iIndex) const;
    // True when every ancestor is open (a top node is always visible).
    bool IsVisible() const;

    // Adopts a parentless node as the last child (asserts); returns it.
    Cmn_DisclosureTreeNode* AddChild(std::unique_ptr<Cmn_DisclosureTreeNode> iChild);
    // Adopts a parentless node as the child at iIndex (asserts "iIndex <= mChildren.size()").
    Cmn_DisclosureTreeNode* InsertChild(size_t iIndex, std::unique_ptr<Cmn_DisclosureTreeNode> iChild);
    // Detaches a child of this node and hands it back; asserts that it is one.
    std::unique_ptr<Cmn_DisclosureTreeNode> RemoveChild(Cmn_DisclosureTreeNode* iChildP);

private:
    friend class Cmn_DisclosureTree;

    void Notify(Cmn_DisclosureTreeMessage::EChange iChange, Cmn_DisclosureTreeNode* iNodeP);

    bool mOpen;
    Cmn_DisclosureTreeNode* mParentP = nullptr;
    Cmn_DisclosureTree* mTreeP = nullptr; // set on the top node only
    std::vector<std::unique_ptr<Cmn_DisclosureTreeNode>> mChildren;
};

class Cmn_DisclosureTree : public Cmn_Observable<Cmn_DisclosureTreeMessage>
{
public:
    Cmn_DisclosureTree() = default;
    ~Cmn_DisclosureTree() override;
    Cmn_DisclosureTree(const Cmn_DisclosureTree&) = delete;
    Cmn_DisclosureTree& operator=(const Cmn_DisclosureTree&) = delete;

    // Adopts the top node; once only (asserts "!mTopLevelNode"); the node must be parentless.
    void SetTopLevelNode(std::unique_ptr<Cmn_DisclosureTreeNode> iNode);
    Cmn_DisclosureTreeNode* GetTopLevelNode() const { return mTopLevelNode.get(); }

    // The visible nodes in display order (depth first, parents before children): the top
    // node and, below each open node, its children.
    std::vector<Cmn_DisclosureTreeNode*> GetVisibleNodes() const;

private:
    std::unique_ptr<Cmn_DisclosureTreeNode> mTopLevelNode;
};
