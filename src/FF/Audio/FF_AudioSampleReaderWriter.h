// Moves sample frames between memory and a file, at a frame position of its own.
//
// Contract: Read and Write return the frames moved (a short count at the end of the file)
// and advance the position by them; errors of the file are thrown. The async forms take
// params whose position is a byte offset from the first sample and hand them on with the
// position made absolute; the params' position is put back once they are issued. One
// thread at a time.
#pragma once

#include <cstdint>

class Sys_AsyncFileIOParams;

class FF_AudioSampleReaderWriter
{
public:
    FF_AudioSampleReaderWriter() = default;
    FF_AudioSampleReaderWriter(const FF_AudioSampleReaderWriter&) = delete;
    FF_AudioSampleReaderWriter& operator=(const FF_AudioSampleReaderWriter&) = delete;
    virtual ~FF_AudioSampleReaderWriter() = default;

    virtual void WriteAsync(Sys_AsyncFileIOParams* iParamsP) = 0;
    virtual void ReadAsync(Sys_AsyncFileIOParams* iParamsP) = 0;
    virtual int64_t Read(void* oBufferP, int64_t iSamples) = 0;
    virtual int64_t Write(const void* iBufferP, int64_t iSamples) = 0;
    virtual void SetPosition(int64_t iSample) = 0;
    virtual int64_t GetPosition() = 0;
};
