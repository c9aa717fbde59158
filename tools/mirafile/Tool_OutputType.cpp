#include "Tool_OutputType.h"

#include <algorithm>
#include <stdexcept>

#include "FF/Audio/FF_AudioFileFormat.h"
#include "Sys_FileLoc.h"
#include "Tool.h"

namespace
{
struct OutputType
{
    const char* mName; // for --type
    const char* mLabel;
    EAudioFileType mType;
    std::vector<std::string> mExtensions; // lower case, without the dot
};

const std::vector<OutputType>& OutputTypes()
{
    static const std::vector<OutputType> sTypes = {
        {"wav", "WAVE", eAudioFileType_WAVE, {"wav", "wave"}},
        {"aiff", "AIFF", eAudioFileType_AIFF, {"aif", "aiff"}},
        {"aifc", "AIFC", eAudioFileType_AIFC, {"aifc"}},
        {"qs2", "QSII", eAudioFileType_QSII, {"qs2"}},
        {"qs1", "QSI", eAudioFileType_QSI, {"qs1"}}};
    return sTypes;
}

bool IsWritable(EAudioFileType iType)
{
    const FF_AudioFileFormat* format = FF_AudioFileFormat::Find(iType);
    return format && format->mCreate;
}

// "WAVE (.wav, .wave) files", "WAVE (.wav, .wave) and AIFF (.aif, .aiff) files".
std::string WritableList()
{
    std::vector<std::string> items;
    for (const OutputType& t : OutputTypes())
    {
        if (!IsWritable(t.mType))
            continue;
        std::string item = std::string(t.mLabel) + " (";
        for (size_t i = 0; i < t.mExtensions.size(); ++i)
            item += (i ? ", ." : ".") + t.mExtensions[i];
        items.push_back(item + ")");
    }
    std::string text;
    for (size_t i = 0; i < items.size(); ++i)
        text += (i == 0 ? "" : i + 1 == items.size() ? " and " : ", ") + items[i];
    return text + " files";
}

const OutputType* FindByName(const std::string& iName)
{
    for (const OutputType& t : OutputTypes())
        if (iName == t.mName)
            return &t;
    return nullptr;
}

const OutputType* FindByType(EAudioFileType iType)
{
    for (const OutputType& t : OutputTypes())
        if (t.mType == iType)
            return &t;
    return nullptr;
}

// The row an extension selects; null for none. Sys_FileLoc may hand the extension with its dot.
const OutputType* FindByExtension(std::string iExtension, bool* oHasExtension)
{
    if (!iExtension.empty() && iExtension.front() == '.')
        iExtension.erase(0, 1);
    *oHasExtension = !iExtension.empty();
    std::transform(iExtension.begin(), iExtension.end(), iExtension.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    for (const OutputType& t : OutputTypes())
        if (std::find(t.mExtensions.begin(), t.mExtensions.end(), iExtension) !=
            t.mExtensions.end())
            return &t;
    return nullptr;
}
} // namespace

const std::vector<std::string>& Tool_OutputTypeNames()
{
    static const std::vector<std::string> sNames = []
    {
        std::vector<std::string> names;
        for (const OutputType& t : OutputTypes())
            names.emplace_back(t.mName);
        return names;
    }();
    return sNames;
}

EAudioFileType Tool_OutputAudioType(const std::string& iPath, const std::string& iTypeName,
                                    EAudioFileType iDefault)
{
    const OutputType* named = nullptr;
    if (!iTypeName.empty())
    {
        named = FindByName(iTypeName);
        if (!named)
        {
            std::string names;
            for (const std::string& name : Tool_OutputTypeNames())
                names += (names.empty() ? "" : ", ") + name;
            throw Tool_UsageError("--type must be one of " + names + ", not " + iTypeName);
        }
    }
    bool hasExtension = false;
    const OutputType* byExtension =
        iPath.empty() ? nullptr : FindByExtension(Sys_FileLoc(iPath).GetExtension(), &hasExtension);
    if (named && byExtension && named != byExtension)
        throw Tool_UsageError("--type " + iTypeName + " does not match the extension of \"" +
                              iPath + "\"");
    const OutputType* chosen = named ? named : byExtension;
    if (!chosen && hasExtension)
        throw std::runtime_error("\"" + iPath + "\": only " + WritableList() + " can be written");
    if (!chosen)
        chosen = FindByType(iDefault);
    if (!chosen || !IsWritable(chosen->mType))
        throw std::runtime_error(
            (iPath.empty() ? std::string("--type ") + iTypeName : "\"" + iPath + "\"") + ": only " +
            WritableList() + " can be written");
    return chosen->mType;
}
