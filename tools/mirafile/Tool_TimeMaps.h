// Tempo and meter maps from the command line, and saved map files, for the commands that
// speak of bars and beats (time, map).
//
// Texts on the command line:
//   POS          BAR|BEAT[|TICK]: a bar (may be negative), a beat from 1, display ticks
//                (960 to a quarter note); blanks around the numbers are allowed, so the
//                library's own form "3|1| 000" reads too. Resolved through the meter map.
//   --meter SPEC N/D[,POS=N/D]...: the meter from bar 1, then changes (a change in mid-bar
//                cuts that bar short). Numerators 1 to 99, denominators 1 to 64, powers of 2.
//   --tempo SPEC BPM[,POS=BPM]...: the tempo at bar 1 (tick 1,000,000,000,000, sample 0),
//                then tempo changes after it. 5 to 999 beats (quarter notes) a minute.
//   --idb POS=SAMPLE (repeatable): an identified beat, a position locked to a sample; the
//                tempo before it follows from the locked neighbours. Samples must rise with
//                the positions.
//   --map FILE   a saved map file (Time_MapFile), instead of the three above.
// Without any of them the maps are the default ones: 120 bpm and 4/4 from bar 1 at sample 0.
// Failures are Tool_UsageError naming the option and the text.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Time/Time_MeterMap.h"
#include "Time/Time_TempoMap.h"

// The options that describe a pair of maps, declared on a command and built into maps.
struct Tool_MapOptions
{
    std::string mTempo, mMeter, mMap;
    std::vector<std::string> mIDBs;

    // --tempo, --meter and --idb; with iWithMapFile also --map.
    void Declare(CLI::App& ioApp, bool iWithMapFile);
    bool AnyGiven() const
    {
        return !mTempo.empty() || !mMeter.empty() || !mMap.empty() || !mIDBs.empty();
    }
    // Builds the maps: from --map (the file's sample rate, unless iRateP gives one), or from
    // the specs at *iRateP (44,100 Hz when null). Meter first: positions go through it.
    void Build(Time_TempoMap& oTempo, Time_MeterMap& oMeter, const double* iRateP) const;
};

// The pieces, for commands that edit maps.
Time_Tick Tool_ParsePosition(const std::string& iText, const Time_MeterMap& iMeter,
                             const std::string& iWhat);
// "BAR|BEAT|TICK" as a Time_BarBeatTick with internal ticks; false when it is not one.
bool Tool_ParseBarBeat(const std::string& iText, Time_BarBeatTick& oBBT);
void Tool_ApplyMeterSpec(Time_MeterMap& ioMeter, const std::string& iSpec);
void Tool_ApplyTempoSpec(Time_TempoMap& ioTempo, const Time_MeterMap& iMeter,
                         const std::string& iSpec);
void Tool_AddIdentifiedBeat(Time_TempoMap& ioTempo, const Time_MeterMap& iMeter,
                            const std::string& iPosEqualsSample);
// Rebuilds the tempo map, reporting a map whose locked beats leave no room as iWhat's fault.
void Tool_CheckTempoMap(Time_TempoMap& ioTempo, const std::string& iWhat);

// A saved map file: read whole (failures name the file); written under a temporary name and
// renamed over iPath when complete.
void Tool_LoadMapFile(const std::string& iPath, Time_TempoMap& oTempo, Time_MeterMap& oMeter);
void Tool_SaveMapFile(const std::string& iPath, const Time_TempoMap& iTempo,
                      const Time_MeterMap& iMeter);
