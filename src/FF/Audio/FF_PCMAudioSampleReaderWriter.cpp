#include "FF/Audio/FF_PCMAudioSampleReaderWriter.h"

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AudioFile.h"
#include "Sys_AsyncFileIOParams.h"
#include "Sys_File.h"

FF_PCMAudioSampleReaderWriter::FF_PCMAudioSampleReaderWriter(FF_AudioFile* iAudioFileP,
                                                             Sys_File* iFileP)
    : mAudioFile(iAudioFileP), mFile(iFileP)
{
}

int64_t FF_PCMAudioSampleReaderWriter::FrameSize()
{
    return int64_t(mAudioFile->mNumChannels.GetOr(0)) * (mAudioFile->mBitDepth.GetOr(0) / 8);
}

int64_t FF_PCMAudioSampleReaderWriter::DataStart()
{
    return mAudioFile->mOffsetToData.GetOr(0) - mAudioFile->GetEmbeddedOffset();
}

void FF_PCMAudioSampleReaderWriter::SetPosition(int64_t iSample)
{
    mFile->SetPosition(Sys_File::eOffsetFrom_Start, DataStart() + iSample * FrameSize());
    mPosition = iSample;
}

int64_t FF_PCMAudioSampleReaderWriter::Read(void* oBufferP, int64_t iSamples)
{
    const int64_t frame = FrameSize();
    CMN_ASSERT(frame > 0);
    SetPosition(mPosition);
    const int64_t n = mFile->Read(oBufferP, iSamples * frame) / frame;
    mPosition += n;
    return n;
}

int64_t FF_PCMAudioSampleReaderWriter::Write(const void* iBufferP, int64_t iSamples)
{
    const int64_t frame = FrameSize();
    CMN_ASSERT(frame > 0);
    SetPosition(mPosition);
    const int64_t n = mFile->Write(iBufferP, iSamples * frame) / frame;
    mPosition += n;
    return n;
}

void FF_PCMAudioSampleReaderWriter::ReadAsync(Sys_AsyncFileIOParams* iParamsP)
{
    const int64_t position = iParamsP->GetPosition();
    iParamsP->SetPosition(position + DataStart());
    try
    {
        mFile->ReadAsync(iParamsP);
    }
    catch (...)
    {
        iParamsP->SetPosition(position);
        throw;
    }
    iParamsP->SetPosition(position);
}

void FF_PCMAudioSampleReaderWriter::WriteAsync(Sys_AsyncFileIOParams* iParamsP)
{
    const int64_t position = iParamsP->GetPosition();
    iParamsP->SetPosition(position + DataStart());
    try
    {
        mFile->WriteAsync(iParamsP);
    }
    catch (...)
    {
        iParamsP->SetPosition(position);
        throw;
    }
    iParamsP->SetPosition(position);
}
