// mirafile ls PATH... [--recursive] [--columns TAG,...] [--sort TAG,...] [--desc]
//                     [--overviews] [--json]: folders and files as the media browser sees them.
//
// Each PATH is a folder (its entries are listed; with --recursive those of every folder
// below, too) or a file (listed itself). Hidden entries (names starting with ".") are not
// listed. A row is the entry's path (relative to the folder given, or the file as given)
// and one value per column; the columns are tag names as `mirafile attrs` shows them (ASCII
// case ignored), by default AssetType, FileTotalSize, AudioFileSampleRate,
// AudioFileBitDepth, AudioFileNumChannels and AssetDurationMicroseconds. Rows sort by the
// --sort tags in turn (default FileName), entries without a value first; --desc reverses.
//
// --overviews computes the waveform overview of every audio file that has none yet in the
// overview cache of its volume, as background tasks of the browser's task manager, with a
// progress bar on a terminal; the column AudioOverview (points) is added. A second run finds
// them all and computes nothing. Ctrl-C cancels: the overviews computed so far stay in the
// cache, the status is 130, and a rerun computes the rest.
//
// Output: a header and a line per row for a person; with --json one document, a list of
// objects {"path", then one key per column: a number, a string, a list of strings, true or
// false, or null where the entry has no such value}. Dates are microseconds since 1970 UTC
// in JSON and UTC date and time in text; durations microseconds in JSON, seconds in text.
// A PATH that does not exist is reported on standard error as one line naming it; the
// others are still listed, and the status is then 1. An overview that cannot be computed is
// reported the same way.
#include <algorithm>
#include <iostream>
#include <sstream>

#include "BDM/Adapters/FS/BFSa_Bin.h"
#include "BDM/BDM_Attribute.h"
#include "BDM/BDM_AudioOverview.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Schema.h"
#include "BDM/BDM_Utils.h"
#include "Cmn_Exception.h"
#include "FF/Audio/FF_AudioFile.h"
#include "Sys_FileUtils.h"
#include "Tool.h"
#include "Tool_AttributeText.h"
#include "Tool_Progress.h"
#include "Tool_Task.h"

namespace
{
const char* const cUsage =
    "ls PATH... [--recursive] [--columns TAG,...] [--sort TAG,...] [--desc] [--overviews] [--json]";

struct Options
{
    std::vector<std::string> mPaths;
    bool mRecursive = false;
    std::vector<std::string> mColumns;
    std::vector<std::string> mSort;
    bool mDesc = false;
    bool mOverviews = false;
    bool mJson = false;
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("PATH", sOptions.mPaths, "folders and files");
    ioApp.add_flag("--recursive", sOptions.mRecursive, "list the folders below, too");
    ioApp.add_option("--columns", sOptions.mColumns, "tag names, as mirafile attrs shows them")
        ->delimiter(',');
    ioApp.add_option("--sort", sOptions.mSort, "tag names to sort by (default FileName)")
        ->delimiter(',');
    ioApp.add_flag("--desc", sOptions.mDesc, "reverse the order");
    ioApp.add_flag("--overviews", sOptions.mOverviews, "compute missing waveform overviews");
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document: a list of rows");
}

using Row = Tool_AssetRow;

std::vector<const BDM_AttributeTag*> ParseTags(const std::vector<std::string>& iNames,
                                               const char* iOption)
{
    std::vector<const BDM_AttributeTag*> tags;
    for (const std::string& name : iNames)
    {
        const BDM_AttributeTag* tagP = BDM_Utils::FindTag(name);
        if (!tagP)
            throw Tool_UsageError(std::string(iOption) + " names no attribute \"" + name +
                                  "\" (see mirafile attrs)");
        tags.push_back(tagP);
    }
    return tags;
}

void Collect(BDM_Asset& iFolder, const std::string& iPrefix, bool iRecursive,
             std::vector<Row>* ioRowsP)
{
    std::list<BDM_KeyHandle> keys;
    iFolder.GetChildren(&keys);
    BDM_Bin& bin = *iFolder.GetBin();
    for (const BDM_KeyHandle& key : keys)
    {
        BDM_AssetHandle asset = bin.GetAsset(key);
        if (!asset)
            continue; // went away while listed
        const std::string path = iPrefix + asset->GetName();
        ioRowsP->push_back({path, asset});
        if (iRecursive && asset->IsContainer())
            Collect(*asset, path + "/", true, ioRowsP);
    }
}

// Unset values first; then the attribute's own order.
bool RowLess(const Row& iLhs, const Row& iRhs, const std::vector<const BDM_AttributeTag*>& iTags)
{
    for (const BDM_AttributeTag* tagP : iTags)
    {
        BDM_Attribute* lhsP = iLhs.mAsset->GetAttribute(*tagP);
        BDM_Attribute* rhsP = iRhs.mAsset->GetAttribute(*tagP);
        if (!lhsP || !rhsP)
        {
            if (!lhsP != !rhsP)
                return !lhsP;
            continue;
        }
        if (lhsP->LessThan(*rhsP))
            return true;
        if (rhsP->LessThan(*lhsP))
            return false;
    }
    return BDM_Utils::NameLess(iLhs.mPath, iRhs.mPath);
}

// ---- overviews ---------------------------------------------------------------------------

bool ComputeOverviews(const std::vector<Row>& iRows)
{
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    BDM_Globals& globals = *BDM_Globals::Instance();
    std::vector<std::pair<std::string, BDM_LazyObjectHandle>> tasks;
    for (const Row& row : iRows)
    {
        if (row.mAsset->GetType() != BDM_eAssetType_Audio)
            continue;
        FF_AudioOverview::LockingRef overview;
        if (row.mAsset->GetAttributeValue(t.cAudioOverview, &overview))
            continue;
        BDM_LazyObjectHandle task(new BDM_CalculateAudioOverview(*row.mAsset));
        tasks.emplace_back(row.mPath, task);
    }
    if (tasks.empty())
        return true;
    Tool_StInterruptHandler interruptHandler;
    bool ok = true;
    std::vector<Tool_Task> list;
    for (const auto& [path, task] : tasks)
        list.push_back({task.Get(), "the overview could not be computed",
                        [label = path] { return label; },
                        [&ok, label = path](const std::string& iWhy)
                        {
                            std::cerr << "mirafile: " << Tool_OneLine(label + ": " + iWhy) << "\n";
                            ok = false;
                        }});
    // On Ctrl-C what was computed stays.
    Tool_RunTasks(list, [&globals] { globals.FlushOverviewCaches(); });
    globals.FlushOverviewCaches();
    return ok;
}

// ---- the command -------------------------------------------------------------------------

int Run()
{
    if (sOptions.mPaths.empty())
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    BDM_Globals& globals = *BDM_Globals::Instance();
    if (!BDM_Schema::IsInitialized())
        BDM_Schema::InitializeSchema();
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    std::vector<const BDM_AttributeTag*> columns =
        sOptions.mColumns.empty()
            ? std::vector<const BDM_AttributeTag*>{&t.cAssetType,
                                                   &t.cFileTotalSize,
                                                   &t.cAudioFileSampleRate,
                                                   &t.cAudioFileBitDepth,
                                                   &t.cAudioFileNumChannels,
                                                   &t.cAssetDurationMicroseconds}
            : ParseTags(sOptions.mColumns, "--columns");
    const std::vector<const BDM_AttributeTag*> sortTags =
        sOptions.mSort.empty() ? std::vector<const BDM_AttributeTag*>{&t.cFileName}
                               : ParseTags(sOptions.mSort, "--sort");
    if (sOptions.mOverviews &&
        std::find(columns.begin(), columns.end(), &t.cAudioOverview) == columns.end())
        columns.push_back(&t.cAudioOverview);

    BDM_Bin& bin = globals.FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles);
    bool failed = false;
    std::vector<Row> rows;
    for (const std::string& path : sOptions.mPaths)
    {
        const Sys_FileLoc loc(path);
        BDM_AssetHandle asset;
        if (Sys_FileUtils::Exists(loc))
            asset = bin.GetAsset(BFSa_Bin::MakeKey(loc));
        if (!asset)
        {
            std::cerr << "mirafile: " << Tool_OneLine(path + ": no such file or folder") << "\n";
            failed = true;
            continue;
        }
        std::vector<Row> listed;
        if (asset->IsContainer())
            Collect(*asset, path == "." ? "" : (path.back() == '/' ? path : path + "/"),
                    sOptions.mRecursive, &listed);
        else
            listed.push_back({path, asset});
        std::stable_sort(listed.begin(), listed.end(),
                         [&](const Row& a, const Row& b) { return RowLess(a, b, sortTags); });
        if (sOptions.mDesc)
            std::reverse(listed.begin(), listed.end());
        rows.insert(rows.end(), listed.begin(), listed.end());
    }
    if (sOptions.mOverviews && !ComputeOverviews(rows))
        failed = true;

    std::cout << Tool_AssetRowsText(rows, columns, sOptions.mJson);
    return failed ? 1 : 0;
}

Tool_Registrar sRegistrar{
    {"ls", cUsage, "list folders and files with the media browser's attributes", Declare, Run}};
} // namespace
