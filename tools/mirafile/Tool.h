// The frame of the mirafile tool: one dispatcher, one option parser, one way to fail.
//
// A sub-command is a function registered under a name with a usage line and a summary. It
// gets its arguments (after the sub-command's name) and returns the exit status. Bad input
// is reported by throwing Tool_UsageError or any exception: the dispatcher prints one line
// "mirafile: <text>" on standard error and exits with status 1. A cancel
// (Cmn_CancelException) exits with status 130 and prints "mirafile: cancelled".
#pragma once

#include <functional>
#include <map>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

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
    std::function<int(const std::vector<std::string>&)> mRun;
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

// Options are "--name value", "--name=value" or flags "--name"; everything else, and
// everything after "--", is positional. Unknown options are usage errors.
class Tool_Args
{
public:
    Tool_Args(const std::vector<std::string>& iArgs, const std::set<std::string>& iValueOptions,
              const std::set<std::string>& iFlags);

    const std::vector<std::string>& Positional() const { return mPositional; }
    bool Has(const std::string& iName) const;
    bool Flag(const std::string& iName) const { return mFlags.count(iName) != 0; }
    // The last value given for the option, or iDefault.
    std::string Get(const std::string& iName, const std::string& iDefault = "") const;
    // Every value given for a repeatable option, in order.
    std::vector<std::string> GetAll(const std::string& iName) const;

private:
    std::vector<std::string> mPositional;
    std::multimap<std::string, std::string> mValues;
    std::vector<std::pair<std::string, std::string>> mOrdered;
    std::set<std::string> mFlags;
};

// Whole-number arguments with a clear error naming what was expected.
int64_t Tool_ParseInt(const std::string& iText, const std::string& iWhat);
double Tool_ParseDouble(const std::string& iText, const std::string& iWhat);

// JSON text for a string, with quotes.
std::string Tool_JsonString(const std::string& iText);
