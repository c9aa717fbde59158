// Names of items in bins, and the key of the one asset cache.
//
// Keys of one type order by their class's IsLessThan, which asserts that the other key has
// the same type ("iKey.GetType() == eType_FS" and its like): keys of different types are never
// compared. Keys are immutable once made and shared by counted handles (BDM_KeyHandle).
#pragma once

#include "BDM/BDM_Types.h"
#include "Cmn_RefCountObject.h"

class BDM_Key : public Cmn_RefCountObject
{
public:
    enum EType
    {
        eType_FS = 0,
        eType_Neo = 1,
        eType_Task = 2,
        eType_Workspace = 3
    };

    ~BDM_Key() override = default;
    virtual bool IsFolder() const = 0;
    virtual EType GetType() const = 0;
    virtual bool IsLessThan(const BDM_Key& iKey) const = 0;

    bool IsContainer() const { return IsFolder(); }

    // The order of keys in maps: by type first, then by IsLessThan within a type.
    struct LessThan
    {
        bool operator()(const BDM_KeyHandle& iLhs, const BDM_KeyHandle& iRhs) const
        {
            if (iLhs->GetType() != iRhs->GetType())
                return iLhs->GetType() < iRhs->GetType();
            return iLhs->IsLessThan(*iRhs);
        }
    };
};

// The key of the weak cache: a bin and a key in it; ordered by bin address, then by key.
class BDM_CacheKey
{
public:
    BDM_CacheKey() = default;
    BDM_CacheKey(BDM_Bin* iBinP, const BDM_KeyHandle& iKey) : mBinP(iBinP), mKey(iKey) {}

    BDM_Bin* GetBin() const { return mBinP; }
    const BDM_KeyHandle& GetKey() const { return mKey; }

    bool operator<(const BDM_CacheKey& iOther) const
    {
        if (mBinP != iOther.mBinP)
            return std::less<BDM_Bin*>()(mBinP, iOther.mBinP);
        return BDM_Key::LessThan()(mKey, iOther.mKey);
    }

private:
    BDM_Bin* mBinP = nullptr;
    BDM_KeyHandle mKey;
};
