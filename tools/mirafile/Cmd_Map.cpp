// mirafile map ACTION ...: saved tempo and meter maps (Time_MapFile).
//
//   map new OUT [--rate HZ] [--tempo SPEC] [--meter SPEC] [--idb POS=SAMPLE]...
//       writes a map file built from the specs (Tool_TimeMaps.h), atomically.
//   map show FILE [--json]
//       lists the tempo segments and meter changes of a map file.
//   map edit FILE -o OUT OP...
//       applies tempo edits to a map file and writes the result to OUT (Tool_MapEdit.h).
//
// Each action is a row of cActions: its name, usage, the options it accepts and its run
// function; every option of every action is declared once on the command, and an option
// given to an action that does not take it is refused. A new action adds a row (and its
// options to Declare).
#include <cstdio>
#include <iostream>
#include <set>
#include <sstream>

#include "Time/Time_MeterMap.h"
#include "Time/Time_TempoMap.h"
#include "Tool.h"
#include "Tool_MapEdit.h"
#include "Tool_TimeMaps.h"

namespace
{
struct
{
    std::vector<std::string> mArgs; // the action, then its arguments
    std::string mRate;
    bool mJson = false;
    Tool_MapOptions mMaps;
} sOptions;

struct MapAction
{
    const char* mName;
    const char* mUsage;
    size_t mArgCount;               // arguments after the action's name
    std::set<std::string> mOptions; // the options it accepts
    int (*mRun)(const std::vector<std::string>& iArgs);
};

int RunNew(const std::vector<std::string>& iArgs);
int RunShow(const std::vector<std::string>& iArgs);

const MapAction cActions[] = {
    {"new",
     "map new OUT [--rate HZ] [--tempo SPEC] [--meter SPEC] [--idb POS=SAMPLE]...",
     1,
     {"--rate", "--tempo", "--meter", "--idb"},
     RunNew},
    {"show", "map show FILE [--json]", 1, {"--json"}, RunShow},
    {"edit",
     "map edit FILE -o OUT [--insert-change POS=BPM] [--add-idb POS=SAMPLE] [--insert-time "
     "AT:LENGTH] [--delete-time A:B] [--erase A:B] [--nudge A:B:AMOUNT] [--to-idb] "
     "[--to-changes]...",
     1,
     {"-o", "--insert-change", "--add-idb", "--insert-time", "--delete-time", "--erase", "--nudge",
      "--to-idb", "--to-changes"},
     Tool_MapEdit::Run},
};

std::string Usage()
{
    std::string usage;
    for (const MapAction& action : cActions)
        usage += std::string(usage.empty() ? "" : " | ") + action.mUsage;
    return usage;
}

const std::string cUsage = Usage();

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("ACTION", sOptions.mArgs, "new, show or edit, then its arguments");
    ioApp.add_option("--rate", sOptions.mRate, "sample rate in Hz (new; 44100 unless given)")
        ->check(
            Tool_NumberIn(1.0, 10000000.0, "must lie from 1 to 10000000 Hz", Tool_Shown::eNothing));
    sOptions.mMaps.Declare(ioApp, false);
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document (show)");
    Tool_MapEdit::Declare(ioApp);
}

// The options given on the command line, by name.
std::set<std::string> GivenOptions()
{
    std::set<std::string> given;
    if (!sOptions.mRate.empty())
        given.insert("--rate");
    if (!sOptions.mMaps.mTempo.empty())
        given.insert("--tempo");
    if (!sOptions.mMaps.mMeter.empty())
        given.insert("--meter");
    if (!sOptions.mMaps.mIDBs.empty())
        given.insert("--idb");
    if (sOptions.mJson)
        given.insert("--json");
    given.merge(Tool_MapEdit::Given());
    return given;
}

int RunNew(const std::vector<std::string>& iArgs)
{
    Time_TempoMap tempo;
    Time_MeterMap meter;
    const double rate =
        sOptions.mRate.empty() ? 44100.0 : Tool_ParseDouble(sOptions.mRate, "--rate");
    sOptions.mMaps.Build(tempo, meter, &rate);
    Tool_SaveMapFile(iArgs[0], tempo, meter);
    return 0;
}

std::string Number(double iValue)
{
    std::ostringstream text;
    text << iValue;
    return text.str();
}

int RunShow(const std::vector<std::string>& iArgs)
{
    Time_TempoMap tempo;
    Time_MeterMap meter;
    Tool_LoadMapFile(iArgs[0], tempo, meter);
    const char* regime = tempo.IsAllIDB()       ? "identified beats"
                         : tempo.IsAllChanges() ? "changes"
                                                : "mixed";
    Tool_Json segments = Tool_Json::array(), changes = Tool_Json::array();
    std::ostringstream text;
    text << "rate        " << Number(tempo.GetSampleRate()) << " Hz\n"
         << "song start  tick " << tempo.GetSongStartTick().AsInt64() << ", sample "
         << tempo.GetSongStartSample().AsInt64() << ", bar "
         << meter.TickToBarBeat(tempo.GetSongStartTick()).ToString(true, false) << "\n"
         << "tempo       " << tempo.GetNumberOfSegments() << " segment"
         << (tempo.GetNumberOfSegments() == 1 ? "" : "s") << " (" << regime << ")\n";
    for (auto it = tempo.SegmentBegin(); it != tempo.SegmentEnd(); ++it)
    {
        const Time_TempoMapSegment& seg = **it;
        double bpm = 0.0;
        Time_Tick perBeat;
        tempo.GetTempoAtTick(&bpm, &perBeat, seg.GetStartTick());
        const Time_Sample sample = tempo.TickToSample(seg.GetStartTick());
        const std::string bbt = meter.TickToBarBeat(seg.GetStartTick()).ToString(true, false);
        std::string flags;
        for (const auto& [on, name] :
             {std::pair(seg.IsLockedToSample(), "locked"), std::pair(seg.IsComputed(), "computed"),
              std::pair(seg.IsSongStart(), "song start")})
            if (on)
                flags += std::string(flags.empty() ? "  " : ", ") + name;
        char line[160];
        std::snprintf(line, sizeof line, "  %-10s tick %lld  sample %lld  %s bpm%s\n", bbt.c_str(),
                      static_cast<long long>(seg.GetStartTick().AsInt64()),
                      static_cast<long long>(sample.AsInt64()), Number(bpm).c_str(), flags.c_str());
        text << line;
        segments.push_back({{"bbt", bbt},
                            {"tick", seg.GetStartTick().AsInt64()},
                            {"sample", sample.AsInt64()},
                            {"bpm", bpm},
                            {"ticks_per_beat", perBeat.AsInt64()},
                            {"locked", seg.IsLockedToSample()},
                            {"computed", seg.IsComputed()},
                            {"song_start", seg.IsSongStart()}});
    }
    const size_t count = static_cast<size_t>(meter.IterEnd() - meter.IterBegin());
    text << "meter       " << count << " change" << (count == 1 ? "" : "s")
         << (meter.IsDefault() ? " (default)" : "") << "\n";
    for (auto it = meter.IterBegin(); it != meter.IterEnd(); ++it)
    {
        char line[160];
        std::snprintf(line, sizeof line, "  bar %-6d tick %lld  %d/%d%s\n", it->mBarNumber,
                      static_cast<long long>(it->mTick.AsInt64()), it->mMeter.GetNumerator(),
                      it->mMeter.GetDenominator(),
                      it->mPrevIsPartial ? "  cuts the bar before" : "");
        text << line;
        changes.push_back({{"bar", it->mBarNumber},
                           {"tick", it->mTick.AsInt64()},
                           {"numerator", it->mMeter.GetNumerator()},
                           {"denominator", it->mMeter.GetDenominator()},
                           {"cuts_bar_before", it->mPrevIsPartial}});
    }
    if (!sOptions.mJson)
    {
        std::cout << text.str();
        return 0;
    }
    Tool_Json doc;
    doc["file"] = iArgs[0];
    doc["rate"] = tempo.GetSampleRate();
    doc["song_start"] = {{"tick", tempo.GetSongStartTick().AsInt64()},
                         {"sample", tempo.GetSongStartSample().AsInt64()}};
    doc["regime"] = regime;
    doc["tempo"] = segments;
    doc["meter_is_default"] = meter.IsDefault();
    doc["meter"] = changes;
    std::cout << Tool_JsonText(doc) << "\n";
    return 0;
}

int Run()
{
    const std::vector<std::string>& args = sOptions.mArgs;
    if (args.empty())
        throw Tool_UsageError("usage: mirafile " + cUsage);
    for (const MapAction& action : cActions)
    {
        if (args[0] != action.mName)
            continue;
        if (args.size() != action.mArgCount + 1)
            throw Tool_UsageError(std::string("usage: mirafile ") + action.mUsage);
        for (const std::string& option : GivenOptions())
            if (!action.mOptions.count(option))
                throw Tool_UsageError("option " + option + " does not apply to map " +
                                      action.mName);
        return action.mRun(std::vector<std::string>(args.begin() + 1, args.end()));
    }
    throw Tool_UsageError("unknown map action \"" + args[0] + "\"; usage: mirafile " + cUsage);
}

Tool_Registrar sRegistrar{
    {"map", cUsage, "write and show saved tempo and meter maps", Declare, Run}};
} // namespace
