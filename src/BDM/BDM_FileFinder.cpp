#include "BDM/BDM_FileFinder.h"

#include "Cmn_Assert.h"
#include "L10N_Utils.h"

namespace
{
constexpr int32_t cSearchingForFiles = 1235;
constexpr int32_t cSearchingDatabasesFor = 1240;
constexpr int32_t cSearchingFileSystemFor = 1241;
} // namespace

BDM_FileFinder::BDM_FileFinder(const BDM_QueryAreaHandle& iArea,
                               std::unique_ptr<PredicateGenerator> iGenerator, bool iSkipOffline)
    : mArea(iArea), mGenerator(std::move(iGenerator)), mSkipOffline(iSkipOffline)
{
    CMN_ASSERT(mArea && mGenerator);
    SetProgressUnitsType(BDM_TaskProgress::eUnitsType_Files);
}

std::vector<BDM_Link> BDM_FileFinder::GetResults() const
{
    std::vector<BDM_Link> results;
    for (const auto* iteratorP : {&mDatabases, &mFileSystem})
        if (*iteratorP)
            results.insert(results.end(), (*iteratorP)->GetResults().begin(),
                           (*iteratorP)->GetResults().end());
    return results;
}

bool BDM_FileFinder::Search(BDM_QueryArea& iArea, int32_t iStatusID)
{
    if (iArea.IsEmpty())
        return false;
    BDM_PredicateHandle predicate = mGenerator->GeneratePredicate(*iArea.GetPredicateFactory());
    if (!predicate)
        return false;
    UpdateStatusMessage(L10N_Utils::ReplaceInserts(L10N_Utils::GetResourceString(iStatusID),
                                                   {mGenerator->GetDescription()}));
    Cmn_PolymorphicHandle<BDM_QueryResultIterator, Sys_ThreadSafeRefCountObject> iterator(
        new BDM_QueryResultIterator(iArea.Query(predicate), mSkipOffline));
    iterator->SetTargetBin(mTarget.Get());
    (iStatusID == cSearchingDatabasesFor ? mDatabases : mFileSystem) = iterator;
    AddDependency(iterator.Get());
    return true;
}

bool BDM_FileFinder::Load()
{
    switch (mStage)
    {
    case 0:
        UpdateStatusMessage(L10N_Utils::GetResourceString(cSearchingForFiles));
        mFileSystemArea = mArea->ExtractFileSystemArea();
        mStage = 1;
        if (Search(*mArea, cSearchingDatabasesFor))
            return false;
        [[fallthrough]];
    case 1:
        mStage = 2;
        if (Search(*mFileSystemArea, cSearchingFileSystemFor))
            return false;
        [[fallthrough]];
    default:
        mStage = 2;
        UpdateStatusMessage(L10N_Utils::GetResourceString(cSearchingForFiles));
        return true;
    }
}
