#include "Tool.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>

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

namespace
{
// CLI11 starts the texts of these errors with the option's name, then ": " or " ".
std::string OptionName(const CLI::ParseError& iError)
{
    const std::string text = iError.what();
    return text.substr(0, text.find_first_of(": "));
}
} // namespace

void Tool_Parse(const Tool_Command& iCommand, CLI::App& ioApp, std::vector<std::string> iArgs)
{
    ioApp.option_defaults()
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)
        ->disable_flag_override(); // "--json=1" is a mistake
    ioApp.allow_extras(); // unknown options are reported below, in the tool's words
    iCommand.mDeclare(ioApp);
    std::reverse(iArgs.begin(), iArgs.end()); // CLI11 takes them from the back
    try
    {
        ioApp.parse(iArgs);
    }
    catch (const CLI::ValidationError& e)
    {
        const std::string name = OptionName(e);
        throw Tool_UsageError(name + " " + std::string(e.what()).substr(name.size() + 2));
    }
    catch (const CLI::ArgumentMismatch& e)
    {
        std::string name = OptionName(e);
        const CLI::Option* optionP = ioApp.get_option_no_throw(name);
        if (!optionP && (optionP = ioApp.get_option_no_throw("--" + name)))
            name = "--" + name; // a flag given a value is named without its dashes
        throw Tool_UsageError("option " + name +
                              (optionP && optionP->get_items_expected_max() == 0
                                   ? " takes no value"
                                   : " needs a value"));
    }
    for (const std::string& extra : ioApp.remaining()) // "--" is kept among them
        if (extra != "--")
            throw Tool_UsageError("unknown option " + extra);
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

namespace
{
std::string Failure(const std::string& iText, Tool_Shown iShown, const std::string& iValue)
{
    switch (iShown)
    {
    case Tool_Shown::eNothing:
        return iText;
    case Tool_Shown::eValue:
        return iText + ", not " + iValue;
    case Tool_Shown::eQuoted:
        return iText + ", not \"" + iValue + "\"";
    }
    return iText;
}
} // namespace

CLI::Validator Tool_WholeIn(int64_t iMin, int64_t iMax, const std::string& iText, Tool_Shown iShown)
{
    return CLI::Validator(
        [=](std::string& ioValue) -> std::string
        {
            errno = 0;
            char* end = nullptr;
            const long long v = std::strtoll(ioValue.c_str(), &end, 10);
            if (ioValue.empty() || *end != '\0' || errno == ERANGE)
                return "must be a whole number, not \"" + ioValue + "\"";
            return v < iMin || v > iMax ? Failure(iText, iShown, ioValue) : std::string();
        },
        "");
}

CLI::Validator Tool_NumberIn(double iMin, double iMax, const std::string& iText, Tool_Shown iShown)
{
    return CLI::Validator(
        [=](std::string& ioValue) -> std::string
        {
            errno = 0;
            char* end = nullptr;
            const double v = std::strtod(ioValue.c_str(), &end);
            if (ioValue.empty() || *end != '\0' || errno == ERANGE || !std::isfinite(v))
                return "must be a number, not \"" + ioValue + "\"";
            return !(v >= iMin && v <= iMax) ? Failure(iText, iShown, ioValue) : std::string();
        },
        "");
}

CLI::Validator Tool_OneOf(const std::vector<std::string>& iNames, const std::string& iText,
                          Tool_Shown iShown)
{
    return CLI::Validator(
        [=](std::string& ioValue) -> std::string
        {
            return std::find(iNames.begin(), iNames.end(), ioValue) == iNames.end()
                       ? Failure(iText, iShown, ioValue)
                       : std::string();
        },
        "");
}

std::string Tool_JsonString(const std::string& iText)
{
    std::string out = "\"";
    for (unsigned char c : iText)
    {
        switch (c)
        {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
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

namespace
{
void AppendJson(std::string& ioOut, const Tool_Json& iValue, const char* iSeparator)
{
    switch (iValue.type())
    {
    case Tool_Json::value_t::object:
    {
        ioOut += "{";
        bool first = true;
        for (const auto& [key, value] : iValue.items())
        {
            ioOut += first ? "" : ", ";
            ioOut += Tool_JsonString(key) + ": ";
            AppendJson(ioOut, value, ", ");
            first = false;
        }
        ioOut += "}";
        break;
    }
    case Tool_Json::value_t::array:
    {
        ioOut += "[";
        for (size_t i = 0; i < iValue.size(); ++i)
        {
            ioOut += i ? iSeparator : "";
            AppendJson(ioOut, iValue[i], ", ");
        }
        ioOut += "]";
        break;
    }
    case Tool_Json::value_t::string:
        ioOut += Tool_JsonString(iValue.get_ref<const std::string&>());
        break;
    case Tool_Json::value_t::binary:
    {
        // Signed bytes in pairs: [[b0, b1], [b2, b3], ...] (an odd last byte is left out).
        const auto& bytes = iValue.get_binary();
        ioOut += "[";
        for (size_t i = 0; i + 1 < bytes.size(); i += 2)
        {
            ioOut += i ? ", [" : "[";
            ioOut += std::to_string(int8_t(bytes[i])) + ", " + std::to_string(int8_t(bytes[i + 1]));
            ioOut += "]";
        }
        ioOut += "]";
        break;
    }
    case Tool_Json::value_t::number_float:
    {
        std::ostringstream text;
        text << iValue.get<double>();
        ioOut += text.str();
        break;
    }
    default: // integers, booleans, null
        ioOut += iValue.dump();
    }
}
} // namespace

std::string Tool_JsonText(const Tool_Json& iValue, const char* iListSeparator)
{
    std::string out;
    AppendJson(out, iValue, iListSeparator);
    return out;
}

std::string Tool_OneLine(std::string iText)
{
    for (char& c : iText)
        if (c == '\n' || c == '\r')
            c = ' ';
    return iText;
}
