// A pool of interchangeable objects: a Sys_ThreadSafeQueue of owned T* and a Sys_Semaphore
// that counts them, so a taker can wait (alone or beside other objects, through
// WaitForMultipleObjects) until one is free.
//
// Protocol: wait on GetSemaphore (which takes one unit), then Pop; give back with Push and
// then Release(1) on the semaphore, or both at once with Return. Acquire waits and pops.
// The pool owns every object in it; one popped belongs to the taker until pushed back.
// The destructor deletes the objects in the pool (objects out of it are the takers').
// Any thread.
#pragma once

#include <cstdint>

#include "Sys_Semaphore.h"
#include "Sys_ThreadSafeQueue.h"

template <class T> class Sys_ResourcePool
{
public:
    // iCount copies of iPrototype; the semaphore starts at iCount with maximum iCount.
    Sys_ResourcePool(int32_t iCount, const T& iPrototype)
        : mSemaphore(Sys_Semaphore::Create(iCount, iCount)), mCount(iCount)
    {
        for (int32_t i = 0; i < iCount; ++i)
            mQueue.Push(new T(iPrototype));
    }
    ~Sys_ResourcePool()
    {
        T* itemP = nullptr;
        while (mQueue.TryPop(itemP))
            delete itemP;
    }
    Sys_ResourcePool(const Sys_ResourcePool&) = delete;
    Sys_ResourcePool& operator=(const Sys_ResourcePool&) = delete;

    // Asserts "!IsEmpty()".
    T* Pop() { return mQueue.Pop(); }
    void Push(T* iItemP)
    {
        CMN_ASSERT(iItemP);
        mQueue.Push(iItemP);
    }
    // Push and release one unit of the semaphore.
    void Return(T* iItemP)
    {
        Push(iItemP);
        mSemaphore->Release(1);
    }
    // Waits up to iTimeOut ms for an object; null on timeout.
    T* Acquire(int32_t iTimeOut = Sys_SyncObject::cWaitForever)
    {
        if (mSemaphore->Wait(iTimeOut) != Sys_SyncObject::eWaitResult_Signalled)
            return nullptr;
        return Pop();
    }

    bool IsEmpty() const { return mQueue.IsEmpty(); }
    size_t GetSize() const { return mQueue.GetSize(); }
    int32_t GetCount() const { return mCount; }
    const Sys_Semaphore::SemaphoreHandle& GetSemaphore() const { return mSemaphore; }

private:
    Sys_ThreadSafeQueue<T*> mQueue;
    Sys_Semaphore::SemaphoreHandle mSemaphore;
    const int32_t mCount;
};
