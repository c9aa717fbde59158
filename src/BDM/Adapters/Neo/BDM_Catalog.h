// A catalog: a database file of the user's, opened by name, that indexes files and folders.
//
// Catalogs live in one folder: $MIRAFILE_CATALOG_DIR when it is set, else the "Catalogs"
// folder of the library's data folder; the file of catalog NAME is NAME + cFileExtension.
// A new catalog's root is of type BDM_eAssetType_CatalogRoot, with the asset name "Catalog
// Root" and the catalog's name as its file name; every open asserts the root's type.
// Adding (BDM_CatalogAdder) mirrors files and folders below the root, folder by folder,
// commits every cCommitInterval entries and at the end, and adds an entry that is there
// already by updating it: a rerun after a kill gives what a clean run gives.
// Copying and relinking (BDM_CatalogCopier) copies the files of chosen entries elsewhere
// and links each entry to its copy, leaving the originals as they were.
// Threads: the browser's thread.
#pragma once

#include <string>
#include <vector>

#include "BDM/Adapters/Neo/BNeoa_Bin.h"
#include "BDM/BDM_LazyObject.h"
#include "BDM/BDM_Relinker.h"

class BDM_CatalogCopier;
using BDM_CatalogCopierHandle =
    Cmn_PolymorphicHandle<BDM_CatalogCopier, Sys_ThreadSafeRefCountObject>;

class BDM_Catalog : public BNeoa_Bin
{
public:
    static constexpr const char* cFileExtension = ".mfcatalog";

    BDM_Catalog(const Sys_FileLoc& iURL, BDM_Cache* iCacheP);

    // The folder of the catalogs (made when missing) and the file of a catalog's name.
    static Sys_FileLoc GetCatalogsFolder();
    static Sys_FileLoc GetLocation(const std::string& iName);
    // The names of the catalogs in the folder, sorted.
    static std::vector<std::string> ListNames();
    // A new catalog file: refuses a used name with "A Catalog with that name already exists."
    // and a name that is not a valid file name with the browser's message.
    static void Create(const std::string& iName);

    bool CanAdd(BDM_EAssetType iType) override;
    // Names and comments of entries, in a catalog that may be written.
    bool CanModifyAttribute(const BDM_KeyHandle& iKey, const BDM_AttributeTag& iTag) override;
    // The name the root shows.
    void SetName(const std::string& iName);
    // The work that copies the files of the entries iKeys (a folder entry with everything
    // below it; the root: every entry) into the folder iDestination and links each entry to
    // its copy. It does nothing until it is queued; see BDM_CatalogCopier.
    BDM_CatalogCopierHandle CopyAndRelink(const std::vector<BDM_KeyHandle>& iKeys,
                                          const Sys_FileLoc& iDestination);

protected:
    void OpenImpl(EOpenFlag iOpenFlag) override;
};

// Adds files and folders to a catalog in slices of the browser's background work.
class BDM_CatalogAdder : public BDM_LazyObject
{
public:
    static constexpr int32_t cCommitInterval = 1024;
    // How long one Load step may run.
    static constexpr int32_t cStepMilliseconds = 20;

    BDM_CatalogAdder(BDM_Catalog& iCatalog, const std::vector<Sys_FileLoc>& iLocations);
    bool ShowInTaskManager() const override { return true; }
    int64_t GetNumAdded() const { return mAdded; }
    // The location being added now (for a progress line).
    const Sys_FileLoc& GetCurrentLocation() const { return mCurrent; }

protected:
    bool Load() override;

private:
    BDM_KeyHandle Import(BDM_Asset& iSource, const BDM_KeyHandle& iParent);

    struct Work
    {
        BDM_KeyHandle mKey; // of the file system
        BDM_KeyHandle mParent;
    };
    BDM_Catalog& mCatalog;
    BDM_BinHandle mCatalogHold;
    std::vector<Work> mStack; // the next item last
    Sys_FileLoc mCurrent;
    int64_t mAdded = 0;
    int64_t mSinceCommit = 0;
};

// Copies the files of catalog entries into a destination folder and relinks the entries,
// one chosen entry (a job) at a time:
//  1. An entry inside another chosen one is dropped; the root stands for its children.
//  2. A file entry's file is copied by a BDM_RecursiveAssetCopier into the destination,
//     named after the file, a number added when the name is taken; the entry is then linked
//     to the copy (BDM_Relinker::LinkFound: the copy is the file).
//  3. A folder entry's folder is copied the same way, with everything in it, under a name of
//     its own in the destination (a number added when taken, never merged into a folder
//     there); BDM_PostProcess_Relink then links the file entries below it to their copies.
//  4. A file (or folder) that is missing is skipped: its file entries count as not copied.
//     A folder is not copied into itself: a destination inside it fails the work.
//  5. The catalog is committed after each job and at the end. Cancelled part way, the job at
//     hand links what it has copied, the catalog is committed, and the rest stays as it was;
//     a file is copied under a temporary name and renamed when complete, so no partial copy
//     lies under a final name. The originals are never touched.
class BDM_CatalogCopier : public BDM_LazyObject
{
public:
    BDM_CatalogCopier(BDM_Catalog& iCatalog, const std::vector<BDM_KeyHandle>& iKeys,
                      const Sys_FileLoc& iDestination);
    ~BDM_CatalogCopier() override;
    bool ShowInTaskManager() const override { return true; }
    // Per file entry dealt with so far, in the order of the jobs and of the entries below a
    // folder: its stored location and its copy (empty when the file was missing).
    const std::vector<BDM_Relinker::Outcome>& GetOutcomes() const { return mOutcomes; }

protected:
    bool Load() override;
    // Links what the job at hand has copied and commits, then cancels.
    void CancelLoadingPrivate(bool iAlsoGroups) override;

private:
    struct Job;
    bool Start(Job& ioJob);
    void Finish(Job& ioJob, bool iCancelled);

    BDM_Catalog& mCatalog;
    BDM_BinHandle mCatalogHold;
    BDM_BinHandle mDestinationBin;
    Sys_FileLoc mDestination;
    std::vector<Job> mJobs;
    size_t mNext = 0;
    bool mRunning = false;
    std::vector<BDM_Relinker::Outcome> mOutcomes;
};
