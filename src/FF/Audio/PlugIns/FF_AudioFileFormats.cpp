// The table of audio file formats (see FF/Audio/FF_AudioFileFormat.h): one row per format,
// in ascending order of type. A format's plug-in is wired in here and nowhere else.
#include "FF/Audio/FF_AudioFileFormat.h"
#include "FF/Audio/PlugIns/FF_WAVEPlugIn.h"

const std::vector<FF_AudioFileFormat>& FF_AudioFileFormat::GetAll()
{
    using F = FF_AudioFileFormat;
    constexpr EAudioFileType cOwn = eAudioFileType_Unknown;
    // type, Mac types, extensions, name id, name literal, byte order, embeds overviews,
    // read rank, shares the file type of, open, create
    static const std::vector<F> sRows = {
        {eAudioFileType_QSII, {"Qs2f"}, {"qs2"}, 59, "", F::eOrder_Big, true, 4, cOwn, nullptr,
         nullptr},
        {eAudioFileType_WAVE, {"WAVE", ".WAV"}, {"wav"}, 57, "", F::eOrder_Little, true, 3, cOwn,
         &FF_WAVEPlugIn::Create, &FF_WAVEPlugIn::CreateNew},
        {eAudioFileType_AIFF, {"AIFF", "AIFC"}, {"aif", "aiff"}, 58, "", F::eOrder_Big, true, 2,
         cOwn, nullptr, nullptr},
        {eAudioFileType_AIFC, {}, {}, 58, "", F::eOrder_Big, true, 1, eAudioFileType_AIFF, nullptr,
         nullptr},
        {eAudioFileType_OMF, {"OMFI"}, {"omf"}, 62, "", F::eOrder_Refused, false, 0, cOwn, nullptr,
         nullptr},
        {eAudioFileType_Real, {"PNRA"}, {"ram"}, 64, "", F::eOrder_Little, false, 0, cOwn, nullptr,
         nullptr},
        {eAudioFileType_MP3, {"MP3 ", "Mp3 "}, {"mp3"}, 61, "", F::eOrder_Little, false, 6, cOwn,
         nullptr, nullptr},
        {eAudioFileType_QuickTime, {"MooV"}, {"mov"}, 65, "", F::eOrder_Big, false, 0, cOwn,
         nullptr, nullptr},
        {eAudioFileType_WMF, {"WMFA"}, {"wma"}, 67, "", F::eOrder_Little, false, 8, cOwn, nullptr,
         nullptr},
        {eAudioFileType_SoundResource, {"sfil"}, {"sfil"}, 68, "", F::eOrder_Little, false, 0, cOwn,
         nullptr, nullptr},
        {eAudioFileType_QSI, {"SFIL"}, {"qs1"}, 60, "", F::eOrder_Big, false, 5, cOwn, nullptr,
         nullptr},
        {eAudioFileType_AVI, {"AVI "}, {"avi"}, 0, "AVI", F::eOrder_None, false, 0, cOwn, nullptr,
         nullptr},
        {eAudioFileType_MPG, {"MPG "}, {"mpg"}, 0, "MPG", F::eOrder_None, false, 0, cOwn, nullptr,
         nullptr},
        {eAudioFileType_MPEG, {"MPEG"}, {"mpeg"}, 0, "MPEG", F::eOrder_None, false, 0, cOwn,
         nullptr, nullptr},
        {eAudioFileType_DV, {"DV  "}, {"dv"}, 0, "Digital Video", F::eOrder_None, false, 0, cOwn,
         nullptr, nullptr},
        {eAudioFileType_MXF, {"MXFf"}, {"mxf"}, 69, "", F::eOrder_Little, true, 7, cOwn, nullptr,
         nullptr},
        {eAudioFileType_M4A, {"M4A "}, {"m4a"}, 66, "", F::eOrder_Big, false, 9, cOwn, nullptr,
         nullptr}};
    return sRows;
}
