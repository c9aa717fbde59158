#include "FF/FF_ChunkyFile.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <exception>
#include <iterator>
#include <memory>
#include <vector>

#include "Sys_File.h"
#include "Sys_FileJournal.h"
#include "Sys_OSErrData.h"

void FF_ChunkyFileBase::ParseChunks()
{
    int64_t formSize = 0;
    if (!ReadFileHeader(&formSize))
        return;
    Sys_File* file = GetFile();
    file->SetPosition(Sys_File::eOffsetFrom_Start, GetFileHeaderSize());
    for (int32_t round = 0; round < cMaxChunks; ++round)
    {
        const int64_t position = file->GetPosition();
        int64_t dataSize = 0;
        FF_Chunk* chunk = ReadNextChunk(position, &dataSize);
        if (!chunk)
            break;
        mChunks.emplace_back(chunk);
        dataSize = std::max<int64_t>(dataSize, 0);
        // One pad byte after an odd size, whatever the alignment of the writer.
        dataSize += dataSize % 2;
        const int64_t eof = file->GetEOF();
        const int64_t next = file->GetPosition() + dataSize;
        file->SetPosition(Sys_File::eOffsetFrom_Start, next < eof ? next : eof);
        // Compared with the raw size field, not with the true end of the form.
        if (file->GetPosition() >= formSize)
            break;
    }
}

namespace
{
// The size a chunk would have at iPosition; the chunk stays where it is.
int64_t SizeAt(FF_Chunk* iChunkP, void* iUserDataP, Sys_File* iFileP, int64_t iPosition)
{
    const int64_t old = iChunkP->GetPosition();
    iChunkP->SetPosition(iUserDataP, iPosition);
    const int64_t size = iChunkP->GetSize(iUserDataP, iFileP);
    iChunkP->SetPosition(iUserDataP, old);
    return size;
}
} // namespace

std::vector<int64_t> FF_ChunkyFileBase::PlanLayout()
{
    void* userData = GetUserData();
    Sys_File* file = GetFile();
    const int64_t alignment = GetAlignment();
    std::vector<int64_t> plan;
    plan.reserve(mChunks.size() + 1);
    int64_t p = GetFileHeaderSize();
    for (auto& chunkP : mChunks)
    {
        FF_Chunk* chunk = chunkP.get();
        // A chunk that is to be written from memory must first hold all of its content there:
        // its size is then that of what will be written, not that of what the file holds. So
        // must a chunk that moves, where it can.
        if (!chunk->IsCached() && chunk->CanCache() &&
            (chunk->NeedsSync(userData) || chunk->GetPosition() != p))
            chunk->Read(userData, file);
        plan.push_back(p);
        p += RoundUp(SizeAt(chunk, userData, file, p), alignment);
    }
    plan.push_back(p);
    return plan;
}

bool FF_ChunkyFileBase::AbsorbMoves(const std::vector<int64_t>& iPlan)
{
    std::vector<FF_Chunk*> chunks;
    size_t first = mChunks.size();
    for (auto& chunkP : mChunks)
    {
        const size_t i = chunks.size();
        chunks.push_back(chunkP.get());
        if (first == mChunks.size() && !chunkP->IsCached() && chunkP->GetPosition() != iPlan[i])
            first = i;
    }
    if (first == mChunks.size())
        return false;
    const int64_t delta = iPlan[first] - chunks[first]->GetPosition();
    for (size_t i = first; i-- > 0;)
    {
        const int64_t size = iPlan[i + 1] - iPlan[i];
        if (!chunks[i]->IsFiller() || !chunks[i]->ResizeFiller(size - delta))
            continue;
        // Taken only when no chunk but fillers moves.
        const std::vector<int64_t> plan = PlanLayout();
        bool onlyFillers = true;
        for (size_t k = 0; k < chunks.size(); ++k)
            onlyFillers =
                onlyFillers && (chunks[k]->IsFiller() || plan[k] == chunks[k]->GetPosition());
        if (onlyFillers)
            return true;
        chunks[i]->ResizeFiller(size);
        return false;
    }
    return false;
}

void FF_ChunkyFileBase::CopyBytes(Sys_File* iSourceP, int64_t iFrom, int64_t iTo, int64_t iSize)
{
    constexpr int64_t cBlock = 256 * 1024;
    std::vector<unsigned char> buffer(size_t(std::min(iSize, cBlock)));
    Sys_File* file = GetFile();
    for (int64_t done = 0; done < iSize;)
    {
        const int64_t count = std::min(iSize - done, cBlock);
        iSourceP->SetPosition(Sys_File::eOffsetFrom_Start, iFrom + done);
        if (iSourceP->Read(buffer.data(), count) != count)
            Sys_ThrowIfOSErr(EIO, iSourceP->GetFileLoc().GetFullPath());
        file->SetPosition(Sys_File::eOffsetFrom_Start, iTo + done);
        if (file->Write(buffer.data(), count) != count)
            Sys_ThrowIfOSErr(EIO, file->GetFileLoc().GetFullPath());
        done += count;
    }
}

int64_t FF_ChunkyFileBase::PositionChunks(EMoveData iMoveData)
{
    return Position(iMoveData, nullptr, nullptr, nullptr);
}

void FF_ChunkyFileBase::MoveOnDisk(const std::vector<Move>& iMoves, int64_t iEnd)
{
    Sys_File* file = GetFile();
    if (iEnd > file->GetEOF())
        file->SetEOF(iEnd);
    for (const Move& move : iMoves)
        if (move.mTo <= move.mFrom)
            file->MoveBlock(move.mFrom, move.mSize, move.mTo - move.mFrom);
    for (auto it = iMoves.rbegin(); it != iMoves.rend(); ++it)
        if (it->mTo > it->mFrom)
            file->MoveBlock(it->mFrom, it->mSize, it->mTo - it->mFrom);
}

int64_t FF_ChunkyFileBase::Position(EMoveData iMoveData, bool* oInPlaceP,
                                    std::vector<Move>* ioMovesP, std::vector<int64_t>* oOldP)
{
    std::vector<int64_t> plan = PlanLayout();
    if (iMoveData == eMoveData_Move)
        for (int32_t round = 0; round < 8 && AbsorbMoves(plan); ++round)
            plan = PlanLayout();

    void* userData = GetUserData();
    Sys_File* file = GetFile();
    const int64_t end = plan.back();

    // What has to move on disk; only what the file holds can move (a size that lies is cut
    // at the end).
    std::vector<Move> moves;
    std::vector<int64_t> old;
    size_t i = 0;
    for (auto& chunkP : mChunks)
    {
        FF_Chunk* chunk = chunkP.get();
        const int64_t p = plan[i++];
        old.push_back(chunk->GetPosition());
        if (iMoveData == eMoveData_Move && !chunk->IsCached() && chunk->GetPosition() != p)
        {
            const int64_t held =
                std::min(SizeAt(chunk, userData, file, p), file->GetEOF() - chunk->GetPosition());
            if (held > 0)
                moves.push_back({chunk->GetPosition(), p, held});
        }
    }

    // Bytes to move: into a new file beside the old one where the subclass can.
    Sys_File* source = moves.empty() || mRewriting ? nullptr : BeginRewrite();
    if (source)
    {
        mRewriting = true;
        mOldPositions = old;
        file = GetFile();
    }

    i = 0;
    for (auto& chunkP : mChunks)
    {
        FF_Chunk* chunk = chunkP.get();
        const int64_t p = plan[i];
        chunk->SetPosition(userData, p);
        // Every cached chunk of a new file is written at the flush.
        if (chunk->IsCached() && (old[i] != p || source))
            chunk->SetNeedsSync(true);
        ++i;
    }

    const bool inPlace = !source && !mRewriting;
    if (oInPlaceP)
        *oInPlaceP = inPlace;
    if (ioMovesP && inPlace)
    {
        *ioMovesP = std::move(moves);
        if (oOldP)
            *oOldP = std::move(old);
        return end;
    }
    if (end > file->GetEOF())
        file->SetEOF(end);

    if (source)
    {
        i = 0;
        for (auto& chunkP : mChunks)
        {
            FF_Chunk* chunk = chunkP.get();
            const int64_t from = old[i++];
            if (chunk->IsCached())
                continue;
            const int64_t held =
                std::min(chunk->GetSize(userData, file), source->GetEOF() - from);
            if (held > 0)
                CopyBytes(source, from, chunk->GetPosition(), held);
        }
        return end;
    }
    MoveOnDisk(moves, end);
    return end;
}

void FF_ChunkyFileBase::FlushChunks()
{
    bool committing = false;
    bool moved = false;
    std::unique_ptr<Sys_FileJournal> journal;
    std::vector<FF_Chunk*> toWrite;
    std::vector<Move> moves;
    std::vector<int64_t> old;
    try
    {
        bool inPlace = false;
        const int64_t end = Position(eMoveData_Move, &inPlace, &moves, &old);
        void* userData = GetUserData();
        Sys_File* file = GetFile();
        const int64_t alignment = GetAlignment();

        // Which chunks to write is decided before any is written: chunks share properties,
        // and the first writer of a property clears its dirty mark.
        for (auto& chunk : mChunks)
            if (chunk->NeedsSync(userData))
                toWrite.push_back(chunk.get());
        // Fillers first: they lie in room the old layout skips.
        std::stable_partition(toWrite.begin(), toWrite.end(),
                              [](const FF_Chunk* iChunkP) { return iChunkP->IsFiller(); });
        const int64_t oldEnd = file->GetEOF();
        if (inPlace && (!toWrite.empty() || !moves.empty() || end != oldEnd) && IsJournalled())
        {
            journal = std::make_unique<Sys_FileJournal>(file->GetFileLoc().GetFullPath());
            const int64_t base = GetJournalOffset();
            if (!toWrite.empty() || !moves.empty())
                journal->Add(base, GetFileHeaderSize());
            for (FF_Chunk* chunk : toWrite)
                journal->Add(base + chunk->GetPosition(),
                             RoundUp(chunk->GetWrittenSize(userData, file), alignment));
            // What moves: from the first byte that changes to the old end.
            for (const Move& move : moves)
                journal->Add(base + std::min(move.mFrom, move.mTo),
                             oldEnd - std::min(move.mFrom, move.mTo));
            // What a shorter file cuts off.
            if (end < oldEnd)
                journal->Add(base + end, oldEnd - end);
            journal->Begin();
        }
        if (inPlace)
        {
            moved = !moves.empty();
            MoveOnDisk(moves, end);
        }

        int64_t sum = 0;
        for (auto& chunk : mChunks)
            sum += RoundUp(chunk->GetSize(userData, file), alignment);
        if (!toWrite.empty() || mRewriting)
        {
            WriteFileHeader(sum);
            for (FF_Chunk* chunk : toWrite)
                chunk->Write(userData, file);
        }
        if (end != file->GetEOF())
            file->SetEOF(end);
        if (journal)
            journal->Commit();
        moves.clear();
        if (mRewriting)
        {
            committing = true;
            EndRewrite(true);
            mRewriting = false;
        }
    }
    catch (...)
    {
        if (journal && journal->IsBegun())
        {
            // The old bytes go back (or stay in the journal for the next open): what was to
            // be written is written again by the next flush.
            journal->Undo();
            for (FF_Chunk* chunk : toWrite)
                chunk->SetNeedsSync(true);
        }
        // Bytes that were to move in place are back where they were (or never left): so are
        // the chunks. Unjournalled moves that began stand where they went.
        if (!moves.empty() && (journal || !moved))
        {
            size_t i = 0;
            for (auto& chunk : mChunks)
                if (i < old.size())
                    chunk->SetPosition(GetUserData(), old[i++]);
        }
        if (mRewriting)
        {
            // The old file stands: so do the old places.
            mRewriting = false;
            size_t i = 0;
            for (auto& chunk : mChunks)
                if (i < mOldPositions.size())
                    chunk->SetPosition(GetUserData(), mOldPositions[i++]);
            if (!committing)
            {
                try
                {
                    EndRewrite(false);
                }
                catch (...)
                {
                }
            }
        }
        throw;
    }
}

void FF_ChunkyFileBase::CacheOrDeleteChunksInRange(ChunkList::iterator iFirst,
                                                   ChunkList::iterator iLast)
{
    void* userData = GetUserData();
    Sys_File* file = GetFile();
    for (auto it = iFirst; it != iLast;)
    {
        bool keep = (*it)->CanCache();
        if (keep && !(*it)->IsCached())
        {
            // A chunk that cannot be read would be overwritten by the data and then moved
            // as garbage: it goes like one that cannot be cached.
            try
            {
                keep = (*it)->Read(userData, file);
            }
            catch (const std::exception&)
            {
                keep = false;
            }
        }
        it = keep ? std::next(it) : mChunks.erase(it);
    }
}
