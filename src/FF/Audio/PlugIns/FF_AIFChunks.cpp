#include "FF/Audio/PlugIns/FF_AIFChunks.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/PlugIns/FF_AIFPlugIn.h"
#include "FF/Audio/PlugIns/FF_ExtendedFloat.h"
#include "L10N_Utils.h"
#include "Sys_File.h"

namespace
{
constexpr uint32_t cComm = FF_AudioChunkID("COMM");
constexpr uint32_t cSsnd = FF_AudioChunkID("SSND");
constexpr uint32_t cInst = FF_AudioChunkID("INST");
constexpr uint32_t cMark = FF_AudioChunkID("MARK");
constexpr uint32_t cAIFC = FF_AudioChunkID("AIFC");
constexpr uint32_t cNone = FF_AudioChunkID("NONE");

template <class T> T GetBE(const unsigned char* iP)
{
    return FF_GetNumber<T>(iP, eByteOrder_Big);
}

template <class T> void PutBE(unsigned char* oP, T iValue)
{
    FF_PutNumber<T>(oP, iValue, eByteOrder_Big);
}

// A rate as the front holds it: the extended value truncated, kept within a long.
int32_t RateFromExtended(const unsigned char* iP)
{
    const double rate = FF_ExtendedToDouble(iP);
    if (!(rate > 0))
        return 0;
    if (rate >= double(std::numeric_limits<int32_t>::max()))
        return std::numeric_limits<int32_t>::max();
    return int32_t(rate);
}

// The compression fields of a new AIFC file: "NONE" and the name as a Pascal string, padded
// to even length.
std::vector<unsigned char> UncompressedFields()
{
    const std::string name = L10N_Utils::GetText(0, 82);
    const size_t length = std::min<size_t>(name.size(), 255);
    std::vector<unsigned char> fields(4 + 1 + length + (length % 2 == 0 ? 1 : 0), 0);
    std::memcpy(fields.data(), "NONE", 4);
    fields[4] = uint8_t(length);
    std::memcpy(fields.data() + 5, name.data(), length);
    return fields;
}
} // namespace

// ---- "COMM" ------------------------------------------------------------------------------

AIFCommChunk::AIFCommChunk(int64_t iStoredSize, uint32_t iFormType)
    : AIFChunk(cComm, iStoredSize), mFormType(iFormType)
{
    if (iFormType == cAIFC)
        mCompression = UncompressedFields();
}

bool AIFCommChunk::IsUncompressed(uint32_t iCompressionType)
{
    return iCompressionType == cNone || iCompressionType == FF_AudioChunkID("in24") ||
           iCompressionType == FF_AudioChunkID("in32");
}

bool AIFCommChunk::ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    // The compression name is a Pascal string: no more than this is ever kept.
    constexpr int64_t cMaxCompression = 4 + 256;
    if (mStoredSize < cFieldsSize)
        return false;
    unsigned char fields[cFieldsSize];
    FF_ReadExact(iFileP, fields, cFieldsSize);
    std::vector<unsigned char> compression;
    if (mFormType == cAIFC)
    {
        if (mStoredSize < cFieldsSize + 4)
            return false;
        compression.resize(size_t(std::min(mStoredSize - cFieldsSize, cMaxCompression)));
        FF_ReadExact(iFileP, compression.data(), int64_t(compression.size()));
        if (!IsUncompressed(FF_GetNumber<uint32_t>(compression.data(), eByteOrder_Little)))
            return false;
    }
    const auto channels = GetBE<int16_t>(fields);
    const auto bits = GetBE<int16_t>(fields + 6);
    // Frames of whole bytes only: other depths stand in wider containers that the frame
    // size would miscount.
    if (channels < 1 || bits < 8 || bits > 32 || bits % 8 != 0)
        return false;
    mCompression = std::move(compression);
    iAudioFileP->mNumChannels.StoreFromSourceIfClean(channels);
    iAudioFileP->mNumSamples.StoreFromSourceIfClean(GetBE<uint32_t>(fields + 2));
    iAudioFileP->mBitDepth.StoreFromSourceIfClean(bits);
    iAudioFileP->mSampleRate.StoreFromSourceIfClean(RateFromExtended(fields + 8));
    return true;
}

void AIFCommChunk::WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    std::vector<unsigned char> data(cFieldsSize);
    const int64_t frames = iAudioFileP->mNumSamples.GetOr(0);
    CMN_ASSERT(frames >= 0 && frames <= int64_t(UINT32_MAX));
    PutBE<int16_t>(data.data(), iAudioFileP->mNumChannels.GetOr(0));
    PutBE<uint32_t>(data.data() + 2, uint32_t(frames));
    PutBE<int16_t>(data.data() + 6, iAudioFileP->mBitDepth.GetOr(0));
    FF_DoubleToExtended(iAudioFileP->mSampleRate.GetOr(0), data.data() + 8);
    data.insert(data.end(), mCompression.begin(), mCompression.end());
    FF_WriteExact(iFileP, data.data(), int64_t(data.size()));
    mStoredSize = int64_t(data.size());
    iAudioFileP->mNumChannels.ClearDirty();
    iAudioFileP->mBitDepth.ClearDirty();
    iAudioFileP->mSampleRate.ClearDirty();
}

int64_t AIFCommChunk::GetCachedSize(FF_AudioFile*)
{
    return 8 + cFieldsSize + int64_t(mCompression.size());
}

bool AIFCommChunk::NeedsSyncImpl(FF_AudioFile* iAudioFileP)
{
    return iAudioFileP->mNumChannels.IsDirty() || iAudioFileP->mNumSamples.IsDirty() ||
           iAudioFileP->mBitDepth.IsDirty() || iAudioFileP->mSampleRate.IsDirty();
}

// ---- "SSND" ------------------------------------------------------------------------------

AIFSsndChunk::AIFSsndChunk(int64_t iStoredSize) : AIFChunk(cSsnd, iStoredSize) {}

bool AIFSsndChunk::ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    unsigned char fields[8];
    FF_ReadExact(iFileP, fields, 8);
    mOffset = GetBE<uint32_t>(fields);
    mBlockSize = GetBE<uint32_t>(fields + 4);
    iAudioFileP->mOffsetToData.StoreFromSource(iAudioFileP->GetEmbeddedOffset() + mPosition +
                                               mOffset + 16);
    return true;
}

void AIFSsndChunk::WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    unsigned char fields[8];
    PutBE<uint32_t>(fields, mOffset);
    PutBE<uint32_t>(fields + 4, mBlockSize);
    FF_WriteExact(iFileP, fields, 8);
    mStoredSize = GetSize(iAudioFileP, iFileP) - 8;
    iAudioFileP->mNumSamples.ClearDirty();
}

int64_t AIFSsndChunk::GetSize(FF_AudioFile* iAudioFileP, Sys_File*)
{
    return GetCachedSize(iAudioFileP);
}

int64_t AIFSsndChunk::GetCachedSize(FF_AudioFile* iAudioFileP)
{
    const int64_t bits = iAudioFileP->mBitDepth.GetOr(0);
    const int64_t channels = iAudioFileP->mNumChannels.GetOr(0);
    const int64_t frame = bits * channels / 8;
    const int64_t numSamples = iAudioFileP->mNumSamples.GetOr(0);
    // The found size is kept while it still holds the same frames (trailing bytes of
    // foreign files survive a metadata flush).
    const int64_t held = mStoredSize - 8 - int64_t(mOffset);
    if (frame > 0 && held >= 0 && held / frame == numSamples)
        return mStoredSize + 8;
    return bits * channels * numSamples / 8 + int64_t(mOffset) + 16;
}

void AIFSsndChunk::SetPositionImpl(FF_AudioFile* iAudioFileP, int64_t iPosition)
{
    iAudioFileP->mOffsetToData.StoreFromSource(iAudioFileP->GetEmbeddedOffset() + iPosition +
                                               mOffset + 16);
}

bool AIFSsndChunk::NeedsSyncImpl(FF_AudioFile* iAudioFileP)
{
    return iAudioFileP->mNumSamples.IsDirty();
}

// ---- "INST" ------------------------------------------------------------------------------

AIFInstChunk::AIFInstChunk(int64_t iStoredSize, FF_AIFPlugIn& ioPlugIn)
    : AIFChunk(cInst, iStoredSize), mPlugIn(ioPlugIn)
{
}

bool AIFInstChunk::ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    FF_AIFPlugIn::InstCk record;
    if (mStoredSize < FF_InstrumentRecord::cSize ||
        iFileP->Read(record.data(), FF_InstrumentRecord::cSize) != FF_InstrumentRecord::cSize)
        return false;
    // Root note and fine tune now; the loops once the markers are known.
    iAudioFileP->mInstrumentAttr.StoreFromSourceIfClean(
        FF_InstrumentRecord::Read(record.data(), eByteOrder_Big, {}));
    mPlugIn.SetInstCk(record);
    mPlugIn.CompleteLoopInfo();
    return true;
}

void AIFInstChunk::WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    FF_AIFPlugIn::InstCk record;
    std::vector<FF_InstrumentRecord::Marker> markers;
    FF_InstrumentRecord::Write(iAudioFileP->mInstrumentAttr.GetOr({}), eByteOrder_Big,
                               record.data(), &markers);
    FF_WriteExact(iFileP, record.data(), FF_InstrumentRecord::cSize);
    mStoredSize = FF_InstrumentRecord::cSize;
    mPlugIn.SetInstCk(record);
    // "MARK" is written in the same flush (both need it while the attribute is dirty).
    iAudioFileP->mInstrumentAttr.ClearDirty();
}

bool AIFInstChunk::NeedsSyncImpl(FF_AudioFile* iAudioFileP)
{
    return iAudioFileP->mInstrumentAttr.IsDirty();
}

// ---- "MARK" ------------------------------------------------------------------------------

AIFMarkChunk::AIFMarkChunk(int64_t iStoredSize, FF_AIFPlugIn& ioPlugIn)
    : AIFChunk(cMark, iStoredSize), mPlugIn(ioPlugIn)
{
}

bool AIFMarkChunk::ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    if (mStoredSize < 4)
        return false;
    // A marker takes at most 2 + 4 + 256 bytes: a count of 16 bits bounds what is read.
    unsigned char countField[2];
    if (iFileP->Read(countField, 2) != 2)
        return false;
    const uint16_t count = GetBE<uint16_t>(countField);
    const int64_t wanted = std::min<int64_t>(mStoredSize - 2, int64_t(count) * 262);
    std::vector<unsigned char> data(static_cast<size_t>(wanted));
    if (iFileP->Read(data.data(), wanted) != wanted)
        return false;
    mPlugIn.ClearMarkers();
    size_t at = 0;
    for (uint16_t i = 0; i < count && at + 7 <= data.size(); ++i)
    {
        FF_AIFPlugIn::Marker marker;
        marker.mID = GetBE<int16_t>(data.data() + at);
        marker.mPosition = GetBE<uint32_t>(data.data() + at + 2);
        const size_t length = data[at + 6];
        const size_t available = std::min(length, data.size() - (at + 7));
        marker.mName.assign(reinterpret_cast<const char*>(data.data() + at + 7),
                            std::min(available, cMaxNameLength));
        marker.mKind = marker.mName == "beg loop" ? 1 : marker.mName == "end loop" ? 2 : 0;
        mPlugIn.AddMarker(marker);
        at += 7 + length + (length % 2 == 0 ? 1 : 0); // the name padded to even length
    }
    mPlugIn.CompleteLoopInfo();
    return true;
}

void AIFMarkChunk::WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    FF_AIFPlugIn::InstCk record;
    std::vector<FF_InstrumentRecord::Marker> markers;
    FF_InstrumentRecord::Write(iAudioFileP->mInstrumentAttr.GetOr({}), eByteOrder_Big,
                               record.data(), &markers);
    std::vector<unsigned char> data(2 + cMarkerSize * markers.size(), 0);
    PutBE<uint16_t>(data.data(), uint16_t(markers.size()));
    mPlugIn.ClearMarkers();
    for (size_t i = 0; i < markers.size(); ++i)
    {
        // Even ids begin a loop, odd ids end it.
        const char* name = markers[i].mID % 2 == 0 ? "beg loop" : "end loop";
        unsigned char* p = data.data() + 2 + cMarkerSize * i;
        PutBE<int16_t>(p, markers[i].mID);
        PutBE<uint32_t>(p + 2, markers[i].mPosition);
        p[6] = 8;
        std::memcpy(p + 7, name, 8);
        mPlugIn.AddMarker({markers[i].mID, markers[i].mPosition, name, 1 + markers[i].mID % 2});
    }
    FF_WriteExact(iFileP, data.data(), int64_t(data.size()));
    mStoredSize = int64_t(data.size());
    iAudioFileP->mInstrumentAttr.ClearDirty();
}

int64_t AIFMarkChunk::GetCachedSize(FF_AudioFile* iAudioFileP)
{
    const FF_AudioInstrumentAttr attr = iAudioFileP->mInstrumentAttr.GetOr({});
    const int64_t loops = (attr.mLoop1Type != 0) + (attr.mLoop2Type != 0);
    return 8 + 2 + 2 * cMarkerSize * loops;
}

bool AIFMarkChunk::NeedsSyncImpl(FF_AudioFile* iAudioFileP)
{
    return iAudioFileP->mInstrumentAttr.IsDirty();
}
