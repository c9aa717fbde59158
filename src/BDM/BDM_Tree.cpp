#include "BDM/BDM_Tree.h"

#include <algorithm>

#include "BDM/BDM_AttributeTag.h"
#include "BDM/BDM_Bin.h"
#include "Cmn_Assert.h"

// ---- BDM_KeyComparator -------------------------------------------------------------------

bool BDM_KeyComparator::Less(const BDM_TreeNode& iLhs, const BDM_TreeNode& iRhs) const
{
    const BDM_TreeNode& first = mOrder.IsAscending() ? iLhs : iRhs;
    const BDM_TreeNode& second = mOrder.IsAscending() ? iRhs : iLhs;
    for (const BDM_AttributeTag* tagP : mOrder.GetTags())
    {
        const BDM_Attribute* aP = first.GetAsset()->GetAttribute(*tagP);
        const BDM_Attribute* bP = second.GetAsset()->GetAttribute(*tagP);
        if (!aP || !bP)
        {
            if (aP != bP) // an item without the attribute stands before one with it
                return !aP;
            continue;
        }
        if (aP->LessThan(*bP))
            return true;
        if (bP->LessThan(*aP))
            return false;
    }
    return BDM_Key::LessThan()(iLhs.GetKey(), iRhs.GetKey());
}

// ---- the adaptors ------------------------------------------------------------------------

void BDM_Tree_EnumeratorAdaptor::HandleChild(const BDM_KeyHandle& iKey)
{
    BDM_Tree* treeP = *mTree;
    if (!treeP)
        return;
    for (BDM_TreeNode* parentP : treeP->FindNodes(mParent))
        treeP->Link(*parentP, iKey);
}

void BDM_Tree_DeletionObserver::Notify(BDM_Attribute& ioAttribute)
{
    bool marked = false;
    if (!BDM_GetAttributeValue(BDM_AttributeTags::Instance()->cMarkedForDeletion, &ioAttribute,
                               &marked) ||
        !marked)
        return;
    std::vector<BDM_TreeNode*> nodes;
    auto [begin, end] = mTree.mWatched.equal_range(&ioAttribute);
    for (auto it = begin; it != end; ++it)
        nodes.push_back(it->second);
    if (nodes.empty())
        return;
    // The attribute is notifying: its asset must outlive this call.
    BDM_AssetHandle hold = nodes.front()->GetAsset();
    for (BDM_TreeNode* nodeP : nodes)
        if (nodeP != mTree.GetTopNode())
            mTree.Unlink(*nodeP);
    mTree.mDoomed.push_back(hold);
}

// ---- BDM_Tree ----------------------------------------------------------------------------

BDM_Tree::BDM_Tree(BDM_Bin& iBin, const BDM_KeyHandle& iTop)
    : mBin(&iBin), mSelf(std::make_shared<BDM_Tree*>(this))
{
    BDM_AssetHandle asset = iBin.GetAsset(iTop);
    CMN_ASSERT(asset);
    auto top = std::make_unique<BDM_TreeNode>(iTop, asset);
    BDM_TreeNode* topP = top.get();
    SetTopLevelNode(std::move(top));
    topP->SetOpen(true);
    Enter(*topP);
}

BDM_Tree::~BDM_Tree()
{
    *mSelf = nullptr;
    for (auto& [attributeP, nodeP] : mWatched)
        const_cast<BDM_Attribute*>(attributeP)->RemoveObserver(mDeletionObserver);
    mWatched.clear();
}

void BDM_Tree::HandleNewNode(BDM_TreeNode&) {}

bool BDM_Tree::Less(const BDM_TreeNode& iLhs, const BDM_TreeNode& iRhs) const
{
    if (mComparator)
        return mComparator->Less(iLhs, iRhs);
    return BDM_Key::LessThan()(iLhs.GetKey(), iRhs.GetKey());
}

void BDM_Tree::SetSortOrder(const BDM_SortOrder& iOrder)
{
    SetSortComparator(std::make_unique<BDM_KeyComparator>(iOrder));
}

void BDM_Tree::SetSortComparator(std::unique_ptr<BDM_KeyComparator> iComparator)
{
    mDoomed.clear();
    mComparator = std::move(iComparator);
    Sort(*GetTopNode());
}

void BDM_Tree::Sort(BDM_TreeNode& ioNode)
{
    std::vector<std::unique_ptr<Cmn_DisclosureTreeNode>> children;
    while (ioNode.GetNumChildren() > 0)
        children.push_back(ioNode.RemoveChild(ioNode.GetChildAt(ioNode.GetNumChildren() - 1)));
    std::reverse(children.begin(), children.end());
    std::stable_sort(children.begin(), children.end(), [this](const auto& iLhs, const auto& iRhs) {
        return Less(static_cast<const BDM_TreeNode&>(*iLhs), static_cast<const BDM_TreeNode&>(*iRhs));
    });
    for (auto& child : children)
        Sort(static_cast<BDM_TreeNode&>(*ioNode.AddChild(std::move(child))));
}

BDM_TreeNode* BDM_Tree::Link(BDM_TreeNode& iParent, const BDM_KeyHandle& iKey)
{
    mDoomed.clear();
    auto [begin, end] = mNodes.equal_range(iKey);
    for (auto it = begin; it != end; ++it)
        if (it->second->GetParentNode() == &iParent)
            return it->second;
    BDM_AssetHandle asset = mBin->GetAsset(iKey);
    if (!asset)
        return nullptr;
    auto node = std::make_unique<BDM_TreeNode>(iKey, asset);
    // after the siblings that do not sort after it: equal ones keep their arrival order
    size_t index = iParent.GetNumChildren();
    while (index > 0 && Less(*node, *iParent.GetChildNode(index - 1)))
        --index;
    auto* nodeP = static_cast<BDM_TreeNode*>(iParent.InsertChild(index, std::move(node)));
    Enter(*nodeP);
    HandleNewNode(*nodeP);
    return nodeP;
}

void BDM_Tree::Enter(BDM_TreeNode& ioNode)
{
    mNodes.emplace(ioNode.mKey, &ioNode);
    if (BDM_Attribute* attributeP =
            ioNode.mAsset->GetAttribute(BDM_AttributeTags::Instance()->cMarkedForDeletion))
    {
        attributeP->AddObserver(mDeletionObserver);
        mWatched.emplace(attributeP, &ioNode);
        ioNode.mWatchedP = attributeP;
    }
}

void BDM_Tree::Forget(BDM_TreeNode& ioNode)
{
    for (size_t i = 0; i < ioNode.GetNumChildren(); ++i)
        Forget(*ioNode.GetChildNode(i));
    auto [begin, end] = mNodes.equal_range(ioNode.mKey);
    for (auto it = begin; it != end; ++it)
        if (it->second == &ioNode)
        {
            mNodes.erase(it);
            break;
        }
    if (BDM_Attribute* attributeP = ioNode.mWatchedP)
    {
        auto [first, last] = mWatched.equal_range(attributeP);
        for (auto it = first; it != last; ++it)
            if (it->second == &ioNode)
            {
                mWatched.erase(it);
                break;
            }
        if (mWatched.count(attributeP) == 0)
            attributeP->RemoveObserver(mDeletionObserver);
        ioNode.mWatchedP = nullptr;
    }
}

void BDM_Tree::Unlink(BDM_TreeNode& ioNode)
{
    CMN_ASSERT(&ioNode != GetTopNode());
    BDM_TreeNode* parentP = ioNode.GetParentNode();
    CMN_ASSERT(parentP);
    Forget(ioNode);
    parentP->RemoveChild(&ioNode); // the node goes here
}

BDM_LazyObjectHandle BDM_Tree::GetChildren(BDM_TreeNode& ioNode)
{
    mDoomed.clear();
    if (!ioNode.mEnumerator && ioNode.mAsset->IsContainer())
        ioNode.mEnumerator = ioNode.mAsset->EnumerateChildren(
            std::make_unique<BDM_Tree_EnumeratorAdaptor>(mSelf, ioNode.mKey));
    QueueEnumeratorHack(ioNode);
    return ioNode.mEnumerator;
}

void BDM_Tree::QueueEnumeratorHack(BDM_TreeNode& ioNode)
{
    const BDM_LazyObjectHandle& enumerator = ioNode.mEnumerator;
    if (enumerator && !enumerator->IsLoaded() && !enumerator->IsQueued())
        enumerator->QueueObjectLoader(ioNode.mAsset->GetName());
}

std::vector<BDM_TreeNode*> BDM_Tree::FindNodes(const BDM_KeyHandle& iKey) const
{
    std::vector<BDM_TreeNode*> nodes;
    auto [begin, end] = mNodes.equal_range(iKey);
    for (auto it = begin; it != end; ++it)
        nodes.push_back(it->second);
    return nodes;
}
