#include "FF/Audio/Processing/Overview/FF_AudioOverviewCacheOld.h"

#include <cerrno>
#include <optional>
#include <ostream>

#include "Cmn_Assert.h"
#include "Cmn_Exception.h"
#include "Cmn_MemBufferStream.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "FF/FF_Document.h"
#include "L10N_ExceptionData.h"
#include "Sys_FileUtils.h"
#include "Sys_OSErrData.h"
#include "Sys_StdStreamHeader.h"
#include "Sys_TypedStream.h"

namespace
{
using Cache = FF_AudioOverviewCacheOld;

// The fewest bytes an entry takes in the list: its block header alone (a block that holds
// less than an entry is read, reported and skipped).
constexpr int64_t cMinEntryBlockSize = 6 + 2 + 4;

[[noreturn]] void ThrowInvalid()
{
    L10N_Throw(0, 54); // "overview cache is invalid"
}

std::string PathText(const std::vector<std::string>& iComponents)
{
    std::string text;
    for (size_t i = 0; i < iComponents.size(); ++i)
    {
        if (i > 0 && (text.empty() || text.back() != '/'))
            text += '/';
        text += iComponents[i];
    }
    return text;
}

std::string EntryText(int32_t iIndex, const Cache::Entry& iEntry)
{
    return "entry " + std::to_string(iIndex) + ": " + PathText(iEntry.mKey.mPathComponents) +
           "  id " + iEntry.mKey.mFileID.AsString() + "  modified " +
           std::to_string(iEntry.mKey.mFileModTime) + "  at " +
           std::to_string(iEntry.mOverviewPosition) + ", " + std::to_string(iEntry.mOverviewSize) +
           " bytes";
}

// The fields of one entry inside its block; the payload must end by iPayloadEnd.
Cache::Entry ReadEntryFields(Sys_TypedInStream& ioIn, const Sys_StdStreamHeaderReader& iHeader,
                             int64_t iPayloadEnd)
{
    Cache::Entry entry;
    entry.mKey.mFileID.StreamIn(ioIn);
    const int32_t count = ioIn.Read<int32_t>();
    // Each component takes at least its length field.
    if (count < 0 || count > (iHeader.GetDataEndPos() - ioIn.GetPos()) / 4)
        ThrowInvalid();
    entry.mKey.mPathComponents.resize(size_t(count));
    for (std::string& component : entry.mKey.mPathComponents)
        ioIn >> component;
    ioIn >> entry.mKey.mFileModTime >> entry.mOverviewSize >> entry.mOverviewPosition;
    if (ioIn.GetPos() > iHeader.GetDataEndPos() || entry.mOverviewSize < 0 ||
        entry.mOverviewPosition < FF_Document::cHeaderSize ||
        entry.mOverviewPosition > iPayloadEnd - entry.mOverviewSize)
        ThrowInvalid();
    return entry;
}

struct List
{
    std::vector<Cache::Entry> mEntries;
    std::map<Cache::OverviewKey, size_t> mIndex;
    int32_t mNumSkipped = 0;
    int32_t mNumDuplicates = 0;
};

// The list in iBytes; payloads must end by iPayloadEnd. Entries that fail are skipped,
// duplicates dropped; with ioPrintP, every entry and every failure is printed there. A count
// that does not fit throws package 0, id 54.
List ParseList(const std::vector<unsigned char>& iBytes, int64_t iPayloadEnd,
               std::ostream* ioPrintP)
{
    List list;
    Cmn_MemBufferInStream memory(iBytes.data(), iBytes.data() + iBytes.size());
    Sys_CrossPlatformInStream in(&memory);
    if (iBytes.size() < 4)
        ThrowInvalid();
    const int32_t count = in.Read<int32_t>();
    if (count < 0 || count > (in.GetEndPos() - in.GetPos()) / cMinEntryBlockSize)
        ThrowInvalid();
    if (ioPrintP)
        *ioPrintP << "  list of " << count << " entries\n";
    for (int32_t i = 0; i < count; ++i)
    {
        std::optional<Sys_StdStreamHeaderReader> header;
        Cache::Entry entry;
        try
        {
            header.emplace(in, Cache::cEntryTag);
            header->CheckVersion(Cache::cEntryVersion, Cache::cEntryVersion);
            entry = ReadEntryFields(in, *header, iPayloadEnd);
            header->SkipTheRest();
        }
        catch (const Cmn_Exception& e)
        {
            ++list.mNumSkipped;
            if (ioPrintP)
                *ioPrintP << " ************** Exception while streaming in cache entry " << i
                          << ": " << Cmn_Exception::GetExceptionDescription(e) << "\n";
            if (!header)
            {
                // Without its block header the next entry cannot be found.
                list.mNumSkipped += count - i - 1;
                if (ioPrintP)
                    *ioPrintP << "  the list ends here: " << (count - i - 1)
                              << " more entries cannot be found\n";
                break;
            }
            in.SetPos(header->GetDataEndPos());
            continue;
        }
        if (list.mIndex.count(entry.mKey))
        {
            ++list.mNumDuplicates;
            if (ioPrintP)
                *ioPrintP << "****DUPLICATE!*** : " << EntryText(i, entry) << "\n";
            continue;
        }
        if (ioPrintP)
            *ioPrintP << "  " << EntryText(i, entry) << "\n";
        list.mIndex.emplace(entry.mKey, list.mEntries.size());
        list.mEntries.push_back(std::move(entry));
    }
    return list;
}

// The list of an open document; throws package 0, id 54 when it has none.
List ReadListOf(FF_Document& iDocument, std::ostream* ioPrintP)
{
    const std::unique_ptr<FF_Document::StreamBytes> bytes = iDocument.ReadStream(Cache::cListKey);
    if (!bytes)
        ThrowInvalid();
    // Payloads were all appended before the committed TOC.
    return ParseList(bytes->GetBytes(), iDocument.GetTOCPosition(), ioPrintP);
}

} // namespace

// ---- OverviewKey --------------------------------------------------------------------------

bool FF_AudioOverviewCacheOld::OverviewKey::operator<(const OverviewKey& iOther) const
{
    if (mFileID != iOther.mFileID)
        return mFileID < iOther.mFileID;
    if (mPathComponents != iOther.mPathComponents)
        return mPathComponents < iOther.mPathComponents;
    return mFileModTime < iOther.mFileModTime;
}

// ---- the store frame -------------------------------------------------------------------------

FF_AudioOverviewCacheOld::FF_AudioOverviewCacheOld(const Sys_FileLoc& iLoc) : mFileLoc(iLoc) {}

FF_AudioOverviewCacheOld::~FF_AudioOverviewCacheOld()
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

void FF_AudioOverviewCacheOld::AssertWritable() const
{
    CMN_ASSERT_TEXT(this->IsOpen() && this->GetOpenFlag() > eOpenFlag_OpenForRead,
                    "this->IsOpen() && this->GetOpenFlag() > eOpenFlag_OpenForRead");
}

void FF_AudioOverviewCacheOld::OpenImpl(EOpenFlag iOpenFlag)
{
    const bool write = iOpenFlag > eOpenFlag_OpenForRead;
    mRebuilt = false;
    mDirty = false;
    mEntries.clear();
    mIndex.clear();
    mNumSkipped = 0;
    mNumDuplicates = 0;
    try
    {
        mDocument = std::make_unique<FF_Document>(mFileLoc, cFileType, cCreator);
        const bool exists = Sys_FileUtils::Exists(mFileLoc);
        if (iOpenFlag == eOpenFlag_OpenCreate || (write && !exists))
        {
            CreateNew();
            return;
        }
        if (!exists)
            Sys_ThrowIfOSErr(ENOENT, mFileLoc.GetFullPath());
        try
        {
            mDocument->Open(write ? eOpenFlag_OpenForWrite : eOpenFlag_OpenForRead);
            ReadList();
        }
        catch (const std::exception&)
        {
            if (mDocument->IsOpen())
                mDocument->Close();
            mEntries.clear();
            mIndex.clear();
            if (!write)
                ThrowInvalid();
            Sys_FileUtils::DeleteFile(mFileLoc);
            CreateNew();
            mRebuilt = true;
        }
    }
    catch (...)
    {
        mDocument.reset();
        mEntries.clear();
        mIndex.clear();
        throw;
    }
}

void FF_AudioOverviewCacheOld::CloseImpl()
{
    if (mDirty && mDocument && GetOpenFlag() > eOpenFlag_OpenForRead)
    {
        try
        {
            Flush();
        }
        catch (const std::exception&)
        {
            // The document keeps its last committed state: a cache holds copies only.
        }
    }
    mDocument.reset(); // closes
    mEntries.clear();
    mIndex.clear();
    mDirty = false;
}

void FF_AudioOverviewCacheOld::CreateNew()
{
    mDocument->Open(eOpenFlag_OpenCreate);
    mEntries.clear();
    mIndex.clear();
    WriteList();
    mDocument->Flush();
    mDirty = false;
}

void FF_AudioOverviewCacheOld::ReadList()
{
    List list = ReadListOf(*mDocument, nullptr);
    mEntries = std::move(list.mEntries);
    mIndex = std::move(list.mIndex);
    mNumSkipped = list.mNumSkipped;
    mNumDuplicates = list.mNumDuplicates;
}

void FF_AudioOverviewCacheOld::WriteList()
{
    Cmn_MemBufferOutStream memory;
    Sys_CrossPlatformOutStream out(&memory);
    out << int32_t(mEntries.size());
    for (const Entry& entry : mEntries)
    {
        Sys_StdStreamHeaderWriter header(out, cEntryTag, cEntryVersion);
        entry.mKey.mFileID.StreamOut(out);
        out << int32_t(entry.mKey.mPathComponents.size());
        for (const std::string& component : entry.mKey.mPathComponents)
            out << component;
        out << entry.mKey.mFileModTime << entry.mOverviewSize << entry.mOverviewPosition;
        header.PatchSize();
    }
    mDocument->WriteStream(cListKey, memory.GetBuffer(), memory.GetEndPos());
}

// ---- entries ---------------------------------------------------------------------------------

FF_AudioOverviewCacheOld::OverviewKey FF_AudioOverviewCacheOld::MakeKey(FF_AudioFile* iAudioFileP)
{
    CMN_ASSERT(iAudioFileP);
    FF_AudioFile::StOpenForRead open(*iAudioFileP);
    OverviewKey key;
    key.mFileID = iAudioFileP->mUmid.GetOr(Sys_Umid::NoID());
    key.mPathComponents = iAudioFileP->GetFileLoc().GetPathComponents();
    key.mFileModTime = Sys_FileUtils::GetModifiedUTC(iAudioFileP->GetFileLoc());
    return key;
}

void FF_AudioOverviewCacheOld::Append(FF_AudioFile* iAudioFileP, const FF_AudioOverview& iOverview)
{
    AssertWritable();
    Append(MakeKey(iAudioFileP), iOverview);
}

void FF_AudioOverviewCacheOld::Append(const OverviewKey& iKey, const FF_AudioOverview& iOverview)
{
    AssertWritable();
    CMN_ASSERT(iOverview.HasBytes());
    // Dirty before the first byte goes out.
    mDirty = true;
    Entry entry;
    entry.mKey = iKey;
    entry.mOverviewSize = iOverview.GetSize();
    // At the end of the document's data (SeekToEnd), behind everything committed.
    entry.mOverviewPosition =
        mDocument->AppendBytes(iOverview.GetBuffer(), int64_t(entry.mOverviewSize));
    const auto found = mIndex.find(iKey);
    if (found != mIndex.end())
    {
        mEntries[found->second] = std::move(entry);
        return;
    }
    mIndex.emplace(iKey, mEntries.size());
    mEntries.push_back(std::move(entry));
}

bool FF_AudioOverviewCacheOld::Find(FF_AudioFile* iAudioFileP, FF_AudioOverview* oOverviewP,
                                    int64_t* oFileModTimeP)
{
    CMN_ASSERT(this->IsOpen());
    return Find(MakeKey(iAudioFileP), oOverviewP, oFileModTimeP);
}

bool FF_AudioOverviewCacheOld::Find(const OverviewKey& iKey, FF_AudioOverview* oOverviewP,
                                    int64_t* oFileModTimeP)
{
    CMN_ASSERT(this->IsOpen());
    CMN_ASSERT(oOverviewP);
    const auto found = mIndex.find(iKey);
    if (found == mIndex.end())
        return false;
    const Entry& entry = mEntries[found->second];
    // The size was checked against the document's data when the list was read.
    FF_AudioOverview overview = FF_AudioOverviewMgr::AllocateBytes(entry.mOverviewSize);
    try
    {
        mDocument->ReadBytes(entry.mOverviewPosition, overview.GetBuffer(), entry.mOverviewSize);
    }
    catch (const Cmn_Exception&)
    {
        return false; // a miss: the overview is computed again
    }
    *oOverviewP = overview;
    if (oFileModTimeP)
        *oFileModTimeP = entry.mKey.mFileModTime;
    return true;
}

void FF_AudioOverviewCacheOld::Flush()
{
    AssertWritable();
    if (mDirty)
        WriteList();
    mDocument->Flush();
    mDirty = false;
}

void FF_AudioOverviewCacheOld::Print(const Sys_FileLoc& iLoc, std::ostream& ioStream)
{
    ioStream << "old overview cache " << iLoc.GetFullPath() << "\n";
    try
    {
        FF_Document document(iLoc, cFileType, cCreator);
        document.Open(eOpenFlag_OpenForRead);
        ioStream << "  document " << document.GetFileType() << "/" << document.GetCreator()
                 << ", TOC at " << document.GetTOCPosition() << ", " << document.GetTOCSize()
                 << " bytes\n";
        const List list = ReadListOf(document, &ioStream);
        ioStream << "  " << list.mEntries.size() << " entries, " << list.mNumSkipped << " skipped, "
                 << list.mNumDuplicates << " duplicates\n";
    }
    catch (const std::exception& e)
    {
        ioStream << "  unreadable: " << Cmn_Exception::GetExceptionDescription(e) << "\n";
    }
}
