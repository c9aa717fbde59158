#include "Tool_Catalogs.h"

#include "BDM/Adapters/Neo/BDM_Catalog.h"
#include "Cmn_Exception.h"
#include "Sys_FileUtils.h"
#include "Tool.h"

BDM_BinHandle Tool_OpenCatalog(const std::string& iName, Cmn_Store::EOpenFlag iFlag)
{
    const Sys_FileLoc loc = BDM_Catalog::GetLocation(iName);
    if (!Sys_FileUtils::Exists(loc))
        throw Tool_UsageError(iName + ": no such catalog");
    BDM_BinHandle catalog(new BDM_Catalog(loc, nullptr));
    try
    {
        catalog->Open(iFlag);
    }
    catch (const Cmn_CancelException&)
    {
        throw;
    }
    catch (const std::exception& e)
    {
        throw Tool_UsageError(iName + ": " + e.what());
    }
    return catalog;
}
