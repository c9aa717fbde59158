// mirafile time VALUE --from KIND --to KIND: one session position converted between scales.
//
// KIND is samples (session-relative sample position), frames (total frames from midnight at
// the timecode rate), smpte (a timecode label), feet (feet+frames[.subframes] of film) or
// minsec (minutes:seconds[.milliseconds]), ticks (absolute internal ticks, 960,000 to a
// quarter note) or bbt (BAR|BEAT|TICK with display ticks, as the library shows them). Every
// conversion goes through the library's own types and their rounding: a position given in
// frames or timecode stays exact between those two, one given in ticks or bars and beats
// between those two; anything else passes through its sample position, and samples and ticks
// meet through the tempo map (Time_Converter). --offset sets the session start label, which
// samples, feet and minsec count from. The maps come from --tempo, --meter, --idb or --map
// (Tool_TimeMaps.h); --first takes the first value of the other scale that maps onto the
// position, --snap a tick rounded to a display tick when it converts back to the same value.
#include <cctype>
#include <iostream>
#include <map>
#include <sstream>

#include "Time/Time_Converter.h"
#include "Time/Time_FeetFrame.h"
#include "Time/Time_Globals.h"
#include "Time/Time_MinSec.h"
#include "Time/Time_SMPTE.h"
#include "Tool.h"
#include "Tool_TimeMaps.h"

namespace
{
const char* const cUsage = "time VALUE --from KIND [--to KIND | --table] [--rate HZ] "
                           "[--fps 23.976|24|25|29.97|29.97df|30|30df] [--offset TIMECODE] "
                           "[--feet-rate 23.976|24|25] [--pull COMBO] [--tempo SPEC] "
                           "[--meter SPEC] [--idb POS=SAMPLE]... [--map FILE] [--first] "
                           "[--snap] [--json]";

const std::map<std::string, ETimeCodeFormat> cFpsNames = {{"23.976", eTimeCodeFormat_23976},
                                                          {"24", eTimeCodeFormat_24},
                                                          {"25", eTimeCodeFormat_25},
                                                          {"29.97", eTimeCodeFormat_2997NonDrop},
                                                          {"29.97df", eTimeCodeFormat_2997Drop},
                                                          {"30", eTimeCodeFormat_30NonDrop},
                                                          {"30df", eTimeCodeFormat_30Drop}};

const std::map<std::string, Time_FeetFrame::EFeetFramesRate> cFeetRateNames = {
    {"23.976", Time_FeetFrame::eFeetFramesRate_23976},
    {"24", Time_FeetFrame::eFeetFramesRate_24},
    {"25", Time_FeetFrame::eFeetFramesRate_25}};

const char* const cKinds[] = {"samples", "frames", "smpte", "feet", "minsec", "ticks", "bbt"};
const char* const cKindList = "samples, frames, smpte, feet, minsec, ticks, bbt";

// The maps of the session and the converter over them, and how ticks are taken.
struct
{
    Time_TempoMap mTempo;
    Time_MeterMap mMeter;
    Time_Converter mConverter{&mTempo, &mMeter, Time_eType_Samples};
    bool mFirst = false, mSnap = false;
} sMaps;

bool IsKind(const std::string& iKind)
{
    for (const char* kind : cKinds)
        if (iKind == kind)
            return true;
    return false;
}

bool AllDigits(const std::string& iText)
{
    if (iText.empty())
        return false;
    for (unsigned char c : iText)
        if (!std::isdigit(c))
            return false;
    return true;
}

std::string FpsName(ETimeCodeFormat iFormat)
{
    for (const auto& [name, format] : cFpsNames)
        if (format == iFormat)
            return name;
    return "?";
}

// "HH:MM:SS:FF" (any separator before the frames) with optional ".SS" subframes, valid at the
// global format.
Time_SMPTE ParseTimecode(const std::string& iText, const std::string& iWhat)
{
    const bool shapeOk =
        (iText.size() == 11 || iText.size() == 14) && AllDigits(iText.substr(0, 2)) &&
        iText[2] == ':' && AllDigits(iText.substr(3, 2)) && iText[5] == ':' &&
        AllDigits(iText.substr(6, 2)) && (iText[8] == ':' || iText[8] == ';' || iText[8] == '.') &&
        AllDigits(iText.substr(9, 2)) &&
        (iText.size() == 11 || (iText[11] == '.' && AllDigits(iText.substr(12, 2))));
    if (!shapeOk)
        throw Tool_UsageError(iWhat + " must be a timecode HH:MM:SS:FF, not \"" + iText + "\"");
    Time_SMPTE tc;
    tc.FromString(iText);
    if (!tc.IsValidTimeCode())
        throw Tool_UsageError(iWhat + " \"" + iText + "\" is not a timecode at " +
                              FpsName(Time_SMPTE::GetGlobalTimeCodeFormat()) + " fps");
    return tc;
}

// "F+FF" or "F+FF.SS", feet up to five digits, in the fixed columns of Time_FeetFrame.
Time_FeetFrame ParseFeet(const std::string& iText)
{
    const size_t plus = iText.find('+');
    const std::string feet = iText.substr(0, plus);
    const std::string rest = plus == std::string::npos ? "" : iText.substr(plus + 1);
    const bool shapeOk = plus != std::string::npos && AllDigits(feet) && feet.size() <= 5 &&
                         (rest.size() == 2 || rest.size() == 5) && AllDigits(rest.substr(0, 2)) &&
                         (rest.size() == 2 || (rest[2] == '.' && AllDigits(rest.substr(3, 2))));
    if (!shapeOk)
        throw Tool_UsageError("feet must be FEET+FF or FEET+FF.SS, not \"" + iText + "\"");
    if (std::stoi(rest.substr(0, 2)) >= Time_FeetFrame::kFramesPerFoot)
        throw Tool_UsageError("a foot has 16 frames (0 to 15): \"" + iText + "\"");
    Time_FeetFrame value;
    value.FromString(std::string(5 - feet.size(), ' ') + feet + "+" + rest);
    return value;
}

// "M:SS" or "M:SS.mmm" (one to three digits of milliseconds), minutes up to three digits.
Time_MinSec ParseMinSec(const std::string& iText)
{
    const size_t colon = iText.find(':');
    const std::string minutes = iText.substr(0, colon);
    const std::string rest = colon == std::string::npos ? "" : iText.substr(colon + 1);
    const std::string millis = rest.size() > 3 ? rest.substr(3) : "";
    const bool shapeOk =
        colon != std::string::npos && AllDigits(minutes) && minutes.size() <= 3 &&
        rest.size() >= 2 && AllDigits(rest.substr(0, 2)) &&
        (rest.size() == 2 || (rest[2] == '.' && AllDigits(millis) && millis.size() <= 3));
    if (!shapeOk)
        throw Tool_UsageError("minsec must be MIN:SS or MIN:SS.mmm, not \"" + iText + "\"");
    if (std::stoi(rest.substr(0, 2)) >= 60)
        throw Tool_UsageError("seconds must be below 60: \"" + iText + "\"");
    if (std::stoi(minutes) > Time_MinSec::kMaxMinutes)
        throw Tool_UsageError("minutes must not pass 800: \"" + iText + "\"");
    const std::string text = std::string(3 - minutes.size(), ' ') + minutes + ":" +
                             rest.substr(0, 2) + "." + (millis + "000").substr(0, 3);
    Time_MinSec value;
    value.FromString(text);
    return value;
}

// One position: its sample position from the session start, and its timecode when it was
// given as frames or timecode (so that those two stay exact between each other).
struct Position
{
    Time_Sample mSamples;
    bool mHasTimecode = false;
    Time_SMPTE mTimecode;
    bool mHasTick = false;
    Time_Tick mTick;
};

// A tick position in samples, and a sample position in ticks, as --first and --snap ask.
Time_Sample SamplesOfTick(Time_Tick iTick)
{
    if (sMaps.mFirst)
        return sMaps.mConverter.ToFirstType(Time_Typed(iTick), Time_eType_Samples).AsSample();
    return sMaps.mConverter.ToSample(iTick);
}

Time_Tick TickOf(const Position& iPos)
{
    if (iPos.mHasTick)
        return iPos.mTick;
    if (sMaps.mFirst)
        return sMaps.mConverter.ToFirstType(Time_Typed(iPos.mSamples), Time_eType_Ticks).AsTick();
    if (sMaps.mSnap)
        return Time_Convert::ToTickTimeWithDisplaySnap(Time_Typed(iPos.mSamples)).AsTick();
    return sMaps.mConverter.ToTick(iPos.mSamples);
}

Position ReadPosition(const std::string& iValue, const std::string& iKind)
{
    Position pos;
    if (iKind == "samples")
    {
        pos.mSamples = Time_Sample(Tool_ParseInt(iValue, "VALUE (samples)"));
    }
    else if (iKind == "frames")
    {
        const int64_t frames = Tool_ParseInt(iValue, "VALUE (frames)");
        if (frames < 0 || frames > INT32_MAX)
            throw Tool_UsageError("frames must lie within one day, not " + iValue);
        pos.mTimecode.SetFromTotalFrames(static_cast<int32_t>(frames), true);
        if (pos.mTimecode.GetTotalFrames() != frames || !pos.mTimecode.IsValidTimeCode())
            throw Tool_UsageError("frames must lie within one day at " +
                                  FpsName(Time_SMPTE::GetGlobalTimeCodeFormat()) + " fps, not " +
                                  iValue);
        pos.mHasTimecode = true;
        pos.mSamples = pos.mTimecode.GetSamplesFromStartFrame(false);
    }
    else if (iKind == "smpte")
    {
        pos.mTimecode = ParseTimecode(iValue, "VALUE");
        pos.mHasTimecode = true;
        pos.mSamples = pos.mTimecode.GetSamplesFromStartFrame(false);
    }
    else if (iKind == "feet")
    {
        pos.mSamples = ParseFeet(iValue).GetSamplesFromStartFrame();
    }
    else if (iKind == "ticks")
    {
        const int64_t ticks = Tool_ParseInt(iValue, "VALUE (ticks)");
        if (ticks < Time_cMinTickTime || ticks > Time_cMaxTickTime)
            throw Tool_UsageError("ticks must lie from -576460752303423487 to "
                                  "576460752303423487, not " +
                                  iValue);
        pos.mHasTick = true;
        pos.mTick = Time_Tick(ticks);
        pos.mSamples = SamplesOfTick(pos.mTick);
    }
    else if (iKind == "bbt")
    {
        pos.mHasTick = true;
        pos.mTick = Tool_ParsePosition(iValue, sMaps.mMeter, "VALUE (bbt)");
        pos.mSamples = SamplesOfTick(pos.mTick);
    }
    else
    {
        pos.mSamples = ParseMinSec(iValue).GetSamples();
    }
    return pos;
}

Time_SMPTE TimecodeOf(const Position& iPos)
{
    if (iPos.mHasTimecode)
        return iPos.mTimecode;
    Time_SMPTE tc;
    tc.SetFromSamplesFromStartFrame(iPos.mSamples, false);
    return tc;
}

// The position in one scale's display form; iNumber tells whether it is a bare number.
std::string Show(const Position& iPos, const std::string& iKind, bool& oNumber)
{
    oNumber = iKind == "samples" || iKind == "frames" || iKind == "ticks";
    if (iKind == "ticks")
        return std::to_string(TickOf(iPos).AsInt64());
    if (iKind == "bbt")
        return sMaps.mMeter.TickToBarBeat(TickOf(iPos)).ToString(true, false);
    if (iKind == "samples")
        return iPos.mSamples.ToString();
    if (iKind == "frames")
        return std::to_string(TimecodeOf(iPos).GetTotalFrames());
    if (iKind == "smpte")
        return TimecodeOf(iPos).ToString(false);
    if (iKind == "feet")
    {
        Time_FeetFrame feet;
        feet.SetFromSamplesFromStartFrame(iPos.mSamples);
        return feet.ToString(true, false);
    }
    Time_MinSec minsec;
    minsec.SetFromSamples(iPos.mSamples);
    return minsec.ToString(false);
}

struct
{
    std::vector<std::string> mValues;
    std::string mFrom, mTo, mRate, mFps, mOffset, mFeetRate, mPull;
    bool mJson = false, mTable = false;
    Tool_MapOptions mMaps;
} sOptions;

std::vector<std::string> Names(const auto& iMap)
{
    std::vector<std::string> names;
    for (const auto& [name, value] : iMap)
        names.push_back(name);
    return names;
}

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("VALUE", sOptions.mValues, "the position, in the scale of --from");
    ioApp.add_option("--from", sOptions.mFrom,
                     "samples, frames, smpte, feet, minsec, ticks or bbt");
    ioApp.add_option("--to", sOptions.mTo, "samples, frames, smpte, feet, minsec, ticks or bbt");
    ioApp.add_flag("--table", sOptions.mTable, "the position in every scale");
    ioApp.add_option("--rate", sOptions.mRate, "sample rate in Hz")
        ->check(
            Tool_NumberIn(1.0, 10000000.0, "must lie from 1 to 10000000 Hz", Tool_Shown::eNothing));
    ioApp.add_option("--fps", sOptions.mFps, "timecode rate")
        ->check(Tool_OneOf({"23.976", "24", "25", "29.97", "29.97df", "30", "30df"},
                           "must be one of 23.976, 24, 25, 29.97, 29.97df, 30, 30df",
                           Tool_Shown::eQuoted));
    ioApp.add_option("--offset", sOptions.mOffset, "timecode of the session start");
    ioApp.add_option("--feet-rate", sOptions.mFeetRate, "film frame rate of feet")
        ->check(Tool_OneOf(Names(cFeetRateNames), "must be one of 23.976, 24, 25",
                           Tool_Shown::eQuoted));
    std::ostringstream combos;
    std::vector<std::string> numbers;
    for (int32_t combo = 0; combo < Time_Globals::eComboPullFactor_Count; ++combo)
    {
        combos << (combo ? ", " : "") << combo << " "
               << Time_Globals::GetComboString(static_cast<Time_Globals::EComboPullFactor>(combo),
                                               false);
        numbers.push_back(std::to_string(combo));
    }
    ioApp.add_option("--pull", sOptions.mPull, "pull-up/down combination (" + combos.str() + ")")
        ->check(Tool_OneOf(numbers, "must be a combination number (" + combos.str() + ")",
                           Tool_Shown::eQuoted));
    sOptions.mMaps.Declare(ioApp, true);
    ioApp.add_flag("--first", sMaps.mFirst,
                   "between samples and ticks, the first value that maps onto the position");
    ioApp.add_flag("--snap", sMaps.mSnap,
                   "a tick from samples on a display tick when it maps back to the same sample");
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document");
}

void ApplySettings()
{
    if (!sOptions.mRate.empty())
        Time_Globals::SetSampleRate(Tool_ParseDouble(sOptions.mRate, "--rate"));
    if (!sOptions.mFps.empty())
        Time_SMPTE::SetGlobalTimeCodeFormat(cFpsNames.at(sOptions.mFps));
    if (!sOptions.mFeetRate.empty())
        Time_FeetFrame::SetGlobalFeetFramesRate(cFeetRateNames.at(sOptions.mFeetRate));
    if (!sOptions.mPull.empty())
    {
        Time_Globals::EPullFactor factor01 = Time_Globals::ePullFactor_None;
        Time_Globals::EPullFactor factor4 = Time_Globals::ePullFactor_None;
        Time_Globals::ComboToPullFactors(
            static_cast<Time_Globals::EComboPullFactor>(std::stoi(sOptions.mPull)), &factor01,
            &factor4);
        Time_Globals::SetPullFactor(Time_Globals::ePullMedia_Audio,
                                    Time_Globals::ePullType_PointOnePercent, factor01);
        Time_Globals::SetPullFactor(Time_Globals::ePullMedia_Audio,
                                    Time_Globals::ePullType_FourPercent, factor4);
    }
    if (!sOptions.mOffset.empty())
        Time_SMPTE::SetFrameOffset(ParseTimecode(sOptions.mOffset, "--offset").GetTotalFrames());
    // The maps; a map file without --rate gives the session its own rate.
    const double rate = Time_Globals::GetSampleRate();
    sOptions.mMaps.Build(sMaps.mTempo, sMaps.mMeter,
                         sOptions.mRate.empty() && !sOptions.mMaps.mMap.empty() ? nullptr : &rate);
    Time_Globals::SetSampleRate(sMaps.mTempo.GetSampleRate());
    Time_Convert::SetTimeConverter(&sMaps.mConverter);
}

std::string PullText()
{
    return Time_Globals::GetComboString(
        Time_Globals::GetComboPullFactor(
            Time_Globals::GetPullFactor(Time_Globals::ePullMedia_Audio,
                                        Time_Globals::ePullType_PointOnePercent),
            Time_Globals::GetPullFactor(Time_Globals::ePullMedia_Audio,
                                        Time_Globals::ePullType_FourPercent)),
        true);
}

int Run()
{
    const auto& pos = sOptions.mValues;
    if (pos.size() != 1)
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    const std::string& from = sOptions.mFrom;
    const std::string& to = sOptions.mTo;
    const bool table = sOptions.mTable;
    if (!IsKind(from))
        throw Tool_UsageError(std::string("--from must be one of ") + cKindList +
                              (from.empty() ? std::string() : ", not \"" + from + "\""));
    if (!table && !IsKind(to))
        throw Tool_UsageError(std::string("--to must be one of ") + cKindList +
                              (to.empty() ? std::string() : ", not \"" + to + "\""));
    if (sMaps.mFirst && sMaps.mSnap)
        throw Tool_UsageError("--first and --snap cannot be combined");
    if (table && !to.empty() && !IsKind(to))
        throw Tool_UsageError(std::string("--to must be one of ") + cKindList + ", not \"" + to +
                              "\"");
    ApplySettings();

    const Position position = ReadPosition(pos[0], from);
    const bool json = sOptions.mJson;
    bool number = false;
    // A shown position: a bare number, or a string.
    auto value = [&](const std::string& iKind)
    {
        const std::string shown = Show(position, iKind, number);
        return number ? Tool_Json::parse(shown) : Tool_Json(shown);
    };
    if (!table)
    {
        if (json)
        {
            Tool_Json doc;
            doc["value"] = pos[0];
            doc["from"] = from;
            doc["to"] = to;
            doc["result"] = value(to);
            std::cout << Tool_JsonText(doc) << "\n";
        }
        else
            std::cout << Show(position, to, number) << "\n";
        return 0;
    }

    if (json)
    {
        Tool_Json doc;
        doc["value"] = pos[0];
        doc["from"] = from;
        doc["rate"] = Time_Globals::GetSampleRate();
        doc["pull_rate"] = Time_Globals::GetPullSampleRate();
        doc["fps"] = FpsName(Time_SMPTE::GetGlobalTimeCodeFormat());
        doc["pull"] = PullText();
        for (const char* kind : cKinds)
            doc[kind] = value(kind);
        std::cout << Tool_JsonText(doc) << "\n";
        return 0;
    }
    std::cout << "rate     " << Time_Globals::GetSampleRate() << " Hz (pull " << PullText() << ")\n"
              << "fps      " << FpsName(Time_SMPTE::GetGlobalTimeCodeFormat()) << "\n";
    for (const char* kind : cKinds)
    {
        std::string label = kind;
        label.resize(9, ' ');
        std::cout << label << Show(position, kind, number) << "\n";
    }
    return 0;
}

Tool_Registrar sRegistrar{
    {"time", cUsage, "convert one position between samples, frames, timecode, feet and minutes",
     Declare, Run}};
} // namespace
