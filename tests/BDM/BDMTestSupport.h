// What the browser suites share: the tag table set up once, an installed lazy-object queue,
// a small in-memory bin whose assets count how often they are made and fetched, and lazy
// objects that record the order in which they load.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "BDM/BDM_Bin.h"
#include "BDM/BDM_LazyObject.h"
#include "BDM/BDM_Schema.h"

// The tag table with its titles, and the schema.
const BDM_AttributeTags& BDMTest_Tags();
// The installed queue (installed on first use).
BDM_LazyObjectQueue& BDMTest_Queue();
// Runs the queue until it is empty (at most iMaxSteps steps).
void BDMTest_Drain(int32_t iMaxSteps = 100000);

// A key of the memory bin: a number, and whether it names a folder.
class BDMTest_Key : public BDM_Key
{
public:
    BDMTest_Key(int32_t iID, bool iFolder) : mID(iID), mFolder(iFolder) {}
    bool IsFolder() const override { return mFolder; }
    EType GetType() const override { return eType_Neo; }
    bool IsLessThan(const BDM_Key& iKey) const override
    {
        CMN_ASSERT(iKey.GetType() == eType_Neo);
        return mID < static_cast<const BDMTest_Key&>(iKey).mID;
    }
    int32_t mID;
    bool mFolder;
};
BDM_KeyHandle BDMTest_MakeKey(int32_t iID, bool iFolder = false);

// A bin over a table of items: id -> (parent id, name, folder); id 0 is the root. Each
// asset answers cFileName, cAssetType and cFileTotalSize (files only) from the table.
class BDMTest_Bin : public BDM_Bin
{
public:
    struct Item
    {
        int32_t mParent;
        std::string mName;
        bool mFolder;
        int64_t mSize;
    };
    explicit BDMTest_Bin(BDM_Cache* iCacheP);

    std::map<int32_t, Item> mItems;
    BDM_EAssetType mRootType = BDM_eAssetType_Folder; // what the root answers for cAssetType
    int32_t mCommits = 0;
    void Commit() override { ++mCommits; }
    int32_t mGenerated = 0;
    int32_t mFetches = 0;

    BDM_LazyObjectHandle CopyAsset(BDM_Bin&, const BDM_KeyHandle&, const BDM_KeyHandle&) override;
    BDM_LazyObjectHandle MoveAsset(const BDM_KeyHandle&, const BDM_KeyHandle&) override;
    BDM_KeyHandle GetRoot() override { return BDMTest_MakeKey(0, true); }

protected:
    void OpenImpl(EOpenFlag) override {}
    void CloseImpl() override {}
    BDM_Asset* GenerateAsset(const BDM_KeyHandle& iKey) override;
    void DeleteAssetImpl(const BDM_KeyHandle& iKey) override;
};

// A lazy object whose Load appends its name to a shared log and answers true after
// mStepsLeft further calls; it may wait for dependencies added before it is queued, and
// may throw.
class BDMTest_Work : public BDM_LazyObject
{
public:
    BDMTest_Work(std::string iName, std::vector<std::string>* ioLogP, int32_t iSteps = 0)
        : mName(std::move(iName)), mLogP(ioLogP), mStepsLeft(iSteps)
    {
    }
    std::string mName;
    std::vector<std::string>* mLogP;
    int32_t mStepsLeft;
    std::function<void()> mOnLoad; // runs at each Load, before the step counts
    std::string mThrow;            // thrown by Load when not empty

protected:
    bool Load() override;
};
using BDMTest_WorkHandle = Cmn_PolymorphicHandle<BDMTest_Work, Sys_ThreadSafeRefCountObject>;
