// A lazily read value with a dirty flag.
//
// Get asks ReadProperty whenever no value is held (so a property that the source does not
// know is asked for again each time) and returns false without touching its argument when
// still none is held. Set marks the value dirty, passes it to WriteProperty and keeps a heap
// copy. Whoever writes the value out clears the flag; a source filling the cache from a file
// goes past Set with StoreFromSource.
#pragma once

#include <memory>

class Cmn_PropertyCache
{
public:
    virtual ~Cmn_PropertyCache() = default;
};

template <class GetT, class SetT = GetT> class Cmn_Property
{
public:
    virtual ~Cmn_Property() = default;
    virtual bool Get(GetT* oValueP) const = 0;
    virtual void Set(const SetT& iValue) = 0;
    virtual bool IsCached() const = 0;
};

template <class V, class GetT = V, class SetT = V>
class Cmn_CacheableProperty : public Cmn_PropertyCache
{
public:
    Cmn_CacheableProperty() = default;
    Cmn_CacheableProperty(const Cmn_CacheableProperty&) = delete;
    Cmn_CacheableProperty& operator=(const Cmn_CacheableProperty&) = delete;

    virtual bool IsCached() const { return mValueP != nullptr; }

    virtual bool Get(V* oValueP)
    {
        if (!mValueP)
            ReadProperty();
        if (!mValueP)
            return false;
        *oValueP = *mValueP;
        return true;
    }

    virtual void Set(const V& iValue)
    {
        mDirty = true;
        WriteProperty(&iValue);
        if (mValueP)
            *mValueP = iValue;
        else
            mValueP = std::make_unique<V>(iValue);
    }

    ~Cmn_CacheableProperty() override = default;

    // For the source of the value: store without marking dirty.
    void StoreFromSource(const V& iValue)
    {
        if (mValueP)
            *mValueP = iValue;
        else
            mValueP = std::make_unique<V>(iValue);
        mDirty = false;
    }
    void ClearCache() { mValueP.reset(); }
    bool IsDirty() const { return mDirty; }
    void ClearDirty() { mDirty = false; }
    const V* Peek() const { return mValueP.get(); }

protected:
    virtual void ReadProperty() const = 0;
    virtual void WriteProperty(const void* iValueP) = 0;
    virtual bool CanWriteProperty() const = 0;

    // ReadProperty is const but may fill the cache.
    void StoreFromSourceConst(const V& iValue) const
    {
        const_cast<Cmn_CacheableProperty*>(this)->StoreFromSource(iValue);
    }

private:
    bool mDirty = false;
    std::unique_ptr<V> mValueP;
};
