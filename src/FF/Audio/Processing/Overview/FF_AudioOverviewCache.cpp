#include "FF/Audio/Processing/Overview/FF_AudioOverviewCache.h"

#include <algorithm>
#include <cstring>
#include <ostream>

#include "Cmn_Assert.h"
#include "Cmn_Exception.h"
#include "Cmn_MemBufferStream.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "L10N_ExceptionData.h"
#include "Sys_AtomicOutput.h"
#include "Sys_File.h"
#include "Sys_FileBasedStream.h"
#include "Sys_FileUtils.h"
#include "Sys_StdStreamHeader.h"
#include "Sys_TypedStream.h"

namespace
{
// The fewest bytes one index entry takes: Sys_Umid (16), an "SFL" block with no component
// (3 + 2 + 4 + 1 + 4 + 4), three int64 and an int32.
constexpr int64_t cMinEntrySize = 16 + 18 + 3 * 8 + 4;
// Header block bytes read to parse the header: more than it needs, so that a larger block
// of a later version is still recognised (and refused by its version).
constexpr int64_t cHeaderReadSize = 4096;

[[noreturn]] void ThrowInvalid()
{
    L10N_Throw(0, 54); // "overview cache is invalid"
}

struct HeaderFields
{
    int64_t mIndexPosition = 0;
    int32_t mIndexSize = 0;
    int64_t mHeaderEnd = 0;
};

// Reads iCount bytes at iPosition; false when the file holds fewer.
bool ReadAt(Sys_File& iFile, int64_t iPosition, void* oBytesP, int64_t iCount)
{
    iFile.SetPosition(Sys_File::eOffsetFrom_Start, iPosition);
    return iFile.Read(oBytesP, iCount) == iCount;
}

// The header of a file of iFileLength bytes, checked against invariant 1.
HeaderFields ParseHeader(Sys_File& iFile, int64_t iFileLength)
{
    std::vector<unsigned char> bytes(size_t(std::min(iFileLength, cHeaderReadSize)));
    if (!ReadAt(iFile, 0, bytes.data(), int64_t(bytes.size())))
        ThrowInvalid();
    Cmn_MemBufferInStream memory(bytes.data(), bytes.data() + bytes.size());
    Sys_CrossPlatformInStream in(&memory);
    HeaderFields fields;
    {
        Sys_StdStreamHeaderReader header(in, FF_AudioOverviewCache::cHeaderTag);
        header.CheckVersion(FF_AudioOverviewCache::cVersion, FF_AudioOverviewCache::cVersion);
        in >> fields.mIndexPosition >> fields.mIndexSize;
        header.SkipTheRest();
    }
    fields.mHeaderEnd = in.GetPos();
    if (fields.mHeaderEnd != FF_AudioOverviewCache::cHeaderSize ||
        fields.mIndexPosition < fields.mHeaderEnd || fields.mIndexSize <= 0 ||
        fields.mIndexPosition > iFileLength ||
        fields.mIndexSize > iFileLength - fields.mIndexPosition)
        ThrowInvalid();
    return fields;
}

// The entries of the index block in iBytes, checked against invariants 2 to 4.
std::map<FF_AudioOverviewCache::OverviewKey, FF_AudioOverviewCache::Entry>
ParseIndex(const std::vector<unsigned char>& iBytes, const HeaderFields& iHeader)
{
    std::map<FF_AudioOverviewCache::OverviewKey, FF_AudioOverviewCache::Entry> index;
    Cmn_MemBufferInStream memory(iBytes.data(), iBytes.data() + iBytes.size());
    Sys_CrossPlatformInStream in(&memory);
    Sys_StdStreamHeaderReader header(in, FF_AudioOverviewCache::cIndexTag);
    header.CheckVersion(FF_AudioOverviewCache::cVersion, FF_AudioOverviewCache::cVersion);
    const int32_t count = in.Read<int32_t>();
    if (count < 0 || count > (header.GetDataEndPos() - in.GetPos()) / cMinEntrySize)
        ThrowInvalid();
    for (int32_t i = 0; i < count; ++i)
    {
        FF_AudioOverviewCache::Entry entry;
        entry.mKey.mFileID.StreamIn(in);
        entry.mKey.mPath.StreamIn(in);
        in >> entry.mKey.mFileModTime >> entry.mKey.mEmbeddedFileOffset >>
            entry.mOverviewPosition >> entry.mOverviewSize;
        if (in.GetPos() > header.GetDataEndPos() || entry.mOverviewSize < 0 ||
            entry.mOverviewPosition < iHeader.mHeaderEnd ||
            entry.mOverviewPosition > iHeader.mIndexPosition - entry.mOverviewSize)
            ThrowInvalid();
        if (!index.empty() && !(index.rbegin()->first < entry.mKey))
            ThrowInvalid();
        index.emplace_hint(index.end(), entry.mKey, entry);
    }
    header.SkipTheRest();
    return index;
}

} // namespace

// ---- OverviewKey --------------------------------------------------------------------------

bool FF_AudioOverviewCache::OverviewKey::operator<(const OverviewKey& iOther) const
{
    if (mEmbeddedFileOffset != iOther.mEmbeddedFileOffset)
        return mEmbeddedFileOffset < iOther.mEmbeddedFileOffset;
    if (mFileID != iOther.mFileID)
        return mFileID < iOther.mFileID;
    const int nameOrder = mPath.GetName().compare(iOther.mPath.GetName());
    if (nameOrder != 0)
        return nameOrder < 0;
    return mFileModTime < iOther.mFileModTime;
}

// ---- the store frame -------------------------------------------------------------------------

FF_AudioOverviewCache::FF_AudioOverviewCache(const Sys_FileLoc& iLoc) : mFileLoc(iLoc) {}

FF_AudioOverviewCache::~FF_AudioOverviewCache()
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

void FF_AudioOverviewCache::AssertWritable() const
{
    CMN_ASSERT_TEXT(this->IsOpen() && this->GetOpenFlag() > eOpenFlag_OpenForRead,
                    "this->IsOpen() && this->GetOpenFlag() > eOpenFlag_OpenForRead");
}

void FF_AudioOverviewCache::OpenImpl(EOpenFlag iOpenFlag)
{
    const bool write = iOpenFlag > eOpenFlag_OpenForRead;
    mRebuilt = false;
    try
    {
        mFile = std::make_unique<Sys_File>(mFileLoc);
        if (!Sys_FileUtils::Exists(mFileLoc) && write)
        {
            CreateNew();
            return;
        }
        // A missing file opened for reading fails here with the system's error.
        mFile->Open(Sys_File::eOpen_ForRead | Sys_File::eOpen_Existing |
                    (write ? Sys_File::eOpen_ForWrite : 0));
        if (IsFileUnchanged())
            return;
        try
        {
            CacheIndex();
        }
        catch (const std::exception&)
        {
            if (!write)
                ThrowInvalid();
            mFile->Close();
            Sys_FileUtils::DeleteFile(mFileLoc);
            CreateNew();
            mRebuilt = true;
        }
    }
    catch (...)
    {
        mFile.reset();
        throw;
    }
}

void FF_AudioOverviewCache::CloseImpl()
{
    if (mDirty && mFile && GetOpenFlag() > eOpenFlag_OpenForRead && mFile->IsOnline())
    {
        try
        {
            Flush();
        }
        catch (const std::exception&)
        {
            // The file stays inconsistent on disk and is rebuilt when next opened: a cache
            // holds copies only.
        }
    }
    mFile.reset(); // closes
}

void FF_AudioOverviewCache::CreateNew()
{
    if (mFile->IsOpen())
        mFile->Close();
    // A new cache file appears whole (header and empty index) or not at all: it is written
    // under a temporary name and takes its own once complete (the open file follows it).
    Sys_StAtomicOutput output(mFileLoc, true);
    mFile->Open(Sys_File::eOpen_Create);
    try
    {
        mIndex.clear();
        mIndexPosition = cHeaderSize;
        WriteIndex();
        WriteFileHeader();
        mFile->SetEOF(mIndexPosition + mIndexSize);
        output.Commit();
    }
    catch (...)
    {
        mFile->Close();
        throw;
    }
    RememberFileState();
    mDirty = false;
}

void FF_AudioOverviewCache::CacheIndex()
{
    mIndexCached = false;
    mIndex.clear();
    const int64_t length = mFile->GetEOF();
    const HeaderFields header = ParseHeader(*mFile, length);
    // One read of the whole index; its size is bounded by the file's length.
    std::vector<unsigned char> bytes(size_t(header.mIndexSize));
    if (!ReadAt(*mFile, header.mIndexPosition, bytes.data(), header.mIndexSize))
        ThrowInvalid();
    mIndex = ParseIndex(bytes, header);
    mIndexPosition = header.mIndexPosition;
    mIndexSize = header.mIndexSize;
    mDirty = false;
    RememberFileState();
}

void FF_AudioOverviewCache::WriteAt(int64_t iPosition, const void* iBytesP, int64_t iCount)
{
    mFile->SetPosition(Sys_File::eOffsetFrom_Start, iPosition);
    if (mFile->Write(iBytesP, iCount) != iCount)
        L10N_Throw(2, 23); // "write to stream failed"
}

void FF_AudioOverviewCache::WriteIndex()
{
    Cmn_MemBufferOutStream memory;
    Sys_CrossPlatformOutStream out(&memory);
    {
        Sys_StdStreamHeaderWriter header(out, cIndexTag, cVersion);
        out << int32_t(mIndex.size());
        for (const auto& [key, entry] : mIndex)
        {
            entry.mKey.mFileID.StreamOut(out);
            entry.mKey.mPath.StreamOut(out);
            out << entry.mKey.mFileModTime << entry.mKey.mEmbeddedFileOffset
                << entry.mOverviewPosition << entry.mOverviewSize;
        }
        header.PatchSize();
    }
    WriteAt(mIndexPosition, memory.GetBuffer(), memory.GetEndPos());
    mIndexSize = int32_t(memory.GetEndPos());
}

void FF_AudioOverviewCache::WriteFileHeader()
{
    Cmn_MemBufferOutStream memory;
    Sys_CrossPlatformOutStream out(&memory);
    {
        Sys_StdStreamHeaderWriter header(out, cHeaderTag, cVersion);
        out << mIndexPosition << mIndexSize;
        const unsigned char reserved[cReservedBytes] = {};
        out.WriteBlock(reserved, cReservedBytes);
        header.PatchSize();
    }
    CMN_ASSERT(memory.GetEndPos() == cHeaderSize);
    WriteAt(0, memory.GetBuffer(), memory.GetEndPos());
}

void FF_AudioOverviewCache::RememberFileState()
{
    mKnownModTime = Sys_FileUtils::GetModifiedUTC(mFileLoc);
    mKnownLength = mFile->GetEOF();
    mIndexCached = true;
}

bool FF_AudioOverviewCache::IsFileUnchanged() const
{
    return mIndexCached && !mDirty && Sys_FileUtils::GetModifiedUTC(mFileLoc) == mKnownModTime &&
           mFile->GetEOF() == mKnownLength;
}

// ---- entries ---------------------------------------------------------------------------------

FF_AudioOverviewCache::OverviewKey FF_AudioOverviewCache::MakeKey(FF_AudioFile* iAudioFileP)
{
    CMN_ASSERT(iAudioFileP);
    FF_AudioFile::StOpenForRead open(*iAudioFileP);
    OverviewKey key;
    key.mFileID = iAudioFileP->mUmid.GetOr(Sys_Umid::NoID());
    key.mPath = iAudioFileP->GetFileLoc();
    key.mFileModTime = Sys_FileUtils::GetCreatedUTC(key.mPath);
    key.mEmbeddedFileOffset = iAudioFileP->GetEmbeddedOffset();
    return key;
}

void FF_AudioOverviewCache::Add(FF_AudioFile* iAudioFileP, const FF_AudioOverview& iOverview)
{
    AssertWritable();
    Add(MakeKey(iAudioFileP), iOverview);
}

void FF_AudioOverviewCache::Add(const OverviewKey& iKey, const FF_AudioOverview& iOverview)
{
    AssertWritable();
    CMN_ASSERT(iOverview.HasBytes());
    const int32_t size = iOverview.GetSize();
    auto found = mIndex.find(iKey);
    const bool inPlace = found != mIndex.end() && found->second.mOverviewSize >= size;
    const int64_t overviewPosition = inPlace ? found->second.mOverviewPosition : mIndexPosition;
    const int64_t eofPos = mFile->GetEOF();
    CMN_ASSERT(overviewPosition <= eofPos);
    // Dirty before the first byte goes out: from here the index on disk may be overwritten.
    mDirty = true;
    if (size > 0)
        WriteAt(overviewPosition, iOverview.GetBuffer(), size);
    Entry entry;
    entry.mKey = iKey; // the path (and so the name a later move keeps) as it is now
    entry.mOverviewPosition = overviewPosition;
    entry.mOverviewSize = size;
    if (found != mIndex.end())
        found->second = entry;
    else
        mIndex.emplace(iKey, entry);
    if (!inPlace)
        mIndexPosition += size;
}

bool FF_AudioOverviewCache::Find(FF_AudioFile* iAudioFileP, FF_AudioOverview* oOverviewP,
                                 int64_t* oFileModTimeP)
{
    CMN_ASSERT(this->IsOpen());
    return Find(MakeKey(iAudioFileP), oOverviewP, oFileModTimeP);
}

bool FF_AudioOverviewCache::Find(const OverviewKey& iKey, FF_AudioOverview* oOverviewP,
                                 int64_t* oFileModTimeP)
{
    CMN_ASSERT(this->IsOpen());
    CMN_ASSERT(oOverviewP);
    const auto found = mIndex.find(iKey);
    if (found == mIndex.end())
        return false;
    const Entry& entry = found->second;
    FF_AudioOverview overview = FF_AudioOverviewMgr::AllocateBytes(entry.mOverviewSize);
    if (entry.mOverviewSize > 0 &&
        !ReadAt(*mFile, entry.mOverviewPosition, overview.GetBuffer(), entry.mOverviewSize))
        return false;
    *oOverviewP = overview;
    if (oFileModTimeP)
        *oFileModTimeP = entry.mKey.mFileModTime;
    return true;
}

int32_t FF_AudioOverviewCache::FindAndSync(const std::vector<FF_AudioFileRef>& iFiles,
                                           std::vector<FF_AudioOverview::LockingRef>* oOverviewsP)
{
    CMN_ASSERT(this->IsOpen());
    struct Job
    {
        size_t mFile;
        const Entry* mEntryP;
        FF_AudioOverview mOverview;
    };
    std::vector<Job> jobs;
    for (size_t i = 0; i < iFiles.size(); ++i)
    {
        const auto found = mIndex.find(MakeKey(iFiles[i].Get()));
        if (found != mIndex.end())
            jobs.push_back({i, &found->second,
                            FF_AudioOverviewMgr::AllocateBytes(found->second.mOverviewSize)});
    }
    if (oOverviewsP)
        oOverviewsP->assign(iFiles.size(), FF_AudioOverview::LockingRef());
    std::sort(jobs.begin(), jobs.end(),
              [](const Job& a, const Job& b)
              { return a.mEntryP->mOverviewPosition < b.mEntryP->mOverviewPosition; });

    const int64_t length = mFile->GetEOF();
    mFile->SetPosition(Sys_File::eOffsetFrom_Start, 0);
    Sys_FileBasedInStream in(*mFile);
    int32_t found = 0;
    for (Job& job : jobs)
    {
        const Entry& entry = *job.mEntryP;
        if (entry.mOverviewPosition > length - entry.mOverviewSize)
            continue; // cut short behind our back
        FF_AudioOverview::LockingRef ref(job.mOverview);
        if (entry.mOverviewSize > 0)
        {
            in.SetPos(entry.mOverviewPosition);
            in.Read(job.mOverview.GetBuffer(), entry.mOverviewSize);
        }
        const int8_t* bytesP = job.mOverview.GetBuffer();
        iFiles[job.mFile]->mOverview.StoreFromSourceIfClean(
            FF_AudioOverviewData(bytesP, bytesP + entry.mOverviewSize));
        if (oOverviewsP)
            (*oOverviewsP)[job.mFile] = ref;
        ++found;
    }
    return found;
}

void FF_AudioOverviewCache::Flush()
{
    AssertWritable();
    WriteIndex();
    WriteFileHeader();
    mFile->SetEOF(mIndexPosition + mIndexSize);
    RememberFileState();
    mDirty = false;
}

void FF_AudioOverviewCache::Empty()
{
    AssertWritable();
    CreateNew();
}

std::vector<FF_AudioOverviewCache::Entry> FF_AudioOverviewCache::GetEntries() const
{
    std::vector<Entry> entries;
    entries.reserve(mIndex.size());
    for (const auto& [key, entry] : mIndex)
        entries.push_back(entry);
    return entries;
}

void FF_AudioOverviewCache::Print(const Sys_FileLoc& iLoc, std::ostream& ioStream)
{
    ioStream << "overview cache " << iLoc.GetFullPath() << "\n";
    try
    {
        Sys_File file(iLoc);
        file.Open(Sys_File::eOpen_ForRead | Sys_File::eOpen_Existing);
        const int64_t length = file.GetEOF();
        const HeaderFields header = ParseHeader(file, length);
        ioStream << "  length " << length << ", index at " << header.mIndexPosition << ", "
                 << header.mIndexSize << " bytes\n";
        std::vector<unsigned char> bytes(size_t(header.mIndexSize));
        if (!ReadAt(file, header.mIndexPosition, bytes.data(), header.mIndexSize))
            ThrowInvalid();
        const auto index = ParseIndex(bytes, header);
        int64_t payloads = 0;
        for (const auto& [key, entry] : index)
        {
            ioStream << "  " << key.mPath.GetFullPath() << "  id " << key.mFileID.AsString()
                     << "  created " << key.mFileModTime << "  offset " << key.mEmbeddedFileOffset
                     << "  at " << entry.mOverviewPosition << ", " << entry.mOverviewSize
                     << " bytes\n";
            payloads += entry.mOverviewSize;
        }
        ioStream << "  " << index.size() << " entries, " << payloads << " bytes of payloads, "
                 << (header.mIndexPosition - cHeaderSize - payloads) << " bytes of holes\n";
    }
    catch (const std::exception& e)
    {
        ioStream << "  unreadable: " << Cmn_Exception::GetExceptionDescription(e) << "\n";
    }
}
