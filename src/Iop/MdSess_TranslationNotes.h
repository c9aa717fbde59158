// The notes of a translation: everything it changed, dropped or could not do, kept by type
// in process-wide lists and printed as one log.
//
// Log layout (PrintNotes): the types in number order; each non-empty type that has a header
// prints a line of 80 '-', its header, a line of 80 '-', then each note on a line of its own;
// a type without a header prints only its notes. PrintSummary prints, for each non-empty type
// that has one, its summary line. Main thread only; unguarded.
#pragma once

#include <cstdint>
#include <list>
#include <ostream>
#include <string>

#include "Cmn_RefCountObject.h"

class MdSess_TranslationNote : public Cmn_RefCountObject
{
public:
    enum EType : int32_t
    {
        eType_Comment = 0,
        eType_Error = 1,
        eType_MissingOrOfflinePlugIn = 2,
        eType_MissingOrOfflineMedia = 3,
        eType_MediaConverted = 4,
        eType_TrackOmitted = 5,
        eType_PathOmitted = 6,
        eType_OutputStemUserInactive = 7,
        eType_InputStemUserInactive = 8,
        eType_PlugInSideChainInputStemUserInactive = 9,
        eType_OutputOrSendCouldNotBeAssigned = 10,
        eType_OMFParsingError = 11,
        eType_OMFMissingRendering = 12,
        eType_OMFIgnoringEffect = 13,
        eType_TruncatingRegionName = 14,
        eType_ApplyingGain = 15,
        eType_ElementPastMaxSessionLength = 16,
        eType_VideoEngineIncompatible = 17,
        eType_MIDIZeroOnVelocities = 18,
        eType_DelayCompUnsupported = 19,
        eType_InvalidFade = 20,
        eType_SoloBusAlloc = 21,
        eType_SoloBusNeedsNx8Mixer = 22,
        eType_Count = 23
    };

    MdSess_TranslationNote(EType iType, std::string iText) : mType(iType), mText(std::move(iText)) {}
    EType GetType() const { return mType; }
    // The note's line in the log.
    virtual std::string GetText() const { return mText; }

    // The header of a type ("" for none) and its summary line ("" for none).
    static std::string GetHeader(EType iType);
    static std::string GetSummary(EType iType);

private:
    EType mType;
    std::string mText;
};

#define MDSESS_NOTE(Name, Type)                                                                    \
    class Name : public MdSess_TranslationNote                                                     \
    {                                                                                              \
    public:                                                                                        \
        explicit Name(std::string iText = DefaultText()) : MdSess_TranslationNote(Type, std::move(iText)) {} \
        static std::string DefaultText();                                                          \
    };

MDSESS_NOTE(MdSess_CommentNote, eType_Comment)
MDSESS_NOTE(MdSess_ErrorNote, eType_Error)
MDSESS_NOTE(MdSess_MissingOrOfflineMediaNote, eType_MissingOrOfflineMedia)
MDSESS_NOTE(MdSess_MediaConvertedNote, eType_MediaConverted)
MDSESS_NOTE(MdSess_OutputStemUserInactiveNote, eType_OutputStemUserInactive)
MDSESS_NOTE(MdSess_InputStemUserInactiveNote, eType_InputStemUserInactive)
MDSESS_NOTE(MdSess_PlugInSideChainInputStemUserInactiveNote, eType_PlugInSideChainInputStemUserInactive)
MDSESS_NOTE(MdSess_OutputOrSendCouldNotBeAssignedNote, eType_OutputOrSendCouldNotBeAssigned)
MDSESS_NOTE(MdSess_OMFParsingErrorNote, eType_OMFParsingError)
MDSESS_NOTE(MdSess_OMFMissingRenderingNote, eType_OMFMissingRendering)
MDSESS_NOTE(MdSess_OMFIgnoringEffectNote, eType_OMFIgnoringEffect)
MDSESS_NOTE(MdSess_TruncatingRegionNameNote, eType_TruncatingRegionName)
MDSESS_NOTE(MdSess_ApplyingGainNote, eType_ApplyingGain)
MDSESS_NOTE(MdSess_ElementPastMaxSessionLengthNote, eType_ElementPastMaxSessionLength)
MDSESS_NOTE(MdSess_VideoEngineIncompatibleNote, eType_VideoEngineIncompatible)
MDSESS_NOTE(MdSess_MIDIZeroOnVelocitiesNote, eType_MIDIZeroOnVelocities)
MDSESS_NOTE(MdSess_DelayCompUnsupportedNote, eType_DelayCompUnsupported)
MDSESS_NOTE(MdSess_SoloBusAllocNote, eType_SoloBusAlloc)
MDSESS_NOTE(MdSess_SoloBusNeedsNx8MixerNote, eType_SoloBusNeedsNx8Mixer)
#undef MDSESS_NOTE

class MdSess_MissingOrOfflinePlugInNote : public MdSess_TranslationNote
{
public:
    enum EReason : int32_t
    {
        eReason_DroppedNotFound = 0,
        eReason_DroppedNoResources = 1,
        eReason_InactiveNotFound = 2,
        eReason_InactiveNoResources = 3
    };
    // The reason's sentence followed by the plug-in names.
    MdSess_MissingOrOfflinePlugInNote(EReason iReason, const std::string& iPlugInNames);
};

class MdSess_TrackOmittedNote : public MdSess_TranslationNote
{
public:
    enum EReason : int32_t
    {
        eReason_NotMonoOrStereo = 0,
        eReason_Inactive = 1,
        eReason_MaxVoices = 2,
        eReason_MaxDiskTracks = 3,
        eReason_MaxAuxTracks = 4,
        eReason_MaxMasterTracks = 5,
        eReason_MaxMIDITracks = 6
    };
    MdSess_TrackOmittedNote(const std::string& iTrackName, EReason iReason = eReason_NotMonoOrStereo);
};

class MdSess_PathOmittedNote : public MdSess_TranslationNote
{
public:
    enum EReason : int32_t
    {
        eReason_NotMonoOrStereo = 0,
        eReason_TonePlate = 1,
        eReason_SubpathOfDropped = 2
    };
    MdSess_PathOmittedNote(const std::string& iPathName, EReason iReason = eReason_NotMonoOrStereo);
};

class MdSess_InvalidFadeNote : public MdSess_TranslationNote
{
public:
    // "%1 "%2" at %3 on playlist "%4" is invalid because %5."
    MdSess_InvalidFadeNote(const std::string& iKind, const std::string& iName,
                           const std::string& iWhere, const std::string& iPlaylist,
                           const std::string& iBecause);
};

class MdSess_TranslationNotes
{
public:
    using NotePtr = Cmn_AliasedRefCountPtr<MdSess_TranslationNote>;
    static constexpr int32_t cSeparatorWidth = 80;
    static constexpr char cSeparator = '-';

    static void AddNote(const NotePtr& iNote);
    static void Clear();
    // True when every list is empty.
    static bool Empty();
    static const std::list<NotePtr>& GetNotes(MdSess_TranslationNote::EType iType);
    // The header block of one type: separator line, header, separator line.
    static void PrintHeader(std::ostream& ioStream, MdSess_TranslationNote::EType iType);
    static void PrintNotes(std::ostream& ioStream);
    static void PrintSummary(std::ostream& ioStream);

private:
    static std::list<NotePtr> sNotes[MdSess_TranslationNote::eType_Count];
};
