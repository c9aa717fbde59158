#include "Iop/Iop_Settings.h"

#include <map>

#include "Cmn_Assert.h"
#include "L10N_Utils.h"

namespace
{
std::string Text(int32_t iResourceID)
{
    return L10N_Utils::GetResourceString(iResourceID);
}

// Every value with its default; ResetToDefaults assigns a fresh one.
struct Values
{
    Iop_File::EExportFormat mExportFormat = Iop_File::eExportFormat_OMF2x;
    std::string mProjectName, mBinName, mComments, mTapeName, mExportLoc;
    bool mFilesMustBeOnHarbor = false;
    int32_t mTranslationMode = Iop_Settings::eMode_OMFToSession;
    bool mTranslateSelectedOnly = false;
    int32_t mSrcMediaMode = 2;
    bool mRedirectMissingMediaToProxy = true;
    int32_t mConsolidateHandle = 1000;
    int32_t mDstMediaMode = 1;
    bool mApplySRC = false;
    int32_t mSRCQuality = 3;
    int32_t mSrcAudioSampleRate = 44100;
    int32_t mDstAudioSampleRate = 44100;
    int32_t mClipBasedGainMode = 0;
    bool mIgnoreKeyframeGain = false;
    bool mIgnoreRenderedAudioFX = false;
    bool mPanOddLeftEvenRight = true;
    int32_t mDstAudioFileType = eAudioFileType_WAVE;
    int32_t mDstAudioBitDepth = 16;
    bool mQuantizeEditsToFrameBoundaries = false; // outside the OMF directions
    ETimeCodeFormat mDstTimeCodeFormat = eTimeCodeFormat_2997Drop;
    int32_t mDstSessionFileType = 2;
    bool mDisplayFullPaths = false;
    std::vector<char> mAudioFilePlugInData;
    Cmn_AliasedRefCountPtr<Iop_File> mSource;
    std::vector<std::string> mAudioFilesToConvert;
    std::vector<int32_t> mSelectedSrcTracks;
    std::map<std::string, bool> mEnabled; // the stored enabled states; absent is true
};

Values& V()
{
    static Values sValues;
    return sValues;
}

bool StoredEnabled(const char* iName)
{
    auto it = V().mEnabled.find(iName);
    return it == V().mEnabled.end() || it->second;
}

int32_t Mode()
{
    return V().mTranslationMode;
}

bool Converting()
{
    return Mode() == Iop_Settings::eMode_AudioFileConversion;
}

bool HaveSource()
{
    return bool(V().mSource);
}

// The rule of the mode and source for each value (beyond the stored state).
const std::map<std::string, std::function<bool()>>& Rules()
{
    static const std::map<std::string, std::function<bool()>> sRules = {
        {"ConsolidateHandle", [] { return V().mSrcMediaMode == 1; }},
        {"DstMediaMode", [] { return Mode() != Iop_Settings::eMode_OMFToSession; }},
        {"ApplySRC", [] { return HaveSource() || Converting(); }},
        {"SrcAudioSampleRate", [] { return (HaveSource() || Converting()) && V().mApplySRC; }},
        {"DstAudioSampleRate", [] { return (HaveSource() || Converting()) && V().mApplySRC; }},
        {"SRCQuality", [] { return (HaveSource() || Converting()) && V().mApplySRC; }},
        {"DstSessionFileType", [] { return Mode() == Iop_Settings::eMode_OMFToSession; }},
        {"DstAudioFileType", [] { return Mode() != Iop_Settings::eMode_OMFToSession; }},
        {"PanOddLeftEvenRight", [] { return Mode() == Iop_Settings::eMode_OMFToSession; }},
        {"DisplayFullPaths", [] { return Converting(); }},
        {"TranslateSelectedOnly", [] { return !Converting() && HaveSource(); }},
        {"IgnoreRenderedAudioFX", [] { return Mode() == Iop_Settings::eMode_OMFToSession; }},
        {"ClipBasedGainMode", [] { return Mode() == Iop_Settings::eMode_OMFToSession; }},
        {"DstTimeCodeFormat", [] { return Mode() == Iop_Settings::eMode_SessionToOMF; }},
        {"QuantizeEditsToFrameBoundaries", [] { return !Converting(); }},
    };
    return sRules;
}

bool Enabled(const char* iName)
{
    auto it = Rules().find(iName);
    return StoredEnabled(iName) && (it == Rules().end() || it->second());
}
} // namespace

#define IOP_ENABLED(Name)                                                                          \
    bool Iop_Settings::Is##Name##Enabled() { return Enabled(#Name); }                              \
    void Iop_Settings::Set##Name##Enabled(bool iEnabled) { V().mEnabled[#Name] = iEnabled; }
#define IOP_PLAIN(Type, Name)                                                                      \
    Type Iop_Settings::Get##Name() { return V().m##Name; }                                         \
    void Iop_Settings::Set##Name(Type iValue) { V().m##Name = iValue; }                            \
    IOP_ENABLED(Name)

IOP_PLAIN(Iop_File::EExportFormat, ExportFormat)
IOP_PLAIN(std::string, ProjectName)
IOP_PLAIN(std::string, BinName)
IOP_PLAIN(std::string, Comments)
IOP_PLAIN(std::string, TapeName)
IOP_PLAIN(std::string, ExportLoc)
IOP_PLAIN(bool, FilesMustBeOnHarbor)
IOP_PLAIN(int32_t, TranslationMode)
IOP_PLAIN(bool, TranslateSelectedOnly)
IOP_PLAIN(int32_t, SrcMediaMode)
IOP_PLAIN(bool, RedirectMissingMediaToProxy)
IOP_PLAIN(int32_t, ConsolidateHandle)
IOP_PLAIN(int32_t, DstMediaMode)
IOP_PLAIN(bool, ApplySRC)
IOP_PLAIN(int32_t, SRCQuality)
IOP_PLAIN(int32_t, SrcAudioSampleRate)
IOP_PLAIN(int32_t, ClipBasedGainMode)
IOP_PLAIN(bool, IgnoreKeyframeGain)
IOP_PLAIN(bool, IgnoreRenderedAudioFX)
IOP_PLAIN(bool, PanOddLeftEvenRight)
IOP_PLAIN(int32_t, DstAudioFileType)
IOP_PLAIN(int32_t, DstAudioBitDepth)
IOP_PLAIN(ETimeCodeFormat, DstTimeCodeFormat)
IOP_PLAIN(int32_t, DstSessionFileType)
IOP_PLAIN(bool, DisplayFullPaths)
IOP_ENABLED(DstAudioSampleRate)
IOP_ENABLED(QuantizeEditsToFrameBoundaries)

// Without sample-rate conversion the destination plays at the source's rate.
int32_t Iop_Settings::GetDstAudioSampleRate()
{
    return V().mApplySRC ? V().mDstAudioSampleRate : V().mSrcAudioSampleRate;
}

void Iop_Settings::SetDstAudioSampleRate(int32_t iValue)
{
    V().mDstAudioSampleRate = iValue;
}

// OMF carries edits at frame boundaries: both OMF directions quantize.
bool Iop_Settings::GetQuantizeEditsToFrameBoundaries()
{
    return Converting() ? V().mQuantizeEditsToFrameBoundaries : true;
}

void Iop_Settings::SetQuantizeEditsToFrameBoundaries(bool iValue)
{
    V().mQuantizeEditsToFrameBoundaries = iValue;
}

Iop_File::EEditRate Iop_Settings::GetDstEditRate()
{
    switch (V().mDstTimeCodeFormat)
    {
    case eTimeCodeFormat_23976:
        return Iop_File::eEditRate_23976;
    case eTimeCodeFormat_24:
        return Iop_File::eEditRate_24;
    case eTimeCodeFormat_25:
        return Iop_File::eEditRate_25;
    case eTimeCodeFormat_30NonDrop:
    case eTimeCodeFormat_30Drop:
        return Iop_File::eEditRate_30;
    default:
        return Iop_File::eEditRate_2997;
    }
}

const std::vector<char>& Iop_Settings::GetAudioFilePlugInData()
{
    return V().mAudioFilePlugInData;
}

void Iop_Settings::SetAudioFilePlugInData(const void* iData, int32_t iSize)
{
    const char* p = static_cast<const char*>(iData);
    V().mAudioFilePlugInData.assign(p, p + (p && iSize > 0 ? iSize : 0));
}

Cmn_AliasedRefCountPtr<Iop_File> Iop_Settings::GetSource()
{
    return V().mSource;
}

void Iop_Settings::SetSource(const Cmn_AliasedRefCountPtr<Iop_File>& iSource)
{
    V().mSource = iSource;
}

const std::vector<std::string>& Iop_Settings::GetAudioFilesToConvert()
{
    return V().mAudioFilesToConvert;
}

void Iop_Settings::SetAudioFilesToConvert(const std::vector<std::string>& iFiles)
{
    V().mAudioFilesToConvert = iFiles;
}

const std::vector<int32_t>& Iop_Settings::GetSelectedSrcTracks()
{
    return V().mSelectedSrcTracks;
}

void Iop_Settings::SetSelectedSrcTracks(const std::vector<int32_t>& iTracks)
{
    V().mSelectedSrcTracks = iTracks;
}

void Iop_Settings::ResetToDefaults()
{
    V() = Values();
}

namespace
{
std::string Insert(int32_t iResourceID, const std::string& iValue)
{
    return L10N_Utils::ReplaceInserts(Text(iResourceID), {iValue});
}

std::string FileTypeName(Iop_File::EFileType iType)
{
    switch (iType)
    {
    case Iop_File::eFileType_OMF1x:
        return "OMF 1.x";
    case Iop_File::eFileType_OMF2x:
        return "OMF 2.x";
    case Iop_File::eFileType_AAF:
        return "AAF";
    case Iop_File::eFileType_MXF:
        return "MXF";
    default:
        return Text(1933);
    }
}

std::string EditRateName(Iop_File::EEditRate iRate)
{
    static const char* const cNames[] = {nullptr, "23.976", "24", "25", "29.97", "30"};
    return iRate > 0 && iRate <= 5 ? cNames[iRate] : Text(1933);
}

std::string MediaTypeName(Iop_File::EAudioMediaType iType)
{
    switch (iType)
    {
    case Iop_File::eAudioMediaType_WAVE:
        return "WAVE";
    case Iop_File::eAudioMediaType_AIFC:
        return "AIFC";
    case Iop_File::eAudioMediaType_QSII:
        return "QSII";
    case Iop_File::eAudioMediaType_External:
        return "External";
    default:
        return Text(1933);
    }
}
} // namespace

std::vector<std::string> Iop_Settings::GetSourceProperties()
{
    Iop_File* source = V().mSource.Get();
    if (!source)
        return {Text(1926)};
    std::vector<std::string> lines;
    const Sys_FileLoc loc = source->GetFileLoc();
    lines.push_back(Insert(1925, V().mDisplayFullPaths ? loc.GetFullPath() : loc.GetName()));
    lines.push_back(Insert(1927, FileTypeName(source->GetFileType())));
    omfRational_t rate;
    omfUID_t mob;
    lines.push_back(Insert(1928, std::to_string(source->GetStartFrame(&rate, &mob))));
    lines.push_back(Insert(1929, EditRateName(source->GetEditRate())));
    const int32_t sampleRate = source->GetAudioSampleRate();
    lines.push_back(Insert(1930, sampleRate > 0 ? std::to_string(sampleRate) : Text(1933)));
    const int16_t depth = source->GetAudioBitDepth();
    lines.push_back(Insert(1931, depth > 0 ? std::to_string(depth) : Text(1933)));
    std::set<Iop_File::EAudioMediaType> types;
    source->GetAudioMediaTypes(&types);
    std::string typeText;
    for (Iop_File::EAudioMediaType type : types)
        typeText += (typeText.empty() ? "" : ", ") + MediaTypeName(type);
    if (source->ContainsEmbeddedAudioMedia())
        typeText += (typeText.empty() ? "" : ", ") + Text(1932);
    lines.push_back(Text(1987) + (typeText.empty() ? Text(1934) : typeText));
    return lines;
}

// ---- rows ----------------------------------------------------------------------------------
Iop_Setting::Iop_Setting(EKind iKind, std::string iLabel, std::string iHelp,
                         std::function<bool()> iIsEnabled)
    : mKind(iKind), mLabel(std::move(iLabel)), mHelp(std::move(iHelp)),
      mIsEnabled(std::move(iIsEnabled))
{
}

Iop_BoolSetting::Iop_BoolSetting(std::string iLabel, std::string iHelp,
                                 std::function<bool()> iIsEnabled, std::function<bool()> iGet,
                                 std::function<void(bool)> iSet)
    : Iop_Setting(eKind_Bool, std::move(iLabel), std::move(iHelp), std::move(iIsEnabled)),
      mGet(std::move(iGet)), mSet(std::move(iSet))
{
}

Iop_IntSetting::Iop_IntSetting(std::string iLabel, std::string iHelp,
                               std::function<bool()> iIsEnabled, std::function<int32_t()> iGet,
                               std::function<void(int32_t)> iSet,
                               std::vector<std::string> iValueLabels, std::vector<int32_t> iValues)
    : Iop_Setting(eKind_Int, std::move(iLabel), std::move(iHelp), std::move(iIsEnabled)),
      mGet(std::move(iGet)), mSet(std::move(iSet)), mValueLabels(std::move(iValueLabels)),
      mValues(std::move(iValues))
{
}

Iop_ListSetting::Iop_ListSetting(std::string iHelp, std::function<bool()> iIsEnabled,
                                 std::function<std::vector<std::string>()> iGetItems,
                                 std::function<void(const std::vector<bool>&)> iDeleteSelected)
    : Iop_Setting(eKind_List, std::string(), std::move(iHelp), std::move(iIsEnabled)),
      mGetItems(std::move(iGetItems)), mDeleteSelectedMethod(std::move(iDeleteSelected))
{
}

int32_t Iop_ListSetting::GetNumItems() const
{
    return static_cast<int32_t>(mGetItems().size());
}

void Iop_ListSetting::SetSelection(const std::vector<bool>& iSelection)
{
    CMN_ASSERT(this->GetNumItems() == static_cast<int32_t>(iSelection.size()));
    mSelection = iSelection;
}

void Iop_ListSetting::DeleteSelected()
{
    CMN_ASSERT(mDeleteSelectedMethod);
    mDeleteSelectedMethod(mSelection);
    mSelection.clear();
}

#define IOP_BOOL_ROW(Name, Label, Help)                                                            \
    new Iop_BoolSetting(Label, Help, [] { return Iop_Settings::Is##Name##Enabled(); },             \
                        [] { return Iop_Settings::Get##Name(); },                                  \
                        [](bool v) { Iop_Settings::Set##Name(v); })
#define IOP_INT_ROW(Name, Label, Help, ...)                                                        \
    new Iop_IntSetting(                                                                            \
        Label, Help, [] { return Iop_Settings::Is##Name##Enabled(); },                             \
        [] { return static_cast<int32_t>(Iop_Settings::Get##Name()); },                            \
        [](int32_t v) { Iop_Settings::Set##Name(static_cast<decltype(Iop_Settings::Get##Name())>(v)); }, \
        __VA_ARGS__)

void Iop_Settings::GetSettings(std::list<Iop_Setting*>* oSettings)
{
    const std::string none;
    oSettings->push_back(IOP_INT_ROW(TranslationMode, none, Text(1935),
                                     {Text(1936), Text(1937), Text(1938)}, {0, 1, 2}));
    oSettings->push_back(IOP_INT_ROW(ConsolidateHandle, Text(1940), Text(1939), {}, {}));
    oSettings->push_back(IOP_BOOL_ROW(RedirectMissingMediaToProxy, Text(1942), Text(1941)));
    oSettings->push_back(IOP_INT_ROW(SrcMediaMode, none, Text(1943),
                                     {Text(1944), Text(1945), Text(1946)}, {0, 1, 2}));
    oSettings->push_back(IOP_INT_ROW(DstMediaMode, none, Text(1947),
                                     {Text(1948), Text(1949), Text(1950)}, {0, 1, 2}));
    oSettings->push_back(IOP_BOOL_ROW(ApplySRC, Text(1952), Text(1951)));
    oSettings->push_back(IOP_INT_ROW(SrcAudioSampleRate, Text(1954), Text(1953),
                                     {"44100", "48000"}, {44100, 48000}));
    oSettings->push_back(IOP_INT_ROW(DstAudioSampleRate, Text(1956), Text(1955),
                                     {"44100", "48000"}, {44100, 48000}));
    oSettings->push_back(IOP_INT_ROW(SRCQuality, none, Text(1957),
                                     {Text(1958), Text(1959), Text(1960), Text(1961), Text(1962)},
                                     {1, 2, 3, 4, 5}));
    oSettings->push_back(IOP_INT_ROW(DstSessionFileType, Text(1964), Text(1963),
                                     {"Mira Deck 4", "Mira Deck 5", "Mira Deck 5.1"}, {0, 1, 2}));
    oSettings->push_back(IOP_INT_ROW(DstAudioBitDepth, Text(1966), Text(1965), {"16", "24"},
                                     {16, 24}));
    oSettings->push_back(IOP_INT_ROW(DstAudioFileType, Text(1968), Text(1967),
                                     {"AIFC", "BWF (.WAV)", "QSII"},
                                     {eAudioFileType_AIFC, eAudioFileType_WAVE, eAudioFileType_QSII}));
    oSettings->push_back(IOP_BOOL_ROW(PanOddLeftEvenRight, Text(1970), Text(1969)));
    oSettings->push_back(new Iop_ListSetting(
        Text(1971), [] { return !Converting() && StoredEnabled("SourceProperties"); },
        [] { return GetSourceProperties(); }));
    oSettings->push_back(IOP_BOOL_ROW(DisplayFullPaths, Text(1973), Text(1972)));
    oSettings->push_back(new Iop_ListSetting(
        Text(1988), [] { return Converting(); }, [] { return V().mAudioFilesToConvert; },
        [](const std::vector<bool>& iSelection) {
            std::vector<std::string> kept;
            for (size_t i = 0; i < V().mAudioFilesToConvert.size(); ++i)
                if (i >= iSelection.size() || !iSelection[i])
                    kept.push_back(V().mAudioFilesToConvert[i]);
            V().mAudioFilesToConvert = kept;
        }));
    oSettings->push_back(IOP_BOOL_ROW(TranslateSelectedOnly, Text(1975), Text(1974)));
    oSettings->push_back(new Iop_ListSetting(Text(1976), [] { return !Converting(); }, [] {
        std::vector<std::string> names;
        std::vector<Iop_File::TrackDescription> tracks;
        if (V().mSource)
            V().mSource->GetTrackDescriptions(&tracks);
        for (const Iop_File::TrackDescription& track : tracks)
            names.push_back(track.mName);
        return names;
    }));
    oSettings->push_back(IOP_BOOL_ROW(IgnoreRenderedAudioFX, Text(1978), Text(1977)));
    oSettings->push_back(IOP_INT_ROW(ClipBasedGainMode, none, Text(1979),
                                     {Text(1980), Text(1981), Text(1982)}, {0, 1, 2}));
    oSettings->push_back(IOP_INT_ROW(
        DstTimeCodeFormat, Text(1984), Text(1983),
        {"23.976fps", "24fps", "25fps", "29.97fps NDF", "29.97fps DF", "30fps NDF", "30fps DF"},
        {eTimeCodeFormat_23976, eTimeCodeFormat_24, eTimeCodeFormat_25, eTimeCodeFormat_2997NonDrop,
         eTimeCodeFormat_2997Drop, eTimeCodeFormat_30NonDrop, eTimeCodeFormat_30Drop}));
    oSettings->push_back(IOP_BOOL_ROW(QuantizeEditsToFrameBoundaries, Text(1986), Text(1985)));
}
