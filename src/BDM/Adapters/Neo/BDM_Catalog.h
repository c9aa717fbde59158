// A catalog: a database file of the user's, opened by name, that indexes files and folders.
//
// Catalogs live in one folder: $MIRAFILE_CATALOG_DIR when it is set, else the "Catalogs"
// folder of the library's data folder; the file of catalog NAME is NAME + cFileExtension.
// A new catalog's root is of type BDM_eAssetType_CatalogRoot, with the asset name "Catalog
// Root" and the catalog's name as its file name; every open asserts the root's type.
// Adding (BDM_CatalogAdder) mirrors files and folders below the root, folder by folder,
// commits every cCommitInterval entries and at the end, and adds an entry that is there
// already by updating it: a rerun after a kill gives what a clean run gives.
// Threads: the browser's thread.
#pragma once

#include <string>
#include <vector>

#include "BDM/Adapters/Neo/BNeoa_Bin.h"
#include "BDM/BDM_LazyObject.h"

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
