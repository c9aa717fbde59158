// The audio file formats: one descriptor per EAudioFileType, in one table.
//
// The front (FF_AudioFile) reads everything it knows of a format from this table: the file
// type it registers, the name, the byte order, whether the format embeds overviews, the
// default recognition order, and the plug-in's entry points for opening and creating.
//
// Where the formats are declared: the table is defined in
// src/FF/Audio/PlugIns/FF_AudioFileFormats.cpp, the one file that includes the plug-ins,
// so that the front itself includes nothing of src/FF/Audio/PlugIns.
//
// Adding a format plug-in: write the plug-in in src/FF/Audio/PlugIns (its static Create for
// an existing file and CreateNew for a new one), then fill in the open and create entries of
// its row in FF_AudioFileFormats.cpp and include its header there (a type that has no row
// yet, such as Offline, gets one in its place by type). Nothing else changes: the front and
// the other plug-ins stay as they are.
//
// Invariants of the table:
//  1. Rows stand in ascending order of type; a type has at most one row. The file types are
//     registered in row order, so the handles of Sys_FileType come out in that order.
//  2. A row registers its own Sys_FileType unless it names another row in mSharesFileTypeOf
//     (AIFC shares AIFF's) or has neither Mac types nor extensions. A sharing row stands after
//     the row it shares with and takes the shared type over in the map from file type to
//     audio file type.
//  3. mReadRank > 0 puts the type in the default recognition list at that place (1 first);
//     ranks are distinct.
//  4. A row without mOpen is never opened by content; one without mCreate cannot be created
//     (OpenImpl fails its assertion "0").
// Types without a row (Unknown, Offline) have no file type, no name, no byte order.
//
// The table is built on first use (a function-local static), so the order of static
// initialisation does not matter. It is read-only afterwards and any thread may read it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "FF/Audio/FF_AudioTypes.h"

class FF_AudioFile;
class FF_AudioFilePlugIn;
class Sys_FileLoc;

struct FF_AudioFileFormat
{
    // The byte order of a type's samples, or how asking for it fails.
    enum EOrder
    {
        eOrder_Big = eByteOrder_Big,
        eOrder_Little = eByteOrder_Little,
        eOrder_None,   // ByteOrderFromAudioFileType fails the assertion "0"
        eOrder_Refused // fails the assertion "false" (OMF)
    };

    // Opens an existing file: iOffset and iLength give the range inside a larger file, both
    // -1 for a plain file. Null when the plug-in does not accept the file.
    using OpenMethod = FF_AudioFilePlugIn* (*)(FF_AudioFile* iAudioFileP, int64_t iOffset,
                                               int64_t iLength);
    // Makes the plug-in of a new file (the file is created on disk).
    using CreateMethod = FF_AudioFilePlugIn* (*)(FF_AudioFile* iAudioFileP);
    // Why a file that the plug-in refuses is not of its format, in a few words for a person;
    // "" when the plug-in accepts it or cannot tell.
    using ExplainMethod = std::string (*)(const Sys_FileLoc& iLoc);

    EAudioFileType mType = eAudioFileType_Unknown;
    std::vector<const char*> mMacTypes;   // four-character codes
    std::vector<std::string> mExtensions; // without the dot
    int32_t mNameID = 0;                  // text of package 0, or 0 for mNameLiteral
    const char* mNameLiteral = "";
    EOrder mOrder = eOrder_None;
    bool mEmbedsOverviews = false;
    int32_t mReadRank = 0; // place in the default recognition list, 0 for none
    EAudioFileType mSharesFileTypeOf = eAudioFileType_Unknown;
    OpenMethod mOpen = nullptr;
    CreateMethod mCreate = nullptr;
    ExplainMethod mExplainRefusal = nullptr;

    // The rows, in ascending order of type (defined with the plug-ins).
    static const std::vector<FF_AudioFileFormat>& GetAll();
    // The row of a type, or null.
    static const FF_AudioFileFormat* Find(EAudioFileType iType);
    // For a file that no plug-in took: why, as "<type name>: <reason>", asked of the rows
    // whose extension or Finder type the file bears; "" when none of them can tell.
    static std::string ExplainRefusal(const Sys_FileLoc& iLoc);
};
