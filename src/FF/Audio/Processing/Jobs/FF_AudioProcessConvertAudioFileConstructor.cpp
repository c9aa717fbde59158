#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertAudioFileConstructor.h"

#include <algorithm>
#include <stdexcept>

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertAudioFile.h"
#include "FF/Audio/Processing/Overview/FF_AudioProcessDecimateWaveform.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadFiles.h"
#include "FF/Audio/Processing/Write/FF_AudioProcessWriteFiles.h"
#include "Sys_AtomicOutput.h"
#include "Sys_FileUtils.h"
#include "Sys_Volume.h"

namespace
{
FF_AudioFile::Properties ReadSourceProperties(FF_AudioFile& iSource)
{
    FF_AudioFile::StOpenForRead open(iSource);
    if (iSource.GetAudioFileType() == eAudioFileType_Unknown)
        throw std::runtime_error("\"" + iSource.GetFileLoc().GetFullPath() +
                                 "\" is not an audio file this library can read");
    return iSource.GetProperties();
}
} // namespace

FF_AudioProcessConvertAudioFileConstructor::FF_AudioProcessConvertAudioFileConstructor(
    const FF_AudioFileRef& iSource, int16_t iDstBitDepth, EAudioFileType iDstType, int32_t iDstRate,
    ESRCQuality iQuality, double iGainDB, bool iSqueeze, bool iDither)
    : FF_AudioProcessConvertConstructor(eByteOrder_Native, iDstBitDepth, iDstType,
                                        ReadSourceProperties(*iSource).mSampleRate, iDstRate,
                                        iQuality, iGainDB, iSqueeze, iDither),
      mSource(iSource)
{
    const FF_AudioFile::Properties properties = ReadSourceProperties(*mSource);
    mSourceFileByteOrder = properties.mByteOrder;
    mSourceNumSamples = properties.mNumSamples;
    SetSrcBitDepth(properties.mBitDepth);
    SetNumChannels(properties.mNumChannels, properties.mNumChannels);
    mAudioIsChanged = true;
}

FF_AudioProcessConvertAudioFileConstructor::~FF_AudioProcessConvertAudioFileConstructor() = default;

void FF_AudioProcessConvertAudioFileConstructor::SetDstNumChannels(int16_t iNumChannels)
{
    CMN_ASSERT(iNumChannels == 1 || iNumChannels == mSrcNumChannels);
    mDstNumChannels = iNumChannels;
}

std::list<Cmn_Interval> FF_AudioProcessConvertAudioFileConstructor::GetSourceIntervals() const
{
    return {Cmn_Interval(0, mSourceNumSamples)};
}

int64_t FF_AudioProcessConvertAudioFileConstructor::GetUnitsToProcess() const
{
    int64_t samples = 0;
    for (const Cmn_Interval& interval : GetSourceIntervals())
        samples += interval.GetLength();
    return FF_AudioFileUtils::CalcSamples(samples, mDstRate, mSrcRate);
}

bool FF_AudioProcessConvertAudioFileConstructor::GetSpaceRequiredOnVolume(const Sys_Volume& iVolume,
                                                                          int64_t& oBytes) const
{
    oBytes = 0;
    if (mDstFolderLoc.IsEmpty() || mDstFolderLoc.GetVolume() != iVolume)
        return false;
    const int64_t files = mInterleaved ? 1 : mDstNumChannels;
    const int64_t channelsPerFile = mInterleaved ? mDstNumChannels : 1;
    const int64_t samples = GetUnitsToProcess();
    const int64_t unit = std::max<int64_t>(1, iVolume.GetMinimumAllocationSize());
    // Header chunks, alignment and the overview, generously.
    const int64_t perFile = samples * channelsPerFile * ((mDstBitDepth + 7) / 8) + 8192 +
                            FF_AudioOverview::GetPayloadSize(samples);
    oBytes = files * ((perFile + unit - 1) / unit * unit);
    return true;
}

std::string FF_AudioProcessConvertAudioFileConstructor::GetDescription() const
{
    return "Converting " + mSource->GetFileLoc().GetName();
}

FF_AudioProcessChain::ChainHandle FF_AudioProcessConvertAudioFileConstructor::CreateProcessChain()
{
    return FF_AudioProcessChain::ChainHandle(new FF_AudioProcessConvertAudioFile);
}

FF_AudioProcess::ProcessHandle FF_AudioProcessConvertAudioFileConstructor::GetProducer()
{
    FF_AudioFile::StOpenForRead open(*mSource);
    return FF_AudioProcess::ProcessHandle(new FF_AudioProcessReadFiles(
        {mSource}, GetSourceIntervals(), 0, false, FF_AudioProcessReadFiles::cProcessBlockSize,
        FF_AudioProcessReadFiles::cReadBlockSize));
}

FF_AudioProcess::ProcessHandle FF_AudioProcessConvertAudioFileConstructor::GetConsumer()
{
    auto* writerP = new FF_AudioProcessWriteFiles(mDstFiles, 0, 0);
    FF_AudioProcess::ProcessHandle writer(writerP);
    if (mOverviews.size() == mDstFiles.size())
        writerP->SetOverviews(mOverviews);
    return writer;
}

void FF_AudioProcessConvertAudioFileConstructor::AddPreConsumerProcesses(
    FF_AudioProcessChain& ioChain)
{
    if (mOverviews.size() != mDstFiles.size() || mOverviews.empty())
        return;
    std::vector<FF_AudioOverview::LockingRef> refs;
    for (const FF_AudioOverview& overview : mOverviews)
        refs.emplace_back(overview);
    ioChain.Append(FF_AudioProcess::ProcessHandle(
        new FF_AudioProcessDecimateWaveform(FF_AudioOverview::cSamplesPerPoint, refs)));
}

FF_BatchProcess::BatchProcessHandle
FF_AudioProcessConvertAudioFileConstructor::CreateBatchProcessImpl()
{
    CMN_ASSERT_TEXT(!mDstFolderLoc.IsEmpty(), "!mDstFolderLoc.IsEmpty()");
    mDstFiles.clear();
    mOverviews.clear();

    // 1. The names.
    std::vector<Sys_FileLoc> locs;
    {
        FF_AudioFile::StOpenForRead open(*mSource);
        const std::vector<std::string> suffixes =
            mInterleaved ? std::vector<std::string>()
                         : FF_AudioFileUtils::GetAudioFileSuffixesForFormat(mDstNumChannels);
        const Sys_FileType type = FF_AudioFile::FileTypeFromAudioFileType(mDstType);
        locs = FF_AudioFileUtils::GetUniqueAudioFileLocs(
            mDstFolderLoc, mDstName.empty() ? mSource->GetFileLoc().GetName() : mDstName, type,
            suffixes, mNameLengthLimit, mDetectorP);
    }

    try
    {
        // 2. The files.
        const int64_t numSamples = GetUnitsToProcess();
        for (const Sys_FileLoc& loc : locs)
            MakeDestination(loc, numSamples);

        // 3. The chain, which then holds the files.
        FF_BatchProcess::BatchProcessHandle process =
            FF_AudioProcessConvertConstructor::CreateBatchProcessImpl();
        auto* chainP = dynamic_cast<FF_AudioProcessConvertAudioFile*>(process.Get());
        CMN_ASSERT(chainP);
        chainP->SetDstFiles(mDstFiles);
        return process;
    }
    catch (...)
    {
        // Whether or not the owner listed them: a plan that failed leaves no file.
        for (const FF_AudioFileRef& file : mDstFiles)
            Sys_FileUtils::DeleteFile(file->GetFileLoc());
        mDstFiles.clear();
        mOverviews.clear();
        throw;
    }
}

void FF_AudioProcessConvertAudioFileConstructor::MakeDestination(const Sys_FileLoc& iLoc,
                                                                 int64_t iNumSamples)
{
    FF_AudioFile::StOpenForRead openSource(*mSource);
    const bool sameRate = mSrcRate == mDstRate;
    const int64_t timeStamp = sameRate ? mSource->mOriginalTimeStamp.GetOr(0) : 0;
    const int16_t channels = mInterleaved ? mDstNumChannels : int16_t(1);
    FF_AudioFileRef file(
        new FF_AudioFile(mDstType, iLoc, channels, mDstBitDepth, mDstRate, timeStamp, iNumSamples));
    // Written under a temporary name and renamed when complete: the writer commits it, and
    // deleting iLoc before then discards it. The reservation comes first, so that a name
    // taken meanwhile is never listed for deletion.
    Sys_AtomicOutput::Begin(iLoc);
    try
    {
        if (Sys_FileUtils::StDeleteFiles* deleterP = GetFileDeleter())
            deleterP->Add(iLoc);
        file->Open(Cmn_Store::eOpenFlag_OpenCreate);
        file->mUmid.Set(Sys_Umid::Create());
        if (sameRate)
        {
            file->mUserTimeStamp.Set(mSource->mUserTimeStamp.GetOr(timeStamp));
            ETimeCodeFormat format = eTimeCodeFormat_Global;
            if (mSource->mTimeCodeFormat.Get(&format) && file->mTimeCodeFormat.CanWrite())
                file->mTimeCodeFormat.Set(format);
        }
        FF_AudioFile::RegionList regions;
        mSource->GetRegions(&regions);
        for (const FF_AudioFile::Region& region :
             FF_AudioFileUtils::MapRegions(regions, GetSourceIntervals(), mDstRate, mSrcRate))
            file->AddRegion(region);
        std::string description;
        if (mSource->mDescription.Get(&description) && file->mDescription.CanWrite())
            file->mDescription.Set(description);
        FF_AudioFile::BroadcastWaveData broadcast;
        if (mSource->mBroadcastWaveData.Get(&broadcast) && file->mBroadcastWaveData.CanWrite())
            file->mBroadcastWaveData.Set(broadcast);
        // One overview per mono destination, filled by the decimator on the way in.
        const bool overview = FF_AudioFile::AudioFileTypeSupportsEmbeddedOverviews(mDstType) &&
                              channels == 1 && iNumSamples <= FF_AudioOverviewMgr::cMaxNumSamples;
        if (overview)
            mOverviews.push_back(FF_AudioOverviewMgr::Allocate(iNumSamples));
        file->Close();
    }
    catch (...)
    {
        while (file->IsOpen())
            file->Close();
        Sys_FileUtils::DeleteFile(iLoc);
        throw;
    }
    mDstFiles.push_back(file);
    if (mOverviews.size() != mDstFiles.size())
        mOverviews.clear(); // all or none
}
