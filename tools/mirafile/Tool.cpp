#include "Tool.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

void Tool_Registry::Add(Tool_Command iCommand)
{
    auto& all = const_cast<std::map<std::string, Tool_Command>&>(All());
    all[iCommand.mName] = std::move(iCommand);
}

const std::map<std::string, Tool_Command>& Tool_Registry::All()
{
    static std::map<std::string, Tool_Command> sAll;
    return sAll;
}

Tool_Args::Tool_Args(const std::vector<std::string>& iArgs, const std::set<std::string>& iValueOptions,
                     const std::set<std::string>& iFlags)
{
    bool onlyPositional = false;
    for (size_t i = 0; i < iArgs.size(); ++i)
    {
        const std::string& a = iArgs[i];
        if (onlyPositional || a.size() < 3 || a.compare(0, 2, "--") != 0)
        {
            if (a == "--")
                onlyPositional = true;
            else
                mPositional.push_back(a);
            continue;
        }
        std::string name = a.substr(2);
        std::string value;
        bool hasValue = false;
        if (const auto eq = name.find('='); eq != std::string::npos)
        {
            value = name.substr(eq + 1);
            name = name.substr(0, eq);
            hasValue = true;
        }
        if (iFlags.count(name))
        {
            if (hasValue)
                throw Tool_UsageError("option --" + name + " takes no value");
            mFlags.insert(name);
        }
        else if (iValueOptions.count(name))
        {
            if (!hasValue)
            {
                if (i + 1 >= iArgs.size())
                    throw Tool_UsageError("option --" + name + " needs a value");
                value = iArgs[++i];
            }
            mValues.emplace(name, value);
            mOrdered.emplace_back(name, value);
        }
        else
        {
            throw Tool_UsageError("unknown option --" + name);
        }
    }
}

bool Tool_Args::Has(const std::string& iName) const
{
    return mValues.count(iName) != 0 || mFlags.count(iName) != 0;
}

std::string Tool_Args::Get(const std::string& iName, const std::string& iDefault) const
{
    std::string result = iDefault;
    for (const auto& [name, value] : mOrdered)
        if (name == iName)
            result = value;
    return result;
}

std::vector<std::string> Tool_Args::GetAll(const std::string& iName) const
{
    std::vector<std::string> result;
    for (const auto& [name, value] : mOrdered)
        if (name == iName)
            result.push_back(value);
    return result;
}

int64_t Tool_ParseInt(const std::string& iText, const std::string& iWhat)
{
    errno = 0;
    char* end = nullptr;
    const long long v = std::strtoll(iText.c_str(), &end, 10);
    if (iText.empty() || *end != '\0' || errno == ERANGE)
        throw Tool_UsageError(iWhat + " must be a whole number, not \"" + iText + "\"");
    return v;
}

double Tool_ParseDouble(const std::string& iText, const std::string& iWhat)
{
    errno = 0;
    char* end = nullptr;
    const double v = std::strtod(iText.c_str(), &end);
    if (iText.empty() || *end != '\0' || errno == ERANGE || !std::isfinite(v))
        throw Tool_UsageError(iWhat + " must be a number, not \"" + iText + "\"");
    return v;
}

std::string Tool_JsonString(const std::string& iText)
{
    std::string out = "\"";
    for (unsigned char c : iText)
    {
        switch (c)
        {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20)
            {
                char buf[8];
                std::snprintf(buf, sizeof buf, "\\u%04x", c);
                out += buf;
            }
            else
                out += static_cast<char>(c);
        }
    }
    return out + "\"";
}
