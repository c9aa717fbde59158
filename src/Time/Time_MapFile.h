// The saved map file: a tempo map and a meter map of one session in one file.
//
// On disk, in the cross-platform (big-endian) byte order, one standard stream header block:
//   "MapFile", version 1
//     double   sample rate of the tempo map (finite, 1 .. 10,000,000 Hz)
//     "Tempo"  block (Time_TempoMap::StreamOut)
//     "Meter"  block (Time_MeterMap::StreamOut)
// Bytes after the meter block inside the outer block are skipped, so that later versions may
// add blocks there.
//
// Reading supplies a song start to a tempo map that has none (Time_TempoMap::StreamIn), so a
// map without one does not read back byte for byte; every map read from a file does.
//
// Failures: the header's and the maps' own L10N failures; a bad sample rate is 14/28 ("bad
// data encountered"). A tempo map whose locked segments leave no room fails an assertion in
// its rebuild (Cmn_AssertException). Load checks the whole file before it touches the maps.
#pragma once

#include <cstdint>
#include <vector>

class Sys_TypedInStream;
class Sys_TypedOutStream;
class Time_MeterMap;
class Time_TempoMap;

class Time_MapFile
{
public:
    static constexpr const char* cStreamTag = "MapFile";
    static constexpr int16_t cStreamVersion = 1;

    static void StreamOut(Sys_TypedOutStream& ioStream, const Time_TempoMap& iTempoMap,
                          const Time_MeterMap& iMeterMap);
    // Reads straight into the maps: a failure may leave the tempo map read and not the meter
    // map.
    static void StreamIn(Sys_TypedInStream& ioStream, Time_TempoMap& oTempoMap,
                         Time_MeterMap& oMeterMap);

    // The whole file in memory, cross-platform.
    static std::vector<uint8_t> Save(const Time_TempoMap& iTempoMap,
                                     const Time_MeterMap& iMeterMap);
    // A failure leaves both maps as they were.
    static void Load(const std::vector<uint8_t>& iBytes, Time_TempoMap& oTempoMap,
                     Time_MeterMap& oMeterMap);
};
