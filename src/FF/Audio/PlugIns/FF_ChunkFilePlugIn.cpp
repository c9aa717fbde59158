#include "FF/Audio/PlugIns/FF_ChunkFilePlugIn.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/PlugIns/FF_AudioMetadataChunks.h"
#include "FF/FF_EmbeddedFile.h"
#include "L10N_Utils.h"
#include "Sys_AtomicOutput.h"
#include "Sys_File.h"

namespace
{
constexpr uint32_t cUmid = FF_AudioChunkID("umid");
constexpr uint32_t cRegn = FF_AudioChunkID("regn");
constexpr uint32_t cMinf = FF_AudioChunkID("minf");
constexpr uint32_t cOvwf = FF_AudioChunkID("ovwf");
constexpr uint32_t cRkti = FF_AudioChunkID("rkti");
} // namespace

FF_ChunkFilePlugIn::FF_ChunkFilePlugIn(FF_AudioFile* iAudioFileP, Sys_File* iFileP,
                                       EByteOrder iByteOrder, uint32_t iFormTag, uint32_t iFormType,
                                       uint32_t iSamplesID)
    : FF_BasicAudioPlugIn(iAudioFileP, iFileP), mByteOrder(iByteOrder), mFormTag(iFormTag),
      mFormType(iFormType), mSamplesID(iSamplesID)
{
}

FF_ChunkFilePlugIn::~FF_ChunkFilePlugIn() = default;

// ---- opening -----------------------------------------------------------------------------

Sys_File* FF_ChunkFilePlugIn::OpenExistingFile(FF_AudioFile* iAudioFileP, int64_t iOffset,
                                               int64_t iLength)
{
    const Cmn_Store::EOpenFlag flag = iAudioFileP->GetOpenFlag();
    CMN_ASSERT(flag != Cmn_Store::eOpenFlag_OpenCreate);
    if (iOffset < 0)
        return new Sys_File(iAudioFileP->GetFileLoc());
    return new FF_EmbeddedFile(iAudioFileP->GetFileLoc(), iOffset, iLength);
}

bool FF_ChunkFilePlugIn::AttachExisting(int64_t iOffset)
{
    if (!Attach(mAudioFile->GetOpenFlag()))
        return false;
    if (iOffset >= 0)
    {
        // The file's own header knows its length better than the caller.
        int64_t formSize = 0;
        if (ReadFileHeader(&formSize))
        {
            const int64_t headerLength = formSize + 8;
            const int64_t stated = mAudioFile->GetEmbeddedLength();
            if (stated < 0 || headerLength - stated > 2 || stated - headerLength > 2)
            {
                mAudioFile->SetEmbeddedLength(headerLength);
                static_cast<FF_EmbeddedFile*>(mFile.get())->SetLength(headerLength);
            }
        }
    }
    return true;
}

void FF_ChunkFilePlugIn::AddNewChunk(FF_AudioChunk* iChunkP, bool iCached)
{
    iChunkP->SetCached(iCached);
    iChunkP->SetNeedsSync(true);
    AppendChunk(iChunkP);
}

void FF_ChunkFilePlugIn::OpenNewFile()
{
    EnsureOpen();
    CreateNewFileImpl();
    mReaderWriter.reset(CreateReaderWriter());
}

void FF_ChunkFilePlugIn::CreateNewFileImpl()
{
    mFile->SetEOF(PositionChunks(eMoveData_LayoutOnly));
}

bool FF_ChunkFilePlugIn::IsOMFI()
{
    EnsureOpen();
    return FF_HasOMFTrailer(mFile.get());
}

// ---- the chunk engine --------------------------------------------------------------------

bool FF_ChunkFilePlugIn::ReadFileHeader(int64_t* oFormSizeP)
{
    unsigned char header[12];
    mFile->SetPosition(Sys_File::eOffsetFrom_Start, 0);
    if (mFile->Read(header, 12) != 12 ||
        FF_GetNumber<uint32_t>(header, eByteOrder_Little) != mFormTag)
        return false;
    const uint32_t form = FF_GetNumber<uint32_t>(header + 8, eByteOrder_Little);
    if (!IsFormType(form))
        return false;
    mFormType = form;
    *oFormSizeP = FF_GetNumber<uint32_t>(header + 4, mByteOrder);
    return true;
}

void FF_ChunkFilePlugIn::WriteFileHeader(int64_t iChunksSize)
{
    CMN_ASSERT(iChunksSize + 4 <= int64_t(UINT32_MAX));
    unsigned char header[12];
    FF_PutNumber<uint32_t>(header, mFormTag, eByteOrder_Little);
    FF_PutNumber<uint32_t>(header + 4, uint32_t(iChunksSize + 4), mByteOrder);
    FF_PutNumber<uint32_t>(header + 8, mFormType, eByteOrder_Little);
    Sys_File* file = GetFile();
    file->SetPosition(Sys_File::eOffsetFrom_Start, 0);
    if (file->Write(header, 12) != 12)
        throw std::runtime_error(L10N_Utils::GetText(7, 12));
}

FF_Chunk* FF_ChunkFilePlugIn::ReadNextChunk(int64_t iPosition, int64_t* oDataSizeP)
{
    unsigned char header[8];
    if (mFile->Read(header, 8) != 8)
        return nullptr;
    const uint32_t id = FF_GetNumber<uint32_t>(header, eByteOrder_Little);
    const int64_t size = FF_GetNumber<uint32_t>(header + 4, mByteOrder);
    *oDataSizeP = size;
    const int64_t held = std::max<int64_t>(mFile->GetEOF() - (iPosition + 8), 0);
    FF_AudioChunk* chunk = CreateKnownChunk(id, std::min(size, held));
    if (!chunk)
    {
        if (iPosition + 8 + size > mFile->GetEOF())
            return nullptr;
        chunk = new UAFUnknownChunk(id, size, mByteOrder);
    }
    chunk->SetPosition(mAudioFile, iPosition);
    return chunk;
}

// ---- properties --------------------------------------------------------------------------

bool FF_ChunkFilePlugIn::ReadChunkConst(uint32_t iID) const
{
    return const_cast<FF_ChunkFilePlugIn*>(this)->ReadChunk(iID);
}

void FF_ChunkFilePlugIn::EnsureChunk(uint32_t iID)
{
    if (!FindChunk(iID))
        CreateChunk(iID);
}

bool FF_ChunkFilePlugIn::ReadMetadata(FF_AudioProperty::EID iID, bool* oDoneP) const
{
    switch (iID)
    {
    case FF_AudioProperty::eID_Umid:
        *oDoneP = ReadChunkConst(cUmid);
        return true;
    case FF_AudioProperty::eID_Regions:
        *oDoneP = ReadChunkConst(cRegn);
        return true;
    case FF_AudioProperty::eID_ModificationTime:
    case FF_AudioProperty::eID_ModificationCount:
        *oDoneP = ReadChunkConst(cMinf);
        return true;
    case FF_AudioProperty::eID_Overview:
        *oDoneP = ReadChunkConst(cOvwf);
        return true;
    case FF_AudioProperty::eID_DRktAssetInfo:
        *oDoneP = ReadChunkConst(cRkti);
        return true;
    default:
        return false;
    }
}

bool FF_ChunkFilePlugIn::WriteMetadata(FF_AudioProperty::EID iID)
{
    switch (iID)
    {
    case FF_AudioProperty::eID_Umid:
        EnsureChunk(cUmid);
        return true;
    case FF_AudioProperty::eID_Regions:
        // The stored list is read before it is replaced, so that the chunk is cached and
        // can move when the samples grow.
        if (!mAudioFile->mRegions.IsCached())
            ReadChunk(cRegn);
        EnsureChunk(cRegn);
        return true;
    case FF_AudioProperty::eID_ModificationTime:
    case FF_AudioProperty::eID_ModificationCount:
        EnsureChunk(cMinf);
        return true;
    case FF_AudioProperty::eID_Overview:
        EnsureChunk(cOvwf);
        return true;
    case FF_AudioProperty::eID_DRktAssetInfo:
        EnsureChunk(cRkti);
        return true;
    default:
        return false;
    }
}

bool FF_ChunkFilePlugIn::CanWrite(FF_AudioProperty::EID iID) const
{
    // The chunk files also keep the modification info and the asset info.
    return iID == FF_AudioProperty::eID_ModificationCount ||
           iID == FF_AudioProperty::eID_DRktAssetInfo || FF_CanWriteMetadata(iID, mAudioFile);
}

// ---- writing -----------------------------------------------------------------------------

void FF_ChunkFilePlugIn::HandleWriteExtend()
{
    auto samples = FindChunkIterator(mSamplesID);
    CMN_ASSERT_TEXT(samples != mChunks.end(), "chunk");
    CacheOrDeleteChunksInRange(std::next(samples), mChunks.end());
}

Sys_File* FF_ChunkFilePlugIn::BeginRewrite()
{
    if (mAudioFile->GetOpenFlag() != Cmn_Store::eOpenFlag_OpenForWrite ||
        mAudioFile->GetEmbeddedOffset() != 0)
        return nullptr;
    // A file with other names (hard links) would lose them: it changes in place. A symbolic
    // link stays, and the file it names is the one rewritten.
    std::error_code error;
    const std::string path = mFile->GetFileLoc().GetFullPath();
    if (std::filesystem::hard_link_count(path, error) != 1 || error)
        return nullptr;
    const std::filesystem::path target = std::filesystem::canonical(path, error);
    if (error)
        return nullptr;
    const Sys_FileLoc loc(target.string());
    auto output = std::make_unique<Sys_StAtomicOutput>(loc, true);
    Sys_AtomicOutput::TakeMode(loc);
    // While the name is reserved, the file of that name opens at the temporary location.
    auto file = std::make_unique<Sys_File>(loc);
    file->Open(cOpenCreate);
    mRewriteOutput = std::move(output);
    mRewriteFile = std::move(file);
    return mFile.get();
}

void FF_ChunkFilePlugIn::EndRewrite(bool iCommit)
{
    const std::unique_ptr<Sys_StAtomicOutput> output = std::move(mRewriteOutput);
    const std::unique_ptr<Sys_File> file = std::move(mRewriteFile);
    if (!iCommit)
    {
        // The guard deletes the temporary file.
        try
        {
            file->Close();
        }
        catch (...)
        {
        }
        return;
    }
    file->Close();
    try
    {
        output->Commit();
    }
    catch (...)
    {
        // Whichever file stands under the name now is whole; it is the one to keep open.
        mFile->Close();
        mFile->Open(cOpenForWrite);
        throw;
    }
    mFile->Close();
    mFile->Open(cOpenForWrite);
}

bool FF_ChunkFilePlugIn::IsJournalled()
{
    // An output still under its temporary name appears whole or not at all anyway.
    // A file inside a larger one names the larger one (GetJournalOffset).
    const Sys_FileLoc& loc = mFile->GetFileLoc();
    return mAudioFile->GetOpenFlag() == Cmn_Store::eOpenFlag_OpenForWrite && !mRewriteFile &&
           Sys_AtomicOutput::Redirect(loc).GetFullPath() == loc.GetFullPath();
}

int64_t FF_ChunkFilePlugIn::GetJournalOffset()
{
    return mAudioFile->GetEmbeddedOffset();
}

void FF_ChunkFilePlugIn::Flush()
{
    if (mAudioFile->GetOpenFlag() == Cmn_Store::eOpenFlag_OpenForRead)
        return;
    EnsureOpen();
    FlushChunks();
}
