// Timecode: hours, minutes, seconds and frames of a day, with a sample offset inside the frame.
//
// A Time_SMPTE is a label (four bytes), sub-samples (the number of samples by which the
// position lies after the frame boundary, not a fraction of a frame) and a format. Format 0
// (eTimeCodeFormat_Global) follows the process-wide format; every computation resolves it
// through GetTimeCodeFormat, except GetEditRateAsRational, which reads the member itself.
//
// Scales. "Total frames" count real frames from midnight: for the two drop-frame formats a
// label is first taken to a nominal 30-frame count and then dropped (DropFrames). "Samples"
// are at the pull rate (Time_Globals::GetPullSampleRate). Frames per day is 24 times the
// frames per hour of the format's table, which for 23.976 is the odd 86,314 and is kept.
//
// Invariants and contract:
//   1. Every conversion through a double rounds by adding 0.5 and truncating toward zero.
//   2. SetFromTotalFrames wraps a negative count by one day (once) and an hour count past 23
//      by one day (once); nothing else wraps. Hours keep only the low 8 bits.
//   3. Session-relative positions count from the session start sFrameOffset (frames from
//      midnight). A session that starts late enough to run past midnight (offset plus the
//      longest session beyond one day) wraps its early-morning labels to the next day.
//   4. The encoded setters do not mirror the getters: the HMSF BCD setter and both FSMH
//      setters read minutes and seconds from the opposite bytes. The MIDI Machine Control
//      reader takes byte 4 as raw sub-samples. These asymmetries are deliberate.
//   5. Parsing never rejects: FromString reads fixed columns, non-digits read as the number
//      helper reads them, missing columns read as 0.
//   6. Formats 4 and 6 are in the enumeration but no table row describes them: the tables
//      assert for them, except GetEditRateAsRational (30000/1001) and GetSamplesPerFrame (the
//      pull rate itself).
//
// The statics are written on the main thread only and read without locks.
#pragma once

#include <cstdint>
#include <string>

#include "Time/Time_Types.h"

enum ETimeCodeFormat : int32_t
{
    eTimeCodeFormat_Global = 0,
    eTimeCodeFormat_24 = 1,
    eTimeCodeFormat_25 = 2,
    eTimeCodeFormat_2997NonDrop = 3,
    eTimeCodeFormat_Unused4 = 4,
    eTimeCodeFormat_2997Drop = 5,
    eTimeCodeFormat_Unused6 = 6,
    eTimeCodeFormat_30NonDrop = 7,
    eTimeCodeFormat_30Drop = 8,
    eTimeCodeFormat_23976 = 9
};

// The five-byte MIDI Machine Control form of a timecode.
struct CMMCStandardTimeCode
{
    uint8_t mBytes[5] = {0, 0, 0, 0, 0};
};

class Time_SMPTE
{
public:
    Time_SMPTE() = default;
    Time_SMPTE(uint8_t iHours, uint8_t iMinutes, uint8_t iSeconds, uint8_t iFrames,
               ETimeCodeFormat iFormat = eTimeCodeFormat_Global, int16_t iSubSamples = 0);

    // ---- format -------------------------------------------------------------------------
    // The member format with 0 resolved to the global one.
    ETimeCodeFormat GetTimeCodeFormat() const;
    // The member as stored (0 for "global").
    ETimeCodeFormat GetRawTimeCodeFormat() const { return mFormat; }
    void SetTimeCodeFormat(ETimeCodeFormat iFormat) { mFormat = iFormat; }
    bool IsDropFrame() const { return IsDropFrame(GetTimeCodeFormat()); }
    double GetFramesPerSecond() const { return GetFramesPerSecond(GetTimeCodeFormat()); }
    int32_t GetNominalFramesPerSecond() const
    {
        return GetNominalFramesPerSecond(GetTimeCodeFormat());
    }
    // Pull rate / frames per second.
    double GetSamplesPerFrame() const;
    int32_t GetFramesPerHour() const { return GetFramesPerHour(GetTimeCodeFormat()); }
    int32_t GetFramesPerDay() const { return 24 * GetFramesPerHour(); }
    // The member format (not resolved) as a rational: 24/1, 25/1, 30000/1001, 30/1,
    // 24000/1001; 30000/1001 for 4 and 6; for 0 the outputs are left untouched.
    void GetEditRateAsRational(int32_t* oNumerator, int32_t* oDenominator) const;
    // The format whose rate band holds iRate (23.975-23.977, 23.99-24.01, 24.99-25.01,
    // 29.96-29.98, 29.99-30.01, tested in this order), or format 0.
    void SetTimeCodeFormatFromFrameRate(double iRate, bool iIsDrop);

    static bool IsDropFrame(ETimeCodeFormat iFormat);
    // Assert for formats 0, 4, 6 and values outside the enumeration.
    static double GetFramesPerSecond(ETimeCodeFormat iFormat);
    static int32_t GetNominalFramesPerSecond(ETimeCodeFormat iFormat);
    static int32_t GetFramesPerHour(ETimeCodeFormat iFormat);
    // "30fps DF", "30fps NDF", "29.97fps DF", "29.97fps NDF", "25fps", "24fps", "23.976fps";
    // empty for the others.
    static std::string GetTimeCodeFormatLabel(ETimeCodeFormat iFormat);

    // ---- drop frame ------------------------------------------------------------------------
    // A nominal 30-frame count to the real frame count, and back.
    static int32_t DropFrames(int32_t iNominalFrames);
    static int32_t UndropFrames(int32_t iFrames);
    // Frames 0 and 1 of a minute not divisible by ten, second 0, become frame 2.
    void MakeIntoLegalDropFrameLocation();

    // ---- scale conversions (at this timecode's rate and the pull rate) ----------------------
    // truncate(fps * ((s + 0.5) / pull rate)); a negative s is read as an unsigned 32-bit count.
    int32_t SamplesToFrames(int64_t iSamples) const;
    int64_t FramesToSamples(int64_t iFrames) const;
    int32_t SamplesToSubframes(int64_t iSamples) const;
    int32_t SubframesToSamples(int64_t iSubframes) const;

    // ---- whole-day positions -------------------------------------------------------------------
    int32_t GetTotalFrames() const;
    int32_t GetTotalSubframes() const;
    Time_Sample GetTotalSamples() const;
    void SetFromTotalFrames(int32_t iFrames, bool iClearSubSamples);
    // A negative count reads as 0.
    void SetFromTotalSubframes(int32_t iSubframes);
    // Clamps to 0 .. one day of samples; keeps the remainder as sub-samples.
    void SetFromTotalSamples(Time_Sample iSamples);
    void SetFromSamples(Time_Sample iSamples, bool iKeepSubSamples);

    // ---- session-relative positions -----------------------------------------------------------
    // Frames from the session start; past the longest session, either that maximum (clamp)
    // or the raw count less the offset and a day.
    int32_t GetFramesFromStartFrame(bool iClamp) const;
    int32_t GetRawFramesFromStartFrame() const;
    Time_Sample GetSamplesFromStartFrame(bool iClamp) const;
    void SetFromFramesFromStartFrame(int32_t iFrames);
    void SetFromSamplesFromStartFrame(Time_Sample iSamples, bool iKeepSubSamples);
    // A valid timecode between the session start and the longest session.
    bool IsWithinSessionBounds() const;
    // Hours up to 23, minutes and seconds below 60, frames below truncate(fps + 1.5) in a byte
    // (so frame 30 is valid at 30 fps).
    bool IsValidTimeCode() const;

    // ---- fields ------------------------------------------------------------------------------
    uint8_t GetHours() const { return mHours; }
    uint8_t GetMinutes() const { return mMinutes; }
    uint8_t GetSeconds() const { return mSeconds; }
    uint8_t GetFrames() const { return mFrames; }
    void SetHours(uint8_t iValue) { mHours = iValue; }
    void SetMinutes(uint8_t iValue) { mMinutes = iValue; }
    void SetSeconds(uint8_t iValue) { mSeconds = iValue; }
    void SetFrames(uint8_t iValue) { mFrames = iValue; }
    uint8_t GetHoursBCD() const { return ToBCD(mHours); }
    uint8_t GetMinutesBCD() const { return ToBCD(mMinutes); }
    uint8_t GetSecondsBCD() const { return ToBCD(mSeconds); }
    uint8_t GetFramesBCD() const { return ToBCD(mFrames); }
    void SetHoursBCD(uint8_t iValue) { mHours = FromBCD(iValue); }
    void SetMinutesBCD(uint8_t iValue) { mMinutes = FromBCD(iValue); }
    void SetSecondsBCD(uint8_t iValue) { mSeconds = FromBCD(iValue); }
    void SetFramesBCD(uint8_t iValue) { mFrames = FromBCD(iValue); }
    int16_t GetSubSamples() const { return mSubSamples; }
    void SetSubSamples(int16_t iSubSamples) { mSubSamples = iSubSamples; }
    // Sub-samples as hundredths of a frame, and back.
    int32_t GetSubframes() const { return SamplesToSubframes(mSubSamples); }
    void SetSubframes(int32_t iSubframes)
    {
        mSubSamples = static_cast<int16_t>(SubframesToSamples(iSubframes));
    }

    // ---- encoded forms (byte 0 least significant; see invariant 4) -----------------------------
    uint32_t GetEncodedTimeCodeHMSF() const;
    uint32_t GetBCDEncodedTimeCodeHMSF() const;
    void SetFromEncodedTimeCodeHMSF(uint32_t iCode, bool iClearSubSamples);
    void SetFromBCDEncodedTimeCodeHMSF(uint32_t iCode, bool iClearSubSamples);
    uint32_t GetEncodedTimeCodeFSMH() const;
    uint32_t GetBCDEncodedTimeCodeFSMH() const;
    void SetFromEncodedTimeCodeFSMH(uint32_t iCode, bool iClearSubSamples);
    void SetFromBCDEncodedTimeCodeFSMH(uint32_t iCode, bool iClearSubSamples);
    CMMCStandardTimeCode GetMMCStandardTimeCode() const;
    void SetFromMMCStandardTimeCode(const CMMCStandardTimeCode& iCode);
    // High nibble times 10 plus low nibble, and back (values up to 99).
    static uint8_t FromBCD(uint8_t iBCD)
    {
        return static_cast<uint8_t>((iBCD >> 4) * 10 + (iBCD & 0x0F));
    }
    static uint8_t ToBCD(uint8_t iValue)
    {
        return static_cast<uint8_t>(((iValue / 10) << 4) | (iValue % 10));
    }

    // ---- text ---------------------------------------------------------------------------------
    // "HH:MM:SS:FF", with ";" before the frames in the drop formats, and ".SS" subframes.
    std::string ToString(bool iWithSubframes) const;
    // Fixed columns 0, 3, 6, 9 (two characters each) and subframes at 12 when the text is at
    // least 12 long (else sub-samples are cleared); drop formats are then made legal.
    void FromString(const std::string& iText);

    // ---- comparison and arithmetic on total samples -------------------------------------------
    friend bool operator==(const Time_SMPTE& a, const Time_SMPTE& b)
    {
        return a.GetTotalSamples() == b.GetTotalSamples();
    }
    friend bool operator!=(const Time_SMPTE& a, const Time_SMPTE& b) { return !(a == b); }
    friend bool operator<(const Time_SMPTE& a, const Time_SMPTE& b)
    {
        return a.GetTotalSamples() < b.GetTotalSamples();
    }
    friend bool operator>(const Time_SMPTE& a, const Time_SMPTE& b) { return b < a; }
    friend bool operator<=(const Time_SMPTE& a, const Time_SMPTE& b) { return !(b < a); }
    friend bool operator>=(const Time_SMPTE& a, const Time_SMPTE& b) { return !(a < b); }
    // The result of + and - follows the global format; += and -= keep the left side's.
    friend Time_SMPTE operator+(const Time_SMPTE& a, const Time_SMPTE& b);
    friend Time_SMPTE operator-(const Time_SMPTE& a, const Time_SMPTE& b);
    Time_SMPTE& operator+=(const Time_SMPTE& iOther);
    Time_SMPTE& operator-=(const Time_SMPTE& iOther);

    // ---- process-wide settings ------------------------------------------------------------------
    static void SetGlobalTimeCodeFormat(ETimeCodeFormat iFormat)
    {
        sGlobalTimeCodeFormat = iFormat;
    }
    static ETimeCodeFormat GetGlobalTimeCodeFormat() { return sGlobalTimeCodeFormat; }
    // True for 23.976, 29.97 non-drop and 29.97 drop.
    static bool GlobalTCFormatIsVideoSpeed();
    static void SetFrameOffset(int32_t iFrameOffset) { sFrameOffset = iFrameOffset; }
    static int32_t GetFrameOffset() { return sFrameOffset; }

    static ETimeCodeFormat sGlobalTimeCodeFormat;
    // The session start as a frame count from midnight.
    static int32_t sFrameOffset;

private:
    void SetFieldsFromFrames(int32_t iFrames);
    // The longest session in frames at this rate.
    int32_t GetMaxSessionFrames() const;

    uint8_t mHours = 0;
    uint8_t mMinutes = 0;
    uint8_t mSeconds = 0;
    uint8_t mFrames = 0;
    int16_t mSubSamples = 0;
    ETimeCodeFormat mFormat = eTimeCodeFormat_Global;
};
