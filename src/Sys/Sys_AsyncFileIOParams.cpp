#include "Sys_AsyncFileIOParams.h"

Sys_AsyncFileIOParams::Sys_AsyncFileIOParams(int64_t iPosition, int64_t iByteCount, void* iBufferP,
                                             Cmn_PolymorphicHandle<Sys_Event> iCompletionEvent)
    : mPosition(iPosition), mByteCount(iByteCount), mBufferP(iBufferP),
      mCompletionEvent(iCompletionEvent ? iCompletionEvent : Sys_Event::Create(1))
{
}

Sys_AsyncFileIOParams::ParamsHandle
Sys_AsyncFileIOParams::Create(int64_t iPosition, int64_t iByteCount, void* iBufferP,
                              Cmn_PolymorphicHandle<Sys_Event> iCompletionEvent)
{
    return ParamsHandle(
        new Sys_AsyncFileIOParams(iPosition, iByteCount, iBufferP, std::move(iCompletionEvent)));
}

void Sys_AsyncFileIOParams::SetPosition(int64_t iPosition)
{
    mPosition = iPosition;
}

int64_t Sys_AsyncFileIOParams::GetPosition() const
{
    return mPosition;
}

void Sys_AsyncFileIOParams::SetByteCount(int64_t iByteCount)
{
    mByteCount = iByteCount;
}

int64_t Sys_AsyncFileIOParams::GetByteCount() const
{
    return mByteCount;
}

void Sys_AsyncFileIOParams::SetBuffer(void* iBufferP)
{
    mBufferP = iBufferP;
}

void* Sys_AsyncFileIOParams::GetBuffer() const
{
    return mBufferP;
}

void Sys_AsyncFileIOParams::SetCompletionEvent(Cmn_PolymorphicHandle<Sys_Event> iEvent)
{
    mCompletionEvent = std::move(iEvent);
}

Cmn_PolymorphicHandle<Sys_Event> Sys_AsyncFileIOParams::GetCompletionEvent() const
{
    return mCompletionEvent;
}

void Sys_AsyncFileIOParams::SetCallback(Callback iCallback, void* iDataP)
{
    mCallback = iCallback;
    mCallbackDataP = iDataP;
}

void Sys_AsyncFileIOParams::RunCallback()
{
    if (mCallback)
        mCallback(this, mCallbackDataP);
}

Sys_AsyncFileIOParams::ResultState Sys_AsyncFileIOParams::GetResultState() const
{
    return mResult;
}

void Sys_AsyncFileIOParams::SignalCompletionEvent()
{
    if (mCompletionEvent)
        mCompletionEvent->Set();
}

void Sys_AsyncFileIOParams::SetResultState(int32_t iError, int64_t iBytesTransferred)
{
    mResult.mError = iError;
    mResult.mBytesTransferred = iBytesTransferred;
}
