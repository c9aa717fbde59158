// The pieces of a tempo map: the flat segments on which conversions run (Time_BasicTempoMap),
// the user's segments from which they are derived (Time_TempoMapSegment), and tempo limits.
//
// Contract of the flat segments: a segment maps ticks to samples by a straight line through
// (start tick, fractional start sample) with two rates, each computed by its own division.
// Conversions use floor as written below; a tick-to-sample result is capped at 0x7FFFFFFF,
// a negative one stands. Doubles outside the 64-bit range are clamped, never converted out
// of range. Not thread-safe beyond what Time_TempoMap documents.
#pragma once

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <vector>

#include "Time_Types.h"

class Sys_TypedInStream;
class Sys_TypedOutStream;

// ---- flat segments ------------------------------------------------------------------------

class Time_BasicTempoMapSegment
{
public:
    // samples per tick = sampleRate * 60 / (ticksPerBeat * bpm); ticks per sample its own
    // division.
    void SetTempo(Time_Tick iStartTick, double iFractionalStartSample, double iSampleRate,
                  double iBeatsPerMinute, Time_Tick iTicksPerBeat);
    // Asserts "iEndTick > iStartTick" and "iFractionalEndSample > iFractionalStartSample".
    void SetEndSample(Time_Tick iStartTick, Time_Tick iEndTick, double iFractionalStartSample,
                      double iFractionalEndSample);
    // Asserts "iSampleRate != 0"; the start is put where the tempo meets iFractionalEndSample.
    void SetBackTempo(Time_Tick iStartTick, Time_Tick iEndTick, double iFractionalEndSample,
                      double iSampleRate, double iBeatsPerMinute, Time_Tick iTicksPerBeat);
    // A whole number of ticks per minute divided by iTicksPerBeat.
    double GetBeatsPerMinute(double iSampleRate, Time_Tick iTicksPerBeat) const;

    double TickToFractionalSample(Time_Tick iTick) const;
    Time_Sample TickToSample(Time_Tick iTick) const;
    Time_Tick SampleToTick(Time_Sample iSample) const;
    Time_Tick FractionalSampleToTick(double iSample) const;
    Time_Sample TickToFirstSample(Time_Tick iTick) const;
    Time_Tick SampleToFirstTick(Time_Sample iSample) const;

    Time_Tick GetStartTick() const { return mStartTick; }
    double GetFractionalStartSample() const { return mFractionalStartSample; }
    double GetSamplesPerTick() const { return mSamplesPerTick; }
    double GetTicksPerSample() const { return mTicksPerSample; }

private:
    double mFractionalStartSample = 0.0;
    Time_Tick mStartTick;
    double mSamplesPerTick = 0.0;
    double mTicksPerSample = 0.0;
};

// The derived list. Lookups are binary searches: by tick the segment with the greatest start
// tick not above the tick (the first one for earlier ticks), by sample the same on the
// fractional start. An empty list converts as the default map (120 bpm, 960,000 ticks per
// beat, sample 0 at Time_cDefaultOriginTick).
class Time_BasicTempoMap
{
public:
    explicit Time_BasicTempoMap(double iSampleRate = 44100.0) : mSampleRate(iSampleRate) {}
    Time_BasicTempoMap(const Time_BasicTempoMap& iOther);
    Time_BasicTempoMap& operator=(const Time_BasicTempoMap& iOther);

    double GetSampleRate() const { return mSampleRate; }
    void SetSampleRate(double iSampleRate) { mSampleRate = iSampleRate; }
    void Clear();
    void Reserve(size_t iCount) { mSegments.reserve(iCount); }
    // Appends unless the tick is below the last one's; then inserts at the lower bound of
    // its tick. Writes line 1402 to the trace stream when one is set.
    void Add(const Time_BasicTempoMapSegment& iSegment);
    size_t GetNumSegments() const { return mSegments.size(); }
    const Time_BasicTempoMapSegment& GetSegment(size_t iIndex) const { return mSegments[iIndex]; }

    double TickToFractionalSample(Time_Tick iTick) const;
    // These two store the segment found in the cursor.
    Time_Sample TickToSample(Time_Tick iTick) const;
    Time_Tick SampleToTick(Time_Sample iSample) const;
    Time_Sample TickToFirstSample(Time_Tick iTick) const;
    Time_Tick SampleToFirstTick(Time_Sample iSample) const;
    // Monotone walks: constant time while the value stays in the cursor's or the next segment.
    Time_Sample NextTickToSample(Time_Tick iTick) const;
    Time_Tick NextSampleToTick(Time_Sample iSample) const;
    Time_Sample NextTickToFirstSample(Time_Tick iTick) const;
    Time_Tick NextSampleToFirstTick(Time_Sample iSample) const;

    size_t FindByTick(Time_Tick iTick) const;
    size_t FindBySample(double iSample) const;

    // Process-wide; null for none. Set on the main thread.
    static void SetTraceStream(std::ostream* iStreamP);
    static std::ostream* GetTraceStream();

private:
    const Time_BasicTempoMapSegment& At(size_t iIndex) const;
    // The cursor's segment if iTick lies in it, else the next one (the cursor advances), else
    // a full lookup (the cursor is set); the same by fractional sample.
    size_t NextIndexByTick(Time_Tick iTick) const;
    size_t NextIndexBySample(double iSample) const;

    std::vector<Time_BasicTempoMapSegment> mSegments;
    // The start ticks and fractional start samples again, packed for the lookups, whose
    // probes then stay within a few cache lines. The samples are held as integers that order
    // as the doubles do (SampleOrderKey), so both searches compare integers without branches.
    std::vector<int64_t> mStartTicks;
    std::vector<int64_t> mStartSamples;
    double mSampleRate;
    mutable std::atomic<size_t> mCursor{0};
};

// ---- limits and sample transforms ---------------------------------------------------------

class Time_TempoLimits
{
public:
    double GetMinQPM(Time_Tick iTicksPerBeat) const;
    double GetMaxQPM(Time_Tick iTicksPerBeat) const;
    double GetMinBPM(Time_Tick iTicksPerBeat) const;
    double GetMaxBPM(Time_Tick iTicksPerBeat) const;
    double LimitTempoValue(double iBeatsPerMinute, Time_Tick iTicksPerBeat) const;

    double mMinQPM = 5.0;
    double mMaxQPM = 500.0;
    double mMinBPM = 5.0;
    double mMaxBPM = 999.0;
};

class Time_SampleTransform
{
public:
    virtual ~Time_SampleTransform() = default;
    virtual Time_Sample Transform(Time_Sample iSample) const = 0;
};

class Time_OffsetSampleTransform : public Time_SampleTransform
{
public:
    explicit Time_OffsetSampleTransform(Time_Sample iOffset) : mOffset(iOffset) {}
    Time_Sample Transform(Time_Sample iSample) const override { return iSample + mOffset; }

private:
    Time_Sample mOffset;
};

// ---- the user's segments ------------------------------------------------------------------

class Time_TempoMapSegment
{
public:
    enum ETypeID : int32_t
    {
        eConstantTempoSeg = 0,
        ePreviousTempoSeg = 1
    };
    using Ptr = std::unique_ptr<Time_TempoMapSegment>;

    // Asserts "mValidCheck == 424".
    virtual ~Time_TempoMapSegment();
    virtual void GenerateForward(Time_BasicTempoMap& ioBasic, Time_TempoMapSegment* iPrevP,
                                 Time_TempoMapSegment* iNextP) = 0;
    virtual void GenerateBackward(Time_BasicTempoMap& ioBasic, double iFractionalEndSample,
                                  Time_Tick iEndTick) = 0;
    virtual Ptr Clone() const = 0;
    virtual void StreamOut(Sys_TypedOutStream& ioStream) const;
    virtual void ComputeSampleLengthLimits(double* oMin, double* oMax, Time_Tick iLength,
                                           const Time_TempoLimits& iLimits,
                                           double iSampleRate) const = 0;
    virtual void SplitForIDB(Ptr* oLeft, Ptr* oRight, Time_Tick iTick) const;
    virtual void Split(Ptr* oLeft, Ptr* oRight, Time_Tick iTick) const = 0;
    virtual void GetInitialTempo(double* oBeatsPerMinute, Time_Tick* oTicksPerBeat) const = 0;
    virtual bool IsComputationValid() const = 0;
    virtual bool IsFullySpecified() const = 0;
    virtual void SpecifyFromComputedValues() = 0;
    virtual void TransformSamples(const Time_SampleTransform& iTransform);
    virtual ETypeID GetTypeID() const = 0;
    virtual Time_Tick GetTicksPerBeat() const = 0;

    bool IsLockedToSample() const { return mIsLockedToSample; }
    bool IsComputed() const { return mIsComputed; }
    void SetIsComputed(bool iComputed) { mIsComputed = iComputed; }
    bool IsCopyAnchor() const { return mIsCopyAnchor; }
    void SetIsCopyAnchor(bool iAnchor) { mIsCopyAnchor = iAnchor; }
    bool IsSongStart() const { return mIsSongStart; }
    void SetIsSongStart(bool iSongStart) { mIsSongStart = iSongStart; }
    Time_Tick GetStartTick() const { return mStartTick; }
    void SetStartTick(Time_Tick iTick) { mStartTick = iTick; }
    // Asserts "mIsLockedToSample".
    Time_Sample GetStartSample() const;
    void LockToSample(Time_Sample iSample);
    void UnlockFromSample() { mIsLockedToSample = false; }
    void Offset(Time_Tick iTicks, Time_Sample iSamples);

    // Reads a "TMS" block into the base fields (the two trailing flags default to false).
    void StreamInBase(Sys_TypedInStream& ioStream);

protected:
    Time_TempoMapSegment() = default;
    Time_TempoMapSegment(const Time_TempoMapSegment& iOther);
    Time_TempoMapSegment& operator=(const Time_TempoMapSegment&) = delete;

    bool mIsComputed = false;
    bool mIsLockedToSample = false;
    Time_Sample mStartSample;
    Time_Tick mStartTick;
    bool mIsCopyAnchor = false;
    bool mIsSongStart = false;
    int32_t mValidCheck = 424;
};

class Time_ConstantTempoSeg : public Time_TempoMapSegment
{
public:
    explicit Time_ConstantTempoSeg(
        Time_Tick iStartTick = Time_Tick(Time_cDefaultOriginTick), double iBeatsPerMinute = 120.0,
        Time_Tick iTicksPerBeat = Time_Tick(Time_cInternalTicksPerQuarterNote));

    void GenerateForward(Time_BasicTempoMap& ioBasic, Time_TempoMapSegment* iPrevP,
                         Time_TempoMapSegment* iNextP) override;
    void GenerateBackward(Time_BasicTempoMap& ioBasic, double iFractionalEndSample,
                          Time_Tick iEndTick) override;
    Ptr Clone() const override;
    // A "Const" block: "TMS" block, double bpm, 64-bit ticks per beat, bool unspecified.
    void StreamOut(Sys_TypedOutStream& ioStream) const override;
    void ComputeSampleLengthLimits(double* oMin, double* oMax, Time_Tick iLength,
                                   const Time_TempoLimits& iLimits,
                                   double iSampleRate) const override;
    void Split(Ptr* oLeft, Ptr* oRight, Time_Tick iTick) const override;
    void GetInitialTempo(double* oBeatsPerMinute, Time_Tick* oTicksPerBeat) const override;
    bool IsComputationValid() const override { return mBeatsPerMinute > 0.0; }
    bool IsFullySpecified() const override { return !mTempoIsUnspecified; }
    void SpecifyFromComputedValues() override;
    ETypeID GetTypeID() const override { return eConstantTempoSeg; }
    Time_Tick GetTicksPerBeat() const override { return mTicksPerBeat; }

    bool CanSetTempo() const { return !IsComputed(); }
    // Asserts "this->CanSetTempo()"; clears the unspecified flag.
    void SetTempo(double iBeatsPerMinute, Time_Tick iTicksPerBeat);
    // Asserts "iTicksPerBeat != 0"; keeps the real tempo.
    void SetTicksPerBeat(Time_Tick iTicksPerBeat);
    double GetBeatsPerMinute() const { return mBeatsPerMinute; }
    bool GetTempoIsUnspecified() const { return mTempoIsUnspecified; }
    void SetTempoIsUnspecified(bool iUnspecified) { mTempoIsUnspecified = iUnspecified; }

    // Reads a "Const" block, or a "Prev" block when iPrevious (a constant segment with an
    // unspecified tempo of 120.0 at 960,000).
    static std::unique_ptr<Time_ConstantTempoSeg> StreamInNew(Sys_TypedInStream& ioStream,
                                                              bool iPrevious);

private:
    Time_ConstantTempoSeg(const Time_ConstantTempoSeg& iOther) = default;

    double mBeatsPerMinute;
    Time_Tick mTicksPerBeat;
    bool mTempoIsUnspecified = false;
};
