#include "FF/FF_ChunkyFile.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <vector>

#include "Sys_File.h"

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

int64_t FF_ChunkyFileBase::PositionChunks(EMoveData iMoveData)
{
    struct Move
    {
        int64_t mFrom;
        int64_t mTo;
        int64_t mSize;
    };
    std::vector<Move> moves;
    void* userData = GetUserData();
    Sys_File* file = GetFile();
    const int64_t alignment = GetAlignment();

    int64_t p = GetFileHeaderSize();
    for (auto& chunkP : mChunks)
    {
        FF_Chunk* chunk = chunkP.get();
        // A chunk that is to be written from memory must first hold all of its content there:
        // its size is then that of what will be written, not that of what the file holds.
        if (!chunk->IsCached() && chunk->CanCache() && chunk->NeedsSync(userData))
            chunk->Read(userData, file);
        const int64_t oldPosition = chunk->GetPosition();
        chunk->SetPosition(userData, p);
        int64_t size = chunk->GetSize(userData, file);
        chunk->SetPosition(userData, oldPosition);
        if (oldPosition != p)
        {
            if (!chunk->IsCached() && chunk->CanCache())
                chunk->Read(userData, file);
            chunk->SetPosition(userData, p);
            size = chunk->GetSize(userData, file);
            if (!chunk->IsCached())
            {
                if (iMoveData == eMoveData_Move)
                {
                    // Only what the file holds can move: a size that lies is cut at the end.
                    const int64_t held = std::min(size, file->GetEOF() - oldPosition);
                    if (held > 0)
                        moves.push_back({oldPosition, p, held});
                }
            }
            else
                chunk->SetNeedsSync(true);
        }
        p += RoundUp(size, alignment);
    }

    if (p > file->GetEOF())
        file->SetEOF(p);

    for (const Move& move : moves)
        if (move.mTo <= move.mFrom)
            file->MoveBlock(move.mFrom, move.mSize, move.mTo - move.mFrom);
    for (auto it = moves.rbegin(); it != moves.rend(); ++it)
        if (it->mTo > it->mFrom)
            file->MoveBlock(it->mFrom, it->mSize, it->mTo - it->mFrom);
    return p;
}

void FF_ChunkyFileBase::FlushChunks()
{
    const int64_t end = PositionChunks(eMoveData_Move);
    void* userData = GetUserData();
    Sys_File* file = GetFile();
    const int64_t alignment = GetAlignment();

    // Which chunks to write is decided before any is written: chunks share properties, and
    // the first writer of a property clears its dirty mark.
    int64_t sum = 0;
    std::vector<FF_Chunk*> toWrite;
    for (auto& chunk : mChunks)
    {
        sum += RoundUp(chunk->GetSize(userData, file), alignment);
        if (chunk->NeedsSync(userData))
            toWrite.push_back(chunk.get());
    }
    if (!toWrite.empty())
    {
        WriteFileHeader(sum);
        for (FF_Chunk* chunk : toWrite)
            chunk->Write(userData, file);
    }
    file->SetEOF(end);
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
