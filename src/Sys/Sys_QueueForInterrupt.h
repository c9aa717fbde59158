// A queue from a normal thread to an interrupt-level (real-time) reader.
//
// The normal side appends elements (BaseAppend, taking ownership) and later frees the ones
// the reader has processed (DisposeProcessedElements). The interrupt side reads BaseFront
// and calls Advance, which marks the front processed and moves on. Exactly one thread on
// each side at a time.
//
// Pointers: mNext, the cursor of the interrupt side; mOldest and mNewest, the ends of the
// list, which only the normal side touches.
// Invariants:
//  1. The normal side writes mNext only while it is null (before the first append, after
//     Clear); from then on only the interrupt side moves it, and only forward.
//  2. mNext points at the next element to process, or rests on the last processed one when
//     nothing follows it yet; BaseFront steps off a processed element as soon as its link
//     is set. (Resting rather than becoming null is what makes an append that races with
//     Advance safe: the appender never has to decide whether the reader has passed.)
//  3. The normal side deletes an element only when it is processed and not the one mNext
//     points at; the interrupt side touches an element no more once it has moved mNext
//     past it. So the resting element stays until a later append moves the cursor on, or
//     Clear.
// BaseFront and Advance are real-time safe: atomic loads and stores on links, flags and
// mNext only, no lock, no allocation, no system call. Clear requires the interrupt side to
// be stopped (for instance behind a Sys_HighPriorityGate).
#pragma once

#include <atomic>
#include <cstdint>

class Sys_QueueForInterrupt_ElemBase
{
public:
    Sys_QueueForInterrupt_ElemBase() = default;
    virtual ~Sys_QueueForInterrupt_ElemBase() = default;
    Sys_QueueForInterrupt_ElemBase(const Sys_QueueForInterrupt_ElemBase&) = delete;
    Sys_QueueForInterrupt_ElemBase& operator=(const Sys_QueueForInterrupt_ElemBase&) = delete;

    bool WasProcessed() const { return mProcessed.load(); }
    void* GetUserPointer() const { return mUserP; }

private:
    friend class Sys_QueueForInterruptBase;

    std::atomic<Sys_QueueForInterrupt_ElemBase*> mLink{nullptr};
    std::atomic<bool> mProcessed{false};
    void* mUserP = nullptr;
};

class Sys_QueueForInterruptBase
{
public:
    using Elem = Sys_QueueForInterrupt_ElemBase;

    Sys_QueueForInterruptBase() = default;
    ~Sys_QueueForInterruptBase();
    Sys_QueueForInterruptBase(const Sys_QueueForInterruptBase&) = delete;
    Sys_QueueForInterruptBase& operator=(const Sys_QueueForInterruptBase&) = delete;

    // Normal side. Takes ownership of iElemP (allocated with new).
    void BaseAppend(Elem* iElemP, void* iUserP);
    // Interrupt side. The next element to process, or null.
    Elem* BaseFront();
    // Interrupt side. Marks the front element processed and moves past it; nothing when the
    // queue has nothing to process.
    void Advance();
    // Normal side. Deletes processed elements from the oldest on; returns how many.
    int32_t DisposeProcessedElements();
    // Normal side, interrupt side stopped. Deletes every element.
    void Clear();

    // Normal side. Elements held (processed or not).
    int32_t GetElementCount() const;

private:
    std::atomic<Elem*> mNext{nullptr};
    Elem* mOldest = nullptr;
    Elem* mNewest = nullptr;
};
