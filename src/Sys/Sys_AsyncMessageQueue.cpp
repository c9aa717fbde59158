#include "Sys_AsyncMessageQueue.h"

#include <atomic>
#include <exception>

#include "Cmn_Assert.h"
#include "Sys_Utils.h"

namespace
{
std::atomic<Sys_AsyncMessageQueue::ThreadPriorityMethod> sThreadPriorityMethod{nullptr};
}

Sys_AsyncMessageQueue::Handle Sys_AsyncMessageQueue::Create()
{
    return Handle(new Sys_AsyncMessageQueue);
}

Sys_AsyncMessageQueue::ThreadPriorityMethod
Sys_AsyncMessageQueue::SetThreadPriorityMethod(ThreadPriorityMethod iMethod)
{
    return sThreadPriorityMethod.exchange(iMethod);
}

Sys_AsyncMessageQueue::Sys_AsyncMessageQueue() = default;

Sys_AsyncMessageQueue::~Sys_AsyncMessageQueue()
{
    if (mThread)
    {
        mThread->PostThreadMessage(cMessage, 1, 0);
        mEndSemaphore->Wait();
        mThread.Reset(); // joins
    }
}

void Sys_AsyncMessageQueue::Init(Callback iCallback, uintptr_t iPriorityArgument1,
                                 uintptr_t iPriorityArgument2)
{
    CMN_ASSERT(!mThread);
    CMN_ASSERT(iCallback);
    mCallback = std::move(iCallback);
    mPriorityArgument1 = iPriorityArgument1;
    mPriorityArgument2 = iPriorityArgument2;
    mEndSemaphore = std::make_unique<Sys_RawSemaphore>(0, 1);
    mThread = Sys_RawThread::Create(std::make_unique<Sys_RawThreadTaskPtmf<Sys_AsyncMessageQueue>>(
        *this, &Sys_AsyncMessageQueue::MessageLoop));
}

void Sys_AsyncMessageQueue::Post(void* iPayloadP)
{
    CMN_ASSERT_TEXT(mThread, "mThread");
    mThread->PostThreadMessage(cMessage, 0, reinterpret_cast<uintptr_t>(iPayloadP));
}

void Sys_AsyncMessageQueue::MessageLoop()
{
    const ThreadPriorityMethod priorityMethod = sThreadPriorityMethod.load();
    if (mPriorityArgument1 != 0 && priorityMethod)
        priorityMethod(mPriorityArgument1, mPriorityArgument2);
    const std::shared_ptr<Sys_MessageQueue> queue = Sys_MessageQueue::GetCurrent();
    Sys_Message message;
    while (queue->GetMessage(message, cMessage, cMessage))
    {
        if (message.mParam1 != 0)
            break;
        if (message.mParam2 == 0)
            continue;
        try
        {
            mCallback(reinterpret_cast<void*>(message.mParam2));
        }
        catch (const std::exception& e)
        {
            Sys_Utils::HandleFatalException(e);
        }
    }
    mEndSemaphore->Release(1);
}
