// Finds files by a generated predicate over a query area: the databases first, then the
// file system.
//
// Load is a state machine that never waits:
//   stage 0: status "Searching for files"; the area is split by ExtractFileSystemArea. If
//            database roots are left, the generator makes the predicate with their factory,
//            status "Searching Databases For: %1", and an iterator over their result becomes
//            a dependency.
//   stage 1: if the area had file-system roots, the same for them, with status
//            "Searching File System For: %1".
//   stage 2: done; the search ends when both iterators have ended.
// A generator that answers a null predicate searches nothing in that part. Cancel and
// progress are those of every lazy object: CancelLoading stops the iterators; the units
// completed count the files found.
// Threads: the thread that drives the queue.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "BDM/BDM_LazyObject.h"
#include "BDM/BDM_QueryArea.h"
#include "BDM/BDM_QueryResultIterator.h"

class BDM_FileFinder : public BDM_LazyObject
{
public:
    class PredicateGenerator
    {
    public:
        virtual ~PredicateGenerator() = default;
        // The predicate of the search, made by iFactory; null to search nothing there.
        virtual BDM_PredicateHandle GeneratePredicate(BDM_PredicateFactory& iFactory) = 0;
        // What is searched for: the %1 of the status texts.
        virtual std::string GetDescription() const = 0;
    };

    // The finder takes the file-system roots out of iArea (ExtractFileSystemArea) when it
    // begins; iArea keeps the database roots.
    BDM_FileFinder(const BDM_QueryAreaHandle& iArea, std::unique_ptr<PredicateGenerator> iGenerator,
                   bool iSkipOffline = false);

    // Where both searches also keep what they find (a BDM_QueryResultContainer, say); set
    // before the finder first loads.
    void SetTargetBin(BDM_Bin* iBinP) { mTarget = BDM_BinHandle(iBinP); }
    // What was found so far: the databases' files, then the file system's.
    std::vector<BDM_Link> GetResults() const;
    int32_t GetStage() const { return mStage; }

protected:
    bool Load() override;

private:
    bool Search(BDM_QueryArea& iArea, int32_t iStatusID);

    BDM_QueryAreaHandle mArea;
    BDM_QueryAreaHandle mFileSystemArea;
    std::unique_ptr<PredicateGenerator> mGenerator;
    bool mSkipOffline;
    BDM_BinHandle mTarget;
    int32_t mStage = 0;
    Cmn_PolymorphicHandle<BDM_QueryResultIterator, Sys_ThreadSafeRefCountObject> mDatabases;
    Cmn_PolymorphicHandle<BDM_QueryResultIterator, Sys_ThreadSafeRefCountObject> mFileSystem;
};
