#include "FF/Audio/PlugIns/FF_AIFPlugIn.h"

#include <cstring>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/PlugIns/FF_AIFChunks.h"
#include "FF/FF_EmbeddedFile.h"
#include "L10N_Utils.h"
#include "Sys_File.h"

namespace
{
constexpr uint32_t cComm = FF_AudioChunkID("COMM");
constexpr uint32_t cSsnd = FF_AudioChunkID("SSND");
constexpr uint32_t cUmid = FF_AudioChunkID("umid");
constexpr uint32_t cRegn = FF_AudioChunkID("regn");
constexpr uint32_t cInst = FF_AudioChunkID("INST");
constexpr uint32_t cMark = FF_AudioChunkID("MARK");
constexpr uint32_t cMinf = FF_AudioChunkID("minf");
constexpr uint32_t cOvwf = FF_AudioChunkID("ovwf");
constexpr uint32_t cRkti = FF_AudioChunkID("rkti");
constexpr uint32_t cAnno = FF_AudioChunkID("ANNO");
constexpr uint32_t cAIFF = FF_AudioChunkID("AIFF");
constexpr uint32_t cAIFC = FF_AudioChunkID("AIFC");

uint32_t GetBE32(const unsigned char* iP)
{
    return FF_GetNumber<uint32_t>(iP, eByteOrder_Big);
}
} // namespace

FF_AIFPlugIn::FF_AIFPlugIn(FF_AudioFile* iAudioFileP, Sys_File* iFileP, uint32_t iFormType)
    : FF_BasicAudioPlugIn(iAudioFileP, iFileP), mFormType(iFormType)
{
}

FF_AudioFilePlugIn* FF_AIFPlugIn::Create(FF_AudioFile* iAudioFileP, int64_t iOffset,
                                         int64_t iLength)
{
    const Cmn_Store::EOpenFlag flag = iAudioFileP->GetOpenFlag();
    CMN_ASSERT(flag != Cmn_Store::eOpenFlag_OpenCreate);
    Sys_File* file = iOffset < 0 ? new Sys_File(iAudioFileP->GetFileLoc())
                                 : new FF_EmbeddedFile(iAudioFileP->GetFileLoc(), iOffset, iLength);
    auto plugIn = std::make_unique<FF_AIFPlugIn>(iAudioFileP, file, cAIFF);
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

FF_AudioFilePlugIn* FF_AIFPlugIn::CreateNew(FF_AudioFile* iAudioFileP)
{
    const uint32_t form = iAudioFileP->GetAudioFileType() == eAudioFileType_AIFC ? cAIFC : cAIFF;
    auto plugIn = std::make_unique<FF_AIFPlugIn>(
        iAudioFileP, new Sys_File(iAudioFileP->GetFileLoc()), form);
    auto add = [&](FF_AudioChunk* iChunkP, bool iCached)
    {
        iChunkP->SetCached(iCached);
        iChunkP->SetNeedsSync(true);
        plugIn->AppendChunk(iChunkP);
    };
    add(new AIFCommChunk(AIFCommChunk::cFieldsSize, form), true);
    add(new UAFMinfChunk(16, eByteOrder_Big), true);
    add(new UAFElmoChunk(eByteOrder_Big), true);
    add(new AIFSsndChunk(8), false);
    add(new UAFRegnChunk(4, eByteOrder_Big), true);
    add(new UAFAnnoChunk(0, eByteOrder_Big), true);
    add(new UAFOvwfChunk(4, eByteOrder_Big), true);
    iAudioFileP->mRegions.StoreFromSource({});
    iAudioFileP->mOverview.StoreFromSource({});
    plugIn->EnsureOpen();
    plugIn->CreateNewFileImpl();
    plugIn->mReaderWriter.reset(plugIn->CreateReaderWriter());
    return plugIn.release();
}

void FF_AIFPlugIn::CreateNewFileImpl()
{
    mFile->SetEOF(PositionChunks(eMoveData_LayoutOnly));
}

EAudioFileType FF_AIFPlugIn::GetAudioFileType()
{
    return mFormType == cAIFC ? eAudioFileType_AIFC : eAudioFileType_AIFF;
}

int32_t FF_AIFPlugIn::GetMacOSType()
{
    return int32_t(Sys_FileType::MakeOSType("AIFF"));
}

// ---- the chunk engine --------------------------------------------------------------------

bool FF_AIFPlugIn::ReadFileHeader(int64_t* oFormSizeP)
{
    unsigned char header[12];
    mFile->SetPosition(Sys_File::eOffsetFrom_Start, 0);
    if (mFile->Read(header, 12) != 12 || std::memcmp(header, "FORM", 4) != 0)
        return false;
    const uint32_t form = FF_GetNumber<uint32_t>(header + 8, eByteOrder_Little);
    if (form != cAIFF && form != cAIFC)
        return false;
    mFormType = form;
    *oFormSizeP = GetBE32(header + 4);
    return true;
}

void FF_AIFPlugIn::WriteFileHeader(int64_t iChunksSize)
{
    CMN_ASSERT(iChunksSize + 4 <= int64_t(UINT32_MAX));
    unsigned char header[12];
    std::memcpy(header, "FORM", 4);
    FF_PutNumber<uint32_t>(header + 4, uint32_t(iChunksSize + 4), eByteOrder_Big);
    FF_PutNumber<uint32_t>(header + 8, mFormType, eByteOrder_Little);
    mFile->SetPosition(Sys_File::eOffsetFrom_Start, 0);
    if (mFile->Write(header, 12) != 12)
        throw std::runtime_error(L10N_Utils::GetText(7, 12));
}

FF_AudioChunk* FF_AIFPlugIn::CreateKnownChunk(uint32_t iID, int64_t iStoredSize)
{
    switch (iID)
    {
    case cComm:
        return new AIFCommChunk(iStoredSize, mFormType);
    case cSsnd:
        return new AIFSsndChunk(iStoredSize);
    case cInst:
        return new AIFInstChunk(iStoredSize, *this);
    case cMark:
        return new AIFMarkChunk(iStoredSize, *this);
    default:
        return FF_AudioChunk::CreateMetadataChunk(iID, iStoredSize, eByteOrder_Big);
    }
}

FF_Chunk* FF_AIFPlugIn::ReadNextChunk(int64_t iPosition, int64_t* oDataSizeP)
{
    unsigned char header[8];
    if (mFile->Read(header, 8) != 8)
        return nullptr;
    const uint32_t id = FF_GetNumber<uint32_t>(header, eByteOrder_Little);
    const int64_t size = GetBE32(header + 4);
    *oDataSizeP = size;
    const int64_t held = std::max<int64_t>(mFile->GetEOF() - (iPosition + 8), 0);
    FF_AudioChunk* chunk = CreateKnownChunk(id, std::min(size, held));
    if (!chunk)
    {
        if (iPosition + 8 + size > mFile->GetEOF())
            return nullptr;
        chunk = new UAFUnknownChunk(id, size, eByteOrder_Big);
    }
    chunk->SetPosition(mAudioFile, iPosition);
    return chunk;
}

FF_Chunk* FF_AIFPlugIn::CreateChunk(uint32_t iID)
{
    FF_AudioChunk* chunk = nullptr;
    switch (iID)
    {
    case cUmid:
    case cRegn:
    case cInst:
    case cMark:
    case cOvwf:
    case cMinf:
    case cRkti:
    case cAnno:
        chunk = CreateKnownChunk(iID, 0);
        break;
    default:
        CMN_ASSERT(0);
    }
    chunk->SetCached(true);
    chunk->SetNeedsSync(true);
    AppendChunk(chunk);
    return chunk;
}

// ---- probing -----------------------------------------------------------------------------

bool FF_AIFPlugIn::IsValidFile()
{
    ParseChunks();
    if (!ReadChunk(cComm) || !ReadChunk(cSsnd))
        return false;
    // The samples must lie within the file. The test counts one channel's bytes only, so a
    // cut-off file of several channels still opens and reads what it holds.
    const int64_t end = mAudioFile->mOffsetToData.GetOr(0) +
                        int64_t(mAudioFile->mBitDepth.GetOr(0)) * mAudioFile->mNumSamples.GetOr(0) / 8;
    return end <= mFile->GetEOF() + mAudioFile->GetEmbeddedOffset();
}

bool FF_AIFPlugIn::IsOMFI()
{
    EnsureOpen();
    return FF_HasOMFTrailer(mFile.get());
}

int64_t FF_AIFPlugIn::GetOffsetToPCMData(FF_AudioFile* iAudioFileP)
{
    auto* chunk = dynamic_cast<AIFSsndChunk*>(FindChunk(cSsnd));
    CMN_ASSERT(chunk);
    return iAudioFileP->GetEmbeddedOffset() + chunk->GetPosition() + chunk->GetDataOffset() + 16;
}

// ---- the instrument ----------------------------------------------------------------------

bool FF_AIFPlugIn::CompleteLoopInfo()
{
    if (!mInstCk || mMarkers.empty())
        return false;
    std::vector<FF_InstrumentRecord::Marker> markers;
    for (const Marker& marker : mMarkers)
        markers.push_back({marker.mID, marker.mPosition});
    mAudioFile->mInstrumentAttr.StoreFromSourceIfClean(
        FF_InstrumentRecord::Read(mInstCk->data(), eByteOrder_Big, markers));
    return true;
}

// ---- properties --------------------------------------------------------------------------

bool FF_AIFPlugIn::ReadChunkConst(uint32_t iID) const
{
    return const_cast<FF_AIFPlugIn*>(this)->ReadChunk(iID);
}

bool FF_AIFPlugIn::Read(FF_AudioProperty::EID iID) const
{
    bool done = false;
    switch (iID)
    {
    case FF_AudioProperty::eID_FormatName:
        mAudioFile->mFormatName.StoreFromSourceIfClean(
            L10N_Utils::GetText(0, mFormType == cAIFC ? 74 : 58));
        return true;
    case FF_AudioProperty::eID_ByteOrder:
        mAudioFile->mByteOrder.StoreFromSourceIfClean(eByteOrder_Big);
        return true;
    case FF_AudioProperty::eID_SampleRate:
    case FF_AudioProperty::eID_BitDepth:
    case FF_AudioProperty::eID_NumChannels:
    case FF_AudioProperty::eID_NumSamples:
        done = ReadChunkConst(cComm);
        break;
    case FF_AudioProperty::eID_Umid:
        done = ReadChunkConst(cUmid);
        break;
    case FF_AudioProperty::eID_OffsetToData:
        done = ReadChunkConst(cSsnd);
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
        done = ReadChunkConst(cInst) && ReadChunkConst(cMark);
        break;
    case FF_AudioProperty::eID_DRktAssetInfo:
        done = ReadChunkConst(cRkti);
        break;
    case FF_AudioProperty::eID_Description:
        done = ReadChunkConst(cAnno);
        break;
    default:
        break;
    }
    return done || FF_BasicAudioPlugIn::Read(iID);
}

void FF_AIFPlugIn::EnsureChunk(uint32_t iID)
{
    if (!FindChunk(iID))
        CreateChunk(iID);
}

void FF_AIFPlugIn::Write(FF_AudioProperty::EID iID)
{
    switch (iID)
    {
    case FF_AudioProperty::eID_Umid:
        EnsureChunk(cUmid);
        break;
    case FF_AudioProperty::eID_Regions:
        // The stored list is read before it is replaced, so that the chunk is cached and
        // can move when the samples grow.
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
        for (const uint32_t id : {cInst, cMark})
        {
            EnsureChunk(id);
            // A chunk found in the file is replaced whole by the new value: it is held in
            // memory from now on, so that its new size counts and it can move.
            FindChunk(id)->SetCached(true);
        }
        break;
    case FF_AudioProperty::eID_DRktAssetInfo:
        EnsureChunk(cRkti);
        break;
    case FF_AudioProperty::eID_Description:
        EnsureChunk(cAnno);
        break;
    default:
        break;
    }
}

bool FF_AIFPlugIn::CanWrite(FF_AudioProperty::EID iID) const
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

void FF_AIFPlugIn::HandleWriteExtend()
{
    auto ssnd = FindChunkIterator(cSsnd);
    CMN_ASSERT_TEXT(ssnd != mChunks.end(), "chunk");
    CacheOrDeleteChunksInRange(std::next(ssnd), mChunks.end());
}

void FF_AIFPlugIn::Flush()
{
    if (mAudioFile->GetOpenFlag() == Cmn_Store::eOpenFlag_OpenForRead)
        return;
    EnsureOpen();
    FlushChunks();
}
