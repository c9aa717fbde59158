// Changes of a few regions of a file that stands (its header, its metadata), made whole or
// not at all across a failure, a kill or a power cut: an undo journal beside the file.
//
// The journal of the file at "FOLDER/NAME" is the hidden file "FOLDER/.NAME.mfjournal" (the
// file's path with symbolic links resolved). It holds, little-endian:
//
//     "MFJOURNL"                      8 bytes
//     version 2, region count         uint32, uint32
//     the file's old length           int64
//     the file's device and inode     uint64, uint64 (not in version 1)
//     per region: offset, length      int64, int64, then the region's old bytes
//     checksum                        uint64, FNV-1a over every byte before it (in
//                                     64-bit words in version 2: Checksummer)
//
// Version 1 (without the identity) is still read.
//
// Design:
//  1. Add names the regions about to change (clipped to the old length; a region at or past
//     the old end costs nothing, the old length restores it). Begin saves their old bytes,
//     creates the journal exclusively, locks it (flock) for as long as the change lasts,
//     writes and syncs it and syncs the folder. Only then may the caller write the regions
//     and set the length. Commit syncs the file and removes the journal; Undo (after a
//     failure part way) writes the old bytes back, restores the length, syncs and removes
//     the journal. A journal that stays (a kill, a failed undo) is undone at the next open.
//  2. Old bytes up to cMemoryBound in all are read into memory and the journal is written in
//     one go (a header or a metadata chunk: cheap). More (samples that move) are streamed file
//     to file in blocks of cBlockSize, the checksum summed on the way, after room for the
//     whole journal was asked of the file system; Undo and recovery stream them back the
//     same way. No buffer is larger than cBlockSize, whatever the journal holds. A journal
//     that cannot be written (a full disk) goes before the file is touched.
//  3. Recover runs at every open of a file on this host. A journal locked by a live change
//     (of this process or another) is left alone. A whole one (its checksum right) rolls the
//     file back as Undo does and goes. A torn one (the crash came while it was written, so
//     the file was not yet touched) just goes. The journal of a file with several names
//     (hard links) is also named after the file's identity (IdentityJournalPath), so that an
//     open through any of its names in that folder finds it; such a journal whose identity is
//     not the file's is stale and goes.
//  4. A journal's numbers are trusted no more than any file's: at most cMaxRegions regions,
//     each non-empty, inside the old length and starting inside the file as it is now (a
//     change shrinks the file only to where the saved cut bytes start), the bytes must add up
//     to the journal's size, and the old length may not exceed both the file's length and the
//     end of the last region. A journal that breaks this is torn. So a rollback never writes
//     outside [0, old length) and grows the file by no more than the journal's size.
//  5. Reads, writes and syncs of the journal and of the rollback ask the fault hook first.
//
// Contract: one change of a file at a time per journal object; not copyable. Failures throw
// Sys_OSErrException with the errno value and the path.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class Sys_FileJournal
{
public:
    static constexpr const char* cSuffix = ".mfjournal";
    static constexpr char cMagic[9] = "MFJOURNL";
    static constexpr uint32_t cVersion = 2;
    static constexpr size_t cHeaderSize = 40;   // of version 2
    static constexpr size_t cHeaderSizeV1 = 24; // of version 1
    static constexpr uint32_t cMaxRegions = 4096;
    static constexpr int64_t cMemoryBound = int64_t(4) << 20;
    static constexpr size_t cBlockSize = size_t(1) << 20;
    static constexpr size_t cRegionHeaderSize = 16;
    static constexpr size_t cChecksumSize = 8;

    struct Region
    {
        int64_t mOffset = 0;
        int64_t mLength = 0;
        std::vector<unsigned char> mBytes; // the old bytes (in a parsed journal)
        int64_t mJournalOffset = 0;        // where they lie in the journal
    };
    struct Contents
    {
        int64_t mOldLength = 0;
        std::vector<Region> mRegions;
        uint32_t mVersion = cVersion;
        uint64_t mDevice = 0; // of the file (version 2)
        uint64_t mInode = 0;
    };

    enum EState
    {
        eState_Torn = 0,
        eState_Whole = 1
    };

    // iPath: the file to change, which must exist.
    explicit Sys_FileJournal(const std::string& iPath);
    // A journal begun and neither committed nor undone stays for the next open.
    ~Sys_FileJournal();
    Sys_FileJournal(const Sys_FileJournal&) = delete;
    Sys_FileJournal& operator=(const Sys_FileJournal&) = delete;

    // Before Begin: [iOffset, iOffset + iLength) is about to change. Overlaps merge.
    void Add(int64_t iOffset, int64_t iLength);
    void Begin();
    void Commit();
    // Never throws: false when the rollback failed and the journal stays.
    bool Undo() noexcept;
    bool IsBegun() const { return mJournalFD >= 0; }

    // The journal of the file at iPath (links not resolved).
    static std::string JournalPath(const std::string& iPath);
    // The journal of a file with several names: in the folder of iPath, named after the file's
    // device and inode.
    static std::string IdentityJournalPath(const std::string& iPath, uint64_t iDevice,
                                           uint64_t iInode);
    // Undoes a journal left beside the file at iPath (see 2). True when there was one to
    // handle (rolled back or removed).
    static bool Recover(const std::string& iPath);
    // The image of a journal.
    static std::vector<unsigned char> Build(const Contents& iContents);
    // Whole when the image holds a journal by 3 for a file now iFileLength long.
    static EState Parse(const unsigned char* iDataP, size_t iSize, int64_t iFileLength,
                        Contents* oContentsP);
    // The checksum of a journal of that version, summed over its bytes given in pieces of any
    // size: FNV-1a over the bytes for version 1, over little-endian 64-bit words for version 2
    // (eight times fewer steps: it runs over every byte that moves), a last short word taken
    // with its missing high bytes zero.
    class Checksummer
    {
    public:
        explicit Checksummer(uint32_t iVersion = cVersion) : mWords(iVersion != 1) {}
        void Add(const unsigned char* iDataP, size_t iSize);
        uint64_t Get() const;

    private:
        bool mWords;
        uint64_t mHash = 14695981039346656037ull;
        unsigned char mCarry[8] = {};
        size_t mCarried = 0;
    };
    static uint64_t Checksum(const unsigned char* iDataP, size_t iSize,
                             uint32_t iVersion = cVersion);

    // Fault injection for tests: asked before every read, write and sync; a result other than
    // 0 fails the operation with that error.
    enum EOperation
    {
        eOperation_Read = 0,
        eOperation_Write = 1,
        eOperation_Sync = 2
    };
    using FaultHook = int32_t (*)(EOperation iOperation);
    static void SetFaultHook(FaultHook iHook);
    // For tests: old bytes above iMemoryBound in all are streamed in blocks of iBlockSize
    // (at most cBlockSize); SetStreaming(cMemoryBound, cBlockSize) is the default.
    static void SetStreaming(int64_t iMemoryBound, size_t iBlockSize);

private:
    // The context of a failure of the journal: the file, then the journal.
    std::string JournalContext() const;

    std::string mPath;        // the file, links resolved
    std::string mJournalPath; // beside it
    std::vector<Region> mRegions;
    int64_t mOldLength = 0;
    bool mStreamed = false; // the old bytes are in the journal only
    int mFileFD = -1;
    int mJournalFD = -1;
};
