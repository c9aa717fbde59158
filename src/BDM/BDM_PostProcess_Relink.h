// The relink that follows a copy: once a BDM_RecursiveAssetCopier has copied a folder's
// tree, the entries that referred to files of that tree are linked to the copies.
//
// Load runs once, as the copier's post-process: the locations of the copied folder and of
// its copy are read from the copier; each entry whose stored location lies inside the folder
// is linked (BDM_Relinker::LinkFound, no predicate: a copy is the file) to the file at the
// same place inside the copy, when that file is there. The touched bins are committed; an
// entry whose copy is missing stays as it was and counts in the report (message 1289).
// Entries outside the copied folder are left alone. A copy of a single file has no copied
// folder: nothing is relinked.
// Threads: the thread that drives the queue.
#pragma once

#include <string>
#include <vector>

#include "BDM/BDM_Iterator.h"
#include "BDM/BDM_Relinker.h"

class BDM_PostProcess_Relink : public BDM_RecursiveAssetCopier::PostProcess
{
public:
    explicit BDM_PostProcess_Relink(const std::vector<BDM_Link>& iEntries);

    // The entries inside the copied folder and their copies (after Load).
    std::vector<BDM_Relinker::Outcome> GetOutcomes() const;
    // Message 1289 with the number of entries inside the folder whose copy is missing; empty
    // when there is none.
    std::string GetReport() const;

protected:
    bool Load() override;

private:
    std::vector<BDM_Link> mEntries;
    Cmn_PolymorphicHandle<BDM_Relinker, Sys_ThreadSafeRefCountObject> mRelinker;
};
