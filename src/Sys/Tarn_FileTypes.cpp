#include "Tarn_FileTypes.h"

#include <mutex>

namespace
{
using OSType = Sys_FileType::OSType;

Sys_FileType Register(std::initializer_list<const char*> iMacTypes,
                      std::initializer_list<const char*> iExtensions, const char* iDescription,
                      int32_t iGroup, int32_t iMessageID = 0)
{
    std::vector<OSType> types;
    for (const char* type : iMacTypes)
        types.push_back(Sys_FileType::MakeOSType(type));
    std::vector<std::string> extensions(iExtensions.begin(), iExtensions.end());
    return Sys_FileType::RegisterType(types, extensions, iDescription,
                                      Sys_FileType::MakeOSType("MDul"), iGroup,
                                      iMessageID ? 1600 + iMessageID : 0);
}
} // namespace

Sys_FileType Tarn_FileTypes::cSession32FileType;
Sys_FileType Tarn_FileTypes::cSession4_16BitFileType;
Sys_FileType Tarn_FileTypes::cSession4_24BitFileType;
Sys_FileType Tarn_FileTypes::cSession50FileType;
Sys_FileType Tarn_FileTypes::cSessionFileType;
Sys_FileType Tarn_FileTypes::cPlugInSettingsFileType;
Sys_FileType Tarn_FileTypes::cMultiMonoPlugInSettingsFileType;
Sys_FileType Tarn_FileTypes::cExceptionLogFileType;
Sys_FileType Tarn_FileTypes::cPreferencesFileType;
Sys_FileType Tarn_FileTypes::cIOSettingsFileType;
Sys_FileType Tarn_FileTypes::cPlugInMappingsFileType;
Sys_FileType Tarn_FileTypes::cPlugInParamsFileType;
Sys_FileType Tarn_FileTypes::cTrackArmingProfileFileType;
Sys_FileType Tarn_FileTypes::cSharedSessionObjectFileType;
Sys_FileType Tarn_FileTypes::cSharedSessionFileType;
Sys_FileType Tarn_FileTypes::cTarnBaseFileType;
Sys_FileType Tarn_FileTypes::cMIDIServiceSetupFileType;
Sys_FileType Tarn_FileTypes::cMIDIFileType;
Sys_FileType Tarn_FileTypes::cGrooveFileType;
Sys_FileType Tarn_FileTypes::cApplicationFileType;
Sys_FileType Tarn_FileTypes::cTextFileType;
Sys_FileType Tarn_FileTypes::cOverviewCacheFileType;
Sys_FileType Tarn_FileTypes::cEDLFileType;
Sys_FileType Tarn_FileTypes::cSYNCFileType;
Sys_FileType Tarn_FileTypes::cUSDFileType;
Sys_FileType Tarn_FileTypes::cCDDAFileType;
Sys_FileType Tarn_FileTypes::cAVIFileType;
Sys_FileType Tarn_FileTypes::cAAFFileType;
Sys_FileType Tarn_FileTypes::cShortcutFileType;
Sys_FileType Tarn_FileTypes::cApplicationBundleFileType;
Sys_FileType Tarn_FileTypes::cSharedLibraryBundleFileType;

void Tarn_FileTypes::Initialize()
{
    static std::once_flag sOnce;
    std::call_once(
        sOnce,
        []
        {
            Sys_FileType::Initialize();
            const int32_t session = Sys_FileType::eGroup_Session;
            const int32_t settings = Sys_FileType::eGroup_Settings;
            const int32_t document = Sys_FileType::eGroup_Document;
            const int32_t application = Sys_FileType::eGroup_Application;
            const int32_t other = Sys_FileType::eGroup_Other;
            // The message texts (package 16) name each row.
            cSession32FileType = Register({"MD32"}, {"md3"}, "Session", session, 1);
            cSession4_16BitFileType = Register({"MD4s"}, {"md4"}, "Session", session, 2);
            cSession4_24BitFileType = Register({"MD4x"}, {"m4x"}, "Session", session, 3);
            cSession50FileType = Register({"MD50"}, {"md5"}, "Session", session, 4);
            cSessionFileType = Register({"MDss"}, {"mds"}, "Session", session, 5);
            cMIDIFileType = Register({"MIDI", "Midi"}, {"mid"}, "MIDI", document, 6);
            cGrooveFileType = Register({"GRV ", "Grv "}, {"grv"}, "Groove", document, 7);
            cApplicationFileType = Register({"APPL"}, {"exe"}, "Application", application, 8);
            cPlugInSettingsFileType = Register({"MDpi"}, {"mdp"}, "Plug-In Settings", settings, 9);
            cMultiMonoPlugInSettingsFileType =
                Register({"MDpm"}, {"mdm"}, "Multi-Mono Plug-In Settings", settings, 10);
            cExceptionLogFileType = Register({"MDlg"}, {"mdx"}, "Exception Log", document, 11);
            cPreferencesFileType = Register({"MDpf"}, {"mpf"}, "Preferences", settings, 12);
            cIOSettingsFileType = Register({"MDio"}, {"pio"}, "I/O Settings", settings, 13);
            cPlugInMappingsFileType = Register({"MDmp"}, {"pmp"}, "Plug-In Mappings", settings, 14);
            cPlugInParamsFileType = Register({"MDpp"}, {"ppr"}, "Plug-In Params", settings, 15);
            cTextFileType = Register({"TEXT"}, {"txt"}, "Text file", document, 16);
            cTrackArmingProfileFileType =
                Register({"MDta"}, {"tap"}, "Track Arming Profile", settings, 17);
            cSharedSessionObjectFileType =
                Register({"MDso"}, {"sso"}, "Shared Session Object File", document, 18);
            cSharedSessionFileType =
                Register({"MDsf"}, {"ssf"}, "Shared Session File", document, 19);
            cTarnBaseFileType = Register({"TDbs"}, {"tdb"}, "Tarn Database", document, 20);
            cEDLFileType = Register({"EDL "}, {"edl"}, "EDL", document, 21);
            cOverviewCacheFileType = Register({"OvrV"}, {"wfm"}, "Overview Cache", other, 22);
            cMIDIServiceSetupFileType =
                Register({"MSvc"}, {"msu"}, "MIDI Service Setup", settings, 23);
            cSYNCFileType = Register({".SYC"}, {"SYC"}, "SYNC", other);
            cUSDFileType = Register({".USD"}, {"USD"}, "USD", other);
            cCDDAFileType = Register({"CDDA"}, {"cda"}, "RedBook audio track", other);
            // Registered with its dot, unlike every other row.
            cAVIFileType = Register({"VfW "}, {".avi"}, "AVI Movie", Sys_FileType::eGroup_Video);
            cAAFFileType = Register({"AAFf"}, {"aaf"}, "AAF File", document);
            cShortcutFileType = Register({"lnk "}, {"lnk"}, "Shortcut", other);
            cApplicationBundleFileType =
                Register({".app"}, {"app"}, "Application Bundle", application);
            cSharedLibraryBundleFileType =
                Register({".cfm"}, {"cfm"}, "Shared Library Bundle", application);
        });
}

bool Tarn_FileTypes::IsSessionFileType(const Sys_FileType& iType)
{
    return iType != Sys_FileType::cUnknown &&
           (iType == cSession32FileType || iType == cSession4_16BitFileType ||
            iType == cSession4_24BitFileType || iType == cSession50FileType ||
            iType == cSessionFileType);
}

bool Tarn_FileTypes::IsSupportedAudioFileType(const Sys_FileType& iType)
{
    return iType.GetGroup() == Sys_FileType::eGroup_Audio;
}

bool Tarn_FileTypes::IsImportableAudioFileType(const Sys_FileType& iType)
{
    return IsSupportedAudioFileType(iType) ||
           (iType != Sys_FileType::cUnknown && iType == cCDDAFileType) || IsVideoFileType(iType);
}

bool Tarn_FileTypes::IsVideoFileType(const Sys_FileType& iType)
{
    if (iType.GetGroup() == Sys_FileType::eGroup_Video)
        return true;
    static const OSType cVideoTypes[] = {
        Sys_FileType::MakeOSType("VfW "), Sys_FileType::MakeOSType("AVI "),
        Sys_FileType::MakeOSType("MPG "), Sys_FileType::MakeOSType("MPEG"),
        Sys_FileType::MakeOSType("DV  "), Sys_FileType::MakeOSType("MooV")};
    for (OSType type : iType.GetAssociatedMacOSTypes())
        for (OSType video : cVideoTypes)
            if (type == video)
                return true;
    return false;
}
