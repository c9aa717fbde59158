#include "Cmn_DisclosureTree.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "Cmn_Assert.h"

// ---- Cmn_DisclosureTreeNode ----------------------------------------------------------------

void Cmn_DisclosureTreeNode::SetOpen(bool iOpen)
{
    if (mOpen == iOpen)
        return;
    mOpen = iOpen;
    Notify(iOpen ? Cmn_DisclosureTreeMessage::eChange_Opened
                 : Cmn_DisclosureTreeMessage::eChange_Closed,
           this);
}

void Cmn_DisclosureTreeNode::SetOpenRecursive(bool iOpen)
{
    SetOpen(iOpen);
    for (size_t i = 0; i < mChildren.size(); ++i)
        mChildren[i]->SetOpenRecursive(iOpen);
}

Cmn_DisclosureTree* Cmn_DisclosureTreeNode::GetTree() const
{
    const Cmn_DisclosureTreeNode* nodeP = this;
    while (nodeP->mParentP)
        nodeP = nodeP->mParentP;
    return nodeP->mTreeP;
}

Cmn_DisclosureTreeNode* Cmn_DisclosureTreeNode::GetChildAt(size_t iIndex) const
{
    CMN_ASSERT(iIndex < mChildren.size());
    return mChildren[iIndex].get();
}

bool Cmn_DisclosureTreeNode::IsVisible() const
{
    for (const Cmn_DisclosureTreeNode* nodeP = mParentP; nodeP; nodeP = nodeP->mParentP)
    {
        if (!nodeP->mOpen)
            return false;
    }
    return true;
}

Cmn_DisclosureTreeNode*
Cmn_DisclosureTreeNode::AddChild(std::unique_ptr<Cmn_DisclosureTreeNode> iChild)
{
    return InsertChild(mChildren.size(), std::move(iChild));
}

Cmn_DisclosureTreeNode* Cmn_DisclosureTreeNode::InsertChild(size_t iIndex,
                                                            std::unique_ptr<Cmn_DisclosureTreeNode> iChild)
{
    CMN_ASSERT(iChild && !iChild->mParentP && !iChild->mTreeP);
    CMN_ASSERT(iIndex <= mChildren.size());
    Cmn_DisclosureTreeNode* childP = iChild.get();
    childP->mParentP = this;
    mChildren.insert(mChildren.begin() + std::ptrdiff_t(iIndex), std::move(iChild));
    Notify(Cmn_DisclosureTreeMessage::eChange_ChildAdded, childP);
    return childP;
}

std::unique_ptr<Cmn_DisclosureTreeNode>
Cmn_DisclosureTreeNode::RemoveChild(Cmn_DisclosureTreeNode* iChildP)
{
    auto found = std::find_if(mChildren.begin(), mChildren.end(),
                              [iChildP](const auto& iChild) { return iChild.get() == iChildP; });
    CMN_ASSERT(found != mChildren.end());
    Notify(Cmn_DisclosureTreeMessage::eChange_ChildRemoved, iChildP);
    // Observers may have changed the child list: look the child up again.
    found = std::find_if(mChildren.begin(), mChildren.end(),
                         [iChildP](const auto& iChild) { return iChild.get() == iChildP; });
    CMN_ASSERT(found != mChildren.end());
    std::unique_ptr<Cmn_DisclosureTreeNode> child = std::move(*found);
    mChildren.erase(found);
    child->mParentP = nullptr;
    return child;
}

void Cmn_DisclosureTreeNode::Notify(Cmn_DisclosureTreeMessage::EChange iChange,
                                    Cmn_DisclosureTreeNode* iNodeP)
{
    if (Cmn_DisclosureTree* treeP = GetTree())
    {
        Cmn_DisclosureTreeMessage message{iChange, treeP, iNodeP};
        treeP->NotifyObservers(message);
    }
}

// ---- Cmn_DisclosureTree --------------------------------------------------------------------

Cmn_DisclosureTree::~Cmn_DisclosureTree()
{
    if (mTopLevelNode)
        mTopLevelNode->mTreeP = nullptr;
}

void Cmn_DisclosureTree::SetTopLevelNode(std::unique_ptr<Cmn_DisclosureTreeNode> iNode)
{
    CMN_ASSERT(!mTopLevelNode);
    CMN_ASSERT(iNode && !iNode->mParentP && !iNode->mTreeP);
    iNode->mTreeP = this;
    mTopLevelNode = std::move(iNode);
}

std::vector<Cmn_DisclosureTreeNode*> Cmn_DisclosureTree::GetVisibleNodes() const
{
    std::vector<Cmn_DisclosureTreeNode*> nodes;
    if (!mTopLevelNode)
        return nodes;
    std::vector<Cmn_DisclosureTreeNode*> stack{mTopLevelNode.get()};
    while (!stack.empty())
    {
        Cmn_DisclosureTreeNode* nodeP = stack.back();
        stack.pop_back();
        nodes.push_back(nodeP);
        if (!nodeP->IsOpen())
            continue;
        for (size_t i = nodeP->GetNumChildren(); i-- > 0;)
            stack.push_back(nodeP->GetChildAt(i));
    }
    return nodes;
}
