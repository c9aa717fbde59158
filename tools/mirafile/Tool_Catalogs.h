// The tool's way to a catalog by its name (as `mirafile catalog` and `find @NAME` give it).
#pragma once

#include <string>

#include "BDM/BDM_Types.h"
#include "Cmn_Store.h"

// Opens the catalog named iName (which must exist); a refusal is a usage error naming it.
BDM_BinHandle Tool_OpenCatalog(const std::string& iName, Cmn_Store::EOpenFlag iFlag);

class BDM_Asset;
class BDM_Catalog;

// The entry at iPath (names separated by '/') below the catalog's root; a usage error when
// there is none.
BDM_KeyHandle Tool_FindCatalogEntry(BDM_Catalog& ioCatalog, const std::string& iPath);

// The names from below the root down to iAsset, separated by '/' (the form the one above takes).
std::string Tool_CatalogEntryPath(BDM_Asset& iAsset);
