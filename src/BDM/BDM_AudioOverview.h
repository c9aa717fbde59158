// Waveform overviews in the browser: the attribute that finds an audio asset's overview,
// and the background task that computes a missing one.
//
// The attribute never starts a calculation. It looks, in order, in the overview cache of the
// asset's volume (BDM_Globals::OverviewCache) under the file's key, then under the key
// without the file's unique ID, then in the file itself when its format embeds overviews.
// What it finds it keeps; BDM_CalculateAudioOverview sets it when it has computed one,
// which tells the attribute's observers (and through the asset, the browser).
//
// BDM_CalculateAudioOverview runs the overview chain by hand, one slice per load step, so
// that the queue's 30 ms slices stay short: the first step sets the chain up, every step
// runs it for a slice and reports the samples done, the last one stores the overview in the
// cache (its post-process). A cancel aborts the chain.
// Threads: the thread that drives the queue.
#pragma once

#include <memory>

#include "BDM/BDM_Asset.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverview.h"

class FF_AudioProcessChain;
class Sys_ProcessBlockerImpl;

class BDM_AudioAssetOverviewAttribute
    : public BDM_TypedCachedAttribute<FF_AudioOverview::LockingRef>
{
public:
    explicit BDM_AudioAssetOverviewAttribute(BDM_Asset& iAsset);
    using BDM_TypedCachedAttribute::GetValue;
    bool GetValue(FF_AudioOverview::LockingRef* oValueP) const override;
    bool IsSet() const override;

private:
    BDM_Asset* mAssetP;
};

class BDM_CalculateAudioOverview : public BDM_LazyObject
{
public:
    // The milliseconds a load step runs the chain.
    static constexpr int32_t cSliceMilliseconds = 20;

    explicit BDM_CalculateAudioOverview(BDM_Asset& iAsset);
    ~BDM_CalculateAudioOverview() override;
    bool ShowInTaskManager() const override { return true; }
    // The overview once loaded.
    const FF_AudioOverview& GetOverview() const { return mOverview; }

protected:
    bool Load() override;
    void CancelLoadingPrivate(bool iAlsoGroups) override;

private:
    void Setup();
    void Finish();
    void Abort();

    BDM_AssetHandle mAsset;
    FF_AudioFileRef mFile;
    FF_AudioOverview mOverview;
    Cmn_PolymorphicHandle<FF_AudioProcessChain> mChain;
    std::unique_ptr<Sys_ProcessBlockerImpl> mBlocker;
    int64_t mNumSamples = 0;
    int64_t mReported = 0;
};
