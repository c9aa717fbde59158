#include "Iop/MdSess_TranslationNotes.h"

#include "Cmn_Assert.h"
#include "L10N_Utils.h"

std::list<MdSess_TranslationNotes::NotePtr>
    MdSess_TranslationNotes::sNotes[MdSess_TranslationNote::eType_Count];

namespace
{
std::string Text(int32_t iResourceID)
{
    return iResourceID ? L10N_Utils::GetResourceString(iResourceID) : std::string();
}

// Resource ids of the header and summary of each type (0: none).
struct TypeTexts
{
    int32_t mHeader;
    int32_t mSummary;
};
constexpr TypeTexts cTypeTexts[MdSess_TranslationNote::eType_Count] = {
    {1302, 0},    {1303, 1304}, {1305, 1306}, {1362, 1363}, {1364, 1365}, {1326, 1316},
    {1319, 1321}, {1310, 1311}, {1312, 1313}, {1314, 1315}, {0, 0},       {1351, 1352},
    {1357, 1358}, {1355, 1356}, {1353, 1354}, {1359, 1360}, {1361, 0},    {0, 0},
    {0, 0},       {0, 0},       {1374, 0},    {0, 0},       {0, 0}};

std::string Fill(int32_t iResourceID, const std::vector<std::string>& iInserts)
{
    return L10N_Utils::ReplaceInserts(Text(iResourceID), iInserts);
}
} // namespace

std::string MdSess_TranslationNote::GetHeader(EType iType)
{
    CMN_ASSERT(iType >= 0 && iType < eType_Count);
    return Text(cTypeTexts[iType].mHeader);
}

std::string MdSess_TranslationNote::GetSummary(EType iType)
{
    CMN_ASSERT(iType >= 0 && iType < eType_Count);
    return Text(cTypeTexts[iType].mSummary);
}

#define MDSESS_DEFAULT(Name, ResourceID)                                                           \
    std::string Name::DefaultText() { return Text(ResourceID); }
MDSESS_DEFAULT(MdSess_CommentNote, 0)
MDSESS_DEFAULT(MdSess_ErrorNote, 1304)
MDSESS_DEFAULT(MdSess_MissingOrOfflineMediaNote, 1363)
MDSESS_DEFAULT(MdSess_MediaConvertedNote, 1365)
MDSESS_DEFAULT(MdSess_OutputStemUserInactiveNote, 1311)
MDSESS_DEFAULT(MdSess_InputStemUserInactiveNote, 1313)
MDSESS_DEFAULT(MdSess_PlugInSideChainInputStemUserInactiveNote, 1315)
MDSESS_DEFAULT(MdSess_OutputOrSendCouldNotBeAssignedNote, 1318)
MDSESS_DEFAULT(MdSess_OMFParsingErrorNote, 1352)
MDSESS_DEFAULT(MdSess_OMFMissingRenderingNote, 1358)
MDSESS_DEFAULT(MdSess_OMFIgnoringEffectNote, 1356)
MDSESS_DEFAULT(MdSess_TruncatingRegionNameNote, 1354)
MDSESS_DEFAULT(MdSess_ApplyingGainNote, 1360)
MDSESS_DEFAULT(MdSess_ElementPastMaxSessionLengthNote, 1361)
MDSESS_DEFAULT(MdSess_VideoEngineIncompatibleNote, 1350)
MDSESS_DEFAULT(MdSess_MIDIZeroOnVelocitiesNote, 1366)
MDSESS_DEFAULT(MdSess_DelayCompUnsupportedNote, 1367)
MDSESS_DEFAULT(MdSess_SoloBusAllocNote, 1376)
MDSESS_DEFAULT(MdSess_SoloBusNeedsNx8MixerNote, 1377)
#undef MDSESS_DEFAULT

MdSess_MissingOrOfflinePlugInNote::MdSess_MissingOrOfflinePlugInNote(EReason iReason,
                                                                     const std::string& iNames)
    : MdSess_TranslationNote(eType_MissingOrOfflinePlugIn,
                             Text(1306 + (iReason >= 0 && iReason <= 3 ? iReason : 0)) + iNames)
{
}

namespace
{
int32_t TrackReasonText(MdSess_TrackOmittedNote::EReason iReason)
{
    static constexpr int32_t cIDs[] = {1332, 1333, 1327, 1328, 1329, 1330, 1331};
    return cIDs[iReason >= 0 && iReason <= 6 ? iReason : 0];
}

int32_t PathReasonText(MdSess_PathOmittedNote::EReason iReason)
{
    static constexpr int32_t cIDs[] = {1324, 1323, 1325};
    return cIDs[iReason >= 0 && iReason <= 2 ? iReason : 0];
}
} // namespace

MdSess_TrackOmittedNote::MdSess_TrackOmittedNote(const std::string& iTrackName, EReason iReason)
    : MdSess_TranslationNote(eType_TrackOmitted, Fill(TrackReasonText(iReason), {iTrackName}))
{
}

MdSess_PathOmittedNote::MdSess_PathOmittedNote(const std::string& iPathName, EReason iReason)
    : MdSess_TranslationNote(eType_PathOmitted, Fill(PathReasonText(iReason), {iPathName}))
{
}

MdSess_InvalidFadeNote::MdSess_InvalidFadeNote(const std::string& iKind, const std::string& iName,
                                               const std::string& iWhere,
                                               const std::string& iPlaylist,
                                               const std::string& iBecause)
    : MdSess_TranslationNote(eType_InvalidFade,
                             Fill(1375, {iKind, iName, iWhere, iPlaylist, iBecause}))
{
}

void MdSess_TranslationNotes::AddNote(const NotePtr& iNote)
{
    CMN_ASSERT(iNote);
    sNotes[iNote->GetType()].push_back(iNote);
}

void MdSess_TranslationNotes::Clear()
{
    for (auto& notes : sNotes)
        notes.clear();
}

bool MdSess_TranslationNotes::Empty()
{
    for (const auto& notes : sNotes)
        if (!notes.empty())
            return false;
    return true;
}

const std::list<MdSess_TranslationNotes::NotePtr>&
MdSess_TranslationNotes::GetNotes(MdSess_TranslationNote::EType iType)
{
    CMN_ASSERT(iType >= 0 && iType < MdSess_TranslationNote::eType_Count);
    return sNotes[iType];
}

void MdSess_TranslationNotes::PrintHeader(std::ostream& ioStream,
                                          MdSess_TranslationNote::EType iType)
{
    const std::string line(cSeparatorWidth, cSeparator);
    ioStream << line << "\n" << MdSess_TranslationNote::GetHeader(iType) << "\n" << line << "\n";
}

void MdSess_TranslationNotes::PrintNotes(std::ostream& ioStream)
{
    for (int32_t type = 0; type < MdSess_TranslationNote::eType_Count; ++type)
    {
        if (sNotes[type].empty())
            continue;
        const auto eType = static_cast<MdSess_TranslationNote::EType>(type);
        if (!MdSess_TranslationNote::GetHeader(eType).empty())
            PrintHeader(ioStream, eType);
        for (const NotePtr& note : sNotes[type])
            ioStream << note->GetText() << "\n";
    }
}

void MdSess_TranslationNotes::PrintSummary(std::ostream& ioStream)
{
    for (int32_t type = 0; type < MdSess_TranslationNote::eType_Count; ++type)
    {
        const std::string summary =
            MdSess_TranslationNote::GetSummary(static_cast<MdSess_TranslationNote::EType>(type));
        if (!sNotes[type].empty() && !summary.empty())
            ioStream << summary << "\n";
    }
}
