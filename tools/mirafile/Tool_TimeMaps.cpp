#include "Tool_TimeMaps.h"

#include <cctype>
#include <fstream>
#include <iterator>

#include "Cmn_Exception.h"
#include "Sys_AtomicOutput.h"
#include "Sys_FileLoc.h"
#include "Time/Time_MapFile.h"
#include "Tool.h"

namespace
{
constexpr int64_t cOrigin = Time_cDefaultOriginTick;
constexpr int64_t cMaxMapFileSize = 64 << 20;

std::vector<std::string> Split(const std::string& iText, char iSeparator)
{
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;)
    {
        const size_t at = iText.find(iSeparator, start);
        parts.push_back(iText.substr(start, at - start));
        if (at == std::string::npos)
            return parts;
        start = at + 1;
    }
}

std::string Trim(const std::string& iText)
{
    size_t a = 0, b = iText.size();
    while (a < b && std::isspace(static_cast<unsigned char>(iText[a])))
        ++a;
    while (b > a && std::isspace(static_cast<unsigned char>(iText[b - 1])))
        --b;
    return iText.substr(a, b - a);
}

// A whole number of at most 9 digits, with a sign when iSigned.
bool SmallNumber(const std::string& iText, bool iSigned, int32_t& oValue)
{
    const std::string text = Trim(iText);
    size_t digits = text.size();
    const bool negative = iSigned && !text.empty() && text[0] == '-';
    if (negative)
        --digits;
    if (digits == 0 || digits > 9)
        return false;
    for (size_t i = negative ? 1 : 0; i < text.size(); ++i)
        if (!std::isdigit(static_cast<unsigned char>(text[i])))
            return false;
    oValue = std::stoi(text);
    return true;
}

// "LEFT=RIGHT" split at the last "=".
std::pair<std::string, std::string> Assignment(const std::string& iText, const std::string& iWhat)
{
    const size_t at = iText.rfind('=');
    if (at == std::string::npos)
        throw Tool_UsageError(iWhat + " must read POS=VALUE, not \"" + iText + "\"");
    return {iText.substr(0, at), iText.substr(at + 1)};
}

Time_Meter ParseMeter(const std::string& iText, const std::string& iWhat)
{
    const std::vector<std::string> parts = Split(iText, '/');
    int32_t n = 0, d = 0;
    if (parts.size() != 2 || !SmallNumber(parts[0], false, n) || !SmallNumber(parts[1], false, d))
        throw Tool_UsageError(iWhat + " must be a meter N/D, not \"" + iText + "\"");
    if (n < 1 || n > 99 || d < 1 || d > 64 || (d & (d - 1)) != 0)
        throw Tool_UsageError(iWhat + " \"" + iText +
                              "\": numerators go from 1 to 99, denominators are 1, 2, 4 ... 64");
    return Time_Meter(n, d);
}

double ParseBpm(const std::string& iText, const std::string& iWhat)
{
    const double bpm = Tool_ParseDouble(Trim(iText), iWhat + " tempo");
    const Time_TempoLimits limits;
    if (bpm < limits.mMinBPM || bpm > limits.mMaxBPM)
        throw Tool_UsageError(iWhat + " tempo must lie from 5 to 999 bpm, not " + Trim(iText));
    return bpm;
}

std::vector<uint8_t> ReadWholeFile(const std::string& iPath)
{
    std::ifstream in(iPath, std::ios::binary);
    if (!in)
        throw std::runtime_error(iPath + ": cannot be opened for reading");
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    if (size < 0 || size > cMaxMapFileSize)
        throw std::runtime_error(iPath + ": not a map file (larger than 64 MiB)");
    in.seekg(0);
    std::vector<uint8_t> bytes(static_cast<size_t>(size));
    if (!in.read(reinterpret_cast<char*>(bytes.data()), size))
        throw std::runtime_error(iPath + ": cannot be read");
    return bytes;
}
} // namespace

bool Tool_ParseBarBeat(const std::string& iText, Time_BarBeatTick& oBBT)
{
    const std::vector<std::string> parts = Split(iText, '|');
    int32_t bar = 0, beat = 0, ticks = 0;
    if (parts.size() < 2 || parts.size() > 3 || !SmallNumber(parts[0], true, bar) ||
        !SmallNumber(parts[1], false, beat) || beat < 1 ||
        (parts.size() == 3 && !SmallNumber(parts[2], false, ticks)))
        return false;
    oBBT = Time_BarBeatTick(bar, beat,
                            Time_Tick(Time_BarBeatTick::DisplayTicksToInternalTicks(ticks)));
    return true;
}

Time_Tick Tool_ParsePosition(const std::string& iText, const Time_MeterMap& iMeter,
                             const std::string& iWhat)
{
    Time_BarBeatTick bbt;
    if (!Tool_ParseBarBeat(iText, bbt))
        throw Tool_UsageError(iWhat + " must be a position BAR|BEAT[|TICK], not \"" + iText + "\"");
    return iMeter.BarBeatToTick(bbt);
}

void Tool_ApplyMeterSpec(Time_MeterMap& ioMeter, const std::string& iSpec)
{
    const std::vector<std::string> items = Split(iSpec, ',');
    ioMeter.Clear();
    ioMeter.AddInitialMeterChange(Time_Tick(cOrigin), ParseMeter(items[0], "--meter"), 1);
    for (size_t i = 1; i < items.size(); ++i)
    {
        const auto [pos, meter] = Assignment(items[i], "--meter");
        const Time_Tick tick = Tool_ParsePosition(pos, ioMeter, "--meter");
        if (tick <= Time_Tick(cOrigin))
            throw Tool_UsageError("--meter changes must come after 1|1|0, not at \"" + pos + "\"");
        ioMeter.AddMeterChange(tick, ParseMeter(meter, "--meter"));
    }
}

void Tool_ApplyTempoSpec(Time_TempoMap& ioTempo, const Time_MeterMap& iMeter,
                         const std::string& iSpec)
{
    const std::vector<std::string> items = Split(iSpec, ',');
    Time_TempoMap_StEditOptimizer edit(ioTempo);
    ioTempo.Clear();
    auto first =
        std::make_unique<Time_ConstantTempoSeg>(Time_Tick(cOrigin), ParseBpm(items[0], "--tempo"),
                                                Time_Tick(Time_cInternalTicksPerQuarterNote));
    first->LockToSample(Time_Sample(0));
    first->SetIsSongStart(true);
    ioTempo.AddSegment(std::move(first));
    for (size_t i = 1; i < items.size(); ++i)
    {
        const auto [pos, bpm] = Assignment(items[i], "--tempo");
        const Time_Tick tick = Tool_ParsePosition(pos, iMeter, "--tempo");
        if (tick <= Time_Tick(cOrigin))
            throw Tool_UsageError("--tempo changes must come after 1|1|0, not at \"" + pos + "\"");
        ioTempo.AddSegment(std::make_unique<Time_ConstantTempoSeg>(
            tick, ParseBpm(bpm, "--tempo"), Time_Tick(Time_cInternalTicksPerQuarterNote)));
    }
}

void Tool_AddIdentifiedBeat(Time_TempoMap& ioTempo, const Time_MeterMap& iMeter,
                            const std::string& iPosEqualsSample)
{
    const auto [pos, sampleText] = Assignment(iPosEqualsSample, "--idb");
    const Time_Tick tick = Tool_ParsePosition(pos, iMeter, "--idb");
    const int64_t sample = Tool_ParseInt(Trim(sampleText), "--idb sample");
    if (sample < 0 || sample > Time_cMaxSampleTime)
        throw Tool_UsageError("--idb sample must lie from 0 to 2147483647, not " + sampleText);
    ioTempo.EnsureSongStart();
    Time_TempoMap_StEditOptimizer edit(ioTempo);
    auto at = ioTempo.FindSegment(tick);
    if (at == ioTempo.SegmentEnd() || (*at)->GetStartTick() != tick)
    {
        double bpm = 120.0;
        Time_Tick perBeat;
        ioTempo.GetTempoAtTick(&bpm, &perBeat, tick);
        ioTempo.AddSegment(std::make_unique<Time_ConstantTempoSeg>(tick, bpm, perBeat));
        at = ioTempo.FindSegment(tick);
    }
    (*at)->LockToSample(Time_Sample(sample));
    // Locked beats must rise with their ticks, or no tempo joins them.
    Time_Sample previous(-1);
    for (auto it = ioTempo.SegmentBegin(); it != ioTempo.SegmentEnd(); ++it)
        if ((*it)->IsLockedToSample())
        {
            if ((*it)->GetStartSample() <= previous)
                throw Tool_UsageError("--idb " + iPosEqualsSample +
                                      ": identified beats must lie at rising samples");
            previous = (*it)->GetStartSample();
        }
    ioTempo.FixUpComputedFlagsAroundTick(tick);
}

void Tool_CheckTempoMap(Time_TempoMap& ioTempo, const std::string& iWhat)
{
    try
    {
        ioTempo.UpdateBasicMapIfNeeded();
    }
    catch (const Cmn_AssertException&)
    {
        throw Tool_UsageError(iWhat + ": the identified beats leave no room for a tempo");
    }
}

void Tool_MapOptions::Declare(CLI::App& ioApp, bool iWithMapFile)
{
    ioApp.add_option("--tempo", mTempo, "BPM[,POS=BPM]...: tempo from bar 1, then changes");
    ioApp.add_option("--meter", mMeter, "N/D[,POS=N/D]...: meter from bar 1, then changes");
    ioApp.add_option("--idb", mIDBs, "POS=SAMPLE: a beat locked to a sample (repeatable)")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    if (iWithMapFile)
        ioApp.add_option("--map", mMap, "a saved map file (instead of --tempo, --meter, --idb)");
}

void Tool_MapOptions::Build(Time_TempoMap& oTempo, Time_MeterMap& oMeter,
                            const double* iRateP) const
{
    if (!mMap.empty())
    {
        if (!mTempo.empty() || !mMeter.empty() || !mIDBs.empty())
            throw Tool_UsageError("--map cannot be combined with --tempo, --meter or --idb");
        Tool_LoadMapFile(mMap, oTempo, oMeter);
        if (iRateP)
            oTempo.SetSampleRate(*iRateP);
        Tool_CheckTempoMap(oTempo, mMap);
        return;
    }
    oTempo.SetSampleRate(iRateP ? *iRateP : 44100.0);
    if (!mMeter.empty())
        Tool_ApplyMeterSpec(oMeter, mMeter);
    if (!mTempo.empty())
        Tool_ApplyTempoSpec(oTempo, oMeter, mTempo);
    for (const std::string& idb : mIDBs)
        Tool_AddIdentifiedBeat(oTempo, oMeter, idb);
    oTempo.EnsureSongStart();
    Tool_CheckTempoMap(oTempo, "--idb");
}

void Tool_LoadMapFile(const std::string& iPath, Time_TempoMap& oTempo, Time_MeterMap& oMeter)
{
    const std::vector<uint8_t> bytes = ReadWholeFile(iPath);
    try
    {
        Time_MapFile::Load(bytes, oTempo, oMeter);
    }
    catch (const Cmn_AssertException&)
    {
        throw std::runtime_error(iPath + ": the identified beats leave no room for a tempo");
    }
    catch (const std::exception& e)
    {
        throw std::runtime_error(iPath + ": not a map file (" +
                                 Cmn_Exception::GetExceptionDescription(e) + ")");
    }
}

void Tool_SaveMapFile(const std::string& iPath, const Time_TempoMap& iTempo,
                      const Time_MeterMap& iMeter)
{
    const std::vector<uint8_t> bytes = Time_MapFile::Save(iTempo, iMeter);
    try
    {
        Sys_StAtomicOutput output(Sys_FileLoc(iPath), true);
        std::ofstream out(output.GetTempLoc().GetFullPath(), std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
        out.close();
        if (!out)
            throw std::runtime_error("the map could not be written");
        output.Commit();
    }
    catch (const std::exception& e)
    {
        throw std::runtime_error(iPath + ": " + Cmn_Exception::GetExceptionDescription(e));
    }
}
