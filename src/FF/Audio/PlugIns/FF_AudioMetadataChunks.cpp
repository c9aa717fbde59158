#include "FF/Audio/PlugIns/FF_AudioMetadataChunks.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <string>
#include <vector>

#include "Cmn_Assert.h"
#include "L10N_Utils.h"
#include "Sys_File.h"
#include "Sys_Volume.h"

namespace
{
constexpr uint32_t cUmid = FF_AudioChunkID("umid");
constexpr uint32_t cRegn = FF_AudioChunkID("regn");
constexpr uint32_t cMinf = FF_AudioChunkID("minf");
constexpr uint32_t cOvwf = FF_AudioChunkID("ovwf");
constexpr uint32_t cRkti = FF_AudioChunkID("rkti");
constexpr uint32_t cAnno = FF_AudioChunkID("ANNO");
constexpr uint32_t cElm1 = FF_AudioChunkID("elm1");
constexpr uint32_t cJunk = FF_AudioChunkID("JUNK");
constexpr uint32_t cFllr = FF_AudioChunkID("FLLR");

// A umid as its memory image: the four words in this host's order, whatever the file's.
Sys_Umid GetUmid(const unsigned char* iP)
{
    Sys_Umid umid;
    for (int32_t i = 0; i < 4; ++i)
        umid.SetWord(i, FF_GetNumber<uint32_t>(iP + 4 * i, eByteOrder_Native));
    return umid;
}

void PutUmid(unsigned char* oP, const Sys_Umid& iUmid)
{
    for (int32_t i = 0; i < 4; ++i)
        FF_PutNumber<uint32_t>(oP + 4 * i, iUmid.GetWord(i), eByteOrder_Native);
}

// Cuts a name to at most iLength bytes without splitting a UTF-8 sequence.
std::string ShortenStringLength(const std::string& iName, size_t iLength)
{
    if (iName.size() <= iLength)
        return iName;
    size_t cut = iLength;
    while (cut > 0 && (static_cast<unsigned char>(iName[cut]) & 0xC0) == 0x80)
        --cut;
    return iName.substr(0, cut);
}

// Microseconds since 1970-01-01 UTC, as the file utilities count.
uint64_t NowUTC()
{
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return uint64_t(now.tv_sec) * 1000000u + uint64_t(now.tv_nsec / 1000);
}
} // namespace

void FF_ReadExact(Sys_File* iFileP, void* oBufferP, int64_t iCount)
{
    if (iFileP->Read(oBufferP, iCount) != iCount)
        throw std::runtime_error(L10N_Utils::GetText(7, 12));
}

void FF_WriteExact(Sys_File* iFileP, const void* iBufferP, int64_t iCount)
{
    if (iFileP->Write(iBufferP, iCount) != iCount)
        throw std::runtime_error(L10N_Utils::GetText(7, 12));
}

bool FF_HasOMFTrailer(Sys_File* iFileP)
{
    static const unsigned char cBentoMagic[8] = {0xA4, 0x43, 0x4D, 0xA5, 0x48, 0x64, 0x72, 0xD7};
    if (iFileP->GetEOF() < 24)
        return false;
    unsigned char tail[24];
    iFileP->SetPosition(Sys_File::eOffsetFrom_End, 24);
    if (iFileP->Read(tail, 24) != 24)
        return false;
    const auto version = FF_GetNumber<uint16_t>(tail + 12, eByteOrder_Native);
    return std::memcmp(tail, cBentoMagic, 8) == 0 && (version == 1 || version == 256);
}

bool FF_CanWriteMetadata(FF_AudioProperty::EID iID, FF_AudioFile* iAudioFileP)
{
    switch (iID)
    {
    case FF_AudioProperty::eID_NumSamples:
    case FF_AudioProperty::eID_Umid:
    case FF_AudioProperty::eID_OriginalTimeStamp:
    case FF_AudioProperty::eID_UserTimeStamp:
    case FF_AudioProperty::eID_Regions:
    case FF_AudioProperty::eID_PlugInData:
    case FF_AudioProperty::eID_InstrumentAttr:
    case FF_AudioProperty::eID_Description:
        return true;
    case FF_AudioProperty::eID_Overview:
    {
        iAudioFileP->Open(Cmn_Store::eOpenFlag_OpenForRead);
        const bool mono = iAudioFileP->mNumChannels.GetOr(0) == 1;
        iAudioFileP->Close();
        return mono;
    }
    default:
        return false;
    }
}

// ---- the instrument record -----------------------------------------------------------------

void FF_InstrumentRecord::Write(const FF_AudioInstrumentAttr& iAttr, EByteOrder iOrder,
                                unsigned char* oRecordP, std::vector<Marker>* oMarkersP)
{
    std::memset(oRecordP, 0, cSize);
    oRecordP[0] = uint8_t(iAttr.mRootNote);
    oRecordP[1] = uint8_t(int8_t(iAttr.mFineTune));
    oRecordP[3] = 127;
    oRecordP[5] = 127;
    FF_PutNumber<int16_t>(oRecordP + 6, 32767, iOrder);
    oMarkersP->clear();
    const struct
    {
        int32_t mType;
        int64_t mStart, mEnd;
    } loops[2] = {{iAttr.mLoop1Type, iAttr.mLoop1Start, iAttr.mLoop1End},
                  {iAttr.mLoop2Type, iAttr.mLoop2Start, iAttr.mLoop2End}};
    for (int16_t i = 0; i < 2; ++i)
    {
        if (loops[i].mType == 0)
            continue;
        unsigned char* loop = oRecordP + 8 + 6 * i;
        FF_PutNumber<int16_t>(loop, int16_t(loops[i].mType == 2 ? 2 : 1), iOrder);
        FF_PutNumber<int16_t>(loop + 2, int16_t(2 * i), iOrder);
        FF_PutNumber<int16_t>(loop + 4, int16_t(2 * i + 1), iOrder);
        oMarkersP->push_back({int16_t(2 * i), uint32_t(loops[i].mStart)});
        oMarkersP->push_back({int16_t(2 * i + 1), uint32_t(loops[i].mEnd)});
    }
}

FF_AudioInstrumentAttr FF_InstrumentRecord::Read(const unsigned char* iRecordP, EByteOrder iOrder,
                                                 const std::vector<Marker>& iMarkers)
{
    FF_AudioInstrumentAttr attr;
    attr.mRootNote = iRecordP[0];
    attr.mFineTune = int8_t(iRecordP[1]);
    auto find = [&](int16_t iID) -> const Marker*
    {
        for (const Marker& marker : iMarkers)
            if (marker.mID == iID)
                return &marker;
        return nullptr;
    };
    int32_t* types[2] = {&attr.mLoop1Type, &attr.mLoop2Type};
    int64_t* starts[2] = {&attr.mLoop1Start, &attr.mLoop2Start};
    int64_t* ends[2] = {&attr.mLoop1End, &attr.mLoop2End};
    for (int32_t i = 0; i < 2; ++i)
    {
        const unsigned char* loop = iRecordP + 8 + 6 * i;
        const auto playMode = FF_GetNumber<int16_t>(loop, iOrder);
        const Marker* begin = find(FF_GetNumber<int16_t>(loop + 2, iOrder));
        const Marker* end = find(FF_GetNumber<int16_t>(loop + 4, iOrder));
        if (playMode == 0 || !begin || !end)
            continue;
        *types[i] = playMode == 2 ? 2 : 1;
        *starts[i] = begin->mPosition;
        *ends[i] = end->mPosition;
    }
    return attr;
}

// ---- FF_AudioChunk -----------------------------------------------------------------------

void FF_AudioChunk::WriteHeader(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    const int64_t dataSize = GetSize(iAudioFileP, iFileP) - 8;
    CMN_ASSERT(dataSize >= 0 && dataSize <= int64_t(UINT32_MAX));
    unsigned char header[8];
    FF_PutNumber<uint32_t>(header, mID, eByteOrder_Little); // the characters as they stand
    FF_PutNumber<uint32_t>(header + 4, uint32_t(dataSize), mOrder);
    FF_WriteExact(iFileP, header, 8);
}

int64_t FF_AudioChunk::GetSize(FF_AudioFile* iAudioFileP, Sys_File*)
{
    return IsCached() ? GetCachedSize(iAudioFileP) : mStoredSize + 8;
}

FF_AudioChunk* FF_AudioChunk::CreateMetadataChunk(uint32_t iID, int64_t iStoredSize,
                                                  EByteOrder iOrder)
{
    switch (iID)
    {
    case cUmid:
        return new UAFUmidChunk(iStoredSize, iOrder);
    case cRegn:
        return new UAFRegnChunk(iStoredSize, iOrder);
    case cMinf:
        return new UAFMinfChunk(iStoredSize, iOrder);
    case cOvwf:
        return new UAFOvwfChunk(iStoredSize, iOrder);
    case cRkti:
        return new UAFDRktAssetInfoChunk(iStoredSize, iOrder);
    case cAnno:
        return new UAFAnnoChunk(iStoredSize, iOrder);
    case cElm1:
    case cJunk:
    case cFllr:
        return new UAFFillerChunk(iID, iStoredSize, iOrder);
    default:
        return nullptr;
    }
}

// ---- "elm1" ------------------------------------------------------------------------------

UAFElmoChunk::UAFElmoChunk(EByteOrder iOrder) : FF_AudioChunk(cElm1, 0, iOrder)
{
    mIsCached = true;
}

int64_t UAFElmoChunk::GetAlignment(FF_AudioFile* iAudioFileP)
{
    if (iAudioFileP->mAlignForVolume)
    {
        const int32_t sector = iAudioFileP->GetFileLoc().GetVolume().GetBytesPerSector();
        if (sector > 0)
            return sector;
    }
    return iAudioFileP->mAlignFor4K ? 4096 : 512;
}

int64_t UAFElmoChunk::GetCachedSize(FF_AudioFile* iAudioFileP)
{
    const int64_t a = GetAlignment(iAudioFileP);
    return a - ((mPosition + 16) % a) + 8;
}

// ---- fillers ----------------------------------------------------------------------------

UAFFillerChunk::UAFFillerChunk(uint32_t iID, int64_t iStoredSize, EByteOrder iOrder)
    : FF_AudioChunk(iID, iStoredSize, iOrder)
{
    mIsCached = true;
}

void UAFFillerChunk::WriteImpl(FF_AudioFile*, Sys_File* iFileP)
{
    static const unsigned char cZeros[4096] = {};
    for (int64_t left = mStoredSize; left > 0;)
    {
        const int64_t count = std::min<int64_t>(left, int64_t(sizeof cZeros));
        FF_WriteExact(iFileP, cZeros, count);
        left -= count;
    }
}

bool UAFFillerChunk::ResizeFiller(int64_t iTotalSize)
{
    if (iTotalSize < 8 || iTotalSize - 8 > int64_t(UINT32_MAX))
        return false;
    mStoredSize = iTotalSize - 8;
    mNeedsSync = true;
    return true;
}

// ---- "umid" ------------------------------------------------------------------------------

UAFUmidChunk::UAFUmidChunk(int64_t iStoredSize, EByteOrder iOrder)
    : FF_AudioChunk(cUmid, iStoredSize, iOrder)
{
}

bool UAFUmidChunk::ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    unsigned char data[24];
    FF_ReadExact(iFileP, data, 24);
    if (!iAudioFileP->mUmid.IsDirty())
        iAudioFileP->mUmid.StoreFromSource(GetUmid(data));
    return true;
}

void UAFUmidChunk::WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    unsigned char data[24] = {};
    PutUmid(data, iAudioFileP->mUmid.GetOr(Sys_Umid::NoID()));
    FF_WriteExact(iFileP, data, 24);
    mStoredSize = 24;
    iAudioFileP->mUmid.ClearDirty();
}

bool UAFUmidChunk::NeedsSyncImpl(FF_AudioFile* iAudioFileP)
{
    return iAudioFileP->mUmid.IsDirty();
}

// ---- "regn" ------------------------------------------------------------------------------

UAFRegnChunk::UAFRegnChunk(int64_t iStoredSize, EByteOrder iOrder)
    : FF_AudioChunk(cRegn, iStoredSize, iOrder)
{
}

bool UAFRegnChunk::ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    CMN_ASSERT_TEXT(!iAudioFileP->mRegions.IsCached(), "!iAudioFile->mRegions.IsCached()");
    unsigned char countBytes[4];
    FF_ReadExact(iFileP, countBytes, 4);
    // No more records than the chunk holds, whatever the count says.
    const int64_t count = std::min<int64_t>(FF_GetNumber<uint32_t>(countBytes, mOrder),
                                            std::max<int64_t>(mStoredSize - 4, 0) / cRecordSize);
    const int64_t numSamples = iAudioFileP->mNumSamples.GetOr(0);
    FF_AudioFile::RegionList regions;
    for (int64_t i = 0; i < count; ++i)
    {
        unsigned char record[cRecordSize];
        if (iFileP->Read(record, cRecordSize) != cRecordSize)
            break;
        FF_AudioFile::Region region;
        region.mUmid = GetUmid(record);
        region.mStartSample = FF_GetNumber<int64_t>(record + 16, mOrder);
        region.mStopSample = FF_GetNumber<int64_t>(record + 24, mOrder);
        region.mLength = FF_GetNumber<int64_t>(record + 32, mOrder);
        region.mUserTimeStamp = FF_GetNumber<int64_t>(record + 40, mOrder);
        region.mOriginalTimeStamp = FF_GetNumber<int64_t>(record + 48, mOrder);
        const int32_t nameLength = std::clamp<int32_t>(int8_t(record[56]), 0, cMaxNameLength);
        region.mName.assign(reinterpret_cast<const char*>(record + 57), size_t(nameLength));
        if (i == 0)
        {
            region.mIsWholeFile = true;
            region.mStopSample = numSamples;
        }
        regions.push_back(region);
    }
    iAudioFileP->mRegions.StoreFromSource(regions);
    return true;
}

void UAFRegnChunk::WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    CMN_ASSERT_TEXT(iAudioFileP->mRegions.IsCached(), "iAudioFile->mRegions.IsCached()");
    const FF_AudioFile::RegionList& regions = *iAudioFileP->mRegions.Peek();
    std::vector<unsigned char> data(4 + cRecordSize * regions.size(), 0);
    FF_PutNumber<uint32_t>(data.data(), uint32_t(regions.size()), mOrder);
    int64_t userTimeStamp = 0;
    const bool haveUserTimeStamp = iAudioFileP->mUserTimeStamp.Get(&userTimeStamp);
    unsigned char* record = data.data() + 4;
    for (const FF_AudioFile::Region& region : regions)
    {
        PutUmid(record, region.mUmid);
        FF_PutNumber<int64_t>(record + 16, region.mStartSample, mOrder);
        FF_PutNumber<int64_t>(record + 24, region.mStopSample, mOrder);
        FF_PutNumber<int64_t>(record + 32, region.mLength, mOrder);
        FF_PutNumber<int64_t>(record + 40,
                              region.mIsWholeFile && haveUserTimeStamp ? userTimeStamp
                                                                       : region.mUserTimeStamp,
                              mOrder);
        FF_PutNumber<int64_t>(record + 48, region.mOriginalTimeStamp, mOrder);
        const std::string name = ShortenStringLength(region.mName, cMaxNameLength);
        record[56] = uint8_t(name.size());
        std::memcpy(record + 57, name.data(), name.size());
        record += cRecordSize;
    }
    FF_WriteExact(iFileP, data.data(), int64_t(data.size()));
    mStoredSize = int64_t(data.size());
    iAudioFileP->mRegions.ClearDirty();
    iAudioFileP->mUserTimeStamp.ClearDirty();
}

int64_t UAFRegnChunk::GetCachedSize(FF_AudioFile* iAudioFileP)
{
    const FF_AudioFile::RegionList* regions = iAudioFileP->mRegions.Peek();
    return 12 + cRecordSize * int64_t(regions ? regions->size() : 0);
}

bool UAFRegnChunk::NeedsSyncImpl(FF_AudioFile* iAudioFileP)
{
    return iAudioFileP->mRegions.IsDirty() || iAudioFileP->mUserTimeStamp.IsDirty();
}

// ---- "minf" ------------------------------------------------------------------------------

UAFMinfChunk::UAFMinfChunk(int64_t iStoredSize, EByteOrder iOrder)
    : FF_AudioChunk(cMinf, iStoredSize, iOrder)
{
}

bool UAFMinfChunk::ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    unsigned char data[16];
    FF_ReadExact(iFileP, data, 16);
    iAudioFileP->mModificationTime.StoreFromSourceIfClean(FF_GetNumber<uint64_t>(data, mOrder));
    iAudioFileP->mModificationCount.StoreFromSourceIfClean(FF_GetNumber<int64_t>(data + 8, mOrder));
    return true;
}

void UAFMinfChunk::WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    iAudioFileP->mModificationTime.StoreFromSource(NowUTC());
    const int64_t count = iAudioFileP->mModificationCount.GetOr(0);
    unsigned char data[16];
    FF_PutNumber<uint64_t>(data, *iAudioFileP->mModificationTime.Peek(), mOrder);
    FF_PutNumber<int64_t>(data + 8, count, mOrder);
    FF_WriteExact(iFileP, data, 16);
    mStoredSize = 16;
    iAudioFileP->mModificationTime.ClearDirty();
    iAudioFileP->mModificationCount.ClearDirty();
}

bool UAFMinfChunk::NeedsSyncImpl(FF_AudioFile* iAudioFileP)
{
    return iAudioFileP->mModificationCount.IsDirty();
}

// ---- "ovwf" ------------------------------------------------------------------------------

UAFOvwfChunk::UAFOvwfChunk(int64_t iStoredSize, EByteOrder iOrder)
    : FF_AudioChunk(cOvwf, iStoredSize, iOrder)
{
}

bool UAFOvwfChunk::ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    unsigned char countBytes[4];
    FF_ReadExact(iFileP, countBytes, 4);
    // Each entry takes at least its header: no more entries than the chunk can hold.
    const int64_t count =
        std::min<int64_t>(FF_GetNumber<uint32_t>(countBytes, mOrder),
                          std::max<int64_t>(mStoredSize - 4, 0) / cEntryHeaderSize);
    const int64_t size = OverviewSize(iAudioFileP->mNumSamples.GetOr(0));
    const int64_t chunkEnd = mPosition + 8 + mStoredSize;
    for (int64_t i = 0; i < count; ++i)
    {
        unsigned char header[cEntryHeaderSize];
        if (iFileP->Read(header, cEntryHeaderSize) != cEntryHeaderSize)
            break;
        const bool fits =
            FF_GetNumber<uint32_t>(header, mOrder) == uint64_t(size) + cEntryHeaderSize &&
            FF_GetNumber<uint32_t>(header + 4, mOrder) == 1 &&
            FF_GetNumber<uint32_t>(header + 8, mOrder) == 256 &&
            FF_GetNumber<uint32_t>(header + 12, mOrder) == 8 &&
            FF_GetNumber<uint32_t>(header + 16, mOrder) == 1 &&
            FF_GetNumber<uint32_t>(header + 20, mOrder) == uint64_t(size / 2);
        if (!fits)
            continue; // the next header is looked for straight behind this one
        if (iFileP->GetPosition() + size > chunkEnd)
            break;
        FF_AudioOverviewData overview(static_cast<size_t>(size));
        if (iFileP->Read(overview.data(), size) == size)
            iAudioFileP->mOverview.StoreFromSourceIfClean(overview);
        break;
    }
    return true;
}

void UAFOvwfChunk::WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    const FF_AudioOverviewData* overview = iAudioFileP->mOverview.Peek();
    const bool have = overview && !overview->empty();
    const int64_t size = have ? int64_t(overview->size()) : 0;
    std::vector<unsigned char> data(size_t(have ? 4 + cEntryHeaderSize + size : 4), 0);
    FF_PutNumber<uint32_t>(data.data(), have ? 1 : 0, mOrder);
    if (have)
    {
        unsigned char* header = data.data() + 4;
        FF_PutNumber<uint32_t>(header, uint32_t(size + cEntryHeaderSize), mOrder);
        FF_PutNumber<uint32_t>(header + 4, 1, mOrder);
        FF_PutNumber<uint32_t>(header + 8, 256, mOrder);
        FF_PutNumber<uint32_t>(header + 12, 8, mOrder);
        FF_PutNumber<uint32_t>(header + 16, 1, mOrder);
        FF_PutNumber<uint32_t>(header + 20, uint32_t(size / 2), mOrder);
        std::memcpy(header + cEntryHeaderSize, overview->data(), size_t(size));
    }
    FF_WriteExact(iFileP, data.data(), int64_t(data.size()));
    mStoredSize = int64_t(data.size());
    iAudioFileP->mOverview.ClearDirty();
}

int64_t UAFOvwfChunk::GetCachedSize(FF_AudioFile* iAudioFileP)
{
    const FF_AudioOverviewData* overview = iAudioFileP->mOverview.Peek();
    return overview && !overview->empty() ? 36 + int64_t(overview->size()) : 12;
}

bool UAFOvwfChunk::NeedsSyncImpl(FF_AudioFile* iAudioFileP)
{
    return iAudioFileP->mOverview.IsDirty();
}

// ---- "rkti" ------------------------------------------------------------------------------

UAFDRktAssetInfoChunk::UAFDRktAssetInfoChunk(int64_t iStoredSize, EByteOrder iOrder)
    : FF_AudioChunk(cRkti, iStoredSize, iOrder)
{
}

bool UAFDRktAssetInfoChunk::ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    unsigned char data[10];
    FF_ReadExact(iFileP, data, 10);
    iAudioFileP->mDRktAssetInfo.StoreFromSourceIfClean({FF_GetNumber<uint32_t>(data + 6, mOrder)});
    return true;
}

void UAFDRktAssetInfoChunk::WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    CMN_ASSERT_TEXT(iAudioFileP->mDRktAssetInfo.IsCached(),
                    "iAudioFile->mDRktAssetInfo.IsCached()");
    unsigned char data[10];
    FF_PutNumber<uint16_t>(data, 1, mOrder);
    FF_PutNumber<uint32_t>(data + 2, 10, mOrder);
    FF_PutNumber<uint32_t>(data + 6, iAudioFileP->mDRktAssetInfo.Peek()->mValue, mOrder);
    FF_WriteExact(iFileP, data, 10);
    mStoredSize = 10;
    iAudioFileP->mDRktAssetInfo.ClearDirty();
}

bool UAFDRktAssetInfoChunk::NeedsSyncImpl(FF_AudioFile* iAudioFileP)
{
    return iAudioFileP->mDRktAssetInfo.IsDirty();
}

// ---- "ANNO" ------------------------------------------------------------------------------

UAFAnnoChunk::UAFAnnoChunk(int64_t iStoredSize, EByteOrder iOrder)
    : FF_AudioChunk(cAnno, iStoredSize, iOrder)
{
}

bool UAFAnnoChunk::ReadImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    // The size was cut to what the file holds when the chunk was found; a text longer than
    // any description is taken for a damaged chunk.
    constexpr int64_t cMaxText = 1 << 20;
    if (mStoredSize > cMaxText)
        return false;
    std::string text(static_cast<size_t>(mStoredSize), '\0');
    if (iFileP->Read(text.data(), mStoredSize) != mStoredSize)
        return false;
    text.resize(std::strlen(text.c_str()));
    iAudioFileP->mDescription.StoreFromSourceIfClean(text);
    return true;
}

void UAFAnnoChunk::WriteImpl(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
{
    const std::string* text = iAudioFileP->mDescription.Peek();
    const int64_t size = text ? int64_t(text->size()) : 0;
    if (size > 0)
        FF_WriteExact(iFileP, text->data(), size);
    mStoredSize = size;
    iAudioFileP->mDescription.ClearDirty();
}

int64_t UAFAnnoChunk::GetCachedSize(FF_AudioFile* iAudioFileP)
{
    const std::string* text = iAudioFileP->mDescription.Peek();
    return 8 + (text ? int64_t(text->size()) : 0);
}

bool UAFAnnoChunk::NeedsSyncImpl(FF_AudioFile* iAudioFileP)
{
    return iAudioFileP->mDescription.IsDirty();
}

// ---- unknown chunks ----------------------------------------------------------------------

bool UAFUnknownChunk::ReadImpl(FF_AudioFile*, Sys_File*)
{
    CMN_ASSERT(false);
    return false;
}

void UAFUnknownChunk::WriteImpl(FF_AudioFile*, Sys_File*)
{
    CMN_ASSERT(false);
}
