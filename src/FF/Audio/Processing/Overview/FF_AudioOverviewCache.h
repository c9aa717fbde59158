// The overview cache file: waveform overviews of many audio files in one file, found by a
// key made from each audio file.
//
// Design note.
//
// Layout (numbers big-endian, through the cross-platform typed streams):
//
//   0                 block "DOVCHC", version 1 (standard stream header): int64
//                     mIndexPosition, int32 mIndexSize (the index block's bytes, header
//                     included), 64 reserved bytes of zero. 88 bytes in all.
//   88                payloads, one after another, no headers; holes where a payload moved.
//   mIndexPosition    block "CCHIDX", version 1: int32 count, then the entries in key order:
//                     Sys_Umid FileID, Sys_FileLoc Path (its "SFL" stream form), int64
//                     FileModTime (the audio file's creation time, Sys_FileUtils::
//                     GetCreatedUTC), int64 EmbeddedFileOffset, int64 OverviewPosition,
//                     int32 OverviewSize.
//
// Keys order by EmbeddedFileOffset, FileID, the name of Path (its last component only) and
// FileModTime: a file that is moved stays found as long as its name is the same.
//
// Invariants of a consistent file (checked when the index is read; a file that breaks one
// is unreadable):
//  1. The header block parses, its version is 1, and 88 <= mIndexPosition and
//     mIndexPosition + mIndexSize <= end of file.
//  2. The index block lies at mIndexPosition within mIndexSize bytes, its version is 1,
//     and its count of entries fits in its bytes.
//  3. Every payload lies between the header and the index: 88 <= OverviewPosition and
//     OverviewPosition + OverviewSize <= mIndexPosition; sizes are not negative.
//  4. Keys stand in strictly ascending order: no key twice.
//  5. The index is the last thing in the file: Flush cuts the file after it.
//
// State. In memory: the map of entries, mIndexPosition (where the next appended payload and
// the next index go), the dirty flag, and the modified time and length of the file as last
// written or read (so that reopening an unchanged file does not read the index again).
//
//   Open (missing file, write flag) -> CreateNew: header + empty index on disk, clean.
//   Open (existing file) -> the index is read unless the file is unchanged since this object
//     last wrote or read it; an unreadable file is deleted and created anew when the flag
//     allows writing ("rebuilt"), and reported (L10N 0/54, "overview cache is invalid")
//     otherwise.
//   Add -> the payload is written in place (an entry of that key whose room is large enough)
//     or at mIndexPosition (new key, or a larger payload: the old room becomes a hole), and
//     mIndexPosition moves past it: the index on disk is overwritten, the file is now
//     inconsistent, the cache dirty.
//   Flush -> the index at mIndexPosition, then the header naming it, then the file cut after
//     the index: consistent and clean again. Close flushes a dirty cache if its volume is
//     still there.
//
// A crash between Add and Flush leaves the header naming the old index, whose first bytes a
// payload has overwritten: the next Open fails invariant 2 (or 3, 4) and rebuilds an empty
// cache. A crash in the middle of Flush leaves either the old header (same case) or a
// header whose index is complete. An in-place Add touches no index: after a crash the old
// index still stands, and its entry may name the old size of the payload rewritten in place
// (a reader that checks the size against the audio file's sample count drops it). No case
// ever touches an audio file: a cache holds copies only, and any failure to read it is
// answered by rebuilding it.
//
// Threads: one thread at a time uses a cache object. Opening it from two objects (or two
// processes) at once is not supported; the last Flush wins.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <vector>

#include "Cmn_Store.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverview.h"
#include "Sys_FileLoc.h"
#include "Sys_Umid.h"

class Sys_File;

class FF_AudioOverviewCache : public Cmn_Store
{
public:
    static constexpr const char* cHeaderTag = "DOVCHC";
    static constexpr const char* cIndexTag = "CCHIDX";
    static constexpr int16_t cVersion = 1;
    static constexpr int32_t cReservedBytes = 64;
    // Magic (6), version (2), size (4), mIndexPosition (8), mIndexSize (4), reserved (64).
    static constexpr int32_t cHeaderSize = 88;
    // The name of the cache file in a folder of caches.
    static constexpr const char* cCacheFileName = "WaveCache";

    struct OverviewKey
    {
        Sys_Umid mFileID;
        Sys_FileLoc mPath;
        int64_t mFileModTime = 0;
        int64_t mEmbeddedFileOffset = 0;

        // EmbeddedFileOffset, FileID, the name of Path, FileModTime.
        bool operator<(const OverviewKey& iOther) const;
    };

    struct Entry
    {
        OverviewKey mKey;
        int64_t mOverviewPosition = 0;
        int32_t mOverviewSize = 0;
    };

    // The cache in the file iLoc (which need not exist yet). Nothing is read until Open.
    explicit FF_AudioOverviewCache(const Sys_FileLoc& iLoc);
    // Closes the cache if it is open (flushing a dirty one; failures are swallowed).
    ~FF_AudioOverviewCache() override;

    const Sys_FileLoc& GetFileLoc() const { return mFileLoc; }

    // The key of an audio file: its Sys_Umid (NoID when it has none), its location, its
    // creation time and its embedded offset. Opens the file for reading if it is closed, and
    // closes it again. Asserts "iAudioFileP".
    static OverviewKey MakeKey(FF_AudioFile* iAudioFileP);

    // Stores the overview for the file, or for the key: see the design note. Asserts
    // "this->IsOpen() && this->GetOpenFlag() > eOpenFlag_OpenForRead" and
    // "iOverview.HasBytes()". Write failures throw; the cache is then dirty and inconsistent
    // on disk, and is rebuilt when next opened if it is not flushed.
    void Add(FF_AudioFile* iAudioFileP, const FF_AudioOverview& iOverview);
    void Add(const OverviewKey& iKey, const FF_AudioOverview& iOverview);

    // Looks the key up; when found, reads the payload into a new overview, sets
    // *oFileModTimeP (if given) to the entry's FileModTime and returns true. A miss, or a
    // payload that cannot be read in full, returns false. Asserts "this->IsOpen()".
    bool Find(FF_AudioFile* iAudioFileP, FF_AudioOverview* oOverviewP,
              int64_t* oFileModTimeP = nullptr);
    bool Find(const OverviewKey& iKey, FF_AudioOverview* oOverviewP,
              int64_t* oFileModTimeP = nullptr);

    // Find for many files at once: each file found gets its overview property set (as if
    // read from the file: not dirty) and, in *oOverviewsP (if given, one per file, in the
    // order of iFiles), a LockingRef of the overview; a file not found gets an empty
    // LockingRef. The payloads are read through one stream, in file order. Returns the
    // number found. Asserts "this->IsOpen()".
    int32_t FindAndSync(const std::vector<FF_AudioFileRef>& iFiles,
                        std::vector<FF_AudioOverview::LockingRef>* oOverviewsP = nullptr);

    // Writes the index and the header (see the design note). Asserts as Add.
    void Flush() override;
    // Forgets every entry: the file is made anew, empty. Asserts as Add.
    void Empty();

    // What the file at iLoc holds: header, entries, and what is wrong if it cannot be read.
    static void Print(const Sys_FileLoc& iLoc, std::ostream& ioStream);

    // ---- state, for tests and diagnostics ----------------------------------------------
    int64_t GetIndexPosition() const { return mIndexPosition; }
    int32_t GetIndexSize() const { return mIndexSize; }
    bool IsDirty() const { return mDirty; }
    // Whether the last Open found the file unreadable and made it anew.
    bool WasRebuilt() const { return mRebuilt; }
    size_t GetNumEntries() const { return mIndex.size(); }
    // The entries in key order.
    std::vector<Entry> GetEntries() const;

protected:
    void OpenImpl(EOpenFlag iOpenFlag) override;
    void CloseImpl() override;

private:
    void AssertWritable() const;
    void CreateNew();
    // Reads header and index into the map (one read of the whole index). Throws on any
    // inconsistency; the map is then left empty.
    void CacheIndex();
    void WriteIndex();
    void WriteFileHeader();
    void WriteAt(int64_t iPosition, const void* iBytesP, int64_t iCount);
    void RememberFileState();
    bool IsFileUnchanged() const;

    Sys_FileLoc mFileLoc;
    std::unique_ptr<Sys_File> mFile;
    std::map<OverviewKey, Entry> mIndex;
    int64_t mIndexPosition = cHeaderSize;
    int32_t mIndexSize = 0;
    bool mDirty = false;
    bool mIndexCached = false;
    bool mRebuilt = false;
    int64_t mKnownModTime = -1;
    int64_t mKnownLength = -1;
};
