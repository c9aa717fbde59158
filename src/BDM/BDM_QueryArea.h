// One search spread over several bins: the query area, its predicates and its result.
//
// An area is an ordered list of (bin, root key) pairs. Its factory makes, for one term, an
// inner predicate by the factory of each of the area's bins (each bin once, in the order in
// which the bins first appear); And and Or join two such predicates bin by bin, through that
// bin's own factory. The area's Query asks each root's bin for a result below that root and
// hands the keys out root after root, in the area's order; AddAreaAtFront makes a root be
// searched first. ExtractFileSystemArea takes the file-system roots out into an area of their
// own, so that a caller can search the databases first and the file system after them.
//
// Invariants:
//  1. A predicate of the area holds one inner predicate per bin of the factory that made
//     it, in the same order; And and Or of predicates from different areas (other bins, or
//     another count) is a programming fault.
//  2. Every bin of an area can be searched (GetPredicateFactory answers non-null).
//  3. A result delivers each inner result's keys in turn; a root whose result ended is left
//     for good; the time budget of Next covers the whole call across roots.
// Threads: the browser's thread. The area is counted (interlocked) so that a finder and its
// caller may share it.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "BDM/BDM_Bin.h"
#include "BDM/BDM_Query.h"
#include "Cmn_PolymorphicHandle.h"
#include "Sys_ThreadSafeRefCountObject.h"

class BDM_QueryArea_Predicate : public BDM_Predicate
{
public:
    // The area's predicates belong to no one bin kind.
    BDM_Key::EType GetKeyType() const override { return BDM_Key::eType_Workspace; }

    std::vector<BDM_BinHandle> mBins;
    std::vector<BDM_PredicateHandle> mPredicates;
};

class BDM_QueryArea_PredicateFactory : public BDM_PredicateFactory
{
public:
    // Each bin must have a predicate factory of its own.
    explicit BDM_QueryArea_PredicateFactory(std::vector<BDM_BinHandle> iBins);

    // A BDM_QueryArea_Predicate with one inner term per bin.
    BDM_PredicateHandle MakePredicate(const BDM_AttributeValue& iValue,
                                      ERelation iRelation) override;
    // Pairwise by bin; asserts "left->mBins.size() == right->mBins.size()",
    // "left->mBins[index] == right->mBins[index]" and
    // "left->mPredicates.size() == right->mPredicates.size()".
    BDM_PredicateHandle And(const BDM_PredicateHandle& iLeft,
                            const BDM_PredicateHandle& iRight) override;
    BDM_PredicateHandle Or(const BDM_PredicateHandle& iLeft,
                           const BDM_PredicateHandle& iRight) override;

    const std::vector<BDM_BinHandle>& GetBins() const { return mBins; }

private:
    BDM_PredicateHandle Join(const BDM_PredicateHandle& iLeft, const BDM_PredicateHandle& iRight,
                             bool iAnd);

    std::vector<BDM_BinHandle> mBins;
};

class BDM_QueryArea_QueryResult : public BDM_QueryResult
{
public:
    struct Root
    {
        BDM_BinHandle mBin;
        std::unique_ptr<BDM_QueryResult> mResult;
    };
    explicit BDM_QueryArea_QueryResult(std::vector<Root> iRoots);

    // The next key of the current root, else of the roots after it; 1 when iMilliseconds
    // ran out (0 or less: at once, unless every root has ended); 2 when every root has.
    EResult Next(BDM_KeyHandle* oKeyP, int32_t iMilliseconds) override;
    // The bin of the key that Next delivered last (null before the first).
    BDM_Bin* GetBinOfLastKey() const { return mLastBinP; }

private:
    std::vector<Root> mQueryRoots;
    size_t mCurrent = 0;
    BDM_Bin* mLastBinP = nullptr;
};

class BDM_QueryArea;
using BDM_QueryAreaHandle = Cmn_PolymorphicHandle<BDM_QueryArea, Sys_ThreadSafeRefCountObject>;

class BDM_QueryArea : public Sys_ThreadSafeRefCountObject
{
public:
    struct Entry
    {
        BDM_BinHandle mBin;
        BDM_KeyHandle mRoot;
    };

    BDM_QueryArea() = default;
    BDM_QueryArea(const BDM_QueryArea&) = delete;
    BDM_QueryArea& operator=(const BDM_QueryArea&) = delete;

    // Appends a root (asserts "iBin.GetPredicateFactory()" and a root key). A change of the
    // area makes a new factory: predicates made before it belong to the old area.
    void AddArea(BDM_Bin& iBin, const BDM_KeyHandle& iRoot);
    void AddAreaAtFront(BDM_Bin& iBin, const BDM_KeyHandle& iRoot);
    // Takes the roots with file-system keys out of this area, in their order, into a new
    // area (which may be empty).
    BDM_QueryAreaHandle ExtractFileSystemArea();

    const std::vector<Entry>& GetEntries() const { return mEntries; }
    bool IsEmpty() const { return mEntries.empty(); }
    // The factory of this area's predicates; valid until the area changes.
    BDM_PredicateFactory* GetPredicateFactory();
    // A search of every root (asserts "binIter != predicate->mBins.end()" for a root whose
    // bin the predicate does not know, and that the predicate is an area predicate).
    std::unique_ptr<BDM_QueryArea_QueryResult> Query(const BDM_PredicateHandle& iPredicate);

private:
    std::vector<Entry> mEntries;
    std::unique_ptr<BDM_QueryArea_PredicateFactory> mFactory;
};
