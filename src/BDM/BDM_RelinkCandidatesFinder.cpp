#include "BDM/BDM_RelinkCandidatesFinder.h"

#include <set>

#include "BDM/BDM_Bin.h"
#include "Cmn_Assert.h"
#include "L10N_Utils.h"
#include "Sys_FileLocUtils.h"
#include "Sys_FileUtils.h"

namespace
{
constexpr int32_t cSearchingDatabases = 1236;
constexpr int32_t cSearchingFileSystemByName = 1238;
constexpr int32_t cSearchingFileSystemByFileID = 1239;

template <class T>
void AddTerm(BDM_PredicateFactory& iFactory, BDM_PredicateHandle* ioPredicateP,
             const BDM_TypedAttributeTag<T>& iTag, const T& iValue)
{
    const BDM_PredicateHandle term = iFactory.MakePredicate(
        BDM_TypedAttributeValue<T>(&iTag, iValue), BDM_PredicateFactory::eRelation_Equal);
    *ioPredicateP = *ioPredicateP ? iFactory.And(*ioPredicateP, term) : term;
}

bool SameItem(const BDM_Link& iLink, BDM_Asset& iAsset)
{
    const BDM_KeyHandle key = iAsset.GetKey();
    return iLink.mBin.Get() == iAsset.GetBin() && iLink.mKey->GetType() == key->GetType() &&
           !iLink.mKey->IsLessThan(*key) && !key->IsLessThan(*iLink.mKey);
}
} // namespace

BDM_RelinkCandidatesFinder::BDM_RelinkCandidatesFinder(const BDM_AssetHandle& iFileToFind,
                                                       const BDM_QueryAreaHandle& iArea)
    : mFileToFind(iFileToFind), mArea(iArea)
{
    CMN_ASSERT(mFileToFind && mArea);
    SetProgressUnitsType(BDM_TaskProgress::eUnitsType_Files);
}

BDM_PredicateHandle BDM_RelinkCandidatesFinder::GeneratePredicate(BDM_Asset& iAsset, bool iByName,
                                                                  bool iByGUID,
                                                                  BDM_PredicateFactory& iFactory)
{
    CMN_ASSERT_TEXT(iByName || iByGUID, "iByName || iByGUID");
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    BDM_PredicateHandle predicate;
    std::string name;
    if (iByName && iAsset.GetAttributeValue(t.cFileName, &name) && !name.empty())
        AddTerm(iFactory, &predicate, t.cFileName, name);
    Sys_Umid id;
    if (iByGUID && iAsset.GetAttributeValue(t.cAssetID, &id) && !id.IsNoID())
        AddTerm(iFactory, &predicate, t.cAssetID, id);
    if (!predicate)
        return predicate;
    BDM_EFileFormat format = BDM_eFileFormat_Unknown;
    if (iAsset.GetType() == BDM_eAssetType_Video && iAsset.GetAttributeValue(t.cFileFormat, &format) &&
        (format == BDM_eFileFormat_Movie || format == BDM_eFileFormat_AVI))
        AddTerm(iFactory, &predicate, t.cFileFormat, format);
    return predicate;
}

std::string BDM_RelinkCandidatesFinder::GetLoadName() const
{
    return L10N_Utils::ReplaceInserts(L10N_Utils::GetResourceString(cLoadNameID),
                                      {mFileToFind->GetName()});
}

void BDM_RelinkCandidatesFinder::SetSearchStatus(ESearchStatus iStatus)
{
    mSearchStatus = iStatus;
    Cmn_Observable<BDM_RelinkCandidatesFinder>::NotifyObservers(*this);
}

bool BDM_RelinkCandidatesFinder::Search(BDM_QueryArea& iArea, const BDM_PredicateHandle& iPredicate,
                                        EStage iStage)
{
    if (!iPredicate)
        return false;
    IteratorHandle iterator(new BDM_QueryResultIterator(iArea.Query(iPredicate), true));
    mIterators[iStage] = iterator;
    AddDependency(iterator.Get());
    return true;
}

bool BDM_RelinkCandidatesFinder::Load()
{
    switch (mStage)
    {
    case 0:
        mStage = 1;
        UpdateStatusMessage(L10N_Utils::GetResourceString(cSearchingDatabases));
        SetSearchStatus(eSearchStatus_Databases);
        mFileSystemArea = mArea->ExtractFileSystemArea();
        if (!mArea->IsEmpty())
        {
            // A database answers at once: by name or by identifier, whichever the asset has.
            BDM_PredicateFactory& factory = *mArea->GetPredicateFactory();
            BDM_PredicateHandle byName = GeneratePredicate(*mFileToFind, true, false, factory);
            BDM_PredicateHandle byID = GeneratePredicate(*mFileToFind, false, true, factory);
            BDM_PredicateHandle either = byName && byID ? factory.Or(byName, byID)
                                         : byName       ? byName
                                                        : byID;
            if (Search(*mArea, either, eStage_Databases))
                return false;
        }
        [[fallthrough]];
    case 1:
        mStage = 2;
        if (!mFileSystemArea->IsEmpty())
        {
            SetSearchStatus(eSearchStatus_FileSystem);
            UpdateStatusMessage(L10N_Utils::GetResourceString(cSearchingFileSystemByName));
            if (Search(*mFileSystemArea,
                       GeneratePredicate(*mFileToFind, true, false,
                                         *mFileSystemArea->GetPredicateFactory()),
                       eStage_ByName))
                return false;
        }
        [[fallthrough]];
    case 2:
        mStage = 3;
        if (!mFileSystemArea->IsEmpty())
        {
            UpdateStatusMessage(L10N_Utils::GetResourceString(cSearchingFileSystemByFileID));
            if (Search(*mFileSystemArea,
                       GeneratePredicate(*mFileToFind, false, true,
                                         *mFileSystemArea->GetPredicateFactory()),
                       eStage_ByID))
                return false;
        }
        [[fallthrough]];
    default:
        mStage = 3;
        SetSearchStatus(eSearchStatus_Done);
        return true;
    }
}

std::vector<BDM_RelinkCandidatesFinder::Candidate> BDM_RelinkCandidatesFinder::GetCandidates() const
{
    std::vector<Candidate> candidates;
    std::set<std::string> seen;
    for (int32_t stage = eStage_Databases; stage <= eStage_ByID; ++stage)
    {
        if (!mIterators[stage])
            continue;
        for (const BDM_Link& link : mIterators[stage]->GetResults())
        {
            if (SameItem(link, *mFileToFind))
                continue;
            BDM_AssetHandle asset = link.mBin->GetAsset(link.mKey);
            Sys_FileLoc file;
            if (!asset || !asset->ResolveFileSystemAlias(&file) || !Sys_FileUtils::Exists(file) ||
                Sys_FileUtils::IsFolder(file) || Sys_FileLocUtils::IsInTrash(file) ||
                !seen.insert(file.GetFullPath()).second)
                continue;
            candidates.push_back({link, file, EStage(stage)});
        }
    }
    return candidates;
}
