// Fuzz target: the saved form of a tempo map over in-memory input.
//
// Input: a "Tempo" block in the cross-platform (big-endian) byte order, as Time_TempoMap::StreamOut
// writes it. The seeds in fuzz/seeds/TempoMapFuzz/ are written by tests/Time/Time_TempoMapTest.cpp.
// A map that reads is converted at and around each of its segments, saved and read again.
//
// The only expected failures are the library's own: L10N exceptions (bad count, bad segment
// type, lying sizes, end of stream, version) and assertion failures (a map whose locked
// segments leave no room for a positive tempo). Anything else, a crash, a hang, a huge
// allocation, or any other exception escaping, is a finding.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Cmn_Assert.h"
#include "Cmn_MemBufferStream.h"
#include "L10N_ExceptionData.h"
#include "Sys_TypedStream.h"
#include "Time/Time_TempoMap.h"

namespace
{
volatile uint64_t gSink; // keeps the conversions from being optimised away

void Convert(Time_TempoMap& ioMap)
{
    std::vector<Time_Tick> ticks;
    for (auto it = ioMap.SegmentBegin(); it != ioMap.SegmentEnd(); ++it)
        ticks.push_back((*it)->GetStartTick());
    for (Time_Tick tick : ticks)
        for (int64_t delta : {-1000, -1, 0, 1, 1000})
        {
            int64_t t = 0;
            if (__builtin_add_overflow(tick.AsInt64(), delta, &t))
                continue;
            const Time_Sample s = ioMap.TickToSample(Time_Tick(t));
            gSink = gSink + static_cast<uint64_t>(s.AsInt64()) +
                    static_cast<uint64_t>(ioMap.SampleToTick(s).AsInt64()) +
                    static_cast<uint64_t>(ioMap.TickToFirstSample(Time_Tick(t)).AsInt64()) +
                    static_cast<uint64_t>(ioMap.SampleToFirstTick(s).AsInt64());
        }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Cmn_MemBufferInStream mem(data, data + size);
    Sys_CrossPlatformInStream in(&mem);
    Time_TempoMap map;
    try
    {
        map.StreamIn(in);
        Convert(map);
        Cmn_MemBufferOutStream saved;
        Sys_CrossPlatformOutStream out(&saved);
        map.StreamOut(out);
        Cmn_MemBufferInStream again(saved.GetBuffer(), saved.GetBuffer() + saved.GetEndPos());
        Sys_CrossPlatformInStream in2(&again);
        Time_TempoMap copy;
        copy.StreamIn(in2);
        Convert(copy);
    }
    catch (const L10N_Exception&)
    {
    }
    catch (const Cmn_AssertException&)
    {
    }
    return 0;
}
