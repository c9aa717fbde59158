// mirafile index FOLDER [--json]: indexes FOLDER (with everything below it) into the
// database of the volume that holds it, or brings that index up to date.
//
// The volume database is made on first use, in the volumes folder of the library's data
// folder ($MIRAFILE_DATA_DIR overrides it), named by the volume's identifier, so that
// `mirafile volumes` shows it and a disk mounted elsewhere finds it again. Only FOLDER's
// subtree is walked (the folders above it get entries of their own); give the volume's
// mount point to index the whole volume. Files whose date and size have not changed since
// they were indexed are not read again. One commit at the end: Ctrl-C, or a kill, leaves
// the database as it was before the run (Ctrl-C exits with status 130). Prints the counts
// of entries added, removed, changed, unchanged and offline (kept below folders that could
// not be listed); --json prints them as one object {"path", "volume_id", "database",
// "created", "added", "removed", "changed", "unchanged", "offline"}.
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Synchronizer.h"
#include "BDM/BDM_Volume.h"
#include "Cmn_Exception.h"
#include "Sys_FileUtils.h"
#include "Tool.h"
#include "Tool_Progress.h"
#include "Tool_Task.h"

namespace
{
struct
{
    std::string mPath;
    bool mJson = false;
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("folder", sOptions.mPath, "the folder to index")->required();
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document with the counts");
}

std::string Hex(uint32_t iID)
{
    std::ostringstream text;
    text << std::hex << std::setw(8) << std::setfill('0') << iID;
    return text.str();
}

int Run()
{
    std::error_code error;
    std::string path = std::filesystem::absolute(sOptions.mPath, error).lexically_normal();
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    const Sys_FileLoc folder(path);
    if (!Sys_FileUtils::Exists(folder))
        throw Tool_UsageError(sOptions.mPath + ": no such folder");
    if (!Sys_FileUtils::IsFolder(folder))
        throw Tool_UsageError(sOptions.mPath + ": not a folder");
    Sys_Volume::RescanVolumes();
    const Sys_Volume volume = folder.GetVolume();
    if (volume.GetID() == 0)
        throw Tool_UsageError(sOptions.mPath + ": on no known volume");

    BDM_Globals& globals = *BDM_Globals::Instance();
    // From here on an interrupt stops the pass before its commit.
    Tool_StInterruptHandler interruptHandler;
    BDM_BinHandle hold(new BDM_Volume(&globals.Cache(), volume));
    BDM_Volume& bin = static_cast<BDM_Volume&>(*hold);
    const bool created = !bin.HasDatabase();
    try
    {
        bin.Open(created ? Cmn_Store::eOpenFlag_OpenCreate : Cmn_Store::eOpenFlag_OpenForWrite);
    }
    catch (const Cmn_CancelException&)
    {
        throw;
    }
    catch (const std::exception& e)
    {
        throw Tool_UsageError(bin.GetURL().GetFullPath() + ": " + e.what());
    }
    const BDM_KeyHandle destination = bin.FindOrCreateEntryForLocation(folder);
    const BDM_KeyHandle source = BDM_Volume::GetFileSystemHooks().mMakeKey(folder);
    BDM_LazyObjectHandle pass(new BDM_Synchronizer(bin, source, destination, true, true, true));
    auto* passP = static_cast<BDM_Synchronizer*>(pass.Get());
    const std::optional<std::string> failure =
        Tool_RunTask({passP, "the folder could not be indexed",
                      [passP] { return passP->GetCurrentLocation().GetName(); }},
                     [&bin] { bin.Close(); }); // what was not committed goes
    if (failure)
    {
        bin.Close();
        throw Tool_UsageError(sOptions.mPath + ": " + *failure);
    }
    const BDM_SyncCounts counts = passP->GetCounts();
    bin.Close();
    if (sOptions.mJson)
    {
        Tool_Json out;
        out["path"] = path;
        out["volume_id"] = Hex(volume.GetID());
        out["database"] = bin.GetURL().GetFullPath();
        out["created"] = created;
        out["added"] = counts.mAdded;
        out["removed"] = counts.mRemoved;
        out["changed"] = counts.mChanged;
        out["unchanged"] = counts.mUnchanged;
        out["offline"] = counts.mOffline;
        std::cout << Tool_JsonText(out) << "\n";
    }
    else
        std::cout << "indexed " << path << " (volume " << Hex(volume.GetID()) << "): "
                  << counts.mAdded << " added, " << counts.mRemoved << " removed, "
                  << counts.mChanged << " changed, " << counts.mUnchanged << " unchanged, "
                  << counts.mOffline << " offline\n";
    return 0;
}

Tool_Registrar sRegistrar{{"index", "index FOLDER [--json]",
                           "index a folder into its volume's database, or bring it up to date",
                           Declare, Run}};
} // namespace
