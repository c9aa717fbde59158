// The tempo map: ticks to samples and back.
//
// Design note.
//   1. mSegments (owned Time_TempoMapSegment objects) is what the user edited and what is
//      saved: sorted by start tick, at most one segment per tick.
//   2. The basic list (Time_BasicTempoMap) is derived from mSegments by
//      UpdateBasicMapIfNeeded; every conversion runs on it, by binary search (logarithmic in
//      the number of segments). Its ticks and fractional samples rise, and adjacent segments
//      join where the earlier one's line meets the later one's start.
//   3. Regimes: with fewer than two locked segments the map is "all changes" (positions in
//      samples follow from tempos); with every segment locked it is "all IDB" (tempos follow
//      from positions). Between two locked neighbours exactly one segment is computed: it
//      absorbs the difference; outside two locked segments no segment is computed.
//   4. Once EnsureSongStart has run, exactly one locked segment is the song start.
//   5. States of the basic list: clean (read lock free, count 1) -> dirty (DirtyBasicMap took
//      the read lock) -> updating -> clean (UpdateBasicMapIfNeeded posts the read lock). A
//      fresh map is dirty with the read lock at 0.
//   6. An edit is bracketed: NdoAboutToModify, ++mEditCount, change, DirtyBasicMap, EndEdit;
//      the EndEdit that brings the count to 0 rebuilds and broadcasts eValueChanged.
//
// Threads: every edit and conversion runs on the main thread, except that another thread may
// convert while it holds the read lock (TryToAcquireReadLock .. ReleaseReadLock).
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <vector>

#include "Cmn_Observable.h"
#include "Cmn_PolymorphicHandle.h"
#include "Time_TempoMapSegment.h"

#include "Cmn_PolyVector.h"

class Sys_Semaphore;
class Time_TempoMap;
class Time_Typed;

// What the map tells its listeners: the start of an edit (the undo hook, before the edit
// count rises) and the end of the outermost edit (after the basic list is rebuilt).
struct Time_TempoMapMessage
{
    enum EKind
    {
        eAboutToModify,
        eValueChanged
    };
    EKind mKind;
    int32_t mEditCount;
};

// The undo state of a map: its saved form and its sample rate. A stand-in for the
// application's undo framework: NdoGetState takes one, NdoRestoreState puts it back inside one
// edit bracket, so that the listeners see the restore as any other edit.
class Time_TempoMap_NdoState
{
public:
    Cmn_PolyVector<unsigned char> mData;
    double mSampleRate = 0.0;
};

class Time_TempoMap
{
public:
    using SegmentList = std::vector<Time_TempoMapSegment::Ptr>;
    using SegmentIter = SegmentList::iterator;
    using ListenerList = Cmn_Observable<Time_TempoMapMessage>;

    struct LengthConstraints
    {
        double mMinimum = 0.0;
        double mMaximum = 0.0;
        bool mIsFixed = false;
        bool mIsUnconstrained = false;
    };

    Time_TempoMap();
    virtual ~Time_TempoMap();
    Time_TempoMap(const Time_TempoMap&) = delete;

    // ---- conversions (each may rebuild the basic list first) ----
    Time_Sample TickToSample(Time_Tick iTick);
    Time_Tick SampleToTick(Time_Sample iSample);
    // The first sample that rounds to iTick, and the first tick that rounds to iSample.
    Time_Sample TickToFirstSample(Time_Tick iTick);
    Time_Tick SampleToFirstTick(Time_Sample iSample);
    Time_Sample NextTickToSample(Time_Tick iTick);
    Time_Tick NextSampleToTick(Time_Sample iSample);
    double TickToFractionalSample(Time_Tick iTick);
    // Monotone walks for the first-value forms (constant time while the value stays in the
    // cursor's or the next segment); one thread at a time, as the other Next forms.
    Time_Sample NextTickToFirstSample(Time_Tick iTick);
    Time_Tick NextSampleToFirstTick(Time_Sample iSample);

    // ---- typed conversions (Time_TempoMapConvert.cpp) ----
    // A value of another type than samples and ticks asserts "false" and gives 0 (of the
    // wanted type for the ...ToSpecifiedType forms).
    Time_Sample TimeTypedToSample(const Time_Typed& iTime);
    Time_Tick TimeTypedToTick(const Time_Typed& iTime);
    Time_Typed TimeTypedToSpecifiedType(const Time_Typed& iTime, Time_EType iType);
    Time_Typed SampleToSpecifiedType(Time_Sample iSample, Time_EType iType);
    Time_Typed TickToSpecifiedType(Time_Tick iTick, Time_EType iType);
    // The rates of the basic segment found by the reference value, used unchanged even for a
    // value outside that segment.
    Time_Sample TickToSampleBasedOnReferenceTempoAtTick(Time_Tick iTick, Time_Tick iReferenceTick);
    Time_Tick SampleToTickBasedOnReferenceTempoAtTick(Time_Sample iSample,
                                                      Time_Tick iReferenceTick);
    Time_Tick SampleToTickBasedOnReferenceTempoAtSample(Time_Sample iSample,
                                                        Time_Sample iReferenceSample);
    // Over the basic segments from the one that controls iStart up to iEnd.
    double GetMaxTicksPerSample(Time_Tick iStart, Time_Tick iEnd);
    double GetMinTicksPerSample(Time_Tick iStart, Time_Tick iEnd);
    // ---- end of typed conversions ----

    // ---- queries ----
    Time_Tick GetSongStartTick();
    Time_Sample GetSongStartSample();
    Time_Tick GetSessionStartTick();
    double GetSampleRate() const { return mBasicMap.GetSampleRate(); }
    Time_Sample GetMaxSample();
    size_t GetNumberOfSegments() const { return mSegments.size(); }
    SegmentIter SegmentBegin() { return mSegments.begin(); }
    SegmentIter SegmentEnd() { return mSegments.end(); }
    SegmentIter FindSegment(Time_Tick iTick);
    SegmentIter FindControllingSegment(Time_Tick iTick);
    SegmentIter FindSongStart();
    bool IsAllChanges();
    bool IsAllIDB();
    bool IsNumberOfLockedSegmentsLessThan(int32_t iCount) const;
    // The effective tempo at iTick (computed segments included).
    void GetTempoAtTick(double* oBeatsPerMinute, Time_Tick* oTicksPerBeat, Time_Tick iTick);
    // Lower bound by TickToSample of each segment's tick.
    SegmentIter FindSegmentBySample(Time_Sample iSample);
    // The stated tempos of the segments from the one controlling iStart while their tick is
    // below iEnd; *oMax starts at 0.0 and *oMin at 1,000,000.0.
    void GetMaxMinBPM(Time_Tick iStart, Time_Tick iEnd, double* oMax, double* oMin);
    // Whether the segments from iFirst to the locked iLast, generated on a basic list of
    // their own, leave iComputed a positive tempo; a span with no room at all (the locked
    // samples not rising) is false too. The derived tempos are written into the segments, as
    // a rebuild writes them; the map's own basic list is not touched.
    bool ValidateBetweenIDBs(SegmentIter iFirst, SegmentIter iLast, SegmentIter iComputed);
    // No checks in this form of the map.
    void ValidateSegs() {}
    void GetLengthConstraintsForRange(LengthConstraints* oConstraints, Time_Tick iStart,
                                      Time_Tick iEnd, const Time_TempoLimits& iLimits);
    const Time_BasicTempoMap& GetBasicMap();
    ListenerList& GetListenerList() { return mListeners; }

    // ---- edits (main thread) ----
    // Asserts "0 != iSegmentP.get()"; replaces a segment at the same tick.
    void AddSegment(Time_TempoMapSegment::Ptr iSegmentP);
    void DeleteSegment(SegmentIter iIter);
    void Clear();
    // Erases [iFirst, iLast), or the segments with start tick in [iStart, iEnd).
    void EraseSegments(SegmentIter iFirst, SegmentIter iLast);
    void EraseSegments(Time_Tick iStart, Time_Tick iEnd);
    // Among the locked segments, the run from the first whose sample is at least iStart up to
    // the last whose sample is below iEnd, with the unlocked segments inside the run.
    void EraseLockedSegmentsBySample(Time_Sample iStart, Time_Sample iEnd);
    // Becomes a copy of iOther (segments cloned, sample rate taken); listeners stay.
    void ReplaceWith(const Time_TempoMap& iOther);
    Time_TempoMap& operator=(const Time_TempoMap& iOther);
    // Moves every locked segment by iSamples (ticks stay).
    void Offset(Time_Sample iSamples);
    void TransformSamples(const Time_SampleTransform& iTransform);
    void SetSampleRate(double iSampleRate);
    void FixUpComputedFlagsAroundTick(Time_Tick iTick);
    // Makes sure a locked song start exists; true when one had to be supplied.
    bool EnsureSongStart();
    void BeginEdit();
    // Asserts "mEditCount > 0".
    void EndEdit();
    // The "Tempo" block. A read that fails (L10N: 14/28 negative count, 14/38 unknown segment
    // type, the header's and stream's own) leaves the map as it was. A map that reads but whose
    // locked segments leave no room fails an assertion in the rebuild, with the new segments
    // in place and the basic list dirty.
    void StreamIn(Sys_TypedInStream& ioStream);
    void StreamOut(Sys_TypedOutStream& ioStream) const;

    // ---- undo ----
    std::unique_ptr<Time_TempoMap_NdoState> NdoGetState() const;
    // Reads the state back (StreamIn) and takes its sample rate, in one edit bracket. A state
    // that does not read fails as StreamIn does and leaves the map as it was.
    void NdoRestoreState(const Time_TempoMap_NdoState& iState);

    // Rebuilds the basic list if it is dirty and not being rebuilt.
    void UpdateBasicMapIfNeeded();

    // ---- readers on other threads ----
    // Non-blocking; false while the basic list is dirty or being replaced.
    bool TryToAcquireReadLock();
    void ReleaseReadLock();

    static void SetTraceStream(std::ostream* iStreamP)
    {
        Time_BasicTempoMap::SetTraceStream(iStreamP);
    }

protected:
    // The undo hook: tells the listeners that the map is about to change.
    virtual void NdoAboutToModify();

private:
    void DirtyBasicMap();
    SegmentIter ComputeBackwardsTo(Time_BasicTempoMap& ioBasic, SegmentIter iTargetIter);
    void ComputeBackwardsCore(Time_BasicTempoMap& ioBasic, SegmentIter iFirst, SegmentIter iLast);
    void RecomputeBetweenIDBs(Time_BasicTempoMap& ioBasic, SegmentIter iFirst, SegmentIter iLast);
    void EnsureExactlyOneComputedSegmentInRange(SegmentIter iLeft, SegmentIter iRight);
    void ClearComputedFlagsInRange(SegmentIter iLeft, SegmentIter iRight);
    static void InsertSorted(SegmentList& ioList, Time_TempoMapSegment::Ptr iSegmentP);

    Time_Tick mSongStartTick{Time_cDefaultOriginTick};
    Time_Sample mSongStartSample;
    Time_Tick mSessionStartTick{Time_cDefaultOriginTick};
    bool mIsAllChanges = true;
    bool mIsAllIDB = false;
    Time_BasicTempoMap mBasicMap;
    bool mUpdating = false;
    bool mBasicMapDirty = true;
    SegmentList mSegments;
    int32_t mEditCount = 0;
    Cmn_PolymorphicHandle<Sys_Semaphore> mReadLock;
    bool mSongStartSupplied = false;
    ListenerList mListeners;
};

// Brackets a compound edit so that the basic list is rebuilt once. The closing EndEdit may fail
// an assertion while rebuilding (a map whose locked segments leave no room): that failure
// leaves the destructor, unless the bracket is closed by another exception, which then wins.
class Time_TempoMap_StEditOptimizer
{
public:
    explicit Time_TempoMap_StEditOptimizer(Time_TempoMap& ioMap)
        : mMap(ioMap), mUncaught(std::uncaught_exceptions())
    {
        mMap.BeginEdit();
    }
    ~Time_TempoMap_StEditOptimizer() noexcept(false)
    {
        if (std::uncaught_exceptions() <= mUncaught)
            mMap.EndEdit();
        else
            try
            {
                mMap.EndEdit();
            }
            catch (...)
            {
            }
    }
    Time_TempoMap_StEditOptimizer(const Time_TempoMap_StEditOptimizer&) = delete;
    Time_TempoMap_StEditOptimizer& operator=(const Time_TempoMap_StEditOptimizer&) = delete;

private:
    Time_TempoMap& mMap;
    int mUncaught;
};
