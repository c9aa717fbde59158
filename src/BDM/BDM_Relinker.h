// Relinking: finding again the files that catalog or session entries refer to after the
// files have moved, and linking the entries to them.
//
// Nothing is scored: a candidate either passes the entry's predicate or it does not, and the
// first that passes in the order of the search wins.
//
// The predicate of an entry (GeneratePredicate), its terms joined by And in this order:
//   1. The format is read; a video of format 1500 or 1501 is searched by identifier,
//      whatever the by-identifier switch says.
//   2. An embedded file (offset above 0): the term on its offset.
//   3. By name: the name of the entry's stored location (which must be known).
//   4. By identifier: the asset ID, when the entry has one.
//   5. Audio: the sample count, unless it is 0 or -1 (not known).
//   6. No term so far: no predicate; the entry cannot be searched and stays unfound.
//   7. The format: for a video only when it is neither 1500 nor 1501, otherwise when it is
//      known (not 0).
//   8. The modification date, when set and not 0.
//
// BDM_Relinker::Load is re-entrant and never waits; each entry spends at most
// cBudgetMicroseconds:
//   stage 0: the entries' assets and stored locations are read; the file-system roots are
//            taken out of the area (ExtractFileSystemArea), the rest are the databases.
//   stage 1: the databases, entry by entry: a query of the area by the entry's predicate;
//            each entry delivered is tried (LinkIfMatch) until one passes.
//   stage 2: the file-system roots, in the area's order, each walked once for all the
//            entries still unfound: a file is a candidate of an entry searched by name when
//            the names agree, of one searched by identifier when the identifiers agree, and
//            of every other searchable entry; an entry's candidates are tried in the order
//            of the walk, and the first that passes wins. When every entry left is audio
//            known by its identifier alone, the walk looks at audio files only.
//   stage 3: Finalize.
// LinkIfMatch tries one candidate: its file must exist and lie outside the trash, and the
// file-system asset of that file must pass the entry's predicate (made by the file-system
// bin's factory). Link sets the entry's cLink; an entry of a catalog also takes the found
// file's location (path components, volume and, where no sibling has it, the name), so that
// the catalog keeps it. The touched bins are committed every cCommitInterval links and by
// Finalize, which also counts the entries left unfound and makes the report (message 1289).
// With SetDryRun the relinker finds and reports but changes no entry.
// Threads: the thread that drives the queue.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "BDM/BDM_Asset.h"
#include "BDM/BDM_LazyObject.h"
#include "BDM/BDM_QueryArea.h"
#include "BDM/BDM_Settings.h"
#include "Sys_FileLoc.h"
#include "Sys_Umid.h"

class Sys_FileLocIterator;

class BDM_Relinker : public BDM_LazyObject
{
public:
    // The user's choices, kept by BDM_Settings::GetRelinkerSettings: mMatchFlags holds the
    // EMatchFlags; mSearchAllVolumes asks the caller to put every volume into the area.
    using Settings = BDM_Settings::RelinkerSettings;
    enum EMatchFlags : int32_t
    {
        eMatch_ByName = 1,
        eMatch_ByID = 2
    };

    static constexpr int64_t cBudgetMicroseconds = 30000;
    static constexpr int32_t cCommitInterval = 256;
    static constexpr int32_t cFilesNotFoundID = 1289;

    // How the relinker reaches the file system's assets; the file-system adapter installs
    // both: the key of the file at a location, and whether a predicate of that bin's factory
    // holds for an asset of it.
    using FileKeyFactory = BDM_KeyHandle (*)(const Sys_FileLoc& iFile);
    using FileTester = bool (*)(const BDM_Predicate& iPredicate, BDM_Asset& iAsset);
    static void SetFileSystemHooks(FileKeyFactory iFactory, FileTester iTester);
    // Assert "sFileKeyFactory" and "sFileTester".
    static BDM_KeyHandle MakeFileKey(const Sys_FileLoc& iFile);
    static bool TestFile(const BDM_Predicate& iPredicate, BDM_Asset& iAsset);

    // What became of one entry.
    struct Outcome
    {
        BDM_Link mEntry;
        Sys_FileLoc mFrom; // the stored location
        Sys_FileLoc mTo;   // the file found; empty when none was
    };

    // Works through iMissing (entries of any bins) over iArea, which it splits as it begins.
    BDM_Relinker(const std::vector<BDM_Link>& iMissing, const BDM_QueryAreaHandle& iArea,
                 bool iByName, bool iByID);
    BDM_Relinker(const std::vector<BDM_Link>& iMissing, const BDM_QueryAreaHandle& iArea,
                 const Settings& iSettings);
    ~BDM_Relinker() override;

    // The entries below iRoot of iBin (never containers) that have a stored location whose
    // file is not there, in the order of the tree.
    static void CollectMissingFiles(BDM_Bin& iBin, const BDM_KeyHandle& iRoot,
                                    std::vector<BDM_Link>* oMissingP);
    // Where an entry's file is, or was when the entry was made: the file behind it, else its
    // stored path components. False when it has neither.
    static bool GetStoredLocation(BDM_Asset& iAsset, Sys_FileLoc* oLocP);

    // The predicate of the entry being searched (iFileToFind), made by iFactory; null when
    // no term stands (see the design note).
    BDM_PredicateHandle GeneratePredicate(BDM_PredicateFactory& iFactory);
    // Tries iCandidate for the entry being searched; links it and answers true when it passes.
    bool LinkIfMatch(BDM_Asset& iCandidate);
    // Links the entry iAsset to iFound (asserts "linkAttribute").
    void Link(BDM_Asset& iAsset, BDM_Asset& iFound);
    // Links the entry being searched to iFound, the file at iFile, without a test (a copy
    // known to be it) and counts it found.
    void LinkFound(BDM_Asset& iFound, const Sys_FileLoc& iFile);
    // Commits the touched bins (not in a dry run), counts what is left and makes the report.
    void Finalize();

    void SetDryRun(bool iDryRun) { mDryRun = iDryRun; }
    // The status text of the stage at hand.
    std::string GetSearchStatus() const { return GetStatusMessage(); }
    std::string GetLoadName() const override;
    ErrorHandler GetLoadErrorHandler() const override;
    bool ShowInTaskManager() const override { return true; }

    // Makes the entry at iIndex of the list the one being searched (iFileToFind).
    void SetFileToFind(size_t iIndex);
    size_t GetNumFiles() const { return mEntries.size(); }
    // Every entry in the order given, with what was found for it.
    std::vector<Outcome> GetOutcomes() const;
    int32_t GetNumFound() const { return mNumFound; }
    int32_t GetNumNotFound() const { return int32_t(mEntries.size()) - mNumFound; }
    // The text of message 1289 with the number left unfound (after Finalize; empty when
    // every entry was found).
    const std::string& GetReport() const { return mReport; }
    int32_t GetStage() const { return mStage; }

protected:
    bool Load() override;

private:
    struct Entry
    {
        BDM_Link mLink;
        BDM_AssetHandle mAsset;
        Sys_FileLoc mStored;
        std::string mName;
        Sys_Umid mID;
        bool mHasName = false;
        bool mHasID = false;
        bool mFound = false;
        bool mPredicateMade = false;
        BDM_PredicateHandle mFilePredicate; // made by the file-system bin's factory
        Sys_FileLoc mFoundLoc;
    };

    void Prepare();
    bool SearchDatabases(int64_t iDeadline);
    bool SearchFileSystem(int64_t iDeadline);
    void BeginWalk();
    void TryFile(const Sys_FileLoc& iFile);
    const BDM_PredicateHandle& FilePredicate(Entry& ioEntry);
    void Found(Entry& ioEntry, const Sys_FileLoc& iLoc);
    void CommitTouched();

    std::vector<Entry> mEntries;
    BDM_QueryAreaHandle mArea;
    BDM_QueryAreaHandle mFileSystemArea;
    bool mByName;
    bool mByID;
    bool mDryRun = false;
    int32_t mStage = 0;
    size_t mFileToFind = 0; // iFileToFind: the index of the entry being searched
    int32_t mNumFound = 0;
    int32_t mSinceCommit = 0;
    std::set<BDM_Bin*> mTouched;
    std::vector<BDM_BinHandle> mTouchedHold;
    std::string mReport;
    // The database stage: the query of the entry at hand.
    std::unique_ptr<BDM_QueryArea_QueryResult> mDatabaseResult;
    // The file-system stage: the root at hand and its walk.
    size_t mRoot = 0;
    std::unique_ptr<Sys_FileLocIterator> mWalk;
    std::string mRootPath;
    std::multimap<std::string, size_t> mByNameIndex; // folded name -> entry
    std::multimap<Sys_Umid, size_t> mByIDIndex;
    std::vector<size_t> mUnkeyed;
    static FileKeyFactory sFileKeyFactory;
    static FileTester sFileTester;
};
