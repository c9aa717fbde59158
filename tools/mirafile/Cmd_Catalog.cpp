// mirafile catalog ACTION ...: catalogs, the databases that index files and folders.
//
//   catalog create NAME                  a new, empty catalog
//   catalog list                         the catalogs, by name
//   catalog info NAME                    versions, dates, number of entries, integrity
//   catalog add NAME PATH...             indexes files and folders (with their contents)
//   catalog show NAME [ENTRY]            every entry's path; or one entry's attributes
//   catalog set NAME ENTRY --name TEXT | --comment TEXT
//   catalog rm NAME ENTRY                removes an entry (a folder with what it holds)
//   catalog copy NAME DEST [ENTRY...]    copies the entries' files into the folder DEST
//                                        (every entry when none is named) and relinks
//                                        the entries to the copies
//   catalog delete NAME                  deletes the catalog file
//
// Catalogs live in $MIRAFILE_CATALOG_DIR, else in the "Catalogs" folder of the library's data
// folder. ENTRY is a path of names below the catalog's root ("Drums/kick.wav"). add runs as
// background work of the browser with a progress bar, commits as it goes and at the end;
// Ctrl-C keeps what was committed and exits with status 130; adding the same files again
// updates their entries. copy prints "ENTRY: FROM -> TO" per file copied (--json: a list of
// {"entry", "from", "to"}), names a copy after its file with a number added when the name is
// taken in DEST, reports a file that is missing on standard error and goes on (status 1);
// Ctrl-C keeps the entries copied so far relinked and exits with status 130. --json prints
// one JSON document where the command prints data.
#include <chrono>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>

#include "BDM/Adapters/Neo/BDM_Catalog.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Schema.h"
#include "BDM/BDM_Utils.h"
#include "Cmn_Exception.h"
#include "Sys_FileUtils.h"
#include "Tool.h"
#include "Tool_Catalogs.h"
#include "Tool_Progress.h"
#include "Tool_Task.h"

namespace
{
const char* const cUsage = "catalog create NAME | list | info NAME | add NAME PATH... | "
                           "show NAME [ENTRY] | set NAME ENTRY --name TEXT | --comment TEXT | "
                           "rm NAME ENTRY | copy NAME DEST [ENTRY...] | delete NAME  [--json]";

struct Options
{
    std::vector<std::string> mArgs;
    std::string mName;
    std::string mComment;
    bool mJson = false;
    CLI::Option* mNameOption = nullptr;
    CLI::Option* mCommentOption = nullptr;
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("args", sOptions.mArgs, "action and its arguments");
    sOptions.mNameOption = ioApp.add_option("--name", sOptions.mName, "new name of the entry (set)");
    sOptions.mCommentOption =
        ioApp.add_option("--comment", sOptions.mComment, "new comment of the entry (set)");
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document");
}

const BDM_AttributeTags& Tags()
{
    return *BDM_AttributeTags::Instance();
}

std::string IsoTime(int64_t iMicroseconds)
{
    const std::time_t seconds = std::time_t(iMicroseconds / 1000000);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

BDM_Catalog& AsCatalog(const BDM_BinHandle& iBin)
{
    return static_cast<BDM_Catalog&>(*iBin);
}

// A stored value as text and as JSON.
std::pair<std::string, Tool_Json> ValueOf(const BDM_AttributeTag& iTag, const BDM_AttributeValue& iValue)
{
    if (auto* p = dynamic_cast<const BDM_TypedAttributeValue<std::string>*>(&iValue))
        return {p->GetValue(), p->GetValue()};
    if (auto* p = dynamic_cast<const BDM_TypedAttributeValue<BDM_StringList>*>(&iValue))
    {
        std::string path;
        for (const std::string& component : p->GetValue())
            path += (path.empty() || path.back() == '/' ? "" : "/") + component;
        return {path, path};
    }
    if (auto* p = dynamic_cast<const BDM_TypedAttributeValue<Sys_Umid>*>(&iValue))
        return {p->GetValue().AsString(), p->GetValue().AsString()};
    if (auto* p = dynamic_cast<const BDM_TypedAttributeValue<BDM_EAssetType>*>(&iValue))
        return {BDM_Utils::GetAssetTypeName(p->GetValue()), BDM_Utils::GetAssetTypeName(p->GetValue())};
    if (auto* p = dynamic_cast<const BDM_TypedAttributeValue<bool>*>(&iValue))
        return {p->GetValue() ? "yes" : "no", p->GetValue()};
    int64_t number = 0;
    if (auto* p = dynamic_cast<const BDM_TypedAttributeValue<int64_t>*>(&iValue))
        number = p->GetValue();
    else if (auto* p = dynamic_cast<const BDM_TypedAttributeValue<int32_t>*>(&iValue))
        number = p->GetValue();
    else if (auto* p = dynamic_cast<const BDM_TypedAttributeValue<int16_t>*>(&iValue))
        number = p->GetValue();
    else if (auto* p = dynamic_cast<const BDM_TypedAttributeValue<BDM_EFileFormat>*>(&iValue))
        number = p->GetValue();
    else if (auto* p = dynamic_cast<const BDM_TypedAttributeValue<ETimeCodeFormat>*>(&iValue))
        number = p->GetValue();
    return {std::to_string(number), number};
}

// ---- actions -----------------------------------------------------------------------------

void Expect(size_t iMin, size_t iMax)
{
    if (sOptions.mArgs.size() < iMin || sOptions.mArgs.size() > iMax)
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
}

int Create()
{
    Expect(2, 2);
    try
    {
        BDM_Catalog::Create(sOptions.mArgs[1]);
    }
    catch (const std::exception& e)
    {
        throw Tool_UsageError(sOptions.mArgs[1] + ": " + e.what());
    }
    if (!sOptions.mJson)
        std::cout << "created catalog " << sOptions.mArgs[1] << "\n";
    else
        std::cout << Tool_JsonText(Tool_Json{{"name", sOptions.mArgs[1]},
                                             {"file", BDM_Catalog::GetLocation(sOptions.mArgs[1]).GetFullPath()}})
                  << "\n";
    return 0;
}

int List()
{
    Expect(1, 1);
    Tool_Json list = Tool_Json::array();
    std::ostringstream out;
    for (const std::string& name : BDM_Catalog::ListNames())
    {
        list.push_back(Tool_Json{{"name", name}, {"file", BDM_Catalog::GetLocation(name).GetFullPath()}});
        out << name << "\n";
    }
    std::cout << (sOptions.mJson ? Tool_JsonText(list, ",\n ") + "\n" : out.str());
    return 0;
}

int Info()
{
    Expect(2, 2);
    BDM_BinHandle bin = Tool_OpenCatalog(sOptions.mArgs[1], Cmn_Store::eOpenFlag_OpenForRead);
    BDM_Catalog& catalog = AsCatalog(bin);
    const BNeoa_DatabaseInfo& info = catalog.GetInfoObject();
    Tool_Json json;
    json["name"] = sOptions.mArgs[1];
    json["file"] = catalog.GetURL().GetFullPath();
    json["version"] = std::to_string(info.mDatabaseMajorVersion) + "." +
                      std::to_string(info.mDatabaseMinorVersion);
    json["created"] = IsoTime(info.mDatabaseCreateDate);
    json["created_by"] = info.mCreateApplicationVersionString;
    json["last_commit"] = IsoTime(info.mDatabaseLastCommitDate);
    json["last_commit_by"] = info.mLastCommitApplicationVersionString;
    json["entries"] = catalog.CountAssets() - 1; // not the root
    json["integrity"] = catalog.CheckIntegrity();
    if (sOptions.mJson)
        std::cout << Tool_JsonText(json) << "\n";
    else
    {
        const char* const titles[] = {"Name", "File", "Version", "Created", "Created by",
                                      "Last commit", "Last commit by", "Entries", "Integrity"};
        size_t i = 0;
        for (const auto& [key, value] : json.items())
            std::cout << std::left << std::setw(16) << (std::string(titles[i++]) + ":")
                      << (value.is_string() ? value.get<std::string>() : value.dump()) << "\n";
    }
    return 0;
}

int Add()
{
    if (sOptions.mArgs.size() < 3)
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    std::vector<Sys_FileLoc> locations;
    for (size_t i = 2; i < sOptions.mArgs.size(); ++i)
    {
        std::error_code error;
        const std::string path = std::filesystem::absolute(sOptions.mArgs[i], error).lexically_normal();
        std::string trimmed = path;
        while (trimmed.size() > 1 && trimmed.back() == '/')
            trimmed.pop_back();
        if (!Sys_FileUtils::Exists(Sys_FileLoc(trimmed)))
            throw Tool_UsageError(sOptions.mArgs[i] + ": no such file or folder");
        locations.emplace_back(trimmed);
    }
    BDM_Globals::Instance(); // the queue
    // Before the catalog opens: an interrupt from then on stops the add at a commit.
    Tool_StInterruptHandler interruptHandler;
    BDM_BinHandle bin = Tool_OpenCatalog(sOptions.mArgs[1], Cmn_Store::eOpenFlag_OpenForWrite);
    BDM_LazyObjectHandle adder(new BDM_CatalogAdder(AsCatalog(bin), locations));
    auto* adderP = static_cast<BDM_CatalogAdder*>(adder.Get());
    const std::optional<std::string> failure =
        Tool_RunTask({adderP, "the files could not be added",
                      [adderP] { return adderP->GetCurrentLocation().GetName(); }},
                     [&bin] { bin->Close(); }); // what was not committed goes
    if (failure)
        throw Tool_UsageError(sOptions.mArgs[1] + ": " + *failure);
    const int64_t added = adderP->GetNumAdded();
    bin->Close();
    if (sOptions.mJson)
        std::cout << Tool_JsonText(Tool_Json{{"name", sOptions.mArgs[1]}, {"added", added}}) << "\n";
    else
        std::cout << "added " << added << " entries to " << sOptions.mArgs[1] << "\n";
    return 0;
}

void ListTree(BDM_Catalog& ioCatalog, const BDM_KeyHandle& iKey, const std::string& iPrefix,
              Tool_Json* ioListP, std::ostringstream* ioOutP)
{
    std::list<BDM_KeyHandle> children;
    ioCatalog.ListChildren(static_cast<const BNeoa_Key&>(*iKey).GetID(), &children);
    for (const BDM_KeyHandle& child : children)
    {
        BDM_AssetHandle asset = ioCatalog.GetAsset(child);
        if (!asset)
            continue;
        const std::string path = iPrefix + asset->GetName();
        const std::string type = BDM_Utils::GetAssetTypeName(asset->GetType());
        ioListP->push_back(Tool_Json{{"path", path}, {"type", type}});
        *ioOutP << path << (asset->IsContainer() ? "/" : "") << "\n";
        if (asset->IsContainer())
            ListTree(ioCatalog, child, path + "/", ioListP, ioOutP);
    }
}

int Show()
{
    Expect(2, 3);
    BDM_BinHandle bin = Tool_OpenCatalog(sOptions.mArgs[1], Cmn_Store::eOpenFlag_OpenForRead);
    BDM_Catalog& catalog = AsCatalog(bin);
    std::ostringstream out;
    if (sOptions.mArgs.size() == 2)
    {
        Tool_Json list = Tool_Json::array();
        ListTree(catalog, catalog.GetRoot(), "", &list, &out);
        std::cout << (sOptions.mJson ? Tool_JsonText(list, ",\n ") + "\n" : out.str());
        return 0;
    }
    BDM_AssetHandle asset = catalog.GetAsset(Tool_FindCatalogEntry(catalog, sOptions.mArgs[2]));
    Tool_Json json;
    json["path"] = sOptions.mArgs[2];
    for (const auto& entry : BNeoa_AttributeMapper::GetEntries())
    {
        BDM_Attribute* attributeP = asset->GetAttribute(*entry.mTag);
        BDM_AttributeValueHandle value = attributeP ? attributeP->GetValue() : BDM_AttributeValueHandle();
        if (!value || value->IsEmpty())
            continue;
        const auto [text, jsonValue] = ValueOf(*entry.mTag, *value);
        const std::string name = BDM_Utils::GetTagName(*entry.mTag);
        json[name] = jsonValue;
        out << std::left << std::setw(30) << (name + ":") << text << "\n";
    }
    std::cout << (sOptions.mJson ? Tool_JsonText(json) + "\n" : out.str());
    return 0;
}

int Set()
{
    Expect(3, 3);
    const bool byName = sOptions.mNameOption->count() > 0;
    if (byName == (sOptions.mCommentOption->count() > 0))
        throw Tool_UsageError("catalog set needs one of --name TEXT or --comment TEXT");
    BDM_BinHandle bin = Tool_OpenCatalog(sOptions.mArgs[1], Cmn_Store::eOpenFlag_OpenForWrite);
    BDM_Catalog& catalog = AsCatalog(bin);
    const BDM_KeyHandle key = Tool_FindCatalogEntry(catalog, sOptions.mArgs[2]);
    if (static_cast<const BNeoa_Key&>(*key).GetID() ==
        static_cast<const BNeoa_Key&>(*catalog.GetRoot()).GetID())
        throw Tool_UsageError(sOptions.mArgs[2] + ": the catalog's root cannot be changed");
    BDM_AssetHandle asset = catalog.GetAsset(key);
    const BDM_TypedAttributeTag<std::string>& tag =
        byName ? Tags().cFileName : Tags().cAssetComment;
    const std::string& text = byName ? sOptions.mName : sOptions.mComment;
    std::string message;
    if (tag == Tags().cFileName)
    {
        if (!BDM_Utils::IsValidName(text, &message))
            throw Tool_UsageError("--name " + message);
        if (BDM_KeyHandle other = catalog.FindChild(
                catalog.MakeKey(static_cast<BNeoa_Asset&>(*asset).GetParentID(), BDM_eAssetType_Folder), text);
            other && static_cast<const BNeoa_Key&>(*other).GetID() != static_cast<const BNeoa_Key&>(*key).GetID())
            throw Tool_UsageError(text + ": " + "An item with this name already exists in that location.");
    }
    static_cast<BDM_TypedAttribute<std::string>*>(asset->GetAttribute(tag))->Set(text);
    catalog.Commit();
    return 0;
}

int Remove()
{
    Expect(3, 3);
    BDM_BinHandle bin = Tool_OpenCatalog(sOptions.mArgs[1], Cmn_Store::eOpenFlag_OpenForWrite);
    BDM_Catalog& catalog = AsCatalog(bin);
    const BDM_KeyHandle key = Tool_FindCatalogEntry(catalog, sOptions.mArgs[2]);
    if (static_cast<const BNeoa_Key&>(*key).GetID() ==
        static_cast<const BNeoa_Key&>(*catalog.GetRoot()).GetID())
        throw Tool_UsageError(sOptions.mArgs[2] + ": the catalog's root cannot be removed");
    catalog.DeleteAsset(key);
    catalog.Commit();
    return 0;
}

// The paths of the file entries at and below iAsset, by their keys' ids.
void EntryPaths(BDM_Catalog& ioCatalog, BDM_Asset& iAsset, std::map<int64_t, std::string>* ioPathsP)
{
    if (!iAsset.IsContainer())
    {
        (*ioPathsP)[static_cast<const BNeoa_Key&>(*iAsset.GetKey()).GetID()] =
            Tool_CatalogEntryPath(iAsset);
        return;
    }
    std::list<BDM_KeyHandle> children;
    iAsset.GetChildren(&children);
    for (const BDM_KeyHandle& child : children)
        if (BDM_AssetHandle asset = ioCatalog.GetAsset(child))
            EntryPaths(ioCatalog, *asset, ioPathsP);
}

int Copy()
{
    if (sOptions.mArgs.size() < 3)
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    std::error_code error;
    std::string destination =
        std::filesystem::absolute(sOptions.mArgs[2], error).lexically_normal();
    while (destination.size() > 1 && destination.back() == '/')
        destination.pop_back();
    if (!Sys_FileUtils::IsFolder(Sys_FileLoc(destination)))
        throw Tool_UsageError(sOptions.mArgs[2] + ": no such folder");
    BDM_Globals::Instance(); // the queue
    Tool_StInterruptHandler interruptHandler;
    BDM_BinHandle bin = Tool_OpenCatalog(sOptions.mArgs[1], Cmn_Store::eOpenFlag_OpenForWrite);
    BDM_Catalog& catalog = AsCatalog(bin);
    std::vector<BDM_KeyHandle> keys;
    for (size_t i = 3; i < sOptions.mArgs.size(); ++i)
        keys.push_back(Tool_FindCatalogEntry(catalog, sOptions.mArgs[i]));
    if (keys.empty())
        keys.push_back(catalog.GetRoot());
    // Each entry's path before a relink gives it the copy's name.
    std::map<int64_t, std::string> paths;
    for (const BDM_KeyHandle& key : keys)
        if (BDM_AssetHandle asset = catalog.GetAsset(key))
            EntryPaths(catalog, *asset, &paths);
    BDM_CatalogCopierHandle copier = catalog.CopyAndRelink(keys, Sys_FileLoc(destination));
    // Ctrl-C: what was copied is relinked and committed by the cancel.
    if (const std::optional<std::string> failure =
            Tool_RunTask({copier.Get(), "the files could not be copied"}, [&bin] { bin->Close(); }))
        throw Tool_UsageError(sOptions.mArgs[1] + ": " + *failure);
    Tool_Json list = Tool_Json::array();
    std::ostringstream out;
    int status = 0;
    for (const BDM_Relinker::Outcome& outcome : copier->GetOutcomes())
    {
        const std::string& entry =
            paths[static_cast<const BNeoa_Key&>(*outcome.mEntry.mKey).GetID()];
        if (outcome.mTo.IsEmpty())
        {
            std::cerr << "mirafile: "
                      << Tool_OneLine(entry + ": " + outcome.mFrom.GetFullPath() + ": no such file")
                      << "\n";
            status = 1;
            continue;
        }
        list.push_back(Tool_Json{{"entry", entry},
                                 {"from", outcome.mFrom.GetFullPath()},
                                 {"to", outcome.mTo.GetFullPath()}});
        out << entry << ": " << outcome.mFrom.GetFullPath() << " -> " << outcome.mTo.GetFullPath()
            << "\n";
    }
    bin->Close();
    std::cout << (sOptions.mJson ? Tool_JsonText(list, ",\n ") + "\n" : out.str());
    return status;
}

int Delete()
{
    Expect(2, 2);
    const Sys_FileLoc loc = BDM_Catalog::GetLocation(sOptions.mArgs[1]);
    if (!Sys_FileUtils::Exists(loc))
        throw Tool_UsageError(sOptions.mArgs[1] + ": no such catalog");
    // Only a catalog of ours is deleted.
    Tool_OpenCatalog(sOptions.mArgs[1], Cmn_Store::eOpenFlag_OpenForRead)->Close();
    for (const char* suffix : {"-wal", "-shm", ""})
        std::filesystem::remove(loc.GetFullPath() + suffix);
    return 0;
}

int Run()
{
    if (sOptions.mArgs.empty())
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    if (!BDM_Schema::IsInitialized())
        BDM_Schema::InitializeSchema();
    const std::string& action = sOptions.mArgs[0];
    if (action != "set" && (sOptions.mNameOption->count() || sOptions.mCommentOption->count()))
        throw Tool_UsageError("--name and --comment are options of catalog set");
    if (action == "create")
        return Create();
    if (action == "list")
        return List();
    if (action == "info")
        return Info();
    if (action == "add")
        return Add();
    if (action == "show")
        return Show();
    if (action == "set")
        return Set();
    if (action == "rm")
        return Remove();
    if (action == "copy")
        return Copy();
    if (action == "delete")
        return Delete();
    throw Tool_UsageError("catalog: unknown action \"" + action + "\"");
}

Tool_Registrar sRegistrar{{"catalog", cUsage, "make, fill, show and change catalogs", Declare, Run}};
} // namespace
