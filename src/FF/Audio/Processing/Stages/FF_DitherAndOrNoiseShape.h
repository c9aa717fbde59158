// The noise-shaping quantiser shared by the word-length and gain stages: it rounds a sample
// from source bits to destination bits, feeding the rounding error back through a filter of
// one pole and one zero so that the error's spectrum rises with frequency, optionally adding
// random dither of plus or minus one output step first.
//
// A plain value object; one instance per stage (not per channel), so the channels of a block
// share the error state in the order the stage feeds them. The dither's random generator is
// one process-wide state (see FF_AudioRandom), shared by all instances and unguarded.
#pragma once

#include <atomic>
#include <cstdint>

class FF_DitherAndOrNoiseShape
{
public:
    // Asserts "0" for destination bits other than 8, 16 and 24. Throws std::runtime_error
    // "unrecognized sample rate" for a rate above 204000 Hz.
    FF_DitherAndOrNoiseShape(int32_t iSourceBits, int32_t iDestBits, int32_t iSampleRate);

    // Reloads the coefficients for the rate's class: up to 51000 Hz the 48000 class, up to
    // 102000 Hz the 96000 class, up to 204000 Hz the 192000 class; otherwise throws
    // std::runtime_error "unrecognized sample rate" (and keeps the old ones).
    void SetSampleRate(int32_t iSampleRate);

    // iSample in source units; returns it in destination units, limited to the destination's
    // range. With iDither, uniform noise of plus or minus one destination step is added before
    // the rounding; the error fed back is measured against the undithered value.
    int32_t Process(float iSample, bool iDither);

    // The class a rate falls in (48000, 96000 or 192000); throws as SetSampleRate does.
    static int32_t GetRateClass(int32_t iSampleRate);

    double GetError() const { return mError; }
    double GetFeedback() const { return mFeedback; }
    float GetCoefficient(int32_t iIndex) const { return mCoefficients[iIndex & 3]; }
    float GetStep() const { return mStep; }
    int32_t GetMax() const { return mMax; }
    int32_t GetMin() const { return mMin; }
    int32_t GetSampleRate() const { return mSampleRate; }

    // The process-wide state of the dither generator (seeded FF_AudioRandom::cSeed).
    static int32_t GetRandomState() { return sRandomState.load(std::memory_order_relaxed); }
    static void SetRandomState(int32_t iState)
    {
        sRandomState.store(iState, std::memory_order_relaxed);
    }

private:
    double mError = 0.0;
    [[maybe_unused]] double mSpare = 0.0;
    double mFeedback = 0.0;
    float mCoefficients[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    float mStep;
    float mInvStep;
    [[maybe_unused]] int32_t mSourceBits;
    [[maybe_unused]] int32_t mDestBits;
    int32_t mMax = 0;
    int32_t mMin = 0;
    int32_t mSampleRate = 0;

    static std::atomic<int32_t> sRandomState;
};
