#include "FF/Audio/PlugIns/FF_WAVEPlugIn.h"

#include <cstring>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/PlugIns/FF_WAVEChunks.h"
#include "FF/FF_EmbeddedFile.h"
#include "L10N_Utils.h"
#include "Sys_File.h"

namespace
{
constexpr uint32_t cFmt = FF_AudioChunkID("fmt ");
constexpr uint32_t cBext = FF_AudioChunkID("bext");
constexpr uint32_t cData = FF_AudioChunkID("data");
constexpr uint32_t cUmid = FF_AudioChunkID("umid");
constexpr uint32_t cRegn = FF_AudioChunkID("regn");
constexpr uint32_t cSmpl = FF_AudioChunkID("smpl");
constexpr uint32_t cMinf = FF_AudioChunkID("minf");
constexpr uint32_t cOvwf = FF_AudioChunkID("ovwf");
constexpr uint32_t cRkti = FF_AudioChunkID("rkti");
constexpr uint32_t cAnno = FF_AudioChunkID("ANNO");

uint32_t GetLE32(const unsigned char* iP)
{
    uint32_t value;
    std::memcpy(&value, iP, 4);
    return value;
}
} // namespace

FF_WAVEPlugIn::FF_WAVEPlugIn(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
    : FF_BasicAudioPlugIn(iAudioFileP, iFileP)
{
}

FF_AudioFilePlugIn* FF_WAVEPlugIn::Create(FF_AudioFile* iAudioFileP, int64_t iOffset,
                                          int64_t iLength)
{
    const Cmn_Store::EOpenFlag flag = iAudioFileP->GetOpenFlag();
    CMN_ASSERT(flag != Cmn_Store::eOpenFlag_OpenCreate);
    Sys_File* file = iOffset < 0 ? new Sys_File(iAudioFileP->GetFileLoc())
                                 : new FF_EmbeddedFile(iAudioFileP->GetFileLoc(), iOffset, iLength);
    auto plugIn = std::make_unique<FF_WAVEPlugIn>(iAudioFileP, file);
    if (!plugIn->Attach(flag))
        return nullptr;
    if (iOffset >= 0)
    {
        // The file's own header knows its length better than the caller.
        int64_t formSize = 0;
        if (plugIn->ReadFileHeader(&formSize))
        {
            const int64_t headerLength = formSize + 8;
            const int64_t stated = iAudioFileP->GetEmbeddedLength();
            if (stated < 0 || headerLength - stated > 2 || stated - headerLength > 2)
            {
                iAudioFileP->SetEmbeddedLength(headerLength);
                static_cast<FF_EmbeddedFile*>(file)->SetLength(headerLength);
            }
        }
    }
    return plugIn.release();
}

FF_AudioFilePlugIn* FF_WAVEPlugIn::CreateNew(FF_AudioFile* iAudioFileP)
{
    auto plugIn =
        std::make_unique<FF_WAVEPlugIn>(iAudioFileP, new Sys_File(iAudioFileP->GetFileLoc()));
    auto add = [&](FF_AudioChunk* iChunkP, bool iCached)
    {
        iChunkP->SetCached(iCached);
        iChunkP->SetNeedsSync(true);
        plugIn->AppendChunk(iChunkP);
    };
    add(WAVEChunk::CreateKnownChunk(cBext, WAVEEBUChunk::cDataSize), true);
    add(WAVEChunk::CreateKnownChunk(cFmt, 16), true);
    add(WAVEChunk::CreateKnownChunk(cMinf, 16), true);
    add(new UAFElmoChunk(eByteOrder_Little), true);
    add(WAVEChunk::CreateKnownChunk(cData, 0), false);
    add(WAVEChunk::CreateKnownChunk(cRegn, 4), true);
    add(WAVEChunk::CreateKnownChunk(cOvwf, 4), true);
    iAudioFileP->mRegions.StoreFromSource({});
    iAudioFileP->mOverview.StoreFromSource({});
    iAudioFileP->mBroadcastWaveData.StoreFromSource({L10N_Utils::GetText(0, 71)});
    plugIn->EnsureOpen();
    plugIn->CreateNewFileImpl();
    plugIn->mReaderWriter.reset(plugIn->CreateReaderWriter());
    return plugIn.release();
}

void FF_WAVEPlugIn::CreateNewFileImpl()
{
    mFile->SetEOF(PositionChunks(eMoveData_LayoutOnly));
}

int32_t FF_WAVEPlugIn::GetMacOSType()
{
    return int32_t(Sys_FileType::MakeOSType("WAVE"));
}

// ---- the chunk engine --------------------------------------------------------------------

bool FF_WAVEPlugIn::ReadFileHeader(int64_t* oFormSizeP)
{
    unsigned char header[12];
    mFile->SetPosition(Sys_File::eOffsetFrom_Start, 0);
    if (mFile->Read(header, 12) != 12 || std::memcmp(header, "RIFF", 4) != 0 ||
        std::memcmp(header + 8, "WAVE", 4) != 0)
        return false;
    *oFormSizeP = GetLE32(header + 4);
    return true;
}

void FF_WAVEPlugIn::WriteFileHeader(int64_t iChunksSize)
{
    CMN_ASSERT(iChunksSize + 4 <= int64_t(UINT32_MAX));
    unsigned char header[12];
    std::memcpy(header, "RIFF", 4);
    const auto size = uint32_t(iChunksSize + 4);
    std::memcpy(header + 4, &size, 4);
    std::memcpy(header + 8, "WAVE", 4);
    mFile->SetPosition(Sys_File::eOffsetFrom_Start, 0);
    if (mFile->Write(header, 12) != 12)
        throw std::runtime_error(L10N_Utils::GetText(7, 12));
}

FF_Chunk* FF_WAVEPlugIn::ReadNextChunk(int64_t iPosition, int64_t* oDataSizeP)
{
    unsigned char header[8];
    if (mFile->Read(header, 8) != 8)
        return nullptr;
    const uint32_t id = GetLE32(header);
    const int64_t size = GetLE32(header + 4);
    const int64_t held = std::max<int64_t>(mFile->GetEOF() - (iPosition + 8), 0);
    FF_AudioChunk* chunk = WAVEChunk::CreateKnownChunk(id, std::min(size, held));
    if (!chunk)
    {
        if (iPosition + 8 + size > mFile->GetEOF())
            return nullptr;
        chunk = new UAFUnknownChunk(id, size, eByteOrder_Little);
    }
    chunk->SetPosition(mAudioFile, iPosition);
    *oDataSizeP = size;
    return chunk;
}

FF_Chunk* FF_WAVEPlugIn::CreateChunk(uint32_t iID)
{
    FF_AudioChunk* chunk = WAVEChunk::CreateChunk(iID);
    AppendChunk(chunk);
    return chunk;
}

// ---- probing -----------------------------------------------------------------------------

bool FF_WAVEPlugIn::IsValidFile()
{
    ParseChunks();
    const bool fmt = ReadChunk(cFmt);
    return fmt && ReadChunk(cData);
}

bool FF_WAVEPlugIn::IsOMFI()
{
    EnsureOpen();
    return FF_HasOMFTrailer(mFile.get());
}

bool FF_WAVEPlugIn::IsDataOffsetBinary()
{
    return mAudioFile->mBitDepth.GetOr(0) == 8;
}

int64_t FF_WAVEPlugIn::GetOffsetToPCMData(FF_AudioFile* iAudioFileP)
{
    FF_Chunk* chunk = FindChunk(cData);
    CMN_ASSERT(chunk);
    return iAudioFileP->GetEmbeddedOffset() + chunk->GetPosition() + 8;
}

// ---- properties --------------------------------------------------------------------------

bool FF_WAVEPlugIn::ReadChunkConst(uint32_t iID) const
{
    return const_cast<FF_WAVEPlugIn*>(this)->ReadChunk(iID);
}

bool FF_WAVEPlugIn::Read(FF_AudioProperty::EID iID) const
{
    bool done = false;
    switch (iID)
    {
    case FF_AudioProperty::eID_FormatName:
        // Only the first reader of "bext" learns that the file is a broadcast wave.
        mAudioFile->mFormatName.StoreFromSourceIfClean(ReadChunkConst(cBext) ? "BWF (.WAV)"
                                                                             : "WAV");
        return true;
    case FF_AudioProperty::eID_ByteOrder:
        mAudioFile->mByteOrder.StoreFromSourceIfClean(eByteOrder_Little);
        return true;
    case FF_AudioProperty::eID_SampleRate:
    case FF_AudioProperty::eID_BitDepth:
    case FF_AudioProperty::eID_NumChannels:
        done = ReadChunkConst(cFmt);
        break;
    case FF_AudioProperty::eID_NumSamples:
    case FF_AudioProperty::eID_OffsetToData:
        done = ReadChunkConst(cData);
        break;
    case FF_AudioProperty::eID_Umid:
        done = ReadChunkConst(cUmid);
        break;
    case FF_AudioProperty::eID_OriginalTimeStamp:
    case FF_AudioProperty::eID_BroadcastWaveData:
    case FF_AudioProperty::eID_Description:
        done = ReadChunkConst(cBext) || ReadChunkConst(cAnno);
        break;
    case FF_AudioProperty::eID_Regions:
        done = ReadChunkConst(cRegn);
        break;
    case FF_AudioProperty::eID_ModificationTime:
    case FF_AudioProperty::eID_ModificationCount:
        done = ReadChunkConst(cMinf);
        break;
    case FF_AudioProperty::eID_Overview:
        done = ReadChunkConst(cOvwf);
        break;
    case FF_AudioProperty::eID_InstrumentAttr:
        done = ReadChunkConst(cSmpl);
        break;
    case FF_AudioProperty::eID_DRktAssetInfo:
        done = ReadChunkConst(cRkti);
        break;
    default:
        break;
    }
    return done || FF_BasicAudioPlugIn::Read(iID);
}

void FF_WAVEPlugIn::EnsureChunk(uint32_t iID)
{
    if (!FindChunk(iID))
        CreateChunk(iID);
}

void FF_WAVEPlugIn::Write(FF_AudioProperty::EID iID)
{
    switch (iID)
    {
    case FF_AudioProperty::eID_Umid:
        EnsureChunk(cUmid);
        break;
    case FF_AudioProperty::eID_Regions:
        // The stored list is read before it is replaced, so that the chunk is cached and
        // can move when the data grows.
        if (!mAudioFile->mRegions.IsCached())
            ReadChunk(cRegn);
        EnsureChunk(cRegn);
        break;
    case FF_AudioProperty::eID_ModificationTime:
    case FF_AudioProperty::eID_ModificationCount:
        EnsureChunk(cMinf);
        break;
    case FF_AudioProperty::eID_Overview:
        EnsureChunk(cOvwf);
        break;
    case FF_AudioProperty::eID_InstrumentAttr:
        EnsureChunk(cSmpl);
        break;
    case FF_AudioProperty::eID_DRktAssetInfo:
        EnsureChunk(cRkti);
        break;
    case FF_AudioProperty::eID_Description:
        if (!FindChunk(cBext))
            EnsureChunk(cAnno);
        break;
    default:
        break;
    }
}

bool FF_WAVEPlugIn::CanWrite(FF_AudioProperty::EID iID) const
{
    switch (iID)
    {
    case FF_AudioProperty::eID_NumSamples:
    case FF_AudioProperty::eID_Umid:
    case FF_AudioProperty::eID_OriginalTimeStamp:
    case FF_AudioProperty::eID_UserTimeStamp:
    case FF_AudioProperty::eID_Regions:
    case FF_AudioProperty::eID_PlugInData:
    case FF_AudioProperty::eID_ModificationCount:
    case FF_AudioProperty::eID_InstrumentAttr:
    case FF_AudioProperty::eID_DRktAssetInfo:
    case FF_AudioProperty::eID_Description:
        return true;
    case FF_AudioProperty::eID_Overview:
    {
        mAudioFile->Open(Cmn_Store::eOpenFlag_OpenForRead);
        const bool mono = mAudioFile->mNumChannels.GetOr(0) == 1;
        mAudioFile->Close();
        return mono;
    }
    default:
        return false;
    }
}

// ---- writing -----------------------------------------------------------------------------

void FF_WAVEPlugIn::HandleWriteExtend()
{
    auto data = FindChunkIterator(cData);
    CMN_ASSERT_TEXT(data != mChunks.end(), "chunk");
    CacheOrDeleteChunksInRange(std::next(data), mChunks.end());
}

void FF_WAVEPlugIn::Flush()
{
    if (mAudioFile->GetOpenFlag() == Cmn_Store::eOpenFlag_OpenForRead)
        return;
    EnsureOpen();
    FlushChunks();
}
