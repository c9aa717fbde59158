// The tool's way to a catalog by its name (as `mirafile catalog` and `find @NAME` give it).
#pragma once

#include <string>

#include "BDM/BDM_Types.h"
#include "Cmn_Store.h"

// Opens the catalog named iName (which must exist); a refusal is a usage error naming it.
BDM_BinHandle Tool_OpenCatalog(const std::string& iName, Cmn_Store::EOpenFlag iFlag);
