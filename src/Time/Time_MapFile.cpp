#include "Time/Time_MapFile.h"

#include <cmath>

#include "Cmn_MemBufferStream.h"
#include "L10N_ExceptionData.h"
#include "Sys_StdStreamHeader.h"
#include "Sys_TypedStream.h"
#include "Time/Time_MeterMap.h"
#include "Time/Time_TempoMap.h"

void Time_MapFile::StreamOut(Sys_TypedOutStream& ioStream, const Time_TempoMap& iTempoMap,
                             const Time_MeterMap& iMeterMap)
{
    Sys_StdStreamHeaderWriter header(ioStream, cStreamTag, cStreamVersion);
    ioStream << iTempoMap.GetSampleRate();
    iTempoMap.StreamOut(ioStream);
    iMeterMap.StreamOut(ioStream);
    header.PatchSize();
}

void Time_MapFile::StreamIn(Sys_TypedInStream& ioStream, Time_TempoMap& oTempoMap,
                            Time_MeterMap& oMeterMap)
{
    Sys_StdStreamHeaderReader header(ioStream, cStreamTag);
    header.CheckVersion(cStreamVersion, cStreamVersion);
    const double rate = ioStream.Read<double>();
    if (!std::isfinite(rate) || rate < 1.0 || rate > 10000000.0)
        L10N_Throw(14, 28);
    // The rate first, so that the tempo map rebuilds once, at its own rate.
    Time_TempoMap_StEditOptimizer edit(oTempoMap);
    oTempoMap.SetSampleRate(rate);
    oTempoMap.StreamIn(ioStream);
    oMeterMap.StreamIn(ioStream);
    header.SkipTheRest();
}

std::vector<uint8_t> Time_MapFile::Save(const Time_TempoMap& iTempoMap,
                                        const Time_MeterMap& iMeterMap)
{
    Cmn_MemBufferOutStream memory;
    Sys_CrossPlatformOutStream out(&memory);
    StreamOut(out, iTempoMap, iMeterMap);
    const uint8_t* bytes = memory.GetBuffer();
    return std::vector<uint8_t>(bytes, bytes + memory.GetEndPos());
}

void Time_MapFile::Load(const std::vector<uint8_t>& iBytes, Time_TempoMap& oTempoMap,
                        Time_MeterMap& oMeterMap)
{
    auto read = [&](Time_TempoMap& ioTempo, Time_MeterMap& ioMeter)
    {
        Cmn_MemBufferInStream memory(iBytes.data(), iBytes.data() + iBytes.size());
        Sys_CrossPlatformInStream in(&memory);
        StreamIn(in, ioTempo, ioMeter);
    };
    {
        Time_TempoMap tempo;
        Time_MeterMap meter;
        read(tempo, meter);
    }
    read(oTempoMap, oMeterMap);
}
