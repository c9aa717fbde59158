// The file types that the application knows, and predicates over types.
//
// Initialize registers every row once (later calls do nothing) after Sys_FileType's own
// rows; the statics hold the handles from then on (cUnknown before). All rows bear the
// creator "MDul". Descriptive texts come from the message table (package 16) where the row
// has one. Call Initialize at start-up, before other threads ask for types.
#pragma once

#include "Sys_FileType.h"

class Tarn_FileTypes
{
public:
    static void Initialize();

    // The application's own documents.
    static Sys_FileType cSession32FileType;
    static Sys_FileType cSession4_16BitFileType;
    static Sys_FileType cSession4_24BitFileType;
    static Sys_FileType cSession50FileType;
    static Sys_FileType cSessionFileType;
    static Sys_FileType cPlugInSettingsFileType;
    static Sys_FileType cMultiMonoPlugInSettingsFileType;
    static Sys_FileType cExceptionLogFileType;
    static Sys_FileType cPreferencesFileType;
    static Sys_FileType cIOSettingsFileType;
    static Sys_FileType cPlugInMappingsFileType;
    static Sys_FileType cPlugInParamsFileType;
    static Sys_FileType cTrackArmingProfileFileType;
    static Sys_FileType cSharedSessionObjectFileType;
    static Sys_FileType cSharedSessionFileType;
    static Sys_FileType cTarnBaseFileType; // a catalog
    static Sys_FileType cMIDIServiceSetupFileType;
    // Files of other makers that the application meets.
    static Sys_FileType cMIDIFileType;
    static Sys_FileType cGrooveFileType;
    static Sys_FileType cApplicationFileType;
    static Sys_FileType cTextFileType;
    static Sys_FileType cOverviewCacheFileType;
    static Sys_FileType cEDLFileType;
    static Sys_FileType cSYNCFileType;
    static Sys_FileType cUSDFileType;
    static Sys_FileType cCDDAFileType;
    static Sys_FileType cAVIFileType;
    static Sys_FileType cAAFFileType;
    static Sys_FileType cShortcutFileType;
    static Sys_FileType cApplicationBundleFileType;
    static Sys_FileType cSharedLibraryBundleFileType;

    // One of the five generations of session files.
    static bool IsSessionFileType(const Sys_FileType& iType);
    // A type of the audio group (the audio file front registers those).
    static bool IsSupportedAudioFileType(const Sys_FileType& iType);
    // Audio that can be brought in: the supported audio types, CD audio tracks and videos.
    static bool IsImportableAudioFileType(const Sys_FileType& iType);
    // The video group, or a row with a Mac type of a video format ("VfW ", "AVI ", "MPG ",
    // "MPEG", "DV  ", "MooV").
    static bool IsVideoFileType(const Sys_FileType& iType);
};
