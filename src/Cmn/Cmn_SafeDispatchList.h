// A dispatch list that survives removal during iteration.
//
// A singly linked list of non-null data pointers (never owned), newest first. While at least
// one Iterator is alive, Remove does not unlink a node: it sets the node's data to null, and
// iterators skip such nodes. An iterator that is the only live one unlinks and frees the
// removed nodes it walks over; when the last iterator ends, the list frees whatever removed
// nodes are left. So:
//   1. A node is freed only when no iterator can hold a pointer to it.
//   2. Every node the list allocated is freed exactly once (at the latest by the destructor).
//   3. An element removed during iteration is never returned afterwards by any iterator; an
//      element added during iteration goes in at the head and is not seen by iterators that
//      already started.
// Iterators must not outlive their list. One thread only: this guards against re-entrance
// (a callback that removes itself or others), not against other threads.
#pragma once

#include <cstddef>
#include <cstdint>

class Cmn_SafeDispatchListBase
{
    struct Node
    {
        void* mDataP;
        Node* mNextP;
    };

public:
    Cmn_SafeDispatchListBase() = default;
    ~Cmn_SafeDispatchListBase();
    Cmn_SafeDispatchListBase(const Cmn_SafeDispatchListBase&) = delete;
    Cmn_SafeDispatchListBase& operator=(const Cmn_SafeDispatchListBase&) = delete;

    // Pushes iDataP at the head; asserts "iDataP != 0". The same pointer may be added twice.
    void Add(void* iDataP);
    // Removes the first (newest) occurrence of iDataP; returns false when there is none.
    bool Remove(void* iDataP);
    bool Contains(const void* iDataP) const;
    // Number of entries not removed.
    size_t GetCount() const;
    bool IsEmpty() const { return GetCount() == 0; }
    int32_t GetIteratorCount() const { return mIteratorCount; }
    // Number of nodes held, including removed ones not yet freed.
    size_t GetNodeCount() const;

    // Walks the entries from the newest. Get() is null when the current entry was removed
    // after the iterator reached it; Next() moves on.
    class Iterator
    {
    public:
        explicit Iterator(Cmn_SafeDispatchListBase& iList);
        ~Iterator();
        Iterator(const Iterator&) = delete;
        Iterator& operator=(const Iterator&) = delete;

        bool IsDone() const { return mNodeP == nullptr; }
        void* Get() const { return mNodeP ? mNodeP->mDataP : nullptr; }
        void Next();

    private:
        // Moves mNodeP past removed nodes, unlinking them when this is the only live iterator.
        void AdvancePastRemoved();
        // Unlinks and frees mNodeP (removed, this iterator alone); mNodeP becomes its successor.
        void UnlinkCurrent();

        Cmn_SafeDispatchListBase* mListP;
        Node* mNodeP;
        Node* mPrevP;
    };

private:
    void FreeRemovedNodes();

    Node* mHeadP = nullptr;
    int32_t mIteratorCount = 0;
};

// The typed front: a list of T* (not owned).
template <class T> class Cmn_SafeDispatchList
{
public:
    void Add(T* iP) { mBase.Add(iP); }
    bool Remove(T* iP) { return mBase.Remove(iP); }
    bool Contains(const T* iP) const { return mBase.Contains(iP); }
    size_t GetCount() const { return mBase.GetCount(); }
    bool IsEmpty() const { return mBase.IsEmpty(); }

    class Iterator
    {
    public:
        explicit Iterator(Cmn_SafeDispatchList& iList) : mIter(iList.mBase) {}
        bool IsDone() const { return mIter.IsDone(); }
        T* Get() const { return static_cast<T*>(mIter.Get()); }
        void Next() { mIter.Next(); }

    private:
        Cmn_SafeDispatchListBase::Iterator mIter;
    };

    // Calls iFunc(T*) on every entry; entries may be added or removed from inside iFunc.
    template <class F> void ForEach(F&& iFunc)
    {
        for (Iterator it(*this); !it.IsDone(); it.Next())
        {
            if (T* p = it.Get())
                iFunc(p);
        }
    }

private:
    Cmn_SafeDispatchListBase mBase;
};
