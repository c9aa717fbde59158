// One asynchronous sample request of the audio file front.
//
// Wraps a Sys_AsyncFileIOParams (owned, GetSysParams) and counts in frames: the offset and
// count given in frames are stored in bytes with the frame size (bytes per sample x
// channels), and read back divided by it. The front hangs its conversion callback on the
// system params; the caller's completion event is signalled after it has run.
//
// Contract: the caller keeps the params and the buffer alive until the completion event is
// signalled, and completion happens on the issuing thread during an alertable wait (see
// Sys_AsyncFileIOParams.h). Not copyable.
#pragma once

#include <cstdint>

#include "Cmn_PolymorphicHandle.h"
#include "FF/Audio/FF_AudioTypes.h"
#include "Sys_AsyncFileIOParams.h"
#include "Sys_Event.h"

class FF_AudioFile;

class FF_AsyncAudioFileIOParams
{
public:
    FF_AsyncAudioFileIOParams(int16_t iBytesPerSample, int16_t iNumChannels);
    FF_AsyncAudioFileIOParams(const FF_AsyncAudioFileIOParams&) = delete;
    FF_AsyncAudioFileIOParams& operator=(const FF_AsyncAudioFileIOParams&) = delete;
    ~FF_AsyncAudioFileIOParams();

    Sys_AsyncFileIOParams* GetSysParams() const { return mSysParams.Get(); }

    void SetSampleOffset(int64_t iSample);
    int64_t GetSampleOffset() const;
    void SetNumSamples(int64_t iSamples);
    int64_t GetNumSamples() const;
    void SetBuffer(void* iBufferP);
    void* GetBuffer() const;
    Cmn_PolymorphicHandle<Sys_Event> GetCompletionEvent() const;
    void SetCompletionEvent(Cmn_PolymorphicHandle<Sys_Event> iEvent);
    // The frames moved by the finished request.
    int64_t GetNumSamplesTransferred() const;
    bool ErrorOccurred() const;
    // Throws through Sys_ThrowIfOSErr when the request failed.
    void ThrowIfErrorOccurred() const;

    int32_t GetFrameSize() const { return mFrameSize; }

    // Converts the buffer of a finished request (iDataP is the FF_AsyncAudioFileIOParams).
    static void SwapSampleBuffer(Sys_AsyncFileIOParams* iSysParamsP, void* iDataP);

private:
    friend class FF_AudioFile;

    int32_t mFrameSize;
    Sys_AsyncFileIOParams::ParamsHandle mSysParams;
    // Set by the front for the conversion callback.
    FF_AudioFile* mAudioFile = nullptr;
    EByteOrder mOrder = eByteOrder_Native;
    bool mRestoreWholeBuffer = false;
};
