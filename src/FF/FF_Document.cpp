#include "FF/FF_Document.h"

#include <algorithm>

#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
#include "Sys_File.h"
#include "Sys_StdStreamHeader.h"
#include "Sys_TypedStream.h"

namespace
{
// The fewest bytes one TOC entry takes: a key of one byte (4 + 1) and two int64.
constexpr int64_t cMinTOCEntrySize = 4 + 1 + 8 + 8;
// An empty TOC: magic (6), version (2), size (4), count (4).
constexpr int64_t cEmptyTOCSize = 16;

[[noreturn]] void ThrowReadError()
{
    L10N_Throw(0, 44); // "an error occurred while reading the document"
}

[[noreturn]] void ThrowNoTOC()
{
    L10N_Throw(0, 46); // "unable to find document TOC"
}

bool IsValidKey(const std::string& iKey)
{
    return !iKey.empty() && iKey.size() <= size_t(FF_Document::cMaxKeyLength) &&
           iKey.find('\0') == std::string::npos;
}

// Four characters of a type or creator as a person can read them.
std::string Printable(const std::string& iCode)
{
    std::string text = iCode;
    for (char& c : text)
        if (c < 0x20 || c > 0x7E)
            c = '?';
    return "'" + text + "'";
}

struct Header
{
    std::string mFileType;
    std::string mCreator;
    int64_t mTOCPosition = 0;
    int32_t mTOCSize = 0;
};

Header ParseHeader(Sys_File& iFile)
{
    const int64_t length = iFile.GetEOF();
    std::vector<unsigned char> bytes(size_t(std::min<int64_t>(length, FF_Document::cHeaderSize)));
    iFile.SetPosition(Sys_File::eOffsetFrom_Start, 0);
    if (iFile.Read(bytes.data(), int64_t(bytes.size())) != int64_t(bytes.size()))
        ThrowReadError();
    Header fields;
    try
    {
        Cmn_MemBufferInStream memory(bytes.data(), bytes.data() + bytes.size());
        Sys_CrossPlatformInStream in(&memory);
        Sys_StdStreamHeaderReader header(in, FF_Document::cHeaderTag);
        header.CheckVersion(FF_Document::cVersion, FF_Document::cVersion);
        fields.mFileType.resize(FF_Document::cTypeLength);
        fields.mCreator.resize(FF_Document::cTypeLength);
        in.ReadBlock(fields.mFileType.data(), FF_Document::cTypeLength);
        in.ReadBlock(fields.mCreator.data(), FF_Document::cTypeLength);
        in >> fields.mTOCPosition >> fields.mTOCSize;
        header.SkipTheRest();
        if (in.GetPos() != FF_Document::cHeaderSize)
            ThrowReadError();
    }
    catch (const std::exception& e)
    {
        if (L10N_IsException(e, 2, 28))
            throw; // not a document at all
        ThrowReadError();
    }
    return fields;
}

// The entries of the TOC block in iBytes (exactly the block), checked against invariants 2
// and 3. Any failure throws package 0, id 46.
std::map<std::string, FF_Document::TOCEntry> ParseTOC(const std::vector<unsigned char>& iBytes,
                                                      int64_t iTOCPosition)
{
    std::map<std::string, FF_Document::TOCEntry> toc;
    try
    {
        Cmn_MemBufferInStream memory(iBytes.data(), iBytes.data() + iBytes.size());
        Sys_CrossPlatformInStream in(&memory);
        Sys_StdStreamHeaderReader header(in, FF_Document::cTOCTag);
        header.CheckVersion(FF_Document::cVersion, FF_Document::cVersion);
        if (header.GetDataEndPos() != int64_t(iBytes.size()))
            ThrowNoTOC();
        const int32_t count = in.Read<int32_t>();
        if (count < 0 || count > (header.GetDataEndPos() - in.GetPos()) / cMinTOCEntrySize)
            ThrowNoTOC();
        for (int32_t i = 0; i < count; ++i)
        {
            std::string key;
            FF_Document::TOCEntry entry;
            in >> key >> entry.mPosition >> entry.mSize;
            if (!IsValidKey(key) || entry.mSize < 0 || entry.mPosition < FF_Document::cHeaderSize ||
                entry.mPosition > iTOCPosition - entry.mSize)
                ThrowNoTOC();
            if (!toc.empty() && !(toc.rbegin()->first < key))
                ThrowNoTOC();
            toc.emplace_hint(toc.end(), key, entry);
        }
        header.SkipTheRest();
    }
    catch (const std::exception&)
    {
        ThrowNoTOC();
    }
    return toc;
}
} // namespace

// ---- the store frame -------------------------------------------------------------------------

FF_Document::FF_Document(const Sys_FileLoc& iLoc, const std::string& iFileType,
                         const std::string& iCreator)
    : mFileLoc(iLoc), mFileType(iFileType), mCreator(iCreator)
{
    CMN_ASSERT(iFileType.size() == size_t(cTypeLength) && iCreator.size() == size_t(cTypeLength));
}

FF_Document::~FF_Document()
{
    try
    {
        while (IsOpen())
            Close();
    }
    catch (...)
    {
    }
}

void FF_Document::RequireOpen() const
{
    if (!IsOpen())
        throw InvalidContextException("document \"" + mFileLoc.GetFullPath() + "\" is not open");
}

void FF_Document::RequireWritable() const
{
    RequireOpen();
    if (GetOpenFlag() == eOpenFlag_OpenForRead)
        throw InvalidContextException("document \"" + mFileLoc.GetFullPath() +
                                      "\" is open for reading only");
}

void FF_Document::OpenImpl(EOpenFlag iOpenFlag)
{
    mTOC.clear();
    mDirty = false;
    try
    {
        mFile = std::make_unique<Sys_File>(mFileLoc);
        if (iOpenFlag == eOpenFlag_OpenCreate)
        {
            CreateNew();
            return;
        }
        // A missing file fails here with the system's error.
        mFile->Open(Sys_File::eOpen_ForRead | Sys_File::eOpen_Existing |
                    (iOpenFlag == eOpenFlag_OpenForWrite ? Sys_File::eOpen_ForWrite : 0));
        ReadHeaderAndTOC();
    }
    catch (...)
    {
        mFile.reset();
        mTOC.clear();
        throw;
    }
}

void FF_Document::CloseImpl()
{
    if (mDirty && mFile && GetOpenFlag() > eOpenFlag_OpenForRead)
    {
        try
        {
            Flush();
        }
        catch (const std::exception&)
        {
            // The file keeps what the last Flush committed (see the design note).
        }
    }
    mFile.reset(); // closes
    mTOC.clear();
    mDirty = false;
}

void FF_Document::CreateNew()
{
    mFile->Open(Sys_File::eOpen_Create);
    mTOC.clear();
    mDataEnd = cHeaderSize;
    mDirty = true;
    Flush();
}

void FF_Document::ReadHeaderAndTOC()
{
    const Header header = ParseHeader(*mFile);
    if (header.mFileType != mFileType || header.mCreator != mCreator)
        throw FailQuietlyException("\"" + mFileLoc.GetFullPath() + "\" is a document of type " +
                                   Printable(header.mFileType) + ", creator " +
                                   Printable(header.mCreator) + ", not " + Printable(mFileType) +
                                   ", " + Printable(mCreator));
    const int64_t length = mFile->GetEOF();
    if (header.mTOCPosition < cHeaderSize || header.mTOCSize < cEmptyTOCSize ||
        header.mTOCPosition > length || header.mTOCSize > length - header.mTOCPosition)
        ThrowNoTOC();
    // One read of the whole TOC; its size is bounded by the file's length.
    std::vector<unsigned char> bytes(size_t(header.mTOCSize));
    mFile->SetPosition(Sys_File::eOffsetFrom_Start, header.mTOCPosition);
    if (mFile->Read(bytes.data(), header.mTOCSize) != header.mTOCSize)
        ThrowNoTOC();
    mTOC = ParseTOC(bytes, header.mTOCPosition);
    mTOCPosition = header.mTOCPosition;
    mTOCSize = header.mTOCSize;
    mDataEnd = mTOCPosition + mTOCSize;
}

void FF_Document::WriteAt(int64_t iPosition, const void* iBytesP, int64_t iCount)
{
    mFile->SetPosition(Sys_File::eOffsetFrom_Start, iPosition);
    if (iCount > 0 && mFile->Write(iBytesP, iCount) != iCount)
        L10N_Throw(0, 45); // "an error occurred while writing the document"
}

void FF_Document::WriteTOC()
{
    Cmn_MemBufferOutStream memory;
    Sys_CrossPlatformOutStream out(&memory);
    {
        Sys_StdStreamHeaderWriter header(out, cTOCTag, cVersion);
        out << int32_t(mTOC.size());
        for (const auto& [key, entry] : mTOC)
            out << key << entry.mPosition << entry.mSize;
        header.PatchSize();
    }
    CMN_ASSERT(memory.GetEndPos() <= INT32_MAX);
    WriteAt(mDataEnd, memory.GetBuffer(), memory.GetEndPos());
    mTOCPosition = mDataEnd;
    mTOCSize = int32_t(memory.GetEndPos());
}

void FF_Document::WriteHeader()
{
    Cmn_MemBufferOutStream memory;
    Sys_CrossPlatformOutStream out(&memory);
    {
        Sys_StdStreamHeaderWriter header(out, cHeaderTag, cVersion);
        out.WriteBlock(mFileType.data(), cTypeLength);
        out.WriteBlock(mCreator.data(), cTypeLength);
        out << mTOCPosition << mTOCSize;
        const unsigned char reserved[cReservedBytes] = {};
        out.WriteBlock(reserved, cReservedBytes);
        header.PatchSize();
    }
    CMN_ASSERT(memory.GetEndPos() == cHeaderSize);
    WriteAt(0, memory.GetBuffer(), memory.GetEndPos());
}

void FF_Document::Flush()
{
    RequireOpen();
    if (!mDirty || GetOpenFlag() == eOpenFlag_OpenForRead)
        return;
    const int64_t oldPosition = mTOCPosition;
    const int32_t oldSize = mTOCSize;
    try
    {
        WriteTOC();
        WriteHeader();
    }
    catch (...)
    {
        // Nothing is committed unless the header went out; the committed TOC is the old one.
        mTOCPosition = oldPosition;
        mTOCSize = oldSize;
        throw;
    }
    mDataEnd = mTOCPosition + mTOCSize;
    mDirty = false;
    mFile->SetEOF(mDataEnd);
}

// ---- named streams ---------------------------------------------------------------------------

bool FF_Document::HasStream(const std::string& iKey) const
{
    RequireOpen();
    return mTOC.count(iKey) != 0;
}

std::vector<std::string> FF_Document::GetStreamKeys() const
{
    RequireOpen();
    std::vector<std::string> keys;
    keys.reserve(mTOC.size());
    for (const auto& [key, entry] : mTOC)
        keys.push_back(key);
    return keys;
}

std::unique_ptr<FF_Document::StreamBytes> FF_Document::ReadStream(const std::string& iKey)
{
    RequireOpen();
    const auto found = mTOC.find(iKey);
    if (found == mTOC.end())
        return nullptr;
    // The size was checked against the file's length when the TOC was read.
    std::vector<unsigned char> bytes(size_t(found->second.mSize));
    ReadBytes(found->second.mPosition, bytes.data(), found->second.mSize);
    return std::make_unique<StreamBytes>(std::move(bytes));
}

void FF_Document::WriteStream(const std::string& iKey, const void* iBytesP, int64_t iCount)
{
    CMN_ASSERT(IsValidKey(iKey));
    const int64_t position = AppendBytes(iBytesP, iCount);
    mTOC[iKey] = TOCEntry{position, iCount};
}

// ---- raw bytes -------------------------------------------------------------------------------

int64_t FF_Document::SeekToEnd() const
{
    RequireOpen();
    return mDataEnd;
}

int64_t FF_Document::AppendBytes(const void* iBytesP, int64_t iCount)
{
    RequireWritable();
    CMN_ASSERT(iCount >= 0 && (iBytesP || !iCount));
    const int64_t position = mDataEnd;
    // Dirty before the first byte goes out: the bytes behind the committed TOC change.
    mDirty = true;
    WriteAt(position, iBytesP, iCount);
    mDataEnd += iCount;
    return position;
}

void FF_Document::ReadBytes(int64_t iPosition, void* oBytesP, int64_t iCount)
{
    RequireOpen();
    CMN_ASSERT(iCount >= 0 && (oBytesP || !iCount));
    if (iPosition < cHeaderSize || iPosition > mDataEnd - iCount)
        ThrowReadError();
    if (iCount == 0)
        return;
    mFile->SetPosition(Sys_File::eOffsetFrom_Start, iPosition);
    if (mFile->Read(oBytesP, iCount) != iCount)
        ThrowReadError(); // cut short behind our back
}

// ---- exceptions ------------------------------------------------------------------------------

std::unique_ptr<Cmn_Exception> FF_Document::CaptureException(std::exception_ptr iException)
{
    try
    {
        std::rethrow_exception(iException);
    }
    catch (const InvalidContextException& e)
    {
        return std::make_unique<Cmn_TypedException<Cmn_ANSIExceptionData>>(
            Cmn_ANSIExceptionCode<InvalidContextException>::Instance(),
            Cmn_ANSIExceptionData{typeid(e).name(), e.what()});
    }
    catch (const FailQuietlyException& e)
    {
        return std::make_unique<Cmn_TypedException<Cmn_ANSIExceptionData>>(
            Cmn_ANSIExceptionCode<FailQuietlyException>::Instance(),
            Cmn_ANSIExceptionData{typeid(e).name(), e.what()});
    }
    catch (...)
    {
        return Cmn_CaptureException(std::current_exception());
    }
}
