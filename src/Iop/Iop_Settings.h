// The process-wide settings of one translation, and the rows of the settings dialog built
// from them.
//
// Every value is a static with its default, Get and Set; most have an enabled state
// (Is...Enabled is the stored state and the rule of the current mode and source together).
// Written on the main thread only; unguarded. ResetToDefaults restores every default.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "Cmn_RefCountObject.h"
#include "Iop/Iop_File.h"
#include "Time/Time_SMPTE.h"

// One row of the dialog: label, help text, kind, enabled state, and the pair of functions
// that read the value from Iop_Settings and write it back.
class Iop_Setting
{
public:
    enum EKind : int32_t
    {
        eKind_Bool = 0,
        eKind_Int = 1,
        eKind_List = 2
    };

    Iop_Setting(EKind iKind, std::string iLabel, std::string iHelp,
                std::function<bool()> iIsEnabled);
    virtual ~Iop_Setting() = default;
    EKind GetKind() const { return mKind; }
    const std::string& GetLabel() const { return mLabel; }
    const std::string& GetHelp() const { return mHelp; }
    bool IsEnabled() const { return mIsEnabled ? mIsEnabled() : true; }

private:
    EKind mKind;
    std::string mLabel;
    std::string mHelp;
    std::function<bool()> mIsEnabled;
};

class Iop_BoolSetting : public Iop_Setting
{
public:
    Iop_BoolSetting(std::string iLabel, std::string iHelp, std::function<bool()> iIsEnabled,
                    std::function<bool()> iGet, std::function<void(bool)> iSet);
    bool GetValue() const { return mGet(); }
    void SetValue(bool iValue) const { mSet(iValue); }

private:
    std::function<bool()> mGet;
    std::function<void(bool)> mSet;
};

// A number, chosen from value labels with their integer values when there are any.
class Iop_IntSetting : public Iop_Setting
{
public:
    Iop_IntSetting(std::string iLabel, std::string iHelp, std::function<bool()> iIsEnabled,
                   std::function<int32_t()> iGet, std::function<void(int32_t)> iSet,
                   std::vector<std::string> iValueLabels = {}, std::vector<int32_t> iValues = {});
    int32_t GetValue() const { return mGet(); }
    void SetValue(int32_t iValue) const { mSet(iValue); }
    const std::vector<std::string>& GetValueLabels() const { return mValueLabels; }
    const std::vector<int32_t>& GetValues() const { return mValues; }

private:
    std::function<int32_t()> mGet;
    std::function<void(int32_t)> mSet;
    std::vector<std::string> mValueLabels;
    std::vector<int32_t> mValues;
};

// A list of rows with a selection (one flag per row).
class Iop_ListSetting : public Iop_Setting
{
public:
    Iop_ListSetting(std::string iHelp, std::function<bool()> iIsEnabled,
                    std::function<std::vector<std::string>()> iGetItems,
                    std::function<void(const std::vector<bool>&)> iDeleteSelected = {});
    int32_t GetNumItems() const;
    std::vector<std::string> GetItems() const { return mGetItems(); }
    // Asserts "this->GetNumItems() == iSelection.size()".
    void SetSelection(const std::vector<bool>& iSelection);
    const std::vector<bool>& GetSelection() const { return mSelection; }
    // Asserts "mDeleteSelectedMethod".
    void DeleteSelected();

private:
    std::function<std::vector<std::string>()> mGetItems;
    std::function<void(const std::vector<bool>&)> mDeleteSelectedMethod;
    std::vector<bool> mSelection;
};

class Iop_Settings
{
public:
    // Translation modes.
    enum : int32_t
    {
        eMode_OMFToSession = 0,
        eMode_SessionToOMF = 1,
        eMode_AudioFileConversion = 2
    };

#define IOP_SETTING(Type, Name)                                                                    \
    static Type Get##Name();                                                                       \
    static void Set##Name(Type iValue);                                                            \
    static bool Is##Name##Enabled();                                                               \
    static void Set##Name##Enabled(bool iEnabled);

    IOP_SETTING(Iop_File::EExportFormat, ExportFormat)
    IOP_SETTING(std::string, ProjectName)
    IOP_SETTING(std::string, BinName)
    IOP_SETTING(std::string, Comments)
    IOP_SETTING(std::string, TapeName)
    IOP_SETTING(std::string, ExportLoc)
    IOP_SETTING(bool, FilesMustBeOnHarbor)
    IOP_SETTING(int32_t, TranslationMode)
    IOP_SETTING(bool, TranslateSelectedOnly)
    IOP_SETTING(int32_t, SrcMediaMode)
    IOP_SETTING(bool, RedirectMissingMediaToProxy)
    IOP_SETTING(int32_t, ConsolidateHandle)
    IOP_SETTING(int32_t, DstMediaMode)
    IOP_SETTING(bool, ApplySRC)
    IOP_SETTING(int32_t, SRCQuality)
    IOP_SETTING(int32_t, SrcAudioSampleRate)
    IOP_SETTING(int32_t, DstAudioSampleRate)
    IOP_SETTING(int32_t, ClipBasedGainMode)
    IOP_SETTING(bool, IgnoreKeyframeGain)
    IOP_SETTING(bool, IgnoreRenderedAudioFX)
    IOP_SETTING(bool, PanOddLeftEvenRight)
    IOP_SETTING(int32_t, DstAudioFileType)
    IOP_SETTING(int32_t, DstAudioBitDepth)
    IOP_SETTING(bool, QuantizeEditsToFrameBoundaries)
    IOP_SETTING(ETimeCodeFormat, DstTimeCodeFormat)
    IOP_SETTING(int32_t, DstSessionFileType)
    IOP_SETTING(bool, DisplayFullPaths)
#undef IOP_SETTING

    // Derived from the destination timecode format; no Set.
    static Iop_File::EEditRate GetDstEditRate();

    static const std::vector<char>& GetAudioFilePlugInData();
    static void SetAudioFilePlugInData(const void* iData, int32_t iSize);

    static Cmn_AliasedRefCountPtr<Iop_File> GetSource();
    static void SetSource(const Cmn_AliasedRefCountPtr<Iop_File>& iSource);

    static const std::vector<std::string>& GetAudioFilesToConvert();
    static void SetAudioFilesToConvert(const std::vector<std::string>& iFiles);
    static const std::vector<int32_t>& GetSelectedSrcTracks();
    static void SetSelectedSrcTracks(const std::vector<int32_t>& iTracks);

    // The lines of the source-properties list ("No file is loaded" without a source).
    static std::vector<std::string> GetSourceProperties();

    // Appends the dialog rows in their fixed order; the caller owns them.
    static void GetSettings(std::list<Iop_Setting*>* oSettings);

    static void ResetToDefaults();
};
