// The memory of one waveform overview: a byte buffer of fixed size, shared by counted
// reference (FF_AudioOverview holds it) and locked by those who draw from it or write into it.
//
// Contract.
//  1. A store has a size in bytes (signed 32-bit, fixed at construction) and, until Purge
//     frees it, a zeroed buffer of that many bytes. Purge keeps the size: a reader can tell a
//     purged overview (GetBuffer() null, GetSize() above 0) from an empty one (size 0, which
//     never has a buffer).
//  2. Every store is in one process-wide list, in the order of construction, from its
//     constructor to its destructor; FF_AudioOverviewMgr::Purge walks it from the head, so the
//     oldest stores go first.
//  3. Lock and Unlock count (Unlock asserts "mLockCount"). Purge does not look at the count:
//     the owner of the memory policy decides when to purge. The destructor expects
//     "mLockCount == 0"; since a destructor cannot throw, a failure is only reported to the
//     assertion handler (Cmn_Assert::SetHandler).
//  4. Threads. Reference counts (through FF_AudioOverview), lock counts, the list and the
//     buffer pointer are guarded by one process-wide mutex, so stores may be shared between
//     threads. The bytes are not guarded: one writer (a decimator, while the chain runs)
//     fills them before anybody reads them, and nobody purges while a chain writes.
// Not copyable.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "Cmn_RefCountObject.h"

class FF_AudioOverviewStore : public Cmn_RefCountObject
{
public:
    // A zeroed buffer of iSize bytes. Asserts "iSize >= 0".
    explicit FF_AudioOverviewStore(int32_t iSize);
    ~FF_AudioOverviewStore() override;
    FF_AudioOverviewStore(const FF_AudioOverviewStore&) = delete;
    FF_AudioOverviewStore& operator=(const FF_AudioOverviewStore&) = delete;

    int32_t GetSize() const { return mSize; }
    // Null when the size is 0 or the buffer was purged.
    int8_t* GetBuffer() const;
    bool IsPurged() const;

    void Lock();
    // Asserts "mLockCount".
    void Unlock();
    int32_t GetLockCount() const;

    // Frees the buffer (the size stays); returns the bytes freed (0 when there was none).
    int32_t Purge();

    // The mutex that guards every store's counts, the list and the buffer pointers. It is
    // recursive: the last release of a reference runs the destructor under it.
    static std::recursive_mutex& GetMutex();
    // The head of the process-wide list (the oldest store) and the next one; under GetMutex.
    static FF_AudioOverviewStore* GetFirst();
    FF_AudioOverviewStore* GetNext() const { return mNext; }
    // Stores alive now.
    static int32_t GetNumStores();

private:
    const int32_t mSize;
    std::unique_ptr<int8_t[]> mBuffer;
    int32_t mLockCount = 0;
    FF_AudioOverviewStore* mPrev = nullptr;
    FF_AudioOverviewStore* mNext = nullptr;
};

// Counting of stores under their mutex, for the handles of FF_AudioOverview.
struct FF_AudioOverviewStoreRefHack
{
    static void AddReference(FF_AudioOverviewStore* iP);
    static void RemoveReference(FF_AudioOverviewStore* iP);
};
