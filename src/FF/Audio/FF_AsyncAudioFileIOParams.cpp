#include "FF/Audio/FF_AsyncAudioFileIOParams.h"

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AudioFile.h"
#include "Sys_OSErrData.h"

FF_AsyncAudioFileIOParams::FF_AsyncAudioFileIOParams(int16_t iBytesPerSample, int16_t iNumChannels)
    : mFrameSize(int32_t(iBytesPerSample) * iNumChannels),
      mSysParams(Sys_AsyncFileIOParams::Create(0, 0, nullptr))
{
    CMN_ASSERT(mFrameSize > 0);
}

FF_AsyncAudioFileIOParams::~FF_AsyncAudioFileIOParams() = default;

void FF_AsyncAudioFileIOParams::SetSampleOffset(int64_t iSample)
{
    mSysParams->SetPosition(iSample * mFrameSize);
}

int64_t FF_AsyncAudioFileIOParams::GetSampleOffset() const
{
    return mSysParams->GetPosition() / mFrameSize;
}

void FF_AsyncAudioFileIOParams::SetNumSamples(int64_t iSamples)
{
    mSysParams->SetByteCount(iSamples * mFrameSize);
}

int64_t FF_AsyncAudioFileIOParams::GetNumSamples() const
{
    return mSysParams->GetByteCount() / mFrameSize;
}

void FF_AsyncAudioFileIOParams::SetBuffer(void* iBufferP)
{
    mSysParams->SetBuffer(iBufferP);
}

void* FF_AsyncAudioFileIOParams::GetBuffer() const
{
    return mSysParams->GetBuffer();
}

Cmn_PolymorphicHandle<Sys_Event> FF_AsyncAudioFileIOParams::GetCompletionEvent() const
{
    return mSysParams->GetCompletionEvent();
}

void FF_AsyncAudioFileIOParams::SetCompletionEvent(Cmn_PolymorphicHandle<Sys_Event> iEvent)
{
    mSysParams->SetCompletionEvent(iEvent);
}

int64_t FF_AsyncAudioFileIOParams::GetNumSamplesTransferred() const
{
    return mSysParams->GetResultState().mBytesTransferred / mFrameSize;
}

bool FF_AsyncAudioFileIOParams::ErrorOccurred() const
{
    return mSysParams->GetResultState().mError != 0;
}

void FF_AsyncAudioFileIOParams::ThrowIfErrorOccurred() const
{
    // The context text is made only when there is an error to report.
    const int32_t error = mSysParams->GetResultState().mError;
    if (error != 0)
        Sys_ThrowIfOSErr(error, "asynchronous audio transfer");
}

void FF_AsyncAudioFileIOParams::SwapSampleBuffer(Sys_AsyncFileIOParams* iSysParamsP, void* iDataP)
{
    auto* params = static_cast<FF_AsyncAudioFileIOParams*>(iDataP);
    if (!params || !params->mAudioFile)
        return;
    // A write puts back the whole buffer it converted; a read converts what arrived.
    const int64_t bytes = params->mRestoreWholeBuffer
                              ? iSysParamsP->GetByteCount()
                              : iSysParamsP->GetResultState().mBytesTransferred;
    params->mAudioFile->SwapSamples(iSysParamsP->GetBuffer(), bytes / params->mFrameSize,
                                    params->mOrder);
}
