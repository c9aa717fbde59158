#include "FF/Audio/PlugIns/FF_WAVEChunks.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AudioFile.h"
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

template <class T> T GetLE(const unsigned char* iP)
{
    static_assert(std::is_integral_v<T>);
    T value;
    std::memcpy(&value, iP, sizeof(T)); // this host is little-endian
    return value;
}

template <class T> void PutLE(unsigned char* oP, T iValue)
{
    static_assert(std::is_integral_v<T>);
    std::memcpy(oP, &iValue, sizeof(T));
}

// A text field: the bytes up to the first NUL or the field's end.
std::string GetText(const unsigned char* iP, size_t iWidth)
{
    const auto* end = std::find(iP, iP + iWidth, 0);
    return std::string(reinterpret_cast<const char*>(iP), size_t(end - iP));
}

// Copies a text into a field, cut at the field's width.
void PutText(unsigned char* oP, const std::string& iText, size_t iWidth)
{
    std::memcpy(oP, iText.data(), std::min(iText.size(), iWidth));
}

} // namespace

// ---- WAVEChunk ---------------------------------------------------------------------------

FF_AudioChunk* WAVEChunk::CreateKnownChunk(uint32_t iID, int64_t iStoredSize)
{
    switch (iID)
    {
    case cFmt:
        return new WAVEFmtChunk(iStoredSize);
    case cBext:
        return new WAVEEBUChunk(iStoredSize);
    case cData:
        return new WAVEDataChunk(iStoredSize);
    case cSmpl:
        return new WAVESamplerChunk(iStoredSize);
    default:
        return CreateMetadataChunk(iID, iStoredSize, eByteOrder_Little);
    }
}

FF_AudioChunk* WAVEChunk::CreateChunk(uint32_t iID)
{
    FF_AudioChunk* chunk = nullptr;
    switch (iID)
    {
    case cUmid:
    case cRegn:
    case cSmpl:
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
    return chunk;
}

// ---- "fmt " ------------------------------------------------------------------------------

WAVEFmtChunk::WAVEFmtChunk(int64_t iStoredSize) : WAVEChunk(cFmt, iStoredSize) {}

bool WAVEFmtChunk::ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    // The sub-format of integer PCM in the extensible form.
    static const unsigned char cPCMSubFormat[16] = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                                    0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
    // Past the extensible fields nothing is used; no more than this is kept.
    constexpr int64_t cMaxKept = 256;
    if (mStoredSize < 16)
        return false;
    std::vector<unsigned char> data(size_t(std::min(mStoredSize, cMaxKept)));
    FF_ReadExact(iFileP, data.data(), int64_t(data.size()));
    const auto tag = GetLE<uint16_t>(data.data());
    if (tag == cTagExtensible)
    {
        if (data.size() < 40 || GetLE<uint16_t>(data.data() + 16) < 22 ||
            std::memcmp(data.data() + 24, cPCMSubFormat, 16) != 0)
            return false;
    }
    else if (tag != cTagPCM)
        return false;
    const auto channels = GetLE<int16_t>(data.data() + 2);
    const auto bits = GetLE<int16_t>(data.data() + 14);
    // Frames of whole bytes only: anything else has no frame size to count samples by.
    if (channels < 1 || bits < 8 || bits > 32 || bits % 8 != 0)
        return false;
    mTag = tag;
    mExtra.assign(data.begin() + 16, data.end());
    iAudioFileP->mNumChannels.StoreFromSourceIfClean(channels);
    iAudioFileP->mSampleRate.StoreFromSourceIfClean(GetLE<int32_t>(data.data() + 4));
    iAudioFileP->mBitDepth.StoreFromSourceIfClean(bits);
    return true;
}

void WAVEFmtChunk::WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    // A longer chunk keeps its size (what was read past the first 16 bytes is written back,
    // the rest zeroed): the data behind it then need not move.
    std::vector<unsigned char> data(size_t(std::max<int64_t>(mStoredSize, 16)), 0);
    std::copy_n(mExtra.begin(), std::min(mExtra.size(), data.size() - 16), data.begin() + 16);
    const int16_t channels = iAudioFileP->mNumChannels.GetOr(0);
    const int16_t bits = iAudioFileP->mBitDepth.GetOr(0);
    const int32_t rate = iAudioFileP->mSampleRate.GetOr(0);
    const auto blockAlign = uint16_t((bits * channels) / 8);
    PutLE<uint16_t>(data.data(), mTag);
    PutLE<int16_t>(data.data() + 2, channels);
    PutLE<int32_t>(data.data() + 4, rate);
    PutLE<uint32_t>(data.data() + 8, uint32_t(blockAlign) * uint32_t(rate));
    PutLE<uint16_t>(data.data() + 12, blockAlign);
    PutLE<int16_t>(data.data() + 14, bits);
    FF_WriteExact(iFileP, data.data(), int64_t(data.size()));
    mStoredSize = int64_t(data.size());
    iAudioFileP->mNumChannels.ClearDirty();
    iAudioFileP->mBitDepth.ClearDirty();
    iAudioFileP->mSampleRate.ClearDirty();
}

int64_t WAVEFmtChunk::GetCachedSize(FF_AudioFile*)
{
    return std::max<int64_t>(mStoredSize, 16) + 8;
}

bool WAVEFmtChunk::NeedsSyncImpl(FF_AudioFile* iAudioFileP)
{
    return iAudioFileP->mNumChannels.IsDirty() || iAudioFileP->mSampleRate.IsDirty() ||
           iAudioFileP->mBitDepth.IsDirty();
}

// ---- "bext" ------------------------------------------------------------------------------

WAVEEBUChunk::WAVEEBUChunk(int64_t iStoredSize) : WAVEChunk(cBext, iStoredSize) {}

bool WAVEEBUChunk::ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    if (mStoredSize < cDataSize)
        return false;
    unsigned char data[cDataSize];
    FF_ReadExact(iFileP, data, cDataSize);
    iAudioFileP->mDescription.StoreFromSourceIfClean(GetText(data, 256));
    iAudioFileP->mBroadcastWaveData.StoreFromSourceIfClean({GetText(data + 256, 32)});
    if (!iAudioFileP->IsOMFI())
        iAudioFileP->mOriginalTimeStamp.StoreFromSourceIfClean(GetLE<int64_t>(data + 338));
    return true;
}

void WAVEEBUChunk::WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    unsigned char data[cDataSize] = {};
    // Texts longer than their fields are cut.
    PutText(data, iAudioFileP->mDescription.GetOr(""), 256);
    PutText(data + 256, iAudioFileP->mBroadcastWaveData.GetOr({}).mOriginator, 32);
    PutText(data + 288, iAudioFileP->mUmid.GetOr(Sys_Umid::NoID()).AsString(), 32);
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    char stamp[20];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d", &local);
    std::memcpy(data + 320, stamp, 10);
    std::strftime(stamp, sizeof stamp, "%H:%M:%S", &local);
    std::memcpy(data + 330, stamp, 8);
    PutLE<int64_t>(data + 338, iAudioFileP->mOriginalTimeStamp.GetOr(0));
    FF_WriteExact(iFileP, data, cDataSize);
    mStoredSize = cDataSize;
    iAudioFileP->mBroadcastWaveData.ClearDirty();
    iAudioFileP->mDescription.ClearDirty();
}

bool WAVEEBUChunk::NeedsSyncImpl(FF_AudioFile* iAudioFileP)
{
    return iAudioFileP->mBroadcastWaveData.IsDirty() || iAudioFileP->mDescription.IsDirty();
}

// ---- "data" ------------------------------------------------------------------------------

WAVEDataChunk::WAVEDataChunk(int64_t iStoredSize) : WAVEChunk(cData, iStoredSize) {}

bool WAVEDataChunk::ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    unsigned char header[8];
    iFileP->SetPosition(Sys_File::eOffsetFrom_Start, mPosition);
    if (iFileP->Read(header, 8) != 8)
        return false;
    const int64_t size = GetLE<uint32_t>(header + 4);
    const int64_t start = iFileP->GetPosition();
    if (start + size > iFileP->GetEOF())
        return false;
    const int64_t frame =
        int64_t(iAudioFileP->mBitDepth.GetOr(0) / 8) * iAudioFileP->mNumChannels.GetOr(0);
    if (frame <= 0)
        return false;
    mStoredSize = size;
    iAudioFileP->mOffsetToData.StoreFromSource(iAudioFileP->GetEmbeddedOffset() + mPosition + 8);
    iAudioFileP->mNumSamples.StoreFromSourceIfClean(size / frame);
    return true;
}

void WAVEDataChunk::WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    mStoredSize = GetSize(iAudioFileP, iFileP) - 8;
    iAudioFileP->mNumSamples.ClearDirty();
}

int64_t WAVEDataChunk::GetSize(FF_AudioFile* iAudioFileP, Sys_File*)
{
    return GetCachedSize(iAudioFileP);
}

int64_t WAVEDataChunk::GetCachedSize(FF_AudioFile* iAudioFileP)
{
    const int64_t bits = iAudioFileP->mBitDepth.GetOr(0);
    const int64_t channels = iAudioFileP->mNumChannels.GetOr(0);
    const int64_t frame = bits * channels / 8;
    const int64_t numSamples = iAudioFileP->mNumSamples.GetOr(0);
    // The found size is kept while it still counts the same frames (odd tails of foreign
    // files survive).
    if (frame > 0 && mStoredSize / frame == numSamples)
        return mStoredSize + 8;
    return bits * channels * numSamples / 8 + 8;
}

void WAVEDataChunk::SetPositionImpl(FF_AudioFile* iAudioFileP, int64_t iPosition)
{
    iAudioFileP->mOffsetToData.StoreFromSource(iAudioFileP->GetEmbeddedOffset() + iPosition + 8);
}

bool WAVEDataChunk::NeedsSyncImpl(FF_AudioFile* iAudioFileP)
{
    return iAudioFileP->mNumSamples.IsDirty();
}

// ---- "smpl" ------------------------------------------------------------------------------

WAVESamplerChunk::WAVESamplerChunk(int64_t iStoredSize) : WAVEChunk(cSmpl, iStoredSize) {}

bool WAVESamplerChunk::ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    // Only the head and the first two loops are used: no more is read, whatever the size.
    constexpr int64_t cUsed = 36 + 2 * 24;
    if (mStoredSize < 36)
        return false;
    const int64_t wanted = std::min(mStoredSize, cUsed);
    unsigned char data[cUsed] = {};
    if (iFileP->Read(data, wanted) != wanted)
        return false;
    const int64_t numLoops = (mStoredSize - 36) / 24;
    FF_AudioInstrumentAttr attr;
    if (GetLE<uint32_t>(data) == cManufacturer && GetLE<uint32_t>(data + 4) == cProduct)
    {
        attr.mRootNote = data[32];
        attr.mFineTune = data[33];
    }
    else
    {
        attr.mRootNote = data[12];
        attr.mFineTune = int32_t((uint64_t(GetLE<uint32_t>(data + 16)) * 100) >> 32);
    }
    auto loopType = [](uint32_t iStored, int32_t iPrevious)
    { return iStored <= 2 ? int32_t(iStored) + 1 : iPrevious; };
    if (numLoops >= 1)
    {
        attr.mLoop1Type = loopType(GetLE<uint32_t>(data + 36 + 4), attr.mLoop1Type);
        attr.mLoop1Start = GetLE<uint32_t>(data + 36 + 8);
        attr.mLoop1End = GetLE<uint32_t>(data + 36 + 12);
    }
    if (numLoops >= 2)
    {
        attr.mLoop2Type = loopType(GetLE<uint32_t>(data + 60 + 4), attr.mLoop2Type);
        attr.mLoop2Start = GetLE<uint32_t>(data + 60 + 8);
        attr.mLoop2End = GetLE<uint32_t>(data + 60 + 12);
    }
    iAudioFileP->mInstrumentAttr.StoreFromSourceIfClean(attr);
    return true;
}

void WAVESamplerChunk::WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    const FF_AudioInstrumentAttr attr = iAudioFileP->mInstrumentAttr.GetOr({});
    const int32_t numLoops = (attr.mLoop1Type != 0) + (attr.mLoop2Type != 0);
    std::vector<unsigned char> data(size_t(36 + 24 * numLoops), 0);
    int32_t rootField = attr.mRootNote;
    int32_t fineTune = attr.mFineTune;
    if (fineTune < 0)
    {
        rootField -= 1;
        fineTune = 100 - fineTune;
    }
    PutLE<uint32_t>(data.data(), cManufacturer);
    PutLE<uint32_t>(data.data() + 4, cProduct);
    PutLE<uint32_t>(data.data() + 12, uint32_t(rootField));
    PutLE<uint32_t>(data.data() + 16, uint32_t((uint64_t(uint32_t(fineTune)) << 32) / 100));
    PutLE<uint32_t>(data.data() + 28, uint32_t(numLoops));
    PutLE<uint32_t>(data.data() + 32, (uint32_t(fineTune) << 8) | uint32_t(attr.mRootNote & 0xFF));
    size_t record = 36;
    auto putLoop = [&](uint32_t iCue, int32_t iType, int64_t iStart, int64_t iEnd)
    {
        PutLE<uint32_t>(data.data() + record, iCue);
        PutLE<uint32_t>(data.data() + record + 4, uint32_t(iType - 1));
        PutLE<uint32_t>(data.data() + record + 8, uint32_t(iStart));
        PutLE<uint32_t>(data.data() + record + 12, uint32_t(iEnd));
        record += 24;
    };
    if (attr.mLoop1Type != 0)
        putLoop(1, attr.mLoop1Type, attr.mLoop1Start, attr.mLoop1End);
    if (attr.mLoop2Type != 0)
        putLoop(2, attr.mLoop2Type, attr.mLoop2Start, attr.mLoop2End);
    FF_WriteExact(iFileP, data.data(), int64_t(data.size()));
    mStoredSize = int64_t(data.size());
    iAudioFileP->mInstrumentAttr.ClearDirty();
}

int64_t WAVESamplerChunk::GetCachedSize(FF_AudioFile* iAudioFileP)
{
    const FF_AudioInstrumentAttr attr = iAudioFileP->mInstrumentAttr.GetOr({});
    return 44 + 24 * ((attr.mLoop1Type != 0) + (attr.mLoop2Type != 0));
}

bool WAVESamplerChunk::NeedsSyncImpl(FF_AudioFile* iAudioFileP)
{
    return iAudioFileP->mInstrumentAttr.IsDirty();
}
