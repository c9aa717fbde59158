// The meter map: time signatures of a session, ticks to bars, beats and ticks and back.
//
// Design note.
//   1. mChanges is sorted by tick, at most one change per tick. A tick before the first change
//      obeys the first change (bars count backwards from it, below its bar number).
//   2. Bar numbers: the first change carries its own bar number; every later change starts a
//      new bar, numbered one past the last bar that the previous meter began before it
//      (UpdateBarNumbers). A change that is not on a barline of the previous meter cuts that
//      bar short (mPrevIsPartial) and the cut bar keeps its number.
//   3. A map with no change of its own is the default map (IsDefault): every query answers as
//      the one Time_DefaultMeterMap (4/4, quarter-note click, bar 1 at Time_cDefaultOriginTick).
//      An edit that needs a change first copies that one in (MakeRealIfDefault).
//   4. Every edit tells the listeners eAboutToModify (the undo hook) before it changes
//      anything and eValueChanged after each single change; range operations broadcast through
//      the single changes they make.
//
// Ticks are internal ticks (960,000 to a quarter note); the map needs no tempo. Durations
// given as a Time_BarBeatTick count bars and beats from 0 (0|0|0 is no time at all).
// Not copyable except through ReplaceWith and operator=. Main thread only.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Cmn_Observable.h"
#include "Cmn_PolyVector.h"
#include "Time/Time_BarBeatTick.h"
#include "Time/Time_Meter.h"
#include "Time/Time_Types.h"

class Sys_StdStreamHeaderReader;
class Sys_TypedInStream;
class Sys_TypedOutStream;

struct Time_MeterChange
{
    Time_Tick mTick;             // where the meter takes effect
    Time_Meter mMeter;           // the meter from there on
    int32_t mBarNumber = 1;      // the bar that starts at mTick
    bool mPrevIsPartial = false; // the previous meter's last bar is cut short here
    Time_BarBeatTick mBBT;       // the display position of the change
};

struct Time_MeterMapMessage
{
    enum EKind
    {
        eAboutToModify,
        eValueChanged
    };
    EKind mKind;
};

// The undo state of a meter map: its saved form.
class Time_MeterMap_NdoState
{
public:
    explicit Time_MeterMap_NdoState(std::vector<uint8_t> iBytes) : mBytes(std::move(iBytes)) {}
    const std::vector<uint8_t>& GetBytes() const { return mBytes; }

private:
    std::vector<uint8_t> mBytes;
};

class Time_MeterMap
{
public:
    using ChangeList = Cmn_PolyVector<Time_MeterChange>;
    using ConstIter = const Time_MeterChange*;
    using ListenerList = Cmn_Observable<Time_MeterMapMessage>;

    // The saved block: tag "Meter", version 2 (version 1 is read too).
    static constexpr const char* cStreamTag = "Meter";
    static constexpr int16_t cStreamVersion = 2;

    Time_MeterMap() = default;
    virtual ~Time_MeterMap() = default;
    Time_MeterMap(const Time_MeterMap&) = delete;
    // ReplaceWith.
    Time_MeterMap& operator=(const Time_MeterMap& iOther);

    // ---- queries (a default map answers as Time_DefaultMeterMap) ----
    bool IsDefault() const { return mChanges.empty(); }
    // The meter in force at iTick; oChangeTick, if given, receives the tick of its change.
    const Time_Meter& GetMeterAtTick(Time_Tick iTick, Time_Tick* oChangeTick = nullptr) const;
    // The click interval in force at iTick, in ticks; oNextClickChangeTick receives the tick of
    // the next change whose click lasts another time, or the largest tick when there is none.
    Time_Tick GetClicksAtTick(Time_Tick iTick, Time_Tick* oNextClickChangeTick = nullptr) const;
    Time_BarBeatTick TickToBarBeat(Time_Tick iTick) const;
    Time_Tick BarBeatToTick(const Time_BarBeatTick& iBBT) const;
    Time_Tick GetTickOfLastChange() const;
    Time_Tick GetSongStartTick() const { return mSongStartTick; }
    int32_t GetSongStartBar() const { return TickToBarBeat(mSongStartTick).mBar; }
    ConstIter IterBegin() const { return Changes().begin(); }
    ConstIter IterEnd() const { return Changes().end(); }
    // The first change at or after iTick.
    ConstIter IterFindFirstGE(Time_Tick iTick) const;
    // iTick moved by a duration in bar and beat space, with the meters on the way; the ticks
    // of the duration are added last (and taken last by the subtraction).
    Time_Tick AddDurationToTick(Time_Tick iTick, const Time_BarBeatTick& iDuration) const;
    Time_Tick SubTrackDurationFromTick(Time_Tick iTick, const Time_BarBeatTick& iDuration) const;
    // Asserts "iStartTick <= iEndTick": the duration that AddDurationToTick adds to iStartTick
    // to reach iEndTick.
    Time_BarBeatTick ComputeDurationBetween(Time_Tick iStartTick, Time_Tick iEndTick) const;
    // Moves a position by whole beats, across bars, partial bars and meter changes. The ticks
    // of the position are kept; SubtractBeats asserts "iBBT.mTick==0".
    Time_BarBeatTick AdvanceByBeats(const Time_BarBeatTick& iBBT, int64_t iBeats) const;
    Time_BarBeatTick SubtractBeats(const Time_BarBeatTick& iBBT, int64_t iBeats) const;
    // The number of beats of bar iBar (fewer than the numerator in a cut bar).
    int64_t GetBeatsInBar(int32_t iBar) const;
    ListenerList& GetListenerList() { return mListeners; }

    // ---- edits ----
    // Asserts "this->IsDefault()".
    void AddInitialMeterChange(Time_Tick iTick, const Time_Meter& iMeter, int32_t iBar);
    // At iTick, with the bar that iTick lies in; a change at iTick is replaced, keeping its bar
    // number.
    void AddMeterChange(Time_Tick iTick, const Time_Meter& iMeter);
    void AddMeterChange(Time_Tick iTick, const Time_Meter& iMeter, int32_t iBar);
    void RemoveMeterChange(Time_Tick iTick);
    // Makes iMeter hold for the whole bar of iBBT.
    void ForceMeterAtBarBeat(const Time_BarBeatTick& iBBT, const Time_Meter& iMeter);
    void RenumberBars(int32_t iDelta);
    void SetSongStartTick(Time_Tick iTick);
    // Puts a change at the song start (the meter in force there) if there is none, and
    // renumbers so that the song start lies in bar iBar.
    void AddBackSongStartMeter(int32_t iBar);
    void ShiftAllMeterEventsByNumTicks(Time_Tick iTicks);
    void ShiftMeterChangesStartingAt(Time_Tick iTick, Time_Tick iDelta);
    void RealignExistingMeterChangesToBBT(Time_Tick iTick);
    void Clear();
    void ReplaceWith(const Time_MeterMap& iOther);

    // ---- range operations, on [start, end) ----
    void Copy(Time_MeterMap& oDest, Time_Tick iStart, Time_Tick iEnd) const;
    // iSuppressSongStartRepair: inside a larger operation that repairs the song start itself.
    void Delete(Time_Tick iStart, Time_Tick iEnd, bool iSuppressSongStartRepair = false);
    void Erase(Time_Tick iStart, Time_Tick iEnd, bool iSuppressSongStartRepair = false);
    void Paste(Time_Tick iStart, Time_Tick iEnd, const Time_MeterMap& iSource,
               bool iSuppressSongStartRepair = false);
    void DeleteTime(Time_Tick iStart, Time_Tick iEnd);
    // Asserts "iTicksToInsert > 0"; iSourceP may be null.
    void InsertTime(Time_Tick iAt, Time_Tick iTicksToInsert, const Time_MeterMap* iSourceP);

    // ---- saved form and undo ----
    void StreamOut(Sys_TypedOutStream& ioStream) const;
    // Reads a "Meter" block. Failures (L10N 14/28 for a negative count or a meter that cannot
    // be used, the header's and the stream's own) leave the map as it was.
    void StreamIn(Sys_TypedInStream& ioStream);
    std::unique_ptr<Time_MeterMap_NdoState> NdoGetState() const;
    void NdoRestoreState(const Time_MeterMap_NdoState& iState);

    // Whether a meter read from outside can be used: numerator 1 .. 1,000,000 and a beat of
    // at least one tick (denominator 1 .. 3,840,000).
    static bool IsUsableMeter(int32_t iNumerator, int32_t iDenominator);

protected:
    // The undo hook: tells the listeners that the map is about to change.
    virtual void NdoAboutToModify();
    void BroadcastValueChanged();
    void MakeRealIfDefault();
    // Renumbers the changes from index iFrom on (design note 2).
    void UpdateBarNumbers(size_t iFrom = 0);
    const ChangeList& Changes() const;

private:
    // The change that controls iTick (the first one for earlier ticks), as an index.
    size_t FindControlling(Time_Tick iTick) const;
    // The first barline at or after iTick, and the start of the bar that holds iTick.
    Time_Tick BarlineAtOrAfter(Time_Tick iTick) const;
    Time_Tick BarStartAt(Time_Tick iTick) const;
    // Moves a position by whole bars, keeping the beat inside the bar it lands in.
    Time_BarBeatTick AddBars(Time_BarBeatTick iBBT, int64_t iBars) const;
    // Enters iMeter at iTick unless it holds there already.
    void EnsureMeterAt(Time_Tick iTick, const Time_Meter& iMeter);
    void InsertChange(const Time_MeterChange& iChange);
    void EraseRange(Time_Tick iStart, Time_Tick iEnd);
    void ReadChanges(Sys_TypedInStream& ioStream, const Sys_StdStreamHeaderReader& iHeader,
                     ChangeList& oChanges, Time_Tick& oSongStart) const;

    ChangeList mChanges;
    Time_Tick mSongStartTick{Time_cDefaultOriginTick};
    ListenerList mListeners;
};

// The map of a session without meters of its own: 4/4 with a quarter-note click, bar 1 at
// Time_cDefaultOriginTick. Instance() is the one that default maps answer from.
class Time_DefaultMeterMap : public Time_MeterMap
{
public:
    Time_DefaultMeterMap();
    static const Time_DefaultMeterMap& Instance();
};
