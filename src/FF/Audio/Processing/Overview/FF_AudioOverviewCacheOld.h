// The overview cache file of the older format: read, and appended to. Nothing converts it to
// or from FF_AudioOverviewCache.
//
// Design note.
//
// Layout. An FF_Document (see FF/FF_Document.h) of file type "OvrV", creator "MDul". Its TOC
// holds one stream, "AudioOverviewCacheListStub": the list of entries. The payloads are raw
// bytes of the document, each appended at the end of its data and named by its entry only.
// The list (numbers big-endian, through the cross-platform typed streams):
//
//   int32 count, then count entries, each one block "OVCENT" (standard stream header) of
//   version 1: Sys_Umid FileID (16 bytes), the path as its components (int32 count, then
//   each a string), int64 FileModTime (the audio file's modification time in UTC), int32
//   OverviewSize, int64 OverviewPosition.
//
// Keys (FileID, path components, FileModTime) order by FileID, then the components in
// order (as text), then FileModTime. A file that moves or is rewritten is no longer found.
//
// Reading the list. A count that is negative or cannot fit the list's bytes makes the whole
// cache unreadable. Each entry stands in its own block, so that one that fails to read (a
// later version, a field that lies, a payload outside the document's data) is reported and
// skipped by the block's size; only a block header that itself cannot be read ends the list
// there (what follows cannot be found). A second entry with a key already read is a
// duplicate: the first one wins. Print shows both kinds, with the lines
// " ************** Exception while streaming in cache entry N: ..." and
// "****DUPLICATE!*** : entry N: ...".
//
// Invariants of a consistent cache: the document's own (see FF_Document.h); the list stream
// exists and its count fits; every payload lies between the document header and its TOC.
//
// State. In memory: the entries (the first of each key, in list order) and a dirty flag.
//   Open for reading -> the list is read; an unreadable cache throws L10N 0/54 ("overview
//     cache is invalid"); a missing file throws the system's error.
//   Open for writing -> the same, but a missing file is created, and an unreadable one is
//     deleted and created anew ("rebuilt"). OpenCreate always starts an empty cache.
//   Append -> the payload goes to the end of the document's data (SeekToEnd); an entry of
//     that key takes the new place (the old payload becomes a hole), or a new entry is added
//     at the end of the list; the cache is dirty.
//   Flush -> the list is written anew as the document's stream and the document is
//     flushed: the commit point is the document's header. Close flushes a dirty cache.
// A crash between Append and Flush therefore leaves the cache as it was at the last Flush,
// with some unnamed payload bytes behind its TOC, which the next Flush cuts off. Skipped
// and duplicate entries are not written again by a Flush.
//
// A cache is disposable: a Find that cannot read a payload is a miss (the overview is then
// computed again), never an error for the audio file. Find, Append and Flush on a closed
// cache fail an assertion, as do Append and Flush on one open for reading.
//
// Threads: one thread at a time uses a cache object.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Cmn_Store.h"
#include "Sys_FileLoc.h"
#include "Sys_Umid.h"

class FF_AudioFile;
class FF_AudioOverview;
class FF_Document;

class FF_AudioOverviewCacheOld : public Cmn_Store
{
public:
    static constexpr const char* cListKey = "AudioOverviewCacheListStub";
    static constexpr const char* cFileType = "OvrV";
    static constexpr const char* cCreator = "MDul";
    static constexpr const char* cEntryTag = "OVCENT";
    static constexpr int16_t cEntryVersion = 1;

    struct OverviewKey
    {
        Sys_Umid mFileID;
        std::vector<std::string> mPathComponents;
        int64_t mFileModTime = 0;

        // FileID, then the path components, then FileModTime.
        bool operator<(const OverviewKey& iOther) const;
    };

    struct Entry
    {
        OverviewKey mKey;
        int32_t mOverviewSize = 0;
        int64_t mOverviewPosition = 0;
    };

    // The cache in the file iLoc (which need not exist yet). Nothing is read until Open.
    explicit FF_AudioOverviewCacheOld(const Sys_FileLoc& iLoc);
    // Closes the cache if it is open (flushing a dirty one; failures are swallowed).
    ~FF_AudioOverviewCacheOld() override;

    const Sys_FileLoc& GetFileLoc() const { return mFileLoc; }

    // The key of an audio file: its Sys_Umid (NoID when it has none), the components of its
    // location and its modification time. Opens the file for reading if it is closed, and
    // closes it again. Asserts "iAudioFileP".
    static OverviewKey MakeKey(FF_AudioFile* iAudioFileP);

    // Appends the overview for the file, or for the key (see the design note). Asserts
    // "this->IsOpen() && this->GetOpenFlag() > eOpenFlag_OpenForRead" and
    // "iOverview.HasBytes()". Write failures throw; the cache on disk keeps its last flushed
    // state.
    void Append(FF_AudioFile* iAudioFileP, const FF_AudioOverview& iOverview);
    void Append(const OverviewKey& iKey, const FF_AudioOverview& iOverview);

    // Looks the key up; when found, reads the payload into a new overview, sets
    // *oFileModTimeP (if given) to the entry's FileModTime and returns true. A miss, or a
    // payload that cannot be read, returns false. Asserts "this->IsOpen()".
    bool Find(FF_AudioFile* iAudioFileP, FF_AudioOverview* oOverviewP,
              int64_t* oFileModTimeP = nullptr);
    bool Find(const OverviewKey& iKey, FF_AudioOverview* oOverviewP,
              int64_t* oFileModTimeP = nullptr);

    // Writes the list and commits the document. Asserts as Append.
    void Flush() override;

    // What the file at iLoc holds: the document, each entry in list order, the entries that
    // failed to read and the duplicates (see the design note), or why it cannot be read.
    static void Print(const Sys_FileLoc& iLoc, std::ostream& ioStream);

    // ---- state, for tests and diagnostics ----------------------------------------------
    bool IsDirty() const { return mDirty; }
    // Whether the last Open found the file unreadable and made it anew.
    bool WasRebuilt() const { return mRebuilt; }
    size_t GetNumEntries() const { return mEntries.size(); }
    // The entries in list order (the first of each key).
    const std::vector<Entry>& GetEntries() const { return mEntries; }
    // Entries of the last Open that failed to read, and duplicates it dropped.
    int32_t GetNumSkipped() const { return mNumSkipped; }
    int32_t GetNumDuplicates() const { return mNumDuplicates; }

protected:
    void OpenImpl(EOpenFlag iOpenFlag) override;
    void CloseImpl() override;

private:
    void AssertWritable() const;
    void CreateNew();
    void ReadList();
    void WriteList();

    Sys_FileLoc mFileLoc;
    std::unique_ptr<FF_Document> mDocument;
    std::vector<Entry> mEntries;
    std::map<OverviewKey, size_t> mIndex; // into mEntries
    bool mDirty = false;
    bool mRebuilt = false;
    int32_t mNumSkipped = 0;
    int32_t mNumDuplicates = 0;
};
