// The consumer of a search: a lazy object that pulls keys from a query result within a
// budget of 30,000 microseconds per entry, and keeps what it found as (bin, key) links.
//
// Each Load computes its deadline as now plus the budget and calls Next with the whole
// milliseconds left, recomputed after each key, while at least one is left; a timed-out Next
// is no error: Load answers false and the queue enters it again. The end of the result ends
// the iterator for good. A key found twice (overlapping roots) is kept once. With
// iSkipOffline, a file-system key whose file does not exist is passed over.
// With a target bin (a BDM_QueryResultContainer), each key found is also copied below the
// target's root (its CopyAsset): the copies are dependencies, so the iterator has loaded
// only when every copy has.
// Threads: the thread that drives the queue.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include "BDM/BDM_LazyObject.h"
#include "BDM/BDM_Query.h"

class BDM_QueryArea_QueryResult;

class BDM_QueryResultIterator : public BDM_LazyObject
{
public:
    static constexpr int64_t cBudgetMicroseconds = 30000;

    // A result of one bin (iBin must outlive the iterator's work; it is counted).
    BDM_QueryResultIterator(std::unique_ptr<BDM_QueryResult> iResult, BDM_Bin& iBin,
                            bool iSkipOffline = false);
    // A result of an area: each key's bin is the one that delivered it.
    explicit BDM_QueryResultIterator(std::unique_ptr<BDM_QueryArea_QueryResult> iResult,
                                     bool iSkipOffline = false);
    ~BDM_QueryResultIterator() override;

    // Where the results are also kept; set before the iterator first loads.
    void SetTargetBin(BDM_Bin* iBinP) { mTarget = BDM_BinHandle(iBinP); }
    BDM_Bin* GetTargetBin() const { return mTarget.Get(); }
    const std::vector<BDM_Link>& GetResults() const { return mResults; }
    bool HasEnded() const { return mEnded; }

protected:
    bool Load() override;

private:
    std::unique_ptr<BDM_QueryResult> mResult;
    BDM_QueryArea_QueryResult* mAreaResultP = nullptr; // mResult, when it is an area's
    BDM_BinHandle mBin;
    BDM_BinHandle mTarget;
    bool mSkipOffline;
    bool mEnded = false;
    std::vector<BDM_Link> mResults;
    std::set<BDM_CacheKey> mFound;
};
