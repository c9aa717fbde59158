// Containers guarded by a mutex of their own, for handing items between threads.
//
// Sys_ThreadSafeQueue<T>: a list; Push at the tail, Pop at the head.
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
#include <list>
#include <mutex>
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
        mList.push_back(iItem);
    }
    void Push(T&& iItem)
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mList.push_back(std::move(iItem));
    }
    T Pop()
    {
        std::lock_guard<std::mutex> lock(mMutex);
        CMN_ASSERT_TEXT(!mList.empty(), "!IsEmpty()");
        T item = std::move(mList.front());
        mList.pop_front();
        return item;
    }
    bool TryPop(T& oItem)
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (mList.empty())
            return false;
        oItem = std::move(mList.front());
        mList.pop_front();
        return true;
    }
    bool IsEmpty() const
    {
        std::lock_guard<std::mutex> lock(mMutex);
        return mList.empty();
    }
    size_t GetSize() const
    {
        std::lock_guard<std::mutex> lock(mMutex);
        return mList.size();
    }
    void Clear()
    {
        std::list<T> old;
        {
            std::lock_guard<std::mutex> lock(mMutex);
            old.swap(mList);
        }
    }

private:
    mutable std::mutex mMutex;
    std::list<T> mList;
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
    mutable std::mutex mMutex;
    std::vector<T> mHeap;
};
