#include "Tool_Catalogs.h"

#include <sstream>

#include "BDM/Adapters/Neo/BDM_Catalog.h"
#include "BDM/BDM_Asset.h"
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

BDM_KeyHandle Tool_FindCatalogEntry(BDM_Catalog& ioCatalog, const std::string& iPath)
{
    BDM_KeyHandle key = ioCatalog.GetRoot();
    std::stringstream names(iPath);
    for (std::string name; std::getline(names, name, '/');)
        if (!name.empty() && !(key = ioCatalog.FindChild(key, name)))
            throw Tool_UsageError(iPath + ": no such entry in the catalog");
    return key;
}

std::string Tool_CatalogEntryPath(BDM_Asset& iAsset)
{
    std::string path = iAsset.GetName();
    for (BDM_AssetHandle parent = iAsset.GetParent(); parent && !parent->IsRoot();
         parent = parent->GetParent())
        path = parent->GetName() + "/" + path;
    return path;
}
