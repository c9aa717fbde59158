// mirafile attrs [--json]: the browser's tag table.
//
// One row per tag in index order: the index, the name (the names that ls --columns and
// --sort take), the column title, the value type, whether it is indexed, and the asset kinds
// in which a user may change it. With --json one document: a list of objects {"index",
// "name", "title", "type", "indexed", "modifiable": [kind, ...]}.
#include <iomanip>
#include <iostream>
#include <sstream>

#include "BDM/BDM_AttributeTag.h"
#include "BDM/BDM_Schema.h"
#include "BDM/BDM_Utils.h"
#include "Tool.h"

namespace
{
const char* const cUsage = "attrs [--json]";

struct Options
{
    bool mJson = false;
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document: a list of tags");
}

std::vector<std::string> ModifiableIn(const BDM_AttributeTag& iTag)
{
    std::vector<std::string> kinds;
    for (int32_t type = 0; type < BDM_cNumAssetTypes; ++type)
    {
        const BDM_EAssetType kind = BDM_EAssetType(type);
        if (BDM_Schema::HasAttribute(kind, iTag) && BDM_Schema::AttributeIsModifiable(kind, iTag))
            kinds.push_back(BDM_Utils::GetAssetTypeName(kind));
    }
    return kinds;
}

int Run()
{
    BDM_AttributeTags& tags = *BDM_AttributeTags::Instance();
    tags.InitializeLocalizedAttributeNames();
    if (!BDM_Schema::IsInitialized())
        BDM_Schema::InitializeSchema();
    std::ostringstream out;
    if (sOptions.mJson)
    {
        Tool_Json list = Tool_Json::array();
        for (const BDM_AttributeTag* tagP : tags.GetTags())
        {
            Tool_Json row;
            row["index"] = tagP->GetTagIndex();
            row["name"] = BDM_Utils::GetTagName(*tagP);
            row["title"] = tagP->GetName();
            row["type"] = BDM_Utils::GetTagTypeName(*tagP);
            row["indexed"] = tagP->IsIndexed();
            row["modifiable"] = ModifiableIn(*tagP);
            list.push_back(row);
        }
        out << Tool_JsonText(list, ",\n ") << "\n";
    }
    else
    {
        out << std::left << std::setw(4) << "#" << std::setw(29) << "name" << std::setw(28)
            << "title" << std::setw(16) << "type" << std::setw(8) << "indexed"
            << "modifiable in\n";
        for (const BDM_AttributeTag* tagP : tags.GetTags())
        {
            std::string kinds;
            for (const std::string& kind : ModifiableIn(*tagP))
                kinds += (kinds.empty() ? "" : ",") + kind;
            out << std::left << std::setw(4) << tagP->GetTagIndex() << std::setw(29)
                << BDM_Utils::GetTagName(*tagP) << std::setw(28)
                << (tagP->GetName().empty() ? "-" : tagP->GetName()) << std::setw(16)
                << BDM_Utils::GetTagTypeName(*tagP) << std::setw(8)
                << (tagP->IsIndexed() ? "yes" : "no") << (kinds.empty() ? "-" : kinds) << "\n";
        }
    }
    std::cout << out.str();
    return 0;
}

Tool_Registrar sRegistrar{
    {"attrs", cUsage, "list the attributes the media browser knows of each item", Declare, Run}};
} // namespace
