// The interchange settings: defaults, the values that depend on others, and the dialog rows
// in their fixed order with their texts.
#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <tuple>

#include "Iop/Iop_Settings.h"
#include "Support/TestSupport.h"

namespace
{
class Iop_SettingsTest : public ::testing::Test
{
protected:
    void SetUp() override { Iop_Settings::ResetToDefaults(); }
    void TearDown() override { Iop_Settings::ResetToDefaults(); }
};

TEST_F(Iop_SettingsTest, DefaultsAreTheDocumentedOnes)
{
    // {setting, value, default}
    const std::tuple<const char*, int64_t, int64_t> rows[] = {
        {"ExportFormat", Iop_Settings::GetExportFormat(), Iop_File::eExportFormat_OMF2x},
        {"ExportFormat value", Iop_File::eExportFormat_OMF2x, 1},
        {"FilesMustBeOnHarbor", Iop_Settings::GetFilesMustBeOnHarbor(), false},
        {"TranslationMode", Iop_Settings::GetTranslationMode(), 0},
        {"TranslateSelectedOnly", Iop_Settings::GetTranslateSelectedOnly(), false},
        {"SrcMediaMode", Iop_Settings::GetSrcMediaMode(), 2},
        {"RedirectMissingMediaToProxy", Iop_Settings::GetRedirectMissingMediaToProxy(), true},
        {"ConsolidateHandle", Iop_Settings::GetConsolidateHandle(), 1000},
        {"DstMediaMode", Iop_Settings::GetDstMediaMode(), 1},
        {"ApplySRC", Iop_Settings::GetApplySRC(), false},
        {"SRCQuality", Iop_Settings::GetSRCQuality(), 3},
        {"SrcAudioSampleRate", Iop_Settings::GetSrcAudioSampleRate(), 44100},
        {"DstAudioSampleRate", Iop_Settings::GetDstAudioSampleRate(), 44100},
        {"ClipBasedGainMode", Iop_Settings::GetClipBasedGainMode(), 0},
        {"IgnoreKeyframeGain", Iop_Settings::GetIgnoreKeyframeGain(), false},
        {"IgnoreRenderedAudioFX", Iop_Settings::GetIgnoreRenderedAudioFX(), false},
        {"PanOddLeftEvenRight", Iop_Settings::GetPanOddLeftEvenRight(), true},
        {"DstAudioBitDepth", Iop_Settings::GetDstAudioBitDepth(), 16},
        {"QuantizeEditsToFrameBoundaries", Iop_Settings::GetQuantizeEditsToFrameBoundaries(), true},
        {"DstTimeCodeFormat", Iop_Settings::GetDstTimeCodeFormat(), eTimeCodeFormat_2997Drop},
        {"DstTimeCodeFormat value", eTimeCodeFormat_2997Drop, 5},
        {"DstEditRate", Iop_Settings::GetDstEditRate(), Iop_File::eEditRate_2997},
        {"DstSessionFileType", Iop_Settings::GetDstSessionFileType(), 2},
        {"Source", bool(Iop_Settings::GetSource()), false},
        {"AudioFilePlugInData", int64_t(Iop_Settings::GetAudioFilePlugInData().size()), 0},
    };
    for (const auto& [name, got, want] : rows)
        EXPECT_EQ(got, want) << name;
    for (const std::string& text : {Iop_Settings::GetProjectName(), Iop_Settings::GetBinName(),
                                    Iop_Settings::GetComments(), Iop_Settings::GetTapeName(),
                                    Iop_Settings::GetExportLoc()})
        EXPECT_EQ(text, "");
}

TEST_F(Iop_SettingsTest, DerivedValuesFollowTheirSources)
{
    // The destination rate is the source's until conversion is on.
    Iop_Settings::SetSrcAudioSampleRate(48000);
    Iop_Settings::SetDstAudioSampleRate(44100);
    EXPECT_EQ(Iop_Settings::GetDstAudioSampleRate(), 48000);
    Iop_Settings::SetApplySRC(true);
    EXPECT_EQ(Iop_Settings::GetDstAudioSampleRate(), 44100);
    // Both OMF directions quantize; conversion keeps the stored value.
    Iop_Settings::SetQuantizeEditsToFrameBoundaries(false);
    Iop_Settings::SetTranslationMode(Iop_Settings::eMode_SessionToOMF);
    EXPECT_TRUE(Iop_Settings::GetQuantizeEditsToFrameBoundaries());
    Iop_Settings::SetTranslationMode(Iop_Settings::eMode_AudioFileConversion);
    EXPECT_FALSE(Iop_Settings::GetQuantizeEditsToFrameBoundaries());
    const std::pair<ETimeCodeFormat, Iop_File::EEditRate> rates[] = {
        {eTimeCodeFormat_23976, Iop_File::eEditRate_23976}, {eTimeCodeFormat_24, Iop_File::eEditRate_24},
        {eTimeCodeFormat_25, Iop_File::eEditRate_25}, {eTimeCodeFormat_2997NonDrop, Iop_File::eEditRate_2997},
        {eTimeCodeFormat_30Drop, Iop_File::eEditRate_30}};
    for (const auto& [format, rate] : rates)
    {
        Iop_Settings::SetDstTimeCodeFormat(format);
        EXPECT_EQ(Iop_Settings::GetDstEditRate(), rate) << format;
    }
    const char data[] = {1, 2, 3};
    Iop_Settings::SetAudioFilePlugInData(data, 3);
    EXPECT_EQ(Iop_Settings::GetAudioFilePlugInData(), std::vector<char>({1, 2, 3}));
    // A stored disabled state wins over the mode's rule.
    EXPECT_TRUE(Iop_Settings::IsBinNameEnabled());
    Iop_Settings::SetBinNameEnabled(false);
    EXPECT_FALSE(Iop_Settings::IsBinNameEnabled());
}

TEST_F(Iop_SettingsTest, RowsComeInOrderWithTheirTexts)
{
    struct Row
    {
        Iop_Setting::EKind mKind;
        const char* mLabel;
        const char* mHelpStart;
        std::vector<std::string> mValues;
    };
    const Row want[] = {
        {Iop_Setting::eKind_Int, "", "Translation mode.", {"OMF to Mira Deck", "Mira Deck to OMF", "Audio File Conversion"}},
        {Iop_Setting::eKind_Int, "Consolidate handle length (ms)", "Specifies amount of additional audio media preserved when consolidating.", {}},
        {Iop_Setting::eKind_Bool, "Create placeholders for missing audio media", "When audio is skipped in the \"Where Is\" dialog, redirect clips to blank placeholder audio media.", {}},
        {Iop_Setting::eKind_Int, "", "Specifies how to handle audio media.", {"Refer to source audio media where possible", "Consolidate source audio media", "Copy source audio media"}},
        {Iop_Setting::eKind_Int, "", "Specifies format of converted media.", {"Refer to source media", "Create external OMFI media", "Create embedded OMFI media"}},
        {Iop_Setting::eKind_Bool, "Sample rate convert audio", "Sample rate convert audio media and adjust region definitions.", {}},
        {Iop_Setting::eKind_Int, "Source audio sample rate", "Specifies the effective speed of the source audio.", {"44100", "48000"}},
        {Iop_Setting::eKind_Int, "Destination audio sample rate", "Sample rate for destination media and composition.", {"44100", "48000"}},
        {Iop_Setting::eKind_Int, "", "Sample rate conversion quality.", {"Low (Fastest)", "Good", "Better", "Best", "Tweak Head (Slowest)"}},
        {Iop_Setting::eKind_Int, "Session file type", "Version of Mira Deck session to be created.", {"Mira Deck 4", "Mira Deck 5", "Mira Deck 5.1"}},
        {Iop_Setting::eKind_Int, "Audio bit-depth", "Audio bit depth of translated composition.", {"16", "24"}},
        {Iop_Setting::eKind_Int, "Audio file type", "OMFI audio file type.", {"AIFC", "BWF (.WAV)", "QSII"}},
        {Iop_Setting::eKind_Bool, "Pan Odd tracks left/Even tracks right", "Pan odd tracks left and even tracks right (where no pan automation is present).", {}},
        {Iop_Setting::eKind_List, "", "Source file properties.", {}},
        {Iop_Setting::eKind_Bool, "Display full paths", "Display full path in list.", {}},
        {Iop_Setting::eKind_List, "", "Audio files to convert.", {}},
        {Iop_Setting::eKind_Bool, "Translate selected tracks only", "Translate selected tracks only. Command-click selects discontiguous tracks.", {}},
        {Iop_Setting::eKind_List, "", "Tracks available for translation.", {}},
        {Iop_Setting::eKind_Bool, "Ignore rendered audio effects", "Use source audio media rather than rendered effects where effects are present.", {}},
        {Iop_Setting::eKind_Int, "", "Specifies the treatment of clip-based gain.", {"Ignore clip-based gain", "Apply clip-based gain destructively", "Convert clip-based gain to automation"}},
        {Iop_Setting::eKind_Int, "Timecode format", "Timecode format of translated composition.", {"23.976fps", "24fps", "25fps", "29.97fps NDF", "29.97fps DF", "30fps NDF", "30fps DF"}},
        {Iop_Setting::eKind_Bool, "Quantize edits to frame boundaries", "Must be checked unless target application supports sample accurate editing.", {}},
    };
    std::list<Iop_Setting*> rows;
    Iop_Settings::GetSettings(&rows);
    std::vector<std::unique_ptr<Iop_Setting>> owned(rows.begin(), rows.end());
    ASSERT_EQ(owned.size(), std::size(want));
    for (size_t i = 0; i < owned.size(); ++i)
    {
        SCOPED_TRACE(i);
        EXPECT_EQ(owned[i]->GetKind(), want[i].mKind);
        EXPECT_EQ(owned[i]->GetLabel(), want[i].mLabel);
        EXPECT_EQ(owned[i]->GetHelp().rfind(want[i].mHelpStart, 0), 0u) << owned[i]->GetHelp();
        if (auto* intRow = dynamic_cast<Iop_IntSetting*>(owned[i].get()))
        {
            EXPECT_EQ(intRow->GetValueLabels(), want[i].mValues);
            EXPECT_EQ(intRow->GetValueLabels().size(), intRow->GetValues().size());
        }
    }
    // The rows read and write the settings they stand for.
    auto* handle = dynamic_cast<Iop_IntSetting*>(owned[1].get());
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->GetValue(), 1000);
    handle->SetValue(250);
    EXPECT_EQ(Iop_Settings::GetConsolidateHandle(), 250);
    auto* timecode = dynamic_cast<Iop_IntSetting*>(owned[20].get());
    timecode->SetValue(timecode->GetValues()[2]);
    EXPECT_EQ(Iop_Settings::GetDstTimeCodeFormat(), eTimeCodeFormat_25);
    // Rows from "Sample rate convert" on wait for a source or the conversion mode.
    EXPECT_FALSE(owned[5]->IsEnabled());
    EXPECT_FALSE(owned[15]->IsEnabled());
    Iop_Settings::SetTranslationMode(Iop_Settings::eMode_AudioFileConversion);
    EXPECT_TRUE(owned[5]->IsEnabled());
    EXPECT_TRUE(owned[15]->IsEnabled());
    EXPECT_FALSE(owned[17]->IsEnabled());
    // The file list deletes its selected rows; a selection of the wrong size is refused.
    Iop_Settings::SetAudioFilesToConvert({"a.wav", "b.wav", "c.wav"});
    auto* files = dynamic_cast<Iop_ListSetting*>(owned[15].get());
    EXPECT_TRUE(Test_Asserts([&] { files->SetSelection({true}); },
                             "this->GetNumItems() == static_cast<int32_t>(iSelection.size())"));
    files->SetSelection({false, true, false});
    files->DeleteSelected();
    EXPECT_EQ(Iop_Settings::GetAudioFilesToConvert(), std::vector<std::string>({"a.wav", "c.wav"}));
    auto* sourceList = dynamic_cast<Iop_ListSetting*>(owned[13].get());
    EXPECT_EQ(sourceList->GetItems(), std::vector<std::string>({"No file is loaded"}));
    EXPECT_TRUE(Test_Asserts([&] { sourceList->DeleteSelected(); }, "mDeleteSelectedMethod"));
}
} // namespace
