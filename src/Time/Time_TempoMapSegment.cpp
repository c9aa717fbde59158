#include "Time_TempoMapSegment.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ostream>
#include <sstream>

#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
#include "Sys_StdStreamHeader.h"
#include "Sys_TypedStream.h"

namespace
{
std::ostream* sTraceStreamP = nullptr;

double Diff(Time_Tick iA, Time_Tick iB)
{
    return static_cast<double>(iA.AsInt64()) - static_cast<double>(iB.AsInt64());
}

// iStart + floor value, saturating at the ends of the 64-bit range.
Time_Tick AddFloor(Time_Tick iStart, double iFloored)
{
    int64_t sum = 0;
    if (__builtin_add_overflow(iStart.AsInt64(), Time_Truncate(iFloored), &sum))
        sum = iFloored < 0 ? INT64_MIN : INT64_MAX;
    return Time_Tick(sum);
}

// A floored sample, capped at 0x7FFFFFFF; a negative value stands.
Time_Sample CapSample(double iFloored)
{
    if (iFloored > static_cast<double>(Time_cMaxSampleTime))
        return Time_Sample(Time_cMaxSampleTime);
    return Time_Sample(Time_Truncate(iFloored));
}

Time_BasicTempoMapSegment MakeDefaultSegment(double iSampleRate)
{
    Time_BasicTempoMapSegment seg;
    seg.SetTempo(Time_Tick(Time_cDefaultOriginTick), 0.0, iSampleRate, 120.0,
                 Time_Tick(Time_cInternalTicksPerQuarterNote));
    return seg;
}
} // namespace

// ---- Time_BasicTempoMapSegment --------------------------------------------------------------

void Time_BasicTempoMapSegment::SetTempo(Time_Tick iStartTick, double iFractionalStartSample,
                                         double iSampleRate, double iBeatsPerMinute,
                                         Time_Tick iTicksPerBeat)
{
    mStartTick = iStartTick;
    mFractionalStartSample = iFractionalStartSample;
    const double ticksPerMinute = static_cast<double>(iTicksPerBeat.AsInt64()) * iBeatsPerMinute;
    mSamplesPerTick = iSampleRate * 60.0 / ticksPerMinute;
    mTicksPerSample = ticksPerMinute / (iSampleRate * 60.0);
}

void Time_BasicTempoMapSegment::SetEndSample(Time_Tick iStartTick, Time_Tick iEndTick,
                                             double iFractionalStartSample,
                                             double iFractionalEndSample)
{
    CMN_ASSERT_TEXT(iEndTick > iStartTick, "iEndTick > iStartTick");
    CMN_ASSERT_TEXT(iFractionalEndSample > iFractionalStartSample,
                    "iFractionalEndSample > iFractionalStartSample");
    mStartTick = iStartTick;
    mFractionalStartSample = iFractionalStartSample;
    const double samples = iFractionalEndSample - iFractionalStartSample;
    const double ticks = Diff(iEndTick, iStartTick);
    mSamplesPerTick = samples / ticks;
    mTicksPerSample = ticks / samples;
}

void Time_BasicTempoMapSegment::SetBackTempo(Time_Tick iStartTick, Time_Tick iEndTick,
                                             double iFractionalEndSample, double iSampleRate,
                                             double iBeatsPerMinute, Time_Tick iTicksPerBeat)
{
    CMN_ASSERT_TEXT(iSampleRate != 0, "iSampleRate != 0");
    SetTempo(iStartTick, 0.0, iSampleRate, iBeatsPerMinute, iTicksPerBeat);
    mFractionalStartSample = iFractionalEndSample - Diff(iEndTick, iStartTick) * mSamplesPerTick;
}

double Time_BasicTempoMapSegment::GetBeatsPerMinute(double iSampleRate,
                                                    Time_Tick iTicksPerBeat) const
{
    return static_cast<double>(Time_Truncate(iSampleRate * mTicksPerSample * 60.0 + 0.5)) /
           static_cast<double>(iTicksPerBeat.AsInt64());
}

double Time_BasicTempoMapSegment::TickToFractionalSample(Time_Tick iTick) const
{
    return Diff(iTick, mStartTick) * mSamplesPerTick + mFractionalStartSample;
}

Time_Sample Time_BasicTempoMapSegment::TickToSample(Time_Tick iTick) const
{
    return CapSample(
        std::floor(Diff(iTick, mStartTick) * mSamplesPerTick + mFractionalStartSample + 0.5));
}

Time_Tick Time_BasicTempoMapSegment::FractionalSampleToTick(double iSample) const
{
    return AddFloor(mStartTick,
                    std::floor((iSample - mFractionalStartSample) * mTicksPerSample + 0.5));
}

Time_Tick Time_BasicTempoMapSegment::SampleToTick(Time_Sample iSample) const
{
    return FractionalSampleToTick(static_cast<double>(iSample.AsInt64()));
}

Time_Sample Time_BasicTempoMapSegment::TickToFirstSample(Time_Tick iTick) const
{
    Time_Sample s = CapSample(std::floor((Diff(iTick, mStartTick) - 0.5) * mSamplesPerTick +
                                         mFractionalStartSample + 0.5));
    if (SampleToTick(s) < iTick && s.AsInt64() < INT64_MAX)
        ++s;
    return s;
}

Time_Tick Time_BasicTempoMapSegment::SampleToFirstTick(Time_Sample iSample) const
{
    const double s = static_cast<double>(iSample.AsInt64());
    Time_Tick t = AddFloor(mStartTick,
                           std::floor((s - mFractionalStartSample - 0.5) * mTicksPerSample + 0.5));
    if (TickToSample(t) < iSample && t.AsInt64() < INT64_MAX)
        ++t;
    return t;
}

// ---- Time_BasicTempoMap ---------------------------------------------------------------------

Time_BasicTempoMap::Time_BasicTempoMap(const Time_BasicTempoMap& iOther)
    : mSegments(iOther.mSegments), mStartTicks(iOther.mStartTicks),
      mStartSamples(iOther.mStartSamples), mSampleRate(iOther.mSampleRate),
      mCursor(iOther.mCursor.load())
{
}

Time_BasicTempoMap& Time_BasicTempoMap::operator=(const Time_BasicTempoMap& iOther)
{
    mSegments = iOther.mSegments;
    mStartTicks = iOther.mStartTicks;
    mStartSamples = iOther.mStartSamples;
    mSampleRate = iOther.mSampleRate;
    mCursor = iOther.mCursor.load();
    return *this;
}

namespace
{
// An integer that orders as the double does (-0.0 as +0.0; the samples are never NaN):
// positive doubles order as their bits, negative ones as their bits with the magnitude turned
// around.
int64_t SampleOrderKey(double iSample)
{
    const double value = iSample + 0.0;
    int64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits < 0 ? bits ^ INT64_MAX : bits;
}
} // namespace

void Time_BasicTempoMap::Clear()
{
    mSegments.clear();
    mStartTicks.clear();
    mStartSamples.clear();
    mCursor = 0;
}

void Time_BasicTempoMap::SetTraceStream(std::ostream* iStreamP)
{
    sTraceStreamP = iStreamP;
}
std::ostream* Time_BasicTempoMap::GetTraceStream()
{
    return sTraceStreamP;
}

void Time_BasicTempoMap::Add(const Time_BasicTempoMapSegment& iSegment)
{
    size_t at = mSegments.size();
    if (!mSegments.empty() && iSegment.GetStartTick() < mSegments.back().GetStartTick())
        at = static_cast<size_t>(std::lower_bound(mStartTicks.begin(), mStartTicks.end(),
                                                  iSegment.GetStartTick().AsInt64()) -
                                 mStartTicks.begin());
    mSegments.insert(mSegments.begin() + static_cast<ptrdiff_t>(at), iSegment);
    mStartTicks.insert(mStartTicks.begin() + static_cast<ptrdiff_t>(at),
                       iSegment.GetStartTick().AsInt64());
    mStartSamples.insert(mStartSamples.begin() + static_cast<ptrdiff_t>(at),
                         SampleOrderKey(iSegment.GetFractionalStartSample()));
    if (sTraceStreamP)
    {
        std::ostringstream qpm;
        qpm << iSegment.GetBeatsPerMinute(mSampleRate,
                                          Time_Tick(Time_cInternalTicksPerQuarterNote));
        *sTraceStreamP << L10N_ExceptionData(14, 2,
                                             std::to_string(static_cast<int64_t>(
                                                 iSegment.GetFractionalStartSample())),
                                             std::to_string(iSegment.GetStartTick().AsInt64()),
                                             qpm.str())
                              .GetText();
    }
}

const Time_BasicTempoMapSegment& Time_BasicTempoMap::At(size_t iIndex) const
{
    static thread_local Time_BasicTempoMapSegment sDefault;
    if (mSegments.empty())
    {
        sDefault = MakeDefaultSegment(mSampleRate);
        return sDefault;
    }
    return mSegments[iIndex];
}

namespace
{
// The index of the last key not above iKey (by !(iKey < key), as std::upper_bound), or 0 when
// every key lies above it: a binary search without branches on the data down to a window of
// at most four keys, whose not-above keys are then counted. Before the count, the segments
// of the window are asked for (iSegments, parallel to the keys), so that the load of the
// segment found overlaps the last comparisons instead of following them.
template <class K, class S>
size_t LastNotAbove(const std::vector<K>& iKeys, K iKey, const std::vector<S>& iSegments)
{
    size_t n = iKeys.size();
    if (n == 0)
        return 0;
    const K* base = iKeys.data();
    while (n > 4)
    {
        const size_t half = n / 2;
        base = !(iKey < base[half]) ? base + half : base;
        n -= half;
    }
    const size_t first = static_cast<size_t>(base - iKeys.data());
    __builtin_prefetch(iSegments.data() + first);
    __builtin_prefetch(iSegments.data() + first + n - 1);
    size_t upper = first;
    for (size_t i = 0; i < n; ++i)
        upper += !(iKey < base[i]);
    return upper == 0 ? 0 : upper - 1;
}
} // namespace

size_t Time_BasicTempoMap::FindByTick(Time_Tick iTick) const
{
    return LastNotAbove(mStartTicks, iTick.AsInt64(), mSegments);
}

size_t Time_BasicTempoMap::FindBySample(double iSample) const
{
    return LastNotAbove(mStartSamples, SampleOrderKey(iSample), mSegments);
}

double Time_BasicTempoMap::TickToFractionalSample(Time_Tick iTick) const
{
    if (!mSegments.empty() && !(iTick < mSegments.back().GetStartTick()))
        return mSegments.back().TickToFractionalSample(iTick);
    return At(FindByTick(iTick)).TickToFractionalSample(iTick);
}

Time_Sample Time_BasicTempoMap::TickToSample(Time_Tick iTick) const
{
    const size_t index = FindByTick(iTick);
    mCursor.store(index, std::memory_order_relaxed);
    return At(index).TickToSample(iTick);
}

Time_Tick Time_BasicTempoMap::SampleToTick(Time_Sample iSample) const
{
    const size_t index = FindBySample(static_cast<double>(iSample.AsInt64()));
    mCursor.store(index, std::memory_order_relaxed);
    return At(index).SampleToTick(iSample);
}

Time_Sample Time_BasicTempoMap::TickToFirstSample(Time_Tick iTick) const
{
    const Time_Tick before = iTick.AsInt64() == INT64_MIN ? iTick : iTick - Time_Tick(1);
    return At(FindByTick(before)).TickToFirstSample(iTick);
}

Time_Tick Time_BasicTempoMap::SampleToFirstTick(Time_Sample iSample) const
{
    return At(FindBySample(static_cast<double>(iSample.AsInt64()) - 0.5))
        .SampleToFirstTick(iSample);
}

size_t Time_BasicTempoMap::NextIndexByTick(Time_Tick iTick) const
{
    const size_t cursor = mCursor.load(std::memory_order_relaxed);
    const size_t n = mSegments.size();
    auto startOf = [this](size_t i) { return mSegments[i].GetStartTick(); };
    if (cursor < n && !(iTick < startOf(cursor)) &&
        (cursor + 1 == n || iTick < startOf(cursor + 1)))
        return cursor;
    size_t index = cursor + 1;
    if (!(cursor + 1 < n && !(iTick < startOf(cursor + 1)) &&
          (cursor + 2 >= n || iTick < startOf(cursor + 2))))
        index = FindByTick(iTick);
    mCursor.store(index, std::memory_order_relaxed);
    return index;
}

size_t Time_BasicTempoMap::NextIndexBySample(double iSample) const
{
    const size_t cursor = mCursor.load(std::memory_order_relaxed);
    const size_t n = mSegments.size();
    auto startOf = [this](size_t i) { return mSegments[i].GetFractionalStartSample(); };
    if (cursor < n && iSample >= startOf(cursor) &&
        (cursor + 1 == n || iSample < startOf(cursor + 1)))
        return cursor;
    size_t index = cursor + 1;
    if (!(cursor + 1 < n && iSample >= startOf(cursor + 1) &&
          (cursor + 2 >= n || iSample < startOf(cursor + 2))))
        index = FindBySample(iSample);
    mCursor.store(index, std::memory_order_relaxed);
    return index;
}

Time_Sample Time_BasicTempoMap::NextTickToSample(Time_Tick iTick) const
{
    return At(NextIndexByTick(iTick)).TickToSample(iTick);
}

Time_Tick Time_BasicTempoMap::NextSampleToTick(Time_Sample iSample) const
{
    return At(NextIndexBySample(static_cast<double>(iSample.AsInt64()))).SampleToTick(iSample);
}

// As TickToFirstSample and SampleToFirstTick: the segment of t - 1, and of s - 0.5.
Time_Sample Time_BasicTempoMap::NextTickToFirstSample(Time_Tick iTick) const
{
    const Time_Tick before = iTick.AsInt64() == INT64_MIN ? iTick : iTick - Time_Tick(1);
    return At(NextIndexByTick(before)).TickToFirstSample(iTick);
}

Time_Tick Time_BasicTempoMap::NextSampleToFirstTick(Time_Sample iSample) const
{
    return At(NextIndexBySample(static_cast<double>(iSample.AsInt64()) - 0.5))
        .SampleToFirstTick(iSample);
}

// ---- Time_TempoLimits -----------------------------------------------------------------------

namespace
{
double TicksPerBeatOverQuarter(Time_Tick iTicksPerBeat)
{
    return static_cast<double>(iTicksPerBeat.AsInt64()) /
           static_cast<double>(Time_cInternalTicksPerQuarterNote);
}
} // namespace

double Time_TempoLimits::GetMinQPM(Time_Tick iTicksPerBeat) const
{
    return std::max(mMinQPM, TicksPerBeatOverQuarter(iTicksPerBeat) * mMinBPM);
}
double Time_TempoLimits::GetMaxQPM(Time_Tick iTicksPerBeat) const
{
    return std::min(mMaxQPM, TicksPerBeatOverQuarter(iTicksPerBeat) * mMaxBPM);
}
double Time_TempoLimits::GetMinBPM(Time_Tick iTicksPerBeat) const
{
    return std::max(mMinBPM, mMinQPM / TicksPerBeatOverQuarter(iTicksPerBeat));
}
double Time_TempoLimits::GetMaxBPM(Time_Tick iTicksPerBeat) const
{
    return std::min(mMaxBPM, mMaxQPM / TicksPerBeatOverQuarter(iTicksPerBeat));
}

double Time_TempoLimits::LimitTempoValue(double iBeatsPerMinute, Time_Tick iTicksPerBeat) const
{
    double bpm = std::clamp(iBeatsPerMinute, mMinBPM, mMaxBPM);
    if (iTicksPerBeat.AsInt64() != Time_cInternalTicksPerQuarterNote)
    {
        const double factor = TicksPerBeatOverQuarter(iTicksPerBeat);
        bpm = std::clamp(bpm * factor, mMinQPM, mMaxQPM) / factor;
    }
    else
        bpm = std::clamp(bpm, mMinQPM, mMaxQPM);
    return bpm;
}

// ---- Time_TempoMapSegment -------------------------------------------------------------------

Time_TempoMapSegment::Time_TempoMapSegment(const Time_TempoMapSegment& iOther)
    : mIsComputed(iOther.mIsComputed), mIsLockedToSample(iOther.mIsLockedToSample),
      mStartSample(iOther.mStartSample), mStartTick(iOther.mStartTick),
      mIsCopyAnchor(iOther.mIsCopyAnchor), mIsSongStart(iOther.mIsSongStart)
{
}

Time_TempoMapSegment::~Time_TempoMapSegment()
{
    const bool valid = mValidCheck == 424;
    mValidCheck = 666;
    if (!valid)
        Cmn_Assert::HandleMagicAssert(false, "mValidCheck == 424@$^$@" __FILE__, __LINE__);
}

Time_Sample Time_TempoMapSegment::GetStartSample() const
{
    CMN_ASSERT_TEXT(mIsLockedToSample, "mIsLockedToSample");
    return mStartSample;
}

void Time_TempoMapSegment::LockToSample(Time_Sample iSample)
{
    mIsLockedToSample = true;
    mStartSample = iSample;
}

void Time_TempoMapSegment::Offset(Time_Tick iTicks, Time_Sample iSamples)
{
    mStartTick += iTicks;
    if (mIsLockedToSample)
        mStartSample += iSamples;
}

void Time_TempoMapSegment::TransformSamples(const Time_SampleTransform& iTransform)
{
    if (mIsLockedToSample)
        mStartSample = iTransform.Transform(mStartSample);
}

void Time_TempoMapSegment::SplitForIDB(Ptr* oLeft, Ptr* oRight, Time_Tick iTick) const
{
    Split(oLeft, oRight, iTick);
    (*oLeft)->SetIsComputed(mIsComputed);
    (*oRight)->SetIsComputed(mIsComputed);
}

void Time_TempoMapSegment::StreamOut(Sys_TypedOutStream& ioStream) const
{
    Sys_StdStreamHeaderWriter header(ioStream, "TMS", 1);
    ioStream << mIsComputed << mIsLockedToSample << mStartSample.AsInt64() << mStartTick.AsInt64()
             << mIsCopyAnchor << mIsSongStart;
    header.PatchSize();
}

void Time_TempoMapSegment::StreamInBase(Sys_TypedInStream& ioStream)
{
    Sys_StdStreamHeaderReader header(ioStream, "TMS");
    header.CheckVersion(1, 1);
    mIsComputed = ioStream.Read<bool>();
    mIsLockedToSample = ioStream.Read<bool>();
    mStartSample = Time_Sample(ioStream.Read<int64_t>());
    mStartTick = Time_Tick(ioStream.Read<int64_t>());
    mIsCopyAnchor = header.IsMoreLeft() ? ioStream.Read<bool>() : false;
    mIsSongStart = header.IsMoreLeft() ? ioStream.Read<bool>() : false;
    header.SkipTheRest();
}

// ---- Time_ConstantTempoSeg ------------------------------------------------------------------

Time_ConstantTempoSeg::Time_ConstantTempoSeg(Time_Tick iStartTick, double iBeatsPerMinute,
                                             Time_Tick iTicksPerBeat)
    : mBeatsPerMinute(iBeatsPerMinute), mTicksPerBeat(iTicksPerBeat)
{
    mStartTick = iStartTick;
}

void Time_ConstantTempoSeg::GenerateForward(Time_BasicTempoMap& ioBasic,
                                            Time_TempoMapSegment* iPrevP,
                                            Time_TempoMapSegment* iNextP)
{
    CMN_ASSERT_TEXT(!IsComputed(), "!this->IsComputed()");
    double bpm = mBeatsPerMinute;
    Time_Tick ticksPerBeat = mTicksPerBeat;
    if (mTempoIsUnspecified)
    {
        if (!mIsLockedToSample || iPrevP)
            return;
        if (!iNextP)
        {
            bpm = 120.0;
            ticksPerBeat = Time_Tick(Time_cInternalTicksPerQuarterNote);
        }
        else
            iNextP->GetInitialTempo(&bpm, &ticksPerBeat);
    }
    const double start = mIsLockedToSample ? static_cast<double>(mStartSample.AsInt64())
                                           : ioBasic.TickToFractionalSample(mStartTick);
    Time_BasicTempoMapSegment seg;
    seg.SetTempo(mStartTick, start, ioBasic.GetSampleRate(), bpm, ticksPerBeat);
    ioBasic.Add(seg);
}

void Time_ConstantTempoSeg::GenerateBackward(Time_BasicTempoMap& ioBasic,
                                             double iFractionalEndSample, Time_Tick iEndTick)
{
    Time_BasicTempoMapSegment seg;
    if (mIsLockedToSample || mIsComputed)
    {
        if (mIsLockedToSample)
            CMN_ASSERT_TEXT(IsComputed(), "this->IsComputed()");
        const double start = mIsLockedToSample ? static_cast<double>(mStartSample.AsInt64())
                                               : ioBasic.TickToFractionalSample(mStartTick);
        seg.SetEndSample(mStartTick, iEndTick, start, iFractionalEndSample);
        mBeatsPerMinute = seg.GetBeatsPerMinute(ioBasic.GetSampleRate(), mTicksPerBeat);
    }
    else
        seg.SetBackTempo(mStartTick, iEndTick, iFractionalEndSample, ioBasic.GetSampleRate(),
                         mBeatsPerMinute, mTicksPerBeat);
    ioBasic.Add(seg);
}

Time_TempoMapSegment::Ptr Time_ConstantTempoSeg::Clone() const
{
    return Ptr(new Time_ConstantTempoSeg(*this));
}

void Time_ConstantTempoSeg::StreamOut(Sys_TypedOutStream& ioStream) const
{
    Sys_StdStreamHeaderWriter header(ioStream, "Const", 1);
    Time_TempoMapSegment::StreamOut(ioStream);
    ioStream << mBeatsPerMinute << mTicksPerBeat.AsInt64() << mTempoIsUnspecified;
    header.PatchSize();
}

std::unique_ptr<Time_ConstantTempoSeg>
Time_ConstantTempoSeg::StreamInNew(Sys_TypedInStream& ioStream, bool iPrevious)
{
    auto seg = std::make_unique<Time_ConstantTempoSeg>();
    Sys_StdStreamHeaderReader header(ioStream, iPrevious ? "Prev" : "Const");
    header.CheckVersion(1, 1);
    seg->StreamInBase(ioStream);
    if (iPrevious)
        seg->mTempoIsUnspecified = true;
    else
    {
        seg->mBeatsPerMinute = ioStream.Read<double>();
        seg->mTicksPerBeat = Time_Tick(ioStream.Read<int64_t>());
        seg->mTempoIsUnspecified = header.IsMoreLeft() ? ioStream.Read<bool>() : false;
    }
    header.SkipTheRest();
    return seg;
}

void Time_ConstantTempoSeg::ComputeSampleLengthLimits(double* oMin, double* oMax, Time_Tick iLength,
                                                      const Time_TempoLimits& iLimits,
                                                      double iSampleRate) const
{
    const double samples = static_cast<double>(iLength.AsInt64()) * iSampleRate * 60.0 /
                           static_cast<double>(Time_cInternalTicksPerQuarterNote);
    *oMin = samples / iLimits.GetMaxQPM(mTicksPerBeat);
    *oMax = samples / iLimits.GetMinQPM(mTicksPerBeat);
}

void Time_ConstantTempoSeg::Split(Ptr* oLeft, Ptr* oRight, Time_Tick iTick) const
{
    *oLeft = Clone();
    (*oLeft)->SetIsComputed(false);
    *oRight = std::make_unique<Time_ConstantTempoSeg>(iTick, mBeatsPerMinute, mTicksPerBeat);
}

void Time_ConstantTempoSeg::GetInitialTempo(double* oBeatsPerMinute, Time_Tick* oTicksPerBeat) const
{
    *oBeatsPerMinute = mBeatsPerMinute;
    *oTicksPerBeat = mTicksPerBeat;
}

void Time_ConstantTempoSeg::SpecifyFromComputedValues()
{
    mTempoIsUnspecified = false;
    mIsComputed = false;
}

void Time_ConstantTempoSeg::SetTempo(double iBeatsPerMinute, Time_Tick iTicksPerBeat)
{
    CMN_ASSERT_TEXT(CanSetTempo(), "this->CanSetTempo()");
    mBeatsPerMinute = iBeatsPerMinute;
    mTicksPerBeat = iTicksPerBeat;
    mTempoIsUnspecified = false;
}

void Time_ConstantTempoSeg::SetTicksPerBeat(Time_Tick iTicksPerBeat)
{
    CMN_ASSERT_TEXT(iTicksPerBeat.AsInt64() != 0, "iTicksPerBeat != 0");
    mBeatsPerMinute = static_cast<double>(mTicksPerBeat.AsInt64()) * mBeatsPerMinute /
                      static_cast<double>(iTicksPerBeat.AsInt64());
    mTicksPerBeat = iTicksPerBeat;
}
