// A per-thread message queue of our own: posted thread messages and timers, read with
// GetMessage and run with DispatchMessage.
//
// Ordering, as callers of such loops expect: posted messages leave in the order they were
// posted; a due timer yields one eMessage_Timer message, only when no posted message within
// the filter waits, and a timer that fell behind does not pile up (one message per look).
// GetMessage blocks until a message within [iFilterMin, iFilterMax] is there (0, 0: any);
// it answers false for eMessage_Quit. DispatchMessage runs a timer's callback on the calling
// thread; other messages are for the caller to act on.
//
// Each thread's queue is made on first use of GetCurrent. Post, PostQuit and KillTimer may
// be called from any thread through a kept pointer; SetTimer, GetMessage and PeekMessage
// belong to the owning thread. A thread may be given a queue made beforehand (SetCurrent),
// so that others can post to it before it runs.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

struct Sys_Message
{
    uint32_t mMessage = 0;
    uintptr_t mParam1 = 0;
    uintptr_t mParam2 = 0;
};

class Sys_MessageQueue
{
public:
    enum : uint32_t
    {
        eMessage_Quit = 0x0012,
        eMessage_Timer = 0x0113,
        eMessage_User = 0x0400 // 1024, the first number free for the caller
    };

    using TimerCallback = std::function<void()>;

    Sys_MessageQueue() = default;
    Sys_MessageQueue(const Sys_MessageQueue&) = delete;
    Sys_MessageQueue& operator=(const Sys_MessageQueue&) = delete;

    static std::shared_ptr<Sys_MessageQueue> GetCurrent();
    static void SetCurrent(const std::shared_ptr<Sys_MessageQueue>& iQueue);

    void Post(uint32_t iMessage, uintptr_t iParam1, uintptr_t iParam2);
    void PostQuit();

    // A timer that fires every iMilliseconds (> 0) until killed; returns its id (> 0). The
    // callback runs in DispatchMessage of its timer message.
    uint32_t SetTimer(int32_t iMilliseconds, TimerCallback iCallback);
    // True when the timer existed. A message of the timer already taken is then ignored by
    // DispatchMessage.
    bool KillTimer(uint32_t iTimerId);

    bool GetMessage(Sys_Message& oMessage, uint32_t iFilterMin = 0, uint32_t iFilterMax = 0);
    // As GetMessage without waiting; false when nothing is there. iRemove false leaves a
    // posted message in the queue.
    bool PeekMessage(Sys_Message& oMessage, bool iRemove, uint32_t iFilterMin = 0,
                     uint32_t iFilterMax = 0);
    void DispatchMessage(const Sys_Message& iMessage);

    // Gets and dispatches until the quit message.
    void Run();

    size_t GetPostedCount() const;

private:
    struct Timer
    {
        uint32_t mId;
        int64_t mPeriod; // nanoseconds
        int64_t mDue;    // monotonic nanoseconds
        TimerCallback mCallback;
    };

    static bool InFilter(uint32_t iMessage, uint32_t iMin, uint32_t iMax);
    // With mMutex held: takes a message within the filter, or sets oWaitUntil to the next
    // timer's due time (0 when none).
    bool TakeLocked(Sys_Message& oMessage, bool iRemove, uint32_t iMin, uint32_t iMax,
                    int64_t& oWaitUntil);

    mutable std::mutex mMutex;
    std::condition_variable mCondition;
    std::deque<Sys_Message> mPosted;
    std::vector<Timer> mTimers;
    uint32_t mNextTimerId = 1;
};
