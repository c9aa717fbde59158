#include "BDM/BDM_PostProcess_Relink.h"

#include "BDM/BDM_Globals.h"
#include "Cmn_Assert.h"
#include "Sys_FileUtils.h"

BDM_PostProcess_Relink::BDM_PostProcess_Relink(const std::vector<BDM_Link>& iEntries)
    : mEntries(iEntries)
{
}

std::vector<BDM_Relinker::Outcome> BDM_PostProcess_Relink::GetOutcomes() const
{
    return mRelinker ? mRelinker->GetOutcomes() : std::vector<BDM_Relinker::Outcome>();
}

std::string BDM_PostProcess_Relink::GetReport() const
{
    return mRelinker ? mRelinker->GetReport() : std::string();
}

bool BDM_PostProcess_Relink::Load()
{
    BDM_RecursiveAssetCopier* copierP = GetCopier();
    CMN_ASSERT(copierP);
    if (!copierP->GetCopiedAssetKey())
        return true; // a single file was copied
    BDM_AssetHandle source = copierP->GetBin().GetAsset(copierP->GetLocalRoot());
    BDM_AssetHandle copy = copierP->GetDestinationBin()->GetAsset(copierP->GetCopiedAssetKey());
    Sys_FileLoc from, to;
    if (!source || !copy || !source->ResolveFileSystemAlias(&from) ||
        !copy->ResolveFileSystemAlias(&to))
        return true;
    const std::string prefix = from.GetFullPath() + "/";

    // The entries inside the copied folder, with their places below it.
    std::vector<BDM_Link> inside;
    std::vector<std::string> places;
    for (const BDM_Link& link : mEntries)
    {
        BDM_AssetHandle asset = link.mBin->GetAsset(link.mKey);
        Sys_FileLoc stored;
        if (asset && BDM_Relinker::GetStoredLocation(*asset, &stored) &&
            stored.GetFullPath().compare(0, prefix.size(), prefix) == 0)
        {
            inside.push_back(link);
            places.push_back(stored.GetFullPath().substr(prefix.size()));
        }
    }
    mRelinker.Reset(new BDM_Relinker(inside, BDM_QueryAreaHandle(new BDM_QueryArea), false, false));
    BDM_Bin& fileSystem =
        BDM_Globals::Instance()->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles);
    for (size_t index = 0; index < inside.size(); ++index)
    {
        const Sys_FileLoc file(to.GetFullPath() + "/" + places[index]);
        if (!Sys_FileUtils::Exists(file) || Sys_FileUtils::IsFolder(file))
            continue;
        BDM_AssetHandle found = fileSystem.GetAsset(BDM_Relinker::MakeFileKey(file));
        if (!found)
            continue;
        mRelinker->SetFileToFind(index);
        mRelinker->LinkFound(*found, file);
    }
    mRelinker->Finalize();
    return true;
}
