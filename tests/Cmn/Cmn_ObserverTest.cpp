#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

#include "Cmn_DisclosureTree.h"
#include "Cmn_Leash.h"
#include "Cmn_Observable.h"
#include "Cmn_SafeDispatchList.h"
#include "Support/TestSupport.h"

namespace
{
struct Message
{
    int mValue;
};

class Recorder : public Cmn_Observable<Message>::Observer
{
public:
    void Notify(Message& ioMessage) override
    {
        mSeen.push_back(ioMessage.mValue);
        if (mOnNotify)
            mOnNotify();
    }
    std::vector<int> mSeen;
    std::function<void()> mOnNotify;
};
} // namespace

// ---- Cmn_Observable --------------------------------------------------------------------------

TEST(Cmn_Observable, NotifiesEachObserverOnceUntilRemoved)
{
    Cmn_Observable<Message> observable;
    Recorder a, b;
    observable.AddObserver(a);
    observable.AddObserver(a);
    observable.AddObserver(b);
    Message m{7};
    observable.NotifyObservers(m);
    observable.RemoveObserver(a);
    observable.RemoveObserver(a); // unknown now: nothing happens
    m.mValue = 8;
    observable.NotifyObservers(m);
    EXPECT_EQ(a.mSeen, std::vector<int>{7});
    EXPECT_EQ(b.mSeen, (std::vector<int>{7, 8}));
}

TEST(Cmn_Observable, ObserverRemovedDuringNotificationIsNotCalled)
{
    Cmn_Observable<Message> observable;
    Recorder a, b, late;
    // Whichever of a and b runs first removes the other and adds `late`.
    a.mOnNotify = [&]
    {
        observable.RemoveObserver(b);
        observable.AddObserver(late);
    };
    b.mOnNotify = [&]
    {
        observable.RemoveObserver(a);
        observable.AddObserver(late);
    };
    observable.AddObserver(a);
    observable.AddObserver(b);
    Message m{1};
    observable.NotifyObservers(m);
    EXPECT_EQ(a.mSeen.size() + b.mSeen.size(), 1u);
    EXPECT_TRUE(late.mSeen.empty());
    observable.NotifyObservers(m);
    EXPECT_EQ(late.mSeen, std::vector<int>{1});
}

TEST(Cmn_Observable, CopyDoesNotCopyObservers)
{
    Cmn_Observable<Message> original;
    Recorder a, b;
    original.AddObserver(a);
    Cmn_Observable<Message> copy(original);
    EXPECT_EQ(copy.GetNumObservers(), 0u);
    Message m{3};
    copy.NotifyObservers(m);
    EXPECT_TRUE(a.mSeen.empty());

    Cmn_Observable<Message> target;
    target.AddObserver(b);
    target = original; // keeps its own observers
    EXPECT_TRUE(target.HasObserver(b));
    EXPECT_FALSE(target.HasObserver(a));
    EXPECT_TRUE(original.HasObserver(a));
}

// ---- Cmn_SafeDispatchListBase ------------------------------------------------------------------

namespace
{
int gItems[8];

int IndexOf(void* iP)
{
    return static_cast<int>(static_cast<int*>(iP) - gItems);
}

// Visits the whole list, calling iVisit(index of the item) before moving on.
std::vector<int> Visit(Cmn_SafeDispatchListBase& ioList,
                       const std::function<void(int)>& iVisit = {})
{
    std::vector<int> seen;
    for (Cmn_SafeDispatchListBase::Iterator it(ioList); !it.IsDone(); it.Next())
    {
        EXPECT_NE(it.Get(), nullptr);
        seen.push_back(IndexOf(it.Get()));
        if (iVisit)
            iVisit(seen.back());
    }
    return seen;
}

void Fill(Cmn_SafeDispatchListBase& ioList, int iCount)
{
    for (int i = 0; i < iCount; ++i)
        ioList.Add(&gItems[i]);
}
} // namespace

TEST(Cmn_SafeDispatchList, AddPushesAtTheHeadAndRemoveWithoutIteratorsFreesAtOnce)
{
    Cmn_SafeDispatchListBase list;
    Fill(list, 4);
    EXPECT_EQ(Visit(list), (std::vector<int>{3, 2, 1, 0}));
    EXPECT_TRUE(Test_Asserts([&] { list.Add(nullptr); }, "iDataP != 0"));
    EXPECT_EQ(list.GetCount(), 4u);

    EXPECT_TRUE(list.Remove(&gItems[1]));
    EXPECT_FALSE(list.Remove(&gItems[1]));
    EXPECT_EQ(list.GetNodeCount(), 3u);
    EXPECT_TRUE(list.Remove(&gItems[3])); // the head
    EXPECT_EQ(Visit(list), (std::vector<int>{2, 0}));
}

TEST(Cmn_SafeDispatchList, RemovingCurrentAndNextDuringIteration)
{
    Cmn_SafeDispatchListBase list;
    Fill(list, 6); // visits 5 4 3 2 1 0
    std::vector<int> seen;
    {
        Cmn_SafeDispatchListBase::Iterator it(list);
        for (; !it.IsDone(); it.Next())
        {
            seen.push_back(IndexOf(it.Get()));
            if (seen.back() != 4)
                continue;
            list.Remove(&gItems[4]); // the current one
            EXPECT_EQ(it.Get(), nullptr);
            list.Remove(&gItems[3]);            // the next one
            list.Remove(&gItems[5]);            // one already visited
            EXPECT_EQ(list.GetNodeCount(), 6u); // only marked while iterating
        }
        // The lone iterator unlinked the removed nodes it walked over (4 and 3), not 5.
        EXPECT_EQ(list.GetNodeCount(), 4u);
    }
    EXPECT_EQ(seen, (std::vector<int>{5, 4, 2, 1, 0}));
    EXPECT_EQ(list.GetNodeCount(), 3u); // the last iterator freed the rest
    EXPECT_EQ(Visit(list), (std::vector<int>{2, 1, 0}));
}

TEST(Cmn_SafeDispatchList, NestedIteratorsOnlyMarkUntilAlone)
{
    Cmn_SafeDispatchListBase list;
    Fill(list, 5); // visits 4 3 2 1 0
    std::vector<int> outerSeen, innerSeen;
    {
        Cmn_SafeDispatchListBase::Iterator outer(list);
        for (; !outer.IsDone(); outer.Next())
        {
            outerSeen.push_back(IndexOf(outer.Get()));
            if (outerSeen.back() != 3)
                continue;
            EXPECT_EQ(list.GetIteratorCount(), 1);
            // The inner one removes 3 (the outer's current) and 2 (its own next), then 0.
            innerSeen = Visit(list,
                              [&](int iInner)
                              {
                                  if (iInner == 3)
                                  {
                                      list.Remove(&gItems[3]);
                                      list.Remove(&gItems[2]);
                                  }
                                  else if (iInner == 0)
                                      list.Remove(&gItems[0]);
                              });
            // Two iterators were alive: nothing was unlinked; the inner one was not the last.
            EXPECT_EQ(list.GetNodeCount(), 5u);
            EXPECT_EQ(outer.Get(), nullptr);
        }
    }
    EXPECT_EQ(innerSeen, (std::vector<int>{4, 3, 1, 0}));
    EXPECT_EQ(outerSeen, (std::vector<int>{4, 3, 1}));
    EXPECT_EQ(list.GetNodeCount(), 2u);
    EXPECT_EQ(list.GetIteratorCount(), 0);
    EXPECT_EQ(Visit(list), (std::vector<int>{4, 1}));
}

TEST(Cmn_SafeDispatchList, AddDuringIterationThenRemoveTheOldHead)
{
    Cmn_SafeDispatchListBase list;
    list.Add(&gItems[0]);
    {
        Cmn_SafeDispatchListBase::Iterator it(list);
        ASSERT_FALSE(it.IsDone());
        list.Add(&gItems[1]); // new head, before the iterator
        list.Remove(&gItems[0]);
        it.Next(); // unlinks the old head, which is no longer the head
        EXPECT_TRUE(it.IsDone());
        EXPECT_EQ(list.GetNodeCount(), 1u);
    }
    EXPECT_EQ(Visit(list), std::vector<int>{1});
}

TEST(Cmn_SafeDispatchList, TypedForEachSurvivesSelfRemoval)
{
    Cmn_SafeDispatchList<int> list;
    for (int i = 0; i < 4; ++i)
        list.Add(&gItems[i]);
    std::vector<int> seen;
    list.ForEach(
        [&](int* iP)
        {
            seen.push_back(IndexOf(iP));
            list.Remove(iP);
            if (iP == &gItems[3])
                list.Remove(&gItems[2]);
        });
    EXPECT_EQ(seen, (std::vector<int>{3, 1, 0}));
    EXPECT_TRUE(list.IsEmpty());
}

// ---- Cmn_Leash ---------------------------------------------------------------------------------

namespace
{
struct Target
{
    Cmn_LeashTie mTie{this};
    int mValue = 42;
};
} // namespace

TEST(Cmn_Leash, CutWhenTargetIsDestroyedOrCutEarly)
{
    auto target = std::make_unique<Target>();
    Cmn_TypedLeash<Target> leash(target->mTie);
    Cmn_TypedLeash<Target> copy = leash;
    ASSERT_EQ(leash.Get(), target.get());
    EXPECT_EQ(leash.Get()->mValue, 42);
    EXPECT_EQ(leash.GetLeash()->GetRefCount(), 3); // the tie and two holders
    target.reset();
    EXPECT_EQ(leash.Get(), nullptr);
    EXPECT_FALSE(copy);
    EXPECT_TRUE(leash.GetLeash()->IsCut());
    EXPECT_EQ(leash.GetLeash()->GetRefCount(), 2); // the block outlives its target

    Target other;
    Cmn_TypedLeash<Target> early(other.mTie);
    other.mTie.Cut();
    EXPECT_TRUE(early.IsNull());
}

TEST(Cmn_Leash, EmptyLeashesShareTheNullLeash)
{
    Cmn_TypedLeash<Target> empty;
    EXPECT_NE(Cmn_Leash::GetNullLeashPtr(), nullptr);
    EXPECT_EQ(empty.GetLeash().Get(), Cmn_Leash::GetNullLeashPtr());
    EXPECT_EQ(empty.Get(), nullptr);
    Cmn_TypedLeash<Target> fromNull{Cmn_LeashPtr()};
    EXPECT_EQ(fromNull.GetLeash().Get(), Cmn_Leash::GetNullLeashPtr());
}

// ---- Cmn_DisclosureTree ------------------------------------------------------------------------

namespace
{
class TreeRecorder : public Cmn_Observable<Cmn_DisclosureTreeMessage>::Observer
{
public:
    void Notify(Cmn_DisclosureTreeMessage& ioMessage) override
    {
        mMessages.push_back(ioMessage);
        mParentAtNotify.push_back(ioMessage.mNodeP->GetParent());
    }
    std::vector<Cmn_DisclosureTreeMessage> mMessages;
    std::vector<Cmn_DisclosureTreeNode*> mParentAtNotify;
};

Cmn_DisclosureTreeNode* AddChild(Cmn_DisclosureTreeNode* ioParent, bool iOpen = false)
{
    return ioParent->AddChild(std::make_unique<Cmn_DisclosureTreeNode>(iOpen));
}
} // namespace

TEST(Cmn_DisclosureTree, ObserversHearOfChanges)
{
    Cmn_DisclosureTree tree;
    TreeRecorder recorder;
    tree.AddObserver(recorder);
    tree.SetTopLevelNode(std::make_unique<Cmn_DisclosureTreeNode>(true));
    Cmn_DisclosureTreeNode* top = tree.GetTopLevelNode();
    EXPECT_EQ(top->GetTree(), &tree);
    EXPECT_TRUE(Test_Asserts([&]
                             { tree.SetTopLevelNode(std::make_unique<Cmn_DisclosureTreeNode>()); },
                             "!mTopLevelNode"));
    Cmn_DisclosureTreeNode* a = AddChild(top);
    Cmn_DisclosureTreeNode* a1 = AddChild(a);
    Cmn_DisclosureTreeNode* b = AddChild(top);
    a->SetOpen(true);
    a->SetOpen(true); // no change, no message
    a->Toggle();
    std::unique_ptr<Cmn_DisclosureTreeNode> removed = top->RemoveChild(b);

    using M = Cmn_DisclosureTreeMessage;
    std::vector<std::pair<M::EChange, Cmn_DisclosureTreeNode*>> got;
    for (const M& m : recorder.mMessages)
    {
        EXPECT_EQ(m.mTreeP, &tree);
        got.emplace_back(m.mChange, m.mNodeP);
    }
    EXPECT_EQ(got, (std::vector<std::pair<M::EChange, Cmn_DisclosureTreeNode*>>{
                       {M::eChange_ChildAdded, a},
                       {M::eChange_ChildAdded, a1},
                       {M::eChange_ChildAdded, b},
                       {M::eChange_Opened, a},
                       {M::eChange_Closed, a},
                       {M::eChange_ChildRemoved, b}}));
    // The removal was announced while the node was still attached.
    EXPECT_EQ(recorder.mParentAtNotify.back(), top);
    EXPECT_EQ(removed->GetParent(), nullptr);
    EXPECT_EQ(removed->GetTree(), nullptr);
    removed->SetOpen(true); // a detached node changes silently
    EXPECT_EQ(recorder.mMessages.size(), 6u);
}

TEST(Cmn_DisclosureTree, VisibleNodesFollowOpenState)
{
    Cmn_DisclosureTree tree;
    tree.SetTopLevelNode(std::make_unique<Cmn_DisclosureTreeNode>(true));
    Cmn_DisclosureTreeNode* top = tree.GetTopLevelNode();
    Cmn_DisclosureTreeNode* a = AddChild(top);
    Cmn_DisclosureTreeNode* a1 = AddChild(a);
    Cmn_DisclosureTreeNode* a2 = AddChild(a, true);
    Cmn_DisclosureTreeNode* a2x = AddChild(a2);
    Cmn_DisclosureTreeNode* b = AddChild(top);

    using Nodes = std::vector<Cmn_DisclosureTreeNode*>;
    EXPECT_EQ(tree.GetVisibleNodes(), (Nodes{top, a, b}));
    EXPECT_FALSE(a2x->IsVisible()); // a2 is open but a is closed
    a->SetOpen(true);
    EXPECT_EQ(tree.GetVisibleNodes(), (Nodes{top, a, a1, a2, a2x, b}));
    EXPECT_TRUE(a2x->IsVisible());
    top->SetOpenRecursive(false);
    EXPECT_EQ(tree.GetVisibleNodes(), (Nodes{top}));
    EXPECT_FALSE(a2->IsOpen());
}
