// The small random generator of the audio stages: a multiplicative congruential step modulo
// 2^31 - 1 with an added constant. Each user (sample-rate conversion, the noise-shaping
// quantiser) keeps one process-wide state of its own, seeded with cSeed at load.
//
// The states are shared by every stage of the kind and are not guarded: two stages running at
// once may interleave their draws. Only the statistics of the noise matter, so that is
// harmless; the states are atomics read and written separately (a lost update is possible,
// a torn value is not).
#pragma once

#include <atomic>
#include <cstdint>

class FF_AudioRandom
{
public:
    static constexpr int32_t cSeed = 16073505;
    static constexpr int32_t cModulus = 2147483647; // 2^31 - 1

    // One step: (16807 * state) modulo 2^31 - 1, plus 7395; a result that is negative as a
    // signed 32-bit value gets 2^31 - 1 added (in 32-bit arithmetic). States stay in
    // [0, 2^31).
    static int32_t Step(int32_t iState)
    {
        const int64_t product = int64_t(16807) * int64_t(iState);
        const int32_t residue = int32_t(product % cModulus);
        int32_t x = int32_t(uint32_t(residue) + 7395u);
        if (x < 0)
            x = int32_t(uint32_t(x) + uint32_t(cModulus));
        return x;
    }

    // Advances ioState by one step and returns the new state.
    static int32_t Next(std::atomic<int32_t>& ioState)
    {
        const int32_t x = Step(ioState.load(std::memory_order_relaxed));
        ioState.store(x, std::memory_order_relaxed);
        return x;
    }

    // 2 * x - 2^31 as a wrapped signed 32-bit value: a state mapped onto the whole signed range.
    static int32_t Centered(int32_t iState) { return int32_t(uint32_t(iState) * 2u - 0x80000000u); }
};
