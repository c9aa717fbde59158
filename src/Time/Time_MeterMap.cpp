#include "Time/Time_MeterMap.h"

#include <algorithm>

#include "Cmn_Assert.h"
#include "Cmn_MemBufferStream.h"
#include "L10N_ExceptionData.h"
#include "Sys_StdStreamHeader.h"
#include "Sys_TypedStream.h"

namespace
{
// a + b * c without overflow: the exact value clamped to the int64 range.
int64_t MulAdd(int64_t iA, int64_t iB, int64_t iC)
{
    const __int128 value = static_cast<__int128>(iA) + static_cast<__int128>(iB) * iC;
    if (value > INT64_MAX)
        return INT64_MAX;
    if (value < INT64_MIN)
        return INT64_MIN;
    return static_cast<int64_t>(value);
}

// Floor division for a positive divisor.
int64_t FloorDiv(int64_t iValue, int64_t iDivisor)
{
    return iValue >= 0 ? iValue / iDivisor : ~(~iValue / iDivisor);
}

const Time_Tick cLargestTick(Time_cMaxTickTime);
} // namespace

// ---- the default map -------------------------------------------------------------------------

Time_DefaultMeterMap::Time_DefaultMeterMap()
{
    AddInitialMeterChange(Time_Tick(Time_cDefaultOriginTick), Time_Meter(4, 4), 1);
}

const Time_DefaultMeterMap& Time_DefaultMeterMap::Instance()
{
    static const Time_DefaultMeterMap sInstance;
    return sInstance;
}

const Time_MeterMap::ChangeList& Time_MeterMap::Changes() const
{
    return IsDefault() ? Time_DefaultMeterMap::Instance().mChanges : mChanges;
}

bool Time_MeterMap::IsUsableMeter(int32_t iNumerator, int32_t iDenominator)
{
    return iNumerator >= 1 && iNumerator <= 1000000 && iDenominator >= 1 &&
           iDenominator <= Time_cInternalTicksPerWholeNote;
}

// ---- queries ---------------------------------------------------------------------------------

size_t Time_MeterMap::FindControlling(Time_Tick iTick) const
{
    const ChangeList& changes = Changes();
    const auto it =
        std::upper_bound(changes.begin(), changes.end(), iTick,
                         [](Time_Tick t, const Time_MeterChange& c) { return t < c.mTick; });
    return it == changes.begin() ? 0 : static_cast<size_t>(it - changes.begin()) - 1;
}

const Time_Meter& Time_MeterMap::GetMeterAtTick(Time_Tick iTick, Time_Tick* oChangeTick) const
{
    const Time_MeterChange& change = Changes()[FindControlling(iTick)];
    if (oChangeTick)
        *oChangeTick = change.mTick;
    return change.mMeter;
}

Time_Tick Time_MeterMap::GetClicksAtTick(Time_Tick iTick, Time_Tick* oNextClickChangeTick) const
{
    const ChangeList& changes = Changes();
    const size_t index = FindControlling(iTick);
    const Time_Tick click = changes[index].mMeter.GetClickInterval().GetTicks();
    if (oNextClickChangeTick)
    {
        *oNextClickChangeTick = cLargestTick;
        for (size_t i = index + 1; i < changes.size(); ++i)
            if (changes[i].mMeter.GetClickInterval().GetTicks() != click)
            {
                *oNextClickChangeTick = changes[i].mTick;
                break;
            }
    }
    return click;
}

Time_BarBeatTick Time_MeterMap::TickToBarBeat(Time_Tick iTick) const
{
    const Time_MeterChange& c = Changes()[FindControlling(iTick)];
    const int64_t barLength = c.mMeter.GetBarDuration().AsInt64();
    const int64_t numerator = c.mMeter.GetNumerator();
    // Ticks are valid ticks, so their difference does not overflow.
    const int64_t distance = (iTick - c.mTick).AsInt64();
    const int64_t wholeBars = FloorDiv(distance, barLength);
    const int64_t rest = distance - wholeBars * barLength;
    const int64_t beat =
        static_cast<int64_t>((static_cast<__int128>(rest + 1) * numerator - 1) / barLength) + 1;
    const int64_t ticks =
        rest - static_cast<int64_t>(static_cast<__int128>(beat - 1) * barLength / numerator);
    Time_BarBeatTick result(static_cast<int32_t>(c.mBarNumber + wholeBars),
                            static_cast<int32_t>(beat), Time_Tick(ticks));
    return result;
}

Time_Tick Time_MeterMap::BarBeatToTick(const Time_BarBeatTick& iBBT) const
{
    const ChangeList& changes = Changes();
    // Bar numbers rise with the ticks, so the changes are sorted by bar number too.
    auto it =
        std::upper_bound(changes.begin(), changes.end(), iBBT.mBar,
                         [](int32_t bar, const Time_MeterChange& c) { return bar < c.mBarNumber; });
    const Time_MeterChange& c = it == changes.begin() ? *it : *(it - 1);
    const int64_t bars = static_cast<int64_t>(iBBT.mBar) - c.mBarNumber;
    const int64_t start = MulAdd(c.mTick.AsInt64(), bars, c.mMeter.GetBarDuration().AsInt64());
    return Time_Tick(MulAdd(start, 1, c.mMeter.ComputeOffsetIntoBar(iBBT).AsInt64()));
}

Time_Tick Time_MeterMap::GetTickOfLastChange() const
{
    return Changes().back().mTick;
}

Time_MeterMap::ConstIter Time_MeterMap::IterFindFirstGE(Time_Tick iTick) const
{
    const ChangeList& changes = Changes();
    return std::lower_bound(changes.begin(), changes.end(), iTick,
                            [](const Time_MeterChange& c, Time_Tick t) { return c.mTick < t; });
}

Time_Tick Time_MeterMap::BarStartAt(Time_Tick iTick) const
{
    Time_BarBeatTick bbt = TickToBarBeat(iTick);
    return BarBeatToTick(Time_BarBeatTick(bbt.mBar, 1, Time_Tick(0)));
}

Time_Tick Time_MeterMap::BarlineAtOrAfter(Time_Tick iTick) const
{
    Time_BarBeatTick bbt = TickToBarBeat(iTick);
    if (bbt.IsOnBarline())
        return iTick;
    bbt.AdvanceToNextBarline();
    return BarBeatToTick(bbt);
}

int64_t Time_MeterMap::GetBeatsInBar(int32_t iBar) const
{
    const Time_Tick start = BarBeatToTick(Time_BarBeatTick(iBar, 1, Time_Tick(0)));
    const Time_Tick next = BarBeatToTick(Time_BarBeatTick(iBar + 1, 1, Time_Tick(0)));
    const int64_t beat = GetMeterAtTick(start).GetTicksPerBeat().AsInt64();
    const int64_t length = (next - start).AsInt64();
    return std::max<int64_t>(1, (length + beat - 1) / beat);
}

Time_BarBeatTick Time_MeterMap::AddBars(Time_BarBeatTick iBBT, int64_t iBars) const
{
    iBBT.mBar = static_cast<int32_t>(iBBT.mBar + iBars);
    iBBT.mBeat = static_cast<int32_t>(std::min<int64_t>(iBBT.mBeat, GetBeatsInBar(iBBT.mBar)));
    return iBBT;
}

Time_BarBeatTick Time_MeterMap::AdvanceByBeats(const Time_BarBeatTick& iBBT, int64_t iBeats) const
{
    Time_BarBeatTick pos = iBBT;
    const ChangeList& changes = Changes();
    while (iBeats > 0)
    {
        // Past the last change every bar is whole: step over whole bars at once.
        if (pos.mBar >= changes.back().mBarNumber)
        {
            const int64_t numerator = changes.back().mMeter.GetNumerator();
            const int64_t beat = pos.mBeat - 1 + iBeats;
            pos.mBar = static_cast<int32_t>(pos.mBar + beat / numerator);
            pos.mBeat = static_cast<int32_t>(beat % numerator + 1);
            return pos;
        }
        const int64_t left = GetBeatsInBar(pos.mBar) - pos.mBeat;
        if (iBeats <= left)
        {
            pos.mBeat = static_cast<int32_t>(pos.mBeat + iBeats);
            return pos;
        }
        iBeats -= left + 1;
        ++pos.mBar;
        pos.mBeat = 1;
    }
    return pos;
}

Time_BarBeatTick Time_MeterMap::SubtractBeats(const Time_BarBeatTick& iBBT, int64_t iBeats) const
{
    CMN_ASSERT_TEXT(iBBT.mTick.AsInt64() == 0, "iBBT.mTick==0");
    Time_BarBeatTick pos = iBBT;
    const ChangeList& changes = Changes();
    while (iBeats > 0)
    {
        // Before the first change, and after the last, every bar is whole.
        const bool before = pos.mBar < changes.front().mBarNumber;
        if (before || pos.mBar > changes.back().mBarNumber)
        {
            const int64_t numerator =
                (before ? changes.front() : changes.back()).mMeter.GetNumerator();
            const int64_t floorBar = before ? INT32_MIN : changes.back().mBarNumber;
            const int64_t beat = pos.mBeat - 1 - iBeats;
            const int64_t bars = FloorDiv(beat, numerator);
            if (pos.mBar + bars >= floorBar)
            {
                pos.mBar = static_cast<int32_t>(pos.mBar + bars);
                pos.mBeat = static_cast<int32_t>(beat - bars * numerator + 1);
                return pos;
            }
        }
        if (iBeats < pos.mBeat)
        {
            pos.mBeat = static_cast<int32_t>(pos.mBeat - iBeats);
            return pos;
        }
        iBeats -= pos.mBeat;
        --pos.mBar;
        pos.mBeat = static_cast<int32_t>(GetBeatsInBar(pos.mBar));
    }
    return pos;
}

Time_Tick Time_MeterMap::AddDurationToTick(Time_Tick iTick, const Time_BarBeatTick& iDuration) const
{
    Time_BarBeatTick pos = AddBars(TickToBarBeat(iTick), iDuration.mBar);
    pos = AdvanceByBeats(pos, iDuration.mBeat);
    return BarBeatToTick(pos) + iDuration.mTick;
}

Time_Tick Time_MeterMap::SubTrackDurationFromTick(Time_Tick iTick,
                                                  const Time_BarBeatTick& iDuration) const
{
    Time_BarBeatTick pos = TickToBarBeat(iTick);
    const Time_Tick ticks = pos.mTick;
    pos.mTick = Time_Tick(0);
    pos = SubtractBeats(AddBars(pos, -static_cast<int64_t>(iDuration.mBar)), iDuration.mBeat);
    return BarBeatToTick(pos) + ticks - iDuration.mTick;
}

Time_BarBeatTick Time_MeterMap::ComputeDurationBetween(Time_Tick iStartTick,
                                                       Time_Tick iEndTick) const
{
    CMN_ASSERT_TEXT(iStartTick <= iEndTick, "iStartTick <= iEndTick");
    const Time_BarBeatTick start = TickToBarBeat(iStartTick);
    int64_t bars = std::max<int64_t>(0, int64_t(TickToBarBeat(iEndTick).mBar) - start.mBar);
    while (bars > 0 && BarBeatToTick(AddBars(start, bars)) > iEndTick)
        --bars;
    Time_BarBeatTick pos = AddBars(start, bars);
    int64_t beats = 0;
    for (;;)
    {
        const Time_BarBeatTick next = AdvanceByBeats(pos, 1);
        if (BarBeatToTick(next) > iEndTick)
            break;
        pos = next;
        ++beats;
    }
    return Time_BarBeatTick(static_cast<int32_t>(bars), static_cast<int32_t>(beats),
                            iEndTick - BarBeatToTick(pos));
}

// ---- edits ---------------------------------------------------------------------------------

void Time_MeterMap::NdoAboutToModify()
{
    Time_MeterMapMessage message{Time_MeterMapMessage::eAboutToModify};
    mListeners.NotifyObservers(message);
}

void Time_MeterMap::BroadcastValueChanged()
{
    Time_MeterMapMessage message{Time_MeterMapMessage::eValueChanged};
    mListeners.NotifyObservers(message);
}

void Time_MeterMap::MakeRealIfDefault()
{
    if (!IsDefault())
        return;
    const Time_MeterChange& first = Time_DefaultMeterMap::Instance().mChanges.front();
    AddInitialMeterChange(first.mTick, first.mMeter, first.mBarNumber);
}

void Time_MeterMap::UpdateBarNumbers(size_t iFrom)
{
    for (size_t i = iFrom; i < mChanges.size(); ++i)
    {
        Time_MeterChange& change = mChanges[i];
        if (i == 0)
        {
            change.mPrevIsPartial = false;
            continue;
        }
        const Time_MeterChange& prev = mChanges[i - 1];
        const int64_t barLength = prev.mMeter.GetBarDuration().AsInt64();
        const int64_t bars = (change.mTick - prev.mTick - Time_Tick(1)).AsInt64() / barLength;
        change.mBarNumber = static_cast<int32_t>(prev.mBarNumber + bars + 1);
        change.mBBT = Time_BarBeatTick(change.mBarNumber, 1, Time_Tick(0));
        change.mPrevIsPartial =
            prev.mTick.AsInt64() + (bars + 1) * barLength != change.mTick.AsInt64();
    }
}

void Time_MeterMap::InsertChange(const Time_MeterChange& iChange)
{
    auto it = std::lower_bound(mChanges.begin(), mChanges.end(), iChange.mTick,
                               [](const Time_MeterChange& c, Time_Tick t) { return c.mTick < t; });
    if (it != mChanges.end() && it->mTick == iChange.mTick)
    {
        const int32_t bar = it->mBarNumber;
        const bool partial = it->mPrevIsPartial;
        *it = iChange;
        it->mBarNumber = bar;
        it->mPrevIsPartial = partial;
    }
    else
        it = mChanges.insert(it, iChange);
    UpdateBarNumbers(static_cast<size_t>(it - mChanges.begin()));
}

void Time_MeterMap::AddInitialMeterChange(Time_Tick iTick, const Time_Meter& iMeter, int32_t iBar)
{
    CMN_ASSERT_TEXT(this->IsDefault(), "this->IsDefault()");
    NdoAboutToModify();
    mChanges.push_back(
        Time_MeterChange{iTick, iMeter, iBar, false, Time_BarBeatTick(iBar, 1, Time_Tick(0))});
    BroadcastValueChanged();
}

void Time_MeterMap::AddMeterChange(Time_Tick iTick, const Time_Meter& iMeter)
{
    AddMeterChange(iTick, iMeter, TickToBarBeat(iTick).mBar);
}

void Time_MeterMap::AddMeterChange(Time_Tick iTick, const Time_Meter& iMeter, int32_t iBar)
{
    MakeRealIfDefault();
    NdoAboutToModify();
    InsertChange(
        Time_MeterChange{iTick, iMeter, iBar, false, Time_BarBeatTick(iBar, 1, Time_Tick(0))});
    BroadcastValueChanged();
}

void Time_MeterMap::RemoveMeterChange(Time_Tick iTick)
{
    auto it = std::lower_bound(mChanges.begin(), mChanges.end(), iTick,
                               [](const Time_MeterChange& c, Time_Tick t) { return c.mTick < t; });
    if (it == mChanges.end() || it->mTick != iTick)
        return;
    NdoAboutToModify();
    it = mChanges.erase(it);
    UpdateBarNumbers(static_cast<size_t>(it - mChanges.begin()));
    BroadcastValueChanged();
}

void Time_MeterMap::EnsureMeterAt(Time_Tick iTick, const Time_Meter& iMeter)
{
    if (GetMeterAtTick(iTick) != iMeter)
        AddMeterChange(iTick, iMeter);
}

void Time_MeterMap::ForceMeterAtBarBeat(const Time_BarBeatTick& iBBT, const Time_Meter& iMeter)
{
    const Time_Tick at = BarBeatToTick(iBBT);
    if (GetMeterAtTick(at) == iMeter)
        return;
    const Time_Tick barTick = BarBeatToTick(Time_BarBeatTick(iBBT.mBar, 1, Time_Tick(0)));
    if (IsDefault())
        AddInitialMeterChange(barTick, iMeter, iBBT.mBar);
    else
        AddMeterChange(barTick, iMeter);
    // The new meter takes the whole bar: changes inside it go, and the meter that followed
    // comes back at the next barline.
    Erase(barTick + Time_Tick(1), barTick + iMeter.ComputeOffsetIntoBar(Time_BarBeatTick(
                                                1, iMeter.GetNumerator() + 1, Time_Tick(0))));
}

void Time_MeterMap::RenumberBars(int32_t iDelta)
{
    MakeRealIfDefault();
    CMN_ASSERT_TEXT(mChanges.begin() != mChanges.end(), "mChanges.begin() != mChanges.end()");
    NdoAboutToModify();
    mChanges.front().mBarNumber += iDelta;
    mChanges.front().mBBT.mBar = mChanges.front().mBarNumber;
    UpdateBarNumbers();
    BroadcastValueChanged();
}

void Time_MeterMap::AddBackSongStartMeter(int32_t iBar)
{
    auto it = IterFindFirstGE(mSongStartTick);
    if (IsDefault() || it == IterEnd() || it->mTick != mSongStartTick)
        AddMeterChange(mSongStartTick, GetMeterAtTick(mSongStartTick), iBar);
    const int32_t bar = TickToBarBeat(mSongStartTick).mBar;
    if (bar != iBar)
        RenumberBars(iBar - bar);
}

void Time_MeterMap::SetSongStartTick(Time_Tick iTick)
{
    if (iTick == mSongStartTick)
        return;
    const Time_Tick old = mSongStartTick;
    NdoAboutToModify();
    mSongStartTick = iTick;
    AddBackSongStartMeter(TickToBarBeat(iTick).mBar);
    // The change at the old song start goes when it only repeats its neighbour's meter.
    auto it = std::lower_bound(mChanges.begin(), mChanges.end(), old,
                               [](const Time_MeterChange& c, Time_Tick t) { return c.mTick < t; });
    if (it != mChanges.end() && it->mTick == old && mChanges.size() > 1)
    {
        const Time_MeterChange& neighbour = it == mChanges.begin() ? it[1] : it[-1];
        if (neighbour.mMeter == it->mMeter)
            RemoveMeterChange(old);
    }
    BroadcastValueChanged();
}

void Time_MeterMap::ShiftAllMeterEventsByNumTicks(Time_Tick iTicks)
{
    if (IsDefault())
        return;
    NdoAboutToModify();
    for (Time_MeterChange& change : mChanges)
        change.mTick += iTicks;
    UpdateBarNumbers();
    BroadcastValueChanged();
}

void Time_MeterMap::ShiftMeterChangesStartingAt(Time_Tick iTick, Time_Tick iDelta)
{
    if (IsDefault())
        return;
    NdoAboutToModify();
    if (iDelta < Time_Tick(0))
    {
        // The changes that the moved ones run over go.
        auto first = IterFindFirstGE(iTick + iDelta);
        auto last = IterFindFirstGE(iTick);
        mChanges.erase(first, last);
    }
    for (auto it = mChanges.begin(); it != mChanges.end(); ++it)
        if (it->mTick >= iTick)
            it->mTick += iDelta;
    UpdateBarNumbers();
    BroadcastValueChanged();
}

void Time_MeterMap::RealignExistingMeterChangesToBBT(Time_Tick iTick)
{
    if (IsDefault())
        return;
    NdoAboutToModify();
    for (size_t i = 1; i < mChanges.size(); ++i)
    {
        Time_MeterChange& change = mChanges[i];
        if (!(iTick < change.mTick))
            continue;
        const Time_MeterChange& prev = mChanges[i - 1];
        const int64_t bars = static_cast<int64_t>(change.mBBT.mBar) - prev.mBarNumber;
        const Time_Tick target(
            MulAdd(MulAdd(prev.mTick.AsInt64(), bars, prev.mMeter.GetBarDuration().AsInt64()), 1,
                   prev.mMeter.ComputeOffsetIntoBar(change.mBBT).AsInt64()));
        if (target <= prev.mTick)
        {
            mChanges.erase(mChanges.begin() + i);
            --i;
            continue;
        }
        change.mTick = target;
        if (i + 1 < mChanges.size() && !(target < mChanges[i + 1].mTick))
            mChanges.erase(mChanges.begin() + i + 1);
    }
    UpdateBarNumbers();
    BroadcastValueChanged();
}

void Time_MeterMap::Clear()
{
    NdoAboutToModify();
    mChanges.clear();
    mSongStartTick = Time_Tick(Time_cDefaultOriginTick);
    BroadcastValueChanged();
}

void Time_MeterMap::ReplaceWith(const Time_MeterMap& iOther)
{
    if (&iOther == this)
        return;
    NdoAboutToModify();
    mChanges = iOther.mChanges;
    mSongStartTick = iOther.mSongStartTick;
    BroadcastValueChanged();
}

Time_MeterMap& Time_MeterMap::operator=(const Time_MeterMap& iOther)
{
    ReplaceWith(iOther);
    return *this;
}

// ---- range operations ------------------------------------------------------------------------

void Time_MeterMap::EraseRange(Time_Tick iStart, Time_Tick iEnd)
{
    auto first =
        std::lower_bound(mChanges.begin(), mChanges.end(), iStart,
                         [](const Time_MeterChange& c, Time_Tick t) { return c.mTick < t; });
    auto last =
        std::lower_bound(first, mChanges.end(), iEnd,
                         [](const Time_MeterChange& c, Time_Tick t) { return c.mTick < t; });
    if (first == last)
        return;
    NdoAboutToModify();
    first = mChanges.erase(first, last);
    UpdateBarNumbers(static_cast<size_t>(first - mChanges.begin()));
    BroadcastValueChanged();
}

void Time_MeterMap::Delete(Time_Tick iStart, Time_Tick iEnd, bool iSuppressSongStartRepair)
{
    const Time_BarBeatTick songStart = TickToBarBeat(mSongStartTick);
    const Time_Meter songMeter = GetMeterAtTick(mSongStartTick);
    EraseRange(iStart, iEnd);
    if (iSuppressSongStartRepair || !songStart.IsOnBarline())
        return;
    EnsureMeterAt(mSongStartTick, songMeter);
    AddBackSongStartMeter(songStart.mBar);
}

void Time_MeterMap::Erase(Time_Tick iStart, Time_Tick iEnd, bool iSuppressSongStartRepair)
{
    const Time_Tick closing = BarlineAtOrAfter(iEnd);
    const Time_Meter closingMeter = GetMeterAtTick(closing);
    Delete(iStart, iEnd, iSuppressSongStartRepair);
    EnsureMeterAt(closing, closingMeter);
}

void Time_MeterMap::Copy(Time_MeterMap& oDest, Time_Tick iStart, Time_Tick iEnd) const
{
    const Time_Tick closing = BarlineAtOrAfter(iEnd);
    const Time_Meter closingMeter = GetMeterAtTick(closing);
    oDest.Clear();
    for (auto it = IterFindFirstGE(iStart); it != IterEnd() && it->mTick < iEnd; ++it)
    {
        if (oDest.IsDefault())
            oDest.AddInitialMeterChange(it->mTick, it->mMeter, it->mBarNumber);
        else
            oDest.AddMeterChange(it->mTick, it->mMeter);
    }
    oDest.EnsureMeterAt(closing, closingMeter);
}

void Time_MeterMap::Paste(Time_Tick iStart, Time_Tick iEnd, const Time_MeterMap& iSource,
                          bool iSuppressSongStartRepair)
{
    const Time_BarBeatTick songStart = TickToBarBeat(mSongStartTick);
    const Time_Meter songMeter = GetMeterAtTick(mSongStartTick);
    const Time_Tick closing = BarlineAtOrAfter(iEnd);
    const Time_Meter closingMeter = GetMeterAtTick(closing);
    Delete(iStart, iEnd, true);
    MakeRealIfDefault();
    for (auto it = iSource.IterFindFirstGE(iStart); it != iSource.IterEnd() && it->mTick < iEnd;
         ++it)
        AddMeterChange(it->mTick, it->mMeter);
    EnsureMeterAt(closing, closingMeter);
    if (!iSuppressSongStartRepair && songStart.IsOnBarline())
    {
        EnsureMeterAt(mSongStartTick, songMeter);
        AddBackSongStartMeter(songStart.mBar);
    }
}

void Time_MeterMap::DeleteTime(Time_Tick iStart, Time_Tick iEnd)
{
    if (!(iStart < iEnd))
        return;
    const Time_Tick length = iEnd - iStart;
    // The bar before the range and the bar after it keep their meters.
    const Time_Tick before = BarStartAt(iStart - Time_Tick(1));
    const Time_Meter beforeMeter = GetMeterAtTick(before);
    const Time_Tick after = BarlineAtOrAfter(iEnd);
    const Time_Meter afterMeter = GetMeterAtTick(after);
    const int32_t startBar = TickToBarBeat(iStart).mBar;
    Delete(iStart, iEnd, true);
    if (!IsDefault())
    {
        NdoAboutToModify();
        for (Time_MeterChange& change : mChanges)
            if (!(change.mTick < iEnd))
                change.mTick -= length;
        UpdateBarNumbers();
        BroadcastValueChanged();
    }
    EnsureMeterAt(before, beforeMeter);
    EnsureMeterAt(after - length, afterMeter);
    const int32_t bar = TickToBarBeat(iStart).mBar;
    if (bar != startBar)
        RenumberBars(startBar - bar);
}

void Time_MeterMap::InsertTime(Time_Tick iAt, Time_Tick iTicksToInsert,
                               const Time_MeterMap* iSourceP)
{
    CMN_ASSERT_TEXT(iTicksToInsert > Time_Tick(0), "iTicksToInsert > 0");
    const Time_BarBeatTick songStart = TickToBarBeat(mSongStartTick);
    if (!IsDefault())
    {
        NdoAboutToModify();
        for (Time_MeterChange& change : mChanges)
            if (!(change.mTick < iAt))
                change.mTick += iTicksToInsert;
        UpdateBarNumbers();
        BroadcastValueChanged();
    }
    if (iSourceP)
        Paste(iAt, iAt + iTicksToInsert, *iSourceP, true);
    if (songStart.IsOnBarline())
        AddBackSongStartMeter(songStart.mBar);
}

// ---- saved form and undo -------------------------------------------------------------------

void Time_MeterMap::StreamOut(Sys_TypedOutStream& ioStream) const
{
    Sys_StdStreamHeaderWriter header(ioStream, cStreamTag, cStreamVersion);
    ioStream << static_cast<int32_t>(mChanges.size());
    for (const Time_MeterChange& change : mChanges)
    {
        ioStream << change.mTick.AsInt64() << change.mBarNumber << change.mMeter.GetNumerator()
                 << change.mMeter.GetDenominator();
        change.mMeter.GetClickInterval().StreamOut(ioStream);
    }
    for (const Time_MeterChange& change : mChanges)
        ioStream << change.mBBT.mBar << change.mBBT.mBeat << change.mBBT.mTick.AsInt64();
    ioStream << mSongStartTick.AsInt64();
    header.PatchSize();
}

void Time_MeterMap::ReadChanges(Sys_TypedInStream& ioStream,
                                const Sys_StdStreamHeaderReader& iHeader, ChangeList& oChanges,
                                Time_Tick& oSongStart) const
{
    const int16_t version = iHeader.GetVersion();
    auto readTick = [&]
    {
        const int64_t tick = ioStream.Read<int64_t>();
        if (tick < Time_cMinTickTime || tick > Time_cMaxTickTime)
            L10N_Throw(14, 28);
        return Time_Tick(tick);
    };
    const int32_t count = ioStream.Read<int32_t>();
    if (count < 0)
        L10N_Throw(14, 28);
    // Grows by what the stream holds, never by the stated count: each change consumes bytes.
    std::vector<Time_MeterChange> read;
    for (int32_t i = 0; i < count; ++i)
    {
        Time_MeterChange change;
        change.mTick = readTick();
        change.mBarNumber = ioStream.Read<int32_t>();
        const int32_t numerator = ioStream.Read<int32_t>();
        const int32_t denominator = ioStream.Read<int32_t>();
        if (!IsUsableMeter(numerator, denominator))
            L10N_Throw(14, 28);
        Time_NotationDurationValue click;
        if (version >= 2)
            click.StreamIn(ioStream);
        change.mMeter = Time_Meter(numerator, denominator, click);
        change.mBBT = Time_BarBeatTick(change.mBarNumber, 1, Time_Tick(0));
        if (!read.empty() && !(read.back().mTick < change.mTick))
            L10N_Throw(14, 28);
        read.push_back(change);
    }
    oChanges.clear();
    oChanges.insert(oChanges.end(), read.data(), read.data() + read.size());
    oSongStart = Time_Tick(Time_cDefaultOriginTick);
    if (version < 2)
        return;
    // Display positions and the song start came later: older blocks end before them.
    std::vector<Time_BarBeatTick> positions;
    for (size_t i = 0; i < read.size() && iHeader.IsMoreLeft(); ++i)
    {
        Time_BarBeatTick bbt;
        bbt.mBar = ioStream.Read<int32_t>();
        bbt.mBeat = ioStream.Read<int32_t>();
        bbt.mTick = Time_Tick(ioStream.Read<int64_t>());
        positions.push_back(bbt);
    }
    if (positions.size() == read.size() && iHeader.IsMoreLeft())
        oSongStart = readTick();
    for (size_t i = 0; i < positions.size(); ++i)
        oChanges[i].mBBT = positions[i];
}

void Time_MeterMap::StreamIn(Sys_TypedInStream& ioStream)
{
    Sys_StdStreamHeaderReader header(ioStream, cStreamTag);
    header.CheckVersion(1, cStreamVersion);
    ChangeList changes;
    Time_Tick songStart;
    ReadChanges(ioStream, header, changes, songStart);
    header.SkipTheRest();
    NdoAboutToModify();
    std::vector<Time_BarBeatTick> positions;
    for (const Time_MeterChange& change : changes)
        positions.push_back(change.mBBT);
    mChanges = changes;
    mSongStartTick = songStart;
    UpdateBarNumbers();
    for (size_t i = 0; i < positions.size(); ++i)
        mChanges[i].mBBT = positions[i];
    BroadcastValueChanged();
}

std::unique_ptr<Time_MeterMap_NdoState> Time_MeterMap::NdoGetState() const
{
    Cmn_MemBufferOutStream memory;
    Sys_CrossPlatformOutStream out(&memory);
    StreamOut(out);
    const uint8_t* bytes = static_cast<const uint8_t*>(memory.GetBuffer());
    return std::make_unique<Time_MeterMap_NdoState>(
        std::vector<uint8_t>(bytes, bytes + memory.GetEndPos()));
}

void Time_MeterMap::NdoRestoreState(const Time_MeterMap_NdoState& iState)
{
    const std::vector<uint8_t>& bytes = iState.GetBytes();
    Cmn_MemBufferInStream memory(bytes.data(), bytes.data() + bytes.size());
    Sys_CrossPlatformInStream in(&memory);
    StreamIn(in);
}
