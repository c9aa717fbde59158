// The candidates for one missing file, for a person to choose from, in the order of the
// search: the databases, then the file system by name, then the file system by identifier.
//
// Load is re-entrant and never waits:
//   1. first entry: status "Searching Databases", search status 1, observers told; the
//      file-system roots are taken out of the area and the rest (the databases) is searched
//      by name or by identifier; the iterator over the result becomes a dependency.
//   2. then, when the area had file-system roots: search status 2, observers told, status
//      "Searching File System By Name", the same with the predicate by name.
//   3. then the same by identifier: "Searching File System By FileID".
//   4. at the end: search status 3, observers told; done.
// A stage without a predicate (the asset has no name, or no identifier) is passed over, so
// an asset without any usable term yields no candidates. GetCandidates keeps the order of
// delivery and each file once; it leaves out the asset itself, files that are not there and
// files in the trash.
// Threads: the thread that drives the queue.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "BDM/BDM_Asset.h"
#include "BDM/BDM_LazyObject.h"
#include "BDM/BDM_QueryArea.h"
#include "BDM/BDM_QueryResultIterator.h"
#include "Cmn_Observable.h"

class BDM_RelinkCandidatesFinder : public BDM_LazyObject,
                                   public Cmn_Observable<BDM_RelinkCandidatesFinder>
{
public:
    enum ESearchStatus : int32_t
    {
        eSearchStatus_NotStarted = 0,
        eSearchStatus_Databases = 1,
        eSearchStatus_FileSystem = 2,
        eSearchStatus_Done = 3
    };
    enum EStage : int32_t
    {
        eStage_Databases = 0,
        eStage_ByName = 1,
        eStage_ByID = 2
    };
    struct Candidate
    {
        BDM_Link mLink;
        Sys_FileLoc mFile; // the file it stands for
        EStage mStage;     // the search that found it
    };

    static constexpr int32_t cLoadNameID = 1248;

    BDM_RelinkCandidatesFinder(const BDM_AssetHandle& iFileToFind, const BDM_QueryAreaHandle& iArea);

    // The terms of iAsset joined by And, made by iFactory; asserts "iByName || iByGUID".
    // By name: cFileName, if set; by identifier: cAssetID, if set and not the empty
    // identifier; a video of format 1500 or 1501 adds its format. Null without a name or
    // identifier term.
    static BDM_PredicateHandle GeneratePredicate(BDM_Asset& iAsset, bool iByName, bool iByGUID,
                                                 BDM_PredicateFactory& iFactory);

    int32_t GetSearchStatus() const { return mSearchStatus; }
    // "Finding relink candidates for %1" with the asset's name.
    std::string GetLoadName() const override;
    bool ShowInTaskManager() const override { return true; }
    // What was found so far, in the order of the search.
    std::vector<Candidate> GetCandidates() const;

protected:
    bool Load() override;

private:
    using IteratorHandle =
        Cmn_PolymorphicHandle<BDM_QueryResultIterator, Sys_ThreadSafeRefCountObject>;
    bool Search(BDM_QueryArea& iArea, const BDM_PredicateHandle& iPredicate, EStage iStage);
    void SetSearchStatus(ESearchStatus iStatus);

    BDM_AssetHandle mFileToFind;
    BDM_QueryAreaHandle mArea;
    BDM_QueryAreaHandle mFileSystemArea;
    int32_t mStage = 0;
    int32_t mSearchStatus = eSearchStatus_NotStarted;
    IteratorHandle mIterators[3]; // databases, by name, by identifier
};
