// The frame of the mirafile tool: one dispatcher, options through CLI11, JSON through
// nlohmann-json, one way to fail.
//
// A sub-command is registered under a name with a usage line and a summary, a function that
// declares its arguments and options on a CLI::App (variables the command owns), and a
// function that runs it after parsing and returns the exit status. Bad input is reported by
// throwing Tool_UsageError, a CLI11 parse error or any exception: the dispatcher prints one
// line "mirafile: <text>" on standard error and exits with status 1. A cancel
// (Cmn_CancelException) exits with status 130 and prints "mirafile: cancelled".
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

class Tool_UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct Tool_Command
{
    std::string mName;
    std::string mUsage;   // e.g. "message PACKAGE ID [INSERT...]"
    std::string mSummary; // one line
    std::function<void(CLI::App&)> mDeclare;
    std::function<int()> mRun;
};

class Tool_Registry
{
public:
    static void Add(Tool_Command iCommand);
    static const std::map<std::string, Tool_Command>& All();
};

// Registers a command at static initialisation: static Tool_Registrar r{{...}};
struct Tool_Registrar
{
    explicit Tool_Registrar(Tool_Command iCommand) { Tool_Registry::Add(std::move(iCommand)); }
};

// Parses iArgs (the arguments after the sub-command's name) with the command's options
// declared on ioApp: "--name value", "--name=value", flags, positionals, everything after
// "--" positional; an option given twice keeps its last value. Throws Tool_UsageError with
// the tool's texts: "unknown option --x", "option --x needs a value", "--x <validator's
// text>"; CLI::CallForHelp for --help.
void Tool_Parse(const Tool_Command& iCommand, CLI::App& ioApp, std::vector<std::string> iArgs);

// What a validator's failure adds after its text.
enum class Tool_Shown
{
    eNothing, // "--rate must be between 1000 and 204000 Hz"
    eValue,   // "--rate must lie from 1000 to 768000 Hz, not 999"
    eQuoted   // "--fps must be one of ..., not \"31\""
};

// Validators whose failure reads "--name <iText>[, not VALUE]": a whole number (or any
// finite number) from iMin to iMax; one of iNames. A value that is no number at all reads
// "--name must be a (whole) number, not \"VALUE\"".
CLI::Validator Tool_WholeIn(int64_t iMin, int64_t iMax, const std::string& iText,
                            Tool_Shown iShown);
CLI::Validator Tool_NumberIn(double iMin, double iMax, const std::string& iText, Tool_Shown iShown);
CLI::Validator Tool_OneOf(const std::vector<std::string>& iNames, const std::string& iText,
                          Tool_Shown iShown);

// Whole-number arguments with a clear error naming what was expected.
int64_t Tool_ParseInt(const std::string& iText, const std::string& iWhat);
double Tool_ParseDouble(const std::string& iText, const std::string& iWhat);

// A JSON document, keys in the order they were set.
using Tool_Json = nlohmann::ordered_json;

// The tool's JSON text of a value, on one line: ", " between items and ": " after keys;
// strings escaped byte by byte (names pass through as they are); numbers with fractions as
// a std::ostream shows them (six significant digits); a binary value as a list of pairs of
// signed bytes, [[b0, b1], [b2, b3], ...], which keeps a long run of byte pairs (an
// overview's points) at one byte each in memory. The items of a top-level list are
// separated by iListSeparator (",\n " puts each file's object on a line of its own).
std::string Tool_JsonText(const Tool_Json& iValue, const char* iListSeparator = ", ");

// JSON text for a string, with quotes.
std::string Tool_JsonString(const std::string& iText);

// One line, without line breaks, for standard error.
std::string Tool_OneLine(std::string iText);
