#include <cmath>
#include <filesystem>
#include <map>

#include "Cmn_Exception.h"
#include "Time/Time_MeterMap.h"
#include "Time/Time_TempoEdit.h"
#include "Time/Time_TempoMap.h"
#include "Tool.h"
#include "Tool_MapEdit.h"
#include "Tool_TimeMaps.h"

namespace
{
// The operations in the order of the command line: the option, how many values it takes
// (0 for a flag) and the values given.
struct OpOption
{
    const char* mName;
    const char* mHelp;
    bool mIsFlag;
};

const OpOption cOps[] = {
    {"--insert-change", "POS=BPM: a tempo change (repeatable)", false},
    {"--add-idb", "POS=SAMPLE: an identified beat (repeatable)", false},
    {"--insert-time", "AT:LENGTH: time inserted (repeatable)", false},
    {"--delete-time", "A:B: the time from A to B removed (repeatable)", false},
    {"--erase", "A:B: the tempo events from A to B removed (repeatable)", false},
    {"--nudge", "A:B:AMOUNT: the tempo events from A to B moved (repeatable)", false},
    {"--to-idb", "convert the map to identified beats", true},
    {"--to-changes", "convert the map to tempo changes", true},
};

struct
{
    CLI::App* mAppP = nullptr;
    std::string mOut;
    std::map<std::string, std::vector<std::string>> mValues;
    std::map<std::string, bool> mFlags;
} sEdit;

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

// The map pair being edited and the operation's name, for the texts of failures.
struct Editing
{
    Time_TempoMap& mTempo;
    Time_MeterMap& mMeter;
    std::string mOption;

    Time_Tick Pos(const std::string& iText) const
    {
        return Tool_ParsePosition(iText, mMeter, mOption);
    }
    // Quarter notes, or samples with "s"; iSamples tells which.
    int64_t Length(const std::string& iText, bool* oSamples) const
    {
        *oSamples = !iText.empty() && iText.back() == 's';
        if (*oSamples)
        {
            const int64_t samples =
                Tool_ParseInt(iText.substr(0, iText.size() - 1), mOption + " samples");
            if (samples < -Time_cMaxSampleTime || samples > Time_cMaxSampleTime)
                throw Tool_UsageError(mOption + " samples must lie within 2147483647 of 0, not " +
                                      iText);
            return samples;
        }
        const double quarters = Tool_ParseDouble(iText, mOption + " length");
        if (!(std::fabs(quarters) <= 1.0e9))
            throw Tool_UsageError(mOption + " length is out of range: " + iText);
        return static_cast<int64_t>(std::llround(quarters * Time_cInternalTicksPerQuarterNote));
    }
    // A range A:B (and a third part with iParts 3) with A not after B.
    std::vector<std::string> Parts(const std::string& iText, size_t iParts, const char* iForm) const
    {
        std::vector<std::string> parts = Split(iText, ':');
        if (parts.size() != iParts)
            throw Tool_UsageError(mOption + " must read " + iForm + ", not \"" + iText + "\"");
        return parts;
    }
    void Range(const std::string& iText, Time_Tick* oA, Time_Tick* oB) const
    {
        const std::vector<std::string> parts = Parts(iText, 2, "A:B");
        *oA = Pos(parts[0]);
        *oB = Pos(parts[1]);
        if (*oB < *oA)
            throw Tool_UsageError(mOption + " \"" + iText + "\": A must not come after B");
    }
    // The range operations need one regime.
    void NeedOneRegime() const
    {
        if (!mTempo.IsAllChanges() && !mTempo.IsAllIDB())
            throw Tool_UsageError(mOption +
                                  " needs a map of tempo changes only or of identified beats "
                                  "only; convert it first with --to-changes or --to-idb");
    }
    // A position in the scale of a length.
    Time_Typed In(Time_Tick iTick, bool iSamples) const
    {
        return iSamples ? Time_Typed(mTempo.TickToSample(iTick)) : Time_Typed(iTick);
    }
};

void Apply(Editing& ioEdit, const std::string& iValue)
{
    Time_TempoEdit edit(&ioEdit.mTempo);
    const std::string& op = ioEdit.mOption;
    if (op == "--to-idb")
        edit.ConvertAllToIDB();
    else if (op == "--to-changes")
        edit.ConvertAllToChanges();
    else if (op == "--insert-change" || op == "--add-idb")
    {
        const size_t at = iValue.rfind('=');
        if (at == std::string::npos)
            throw Tool_UsageError(op + " must read POS=VALUE, not \"" + iValue + "\"");
        const Time_Tick tick = ioEdit.Pos(iValue.substr(0, at));
        const std::string value = iValue.substr(at + 1);
        if (op == "--insert-change")
        {
            const double bpm = Tool_ParseDouble(value, op + " tempo");
            const Time_TempoLimits& limits = *Time_TempoEdit::GetTempoLimits();
            if (!(bpm >= limits.mMinBPM && bpm <= limits.mMaxBPM))
                throw Tool_UsageError(op + " tempo must lie from 5 to 999 bpm, not " + value);
            edit.InsertChange(tick, bpm, Time_Tick(Time_cInternalTicksPerQuarterNote));
        }
        else
        {
            const int64_t sample = Tool_ParseInt(value, op + " sample");
            if (sample < 0 || sample > Time_cMaxSampleTime)
                throw Tool_UsageError(op + " sample must lie from 0 to 2147483647, not " + value);
            edit.AddIDB(tick, Time_Sample(sample));
        }
    }
    else if (op == "--insert-time")
    {
        const std::vector<std::string> parts = ioEdit.Parts(iValue, 2, "AT:LENGTH");
        const Time_Tick at = ioEdit.Pos(parts[0]);
        bool samples = false;
        const int64_t length = ioEdit.Length(parts[1], &samples);
        if (length <= 0)
            throw Tool_UsageError(op + " length must be more than 0, not " + parts[1]);
        ioEdit.NeedOneRegime();
        edit.InsertTime(ioEdit.In(at, samples),
                        Time_TypedLength(length, samples ? Time_eType_Samples : Time_eType_Ticks));
    }
    else if (op == "--delete-time" || op == "--erase")
    {
        Time_Tick a, b;
        ioEdit.Range(iValue, &a, &b);
        ioEdit.NeedOneRegime();
        if (op == "--erase")
            edit.Erase(Time_Typed(a), Time_Typed(b));
        else
            edit.DeleteTime(Time_Typed(a), Time_Typed(b));
    }
    else if (op == "--nudge")
    {
        const std::vector<std::string> parts = ioEdit.Parts(iValue, 3, "A:B:AMOUNT");
        Time_Tick a, b;
        ioEdit.Range(parts[0] + ":" + parts[1], &a, &b);
        bool samples = false;
        const int64_t amount = ioEdit.Length(parts[2], &samples);
        ioEdit.NeedOneRegime();
        edit.Nudge(ioEdit.In(a, samples), ioEdit.In(b, samples),
                   Time_TypedLength(amount, samples ? Time_eType_Samples : Time_eType_Ticks));
    }
}

bool SameFile(const std::string& iA, const std::string& iB)
{
    std::error_code error;
    if (std::filesystem::equivalent(iA, iB, error))
        return true;
    return std::filesystem::weakly_canonical(iA, error) ==
           std::filesystem::weakly_canonical(iB, error);
}
} // namespace

void Tool_MapEdit::Declare(CLI::App& ioApp)
{
    sEdit = {};
    sEdit.mAppP = &ioApp;
    ioApp.add_option("-o", sEdit.mOut, "OUT: the edited map file (edit)");
    for (const OpOption& op : cOps)
        if (op.mIsFlag)
            ioApp.add_flag(op.mName, sEdit.mFlags[op.mName], op.mHelp);
        else
            ioApp.add_option(op.mName, sEdit.mValues[op.mName], op.mHelp)
                ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

std::set<std::string> Tool_MapEdit::Given()
{
    std::set<std::string> given;
    if (!sEdit.mOut.empty())
        given.insert("-o");
    for (const auto& [name, values] : sEdit.mValues)
        if (!values.empty())
            given.insert(name);
    for (const auto& [name, on] : sEdit.mFlags)
        if (on)
            given.insert(name);
    return given;
}

int Tool_MapEdit::Run(const std::vector<std::string>& iArgs)
{
    const std::string& file = iArgs[0];
    if (sEdit.mOut.empty())
        throw Tool_UsageError("map edit needs -o OUT");
    if (SameFile(file, sEdit.mOut))
        throw Tool_UsageError("-o must name another file than " + file + ", which is only read");
    Time_TempoMap tempo;
    Time_MeterMap meter;
    Tool_LoadMapFile(file, tempo, meter);
    Tool_CheckTempoMap(tempo, file);
    std::map<std::string, size_t> used; // values taken so far, per option
    for (const CLI::Option* optionP : sEdit.mAppP->parse_order())
    {
        const std::string name = optionP->get_name();
        if (name == "-o" || !(sEdit.mValues.count(name) || sEdit.mFlags.count(name)))
            continue;
        Editing editing{tempo, meter, name};
        const std::vector<std::string>& values = sEdit.mValues[name];
        const std::string value = sEdit.mFlags.count(name) ? "" : values.at(used[name]++);
        try
        {
            Apply(editing, value);
            Tool_CheckTempoMap(tempo, name + (value.empty() ? "" : " " + value));
        }
        catch (const Cmn_AssertException& e)
        {
            throw Tool_UsageError(name + (value.empty() ? "" : " " + value) +
                                  " cannot apply to this map (" +
                                  Cmn_Exception::GetExceptionDescription(e) + ")");
        }
    }
    Tool_SaveMapFile(sEdit.mOut, tempo, meter);
    return 0;
}
