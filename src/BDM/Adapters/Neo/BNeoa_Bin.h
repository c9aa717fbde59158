// Assets kept in a database file: catalogs and volume indexes.
//
// Design:
//  1. One file per bin, one row per asset (table Asset). Each persistent attribute (the
//     indexed tags) has a value column and a validity column; a value whose validity is 0
//     is invisible to GetValue and to every search term, whatever the value column holds.
//     Each value column has an index. A row's parent is the ID of another row (foreign key,
//     deleting a folder deletes what it holds); the asset ID is a 16-byte blob.
//  2. The file is ours when its application_id and user_version are ours and it holds the
//     information row (table Info). Open checks a file on a read-only connection first and
//     refuses it, unchanged, when it is not ours, newer than we are, lacks the information
//     row ("Can't find database information"), is of major version 1 or less ("Database
//     version too old") or is not flagged Unicode ("Database is not Unicode").
//  3. Durability: write-ahead log, synchronous=FULL, foreign keys on. The first change
//     opens one write transaction (BEGIN IMMEDIATE), Commit stamps the information row and
//     ends it, a close without Commit rolls it back. A database another connection writes
//     is waited for up to the environment's busy timeout, then "File is busy".
//  4. A file on a volume we may not write, or opened for reading, is opened read-only and
//     never written; a change then fails the assertion "!mReadOnlyFile".
// Threads: the browser's thread; one bin per connection.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "BDM/BDM_Bin.h"
#include "Sys_FileLoc.h"

class BNeoa_Connection;
class BNeoa_Bin;
class BNeoa_PredicateFactory;

// The process-wide settings of the database adapter.
class BNeoa_Environment
{
public:
    static constexpr int32_t cApplicationID = 0x4D464354; // "MFCT"
    static constexpr int32_t cSchemaVersion = 1;

    static BNeoa_Environment& GetEnvironment();

    void SetApplicationVersionString(const std::string& iText) { mVersion = iText; }
    const std::string& GetApplicationVersionString() const { return mVersion; }
    static int32_t GetDatabaseMajorVersion() { return 2; }
    static int32_t GetDatabaseMinorVersion() { return 0; }
    // Bytes of page cache the adapter may use in all (the soft heap limit of the engine).
    int64_t GetCacheSize() const { return mCacheSize; }
    // 0.8 of the physical memory capped at 0x7FC00000, no more than the memory less 120 MiB,
    // no less than 20 MiB.
    static int64_t ComputeCacheSize(int64_t iPhysicalMemory);
    // How long a write waits for another connection before "File is busy".
    int32_t GetBusyTimeout() const { return mBusyTimeoutMs; }
    void SetBusyTimeout(int32_t iMilliseconds) { mBusyTimeoutMs = iMilliseconds; }
    // The SQLite VFS new connections use (null: the default); tests install a fault shim.
    const char* GetVfsName() const { return mVfs.empty() ? nullptr : mVfs.c_str(); }
    void SetVfsName(const std::string& iName) { mVfs = iName; }

private:
    BNeoa_Environment();
    std::string mVersion;
    int64_t mCacheSize;
    int32_t mBusyTimeoutMs = 5000;
    std::string mVfs;
};

class BNeoa_Key : public BDM_Key
{
public:
    BNeoa_Key(int64_t iID, bool iFolder) : mID(iID), mFolder(iFolder) {}
    bool IsFolder() const override { return mFolder; }
    EType GetType() const override { return eType_Neo; }
    // Asserts "iKey.GetType() == eType_Neo"; orders by the row ID.
    bool IsLessThan(const BDM_Key& iKey) const override;
    int64_t GetID() const { return mID; }

private:
    int64_t mID;
    bool mFolder;
};

// The information row.
struct BNeoa_DatabaseInfo
{
    int32_t mDatabaseMajorVersion = 0;
    int32_t mDatabaseMinorVersion = 0;
    int64_t mDatabaseCreateDate = 0; // microseconds since 1970, UTC
    std::string mCreateApplicationVersionString;
    int64_t mDatabaseLastCommitDate = 0;
    std::string mLastCommitApplicationVersionString;
    bool mIsUnicode = false;
};

// One stored value: its validity and either an integer or bytes (text or blob).
struct BNeoa_Value
{
    bool mValid = false;
    int64_t mInt = 0;
    std::string mBytes;
};

class BNeoa_Asset;

// The persistent tags: column, Neo tag (data type in the high half, running number in the
// low half) and how a value travels between a typed attribute and its column.
class BNeoa_AttributeMapper
{
public:
    enum EKind : int32_t
    {
        eKind_Int,
        eKind_Text,
        eKind_Blob
    };
    struct Entry
    {
        const BDM_AttributeTag* mTag;
        const char* mColumn;
        uint32_t mNeoTag;
        EKind mKind;
        BDM_Attribute* (*mMakeAttribute)(BNeoa_Asset& iAsset, size_t iIndex);
        // A detached value's stored form; false for a value of another type.
        bool (*mEncode)(const BDM_AttributeValue& iValue, BNeoa_Value* oValueP);
    };
    static const std::vector<Entry>& GetEntries();
    // The entry's position, or -1 for a tag that is not stored.
    static int32_t FindIndex(const BDM_AttributeTag& iTag);
    static bool GetNeoTag(const BDM_AttributeTag& iTag, uint32_t* oTagP);
    // Asserts "BNeoa_AttributeMapper::GetNeoTag( iTag, &tag )".
    static uint32_t GetNeoTag(const BDM_AttributeTag& iTag);
    static uint16_t GetNeoDataType(uint32_t iNeoTag) { return uint16_t(iNeoTag >> 16); }
};

// An attribute bound to a stored row: reads the row once, writes through on change only.
template <class T> class BNeoa_TypedAttribute : public BDM_TypedAttribute<T>
{
public:
    BNeoa_TypedAttribute(const BDM_TypedAttributeTag<T>& iTag, BNeoa_Asset& iAsset, size_t iIndex)
        : BDM_TypedAttribute<T>(iTag), mAssetP(&iAsset), mIndex(iIndex)
    {
    }
    bool IsSet() const override;
    using BDM_TypedAttribute<T>::GetValue;
    bool GetValue(T* oValueP) const override;
    // Stores, writes the row and notifies when there is no cached value yet or iValue
    // differs from it; an equal value changes nothing and tells nobody.
    void Set(const T& iValue) override;

protected:
    bool Less(const T& iLhs, const T& iRhs) const override;
    bool Equal(const T& iLhs, const T& iRhs) const override;

private:
    BNeoa_Asset* mAssetP;
    size_t mIndex;
    mutable T mCache{};
    mutable bool mCached = false;
};

class BNeoa_Asset : public BDM_Asset
{
public:
    BNeoa_Asset(BNeoa_Bin* iBinP, int64_t iID, int64_t iParentID, int64_t iAliasID,
                std::vector<BNeoa_Value> iRecord);

    BDM_KeyHandle GetKey() const override;
    bool IsContainer() const override;
    BDM_AssetHandle GetParent() override;
    bool IsRoot() override { return mParentID == 0; }
    void GetChildren(std::list<BDM_KeyHandle>* oKeysP) override;
    // The file the entry was made from (its path components), if it exists.
    bool ResolveFileSystemAlias(Sys_FileLoc* oLocP) override;
    using BDM_Asset::ResolveFileSystemAlias;
    BDM_AssetHandle ResolveAlias() override;

    int64_t GetID() const { return mID; }
    int64_t GetParentID() const { return mParentID; }
    int64_t GetAliasID() const { return mAliasID; }
    BNeoa_Bin& GetNeoBin() const;
    const BNeoa_Value& GetStoredValue(size_t iIndex) const { return mRecord[iIndex]; }
    // Writes the value (valid) to the row and the record.
    void StoreValue(size_t iIndex, const BNeoa_Value& iValue);
    // Clears the validity: the value stays in the row but nobody sees it.
    void SetAttributeInvalid(const BDM_AttributeTag& iTag);

protected:
    BDM_Attribute* Fetch(const BDM_AttributeTag& iTag) override;

private:
    int64_t mID;
    int64_t mParentID;
    int64_t mAliasID;
    std::vector<BNeoa_Value> mRecord;
};

class BNeoa_Bin : public BDM_Bin
{
public:
    BNeoa_Bin(const Sys_FileLoc& iURL, BDM_Cache* iCacheP);
    ~BNeoa_Bin() override;

    const Sys_FileLoc& GetURL() const { return mURL; }
    // Whether the file is open without the right to write.
    bool IsReadOnlyFile() const { return mReadOnlyFile; }

    // BDM_Bin
    BDM_LazyObjectHandle CopyAsset(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                                   const BDM_KeyHandle& iParentKey) override;
    BDM_LazyObjectHandle MoveAsset(const BDM_KeyHandle& iKey,
                                   const BDM_KeyHandle& iParentKey) override;
    BDM_KeyHandle CreateFolder(const BDM_KeyHandle& iParentKey, const std::string& iName) override;
    BDM_KeyHandle GetRoot() override;
    BDM_PredicateFactory* GetPredicateFactory() override;
    // Asserts "iQueryRoot->GetType() == BDM_Key::eType_Neo"; below another root than the
    // bin's, only the rows in that folder and its sub-folders.
    std::unique_ptr<BDM_QueryResult> Query(const BDM_PredicateHandle& iPredicate,
                                           const BDM_KeyHandle& iRoot) override;
    void Commit() override;

    // A new row under iParentKey of type iType named iName (cFileName), in the open write
    // transaction.
    BDM_KeyHandle CreateEntry(const BDM_KeyHandle& iParentKey, BDM_EAssetType iType,
                              const std::string& iName);
    // Copies every stored attribute that iSource has into a new row under iParentKey, or,
    // with iReplaceNamesake, into the child of that name when there is one already (so adding
    // twice adds once).
    BDM_KeyHandle ImportAsset(BDM_Asset& iSource, const BDM_KeyHandle& iParentKey,
                              bool iReplaceNamesake = true);
    // The child of iParentKey named iName (file-name comparison), or null.
    BDM_KeyHandle FindChild(const BDM_KeyHandle& iParentKey, const std::string& iName);
    // A row that stands for iTargetKey under iParentKey; its ResolveAlias gives the target.
    BDM_KeyHandle CreateAlias(const BDM_KeyHandle& iTargetKey, const BDM_KeyHandle& iParentKey);
    // Names iKey; a name names one row.
    void NameAsset(const BDM_KeyHandle& iKey, const std::string& iName);
    // The row named iName, or null.
    BDM_KeyHandle GetNamedObject(const std::string& iName);
    void GetIndexedAttributes(std::vector<const BDM_AttributeTag*>* oTagsP) const;
    const BNeoa_DatabaseInfo& GetInfoObject() const { return mInfo; }
    std::string GetCreateApplicationVersionString() const
    {
        return mInfo.mCreateApplicationVersionString;
    }
    int64_t GetDatabaseCreateDate() const { return mInfo.mDatabaseCreateDate; }
    int64_t GetDatabaseLastCommitDate() const { return mInfo.mDatabaseLastCommitDate; }
    int32_t GetDatabaseMajorVersion() const { return mInfo.mDatabaseMajorVersion; }
    int32_t GetDatabaseMinorVersion() const { return mInfo.mDatabaseMinorVersion; }
    std::string GetLastCommitApplicationVersionString() const
    {
        return mInfo.mLastCommitApplicationVersionString;
    }
    // Rows in the file (the root included).
    int64_t CountAssets();
    // What PRAGMA integrity_check says: "ok" for a sound file.
    std::string CheckIntegrity();
    // The folder iFolderKey and every folder below it.
    void GatherFolders(const BDM_KeyHandle& iFolderKey, std::vector<int64_t>* oIDsP);
    bool IsInWriteTransaction() const { return mInWrite; }

    static BNeoa_PredicateFactory sPredicateFactory;

    // For the assets and the query results of this bin.
    BNeoa_Connection& GetConnection() { return *mConnection; }
    void BeginWrite();
    BDM_KeyHandle MakeKey(int64_t iID, BDM_EAssetType iType) const;
    void ListChildren(int64_t iParentID, std::list<BDM_KeyHandle>* oKeysP);

protected:
    void OpenImpl(EOpenFlag iOpenFlag) override;
    void CloseImpl() override;
    BDM_Asset* GenerateAsset(const BDM_KeyHandle& iKey) override;
    void DeleteAssetImpl(const BDM_KeyHandle& iKey) override;
    // Makes the tables of a new file, its information row and its root "Global".
    virtual void CreateDatabase();
    // The ORDER BY terms of ListChildren (row ID when empty).
    void SetChildOrder(const std::string& iSql) { mChildOrder = iSql; }

private:
    void CheckFile();
    void ReadInfo(BNeoa_Connection& iConnection, BNeoa_DatabaseInfo* oInfoP);
    void UpdateInfo();

    Sys_FileLoc mURL;
    std::unique_ptr<BNeoa_Connection> mConnection;
    BNeoa_DatabaseInfo mInfo;
    int64_t mRootID = 0;
    bool mInWrite = false;
    bool mReadOnlyFile = false;
    std::string mChildOrder;
};
