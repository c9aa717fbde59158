// A bounded ring of items with its own mutex, from one or more writers to a reader.
//
// The array has room for the capacity plus one, so that read equal to write means empty;
// the pointers wrap explicitly at the end of the array. Push adds as many items as fit and
// returns how many it added. GetReadItem reads the item at the read pointer (asserts
// "!IsEmpty()"), AdvanceReadPtr moves past it. Any thread; the mutex is held only for the
// copy of the items.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "Cmn_Assert.h"

template <class T> class Sys_RingBuffer
{
public:
    explicit Sys_RingBuffer(int32_t iCapacity)
        : mBegin(new T[size_t(iCapacity) + 1]()), mEnd(mBegin.get() + iCapacity + 1),
          mReadP(mBegin.get()), mWriteP(mBegin.get()), mCapacity(iCapacity)
    {
        CMN_ASSERT(iCapacity > 0);
    }
    Sys_RingBuffer(const Sys_RingBuffer&) = delete;
    Sys_RingBuffer& operator=(const Sys_RingBuffer&) = delete;

    int32_t Push(const T* iItems, int32_t iCount)
    {
        std::lock_guard<std::mutex> lock(mMutex);
        int32_t pushed = 0;
        for (; pushed < iCount; ++pushed)
        {
            T* nextP = Next(mWriteP);
            if (nextP == mReadP)
                break; // full
            *mWriteP = iItems[pushed];
            mWriteP = nextP;
        }
        return pushed;
    }
    bool IsEmpty() const
    {
        std::lock_guard<std::mutex> lock(mMutex);
        return mReadP == mWriteP;
    }
    T GetReadItem() const
    {
        std::lock_guard<std::mutex> lock(mMutex);
        CMN_ASSERT_TEXT(mReadP != mWriteP, "!IsEmpty()");
        return *mReadP;
    }
    void AdvanceReadPtr()
    {
        std::lock_guard<std::mutex> lock(mMutex);
        CMN_ASSERT_TEXT(mReadP != mWriteP, "!IsEmpty()");
        mReadP = Next(mReadP);
    }
    int32_t GetCount() const
    {
        std::lock_guard<std::mutex> lock(mMutex);
        const auto distance = mWriteP - mReadP;
        return int32_t(distance >= 0 ? distance : distance + (mEnd - mBegin.get()));
    }
    int32_t GetCapacity() const { return mCapacity; }
    void Clear()
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mReadP = mWriteP = mBegin.get();
    }

private:
    T* Next(T* iP) const
    {
        T* nextP = iP + 1;
        return nextP == mEnd ? mBegin.get() : nextP;
    }

    mutable std::mutex mMutex;
    std::unique_ptr<T[]> mBegin;
    T* const mEnd;
    T* mReadP;
    T* mWriteP;
    const int32_t mCapacity;
};
