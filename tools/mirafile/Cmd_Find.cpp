// mirafile find AREA... [--where 'TAG OP VALUE']... [--any] [--terms TEXT] [--sort TAG]
//                       [--json]: files and folders whose attributes match, as the media
//                       browser's search finds them.
//
// Each AREA is a folder (searched with everything below it) or "@NAME", a catalog. A
// --where term compares the attribute TAG (a name as `mirafile attrs` shows it, ASCII case
// ignored) with VALUE by OP, one of = != < <= > >= and ~ (contains, on text; ASCII case
// ignored). An item that has no value for TAG never matches, whatever OP is. The terms must
// all hold, or with --any one of them. --terms takes a search box's text: words, or phrases
// in double quotes, each of which the name must contain; they all must hold, beside the
// --where terms.
//
// VALUE is read by the attribute's type: text as it stands (surrounding quotes taken off);
// whole numbers with an optional k, M or G (x 1,000, 1,000,000, 1,000,000,000: "48k",
// "44.1k"); durations (AssetDurationMicroseconds) with a unit us, ms, s, min or h ("1s",
// "250ms"; a bare number is microseconds, as ls --json shows them); dates (FileModDate,
// FileCreateDate, FileLastIndexedDate) as ISO dates in UTC, "2024-05-01", "2024-05-01T13:30"
// or "2024-05-01 13:30:15Z" (a bare number is microseconds since 1970); kinds by name
// ("Audio", "Folder"); formats by audio type name ("WAVE") or number; identifiers as 32
// hexadecimal digits.
//
// Output: rows sorted by --sort TAG (items without a value first), else by path; a row is
// the item's path (below a folder AREA: the AREA as given, then the path inside it) and the
// columns AssetType, each --where TAG and the --sort TAG. For a person a header and a line
// per row; with --json one document, a list of objects {"path", then one key per column}
// as ls --json gives them. Finding nothing is no error. Ctrl-C cancels with status 130.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <ctime>
#include <iostream>
#include <list>
#include <sstream>

#include "BDM/Adapters/FS/BFSa_Bin.h"
#include "BDM/BDM_FileFinder.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Schema.h"
#include "BDM/BDM_Utils.h"
#include "Cmn_Exception.h"
#include "FF/Audio/FF_AudioFile.h"
#include "Sys_FileUtils.h"
#include "Tool.h"
#include "Tool_AttributeText.h"
#include "Tool_Catalogs.h"
#include "Tool_Progress.h"
#include "Tool_Task.h"

namespace
{
const char* const cUsage =
    "find AREA... [--where 'TAG OP VALUE']... [--any] [--terms TEXT] [--sort TAG] [--json]";

struct Options
{
    std::vector<std::string> mAreas;
    std::vector<std::string> mWhere;
    bool mAny = false;
    std::string mTerms;
    std::string mSort;
    bool mJson = false;
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("AREA", sOptions.mAreas, "folders to search, or @NAME for a catalog");
    ioApp
        .add_option("--where", sOptions.mWhere,
                    "a term TAG OP VALUE, OP one of = != < <= > >= ~ (contains); repeatable")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    ioApp.add_flag("--any", sOptions.mAny, "match when any --where term holds");
    ioApp.add_option("--terms", sOptions.mTerms,
                     "search box text: words or \"quoted phrases\" the name contains");
    ioApp.add_option("--sort", sOptions.mSort, "a tag name to sort by (default: the path)");
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document: a list of rows");
}

// ---- areas -------------------------------------------------------------------------------

// What one AREA argument names: a bin and the root of the search in it.
BDM_QueryArea::Entry ResolveArea(const std::string& iArea)
{
    if (!iArea.empty() && iArea[0] == '@')
    {
        BDM_BinHandle catalog = Tool_OpenCatalog(iArea.substr(1), Cmn_Store::eOpenFlag_OpenForRead);
        BDM_KeyHandle root = catalog->GetRoot();
        return {catalog, root};
    }
    const Sys_FileLoc loc(iArea);
    if (iArea.empty() || !Sys_FileUtils::Exists(loc))
        throw Tool_UsageError(iArea + ": no such folder");
    if (!Sys_FileUtils::IsFolder(loc))
        throw Tool_UsageError(iArea + ": not a folder");
    BDM_Bin& bin =
        BDM_Globals::Instance()->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles);
    return {BDM_BinHandle(&bin), BFSa_Bin::MakeKey(loc, true)};
}

// ---- terms -------------------------------------------------------------------------------

using R = BDM_PredicateFactory;

struct Term
{
    const BDM_AttributeTag* mTag;
    R::ERelation mRelation;
    BDM_AttributeValueHandle mValue;
};

std::string Trimmed(const std::string& iText)
{
    size_t begin = 0, end = iText.size();
    while (begin < end && std::isspace(static_cast<unsigned char>(iText[begin])))
        ++begin;
    while (end > begin && std::isspace(static_cast<unsigned char>(iText[end - 1])))
        --end;
    return iText.substr(begin, end - begin);
}

bool EqualFolded(const std::string& iLhs, const std::string& iRhs)
{
    return iLhs.size() == iRhs.size() &&
           std::equal(iLhs.begin(), iLhs.end(), iRhs.begin(),
                      [](char a, char b)
                      {
                          return std::tolower(static_cast<unsigned char>(a)) ==
                                 std::tolower(static_cast<unsigned char>(b));
                      });
}

[[noreturn]] void BadValue(const std::string& iTagName, const std::string& iValue,
                           const std::string& iWanted)
{
    throw Tool_UsageError("--where " + iTagName + " needs " + iWanted + ", not \"" + iValue + "\"");
}

// A number with an optional multiplier suffix (a table of suffix and factor); whole.
int64_t ScaledNumber(const std::string& iTagName, const std::string& iText,
                     const std::vector<std::pair<std::string, double>>& iUnits,
                     const std::string& iWanted)
{
    size_t numberEnd = 0;
    double number = 0;
    try
    {
        number = std::stod(iText, &numberEnd);
    }
    catch (const std::exception&)
    {
        BadValue(iTagName, iText, iWanted);
    }
    const std::string unit = Trimmed(iText.substr(numberEnd));
    double factor = 0;
    for (const auto& [name, scale] : iUnits)
        if (unit == name)
            factor = scale;
    const double value = number * factor;
    if (factor == 0 || !std::isfinite(value) || std::fabs(value) > 9.2e18 ||
        std::fabs(value - std::round(value)) > 1e-6 * std::max(1.0, std::fabs(value)))
        BadValue(iTagName, iText, iWanted);
    return int64_t(std::llround(value));
}

int64_t IsoDateMicroseconds(const std::string& iTagName, const std::string& iText)
{
    const std::string wanted = "a date as YYYY-MM-DD[THH:MM[:SS]]";
    if (!iText.empty() && std::all_of(iText.begin(), iText.end(),
                                      [](char c) { return std::isdigit((unsigned char)c); }))
        return ScaledNumber(iTagName, iText, {{"", 1}}, wanted);
    std::tm utc{};
    int consumed = 0;
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    const char* text = iText.c_str();
    if (std::sscanf(text, "%4d-%2d-%2d%n", &year, &month, &day, &consumed) != 3)
        BadValue(iTagName, iText, wanted);
    text += consumed;
    if (*text == 'T' || *text == ' ')
    {
        int more = 0;
        if (std::sscanf(text + 1, "%2d:%2d%n", &hour, &minute, &more) != 2)
            BadValue(iTagName, iText, wanted);
        text += 1 + more;
        if (*text == ':')
        {
            if (std::sscanf(text + 1, "%2d%n", &second, &more) != 1)
                BadValue(iTagName, iText, wanted);
            text += 1 + more;
        }
    }
    if (*text == 'Z')
        ++text;
    if (*text || month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 ||
        second > 60)
        BadValue(iTagName, iText, wanted);
    utc.tm_year = year - 1900;
    utc.tm_mon = month - 1;
    utc.tm_mday = day;
    utc.tm_hour = hour;
    utc.tm_min = minute;
    utc.tm_sec = second;
    return int64_t(timegm(&utc)) * 1000000;
}

template <class T> BDM_AttributeValueHandle Value(const BDM_AttributeTag& iTag, const T& iValue)
{
    return BDM_AttributeValueHandle(new BDM_TypedAttributeValue<T>(&iTag, iValue));
}

template <class T>
T InRange(const std::string& iTagName, const std::string& iText, int64_t iValue,
          const std::string& iWanted)
{
    if (iValue < int64_t(std::numeric_limits<T>::min()) ||
        iValue > int64_t(std::numeric_limits<T>::max()))
        BadValue(iTagName, iText, iWanted);
    return T(iValue);
}

BDM_AttributeValueHandle ParseValue(const BDM_AttributeTag& iTag, const std::string& iText)
{
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    const std::string name = BDM_Utils::GetTagName(iTag);
    const std::type_info& type = iTag.GetValueType();
    const std::vector<std::pair<std::string, double>> plain = {
        {"", 1}, {"k", 1e3}, {"K", 1e3}, {"M", 1e6}, {"G", 1e9}};
    const std::string whole = "a whole number (k, M, G allowed)";
    if (type == typeid(std::string))
        return Value(iTag, iText);
    if (type == typeid(int64_t))
    {
        if (iTag == t.cFileModDate || iTag == t.cFileCreateDate || iTag == t.cFileLastIndexedDate)
            return Value(iTag, IsoDateMicroseconds(name, iText));
        if (iTag == t.cAssetDurationMicroseconds)
            return Value(
                iTag,
                ScaledNumber(
                    name, iText,
                    {{"", 1}, {"us", 1}, {"ms", 1e3}, {"s", 1e6}, {"min", 60e6}, {"h", 3600e6}},
                    "a duration such as 1s, 250ms or 2min"));
        return Value(iTag, ScaledNumber(name, iText, plain, whole));
    }
    if (type == typeid(int32_t))
        return Value(iTag,
                     InRange<int32_t>(name, iText, ScaledNumber(name, iText, plain, whole), whole));
    if (type == typeid(int16_t))
        return Value(iTag,
                     InRange<int16_t>(name, iText, ScaledNumber(name, iText, plain, whole), whole));
    if (type == typeid(BDM_EAssetType))
    {
        for (int32_t kind = 0; kind < BDM_cNumAssetTypes; ++kind)
            if (EqualFolded(iText, BDM_Utils::GetAssetTypeName(BDM_EAssetType(kind))))
                return Value(iTag, BDM_EAssetType(kind));
        BadValue(name, iText, "a kind such as Audio, Folder or File");
    }
    if (type == typeid(BDM_EFileFormat))
    {
        // The audio types by their short names and by the names ls shows.
        static const char* const cShortNames[] = {
            "Unknown", "Offline",   "QSII", "WAVE",          "AIFF", "AIFC", "OMF", "Real",
            "MP3",     "QuickTime", "WMF",  "SoundResource", "QSI",  "AVI",  "MPG", "MPEG",
            "DV",      "MXF",       "M4A"};
        static_assert(std::size(cShortNames) == eAudioFileType_M4A + 1);
        for (int32_t audio = 1; audio <= eAudioFileType_M4A; ++audio)
        {
            const std::string shown = FF_AudioFile::GetAudioFileTypeName(EAudioFileType(audio));
            if (EqualFolded(iText, cShortNames[audio]) ||
                (!shown.empty() && EqualFolded(iText, shown)))
                return Value(iTag, BDM_EFileFormat(BDM_eFileFormat_AudioBase + audio));
        }
        const std::string wanted = "a format such as WAVE or AIFF, or a number";
        return Value(iTag, BDM_EFileFormat(InRange<int32_t>(
                               name, iText, ScaledNumber(name, iText, {{"", 1}}, wanted), wanted)));
    }
    if (type == typeid(ETimeCodeFormat))
        return Value(
            iTag, ETimeCodeFormat(InRange<int32_t>(
                      name, iText, ScaledNumber(name, iText, {{"", 1}}, "a number"), "a number")));
    if (type == typeid(Sys_Umid))
    {
        if (iText.size() != 32 ||
            !std::all_of(iText.begin(), iText.end(),
                         [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); }))
            BadValue(name, iText, "32 hexadecimal digits");
        Sys_Umid id;
        for (int32_t word = 0; word < 4; ++word)
            id.SetWord(word, uint32_t(std::stoul(iText.substr(size_t(word) * 8, 8), nullptr, 16)));
        return Value(iTag, id);
    }
    throw Tool_UsageError("--where " + name + " cannot be searched (it holds " +
                          BDM_Utils::GetTagTypeName(iTag) + ")");
}

// "TAG OP VALUE" into a term.
Term ParseWhere(const std::string& iText)
{
    const std::string text = Trimmed(iText);
    size_t at = 0;
    while (at < text.size() &&
           (std::isalnum(static_cast<unsigned char>(text[at])) || text[at] == '_'))
        ++at;
    const std::string tagName = text.substr(0, at);
    while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])))
        ++at;
    static const std::pair<const char*, R::ERelation> cOperators[] = {
        {"!=", R::eRelation_NotEqual},
        {"<=", R::eRelation_LessOrEqual},
        {">=", R::eRelation_GreaterOrEqual},
        {"=", R::eRelation_Equal},
        {"<", R::eRelation_Less},
        {">", R::eRelation_Greater},
        {"~", R::eRelation_Contains}};
    const std::pair<const char*, R::ERelation>* opP = nullptr;
    for (const auto& op : cOperators)
        if (!opP && text.compare(at, std::string(op.first).size(), op.first) == 0)
            opP = &op;
    if (tagName.empty() || !opP)
        throw Tool_UsageError("--where needs TAG OP VALUE with OP one of = != < <= > >= ~, not \"" +
                              iText + "\"");
    const BDM_AttributeTag* tagP = BDM_Utils::FindTag(tagName);
    if (!tagP)
        throw Tool_UsageError("--where names no attribute \"" + tagName +
                              "\" (see mirafile attrs)");
    std::string value = Trimmed(text.substr(at + std::string(opP->first).size()));
    if (value.size() >= 2 && (value[0] == '"' || value[0] == '\'') && value.back() == value[0])
        value = value.substr(1, value.size() - 2);
    if (opP->second == R::eRelation_Contains && tagP->GetValueType() != typeid(std::string))
        throw Tool_UsageError("--where " + BDM_Utils::GetTagName(*tagP) +
                              " ~ needs a text attribute, not one that holds " +
                              BDM_Utils::GetTagTypeName(*tagP));
    return {tagP, opP->second, ParseValue(*tagP, value)};
}

// Builds the search from the terms by whichever factory the finder hands it.
class Generator : public BDM_FileFinder::PredicateGenerator
{
public:
    Generator(std::vector<Term> iWhere, std::list<std::string> iWords, bool iAny)
        : mWhere(std::move(iWhere)), mWords(std::move(iWords)), mAny(iAny)
    {
    }

    BDM_PredicateHandle GeneratePredicate(BDM_PredicateFactory& iFactory) override
    {
        const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
        BDM_PredicateHandle where;
        for (const Term& term : mWhere)
        {
            BDM_PredicateHandle one = iFactory.MakePredicate(*term.mValue, term.mRelation);
            where = !where ? one : mAny ? iFactory.Or(where, one) : iFactory.And(where, one);
        }
        for (const std::string& word : mWords)
        {
            BDM_PredicateHandle one = iFactory.MakePredicate(
                BDM_TypedAttributeValue<std::string>(&t.cFileName, word), R::eRelation_Contains);
            where = !where ? one : iFactory.And(where, one);
        }
        return where;
    }
    std::string GetDescription() const override { return mDescription; }
    void SetDescription(const std::string& iText) { mDescription = iText; }

private:
    std::vector<Term> mWhere;
    std::list<std::string> mWords;
    bool mAny;
    std::string mDescription;
};

// ---- rows --------------------------------------------------------------------------------

using Row = Tool_AssetRow;

// The path as the user named it: the first folder AREA that holds it, then the path below.
std::string ShownPath(const BDM_Link& iLink, BDM_Asset& iAsset,
                      const std::vector<std::pair<std::string, BDM_QueryArea::Entry>>& iAreas)
{
    if (iLink.mKey->GetType() != BDM_Key::eType_FS)
    {
        // A catalog's entry: its names below the catalog's root, after the area that named it.
        const std::string path = Tool_CatalogEntryPath(iAsset);
        for (const auto& [text, entry] : iAreas)
            if (entry.mBin == iLink.mBin)
                return text + "/" + path;
        return path;
    }
    const std::string& full = static_cast<const BFSa_Key&>(*iLink.mKey).GetFileLoc().GetFullPath();
    for (const auto& [text, entry] : iAreas)
    {
        if (entry.mRoot->GetType() != BDM_Key::eType_FS)
            continue;
        std::string root = static_cast<const BFSa_Key&>(*entry.mRoot).GetFileLoc().GetFullPath();
        if (!root.empty() && root.back() != '/')
            root += '/';
        if (full.compare(0, root.size(), root) == 0)
            return (text == "."          ? ""
                    : text.back() == '/' ? text
                                         : text + "/") +
                   full.substr(root.size());
    }
    return full;
}

bool RowLess(const Row& iLhs, const Row& iRhs, const BDM_AttributeTag* iSortP)
{
    if (iSortP)
    {
        BDM_Attribute* lhsP = iLhs.mAsset->GetAttribute(*iSortP);
        BDM_Attribute* rhsP = iRhs.mAsset->GetAttribute(*iSortP);
        if (!lhsP != !rhsP)
            return !lhsP;
        if (lhsP && lhsP->LessThan(*rhsP))
            return true;
        if (lhsP && rhsP->LessThan(*lhsP))
            return false;
    }
    return BDM_Utils::NameLess(iLhs.mPath, iRhs.mPath);
}

// ---- the command -------------------------------------------------------------------------

int Run()
{
    if (sOptions.mAreas.empty())
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    BDM_Globals::Instance(); // the queue
    if (!BDM_Schema::IsInitialized())
        BDM_Schema::InitializeSchema();
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();

    std::vector<Term> where;
    for (const std::string& text : sOptions.mWhere)
        where.push_back(ParseWhere(text));
    std::list<std::string> words;
    BDM_Utils::ExtractSearchTerms(sOptions.mTerms, &words);
    if (where.empty() && words.empty())
        throw Tool_UsageError("find needs a --where term or --terms text");
    const BDM_AttributeTag* sortP = nullptr;
    if (!sOptions.mSort.empty() && !(sortP = BDM_Utils::FindTag(sOptions.mSort)))
        throw Tool_UsageError("--sort names no attribute \"" + sOptions.mSort +
                              "\" (see mirafile attrs)");

    std::vector<std::pair<std::string, BDM_QueryArea::Entry>> areas;
    BDM_QueryAreaHandle area(new BDM_QueryArea);
    for (const std::string& text : sOptions.mAreas)
    {
        areas.emplace_back(text, ResolveArea(text));
        area->AddArea(*areas.back().second.mBin, areas.back().second.mRoot);
    }

    auto generator = std::make_unique<Generator>(where, words, sOptions.mAny);
    std::string description;
    for (const std::string& text : sOptions.mWhere)
        description += (description.empty() ? ""
                        : sOptions.mAny     ? " or "
                                            : " and ") +
                       Trimmed(text);
    if (!sOptions.mTerms.empty())
        description += (description.empty() ? "" : " and ") + Trimmed(sOptions.mTerms);
    generator->SetDescription(description);
    Cmn_PolymorphicHandle<BDM_FileFinder, Sys_ThreadSafeRefCountObject> finder(
        new BDM_FileFinder(area, std::move(generator)));

    Tool_StInterruptHandler interruptHandler;
    if (Tool_RunTask({finder.Get(), "the search failed"}, {}))
        finder->ThrowIfLoadFailed();

    std::vector<Row> rows;
    for (const BDM_Link& link : finder->GetResults())
    {
        BDM_AssetHandle asset = link.mBin->GetAsset(link.mKey);
        if (asset)
            rows.push_back({ShownPath(link, *asset, areas), asset});
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [&](const Row& a, const Row& b) { return RowLess(a, b, sortP); });

    std::vector<const BDM_AttributeTag*> columns{&t.cAssetType};
    for (const Term& term : where)
        columns.push_back(term.mTag);
    if (sortP)
        columns.push_back(sortP);
    std::vector<const BDM_AttributeTag*> distinct;
    for (const BDM_AttributeTag* tagP : columns)
        if (std::find(distinct.begin(), distinct.end(), tagP) == distinct.end())
            distinct.push_back(tagP);
    std::cout << Tool_AssetRowsText(rows, distinct, sOptions.mJson);
    return 0;
}

Tool_Registrar sRegistrar{
    {"find", cUsage, "find files and folders by their media browser attributes", Declare, Run}};
} // namespace
