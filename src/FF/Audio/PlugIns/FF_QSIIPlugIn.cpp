#include "FF/Audio/PlugIns/FF_QSIIPlugIn.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "Cmn_Assert.h"
#include "Cmn_Exception.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/PlugIns/FF_AudioMetadataChunks.h"
#include "FF/Audio/PlugIns/FF_ResFileUtils.h"
#include "L10N_Utils.h"
#include "Sys_AppleDouble.h"
#include "Sys_File.h"
#include "Sys_FileUtils.h"
#include "Sys_OSErrData.h"

namespace
{
constexpr uint32_t cSTR = FF_ResFileUtils::MakeType("STR ");

// A Sys_File over bytes in memory, so that the shared metadata chunks read and write
// resource data. Async transfers are not used on it.
class MemoryFileImpl : public Sys_FileImpl
{
public:
    explicit MemoryFileImpl(std::vector<uint8_t> iBytes) : mBytes(std::move(iBytes)) {}
    const std::vector<uint8_t>& Bytes() const { return mBytes; }

    bool IsOpen() const override { return true; }
    bool IsOnline() const override { return true; }
    const Sys_FileLoc& GetFileLoc() const override { return mLoc; }
    void Open(int32_t) override {}
    void Close() override {}
    void SetEOF(int64_t iEOF) override { mBytes.resize(size_t(iEOF)); }
    void SetPhysicalEOF(int64_t iEOF) override { SetEOF(iEOF); }
    int64_t GetEOF() const override { return int64_t(mBytes.size()); }
    void SetPosition(Sys_File::EOffsetFrom iFrom, int64_t iOffset) override
    {
        mPosition = iFrom == Sys_File::eOffsetFrom_Start     ? iOffset
                    : iFrom == Sys_File::eOffsetFrom_Current ? mPosition + iOffset
                                                              : GetEOF() - iOffset;
        if (mPosition < 0)
            Sys_ThrowIfOSErr(EINVAL, "memory file");
    }
    int64_t GetPosition() const override { return mPosition; }
    int64_t Read(void* oBufferP, int64_t iByteCount) override
    {
        const int64_t n = std::clamp<int64_t>(GetEOF() - mPosition, 0, iByteCount);
        if (n > 0)
            std::memcpy(oBufferP, mBytes.data() + mPosition, size_t(n));
        mPosition += n;
        return n;
    }
    int64_t Write(const void* iBufferP, int64_t iByteCount) override
    {
        if (mPosition + iByteCount > GetEOF())
            mBytes.resize(size_t(mPosition + iByteCount));
        if (iByteCount > 0)
            std::memcpy(mBytes.data() + mPosition, iBufferP, size_t(iByteCount));
        mPosition += iByteCount;
        return iByteCount;
    }
    void ReadAsync(Sys_AsyncFileIOParams*) override { CMN_ASSERT(false); }
    void WriteAsync(Sys_AsyncFileIOParams*) override { CMN_ASSERT(false); }
    bool IsReadOnly() const override { return false; }
    void SetReadOnly(bool) override {}

private:
    std::vector<uint8_t> mBytes;
    int64_t mPosition = 0;
    Sys_FileLoc mLoc;
};

// Reads a resource's bytes with a shared metadata chunk (as if they stood in a chunk at 0).
bool ReadWithChunk(FF_AudioFile* iAudioFileP, FF_AudioChunk* iChunkP,
                   const std::vector<uint8_t>& iData)
{
    std::unique_ptr<FF_AudioChunk> chunk(iChunkP);
    std::vector<uint8_t> image(8, 0);
    image.insert(image.end(), iData.begin(), iData.end());
    Sys_File file(new MemoryFileImpl(std::move(image)));
    file.SetPosition(Sys_File::eOffsetFrom_Start, 8);
    try
    {
        return chunk->ReadImpl(iAudioFileP, &file);
    }
    catch (const std::runtime_error&)
    {
        return false; // a chunk that ends early
    }
}

// The payload that a shared metadata chunk writes for the file's current value.
std::vector<uint8_t> WriteWithChunk(FF_AudioFile* iAudioFileP, FF_AudioChunk* iChunkP)
{
    std::unique_ptr<FF_AudioChunk> chunk(iChunkP);
    auto* impl = new MemoryFileImpl({});
    Sys_File file(impl);
    chunk->WriteImpl(iAudioFileP, &file);
    return impl->Bytes();
}

bool ParseDecimal(const std::string& iText, int64_t* oValueP)
{
    // Decimal text; a fraction (as in "44100.000") is rounded.
    const char* begin = iText.c_str();
    char* end = nullptr;
    const double value = std::strtod(begin, &end);
    if (end == begin || !(value >= 0) || value > 1e9)
        return false;
    *oValueP = int64_t(value + 0.5);
    return true;
}

std::vector<uint8_t> UmidBytes(Sys_Umid iUmid)
{
    iUmid.SwapIfWin32();
    std::vector<uint8_t> bytes(16);
    for (int32_t i = 0; i < 4; ++i)
        FF_PutNumber<uint32_t>(bytes.data() + 4 * i, iUmid.GetWord(i), eByteOrder_Native);
    return bytes;
}

Sys_Umid UmidFromBytes(const uint8_t* iP)
{
    Sys_Umid umid;
    for (int32_t i = 0; i < 4; ++i)
        umid.SetWord(i, FF_GetNumber<uint32_t>(iP + 4 * i, eByteOrder_Native));
    umid.SwapIfWin32();
    return umid;
}
} // namespace

FF_QSIIPlugIn::FF_QSIIPlugIn(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
    : FF_BasicAudioPlugIn(iAudioFileP, iFileP)
{
}

FF_AudioFilePlugIn* FF_QSIIPlugIn::Create(FF_AudioFile* iAudioFileP, int64_t iOffset, int64_t)
{
    if (iOffset >= 0)
        return nullptr;
    const Cmn_Store::EOpenFlag flag = iAudioFileP->GetOpenFlag();
    CMN_ASSERT(flag != Cmn_Store::eOpenFlag_OpenCreate);
    auto plugIn =
        std::make_unique<FF_QSIIPlugIn>(iAudioFileP, new Sys_File(iAudioFileP->GetFileLoc()));
    if (!plugIn->Attach(flag))
        return nullptr;
    return plugIn.release();
}

FF_AudioFilePlugIn* FF_QSIIPlugIn::CreateNew(FF_AudioFile* iAudioFileP)
{
    auto plugIn =
        std::make_unique<FF_QSIIPlugIn>(iAudioFileP, new Sys_File(iAudioFileP->GetFileLoc()));
    iAudioFileP->mRegions.StoreFromSource({});
    iAudioFileP->mOverview.StoreFromSource({});
    plugIn->EnsureOpen();
    plugIn->CreateNewFileImpl();
    plugIn->mReaderWriter.reset(plugIn->CreateReaderWriter());
    return plugIn.release();
}

void FF_QSIIPlugIn::CreateNewFileImpl()
{
    const int16_t bits = mAudioFile->mBitDepth.GetOr(0);
    const int16_t channels = mAudioFile->mNumChannels.GetOr(0);
    const int32_t rate = mAudioFile->mSampleRate.GetOr(0);
    CMN_ASSERT(bits >= 8 && bits <= 32 && bits % 8 == 0 && channels > 0 && rate > 0);
    mFile->SetEOF(0);
    // The format and the empty regions go into the new sidecar at once.
    FF_ResourceFork fork;
    const auto text = FF_ResFileUtils::MakeStringData;
    fork.Put(cSTR, cResID, "sample-size", true, text(std::to_string(bits / 8)));
    fork.Put(cSTR, cResID + 1, "sample-rate", true, text(std::to_string(rate)));
    fork.Put(cSTR, cResID + 2, "channels", true, text(std::to_string(channels)));
    Sys_AppleDouble::Contents contents;
    contents.SetTypeAndCreator(uint32_t(GetMacOSType()), uint32_t(GetMacOSCreator()));
    contents.mHasResourceFork = true;
    contents.mResourceFork = fork.Build();
    Sys_AppleDouble::Write(mAudioFile->GetFileLoc(), contents);
}

int32_t FF_QSIIPlugIn::GetMacOSType()
{
    return int32_t(Sys_FileType::MakeOSType("Qs2f"));
}

namespace
{
// The format strings, with the range each value must lie in.
struct FormatString
{
    const char* mName;
    int64_t mMin, mMax;
    const char* mWhat;
};
constexpr FormatString cFormatStrings[] = {{"sample-size", 1, 4, "bytes per sample"},
                                           {"sample-rate", 1, INT32_MAX, "a sample rate"},
                                           {"channels", 1, 256, "a channel count"}};
} // namespace

std::string FF_QSIIPlugIn::ExplainRefusal(const Sys_FileLoc& iLoc)
{
    const std::string sidecar = "\"._" + iLoc.GetName() + "\"";
    if (!Sys_FileUtils::Exists(Sys_AppleDouble::SidecarOf(iLoc)))
        return "no AppleDouble sidecar " + sidecar + " holds its resource fork";
    Sys_AppleDouble::Contents contents;
    if (!Sys_AppleDouble::Read(iLoc, &contents))
        return "its sidecar " + sidecar + " is no AppleDouble file";
    if (!contents.mHasResourceFork || contents.mResourceFork.empty())
        return std::string("its sidecar ") + sidecar +
               (contents.mHasFinderInfo ? " holds Finder information only, no resource fork"
                                        : " holds no resource fork");
    try
    {
        const FF_ResourceFork fork(std::move(contents.mResourceFork));
        for (const FormatString& format : cFormatStrings)
        {
            std::vector<uint8_t> data;
            if (!fork.GetNamed(cSTR, format.mName, &data))
                return L10N_Utils::GetText(0, 52, {format.mName});
            const std::string text = data.empty() ? "" : std::string(data.begin() + 1,
                data.begin() + 1 + long(std::min<size_t>(data[0], data.size() - 1)));
            int64_t value = 0;
            if (!ParseDecimal(text, &value) || value < format.mMin || value > format.mMax)
                return "its \"" + std::string(format.mName) + "\" resource holds \"" + text +
                       "\", not " + format.mWhat;
        }
    }
    catch (const Cmn_Exception& e)
    {
        return "its resource fork is damaged (" + Cmn_Exception::GetExceptionDescription(e) + ")";
    }
    return "";
}

// ---- probing -------------------------------------------------------------------------------

bool FF_QSIIPlugIn::IsValidFile()
{
    return OpenAndValidateFileImpl();
}

bool FF_QSIIPlugIn::OpenAndValidateFileImpl()
{
    const Sys_FileLoc& loc = mAudioFile->GetFileLoc();
    if (!FF_ResFileUtils::HasResourceFork(loc))
        return false;
    try
    {
        const bool forRead = mAudioFile->GetOpenFlag() == Cmn_Store::eOpenFlag_OpenForRead;
        FF_ResFileUtils::StOpenAndUseResFile fork(loc, forRead
                                                           ? FF_ResFileUtils::cReadPermission
                                                           : FF_ResFileUtils::cReadWritePermission);
        if (!GetSampleRate() || !GetBitDepth() || !GetNumChannels())
            return false;
        GetNumSamples();
        GetFileID();
        fork.Close();
        return true;
    }
    catch (...)
    {
        return false;
    }
}

// ---- reading -------------------------------------------------------------------------------

template <class F> bool FF_QSIIPlugIn::WithFork(F iRead) const
{
    try
    {
        FF_ResFileUtils::StOpenAndUseResFile fork(mAudioFile->GetFileLoc(),
                                                  FF_ResFileUtils::cReadPermission);
        const bool done = iRead();
        fork.Close();
        return done;
    }
    catch (const Sys_OSErrException&)
    {
        return false;
    }
}

bool FF_QSIIPlugIn::ReadResource(const char (&iType)[5], std::vector<uint8_t>* oDataP)
{
    try
    {
        FF_ResFileUtils::ReadResourceAsData(FF_ResFileUtils::MakeType(iType), cResID, oDataP);
        return true;
    }
    catch (const Sys_OSErrException&)
    {
        return false;
    }
}

bool FF_QSIIPlugIn::ReadNumber(const char* iName, int64_t* oValueP)
{
    return ParseDecimal(FF_ResFileUtils::ReadNamedSTRResource(iName), oValueP);
}

bool FF_QSIIPlugIn::GetSampleRate() const
{
    int64_t rate = 0;
    if (!ReadNumber("sample-rate", &rate) || rate < cFormatStrings[1].mMin ||
        rate > cFormatStrings[1].mMax)
        return false;
    mAudioFile->mSampleRate.StoreFromSourceIfClean(int32_t(rate));
    return true;
}

bool FF_QSIIPlugIn::GetBitDepth() const
{
    int64_t bytes = 0;
    if (!ReadNumber("sample-size", &bytes) || bytes < cFormatStrings[0].mMin ||
        bytes > cFormatStrings[0].mMax)
        return false;
    mAudioFile->mBitDepth.StoreFromSourceIfClean(int16_t(bytes * 8));
    return true;
}

bool FF_QSIIPlugIn::GetNumChannels() const
{
    int64_t channels = 0;
    if (!ReadNumber("channels", &channels) || channels < cFormatStrings[2].mMin ||
        channels > cFormatStrings[2].mMax)
        return false;
    mAudioFile->mNumChannels.StoreFromSourceIfClean(int16_t(channels));
    return true;
}

bool FF_QSIIPlugIn::GetNumSamples() const
{
    const int64_t frame = int64_t(mAudioFile->mBitDepth.GetOr(0)) *
                          mAudioFile->mNumChannels.GetOr(0) / 8;
    if (frame <= 0)
        return false;
    mAudioFile->mNumSamples.StoreFromSourceIfClean(
        Sys_FileUtils::GetFileDataForkSize(mAudioFile->GetFileLoc()) / frame);
    return true;
}

bool FF_QSIIPlugIn::GetFileID() const
{
    std::vector<uint8_t> data;
    if (ReadResource("umid", &data) && data.size() >= 16)
    {
        mAudioFile->mUmid.StoreFromSourceIfClean(UmidFromBytes(data.data()));
        return true;
    }
    // The older place: the first file id block, whose first 16 bytes are the identity.
    try
    {
        FF_ResFileUtils::ReadIndexedResourceAsData(FF_ResFileUtils::MakeType("dmva"), 1, &data);
    }
    catch (const Sys_OSErrException&)
    {
        return false;
    }
    if (data.size() < 16)
        return false;
    mAudioFile->mUmid.StoreFromSourceIfClean(UmidFromBytes(data.data()));
    return true;
}

bool FF_QSIIPlugIn::GetRegions() const
{
    std::vector<uint8_t> data;
    return ReadResource("regn", &data) &&
           ReadWithChunk(mAudioFile, new UAFRegnChunk(int64_t(data.size()), eByteOrder_Big), data);
}

bool FF_QSIIPlugIn::GetComment() const
{
    std::vector<uint8_t> data;
    return ReadResource("ANNO", &data) &&
           ReadWithChunk(mAudioFile, new UAFAnnoChunk(int64_t(data.size()), eByteOrder_Big), data);
}

bool FF_QSIIPlugIn::GetOverview() const
{
    std::vector<uint8_t> data;
    return ReadResource("ovwf", &data) &&
           ReadWithChunk(mAudioFile, new UAFOvwfChunk(int64_t(data.size()), eByteOrder_Big), data);
}

bool FF_QSIIPlugIn::GetInstAttr() const
{
    std::vector<uint8_t> data;
    if (!ReadResource("inst", &data) || data.size() < size_t(FF_InstrumentRecord::cSize) + 2)
        return false;
    const uint8_t* markers = data.data() + FF_InstrumentRecord::cSize;
    // No more markers than the resource holds.
    const size_t count = std::min<size_t>(FF_GetNumber<uint16_t>(markers, eByteOrder_Big),
                                           (data.size() - FF_InstrumentRecord::cSize - 2) / 6);
    std::vector<FF_InstrumentRecord::Marker> list;
    for (size_t i = 0; i < count; ++i)
        list.push_back({FF_GetNumber<int16_t>(markers + 2 + 6 * i, eByteOrder_Big),
                        FF_GetNumber<uint32_t>(markers + 4 + 6 * i, eByteOrder_Big)});
    mAudioFile->mInstrumentAttr.StoreFromSourceIfClean(
        FF_InstrumentRecord::Read(data.data(), eByteOrder_Big, list));
    return true;
}

bool FF_QSIIPlugIn::GetPlugInData() const
{
    std::vector<uint8_t> data;
    if (!ReadResource("pidt", &data))
        return false;
    mAudioFile->mPlugInData.StoreFromSourceIfClean(std::vector<char>(data.begin(), data.end()));
    return true;
}

bool FF_QSIIPlugIn::Read(FF_AudioProperty::EID iID) const
{
    bool done = false;
    switch (iID)
    {
    case FF_AudioProperty::eID_FormatName:
        mAudioFile->mFormatName.StoreFromSourceIfClean(L10N_Utils::GetText(0, 59));
        return true;
    case FF_AudioProperty::eID_ByteOrder:
        mAudioFile->mByteOrder.StoreFromSourceIfClean(eByteOrder_Big);
        return true;
    case FF_AudioProperty::eID_SampleRate:
        done = WithFork([&] { return GetSampleRate(); });
        break;
    case FF_AudioProperty::eID_BitDepth:
        done = WithFork([&] { return GetBitDepth(); });
        break;
    case FF_AudioProperty::eID_NumChannels:
        done = WithFork([&] { return GetNumChannels(); });
        break;
    case FF_AudioProperty::eID_NumSamples:
        done = GetNumSamples();
        break;
    case FF_AudioProperty::eID_Umid:
        done = WithFork([&] { return GetFileID(); });
        break;
    case FF_AudioProperty::eID_OffsetToData:
        mAudioFile->mOffsetToData.StoreFromSourceIfClean(0);
        return true;
    case FF_AudioProperty::eID_Regions:
        done = WithFork([&] { return GetRegions(); });
        break;
    case FF_AudioProperty::eID_ModificationTime:
        mAudioFile->mModificationTime.StoreFromSourceIfClean(0);
        return true;
    case FF_AudioProperty::eID_ModificationCount:
        mAudioFile->mModificationCount.StoreFromSourceIfClean(0);
        return true;
    case FF_AudioProperty::eID_Overview:
        done = WithFork([&] { return GetOverview(); });
        break;
    case FF_AudioProperty::eID_InstrumentAttr:
        done = WithFork([&] { return GetInstAttr(); });
        break;
    case FF_AudioProperty::eID_Description:
        done = WithFork([&] { return GetComment(); });
        break;
    case FF_AudioProperty::eID_PlugInData:
        done = WithFork([&] { return GetPlugInData(); });
        break;
    default:
        break;
    }
    return done || FF_BasicAudioPlugIn::Read(iID);
}

bool FF_QSIIPlugIn::CanWrite(FF_AudioProperty::EID iID) const
{
    return FF_CanWriteMetadata(iID, mAudioFile);
}

// ---- writing -------------------------------------------------------------------------------

void FF_QSIIPlugIn::Flush()
{
    if (mAudioFile->GetOpenFlag() == Cmn_Store::eOpenFlag_OpenForRead)
        return;
    FF_AudioFile* file = mAudioFile;
    const bool regions = file->mRegions.IsDirty() || file->mUserTimeStamp.IsDirty();
    const bool any = file->mUmid.IsDirty() || regions || file->mDescription.IsDirty() ||
                     file->mOverview.IsDirty() || file->mInstrumentAttr.IsDirty() ||
                     file->mPlugInData.IsDirty();
    if (!any)
        return;
    // The dirty values go into one new fork; the sidecar is replaced when the fork closes,
    // and the values are clean only once it has been.
    FF_ResFileUtils::StOpenAndUseResFile fork(file->GetFileLoc(),
                                              FF_ResFileUtils::cReadWritePermission);
    // The chunk writers clear what they write: a failure puts the dirty marks back.
    const bool wasDirty[] = {regions, file->mDescription.IsDirty(), file->mOverview.IsDirty(),
                             file->mUserTimeStamp.IsDirty()};
    try
    {
        FlushInto(regions);
        fork.Close();
    }
    catch (...)
    {
        if (wasDirty[0])
            file->mRegions.Set(*file->mRegions.Peek());
        if (wasDirty[1] && file->mDescription.IsCached())
            file->mDescription.Set(*file->mDescription.Peek());
        if (wasDirty[2] && file->mOverview.IsCached())
            file->mOverview.Set(*file->mOverview.Peek());
        if (wasDirty[3] && file->mUserTimeStamp.IsCached())
            file->mUserTimeStamp.Set(*file->mUserTimeStamp.Peek());
        throw;
    }
    file->mUmid.ClearDirty();
    file->mDescription.ClearDirty();
    file->mOverview.ClearDirty();
    file->mInstrumentAttr.ClearDirty();
    file->mPlugInData.ClearDirty();
}

void FF_QSIIPlugIn::FlushInto(bool iRegions)
{
    FF_AudioFile* file = mAudioFile;
    auto put = [](const char(&iType)[5], const std::vector<uint8_t>& iData)
    { FF_ResFileUtils::WriteDataAsAResource(FF_ResFileUtils::MakeType(iType), cResID, iData); };
    if (file->mUmid.IsDirty())
        put("umid", UmidBytes(file->mUmid.GetOr(Sys_Umid::NoID())));
    if (iRegions)
    {
        // Only the time stamp changed: the stored regions are read first and kept.
        if (!file->mRegions.IsCached() && !GetRegions())
            file->mRegions.StoreFromSource({});
        put("regn", WriteWithChunk(file, new UAFRegnChunk(0, eByteOrder_Big)));
    }
    if (file->mDescription.IsDirty())
        put("ANNO", WriteWithChunk(file, new UAFAnnoChunk(0, eByteOrder_Big)));
    if (file->mOverview.IsDirty())
    {
        CMN_ASSERT_TEXT(file->mNumChannels.GetOr(0) == 1,
                        "mAudioFile->mNumChannels.Get() == 1");
        put("ovwf", WriteWithChunk(file, new UAFOvwfChunk(0, eByteOrder_Big)));
    }
    if (file->mInstrumentAttr.IsDirty())
    {
        std::vector<uint8_t> data(FF_InstrumentRecord::cSize + 2);
        std::vector<FF_InstrumentRecord::Marker> markers;
        FF_InstrumentRecord::Write(*file->mInstrumentAttr.Peek(), eByteOrder_Big, data.data(),
                                   &markers);
        FF_PutNumber<uint16_t>(data.data() + FF_InstrumentRecord::cSize, uint16_t(markers.size()),
                               eByteOrder_Big);
        for (const FF_InstrumentRecord::Marker& marker : markers)
        {
            uint8_t bytes[6];
            FF_PutNumber<int16_t>(bytes, marker.mID, eByteOrder_Big);
            FF_PutNumber<uint32_t>(bytes + 2, marker.mPosition, eByteOrder_Big);
            data.insert(data.end(), bytes, bytes + 6);
        }
        put("inst", data);
    }
    if (file->mPlugInData.IsDirty())
    {
        const std::vector<char>* bytes = file->mPlugInData.Peek();
        put("pidt", bytes ? std::vector<uint8_t>(bytes->begin(), bytes->end())
                          : std::vector<uint8_t>());
    }
}
