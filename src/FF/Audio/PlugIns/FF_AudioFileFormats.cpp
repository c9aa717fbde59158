// The table of audio file formats (see FF/Audio/FF_AudioFileFormat.h): one row per format,
// in ascending order of type. A format's plug-in is wired in here and nowhere else.
#include "FF/Audio/FF_AudioFileFormat.h"

#include <algorithm>
#include <cctype>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/PlugIns/FF_AIFPlugIn.h"
#include "FF/Audio/PlugIns/FF_QSIIPlugIn.h"
#include "FF/Audio/PlugIns/FF_QSIPlugIn.h"
#include "FF/Audio/PlugIns/FF_WAVEPlugIn.h"
#include "Sys_FileUtils.h"

const std::vector<FF_AudioFileFormat>& FF_AudioFileFormat::GetAll()
{
    constexpr auto cBig = eOrder_Big, cLittle = eOrder_Little, cNone = eOrder_None;
    constexpr EAudioFileType cOwn = eAudioFileType_Unknown; // registers its own file type
    // Each row: type, Mac types, extensions, name (text id, or 0 and a literal), byte order,
    // embeds overviews, place in the default recognition list, shares the file type of;
    // then the plug-in's open and create entries.
    // clang-format off
    static const std::vector<FF_AudioFileFormat> sRows = {
        {eAudioFileType_QSII, {"Qs2f"}, {"qs2"}, 59, "", cBig, true, 4, cOwn,
            &FF_QSIIPlugIn::Create, &FF_QSIIPlugIn::CreateNew, &FF_QSIIPlugIn::ExplainRefusal},
        {eAudioFileType_WAVE, {"WAVE", ".WAV"}, {"wav"}, 57, "", cLittle, true, 3, cOwn,
            &FF_WAVEPlugIn::Create, &FF_WAVEPlugIn::CreateNew},
        {eAudioFileType_AIFF, {"AIFF", "AIFC"}, {"aif", "aiff", "aifc"}, 58, "", cBig, true, 2, cOwn,
            &FF_AIFPlugIn::Create, &FF_AIFPlugIn::CreateNew},
        {eAudioFileType_AIFC, {}, {}, 58, "", cBig, true, 1, eAudioFileType_AIFF,
            &FF_AIFPlugIn::Create, &FF_AIFPlugIn::CreateNew},
        {eAudioFileType_OMF, {"OMFI"}, {"omf"}, 62, "", eOrder_Refused, false, 0, cOwn, nullptr,
            nullptr},
        {eAudioFileType_Real, {"PNRA"}, {"ram"}, 64, "", cLittle, false, 0, cOwn, nullptr, nullptr},
        {eAudioFileType_MP3, {"MP3 ", "Mp3 "}, {"mp3"}, 61, "", cLittle, false, 6, cOwn, nullptr,
            nullptr},
        {eAudioFileType_QuickTime, {"MooV"}, {"mov"}, 65, "", cBig, false, 0, cOwn, nullptr,
            nullptr},
        {eAudioFileType_WMF, {"WMFA"}, {"wma"}, 67, "", cLittle, false, 8, cOwn, nullptr, nullptr},
        {eAudioFileType_SoundResource, {"sfil"}, {"sfil"}, 68, "", cLittle, false, 0, cOwn,
            nullptr, nullptr},
        {eAudioFileType_QSI, {"SFIL"}, {"qs1"}, 60, "", cBig, false, 5, cOwn,
            &FF_QSIPlugIn::Create, &FF_QSIPlugIn::CreateNew, &FF_QSIPlugIn::ExplainRefusal},
        {eAudioFileType_AVI, {"AVI "}, {"avi"}, 0, "AVI", cNone, false, 0, cOwn, nullptr, nullptr},
        {eAudioFileType_MPG, {"MPG "}, {"mpg"}, 0, "MPG", cNone, false, 0, cOwn, nullptr, nullptr},
        {eAudioFileType_MPEG, {"MPEG"}, {"mpeg"}, 0, "MPEG", cNone, false, 0, cOwn, nullptr,
            nullptr},
        {eAudioFileType_DV, {"DV  "}, {"dv"}, 0, "Digital Video", cNone, false, 0, cOwn, nullptr,
            nullptr},
        {eAudioFileType_MXF, {"MXFf"}, {"mxf"}, 69, "", cLittle, true, 7, cOwn, nullptr, nullptr},
        {eAudioFileType_M4A, {"M4A "}, {"m4a"}, 66, "", cBig, false, 9, cOwn, nullptr, nullptr},
    };
    // clang-format on
    return sRows;
}

std::string FF_AudioFileFormat::ExplainRefusal(const Sys_FileLoc& iLoc)
{
    std::string extension = iLoc.GetExtension();
    for (char& c : extension)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    Sys_FileType::OSType macType = 0;
    const bool hasMacType = Sys_FileUtils::GetMacTypeAndCreator(iLoc, &macType, nullptr);
    for (const FF_AudioFileFormat& row : GetAll())
    {
        if (!row.mExplainRefusal)
            continue;
        bool named = std::find(row.mExtensions.begin(), row.mExtensions.end(), extension) !=
                     row.mExtensions.end();
        for (const char* type : row.mMacTypes)
            named = named || (hasMacType && Sys_FileType::MakeOSType(type) == macType);
        if (!named)
            continue;
        const std::string reason = row.mExplainRefusal(iLoc);
        if (!reason.empty())
            return FF_AudioFile::GetAudioFileTypeName(row.mType) + ": " + reason;
    }
    return "";
}
