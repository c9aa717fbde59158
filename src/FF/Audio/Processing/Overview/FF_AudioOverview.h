// A waveform overview of one channel: two signed bytes (max, min) per 256 samples.
//
// Payload. Point i covers samples 256 i to 256 i + 255; byte 0 is the greatest sample of
// the group, byte 1 the smallest, each reduced to its top 8 bits by magnitude: sign times
// (absolute value shifted right by bits - 8), so it rounds towards zero (ReduceSample). A
// channel of n samples takes 2 * ((n + 255) / 256) bytes (GetPayloadSize). No header.
//
// FF_AudioOverview is a value: a counted reference to an FF_AudioOverviewStore, or null.
// Copies share the store (and its bytes). FF_AudioOverview::LockingRef holds one lock on the
// store for as long as any copy of it lives: copying a LockingRef shares that one lock.
//
// Threads: see FF_AudioOverviewStore (counts are guarded; the bytes belong to one writer
// until it is done).
#pragma once

#include <cstdint>
#include <memory>

#include "FF/Audio/Processing/Overview/FF_AudioOverviewStore.h"

class FF_AudioOverview
{
public:
    class LockingRef;
    using StoreRef = Cmn_AliasedRefCountPtr<FF_AudioOverviewStore, FF_AudioOverviewStore*,
                                            FF_AudioOverviewStoreRefHack>;

    static constexpr int32_t cSamplesPerPoint = 256;

    // The null overview: no store, size 0.
    FF_AudioOverview() = default;
    // Shares iStoreP (which may be null).
    explicit FF_AudioOverview(FF_AudioOverviewStore* iStoreP) : mStore(iStoreP) {}

    bool IsNull() const { return !mStore; }
    // Bytes of the payload; 0 for the null overview.
    int32_t GetSize() const { return mStore ? mStore->GetSize() : 0; }
    int32_t GetNumPoints() const { return GetSize() / 2; }
    // The bytes; null for the null overview, an empty one, or a purged one.
    int8_t* GetBuffer() const { return mStore ? mStore->GetBuffer() : nullptr; }
    // Whether the overview has all of its bytes (true for an empty, non-null overview).
    bool HasBytes() const { return mStore && (mStore->GetSize() == 0 || mStore->GetBuffer()); }

    // Assert "mStore".
    void Lock() const;
    void Unlock() const;
    int32_t GetLockCount() const { return mStore ? mStore->GetLockCount() : 0; }
    FF_AudioOverviewStore* GetStore() const { return mStore.Get(); }

    // The same store.
    bool operator==(const FF_AudioOverview& iOther) const { return mStore == iOther.mStore; }

    // ---- the payload rule --------------------------------------------------------------
    // iValue of an iBits sample (8 to 32) reduced to a signed byte by magnitude.
    static int8_t ReduceSample(int32_t iValue, int32_t iBits)
    {
        const int32_t shift = iBits - 8;
        const uint32_t magnitude = iValue < 0 ? 0u - uint32_t(iValue) : uint32_t(iValue);
        const int32_t reduced = int32_t(magnitude >> shift);
        return int8_t(iValue < 0 ? -reduced : reduced);
    }
    // Bytes of the overview of iNumSamples samples (0 for 0 or fewer).
    static int64_t GetPayloadSize(int64_t iNumSamples)
    {
        return iNumSamples > 0 ? 2 * ((iNumSamples + cSamplesPerPoint - 1) / cSamplesPerPoint) : 0;
    }

private:
    StoreRef mStore;
};

class FF_AudioOverview::LockingRef
{
public:
    // Holds nothing.
    LockingRef() = default;
    // Locks iOverview once; asserts "mStore" (no lock on the null overview).
    explicit LockingRef(const FF_AudioOverview& iOverview);

    explicit operator bool() const { return mHold != nullptr; }
    // The overview held; assert "mHold".
    const FF_AudioOverview& Get() const;
    const FF_AudioOverview* operator->() const { return &Get(); }
    // How many LockingRef values share this lock.
    int32_t GetShareCount() const { return int32_t(mHold.use_count()); }

private:
    struct Hold
    {
        explicit Hold(const FF_AudioOverview& iOverview) : mOverview(iOverview) {}
        ~Hold() { mOverview.Unlock(); }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;
        FF_AudioOverview mOverview;
    };
    std::shared_ptr<const Hold> mHold;
};
