// The translation notes: every type's header and summary, the log laid out with its
// separator lines, and the notes that fill texts from their inserts.
#include <gtest/gtest.h>

#include <sstream>

#include "Iop/MdSess_TranslationNotes.h"

namespace
{
using Note = MdSess_TranslationNote;
using Notes = MdSess_TranslationNotes;

class MdSess_TranslationNotesTest : public ::testing::Test
{
protected:
    void SetUp() override { Notes::Clear(); }
    void TearDown() override { Notes::Clear(); }
    static void Add(MdSess_TranslationNote* iNote) { Notes::AddNote(Notes::NotePtr(iNote)); }
};

TEST_F(MdSess_TranslationNotesTest, EveryTypeHasItsHeaderAndSummary)
{
    const std::pair<const char*, const char*> want[Note::eType_Count] = {
        {"Comments", ""},
        {"Errors", "Some errors occurred."},
        {"Missing or inactive plug-ins", "The following plug-ins were DROPPED because they could not be found in the plug-ins folder: "},
        {"Missing or offline media", "Some media could not be located."},
        {"Copied media", "Some media was copied."},
        {"Omitted Tracks", "Some tracks were dropped because only mono and stereo tracks are supported."},
        {"Omitted Paths", "Some paths were dropped because only mono and stereo paths are supported."},
        {"Inactive outputs and sends", "Some outputs or sends were made inactive."},
        {"Inactive inputs", "Some inputs were made inactive."},
        {"Inactive side chain inputs", "Some side chain inputs were made inactive."},
        {"", ""},
        {"OMF Parsing Errors", "Some OMF parsing errors occurred."},
        {"Missing renderings", "Some renderings were missing."},
        {"Ignored effects", "Some effects were ignored."},
        {"Truncated region names", "Some region names were truncated."},
        {"Gain applied", "Gain was applied to some files."},
        {"Some elements were dropped because they are beyond the maximum session length", ""},
        {"", ""},
        {"", ""},
        {"", ""},
        {"Invalid fades (these fades cannot be regenerated if they go offline)", ""},
        {"", ""},
        {"", ""}};
    for (int32_t type = 0; type < Note::eType_Count; ++type)
    {
        EXPECT_EQ(Note::GetHeader(Note::EType(type)), want[type].first) << type;
        EXPECT_EQ(Note::GetSummary(Note::EType(type)), want[type].second) << type;
    }
    EXPECT_EQ(MdSess_VideoEngineIncompatibleNote().GetText(),
              "The video media could not be imported because it was created with an incompatible video engine.");
    EXPECT_EQ(MdSess_MIDIZeroOnVelocitiesNote().GetText(),
              "MIDI notes with an invalid on velocity of 0 were encountered. These velocities have been set to 1.");
}

TEST_F(MdSess_TranslationNotesTest, LogPrintsEachNonEmptyTypeUnderItsHeader)
{
    EXPECT_TRUE(Notes::Empty());
    Add(new MdSess_OMFParsingErrorNote("00:00:01:00 error reading component\"SCLP\";substituting fill"));
    Add(new MdSess_CommentNote("first"));
    Add(new MdSess_TrackOmittedNote("Drums"));
    Add(new MdSess_CommentNote("second"));
    Add(new MdSess_MIDIZeroOnVelocitiesNote());
    Add(new MdSess_InvalidFadeNote("Crossfade", "x", "1|1|000", "Audio 1", "it is too long"));
    EXPECT_FALSE(Notes::Empty());
    const std::string line(80, '-');
    std::ostringstream log;
    Notes::PrintNotes(log);
    EXPECT_EQ(log.str(),
              line + "\nComments\n" + line + "\nfirst\nsecond\n" +
              line + "\nOmitted Tracks\n" + line +
              "\nTrack \"Drums\" was dropped because only mono and stereo tracks are supported.\n" +
              line + "\nOMF Parsing Errors\n" + line +
              "\n00:00:01:00 error reading component\"SCLP\";substituting fill\n"
              "MIDI notes with an invalid on velocity of 0 were encountered. These velocities have been set to 1.\n" +
              line + "\nInvalid fades (these fades cannot be regenerated if they go offline)\n" + line +
              "\nCrossfade \"x\" at 1|1|000 on playlist \"Audio 1\" is invalid because it is too long.\n");
    std::ostringstream summary;
    Notes::PrintSummary(summary);
    EXPECT_EQ(summary.str(), "Some tracks were dropped because only mono and stereo tracks are supported.\n"
                             "Some OMF parsing errors occurred.\n");
    Notes::Clear();
    EXPECT_TRUE(Notes::Empty());
}

TEST_F(MdSess_TranslationNotesTest, VariantsPickTheirSentence)
{
    const std::pair<std::string, std::string> cases[] = {
        {MdSess_TrackOmittedNote("T", MdSess_TrackOmittedNote::eReason_Inactive).GetText(),
         "Track \"T\" was dropped because inactive tracks are not supported."},
        {MdSess_TrackOmittedNote("T", MdSess_TrackOmittedNote::eReason_MaxMIDITracks).GetText(),
         "Track \"T\" was dropped because the maximum number of MIDI tracks was exceeded"},
        {MdSess_PathOmittedNote("P").GetText(),
         "Path \"P\" was dropped because only mono and stereo paths are supported."},
        {MdSess_PathOmittedNote("P", MdSess_PathOmittedNote::eReason_SubpathOfDropped).GetText(),
         "Path \"P\" was dropped because it is a subpath of a main path which was dropped."},
        {MdSess_MissingOrOfflinePlugInNote(MdSess_MissingOrOfflinePlugInNote::eReason_InactiveNoResources, "EQ").GetText(),
         "The following plug-ins were made inactive because of insufficient system resources: EQ"},
    };
    for (const auto& [got, want] : cases)
        EXPECT_EQ(got, want);
}
} // namespace
