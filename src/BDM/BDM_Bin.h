// A store of keys that can turn a key into an asset; the base of every browser store
// (folders of the file system, catalogs, the task manager).
//
// GetAsset asks the one weak cache (BDM_Cache), which makes the asset with GenerateAsset on
// a miss; a bin built without a cache makes a new asset for every GetAsset. The bin keeps no
// strong reference to its assets.
// Threads: the browser's thread.
#pragma once

#include <list>
#include <memory>
#include <string>

#include "BDM/BDM_Asset.h"
#include "BDM/BDM_Attribute.h"
#include "BDM/BDM_Query.h"
#include "Cmn_Observable.h"
#include "Cmn_Store.h"

class BDM_Bin : public Cmn_Store, public Cmn_Observable<BDM_Bin*>
{
public:
    explicit BDM_Bin(BDM_Cache* iCacheP) : mCacheP(iCacheP) {}
    ~BDM_Bin() override;

    // A lazy object that copies iSrcKey of iSrcBin into the folder iParentKey of this bin.
    virtual BDM_LazyObjectHandle CopyAsset(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcKey,
                                           const BDM_KeyHandle& iParentKey) = 0;
    virtual BDM_LazyObjectHandle MoveAsset(const BDM_KeyHandle& iKey,
                                           const BDM_KeyHandle& iParentKey) = 0;
    virtual bool CanDeleteAsset(const BDM_KeyHandle&) { return true; }
    virtual bool CanMoveTo(const BDM_KeyHandle& iKey, const BDM_KeyHandle& iParentKey);
    virtual bool CanRenameAsset(const BDM_KeyHandle& iKey);
    virtual bool CanAdd(BDM_EAssetType) { return !IsReadOnly(); }
    // Only cFileName has a rule: no empty name, no illegal character (message 1274).
    virtual bool IsAttributeValueValidVoid(const BDM_KeyHandle& iKey, const BDM_AttributeTag& iTag,
                                           const BDM_AttributeValue& iValue,
                                           std::string* oMessageP);
    virtual bool CanModifyAttribute(const BDM_KeyHandle& iKey, const BDM_AttributeTag& iTag);
    virtual bool IsAssetOnline(BDM_Asset& iAsset);
    // Throws std::runtime_error "Folders cannot be made here"; a bin with folders overrides it.
    virtual BDM_KeyHandle CreateFolder(const BDM_KeyHandle& iParentKey, const std::string& iName);
    virtual bool SupportsSortingNatively() const { return false; }
    // Throws std::runtime_error "This list cannot be sorted here"; a bin that sorts overrides it.
    virtual void SetSortOrder(const BDM_SortOrder& iOrder);
    // cFileName, ascending.
    virtual BDM_SortOrder GetDefaultSortOrder() const;
    // The factory of this bin's search terms, and a search below iRoot; a bin that cannot be
    // searched answers null to both.
    virtual BDM_PredicateFactory* GetPredicateFactory() { return nullptr; }
    virtual std::unique_ptr<BDM_QueryResult> Query(const BDM_PredicateHandle& iPredicate,
                                                   const BDM_KeyHandle& iRoot);
    virtual BDM_KeyHandle GetRoot() = 0;
    // Removes the keys whose ancestors are also in the list.
    virtual void CompactSelection(std::list<BDM_KeyHandle>* ioKeysP);
    virtual void FlushCache();
    virtual void Commit() {}
    virtual bool IsInUse() const { return mUseCount > 0; }
    // Told that the library deleted the file at iLoc: a bin over the file system forgets it.
    virtual void FileDeleted(const Sys_FileLoc&) {}

    // The live asset of iKey, made on a miss; null when the store has no such item.
    BDM_AssetHandle GetAsset(const BDM_KeyHandle& iKey);
    // If CanDeleteAsset: DeleteAssetImpl, then the key leaves the cache.
    void DeleteAsset(const BDM_KeyHandle& iKey);
    // Walks from the root, matching each name among the children.
    BDM_AssetHandle GetAssetFromInternalPath(const BDM_Asset::InternalPath& iPath);

    BDM_Cache* GetCache() const { return mCacheP; }
    // For the cache's owner when the cache goes before the bin: the bin forgets it.
    void DetachCache() { mCacheP = nullptr; }
    void SetReadOnly(bool iReadOnly) { mReadOnly = iReadOnly; }
    bool IsReadOnly() const { return mReadOnly; }
    void IncrementUseCount() { ++mUseCount; }
    void DecrementUseCount() { --mUseCount; }

protected:
    friend class BDM_Cache;
    // A new asset for iKey (not yet referenced), or null.
    virtual BDM_Asset* GenerateAsset(const BDM_KeyHandle& iKey) = 0;
    virtual void DeleteAssetImpl(const BDM_KeyHandle& iKey) = 0;

private:
    BDM_Cache* mCacheP;
    bool mReadOnly = false;
    int32_t mUseCount = 0;
};
