#include "I18N_Utils.h"

#include <cstdlib>

#include "L10N_Utils.h"
#include "Sys_Paths.h"

std::string I18N_Utils::GetLanguage()
{
    for (const char* name : {"MIRAFILE_LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"})
    {
        const char* value = std::getenv(name);
        if (!value || !*value)
            continue;
        std::string lang(value);
        lang = lang.substr(0, lang.find_first_of("_.@"));
        if (lang.empty() || lang == "C" || lang == "POSIX")
            return "en";
        return lang;
    }
    return "en";
}

std::string I18N_Utils::LoadLocalizedResources()
{
    const std::string folder = Sys_Paths::GetDataFolder() + "/" + L10N_Utils::cResourceLibraryName;
    for (const std::string& path : {folder + "." + GetLanguage() + ".txt", folder + ".txt"})
        if (L10N_Utils::LoadLocalizedTable(path))
            return path;
    return {};
}
