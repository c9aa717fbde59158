#include "FF/Audio/PlugIns/FF_AIFPlugIn.h"

#include <memory>

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/PlugIns/FF_AIFChunks.h"
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
constexpr uint32_t cFORM = FF_AudioChunkID("FORM");
} // namespace

FF_AIFPlugIn::FF_AIFPlugIn(FF_AudioFile* iAudioFileP, Sys_File* iFileP, uint32_t iFormType)
    : FF_ChunkFilePlugIn(iAudioFileP, iFileP, eByteOrder_Big, cFORM, iFormType, cSsnd)
{
}

FF_AudioFilePlugIn* FF_AIFPlugIn::Create(FF_AudioFile* iAudioFileP, int64_t iOffset,
                                         int64_t iLength)
{
    auto plugIn = std::make_unique<FF_AIFPlugIn>(
        iAudioFileP, OpenExistingFile(iAudioFileP, iOffset, iLength), cAIFF);
    if (!plugIn->AttachExisting(iOffset))
        return nullptr;
    return plugIn.release();
}

FF_AudioFilePlugIn* FF_AIFPlugIn::CreateNew(FF_AudioFile* iAudioFileP)
{
    const uint32_t form = iAudioFileP->GetAudioFileType() == eAudioFileType_AIFC ? cAIFC : cAIFF;
    auto plugIn = std::make_unique<FF_AIFPlugIn>(
        iAudioFileP, new Sys_File(iAudioFileP->GetFileLoc()), form);
    plugIn->AddNewChunk(new AIFCommChunk(AIFCommChunk::cFieldsSize, form), true);
    plugIn->AddNewChunk(new UAFMinfChunk(16, eByteOrder_Big), true);
    plugIn->AddNewChunk(
        new UAFFillerChunk(FF_AudioChunkID("FLLR"), UAFFillerChunk::cNewFileReserve, eByteOrder_Big),
        true);
    plugIn->AddNewChunk(new UAFElmoChunk(eByteOrder_Big), true);
    plugIn->AddNewChunk(new AIFSsndChunk(8), false);
    plugIn->AddNewChunk(new UAFRegnChunk(4, eByteOrder_Big), true);
    plugIn->AddNewChunk(new UAFAnnoChunk(0, eByteOrder_Big), true);
    plugIn->AddNewChunk(new UAFOvwfChunk(4, eByteOrder_Big), true);
    iAudioFileP->mRegions.StoreFromSource({});
    iAudioFileP->mOverview.StoreFromSource({});
    plugIn->OpenNewFile();
    return plugIn.release();
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

bool FF_AIFPlugIn::IsFormType(uint32_t iFormType) const
{
    return iFormType == cAIFF || iFormType == cAIFC;
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
    AddNewChunk(chunk, true);
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
    case FF_AudioProperty::eID_OffsetToData:
        done = ReadChunkConst(cSsnd);
        break;
    case FF_AudioProperty::eID_InstrumentAttr:
        done = ReadChunkConst(cInst) && ReadChunkConst(cMark);
        break;
    case FF_AudioProperty::eID_Description:
        done = ReadChunkConst(cAnno);
        break;
    default:
        ReadMetadata(iID, &done);
        break;
    }
    return done || FF_BasicAudioPlugIn::Read(iID);
}

void FF_AIFPlugIn::Write(FF_AudioProperty::EID iID)
{
    switch (iID)
    {
    case FF_AudioProperty::eID_InstrumentAttr:
        for (const uint32_t id : {cInst, cMark})
        {
            EnsureChunk(id);
            // A chunk found in the file is replaced whole by the new value: it is held in
            // memory from now on, so that its new size counts and it can move.
            FindChunk(id)->SetCached(true);
        }
        break;
    case FF_AudioProperty::eID_Description:
        EnsureChunk(cAnno);
        break;
    default:
        WriteMetadata(iID);
        break;
    }
}
