// A fixed-size allocator for real-time code: Alloc and Free never block, never take a lock,
// never allocate and make no system call.
//
// Layout: blocks of cPayloadOffset + mBlockSize bytes form a closed ring through mNext.
// A block starts with its link and its in-use word (a Sys_AtomicInt32, 0 free, 1 in use);
// the payload, 16-byte aligned, begins cPayloadOffset bytes behind the block's start, so
// Free finds the in-use word from the payload pointer alone and needs no pool.
//
// Invariants:
//  1. A block belongs to the ring from its allocation until the pool dies; blocks are never
//     returned to the heap before that, so a real-time thread can never touch freed memory.
//  2. mCurrent always points into the ring (or is null while the ring is empty).
//  3. A payload is handed out only by the 0 -> 1 exchange of its in-use word, so two Allocs
//     never get the same block; Free is a plain store of 0.
//
// How to see that the fast paths are real-time safe: Alloc is a loop of atomic loads and
// compare-and-exchanges on mCurrent and on in-use words, bounded by mNumBlocks failed
// probes; Free is one atomic store. Neither calls into the heap, a mutex or the kernel.
//
// Init and Reserve grow the ring. They allocate and are not safe against concurrent Alloc:
// call them from a normal thread before the real-time side starts. The ring only grows: a
// reservation that ends lowers the reserved count but frees nothing.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "Sys_AtomicInt32.h"

class Sys_AtomicPool
{
    struct Block;

public:
    enum EErr
    {
        eErr_None = 0,
        eErr_RequestTooLarge = 1,
        eErr_NoFreeBlock = 2
    };

    static constexpr size_t cPayloadOffset = 32;

    // A claim on blocks, with move-on-copy semantics: copying or assigning moves the count
    // and empties the source. Its end (or an assignment over it) gives the count back.
    class Reservation
    {
    public:
        Reservation() = default;
        Reservation(Sys_AtomicPool& iPool, int32_t iCount) : mCount(iCount), mPoolP(&iPool) {}
        Reservation(Reservation& ioOther) noexcept : mCount(ioOther.mCount), mPoolP(ioOther.mPoolP)
        {
            ioOther.Forget();
        }
        Reservation(Reservation&& ioOther) noexcept : Reservation(ioOther) {}
        Reservation& operator=(Reservation& ioOther) noexcept;
        Reservation& operator=(Reservation&& ioOther) noexcept { return *this = ioOther; }
        ~Reservation() { Release(); }

        int32_t GetCount() const { return mCount; }

    private:
        void Release();
        void Forget()
        {
            mCount = 0;
            mPoolP = nullptr;
        }

        int32_t mCount = 0;
        Sys_AtomicPool* mPoolP = nullptr;
    };

    Sys_AtomicPool() = default;
    ~Sys_AtomicPool();
    Sys_AtomicPool(const Sys_AtomicPool&) = delete;
    Sys_AtomicPool& operator=(const Sys_AtomicPool&) = delete;

    // Sets the payload size and allocates what is reserved so far.
    void Init(size_t iBlockSize);
    // Adds iCount (> 0) to the reserved blocks and grows the ring to match.
    Reservation Reserve(int32_t iCount);

    // A payload of at least iSize bytes, or null with GetError telling why. Real-time safe.
    void* Alloc(size_t iSize);
    // Gives a payload back; null does nothing. Real-time safe; needs no pool.
    static void Free(void* iPayloadP);

    EErr GetError() const { return mError.load(std::memory_order_relaxed); }
    int32_t GetNumBlocks() const { return mNumBlocks.load(); }
    int32_t GetReservedCount() const { return mReserved.Get(); }
    size_t GetBlockSize() const { return mBlockSize; }

private:
    struct alignas(16) Block
    {
        std::atomic<Block*> mNext{nullptr};
        Sys_AtomicInt32 mInUse{0};
    };
    static_assert(sizeof(Block) <= cPayloadOffset, "the header fits before the payload");

    void UpdateAllocation();
    // A chain of iNumBlocks new blocks; returns its first and sets oLastP.
    Block* AllocateBlocks(int32_t iNumBlocks, Block*& oLastP);

    std::atomic<Block*> mCurrent{nullptr};
    std::atomic<int32_t> mNumBlocks{0};
    Sys_AtomicInt32 mReserved{0};
    size_t mBlockSize = 0;
    std::atomic<EErr> mError{eErr_None};
    Block* mAllBlocksP = nullptr; // first block allocated, for the destructor's walk
};
