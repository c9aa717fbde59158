#include "FF/Audio/FF_BasicAudioPlugIn.h"

#include <algorithm>

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AsyncAudioFileIOParams.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/FF_PCMAudioSampleReaderWriter.h"
#include "Sys_AsyncFileIOParams.h"
#include "Sys_FileUtils.h"

// ---- FF_AudioFilePlugIn defaults ---------------------------------------------------------

void FF_AudioFilePlugIn::ReadAsync(FF_AsyncAudioFileIOParams* iParamsP)
{
    SetPosition(iParamsP->GetSampleOffset());
    const int64_t n = ReadSamples(iParamsP->GetBuffer(), iParamsP->GetNumSamples());
    Sys_AsyncFileIOParams* sys = iParamsP->GetSysParams();
    sys->SetResultState(0, n * iParamsP->GetFrameSize());
    sys->RunCallback();
    sys->SignalCompletionEvent();
}

void FF_AudioFilePlugIn::WriteAsync(FF_AsyncAudioFileIOParams* iParamsP)
{
    SetPosition(iParamsP->GetSampleOffset());
    const int64_t n = WriteSamples(iParamsP->GetBuffer(), iParamsP->GetNumSamples());
    Sys_AsyncFileIOParams* sys = iParamsP->GetSysParams();
    sys->SetResultState(0, n * iParamsP->GetFrameSize());
    sys->RunCallback();
    sys->SignalCompletionEvent();
}

// ---- FF_BasicAudioPlugIn -----------------------------------------------------------------

FF_BasicAudioPlugIn::FF_BasicAudioPlugIn(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
    : FF_AudioFilePlugIn(iAudioFileP), mFile(iFileP)
{
}

FF_BasicAudioPlugIn::~FF_BasicAudioPlugIn() = default;

int32_t FF_BasicAudioPlugIn::GetMacOSCreator()
{
    return int32_t(Sys_FileType::MakeOSType("MDul"));
}

bool FF_BasicAudioPlugIn::Attach(Cmn_Store::EOpenFlag iOpenFlag)
{
    if (!ProbeFile(iOpenFlag))
        return false;
    mReaderWriter.reset(CreateReaderWriter());
    return true;
}

bool FF_BasicAudioPlugIn::ProbeFile(Cmn_Store::EOpenFlag iOpenFlag)
{
    if (iOpenFlag == Cmn_Store::eOpenFlag_OpenForRead)
        mFile->Open(cProbeForRead);
    else if (iOpenFlag == Cmn_Store::eOpenFlag_OpenForWrite)
        mFile->Open(cProbeForWrite);
    else
        CMN_ASSERT(0);
    const bool valid = IsValidFile();
    if (!valid && mFile->IsOpen())
        mFile->Close();
    return valid;
}

FF_AudioSampleReaderWriter* FF_BasicAudioPlugIn::CreateReaderWriter()
{
    mAudioFile->mOffsetToData.StoreFromSource(GetOffsetToPCMData(mAudioFile));
    return new FF_PCMAudioSampleReaderWriter(mAudioFile, mFile.get());
}

void FF_BasicAudioPlugIn::EnsureOpen()
{
    if (mFile->IsOpen())
        return;
    switch (mAudioFile->GetOpenFlag())
    {
    case Cmn_Store::eOpenFlag_OpenForRead:
        mFile->Open(cOpenForRead);
        break;
    case Cmn_Store::eOpenFlag_OpenForWrite:
        mFile->Open(cOpenForWrite);
        break;
    case Cmn_Store::eOpenFlag_OpenCreate:
        mFile->Open(cOpenCreate);
        break;
    default:
        CMN_ASSERT(0);
    }
    if (mReaderWriter)
        mReaderWriter->SetPosition(0);
}

void FF_BasicAudioPlugIn::Open()
{
    CMN_ASSERT(!mFile->IsOpen());
    EnsureOpen();
}

void FF_BasicAudioPlugIn::Close()
{
    CMN_ASSERT(mAudioFile->IsOpen());
    if (mFile->IsOpen())
        mFile->Close();
}

bool FF_BasicAudioPlugIn::Read(FF_AudioProperty::EID iID) const
{
    switch (iID)
    {
    case FF_AudioProperty::eID_OriginalTimeStamp:
    case FF_AudioProperty::eID_UserTimeStamp:
    {
        FF_AudioFile::RegionList regions;
        if (!mAudioFile->mRegions.Get(&regions))
            return false;
        for (const FF_AudioFile::Region& region : regions)
            if (region.mIsWholeFile)
            {
                mAudioFile->mOriginalTimeStamp.StoreFromSourceIfClean(region.mOriginalTimeStamp);
                mAudioFile->mUserTimeStamp.StoreFromSourceIfClean(region.mUserTimeStamp);
                return true;
            }
        return false;
    }
    case FF_AudioProperty::eID_CreationTime:
        mAudioFile->mCreationTime.StoreFromSourceIfClean(
            Sys_FileUtils::GetCreatedUTC(mAudioFile->GetFileLoc()));
        return true;
    default:
        return false;
    }
}

int64_t FF_BasicAudioPlugIn::ReadSamples(void* oBufferP, int64_t iSamples)
{
    EnsureOpen();
    CMN_ASSERT(iSamples >= 0);
    // Nothing is read past the last sample: what follows the data is not audio.
    const int64_t left = mAudioFile->mNumSamples.GetOr(0) - mReaderWriter->GetPosition();
    return mReaderWriter->Read(oBufferP, std::clamp<int64_t>(left, 0, iSamples));
}

int64_t FF_BasicAudioPlugIn::WriteSamples(void* iBufferP, int64_t iSamples)
{
    EnsureOpen();
    if (mReaderWriter->GetPosition() + iSamples > mAudioFile->mNumSamples.GetOr(0))
        HandleWriteExtend();
    return mReaderWriter->Write(iBufferP, iSamples);
}

void FF_BasicAudioPlugIn::SetPosition(int64_t iSampleOffset)
{
    EnsureOpen();
    CMN_ASSERT(iSampleOffset >= 0);
    mReaderWriter->SetPosition(iSampleOffset);
}

int64_t FF_BasicAudioPlugIn::GetPosition()
{
    return mReaderWriter->GetPosition();
}

void FF_BasicAudioPlugIn::ReadAsync(FF_AsyncAudioFileIOParams* iParamsP)
{
    EnsureOpen();
    // Like the blocking read, the request stops at the last sample.
    Sys_AsyncFileIOParams* sys = iParamsP->GetSysParams();
    const int64_t byteCount = sys->GetByteCount();
    const int64_t left =
        std::max<int64_t>(mAudioFile->mNumSamples.GetOr(0) - iParamsP->GetSampleOffset(), 0);
    if (iParamsP->GetNumSamples() > left)
        sys->SetByteCount(left * iParamsP->GetFrameSize());
    try
    {
        mReaderWriter->ReadAsync(sys);
    }
    catch (...)
    {
        sys->SetByteCount(byteCount);
        throw;
    }
    sys->SetByteCount(byteCount);
}

void FF_BasicAudioPlugIn::WriteAsync(FF_AsyncAudioFileIOParams* iParamsP)
{
    EnsureOpen();
    if (iParamsP->GetSampleOffset() + iParamsP->GetNumSamples() > mAudioFile->mNumSamples.GetOr(0))
        HandleWriteExtend();
    mReaderWriter->WriteAsync(iParamsP->GetSysParams());
}
