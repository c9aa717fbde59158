// Fuzz target: the saved map file (a tempo map and a meter map) over in-memory input.
//
// Input: a "MapFile" block in the cross-platform (big-endian) byte order, as Time_MapFile
// writes it. The seeds in fuzz/seeds/MapFileFuzz/ are written by tests/Time/Time_MapFileTest.cpp.
// Maps that read are converted around each tempo segment and meter change (ticks, samples,
// bars and beats both ways), saved and read again, and must save the same bytes again.
//
// The only expected failures are the library's own: L10N exceptions (header, counts, types,
// rates, meters, end of stream) and assertion failures (a tempo map whose locked segments
// leave no room for a positive tempo). Anything else is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
#include "Time/Time_MapFile.h"
#include "Time/Time_MeterMap.h"
#include "Time/Time_TempoMap.h"

namespace
{
volatile uint64_t gSink; // keeps the conversions from being optimised away

void Convert(Time_TempoMap& ioTempo, const Time_MeterMap& iMeter)
{
    std::vector<Time_Tick> ticks;
    for (auto it = ioTempo.SegmentBegin(); it != ioTempo.SegmentEnd(); ++it)
        ticks.push_back((*it)->GetStartTick());
    for (auto it = iMeter.IterBegin(); it != iMeter.IterEnd(); ++it)
        ticks.push_back(it->mTick);
    for (Time_Tick tick : ticks)
        for (int64_t delta : {-1000, -1, 0, 1, 1000})
        {
            int64_t t = 0;
            if (__builtin_add_overflow(tick.AsInt64(), delta, &t) || t > Time_cMaxTickTime ||
                t < Time_cMinTickTime)
                continue;
            const Time_Sample s = ioTempo.TickToSample(Time_Tick(t));
            const Time_BarBeatTick bbt = iMeter.TickToBarBeat(Time_Tick(t));
            gSink = gSink + static_cast<uint64_t>(s.AsInt64()) +
                    static_cast<uint64_t>(ioTempo.SampleToTick(s).AsInt64()) +
                    static_cast<uint64_t>(iMeter.BarBeatToTick(bbt).AsInt64()) +
                    static_cast<uint64_t>(bbt.mBar);
        }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<uint8_t> bytes(data, data + size);
    Time_TempoMap tempo;
    Time_MeterMap meter;
    try
    {
        Time_MapFile::Load(bytes, tempo, meter);
        Convert(tempo, meter);
        const std::vector<uint8_t> saved = Time_MapFile::Save(tempo, meter);
        Time_TempoMap tempo2;
        Time_MeterMap meter2;
        Time_MapFile::Load(saved, tempo2, meter2);
        Convert(tempo2, meter2);
        if (Time_MapFile::Save(tempo2, meter2) != saved)
            std::abort(); // a saved map must read back as itself
    }
    catch (const L10N_Exception&)
    {
    }
    catch (const Cmn_AssertException&)
    {
    }
    return 0;
}
