#include "BDM/BDM_Volume.h"

#include <cstdio>
#include <stdexcept>

#include "BDM/BDM_AttributeTag.h"
#include "BDM/BDM_Globals.h"
#include "Cmn_Assert.h"
#include "Sys_FileUtils.h"
#include "Sys_Paths.h"

BDM_Volume::DatabaseFactory BDM_Volume::sDatabaseFactory = nullptr;

namespace
{
Sys_FileLoc sVolumesFolder;
}

void BDM_Volume::SetDatabaseFactory(DatabaseFactory iFactory)
{
    sDatabaseFactory = iFactory;
}

BDM_Volume::DatabaseFactory BDM_Volume::GetDatabaseFactory()
{
    return sDatabaseFactory;
}

void BDM_Volume::SetVolumesFolder(const Sys_FileLoc& iFolder)
{
    sVolumesFolder = iFolder;
}

Sys_FileLoc BDM_Volume::GetVolumesFolder()
{
    if (!sVolumesFolder.IsEmpty())
        return sVolumesFolder;
    return Sys_FileLoc(Sys_Paths::GetDataFolder() + "/volumes");
}

Sys_FileLoc BDM_Volume::GetDatabaseFolder(uint32_t iVolumeID)
{
    char name[16];
    std::snprintf(name, sizeof name, "%08x", iVolumeID);
    return Sys_FileLoc(GetVolumesFolder(), name, Sys_FileType::cFolder);
}

BDM_URL BDM_Volume::GetDatabaseURL(uint32_t iVolumeID)
{
    return BDM_URL(Sys_FileLoc(GetDatabaseFolder(iVolumeID), cDatabaseFileName));
}

BDM_Volume::BDM_Volume(BDM_Cache* iCacheP, const Sys_Volume& iVolume)
    : BDM_FileBasedBin(iCacheP, GetDatabaseURL(iVolume.GetID())), mVolume(iVolume)
{
    CMN_ASSERT(iVolume.GetID() != 0);
    if (iVolume.IsMounted())
        mRootLoc = Sys_FileLoc(iVolume);
}

BDM_Volume::~BDM_Volume()
{
    if (GetCache())
        GetCache()->ClearEntriesForBin(this);
}

bool BDM_Volume::HasDatabase() const
{
    return Sys_FileUtils::Exists(mURL);
}

BDM_Bin& BDM_Volume::GetFileSystemBin()
{
    return BDM_Globals::Instance()->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AudioFiles);
}

void BDM_Volume::OpenImpl(EOpenFlag iFlag)
{
    CMN_ASSERT_TEXT(HasDatabase() || iFlag == eOpenFlag_OpenCreate,
                    "mURL && Sys_File( mURL ).IsOnline() || iOpenFlag == eOpenFlag_OpenCreate");
    if (!mNeoBin)
    {
        if (!sDatabaseFactory)
            throw std::runtime_error("No volume database adapter is installed.");
        if (iFlag == eOpenFlag_OpenCreate)
            Sys_FileUtils::CreateFolder(GetDatabaseFolder(mVolume.GetID()));
        mNeoBin = BDM_BinHandle(sDatabaseFactory(mURL, mVolume.GetCachedName(), GetCache()));
        CMN_ASSERT(mNeoBin);
    }
    mNeoBin->Open(iFlag);
    const BDM_AssetHandle root = mNeoBin->GetAsset(mNeoBin->GetRoot());
    CMN_ASSERT_TEXT(root && root->GetType() == BDM_eAssetType_VolumeRoot,
                    "mNeoBin->GetAsset( mNeoBin->GetRoot() )->GetType() == BDM_eAssetType_VolumeRoot");
}

void BDM_Volume::CloseImpl()
{
    if (mNeoBin)
        mNeoBin->Close();
}

BDM_KeyHandle BDM_Volume::GetRoot()
{
    CMN_ASSERT(mNeoBin);
    return mNeoBin->GetRoot();
}

BDM_LazyObjectHandle BDM_Volume::CopyAsset(BDM_Bin&, const BDM_KeyHandle&, const BDM_KeyHandle&)
{
    throw std::runtime_error("Not implemented");
}

BDM_LazyObjectHandle BDM_Volume::MoveAsset(const BDM_KeyHandle&, const BDM_KeyHandle&)
{
    throw std::runtime_error("Not implemented");
}

void BDM_Volume::Commit()
{
    if (mNeoBin)
        mNeoBin->Commit();
}

BDM_Asset* BDM_Volume::GenerateAsset(const BDM_KeyHandle& iKey)
{
    if (!mNeoBin)
        return nullptr;
    BDM_AssetHandle inner = mNeoBin->GetAsset(iKey);
    return inner ? new BDM_VolumeAsset(this, inner) : nullptr;
}

void BDM_Volume::DeleteAssetImpl(const BDM_KeyHandle& iKey)
{
    CMN_ASSERT(mNeoBin);
    mNeoBin->DeleteAsset(iKey);
}

// ---- BDM_VolumeAsset ---------------------------------------------------------------------

BDM_VolumeAsset::BDM_VolumeAsset(BDM_Volume* iVolumeP, const BDM_AssetHandle& iInner)
    : BDM_Asset(iVolumeP), mInner(iInner)
{
    CMN_ASSERT(mInner);
}

BDM_VolumeAsset::~BDM_VolumeAsset()
{
    for (BDM_Attribute* attributeP : mObserved)
        attributeP->RemoveObserver(*this);
}

BDM_Attribute* BDM_VolumeAsset::GetAttribute(const BDM_AttributeTag& iTag)
{
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    if (iTag == t.cAssetStatus || iTag == t.cContainerFlagA || iTag == t.cContainerFlagB)
        return BDM_Asset::GetAttribute(iTag);
    BDM_Attribute* attributeP = mInner->GetAttribute(iTag);
    if (attributeP && mObserved.insert(attributeP).second)
        attributeP->AddObserver(*this);
    return attributeP;
}

BDM_Attribute* BDM_VolumeAsset::Fetch(const BDM_AttributeTag&)
{
    return nullptr; // GetAttribute passes every fetched tag to the inner asset
}

BDM_LazyObjectHandle
BDM_VolumeAsset::EnumerateChildren(std::unique_ptr<ChildEnumerator::Client> iClient)
{
    return mInner->EnumerateChildren(std::move(iClient));
}

void BDM_VolumeAsset::GetChildren(std::list<BDM_KeyHandle>* oKeysP)
{
    mInner->GetChildren(oKeysP);
}

BDM_AssetHandle BDM_VolumeAsset::GetParent()
{
    BDM_AssetHandle innerParent = mInner->GetParent();
    if (!innerParent)
        return BDM_AssetHandle();
    return GetBin()->GetAsset(innerParent->GetKey());
}
