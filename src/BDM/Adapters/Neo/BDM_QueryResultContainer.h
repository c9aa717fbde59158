// The result list of a search, kept as a bin so that the browser shows it like any other.
//
// Design:
//  1. A database bin on a scratch file of its own in the temporary folder: the file is made
//     by Open (eOpenFlag_OpenCreate) and goes, with its log, when the container closes. Its
//     root is named "Query Results"; every result is one row below the root.
//  2. A result is an alias: its row holds a copy of the stored attributes of the item found
//     (so the list can be shown and sorted without opening anything), and its asset's cAlias
//     is the (bin, key) of that item, so ResolveAlias gives the item itself. The link lives
//     in memory only, as long as the container: a result list is not kept across runs. A
//     result found in the container itself is a database alias of its row.
//  3. CopyAsset is how a result enters: it answers a lazy object
//     (BDM_QueryResultContainer_AssetCopier) that adds the row when it loads; an item that
//     went away in between adds nothing.
//  4. A result may leave the list (its row goes, the item stays where it is); the root
//     cannot. Children of the root come in the order of SetSortOrder (stored tags only, the
//     unset values last), then in the order of arrival.
// Threads: the browser's thread.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "BDM/Adapters/Neo/BNeoa_Bin.h"
#include "BDM/BDM_LazyObject.h"

class BDM_QueryResultContainer : public BNeoa_Bin
{
public:
    static constexpr const char* cRootName = "Query Results";

    // A container on a new scratch file; Open it with eOpenFlag_OpenCreate before use.
    explicit BDM_QueryResultContainer(BDM_Cache* iCacheP);
    ~BDM_QueryResultContainer() override;

    // A lazy object that adds iSrcKey of iSrcBin as a result below iParentKey (the root when
    // null) when it loads.
    BDM_LazyObjectHandle CopyAsset(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                                   const BDM_KeyHandle& iParentKey) override;
    // Any result; never the root.
    bool CanDeleteAsset(const BDM_KeyHandle& iKey) override;
    bool SupportsSortingNatively() const override { return true; }
    // Orders the results by the stored tags of iOrder (a tag that is not stored is passed
    // over); GetSortOrder answers it back.
    void SetSortOrder(const BDM_SortOrder& iOrder) override;
    const BDM_SortOrder& GetSortOrder() const { return mSortOrder; }

    // Adds one result now (what the copier does when it loads); the new row's key, or null
    // when the item is not there any more.
    BDM_KeyHandle AddResult(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                            const BDM_KeyHandle& iParentKey);
    // The item a result stands for (unset for a key that is no result).
    BDM_Link GetTarget(const BDM_KeyHandle& iKey) const;
    // The results, in the list's order.
    void GetResults(std::list<BDM_KeyHandle>* oKeysP) { GetAsset(GetRoot())->GetChildren(oKeysP); }

protected:
    void OpenImpl(EOpenFlag iOpenFlag) override;
    void CloseImpl() override;
    BDM_Asset* GenerateAsset(const BDM_KeyHandle& iKey) override;
    void DeleteAssetImpl(const BDM_KeyHandle& iKey) override;

private:
    void RemoveFiles();

    std::map<int64_t, BDM_Link> mTargets; // by row ID
    BDM_SortOrder mSortOrder;
};

// Adds one result to a container when it loads.
class BDM_QueryResultContainer_AssetCopier : public BDM_LazyObject
{
public:
    BDM_QueryResultContainer_AssetCopier(BDM_QueryResultContainer& iContainer, BDM_Bin& iSrcBin,
                                         const BDM_KeyHandle& iSrcKey,
                                         const BDM_KeyHandle& iParentKey);
    // The new row's key once loaded (null when the item had gone).
    const BDM_KeyHandle& GetNewKey() const { return mNewKey; }

protected:
    bool Load() override;

private:
    BDM_BinHandle mContainer;
    BDM_BinHandle mSrcBin;
    BDM_KeyHandle mSrcKey;
    BDM_KeyHandle mParentKey;
    BDM_KeyHandle mNewKey;
};
