// The live item of the browser: a file, folder, clip or task, with lazily realised
// attributes, a parent, children and a bin that made it.
//
// Design:
//  1. Attribute caching: the attribute vector holds, per tag index, the marker "never asked",
//     null ("asked; the asset has none") or the attribute. GetAttribute realises an entry
//     once: the browser's own kinds (status, link, alias, link path, marked for deletion,
//     sync point, the container flags, the overview of an audio asset) here, everything else
//     through the adapter's Fetch. A null from Fetch is not stored, so that an attribute
//     that appears later (a file that comes online) is picked up at the next ask; the
//     container flags on a non-container and the spare strings are never stored either.
//  2. The asset observes each attribute it made; a change reaches the asset's observers
//     (a change of cLink also makes cLinkPath notify, except while an asset synchroniser
//     writes it: an indexing pass is no relink).
//  3. Assets are made by their bin (GenerateAsset) and held weakly by the one BDM_Cache:
//     an asset lives while a client holds it and is made again from the store afterwards.
// Threads: the browser's thread; the count is interlocked (a worker may release one).
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "BDM/BDM_Attribute.h"
#include "BDM/BDM_Key.h"
#include "BDM/BDM_LazyObject.h"
#include "Cmn_Observable.h"
#include "Sys_FileLoc.h"
#include "Sys_WeakMap.h"

class BDM_Asset;
class BDM_Bin;
using BDM_AssetHandle = Cmn_PolymorphicHandle<BDM_Asset>;

class BDM_Asset : public BDM_LazyObject,
                  public Cmn_Observable<BDM_Attribute>::Observer,
                  public Cmn_Observable<BDM_Asset>
{
public:
    using WeakMap = Sys_WeakMap<BDM_CacheKey, BDM_Asset>;

    // Names from the asset up to the root (root first).
    struct InternalPath
    {
        std::list<std::string> mNames;
        bool operator<(const InternalPath& iOther) const { return mNames < iOther.mNames; }
        bool operator==(const InternalPath& iOther) const { return mNames == iOther.mNames; }
    };

    // Loads a container's children in the background and hands each key to its client.
    class ChildEnumerator : public BDM_LazyObject
    {
    public:
        class Client
        {
        public:
            virtual ~Client() = default;
            virtual void HandleChild(const BDM_KeyHandle& iKey) = 0;
        };
        explicit ChildEnumerator(std::unique_ptr<Client> iClient) : mClient(std::move(iClient)) {}
        Client* GetClient() const { return mClient.get(); }

    protected:
        // Hands iKey to the client, in the load context of whoever queued this enumerator.
        void Deliver(const BDM_KeyHandle& iKey);

    private:
        std::unique_ptr<Client> mClient;
    };

    explicit BDM_Asset(BDM_Bin* iBinP);
    ~BDM_Asset() override;

    virtual bool IsContainer() const;
    // A lazy object that delivers the children's keys to iClient (which it owns).
    virtual BDM_LazyObjectHandle
    EnumerateChildren(std::unique_ptr<ChildEnumerator::Client> iClient);
    virtual int32_t GetNumChildren();
    virtual void GetChildren(std::list<BDM_KeyHandle>* oKeysP);
    // The attribute of iTag, or null when the asset has none (see the design note).
    virtual BDM_Attribute* GetAttribute(const BDM_AttributeTag& iTag);
    // The keys from the root down to this asset, this one last.
    virtual void GetPath(std::list<BDM_KeyHandle>* oPathP);
    virtual BDM_KeyHandle GetKey() const = 0;
    virtual BDM_AssetHandle GetParent();
    virtual bool IsRoot();
    virtual void GetInternalPath(InternalPath* oPathP);
    virtual BDM_EAssetType GetType();
    virtual int64_t GetModDate();
    virtual int64_t GetTimestamp();
    virtual std::string GetName();
    virtual bool IsOnline(bool iCheckNow = false);
    virtual bool IsDraggable() { return true; }
    virtual BDM_LazyObjectHandle Refresh(bool iRecursive);
    // The asset of the file behind this one, or null when there is none.
    virtual BDM_AssetHandle ResolveFileSystemAlias();
    virtual bool ResolveFileSystemAlias(Sys_FileLoc* oLocP);
    virtual BDM_AssetHandle ResolveAlias();
    virtual void Flush() {}
    virtual bool CanPurge() const { return GetRefCount() < 2; }

    BDM_EStatus GetStatus() const override;

    BDM_Bin* GetBin() const { return mBinP; }
    void SetReadOnly(bool iReadOnly) { mReadOnly = iReadOnly; }
    bool IsReadOnly() const { return mReadOnly; }
    void SetStatus(BDM_EStatus iStatus) { mStatusOverride = iStatus; }
    bool IsMarkedForDeletion();
    void SetMarkedForDeletion(bool iMarked);
    void SetAlias(BDM_Bin* iBinP, const BDM_KeyHandle& iKey);

    // The value of a typed attribute, if the asset has it and it is set.
    template <class T> bool GetAttributeValue(const BDM_TypedAttributeTag<T>& iTag, T* oValueP)
    {
        BDM_Attribute* attributeP = GetAttribute(iTag);
        return attributeP && BDM_GetAttributeValue(iTag, attributeP, oValueP);
    }

    // The attribute observer entry.
    void Notify(BDM_Attribute& ioAttribute) override { Update(ioAttribute); }
    virtual void Update(BDM_Attribute& ioAttribute);

    // Weak-map bookkeeping (Sys_WeakMap).
    void SetWeakMapEntry(WeakMap* iMapP, const BDM_CacheKey& iKey);
    // Assets alive now, in the whole process.
    static int32_t GetNumLiveAssets() { return sNumLive.load(); }

protected:
    // The adapter's supply of an attribute, or null.
    virtual BDM_Attribute* Fetch(const BDM_AttributeTag& iTag) = 0;
    void RefCountDelete() override;

private:
    BDM_Bin* mBinP;
    BDM_BinHandle mBinHold;
    std::vector<BDM_Attribute*> mAttributes;
    BDM_EStatus mStatusOverride = BDM_eStatus_Idle;
    bool mReadOnly = false;
    WeakMap* mMapP = nullptr;
    BDM_CacheKey mMapKey;
    static std::atomic<int32_t> sNumLive;
};

// The cached state of an asset (column "S").
// (BDM_AssetStatusAttribute is declared with the attributes.)

// The one cache of assets of the whole model.
class BDM_Cache : public BDM_Asset::WeakMap
{
public:
    // Asks the key's bin to make the asset.
    class AssetGenerator : public ValueGenerator
    {
    public:
        BDM_Asset* GenerateValue(const BDM_CacheKey& iKey) override;
    };

    void ClearEntriesForBin(BDM_Bin* iBinP)
    {
        RemoveIf([iBinP](const BDM_CacheKey& iKey) { return iKey.GetBin() == iBinP; });
    }
};
