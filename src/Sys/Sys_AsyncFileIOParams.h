// One asynchronous file request: where, how much, which memory, and how it ended.
//
// Contract:
//  - The caller fills position, byte count and buffer, hands the params to
//    Sys_File::ReadAsync or WriteAsync and keeps the buffer alive until completion.
//  - The request completes on the thread that issued it, while that thread waits alertably
//    (Sys_SyncObject::Wait or WaitForMultipleObjects, on any object): the completion
//    routine stores the error and the byte count, runs the callback, and signals the
//    completion event, in that order.
//  - A transfer that meets the end of file completes with error 0 and a short count.
//  - The file holds a reference to the params while the request is in flight, so a caller
//    may drop its handle early; the setters must not be used while a request is in flight.
#pragma once

#include <cstdint>

#include "Cmn_PolymorphicHandle.h"
#include "Sys_Event.h"
#include "Sys_ThreadSafeRefCountObject.h"

class Sys_AsyncFileIOParams : public virtual Sys_ThreadSafeRefCountObject
{
public:
    using Callback = void (*)(Sys_AsyncFileIOParams* iParamsP, void* iDataP);
    using ParamsHandle = Cmn_PolymorphicHandle<Sys_AsyncFileIOParams>;

    // How the request ended: an errno value (0 for success) and the bytes moved.
    struct ResultState
    {
        int32_t mError = 0;
        int64_t mBytesTransferred = 0;
    };

    // Without an event (a null handle) a manual-reset event is made.
    static ParamsHandle
    Create(int64_t iPosition, int64_t iByteCount, void* iBufferP,
           Cmn_PolymorphicHandle<Sys_Event> iCompletionEvent = Cmn_PolymorphicHandle<Sys_Event>());

    Sys_AsyncFileIOParams(const Sys_AsyncFileIOParams&) = delete;
    Sys_AsyncFileIOParams& operator=(const Sys_AsyncFileIOParams&) = delete;

    virtual void SetPosition(int64_t iPosition);
    virtual int64_t GetPosition() const;
    virtual void SetByteCount(int64_t iByteCount);
    virtual int64_t GetByteCount() const;
    virtual void SetBuffer(void* iBufferP);
    virtual void* GetBuffer() const;
    virtual void SetCompletionEvent(Cmn_PolymorphicHandle<Sys_Event> iEvent);
    virtual Cmn_PolymorphicHandle<Sys_Event> GetCompletionEvent() const;
    virtual void SetCallback(Callback iCallback, void* iDataP);
    // Calls the callback, when there is one, with this params and its data.
    virtual void RunCallback();
    virtual ResultState GetResultState() const;
    virtual void SignalCompletionEvent();
    ~Sys_AsyncFileIOParams() override = default;

    // Stores the result of a transfer (the file's completion routine calls this).
    void SetResultState(int32_t iError, int64_t iBytesTransferred);

protected:
    Sys_AsyncFileIOParams(int64_t iPosition, int64_t iByteCount, void* iBufferP,
                          Cmn_PolymorphicHandle<Sys_Event> iCompletionEvent);

private:
    int64_t mPosition;
    int64_t mByteCount;
    void* mBufferP;
    Cmn_PolymorphicHandle<Sys_Event> mCompletionEvent;
    Callback mCallback = nullptr;
    void* mCallbackDataP = nullptr;
    ResultState mResult;
};
