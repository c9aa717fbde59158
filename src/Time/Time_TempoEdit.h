// Tempo editing: every user operation on a tempo map, keeping the map's invariants.
//
// Design note.
//   1. Time_TempoEdit holds only the map it edits (not owned). Each operation runs inside one
//      edit bracket of the map (Time_TempoMap_StEditOptimizer), so that listeners see one
//      change and the basic list is rebuilt once.
//   2. Two regimes: an "all changes" map (fewer than two locked segments: the song start and
//      tempo changes) and an "all IDB" map (every segment locked to a sample; tempos follow).
//      Each range operation exists in both forms; the public one dispatches on the regime. A
//      map in neither regime takes no range operation: the call fails the assertion "0" and
//      only the song start is restored.
//   3. The all-changes forms work on a Time_TempoList (tick, tempo), the all-IDB forms on a
//      Time_IDBList (tick, sample); each reads the map into its list, edits the list and
//      writes the map back from it (SetFromTempoList, SetFromIDBList).
//   4. Every range operation ends by restoring the song start (AddBackSongStart) at the tick
//      and sample it had before.
//   5. Range ends are Time_Typed of one type: ticks work on ticks directly; samples are mapped
//      to ticks through the map as it was before the change.
//
// Threads: main thread only (the map's edit bracket); sTempoLimits is read without a lock.
#pragma once

#include <cstdint>

#include "Cmn_PolyVector.h"
#include "Time_TempoMap.h"
#include "Time_Typed.h"

// ---- lists ------------------------------------------------------------------------------------

struct Time_TempoListEntry
{
    Time_Tick mStartTick;
    double mBeatsPerMinute = 120.0;
    Time_Tick mTicksPerBeat{Time_cInternalTicksPerQuarterNote};
    bool operator==(const Time_TempoListEntry&) const = default;
};

// Tempo entries sorted by tick, with the song start (which need not carry an entry).
class Time_TempoList : public Cmn_PolyVector<Time_TempoListEntry>
{
public:
    bool mHasSongStart = false;
    Time_Sample mSongStartSample;
    Time_Tick mSongStartTick;
};

struct Time_IDBListEntry
{
    bool mIsSongStart = false;
    Time_Sample mStartSample;
    Time_Tick mStartTick;
    Time_Tick mTicksPerBeat{Time_cInternalTicksPerQuarterNote};
    bool mIsComputed = false;
    bool operator==(const Time_IDBListEntry&) const = default;
};

// Identified beats (tick, sample) sorted by tick.
class Time_IDBList : public Cmn_PolyVector<Time_IDBListEntry>
{
};

// ---- tempo events -----------------------------------------------------------------------------

class Time_NewTempoEvent
{
public:
    Time_NewTempoEvent() = default;
    Time_NewTempoEvent(Time_Tick iStartTick, float iBeatsPerMinute,
                       Time_Tick iTicksPerBeat = Time_Tick(Time_cInternalTicksPerQuarterNote))
        : mStartTick(iStartTick), mBeatsPerMinute(iBeatsPerMinute), mTicksPerBeat(iTicksPerBeat)
    {
    }
    Time_Tick GetStartTick() const { return mStartTick; }
    Time_Typed GetStartTime() const { return Time_Typed(mStartTick); }
    void SetStartTime(Time_Tick iTick) { mStartTick = iTick; }
    float GetBeatsPerMinute() const { return mBeatsPerMinute; }
    Time_Tick GetTicksPerBeat() const { return mTicksPerBeat; }
    void SetTicksPerBeat(Time_Tick iTicksPerBeat) { mTicksPerBeat = iTicksPerBeat; }

private:
    Time_Tick mStartTick;
    float mBeatsPerMinute = 120.0f;
    Time_Tick mTicksPerBeat{Time_cInternalTicksPerQuarterNote};
};

// The product of a tempo operation: events sorted by tick, at most one per tick, and the tick
// range [start, end] that they replace.
class Time_NewTempoEvents : public Cmn_PolyVector<Time_NewTempoEvent>
{
public:
    void SetEventRange(Time_Tick iStart, Time_Tick iEnd)
    {
        mRangeStart = iStart;
        mRangeEnd = iEnd;
    }
    void GetEventRange(Time_Tick* oStart, Time_Tick* oEnd) const
    {
        *oStart = mRangeStart;
        *oEnd = mRangeEnd;
    }
    // The event at exactly iTick, or null.
    const Time_NewTempoEvent* GetTempoEventAtTick(Time_Tick iTick) const;
    // Replaces an event at the same tick; drops one whose tempo repeats the one before it
    // (unless that one stands at the same tick).
    void AddTempoEvent(const Time_NewTempoEvent& iEvent);
    // Keeps the events with tick in [iStart, iEnd).
    void ClearOutsideOfRange(Time_Tick iStart, Time_Tick iEnd);
    // Drops the events after iTime.
    void ClearAfterTime(Time_Tick iTime);
    // A quantum of 0 gives the time as a tick. Asserts "size() > 0". A time in samples is
    // taken to ticks at the last event's tempo and iSampleRate; with one event the tick is
    // moved up to the next multiple of iQuantum counted from that event.
    Time_Tick NextQuantizedTick(Time_Typed iTime, Time_Tick iQuantum,
                                double iSampleRate = 44100.0) const;

private:
    Time_Tick mRangeStart, mRangeEnd;
};

// ---- the editor -------------------------------------------------------------------------------

class Time_TempoEdit
{
public:
    enum EAnchorMode
    {
        eAnchorMode_All = 0,
        eAnchorMode_ExcludeCopyAnchors = 1
    };
    // The sample range into which a locked segment may move.
    struct MoveIDBConstraints
    {
        Time_Sample mMinSample;
        Time_Sample mMaxSample;
    };

    explicit Time_TempoEdit(Time_TempoMap* ioMapP) : mMapP(ioMapP) {}

    // The process-wide limits (5, 500 quarter notes and 5, 999 beats per minute at start).
    static Time_TempoLimits* GetTempoLimits() { return &sTempoLimits; }

    // ---- queries ----
    bool IsEmpty() const { return IsEmpty(mMapP); }
    bool IsAllChanges() const { return IsAllChanges(mMapP); }
    bool IsAllIDB() const { return IsAllIDB(mMapP); }
    static bool IsEmpty(const Time_TempoMap* iMapP);
    static bool IsAllChanges(const Time_TempoMap* iMapP);
    static bool IsAllIDB(const Time_TempoMap* iMapP);
    // Asserts "oListP" and "iMapP". One entry per fully specified segment; a first segment
    // that is not fully specified is reported through the two optional outputs instead.
    static void GetTempoList(Time_TempoList* oListP, Time_TempoMap* iMapP,
                             bool* oFirstUnspecified = nullptr,
                             Time_TempoListEntry* oFirstEntry = nullptr);
    // One entry per locked segment; eAnchorMode_ExcludeCopyAnchors leaves out copy anchors.
    static void GetIDBList(Time_IDBList* oListP, Time_TempoMap* iMapP,
                           EAnchorMode iMode = eAnchorMode_All);
    static void SetFromTempoList(Time_TempoMap* ioMapP, const Time_TempoList& iList);
    static void SetFromIDBList(Time_TempoMap* ioMapP, const Time_IDBList& iList);
    void GetMoveIDBConstraints(MoveIDBConstraints* oConstraints, Time_Tick iTick);
    int64_t MinSampleDistanceForIDBTickDistance(Time_Tick iTicks, Time_Tick iTicksPerBeat) const;
    int64_t MaxSampleDistanceForIDBTickDistance(Time_Tick iTicks, Time_Tick iTicksPerBeat) const;
    static double LimitTempoValue(double iBeatsPerMinute, Time_Tick iTicksPerBeat)
    {
        return sTempoLimits.LimitTempoValue(iBeatsPerMinute, iTicksPerBeat);
    }

    // ---- single edits ----
    void SetDefaultMap();
    void InsertChange(Time_Tick iTick, double iBeatsPerMinute, Time_Tick iTicksPerBeat);
    void DeleteChange(Time_Tick iTick);
    void AddIDB(Time_Tick iTick, Time_Sample iSample, bool iKeep = true);
    // Asserts "iTick1 < iTick2" and "iSample1 < iSample2".
    void AddIDBPair(Time_Tick iTick1, Time_Sample iSample1, Time_Tick iTick2, Time_Sample iSample2);
    void DeleteIDB(Time_Tick iTick);
    // Asserts "iter != mMapP->SegmentEnd()" and "(*iter)->IsLockedToSample()".
    void MoveIDB(Time_Tick iTick, Time_Sample iSample);
    void MoveTempoEvent(Time_Tick iTick, Time_Typed iNewTime);
    // Asserts "iStartTick <= iEndTick"; erases the segments in [start, end].
    void DeleteTempoEvent(Time_Tick iStartTick, Time_Tick iEndTick);
    void EraseEvents(Time_Tick iStart, Time_Tick iEnd)
    {
        DeleteTempoEvent(iStart, iEnd - Time_Tick(1));
    }
    // The events must not be empty ("!iEvents.empty()").
    void AddTempoChangeRange(const Time_NewTempoEvents& iEvents);
    void AddBackSongStart(Time_Tick iTick, Time_Sample iSample);
    void SpecifySongStartTempo();
    void RedesignateSongStartMarker(Time_Tick iTick);
    void ConvertAllToIDB() { ConvertAllToIDB(Time_Sample(0), false); }
    void ConvertAllToIDB(Time_Sample iSample, bool iAddClosing);
    void ConvertClipToIDB(Time_Sample iClipEnd);
    void ConvertAllToChanges();

    // ---- range operations (start and end of one type) ----
    // Asserts "oDestP" and "iStartTick <= iEndTick". The copy starts at tick 0, sample 0.
    void Copy(Time_TempoMap* oDestP, Time_Tick iStartTick, Time_Tick iEndTick);
    // Replaces [start, end) by the source (not changed; converted in a copy to this map's
    // regime), whose first segment lands at start; the tempo in force at end goes on after
    // it, unless end is the largest tick (open). Start equal to end does nothing; asserts
    // "iStartTime <= iEndTime".
    void Paste(Time_Typed iStart, Time_Typed iEnd, Time_TempoMap* iSourceP);
    // Removes [start, end): later events move back by its length (and, in an IDB map, by its
    // samples). An empty range does nothing and opens no edit; asserts
    // "iStart.AsInt64() <= iEnd.AsInt64()".
    void DeleteTime(Time_Typed iStart, Time_Typed iEnd);
    // Moves the events after iAt later by iLength, at the tempo in force at iAt; in an IDB
    // map the inserted span is pinned by identified beats at both of its ends. A length that
    // is not positive does nothing. With a source, the source is then pasted there.
    void InsertTime(Time_Typed iAt, Time_TypedLength iLength, Time_TempoMap* iSourceP = nullptr);
    // Moves the events of [start, end) by iAmount; the tempo of the events it covers goes
    // on at the edge of the moved range that faces them.
    void Nudge(Time_Typed iStart, Time_Typed iEnd, Time_TypedLength iAmount);
    // Removes the tempo events of [start, end): the tempo at start holds to end (in an IDB
    // map, identified beats at start and end keep their samples). Asserts
    // "iStartTime <= iEndTime".
    void Erase(Time_Typed iStart, Time_Typed iEnd);

private:
    Time_TempoMap::SegmentIter FindAt(Time_Tick iTick);
    void ConvertSegmentToComputed(Time_TempoMap::SegmentIter iIter);
    void ConvertSegmentToUncomputed(Time_TempoMap::SegmentIter iIter);
    void ConvertSegmentToUnlocked(Time_TempoMap::SegmentIter iIter);
    void FindSurroundingIDBs(Time_Tick iTick, Time_TempoMap::SegmentIter* oLeft,
                             Time_TempoMap::SegmentIter* oRight,
                             Time_TempoMap::SegmentIter* oComputed);
    double CalculateQuartersPerMinute(double iSamples, double iTicks) const;
    Time_Tick ToTick(Time_Typed iTime);
    Time_Sample ToSample(Time_Typed iTime);
    void BuildIDBList(Time_IDBList* oListP, Time_Sample iClosing, bool iAddClosing,
                      bool iClipClosing);

    // The range frame: one bracket; the song start is noted, the form of the map's regime
    // runs, and the song start is restored. Asserts "songStartIter != mMapP->SegmentEnd()",
    // and "0" for a map in neither regime.
    template <class ChangesOp, class IDBOp> void RangeFrame(ChangesOp iChanges, IDBOp iIDB);

    void AllChangesDeleteTime(Time_Tick iStart, Time_Tick iEnd);
    void AllChangesInsertTime(Time_Tick iAt, Time_Tick iTicks);
    void AllChangesNudge(Time_Tick iStart, Time_Tick iEnd, Time_Tick iAmount);
    void AllChangesErase(Time_Tick iStart, Time_Tick iEnd);
    void AllChangesPasteTick(Time_Tick iStart, Time_Tick iEnd, Time_TempoMap* iSourceP);
    void AllChangesCopy(Time_TempoMap* oDestP, Time_Tick iStart, Time_Tick iEnd);
    void AllIDBDeleteTime(Time_Tick iStart, Time_Tick iEnd, Time_Sample iStartSample,
                          Time_Sample iEndSample);
    void AllIDBInsertTime(Time_Tick iAt, Time_Tick iTicks, Time_Sample iSamples);
    void AllIDBNudge(Time_Tick iStart, Time_Tick iEnd, Time_Tick iAmount);
    void AllIDBErase(Time_Tick iStart, Time_Tick iEnd);
    void AllIDBPasteTick(Time_Tick iStart, Time_Tick iEnd, Time_TempoMap* iSourceP);
    void AllIDBCopy(Time_TempoMap* oDestP, Time_Tick iStart, Time_Tick iEnd);

    Time_TempoMap* mMapP;
    static Time_TempoLimits sTempoLimits;
};
