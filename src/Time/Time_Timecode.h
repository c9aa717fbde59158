// A small timecode for interchange: a frame number and an hours-minutes-seconds-frames label
// of one of four rates, each filled from the other on demand.
//
// Invariants and contract:
//   1. At least one representation is valid at all times; the getters fill the missing one
//      (ValidateFrameNumber, ValidateHMSF), so they are const but change hidden state, and an
//      instance must not be shared between threads.
//   2. The drop-frame type (2) goes through NonDropToDropFrames and DropToNonDropFrames; the
//      non-drop label arithmetic of that type works on a nominal rate of 30.
//   3. Nothing wraps unless the caller asks with WrapFrames. A type outside 0 .. 3 asserts.
#pragma once

#include <cstdint>

class Time_Timecode
{
public:
    enum EType : int32_t
    {
        eType_24 = 0,
        eType_25 = 1,
        eType_30Drop = 2,
        eType_30NonDrop = 3
    };

    // Frame 0 of 24 fps, frame number valid.
    Time_Timecode() = default;
    Time_Timecode(int32_t iFrameNumber, EType iType);
    Time_Timecode(int32_t iHours, int32_t iMinutes, int32_t iSeconds, int32_t iFrames, EType iType);

    static int32_t GetFramesPerSecond(EType iType);
    static int32_t GetFramesPerDay(EType iType);
    // Adds or subtracts days until the value lies in 0 .. one day - 1.
    static int32_t WrapFrames(int32_t iFrames, EType iType);
    // The same two conversions as Time_SMPTE::DropFrames and UndropFrames.
    static int32_t NonDropToDropFrames(int32_t iNominalFrames);
    static int32_t DropToNonDropFrames(int32_t iFrames);

    int32_t GetFramesPerSecond() const { return GetFramesPerSecond(mType); }
    int32_t GetFramesPerDay() const { return GetFramesPerDay(mType); }
    EType GetType() const { return mType; }

    int32_t GetFrameNumber() const;
    int32_t GetHours() const;
    int32_t GetMinutes() const;
    int32_t GetSeconds() const;
    int32_t GetFrames() const;

    // Fill the frame number from the label, or the label from the frame number, when missing.
    void ValidateFrameNumber() const;
    void ValidateHMSF() const;

private:
    mutable bool mFrameNumberValid = true;
    mutable bool mHMSFValid = false;
    EType mType = eType_24;
    mutable int32_t mFrameNumber = 0;
    mutable int32_t mHours = 0;
    mutable int32_t mMinutes = 0;
    mutable int32_t mSeconds = 0;
    mutable int32_t mFrames = 0;
};
