// What the catalog tests share: catalogs in a scratch folder, typed access to stored
// attributes, the sqlite3 program, files to index, and a VFS that fails the Nth write or
// sync of the database files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "BDM/Adapters/Neo/BDM_Catalog.h"
#include "Support/TestSupport.h"

// Tags and schema ready, once per process.
void Catalog_InitBrowser();

// A catalog file at iPath, opened with iFlag (made when iFlag is create); counted.
BDM_BinHandle Catalog_Open(const std::string& iPath, Cmn_Store::EOpenFlag iFlag);
inline BNeoa_Bin& Catalog_Neo(const BDM_BinHandle& iBin)
{
    return static_cast<BNeoa_Bin&>(*iBin);
}

// Sets a stored attribute of the entry iKey.
template <class T>
void Catalog_Set(BNeoa_Bin& ioBin, const BDM_KeyHandle& iKey, const BDM_TypedAttributeTag<T>& iTag,
                 const T& iValue)
{
    BDM_AssetHandle asset = ioBin.GetAsset(iKey);
    static_cast<BDM_TypedAttribute<T>*>(asset->GetAttribute(iTag))->Set(iValue);
}

// The file names of the entries a query delivers, sorted; iPredicate built by iMake from the
// bin's factory. Pages through the result with iMilliseconds per call.
std::vector<std::string> Catalog_Find(BNeoa_Bin& ioBin,
                                      const std::function<BDM_PredicateHandle(BDM_PredicateFactory&)>& iMake,
                                      const BDM_KeyHandle& iRoot = BDM_KeyHandle(),
                                      int32_t iMilliseconds = 1000);
// The file names of every entry below the root, sorted.
std::vector<std::string> Catalog_AllNames(BNeoa_Bin& ioBin);

// The bytes of a file ("" when there is none).
std::string Catalog_Bytes(const std::string& iPath);
// Runs the sqlite3 program on iPath with iSql; its standard output.
std::string Catalog_Sqlite(const std::string& iPath, const std::string& iSql);
// iCount small text files in iFolder/dNN/fNNNN.txt, a few per folder.
void Catalog_WriteFiles(const std::string& iFolder, int32_t iCount);

// A VFS named "fault" over the default one: the Nth xWrite or xSync from now on fails with
// an I/O error (and every one after it while armed).
class Catalog_FaultVfs
{
public:
    static void Install();
    static void Arm(int32_t iNth);
    static void Disarm();
    static bool Fired();
};
