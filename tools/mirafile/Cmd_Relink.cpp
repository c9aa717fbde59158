// mirafile relink CATALOG [--by-id] [--by-name] --search AREA... [--dry-run] [--json]
// mirafile relink candidates CATALOG ENTRY --search AREA... [--json]
//
// The first form finds the catalog's missing files again (entries whose file is no longer at
// its stored location) in the search areas and links each entry to the file found, which the
// catalog then keeps as the entry's location. An AREA is a folder (searched with everything
// below it) or "@NAME", another catalog (searched first, as databases are). A candidate must
// agree with the entry on everything the entry knows: sample count, format and modification
// date, and with --by-id the file's identifier, with --by-name its name; the first candidate
// that agrees, in the order of the search, wins. Files in a trash folder never do.
// Without --by-id or --by-name the search runs twice: by identifier (which finds a file that
// was moved and renamed), then by name for the entries still missing (which finds a file
// without an identifier that was moved). Output: one line per relinked entry, "ENTRY: FROM ->
// TO", and for what was left the browser's own line ("N file(s) could not be found. ...").
// --dry-run changes nothing. Ctrl-C leaves the catalog at its last commit (status 130).
//
// The second form lists, for one ENTRY (a path of names below the catalog's root), every
// file that could be it, in the order of the search: databases, then the folders by name,
// then the folders by identifier.
#include <filesystem>
#include <iostream>
#include <map>
#include <sstream>

#include "BDM/Adapters/FS/BFSa_Bin.h"
#include "BDM/Adapters/Neo/BDM_Catalog.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_RelinkCandidatesFinder.h"
#include "BDM/BDM_Relinker.h"
#include "BDM/BDM_Schema.h"
#include "Cmn_Exception.h"
#include "Sys_FileUtils.h"
#include "Tool.h"
#include "Tool_Catalogs.h"
#include "Tool_Progress.h"
#include "Tool_Task.h"

namespace
{
const char* const cUsage = "relink CATALOG [--by-id] [--by-name] --search AREA... [--dry-run] "
                           "[--json] | relink candidates CATALOG ENTRY --search AREA... [--json]";

struct Options
{
    std::vector<std::string> mArgs;
    std::vector<std::string> mSearch;
    bool mByID = false;
    bool mByName = false;
    bool mDryRun = false;
    bool mJson = false;
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("ARGS", sOptions.mArgs, "CATALOG, or candidates CATALOG ENTRY");
    ioApp
        .add_option("--search", sOptions.mSearch,
                    "folders to search (with what they hold), or @NAME for a catalog; repeatable")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    ioApp.add_flag("--by-id", sOptions.mByID, "match the file's identifier");
    ioApp.add_flag("--by-name", sOptions.mByName, "match the file's name");
    ioApp.add_flag("--dry-run", sOptions.mDryRun, "find and report, change nothing");
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document");
}

// The search areas, in the order given; catalogs open for reading.
BDM_QueryAreaHandle MakeArea()
{
    if (sOptions.mSearch.empty())
        throw Tool_UsageError("relink needs --search with a folder or @CATALOG to search");
    BDM_QueryAreaHandle area(new BDM_QueryArea);
    for (const std::string& text : sOptions.mSearch)
    {
        if (!text.empty() && text[0] == '@')
        {
            BDM_BinHandle catalog = Tool_OpenCatalog(text.substr(1), Cmn_Store::eOpenFlag_OpenForRead);
            area->AddArea(*catalog, catalog->GetRoot());
            continue;
        }
        // Absolute, so that the locations the catalog keeps are.
        std::error_code error;
        std::string path = std::filesystem::absolute(text, error).lexically_normal();
        while (path.size() > 1 && path.back() == '/')
            path.pop_back();
        const Sys_FileLoc loc(path);
        if (text.empty() || !Sys_FileUtils::Exists(loc))
            throw Tool_UsageError(text + ": no such folder");
        if (!Sys_FileUtils::IsFolder(loc))
            throw Tool_UsageError(text + ": not a folder");
        BDM_Bin& bin =
            BDM_Globals::Instance()->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles);
        area->AddArea(bin, BFSa_Bin::MakeKey(loc, true));
    }
    return area;
}

// Runs iObject to its end; Ctrl-C closes iBin (which drops what was not committed).
void RunToEnd(BDM_LazyObject& ioObject, BDM_Bin& ioBin, const std::string& iName)
{
    if (const std::optional<std::string> failure =
            Tool_RunTask({&ioObject, "the search failed"}, [&ioBin] { ioBin.Close(); }))
        throw std::runtime_error(iName + ": " + *failure);
}

int Relink()
{
    if (sOptions.mArgs.size() != 1)
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    const std::string& name = sOptions.mArgs[0];
    Tool_StInterruptHandler interruptHandler;
    BDM_BinHandle bin = Tool_OpenCatalog(name, sOptions.mDryRun ? Cmn_Store::eOpenFlag_OpenForRead
                                                                : Cmn_Store::eOpenFlag_OpenForWrite);
    std::vector<BDM_Link> missing;
    BDM_Relinker::CollectMissingFiles(*bin, bin->GetRoot(), &missing);

    // The passes: as asked, or by identifier and then by name.
    std::vector<std::pair<bool, bool>> passes; // (by name, by identifier)
    if (sOptions.mByName || sOptions.mByID)
        passes.emplace_back(sOptions.mByName, sOptions.mByID);
    else
        passes = {{false, true}, {true, false}};
    const std::string mode = sOptions.mByName && sOptions.mByID ? "by-id and by-name"
                             : sOptions.mByName                 ? "by-name"
                             : sOptions.mByID                   ? "by-id"
                                                                : "by-id, then by-name";

    Tool_Json relinked = Tool_Json::array();
    std::ostringstream text;
    std::vector<BDM_Relinker::Outcome> left;
    std::string report;
    std::vector<BDM_Link> toFind = missing;
    // Each entry's path as it is now, before an entry takes the new file's name.
    std::map<const BDM_Key*, std::string> paths;
    for (const BDM_Link& link : missing)
        if (BDM_AssetHandle asset = link.mBin->GetAsset(link.mKey))
            paths[link.mKey.Get()] = Tool_CatalogEntryPath(*asset);
    for (const auto& [byName, byID] : passes)
    {
        if (toFind.empty())
            break;
        Cmn_PolymorphicHandle<BDM_Relinker, Sys_ThreadSafeRefCountObject> relinker(
            new BDM_Relinker(toFind, MakeArea(), byName, byID));
        relinker->SetDryRun(sOptions.mDryRun);
        RunToEnd(*relinker, *bin, "relink");
        toFind.clear();
        left.clear();
        for (const BDM_Relinker::Outcome& outcome : relinker->GetOutcomes())
        {
            if (outcome.mTo.IsEmpty())
            {
                toFind.push_back(outcome.mEntry);
                left.push_back(outcome);
                continue;
            }
            const std::string& entry = paths[outcome.mEntry.mKey.Get()];
            relinked.push_back(Tool_Json{{"entry", entry},
                                         {"from", outcome.mFrom.GetFullPath()},
                                         {"to", outcome.mTo.GetFullPath()}});
            text << entry << ": " << outcome.mFrom.GetFullPath() << " -> "
                 << outcome.mTo.GetFullPath() << "\n";
        }
        report = relinker->GetReport();
    }
    bin->Close();

    if (sOptions.mJson)
    {
        Tool_Json notFound = Tool_Json::array();
        for (const BDM_Relinker::Outcome& outcome : left)
        {
            notFound.push_back(Tool_Json{{"entry", paths[outcome.mEntry.mKey.Get()]},
                                         {"from", outcome.mFrom.GetFullPath()}});
        }
        std::cout << Tool_JsonText(Tool_Json{{"catalog", name},
                                             {"mode", mode},
                                             {"dry_run", sOptions.mDryRun},
                                             {"missing", int64_t(missing.size())},
                                             {"relinked", relinked},
                                             {"not_found", notFound},
                                             {"message", report}})
                  << "\n";
        return 0;
    }
    if (missing.empty())
        text << "no missing files in " << name << "\n";
    if (!report.empty())
        text << report << "\n";
    if (sOptions.mDryRun)
        text << "dry run: " << name << " was not changed\n";
    std::cout << text.str();
    return 0;
}

int Candidates()
{
    if (sOptions.mArgs.size() != 3)
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    const std::string& name = sOptions.mArgs[1];
    Tool_StInterruptHandler interruptHandler;
    BDM_BinHandle bin = Tool_OpenCatalog(name, Cmn_Store::eOpenFlag_OpenForRead);
    BDM_AssetHandle asset =
        bin->GetAsset(Tool_FindCatalogEntry(static_cast<BDM_Catalog&>(*bin), sOptions.mArgs[2]));
    if (!asset || asset->IsContainer())
        throw Tool_UsageError(sOptions.mArgs[2] + ": not a file entry");
    Cmn_PolymorphicHandle<BDM_RelinkCandidatesFinder, Sys_ThreadSafeRefCountObject> finder(
        new BDM_RelinkCandidatesFinder(asset, MakeArea()));
    RunToEnd(*finder, *bin, "relink candidates");
    static const char* const cFoundBy[] = {"catalog", "name", "identifier"};
    Tool_Json list = Tool_Json::array();
    std::ostringstream text;
    for (const BDM_RelinkCandidatesFinder::Candidate& candidate : finder->GetCandidates())
    {
        list.push_back(Tool_Json{{"path", candidate.mFile.GetFullPath()},
                                 {"found_by", cFoundBy[candidate.mStage]}});
        text << candidate.mFile.GetFullPath() << "  (" << cFoundBy[candidate.mStage] << ")\n";
    }
    bin->Close();
    std::cout << (sOptions.mJson ? Tool_JsonText(list) + "\n" : text.str());
    return 0;
}

int Run()
{
    if (sOptions.mSearch.empty())
        throw Tool_UsageError("relink needs --search with a folder or @CATALOG to search");
    if (!BDM_Schema::IsInitialized())
        BDM_Schema::InitializeSchema();
    BDM_Globals::Instance();
    if (!sOptions.mArgs.empty() && sOptions.mArgs[0] == "candidates" && sOptions.mArgs.size() > 1)
        return Candidates();
    return Relink();
}

Tool_Registrar sRegistrar{{"relink", cUsage,
                           "find a catalog's missing files again and relink them", Declare, Run}};
} // namespace
