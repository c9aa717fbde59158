#include "BDM/BDM_QueryArea.h"

#include <algorithm>
#include <chrono>

#include "Cmn_Assert.h"

namespace
{
BDM_QueryArea_Predicate& AsArea(const BDM_PredicateHandle& iPredicate)
{
    auto* areaP = dynamic_cast<BDM_QueryArea_Predicate*>(iPredicate.Get());
    CMN_ASSERT_TEXT(areaP, "areaPredicate");
    return *areaP;
}
} // namespace

// ---- factory -----------------------------------------------------------------------------

BDM_QueryArea_PredicateFactory::BDM_QueryArea_PredicateFactory(std::vector<BDM_BinHandle> iBins)
    : mBins(std::move(iBins))
{
    for (const BDM_BinHandle& bin : mBins)
        CMN_ASSERT_TEXT(bin && bin->GetPredicateFactory(), "iBin.GetPredicateFactory()");
}

BDM_PredicateHandle BDM_QueryArea_PredicateFactory::MakePredicate(const BDM_AttributeValue& iValue,
                                                                  ERelation iRelation)
{
    auto* predicateP = new BDM_QueryArea_Predicate;
    BDM_PredicateHandle handle(predicateP);
    for (const BDM_BinHandle& bin : mBins)
    {
        predicateP->mBins.push_back(bin);
        predicateP->mPredicates.push_back(
            bin->GetPredicateFactory()->MakePredicate(iValue, iRelation));
    }
    return handle;
}

BDM_PredicateHandle BDM_QueryArea_PredicateFactory::And(const BDM_PredicateHandle& iLeft,
                                                        const BDM_PredicateHandle& iRight)
{
    return Join(iLeft, iRight, true);
}

BDM_PredicateHandle BDM_QueryArea_PredicateFactory::Or(const BDM_PredicateHandle& iLeft,
                                                       const BDM_PredicateHandle& iRight)
{
    return Join(iLeft, iRight, false);
}

BDM_PredicateHandle BDM_QueryArea_PredicateFactory::Join(const BDM_PredicateHandle& iLeft,
                                                         const BDM_PredicateHandle& iRight,
                                                         bool iAnd)
{
    const BDM_QueryArea_Predicate& left = AsArea(iLeft);
    const BDM_QueryArea_Predicate& right = AsArea(iRight);
    CMN_ASSERT_TEXT(left.mBins.size() == right.mBins.size(),
                    "left->mBins.size() == right->mBins.size()");
    CMN_ASSERT_TEXT(left.mPredicates.size() == right.mPredicates.size(),
                    "left->mPredicates.size() == right->mPredicates.size()");
    auto* joinedP = new BDM_QueryArea_Predicate;
    BDM_PredicateHandle handle(joinedP);
    for (size_t index = 0; index < left.mBins.size(); ++index)
    {
        CMN_ASSERT_TEXT(left.mBins[index] == right.mBins[index],
                        "left->mBins[index] == right->mBins[index]");
        BDM_PredicateFactory& factory = *left.mBins[index]->GetPredicateFactory();
        joinedP->mBins.push_back(left.mBins[index]);
        joinedP->mPredicates.push_back(
            iAnd ? factory.And(left.mPredicates[index], right.mPredicates[index])
                 : factory.Or(left.mPredicates[index], right.mPredicates[index]));
    }
    return handle;
}

// ---- result ------------------------------------------------------------------------------

BDM_QueryArea_QueryResult::BDM_QueryArea_QueryResult(std::vector<Root> iRoots)
    : mQueryRoots(std::move(iRoots))
{
}

BDM_QueryResult::EResult BDM_QueryArea_QueryResult::Next(BDM_KeyHandle* oKeyP,
                                                         int32_t iMilliseconds)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(iMilliseconds);
    while (mCurrent < mQueryRoots.size())
    {
        const int64_t left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0)
            return eResult_TimedOut;
        Root& root = mQueryRoots[mCurrent];
        switch (root.mResult->Next(oKeyP, int32_t(left)))
        {
        case eResult_Delivered:
            mLastBinP = root.mBin.Get();
            return eResult_Delivered;
        case eResult_TimedOut:
            return eResult_TimedOut;
        case eResult_End:
            root.mResult.reset(); // let go of the walk at once
            ++mCurrent;
            break;
        }
    }
    return eResult_End;
}

// ---- area --------------------------------------------------------------------------------

void BDM_QueryArea::AddArea(BDM_Bin& iBin, const BDM_KeyHandle& iRoot)
{
    CMN_ASSERT(iBin.GetPredicateFactory());
    CMN_ASSERT(iRoot);
    mEntries.push_back({BDM_BinHandle(&iBin), iRoot});
    mFactory.reset();
}

void BDM_QueryArea::AddAreaAtFront(BDM_Bin& iBin, const BDM_KeyHandle& iRoot)
{
    CMN_ASSERT(iBin.GetPredicateFactory());
    CMN_ASSERT(iRoot);
    mEntries.insert(mEntries.begin(), {BDM_BinHandle(&iBin), iRoot});
    mFactory.reset();
}

BDM_QueryAreaHandle BDM_QueryArea::ExtractFileSystemArea()
{
    BDM_QueryAreaHandle fileSystem(new BDM_QueryArea);
    const auto isFileSystem = [](const Entry& e)
    { return e.mRoot->GetType() == BDM_Key::eType_FS; };
    for (const Entry& entry : mEntries)
        if (isFileSystem(entry))
            fileSystem->AddArea(*entry.mBin, entry.mRoot);
    if (!fileSystem->IsEmpty())
    {
        std::erase_if(mEntries, isFileSystem);
        mFactory.reset();
    }
    return fileSystem;
}

BDM_PredicateFactory* BDM_QueryArea::GetPredicateFactory()
{
    if (!mFactory)
    {
        std::vector<BDM_BinHandle> bins;
        for (const Entry& entry : mEntries)
            if (std::find(bins.begin(), bins.end(), entry.mBin) == bins.end())
                bins.push_back(entry.mBin);
        mFactory = std::make_unique<BDM_QueryArea_PredicateFactory>(std::move(bins));
    }
    return mFactory.get();
}

std::unique_ptr<BDM_QueryArea_QueryResult>
BDM_QueryArea::Query(const BDM_PredicateHandle& iPredicate)
{
    const BDM_QueryArea_Predicate& predicate = AsArea(iPredicate);
    std::vector<BDM_QueryArea_QueryResult::Root> roots;
    for (const Entry& entry : mEntries)
    {
        const auto binIter = std::find(predicate.mBins.begin(), predicate.mBins.end(), entry.mBin);
        CMN_ASSERT_TEXT(binIter != predicate.mBins.end(), "binIter != predicate->mBins.end()");
        const size_t index = size_t(binIter - predicate.mBins.begin());
        std::unique_ptr<BDM_QueryResult> result =
            entry.mBin->Query(predicate.mPredicates[index], entry.mRoot);
        if (result)
            roots.push_back({entry.mBin, std::move(result)});
    }
    return std::make_unique<BDM_QueryArea_QueryResult>(std::move(roots));
}
