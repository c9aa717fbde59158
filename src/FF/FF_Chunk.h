// One chunk of a chunk file: a header and its data at a position in the file.
//
// A chunk knows how to read its data into memory (ReadImpl), how big it is with its header
// (GetSize), and how to write itself back (WriteHeader, WriteImpl). A chunk is "cached"
// when its content lives in memory (usually in the properties of the user data object) and
// can be written anywhere; a chunk that cannot be cached (sample data, chunks of unknown
// kind) keeps its content on disk and is moved there with Sys_File::MoveBlock.
//
// The user data is what the chunk file hands its chunks (the audio file for audio chunks).
// FF_ChunkAdapter turns the untyped slots into typed ones. Chunks are owned by their
// FF_ChunkyFileBase and are used by one thread at a time, like the file they sit in.
#pragma once

#include <cstdint>

class Sys_File;

class FF_Chunk
{
public:
    FF_Chunk() = default;
    FF_Chunk(const FF_Chunk&) = delete;
    FF_Chunk& operator=(const FF_Chunk&) = delete;
    virtual ~FF_Chunk() = default;

    virtual bool IsCached() const { return mIsCached; }
    virtual bool CanCache() const { return true; }
    // The total size, header included, as the chunk would be written now.
    virtual int64_t GetSize(void* iUserDataP, Sys_File* iFileP) = 0;
    // Reads the data; the file stands right after the header. False: not usable.
    virtual bool ReadImpl(void* iUserDataP, Sys_File* iFileP) = 0;
    // Writes the data; the file stands right after the header.
    virtual void WriteImpl(void* iUserDataP, Sys_File* iFileP) = 0;
    virtual void WriteHeader(void* iUserDataP, Sys_File* iFileP) = 0;
    virtual int32_t GetHeaderSize() const = 0;
    virtual bool NeedsSyncImpl(void* iUserDataP) = 0;
    virtual void SetPositionImpl(void* iUserDataP, int64_t iPosition) {}
    // A filler chunk holds nothing but room: it takes any total size from its header size up
    // (true), so that a change of the chunks around it need not move what follows. Other
    // chunks refuse (false).
    virtual bool ResizeFiller(int64_t iTotalSize) { return false; }
    virtual bool IsFiller() const { return false; }
    // How many bytes from its position Write changes: the whole chunk when it is cached, else
    // its header (the content stays on disk).
    virtual int64_t GetWrittenSize(void* iUserDataP, Sys_File* iFileP)
    {
        return IsCached() ? GetSize(iUserDataP, iFileP) : GetHeaderSize();
    }

    // Asserts "!mIsCached"; reads the data at mPosition + header size, keeping the file's
    // position, and returns whether the chunk is now cached. Exceptions of ReadImpl go on.
    bool Read(void* iUserDataP, Sys_File* iFileP);
    // Header and data at mPosition, keeping the file's position; clears mNeedsSync.
    void Write(void* iUserDataP, Sys_File* iFileP);
    void SetPosition(void* iUserDataP, int64_t iPosition);
    int64_t GetPosition() const { return mPosition; }
    bool NeedsSync(void* iUserDataP) { return mNeedsSync || NeedsSyncImpl(iUserDataP); }
    void SetNeedsSync(bool iNeedsSync) { mNeedsSync = iNeedsSync; }
    void SetCached(bool iCached) { mIsCached = iCached; }

protected:
    bool mIsCached = false;
    bool mNeedsSync = false;
    int64_t mPosition = 0;
};

// A chunk with an id of type K.
template <class K> class FF_TypedChunk : public FF_Chunk
{
public:
    virtual K GetID() const = 0;
};

// Typed slots over the untyped ones: U is the user data's class.
template <class K, class U> class FF_ChunkAdapter : public FF_TypedChunk<K>
{
public:
    virtual bool ReadImpl(U* iUserDataP, Sys_File* iFileP) = 0;
    virtual void WriteImpl(U* iUserDataP, Sys_File* iFileP) = 0;
    virtual void WriteHeader(U* iUserDataP, Sys_File* iFileP) = 0;
    virtual int64_t GetSize(U* iUserDataP, Sys_File* iFileP) = 0;
    virtual void SetPositionImpl(U* iUserDataP, int64_t iPosition) {}
    virtual bool NeedsSyncImpl(U* iUserDataP) = 0;

    bool ReadImpl(void* iUserDataP, Sys_File* iFileP) final
    {
        return ReadImpl(static_cast<U*>(iUserDataP), iFileP);
    }
    void WriteImpl(void* iUserDataP, Sys_File* iFileP) final
    {
        WriteImpl(static_cast<U*>(iUserDataP), iFileP);
    }
    void WriteHeader(void* iUserDataP, Sys_File* iFileP) final
    {
        WriteHeader(static_cast<U*>(iUserDataP), iFileP);
    }
    int64_t GetSize(void* iUserDataP, Sys_File* iFileP) final
    {
        return GetSize(static_cast<U*>(iUserDataP), iFileP);
    }
    void SetPositionImpl(void* iUserDataP, int64_t iPosition) final
    {
        SetPositionImpl(static_cast<U*>(iUserDataP), iPosition);
    }
    bool NeedsSyncImpl(void* iUserDataP) final
    {
        return NeedsSyncImpl(static_cast<U*>(iUserDataP));
    }
};
