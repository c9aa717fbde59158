// Conversions of typed time through one tempo map and one meter map.
//
// Time_Converter ties a tempo map (ticks and samples) and a meter map (ticks and bars|beats)
// to the typed values, so that code outside the time module converts without knowing either
// map. Time_Convert is its static face: the process-wide current converter and one forwarder
// per operation.
//
// Contract:
//   - ToType of a value to its own type returns it without touching the maps. Samples and
//     ticks convert through exactly one lookup in the tempo map (TickToSample, SampleToTick;
//     the First forms through TickToFirstSample, SampleToFirstTick). Bars and beats go
//     through ticks and the meter map. A target type other than samples and ticks asserts "0"
//     and the value comes back in its own type; ToSample and ToTick of another type assert
//     "false" and give 0.
//   - A length is measured in its own scale: AddLength converts the position to the length's
//     type, adds, and converts back, so a length in ticks added to a position in samples
//     follows the tempo in force there. A zero length returns the position unchanged.
//   - The maps are not owned and must outlive their use; a missing meter map asserts
//     "mMeterMap != 0" where one is needed, a missing tempo map "mTempoMap != 0".
//   - Every Time_Convert forwarder asserts "sTimeConverter != 0". The current converter is
//     set on the main thread when a session becomes current; conversions run on the calling
//     thread and may rebuild the tempo map's derived list (see Time_TempoMap).
#pragma once

#include "Time/Time_BarBeatTick.h"
#include "Time/Time_Typed.h"
#include "Time/Time_Types.h"

class Time_TempoMap;
class Time_MeterMap;

class Time_Converter
{
public:
    Time_Converter(Time_TempoMap* iTempoMapP = nullptr, Time_MeterMap* iMeterMapP = nullptr,
                   Time_EType iMainCounterType = Time_eType_Samples)
        : mTempoMap(iTempoMapP), mMeterMap(iMeterMapP), mMainCounterType(iMainCounterType)
    {
    }

    void SetTempoMap(Time_TempoMap* iTempoMapP) { mTempoMap = iTempoMapP; }
    void SetMeterMap(Time_MeterMap* iMeterMapP) { mMeterMap = iMeterMapP; }
    void SetMainCounterType(Time_EType iType) { mMainCounterType = iType; }
    Time_TempoMap* GetTempoMap() const { return mTempoMap; }
    Time_MeterMap* GetMeterMap() const { return mMeterMap; }
    Time_EType GetMainCounterType() const { return mMainCounterType; }

    Time_Sample ToSample(const Time_Typed& iTime) const;
    Time_Sample ToSample(Time_Tick iTick) const;
    Time_Tick ToTick(const Time_Typed& iTime) const;
    Time_Tick ToTick(Time_Sample iSample) const;
    Time_BarBeatTick ToBarBeatTick(const Time_Typed& iTime) const;
    Time_Typed ToType(const Time_Typed& iTime, Time_EType iType) const;
    Time_Typed ToType(Time_Sample iSample, Time_EType iType) const;
    Time_Typed ToType(Time_Tick iTick, Time_EType iType) const;
    Time_Typed ToType(const Time_BarBeatTick& iBBT, Time_EType iType) const;
    // The first value of the target scale that maps onto the value.
    Time_Typed ToFirstType(const Time_Typed& iTime, Time_EType iType) const;
    Time_Typed ToMainCounterType(const Time_Typed& iTime) const;
    Time_Typed ToMainCounterType(Time_Sample iSample) const;
    Time_Typed ToMainCounterType(Time_Tick iTick) const;
    // Sample 0, sample 0x7FFFFFFF and bar 1 (1|1|0), in the wanted type.
    Time_Typed GetSessionStartTime(Time_EType iType) const;
    Time_Typed GetSessionEndTime(Time_EType iType) const;
    Time_Typed GetBarOneTime(Time_EType iType) const;
    Time_Typed AddLength(const Time_Typed& iTime, const Time_TypedLength& iLength) const;
    Time_Typed SubtractLength(const Time_Typed& iTime, const Time_TypedLength& iLength) const;
    // Bars and beats added in bar and beat space, with the meters on the way.
    Time_Typed AddLength(const Time_Typed& iTime, const Time_BarBeatTick& iLength) const;
    Time_Typed SubtractLength(const Time_Typed& iTime, const Time_BarBeatTick& iLength) const;
    // Puts a value past the session end at the end, and one before the start (or at a
    // negative sample) at the start; true when it changed the value.
    bool PinToValidSessionRange(Time_Typed& ioTime) const;

private:
    Time_TempoMap& TempoMap() const;
    Time_MeterMap& MeterMap() const;

    Time_TempoMap* mTempoMap;
    Time_MeterMap* mMeterMap;
    Time_EType mMainCounterType;
};

class Time_Convert
{
public:
    // Not owned; null for none.
    static void SetTimeConverter(Time_Converter* iConverterP) { sTimeConverter = iConverterP; }
    static Time_Converter* GetTimeConverter() { return sTimeConverter; }

    static Time_Sample ToSample(const Time_Typed& iTime) { return Get().ToSample(iTime); }
    static Time_Sample ToSample(Time_Tick iTick) { return Get().ToSample(iTick); }
    static Time_Tick ToTick(const Time_Typed& iTime) { return Get().ToTick(iTime); }
    static Time_Tick ToTick(Time_Sample iSample) { return Get().ToTick(iSample); }
    static Time_BarBeatTick ToBarBeatTick(const Time_Typed& iTime)
    {
        return Get().ToBarBeatTick(iTime);
    }
    static Time_Typed ToType(const Time_Typed& iTime, Time_EType iType)
    {
        return Get().ToType(iTime, iType);
    }
    static Time_Typed ToType(Time_Sample iSample, Time_EType iType)
    {
        return Get().ToType(iSample, iType);
    }
    static Time_Typed ToType(Time_Tick iTick, Time_EType iType)
    {
        return Get().ToType(iTick, iType);
    }
    static Time_Typed ToType(const Time_BarBeatTick& iBBT, Time_EType iType)
    {
        return Get().ToType(iBBT, iType);
    }
    static Time_Typed ToFirstType(const Time_Typed& iTime, Time_EType iType)
    {
        return Get().ToFirstType(iTime, iType);
    }
    static Time_Typed ToMainCounterType(const Time_Typed& iTime)
    {
        return Get().ToMainCounterType(iTime);
    }
    static Time_Typed ToMainCounterType(Time_Sample iSample)
    {
        return Get().ToMainCounterType(iSample);
    }
    static Time_Typed ToMainCounterType(Time_Tick iTick) { return Get().ToMainCounterType(iTick); }
    static Time_Typed GetSessionStartTime(Time_EType iType)
    {
        return Get().GetSessionStartTime(iType);
    }
    static Time_Typed GetSessionEndTime(Time_EType iType) { return Get().GetSessionEndTime(iType); }
    static Time_Typed GetBarOneTime(Time_EType iType) { return Get().GetBarOneTime(iType); }
    static Time_Typed AddLength(const Time_Typed& iTime, const Time_TypedLength& iLength)
    {
        return Get().AddLength(iTime, iLength);
    }
    static Time_Typed SubtractLength(const Time_Typed& iTime, const Time_TypedLength& iLength)
    {
        return Get().SubtractLength(iTime, iLength);
    }
    static Time_Typed AddLength(const Time_Typed& iTime, const Time_BarBeatTick& iLength)
    {
        return Get().AddLength(iTime, iLength);
    }
    static Time_Typed SubtractLength(const Time_Typed& iTime, const Time_BarBeatTick& iLength)
    {
        return Get().SubtractLength(iTime, iLength);
    }
    static bool PinToValidSessionRange(Time_Typed& ioTime)
    {
        return Get().PinToValidSessionRange(ioTime);
    }

    // ---- only here ----
    static Time_EType GetMainCounterType() { return Get().GetMainCounterType(); }
    // In ticks: the tick rounded to a display tick (1,000 ticks) when that rounded tick
    // converts back to the value exactly, else the plain tick.
    static Time_Typed ToTickTimeWithDisplaySnap(const Time_Typed& iTime);
    // A value in ticks moves to the nearest display tick when both fall on the same sample.
    static Time_Typed SnapToDisplayTick(const Time_Typed& iTime);
    // A value in ticks goes to samples and back, so that it lies on a sample.
    static Time_Typed QuantizeToSample(const Time_Typed& iTime);
    // A value in ticks rounded to a display tick with an offset of 480 (not 500).
    static Time_Typed AdjustToTickBoundary(const Time_Typed& iTime);

private:
    static Time_Converter& Get();
    static Time_Converter* sTimeConverter;
};
