// mirafile message PACKAGE ID [INSERT...]: a text of the message table with its inserts.
#include <iostream>

#include "L10N_Utils.h"
#include "Tool.h"

namespace
{
struct
{
    std::vector<std::string> mPositional; // PACKAGE ID [INSERT...]
    bool mJson = false;
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("PACKAGE ID INSERT", sOptions.mPositional,
                     "package and id (0 to 99 each), then the inserts");
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document");
}

int Run()
{
    const auto& pos = sOptions.mPositional;
    if (pos.size() < 2)
        throw Tool_UsageError("usage: mirafile message PACKAGE ID [INSERT...]");
    const int64_t package = Tool_ParseInt(pos[0], "PACKAGE");
    const int64_t id = Tool_ParseInt(pos[1], "ID");
    if (package < 0 || package > 99 || id < 0 || id > 99)
        throw Tool_UsageError("PACKAGE and ID must lie from 0 to 99");
    const std::vector<std::string> inserts(pos.begin() + 2, pos.end());
    std::string text;
    try
    {
        text =
            L10N_Utils::GetText(static_cast<int32_t>(package), static_cast<int32_t>(id), inserts);
    }
    catch (const std::runtime_error&)
    {
        throw Tool_UsageError("no message " + pos[0] + " " + pos[1]);
    }
    if (sOptions.mJson)
    {
        Tool_Json doc;
        doc["package"] = package;
        doc["id"] = id;
        doc["resource_id"] = package * 100 + id;
        doc["text"] = text;
        std::cout << Tool_JsonText(doc) << "\n";
    }
    else
        std::cout << text << "\n";
    return 0;
}

Tool_Registrar sRegistrar{{"message", "message PACKAGE ID [INSERT...] [--json]",
                           "print a text of the message table with its inserts", Declare, Run}};
} // namespace
