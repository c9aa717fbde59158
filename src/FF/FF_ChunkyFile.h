// The chunk engine: a file made of a header and a list of chunks.
//
// Design:
//  1. mChunks holds the chunks in file order; each chunk's position is where its header
//     starts. The engine knows no format: a subclass gives the file, the header, the
//     alignment, the user data and the factory of chunks (ReadNextChunk).
//  2. ParseChunks builds the list once. It reads at most cMaxChunks chunks, always steps
//     over a pad byte after an odd size, never seeks past the end of the file, and stops at
//     the raw size of the form. A size that lies therefore ends the parse; it is never used
//     to allocate.
//  3. PositionChunks lays the list out from the end of the file header, each chunk at a
//     multiple of the alignment. A chunk that has to move, or that needs writing, is read
//     into memory first if it can be cached (a moved one is then marked to be written);
//     otherwise its bytes are moved on disk. Moves down run front to back, moves up back to
//     front, so overlapping moves are safe.
//  4. FlushChunks = PositionChunks with moves, then the file header and every chunk that
//     needs sync are written, then the file ends where the last chunk ends.
//  5. CacheOrDeleteChunksInRange clears the way for growing data: what can be cached goes
//     into memory (and is written behind the data at the next flush), the rest is dropped.
//  6. Before anything moves on disk, a filler chunk in front of the first chunk that would
//     move takes up the difference (it shrinks for growth, grows for shrinkage), so that the
//     chunks behind it stay where they are. Only where nothing but fillers then moves: the
//     fillers are written first (inside room the old layout skips), so that a failure part
//     way leaves every chunk header on the walk intact and the samples reachable.
//  7. Bytes that still have to move are not moved in place when the subclass can rewrite
//     (BeginRewrite gives the file as it stands and GetFile then answers the new one): every
//     chunk is written into the new file at its new place, the old file is left as it is,
//     and EndRewrite swaps the new file in or, on failure, drops it; the chunks then take
//     their old places again. A failure at any point leaves the old file or the new one.
//  8. A flush that is not a rewrite changes the file in place: the file header, the chunks
//     that need writing, the bytes that move and the end. Where the subclass asks for it
//     (IsJournalled), those regions are named to an undo journal (Sys_FileJournal) before the
//     first of them is written: their old bytes and the old length go to a file beside this
//     one (for a file inside a larger one, beside that one, at GetJournalOffset), which goes
//     again once the new bytes are synced. Bytes that move are journalled from the first byte
//     that changes to the old end (the journal streams them, however many). Growth and moves
//     wait until the journal stands; a journal that cannot be written stops the flush before
//     the file is touched. A failure part way writes the old bytes back at once (or, failing
//     that, at the next open), puts the chunks back at their old places and marks the chunks
//     it was writing to be written again; so the file is the old one or the new one.
//
// Contract: the file must be open; read operations need only read access, FlushChunks needs
// write access. Errors of the file go up as exceptions; a chunk whose read fails stays
// uncached. One thread at a time.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <vector>

#include "FF/FF_Chunk.h"

class Sys_File;

class FF_ChunkyFileBase
{
public:
    using ChunkList = std::list<std::unique_ptr<FF_Chunk>>;

    enum EMoveData
    {
        eMoveData_LayoutOnly = 0,
        eMoveData_Move = 1
    };

    // The parse stops after this many chunks, whatever follows.
    static constexpr int32_t cMaxChunks = 101;

    FF_ChunkyFileBase() = default;
    FF_ChunkyFileBase(const FF_ChunkyFileBase&) = delete;
    FF_ChunkyFileBase& operator=(const FF_ChunkyFileBase&) = delete;
    virtual ~FF_ChunkyFileBase() = default;

    virtual int32_t GetFileHeaderSize() const = 0;
    virtual void WriteFileHeader(int64_t iChunksSize) = 0;
    virtual bool ReadFileHeader(int64_t* oFormSizeP) = 0;
    virtual Sys_File* GetFile() = 0;
    virtual void* GetUserData() = 0;
    // Reads a chunk header at the file's position (iPosition) and leaves the file behind
    // it; null ends the parse. *oDataSizeP gets the size of the data.
    virtual FF_Chunk* ReadNextChunk(int64_t iPosition, int64_t* oDataSizeP) = 0;
    virtual int32_t GetAlignment() const = 0;
    // The start of a rewrite beside the file: the file as it stands (still open, read from,
    // never written), or null when this file must be changed in place. From a successful call
    // until EndRewrite, GetFile answers the new, empty file.
    virtual Sys_File* BeginRewrite() { return nullptr; }
    // Ends a rewrite: iCommit swaps the new file in (and GetFile answers it at the old place),
    // else the new file goes and GetFile answers the old one. Throws when the swap fails;
    // the file that stands then is the old one or the whole new one.
    virtual void EndRewrite(bool iCommit) {}
    // Whether changes in place go through an undo journal beside the file (see 8).
    virtual bool IsJournalled() { return false; }
    // Where position 0 of GetFile lies in the file that GetFile's location names (the
    // journal's offsets are in that file).
    virtual int64_t GetJournalOffset() { return 0; }

    void ParseChunks();
    // Returns where the last chunk ends.
    int64_t PositionChunks(EMoveData iMoveData);
    void FlushChunks();
    // [iFirst, iLast): chunks that cannot be cached, or fail to read, are deleted; the others
    // are read into memory.
    void CacheOrDeleteChunksInRange(ChunkList::iterator iFirst, ChunkList::iterator iLast);

    ChunkList& GetChunks() { return mChunks; }
    const ChunkList& GetChunks() const { return mChunks; }
    // Appends a chunk (owned from here on).
    void AppendChunk(FF_Chunk* iChunkP) { mChunks.emplace_back(iChunkP); }

    static int64_t RoundUp(int64_t iSize, int64_t iAlignment)
    {
        return iAlignment > 1 ? (iSize + iAlignment - 1) / iAlignment * iAlignment : iSize;
    }

protected:
    ChunkList mChunks;

private:
    // The place of every chunk as it would be laid out now, then the end. Chunks that are to
    // be cached are read on the way.
    std::vector<int64_t> PlanLayout();
    struct Move
    {
        int64_t mFrom;
        int64_t mTo;
        int64_t mSize;
    };
    // PositionChunks. With ioMovesP a change in place leaves the growth of the file and the
    // moves on disk (then in *ioMovesP) to the caller, and *oOldP gets the old places.
    // *oInPlaceP (when given) tells whether no rewrite began.
    int64_t Position(EMoveData iMoveData, bool* oInPlaceP, std::vector<Move>* ioMovesP,
                     std::vector<int64_t>* oOldP);
    // Grows the file to iEnd where it is shorter, then makes the moves (overlaps are safe).
    void MoveOnDisk(const std::vector<Move>& iMoves, int64_t iEnd);
    // Lets a filler in front of the first chunk to move on disk take up the move; true when
    // one did.
    bool AbsorbMoves(const std::vector<int64_t>& iPlan);
    // Copies iSize bytes at iFrom of iSourceP to iTo of the current file.
    void CopyBytes(Sys_File* iSourceP, int64_t iFrom, int64_t iTo, int64_t iSize);

    bool mRewriting = false;
    std::vector<int64_t> mOldPositions; // of the chunks, while rewriting
};

// A chunk file whose chunks are FF_TypedChunk<K>.
template <class K> class FF_ChunkyFile : public FF_ChunkyFileBase
{
public:
    // The first chunk with that id, or null.
    FF_Chunk* FindChunk(K iID)
    {
        for (auto& chunk : mChunks)
        {
            auto* typed = dynamic_cast<FF_TypedChunk<K>*>(chunk.get());
            if (typed && typed->GetID() == iID)
                return chunk.get();
        }
        return nullptr;
    }

    ChunkList::iterator FindChunkIterator(K iID)
    {
        for (auto it = mChunks.begin(); it != mChunks.end(); ++it)
        {
            auto* typed = dynamic_cast<FF_TypedChunk<K>*>(it->get());
            if (typed && typed->GetID() == iID)
                return it;
        }
        return mChunks.end();
    }

    // True only when the chunk exists, was not cached, and reads now. Every failure of the
    // read is swallowed and gives false.
    bool ReadChunk(K iID)
    {
        FF_Chunk* chunk = FindChunk(iID);
        if (!chunk || chunk->IsCached())
            return false;
        try
        {
            return chunk->Read(GetUserData(), GetFile());
        }
        catch (...)
        {
            return false;
        }
    }
};
