// Support of the tempo map and tempo editing tests: segments and maps in a line, their saved
// bytes, a compact text of a map, random maps, and the invariants every edit must keep.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "Support/ByteSupport.h"
#include "Time/Time_TempoMap.h"

namespace TempoTest
{
constexpr int64_t kOrigin = Time_cDefaultOriginTick;
constexpr int64_t kBeat = Time_cInternalTicksPerQuarterNote;
constexpr double kRate = 44100.0;

inline Time_Tick T(int64_t iTick)
{
    return Time_Tick(iTick);
}
inline Time_Sample S(int64_t iSample)
{
    return Time_Sample(iSample);
}
// iBeats quarter notes after the origin.
inline Time_Tick B(double iBeats)
{
    return T(kOrigin + static_cast<int64_t>(iBeats * kBeat));
}

// A constant segment at iTick; iSample >= 0 locks it there.
Time_TempoMapSegment::Ptr Seg(int64_t iTick, double iBpm, int64_t iSample = -1,
                              bool iComputed = false);

// A map at 44100 Hz made of iSegs in one edit, with a song start ensured.
struct Map : Time_TempoMap
{
    Map(std::vector<Time_TempoMapSegment::Ptr> iSegs = {});
    // Segments in a line: "beats:bpm" per segment (beats after the origin, or "+ticks" after
    // it when not whole beats; bpm "?" when unspecified), then "@sample" when locked, "c" when
    // computed, "s" for the song start; e.g. "0:120@0s 4:90". An empty text gives an empty map.
    explicit Map(const std::string& iText);
    double BpmAt(int64_t iTick);
    const Time_ConstantTempoSeg& At(size_t i);
};

std::string Describe(Time_TempoMap& iMap);
Bytes Save(const Time_TempoMap& iMap);

// A random map of Test_FillRandomTempoMap at 44100 Hz: a locked song start, then tempo
// changes; with iIDB some later segments are locked too, with their computed flags set.
struct RandomMap : Map
{
    RandomMap(std::mt19937& ioRng, bool iIDB);
};

// The invariants of a map after an edit: sorted unique ticks, one locked song start, exactly
// one computed segment between locked neighbours and none elsewhere, a bracket closed, and
// samples that do not fall as ticks rise.
testing::AssertionResult MapIsValid(Time_TempoMap& iMap);

// Two threads read the sample of iTick under the read lock while this one calls iEdit(i) for
// i from 0, iRounds times at least and until they have read a hundred times. Returns the
// number of reads that saw a sample not in iAllowed.
int ReadsOutside(Time_TempoMap& iMap, Time_Tick iTick, std::vector<int64_t> iAllowed,
                 int iRounds, const std::function<void(int)>& iEdit);
} // namespace TempoTest
