// mirafile metaphone WORD [--json]: the two phonetic codes of a word.
//
// Plain text: the primary code on one line and the alternate code on the next (an empty line
// when the word has no second pronunciation). With --json one document {"word", "primary",
// "alternate"}.
#include <iostream>

#include "Cmn_DoubleMetaphone.h"
#include "Tool.h"

namespace
{
struct
{
    std::string mWord;
    bool mJson = false;
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("WORD", sOptions.mWord, "the word (a name, a file name)")->required();
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document");
}

int Run()
{
    std::string primary;
    std::string alternate;
    Cmn_EncodeDoubleMetaphone(sOptions.mWord, &primary, &alternate);
    if (sOptions.mJson)
    {
        Tool_Json doc;
        doc["word"] = sOptions.mWord;
        doc["primary"] = primary;
        doc["alternate"] = alternate;
        std::cout << Tool_JsonText(doc) << "\n";
    }
    else
        std::cout << primary << "\n" << alternate << "\n";
    return 0;
}

Tool_Registrar sRegistrar{{"metaphone", "metaphone WORD [--json]",
                           "print the primary and alternate phonetic codes of a word", Declare,
                           Run}};
} // namespace
