// Sys_FileType's table and the rows of Tarn_FileTypes.
#include "Sys_FileType.h"
#include "Support/SysTestSupport.h"
#include "Sys_FileLoc.h"
#include "Tarn_FileTypes.h"

#include <tuple>

namespace
{
Sys_FileType::OSType T(const char* iCode)
{
    return Sys_FileType::MakeOSType(iCode);
}
} // namespace

TEST(Sys_FileType, FirstRowsAreUnknownAndFolder)
{
    Sys_FileType::Initialize();
    EXPECT_EQ(Sys_FileType().GetIndex(), 0);
    EXPECT_EQ(Sys_FileType::cFolder.GetIndex(), 1);
    EXPECT_EQ(Sys_FileType::cUnknown.GetDescriptiveString(), "Unknown");
    EXPECT_EQ(Sys_FileType::cFolder.GetDescriptiveString(), "Folder");
    EXPECT_EQ(Sys_FileType::FromExtension(""), Sys_FileType::cUnknown);
    EXPECT_EQ(Sys_FileType::FromExtension("no-such-extension"), Sys_FileType::cUnknown);
    EXPECT_FALSE(Sys_FileType(1 << 30).IsRegistered());
    EXPECT_EQ(Sys_FileType(1 << 30).GetAssociatedExtension(), "");
    EXPECT_EQ(Sys_FileType::OSTypeToString(T("EDL")), "EDL ");
}

TEST(Sys_FileType, RegisteredRowsAnswerEveryQuery)
{
    const Sys_FileType type = Sys_FileType::RegisterType({T("tTy1"), T("tTy2")}, {"tya", "tyb"},
                                                         "Test Type", T("tCre"), 6);
    EXPECT_EQ(Sys_FileType::FromMacOSType(T("tTy2")), type);
    EXPECT_EQ(Sys_FileType::FromExtension("TYB"), type);
    EXPECT_EQ(type.GetAssociatedMacOSType(), T("tTy1"));
    EXPECT_EQ(type.GetAssociatedMacOSTypes(),
              (std::vector<Sys_FileType::OSType>{T("tTy1"), T("tTy2")}));
    EXPECT_TRUE(type.HasAssociatedExtension("TyA") && !type.HasAssociatedExtension("ty"));
    EXPECT_EQ(std::tuple(type.GetAssociatedExtension(), type.ToExtensions(),
                         type.GetDescriptiveString(), type.GetCreatorType(), type.GetGroup()),
              std::tuple("tya", "*.tya;*.tyb", "Test Type", T("tCre"), 6));
    // A later row with the same code does not take it over.
    EXPECT_NE(Sys_FileType::RegisterType({T("tTy1")}, {"tya"}, "again", 0), type);
    EXPECT_EQ(Sys_FileType::FromMacOSType(T("tTy1")), type);
}

TEST(Tarn_FileTypes, RegistersEveryRowOnce)
{
    Tarn_FileTypes::Initialize();
    const int32_t rows = Sys_FileType::GetNumRegisteredTypes();
    Tarn_FileTypes::Initialize();
    EXPECT_EQ(Sys_FileType::GetNumRegisteredTypes(), rows);

    struct Row
    {
        Sys_FileType mType;
        std::vector<const char*> mMacTypes;
        const char* mExtension;
        const char* mDescription;
    };
    using TF = Tarn_FileTypes;
    const Row table[] = {
        {TF::cMIDIFileType, {"MIDI", "Midi"}, "mid", "MIDI"},
        {TF::cGrooveFileType, {"GRV ", "Grv "}, "grv", "MIDI Groove Quantize Template"},
        {TF::cApplicationFileType, {"APPL"}, "exe", "Application"},
        {TF::cTextFileType, {"TEXT"}, "txt", "Text file"},
        {TF::cOverviewCacheFileType, {"OvrV"}, "wfm", "Overview Cache"},
        {TF::cEDLFileType, {"EDL "}, "edl", "EDL"},
        {TF::cSYNCFileType, {".SYC"}, "SYC", "SYNC"},
        {TF::cUSDFileType, {".USD"}, "USD", "USD"},
        {TF::cCDDAFileType, {"CDDA"}, "cda", "RedBook audio track"},
        {TF::cAVIFileType, {"VfW "}, ".avi", "AVI Movie"},
        {TF::cAAFFileType, {"AAFf"}, "aaf", "AAF File"},
        {TF::cShortcutFileType, {"lnk "}, "lnk", "Shortcut"},
        {TF::cApplicationBundleFileType, {".app"}, "app", "Application Bundle"},
        {TF::cSharedLibraryBundleFileType, {".cfm"}, "cfm", "Shared Library Bundle"},
        {TF::cSession32FileType, {"MD32"}, "md3", "Mira Deck 3.2 Session"},
        {TF::cSession4_16BitFileType, {"MD4s"}, "md4", "Mira Deck 4 16-Bit Session"},
        {TF::cSession4_24BitFileType, {"MD4x"}, "m4x", "Mira Deck 4 24-Bit Session"},
        {TF::cSession50FileType, {"MD50"}, "md5", "Mira Deck 5.0 Session"},
        {TF::cSessionFileType, {"MDss"}, "mds", "Mira Deck Session"},
        {TF::cPlugInSettingsFileType, {"MDpi"}, "mdp", "Mira Deck Plug-In Settings"},
        {TF::cMultiMonoPlugInSettingsFileType,
         {"MDpm"},
         "mdm",
         "Mira Deck Multi-Mono Plug-In Settings"},
        {TF::cExceptionLogFileType, {"MDlg"}, "mdx", "Mira Deck Exception Log"},
        {TF::cPreferencesFileType, {"MDpf"}, "mpf", "Mira Deck Preferences"},
        {TF::cIOSettingsFileType, {"MDio"}, "pio", "Mira Deck I/O Settings"},
        {TF::cPlugInMappingsFileType, {"MDmp"}, "pmp", "Mira Deck Plug-In Mappings"},
        {TF::cPlugInParamsFileType, {"MDpp"}, "ppr", "Mira Deck Plug-In Params"},
        {TF::cTrackArmingProfileFileType, {"MDta"}, "tap", "Mira Deck Track Arming Profile"},
        {TF::cSharedSessionObjectFileType, {"MDso"}, "sso", "Mira Deck Shared Session Object File"},
        {TF::cSharedSessionFileType, {"MDsf"}, "ssf", "Mira Deck Shared Session File"},
        {TF::cTarnBaseFileType, {"TDbs"}, "tdb", "Tarn Database"},
        {TF::cMIDIServiceSetupFileType, {"MSvc"}, "msu", "TarnMIDIService Setup file"},
    };
    std::vector<int32_t> seen;
    for (const Row& row : table)
    {
        SCOPED_TRACE(row.mDescription);
        EXPECT_GE(row.mType.GetIndex(), 2);
        seen.push_back(row.mType.GetIndex());
        EXPECT_EQ(row.mType.GetCreatorType(), T("MDul"));
        EXPECT_EQ(row.mType.GetAssociatedExtension(), row.mExtension);
        EXPECT_EQ(row.mType.GetDescriptiveString(), row.mDescription);
        std::vector<Sys_FileType::OSType> codes;
        for (const char* code : row.mMacTypes)
        {
            codes.push_back(T(code));
            EXPECT_EQ(Sys_FileType::FromMacOSType(T(code)), row.mType) << code;
        }
        EXPECT_EQ(row.mType.GetAssociatedMacOSTypes(), codes);
        EXPECT_EQ(Sys_FileType::FromExtension(row.mExtension), row.mType);
    }
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(std::unique(seen.begin(), seen.end()), seen.end());

    // The dot stays with "avi": the bare extension is not this row's, and a name made with
    // the type gets no second dot.
    EXPECT_NE(Sys_FileType::FromExtension("avi"), TF::cAVIFileType);
    EXPECT_EQ(Sys_FileLoc(Sys_FileLoc("/v"), "clip", TF::cAVIFileType).GetFullPath(),
              "/v/clip.avi");
}

TEST(Tarn_FileTypes, PredicatesSortTypesByUse)
{
    Tarn_FileTypes::Initialize();
    using TF = Tarn_FileTypes;
    for (const Sys_FileType& session :
         {TF::cSession32FileType, TF::cSession4_16BitFileType, TF::cSession4_24BitFileType,
          TF::cSession50FileType, TF::cSessionFileType})
        EXPECT_TRUE(TF::IsSessionFileType(session));
    EXPECT_FALSE(TF::IsSessionFileType(TF::cPreferencesFileType));
    EXPECT_FALSE(TF::IsSessionFileType(Sys_FileType::cUnknown));

    const Sys_FileType audio = Sys_FileType::RegisterType({T("tAud")}, {"taud"}, "audio", T("MDul"),
                                                          Sys_FileType::eGroup_Audio);
    const Sys_FileType movie =
        Sys_FileType::RegisterType({T("MooV")}, {"tmov"}, "movie", T("MDul"));
    // {type, supported audio, importable audio, video}
    const std::tuple<Sys_FileType, bool, bool, bool> rows[] = {
        {audio, true, true, false},
        {TF::cCDDAFileType, false, true, false},
        {TF::cAVIFileType, false, true, true},
        {movie, false, true, true},
        {TF::cTextFileType, false, false, false}};
    for (const auto& [type, supported, importable, video] : rows)
        EXPECT_EQ(std::tuple(TF::IsSupportedAudioFileType(type),
                             TF::IsImportableAudioFileType(type), TF::IsVideoFileType(type)),
                  std::tuple(supported, importable, video))
            << type.GetDescriptiveString();
}
