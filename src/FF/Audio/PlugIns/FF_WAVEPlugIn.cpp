#include "FF/Audio/PlugIns/FF_WAVEPlugIn.h"

#include <memory>

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/PlugIns/FF_WAVEChunks.h"
#include "L10N_Utils.h"
#include "Sys_File.h"

namespace
{
constexpr uint32_t cFmt = FF_AudioChunkID("fmt ");
constexpr uint32_t cBext = FF_AudioChunkID("bext");
constexpr uint32_t cData = FF_AudioChunkID("data");
constexpr uint32_t cRegn = FF_AudioChunkID("regn");
constexpr uint32_t cSmpl = FF_AudioChunkID("smpl");
constexpr uint32_t cMinf = FF_AudioChunkID("minf");
constexpr uint32_t cOvwf = FF_AudioChunkID("ovwf");
constexpr uint32_t cAnno = FF_AudioChunkID("ANNO");
constexpr uint32_t cRIFF = FF_AudioChunkID("RIFF");
constexpr uint32_t cWAVE = FF_AudioChunkID("WAVE");
} // namespace

FF_WAVEPlugIn::FF_WAVEPlugIn(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
    : FF_ChunkFilePlugIn(iAudioFileP, iFileP, eByteOrder_Little, cRIFF, cWAVE, cData)
{
}

FF_AudioFilePlugIn* FF_WAVEPlugIn::Create(FF_AudioFile* iAudioFileP, int64_t iOffset,
                                          int64_t iLength)
{
    auto plugIn = std::make_unique<FF_WAVEPlugIn>(iAudioFileP,
                                                  OpenExistingFile(iAudioFileP, iOffset, iLength));
    if (!plugIn->AttachExisting(iOffset))
        return nullptr;
    return plugIn.release();
}

FF_AudioFilePlugIn* FF_WAVEPlugIn::CreateNew(FF_AudioFile* iAudioFileP)
{
    auto plugIn =
        std::make_unique<FF_WAVEPlugIn>(iAudioFileP, new Sys_File(iAudioFileP->GetFileLoc()));
    plugIn->AddNewChunk(WAVEChunk::CreateKnownChunk(cBext, WAVEEBUChunk::cDataSize), true);
    plugIn->AddNewChunk(WAVEChunk::CreateKnownChunk(cFmt, 16), true);
    plugIn->AddNewChunk(WAVEChunk::CreateKnownChunk(cMinf, 16), true);
    plugIn->AddNewChunk(new UAFFillerChunk(FF_AudioChunkID("JUNK"), UAFFillerChunk::cNewFileReserve,
                                           eByteOrder_Little),
                        true);
    plugIn->AddNewChunk(new UAFElmoChunk(eByteOrder_Little), true);
    plugIn->AddNewChunk(WAVEChunk::CreateKnownChunk(cData, 0), false);
    plugIn->AddNewChunk(WAVEChunk::CreateKnownChunk(cRegn, 4), true);
    plugIn->AddNewChunk(WAVEChunk::CreateKnownChunk(cOvwf, 4), true);
    iAudioFileP->mRegions.StoreFromSource({});
    iAudioFileP->mOverview.StoreFromSource({});
    iAudioFileP->mBroadcastWaveData.StoreFromSource({L10N_Utils::GetText(0, 71)});
    plugIn->OpenNewFile();
    return plugIn.release();
}

int32_t FF_WAVEPlugIn::GetMacOSType()
{
    return int32_t(Sys_FileType::MakeOSType("WAVE"));
}

// ---- the chunk engine --------------------------------------------------------------------

bool FF_WAVEPlugIn::IsFormType(uint32_t iFormType) const
{
    return iFormType == cWAVE;
}

FF_AudioChunk* FF_WAVEPlugIn::CreateKnownChunk(uint32_t iID, int64_t iStoredSize)
{
    return WAVEChunk::CreateKnownChunk(iID, iStoredSize);
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
    case FF_AudioProperty::eID_OriginalTimeStamp:
    case FF_AudioProperty::eID_BroadcastWaveData:
    case FF_AudioProperty::eID_Description:
        done = ReadChunkConst(cBext) || ReadChunkConst(cAnno);
        break;
    case FF_AudioProperty::eID_InstrumentAttr:
        done = ReadChunkConst(cSmpl);
        break;
    default:
        ReadMetadata(iID, &done);
        break;
    }
    return done || FF_BasicAudioPlugIn::Read(iID);
}

void FF_WAVEPlugIn::Write(FF_AudioProperty::EID iID)
{
    switch (iID)
    {
    case FF_AudioProperty::eID_InstrumentAttr:
        EnsureChunk(cSmpl);
        break;
    case FF_AudioProperty::eID_Description:
        if (!FindChunk(cBext))
            EnsureChunk(cAnno);
        break;
    default:
        WriteMetadata(iID);
        break;
    }
}
