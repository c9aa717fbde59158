#include "BDM/Adapters/Neo/BNeoa_Bin.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <type_traits>

#include "BDM/Adapters/Neo/BNeoa_Database.h"
#include "BDM/Adapters/Neo/BNeoa_Query.h"
#include "BDM/BDM_Utils.h"
#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
#include "Sys_FileUtils.h"

namespace
{
constexpr int32_t cBrowserPackage = 12;
constexpr int32_t cNameInUse = 63;      // "Name already in use"
constexpr int32_t cInvalidVersion = 66; // "Invalid Version"
constexpr int32_t cNoInfo = 82;         // "Can't find database information"
constexpr int32_t cFilePackage = 5, cFileBusy = 46; // "File is busy"

// A database that another process holds is busy, not foreign.
bool IsBusy(const std::exception& iException)
{
    return L10N_IsException(iException, cFilePackage, cFileBusy);
}
constexpr int32_t cTooOld = 83;         // "Database version too old"
constexpr int32_t cNotUnicode = 84;     // "Database is not Unicode"
constexpr const char* cRootName = "Global";
constexpr char cListSeparator = '\x1F';

int64_t NowMicroseconds()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

// ---- how values travel between typed attributes and columns ---------------------------------

template <class T> struct Codec
{
    static_assert(std::is_integral_v<T> || std::is_enum_v<T>);
    static constexpr BNeoa_AttributeMapper::EKind cKind = BNeoa_AttributeMapper::eKind_Int;
    static void Encode(const T& iValue, BNeoa_Value* oValueP) { oValueP->mInt = int64_t(iValue); }
    static T Decode(const BNeoa_Value& iValue) { return T(iValue.mInt); }
};
template <> struct Codec<std::string>
{
    static constexpr BNeoa_AttributeMapper::EKind cKind = BNeoa_AttributeMapper::eKind_Text;
    static void Encode(const std::string& iValue, BNeoa_Value* oValueP) { oValueP->mBytes = iValue; }
    static std::string Decode(const BNeoa_Value& iValue) { return iValue.mBytes; }
};
template <> struct Codec<Sys_Umid>
{
    static constexpr BNeoa_AttributeMapper::EKind cKind = BNeoa_AttributeMapper::eKind_Blob;
    static void Encode(const Sys_Umid& iValue, BNeoa_Value* oValueP)
    {
        oValueP->mBytes.clear();
        for (int32_t w = 0; w < 4; ++w)
            for (int32_t shift = 24; shift >= 0; shift -= 8)
                oValueP->mBytes.push_back(char((iValue.GetWord(w) >> shift) & 0xFF));
    }
    static Sys_Umid Decode(const BNeoa_Value& iValue)
    {
        Sys_Umid umid;
        const std::string& bytes = iValue.mBytes;
        for (size_t i = 0; i < 16 && i < bytes.size(); ++i)
            umid.SetWord(int32_t(i / 4), (umid.GetWord(int32_t(i / 4)) << 8) | uint8_t(bytes[i]));
        return umid;
    }
};
template <> struct Codec<BDM_StringList>
{
    static constexpr BNeoa_AttributeMapper::EKind cKind = BNeoa_AttributeMapper::eKind_Text;
    static void Encode(const BDM_StringList& iValue, BNeoa_Value* oValueP)
    {
        oValueP->mBytes.clear();
        for (const std::string& component : iValue)
            oValueP->mBytes += component + cListSeparator;
    }
    static BDM_StringList Decode(const BNeoa_Value& iValue)
    {
        BDM_StringList list;
        size_t start = 0;
        for (size_t end; (end = iValue.mBytes.find(cListSeparator, start)) != std::string::npos;
             start = end + 1)
            list.push_back(iValue.mBytes.substr(start, end - start));
        return list;
    }
};

template <class T> BDM_Attribute* MakeAttribute(BNeoa_Asset& iAsset, size_t iIndex)
{
    const auto& tag = static_cast<const BDM_TypedAttributeTag<T>&>(
        *BNeoa_AttributeMapper::GetEntries()[iIndex].mTag);
    return new BNeoa_TypedAttribute<T>(tag, iAsset, iIndex);
}

template <class T> bool EncodeValue(const BDM_AttributeValue& iValue, BNeoa_Value* oValueP)
{
    const auto* typedP = dynamic_cast<const BDM_TypedAttributeValue<T>*>(&iValue);
    if (!typedP)
        return false;
    Codec<T>::Encode(typedP->GetValue(), oValueP);
    oValueP->mValid = true;
    return true;
}

template <class T>
BNeoa_AttributeMapper::Entry MakeEntry(const BDM_TypedAttributeTag<T>& iTag, const char* iColumn,
                                       uint32_t iNeoTag)
{
    return {&iTag, iColumn, iNeoTag, Codec<T>::cKind, &MakeAttribute<T>, &EncodeValue<T>};
}

std::vector<BNeoa_AttributeMapper::Entry> MakeEntries()
{
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    return {
        MakeEntry(t.cAssetName, "AssetName", 0xB4C00001),
        MakeEntry(t.cAssetType, "AssetType", 0x56C00002),
        MakeEntry(t.cAssetID, "AssetID", 0x94C00003),
        MakeEntry(t.cAssetComment, "AssetComment", 0xB4C00004),
        MakeEntry(t.cAssetDurationMicroseconds, "AssetDurationMicroseconds", 0x5EC00005),
        MakeEntry(t.cFileName, "FileName", 0xB4C00006),
        MakeEntry(t.cFileDataForkSize, "FileDataForkSize", 0x5EC00007),
        MakeEntry(t.cFileModDate, "FileModDate", 0x5EC00008),
        MakeEntry(t.cFileCreateDate, "FileCreateDate", 0x5EC00009),
        MakeEntry(t.cFileEmbeddedComment, "FileEmbeddedComment", 0xB4C0000A),
        MakeEntry(t.cFilePathComponents, "FilePathComponents", 0xB8C0000B),
        MakeEntry(t.cFileVolumeID, "FileVolumeID", 0x5AC0000C),
        MakeEntry(t.cFileLastIndexedDate, "FileLastIndexedDate", 0x5EC0000D),
        MakeEntry(t.cFileFormat, "FileFormat", 0x56C0000E),
        MakeEntry(t.cAudioFileSampleRate, "AudioFileSampleRate", 0x5AC0000F),
        MakeEntry(t.cAudioFileBitDepth, "AudioFileBitDepth", 0x56C00010),
        MakeEntry(t.cAudioFileNumSamples, "AudioFileNumSamples", 0x5EC00011),
        MakeEntry(t.cAudioFileNumChannels, "AudioFileNumChannels", 0x56C00012),
        MakeEntry(t.cAudioFileEmbeddedFileOffset, "AudioFileEmbeddedFileOffset", 0x5EC00013),
        MakeEntry(t.cAudioFileOriginalTimestamp, "AudioFileOriginalTimestamp", 0x5EC00014),
        MakeEntry(t.cAudioFileUserTimestamp, "AudioFileUserTimestamp", 0x5EC00015),
        MakeEntry(t.cSourceTapeName, "SourceTapeName", 0xB4C00016),
        MakeEntry(t.cSourceTapeTimecodeFormat, "SourceTapeTimecodeFormat", 0x56C00017),
        MakeEntry(t.cFolderIndexedExhaustively, "FolderIndexedExhaustively", 0x50C00018),
        MakeEntry(t.cAssetTimestamp, "AssetTimestamp", 0x5EC00019),
        MakeEntry(t.cFileTotalSize, "FileTotalSize", 0x5EC0001A),
    };
}

// "c1, c1Validity, c2, c2Validity, ..." in the mapper's order.
const std::string& ValueColumns()
{
    static const std::string columns = [] {
        std::string text;
        for (const auto& entry : BNeoa_AttributeMapper::GetEntries())
            text += std::string(text.empty() ? "" : ", ") + entry.mColumn + ", " + entry.mColumn +
                    "Validity";
        return text;
    }();
    return columns;
}

void BindValue(BNeoa_Statement& ioStatement, int iIndex, const BNeoa_AttributeMapper::Entry& iEntry,
               const BNeoa_Value& iValue)
{
    if (!iValue.mValid)
        ioStatement.BindNull(iIndex);
    else if (iEntry.mKind == BNeoa_AttributeMapper::eKind_Int)
        ioStatement.BindInt(iIndex, iValue.mInt);
    else if (iEntry.mKind == BNeoa_AttributeMapper::eKind_Text)
        ioStatement.BindText(iIndex, iValue.mBytes);
    else
        ioStatement.BindBlob(iIndex, iValue.mBytes.data(), iValue.mBytes.size());
    ioStatement.BindInt(iIndex + 1, iValue.mValid ? 1 : 0);
}

BNeoa_Value ReadValue(const BNeoa_Statement& iStatement, int iColumn,
                      const BNeoa_AttributeMapper::Entry& iEntry)
{
    BNeoa_Value value;
    value.mValid = iStatement.Int(iColumn + 1) != 0 && !iStatement.IsNull(iColumn);
    if (iEntry.mKind == BNeoa_AttributeMapper::eKind_Int)
        value.mInt = iStatement.Int(iColumn);
    else if (iEntry.mKind == BNeoa_AttributeMapper::eKind_Text)
        value.mBytes = iStatement.Text(iColumn);
    else
    {
        const std::vector<uint8_t> blob = iStatement.Blob(iColumn);
        value.mBytes.assign(blob.begin(), blob.end());
    }
    return value;
}

int64_t IDOf(const BDM_KeyHandle& iKey)
{
    CMN_ASSERT_TEXT(iKey && iKey->GetType() == BDM_Key::eType_Neo,
                    "iKey->GetType() == BDM_Key::eType_Neo");
    return static_cast<const BNeoa_Key&>(*iKey).GetID();
}

// The URI of a file for sqlite3_open_v2, with the characters a URI reserves escaped.
std::string UriOf(const std::string& iPath)
{
    std::string uri = "file:";
    for (const char c : iPath)
    {
        if (c == '%' || c == '?' || c == '#')
        {
            char escaped[4];
            std::snprintf(escaped, sizeof escaped, "%%%02X", unsigned(uint8_t(c)));
            uri += escaped;
        }
        else
            uri += c;
    }
    return uri;
}

// Whether files can be made beside iLoc (a log and its index).
bool IsFolderWritable(const Sys_FileLoc& iLoc)
{
    const std::string folder = iLoc.GetParentFolder().GetFullPath();
    return ::access(folder.empty() ? "." : folder.c_str(), W_OK) == 0;
}

bool IsNameTag(const BDM_AttributeTag& iTag)
{
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    return iTag == t.cFileName || iTag == t.cAssetName;
}
} // namespace

// ---- environment ---------------------------------------------------------------------------

BNeoa_Environment& BNeoa_Environment::GetEnvironment()
{
    static BNeoa_Environment sEnvironment;
    return sEnvironment;
}

BNeoa_Environment::BNeoa_Environment()
    : mVersion(MIRAFILE_VERSION),
      mCacheSize(ComputeCacheSize(int64_t(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGESIZE)))
{
    sqlite3_soft_heap_limit64(mCacheSize);
}

int64_t BNeoa_Environment::ComputeCacheSize(int64_t iPhysicalMemory)
{
    int64_t size = int64_t(double(std::min<int64_t>(iPhysicalMemory, 0x7FC00000)) * 0.8);
    size = std::min<int64_t>(size, iPhysicalMemory - 0x7800000);
    return std::max<int64_t>(size, 0x1400000);
}

// ---- keys, mapper ------------------------------------------------------------------------

bool BNeoa_Key::IsLessThan(const BDM_Key& iKey) const
{
    CMN_ASSERT_TEXT(iKey.GetType() == eType_Neo, "iKey.GetType() == eType_Neo");
    return mID < static_cast<const BNeoa_Key&>(iKey).mID;
}

const std::vector<BNeoa_AttributeMapper::Entry>& BNeoa_AttributeMapper::GetEntries()
{
    static const std::vector<Entry> sEntries = MakeEntries();
    return sEntries;
}

int32_t BNeoa_AttributeMapper::FindIndex(const BDM_AttributeTag& iTag)
{
    const auto& entries = GetEntries();
    for (size_t i = 0; i < entries.size(); ++i)
        if (*entries[i].mTag == iTag)
            return int32_t(i);
    return -1;
}

bool BNeoa_AttributeMapper::GetNeoTag(const BDM_AttributeTag& iTag, uint32_t* oTagP)
{
    const int32_t index = FindIndex(iTag);
    if (index < 0)
        return false;
    *oTagP = GetEntries()[size_t(index)].mNeoTag;
    return true;
}

uint32_t BNeoa_AttributeMapper::GetNeoTag(const BDM_AttributeTag& iTag)
{
    uint32_t tag = 0;
    CMN_ASSERT_TEXT(GetNeoTag(iTag, &tag), "BNeoa_AttributeMapper::GetNeoTag( iTag, &tag )");
    return tag;
}

// ---- attributes --------------------------------------------------------------------------

template <class T> bool BNeoa_TypedAttribute<T>::IsSet() const
{
    return mAssetP->GetStoredValue(mIndex).mValid;
}

template <class T> bool BNeoa_TypedAttribute<T>::GetValue(T* oValueP) const
{
    if (!IsSet())
        return false;
    if (!mCached)
    {
        mCache = Codec<T>::Decode(mAssetP->GetStoredValue(mIndex));
        mCached = true;
    }
    *oValueP = mCache;
    return true;
}

template <class T> void BNeoa_TypedAttribute<T>::Set(const T& iValue)
{
    if (mCached && IsSet() && Equal(mCache, iValue) && Equal(iValue, mCache))
        return;
    BNeoa_Value value;
    Codec<T>::Encode(iValue, &value);
    value.mValid = true;
    mAssetP->StoreValue(mIndex, value);
    mCache = iValue;
    mCached = true;
    this->NotifyChanged();
}

template <class T> bool BNeoa_TypedAttribute<T>::Less(const T& iLhs, const T& iRhs) const
{
    if constexpr (std::is_same_v<T, std::string>)
        if (IsNameTag(this->GetTag()))
            return BDM_Utils::NameLess(iLhs, iRhs);
    return BDM_ValueLess(iLhs, iRhs);
}

template <class T> bool BNeoa_TypedAttribute<T>::Equal(const T& iLhs, const T& iRhs) const
{
    if constexpr (std::is_same_v<T, std::string>)
        if (IsNameTag(this->GetTag()))
            return iLhs == iRhs; // a rename that changes only case is a change
    return BDM_ValueEqual(iLhs, iRhs);
}

// ---- assets ------------------------------------------------------------------------------

BNeoa_Asset::BNeoa_Asset(BNeoa_Bin* iBinP, int64_t iID, int64_t iParentID, int64_t iAliasID,
                         std::vector<BNeoa_Value> iRecord)
    : BDM_Asset(iBinP), mID(iID), mParentID(iParentID), mAliasID(iAliasID),
      mRecord(std::move(iRecord))
{
}

BNeoa_Bin& BNeoa_Asset::GetNeoBin() const
{
    return static_cast<BNeoa_Bin&>(*GetBin());
}

BDM_KeyHandle BNeoa_Asset::GetKey() const
{
    const int32_t typeIndex = BNeoa_AttributeMapper::FindIndex(BDM_AttributeTags::Instance()->cAssetType);
    const BNeoa_Value& type = mRecord[size_t(typeIndex)];
    return GetNeoBin().MakeKey(mID, type.mValid ? BDM_EAssetType(type.mInt) : BDM_eAssetType_File);
}

bool BNeoa_Asset::IsContainer() const
{
    return GetKey()->IsFolder();
}

BDM_AssetHandle BNeoa_Asset::GetParent()
{
    if (mParentID == 0)
        return BDM_AssetHandle();
    return GetBin()->GetAsset(GetNeoBin().MakeKey(mParentID, BDM_eAssetType_Folder));
}

void BNeoa_Asset::GetChildren(std::list<BDM_KeyHandle>* oKeysP)
{
    oKeysP->clear();
    if (IsContainer())
        GetNeoBin().ListChildren(mID, oKeysP);
}

bool BNeoa_Asset::ResolveFileSystemAlias(Sys_FileLoc* oLocP)
{
    BDM_StringList components;
    if (!GetAttributeValue(BDM_AttributeTags::Instance()->cFilePathComponents, &components) ||
        components.empty())
        return false;
    const Sys_FileLoc loc(std::vector<std::string>(components.begin(), components.end()));
    if (!Sys_FileUtils::Exists(loc))
        return false;
    *oLocP = loc;
    return true;
}

BDM_AssetHandle BNeoa_Asset::ResolveAlias()
{
    if (mAliasID == 0)
        return BDM_Asset::ResolveAlias(); // a link held in memory, if any
    BDM_AssetHandle target = GetBin()->GetAsset(GetNeoBin().MakeKey(mAliasID, BDM_eAssetType_File));
    return target ? target->ResolveAlias() : BDM_AssetHandle(this);
}

void BNeoa_Asset::StoreValue(size_t iIndex, const BNeoa_Value& iValue)
{
    BNeoa_Bin& bin = GetNeoBin();
    bin.BeginWrite();
    const auto& entry = BNeoa_AttributeMapper::GetEntries()[iIndex];
    BNeoa_Statement statement(bin.GetConnection(), std::string("UPDATE Asset SET ") +
                                                       entry.mColumn + " = ?1, " + entry.mColumn +
                                                       "Validity = ?2 WHERE ID = ?3");
    BindValue(statement, 1, entry, iValue);
    statement.BindInt(3, mID);
    statement.Step();
    mRecord[iIndex] = iValue;
}

void BNeoa_Asset::SetAttributeInvalid(const BDM_AttributeTag& iTag)
{
    const int32_t index = BNeoa_AttributeMapper::FindIndex(iTag);
    CMN_ASSERT_TEXT(index >= 0, "offset");
    BNeoa_Bin& bin = GetNeoBin();
    bin.BeginWrite();
    const auto& entry = BNeoa_AttributeMapper::GetEntries()[size_t(index)];
    BNeoa_Statement statement(bin.GetConnection(), std::string("UPDATE Asset SET ") +
                                                       entry.mColumn + "Validity = 0 WHERE ID = ?1");
    statement.BindInt(1, mID);
    statement.Step();
    mRecord[size_t(index)].mValid = false;
}

BDM_Attribute* BNeoa_Asset::Fetch(const BDM_AttributeTag& iTag)
{
    const int32_t index = BNeoa_AttributeMapper::FindIndex(iTag);
    if (index < 0)
        return nullptr;
    return BNeoa_AttributeMapper::GetEntries()[size_t(index)].mMakeAttribute(*this, size_t(index));
}

// ---- the bin -----------------------------------------------------------------------------

BNeoa_Bin::BNeoa_Bin(const Sys_FileLoc& iURL, BDM_Cache* iCacheP)
    : BDM_Bin(iCacheP), mURL(iURL), mConnection(new BNeoa_Connection)
{
    BNeoa_Environment::GetEnvironment();
}

BNeoa_Bin::~BNeoa_Bin()
{
    if (IsOpen())
        CloseImpl();
}

BDM_KeyHandle BNeoa_Bin::MakeKey(int64_t iID, BDM_EAssetType iType) const
{
    return BDM_KeyHandle(new BNeoa_Key(iID, BDM_Utils::IsAssetContainerType(iType)));
}

void BNeoa_Bin::OpenImpl(EOpenFlag iOpenFlag)
{
    CMN_ASSERT_TEXT((!mURL.IsEmpty() && Sys_FileUtils::Exists(mURL)) ||
                        iOpenFlag == eOpenFlag_OpenCreate,
                    "mURL && Sys_File( mURL ).IsOnline() || iOpenFlag == eOpenFlag_OpenCreate");
    const std::string& path = mURL.GetFullPath();
    if (iOpenFlag == eOpenFlag_OpenCreate)
    {
        if (Sys_FileUtils::Exists(mURL))
            L10N_Throw(cBrowserPackage, cNameInUse);
        // Made under a temporary name and renamed when whole: a kill leaves no half file.
        const std::string temporary = path + ".creating";
        std::remove(temporary.c_str());
        {
            auto creating = std::make_unique<BNeoa_Connection>();
            creating->Open(temporary, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
            std::swap(mConnection, creating);
            try
            {
                mConnection->Exec("PRAGMA synchronous = FULL; BEGIN IMMEDIATE");
                mInWrite = true;
                CreateDatabase();
                UpdateInfo();
                mConnection->Exec("COMMIT");
                mInWrite = false;
            }
            catch (...)
            {
                mInWrite = false;
                std::swap(mConnection, creating);
                creating->Close();
                std::remove(temporary.c_str());
                throw;
            }
            std::swap(mConnection, creating);
        }
        if (std::rename(temporary.c_str(), path.c_str()) != 0)
        {
            std::remove(temporary.c_str());
            L10N_Throw(1, 2, path + ": the catalog file could not be made");
        }
    }
    // A file that is not ours is refused before anything could write to it.
    CheckFile();
    const bool folderWritable = IsFolderWritable(mURL);
    mReadOnlyFile = iOpenFlag == eOpenFlag_OpenForRead || !folderWritable ||
                    ::access(path.c_str(), W_OK) != 0;
    BNeoa_Environment& environment = BNeoa_Environment::GetEnvironment();
    try
    {
        if (!mReadOnlyFile)
            mConnection->Open(path, SQLITE_OPEN_READWRITE, environment.GetVfsName());
        else if (folderWritable)
            mConnection->Open(path, SQLITE_OPEN_READONLY, environment.GetVfsName());
        else // a read-only volume: nothing there changes while we read
            mConnection->Open(UriOf(path) + "?immutable=1", SQLITE_OPEN_READONLY | SQLITE_OPEN_URI,
                              environment.GetVfsName());
        sqlite3_busy_timeout(mConnection->Get(), environment.GetBusyTimeout());
        mConnection->Exec("PRAGMA foreign_keys = ON; PRAGMA cache_size = " +
                          std::to_string(-environment.GetCacheSize() / 1024));
        if (!mReadOnlyFile)
            mConnection->Exec("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL");
        ReadInfo(*mConnection, &mInfo);
        const BDM_KeyHandle root = GetNamedObject(cRootName);
        if (!root)
            L10N_Throw(cBrowserPackage, cNoInfo);
        mRootID = IDOf(root);
    }
    catch (...)
    {
        mConnection->Close();
        throw;
    }
}

void BNeoa_Bin::CheckFile()
{
    BNeoa_Connection checking;
    // Where the engine could not make its index of the log, nothing there changes meanwhile.
    checking.Open(UriOf(mURL.GetFullPath()) + (IsFolderWritable(mURL) ? "?mode=ro" : "?immutable=1"),
                  SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    // A writer in another process may hold the log's index for a moment (a checkpoint, the
    // first reader's recovery): wait as any connection does.
    sqlite3_busy_timeout(checking.Get(), BNeoa_Environment::GetEnvironment().GetBusyTimeout());
    int64_t applicationID = 0, schemaVersion = 0;
    try
    {
        applicationID = checking.QueryInt("PRAGMA application_id");
        schemaVersion = checking.QueryInt("PRAGMA user_version");
    }
    catch (const std::exception& e)
    {
        if (IsBusy(e))
            throw;
        L10N_Throw(cBrowserPackage, cNoInfo); // not a database at all
    }
    if (applicationID != BNeoa_Environment::cApplicationID || schemaVersion < 1)
        L10N_Throw(cBrowserPackage, cNoInfo);
    if (schemaVersion > BNeoa_Environment::cSchemaVersion)
        L10N_Throw(cBrowserPackage, cInvalidVersion);
    BNeoa_DatabaseInfo info;
    ReadInfo(checking, &info);
}

void BNeoa_Bin::ReadInfo(BNeoa_Connection& iConnection, BNeoa_DatabaseInfo* oInfoP)
{
    bool found = false;
    try
    {
        BNeoa_Statement statement(
            iConnection, "SELECT DatabaseMajorVersion, DatabaseMinorVersion, DatabaseCreateDate, "
                         "CreateApplicationVersionString, DatabaseLastCommitDate, "
                         "LastCommitApplicationVersionString, IsUnicode FROM Info");
        if ((found = statement.Step()))
        {
            oInfoP->mDatabaseMajorVersion = int32_t(statement.Int(0));
            oInfoP->mDatabaseMinorVersion = int32_t(statement.Int(1));
            oInfoP->mDatabaseCreateDate = statement.Int(2);
            oInfoP->mCreateApplicationVersionString = statement.Text(3);
            oInfoP->mDatabaseLastCommitDate = statement.Int(4);
            oInfoP->mLastCommitApplicationVersionString = statement.Text(5);
            oInfoP->mIsUnicode = statement.Int(6) != 0;
        }
    }
    catch (const std::exception& e)
    {
        if (IsBusy(e))
            throw;
        found = false;
    }
    if (!found)
        L10N_Throw(cBrowserPackage, cNoInfo);
    if (oInfoP->mDatabaseMajorVersion <= 1)
        L10N_Throw(cBrowserPackage, cTooOld);
    if (!oInfoP->mIsUnicode)
        L10N_Throw(cBrowserPackage, cNotUnicode);
}

void BNeoa_Bin::CreateDatabase()
{
    BNeoa_Connection& db = *mConnection;
    db.Exec("PRAGMA application_id = " + std::to_string(BNeoa_Environment::cApplicationID) +
            "; PRAGMA user_version = " + std::to_string(BNeoa_Environment::cSchemaVersion));
    db.Exec("CREATE TABLE Info (Single INTEGER PRIMARY KEY CHECK (Single = 1), "
            "DatabaseMajorVersion INTEGER NOT NULL, DatabaseMinorVersion INTEGER NOT NULL, "
            "DatabaseCreateDate INTEGER NOT NULL, CreateApplicationVersionString TEXT NOT NULL, "
            "DatabaseLastCommitDate INTEGER NOT NULL, "
            "LastCommitApplicationVersionString TEXT NOT NULL, IsUnicode INTEGER NOT NULL)");
    std::string table = "CREATE TABLE Asset (ID INTEGER PRIMARY KEY, "
                        "ParentID INTEGER REFERENCES Asset (ID) ON DELETE CASCADE, "
                        "AliasID INTEGER REFERENCES Asset (ID) ON DELETE CASCADE";
    for (const auto& entry : BNeoa_AttributeMapper::GetEntries())
    {
        const char* type = entry.mKind == BNeoa_AttributeMapper::eKind_Int    ? "INTEGER"
                           : entry.mKind == BNeoa_AttributeMapper::eKind_Blob ? "BLOB"
                           : IsNameTag(*entry.mTag)                           ? "TEXT COLLATE NOCASE"
                                                                              : "TEXT";
        table += std::string(", ") + entry.mColumn + " " + type + ", " + entry.mColumn +
                 "Validity INTEGER NOT NULL DEFAULT 0";
    }
    db.Exec(table + ")");
    db.Exec("CREATE INDEX Asset_ParentID ON Asset (ParentID); "
            "CREATE INDEX Asset_AliasID ON Asset (AliasID)");
    for (const auto& entry : BNeoa_AttributeMapper::GetEntries())
        db.Exec(std::string("CREATE INDEX Asset_") + entry.mColumn + " ON Asset (" + entry.mColumn +
                ")");
    db.Exec("CREATE TABLE Named (Name TEXT PRIMARY KEY, "
            "ObjectID INTEGER NOT NULL REFERENCES Asset (ID) ON DELETE CASCADE)");
    BNeoa_Statement info(db, "INSERT INTO Info VALUES (1, ?1, ?2, ?3, ?4, ?3, ?4, 1)");
    info.BindInt(1, BNeoa_Environment::GetDatabaseMajorVersion())
        .BindInt(2, BNeoa_Environment::GetDatabaseMinorVersion())
        .BindInt(3, NowMicroseconds())
        .BindText(4, BNeoa_Environment::GetEnvironment().GetApplicationVersionString());
    info.Step();
    db.Exec("INSERT INTO Asset (ID, ParentID, AssetType, AssetTypeValidity) VALUES (1, NULL, " +
            std::to_string(int32_t(BDM_eAssetType_Root)) + ", 1)");
    db.Exec(std::string("INSERT INTO Named VALUES ('") + cRootName + "', 1)");
}

void BNeoa_Bin::CloseImpl()
{
    // Without Commit, the changes since the last one go.
    if (mInWrite && mConnection->IsOpen())
    {
        try
        {
            mConnection->Exec("ROLLBACK");
        }
        catch (const std::exception&)
        {
        }
    }
    mInWrite = false;
    if (GetCache())
        GetCache()->ClearEntriesForBin(this);
    mConnection->Close();
}

void BNeoa_Bin::BeginWrite()
{
    CMN_ASSERT_TEXT(!mReadOnlyFile, "!mReadOnlyFile");
    CMN_ASSERT_TEXT(mConnection->IsOpen(), "mConnection->IsOpen()");
    if (mInWrite)
        return;
    mConnection->Exec("BEGIN IMMEDIATE");
    mInWrite = true;
}

void BNeoa_Bin::UpdateInfo()
{
    mInfo.mDatabaseLastCommitDate = NowMicroseconds();
    mInfo.mLastCommitApplicationVersionString =
        BNeoa_Environment::GetEnvironment().GetApplicationVersionString();
    BNeoa_Statement statement(*mConnection, "UPDATE Info SET DatabaseLastCommitDate = ?1, "
                                            "LastCommitApplicationVersionString = ?2");
    statement.BindInt(1, mInfo.mDatabaseLastCommitDate)
        .BindText(2, mInfo.mLastCommitApplicationVersionString);
    statement.Step();
}

void BNeoa_Bin::Commit()
{
    if (mReadOnlyFile || !mConnection->IsOpen())
        return;
    BeginWrite();
    UpdateInfo();
    try
    {
        mConnection->Exec("COMMIT");
    }
    catch (...)
    {
        // A failed commit leaves the previous state: roll back what could not be written.
        try
        {
            mConnection->Exec("ROLLBACK");
        }
        catch (const std::exception&)
        {
        }
        mInWrite = false;
        if (GetCache())
            GetCache()->ClearEntriesForBin(this);
        throw;
    }
    mInWrite = false;
}

BDM_KeyHandle BNeoa_Bin::GetRoot()
{
    return MakeKey(mRootID, BDM_eAssetType_Root);
}

BDM_Asset* BNeoa_Bin::GenerateAsset(const BDM_KeyHandle& iKey)
{
    BNeoa_Statement statement(*mConnection, "SELECT ID, ParentID, AliasID, " + ValueColumns() +
                                                " FROM Asset WHERE ID = ?1");
    statement.BindInt(1, IDOf(iKey));
    if (!statement.Step())
        return nullptr;
    std::vector<BNeoa_Value> record;
    const auto& entries = BNeoa_AttributeMapper::GetEntries();
    record.reserve(entries.size());
    for (size_t i = 0; i < entries.size(); ++i)
        record.push_back(ReadValue(statement, int(3 + 2 * i), entries[i]));
    BNeoa_Asset* assetP =
        new BNeoa_Asset(this, statement.Int(0), statement.Int(1), statement.Int(2), std::move(record));
    assetP->SetReadOnly(mReadOnlyFile);
    return assetP;
}

void BNeoa_Bin::DeleteAssetImpl(const BDM_KeyHandle& iKey)
{
    const int64_t id = IDOf(iKey);
    CMN_ASSERT_TEXT(id != mRootID, "id != mRootID");
    BeginWrite();
    BNeoa_Statement statement(*mConnection, "DELETE FROM Asset WHERE ID = ?1");
    statement.BindInt(1, id);
    statement.Step();
    // Rows below it went with it; their cached assets must not outlive them.
    if (GetCache())
        GetCache()->ClearEntriesForBin(this);
}

void BNeoa_Bin::ListChildren(int64_t iParentID, std::list<BDM_KeyHandle>* oKeysP)
{
    BNeoa_Statement statement(*mConnection, "SELECT ID, AssetType FROM Asset WHERE ParentID = ?1 "
                                            "ORDER BY " +
                                                (mChildOrder.empty() ? "ID" : mChildOrder));
    statement.BindInt(1, iParentID);
    while (statement.Step())
        oKeysP->push_back(MakeKey(statement.Int(0), BDM_EAssetType(statement.Int(1))));
}

BDM_KeyHandle BNeoa_Bin::CreateEntry(const BDM_KeyHandle& iParentKey, BDM_EAssetType iType,
                                     const std::string& iName)
{
    BeginWrite();
    BNeoa_Statement statement(*mConnection,
                              "INSERT INTO Asset (ParentID, AssetType, AssetTypeValidity, FileName, "
                              "FileNameValidity) VALUES (?1, ?2, 1, ?3, 1)");
    statement.BindInt(1, IDOf(iParentKey)).BindInt(2, iType).BindText(3, iName);
    statement.Step();
    return MakeKey(sqlite3_last_insert_rowid(mConnection->Get()), iType);
}

BDM_KeyHandle BNeoa_Bin::CreateFolder(const BDM_KeyHandle& iParentKey, const std::string& iName)
{
    return CreateEntry(iParentKey, BDM_eAssetType_Folder, iName);
}

BDM_KeyHandle BNeoa_Bin::FindChild(const BDM_KeyHandle& iParentKey, const std::string& iName)
{
    BNeoa_Statement statement(*mConnection,
                              "SELECT ID, AssetType FROM Asset WHERE ParentID = ?1 AND "
                              "FileName = ?2 AND FileNameValidity = 1 ORDER BY ID LIMIT 1");
    statement.BindInt(1, IDOf(iParentKey)).BindText(2, iName);
    if (!statement.Step())
        return BDM_KeyHandle();
    return MakeKey(statement.Int(0), BDM_EAssetType(statement.Int(1)));
}

BDM_KeyHandle BNeoa_Bin::ImportAsset(BDM_Asset& iSource, const BDM_KeyHandle& iParentKey,
                                     bool iReplaceNamesake)
{
    const auto& entries = BNeoa_AttributeMapper::GetEntries();
    std::vector<BNeoa_Value> record(entries.size());
    for (size_t i = 0; i < entries.size(); ++i)
        if (BDM_Attribute* attributeP = iSource.GetAttribute(*entries[i].mTag))
            entries[i].mEncode(*attributeP->GetValue(), &record[i]);
    const BDM_EAssetType type = iSource.GetType();
    const int32_t typeIndex = BNeoa_AttributeMapper::FindIndex(BDM_AttributeTags::Instance()->cAssetType);
    record[size_t(typeIndex)].mValid = true;
    record[size_t(typeIndex)].mInt = type;

    BDM_KeyHandle key = iReplaceNamesake ? FindChild(iParentKey, iSource.GetName()) : BDM_KeyHandle();
    BeginWrite();
    std::string sql;
    if (key)
    {
        sql = "UPDATE Asset SET ";
        for (size_t i = 0; i < entries.size(); ++i)
            sql += std::string(i ? ", " : "") + entries[i].mColumn + " = ?" +
                   std::to_string(2 * i + 1) + ", " + entries[i].mColumn + "Validity = ?" +
                   std::to_string(2 * i + 2);
        sql += " WHERE ID = ?" + std::to_string(2 * entries.size() + 1);
    }
    else
    {
        sql = "INSERT INTO Asset (" + ValueColumns() + ", ParentID) VALUES (";
        for (size_t i = 0; i < 2 * entries.size() + 1; ++i)
            sql += std::string(i ? ", ?" : "?") + std::to_string(i + 1);
        sql += ")";
    }
    BNeoa_Statement statement(*mConnection, sql);
    for (size_t i = 0; i < entries.size(); ++i)
        BindValue(statement, int(2 * i + 1), entries[i], record[i]);
    statement.BindInt(int(2 * entries.size() + 1), key ? IDOf(key) : IDOf(iParentKey));
    statement.Step();
    if (key)
    {
        if (GetCache())
            GetCache()->Remove(BDM_CacheKey(this, key));
        return MakeKey(IDOf(key), type);
    }
    return MakeKey(sqlite3_last_insert_rowid(mConnection->Get()), type);
}

BDM_KeyHandle BNeoa_Bin::CreateAlias(const BDM_KeyHandle& iTargetKey, const BDM_KeyHandle& iParentKey)
{
    BeginWrite();
    BNeoa_Statement statement(*mConnection, "INSERT INTO Asset (ParentID, AliasID, " +
                                                ValueColumns() + ") SELECT ?1, ID, " +
                                                ValueColumns() + " FROM Asset WHERE ID = ?2");
    statement.BindInt(1, IDOf(iParentKey)).BindInt(2, IDOf(iTargetKey));
    statement.Step();
    CMN_ASSERT_TEXT(sqlite3_changes(mConnection->Get()) == 1, "target");
    return MakeKey(sqlite3_last_insert_rowid(mConnection->Get()), BDM_eAssetType_FileSystemAlias);
}

void BNeoa_Bin::NameAsset(const BDM_KeyHandle& iKey, const std::string& iName)
{
    BeginWrite();
    BNeoa_Statement statement(*mConnection, "INSERT OR REPLACE INTO Named VALUES (?1, ?2)");
    statement.BindText(1, iName).BindInt(2, IDOf(iKey));
    statement.Step();
}

BDM_KeyHandle BNeoa_Bin::GetNamedObject(const std::string& iName)
{
    BNeoa_Statement statement(*mConnection,
                              "SELECT Named.ObjectID, Asset.AssetType FROM Named JOIN Asset ON "
                              "Asset.ID = Named.ObjectID WHERE Named.Name = ?1");
    statement.BindText(1, iName);
    if (!statement.Step())
        return BDM_KeyHandle();
    return MakeKey(statement.Int(0), BDM_EAssetType(statement.Int(1)));
}

void BNeoa_Bin::GetIndexedAttributes(std::vector<const BDM_AttributeTag*>* oTagsP) const
{
    oTagsP->clear();
    for (const auto& entry : BNeoa_AttributeMapper::GetEntries())
        oTagsP->push_back(entry.mTag);
}

int64_t BNeoa_Bin::CountAssets()
{
    return mConnection->QueryInt("SELECT count(*) FROM Asset");
}

std::string BNeoa_Bin::CheckIntegrity()
{
    BNeoa_Statement statement(*mConnection, "PRAGMA integrity_check");
    std::string text;
    while (statement.Step())
        text += (text.empty() ? "" : "\n") + statement.Text(0);
    return text;
}

void BNeoa_Bin::GatherFolders(const BDM_KeyHandle& iFolderKey, std::vector<int64_t>* oIDsP)
{
    oIDsP->clear();
    BNeoa_Statement statement(*mConnection, BNeoa_QueryResult::FoldersBelowSql("?1"));
    statement.BindInt(1, IDOf(iFolderKey));
    while (statement.Step())
        oIDsP->push_back(statement.Int(0));
}

BDM_LazyObjectHandle BNeoa_Bin::CopyAsset(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                                          const BDM_KeyHandle& iParentKey)
{
    BDM_AssetHandle source = iSrcBin.GetAsset(iSrcKey);
    CMN_ASSERT_TEXT(source, "source");
    ImportAsset(*source, iParentKey);
    return BDM_LazyObjectHandle(new BDM_DoNothingObject);
}

BDM_LazyObjectHandle BNeoa_Bin::MoveAsset(const BDM_KeyHandle& iKey, const BDM_KeyHandle& iParentKey)
{
    BeginWrite();
    BNeoa_Statement statement(*mConnection, "UPDATE Asset SET ParentID = ?1 WHERE ID = ?2");
    statement.BindInt(1, IDOf(iParentKey)).BindInt(2, IDOf(iKey));
    statement.Step();
    if (GetCache())
        GetCache()->Remove(BDM_CacheKey(this, iKey));
    return BDM_LazyObjectHandle(new BDM_DoNothingObject);
}

BDM_PredicateFactory* BNeoa_Bin::GetPredicateFactory()
{
    return &sPredicateFactory;
}

std::unique_ptr<BDM_QueryResult> BNeoa_Bin::Query(const BDM_PredicateHandle& iPredicate,
                                                  const BDM_KeyHandle& iRoot)
{
    CMN_ASSERT_TEXT(iRoot && iRoot->GetType() == BDM_Key::eType_Neo,
                    "iQueryRoot->GetType() == BDM_Key::eType_Neo");
    return std::make_unique<BNeoa_QueryResult>(*this, iPredicate, IDOf(iRoot) == mRootID ? 0 : IDOf(iRoot));
}
