// Plain PCM frames stored one after another from the file's data offset.
//
// The byte position of frame s is mOffsetToData + s x frame - embedded offset: the data
// offset is counted on the outer file, the Sys_File (an FF_EmbeddedFile for an embedded
// range) from its own start. The data offset is asked of the audio file on every seek, so a
// data chunk that moves is followed.
#pragma once

#include <cstdint>

#include "FF/Audio/FF_AudioSampleReaderWriter.h"

class FF_AudioFile;
class Sys_File;

class FF_PCMAudioSampleReaderWriter : public FF_AudioSampleReaderWriter
{
public:
    // Neither is owned.
    FF_PCMAudioSampleReaderWriter(FF_AudioFile* iAudioFileP, Sys_File* iFileP);

    void WriteAsync(Sys_AsyncFileIOParams* iParamsP) override;
    void ReadAsync(Sys_AsyncFileIOParams* iParamsP) override;
    int64_t Read(void* oBufferP, int64_t iSamples) override;
    int64_t Write(const void* iBufferP, int64_t iSamples) override;
    void SetPosition(int64_t iSample) override;
    int64_t GetPosition() override { return mPosition; }

private:
    int64_t FrameSize();
    int64_t DataStart();

    FF_AudioFile* mAudioFile;
    Sys_File* mFile;
    int64_t mPosition = 0;
};
