#include "FF/Audio/PlugIns/FF_QSIPlugIn.h"

#include <memory>
#include <stdexcept>
#include <string>

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/PlugIns/FF_AudioMetadataChunks.h"
#include "L10N_Utils.h"
#include "Sys_File.h"

namespace
{
constexpr size_t cMark = 0, cDataBytes = 184, cLoop1Start = 752, cLoop1End = 756;
constexpr size_t cRate = 1020, cBits = 1028, cLoop2Start = 1324, cLoop2End = 1328;
constexpr size_t cLoop1Mode = 1332, cLoop2Mode = 1333;

uint32_t Get32(const uint8_t* iP)
{
    return FF_GetNumber<uint32_t>(iP, eByteOrder_Big);
}
} // namespace

FF_QSIPlugIn::FF_QSIPlugIn(FF_AudioFile* iAudioFileP, Sys_File* iFileP)
    : FF_BasicAudioPlugIn(iAudioFileP, iFileP)
{
}

FF_AudioFilePlugIn* FF_QSIPlugIn::Create(FF_AudioFile* iAudioFileP, int64_t iOffset, int64_t)
{
    if (iOffset >= 0)
        return nullptr;
    const Cmn_Store::EOpenFlag flag = iAudioFileP->GetOpenFlag();
    CMN_ASSERT(flag != Cmn_Store::eOpenFlag_OpenCreate);
    auto plugIn =
        std::make_unique<FF_QSIPlugIn>(iAudioFileP, new Sys_File(iAudioFileP->GetFileLoc()));
    if (!plugIn->Attach(flag))
        return nullptr;
    return plugIn.release();
}

FF_AudioFilePlugIn* FF_QSIPlugIn::CreateNew(FF_AudioFile* iAudioFileP)
{
    const int16_t channels = iAudioFileP->mNumChannels.GetOr(0);
    const int16_t bits = iAudioFileP->mBitDepth.GetOr(0);
    const int32_t rate = iAudioFileP->mSampleRate.GetOr(0);
    if (channels != 1)
        throw std::invalid_argument("QS I files are mono, not " + std::to_string(channels) +
                                    " channels");
    if (bits != 8 && bits != 16 && bits != 24)
        throw std::invalid_argument("QS I files hold 8, 16 or 24 bits, not " +
                                    std::to_string(bits));
    if (rate < cMinRate || rate > cMaxRate)
        throw std::invalid_argument("QS I files have rates from 5000 to 100000 Hz, not " +
                                    std::to_string(rate));
    auto plugIn =
        std::make_unique<FF_QSIPlugIn>(iAudioFileP, new Sys_File(iAudioFileP->GetFileLoc()));
    plugIn->EnsureOpen();
    plugIn->CreateNewFileImpl();
    plugIn->mReaderWriter.reset(plugIn->CreateReaderWriter());
    return plugIn.release();
}

void FF_QSIPlugIn::CreateNewFileImpl()
{
    mHeader.fill(0);
    mHeaderRead = true;
    FlushHeader();
    mFile->SetEOF(cHeaderSize);
}

int32_t FF_QSIPlugIn::GetMacOSType()
{
    return int32_t(Sys_FileType::MakeOSType("SFIL"));
}

int64_t FF_QSIPlugIn::GetOffsetToPCMData(FF_AudioFile*)
{
    return cHeaderSize;
}

std::string FF_QSIPlugIn::HeaderProblem(const uint8_t* iHeaderP, int64_t iFileSize)
{
    const uint32_t bits = FF_GetNumber<uint16_t>(iHeaderP + cBits, eByteOrder_Big);
    const uint32_t rate = Get32(iHeaderP + cRate);
    const int64_t data = Get32(iHeaderP + cDataBytes);
    if (iFileSize < cHeaderSize)
        return "shorter than the 1336-byte header";
    if (FF_GetNumber<uint16_t>(iHeaderP + cMark, eByteOrder_Big) != cFormatMark)
        return "its header does not start with the format mark";
    if (data + cHeaderSize > iFileSize)
        return "its header claims " + std::to_string(data) + " bytes of samples, the file holds " +
               std::to_string(iFileSize - cHeaderSize);
    if (bits != 8 && bits != 16 && bits != 24)
        return "it holds " + std::to_string(bits) + "-bit samples, not 8, 16 or 24";
    if (rate < uint32_t(cMinRate) || rate > uint32_t(cMaxRate))
        return "its rate of " + std::to_string(rate) + " Hz lies outside 5000 to 100000 Hz";
    return "";
}

bool FF_QSIPlugIn::IsValidHeader(const uint8_t* iHeaderP, int64_t iFileSize)
{
    return HeaderProblem(iHeaderP, iFileSize).empty();
}

std::string FF_QSIPlugIn::ExplainRefusal(const Sys_FileLoc& iLoc)
{
    try
    {
        Sys_File file(iLoc);
        file.Open(cProbeForRead);
        std::array<uint8_t, cHeaderSize> header{};
        const int64_t size = file.GetEOF();
        const int64_t got = file.Read(header.data(), cHeaderSize);
        file.Close();
        return HeaderProblem(header.data(), got < cHeaderSize ? got : size);
    }
    catch (const std::exception&)
    {
        return "";
    }
}

bool FF_QSIPlugIn::IsValidFile()
{
    const int64_t size = mFile->GetEOF();
    if (size < cHeaderSize)
        return false;
    mFile->SetPosition(Sys_File::eOffsetFrom_Start, 0);
    if (mFile->Read(mHeader.data(), cHeaderSize) != cHeaderSize ||
        !IsValidHeader(mHeader.data(), size))
        return false;
    mHeaderRead = false; // read again (and the properties filled) on first need
    return ReadHeader();
}

bool FF_QSIPlugIn::ReadHeader() const
{
    if (mHeaderRead)
        return true;
    auto* self = const_cast<FF_QSIPlugIn*>(this);
    self->EnsureOpen();
    mFile->SetPosition(Sys_File::eOffsetFrom_Start, 0);
    if (mFile->Read(mHeader.data(), cHeaderSize) != cHeaderSize)
        return false;
    mHeaderRead = true;
    const int32_t bits = FF_GetNumber<uint16_t>(mHeader.data() + cBits, eByteOrder_Big);
    mAudioFile->mBitDepth.StoreFromSourceIfClean(int16_t(bits));
    mAudioFile->mNumChannels.StoreFromSourceIfClean(1);
    mAudioFile->mSampleRate.StoreFromSourceIfClean(int32_t(Get32(mHeader.data() + cRate)));
    mAudioFile->mNumSamples.StoreFromSourceIfClean(
        int64_t(Get32(mHeader.data() + cDataBytes)) / ((bits + 7) / 8));
    FF_AudioInstrumentAttr attr;
    attr.mRootNote = 60;
    auto loop = [&](size_t iStart, size_t iEnd, size_t iMode, int32_t* oType, int64_t* oStart,
                    int64_t* oEnd)
    {
        const uint32_t start = Get32(mHeader.data() + iStart), end = Get32(mHeader.data() + iEnd);
        if (start == 0 || end <= start)
            return;
        *oType = mHeader[iMode] == 2 ? 3 : 1;
        *oStart = start;
        *oEnd = end;
    };
    loop(cLoop1Start, cLoop1End, cLoop1Mode, &attr.mLoop1Type, &attr.mLoop1Start, &attr.mLoop1End);
    loop(cLoop2Start, cLoop2End, cLoop2Mode, &attr.mLoop2Type, &attr.mLoop2Start, &attr.mLoop2End);
    mAudioFile->mInstrumentAttr.StoreFromSourceIfClean(attr);
    return true;
}

bool FF_QSIPlugIn::Read(FF_AudioProperty::EID iID) const
{
    switch (iID)
    {
    case FF_AudioProperty::eID_FormatName:
        mAudioFile->mFormatName.StoreFromSourceIfClean(L10N_Utils::GetText(0, 60));
        return true;
    case FF_AudioProperty::eID_ByteOrder:
        mAudioFile->mByteOrder.StoreFromSourceIfClean(eByteOrder_Big);
        return true;
    case FF_AudioProperty::eID_SampleRate:
    case FF_AudioProperty::eID_BitDepth:
    case FF_AudioProperty::eID_NumChannels:
    case FF_AudioProperty::eID_NumSamples:
    case FF_AudioProperty::eID_InstrumentAttr:
        if (ReadHeader())
            return true;
        break;
    case FF_AudioProperty::eID_OffsetToData:
        mAudioFile->mOffsetToData.StoreFromSourceIfClean(cHeaderSize);
        return true;
    default:
        break;
    }
    return FF_BasicAudioPlugIn::Read(iID);
}

bool FF_QSIPlugIn::CanWrite(FF_AudioProperty::EID iID) const
{
    return iID == FF_AudioProperty::eID_NumSamples || iID == FF_AudioProperty::eID_InstrumentAttr;
}

void FF_QSIPlugIn::Flush()
{
    if (mAudioFile->GetOpenFlag() == Cmn_Store::eOpenFlag_OpenForRead)
        return;
    ReadHeader();
    FlushHeader();
}

void FF_QSIPlugIn::FlushHeader()
{
    FF_AudioFile* file = mAudioFile;
    const int32_t bits = file->mBitDepth.GetOr(0);
    uint8_t* header = mHeader.data();
    FF_PutNumber<uint16_t>(header + cMark, cFormatMark, eByteOrder_Big);
    FF_PutNumber<uint32_t>(header + cDataBytes,
                           uint32_t(file->mNumSamples.GetOr(0) * ((bits + 7) / 8)), eByteOrder_Big);
    FF_PutNumber<uint32_t>(header + cRate, uint32_t(file->mSampleRate.GetOr(0)), eByteOrder_Big);
    FF_PutNumber<uint16_t>(header + cBits, uint16_t(bits), eByteOrder_Big);
    if (const FF_AudioInstrumentAttr* attr = file->mInstrumentAttr.Peek())
    {
        auto loop = [&](int32_t iType, int64_t iStart, int64_t iEnd, size_t iStartAt,
                        size_t iEndAt, size_t iModeAt)
        {
            const bool used = iType != 0;
            FF_PutNumber<uint32_t>(header + iStartAt, used ? uint32_t(iStart) : 0, eByteOrder_Big);
            FF_PutNumber<uint32_t>(header + iEndAt, used ? uint32_t(iEnd) : 0, eByteOrder_Big);
            header[iModeAt] = !used ? 0 : iType == 3 ? 2 : 1;
        };
        loop(attr->mLoop1Type, attr->mLoop1Start, attr->mLoop1End, cLoop1Start, cLoop1End,
             cLoop1Mode);
        loop(attr->mLoop2Type, attr->mLoop2Start, attr->mLoop2End, cLoop2Start, cLoop2End,
             cLoop2Mode);
    }
    EnsureOpen();
    mFile->SetPosition(Sys_File::eOffsetFrom_Start, 0);
    FF_WriteExact(mFile.get(), header, cHeaderSize);
    file->mNumSamples.ClearDirty();
    file->mInstrumentAttr.ClearDirty();
}
