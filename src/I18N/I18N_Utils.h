// Language helpers: which language the user wants, and the localized message table for it.
//
// The language is MIRAFILE_LANGUAGE when set, else the language part of LC_ALL, LC_MESSAGES
// or LANG ("fr" of "fr_FR.UTF-8"), else "en". The localized table is looked for in the data
// folder as "File_Resource.<language>.txt", then "File_Resource.txt"; without one the texts
// compiled into the library serve.
#pragma once

#include <string>

class I18N_Utils
{
public:
    static std::string GetLanguage();
    // Loads the localized table if one is there; returns the path loaded, or "" when the
    // built-in texts serve. Call once at start-up, before threads start.
    static std::string LoadLocalizedResources();
};
