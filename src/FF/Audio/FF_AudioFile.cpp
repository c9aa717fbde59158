#include "FF/Audio/FF_AudioFile.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <set>
#include <utility>

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AsyncAudioFileIOParams.h"
#include "FF/Audio/FF_AudioFileFormat.h"
#include "FF/Audio/FF_AudioFilePlugIn.h"
#include "FF/Audio/FF_BasicAudioPlugIn.h"
#include "L10N_Utils.h"
#include "Sys_File.h"
#include "Sys_FileUtils.h"

std::vector<Sys_FileType> FF_AudioFile::mRecognizedAudioFileTypes;
std::map<Sys_FileType, EAudioFileType> FF_AudioFile::mRecognizedSystemFileTypes;

namespace
{
constexpr int32_t cNumTypeRows = 20;

std::recursive_mutex& FileMutex()
{
    static std::recursive_mutex sMutex;
    return sMutex;
}

FF_AudioFile::OMFInfoMethod sOMFInfoMethod = nullptr;

// Reverses the bytes of each of iCount elements of a width known when compiled, which lets
// the compiler unroll and vectorise the loop.
template <int32_t N> void SwapFixed(unsigned char* ioP, int64_t iCount)
{
    for (int64_t i = 0; i < iCount; ++i, ioP += N)
        for (int32_t b = 0; b < N / 2; ++b)
            std::swap(ioP[b], ioP[N - 1 - b]);
}

// Reverses the bytes of each of iCount elements of iSize bytes.
void SwapBlock(unsigned char* ioP, int64_t iCount, int32_t iSize)
{
    switch (iSize)
    {
    case 2:
        return SwapFixed<2>(ioP, iCount);
    case 3:
        return SwapFixed<3>(ioP, iCount);
    case 4:
        return SwapFixed<4>(ioP, iCount);
    default:
        for (int64_t i = 0; i < iCount; ++i, ioP += iSize)
            std::reverse(ioP, ioP + iSize);
    }
}

std::string NameWithoutExtension(const Sys_FileLoc& iLoc)
{
    std::string name = iLoc.GetName();
    const std::string::size_type dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0)
        name.erase(dot);
    return name;
}
} // namespace

// ---- construction ------------------------------------------------------------------------

#define FF_AUDIOFILE_PROPERTIES                                                                    \
    mFormatName(this, FF_AudioProperty::eID_FormatName),                                           \
        mByteOrder(this, FF_AudioProperty::eID_ByteOrder),                                         \
        mSampleRate(this, FF_AudioProperty::eID_SampleRate),                                       \
        mBitDepth(this, FF_AudioProperty::eID_BitDepth),                                           \
        mNumChannels(this, FF_AudioProperty::eID_NumChannels),                                     \
        mOriginalTimeStamp(this, FF_AudioProperty::eID_OriginalTimeStamp),                         \
        mUserTimeStamp(this, FF_AudioProperty::eID_UserTimeStamp),                                 \
        mNumSamples(this, FF_AudioProperty::eID_NumSamples),                                       \
        mUmid(this, FF_AudioProperty::eID_Umid),                                                   \
        mOffsetToData(this, FF_AudioProperty::eID_OffsetToData),                                   \
        mRegions(this, FF_AudioProperty::eID_Regions),                                             \
        mPlugInData(this, FF_AudioProperty::eID_PlugInData),                                       \
        mModificationTime(this, FF_AudioProperty::eID_ModificationTime),                           \
        mModificationCount(this, FF_AudioProperty::eID_ModificationCount),                         \
        mInstrumentAttr(this, FF_AudioProperty::eID_InstrumentAttr),                               \
        mBroadcastWaveData(this, FF_AudioProperty::eID_BroadcastWaveData),                         \
        mCreationTime(this, FF_AudioProperty::eID_CreationTime),                                   \
        mDRktAssetInfo(this, FF_AudioProperty::eID_DRktAssetInfo),                                 \
        mOverview(this, FF_AudioProperty::eID_Overview),                                           \
        mInterchangeFileName(this, FF_AudioProperty::eID_InterchangeFileName),                     \
        mTimeCodeFormat(this, FF_AudioProperty::eID_TimeCodeFormat),                               \
        mDescription(this, FF_AudioProperty::eID_Description),                                     \
        mRegionName(this, FF_AudioProperty::eID_RegionName)

FF_AudioFile::FF_AudioFile(const Sys_FileLoc& iLoc, int64_t iEmbeddedOffset,
                           const std::list<EAudioFileType>* iCandidatesP)
    : FF_AUDIOFILE_PROPERTIES, mEmbeddedOffset(iEmbeddedOffset), mFileLoc(iLoc)
{
    FileMutex();
    if (iCandidatesP)
        mCandidates = *iCandidatesP;
    else
        GetTypesSupportedForRead(&mCandidates);
}

FF_AudioFile::FF_AudioFile(EAudioFileType iType, const Sys_FileLoc& iLoc, int16_t iNumChannels,
                           int16_t iBitDepth, int32_t iSampleRate, int64_t iTimeStamp,
                           int64_t iNumSamples, std::vector<char> iPlugInData)
    : FF_AUDIOFILE_PROPERTIES, mAudioFileType(iType), mFileLoc(iLoc)
{
    FileMutex();
    mNumChannels.StoreFromSource(iNumChannels);
    mBitDepth.StoreFromSource(iBitDepth);
    mSampleRate.StoreFromSource(iSampleRate);
    mOriginalTimeStamp.StoreFromSource(iTimeStamp);
    mUserTimeStamp.StoreFromSource(iTimeStamp);
    mNumSamples.StoreFromSource(iNumSamples);
    if (!iPlugInData.empty())
        mPlugInData.StoreFromSource(iPlugInData);
}

#undef FF_AUDIOFILE_PROPERTIES

FF_AudioFile::~FF_AudioFile() = default;

// Files are held by chain stages, and a chain may be destroyed on a worker thread while its
// owner drops its own references: the count of a shared file changes under one lock. The
// last reference is given up outside it (no other thread can hold one then), so that a file
// is never destroyed with the lock held.
namespace
{
std::mutex& RefCountMutex()
{
    static std::mutex sMutex;
    return sMutex;
}
} // namespace

void FF_AudioFile_ForwardDeclarationHack::AddReference(FF_AudioFile* iP)
{
    std::lock_guard<std::mutex> lock(RefCountMutex());
    static_cast<Cmn_RefCountObject*>(iP)->AddReference();
}

void FF_AudioFile_ForwardDeclarationHack::RemoveReference(FF_AudioFile* iP)
{
    {
        std::lock_guard<std::mutex> lock(RefCountMutex());
        if (static_cast<Cmn_RefCountObject*>(iP)->GetRefCount() > 1)
        {
            static_cast<Cmn_RefCountObject*>(iP)->RemoveReference();
            return;
        }
    }
    static_cast<Cmn_RefCountObject*>(iP)->RemoveReference();
}

// ---- the table of types ------------------------------------------------------------------

const FF_AudioFileFormat* FF_AudioFileFormat::Find(EAudioFileType iType)
{
    for (const FF_AudioFileFormat& row : GetAll())
        if (row.mType == iType)
            return &row;
    return nullptr;
}

void FF_AudioFile::RegisterTypes()
{
    static std::once_flag sOnce;
    std::call_once(sOnce,
                   []
                   {
                       const Sys_FileType::OSType creator = Sys_FileType::MakeOSType("MDul");
                       std::vector<Sys_FileType> types(cNumTypeRows, Sys_FileType::cUnknown);
                       EAudioFileType previous = eAudioFileType_Unknown;
                       for (const FF_AudioFileFormat& row : FF_AudioFileFormat::GetAll())
                       {
                           CMN_ASSERT(row.mType > previous && row.mType < cNumTypeRows);
                           previous = row.mType;
                           if (row.mSharesFileTypeOf != eAudioFileType_Unknown)
                           {
                               CMN_ASSERT(row.mSharesFileTypeOf < row.mType);
                               types[row.mType] = types[row.mSharesFileTypeOf];
                               mRecognizedSystemFileTypes[types[row.mType]] = row.mType;
                               continue;
                           }
                           if (row.mMacTypes.empty() && row.mExtensions.empty())
                               continue;
                           std::vector<Sys_FileType::OSType> codes;
                           for (const char* code : row.mMacTypes)
                               codes.push_back(Sys_FileType::MakeOSType(code));
                           types[row.mType] = Sys_FileType::RegisterType(
                               codes, row.mExtensions, row.mNameLiteral, creator,
                               Sys_FileType::eGroup_Audio, row.mNameID);
                           mRecognizedSystemFileTypes[types[row.mType]] = row.mType;
                       }
                       mRecognizedAudioFileTypes = std::move(types);
                   });
}

void FF_AudioFile::GetTypesSupportedForRead(std::list<EAudioFileType>* oTypesP)
{
    std::vector<const FF_AudioFileFormat*> ranked;
    for (const FF_AudioFileFormat& row : FF_AudioFileFormat::GetAll())
        if (row.mReadRank > 0)
            ranked.push_back(&row);
    std::sort(ranked.begin(), ranked.end(),
              [](const FF_AudioFileFormat* iA, const FF_AudioFileFormat* iB)
              { return iA->mReadRank < iB->mReadRank; });
    oTypesP->clear();
    for (const FF_AudioFileFormat* row : ranked)
        oTypesP->push_back(row->mType);
}

void FF_AudioFile::GetTypesSupportedForWrite(std::list<EAudioFileType>*)
{
    CMN_ASSERT(false);
}

bool FF_AudioFile::AudioFileTypeSupportsEmbeddedOverviews(EAudioFileType iType)
{
    const FF_AudioFileFormat* row = FF_AudioFileFormat::Find(iType);
    return row && row->mEmbedsOverviews;
}

Sys_FileType FF_AudioFile::FileTypeFromAudioFileType(EAudioFileType iType)
{
    RegisterTypes();
    const auto iAudioFileType = static_cast<size_t>(static_cast<uint32_t>(iType));
    CMN_ASSERT(iAudioFileType < mRecognizedAudioFileTypes.size());
    return mRecognizedAudioFileTypes[iAudioFileType];
}

EByteOrder FF_AudioFile::ByteOrderFromAudioFileType(EAudioFileType iType)
{
    const FF_AudioFileFormat* row = FF_AudioFileFormat::Find(iType);
    const FF_AudioFileFormat::EOrder order = row ? row->mOrder : FF_AudioFileFormat::eOrder_None;
    if (order == FF_AudioFileFormat::eOrder_Big || order == FF_AudioFileFormat::eOrder_Little)
        return EByteOrder(order);
    if (order == FF_AudioFileFormat::eOrder_Refused)
        CMN_ASSERT(false);
    CMN_ASSERT(0);
    return eByteOrder_Little;
}

std::string FF_AudioFile::GetAudioFileTypeName(EAudioFileType iType)
{
    const FF_AudioFileFormat* row = FF_AudioFileFormat::Find(iType);
    if (!row)
        return "";
    return row->mNameID ? L10N_Utils::GetText(0, row->mNameID) : row->mNameLiteral;
}

FF_AudioFile::OMFInfoMethod FF_AudioFile::SetOMFInfoMethod(OMFInfoMethod iMethod)
{
    return std::exchange(sOMFInfoMethod, iMethod);
}

// ---- opening -----------------------------------------------------------------------------

FF_AudioFilePlugIn* FF_AudioFile::TryPlugIn(EAudioFileType iType)
{
    const FF_AudioFileFormat* row = FF_AudioFileFormat::Find(iType);
    if (!row || !row->mOpen)
        return nullptr; // no plug-in opens this type by content
    const bool plain = mEmbeddedOffset == 0;
    return row->mOpen(this, plain ? -1 : mEmbeddedOffset, plain ? -1 : mEmbeddedLength);
}

void FF_AudioFile::OpenImpl(EOpenFlag iOpenFlag)
{
    if (mPlugIn)
    {
        CMN_ASSERT_TEXT(this->GetOpenFlag() != eOpenFlag_OpenCreate,
                        "this->GetOpenFlag() != eOpenFlag_OpenCreate");
        mPlugIn->Open();
        return;
    }
    RegisterTypes();
    if (iOpenFlag == eOpenFlag_OpenCreate)
    {
        const FF_AudioFileFormat* row = FF_AudioFileFormat::Find(mAudioFileType);
        if (!row || !row->mCreate)
            CMN_ASSERT(0);
        else
            mPlugIn.reset(row->mCreate(this));
        return;
    }

    if (!Sys_FileUtils::Exists(mFileLoc) || Sys_FileUtils::IsFolder(mFileLoc))
        return;

    std::set<EAudioFileType> tried;
    FF_AudioFilePlugIn* plugIn = nullptr;
    if (mAudioFileType != eAudioFileType_Unknown)
    {
        plugIn = TryPlugIn(mAudioFileType);
        tried.insert(mAudioFileType);
    }
    if (!plugIn)
    {
        const auto found = mRecognizedSystemFileTypes.find(Sys_FileUtils::GetFileType(mFileLoc));
        if (found != mRecognizedSystemFileTypes.end() &&
            std::find(mCandidates.begin(), mCandidates.end(), found->second) != mCandidates.end())
        {
            plugIn = TryPlugIn(found->second);
            tried.insert(found->second);
        }
    }
    for (auto it = mCandidates.begin(); !plugIn && it != mCandidates.end(); ++it)
        if (tried.insert(*it).second)
            plugIn = TryPlugIn(*it);

    mPlugIn.reset(plugIn);
    if (mPlugIn)
    {
        mAudioFileType = mPlugIn->GetAudioFileType();
        if (mIsOMFI == 255)
            mIsOMFI = mPlugIn->IsOMFI() ? 1 : 0;
    }
}

void FF_AudioFile::CloseImpl()
{
    if (mPlugIn)
        mPlugIn->Close();
}

void FF_AudioFile::AssertPlugIn() const
{
    CMN_ASSERT(mPlugIn);
}

// ---- samples -----------------------------------------------------------------------------

int64_t FF_AudioFile::FrameSize()
{
    return int64_t(mBitDepth.GetOr(0) / 8) * mNumChannels.GetOr(0);
}

void FF_AudioFile::SwapSamples(void* ioBufferP, int64_t iSamples, EByteOrder iOrder)
{
    if (iSamples <= 0)
        return;
    const int32_t elementSize = mBitDepth.GetOr(0) / 8;
    const int64_t elements = iSamples * mNumChannels.GetOr(0);
    auto* bytes = static_cast<unsigned char*>(ioBufferP);
    if (mByteOrder.GetOr(iOrder) != iOrder && elementSize > 1)
        SwapBlock(bytes, elements, elementSize);
    if (mPlugIn->IsDataOffsetBinary())
        for (int64_t i = 0; i < elements; ++i)
            bytes[i] ^= 0x80;
}

int64_t FF_AudioFile::Read(void* iBufferP, int64_t iSamples, EByteOrder iOrder)
{
    AssertPlugIn();
    const int64_t n = mPlugIn->ReadSamples(iBufferP, iSamples);
    SwapSamples(iBufferP, n, iOrder);
    return n;
}

int64_t FF_AudioFile::Write(void* iBufferP, int64_t iSamples, EByteOrder iOrder,
                            bool iMayDestroyBuffer)
{
    AssertPlugIn();
    CMN_ASSERT(iSamples >= 0);
    // Converted in place; put back (unless the caller allows otherwise) also on failure.
    struct StRestore
    {
        FF_AudioFile* mFile;
        void* mBufferP;
        int64_t mSamples;
        EByteOrder mOrder;
        bool mActive;
        ~StRestore()
        {
            if (mActive)
                mFile->SwapSamples(mBufferP, mSamples, mOrder);
        }
    };
    SwapSamples(iBufferP, iSamples, iOrder);
    StRestore restore{this, iBufferP, iSamples, iOrder, !iMayDestroyBuffer};
    const int64_t n = mPlugIn->WriteSamples(iBufferP, iSamples);
    const int64_t position = GetPosition();
    if (position > mNumSamples.GetOr(0))
        mNumSamples.Set(position);
    return n;
}

void FF_AudioFile::ReadAsync(FF_AsyncAudioFileIOParams* iParamsP, EByteOrder iOrder)
{
    AssertPlugIn();
    iParamsP->mAudioFile = this;
    iParamsP->mOrder = iOrder;
    iParamsP->mRestoreWholeBuffer = false;
    const bool convert = mByteOrder.GetOr(iOrder) != iOrder || mPlugIn->IsDataOffsetBinary();
    if (convert)
        iParamsP->GetSysParams()->SetCallback(&FF_AsyncAudioFileIOParams::SwapSampleBuffer,
                                              iParamsP);
    else
        iParamsP->GetSysParams()->SetCallback(nullptr, nullptr);
    mPlugIn->ReadAsync(iParamsP);
}

void FF_AudioFile::WriteAsync(FF_AsyncAudioFileIOParams* iParamsP, EByteOrder iOrder,
                              bool iMayDestroyBuffer)
{
    AssertPlugIn();
    iParamsP->mAudioFile = this;
    iParamsP->mOrder = iOrder;
    iParamsP->mRestoreWholeBuffer = true;
    const bool convert = mByteOrder.GetOr(iOrder) != iOrder || mPlugIn->IsDataOffsetBinary();
    const int64_t samples = iParamsP->GetNumSamples();
    if (convert)
        SwapSamples(iParamsP->GetBuffer(), samples, iOrder);
    if (convert && !iMayDestroyBuffer)
        iParamsP->GetSysParams()->SetCallback(&FF_AsyncAudioFileIOParams::SwapSampleBuffer,
                                              iParamsP);
    else
        iParamsP->GetSysParams()->SetCallback(nullptr, nullptr);
    try
    {
        mPlugIn->WriteAsync(iParamsP);
    }
    catch (...)
    {
        if (convert && !iMayDestroyBuffer)
            SwapSamples(iParamsP->GetBuffer(), samples, iOrder);
        throw;
    }
    const int64_t end = iParamsP->GetSampleOffset() + samples;
    if (end > mNumSamples.GetOr(0))
        mNumSamples.Set(end);
}

void FF_AudioFile::SetPosition(int64_t iSample)
{
    AssertPlugIn();
    mPlugIn->SetPosition(iSample);
}

int64_t FF_AudioFile::GetPosition()
{
    AssertPlugIn();
    return mPlugIn->GetPosition();
}

void FF_AudioFile::Flush()
{
    AssertPlugIn();
    if (GetOpenFlag() != eOpenFlag_OpenForRead && IsOpen())
    {
        if (mModificationCount.IsCached())
        {
            const int64_t* count = mModificationCount.Peek();
            mModificationCount.Set(count ? *count + 1 : 0);
        }
        if (mRegions.IsCached())
        {
            RegionList stored = *mRegions.Peek();
            const Region whole = GetWholeFileRegion();
            // The stored whole-file region stands first: that is where readers look for it.
            if (stored.empty() || stored.front() != whole)
            {
                stored.remove_if([](const Region& r) { return r.mIsWholeFile; });
                stored.push_front(whole);
                mRegions.Set(stored);
            }
        }
    }
    mPlugIn->Flush();
}

// ---- regions -----------------------------------------------------------------------------

void FF_AudioFile::GetRegions(RegionList* oRegionsP)
{
    oRegionsP->clear();
    const int64_t numSamples = mNumSamples.GetOr(0);
    bool haveWhole = false;
    RegionList stored;
    if (mRegions.Get(&stored))
    {
        for (Region& region : stored)
        {
            if (region.mStartSample < 0 || region.mStartSample >= numSamples ||
                region.mStopSample < region.mStartSample || region.mStopSample > numSamples)
                continue;
            if (!region.mIsWholeFile)
            {
                oRegionsP->push_back(region);
                continue;
            }
            if (haveWhole || region.mStartSample != 0 || region.mStopSample != numSamples)
                continue;
            region.mName = NameWithoutExtension(mFileLoc);
            region.mOriginalTimeStamp = mOriginalTimeStamp.GetOr(0);
            oRegionsP->push_front(region);
            haveWhole = true;
        }
    }
    if (!haveWhole)
    {
        const int64_t userTimeStamp = mUserTimeStamp.GetOr(0);
        oRegionsP->push_front(Region(NameWithoutExtension(mFileLoc), 0, numSamples, numSamples,
                                     mOriginalTimeStamp.GetOr(0), userTimeStamp,
                                     mUmid.GetOr(Sys_Umid::NoID()), true));
    }
    std::string regionName;
    if (mRegionName.Get(&regionName) && !regionName.empty())
        oRegionsP->front().mName = regionName;
}

FF_AudioFile::Region FF_AudioFile::GetWholeFileRegion()
{
    RegionList regions;
    GetRegions(&regions);
    for (const Region& region : regions)
        if (region.mIsWholeFile)
            return region;
    return regions.front();
}

void FF_AudioFile::AddRegion(const Region& iRegion)
{
    CMN_ASSERT_TEXT(iRegion.mStopSample <= mNumSamples.GetOr(0),
                    "iRegion.mStopSample <= mNumSamples.Get()");
    RegionList regions;
    mRegions.Get(&regions);
    if (iRegion.mIsWholeFile)
        regions.remove_if([](const Region& r) { return r.mIsWholeFile; });
    if (std::find(regions.begin(), regions.end(), iRegion) == regions.end())
        regions.push_back(iRegion);
    mRegions.Set(regions);
}

bool FF_AudioFile::RemoveRegion(const Sys_Umid& iUmid)
{
    RegionList regions;
    if (!mRegions.Get(&regions))
        return false;
    const auto found = std::find_if(regions.begin(), regions.end(),
                                    [&](const Region& r) { return r.mUmid == iUmid; });
    if (found == regions.end())
        return false;
    regions.erase(found);
    mRegions.Set(regions);
    return true;
}

// ---- about the file ----------------------------------------------------------------------

FF_AudioFile::Properties FF_AudioFile::GetProperties()
{
    AssertPlugIn();
    Properties properties;
    properties.mAudioFileType = mAudioFileType;
    properties.mFormatName = mFormatName.GetOr("");
    properties.mByteOrder = mByteOrder.GetOr(eByteOrder_Little);
    properties.mSampleRate = mSampleRate.GetOr(0);
    properties.mBitDepth = mBitDepth.GetOr(0);
    properties.mBytesPerSample = int16_t(properties.mBitDepth / 8);
    properties.mNumChannels = mNumChannels.GetOr(0);
    properties.mNumSamples = mNumSamples.GetOr(0);
    return properties;
}

bool FF_AudioFile::IsOMFI()
{
    if (mIsOMFI == 255 && mPlugIn)
        mIsOMFI = mPlugIn->IsOMFI() ? 1 : 0;
    return mIsOMFI == 1;
}

bool FF_AudioFile::IsOnline() const
{
    return Sys_FileUtils::Exists(mFileLoc);
}

bool FF_AudioFile::IsReadOnly()
{
    if (mEmbeddedOffset != 0 || IsOMFI())
        return true;
    if (!IsOnline())
        return false;
    if (auto* basic = dynamic_cast<FF_BasicAudioPlugIn*>(mPlugIn.get()))
        return basic->GetSysFile()->IsReadOnly();
    Sys_File file(mFileLoc);
    return file.IsReadOnly();
}

bool FF_AudioFile::CanDestructiveRecord()
{
    if (IsReadOnly())
        return false;
    return mPlugIn && mPlugIn->CanDestructiveRecord();
}

void FF_AudioFile::Lock()
{
    FileMutex().lock();
}

void FF_AudioFile::Unlock()
{
    FileMutex().unlock();
}

void FF_AudioFile::ReadProperty(FF_AudioProperty::EID iID)
{
    AssertPlugIn();
    const bool omfID =
        iID == FF_AudioProperty::eID_Umid || iID == FF_AudioProperty::eID_OriginalTimeStamp ||
        iID == FF_AudioProperty::eID_InterchangeFileName ||
        iID == FF_AudioProperty::eID_TimeCodeFormat || iID == FF_AudioProperty::eID_RegionName;
    if (omfID && mAudioFileType != eAudioFileType_Offline && !mOMFInfoTaken && IsOMFI())
    {
        OMFInfo info;
        if (sOMFInfoMethod && sOMFInfoMethod(mFileLoc, mSampleRate.GetOr(0), &info))
        {
            mUmid.StoreFromSourceIfClean(info.mUmid);
            mInterchangeFileName.StoreFromSourceIfClean(info.mInterchangeFileName);
            mOriginalTimeStamp.StoreFromSourceIfClean(info.mOriginalTimeStamp);
            mRegionName.StoreFromSourceIfClean(info.mRegionName);
            if (info.mHasTimeCodeFormat)
                mTimeCodeFormat.StoreFromSourceIfClean(info.mTimeCodeFormat);
            mOMFInfoTaken = true;
            if (iID != FF_AudioProperty::eID_TimeCodeFormat || info.mHasTimeCodeFormat)
                return;
        }
        else
            mIsOMFI = 0;
    }
    mPlugIn->Read(iID);
}

// ---- properties --------------------------------------------------------------------------

void FF_AudioProperty::ReadPropertyImpl() const
{
    CMN_ASSERT(mAudioFile->IsOpen());
    CMN_ASSERT(mAudioFile->mPlugIn);
    mAudioFile->ReadProperty(mID);
}

void FF_AudioProperty::WritePropertyImpl()
{
    CMN_ASSERT(mAudioFile->IsOpen() &&
               mAudioFile->GetOpenFlag() != FF_AudioFile::eOpenFlag_OpenForRead);
    CMN_ASSERT(mAudioFile->mPlugIn);
    mAudioFile->mPlugIn->Write(mID);
}

bool FF_AudioProperty::CanWritePropertyImpl() const
{
    return mAudioFile->mPlugIn && mAudioFile->mPlugIn->CanWrite(mID);
}
