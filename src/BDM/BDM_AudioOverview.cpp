#include "BDM/BDM_AudioOverview.h"

#include <algorithm>

#include "BDM/BDM_Globals.h"
#include "Cmn_Interval.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessChain.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewCache.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewUtils.h"
#include "FF/Audio/Processing/Overview/FF_AudioProcessDecimateWaveform.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadFiles.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessMixer.h"
#include "L10N_Utils.h"
#include "Sys_FileUtils.h"
#include "Sys_ProcessBlocker.h"

namespace
{
const BDM_AttributeTags& Tags()
{
    return *BDM_AttributeTags::Instance();
}

// The audio file behind an asset, or null.
FF_AudioFileRef FileOf(BDM_Asset& iAsset)
{
    Sys_FileLoc loc;
    if (!iAsset.ResolveFileSystemAlias(&loc) || !Sys_FileUtils::Exists(loc))
        return {};
    int64_t offset = 0;
    iAsset.GetAttributeValue(Tags().cAudioFileEmbeddedFileOffset, &offset);
    return FF_AudioFileRef(new FF_AudioFile(loc, offset));
}
} // namespace

// ---- BDM_AudioAssetOverviewAttribute -----------------------------------------------------

BDM_AudioAssetOverviewAttribute::BDM_AudioAssetOverviewAttribute(BDM_Asset& iAsset)
    : BDM_TypedCachedAttribute(Tags().cAudioOverview), mAssetP(&iAsset)
{
}

bool BDM_AudioAssetOverviewAttribute::IsSet() const
{
    FF_AudioOverview::LockingRef value;
    return GetValue(&value);
}

bool BDM_AudioAssetOverviewAttribute::GetValue(FF_AudioOverview::LockingRef* oValueP) const
{
    if (mSet)
        return BDM_TypedCachedAttribute::GetValue(oValueP);
    BDM_EFileFormat format = BDM_eFileFormat_Unknown;
    if (!mAssetP->GetAttributeValue(Tags().cFileFormat, &format))
        return false;
    FF_AudioFileRef file = FileOf(*mAssetP);
    if (!file)
        return false;
    FF_AudioOverview overview;
    bool found = false;
    try
    {
        FF_AudioFile::StOpenForRead open(*file);
        const int64_t size = FF_AudioOverview::GetPayloadSize(file->mNumSamples.GetOr(0));
        FF_AudioOverviewCache& cache = BDM_Globals::Instance()->OverviewCache(file->GetFileLoc());
        FF_AudioOverviewCache::OverviewKey key = FF_AudioOverviewCache::MakeKey(file.Get());
        found = cache.Find(key, &overview) && overview.GetSize() == size;
        if (!found && !key.mFileID.IsNoID())
        {
            key.mFileID = Sys_Umid::NoID();
            found = cache.Find(key, &overview) && overview.GetSize() == size;
        }
        const EAudioFileType type = EAudioFileType(int32_t(format) - BDM_eFileFormat_AudioBase);
        if (!found && FF_AudioFile::AudioFileTypeSupportsEmbeddedOverviews(type) &&
            file->GetAudioFileType() != eAudioFileType_Unknown)
            found = FF_AudioOverviewMgr::GetEmbeddedOverview(*file, &overview) &&
                    overview.GetSize() == size;
    }
    catch (const Cmn_CancelException&)
    {
        throw;
    }
    catch (...)
    {
        return false; // unreadable now: no overview
    }
    if (!found || overview.IsNull())
        return false;
    auto* selfP = const_cast<BDM_AudioAssetOverviewAttribute*>(this);
    selfP->mValue = FF_AudioOverview::LockingRef(overview);
    selfP->mSet = true;
    *oValueP = mValue;
    return true;
}

// ---- BDM_CalculateAudioOverview ----------------------------------------------------------

BDM_CalculateAudioOverview::BDM_CalculateAudioOverview(BDM_Asset& iAsset) : mAsset(&iAsset)
{
    SetProgressUnitsType(BDM_TaskProgress::eUnitsType_Samples);
    int64_t samples = 0;
    iAsset.GetAttributeValue(Tags().cAudioFileNumSamples, &samples);
    mNumSamples = samples;
    UpdateUnitsToComplete(samples);
    UpdateStatusMessage(
        L10N_Utils::ReplaceInserts(L10N_Utils::GetResourceString(1245), {iAsset.GetName()}));
}

BDM_CalculateAudioOverview::~BDM_CalculateAudioOverview()
{
    Abort();
}

void BDM_CalculateAudioOverview::Setup()
{
    mFile = FileOf(*mAsset);
    if (!mFile)
        throw std::runtime_error("the file of " + mAsset->GetName() + " is not there");
    mFile->Open(Cmn_Store::eOpenFlag_OpenForRead);
    const FF_AudioFile::Properties properties = mFile->GetProperties();
    if (properties.mBitDepth != 8 && properties.mBitDepth != 16 && properties.mBitDepth != 24)
        throw std::runtime_error("overviews are made of 8, 16 and 24-bit audio, not " +
                                 std::to_string(properties.mBitDepth) + "-bit");
    mNumSamples = properties.mNumSamples;
    mOverview = FF_AudioOverviewMgr::Allocate(properties.mNumSamples);
    if (properties.mNumSamples == 0)
        return;
    const int32_t channels = properties.mNumChannels;
    const int32_t samplesPerBlock =
        std::max(1024, std::min(FF_AudioOverviewUtils::cSamplesPerBlock, 262144 / channels));
    const int32_t processBlockSize = samplesPerBlock * 3 * channels;
    const int32_t readBlockSize = 4 * samplesPerBlock * properties.mBytesPerSample * channels;
    mChain.Reset(new FF_AudioProcessChain);
    mChain->SetDescription(GetStatusMessage());
    mChain->Append(FF_AudioProcess::ProcessHandle(
        new FF_AudioProcessReadFiles({mFile}, {Cmn_Interval(0, properties.mNumSamples)}, 0, false,
                                     processBlockSize, readBlockSize)));
    if (channels > 1)
        mChain->Append(
            FF_AudioProcess::ProcessHandle(new FF_AudioProcessMixer(int16_t(channels), 1)));
    mChain->Append(FF_AudioProcess::ProcessHandle(new FF_AudioProcessDecimateWaveform(
        FF_AudioOverview::cSamplesPerPoint, {FF_AudioOverview::LockingRef(mOverview)})));
    mBlocker = std::make_unique<Sys_ProcessBlockerImpl>();
    FF_AudioProcessUtils::SetupManualProcessChain(mChain.Get(), mBlocker.get());
}

bool BDM_CalculateAudioOverview::Load()
{
    if (!mFile)
        Setup();
    if (mChain)
    {
        bool done = false;
        try
        {
            done = FF_AudioProcessUtils::RunProcessChainForSlice(mChain.Get(), cSliceMilliseconds);
        }
        catch (...)
        {
            Abort();
            throw;
        }
        const int64_t now = done ? mNumSamples : mNumSamples * mChain->GetPercentCompleted() / 100;
        if (now > mReported)
        {
            UpdateUnitsCompleted(now - mReported);
            mReported = now;
        }
        if (!done)
            return false;
        if (mChain->GetStatus() == Sys_Task::eStatus_Aborted)
            throw Cmn_CancelException();
    }
    Finish();
    return true;
}

void BDM_CalculateAudioOverview::Finish()
{
    // The post-process: into the cache of the volume, then to the attribute's observers.
    FF_AudioOverviewCache& cache = BDM_Globals::Instance()->OverviewCache(mFile->GetFileLoc());
    cache.Add(mFile.Get(), mOverview);
    mChain.Reset();
    mBlocker.reset();
    if (mFile->IsOpen())
        mFile->Close();
    if (BDM_Attribute* attributeP = mAsset->GetAttribute(Tags().cAudioOverview))
        static_cast<BDM_TypedAttribute<FF_AudioOverview::LockingRef>*>(attributeP)
            ->Set(FF_AudioOverview::LockingRef(mOverview));
}

void BDM_CalculateAudioOverview::Abort()
{
    if (mChain)
    {
        FF_AudioProcessUtils::AbortManualProcessChain(mChain.Get());
        mChain.Reset();
    }
    mBlocker.reset();
    if (mFile && mFile->IsOpen())
        mFile->Close();
}

void BDM_CalculateAudioOverview::CancelLoadingPrivate(bool iAlsoGroups)
{
    Abort();
    mFile.Reset();
    BDM_LazyObject::CancelLoadingPrivate(iAlsoGroups);
}
