// Fuzz target: the saved map file (a tempo map and a meter map) over in-memory input.
//
// Input: a "MapFile" block in the cross-platform (big-endian) byte order, as Time_MapFile
// writes it. The seeds in fuzz/seeds/MapFileFuzz/ are written by tests/Time/Time_MapFileTest.cpp.
// Maps that read are converted around each tempo segment and meter change (ticks, samples,
// bars and beats both ways), saved and read again, and must read back with every stated value
// and the same meter map. The tempo of a computed segment is derived when the map is rebuilt
// and is not compared: a locked first segment of unspecified tempo takes its tempo from the
// next segment, so where that one is computed (and not locked) each rebuild starts from the
// value the last one left, and the derived tempo may move from one load to the next.
//
// The only expected failures are the library's own: L10N exceptions (header, counts, types,
// rates, meters, end of stream) and assertion failures (a tempo map whose locked segments
// leave no room for a positive tempo). Anything else is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
#include "Time/Time_MapFile.h"
#include "Time/Time_MeterMap.h"
#include "Cmn_MemBufferStream.h"
#include "Sys_TypedStream.h"
#include "Time/Time_TempoMap.h"
#include "Time/Time_TempoMapSegment.h"

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

// Every stated value of the maps, as bytes: the segments field by field (without the tempo of
// computed segments) and the meter map as saved.
std::string Describe(Time_TempoMap& iTempo, const Time_MeterMap& iMeter)
{
    std::string out;
    auto add = [&out](const auto& value)
    {
        char bytes[sizeof(value)];
        std::memcpy(bytes, &value, sizeof(value));
        out.append(bytes, sizeof(value));
    };
    for (auto it = iTempo.SegmentBegin(); it != iTempo.SegmentEnd(); ++it)
    {
        const Time_TempoMapSegment& seg = **it;
        add(seg.GetStartTick().AsInt64());
        add(seg.IsLockedToSample());
        add(seg.IsLockedToSample() ? seg.GetStartSample().AsInt64() : int64_t(0));
        add(seg.IsComputed());
        add(seg.IsSongStart());
        add(seg.IsCopyAnchor());
        if (const auto* constant = dynamic_cast<const Time_ConstantTempoSeg*>(&seg))
        {
            add(constant->GetTempoIsUnspecified());
            add(constant->GetTicksPerBeat().AsInt64());
            if (!seg.IsComputed())
                add(constant->GetBeatsPerMinute());
        }
    }
    Cmn_MemBufferOutStream memory;
    Sys_CrossPlatformOutStream stream(&memory);
    iMeter.StreamOut(stream);
    out.append(reinterpret_cast<const char*>(memory.GetBuffer()), memory.GetEndPos());
    return out;
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
        if (Describe(tempo2, meter2) != Describe(tempo, meter))
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
