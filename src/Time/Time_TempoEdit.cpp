#include "Time_TempoEdit.h"

#include <algorithm>
#include <cmath>

#include "Cmn_Assert.h"

Time_TempoLimits Time_TempoEdit::sTempoLimits;

namespace
{
using Ptr = Time_TempoMapSegment::Ptr;
using Iter = Time_TempoMap::SegmentIter;
using StEdit = Time_TempoMap_StEditOptimizer;

constexpr int64_t kSentinelSample = -10000000000;

Time_ConstantTempoSeg& Const(Time_TempoMapSegment& ioSeg)
{
    return static_cast<Time_ConstantTempoSeg&>(ioSeg);
}

std::unique_ptr<Time_ConstantTempoSeg>
MakeSeg(Time_Tick iTick, double iBpm = 120.0,
        Time_Tick iTicksPerBeat = Time_Tick(Time_cInternalTicksPerQuarterNote))
{
    return std::make_unique<Time_ConstantTempoSeg>(iTick, iBpm, iTicksPerBeat);
}

Ptr MakeUnspecified(Time_Tick iTick)
{
    auto seg = MakeSeg(iTick);
    seg->SetTempoIsUnspecified(true);
    return seg;
}

// Lengths at the tempo in force at iAt: ticks to samples and samples to ticks.
Time_Sample TicksToSamplesAt(Time_TempoMap& ioMap, Time_Tick iAt, Time_Tick iTicks)
{
    return ioMap.TickToSampleBasedOnReferenceTempoAtTick(iAt + iTicks, iAt) -
           ioMap.TickToSampleBasedOnReferenceTempoAtTick(iAt, iAt);
}
Time_Tick SamplesToTicksAt(Time_TempoMap& ioMap, Time_Tick iAt, Time_Sample iSamples)
{
    const Time_Sample at = ioMap.TickToSampleBasedOnReferenceTempoAtTick(iAt, iAt);
    return ioMap.SampleToTickBasedOnReferenceTempoAtTick(at + iSamples, iAt) -
           ioMap.SampleToTickBasedOnReferenceTempoAtTick(at, iAt);
}

template <class List> auto LowerBound(List& ioList, Time_Tick iTick)
{
    return std::lower_bound(ioList.begin(), ioList.end(), iTick,
                            [](const auto& e, Time_Tick t) { return e.mStartTick < t; });
}

bool SameTempo(const Time_TempoListEntry& iA, const Time_TempoListEntry& iB)
{
    return iA.mBeatsPerMinute == iB.mBeatsPerMinute && iA.mTicksPerBeat == iB.mTicksPerBeat;
}

// The entry in force at iTick (the last one at or before it), or null.
const Time_TempoListEntry* InForceAt(const Time_TempoList& iList, Time_Tick iTick)
{
    auto it = std::upper_bound(iList.begin(), iList.end(), iTick,
                               [](Time_Tick t, const Time_TempoListEntry& e)
                               { return t < e.mStartTick; });
    return it == iList.begin() ? nullptr : it - 1;
}

// Between two locked neighbours the earlier one is computed: in an IDB list every entry but
// the last.
void SetIDBComputedFlags(Time_IDBList& ioList)
{
    for (size_t i = 0; i < ioList.size(); ++i)
        ioList[i].mIsComputed = i + 1 < ioList.size();
}

// Appends iEntry unless it would not rise in both tick and sample above the last one.
void AppendRising(Time_IDBList& ioList, const Time_IDBListEntry& iEntry)
{
    if (!ioList.empty() && (!(ioList.back().mStartTick < iEntry.mStartTick) ||
                            !(ioList.back().mStartSample < iEntry.mStartSample)))
        return;
    ioList.push_back(iEntry);
}
} // namespace

// ---- tempo events -----------------------------------------------------------------------------

const Time_NewTempoEvent* Time_NewTempoEvents::GetTempoEventAtTick(Time_Tick iTick) const
{
    for (const Time_NewTempoEvent& e : *this)
        if (e.GetStartTick() == iTick)
            return &e;
    return nullptr;
}

void Time_NewTempoEvents::AddTempoEvent(const Time_NewTempoEvent& iEvent)
{
    auto it = std::lower_bound(begin(), end(), iEvent.GetStartTick(),
                               [](const Time_NewTempoEvent& e, Time_Tick t)
                               { return e.GetStartTick() < t; });
    if (it != end() && it->GetStartTick() == iEvent.GetStartTick())
    {
        *it = iEvent;
        return;
    }
    if (it != begin() && (it - 1)->GetBeatsPerMinute() == iEvent.GetBeatsPerMinute() &&
        (it - 1)->GetStartTick() != iEvent.GetStartTick())
        return;
    insert(it, iEvent);
}

void Time_NewTempoEvents::ClearOutsideOfRange(Time_Tick iStart, Time_Tick iEnd)
{
    Time_NewTempoEvents kept;
    for (const Time_NewTempoEvent& e : *this)
        if (!(e.GetStartTick() < iStart) && e.GetStartTick() < iEnd)
            kept.push_back(e);
    Cmn_PolyVector<Time_NewTempoEvent>::swap(kept);
}

void Time_NewTempoEvents::ClearAfterTime(Time_Tick iTime)
{
    auto it = std::upper_bound(begin(), end(), iTime,
                               [](Time_Tick t, const Time_NewTempoEvent& e)
                               { return t < e.GetStartTick(); });
    erase(it, end());
}

Time_Tick Time_NewTempoEvents::NextQuantizedTick(Time_Typed iTime, Time_Tick iQuantum,
                                                 double iSampleRate) const
{
    if (iQuantum.AsInt64() == 0)
        return Time_Tick(iTime.AsInt64());
    CMN_ASSERT_TEXT(size() > 0, "size() > 0");
    Time_Tick tick(iTime.AsInt64());
    if (iTime.GetType() == Time_eType_Samples)
    {
        const Time_NewTempoEvent& last = back();
        const double ticksPerMinute = static_cast<double>(last.GetBeatsPerMinute()) *
                                      static_cast<double>(last.GetTicksPerBeat().AsInt64());
        tick = Time_Tick(Time_Truncate(static_cast<double>(iTime.AsInt64()) * ticksPerMinute /
                                       (iSampleRate * 60.0)));
    }
    if (size() != 1)
        return tick;
    const int64_t origin = front().GetStartTick().AsInt64();
    const int64_t q = iQuantum.AsInt64();
    const int64_t distance = tick.AsInt64() - origin;
    const int64_t steps = distance > 0 ? (distance + q - 1) / q : -((-distance) / q);
    return Time_Tick(origin + steps * q);
}

// ---- queries ----------------------------------------------------------------------------------

bool Time_TempoEdit::IsEmpty(const Time_TempoMap* iMapP)
{
    return iMapP->GetNumberOfSegments() == 0;
}
bool Time_TempoEdit::IsAllChanges(const Time_TempoMap* iMapP)
{
    return const_cast<Time_TempoMap*>(iMapP)->IsAllChanges();
}
bool Time_TempoEdit::IsAllIDB(const Time_TempoMap* iMapP)
{
    return const_cast<Time_TempoMap*>(iMapP)->IsAllIDB();
}

void Time_TempoEdit::GetTempoList(Time_TempoList* oListP, Time_TempoMap* iMapP,
                                  bool* oFirstUnspecified, Time_TempoListEntry* oFirstEntry)
{
    CMN_ASSERT_TEXT(oListP, "oListP");
    CMN_ASSERT_TEXT(iMapP, "iMapP");
    oListP->clear();
    oListP->mHasSongStart = false;
    if (oFirstUnspecified)
        *oFirstUnspecified = false;
    for (Iter it = iMapP->SegmentBegin(); it != iMapP->SegmentEnd(); ++it)
    {
        Time_ConstantTempoSeg& seg = Const(**it);
        if (seg.IsLockedToSample() && (!oListP->mHasSongStart || seg.IsSongStart()))
        {
            oListP->mHasSongStart = true;
            oListP->mSongStartSample = seg.GetStartSample();
            oListP->mSongStartTick = seg.GetStartTick();
        }
        const Time_TempoListEntry entry{seg.GetStartTick(), seg.GetBeatsPerMinute(),
                                        seg.GetTicksPerBeat()};
        if (seg.IsFullySpecified())
            oListP->push_back(entry);
        else if (it == iMapP->SegmentBegin())
        {
            if (oFirstUnspecified)
                *oFirstUnspecified = true;
            if (oFirstEntry)
                *oFirstEntry = entry;
        }
    }
}

void Time_TempoEdit::SetFromTempoList(Time_TempoMap* ioMapP, const Time_TempoList& iList)
{
    StEdit edit(*ioMapP);
    ioMapP->Clear();
    bool songStartPlaced = false;
    for (const Time_TempoListEntry& entry : iList)
    {
        auto seg = MakeSeg(entry.mStartTick);
        seg->SetTempo(entry.mBeatsPerMinute, entry.mTicksPerBeat);
        if (iList.mHasSongStart && entry.mStartTick == iList.mSongStartTick)
        {
            seg->LockToSample(iList.mSongStartSample);
            seg->SetIsSongStart(true);
            songStartPlaced = true;
        }
        ioMapP->AddSegment(std::move(seg));
    }
    if (iList.mHasSongStart && !songStartPlaced)
    {
        Ptr seg = MakeUnspecified(iList.mSongStartTick);
        seg->LockToSample(iList.mSongStartSample);
        seg->SetIsSongStart(true);
        ioMapP->AddSegment(std::move(seg));
    }
}

void Time_TempoEdit::GetIDBList(Time_IDBList* oListP, Time_TempoMap* iMapP, EAnchorMode iMode)
{
    CMN_ASSERT_TEXT(oListP, "oListP");
    CMN_ASSERT_TEXT(iMapP, "iMapP");
    oListP->clear();
    for (Iter it = iMapP->SegmentBegin(); it != iMapP->SegmentEnd(); ++it)
    {
        const Time_TempoMapSegment& seg = **it;
        if (!seg.IsLockedToSample() ||
            (iMode == eAnchorMode_ExcludeCopyAnchors && seg.IsCopyAnchor()))
            continue;
        oListP->push_back({seg.IsSongStart(), seg.GetStartSample(), seg.GetStartTick(),
                           seg.GetTicksPerBeat(), seg.IsComputed()});
    }
}

void Time_TempoEdit::SetFromIDBList(Time_TempoMap* ioMapP, const Time_IDBList& iList)
{
    StEdit edit(*ioMapP);
    ioMapP->Clear();
    for (const Time_IDBListEntry& entry : iList)
    {
        auto seg = MakeSeg(entry.mStartTick);
        seg->SetTicksPerBeat(entry.mTicksPerBeat);
        seg->SetTempoIsUnspecified(true);
        seg->LockToSample(entry.mStartSample);
        seg->SetIsComputed(entry.mIsComputed);
        seg->SetIsSongStart(entry.mIsSongStart);
        ioMapP->AddSegment(std::move(seg));
    }
}

double Time_TempoEdit::CalculateQuartersPerMinute(double iSamples, double iTicks) const
{
    return iTicks * mMapP->GetSampleRate() * 60.0 /
           (iSamples * static_cast<double>(Time_cInternalTicksPerQuarterNote));
}

int64_t Time_TempoEdit::MinSampleDistanceForIDBTickDistance(Time_Tick iTicks,
                                                            Time_Tick iTicksPerBeat) const
{
    const int64_t q = Time_Truncate(sTempoLimits.GetMaxQPM(iTicksPerBeat));
    const int64_t r = Time_Truncate(mMapP->GetSampleRate());
    return (r * iTicks.AsInt64() * 60) / (q * Time_cInternalTicksPerQuarterNote);
}

int64_t Time_TempoEdit::MaxSampleDistanceForIDBTickDistance(Time_Tick iTicks,
                                                            Time_Tick iTicksPerBeat) const
{
    const int64_t q = Time_Truncate(sTempoLimits.GetMinQPM(iTicksPerBeat));
    const int64_t r = Time_Truncate(mMapP->GetSampleRate());
    return (r * iTicks.AsInt64() * 60) / (q * Time_cInternalTicksPerQuarterNote);
}

void Time_TempoEdit::FindSurroundingIDBs(Time_Tick iTick, Iter* oLeft, Iter* oRight,
                                         Iter* oComputed)
{
    const Iter end = mMapP->SegmentEnd();
    *oLeft = *oRight = *oComputed = end;
    const Iter at = mMapP->FindSegment(iTick);
    for (Iter it = at; it != mMapP->SegmentBegin();)
        if ((*--it)->IsLockedToSample())
        {
            *oLeft = it;
            break;
        }
    Iter from = at != end && (*at)->GetStartTick() == iTick ? at + 1 : at;
    *oRight = std::find_if(from, end, [](const Ptr& s) { return s->IsLockedToSample(); });
    if (*oLeft != end)
        *oComputed = std::find_if(*oLeft, *oRight, [](const Ptr& s) { return s->IsComputed(); });
}

void Time_TempoEdit::GetMoveIDBConstraints(MoveIDBConstraints* oConstraints, Time_Tick iTick)
{
    Iter left, right, computed;
    FindSurroundingIDBs(iTick, &left, &right, &computed);
    CMN_ASSERT_TEXT(left != mMapP->SegmentEnd(), "left != mMapP->SegmentEnd()");
    const Time_Tick perBeat =
        (computed != mMapP->SegmentEnd() ? *computed : *left)->GetTicksPerBeat();
    const Time_Tick fromLeft = iTick - (*left)->GetStartTick();
    const int64_t leftSample = (*left)->GetStartSample().AsInt64();
    int64_t low = leftSample + MinSampleDistanceForIDBTickDistance(fromLeft, perBeat);
    int64_t high = leftSample + MaxSampleDistanceForIDBTickDistance(fromLeft, perBeat);
    if (right != mMapP->SegmentEnd())
    {
        const Time_Tick toRight = (*right)->GetStartTick() - iTick;
        const int64_t rightSample = (*right)->GetStartSample().AsInt64();
        low = std::max(low, rightSample - MaxSampleDistanceForIDBTickDistance(toRight, perBeat));
        high = std::min(high, rightSample - MinSampleDistanceForIDBTickDistance(toRight, perBeat));
    }
    oConstraints->mMinSample = Time_Sample(low);
    oConstraints->mMaxSample = Time_Sample(high);
}

// ---- single edits -----------------------------------------------------------------------------

Iter Time_TempoEdit::FindAt(Time_Tick iTick)
{
    Iter it = mMapP->FindSegment(iTick);
    return it != mMapP->SegmentEnd() && (*it)->GetStartTick() == iTick ? it : mMapP->SegmentEnd();
}

Time_Tick Time_TempoEdit::ToTick(Time_Typed iTime)
{
    if (iTime.GetType() == Time_eType_Ticks)
        return Time_Tick(iTime.AsInt64());
    CMN_ASSERT_TEXT(iTime.GetType() == Time_eType_Samples, "false");
    return mMapP->SampleToTick(Time_Sample(iTime.AsInt64()));
}

Time_Sample Time_TempoEdit::ToSample(Time_Typed iTime)
{
    if (iTime.GetType() == Time_eType_Samples)
        return Time_Sample(iTime.AsInt64());
    CMN_ASSERT_TEXT(iTime.GetType() == Time_eType_Ticks, "false");
    return mMapP->TickToSample(Time_Tick(iTime.AsInt64()));
}

void Time_TempoEdit::SetDefaultMap()
{
    StEdit edit(*mMapP);
    mMapP->Clear();
    auto seg = MakeSeg(Time_Tick(Time_cDefaultOriginTick));
    seg->LockToSample(Time_Sample(0));
    seg->SetIsSongStart(true);
    mMapP->AddSegment(std::move(seg));
}

void Time_TempoEdit::InsertChange(Time_Tick iTick, double iBeatsPerMinute, Time_Tick iTicksPerBeat)
{
    StEdit edit(*mMapP);
    if (!mMapP->IsAllChanges())
        ConvertAllToChanges();
    if (IsEmpty())
        SetDefaultMap();
    auto seg = MakeSeg(iTick, iBeatsPerMinute, iTicksPerBeat);
    Iter controlling = mMapP->FindControllingSegment(iTick);
    if (controlling != mMapP->SegmentEnd() && (*controlling)->GetStartTick() == iTick &&
        (*controlling)->IsLockedToSample())
    {
        seg->LockToSample((*controlling)->GetStartSample());
        seg->SetIsSongStart((*controlling)->IsSongStart());
    }
    mMapP->AddSegment(std::move(seg));
    mMapP->FixUpComputedFlagsAroundTick(iTick);
}

void Time_TempoEdit::DeleteChange(Time_Tick iTick)
{
    StEdit edit(*mMapP);
    Iter it = FindAt(iTick);
    if (it == mMapP->SegmentEnd())
        return;
    if ((*it)->IsLockedToSample())
    {
        Ptr seg = MakeUnspecified(iTick);
        seg->LockToSample((*it)->GetStartSample());
        seg->SetIsSongStart((*it)->IsSongStart());
        mMapP->AddSegment(std::move(seg));
    }
    else
        mMapP->DeleteSegment(it);
    mMapP->FixUpComputedFlagsAroundTick(iTick);
}

void Time_TempoEdit::AddIDB(Time_Tick iTick, Time_Sample iSample, bool /*iKeep*/)
{
    StEdit edit(*mMapP);
    Ptr seg = MakeUnspecified(iTick);
    seg->LockToSample(iSample);
    if (mMapP->IsNumberOfLockedSegmentsLessThan(1))
    {
        mMapP->AddSegment(std::move(seg));
        mMapP->FixUpComputedFlagsAroundTick(iTick);
        mMapP->EnsureSongStart();
        return;
    }
    if (!mMapP->IsAllIDB())
        ConvertAllToIDB(iSample, true);
    // Every locked segment on the wrong side of the new pair goes: earlier ticks at or after
    // the sample, later ticks (and this tick) at or before it.
    Iter at = mMapP->FindSegment(iTick);
    Iter first = at, last = at;
    auto lockedAt = [&](Iter i, bool iBefore)
    {
        if (!(*i)->IsLockedToSample())
            return true;
        return iBefore ? (*i)->GetStartSample() >= iSample : (*i)->GetStartSample() <= iSample;
    };
    while (first != mMapP->SegmentBegin() && lockedAt(first - 1, true))
        --first;
    while (last != mMapP->SegmentEnd() &&
           ((*last)->GetStartTick() == iTick || lockedAt(last, false)))
        ++last;
    const bool songStart = std::any_of(first, last, [](const Ptr& s) { return s->IsSongStart(); });
    seg->SetIsSongStart(songStart);
    mMapP->EraseSegments(first, last);
    mMapP->AddSegment(std::move(seg));
    mMapP->FixUpComputedFlagsAroundTick(iTick);
    mMapP->EnsureSongStart();
}

void Time_TempoEdit::AddIDBPair(Time_Tick iTick1, Time_Sample iSample1, Time_Tick iTick2,
                                Time_Sample iSample2)
{
    CMN_ASSERT_TEXT(iTick1 < iTick2, "iTick1 < iTick2");
    CMN_ASSERT_TEXT(iSample1 < iSample2, "iSample1 < iSample2");
    StEdit edit(*mMapP);
    if (!mMapP->IsAllIDB())
        ConvertAllToIDB(iSample1, true);
    mMapP->EraseSegments(iTick1, iTick2 + Time_Tick(1));
    mMapP->EraseLockedSegmentsBySample(iSample1, iSample2 + Time_Sample(1));
    AddIDB(iTick1, iSample1, true);
    AddIDB(iTick2, iSample2, true);
}

void Time_TempoEdit::DeleteIDB(Time_Tick iTick)
{
    StEdit edit(*mMapP);
    Iter it = FindAt(iTick);
    if (it == mMapP->SegmentEnd() || !(*it)->IsLockedToSample())
        return;
    if (!mMapP->IsAllChanges() && Const(**it).CanSetTempo())
        ConvertSegmentToUnlocked(it);
    else
        mMapP->DeleteSegment(it);
    mMapP->FixUpComputedFlagsAroundTick(iTick);
}

void Time_TempoEdit::MoveIDB(Time_Tick iTick, Time_Sample iSample)
{
    Iter iter = FindAt(iTick);
    CMN_ASSERT_TEXT(iter != mMapP->SegmentEnd(), "iter != mMapP->SegmentEnd()");
    CMN_ASSERT_TEXT((*iter)->IsLockedToSample(), "(*iter)->IsLockedToSample()");
    Ptr seg = (*iter)->Clone();
    seg->LockToSample(iSample);
    mMapP->AddSegment(std::move(seg));
}

void Time_TempoEdit::ConvertSegmentToComputed(Iter iIter)
{
    Ptr seg = (*iIter)->Clone();
    seg->SetIsComputed(true);
    mMapP->AddSegment(std::move(seg));
}

void Time_TempoEdit::ConvertSegmentToUncomputed(Iter iIter)
{
    if (!(*iIter)->IsComputed())
        return;
    Ptr seg = (*iIter)->Clone();
    seg->SetIsComputed(false);
    mMapP->AddSegment(std::move(seg));
}

void Time_TempoEdit::ConvertSegmentToUnlocked(Iter iIter)
{
    if (!(*iIter)->IsLockedToSample())
        return;
    Ptr seg = (*iIter)->Clone();
    seg->UnlockFromSample();
    mMapP->AddSegment(std::move(seg));
}

void Time_TempoEdit::MoveTempoEvent(Time_Tick iTick, Time_Typed iNewTime)
{
    StEdit edit(*mMapP);
    Iter iter = FindAt(iTick);
    CMN_ASSERT_TEXT(iter != mMapP->SegmentEnd(), "iter != mMapP->SegmentEnd()");
    if ((*iter)->IsLockedToSample())
    {
        MoveIDB(iTick, ToSample(iNewTime));
        const Time_Tick target(iNewTime.AsInt64());
        if (iNewTime.GetType() == Time_eType_Ticks && target != iTick)
        {
            Ptr seg = (*FindAt(iTick))->Clone();
            seg->SetStartTick(target);
            mMapP->EraseSegments(iTick, iTick + Time_Tick(1));
            mMapP->AddSegment(std::move(seg));
            mMapP->FixUpComputedFlagsAroundTick(iTick);
            mMapP->FixUpComputedFlagsAroundTick(target);
        }
        return;
    }
    Time_ConstantTempoSeg& old = Const(**iter);
    const double ticksPerSample = old.GetBeatsPerMinute() *
                                  static_cast<double>(old.GetTicksPerBeat().AsInt64()) /
                                  (mMapP->GetSampleRate() * 60.0);
    Ptr seg = old.Clone();
    mMapP->EraseSegments(iTick, iTick + Time_Tick(1));
    Time_Tick target = ToTick(iNewTime);
    Iter songStart = mMapP->FindSongStart();
    if (songStart != mMapP->SegmentEnd())
    {
        const Time_Tick ssTick = (*songStart)->GetStartTick();
        const bool crosses = (iTick < ssTick) != (target < ssTick) || target == ssTick;
        if (crosses)
        {
            // Keep the event's sample distance from the song start, at its own tempo.
            const double distance = static_cast<double>(
                ((*songStart)->GetStartSample() - mMapP->TickToSample(target)).AsInt64());
            target = ssTick - Time_Tick(Time_Truncate(std::floor(distance * ticksPerSample + 0.5)));
            if (target == ssTick)
                target = ssTick - Time_Tick(1);
        }
    }
    seg->SetStartTick(target);
    mMapP->AddSegment(std::move(seg));
    mMapP->FixUpComputedFlagsAroundTick(iTick);
    mMapP->FixUpComputedFlagsAroundTick(target);
}

void Time_TempoEdit::DeleteTempoEvent(Time_Tick iStartTick, Time_Tick iEndTick)
{
    CMN_ASSERT_TEXT(iStartTick <= iEndTick, "iStartTick <= iEndTick");
    StEdit edit(*mMapP);
    const Time_Tick ssTick = mMapP->GetSongStartTick();
    const Time_Sample ssSample = mMapP->GetSongStartSample();
    mMapP->EraseSegments(iStartTick, iEndTick + Time_Tick(1));
    mMapP->FixUpComputedFlagsAroundTick(iStartTick);
    if (iStartTick != iEndTick)
        mMapP->FixUpComputedFlagsAroundTick(iEndTick);
    AddBackSongStart(ssTick, ssSample);
    SpecifySongStartTempo();
}

void Time_TempoEdit::SpecifySongStartTempo()
{
    if (!mMapP->IsAllChanges())
        return;
    Iter songStart = mMapP->FindSongStart();
    if (songStart == mMapP->SegmentEnd() || (*songStart)->IsFullySpecified() ||
        !Const(**songStart).CanSetTempo())
        return;
    double bpm = 120.0;
    Time_Tick perBeat;
    mMapP->GetTempoAtTick(&bpm, &perBeat, (*songStart)->GetStartTick());
    auto seg = (*songStart)->Clone();
    Const(*seg).SetTempo(bpm, perBeat);
    mMapP->AddSegment(std::move(seg));
}

void Time_TempoEdit::AddBackSongStart(Time_Tick iTick, Time_Sample iSample)
{
    StEdit edit(*mMapP);
    Iter songStart = mMapP->FindSongStart();
    if (songStart != mMapP->SegmentEnd())
    {
        Iter next = songStart + 1;
        if (!mMapP->IsAllChanges() && next != mMapP->SegmentEnd() && (*next)->IsFullySpecified() &&
            Const(**songStart).CanSetTempo())
        {
            auto seg = (*songStart)->Clone();
            Const(*seg).SetTempo(Const(**next).GetBeatsPerMinute(), (*next)->GetTicksPerBeat());
            mMapP->AddSegment(std::move(seg));
        }
        return;
    }
    auto seg = MakeSeg(iTick);
    Time_Sample sample = iSample;
    if (!mMapP->IsNumberOfLockedSegmentsLessThan(1) && mMapP->IsAllChanges())
        sample = mMapP->TickToSample(iTick);
    Iter controlling = mMapP->FindControllingSegment(iTick);
    if (controlling != mMapP->SegmentEnd() && !(*controlling)->IsFullySpecified())
        ++controlling;
    if (controlling != mMapP->SegmentEnd() && (*controlling)->IsFullySpecified())
        seg->SetTempo(Const(**controlling).GetBeatsPerMinute(), (*controlling)->GetTicksPerBeat());
    Iter same = FindAt(iTick);
    if (same != mMapP->SegmentEnd() && (*same)->IsComputed())
        seg->SetIsComputed(true);
    seg->LockToSample(sample);
    seg->SetIsSongStart(true);
    mMapP->AddSegment(std::move(seg));
    mMapP->FixUpComputedFlagsAroundTick(iTick);
}

void Time_TempoEdit::RedesignateSongStartMarker(Time_Tick iTick)
{
    StEdit edit(*mMapP);
    const bool wasIDB = !mMapP->IsAllChanges();
    if (wasIDB)
        ConvertAllToChanges();
    Iter songStart = mMapP->FindSongStart();
    const Time_Sample newSample = mMapP->TickToSample(iTick);
    double bpmAtNew = 120.0, bpmBefore = 0.0, bpmAtOld = 120.0;
    Time_Tick perBeatAtNew, perBeatBefore, perBeatAtOld;
    mMapP->GetTempoAtTick(&bpmAtNew, &perBeatAtNew, iTick);
    if (songStart != mMapP->SegmentEnd() && (*songStart)->GetStartTick() != iTick)
    {
        const Time_Tick oldTick = (*songStart)->GetStartTick();
        mMapP->GetTempoAtTick(&bpmAtOld, &perBeatAtOld, oldTick);
        const bool hasBefore = songStart != mMapP->SegmentBegin();
        if (hasBefore)
            mMapP->GetTempoAtTick(&bpmBefore, &perBeatBefore, oldTick - Time_Tick(1));
        auto old = (*songStart)->Clone();
        old->UnlockFromSample();
        old->SetIsSongStart(false);
        mMapP->AddSegment(std::move(old));
        if (hasBefore && bpmBefore == bpmAtOld && perBeatBefore == perBeatAtOld)
            DeleteChange(oldTick);
        else
        {
            auto kept = (*FindAt(oldTick))->Clone();
            Const(*kept).SetTempo(bpmAtOld, perBeatAtOld);
            mMapP->AddSegment(std::move(kept));
        }
    }
    else if (songStart != mMapP->SegmentEnd())
        return;
    auto seg = MakeSeg(iTick, bpmAtNew, perBeatAtNew);
    seg->LockToSample(newSample);
    seg->SetIsSongStart(true);
    mMapP->AddSegment(std::move(seg));
    mMapP->FixUpComputedFlagsAroundTick(iTick);
    if (wasIDB)
        ConvertAllToIDB();
}

void Time_TempoEdit::AddTempoChangeRange(const Time_NewTempoEvents& iEvents)
{
    CMN_ASSERT_TEXT(!iEvents.empty(), "!iEvents.empty()");
    StEdit edit(*mMapP);
    if (!mMapP->IsAllChanges())
        ConvertAllToChanges();
    Time_Tick start, end;
    iEvents.GetEventRange(&start, &end);
    const Time_NewTempoEvent& firstEvent = iEvents.front();
    if (start == end)
    {
        InsertChange(firstEvent.GetStartTick(), firstEvent.GetBeatsPerMinute(),
                     firstEvent.GetTicksPerBeat());
        return;
    }
    double bpm = firstEvent.GetBeatsPerMinute();
    Time_Tick perBeat = firstEvent.GetTicksPerBeat();
    if (start < firstEvent.GetStartTick())
        mMapP->GetTempoAtTick(&bpm, &perBeat, start);
    Time_TempoMap temporary;
    {
        StEdit tempEdit(temporary);
        temporary.SetSampleRate(mMapP->GetSampleRate());
        auto first = MakeSeg(start, bpm, perBeat);
        first->LockToSample(Time_Sample(0));
        first->SetIsSongStart(true);
        temporary.AddSegment(std::move(first));
        for (const Time_NewTempoEvent& e : iEvents)
        {
            auto seg = MakeSeg(e.GetStartTick());
            seg->SetTempo(e.GetBeatsPerMinute(), e.GetTicksPerBeat());
            if (e.GetStartTick() == start)
            {
                seg->LockToSample(Time_Sample(0));
                seg->SetIsSongStart(true);
            }
            temporary.AddSegment(std::move(seg));
        }
    }
    Paste(Time_Typed(start), Time_Typed(end), &temporary);
}

// ---- regimes ----------------------------------------------------------------------------------

void Time_TempoEdit::BuildIDBList(Time_IDBList* oListP, Time_Sample iClosing, bool iAddClosing,
                                  bool iClipClosing)
{
    Time_IDBList& list = *oListP;
    list.clear();
    Time_Sample previous(kSentinelSample);
    for (Iter it = mMapP->SegmentBegin(); it != mMapP->SegmentEnd(); ++it)
    {
        const Time_TempoMapSegment& seg = **it;
        const Time_Sample sample =
            seg.IsLockedToSample() ? seg.GetStartSample() : mMapP->TickToSample(seg.GetStartTick());
        bool songStart = seg.IsSongStart() && seg.IsLockedToSample();
        if (sample == previous && it != mMapP->SegmentBegin() && !list.empty())
        {
            // Two segments on one sample: the later one wins.
            songStart = songStart || list.back().mIsSongStart;
            list.pop_back();
        }
        list.push_back({songStart, sample, seg.GetStartTick(), seg.GetTicksPerBeat(), true});
        previous = sample;
    }
    if (list.empty())
        return;
    const Time_TempoMapSegment& last = **(mMapP->SegmentEnd() - 1);
    const Time_Sample lastSample = list.back().mStartSample;
    Time_Sample closing;
    bool addClosing = false;
    if (iClipClosing)
    {
        closing = iClosing;
        addClosing = lastSample < iClosing;
    }
    else if (last.GetTypeID() == Time_TempoMapSegment::eConstantTempoSeg &&
             last.IsFullySpecified() && !last.IsComputed() &&
             !(iAddClosing && lastSample >= iClosing))
    {
        closing = lastSample + Time_Sample(Time_Truncate(mMapP->GetSampleRate()));
        addClosing = true;
    }
    if (addClosing)
        list.push_back(
            {false, closing, mMapP->SampleToTick(closing), last.GetTicksPerBeat(), true});
    list.back().mIsComputed = false;
}

void Time_TempoEdit::ConvertAllToIDB(Time_Sample iSample, bool iAddClosing)
{
    Time_IDBList list;
    BuildIDBList(&list, iSample, iAddClosing, false);
    SetFromIDBList(mMapP, list);
}

void Time_TempoEdit::ConvertClipToIDB(Time_Sample iClipEnd)
{
    Time_IDBList list;
    BuildIDBList(&list, iClipEnd, true, true);
    SetFromIDBList(mMapP, list);
}

void Time_TempoEdit::ConvertAllToChanges()
{
    StEdit edit(*mMapP);
    mMapP->UpdateBasicMapIfNeeded(); // the derived tempos are what the last rebuild wrote
    std::vector<Ptr> survivors;
    Time_Sample firstSample;
    for (Iter it = mMapP->SegmentBegin(); it != mMapP->SegmentEnd(); ++it)
    {
        const Time_TempoMapSegment& seg = **it;
        if (seg.IsComputed() && (!seg.IsLockedToSample() || it != mMapP->SegmentBegin()))
            continue;
        if (survivors.empty())
            firstSample = mMapP->TickToSample(seg.GetStartTick());
        Ptr copy = seg.Clone();
        if (copy->IsComputed())
            copy->SpecifyFromComputedValues();
        copy->UnlockFromSample();
        copy->SetIsComputed(false);
        copy->SetIsSongStart(false);
        survivors.push_back(std::move(copy));
    }
    if (!survivors.empty())
    {
        survivors.front()->LockToSample(firstSample);
        survivors.front()->SetIsSongStart(true);
    }
    mMapP->Clear();
    for (Ptr& seg : survivors)
        mMapP->AddSegment(std::move(seg));
}

// ---- range operations -------------------------------------------------------------------------

template <class ChangesOp, class IDBOp>
void Time_TempoEdit::RangeFrame(ChangesOp iChanges, IDBOp iIDB)
{
    StEdit edit(*mMapP);
    Iter songStartIter = mMapP->FindSongStart();
    CMN_ASSERT_TEXT(songStartIter != mMapP->SegmentEnd(), "songStartIter != mMapP->SegmentEnd()");
    const Time_Tick ssTick = (*songStartIter)->GetStartTick();
    const Time_Sample ssSample = (*songStartIter)->GetStartSample();
    if (mMapP->IsAllChanges())
        iChanges();
    else if (mMapP->IsAllIDB())
        iIDB();
    else
        CMN_ASSERT_TEXT(false, "0");
    AddBackSongStart(ssTick, ssSample);
}

void Time_TempoEdit::Copy(Time_TempoMap* oDestP, Time_Tick iStartTick, Time_Tick iEndTick)
{
    CMN_ASSERT_TEXT(oDestP, "oDestP");
    CMN_ASSERT_TEXT(iStartTick <= iEndTick, "iStartTick <= iEndTick");
    StEdit edit(*oDestP);
    oDestP->Clear();
    oDestP->SetSampleRate(mMapP->GetSampleRate());
    if (mMapP->IsAllChanges())
        AllChangesCopy(oDestP, iStartTick, iEndTick);
    else if (mMapP->IsAllIDB())
        AllIDBCopy(oDestP, iStartTick, iEndTick);
    else
        CMN_ASSERT_TEXT(false, "0");
}

void Time_TempoEdit::Paste(Time_Typed iStart, Time_Typed iEnd, Time_TempoMap* iSourceP)
{
    if (iStart == iEnd)
        return;
    CMN_ASSERT_TEXT(iStart <= iEnd, "iStartTime <= iEndTime");
    RangeFrame([&] { AllChangesPasteTick(ToTick(iStart), ToTick(iEnd), iSourceP); },
               [&] { AllIDBPasteTick(ToTick(iStart), ToTick(iEnd), iSourceP); });
}

void Time_TempoEdit::DeleteTime(Time_Typed iStart, Time_Typed iEnd)
{
    CMN_ASSERT_TEXT(iStart.AsInt64() <= iEnd.AsInt64(), "iStart.AsInt64() <= iEnd.AsInt64()");
    if (!(iStart < iEnd))
        return;
    RangeFrame(
        [&] { AllChangesDeleteTime(ToTick(iStart), ToTick(iEnd)); },
        [&] { AllIDBDeleteTime(ToTick(iStart), ToTick(iEnd), ToSample(iStart), ToSample(iEnd)); });
}

void Time_TempoEdit::InsertTime(Time_Typed iAt, Time_TypedLength iLength, Time_TempoMap* iSourceP)
{
    if (iLength.AsInt64() <= 0)
        return;
    StEdit edit(*mMapP); // the insertion and the paste are one edit
    const bool inTicks = iLength.GetType() == Time_eType_Ticks;
    RangeFrame(
        [&]
        {
            const Time_Tick at = ToTick(iAt);
            AllChangesInsertTime(
                at, inTicks ? Time_Tick(iLength.AsInt64())
                            : SamplesToTicksAt(*mMapP, at, Time_Sample(iLength.AsInt64())));
        },
        [&]
        {
            const Time_Tick at = ToTick(iAt);
            if (inTicks)
                AllIDBInsertTime(at, Time_Tick(iLength.AsInt64()),
                                 TicksToSamplesAt(*mMapP, at, Time_Tick(iLength.AsInt64())));
            else
                AllIDBInsertTime(at, SamplesToTicksAt(*mMapP, at, Time_Sample(iLength.AsInt64())),
                                 Time_Sample(iLength.AsInt64()));
        });
    if (iSourceP)
        Paste(iAt, iAt + Time_Typed(iLength), iSourceP);
}

void Time_TempoEdit::Nudge(Time_Typed iStart, Time_Typed iEnd, Time_TypedLength iAmount)
{
    if (iAmount.AsInt64() == 0 || !(iStart < iEnd))
        return;
    auto ticks = [&](Time_Tick* oStart, Time_Tick* oEnd, Time_Tick* oAmount)
    {
        *oStart = ToTick(iStart);
        *oEnd = ToTick(iEnd);
        *oAmount = iAmount.GetType() == Time_eType_Ticks
                       ? Time_Tick(iAmount.AsInt64())
                       : ToTick(iStart + Time_Typed(iAmount)) - *oStart;
    };
    RangeFrame(
        [&]
        {
            Time_Tick start, end, amount;
            ticks(&start, &end, &amount);
            AllChangesNudge(start, end, amount);
        },
        [&]
        {
            Time_Tick start, end, amount;
            ticks(&start, &end, &amount);
            AllIDBNudge(start, end, amount);
        });
}

void Time_TempoEdit::Erase(Time_Typed iStart, Time_Typed iEnd)
{
    CMN_ASSERT_TEXT(iStart <= iEnd, "iStartTime <= iEndTime");
    if (iStart == iEnd)
        return;
    RangeFrame([&] { AllChangesErase(ToTick(iStart), ToTick(iEnd)); },
               [&] { AllIDBErase(ToTick(iStart), ToTick(iEnd)); });
}

// ---- all-changes forms ------------------------------------------------------------------------

void Time_TempoEdit::AllChangesDeleteTime(Time_Tick iStart, Time_Tick iEnd)
{
    const Time_Sample startSample = mMapP->TickToSample(iStart);
    Time_TempoList list;
    GetTempoList(&list, mMapP);
    auto lo = LowerBound(list, iStart);
    auto hi = LowerBound(list, iEnd);
    const bool entryAtEnd = hi != list.end() && hi->mStartTick == iEnd;
    if (lo != hi)
    {
        // The tempo in force at the end stays: the last erased entry moves to the start,
        // unless an entry at the end itself is about to land there.
        Time_TempoListEntry last = *(hi - 1);
        last.mStartTick = iStart;
        lo = list.erase(lo, hi);
        if (!entryAtEnd)
            lo = list.insert(lo, last) + 1;
        hi = lo;
    }
    const Time_Tick length = iEnd - iStart;
    for (auto it = hi; it != list.end(); ++it)
        it->mStartTick -= length;
    if (list.mHasSongStart)
    {
        if (list.mSongStartTick >= iEnd)
            list.mSongStartTick -= length; // on the sample it had
        else if (list.mSongStartTick >= iStart)
        {
            list.mSongStartTick = iStart;
            list.mSongStartSample = startSample;
        }
    }
    SetFromTempoList(mMapP, list);
}

void Time_TempoEdit::AllChangesInsertTime(Time_Tick iAt, Time_Tick iTicks)
{
    Time_TempoList list;
    GetTempoList(&list, mMapP);
    for (auto it = std::upper_bound(list.begin(), list.end(), iAt,
                                    [](Time_Tick t, const Time_TempoListEntry&e)
                                    { return t < e.mStartTick; });
         it != list.end(); ++it)
        it->mStartTick += iTicks;
    if (list.mHasSongStart && list.mSongStartTick > iAt)
        list.mSongStartTick += iTicks; // on the sample it had
    SetFromTempoList(mMapP, list);
}

void Time_TempoEdit::AllChangesNudge(Time_Tick iStart, Time_Tick iEnd, Time_Tick iAmount)
{
    Time_TempoList list;
    GetTempoList(&list, mMapP);
    const Time_Tick newStart = iStart + iAmount, newEnd = iEnd + iAmount;
    // The moved entries, the entries they land on (whose last one is re-entered at the edge of
    // the moved range that faces them), and the rest.
    Time_TempoList result;
    result.mHasSongStart = list.mHasSongStart;
    result.mSongStartTick = list.mSongStartTick;
    result.mSongStartSample = list.mSongStartSample;
    std::vector<Time_TempoListEntry> moved, rest;
    const Time_TempoListEntry* lastCovered = nullptr;
    for (const Time_TempoListEntry& e : list)
    {
        if (!(e.mStartTick < iStart) && e.mStartTick < iEnd)
        {
            moved.push_back(e);
            moved.back().mStartTick += iAmount;
        }
        else if (!(e.mStartTick < newStart) && e.mStartTick < newEnd)
            lastCovered = &e;
        else
            rest.push_back(e);
    }
    if (lastCovered)
    {
        Time_TempoListEntry reentered = *lastCovered;
        reentered.mStartTick = iAmount.AsInt64() > 0 ? newEnd : newStart;
        const bool taken =
            std::any_of(moved.begin(), moved.end(),
                        [&](const auto& m) { return m.mStartTick == reentered.mStartTick; }) ||
            std::any_of(rest.begin(), rest.end(),
                        [&](const auto& r) { return r.mStartTick == reentered.mStartTick; });
        if (!taken)
            rest.push_back(reentered);
    }
    rest.insert(rest.end(), moved.begin(), moved.end());
    std::sort(rest.begin(), rest.end(),
              [](const auto& a, const auto& b) { return a.mStartTick < b.mStartTick; });
    for (const auto& e : rest)
        result.push_back(e);
    if (result.mHasSongStart && !(result.mSongStartTick < iStart) && result.mSongStartTick < iEnd)
    {
        result.mSongStartSample = mMapP->TickToSample(result.mSongStartTick + iAmount);
        result.mSongStartTick += iAmount;
    }
    SetFromTempoList(mMapP, result);
}

void Time_TempoEdit::AllChangesErase(Time_Tick iStart, Time_Tick iEnd)
{
    double bpm = 120.0;
    Time_Tick perBeat;
    mMapP->GetTempoAtTick(&bpm, &perBeat, iStart);
    Time_TempoMap temporary;
    {
        StEdit edit(temporary);
        temporary.SetSampleRate(mMapP->GetSampleRate());
        auto seg = MakeSeg(iStart, bpm, perBeat);
        seg->LockToSample(Time_Sample(0));
        seg->SetIsSongStart(true);
        temporary.AddSegment(std::move(seg));
    }
    Paste(Time_Typed(iStart), Time_Typed(iEnd), &temporary);
}

void Time_TempoEdit::AllChangesPasteTick(Time_Tick iStart, Time_Tick iEnd, Time_TempoMap* iSourceP)
{
    Time_TempoMap source;
    source.ReplaceWith(*iSourceP);
    if (IsEmpty(&source))
        return;
    if (!source.IsAllChanges())
        Time_TempoEdit(&source).ConvertAllToChanges();
    Time_TempoList from, list;
    GetTempoList(&from, &source);
    GetTempoList(&list, mMapP);
    const bool open = iEnd.AsInt64() == Time_cMaxTickTime;
    const Time_TempoListEntry* atEnd = open ? nullptr : InForceAt(list, iEnd);
    const Time_TempoListEntry endTempo = atEnd ? *atEnd : Time_TempoListEntry();
    const Time_Tick shift = iStart - (*source.SegmentBegin())->GetStartTick();

    Time_TempoList result;
    result.mHasSongStart = list.mHasSongStart;
    result.mSongStartTick = list.mSongStartTick;
    result.mSongStartSample = list.mSongStartSample;
    for (const Time_TempoListEntry& e : list)
        if (e.mStartTick < iStart)
            result.push_back(e);
    for (Time_TempoListEntry e : from)
    {
        e.mStartTick += shift;
        if (!(e.mStartTick < iStart) && e.mStartTick < iEnd)
            result.push_back(e);
    }
    if (atEnd && (list.empty() || LowerBound(list, iEnd) == list.end() ||
                  LowerBound(list, iEnd)->mStartTick != iEnd))
    {
        Time_TempoListEntry e = endTempo;
        e.mStartTick = iEnd;
        result.push_back(e);
    }
    for (const Time_TempoListEntry& e : list)
        if (!(e.mStartTick < iEnd))
            result.push_back(e);
    // An entry at either end that repeats the tempo before it has become redundant.
    for (Time_Tick edge : {iEnd, iStart})
    {
        auto it = LowerBound(result, edge);
        if (it != result.begin() && it != result.end() && it->mStartTick == edge &&
            SameTempo(*it, *(it - 1)) && !(result.mHasSongStart && result.mSongStartTick == edge))
            result.erase(it);
    }
    SetFromTempoList(mMapP, result);
}

void Time_TempoEdit::AllChangesCopy(Time_TempoMap* oDestP, Time_Tick iStart, Time_Tick iEnd)
{
    double bpm = 120.0;
    Time_Tick perBeat;
    mMapP->GetTempoAtTick(&bpm, &perBeat, iStart);
    auto first = MakeSeg(Time_Tick(0), bpm, perBeat);
    first->LockToSample(Time_Sample(0));
    first->SetIsSongStart(true);
    oDestP->AddSegment(std::move(first));
    for (Iter it = mMapP->FindSegment(iStart + Time_Tick(1));
         it != mMapP->SegmentEnd() && (*it)->GetStartTick() < iEnd; ++it)
    {
        Ptr seg = (*it)->Clone();
        seg->UnlockFromSample();
        seg->SetIsComputed(false);
        seg->SetIsSongStart(false);
        seg->Offset(Time_Tick(0) - iStart, Time_Sample(0));
        oDestP->AddSegment(std::move(seg));
    }
}

// ---- all-IDB forms ----------------------------------------------------------------------------

void Time_TempoEdit::AllIDBDeleteTime(Time_Tick iStart, Time_Tick iEnd, Time_Sample iStartSample,
                                      Time_Sample iEndSample)
{
    Time_IDBList list;
    GetIDBList(&list, mMapP);
    auto lo = LowerBound(list, iStart);
    auto hi = LowerBound(list, iEnd);
    const bool erased = lo != hi;
    const bool songStart = std::any_of(lo, hi, [](const auto& e) { return e.mIsSongStart; });
    const Time_Tick perBeat =
        erased ? (hi - 1)->mTicksPerBeat : Time_Tick(Time_cInternalTicksPerQuarterNote);
    lo = list.erase(lo, hi);
    for (auto it = lo; it != list.end(); ++it)
    {
        it->mStartTick -= iEnd - iStart;
        it->mStartSample -= iEndSample - iStartSample;
    }
    if (erased)
    {
        if (lo != list.end() && lo->mStartTick == iStart)
            lo->mIsSongStart = lo->mIsSongStart || songStart;
        else
            list.insert(lo, {songStart, iStartSample, iStart, perBeat, false});
    }
    SetIDBComputedFlags(list);
    SetFromIDBList(mMapP, list);
}

void Time_TempoEdit::AllIDBInsertTime(Time_Tick iAt, Time_Tick iTicks, Time_Sample iSamples)
{
    Time_IDBList list;
    GetIDBList(&list, mMapP);
    auto after =
        std::upper_bound(list.begin(), list.end(), iAt,
                         [](Time_Tick t, const Time_IDBListEntry& e) { return t < e.mStartTick; });
    if (after == list.end())
        return; // nothing to move
    // The inserted time is a span of its own, pinned at both ends at the tempo found at iAt:
    // an identified beat at iAt (made there if there is none) and its copy at iAt + iTicks.
    Time_IDBListEntry atEntry{false, mMapP->TickToSample(iAt), iAt, after->mTicksPerBeat, true};
    if (after != list.begin() && (after - 1)->mStartTick == iAt)
        atEntry = *(after - 1);
    else
        after = list.insert(after, atEntry) + 1;
    for (auto it = after; it != list.end(); ++it)
    {
        it->mStartTick += iTicks;
        it->mStartSample += iSamples;
    }
    atEntry.mIsSongStart = false;
    atEntry.mStartTick += iTicks;
    atEntry.mStartSample += iSamples;
    list.insert(after, atEntry);
    SetIDBComputedFlags(list);
    SetFromIDBList(mMapP, list);
}

void Time_TempoEdit::AllIDBNudge(Time_Tick iStart, Time_Tick iEnd, Time_Tick iAmount)
{
    auto deleteTime = [&](Time_Tick a, Time_Tick b)
    { AllIDBDeleteTime(a, b, mMapP->TickToSample(a), mMapP->TickToSample(b)); };
    auto insertTime = [&](Time_Tick at, Time_Tick ticks)
    { AllIDBInsertTime(at, ticks, TicksToSamplesAt(*mMapP, at, ticks)); };
    if (iAmount.AsInt64() < 0)
    {
        deleteTime(iStart + iAmount, iStart);
        insertTime(iEnd + iAmount, Time_Tick(0) - iAmount);
    }
    else
    {
        deleteTime(iEnd, iEnd + iAmount);
        insertTime(iStart, iAmount);
    }
}

void Time_TempoEdit::AllIDBErase(Time_Tick iStart, Time_Tick iEnd)
{
    Time_TempoMap temporary;
    {
        StEdit edit(temporary);
        temporary.SetSampleRate(mMapP->GetSampleRate());
        Ptr first = MakeUnspecified(iStart);
        first->LockToSample(mMapP->TickToSample(iStart));
        first->SetIsComputed(true);
        first->SetIsSongStart(true);
        Ptr second = MakeUnspecified(iEnd);
        second->LockToSample(mMapP->TickToSampleBasedOnReferenceTempoAtTick(iEnd, iStart));
        temporary.AddSegment(std::move(first));
        temporary.AddSegment(std::move(second));
    }
    Paste(Time_Typed(iStart), Time_Typed(iEnd), &temporary);
}

void Time_TempoEdit::AllIDBPasteTick(Time_Tick iStart, Time_Tick iEnd, Time_TempoMap* iSourceP)
{
    Time_TempoMap source;
    source.ReplaceWith(*iSourceP);
    if (IsEmpty(&source))
        return;
    if (!source.IsAllIDB())
        Time_TempoEdit(&source).ConvertAllToIDB();
    Time_IDBList from, list;
    GetIDBList(&from, &source);
    GetIDBList(&list, mMapP);
    if (from.empty())
        return;
    const bool open = iEnd.AsInt64() == Time_cMaxTickTime;
    const Time_Sample startSample = mMapP->TickToSample(iStart);
    const Time_Sample endSample = open ? Time_Sample(INT64_MAX) : mMapP->TickToSample(iEnd);
    const Time_Tick tickShift = iStart - from.front().mStartTick;
    const Time_Sample sampleShift = startSample - from.front().mStartSample;
    const bool songStartCovered =
        std::any_of(list.begin(), list.end(),
                    [&](const auto& e)
                    { return e.mIsSongStart && !(e.mStartTick < iStart) && e.mStartTick < iEnd; });

    Time_IDBList result;
    for (const auto& e : list)
        if (e.mStartTick < iStart)
            AppendRising(result, e);
    bool first = true;
    for (Time_IDBListEntry e : from)
    {
        e.mStartTick += tickShift;
        e.mStartSample += sampleShift;
        e.mIsSongStart = first && songStartCovered;
        first = false;
        if (e.mStartTick < iEnd && e.mStartSample < endSample)
            AppendRising(result, e);
    }
    auto atEnd = LowerBound(list, iEnd);
    if (!open && (atEnd == list.end() || atEnd->mStartTick != iEnd))
        AppendRising(result, {false, endSample, iEnd, from.back().mTicksPerBeat, false});
    for (; atEnd != list.end(); ++atEnd)
        AppendRising(result, *atEnd);
    SetIDBComputedFlags(result);
    SetFromIDBList(mMapP, result);
}

void Time_TempoEdit::AllIDBCopy(Time_TempoMap* oDestP, Time_Tick iStart, Time_Tick iEnd)
{
    const Time_Sample startSample = mMapP->TickToSample(iStart);
    Time_IDBList list;
    list.push_back({true, Time_Sample(0), Time_Tick(0),
                    (*mMapP->FindControllingSegment(iStart))->GetTicksPerBeat(), true});
    for (Iter it = mMapP->FindSegment(iStart + Time_Tick(1));
         it != mMapP->SegmentEnd() && (*it)->GetStartTick() < iEnd; ++it)
        if ((*it)->IsLockedToSample())
            AppendRising(list, {false, (*it)->GetStartSample() - startSample,
                                (*it)->GetStartTick() - iStart, (*it)->GetTicksPerBeat(), true});
    AppendRising(list, {false, mMapP->TickToSample(iEnd) - startSample, iEnd - iStart,
                        list.back().mTicksPerBeat, false});
    SetIDBComputedFlags(list);
    SetFromIDBList(oDestP, list);
}
