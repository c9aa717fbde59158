// A queue that runs a callback on a dedicated thread for each message posted, in the order
// they were posted.
//
// Init(callback, a, b) starts a Sys_RawThread whose loop (MessageLoop) takes only messages
// numbered 1024 from its own message queue: parameters (0, payload) pass a non-null payload
// to the callback (a null payload is ignored); a non-zero first parameter ends the loop,
// which then signals the end semaphore. When a is not zero and a thread-priority method is
// installed (SetThreadPriorityMethod; the audio engine may provide one), the loop first
// calls it with (a, b) on the new thread; without one the queue runs at normal priority.
// Post may be called from any thread once Init has run. The destructor posts the end
// message, waits for the loop to finish, and joins the thread; payloads still queued are
// dropped (the caller owns them).
// A callback's exception does not end the loop: it is reported through
// Sys_Utils::HandleFatalException and the loop goes on with the next message.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "Cmn_PolymorphicHandle.h"
#include "Sys_Raw.h"
#include "Sys_ThreadSafeRefCountObject.h"

class Sys_AsyncMessageQueue : public Sys_ThreadSafeRefCountObject
{
public:
    static constexpr uint32_t cMessage = 1024;

    using Handle = Cmn_PolymorphicHandle<Sys_AsyncMessageQueue>;
    using Callback = std::function<void(void* iPayloadP)>;
    using ThreadPriorityMethod = void (*)(uintptr_t iArgument1, uintptr_t iArgument2);

    static Handle Create();
    static ThreadPriorityMethod SetThreadPriorityMethod(ThreadPriorityMethod iMethod);

    Sys_AsyncMessageQueue(const Sys_AsyncMessageQueue&) = delete;
    Sys_AsyncMessageQueue& operator=(const Sys_AsyncMessageQueue&) = delete;

    // Once. iCallback must not be empty.
    virtual void Init(Callback iCallback, uintptr_t iPriorityArgument1,
                      uintptr_t iPriorityArgument2);
    // Queues iPayloadP (not owned) for the callback. Asserts "mThread" (Init came first).
    void Post(void* iPayloadP);

protected:
    Sys_AsyncMessageQueue();
    ~Sys_AsyncMessageQueue() override;

    // Runs on the queue's thread until the end message.
    virtual void MessageLoop();

private:
    Callback mCallback;
    uintptr_t mPriorityArgument1 = 0;
    uintptr_t mPriorityArgument2 = 0;
    std::unique_ptr<Sys_RawSemaphore> mEndSemaphore;
    Sys_RawThread::RawThreadHandle mThread;
};
