// Containers guarded by a mutex of their own, for handing items between threads.
//
// Sys_ThreadSafeQueue<T>: a ring that only grows; Push at the tail, Pop at the head.
// Sys_ThreadSafePriorityQueue<T, Less>: a heap in a vector; Pop gives the greatest item
// under Less. Items equal under Less leave in no particular order (callers that need an
// order put it into Less, as Sys_TaskQueueItem does with its ordinal).
// Every operation holds the mutex only for the container operation and may be called from
// any thread. Pop asserts "!IsEmpty()" (it cannot block); TryPop answers false instead. An
// empty or size answer may be stale by the time the caller looks at it, unless the caller
// is the only one who pops.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "Cmn_Assert.h"

template <class T> class Sys_ThreadSafeQueue
{
public:
    Sys_ThreadSafeQueue() = default;
    Sys_ThreadSafeQueue(const Sys_ThreadSafeQueue&) = delete;
    Sys_ThreadSafeQueue& operator=(const Sys_ThreadSafeQueue&) = delete;

    void Push(const T& iItem)
    {
        std::lock_guard<std::mutex> lock(mMutex);
        GrowIfFullLocked();
        mSlots[(mHead + mCount) % mSlots.size()].emplace(iItem);
        ++mCount;
    }
    void Push(T&& iItem)
    {
        std::lock_guard<std::mutex> lock(mMutex);
        GrowIfFullLocked();
        mSlots[(mHead + mCount) % mSlots.size()].emplace(std::move(iItem));
        ++mCount;
    }
    T Pop()
    {
        std::lock_guard<std::mutex> lock(mMutex);
        CMN_ASSERT_TEXT(mCount != 0, "!IsEmpty()");
        T item = std::move(*mSlots[mHead]);
        PopFrontLocked();
        return item;
    }
    bool TryPop(T& oItem)
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (mCount == 0)
            return false;
        oItem = std::move(*mSlots[mHead]);
        PopFrontLocked();
        return true;
    }
    bool IsEmpty() const
    {
        std::lock_guard<std::mutex> lock(mMutex);
        return mCount == 0;
    }
    size_t GetSize() const
    {
        std::lock_guard<std::mutex> lock(mMutex);
        return mCount;
    }
    void Clear()
    {
        // The items are destroyed outside the lock.
        std::vector<std::optional<T>> old;
        {
            std::lock_guard<std::mutex> lock(mMutex);
            old.swap(mSlots);
            mHead = 0;
            mCount = 0;
        }
    }

private:
    // A ring of slots that only grows: once it holds the most items ever queued at once,
    // pushing and popping allocate nothing.
    void GrowIfFullLocked()
    {
        if (mCount < mSlots.size())
            return;
        std::vector<std::optional<T>> grown(mSlots.empty() ? 16 : mSlots.size() * 2);
        for (size_t i = 0; i < mCount; ++i)
            grown[i] = std::move(mSlots[(mHead + i) % mSlots.size()]);
        mSlots.swap(grown);
        mHead = 0;
    }
    void PopFrontLocked()
    {
        mSlots[mHead].reset();
        mHead = (mHead + 1) % mSlots.size();
        --mCount;
    }

    mutable std::mutex mMutex;
    std::vector<std::optional<T>> mSlots;
    size_t mHead = 0;  // slot of the oldest item
    size_t mCount = 0; // items queued
};

template <class T, class Less = std::less<T>> class Sys_ThreadSafePriorityQueue
{
public:
    Sys_ThreadSafePriorityQueue() = default;
    Sys_ThreadSafePriorityQueue(const Sys_ThreadSafePriorityQueue&) = delete;
    Sys_ThreadSafePriorityQueue& operator=(const Sys_ThreadSafePriorityQueue&) = delete;

    void Push(const T& iItem)
    {
        std::lock_guard<std::mutex> lock(mMutex);
        // Room for the usual number of items at once from the start: the heap then does not
        // grow while items come and go.
        if (mHeap.capacity() == 0)
            mHeap.reserve(cInitialCapacity);
        mHeap.push_back(iItem);
        std::push_heap(mHeap.begin(), mHeap.end(), Less());
    }
    T Pop()
    {
        T item;
        const bool popped = TryPop(item);
        CMN_ASSERT_TEXT(popped, "!IsEmpty()");
        return item;
    }
    bool TryPop(T& oItem)
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (mHeap.empty())
            return false;
        std::pop_heap(mHeap.begin(), mHeap.end(), Less());
        oItem = std::move(mHeap.back());
        mHeap.pop_back();
        return true;
    }
    // A copy of the greatest item; false when empty.
    bool PeekTop(T& oItem) const
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (mHeap.empty())
            return false;
        oItem = mHeap.front();
        return true;
    }
    bool IsEmpty() const
    {
        std::lock_guard<std::mutex> lock(mMutex);
        return mHeap.empty();
    }
    size_t GetSize() const
    {
        std::lock_guard<std::mutex> lock(mMutex);
        return mHeap.size();
    }
    // Removes every item for which iPredicate holds; returns them (destroyed by the caller
    // outside the lock).
    template <class Predicate> std::vector<T> RemoveIf(Predicate iPredicate)
    {
        std::vector<T> removed;
        std::lock_guard<std::mutex> lock(mMutex);
        auto keepEnd = std::partition(mHeap.begin(), mHeap.end(),
                                      [&](const T& iItem) { return !iPredicate(iItem); });
        std::move(keepEnd, mHeap.end(), std::back_inserter(removed));
        mHeap.erase(keepEnd, mHeap.end());
        std::make_heap(mHeap.begin(), mHeap.end(), Less());
        return removed;
    }

private:
    static constexpr size_t cInitialCapacity = 32;

    mutable std::mutex mMutex;
    std::vector<T> mHeap;
};
