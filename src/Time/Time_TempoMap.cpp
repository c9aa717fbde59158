#include "Time_TempoMap.h"

#include <algorithm>
#include <ostream>

#include "Cmn_Assert.h"
#include "Cmn_Exception.h"
#include "Cmn_PolyVectorStream.h"
#include "L10N_ExceptionData.h"
#include "Sys_Semaphore.h"
#include "Sys_StdStreamHeader.h"
#include "Sys_TypedStream.h"
#include "Time_Globals.h"

namespace
{
void Trace(int32_t iStringID)
{
    if (std::ostream* traceP = Time_BasicTempoMap::GetTraceStream())
        *traceP << L10N_ExceptionData(14, iStringID).GetText();
}

bool TickLess(const Time_TempoMapSegment::Ptr& iSeg, Time_Tick iTick)
{
    return iSeg->GetStartTick() < iTick;
}

// A list of half-open tick ranges with subtraction and a sum of sample lengths.
class TickRegion
{
public:
    void Add(Time_Tick iStart, Time_Tick iEnd)
    {
        if (iStart < iEnd)
            mRanges.push_back({iStart, iEnd});
    }
    void Subtract(Time_Tick iStart, Time_Tick iEnd)
    {
        std::vector<Range> rest;
        for (const Range& r : mRanges)
        {
            if (!(iStart < r.mEnd) || !(r.mStart < iEnd))
            {
                rest.push_back(r);
                continue;
            }
            if (r.mStart < iStart)
                rest.push_back({r.mStart, iStart});
            if (iEnd < r.mEnd)
                rest.push_back({iEnd, r.mEnd});
        }
        mRanges.swap(rest);
    }
    Time_Tick TotalTicks() const
    {
        Time_Tick total;
        for (const Range& r : mRanges)
            total += r.mEnd - r.mStart;
        return total;
    }
    double SampleLength(const Time_BasicTempoMap& iBasic) const
    {
        double total = 0.0;
        for (const Range& r : mRanges)
            total +=
                iBasic.TickToFractionalSample(r.mEnd) - iBasic.TickToFractionalSample(r.mStart);
        return total;
    }

private:
    struct Range
    {
        Time_Tick mStart, mEnd;
    };
    std::vector<Range> mRanges;
};
} // namespace

Time_TempoMap::Time_TempoMap()
    : mBasicMap(Time_Globals::GetSampleRate()), mReadLock(Sys_Semaphore::Create(0, 1))
{
}

Time_TempoMap::~Time_TempoMap() = default;

// ---- the edit bracket and the read lock ------------------------------------------------------

void Time_TempoMap::NdoAboutToModify()
{
    Time_TempoMapMessage message{Time_TempoMapMessage::eAboutToModify, mEditCount};
    mListeners.NotifyObservers(message);
}

void Time_TempoMap::BeginEdit()
{
    NdoAboutToModify();
    ++mEditCount;
}

void Time_TempoMap::EndEdit()
{
    CMN_ASSERT_TEXT(mEditCount > 0, "mEditCount > 0");
    if (--mEditCount == 0)
    {
        UpdateBasicMapIfNeeded();
        Time_TempoMapMessage message{Time_TempoMapMessage::eValueChanged, mEditCount};
        mListeners.NotifyObservers(message);
    }
}

void Time_TempoMap::DirtyBasicMap()
{
    if (!mBasicMapDirty)
    {
        mReadLock->Wait();
        mBasicMapDirty = true;
    }
}

bool Time_TempoMap::TryToAcquireReadLock()
{
    return mReadLock->Wait(0) == Sys_SyncObject::eWaitResult_Signalled;
}

void Time_TempoMap::ReleaseReadLock()
{
    mReadLock->Release();
}

// ---- rebuilding the basic list -----------------------------------------------------------------

void Time_TempoMap::ComputeBackwardsCore(Time_BasicTempoMap& ioBasic, SegmentIter iFirst,
                                         SegmentIter iLast)
{
    double sample = static_cast<double>((*iLast)->GetStartSample().AsInt64());
    Time_Tick tick = (*iLast)->GetStartTick();
    for (SegmentIter it = iLast; it != iFirst;)
    {
        --it;
        (*it)->GenerateBackward(ioBasic, sample, tick);
        tick = (*it)->GetStartTick();
        sample = ioBasic.TickToFractionalSample(tick);
    }
}

Time_TempoMap::SegmentIter Time_TempoMap::ComputeBackwardsTo(Time_BasicTempoMap& ioBasic,
                                                             SegmentIter iTargetIter)
{
    CMN_ASSERT_TEXT(iTargetIter != mSegments.end(), "iTargetIter != mSegments.end()");
    SegmentIter locked = std::find_if(iTargetIter + 1, mSegments.end(),
                                      [](const auto& seg) { return seg->IsLockedToSample(); });
    if (locked == mSegments.end())
    {
        Trace(30);
        return locked;
    }
    ComputeBackwardsCore(ioBasic, iTargetIter, locked);
    return locked;
}

void Time_TempoMap::RecomputeBetweenIDBs(Time_BasicTempoMap& ioBasic, SegmentIter iFirst,
                                         SegmentIter iLast)
{
    SegmentIter it = iFirst;
    for (; it != iLast && !(*it)->IsComputed(); ++it)
        (*it)->GenerateForward(ioBasic, nullptr, nullptr);
    ComputeBackwardsCore(ioBasic, it, iLast);
}

bool Time_TempoMap::ValidateBetweenIDBs(SegmentIter iFirst, SegmentIter iLast,
                                        SegmentIter iComputed)
{
    Time_BasicTempoMap basic(mBasicMap.GetSampleRate());
    try
    {
        RecomputeBetweenIDBs(basic, iFirst, iLast);
    }
    catch (const Cmn_AssertException&)
    {
        return false;
    }
    return (*iComputed)->IsComputationValid();
}

void Time_TempoMap::UpdateBasicMapIfNeeded()
{
    if (!mBasicMapDirty || mUpdating)
        return;
    struct StUpdating
    {
        bool& mFlag;
        ~StUpdating() { mFlag = false; }
    } updating{mUpdating};
    mUpdating = true;
    mBasicMap.Clear();
    mBasicMap.Reserve(mSegments.size());
    int32_t lockedCount = 0, unlockedCount = 0;
    if (mSegments.empty())
    {
        Time_BasicTempoMapSegment seg;
        seg.SetTempo(Time_Tick(Time_cDefaultOriginTick), 0.0, mBasicMap.GetSampleRate(), 120.0,
                     Time_Tick(Time_cInternalTicksPerQuarterNote));
        mBasicMap.Add(seg);
    }
    bool anchored = false;
    for (SegmentIter it = mSegments.begin(); it != mSegments.end();)
    {
        Time_TempoMapSegment& seg = **it;
        auto prevP = [&](SegmentIter i)
        { return i == mSegments.begin() ? nullptr : (i - 1)->get(); };
        auto nextP = [&](SegmentIter i)
        { return i + 1 == mSegments.end() ? nullptr : (i + 1)->get(); };
        (seg.IsLockedToSample() ? lockedCount : unlockedCount)++;
        if (!seg.IsComputed() && (seg.IsLockedToSample() || anchored))
        {
            seg.GenerateForward(mBasicMap, prevP(it), nextP(it));
            anchored = true;
            ++it;
            continue;
        }
        SegmentIter found = ComputeBackwardsTo(mBasicMap, it);
        if (found != mSegments.end())
        {
            unlockedCount += static_cast<int32_t>(found - it - 1);
            anchored = true;
            it = found;
            continue;
        }
        CMN_ASSERT_TEXT(it == mSegments.begin(), "0");
        Trace(36);
        double bpm = 120.0;
        Time_Tick ticksPerBeat(Time_cInternalTicksPerQuarterNote);
        seg.GetInitialTempo(&bpm, &ticksPerBeat);
        Time_BasicTempoMapSegment first;
        first.SetTempo(Time_Tick(Time_cDefaultOriginTick), 0.0, mBasicMap.GetSampleRate(), bpm,
                       ticksPerBeat);
        mBasicMap.Add(first);
        seg.GenerateForward(mBasicMap, nullptr, nextP(it));
        anchored = true;
        ++it;
    }
    SegmentIter songStart = FindSongStart();
    if (songStart == mSegments.end())
    {
        mSongStartTick = Time_Tick(Time_cDefaultOriginTick);
        mSessionStartTick = Time_Tick(Time_cDefaultOriginTick);
        mSongStartSample = Time_Sample(0);
    }
    else
    {
        mSongStartTick = (*songStart)->GetStartTick();
        mSongStartSample = (*songStart)->GetStartSample();
        mSessionStartTick = mBasicMap.SampleToTick(Time_Sample(0));
    }
    mIsAllChanges = lockedCount < 2;
    mIsAllIDB = unlockedCount == 0;
    mBasicMapDirty = false;
    mUpdating = false;
    mReadLock->Release();
}

// ---- conversions ------------------------------------------------------------------------------

const Time_BasicTempoMap& Time_TempoMap::GetBasicMap()
{
    UpdateBasicMapIfNeeded();
    return mBasicMap;
}

Time_Sample Time_TempoMap::TickToSample(Time_Tick iTick)
{
    return GetBasicMap().TickToSample(iTick);
}
Time_Tick Time_TempoMap::SampleToTick(Time_Sample iSample)
{
    return GetBasicMap().SampleToTick(iSample);
}
Time_Sample Time_TempoMap::TickToFirstSample(Time_Tick iTick)
{
    return GetBasicMap().TickToFirstSample(iTick);
}
Time_Tick Time_TempoMap::SampleToFirstTick(Time_Sample iSample)
{
    return GetBasicMap().SampleToFirstTick(iSample);
}
Time_Sample Time_TempoMap::NextTickToSample(Time_Tick iTick)
{
    return GetBasicMap().NextTickToSample(iTick);
}
Time_Tick Time_TempoMap::NextSampleToTick(Time_Sample iSample)
{
    return GetBasicMap().NextSampleToTick(iSample);
}
double Time_TempoMap::TickToFractionalSample(Time_Tick iTick)
{
    return GetBasicMap().TickToFractionalSample(iTick);
}
Time_Sample Time_TempoMap::NextTickToFirstSample(Time_Tick iTick)
{
    return GetBasicMap().NextTickToFirstSample(iTick);
}
Time_Tick Time_TempoMap::NextSampleToFirstTick(Time_Sample iSample)
{
    return GetBasicMap().NextSampleToFirstTick(iSample);
}

// ---- queries
// --------------------------------------------------------------------------------------

Time_Tick Time_TempoMap::GetSongStartTick()
{
    UpdateBasicMapIfNeeded();
    return mSongStartTick;
}

Time_Sample Time_TempoMap::GetSongStartSample()
{
    UpdateBasicMapIfNeeded();
    return mSongStartSample;
}

Time_Tick Time_TempoMap::GetSessionStartTick()
{
    UpdateBasicMapIfNeeded();
    return mSessionStartTick;
}

bool Time_TempoMap::IsAllChanges()
{
    UpdateBasicMapIfNeeded();
    return mIsAllChanges;
}

bool Time_TempoMap::IsAllIDB()
{
    UpdateBasicMapIfNeeded();
    return mIsAllIDB;
}

bool Time_TempoMap::IsNumberOfLockedSegmentsLessThan(int32_t iCount) const
{
    int32_t locked = 0;
    for (const auto& seg : mSegments)
        if (seg->IsLockedToSample() && ++locked >= iCount)
            return false;
    return locked < iCount;
}

Time_Sample Time_TempoMap::GetMaxSample()
{
    if (mSegments.empty())
        return Time_Sample(0);
    const Time_TempoMapSegment& last = *mSegments.back();
    Time_Sample sample =
        last.IsLockedToSample() ? last.GetStartSample() : TickToSample(last.GetStartTick());
    return sample.AsInt64() == INT64_MAX ? sample : sample + Time_Sample(1);
}

Time_TempoMap::SegmentIter Time_TempoMap::FindSegment(Time_Tick iTick)
{
    return std::lower_bound(mSegments.begin(), mSegments.end(), iTick, TickLess);
}

Time_TempoMap::SegmentIter Time_TempoMap::FindControllingSegment(Time_Tick iTick)
{
    auto it =
        std::upper_bound(mSegments.begin(), mSegments.end(), iTick,
                         [](Time_Tick t, const auto& seg) { return t < seg->GetStartTick(); });
    return it == mSegments.begin() ? it : it - 1;
}

Time_TempoMap::SegmentIter Time_TempoMap::FindSegmentBySample(Time_Sample iSample)
{
    return std::lower_bound(mSegments.begin(), mSegments.end(), iSample,
                            [this](const Time_TempoMapSegment::Ptr& seg, Time_Sample s)
                            { return TickToSample(seg->GetStartTick()) < s; });
}

void Time_TempoMap::GetMaxMinBPM(Time_Tick iStart, Time_Tick iEnd, double* oMax, double* oMin)
{
    *oMax = 0.0;
    *oMin = 1000000.0;
    for (SegmentIter it = FindControllingSegment(iStart);
         it != mSegments.end() && (*it)->GetStartTick() < iEnd; ++it)
    {
        if ((*it)->GetTypeID() != Time_TempoMapSegment::eConstantTempoSeg)
            continue;
        const double bpm = static_cast<const Time_ConstantTempoSeg&>(**it).GetBeatsPerMinute();
        *oMax = std::max(*oMax, bpm);
        *oMin = std::min(*oMin, bpm);
    }
}

Time_TempoMap::SegmentIter Time_TempoMap::FindSongStart()
{
    return std::find_if(mSegments.begin(), mSegments.end(),
                        [](const auto& seg)
                        { return seg->IsSongStart() && seg->IsLockedToSample(); });
}

void Time_TempoMap::GetTempoAtTick(double* oBeatsPerMinute, Time_Tick* oTicksPerBeat,
                                   Time_Tick iTick)
{
    Time_Tick ticksPerBeat(Time_cInternalTicksPerQuarterNote);
    SegmentIter it = FindControllingSegment(iTick);
    if (it != mSegments.end())
    {
        if ((*it)->GetTypeID() == Time_TempoMapSegment::ePreviousTempoSeg)
        {
            if (it == mSegments.begin())
            {
                *oBeatsPerMinute = 120.0;
                *oTicksPerBeat = ticksPerBeat;
                return;
            }
            --it;
            CMN_ASSERT_TEXT((*it)->GetTypeID() != Time_TempoMapSegment::ePreviousTempoSeg,
                            "(*iter)->GetTypeID() != Time_TempoMapSegment::ePreviousTempoSeg");
        }
        ticksPerBeat = (*it)->GetTicksPerBeat();
    }
    const Time_BasicTempoMap& basic = GetBasicMap();
    const Time_BasicTempoMapSegment& seg = basic.GetNumSegments()
                                               ? basic.GetSegment(basic.FindByTick(iTick))
                                               : Time_BasicTempoMapSegment();
    *oBeatsPerMinute = seg.GetBeatsPerMinute(basic.GetSampleRate(), ticksPerBeat);
    *oTicksPerBeat = ticksPerBeat;
}

void Time_TempoMap::GetLengthConstraintsForRange(LengthConstraints* oConstraints, Time_Tick iStart,
                                                 Time_Tick iEnd, const Time_TempoLimits& iLimits)
{
    *oConstraints = LengthConstraints();
    const Time_BasicTempoMap& basic = GetBasicMap();
    // The nearest locked segment at or before iStart, and at or after iEnd.
    SegmentIter left = mSegments.end();
    for (SegmentIter it = mSegments.begin();
         it != mSegments.end() && !(iStart < (*it)->GetStartTick()); ++it)
        if ((*it)->IsLockedToSample())
            left = it;
    SegmentIter right = std::find_if(FindSegment(iEnd), mSegments.end(),
                                     [](const auto& seg) { return seg->IsLockedToSample(); });
    if (left == mSegments.end() || right == mSegments.end())
    {
        oConstraints->mIsUnconstrained = true;
        return;
    }
    const Time_Tick leftTick = (*left)->GetStartTick(), rightTick = (*right)->GetStartTick();
    const double lockedSpan =
        static_cast<double>(((*right)->GetStartSample() - (*left)->GetStartSample()).AsInt64());
    if (leftTick == iStart && rightTick == iEnd)
    {
        oConstraints->mMinimum = oConstraints->mMaximum = lockedSpan;
        oConstraints->mIsFixed = true;
        return;
    }
    SegmentIter computedIter =
        std::find_if(left, right, [](const auto& seg) { return seg->IsComputed(); });
    if (computedIter == right)
        computedIter = this->SegmentEnd();
    CMN_ASSERT_TEXT(computedIter != this->SegmentEnd(), "computedIter != this->SegmentEnd()");
    const Time_Tick computedStart = (*computedIter)->GetStartTick();
    const Time_Tick computedEnd = (*(computedIter + 1))->GetStartTick();
    TickRegion computedPart, rest;
    computedPart.Add(computedStart, computedEnd);
    computedPart.Subtract(iStart, iEnd);
    rest.Add(leftTick, rightTick);
    rest.Subtract(computedStart, computedEnd);
    rest.Subtract(iStart, iEnd);
    const double fixedPart = rest.SampleLength(basic);
    double minComputed = 0.0, maxComputed = 0.0;
    (*computedIter)
        ->ComputeSampleLengthLimits(&minComputed, &maxComputed, computedPart.TotalTicks(), iLimits,
                                    basic.GetSampleRate());
    oConstraints->mMinimum = lockedSpan - (fixedPart + maxComputed);
    oConstraints->mMaximum = lockedSpan - (fixedPart + minComputed);
}

// ---- edits
// ------------------------------------------------------------------------------------------

void Time_TempoMap::InsertSorted(SegmentList& ioList, Time_TempoMapSegment::Ptr iSegmentP)
{
    auto it = std::lower_bound(ioList.begin(), ioList.end(), iSegmentP->GetStartTick(), TickLess);
    if (it != ioList.end() && (*it)->GetStartTick() == iSegmentP->GetStartTick())
        *it = std::move(iSegmentP);
    else
        ioList.insert(it, std::move(iSegmentP));
}

void Time_TempoMap::AddSegment(Time_TempoMapSegment::Ptr iSegmentP)
{
    CMN_ASSERT_TEXT(0 != iSegmentP.get(), "0 != iSegmentP.get()");
    Time_TempoMap_StEditOptimizer edit(*this);
    InsertSorted(mSegments, std::move(iSegmentP));
    DirtyBasicMap();
}

void Time_TempoMap::DeleteSegment(SegmentIter iIter)
{
    Time_TempoMap_StEditOptimizer edit(*this);
    mSegments.erase(iIter);
    DirtyBasicMap();
}

void Time_TempoMap::Clear()
{
    Time_TempoMap_StEditOptimizer edit(*this);
    mSegments.clear();
    DirtyBasicMap();
}

void Time_TempoMap::EraseSegments(SegmentIter iFirst, SegmentIter iLast)
{
    Time_TempoMap_StEditOptimizer edit(*this);
    mSegments.erase(iFirst, iLast);
    DirtyBasicMap();
}

void Time_TempoMap::EraseSegments(Time_Tick iStart, Time_Tick iEnd)
{
    if (!(iStart < iEnd))
        return;
    EraseSegments(FindSegment(iStart), FindSegment(iEnd));
}

void Time_TempoMap::EraseLockedSegmentsBySample(Time_Sample iStart, Time_Sample iEnd)
{
    SegmentIter first = mSegments.end(), last = mSegments.end();
    for (SegmentIter it = mSegments.begin(); it != mSegments.end(); ++it)
    {
        if (!(*it)->IsLockedToSample())
            continue;
        const Time_Sample sample = (*it)->GetStartSample();
        if (first == mSegments.end() && sample >= iStart && sample < iEnd)
            first = it;
        if (first != mSegments.end() && sample < iEnd)
            last = it;
    }
    if (first != mSegments.end())
        EraseSegments(first, last + 1);
}

void Time_TempoMap::ReplaceWith(const Time_TempoMap& iOther)
{
    if (&iOther == this)
        return;
    SegmentList copy;
    copy.reserve(iOther.mSegments.size());
    for (const auto& seg : iOther.mSegments)
        copy.push_back(seg->Clone());
    Time_TempoMap_StEditOptimizer edit(*this);
    DirtyBasicMap();
    mSegments.swap(copy);
    mBasicMap.SetSampleRate(iOther.mBasicMap.GetSampleRate());
    mSongStartSupplied = iOther.mSongStartSupplied;
}

Time_TempoMap& Time_TempoMap::operator=(const Time_TempoMap& iOther)
{
    ReplaceWith(iOther);
    return *this;
}

void Time_TempoMap::Offset(Time_Sample iSamples)
{
    TransformSamples(Time_OffsetSampleTransform(iSamples));
}

void Time_TempoMap::TransformSamples(const Time_SampleTransform& iTransform)
{
    Time_TempoMap_StEditOptimizer edit(*this);
    DirtyBasicMap();
    for (auto& seg : mSegments)
        seg->TransformSamples(iTransform);
}

void Time_TempoMap::SetSampleRate(double iSampleRate)
{
    Time_TempoMap_StEditOptimizer edit(*this);
    DirtyBasicMap();
    mBasicMap.SetSampleRate(iSampleRate);
}

void Time_TempoMap::EnsureExactlyOneComputedSegmentInRange(SegmentIter iLeft, SegmentIter iRight)
{
    bool found = false;
    for (SegmentIter it = iLeft; it != iRight; ++it)
    {
        if ((*it)->IsComputed() && !found)
            found = true;
        else
            (*it)->SetIsComputed(false);
    }
    if (!found)
        (*iLeft)->SetIsComputed(true);
}

void Time_TempoMap::ClearComputedFlagsInRange(SegmentIter iLeft, SegmentIter iRight)
{
    for (SegmentIter it = iLeft; it != iRight; ++it)
        (*it)->SetIsComputed(false);
}

void Time_TempoMap::FixUpComputedFlagsAroundTick(Time_Tick iTick)
{
    Time_TempoMap_StEditOptimizer edit(*this);
    DirtyBasicMap();
    for (int pass = 0; pass < 2; ++pass)
    {
        SegmentIter at = FindSegment(iTick);
        SegmentIter right = std::find_if(at, mSegments.end(),
                                         [](const auto& seg) { return seg->IsLockedToSample(); });
        SegmentIter left = mSegments.end();
        for (SegmentIter it = at; it != mSegments.begin();)
            if ((*--it)->IsLockedToSample())
            {
                left = it;
                break;
            }
        if (left != mSegments.end() && right != mSegments.end())
            EnsureExactlyOneComputedSegmentInRange(left, right);
        else
            ClearComputedFlagsInRange(left == mSegments.end() ? mSegments.begin() : left, right);
        if (right == mSegments.end() || (*right)->GetStartTick() != iTick)
            break;
        iTick = iTick + Time_Tick(1);
    }
}

bool Time_TempoMap::EnsureSongStart()
{
    if (std::any_of(mSegments.begin(), mSegments.end(),
                    [](const auto& seg) { return seg->IsLockedToSample() && seg->IsSongStart(); }))
        return false;
    Time_TempoMap_StEditOptimizer edit(*this);
    DirtyBasicMap();
    mSongStartSupplied = true;
    auto locked = std::find_if(mSegments.begin(), mSegments.end(),
                               [](const auto& seg) { return seg->IsLockedToSample(); });
    if (locked != mSegments.end())
    {
        (*locked)->SetIsSongStart(true);
        return true;
    }
    double bpm = 120.0;
    Time_Tick ticksPerBeat(Time_cInternalTicksPerQuarterNote);
    if (!mSegments.empty() && mSegments.front()->IsFullySpecified())
        mSegments.front()->GetInitialTempo(&bpm, &ticksPerBeat);
    auto seg = std::make_unique<Time_ConstantTempoSeg>(Time_Tick(Time_cDefaultOriginTick), bpm,
                                                       ticksPerBeat);
    seg->LockToSample(Time_Sample(0));
    seg->SetIsSongStart(true);
    InsertSorted(mSegments, std::move(seg));
    return true;
}

// ---- the saved form
// ------------------------------------------------------------------------------------

void Time_TempoMap::StreamOut(Sys_TypedOutStream& ioStream) const
{
    Sys_StdStreamHeaderWriter header(ioStream, "Tempo", 2);
    ioStream << static_cast<int32_t>(mSegments.size());
    for (const auto& seg : mSegments)
    {
        ioStream << static_cast<int32_t>(seg->GetTypeID());
        seg->StreamOut(ioStream);
    }
    header.PatchSize();
}

void Time_TempoMap::StreamIn(Sys_TypedInStream& ioStream)
{
    Sys_StdStreamHeaderReader header(ioStream, "Tempo");
    header.CheckVersion(2, 2);
    const int32_t count = ioStream.Read<int32_t>();
    if (count < 0)
        L10N_Throw(14, 28);
    // Grows by what the stream holds, never by the stated count: each segment consumes bytes.
    SegmentList segments;
    for (int32_t i = 0; i < count; ++i)
    {
        const int32_t type = ioStream.Read<int32_t>();
        if (type != Time_TempoMapSegment::eConstantTempoSeg &&
            type != Time_TempoMapSegment::ePreviousTempoSeg)
            L10N_Throw(14, 38);
        InsertSorted(segments, Time_ConstantTempoSeg::StreamInNew(
                                   ioStream, type == Time_TempoMapSegment::ePreviousTempoSeg));
    }
    header.SkipTheRest();
    Time_TempoMap_StEditOptimizer edit(*this);
    mSegments.swap(segments);
    DirtyBasicMap();
    EnsureSongStart();
}

// ---- undo
// ------------------------------------------------------------------------------------------

std::unique_ptr<Time_TempoMap_NdoState> Time_TempoMap::NdoGetState() const
{
    auto state = std::make_unique<Time_TempoMap_NdoState>();
    Cmn_PolyVectorOutStream bytes(&state->mData);
    Sys_CrossPlatformOutStream out(&bytes);
    StreamOut(out);
    state->mSampleRate = mBasicMap.GetSampleRate();
    return state;
}

void Time_TempoMap::NdoRestoreState(const Time_TempoMap_NdoState& iState)
{
    Cmn_PolyVectorInStream bytes(iState.mData);
    Sys_CrossPlatformInStream in(&bytes);
    Time_TempoMap_StEditOptimizer edit(*this);
    StreamIn(in);
    DirtyBasicMap();
    mBasicMap.SetSampleRate(iState.mSampleRate);
}
